// Beacons: byte for byte, who is judged to have failed by them, and what teams do about it.
#include "platform/forwarding/beacons.hpp"

#include <gtest/gtest.h>

#include "platform/forwarding/team_events.hpp"
#include "tests/forwarding/world.hpp"

namespace beacons_test {

using namespace forwarding;
using namespace constant;

constexpr char vector[] =
    "ffffffffffff 020000000001 8922 56534231 6553f100 6964"
    "00000000000000000000000000000000000000000000000000000000000000"
    "00000000000000000000000000000000000000000000000000000000000000"
    "00000001";

SwitchIdentifier identifier(char const *text) {
  SwitchIdentifier bytes{};
  std::copy_n(text, std::char_traits<char>::length(text), bytes.begin());
  return bytes;
}

Packet beacon(std::uint32_t port, char const *of = "id") {
  BeaconFrame const frame = beacon_frame(outside(port), 1000 * second, identifier(of), port);
  return {frame.begin(), frame.end()};
}

// Uplinks 11 to 15 with NICs n0 to n4, which send beacons; NICs are of segments by name.
class BeaconTest : public World {
 protected:
  BeaconTest() {
    vswitch().identifier = identifier("id");
    for (std::uint32_t number : {13, 14, 15})
      add_uplink(number);
    for (std::size_t i = 0; i < configuration.nics.size(); ++i)
      configuration.nics[i].mac = outside(static_cast<std::uint32_t>(i));
    team().criteria |= TEAM_FRP_CRIT_BEACON_STATE;
    // The order of its uplinks is not that of their ports.
    team().active = {2, 0, 1};
    team().standby = {4, 3};
  }
  void segments(std::vector<std::uint32_t> const &numbers) {
    for (std::size_t i = 0; i < numbers.size(); ++i)
      configuration.nics[i].segment = numbers[i];
  }
  // A full second: the beacons that were sent, and what is judged.
  std::string tick(std::int64_t seconds = 1) {
    if (!tables)
      restart();
    now += seconds * second;
    Outcomes outcomes(*tables);
    Moment const moment{*tables, *traffic, outcomes, 0, now};
    if (beacon_period(*tables, 0) == 0)
      return "none";
    send_beacons(moment);
    judge_beacons(moment);
    last = outcomes.deliveries;
    BeaconJudgement const judged = traffic->beacons(*tables, 0);
    std::string line = outcomes.line + (judged.is_undecided ? " undecided" : "");
    for (std::uint32_t uplink = 0; uplink < 5; ++uplink) {
      if (judged.failed & only(static_cast<UplinkPosition>(uplink)))
        line += " -n" + std::to_string(uplink);
    }
    return line;
  }
};

TEST(BeaconFrames, BC_1_byte_for_byte) {
  BeaconFrame const frame = beacon_frame(0x020000000001, 1700000000 * second, identifier("id"), 1);
  EXPECT_EQ(hex(vector), Packet(frame.begin(), frame.end()));
  EXPECT_EQ(90u, hex(vector).size());
  EXPECT_EQ(1u, beacon_sender(read_header(frame), identifier("id")));
  EXPECT_EQ(std::nullopt, beacon_sender(read_header(frame), identifier("other")));
  EXPECT_EQ(std::nullopt, beacon_sender(read_header(Bytes(frame).first(89)), identifier("id")));
}

TEST_F(BeaconTest, BC_1_each_member_sends_by_port_number) {
  port(15).is_blocked = true;
  configuration.nics[3].link_up = false;
  EXPECT_EQ("n0 n1 n2 -n4", tick());
  EXPECT_EQ(DeliveryKind::made, last[0].kind);
  EXPECT_EQ(outside(1), read_header(last[1].bytes).source);
  EXPECT_EQ(90u, counters(12).out.broadcast_bytes);
  EXPECT_EQ(1u, counters(12).out.exceptions);
}

TEST_F(BeaconTest, BC_1_with_fewer_than_two_nobody_sends_or_fails) {
  for (std::size_t i : {0, 1, 2, 3})
    configuration.nics[i].link_up = false;
  EXPECT_EQ("none", tick());
  configuration.nics[0].link_up = true;
  restart();
  EXPECT_EQ("n0 n4", tick());
  team().criteria = TEAM_FRP_CRIT_LINK_STATE;
  restart();
  EXPECT_EQ("none", tick());
}

TEST_F(BeaconTest, BC_1_those_of_the_switch_are_consumed_others_are_data) {
  EXPECT_EQ("consumed", receive(0, beacon(12)));
  EXPECT_EQ("1 2 3", receive(2, beacon(12, "other")));
  EXPECT_EQ("1 2 3", receive(2, tagged(beacon(12), 0)));
  // At any of its uplinks, whoever sends.
  EXPECT_EQ("consumed", receive(4, beacon(4711)));
}

TEST_F(BeaconTest, BC_2_within_a_segment_members_hear_at_once) {
  segments({0, 0, 0, 0, 0});
  EXPECT_EQ("n0 n1 n2 n3 n4", tick());
  segments({0, 1, 0, 0, 1});
  restart();
  EXPECT_EQ("n0 n1 n2 n3 n4 -n1 -n4", tick());
}

TEST_F(BeaconTest, BC_2_BC_3_others_hear_what_comes_in_for_three_seconds) {
  segments({0, 1, 2, 3, 4});
  EXPECT_EQ("n0 n1 n2 n3 n4 undecided", tick());
  receive(0, beacon(12));
  EXPECT_EQ("n0 n1 n2 n3 n4 undecided", tick());  // in one direction only
  receive(1, beacon(11));
  EXPECT_EQ("n0 n1 n2 n3 n4 -n2 -n3 -n4", tick());
  // What n0 heard came in 2 seconds ago, and is too old one later.
  EXPECT_EQ("n0 n1 n2 n3 n4 undecided", tick());
}

TEST_F(BeaconTest, BC_3_what_is_connected_in_several_steps_is_one_group) {
  segments({0, 1, 2, 3, 4});
  tick();
  for (std::uint32_t i = 0; i + 1 < 4; ++i) {
    receive(i, beacon(12 + i));
    receive(i + 1, beacon(11 + i));
  }
  EXPECT_EQ("n0 n1 n2 n3 n4 -n4", tick());
}

TEST_F(BeaconTest, BC_3_a_link_that_has_just_come_up_is_not_judged) {
  segments({0, 0, 0, 1, 1});
  configuration.nics[4].link_back = now + second;
  EXPECT_EQ("n0 n1 n2 n3 n4 -n3", tick());
  EXPECT_EQ("n0 n1 n2 n3 n4 -n3", tick());
  EXPECT_EQ("n0 n1 n2 n3 n4 -n3", tick());
  EXPECT_EQ("n0 n1 n2 n3 n4 -n3 -n4", tick());
}

TEST_F(BeaconTest, BC_4_no_group_larger_than_every_other_is_undecided) {
  segments({0, 0, 1, 1, 2});
  EXPECT_EQ("n0 n1 n2 n3 n4 undecided", tick());
  segments({0, 0, 1, 2, 3});
  restart();
  EXPECT_EQ("n0 n1 n2 n3 n4 -n2 -n3 -n4", tick());
}

TEST_F(BeaconTest, BC_4_who_has_failed_is_not_fit) {
  segments({0, 0, 1, 0, 0});
  EXPECT_EQ("n2", send(1, packet(outside(9), address_of(1))));
  tick();
  EXPECT_EQ("n0", send(1, packet(outside(9), address_of(1))));
  // A policy that does not look at beacons goes on as before.
  team().criteria |= TEAM_FRP_CRIT_BEACON_STATE;
  vswitch().teams.push_back(team());
  vswitch().teams[1].criteria = TEAM_FRP_CRIT_LINK_STATE;
  port(2).team = 1;
  restart();
  tick();
  EXPECT_EQ("n0", send(1, packet(outside(9), address_of(1))));
  EXPECT_EQ("n2", send(2, packet(outside(9), address_of(2))));
}

TEST_F(BeaconTest, T_14_shotgun_sends_everywhere_while_undecided) {
  segments({0, 0, 1, 1, 2});
  team().flags |= TEAM_FRP_FLAG_SHOTGUN;
  Packet const sent = packet(outside(9), address_of(1));
  EXPECT_EQ("n2", send(1, sent));  // nothing was judged yet
  tick();
  EXPECT_EQ("2 3 n0 n1 n2", send(1, packet(everybody, address_of(1))));
  Outcomes const explained = from_port(1, sent, true);
  EXPECT_TRUE(std::any_of(explained.steps.begin(), explained.steps.end(),
                          [](std::string const &step) { return step.starts_with("T-14 n0"); }));
  configuration.options.ignores_shotgun = true;
  restart();
  tick();
  EXPECT_EQ("n2", send(1, sent));
  configuration.options.ignores_shotgun = false;
  segments({0, 0, 0, 1, 1});
  restart();
  tick();
  EXPECT_EQ("n2", send(1, sent));
  // A port that is tied to an uplink has no policy.
  segments({0, 0, 1, 1, 2});
  port(1).tied = 1;
  restart();
  tick();
  EXPECT_EQ("n1", send(1, sent));
}

TEST_F(BeaconTest, T_14_members_that_lacp_has_not_up_stay_out) {
  segments({0, 0, 1, 1, 2});
  team().flags |= TEAM_FRP_FLAG_SHOTGUN;
  vswitch().lags.push_back({LagHash::l2, {{0, true}, {1, false}}});
  tick();
  EXPECT_EQ("n0 n2", send(1, packet(outside(9), address_of(1))));
}

TEST_F(BeaconTest, T_20_while_undecided_frames_may_come_from_all_that_are_fit) {
  segments({0, 0, 1, 1, 2});
  tick();
  for (std::uint32_t const nic : {0, 1, 2})
    EXPECT_EQ("1 2 3", receive(nic, packet(everybody, outside(7)))) << nic;
  EXPECT_EQ("in:n3:reverse-path", receive(3, packet(everybody, outside(7))));
  segments({0, 0, 0, 0, 1});
  restart();
  tick();
  EXPECT_EQ("in:n0:reverse-path", receive(0, packet(everybody, outside(7))));
  EXPECT_EQ("1 2 3", receive(2, packet(everybody, outside(7))));
}

// ---- balancing by load ----------------------------------------------------------------------------------------------

class LoadTest : public World {
 protected:
  LoadTest() {
    team().load_balance = TEAM_FRP_TYPE_LB_LBT;
    for (NicConfiguration &nic : configuration.nics)
      nic.speed = 1;  // 3,750,000 bytes in 30 s
    vswitch().mtu = 9000;
  }
  void send_bytes(std::uint32_t from, unsigned frames) {
    Packet sent = packet(outside(9), address_of(from));
    sent.resize(9000);
    for (unsigned i = 0; i < frames; ++i)
      ASSERT_FALSE(send(from, sent).empty());
  }
  void look() {
    Outcomes outcomes(*tables);
    balance_loads({*tables, *traffic, outcomes, 0, now});
  }
  std::string carried_by() {
    std::string all;
    for (std::uint32_t const number : {1, 2, 3})
      all += send(number, packet(outside(9), address_of(number))) + " ";
    return all;
  }
};

TEST_F(LoadTest, T_7_one_port_a_switch_moves_every_thirty_seconds) {
  EXPECT_EQ("n1 n0 n1 ", carried_by());
  EXPECT_EQ(30 * second, load_balance_period(*tables, 0));
  send_bytes(1, 200);
  send_bytes(3, 150);
  look();
  EXPECT_EQ("n0 n0 n1 ", carried_by());
  // The next interval begins with nothing.
  look();
  EXPECT_EQ("n0 n0 n1 ", carried_by());
}

TEST_F(LoadTest, T_7_a_change_of_what_is_fit_forgets_the_moves) {
  send_bytes(1, 200);
  send_bytes(3, 150);
  look();
  EXPECT_EQ("n0 n0 n1 ", carried_by());
  configuration.nics[1].link_back = now;
  std::optional<MovedPort> const moved = traffic->load(index(1)).moved;
  auto const again = [&] {
    restart();
    traffic->change_load(index(1)).moved = moved;
  };
  again();
  EXPECT_EQ("n0 n0 n0 ", carried_by());
  now += second;
  EXPECT_EQ("n1 n0 n1 ", carried_by());
  // Nor does it outlive another policy.
  configuration.nics[1].link_back.reset();
  again();
  EXPECT_EQ("n0 n0 n1 ", carried_by());
  team().flags |= TEAM_FRP_FLAG_NOTIFY_SWITCH;
  again();
  EXPECT_EQ("n1 n0 n1 ", carried_by());
}

}  // namespace beacons_test
