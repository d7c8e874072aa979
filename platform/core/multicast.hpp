// Multicast: the addresses that users set, the groups that clients joined, and what a port so receives.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "interface/policy_records.h"
#include "interface/status_records.h"
#include "platform/core/ports.hpp"
#include "platform/core/properties.hpp"
#include "platform/core/traffic.hpp"

namespace host {

// VSPROP_USER_MCAST_ADDRESSES and VSPROP_PORT_USER_MCAST_ADDRESSES: a VSUserMcastLegacyKeys with its addresses.
std::string admit_user_addresses(Database &database, PropertyPlace const &place, std::string_view value);

// The value for addresses that a caller passes. Refuses with QEL_BAD_PARAM or QEL_LIMIT_EXCEEDED.
HOST_API std::string user_addresses_value(int count, VSMACEntries const *entries);

// Refuses with QEL_EXISTS for a group that was joined before, and QEL_BAD_PARAM for one that cannot be joined.
HOST_API void join_multicast_group(Database &database, RowId vswitch, RowId port, JoinedGroup const &joined);

// The hardware multicast addresses that a port receives while its switch does not snoop. In order, each once: the
// user's for the port, the user's for the switch, the extra filter's, those of the client's groups, those that it wants
// itself.
std::vector<std::string> multicast_addresses(Database &database, PropertyPlace const &port);
// The same without the groups that age.
HOST_API std::vector<std::string> lasting_multicast_addresses(Database &database, PropertyPlace const &port);

// The multicast addresses by which the switch delivers to the port: hardware addresses (VS_MCAST_FILTER_MODE_LEGACY),
// IPv4 groups (..._IGMP) or IPv6 groups (..._MLD); none where the switch does not filter by this kind. Refuses
// another kind with QEL_BAD_PARAM.
HOST_API std::vector<std::string> multicast_filters(Database &database, NumberedPort const &port, int kind);

// Refuses with QEL_NOT_FOUND, also where the switch does not filter by this kind of group.
HOST_API JoinedGroup joined_group(Database &database, NumberedPort const &port, int kind, std::string_view address);

// The bytes of an address of this kind. Refuses VS_MCAST_FILTER_MODE_LEGACY, too.
HOST_API std::size_t group_address_size(int kind);

}  // namespace host
