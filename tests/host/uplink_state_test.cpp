// What the uplinks of a running switch do: LAGs, the choice of teaming, announcements, counters.
#include <vector>

#include "host_test.hpp"
#include "platform/core/clock.hpp"
#include "platform/core/uplink_choice.hpp"

namespace uplink_state_test {

// Three uplinks and ports with clients; the ports' numbers follow those of the uplinks.
constexpr char description[] = R"({
  "format": 1,
  "physical_nics": [
    {"name": "n0", "mac": "02:00:00:00:00:00", "speed": 10000, "numa_node": 0},
    {"name": "n1", "mac": "02:00:00:00:00:01", "speed": 25000, "numa_node": 1},
    {"name": "n2", "mac": "02:00:00:00:00:02", "speed": 1000, "duplex": "half", "numa_node": 0}
  ],
  "switches": [{
    "alias": "s", "switch_id": "i",
    "uplinks": [{"name": "a", "nic": "n0"}, {"name": "b", "nic": "n1", "dvport_id": "up-b"},
                {"name": "c", "nic": "n2"}],
    "ports": [
      {"dvport_id": "p", "client": {"name": "x", "type": "vnic", "mac": "02:00:00:00:00:a2", "numa_node": 1}},
      {"dvport_id": "q", "client": {"name": "y", "type": "vnic", "mac": "02:00:00:00:00:a4"}},
      {"dvport_id": "free"}
    ],
    "lags": [{"name": "front", "members": [{"uplink": "b", "lacp": "down"}, {"uplink": "a"}]}, {"name": "empty"}],
    "counters": {"rarp_packets": 7, "rarp_longest": 50, "rarp_time": 80, "service_port_tx": 1,
      "service_port_tx_own_policy": 2, "service_port_tx_source_policy": 3, "service_port_tx_errors": 4,
      "service_port_rx": 5, "service_port_rx_override": 9223372036854775807}
  }]
})";

struct LagView {
  int state;
  unsigned id;
  std::string name;
  std::uint64_t bitmap;
  std::vector<std::string> uplinks;
};

std::vector<LagView> lags_of(char const *switch_name) {
  Returned<VSLAGTable> table;
  EXPECT_STATUS(QEL_OK, VSQEL_GetLAGTable(switch_name, &table));
  std::vector<LagView> lags;
  auto const *at = reinterpret_cast<char const *>(table.record + 1);
  for (qel_uint32 i = 0; i < table->numLAGs; ++i) {
    VSLAGStatus status;
    std::memcpy(static_cast<void *>(&status), at, sizeof status);
    at += sizeof status;
    LagView lag{status.state, status.id, reinterpret_cast<char const *>(status.name), status.uplinkLinkupBitmap, {}};
    for (qel_uint32 u = 0; u < status.numUplinks; ++u, at += sizeof(qel_Name))
      lag.uplinks.emplace_back(at);
    lags.push_back(lag);
  }
  return lags;
}

int lacp_state(char const *uplink) {
  qel_LinkState state = static_cast<qel_LinkState>(-7);
  EXPECT_STATUS(QEL_OK, VSQEL_GetUplinkLACPLinkState("s", uplink, &state));
  return state;
}

int set_link(char const *uplink, int state) {
  return VSQEL_SetUplinkAdminLinkState("s", uplink, static_cast<qel_LinkState>(state));
}

std::string dvport_of(char const *uplink) {
  char id[48] = "before";
  EXPECT_STATUS(QEL_OK, VSQEL_GetUplinkDVPortID(uplink, id));
  return id;
}

VSTeamPolicy policy(int load_balance, std::vector<char const *> const &active,
                    std::vector<char const *> const &standby = {}) {
  VSTeamPolicy result{};
  result.loadBalance = static_cast<qel_uint32>(load_balance);
  result.linkCriteria = TEAM_FRP_CRIT_LINK_STATE;
  for (char const *name : active)
    std::strcpy(result.uplinkPortName[result.numActive++], name);
  for (char const *name : standby)
    std::strcpy(result.uplinkPortName[result.numActive + result.numStandby++], name);
  return result;
}

int set_option(qel_uint16 type, qel_uint32 value) {
  struct {
    qel_uint32 total;
    qel_uint16 type;
    qel_uint16 length;
    qel_uint32 value;
  } buffer{12, type, 8, value};
  return VSQEL_SetRuntimeOptions(reinterpret_cast<VSRuntimeOptions *>(&buffer));
}

