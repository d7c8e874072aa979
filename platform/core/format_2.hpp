// The tables of a state file of format 2, as hosts before format 3 made them: what a file is compared with before it is
// migrated.
#pragma once

namespace host {

inline constexpr char format_2_tables[] = R"sql(
  PRAGMA application_id = 0x76737768;
  PRAGMA user_version = 2;

  CREATE TABLE host (
    boot_count INTEGER NOT NULL,
    stopped_clock INTEGER,
    -- What the host first booted from.
    description TEXT NOT NULL DEFAULT '',
    -- Another one whenever the whole state is replaced: handles into the former state are told by it.
    state_id TEXT NOT NULL DEFAULT (hex(randomblob(16)))
  );

  -- What holds for all switches: runtime options and the like. Volatile ones are gone at the next boot.
  CREATE TABLE host_setting (
    name TEXT PRIMARY KEY,
    value BLOB NOT NULL,
    volatile INTEGER NOT NULL
  ) WITHOUT ROWID;

  -- Faults on demand. call is empty for a rule that meets every call, times null for one without end. kind and
  -- exception_class are numbers of FaultKind and ExceptionClass.
  CREATE TABLE fault (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    call TEXT NOT NULL,
    kind INTEGER NOT NULL,
    status INTEGER NOT NULL,
    exception_class INTEGER NOT NULL,
    message TEXT NOT NULL,
    milliseconds INTEGER NOT NULL,
    skip INTEGER NOT NULL,
    times INTEGER,
    in_million INTEGER NOT NULL,
    generator INTEGER NOT NULL,
    met INTEGER NOT NULL DEFAULT 0
  );

  CREATE TABLE physical_nic (
    id INTEGER PRIMARY KEY,
    name TEXT NOT NULL UNIQUE,
    mac BLOB NOT NULL,
    driver TEXT NOT NULL,
    speed INTEGER NOT NULL,
    duplex INTEGER NOT NULL,
    carrier INTEGER NOT NULL,
    admin_up INTEGER NOT NULL DEFAULT 1,
    smartnic INTEGER NOT NULL DEFAULT 0,
    numa_node INTEGER NOT NULL,
    -- Grows each time that the NIC is set up again: the order in which failed links came back.
    recovery INTEGER NOT NULL DEFAULT 0,
    -- When its link last came back, in microseconds of the host's clock; null while it has been up since the boot.
    link_back INTEGER
  );

  -- portset is null for a switch that has none on this host.
  CREATE TABLE vswitch (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    alias TEXT NOT NULL UNIQUE,
    switch_id TEXT NOT NULL UNIQUE,
    portset TEXT UNIQUE,
    class_name TEXT NOT NULL,
    max_ports INTEGER NOT NULL,
    version INTEGER NOT NULL,
    flags INTEGER NOT NULL,
    persistent INTEGER NOT NULL
  );

  -- client_type is a VS_PORT_CLIENT_* value; 0 for a port without a client. kind is the DVSPORT_TYPE_* value that the
  -- port has when it has no client, or that of a zombie. external_id is null for a port without one.
  CREATE TABLE port (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    dvport_id TEXT NOT NULL,
    client_type INTEGER NOT NULL DEFAULT 0,
    client_name TEXT NOT NULL DEFAULT '',
    client_mac BLOB,
    client_is_promiscuous INTEGER NOT NULL DEFAULT 0,
    kind INTEGER NOT NULL DEFAULT 2,
    external_id TEXT,
    client_numa_node INTEGER NOT NULL DEFAULT 0,
    client_is_router INTEGER NOT NULL DEFAULT 0,
    UNIQUE (vswitch, dvport_id),
    UNIQUE (vswitch, external_id)
  );
  CREATE INDEX port_client_mac ON port (vswitch, client_mac);

  CREATE TABLE uplink_port (
    port INTEGER PRIMARY KEY REFERENCES port ON DELETE CASCADE,
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    position INTEGER NOT NULL,
    name TEXT NOT NULL,
    nic INTEGER UNIQUE REFERENCES physical_nic,
    made_port INTEGER NOT NULL,
    -- The NUMA node that teaming knows the NIC to be on; null until it was looked up.
    numa_node INTEGER,
    UNIQUE (vswitch, name)
  );
  CREATE INDEX uplink_port_name ON uplink_port (name);

  -- The dynamic part of the MAC tables; type is VS_MAC_ADDR_TYPE_USER or VS_MAC_ADDR_TYPE_LEARNED. seen is in
  -- microseconds of the host's clock. The addresses of clients are not here: they follow from the ports.
  CREATE TABLE mac_entry (
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    mac BLOB NOT NULL,
    vid INTEGER NOT NULL,
    vni INTEGER NOT NULL,
    type INTEGER NOT NULL,
    port INTEGER NOT NULL REFERENCES port ON DELETE CASCADE,
    aging INTEGER NOT NULL,
    seen INTEGER NOT NULL,
    moves INTEGER NOT NULL,
    PRIMARY KEY (vswitch, mac, vid, vni, type)
  ) WITHOUT ROWID;
  CREATE INDEX mac_entry_port ON mac_entry (port, type);

  -- How many entries a port has, aged ones included: says at once that a port is below its limit.
  CREATE TABLE mac_entry_count (
    port INTEGER PRIMARY KEY,
    entries INTEGER NOT NULL
  );
  CREATE TRIGGER mac_entry_added AFTER INSERT ON mac_entry BEGIN
    INSERT INTO mac_entry_count VALUES (new.port, 1) ON CONFLICT (port) DO UPDATE SET entries = entries + 1;
  END;
  CREATE TRIGGER mac_entry_removed AFTER DELETE ON mac_entry BEGIN
    UPDATE mac_entry_count SET entries = entries - 1 WHERE port = old.port;
  END;

