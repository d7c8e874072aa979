// What is due by the host's clock, whoever makes it happen: one loop, in one order, over all that happens by itself.
#include "platform/sim/events.hpp"

#include <algorithm>
#include <array>
#include <vector>

#include "platform/forwarding/announcements.hpp"
#include "platform/forwarding/queries.hpp"
#include "platform/forwarding/team_events.hpp"

namespace sim {

namespace {

using forwarding::EventKind;
using forwarding::Moment;
using forwarding::never;
using forwarding::Tables;
using forwarding::Traffic;

// What of a kind happens in a gap of a running clock.
enum class Gap : std::uint8_t { all, its_end, last_time };

constexpr std::int64_t longest_gap = 10'000'000;

// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): in the order in which the table reads
struct Kind {
  EventKind number;
  std::int64_t (*next)(Tables const &, Traffic const &, std::uint32_t vswitch, std::int64_t after);
  std::int64_t (*period)(Tables const &, std::uint32_t vswitch);  // microseconds; null: `next` says it all
  void (*run)(Moment const &);
  Gap gap = Gap::all;
  void (*skip)(Moment const &, std::int64_t until) = nullptr;
};

// ---- kinds that need no more than this ----------------------------------------------------------------------------

std::int64_t next_mac_age(Tables const &tables, Traffic const &traffic, std::uint32_t vswitch, std::int64_t /*after*/) {
  return traffic.next_aged(tables, vswitch);
}

void run_mac_age(Moment const &moment) {
  moment.traffic.age(moment.tables, moment.vswitch, moment.time);
}

std::int64_t next_membership_age(Tables const & /*tables*/, Traffic const &traffic, std::uint32_t vswitch,
                                 std::int64_t /*after*/) {
  return traffic.memberships(vswitch).next_expiry();
}

void run_membership_age(Moment const &moment) {
  moment.traffic.memberships(moment.vswitch).expire(moment.time);
}

std::int64_t next_router_port_age(Tables const & /*tables*/, Traffic const &traffic, std::uint32_t vswitch,
                                  std::int64_t /*after*/) {
  return traffic.router_ports(vswitch).next_expiry();
}

void run_router_port_age(Moment const &moment) {
  moment.traffic.router_ports(moment.vswitch).expire(moment.time);
}

// Of a kind whose timers say it all.
template <EventKind kind>
std::int64_t next_timer(Tables const & /*tables*/, Traffic const &traffic, std::uint32_t vswitch,
                        std::int64_t /*after*/) {
  return traffic.timers(vswitch).next(kind);
}

// In the order of their numbers.
constexpr Kind kinds[] = {
    {EventKind::mac_age, next_mac_age, nullptr, run_mac_age},
    {EventKind::membership_age, next_membership_age, nullptr, run_membership_age},
    {EventKind::router_port_age, next_router_port_age, nullptr, run_router_port_age},
    {EventKind::lacp_expiry, forwarding::next_lacp_expiry, nullptr, forwarding::expire_lacp},
    {EventKind::lacp_wait, forwarding::next_lacp_wait, nullptr, forwarding::end_lacp_waits},
    {EventKind::up_delay_end, next_timer<EventKind::up_delay_end>, nullptr, forwarding::end_up_delays},
    {EventKind::announcement, next_timer<EventKind::announcement>, nullptr, forwarding::go_on_with_round},
    {EventKind::lacp_send, forwarding::next_lacp_send, nullptr, forwarding::send_lacp, Gap::its_end},
    {EventKind::beacon, nullptr, forwarding::beacon_period, forwarding::send_beacons, Gap::its_end},
    {EventKind::beacon_judgement, nullptr, forwarding::beacon_period, forwarding::judge_beacons, Gap::its_end},
    {EventKind::query, nullptr, forwarding::query_period, forwarding::ask_clients, Gap::last_time},
    {EventKind::load_balance, nullptr, forwarding::load_balance_period, forwarding::balance_loads, Gap::last_time},
};

constexpr std::size_t kind_count = std::size(kinds);

// ---- the loop -----------------------------------------------------------------------------------------------------

std::int64_t next_due(Kind const &kind, Tables const &tables, Traffic const &traffic, std::uint32_t vswitch,
                      std::int64_t after) {
  if (!kind.period)
    return kind.next(tables, traffic, vswitch, after);
  std::int64_t const period = kind.period(tables, vswitch);
  return period ? forwarding::next_multiple(after, period) : never;
}

// Most operations find that nothing is due.
bool is_anything_due(Tables const &tables, Traffic const &traffic, Due const &due) {
  for (std::uint32_t vswitch = 0; vswitch < tables.switches.size(); ++vswitch) {
    for (Kind const &kind : kinds) {
      if (next_due(kind, tables, traffic, vswitch, due.until) <= due.now)
        return true;
    }
  }
  return false;
}

class Loop {
 public:
  Loop(Tables const &tables, Traffic &traffic, Due const &due, EventSink &sink)
      : tables_(tables), traffic_(traffic), due_(due), sink_(sink), switches_(tables.switches.size()) {
    for (OfSwitch &of_switch : switches_)
      of_switch.after.fill(due.until);
    if (due.is_running && due.now - due.until > longest_gap) {
      gap_until_ = due.now - longest_gap;
      pass_over();
    }
    for (std::uint32_t vswitch = 0; vswitch < switches_.size(); ++vswitch)
      look(vswitch);
  }