VSRARPStats announcements() {
  VSRARPStats stats{};
  EXPECT_STATUS(QEL_OK, VSQEL_GetRARPStats("s", &stats));
  return stats;
}

using Texts = std::vector<std::string>;

class UplinkState : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    boot_from(description);
    p = port_number("s", "p");
    q = port_number("s", "q");
    // A link that comes back is used at once, except where a test asks for more.
    ASSERT_STATUS(QEL_OK, set_option(VS_RT_OPT_TEAM_POLICY_UP_DELAY, 0));
  }

  static std::string hint(qel_SwitchPortID port) {
    qel_Name name{};
    EXPECT_STATUS(QEL_OK, VSQEL_PortGetTeamUplinkHint(port, &name));
    return name.string;
  }

  static void use(VSTeamPolicy const &wanted) { ASSERT_STATUS(QEL_OK, VSDVS_SetTeamingPolicy("s", &wanted)); }

  qel_SwitchPortID p, q;
};

TEST_F(UplinkState, lags_follow_their_members) {
  std::vector<LagView> lags = lags_of("i");
  ASSERT_EQ(2u, lags.size());
  EXPECT_EQ(1u, lags[0].id);
  EXPECT_EQ("front", lags[0].name);
  EXPECT_EQ((Texts{"n1", "n0"}), lags[0].uplinks);
  EXPECT_EQ(3u, lags[0].bitmap);
  EXPECT_EQ(QEL_LINK_STATE_UP, lags[0].state);
  EXPECT_EQ(2u, lags[1].id);
  EXPECT_EQ(Texts{}, lags[1].uplinks);
  EXPECT_EQ(QEL_LINK_STATE_DOWN, lags[1].state);

  ASSERT_EQ(0, in_child([] { return set_link("a", QEL_LINK_STATE_DOWN); }));
  lags = lags_of("s");
  EXPECT_EQ(1u, lags[0].bitmap);
  EXPECT_EQ(QEL_LINK_STATE_DOWN, lags[0].state);  // the other one has a link, but LACP has it down

  ASSERT_STATUS(QEL_OK, VSDVS_RemoveSwitchUplinkPort("s", "b"));
  EXPECT_EQ((Texts{"n0"}), lags_of("s")[0].uplinks);
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("s", "b"));
  EXPECT_EQ((Texts{"b", "n0"}), lags_of("s")[0].uplinks);  // without a NIC now
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetLAGTable("s", nullptr));
  Returned<VSLAGTable> table;
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetLAGTable("none", &table));
  EXPECT_EQ(nullptr, table.record);
}

TEST_F(UplinkState, lacp_link_state) {
  EXPECT_EQ(QEL_LINK_STATE_UP, lacp_state("a"));
  EXPECT_EQ(QEL_LINK_STATE_DOWN, lacp_state("n1"));
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_DOWN));
  EXPECT_EQ(QEL_LINK_STATE_DOWN, lacp_state("n0"));
  qel_LinkState state = static_cast<qel_LinkState>(9);
  EXPECT_STATUS(QEL_NOT_SUPPORTED, VSQEL_GetUplinkLACPLinkState("s", "c", &state));
  EXPECT_EQ(0, state);
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetUplinkLACPLinkState("s", "none", &state));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetUplinkLACPLinkState("s", "a", nullptr));
}

TEST_F(UplinkState, the_port_of_an_uplink) {
  EXPECT_EQ("up-b", dvport_of("n1"));
  EXPECT_EQ("up-b", dvport_of("b"));
  ASSERT_STATUS(QEL_OK, create_switch("t"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("t", "b"));
  EXPECT_EQ("up-b", dvport_of("b"));  // the older switch
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveSwitchUplinkPort("s", "b"));
  EXPECT_EQ("uplink-1", dvport_of("b"));
  char id[48] = "before";
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetUplinkDVPortID("n1", id));
  EXPECT_STREQ("", id);
  EXPECT_STATUS(QEL_NAME_TOO_LONG, VSQEL_GetUplinkDVPortID(std::string(81, 'u').c_str(), id));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetUplinkDVPortID(nullptr, id));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetUplinkDVPortID("b", nullptr));
}

