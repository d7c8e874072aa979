// The tables of a state file. In those without row numbers the columns of the key come first: SQLite's check of a file
// takes values for missing where it has to reorder them.
#pragma once

namespace host {

// AUTOINCREMENT where a number is never used twice: port-set names and port numbers come from it.
inline constexpr char format_3_tables[] = R"sql(
  PRAGMA application_id = 0x76737768;
  PRAGMA user_version = 3;

  CREATE TABLE host (
    boot_count INTEGER NOT NULL,
    stopped_clock INTEGER,
    -- Another one whenever the whole state is replaced: handles into the former state are told by it.
    state_id TEXT NOT NULL DEFAULT (hex(randomblob(16))),
    -- Grows with the first change of the configuration after somebody has taken it up (dirty is 0 then), the sequence
    -- with each change of what traffic leaves behind.
    generation INTEGER NOT NULL DEFAULT 1,
    dirty INTEGER NOT NULL DEFAULT 1,
    traffic_sequence INTEGER NOT NULL DEFAULT 0,
    -- The time up to which all that was due has happened, in microseconds of the host's clock.
    events_until INTEGER NOT NULL DEFAULT 0
  );

  -- What the host first booted from: not in the row of the host, which is written often.
  CREATE TABLE first_description (
    text TEXT NOT NULL
  );

