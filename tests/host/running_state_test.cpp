// What runs on a host: who is blocked, groups and counters that come and go, announcements, what boots and restores
// keep.
#include <sys/resource.h>
#include <sys/syscall.h>

#include <chrono>
#include <csignal>

#include "images.hpp"
#include "platform/core/call.hpp"
#include "platform/core/clock.hpp"
#include "platform/core/faults.hpp"
#include "platform/core/mac_learning.hpp"
#include "platform/core/ports.hpp"
#include "platform/core/snapshot.hpp"
#include "platform/core/uplink_choice.hpp"

namespace running_state_test {

// In place of those of the C library, also for SQLite: how often somebody waits for the disk.
static int syncs = 0;
extern "C" int fdatasync(int file) {
  ++syncs;
  return static_cast<int>(syscall(SYS_fdatasync, file));
}
extern "C" int fsync(int file) {
  ++syncs;
  return static_cast<int>(syscall(SYS_fsync, file));
}

constexpr char description[] = R"({
  "format": 1, "stopped_clock": 1000000000000000,
  "physical_nics": [
    {"name": "n0", "mac": "02:00:00:00:00:00", "numa_node": 0},
    {"name": "n1", "mac": "02:00:00:00:00:01", "numa_node": 1}
  ],
  "switches": [{
    "alias": "s", "switch_id": "i",
    "uplinks": [{"name": "a", "nic": "n0"}, {"name": "b", "nic": "n1"}],
    "ports": [
      {"dvport_id": "p", "client": {"name": "x", "type": "vnic", "mac": "02:00:00:00:00:a2", "numa_node": 1},
       "mac_learning": {"limit": 2}, "counters": {"packets_in_unicast": 8, "macs_moved": 3},
       "multicast_groups": [{"address": "239.1.2.3", "sources": ["192.0.2.1"]}]},
      {"dvport_id": "q"}
    ],
    "mirror_sessions": [{"session_id": "m", "destinations": ["q"], "sources_in": ["p"],
      "counters": {"copies": 11, "copies_failed": 12, "mirrored": 13, "discarded": 14, "failed": 15}}],
    "counters": {"rarp_packets": 7, "service_port_tx": 9}
  }]
})";

int change(std::function<void(Database &, RowId vswitch)> const &body) {
  return update([&](Database &database) { body(database, switch_by_alias(database, "s")); });
}

int set_byte(char const *dvport_id, char const *property, char value) {
  return VSDVS_SetPortProp("s", dvport_id, property, &value, 1, "", 1);
}

std::string hint(qel_SwitchPortID port) {
  qel_Name name{};
  int const status = VSQEL_PortGetTeamUplinkHint(port, &name);
  return status == QEL_OK ? reinterpret_cast<char const *>(name.string) : status_text(status);
}

VSTeamPolicy policy(std::vector<char const *> const &active, std::vector<char const *> const &standby) {
  VSTeamPolicy result{};
  result.loadBalance = TEAM_FRP_TYPE_FO_EXPLICIT;
  result.linkCriteria = TEAM_FRP_CRIT_LINK_STATE;
  for (char const *name : active)
    std::strcpy(result.uplinkPortName[result.numActive++], name);
  for (char const *name : standby)
    std::strcpy(result.uplinkPortName[result.numActive + result.numStandby++], name);
  return result;
}

int use(VSTeamPolicy const &wanted) {
  return VSDVS_SetTeamingPolicy("s", const_cast<VSTeamPolicy *>(&wanted));
}

template <typename Record>
Record port_report(char const *dvport_id, char const *property) {
  Record record{};
  HNQQuery query{sizeof record, reinterpret_cast<char *>(&record)};
  EXPECT_STATUS(QEL_OK, VSDVS_GetPortProp("s", dvport_id, property, &query, "", 0));
  return record;
}

unsigned groups_at(qel_SwitchPortID port) {
  Returned<VSMcastFilters> filters;
  EXPECT_STATUS(QEL_OK,
                VSQEL_GetMcastFilters("s", port, static_cast<VSMcastFilterMode>(VS_MCAST_FILTER_MODE_IGMP), &filters));
  return filters->numEntries;
}

