// Save and restore (RTM): the steps, what an upgrade loses and a restore brings back, modules, blocked ports.
#include <sys/resource.h>

#include <csignal>
#include <vector>

#include "host_test.hpp"
#include "platform/core/call.hpp"
#include "platform/core/clock.hpp"
#include "platform/core/mac_learning.hpp"
#include "platform/core/rtm.hpp"

namespace rtm_test {

constexpr char description[] = R"({
  "format": 1, "stopped_clock": 5000000,
  "physical_nics": [{"name": "n0", "mac": "02:00:00:00:00:00"}, {"name": "n1", "mac": "02:00:00:00:00:01"}],
  "switches": [{
    "alias": "s", "switch_id": "i",
    "uplinks": [{"name": "n0"}, {"name": "n1"}],
    "ports": [
      {"dvport_id": "p", "mac_learning": {}, "learned": [{"mac": "02:00:00:00:00:b1"}, {"mac": "02:00:00:00:00:b2"}],
       "counters": {"macs_moved": 3}},
      {"dvport_id": "q", "mac_learning": {}}
    ]},
    {"alias": "t", "switch_id": "j"}, {"alias": "quick", "switch_id": "k", "version": 100}]
})";

// A request in exactly sized memory.
class Request {
 public:
  explicit Request(std::vector<char const *> const &portsets, qel_uint32 most_outage = 0, char is_qbr = 0)
      : bytes_(sizeof(RTMIOCtlQuery) + portsets.size() * sizeof(RTM_Portset)) {
    RTMIOCtlQuery header{};
    header.numPortsets = static_cast<qel_uint32>(portsets.size());
    header.isQBRV = is_qbr;
    header.maxAllowedOutage = most_outage;
    std::memcpy(bytes_.data(), &header, sizeof header);
    for (std::size_t i = 0; i < portsets.size(); ++i)
      std::memcpy(&bytes_[sizeof header + i * sizeof(RTM_Portset)], portsets[i], std::strlen(portsets[i]));
  }

  int run(std::int64_t mode) {
    return VSQEL_RTMOp(reinterpret_cast<RTMIOCtlQuery *>(bytes_.data()), static_cast<RTMIOCtlMode>(mode));
  }

  Request &modes(qel_uint32 switch_mode, qel_uint32 portset_mode) {
    std::memcpy(&bytes_[sizeof(RTMIOCtlQuery) + 128], &switch_mode, sizeof switch_mode);
    std::memcpy(&bytes_[sizeof(RTMIOCtlQuery) + 132], &portset_mode, sizeof portset_mode);
    return *this;
  }

  qel_uint32 switch_mode() const { return number(sizeof(RTMIOCtlQuery) + 128); }
  qel_uint32 portset_mode() const { return number(sizeof(RTMIOCtlQuery) + 132); }
  qel_uint32 outage() const { return number(5); }

 private:
  qel_uint32 number(std::size_t offset) const {
    qel_uint32 result = 0;
    std::memcpy(&result, &bytes_[offset], sizeof result);
    return result;
  }

  std::vector<char> bytes_;
};

int run(std::int64_t mode, std::vector<char const *> const &portsets = {"portset-1"}) {
  return Request(portsets).run(mode);
}

void run_until(std::int64_t last) {
  for (std::int64_t mode : {RTM_IOCCMD_REG_SAVE, RTM_IOCCMD_SAVE, RTM_IOCCMD_BLOCKPORTS, RTM_IOCCMD_PS_UPGRADE,
                            RTM_IOCCMD_PORT_UPGRADE, RTM_IOCCMD_REG_RESTORE, RTM_IOCCMD_RESTORE}) {
    ASSERT_STATUS(QEL_OK, run(mode));
    if (mode == last)
      return;
  }
}

int run_modules(std::int64_t mode, std::vector<int> const &modules, char const *portset = "portset-1") {
  std::vector<char> bytes(sizeof(RTMModIOCtlQuery) + modules.size() * sizeof(RTM_ModInfo));
  auto const count = static_cast<qel_uint32>(modules.size());
  std::memcpy(bytes.data(), &count, sizeof count);
  std::memcpy(&bytes[4], portset, std::strlen(portset));
  for (std::size_t i = 0; i < modules.size(); ++i)
    std::memcpy(&bytes[sizeof(RTMModIOCtlQuery) + i * sizeof(RTM_ModInfo) + 1], &modules[i], sizeof modules[i]);
  return VSQEL_RTMModOp(reinterpret_cast<RTMModIOCtlQuery *>(bytes.data()), static_cast<RTMIOCtlMode>(mode));
}

