// What teams do by themselves: LACP of their LAGs, beacons, balancing by load.
#pragma once

#include <cstdint>

#include "platform/forwarding/moment.hpp"

namespace forwarding {

// ---- LACP ---------------------------------------------------------------------------------------------------------

// Members of LAGs follow their links, at `moment` or when the link came back. `since`: when it came up of one that has
// been up since a boot.
void start_lacp(Moment const &moment, std::int64_t since);

// A frame for slow protocols came in at an uplink; what it asks for at once goes out.
void receive_lacp(Moment const &moment, PortIndex uplink, Bytes frame);

// When the next of these is due; of sending, regular times are those behind `after`.
std::int64_t next_lacp_expiry(Tables const &tables, Traffic const &traffic, std::uint32_t vswitch, std::int64_t after);
std::int64_t next_lacp_wait(Tables const &tables, Traffic const &traffic, std::uint32_t vswitch, std::int64_t after);
std::int64_t next_lacp_send(Tables const &tables, Traffic const &traffic, std::uint32_t vswitch, std::int64_t after);
void expire_lacp(Moment const &moment);
void end_lacp_waits(Moment const &moment);
void send_lacp(Moment const &moment);

// ---- beacons ------------------------------------------------------------------------------------------------------

// A beacon of the switch came in at an uplink.
void receive_beacon(Moment const &moment, PortIndex uplink, std::uint32_t sender);

// Beacons are sent and judged so often, in microseconds; 0: the switch has none.
std::int64_t beacon_period(Tables const &tables, std::uint32_t vswitch);
void send_beacons(Moment const &moment);
void judge_beacons(Moment const &moment);

// ---- load ---------------------------------------------------------------------------------------------------------

// So often the load is looked at; 0: nobody is balanced by it.
std::int64_t load_balance_period(Tables const &tables, std::uint32_t vswitch);
void balance_loads(Moment const &moment);

}  // namespace forwarding
