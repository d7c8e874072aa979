// The host's clock: addresses age by it, and what is due happens once.
#include "constants/constants.hpp"
#include "interface/distributed_switch_configuration.h"
#include "interface/switch_queries.h"
#include "sim_test.hpp"

namespace time_test {

constexpr std::int64_t second = 1000000;
constexpr std::int64_t aging_time = 600;  // seconds

Result moved_on(OwnedHost const &host, std::int64_t microseconds) {
  vssim_result *result = nullptr;
  EXPECT_OK(vssim_advance(host.get(), microseconds, &result));
  return {host, result};
}

class Time : public SimTest {
 protected:
  void SetUp() override {
    SimTest::SetUp();
    learn_at("a");
    a = port(host, "sw", "a");
  }
  vssim_endpoint a = 0;
  std::string const sent = frame(mac_b, "020000000777");
};

TEST_F(Time, K_1_MAC_3_addresses_age_by_the_hosts_clock) {
  ASSERT_OK(vssim_stop_clock(host.get(), 10 * second + 999999));
  send(host, a, sent);
  moved_on(host, 3 * second);
  EXPECT_EQ((Lines{"02:00:00:00:07:77 a 3"}), learned(host));
  // Seen in the second 10.
  ASSERT_OK(vssim_stop_clock(host.get(), (10 + aging_time) * second - 1));
  EXPECT_EQ((Lines{"02:00:00:00:07:77 a 599"}), learned(host));
  moved_on(host, 1);
  EXPECT_EQ(Lines{}, learned(host));
}

TEST_F(Time, K_3_a_clock_is_advanced_while_it_is_stopped) {
  EXPECT_EQ(0u, moved_on(host, 5 * second).total(0));
  std::int64_t now = 0;
  int stopped = 0;
  ASSERT_OK(vssim_now(host.get(), &now, &stopped));
  EXPECT_EQ(6 * second, now);
  EXPECT_EQ(1, stopped);
  EXPECT_FAILS(BAD_ARGUMENT, "a clock is advanced by 0 to 3.2e9 seconds", vssim_advance(host.get(), -1, nullptr));
  EXPECT_FAILS(BAD_ARGUMENT, "a clock is advanced by 0 to 3.2e9 seconds",
               vssim_advance(host.get(), 3200000000000001, nullptr));
  ASSERT_OK(vssim_run_clock(host.get()));
  ASSERT_OK(vssim_now(host.get(), &now, &stopped));
  EXPECT_EQ(0, stopped);
  EXPECT_GT(now, 1700000000 * second);
  EXPECT_FAILS(FAILED, "the clock is running; stop it first", vssim_advance(host.get(), 0, nullptr));
  ASSERT_OK(vssim_stop_clock(host.get(), -1));
  ASSERT_OK(vssim_now(host.get(), &now, &stopped));
  EXPECT_EQ(1, stopped);
  EXPECT_FAILS(BAD_ARGUMENT, "a time before the epoch", vssim_stop_clock(host.get(), -2));
}

// The furthest time still has times behind it, for all that is due later.
TEST_F(Time, K_3_a_clock_stands_at_9e18_microseconds_at_most) {
  char const text[] = R"({"format": 1, "stopped_clock": 9000000000000000000,
    "runtime_options": {"IGMPQueryInterval": 65535, "IGMPQueries": 16}, "mac_learning": {"aging_time": 1000000},
    "physical_nics": [{"name": "nic0", "mac": "02:00:00:00:00:01", "partner": {}}],
    "switches": [{"alias": "sw", "switch_id": "id", "uplinks": [{"name": "nic0"}],
      "lags": [{"name": "lag", "mode": "active", "members": [{"uplink": "nic0"}]}],
      "ports": [{"dvport_id": "a", "client": {"name": "a", "type": "vnic", "mac": "02:00:00:00:01:0a"},
        "mac_learning": {}}]}]})";
  OwnedHost const late = open_host_at(nullptr, text);
  ASSERT_OK(vssim_use(late.get()));
  ASSERT_EQ(0, VSDVS_SetMcastFilterMode("sw", static_cast<VSMcastFilterMode>(constant::VS_MCAST_FILTER_MODE_SNOOPING)));
  ASSERT_OK(vssim_unuse(late.get()));
  std::string const report =
      bytes("01005e000116 02000000010a 0800 46c0002000004000 010231f8 c0000209 ef000116 94040000 1600f9e8ef000116");
  for (std::string const &one : {sent, report}) {
    Result const result = send(late, port(late, "sw", "a"), one);
    EXPECT_EQ(1u, result.total(0));
    EXPECT_EQ(0u, result.total(4));
  }
  EXPECT_EQ((Lines{"02:00:00:00:07:77 a 0"}), learned(late));
  EXPECT_FAILS(BAD_ARGUMENT, "the clock cannot be advanced so far", vssim_advance(late.get(), 1, nullptr));
  EXPECT_FAILS(BAD_ARGUMENT, "a time after 9000000000000 seconds", vssim_stop_clock(late.get(), 9000000000000000001));
  vssim_host *later = nullptr;
  EXPECT_FAILS(FAILED, "stopped_clock: must be a number from 0 to 9000000000000000000",
               vssim_open(nullptr, R"({"format": 1, "stopped_clock": 9000000000000000001})", &later));
}

