// Multicast: the addresses that users set, the groups that clients joined, and what a port so receives.
#include "platform/core/multicast.hpp"

#include <algorithm>
#include <set>

#include "platform/core/property_values.hpp"

namespace host {

namespace {

constexpr std::size_t mac_size = 6;
constexpr std::size_t ipv4_size = 4;
constexpr std::size_t ipv6_size = 16;
constexpr std::uint32_t newest_igmp = 3;
constexpr std::uint32_t newest_mld = 2;

unsigned char byte(std::string_view address, std::size_t index) {
  return static_cast<unsigned char>(address[index]);
}

// RFC 1112 (6.4) and RFC 2464 (7): the end of the group address behind a fixed prefix.
std::string group_mac(std::string_view address) {
  if (address.size() == ipv6_size)
    return std::string("\x33\x33", 2).append(address.substr(12));
  std::string mac("\x01\x00\x5e", 3);
  mac.push_back(static_cast<char>(byte(address, 1) & 0x7f));
  return mac.append(address.substr(2));
}

bool is_group(std::string_view address) {
  if (address.size() == ipv4_size)
    return byte(address, 0) >> 4 == 0xe;
  return address.size() == ipv6_size && byte(address, 0) == 0xff;
}

// Whether the switch delivers by addresses of this kind at present.
bool filters_by(Database &database, RowId vswitch, int kind) {
  auto const mode = static_cast<int>(property_number(get_switch_property(database, vswitch, VSPROP_MULTICAST_FILTER)));
  return mode == kind || (mode == VS_MCAST_FILTER_MODE_SNOOPING && kind != VS_MCAST_FILTER_MODE_LEGACY);
}

std::vector<std::string> joined_addresses(std::vector<JoinedGroup> groups, std::size_t size) {
  std::vector<std::string> addresses;
  for (JoinedGroup &joined : groups) {
    if (joined.group.address.size() == size)
      addresses.push_back(std::move(joined.group.address));
  }
  return addresses;
}

std::vector<std::string> user_addresses(std::string_view value) {
  refuse_if(value.empty(), QEL_BAD_PARAM);
  std::size_t const count = static_cast<unsigned char>(value.front());
  refuse_if(count > VS_MULTICAST_USER_ENTRIES_MAX, QEL_LIMIT_EXCEEDED);
  refuse_if(value.size() != 1 + count * mac_size, QEL_BAD_PARAM);
  std::vector<std::string> addresses;
  for (std::size_t i = 0; i < count; ++i)
    addresses.emplace_back(value.substr(1 + i * mac_size, mac_size));
  return addresses;
}

}  // namespace

namespace {

std::vector<std::string> listed_addresses(Database &database, PropertyPlace const &port,
                                          std::vector<JoinedGroup> const &groups) {
  std::vector<std::string> list;
  std::set<std::string> listed;
  auto const add = [&](std::string const &address) {
    if (listed.insert(address).second)
      list.push_back(address);
  };
  for (std::string const &address : user_addresses(get_property(database, port, VSPROP_PORT_USER_MCAST_ADDRESSES)))
    add(address);
  if (!is_on(get_property(database, port, VSPROP_PORT_USER_MCAST_ADDRESSES_OVERRIDE))) {
    std::string const of_switch = get_switch_property(database, port.vswitch, VSPROP_USER_MCAST_ADDRESSES);
    for (std::string const &address : user_addresses(of_switch))
      add(address);
  }
  auto const filter = record_from_value<VSExtraEthFilter>(get_property(database, port, VSPROP_PORT_EXTRA_ETH_FRP));
  for (std::size_t i = 0; i < filter.numMulticastAddrs; ++i)
    add({reinterpret_cast<char const *>(filter.multicastAddrs[i]), mac_size});
  for (std::size_t const size : {ipv4_size, ipv6_size}) {
    for (std::string const &address : joined_addresses(groups, size))
      add(group_mac(address));
  }
  for (MacAddress const &address : client_multicast_macs(database, port.port))
    add(std::string(mac_bytes(address)));
  return list;
}

}  // namespace

std::vector<std::string> multicast_addresses(Database &database, PropertyPlace const &port) {
  return listed_addresses(database, port, joined_groups(database, port.port));
}

std::vector<std::string> lasting_multicast_addresses(Database &database, PropertyPlace const &port) {
  return listed_addresses(database, port, own_groups(database, port.port));
}

std::string admit_user_addresses(Database &, PropertyPlace const &, std::string_view value) {
  std::set<std::string> distinct;
  for (std::string const &address : user_addresses(value)) {
    refuse_if((byte(address, 0) & 1) == 0, QEL_BAD_PARAM);
    refuse_if(!distinct.insert(address).second, QEL_EXISTS);
  }
  return std::string(value);
}

std::string user_addresses_value(int count, VSMACEntries const *entries) {
  refuse_if(count < 0 || (!entries && count > 0), QEL_BAD_PARAM);
  refuse_if(count > VS_MULTICAST_USER_ENTRIES_MAX, QEL_LIMIT_EXCEEDED);
  std::string value(1, static_cast<char>(count));
  if (entries)
    value.append(reinterpret_cast<char const *>(entries), static_cast<std::size_t>(count) * mac_size);
  return value;
}

void join_multicast_group(Database &database, RowId vswitch, RowId port, JoinedGroup const &joined) {
  MulticastGroup const &group = joined.group;
  refuse_if(!is_group(group.address), QEL_BAD_PARAM);
  bool const is_ipv4 = group.address.size() == ipv4_size;
  refuse_if(group.version < 1 || group.version > (is_ipv4 ? newest_igmp : newest_mld), QEL_BAD_PARAM);
  refuse_if(group.source_mode > static_cast<std::uint32_t>(VS_MCAST_SRC_IP_FILTER_MODE_EXCLUDE), QEL_BAD_PARAM);
  refuse_if(!group.sources.empty() && group.source_mode == VS_MCAST_SRC_IP_FILTER_MODE_NONE, QEL_BAD_PARAM);
  for (std::string const &source : group.sources)
    refuse_if(source.size() != group.address.size(), QEL_BAD_PARAM);
  // What the client has reported makes way for what it has joined by itself.
  std::optional<JoinedGroup> const former = find_group(database, port, group.address);
  refuse_if(former && !former->expiry, QEL_EXISTS);
  store_group(database, vswitch, port, joined);
}

std::size_t group_address_size(int kind) {
  refuse_if(kind != VS_MCAST_FILTER_MODE_IGMP && kind != VS_MCAST_FILTER_MODE_MLD, QEL_BAD_PARAM);
  return kind == VS_MCAST_FILTER_MODE_IGMP ? ipv4_size : ipv6_size;
}

std::vector<std::string> multicast_filters(Database &database, NumberedPort const &port, int kind) {
  bool const by_hardware = kind == VS_MCAST_FILTER_MODE_LEGACY;
  std::size_t const size = by_hardware ? mac_size : group_address_size(kind);
  if (!filters_by(database, port.vswitch, kind))
    return {};
  if (by_hardware)
    return multicast_addresses(database, {port.vswitch, Scope::port, port.row});
  return joined_addresses(joined_groups(database, port.row), size);
}

JoinedGroup joined_group(Database &database, NumberedPort const &port, int kind, std::string_view address) {
  refuse_if(address.size() != group_address_size(kind), QEL_BAD_PARAM);
  refuse_if(!filters_by(database, port.vswitch, kind), QEL_NOT_FOUND);
  std::optional<JoinedGroup> joined = find_group(database, port.row, address);
  refuse_if(!joined, QEL_NOT_FOUND);
  return *std::move(joined);
}

}  // namespace host
