// VLANs, MAC learning, security and filters of ports and switches, as views of their properties.
#include <map>

#include "property_test.hpp"

namespace port_policies_test {

using ::bytes_of;

using Range = qel_HNQPortVIDRange;

int set_vlan(char const *dvport_id, qel_uint16 vlan, int priority, bool trunk, bool is_private,
             std::vector<Range> ranges = {}) {
  return VSDVS_SetPortVLANPolicy("workload", dvport_id, vlan, priority, trunk, is_private,
                                 ranges.empty() ? nullptr : ranges.data(), static_cast<qel_uint16>(ranges.size()));
}

std::string vlan_policy_of(char const *dvport_id) {
  Returned<VSPortVlanPolicy> policy;
  int length = -1;
  EXPECT_STATUS(QEL_OK, VSDVS_GetPortVLANPolicy("workload", dvport_id, &policy, &length));
  return {reinterpret_cast<char const *>(policy.record), static_cast<std::size_t>(length)};
}

std::string vlan_policy(qel_uint16 flags, qel_uint16 vlan, std::vector<Range> const &ranges = {}) {
  std::string value = bytes_of(VSPortVlanPolicy{flags, vlan, 0, static_cast<qel_uint16>(ranges.size()), {}});
  for (Range const &range : ranges)
    value += bytes_of(range);
  return value;
}

qel_uint32 priority_of(char const *dvport_id) {
  qel_uint32 priority = 0;
  std::memcpy(&priority, raw_property("workload", dvport_id, VSPROP_PORT_PRIORITY).data(), sizeof priority);
  return priority;
}

VSPvlanMapEntry entry(int primary, int secondary, int type) {
  return {static_cast<qel_uint16>(primary), static_cast<qel_uint16>(secondary), static_cast<qel_uint8>(type), {}};
}

int set_map(std::vector<VSPvlanMapEntry> const &map) {
  return VSDVS_SetPrivateVLANMap("workload", map.data(), static_cast<int>(map.size()));
}

std::vector<VSPvlanMapEntry> sample_map() {
  return {entry(100, 100, VSPORT_PVLAN_TYPE_PROMISC), entry(100, 101, VSPORT_PVLAN_TYPE_ISOLATED),
          entry(100, 102, VSPORT_PVLAN_TYPE_COMMUNITY), entry(100, 103, VSPORT_PVLAN_TYPE_COMMUNITY)};
}

std::string bytes_of(std::vector<VSPvlanMapEntry> const &map) {
  return {reinterpret_cast<char const *>(map.data()), map.size() * sizeof map[0]};
}

VSPMACLearning learning_policy(char learning, char flooding, qel_uint32 limit, int at_limit) {
  return {learning, flooding, limit, static_cast<VSPortMACLearningLimitPolicy>(at_limit)};
}

VSExtraEthFilter sample_filter() {
  VSExtraEthFilter filter;
  std::memset(&filter, 0x5a, sizeof filter);
  filter.flags = QEL_ETH_FILTER_UNICAST | QEL_ETH_FILTER_ALLMULTI;
  filter.numMulticastAddrs = 32;
  for (auto &address : filter.multicastAddrs)
    address[0] = 0x01;
  return filter;
}

// The security in force on each port that is listed.
std::map<qel_SwitchPortID, qel_uint32> security_in_force(char const *switch_name) {
  Returned<VSL2Security> security;
  EXPECT_STATUS(QEL_OK, VSQEL_GetL2Security(switch_name, &security));
  EXPECT_EQ(security->totalEntries, security->numEntries);
  std::map<qel_SwitchPortID, qel_uint32> ports;
  auto const *entries = reinterpret_cast<VSPropSecurityPortInfo const *>(security.record + 1);
  for (qel_uint32 i = 0; i < security->numEntries; ++i)
    ports[entries[i].portID] = entries[i].l2SecPortInfo.flags;
  return ports;
}

int sink_ports(char const *switch_name) {
  VSInfo info;
  EXPECT_STATUS(QEL_OK, VSQEL_GetVSInfo(switch_name, &info));
  return info.numSinkPorts;
}

class PortPolicies : public HostTest {};

TEST_F(PortPolicies, vlan_policies_set_and_clear_the_priority) {
  EXPECT_OK_ELSEWHERE(set_vlan("100", 12, 5, false, false));
  EXPECT_EQ(vlan_policy(VSPORT_VLAN_SET_PRIORITY, 12), vlan_policy_of("100"));
  EXPECT_EQ(5u, priority_of("100"));
  std::vector<Range> const ranges{{200, 300}, {0, 10}, {4094, 4094}};
  EXPECT_OK_ELSEWHERE(set_vlan("100", 4095, QEL_VLAN_PRIORITY_INVALID, true, false, ranges));
  EXPECT_EQ(vlan_policy(VSPORT_VLAN_GUEST_TAGGING, 4095, ranges), vlan_policy_of("100"));
  EXPECT_EQ(0u, priority_of("100"));
}

TEST_F(PortPolicies, refused_vlan_policies) {
  ASSERT_STATUS(QEL_OK, set_vlan("100", 7, 3, false, false));
  EXPECT_STATUS(QEL_BAD_PARAM, set_vlan("100", 4096, 0, false, false));
  EXPECT_STATUS(QEL_BAD_PARAM, set_vlan("100", 4095, 0, false, false));
  EXPECT_STATUS(QEL_BAD_PARAM, set_vlan("100", 1, 8, false, false));
  EXPECT_STATUS(QEL_BAD_PARAM, set_vlan("100", 1, -1, false, false));
  EXPECT_STATUS(QEL_BAD_PARAM, set_vlan("100", 1, 0, false, false, {{1, 2}}));
  EXPECT_STATUS(QEL_BAD_PARAM, set_vlan("100", 1, 0, true, false, {{2, 1}}));
  EXPECT_STATUS(QEL_BAD_PARAM, set_vlan("100", 1, 0, true, false, {{1, 4095}}));
  EXPECT_STATUS(QEL_BAD_PARAM, set_vlan("100", 1, 0, true, false, {{10, 20}, {1, 10}}));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetPortVLANPolicy("workload", "100", 1, 0, 1, 0, nullptr, 1));
  Range range{1, 2};  // of which there would have to be 4096
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, VSDVS_SetPortVLANPolicy("workload", "100", 1, 0, 1, 0, &range, 4096));
  EXPECT_STATUS(QEL_NOT_FOUND, set_vlan("none", 1, 0, false, false));
  EXPECT_STATUS(QEL_BAD_PARAM, set_raw_property("workload", "100", VSPROP_PORT_VLAN, vlan_policy(8, 1)));
  EXPECT_STATUS(QEL_BAD_PARAM, set_raw_property("workload", "100", VSPROP_PORT_VLAN, vlan_policy(1, 1) + "x"));
  int length = 5;
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetPortVLANPolicy("workload", "100", nullptr, &length));
  EXPECT_EQ(0, length);
  EXPECT_EQ(vlan_policy(VSPORT_VLAN_SET_PRIORITY, 7), vlan_policy_of("100"));
  EXPECT_EQ(3u, priority_of("100"));
}

