// That each function of libvswitch.so follows state, one test for each; long because there are so many.
#include "follows.hpp"

#include "declared_functions.hpp"

namespace follows_vswitch_test {

constexpr char workload_id[] = "776f726b-6c6f-6164-0000-000000000002";
constexpr char key[] = "org.example.key";

using Texts = std::vector<std::string>;

int rtm(int mode, char const *portset = "portset-1", qel_uint32 *outage = nullptr) {
  std::vector<char> bytes(sizeof(RTMIOCtlQuery) + sizeof(RTM_Portset));
  qel_uint32 const count = 1;
  std::memcpy(bytes.data(), &count, sizeof count);
  std::strcpy(&bytes[sizeof(RTMIOCtlQuery)], portset);
  int const status = call(VSQEL_RTMOp, reinterpret_cast<RTMIOCtlQuery *>(bytes.data()), mode);
  if (outage)
    std::memcpy(outage, &bytes[offsetof(RTMIOCtlQuery, maxAllowedOutage)], sizeof *outage);
  return status;
}

int rtm_module(int mode, int module) {
  std::vector<char> bytes(sizeof(RTMModIOCtlQuery) + sizeof(RTM_ModInfo));
  qel_uint32 const count = 1;
  std::memcpy(bytes.data(), &count, sizeof count);
  std::strcpy(&bytes[offsetof(RTMModIOCtlQuery, psName)], "portset-1");
  std::memcpy(&bytes[sizeof(RTMModIOCtlQuery) + offsetof(RTM_ModInfo, ModID)], &module, sizeof module);
  return call(VSQEL_RTMModOp, reinterpret_cast<RTMModIOCtlQuery *>(bytes.data()), mode);
}

int set_option(int type, qel_uint32 value) {
  std::string buffer = option_value(type, value);
  return VSQEL_SetRuntimeOptions(record_in<VSRuntimeOptions>(buffer));
}

std::string option(qel_uint16 type) {
  auto const options = answer(VSQEL_GetRuntimeOptions, &type, 1);
  return {reinterpret_cast<char const *>(options.get()), options->totalLength};
}

Texts switches() {
  auto const list = answer(VSQEL_GetSwitches, VS_LIST_DVS_ALIAS);
  Texts names;
  for (int i = 0; i < list->count; ++i)
    names.emplace_back(reinterpret_cast<char const *>(list.get() + 1) + 81 * i);
  return names;
}

Texts uplink_nics(char const *switch_name) {
  Texts names;
  for (VSUplinks_entries const &uplink : entries<VSUplinks_entries>(answer(VSQEL_GetUplinks, switch_name)))
    names.emplace_back(uplink.name.string);
  return names;
}

Texts uplink_ports(char const *alias, bool ids = false) {
  VSUplinkPorts *names = nullptr;
  VSUplinkPortIds *dvport_ids = nullptr;
  EXPECT_STATUS(QEL_OK, VSDVS_GetSwitchUplinkPorts(alias, &names, &dvport_ids));
  Texts list;
  for (qel_uint32 i = 0; i < names->nUplinkPorts; ++i)
    list.emplace_back(ids ? reinterpret_cast<char const *>(dvport_ids + 1) + 48 * i
                          : reinterpret_cast<char const *>(names + 1) + 81 * i);
  VSDVS_FreeMemory(names);
  VSDVS_FreeMemory(dvport_ids);
  return list;
}

std::string hint(qel_SwitchPortID port) {
  return answer(VSQEL_PortGetTeamUplinkHint, port).string;
}

// The last bytes of the addresses of a kind, in order.
template <typename... A>
std::vector<int> macs(int (*get)(A...), char const *switch_name, int type, char const *dvport_id = nullptr) {
  std::vector<VSMACEntry> list;
  if constexpr (sizeof...(A) == 4)
    list = entries<VSMACEntry>(answer(get, switch_name, dvport_id, type));
  else
    list = entries<VSMACEntry>(answer(get, switch_name, type));
  std::vector<int> last;
  for (VSMACEntry const &entry : list)
    last.push_back(entry.macAddress[5]);
  return last;
}

int set_mac(char const *dvport_id, unsigned char last, int vlan = 0) {
  VSMACEntry const entry = mac_entry(last, vlan);
  return VSQEL_SetPortMACTable("workload", dvport_id, &entry);
}

int set_learning(char const *dvport_id, qel_uint32 limit) {
  VSPMACLearning const policy = port_learning(1, 1, limit, VSPORT_MAC_LEARNING_LIMIT_POLICY_DROP);
  return VSDVS_SetPortMACLearning("workload", dvport_id, &policy);
}

int set_global_learning(qel_uint32 aging_time, qel_uint32 limit) {
  VSMACLearningGlobalProps props{aging_time, limit, 1, 0};
  return VSQEL_SetGlobalMACLearningProps(&props);
}

Texts mirror_sessions(char const *switch_name) {
  auto const ids = answer(VSQEL_GetDVMirrorSessionIDs, switch_name);
  Texts list;
  for (qel_uint32 i = 0; i < ids->numEntries; ++i)
    list.emplace_back(reinterpret_cast<char const *>(ids.get() + 1) + 32 * i);
  return list;
}

int set_mirror(int (*set)(char const *, char const *, DVMirrorSessionTable *), char const *dvport_id,
               std::string table) {
  return set("workload", dvport_id, record_in<DVMirrorSessionTable>(table));
}

template <typename Record>
std::string bytes_at(Record const *record, std::size_t size) {
  return {reinterpret_cast<char const *>(record), size};
}

std::string mirror_table(char const *dvport_id, std::size_t sessions) {
  auto const table = answer(VSDVS_GetDVMirrorSessions, "workload", dvport_id);
  EXPECT_EQ(sessions, table->numSessions);
  return bytes_at(table.get(), sizeof *table + table->numSessions * sizeof(DVMirrorSession) +
                                   table->numEntities * sizeof(DVMirrorEntity));
}

int set_raw(char const *dvport_id, char const *name, std::string const &value) {
  return set_raw_property("workload", dvport_id, name, value);
}

std::string raw(char const *dvport_id, char const *name) {
  return raw_property("workload", dvport_id, name);
}

// The value of a property that is written, whether it has a default or not.
std::string global(char const *name) {
  return property(VSDVS_GetGlobProp, false, "workload", name);
}

std::string host_value(char const *name) {
  return property(VSDVS_GetHostProp, false, "workload", name);
}

std::string port_value(char const *name) {
  return property(VSDVS_GetPortProp, false, "workload", "100", name);
}

std::string const on(1, '\1');
std::string const off(1, '\0');

// What releasing functions have to do with the records that are handed out.
void expect_release_counts(void (*release)(void *)) {
  MemoryCounts const before = memory_counts();
  auto *info = answer(VSQEL_GetSwitchInfo, "workload").release();
  EXPECT_EQ(before.records + 1, memory_counts().records);
  EXPECT_EQ(before.bytes + sizeof(VSInfo), memory_counts().bytes);
  release(info);
  EXPECT_EQ(before.records, memory_counts().records);
  EXPECT_EQ(before.bytes, memory_counts().bytes);
  EXPECT_EQ(before.wrong_releases, memory_counts().wrong_releases);
  release(info);
  EXPECT_EQ(before.wrong_releases + 1, memory_counts().wrong_releases);
}

TEST_F(Follows, VSQEL_RTMOp) {
  qel_uint32 outage = 0;
  for (unsigned seconds : {2u, 5u}) {
    tool("clock stop");
    for (auto mode : {RTM_IOCCMD_REG_SAVE, RTM_IOCCMD_SAVE, RTM_IOCCMD_BLOCKPORTS})
      EXPECT_STATUS(QEL_OK, rtm(mode));
    tool("clock advance " + std::to_string(seconds));
    for (auto mode : {RTM_IOCCMD_PS_UPGRADE, RTM_IOCCMD_PORT_UPGRADE, RTM_IOCCMD_REG_RESTORE, RTM_IOCCMD_RESTORE})
      EXPECT_STATUS(QEL_OK, rtm(mode));
    EXPECT_STATUS(QEL_OK, rtm(RTM_IOCCMD_RESTORE_COMPLETE, "portset-1", &outage));
    EXPECT_EQ(1000 * seconds, outage);
    EXPECT_STATUS(QEL_OK, rtm(RTM_IOCCMD_COMPLETE));
  }
}

TEST_F(Follows, VSQEL_RTMModOp) {
  EXPECT_STATUS(QEL_INVALID_STATE, rtm_module(RTM_IOCCMD_REG_SAVE, 7));
  EXPECT_OK_ELSEWHERE(rtm(RTM_IOCCMD_REG_SAVE));
  EXPECT_STATUS(QEL_NOT_FOUND, rtm_module(RTM_IOCCMD_SAVE, 7));
  EXPECT_OK_ELSEWHERE(rtm_module(RTM_IOCCMD_REG_SAVE, 7));
  EXPECT_STATUS(QEL_OK, rtm_module(RTM_IOCCMD_SAVE, 7));
  EXPECT_STATUS(QEL_OK, boot());
  EXPECT_STATUS(QEL_INVALID_STATE, rtm_module(RTM_IOCCMD_REG_SAVE, 7));
}

TEST_F(Follows, VSQEL_RTMPortOp) {
  qel_SwitchPortID const port = port_number("management", "2");
  EXPECT_STATUS(QEL_INVALID_STATE, VSQEL_RTMPortOp(1, port, 1));
  EXPECT_OK_ELSEWHERE(rtm(RTM_IOCCMD_REG_SAVE));
  EXPECT_OK_ELSEWHERE(VSQEL_RTMPortOp(2, port, 1));
  EXPECT_STATUS(QEL_BUSY, VSQEL_RTMPortOp(1, port, 1));
  EXPECT_OK_ELSEWHERE(VSQEL_RTMPortOp(2, port, 0));
  EXPECT_STATUS(QEL_OK, VSQEL_RTMPortOp(1, port, 1));
}

TEST_F(Follows, VSQEL_GetRuntimeOptions) {
  EXPECT_EQ(option_value(VS_RT_OPT_IGMP_VERSION, 3), option(VS_RT_OPT_IGMP_VERSION));
  EXPECT_OK_ELSEWHERE(set_option(VS_RT_OPT_IGMP_VERSION, 2));
  EXPECT_EQ(option_value(VS_RT_OPT_IGMP_VERSION, 2), option(VS_RT_OPT_IGMP_VERSION));
}

TEST_F(Follows, VSQEL_SetRuntimeOptions) {
  EXPECT_STATUS(QEL_OK, set_option(VS_RT_OPT_IGMP_QUERY_INTERVAL, 77));
  EXPECT_EQ(option_value(VS_RT_OPT_IGMP_QUERY_INTERVAL, 77), option(VS_RT_OPT_IGMP_QUERY_INTERVAL));
  EXPECT_STATUS(QEL_OK, boot());
  EXPECT_EQ(option_value(VS_RT_OPT_IGMP_QUERY_INTERVAL, 125), option(VS_RT_OPT_IGMP_QUERY_INTERVAL));
}

TEST_F(Follows, VSQEL_GetGlobalMACLearningProps) {
  EXPECT_EQ(bytes_of(VSMACLearningGlobalProps{600, 65536, 0, 1}), bytes_of(answer(VSQEL_GetGlobalMACLearningProps)));
  EXPECT_OK_ELSEWHERE(set_global_learning(30, 40));
  EXPECT_EQ(bytes_of(VSMACLearningGlobalProps{30, 40, 1, 0}), bytes_of(answer(VSQEL_GetGlobalMACLearningProps)));
}

TEST_F(Follows, VSQEL_SetGlobalMACLearningProps) {
  EXPECT_STATUS(QEL_OK, set_global_learning(30, 40));
  EXPECT_EQ(mac_learning_value(30, 40), raw(nullptr, VSPROP_SWITCH_MAC_LEARNING));
  EXPECT_EQ(off, raw(nullptr, VSPROP_SWITCH_STATIC_MAC_ALLOW));
  EXPECT_EQ(on, raw(nullptr, VSPROP_SWITCH_MAC_LEARN_STATIC));
}

TEST_F(Follows, VSQEL_FreeMemory) {
  expect_release_counts(VSQEL_FreeMemory);
}

TEST_F(Follows, VSQEL_GetSwitches) {
  EXPECT_EQ((Texts{"management", "workload"}), switches());
  EXPECT_OK_ELSEWHERE(create_switch("edge"));
  EXPECT_EQ((Texts{"management", "workload", "edge"}), switches());
}

TEST_F(Follows, VSQEL_GetSwitchInfo) {
  EXPECT_EQ(5u, +answer(VSQEL_GetSwitchInfo, "workload")->activePorts);
  EXPECT_EQ(9000u, +answer(VSQEL_GetSwitchInfo, "workload")->mtu);
  tool("connect workload 103 client --mac 02:00:00:00:00:99");
  EXPECT_OK_ELSEWHERE(VSDVS_SetMTU("workload", 4000));
  EXPECT_EQ(6u, +answer(VSQEL_GetSwitchInfo, "workload")->activePorts);
  EXPECT_EQ(4000u, +answer(VSQEL_GetSwitchInfo, "workload")->mtu);
}

TEST_F(Follows, VSQEL_GetVSInfo) {
  EXPECT_EQ(0u, +answer(VSQEL_GetVSInfo, "workload").numSinkPorts);
  EXPECT_EQ(512u, +answer(VSQEL_GetVSInfo, "workload").maxPorts);
  EXPECT_OK_ELSEWHERE(VSDVS_ConfigureSinkPort("workload", "100", 1));
  EXPECT_OK_ELSEWHERE(DVSQEL_SwitchSetMaxPorts("workload", 600));
  EXPECT_EQ(1u, +answer(VSQEL_GetVSInfo, "workload").numSinkPorts);
  EXPECT_EQ(600u, +answer(VSQEL_GetVSInfo, "workload").maxPorts);
}

TEST_F(Follows, VSQEL_RefreshDevNUMAInfo) {
  // The client of port 100 is on node 1, and so is the NIC that comes behind an uplink port only now.
  EXPECT_STATUS(QEL_OK, VSDVS_RemoveSwitchUplinkPort("workload", "uplink-b"));
  EXPECT_OK_ELSEWHERE(VSDVS_AddSwitchUplinkPort("workload", "nic5"));
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_SWITCH_TEAMING, teaming_value({"uplink-a", "nic5"})));
  EXPECT_OK_ELSEWHERE(set_option(VS_RT_OPT_TEAMING_NUMA_AWARE, 1));
  EXPECT_EQ("nic1", hint(port_number("workload", "100")));
  EXPECT_STATUS(QEL_OK, VSQEL_RefreshDevNUMAInfo("workload"));
  EXPECT_EQ("nic5", hint(port_number("workload", "100")));
}

