// The list of a switch's uplink ports, which is a property of it: QEL_HNQPROP_HOST_UPLINKPORTS.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/core/properties.hpp"

namespace host {

struct UplinkPortName {
  std::string name;
  std::string dvport_id;  // empty where the host is to give one
};

// In order. A change of the list is a write of its property.
HOST_API std::vector<UplinkPortName> uplink_port_names(Database &database, RowId vswitch);
// The value of the property.
HOST_API std::string uplink_ports_value(std::vector<UplinkPortName> const &list);
// Refuses with QEL_BAD_PARAM, QEL_LIMIT_EXCEEDED or QEL_NAME_TOO_LONG.
std::vector<UplinkPortName> parse_uplink_ports(std::string_view value);
HOST_API void set_uplink_ports(Database &database, RowId vswitch, std::vector<UplinkPortName> const &list);
HOST_API void add_uplink_port(Database &database, RowId vswitch, UplinkPortName const &uplink);
HOST_API void remove_uplink_port(Database &database, RowId vswitch, std::string_view name);

// Takes away the uplink ports of a switch that are not in the list with the same port. Their ports become free, and so
// do those of the others as soon as these go: none is removed.
void release_uplink_ports(Database &database, RowId vswitch, std::vector<UplinkPortName> const &kept);

// The rules of the property.
std::string admit_uplink_ports(Database &database, PropertyPlace const &place, std::string_view value);
std::string no_uplink_ports(Database &database, PropertyPlace const &place);
void apply_uplink_ports(Database &database, PropertyPlace const &place, std::string_view value);

}  // namespace host