TEST_F(PortPolicies, refused_private_vlan_maps) {
  VSPvlanMapEntry const promiscuous = entry(100, 100, VSPORT_PVLAN_TYPE_PROMISC);
  VSPvlanMapEntry const isolated = entry(100, 101, VSPORT_PVLAN_TYPE_ISOLATED);
  EXPECT_STATUS(QEL_BAD_PARAM, set_map({entry(0, 0, VSPORT_PVLAN_TYPE_PROMISC)}));
  EXPECT_STATUS(QEL_BAD_PARAM, set_map({entry(4095, 4095, VSPORT_PVLAN_TYPE_PROMISC)}));
  EXPECT_STATUS(QEL_BAD_PARAM, set_map({entry(100, 100, 4)}));
  EXPECT_STATUS(QEL_BAD_PARAM, set_map({entry(100, 100, 0)}));
  EXPECT_STATUS(QEL_BAD_PARAM, set_map({entry(100, 101, VSPORT_PVLAN_TYPE_PROMISC)}));
  EXPECT_STATUS(QEL_BAD_PARAM, set_map({entry(100, 100, VSPORT_PVLAN_TYPE_ISOLATED)}));
  EXPECT_STATUS(QEL_BAD_PARAM, set_map({isolated}));
  EXPECT_STATUS(QEL_EXISTS, set_map({promiscuous, isolated, isolated}));
  EXPECT_STATUS(QEL_EXISTS, set_map({promiscuous, isolated, entry(100, 102, VSPORT_PVLAN_TYPE_ISOLATED)}));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetPrivateVLANMap("workload", &isolated, -1));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, VSDVS_SetPrivateVLANMap("workload", &isolated, 4095));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetPrivateVLANMap("workload", nullptr, 1));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_SetPrivateVLANMap("none", &promiscuous, 1));
  EXPECT_EQ("", raw_property("workload", nullptr, VSPROP_PVLAN_MAP));
}

