// Which uplink teaming chooses for a port, and what follows from a change of links.
#pragma once

#include "platform/core/property_store.hpp"
#include "platform/core/uplinks.hpp"
#include "platform/forwarding/teaming.hpp"

namespace host {

// Refuses with QEL_NOT_FOUND (no such port), QEL_BAD_PARAM (an uplink) or QEL_ENETDOWN (no uplink is fit).
HOST_API Uplink choose_uplink(Database &database, std::uint32_t port_number);

// Whether link state tracking takes the link of a client down: no uplink of its policy is fit.
bool is_tracked_down(Database &database, RowId vswitch, RowId port);

// The teaming policy of a switch, and that which holds for a port with one of its own or of a logical switch.
// `uplinks`: those of the switch, by whose order the policies name them.
HOST_API forwarding::Team switch_team(Database &database, RowId vswitch, std::vector<Uplink> const &uplinks);
HOST_API forwarding::Team port_team(Database &database, PropertyPlace const &place, std::vector<Uplink> const &uplinks);
// The place of an uplink of that name.
HOST_API std::optional<forwarding::UplinkPosition> position_of(std::vector<Uplink> const &uplinks,
                                                               std::string_view name);

// The identifier of the port of an uplink that is named without its switch: by its NIC, or else by the uplink port,
// of the oldest switch that has one of that name. Refuses with QEL_NOT_FOUND.
HOST_API std::string dvport_of_uplink(Database &database, std::string_view uplink);

// Sets the NIC of an uplink up or down. A switch whose teaming notifies the physical network announces the
// addresses of its clients when an uplink of its team changes. Refuses with QEL_NO_SUCH_DEVICE.
HOST_API void change_admin_link_state(Database &database, RowId vswitch, Uplink const &uplink, bool up);

// The same for the carrier of a NIC: the cable is plugged in or pulled. Refuses with QEL_NOT_FOUND.
HOST_API void change_carrier(Database &database, std::string_view nic, bool up);

}  // namespace host
