// IGMP and MLD for the tests, put together byte by byte with checksums of their own.
#pragma once

#include <arpa/inet.h>

#include <string>
#include <vector>

#include "tests/forwarding/world.hpp"

namespace forwarding {

// "224.1.1.1" or "ff0e::1".
inline IpAddress parsed_ip(std::string const &text) {
  Packet bytes(text.find(':') == std::string::npos ? 4 : 16);
  EXPECT_EQ(1, inet_pton(bytes.size() == 4 ? AF_INET : AF_INET6, text.c_str(), bytes.data())) << text;
  return IpAddress(bytes);
}

inline Packet packed(IpAddress const &address) {
  return {address.bytes().begin(), address.bytes().end()};
}

inline unsigned sum_of(Packet const &bytes) {
  unsigned sum = 0;
  for (std::size_t i = 0; i < bytes.size(); i += 2)
    sum += unsigned{bytes[i]} << 8 | (i + 1 < bytes.size() ? bytes[i + 1] : 0u);
  return sum;
}

inline void seal(Packet &bytes, std::size_t at, unsigned further = 0) {
  unsigned sum = sum_of(bytes) + further;
  while (sum >> 16)
    sum = (sum & 0xffff) + (sum >> 16);
  bytes[at] = static_cast<std::uint8_t>(~sum >> 8);
  bytes[at + 1] = static_cast<std::uint8_t>(~sum);
}

// An IPv4 packet in a frame; the header ends with Router Alert, as those of IGMP do.
inline Packet ipv4_frame(MacAddress from, std::string const &source, std::string const &destination,
                         std::uint8_t protocol, Packet const &payload, std::uint8_t ttl = 1) {
  Packet header = hex("46c0 0000 0000 0000");
  header[3] = static_cast<std::uint8_t>(24 + payload.size());
  header.push_back(ttl);
  header.push_back(protocol);
  header = header + hex("0000") + packed(parsed_ip(source)) + packed(parsed_ip(destination)) + hex("94040000");
  seal(header, 10);
  Packet frame;
  put(frame, parsed_ip(destination).group_mac(), 6);
  put(frame, from, 6);
  put(frame, 0x0800, 2);
  frame = frame + header + payload;
  frame.resize(std::max<std::size_t>(frame.size(), 60));
  return frame;
}

inline Packet igmp(MacAddress from, Packet message, std::string const &destination = "224.0.0.22",
                   std::string const &source = "192.0.2.1", std::uint8_t ttl = 1) {
  seal(message, 2);
  return ipv4_frame(from, source, destination, 2, message, ttl);
}

// ICMPv6 behind a hop-by-hop header.
inline Packet mld(MacAddress from, Packet message, std::string const &destination = "ff02::16",
                  std::string const &source = "fe80::1", std::uint8_t hop_limit = 1) {
  Packet const addresses = packed(parsed_ip(source)) + packed(parsed_ip(destination));
  seal(message, 2, sum_of(addresses) + static_cast<unsigned>(message.size()) + 58);
  Packet frame;
  put(frame, parsed_ip(destination).group_mac(), 6);
  put(frame, from, 6);
  put(frame, 0x86dd, 2);
  put(frame, 0x60000000, 4);
  put(frame, message.size() + 8, 2);
  put(frame, 0, 1);
  put(frame, hop_limit, 1);
  return frame + addresses + hex("3a00 0502 0000 0100") + message;
}

inline Packet old_igmp(std::uint8_t type, std::string const &group) {
  return Packet{type, 0, 0, 0} + packed(parsed_ip(group));
}
inline Packet old_mld(std::uint8_t type, std::string const &group) {
  return Packet{type, 0, 0, 0, 0, 0, 0, 0} + packed(parsed_ip(group));
}

// A record of IGMPv3 or MLDv2.
struct ReportRecord {
  std::uint8_t type;
  std::string group;
  std::vector<std::string> sources{};
};
inline Packet records(std::uint8_t message_type, std::vector<ReportRecord> const &all) {
  Packet bytes{message_type, 0, 0, 0, 0, 0, 0, static_cast<std::uint8_t>(all.size())};
  for (ReportRecord const &record : all) {
    bytes = bytes + Packet{record.type, 0, 0, static_cast<std::uint8_t>(record.sources.size())} +
            packed(parsed_ip(record.group));
    for (std::string const &source : record.sources)
      bytes = bytes + packed(parsed_ip(source));
  }
  return bytes;
}

}  // namespace forwarding