void advance(std::int64_t milliseconds) {
  EXPECT_STATUS(QEL_OK,
                update([&](Database &database) { stop_clock(database, clock_now(database) + milliseconds * 1000); }));
}

// A field of a packed record cannot be passed by reference.
std::uint64_t value(std::uint64_t number) {
  return number;
}

bool blocked(qel_SwitchPortID port) {
  bool result = false;
  EXPECT_STATUS(QEL_OK, query([&](Database &database) { result = is_blocked(database, port); }));
  return result;
}

unsigned learned_at(char const *dvport_id) {
  VSPMACLearningStats stats{};
  EXPECT_STATUS(QEL_OK, VSQEL_GetPortMACLearningStats("s", dvport_id, &stats));
  return stats.numMACsLearned;
}

std::uint64_t moved_at(char const *dvport_id) {
  VSPMACLearningStats stats{};
  EXPECT_STATUS(QEL_OK, VSQEL_GetPortMACLearningStats("s", dvport_id, &stats));
  return stats.numMACsMoved;
}

std::string port_value(char const *dvport_id) {
  char value[16];
  HNQQuery query{sizeof value, value};
  int const status = VSDVS_GetPortProp("s", dvport_id, "mine", &query, "", 0);
  return status == QEL_OK ? std::string(value, static_cast<std::size_t>(query.propLen)) : status_text(status);
}

class Rtm : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    boot_from(description);
    p = port_number("s", "p");
  }

  qel_SwitchPortID p;
};

TEST_F(Rtm, brings_back_what_an_upgrade_loses) {
  constexpr char mtu[] = "\xdc\x05\0";
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortProp("s", "p", "mine", "kept", 4, "owner", 0));
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortProp("s", "q", "mine", "gone", 4, "", 0));
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("s", 2000));
  ASSERT_STATUS(QEL_OK, VSDVS_SetGlobProp("s", VSPROP_MTU, mtu, 4, "", 0));
  run_until(RTM_IOCCMD_SAVE);
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_BLOCKPORTS));
  EXPECT_EQ("kept", port_value("p"));
  ASSERT_EQ(0, in_child([] { return run(RTM_IOCCMD_PS_UPGRADE); }));
  EXPECT_EQ("QEL_NOT_FOUND", port_value("p"));
  EXPECT_EQ(2000u, mtu_of("s"));
  EXPECT_EQ(0u, learned_at("p"));
  EXPECT_EQ(0u, moved_at("p"));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_PORT_UPGRADE));
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveDVPort("s", "q"));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_REG_RESTORE));
  ASSERT_EQ(0, in_child([] { return run(RTM_IOCCMD_RESTORE); }));
  EXPECT_EQ("kept", port_value("p"));
  EXPECT_STATUS(QEL_NO_PERMISSION, VSDVS_SetPortProp("s", "p", "mine", "x", 1, "another", 0));
  EXPECT_EQ(1500u, mtu_of("s"));
  EXPECT_EQ(2u, learned_at("p"));
  EXPECT_EQ(3u, moved_at("p"));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_RESTORE_COMPLETE));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_COMPLETE));
  ASSERT_STATUS(QEL_OK, boot());
  EXPECT_EQ(2000u, mtu_of("s"));  // volatile it was, and is
  EXPECT_EQ("QEL_NOT_FOUND", port_value("p"));
}

TEST_F(Rtm, the_last_saving_counts) {
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortProp("s", "p", "mine", "one", 3, "", 0));
  run_until(RTM_IOCCMD_SAVE);
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortProp("s", "p", "mine", "two", 3, "", 0));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_SAVE));
  for (std::int64_t mode : {RTM_IOCCMD_BLOCKPORTS, RTM_IOCCMD_PS_UPGRADE, RTM_IOCCMD_PORT_UPGRADE,
                            RTM_IOCCMD_REG_RESTORE, RTM_IOCCMD_RESTORE})
    ASSERT_STATUS(QEL_OK, run(mode));
  EXPECT_EQ("two", port_value("p"));
}

