// That each function of libdvs.so follows state, one test for each; long because there are so many.
#include "follows.hpp"

namespace follows_dvs_test {

constexpr char workload_id[] = "776f726b-6c6f-6164-0000-000000000002";
constexpr char key[] = "org.example.key";
constexpr auto config = static_cast<qel_uint32>(CONFIG_PROP_TYPE);
constexpr auto until_boot = static_cast<qel_uint32>(CONFIG_PROP_TYPE | VOLATILE_PROP_TYPE);
constexpr auto no_sync = static_cast<qel_uint32>(CONFIG_PROP_TYPE) | static_cast<qel_uint32>(NO_SYNC_PROP_TYPE);

using Texts = std::vector<std::string>;
using Json = nlohmann::json;

// The calls do not write what they are given, but do not say so.
void *data_of(std::string const &value) {
  return const_cast<char *>(value.data());
}

int length_of(std::string const &value) {
  return static_cast<int>(value.size());
}

int set_global(std::string const &value, qel_uint32 type = config, char const *name = key) {
  return DVSQEL_GlobalPropSet("workload", name, data_of(value), length_of(value), type);
}

int set_host(std::string const &value, qel_uint32 type = config, char const *name = key) {
  return DVSQEL_HostPropSet("workload", name, data_of(value), length_of(value), type);
}

int set_port(std::string const &value, qel_uint32 type = config, char const *name = key) {
  return DVSQEL_PortDataSet("workload", "100", name, data_of(value), length_of(value), type);
}

// The values that the raw calls of the other library see.
std::string global() {
  return property(VSDVS_GetGlobProp, false, "workload", key);
}

std::string host_value() {
  return property(VSDVS_GetHostProp, false, "workload", key);
}

std::string port_value(char const *dvport_id = "100", char const *name = key) {
  return property(VSDVS_GetPortProp, false, "workload", dvport_id, name);
}

// A value with an owner, as vendors write it.
int set_vendor_global(std::string const &value) {
  return VSDVS_SetGlobProp("workload", key, value.data(), length_of(value), "vendor", 1);
}

// The document in an image: it follows the magic number and three numbers.
Json document(std::string const &image) {
  return Json::from_cbor(image.substr(8 + 3 * 4));
}

// A value in a list of properties of a document.
std::string value_in(Json const &properties, std::string const &name) {
  for (Json const &row : properties) {
    if (row["name"] == name) {
      auto const &value = row["value"].get_binary();
      return {value.begin(), value.end()};
    }
  }
  return "none";
}

std::string serialised(DVSDataHandle list) {
  void *image = nullptr;
  qel_uint32 length = 0;
  int const status = call(DVSData_Serialize, list, &image, &length, 0);
  if (status != QEL_OK)
    return status_text(status);
  std::string const bytes(static_cast<char const *>(image), length);
  DVSQEL_DataFree(image);
  return bytes;
}

// The value of a name in a list that a call collects.
template <typename... P, typename... A>
std::string listed(int (*collect)(P...), A... place) {
  DVSDataHandle list = nullptr;
  EXPECT_STATUS(QEL_OK, collect(place..., &list, 0));
  std::string const value = value_in(document(serialised(list))["properties"], key);
  DVSData_Free(list);
  return value;
}

DVSDataHandle new_list() {
  DVSDataHandle list = nullptr;
  EXPECT_STATUS(QEL_OK, DVSData_Alloc(&list, nullptr, nullptr));
  return list;
}

int update(DVSDataHandle list, std::string const &value) {
  return DVSData_Update(list, key, data_of(value), static_cast<qel_uint32>(value.size()), config);
}

DVSDataItem looked_up(char const *name = key) {
  DVSDataItem item = nullptr;
  EXPECT_STATUS(QEL_OK, DVSState_GlobalPropLookup("workload", name, &item));
  return item;
}

std::string held_by(DVSDataItem item) {
  void *value = nullptr;
  unsigned const length = DVSData_Data(item, &value);
  return {static_cast<char const *>(value), length};
}

int note_switch(DVSwitchHandle vswitch, void *context) {
  static_cast<Texts *>(context)->emplace_back(DVS_SwitchName(vswitch));
  return 0;
}

int note_port(DVSPortHandle port, void *context) {
  static_cast<Texts *>(context)->emplace_back(DVS_PortId(port));
  return 0;
}

int note_item(DVSDataItem item, void *context) {
  static_cast<Texts *>(context)->push_back(std::string(DVSData_Name(item)) + " = " + held_by(item));
  return 0;
}

Texts walk_switches() {
  Texts seen;
  DVSState_SwitchForEach(note_switch, &seen);
  return seen;
}

template <typename Callback>
Texts walk(void (*for_each)(void *, Callback, void *), void *handle, Callback callback) {
  Texts seen;
  for_each(handle, callback, &seen);
  return seen;
}

Texts ports_of_type(int type) {
  auto const list = [&] {
    DVPortList *record = nullptr;
    EXPECT_STATUS(QEL_OK, call(DVSQEL_SwitchPortList, "workload", &record, type));
    return record;
  }();
  Texts ids;
  for (int i = 0; i < list->nports; ++i)
    ids.emplace_back(list->dvPort[i].dvPortId);
  DVSQEL_DataFree(list);
  return ids;
}

qel_uint32 version_of(char const *alias) {
  return DVS_Version(DVSState_SwitchFindByAlias(alias));
}

TEST_F(Follows, DVSLoadConfig) {
  EXPECT_OK_ELSEWHERE(VSDVS_SetMTU("workload", 4000));
  EXPECT_OK_ELSEWHERE(VSDVS_SetGlobProp("workload", VSPROP_MTU, number(5000).data(), 4, "", 0));
  EXPECT_EQ(5000u, mtu_of("workload"));
  EXPECT_STATUS(QEL_OK, DVSLoadConfig());
  EXPECT_EQ(4000u, mtu_of("workload"));
}

TEST_F(Follows, DVSQEL_StateInit) {
  std::string const image = bytes_answer(DVSQEL_StateGet);
  EXPECT_OK_ELSEWHERE(VSDVS_SetMTU("workload", 4000));
  EXPECT_OK_ELSEWHERE(create_switch("edge"));
  EXPECT_STATUS(QEL_OK, DVSQEL_StateInit(data_of(image), length_of(image)));
  EXPECT_EQ(9000u, mtu_of("workload"));
  EXPECT_EQ((Texts{"management", "workload"}), walk_switches());
}

TEST_F(Follows, DVSQEL_StateGet) {
  for (qel_uint32 mtu : {4000u, 5000u}) {
    EXPECT_OK_ELSEWHERE(VSDVS_SetGlobProp("workload", VSPROP_MTU, number(mtu).data(), 4, "", 0));
    Json const vswitch = document(bytes_answer(DVSQEL_StateGet))["switches"][1];
    EXPECT_EQ(workload_id, vswitch["switch_id"]);
    Json volatile_values = Json::array();
    for (Json const &row : vswitch["global"]) {
      if (row["volatile"] == true)
        volatile_values.push_back(row);
    }
    EXPECT_EQ(number(mtu), value_in(volatile_values, VSPROP_MTU));
  }
}

TEST_F(Follows, DVSQEL_PersistentStateGet) {
  auto const stored = [] {
    return value_in(document(bytes_answer(DVSQEL_PersistentStateGet))["switches"][1]["global"], key);
  };
  EXPECT_OK_ELSEWHERE(set_global("one"));
  EXPECT_EQ("one", stored());
  EXPECT_OK_ELSEWHERE(set_global("passing", until_boot));
  EXPECT_EQ("one", stored());
  EXPECT_OK_ELSEWHERE(set_global("two"));
  EXPECT_EQ("two", stored());
}

TEST_F(Follows, DVSQEL_StateSanitize) {
  // A policy that lasts names an uplink port that does not.
  std::string const uplinks = uplink_names({"passing"}) + uplink_port_ids({""});
  EXPECT_OK_ELSEWHERE(create_switch("edge"));
  EXPECT_OK_ELSEWHERE(
      VSDVS_SetHostProp("edge", QEL_HNQPROP_HOST_UPLINKPORTS, uplinks.data(), length_of(uplinks), "", 0));
  EXPECT_OK_ELSEWHERE(set_raw_property("edge", nullptr, VSPROP_SWITCH_TEAMING, teaming_value({"passing"})));
  tool("boot");
  EXPECT_EQ(teaming_value({"passing"}), raw_property("edge", nullptr, VSPROP_SWITCH_TEAMING));
  EXPECT_STATUS(QEL_OK, DVSQEL_StateSanitize());
  EXPECT_EQ(teaming_value({}, TEAM_FRP_TYPE_LB_SRCID, TEAM_FRP_FLAG_NOTIFY_SWITCH),
            raw_property("edge", nullptr, VSPROP_SWITCH_TEAMING));
}

TEST_F(Follows, DVSQEL_StateCleanup) {
  DVSwitchHandle const handle = DVSState_SwitchFindByAlias("workload");
  EXPECT_STREQ("workload", DVS_SwitchName(handle));
  EXPECT_STATUS(QEL_OK, DVSQEL_StateCleanup());
  EXPECT_EQ(nullptr, DVS_SwitchName(handle));
  EXPECT_NE(handle, DVSState_SwitchFindByAlias("workload"));
}

TEST_F(Follows, DVSQEL_DataFree) {
  MemoryCounts const before = memory_counts();
  void *data = nullptr;
  int length = 0;
  EXPECT_STATUS(QEL_OK, DVSQEL_GlobalPropGet("workload", VSPROP_MTU, &data, &length));
  EXPECT_EQ(before.records + 1, memory_counts().records);
  DVSQEL_DataFree(data);
  EXPECT_EQ(before.records, memory_counts().records);
  EXPECT_EQ(before.bytes, memory_counts().bytes);
  DVSQEL_DataFree(data);
  EXPECT_EQ(before.wrong_releases + 1, memory_counts().wrong_releases);
}

TEST_F(Follows, DVSState_ConfigReset) {
  EXPECT_OK_ELSEWHERE(create_switch("edge"));
  tool("disconnect management 1");
  EXPECT_STATUS(QEL_OK, DVSState_ConfigReset());
  EXPECT_EQ(Texts{"workload"}, walk_switches()) << "which has clients";
  EXPECT_EQ(1500u, mtu_of("workload"));
  EXPECT_EQ(0, DVPortExist("workload", "103"));
}

TEST_F(Follows, DVSState_ConfigDeserialize) {
  EXPECT_OK_ELSEWHERE(create_switch("edge"));
  std::string const image = bytes_answer(DVSQEL_PersistentStateGet);
  EXPECT_OK_ELSEWHERE(VSDVS_DestroyVSwitch("edge"));
  EXPECT_OK_ELSEWHERE(create_switch("other"));
  EXPECT_OK_ELSEWHERE(VSDVS_SetMTU("workload", 4000));
  EXPECT_STATUS(QEL_OK, DVSState_ConfigDeserialize(data_of(image), length_of(image)));
  EXPECT_EQ((Texts{"management", "workload", "other", "edge"}), walk_switches());
  EXPECT_EQ(9000u, mtu_of("workload"));
}

TEST_F(Follows, DVSQEL_SwitchAdd) {
  EXPECT_STATUS(QEL_OK, call(DVSQEL_SwitchAdd, "edge", "edge-id", 16, DVS_VERSION_65));
  EXPECT_EQ("edge-id", text_answer(DVSAliasToSwitchId, "edge"));
  EXPECT_EQ(static_cast<unsigned>(DVS_VERSION_65), version_of("edge"));
  EXPECT_STATUS(QEL_EXISTS, call(DVSQEL_SwitchAdd, "edge", "edge-id", 16, DVS_VERSION_65));
  EXPECT_OK_ELSEWHERE(DVSQEL_SwitchRemove("edge"));
  EXPECT_STATUS(QEL_OK, call(DVSQEL_SwitchAdd, "edge", "edge-id", 16, DVS_VERSION_65));
}

TEST_F(Follows, DVSQEL_SwitchRemove) {
  EXPECT_OK_ELSEWHERE(create_switch("edge"));
  EXPECT_STATUS(QEL_BUSY, DVSQEL_SwitchRemove("edge"));
  EXPECT_OK_ELSEWHERE(DVSQEL_SwitchDissociate("edge"));
  EXPECT_STATUS(QEL_OK, DVSQEL_SwitchRemove("edge"));
  EXPECT_EQ((Texts{"management", "workload"}), walk_switches());
}

TEST_F(Follows, DVSQEL_SwitchAssociate) {
  EXPECT_STATUS(QEL_EXISTS, DVSQEL_SwitchAssociate("workload"));
  EXPECT_OK_ELSEWHERE(call(DVSQEL_SwitchAdd, "edge", "edge-id", 0, 0));
  EXPECT_STATUS(QEL_OK, DVSQEL_SwitchAssociate("edge"));
  EXPECT_EQ("portset-3", text_answer(DVSAliasToPortsetName, "edge"));
  EXPECT_EQ(1500u, +answer(VSQEL_GetVSInfo, "edge").mtu);
}

TEST_F(Follows, DVSQEL_SwitchDissociate) {
  EXPECT_STATUS(QEL_BUSY, DVSQEL_SwitchDissociate("management"));
  tool("disconnect management 1");
  EXPECT_STATUS(QEL_OK, DVSQEL_SwitchDissociate("management"));
  VSInfo info{};
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetVSInfo("management", &info));
}

