// The properties that every switch, host and port has: reports, and settings without typed calls.
#include "property_test.hpp"

namespace common_properties_test {

std::string host_property(char const *alias, char const *name) {
  char value[256];
  HNQQuery query{sizeof value, value};
  EXPECT_STATUS(QEL_OK, VSDVS_GetHostProp(alias, name, &query, nullptr, 0));
  return {value, static_cast<std::size_t>(query.propLen)};
}

std::string number(int value) {
  return bytes_of(value);
}

qel_HNQPortStatus status_of(char const *dvport_id) {
  qel_HNQPortStatus status{};
  std::string const value = raw_property("workload", dvport_id, QEL_HNQPROP_PORT_STATUS);
  EXPECT_EQ(sizeof status, value.size());
  std::memcpy(&status, value.data(), std::min(sizeof status, value.size()));
  return status;
}

int set_link(char const *uplink, int state) {
  return VSQEL_SetUplinkAdminLinkState("workload", uplink, static_cast<qel_LinkState>(state));
}

// With zeros in the record's padding, which is compared, too.
qel_PortsetResPoolCfg pool_settings(qel_uint32 shares, int limit, int reservation, qel_uint8 tag, int depth) {
  qel_PortsetResPoolCfg settings;
  std::memset(&settings, 0, sizeof settings);
  settings.shares = shares;
  settings.limit = limit;
  settings.reservation = reservation;
  settings.pTag = tag;
  settings.queueDepth = depth;
  return settings;
}

class CommonProperties : public HostTest {};

TEST_F(CommonProperties, the_status_of_a_switch_follows_its_uplinks) {
  EXPECT_EQ(number(QEL_HNQ_STATUS_OK), host_property("workload", QEL_HNQPROP_HOST_STATUS));
  ASSERT_STATUS(QEL_OK, set_link("uplink-a", QEL_LINK_STATE_DOWN));
  EXPECT_EQ(number(QEL_HNQ_STATUS_DEGRADED), host_property("workload", QEL_HNQPROP_HOST_STATUS));
  ASSERT_STATUS(QEL_OK, set_link("uplink-b", QEL_LINK_STATE_DOWN));
  EXPECT_EQ(number(QEL_HNQ_STATUS_DOWN), host_property("workload", QEL_HNQPROP_HOST_STATUS));
  EXPECT_STATUS(QEL_READ_ONLY, VSDVS_SetHostProp("workload", QEL_HNQPROP_HOST_STATUS, "\0\0\0\0", 4, "", 1));
  EXPECT_EQ("portset-2", host_property("workload", QEL_HNQPROP_HOST_PROXY));
}

TEST_F(CommonProperties, the_uplink_ports_of_a_switch_are_reported) {
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveSwitchUplinkPort("workload", "uplink-a"));
  std::string const expected = number(1) + std::string("uplink-b").append(73, '\0');
  EXPECT_EQ(expected, raw_property("workload", nullptr, QEL_HNQPROP_SWITCH_UPLINKPORTS));
}

TEST_F(CommonProperties, the_status_of_a_port_follows_its_client_and_its_block) {
  qel_HNQPortStatus status = status_of("100");
  EXPECT_EQ(3u, qel_uint64{status.flags});
  EXPECT_EQ(port_number("workload", "100"), qel_uint32{status.portID});
  EXPECT_STREQ("web0.eth0", status.displayStr);
  EXPECT_EQ(0u, qel_uint64{status_of("103").flags});
  ASSERT_STATUS(QEL_OK, set_raw_property("workload", "100", QEL_HNQPROP_PORT_BLOCK, "\1"));
  status = status_of("100");
  EXPECT_EQ(static_cast<qel_uint64>(QEL_HNQPORT_STATUS_INUSE | QEL_HNQPORT_STATUS_BLOCKED), qel_uint64{status.flags});
  EXPECT_EQ("web0.eth0", raw_property("workload", "100", QEL_HNQPROP_PORT_VNIC_CONNECTEE));
  EXPECT_EQ("", raw_property("workload", "103", QEL_HNQPROP_PORT_VNIC_CONNECTEE));
  EXPECT_EQ("\1", raw_property("workload", "103", QEL_HNQPROP_PORT_PERSIST));
  EXPECT_EQ(number(DVSPORT_TYPE_ACTIVE), raw_property("workload", "100", QEL_HNQPROP_PORT_TYPE));
  EXPECT_EQ(number(DVSPORT_TYPE_SHADOW), raw_property("workload", "103", QEL_HNQPROP_PORT_TYPE));
}

