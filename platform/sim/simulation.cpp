// What stands behind a vssim_host: the memory of a host's configuration and traffic, and the operations on them.
#include "platform/sim/simulation.hpp"

#include <algorithm>
#include <chrono>
#include <utility>

#include "platform/core/clock.hpp"
#include "platform/core/snapshot.hpp"
#include "platform/forwarding/pipeline.hpp"
#include "platform/forwarding/team_events.hpp"
#include "platform/sim/entry.hpp"
#include "platform/sim/events.hpp"
#include "platform/sim/traffic_store.hpp"

namespace sim {

namespace {

constexpr std::size_t most_frames = 65536;
constexpr std::uint64_t most_bytes = std::uint64_t{64} << 20;
constexpr std::int64_t furthest_advance = 3'200'000'000'000'000;

// The bytes of all.
std::uint64_t check_batch(std::span<vssim_frame const> frames) {
  if (frames.size() > most_frames)
    fail(VSSIM_BAD_ARGUMENT, "more than 65536 frames in one call");
  std::uint64_t bytes = 0;
  for (vssim_frame const &frame : frames) {
    require(frame.bytes || frame.length == 0, "a frame has a length, but no bytes");
    bytes += frame.length;
  }
  if (bytes > most_bytes)
    fail(VSSIM_BAD_ARGUMENT, "more than 64 MiB of frames in one call");
  return bytes;
}

forwarding::Frame frame_at(forwarding::Place place, vssim_frame const &frame) {
  return {place, {static_cast<std::uint8_t const *>(frame.bytes), frame.length}};
}

std::int64_t time_of_day() {
  auto const now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

// Of a clock that was stopped at a time.
std::int64_t advanced(std::optional<std::int64_t> stopped_at, std::int64_t microseconds) {
  if (microseconds < 0 || microseconds > furthest_advance)
    fail(VSSIM_BAD_ARGUMENT, "a clock is advanced by 0 to 3.2e9 seconds");
  if (!stopped_at)
    fail(VSSIM_FAILED, "the clock is running; stop it first");
  if (*stopped_at > host::latest_time - microseconds)
    fail(VSSIM_BAD_ARGUMENT, "the clock cannot be advanced so far");
  return *stopped_at + microseconds;
}

}  // namespace

// ---- attempts -----------------------------------------------------------------------------------------------------

Simulation::Attempt::~Attempt() {
  if (has_succeeded_)
    return;
  simulation_.traffic_.reset();
  simulation_.taps_.discard();
}

void Simulation::Attempt::run_due(std::int64_t time, EventSink &sink) {
  sim::run_due(simulation_.compiled_->tables, *simulation_.traffic_, simulation_.due(time), sink);
}

void Simulation::Attempt::run_due(std::int64_t time) {
  vssim_result nobody_asks;
  Recorder recorder(nobody_asks, simulation_.endpoints_, &simulation_.taps_, false);
  run_due(time, recorder);
}

void Simulation::Attempt::succeed() {
  has_succeeded_ = true;
  simulation_.taps_.show();
}

// ---- handles ------------------------------------------------------------------------------------------------------

Simulation &Simulation::of(std::shared_ptr<host::Host> const &core) {
  host::HostLock const lock(core);
  if (!core->frames)
    core->frames = std::shared_ptr<Simulation>(new Simulation(core));
  auto &simulation = *static_cast<Simulation *>(core->frames.get());
  simulation.path_ = core->path();
  simulation.kept_ = core;
  ++simulation.handles_;
  return simulation;
}

void Simulation::release() {
  std::shared_ptr<host::Host> last;  // goes when nothing is locked any more
  std::shared_ptr<host::Host> const core = core_.lock();
  host::HostLock const lock(core);
  if (--handles_ == 0)
    last = std::move(kept_);
}

Simulation &Simulation::fork() {
  Lock const lock(*this);
  Simulation &copy = of(lock.core->copy());
  // What is in memory here may be of another state by now; the copy looks before it uses it.
  copy.mark_ = mark_;
  copy.compiled_ = compiled_;
  if (compiled_)
    copy.endpoints_.set_tables(*compiled_);
  return copy;
}

void Simulation::reset() {
  Lock const lock(*this);
  if (!description_ || !lock.core->is_memory()) {
    host::Transaction transaction(lock.database, false);
    description_ = host::host_description(lock.database);
    transaction.commit();
  }
  host::reset_host(lock.database, *description_);
}

void Simulation::use() {
  host::use_host(core_.lock());
}

void Simulation::unuse() {
  std::shared_ptr<host::Host> const core = core_.lock();
  if (!host::leave_host(*core))
    fail(VSSIM_FAILED, "the host is not in use");
}

char const *Simulation::path() {
  return path_.c_str();
}

// ---- memory -------------------------------------------------------------------------------------------------------

// Whoever has the write lock owns the state; what is in memory is good as long as the state is the same.
void Simulation::take_up(host::Database &database) {
  if (traffic_ && database.version_in_memory == database.data_version())
    return;
  host::StateMark mark = host::state_mark(database);
  bool const is_known = compiled_ && mark.id == mark_.id && mark.generation == mark_.generation && !mark.is_dirty;
  if (!is_known || mark.traffic_sequence != mark_.traffic_sequence)
    traffic_.reset();
  if (!is_known) {
    if (mark.id != mark_.id)
      endpoints_.forget_all();
    std::shared_ptr<Compiled const> compiled = compile(database);
    endpoints_.set_tables(*compiled);
    compiled_ = std::move(compiled);
  }
  mark_ = std::move(mark);
  if (!traffic_) {
    traffic_ = load_traffic(database, *compiled_);
    start_teams();
  }
  database.version_in_memory = database.data_version();
}

// Links may have come and gone since then.
void Simulation::start_teams() {
  NoSink nobody;
  for (std::uint32_t vswitch = 0; vswitch < compiled_->switches.size(); ++vswitch)
    forwarding::start_lacp({compiled_->tables, *traffic_, nobody, vswitch, now()}, mark_.events_until);
}

// Numbers of endpoints are of one state.
void Simulation::know_endpoints(host::Database &database) {
  std::string id = host::state_id(database);
  if (id == mark_.id)
    return;
  endpoints_.forget_all();
  compiled_.reset();
  traffic_.reset();
  mark_.id = std::move(id);
}

void Simulation::store(host::Database &database, std::int64_t now, Stale stale) {
  store_traffic(database, *compiled_, *traffic_);
  ++mark_.traffic_sequence;
  mark_.events_until = std::max(mark_.events_until, now);
  // A configuration that changes in the same transaction has to be noted as such: it stays what it is until then.
  if (mark_.is_dirty && stale == Stale::no) {
    host::note_taken_up(database, mark_.traffic_sequence, mark_.events_until);
    mark_.is_dirty = false;
  } else {
    host::note_new_traffic(database, mark_.traffic_sequence, mark_.events_until);
  }
}

std::int64_t Simulation::now() const {
  return mark_.stopped_at ? *mark_.stopped_at : time_of_day();
}

// ---- frames -------------------------------------------------------------------------------------------------------

void Simulation::find_places(std::span<vssim_frame const> frames) {
  places_.clear();
  for (vssim_frame const &frame : frames)
    places_.push_back(endpoints_.sending_place(frame.endpoint));
}

void Simulation::send(std::span<vssim_frame const> frames, SendOptions const &options, vssim_result &result) {
  std::uint64_t const bytes = check_batch(frames);
  if (!options.count_only)
    result.expect(frames.size(), bytes);
  Lock const lock(*this);
  host::Database &database = lock.database;
  host::Transaction transaction(database, true);
  bool const has_no_faults = database.version_without_faults == database.data_version();
  take_up(database);
  find_places(frames);
  std::int64_t const time = options.advance_by ? advanced(mark_.stopped_at, *options.advance_by) : now();

  Attempt attempt(*this);
  Recorder recorder(result, endpoints_, &taps_, !options.count_only);
  attempt.run_due(time, recorder);
  std::int32_t index = options.first_index;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    recorder.begin(frames[i], index++, time);
    forwarding::forward(compiled_->tables, *traffic_, time, frame_at(places_[i], frames[i]), recorder);
  }
  if (options.advance_by && *options.advance_by != 0) {
    host::stop_clock(database, time);
    mark_.stopped_at = time;
  }
  store(database, time, Stale::no);
  transaction.commit();
  attempt.succeed();
  database.version_in_memory = database.data_version();
  // The rules are what they were: the libraries' next call need not look.
  if (has_no_faults)
    database.version_without_faults = database.version_in_memory;
}

void Simulation::explain(vssim_frame const &frame, vssim_result &result) {
  static_cast<void>(check_batch({&frame, 1}));
  Lock const lock(*this);
  host::Transaction transaction(lock.database, false);
  know_endpoints(lock.database);
  take_up(lock.database);
  find_places({&frame, 1});
  std::int64_t const time = now();
  forwarding::Traffic traffic = *traffic_;
  NoSink nobody;
  sim::run_due(compiled_->tables, traffic, due(time), nobody);
  Recorder recorder(result, endpoints_, nullptr, true);
  recorder.explain();
  recorder.begin(frame, 0, time);
  forwarding::forward(compiled_->tables, traffic, time, frame_at(places_[0], frame), recorder);
  transaction.commit();
}

// ---- clock --------------------------------------------------------------------------------------------------------

vssim_host::Time Simulation::time() {
  Time time{};
  read([&](host::Database &database, Endpoints const &) {
    time = {host::clock_now(database), host::clock_is_stopped(database)};
  });
  return time;
}

// What is due by the clock that there was happens before another is set.
template <typename Body>
void Simulation::set_clock(Body &&body) {
  Lock const lock(*this);
  host::Transaction transaction(lock.database, true);
  take_up(lock.database);
  Attempt attempt(*this);
  std::int64_t const time = now();
  attempt.run_due(time);
  store(lock.database, time, Stale::no);
  body(lock.database, time);
  transaction.commit();
  attempt.succeed();
  lock.database.version_in_memory = lock.database.data_version();
}

void Simulation::stop_clock(std::optional<std::int64_t> at) {
  set_clock([&](host::Database &database, std::int64_t time) {
    mark_.stopped_at = at.value_or(time);
    host::stop_clock(database, *mark_.stopped_at);
  });
}

void Simulation::run_clock() {
  set_clock([&](host::Database &database, std::int64_t) {
    host::run_clock(database);
    mark_.stopped_at.reset();
  });
}

// ---- endpoints and taps -------------------------------------------------------------------------------------------

void Simulation::trace(std::shared_ptr<host::TraceFile> file) {
  std::shared_ptr<host::Host> const core = core_.lock();
  host::HostLock const lock(core);
  core->trace = std::move(file);
}

Endpoints::Name Simulation::endpoint_name(vssim_endpoint endpoint) {
  host::HostLock const lock(core_.lock());
  return endpoints_.name(endpoint);
}

std::string Simulation::endpoint_label(vssim_endpoint endpoint) {
  Lock const lock(*this);
  host::Transaction transaction(lock.database, false);
  know_endpoints(lock.database);
  take_up(lock.database);
  static_cast<void>(endpoints_.sending_place(endpoint));
  transaction.commit();
  return endpoints_.label(endpoint);
}

void Simulation::add_tap(vssim_endpoint endpoint, unsigned directions, Tap &tap) {
  host::HostLock const lock(core_.lock());
  taps_.add(endpoint, directions, tap);
}

void Simulation::remove_tap(Tap &tap) {
  host::HostLock const lock(core_.lock());
  taps_.remove(tap);
}

}  // namespace sim