TEST_F(UplinkState, the_default_policy_shares_the_uplinks_by_port_number) {
  Texts const nics{"n0", "n1", "n2"};
  EXPECT_EQ(nics[p % 3], hint(p));
  EXPECT_EQ(nics[q % 3], hint(q));
  EXPECT_NE(hint(p), hint(q));
}

TEST_F(UplinkState, source_addresses_share_by_their_last_byte) {
  use(policy(TEAM_FRP_TYPE_LB_SRCMAC, {"a", "b", "c"}));
  EXPECT_EQ("n0", hint(p));  // a2 is a multiple of three
  EXPECT_EQ("n2", hint(q));
  EXPECT_EQ("n0", hint(port_number("s", "free")));
}

TEST_F(UplinkState, failover_keeps_the_order) {
  use(policy(TEAM_FRP_TYPE_FO_EXPLICIT, {"b", "a"}, {"c"}));
  EXPECT_EQ("n1", hint(p));
  ASSERT_STATUS(QEL_OK, set_link("b", QEL_LINK_STATE_DOWN));
  EXPECT_EQ("n0", hint(p));
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_DOWN));
  EXPECT_EQ("n2", hint(p));
  ASSERT_STATUS(QEL_OK, set_link("c", QEL_LINK_STATE_DOWN));
  qel_Name name{};
  EXPECT_STATUS(QEL_ENETDOWN, VSQEL_PortGetTeamUplinkHint(p, &name));
  ASSERT_STATUS(QEL_OK, set_link("b", QEL_LINK_STATE_UP));
  EXPECT_EQ("n1", hint(p));
}

// The host's clock stands, and goes on by hand.
class UplinkDelay : public UplinkState {
 protected:
  void SetUp() override {
    UplinkState::SetUp();
    ASSERT_STATUS(QEL_OK, set_option(VS_RT_OPT_TEAM_POLICY_UP_DELAY, 500));
    move_clock(0);
  }

  void move_clock(std::int64_t milliseconds) {
    now_ += milliseconds * 1000;
    set_clock(now_);
  }

  static void set_clock(std::int64_t now) {
    HostLock lock;
    Database &database = open_host();
    Transaction transaction(database, true);
    stop_clock(database, now);
    transaction.commit();
  }

  static void expect_no_uplink(qel_SwitchPortID port) {
    qel_Name name{};
    EXPECT_STATUS(QEL_ENETDOWN, VSQEL_PortGetTeamUplinkHint(port, &name));
  }

 private:
  std::int64_t now_ = 1'000'000'000'000'000;
};

TEST_F(UplinkDelay, a_link_that_came_back_is_used_only_after_the_delay) {
  use(policy(TEAM_FRP_TYPE_FO_EXPLICIT, {"a", "b"}));
  EXPECT_EQ("n0", hint(p));  // up since the boot
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_DOWN));
  EXPECT_EQ("n1", hint(p));
  move_clock(10000);
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_UP));
  EXPECT_EQ("n1", hint(p));
  qel_LinkState state{};
  ASSERT_STATUS(QEL_OK, VSQEL_GetUplinkLinkState("s", "a", &state));
  EXPECT_EQ(QEL_LINK_STATE_UP, state);  // only teaming waits
  move_clock(499);
  EXPECT_EQ("n1", hint(p));
  move_clock(1);
  EXPECT_EQ("n0", hint(p));
}

TEST_F(UplinkDelay, begins_anew_with_each_failure_only) {
  use(policy(TEAM_FRP_TYPE_FO_EXPLICIT, {"a", "b"}));
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_DOWN));
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_UP));
  move_clock(300);
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_DOWN));
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_UP));
  move_clock(300);
  EXPECT_EQ("n1", hint(p));
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_UP));  // was up
  move_clock(200);
  EXPECT_EQ("n0", hint(p));
}

TEST_F(UplinkDelay, holds_for_carriers_too) {
  auto const plug = [](bool in) {
    HostLock lock;
    Database &database = open_host();
    Transaction transaction(database, true);
    change_carrier(database, "n0", in);
    transaction.commit();
  };
  use(policy(TEAM_FRP_TYPE_FO_EXPLICIT, {"a", "b"}));
  plug(false);
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_DOWN));
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_UP));  // no link without a carrier
  move_clock(1000);
  plug(true);
  EXPECT_EQ("n1", hint(p));
  move_clock(500);
  EXPECT_EQ("n0", hint(p));
}