TEST_F(Follows, DVSQEL_SwitchSetVersion) {
  EXPECT_OK_ELSEWHERE(call(DVSQEL_SwitchAdd, "edge", "edge-id", 0, DVS_VERSION_60));
  EXPECT_STATUS(QEL_OK, call(DVSQEL_SwitchSetVersion, "edge", DVS_VERSION_65));
  EXPECT_EQ(static_cast<unsigned>(DVS_VERSION_65), version_of("edge"));
  EXPECT_EQ(number(DVS_VERSION_65), raw_property("edge", nullptr, QEL_HNQPROP_SWITCH_VERSION));
  EXPECT_OK_ELSEWHERE(call(DVSQEL_SwitchSetVersion, "edge", DVS_VERSION_66));
  EXPECT_STATUS(QEL_VERSION_MISMATCH_MAJOR, call(DVSQEL_SwitchSetVersion, "edge", DVS_VERSION_65));
}

TEST_F(Follows, DVSQEL_SwitchSetMaxPorts) {
  EXPECT_STATUS(QEL_OK, DVSQEL_SwitchSetMaxPorts("workload", 7));
  EXPECT_EQ(7u, +answer(VSQEL_GetVSInfo, "workload").maxPorts);
  EXPECT_OK_ELSEWHERE(VSDVS_AddDVPort("workload", "new", 0));
  EXPECT_STATUS(QEL_BUSY, DVSQEL_SwitchSetMaxPorts("workload", 6));
}