TEST_F(Follows, VSQEL_DVSAliasToSwitchId) {
  for (char const *id : {"first", "second"}) {
    EXPECT_OK_ELSEWHERE(VSDVS_CreateVSwitch("edge", id, "", 0, 1, 0, 0, 0));
    char text[] = "as long as this";
    EXPECT_STATUS(QEL_OK, VSQEL_DVSAliasToSwitchId("edge", text));
    EXPECT_STREQ(id, text);
    EXPECT_OK_ELSEWHERE(VSDVS_DestroyVSwitch("edge"));
  }
}

TEST_F(Follows, VSQEL_GetUplinks) {
  EXPECT_EQ((Texts{"nic1", "nic2"}), uplink_nics("workload"));
  EXPECT_OK_ELSEWHERE(VSDVS_RemoveSwitchUplinkPort("workload", "uplink-a"));
  EXPECT_OK_ELSEWHERE(VSDVS_AddSwitchUplinkPort("workload", "nic3"));
  EXPECT_EQ((Texts{"nic2", "nic3"}), uplink_nics("workload"));
}

TEST_F(Follows, VSQEL_GetUplinkLinkState) {
  EXPECT_EQ(QEL_LINK_STATE_UP, answer(VSQEL_GetUplinkLinkState, "workload", "uplink-a"));
  tool("link nic1 down");
  EXPECT_EQ(QEL_LINK_STATE_DOWN, answer(VSQEL_GetUplinkLinkState, "workload", "uplink-a"));
}

TEST_F(Follows, VSQEL_GetUplinkLACPLinkState) {
  EXPECT_EQ(QEL_LINK_STATE_UP, answer(VSQEL_GetUplinkLACPLinkState, "workload", "uplink-a"));
  EXPECT_OK_ELSEWHERE(call(VSQEL_SetUplinkAdminLinkState, "workload", "uplink-a", QEL_LINK_STATE_DOWN));
  EXPECT_EQ(QEL_LINK_STATE_DOWN, answer(VSQEL_GetUplinkLACPLinkState, "workload", "uplink-a"));
}

TEST_F(Follows, VSQEL_SetUplinkAdminLinkState) {
  for (int state : {QEL_LINK_STATE_DOWN, QEL_LINK_STATE_UP}) {
    EXPECT_STATUS(QEL_OK, call(VSQEL_SetUplinkAdminLinkState, "workload", "uplink-b", state));
    EXPECT_EQ(state, answer(VSQEL_GetUplinkLinkState, "workload", "nic2"));
  }
  tool("link nic2 down");
  EXPECT_STATUS(QEL_OK, call(VSQEL_SetUplinkAdminLinkState, "workload", "uplink-b", QEL_LINK_STATE_UP));
  EXPECT_EQ(QEL_LINK_STATE_DOWN, answer(VSQEL_GetUplinkLinkState, "workload", "nic2"));
}

TEST_F(Follows, VSQEL_GetUplinkDVPortID) {
  EXPECT_EQ("uplink-1", text_answer(VSQEL_GetUplinkDVPortID, "nic1"));
  std::string names = uplink_names({"nic1"});
  std::string ids = uplink_port_ids({"103"});
  EXPECT_OK_ELSEWHERE(
      VSDVS_SetSwitchUplinkPorts("workload", record_in<VSUplinkPorts>(names), record_in<VSUplinkPortIds>(ids)));
  EXPECT_EQ("103", text_answer(VSQEL_GetUplinkDVPortID, "nic1"));
}

TEST_F(Follows, VSQEL_GetLAGTable) {
  auto const bitmap = [] {
    auto const table = answer(VSQEL_GetLAGTable, "workload");
    EXPECT_EQ(1u, table->numLAGs);
    VSLAGStatus lag;
    std::memcpy(static_cast<void *>(&lag), table.get() + 1, sizeof lag);
    return qel_uint64{lag.uplinkLinkupBitmap};
  };
  EXPECT_EQ(3u, bitmap());
  tool("link nic1 down");
  EXPECT_EQ(2u, bitmap());
}

