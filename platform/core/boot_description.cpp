// Reads a boot description from JSON; every mistake is reported with its place.
#include "platform/core/boot_description.hpp"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <set>

#include "platform/core/constants.hpp"

namespace host {

namespace {

using Json = nlohmann::json;

constexpr int supported_format = 1;

[[noreturn]] void wrong(std::string const &where, std::string const &what) {
  throw DescriptionError(where.empty() ? what : where + ": " + what);
}

// An object of the description. It remembers which members were asked for: finish() refuses the others.
class Object {
 public:
  Object(Json const &json, std::string where) : json_(json), where_(std::move(where)) {
    if (!json_.is_object())
      wrong(where_, "must be an object");
  }

  std::string const &where() const { return where_; }
  std::string place(char const *member) const { return where_.empty() ? member : where_ + "." + member; }

  Json const *find(char const *member) {
    asked_.insert(member);
    auto const found = json_.find(member);
    return found == json_.end() ? nullptr : &*found;
  }

  Json const &require(char const *member) {
    Json const *value = find(member);
    if (!value)
      wrong(place(member), "is missing");
    return *value;
  }

  // `room` counts the terminator that the text gets in a record.
  std::string text(char const *member, std::size_t room, char const *fallback = nullptr) {
    Json const *value = fallback ? find(member) : &require(member);
    if (!value)
      return fallback;
    if (!value->is_string())
      wrong(place(member), "must be a text");
    auto text = value->get<std::string>();
    if (text.size() >= room)
      wrong(place(member), "is longer than " + std::to_string(room - 1) + " bytes");
    if (text.find('\0') != std::string::npos)
      wrong(place(member), "contains a zero character");
    return text;
  }

  std::string name(char const *member, std::size_t room) {
    std::string text = this->text(member, room);
    if (text.empty())
      wrong(place(member), "is empty");
    return text;
  }

  std::uint32_t number(char const *member, std::uint32_t fallback) {
    Json const *value = find(member);
    if (!value)
      return fallback;
    if (!value->is_number_unsigned() || value->get<std::uint64_t>() > UINT32_MAX) {
      wrong(place(member), "must be a number from 0 to 4294967295");
    }
    return value->get<std::uint32_t>();
  }

  bool truth(char const *member, bool fallback) {
    Json const *value = find(member);
    if (!value)
      return fallback;
    if (!value->is_boolean())
      wrong(place(member), "must be true or false");
    return value->get<bool>();
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

  // Calls read(object) for each element of a list.
  template <typename Read>
  void list(char const *member, Read &&read) {
    Json const *values = find(member);
    if (!values)
      return;
    if (!values->is_array())
      wrong(place(member), "must be a list");
    std::size_t index = 0;
    for (Json const &value : *values) {
      Object element(value, place(member) + "[" + std::to_string(index++) + "]");
      read(element);
      element.finish();
    }
  }

  void finish() const {
    for (auto const &[member, value] : json_.items()) {
      if (!asked_.count(member))
        wrong(where_.empty() ? member : where_ + "." + member, "is not a member of this object");
    }
  }

 private:
  Json const &json_;
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
           .numa_node = object.number("numa_node", 0)}};
}

DescribedClient read_client(Json const &json, std::string where) {
  Object object(json, std::move(where));
  std::string const type = object.name("type", SIZE_MAX);
  if (type != "tcpip" && type != "vnic")
    wrong(object.place("type"), "must be \"tcpip\" or \"vnic\"");
  DescribedClient client{object.name("name", QEL_PORT_CLIENT_NAME_MAX),
                         type == "tcpip" ? VS_PORT_CLIENT_TCPIP : VS_PORT_CLIENT_VNIC, object.mac("mac")};
  object.finish();
  return client;
}

DescribedPort read_port(Object &object) {
  DescribedPort port{object.where(), object.name("dvport_id", QEL_HNQ_PORT_ID_MAX_LEN), object.number("connect_id", 0),
                     std::nullopt};
  if (Json const *client = object.find("client"))
    port.client = read_client(*client, object.place("client"));
  return port;
}

DescribedUplink read_uplink(Object &object) {
  return {object.where(), object.name("name", QEL_HNQ_NAME_MAX_LEN), object.text("nic", QEL_DEVICE_NAME_MAX_LENGTH, ""),
          object.text("dvport_id", QEL_HNQ_PORT_ID_MAX_LEN, "")};
}

DescribedSwitch read_switch(Object &object) {
  DescribedSwitch result{.where = object.where(),
                         .alias = object.name("alias", QEL_HNQ_NAME_MAX_LEN),
                         .switch_id = object.name("switch_id", QEL_HNQ_ID_MAX_LEN),
                         .class_name = object.text("class", QEL_HNQ_CLASS_NAME_MAX_LEN, ""),
                         .max_ports = object.number("max_ports", 0),
                         .persistent = object.truth("persistent", true),
                         .mtu = object.number("mtu", 0),
                         .version = object.number("version", 0),
                         .flags = object.number("flags", 0),
                         .uplinks = {},
                         .ports = {}};
  object.list("uplinks", [&](Object &uplink) { result.uplinks.push_back(read_uplink(uplink)); });
  object.list("ports", [&](Object &port) { result.ports.push_back(read_port(port)); });
  return result;
}

}  // namespace

BootDescription parse_description(std::string_view text) {
  Json json;
  try {
    json = Json::parse(text);
  } catch (Json::parse_error const &error) {
    throw DescriptionError(error.what());
  }
  Object object(json, "");
  Json const &format = object.require("format");
  if (format != supported_format)
    wrong("format", "must be " + std::to_string(supported_format));
  BootDescription description;
  object.list("physical_nics", [&](Object &nic) { description.nics.push_back(read_nic(nic)); });
  object.list("switches", [&](Object &vswitch) { description.switches.push_back(read_switch(vswitch)); });
  object.finish();
  return description;
}

}  // namespace host