TEST_F(PortPolicies, a_private_vlan_of_a_port_stays_in_the_map) {
  EXPECT_STATUS(QEL_NOT_FOUND, set_vlan("100", 101, 0, false, true));
  ASSERT_STATUS(QEL_OK, set_map(sample_map()));
  ASSERT_STATUS(QEL_OK, set_vlan("100", 101, 0, false, true));
  EXPECT_STATUS(QEL_NOT_FOUND, set_vlan("101", 104, 0, false, true));
  EXPECT_STATUS(QEL_BAD_PARAM, set_vlan("101", 101, 0, true, true));
  EXPECT_STATUS(QEL_BUSY, set_map({entry(100, 100, VSPORT_PVLAN_TYPE_PROMISC)}));
  EXPECT_STATUS(QEL_BUSY, VSDVS_ClearGlobProp("workload", VSPROP_PVLAN_MAP, "", 1));
  EXPECT_EQ(bytes_of(sample_map()), raw_property("workload", nullptr, VSPROP_PVLAN_MAP));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearPortVLANPolicy("workload", "100"));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearGlobProp("workload", VSPROP_PVLAN_MAP, "", 1));
  EXPECT_EQ("", raw_property("workload", nullptr, VSPROP_PVLAN_MAP));
}

TEST_F(PortPolicies, refused_mac_learning_of_a_switch) {
  VSPropMACLearning learning{};
  VSPropMACLearning sample{};
  sample.macLimit = 17;
  sample.agingTime = 1000001;
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetMACLearning("workload", &sample));
  sample.agingTime = 1;
  sample.reserved = 1;
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetMACLearning("workload", &sample));
  sample.reserved = 0;
  sample.macLimit = 1048577;
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, VSDVS_SetMACLearning("workload", &sample));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetMACLearning("workload", nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetMACLearning("workload", nullptr));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_GetMACLearning("none", &learning));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_ClearMACLearning("none"));
  ASSERT_STATUS(QEL_OK, VSDVS_GetMACLearning("workload", &learning));
  EXPECT_EQ(600u, unsigned{learning.agingTime});
}