TEST_F(Follows, VSQEL_PortGetTeamUplinkHint) {
  qel_SwitchPortID const port = port_number("workload", "100");
  EXPECT_OK_ELSEWHERE(VSDVS_SetPortTeamingOverride("workload", "100", "uplink-b"));
  EXPECT_EQ("nic2", hint(port));
  EXPECT_OK_ELSEWHERE(VSDVS_SetPortTeamingOverride("workload", "100", "uplink-a"));
  EXPECT_EQ("nic1", hint(port));
}

TEST_F(Follows, VSQEL_GetLSTeamingPolicyTable) {
  char alias[] = "workload";
  EXPECT_EQ(0u, answer(VSQEL_GetLSTeamingPolicyTable, alias)->numLSTeam);
  std::string const value = ls_teaming_value("gold", "uplink-b");
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_LS_TEAMING_POLICY, value));
  EXPECT_EQ(value, bytes_at(answer(VSQEL_GetLSTeamingPolicyTable, alias).get(), value.size()));
}

TEST_F(Follows, VSQEL_GetPortLSTeamingPolicyName) {
  qel_SwitchPortID const port = port_number("workload", "100");
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_LS_TEAMING_POLICY, ls_teaming_value("gold", "uplink-b")));
  EXPECT_OK_ELSEWHERE(VSDVS_SetPortLSTeamingPolicy("workload", "100", "gold"));
  EXPECT_EQ("gold", text_answer(VSQEL_GetPortLSTeamingPolicyName, port));
  EXPECT_OK_ELSEWHERE(VSDVS_ClearLSTeamingPolicy("workload"));
  EXPECT_EQ("", text_answer(VSQEL_GetPortLSTeamingPolicyName, port));
}

TEST_F(Follows, VSQEL_GetServicePortTeamingStats) {
  EXPECT_EQ(bytes_of(VSServicePortTeamingStats{40, 30, 9, 1, 55, 0}),
            bytes_of(answer(VSQEL_GetServicePortTeamingStats, "workload")));
  tool("boot");
  EXPECT_EQ(bytes_of(VSServicePortTeamingStats{}), bytes_of(answer(VSQEL_GetServicePortTeamingStats, "workload")));
}

TEST_F(Follows, VSQEL_GetSwitchMACLearningInfo) {
  VSMACLearningSwitchInfo const before = answer(VSQEL_GetSwitchMACLearningInfo, "workload");
  EXPECT_EQ(1u, before.numLearningPorts);
  EXPECT_EQ(2u, before.numMACsLearned);
  EXPECT_OK_ELSEWHERE(set_learning("100", 5));
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_SWITCH_MAC_LEARNING, mac_learning_value(1, 17)));
  VSMACLearningSwitchInfo const after = answer(VSQEL_GetSwitchMACLearningInfo, "workload");
  EXPECT_EQ(2u, after.numLearningPorts);
  EXPECT_EQ(1u, after.numMACsLearned) << "the other address has aged";
  EXPECT_EQ(1u, after.agingTime);
  EXPECT_EQ(17u, after.macLimit);
}

TEST_F(Follows, VSQEL_GetMACLearningAllPorts) {
  EXPECT_EQ(
      4096u,
      +entries<VSPMACLearningInfo>(answer(VSQEL_GetMACLearningAllPorts, "workload")).at(0).portMACLearning.macLimit);
  EXPECT_OK_ELSEWHERE(set_learning("100", 5));
  auto const ports = entries<VSPMACLearningInfo>(answer(VSQEL_GetMACLearningAllPorts, "workload"));
  ASSERT_EQ(4u, ports.size());
  EXPECT_EQ(port_number("workload", "100"), +ports[0].portID);
  EXPECT_EQ(5u, +ports[0].portMACLearning.macLimit);
}

TEST_F(Follows, VSQEL_GetSwitchMACLearningStats) {
  auto const of_learning_port = [] {
    auto const ports = entries<VSPMACLearningStatsPortInfo>(answer(VSQEL_GetSwitchMACLearningStats, "workload"));
    EXPECT_EQ(4u, ports.size());
    EXPECT_EQ(port_number("workload", "103"), ports.back().portID);
    return bytes_of(ports.back().portStats);
  };
  EXPECT_EQ(bytes_of(VSPMACLearningStats{2, 0, 3, 1}), of_learning_port());
  tool("boot");
  EXPECT_EQ(bytes_of(VSPMACLearningStats{}), of_learning_port());
}

TEST_F(Follows, VSQEL_GetPortMACLearningStats) {
  EXPECT_EQ(bytes_of(VSPMACLearningStats{2, 0, 3, 1}),
            bytes_of(answer(VSQEL_GetPortMACLearningStats, "workload", "103")));
  EXPECT_OK_ELSEWHERE(set_global_learning(1, 65536));
  EXPECT_EQ(bytes_of(VSPMACLearningStats{1, 0, 3, 1}),
            bytes_of(answer(VSQEL_GetPortMACLearningStats, "workload", "103")));
}

TEST_F(Follows, VSQEL_GetMACTable) {
  EXPECT_EQ((std::vector<int>{0x00, 0x01, 0x02}), macs(VSQEL_GetMACTable, "workload", VS_MAC_ADDR_TYPE_STATIC));
  tool("connect workload 103 client --mac 02:00:00:00:00:99");
  EXPECT_EQ((std::vector<int>{0x99, 0x00, 0x01, 0x02}), macs(VSQEL_GetMACTable, "workload", VS_MAC_ADDR_TYPE_STATIC));
}

TEST_F(Follows, VSQEL_GetTeamMACTable) {
  EXPECT_EQ((std::vector<int>{1, 2}), macs(VSQEL_GetTeamMACTable, "workload", VS_MAC_ADDR_TYPE_LEARNED));
  EXPECT_OK_ELSEWHERE(set_global_learning(10, 65536));
  EXPECT_EQ((std::vector<int>{1}), macs(VSQEL_GetTeamMACTable, "workload", VS_MAC_ADDR_TYPE_LEARNED));
}

TEST_F(Follows, VSQEL_GetPortMACTable) {
  auto const by_hand = [] { return macs(VSQEL_GetPortMACTable, "workload", VS_MAC_ADDR_TYPE_USER, "100"); };
  EXPECT_OK_ELSEWHERE(set_mac("100", 0xd1));
  EXPECT_EQ((std::vector<int>{0xd1}), by_hand());
  EXPECT_OK_ELSEWHERE(set_mac("100", 0xd2));
  EXPECT_EQ((std::vector<int>{0xd1, 0xd2}), by_hand());
}

TEST_F(Follows, VSQEL_SetPortMACTable) {
  EXPECT_STATUS(QEL_OK, set_mac("100", 0xd1));
  EXPECT_EQ((std::vector<int>{0xd1}), macs(VSQEL_GetMACTable, "workload", VS_MAC_ADDR_TYPE_USER));
  EXPECT_OK_ELSEWHERE(VSDVS_SetStaticMACAllow("workload", 0));
  EXPECT_STATUS(QEL_NO_PERMISSION, set_mac("100", 0xd2));
}

TEST_F(Follows, VSQEL_ClearPortMACTable) {
  VSMACEntry const entry = mac_entry(0xd1);
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_ClearPortMACTable("workload", "100", &entry));
  EXPECT_OK_ELSEWHERE(set_mac("100", 0xd1));
  EXPECT_STATUS(QEL_OK, VSQEL_ClearPortMACTable("workload", "100", &entry));
  EXPECT_EQ((std::vector<int>{}), macs(VSQEL_GetMACTable, "workload", VS_MAC_ADDR_TYPE_USER));
}

TEST_F(Follows, VSQEL_GetStaticLectx) {
  EXPECT_EQ(3u, answer(VSQEL_GetStaticLectx, "workload")->numEntries);
  EXPECT_OK_ELSEWHERE(set_mac("103", 0xd1, 70));
  auto const list = entries<VSStaticLEEntry>(answer(VSQEL_GetStaticLectx, "workload"));
  ASSERT_EQ(4u, list.size());
  EXPECT_EQ(0xd1, list[3].macAddress[5]);
  EXPECT_EQ(port_number("workload", "103"), +list[3].portID);
  EXPECT_EQ(1ull << (70 - 64), +list[3].vlanBitmap.bits[1]);
}

TEST_F(Follows, VSQEL_GetPortStaticLectx) {
  auto const vlans = [] {
    return +entries<VSStaticLEEntry>(answer(VSQEL_GetPortStaticLectx, "workload", "100")).at(0).vlanBitmap.bits[0];
  };
  EXPECT_EQ(1u, vlans());
  EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_VLAN, vlan_value(0, 7)));
  EXPECT_EQ(1u << 7, vlans());
}

TEST_F(Follows, VSQEL_GetL2Security) {
  auto const first = [] {
    return bytes_of(entries<VSPropSecurityPortInfo>(answer(VSQEL_GetL2Security, "workload")).at(0));
  };
  qel_SwitchPortID const port = port_number("workload", "100");
  EXPECT_EQ(bytes_of(VSPropSecurityPortInfo{port, {0}}), first());
  EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_SECURITY, number(VSPORT_SECURITY_DISALLOW_FORGED_SRC)));
  EXPECT_EQ(bytes_of(VSPropSecurityPortInfo{port, {VSPORT_SECURITY_DISALLOW_FORGED_SRC}}), first());
}

