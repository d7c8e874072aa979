// Save and restore (RTM): switches keep their running state over an upgrade of their modules.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/core/blocking.hpp"

namespace host {

// A switch of a request. The two modes are answered in place.
struct RtmRequest {
  RowId vswitch;
  std::uint32_t switch_mode;
  std::uint32_t portset_mode;
};

struct RtmAnswer {
  std::vector<RtmRequest> switches;
  std::uint32_t longest_outage;  // milliseconds
};

// One step for all switches of the request, or for none.
HOST_API RtmAnswer run_rtm_step(Database &database, std::int64_t mode, std::vector<RtmRequest> switches,
                                std::uint32_t most_outage);

struct RtmModule {
  std::int64_t module;
  bool is_from;
};

HOST_API void run_rtm_module_step(Database &database, std::int64_t mode, RowId vswitch,
                                  std::vector<RtmModule> const &modules);

HOST_API void block_port(Database &database, std::uint32_t port_number, std::int64_t world);
HOST_API void unblock_port(Database &database, std::uint32_t port_number, std::int64_t world);

// As a boot does.
void forget_rtm(Database &database);

}  // namespace host
