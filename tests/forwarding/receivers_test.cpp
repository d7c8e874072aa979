// Security policies, and who receives broadcast, multicast and copies of other ports' frames.
#include "tests/forwarding/world.hpp"

namespace receivers_test {

using namespace forwarding;

class Security : public World {};

TEST_F(Security, S_2_forged_sources) {
  port(1).disallow_forged_source = true;
  EXPECT_EQ("2 3 n0", send(1, packet(everybody, address_of(1))));
  EXPECT_EQ("in:1:forged-source", send(1, packet(everybody, address_of(2))));
  learning(1).learns = true;
  restart();
  EXPECT_EQ("in:1:forged-source", send(1, packet(everybody, address_of(2)))) << "learning does not lift it";
  port(1).client->effective = outside(1);
  restart();
  EXPECT_EQ("2 3 n0", send(1, packet(everybody, outside(1)))) << "the running address counts";
  EXPECT_EQ("in:1:forged-source", send(1, packet(everybody, address_of(1))));
  port(1).client->assigned = port(1).client->effective = 0;
  restart();
  EXPECT_EQ("in:1:forged-source", send(1, packet(everybody, address_of(1))));
}

TEST_F(Security, S_2_client_ports_only) {
  port(11).disallow_forged_source = true;
  EXPECT_EQ("1 2 3", receive(0, packet(everybody, outside(1))));
}

TEST_F(Security, S_3_in_violation) {
  port(2).client->effective = outside(2);
  EXPECT_EQ("2", send(1, packet(outside(2), address_of(1)))) << "a change that is allowed";
  EXPECT_EQ("n0", send(1, packet(address_of(2), address_of(1))));
  port(2).disallow_mac_change = true;
  restart();
  EXPECT_EQ("out:2:mac-changed", send(1, packet(address_of(2), address_of(1)))) << "known by its assigned address";
  EXPECT_EQ("n0", send(1, packet(outside(2), address_of(1))));
  EXPECT_EQ("3 n0", send(1, packet(everybody, address_of(1))));
  port(2).client->is_promiscuous = true;
  restart();
  EXPECT_EQ("3", send(1, packet(address_of(3), address_of(1))));
  EXPECT_EQ("1 3 n0", send(2, packet(everybody, outside(2)))) << "it may send";
}

TEST_F(Security, S_4_promiscuous_ports) {
  port(3).client->is_promiscuous = true;
  EXPECT_EQ("2 3*", send(1, packet(address_of(2), address_of(1))));
  EXPECT_EQ("2 3 n0", send(1, packet(everybody, address_of(1)))) << "one copy at most";
  EXPECT_EQ("3* n0", send(1, packet(a_group, address_of(1))));
  EXPECT_EQ("3", send(1, packet(address_of(3), address_of(1))));
  EXPECT_EQ(2u, switch_counters().promiscuous_copies);
  EXPECT_EQ(2u, switch_counters().promiscuous_frames);
  port(3).disallow_promiscuous = true;
  restart();
  EXPECT_EQ("2", send(1, packet(address_of(2), address_of(1))));
  port(2).filter.is_promiscuous = true;
  restart();
  EXPECT_EQ("2* 3", send(1, packet(address_of(3), address_of(1))));
}

TEST_F(Security, S_4_what_is_dropped_after_learning_is_seen) {
  port(3).client->is_promiscuous = true;
  EXPECT_EQ("in:1:same-port 3*", send(1, packet(address_of(1), address_of(1))));
  EXPECT_EQ("in:n0:unknown-unicast 3*", receive(0, packet(outside(1), outside(2))));
  EXPECT_EQ("in:1:reserved-address", send(1, packet(0x0180c2000003, address_of(1))));
}

TEST_F(Security, S_4_never_other_vlans_nor_what_it_could_not_get) {
  port(3).client->is_promiscuous = true;
  access(3, 10);
  EXPECT_EQ("2", send(1, packet(address_of(2), address_of(1))));
  access(3, 0);
  port(3).is_blocked = true;
  restart();
  EXPECT_EQ("2", send(1, packet(address_of(2), address_of(1))));
  port(3).is_blocked = false;
  trunk(1, 0);
  trunk(2, 0);
  trunk(3, 0);
  port(1).vlan.allows_nested = port(2).vlan.allows_nested = true;
  restart();
  EXPECT_EQ("2", send(1, tagged(tagged(packet(address_of(2), address_of(1)), 5), 6)));
}

TEST_F(Security, S_4_counted_only_while_mirror_statistics_are) {
  configuration.options.mirror_statistics = false;
  port(3).client->is_promiscuous = true;
  EXPECT_EQ("2 3*", send(1, packet(address_of(2), address_of(1))));
  EXPECT_EQ(0u, switch_counters().promiscuous_copies);
  EXPECT_EQ(0u, switch_counters().promiscuous_frames);
}

TEST_F(Security, S_5_a_change_holds_from_the_next_frame_on) {
  port(3).client->is_promiscuous = true;
  EXPECT_EQ("2 3*", send(1, packet(address_of(2), address_of(1))));
  port(3).disallow_promiscuous = true;
  port(1).disallow_forged_source = true;
  restart();
  EXPECT_EQ("2", send(1, packet(address_of(2), address_of(1))));
  EXPECT_EQ("in:1:forged-source", send(1, packet(address_of(2), address_of(3))));
}

TEST_F(Security, S_9_broadcast) {
  access(3, 10);
  EXPECT_EQ("2 n0", send(1, packet(everybody, address_of(1))));
  EXPECT_EQ("1 2", receive(0, packet(everybody, outside(1))));
}

TEST_F(Security, S_9_the_extra_filter) {
  add_client(4);
  port(2).filter.all_multicast = true;
  port(3).filter.addresses = {a_group};
  EXPECT_EQ("2 n0", send(1, packet(a_group, address_of(1)))) << "its list alone says what port 3 takes";
  port(3).filter.by_bucket = true;
  restart();
  EXPECT_EQ("2 3 n0", send(1, packet(a_group, address_of(1))));
}

TEST_F(Security, S_9_buckets_of_addresses) {
  EXPECT_EQ(16u, address_bucket(0x01005e000116));
  port(3).filter.by_bucket = true;
  port(3).filter.addresses = {a_group};
  restart();
  MacAddress other = 0x010000000000;
  while (address_bucket(other) != 16)
    ++other;
  EXPECT_EQ("3 n0", send(1, packet(other, address_of(1))));
  while (address_bucket(other) == 16)
    ++other;
  EXPECT_EQ("n0", send(1, packet(other, address_of(1))));
}

TEST_F(Security, S_10_to_the_team_as_well) {
  port(1).sends_to_uplink_too = true;
  EXPECT_EQ("2 n0", send(1, packet(address_of(2), address_of(1))));
  EXPECT_EQ("1", send(2, packet(address_of(1), address_of(2)))) << "of that client only";
  EXPECT_EQ("1", receive(0, packet(address_of(1), outside(1))));
  configuration.nics[0].link_up = configuration.nics[1].link_up = false;
  restart();
  EXPECT_EQ("2", send(1, packet(address_of(2), address_of(1)))) << "having no uplink is no drop";
  team().criteria = 0;
  restart();
  EXPECT_EQ("2 out:n0:link-down", send(1, packet(address_of(2), address_of(1))));
}

TEST_F(Security, S_10_beside_a_receiver_that_cannot) {
  port(1).sends_to_uplink_too = true;
  port(2).is_blocked = true;
  EXPECT_EQ("out:2:port-blocked n0", send(1, packet(address_of(2), address_of(1))));
}

TEST_F(Security, IG_20_lists_of_addresses) {
  port(2).multicast = {outside(1) | 0x010000000000, a_group, 0x010000000001};
  EXPECT_EQ("2 n0", send(1, packet(a_group, address_of(1))));
  EXPECT_EQ("n0", send(1, packet(a_group + 1, address_of(1))));
  EXPECT_EQ("2", receive(0, packet(a_group, outside(1))));
  EXPECT_EQ("in:n0:multicast-filtered", receive(0, packet(a_group + 1, outside(1))));
}

TEST_F(Security, IG_20_all_hosts_are_in_no_list) {
  EXPECT_EQ("2 3 n0", send(1, packet(0x01005e000001, address_of(1))));
  EXPECT_EQ("2 3 n0", send(1, packet(0x333300000001, address_of(1))));
  EXPECT_EQ("n0", send(1, packet(0x01005e000002, address_of(1))));
}

TEST_F(Security, P_5_the_first_reason_that_refused_a_port) {
  access(1, 10);
  EXPECT_EQ("n0", send(1, packet(everybody, address_of(1))));
  vswitch().uplinks.clear();
  team().active.clear();
  restart();
  EXPECT_EQ("in:1:no-receiver", send(1, packet(everybody, address_of(1)))) << "nobody else is in the VLAN";
  EXPECT_EQ("in:1:unknown-unicast", send(1, packet(outside(1), address_of(1))));
  EXPECT_EQ("in:1:no-receiver", send(1, packet(a_group, address_of(1)))) << "no port was refused for its list";
  access(1, 0);
  restart();
  EXPECT_EQ("in:1:multicast-filtered", send(1, packet(a_group, address_of(1))));
  port(2).is_blocked = port(3).is_blocked = true;
  restart();
  EXPECT_EQ("in:1:no-receiver", send(1, packet(everybody, address_of(1))));
}

TEST_F(Security, P_5_in_their_order) {
  configuration.nics[0].link_up = configuration.nics[1].link_up = false;
  EXPECT_EQ("in:1:no-uplink", send(1, packet(a_group, address_of(1)))) << "before multicast-filtered";
  team().flags = constant::TEAM_FRP_FLAG_BLOCK_OUTPUT;
  restart();
  EXPECT_EQ("in:1:team-blocked", send(1, packet(a_group, address_of(1))));
  configuration.nics[1].link_up = true;
  team().flags = 0;
  team().active = {0, 1};
  port(2).multicast = {a_group};
  port(2).tied = UplinkPosition{0};
  restart();
  EXPECT_EQ("in:n1:reverse-path", receive(1, packet(a_group, outside(1)))) << "2 by its path, 1 and 3 by their lists";
}

}  // namespace receivers_test