TEST_F(Follows, DVSQEL_SwitchPortList) {
  EXPECT_EQ(Texts{"103"}, ports_of_type(DVSPORT_TYPE_SHADOW));
  tool("disconnect workload 101");
  EXPECT_OK_ELSEWHERE(DVSQEL_PortRemove("workload", "100"));
  EXPECT_EQ((Texts{"101", "103"}), ports_of_type(DVSPORT_TYPE_SHADOW));
  EXPECT_EQ((Texts{"uplink-1", "uplink-2", "102"}), ports_of_type(DVSPORT_TYPE_ACTIVE));
  EXPECT_EQ(Texts{"100"}, ports_of_type(DVSPORT_TYPE_ZOMBIE));
}

TEST_F(Follows, DVSQEL_PortAdd) {
  EXPECT_OK_ELSEWHERE(set_port("carried over"));
  std::string const image = bytes_answer(DVSQEL_PortStateGet, "workload", "100");
  EXPECT_STATUS(QEL_OK, DVSQEL_PortAdd("workload", "copy", data_of(image), length_of(image)));
  EXPECT_EQ("carried over", port_value("copy"));
  EXPECT_EQ(Texts{"copy"}, ports_of_type(DVSPORT_TYPE_LOCALCACHE));
}

TEST_F(Follows, DVSQEL_PortRemove) {
  EXPECT_STATUS(QEL_OK, DVSQEL_PortRemove("workload", "100"));
  EXPECT_EQ(Texts{"100"}, ports_of_type(DVSPORT_TYPE_ZOMBIE));
  tool("disconnect workload 101");
  EXPECT_STATUS(QEL_OK, DVSQEL_PortRemove("workload", "101"));
  EXPECT_EQ(0, DVPortExist("workload", "101"));
}

