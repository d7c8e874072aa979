// A state of format 2 becomes one of format 3: the old tables step aside, and what they hold is copied into the new
// ones.
#include "platform/core/migration.hpp"

#include <string>
#include <vector>

#include "platform/core/schema.hpp"
#include "platform/core/traffic.hpp"

namespace host {

namespace {

// What the file defines by itself, of one type.
std::vector<std::string> names(Database &database, std::string_view type) {
  std::vector<std::string> list;
  Rows rows =
      database.rows("SELECT name FROM sqlite_schema WHERE type = ? AND name NOT LIKE 'sqlite%' ORDER BY name", type);
  while (rows.next())
    list.push_back(rows.text(0));
  return list;
}

void run(Database &database, std::string const &sql) {
  database.execute_script(sql.c_str());
}

// The names that the counters of format 2 have, which are those of boot descriptions but for these.
std::string former_counter(std::string_view name) {
  struct Renamed {
    std::string_view name;
    char const *former;
  };
  constexpr Renamed renamed[] = {
      {"not_learned_allowed", "not learned, allowed"},
      {"not_learned_dropped", "not learned, dropped"},
      {"macs_moved", "MACs moved"},
      {"team_allowed_at_port_limit", "team, allowed at port limit"},
      {"rarp_packets", "RARP packets"},
      {"rarp_longest", "RARP longest round"},
      {"rarp_time", "RARP time"},
      {"service_port_tx", "service port, transmitted"},
      {"service_port_tx_own_policy", "service port, transmitted by its policy"},
      {"service_port_tx_source_policy", "service port, transmitted by the source's policy"},
      {"service_port_tx_errors", "service port, transmit errors"},
      {"service_port_rx", "service port, received"},
      {"service_port_rx_override", "service port, reverse-path check overridden"},
  };
  for (Renamed const &counter : renamed) {
    if (counter.name == name)
      return counter.former;
  }
  return std::string(name);
}

// One wide row from the rows of all counters of a port or a switch.
template <typename Counters>
void copy_counters(Database &database, std::string const &table, std::string const &key, std::string const &from,
                   std::string const &which, Counters const &counters) {
  std::string columns;
  std::string values;
  for (auto const &counter : counters) {
    std::string former = former_counter(counter.name);
    for (std::size_t quote = former.find('\''); quote != std::string::npos; quote = former.find('\'', quote + 2))
      former.insert(quote, "'");
    columns.append(", ").append(counter.name);
    values += ", ifnull(max(value) FILTER (WHERE name = '" + former + "'), 0)";
  }
  run(database, "INSERT INTO " + table + " (" + key + columns + ") SELECT " + key + values + " FROM " + from +
                    " WHERE " + which + " GROUP BY " + key);
}

constexpr char copy_tables[] = R"sql(
  DELETE FROM host;
  INSERT INTO host (boot_count, stopped_clock, state_id, events_until)
    SELECT boot_count, stopped_clock, state_id, ifnull(stopped_clock, unixepoch() * 1000000) FROM old_host;
  UPDATE first_description SET text = (SELECT description FROM old_host);
  INSERT INTO host_setting SELECT * FROM old_host_setting;
  INSERT INTO fault SELECT * FROM old_fault;
  INSERT INTO physical_nic
    (id, name, mac, driver, speed, duplex, carrier, admin_up, smartnic, numa_node, recovery, link_back)
    SELECT * FROM old_physical_nic;
  INSERT INTO vswitch SELECT * FROM old_vswitch;
  INSERT INTO port
    (id, vswitch, dvport_id, client_type, client_name, client_mac, client_is_promiscuous, kind, external_id,
     client_numa_node, client_is_router)
    SELECT * FROM old_port;
  INSERT INTO uplink_port SELECT * FROM old_uplink_port;
  INSERT INTO mac_entry SELECT vswitch, mac, vid, vni, type, port, port IN (SELECT port FROM old_uplink_port), aging,
    seen, moves FROM old_mac_entry;
  INSERT INTO lag (vswitch, number, name) SELECT * FROM old_lag;
  INSERT INTO lag_member SELECT * FROM old_lag_member;
  INSERT INTO rtm_switch SELECT * FROM old_rtm_switch;
  INSERT INTO rtm_module SELECT * FROM old_rtm_module;
  INSERT INTO rtm_blocked_port SELECT * FROM old_rtm_blocked_port;
  INSERT INTO rtm_saved_property SELECT * FROM old_rtm_saved_property
    WHERE port = 0 OR port IN (SELECT id FROM old_port);
  INSERT INTO rtm_saved_mac_entry SELECT vswitch, mac, vid, vni, type, port,
    port IN (SELECT port FROM old_uplink_port), aging, seen, moves FROM old_rtm_saved_mac_entry
    WHERE port IN (SELECT id FROM old_port);
  INSERT INTO rtm_saved_setting SELECT * FROM old_rtm_saved_setting;
  INSERT INTO property SELECT * FROM old_property;
  INSERT INTO mirror_session
    (vswitch, sid, port, position, name, enabled, copies, copies_failed, mirrored, discarded, failed)
    SELECT * FROM old_mirror_session;
  -- Memberships go with their client, which they outlived before.
  INSERT INTO multicast_group (port, vswitch, address, version, source_mode, updated, vni)
    SELECT port, vswitch, address, version, source_mode, updated, vni
    FROM old_multicast_group JOIN old_port ON old_port.id = port WHERE client_type <> 0;
  INSERT INTO multicast_source SELECT multicast_group.port, group_address, old_multicast_source.address, vswitch
    FROM old_multicast_source JOIN multicast_group
    ON multicast_group.port = old_multicast_source.port AND multicast_group.address = group_address;
  -- Numbers are never used twice, those of what is gone neither.
  DELETE FROM sqlite_sequence WHERE 'old_' || name IN (SELECT name FROM sqlite_sequence);
  UPDATE sqlite_sequence SET name = substr(name, 5) WHERE name LIKE 'old\_%' ESCAPE '\';
)sql";

}  // namespace

void migrate(Database &database) {
  // 1. The old tables step aside. Indexes and triggers have names of their own, which the new ones take.
  for (char const *type : {"index", "trigger"}) {
    for (std::string const &name : names(database, type))
      run(database, std::string("DROP ") + type + " " + name);
  }
  std::vector<std::string> const tables = names(database, "table");
  run(database, "PRAGMA legacy_alter_table = ON");  // what refers to a table goes on naming the new one
  for (std::string const &name : tables)
    run(database, "ALTER TABLE " + name + " RENAME TO old_" + name);
  run(database, "PRAGMA legacy_alter_table = OFF");
  create_schema(database);

  // 2. What they hold goes over.
  run(database, copy_tables);
  std::string const of_ports = "port IN (SELECT id FROM old_port)";
  copy_counters(database, "port_counter", "port, vswitch", "old_counter", of_ports, port_counters);
  copy_counters(database, "rtm_saved_port_counter", "port, vswitch", "old_rtm_saved_counter", of_ports, port_counters);
  copy_counters(database, "switch_counter", "vswitch", "old_counter", "port = 0", switch_counters);
  copy_counters(database, "rtm_saved_switch_counter", "vswitch", "old_rtm_saved_counter", "port = 0", switch_counters);

  // 3. They go.
  for (std::string const &name : tables)
    run(database, "DROP TABLE old_" + name);
}

}  // namespace host
