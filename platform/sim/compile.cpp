// Makes the tables of forwarding from the state of a host.
#include "platform/sim/compile.hpp"

#include <arpa/inet.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "interface/policy_records.h"
#include "platform/core/blocking.hpp"
#include "platform/core/constants.hpp"
#include "platform/core/lacp_partner.hpp"
#include "platform/core/lags.hpp"
#include "platform/core/mac_settings.hpp"
#include "platform/core/multicast.hpp"
#include "platform/core/port_policies.hpp"
#include "platform/core/properties.hpp"
#include "platform/core/property_values.hpp"
#include "platform/core/runtime_options.hpp"
#include "platform/core/traffic.hpp"
#include "platform/core/uplink_choice.hpp"
#include "platform/sim/mirror_compile.hpp"

namespace sim {

namespace {

using namespace constant;
using host::Database;
using host::RowId;

forwarding::MacAddress number_of(std::optional<host::MacAddress> const &mac) {
  forwarding::MacAddress number = 0;
  for (unsigned char const byte : mac.value_or(host::MacAddress{}))
    number = number << 8 | byte;
  return number;
}

forwarding::MacAddress number_of(std::string_view bytes) {
  return number_of(host::mac_from(bytes));
}

// The values in effect that were written at a port.
class PortProperties {
 public:
  PortProperties(Database &database, RowId vswitch, RowId port)
      : place{vswitch, host::Scope::port, port}, values_(stored_properties(database, place, host::Values::in_effect)) {}

  std::string const *find(std::string_view name) const {
    auto const found = std::find_if(values_.begin(), values_.end(),
                                    [&](host::StoredProperty const &property) { return property.name == name; });
    return found == values_.end() ? nullptr : &found->value;
  }
  bool is_on(std::string_view name, bool fallback = false) const {
    std::string const *const value = find(name);
    return value ? host::is_on(*value) : fallback;
  }
  template <typename Record>
  std::optional<Record> record(std::string_view name) const {
    std::string const *const value = find(name);
    return value ? std::optional(host::record_from_value<Record>(*value)) : std::nullopt;
  }

  host::PropertyPlace place;

