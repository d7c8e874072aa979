// Balancing by load: which port moves to another uplink when one has too much to carry.
#include "platform/forwarding/load_balance.hpp"

#include <algorithm>
#include <vector>

namespace forwarding {

namespace {

// Bytes of an interval of 30 s that make a load of 1 at 1 Mbit/s; a load is too much above 75 %.
constexpr std::uint64_t full_at_a_megabit = 30 * 1000000 / 8;

__extension__ using Wide = unsigned __int128;

// Bytes at a speed, compared without rounding.
struct Load {
  std::uint64_t bytes;
  std::uint32_t speed;

  bool operator<(Load const &other) const { return Wide{bytes} * other.speed < Wide{other.bytes} * speed; }
  bool is_too_much() const { return Wide{bytes} * 4 > Wide{full_at_a_megabit} * speed * 3; }
};

Load load_of(LoadedUplink const &uplink) {
  return {uplink.bytes, std::max<std::uint32_t>(uplink.speed, 1)};
}

}  // namespace

std::optional<LoadMove> balance_load(std::span<LoadedUplink const> uplinks, std::span<LoadingPort const> ports) {
  if (uplinks.empty())
    return std::nullopt;
  auto const less = [](LoadedUplink const &left, LoadedUplink const &right) { return load_of(left) < load_of(right); };
  LoadedUplink const &most = *std::max_element(uplinks.begin(), uplinks.end(), less);
  LoadedUplink const &least = *std::min_element(uplinks.begin(), uplinks.end(), less);
  if (!load_of(most).is_too_much() || most.uplink == least.uplink)
    return std::nullopt;
  std::vector<std::size_t> carried;
  for (std::size_t i = 0; i < ports.size(); ++i) {
    if (ports[i].uplink == most.uplink)
      carried.push_back(i);
  }
  std::sort(carried.begin(), carried.end(), [&](std::size_t left, std::size_t right) {
    LoadingPort const &one = ports[left];
    LoadingPort const &other = ports[right];
    return one.bytes != other.bytes ? one.bytes > other.bytes : one.number < other.number;
  });
  Load const former = load_of(most);
  for (std::size_t const i : carried) {
    // What the uplink has sent for others than its ports stays with it.
    std::uint64_t const moved = std::min(ports[i].bytes, most.bytes);
    Load const from{most.bytes - moved, former.speed};
    Load const to{least.bytes + moved, load_of(least).speed};
    if (from < former && to < former)
      return LoadMove{i, least.uplink};
  }
  return std::nullopt;
}

std::string basis_of_moves(Team const &team, Fit const &fit, std::span<Member const> members) {
  std::string basis;
  auto const add = [&](std::uint64_t number) { basis += std::to_string(number) + ' '; };
  for (std::uint32_t const number : {team.load_balance, team.criteria, team.flags})
    add(number);
  if (team.wanted) {
    add(team.wanted->speed);
    add(team.wanted->full_duplex);
    add(team.wanted->error_percent);
  }
  for (auto const *const list : {&team.active, &team.standby}) {
    basis += '/';
    for (UplinkPosition const uplink : *list)
      add(uplink);
  }
  basis += '/';
  for (std::size_t i = 0; i < fit.count; ++i) {
    add(fit.uplinks[i]);
    add(static_cast<std::uint64_t>(members[fit.uplinks[i]].recovery));
  }
  return basis;
}

}  // namespace forwarding