TEST_F(PortPolicies, mac_learning_of_a_port_is_part_of_its_mac_management) {
  VSPMACManagement management{0, learning_policy(1, 1, 9, VSPORT_MAC_LEARNING_LIMIT_POLICY_DROP)};
  ASSERT_STATUS(QEL_OK, set_raw_property("workload", "100", VSPROP_PORT_MAC_MANAGEMENT, bytes_of(management)));
  VSPMACLearning const sample = learning_policy(1, 2, 10, VSPORT_MAC_LEARNING_LIMIT_POLICY_DROP);
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortMACLearning("workload", "100", &sample));
  // What the call does not know of stays as it was.
  EXPECT_EQ(std::string(1, '\0') + bytes_of(sample), raw_property("workload", "100", VSPROP_PORT_MAC_MANAGEMENT));
  VSPMACLearning const too_many = learning_policy(1, 0, 4097, 0);
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, VSDVS_SetPortMACLearning("workload", "100", &too_many));
  VSPMACLearning const unknown = learning_policy(1, 0, 1, 2);
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetPortMACLearning("workload", "100", &unknown));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetPortMACLearning("workload", "100", nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetPortMACLearning("workload", "100", nullptr));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_SetPortMACLearning("workload", "none", &sample));
}

TEST_F(PortPolicies, refused_calls_of_a_single_byte) {
  struct Case {
    char const *name;
    int (*set)(char const *, qel_Bool);
    int (*get)(char const *, qel_Bool *);
  };
  Case const cases[] = {
      {VSPROP_SWITCH_STATIC_MAC_ALLOW, VSDVS_SetStaticMACAllow, VSDVS_GetStaticMACAllow},
      {VSPROP_SWITCH_MAC_LEARN_STATIC, VSDVS_SetLearnStatic, VSDVS_GetLearnStatic},
  };
  for (Case const &c : cases) {
    SCOPED_TRACE(c.name);
    qel_Bool byte = 9;
    EXPECT_STATUS(QEL_BAD_PARAM, c.get("workload", nullptr));
    EXPECT_STATUS(QEL_NOT_FOUND, c.set("none", 1));
    EXPECT_STATUS(QEL_NOT_FOUND, c.get("none", &byte));
    EXPECT_EQ(0, byte);
  }
}

TEST_F(PortPolicies, a_switch_without_settings_has_those_of_all_switches) {
  VSMACLearningGlobalProps settings{30, 40, 1, 0};
  EXPECT_OK_ELSEWHERE(VSQEL_SetGlobalMACLearningProps(&settings));
  VSPropMACLearning own{};
  own.agingTime = 50;
  own.macLimit = 60;
  ASSERT_STATUS(QEL_OK, VSDVS_SetMACLearning("management", &own));
  ASSERT_STATUS(QEL_OK, VSDVS_SetLearnStatic("management", 0));
  VSPropMACLearning learning{};
  ASSERT_STATUS(QEL_OK, VSDVS_GetMACLearning("workload", &learning));
  EXPECT_EQ(30u, unsigned{learning.agingTime});
  EXPECT_EQ(40u, learning.macLimit);
  ASSERT_STATUS(QEL_OK, VSDVS_GetMACLearning("management", &learning));
  EXPECT_EQ(bytes_of(own), bytes_of(learning));
  qel_Bool byte = 9;
  ASSERT_STATUS(QEL_OK, VSDVS_GetLearnStatic("workload", &byte));
  EXPECT_EQ(1, byte);
  ASSERT_STATUS(QEL_OK, VSDVS_GetLearnStatic("management", &byte));
  EXPECT_EQ(0, byte);
  ASSERT_STATUS(QEL_OK, VSDVS_GetStaticMACAllow("workload", &byte));
  EXPECT_EQ(0, byte);
}

TEST_F(PortPolicies, refused_nested_tagging) {
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetPortNestedVLANTagging("workload", "100", nullptr));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_SetPortNestedVLANTagging("workload", "none", 1));
}