TEST_F(Follows, DVSQEL_PortFind) {
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_PortFind("workload", "new"));
  EXPECT_OK_ELSEWHERE(VSDVS_AddDVPort("workload", "new", 0));
  EXPECT_STATUS(QEL_OK, DVSQEL_PortFind("workload", "new"));
}

TEST_F(Follows, DVSQEL_PortGetByExternalId) {
  for (char const *id : {"first", "second"}) {
    EXPECT_OK_ELSEWHERE(VSDVS_AddOpaqueDVPort("workload", id, "outside"));
    EXPECT_STREQ(id, answer(DVSQEL_PortGetByExternalId, "workload", "outside")->dvPortId);
    EXPECT_OK_ELSEWHERE(VSDVS_RemoveDVPort("workload", id));
  }
}

TEST_F(Follows, DVSQEL_PortStateGet) {
  auto const stored = [] {
    return value_in(document(bytes_answer(DVSQEL_PortStateGet, "workload", "100"))["properties"], key);
  };
  EXPECT_EQ("none", stored());
  EXPECT_OK_ELSEWHERE(set_port("passing", until_boot));
  EXPECT_EQ("passing", stored());
}

TEST_F(Follows, DVSQEL_PersistentPortStateGet) {
  auto const stored = [] {
    auto const version = static_cast<HNQVersion>(DVS_VERSION_65);
    return document(bytes_answer(DVSQEL_PersistentPortStateGet, "workload", "100", version));
  };
  EXPECT_OK_ELSEWHERE(set_port("passing", until_boot));
  EXPECT_EQ("none", value_in(stored()["properties"], key));
  EXPECT_OK_ELSEWHERE(set_port("kept"));
  EXPECT_EQ("kept", value_in(stored()["properties"], key));
}

TEST_F(Follows, DVSQEL_PortDataGet) {
  EXPECT_EQ("QEL_NOT_FOUND", bytes_answer(DVSQEL_PortDataGet, "workload", "100", key));
  EXPECT_OK_ELSEWHERE(VSDVS_SetPortProp("workload", "100", key, "one", 3, "", 1));
  EXPECT_EQ("one", bytes_answer(DVSQEL_PortDataGet, "workload", "100", key));
  tool("disconnect workload 100");
  EXPECT_EQ("", bytes_answer(DVSQEL_PortDataGet, "workload", "100", QEL_HNQPROP_PORT_VNIC_CONNECTEE));
}

TEST_F(Follows, DVSQEL_SmartNICPortDataGet) {
  auto const seen = [] { return bytes_answer(DVSQEL_SmartNICPortDataGet, "workload", "100", key); };
  EXPECT_OK_ELSEWHERE(set_port("one"));
  EXPECT_EQ("QEL_NOT_SUPPORTED", seen());
  EXPECT_OK_ELSEWHERE(VSDVS_AddSwitchUplinkPort("workload", "nic5"));
  EXPECT_EQ("one", seen());
  EXPECT_OK_ELSEWHERE(set_port("two", no_sync));
  EXPECT_EQ("QEL_NOT_FOUND", seen());
}

TEST_F(Follows, DVSQEL_PortDataSet) {
  EXPECT_STATUS(QEL_OK, set_port("one"));
  EXPECT_EQ("one", port_value());
  EXPECT_STATUS(QEL_OK, set_port("front door", config, QEL_HNQPROP_PORT_ALIAS));
  EXPECT_STREQ("front door", DVS_PortAlias(DVSState_PortFind("workload", "100")));
}

TEST_F(Follows, DVSQEL_PortDataClear) {
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_PortDataClear("workload", "100", key));
  EXPECT_OK_ELSEWHERE(set_port("one"));
  EXPECT_STATUS(QEL_OK, DVSQEL_PortDataClear("workload", "100", key));
  EXPECT_EQ("QEL_NOT_FOUND", port_value());
}

TEST_F(Follows, DVSQEL_HostPropGet) {
  auto const seen = [] { return bytes_answer(DVSQEL_HostPropGet, "workload", key); };
  EXPECT_EQ("QEL_NOT_FOUND", seen());
  EXPECT_OK_ELSEWHERE(set_global("global"));
  EXPECT_EQ("global", seen());
  EXPECT_OK_ELSEWHERE(VSDVS_SetHostProp("workload", key, "host", 4, "", 1));
  EXPECT_EQ("host", seen());
}