TEST_F(Follows, VSQEL_GetRARPStats) {
  EXPECT_EQ(bytes_of(VSRARPStats{6, 100, 200}), bytes_of(answer(VSQEL_GetRARPStats, "workload")));
  EXPECT_EQ(bytes_of(VSRARPStats{0, 0, 0}), bytes_of(answer(VSQEL_GetRARPStats, "management")));
  EXPECT_OK_ELSEWHERE(call(VSQEL_SetUplinkAdminLinkState, "management", "nic0", QEL_LINK_STATE_DOWN));
  // One packet for the client, in one interval.
  EXPECT_EQ(bytes_of(VSRARPStats{1, 100, 100}), bytes_of(answer(VSQEL_GetRARPStats, "management")));
}

TEST_F(Follows, VSQEL_GetMcastFilterMode) {
  EXPECT_EQ(VS_MCAST_FILTER_MODE_LEGACY, answer(VSQEL_GetMcastFilterMode, "workload"));
  EXPECT_OK_ELSEWHERE(call(VSDVS_SetMcastFilterMode, "workload", VS_MCAST_FILTER_MODE_MLD));
  EXPECT_EQ(VS_MCAST_FILTER_MODE_MLD, answer(VSQEL_GetMcastFilterMode, "workload"));
}

TEST_F(Follows, VSQEL_GetMcastFilters) {
  auto const addresses = [] {
    auto const list =
        answer(VSQEL_GetMcastFilters, "management", port_number("management", "1"), VS_MCAST_FILTER_MODE_LEGACY);
    return bytes_at(list.get() + 1, 6 * list->numEntries);
  };
  std::string const joined("\x01\x00\x5e\x7f\x00\x01\x33\x33\x00\x01\x00\x03", 12);
  EXPECT_EQ(joined, addresses());
  EXPECT_OK_ELSEWHERE(set_raw_property("management", "1", VSPROP_PORT_USER_MCAST_ADDRESSES, user_addresses_value({9})));
  EXPECT_EQ(std::string("\1\0\0\0\0\x09", 6) + joined, addresses());
}

TEST_F(Follows, VSQEL_GetMcastFilterStats) {
  auto const sources = [] {
    auto const stats = answer(VSQEL_GetMcastFilterStats, "management", port_number("management", "1"),
                              VS_MCAST_FILTER_MODE_IGMP, "\xef\xff\x00\x01");
    return std::pair(+stats->srcIPFilterMode, entries<qel_IPv4Address>(stats));
  };
  EXPECT_OK_ELSEWHERE(call(VSDVS_SetMcastFilterMode, "management", VS_MCAST_FILTER_MODE_IGMP));
  auto const before = sources();
  EXPECT_EQ((std::vector<qel_IPv4Address>{0x010200c0}), before.second);
  boot_from(R"({"format": 1, "switches": [{"alias": "management", "switch_id": "m", "ports": [{"dvport_id": "1",
    "client": {"name": "c", "type": "vnic", "mac": "02:00:00:00:00:01"}, "multicast_groups": [
      {"address": "239.255.0.1", "sources": ["192.0.2.7", "192.0.2.8"], "mode": "exclude"}]}]}]})");
  EXPECT_OK_ELSEWHERE(call(VSDVS_SetMcastFilterMode, "management", VS_MCAST_FILTER_MODE_IGMP));
  auto const after = sources();
  EXPECT_EQ((std::vector<qel_IPv4Address>{0x070200c0, 0x080200c0}), after.second);
  EXPECT_NE(before.first, after.first);
}

TEST_F(Follows, VSQEL_GetDVMirrorSessionIDs) {
  EXPECT_EQ(Texts{}, mirror_sessions("workload"));
  EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_MIRROR_SESSIONS, mirror_value({"one", "two"})));
  EXPECT_EQ((Texts{"one", "two"}), mirror_sessions("workload"));
}

TEST_F(Follows, VSQEL_GetDVMirrorSessionStats) {
  VSDVMirrorSessionStats expected{240, 2, 238, 10, 1, "Management traffic"};
  EXPECT_EQ(bytes_of(expected), bytes_of(answer(VSQEL_GetDVMirrorSessionStats, "management", "management-tap")));
  tool("boot");
  expected = {0, 0, 0, 0, 0, "Management traffic"};
  EXPECT_EQ(bytes_of(expected), bytes_of(answer(VSQEL_GetDVMirrorSessionStats, "management", "management-tap")));
}

TEST_F(Follows, VSQEL_GetPromiscSessionActiveDsts) {
  auto const ports = [] { return entries<qel_SwitchPortID>(answer(VSQEL_GetPromiscSessionActiveDsts, "workload")); };
  EXPECT_EQ(std::vector<qel_SwitchPortID>{}, ports());
  EXPECT_OK_ELSEWHERE(set_raw("101", VSPROP_PORT_EXTRA_ETH_FRP, eth_filter_value(QEL_ETH_FILTER_PROMISC)));
  EXPECT_EQ(std::vector<qel_SwitchPortID>{port_number("workload", "101")}, ports());
}

TEST_F(Follows, VSDVS_CreateVSwitch) {
  EXPECT_STATUS(QEL_OK, VSDVS_CreateVSwitch("edge", "edge-id", "", 16, 1, 1400, DVS_VERSION_65, 7));
  EXPECT_EQ((Texts{"management", "workload", "edge"}), switches());
  EXPECT_EQ(16u, +answer(VSQEL_GetVSInfo, "edge").maxPorts);
  EXPECT_OK_ELSEWHERE(create_switch("other"));
  EXPECT_STATUS(QEL_EXISTS, VSDVS_CreateVSwitch("other", "other-id", "", 0, 1, 0, 0, 0));
}

TEST_F(Follows, VSDVS_DestroyVSwitch) {
  EXPECT_STATUS(QEL_BUSY, VSDVS_DestroyVSwitch("management"));
  tool("disconnect management 1");
  EXPECT_STATUS(QEL_OK, VSDVS_DestroyVSwitch("management"));
  EXPECT_EQ(Texts{"workload"}, switches());
}

TEST_F(Follows, VSDVS_SetMTU) {
  EXPECT_STATUS(QEL_OK, VSDVS_SetMTU("workload", 4000));
  EXPECT_EQ(number(4000), raw(nullptr, VSPROP_MTU));
}

TEST_F(Follows, VSDVS_GetMTU) {
  EXPECT_EQ(9000u, answer(VSDVS_GetMTU, "workload"));
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_MTU, number(4000)));
  EXPECT_EQ(4000u, answer(VSDVS_GetMTU, "workload"));
}

TEST_F(Follows, VSDVS_AddDVPort) {
  EXPECT_EQ(0, DVPortExist("workload", "new"));
  EXPECT_STATUS(QEL_OK, VSDVS_AddDVPort("workload", "new", 77));
  EXPECT_EQ(1, DVPortExist("workload", "new"));
  EXPECT_EQ(number(77), raw("new", QEL_HNQPROP_PORT_CONNECTID));
  EXPECT_OK_ELSEWHERE(VSDVS_RemoveDVPort("workload", "new"));
  EXPECT_STATUS(QEL_OK, VSDVS_AddDVPort("workload", "new", 78));
}

TEST_F(Follows, VSDVS_AddOpaqueDVPort) {
  EXPECT_STATUS(QEL_OK, VSDVS_AddOpaqueDVPort("workload", "opaque", "outside"));
  EXPECT_STREQ("opaque", answer(DVSQEL_PortGetByExternalId, "workload", "outside")->dvPortId);
  EXPECT_STATUS(QEL_EXISTS, VSDVS_AddOpaqueDVPort("workload", "other", "outside"));
  EXPECT_OK_ELSEWHERE(VSDVS_RemoveDVPort("workload", "opaque"));
  EXPECT_STATUS(QEL_OK, VSDVS_AddOpaqueDVPort("workload", "other", "outside"));
}

TEST_F(Follows, VSDVS_RemoveDVPort) {
  EXPECT_STATUS(QEL_BUSY, VSDVS_RemoveDVPort("workload", "100"));
  tool("disconnect workload 100");
  EXPECT_STATUS(QEL_OK, VSDVS_RemoveDVPort("workload", "100"));
  EXPECT_EQ(0, DVPortExist("workload", "100"));
}

TEST_F(Follows, VSDVS_DvPortIDToPortID) {
  qel_SwitchPortID const first = answer(VSDVS_DvPortIDToPortID, "workload", "103");
  EXPECT_OK_ELSEWHERE(VSDVS_RemoveDVPort("workload", "103"));
  EXPECT_OK_ELSEWHERE(VSDVS_AddDVPort("workload", "103", 0));
  EXPECT_EQ(first + 1, answer(VSDVS_DvPortIDToPortID, "workload", "103")) << "the next number that was never used";
}

TEST_F(Follows, VSDVS_DvPortIDToPortIDFromDVSID) {
  EXPECT_OK_ELSEWHERE(VSDVS_AddDVPort("workload", "first", 0));
  qel_SwitchPortID const first = answer(VSDVS_DvPortIDToPortIDFromDVSID, workload_id, "first");
  EXPECT_EQ(port_number("workload", "first"), first);
  EXPECT_OK_ELSEWHERE(VSDVS_AddDVPort("workload", "second", 0));
  EXPECT_EQ(first + 1, answer(VSDVS_DvPortIDToPortIDFromDVSID, workload_id, "second"));
}

TEST_F(Follows, VSDVS_GetAliasFromPortset) {
  EXPECT_OK_ELSEWHERE(create_switch("edge"));
  EXPECT_EQ("edge", text_answer(VSDVS_GetAliasFromPortset, "portset-3"));
  EXPECT_OK_ELSEWHERE(VSDVS_DestroyVSwitch("edge"));
  EXPECT_OK_ELSEWHERE(create_switch("other"));
  EXPECT_EQ("other", text_answer(VSDVS_GetAliasFromPortset, "portset-4"));
}