TEST_F(PortPolicies, security_and_what_is_in_force) {
  VSPropSecurity security{77};
  VSPropSecurity const sample{VSPORT_SECURITY_DISALLOW_PROMISC | VSPORT_SECURITY_DISALLOW_FORGED_SRC};
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortSecurity("workload", "100", &sample));
  VSPropSecurity const unknown{8};
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetPortSecurity("workload", "100", &unknown));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetPortSecurity("workload", "100", nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetPortSecurity("workload", "100", nullptr));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_GetPortSecurity("workload", "none", &security));

  // MAC management refuses changed addresses, too. Ports without a client and those of uplinks are not listed.
  VSPMACManagement const management{0, learning_policy(0, 0, 1, 0)};
  ASSERT_STATUS(QEL_OK, set_raw_property("workload", "101", VSPROP_PORT_MAC_MANAGEMENT, bytes_of(management)));
  std::map<qel_SwitchPortID, qel_uint32> const expected{
      {port_number("workload", "100"), sample.flags},
      {port_number("workload", "101"), VSPORT_SECURITY_DISALLOW_MAC_CHANGE},
      {port_number("workload", "102"), 0},
  };
  EXPECT_EQ(expected, security_in_force("portset-2"));
  Returned<VSL2Security> none;
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetL2Security("none", &none));
  EXPECT_EQ(nullptr, none.record);
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetL2Security("workload", nullptr));
}

TEST_F(PortPolicies, refused_extra_ethernet_filters) {
  VSExtraEthFilter sample = sample_filter();
  EXPECT_STATUS(QEL_OK, VSDVS_SetExtraEthFilter("workload", "100", &sample));
  sample.multicastAddrs[31][0] = 0x02;
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetExtraEthFilter("workload", "100", &sample));
  sample.numMulticastAddrs = 31;
  EXPECT_STATUS(QEL_OK, VSDVS_SetExtraEthFilter("workload", "100", &sample));
  sample.numMulticastAddrs = 33;
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, VSDVS_SetExtraEthFilter("workload", "100", &sample));
  sample = sample_filter();
  sample.flags = 64;
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetExtraEthFilter("workload", "100", &sample));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetExtraEthFilter("workload", "100", nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetExtraEthFilter("workload", "100", nullptr));
}

TEST_F(PortPolicies, a_sink_port_has_a_flag_of_its_filter) {
  qel_Bool enabled = 9;
  ASSERT_STATUS(QEL_OK, VSDVS_IsSinkPortEnabled("workload", "100", &enabled));
  EXPECT_EQ(0, enabled);
  EXPECT_EQ(0, sink_ports("workload"));
  VSExtraEthFilter sample = sample_filter();
  ASSERT_STATUS(QEL_OK, VSDVS_SetExtraEthFilter("workload", "100", &sample));
  EXPECT_OK_ELSEWHERE(VSDVS_ConfigureSinkPort("workload", "100", 48));
  ASSERT_STATUS(QEL_OK, VSDVS_IsSinkPortEnabled("workload", "100", &enabled));
  EXPECT_EQ(1, enabled);
  EXPECT_EQ(1, sink_ports("workload"));
  EXPECT_EQ(0, sink_ports("management"));
  VSExtraEthFilter expected = sample;
  expected.flags |= QEL_ETH_FILTER_SINK;
  EXPECT_EQ(bytes_of(expected), raw_property("workload", "100", VSPROP_PORT_EXTRA_ETH_FRP));
  ASSERT_STATUS(QEL_OK, VSDVS_ConfigureSinkPort("workload", "100", 0));
  EXPECT_EQ(bytes_of(sample), raw_property("workload", "100", VSPROP_PORT_EXTRA_ETH_FRP));
  ASSERT_STATUS(QEL_OK, VSDVS_ConfigureSinkPort("workload", "100", 1));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearExtraEthFilter("workload", "100"));
  EXPECT_EQ(0, sink_ports("workload"));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_IsSinkPortEnabled("workload", "100", nullptr));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_ConfigureSinkPort("workload", "none", 1));
}

