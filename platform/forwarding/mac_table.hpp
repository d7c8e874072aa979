// The addresses that a switch has learned: hashed, in the order in which they age, counted by port.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "platform/forwarding/tables.hpp"

namespace forwarding {

struct LearnedAddress {
  MacAddress mac = 0;
  std::uint16_t vlan = 0;  // of the filtering database
  PortIndex port = 0;
  std::int64_t seen = 0;  // whole seconds
  std::uint32_t moves = 0;
  bool ages = true;
};

class MacTable {
 public:
  // An entry's place, good until entries are removed; `nowhere` for none.
  using Place = std::uint32_t;

  // Of a switch with the ports from `first_port` to before `end_port`.
  MacTable(PortIndex first_port, PortIndex end_port) : first_port_(first_port), at_port_(end_port - first_port) {}

  Place find(std::uint64_t key) const;
  LearnedAddress address(Place place) const;
  PortIndex port(Place place) const { return entries_[place].port; }

  // There is no entry with this key yet.
  void add(LearnedAddress const &address);
  // Seen again, at the same port.
  void refresh(Place place, std::int64_t seen) {
    if (entries_[place].seen != seen)
      see(place, seen);
  }
  // Seen at another port.
  void move(Place place, PortIndex port, std::int64_t seen, bool counts);

  // The second in which that was last seen which ages next.
  std::optional<std::int64_t> oldest() const {
    return by_second_.empty() ? std::nullopt : std::optional(by_second_.begin()->first);
  }
  // Removes what was last seen at that second or before.
  void expire(std::int64_t seen) {
    if (!by_second_.empty() && by_second_.begin()->first <= seen)
      remove_until(seen);
  }
  void forget_port(PortIndex port);
  void forget_vlans(VlanSet const &vlans);

  std::uint32_t size() const { return size_; }
  std::uint32_t count_at(PortIndex port) const { return at_port_[port - first_port_]; }

  // All entries, by address and VLAN.
  std::vector<LearnedAddress> addresses() const;

  // The keys of what was added, changed or removed since they were taken last, each at least once.
  std::vector<std::uint64_t> take_changes();

 private:
  struct Entry {
    std::uint64_t key = 0;
    std::int64_t seen = 0;
    PortIndex port = 0;
    std::uint32_t moves = 0;
    Place next_in_slot = nowhere;
    Place next_seen = nowhere;  // within the second in which it was seen last
    Place previous_seen = nowhere;
    bool is_used = false;
    bool ages = true;
    bool is_changed = false;
  };

  void see(Place place, std::int64_t seen);
  void remove(Place place);
  void remove_until(std::int64_t seen);
  void link(Place place);
  void unlink(Place place);
  void note_change(Place place);
  void grow();
  std::size_t slot_of(std::uint64_t key) const { return scrambled(key) & (slots_.size() - 1); }

  PortIndex first_port_;
  std::vector<std::uint32_t> at_port_;
  std::vector<Entry> entries_;
  std::vector<Place> slots_;
  std::vector<Place> free_;
  // The first of the entries that age and were seen in a second. They leave by it in order, without a look at others.
  std::map<std::int64_t, Place> by_second_;
  std::vector<std::uint64_t> changes_;
  std::uint32_t size_ = 0;
};

}  // namespace forwarding