TEST_F(Time, K_3_D_1_pieces_of_an_advance_leave_the_same_state) {
  send(host, a, sent);
  OwnedHost const whole = fork_of(host);
  OwnedHost const pieces = fork_of(host);
  moved_on(whole, aging_time * second);
  for (int i = 0; i < 6; ++i)
    moved_on(pieces, aging_time * second / 6);
  EXPECT_EQ(asked<char const *>(vssim_mac_table, whole, "sw"), asked<char const *>(vssim_mac_table, pieces, "sw"));
}

TEST_F(Time, K_4_an_empty_batch_only_has_happen_what_is_due) {
  send(host, a, sent);
  ASSERT_OK(vssim_stop_clock(host.get(), (1 + aging_time) * second));
  EXPECT_EQ(0u, send(host, std::vector<vssim_frame>{}).total(0));
  // Gone is gone, whatever the clock says then.
  ASSERT_OK(vssim_stop_clock(host.get(), 1 * second));
  EXPECT_EQ(Lines{}, learned(host));
}

TEST_F(Time, K_4_an_explanation_has_it_happen_on_its_copy) {
  send(host, a, sent);
  ASSERT_OK(vssim_stop_clock(host.get(), (1 + aging_time) * second));
  EXPECT_EQ(2u, explain(host, port(host, "sw", "b"), frame("020000000777", mac_b)).total(1));  // flooded: a and nic0
  ASSERT_OK(vssim_stop_clock(host.get(), 2 * second));
  EXPECT_EQ(Lines{}, learned(host));  // by the operations that set the clock
}

TEST_F(Time, K_5_a_clock_that_is_set_back_ages_nothing) {
  ASSERT_OK(vssim_stop_clock(host.get(), 100 * second));
  send(host, a, sent);
  ASSERT_OK(vssim_stop_clock(host.get(), 50 * second));
  send(host, port(host, "sw", "b"), frame(mac_c, mac_b));
  EXPECT_EQ((Lines{"02:00:00:00:07:77 a 0"}), learned(host));
}

TEST_F(Time, MAC_3_a_shorter_aging_time_removes_what_is_then_gone) {
  send(host, a, sent);
  moved_on(host, 60 * second);
  ASSERT_OK(vssim_use(host.get()));
  for (unsigned const seconds : {60u, 600u}) {
    VSMACLearningGlobalProps properties{seconds, 65536, 0, 1};
    ASSERT_EQ(0, VSQEL_SetGlobalMACLearningProps(&properties));
  }
  ASSERT_OK(vssim_unuse(host.get()));
  EXPECT_EQ(Lines{}, learned(host));
  EXPECT_EQ(1u, send(host, port(host, "sw", "b"), frame(mac_c, mac_b)).total(1));
}

TEST_F(Time, V_8_another_vlan_policy_forgets_what_was_learned_at_the_port) {
  send(host, a, sent);
  ASSERT_OK(vssim_use(host.get()));
  ASSERT_EQ(0, VSDVS_ClearPortVLANPolicy("sw", "a"));
  ASSERT_OK(vssim_unuse(host.get()));
  EXPECT_EQ((Lines{"02:00:00:00:07:77 a 0"}), learned(host));
  ASSERT_OK(vssim_use(host.get()));
  ASSERT_EQ(0, VSDVS_SetPortVLANPolicy("sw", "a", 10, 0, 0, 0, nullptr, 0));
  ASSERT_OK(vssim_unuse(host.get()));
  EXPECT_EQ(Lines{}, learned(host));
}

TEST_F(Time, V_8_another_private_vlan_map_forgets_the_vlans_of_both) {
  auto const set = [&](VSPvlanMapEntry const &entry) {
    ASSERT_OK(vssim_use(host.get()));
    ASSERT_EQ(0, VSDVS_SetPrivateVLANMap("sw", &entry, 1));
    ASSERT_OK(vssim_unuse(host.get()));
  };
  auto const promiscuous = [](qel_uint16 vlan) {
    return VSPvlanMapEntry{vlan, vlan, constant::VSPORT_PVLAN_TYPE_PROMISC, {}};
  };
  set(promiscuous(100));
  ASSERT_OK(vssim_use(host.get()));
  ASSERT_EQ(0, VSDVS_SetPortVLANPolicy("sw", "a", 0, 0, 1, 0, nullptr, 0));
  ASSERT_OK(vssim_unuse(host.get()));
  for (char const *const tag : {"8100 0064 0800", "8100 00c8 0800", "8100 0005 0800"})
    send(host, a, frame(broadcast, std::string("0200000007") + tag[7] + tag[8], tag));
  ASSERT_EQ((Lines{"02:00:00:00:07:05 a 0", "02:00:00:00:07:64 a 0", "02:00:00:00:07:c8 a 0"}), learned(host));
  set(promiscuous(200));
  EXPECT_EQ((Lines{"02:00:00:00:07:05 a 0"}), learned(host));
}

}  // namespace time_test
