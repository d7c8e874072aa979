// All settings in one table: each is written typed and raw, here and in another process, read in both ways byte for
// byte, and brought back to its documented default. Long because the table is: a few lines for each setting.
#include <algorithm>
#include <functional>

#include "declared_functions.hpp"
#include "follows.hpp"

namespace families_test {

enum class Home { global, host, port };

// A setting. Its value is what the property holds, or where there is none, the bytes of what its calls take and give.
struct Family {
  std::string name;
  std::vector<std::string> writers;  // the functions that set and clear it
  char const *property;              // null: there is none
  Home home;
  std::string fallback;  // the default; a status where there is no value then
  std::string value, other;
  std::function<int(std::string)> set;
  std::function<std::string()> get;
  std::function<int()> clear;    // null: it is set to its default
  std::function<int()> prepare;  // what the values need to be admitted; may be null
  bool outlives_a_boot = true;
};

void PrintTo(Family const &family, std::ostream *out) {
  *out << family.name;
}

// The switch and the ports that have the settings; nothing on them is set.
constexpr char vswitch[] = "edge";
constexpr char port[] = "p";
constexpr char neighbour[] = "q";
constexpr char free_key[] = "org.example.key";
constexpr char absent[] = "QEL_NOT_FOUND";

std::string const on(1, '\1');
std::string const off(1, '\0');

std::string raw(Home home, char const *name) {
  switch (home) {
    case Home::global: return property(VSDVS_GetGlobProp, false, vswitch, name);
    case Home::host: return property(VSDVS_GetHostProp, false, vswitch, name);
    default: return property(VSDVS_GetPortProp, false, vswitch, port, name);
  }
}

int set_raw(Home home, char const *name, std::string const &value, bool persistent = true) {
  auto const length = static_cast<int>(value.size());
  qel_Bool const which = persistent ? 1 : 0;
  switch (home) {
    case Home::global: return VSDVS_SetGlobProp(vswitch, name, value.data(), length, nullptr, which);
    case Home::host: return VSDVS_SetHostProp(vswitch, name, value.data(), length, nullptr, which);
    default: return VSDVS_SetPortProp(vswitch, port, name, value.data(), length, nullptr, which);
  }
}

int clear_raw(Home home, char const *name) {
  switch (home) {
    case Home::global: return VSDVS_ClearGlobProp(vswitch, name, nullptr, 1);
    case Home::host: return VSDVS_ClearHostProp(vswitch, name, nullptr, 1);
    default: return VSDVS_ClearPortProp(vswitch, port, name, nullptr, 1);
  }
}

template <typename Record>
Record record_of(std::string const &bytes) {
  Record record{};
  std::memcpy(&record, bytes.data(), std::min(sizeof record, bytes.size()));
  return record;
}

// The same value with other bytes where they mean nothing. Those are kept.
std::string with_rest(std::string value, std::size_t from, std::size_t to = std::string::npos) {
  std::fill(value.begin() + static_cast<std::ptrdiff_t>(from),
            to == std::string::npos ? value.end() : value.begin() + static_cast<std::ptrdiff_t>(to), '\x5a');
  return value;
}

std::string busy_teaming_value() {
  return with_rest(teaming_value({"nic4"}), offsetof(VSTeamPolicy, uplinkPortName) + 81);
}

template <typename Record>
std::string bytes_at(Record const *record, std::size_t size) {
  return {reinterpret_cast<char const *>(record), size};
}

// A setting of the switch whose calls take and give the bytes of the property as a record. The names of its functions
// follow from that of the setter.
template <typename Record, typename Set>
Family of_switch(std::string const &name, char const *property_name, std::string fallback, std::string value,
                 std::string other, int (*set)(char const *, Set), int (*get)(char const *, Record *),
                 int (*clear)(char const *) = nullptr) {
  Family family{name, {"VSDVS_Set" + name}, property_name, Home::global, fallback, value, other, {}, {}, {}, {}};
  family.set = [set](std::string bytes) {
    if constexpr (std::is_pointer_v<Set>)
      return set(vswitch, record_in<std::remove_pointer_t<Set>>(bytes));
    else
      return set(vswitch, record_of<Set>(bytes));
  };
  family.get = [get] { return bytes_of(answer(get, vswitch)); };
  if (clear) {
    family.writers.push_back("VSDVS_Clear" + name);
    family.clear = [clear] { return clear(vswitch); };
  }
  return family;
}

// The same of the port.
template <typename Record, typename Set>
Family of_port(std::string const &name, char const *property_name, std::string fallback, std::string value,
               std::string other, int (*set)(char const *, char const *, Set),
               int (*get)(char const *, char const *, Record *), int (*clear)(char const *, char const *) = nullptr) {
  Family family{name, {"VSDVS_Set" + name}, property_name, Home::port, fallback, value, other, {}, {}, {}, {}};
  family.set = [set](std::string bytes) {
    if constexpr (std::is_same_v<Set, char const *>)
      return set(vswitch, port, bytes.c_str());
    else if constexpr (std::is_pointer_v<Set>)
      return set(vswitch, port, record_in<std::remove_pointer_t<Set>>(bytes));
    else
      return set(vswitch, port, record_of<Set>(bytes));
  };
  family.get = [get, property_name] {
    static_cast<void>(property_name);  // of texts only
    if constexpr (std::is_same_v<Record, char>)
      return std::string_view(property_name).find("teaming") == std::string_view::npos
                 ? bytes_of(answer(get, vswitch, port))
                 : text_answer(get, vswitch, port);
    else
      return bytes_of(answer(get, vswitch, port));
  };
  if (clear) {
    family.writers.push_back("VSDVS_Clear" + name);
    family.clear = [clear] { return clear(vswitch, port); };
  }
  return family;
}

// A property without calls of its own: the calls of the other library are the second way to it.
Family plain(Home home, char const *property_name, std::string fallback, std::string value, std::string other) {
  std::string name = property_name;
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return !std::isalnum(c); }, '_');
  Family family{name, {}, property_name, home, fallback, value, other, {}, {}, {}, {}};
  auto const config = static_cast<qel_uint32>(CONFIG_PROP_TYPE);
  if (home == Home::port) {
    family.set = [=](std::string v) {
      return DVSQEL_PortDataSet(vswitch, port, property_name, v.data(), static_cast<int>(v.size()), config);
    };
    family.get = [=] { return bytes_answer(DVSQEL_PortDataGet, vswitch, port, property_name); };
    family.clear = [=] { return DVSQEL_PortDataClear(vswitch, port, property_name); };
  } else {
    bool const host = home == Home::host;
    family.set = [=](std::string v) {
      return (host ? DVSQEL_HostPropSet : DVSQEL_GlobalPropSet)(vswitch, property_name, v.data(),
                                                                static_cast<int>(v.size()), config);
    };
    family.get = [=] { return bytes_answer(host ? DVSQEL_HostPropGet : DVSQEL_GlobalPropGet, vswitch, property_name); };
    family.clear = [=] { return (host ? DVSQEL_HostPropClear : DVSQEL_GlobalPropClear)(vswitch, property_name); };
  }
  return family;
}

