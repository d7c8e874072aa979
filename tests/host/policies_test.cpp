// The typed policies of a switch: teaming and multicast filtering, as views of their properties.
#include "host_test.hpp"

namespace policies_test {

VSTeamPolicy policy_of(char const *alias) {
  VSTeamPolicy policy;
  EXPECT_STATUS(QEL_OK, VSDVS_GetTeamingPolicy(alias, &policy));
  return policy;
}

// A policy with different bytes everywhere that matters, and some where nothing does.
VSTeamPolicy sample_policy() {
  VSTeamPolicy policy;
  std::memset(&policy, 0x5a, sizeof policy);
  policy.loadBalance = TEAM_FRP_TYPE_LB_SRCMAC;
  policy.linkCriteria = TEAM_FRP_CRIT_LINK_SPEED_GTE;
  policy.percentError = 100;
  policy.flags = TEAM_FRP_FLAG_REVERSE;
  policy.numActive = 1;
  policy.numStandby = 1;
  std::strcpy(policy.uplinkPortName[0], "uplink-b");
  std::strcpy(policy.uplinkPortName[1], "uplink-a");
  return policy;
}

int raw_number(char const *alias, char const *name) {
  unsigned char value[4];
  HNQQuery query{sizeof value, reinterpret_cast<char *>(value)};
  EXPECT_STATUS(QEL_OK, VSDVS_GetGlobProp(alias, name, &query, nullptr, 0));
  EXPECT_EQ(4, query.propLen);
  return value[0] | value[1] << 8 | value[2] << 16 | value[3] << 24;
}

int set_filter_mode(char const *alias, int mode) {
  return VSDVS_SetMcastFilterMode(alias, static_cast<VSMcastFilterMode>(mode));
}

class Policies : public HostTest {};

TEST_F(Policies, default_teaming_is_all_uplinks_active) {
  VSTeamPolicy const policy = policy_of("workload");
  EXPECT_EQ(static_cast<qel_uint32>(TEAM_FRP_TYPE_LB_SRCID), policy.loadBalance);
  EXPECT_EQ(static_cast<qel_uint32>(TEAM_FRP_CRIT_LINK_STATE), policy.linkCriteria);
  EXPECT_EQ(static_cast<qel_uint32>(TEAM_FRP_FLAG_NOTIFY_SWITCH), policy.flags);
  EXPECT_EQ(2u, policy.numActive);
  EXPECT_EQ(0u, policy.numStandby);
  EXPECT_STREQ("uplink-a", policy.uplinkPortName[0]);
  EXPECT_STREQ("uplink-b", policy.uplinkPortName[1]);
  EXPECT_STREQ("", policy.uplinkPortName[2]);
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("workload", "nic3"));
  EXPECT_STREQ("nic3", policy_of("workload").uplinkPortName[2]);
}

TEST_F(Policies, refused_teaming_policies) {
  struct Case {
    char const *what;
    int status;
    void (*change)(VSTeamPolicy &);
  };
  Case const cases[] = {
      {"too many active", QEL_LIMIT_EXCEEDED, [](VSTeamPolicy &p) { p.numActive = 33; }},
      {"too many together", QEL_LIMIT_EXCEEDED, [](VSTeamPolicy &p) { p.numStandby = 32; }},
      {"counts that wrap", QEL_LIMIT_EXCEEDED, [](VSTeamPolicy &p) { p.numStandby = 0xffffffff; }},
      {"unknown load balancing", QEL_BAD_PARAM, [](VSTeamPolicy &p) { p.loadBalance = 6; }},
      {"more than all errors", QEL_BAD_PARAM, [](VSTeamPolicy &p) { p.percentError = 101; }},
      {"a name twice", QEL_BAD_PARAM, [](VSTeamPolicy &p) { std::strcpy(p.uplinkPortName[1], "uplink-b"); }},
      {"unknown uplink port", QEL_NOT_FOUND, [](VSTeamPolicy &p) { std::strcpy(p.uplinkPortName[1], "none"); }},
      {"the NIC's name", QEL_NOT_FOUND, [](VSTeamPolicy &p) { std::strcpy(p.uplinkPortName[1], "nic1"); }},
      {"a full slot", QEL_NOT_FOUND, [](VSTeamPolicy &p) { std::memset(p.uplinkPortName[1], 'u', 81); }},
  };
  for (Case const &c : cases) {
    SCOPED_TRACE(c.what);
    VSTeamPolicy policy = sample_policy();
    c.change(policy);
    EXPECT_STATUS(c.status, VSDVS_SetTeamingPolicy("workload", &policy));
    EXPECT_STATUS(c.status, VSDVS_SetGlobProp("workload", VSPROP_SWITCH_TEAMING, &policy, sizeof policy, "", 1));
  }
  VSTeamPolicy const policy = sample_policy();
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetTeamingPolicy("workload", nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetTeamingPolicy(nullptr, &policy));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_SetTeamingPolicy("none", &policy));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetGlobProp("workload", VSPROP_SWITCH_TEAMING, &policy, 2615, "", 1));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetTeamingPolicy("workload", nullptr));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_ClearTeamingPolicy("none"));
  EXPECT_EQ(2u, policy_of("workload").numActive);
}

TEST_F(Policies, a_raw_write_has_the_rules_of_the_typed_one) {
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetGlobProp("workload", VSPROP_MTU, "\x01\0\0\0", 4, "", 1));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetGlobProp("workload", VSPROP_MTU, "\xdc\x05", 2, "", 1));
}

TEST_F(Policies, refused_multicast_filter_modes) {
  VSMcastFilterMode mode = static_cast<VSMcastFilterMode>(9);
  EXPECT_STATUS(QEL_BAD_PARAM, set_filter_mode("workload", 4));
  EXPECT_STATUS(QEL_BAD_PARAM, set_filter_mode("workload", -1));
  EXPECT_STATUS(QEL_NOT_FOUND, set_filter_mode("none", 0));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetMcastFilterMode("workload", nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetMcastFilterMode("workload", nullptr));
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetMcastFilterMode("none", &mode));
  EXPECT_EQ(0, mode);
}

TEST_F(Policies, the_names_of_a_switch_are_read_only_properties) {
  char value[16];
  HNQQuery query{sizeof value, value};
  ASSERT_STATUS(QEL_OK, VSDVS_GetGlobProp("workload", QEL_HNQPROP_SWITCH_ALIAS, &query, "", 0));
  EXPECT_EQ("workload", std::string(value, static_cast<std::size_t>(query.propLen)));
  EXPECT_EQ(DVS_VERSION_70, raw_number("workload", QEL_HNQPROP_SWITCH_VERSION));
  EXPECT_STATUS(QEL_READ_ONLY, VSDVS_SetGlobProp("workload", QEL_HNQPROP_SWITCH_ALIAS, "x", 1, "", 1));
  EXPECT_STATUS(QEL_READ_ONLY, VSDVS_ClearGlobProp("workload", QEL_HNQPROP_SWITCH_ALIAS, "", 1));
}

}  // namespace policies_test