 private:
  std::vector<host::StoredProperty> values_;
};

// ---- single ports -------------------------------------------------------------------------------------------------

forwarding::VlanPolicy vlan_policy(PortProperties const &properties, bool is_uplink) {
  forwarding::VlanPolicy policy = is_uplink ? forwarding::every_vlan() : forwarding::VlanPolicy{};
  if (std::string const *const value = properties.find(VSPROP_PORT_VLAN)) {
    host::VlanPolicy const wanted = host::vlan_policy(*value);
    auto const has = [&](int flag) { return (wanted.fixed.flags & flag) != 0; };
    using Kind = forwarding::VlanPolicy::Kind;
    policy.kind = has(VSPORT_VLAN_GUEST_TAGGING)   ? Kind::trunk
                  : has(VSPORT_VLAN_PVLAN_ENABLED) ? Kind::private_vlan
                                                   : Kind::access;
    policy.vlan = wanted.fixed.vlanID;
    for (qel_HNQPortVIDRange const &range : wanted.ranges)
      policy.ranges.push_back({range.minVID, range.maxVID});
    if (has(VSPORT_VLAN_SET_PRIORITY)) {
      std::string const *const priority = properties.find(VSPROP_PORT_PRIORITY);
      policy.priority = static_cast<std::uint8_t>(priority ? host::property_number(*priority) : 0);
    }
  }
  policy.retains_priority = properties.is_on(VSPROP_PORT_PRIORITY_RETAIN);
  policy.allows_nested = properties.is_on(VSPROP_PORT_VLAN_NESTEDTAG, is_uplink);
  return policy;
}

forwarding::EthernetFilter ethernet_filter(PortProperties const &properties) {
  forwarding::EthernetFilter filter;
  auto const wanted = properties.record<VSExtraEthFilter>(VSPROP_PORT_EXTRA_ETH_FRP);
  if (!wanted)
    return filter;
  auto const has = [&](std::int64_t flag) { return (wanted->flags & flag) != 0; };
  filter.is_promiscuous = has(QEL_ETH_FILTER_PROMISC);
  filter.all_multicast = has(QEL_ETH_FILTER_ALLMULTI);
  filter.by_bucket = has(QEL_ETH_FILTER_USE_LADRF);
  filter.is_sink = has(QEL_ETH_FILTER_SINK);
  for (std::size_t i = 0; i < wanted->numMulticastAddrs; ++i) {
    unsigned char const *const address = wanted->multicastAddrs[i];
    filter.addresses.push_back(number_of({reinterpret_cast<char const *>(address), forwarding::mac_size}));
  }
  return filter;
}

forwarding::Client client_of(host::PortClient const &client) {
  return {.assigned = number_of(client.mac),
          .effective = number_of(client.effective_mac()),
          .link_up = client.link_up,
          .is_promiscuous = client.is_promiscuous,
          .is_router = client.is_router,
          .is_tcpip = client.type == VS_PORT_CLIENT_TCPIP,
          .numa_node = client.numa_node};
}

void add_security(PortProperties const &properties, forwarding::PortConfiguration &port) {
  auto const security = properties.record<VSPropSecurity>(VSPROP_PORT_SECURITY);
  std::uint32_t const flags = security ? security->flags : 0;
  port.disallow_promiscuous = flags & VSPORT_SECURITY_DISALLOW_PROMISC;
  port.disallow_mac_change = flags & VSPORT_SECURITY_DISALLOW_MAC_CHANGE;
  port.disallow_forged_source = flags & VSPORT_SECURITY_DISALLOW_FORGED_SRC;
  auto const management = properties.record<VSPMACManagement>(VSPROP_PORT_MAC_MANAGEMENT);
  if (!management)
    return;
  port.disallow_mac_change |= !management->macChangeAllowed;
  VSPMACLearning const &learning = management->portMACLearning;
  bool const drops =
      learning.macLimitPolicy == static_cast<VSPortMACLearningLimitPolicy>(VSPORT_MAC_LEARNING_LIMIT_POLICY_DROP);
  port.learning = forwarding::LearningPolicy{learning.learning != 0, learning.flooding != 0, learning.macLimit, drops};
}

// ---- a switch -----------------------------------------------------------------------------------------------------

class SwitchCompiler {
 public:
  SwitchCompiler(Database &database, host::Switch const &vswitch, std::map<RowId, std::uint32_t> const &nics,
                 std::set<RowId> const &blocked)
      : database_(database), row_(vswitch.row), nics_(nics), blocked_(blocked) {
    add_settings(vswitch);
    uplinks_ = load_uplinks(database_, row_);
    compiled_.teams[0] = host::switch_team(database_, row_, uplinks_);
    for (host::Uplink const &uplink : uplinks_)
      add_uplink(uplink);
    std::vector<host::PortRow> const ports = load_ports(database_, row_);
    for (host::PortRow const &port : ports)
      add_port(port);
    compiled_.mirror_sessions = mirror_sessions(database_, row_, ports, uplinks_);
    for (host::Lag const &lag : load_lags(database_, row_))
      add_lag(lag);
    for (host::MacRow const &entry : mac_rows_of_type(database_, row_, VS_MAC_ADDR_TYPE_USER)) {
      // Overlay networks have tables of their own.
      if (entry.key.vni != QEL_VIRTUAL_NETWORK_ID_NONE)
        continue;
      compiled_.manual.push_back({number_of(entry.key.mac), static_cast<std::uint16_t>(entry.key.vid),
                                  static_cast<std::uint32_t>(entry.port)});
    }
  }

  forwarding::SwitchConfiguration take() { return std::move(compiled_); }
  std::vector<std::string> take_names() { return std::move(names_); }

 private:
  std::string setting(char const *name) const { return get_switch_property(database_, row_, name); }