Family with(Family family, std::vector<std::string> writers) {
  family.writers = std::move(writers);
  return family;
}

Family needing(Family family, std::function<int()> prepare) {
  family.prepare = std::move(prepare);
  return family;
}

Family eth_filter_of_a_sink_port() {
  auto const filter = [](bool sink) {
    VSExtraEthFilter value{};
    value.flags = sink ? QEL_ETH_FILTER_SINK : 0;
    return bytes_of(value);
  };
  return {"SinkPort",
          {"VSDVS_ConfigureSinkPort"},
          VSPROP_PORT_EXTRA_ETH_FRP,
          Home::port,
          filter(false),
          filter(true),
          filter(false),
          [=](std::string value) { return VSDVS_ConfigureSinkPort(vswitch, port, value == filter(true) ? 1 : 0); },
          [=] { return filter(answer(VSDVS_IsSinkPortEnabled, vswitch, port) == 1); },
          {},
          {}};
}

Family port_mac_learning() {
  auto const value = [](VSPMACLearning const &policy) { return bytes_of(VSPMACManagement{1, policy}); };
  return {"PortMACLearning",
          {"VSDVS_SetPortMACLearning"},
          VSPROP_PORT_MAC_MANAGEMENT,
          Home::port,
          value(port_learning(0, 0, 4096, VSPORT_MAC_LEARNING_LIMIT_POLICY_ALLOW)),
          value(port_learning(1, 1, 7, VSPORT_MAC_LEARNING_LIMIT_POLICY_DROP)),
          value(port_learning(1, 0, 8, VSPORT_MAC_LEARNING_LIMIT_POLICY_ALLOW)),
          [](std::string bytes) {
            VSPMACLearning const policy = record_of<VSPMACLearning>(bytes.substr(1));
            return VSDVS_SetPortMACLearning(vswitch, port, &policy);
          },
          [] { return on + bytes_of(answer(VSDVS_GetPortMACLearning, vswitch, port)); },
          {},
          {}};
}

