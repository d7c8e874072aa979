// Switches and ports of the state: port sets, versions, limits, kinds of ports, external identifiers.
#include <vector>

#include "host_test.hpp"

namespace state_switches_test {

constexpr auto default_version = static_cast<HNQVersion>(0);

int port_list(char const *alias, DVPortList **list, int type) {
  return DVSQEL_SwitchPortList(alias, list, static_cast<DVSPortType>(type));
}

std::vector<std::string> ports_of_type(char const *alias, int type) {
  Returned<DVPortList> list;
  EXPECT_STATUS(QEL_OK, port_list(alias, &list, type));
  std::vector<std::string> ids;
  EXPECT_EQ(type, list->type);
  for (int i = 0; i < list->nports; ++i)
    ids.emplace_back(list->dvPort[i].dvPortId);
  return ids;
}

using Ids = std::vector<std::string>;

class StateSwitches : public HostTest {
 protected:
  static int set_version(char const *alias, int version) {
    return DVSQEL_SwitchSetVersion(alias, static_cast<HNQVersion>(version));
  }
};

TEST_F(StateSwitches, have_no_port_set_until_they_are_associated) {
  ASSERT_STATUS(QEL_OK, DVSQEL_SwitchAdd("edge", "edge-id", 16, default_version));
  char text[128];
  EXPECT_STATUS(QEL_IS_DISCONNECTED, DVSAliasToPortsetName("edge", text));
  EXPECT_STREQ("", text);
  ASSERT_STATUS(QEL_OK, DVSAliasToSwitchIdAllTypes("edge", text));
  EXPECT_STREQ("edge-id", text);
  VSInfo info{};
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetVSInfo("edge", &info));
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetVSInfo("edge-id", &info));
  {
    Returned<VSList> list;
    ASSERT_STATUS(QEL_OK, VSQEL_GetSwitches(static_cast<VSListType>(VS_LIST_DVS_ALIAS), &list));
    EXPECT_EQ(2, list->count);
  }
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("edge", 1400));
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("edge", "1", 0));

  EXPECT_EQ(0, in_child([] { return DVSQEL_SwitchAssociate("edge") == QEL_OK ? 0 : 1; }));
  EXPECT_STATUS(QEL_EXISTS, DVSQEL_SwitchAssociate("edge"));
  ASSERT_STATUS(QEL_OK, DVSAliasToPortsetName("edge", text));
  EXPECT_STREQ("portset-3", text);
  ASSERT_STATUS(QEL_OK, VSQEL_GetVSInfo("edge", &info));
  EXPECT_EQ(1400u, info.mtu);
  EXPECT_EQ(16u, info.maxPorts);

  EXPECT_STATUS(QEL_BUSY, DVSQEL_SwitchRemove("edge"));
  ASSERT_STATUS(QEL_OK, DVSQEL_SwitchDissociate("edge"));
  EXPECT_STATUS(QEL_IS_DISCONNECTED, DVSQEL_SwitchDissociate("edge"));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSPortsetNameToAlias("portset-3", text));
  EXPECT_STATUS(QEL_OK, DVSQEL_PortFind("edge", "1"));
  ASSERT_STATUS(QEL_OK, DVSQEL_SwitchAssociate("edge"));
  ASSERT_STATUS(QEL_OK, DVSPortsetNameToAlias("portset-3", text));
  EXPECT_STREQ("edge", text);
  ASSERT_STATUS(QEL_OK, DVSQEL_SwitchDissociate("edge"));
  ASSERT_STATUS(QEL_OK, DVSQEL_SwitchRemove("edge"));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_SwitchRemove("edge"));
}

TEST_F(StateSwitches, stay_apart_from_their_port_set_over_a_boot) {
  ASSERT_STATUS(QEL_OK, DVSQEL_SwitchAdd("edge", "edge-id", 0, default_version));
  ASSERT_STATUS(QEL_OK, host::boot());
  EXPECT_STATUS(QEL_IS_DISCONNECTED, DVSQEL_SwitchDissociate("edge"));
}

TEST_F(StateSwitches, in_use_keep_their_port_set) {
  EXPECT_STATUS(QEL_BUSY, DVSQEL_SwitchDissociate("workload"));
  VSInfo info{};
  EXPECT_STATUS(QEL_OK, VSQEL_GetVSInfo("workload", &info));
}

