// Copies that go to an address: their headers byte for byte, and the way that they leave.
#include "platform/forwarding/encapsulation.hpp"

#include "tests/forwarding/world.hpp"

namespace encapsulation_test {

using namespace forwarding;
using namespace constant;

// The session and the frame of the examples below: from port 7, which is in VLAN 10, to 198.51.100.9.
class Encapsulated : public World {
 protected:
  Encapsulated() {
    now = 1700000000123456;
    vswitch().own_mac = 0x027673000001;
    for (Stack &one : configuration.stacks) {
      one.gateway = 0x027673ffffff;
      one.ipv4 = ip({192, 0, 2, 1});
      one.ipv6 = ip(hex("20010db8000000000000000000000001"));
    }
    add_client(7).client->effective = 0x02000000010a;
    access(7, 10);
    MirrorSession &made = vswitch().mirror_sessions.emplace_back();
    made.name = "s";
    made.in.ports = {7};
    made.destinations = {to({198, 51, 100, 9})};
    made.snap_length = 40;
    made.gre_key = 1234;
    made.erspan_class = 5;
    made.erspan_id = 100;
    made.erspan_granularity = 3;
  }

  static MirrorDestination to(Packet const &address) { return {MirrorDestination::Kind::address, 0, ip(address)}; }
  MirrorSession &session() { return vswitch().mirror_sessions[0]; }
  Stack &stack(std::size_t number = 0) { return configuration.stacks[number]; }
  static Packet frame() {
    return hex(
        "ffffffffffff 02000000010a 0800 000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f"
        "202122232425262728292a2b2c2d");
  }
  // The copies at a NIC of a frame of port 7.
  std::vector<Packet> copies(Packet const &of, std::string const &nic = "n0") {
    send(7, of);
    return copies_at(nic);
  }
  Packet copy() { return copies(frame()).at(0); }
  Packet copy_after_restart() {
    restart();
    return copy();
  }
  static Packet part(Packet const &bytes, std::ptrdiff_t from, std::ptrdiff_t length) {
    return {bytes.begin() + from, bytes.begin() + from + length};
  }