TEST_F(CommonProperties, the_link_of_a_port_follows_its_nic) {
  qel_LinkStatus const down{static_cast<qel_LinkState>(QEL_LINK_STATE_DOWN), 0, static_cast<qel_LinkDuplex>(0)};
  qel_LinkStatus const of_client{static_cast<qel_LinkState>(QEL_LINK_STATE_UP), 10000,
                                 static_cast<qel_LinkDuplex>(QEL_LINK_DUPLEX_FULL)};
  qel_LinkStatus of_nic = of_client;
  of_nic.speed = 25000;
  EXPECT_EQ(bytes_of(of_client), raw_property("workload", "100", QEL_HNQPROP_PORT_LINK_STATUS));
  EXPECT_EQ(bytes_of(down), raw_property("workload", "103", QEL_HNQPROP_PORT_LINK_STATUS));
  EXPECT_EQ(bytes_of(of_nic), raw_property("workload", "uplink-2", QEL_HNQPROP_PORT_LINK_STATUS));
  ASSERT_STATUS(QEL_OK, set_link("uplink-b", QEL_LINK_STATE_DOWN));
  EXPECT_EQ(bytes_of(down), raw_property("workload", "uplink-2", QEL_HNQPROP_PORT_LINK_STATUS));
}

TEST_F(CommonProperties, the_vlan_report_follows_the_vlan_policy) {
  qel_HNQPortVIDRange ranges[] = {{1, 10}, {20, 20}};
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortVLANPolicy("workload", "100", 4095, 255, 1, 0, ranges, 2));
  EXPECT_EQ(bytes_of(qel_HNQPortVlanInfo{4095, 2, {}}) + bytes_of(ranges),
            raw_property("workload", "100", QEL_HNQPROP_PORT_VLAN));
}

TEST_F(CommonProperties, what_a_port_has_counted_and_learned_is_reported) {
  boot_from(R"({"format": 1, "switches": [{"alias": "workload", "switch_id": "i", "ports": [
    {"dvport_id": "p", "mac_learning": {"limit": 1, "at_limit": "drop"}, "learned": [{"mac": "02:00:00:00:00:01"}],
     "counters": {"not_learned_allowed": 18, "not_learned_dropped": 19, "macs_moved": 20,
       "packets_in_unicast": 1, "bytes_in_unicast": 2, "packets_in_multicast": 3, "bytes_in_multicast": 4,
       "packets_in_broadcast": 5, "bytes_in_broadcast": 6, "packets_out_unicast": 7, "bytes_out_unicast": 8,
       "packets_out_multicast": 9, "bytes_out_multicast": 10, "packets_out_broadcast": 11, "bytes_out_broadcast": 12,
       "packets_in_dropped": 13, "packets_out_dropped": 14, "packets_in_exception": 15, "packets_out_exception": 16}},
    {"dvport_id": "q"}]}]})");
  // Packets that were dropped unlearned count among those that were dropped.
  qel_HNQPortStatistics const expected{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13 + 19, 14, 15, 16};
  EXPECT_EQ(bytes_of(expected), raw_property("workload", "p", QEL_HNQPROP_PORT_STATISTICS));
  EXPECT_EQ(bytes_of(qel_HNQPortStatistics{}), raw_property("workload", "q", QEL_HNQPROP_PORT_STATISTICS));

  VSPMACLearningStats typed{};
  ASSERT_STATUS(QEL_OK, VSQEL_GetPortMACLearningStats("workload", "p", &typed));
  VSPMACLearningStats const learned{1, 18, 19, 20};
  EXPECT_EQ(bytes_of(learned), bytes_of(typed));
  EXPECT_EQ(bytes_of(learned), raw_property("workload", "p", VSPROP_PORT_MAC_LEARNING_STATS));
  EXPECT_EQ(bytes_of(VSPMACLearningStats{}), raw_property("workload", "q", VSPROP_PORT_MAC_LEARNING_STATS));

  for (char const *name : {QEL_HNQPROP_PORT_STATISTICS, VSPROP_PORT_MAC_LEARNING_STATS}) {
    EXPECT_STATUS(QEL_READ_ONLY, set_raw_property("workload", "p", name, bytes_of(expected)));
    EXPECT_STATUS(QEL_READ_ONLY, VSDVS_ClearPortProp("workload", "p", name, nullptr, 1));
    EXPECT_STATUS(QEL_BAD_PARAM, set_raw_property("workload", nullptr, name, bytes_of(expected)));
  }
  ASSERT_STATUS(QEL_OK, boot());
  EXPECT_EQ(bytes_of(qel_HNQPortStatistics{}), raw_property("workload", "p", QEL_HNQPROP_PORT_STATISTICS));
  EXPECT_EQ(bytes_of(VSPMACLearningStats{}), raw_property("workload", "p", VSPROP_PORT_MAC_LEARNING_STATS));
}

