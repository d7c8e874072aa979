// What traffic leaves behind in a host: learned addresses and counters, and what has changed of them.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "platform/forwarding/mac_table.hpp"
#include "platform/forwarding/memberships.hpp"
#include "platform/forwarding/running_team.hpp"
#include "platform/forwarding/tables.hpp"
#include "platform/forwarding/timers.hpp"

namespace forwarding {

// The host's time in seconds as learned addresses have it: rounded down, before the epoch too.
inline constexpr std::int64_t microseconds_per_second = 1000000;
inline std::int64_t whole_seconds(std::int64_t microseconds) {
  return microseconds / microseconds_per_second - (microseconds % microseconds_per_second < 0);
}

// Packets and bytes in one direction of a port.
struct DirectionCounters {
  std::uint64_t unicast = 0;
  std::uint64_t multicast = 0;
  std::uint64_t broadcast = 0;
  std::uint64_t unicast_bytes = 0;
  std::uint64_t multicast_bytes = 0;
  std::uint64_t broadcast_bytes = 0;
  std::uint64_t dropped = 0;
  std::uint64_t exceptions = 0;

  void count(Header const &header, std::size_t length) {
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
  bool operator==(DirectionCounters const &) const = default;
};

struct PortCounters {
  DirectionCounters in;  // without what noLearningDroppedPkts counts
  DirectionCounters out;
  std::uint64_t not_learned_allowed = 0;
  std::uint64_t not_learned_dropped = 0;
  std::uint64_t addresses_moved = 0;
  bool operator==(PortCounters const &) const = default;
};

// A port that was counted in, and what stood there.
struct ChangedPort {
  PortIndex port;
  PortCounters before;
};

struct SwitchCounters {
  std::uint64_t team_allowed_at_port_limit = 0;
  // Service ports.
  std::uint64_t sent_by_service_ports = 0;
  std::uint64_t sent_by_own_policy = 0;
  std::uint64_t sent_by_source_policy = 0;
  std::uint64_t service_errors = 0;
  std::uint64_t received_by_service_ports = 0;
  std::uint64_t reverse_path_overridden = 0;
  // Rounds of announcements: frames, and milliseconds of all together and of the longest.
  std::uint64_t announcements = 0;
  std::uint64_t announcing_time = 0;
  std::uint64_t longest_announcing = 0;
  // The mirror session `legacy_promiscuous`.
  std::uint64_t promiscuous_copies = 0;
  std::uint64_t promiscuous_frames = 0;
};

// What a mirror session has counted.
struct MirrorTraffic {
  std::uint64_t copies = 0;
  std::uint64_t copies_failed = 0;
  std::uint64_t mirrored = 0;
  std::uint64_t discarded = 0;
  std::uint64_t failed = 0;
  std::uint64_t seen = 0;             // the frames that it samples
  std::vector<std::uint64_t> sent{};  // copies to each of its addresses
};

// Where a session has selected the frame that is on its way; nowhere: it has not.
struct MirrorSelection {
  PortIndex port = nowhere;
  bool is_out = false;
};

// The uplinks that are fit for a way of sending, and those with all members of their LAGs.
struct TeamFit {
  Fit fit;
  UplinkSet with_mates = 0;
};

// Who gets the frame that is on its way.
struct Receiver {
  PortIndex port = 0;
  DeliveryKind kind = DeliveryKind::frame;
  Reason drop = Reason::none;  // it would get the frame, but cannot
};

class Traffic {
 public:
  explicit Traffic(Tables const &tables);

  MacTable &table(std::uint32_t vswitch) { return tables_[vswitch]; }
  MacTable const &table(std::uint32_t vswitch) const { return tables_[vswitch]; }

  Memberships &memberships(std::uint32_t vswitch) { return memberships_[vswitch]; }
  Memberships const &memberships(std::uint32_t vswitch) const { return memberships_[vswitch]; }
  RouterPorts &router_ports(std::uint32_t vswitch) { return router_ports_[vswitch]; }
  RouterPorts const &router_ports(std::uint32_t vswitch) const { return router_ports_[vswitch]; }

  Timers &timers(std::uint32_t vswitch) { return timers_[vswitch]; }
  Timers const &timers(std::uint32_t vswitch) const { return timers_[vswitch]; }

  PortCounters const &counters(PortIndex port) const { return ports_[port]; }
  SwitchCounters const &switch_counters(std::uint32_t vswitch) const { return switches_[vswitch]; }
  // To be counted in: they stand in the changes then.
  PortCounters &count(PortIndex port) {
    if (!is_port_changed_[port])
      note_change(port);
    return ports_[port];
  }
  SwitchCounters &count_switch(std::uint32_t vswitch);
  MirrorTraffic const &mirror(MirrorIndex mirror) const { return mirrors_[mirror]; }
  MirrorTraffic &count_mirror(MirrorIndex mirror);

