// Takes what comes out of forwarding into a result, and shows it to taps.
#include "platform/sim/recorder.hpp"

#include <algorithm>
#include <cstring>

namespace sim {

void Taps::add(vssim_endpoint endpoint, unsigned directions, Tap &tap) {
  taps_.push_back({&tap, endpoint, directions});
  find_wanted();
}

void Taps::remove(Tap &tap) {
  std::erase_if(taps_, [&](Added const &added) { return added.tap == &tap; });
  find_wanted();
}

void Taps::find_wanted() {
  wanted_.clear();
  for (Added const &added : taps_) {
    if (wanted_.size() <= added.endpoint)
      wanted_.resize(added.endpoint + 1);
    wanted_[added.endpoint] |= added.directions;
  }
}

std::size_t Taps::keep(PassedFrame frame) {
  std::size_t const size = frame.bytes.size();
  bytes_.push_back(std::make_unique_for_overwrite<std::uint8_t[]>(std::max<std::size_t>(size, 1)));
  if (size > 0)
    std::memcpy(bytes_.back().get(), frame.bytes.data(), size);
  frame.bytes = {bytes_.back().get(), size};
  frames_.push_back(frame);
  shown_.reserve(frames_.capacity());  // so that nothing can fail when the operation has happened
  return frames_.size() - 1;
}

void Taps::show() noexcept {
  for (Added const &added : taps_) {
    shown_.clear();
    for (PassedFrame const &frame : frames_) {
      if (frame.endpoint == added.endpoint && (added.directions & static_cast<unsigned>(frame.direction)) != 0)
        shown_.push_back(frame);
    }
    if (!shown_.empty())
      added.tap->show(shown_);
  }
  discard();
}

void Taps::discard() noexcept {
  frames_.clear();
  bytes_.clear();
}

void Recorder::begin(vssim_frame const &frame, std::int32_t index, std::int64_t now) {
  index_ = index;
  now_ = now;
  kept_ = {};
  tapped_ = not_tapped;
  ++result_.frames;
  if (taps_ && taps_->wants(frame.endpoint, Direction::in)) {
    tapped_ = taps_->keep(
        {frame.endpoint, Direction::in, now, 0, {static_cast<std::uint8_t const *>(frame.bytes), frame.length}});
  }
}

void Recorder::begin_event(std::int64_t time) {
  index_ = -1;
  now_ = time;
  tapped_ = not_tapped;
}

// Deliveries of a frame in one form have the same bytes, copies of mirrors and made frames apart.
void const *Recorder::kept_bytes(forwarding::Delivery const &delivery, vssim_endpoint endpoint) {
  if (delivery.kind == forwarding::DeliveryKind::made)
    return kept_made(delivery.bytes, endpoint);
  if (delivery.kind != forwarding::DeliveryKind::frame && delivery.kind != forwarding::DeliveryKind::promiscuous)
    return result_.keep_bytes(delivery.bytes);
  void const *&kept = kept_[static_cast<std::size_t>(delivery.form)];
  if (!kept)
    kept = result_.keep_bytes(delivery.bytes);
  return kept;
}

void const *Recorder::kept_made(forwarding::Bytes bytes, vssim_endpoint endpoint) {
  if (last_made_.size() <= endpoint)
    last_made_.resize(endpoint + 1);
  forwarding::Bytes &last = last_made_[endpoint];
  if (bytes.empty() || last.size() != bytes.size() || std::memcmp(last.data(), bytes.data(), bytes.size()) != 0)
    last = {static_cast<std::uint8_t const *>(result_.keep_bytes(bytes)), bytes.size()};
  return last.data();
}

void Recorder::deliver(forwarding::Delivery const &delivery) {
  ++result_.delivered;
  if (!keeps_ && !taps_)
    return;
  vssim_endpoint const endpoint = endpoints_.number_at(delivery.place);
  if (keeps_) {
    if (result_.deliveries.size() < vssim_result::most_kept) {
      result_.deliveries.push_back({endpoint, index_, static_cast<std::uint32_t>(delivery.kind),
                                    static_cast<std::uint32_t>(delivery.bytes.size()), kept_bytes(delivery, endpoint)});
    } else {
      ++result_.not_kept;
    }
  }
  if (taps_ && taps_->wants(endpoint, Direction::out))
    taps_->keep({endpoint, Direction::out, now_, 0, delivery.bytes});
}

void Recorder::drop(forwarding::Drop const &drop) {
  ++result_.dropped;
  if (tapped_ != not_tapped && drop.stage == forwarding::Stage::in)
    taps_->set_reason(tapped_, static_cast<std::uint16_t>(drop.reason));
  if (keeps_ && result_.drops.size() < vssim_result::most_kept) {
    result_.drops.push_back({endpoints_.number_at(drop.place), index_, static_cast<std::uint16_t>(drop.reason),
                             static_cast<std::uint16_t>(drop.stage)});
  }
}

void Recorder::step(forwarding::Step const &step) {
  result_.steps.push_back({forwarding::rule_id(step.rule), result_.keep_text(step.text),
                           endpoints_.number_at(step.place), static_cast<std::uint32_t>(step.outcome)});
}

}  // namespace sim
