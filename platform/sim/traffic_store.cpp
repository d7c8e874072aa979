// What traffic leaves behind, from the state of a host and back to it.
#include "platform/sim/traffic_store.hpp"

#include <algorithm>

#include "platform/core/clock.hpp"
#include "platform/core/constants.hpp"
#include "platform/core/traffic.hpp"
#include "platform/sim/mac_numbers.hpp"
#include "platform/sim/team_store.hpp"

namespace sim {

namespace {

using namespace constant;

// The counters of a port, where forwarding has them and where the state does.
template <typename Visit>
void visit_counters(forwarding::PortCounters &port, host::PortCounters &row, Visit &&visit) {
  visit(port.in.unicast, row.packets_in_unicast);
  visit(port.in.unicast_bytes, row.bytes_in_unicast);
  visit(port.in.multicast, row.packets_in_multicast);
  visit(port.in.multicast_bytes, row.bytes_in_multicast);
  visit(port.in.broadcast, row.packets_in_broadcast);
  visit(port.in.broadcast_bytes, row.bytes_in_broadcast);
  visit(port.in.dropped, row.packets_in_dropped);
  visit(port.in.exceptions, row.packets_in_exception);
  visit(port.out.unicast, row.packets_out_unicast);
  visit(port.out.unicast_bytes, row.bytes_out_unicast);
  visit(port.out.multicast, row.packets_out_multicast);
  visit(port.out.multicast_bytes, row.bytes_out_multicast);
  visit(port.out.broadcast, row.packets_out_broadcast);
  visit(port.out.broadcast_bytes, row.bytes_out_broadcast);
  visit(port.out.dropped, row.packets_out_dropped);
  visit(port.out.exceptions, row.packets_out_exception);
  visit(port.not_learned_allowed, row.not_learned_allowed);
  visit(port.not_learned_dropped, row.not_learned_dropped);
  visit(port.addresses_moved, row.macs_moved);
}

// The same of a switch.
template <typename Visit>
void visit_counters(forwarding::SwitchCounters &vswitch, host::SwitchCounters &row, Visit &&visit) {
  visit(vswitch.team_allowed_at_port_limit, row.team_allowed_at_port_limit);
  visit(vswitch.sent_by_service_ports, row.service_port_tx);
  visit(vswitch.sent_by_own_policy, row.service_port_tx_own_policy);
  visit(vswitch.sent_by_source_policy, row.service_port_tx_source_policy);
  visit(vswitch.service_errors, row.service_port_tx_errors);
  visit(vswitch.received_by_service_ports, row.service_port_rx);
  visit(vswitch.reverse_path_overridden, row.service_port_rx_override);
  visit(vswitch.announcements, row.rarp_packets);
  visit(vswitch.announcing_time, row.rarp_time);
  visit(vswitch.longest_announcing, row.rarp_longest);
  visit(vswitch.promiscuous_copies, row.promiscuous_copies);
  visit(vswitch.promiscuous_frames, row.promiscuous_frames);
}

// And of a mirror session.
template <typename Visit>
void visit_counters(forwarding::MirrorTraffic &mirror, host::SessionTraffic &row, Visit &&visit) {
  visit(mirror.copies, row.statistics.copies);
  visit(mirror.copies_failed, row.statistics.copies_failed);
  visit(mirror.mirrored, row.statistics.mirrored);
  visit(mirror.discarded, row.statistics.discarded);
  visit(mirror.failed, row.statistics.failed);
  visit(mirror.seen, row.seen);
}

auto const take_up = [](std::uint64_t &counter, std::uint64_t stored) { counter = stored; };
auto const put_down = [](std::uint64_t counter, std::uint64_t &stored) { stored = counter; };

void load_learned(host::Database &database, Compiled const &compiled, std::uint32_t vswitch,
                  forwarding::MacTable &table) {
  for (host::MacRow const &row : mac_rows_of_type(database, compiled.switches[vswitch].row, VS_MAC_ADDR_TYPE_LEARNED)) {
    auto const port = compiled.tables.find_port(static_cast<std::uint32_t>(row.port));
    // Overlay networks have tables of their own.
    if (row.key.vni != QEL_VIRTUAL_NETWORK_ID_NONE || !port)
      continue;
    table.add({number_of(row.key.mac), static_cast<std::uint16_t>(row.key.vid), *port,
               forwarding::whole_seconds(row.seen), static_cast<std::uint32_t>(row.moves), row.aging});
  }
}

void store_learned(host::Database &database, Compiled const &compiled, std::uint32_t vswitch,
                   forwarding::MacTable &table) {
  constexpr unsigned vlan_bits = 16;
  host::RowId const row = compiled.switches[vswitch].row;
  for (std::uint64_t const key : table.take_changes()) {
    host::MacKey const stored{mac_of(key >> vlan_bits), static_cast<std::uint16_t>(key), QEL_VIRTUAL_NETWORK_ID_NONE};
    forwarding::MacTable::Place const place = table.find(key);
    if (place == forwarding::nowhere) {
      remove_mac_row(database, row, stored, VS_MAC_ADDR_TYPE_LEARNED);
      continue;
    }
    forwarding::LearnedAddress const address = table.address(place);
    forwarding::Port const &port = compiled.tables.ports[address.port];
    store_learned_row(database, row, port.is_uplink() ? host::TableSide::team : host::TableSide::ports,
                      {stored, VS_MAC_ADDR_TYPE_LEARNED, port.number, address.ages,
                       address.seen * host::microseconds_per_second, address.moves});
  }
}

// ---- memberships --------------------------------------------------------------------------------------------------

std::string text_of(forwarding::IpAddress const &address) {
  return {address.bytes().begin(), address.bytes().end()};
}

forwarding::IpAddress address_of(std::string_view bytes) {
  return forwarding::IpAddress({reinterpret_cast<std::uint8_t const *>(bytes.data()), bytes.size()});
}

void load_memberships(host::Database &database, Compiled const &compiled, std::uint32_t vswitch,
                      forwarding::Memberships &memberships) {
  for (auto const &[row, joined] : host::all_groups(database, compiled.switches[vswitch].row)) {
    auto const port = compiled.tables.find_port(static_cast<std::uint32_t>(row));
    if (!port)
      continue;
    host::MulticastGroup const &group = joined.group;
    forwarding::Membership membership{
        .filter = static_cast<forwarding::SourceFilter>(group.source_mode),
        .version = group.version,
        .vni = group.vni,
        .updated = joined.updated,
        .expiry = joined.expiry.value_or(forwarding::never),
    };
    for (std::string const &source : group.sources)
      membership.sources.push_back(address_of(source));
    memberships.set({address_of(group.address), *port}, std::move(membership));
  }
  static_cast<void>(memberships.take_changes());
}

void store_memberships(host::Database &database, Compiled const &compiled, std::uint32_t vswitch,
                       forwarding::Memberships &memberships) {
  for (forwarding::MembershipKey const &key : memberships.take_changes()) {
    host::RowId const port = compiled.tables.ports[key.port].number;
    forwarding::Membership const *const membership = memberships.find(key);
    if (!membership) {
      remove_group(database, port, text_of(key.group));
      continue;
    }
    host::JoinedGroup joined{
        {text_of(key.group), membership->version, static_cast<std::uint32_t>(membership->filter), membership->vni, {}},
        membership->updated};
    if (membership->is_reported())
      joined.expiry = membership->expiry;
    for (forwarding::IpAddress const &source : membership->sources)
      joined.group.sources.push_back(text_of(source));
    store_group(database, compiled.switches[vswitch].row, port, joined);
  }
}

void load_router_ports(host::Database &database, Compiled const &compiled, forwarding::Traffic &traffic) {
  for (host::RouterPortRow const &row : host::load_router_ports(database)) {
    if (auto const port = compiled.tables.find_port(static_cast<std::uint32_t>(row.port))) {
      traffic.router_ports(compiled.tables.ports[*port].vswitch)
          .set({*port, static_cast<std::uint8_t>(row.ip_version)}, row.expiry);
    }
  }
  for (std::uint32_t vswitch = 0; vswitch < compiled.switches.size(); ++vswitch)
    static_cast<void>(traffic.router_ports(vswitch).take_changes());
}

void store_router_ports(host::Database &database, Compiled const &compiled, forwarding::RouterPorts &ports) {
  for (forwarding::RouterPort const &key : ports.take_changes()) {
    host::RowId const port = compiled.tables.ports[key.port].number;
    auto const found = ports.all().find(key);
    if (found == ports.all().end())
      host::remove_router_port(database, port, key.ip_version);
    else
      host::store_router_port(database, {port, key.ip_version, found->second});
  }
}

// ---- timers -------------------------------------------------------------------------------------------------------

// A wait for a link lasts as long as the option says at present.
std::int64_t due_of(Compiled const &compiled, std::uint32_t vswitch, host::TimerRow const &row) {
  constexpr std::int64_t microseconds_per_millisecond = 1000;
  auto const port = compiled.tables.find_port(static_cast<std::uint32_t>(row.port));
  if (static_cast<forwarding::EventKind>(row.kind) != forwarding::EventKind::up_delay_end || !port)
    return row.due;
  auto const &back = compiled.tables.uplink_states[vswitch][compiled.tables.ports[*port].position].link_back;
  return back ? *back + compiled.tables.options.up_delay * microseconds_per_millisecond : row.due;
}

void load_timers(host::Database &database, Compiled const &compiled, std::uint32_t vswitch,
                 forwarding::Timers &timers) {
  for (host::TimerRow const &row : host::load_timers(database, compiled.switches[vswitch].row)) {
    timers.set({static_cast<forwarding::EventKind>(row.kind),
                static_cast<std::uint32_t>(row.port),
                due_of(compiled, vswitch, row),
                {row.detail.begin(), row.detail.end()}});
  }
  static_cast<void>(timers.take_changed());
}

void store_timers(host::Database &database, Compiled const &compiled, std::uint32_t vswitch,
                  forwarding::Timers &timers) {
  if (!timers.take_changed())
    return;
  std::vector<host::TimerRow> rows;
  for (forwarding::Timer const &timer : timers.all()) {
    rows.push_back({static_cast<std::int64_t>(timer.kind),
                    timer.port_number,
                    {timer.detail.begin(), timer.detail.end()},
                    timer.due});
  }
  host::store_timers(database, compiled.switches[vswitch].row, rows);
}

// ---- mirror sessions ------------------------------------------------------------------------------------------------

void load_mirrors(host::Database &database, Compiled const &compiled, std::uint32_t vswitch,
                  forwarding::Traffic &traffic) {
  forwarding::Switch const &tables = compiled.tables.switches[vswitch];
  if (!tables.has_mirrors())
    return;
  std::vector<host::SessionTraffic> rows = all_session_traffic(database, compiled.switches[vswitch].row);
  for (forwarding::MirrorIndex index = tables.first_mirror; index < tables.end_mirror; ++index) {
    forwarding::Mirror const &mirror = compiled.tables.mirrors[index];
    auto const row = std::find_if(rows.begin(), rows.end(),
                                  [&](host::SessionTraffic const &one) { return one.sid == mirror.session->name; });
    forwarding::MirrorTraffic &counted = traffic.count_mirror(index);
    visit_counters(counted, *row, take_up);
    for (std::size_t i = 0; i < mirror.addresses.size(); ++i) {
      for (host::SentCopies const &sent : row->sent) {
        if (sent.address == text_of(mirror.addresses[i]))
          counted.sent[i] = sent.number;
      }
    }
  }
}

void store_mirrors(host::Database &database, Compiled const &compiled, forwarding::Traffic &traffic) {
  for (forwarding::MirrorIndex const index : traffic.take_changed_mirrors()) {
    forwarding::Mirror const &mirror = compiled.tables.mirrors[index];
    forwarding::MirrorTraffic counted = traffic.mirror(index);
    host::SessionTraffic row{mirror.session->name, {}, 0, {}};
    visit_counters(counted, row, put_down);
    for (std::size_t i = 0; i < mirror.addresses.size(); ++i)
      row.sent.push_back({text_of(mirror.addresses[i]), counted.sent[i]});
    auto const vswitch = std::find_if(compiled.tables.switches.begin(), compiled.tables.switches.end(),
                                      [&](forwarding::Switch const &one) { return index < one.end_mirror; });
    auto const place = static_cast<std::size_t>(vswitch - compiled.tables.switches.begin());
    store_session_traffic(database, compiled.switches[place].row, row);
  }
}

// ---- counters of ports ----------------------------------------------------------------------------------------------

// Nearly all frames are unicast, and few columns cost less than all.
bool is_unicast_alone(forwarding::PortCounters before, forwarding::PortCounters const &now) {
  before.in.unicast = now.in.unicast;
  before.in.unicast_bytes = now.in.unicast_bytes;
  before.out.unicast = now.out.unicast;
  before.out.unicast_bytes = now.out.unicast_bytes;
  return before == now;
}

void store_counters(host::Database &database, host::RowId vswitch, host::RowId port,
                    forwarding::PortCounters const &before, forwarding::PortCounters counters) {
  host::PortCounters row;
  visit_counters(counters, row, put_down);
  if (!is_unicast_alone(before, counters) || !store_unicast_counters(database, port, row))
    store_port_counters(database, vswitch, port, row);
}

}  // namespace

forwarding::Traffic load_traffic(host::Database &database, Compiled const &compiled) {
  forwarding::Traffic traffic(compiled.tables);
  for (host::CountedPort &counted : host::all_port_counters(database)) {
    if (auto const port = compiled.tables.find_port(static_cast<std::uint32_t>(counted.port)))
      visit_counters(traffic.count(*port), counted.counters, take_up);
  }
  for (std::uint32_t vswitch = 0; vswitch < compiled.switches.size(); ++vswitch) {
    host::SwitchCounters counters = load_switch_counters(database, compiled.switches[vswitch].row);
    visit_counters(traffic.count_switch(vswitch), counters, take_up);
    load_learned(database, compiled, vswitch, traffic.table(vswitch));
    static_cast<void>(traffic.table(vswitch).take_changes());
    load_memberships(database, compiled, vswitch, traffic.memberships(vswitch));
    load_timers(database, compiled, vswitch, traffic.timers(vswitch));
    load_team(database, compiled, vswitch, traffic);
    load_mirrors(database, compiled, vswitch, traffic);
  }
  load_router_ports(database, compiled, traffic);
  static_cast<void>(traffic.take_changed_ports());
  static_cast<void>(traffic.take_changed_switches());
  static_cast<void>(traffic.take_changed_mirrors());
  return traffic;
}

void store_traffic(host::Database &database, Compiled const &compiled, forwarding::Traffic &traffic) {
  for (auto const &[index, before] : traffic.take_changed_ports()) {
    forwarding::Port const &port = compiled.tables.ports[index];
    store_counters(database, compiled.switches[port.vswitch].row, port.number, before, traffic.counters(index));
    if (port.is_uplink() && compiled.tables.switches[port.vswitch].balances_load)
      traffic.change_load(index);
  }
  for (std::uint32_t const vswitch : traffic.take_changed_switches()) {
    host::SwitchCounters row;
    forwarding::SwitchCounters counters = traffic.switch_counters(vswitch);
    visit_counters(counters, row, put_down);
    store_switch_counters(database, compiled.switches[vswitch].row, row);
  }
  for (std::uint32_t vswitch = 0; vswitch < compiled.switches.size(); ++vswitch) {
    store_learned(database, compiled, vswitch, traffic.table(vswitch));
    store_memberships(database, compiled, vswitch, traffic.memberships(vswitch));
    store_router_ports(database, compiled, traffic.router_ports(vswitch));
    store_timers(database, compiled, vswitch, traffic.timers(vswitch));
    store_team(database, compiled, vswitch, traffic);
  }
  store_loads(database, compiled, traffic);
  store_mirrors(database, compiled, traffic);
}

}  // namespace sim
