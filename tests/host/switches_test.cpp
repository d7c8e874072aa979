// Making and removing switches, their MTU, information and lists.
#include "host_test.hpp"

namespace switches_test {

class Switches : public HostTest {};

TEST_F(Switches, a_new_switch_has_what_it_was_made_with) {
  ASSERT_STATUS(QEL_OK, VSDVS_CreateVSwitch("edge", "edge-id", "cswitch", 16, 1, 1400, DVS_VERSION_65, 0x80000001u));
  Returned<VSInfo> info;
  ASSERT_STATUS(QEL_OK, VSQEL_GetSwitchInfo("edge", &info));
  EXPECT_EQ(1400u, info->mtu);
  EXPECT_EQ(1, info->minValidVlan);
  EXPECT_EQ(4094, info->maxValidVlan);
  EXPECT_EQ(0u, info->activePorts);
  EXPECT_EQ(16u, info->maxPorts);
  EXPECT_STREQ("edge", reinterpret_cast<char const *>(info->dvsName));
  EXPECT_STREQ("edge-id", reinterpret_cast<char const *>(info->hnqID));
  EXPECT_EQ(0, info->numSinkPorts);
  qel_uint64 const flags = info->flags;  // unaligned in its record
  EXPECT_EQ(0x80000001u, flags);
}

TEST_F(Switches, defaults) {
  ASSERT_STATUS(QEL_OK, VSDVS_CreateVSwitch("edge", "edge-id", nullptr, 0, 1, 0, 0, 0));
  VSInfo info;
  ASSERT_STATUS(QEL_OK, VSQEL_GetVSInfo("edge", &info));
  EXPECT_EQ(1500u, info.mtu);
  EXPECT_EQ(128u, info.maxPorts);
  EXPECT_EQ(1500u, mtu_of("edge"));
}

TEST_F(Switches, refused_arguments) {
  struct Case {
    char const *what;
    char const *alias, *switch_id, *class_name;
    int status;
    qel_uint32 max_ports, mtu, version;
  };
  std::string const alias_81(81, 'a');
  std::string const id_64(64, 'i');
  std::string const class_128(128, 'c');
  Case const cases[] = {
      {"null alias", nullptr, "id", "", QEL_BAD_PARAM, 0, 0, 0},
      {"null identifier", "edge", nullptr, "", QEL_BAD_PARAM, 0, 0, 0},
      {"empty alias", "", "id", "", QEL_INVALID_NAME, 0, 0, 0},
      {"empty identifier", "edge", "", "", QEL_INVALID_NAME, 0, 0, 0},
      {"long alias", alias_81.c_str(), "id", "", QEL_NAME_TOO_LONG, 0, 0, 0},
      {"long identifier", "edge", id_64.c_str(), "", QEL_NAME_TOO_LONG, 0, 0, 0},
      {"long class", "edge", "id", class_128.c_str(), QEL_NAME_TOO_LONG, 0, 0, 0},
      {"unknown class", "edge", "id", "other", QEL_MODULE_NOT_FOUND, 0, 0, 0},
      {"too many ports", "edge", "id", "", QEL_LIMIT_EXCEEDED, 8193, 0, 0},
      {"small MTU", "edge", "id", "", QEL_BAD_PARAM, 0, 1279, 0},
      {"large MTU", "edge", "id", "", QEL_BAD_PARAM, 0, 9001, 0},
      {"old version", "edge", "id", "", QEL_NOT_SUPPORTED, 0, 0, 3},
      {"between versions", "edge", "id", "", QEL_NOT_SUPPORTED, 0, 0, 99},
      {"new version", "edge", "id", "", QEL_NOT_SUPPORTED, 0, 0, 108},
      {"alias in use", "management", "id", "", QEL_EXISTS, 0, 0, 0},
  };
  for (Case const &c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_STATUS(c.status,
                  VSDVS_CreateVSwitch(c.alias, c.switch_id, c.class_name, c.max_ports, 1, c.mtu, c.version, 0));
    VSInfo info;
    EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetVSInfo("edge", &info));
  }
  ASSERT_STATUS(QEL_OK, VSDVS_CreateVSwitch("edge", "id", "", 8192, 1, 9000, 107, 0));
  EXPECT_STATUS(QEL_EXISTS, VSDVS_CreateVSwitch("edge2", "id", "", 0, 1, 0, 0, 0));
}

TEST_F(Switches, longest_names) {
  std::string const alias(80, 'a');
  std::string const id(63, 'i');
  ASSERT_STATUS(QEL_OK, VSDVS_CreateVSwitch(alias.c_str(), id.c_str(), "", 0, 1, 0, 0, 0));
  VSInfo info;
  ASSERT_STATUS(QEL_OK, VSQEL_GetVSInfo(id.c_str(), &info));
  EXPECT_EQ(alias, reinterpret_cast<char const *>(info.dvsName));
  EXPECT_EQ(id, reinterpret_cast<char const *>(info.hnqID));
}

TEST_F(Switches, the_host_holds_128) {
  Returned<VSList> list;
  ASSERT_STATUS(QEL_OK, VSQEL_GetSwitches(static_cast<VSListType>(VS_LIST_PS), &list));
  for (int number = list->count; number < 128; ++number) {
    ASSERT_STATUS(QEL_OK, create_switch(("s" + std::to_string(number)).c_str()));
  }
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, create_switch("one-more"));
}