TEST_F(Rtm, what_was_learned_since_then_stays) {
  run_until(RTM_IOCCMD_PORT_UPGRADE);
  ASSERT_STATUS(QEL_OK, VSQEL_RTMPortOp(1, p, 1));
  ASSERT_STATUS(QEL_OK, VSQEL_RTMPortOp(1, p, 0));
  ASSERT_STATUS(QEL_OK, VSQEL_RTMPortOp(1, port_number("s", "q"), 0));
  EXPECT_STATUS(QEL_OK, update([](Database &database) {
                  RowId const vswitch = switch_by_alias(database, "s");
                  Port const q = port_by_id(database, vswitch, "q");
                  EXPECT_EQ(Learning::learned, learn_address(database, vswitch, q, {{{2, 0, 0, 0, 0, 0xb1}, 0, 0}}));
                }));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_REG_RESTORE));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_RESTORE));
  EXPECT_EQ(1u, learned_at("p"));
  EXPECT_EQ(1u, learned_at("q"));
}

TEST_F(Rtm, steps_have_an_order) {
  for (std::int64_t mode = RTM_IOCCMD_REG_RESTORE; mode <= RTM_IOCCMD_CSWITCH_OP; ++mode) {
    if (mode == RTM_IOCCMD_REG_SAVE_DUALLOAD || mode == RTM_IOCCMD_GLOBALCONFIG_SAVERESTORE)
      continue;
    SCOPED_TRACE(mode);
    EXPECT_STATUS(QEL_INVALID_STATE, run(mode));
  }
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_REG_SAVE));
  EXPECT_STATUS(QEL_EALREADY, run(RTM_IOCCMD_REG_SAVE));
  EXPECT_STATUS(QEL_EALREADY, run(RTM_IOCCMD_REG_SAVE_DUALLOAD));
  EXPECT_STATUS(QEL_INVALID_STATE, run(RTM_IOCCMD_PREDUALLOAD));
  EXPECT_STATUS(QEL_INVALID_STATE, run(RTM_IOCCMD_BLOCKPORTS));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_SAVE));
  EXPECT_STATUS(QEL_INVALID_STATE, run(RTM_IOCCMD_PS_UPGRADE));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_BLOCKPORTS));
  EXPECT_STATUS(QEL_INVALID_STATE, run(RTM_IOCCMD_SAVE));
  EXPECT_STATUS(QEL_INVALID_STATE, run(RTM_IOCCMD_RESTORE));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_PS_UPGRADE));
  EXPECT_STATUS(QEL_INVALID_STATE, run(RTM_IOCCMD_REG_RESTORE));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_PORT_UPGRADE));
  EXPECT_STATUS(QEL_INVALID_STATE, run(RTM_IOCCMD_REG_RESTORE_DUALLOAD));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_REG_RESTORE));
  EXPECT_STATUS(QEL_INVALID_STATE, run(RTM_IOCCMD_RESTORE_COMPLETE));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_RESTORE));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_RESTORE_COMPLETE));
  EXPECT_STATUS(QEL_INVALID_STATE, run(RTM_IOCCMD_RESTORE_COMPLETE));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_COMPLETE));
  EXPECT_STATUS(QEL_INVALID_STATE, run(RTM_IOCCMD_COMPLETE));
  EXPECT_STATUS(QEL_OK, run(RTM_IOCCMD_REG_SAVE));
  ASSERT_STATUS(QEL_OK, boot());
  EXPECT_STATUS(QEL_OK, run(RTM_IOCCMD_REG_SAVE));
}

TEST_F(Rtm, two_loaded_versions_need_room_first) {
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_REG_SAVE_DUALLOAD));
  EXPECT_STATUS(QEL_INVALID_STATE, run(RTM_IOCCMD_SAVE));
  for (std::int64_t mode :
       {RTM_IOCCMD_PREDUALLOAD, RTM_IOCCMD_SAVE, RTM_IOCCMD_BLOCKPORTS, RTM_IOCCMD_PS_UPGRADE, RTM_IOCCMD_PORT_UPGRADE})
    ASSERT_STATUS(QEL_OK, run(mode));
  EXPECT_STATUS(QEL_INVALID_STATE, run(RTM_IOCCMD_REG_RESTORE));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_REG_RESTORE_DUALLOAD));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_RESTORE));
}