Family vlan_policy() {
  return {"PortVLANPolicy",
          {"VSDVS_SetPortVLANPolicy", "VSDVS_ClearPortVLANPolicy"},
          VSPROP_PORT_VLAN,
          Home::port,
          vlan_value(0, 0),
          vlan_value(VSPORT_VLAN_GUEST_TAGGING, 4095, {{5, 9}, {20, 4094}}),
          vlan_value(0, 12),
          [](std::string bytes) {
            auto const *policy = record_in<VSPortVlanPolicy>(bytes);
            return VSDVS_SetPortVLANPolicy(vswitch, port, policy->vlanID, QEL_VLAN_PRIORITY_INVALID,
                                           policy->flags & VSPORT_VLAN_GUEST_TAGGING ? 1 : 0, 0,
                                           reinterpret_cast<qel_HNQPortVIDRange *>(bytes.data() + sizeof *policy),
                                           policy->numRanges);
          },
          [] {
            VSPortVlanPolicy *policy = nullptr;
            int length = 0;
            EXPECT_STATUS(QEL_OK, VSDVS_GetPortVLANPolicy(vswitch, port, &policy, &length));
            std::string const bytes = bytes_at(policy, static_cast<std::size_t>(length));
            VSDVS_FreeMemory(policy);
            return bytes;
          },
          [] { return VSDVS_ClearPortVLANPolicy(vswitch, port); },
          {}};
}

Family private_vlan_map() {
  return {"PrivateVLANMap",
          {"VSDVS_SetPrivateVLANMap"},
          VSPROP_PVLAN_MAP,
          Home::global,
          "",
          with_rest(private_vlan_value(100, 101), 5, 8),
          private_vlan_value(200, 201),
          [](std::string bytes) {
            return VSDVS_SetPrivateVLANMap(vswitch, record_in<VSPvlanMapEntry>(bytes),
                                           static_cast<int>(bytes.size() / sizeof(VSPvlanMapEntry)));
          },
          [] {
            VSPvlanMapEntry *map = nullptr;
            int count = 0;
            EXPECT_STATUS(QEL_OK, VSDVS_GetPrivateVLANMap(vswitch, &map, &count));
            EXPECT_EQ(count == 0, map == nullptr);
            std::string const bytes = bytes_at(map, static_cast<std::size_t>(count) * sizeof *map);
            VSDVS_FreeMemory(map);
            return bytes;
          },
          {},
          {}};
}

Family ls_teaming() {
  return {"LSTeamingPolicy",
          {"VSDVS_SetLSTeamingPolicy", "VSDVS_ClearLSTeamingPolicy"},
          VSPROP_LS_TEAMING_POLICY,
          Home::global,
          number(0),
          with_rest(ls_teaming_value("gold", "nic3"), 4 + offsetof(LSTeamPolicy, uplinkPortName) + 81),
          ls_teaming_value("silver", "nic4"),
          [](std::string bytes) { return VSDVS_SetLSTeamingPolicy(vswitch, record_in<LSTeamTable>(bytes)); },
          [] {
            auto const table = answer(VSDVS_GetLSTeamingPolicyTable, vswitch);
            return bytes_at(table.get(), sizeof *table + table->numLSTeam * sizeof(LSTeamPolicy));
          },
          [] { return VSDVS_ClearLSTeamingPolicy(vswitch); },
          {}};
}

int set_ls_policies() {
  return set_raw(Home::global, VSPROP_LS_TEAMING_POLICY,
                 number(2) + ls_teaming_value("gold", "nic3").substr(4) + ls_teaming_value("silver", "nic4").substr(4));
}

// Multicast addresses of the switch or of the port.
Family user_addresses(bool of_the_port) {
  auto const read = [](VSUserMcastLegacyKeys const *keys) { return bytes_at(keys, 1 + 6u * keys->numEntries); };
  std::string const name = of_the_port ? "PortMcastUserLegacyEntries" : "McastUserLegacyEntries";
  return {name,
          {"VSDVS_Set" + name, "VSDVS_Clear" + name},
          of_the_port ? VSPROP_PORT_USER_MCAST_ADDRESSES : VSPROP_USER_MCAST_ADDRESSES,
          of_the_port ? Home::port : Home::global,
          user_addresses_value({}),
          user_addresses_value(
              {3, 1, 2, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 255}),
          user_addresses_value({9}),
          [=](std::string bytes) {
            int const count = bytes[0];
            VSMACEntries entries = record_of<VSMACEntries>(bytes.substr(1));
            return of_the_port ? VSDVS_SetPortMcastUserLegacyEntries(vswitch, port, count, &entries)
                               : VSDVS_SetMcastUserLegacyEntries(vswitch, count, &entries);
          },
          [=] {
            return of_the_port ? read(answer(VSDVS_GetPortMcastUserLegacyEntries, vswitch, port).get())
                               : read(answer(VSDVS_GetMcastUserLegacyEntries, vswitch).get());
          },
          [=] {
            return of_the_port ? VSDVS_ClearPortMcastUserLegacyEntries(vswitch, port)
                               : VSDVS_ClearMcastUserLegacyEntries(vswitch);
          },
          {}};
}