VSDVMirrorSessionStats mirrored() {
  VSDVMirrorSessionStats stats{};
  EXPECT_STATUS(QEL_OK, VSQEL_GetDVMirrorSessionStats("s", "m", &stats));
  return stats;
}

unsigned announced() {
  VSRARPStats stats{};
  EXPECT_STATUS(QEL_OK, VSQEL_GetRARPStats("s", &stats));
  return stats.rarpPktsSent;
}

std::uint64_t number(std::uint64_t packed) {
  return packed;
}

int rtm(std::int64_t mode) {
  char bytes[sizeof(RTMIOCtlQuery) + sizeof(RTM_Portset)] = {1};
  std::strcpy(bytes + sizeof(RTMIOCtlQuery), "portset-1");
  return VSQEL_RTMOp(reinterpret_cast<RTMIOCtlQuery *>(bytes), static_cast<RTMIOCtlMode>(mode));
}

Learning learn(char const *dvport_id, unsigned char last, std::int64_t age = 0) {
  Learning result{};
  EXPECT_STATUS(QEL_OK, change([&](Database &database, RowId vswitch) {
                  result = learn_address(database, vswitch, port_by_id(database, vswitch, dvport_id),
                                         {{{2, 9, 0, 0, 0, last}, 0, 0}, true, age});
                }));
  return result;
}

class RunningState : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    boot_from(description);
    p = port_number("s", "p");
  }

  std::string dvport_of(char const *uplink) {
    char id[48];
    EXPECT_STATUS(QEL_OK, VSQEL_GetUplinkDVPortID(uplink, id));
    return id;
  }

  qel_SwitchPortID p;
};

// ---- who is blocked ------------------------------------------------------------------------------------

TEST_F(RunningState, each_kind_of_block_is_one_to_teaming_learning_and_reports) {
  VSTeamPolicy wanted = policy({"a", "b"}, {});
  wanted.linkCriteria = TEAM_FRP_CRIT_PORT_BLOCKED;
  ASSERT_STATUS(QEL_OK, use(wanted));
  std::string const uplink = dvport_of("a");
  for (char const *property : {QEL_HNQPROP_PORT_BLOCK, QEL_HNQPORT_FORWARD_NOT_READY_BLOCK}) {
    EXPECT_EQ("n0", hint(p)) << property;
    ASSERT_STATUS(QEL_OK, set_byte(uplink.c_str(), property, 1));
    EXPECT_EQ("n1", hint(p)) << property;
    ASSERT_STATUS(QEL_OK, set_byte(uplink.c_str(), property, 0));

    ASSERT_STATUS(QEL_OK, set_byte("p", property, 1));
    EXPECT_EQ(Learning::ignored, learn("p", 1)) << property;
    EXPECT_EQ(QEL_LINK_STATE_DOWN, port_report<qel_LinkStatus>("p", QEL_HNQPROP_PORT_LINK_STATUS).state) << property;
    EXPECT_EQ(QEL_HNQPORT_STATUS_INUSE | QEL_HNQPORT_STATUS_BLOCKED,
              number(port_report<qel_HNQPortStatus>("p", QEL_HNQPROP_PORT_STATUS).flags))
        << property;
    ASSERT_STATUS(QEL_OK, set_byte("p", property, 0));
    EXPECT_EQ(QEL_LINK_STATE_UP, port_report<qel_LinkStatus>("p", QEL_HNQPROP_PORT_LINK_STATUS).state) << property;
  }
  EXPECT_EQ(Learning::learned, learn("p", 1));
  // By save and restore.
  ASSERT_STATUS(QEL_OK, rtm(RTM_IOCCMD_REG_SAVE));
  ASSERT_STATUS(QEL_OK, VSQEL_RTMPortOp(1, p, 1));
  EXPECT_EQ(QEL_LINK_STATE_DOWN, port_report<qel_LinkStatus>("p", QEL_HNQPROP_PORT_LINK_STATUS).state);
  ASSERT_STATUS(QEL_OK, VSQEL_RTMPortOp(1, p, 0));
  EXPECT_EQ(QEL_LINK_STATE_UP, port_report<qel_LinkStatus>("p", QEL_HNQPROP_PORT_LINK_STATUS).state);
}

