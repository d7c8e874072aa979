// Reads a boot description from JSON; every mistake is reported with its place.
#include "platform/core/boot_description.hpp"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <set>

#include "platform/core/constants.hpp"
#include "platform/core/document.hpp"

namespace host {

namespace {

constexpr std::uint64_t supported_format = 1;
// How deep values may stand in each other.
constexpr std::size_t deepest = 32;
constexpr std::uint32_t most_percent = 100;

[[noreturn]] void wrong(std::string const &where, std::string const &what) {
  throw DescriptionError(where.empty() ? what : where + ": " + what);
}

// An object of the description. It remembers which members were asked for: finish() refuses the others.
class Object {
 public:
  Object(Document const &document, std::string where)
      : members_(document.as<Document::Members>()), where_(std::move(where)) {
    if (!members_)
      wrong(where_, "must be an object");
  }

  std::string const &where() const { return where_; }
  std::string place(char const *member) const { return where_.empty() ? member : where_ + "." + member; }

  Document const *find(char const *member) {
    asked_.insert(member);
    auto const found = members_->find(member);
    return found == members_->end() ? nullptr : &found->second;
  }

  Document const &require(char const *member) {
    Document const *value = find(member);
    if (!value)
      wrong(place(member), "is missing");
    return *value;
  }

  // `room` counts the terminator that the text gets in a record.
  std::string text(char const *member, std::size_t room, char const *fallback = nullptr) {
    Document const *value = fallback ? find(member) : &require(member);
    if (!value)
      return fallback;
    auto const *const text = value->as<std::string>();
    if (!text)
      wrong(place(member), "must be a text");
    if (text->size() >= room)
      wrong(place(member), "is longer than " + std::to_string(room - 1) + " bytes");
    if (text->find('\0') != std::string::npos)
      wrong(place(member), "contains a zero character");
    return *text;
  }

  std::string name(char const *member, std::size_t room) {
    std::string text = this->text(member, room);
    if (text.empty())
      wrong(place(member), "is empty");
    return text;
  }

  std::uint32_t number(char const *member, std::uint32_t fallback) {
    Document const *value = find(member);
    if (!value)
      return fallback;
    auto const *const number = value->as<std::uint64_t>();
    if (!number || *number > UINT32_MAX)
      wrong(place(member), "must be a number from 0 to 4294967295");
    return static_cast<std::uint32_t>(*number);
  }

  std::uint64_t large_number(char const *member, std::uint64_t fallback) {
    Document const *value = find(member);
    if (!value)
      return fallback;
    auto const *const number = value->as<std::uint64_t>();
    if (!number || *number > INT64_MAX)
      wrong(place(member), "must be a number from 0 to 9223372036854775807");
    return *number;
  }

  // A number that has a limit.
  std::uint32_t number_up_to(char const *member, std::uint32_t fallback, std::uint32_t highest) {
    std::uint32_t const number = this->number(member, fallback);
    if (number > highest)
      wrong(place(member), "must be a number from 0 to " + std::to_string(highest));
    return number;
  }

  bool truth(char const *member, bool fallback) {
    Document const *value = find(member);
    if (!value)
      return fallback;
    bool const *const truth = value->as<bool>();
    if (!truth)
      wrong(place(member), "must be true or false");
    return *truth;
  }

  // One of two words.
  bool choice(char const *member, char const *yes, char const *no) {
    std::string const word = text(member, SIZE_MAX, yes);
    if (word != yes && word != no) {
      wrong(place(member), "must be \"" + std::string(yes) + "\" or \"" + no + "\"");
    }
    return word == yes;
  }

  MacAddress mac(char const *member) {
    std::string const text = name(member, 18);
    MacAddress mac;
    int length = 0;
    int const found = std::sscanf(text.c_str(), "%2hhx:%2hhx:%2hhx:%2hhx:%2hhx:%2hhx%n", &mac[0], &mac[1], &mac[2],
                                  &mac[3], &mac[4], &mac[5], &length);
    if (found != 6 || static_cast<std::size_t>(length) != text.size()) {
      wrong(place(member), "must be a MAC address such as \"02:00:00:00:00:01\"");
    }
    return mac;
  }