// Mirror sessions of the port, or without one of the switch.
Family mirror_sessions(char const *dvport_id) {
  return {dvport_id ? "DVMirrorSessionsOfAPort" : "DVMirrorSessionsOfASwitch",
          {"VSDVS_SetDVMirrorSessions", "VSDVS_ClearDVMirrorSessions"},
          dvport_id ? VSPROP_PORT_MIRROR_SESSIONS : VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS,
          dvport_id ? Home::port : Home::global,
          mirror_value({}),
          mirror_value({"one", "two"}),
          mirror_value({"three"}),
          [=](std::string bytes) {
            return VSDVS_SetDVMirrorSessions(vswitch, dvport_id, record_in<DVMirrorSessionTable>(bytes));
          },
          [=] {
            auto const table = answer(VSDVS_GetDVMirrorSessions, vswitch, dvport_id);
            return bytes_at(table.get(), sizeof *table + table->numSessions * sizeof(DVMirrorSession) +
                                             table->numEntities * sizeof(DVMirrorEntity));
          },
          [=] { return VSDVS_ClearDVMirrorSessions(vswitch, dvport_id); },
          {}};
}

Family uplink_ports() {
  auto const value = [](std::vector<char const *> const &names, std::vector<char const *> const &ids) {
    return uplink_names(names) + uplink_port_ids(ids);
  };
  return {"SwitchUplinkPorts",
          {"VSDVS_SetSwitchUplinkPorts", "VSDVS_ClearSwitchUplinkPorts"},
          QEL_HNQPROP_HOST_UPLINKPORTS,
          Home::host,
          value({}, {}),
          value({"nic3"}, {"first"}),
          value({"nic4", "spare"}, {"second", "third"}),
          [](std::string bytes) {
            auto *names = record_in<VSUplinkPorts>(bytes);
            std::string ids = bytes.substr(4 + 81 * names->nUplinkPorts);
            return VSDVS_SetSwitchUplinkPorts(vswitch, names, record_in<VSUplinkPortIds>(ids));
          },
          [] {
            VSUplinkPorts *names = nullptr;
            VSUplinkPortIds *ids = nullptr;
            EXPECT_STATUS(QEL_OK, VSDVS_GetSwitchUplinkPorts(vswitch, &names, &ids));
            std::string const bytes =
                bytes_at(names, 4 + 81 * names->nUplinkPorts) + bytes_at(ids, 4 + 48 * ids->nUplinkPorts);
            VSDVS_FreeMemory(names);
            VSDVS_FreeMemory(ids);
            return bytes;
          },
          [] { return VSDVS_ClearSwitchUplinkPorts(vswitch); },
          [] { return VSDVS_ClearSwitchUplinkPorts(vswitch); }};
}

Family connection_identifier() {
  // Ports have it from their beginning.
  return needing(plain(Home::port, QEL_HNQPROP_PORT_CONNECTID, number(0), number(5), number(6)),
                 [] { return clear_raw(Home::port, QEL_HNQPROP_PORT_CONNECTID); });
}

Family uplink_data() {
  auto const config = static_cast<qel_uint32>(CONFIG_PROP_TYPE);
  return {"UplinkData",
          {"DVSQEL_UplinkDataSet"},
          nullptr,
          Home::port,
          absent,
          "seven",
          "eight",
          [=](std::string value) {
            return DVSQEL_UplinkDataSet(vswitch, "nic3", 7, value.data(), static_cast<int>(value.size()), config);
          },
          [] { return bytes_answer(DVSQEL_UplinkDataGet, vswitch, "nic3", qel_uint32{7}); },
          [] { return VSDVS_ClearPortProp(vswitch, "uplink-1", "uplink.data.7", nullptr, 1); },
          {}};
}

Family global_mac_learning() {
  return {"GlobalMACLearningProps",
          {"VSQEL_SetGlobalMACLearningProps"},
          nullptr,
          Home::global,
          bytes_of(VSMACLearningGlobalProps{600, 65536, 0, 1}),
          bytes_of(VSMACLearningGlobalProps{30, 40, 1, 0}),
          bytes_of(VSMACLearningGlobalProps{0, 1, 1, 1}),
          [](std::string bytes) { return VSQEL_SetGlobalMACLearningProps(record_in<VSMACLearningGlobalProps>(bytes)); },
          [] { return bytes_of(answer(VSQEL_GetGlobalMACLearningProps)); },
          {},
          {}};
}

// The buffer of all runtime options in the order of their numbers: sixteen numbers and two addresses.
std::string all_options(std::vector<qel_uint32> const &numbers, std::string const &ipv4, std::string const &ipv6) {
  std::string entries;
  qel_uint16 type = 0;
  auto const append = [&](std::string const &data) {
    entries += bytes_of(type++) + bytes_of(static_cast<qel_uint16>(4 + data.size())) + data;
  };
  for (qel_uint32 value : numbers)
    append(number(value));
  append(ipv4 + '\0');
  append(ipv6 + '\0');
  return number(static_cast<qel_uint32>(4 + entries.size())) + entries;
}

