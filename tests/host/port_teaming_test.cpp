// Teaming of ports and of logical switches.
#include "property_test.hpp"

namespace port_teaming_test {

VSTeamPolicy sample_policy() {
  VSTeamPolicy policy;
  std::memset(&policy, 0x5a, sizeof policy);
  policy.loadBalance = TEAM_FRP_TYPE_FO_EXPLICIT;
  policy.percentError = 0;
  policy.numActive = 1;
  policy.numStandby = 1;
  std::strcpy(policy.uplinkPortName[0], "uplink-b");
  std::strcpy(policy.uplinkPortName[1], "uplink-a");
  return policy;
}

LSTeamPolicy named_policy(char const *name, char const *uplink) {
  LSTeamPolicy policy;
  std::memset(&policy, 0x5a, sizeof policy);
  std::strcpy(policy.name, name);
  policy.loadBalance = TEAM_FRP_TYPE_LB_SRCMAC;
  policy.numActive = 1;
  policy.numStandby = 0;
  std::strcpy(policy.uplinkPortName[0], uplink);
  return policy;
}

std::string table_of(std::vector<LSTeamPolicy> const &policies) {
  auto const count = static_cast<qel_uint32>(policies.size());
  std::string value = bytes_of(count);
  for (LSTeamPolicy const &policy : policies)
    value += bytes_of(policy);
  return value;
}

int set_table(char const *alias, std::string const &table) {
  return VSDVS_SetLSTeamingPolicy(alias, reinterpret_cast<LSTeamTable const *>(table.data()));
}

std::string override_of(char const *dvport_id) {
  char uplink[82] = "before";
  EXPECT_STATUS(QEL_OK, VSDVS_GetPortTeamingOverride("workload", dvport_id, uplink));
  return uplink;
}

std::string chosen_policy(char const *dvport_id) {
  char name[137] = "before";
  EXPECT_STATUS(QEL_OK, VSDVS_GetPortLSTeamingPolicyName("workload", dvport_id, name));
  return name;
}

std::string policy_in_force(qel_SwitchPortID port) {
  char name[137] = "before";
  EXPECT_STATUS(QEL_OK, VSQEL_GetPortLSTeamingPolicyName(port, name));
  return name;
}

class PortTeaming : public HostTest {};

TEST_F(PortTeaming, a_policy_of_the_port_goes_before_that_of_the_switch) {
  VSTeamPolicy const policy = sample_policy();
  EXPECT_OK_ELSEWHERE(VSDVS_SetPortTeamingPolicy("workload", "100", &policy));
  VSTeamPolicy back{};
  ASSERT_STATUS(QEL_OK, VSDVS_GetPortTeamingPolicy("workload", "100", &back));
  EXPECT_EQ(bytes_of(policy), bytes_of(back));
  EXPECT_EQ(bytes_of(policy), raw_property("workload", "100", VSPROP_PORT_TEAMING_POLICY));

  // Any other port has that of the switch.
  VSTeamPolicy of_switch = sample_policy();
  of_switch.loadBalance = TEAM_FRP_TYPE_LB_IP;
  ASSERT_STATUS(QEL_OK, VSDVS_SetTeamingPolicy("workload", &of_switch));
  ASSERT_STATUS(QEL_OK, VSDVS_GetPortTeamingPolicy("workload", "101", &back));
  EXPECT_EQ(bytes_of(of_switch), bytes_of(back));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearPortTeamingPolicy("workload", "100"));
  ASSERT_STATUS(QEL_OK, VSDVS_GetPortTeamingPolicy("workload", "100", &back));
  EXPECT_EQ(bytes_of(of_switch), bytes_of(back));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearPortTeamingPolicy("workload", "100"));
}

