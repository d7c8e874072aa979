// The counters of switches and ports. They start from the boot description, and at zero after every further boot.
#pragma once

#include <cstdint>
#include <string_view>

#include "interface/kernel_records.h"
#include "platform/core/switches.hpp"

namespace host {

namespace counter {

inline constexpr std::string_view not_learned_allowed = "not learned, allowed";
inline constexpr std::string_view not_learned_dropped = "not learned, dropped";
inline constexpr std::string_view macs_moved = "MACs moved";
inline constexpr std::string_view team_allowed_at_port_limit = "team, allowed at port limit";
inline constexpr std::string_view rarp_packets = "RARP packets";
inline constexpr std::string_view rarp_longest = "RARP longest round";
inline constexpr std::string_view rarp_time = "RARP time";
inline constexpr std::string_view service_port_tx = "service port, transmitted";
inline constexpr std::string_view service_port_tx_own_policy = "service port, transmitted by its policy";
inline constexpr std::string_view service_port_tx_source_policy = "service port, transmitted by the source's policy";
inline constexpr std::string_view service_port_tx_errors = "service port, transmit errors";
inline constexpr std::string_view service_port_rx = "service port, received";
inline constexpr std::string_view service_port_rx_override = "service port, reverse-path check overridden";

}  // namespace counter

// The packets of a port, by the names that boot descriptions have for them.
struct PacketCounter {
  char const *name;
  qel_uint64 qel_HNQPortStatistics::*field;
};
inline constexpr PacketCounter packet_counters[] = {
    {"packets_in_unicast", &qel_HNQPortStatistics::pktsInUnicast},
    {"bytes_in_unicast", &qel_HNQPortStatistics::bytesInUnicast},
    {"packets_in_multicast", &qel_HNQPortStatistics::pktsInMulticast},
    {"bytes_in_multicast", &qel_HNQPortStatistics::bytesInMulticast},
    {"packets_in_broadcast", &qel_HNQPortStatistics::pktsInBroadcast},
    {"bytes_in_broadcast", &qel_HNQPortStatistics::bytesInBroadcast},
    {"packets_out_unicast", &qel_HNQPortStatistics::pktsOutUnicast},
    {"bytes_out_unicast", &qel_HNQPortStatistics::bytesOutUnicast},
    {"packets_out_multicast", &qel_HNQPortStatistics::pktsOutMulticast},
    {"bytes_out_multicast", &qel_HNQPortStatistics::bytesOutMulticast},
    {"packets_out_broadcast", &qel_HNQPortStatistics::pktsOutBroadcast},
    {"bytes_out_broadcast", &qel_HNQPortStatistics::bytesOutBroadcast},
    {"packets_in_dropped", &qel_HNQPortStatistics::pktsInDropped},
    {"packets_out_dropped", &qel_HNQPortStatistics::pktsOutDropped},
    {"packets_in_exception", &qel_HNQPortStatistics::pktsInException},
    {"packets_out_exception", &qel_HNQPortStatistics::pktsOutException},
};

// The switch itself, in place of one of its ports.
inline constexpr RowId no_port = 0;

HOST_API std::uint64_t read_counter(Database &database, RowId vswitch, RowId port, std::string_view name);
HOST_API void set_counter(Database &database, RowId vswitch, RowId port, std::string_view name, std::uint64_t value);
HOST_API void add_to_counter(Database &database, RowId vswitch, RowId port, std::string_view name,
                             std::uint64_t amount);

void forget_all_counters(Database &database);

}  // namespace host
