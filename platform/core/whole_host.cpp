// The whole configuration of a host at once, and what runs on it.
#include "platform/core/whole_host.hpp"

#include <algorithm>

#include "platform/core/clock.hpp"
#include "platform/core/properties.hpp"
#include "platform/core/property_values.hpp"

namespace host {

namespace {

std::vector<StoredProperty> admitted_properties(Database &database, PropertyPlace const &place) {
  std::vector<StoredProperty> properties = stored_properties(database, place, Values::both);
  std::erase_if(properties, [&](StoredProperty const &property) {
    return !is_admitted(database, place, property.name, property.value);
  });
  return properties;
}

WholePort load_whole_port(Database &database, RowId vswitch, PortRow port) {
  WholePort whole{std::move(port), {}, {}, {}, {}};
  RowId const row = whole.port.row;
  whole.properties = admitted_properties(database, {vswitch, Scope::port, row});
  whole.by_hand = user_mac_rows(database, row);
  whole.multicast_macs = client_multicast_macs(database, row);
  whole.groups = own_groups(database, row);
  return whole;
}

WholeSwitch load_whole_switch(Database &database, Switch vswitch) {
  RowId const row = vswitch.row;
  WholeSwitch whole{std::move(vswitch),
                    property_number(get_switch_property(database, row, VSPROP_MTU)),
                    count_active_ports(database, row),
                    admitted_properties(database, {row, Scope::global}),
                    admitted_properties(database, {row, Scope::host}),
                    {},
                    {},
                    load_lags(database, row)};
  for (Uplink &uplink : load_uplinks(database, row)) {
    PortRow port = load_port(database, uplink.port);
    whole.uplinks.push_back({std::move(uplink), load_whole_port(database, row, std::move(port))});
  }
  for (PortRow &port : load_ports(database, row)) {
    if (!port.client.is_uplink())
      whole.ports.push_back(load_whole_port(database, row, std::move(port)));
  }
  return whole;
}

}  // namespace

WholeHost load_host(Database &database) {
  WholeHost host{clock_is_stopped(database), clock_now(database), std::nullopt, {}, load_stacks(database), {}, {}};
  if (has_global_learning_settings(database))
    host.mac_learning = global_learning_settings(database);
  for (std::uint16_t type = 0; type < VS_NUM_RT_OPT; ++type) {
    if (is_set(database, type))
      host.runtime_options.push_back(runtime_option(database, type));
  }
  for (Switch &vswitch : load_switches(database))
    host.switches.push_back(load_whole_switch(database, std::move(vswitch)));
  for (NicRow &nic : load_nics(database)) {
    std::optional<BoundUplink> const bound = bound_uplink(database, nic.row);
    std::optional<LacpPartner> partner = load_partner(database, nic.row);
    WholeNic whole{std::move(nic), partner, std::nullopt, bound ? bound->name : ""};
    for (std::size_t i = 0; bound && i < host.switches.size(); ++i) {
      if (host.switches[i].vswitch.row == bound->vswitch)
        whole.vswitch = i;
    }
    host.nics.push_back(std::move(whole));
  }
  return host;
}

}  // namespace host
