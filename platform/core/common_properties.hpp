// The properties that every switch, host and port has: what the host reports through the property store, and the
// settings that have no typed call.
#pragma once

#include <string>
#include <string_view>

#include "platform/core/properties.hpp"

namespace host {

// Reports, each computed when it is read.
std::string switch_alias_value(Database &database, PropertyPlace const &place);
std::string switch_version_value(Database &database, PropertyPlace const &place);
std::string switch_uplink_ports_value(Database &database, PropertyPlace const &place);
std::string host_status_value(Database &database, PropertyPlace const &place);
std::string host_portset_value(Database &database, PropertyPlace const &place);
std::string port_status_value(Database &database, PropertyPlace const &port);
std::string port_type_value(Database &database, PropertyPlace const &port);
std::string port_vlan_value(Database &database, PropertyPlace const &port);
std::string port_persist_value(Database &database, PropertyPlace const &port);
std::string port_link_status_value(Database &database, PropertyPlace const &port);
std::string port_connectee_value(Database &database, PropertyPlace const &port);
std::string port_statistics_value(Database &database, PropertyPlace const &port);
std::string port_learning_stats_value(Database &database, PropertyPlace const &port);

// QEL_HNQPROP_PORT_RESPOOLS_CFG: a qel_PortsetResPoolCfg.
std::string admit_pool_settings(Database &database, PropertyPlace const &port, std::string_view value);
std::string default_pool_settings(Database &database, PropertyPlace const &port);

// QBR_ORV_PRP_TUNABLE_PROP: an OrvPRPTunablesData.
std::string admit_prp_tunables(Database &database, PropertyPlace const &place, std::string_view value);
std::string default_prp_tunables(Database &database, PropertyPlace const &place);

}  // namespace host
