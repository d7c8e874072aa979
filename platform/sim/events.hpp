// What is due by the host's clock, whoever makes it happen: one loop, in one order, over all that happens by itself.
//
// Events come in the order of their time, then the order in which their switches were created, then the number of their
// kind (EventKind), then the number of their port. What an event makes due at its own time comes in the same order
// behind it. There are two sorts of kinds:
// - what is due once, or by what was seen. Its kind says when that is for a switch (`next`), from what stands in
//   Traffic: so it survives the process, and is due again for nobody who sets the clock back.
// - what is periodic: its kind says how often (`period`, 0: not now), and it is due at the times that this divides.
//
// To add a kind: a number in EventKind (timers.hpp), its functions beside what it is about in platform/forwarding/, and
// its row in the table of events.cpp. The functions:
// - next(tables, traffic, vswitch, after): when something of the kind is due next at the switch, `never` if nothing is.
//   It is asked for after each event of the switch, and before each operation: no search through all there is. `after`:
//   up to which the kind has happened; a kind that is due both by what was seen and periodically takes it for the
//   latter (next_multiple), the others leave it alone.
// - run(moment): all that is due of the kind at moment.time happens, by port number, and is no longer due then. Where
//   one port's event may make something of a lower kind due at the same time, it does the first port only and leaves
//   the others due. Frames go to moment.sink, mostly by made_frames.hpp.
// - skip(moment, until), or null: a running clock has gone on from moment.time to `until` without the kind's periodic
//   events (see Gap). Called for all switches and kinds before the events of the gap.
// State that a kind keeps belongs into Traffic, from where traffic_store.cpp puts it into the state file: Timers are
// there for what is due once.
#pragma once

#include <cstdint>

#include "platform/forwarding/moment.hpp"

namespace sim {

// Up to which all has happened before, and up to which it is to happen, in microseconds.
struct Due {
  std::int64_t until;
  std::int64_t now;
  bool is_running;  // the clock: then long gaps are passed over
};

// Who takes the frames that events make.
class EventSink : public forwarding::Sink {
 public:
  // What follows is of an event of that time.
  virtual void begin_event(std::int64_t time) = 0;
};

// Nobody.
class NoSink final : public EventSink {
 public:
  void begin_event(std::int64_t /*time*/) override {}
  void deliver(forwarding::Delivery const & /*delivery*/) override {}
  void drop(forwarding::Drop const & /*drop*/) override {}
  void consume() override {}
};

// Has everything happen that is due.
void run_due(forwarding::Tables const &tables, forwarding::Traffic &traffic, Due const &due, EventSink &sink);

}  // namespace sim