  Packet const inner = hex("ffffffffffff 02000000010a 0800 000102030405060708090a0b0c0d0e0f10111213141516171819");
};

TEST_F(Encapsulated, E_1_E_0_gre_byte_for_byte) {
  EXPECT_EQ(
      hex("027673ffffff 027673000001 0800 45000044 00004000 402f4e4d c0000201 c6336409 20006558 000004d2") + inner,
      copy());
  session().gre_key = 0;
  EXPECT_EQ(hex("027673ffffff 027673000001 0800 45000040 00004000 402f4e51 c0000201 c6336409 00006558") + inner,
            copy_after_restart());
}

TEST_F(Encapsulated, E_3_erspan_type_2_byte_for_byte) {
  session().encapsulation = Encapsulation::erspan_2;
  EXPECT_EQ(hex("027673ffffff 027673000001 0800 4500004c 00004000 402f4e45 c0000201 c6336409 100088be 00000000 "
                "100ab464 00000007") +
                inner,
            copy());
}

TEST_F(Encapsulated, E_3_how_the_vlan_is_carried_and_whether_the_copy_was_cut) {
  session().encapsulation = Encapsulation::erspan_2;
  session().snap_length = 0;
  EXPECT_EQ(hex("100ab064"), part(copy(), 42, 4)) << "whole";
  session().keeps_vlan = true;
  EXPECT_EQ(hex("100ab864"), part(copy_after_restart(), 42, 4)) << "the copy has the tag";
  session().outer_vlan = 30;
  EXPECT_EQ(hex("100ab864"), part(copy_after_restart(), 42, 4));
  EXPECT_EQ(hex("8100001e 8100000a 0800"), part(copy(), 62, 10));
  access(7, 0);
  EXPECT_EQ(hex("1000a064"), part(copy_after_restart(), 42, 4)) << "without a VLAN";
  EXPECT_EQ(hex("8100001e 0800"), part(copy(), 62, 6));
}

TEST_F(Encapsulated, E_4_erspan_type_3_byte_for_byte) {
  session().encapsulation = Encapsulation::erspan_3;
  EXPECT_EQ(hex("027673ffffff 027673000001 0800 45000050 00004000 402f4e41 c0000201 c6336409 100022eb 00000000 "
                "200aa464 18202240 00008006") +
                inner,
            copy());
  session().in.ports = {};
  session().out.ports = {11};
  EXPECT_EQ(hex("0000800e"), part(copy_after_restart(), 50, 4)) << "on the way out";
}

TEST_F(Encapsulated, E_4_time_in_each_unit) {
  session().encapsulation = Encapsulation::erspan_3;
  std::pair<std::uint8_t, char const *> const stamps[] = {
      {0, "1ef614d2"}, {1, "f1415680"}, {2, "075bca00"}, {3, "18202240"}};
  for (auto const &[granularity, stamp] : stamps) {
    session().erspan_granularity = granularity;
    EXPECT_EQ(hex(stamp), part(copy_after_restart(), 46, 4)) << int{granularity};
    EXPECT_EQ(granularity << 1, copy()[53] & 6);
  }
  now = -1;
  std::pair<std::uint8_t, char const *> const before_the_epoch[] = {
      {0, "ffffffff"}, {1, "fffffff6"}, {2, "3b9ac618"}, {3, "ffffffff"}};
  for (auto const &[granularity, stamp] : before_the_epoch) {
    session().erspan_granularity = granularity;
    EXPECT_EQ(hex(stamp), part(copy_after_restart(), 46, 4)) << int{granularity};
  }
}

TEST_F(Encapsulated, E_5_copies_are_numbered_by_address_and_failed_ones_are_not) {
  session().encapsulation = Encapsulation::erspan_2;
  session().destinations = {to({198, 51, 100, 9}), to({198, 51, 100, 10}), to({198, 51, 100, 9})};
  std::string numbers;
  auto const note = [&] {
    for (Packet const &copy : copies(frame()))
      numbers += std::to_string(copy[41]) + (copy[19] == copy[41] ? " " : "! ");
  };
  note();
  note();
  EXPECT_EQ("0 0 1 2 1 3 ", numbers) << "the IPv4 header has the same number";
  // 60 bytes behind 36 of IP, GRE and ERSPAN are 96.
  session().snap_length = 0;
  vswitch().mtu = 96;
  restart();
  copies(frame());
  EXPECT_TRUE(copies(frame() + zeros(1)).empty());
  EXPECT_EQ("3 3 1 0 1", mirrored());
  numbers.clear();
  note();
  EXPECT_EQ("2 1 3 ", numbers);
}

TEST_F(Encapsulated, E_5_numbers_wrap_where_their_fields_end) {
  session().encapsulation = Encapsulation::erspan_2;
  restart();
  traffic->count_mirror(0).sent[0] = 0x1fffffffe;
  EXPECT_EQ(hex("fffffffe"), part(copy(), 38, 4));
  Packet const last_one = copy();
  EXPECT_EQ(hex("ffffffff"), part(last_one, 38, 4));
  EXPECT_EQ(hex("ffff"), part(last_one, 18, 2));
  EXPECT_EQ(hex("00000000"), part(copy(), 38, 4));
}

TEST_F(Encapsulated, E_0_what_the_stack_says) {
  session().stack = 1;
  stack(1).mac = 0x020000000077;
  stack(1).gateway = 0x020000000078;
  stack(1).ipv4 = ip({203, 0, 113, 1});
  stack(1).vlan = 20;
  stack(1).ttl = 9;
  stack(1).dscp = 46;
  EXPECT_EQ(
      hex("020000000078 020000000077 81000014 0800 45b80044 00004000 092f0a95 cb007101 c6336409 20006558 000004d2") +
          inner,
      copy());
  session().destinations = {to(hex("20010db8000000000000000000000009"))};
  EXPECT_EQ(hex("020000000078 020000000077 81000014 86dd 6b800000 00302f09 20010db8000000000000000000000001 "
                "20010db8000000000000000000000009 20006558 000004d2") +
                inner,
            copy_after_restart());
}

TEST_F(Encapsulated, E_0_by_the_team_of_the_switch) {
  team().load_balance = TEAM_FRP_TYPE_LB_SRCID;
  EXPECT_EQ(1u, copies(frame(), "n0").size()) << "port number 0";
  team().active = {1, 0};
  restart();
  EXPECT_EQ(1u, copies(frame(), "n1").size());
  // 192.0.2.1 ^ 198.51.100.9 is 06 33 66 08; folded: 08 ^ 33 = 3b, 66 ^ 06 = 60, so 5b, which is odd.
  team().load_balance = TEAM_FRP_TYPE_LB_IP;
  team().active = {0, 1};
  restart();
  EXPECT_EQ(1u, copies(frame(), "n1").size());
  // The last byte of the outer source, 01.
  team().load_balance = TEAM_FRP_TYPE_LB_SRCMAC;
  restart();
  EXPECT_EQ(1u, copies(frame(), "n1").size());
  vswitch().lags.push_back({LagHash::l2, {{0, true}, {1, true}}});
  // ff ^ 01 ^ 0800 is even.
  restart();
  EXPECT_EQ(1u, copies(frame(), "n0").size());
}

TEST_F(Encapsulated, E_0_the_policy_of_the_port_says_nothing) {
  Team own = team();
  own.active = {1};
  own.flags = TEAM_FRP_FLAG_BLOCK_OUTPUT;
  vswitch().teams.push_back(own);
  port(7).team = 1;
  EXPECT_EQ(1u, copies(frame(), "n0").size());
}

TEST_F(Encapsulated, E_0_an_access_uplink_takes_no_tag_away) {
  stack().vlan = 20;
  port(11).vlan = VlanPolicy{};
  access(11, 20);
  EXPECT_EQ(hex("81000014"), part(copy(), 12, 4));
  port(11).vlan = every_vlan();
  port(11).vlan.vlan = 20;
  EXPECT_EQ(hex("81000014"), part(copy_after_restart(), 12, 4)) << "nor does a native VLAN";
}

TEST_F(Encapsulated, E_0_copies_that_fail_without_a_drop) {
  auto const failed = [&] {
    restart();
    std::string const line = send(7, frame());
    EXPECT_EQ(std::string::npos, line.find('+')) << line;
    return std::string(line.find("out:") == std::string::npos ? "" : "drop ") + mirrored();
  };
  stack().vlan = 20;
  access(11, 10);
  port(11).vlan.kind = VlanPolicy::Kind::access;
  EXPECT_EQ("0 1 0 0 1", failed()) << "a VLAN that the uplink does not have";
  port(11).vlan = every_vlan();
  team().flags = TEAM_FRP_FLAG_BLOCK_OUTPUT;
  EXPECT_EQ("0 1 0 0 1", failed());
  team().flags = 0;
  team().active = {};
  EXPECT_EQ("0 1 0 0 1", failed()) << "no uplink is fit";
  team().active = {0};
  team().criteria = 0;
  for (bool const is_up : {false, true}) {
    configuration.nics[0].link_up = is_up;
    port(11).is_blocked = is_up;
    restart();
    send(7, frame());
    EXPECT_EQ("0 1 0 0 1", mirrored());
  }
  port(11).is_blocked = false;
  vswitch().uplinks[0].nic.reset();
  restart();
  send(7, frame());
  EXPECT_EQ("0 1 0 0 1", mirrored()) << "no NIC";
}

TEST_F(Encapsulated, E_0_X_1_the_longest_copy) {
  session().snap_length = 0;
  session().gre_key = 0;
  Packet longest = frame();
  longest.resize(1476);
  EXPECT_EQ(1514u, copies(longest).at(0).size());
  longest.push_back(0);
  EXPECT_TRUE(copies(longest).empty());
  EXPECT_EQ("1 1 1 0 1", mirrored());
  stack().vlan = 20;
  longest.pop_back();
  restart();
  EXPECT_EQ(1518u, copies(longest).at(0).size()) << "a tag does not count";
}

TEST_F(Encapsulated, API_8_the_choice_of_the_uplink_is_explained) {
  std::vector<std::string> const steps = from_port(7, frame(), true).steps;
  ASSERT_LE(3u, steps.size());
  EXPECT_EQ("T-1 n0 | mirror session s: team: chosen by port number 11", steps.end()[-3]);
  EXPECT_EQ("M-10 n0 | mirror session s: a copy, cut", steps.end()[-2]);
  EXPECT_EQ("C-5 n0 deliver | mirror session s: delivered: 82 bytes", steps.end()[-1]);
  vswitch().mtu = 60;
  session().snap_length = 0;
  restart();
  EXPECT_EQ("X-1 7 | mirror session s: the copy fails: too-long", from_port(7, frame(), true).steps.back());
}

}  // namespace encapsulation_test
