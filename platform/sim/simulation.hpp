// What stands behind a vssim_host: the memory of a host's configuration and traffic, and the operations on them.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/core/database.hpp"
#include "platform/core/host.hpp"
#include "platform/core/host_row.hpp"
#include "platform/forwarding/traffic.hpp"
#include "platform/sim/compile.hpp"
#include "platform/sim/endpoints.hpp"
#include "platform/sim/events.hpp"
#include "platform/sim/host.hpp"
#include "platform/sim/recorder.hpp"

namespace sim {

// It belongs to the host of the core that it is about, and goes with it. Handles of the C interface keep that host.
class Simulation final : public vssim_host {
 public:
  // Of a host, made when it is first asked for, with one handle more. release() gives that back.
  static Simulation &of(std::shared_ptr<host::Host> const &core);
  void release();

  // A host in memory with the same state, with one handle.
  Simulation &fork();

  // Anew, from the description that it first booted from.
  void reset();

  void use();
  void unuse();
  // As long as the host.
  char const *path();

  void send(std::span<vssim_frame const> frames, SendOptions const &options, vssim_result &result) override;
  void explain(vssim_frame const &frame, vssim_result &result);

  Time time() override;
  // None: now.
  void stop_clock(std::optional<std::int64_t> at);
  void run_clock();

  std::string endpoint_label(vssim_endpoint endpoint) override;
  void add_tap(vssim_endpoint endpoint, unsigned directions, Tap &tap) override;
  void remove_tap(Tap &tap) override;

  // Work on the state, with the host locked: in a transaction that reads; in one that changes the configuration, before
  // which happens what is due; or without any, for what replaces the whole state.
  template <typename Body>
  void read(Body &&body) {
    Lock const lock(*this);
    host::Transaction transaction(lock.database, false);
    know_endpoints(lock.database);
    body(lock.database, endpoints_);
    transaction.commit();
  }
  // The same with what traffic has left behind.
  template <typename Body>
  void inspect(Body &&body) {
    Lock const lock(*this);
    host::Transaction transaction(lock.database, false);
    know_endpoints(lock.database);
    take_up(lock.database);
    body(lock.database, endpoints_, *compiled_, *traffic_);
    transaction.commit();
  }
  template <typename Body>
  void change(Body &&body) {
    Lock const lock(*this);
    host::Transaction transaction(lock.database, true);
    take_up(lock.database);
    Attempt attempt(*this);
    std::int64_t const time = now();
    attempt.run_due(time);
    store(lock.database, time, Stale::yes);
    body(lock.database, endpoints_);
    host::note_new_configuration(lock.database);
    transaction.commit();
    attempt.succeed();
  }
  template <typename Body>
  void work(Body &&body) {
    Lock const lock(*this);
    body(lock.database);
  }
  // Of calls on the host; null: none.
  void trace(std::shared_ptr<host::TraceFile> file);
  // With the host locked, but without its state.
  Endpoints::Name endpoint_name(vssim_endpoint endpoint);

 private:
  struct Lock {
    explicit Lock(Simulation &simulation) : core(simulation.core_.lock()), lock(core), database(core->open()) {}
    std::shared_ptr<host::Host> core;
    host::HostLock lock;
    host::Database &database;
  };

  // Changes what is in memory, which is thrown away unless the operation gets to its end.
  class Attempt {
   public:
    explicit Attempt(Simulation &simulation) : simulation_(simulation) {}
    Attempt(Attempt const &) = delete;
    Attempt &operator=(Attempt const &) = delete;
    ~Attempt();
    // What is due up to a time happens; its frames go to the sink, or to the taps alone.
    void run_due(std::int64_t time, EventSink &sink);
    void run_due(std::int64_t time);
    void succeed();

   private:
    Simulation &simulation_;
    bool has_succeeded_ = false;
  };

  // Whether the tables in memory will be out of date when the transaction ends.
  enum class Stale { no, yes };

  explicit Simulation(std::shared_ptr<host::Host> const &core) : core_(core) {}

  void take_up(host::Database &database);
  void start_teams();
  void know_endpoints(host::Database &database);
  void find_places(std::span<vssim_frame const> frames);
  template <typename Body>
  void set_clock(Body &&body);
  void store(host::Database &database, std::int64_t now, Stale stale);
  std::int64_t now() const;
  Due due(std::int64_t time) const { return {mark_.events_until, time, !mark_.stopped_at}; }

  std::weak_ptr<host::Host> core_;
  std::shared_ptr<host::Host> kept_;  // while there are handles
  int handles_ = 0;
  std::string path_;
  std::optional<std::string> description_;  // of a host in memory, which nobody else can make anew

  // The state that is in memory, and what is there.
  host::StateMark mark_{};
  std::shared_ptr<Compiled const> compiled_;
  std::optional<forwarding::Traffic> traffic_;
  Endpoints endpoints_;
  Taps taps_;
  std::vector<forwarding::Place> places_;  // of the frames that are being sent
};

}  // namespace sim