// ---- groups --------------------------------------------------------------------------------------------

TEST_F(RunningState, groups_go_with_their_client) {
  ASSERT_STATUS(QEL_OK, VSDVS_SetMcastFilterMode("s", static_cast<VSMcastFilterMode>(VS_MCAST_FILTER_MODE_IGMP)));
  ASSERT_EQ(1u, groups_at(p));
  ASSERT_STATUS(QEL_OK, change([&](Database &database, RowId) { disconnect_client(database, p); }));
  EXPECT_EQ(0u, groups_at(p));
  ASSERT_STATUS(QEL_OK, change([&](Database &database, RowId) {
                  connect_client(database, p, VS_PORT_CLIENT_VNIC, "next", std::nullopt);
                }));
  EXPECT_EQ(0u, groups_at(p));
}

TEST_F(RunningState, groups_go_at_a_boot) {
  ASSERT_STATUS(QEL_OK, VSDVS_SetMcastFilterMode("s", static_cast<VSMcastFilterMode>(VS_MCAST_FILTER_MODE_IGMP)));
  ASSERT_EQ(1u, groups_at(p));
  ASSERT_STATUS(QEL_OK, boot());
  EXPECT_EQ(0u, groups_at(p));
}

// ---- announcements -------------------------------------------------------------------------------------

TEST_F(RunningState, a_change_of_a_carrier_is_announced) {
  auto const plug = [](char const *nic, bool in) {
    return change([&](Database &database, RowId) { change_carrier(database, nic, in); });
  };
  ASSERT_EQ(7u, announced());
  ASSERT_STATUS(QEL_OK, plug("n0", true));  // it was in
  EXPECT_EQ(7u, announced());
  ASSERT_STATUS(QEL_OK, plug("n0", false));
  EXPECT_EQ(8u, announced());
  ASSERT_STATUS(QEL_OK, plug("n0", true));
  EXPECT_EQ(9u, announced());
  VSTeamPolicy quiet = policy({"a", "b"}, {});
  ASSERT_STATUS(QEL_OK, use(quiet));
  ASSERT_STATUS(QEL_OK, plug("n0", false));
  EXPECT_EQ(9u, announced());
  EXPECT_STATUS(QEL_NOT_FOUND, plug("none", true));
}

// ---- save and restore ----------------------------------------------------------------------------------

TEST_F(RunningState, save_and_restore_keeps_all_that_was_counted_and_joined) {
  ASSERT_STATUS(QEL_OK, VSDVS_SetMcastFilterMode("s", static_cast<VSMcastFilterMode>(VS_MCAST_FILTER_MODE_IGMP)));
  ASSERT_EQ(Learning::learned, learn("p", 1));
  for (std::int64_t mode : {RTM_IOCCMD_REG_SAVE, RTM_IOCCMD_SAVE, RTM_IOCCMD_BLOCKPORTS, RTM_IOCCMD_PS_UPGRADE})
    ASSERT_STATUS(QEL_OK, rtm(mode));
  EXPECT_EQ(0u, announced());
  EXPECT_EQ(0u, groups_at(p));
  EXPECT_EQ(0u, number(mirrored().mirrorPktCnt));
  EXPECT_EQ(0u, number(port_report<qel_HNQPortStatistics>("p", QEL_HNQPROP_PORT_STATISTICS).pktsInUnicast));
  for (std::int64_t mode : {RTM_IOCCMD_PORT_UPGRADE, RTM_IOCCMD_REG_RESTORE, RTM_IOCCMD_RESTORE})
    ASSERT_STATUS(QEL_OK, rtm(mode));
  EXPECT_EQ(7u, announced());
  EXPECT_EQ(1u, groups_at(p));
  VSDVMirrorSessionStats const stats = mirrored();
  EXPECT_EQ(11u, number(stats.mirrorPktCnt));
  EXPECT_EQ(12u, number(stats.mirrorPktFailCnt));
  EXPECT_EQ(13u, number(stats.mirroredPkts));
  EXPECT_EQ(14u, number(stats.discardedPkts));
  EXPECT_EQ(15u, number(stats.failedPkts));
  EXPECT_EQ(8u, number(port_report<qel_HNQPortStatistics>("p", QEL_HNQPROP_PORT_STATISTICS).pktsInUnicast));
  VSServicePortTeamingStats service{};
  ASSERT_STATUS(QEL_OK, VSQEL_GetServicePortTeamingStats("s", &service));
  EXPECT_EQ(9u, number(service.txFromSrvPort));
  VSPMACLearningStats learning{};
  ASSERT_STATUS(QEL_OK, VSQEL_GetPortMACLearningStats("s", "p", &learning));
  EXPECT_EQ(1u, number(learning.numMACsLearned));
  EXPECT_EQ(3u, number(learning.numMACsMoved));
}

