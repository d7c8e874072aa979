// Makes the state of the switches, or of a port, what an image says.
#include <algorithm>
#include <map>
#include <optional>
#include <set>

#include "interface/mirror_records.h"
#include "platform/core/image.hpp"
#include "platform/core/property_rules.hpp"
#include "platform/core/state_image.hpp"
#include "platform/core/switch_state.hpp"
#include "platform/core/traffic.hpp"
#include "platform/core/uplink_list.hpp"
#include "platform/core/uplinks.hpp"

namespace host {

namespace {

StoredProperty read_property(Document const &document) {
  StoredProperty property{name_member(document, "name", property_name_room),
                          text_member(document, "owner", property_owner_room), number_member(document, "type"),
                          truth_member(document, "volatile"), bytes_member(document, "value")};
  property.type = property_type_for_write(property.type);
  return property;
}

void read_properties(std::vector<PlacedProperty> &wanted, PropertyPlace place, Document const &object, char const *name,
                     Extent extent) {
  for (Document const &document : list_member(object, name)) {
    PlacedProperty property{place, read_property(document)};
    if (!property.property.is_volatile || extent == Extent::all)
      wanted.push_back(std::move(property));
  }
}

void set_all(Database &database, std::vector<PlacedProperty> properties) {
  if (std::optional<RefusedProperty> const refused = set_properties(database, std::move(properties)))
    refuse(refused->status);
}

struct WantedPort {
  std::string dvport_id;
  std::string external_id;
  bool made_for_uplink;
  Document const *document;
};

struct WantedSwitch {
  std::string alias;
  std::string switch_id;
  std::string class_name;
  std::uint32_t max_ports;
  std::uint32_t version;
  std::uint32_t flags;
  bool persistent;
  bool portset;
  std::map<std::string, WantedPort, std::less<>> ports;
  Document const *document;
};

WantedSwitch read_switch(Document const &document) {
  WantedSwitch wanted{name_member(document, "alias", QEL_HNQ_NAME_MAX_LEN),
                      name_member(document, "switch_id", QEL_HNQ_ID_MAX_LEN),
                      name_member(document, "class", QEL_HNQ_CLASS_NAME_MAX_LEN),
                      number_member(document, "max_ports"),
                      number_member(document, "version"),
                      number_member(document, "flags"),
                      truth_member(document, "persistent"),
                      truth_member(document, "portset"),
                      {},
                      &document};
  refuse_unknown_version(wanted.version);
  refuse_if(wanted.class_name != PS_CLASS_NAME, QEL_MODULE_NOT_FOUND);
  refuse_if(wanted.max_ports == 0 || wanted.max_ports > most_ports, QEL_LIMIT_EXCEEDED);
  for (Document const &port : list_member(document, "ports")) {
    WantedPort const read{name_member(port, "dvport_id", QEL_HNQ_PORT_ID_MAX_LEN),
                          text_member(port, "external_id", sizeof(OpaqueDVPortData::externalId)),
                          truth_member(port, "made_for_uplink"), &port};
    refuse_if(!wanted.ports.emplace(read.dvport_id, read).second, QEL_INVALID_METADATA);
  }
  refuse_if(wanted.ports.size() > wanted.max_ports, QEL_LIMIT_EXCEEDED);
  return wanted;
}

std::vector<WantedSwitch> read_switches(Document const &document) {
  refuse_if(text_member(document, "content", SIZE_MAX) != "state", QEL_INVALID_METADATA);
  std::vector<WantedSwitch> switches;
  std::set<std::string> ids;
  for (Document const &entry : list_member(document, "switches")) {
    switches.push_back(read_switch(entry));
    refuse_if(!ids.insert(switches.back().switch_id).second, QEL_INVALID_METADATA);
  }
  return switches;
}

RowId make_or_update_switch(Database &database, WantedSwitch const &wanted) {
  std::optional<RowId> const existing = find_switch_by_id(database, wanted.switch_id);
  if (existing) {
    change_switch(database, *existing,
                  {wanted.alias, wanted.max_ports, wanted.version, wanted.flags, wanted.persistent});
    return *existing;
  }
  return create_switch(database, {wanted.alias, wanted.switch_id, wanted.class_name, wanted.max_ports,
                                  wanted.persistent, 0, wanted.version, wanted.flags});
}

// Ports that the image does not have. Those of uplinks follow the list of uplink ports.
template <typename Keep>
void drop_ports(Database &database, RowId vswitch, Keep &&is_kept, Status if_connected) {
  for (PortRow const &port : load_ports(database, vswitch)) {
    if (port.kind == DVSPORT_TYPE_ZOMBIE || is_kept(port.dvport_id))
      continue;
    refuse_if(port.is_client_port() && if_connected != QEL_OK, if_connected);
    if (port.client.type == VS_PORT_CLIENT_UNKNOWN)
      drop_port(database, vswitch, port.row);
  }
}

// Takes all values away at once, because rules tie them to each other. A property that does not come back takes effect
// with its default.
void drop_properties(Database &database, RowId vswitch, std::vector<PlacedProperty> const &coming) {
  std::set<std::pair<Scope, std::string>> gone;
  for (Scope const scope : {Scope::global, Scope::host}) {
    for (StoredProperty const &property : stored_properties(database, {vswitch, scope}, Values::in_effect))
      gone.emplace(scope, property.name);
  }
  remove_values_of_switch(database, vswitch);
  forget_sessions(database, vswitch);
  for (PlacedProperty const &wanted : coming)
    gone.erase({wanted.place.scope, wanted.property.name});
  for (auto const &[scope, name] : gone) {
    KnownProperty const *const known = known_property(name);
    PropertyPlace const place{vswitch, scope};
    if (known && known->apply)
      known->apply(database, place, known->default_value(database, place));
  }
}

void restore_ports(Database &database, RowId vswitch, WantedSwitch const &wanted) {
  clear_external_ids(database, vswitch);
  for (auto const &[dvport_id, port] : wanted.ports) {
    std::optional<Port> const existing = find_port(database, vswitch, dvport_id);
    if (port.made_for_uplink && !existing)
      continue;
    if (!existing) {
      set_port_kind(database, add_port(database, vswitch, dvport_id), DVSPORT_TYPE_LOCALCACHE);
    } else if (load_port(database, existing->row).kind == DVSPORT_TYPE_ZOMBIE) {
      set_port_kind(database, existing->row, DVSPORT_TYPE_SHADOW);
    }
  }
}

void restore_port_settings(Database &database, RowId vswitch, WantedSwitch const &wanted, bool made_for_uplink,
                           Extent extent, std::vector<PlacedProperty> &properties) {
  for (auto const &[dvport_id, port] : wanted.ports) {
    std::optional<Port> const existing = find_port(database, vswitch, dvport_id);
    if (port.made_for_uplink != made_for_uplink || !existing)
      continue;
    set_external_id(database, vswitch, existing->row, port.external_id);
    read_properties(properties, {vswitch, Scope::port, existing->row}, *port.document, "properties", extent);
  }
}

// NICs that this host does not have, or that others use, stay out.
void restore_nics(Database &database, RowId vswitch, Document const &document) {
  std::vector<UplinkPortName> const uplinks = uplink_port_names(database, vswitch);
  for (Document const &entry : list_member(document, "nics")) {
    std::string const uplink = name_member(entry, "uplink", QEL_HNQ_NAME_MAX_LEN);
    std::string const nic = name_member(entry, "nic", QEL_DEVICE_NAME_MAX_LENGTH);
    if (std::none_of(uplinks.begin(), uplinks.end(), [&](auto const &other) { return other.name == uplink; }))
      continue;
    try {
      bind_nic(database, vswitch, uplink, nic);
    } catch (Refusal const &refusal) {
      if (refusal.status() != QEL_NOT_FOUND && refusal.status() != QEL_BUSY)
        throw;
    }
  }
}

// The uplink ports that will be in effect.
std::vector<UplinkPortName> wanted_uplinks(WantedSwitch const &wanted, Extent extent) {
  std::vector<PlacedProperty> properties;
  read_properties(properties, {}, *wanted.document, "host", extent);
  StoredProperty const *list = nullptr;
  for (PlacedProperty const &placed : properties) {
    if (placed.property.name == QEL_HNQPROP_HOST_UPLINKPORTS && (!list || !list->is_volatile))
      list = &placed.property;
  }
  return list ? parse_uplink_ports(list->value) : std::vector<UplinkPortName>();
}

// Ports that were made for uplinks, but not for one that is there now.
void drop_unused_ports_of_uplinks(Database &database, RowId vswitch, WantedSwitch const &wanted) {
  for (auto const &[dvport_id, port] : wanted.ports) {
    std::optional<Port> const existing = find_port(database, vswitch, dvport_id);
    if (port.made_for_uplink && existing && existing->client_type == VS_PORT_CLIENT_UNKNOWN)
      drop_port(database, vswitch, existing->row);
  }
}

void restore_switch(Database &database, WantedSwitch const &wanted, Extent extent) {
  RowId const vswitch = make_or_update_switch(database, wanted);
  // For a while it may have what comes beside what goes.
  set_room_for_ports(database, vswitch, std::int64_t{3} * most_ports);
  auto const is_wanted = [&](std::string const &dvport_id) { return wanted.ports.count(dvport_id) != 0; };
  std::vector<PlacedProperty> properties;
  read_properties(properties, {vswitch, Scope::global}, *wanted.document, "global", extent);
  read_properties(properties, {vswitch, Scope::host}, *wanted.document, "host", extent);

  drop_properties(database, vswitch, properties);
  restore_ports(database, vswitch, wanted);
  restore_port_settings(database, vswitch, wanted, false, extent, properties);
  set_all(database, std::move(properties));
  drop_ports(database, vswitch, is_wanted, QEL_BUSY);
  drop_unused_ports_of_uplinks(database, vswitch, wanted);

  std::vector<PlacedProperty> of_uplinks;
  restore_port_settings(database, vswitch, wanted, true, extent, of_uplinks);
  set_all(database, std::move(of_uplinks));
  for (auto const &[dvport_id, port] : wanted.ports) {
    if (std::optional<Port> const existing = find_port(database, vswitch, dvport_id))
      set_made_for_uplink(database, existing->row, port.made_for_uplink);
  }
  refuse_if(count_ports(database, vswitch) > wanted.max_ports, QEL_LIMIT_EXCEEDED);
  set_room_for_ports(database, vswitch, wanted.max_ports);

  bool const has_portset = !load_switch(database, vswitch).portset.empty();
  if (wanted.portset && !has_portset)
    give_portset(database, vswitch);
  if (!wanted.portset && has_portset)
    take_portset(database, vswitch);
}

// Another property may need the value, such as a teaming policy its uplink ports.
void clear_unless_needed(Database &database, PropertyPlace const &place, std::string_view name) {
  try {
    clear_property(database, place, name);
  } catch (Refusal const &refusal) {
    // The other of its two values may have been cleared with it.
    if (refusal.status() != QEL_BUSY && refusal.status() != QEL_NOT_FOUND)
      throw;
  }
}

void restore_switches(Database &database, std::vector<WantedSwitch> const &switches, Extent extent) {
  std::vector<NicBinding> const former = nic_bindings(database);
  for (WantedSwitch const &wanted : switches) {
    std::optional<RowId> const existing = find_switch_by_id(database, wanted.switch_id);
    if (!existing)
      continue;
    set_aside_alias(database, *existing);
    release_uplink_ports(database, *existing, wanted_uplinks(wanted, extent));
  }
  // Uplink ports must not take NICs by their names: the image says who has which, after the switches that it leaves
  // out.
  release_nics(database);
  std::set<RowId> restored;
  for (WantedSwitch const &wanted : switches) {
    restore_switch(database, wanted, extent);
    restored.insert(*find_switch_by_id(database, wanted.switch_id));
    release_nics(database);
  }
  for (NicBinding const &binding : former) {
    if (!restored.count(binding.vswitch))
      bind_nic_again(database, binding);
  }
  for (WantedSwitch const &wanted : switches)
    restore_nics(database, *find_switch_by_id(database, wanted.switch_id), *wanted.document);
  for (NicBinding const &binding : former)
    restore_numa_node(database, binding);
}

void destroy_switches_except(Database &database, std::vector<WantedSwitch> const &kept) {
  for (Switch const &vswitch : load_switches(database)) {
    bool const is_kept = std::any_of(kept.begin(), kept.end(),
                                     [&](WantedSwitch const &wanted) { return wanted.switch_id == vswitch.switch_id; });
    if (!is_kept)
      destroy_switch(database, vswitch.row);
  }
}

}  // namespace

void replace_state(Database &database, std::string_view image) {
  Document const document = open_image(image);
  std::vector<WantedSwitch> const switches = read_switches(document);
  destroy_switches_except(database, switches);
  restore_switches(database, switches, Extent::all);
}

void merge_configuration(Database &database, std::string_view image) {
  Document const document = open_image(image);
  std::vector<WantedSwitch> switches = read_switches(document);
  std::erase_if(switches, [](WantedSwitch const &wanted) { return !wanted.persistent; });
  restore_switches(database, switches, Extent::persistent);
}

void start_port_from_image(Database &database, RowId vswitch, RowId port, std::string_view image) {
  Document const document = open_image(image);
  std::string const content = text_member(document, "content", SIZE_MAX);
  refuse_if(content != "port" && content != "properties", QEL_INVALID_METADATA);
  std::uint32_t const version = number_member(document, "version");
  refuse_unknown_version(version);
  refuse_if(version > load_switch(database, vswitch).version, QEL_VERSION_MISMATCH_MAJOR);
  if (content == "port")
    set_external_id(database, vswitch, port,
                    text_member(document, "external_id", sizeof(OpaqueDVPortData::externalId)));
  std::vector<PlacedProperty> properties;
  read_properties(properties, {vswitch, Scope::port, port}, document, "properties", Extent::all);
  set_all(database, std::move(properties));
  set_port_kind(database, port, DVSPORT_TYPE_LOCALCACHE);
}

void reset_configuration(Database &database) {
  for (Switch const &vswitch : load_switches(database)) {
    if (!has_clients(database, vswitch.row)) {
      destroy_switch(database, vswitch.row);
      continue;
    }
    drop_properties(database, vswitch.row, {});
    clear_external_ids(database, vswitch.row);
    drop_ports(
        database, vswitch.row, [](std::string const &) { return false; }, QEL_OK);
  }
}

void load_stored_configuration(Database &database) {
  for (Switch const &vswitch : load_switches(database)) {
    if (!vswitch.persistent)
      destroy_switch(database, vswitch.row);
  }
  forget_volatile_properties(database);
}

void sanitize_state(Database &database) {
  for (auto const &[place, property] : all_values(database)) {
    if (place.scope == Scope::port && !has_port(database, place.port)) {
      remove_values_of_port(database, place);
    } else if (known_property(property.name) && !is_admitted(database, place, property.name, property.value)) {
      clear_unless_needed(database, place, property.name);
    }
  }
}

}  // namespace host
