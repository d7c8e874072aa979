// Booting: from descriptions good and bad, and again.
#include "host_test.hpp"

namespace boot_test {

std::string switch_with(std::string const &members) {
  return R"({"format": 1, "switches": [{"alias": "s", "switch_id": "i", )" + members + "}]}";
}

std::string nic_with(std::string const &members) {
  return R"({"format": 1, "physical_nics": [{"name": "n", "mac": "02:00:00:00:00:01", )" + members + "}]}";
}

class Boot : public HostTest {
 protected:
  // The message of the refusal of a description.
  std::string refusal(std::string const &description) {
    boot_from(description);
    testing::internal::CaptureStderr();
    EXPECT_STATUS(QEL_INVALID_METADATA, VSDVS_SetMTU("s", 1500));
    return testing::internal::GetCapturedStderr();
  }

  void expect_refused(std::string const &description, std::string const &message) {
    std::string const actual = refusal(description);
    EXPECT_NE(std::string::npos, actual.find(message)) << actual << "for " << description;
    EXPECT_NE(std::string::npos, actual.find((folder / "init.json").string())) << actual;
  }
};

TEST_F(Boot, the_built_in_host) {
  Returned<VSUplinks> uplinks;
  ASSERT_STATUS(QEL_OK, VSQEL_GetUplinks("workload", &uplinks));
  EXPECT_EQ(2u, uplinks->numEntries);
  EXPECT_EQ(9000u, mtu_of("workload"));
  EXPECT_EQ(1, DVPortExist("management", "1"));
  // It has something to show of what runs: a LAG, and addresses behind ports and uplinks.
  Returned<VSLAGTable> lags;
  ASSERT_STATUS(QEL_OK, VSQEL_GetLAGTable("workload", &lags));
  EXPECT_EQ(1u, lags->numLAGs);
  Returned<VSMACTable> table;
  ASSERT_STATUS(QEL_OK, VSQEL_GetMACTable("workload", static_cast<VSMACAddrType>(VS_MAC_ADDR_TYPE_ALL), &table));
  EXPECT_EQ(5u, table->numEntries);
  Returned<VSMACTable> team;
  ASSERT_STATUS(QEL_OK, VSQEL_GetTeamMACTable("workload", static_cast<VSMACAddrType>(VS_MAC_ADDR_TYPE_ALL), &team));
  EXPECT_EQ(2u, team->numEntries);
  // The fourth NIC is there, and free.
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("management", "nic3"));
  Returned<VSUplinks> more;
  ASSERT_STATUS(QEL_OK, VSQEL_GetUplinks("management", &more));
  EXPECT_EQ(2u, more->numEntries);
}

TEST_F(Boot, the_built_in_description_is_the_one_in_the_sources) {
  boot_from(read_file(DEFAULT_DESCRIPTION));
  EXPECT_EQ(9000u, mtu_of("workload"));
  EXPECT_EQ(1500u, mtu_of("management"));
}