TEST_F(Follows, DVSQEL_SmartNICHostPropGet) {
  auto const seen = [] { return bytes_answer(DVSQEL_SmartNICHostPropGet, "workload", key); };
  EXPECT_OK_ELSEWHERE(set_host("one"));
  EXPECT_EQ("QEL_NOT_SUPPORTED", seen());
  EXPECT_OK_ELSEWHERE(VSDVS_AddSwitchUplinkPort("workload", "nic5"));
  EXPECT_EQ("one", seen());
  EXPECT_OK_ELSEWHERE(set_host("two"));
  EXPECT_EQ("two", seen());
}

TEST_F(Follows, DVSQEL_HostPropSet) {
  EXPECT_STATUS(QEL_OK, set_host("one"));
  EXPECT_EQ("one", host_value());
  EXPECT_STATUS(QEL_OK, set_host("two", until_boot));
  EXPECT_EQ("two", host_value());
  EXPECT_STATUS(QEL_OK, boot());
  EXPECT_EQ("one", host_value());
}

TEST_F(Follows, DVSQEL_HostPropClear) {
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_HostPropClear("workload", key));
  EXPECT_OK_ELSEWHERE(set_host("one"));
  EXPECT_STATUS(QEL_OK, DVSQEL_HostPropClear("workload", key));
  EXPECT_EQ("QEL_NOT_FOUND", host_value());
}

TEST_F(Follows, DVSQEL_GlobalPropGet) {
  EXPECT_EQ(number(9000), bytes_answer(DVSQEL_GlobalPropGet, "workload", VSPROP_MTU));
  EXPECT_OK_ELSEWHERE(VSDVS_SetMTU("workload", 4000));
  EXPECT_EQ(number(4000), bytes_answer(DVSQEL_GlobalPropGet, "workload", VSPROP_MTU));
}

TEST_F(Follows, DVSQEL_SmartNICGlobalPropGet) {
  auto const seen = [] { return bytes_answer(DVSQEL_SmartNICGlobalPropGet, "workload", VSPROP_MTU); };
  EXPECT_OK_ELSEWHERE(VSDVS_AddSwitchUplinkPort("workload", "nic5"));
  EXPECT_EQ(number(9000), seen());
  EXPECT_OK_ELSEWHERE(VSDVS_SetMTU("workload", 4000));
  EXPECT_EQ(number(4000), seen());
  EXPECT_OK_ELSEWHERE(set_global(number(5000), no_sync, VSPROP_MTU));
  EXPECT_EQ(number(1500), seen()) << "the default: the value is not for it";
}

TEST_F(Follows, DVSQEL_GlobalPropSet) {
  EXPECT_STATUS(QEL_OK, set_global(number(4000), config, VSPROP_MTU));
  EXPECT_EQ(4000u, mtu_of("workload"));
  EXPECT_STATUS(QEL_OK, set_global("one"));
  EXPECT_EQ("one", global());
}

TEST_F(Follows, DVSQEL_GlobalPropClear) {
  EXPECT_EQ(9000u, mtu_of("workload"));
  EXPECT_STATUS(QEL_OK, DVSQEL_GlobalPropClear("workload", VSPROP_MTU));
  EXPECT_EQ(1500u, mtu_of("workload"));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_GlobalPropClear("workload", key));
  EXPECT_OK_ELSEWHERE(set_global("one"));
  EXPECT_STATUS(QEL_OK, DVSQEL_GlobalPropClear("workload", key));
}

TEST_F(Follows, DVSQEL_UplinkDataGet) {
  auto const seen = [] { return bytes_answer(DVSQEL_UplinkDataGet, "workload", "uplink-a", qel_uint32{7}); };
  EXPECT_EQ("QEL_NOT_FOUND", seen());
  EXPECT_OK_ELSEWHERE(VSDVS_SetPortProp("workload", "uplink-1", "uplink.data.7", "seven", 5, "", 1));
  EXPECT_EQ("seven", seen());
}

TEST_F(Follows, DVSQEL_UplinkDataSet) {
  for (std::string const value : {"one", "two"}) {
    EXPECT_STATUS(QEL_OK, DVSQEL_UplinkDataSet("workload", "nic1", 7, data_of(value), length_of(value), config));
    EXPECT_EQ(value, port_value("uplink-1", "uplink.data.7"));
  }
}

TEST_F(Follows, DVSQEL_CmdExec) {
  auto const uplinks = [] {
    return bytes_answer(DVSQEL_CmdExec, "workload", "uplinks", static_cast<void *>(nullptr), 0);
  };
  EXPECT_EQ("uplink-a\tnic1\tup\nuplink-b\tnic2\tup\n", uplinks());
  tool("link nic1 down");
  EXPECT_OK_ELSEWHERE(VSDVS_AddSwitchUplinkPort("workload", "spare"));
  EXPECT_EQ("uplink-a\tnic1\tdown\nuplink-b\tnic2\tup\nspare\t\tdown\n", uplinks());
}

TEST_F(Follows, DVSQEL_VendorGlobalPropList) {
  EXPECT_OK_ELSEWHERE(set_vendor_global("one"));
  EXPECT_EQ("one", listed(DVSQEL_VendorGlobalPropList, "workload"));
  EXPECT_OK_ELSEWHERE(set_vendor_global("two"));
  EXPECT_EQ("two", listed(DVSQEL_VendorGlobalPropList, "workload"));
}

