// The description that a fresh host boots from, read from JSON and checked.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/uplinks.hpp"

namespace host {

// The text says where in the description, and what is wrong there.
class DescriptionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// `where` is the place in the description, for messages.
struct DescribedNic {
  std::string where;
  PhysicalNic nic;
};

struct DescribedUplink {
  std::string where;
  std::string name;
  std::string nic;
  std::string dvport_id;
};

struct DescribedClient {
  std::string name;
  std::int64_t type;
  MacAddress mac;
};

struct DescribedPort {
  std::string where;
  std::string dvport_id;
  std::uint32_t connect_id;
  std::optional<DescribedClient> client;
};

struct DescribedSwitch {
  std::string where;
  std::string alias;
  std::string switch_id;
  std::string class_name;
  std::uint32_t max_ports;
  bool persistent;
  std::uint32_t mtu;
  std::uint32_t version;
  std::uint32_t flags;
  std::vector<DescribedUplink> uplinks;
  std::vector<DescribedPort> ports;
};

struct BootDescription {
  std::vector<DescribedNic> nics;
  std::vector<DescribedSwitch> switches;
};

BootDescription parse_description(std::string_view text);

// The built-in description, as JSON.
std::string_view default_description();

}  // namespace host