TEST_F(Boot, from_a_description) {
  boot_from(R"({
    "format": 1,
    "physical_nics": [
      {"name": "left", "mac": "02:00:00:00:00:01", "driver": "d", "speed": 40000, "duplex": "half", "link": "down",
       "numa_node": 3},
      {"name": "right", "mac": "02:00:00:00:00:0A"}
    ],
    "switches": [{
      "alias": "s", "switch_id": "i", "class": "cswitch", "max_ports": 10, "persistent": true, "mtu": 2000,
      "version": 5, "flags": 9,
      "uplinks": [{"name": "right"}, {"name": "u", "nic": "left", "dvport_id": "up"}, {"name": "none"}],
      "ports": [
        {"dvport_id": "p", "connect_id": 4, "client": {"name": "c", "type": "tcpip", "mac": "02:00:00:00:00:02"}},
        {"dvport_id": "q"}
      ]
    }]
  })");
  VSInfo info;
  ASSERT_STATUS(QEL_OK, VSQEL_GetVSInfo("i", &info));
  EXPECT_EQ(2000u, info.mtu);
  EXPECT_EQ(10u, info.maxPorts);
  EXPECT_EQ(4u, info.activePorts);
  qel_uint64 const flags = info.flags;  // unaligned in its record
  EXPECT_EQ(9u, flags);
  EXPECT_EQ(1, DVPortExist("s", "up"));
  Returned<VSUplinks> uplinks;
  ASSERT_STATUS(QEL_OK, VSQEL_GetUplinks("s", &uplinks));
  ASSERT_EQ(2u, uplinks->numEntries);
  auto const *entries = reinterpret_cast<VSUplinks_entries const *>(uplinks.record + 1);
  EXPECT_STREQ("right", entries[0].name.string);
  EXPECT_STREQ("left", entries[1].name.string);
  EXPECT_EQ(port_number("s", "up"), entries[1].portID);
  qel_LinkState state;
  ASSERT_STATUS(QEL_OK, VSQEL_GetUplinkLinkState("s", "left", &state));
  EXPECT_EQ(QEL_LINK_STATE_DOWN, state);
  ASSERT_STATUS(QEL_OK, VSQEL_GetUplinkLinkState("s", "right", &state));
  EXPECT_EQ(QEL_LINK_STATE_UP, state);
  EXPECT_STATUS(QEL_BUSY, VSDVS_RemoveDVPort("s", "p"));
}

TEST_F(Boot, longest_names) {
  std::string const alias(80, 'a');
  auto const named = [](std::string const &name) {
    return R"({"format": 1, "switches": [{"alias": ")" + name + R"(", "switch_id": "i"}]})";
  };
  expect_refused(named(alias + "a"), "switches[0].alias: is longer than 80 bytes");
  boot_from(named(alias));
  VSInfo info;
  ASSERT_STATUS(QEL_OK, VSQEL_GetVSInfo("i", &info));
  EXPECT_EQ(alias, reinterpret_cast<char const *>(info.dvsName));
}

TEST_F(Boot, an_empty_host) {
  boot_from(R"({"format": 1})");
  Returned<VSList> list;
  ASSERT_STATUS(QEL_OK, VSQEL_GetSwitches(static_cast<VSListType>(VS_LIST_PS), &list));
  EXPECT_EQ(0, list->count);
}

TEST_F(Boot, a_known_host_ignores_the_description) {
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("management", 2000));
  close_host();
  setenv("VSWITCH_HOST_INIT", "/nonexistent", 1);
  EXPECT_EQ(2000u, mtu_of("management"));
}