Family runtime_options() {
  return {"RuntimeOptions",
          {"VSQEL_SetRuntimeOptions"},
          nullptr,
          Home::global,
          all_options({125, 10, 2, 3, 2, 10, 128, 60, 1, 0, 1, 100, 1, 0, 0, 0}, "0.0.0.0", "::"),
          all_options({1, 2, 3, 1, 1, 4, 5, 6, 0, 1, 0, 7, 0, 1, 1, 1}, "192.0.2.1", "2001:db8::1"),
          all_options({65535, 64, 16, 2, 2, 64, 65535, 3600, 1, 1, 1, 0, 1, 1, 1, 1}, "203.0.113.254", "fe80::2"),
          [](std::string bytes) { return VSQEL_SetRuntimeOptions(record_in<VSRuntimeOptions>(bytes)); },
          [] {
            std::vector<qel_uint16> types;
            for (qel_uint16 type = VS_RT_OPT_IGMP_QUERY_INTERVAL; type <= VS_RT_OPT_MLD_ROUTER_IP; ++type)
              types.push_back(type);
            auto const options = answer(VSQEL_GetRuntimeOptions, types.data(), types.size());
            return bytes_at(options.get(), options->totalLength);
          },
          {},
          {},
          false};
}

Family link_state() {
  return {
      "UplinkAdminLinkState",
      {"VSQEL_SetUplinkAdminLinkState"},
      nullptr,
      Home::host,
      number(QEL_LINK_STATE_UP),
      number(QEL_LINK_STATE_DOWN),
      number(QEL_LINK_STATE_UP),
      [](std::string bytes) { return VSQEL_SetUplinkAdminLinkState(vswitch, "nic4", record_of<qel_LinkState>(bytes)); },
      [] { return bytes_of(answer(VSQEL_GetUplinkLinkState, vswitch, "nic4")); },
      {},
      {},
      false};
}

// The entries by hand of the port. Setting adds one, so that those that were there have to go first.
Family mac_entries() {
  auto const get = [] {
    std::string bytes;
    for (VSMACEntry &entry : entries<VSMACEntry>(answer(VSQEL_GetPortMACTable, vswitch, port, VS_MAC_ADDR_TYPE_USER))) {
      VSMACEntry plain_entry = mac_entry(entry.macAddress[5], entry.vid);
      plain_entry.vni = entry.vni;
      bytes += bytes_of(plain_entry);
    }
    return bytes;
  };
  auto const each = [](std::string bytes, int (*function)(char const *, char const *, VSMACEntry const *)) {
    int status = QEL_OK;
    for (std::size_t at = 0; at < bytes.size() && status == QEL_OK; at += sizeof(VSMACEntry)) {
      VSMACEntry const entry = record_of<VSMACEntry>(bytes.substr(at));
      status = function(vswitch, port, &entry);
    }
    return status;
  };
  auto const clear = [=] { return each(get(), VSQEL_ClearPortMACTable); };
  return {"PortMACTable",
          {"VSQEL_SetPortMACTable", "VSQEL_ClearPortMACTable"},
          nullptr,
          Home::port,
          "",
          bytes_of(mac_entry(0xd1)) + bytes_of(mac_entry(0xd2, 7)),
          bytes_of(mac_entry(0xd3, 4094)),
          [=](std::string bytes) {
            int const status = clear();
            return status == QEL_OK ? each(bytes, VSQEL_SetPortMACTable) : status;
          },
          get,
          clear,
          {},
          false};
}

Family most_ports() {
  return {"SwitchMaxPorts",
          {"DVSQEL_SwitchSetMaxPorts"},
          nullptr,
          Home::global,
          number(128),
          number(16),
          number(8192),
          [](std::string bytes) { return DVSQEL_SwitchSetMaxPorts(vswitch, record_of<qel_uint32>(bytes)); },
          [] { return number(static_cast<qel_uint32>(DVS_GetMaxPorts(DVSState_SwitchFindByAlias(vswitch)))); },
          {},
          {}};
}

std::string pool_value(qel_uint32 shares, int limit, int reservation, qel_uint8 tag, int depth) {
  qel_PortsetResPoolCfg settings;
  std::memset(&settings, 0, sizeof settings);  // its padding is compared, too
  settings.shares = shares;
  settings.limit = limit;
  settings.reservation = reservation;
  settings.pTag = tag;
  settings.queueDepth = depth;
  return bytes_of(settings);
}