TEST_F(RunningState, save_and_restore_gives_no_client_what_was_anothers) {
  ASSERT_STATUS(QEL_OK, VSDVS_SetMcastFilterMode("s", static_cast<VSMcastFilterMode>(VS_MCAST_FILTER_MODE_IGMP)));
  ASSERT_EQ(Learning::learned, learn("p", 1));
  for (std::int64_t mode : {RTM_IOCCMD_REG_SAVE, RTM_IOCCMD_SAVE, RTM_IOCCMD_BLOCKPORTS, RTM_IOCCMD_PS_UPGRADE})
    ASSERT_STATUS(QEL_OK, rtm(mode));
  ASSERT_STATUS(QEL_OK, change([&](Database &database, RowId) {
                  connect_client(database, p, VS_PORT_CLIENT_VNIC, "next", std::nullopt);
                }));
  for (std::int64_t mode : {RTM_IOCCMD_PORT_UPGRADE, RTM_IOCCMD_REG_RESTORE, RTM_IOCCMD_RESTORE})
    ASSERT_STATUS(QEL_OK, rtm(mode));
  EXPECT_EQ(0u, groups_at(p));
  VSPMACLearningStats learning{};
  ASSERT_STATUS(QEL_OK, VSQEL_GetPortMACLearningStats("s", "p", &learning));
  EXPECT_EQ(0u, number(learning.numMACsLearned));
}

// ---- counts --------------------------------------------------------------------------------------------

TEST_F(RunningState, the_numbers_of_ports_follow_clients_and_ports) {
  auto const active = [] {
    VSInfo info{};
    EXPECT_STATUS(QEL_OK, VSQEL_GetVSInfo("s", &info));
    return info.activePorts;
  };
  EXPECT_EQ(3u, active());
  ASSERT_STATUS(QEL_OK, change([&](Database &database, RowId) { disconnect_client(database, p); }));
  EXPECT_EQ(2u, active());
  ASSERT_STATUS(QEL_OK, change([&](Database &database, RowId) {
                  connect_client(database, p, VS_PORT_CLIENT_TCPIP, "t", std::nullopt);
                  connect_client(database, p, VS_PORT_CLIENT_VNIC, "v", std::nullopt);
                }));
  EXPECT_EQ(3u, active());
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveSwitchUplinkPort("s", "a"));
  EXPECT_EQ(2u, active());
  ASSERT_STATUS(QEL_OK, DVSQEL_SwitchSetMaxPorts("s", 3));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, VSDVS_AddDVPort("s", "more", 0));
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveDVPort("s", "q"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("s", "more", 0));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, VSDVS_AddDVPort("s", "even more", 0));
}

TEST_F(RunningState, aged_addresses_leave_room) {
  EXPECT_EQ(Learning::learned, learn("p", 1, 600));  // the aging time: it is gone as soon as it is there
  EXPECT_EQ(Learning::learned, learn("p", 2));
  EXPECT_EQ(Learning::learned, learn("p", 3));
  EXPECT_EQ(Learning::allowed_unlearned, learn("p", 4));
  VSMACEntry entry{};
  entry.macAddress[0] = 2;
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, VSQEL_SetPortMACTable("s", "p", &entry));
}

TEST_F(RunningState, an_address_that_moves_counts_at_its_new_port_alone) {
  VSPMACLearning learning{};
  learning.learning = 1;
  learning.macLimit = 1;
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortMACLearning("s", "q", &learning));
  EXPECT_EQ(Learning::learned, learn("p", 1));
  EXPECT_EQ(Learning::learned, learn("p", 2));
  EXPECT_EQ(Learning::moved, learn("q", 1));
  EXPECT_EQ(Learning::learned, learn("p", 3));
  EXPECT_EQ(Learning::allowed_unlearned, learn("q", 4));
}