TEST_F(StateSwitches, are_added_by_the_rules_of_new_switches) {
  EXPECT_STATUS(QEL_EXISTS, DVSQEL_SwitchAdd("management", "other", 0, default_version));
  EXPECT_STATUS(QEL_INVALID_NAME, DVSQEL_SwitchAdd("", "other", 0, default_version));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_SwitchAdd("edge", nullptr, 0, default_version));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_SwitchAdd(nullptr, "edge", 0, default_version));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, DVSQEL_SwitchAdd("edge", "edge", 8193, default_version));
  EXPECT_STATUS(QEL_NOT_SUPPORTED, DVSQEL_SwitchAdd("edge", "edge", 0, static_cast<HNQVersion>(-1)));
  EXPECT_STATUS(QEL_NAME_TOO_LONG, DVSQEL_SwitchAdd("edge", std::string(64, 'x').c_str(), 0, default_version));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_SwitchAssociate("edge"));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_SwitchAssociate(nullptr));
}

TEST_F(StateSwitches, versions_only_grow) {
  ASSERT_STATUS(QEL_OK, DVSQEL_SwitchAdd("edge", "edge", 0, static_cast<HNQVersion>(DVS_VERSION_60)));
  ASSERT_STATUS(QEL_OK, set_version("edge", DVS_VERSION_66));
  EXPECT_STATUS(QEL_OK, set_version("edge", DVS_VERSION_66));
  EXPECT_STATUS(QEL_VERSION_MISMATCH_MAJOR, set_version("edge", DVS_VERSION_65));
  EXPECT_STATUS(QEL_NOT_SUPPORTED, set_version("edge", 0));
  EXPECT_STATUS(QEL_NOT_SUPPORTED, set_version("edge", DVS_VERSION_70 + 1));
  char value[4];
  HNQQuery query{4, value};
  ASSERT_STATUS(QEL_OK, VSDVS_GetGlobProp("edge", QEL_HNQPROP_SWITCH_VERSION, &query, "", 0));
  EXPECT_EQ(DVS_VERSION_66, value[0]);
}

TEST_F(StateSwitches, port_limits_stay_above_the_ports_there_are) {
  ASSERT_STATUS(QEL_OK, DVSQEL_SwitchAdd("edge", "edge", 1, default_version));
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("edge", "1", 0));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, VSDVS_AddDVPort("edge", "2", 0));
  ASSERT_STATUS(QEL_OK, DVSQEL_SwitchSetMaxPorts("edge", 2));
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("edge", "2", 0));
  EXPECT_STATUS(QEL_BUSY, DVSQEL_SwitchSetMaxPorts("edge", 1));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_SwitchSetMaxPorts("edge", 0));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, DVSQEL_SwitchSetMaxPorts("edge", 8193));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_SwitchSetMaxPorts("none", 5));
}

TEST_F(StateSwitches, list_their_ports_by_type) {
  EXPECT_EQ((Ids{"uplink-1", "uplink-2", "100", "101", "102"}), ports_of_type("workload", DVSPORT_TYPE_ACTIVE));
  EXPECT_EQ((Ids{"103"}), ports_of_type("workload", DVSPORT_TYPE_SHADOW));
  EXPECT_EQ((Ids{}), ports_of_type("workload", DVSPORT_TYPE_LOCALCACHE));
  {
    Returned<DVPortList> list;
    ASSERT_STATUS(QEL_OK, port_list("workload", &list, DVSPORT_TYPE_ACTIVE));
    EXPECT_EQ(11u, list->dvPort[2].connectId);
  }
  Returned<DVPortList> list;
  EXPECT_STATUS(QEL_BAD_PARAM, port_list("workload", &list, DVSPORT_TYPE_INVALID));
  EXPECT_EQ(nullptr, list.record);
  EXPECT_STATUS(QEL_BAD_PARAM, port_list("workload", &list, 5));
  EXPECT_STATUS(QEL_BAD_PARAM, port_list("workload", &list, -1));
  EXPECT_STATUS(QEL_NOT_FOUND, port_list("none", &list, DVSPORT_TYPE_ACTIVE));
  EXPECT_STATUS(QEL_BAD_PARAM, port_list("workload", nullptr, DVSPORT_TYPE_ACTIVE));
}