TEST_F(UplinkDelay, leaves_no_uplink_where_there_is_no_other) {
  use(policy(TEAM_FRP_TYPE_FO_EXPLICIT, {"a"}));
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_DOWN));
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_UP));
  expect_no_uplink(p);
  // A port that is tied to the uplink does not ask teaming, and a policy may not look at links.
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortTeamingOverride("s", "q", "a"));
  EXPECT_EQ("n0", hint(q));
  VSTeamPolicy careless = policy(TEAM_FRP_TYPE_FO_EXPLICIT, {"a"});
  careless.linkCriteria = 0;
  use(careless);
  EXPECT_EQ("n0", hint(p));
}

TEST_F(UplinkDelay, follows_the_option_and_ends_with_a_boot) {
  use(policy(TEAM_FRP_TYPE_FO_EXPLICIT, {"a", "b"}));
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_DOWN));
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_UP));
  ASSERT_STATUS(QEL_OK, set_option(VS_RT_OPT_TEAM_POLICY_UP_DELAY, 100));
  move_clock(99);
  EXPECT_EQ("n1", hint(p));
  move_clock(1);
  EXPECT_EQ("n0", hint(p));
  ASSERT_STATUS(QEL_OK, set_option(VS_RT_OPT_TEAM_POLICY_UP_DELAY, 300000));
  EXPECT_EQ("n1", hint(p));
  set_clock(0);  // set back: there is nothing to wait for
  EXPECT_EQ("n0", hint(p));
  move_clock(0);
  ASSERT_STATUS(QEL_OK, boot());
  EXPECT_EQ("n0", hint(p));
}

TEST_F(UplinkState, reverse_reads_the_order_from_its_end) {
  VSTeamPolicy reverse = policy(TEAM_FRP_TYPE_FO_EXPLICIT, {"b", "a"}, {"c"});
  reverse.flags = TEAM_FRP_FLAG_REVERSE;
  use(reverse);
  EXPECT_EQ("n0", hint(p));
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_DOWN));
  EXPECT_EQ("n1", hint(p));
}

TEST_F(UplinkState, rolling_does_not_move_back) {
  VSTeamPolicy rolling = policy(TEAM_FRP_TYPE_FO_EXPLICIT, {"a", "b"});
  rolling.flags = TEAM_FRP_FLAG_ROLLING;
  use(rolling);
  EXPECT_EQ("n0", hint(p));
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_DOWN));
  EXPECT_EQ("n1", hint(p));
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_UP));
  EXPECT_EQ("n1", hint(p));
  ASSERT_STATUS(QEL_OK, set_link("b", QEL_LINK_STATE_UP));  // was up
  EXPECT_EQ("n1", hint(p));
  ASSERT_STATUS(QEL_OK, set_link("b", QEL_LINK_STATE_DOWN));
  ASSERT_STATUS(QEL_OK, set_link("b", QEL_LINK_STATE_UP));
  EXPECT_EQ("n0", hint(p));
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_DOWN));
  ASSERT_STATUS(QEL_OK, boot());
  EXPECT_EQ("n0", hint(p));
}

TEST_F(UplinkState, standby_uplinks_replace_failed_ones_only) {
  use(policy(TEAM_FRP_TYPE_LB_SRCMAC, {"a", "b"}, {"c"}));
  EXPECT_EQ("n0", hint(p));
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_DOWN));
  EXPECT_EQ("n1", hint(p));  // b and c now
  VSTeamPolicy const none = policy(TEAM_FRP_TYPE_NONE, {"a", "b"}, {"c"});
  use(none);
  qel_Name name{};
  EXPECT_STATUS(QEL_ENETDOWN, VSQEL_PortGetTeamUplinkHint(p, &name));
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_UP));
  EXPECT_EQ("n0", hint(p));
}