TEST_F(RunningState, a_full_uplink_counts_what_the_team_lets_pass) {
  VSPMACLearning learning{};
  learning.macLimit = 1;
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortMACLearning("s", dvport_of("a").c_str(), &learning));
  EXPECT_EQ(Learning::learned, learn(dvport_of("a").c_str(), 1));
  EXPECT_EQ(Learning::allowed_unlearned, learn(dvport_of("a").c_str(), 2));
  VSMACLearningSwitchInfo info{};
  ASSERT_STATUS(QEL_OK, VSQEL_GetSwitchMACLearningInfo("s", &info));
  EXPECT_EQ(1u, number(info.teamAllowedPktsWithPortLimit));
}

TEST_F(RunningState, counters_go_with_their_port) {
  ASSERT_STATUS(QEL_OK, change([&](Database &database, RowId) { disconnect_client(database, p); }));
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveDVPort("s", "p"));
  HostLock lock;
  EXPECT_FALSE(open_host().rows("SELECT 1 FROM port_counter WHERE port = ?", std::int64_t{p}).next());
  EXPECT_FALSE(open_host().rows("SELECT 1 FROM mac_entry_count WHERE port = ?", std::int64_t{p}).next());
}

// ---- teaming -------------------------------------------------------------------------------------------

TEST_F(RunningState, a_policy_may_have_standby_uplinks_only) {
  ASSERT_STATUS(QEL_OK, use(policy({}, {"b", "a"})));
  EXPECT_EQ("n1", hint(p));
}

TEST_F(RunningState, teaming_knows_the_numa_nodes_after_a_boot_and_after_a_restore) {
  struct {
    qel_uint32 total = 12;
    qel_uint16 type = VS_RT_OPT_TEAMING_NUMA_AWARE;
    qel_uint16 length = 8;
    qel_uint32 value = 1;
  } option;
  auto const prefer_near = [&] { return VSQEL_SetRuntimeOptions(reinterpret_cast<VSRuntimeOptions *>(&option)); };
  ASSERT_STATUS(QEL_OK, use(policy({"a", "b"}, {})));
  ASSERT_STATUS(QEL_OK, prefer_near());
  EXPECT_EQ("n1", hint(p));
  ASSERT_STATUS(QEL_OK, init(state()));
  EXPECT_EQ("n1", hint(p));
  // A NIC that was bound since the last look is on no node that teaming knows; a boot looks.
  ASSERT_STATUS(QEL_OK, use(policy({"a"}, {})));
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveSwitchUplinkPort("s", "b"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("s", "n1"));
  ASSERT_STATUS(QEL_OK, use(policy({"a", "n1"}, {})));
  EXPECT_EQ("n0", hint(p));
  ASSERT_STATUS(QEL_OK, boot());
  ASSERT_STATUS(QEL_OK, prefer_near());
  EXPECT_EQ("n1", hint(p));
}

// ---- images, faults, snapshots -------------------------------------------------------------------------

TEST_F(RunningState, a_restore_leaves_no_unused_ports_of_uplinks) {
  // A third uplink port, only until the next boot.
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("s", "c"));
  char list[1000];
  HNQQuery query{sizeof list, list};
  ASSERT_STATUS(QEL_OK, VSDVS_GetHostProp("s", QEL_HNQPROP_HOST_UPLINKPORTS, &query, "", 0));
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveSwitchUplinkPort("s", "c"));
  ASSERT_STATUS(QEL_OK, VSDVS_SetHostProp("s", QEL_HNQPROP_HOST_UPLINKPORTS, list, query.propLen, "", 0));
  std::string const id = dvport_of("c");
  ASSERT_STATUS(QEL_OK, DVSQEL_PortFind("s", id.c_str()));
  // What an image has for longer than that is all that comes back, and the port was made for the uplink.
  ASSERT_STATUS(QEL_OK, deserialize(state()));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_PortFind("s", id.c_str()));
  EXPECT_STATUS(QEL_OK, DVSQEL_PortFind("s", dvport_of("b").c_str()));
}

