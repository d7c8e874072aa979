// How the switches learn MAC addresses: the settings in force and the policies of ports.
#include "platform/core/mac_settings.hpp"

#include <cstring>
#include <string>

#include "platform/core/host_settings.hpp"
#include "platform/core/properties.hpp"
#include "platform/core/property_rules.hpp"

namespace host {

namespace {

constexpr std::string_view global_settings_name = "MAC learning";

template <typename Record>
std::string_view record_bytes(Record const &record) {
  return {reinterpret_cast<char const *>(&record), sizeof record};
}

// The record in a property; the fallback where the property has no value, or one of another length.
template <typename Record>
Record property_record(Database &database, PropertyPlace place, char const *name, Record fallback) {
  std::optional<std::string> const value =
      known_property(name) ? get_property(database, place, name) : stored_property(database, place, name);
  if (value && value->size() >= sizeof fallback)
    std::memcpy(&fallback, value->data(), sizeof fallback);
  return fallback;
}

bool switch_flag(Database &database, RowId vswitch, char const *name, bool fallback) {
  std::optional<std::string> const value = stored_property(database, {vswitch, Scope::global}, name);
  return value && !value->empty() ? value->front() != 0 : fallback;
}

}  // namespace

VSMACLearningGlobalProps global_learning_settings(Database &database) {
  VSMACLearningGlobalProps settings{VS_MAC_LEARNING_AGING_TIME_DEFAULT, VS_MAC_LEARNING_LIMIT_ENTRIES_DEFAULT,
                                    VS_MAC_LEARNING_LEARN_STATIC_DEFAULT, VS_MAC_LEARNING_ALLOW_STATIC_DEFAULT};
  if (std::optional<std::string> const value = host_setting(database, global_settings_name))
    std::memcpy(&settings, value->data(), std::min(sizeof settings, value->size()));
  return settings;
}

bool has_global_learning_settings(Database &database) {
  return host_setting(database, global_settings_name).has_value();
}

void set_global_learning_settings(Database &database, VSMACLearningGlobalProps settings) {
  refuse_if(settings.agingTime > VS_MAC_LEARNING_AGING_TIME_MAX, QEL_BAD_PARAM);
  refuse_if(settings.macLimit > most_learned, QEL_LIMIT_EXCEEDED);
  settings.learnStatic = static_cast<qel_Bool>(settings.learnStatic != 0);
  settings.staticMACAllow = static_cast<qel_Bool>(settings.staticMACAllow != 0);
  set_host_setting(database, global_settings_name, record_bytes(settings), Lifetime::persistent);
}

LearningSettings learning_settings(Database &database, RowId vswitch) {
  VSMACLearningGlobalProps const global = global_learning_settings(database);
  LearningSettings settings{global.agingTime, global.macLimit, global.learnStatic != 0, global.staticMACAllow != 0};
  std::optional<std::string> const own =
      stored_property(database, {vswitch, Scope::global}, VSPROP_SWITCH_MAC_LEARNING);
  if (own && own->size() == sizeof(VSPropMACLearning)) {
    VSPropMACLearning record;
    std::memcpy(&record, own->data(), sizeof record);
    settings.aging_time = record.agingTime;
    settings.mac_limit = record.macLimit;
  }
  settings.learn_static = switch_flag(database, vswitch, VSPROP_SWITCH_MAC_LEARN_STATIC, settings.learn_static);
  settings.static_allowed = switch_flag(database, vswitch, VSPROP_SWITCH_STATIC_MAC_ALLOW, settings.static_allowed);
  return settings;
}

bool has_learning_policy(Database &database, RowId vswitch, RowId port) {
  return stored_property(database, {vswitch, Scope::port, port}, VSPROP_PORT_MAC_MANAGEMENT).has_value();
}

VSPMACLearning port_learning_policy(Database &database, RowId vswitch, RowId port) {
  VSPMACManagement management{};
  management.portMACLearning.macLimit = VSPORT_MAC_LEARNING_LIMIT_ENTRIES_DEFAULT;
  return property_record(database, {vswitch, Scope::port, port}, VSPROP_PORT_MAC_MANAGEMENT, management)
      .portMACLearning;
}

void set_port_learning_policy(Database &database, RowId vswitch, RowId port, VSPMACLearning const &policy) {
  VSPMACManagement management{};
  PropertyPlace const place{vswitch, Scope::port, port};
  management = property_record(database, place, VSPROP_PORT_MAC_MANAGEMENT, management);
  management.portMACLearning = policy;
  set_property(database, place, VSPROP_PORT_MAC_MANAGEMENT, {.value = record_bytes(management)});
}

VSPMACLearning team_learning_policy(Database &database, RowId vswitch) {
  VSPMACLearning team{};
  team.macLimit = TEAM_MAC_LEARNING_LIMIT_ENTRIES_DEFAULT;
  team.macLimitPolicy = static_cast<VSPortMACLearningLimitPolicy>(VSPORT_MAC_LEARNING_LIMIT_POLICY_ALLOW);
  for (PortRow const &port : load_ports(database, vswitch)) {
    if (port.client.is_uplink() || !port_learning_policy(database, vswitch, port.row).learning)
      continue;
    team.learning = team.flooding = 1;
    break;
  }
  return team;
}

}  // namespace host
