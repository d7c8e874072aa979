// What traffic leaves behind in a host: learned addresses and counters, and what has changed of them.
#include "platform/forwarding/traffic.hpp"

#include <algorithm>
#include <utility>

namespace forwarding {

namespace {

constexpr std::int64_t microseconds_per_second = 1000000;
constexpr std::int64_t microseconds_per_millisecond = 1000;

}  // namespace

std::int64_t whole_seconds(std::int64_t microseconds) {
  return microseconds / microseconds_per_second - (microseconds % microseconds_per_second < 0);
}

void DirectionCounters::count(Header const &header, std::size_t length) {
  if (!is_group(header.destination)) {
    ++unicast;
    unicast_bytes += length;
  } else if (header.is_multicast()) {
    ++multicast;
    multicast_bytes += length;
  } else {
    ++broadcast;
    broadcast_bytes += length;
  }
}

Traffic::Traffic(Tables const &tables)
    : memberships_(tables.switches.size()),
      router_ports_(tables.switches.size()),
      timers_(tables.switches.size()),
      ports_(tables.ports.size()),
      switches_(tables.switches.size()),
      is_port_changed_(tables.ports.size()),
      is_switch_changed_(tables.switches.size()),
      fits_(tables.teams.size()) {
  tables_.reserve(tables.switches.size());
  for (Switch const &vswitch : tables.switches)
    tables_.emplace_back(vswitch.first_port, vswitch.end_port);
}

PortCounters &Traffic::count(PortIndex port) {
  if (!is_port_changed_[port]) {
    is_port_changed_[port] = true;
    changed_ports_.push_back(port);
  }
  return ports_[port];
}

SwitchCounters &Traffic::count_switch(std::uint32_t vswitch) {
  if (!is_switch_changed_[vswitch]) {
    is_switch_changed_[vswitch] = true;
    changed_switches_.push_back(vswitch);
  }
  return switches_[vswitch];
}

std::vector<PortIndex> Traffic::take_changed_ports() {
  for (PortIndex port : changed_ports_)
    is_port_changed_[port] = false;
  return std::exchange(changed_ports_, {});
}

std::vector<std::uint32_t> Traffic::take_changed_switches() {
  for (std::uint32_t vswitch : changed_switches_)
    is_switch_changed_[vswitch] = false;
  return std::exchange(changed_switches_, {});
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

void Traffic::compute_fit(Tables const &tables, std::int64_t now) {
  fit_since_ = INT64_MIN;
  fit_until_ = INT64_MAX;
  std::int64_t const delay = tables.options.up_delay * microseconds_per_millisecond;
  std::vector<std::vector<Member>> members;
  for (std::vector<UplinkState> const &uplinks : tables.uplink_states) {
    members.emplace_back();
    for (UplinkState const &uplink : uplinks) {
      Member member = uplink.member;
      if (uplink.link_back) {
        std::int64_t const back = *uplink.link_back;
        std::int64_t const ready = back + delay;
        // A clock that was set back leaves nothing to wait for.
        member.is_waiting = now >= back && now < ready;
        if (now < back)
          fit_until_ = std::min(fit_until_, back);
        else
          fit_since_ = std::max(fit_since_, member.is_waiting ? back : ready);
        if (member.is_waiting)
          fit_until_ = std::min(fit_until_, ready);
      }
      members.back().push_back(member);
    }
  }
  for (std::size_t i = 0; i < fits_.size(); ++i) {
    TeamUse const &use = tables.teams[i];
    fits_[i].fit = fit_uplinks(*use.team, members[use.vswitch], use.numa_node);
    fits_[i].with_mates = tables.switches[use.vswitch].with_mates(fits_[i].fit.set);
  }
}

}  // namespace forwarding
