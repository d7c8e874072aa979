// The queries by which a switch that snoops asks its clients.
#include "platform/forwarding/queries.hpp"

#include <vector>

#include "platform/forwarding/made_frames.hpp"
#include "platform/forwarding/receivers.hpp"

namespace forwarding {

std::int64_t query_period(Tables const &tables, std::uint32_t vswitch) {
  Switch const &at = tables.switches[vswitch];
  bool const asks = (at.snoops_ipv4 || at.snoops_ipv6) && at.is_connected && !at.is_disabled && !at.clients.empty();
  return asks ? std::int64_t{tables.options.query_interval} * 1'000'000 : 0;
}

void ask_clients(Moment const &moment) {
  Switch const &at = moment.at();
  moment.traffic.refresh_team(moment.tables, moment.time);
  std::vector<MadeFrame> queries;
  if (at.snoops_ipv4)
    queries.push_back(igmp_query(at.own_mac, moment.tables.options));
  if (at.snoops_ipv6)
    queries.push_back(mld_query(at.own_mac, moment.tables.options));
  for (PortIndex const port : at.clients) {
    if (cannot_receive(moment.tables, moment.traffic, moment.tables.ports[port]) != Reason::none)
      continue;
    for (MadeFrame const &query : queries)
      deliver_made(moment, port, query.bytes());
  }
}

}  // namespace forwarding
