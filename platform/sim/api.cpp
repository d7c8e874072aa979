// The C interface: hosts, endpoints, frames, the clock.
#include <filesystem>
#include <memory>

#include "platform/core/boot.hpp"
#include "platform/core/clock.hpp"
#include "platform/core/snapshot.hpp"
#include "platform/sim/arguments.hpp"
#include "platform/sim/lookup.hpp"

namespace {

using sim::clear;
using sim::entry;
using sim::fail;
using sim::require;
using sim::Simulation;
using sim::simulation;

// Runs an operation that fills a result, which the caller may not want.
template <typename Operation>
void with_result(vssim_result **out, Operation &&operation) {
  if (out)
    *out = nullptr;
  auto result = std::make_unique<vssim_result>();
  operation(*result);
  if (out)
    *out = result.release();
}

}  // namespace

// ---- hosts --------------------------------------------------------------------------------------------------------

int vssim_open(char const *path, char const *boot_json, vssim_host **host) {
  return entry([&] {
    clear(host);
    bool const in_memory = !path || std::string_view(path) == host::memory_host;
    require(in_memory || *path, "an empty path");
    std::optional<std::string> description;
    if (boot_json)
      description = boot_json;
    else if (in_memory)
      description = host::default_description();
    auto const core = std::make_shared<host::Host>(
        in_memory ? host::memory_host : std::filesystem::absolute(path).string(), std::move(description));
    {
      host::HostLock const lock(core);
      core->open();
    }
    *host = &Simulation::of(core);
  });
}

char const *vssim_path(vssim_host *host) {
  char const *path = nullptr;
  static_cast<void>(entry([&] { path = simulation(host).path(); }));
  return path;
}

int vssim_current(vssim_host **host) {
  return entry([&] {
    clear(host);
    std::shared_ptr<host::Host> const core = host::host_in_use();
    {
      host::HostLock const lock(core);
      core->open();
    }
    *host = &Simulation::of(core);
  });
}

int vssim_fork(vssim_host *host, vssim_host **copy) {
  return entry([&] {
    clear(copy);
    *copy = &simulation(host).fork();
  });
}

int vssim_use(vssim_host *host) {
  return entry([&] { simulation(host).use(); });
}

int vssim_unuse(vssim_host *host) {
  return entry([&] { simulation(host).unuse(); });
}

int vssim_reset(vssim_host *host) {
  return entry([&] { simulation(host).reset(); });
}

int vssim_boot(vssim_host *host) {
  return entry([&] {
    simulation(host).change([](host::Database &database, sim::Endpoints const &) { host::boot_again(database); });
  });
}

int vssim_snapshot(vssim_host *host, char const *path, int force) {
  return entry([&] {
    require(path && *path, "no path");
    simulation(host).work([&](host::Database &database) {
      if (!force && std::filesystem::exists(path))
        fail(VSSIM_FAILED, std::string(path) + ": is there already; --force replaces it");
      host::save_snapshot(database, path);
    });
  });
}

void vssim_close(vssim_host *host) {
  if (host)
    static_cast<void>(entry([&] { simulation(host).release(); }));
}

// ---- endpoints ----------------------------------------------------------------------------------------------------

int vssim_port(vssim_host *host, char const *alias, char const *dvport_id, vssim_endpoint *endpoint) {
  return entry([&] {
    clear(endpoint);
    require(alias && dvport_id, "no name");
    simulation(host).read([&](host::Database &database, sim::Endpoints &endpoints) {
      *endpoint = endpoints.number_of_port(sim::port_named(database, alias, dvport_id).row, alias, dvport_id);
    });
  });
}

int vssim_nic(vssim_host *host, char const *name, vssim_endpoint *endpoint) {
  return entry([&] {
    clear(endpoint);
    require(name, "no name");
    simulation(host).read([&](host::Database &database, sim::Endpoints &endpoints) {
      *endpoint = endpoints.number_of_nic(sim::nic_named(database, name), name);
    });
  });
}

int vssim_endpoint_name(vssim_host *host, vssim_endpoint endpoint, char const **alias, char const **name) {
  return entry([&] {
    clear(alias);
    clear(name);
    sim::Endpoints::Name const called = simulation(host).endpoint_name(endpoint);
    *alias = called.alias;
    *name = called.name;
  });
}

// ---- frames -------------------------------------------------------------------------------------------------------

int vssim_send(vssim_host *host, vssim_frame const *frames, uint32_t count, uint32_t flags, vssim_result **result) {
  return entry([&] {
    with_result(result, [&](vssim_result &made) {
      require(frames || count == 0, "no frames");
      require((flags & ~static_cast<uint32_t>(VSSIM_COUNT_ONLY)) == 0, "an unknown flag");
      sim::SendOptions options;
      options.count_only = flags & VSSIM_COUNT_ONLY;
      simulation(host).send({frames, count}, options, made);
    });
  });
}

int vssim_explain(vssim_host *host, vssim_frame const *frame, vssim_result **result) {
  return entry([&] {
    clear(result);
    with_result(result, [&](vssim_result &made) {
      require(frame, "no frame");
      simulation(host).explain(*frame, made);
    });
  });
}

int vssim_advance(vssim_host *host, int64_t microseconds, vssim_result **result) {
  return entry([&] {
    with_result(result, [&](vssim_result &made) {
      sim::SendOptions options;
      options.advance_by = microseconds;
      options.count_only = !result;
      simulation(host).send({}, options, made);
    });
  });
}

// ---- clock --------------------------------------------------------------------------------------------------------

int vssim_now(vssim_host *host, int64_t *microseconds, int *stopped) {
  return entry([&] {
    if (stopped)
      *stopped = 0;
    clear(microseconds);
    vssim_host::Time const time = simulation(host).time();
    *microseconds = time.now;
    if (stopped)
      *stopped = time.is_stopped;
  });
}

int vssim_stop_clock(vssim_host *host, int64_t at) {
  return entry([&] {
    require(at >= -1, "a time before the epoch");
    require(at <= host::latest_time, "a time after 9000000000000 seconds");
    simulation(host).stop_clock(at == -1 ? std::nullopt : std::optional(at));
  });
}

int vssim_run_clock(vssim_host *host) {
  return entry([&] { simulation(host).run_clock(); });
}
