// The addresses that a switch has learned: hashed, in the order in which they age, counted by port.
#include "platform/forwarding/mac_table.hpp"

#include <algorithm>
#include <utility>

namespace forwarding {

MacTable::Place MacTable::find(std::uint64_t key) const {
  if (size_ == 0)
    return nowhere;
  Place place = slots_[slot_of(key)];
  while (place != nowhere && entries_[place].key != key)
    place = entries_[place].next_in_slot;
  return place;
}

LearnedAddress MacTable::address(Place place) const {
  constexpr unsigned vlan_bits = 16;
  Entry const &entry = entries_[place];
  return {
      entry.key >> vlan_bits, static_cast<std::uint16_t>(entry.key), entry.port, entry.seen, entry.moves, entry.ages};
}

void MacTable::add(LearnedAddress const &address) {
  if (size_ == slots_.size())
    grow();
  Place place = static_cast<Place>(entries_.size());
  if (free_.empty()) {
    entries_.emplace_back();
  } else {
    place = free_.back();
    free_.pop_back();
  }
  Entry &entry = entries_[place];
  entry = {};
  entry.key = address_key(address.mac, address.vlan);
  entry.seen = address.seen;
  entry.port = address.port;
  entry.moves = address.moves;
  entry.ages = address.ages;
  entry.is_used = true;
  Place &slot = slots_[slot_of(entry.key)];
  entry.next_in_slot = std::exchange(slot, place);
  ++size_;
  ++at_port_[entry.port - first_port_];
  link(place);
  note_change(place);
}

void MacTable::move(Place place, PortIndex port, std::int64_t seen, bool counts) {
  Entry &entry = entries_[place];
  --at_port_[entry.port - first_port_];
  ++at_port_[port - first_port_];
  entry.port = port;
  entry.moves += counts;
  note_change(place);
  refresh(place, seen);
}

void MacTable::forget_port(PortIndex port) {
  for (Place place = 0; place < entries_.size() && count_at(port) != 0; ++place) {
    if (entries_[place].is_used && entries_[place].port == port)
      remove(place);
  }
}

void MacTable::forget_vlans(VlanSet const &vlans) {
  for (Place place = 0; place < entries_.size(); ++place) {
    if (entries_[place].is_used && vlans[static_cast<std::uint16_t>(entries_[place].key)])
      remove(place);
  }
}

std::vector<LearnedAddress> MacTable::addresses() const {
  std::vector<LearnedAddress> all;
  all.reserve(size_);
  for (Place place = 0; place < entries_.size(); ++place) {
    if (entries_[place].is_used)
      all.push_back(address(place));
  }
  std::sort(all.begin(), all.end(), [](LearnedAddress const &left, LearnedAddress const &right) {
    return address_key(left.mac, left.vlan) < address_key(right.mac, right.vlan);
  });
  return all;
}

std::vector<std::uint64_t> MacTable::take_changes() {
  for (std::uint64_t key : changes_) {
    if (Place const place = find(key); place != nowhere)
      entries_[place].is_changed = false;
  }
  return std::exchange(changes_, {});
}

void MacTable::see(Place place, std::int64_t seen) {
  unlink(place);
  entries_[place].seen = seen;
  link(place);
  note_change(place);
}

void MacTable::remove(Place place) {
  unlink(place);
  note_change(place);
  Entry &entry = entries_[place];
  Place *link_to = &slots_[slot_of(entry.key)];
  while (*link_to != place)
    link_to = &entries_[*link_to].next_in_slot;
  *link_to = entry.next_in_slot;
  --size_;
  --at_port_[entry.port - first_port_];
  entry.is_used = false;
  free_.push_back(place);
}

void MacTable::remove_until(std::int64_t seen) {
  while (!by_second_.empty() && by_second_.begin()->first <= seen)
    remove(by_second_.begin()->second);
}

void MacTable::link(Place place) {
  Entry &entry = entries_[place];
  entry.previous_seen = entry.next_seen = nowhere;
  if (!entry.ages)
    return;
  // Mostly the latest second.
  auto const [second, is_new] = by_second_.try_emplace(entry.seen, place);
  if (is_new)
    return;
  entry.next_seen = std::exchange(second->second, place);
  entries_[entry.next_seen].previous_seen = place;
}

void MacTable::unlink(Place place) {
  Entry const &entry = entries_[place];
  if (!entry.ages)
    return;
  if (entry.next_seen != nowhere)
    entries_[entry.next_seen].previous_seen = entry.previous_seen;
  if (entry.previous_seen != nowhere)
    entries_[entry.previous_seen].next_seen = entry.next_seen;
  else if (entry.next_seen != nowhere)
    by_second_[entry.seen] = entry.next_seen;
  else
    by_second_.erase(entry.seen);
}

void MacTable::note_change(Place place) {
  if (!std::exchange(entries_[place].is_changed, true))
    changes_.push_back(entries_[place].key);
}

// As many slots as entries keeps the chains short.
void MacTable::grow() {
  constexpr std::size_t least = 64;
  slots_.assign(std::max(slots_.size() * 2, least), nowhere);
  for (Place place = 0; place < entries_.size(); ++place) {
    if (entries_[place].is_used)
      entries_[place].next_in_slot = std::exchange(slots_[slot_of(entries_[place].key)], place);
  }
}

}  // namespace forwarding
