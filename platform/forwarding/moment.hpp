// A moment of a host's time at one of its switches: what happens by itself then works on it.
#pragma once

#include <cstdint>

#include "platform/forwarding/sink.hpp"
#include "platform/forwarding/tables.hpp"
#include "platform/forwarding/traffic.hpp"

namespace forwarding {

struct Moment {
  Tables const &tables;
  Traffic &traffic;
  Sink &sink;  // takes the frames that are made
  std::uint32_t vswitch;
  std::int64_t time;  // microseconds since the epoch
  // Of something that is due: up to which its kind has happened, and until when a running clock was left alone for
  // long.
  std::int64_t after = INT64_MIN;
  std::int64_t gap_until = INT64_MIN;

  Switch const &at() const { return tables.switches[vswitch]; }
};

// The first time behind another one that a period divides; times are not negative.
constexpr std::int64_t next_multiple(std::int64_t after, std::int64_t period) {
  return (after / period + 1) * period;
}

}  // namespace forwarding