  // Which ports, switches and mirror sessions were counted in since this was asked last, in the order in which it
  // happened first.
  std::vector<ChangedPort> take_changed_ports();
  std::vector<std::uint32_t> take_changed_switches();
  std::vector<MirrorIndex> take_changed_mirrors();

  // What was learned at a port goes (MAC-8); what was learned in VLANs does (V-8).
  void forget_port(Tables const &tables, PortIndex port) { table(tables.ports[port].vswitch).forget_port(port); }
  void forget_vlans(Tables const &tables, std::uint32_t vswitch, VlanSet const &vlans);

  // When the next address of a switch has aged, in microseconds; and removes those that have at a time.
  std::int64_t next_aged(Tables const &tables, std::uint32_t vswitch) const;
  void age(Tables const &tables, std::uint32_t vswitch, std::int64_t now);

  // Teaming at a time, in microseconds; what is asked for by the next two is that of the time told last.
  void refresh_team(Tables const &tables, std::int64_t now) {
    if (now < fit_since_ || now >= fit_until_)
      compute_fit(tables, now);
  }
  TeamFit const &fit(std::uint32_t team) const { return fits_[team]; }

  // What teams have found by themselves. After a change of who is up or has failed, look_at_teams().
  RunningTeam &team(std::uint32_t vswitch) { return running_[vswitch]; }
  RunningTeam const &team(std::uint32_t vswitch) const { return running_[vswitch]; }
  void look_at_teams(Tables const &tables, std::int64_t now) { compute_fit(tables, now); }
  UplinkSet lag_up(Port const &uplink) const { return running_[uplink.vswitch].lags[uplink.lag].up; }
  // What the beacons of a switch say now: nothing where there are none.
  BeaconJudgement beacons(Tables const &tables, std::uint32_t vswitch) const {
    return tables.switches[vswitch].beaconing ? running_[vswitch].beacons.judgement : BeaconJudgement{};
  }

  // What ports of a switch that balances by load have sent; to be changed, it stands in the changes then.
  PortLoad const &load(PortIndex port) const { return loads_[port]; }
  PortLoad &change_load(PortIndex port);
  std::vector<PortIndex> take_changed_loads();
  // By its counters, all that went out there.
  std::uint64_t bytes_out(PortIndex port) const;
  // The port as it chooses an uplink.
  TeamPort team_port(Tables const &tables, PortIndex index) const;
  // What moves by a team's policy are decided by now.
  std::string const &basis_of_moves_by(std::uint32_t team) const { return bases_[team]; }

  // Room for the receivers of the frame that is on its way: kept from frame to frame.
  std::vector<Receiver> receivers;
  // And for the ports that take it by a membership.
  std::vector<PortIndex> group_members;
  // And for its bytes in each form.
  std::array<std::vector<std::uint8_t>, 3> form_room;
  // For the sessions that have selected it, by their order in the switch, and for its copies.
  std::vector<MirrorSelection> selections;
  std::vector<std::uint8_t> copy_room;
  std::vector<std::uint8_t> outer_room;

 private:
  void note_change(PortIndex port);
  void compute_fit(Tables const &tables, std::int64_t now);
  Member member_now(Tables const &tables, std::uint32_t vswitch, UplinkPosition uplink, std::int64_t now);
  void forget_moves(Tables const &tables, std::uint32_t team, std::vector<Member> const &members);

  std::vector<MacTable> tables_;
  std::vector<Memberships> memberships_;
  std::vector<RouterPorts> router_ports_;
  std::vector<RunningTeam> running_;
  std::vector<PortLoad> loads_;
  std::vector<PortIndex> changed_loads_;
  std::vector<Timers> timers_;
  std::vector<PortCounters> ports_;
  std::vector<SwitchCounters> switches_;
  std::vector<MirrorTraffic> mirrors_;
  std::vector<bool> is_port_changed_;
  std::vector<bool> is_switch_changed_;
  std::vector<bool> is_mirror_changed_;
  std::vector<ChangedPort> changed_ports_;
  std::vector<std::uint32_t> changed_switches_;
  std::vector<MirrorIndex> changed_mirrors_;
  std::vector<TeamFit> fits_;
  std::vector<std::string> bases_;
  // When they hold: up to the next end of a wait for a link.
  std::int64_t fit_since_ = INT64_MAX;
  std::int64_t fit_until_ = INT64_MIN;
};

}  // namespace forwarding