  // Bytes, each as two hexadecimal digits.
  std::string hexadecimal(char const *member) {
    std::string const digits = text(member, SIZE_MAX);
    std::string bytes;
    for (std::size_t at = 0; at < digits.size(); at += 2) {
      unsigned char byte = 0;
      auto const [end, error] = std::from_chars(&digits[at], digits.data() + std::min(at + 2, digits.size()), byte, 16);
      if (error != std::errc() || end - &digits[at] != 2)
        wrong(place(member), "must be bytes of two hexadecimal digits each");
      bytes += static_cast<char>(byte);
    }
    return bytes;
  }

  // The bytes of an IPv4 or IPv6 address, in network order.
  std::string ip_address(char const *member) {
    std::string const text = name(member, INET6_ADDRSTRLEN);
    unsigned char bytes[sizeof(in6_addr)];
    if (inet_pton(AF_INET, text.c_str(), bytes) == 1)
      return {reinterpret_cast<char const *>(bytes), sizeof(in_addr)};
    if (inet_pton(AF_INET6, text.c_str(), bytes) == 1)
      return {reinterpret_cast<char const *>(bytes), sizeof(in6_addr)};
    wrong(place(member), "must be an IPv4 or IPv6 address");
  }

  // A list of addresses of one family.
  std::vector<std::string> ip_addresses(char const *member, std::size_t size) {
    std::vector<std::string> addresses;
    for (std::string const &text : names(member, INET6_ADDRSTRLEN)) {
      std::string address(size, '\0');
      if (inet_pton(size == sizeof(in_addr) ? AF_INET : AF_INET6, text.c_str(), address.data()) != 1)
        wrong(place(member), "must hold addresses of the same family");
      addresses.push_back(std::move(address));
    }
    return addresses;
  }

  // A list of names, none if it is left out.
  std::vector<std::string> names(char const *member, std::size_t room) {
    std::vector<std::string> names;
    Document const *value = find(member);
    if (!value)
      return names;
    auto const *const list = value->as<Document::List>();
    bool const usable = list && std::all_of(list->begin(), list->end(), [&](Document const &element) {
                          auto const *const text = element.as<std::string>();
                          if (!text || text->empty() || text->size() >= room || text->find('\0') != std::string::npos)
                            return false;
                          names.push_back(*text);
                          return true;
                        });
    if (!usable)
      wrong(place(member), "must be a list of texts of 1 to " + std::to_string(room - 1) + " bytes");
    return names;
  }

  // Calls read(object) for each element of a list.
  template <typename Read>
  void list(char const *member, Read &&read) {
    Document const *list = find(member);
    if (!list)
      return;
    auto const *const values = list->as<Document::List>();
    if (!values)
      wrong(place(member), "must be a list");
    std::size_t index = 0;
    for (Document const &value : *values) {
      Object element(value, place(member) + "[" + std::to_string(index++) + "]");
      read(element);
      element.finish();
    }
  }

  void finish() const {
    for (auto const &[member, value] : *members_) {
      if (!asked_.count(member))
        wrong(where_.empty() ? member : where_ + "." + member, "is not a member of this object");
    }
  }

 private:
  Document::Members const *members_;
  std::string where_;
  std::set<std::string> asked_;
};

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
           .segment = object.text("segment", segment_room, "")}};
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

DescribedLag read_lag(Object &object) {
  DescribedLag lag{object.where(), object.name("name", VS_LACP_LAG_NAME_LENGTH), {}, {}};
  object.list("members", [&](Object &member) {
    lag.members.push_back({member.name("uplink", QEL_HNQ_NAME_MAX_LEN), member.choice("lacp", "up", "down")});
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
                         object.truth("promiscuous", false)};
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
  settings.macLimit = object.number("limit", VS_MAC_LEARNING_LIMIT_ENTRIES_DEFAULT);
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
    description.stopped_clock = object.large_number("stopped_clock", 0);
  description.mac_learning = read_global_learning(object);
  description.runtime_options = read_runtime_options(object);
  object.list("physical_nics", [&](Object &nic) { description.nics.push_back(read_nic(nic)); });
  object.list("switches", [&](Object &vswitch) { description.switches.push_back(read_switch(vswitch)); });
  object.finish();
  return description;
}

}  // namespace host
