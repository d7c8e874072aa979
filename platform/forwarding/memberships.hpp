// Which client ports of a switch take which multicast groups, and behind which of them a multicast router is.
#pragma once

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "platform/forwarding/expiry_queue.hpp"
#include "platform/forwarding/ip_address.hpp"
#include "platform/forwarding/tables.hpp"

namespace forwarding {

// Of the sources of a group, as VS_MCAST_SRC_IP_FILTER_MODE_* number it.
enum class SourceFilter : std::uint8_t { none, include, exclude };

struct Membership {
  SourceFilter filter = SourceFilter::none;
  std::vector<IpAddress> sources{};  // in order
  std::uint32_t version = 0;         // of IGMP or MLD
  std::uint32_t vni = 0;
  std::int64_t updated = 0;     // microseconds
  std::int64_t expiry = never;  // that of one that a client has joined without a report

  bool is_reported() const { return expiry != never; }
  bool admits(IpAddress const &source) const;
};

// In the order of the groups, then of the ports.
struct MembershipKey {
  IpAddress group;
  PortIndex port = 0;

  auto operator<=>(MembershipKey const &) const = default;  // NOLINT(modernize-use-nullptr): there is none
};

class Memberships {
 public:
  using Map = std::map<MembershipKey, Membership>;

  Map const &all() const { return all_; }
  std::size_t size() const { return all_.size(); }
  // Null for none.
  Membership const *find(MembershipKey const &key) const;
  // In place of the one that is there.
  void set(MembershipKey const &key, Membership membership);
  void remove(MembershipKey const &key);

  // Puts the ports that take what a source sends to a group into a list, in order.
  void find_receivers(IpAddress const &group, IpAddress const &source, std::vector<PortIndex> &ports) const;
  // The same for the ports that have reported a group with that hardware address.
  void find_reporters(MacAddress group, std::vector<PortIndex> &ports) const;

  std::int64_t next_expiry() const { return expiries_.next(); }
  // Asked for each frame, and seldom with anything to do.
  void expire(std::int64_t now) {
    if (expiries_.next() <= now)
      remove_expired(now);
  }

  // What was set or removed since this was asked last, each once.
  std::vector<MembershipKey> take_changes();

 private:
  void remove_expired(std::int64_t now);

  Map all_;
  ExpiryQueue<MembershipKey> expiries_;
  std::vector<MembershipKey> changes_;
};

// A port where a router of an IP version (4 or 6) is.
struct RouterPort {
  PortIndex port = 0;
  std::uint8_t ip_version = 0;

  auto operator<=>(RouterPort const &) const = default;  // NOLINT(modernize-use-nullptr): there is none
};

class RouterPorts {
 public:
  bool has(PortIndex port) const;
  std::map<RouterPort, std::int64_t> const &all() const { return expiries_.all(); }
  void set(RouterPort const &port, std::int64_t expiry);
  std::int64_t next_expiry() const { return expiries_.next(); }
  // Asked for each frame, and seldom with anything to do.
  void expire(std::int64_t now) {
    if (expiries_.next() <= now)
      remove_expired(now);
  }

  // What was set or has expired since this was asked last, each once.
  std::vector<RouterPort> take_changes();

 private:
  void remove_expired(std::int64_t now);

  ExpiryQueue<RouterPort> expiries_;
  std::vector<RouterPort> changes_;
};

}  // namespace forwarding
