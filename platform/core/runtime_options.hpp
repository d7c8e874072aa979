// The runtime options of the switches. They hold for all switches of the host until it boots again.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/database.hpp"
#include "platform/core/export.hpp"

namespace host {

struct RuntimeOption {
  std::uint16_t type;    // a VS_RT_OPT_* value
  std::uint32_t number;  // of an option with a number
  std::string text;      // of an option with a text
};

HOST_API bool is_text_option(std::uint16_t type);

// Its name in a boot description.
HOST_API char const *runtime_option_name(std::uint16_t type);

// Whether the option has a value of its own, not just its default.
HOST_API bool is_set(Database &database, std::uint16_t type);

// The value in effect. Refuses a type that there is not with QEL_BAD_PARAM.
HOST_API RuntimeOption runtime_option(Database &database, std::uint16_t type);
HOST_API std::uint32_t runtime_option_number(Database &database, std::uint16_t type);

// Sets all or none. Refuses with QEL_BAD_PARAM or QEL_INVALID_ADDRESS.
HOST_API void set_runtime_options(Database &database, std::vector<RuntimeOption> const &options);

}  // namespace host