  void add_settings(host::Switch const &vswitch) {
    std::size_t const length = std::min(vswitch.switch_id.size(), compiled_.identifier.size());
    std::copy_n(vswitch.switch_id.begin(), length, compiled_.identifier.begin());
    // Its port set is named by its row.
    constexpr forwarding::MacAddress own_prefix = 0x027673000000;
    compiled_.own_mac = own_prefix | (static_cast<forwarding::MacAddress>(vswitch.row) & 0xffffff);
    bool const is_active =
        host::property_number(setting(QEL_HNQPROP_HOST_PROXY_STATE)) != QEL_HNQPORTSET_STATE_DEACTIVE;
    compiled_.is_connected = !vswitch.portset.empty() && is_active;
    compiled_.is_disabled = host::is_on(setting(VSPROP_SWITCH_FORWARDING_DISABLED));
    auto const mode = static_cast<int>(host::property_number(setting(VSPROP_MULTICAST_FILTER)));
    compiled_.snoops_ipv4 = mode == VS_MCAST_FILTER_MODE_IGMP || mode == VS_MCAST_FILTER_MODE_SNOOPING;
    compiled_.snoops_ipv6 = mode == VS_MCAST_FILTER_MODE_MLD || mode == VS_MCAST_FILTER_MODE_SNOOPING;
    compiled_.mtu = host::property_number(setting(VSPROP_MTU));
    host::LearningSettings const learning = host::learning_settings(database_, row_);
    compiled_.aging_time = learning.aging_time;
    compiled_.learned_limit = learning.mac_limit;
    compiled_.learns_static = learning.learn_static;
    compiled_.allows_static = learning.static_allowed;
    std::string const map = setting(VSPROP_PVLAN_MAP);
    for (std::size_t at = 0; at + sizeof(VSPvlanMapEntry) <= map.size(); at += sizeof(VSPvlanMapEntry)) {
      auto const entry = host::record_at<VSPvlanMapEntry>(map, at);
      using Type = forwarding::PrivateVlanType;
      Type const type = entry.pvlanType == VSPORT_PVLAN_TYPE_PROMISC    ? Type::primary
                        : entry.pvlanType == VSPORT_PVLAN_TYPE_ISOLATED ? Type::isolated
                                                                        : Type::community;
      compiled_.private_vlans.push_back({entry.primaryVID, entry.secondaryVID, type});
    }
  }

  void add_uplink(host::Uplink const &uplink) {
    forwarding::UplinkConfiguration added;
    added.port_number = static_cast<std::uint32_t>(uplink.port);
    if (uplink.nic)
      added.nic = nics_.at(*uplink.nic);
    added.numa_node = uplink.numa_node;
    compiled_.uplinks.push_back(added);
  }

  void add_port(host::PortRow const &row) {
    PortProperties const properties(database_, row_, row.row);
    bool const is_uplink = row.client.is_uplink();
    forwarding::PortConfiguration port;
    port.number = static_cast<std::uint32_t>(row.row);
    port.is_zombie = row.kind == DVSPORT_TYPE_ZOMBIE;
    port.is_blocked = properties.is_on(QEL_HNQPROP_PORT_BLOCK) ||
                      properties.is_on(QEL_HNQPORT_FORWARD_NOT_READY_BLOCK) || blocked_.count(row.row) != 0;
    if (row.is_client_port())
      port.client = client_of(row.client);
    port.vlan = vlan_policy(properties, is_uplink);
    add_security(properties, port);
    port.filter = ethernet_filter(properties);
    port.sends_to_uplink_too = properties.is_on(VSPROP_PORT_TX_UPLINK);
    if (!is_uplink) {
      add_team(properties, port);
      for (std::string const &address : host::lasting_multicast_addresses(database_, properties.place))
        port.multicast.push_back(number_of(address));
    }
    compiled_.ports.push_back(std::move(port));
    names_.push_back(row.dvport_id);
  }