TEST_F(Follows, DVSQEL_VendorHostPropList) {
  EXPECT_EQ("none", listed(DVSQEL_VendorHostPropList, "workload"));
  EXPECT_OK_ELSEWHERE(VSDVS_SetHostProp("workload", key, "one", 3, "vendor", 1));
  EXPECT_EQ("one", listed(DVSQEL_VendorHostPropList, "workload"));
}

TEST_F(Follows, DVSQEL_ExtraConfigPropList) {
  EXPECT_OK_ELSEWHERE(set_global("global"));
  EXPECT_EQ("global", listed(DVSQEL_ExtraConfigPropList, "workload"));
  EXPECT_OK_ELSEWHERE(set_host("host"));
  EXPECT_EQ("host", listed(DVSQEL_ExtraConfigPropList, "workload"));
}

TEST_F(Follows, DVSQEL_VendorPortPropList) {
  EXPECT_OK_ELSEWHERE(set_port("one"));
  EXPECT_EQ("none", listed(DVSQEL_VendorPortPropList, "workload", "100"));
  EXPECT_OK_ELSEWHERE(VSDVS_SetPortProp("workload", "100", key, "two", 3, "vendor", 1));
  EXPECT_EQ("two", listed(DVSQEL_VendorPortPropList, "workload", "100"));
}

TEST_F(Follows, DVSQEL_ExtraConfigPortPropList) {
  EXPECT_OK_ELSEWHERE(set_port("one"));
  EXPECT_EQ("one", listed(DVSQEL_ExtraConfigPortPropList, "workload", "100"));
  EXPECT_OK_ELSEWHERE(VSDVS_SetPortProp("workload", "100", key, "two", 3, "vendor", 1));
  EXPECT_EQ("none", listed(DVSQEL_ExtraConfigPortPropList, "workload", "100")) << "it has an owner now";
}

TEST_F(Follows, DVSState_SwitchForEach) {
  EXPECT_EQ((Texts{"management", "workload"}), walk_switches());
  EXPECT_OK_ELSEWHERE(create_switch("edge"));
  EXPECT_EQ((Texts{"management", "workload", "edge"}), walk_switches());
}

TEST_F(Follows, DVSState_PortForEach) {
  DVSwitchHandle const handle = DVSState_SwitchFindByAlias("management");
  EXPECT_EQ((Texts{"uplink-1", "1", "2"}), walk(DVSState_PortForEach, handle, note_port));
  EXPECT_OK_ELSEWHERE(VSDVS_RemoveDVPort("management", "2"));
  EXPECT_OK_ELSEWHERE(VSDVS_AddDVPort("management", "3", 0));
  EXPECT_EQ((Texts{"uplink-1", "1", "3"}), walk(DVSState_PortForEach, handle, note_port));
}

TEST_F(Follows, DVSState_HostPropForEach) {
  DVSwitchHandle const handle = DVSState_SwitchFindByAlias("workload");
  EXPECT_EQ(1u, walk(DVSState_HostPropForEach, handle, note_item).size());
  EXPECT_OK_ELSEWHERE(set_host("one"));
  Texts const seen = walk(DVSState_HostPropForEach, handle, note_item);
  ASSERT_EQ(2u, seen.size());
  EXPECT_EQ("org.example.key = one", seen[1]);
}

TEST_F(Follows, DVSState_GlobalPropForEach) {
  DVSwitchHandle const handle = DVSState_SwitchFindByAlias("management");
  EXPECT_EQ(Texts{}, walk(DVSState_GlobalPropForEach, handle, note_item));
  EXPECT_OK_ELSEWHERE(VSDVS_SetGlobProp("management", "b", "1", 1, "", 1));
  EXPECT_OK_ELSEWHERE(VSDVS_SetGlobProp("management", "a", "2", 1, "", 0));
  EXPECT_EQ((Texts{"a = 2", "b = 1"}), walk(DVSState_GlobalPropForEach, handle, note_item));
}

TEST_F(Follows, DVSState_PortDataForEach) {
  EXPECT_OK_ELSEWHERE(VSDVS_AddDVPort("workload", "new", 0x64636261));
  DVSPortHandle const handle = DVSState_PortFind("workload", "new");
  std::string const first = std::string(QEL_HNQPROP_PORT_CONNECTID) + " = abcd";
  EXPECT_EQ(Texts{first}, walk(DVSState_PortDataForEach, handle, note_item));
  EXPECT_OK_ELSEWHERE(VSDVS_SetPortProp("workload", "new", "z", "1", 1, "", 1));
  EXPECT_EQ((Texts{first, "z = 1"}), walk(DVSState_PortDataForEach, handle, note_item));
}

TEST_F(Follows, DVSState_SwitchFindByAlias) {
  EXPECT_EQ(nullptr, DVSState_SwitchFindByAlias("edge"));
  EXPECT_OK_ELSEWHERE(create_switch("edge"));
  EXPECT_STREQ("edge", DVS_SwitchName(DVSState_SwitchFindByAlias("edge")));
}

TEST_F(Follows, DVSState_PortFind) {
  EXPECT_EQ(nullptr, DVSState_PortFind("workload", "new"));
  EXPECT_OK_ELSEWHERE(VSDVS_AddDVPort("workload", "new", 0));
  EXPECT_STREQ("new", DVS_PortId(DVSState_PortFind("workload", "new")));
}

