// What teams have found by themselves, from the state of a host and back to it.
#include "platform/sim/team_store.hpp"

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/core/team_rows.hpp"
#include "platform/sim/lacp_words.hpp"
#include "platform/sim/mac_numbers.hpp"

namespace sim {

namespace {

using forwarding::LacpEnd;
using forwarding::LacpMember;
using forwarding::LacpSending;
using forwarding::never;
using forwarding::Port;
using forwarding::PortIndex;
using forwarding::Switch;
using forwarding::Traffic;

constexpr unsigned byte_bits = 8;

std::optional<std::int64_t> time_or_none(std::int64_t time) {
  return time == never ? std::nullopt : std::optional(time);
}

// ---- LACP ---------------------------------------------------------------------------------------------------------

LacpSending sending_of(host::LacpSendingRow const &row) {
  return {row.send_at.value_or(never), row.sent_at.value_or(never), static_cast<std::uint8_t>(row.sent_in_second)};
}

host::LacpSendingRow row_of(LacpSending const &sending) {
  return {time_or_none(sending.sent_at), sending.in_second, time_or_none(sending.at)};
}

// An end as 15 bytes: system priority, system, key, priority and number of the port, state.
constexpr std::array<std::size_t, 6> end_sizes{2, 6, 2, 2, 2, 1};

std::string bytes_of(LacpEnd const &end) {
  std::string bytes;
  std::array<std::uint64_t, 6> const parts{end.system_priority, end.system, end.key,
                                           end.port_priority,   end.port,   end.state};
  for (std::size_t i = 0; i < parts.size(); ++i) {
    for (std::size_t byte = end_sizes[i]; byte-- > 0;)
      bytes += static_cast<char>(parts[i] >> (byte * byte_bits));
  }
  return bytes;
}

LacpEnd end_of(std::string const &bytes) {
  std::array<std::uint64_t, 6> parts{};
  std::size_t at = 0;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    for (std::size_t byte = 0; byte < end_sizes[i] && at < bytes.size(); ++byte)
      parts[i] = parts[i] << byte_bits | static_cast<unsigned char>(bytes[at++]);
  }
  auto const word = [&](std::size_t part) { return static_cast<std::uint16_t>(parts[part]); };
  return {parts[1], word(0), word(2), word(3), word(4), static_cast<std::uint8_t>(parts[5])};
}

void take_row(host::LacpMemberRow const &row, LacpMember &member) {
  member.receive = receive_of(row.receive);
  member.receive_until = row.receive_until.value_or(never);
  member.is_selected = row.selected;
  member.selected_since = row.selected_since.value_or(0);
  member.is_up = row.up;
  member.actor_state = static_cast<std::uint8_t>(row.actor_state);
  member.is_synchronized = (member.actor_state & forwarding::lacp_state::synchronization) != 0;
  member.has_partner = row.partner.has_value();
  if (row.partner) {
    auto const word = [](std::int64_t number) { return static_cast<std::uint16_t>(number); };
    host::LacpEndRow const &end = *row.partner;
    member.partner = {
        number_of(end.system), word(end.system_priority), word(end.key), word(end.port_priority), word(end.port), 0};
  }
  member.partner.state = static_cast<std::uint8_t>(row.partner_state);
  member.sending = sending_of(row.sending);
  member.sent = static_cast<std::uint64_t>(row.sent);
  member.received = static_cast<std::uint64_t>(row.received);
  member.bad = static_cast<std::uint64_t>(row.bad);
  member.changes = static_cast<std::uint64_t>(row.changes);
}

host::LacpMemberRow row_of(host::RowId port, LacpMember const &member) {
  host::LacpMemberRow row{.port = port,
                          .receive = receive_word(member.receive),
                          .receive_until = time_or_none(member.receive_until),
                          .selected = member.is_selected,
                          .selected_since = std::nullopt,
                          .up = member.is_up,
                          .actor_state = member.actor_state,
                          .partner = std::nullopt,
                          .partner_state = member.partner.state,
                          .sending = row_of(member.sending),
                          .sent = static_cast<std::int64_t>(member.sent),
                          .received = static_cast<std::int64_t>(member.received),
                          .bad = static_cast<std::int64_t>(member.bad),
                          .changes = static_cast<std::int64_t>(member.changes)};
  if (member.is_selected)
    row.selected_since = member.selected_since;
  if (member.has_partner) {
    LacpEnd const &end = member.partner;
    row.partner = host::LacpEndRow{mac_of(end.system), end.system_priority, end.key, end.port_priority, end.port};
  }
  return row;
}

LacpMember *member_at(Compiled const &compiled, Traffic &traffic, host::RowId port) {
  auto const index = compiled.tables.find_port(static_cast<std::uint32_t>(port));
  if (!index)
    return nullptr;
  Port const &uplink = compiled.tables.ports[*index];
  if (uplink.lag == forwarding::nowhere)
    return nullptr;
  forwarding::Lag const &lag = compiled.tables.switches[uplink.vswitch].lags[uplink.lag];
  for (std::size_t place = 0; lag.lacp && place < lag.members.size(); ++place) {
    if (lag.members[place] == uplink.position)
      return &traffic.team(uplink.vswitch).lags[uplink.lag].members[place];
  }
  return nullptr;
}

void load_lacp(host::Database &database, Compiled const &compiled, std::uint32_t vswitch, Traffic &traffic) {
  Switch const &tables = compiled.tables.switches[vswitch];
  if (tables.negotiating.empty())
    return;
  for (host::LacpMemberRow const &row : host::load_lacp_members(database, compiled.switches[vswitch].row)) {
    if (LacpMember *const member = member_at(compiled, traffic, row.port))
      take_row(row, *member);
  }
  for (auto const &[lag, place] : tables.negotiating) {
    std::uint32_t const nic = compiled.tables.ports[tables.uplinks[tables.lags[lag].members[place]]].nic;
    if (nic == forwarding::nowhere || !compiled.tables.nics()[nic].partner)
      continue;
    host::LacpPartnerState const state = host::load_partner_state(database, compiled.nics[nic].row);
    LacpMember::Script &script = traffic.team(vswitch).lags[lag].members[place].script;
    script.heard = state.heard ? end_of(*state.heard) : LacpEnd{};
    script.has_heard = state.heard.has_value();
    script.is_named = state.is_named;
    script.sending = sending_of(state.sending);
  }
}

void store_lacp(host::Database &database, Compiled const &compiled, std::uint32_t vswitch, Traffic &traffic) {
  Switch const &tables = compiled.tables.switches[vswitch];
  for (std::size_t number = 0; number < tables.lags.size(); ++number) {
    forwarding::RunningLag &lag = traffic.team(vswitch).lags[number];
    std::uint32_t const changed = std::exchange(lag.changed, 0);
    for (std::size_t place = 0; place < lag.members.size(); ++place) {
      if (!(changed >> place & 1))
        continue;
      Port const &port = compiled.tables.ports[tables.uplinks[tables.lags[number].members[place]]];
      LacpMember const &member = lag.members[place];
      host::store_lacp_member(database, row_of(port.number, member));
      if (port.nic == forwarding::nowhere || !compiled.tables.nics()[port.nic].partner)
        continue;
      LacpMember::Script const &script = member.script;
      host::store_partner_state(database, compiled.nics[port.nic].row,
                                {script.has_heard ? std::optional(bytes_of(script.heard)) : std::nullopt,
                                 script.is_named, row_of(script.sending)});
    }
  }
}

// ---- beacons ------------------------------------------------------------------------------------------------------

std::optional<forwarding::UplinkPosition> position_at(Compiled const &compiled, host::RowId port) {
  auto const index = compiled.tables.find_port(static_cast<std::uint32_t>(port));
  if (!index || !compiled.tables.ports[*index].is_uplink())
    return std::nullopt;
  return compiled.tables.ports[*index].position;
}

void load_beacons(host::Database &database, Compiled const &compiled, std::uint32_t vswitch,
                  forwarding::Beacons &beacons) {
  if (!compiled.tables.switches[vswitch].beaconing)
    return;
  host::RowId const row = compiled.switches[vswitch].row;
  for (host::HeardBeacon const &heard : host::load_beacons(database, row)) {
    auto const listener = position_at(compiled, heard.listener);
    auto const sender = position_at(compiled, heard.sender);
    if (listener && sender)
      beacons.hear(*listener, *sender, heard.heard);
  }
  static_cast<void>(beacons.take_changes());
  if (std::optional<host::JudgedBeacons> const judged = host::load_judgement(database, row)) {
    beacons.judgement = {judged->is_undecided, 0};
    for (host::RowId const port : judged->failed) {
      if (auto const position = position_at(compiled, port))
        beacons.judgement.failed |= forwarding::only(*position);
    }
  }
}

void store_beacons(host::Database &database, Compiled const &compiled, std::uint32_t vswitch,
                   forwarding::Beacons &beacons) {
  Switch const &tables = compiled.tables.switches[vswitch];
  auto const number_at = [&](forwarding::UplinkPosition uplink) {
    return static_cast<host::RowId>(compiled.tables.ports[tables.uplinks[uplink]].number);
  };
  for (auto const &[listener, sender] : beacons.take_changes()) {
    host::store_beacon(database, {number_at(listener), number_at(sender), *beacons.heard(listener, sender)});
  }
  if (!std::exchange(beacons.is_judgement_changed, false))
    return;
  host::JudgedBeacons judged{beacons.judgement.is_undecided, {}};
  for (std::size_t uplink = 0; uplink < tables.uplinks.size(); ++uplink) {
    auto const position = static_cast<forwarding::UplinkPosition>(uplink);
    if (beacons.judgement.failed & forwarding::only(position))
      judged.failed.push_back(number_at(position));
  }
  host::store_judgement(database, compiled.switches[vswitch].row, judged);
}

// ---- load ---------------------------------------------------------------------------------------------------------

// What an uplink has sent is told by its counters; what was before stays as it was.
void load_loads(host::Database &database, Compiled const &compiled, std::uint32_t vswitch, Traffic &traffic) {
  Switch const &tables = compiled.tables.switches[vswitch];
  for (PortIndex const uplink : tables.uplinks)
    traffic.change_load(uplink).before = traffic.bytes_out(uplink);
  std::vector<PortIndex> gone;
  for (host::PortLoadRow const &row : host::load_port_loads(database, compiled.switches[vswitch].row)) {
    auto const index = compiled.tables.find_port(static_cast<std::uint32_t>(row.port));
    if (!index)
      continue;
    if (!tables.balances_load) {
      gone.push_back(*index);
      continue;
    }
    forwarding::PortLoad &load = traffic.change_load(*index);
    if (compiled.tables.ports[*index].is_uplink())
      load.before -= row.bytes;
    else
      load.bytes = row.bytes;
    auto const uplink = row.move ? position_at(compiled, row.move->uplink) : std::nullopt;
    if (uplink)
      load.moved = forwarding::MovedPort{*uplink, row.move->basis};
  }
  static_cast<void>(traffic.take_changed_loads());
  // Nobody is balanced any more.
  for (PortIndex const index : gone)
    traffic.change_load(index);
}

}  // namespace

