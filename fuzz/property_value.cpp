// Values of the other properties with rules: raw, and through the calls that take lists.
#include "fuzz/reader.hpp"

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

// As many names, and identifiers if there are any, as a block counts.
std::vector<char> uplink_block(std::string_view &input, std::size_t slot) {
  qel_uint32 const count = record<qel_uint32>(input);
  std::size_t const size = counted(count, QEL_TEAM_MAX_UPLINKS, sizeof count, slot);
  std::vector<char> block = memory(input, size);
  input.remove_prefix(std::min(size, input.size()));
  return block;
}

void read_lists(unsigned kind, std::string_view input) {
  switch (kind) {
    case 0: {
      std::vector<char> names = uplink_block(input, QEL_HNQ_NAME_MAX_LEN);
      std::vector<char> ids = uplink_block(input, QEL_HNQ_PORT_ID_MAX_LEN);
      make_call("VSDVS_SetSwitchUplinkPorts", [&] {
        return VSDVS_SetSwitchUplinkPorts(switch_alias, reinterpret_cast<VSUplinkPorts const *>(names.data()),
                                          reinterpret_cast<VSUplinkPortIds const *>(ids.data()));
      });
      break;
    }
    case 1: {
      auto const count = static_cast<int>(record<qel_uint16>(input));
      std::vector<char> map = memory(input.substr(std::min<std::size_t>(2, input.size())),
                                     counted(static_cast<std::uint64_t>(count), 4094, 1, sizeof(VSPvlanMapEntry)));
      make_call("VSDVS_SetPrivateVLANMap", [&] {
        return VSDVS_SetPrivateVLANMap(switch_alias, reinterpret_cast<VSPvlanMapEntry const *>(map.data()), count);
      });
      break;
    }
    case 2: {
      auto const count = static_cast<int>(static_cast<signed char>(take_byte(input)));
      std::vector<char> entries = memory(input, counted(count < 0 ? 0 : static_cast<std::uint64_t>(count), 25, 1, 6));
      make_call("VSDVS_SetPortMcastUserLegacyEntries", [&] {
        return VSDVS_SetPortMcastUserLegacyEntries(switch_alias, dvport_id, count,
                                                   reinterpret_cast<VSMACEntries *>(entries.data()));
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
        return VSDVS_SetPortVLANPolicy(switch_alias, dvport_id, vlan, priority, flags & 1, (flags & 2) != 0,
                                       reinterpret_cast<qel_HNQPortVIDRange *>(ranges.data()), count);
      });
    }
  }
}

}  // namespace

READER(property_value) {
  unsigned const kind = take_byte(input);
  if (kind < 4) {
    read_lists(kind, input);
    return;
  }
  unsigned const which = kind / 4;
  std::vector<char> const value = memory(input, input.size());
  if ((kind & 1) != 0) {
    char const *const name = properties_of_switches[which % std::size(properties_of_switches)];
    make_call("VSDVS_SetGlobProp",
              [&] { return VSDVS_SetGlobProp(switch_alias, name, value.data(), size_of(value), "", (kind & 2) != 0); });
    return;
  }
  char const *const name = properties_of_ports[which % std::size(properties_of_ports)];
  make_call("VSDVS_SetPortProp", [&] {
    return VSDVS_SetPortProp(switch_alias, dvport_id, name, value.data(), size_of(value), "", (kind & 2) != 0);
  });
}
