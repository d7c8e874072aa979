// Switches, ports and NICs of a host as callers of the interface name them.
#include "platform/sim/lookup.hpp"

#include <algorithm>

#include "platform/core/constants.hpp"
#include "platform/sim/entry.hpp"

namespace sim {

namespace {

using namespace constant;

// None where the host says that there is no such thing.
template <typename Find>
auto found(Find &&find) -> std::optional<decltype(find())> {
  try {
    return find();
  } catch (host::Refusal const &refusal) {
    if (refusal.status() != QEL_NOT_FOUND)
      throw;
    return std::nullopt;
  }
}

std::string quoted(std::string_view name) {
  return "'" + std::string(name) + "'";
}

}  // namespace

host::RowId switch_named(host::Database &database, std::string_view alias) {
  auto const vswitch = found([&] { return host::switch_by_alias(database, alias); });
  if (!vswitch)
    fail(VSSIM_NOT_FOUND, "no switch " + quoted(alias));
  return *vswitch;
}

host::Port port_named(host::Database &database, std::string_view alias, std::string_view dvport_id) {
  host::RowId const vswitch = switch_named(database, alias);
  std::optional<host::Port> const port = host::find_port(database, vswitch, dvport_id);
  if (!port)
    fail(VSSIM_NOT_FOUND, "no port " + quoted(dvport_id) + " on switch " + quoted(alias));
  return *port;
}

host::RowId nic_named(host::Database &database, std::string_view name) {
  std::optional<host::RowId> const nic = host::nic_by_name(database, name);
  if (!nic)
    fail(VSSIM_NOT_FOUND, "no NIC " + quoted(name));
  return *nic;
}

FoundPort port_at(host::Database &database, Endpoints const &endpoints, vssim_endpoint endpoint) {
  Endpoints::Row const row = endpoints.row(endpoint);
  if (row.kind != Endpoints::Kind::port)
    fail(VSSIM_BAD_ARGUMENT, endpoints.label(endpoint) + " is a NIC, not a port");
  auto port = found([&] { return host::load_port(database, row.row); });
  if (!port)
    endpoints.fail_gone(endpoint);
  return {host::port_by_number(database, row.row).vswitch, *std::move(port)};
}

FoundPort client_port_at(host::Database &database, Endpoints const &endpoints, vssim_endpoint endpoint) {
  FoundPort found = port_at(database, endpoints, endpoint);
  std::string const &name = found.port.dvport_id;
  if (found.port.client.type == VS_PORT_CLIENT_UNKNOWN)
    fail(VSSIM_FAILED, "the port " + name + " has no client");
  if (found.port.client.is_uplink())
    fail(VSSIM_FAILED, "the client of the port " + name + " is an uplink");
  return found;
}

host::NicRow nic_at(host::Database &database, Endpoints const &endpoints, vssim_endpoint endpoint) {
  Endpoints::Row const row = endpoints.row(endpoint);
  if (row.kind != Endpoints::Kind::nic)
    fail(VSSIM_BAD_ARGUMENT, endpoints.label(endpoint) + " is a port, not a NIC");
  std::vector<host::NicRow> const nics = host::load_nics(database);
  auto const nic =
      std::find_if(nics.begin(), nics.end(), [&](host::NicRow const &other) { return other.row == row.row; });
  if (nic == nics.end())
    endpoints.fail_gone(endpoint);
  return *nic;
}

}  // namespace sim
