// What happens by itself: in which order, in which pieces of time, and who is handed the frames.
#include <cstring>

#include "constants/constants.hpp"
#include "interface/distributed_switch_configuration.h"
#include "interface/switch_queries.h"
#include "sim_test.hpp"

namespace events_test {

using namespace constant;

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

// A partner that no longer aggregates takes its member down. What LACP makes due at its own time is of a lower kind
// than what it then has to send itself.
TEST_F(Events, K_2_N_1_announcements_that_lacp_makes_due_come_before_its_next_frame) {
  host = open_host_at(nullptr, R"({"format": 1, "stopped_clock": 1000000,
    "physical_nics": [{"name": "nic0", "mac": "02:00:00:00:00:01", "partner": {}},
                      {"name": "nic1", "mac": "02:00:00:00:00:02", "partner": {}},
                      {"name": "nic2", "mac": "02:00:00:00:00:03"}],
    "switches": [{"alias": "sw", "switch_id": "id",
      "uplinks": [{"name": "nic2"}, {"name": "nic0"}, {"name": "nic1"}],
      "lags": [{"name": "lag", "mode": "active", "members": [{"uplink": "nic0"}, {"uplink": "nic1"}]}],
      "ports": [{"dvport_id": "a", "client": {"name": "a", "type": "vnic", "mac": "02:00:00:00:01:0a"}}]}]})");
  VSTeamPolicy policy{};
  policy.loadBalance = TEAM_FRP_TYPE_FO_EXPLICIT;
  policy.linkCriteria = TEAM_FRP_CRIT_LINK_STATE;
  policy.flags = TEAM_FRP_FLAG_NOTIFY_SWITCH;
  for (char const *const uplink : {"nic2", "nic0", "nic1"})
    std::strcpy(policy.uplinkPortName[policy.numActive++], uplink);
  ASSERT_OK(vssim_use(host.get()));
  ASSERT_EQ(0, VSDVS_SetTeamingPolicy("sw", &policy));
  ASSERT_OK(vssim_unuse(host.get()));
  moved_on(host, 2500000);
  vssim_endpoint const nic0 = nic(host, "nic0");
  ASSERT_EQ(true, asked<vssim_endpoint>(vssim_lacp, host, nic0)["up"]);
  ASSERT_OK(vssim_set_partner(host.get(), nic0, R"({"aggregatable": false})"));
  EXPECT_EQ((Lines{"-1 made nic2 60", "-1 made nic0 124"}), moved_on(host, 0).lines());
  EXPECT_EQ(false, asked<vssim_endpoint>(vssim_lacp, host, nic0)["up"]);
}

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

// Save and restore around an upgrade of the first switch, one step after the other.
void upgrade() {
  for (int const step :
       {RTM_IOCCMD_REG_SAVE, RTM_IOCCMD_SAVE, RTM_IOCCMD_BLOCKPORTS, RTM_IOCCMD_PS_UPGRADE, RTM_IOCCMD_PORT_UPGRADE,
        RTM_IOCCMD_REG_RESTORE, RTM_IOCCMD_RESTORE, RTM_IOCCMD_RESTORE_COMPLETE}) {
    std::vector<char> request(sizeof(RTMIOCtlQuery) + sizeof(RTM_Portset));
    RTMIOCtlQuery header{};
    header.numPortsets = 1;
    std::memcpy(request.data(), &header, sizeof header);
    std::memcpy(&request[sizeof header], "portset-1", 9);
    ASSERT_EQ(0, VSQEL_RTMOp(reinterpret_cast<RTMIOCtlQuery *>(request.data()), static_cast<RTMIOCtlMode>(step)));
  }
}

TEST_F(Events, CORE_2_D_2_an_upgrade_keeps_memberships_routers_and_rounds) {
  vssim_endpoint const a = port(host, "z", "a");
  vssim_endpoint const b = port(host, "z", "b");
  vssim_endpoint const wire = nic(host, "nic0");
  // A report of IGMPv2 for 239.1.1.1 and a general query of 192.0.2.1.
  send(host, a,
       bytes("01005e010101 02000000010a 0800 46c0002000004000 01023214 c0000201ef01010194040000 1600f9fcef010101") +
           std::string(14, '\0'));
  send(host, b,
       bytes("01005e000001 02000000010b 0800 46c0002000004000 01024215 c0000201e000000194040000 1100eeff00000000") +
           std::string(14, '\0'));
  std::string const to_group =
      bytes("01005e010101 020000000777 0800 4500001c00000000 0911ff6b c0000263 ef010101 1388138800080000") +
      std::string(18, '\0');
  std::string const to_others =
      bytes("01005e020202 020000000777 0800 4500001c00000000 0911fe69 c0000263 ef020202 1388138800080000") +
      std::string(18, '\0');
  Lines const both{"0 frame z/a 60", "0 frame z/b 60"};
  ASSERT_OK(vssim_use(host.get()));
  set_link_by_call("portset-1", "nic1");
  EXPECT_EQ((Lines{"-1 made nic0 60"}), moved_on(host, 0).lines());
  ASSERT_EQ(both, send(host, wire, to_group).lines());
  upgrade();
  ASSERT_OK(vssim_unuse(host.get()));
  EXPECT_EQ((Lines{"-1 made nic0 60"}), moved_on(host, 100000).lines()) << "the round goes on";
  EXPECT_EQ(both, send(host, wire, to_group).lines());
  EXPECT_EQ((Lines{"0 frame z/b 60"}), send(host, wire, to_others).lines());
  moved_on(host, 255 * second - 100000 - 1);
  EXPECT_EQ(both, send(host, wire, to_group).lines());
  moved_on(host, 1);
  EXPECT_EQ((Lines{"0 frame z/a 60"}), send(host, wire, to_group).lines());
  moved_on(host, 5 * second);
  EXPECT_EQ((Lines{"0 drop nic0 in multicast-filtered"}), send(host, wire, to_group).lines());
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

}  // namespace events_test
