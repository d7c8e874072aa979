// The properties that every switch, host and port has: what the host reports through the property store, and the
// settings that have no typed call.
#include "platform/core/common_properties.hpp"

#include "interface/kernel_records.h"
#include "platform/core/blocking.hpp"
#include "platform/core/mac_table.hpp"
#include "platform/core/port_policies.hpp"
#include "platform/core/property_values.hpp"
#include "platform/core/uplink_choice.hpp"
#include "platform/core/uplink_list.hpp"
#include "platform/core/uplinks.hpp"

namespace host {

namespace {

constexpr std::uint32_t client_speed = QEL_LINK_SPEED_10000_MBPS;

// A port's client, and of an uplink its NIC.
struct Connection {
  PortClient client;
  std::optional<Uplink> uplink;
  bool is_blocked;
  bool is_tracked_down;  // by link state tracking

  // That of an uplink follows its NIC.
  bool is_link_up() const {
    if (uplink)
      return uplink->link_up;
    return client.type != VS_PORT_CLIENT_UNKNOWN && client.link_up && !is_blocked && !is_tracked_down;
  }
};

Connection connection(Database &database, PropertyPlace const &port) {
  Connection connection{load_port(database, port.port).client, std::nullopt, is_blocked(database, port.port), false};
  if (connection.client.is_uplink())
    connection.uplink = find_uplink(database, port.vswitch, connection.client.name);
  else
    connection.is_tracked_down = is_tracked_down(database, port.vswitch, port.port);
  return connection;
}

}  // namespace

std::string switch_alias_value(Database &database, PropertyPlace const &place) {
  return load_switch(database, place.vswitch).alias;
}

std::string switch_version_value(Database &database, PropertyPlace const &place) {
  return property_bytes(static_cast<std::uint32_t>(load_switch(database, place.vswitch).version));
}

std::string switch_uplink_ports_value(Database &database, PropertyPlace const &place) {
  std::vector<UplinkPortName> const list = uplink_port_names(database, place.vswitch);
  std::string value = property_bytes(static_cast<std::uint32_t>(list.size()));
  for (UplinkPortName const &uplink : list)
    value.append(uplink.name).append(QEL_HNQ_NAME_MAX_LEN - uplink.name.size(), '\0');
  return value;
}

std::string host_status_value(Database &database, PropertyPlace const &place) {
  std::size_t up = 0;
  std::vector<Uplink> const uplinks = load_uplinks(database, place.vswitch);
  for (Uplink const &uplink : uplinks)
    up += uplink.link_up;
  if (up == uplinks.size())
    return property_bytes(QEL_HNQ_STATUS_OK);
  return property_bytes(static_cast<std::uint32_t>(up == 0 ? QEL_HNQ_STATUS_DOWN : QEL_HNQ_STATUS_DEGRADED));
}

std::string host_portset_value(Database &database, PropertyPlace const &place) {
  return load_switch(database, place.vswitch).portset;
}

std::string port_status_value(Database &database, PropertyPlace const &port) {
  Connection const connected = connection(database, port);
  qel_HNQPortStatus status{};
  qel_uint64 flags = 0;
  if (connected.client.type != VS_PORT_CLIENT_UNKNOWN)
    flags |= QEL_HNQPORT_STATUS_INUSE;
  if (connected.is_link_up())
    flags |= QEL_HNQPORT_STATUS_LINKUP;
  if (connected.is_blocked)
    flags |= QEL_HNQPORT_STATUS_BLOCKED;
  status.flags = flags;
  status.portID = static_cast<qel_uint32>(port.port);
  fill_text(status.displayStr, connected.client.name);
  return record_value(status);
}

std::string port_type_value(Database &database, PropertyPlace const &port) {
  return property_bytes(static_cast<std::uint32_t>(load_port(database, port.port).type()));
}

std::string port_vlan_value(Database &database, PropertyPlace const &port) {
  VlanPolicy const policy = vlan_policy(get_property(database, port, VSPROP_PORT_VLAN));
  qel_HNQPortVlanInfo info{};
  info.vlanID = policy.fixed.vlanID;
  info.numRanges = policy.fixed.numRanges;
  std::string value = record_value(info);
  for (qel_HNQPortVIDRange const &range : policy.ranges)
    append_record(value, range);
  return value;
}

std::string port_persist_value(Database &database, PropertyPlace const &port) {
  return std::string(1, load_switch(database, port.vswitch).persistent ? '\1' : '\0');
}

std::string port_link_status_value(Database &database, PropertyPlace const &port) {
  Connection const connected = connection(database, port);
  bool const up = connected.is_link_up();
  qel_LinkStatus status{};
  status.state = static_cast<qel_LinkState>(up ? QEL_LINK_STATE_UP : QEL_LINK_STATE_DOWN);
  if (up) {
    status.speed = connected.uplink ? static_cast<std::uint32_t>(connected.uplink->speed) : client_speed;
    status.duplex = static_cast<qel_LinkDuplex>(connected.uplink ? connected.uplink->duplex : QEL_LINK_DUPLEX_FULL);
  }
  return record_value(status);
}

std::string port_connectee_value(Database &database, PropertyPlace const &port) {
  PortClient const client = load_port(database, port.port).client;
  return client.type == VS_PORT_CLIENT_VNIC ? client.name : std::string();
}

std::string port_statistics_value(Database &database, PropertyPlace const &port) {
  PortCounters const counters = load_port_counters(database, port.port);
  return record_value(qel_HNQPortStatistics{.pktsInUnicast = counters.packets_in_unicast,
                                            .bytesInUnicast = counters.bytes_in_unicast,
                                            .pktsInMulticast = counters.packets_in_multicast,
                                            .bytesInMulticast = counters.bytes_in_multicast,
                                            .pktsInBroadcast = counters.packets_in_broadcast,
                                            .bytesInBroadcast = counters.bytes_in_broadcast,
                                            .pktsOutUnicast = counters.packets_out_unicast,
                                            .bytesOutUnicast = counters.bytes_out_unicast,
                                            .pktsOutMulticast = counters.packets_out_multicast,
                                            .bytesOutMulticast = counters.bytes_out_multicast,
                                            .pktsOutBroadcast = counters.packets_out_broadcast,
                                            .bytesOutBroadcast = counters.bytes_out_broadcast,
                                            .pktsInDropped = counters.packets_in_dropped + counters.not_learned_dropped,
                                            .pktsOutDropped = counters.packets_out_dropped,
                                            .pktsInException = counters.packets_in_exception,
                                            .pktsOutException = counters.packets_out_exception});
}

std::string port_learning_stats_value(Database &database, PropertyPlace const &port) {
  return record_value(port_learning_stats(database, port.vswitch, port.port));
}

std::string admit_pool_settings(Database &, PropertyPlace const &, std::string_view value) {
  auto const settings = record_from_value<qel_PortsetResPoolCfg>(value);
  refuse_if(settings.shares > static_cast<std::uint32_t>(QEL_PORTSET_RESPOOL_MAX_SHARES), QEL_BAD_PARAM);
  refuse_if(settings.limit < QEL_PORTSET_RESPOOL_LIMIT_INFINITE || settings.reservation < 0, QEL_BAD_PARAM);
  bool const is_limited = settings.limit != QEL_PORTSET_RESPOOL_LIMIT_INFINITE;
  refuse_if(is_limited && settings.reservation > settings.limit, QEL_BAD_PARAM);
  refuse_if(settings.pTag > QEL_VLAN_PRIORITY_MAXIMUM, QEL_BAD_PARAM);
  refuse_if(settings.queueDepth < QEL_PORTSET_RESPOOL_DEFAULT_QUEUE_DEPTH, QEL_BAD_PARAM);
  return std::string(value);
}

std::string default_pool_settings(Database &, PropertyPlace const &) {
  qel_PortsetResPoolCfg settings{};
  settings.shares = QEL_PORTSET_RESPOOL_MAX_SHARES;
  settings.limit = QEL_PORTSET_RESPOOL_LIMIT_INFINITE;
  settings.pTag = QEL_PORTSET_RESPOOL_DEFAULT_PRIORITY_TAG;
  settings.queueDepth = QEL_PORTSET_RESPOOL_DEFAULT_QUEUE_DEPTH;
  return record_value(settings);
}

std::string admit_prp_tunables(Database &, PropertyPlace const &, std::string_view value) {
  auto const tunables = record_from_value<OrvPRPTunablesData>(value);
  refuse_if(!is_multicast(tunables.supMcastAddr), QEL_BAD_PARAM);
  refuse_if(tunables.lifeCheckInterval == 0 || tunables.nodeForgetTime == 0 || tunables.entryForgetTime == 0,
            QEL_BAD_PARAM);
  return std::string(value);
}

// The values of IEC 62439-3, in milliseconds.
std::string default_prp_tunables(Database &, PropertyPlace const &) {
  return record_value(OrvPRPTunablesData{{0x01, 0x15, 0x4e, 0x00, 0x01, 0x00}, 2000, 60000, 400, 500});
}

}  // namespace host