TEST_F(Rtm, refused_requests_change_nothing) {
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_RTMOp(nullptr, static_cast<RTMIOCtlMode>(0)));
  EXPECT_STATUS(QEL_BAD_PARAM, run(-1));
  EXPECT_STATUS(QEL_BAD_PARAM, run(15));
  EXPECT_STATUS(QEL_BAD_PARAM, run(RTM_IOCCMD_REG_SAVE, {}));
  EXPECT_STATUS(QEL_NOT_FOUND, run(RTM_IOCCMD_REG_SAVE, {"portset-1", "portset-9"}));
  EXPECT_STATUS(QEL_EXISTS, run(RTM_IOCCMD_REG_SAVE, {"portset-1", "portset-2", "portset-1"}));
  EXPECT_STATUS(QEL_VERSION_MISMATCH_MAJOR, run(RTM_IOCCMD_REG_SAVE, {"portset-1", "portset-3"}));
  EXPECT_STATUS(QEL_NAME_TOO_LONG, run(RTM_IOCCMD_REG_SAVE, {std::string(128, 'x').c_str()}));
  RTMIOCtlQuery header{};
  header.numPortsets = 129;  // refused from the header alone
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, VSQEL_RTMOp(&header, static_cast<RTMIOCtlMode>(0)));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_REG_SAVE, {"portset-2"}));
  EXPECT_STATUS(QEL_EALREADY, run(RTM_IOCCMD_REG_SAVE, {"portset-1", "portset-2"}));
  EXPECT_STATUS(QEL_OK, run(RTM_IOCCMD_REG_SAVE));
  EXPECT_STATUS(QEL_OK, run(RTM_IOCCMD_SAVE, {"portset-1", "portset-2"}));
  EXPECT_STATUS(QEL_OK, Request({"portset-3"}, 0, 1).run(RTM_IOCCMD_REG_SAVE));
}

TEST_F(Rtm, outages_are_measured_and_limited) {
  ASSERT_STATUS(QEL_OK, Request({"portset-1", "portset-2"}, 300).run(RTM_IOCCMD_REG_SAVE));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_SAVE));
  EXPECT_FALSE(blocked(p));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_BLOCKPORTS));
  EXPECT_TRUE(blocked(p));
  advance(300);
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_PS_UPGRADE));
  advance(1);
  EXPECT_STATUS(QEL_TIMEOUT, run(RTM_IOCCMD_PORT_UPGRADE));
  advance(-1);
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_PORT_UPGRADE));
  advance(42);
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_REG_RESTORE));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_RESTORE));
  EXPECT_TRUE(blocked(p));
  Request last({"portset-1"});
  ASSERT_STATUS(QEL_OK, last.run(RTM_IOCCMD_RESTORE_COMPLETE));
  EXPECT_EQ(342u, last.outage());
  EXPECT_FALSE(blocked(p));
}

TEST_F(Rtm, completing_early_unblocks) {
  run_until(RTM_IOCCMD_PS_UPGRADE);
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_COMPLETE));
  EXPECT_FALSE(blocked(p));
  EXPECT_EQ(0u, learned_at("p"));
}

TEST_F(Rtm, modes_are_kept_and_answered) {
  ASSERT_STATUS(QEL_OK, Request({"portset-1"}).modes(7, 8).run(RTM_IOCCMD_REG_SAVE));
  Request present({"portset-1"});
  ASSERT_STATUS(QEL_OK, present.run(RTM_IOCCMD_CSWITCH_OP));
  EXPECT_EQ(7u, present.switch_mode());
  EXPECT_EQ(8u, present.portset_mode());
  EXPECT_STATUS(QEL_BAD_PARAM, Request({"portset-1"}).modes(2, 0).run(RTM_IOCCMD_ORV_OP));
  Request change({"portset-1"});
  ASSERT_STATUS(QEL_OK, change.modes(RTM_IOCCMD_ORV_ACTIVATE, 5).run(RTM_IOCCMD_ORV_OP));
  EXPECT_EQ(7u, change.switch_mode());
  for (std::int64_t mode :
       {RTM_IOCCMD_SAVE, RTM_IOCCMD_BLOCKPORTS, RTM_IOCCMD_PS_UPGRADE, RTM_IOCCMD_PORT_UPGRADE, RTM_IOCCMD_REG_RESTORE})
    ASSERT_STATUS(QEL_OK, run(mode));
  Request restore({"portset-1"});
  ASSERT_STATUS(QEL_OK, restore.run(RTM_IOCCMD_RESTORE));
  EXPECT_EQ(1u, restore.switch_mode());
  EXPECT_EQ(5u, restore.portset_mode());
}

