// Copies of frames as they travel to an address: Ethernet, IP, GRE and what ERSPAN has behind it.
#include "platform/forwarding/encapsulation.hpp"

#include "platform/forwarding/checksum.hpp"

namespace forwarding {

namespace {

using Room = std::vector<std::uint8_t>;

constexpr std::uint8_t protocol_gre = 47;
constexpr std::uint16_t gre_has_key = 0x2000;
constexpr std::uint16_t gre_has_sequence = 0x1000;
constexpr std::uint16_t gre_of_ethernet = 0x6558;
constexpr std::uint16_t gre_of_erspan_2 = 0x88be;
constexpr std::uint16_t gre_of_erspan_3 = 0x22eb;

constexpr std::size_t ipv4_size = 20;
constexpr std::size_t largest_gre = 16;

// Big-endian, `bytes` long.
void put(Room &room, std::uint64_t number, unsigned bytes) {
  while (bytes-- > 0)
    room.push_back(static_cast<std::uint8_t>(number >> (8 * bytes)));
}

void put(Room &room, Bytes bytes) {
  room.insert(room.end(), bytes.begin(), bytes.end());
}

// The time in units of ERSPAN type III (E-4).
std::uint32_t time_stamp(std::int64_t microseconds, std::uint8_t granularity) {
  constexpr std::int64_t second = 1000000;
  constexpr std::int64_t microseconds_per_unit = 100;
  constexpr std::uint64_t units_per_microsecond = 10;
  constexpr std::int64_t nanoseconds = 1000;
  auto const floored = [&](std::int64_t unit) { return microseconds / unit - (microseconds % unit < 0); };
  switch (granularity) {
    case 0: return static_cast<std::uint32_t>(floored(microseconds_per_unit));
    case 1: return static_cast<std::uint32_t>(static_cast<std::uint64_t>(microseconds) * units_per_microsecond);
    case 2: return static_cast<std::uint32_t>((microseconds - floored(second) * second) * nanoseconds);
    default: return static_cast<std::uint32_t>(microseconds);
  }
}

// What both types of ERSPAN begin with; `how`: how the original frame's VLAN is carried.
void put_erspan_word(Room &room, MirrorSession const &session, SelectedFrame const &selected, std::uint32_t version,
                     std::uint32_t how) {
  put(room,
      version << 28 | std::uint32_t{selected.vlan} << 16 | std::uint32_t{session.erspan_class} << 13 | how << 11 |
          std::uint32_t{selected.is_cut} << 10 | session.erspan_id,
      4);
}

void put_gre(Room &room, MirrorSession const &session, SelectedFrame const &selected) {
  auto const sequence = static_cast<std::uint32_t>(selected.number);
  switch (session.encapsulation) {
    case Encapsulation::gre:
      put(room, session.gre_key ? gre_has_key : 0, 2);
      put(room, gre_of_ethernet, 2);
      if (session.gre_key)
        put(room, session.gre_key, 4);
      return;
    case Encapsulation::erspan_2: {
      constexpr std::uint32_t index_bits = 0xfffff;
      constexpr std::uint32_t in_the_copy = 3;
      constexpr std::uint32_t taken_away = 2;
      put(room, gre_has_sequence, 2);
      put(room, gre_of_erspan_2, 2);
      put(room, sequence, 4);
      put_erspan_word(room, session, selected, 1,
                      selected.vlan == 0   ? 0
                      : session.keeps_vlan ? in_the_copy
                                           : taken_away);
      put(room, selected.port_number & index_bits, 4);
      return;
    }
    case Encapsulation::erspan_3: {
      constexpr std::uint32_t is_ethernet = 1U << 15;
      put(room, gre_has_sequence, 2);
      put(room, gre_of_erspan_3, 2);
      put(room, sequence, 4);
      put_erspan_word(room, session, selected, 2, 0);
      put(room, time_stamp(selected.time, session.erspan_granularity), 4);
      put(room, is_ethernet | std::uint32_t{selected.is_out} << 3 | std::uint32_t{session.erspan_granularity} << 1, 4);
      return;
    }
  }
}

void put_ipv4(Room &room, Stack const &stack, IpAddress const &to, std::uint64_t number, std::size_t payload) {
  constexpr std::uint16_t do_not_fragment = 0x4000;
  constexpr std::size_t checksum_at = 10;
  std::size_t const begin = room.size();
  put(room, 0x45, 1);
  put(room, std::uint64_t{stack.dscp} << 2, 1);
  put(room, ipv4_size + payload, 2);
  put(room, number, 2);
  put(room, do_not_fragment, 2);
  put(room, stack.ttl, 1);
  put(room, protocol_gre, 1);
  put(room, 0, 2);
  put(room, stack.ipv4.bytes());
  put(room, to.bytes());
  std::uint16_t const sum = internet_checksum(Bytes(room).subspan(begin));
  room[begin + checksum_at] = static_cast<std::uint8_t>(sum >> 8);
  room[begin + checksum_at + 1] = static_cast<std::uint8_t>(sum);
}

void put_ipv6(Room &room, Stack const &stack, IpAddress const &to, std::size_t payload) {
  put(room, std::uint32_t{6} << 28 | std::uint32_t{stack.dscp} << 22, 4);
  put(room, payload, 2);
  put(room, protocol_gre, 1);
  put(room, stack.ttl, 1);
  put(room, stack.ipv6.bytes());
  put(room, to.bytes());
}

}  // namespace

Bytes encapsulate(MirrorSession const &session, Stack const &stack, MacAddress own, IpAddress const &to,
                  SelectedFrame const &selected, Bytes copy, std::vector<std::uint8_t> &room) {
  Room gre;
  gre.reserve(largest_gre);
  put_gre(gre, session, selected);
  room.clear();
  put(room, stack.gateway, mac_size);
  put(room, stack.mac.value_or(own), mac_size);
  if (stack.vlan) {
    put(room, ethertype_vlan, 2);
    put(room, stack.vlan, 2);
  }
  std::size_t const payload = gre.size() + copy.size();
  put(room, to.is_ipv4() ? ethertype_ipv4 : ethertype_ipv6, 2);
  if (to.is_ipv4())
    put_ipv4(room, stack, to, selected.number, payload);
  else
    put_ipv6(room, stack, to, payload);
  put(room, gre);
  put(room, copy);
  return room;
}

}  // namespace forwarding
