// Learns where the source address of a frame is.
#include "platform/forwarding/learning.hpp"

#include "constants/constants.hpp"

namespace forwarding {

namespace {

constexpr std::uint32_t team_limit = constant::TEAM_MAC_LEARNING_LIMIT_ENTRIES_DEFAULT;

// Of an address that is new at the port (MAC-9).
bool is_at_limit(Passage const &passage, MacTable::Place known, MacTable const &table, bool &is_own) {
  Port const &port = *passage.ingress;
  bool const has_own_limit = !port.is_uplink() || port.has_own_limit;
  is_own = has_own_limit && table.count_at(passage.from) + port.manual_count >= port.learned_limit;
  if (is_own)
    return true;
  bool const is_new_on_side =
      known == nowhere || passage.tables.ports[table.port(known)].is_uplink() != port.is_uplink();
  if (!is_new_on_side)
    return false;
  std::uint32_t in_team = 0;
  for (PortIndex uplink : passage.vswitch->uplinks)
    in_team += table.count_at(uplink);
  return port.is_uplink() ? in_team >= team_limit : table.size() - in_team >= passage.vswitch->learned_limit;
}

}  // namespace

Verdict learn_source(Passage const &passage, std::int64_t now) {
  Traffic &traffic = passage.traffic;
  traffic.age(passage.tables, passage.vswitch_index, now);
  Port const &port = *passage.ingress;
  MacAddress const source = passage.header.source;
  bool const learns = port.is_uplink() ? passage.vswitch->team_learns : port.learns;
  if (!learns || passage.vswitch->not_learned[passage.in_vlan.vlan] || is_static(passage, source))
    return pass(Rule::MAC_2);

  MacTable &table = traffic.table(passage.vswitch_index);
  std::int64_t const seen = whole_seconds(now);
  MacTable::Place const known = table.find(passage.key_of(source));
  if (known != nowhere && table.port(known) == passage.from) {
    table.refresh(known, seen);
    return pass(Rule::MAC_3);
  }
  bool is_own_limit = false;
  if (is_at_limit(passage, known, table, is_own_limit)) {
    PortCounters &counters = traffic.count(passage.from);
    bool const has_policy = !port.is_uplink() || port.has_own_limit;
    if (has_policy && port.drops_at_limit) {
      ++counters.not_learned_dropped;
      return refuse(Reason::mac_limit);
    }
    ++counters.not_learned_allowed;
    if (port.is_uplink() && is_own_limit)
      ++traffic.count_switch(passage.vswitch_index).team_allowed_at_port_limit;
    return pass(Rule::MAC_9);
  }
  if (known == nowhere) {
    table.add({source, passage.vswitch->database(passage.in_vlan.vlan), passage.from, seen, 0, true});
    return pass(Rule::MAC_1);
  }
  std::uint32_t const former_lag = passage.tables.ports[table.port(known)].lag;
  bool const counts = former_lag == nowhere || former_lag != port.lag;
  table.move(known, passage.from, seen, counts);
  traffic.count(passage.from).addresses_moved += counts;
  return pass(Rule::MAC_7);
}

}  // namespace forwarding