TEST_F(Follows, VSDVS_ClearSwitchUplinkPorts) {
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_SWITCH_TEAMING, teaming_value({"uplink-a"})));
  EXPECT_STATUS(QEL_BUSY, VSDVS_ClearSwitchUplinkPorts("workload"));
  EXPECT_OK_ELSEWHERE(VSDVS_ClearTeamingPolicy("workload"));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearSwitchUplinkPorts("workload"));
  EXPECT_EQ(Texts{}, uplink_nics("workload"));
}

TEST_F(Follows, VSDVS_AddSwitchUplinkPort) {
  EXPECT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("workload", "nic3"));
  EXPECT_EQ((Texts{"nic1", "nic2", "nic3"}), uplink_nics("workload"));
  EXPECT_STATUS(QEL_BUSY, VSDVS_AddSwitchUplinkPort("workload", "nic0"));
  EXPECT_OK_ELSEWHERE(VSDVS_ClearSwitchUplinkPorts("management"));
  EXPECT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("workload", "nic0"));
}

TEST_F(Follows, VSDVS_RemoveSwitchUplinkPort) {
  EXPECT_STATUS(QEL_OK, VSDVS_RemoveSwitchUplinkPort("workload", "uplink-a"));
  EXPECT_EQ(Texts{"nic2"}, uplink_nics("workload"));
  EXPECT_OK_ELSEWHERE(VSDVS_SetPortTeamingOverride("workload", "100", "uplink-b"));
  EXPECT_STATUS(QEL_BUSY, VSDVS_RemoveSwitchUplinkPort("workload", "uplink-b"));
}

TEST_F(Follows, VSDVS_SetSwitchUplinkPorts) {
  std::string names = uplink_names({"nic3", "nic4"});
  EXPECT_STATUS(QEL_OK, VSDVS_SetSwitchUplinkPorts("workload", record_in<VSUplinkPorts>(names), nullptr));
  EXPECT_EQ((Texts{"nic3", "nic4"}), uplink_nics("workload"));
  EXPECT_EQ(names, raw(nullptr, QEL_HNQPROP_SWITCH_UPLINKPORTS));
}

TEST_F(Follows, VSDVS_GetSwitchUplinkPorts) {
  EXPECT_EQ((Texts{"uplink-a", "uplink-b"}), uplink_ports("workload"));
  EXPECT_EQ((Texts{"uplink-1", "uplink-2"}), uplink_ports("workload", true));
  EXPECT_OK_ELSEWHERE(VSDVS_RemoveSwitchUplinkPort("workload", "uplink-a"));
  EXPECT_EQ((Texts{"uplink-b"}), uplink_ports("workload"));
  EXPECT_EQ((Texts{"uplink-2"}), uplink_ports("workload", true));
}

TEST_F(Follows, VSDVS_ConfigureSinkPort) {
  EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_EXTRA_ETH_FRP, eth_filter_value(QEL_ETH_FILTER_UNICAST)));
  EXPECT_STATUS(QEL_OK, VSDVS_ConfigureSinkPort("workload", "100", 1));
  EXPECT_EQ(eth_filter_value(QEL_ETH_FILTER_UNICAST | QEL_ETH_FILTER_SINK), raw("100", VSPROP_PORT_EXTRA_ETH_FRP));
}

TEST_F(Follows, VSDVS_IsSinkPortEnabled) {
  EXPECT_EQ(0, answer(VSDVS_IsSinkPortEnabled, "workload", "100"));
  EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_EXTRA_ETH_FRP, eth_filter_value(QEL_ETH_FILTER_SINK)));
  EXPECT_EQ(1, answer(VSDVS_IsSinkPortEnabled, "workload", "100"));
}

TEST_F(Follows, VSDVS_SetRCFType) {
  EXPECT_STATUS(QEL_OK, call(VSDVS_SetRCFType, "workload", QBR_RCF_INSN_TYPE_EBPF));
  EXPECT_EQ(number(QBR_RCF_INSN_TYPE_EBPF), raw(nullptr, VSPROP_RCF_INSN_TYPE));
}

TEST_F(Follows, VSDVS_GetRCFType) {
  EXPECT_EQ(QBR_RCF_INSN_TYPE_CBPF, answer(VSDVS_GetRCFType, "workload"));
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_RCF_INSN_TYPE, number(QBR_RCF_INSN_TYPE_EBPF)));
  EXPECT_EQ(QBR_RCF_INSN_TYPE_EBPF, answer(VSDVS_GetRCFType, "workload"));
}

TEST_F(Follows, VSDVS_FreeMemory) {
  expect_release_counts(VSDVS_FreeMemory);
}

TEST_F(Follows, VSDVS_GetGlobProp) {
  EXPECT_EQ("QEL_NOT_FOUND", global(key));
  EXPECT_OK_ELSEWHERE(VSDVS_SetGlobProp("workload", key, "one", 3, "", 1));
  EXPECT_EQ("one", global(key));
  EXPECT_OK_ELSEWHERE(VSDVS_SetMTU("workload", 4000));
  EXPECT_EQ(number(4000), global(VSPROP_MTU));
}

TEST_F(Follows, VSDVS_SetGlobProp) {
  EXPECT_STATUS(QEL_OK, VSDVS_SetGlobProp("workload", VSPROP_MTU, number(4000).data(), 4, "", 1));
  EXPECT_EQ(4000u, mtu_of("workload"));
  EXPECT_STATUS(QEL_OK, VSDVS_SetGlobProp("workload", key, "one", 3, "", 1));
  EXPECT_EQ("one", bytes_answer(DVSQEL_GlobalPropGet, "workload", key));
}

TEST_F(Follows, VSDVS_ClearGlobProp) {
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_ClearGlobProp("workload", key, "", 1));
  EXPECT_OK_ELSEWHERE(VSDVS_SetGlobProp("workload", key, "one", 3, "", 1));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearGlobProp("workload", key, "", 1));
  EXPECT_EQ("QEL_NOT_FOUND", bytes_answer(DVSQEL_GlobalPropGet, "workload", key));
}

TEST_F(Follows, VSDVS_GetHostProp) {
  EXPECT_EQ(number(QEL_HNQ_STATUS_OK), host_value(QEL_HNQPROP_HOST_STATUS));
  tool("link nic1 down");
  EXPECT_EQ(number(QEL_HNQ_STATUS_DEGRADED), host_value(QEL_HNQPROP_HOST_STATUS));
}

TEST_F(Follows, VSDVS_SetHostProp) {
  EXPECT_STATUS(QEL_OK, VSDVS_SetHostProp("workload", key, "host", 4, "", 1));
  EXPECT_EQ("host", bytes_answer(DVSQEL_HostPropGet, "workload", key));
  std::string const uplinks = uplink_names({"nic3"}) + uplink_port_ids({""});
  EXPECT_STATUS(QEL_OK, VSDVS_SetHostProp("workload", QEL_HNQPROP_HOST_UPLINKPORTS, uplinks.data(),
                                          static_cast<int>(uplinks.size()), "", 1));
  EXPECT_EQ(Texts{"nic3"}, uplink_nics("workload"));
}

TEST_F(Follows, VSDVS_SetRuntimeHostProp) {
  DVSDataItem item = nullptr;
  for (char const *value : {"one", "two"}) {
    EXPECT_STATUS(QEL_OK, VSDVS_SetRuntimeHostProp("workload", key, value, 3, "", 1));
    EXPECT_EQ(value, bytes_answer(DVSQEL_HostPropGet, "workload", key));
    EXPECT_STATUS(QEL_OK, DVSState_HostPropLookup("workload", key, &item));
    EXPECT_EQ(static_cast<unsigned>(RUNTIME_PROP_TYPE), DVSData_PropType(item));
  }
}

TEST_F(Follows, VSDVS_ClearHostProp) {
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_ClearHostProp("workload", key, "", 1));
  EXPECT_OK_ELSEWHERE(VSDVS_SetHostProp("workload", key, "host", 4, "", 1));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearHostProp("workload", key, "", 1));
  EXPECT_EQ("QEL_NOT_FOUND", host_value(key));
}

TEST_F(Follows, VSDVS_GetPortProp) {
  EXPECT_EQ("web0.eth0", port_value(QEL_HNQPROP_PORT_VNIC_CONNECTEE));
  tool("disconnect workload 100");
  EXPECT_EQ("", port_value(QEL_HNQPROP_PORT_VNIC_CONNECTEE));
  tool("connect workload 100 other");
  EXPECT_EQ("other", port_value(QEL_HNQPROP_PORT_VNIC_CONNECTEE));
}

TEST_F(Follows, VSDVS_SetPortProp) {
  EXPECT_STATUS(QEL_OK, VSDVS_SetPortProp("workload", "100", VSPROP_PORT_TX_UPLINK, "\1", 1, "", 1));
  EXPECT_EQ(1, answer(VSDVS_GetTxUplinkAlways, "workload", "100"));
  EXPECT_STATUS(QEL_OK, VSDVS_SetPortProp("workload", "100", key, "port", 4, "", 0));
  EXPECT_EQ("port", bytes_answer(DVSQEL_PortDataGet, "workload", "100", key));
  EXPECT_STATUS(QEL_OK, boot());
  EXPECT_EQ("QEL_NOT_FOUND", bytes_answer(DVSQEL_PortDataGet, "workload", "100", key));
}

