// Values of the other properties with rules: raw, and through the calls that take lists.
#include "fuzz/reader.hpp"
#include "fuzz/use.hpp"

using namespace fuzz;

namespace {

constexpr char const *properties_of_switches[] = {
    VSPROP_MTU,
    VSPROP_PVLAN_MAP,
    VSPROP_SWITCH_MAC_LEARNING,
    VSPROP_USER_MCAST_ADDRESSES,
    QBR_ORV_PRP_TUNABLE_PROP,
    VSPROP_RCF_INSN_TYPE,
    QEL_HNQPROP_HOST_UPLINKPORTS,
    QEL_HNQPROP_HOST_PROXY_STATE,
};
constexpr char const *properties_of_ports[] = {
    VSPROP_PORT_VLAN,          VSPROP_PORT_PRIORITY,          VSPROP_PORT_SECURITY,
    VSPROP_PORT_EXTRA_ETH_FRP, VSPROP_PORT_MAC_MANAGEMENT,    VSPROP_PORT_USER_MCAST_ADDRESSES,
    QEL_HNQPROP_PORT_ALIAS,    QEL_HNQPROP_PORT_PORTGROUP,    QEL_HNQPROP_PORT_RESPOOLS_CFG,
    QEL_HNQPROP_PORT_BLOCK,    VSPROP_PORT_LS_TEAMING_POLICY,
};
// These only tell about the rest of the state.
constexpr char const *reports_of_switches[] = {
    QEL_HNQPROP_SWITCH_ALIAS, QEL_HNQPROP_SWITCH_VERSION, QEL_HNQPROP_SWITCH_UPLINKPORTS,
    QEL_HNQPROP_HOST_STATUS,  QEL_HNQPROP_HOST_PROXY,
};
constexpr char const *reports_of_ports[] = {
    QEL_HNQPROP_PORT_STATUS,     QEL_HNQPROP_PORT_TYPE,          QEL_HNQPROP_PORT_VLAN,
    QEL_HNQPROP_PORT_PERSIST,    QEL_HNQPROP_PORT_LINK_STATUS,   QEL_HNQPROP_PORT_VNIC_CONNECTEE,
    QEL_HNQPROP_PORT_STATISTICS, VSPROP_PORT_MAC_LEARNING_STATS,
};

// As many names, and identifiers if there are any, as a block counts.
std::vector<char> uplink_block(std::string_view &input, std::size_t slot) {
  qel_uint32 const count = record<qel_uint32>(input);
  std::size_t const size = counted(count, QEL_TEAM_MAX_UPLINKS, sizeof count, slot);
  std::vector<char> block = memory(input, size);
  input.remove_prefix(std::min(size, input.size()));
  return block;
}

void ask_about_properties() {
  int length = 0;
  auto const ask_switch = [&](char const *name) {
    HandedOut<void> value;
    EXPECT_DOCUMENTED(DVSQEL_GlobalPropGet, switch_alias, name, value, &length);
  };
  auto const ask_port = [&](char const *name) {
    HandedOut<void> value;
    EXPECT_DOCUMENTED(DVSQEL_PortDataGet, switch_alias, dvport_id, name, value, &length);
  };
  std::for_each(std::begin(properties_of_switches), std::end(properties_of_switches), ask_switch);
  std::for_each(std::begin(reports_of_switches), std::end(reports_of_switches), ask_switch);
  std::for_each(std::begin(properties_of_ports), std::end(properties_of_ports), ask_port);
  std::for_each(std::begin(reports_of_ports), std::end(reports_of_ports), ask_port);
}

// The value is seen and followed; then it goes, and the host boots.
template <typename Clear>
int then_use(int status, Clear &&clear) {
  if (status != QEL_OK)
    return status;
  ask_about_policies(switch_alias, dvport_id);
  ask_about_addresses(switch_alias, dvport_id);
  ask_about_uplinks(switch_alias);
  ask_about_mirroring(switch_alias, dvport_id);
  ask_about_properties();
  expect_sound_state();
  clear();
  boot_again();
  return status;
}

// Links go down and up, by the name of the uplink or of its NIC, and uplinks go one by one.
void use_uplinks() {
  HandedOut<VSUplinkPorts> names;
  HandedOut<VSUplinkPortIds> ids;
  EXPECT_OK(VSDVS_GetSwitchUplinkPorts, switch_alias, names, ids);
  std::vector<std::string> uplinks{"nic1"};
  for (qel_uint32 i = 0; i < names.get()->nUplinkPorts; ++i)
    uplinks.emplace_back(names.elements<char[QEL_HNQ_NAME_MAX_LEN]>()[i]);
  for (int const state : {QEL_LINK_STATE_DOWN, QEL_LINK_STATE_UP}) {
    for (std::string const &uplink : uplinks)
      EXPECT_DOCUMENTED(VSQEL_SetUplinkAdminLinkState, switch_alias, uplink.c_str(), static_cast<qel_LinkState>(state));
  }
  for (std::string const &uplink : uplinks)
    EXPECT_DOCUMENTED(VSDVS_RemoveSwitchUplinkPort, switch_alias, uplink.c_str());
  EXPECT_DOCUMENTED(VSDVS_ClearSwitchUplinkPorts, switch_alias);
}

// Two uplinks that the switch may not lose, and a port in a private VLAN.
void need_settings() {
  VSTeamPolicy policy{};
  EXPECT_OK(VSDVS_GetTeamingPolicy, switch_alias, &policy);
  EXPECT_OK(VSDVS_SetTeamingPolicy, switch_alias, &policy);
  EXPECT_OK(VSDVS_SetPortVLANPolicy, switch_alias, "101", 11, 0, 0, 1, nullptr, 0);
}

void read_lists(unsigned kind, std::string_view input) {
  switch (kind) {
    case 0: {
      std::vector<char> names = uplink_block(input, QEL_HNQ_NAME_MAX_LEN);
      std::vector<char> ids = uplink_block(input, QEL_HNQ_PORT_ID_MAX_LEN);
      make_call("VSDVS_SetSwitchUplinkPorts", [&] {
        return then_use(VSDVS_SetSwitchUplinkPorts(switch_alias, reinterpret_cast<VSUplinkPorts const *>(names.data()),
                                                   reinterpret_cast<VSUplinkPortIds const *>(ids.data())),
                        use_uplinks);
      });
      break;
    }
    case 1: {
      auto const count = static_cast<int>(record<qel_uint16>(input));
      std::vector<char> map = memory(input.substr(std::min<std::size_t>(2, input.size())),
                                     counted(static_cast<std::uint64_t>(count), 4094, 1, sizeof(VSPvlanMapEntry)));
      make_call("VSDVS_SetPrivateVLANMap", [&] {
        return then_use(
            VSDVS_SetPrivateVLANMap(switch_alias, reinterpret_cast<VSPvlanMapEntry const *>(map.data()), count),
            [] { EXPECT_DOCUMENTED(VSDVS_ClearGlobProp, switch_alias, VSPROP_PVLAN_MAP, "", 1); });
      });
      break;
    }
    case 2: {
      auto const count = take_signed_byte(input);
      std::vector<char> entries = memory(input, counted(count < 0 ? 0 : static_cast<std::uint64_t>(count), 25, 1, 6));
      make_call("VSDVS_SetPortMcastUserLegacyEntries", [&] {
        return then_use(VSDVS_SetPortMcastUserLegacyEntries(switch_alias, dvport_id, count,
                                                            reinterpret_cast<VSMACEntries *>(entries.data())),
                        [] { EXPECT_OK(VSDVS_ClearPortMcastUserLegacyEntries, switch_alias, dvport_id); });
      });
      break;
    }
    default: {
      auto const vlan = record<qel_uint16>(input);
      input.remove_prefix(std::min<std::size_t>(2, input.size()));
      auto const priority = static_cast<int>(take_byte(input));
      unsigned const flags = take_byte(input);
      auto const count = record<qel_uint16>(input);
      input.remove_prefix(std::min<std::size_t>(2, input.size()));
      std::vector<char> ranges = memory(input, counted(count, 4095, 1, sizeof(qel_HNQPortVIDRange)));
      make_call("VSDVS_SetPortVLANPolicy", [&] {
        return then_use(
            VSDVS_SetPortVLANPolicy(switch_alias, dvport_id, vlan, priority, as_bool(flags & 1), as_bool(flags & 2),
                                    reinterpret_cast<qel_HNQPortVIDRange *>(ranges.data()), count),
            [] { EXPECT_OK(VSDVS_ClearPortVLANPolicy, switch_alias, dvport_id); });
      });
    }
  }
}

}  // namespace