  void add_team(PortProperties const &properties, forwarding::PortConfiguration &port) {
    std::string const *const tied = properties.find(VSPROP_PORT_TEAMING_OVERRIDE);
    if (tied && !tied->empty())
      port.tied = host::position_of(uplinks_, *tied);
    if (!properties.find(VSPROP_PORT_TEAMING_POLICY) && !properties.find(VSPROP_PORT_LS_TEAMING_POLICY))
      return;
    port.team = static_cast<std::uint32_t>(compiled_.teams.size());
    compiled_.teams.push_back(host::port_team(database_, properties.place, uplinks_));
  }

  void add_lag(host::Lag const &lag) {
    forwarding::LagConfiguration added;
    using Hash = forwarding::LagHash;
    std::string const &hash = lag.settings.hash;
    added.hash = hash == "l2"            ? Hash::l2
                 : hash == "l3+4"        ? Hash::l3_l4
                 : hash == "vlan+srcmac" ? Hash::vlan_source_mac
                                         : Hash::l2_l3;
    if (!lag.settings.is_fixed())
      added.lacp = lacp_settings(lag);
    for (host::LagMember const &member : lag.members) {
      if (auto const position = host::position_of(uplinks_, member.uplink.name))
        added.members.push_back({*position, member.negotiated});
    }
    compiled_.lags.push_back(std::move(added));
  }

  forwarding::LacpSettings lacp_settings(host::Lag const &lag) const {
    host::LagSettings const &settings = lag.settings;
    return {.is_active = settings.mode == "active",
            .is_fast = settings.fast,
            .system = settings.system ? number_of(settings.system) : compiled_.own_mac,
            .system_priority = static_cast<std::uint16_t>(settings.system_priority),
            .key = static_cast<std::uint16_t>(settings.key.value_or(lag.number)),
            .max_active = static_cast<std::uint32_t>(settings.max_active),
            .has_fallback = settings.fallback};
  }

