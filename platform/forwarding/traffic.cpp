// What traffic leaves behind in a host: learned addresses and counters, and what has changed of them.
#include "platform/forwarding/traffic.hpp"

#include <algorithm>
#include <utility>

#include "constants/constants.hpp"
#include "platform/forwarding/load_balance.hpp"

namespace forwarding {

namespace {

constexpr std::int64_t microseconds_per_millisecond = 1000;

}  // namespace

Traffic::Traffic(Tables const &tables)
    : memberships_(tables.switches.size()),
      router_ports_(tables.switches.size()),
      loads_(tables.ports.size()),
      timers_(tables.switches.size()),
      ports_(tables.ports.size()),
      switches_(tables.switches.size()),
      mirrors_(tables.mirrors.size()),
      is_port_changed_(tables.ports.size()),
      is_switch_changed_(tables.switches.size()),
      is_mirror_changed_(tables.mirrors.size()),
      fits_(tables.teams.size()),
      bases_(tables.teams.size()) {
  tables_.reserve(tables.switches.size());
  for (Switch const &vswitch : tables.switches) {
    tables_.emplace_back(vswitch.first_port, vswitch.end_port);
    RunningTeam &team = running_.emplace_back();
    team.beacons = Beacons(vswitch.uplinks.size());
    for (Lag const &lag : vswitch.lags)
      team.lags.push_back({std::vector<LacpMember>(lag.lacp ? lag.members.size() : 0), lag.up, 0});
  }
  for (MirrorIndex mirror = 0; mirror < mirrors_.size(); ++mirror)
    mirrors_[mirror].sent.resize(tables.mirrors[mirror].addresses.size());
}

void Traffic::note_change(PortIndex port) {
  is_port_changed_[port] = true;
  changed_ports_.push_back({port, ports_[port]});
}

SwitchCounters &Traffic::count_switch(std::uint32_t vswitch) {
  if (!is_switch_changed_[vswitch]) {
    is_switch_changed_[vswitch] = true;
    changed_switches_.push_back(vswitch);
  }
  return switches_[vswitch];
}

MirrorTraffic &Traffic::count_mirror(MirrorIndex mirror) {
  if (!is_mirror_changed_[mirror]) {
    is_mirror_changed_[mirror] = true;
    changed_mirrors_.push_back(mirror);
  }
  return mirrors_[mirror];
}

std::vector<ChangedPort> Traffic::take_changed_ports() {
  for (ChangedPort const &changed : changed_ports_)
    is_port_changed_[changed.port] = false;
  return std::exchange(changed_ports_, {});
}

std::vector<std::uint32_t> Traffic::take_changed_switches() {
  for (std::uint32_t vswitch : changed_switches_)
    is_switch_changed_[vswitch] = false;
  return std::exchange(changed_switches_, {});
}

std::vector<MirrorIndex> Traffic::take_changed_mirrors() {
  for (MirrorIndex mirror : changed_mirrors_)
    is_mirror_changed_[mirror] = false;
  return std::exchange(changed_mirrors_, {});
}

void Traffic::forget_vlans(Tables const &tables, std::uint32_t vswitch, VlanSet const &vlans) {
  VlanSet databases;
  for (std::uint16_t vlan = 0; vlan < all_vlans; ++vlan) {
    if (vlans[vlan])
      databases.set(vlan).set(tables.switches[vswitch].database(vlan));
  }
  table(vswitch).forget_vlans(databases);
}

std::int64_t Traffic::next_aged(Tables const &tables, std::uint32_t vswitch) const {
  std::uint32_t const aging_time = tables.switches[vswitch].aging_time;
  std::optional<std::int64_t> const oldest = aging_time ? table(vswitch).oldest() : std::nullopt;
  return oldest ? (*oldest + aging_time) * microseconds_per_second : never;
}

void Traffic::age(Tables const &tables, std::uint32_t vswitch, std::int64_t now) {
  std::uint32_t const aging_time = tables.switches[vswitch].aging_time;
  if (aging_time)
    table(vswitch).expire(whole_seconds(now) - aging_time);
}

// ---- teams --------------------------------------------------------------------------------------------------------

PortLoad &Traffic::change_load(PortIndex port) {
  if (!std::exchange(loads_[port].is_changed, true))
    changed_loads_.push_back(port);
  return loads_[port];
}

std::vector<PortIndex> Traffic::take_changed_loads() {
  for (PortIndex const port : changed_loads_)
    loads_[port].is_changed = false;
  return std::exchange(changed_loads_, {});
}

std::uint64_t Traffic::bytes_out(PortIndex port) const {
  DirectionCounters const &out = ports_[port].out;
  return out.unicast_bytes + out.multicast_bytes + out.broadcast_bytes;
}

TeamPort Traffic::team_port(Tables const &tables, PortIndex index) const {
  Port const &port = tables.ports[index];
  std::optional<MovedPort> const &moved = loads_[index].moved;
  return {port.number, port.effective, std::nullopt, std::nullopt, moved ? std::optional(moved->uplink) : std::nullopt};
}

// An uplink as the failure criteria see it; what is fit holds at most until something about it changes with time.
Member Traffic::member_now(Tables const &tables, std::uint32_t vswitch, UplinkPosition uplink, std::int64_t now) {
  UplinkState const &state = tables.uplink_states[vswitch][uplink];
  Port const &port = tables.ports[tables.switches[vswitch].uplinks[uplink]];
  Member member = state.member;
  member.is_lacp_down = port.lag != nowhere && !(lag_up(port) & only(uplink));
  member.has_no_beacons = (beacons(tables, vswitch).failed & only(uplink)) != 0;
  if (!state.link_back)
    return member;
  std::int64_t const back = *state.link_back;
  std::int64_t const ready = back + tables.options.up_delay * microseconds_per_millisecond;
  // A clock that was set back leaves nothing to wait for.
  member.is_waiting = now >= back && now < ready;
  if (now < back)
    fit_until_ = std::min(fit_until_, back);
  else
    fit_since_ = std::max(fit_since_, member.is_waiting ? back : ready);
  if (member.is_waiting)
    fit_until_ = std::min(fit_until_, ready);
  return member;
}

void Traffic::compute_fit(Tables const &tables, std::int64_t now) {
  fit_since_ = INT64_MIN;
  fit_until_ = INT64_MAX;
  std::vector<std::vector<Member>> members(tables.switches.size());
  for (std::uint32_t vswitch = 0; vswitch < members.size(); ++vswitch) {
    std::size_t const uplinks = tables.uplink_states[vswitch].size();
    for (std::size_t uplink = 0; uplink < uplinks; ++uplink)
      members[vswitch].push_back(member_now(tables, vswitch, static_cast<UplinkPosition>(uplink), now));
  }
  for (std::uint32_t i = 0; i < fits_.size(); ++i) {
    TeamUse const &use = tables.teams[i];
    fits_[i].fit = fit_uplinks(*use.team, members[use.vswitch], use.numa_node);
    fits_[i].with_mates = tables.switches[use.vswitch].with_mates(fits_[i].fit.set);
    if (use.team->load_balance == constant::TEAM_FRP_TYPE_LB_LBT)
      forget_moves(tables, i, members[use.vswitch]);
  }
}

// Another policy, or other uplinks that are fit by it (T-7).
void Traffic::forget_moves(Tables const &tables, std::uint32_t team, std::vector<Member> const &members) {
  Switch const &vswitch = tables.switches[tables.teams[team].vswitch];
  std::string const basis = basis_of_moves(*tables.teams[team].team, fits_[team].fit, members);
  for (PortIndex const port : vswitch.clients) {
    bool const is_old = tables.ports[port].team == team && loads_[port].moved && loads_[port].moved->basis != basis;
    if (is_old)
      change_load(port).moved.reset();
  }
  bases_[team] = basis;
}

}  // namespace forwarding