TEST_F(PortTeaming, a_switch_is_named_by_its_identifier) {
  VSTeamPolicy const policy = sample_policy();
  ASSERT_STATUS(QEL_OK, VSDVS_SetTeamingPolicy("workload", &policy));
  VSTeamPolicy back{};
  ASSERT_STATUS(QEL_OK, VSDVS_GetTeamingPolicyFromDVSID("776f726b-6c6f-6164-0000-000000000002", &back));
  EXPECT_EQ(bytes_of(policy), bytes_of(back));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_GetTeamingPolicyFromDVSID("workload", &back));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetTeamingPolicyFromDVSID(nullptr, &back));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetTeamingPolicyFromDVSID("workload", nullptr));
  EXPECT_STATUS(QEL_NAME_TOO_LONG, VSDVS_GetTeamingPolicyFromDVSID(std::string(64, 'i').c_str(), &back));
}

TEST_F(PortTeaming, refused_policies) {
  VSTeamPolicy policy = sample_policy();
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_SetPortTeamingPolicy("workload", "none", &policy));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_SetPortTeamingPolicy("management", "1", &policy));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetPortTeamingPolicy("workload", "100", nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetPortTeamingPolicy("workload", nullptr, &policy));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetPortTeamingPolicy("workload", "100", nullptr));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_ClearPortTeamingPolicy("workload", "none"));
  policy.numActive = 33;
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, VSDVS_SetPortTeamingPolicy("workload", "100", &policy));
  EXPECT_STATUS(QEL_BAD_PARAM, set_raw_property("workload", "100", VSPROP_PORT_TEAMING_POLICY, "short"));
}

TEST_F(PortTeaming, override_ties_a_port_to_an_uplink) {
  EXPECT_EQ("", override_of("100"));
  EXPECT_OK_ELSEWHERE(VSDVS_SetPortTeamingOverride("workload", "100", "uplink-b"));
  EXPECT_EQ("uplink-b", override_of("100"));
  EXPECT_EQ("", override_of("101"));
  EXPECT_EQ("uplink-b", raw_property("workload", "100", VSPROP_PORT_TEAMING_OVERRIDE));
  // A C program writes its whole array.
  ASSERT_STATUS(QEL_OK, set_raw_property("workload", "100", VSPROP_PORT_TEAMING_OVERRIDE,
                                         std::string("uplink-a").append(73, '\0')));
  EXPECT_EQ("uplink-a", override_of("100"));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_SetPortTeamingOverride("workload", "100", "nic1"));
  EXPECT_STATUS(QEL_INVALID_NAME, VSDVS_SetPortTeamingOverride("workload", "100", ""));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetPortTeamingOverride("workload", "100", nullptr));
  EXPECT_STATUS(QEL_NAME_TOO_LONG, VSDVS_SetPortTeamingOverride("workload", "100", std::string(81, 'u').c_str()));
  EXPECT_STATUS(QEL_BAD_PARAM,
                set_raw_property("workload", "100", VSPROP_PORT_TEAMING_OVERRIDE, std::string("uplink-a\0x", 10)));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetPortTeamingOverride("workload", "100", nullptr));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearPortTeamingOverride("workload", "100"));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearPortTeamingOverride("workload", "100"));
  EXPECT_EQ("", override_of("100"));
}

TEST_F(PortTeaming, an_uplink_port_that_a_policy_names_stays) {
  VSTeamPolicy policy = sample_policy();
  policy.numStandby = 0;
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortTeamingPolicy("workload", "100", &policy));
  EXPECT_STATUS(QEL_BUSY, VSDVS_RemoveSwitchUplinkPort("workload", "uplink-b"));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearPortTeamingPolicy("workload", "100"));
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortTeamingOverride("workload", "100", "uplink-b"));
  EXPECT_STATUS(QEL_BUSY, VSDVS_RemoveSwitchUplinkPort("workload", "uplink-b"));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearPortTeamingOverride("workload", "100"));
  ASSERT_STATUS(QEL_OK, set_table("workload", table_of({named_policy("gold", "uplink-b")})));
  EXPECT_STATUS(QEL_BUSY, VSDVS_ClearSwitchUplinkPorts("workload"));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearLSTeamingPolicy("workload"));
  EXPECT_STATUS(QEL_OK, VSDVS_RemoveSwitchUplinkPort("workload", "uplink-b"));
}