TEST_F(StateSwitches, removed_ports_with_a_client_become_zombies) {
  qel_SwitchPortID const number = port_number("workload", "100");
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortProp("workload", "100", "key", "v", 1, "", 1));
  ASSERT_STATUS(QEL_OK, DVSQEL_PortRemove("workload", "100"));
  EXPECT_EQ((Ids{"100"}), ports_of_type("workload", DVSPORT_TYPE_ZOMBIE));
  EXPECT_EQ((Ids{"uplink-1", "uplink-2", "101", "102"}), ports_of_type("workload", DVSPORT_TYPE_ACTIVE));
  EXPECT_EQ(number, port_number("workload", "100"));
  HNQQuery query{0, nullptr};
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_GetPortProp("workload", "100", "key", &query, "", 0));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_PortRemove("workload", "100"));
  EXPECT_STATUS(QEL_EXISTS, VSDVS_AddDVPort("workload", "100", 0));
  ASSERT_STATUS(QEL_OK, host::boot());
  EXPECT_EQ((Ids{}), ports_of_type("workload", DVSPORT_TYPE_ZOMBIE));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_PortFind("workload", "100"));
}

TEST_F(StateSwitches, remove_free_ports_but_not_those_of_uplinks) {
  ASSERT_STATUS(QEL_OK, DVSQEL_PortRemove("workload", "103"));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_PortFind("workload", "103"));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_PortRemove("workload", "103"));
  EXPECT_STATUS(QEL_BUSY, DVSQEL_PortRemove("workload", "uplink-1"));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_PortRemove("workload", nullptr));
  EXPECT_STATUS(QEL_NAME_TOO_LONG, DVSQEL_PortRemove("workload", std::string(48, 'x').c_str()));
}

TEST_F(StateSwitches, ports_are_found_by_their_external_identifier) {
  std::string const longest(127, 'e');
  ASSERT_STATUS(QEL_OK, VSDVS_AddOpaqueDVPort("workload", "opaque-1", longest.c_str()));
  EXPECT_EQ(0, in_child([&] {
              OpaqueDVPortData *port = nullptr;
              if (DVSQEL_PortGetByExternalId("workload", longest.c_str(), &port) != QEL_OK)
                return 1;
              return std::string("opaque-1") == port->dvPortId && longest == port->externalId ? 0 : 2;
            }));
  Returned<OpaqueDVPortData> port;
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_PortGetByExternalId("management", longest.c_str(), &port));
  EXPECT_EQ(nullptr, port.record);
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_PortGetByExternalId("workload", "", &port));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_PortGetByExternalId("workload", nullptr, &port));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_PortGetByExternalId("workload", "e", nullptr));
  EXPECT_STATUS(QEL_EXISTS, VSDVS_AddOpaqueDVPort("workload", "opaque-2", longest.c_str()));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_PortFind("workload", "opaque-2")) << "a call that fails changes nothing";
  EXPECT_STATUS(QEL_EXISTS, VSDVS_AddOpaqueDVPort("workload", "opaque-1", "other"));
  EXPECT_STATUS(QEL_INVALID_NAME, VSDVS_AddOpaqueDVPort("workload", "opaque-2", ""));
  EXPECT_STATUS(QEL_NAME_TOO_LONG, VSDVS_AddOpaqueDVPort("workload", "opaque-2", (longest + "e").c_str()));
  EXPECT_STATUS(QEL_OK, VSDVS_AddOpaqueDVPort("management", "opaque-1", longest.c_str()));
  EXPECT_EQ((Ids{"103", "opaque-1"}), ports_of_type("workload", DVSPORT_TYPE_SHADOW));
}

TEST_F(StateSwitches, ports_have_their_number_by_switch_identifier) {
  qel_SwitchPortID number = 5;
  ASSERT_STATUS(QEL_OK, VSDVS_DvPortIDToPortIDFromDVSID("776f726b-6c6f-6164-0000-000000000002", "101", &number));
  EXPECT_EQ(port_number("workload", "101"), number);
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_DvPortIDToPortIDFromDVSID("workload", "101", &number));
  EXPECT_EQ(0u, number);
  EXPECT_STATUS(QEL_NOT_FOUND,
                VSDVS_DvPortIDToPortIDFromDVSID("776f726b-6c6f-6164-0000-000000000002", "none", &number));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_DvPortIDToPortIDFromDVSID("776f726b-6c6f-6164-0000-000000000002", "101", nullptr));
}

}  // namespace state_switches_test