TEST_F(UplinkState, failure_criteria) {
  VSTeamPolicy wanted = policy(TEAM_FRP_TYPE_FO_EXPLICIT, {"c", "a", "b"});
  ASSERT_STATUS(QEL_OK, set_link("c", QEL_LINK_STATE_DOWN));
  wanted.linkCriteria = 0;
  use(wanted);
  EXPECT_EQ("n2", hint(p));  // nobody looks at the link
  wanted.linkCriteria = TEAM_FRP_CRIT_LINK_SPEED_GTE;
  wanted.speed = 10000;
  use(wanted);
  EXPECT_EQ("n0", hint(p));
  wanted.linkCriteria = TEAM_FRP_CRIT_LINK_SPEED;
  wanted.speed = 25000;
  use(wanted);
  EXPECT_EQ("n1", hint(p));
  wanted.linkCriteria = TEAM_FRP_CRIT_LINK_DUPLEX;
  wanted.fullDuplex = 1;
  use(wanted);
  EXPECT_EQ("n0", hint(p));
  wanted.linkCriteria = TEAM_FRP_CRIT_LINK_STATE | TEAM_FRP_CRIT_LACP_PORT_DOWN;
  std::strcpy(wanted.uplinkPortName[0], "b");
  std::strcpy(wanted.uplinkPortName[2], "c");
  use(wanted);
  EXPECT_EQ("n0", hint(p));
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("s", "bare"));
  std::strcpy(wanted.uplinkPortName[0], "bare");
  wanted.linkCriteria = 0;
  use(wanted);
  EXPECT_EQ("bare", hint(p));
  wanted.linkCriteria = TEAM_FRP_CRIT_DRV_PRESENT;
  use(wanted);
  EXPECT_EQ("n0", hint(p));
  wanted.linkCriteria = TEAM_FRP_CRIT_LINK_SPEED;
  wanted.speed = 7;
  use(wanted);
  qel_Name name{};
  EXPECT_STATUS(QEL_ENETDOWN, VSQEL_PortGetTeamUplinkHint(p, &name));
  wanted.linkCriteria = TEAM_FRP_CRIT_LINK_SPEED | TEAM_FRP_CRIT_DRV_PRESENT;
  wanted.flags = TEAM_FRP_FLAG_BEST_EFFORT;
  use(wanted);
  EXPECT_EQ("n0", hint(p));
}

TEST_F(UplinkState, a_port_has_its_own_policy_or_uplink) {
  use(policy(TEAM_FRP_TYPE_FO_EXPLICIT, {"a"}));
  VSTeamPolicy const own = policy(TEAM_FRP_TYPE_FO_EXPLICIT, {"b"});
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortProp("s", "p", VSPROP_PORT_TEAMING_POLICY, &own, sizeof own, "", 1));
  EXPECT_EQ("n1", hint(p));
  EXPECT_EQ("n0", hint(q));
  std::vector<char> table(4 + sizeof(LSTeamPolicy));
  table[0] = 1;
  LSTeamPolicy logical{};
  std::strcpy(logical.name, "gold");
  logical.loadBalance = TEAM_FRP_TYPE_FO_EXPLICIT;
  logical.numActive = 1;
  std::strcpy(logical.uplinkPortName[0], "c");
  std::memcpy(&table[4], &logical, sizeof logical);
  ASSERT_STATUS(QEL_OK,
                VSDVS_SetGlobProp("s", VSPROP_LS_TEAMING_POLICY, table.data(), static_cast<int>(table.size()), "", 1));
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortProp("s", "p", VSPROP_PORT_LS_TEAMING_POLICY, "gold", 4, "", 1));
  EXPECT_EQ("n2", hint(p));
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortProp("s", "p", VSPROP_PORT_TEAMING_OVERRIDE, "a", 1, "", 1));
  EXPECT_EQ("n0", hint(p));
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_DOWN));
  qel_Name name{};
  EXPECT_STATUS(QEL_ENETDOWN, VSQEL_PortGetTeamUplinkHint(p, &name));
}

TEST_F(UplinkState, refused_hints) {
  qel_Name name{};
  std::strcpy(name.string, "before");
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_PortGetTeamUplinkHint(0, &name));
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_PortGetTeamUplinkHint(0xffffffff, &name));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_PortGetTeamUplinkHint(port_number("s", "up-b"), &name));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_PortGetTeamUplinkHint(p, nullptr));
  EXPECT_STREQ("before", name.string);
}