TEST_F(PortTeaming, refused_questions_about_logical_switch_policies) {
  Returned<LSTeamTable> table;
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_GetLSTeamingPolicyTable("none", &table));
  EXPECT_EQ(nullptr, table.record);
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetLSTeamingPolicyTable("workload", nullptr));
}

TEST_F(PortTeaming, refused_logical_switch_policies) {
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetLSTeamingPolicy("workload", nullptr));
  EXPECT_STATUS(QEL_NOT_FOUND, set_table("none", table_of({})));
  // From the header alone: there is nothing behind it.
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, set_table("workload", bytes_of(qel_uint32{129})));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, set_table("workload", bytes_of(qel_uint32{0xffffffff})));
  LSTeamPolicy policy = named_policy("gold", "uplink-a");
  EXPECT_STATUS(QEL_EXISTS, set_table("workload", table_of({policy, policy})));
  EXPECT_STATUS(QEL_INVALID_NAME, set_table("workload", table_of({named_policy("", "uplink-a")})));
  EXPECT_STATUS(QEL_NOT_FOUND, set_table("workload", table_of({policy, named_policy("silver", "none")})));
  std::memset(policy.name, 'n', sizeof policy.name);
  EXPECT_STATUS(QEL_NAME_TOO_LONG, set_table("workload", table_of({policy})));
  policy = named_policy("gold", "uplink-a");
  policy.numStandby = 32;
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, set_table("workload", table_of({policy})));
  policy = named_policy("gold", "uplink-a");
  policy.loadBalance = 6;
  EXPECT_STATUS(QEL_BAD_PARAM, set_table("workload", table_of({policy})));
  EXPECT_STATUS(QEL_BAD_PARAM,
                set_raw_property("workload", nullptr, VSPROP_LS_TEAMING_POLICY, table_of({policy}) + "x"));
  EXPECT_EQ(bytes_of(qel_uint32{0}), raw_property("workload", nullptr, VSPROP_LS_TEAMING_POLICY));
}

TEST_F(PortTeaming, a_chosen_policy_is_in_force_while_the_switch_has_it) {
  qel_SwitchPortID const port = port_number("workload", "100");
  EXPECT_EQ("", chosen_policy("100"));
  EXPECT_EQ("", policy_in_force(port));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_SetPortLSTeamingPolicy("workload", "100", "gold"));
  ASSERT_STATUS(QEL_OK, set_table("workload", table_of({named_policy("gold", "uplink-a")})));
  EXPECT_OK_ELSEWHERE(VSDVS_SetPortLSTeamingPolicy("workload", "100", "gold"));
  EXPECT_EQ("gold", chosen_policy("100"));
  EXPECT_EQ("gold", policy_in_force(port));
  EXPECT_EQ("gold", raw_property("workload", "100", VSPROP_PORT_LS_TEAMING_POLICY));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearLSTeamingPolicy("workload"));
  EXPECT_EQ("gold", chosen_policy("100"));
  EXPECT_EQ("", policy_in_force(port));
  ASSERT_STATUS(QEL_OK, set_table("workload", table_of({named_policy("gold", "uplink-b")})));
  EXPECT_EQ("gold", policy_in_force(port));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearPortLSTeamingPolicy("workload", "100"));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearPortLSTeamingPolicy("workload", "100"));
  EXPECT_EQ("", chosen_policy("100"));
  EXPECT_EQ("", policy_in_force(port));
  char name[137];
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetPortLSTeamingPolicyName(0, name));
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetPortLSTeamingPolicyName(0xffffffff, name));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetPortLSTeamingPolicyName(port, nullptr));
  EXPECT_STATUS(QEL_INVALID_NAME, VSDVS_SetPortLSTeamingPolicy("workload", "100", ""));
  EXPECT_STATUS(QEL_NAME_TOO_LONG, VSDVS_SetPortLSTeamingPolicy("workload", "100", std::string(136, 'n').c_str()));
}