  -- What encapsulated copies of frames are sent with.
  CREATE TABLE stack (
    name TEXT PRIMARY KEY,
    mac BLOB,
    gateway_mac BLOB NOT NULL,
    ipv4 BLOB NOT NULL,
    ipv6 BLOB NOT NULL,
    vlan INTEGER NOT NULL,
    ttl INTEGER NOT NULL,
    dscp INTEGER NOT NULL
  ) WITHOUT ROWID;

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
    link_back INTEGER,
    -- How many percent of frames are damaged, and whose beacons it hears.
    errors INTEGER NOT NULL DEFAULT 0,
    segment TEXT NOT NULL DEFAULT ''
  );

  -- The scripted partner at the other end of a NIC's link.
  CREATE TABLE lacp_partner (
    nic INTEGER PRIMARY KEY REFERENCES physical_nic ON DELETE CASCADE,
    system BLOB NOT NULL,
    system_priority INTEGER NOT NULL,
    "key" INTEGER NOT NULL,
    port INTEGER NOT NULL,
    port_priority INTEGER NOT NULL,
    active INTEGER NOT NULL,
    fast INTEGER NOT NULL,
    aggregatable INTEGER NOT NULL,
    is_on INTEGER NOT NULL,
    -- What it last heard of the other end, as an LACPDU describes that (15 bytes; null: nothing), whether it was named
    -- rightly there, when it last sent and how often in that second, and when it is to send once.
    heard BLOB,
    is_named INTEGER NOT NULL DEFAULT 0,
    sent_at INTEGER,
    sent_in_second INTEGER NOT NULL DEFAULT 0,
    send_at INTEGER
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
    -- What runs of a client: the address that it has given itself (null for that which it was given), its link.
    client_effective_mac BLOB,
    client_link INTEGER NOT NULL DEFAULT 1,
    UNIQUE (vswitch, dvport_id),
    UNIQUE (vswitch, external_id)
  );
  CREATE INDEX port_client_mac ON port (vswitch, client_mac) WHERE client_mac IS NOT NULL;
  CREATE INDEX port_effective_mac ON port (vswitch, client_effective_mac) WHERE client_effective_mac IS NOT NULL;

  -- How many ports a switch has, and how many of them a client.
  CREATE TABLE port_count (
    vswitch INTEGER PRIMARY KEY REFERENCES vswitch ON DELETE CASCADE,
    ports INTEGER NOT NULL,
    active INTEGER NOT NULL
  );
  CREATE TRIGGER port_added AFTER INSERT ON port BEGIN
    INSERT INTO port_count VALUES (new.vswitch, 1, new.client_type <> 0)
      ON CONFLICT (vswitch) DO UPDATE SET ports = ports + 1, active = active + excluded.active;
  END;
  CREATE TRIGGER port_connected AFTER UPDATE OF client_type ON port
      WHEN (new.client_type <> 0) <> (old.client_type <> 0) BEGIN
    UPDATE port_count SET active = active + (new.client_type <> 0) - (old.client_type <> 0) WHERE vswitch = new.vswitch;
  END;
  CREATE TRIGGER port_removed AFTER DELETE ON port BEGIN
    UPDATE port_count SET ports = ports - 1, active = active - (old.client_type <> 0) WHERE vswitch = old.vswitch;
  END;

  -- The hardware multicast addresses that a client wants, in its order.
  CREATE TABLE client_multicast_mac (
    port INTEGER NOT NULL REFERENCES port ON DELETE CASCADE,
    position INTEGER NOT NULL,
    mac BLOB NOT NULL,
    PRIMARY KEY (port, position)
  ) WITHOUT ROWID;

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

  -- The dynamic part of the MAC tables; type is VS_MAC_ADDR_TYPE_USER (1) or VS_MAC_ADDR_TYPE_LEARNED (2), team 1 for
  -- an entry behind an uplink. seen is in microseconds of the host's clock. The addresses of clients are not here: they
  -- follow from the ports.
  CREATE TABLE mac_entry (
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    mac BLOB NOT NULL,
    vid INTEGER NOT NULL,
    vni INTEGER NOT NULL,
    type INTEGER NOT NULL,
    port INTEGER NOT NULL REFERENCES port ON DELETE CASCADE,
    team INTEGER NOT NULL,
    aging INTEGER NOT NULL,
    seen INTEGER NOT NULL,
    moves INTEGER NOT NULL,
    PRIMARY KEY (vswitch, mac, vid, vni, type)
  ) WITHOUT ROWID;
  CREATE INDEX mac_entry_port ON mac_entry (port, type, aging, seen);

  -- How many entries there are, aged ones included: says at once that a limit is not reached.
  CREATE TABLE mac_entry_count (
    port INTEGER PRIMARY KEY REFERENCES port ON DELETE CASCADE,
    entries INTEGER NOT NULL,
    learned INTEGER NOT NULL
  );
  CREATE TABLE learned_count (
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    team INTEGER NOT NULL,
    learned INTEGER NOT NULL,
    PRIMARY KEY (vswitch, team)
  ) WITHOUT ROWID;
  CREATE TRIGGER mac_entry_added AFTER INSERT ON mac_entry BEGIN
    INSERT INTO mac_entry_count VALUES (new.port, 1, new.type = 2)
      ON CONFLICT (port) DO UPDATE SET entries = entries + 1, learned = learned + excluded.learned;
  END;
  CREATE TRIGGER mac_entry_learned AFTER INSERT ON mac_entry WHEN new.type = 2 BEGIN
    INSERT INTO learned_count VALUES (new.vswitch, new.team, 1)
      ON CONFLICT (vswitch, team) DO UPDATE SET learned = learned + 1;
  END;
  CREATE TRIGGER mac_entry_removed AFTER DELETE ON mac_entry BEGIN
    UPDATE mac_entry_count SET entries = entries - 1, learned = learned - (old.type = 2) WHERE port = old.port;
  END;
  CREATE TRIGGER mac_entry_forgotten AFTER DELETE ON mac_entry WHEN old.type = 2 BEGIN
    UPDATE learned_count SET learned = learned - 1 WHERE vswitch = old.vswitch AND team = old.team;
  END;

  CREATE TABLE port_counter (
    port INTEGER PRIMARY KEY REFERENCES port ON DELETE CASCADE,
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    packets_in_unicast INTEGER NOT NULL DEFAULT 0,
    bytes_in_unicast INTEGER NOT NULL DEFAULT 0,
    packets_in_multicast INTEGER NOT NULL DEFAULT 0,
    bytes_in_multicast INTEGER NOT NULL DEFAULT 0,
    packets_in_broadcast INTEGER NOT NULL DEFAULT 0,
    bytes_in_broadcast INTEGER NOT NULL DEFAULT 0,
    packets_out_unicast INTEGER NOT NULL DEFAULT 0,
    bytes_out_unicast INTEGER NOT NULL DEFAULT 0,
    packets_out_multicast INTEGER NOT NULL DEFAULT 0,
    bytes_out_multicast INTEGER NOT NULL DEFAULT 0,
    packets_out_broadcast INTEGER NOT NULL DEFAULT 0,
    bytes_out_broadcast INTEGER NOT NULL DEFAULT 0,
    packets_in_dropped INTEGER NOT NULL DEFAULT 0,
    packets_out_dropped INTEGER NOT NULL DEFAULT 0,
    packets_in_exception INTEGER NOT NULL DEFAULT 0,
    packets_out_exception INTEGER NOT NULL DEFAULT 0,
    not_learned_allowed INTEGER NOT NULL DEFAULT 0,
    not_learned_dropped INTEGER NOT NULL DEFAULT 0,
    macs_moved INTEGER NOT NULL DEFAULT 0
  );

  CREATE TABLE switch_counter (
    vswitch INTEGER PRIMARY KEY REFERENCES vswitch ON DELETE CASCADE,
    team_allowed_at_port_limit INTEGER NOT NULL DEFAULT 0,
    rarp_packets INTEGER NOT NULL DEFAULT 0,
    rarp_longest INTEGER NOT NULL DEFAULT 0,
    rarp_time INTEGER NOT NULL DEFAULT 0,
    service_port_tx INTEGER NOT NULL DEFAULT 0,
    service_port_tx_own_policy INTEGER NOT NULL DEFAULT 0,
    service_port_tx_source_policy INTEGER NOT NULL DEFAULT 0,
    service_port_tx_errors INTEGER NOT NULL DEFAULT 0,
    service_port_rx INTEGER NOT NULL DEFAULT 0,
    service_port_rx_override INTEGER NOT NULL DEFAULT 0,
    promiscuous_copies INTEGER NOT NULL DEFAULT 0,
    promiscuous_frames INTEGER NOT NULL DEFAULT 0
  );

  -- Client ports behind which a multicast router is, and until when.
  CREATE TABLE router_port (
    port INTEGER NOT NULL REFERENCES port ON DELETE CASCADE,
    ip_version INTEGER NOT NULL,
    expiry INTEGER NOT NULL,
    PRIMARY KEY (port, ip_version)
  ) WITHOUT ROWID;

  -- When an uplink last heard the beacon of another one.
  CREATE TABLE beacon (
    listener INTEGER NOT NULL REFERENCES port ON DELETE CASCADE,
    sender INTEGER NOT NULL REFERENCES port ON DELETE CASCADE,
    heard INTEGER NOT NULL,
    PRIMARY KEY (listener, sender)
  ) WITHOUT ROWID;

  -- What the last judgement said of a switch, and which uplinks have failed by it.
  CREATE TABLE beacon_judgement (
    vswitch INTEGER PRIMARY KEY REFERENCES vswitch ON DELETE CASCADE,
    is_undecided INTEGER NOT NULL
  );
  CREATE TABLE beacon_failure (
    port INTEGER PRIMARY KEY REFERENCES port ON DELETE CASCADE
  );

  -- Balancing by load: the bytes that the team sent for a port, or over an uplink, since the last look; the uplinks to
  -- which ports were moved, and the policy and links that this was decided by.
  CREATE TABLE team_load (
    port INTEGER PRIMARY KEY REFERENCES port ON DELETE CASCADE,
    bytes INTEGER NOT NULL
  );
  CREATE TABLE team_move (
    port INTEGER PRIMARY KEY REFERENCES port ON DELETE CASCADE,
    uplink INTEGER NOT NULL REFERENCES port ON DELETE CASCADE,
    basis TEXT NOT NULL
  );

  -- What is to happen once: port is 0 for the switch as a whole, and detail what the kind needs.
  CREATE TABLE timer (
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    kind INTEGER NOT NULL,
    port INTEGER NOT NULL,
    detail BLOB NOT NULL DEFAULT x'',
    due INTEGER NOT NULL,
    PRIMARY KEY (vswitch, kind, port, detail)
  ) WITHOUT ROWID;
  CREATE INDEX timer_due ON timer (due);

  CREATE TABLE lag (
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    number INTEGER NOT NULL,
    name TEXT NOT NULL,
    -- mode is fixed, active or passive; system is null for the switch's own address, key for the LAG's number.
    mode TEXT NOT NULL DEFAULT 'fixed',
    fast INTEGER NOT NULL DEFAULT 0,
    hash TEXT NOT NULL DEFAULT 'l2+3',
    system BLOB,
    system_priority INTEGER NOT NULL DEFAULT 32768,
    "key" INTEGER,
    max_active INTEGER NOT NULL DEFAULT 32,
    fallback INTEGER NOT NULL DEFAULT 0,
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

  -- What LACP found at the uplink ports of LAGs that are not fixed. Times are in microseconds of the host's clock; the
  -- partner's columns are null where none is known. sent_at is when the last LACPDU was sent, sent_in_second how many
  -- in that second, and send_at when one is due once.
  CREATE TABLE lacp_member (
    port INTEGER PRIMARY KEY REFERENCES port ON DELETE CASCADE,
    receive TEXT NOT NULL,
    receive_until INTEGER,
    selected INTEGER NOT NULL,
    selected_since INTEGER,
    up INTEGER NOT NULL,
    actor_state INTEGER NOT NULL,
    partner_system_priority INTEGER,
    partner_system BLOB,
    partner_key INTEGER,
    partner_port_priority INTEGER,
    partner_port INTEGER,
    partner_state INTEGER NOT NULL,
    sent_at INTEGER,
    sent_in_second INTEGER NOT NULL,
    send_at INTEGER,
    sent INTEGER NOT NULL,
    received INTEGER NOT NULL,
    bad INTEGER NOT NULL,
    changes INTEGER NOT NULL
  );

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
    port INTEGER NOT NULL REFERENCES port ON DELETE CASCADE,
    team INTEGER NOT NULL,
    aging INTEGER NOT NULL,
    seen INTEGER NOT NULL,
    moves INTEGER NOT NULL,
    PRIMARY KEY (vswitch, mac, vid, vni, type)
  ) WITHOUT ROWID;

  CREATE TABLE rtm_saved_port_counter (
    port INTEGER PRIMARY KEY REFERENCES port ON DELETE CASCADE,
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    packets_in_unicast INTEGER NOT NULL DEFAULT 0,
    bytes_in_unicast INTEGER NOT NULL DEFAULT 0,
    packets_in_multicast INTEGER NOT NULL DEFAULT 0,
    bytes_in_multicast INTEGER NOT NULL DEFAULT 0,
    packets_in_broadcast INTEGER NOT NULL DEFAULT 0,
    bytes_in_broadcast INTEGER NOT NULL DEFAULT 0,
    packets_out_unicast INTEGER NOT NULL DEFAULT 0,
    bytes_out_unicast INTEGER NOT NULL DEFAULT 0,
    packets_out_multicast INTEGER NOT NULL DEFAULT 0,
    bytes_out_multicast INTEGER NOT NULL DEFAULT 0,
    packets_out_broadcast INTEGER NOT NULL DEFAULT 0,
    bytes_out_broadcast INTEGER NOT NULL DEFAULT 0,
    packets_in_dropped INTEGER NOT NULL DEFAULT 0,
    packets_out_dropped INTEGER NOT NULL DEFAULT 0,
    packets_in_exception INTEGER NOT NULL DEFAULT 0,
    packets_out_exception INTEGER NOT NULL DEFAULT 0,
    not_learned_allowed INTEGER NOT NULL DEFAULT 0,
    not_learned_dropped INTEGER NOT NULL DEFAULT 0,
    macs_moved INTEGER NOT NULL DEFAULT 0
  );

  CREATE TABLE rtm_saved_switch_counter (
    vswitch INTEGER PRIMARY KEY REFERENCES vswitch ON DELETE CASCADE,
    team_allowed_at_port_limit INTEGER NOT NULL DEFAULT 0,
    rarp_packets INTEGER NOT NULL DEFAULT 0,
    rarp_longest INTEGER NOT NULL DEFAULT 0,
    rarp_time INTEGER NOT NULL DEFAULT 0,
    service_port_tx INTEGER NOT NULL DEFAULT 0,
    service_port_tx_own_policy INTEGER NOT NULL DEFAULT 0,
    service_port_tx_source_policy INTEGER NOT NULL DEFAULT 0,
    service_port_tx_errors INTEGER NOT NULL DEFAULT 0,
    service_port_rx INTEGER NOT NULL DEFAULT 0,
    service_port_rx_override INTEGER NOT NULL DEFAULT 0,
    promiscuous_copies INTEGER NOT NULL DEFAULT 0,
    promiscuous_frames INTEGER NOT NULL DEFAULT 0
  );

  CREATE TABLE rtm_saved_mirror_session (
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    sid TEXT NOT NULL,
    copies INTEGER NOT NULL,
    copies_failed INTEGER NOT NULL,
    mirrored INTEGER NOT NULL,
    discarded INTEGER NOT NULL,
    failed INTEGER NOT NULL,
    seen INTEGER NOT NULL,
    PRIMARY KEY (vswitch, sid)
  ) WITHOUT ROWID;

  CREATE TABLE rtm_saved_mirror_destination (
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    sid TEXT NOT NULL,
    address BLOB NOT NULL,
    sequence INTEGER NOT NULL,
    PRIMARY KEY (vswitch, sid, address)
  ) WITHOUT ROWID;

  CREATE TABLE rtm_saved_multicast_group (
    port INTEGER NOT NULL REFERENCES port ON DELETE CASCADE,
    address BLOB NOT NULL,
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    version INTEGER NOT NULL,
    source_mode INTEGER NOT NULL,
    updated INTEGER NOT NULL,
    vni INTEGER NOT NULL,
    expiry INTEGER,
    PRIMARY KEY (port, address)
  ) WITHOUT ROWID;

  CREATE TABLE rtm_saved_multicast_source (
    port INTEGER NOT NULL REFERENCES port ON DELETE CASCADE,
    group_address BLOB NOT NULL,
    address BLOB NOT NULL,
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    PRIMARY KEY (port, group_address, address)
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
    -- The frames that it has selected, by which it samples.
    seen INTEGER NOT NULL DEFAULT 0,
    PRIMARY KEY (vswitch, sid)
  ) WITHOUT ROWID;
  CREATE INDEX mirror_session_port ON mirror_session (vswitch, port, position);

  -- How many encapsulated copies a session has sent to an address.
  CREATE TABLE mirror_destination (
    vswitch INTEGER NOT NULL,
    sid TEXT NOT NULL,
    address BLOB NOT NULL,
    sequence INTEGER NOT NULL,
    PRIMARY KEY (vswitch, sid, address),
    FOREIGN KEY (vswitch, sid) REFERENCES mirror_session (vswitch, sid) ON DELETE CASCADE
  ) WITHOUT ROWID;

  -- The multicast groups that the clients of ports have joined. The addresses are as long as the family's: 4 or 16
  -- bytes; source_mode is a VS_MCAST_SRC_IP_FILTER_MODE_* value; updated and expiry are in microseconds of the host's
  -- clock. expiry is null for what was not reported by frames: it does not age.
  CREATE TABLE multicast_group (
    port INTEGER NOT NULL REFERENCES port ON DELETE CASCADE,
    address BLOB NOT NULL,
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    version INTEGER NOT NULL,
    source_mode INTEGER NOT NULL,
    updated INTEGER NOT NULL,
    vni INTEGER NOT NULL,
    expiry INTEGER,
    PRIMARY KEY (port, address)
  ) WITHOUT ROWID;

  CREATE TABLE multicast_source (
    port INTEGER NOT NULL REFERENCES port ON DELETE CASCADE,
    group_address BLOB NOT NULL,
    address BLOB NOT NULL,
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    PRIMARY KEY (port, group_address, address)
  ) WITHOUT ROWID;

  INSERT INTO host (boot_count) VALUES (1);
  INSERT INTO first_description VALUES ('');
)sql";

}  // namespace host
