// The properties that every switch, host and port has: what the host reports through the property store, and the
// settings that have no typed call.
#include "platform/core/common_properties.hpp"

#include "interface/kernel_records.h"
#include "platform/core/counters.hpp"
#include "platform/core/mac_table.hpp"
#include "platform/core/port_policies.hpp"
#include "platform/core/ports.hpp"
#include "platform/core/property_values.hpp"
#include "platform/core/uplinks.hpp"

namespace host {

namespace {

constexpr std::uint32_t client_speed = QEL_LINK_SPEED_10000_MBPS;

struct Connection {
  std::int64_t client_type;
  std::string client_name;
  // Of the NIC behind an uplink port; else 0.
  std::uint32_t speed;
  std::int64_t duplex;
  bool nic_up;
};

Connection connection(Database &database, PropertyPlace const &port) {
  Rows row = database.rows(
      "SELECT port.client_type, port.client_name, physical_nic.speed, physical_nic.duplex,"
      " physical_nic.carrier AND physical_nic.admin_up"
      " FROM port LEFT JOIN uplink_port ON uplink_port.port = port.id"
      " LEFT JOIN physical_nic ON physical_nic.id = uplink_port.nic WHERE port.id = ?",
      port.port);
  refuse_if(!row.next(), QEL_NOT_FOUND);
  return {row.integer(0), row.text(1), static_cast<std::uint32_t>(row.integer(2)), row.integer(3), row.integer(4) != 0};
}

bool is_blocked(Database &database, PropertyPlace const &port) {
  return is_on(get_property(database, port, QEL_HNQPROP_PORT_BLOCK));
}

// A client's link is up while the port lets its frames through; that of an uplink follows its NIC.
bool is_link_up(Database &database, PropertyPlace const &port, Connection const &client) {
  if (client.client_type == VS_PORT_CLIENT_UPLINK)
    return client.nic_up;
  return client.client_type != VS_PORT_CLIENT_UNKNOWN && !is_blocked(database, port);
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
  Connection const client = connection(database, port);
  qel_HNQPortStatus status{};
  qel_uint64 flags = 0;
  if (client.client_type != VS_PORT_CLIENT_UNKNOWN)
    flags |= QEL_HNQPORT_STATUS_INUSE;
  if (is_link_up(database, port, client))
    flags |= QEL_HNQPORT_STATUS_LINKUP;
  if (is_blocked(database, port))
    flags |= QEL_HNQPORT_STATUS_BLOCKED;
  status.flags = flags;
  status.portID = static_cast<qel_uint32>(port.port);
  fill_text(status.displayStr, client.client_name);
  return record_value(status);
}

std::string port_type_value(Database &database, PropertyPlace const &port) {
  Rows row = database.rows(
      "SELECT CASE WHEN kind = ?1 THEN kind WHEN client_type <> ?2 THEN ?3 ELSE kind END"
      " FROM port WHERE id = ?4",
      DVSPORT_TYPE_ZOMBIE, VS_PORT_CLIENT_UNKNOWN, DVSPORT_TYPE_ACTIVE, port.port);
  refuse_if(!row.next(), QEL_NOT_FOUND);
  return property_bytes(static_cast<std::uint32_t>(row.integer(0)));
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
  Connection const client = connection(database, port);
  bool const up = is_link_up(database, port, client);
  bool const is_uplink = client.client_type == VS_PORT_CLIENT_UPLINK;
  qel_LinkStatus status{};
  status.state = static_cast<qel_LinkState>(up ? QEL_LINK_STATE_UP : QEL_LINK_STATE_DOWN);
  if (up) {
    status.speed = is_uplink ? client.speed : client_speed;
    status.duplex = static_cast<qel_LinkDuplex>(is_uplink ? client.duplex : QEL_LINK_DUPLEX_FULL);
  }
  return record_value(status);
}

std::string port_connectee_value(Database &database, PropertyPlace const &port) {
  Connection const client = connection(database, port);
  return client.client_type == VS_PORT_CLIENT_VNIC ? client.client_name : std::string();
}

std::string port_statistics_value(Database &database, PropertyPlace const &port) {
  qel_HNQPortStatistics statistics{};
  for (PacketCounter const &counter : packet_counters)
    statistics.*counter.field = read_counter(database, port.vswitch, port.port, counter.name);
  statistics.pktsInDropped += read_counter(database, port.vswitch, port.port, counter::not_learned_dropped);
  return record_value(statistics);
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