  void run() {
    // The first of the switches among those that have something due at the same time.
    for (;;) {
      std::uint32_t first = 0;
      for (std::uint32_t vswitch = 1; vswitch < switches_.size(); ++vswitch) {
        if (switches_[vswitch].due < switches_[first].due)
          first = vswitch;
      }
      OfSwitch &of_switch = switches_[first];
      if (of_switch.due > due_.now)
        return;
      std::int64_t const time = of_switch.due;
      sink_.begin_event(time);
      kinds[of_switch.kind].run({tables_, traffic_, sink_, first, time, of_switch.after[of_switch.kind], gap_until_});
      of_switch.after[of_switch.kind] = std::max(of_switch.after[of_switch.kind], time);
      look(first);
    }
  }

 private:
  struct OfSwitch {
    std::array<std::int64_t, kind_count> after;  // up to which each kind has happened
    std::int64_t due = never;                    // what comes next
    std::size_t kind = 0;
  };

  // Finds what comes next at a switch: at the same time the lowest kind.
  void look(std::uint32_t vswitch) {
    OfSwitch &of_switch = switches_[vswitch];
    of_switch.due = never;
    for (std::size_t kind = 0; kind < kind_count; ++kind) {
      std::int64_t const due = next_due(kinds[kind], tables_, traffic_, vswitch, of_switch.after[kind]);
      if (due < of_switch.due) {
        of_switch.due = due;
        of_switch.kind = kind;
      }
    }
  }

  // A running clock was left alone for long: of what is periodic only the end is made up for.
  void pass_over() {
    for (std::uint32_t vswitch = 0; vswitch < switches_.size(); ++vswitch) {
      for (std::size_t kind = 0; kind < kind_count; ++kind) {
        std::int64_t &after = switches_[vswitch].after[kind];
        std::int64_t const period = kinds[kind].period ? kinds[kind].period(tables_, vswitch) : 0;
        if (kinds[kind].gap == Gap::its_end)
          after = std::max(after, due_.now - longest_gap);
        else if (kinds[kind].gap == Gap::last_time && period)
          after = std::max(after, due_.now / period * period - 1);
        if (kinds[kind].skip)
          kinds[kind].skip({tables_, traffic_, sink_, vswitch, due_.until}, after);
      }
    }
  }

  Tables const &tables_;
  Traffic &traffic_;
  Due const &due_;
  EventSink &sink_;
  std::vector<OfSwitch> switches_;
  std::int64_t gap_until_ = INT64_MIN;
};

}  // namespace

void run_due(Tables const &tables, Traffic &traffic, Due const &due, EventSink &sink) {
  if (is_anything_due(tables, traffic, due))
    Loop(tables, traffic, due, sink).run();
}

}  // namespace sim