std::vector<Family> const &families() {
  static std::vector<Family> const table = [] {
    std::vector<Family> rows{
        of_switch("MTU", VSPROP_MTU, number(1500), number(9000), number(1280), VSDVS_SetMTU, VSDVS_GetMTU),
        of_switch("McastFilterMode", VSPROP_MULTICAST_FILTER, number(VS_MCAST_FILTER_MODE_LEGACY),
                  number(VS_MCAST_FILTER_MODE_SNOOPING), number(VS_MCAST_FILTER_MODE_MLD), VSDVS_SetMcastFilterMode,
                  VSDVS_GetMcastFilterMode),
        of_switch("RCFType", VSPROP_RCF_INSN_TYPE, number(QBR_RCF_INSN_TYPE_CBPF), number(QBR_RCF_INSN_TYPE_EBPF),
                  number(QBR_RCF_INSN_TYPE_CBPF), VSDVS_SetRCFType, VSDVS_GetRCFType),
        of_switch("TeamingPolicy", VSPROP_SWITCH_TEAMING,
                  teaming_value({"nic3", "nic4"}, TEAM_FRP_TYPE_LB_SRCID, TEAM_FRP_FLAG_NOTIFY_SWITCH),
                  busy_teaming_value(), teaming_value({"nic4", "nic3"}, TEAM_FRP_TYPE_LB_IP), VSDVS_SetTeamingPolicy,
                  VSDVS_GetTeamingPolicy, VSDVS_ClearTeamingPolicy),
        of_switch("MACLearning", VSPROP_SWITCH_MAC_LEARNING, mac_learning_value(600, 65536),
                  mac_learning_value(1000000, 17), mac_learning_value(0, 1), VSDVS_SetMACLearning, VSDVS_GetMACLearning,
                  VSDVS_ClearMACLearning),
        of_switch("StaticMACAllow", VSPROP_SWITCH_STATIC_MAC_ALLOW, on, off, "\xff", VSDVS_SetStaticMACAllow,
                  VSDVS_GetStaticMACAllow, VSDVS_ClearStaticMACAllow),
        of_switch("LearnStatic", VSPROP_SWITCH_MAC_LEARN_STATIC, off, on, "\xff", VSDVS_SetLearnStatic,
                  VSDVS_GetLearnStatic, VSDVS_ClearLearnStatic),
        ls_teaming(),
        private_vlan_map(),
        user_addresses(false),
        mirror_sessions(nullptr),
        uplink_ports(),
        most_ports(),

        of_port("PortTeamingPolicy", VSPROP_PORT_TEAMING_POLICY,
                teaming_value({"nic3", "nic4"}, TEAM_FRP_TYPE_LB_SRCID, TEAM_FRP_FLAG_NOTIFY_SWITCH),
                busy_teaming_value(), teaming_value({"nic4", "nic3"}, TEAM_FRP_TYPE_LB_IP), VSDVS_SetPortTeamingPolicy,
                VSDVS_GetPortTeamingPolicy, VSDVS_ClearPortTeamingPolicy),
        of_port("PortTeamingOverride", VSPROP_PORT_TEAMING_OVERRIDE, "", "nic4", "nic3", VSDVS_SetPortTeamingOverride,
                VSDVS_GetPortTeamingOverride, VSDVS_ClearPortTeamingOverride),
        needing(of_port("PortLSTeamingPolicy", VSPROP_PORT_LS_TEAMING_POLICY, "", "gold", "silver",
                        VSDVS_SetPortLSTeamingPolicy, VSDVS_GetPortLSTeamingPolicyName, VSDVS_ClearPortLSTeamingPolicy),
                set_ls_policies),
        of_port("TxUplinkAlways", VSPROP_PORT_TX_UPLINK, off, on, "0", VSDVS_SetTxUplinkAlways,
                VSDVS_GetTxUplinkAlways),
        of_port("PortNestedVLANTagging", VSPROP_PORT_VLAN_NESTEDTAG, off, on, "0", VSDVS_SetPortNestedVLANTagging,
                VSDVS_GetPortNestedVLANTagging),
        of_port("PortSecurity", VSPROP_PORT_SECURITY, number(0), number(VSPORT_SECURITY_DISALLOW_PROMISC),
                number(VSPORT_SECURITY_DISALLOW_MAC_CHANGE | VSPORT_SECURITY_DISALLOW_FORGED_SRC),
                VSDVS_SetPortSecurity, VSDVS_GetPortSecurity),
        of_port("ExtraEthFilter", VSPROP_PORT_EXTRA_ETH_FRP, std::string(200, '\0'),
                with_rest(eth_filter_value(QEL_ETH_FILTER_ALLMULTI, 1), 12),
                eth_filter_value(QEL_ETH_FILTER_UNICAST, 2), VSDVS_SetExtraEthFilter, VSDVS_GetExtraEthFilter,
                VSDVS_ClearExtraEthFilter),
        eth_filter_of_a_sink_port(),
        port_mac_learning(),
        vlan_policy(),
        user_addresses(true),
        mirror_sessions(port),
        mac_entries(),
        uplink_data(),

        runtime_options(),
        global_mac_learning(),
        link_state(),

        with(plain(Home::global, free_key, absent, "one", "other"),
             {"VSDVS_SetGlobProp", "VSDVS_ClearGlobProp", "DVSQEL_GlobalPropSet", "DVSQEL_GlobalPropClear"}),
        with(plain(Home::host, free_key, absent, "one", ""),
             {"VSDVS_SetHostProp", "VSDVS_SetRuntimeHostProp", "VSDVS_ClearHostProp", "DVSQEL_HostPropSet",
              "DVSQEL_HostPropClear"}),
        with(plain(Home::port, free_key, absent, std::string("\0a\xff\0", 4), "other"),
             {"VSDVS_SetPortProp", "VSDVS_ClearPortProp", "DVSQEL_PortDataSet", "DVSQEL_PortDataClear"}),

        connection_identifier(),
        plain(Home::port, QEL_HNQPROP_PORT_RESPOOLS_CFG, pool_value(100, -1, 0, 0, -1),
              pool_value(50, 1000, 1000, 7, 0), pool_value(1, -1, 5, 0, 9)),
        plain(Home::global, QBR_ORV_PRP_TUNABLE_PROP,
              bytes_of(OrvPRPTunablesData{{0x01, 0x15, 0x4e, 0, 1, 0}, 2000, 60000, 400, 500}),
              bytes_of(OrvPRPTunablesData{{0x01, 2, 3, 4, 5, 6}, 1, 2, 3, 0}),
              bytes_of(OrvPRPTunablesData{{0x03, 2, 3, 4, 5, 6}, 65535, 65535, 65535, 65535})),
        plain(Home::global, QBR_PRP_LAN_TEAMING_POLICY, absent, teaming_value({"nic3"}), teaming_value({"nic4"})),
        plain(Home::port, VSPROP_PORT_PRIORITY, number(0), number(7), number(1)),
        plain(Home::port, QEL_HNQPROP_PORT_QELNIC_VLANID, number(0), number(4095), number(1)),
        plain(Home::port, QEL_HNQPROP_PORT_ALIAS, "", "front door", std::string(80, 'a')),
        plain(Home::port, QEL_HNQPROP_PORT_PORTGROUP, "", "group", std::string(63, 'a')),
        plain(Home::port, QEL_HNQPROP_PORT_RESPOOL_ASSOC, "", "pool", std::string(127, 'a')),
        plain(Home::host, VSPROP_SWITCH_STATUS, number(QEL_HNQ_STATUS_OK), number(QEL_HNQ_STATUS_DOWN),
              number(QEL_HNQ_STATUS_DEGRADED)),
        plain(Home::host, QEL_HNQPROP_HOST_PROXY_STATE, number(0), number(QEL_HNQPORTSET_STATE_HOTSWAP), number(1)),
        plain(Home::host, QBR_ORV_PRP_STATUS, absent, "value", ""),
    };
    for (char const *byte : {VSPROP_SWITCH_FORWARDING_DISABLED, VSPROP_SWITCH_LLSPAN_RX_DISPATCHER})
      rows.push_back(plain(Home::global, byte, off, on, "\xff"));
    for (char const *byte :
         {VSPROP_PORT_PRIORITY_RETAIN, VSPROP_PORT_USER_MCAST_ADDRESSES_OVERRIDE, QEL_HNQPROP_PORT_BLOCK,
          QEL_HNQPORT_FORWARD_NOT_READY_BLOCK, QEL_HNQPROP_PORT_PTALLOWED, QEL_HNQPROP_PORT_PTALLOWEDRT})
      rows.push_back(plain(Home::port, byte, off, on, "\xff"));
    for (char const *any : {QEL_HNQPROP_SWITCH_OVERLAY, QEL_HNQPROP_SWITCH_RESPOOLS_LIST,
                            QEL_HNQPROP_SWITCH_RESPOOLS_SCHED, QBR_ORV_PRP_CONFIG_PROP})
      rows.push_back(plain(Home::global, any, absent, "value", ""));
    for (char const *any : {QEL_HNQPROP_PORT_SHAPER_INPUT, QEL_HNQPROP_PORT_SHAPER_BROADCAST,
                            QEL_HNQPROP_PORT_SHAPER_OUTPUT, QEL_HNQPROP_PORT_OVERLAY, QEL_HNQPROP_PORT_DVFILTER})
      rows.push_back(plain(Home::port, any, absent, "value", ""));
    return rows;
  }();
  return table;
}