TEST_F(Follows, DVSState_GlobalPropLookup) {
  EXPECT_EQ(number(9000), held_by(looked_up(VSPROP_MTU)));
  EXPECT_OK_ELSEWHERE(VSDVS_SetMTU("workload", 4000));
  EXPECT_EQ(number(4000), held_by(looked_up(VSPROP_MTU)));
}

TEST_F(Follows, DVSState_HostPropLookup) {
  DVSDataItem item = nullptr;
  EXPECT_STATUS(QEL_OK, DVSState_HostPropLookup("workload", QEL_HNQPROP_HOST_STATUS, &item));
  EXPECT_EQ(number(QEL_HNQ_STATUS_OK), held_by(item));
  tool("link nic1 down");
  EXPECT_STATUS(QEL_OK, DVSState_HostPropLookup("workload", QEL_HNQPROP_HOST_STATUS, &item));
  EXPECT_EQ(number(QEL_HNQ_STATUS_DEGRADED), held_by(item));
}

TEST_F(Follows, DVS_SwitchName) {
  DVSwitchHandle const handle = DVSState_SwitchFindByAlias("workload");
  EXPECT_STREQ("workload", DVS_SwitchName(handle));
  EXPECT_OK_ELSEWHERE(create_switch("edge"));
  DVSwitchHandle const edge = DVSState_SwitchFindByAlias("edge");
  EXPECT_STREQ("edge", DVS_SwitchName(edge));
  EXPECT_OK_ELSEWHERE(VSDVS_DestroyVSwitch("edge"));
  EXPECT_EQ(nullptr, DVS_SwitchName(edge));
}

TEST_F(Follows, DVS_SwitchId) {
  for (char const *id : {"first", "second"}) {
    EXPECT_OK_ELSEWHERE(VSDVS_CreateVSwitch("edge", id, "", 0, 1, 0, 0, 0));
    EXPECT_STREQ(id, DVS_SwitchId(DVSState_SwitchFindByAlias("edge")));
    EXPECT_OK_ELSEWHERE(VSDVS_DestroyVSwitch("edge"));
  }
}

TEST_F(Follows, DVS_ClassName) {
  // There is one class only: what follows is whether the switch is there.
  EXPECT_OK_ELSEWHERE(create_switch("edge"));
  DVSwitchHandle const handle = DVSState_SwitchFindByAlias("edge");
  EXPECT_STREQ(PS_CLASS_NAME, DVS_ClassName(handle));
  EXPECT_OK_ELSEWHERE(VSDVS_DestroyVSwitch("edge"));
  EXPECT_EQ(nullptr, DVS_ClassName(handle));
}

TEST_F(Follows, DVS_Version) {
  EXPECT_OK_ELSEWHERE(call(DVSQEL_SwitchAdd, "edge", "edge-id", 0, DVS_VERSION_60));
  DVSwitchHandle const handle = DVSState_SwitchFindByAlias("edge");
  EXPECT_EQ(static_cast<unsigned>(DVS_VERSION_60), DVS_Version(handle));
  EXPECT_OK_ELSEWHERE(call(DVSQEL_SwitchSetVersion, "edge", DVS_VERSION_66));
  EXPECT_EQ(static_cast<unsigned>(DVS_VERSION_66), DVS_Version(handle));
}

TEST_F(Follows, DVS_GetMaxPorts) {
  DVSwitchHandle const handle = DVSState_SwitchFindByAlias("workload");
  EXPECT_EQ(512, DVS_GetMaxPorts(handle));
  EXPECT_OK_ELSEWHERE(DVSQEL_SwitchSetMaxPorts("workload", 600));
  EXPECT_EQ(600, DVS_GetMaxPorts(handle));
}

TEST_F(Follows, DVS_PortAlias) {
  DVSPortHandle const handle = DVSState_PortFind("workload", "100");
  EXPECT_EQ(nullptr, DVS_PortAlias(handle));
  for (char const *alias : {"front", "rear"}) {
    EXPECT_OK_ELSEWHERE(set_raw_property("workload", "100", QEL_HNQPROP_PORT_ALIAS, alias));
    EXPECT_STREQ(alias, DVS_PortAlias(handle));
  }
}

TEST_F(Follows, DVS_PortId) {
  DVSPortHandle const handle = DVSState_PortFind("workload", "103");
  EXPECT_STREQ("103", DVS_PortId(handle));
  EXPECT_OK_ELSEWHERE(VSDVS_RemoveDVPort("workload", "103"));
  EXPECT_EQ(nullptr, DVS_PortId(handle));
}

TEST_F(Follows, DVSData_Alloc) {
  EXPECT_EQ("QEL_INVALID_HANDLE", serialised(nullptr));
  DVSDataHandle const first = new_list();
  DVSDataHandle const second = new_list();
  EXPECT_NE(first, second);
  EXPECT_STATUS(QEL_OK, update(first, "one"));
  EXPECT_EQ("one", value_in(document(serialised(first))["properties"], key));
  EXPECT_EQ("none", value_in(document(serialised(second))["properties"], key));
  DVSData_Free(first);
  DVSData_Free(second);
}

TEST_F(Follows, DVSData_Free) {
  static int blocks = 0;
  DVSDataHandle list = nullptr;
  auto const allocate = [](std::size_t size) { return ++blocks, std::malloc(size); };
  auto const release = [](void *memory) { --blocks, std::free(memory); };
  EXPECT_STATUS(QEL_OK, DVSData_Alloc(&list, allocate, release));
  EXPECT_STATUS(QEL_OK, update(list, "one"));
  EXPECT_EQ(1, blocks);
  DVSData_Free(list);
  EXPECT_EQ(0, blocks);
  EXPECT_EQ("QEL_INVALID_HANDLE", serialised(list));
}

