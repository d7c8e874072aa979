// What teams do by themselves: LACP of their LAGs, beacons, balancing by load.
#include "platform/forwarding/team_events.hpp"

#include <algorithm>
#include <bit>
#include <optional>
#include <utility>
#include <vector>

#include "constants/constants.hpp"
#include "platform/forwarding/announcements.hpp"
#include "platform/forwarding/load_balance.hpp"
#include "platform/forwarding/made_frames.hpp"

namespace forwarding {

namespace {

constexpr std::int64_t a_second = 1000000;

// ---- LACP ---------------------------------------------------------------------------------------------------------

Lacp lacp_at(Moment const &moment, std::uint32_t lag, std::int64_t now, bool is_tick = false) {
  return {*moment.at().lags[lag].lacp,
          moment.traffic.team(moment.vswitch).lags[lag].members,
          {now, is_tick, moment.gap_until}};
}

// What has changed of a LAG is noted; the team chooses among its members as they are now.
void note_changes(Moment const &moment, std::uint32_t lag, Lacp const &lacp) {
  RunningLag &running = moment.traffic.team(moment.vswitch).lags[lag];
  running.changed |= lacp.changed();
  if (lacp.changed_up() == 0)
    return;
  running.up = 0;
  std::vector<UplinkPosition> const &members = moment.at().lags[lag].members;
  for (std::size_t place = 0; place < running.members.size(); ++place)
    running.up |= running.members[place].is_up ? only(members[place]) : 0;
  moment.traffic.look_at_teams(moment.tables, moment.time);
  for (std::size_t place = 0; place < members.size(); ++place) {
    if (lacp.changed_up() >> place & 1)
      announce_all(moment, members[place]);
  }
}

// A member sends what it has to send now. True: that has changed others of the LAG.
bool send_once(Moment const &moment, std::uint32_t lag, std::size_t place, Lacp &lacp) {
  bool const is_sent = lacp.send(place);
  note_changes(moment, lag, lacp);
  if (is_sent) {
    PortIndex const port = moment.at().uplinks[moment.at().lags[lag].members[place]];
    deliver_made(moment, port, moment.traffic.team(moment.vswitch).lags[lag].members[place].frame);
  }
  return (lacp.changed() & ~(std::uint32_t{1} << place)) != 0;
}

// The earliest of something that members of LAGs have.
template <typename At>
std::int64_t earliest(Tables const &tables, Traffic const &traffic, std::uint32_t vswitch, At const &at) {
  std::int64_t next = never;
  for (auto const &[lag, place] : tables.switches[vswitch].negotiating)
    next = std::min(next, at(lag, place, traffic.team(vswitch).lags[lag].members[place]));
  return next;
}

}  // namespace

void start_lacp(Moment const &moment, std::int64_t since) {
  for (std::uint32_t lag = 0; lag < moment.at().lags.size(); ++lag) {
    Lag const &compiled = moment.at().lags[lag];
    if (!compiled.lacp)
      continue;
    RunningLag &running = moment.traffic.team(moment.vswitch).lags[lag];
    std::vector<UplinkState> const &states = moment.tables.uplink_states[moment.vswitch];
    Lacp now = lacp_at(moment, lag, moment.time);
    for (std::size_t place = 0; place < running.members.size(); ++place) {
      bool const was_up = running.members[place].receive != LacpReceive::disabled;
      bool const is_up = compiled.lacp->links[place].is_up;
      if (was_up && !is_up)
        now.link_down(place);
      if (was_up || !is_up)
        continue;
      std::optional<std::int64_t> const back = states[compiled.members[place]].link_back;
      Lacp then = lacp_at(moment, lag, std::min(back.value_or(since), moment.time));
      then.link_up(place);
      running.changed |= then.changed();
    }
    now.settle();
    running.changed |= now.changed();
    running.up = 0;
    for (std::size_t place = 0; place < running.members.size(); ++place)
      running.up |= running.members[place].is_up ? only(compiled.members[place]) : 0;
  }
}

void receive_lacp(Moment const &moment, PortIndex uplink, Bytes frame) {
  Port const &port = moment.tables.ports[uplink];
  if (port.lag == nowhere || !moment.at().lags[port.lag].lacp)
    return;
  std::vector<UplinkPosition> const &members = moment.at().lags[port.lag].members;
  auto const at = std::find(members.begin(), members.end(), port.position) - members.begin();
  Lacp lacp = lacp_at(moment, port.lag, moment.time);
  lacp.receive(static_cast<std::size_t>(at), frame);
  note_changes(moment, port.lag, lacp);
  // A frame may be news for other members, too.
  for (auto const &[lag, place] : moment.at().negotiating) {
    while (lag == port.lag && lacp.is_due(place))
      static_cast<void>(send_once(moment, lag, place, lacp));
  }
}

std::int64_t next_lacp_expiry(Tables const &tables, Traffic const &traffic, std::uint32_t vswitch,
                              std::int64_t /*after*/) {
  return earliest(tables, traffic, vswitch, [](std::uint32_t /*lag*/, std::size_t /*place*/, LacpMember const &member) {
    return member.receive_until;
  });
}

std::int64_t next_lacp_wait(Tables const &tables, Traffic const &traffic, std::uint32_t vswitch,
                            std::int64_t /*after*/) {
  return earliest(tables, traffic, vswitch, [](std::uint32_t /*lag*/, std::size_t /*place*/, LacpMember const &member) {
    return member.wait_until();
  });
}

std::int64_t next_lacp_send(Tables const &tables, Traffic const &traffic, std::uint32_t vswitch, std::int64_t after) {
  return earliest(tables, traffic, vswitch, [&](std::uint32_t lag, std::size_t place, LacpMember const &member) {
    LacpGroup const &group = *tables.switches[vswitch].lags[lag].lacp;
    return next_lacp_frame(group.settings, group.links[place], member, after);
  });
}

void expire_lacp(Moment const &moment) {
  for (auto const &[lag, place] : moment.at().negotiating) {
    Lacp lacp = lacp_at(moment, lag, moment.time);
    lacp.expire(place);
    note_changes(moment, lag, lacp);
  }
}

void end_lacp_waits(Moment const &moment) {
  for (auto const &[lag, place] : moment.at().negotiating) {
    Lacp lacp = lacp_at(moment, lag, moment.time);
    lacp.end_wait(place);
    note_changes(moment, lag, lacp);
  }
}

void send_lacp(Moment const &moment) {
  bool const is_tick = moment.time > moment.after && moment.time % a_second == 0;
  auto const &members = moment.at().negotiating;
  for (std::size_t i = 0; i < members.size();) {
    auto const &[lag, place] = members[i];
    Lacp lacp = lacp_at(moment, lag, moment.time, is_tick);
    if (!lacp.is_due(place)) {
      ++i;
      continue;
    }
    // What a member hears may be a reason to send for one before it.
    if (send_once(moment, lag, place, lacp))
      i = 0;
    if (moment.traffic.timers(moment.vswitch).next(EventKind::announcement) > moment.time)
      continue;
    for (auto const &[other_lag, other] : members) {
      Lacp later = lacp_at(moment, other_lag, moment.time, is_tick);
      later.leave_due(other);
      note_changes(moment, other_lag, later);
    }
    return;
  }
}

// ---- beacons ------------------------------------------------------------------------------------------------------

namespace {

// Whether frames come and go at an uplink.
bool passes(Switch const &vswitch, Port const &port) {
  return port.link_up && !port.is_blocked && vswitch.is_connected && !vswitch.is_disabled;
}

template <typename Visit>
void for_each(UplinkSet uplinks, Visit const &visit) {
  for (; uplinks; uplinks &= uplinks - 1)
    visit(static_cast<UplinkPosition>(std::countr_zero(uplinks)));
}

}  // namespace

void receive_beacon(Moment const &moment, PortIndex uplink, std::uint32_t sender) {
  std::optional<PortIndex> const from = moment.tables.find_port(sender);
  if (!from)
    return;
  Port const &listener = moment.tables.ports[uplink];
  Port const &port = moment.tables.ports[*from];
  UplinkSet const beaconing = moment.at().beaconing;
  bool const is_uplink = port.is_uplink() && port.vswitch == moment.vswitch;
  if (is_uplink && (beaconing & only(port.position)) && (beaconing & only(listener.position)))
    moment.traffic.team(moment.vswitch).beacons.hear(listener.position, port.position, moment.time);
}

std::int64_t beacon_period(Tables const &tables, std::uint32_t vswitch) {
  return tables.switches[vswitch].beaconing ? a_second : 0;
}

void send_beacons(Moment const &moment) {
  Switch const &vswitch = moment.at();
  auto const port_at = [&](UplinkPosition uplink) -> Port const & {
    return moment.tables.ports[vswitch.uplinks[uplink]];
  };
  std::vector<UplinkPosition> senders;
  for_each(vswitch.beaconing, [&](UplinkPosition uplink) {
    if (passes(vswitch, port_at(uplink)))
      senders.push_back(uplink);
  });
  std::sort(senders.begin(), senders.end(),
            [&](UplinkPosition left, UplinkPosition right) { return port_at(left).number < port_at(right).number; });
  for (UplinkPosition const sender : senders) {
    Port const &port = port_at(sender);
    NicConfiguration const &nic = moment.tables.nics()[port.nic];
    deliver_made(moment, vswitch.uplinks[sender], beacon_frame(nic.mac, moment.time, vswitch.identifier, port.number));
    for (UplinkPosition const listener : senders) {
      if (moment.tables.nics()[port_at(listener).nic].segment == nic.segment)
        moment.traffic.team(moment.vswitch).beacons.hear(listener, sender, moment.time);
    }
  }
}

// One whose link has only just come up has not had the time to be heard.
void judge_beacons(Moment const &moment) {
  constexpr std::int64_t long_enough = 3 * a_second;
  UplinkSet judged = 0;
  for_each(moment.at().beaconing, [&](UplinkPosition uplink) {
    std::optional<std::int64_t> const back = moment.tables.uplink_states[moment.vswitch][uplink].link_back;
    bool const is_fresh = back && moment.time >= *back && moment.time - *back < long_enough;
    judged |= is_fresh ? 0 : only(uplink);
  });
  Beacons &beacons = moment.traffic.team(moment.vswitch).beacons;
  BeaconJudgement const judgement = beacons.judge(judged, moment.time);
  if (std::exchange(beacons.judgement, judgement) == judgement)
    return;
  beacons.is_judgement_changed = true;
  moment.traffic.look_at_teams(moment.tables, moment.time);
}

// ---- load ---------------------------------------------------------------------------------------------------------

std::int64_t load_balance_period(Tables const &tables, std::uint32_t vswitch) {
  constexpr std::int64_t interval = 30 * a_second;
  return tables.switches[vswitch].balances_load ? interval : 0;
}

namespace {

std::uint64_t sent_since(Traffic const &traffic, PortIndex uplink) {
  return traffic.bytes_out(uplink) - traffic.load(uplink).before;
}

// Moves one port of those that send by a policy, if that is due. True: one was moved.
bool balance_team(Moment const &moment, std::uint32_t team) {
  Switch const &vswitch = moment.at();
  Team const &policy = *moment.tables.teams[team].team;
  Fit const &fit = moment.traffic.fit(team).fit;
  std::vector<LoadedUplink> uplinks;
  for (std::size_t i = 0; i < fit.count; ++i) {
    PortIndex const port = vswitch.uplinks[fit.uplinks[i]];
    std::uint32_t const nic = moment.tables.ports[port].nic;
    uplinks.push_back(
        {fit.uplinks[i], sent_since(moment.traffic, port), nic == nowhere ? 0 : moment.tables.nics()[nic].speed});
  }
  std::vector<PortIndex> indices;
  std::vector<LoadingPort> ports;
  for (PortIndex const index : vswitch.clients) {
    Port const &port = moment.tables.ports[index];
    if (port.team != team || port.tied)
      continue;
    std::optional<UplinkPosition> const uplink =
        pick(fit, policy, moment.traffic.team_port(moment.tables, index), nullptr);
    if (!uplink)
      continue;
    indices.push_back(index);
    ports.push_back({port.number, moment.traffic.load(index).bytes, *uplink});
  }
  std::optional<LoadMove> const move = balance_load(uplinks, ports);
  if (move) {
    moment.traffic.change_load(indices[move->port]).moved =
        MovedPort{move->uplink, moment.traffic.basis_of_moves_by(team)};
  }
  return move.has_value();
}

}  // namespace

// One port of a switch moves at most; then the next interval begins.
void balance_loads(Moment const &moment) {
  moment.traffic.refresh_team(moment.tables, moment.time);
  for (std::uint32_t team = 0; team < moment.tables.teams.size(); ++team) {
    TeamUse const &use = moment.tables.teams[team];
    bool const is_by_load = use.team->load_balance == constant::TEAM_FRP_TYPE_LB_LBT;
    if (use.vswitch == moment.vswitch && is_by_load && balance_team(moment, team))
      break;
  }
  for (PortIndex const client : moment.at().clients) {
    if (moment.traffic.load(client).bytes != 0)
      moment.traffic.change_load(client).bytes = 0;
  }
  for (PortIndex const uplink : moment.at().uplinks) {
    if (sent_since(moment.traffic, uplink) != 0)
      moment.traffic.change_load(uplink).before = moment.traffic.bytes_out(uplink);
  }
}

}  // namespace forwarding
