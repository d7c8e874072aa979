// What arguments mean that mean the same in every call. A row says only what differs.
#pragma once

#include <string_view>

namespace vswitchpy {

struct Term {
  std::string_view argument;
  std::string_view meaning;
};

inline constexpr Term glossary[] = {
    {"alias", "alias of the switch"},
    {"dvport_id", "identifier of the port, at most 47 bytes"},
    {"switch_name", "alias, port-set name or identifier of the switch"},
    {"vswitch", "handle of DVSState_SwitchFindByAlias"},
};

}  // namespace vswitchpy