TEST_F(Boot, bad_descriptions_are_refused_with_their_place) {
  expect_refused("{", "parse error");
  expect_refused("[]", "must be an object");
  expect_refused("{}", "format: is missing");
  expect_refused(R"({"format": 2})", "format: must be 1");
  expect_refused(R"({"format": 1, "swiches": []})", "swiches: is not a member");
  expect_refused(R"({"format": 1, "switches": {}})", "switches: must be a list");
  expect_refused(R"({"format": 1, "switches": [1]})", "switches[0]: must be an object");
  expect_refused(R"({"format": 1, "switches": [{"alias": "s"}]})", "switches[0].switch_id: is missing");
  expect_refused(switch_with(R"("mtu": "big")"), "switches[0].mtu: must be a number");
  expect_refused(switch_with(R"("mtu": -1)"), "switches[0].mtu: must be a number");
  expect_refused(switch_with(R"("mtu": 4294967296)"), "switches[0].mtu: must be a number");
  expect_refused(switch_with(R"("persistent": 1)"), "switches[0].persistent: must be true or false");
  expect_refused(switch_with(R"("mtu": 100)"), "switches[0]: the host refuses it with QEL_BAD_PARAM");
  expect_refused(switch_with(R"("class": "x")"), "switches[0]: the host refuses it with QEL_MODULE_NOT_FOUND");
  expect_refused(switch_with(R"("uplinks": [{"name": "u", "nic": "n"}])"),
                 "switches[0].uplinks[0]: the host refuses it with QEL_NOT_FOUND");
  expect_refused(switch_with(R"("uplinks": [{"name": "u", "made_port": false}])"),
                 "switches[0].uplinks[0].dvport_id: is missing");
  expect_refused(switch_with(R"("host_properties": [{"name": "x", "value": "", "type": 65536}])"),
                 "switches[0].host_properties[0]: the host refuses it with QEL_BAD_PARAM");
  expect_refused(switch_with(R"("ports": [{"dvport_id": "p"}, {"dvport_id": "p"}])"),
                 "switches[0].ports[1]: the host refuses it with QEL_EXISTS");
  expect_refused(switch_with(R"("ports": [{"dvport_id": "p", "client": {"name": "c", "type": "x", "mac": "0"}}])"),
                 "switches[0].ports[0].client.type: must be");
  expect_refused(
      switch_with(R"("ports": [{"dvport_id": "p", "client": {"name": "c", "type": "vnic", "mac": "0", "a": 1}}])"),
      "switches[0].ports[0].client.mac: must be a MAC address");
  expect_refused(switch_with(R"("ports": [{"dvport_id": ")" + std::string(48, 'p') + R"("}])"),
                 "switches[0].ports[0].dvport_id: is longer than 47 bytes");
  expect_refused(nic_with(R"("link": "left")"), "physical_nics[0].link: must be \"up\" or \"down\"");
  expect_refused(R"({"format": 1, "physical_nics": [{"name": ""}]})", "physical_nics[0].name: is empty");
  expect_refused(R"({"format": 1, "physical_nics": [{"name": "n", "mac": "02:00:00:00:00:01x"}]})",
                 "physical_nics[0].mac: ");
  expect_refused(nic_with(R"("x": 1)"), "physical_nics[0].x: is not a member");
  expect_refused(R"({"format": 1, "physical_nics": [{"name": "n", "mac": "02:00:00:00:00:01"},
                                                    {"name": "n", "mac": "02:00:00:00:00:02"}]})",
                 "physical_nics[1]: the host refuses it with QEL_EXISTS");
}

TEST_F(Boot, bad_running_state_is_refused_with_its_place) {
  std::string const learns = R"("ports": [{"dvport_id": "p", "mac_learning": {"limit": 1}, "learned": )";
  expect_refused(R"({"format": 1, "stopped_clock": -1})", "stopped_clock: must be a number");
  expect_refused(switch_with(R"("ports": [{"dvport_id": "p", "learned": [{"mac": "02:00:00:00:00:01"}]}])"),
                 "switches[0].ports[0].learned[0]: the host refuses it with QEL_IS_DISABLED");
  expect_refused(switch_with(learns + R"([{"mac": "02:00:00:00:00:01"}, {"mac": "02:00:00:00:00:02"}]}])"),
                 "switches[0].ports[0].learned[1]: the host refuses it with QEL_LIMIT_EXCEEDED");
  expect_refused(switch_with(learns + R"([{"mac": "02:00:00:00:00:01", "vlan": 4095}]}])"),
                 "switches[0].ports[0].learned[0].vlan: must be a number from 0 to 4094");
  expect_refused(switch_with(learns + R"([{"mac": "02:00:00:00:00:01", "vni": 16777216}]}])"),
                 "switches[0].ports[0].learned[0].vni: must be a number from 0 to 16777215");
  expect_refused(switch_with(R"("ports": [{"dvport_id": "p", "mac_learning": {"limit": 4097}}])"),
                 "switches[0].ports[0].mac_learning.limit: must be a number from 0 to 4096");
  expect_refused(switch_with(R"("ports": [{"dvport_id": "p", "mac_learning": {"at_limit": "stop"}}])"),
                 "switches[0].ports[0].mac_learning.at_limit: must be");
  expect_refused(switch_with(R"("counters": {"rarp": 1})"), "switches[0].counters.rarp: is not a member");
  expect_refused(switch_with(R"("lags": [{"name": "l", "members": [{"uplink": "u"}]}])"),
                 "switches[0].lags[0]: the host refuses it with QEL_NOT_FOUND");
  expect_refused(switch_with(R"("lags": [{"name": "l"}, {"name": "l"}])"),
                 "switches[0].lags[1]: the host refuses it with QEL_EXISTS");
  expect_refused(
      switch_with(
          R"("uplinks": [{"name": "u"}], "lags": [{"name": "l", "members": [{"uplink": "u"}, {"uplink": "u"}]}])"),
      "switches[0].lags[0]: the host refuses it with QEL_EXISTS");
  std::string lags = R"({"name": "0"})";
  for (int i = 1; i <= 32; ++i)
    lags += R"(, {"name": ")" + std::to_string(i) + R"("})";
  expect_refused(switch_with(R"("lags": [)" + lags + "]"),
                 "switches[0].lags[32]: the host refuses it with QEL_LIMIT_EXCEEDED");
}