TEST_F(PortPolicies, refused_instruction_types_of_rcf_programs) {
  auto const set = [](char const *alias, int type) {
    return VSDVS_SetRCFType(alias, static_cast<qbr_RCFInsnType>(type));
  };
  qbr_RCFInsnType type = static_cast<qbr_RCFInsnType>(9);
  EXPECT_STATUS(QEL_BAD_PARAM, set("workload", QBR_RCF_INSN_TYPE_MAX));
  EXPECT_STATUS(QEL_BAD_PARAM, set("workload", -1));
  EXPECT_STATUS(QEL_NOT_FOUND, set("none", 0));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetRCFType("workload", nullptr));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_GetRCFType("none", &type));
  EXPECT_EQ(0, type);
}

TEST_F(PortPolicies, settings_that_need_each_other_come_back_from_an_image) {
  ASSERT_STATUS(QEL_OK, set_map(sample_map()));
  ASSERT_STATUS(QEL_OK, set_vlan("100", 101, 0, false, true));
  std::string table = bytes_of(qel_uint32{1});
  LSTeamPolicy policy{};
  std::strcpy(policy.name, "gold");
  policy.numActive = 1;
  std::strcpy(policy.uplinkPortName[0], "uplink-a");
  table += bytes_of(policy);
  ASSERT_STATUS(QEL_OK, set_raw_property("workload", nullptr, VSPROP_LS_TEAMING_POLICY, table));
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortLSTeamingPolicy("workload", "100", "gold"));
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortTeamingOverride("workload", "101", "uplink-b"));
  Returned<void> image;
  int length = 0;
  ASSERT_STATUS(QEL_OK, DVSQEL_StateGet(&image, &length));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearPortVLANPolicy("workload", "100"));
  ASSERT_STATUS(QEL_OK, VSDVS_SetPrivateVLANMap("workload", nullptr, 0));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearPortLSTeamingPolicy("workload", "100"));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearLSTeamingPolicy("workload"));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearPortTeamingOverride("workload", "101"));
  ASSERT_STATUS(QEL_OK, DVSQEL_StateInit(image.record, length));
  EXPECT_EQ(bytes_of(sample_map()), raw_property("workload", nullptr, VSPROP_PVLAN_MAP));
  EXPECT_EQ(vlan_policy(VSPORT_VLAN_PVLAN_ENABLED | VSPORT_VLAN_SET_PRIORITY, 101), vlan_policy_of("100"));
  EXPECT_EQ(table, raw_property("workload", nullptr, VSPROP_LS_TEAMING_POLICY));
  EXPECT_EQ("gold", raw_property("workload", "100", VSPROP_PORT_LS_TEAMING_POLICY));
  EXPECT_EQ("uplink-b", raw_property("workload", "101", VSPROP_PORT_TEAMING_OVERRIDE));
}

TEST_F(PortPolicies, a_private_vlan_stays_as_long_as_either_value_of_a_policy_needs_it) {
  ASSERT_STATUS(QEL_OK, set_map(sample_map()));
  std::string const policy = vlan_policy(VSPORT_VLAN_PVLAN_ENABLED, 101);
  std::string const plain = vlan_policy(0, 5);
  auto const set_policy = [](std::string const &value, bool persistent) {
    return VSDVS_SetPortProp("workload", "100", VSPROP_PORT_VLAN, value.data(), static_cast<int>(value.size()), "",
                             persistent);
  };
  ASSERT_STATUS(QEL_OK, set_policy(policy, true));
  ASSERT_STATUS(QEL_OK, set_policy(plain, false));
  EXPECT_STATUS(QEL_BUSY, set_map({})) << "the persistent value names it";
  ASSERT_STATUS(QEL_OK, set_policy(plain, true));
  ASSERT_STATUS(QEL_OK, set_policy(policy, false));
  EXPECT_STATUS(QEL_BUSY, set_map({})) << "the volatile value names it";
  ASSERT_STATUS(QEL_OK, set_policy(plain, true));
  EXPECT_STATUS(QEL_OK, set_map({}));
}

}  // namespace port_policies_test