TEST_F(Follows, DVSData_Update) {
  DVSDataHandle const list = new_list();
  for (std::string const value : {"one", "two"}) {
    EXPECT_STATUS(QEL_OK, update(list, value));
    EXPECT_EQ(value, value_in(document(serialised(list))["properties"], key));
  }
  DVSData_Free(list);
}

TEST_F(Follows, DVSData_Serialize) {
  DVSDataHandle list = nullptr;
  for (std::string const value : {"one", "two"}) {
    EXPECT_OK_ELSEWHERE(set_port(value));
    EXPECT_STATUS(QEL_OK, DVSQEL_ExtraConfigPortPropList("workload", "100", &list, 0));
    std::string const image = serialised(list);
    EXPECT_STATUS(QEL_OK, DVSQEL_PortAdd("workload", value.c_str(), data_of(image), length_of(image)));
    EXPECT_EQ(value, port_value(value.c_str()));
    DVSData_Free(list);
  }
}

TEST_F(Follows, DVSData_Data) {
  for (std::string const value : {"one", "longer"}) {
    EXPECT_OK_ELSEWHERE(set_global(value));
    EXPECT_EQ(value, held_by(looked_up()));
  }
}

TEST_F(Follows, DVSData_Name) {
  EXPECT_OK_ELSEWHERE(set_global("one"));
  DVSDataItem const item = looked_up();
  EXPECT_STREQ(key, DVSData_Name(item));
  EXPECT_STREQ(VSPROP_MTU, DVSData_Name(looked_up(VSPROP_MTU)));
  EXPECT_STATUS(QEL_OK, DVSQEL_StateCleanup());
  EXPECT_EQ(nullptr, DVSData_Name(item));
}

TEST_F(Follows, DVSData_PropType) {
  for (auto type : {CONFIG_PROP_TYPE, POLICY_PROP_TYPE}) {
    EXPECT_OK_ELSEWHERE(set_global("one", static_cast<qel_uint32>(type)));
    EXPECT_EQ(static_cast<unsigned>(type), DVSData_PropType(looked_up()));
  }
}

TEST_F(Follows, DVSData_IsSamePropType) {
  EXPECT_OK_ELSEWHERE(set_global("one"));
  EXPECT_EQ(0, DVSData_IsSamePropType(looked_up(), POLICY_PROP_TYPE));
  EXPECT_OK_ELSEWHERE(set_global("one", POLICY_PROP_TYPE));
  EXPECT_EQ(1, DVSData_IsSamePropType(looked_up(), POLICY_PROP_TYPE));
}

TEST_F(Follows, DVPortExist) {
  EXPECT_EQ(0, DVPortExist("workload", "new"));
  EXPECT_OK_ELSEWHERE(VSDVS_AddDVPort("workload", "new", 0));
  EXPECT_EQ(1, DVPortExist("workload", "new"));
}

TEST_F(Follows, DVSPortsetNameToAlias) {
  EXPECT_EQ("management", text_answer(DVSPortsetNameToAlias, "portset-1"));
  EXPECT_OK_ELSEWHERE(create_switch("edge"));
  EXPECT_EQ("edge", text_answer(DVSPortsetNameToAlias, "portset-3"));
}

TEST_F(Follows, DVSAliasToSwitchId) {
  for (char const *id : {"first", "second"}) {
    EXPECT_OK_ELSEWHERE(VSDVS_CreateVSwitch("edge", id, "", 0, 1, 0, 0, 0));
    EXPECT_EQ(id, text_answer(DVSAliasToSwitchId, "edge"));
    EXPECT_OK_ELSEWHERE(VSDVS_DestroyVSwitch("edge"));
  }
}

TEST_F(Follows, DVSAliasToSwitchIdAllTypes) {
  for (char const *id : {"first", "second"}) {
    EXPECT_OK_ELSEWHERE(call(DVSQEL_SwitchAdd, "edge", id, 0, 0));
    EXPECT_EQ(id, text_answer(DVSAliasToSwitchIdAllTypes, "edge"));
    EXPECT_OK_ELSEWHERE(DVSQEL_SwitchRemove("edge"));
  }
}

TEST_F(Follows, DVSAliasToPortsetName) {
  for (char const *portset : {"portset-3", "portset-4"}) {
    EXPECT_OK_ELSEWHERE(create_switch("edge"));
    EXPECT_EQ(portset, text_answer(DVSAliasToPortsetName, "edge"));
    EXPECT_OK_ELSEWHERE(VSDVS_DestroyVSwitch("edge"));
  }
}

TEST_F(Follows, QEL_ReturnStatusToString) {
  // It has no state of its own: it names what other calls return, which follows state.
  auto const name = [] {
    return QEL_ReturnStatusToString(static_cast<QEL_ReturnStatus>(DVSQEL_PortFind("workload", "new")));
  };
  EXPECT_STREQ("QEL_NOT_FOUND", name());
  EXPECT_OK_ELSEWHERE(VSDVS_AddDVPort("workload", "new", 0));
  EXPECT_STREQ("QEL_OK", name());
}

}  // namespace follows_dvs_test