TEST_F(PortTeaming, the_running_switch_leaves_out_uplink_ports_that_are_gone) {
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("workload", "nic3"));
  std::string const persistent = [] {
    std::vector<char> room(8192);
    HNQQuery query{static_cast<int>(room.size()), room.data()};
    EXPECT_STATUS(QEL_OK, VSDVS_GetHostProp("workload", QEL_HNQPROP_HOST_UPLINKPORTS, &query, "", 1));
    return std::string(room.data(), static_cast<std::size_t>(query.propLen));
  }();
  // The uplink port "extra" lasts until the next boot only; the policy that names it lasts longer.
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("workload", "extra"));
  std::vector<char> room(8192);
  HNQQuery query{static_cast<int>(room.size()), room.data()};
  ASSERT_STATUS(QEL_OK, VSDVS_GetHostProp("workload", QEL_HNQPROP_HOST_UPLINKPORTS, &query, "", 0));
  ASSERT_STATUS(QEL_OK, VSDVS_SetHostProp("workload", QEL_HNQPROP_HOST_UPLINKPORTS, persistent.data(),
                                          static_cast<int>(persistent.size()), "", 1));
  ASSERT_STATUS(QEL_OK, VSDVS_SetHostProp("workload", QEL_HNQPROP_HOST_UPLINKPORTS, room.data(), query.propLen, "", 0));
  LSTeamPolicy policy = named_policy("gold", "extra");
  policy.numActive = 2;
  policy.numStandby = 1;
  std::strcpy(policy.uplinkPortName[1], "uplink-a");
  std::strcpy(policy.uplinkPortName[2], "nic3");
  ASSERT_STATUS(QEL_OK, set_table("workload", table_of({policy})));
  char switch_name[] = "workload";
  Returned<LSTeamTable> table;
  ASSERT_STATUS(QEL_OK, VSQEL_GetLSTeamingPolicyTable(switch_name, &table));
  EXPECT_EQ(2u, table->lsTeamPolicy[0].numActive);
  ASSERT_STATUS(QEL_OK, boot());
  ASSERT_STATUS(QEL_OK, VSQEL_GetLSTeamingPolicyTable(switch_name, &table));
  ASSERT_EQ(1u, table->numLSTeam);
  LSTeamPolicy running;
  std::memcpy(&running, table.record + 1, sizeof running);
  EXPECT_STREQ("gold", running.name);
  EXPECT_EQ(1u, running.numActive);
  EXPECT_EQ(1u, running.numStandby);
  EXPECT_STREQ("uplink-a", running.uplinkPortName[0]);
  EXPECT_STREQ("nic3", running.uplinkPortName[1]);
  EXPECT_STREQ("", running.uplinkPortName[2]);
  EXPECT_EQ(table_of({policy}), raw_property("workload", nullptr, VSPROP_LS_TEAMING_POLICY));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetLSTeamingPolicyTable(nullptr, &table));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetLSTeamingPolicyTable(switch_name, nullptr));
}

TEST_F(PortTeaming, refused_to_transmit_on_an_uplink_always) {
  qel_Bool enabled = 9;
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetTxUplinkAlways("workload", "100", nullptr));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_GetTxUplinkAlways("workload", "none", &enabled));
  EXPECT_EQ(0, enabled);
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_SetTxUplinkAlways("none", "100", 1));
  EXPECT_STATUS(QEL_BAD_PARAM, set_raw_property("workload", "100", VSPROP_PORT_TX_UPLINK, "11"));
}

}  // namespace port_teaming_test
