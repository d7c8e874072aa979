// Takes what comes out of forwarding into a result, and shows it to taps.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/forwarding/sink.hpp"
#include "platform/sim/endpoints.hpp"
#include "platform/sim/events.hpp"
#include "platform/sim/host.hpp"
#include "platform/sim/result.hpp"

namespace sim {

// The taps of a host, and what they are to be shown of the operation that is under way.
class Taps {
 public:
  void add(vssim_endpoint endpoint, unsigned directions, Tap &tap);
  void remove(Tap &tap);

  bool wants(vssim_endpoint endpoint, Direction direction) const {
    return endpoint < wanted_.size() && (wanted_[endpoint] & static_cast<unsigned>(direction)) != 0;
  }
  bool any() const { return !taps_.empty(); }

  // Copies the bytes. The number of what was kept, for set_reason().
  std::size_t keep(PassedFrame frame);
  void set_reason(std::size_t kept, std::uint16_t reason) { frames_[kept].reason = reason; }
  // The operation has happened, or not.
  void show() noexcept;
  void discard() noexcept;

 private:
  struct Added {
    Tap *tap;
    vssim_endpoint endpoint;
    unsigned directions;
  };

  void find_wanted();

  std::vector<Added> taps_;
  std::vector<unsigned> wanted_;  // by endpoint
  std::vector<PassedFrame> frames_;
  std::vector<std::unique_ptr<std::uint8_t[]>> bytes_;
  std::vector<PassedFrame> shown_;  // room for one tap's
};

class Recorder final : public EventSink {
 public:
  // `taps` null: nothing is shown.
  Recorder(vssim_result &result, Endpoints &endpoints, Taps *taps, bool keeps)
      : result_(result), endpoints_(endpoints), taps_(taps && taps->any() ? taps : nullptr), keeps_(keeps) {}

  // Collects steps, too.
  void explain() { explains_ = true; }

  // What follows is of this frame.
  void begin(vssim_frame const &frame, std::int32_t index, std::int64_t now);

  // What follows happens by itself at a time.
  void begin_event(std::int64_t time) override;

  void deliver(forwarding::Delivery const &delivery) override;
  void drop(forwarding::Drop const &drop) override;
  void consume() override { ++result_.consumed; }
  bool wants_steps() const override { return explains_; }
  void step(forwarding::Step const &step) override;

 private:
  void const *kept_bytes(forwarding::Delivery const &delivery, vssim_endpoint endpoint);
  void const *kept_made(forwarding::Bytes bytes, vssim_endpoint endpoint);

  static constexpr std::size_t not_tapped = SIZE_MAX;

  vssim_result &result_;
  Endpoints &endpoints_;
  Taps *taps_;
  bool keeps_;
  bool explains_ = false;
  std::int32_t index_ = -1;
  std::int64_t now_ = 0;
  std::size_t tapped_ = not_tapped;  // the frame's way in
  // The frame's bytes in the result, by form.
  std::array<void const *, 3> kept_{};
  // The last made frame at each endpoint: most are sent again and again.
  std::vector<forwarding::Bytes> last_made_;
};

}  // namespace sim