TEST_F(CommonProperties, settings_have_rules) {
  struct Case {
    char const *name;
    char const *port;
    int status;
    std::string bad;
  };
  OrvPRPTunablesData tunables{{0x02, 0x15, 0x4e, 0, 1, 0}, 2000, 60000, 400, 500};
  Case const cases[] = {
      {QEL_HNQPROP_PORT_RESPOOLS_CFG, "100", QEL_BAD_PARAM, bytes_of(pool_settings(50, 1000, 1001, 7, 0))},
      {QBR_ORV_PRP_TUNABLE_PROP, nullptr, QEL_BAD_PARAM, bytes_of(tunables)},
      {VSPROP_PORT_PRIORITY, "100", QEL_BAD_PARAM, number(8)},
      {QEL_HNQPROP_PORT_QELNIC_VLANID, "100", QEL_BAD_PARAM, number(4096)},
      {VSPROP_PORT_PRIORITY_RETAIN, "100", QEL_BAD_PARAM, "\1\1"},
      {VSPROP_PORT_USER_MCAST_ADDRESSES_OVERRIDE, "100", QEL_BAD_PARAM, ""},
      {QEL_HNQPORT_FORWARD_NOT_READY_BLOCK, "100", QEL_BAD_PARAM, ""},
      {QEL_HNQPROP_PORT_PTALLOWED, "100", QEL_BAD_PARAM, ""},
      {QEL_HNQPROP_PORT_PTALLOWEDRT, "100", QEL_BAD_PARAM, ""},
      {QEL_HNQPROP_PORT_BLOCK, "100", QEL_BAD_PARAM, ""},
      {QEL_HNQPROP_PORT_ALIAS, "100", QEL_NAME_TOO_LONG, std::string(81, 'a')},
      {QEL_HNQPROP_PORT_PORTGROUP, "100", QEL_INVALID_NAME, ""},
      {QEL_HNQPROP_PORT_RESPOOL_ASSOC, "100", QEL_NAME_TOO_LONG, std::string(128, 'a')},
      {VSPROP_SWITCH_FORWARDING_DISABLED, nullptr, QEL_BAD_PARAM, ""},
      {VSPROP_SWITCH_LLSPAN_RX_DISPATCHER, nullptr, QEL_BAD_PARAM, ""},
      {VSPROP_SWITCH_STATUS, nullptr, QEL_BAD_PARAM, number(3)},
      {QEL_HNQPROP_HOST_PROXY_STATE, nullptr, QEL_BAD_PARAM, number(3)},
  };
  for (Case const &c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_STATUS(c.status, set_raw_property("workload", c.port, c.name, c.bad));
  }
}

TEST_F(CommonProperties, the_teaming_of_the_redundancy_protocol_is_a_teaming_policy) {
  VSTeamPolicy policy{};
  policy.numActive = 1;
  std::strcpy(policy.uplinkPortName[0], "none");
  EXPECT_STATUS(QEL_NOT_FOUND, set_raw_property("workload", nullptr, QBR_PRP_LAN_TEAMING_POLICY, bytes_of(policy)));
  std::strcpy(policy.uplinkPortName[0], "uplink-a");
  ASSERT_STATUS(QEL_OK, set_raw_property("workload", nullptr, QBR_PRP_LAN_TEAMING_POLICY, bytes_of(policy)));
  EXPECT_EQ(bytes_of(policy), raw_property("workload", nullptr, QBR_PRP_LAN_TEAMING_POLICY));
  EXPECT_STATUS(QEL_BUSY, VSDVS_RemoveSwitchUplinkPort("workload", "uplink-a"));
}

}  // namespace common_properties_test
