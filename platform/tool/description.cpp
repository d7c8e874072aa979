// The boot description of a host as it is, and the parts of it that other answers show, too.
#include "platform/tool/description.hpp"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdio>

#include "platform/core/clock.hpp"
#include "platform/core/constants.hpp"
#include "platform/core/property_values.hpp"
#include "platform/core/uplink_list.hpp"

namespace tool {

namespace {

using namespace host;

std::string hexadecimal(std::string_view bytes, char const *separator = "") {
  std::string text;
  for (char const byte : bytes) {
    char digits[4];
    std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
    text += (text.empty() ? "" : separator) + std::string(digits);
  }
  return text;
}

std::string mac_text(MacAddress const &mac) {
  return hexadecimal(mac_bytes(mac), ":");
}

std::string ip_text(std::string const &bytes) {
  char text[INET6_ADDRSTRLEN] = "";
  inet_ntop(bytes.size() == sizeof(in_addr) ? AF_INET : AF_INET6, bytes.data(), text, sizeof text);
  return text;
}

// A list that is left out where it is empty.
void add_list(Json &object, char const *member, Json list) {
  if (!list.empty())
    object[member] = std::move(list);
}

// ---- properties ----------------------------------------------------------------------------------------

// Takes a property out of the list that a member of its own says: one value, as that member writes it.
std::optional<std::string> take_plain(std::vector<StoredProperty> &properties, std::string_view name) {
  auto const has_name = [&](StoredProperty const &property) { return property.name == name; };
  auto const found = std::find_if(properties.begin(), properties.end(), has_name);
  if (std::count_if(properties.begin(), properties.end(), has_name) != 1 || found->is_volatile ||
      !found->owner.empty() || found->type != CONFIG_PROP_TYPE)
    return std::nullopt;
  std::string value = std::move(found->value);
  properties.erase(found);
  return value;
}

Json described_properties(std::vector<StoredProperty> const &properties) {
  Json list = Json::array();
  for (StoredProperty const &property : properties) {
    Json json{{"name", property.name}, {"value", hexadecimal(property.value)}};
    if (!property.owner.empty())
      json["owner"] = property.owner;
    if (property.type != CONFIG_PROP_TYPE)
      json["type"] = property.type;
    if (property.is_volatile)
      json["volatile"] = true;
    list.push_back(std::move(json));
  }
  return list;
}

// ---- ports ---------------------------------------------------------------------------------------------

Json described_user_macs(WholeHost const &host, WholePort const &port) {
  Json list = Json::array();
  for (MacRow const &row : port.by_hand) {
    list.push_back({{"mac", mac_text(row.key.mac)},
                    {"vlan", row.key.vid},
                    {"vni", row.key.vni},
                    {"age", std::max<std::int64_t>(host.now - row.seen, 0) / microseconds_per_second}});
  }
  return list;
}

// What the ports of uplinks and all others have.
void add_port_state(WholeHost const &host, WholePort const &port, std::vector<StoredProperty> const &properties,
                    Json &json) {
  if (!port.port.external_id.empty())
    json["external_id"] = port.port.external_id;
  add_list(json, "properties", described_properties(properties));
  add_list(json, "user_macs", described_user_macs(host, port));
}

Json described_groups(WholePort const &port) {
  Json list = Json::array();
  for (auto const &[group, updated, expiry] : port.groups) {
    Json json{{"address", ip_text(group.address)}, {"version", group.version}};
    if (group.source_mode != static_cast<std::uint32_t>(VS_MCAST_SRC_IP_FILTER_MODE_NONE)) {
      bool const includes = group.source_mode == static_cast<std::uint32_t>(VS_MCAST_SRC_IP_FILTER_MODE_INCLUDE);
      json["mode"] = includes ? "include" : "exclude";
      json["sources"] = Json::array();
      for (std::string const &source : group.sources)
        json["sources"].push_back(ip_text(source));
    }
    json["updated"] = updated;
    json["vni"] = group.vni;
    list.push_back(std::move(json));
  }
  return list;
}

bool is_local_cache(WholePort const &port) {
  return port.port.kind == DVSPORT_TYPE_LOCALCACHE;
}

Json plain_ports(WholeHost const &host, WholeSwitch const &vswitch) {
  Json ports = Json::array();
  for (WholePort const &port : vswitch.ports) {
    if (port.port.kind == DVSPORT_TYPE_ZOMBIE)
      continue;
    std::vector<StoredProperty> properties = port.properties;
    Json json{{"dvport_id", port.port.dvport_id}};
    if (std::optional<std::string> const connect_id = take_plain(properties, QEL_HNQPROP_PORT_CONNECTID))
      json["connect_id"] = property_number(*connect_id);
    if (is_local_cache(port))
      json["local_cache"] = true;
    add_port_state(host, port, properties, json);
    Json client = described_client(port.port);
    if (!client.is_null()) {
      Json macs = Json::array();
      for (MacAddress const &mac : port.multicast_macs)
        macs.push_back(mac_text(mac));
      add_list(client, "multicast_macs", std::move(macs));
      json["client"] = std::move(client);
      add_list(json, "multicast_groups", described_groups(port));
    }
    ports.push_back(std::move(json));
  }
  return ports;
}

Json described_uplinks(WholeHost const &host, WholeSwitch const &vswitch) {
  Json uplinks = Json::array();
  for (auto const &[uplink, port] : vswitch.uplinks) {
    Json json{{"name", uplink.name}, {"dvport_id", port.port.dvport_id}};
    bool const has_namesake = std::any_of(host.nics.begin(), host.nics.end(),
                                          [&name = uplink.name](auto const &nic) { return nic.row.nic.name == name; });
    if (uplink.nic && uplink.nic_name != uplink.name)
      json["nic"] = uplink.nic_name;
    if (!uplink.nic && has_namesake)
      json["nic"] = nullptr;
    if (!uplink.made_port) {
      json["made_port"] = false;
      if (is_local_cache(port))
        json["local_cache"] = true;
    }
    add_port_state(host, port, port.properties, json);
    uplinks.push_back(std::move(json));
  }
  return uplinks;
}

Json described_lag(Lag const &lag, Json members) {
  LagSettings const &settings = lag.settings;
  Json json{{"name", lag.name}, {"mode", settings.mode}, {"fast", settings.fast}, {"hash", settings.hash}};
  if (settings.system)
    json["system"] = mac_text(*settings.system);
  json["system_priority"] = settings.system_priority;
  if (settings.key)
    json["key"] = *settings.key;
  json["max_active"] = settings.max_active;
  json["fallback"] = settings.fallback;
  json["members"] = std::move(members);
  return json;
}

// What LACP negotiated, whatever the link is now. A member whose uplink port is gone is left out.
Json described_lags(WholeSwitch const &vswitch) {
  Json lags = Json::array();
  for (Lag const &lag : vswitch.lags) {
    Json members = Json::array();
    for (LagMember const &member : lag.members) {
      Json described{{"uplink", member.uplink.name}};
      if (lag.settings.is_fixed())
        described["lacp"] = up_or_down(member.negotiated);
      members.push_back(std::move(described));
    }
    lags.push_back(described_lag(lag, std::move(members)));
  }
  return lags;
}

// ---- the host ------------------------------------------------------------------------------------------

Json switch_description(WholeHost const &host, WholeSwitch const &vswitch) {
  Json json = described_switch(vswitch.vswitch);
  if (vswitch.vswitch.portset.empty())
    json["portset"] = false;
  std::vector<StoredProperty> global = vswitch.global_properties;
  if (std::optional<std::string> const mtu = take_plain(global, VSPROP_MTU))
    json["mtu"] = property_number(*mtu);
  std::vector<StoredProperty> of_host = vswitch.host_properties;
  // The list of uplink ports writes this property, unless it is empty or not what is persistent.
  std::vector<StoredProperty> without_list = of_host;
  std::optional<std::string> const list = take_plain(without_list, QEL_HNQPROP_HOST_UPLINKPORTS);
  std::vector<UplinkPortName> names;
  for (auto const &[uplink, port] : vswitch.uplinks)
    names.push_back({uplink.name, port.port.dvport_id});
  if (list && !names.empty() && *list == uplink_ports_value(names))
    of_host = std::move(without_list);
  add_list(json, "global_properties", described_properties(global));
  add_list(json, "host_properties", described_properties(of_host));
  json["uplinks"] = described_uplinks(host, vswitch);
  json["ports"] = plain_ports(host, vswitch);
  json["lags"] = described_lags(vswitch);
  return json;
}

Json described_options(WholeHost const &host) {
  Json options = Json::object();
  for (RuntimeOption const &option : host.runtime_options) {
    options[runtime_option_name(option.type)] = is_text_option(option.type) ? Json(option.text) : Json(option.number);
  }
  return options;
}

Json described_stacks(WholeHost const &host) {
  Json stacks = Json::object();
  for (Stack const &stack : host.stacks) {
    Json json = Json::object();
    if (stack.mac)
      json["mac"] = mac_text(*stack.mac);
    json["gateway_mac"] = mac_text(stack.gateway_mac);
    json["ipv4"] = ip_text(stack.ipv4);
    json["ipv6"] = ip_text(stack.ipv6);
    json["vlan"] = stack.vlan;
    json["ttl"] = stack.ttl;
    json["dscp"] = stack.dscp;
    stacks[stack.name] = std::move(json);
  }
  return stacks;
}

Json described_partner(LacpPartner const &partner) {
  return {{"system", mac_text(partner.system)},
          {"system_priority", partner.system_priority},
          {"key", partner.key},
          {"port", partner.port},
          {"port_priority", partner.port_priority},
          {"active", partner.active},
          {"fast", partner.fast},
          {"aggregatable", partner.aggregatable},
          {"on", partner.on}};
}

// Without what runs: errors.
Json exported_nic(WholeNic const &nic) {
  Json json = described_nic(nic.row.nic);
  json["segment"] = nic.row.nic.segment;
  if (nic.partner)
    json["partner"] = described_partner(*nic.partner);
  return json;
}

}  // namespace

Json described_client(PortRow const &port) {
  if (!port.is_client_port())
    return nullptr;
  Json client;
  client["name"] = port.client.name;
  client["type"] = port.client.type == VS_PORT_CLIENT_TCPIP ? "tcpip" : "vnic";
  if (port.client.mac)
    client["mac"] = mac_text(*port.client.mac);
  client["numa_node"] = port.client.numa_node;
  client["router"] = port.client.is_router;
  client["promiscuous"] = port.client.is_promiscuous;
  return client;
}

Json described_nic(PhysicalNic const &nic) {
  Json json;
  json["name"] = nic.name;
  json["mac"] = mac_text(nic.mac);
  json["driver"] = nic.driver;
  json["speed"] = nic.speed;
  json["duplex"] = nic.duplex == QEL_LINK_DUPLEX_FULL ? "full" : "half";
  json["link"] = up_or_down(nic.carrier);
  json["numa_node"] = nic.numa_node;
  json["smartnic"] = nic.smartnic;
  return json;
}

Json described_switch(Switch const &vswitch) {
  Json json;
  json["alias"] = vswitch.alias;
  json["switch_id"] = vswitch.switch_id;
  json["class"] = vswitch.class_name;
  json["max_ports"] = vswitch.max_ports;
  json["persistent"] = vswitch.persistent;
  json["version"] = vswitch.version;
  json["flags"] = vswitch.flags;
  return json;
}

Json boot_description(Database &database) {
  WholeHost const host = load_host(database);
  Json json;
  json["format"] = 1;
  if (host.clock_is_stopped)
    json["stopped_clock"] = host.now;
  if (host.mac_learning) {
    json["mac_learning"] = {{"aging_time", std::uint32_t{host.mac_learning->agingTime}},
                            {"limit", std::uint32_t{host.mac_learning->macLimit}},
                            {"learn_static", host.mac_learning->learnStatic != 0},
                            {"allow_static", host.mac_learning->staticMACAllow != 0}};
  }
  add_list(json, "runtime_options", described_options(host));
  add_list(json, "stacks", described_stacks(host));
  json["physical_nics"] = Json::array();
  for (WholeNic const &nic : host.nics)
    json["physical_nics"].push_back(exported_nic(nic));
  json["switches"] = Json::array();
  for (WholeSwitch const &vswitch : host.switches)
    json["switches"].push_back(switch_description(host, vswitch));
  return json;
}

}  // namespace tool
