// Typed views of a switch's policy properties: teaming, multicast filter mode.
#include <cstring>

#include "platform/core/call.hpp"
#include "platform/core/properties.hpp"
#include "platform/core/property_values.hpp"
#include "platform/core/switches.hpp"
#include "platform/core/text.hpp"
#include "platform/vswitch/exports.hpp"

using namespace host;

namespace {

// The bytes of a record, as its property holds them.
template <typename Record>
std::string_view record_bytes(Record const &record) {
  return {reinterpret_cast<char const *>(&record), sizeof record};
}

VSMcastFilterMode filter_mode(Database &database, RowId vswitch) {
  return static_cast<VSMcastFilterMode>(
      property_number(get_switch_property(database, vswitch, VSPROP_MULTICAST_FILTER)));
}

}  // namespace

int VSDVS_SetTeamingPolicy(char const *alias, VSTeamPolicy const *policy) {
  NOTE_ARGUMENTS(alias, policy);
  return update([&](Database &database) {
    refuse_if(!policy, QEL_BAD_PARAM);
    RowId const vswitch = switch_by_alias(database, alias_argument(alias));
    set_switch_property(database, vswitch, VSPROP_SWITCH_TEAMING, record_bytes(*policy));
  });
}

int VSDVS_GetTeamingPolicy(char const *alias, VSTeamPolicy *policy) {
  NOTE_ARGUMENTS(alias, policy);
  return query([&](Database &database) {
    refuse_if(!policy, QEL_BAD_PARAM);
    RowId const vswitch = switch_by_alias(database, alias_argument(alias));
    std::string const value = get_switch_property(database, vswitch, VSPROP_SWITCH_TEAMING);
    std::memcpy(policy, value.data(), sizeof *policy);
  });
}

int VSDVS_ClearTeamingPolicy(char const *alias) {
  NOTE_ARGUMENTS(alias);
  return update([&](Database &database) {
    clear_switch_property(database, switch_by_alias(database, alias_argument(alias)), VSPROP_SWITCH_TEAMING);
  });
}

int VSDVS_SetMcastFilterMode(char const *alias, VSMcastFilterMode mode) {
  NOTE_ARGUMENTS(alias, mode);
  return update([&](Database &database) {
    RowId const vswitch = switch_by_alias(database, alias_argument(alias));
    // A negative mode becomes a large number, which the property refuses.
    set_switch_property(database, vswitch, VSPROP_MULTICAST_FILTER, property_bytes(static_cast<std::uint32_t>(mode)));
  });
}

int VSDVS_GetMcastFilterMode(char const *alias, VSMcastFilterMode *mode) {
  NOTE_ARGUMENTS(alias, mode);
  preset(mode);
  return query([&](Database &database) {
    refuse_if(!mode, QEL_BAD_PARAM);
    *mode = filter_mode(database, switch_by_alias(database, alias_argument(alias)));
  });
}

int VSQEL_GetMcastFilterMode(char const *switch_name, VSMcastFilterMode *mode) {
  NOTE_ARGUMENTS(switch_name, mode);
  preset(mode);
  return query([&](Database &database) {
    refuse_if(!mode, QEL_BAD_PARAM);
    *mode = filter_mode(database, switch_by_any_name(database, switch_name_argument(switch_name)));
  });
}
