// The MAC table: what is learned, for how long, and where it leads.
#include "tests/forwarding/world.hpp"

namespace learning_test {

using namespace forwarding;

class MacLearning : public World {
 protected:
  MacLearning() { learn_everywhere(); }

  // A frame that only teaches its source.
  void teach(std::uint32_t number, MacAddress source) { send(number, packet(everybody, source)); }
};

TEST_F(MacLearning, MAC_1_address_and_vlan) {
  trunk(1, 0);
  send(1, tagged(packet(everybody, outside(1)), 10));
  send(1, tagged(packet(everybody, outside(1)), 11));
  EXPECT_EQ("ff0001/10@1 ff0001/11@1", learned());
  EXPECT_EQ("in:1:bad-source", send(1, packet(everybody, everybody)));
  EXPECT_EQ("ff0001/10@1 ff0001/11@1", learned());
}

TEST_F(MacLearning, MAC_2_ports_by_policy_and_uplinks_while_one_learns) {
  learning(1).learns = false;
  teach(1, outside(1));
  teach(2, outside(2));
  receive(0, packet(everybody, outside(3)));
  EXPECT_EQ("ff0002/0@2 ff0003/0@11", learned());
  learning(2).learns = learning(3).learns = false;
  restart();
  teach(2, outside(2));
  receive(0, packet(everybody, outside(3)));
  EXPECT_EQ("", learned());
  LearningPolicy learns;
  learns.learns = true;
  add_port(4).learning = learns;
  restart();
  receive(0, packet(everybody, outside(3)));
  EXPECT_EQ("", learned()) << "a port without a client is no client port";
}

TEST_F(MacLearning, MAC_2_static_addresses_are_not_learned_anywhere) {
  trunk(1, 0);
  vswitch().manual.push_back({outside(7), 10, 2});
  teach(1, address_of(1));
  teach(1, address_of(3));
  send(1, tagged(packet(everybody, outside(7)), 10));
  EXPECT_EQ("", learned());
  send(1, tagged(packet(everybody, outside(7)), 11));
  EXPECT_EQ("ff0007/11@1", learned()) << "by hand only in its VLAN";
}

TEST_F(MacLearning, MAC_2_static_addresses_are_learned_where_that_is_wanted_or_none_are_allowed) {
  vswitch().learns_static = true;
  teach(1, address_of(1));
  EXPECT_EQ("000101/0@1", learned());
  vswitch().learns_static = false;
  vswitch().allows_static = false;
  restart();
  teach(1, address_of(1));
  EXPECT_EQ("000101/0@1", learned());
}

TEST_F(MacLearning, MAC_2_the_running_address_counts_in_violation_too) {
  port(3).client->effective = outside(9);
  port(3).disallow_mac_change = true;
  teach(1, outside(9));
  EXPECT_EQ("", learned());
  teach(1, address_of(3));
  EXPECT_EQ("000103/0@1", learned()) << "the assigned one is nobody's at present";
}

TEST_F(MacLearning, MAC_3_aging_in_whole_seconds) {
  vswitch().aging_time = 10;
  now = 1000 * second + 999999;
  teach(1, outside(1));
  now = 1010 * second - 1;
  EXPECT_EQ("1", send(2, packet(outside(1), address_of(2))));
  now = 1010 * second;
  EXPECT_EQ("n0", send(2, packet(outside(1), address_of(2)))) << "unknown again";
  EXPECT_EQ("", learned());
}

TEST_F(MacLearning, MAC_3_each_frame_refreshes) {
  vswitch().aging_time = 10;
  teach(1, outside(1));
  now += 9 * second;
  teach(1, outside(1));
  teach(1, outside(2));
  now += 9 * second;
  EXPECT_EQ("1", send(2, packet(outside(1), address_of(2))));
  now += 1 * second;
  EXPECT_EQ("n0", send(2, packet(outside(1), address_of(2))));
  EXPECT_EQ("n0", send(2, packet(outside(2), address_of(2))));
}

TEST_F(MacLearning, MAC_3_never_without_an_aging_time_and_for_entries_that_do_not_age) {
  vswitch().aging_time = 10;
  restart();
  traffic->table(0).add({outside(1), 0, index(1), 5, 0, false});
  traffic->table(0).add({outside(2), 0, index(1), 5, 0, true});
  teach(2, outside(3));
  EXPECT_EQ("ff0001/0@1 ff0003/0@2", learned());
  vswitch().aging_time = 0;
  restart();
  teach(1, outside(1));
  now += 1000000000 * second;
  EXPECT_EQ("1", send(2, packet(outside(1), address_of(2))));
}

TEST_F(MacLearning, MAC_3_a_clock_that_was_set_back) {
  vswitch().aging_time = 10;
  teach(1, outside(1));
  now -= 500 * second;
  teach(1, outside(2));
  now += 10 * second;
  EXPECT_EQ("n0", send(2, packet(outside(2), address_of(2))));
  EXPECT_EQ("1", send(2, packet(outside(1), address_of(2))));
}

TEST_F(MacLearning, MAC_4_static_addresses_do_not_move) {
  vswitch().manual.push_back({outside(7), 0, 2});
  teach(3, outside(7));
  teach(3, address_of(1));
  EXPECT_EQ("2", send(3, packet(outside(7), address_of(3))));
  EXPECT_EQ("1", send(3, packet(address_of(1), address_of(3))));
}

TEST_F(MacLearning, MAC_5_unknown_unicast) {
  EXPECT_EQ("n0", send(1, packet(outside(1), address_of(1))));
  EXPECT_EQ("in:n0:unknown-unicast", receive(0, packet(outside(1), outside(2))));
  learning(2).is_flooded = true;
  port(3).filter.is_sink = true;
  add_client(4).filter.is_sink = true;
  access(4, 10);
  restart();
  EXPECT_EQ("2 3 n0", send(1, packet(outside(1), address_of(1))));
  EXPECT_EQ("3 n0", send(2, packet(outside(1), address_of(2))));
  EXPECT_EQ("2 3", receive(0, packet(outside(1), outside(2))));
}

TEST_F(MacLearning, MAC_5_a_switch_without_uplinks) {
  vswitch().uplinks.clear();
  team().active.clear();
  EXPECT_EQ("in:1:unknown-unicast", send(1, packet(outside(1), address_of(1))));
}

TEST_F(MacLearning, MAC_6_the_destination_is_where_the_frame_is_from) {
  EXPECT_EQ("in:1:same-port", send(1, packet(address_of(1), address_of(1))));
  teach(1, outside(1));
  EXPECT_EQ("in:1:same-port", send(1, packet(outside(1), address_of(1))));
  receive(0, packet(everybody, outside(2)));
  EXPECT_EQ("in:n0:same-port", receive(0, packet(outside(2), outside(3))));
}

TEST_F(MacLearning, MAC_7_an_address_moves_at_once) {
  teach(1, outside(1));
  now += 5 * second;
  teach(2, outside(1));
  EXPECT_EQ("ff0001/0@2+1", learned());
  EXPECT_EQ(1005, traffic->table(0).addresses()[0].seen);
  EXPECT_EQ(0u, counters(1).addresses_moved);
  EXPECT_EQ(1u, counters(2).addresses_moved);
  EXPECT_EQ(0u, traffic->table(0).count_at(index(1)));
  EXPECT_EQ(1u, traffic->table(0).count_at(index(2)));
  teach(1, outside(1));
  EXPECT_EQ("ff0001/0@1+2", learned());
}

TEST_F(MacLearning, MAC_7_within_a_lag_without_counting) {
  vswitch().lags.push_back({LagHash::l2, {{0, true}, {1, true}}});
  receive(0, packet(everybody, outside(1)));
  receive(1, packet(everybody, outside(1)));
  EXPECT_EQ("ff0001/0@12", learned());
  EXPECT_EQ(0u, counters(12).addresses_moved);
  vswitch().lags.clear();
  restart();
  receive(0, packet(everybody, outside(1)));
  receive(1, packet(everybody, outside(1)));
  EXPECT_EQ("ff0001/0@12+1", learned());
  EXPECT_EQ(1u, counters(12).addresses_moved);
}

TEST_F(MacLearning, MAC_8_what_was_learned_at_a_port_can_be_forgotten) {
  teach(1, outside(1));
  teach(1, outside(2));
  teach(2, outside(3));
  traffic->forget_port(*tables, index(1));
  EXPECT_EQ("ff0003/0@2", learned());
  EXPECT_EQ(0u, traffic->table(0).count_at(index(1)));
}

TEST_F(MacLearning, MAC_9_the_limit_of_a_port) {
  learning(1).limit = 2;
  vswitch().manual.push_back({outside(7), 0, 1});
  EXPECT_EQ("2 3 n0", send(1, packet(everybody, outside(1))));
  EXPECT_EQ("2 3 n0", send(1, packet(everybody, outside(2)))) << "allowed, but not learned";
  EXPECT_EQ("ff0001/0@1", learned());
  EXPECT_EQ(1u, counters(1).not_learned_allowed);
  EXPECT_EQ("2 3 n0", send(1, packet(everybody, outside(1)))) << "known: no limit";
  EXPECT_EQ(1u, counters(1).not_learned_allowed);
  learning(1).drops_at_limit = true;
  restart();
  teach(1, outside(1));
  EXPECT_EQ("in:1:mac-limit", send(1, packet(everybody, outside(2))));
  EXPECT_EQ(1u, counters(1).not_learned_dropped);
  EXPECT_EQ(0u, counters(1).in.dropped) << "it is counted there alone";
}

TEST_F(MacLearning, MAC_9_a_move_needs_room_at_the_port_too) {
  learning(1).limit = 1;
  teach(1, outside(1));
  teach(2, outside(2));
  now += 3 * second;
  teach(1, outside(2));
  EXPECT_EQ("ff0001/0@1 ff0002/0@2", learned());
  EXPECT_EQ(1u, counters(1).not_learned_allowed);
  EXPECT_EQ(1000, traffic->table(0).addresses()[1].seen) << "what is not learned refreshes nothing";
}

TEST_F(MacLearning, MAC_9_the_limit_of_the_switch_is_for_new_addresses) {
  vswitch().learned_limit = 2;
  teach(1, outside(1));
  teach(1, outside(2));
  teach(2, outside(3));
  teach(2, outside(1));
  EXPECT_EQ("ff0001/0@2+1 ff0002/0@1", learned()) << "a move is not new";
  EXPECT_EQ(1u, counters(2).not_learned_allowed);
  receive(0, packet(everybody, outside(4)));
  EXPECT_EQ("ff0001/0@2+1 ff0002/0@1 ff0004/0@11", learned()) << "the team has a limit of its own";
  teach(3, outside(4));
  EXPECT_EQ("ff0001/0@2+1 ff0002/0@1 ff0004/0@11", learned()) << "new on the side of the ports";
}

TEST_F(MacLearning, MAC_9_the_limit_of_the_team) {
  restart();
  for (std::uint32_t i = 0; i < 16384; ++i)
    traffic->table(0).add({outside(1000 + i), 0, index(i % 2 ? 11 : 12), 1000, 0, true});
  teach(1, outside(1));
  EXPECT_EQ("1 2 3", receive(0, packet(everybody, outside(2))));
  EXPECT_EQ(16385u, traffic->table(0).size());
  EXPECT_EQ(1u, counters(11).not_learned_allowed);
  EXPECT_EQ(0u, switch_counters().team_allowed_at_port_limit);
  EXPECT_EQ("1 2 3", receive(0, packet(everybody, outside(1000))));
  EXPECT_EQ(1u, counters(11).not_learned_allowed) << "a move from the other uplink";
}

TEST_F(MacLearning, MAC_9_an_uplink_with_a_limit_of_its_own) {
  port(11).learning.emplace().limit = 1;
  receive(0, packet(everybody, outside(1)));
  EXPECT_EQ("1 2 3", receive(0, packet(everybody, outside(2))));
  EXPECT_EQ("ff0001/0@11", learned());
  EXPECT_EQ(1u, counters(11).not_learned_allowed);
  EXPECT_EQ(1u, switch_counters().team_allowed_at_port_limit);
  port(11).learning->drops_at_limit = true;
  restart();
  receive(0, packet(everybody, outside(1)));
  EXPECT_EQ("in:n0:mac-limit", receive(0, packet(everybody, outside(2))));
  EXPECT_EQ(1u, counters(11).not_learned_dropped);
}

TEST_F(MacLearning, MAC_11_behind_an_uplink) {
  receive(1, packet(everybody, outside(1)));
  EXPECT_EQ("n0", send(1, packet(outside(1), address_of(1)))) << "by the team, whichever uplink it is behind";
  EXPECT_EQ("in:n0:uplink-to-uplink", receive(0, packet(outside(1), outside(2))));
  EXPECT_EQ("in:n1:same-port", receive(1, packet(outside(1), outside(2))));
}

TEST_F(MacLearning, MAC_12_a_known_port_that_is_not_in_the_vlan) {
  trunk(1, 0);
  access(2, 10);
  vswitch().manual.push_back({outside(1), 11, 2});
  add_port(5);
  vswitch().manual.push_back({outside(2), 11, 5});
  EXPECT_EQ("in:1:not-a-member", send(1, tagged(packet(outside(1), address_of(1)), 11)));
  EXPECT_EQ("in:1:not-a-member", send(1, tagged(packet(outside(2), address_of(1)), 11)));
}

TEST_F(MacLearning, MAC_20_order_of_the_look_up) {
  trunk(1, 0);
  trunk(2, 0);
  trunk(3, 0, {{10, 10}});
  vswitch().learns_static = true;
  send(2, tagged(packet(everybody, address_of(3)), 10));
  EXPECT_EQ("2", send(1, tagged(packet(address_of(3), address_of(1)), 10))) << "learned goes before here";
  vswitch().learns_static = false;
  restart();
  traffic->table(0).add({address_of(3), 10, index(2), 1000, 0, true});
  EXPECT_EQ("3", send(1, tagged(packet(address_of(3), address_of(1)), 10)));
  EXPECT_EQ("n0", send(1, tagged(packet(address_of(3), address_of(1)), 11))) << "its port is not in this VLAN";
  vswitch().manual.push_back({address_of(3), 10, 2});
  restart();
  EXPECT_EQ("2", send(1, tagged(packet(address_of(3), address_of(1)), 10))) << "by hand";
  vswitch().allows_static = false;
  restart();
  EXPECT_EQ("n0", send(1, tagged(packet(address_of(3), address_of(1)), 10)));
}

TEST_F(MacLearning, MAC_20_the_lowest_port_of_an_address) {
  port(3).client->assigned = port(3).client->effective = address_of(2);
  EXPECT_EQ("2", send(1, packet(address_of(2), address_of(1))));
  access(2, 10);
  restart();
  EXPECT_EQ("3", send(1, packet(address_of(2), address_of(1))));
}

TEST_F(MacLearning, MAC_3_the_table_stays_whole_through_many_changes) {
  MacTable table(0, 4);
  constexpr std::uint32_t count = 5000;
  for (std::uint32_t i = 0; i < count; ++i)
    table.add({outside(i), 0, i % 4, 100 + i % 7, 0, true});
  EXPECT_EQ(count, table.size());
  EXPECT_EQ(count, table.take_changes().size());
  for (std::uint32_t i = 0; i < count; i += 2)
    table.refresh(table.find(address_key(outside(i), 0)), 200);
  EXPECT_EQ(count / 2, table.take_changes().size());
  table.expire(199);
  EXPECT_EQ(count / 2, table.size());
  EXPECT_EQ(count / 2, table.take_changes().size());
  for (std::uint32_t i = 0; i < count; ++i)
    EXPECT_EQ(i % 2 == 1, table.find(address_key(outside(i), 0)) == nowhere) << i;
  EXPECT_EQ(count / 4, table.count_at(0));
  EXPECT_EQ(0u, table.count_at(1));
  table.expire(200);
  EXPECT_EQ(0u, table.size());
  EXPECT_TRUE(table.addresses().empty());
}

}  // namespace learning_test
