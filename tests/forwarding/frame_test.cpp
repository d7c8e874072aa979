// What a frame is, and the gates that it passes before its VLAN is looked at.
#include "tests/forwarding/world.hpp"

namespace frame_test {

using namespace forwarding;

class Frames : public World {};

TEST_F(Frames, P_0_outer_tag_and_inner_type) {
  Header const untagged = read_header(packet(everybody, address_of(1), 0x0800));
  EXPECT_FALSE(untagged.has_tag);
  EXPECT_EQ(0x0800, untagged.inner_type);
  EXPECT_FALSE(untagged.is_nested());
  Packet const bytes = tagged(packet(everybody, address_of(1), 0x0800), 0xb00a);
  Header const outer = read_header(bytes);
  EXPECT_EQ(10, outer.vid());
  EXPECT_EQ(0xb, outer.priority()) << "PCP 5, DEI 1";
  EXPECT_EQ(0x0800, outer.inner_type);
  EXPECT_TRUE(read_header(tagged(bytes, 1)).is_nested());
  EXPECT_TRUE(read_header(tagged(packet(everybody, 2, 0x88a8), 1)).is_nested());
  EXPECT_TRUE(read_header(tagged(packet(everybody, 2, 0x9100), 1)).is_nested());
}

TEST_F(Frames, P_0_a_tag_that_is_kept_as_payload_makes_a_nested_frame) {
  Header header = read_header(tagged(packet(everybody, address_of(1), 0x0800), 0xb00a));
  header.keep_tag();
  EXPECT_FALSE(header.has_tag);
  EXPECT_EQ(0x8100, header.inner_type);
  EXPECT_TRUE(header.is_nested());
}

TEST_F(Frames, P_2_one_reason_place_and_stage) {
  EXPECT_EQ("in:1:bad-source", send(1, packet(everybody, everybody)));
  EXPECT_EQ("in:n0:bad-source", receive(0, packet(everybody, 0)));
}

TEST_F(Frames, P_3_delivered_dropped_or_consumed) {
  EXPECT_EQ("2 3 n0", send(1, packet(everybody, address_of(1))));
  EXPECT_EQ("in:1:runt", send(1, zeros(13)));
  EXPECT_EQ("consumed", receive(0, packet(0x0180c2000002, outside(1), 0x8809)));
}

TEST_F(Frames, P_3_beacons_of_the_switch_are_consumed_at_its_uplinks) {
  vswitch().identifier = {'i', 'd'};
  Packet const beacon = hex("ffffffffffff 020000000001 8922 56534231 6553f100 6964") + zeros(62) + hex("00000001");
  ASSERT_EQ(90u, beacon.size());
  EXPECT_EQ("consumed", receive(0, beacon));
  EXPECT_EQ("consumed", receive(1, beacon));
  EXPECT_EQ("2 3 n0", send(1, beacon)) << "data at a port";
  Packet other = beacon;
  other[24] = 'x';
  EXPECT_EQ("1 2 3", receive(0, other)) << "of another switch";
  other = beacon;
  other[14] = 0;
  EXPECT_EQ("1 2 3", receive(0, other));
  other = beacon;
  other.resize(89);
  EXPECT_EQ("1 2 3", receive(0, other));
}

TEST_F(Frames, P_4_nothing_comes_back_and_nobody_gets_two) {
  port(1).client->is_promiscuous = port(2).client->is_promiscuous = true;
  EXPECT_EQ("2 3 n0", send(1, packet(everybody, address_of(1))));
  EXPECT_EQ("1 2 3", receive(0, packet(everybody, outside(1))));
  port(3).sends_to_uplink_too = true;
  restart();
  EXPECT_EQ("1 2* n0", send(3, packet(address_of(1), address_of(3))));
}

TEST_F(Frames, P_6_the_gate) {
  configuration.nics.emplace_back();
  EXPECT_EQ("in:n2:nic-unbound", receive(2, zeros(1)));
  EXPECT_EQ(0u, counters(11).in.dropped);
  port(1).is_zombie = true;
  port(2).client.reset();
  port(3).client->link_up = false;
  add_client(4).is_blocked = true;
  restart();
  EXPECT_EQ("in:1:zombie-port", send(1, zeros(1)));
  EXPECT_EQ("in:2:no-client", send(2, zeros(1)));
  EXPECT_EQ("in:3:link-down", send(3, zeros(1)));
  EXPECT_EQ("in:4:port-blocked", send(4, zeros(1)));
}

TEST_F(Frames, P_6_a_switch_that_does_not_forward) {
  vswitch().is_disabled = true;
  port(1).is_blocked = true;
  EXPECT_EQ("in:1:forwarding-disabled", send(1, zeros(60)));
  vswitch().is_connected = false;
  restart();
  EXPECT_EQ("in:1:no-portset", send(1, zeros(60)));
  EXPECT_EQ("in:n0:no-portset", receive(0, zeros(60)));
}

TEST_F(Frames, P_7_the_order_of_what_a_frame_may_lack) {
  vswitch().mtu = 1280;
  EXPECT_EQ("in:1:runt", send(1, zeros(13)));
  EXPECT_EQ("in:1:bad-source", send(1, zeros(14)));
  Packet cut = tagged(packet(everybody, address_of(1)), 5);
  cut.resize(17);
  EXPECT_EQ("in:1:malformed", send(1, cut));
  Packet long_one = packet(everybody, everybody);
  long_one.resize(1280 + 15);
  EXPECT_EQ("in:1:too-long", send(1, long_one)) << "before its source is looked at";
  EXPECT_EQ("in:1:bad-source", send(1, packet(everybody, 0)));
  EXPECT_EQ("in:1:bad-source", send(1, packet(everybody, 0x010000000001)));
  Packet least = packet(everybody, address_of(1));
  least.resize(14);
  EXPECT_EQ("2 3 n0", send(1, least)) << "nothing is padded";
}

TEST_F(Frames, X_1_the_mtu_is_of_the_payload) {
  trunk(1, 0);
  trunk(2, 0);
  port(1).vlan.allows_nested = true;
  auto const of_length = [&](Packet bytes, std::size_t length) {
    bytes.resize(length);
    return send(1, bytes).starts_with("in:1:too-long");
  };
  Packet const bare = packet(everybody, address_of(1));
  EXPECT_FALSE(of_length(bare, 1514));
  EXPECT_TRUE(of_length(bare, 1515));
  EXPECT_FALSE(of_length(tagged(bare, 5), 1518));
  EXPECT_TRUE(of_length(tagged(bare, 5), 1519));
  EXPECT_FALSE(of_length(tagged(tagged(bare, 5), 6), 1522));
  EXPECT_TRUE(of_length(tagged(tagged(bare, 5), 6), 1523));
  EXPECT_TRUE(of_length(tagged(tagged(tagged(bare, 5), 6), 7), 1523)) << "at most two tags count";
  EXPECT_FALSE(of_length(tagged(bare, 5, 0x88a8), 1518));
  EXPECT_TRUE(of_length(tagged(bare, 5, 0x88a8), 1519));
  Packet at_uplink = packet(everybody, outside(1));
  at_uplink.resize(1515);
  EXPECT_EQ("in:n0:too-long", receive(0, at_uplink));
}

TEST_F(Frames, X_3_a_link_that_is_down) {
  configuration.nics[0].link_up = false;
  port(2).client->link_up = false;
  EXPECT_EQ("in:n0:link-down", receive(0, packet(everybody, outside(1))));
  EXPECT_EQ("3 n1", send(1, packet(everybody, address_of(1))));
}

TEST_F(Frames, X_4_a_block_stops_both_directions) {
  port(2).is_blocked = true;
  port(11).is_blocked = true;
  EXPECT_EQ("in:2:port-blocked", send(2, packet(everybody, address_of(2))));
  EXPECT_EQ("in:n0:port-blocked", receive(0, packet(everybody, outside(1))));
  EXPECT_EQ("3 out:n0:port-blocked", send(1, packet(everybody, address_of(1))));
}

TEST_F(Frames, X_5_who_cannot_receive) {
  port(2).is_blocked = true;
  port(3).client->link_up = false;
  add_client(4).is_zombie = true;
  add_port(5);
  vswitch().manual.push_back({outside(5), 0, 5});
  EXPECT_EQ("n0", send(1, packet(everybody, address_of(1))));
  EXPECT_EQ("out:2:port-blocked", send(1, packet(address_of(2), address_of(1))));
  EXPECT_EQ("out:3:link-down", send(1, packet(address_of(3), address_of(1))));
  EXPECT_EQ("out:4:zombie-port", send(1, packet(address_of(4), address_of(1))));
  EXPECT_EQ("out:5:no-client", send(1, packet(outside(5), address_of(1))));
}

TEST_F(Frames, MAC_10_reserved_addresses) {
  for (MacAddress number = 0; number <= 0xf; ++number)
    EXPECT_EQ("in:1:reserved-address", send(1, packet(0x0180c2000000 + number, address_of(1))));
  EXPECT_EQ("n0", send(1, packet(0x0180c2000010, address_of(1)))) << "a group like any other";
  EXPECT_EQ("in:n0:reserved-address", receive(0, packet(0x0180c200000e, outside(1), 0x88cc)));
  EXPECT_EQ("in:1:reserved-address", send(1, packet(0x0180c2000002, address_of(1), 0x8809))) << "at a port";
}

}  // namespace frame_test
