// Switches, ports and NICs of a host as callers of the interface name them.
#pragma once

#include <string_view>

#include "platform/core/ports.hpp"
#include "platform/core/uplinks.hpp"
#include "platform/sim/endpoints.hpp"

namespace sim {

// All need a transaction. What is not there is VSSIM_NOT_FOUND.

host::RowId switch_named(host::Database &database, std::string_view alias);
host::Port port_named(host::Database &database, std::string_view alias, std::string_view dvport_id);
host::RowId nic_named(host::Database &database, std::string_view name);

// The port of an endpoint; a NIC is VSSIM_BAD_ARGUMENT.
struct FoundPort {
  host::RowId vswitch;
  host::PortRow port;
};
FoundPort port_at(host::Database &database, Endpoints const &endpoints, vssim_endpoint endpoint);
// The port of a client at an endpoint; without one, or with an uplink, VSSIM_FAILED.
FoundPort client_port_at(host::Database &database, Endpoints const &endpoints, vssim_endpoint endpoint);

// The NIC of an endpoint; a port is VSSIM_BAD_ARGUMENT.
host::NicRow nic_at(host::Database &database, Endpoints const &endpoints, vssim_endpoint endpoint);

}  // namespace sim