TEST_F(RunningState, an_image_of_format_0_is_refused) {
  constexpr std::size_t header_size = 20;
  std::string const document = state().substr(header_size);
  EXPECT_STATUS(QEL_INVALID_METADATA, init(image_around(document, 0)));
  EXPECT_STATUS(QEL_VERSION_MISMATCH_MAJOR, init(image_around(document, 2)));
  EXPECT_STATUS(QEL_OK, init(image_around(document)));
}

TEST_F(RunningState, a_property_list_has_65536_values_at_most) {
  DVSDataHandle list = nullptr;
  ASSERT_STATUS(QEL_OK, DVSData_Alloc(&list, nullptr, nullptr));
  char value = 1;
  for (int i = 0; i < 65536; ++i)
    ASSERT_EQ(QEL_OK, DVSData_Update(list, std::to_string(i).c_str(), &value, 1, CONFIG_PROP_TYPE));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, DVSData_Update(list, "one more", &value, 1, CONFIG_PROP_TYPE));
  EXPECT_STATUS(QEL_OK, DVSData_Update(list, "5", &value, 1, CONFIG_PROP_TYPE));
  DVSData_Free(list);
}

TEST_F(RunningState, delays_of_several_rules_add_up) {
  FaultRule rule;
  rule.kind = FaultKind::delay;
  {
    HostLock lock;
    Transaction transaction(open_host(), true);
    for (std::uint32_t milliseconds : {7u, 20u}) {
      rule.milliseconds = milliseconds;
      add_fault(open_host(), rule);
    }
    transaction.commit();
  }
  auto const began = std::chrono::steady_clock::now();
  EXPECT_EQ(1500u, mtu_of("s"));
  EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(27));
}

TEST_F(RunningState, a_snapshot_that_fails_leaves_nothing_behind) {
  std::filesystem::path const target = folder / "snapshots";
  std::filesystem::create_directory(target);
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("s", 2000));
  ASSERT_EQ(0, in_child([&] {
              HostLock lock;
              Database &database = open_host();
              rlimit const limit{1000, RLIM_INFINITY};
              signal(SIGXFSZ, SIG_IGN);
              setrlimit(RLIMIT_FSIZE, &limit);
              try {
                save_snapshot(database, (target / "snapshot").string());
                return 1;
              } catch (Refusal const &refusal) {
                return refusal.status() == QEL_NO_SPACE_ON_DEVICE ? 0 : 2;
              }
            }));
  EXPECT_TRUE(std::filesystem::is_empty(target));
}

// ---- the state file ------------------------------------------------------------------------------------

TEST_F(RunningState, only_power_makes_a_change_wait_for_the_disk) {
  auto const syncs_of_changes = [] {
    EXPECT_STATUS(QEL_OK, VSDVS_SetMTU("s", 1999));  // opens the file
    int const before = syncs;
    for (qel_uint32 mtu = 2000; mtu < 2010; ++mtu)
      EXPECT_STATUS(QEL_OK, VSDVS_SetMTU("s", mtu));
    return syncs - before;
  };
  EXPECT_EQ(0, syncs_of_changes());
  close_host();
  setenv("VSWITCH_HOST_SYNC", "power", 1);
  EXPECT_GE(syncs_of_changes(), 10);
  close_host();
  setenv("VSWITCH_HOST_SYNC", "other", 1);
  EXPECT_EQ(0, syncs_of_changes());
  unsetenv("VSWITCH_HOST_SYNC");
}

TEST_F(RunningState, an_old_log_has_no_part_in_a_new_file) {
  std::string const log = state_file().string() + "-wal";
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("s", 2000));
  std::string const left = read_file(log);
  ASSERT_FALSE(left.empty());
  close_host();
  for (char const *suffix : {"-wal", "-journal"}) {
    std::filesystem::remove(state_file());
    write_file(state_file().string() + suffix, left);
    EXPECT_EQ(1500u, mtu_of("s")) << suffix;
    ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("s", 2600));
    close_host();
    EXPECT_EQ(2600u, mtu_of("s")) << suffix;
    close_host();
  }
}

}  // namespace running_state_test
