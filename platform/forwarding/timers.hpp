// What is to happen once at a switch, and when.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

namespace forwarding {

// When nothing is due.
inline constexpr std::int64_t never = INT64_MAX;

// What happens by itself, by its number: at the same time and switch the lower number comes first.
enum class EventKind : std::uint8_t {
  mac_age = 1,
  membership_age,
  router_port_age,
  lacp_expiry,
  lacp_wait,
  up_delay_end,
  announcement,
  lacp_send,
  beacon,
  beacon_judgement,
  query,
  load_balance,
};

struct Timer {
  EventKind kind;
  std::uint32_t port_number = 0;  // 0: the switch
  std::int64_t due = 0;           // microseconds since the epoch
  std::vector<std::uint8_t> detail{};

  bool operator==(Timer const &) const = default;
};

// The timers of a switch: few, at most one of a kind and port.
class Timers {
 public:
  std::vector<Timer> const &all() const { return all_; }

  // When one of a kind is due next.
  std::int64_t next(EventKind kind) const {
    std::int64_t due = never;
    for (Timer const &timer : all_) {
      if (timer.kind == kind)
        due = std::min(due, timer.due);
    }
    return due;
  }

  // In place of the one of the same kind and port.
  void set(Timer timer) {
    clear(timer.kind, timer.port_number);
    all_.push_back(std::move(timer));
    is_changed_ = true;
  }
  void clear(EventKind kind, std::uint32_t port_number) {
    is_changed_ |= std::erase_if(all_, [&](Timer const &timer) {
                     return timer.kind == kind && timer.port_number == port_number;
                   }) != 0;
  }
  // Those of a kind that are due, by port number: they are gone here.
  std::vector<Timer> take_due(EventKind kind, std::int64_t time) {
    std::vector<Timer> due;
    std::erase_if(all_, [&](Timer &timer) {
      bool const is_due = timer.kind == kind && timer.due <= time;
      if (is_due)
        due.push_back(std::move(timer));
      return is_due;
    });
    is_changed_ |= !due.empty();
    std::sort(due.begin(), due.end(),
              [](Timer const &left, Timer const &right) { return left.port_number < right.port_number; });
    return due;
  }

  // Whether anything has changed since this was asked last.
  bool take_changed() { return std::exchange(is_changed_, false); }

 private:
  std::vector<Timer> all_;
  bool is_changed_ = false;
};

}  // namespace forwarding
