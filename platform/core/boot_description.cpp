// Reads a boot description from JSON; every mistake is reported with its place.
#include "platform/core/boot_description.hpp"

#include "platform/core/clock.hpp"
#include "platform/core/constants.hpp"
#include "platform/core/json_object.hpp"

namespace host {

namespace {

using Object = JsonObject;

constexpr std::uint64_t supported_format = 1;
// How deep values may stand in each other.
constexpr std::size_t deepest = 32;
constexpr std::uint32_t most_percent = 100;

std::optional<LacpPartner> read_partner_of(Object &nic) {
  Document const *document = nic.find("partner");
  if (!document || document->is_null())
    return std::nullopt;
  Object object(*document, nic.place("partner"));
  return read_partner(object);
}

DescribedNic read_nic(Object &object) {
  return {object.where(),
          {.name = object.name("name", QEL_DEVICE_NAME_MAX_LENGTH),
           .mac = object.mac("mac"),
           .driver = object.text("driver", QEL_MODULE_NAME_MAX, "simulated"),
           .speed = object.number("speed", QEL_LINK_SPEED_10000_MBPS),
           .duplex = object.choice("duplex", "full", "half") ? QEL_LINK_DUPLEX_FULL : QEL_LINK_DUPLEX_HALF,
           .carrier = object.choice("link", "up", "down"),
           .numa_node = object.number("numa_node", 0),
           .smartnic = object.truth("smartnic", false),
           .errors = object.number_up_to("errors", 0, most_percent),
           .segment = object.text("segment", segment_room, "")},
          read_partner_of(object)};
}

template <typename Counters, typename Names>
std::optional<Counters> read_counters(Object &owner, Names const &names) {
  Document const *document = owner.find("counters");
  if (!document)
    return std::nullopt;
  Object object(*document, owner.place("counters"));
  Counters counters;
  for (NamedCounter<Counters> const &counter : names)
    counters.*counter.value = object.large_number(counter.name.data(), 0);
  object.finish();
  return counters;
}

// Addresses by hand do not age.
std::vector<DescribedAddress> read_addresses(Object &owner, char const *member, bool may_age) {
  std::vector<DescribedAddress> addresses;
  owner.list(member, [&](Object &object) {
    constexpr std::uint32_t most_vid = 4094;
    MacKey const key{object.mac("mac"), object.number_up_to("vlan", 0, most_vid),
                     object.number_up_to("vni", 0, QEL_VIRTUAL_NETWORK_ID_MAX)};
    addresses.push_back({object.where(), {key, may_age && object.truth("aging", true), object.number("age", 0)}});
  });
  return addresses;
}

std::vector<DescribedProperty> read_properties(Object &owner, char const *member) {
  std::vector<DescribedProperty> properties;
  owner.list(member, [&](Object &object) {
    StoredProperty property{object.name("name", property_name_room), object.text("owner", property_owner_room, ""),
                            object.number("type", CONFIG_PROP_TYPE), object.truth("volatile", false),
                            object.hexadecimal("value")};
    properties.push_back({object.where(), std::move(property)});
  });
  return properties;
}

DescribedPortState read_port_state(Object &port) {
  return {port.text("external_id", sizeof(OpaqueDVPortData::externalId), ""),
          port.truth("local_cache", false),
          read_properties(port, "properties"),
          read_addresses(port, "user_macs", false),
          read_addresses(port, "learned", true),
          read_counters<PortCounters>(port, port_counters)};
}

std::optional<VSPMACLearning> read_mac_learning(Object &port) {
  Document const *document = port.find("mac_learning");
  if (!document)
    return std::nullopt;
  Object object(*document, port.place("mac_learning"));
  VSPMACLearning policy{};
  policy.learning = static_cast<qel_Bool>(object.truth("learning", true));
  policy.flooding = static_cast<qel_Bool>(object.truth("flooding", true));
  policy.macLimit =
      object.number_up_to("limit", VSPORT_MAC_LEARNING_LIMIT_ENTRIES_DEFAULT, VSPORT_MAC_LEARNING_LIMIT_ENTRIES_MAX);
  policy.macLimitPolicy = static_cast<VSPortMACLearningLimitPolicy>(object.choice("at_limit", "allow", "drop")
                                                                        ? VSPORT_MAC_LEARNING_LIMIT_POLICY_ALLOW
                                                                        : VSPORT_MAC_LEARNING_LIMIT_POLICY_DROP);
  object.finish();
  return policy;
}

LagSettings read_lag_settings(Object &object) {
  constexpr std::uint32_t most = 65535;  // the fields of an LACPDU have two bytes
  LagSettings settings;
  settings.mode = object.word("mode", "fixed", {"fixed", "active", "passive"});
  settings.fast = object.truth("fast", false);
  settings.hash = object.word("hash", "l2+3", {"l2", "l2+3", "l3+4", "vlan+srcmac"});
  if (object.find("system"))
    settings.system = object.mac("system");
  settings.system_priority = object.number_up_to("system_priority", 32768, most);
  if (object.find("key"))
    settings.key = object.number_up_to("key", 0, most);
  settings.max_active = object.number_from("max_active", VS_MAX_UPLINKS_IN_LAG, 1, VS_MAX_UPLINKS_IN_LAG);
  settings.fallback = object.truth("fallback", false);
  return settings;
}

DescribedLag read_lag(Object &object) {
  DescribedLag lag{object.where(), object.name("name", VS_LACP_LAG_NAME_LENGTH), read_lag_settings(object), {}};
  object.list("members", [&](Object &member) {
    bool const is_fixed = lag.settings.is_fixed();
    if (!is_fixed && member.find("lacp"))
      wrong(member.place("lacp"), "is only for a LAG of mode \"fixed\"");
    lag.members.push_back(
        {member.name("uplink", QEL_HNQ_NAME_MAX_LEN), member.choice("lacp", "up", "down") && is_fixed});
  });
  return lag;
}

MulticastGroup read_group(Object &object) {
  MulticastGroup group{object.ip_address("address"),
                       0,
                       VS_MCAST_SRC_IP_FILTER_MODE_NONE,
                       object.number_up_to("vni", 0, QEL_VIRTUAL_NETWORK_ID_MAX),
                       {}};
  constexpr std::uint32_t igmp_version = 3;
  constexpr std::uint32_t mld_version = 2;
  group.version = object.number("version", group.address.size() == 4 ? igmp_version : mld_version);
  if (object.find("sources")) {
    group.source_mode =
        static_cast<std::uint32_t>(object.choice("mode", "include", "exclude") ? VS_MCAST_SRC_IP_FILTER_MODE_INCLUDE
                                                                               : VS_MCAST_SRC_IP_FILTER_MODE_EXCLUDE);
    group.sources = object.ip_addresses("sources", group.address.size());
  }
  return group;
}

std::vector<DescribedGroup> read_groups(Object &port) {
  std::vector<DescribedGroup> groups;
  port.list("multicast_groups", [&](Object &group) {
    std::optional<std::uint64_t> updated;
    if (group.find("updated"))
      updated = group.large_number("updated", 0);
    groups.push_back({group.where(), read_group(group), updated});
  });
  return groups;
}

MirrorStatistics read_mirror_counters(Object &session) {
  MirrorStatistics counters;
  Document const *document = session.find("counters");
  if (!document)
    return counters;
  Object object(*document, session.place("counters"));
  counters.copies = object.large_number("copies", 0);
  counters.copies_failed = object.large_number("copies_failed", 0);
  counters.mirrored = object.large_number("mirrored", 0);
  counters.discarded = object.large_number("discarded", 0);
  counters.failed = object.large_number("failed", 0);
  object.finish();
  return counters;
}

DescribedMirrorSession read_mirror_session(Object &object) {
  DescribedMirrorSession session{.where = object.where(),
                                 .session_id = object.name("session_id", sizeof(DVMirrorSession::sid)),
                                 .name = object.text("name", sizeof(DVMirrorSession::dname), ""),
                                 .port = object.text("port", QEL_HNQ_PORT_ID_MAX_LEN, ""),
                                 .enabled = object.truth("enabled", true),
                                 .destinations = object.names("destinations", QEL_HNQ_PORT_ID_MAX_LEN),
                                 .sources_in = object.names("sources_in", QEL_HNQ_PORT_ID_MAX_LEN),
                                 .sources_out = object.names("sources_out", QEL_HNQ_PORT_ID_MAX_LEN),
                                 .counters = read_mirror_counters(object)};
  return session;
}

std::optional<MacAddress> read_own_mac(Object &client) {
  if (!client.find("effective_mac"))
    return std::nullopt;
  return client.station_mac("effective_mac");
}

DescribedClient read_client(Document const &document, std::string where) {
  Object object(document, std::move(where));
  std::string const type = object.name("type", SIZE_MAX);
  if (type != "tcpip" && type != "vnic")
    wrong(object.place("type"), "must be \"tcpip\" or \"vnic\"");
  DescribedClient client{object.name("name", QEL_PORT_CLIENT_NAME_MAX),
                         type == "tcpip" ? VS_PORT_CLIENT_TCPIP : VS_PORT_CLIENT_VNIC,
                         object.find("mac") ? std::optional(object.mac("mac")) : std::nullopt,
                         object.number("numa_node", 0),
                         object.truth("router", false),
                         object.truth("promiscuous", false),
                         read_own_mac(object),
                         object.choice("link", "up", "down"),
                         object.group_macs("multicast_macs")};
  object.finish();
  return client;
}

DescribedPort read_port(Object &object) {
  DescribedPort port{object.where(),
                     object.name("dvport_id", QEL_HNQ_PORT_ID_MAX_LEN),
                     std::nullopt,
                     std::nullopt,
                     read_mac_learning(object),
                     read_port_state(object),
                     read_groups(object)};
  if (object.find("connect_id"))
    port.connect_id = object.number("connect_id", 0);
  if (Document const *client = object.find("client"))
    port.client = read_client(*client, object.place("client"));
  return port;
}

DescribedUplink read_uplink(Object &object) {
  Document const *nic = object.find("nic");
  bool const has_none = nic && nic->is_null();
  std::string const nic_name = has_none ? "" : object.text("nic", QEL_DEVICE_NAME_MAX_LENGTH, "");
  bool const made_port = object.truth("made_port", true);
  return {object.where(),
          object.name("name", QEL_HNQ_NAME_MAX_LEN),
          has_none           ? NicChoice::none
          : nic_name.empty() ? NicChoice::by_name
                             : NicChoice::named,
          nic_name,
          made_port ? object.text("dvport_id", QEL_HNQ_PORT_ID_MAX_LEN, "")
                    : object.name("dvport_id", QEL_HNQ_PORT_ID_MAX_LEN),
          made_port,
          read_port_state(object)};
}

DescribedSwitch read_switch(Object &object) {
  DescribedSwitch result{.where = object.where(),
                         .alias = object.name("alias", QEL_HNQ_NAME_MAX_LEN),
                         .switch_id = object.name("switch_id", QEL_HNQ_ID_MAX_LEN),
                         .class_name = object.text("class", QEL_HNQ_CLASS_NAME_MAX_LEN, ""),
                         .max_ports = object.number("max_ports", 0),
                         .persistent = object.truth("persistent", true),
                         .portset = object.truth("portset", true),
                         .mtu = object.number("mtu", 0),
                         .version = object.number("version", 0),
                         .flags = object.number("flags", 0),
                         .global_properties = read_properties(object, "global_properties"),
                         .host_properties = read_properties(object, "host_properties"),
                         .uplinks = {},
                         .ports = {},
                         .lags = {},
                         .mirror_sessions = {},
                         .counters = read_counters<SwitchCounters>(object, switch_counters)};
  object.list("uplinks", [&](Object &uplink) { result.uplinks.push_back(read_uplink(uplink)); });
  object.list("ports", [&](Object &port) { result.ports.push_back(read_port(port)); });
  object.list("lags", [&](Object &lag) { result.lags.push_back(read_lag(lag)); });
  object.list("mirror_sessions",
              [&](Object &session) { result.mirror_sessions.push_back(read_mirror_session(session)); });
  return result;
}

std::optional<VSMACLearningGlobalProps> read_global_learning(Object &host) {
  Document const *document = host.find("mac_learning");
  if (!document)
    return std::nullopt;
  Object object(*document, host.place("mac_learning"));
  VSMACLearningGlobalProps settings{};
  settings.agingTime = object.number("aging_time", VS_MAC_LEARNING_AGING_TIME_DEFAULT);
  settings.macLimit = object.number("limit", VS_MAC_LEARNING_LIMIT_ENTRIES_DEFAULT);  // the call has the limit
  settings.learnStatic = static_cast<qel_Bool>(object.truth("learn_static", VS_MAC_LEARNING_LEARN_STATIC_DEFAULT != 0));
  settings.staticMACAllow =
      static_cast<qel_Bool>(object.truth("allow_static", VS_MAC_LEARNING_ALLOW_STATIC_DEFAULT != 0));
  object.finish();
  return settings;
}

std::vector<RuntimeOption> read_runtime_options(Object &host) {
  std::vector<RuntimeOption> options;
  Document const *document = host.find("runtime_options");
  if (!document)
    return options;
  Object object(*document, host.place("runtime_options"));
  for (std::uint16_t type = 0; type < VS_NUM_RT_OPT; ++type) {
    char const *const name = runtime_option_name(type);
    if (!object.find(name))
      continue;
    if (is_text_option(type)) {
      options.push_back({type, 0, object.text(name, SIZE_MAX)});
    } else {
      options.push_back({type, object.number(name, 0), {}});
    }
  }
  object.finish();
  return options;
}

Stack read_stack(Document const &document, std::string name, std::string where) {
  constexpr std::uint32_t most_vlan = 4094;
  constexpr std::uint32_t most_ttl = 255;
  constexpr std::uint32_t most_dscp = 63;
  Object object(document, std::move(where));
  Stack stack;
  stack.name = std::move(name);
  if (object.find("mac"))
    stack.mac = object.mac("mac");
  if (object.find("gateway_mac"))
    stack.gateway_mac = object.mac("gateway_mac");
  if (object.find("ipv4"))
    stack.ipv4 = object.ip_address_of("ipv4", stack.ipv4.size(), "IPv4");
  if (object.find("ipv6"))
    stack.ipv6 = object.ip_address_of("ipv6", stack.ipv6.size(), "IPv6");
  stack.vlan = object.number_up_to("vlan", stack.vlan, most_vlan);
  stack.ttl = object.number_from("ttl", stack.ttl, 1, most_ttl);
  stack.dscp = object.number_up_to("dscp", stack.dscp, most_dscp);
  object.finish();
  return stack;
}

std::vector<Stack> read_stacks(Object &host) {
  std::vector<Stack> stacks;
  Document const *document = host.find("stacks");
  if (!document)
    return stacks;
  Object object(*document, host.place("stacks"));
  for (char const *const name : {"default", "mirror"}) {
    if (Document const *stack = object.find(name))
      stacks.push_back(read_stack(*stack, name, object.place(name)));
  }
  object.finish();
  return stacks;
}

Document read_document(std::string_view text) {
  try {
    return read_json(text, deepest);
  } catch (DocumentError const &error) {
    throw DescriptionError(error.what());
  }
}

}  // namespace

BootDescription parse_description(std::string_view text) {
  Document const document = read_document(text);
  Object object(document, "");
  auto const *const format = object.require("format").as<std::uint64_t>();
  if (!format || *format != supported_format)
    wrong("format", "must be " + std::to_string(supported_format));
  BootDescription description;
  if (object.find("stopped_clock"))
    description.stopped_clock = object.large_number("stopped_clock", 0, latest_time);
  description.mac_learning = read_global_learning(object);
  description.runtime_options = read_runtime_options(object);
  description.stacks = read_stacks(object);
  object.list("physical_nics", [&](Object &nic) { description.nics.push_back(read_nic(nic)); });
  object.list("switches", [&](Object &vswitch) { description.switches.push_back(read_switch(vswitch)); });
  object.finish();
  return description;
}

}  // namespace host