TEST_F(Rtm, a_step_that_cannot_be_committed_leaves_the_record_as_it_was) {
  Request saved({"portset-1"});
  ASSERT_STATUS(QEL_OK, saved.modes(0, 8).run(RTM_IOCCMD_REG_SAVE));
  Request change({"portset-1"});
  change.modes(RTM_IOCCMD_ORV_ACTIVATE, 5);
  ASSERT_EQ(0, in_child([&] {
              // The log must not grow any more, as on a disk that is full.
              VSDVS_SetMTU("s", 2000);
              rlimit const limit{std::filesystem::file_size(state_file().string() + "-wal"), RLIM_INFINITY};
              signal(SIGXFSZ, SIG_IGN);
              setrlimit(RLIMIT_FSIZE, &limit);
              if (change.run(RTM_IOCCMD_ORV_OP) != QEL_NO_SPACE_ON_DEVICE)
                return 1;
              return change.switch_mode() == RTM_IOCCMD_ORV_ACTIVATE && change.portset_mode() == 5 ? 0 : 2;
            }));
  ASSERT_STATUS(QEL_OK, change.run(RTM_IOCCMD_ORV_OP));
  EXPECT_EQ(0u, change.switch_mode());
  EXPECT_EQ(8u, change.portset_mode());
}

TEST_F(Rtm, what_holds_for_all_switches_is_saved_and_restored_in_turn) {
  VSMACLearningGlobalProps props{100, 200, 1, 0};
  ASSERT_STATUS(QEL_OK, VSQEL_SetGlobalMACLearningProps(&props));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_GLOBALCONFIG_SAVERESTORE, {}));
  props.agingTime = 5;
  ASSERT_STATUS(QEL_OK, VSQEL_SetGlobalMACLearningProps(&props));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_GLOBALCONFIG_SAVERESTORE, {}));
  ASSERT_STATUS(QEL_OK, VSQEL_GetGlobalMACLearningProps(&props));
  EXPECT_EQ(100u, value(props.agingTime));
  props.agingTime = 5;
  ASSERT_STATUS(QEL_OK, VSQEL_SetGlobalMACLearningProps(&props));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_GLOBALCONFIG_SAVERESTORE, {}));  // saves again
  ASSERT_STATUS(QEL_OK, VSQEL_GetGlobalMACLearningProps(&props));
  EXPECT_EQ(5u, value(props.agingTime));
}

TEST_F(Rtm, modules_take_part) {
  EXPECT_STATUS(QEL_INVALID_STATE, run_modules(RTM_IOCCMD_REG_SAVE, {1}));
  run_until(RTM_IOCCMD_REG_SAVE);
  EXPECT_STATUS(QEL_NOT_FOUND, run_modules(RTM_IOCCMD_SAVE, {1}));
  EXPECT_STATUS(QEL_INVALID_STATE, run_modules(RTM_IOCCMD_REG_SAVE_DUALLOAD, {1}));
  ASSERT_STATUS(QEL_OK, run_modules(RTM_IOCCMD_REG_SAVE, {1, 0x7fffffff}));
  EXPECT_STATUS(QEL_EALREADY, run_modules(RTM_IOCCMD_REG_SAVE, {2, 1}));
  EXPECT_STATUS(QEL_INVALID_STATE, run_modules(RTM_IOCCMD_REG_RESTORE, {1}));
  EXPECT_STATUS(QEL_INVALID_STATE, run_modules(RTM_IOCCMD_BLOCKPORTS, {1}));
  ASSERT_STATUS(QEL_OK, run_modules(RTM_IOCCMD_SAVE, {1}));
  EXPECT_STATUS(QEL_INVALID_STATE, run_modules(RTM_IOCCMD_SAVE, {1}));
  ASSERT_STATUS(QEL_OK, run_modules(RTM_IOCCMD_REG_RESTORE, {1}));
  EXPECT_STATUS(QEL_INVALID_STATE, run_modules(RTM_IOCCMD_RESTORE, {1}));  // not before the switch
  for (std::int64_t mode : {RTM_IOCCMD_SAVE, RTM_IOCCMD_BLOCKPORTS, RTM_IOCCMD_PS_UPGRADE, RTM_IOCCMD_PORT_UPGRADE,
                            RTM_IOCCMD_REG_RESTORE, RTM_IOCCMD_RESTORE})
    ASSERT_STATUS(QEL_OK, run(mode));
  EXPECT_STATUS(QEL_BUSY, run(RTM_IOCCMD_RESTORE_COMPLETE));
  EXPECT_STATUS(QEL_BUSY, run(RTM_IOCCMD_COMPLETE));
  ASSERT_STATUS(QEL_OK, run_modules(RTM_IOCCMD_RESTORE, {1}));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_RESTORE_COMPLETE));
  ASSERT_STATUS(QEL_OK, run_modules(RTM_IOCCMD_COMPLETE, {1}));
  EXPECT_STATUS(QEL_NOT_FOUND, run_modules(RTM_IOCCMD_COMPLETE, {1}));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_COMPLETE));
}

