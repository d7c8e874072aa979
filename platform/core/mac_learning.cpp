// Learning MAC addresses from the sources of frames.
#include "platform/core/mac_learning.hpp"

#include "platform/core/blocking.hpp"
#include "platform/core/clock.hpp"

namespace host {

namespace {

// Whether an address belongs to a client or was set by hand.
bool is_static(Database &database, RowId vswitch, MacKey const &key) {
  return is_client_mac(database, vswitch, key.mac) ||
         find_mac_row(database, vswitch, key, VS_MAC_ADDR_TYPE_USER).has_value();
}

// Learned addresses are seen in whole seconds, rounded down.
std::int64_t whole_second(std::int64_t time) {
  std::int64_t const rest = time % microseconds_per_second;
  return time - (rest < 0 ? rest + microseconds_per_second : rest);
}

struct Limit {
  bool reached;
  bool is_of_port;
};

Limit limit_at(Database &database, RowId vswitch, Port const &port, bool is_new_to_switch, VSPMACLearning const &policy,
               LearningSettings const &settings, std::int64_t oldest) {
  bool const is_uplink = port.client_type == VS_PORT_CLIENT_UPLINK;
  if (!is_uplink || has_learning_policy(database, vswitch, port.row)) {
    std::int64_t const most = port_learning_policy(database, vswitch, port.row).macLimit;
    if (port_has_mac_rows(database, port.row, most, oldest))
      return {true, true};
  }
  TableSide const side = is_uplink ? TableSide::team : TableSide::ports;
  std::int64_t const most = is_uplink ? policy.macLimit : settings.mac_limit;
  return {is_new_to_switch && side_has_learned(database, vswitch, side, most, oldest), false};
}

}  // namespace

Learning learn_address(Database &database, RowId vswitch, Port const &port, SeenAddress const &address) {
  MacKey const &key = address.key;
  bool const is_uplink = port.client_type == VS_PORT_CLIENT_UPLINK;
  VSPMACLearning const policy =
      is_uplink ? team_learning_policy(database, vswitch) : port_learning_policy(database, vswitch, port.row);
  LearningSettings const settings = learning_settings(database, vswitch);
  if (!policy.learning || is_blocked(database, port.row))
    return Learning::ignored;
  if (settings.static_allowed && !settings.learn_static && is_static(database, vswitch, key))
    return Learning::ignored;

  std::int64_t const now = clock_now(database);
  std::int64_t const oldest = oldest_seen(now, settings);
  std::optional<MacRow> const former = find_mac_row(database, vswitch, key, VS_MAC_ADDR_TYPE_LEARNED);
  bool const is_known = former && (!former->aging || former->seen > oldest);
  bool const moves = is_known && former->port != port.row;
  if (!is_known || moves) {
    Limit const limit = limit_at(database, vswitch, port, !is_known, policy, settings, oldest);
    if (limit.reached) {
      bool const allow =
          policy.macLimitPolicy == static_cast<VSPortMACLearningLimitPolicy>(VSPORT_MAC_LEARNING_LIMIT_POLICY_ALLOW);
      count_at_port(database, vswitch, port.row,
                    allow ? &PortCounters::not_learned_allowed : &PortCounters::not_learned_dropped);
      if (allow && is_uplink && limit.is_of_port) {
        SwitchCounters counters = load_switch_counters(database, vswitch);
        ++counters.team_allowed_at_port_limit;
        store_switch_counters(database, vswitch, counters);
      }
      return allow ? Learning::allowed_unlearned : Learning::dropped;
    }
  }
  MacRow const row{key,
                   VS_MAC_ADDR_TYPE_LEARNED,
                   port.row,
                   address.aging,
                   whole_second(now - address.age * microseconds_per_second),
                   is_known ? former->moves + moves : 0};
  if (is_known && !moves) {
    refresh_mac_row(database, vswitch, row);
    return Learning::refreshed;
  }
  if (former)
    remove_mac_row(database, vswitch, key, VS_MAC_ADDR_TYPE_LEARNED);
  add_mac_row(database, vswitch, is_uplink ? TableSide::team : TableSide::ports, row);
  if (!moves)
    return Learning::learned;
  count_at_port(database, vswitch, port.row, &PortCounters::macs_moved);
  return Learning::moved;
}

}  // namespace host
