// What happens by itself: in which order, in which pieces of time, and who is handed the frames.
#include "constants/constants.hpp"
#include "interface/distributed_switch_configuration.h"
#include "interface/switch_queries.h"
#include "sim_test.hpp"

using namespace constant;

namespace {

constexpr std::int64_t second = 1000000;

// Two switches with two clients and two uplinks each. Both ask their clients (IGMP), and announce one client at a time.
constexpr char two_switches[] = R"({
  "format": 1, "stopped_clock": 124000000,
  "runtime_options": {"MaxRARPsPerInterval": 1},
  "physical_nics": [{"name": "nic0", "mac": "02:00:00:00:00:01"}, {"name": "nic1", "mac": "02:00:00:00:00:02"},
                    {"name": "nic2", "mac": "02:00:00:00:00:03"}, {"name": "nic3", "mac": "02:00:00:00:00:04"}],
  "switches": [
    {"alias": "z", "switch_id": "z", "uplinks": [{"name": "nic0"}, {"name": "nic1"}], "ports": [
      {"dvport_id": "a", "client": {"name": "a", "type": "vnic", "mac": "02:00:00:00:01:0a"}},
      {"dvport_id": "b", "client": {"name": "b", "type": "vnic", "mac": "02:00:00:00:01:0b"}}]},
    {"alias": "y", "switch_id": "y", "uplinks": [{"name": "nic2"}, {"name": "nic3"}], "ports": [
      {"dvport_id": "c", "client": {"name": "c", "type": "vnic", "mac": "02:00:00:00:01:0c"}},
      {"dvport_id": "d", "client": {"name": "d", "type": "vnic", "mac": "02:00:00:00:01:0d"}}]}]})";

Result moved_on(OwnedHost const &host, std::int64_t microseconds) {
  vssim_result *result = nullptr;
  EXPECT_OK(vssim_advance(host.get(), microseconds, &result));
  return {host, result};
}

// By a call of the libraries on the host in use, which lets nothing happen.
void set_link_by_call(char const *portset, char const *uplink) {
  ASSERT_EQ(0, VSQEL_SetUplinkAdminLinkState(portset, uplink, static_cast<qel_LinkState>(0)));
}

}  // namespace

class Events : public SimTest {
 protected:
  void SetUp() override {
    SimTest::SetUp();
    host = open_host_at(nullptr, two_switches);
    ASSERT_OK(vssim_use(host.get()));
    for (char const *const alias : {"z", "y"})
      ASSERT_EQ(0, VSDVS_SetMcastFilterMode(alias, static_cast<VSMcastFilterMode>(VS_MCAST_FILTER_MODE_IGMP)));
    ASSERT_OK(vssim_unuse(host.get()));
  }
};

TEST_F(Events, K_2_by_time_then_switch_then_kind_then_port) {
  moved_on(host, 900000);
  ASSERT_OK(vssim_use(host.get()));
  set_link_by_call("portset-2", "nic3");
  set_link_by_call("portset-1", "nic1");
  ASSERT_OK(vssim_unuse(host.get()));
  EXPECT_EQ((Lines{"-1 made nic0 60", "-1 made nic2 60"}), moved_on(host, 0).lines());
  EXPECT_EQ((Lines{"-1 made nic0 60", "-1 made z/a 60", "-1 made z/b 60", "-1 made nic2 60", "-1 made y/c 60",
                   "-1 made y/d 60"}),
            moved_on(host, 100000).lines());
}

TEST_F(Events, K_1_K_5_periodic_events_happen_once) {
  EXPECT_EQ(0u, moved_on(host, second - 1).total(1));
  EXPECT_EQ(4u, moved_on(host, 1).total(1));
  EXPECT_EQ(0u, moved_on(host, 0).total(1));
  ASSERT_OK(vssim_stop_clock(host.get(), 100 * second));
  EXPECT_EQ(0u, moved_on(host, 100 * second).total(1)) << "they are past";
  EXPECT_EQ(4u, moved_on(host, 50 * second).total(1));
  EXPECT_EQ(40u, moved_on(host, 1250 * second).total(1));
}

TEST_F(Events, K_6_a_running_clock_passes_over_long_gaps) {
  ASSERT_OK(vssim_run_clock(host.get()));
  EXPECT_EQ((Lines{"-1 made z/a 60", "-1 made z/b 60", "-1 made y/c 60", "-1 made y/d 60"}),
            send(host, std::vector<vssim_frame>{}).lines())
      << "of all those since then only the last queries";
}

TEST_F(Events, K_4_other_operations_let_it_happen_too) {
  ASSERT_OK(vssim_stop_clock(host.get(), 130 * second));
  EXPECT_EQ(1u, explain(host, port(host, "z", "a"), frame(mac_b, mac_a)).total(1)) << "their frames are left out";
  ASSERT_OK(vssim_set_client(host.get(), port(host, "z", "b"), R"({"link": false})"));
  EXPECT_EQ(0u, moved_on(host, 0).total(1)) << "they were sent before";
  EXPECT_EQ(1, asked<vssim_endpoint>(vssim_counters, host, port(host, "z", "b"))["pktsOutMulticast"]);
}

TEST_F(Events, N_5_the_next_operation_hands_out_announcements) {
  ASSERT_OK(vssim_use(host.get()));
  set_link_by_call("portset-1", "nic0");
  VSRARPStats statistics{};
  ASSERT_EQ(0, VSQEL_GetRARPStats("portset-1", &statistics));
  EXPECT_EQ(2u, statistics.rarpPktsSent);
  ASSERT_OK(vssim_unuse(host.get()));
  OwnedHost const other = fork_of(host);
  Lines const expected{"-1 made nic1 60"};
  EXPECT_EQ(expected, moved_on(host, 0).lines());
  EXPECT_EQ(expected, moved_on(host, 100000).lines());
  EXPECT_EQ(Lines{}, moved_on(host, 100000).lines());
  EXPECT_EQ((Lines{"-1 made nic1 60", "0 frame z/b 60"}),
            send(other, port(other, "z", "a"), frame(mac_b, mac_a)).lines());
}