TEST_F(Follows, VSDVS_ClearPortProp) {
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_ClearPortProp("workload", "100", key, "", 1));
  EXPECT_OK_ELSEWHERE(VSDVS_SetPortProp("workload", "100", key, "port", 4, "", 1));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearPortProp("workload", "100", key, "", 1));
  EXPECT_EQ("QEL_NOT_FOUND", port_value(key));
}

TEST_F(Follows, VSDVS_SetTeamingPolicy) {
  std::string value = teaming_value({"uplink-b"});
  EXPECT_STATUS(QEL_OK, VSDVS_SetTeamingPolicy("workload", record_in<VSTeamPolicy>(value)));
  EXPECT_EQ(value, raw(nullptr, VSPROP_SWITCH_TEAMING));
  EXPECT_EQ("nic2", hint(port_number("workload", "100")));
}

TEST_F(Follows, VSDVS_GetTeamingPolicy) {
  EXPECT_EQ(teaming_value({"uplink-a", "uplink-b"}, TEAM_FRP_TYPE_LB_SRCID, TEAM_FRP_FLAG_NOTIFY_SWITCH),
            bytes_of(answer(VSDVS_GetTeamingPolicy, "workload")));
  EXPECT_OK_ELSEWHERE(VSDVS_AddSwitchUplinkPort("workload", "nic3"));
  EXPECT_EQ(teaming_value({"uplink-a", "uplink-b", "nic3"}, TEAM_FRP_TYPE_LB_SRCID, TEAM_FRP_FLAG_NOTIFY_SWITCH),
            bytes_of(answer(VSDVS_GetTeamingPolicy, "workload")));
}

TEST_F(Follows, VSDVS_ClearTeamingPolicy) {
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_SWITCH_TEAMING, teaming_value({"uplink-b"})));
  EXPECT_STATUS(QEL_BUSY, VSDVS_RemoveSwitchUplinkPort("workload", "uplink-b"));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearTeamingPolicy("workload"));
  EXPECT_STATUS(QEL_OK, VSDVS_RemoveSwitchUplinkPort("workload", "uplink-b"));
}

TEST_F(Follows, VSDVS_GetTeamingPolicyFromDVSID) {
  for (char const *uplink : {"uplink-a", "uplink-b"}) {
    EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_SWITCH_TEAMING, teaming_value({uplink})));
    EXPECT_EQ(teaming_value({uplink}), bytes_of(answer(VSDVS_GetTeamingPolicyFromDVSID, workload_id)));
  }
}

TEST_F(Follows, VSDVS_SetPortTeamingPolicy) {
  std::string value = teaming_value({"uplink-b"});
  EXPECT_STATUS(QEL_OK, VSDVS_SetPortTeamingPolicy("workload", "100", record_in<VSTeamPolicy>(value)));
  EXPECT_EQ(value, raw("100", VSPROP_PORT_TEAMING_POLICY));
  EXPECT_EQ("nic2", hint(port_number("workload", "100")));
}

TEST_F(Follows, VSDVS_GetPortTeamingPolicy) {
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_SWITCH_TEAMING, teaming_value({"uplink-a"})));
  EXPECT_EQ(teaming_value({"uplink-a"}), bytes_of(answer(VSDVS_GetPortTeamingPolicy, "workload", "100")));
  EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_TEAMING_POLICY, teaming_value({"uplink-b"})));
  EXPECT_EQ(teaming_value({"uplink-b"}), bytes_of(answer(VSDVS_GetPortTeamingPolicy, "workload", "100")));
}

TEST_F(Follows, VSDVS_ClearPortTeamingPolicy) {
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_SWITCH_TEAMING, teaming_value({"uplink-a"})));
  EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_TEAMING_POLICY, teaming_value({"uplink-b"})));
  EXPECT_EQ("nic2", hint(port_number("workload", "100")));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearPortTeamingPolicy("workload", "100"));
  EXPECT_EQ("nic1", hint(port_number("workload", "100")));
}

TEST_F(Follows, VSDVS_SetPortTeamingOverride) {
  EXPECT_STATUS(QEL_OK, VSDVS_SetPortTeamingOverride("workload", "100", "uplink-b"));
  EXPECT_EQ("uplink-b", raw("100", VSPROP_PORT_TEAMING_OVERRIDE));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_SetPortTeamingOverride("workload", "100", "nic3"));
  EXPECT_OK_ELSEWHERE(VSDVS_AddSwitchUplinkPort("workload", "nic3"));
  EXPECT_STATUS(QEL_OK, VSDVS_SetPortTeamingOverride("workload", "100", "nic3"));
}

TEST_F(Follows, VSDVS_GetPortTeamingOverride) {
  for (char const *uplink : {"uplink-b", "uplink-a"}) {
    EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_TEAMING_OVERRIDE, uplink));
    EXPECT_EQ(uplink, text_answer(VSDVS_GetPortTeamingOverride, "workload", "100"));
  }
}

TEST_F(Follows, VSDVS_ClearPortTeamingOverride) {
  EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_TEAMING_OVERRIDE, "uplink-b"));
  EXPECT_EQ("uplink-b", raw("100", VSPROP_PORT_TEAMING_OVERRIDE));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearPortTeamingOverride("workload", "100"));
  EXPECT_EQ("", raw("100", VSPROP_PORT_TEAMING_OVERRIDE));
}

TEST_F(Follows, VSDVS_SetLSTeamingPolicy) {
  for (char const *name : {"gold", "silver"}) {
    std::string value = ls_teaming_value(name, "uplink-b");
    EXPECT_STATUS(QEL_OK, VSDVS_SetLSTeamingPolicy("workload", record_in<LSTeamTable>(value)));
    EXPECT_EQ(value, raw(nullptr, VSPROP_LS_TEAMING_POLICY));
    EXPECT_STATUS(QEL_OK, VSDVS_SetPortLSTeamingPolicy("workload", "100", name));
  }
}

TEST_F(Follows, VSDVS_GetLSTeamingPolicyTable) {
  EXPECT_EQ(0u, answer(VSDVS_GetLSTeamingPolicyTable, "workload")->numLSTeam);
  std::string const value = ls_teaming_value("gold", "uplink-b");
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_LS_TEAMING_POLICY, value));
  EXPECT_EQ(value, bytes_at(answer(VSDVS_GetLSTeamingPolicyTable, "workload").get(), value.size()));
}

TEST_F(Follows, VSDVS_ClearLSTeamingPolicy) {
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_LS_TEAMING_POLICY, ls_teaming_value("gold", "uplink-b")));
  EXPECT_STATUS(QEL_BUSY, VSDVS_RemoveSwitchUplinkPort("workload", "uplink-b"));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearLSTeamingPolicy("workload"));
  EXPECT_EQ(number(0), raw(nullptr, VSPROP_LS_TEAMING_POLICY));
  EXPECT_STATUS(QEL_OK, VSDVS_RemoveSwitchUplinkPort("workload", "uplink-b"));
}

TEST_F(Follows, VSDVS_SetPortLSTeamingPolicy) {
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_SetPortLSTeamingPolicy("workload", "100", "gold"));
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_LS_TEAMING_POLICY, ls_teaming_value("gold", "uplink-b")));
  EXPECT_STATUS(QEL_OK, VSDVS_SetPortLSTeamingPolicy("workload", "100", "gold"));
  EXPECT_EQ("gold", raw("100", VSPROP_PORT_LS_TEAMING_POLICY));
  EXPECT_EQ("nic2", hint(port_number("workload", "100")));
}

TEST_F(Follows, VSDVS_GetPortLSTeamingPolicyName) {
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_LS_TEAMING_POLICY, ls_teaming_value("gold", "uplink-b")));
  EXPECT_EQ("", text_answer(VSDVS_GetPortLSTeamingPolicyName, "workload", "100"));
  EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_LS_TEAMING_POLICY, "gold"));
  EXPECT_EQ("gold", text_answer(VSDVS_GetPortLSTeamingPolicyName, "workload", "100"));
}

TEST_F(Follows, VSDVS_ClearPortLSTeamingPolicy) {
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_LS_TEAMING_POLICY, ls_teaming_value("gold", "uplink-b")));
  EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_LS_TEAMING_POLICY, "gold"));
  EXPECT_EQ("gold", text_answer(VSQEL_GetPortLSTeamingPolicyName, port_number("workload", "100")));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearPortLSTeamingPolicy("workload", "100"));
  EXPECT_EQ("", text_answer(VSQEL_GetPortLSTeamingPolicyName, port_number("workload", "100")));
}

TEST_F(Follows, VSDVS_SetTxUplinkAlways) {
  for (char enable : {char{1}, char{0}}) {
    EXPECT_STATUS(QEL_OK, VSDVS_SetTxUplinkAlways("workload", "100", enable));
    EXPECT_EQ(enable ? on : off, raw("100", VSPROP_PORT_TX_UPLINK));
  }
}

TEST_F(Follows, VSDVS_GetTxUplinkAlways) {
  EXPECT_EQ(0, answer(VSDVS_GetTxUplinkAlways, "workload", "100"));
  EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_TX_UPLINK, on));
  EXPECT_EQ(1, answer(VSDVS_GetTxUplinkAlways, "workload", "100"));
}

TEST_F(Follows, VSDVS_SetMACLearning) {
  std::string value = mac_learning_value(30, 40);
  EXPECT_STATUS(QEL_OK, VSDVS_SetMACLearning("workload", record_in<VSPropMACLearning>(value)));
  EXPECT_EQ(value, raw(nullptr, VSPROP_SWITCH_MAC_LEARNING));
  EXPECT_EQ(30u, answer(VSQEL_GetSwitchMACLearningInfo, "workload").agingTime);
}

