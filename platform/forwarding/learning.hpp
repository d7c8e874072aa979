// Learns where the source address of a frame is.
#pragma once

#include "platform/forwarding/receivers.hpp"

namespace forwarding {

// Step 8, at a time in microseconds (MAC-1 to MAC-9): goes on, or refuses a frame whose address is over a limit.
Verdict learn_source(Passage const &passage, std::int64_t now);

}  // namespace forwarding
