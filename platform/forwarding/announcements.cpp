// How a switch announces its clients where their uplinks have changed: rounds of frames, so many at a time.
#include "platform/forwarding/announcements.hpp"

#include <algorithm>

#include "constants/constants.hpp"
#include "platform/forwarding/made_frames.hpp"
#include "platform/forwarding/receivers.hpp"

namespace forwarding {

namespace {

using namespace constant;

constexpr std::uint64_t interval = 100;  // milliseconds
constexpr std::uint64_t milliseconds_per_second = 1000;
constexpr std::int64_t microseconds_per_millisecond = 1000;

constexpr std::size_t time_size = 8;
constexpr std::size_t number_size = 4;

std::uint64_t read_number(std::span<std::uint8_t const> bytes) {
  std::uint64_t number = 0;
  for (std::uint8_t const byte : bytes)
    number = number << 8 | byte;
  return number;
}

RoundPace pace(Options const &options) {
  return {options.announcements_at_once, options.announcement_duration};
}

// A client's uplink as its announcement takes it; whether it sends one at all.
struct Announcer {
  std::optional<UplinkPosition> uplink;
  bool announces = false;
};

Announcer announcer(Moment const &moment, PortIndex index) {
  Port const &port = moment.tables.ports[index];
  Announcer found{uplink_without_frame(moment.tables, moment.traffic, port)};
  bool const by_ip = !port.tied && moment.tables.teams[port.team].team->load_balance == TEAM_FRP_TYPE_LB_IP;
  bool const in_lag = found.uplink && moment.tables.ports[moment.at().uplinks[*found.uplink]].lag != nowhere;
  found.announces = port.kind == PortKind::client && port.effective != 0 && !by_ip && !in_lag;
  return found;
}

void announce(Moment const &moment, PortIndex index) {
  Announcer const found = announcer(moment, index);
  if (!found.announces || !found.uplink)
    return;
  Port const &port = moment.tables.ports[index];
  // Where the client's untagged frames are; a trunk that takes none has 0 there.
  std::uint16_t const vlan = port.vlan;
  send_made(moment, *found.uplink, announcement(port.effective).bytes(), vlan);
  if (!moment.tables.options.reports_to_uplink)
    return;
  for (auto const &[key, membership] : moment.traffic.memberships(moment.vswitch).all()) {
    bool const is_snooped = key.group.is_ipv4() ? moment.at().snoops_ipv4 : moment.at().snoops_ipv6;
    if (key.port == index && is_snooped)
      send_made(moment, *found.uplink, group_report(port.effective, key.group).bytes(), vlan);
  }
}

}  // namespace

std::vector<std::uint8_t> packed(Round const &round) {
  MadeFrame bytes;
  bytes.put32(static_cast<std::uint32_t>(round.begin >> 32)).put32(static_cast<std::uint32_t>(round.begin));
  for (std::uint32_t const number : round.ports)
    bytes.put32(number);
  return {bytes.bytes().begin(), bytes.bytes().end()};
}

Round unpacked_round(std::span<std::uint8_t const> detail) {
  if (detail.size() < time_size)
    return {};
  Round round{static_cast<std::int64_t>(read_number(detail.first(time_size)))};
  for (detail = detail.subspan(time_size); detail.size() >= number_size; detail = detail.subspan(number_size))
    round.ports.push_back(static_cast<std::uint32_t>(read_number(detail.first(number_size))));
  return round;
}

std::uint64_t RoundPace::packets(std::size_t ports) const {
  return std::min<std::uint64_t>(ports, at_once * (duration * milliseconds_per_second / interval));
}

std::uint64_t RoundPace::milliseconds(std::uint64_t packets) const {
  return (packets + at_once - 1) / at_once * interval;
}

void begin_round(Moment const &moment, std::vector<PortIndex> const &ports) {
  if (ports.empty())
    return;
  RoundPace const speed = pace(moment.tables.options);
  std::uint64_t const packets = speed.packets(ports.size());
  std::uint64_t const time = speed.milliseconds(packets);
  SwitchCounters &counters = moment.traffic.count_switch(moment.vswitch);
  counters.announcements += packets;
  counters.announcing_time += time;
  counters.longest_announcing = std::max(counters.longest_announcing, time);
  Round round{moment.time};
  for (PortIndex const index : std::span(ports).first(packets))
    round.ports.push_back(moment.tables.ports[index].number);
  moment.traffic.timers(moment.vswitch).set({EventKind::announcement, 0, moment.time, packed(round)});
}

void announce_all(Moment const &moment, UplinkPosition changed) {
  if (!moment.at().notifies_network || !(moment.at().team_members & only(changed)))
    return;
  moment.traffic.refresh_team(moment.tables, moment.time);
  std::vector<PortIndex> ports;
  for (PortIndex const index : moment.at().clients) {
    if (announcer(moment, index).announces)
      ports.push_back(index);
  }
  begin_round(moment, ports);
}

void end_up_delays(Moment const &moment) {
  moment.traffic.timers(moment.vswitch).take_due(EventKind::up_delay_end, moment.time);
  if (!moment.at().notifies_network)
    return;
  std::vector<std::optional<UplinkPosition>> former;
  moment.traffic.refresh_team(moment.tables, moment.time - 1);
  for (PortIndex const index : moment.at().clients)
    former.push_back(announcer(moment, index).uplink);
  moment.traffic.refresh_team(moment.tables, moment.time);
  std::vector<PortIndex> ports;
  for (std::size_t i = 0; i < former.size(); ++i) {
    Announcer const now = announcer(moment, moment.at().clients[i]);
    if (now.announces && now.uplink != former[i])
      ports.push_back(moment.at().clients[i]);
  }
  begin_round(moment, ports);
}

void go_on_with_round(Moment const &moment) {
  moment.traffic.refresh_team(moment.tables, moment.time);
  Timers &timers = moment.traffic.timers(moment.vswitch);
  for (Timer const &timer : timers.take_due(EventKind::announcement, moment.time)) {
    Round round = unpacked_round(timer.detail);
    std::size_t const count = std::min<std::size_t>(round.ports.size(), moment.tables.options.announcements_at_once);
    for (std::uint32_t const number : std::span(round.ports).first(count)) {
      if (std::optional<PortIndex> const index = moment.tables.find_port(number))
        announce(moment, *index);
    }
    round.ports.erase(round.ports.begin(), round.ports.begin() + static_cast<std::ptrdiff_t>(count));
    std::int64_t const next = moment.time + static_cast<std::int64_t>(interval) * microseconds_per_millisecond;
    std::int64_t const end =
        round.begin + std::int64_t{moment.tables.options.announcement_duration} * microseconds_per_second;
    if (!round.ports.empty() && next < end)
      timers.set({EventKind::announcement, 0, next, packed(round)});
  }
}

}  // namespace forwarding