TEST_F(Follows, VSDVS_GetMACLearning) {
  EXPECT_EQ(mac_learning_value(600, 65536), bytes_of(answer(VSDVS_GetMACLearning, "workload")));
  EXPECT_OK_ELSEWHERE(set_global_learning(30, 40));
  EXPECT_EQ(mac_learning_value(30, 40), bytes_of(answer(VSDVS_GetMACLearning, "workload")));
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_SWITCH_MAC_LEARNING, mac_learning_value(50, 60)));
  EXPECT_EQ(mac_learning_value(50, 60), bytes_of(answer(VSDVS_GetMACLearning, "workload")));
}

TEST_F(Follows, VSDVS_ClearMACLearning) {
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_SWITCH_MAC_LEARNING, mac_learning_value(50, 60)));
  EXPECT_EQ(60u, answer(VSQEL_GetSwitchMACLearningInfo, "workload").macLimit);
  EXPECT_OK_ELSEWHERE(set_global_learning(30, 40));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearMACLearning("workload"));
  EXPECT_EQ(40u, answer(VSQEL_GetSwitchMACLearningInfo, "workload").macLimit);
}

TEST_F(Follows, VSDVS_SetPortMACLearning) {
  EXPECT_STATUS(QEL_OK, set_learning("100", 5));
  EXPECT_EQ(bytes_of(VSPMACManagement{1, port_learning(1, 1, 5, VSPORT_MAC_LEARNING_LIMIT_POLICY_DROP)}),
            raw("100", VSPROP_PORT_MAC_MANAGEMENT));
  EXPECT_EQ(2u, answer(VSQEL_GetSwitchMACLearningInfo, "workload").numLearningPorts);
}

TEST_F(Follows, VSDVS_GetPortMACLearning) {
  EXPECT_EQ(bytes_of(port_learning(1, 1, 64, VSPORT_MAC_LEARNING_LIMIT_POLICY_DROP)),
            bytes_of(answer(VSDVS_GetPortMACLearning, "workload", "103")));
  VSPMACLearning const policy = port_learning(0, 1, 9, VSPORT_MAC_LEARNING_LIMIT_POLICY_ALLOW);
  EXPECT_OK_ELSEWHERE(set_raw("103", VSPROP_PORT_MAC_MANAGEMENT, bytes_of(VSPMACManagement{1, policy})));
  EXPECT_EQ(bytes_of(policy), bytes_of(answer(VSDVS_GetPortMACLearning, "workload", "103")));
}

TEST_F(Follows, VSDVS_SetStaticMACAllow) {
  EXPECT_STATUS(QEL_OK, VSDVS_SetStaticMACAllow("workload", 0));
  EXPECT_EQ(off, raw(nullptr, VSPROP_SWITCH_STATIC_MAC_ALLOW));
  EXPECT_EQ(std::vector<int>{}, macs(VSQEL_GetMACTable, "workload", VS_MAC_ADDR_TYPE_STATIC));
}

TEST_F(Follows, VSDVS_GetStaticMACAllow) {
  EXPECT_EQ(1, answer(VSDVS_GetStaticMACAllow, "workload"));
  EXPECT_OK_ELSEWHERE(set_global_learning(30, 40));
  EXPECT_EQ(0, answer(VSDVS_GetStaticMACAllow, "workload"));
}

TEST_F(Follows, VSDVS_ClearStaticMACAllow) {
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_SWITCH_STATIC_MAC_ALLOW, off));
  EXPECT_EQ(std::vector<int>{}, macs(VSQEL_GetMACTable, "workload", VS_MAC_ADDR_TYPE_STATIC));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearStaticMACAllow("workload"));
  EXPECT_EQ((std::vector<int>{0, 1, 2}), macs(VSQEL_GetMACTable, "workload", VS_MAC_ADDR_TYPE_STATIC));
}

TEST_F(Follows, VSDVS_SetLearnStatic) {
  for (char learn : {char{1}, char{0}}) {
    EXPECT_STATUS(QEL_OK, VSDVS_SetLearnStatic("workload", learn));
    EXPECT_EQ(learn ? on : off, raw(nullptr, VSPROP_SWITCH_MAC_LEARN_STATIC));
  }
}

TEST_F(Follows, VSDVS_GetLearnStatic) {
  EXPECT_EQ(0, answer(VSDVS_GetLearnStatic, "workload"));
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_SWITCH_MAC_LEARN_STATIC, on));
  EXPECT_EQ(1, answer(VSDVS_GetLearnStatic, "workload"));
}

TEST_F(Follows, VSDVS_ClearLearnStatic) {
  EXPECT_OK_ELSEWHERE(set_global_learning(30, 40));
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_SWITCH_MAC_LEARN_STATIC, off));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearLearnStatic("workload"));
  EXPECT_EQ(on, raw(nullptr, VSPROP_SWITCH_MAC_LEARN_STATIC)) << "the setting of all switches";
}

TEST_F(Follows, VSDVS_SetPortSecurity) {
  VSPropSecurity const security{VSPORT_SECURITY_DISALLOW_PROMISC};
  EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_EXTRA_ETH_FRP, eth_filter_value(QEL_ETH_FILTER_PROMISC)));
  EXPECT_EQ(1u, answer(VSQEL_GetPromiscSessionActiveDsts, "workload")->numEntries);
  EXPECT_STATUS(QEL_OK, VSDVS_SetPortSecurity("workload", "100", &security));
  EXPECT_EQ(0u, answer(VSQEL_GetPromiscSessionActiveDsts, "workload")->numEntries);
  EXPECT_EQ(bytes_of(security), raw("100", VSPROP_PORT_SECURITY));
}

TEST_F(Follows, VSDVS_GetPortSecurity) {
  EXPECT_EQ(0u, answer(VSDVS_GetPortSecurity, "workload", "100").flags);
  EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_SECURITY, number(VSPORT_SECURITY_DISALLOW_PROMISC)));
  EXPECT_EQ(static_cast<qel_uint32>(VSPORT_SECURITY_DISALLOW_PROMISC),
            answer(VSDVS_GetPortSecurity, "workload", "100").flags);
}

TEST_F(Follows, VSDVS_SetExtraEthFilter) {
  std::string value = eth_filter_value(QEL_ETH_FILTER_PROMISC, 9);
  EXPECT_STATUS(QEL_OK, VSDVS_SetExtraEthFilter("workload", "100", record_in<VSExtraEthFilter>(value)));
  EXPECT_EQ(value, raw("100", VSPROP_PORT_EXTRA_ETH_FRP));
  EXPECT_EQ(1u, answer(VSQEL_GetPromiscSessionActiveDsts, "workload")->numEntries);
}

TEST_F(Follows, VSDVS_GetExtraEthFilter) {
  EXPECT_EQ(std::string(200, '\0'), bytes_of(answer(VSDVS_GetExtraEthFilter, "workload", "100")));
  EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_EXTRA_ETH_FRP, eth_filter_value(QEL_ETH_FILTER_UNICAST, 9)));
  EXPECT_EQ(eth_filter_value(QEL_ETH_FILTER_UNICAST, 9), bytes_of(answer(VSDVS_GetExtraEthFilter, "workload", "100")));
}

TEST_F(Follows, VSDVS_ClearExtraEthFilter) {
  EXPECT_OK_ELSEWHERE(VSDVS_ConfigureSinkPort("workload", "100", 1));
  EXPECT_EQ(1u, +answer(VSQEL_GetVSInfo, "workload").numSinkPorts);
  EXPECT_STATUS(QEL_OK, VSDVS_ClearExtraEthFilter("workload", "100"));
  EXPECT_EQ(0u, +answer(VSQEL_GetVSInfo, "workload").numSinkPorts);
}

TEST_F(Follows, VSDVS_SetPortNestedVLANTagging) {
  for (char enable : {char{1}, char{0}}) {
    EXPECT_STATUS(QEL_OK, VSDVS_SetPortNestedVLANTagging("workload", "100", enable));
    EXPECT_EQ(enable ? on : off, raw("100", VSPROP_PORT_VLAN_NESTEDTAG));
  }
}

TEST_F(Follows, VSDVS_GetPortNestedVLANTagging) {
  EXPECT_EQ(0, answer(VSDVS_GetPortNestedVLANTagging, "workload", "100"));
  EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_VLAN_NESTEDTAG, on));
  EXPECT_EQ(1, answer(VSDVS_GetPortNestedVLANTagging, "workload", "100"));
}

TEST_F(Follows, VSDVS_SetPortVLANPolicy) {
  qel_HNQPortVIDRange ranges[] = {{1, 10}, {20, 20}};
  EXPECT_STATUS(QEL_OK, VSDVS_SetPortVLANPolicy("workload", "100", 4095, 3, 1, 0, ranges, 2));
  EXPECT_EQ(bytes_of(qel_HNQPortVlanInfo{4095, 2, {}}) + bytes_of(ranges), raw("100", QEL_HNQPROP_PORT_VLAN));
  EXPECT_EQ(number(3), raw("100", VSPROP_PORT_PRIORITY));
}

TEST_F(Follows, VSDVS_GetPortVLANPolicy) {
  auto const policy = [] {
    VSPortVlanPolicy *record = nullptr;
    int length = 0;
    EXPECT_STATUS(QEL_OK, VSDVS_GetPortVLANPolicy("workload", "100", &record, &length));
    std::string const bytes = bytes_at(record, static_cast<std::size_t>(length));
    VSDVS_FreeMemory(record);
    return bytes;
  };
  EXPECT_EQ(vlan_value(0, 0), policy());
  std::string const trunk = vlan_value(VSPORT_VLAN_GUEST_TAGGING, 0, {{5, 9}});
  EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_VLAN, trunk));
  EXPECT_EQ(trunk, policy());
}