  -- port is 0 for the counters of a switch.
  CREATE TABLE counter (
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    port INTEGER NOT NULL,
    name TEXT NOT NULL,
    value INTEGER NOT NULL,
    PRIMARY KEY (vswitch, port, name)
  ) WITHOUT ROWID;

  CREATE TABLE lag (
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    number INTEGER NOT NULL,
    name TEXT NOT NULL,
    PRIMARY KEY (vswitch, number),
    UNIQUE (vswitch, name)
  ) WITHOUT ROWID;

  -- By the name of the uplink port: a member that is removed is one again as soon as it is back.
  CREATE TABLE lag_member (
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    uplink TEXT NOT NULL,
    lag INTEGER NOT NULL,
    position INTEGER NOT NULL,
    lacp_up INTEGER NOT NULL,
    PRIMARY KEY (vswitch, uplink)
  ) WITHOUT ROWID;
  CREATE INDEX lag_member_lag ON lag_member (vswitch, lag, position);

  -- Switches in save and restore; step is the last that was done.
  CREATE TABLE rtm_switch (
    vswitch INTEGER PRIMARY KEY REFERENCES vswitch ON DELETE CASCADE,
    step INTEGER NOT NULL,
    dual_load INTEGER NOT NULL,
    switch_mode INTEGER NOT NULL,
    portset_mode INTEGER NOT NULL,
    most_outage INTEGER NOT NULL,
    blocked_at INTEGER
  );

  CREATE TABLE rtm_module (
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    module INTEGER NOT NULL,
    step INTEGER NOT NULL,
    is_from INTEGER NOT NULL,
    PRIMARY KEY (vswitch, module)
  ) WITHOUT ROWID;

  -- world is null where the switch as a whole was blocked.
  CREATE TABLE rtm_blocked_port (
    port INTEGER PRIMARY KEY REFERENCES port ON DELETE CASCADE,
    world INTEGER
  );

  -- What a switch had when it was saved.
  CREATE TABLE rtm_saved_property (
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    scope INTEGER NOT NULL,
    port INTEGER NOT NULL,
    name TEXT NOT NULL,
    owner TEXT NOT NULL,
    type INTEGER NOT NULL,
    value BLOB NOT NULL,
    PRIMARY KEY (vswitch, scope, port, name)
  ) WITHOUT ROWID;

  CREATE TABLE rtm_saved_mac_entry (
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    mac BLOB NOT NULL,
    vid INTEGER NOT NULL,
    vni INTEGER NOT NULL,
    type INTEGER NOT NULL,
    port INTEGER NOT NULL,
    aging INTEGER NOT NULL,
    seen INTEGER NOT NULL,
    moves INTEGER NOT NULL,
    PRIMARY KEY (vswitch, mac, vid, vni, type)
  ) WITHOUT ROWID;

  CREATE TABLE rtm_saved_counter (
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    port INTEGER NOT NULL,
    name TEXT NOT NULL,
    value INTEGER NOT NULL,
    PRIMARY KEY (vswitch, port, name)
  ) WITHOUT ROWID;

  CREATE TABLE rtm_saved_setting (
    name TEXT PRIMARY KEY,
    value BLOB NOT NULL,
    volatile INTEGER NOT NULL
  ) WITHOUT ROWID;

  -- port is 0 for the properties of a switch; lifetime is 0 for the persistent and 1 for the volatile value.
  CREATE TABLE property (
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    scope INTEGER NOT NULL,
    port INTEGER NOT NULL,
    name TEXT NOT NULL,
    lifetime INTEGER NOT NULL,
    owner TEXT NOT NULL,
    type INTEGER NOT NULL,
    value BLOB NOT NULL,
    PRIMARY KEY (vswitch, scope, port, name, lifetime)
  ) WITHOUT ROWID;
  CREATE INDEX property_name ON property (vswitch, name);

  -- The mirror sessions of the property values in effect, with their counters. port is null for those of a switch.
  CREATE TABLE mirror_session (
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    sid TEXT NOT NULL,
    port INTEGER REFERENCES port ON DELETE CASCADE,
    position INTEGER NOT NULL,
    name TEXT NOT NULL,
    enabled INTEGER NOT NULL,
    copies INTEGER NOT NULL DEFAULT 0,
    copies_failed INTEGER NOT NULL DEFAULT 0,
    mirrored INTEGER NOT NULL DEFAULT 0,
    discarded INTEGER NOT NULL DEFAULT 0,
    failed INTEGER NOT NULL DEFAULT 0,
    PRIMARY KEY (vswitch, sid)
  ) WITHOUT ROWID;
  CREATE INDEX mirror_session_port ON mirror_session (vswitch, port, position);

  -- The multicast groups that the clients of ports have joined. The addresses are as long as the family's: 4 or 16
  -- bytes; source_mode is a VS_MCAST_SRC_IP_FILTER_MODE_* value; updated is in microseconds of the host's clock.
  CREATE TABLE multicast_group (
    port INTEGER NOT NULL REFERENCES port ON DELETE CASCADE,
    address BLOB NOT NULL,
    version INTEGER NOT NULL,
    source_mode INTEGER NOT NULL,
    updated INTEGER NOT NULL,
    vni INTEGER NOT NULL,
    PRIMARY KEY (port, address)
  ) WITHOUT ROWID;

  CREATE TABLE multicast_source (
    port INTEGER NOT NULL REFERENCES port ON DELETE CASCADE,
    group_address BLOB NOT NULL,
    address BLOB NOT NULL,
    PRIMARY KEY (port, group_address, address)
  ) WITHOUT ROWID;

  INSERT INTO host (boot_count) VALUES (1);
)sql";

}  // namespace host