READER(property_value) {
  unsigned const first = take_byte(input);
  if ((first & 0x80) != 0)
    Home::get().change(need_settings);
  unsigned const kind = first & 0x7f;
  if (kind < 4) {
    read_lists(kind, input);
    return;
  }
  unsigned const which = kind / 4;
  qel_Bool const persistent = as_bool(kind & 2);
  std::vector<char> const value = memory(input, input.size());
  if ((kind & 1) != 0) {
    char const *const name = properties_of_switches[which % std::size(properties_of_switches)];
    make_call("VSDVS_SetGlobProp", [&] {
      return then_use(VSDVS_SetGlobProp(switch_alias, name, value.data(), size_of(value), "", persistent),
                      [&] { EXPECT_DOCUMENTED(VSDVS_ClearGlobProp, switch_alias, name, "", persistent); });
    });
    return;
  }
  char const *const name = properties_of_ports[which % std::size(properties_of_ports)];
  make_call("VSDVS_SetPortProp", [&] {
    return then_use(VSDVS_SetPortProp(switch_alias, dvport_id, name, value.data(), size_of(value), "", persistent),
                    [&] {
                      EXPECT_DOCUMENTED(VSDVS_ConfigureSinkPort, switch_alias, dvport_id, 1);
                      EXPECT_DOCUMENTED(VSDVS_ClearPortProp, switch_alias, dvport_id, name, "", persistent);
                    });
  });
}