  Database &database_;
  RowId row_;
  std::map<RowId, std::uint32_t> const &nics_;
  std::set<RowId> const &blocked_;
  std::vector<host::Uplink> uplinks_;
  forwarding::SwitchConfiguration compiled_;
  std::vector<std::string> names_;  // of its ports
};

// ---- the host -----------------------------------------------------------------------------------------------------

forwarding::IpAddress address_option(Database &database, int type) {
  std::array<std::uint8_t, forwarding::ipv6_address_size> bytes{};
  std::string const text = host::runtime_option(database, static_cast<std::uint16_t>(type)).text;
  bool const is_ipv4 = type == VS_RT_OPT_IGMP_ROUTER_IP;
  static_cast<void>(inet_pton(is_ipv4 ? AF_INET : AF_INET6, text.c_str(), bytes.data()));
  return forwarding::IpAddress(
      forwarding::Bytes(bytes).first(is_ipv4 ? forwarding::ipv4_address_size : forwarding::ipv6_address_size));
}

forwarding::Options runtime_options(Database &database) {
  auto const number = [&](int type) { return host::runtime_option_number(database, static_cast<std::uint16_t>(type)); };
  return {.reverse_path_check = number(VS_RT_OPT_REVERSE_PATH_FWD_CHECK) == 1,
          .reverse_path_check_promiscuous = number(VS_RT_OPT_REVERSE_PATH_FWD_CHECK_PROMISC) == 1,
          .fast_path = number(VS_RT_OPT_ALLOW_FAST_PATH) != 0,
          .mirror_statistics = number(VS_RT_OPT_ALLOW_MIRROR_STATS) != 0,
          .numa_aware = number(VS_RT_OPT_TEAMING_NUMA_AWARE) != 0,
          .ignores_shotgun = number(VS_RT_OPT_TEAMING_IGNORE_SHOTGUN) != 0,
          .reports_to_uplink = number(VS_RT_OPT_SEND_IGMP_REPORT_TO_UPLINK) == 1,
          .up_delay = number(VS_RT_OPT_TEAM_POLICY_UP_DELAY),
          .query_interval = number(VS_RT_OPT_IGMP_QUERY_INTERVAL),
          .queries = number(VS_RT_OPT_IGMP_QUERIES),
          .igmp_version = number(VS_RT_OPT_IGMP_VERSION),
          .mld_version = number(VS_RT_OPT_MLD_VERSION),
          .most_igmp_sources = number(VS_RT_OPT_IGMP_V3_MAX_SRC_IP_NUM),
          .most_mld_sources = number(VS_RT_OPT_MLD_V2_MAX_SRC_IP_NUM),
          .igmp_router = address_option(database, VS_RT_OPT_IGMP_ROUTER_IP),
          .mld_router = address_option(database, VS_RT_OPT_MLD_ROUTER_IP),
          .announcements_at_once = number(VS_RT_OPT_MAX_RARPS_PER_INTERVAL),
          .announcement_duration = number(VS_RT_OPT_RARP_ADVERTISEMENT_DURATION)};
}

std::optional<forwarding::LacpScript> lacp_script(std::optional<host::LacpPartner> const &partner) {
  if (!partner)
    return std::nullopt;
  auto const word = [](std::uint32_t number) { return static_cast<std::uint16_t>(number); };
  return forwarding::LacpScript{.system = number_of(partner->system),
                                .system_priority = word(partner->system_priority),
                                .key = word(partner->key),
                                .port = word(partner->port),
                                .port_priority = word(partner->port_priority),
                                .is_active = partner->active,
                                .is_fast = partner->fast,
                                .is_aggregatable = partner->aggregatable,
                                .is_on = partner->on};
}

forwarding::NicConfiguration nic_configuration(Database &database, host::NicRow const &row,
                                               std::vector<std::string> &segments) {
  auto const segment = std::find(segments.begin(), segments.end(), row.nic.segment);
  auto const segment_number = static_cast<std::uint32_t>(segment - segments.begin());
  if (segment == segments.end())
    segments.push_back(row.nic.segment);
  return {.mac = number_of(row.nic.mac),
          .link_up = row.nic.carrier && row.admin_up,
          .speed = static_cast<std::uint32_t>(row.nic.speed),
          .is_full_duplex = row.nic.duplex == QEL_LINK_DUPLEX_FULL,
          .error_percent = static_cast<std::uint8_t>(row.nic.errors),
          .recovery = row.recovery,
          .link_back = row.link_back,
          .segment = segment_number,
          .partner = lacp_script(load_partner(database, row.row))};
}

}  // namespace

std::unique_ptr<Compiled const> compile(Database &database) {
  forwarding::Configuration configuration;
  std::vector<CompiledSwitch> switches;
  std::vector<CompiledPort> ports;
  std::vector<CompiledNic> nics;
  std::map<RowId, std::uint32_t> nic_numbers;
  configuration.options = runtime_options(database);
  std::vector<std::string> segments;
  configuration.stacks = mirror_stacks(database);
  for (host::NicRow const &nic : load_nics(database)) {
    nic_numbers.emplace(nic.row, static_cast<std::uint32_t>(nics.size()));
    nics.push_back({nic.row, nic.nic.name});
    configuration.nics.push_back(nic_configuration(database, nic, segments));
  }
  std::vector<RowId> const blocked = host::ports_blocked_in_rtm(database);
  std::set<RowId> const blocked_ports(blocked.begin(), blocked.end());
  for (host::Switch const &vswitch : load_switches(database)) {
    SwitchCompiler compiler(database, vswitch, nic_numbers, blocked_ports);
    for (std::string &name : compiler.take_names())
      ports.push_back({std::move(name), static_cast<std::uint32_t>(switches.size())});
    switches.push_back({vswitch.row, vswitch.alias});
    configuration.switches.push_back(compiler.take());
  }
  return std::unique_ptr<Compiled const>(new Compiled{forwarding::Tables(std::move(configuration)), std::move(switches),
                                                      std::move(ports), std::move(nics)});
}

}  // namespace sim
