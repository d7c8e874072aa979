// Writes the state of the switches, of a port or of a property list as an image.
#include "platform/core/state_image.hpp"

#include <algorithm>

#include "platform/core/image.hpp"
#include "platform/core/ports.hpp"
#include "platform/core/uplinks.hpp"

namespace host {

namespace {

Document property_document(StoredProperty const &property) {
  return {{"name", property.name},
          {"owner", property.owner},
          {"type", property.type},
          {"volatile", property.is_volatile},
          {"value", Document::Bytes{property.value}}};
}

Document properties_document(std::vector<StoredProperty> const &properties) {
  Document::List list;
  for (StoredProperty const &property : properties)
    list.push_back(property_document(property));
  return list;
}

std::vector<StoredProperty> properties_of(Database &database, PropertyPlace place, Extent extent) {
  std::vector<StoredProperty> properties = stored_properties(database, place, Values::both);
  if (extent == Extent::persistent)
    std::erase_if(properties, [](StoredProperty const &property) { return property.is_volatile; });
  return properties;
}

Document ports_document(Database &database, RowId vswitch, Extent extent) {
  std::vector<PortRow> ports = load_ports(database, vswitch);
  // The same state gives the same image, in whatever order the ports were made.
  std::sort(ports.begin(), ports.end(),
            [](auto const &one, auto const &other) { return one.dvport_id < other.dvport_id; });
  Document::List list;
  for (PortRow const &port : ports) {
    if (port.kind == DVSPORT_TYPE_ZOMBIE)
      continue;
    list.push_back(
        {{"dvport_id", port.dvport_id},
         {"external_id", port.external_id},
         {"made_for_uplink", was_made_for_uplink(database, port.row)},
         {"properties", properties_document(properties_of(database, {vswitch, Scope::port, port.row}, extent))}});
  }
  return list;
}

Document nics_document(Database &database, RowId vswitch) {
  Document::List list;
  for (Uplink const &uplink : load_uplinks(database, vswitch)) {
    if (uplink.nic)
      list.push_back({{"uplink", uplink.name}, {"nic", uplink.nic_name}});
  }
  return list;
}

Document switch_document(Database &database, Switch const &vswitch, Extent extent) {
  return {{"alias", vswitch.alias},
          {"switch_id", vswitch.switch_id},
          {"class", vswitch.class_name},
          {"max_ports", vswitch.max_ports},
          {"version", vswitch.version},
          {"flags", vswitch.flags},
          {"persistent", vswitch.persistent},
          {"portset", !vswitch.portset.empty()},
          {"global", properties_document(properties_of(database, {vswitch.row, Scope::global}, extent))},
          {"host", properties_document(properties_of(database, {vswitch.row, Scope::host}, extent))},
          {"ports", ports_document(database, vswitch.row, extent)},
          {"nics", nics_document(database, vswitch.row)}};
}

}  // namespace

std::string state_image(Database &database, Extent extent) {
  Document::List switches;
  for (Switch const &vswitch : load_switches(database)) {
    if (vswitch.persistent || extent == Extent::all)
      switches.push_back(switch_document(database, vswitch, extent));
  }
  return seal_image({{"content", "state"}, {"switches", std::move(switches)}});
}

std::string port_image(Database &database, RowId vswitch, RowId port, Extent extent, std::uint32_t version) {
  if (version == 0)
    version = static_cast<std::uint32_t>(load_switch(database, vswitch).version);
  refuse_unknown_version(version);
  std::vector<StoredProperty> properties = properties_of(database, {vswitch, Scope::port, port}, extent);
  // The image is how a port gets to other hosts.
  std::erase_if(properties,
                [](StoredProperty const &property) { return (property.type & NO_REPLICATE_PROP_TYPE) != 0; });
  return seal_image({{"content", "port"},
                     {"version", version},
                     {"external_id", load_port(database, port).external_id},
                     {"properties", properties_document(properties)}});
}

std::string property_list_image(std::vector<StoredProperty> const &properties, std::uint32_t version) {
  if (version == 0)
    version = DVS_VERSION_70;
  refuse_unknown_version(version);
  return seal_image({{"content", "properties"}, {"version", version}, {"properties", properties_document(properties)}});
}

}  // namespace host