TEST_F(Follows, VSDVS_ClearPortVLANPolicy) {
  EXPECT_OK_ELSEWHERE(VSDVS_SetPortVLANPolicy("workload", "100", 12, 5, 0, 0, nullptr, 0));
  EXPECT_EQ(bytes_of(qel_HNQPortVlanInfo{12, 0, {}}), raw("100", QEL_HNQPROP_PORT_VLAN));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearPortVLANPolicy("workload", "100"));
  EXPECT_EQ(bytes_of(qel_HNQPortVlanInfo{0, 0, {}}), raw("100", QEL_HNQPROP_PORT_VLAN));
  EXPECT_EQ(number(0), raw("100", VSPROP_PORT_PRIORITY));
}

TEST_F(Follows, VSDVS_SetPrivateVLANMap) {
  std::string value = private_vlan_value(100, 101);
  EXPECT_STATUS(QEL_OK, VSDVS_SetPrivateVLANMap("workload", record_in<VSPvlanMapEntry>(value), 2));
  EXPECT_EQ(value, raw(nullptr, VSPROP_PVLAN_MAP));
  EXPECT_OK_ELSEWHERE(VSDVS_SetPortVLANPolicy("workload", "100", 101, 255, 0, 1, nullptr, 0));
  EXPECT_STATUS(QEL_BUSY, VSDVS_SetPrivateVLANMap("workload", nullptr, 0));
}

TEST_F(Follows, VSDVS_GetPrivateVLANMap) {
  for (int isolated : {101, 202}) {
    EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_PVLAN_MAP, private_vlan_value(100, isolated)));
    VSPvlanMapEntry *map = nullptr;
    int count = 0;
    EXPECT_STATUS(QEL_OK, VSDVS_GetPrivateVLANMap("workload", &map, &count));
    ASSERT_EQ(2, count);
    EXPECT_EQ(private_vlan_value(100, isolated), bytes_at(map, 2 * sizeof *map));
    VSDVS_FreeMemory(map);
  }
}

TEST_F(Follows, VSDVS_SetMcastFilterMode) {
  EXPECT_STATUS(QEL_OK, call(VSDVS_SetMcastFilterMode, "workload", VS_MCAST_FILTER_MODE_SNOOPING));
  EXPECT_EQ(VS_MCAST_FILTER_MODE_SNOOPING, answer(VSQEL_GetMcastFilterMode, "workload"));
  EXPECT_EQ(number(VS_MCAST_FILTER_MODE_SNOOPING), raw(nullptr, VSPROP_MULTICAST_FILTER));
}

TEST_F(Follows, VSDVS_GetMcastFilterMode) {
  EXPECT_EQ(VS_MCAST_FILTER_MODE_LEGACY, answer(VSDVS_GetMcastFilterMode, "workload"));
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_MULTICAST_FILTER, number(VS_MCAST_FILTER_MODE_IGMP)));
  EXPECT_EQ(VS_MCAST_FILTER_MODE_IGMP, answer(VSDVS_GetMcastFilterMode, "workload"));
}

// What a port of the switch receives: addresses by their last bytes.
std::vector<int> received(qel_SwitchPortID port) {
  auto const list = answer(VSQEL_GetMcastFilters, "workload", port, VS_MCAST_FILTER_MODE_LEGACY);
  std::vector<int> last;
  for (qel_uint32 i = 0; i < list->numEntries; ++i)
    last.push_back(reinterpret_cast<unsigned char const *>(list.get() + 1)[6 * i + 5]);
  return last;
}

VSMACEntries user_addresses(unsigned char last) {
  VSMACEntries entries{};
  entries.macEntry[0][0] = 1;
  entries.macEntry[0][5] = last;
  return entries;
}

template <typename Keys>
std::string keys_bytes(Keys const &keys) {
  return bytes_at(keys.get(), 1 + 6u * keys->numEntries);
}

TEST_F(Follows, VSDVS_SetMcastUserLegacyEntries) {
  VSMACEntries entries = user_addresses(9);
  EXPECT_STATUS(QEL_OK, VSDVS_SetMcastUserLegacyEntries("workload", 1, &entries));
  EXPECT_EQ(std::vector<int>{9}, received(port_number("workload", "100")));
  EXPECT_EQ(user_addresses_value({9}), raw(nullptr, VSPROP_USER_MCAST_ADDRESSES));
}

TEST_F(Follows, VSDVS_GetMcastUserLegacyEntries) {
  for (int last : {9, 10}) {
    EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_USER_MCAST_ADDRESSES, user_addresses_value({last})));
    EXPECT_EQ(user_addresses_value({last}), keys_bytes(answer(VSDVS_GetMcastUserLegacyEntries, "workload")));
  }
}

TEST_F(Follows, VSDVS_ClearMcastUserLegacyEntries) {
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_USER_MCAST_ADDRESSES, user_addresses_value({9})));
  EXPECT_EQ(std::vector<int>{9}, received(port_number("workload", "100")));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearMcastUserLegacyEntries("workload"));
  EXPECT_EQ(std::vector<int>{}, received(port_number("workload", "100")));
}

TEST_F(Follows, VSDVS_SetPortMcastUserLegacyEntries) {
  VSMACEntries entries = user_addresses(9);
  EXPECT_STATUS(QEL_OK, VSDVS_SetPortMcastUserLegacyEntries("workload", "100", 1, &entries));
  EXPECT_EQ(std::vector<int>{9}, received(port_number("workload", "100")));
  EXPECT_EQ(std::vector<int>{}, received(port_number("workload", "101")));
}

TEST_F(Follows, VSDVS_GetPortMcastUserLegacyEntries) {
  for (int last : {9, 10}) {
    EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_USER_MCAST_ADDRESSES, user_addresses_value({last})));
    EXPECT_EQ(user_addresses_value({last}), keys_bytes(answer(VSDVS_GetPortMcastUserLegacyEntries, "workload", "100")));
  }
}

TEST_F(Follows, VSDVS_ClearPortMcastUserLegacyEntries) {
  EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_USER_MCAST_ADDRESSES, user_addresses_value({9})));
  EXPECT_OK_ELSEWHERE(set_raw(nullptr, VSPROP_USER_MCAST_ADDRESSES, user_addresses_value({10})));
  EXPECT_EQ((std::vector<int>{9, 10}), received(port_number("workload", "100")));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearPortMcastUserLegacyEntries("workload", "100"));
  EXPECT_EQ(std::vector<int>{10}, received(port_number("workload", "100")));
}

TEST_F(Follows, VSDVS_SetDVMirrorSessions) {
  for (char const *name : {"one", "two"}) {
    EXPECT_STATUS(QEL_OK, set_mirror(VSDVS_SetDVMirrorSessions, "100", mirror_value({name})));
    EXPECT_EQ(Texts{name}, mirror_sessions("workload"));
    EXPECT_EQ(mirror_value({name}), raw("100", VSPROP_PORT_MIRROR_SESSIONS));
  }
}

TEST_F(Follows, VSDVS_AppendDVMirrorSessions) {
  EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_MIRROR_SESSIONS, mirror_value({"one"})));
  EXPECT_STATUS(QEL_OK, set_mirror(VSDVS_AppendDVMirrorSessions, "100", mirror_value({"two"})));
  EXPECT_EQ(mirror_value({"one", "two"}), raw("100", VSPROP_PORT_MIRROR_SESSIONS));
}

TEST_F(Follows, VSDVS_GetDVMirrorSessions) {
  EXPECT_EQ(mirror_value({}), mirror_table("100", 0));
  EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_MIRROR_SESSIONS, mirror_value({"one", "two"})));
  EXPECT_EQ(mirror_value({"one", "two"}), mirror_table("100", 2));
}

TEST_F(Follows, VSDVS_RemoveDVMirrorSession) {
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_RemoveDVMirrorSession("workload", "100", "one"));
  EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_MIRROR_SESSIONS, mirror_value({"one", "two"})));
  EXPECT_STATUS(QEL_OK, VSDVS_RemoveDVMirrorSession("workload", "100", "one"));
  EXPECT_EQ(Texts{"two"}, mirror_sessions("workload"));
}

TEST_F(Follows, VSDVS_ClearDVMirrorSessions) {
  EXPECT_OK_ELSEWHERE(set_raw("100", VSPROP_PORT_MIRROR_SESSIONS, mirror_value({"one", "two"})));
  EXPECT_OK_ELSEWHERE(set_raw("101", VSPROP_PORT_MIRROR_SESSIONS, mirror_value({"three"})));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearDVMirrorSessions("workload", "100"));
  EXPECT_EQ(Texts{"three"}, mirror_sessions("workload"));
}

TEST(FollowsAll, every_function_has_its_test) {
  std::set<std::string> tests;
  testing::UnitTest const &program = *testing::UnitTest::GetInstance();
  for (int s = 0; s < program.total_test_suite_count(); ++s) {
    testing::TestSuite const &suite = *program.GetTestSuite(s);
    for (int i = 0; std::string("Follows") == suite.name() && i < suite.total_test_count(); ++i)
      tests.insert(suite.GetTestInfo(i)->name());
  }
  EXPECT_EQ(
      declared_functions({"switch_queries.h", "distributed_switch_configuration.h", "distributed_switch_state.h"}),
      tests);
}

}  // namespace follows_vswitch_test
