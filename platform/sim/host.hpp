// A simulated host for frames: what stands behind a vssim_host. It compiles the host's configuration, keeps what
// traffic leaves behind, and writes it to the state in the transaction of each operation.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/host.hpp"
#include "platform/forwarding/frame.hpp"
#include "platform/sim/result.hpp"
#include "platform/sim/vswitch_sim.h"

namespace sim {

enum class Direction : std::uint8_t { in = 1, out = 2 };  // as a capture's directions and epb_flags number them

// A frame that passed an endpoint.
struct PassedFrame {
  vssim_endpoint endpoint;
  Direction direction;
  std::int64_t time;         // the host's, in microseconds
  std::uint16_t reason = 0;  // why it was dropped on the way in; 0 if it was not
  forwarding::Bytes bytes;   // good during the call
};

// Who is shown what passes endpoints: how captures hang in. After the commit of each operation that has let frames pass
// one of its endpoints the host calls `show` once, with those frames in the order of the results: of each frame that
// was sent in first its way in, then what came out of it; what was due stands before. The host is locked meanwhile: a
// tap must not call the host. The operation has happened by then, so `show` throws nothing: a tap that cannot go on
// keeps its failure for whoever closes it.
class Tap {
 public:
  Tap() = default;
  Tap(Tap const &) = delete;
  Tap &operator=(Tap const &) = delete;
  virtual ~Tap() = default;

  virtual void show(std::span<PassedFrame const> frames) noexcept = 0;
};

struct SendOptions {
  bool count_only = false;
  std::int32_t first_index = 0;            // of the first frame in the result
  std::optional<std::int64_t> advance_by;  // first moves a stopped clock on, in the same transaction
};

}  // namespace sim

// Operations throw what entry.hpp turns into a status. Each locks the host; threads may call them at any time.
struct vssim_host {
 public:
  virtual ~vssim_host() = default;

  // Sends frames in as one transaction and adds what came of it to the result. Not more than a batch (API-6).
  virtual void send(std::span<vssim_frame const> frames, sim::SendOptions const &options, vssim_result &result) = 0;

  // The clock, and whether it is stopped.
  struct Time {
    std::int64_t now;
    bool is_stopped;
  };
  virtual Time time() = 0;

  // "alias/dvport id", or the name of the NIC. Throws for what is no endpoint to send to.
  virtual std::string endpoint_label(vssim_endpoint endpoint) = 0;

  // A tap at an endpoint, from the next operation on; `directions`: bits of Direction. It has to be removed before it
  // goes, which waits for the operation that is under way.
  virtual void add_tap(vssim_endpoint endpoint, unsigned directions, sim::Tap &tap) = 0;
  virtual void remove_tap(sim::Tap &tap) = 0;
};