// Writers that are in no row, and why.
std::set<std::string> const not_settings{
    "DVSQEL_SwitchSetVersion",  // a version only grows: there is no way back
};

class Families : public HostTest, public testing::WithParamInterface<Family> {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    ASSERT_STATUS(QEL_OK, create_switch(vswitch));
    for (char const *nic : {"nic3", "nic4"})
      ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort(vswitch, nic));
    for (char const *id : {port, neighbour})
      ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort(vswitch, id, 0));
  }
};

TEST_P(Families, are_one_value_however_it_is_written_and_read) {
  Family const &family = GetParam();
  if (family.prepare) {
    ASSERT_STATUS(QEL_OK, family.prepare());
  }
  auto const expect = [&](std::string const &value, char const *what) {
    SCOPED_TRACE(what);
    EXPECT_EQ(value, family.get());
    if (family.property) {
      EXPECT_EQ(value, raw(family.home, family.property));
    }
  };
  auto const write = [&](std::string const &value, bool persistent) {
    return family.property ? set_raw(family.home, family.property, value, persistent) : family.set(value);
  };
  auto const clear = [&] { return family.clear ? family.clear() : family.set(family.fallback); };
  auto const elsewhere = [&]() -> std::string {
    if (!family.property)
      return {};
    return family.home == Home::port   ? property(VSDVS_GetPortProp, false, vswitch, neighbour, family.property)
           : family.home == Home::host ? property(VSDVS_GetHostProp, false, "management", family.property)
                                       : property(VSDVS_GetGlobProp, false, "management", family.property);
  };
  std::string const of_others = elsewhere();

  expect(family.fallback, "not set");
  EXPECT_OK_ELSEWHERE(family.set(family.value));
  expect(family.value, "set by the calls of the setting");
  EXPECT_EQ(of_others, elsewhere()) << "of another port or switch";
  EXPECT_OK_ELSEWHERE(write(family.other, true));
  expect(family.other, "written raw, where it is a property");
  EXPECT_OK_ELSEWHERE(write(family.value, false));
  expect(family.value, "written raw until the next boot");
  ASSERT_STATUS(QEL_OK, boot());
  expect(!family.outlives_a_boot ? family.fallback : family.property ? family.other : family.value, "booted");
  ASSERT_STATUS(QEL_OK, family.set(family.value));
  EXPECT_OK_ELSEWHERE(clear());
  expect(family.fallback, "cleared");
  EXPECT_STATUS(family.fallback == absent ? QEL_NOT_FOUND : QEL_OK, clear());
  if (family.property) {
    ASSERT_STATUS(QEL_OK, family.set(family.value));
    EXPECT_OK_ELSEWHERE(clear_raw(family.home, family.property));
    expect(family.fallback, "cleared raw");
    if (std::string_view(free_key) != family.property) {
      Home const wrong = family.home == Home::port ? Home::global : Home::port;
      EXPECT_STATUS(QEL_BAD_PARAM, set_raw(wrong, family.property, family.value)) << "at another scope";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(All, Families, testing::ValuesIn(families()), [](auto const &row) {
  return row.param.name + (row.param.home == Home::host ? "_host" : row.param.home == Home::port ? "_port" : "");
});

TEST(FamiliesAll, every_function_that_writes_a_setting_is_in_the_table) {
  std::set<std::string> writers;
  for (std::string const &name :
       declared_functions({"switch_queries.h", "distributed_switch_configuration.h", "distributed_switch_state.h"})) {
    for (char const *verb : {"Set", "Clear", "Configure"}) {
      if (name.find(verb) != std::string::npos)
        writers.insert(name);
    }
  }
  std::set<std::string> in_table = not_settings;
  for (Family const &family : families())
    in_table.insert(family.writers.begin(), family.writers.end());
  EXPECT_EQ(writers, in_table);
}

class FamiliesOfProperties : public HostTest {};

TEST_F(FamiliesOfProperties, every_property_that_can_be_written_is_in_the_table) {
  std::set<std::string> in_table{free_key};
  for (Family const &family : families()) {
    if (family.property)
      in_table.insert(family.property);
  }
  std::set<std::string> known{free_key};
  // A property that the host knows is refused at a switch or at a port, and so is one that is read only.
  for (std::string const name : {
#define FAMILY(name, documentation)
#define INTEGER(name, value)
#define VARIABLE(name)
#define TEXT(name, text) text,
#include "constants/all.def"
#undef TEXT
#undef VARIABLE
#undef INTEGER
#undef FAMILY
       }) {
    if (name.empty())
      continue;
    int const at_switch = VSDVS_SetGlobProp("workload", name.c_str(), "", 0, nullptr, 1);
    int const at_port = VSDVS_SetPortProp("workload", "100", name.c_str(), "", 0, nullptr, 1);
    bool const is_free = at_switch == QEL_OK && at_port == QEL_OK;
    if (!is_free && at_switch != QEL_READ_ONLY && at_port != QEL_READ_ONLY)
      known.insert(name);
  }
  EXPECT_EQ(known, in_table);
}

}  // namespace families_test