TEST_F(Boot, a_missing_description_is_refused) {
  setenv("VSWITCH_HOST_INIT", (folder / "none.json").c_str(), 1);
  testing::internal::CaptureStderr();
  EXPECT_STATUS(QEL_INVALID_METADATA, VSDVS_SetMTU("management", 1500));
  EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("none.json: cannot read it"));
  // Nothing half-made is left: with a good description the same host boots.
  unsetenv("VSWITCH_HOST_INIT");
  close_host();
  EXPECT_EQ(1500u, mtu_of("management"));
}

TEST_F(Boot, again_loses_what_is_volatile) {
  ASSERT_STATUS(QEL_OK, VSDVS_CreateVSwitch("passing", "p", "", 0, 0, 2000, 0, 0));
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("passing", "nic3"));
  ASSERT_STATUS(QEL_OK, create_switch("kept"));
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("kept", 3000));
  ASSERT_STATUS(QEL_OK, VSDVS_SetGlobProp("kept", VSPROP_MTU, "\xdc\x05\0\0", 4, "", 0));
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortProp("workload", "100", "only.volatile", "x", 1, "", 0));
  ASSERT_STATUS(QEL_OK,
                VSQEL_SetUplinkAdminLinkState("workload", "nic1", static_cast<qel_LinkState>(QEL_LINK_STATE_DOWN)));
  EXPECT_EQ(1500u, mtu_of("kept"));

  ASSERT_STATUS(QEL_OK, boot());

  VSInfo info;
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetVSInfo("passing", &info));
  EXPECT_EQ(3000u, mtu_of("kept"));
  char value[4];
  HNQQuery query{sizeof value, value};
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_GetPortProp("workload", "100", "only.volatile", &query, "", 0));
  qel_LinkState state;
  ASSERT_STATUS(QEL_OK, VSQEL_GetUplinkLinkState("workload", "nic1", &state));
  EXPECT_EQ(QEL_LINK_STATE_UP, state);
  EXPECT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("kept", "nic3"));
}

TEST_F(Boot, again_brings_persistent_uplink_ports_back) {
  ASSERT_STATUS(QEL_OK, VSDVS_SetHostProp("workload", QEL_HNQPROP_HOST_UPLINKPORTS, "\0\0\0\0\0\0\0\0", 8, "", 0));
  Returned<VSUplinks> without;
  ASSERT_STATUS(QEL_OK, VSQEL_GetUplinks("workload", &without));
  EXPECT_EQ(0u, without->numEntries);
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("management", "nic2"));

  ASSERT_STATUS(QEL_OK, boot());

  Returned<VSUplinkPorts> names;
  Returned<VSUplinkPortIds> ids;
  ASSERT_STATUS(QEL_OK, VSDVS_GetSwitchUplinkPorts("workload", &names, &ids));
  ASSERT_EQ(2u, names->nUplinkPorts);
  EXPECT_STREQ("uplink-a", reinterpret_cast<char const *>(names.record + 1));
  EXPECT_EQ(1, DVPortExist("workload", "uplink-2"));
  EXPECT_STATUS(QEL_BUSY, VSDVS_AddSwitchUplinkPort("workload", "nic2"));
}

TEST_F(Boot, is_counted) {
  auto const count = [] {
    HostLock lock;
    Database &database = open_host();
    Transaction transaction(database, false);
    return boot_count(database);
  };
  EXPECT_EQ(1, count());
  ASSERT_STATUS(QEL_OK, boot());
  EXPECT_EQ(2, count());
}

}  // namespace boot_test
