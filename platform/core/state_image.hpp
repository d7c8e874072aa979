// The state of the switches as an image, and images as the state of the switches.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/typed_properties.hpp"

namespace host {

// How much of the state an image holds.
enum class Extent { all, persistent };

HOST_API std::string state_image(Database &database, Extent extent);
// `version` 0 is that of the switch. Refuses with QEL_NOT_SUPPORTED.
HOST_API std::string port_image(Database &database, RowId vswitch, RowId port, Extent extent, std::uint32_t version);
// `version` 0 is DVS_VERSION_70.
HOST_API std::string property_list_image(std::vector<StoredProperty> const &properties, std::uint32_t version);

// Makes the state what the image says: switches that are not in it go. Refuses with QEL_BUSY where a client would go.
HOST_API void replace_state(Database &database, std::string_view image);
// Brings in the persistent part of an image; switches that are not in it stay as they are.
HOST_API void merge_configuration(Database &database, std::string_view image);
// Gives a new port what an image of a port, or of a property list, holds.
HOST_API void start_port_from_image(Database &database, RowId vswitch, RowId port, std::string_view image);

// Removes all that is configured; what clients are connected to stays.
HOST_API void reset_configuration(Database &database);
// Back to what is persistent. Refuses with QEL_BUSY where a client would go.
HOST_API void load_stored_configuration(Database &database);
// Removes what belongs to nothing any more, and values that their rules no longer admit.
HOST_API void sanitize_state(Database &database);

}  // namespace host