TEST_F(UplinkState, near_uplinks_are_preferred_once_their_node_is_known) {
  use(policy(TEAM_FRP_TYPE_FO_EXPLICIT, {"a", "b", "c"}));
  EXPECT_EQ("n0", hint(p));
  ASSERT_STATUS(QEL_OK, set_option(VS_RT_OPT_TEAMING_NUMA_AWARE, 1));
  EXPECT_EQ("n1", hint(p));  // of node 1, as its client
  EXPECT_EQ("n0", hint(q));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearTeamingPolicy("s"));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearSwitchUplinkPorts("s"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("s", "n0"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("s", "n1"));
  use(policy(TEAM_FRP_TYPE_FO_EXPLICIT, {"n0", "n1"}));
  EXPECT_EQ("n0", hint(p));
  ASSERT_STATUS(QEL_OK, VSQEL_RefreshDevNUMAInfo("s"));
  EXPECT_EQ("n1", hint(p));
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_RefreshDevNUMAInfo("none"));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_RefreshDevNUMAInfo(nullptr));
}

TEST_F(UplinkState, who_has_an_ip_hash_or_is_behind_a_lag_is_not_announced) {
  VSTeamPolicy wanted = policy(TEAM_FRP_TYPE_FO_EXPLICIT, {"a", "c"});
  wanted.flags = TEAM_FRP_FLAG_NOTIFY_SWITCH;
  use(wanted);
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortProp("s", "p", VSPROP_PORT_TEAMING_OVERRIDE, "c", 1, "", 1));
  ASSERT_STATUS(QEL_OK, set_link("c", QEL_LINK_STATE_DOWN));
  EXPECT_EQ(8u, announcements().rarpPktsSent);
  wanted.loadBalance = TEAM_FRP_TYPE_LB_IP;
  use(wanted);
  ASSERT_STATUS(QEL_OK, VSDVS_ClearPortProp("s", "p", VSPROP_PORT_TEAMING_OVERRIDE, "", 1));
  ASSERT_STATUS(QEL_OK, set_link("c", QEL_LINK_STATE_UP));
  EXPECT_EQ(8u, announcements().rarpPktsSent);
}

TEST_F(UplinkState, a_changed_link_is_announced) {
  VSTeamPolicy outside_of_the_lag = policy(TEAM_FRP_TYPE_FO_EXPLICIT, {"c", "a"});
  outside_of_the_lag.flags = TEAM_FRP_FLAG_NOTIFY_SWITCH;
  use(outside_of_the_lag);
  EXPECT_EQ(7u, announcements().rarpPktsSent);
  EXPECT_EQ(50u, announcements().maxRARPTime);
  EXPECT_EQ(80u, announcements().rarpTime);
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_UP));  // was up
  EXPECT_EQ(7u, announcements().rarpPktsSent);
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_DOWN));
  EXPECT_EQ(9u, announcements().rarpPktsSent);
  EXPECT_EQ(100u, announcements().maxRARPTime);
  EXPECT_EQ(180u, announcements().rarpTime);
  ASSERT_STATUS(QEL_OK, set_option(VS_RT_OPT_MAX_RARPS_PER_INTERVAL, 1));
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_UP));
  EXPECT_EQ(11u, announcements().rarpPktsSent);
  EXPECT_EQ(200u, announcements().maxRARPTime);
  EXPECT_EQ(380u, announcements().rarpTime);
  use(policy(TEAM_FRP_TYPE_FO_EXPLICIT, {"a"}));  // says nothing of notifying
  ASSERT_STATUS(QEL_OK, set_link("a", QEL_LINK_STATE_DOWN));
  EXPECT_EQ(11u, announcements().rarpPktsSent);
  ASSERT_STATUS(QEL_OK, boot());
  EXPECT_EQ(0u, announcements().rarpPktsSent);
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetRARPStats("s", nullptr));
}

TEST_F(UplinkState, service_port_counters) {
  VSServicePortTeamingStats stats{};
  ASSERT_STATUS(QEL_OK, VSQEL_GetServicePortTeamingStats("s", &stats));
  EXPECT_EQ(1u, stats.txFromSrvPort);
  EXPECT_EQ(2u, stats.txUsingSrvPortFRP);
  EXPECT_EQ(3u, stats.txUsingPktSrcPortFRP);
  EXPECT_EQ(4u, stats.txErrors);
  EXPECT_EQ(5u, stats.rxToSrvPort);
  EXPECT_EQ(9223372036854775807u, stats.rxRpfOverride);
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetServicePortTeamingStats("s", nullptr));
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetServicePortTeamingStats("none", &stats));
}

}  // namespace uplink_state_test
