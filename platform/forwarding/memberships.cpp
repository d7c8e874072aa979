// Which client ports of a switch take which multicast groups, and behind which of them a multicast router is.
#include "platform/forwarding/memberships.hpp"

#include <algorithm>

namespace forwarding {

namespace {

// In order.
template <typename Key>
std::vector<Key> taken_once(std::vector<Key> &changes) {
  std::sort(changes.begin(), changes.end());
  changes.erase(std::unique(changes.begin(), changes.end()), changes.end());
  return std::exchange(changes, {});
}

}  // namespace

bool Membership::admits(IpAddress const &source) const {
  if (filter == SourceFilter::none)
    return true;
  bool const is_listed = std::binary_search(sources.begin(), sources.end(), source);
  return is_listed == (filter == SourceFilter::include);
}

Membership const *Memberships::find(MembershipKey const &key) const {
  auto const found = all_.find(key);
  return found == all_.end() ? nullptr : &found->second;
}

void Memberships::set(MembershipKey const &key, Membership membership) {
  if (membership.is_reported())
    expiries_.set(key, membership.expiry);
  else
    expiries_.clear(key);
  all_.insert_or_assign(key, std::move(membership));
  changes_.push_back(key);
}

void Memberships::remove(MembershipKey const &key) {
  if (all_.erase(key) == 0)
    return;
  expiries_.clear(key);
  changes_.push_back(key);
}

void Memberships::find_receivers(IpAddress const &group, IpAddress const &source, std::vector<PortIndex> &ports) const {
  ports.clear();
  for (auto found = all_.lower_bound({group, 0}); found != all_.end() && found->first.group == group; ++found) {
    if (found->second.admits(source))
      ports.push_back(found->first.port);
  }
}

void Memberships::find_reporters(MacAddress group, std::vector<PortIndex> &ports) const {
  ports.clear();
  for (auto const &[key, expiry] : expiries_.all()) {
    if (key.group.group_mac() == group)
      ports.push_back(key.port);
  }
  std::sort(ports.begin(), ports.end());
}

void Memberships::remove_expired(std::int64_t now) {
  for (MembershipKey const &key : expiries_.take_until(now)) {
    all_.erase(key);
    changes_.push_back(key);
  }
}

std::vector<MembershipKey> Memberships::take_changes() {
  return taken_once(changes_);
}

bool RouterPorts::has(PortIndex port) const {
  auto const found = expiries_.all().lower_bound({port, 0});
  return found != expiries_.all().end() && found->first.port == port;
}

void RouterPorts::set(RouterPort const &port, std::int64_t expiry) {
  expiries_.set(port, expiry);
  changes_.push_back(port);
}

void RouterPorts::remove_expired(std::int64_t now) {
  std::vector<RouterPort> const expired = expiries_.take_until(now);
  changes_.insert(changes_.end(), expired.begin(), expired.end());
}

std::vector<RouterPort> RouterPorts::take_changes() {
  return taken_once(changes_);
}

}  // namespace forwarding
