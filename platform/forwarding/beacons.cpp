// Beacons: the frames by which the uplinks of a team hear one another, and what follows from who hears whom.
#include "platform/forwarding/beacons.hpp"

#include <algorithm>
#include <bit>
#include <utility>

namespace forwarding {

namespace {

constexpr std::uint16_t ethertype_beacon = 0x8922;
constexpr std::array<std::uint8_t, 4> beacon_mark{0x56, 0x53, 0x42, 0x31};
constexpr std::size_t second_at = ethernet_size + beacon_mark.size();
constexpr std::size_t identifier_at = second_at + 4;
constexpr std::size_t port_at = identifier_at + std::tuple_size_v<SwitchIdentifier>;
static_assert(port_at + 4 == beacon_size);

constexpr std::int64_t a_second = 1000000;
constexpr std::int64_t heard_for = 3 * a_second;

void put(BeaconFrame &frame, std::size_t at, std::uint64_t number, std::size_t size) {
  for (std::size_t i = size; i-- > 0; number >>= 8)
    frame[at + i] = static_cast<std::uint8_t>(number);
}

}  // namespace

BeaconFrame beacon_frame(MacAddress source, std::int64_t now, SwitchIdentifier const &vswitch, std::uint32_t port) {
  BeaconFrame frame{};
  put(frame, 0, broadcast_address, mac_size);
  put(frame, mac_size, source, mac_size);
  put(frame, 2 * mac_size, ethertype_beacon, 2);
  std::copy(beacon_mark.begin(), beacon_mark.end(), frame.begin() + ethernet_size);
  put(frame, second_at, static_cast<std::uint64_t>(now / a_second), 4);
  std::copy(vswitch.begin(), vswitch.end(), frame.begin() + identifier_at);
  put(frame, port_at, port, 4);
  return frame;
}

std::optional<std::uint32_t> beacon_sender(Header const &header, SwitchIdentifier const &vswitch) {
  if (header.destination != broadcast_address || header.has_tag || header.inner_type != ethertype_beacon ||
      header.bytes.size() < beacon_size)
    return std::nullopt;
  auto const begin = header.bytes.begin();
  if (!std::equal(beacon_mark.begin(), beacon_mark.end(), begin + ethernet_size) ||
      !std::equal(vswitch.begin(), vswitch.end(), begin + identifier_at))
    return std::nullopt;
  std::uint32_t port = 0;
  for (std::uint8_t const byte : header.bytes.subspan(port_at, 4))
    port = port << 8 | byte;
  return port;
}

void Beacons::hear(UplinkPosition listener, UplinkPosition sender, std::int64_t now) {
  if (listener == sender)
    return;
  if (heard_.empty())
    heard_.resize(uplinks_ * uplinks_);
  Heard &heard = heard_[listener * uplinks_ + sender];
  heard.at = now;
  if (!std::exchange(heard.is_changed, true))
    changes_.emplace_back(listener, sender);
}

std::optional<std::int64_t> Beacons::heard(UplinkPosition listener, UplinkPosition sender) const {
  return heard_.empty() ? std::nullopt : heard_[listener * uplinks_ + sender].at;
}

std::vector<Beacons::Pair> Beacons::take_changes() {
  for (auto const &[listener, sender] : changes_)
    heard_[listener * uplinks_ + sender].is_changed = false;
  return std::exchange(changes_, {});
}

BeaconJudgement Beacons::judge(UplinkSet judged, std::int64_t now) const {
  auto const hears = [&](UplinkPosition listener, UplinkPosition sender) {
    std::optional<std::int64_t> const at = heard(listener, sender);
    return at && *at > now - heard_for;
  };
  // What is connected with an uplink, in one or several steps.
  auto const group_of = [&](UplinkPosition first) {
    UplinkSet group = only(first);
    for (UplinkSet fresh = group; fresh;) {
      auto const one = static_cast<UplinkPosition>(std::countr_zero(fresh));
      fresh &= ~only(one);
      for (UplinkSet others = judged & ~group; others; others &= others - 1) {
        auto const other = static_cast<UplinkPosition>(std::countr_zero(others));
        if (hears(one, other) && hears(other, one)) {
          group |= only(other);
          fresh |= only(other);
        }
      }
    }
    return group;
  };
  UplinkSet largest = 0;
  bool is_only_one = false;
  for (UplinkSet left = judged; left;) {
    UplinkSet const group = group_of(static_cast<UplinkPosition>(std::countr_zero(left)));
    left &= ~group;
    int const difference = std::popcount(group) - std::popcount(largest);
    if (difference > 0)
      largest = group;
    is_only_one = difference > 0 || (is_only_one && difference < 0);
  }
  return is_only_one ? BeaconJudgement{false, judged & ~largest} : BeaconJudgement{true, 0};
}

}  // namespace forwarding