void load_team(host::Database &database, Compiled const &compiled, std::uint32_t vswitch, Traffic &traffic) {
  load_lacp(database, compiled, vswitch, traffic);
  load_beacons(database, compiled, vswitch, traffic.team(vswitch).beacons);
  load_loads(database, compiled, vswitch, traffic);
}

void store_team(host::Database &database, Compiled const &compiled, std::uint32_t vswitch, Traffic &traffic) {
  store_lacp(database, compiled, vswitch, traffic);
  store_beacons(database, compiled, vswitch, traffic.team(vswitch).beacons);
}

void store_loads(host::Database &database, Compiled const &compiled, Traffic &traffic) {
  for (PortIndex const index : traffic.take_changed_loads()) {
    Port const &port = compiled.tables.ports[index];
    forwarding::PortLoad const &load = traffic.load(index);
    host::PortLoadRow row{port.number, load.bytes, std::nullopt};
    if (port.is_uplink() && compiled.tables.switches[port.vswitch].balances_load)
      row.bytes = traffic.bytes_out(index) - load.before;
    if (load.moved) {
      PortIndex const uplink = compiled.tables.switches[port.vswitch].uplinks[load.moved->uplink];
      row.move = host::PortMove{compiled.tables.ports[uplink].number, load.moved->basis};
    }
    host::store_port_load(database, row);
  }
}

}  // namespace sim