TEST_F(Rtm, refused_module_requests) {
  run_until(RTM_IOCCMD_REG_SAVE);
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_RTMModOp(nullptr, static_cast<RTMIOCtlMode>(0)));
  EXPECT_STATUS(QEL_BAD_PARAM, run_modules(15, {1}));
  EXPECT_STATUS(QEL_BAD_PARAM, run_modules(RTM_IOCCMD_REG_SAVE, {}));
  EXPECT_STATUS(QEL_INVALID_MODULE, run_modules(RTM_IOCCMD_REG_SAVE, {-1}));
  EXPECT_STATUS(QEL_EXISTS, run_modules(RTM_IOCCMD_REG_SAVE, {3, 3}));
  EXPECT_STATUS(QEL_NOT_FOUND, run_modules(RTM_IOCCMD_REG_SAVE, {3}, "none"));
  EXPECT_STATUS(QEL_NOT_FOUND, run_modules(RTM_IOCCMD_SAVE, {3}));
  RTMModIOCtlQuery header{};
  header.numMod = 129;
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, VSQEL_RTMModOp(&header, static_cast<RTMIOCtlMode>(0)));
}

TEST_F(Rtm, ports_are_blocked_for_a_world) {
  EXPECT_STATUS(QEL_INVALID_STATE, VSQEL_RTMPortOp(5, p, 1));
  run_until(RTM_IOCCMD_REG_SAVE);
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_RTMPortOp(5, 0, 1));
  EXPECT_STATUS(QEL_INVALID_WORLD, VSQEL_RTMPortOp(-1, p, 1));
  ASSERT_EQ(0, in_child([&] { return VSQEL_RTMPortOp(5, p, 48); }));
  EXPECT_TRUE(blocked(p));
  EXPECT_STATUS(QEL_OK, VSQEL_RTMPortOp(5, p, 1));
  EXPECT_STATUS(QEL_BUSY, VSQEL_RTMPortOp(6, p, 1));
  EXPECT_STATUS(QEL_NO_PERMISSION, VSQEL_RTMPortOp(6, p, 0));
  EXPECT_STATUS(QEL_INVALID_WORLD, VSQEL_RTMPortOp(-1, p, 0));
  EXPECT_STATUS(QEL_OK, update([](Database &database) {
                  RowId const vswitch = switch_by_alias(database, "s");
                  EXPECT_EQ(Learning::ignored, learn_address(database, vswitch, port_by_id(database, vswitch, "p"),
                                                             {{{2, 0, 0, 0, 0, 0xe1}, 0, 0}}));
                }));
  ASSERT_STATUS(QEL_OK, VSQEL_RTMPortOp(5, p, 0));
  EXPECT_FALSE(blocked(p));
  EXPECT_STATUS(QEL_OK, VSQEL_RTMPortOp(5, p, 0));
  ASSERT_STATUS(QEL_OK, VSQEL_RTMPortOp(5, p, 1));
  ASSERT_STATUS(QEL_OK, run(RTM_IOCCMD_COMPLETE));
  EXPECT_FALSE(blocked(p));
}

TEST_F(Rtm, teaming_can_leave_a_blocked_uplink_out) {
  VSTeamPolicy policy{};
  policy.loadBalance = TEAM_FRP_TYPE_FO_EXPLICIT;
  policy.linkCriteria = TEAM_FRP_CRIT_PORT_BLOCKED;
  policy.numActive = 2;
  std::strcpy(policy.uplinkPortName[0], "n0");
  std::strcpy(policy.uplinkPortName[1], "n1");
  ASSERT_STATUS(QEL_OK, VSDVS_SetTeamingPolicy("s", &policy));
  run_until(RTM_IOCCMD_REG_SAVE);
  qel_Name name{};
  ASSERT_STATUS(QEL_OK, VSQEL_PortGetTeamUplinkHint(p, &name));
  EXPECT_STREQ("n0", name.string);
  ASSERT_STATUS(QEL_OK, VSQEL_RTMPortOp(0, port_number("s", "uplink-1"), 1));
  ASSERT_STATUS(QEL_OK, VSQEL_PortGetTeamUplinkHint(p, &name));
  EXPECT_STREQ("n1", name.string);
}

}  // namespace rtm_test
