// How the switches learn MAC addresses: the settings in force, port policies, and learning itself.
#include "platform/core/mac_learning.hpp"

#include <cstring>
#include <string>

#include "platform/core/clock.hpp"
#include "platform/core/counters.hpp"
#include "platform/core/host_settings.hpp"
#include "platform/core/known_properties.hpp"
#include "platform/core/mac_table.hpp"
#include "platform/core/rtm.hpp"

namespace host {

namespace {

constexpr std::string_view global_settings_name = "MAC learning";

template <typename Record>
std::string_view record_bytes(Record const &record) {
  return {reinterpret_cast<char const *>(&record), sizeof record};
}

// The record in a property; the fallback where the property has no value, or one of another length.
template <typename Record>
Record property_record(Database &database, PropertyPlace place, char const *name, Record fallback) {
  std::optional<std::string> const value =
      known_property(name) ? get_property(database, place, name) : stored_property(database, place, name);
  if (value && value->size() >= sizeof fallback)
    std::memcpy(&fallback, value->data(), sizeof fallback);
  return fallback;
}

bool switch_flag(Database &database, RowId vswitch, char const *name, bool fallback) {
  std::optional<std::string> const value = stored_property(database, {vswitch, Scope::global}, name);
  return value && !value->empty() ? value->front() != 0 : fallback;
}

// Whether an address belongs to a client or was set by hand.
bool is_static(Database &database, RowId vswitch, MacKey const &key) {
  Rows client =
      database.rows("SELECT 1 FROM port WHERE vswitch = ? AND client_mac = ?", vswitch, Blob{mac_bytes(key.mac)});
  if (client.next())
    return true;
  Rows by_hand =
      database.rows("SELECT 1 FROM mac_entry WHERE vswitch = ? AND mac = ? AND vid = ? AND vni = ? AND type = ?",
                    vswitch, Blob{mac_bytes(key.mac)}, key.vid, key.vni, VS_MAC_ADDR_TYPE_USER);
  return by_hand.next();
}

struct Limit {
  bool reached;
  bool is_of_port;
};

Limit limit_at(Database &database, RowId vswitch, Port const &port, bool is_new_to_switch, VSPMACLearning const &policy,
               LearningSettings const &settings) {
  std::int64_t const at_port = count_mac_entries(database, vswitch, port.row);
  if (port.client_type != VS_PORT_CLIENT_UPLINK) {
    if (at_port >= policy.macLimit)
      return {true, true};
    return {is_new_to_switch && count_learned(database, vswitch, TableSide::ports) >= settings.mac_limit, false};
  }
  if (has_learning_policy(database, vswitch, port.row) &&
      at_port >= port_learning_policy(database, vswitch, port.row).macLimit)
    return {true, true};
  return {is_new_to_switch && count_learned(database, vswitch, TableSide::team) >= policy.macLimit, false};
}

}  // namespace

VSMACLearningGlobalProps global_learning_settings(Database &database) {
  VSMACLearningGlobalProps settings{VS_MAC_LEARNING_AGING_TIME_DEFAULT, VS_MAC_LEARNING_LIMIT_ENTRIES_DEFAULT,
                                    VS_MAC_LEARNING_LEARN_STATIC_DEFAULT, VS_MAC_LEARNING_ALLOW_STATIC_DEFAULT};
  if (std::optional<std::string> const value = host_setting(database, global_settings_name))
    std::memcpy(&settings, value->data(), std::min(sizeof settings, value->size()));
  return settings;
}

bool has_global_learning_settings(Database &database) {
  return host_setting(database, global_settings_name).has_value();
}

void set_global_learning_settings(Database &database, VSMACLearningGlobalProps settings) {
  refuse_if(settings.agingTime > VS_MAC_LEARNING_AGING_TIME_MAX, QEL_BAD_PARAM);
  refuse_if(settings.macLimit > VS_MAC_LEARNING_LIMIT_ENTRIES_DEFAULT, QEL_LIMIT_EXCEEDED);
  settings.learnStatic = static_cast<qel_Bool>(settings.learnStatic != 0);
  settings.staticMACAllow = static_cast<qel_Bool>(settings.staticMACAllow != 0);
  set_host_setting(database, global_settings_name, record_bytes(settings), Lifetime::persistent);
}

LearningSettings learning_settings(Database &database, RowId vswitch) {
  VSMACLearningGlobalProps const global = global_learning_settings(database);
  LearningSettings settings{global.agingTime, global.macLimit, global.learnStatic != 0, global.staticMACAllow != 0};
  std::optional<std::string> const own =
      stored_property(database, {vswitch, Scope::global}, VSPROP_SWITCH_MAC_LEARNING);
  if (own && own->size() == sizeof(VSPropMACLearning)) {
    VSPropMACLearning record;
    std::memcpy(&record, own->data(), sizeof record);
    settings.aging_time = record.agingTime;
    settings.mac_limit = record.macLimit;
  }
  settings.learn_static = switch_flag(database, vswitch, VSPROP_SWITCH_MAC_LEARN_STATIC, settings.learn_static);
  settings.static_allowed = switch_flag(database, vswitch, VSPROP_SWITCH_STATIC_MAC_ALLOW, settings.static_allowed);
  return settings;
}

bool has_learning_policy(Database &database, RowId vswitch, RowId port) {
  return stored_property(database, {vswitch, Scope::port, port}, VSPROP_PORT_MAC_MANAGEMENT).has_value();
}

VSPMACLearning port_learning_policy(Database &database, RowId vswitch, RowId port) {
  VSPMACManagement management{};
  management.portMACLearning.macLimit = VSPORT_MAC_LEARNING_LIMIT_ENTRIES_DEFAULT;
  return property_record(database, {vswitch, Scope::port, port}, VSPROP_PORT_MAC_MANAGEMENT, management)
      .portMACLearning;
}

void set_port_learning_policy(Database &database, RowId vswitch, RowId port, VSPMACLearning const &policy) {
  VSPMACManagement management{};
  PropertyPlace const place{vswitch, Scope::port, port};
  management = property_record(database, place, VSPROP_PORT_MAC_MANAGEMENT, management);
  management.portMACLearning = policy;
  set_property(database, place, VSPROP_PORT_MAC_MANAGEMENT, {.value = record_bytes(management)});
}

VSPMACLearning team_learning_policy(Database &database, RowId vswitch) {
  VSPMACLearning team{};
  team.macLimit = TEAM_MAC_LEARNING_LIMIT_ENTRIES_DEFAULT;
  team.macLimitPolicy = static_cast<VSPortMACLearningLimitPolicy>(VSPORT_MAC_LEARNING_LIMIT_POLICY_ALLOW);
  for (LearningPort const &port : learning_ports(database, vswitch)) {
    if (port.is_uplink || !port_learning_policy(database, vswitch, port.row).learning)
      continue;
    team.learning = team.flooding = 1;
    break;
  }
  return team;
}

std::vector<LearningPort> learning_ports(Database &database, RowId vswitch) {
  std::vector<LearningPort> ports;
  Rows rows = database.rows("SELECT id, client_type FROM port WHERE vswitch = ? ORDER BY id", vswitch);
  while (rows.next())
    ports.push_back({rows.integer(0), rows.integer(1) == VS_PORT_CLIENT_UPLINK});
  return ports;
}

Learning learn_address(Database &database, RowId vswitch, Port const &port, SeenAddress const &address) {
  MacKey const &key = address.key;
  bool const is_uplink = port.client_type == VS_PORT_CLIENT_UPLINK;
  VSPMACLearning const policy =
      is_uplink ? team_learning_policy(database, vswitch) : port_learning_policy(database, vswitch, port.row);
  LearningSettings const settings = learning_settings(database, vswitch);
  if (!policy.learning || is_blocked(database, port.row))
    return Learning::ignored;
  if (!settings.learn_static && is_static(database, vswitch, key))
    return Learning::ignored;

  std::int64_t const now = clock_now(database);
  std::int64_t const seen = now - address.age * microseconds_per_second;
  struct Known {
    RowId port;
    std::int64_t moves;
  };
  std::optional<Known> known;
  {
    Rows row = database.rows(
        "SELECT port, moves, aging, seen FROM mac_entry"
        " WHERE vswitch = ? AND mac = ? AND vid = ? AND vni = ? AND type = ?",
        vswitch, Blob{mac_bytes(key.mac)}, key.vid, key.vni, VS_MAC_ADDR_TYPE_LEARNED);
    if (row.next()) {
      bool const aged = row.integer(2) && settings.aging_time &&
                        now - row.integer(3) >= settings.aging_time * microseconds_per_second;
      if (!aged)
        known = Known{row.integer(0), row.integer(1)};
    }
  }
  bool const moves = known && known->port != port.row;
  if (!known || moves) {
    Limit const limit = limit_at(database, vswitch, port, !known, policy, settings);
    if (limit.reached) {
      bool const allow =
          policy.macLimitPolicy == static_cast<VSPortMACLearningLimitPolicy>(VSPORT_MAC_LEARNING_LIMIT_POLICY_ALLOW);
      add_to_counter(database, vswitch, port.row, allow ? counter::not_learned_allowed : counter::not_learned_dropped,
                     1);
      if (allow && is_uplink && limit.is_of_port)
        add_to_counter(database, vswitch, no_port, counter::team_allowed_at_port_limit, 1);
      return allow ? Learning::allowed_unlearned : Learning::dropped;
    }
  }
  database.execute(
      "INSERT INTO mac_entry (vswitch, mac, vid, vni, type, port, aging, seen, moves) VALUES (?, ?, ?, ?, ?, ?, ?, ?, "
      "?)"
      " ON CONFLICT DO UPDATE SET port = excluded.port, aging = excluded.aging, seen = excluded.seen,"
      " moves = excluded.moves",
      vswitch, Blob{mac_bytes(key.mac)}, key.vid, key.vni, VS_MAC_ADDR_TYPE_LEARNED, port.row, address.aging, seen,
      known ? known->moves + moves : 0);
  if (!moves)
    return known ? Learning::refreshed : Learning::learned;
  add_to_counter(database, vswitch, port.row, counter::macs_moved, 1);
  return Learning::moved;
}

}  // namespace host
