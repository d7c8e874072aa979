// VLANs: where a frame comes in, who is in its VLAN, and with which tag it goes out.
#include "tests/forwarding/world.hpp"

namespace vlan_test {

using namespace forwarding;

Packet hello(std::uint32_t from) {
  return packet(everybody, address_of(from));
}

// The tag of a packet in hexadecimal; "none" without one.
std::string tag_of(Packet const &bytes) {
  if (bytes.empty())
    return "nothing";
  Header const header = read_header(bytes);
  char text[8];
  std::snprintf(text, sizeof text, "%04x", unsigned{header.tag});
  return header.has_tag ? text : "none";
}

class Vlan : public World {};

TEST_F(Vlan, V_1_the_reserved_vid) {
  trunk(2, 0);
  EXPECT_EQ("in:1:vlan-reserved", send(1, tagged(hello(1), 4095)));
  EXPECT_EQ("in:2:vlan-reserved", send(2, tagged(hello(2), 4095)));
  EXPECT_EQ("in:n0:vlan-reserved", receive(0, tagged(packet(everybody, outside(1)), 4095)));
}

TEST_F(Vlan, V_1_a_priority_tag_is_as_none_with_its_priority) {
  access(1, 10);
  EXPECT_EQ("n0", send(1, tagged(hello(1), 0xb000)));
  EXPECT_EQ("b00a", tag_of(at("n0")));
}

TEST_F(Vlan, V_1_highest_and_lowest) {
  trunk(1, 0);
  trunk(2, 0);
  EXPECT_EQ("2 n0", send(1, tagged(hello(1), 1)));
  EXPECT_EQ("2 n0", send(1, tagged(hello(1), 4094)));
}

TEST_F(Vlan, V_2_access_takes_untagged_frames_only) {
  access(1, 10);
  access(2, 10);
  EXPECT_EQ("2 n0", send(1, hello(1)));
  EXPECT_EQ("in:1:vlan-tagged", send(1, tagged(hello(1), 10))) << "even its own";
  EXPECT_EQ("in:1:vlan-tagged", send(1, tagged(hello(1), 11)));
  EXPECT_EQ("2 n0", send(1, tagged(hello(1), 0)));
}

TEST_F(Vlan, V_3_trunk_ranges) {
  trunk(1, 0, {{5, 7}, {9, 9}});
  for (unsigned vlan : {5, 6, 7, 9})
    EXPECT_EQ("n0", send(1, tagged(hello(1), vlan))) << vlan;
  for (unsigned vlan : {1, 4, 8, 10, 4094})
    EXPECT_EQ("in:1:vlan-not-allowed", send(1, tagged(hello(1), vlan))) << vlan;
}

TEST_F(Vlan, V_3_a_trunk_without_ranges_has_all) {
  trunk(1, 0);
  EXPECT_EQ("n0", send(1, tagged(hello(1), 1234)));
}

TEST_F(Vlan, V_4_native_vlan) {
  trunk(1, 20, {{5, 7}});
  EXPECT_EQ("n0", send(1, hello(1)));
  EXPECT_EQ("0014", tag_of(at("n0")));
  EXPECT_EQ("n0", send(1, tagged(hello(1), 20))) << "always allowed";
  trunk(1, 4095, {{5, 7}});
  restart();
  EXPECT_EQ("in:1:vlan-untagged", send(1, hello(1))) << "4095 is 0, which no range contains";
  trunk(1, 0, {{0, 7}});
  restart();
  EXPECT_EQ("2 3 n0", send(1, hello(1)));
  EXPECT_EQ("in:1:vlan-untagged", (trunk(1, 0, {{1, 7}}), restart(), send(1, tagged(hello(1), 0xe000))));
}

TEST_F(Vlan, V_5_membership) {
  access(1, 10);
  access(2, 11);
  trunk(3, 0, {{10, 10}});
  EXPECT_EQ("3 n0", send(1, hello(1)));
  EXPECT_EQ("n0", send(2, hello(2)));
  EXPECT_EQ("1 3", receive(0, tagged(packet(everybody, outside(1)), 10)));
  EXPECT_EQ("in:n0:no-receiver", receive(0, tagged(packet(everybody, outside(1)), 12)));
}

TEST_F(Vlan, V_5_a_trunk_is_in_vlan_0_only_where_that_is_native) {
  trunk(2, 10);
  trunk(3, 0);
  EXPECT_EQ("3 n0", send(1, hello(1)));
  trunk(3, 0, {{1, 9}});
  restart();
  EXPECT_EQ("n0", send(1, hello(1)));
}

TEST_F(Vlan, V_6_priority) {
  trunk(1, 0);
  EXPECT_EQ("n0", send(1, tagged(hello(1), 0x700a)));
  EXPECT_EQ("700a", tag_of(at("n0"))) << "PCP 3, DEI 1";
  port(1).vlan.priority = 6;
  restart();
  EXPECT_EQ("n0", send(1, tagged(hello(1), 0x700a)));
  EXPECT_EQ("d00a", tag_of(at("n0"))) << "PCP 6, DEI as it was";
  port(1).vlan.retains_priority = true;
  restart();
  EXPECT_EQ("n0", send(1, tagged(hello(1), 0x700a)));
  EXPECT_EQ("700a", tag_of(at("n0")));
  EXPECT_EQ("2 3 n0", send(1, hello(1)));
  EXPECT_EQ("c000", tag_of(at("n0"))) << "nothing to retain: a priority tag";
  EXPECT_EQ("2 3 n0", send(1, tagged(hello(1), 0)));
  EXPECT_EQ("none", tag_of(at("n0"))) << "priority 0 is retained";
}

TEST_F(Vlan, V_8_what_was_learned_in_a_vlan_can_be_forgotten) {
  learn_everywhere();
  vswitch().private_vlans = {{100, 100, PrivateVlanType::primary}, {100, 101, PrivateVlanType::isolated}};
  EXPECT_EQ("in:n0:no-receiver", receive(0, tagged(packet(everybody, outside(1)), 10)));
  receive(0, tagged(packet(everybody, outside(2)), 101));
  receive(0, tagged(packet(everybody, outside(3)), 102));
  EXPECT_EQ("ff0001/10@11 ff0002/100@11 ff0003/102@11", learned());
  VlanSet map;
  map.set(100).set(101).set(102);
  traffic->forget_vlans(*tables, 0, map);
  EXPECT_EQ("ff0001/10@11", learned());
}

TEST_F(Vlan, V_10_no_tag_out_of_an_access_port) {
  trunk(1, 0);
  access(2, 10);
  EXPECT_EQ("2 n0", send(1, tagged(hello(1), 0xe00a)));
  EXPECT_EQ(hello(1), at("2"));
  EXPECT_EQ("3 n0", send(1, tagged(hello(1), 0xe000)));
  EXPECT_EQ(hello(1), at("3")) << "no priority tag either";
}

TEST_F(Vlan, V_11_out_of_a_trunk) {
  access(1, 10);
  trunk(2, 10);
  trunk(3, 20);
  EXPECT_EQ("2 3 n0", send(1, tagged(hello(1), 0xe000)));
  EXPECT_EQ(hello(1), at("2")) << "the native VLAN: untagged, whatever the priority";
  EXPECT_EQ(tagged(hello(1), 0xe00a), at("3"));
  EXPECT_EQ(tagged(hello(1), 0xe00a), at("n0"));
}

TEST_F(Vlan, V_11_a_priority_in_a_native_vlan_0) {
  trunk(2, 0);
  EXPECT_EQ("2 3 n0", send(1, tagged(hello(1), 0x1000)));
  EXPECT_EQ(tagged(hello(1), 0x1000), at("2")) << "DEI alone";
  EXPECT_EQ(hello(1), at("3"));
  EXPECT_EQ("2 3 n0", send(1, tagged(hello(1), 0)));
  EXPECT_EQ(hello(1), at("2"));
}

TEST_F(Vlan, V_11_an_uplink_obeys_its_policy) {
  trunk(11, 10, {{5, 5}});
  access(1, 10);
  EXPECT_EQ("n0", send(1, hello(1)));
  EXPECT_EQ(hello(1), at("n0"));
  port(11).vlan = {};
  access(11, 10);
  restart();
  EXPECT_EQ("in:n0:vlan-tagged", receive(0, tagged(packet(everybody, outside(1)), 10)));
  EXPECT_EQ("1", receive(0, packet(everybody, outside(1))));
}

TEST_F(Vlan, V_12_nothing_else_changes) {
  access(1, 10);
  Packet shorter = hello(1);
  shorter.resize(20);
  EXPECT_EQ("n0", send(1, shorter));
  EXPECT_EQ(tagged(shorter, 10), at("n0"));
  EXPECT_EQ("1", receive(0, tagged(packet(everybody, outside(1)), 10)));
  EXPECT_EQ(packet(everybody, outside(1)), at("1"));
}

TEST_F(Vlan, V_13_nested_frames_pass_ports_that_allow_them) {
  trunk(1, 0);
  trunk(2, 0);
  trunk(3, 0);
  Packet const nested = tagged(tagged(hello(1), 5), 10);
  EXPECT_EQ("in:1:nested-tag", send(1, nested));
  port(1).vlan.allows_nested = port(3).vlan.allows_nested = true;
  restart();
  EXPECT_EQ("3 n0", send(1, nested));
  EXPECT_EQ(nested, at("3"));
  EXPECT_EQ("out:2:nested-tag", send(1, tagged(tagged(packet(address_of(2), address_of(1)), 5), 10)));
  EXPECT_EQ("1 3", receive(0, tagged(tagged(packet(everybody, outside(1)), 5), 10)));
}

TEST_F(Vlan, V_13_an_access_port_keeps_tags_as_payload) {
  access(1, 10);
  access(2, 10);
  port(1).vlan.allows_nested = true;
  trunk(3, 0);
  port(3).vlan.allows_nested = true;
  Packet const inner = tagged(hello(1), 0xe000 + 4095);
  EXPECT_EQ("3 n0", send(1, inner)) << "a nested frame: port 2 does not take it";
  EXPECT_EQ(tagged(inner, 10), at("n0")) << "its tag gives no priority";
  EXPECT_EQ("1 3", receive(0, tagged(tagged(packet(everybody, outside(1)), 7), 10)));
  EXPECT_EQ(tagged(packet(everybody, outside(1)), 7), at("1"));
  EXPECT_EQ("2 3 n0", send(1, tagged(hello(1), 0xe000)));
  EXPECT_EQ(tagged(hello(1), 0xe00a), at("n0")) << "a priority tag is not kept";
  port(1).vlan.priority = 2;
  port(1).vlan.retains_priority = true;
  restart();
  EXPECT_EQ("3 n0", send(1, inner));
  EXPECT_EQ(tagged(inner, 0x400a), at("n0")) << "from here on it had no outer tag";
}

TEST_F(Vlan, V_13_an_access_port_in_vlan_0_keeps_none) {
  port(1).vlan.allows_nested = true;
  EXPECT_EQ("in:1:vlan-tagged", send(1, tagged(hello(1), 5)));
  EXPECT_EQ("in:1:vlan-reserved", send(1, tagged(hello(1), 4095)));
}

TEST_F(Vlan, V_13_an_uplink_that_does_not_allow_nested_frames) {
  trunk(1, 0);
  trunk(2, 0);
  port(1).vlan.allows_nested = port(2).vlan.allows_nested = true;
  trunk(11, 0);
  port(11).vlan.allows_nested = false;
  vswitch().manual.push_back({outside(1), 10, 11});
  EXPECT_EQ("2", send(1, tagged(tagged(hello(1), 5), 10))) << "it is no receiver of group frames";
  EXPECT_EQ("in:1:unknown-unicast", send(1, tagged(tagged(packet(outside(2), address_of(1)), 5), 10)));
  EXPECT_EQ("out:n0:nested-tag", send(1, tagged(tagged(packet(outside(1), address_of(1)), 5), 10)));
  EXPECT_EQ("in:n0:nested-tag", receive(0, tagged(tagged(packet(everybody, outside(3)), 5), 10)));
}

TEST_F(Vlan, V_14_another_tag_in_front) {
  access(1, 10);
  Packet const provider = tagged(hello(1), 5, 0x88a8);
  EXPECT_EQ("in:1:nested-tag", send(1, provider));
  port(1).vlan.allows_nested = true;
  restart();
  EXPECT_EQ("n0", send(1, provider)) << "untagged, so in the VLAN of the port";
  EXPECT_EQ(tagged(provider, 10), at("n0"));
  EXPECT_EQ("n0", send(1, tagged(hello(1), 5, 0x9100)));
}

TEST_F(Vlan, V_15_no_vlan_tag_behind_the_outer_one_in_vlan_0) {
  trunk(1, 0);
  port(1).vlan.allows_nested = true;
  EXPECT_EQ("in:1:nested-tag", send(1, tagged(tagged(hello(1), 5), 0)));
  EXPECT_EQ("in:n0:nested-tag", receive(0, tagged(tagged(packet(everybody, outside(1)), 5), 0)));
  EXPECT_EQ("n0", send(1, tagged(tagged(hello(1), 5, 0x88a8), 0))) << "another tag may";
}

TEST_F(Vlan, V_16_nested_frames_are_tagged_in_a_native_vlan) {
  access(1, 10);
  port(1).vlan.allows_nested = true;
  trunk(2, 10);
  port(2).vlan.allows_nested = true;
  Packet const inner = tagged(hello(1), 5);
  EXPECT_EQ("2 n0", send(1, inner));
  EXPECT_EQ(tagged(inner, 10), at("2"));
  EXPECT_EQ("2 n0", send(1, hello(1)));
  EXPECT_EQ(hello(1), at("2"));
  access(1, 0);
  trunk(2, 0);
  restart();
  EXPECT_EQ("2 n0", send(1, tagged(hello(1), 5, 0x88a8)));
  EXPECT_EQ(tagged(hello(1), 5, 0x88a8), at("2")) << "in a native VLAN 0 as others";
}

class PrivateVlans : public World {
 protected:
  // 100 with the isolated 101 and the communities 102 and 103; port 1 promiscuous, 2 and 3 isolated, 4 and 5 of 102,
  // 6 of 103, and 7 an ordinary member of 101.
  PrivateVlans() {
    vswitch().private_vlans = {{100, 100, PrivateVlanType::primary},
                               {100, 101, PrivateVlanType::isolated},
                               {100, 102, PrivateVlanType::community},
                               {100, 103, PrivateVlanType::community},
                               {200, 200, PrivateVlanType::primary}};
    std::uint16_t vlan = 99;
    for (std::uint32_t number = 1; number <= 7; ++number) {
      if (number > 3)
        add_client(number);
      if (number != 3 && number != 5)
        ++vlan;
      private_port(number, vlan);
    }
    port(7).vlan.kind = VlanPolicy::Kind::access;
    access(7, 101);
  }
};

TEST_F(PrivateVlans, PV_1_who_reaches_whom) {
  EXPECT_EQ("2 3 4 5 6 n0", send(1, hello(1)));
  EXPECT_EQ("1 7 n0", send(2, hello(2)));
  EXPECT_EQ("1 5 n0", send(4, hello(4)));
  EXPECT_EQ("1 n0", send(6, hello(6)));
  EXPECT_EQ("3", send(1, packet(address_of(3), address_of(1))));
  EXPECT_EQ("1", send(3, packet(address_of(1), address_of(3))));
  EXPECT_EQ("in:2:private-vlan", send(2, packet(address_of(3), address_of(2))));
  EXPECT_EQ("in:2:private-vlan", send(2, packet(address_of(4), address_of(2))));
  EXPECT_EQ("5", send(4, packet(address_of(5), address_of(4))));
  EXPECT_EQ("in:4:private-vlan", send(4, packet(address_of(6), address_of(4))));
}

TEST_F(PrivateVlans, PV_1_a_vlan_that_the_map_does_not_have) {
  private_port(2, 300);
  EXPECT_EQ("in:2:private-vlan", send(2, hello(2)));
  EXPECT_EQ("3 4 5 6 n0", send(1, hello(1)));
}

TEST_F(PrivateVlans, PV_1_unknown_unicast_too) {
  for (std::uint32_t number = 1; number <= 6; ++number)
    learning(number).is_flooded = true;
  EXPECT_EQ("1 n0", send(2, packet(outside(1), address_of(2))));
}

TEST_F(PrivateVlans, PV_2_one_filtering_database) {
  learn_everywhere();
  send(2, packet(everybody, outside(1)));
  EXPECT_EQ("ff0001/100@2", learned());
  EXPECT_EQ("2", send(1, packet(outside(1), address_of(1))));
  EXPECT_EQ("in:4:private-vlan", send(4, packet(outside(1), address_of(4))));
}

TEST_F(PrivateVlans, PV_2_of_several_entries_by_hand_the_lowest_port) {
  vswitch().manual = {{outside(1), 102, 5}, {outside(1), 101, 3}, {outside(1), 100, 4}};
  EXPECT_EQ("3", send(1, packet(outside(1), address_of(1))));
}

TEST_F(PrivateVlans, PV_3_the_vlan_on_the_wire_is_the_frames) {
  send(1, hello(1));
  EXPECT_EQ("0064", tag_of(at("n0")));
  send(2, hello(2));
  EXPECT_EQ("0065", tag_of(at("n0")));
  send(4, hello(4));
  EXPECT_EQ("0066", tag_of(at("n0")));
}

TEST_F(PrivateVlans, PV_3_frames_of_a_wire_are_judged_by_their_tag) {
  Packet const hi = packet(everybody, outside(1));
  EXPECT_EQ("1 2 3 4 5 6", receive(0, tagged(hi, 100)));
  EXPECT_EQ("1 7", receive(0, tagged(hi, 101)));
  EXPECT_EQ("1 4 5", receive(0, tagged(hi, 102)));
  EXPECT_EQ("1 6", receive(0, tagged(hi, 103)));
  EXPECT_EQ("in:n0:no-receiver", receive(0, tagged(hi, 200)));
}

TEST_F(PrivateVlans, PV_4_private_ports_see_untagged_frames_and_others_are_ordinary_members) {
  receive(0, tagged(packet(everybody, outside(1)), 0xe065));
  EXPECT_EQ(packet(everybody, outside(1)), at("1"));
  EXPECT_EQ(packet(everybody, outside(1)), at("7"));
  EXPECT_EQ("in:1:vlan-tagged", send(1, tagged(hello(1), 100)));
  EXPECT_EQ("in:n0:private-vlan", receive(0, tagged(packet(address_of(2), outside(1)), 102)));
  EXPECT_EQ("1 n0", send(7, hello(7))) << "an ordinary member of the isolated VLAN reaches promiscuous ports";
}

}  // namespace vlan_test
