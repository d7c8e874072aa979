// The team as frames meet it: which uplink carries them, what it cannot send, and from where ports expect frames.
#include "tests/forwarding/world.hpp"

namespace team_test {

using namespace forwarding;
using namespace constant;

class TeamOfSwitch : public World {
 protected:
  void add_lag(LagHash hash, std::vector<LagMember> members) { vswitch().lags.push_back({hash, std::move(members)}); }
  Packet unknown(std::uint32_t from) { return packet(outside(1), address_of(from)); }
};

TEST_F(TeamOfSwitch, T_1_the_policy_of_the_port) {
  team().load_balance = TEAM_FRP_TYPE_LB_SRCID;
  EXPECT_EQ("n1", send(1, unknown(1)));
  EXPECT_EQ("n0", send(2, unknown(2)));
  Team own = team();
  own.load_balance = TEAM_FRP_TYPE_FO_EXPLICIT;
  own.active = {0};
  vswitch().teams.push_back(own);
  port(1).team = 1;
  port(2).tied = UplinkPosition{1};
  restart();
  EXPECT_EQ("n0", send(1, unknown(1)));
  EXPECT_EQ("n1", send(2, unknown(2)));
}

TEST_F(TeamOfSwitch, T_1_uplinks_near_the_client_where_teaming_looks_at_it) {
  vswitch().uplinks[1].numa_node = 1;
  port(1).client->numa_node = 1;
  EXPECT_EQ("n0", send(1, unknown(1)));
  configuration.options.numa_aware = true;
  restart();
  EXPECT_EQ("n1", send(1, unknown(1)));
  EXPECT_EQ("n0", send(2, unknown(2)));
}

TEST_F(TeamOfSwitch, T_3_once_on_one_uplink) {
  EXPECT_EQ("2 3 n0", send(1, packet(everybody, address_of(1))));
}

TEST_F(TeamOfSwitch, T_3_a_lag_spreads_frames) {
  add_lag(LagHash::l2, {{1, true}, {0, true}});
  // smac[5] ^ dmac[5] ^ type: 01 ^ 01 ^ 88b5 is odd, 01 ^ 02 ^ 88b5 is even; the first member is uplink 1.
  EXPECT_EQ("n0", send(1, packet(outside(1), address_of(1))));
  EXPECT_EQ("n1", send(1, packet(outside(2), address_of(1))));
  port(1).tied = UplinkPosition{0};
  restart();
  EXPECT_EQ("n0", send(1, packet(outside(2), address_of(1)))) << "a tied port keeps to its uplink";
}

TEST_F(TeamOfSwitch, T_3_only_members_that_are_up) {
  add_lag(LagHash::l2, {{0, false}, {1, true}});
  EXPECT_EQ("n1", send(1, packet(outside(1), address_of(1))));
  EXPECT_EQ("n1", send(1, packet(outside(2), address_of(1))));
  configuration.nics[1].link_up = false;
  restart();
  EXPECT_EQ("in:1:no-uplink", send(1, packet(outside(1), address_of(1)))) << "n0 has its link, but LACP has it down";
}

TEST_F(TeamOfSwitch, T_3_by_vlan_and_source) {
  add_lag(LagHash::vlan_source_mac, {{0, true}, {1, true}});
  trunk(1, 0);
  // v ^ 020000 ^ 000101
  EXPECT_EQ("n1", send(1, tagged(unknown(1), 10)));
  EXPECT_EQ("n0", send(1, tagged(unknown(1), 11)));
  access(1, 11);
  restart();
  EXPECT_EQ("n0", send(1, unknown(1))) << "the VLAN of the frame, which has no tag";
}

TEST_F(TeamOfSwitch, T_4_addresses_of_the_switch_are_reflected) {
  EXPECT_EQ("in:n0:reflected", receive(0, packet(everybody, address_of(1))));
  EXPECT_EQ("in:n0:unknown-unicast", receive(0, packet(outside(1), outside(2))));
  access(1, 10);
  vswitch().manual = {{outside(3), 0, 2}, {outside(4), 0, 11}};
  restart();
  EXPECT_EQ("2 3", receive(0, packet(everybody, address_of(1)))) << "another VLAN";
  EXPECT_EQ("in:n0:reflected", receive(0, packet(everybody, outside(3))));
  EXPECT_EQ("2 3", receive(0, packet(everybody, outside(4)))) << "by hand, but at an uplink";
  vswitch().allows_static = false;
  restart();
  EXPECT_EQ("2 3", receive(0, packet(everybody, outside(3))));
  vswitch().allows_static = true;
  configuration.options.reverse_path_check = false;
  restart();
  EXPECT_EQ("2 3", receive(0, packet(everybody, outside(3))));
}

TEST_F(TeamOfSwitch, T_4_learned_addresses_come_back_or_move) {
  learn_everywhere();
  send(1, packet(everybody, outside(1)));
  EXPECT_EQ("in:n1:reflected", receive(1, packet(everybody, outside(1)))) << "not where the port's frames come from";
  EXPECT_EQ("ff0001/0@1", learned());
  EXPECT_EQ("1 2 3", receive(0, packet(everybody, outside(1))));
  EXPECT_EQ("ff0001/0@11+1", learned());
}

TEST_F(TeamOfSwitch, T_5_an_uplink_that_came_back) {
  configuration.nics[0].link_back = now;
  configuration.options.up_delay = 100;
  EXPECT_EQ("n1", send(1, unknown(1)));
  now += 99999;
  EXPECT_EQ("n1", send(1, unknown(1)));
  now += 1;
  EXPECT_EQ("n0", send(1, unknown(1)));
  now -= 50000;
  EXPECT_EQ("n1", send(1, unknown(1)));
  now -= 1 * second;
  EXPECT_EQ("n0", send(1, unknown(1))) << "a clock that was set back leaves nothing to wait for";
  configuration.nics[0].link_up = false;
  restart();
  EXPECT_EQ("n1", send(1, unknown(1)));
}

TEST_F(TeamOfSwitch, T_8_no_uplink) {
  configuration.nics[0].link_up = configuration.nics[1].link_up = false;
  EXPECT_EQ("in:1:no-uplink", send(1, unknown(1)));
  EXPECT_EQ("2 3", send(1, packet(everybody, address_of(1)))) << "others receive it";
  port(1).tied = UplinkPosition{0};
  restart();
  EXPECT_EQ("in:1:no-uplink", send(1, unknown(1)));
  vswitch().manual.push_back({outside(1), 0, 12});
  restart();
  EXPECT_EQ("in:2:no-uplink", send(2, unknown(2))) << "known there";
}

TEST_F(TeamOfSwitch, T_9_what_a_chosen_uplink_cannot_send) {
  team().criteria = 0;
  vswitch().uplinks[0].nic.reset();
  EXPECT_EQ("out:11:no-nic", send(1, unknown(1)));
  EXPECT_EQ("2 3 out:11:no-nic", send(1, packet(everybody, address_of(1))));
  EXPECT_EQ(2u, counters(11).out.dropped);
  vswitch().uplinks[0].nic = 0;
  configuration.nics[0].link_up = false;
  port(11).is_blocked = true;
  trunk(11, 0, {{10, 10}});
  restart();
  EXPECT_EQ("out:n0:link-down", send(1, unknown(1)));
  configuration.nics[0].link_up = true;
  restart();
  EXPECT_EQ("out:n0:port-blocked", send(1, unknown(1)));
  port(11).is_blocked = false;
  restart();
  EXPECT_EQ("out:n0:vlan-egress", send(1, unknown(1)));
  EXPECT_EQ("2 3 out:n0:vlan-egress", send(1, packet(everybody, address_of(1))));
}

TEST_F(TeamOfSwitch, T_12_T_15_T_17_criteria_and_flags_hold_for_frames) {
  team().load_balance = TEAM_FRP_TYPE_LB_SRCID;
  team().active = {0};
  team().standby = {1};
  EXPECT_EQ("n0", send(1, unknown(1)));
  team().flags = TEAM_FRP_FLAG_ALL_AVAILABLE;
  restart();
  EXPECT_EQ("n1", send(1, unknown(1)));
  team().flags = TEAM_FRP_FLAG_LACP_CLIENT;
  add_lag(LagHash::l2, {{0, false}});
  restart();
  EXPECT_EQ("n1", send(1, unknown(1)));
  vswitch().lags.clear();
  team().criteria = TEAM_FRP_CRIT_LINK_ERR;
  team().wanted->error_percent = 5;
  configuration.nics[0].error_percent = 7;
  restart();
  EXPECT_EQ("n1", send(1, unknown(1)));
}

TEST_F(TeamOfSwitch, T_13_the_team_is_blocked) {
  team().flags = TEAM_FRP_FLAG_BLOCK_OUTPUT;
  EXPECT_EQ("in:1:team-blocked", send(1, unknown(1)));
  EXPECT_EQ("2 3", send(1, packet(everybody, address_of(1))));
  EXPECT_EQ("1 2 3", receive(0, packet(everybody, outside(1)))) << "it receives as before";
  port(1).tied = UplinkPosition{1};
  restart();
  EXPECT_EQ("n1", send(1, unknown(1))) << "a tied port has no policy";
}

TEST_F(TeamOfSwitch, T_16_link_state_tracking) {
  team().flags = TEAM_FRP_FLAG_LST;
  port(3).tied = UplinkPosition{0};
  EXPECT_EQ("2 3 n0", send(1, packet(everybody, address_of(1))));
  configuration.nics[0].link_up = configuration.nics[1].link_up = false;
  restart();
  EXPECT_EQ("in:1:link-down", send(1, packet(everybody, address_of(1))));
  EXPECT_EQ("out:1:link-down", send(3, packet(address_of(1), address_of(3)))) << "a tied port has no policy";
  EXPECT_EQ("in:3:no-uplink", send(3, packet(everybody, address_of(3))));
}

TEST_F(TeamOfSwitch, T_20_from_the_uplink_that_the_port_sends_by) {
  port(2).tied = UplinkPosition{1};
  EXPECT_EQ("1 3", receive(0, packet(everybody, outside(1))));
  EXPECT_EQ("2", receive(1, packet(everybody, outside(1))));
  port(1).tied = port(3).tied = UplinkPosition{1};
  restart();
  EXPECT_EQ("in:n0:reverse-path", receive(0, packet(everybody, outside(1))));
  configuration.options.reverse_path_check = false;
  restart();
  EXPECT_EQ("1 2 3", receive(0, packet(everybody, outside(1))));
}

TEST_F(TeamOfSwitch, T_20_floods) {
  for (std::uint32_t number : {1, 2})
    learning(number).is_flooded = true;
  port(2).tied = UplinkPosition{1};
  EXPECT_EQ("1", receive(0, packet(outside(2), outside(1))));
  port(1).tied = UplinkPosition{1};
  restart();
  EXPECT_EQ("in:n0:reverse-path", receive(0, packet(outside(2), outside(1))));
}

TEST_F(TeamOfSwitch, T_20_known_unicast_from_all_that_are_fit) {
  EXPECT_EQ("1", receive(1, packet(address_of(1), outside(1)))) << "the port sends by n0, but n1 is fit";
  team().active = {0};
  restart();
  EXPECT_EQ("in:n1:reverse-path", receive(1, packet(address_of(1), outside(1))));
  add_lag(LagHash::l2, {{0, true}, {1, true}});
  restart();
  EXPECT_EQ("1", receive(1, packet(address_of(1), outside(1)))) << "a LAG of a fit one";
  EXPECT_EQ("1 2 3", receive(1, packet(everybody, outside(1))));
}

TEST_F(TeamOfSwitch, T_20_by_ip_from_all_that_are_fit) {
  team().load_balance = TEAM_FRP_TYPE_LB_IP;
  EXPECT_EQ("1 2 3", receive(0, packet(everybody, outside(1))));
  EXPECT_EQ("1 2 3", receive(1, packet(everybody, outside(1))));
}

TEST_F(TeamOfSwitch, T_20_by_the_effective_address_without_a_frame) {
  team().load_balance = TEAM_FRP_TYPE_LB_SRCMAC;
  EXPECT_EQ("2", receive(0, packet(everybody, outside(1)))) << "addresses end in 1, 2, 3";
  EXPECT_EQ("1 3", receive(1, packet(everybody, outside(1))));
}

TEST_F(TeamOfSwitch, T_20_promiscuous_copies_obey_where_wanted) {
  port(2).tied = port(3).tied = UplinkPosition{1};
  port(3).client->is_promiscuous = true;
  EXPECT_EQ("1 3*", receive(0, packet(everybody, outside(1))));
  EXPECT_EQ("1 3*", receive(0, packet(address_of(1), outside(1))));
  configuration.options.reverse_path_check_promiscuous = true;
  restart();
  EXPECT_EQ("1", receive(0, packet(everybody, outside(1))));
  EXPECT_EQ("1", receive(0, packet(address_of(1), outside(1))));
  EXPECT_EQ("1 3*", receive(1, packet(address_of(1), outside(1))));
}

TEST_F(TeamOfSwitch, T_21_service_ports_send_by_the_policy_of_the_source) {
  port(1).client->is_router = true;
  port(2).tied = UplinkPosition{1};
  EXPECT_EQ("n1", send(1, packet(outside(1), address_of(2))));
  EXPECT_EQ("n0", send(1, packet(outside(1), outside(2))));
  EXPECT_EQ("n1", send(2, packet(outside(1), address_of(2))));
  EXPECT_EQ("2", send(1, packet(address_of(2), address_of(1)))) << "not to the team";
  EXPECT_EQ(2u, switch_counters().sent_by_service_ports);
  EXPECT_EQ(1u, switch_counters().sent_by_source_policy);
  EXPECT_EQ(1u, switch_counters().sent_by_own_policy);
  EXPECT_EQ(0u, switch_counters().service_errors);
  configuration.nics[1].link_up = false;
  restart();
  EXPECT_EQ("in:1:no-uplink", send(1, packet(outside(1), address_of(2))));
  EXPECT_EQ(1u, switch_counters().sent_by_service_ports);
  EXPECT_EQ(1u, switch_counters().service_errors);
  team().flags = TEAM_FRP_FLAG_BLOCK_OUTPUT;
  restart();
  EXPECT_EQ("in:1:team-blocked", send(1, packet(outside(1), address_of(1))));
  EXPECT_EQ(1u, switch_counters().sent_by_own_policy) << "its own address is that of no other client";
  EXPECT_EQ(1u, switch_counters().service_errors);
}

TEST_F(TeamOfSwitch, T_21_service_ports_receive_from_any_uplink) {
  port(1).client->is_router = true;
  port(1).tied = port(2).tied = UplinkPosition{1};
  EXPECT_EQ("1 3", receive(0, packet(everybody, outside(1))));
  EXPECT_EQ("1 2", receive(1, packet(everybody, outside(1))));
  EXPECT_EQ("1", receive(0, packet(address_of(1), outside(1))));
  EXPECT_EQ("1", send(2, packet(address_of(1), address_of(2))));
  EXPECT_EQ(3u, switch_counters().received_by_service_ports);
  EXPECT_EQ(2u, switch_counters().reverse_path_overridden);
}

TEST_F(TeamOfSwitch, T_3_a_member_that_lacp_has_down_receives_nothing) {
  add_lag(LagHash::l2, {{0, false}, {1, true}});
  EXPECT_EQ("in:n0:lacp-down", receive(0, packet(everybody, outside(1))));
  EXPECT_EQ("1 2 3", receive(1, packet(everybody, outside(1))));
  EXPECT_EQ("consumed", receive(0, packet(0x0180c2000002, outside(1), 0x8809)));
  EXPECT_EQ("in:n1:reserved-address", receive(1, tagged(packet(0x0180c2000002, outside(1), 0x8809), 0)));
}

}  // namespace team_test