TEST_F(Switches, destroying_removes_everything_of_the_switch) {
  ASSERT_STATUS(QEL_OK, create_switch("edge"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("edge", "p", 1));
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("edge", "nic3"));
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("edge", 4000));
  ASSERT_STATUS(QEL_OK, VSDVS_DestroyVSwitch("edge"));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_DestroyVSwitch("edge"));
  ASSERT_STATUS(QEL_OK, create_switch("edge"));
  EXPECT_EQ(1500u, mtu_of("edge"));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_PortFind("edge", "p"));
  EXPECT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("edge", "nic3"));
}

TEST_F(Switches, a_switch_with_clients_is_busy) {
  EXPECT_STATUS(QEL_BUSY, VSDVS_DestroyVSwitch("workload"));
  EXPECT_EQ(9000u, mtu_of("workload"));
}

TEST_F(Switches, mtu) {
  EXPECT_STATUS(QEL_OK, VSDVS_SetMTU("management", 1280));
  EXPECT_EQ(1280u, mtu_of("management"));
  EXPECT_STATUS(QEL_OK, VSDVS_SetMTU("management", 9000));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetMTU("management", 9001));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetMTU("management", 1279));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetMTU("management", 0));
  EXPECT_EQ(9000u, mtu_of("management"));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetMTU(nullptr, 1500));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_SetMTU("none", 1500));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_SetMTU("", 1500));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetMTU("management", nullptr));
  qel_uint32 mtu = 77;
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_GetMTU("none", &mtu));
  EXPECT_EQ(0u, mtu);
}

TEST_F(Switches, lists_of_both_types) {
  ASSERT_STATUS(QEL_OK, create_switch("edge"));
  Returned<VSList> aliases;
  ASSERT_STATUS(QEL_OK, VSQEL_GetSwitches(static_cast<VSListType>(VS_LIST_DVS_ALIAS), &aliases));
  ASSERT_EQ(3, aliases->count);
  EXPECT_EQ(VS_LIST_DVS_ALIAS, aliases->listType);
  char const *slots = reinterpret_cast<char const *>(aliases.record + 1);
  EXPECT_STREQ("management", slots);
  EXPECT_STREQ("workload", slots + 81);
  EXPECT_STREQ("edge", slots + 162);

  Returned<VSList> portsets;
  ASSERT_STATUS(QEL_OK, VSQEL_GetSwitches(static_cast<VSListType>(VS_LIST_PS), &portsets));
  ASSERT_EQ(3, portsets->count);
  EXPECT_EQ(VS_LIST_PS, portsets->listType);
  slots = reinterpret_cast<char const *>(portsets.record + 1);
  EXPECT_STREQ("portset-1", slots);
  EXPECT_STREQ("portset-3", slots + 256);

  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetSwitches(static_cast<VSListType>(3), &portsets));
  EXPECT_EQ(nullptr, portsets.record);
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetSwitches(static_cast<VSListType>(VS_LIST_PS), nullptr));
}

TEST_F(Switches, a_port_set_name_is_never_used_twice) {
  ASSERT_STATUS(QEL_OK, create_switch("edge"));
  ASSERT_STATUS(QEL_OK, VSDVS_DestroyVSwitch("edge"));
  ASSERT_STATUS(QEL_OK, create_switch("edge"));
  char portset[128];
  ASSERT_STATUS(QEL_OK, DVSAliasToPortsetName("edge", portset));
  EXPECT_STREQ("portset-4", portset);
}

TEST_F(Switches, any_name_goes_by_alias_then_port_set_then_identifier) {
  ASSERT_STATUS(QEL_OK, VSDVS_CreateVSwitch("first", "shared", "", 11, 1, 0, 0, 0));
  ASSERT_STATUS(QEL_OK, VSDVS_CreateVSwitch("shared", "portset-3", "", 12, 1, 0, 0, 0));
  ASSERT_STATUS(QEL_OK, VSDVS_CreateVSwitch("portset-1", "other", "", 13, 1, 0, 0, 0));
  VSInfo info;
  ASSERT_STATUS(QEL_OK, VSQEL_GetVSInfo("shared", &info));  // alias before identifier
  EXPECT_EQ(12u, info.maxPorts);
  ASSERT_STATUS(QEL_OK, VSQEL_GetVSInfo("portset-3", &info));  // port set before identifier
  EXPECT_EQ(11u, info.maxPorts);
  ASSERT_STATUS(QEL_OK, VSQEL_GetVSInfo("portset-1", &info));  // alias before port set
  EXPECT_EQ(13u, info.maxPorts);
  ASSERT_STATUS(QEL_OK, VSQEL_GetVSInfo("other", &info));
  EXPECT_EQ(13u, info.maxPorts);
}

TEST_F(Switches, information_fails_cleanly) {
  Returned<VSInfo> info;
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetSwitchInfo("none", &info));
  EXPECT_EQ(nullptr, info.record);
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetSwitchInfo(nullptr, &info));
  EXPECT_EQ(nullptr, info.record);
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetSwitchInfo("management", nullptr));
  EXPECT_STATUS(QEL_NAME_TOO_LONG, VSQEL_GetSwitchInfo(std::string(128, 'x').c_str(), &info));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetVSInfo("management", nullptr));
  VSInfo untouched;
  std::memset(&untouched, 0x5a, sizeof untouched);
  VSInfo const before = untouched;
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetVSInfo("none", &untouched));
  EXPECT_EQ(0, std::memcmp(&before, &untouched, sizeof before));
}

TEST_F(Switches, active_ports_are_those_with_a_client) {
  VSInfo info;
  ASSERT_STATUS(QEL_OK, VSQEL_GetVSInfo("workload", &info));
  EXPECT_EQ(5u, info.activePorts);  // three virtual NICs, two uplinks; port 103 is free
}

}  // namespace switches_test
