// Beacons: the frames by which the uplinks of a team hear one another, and what follows from who hears whom.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/forwarding/frame.hpp"
#include "platform/forwarding/teaming.hpp"

namespace forwarding {

using SwitchIdentifier = std::array<std::uint8_t, 64>;  // padded with zeros

inline constexpr std::size_t beacon_size = 90;
using BeaconFrame = std::array<std::uint8_t, beacon_size>;

// Of the NIC of an uplink port, at a time in microseconds since the epoch.
BeaconFrame beacon_frame(MacAddress source, std::int64_t now, SwitchIdentifier const &vswitch, std::uint32_t port);

// The number of the port that sent the beacon; none for what is no beacon of the switch.
std::optional<std::uint32_t> beacon_sender(Header const &header, SwitchIdentifier const &vswitch);

// What was found when beacons were last judged.
struct BeaconJudgement {
  bool is_undecided = false;
  UplinkSet failed = 0;

  bool operator==(BeaconJudgement const &) const = default;
};

// Who hears whom among the uplinks of a switch. Times are in microseconds since the epoch.
class Beacons {
 public:
  explicit Beacons(std::size_t uplinks) : uplinks_(uplinks) {}

  void hear(UplinkPosition listener, UplinkPosition sender, std::int64_t now);
  // When the listener last heard the sender.
  std::optional<std::int64_t> heard(UplinkPosition listener, UplinkPosition sender) const;

  // Among the uplinks that are judged: the larger group of those that hear one another is good.
  BeaconJudgement judge(UplinkSet judged, std::int64_t now) const;

  // The last one; nobody has failed before the first.
  BeaconJudgement judgement;

  // The pairs, listener first, that have changed since this was asked last.
  using Pair = std::pair<UplinkPosition, UplinkPosition>;
  std::vector<Pair> take_changes();
  bool is_judgement_changed = false;

 private:
  struct Heard {
    std::optional<std::int64_t> at;
    bool is_changed = false;
  };

  std::size_t uplinks_;
  std::vector<Heard> heard_;  // by listener and sender; nothing until the first was heard
  std::vector<Pair> changes_;
};

}  // namespace forwarding
