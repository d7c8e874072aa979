// Announcements: which clients a round has, what is sent where, and when.
#include "platform/forwarding/announcements.hpp"

#include "platform/forwarding/made_frames.hpp"
#include "tests/forwarding/group_packets.hpp"

namespace announcements_test {

using namespace forwarding;

// Ports 1 to 3 are clients whose policy chooses the first uplink that is fit: n0 at port 11, then n1 at port 12.
class Announcements : public World {
 protected:
  Announcements() { team().flags = constant::TEAM_FRP_FLAG_NOTIFY_SWITCH; }

  Moment moment(Outcomes &outcomes) { return {*tables, *traffic, outcomes, 0, now}; }

  // The round for all clients, if there is one; then each step of it as "time: where".
  std::string round(UplinkPosition changed = 0) {
    if (!tables)
      restart();
    Outcomes outcomes(*tables);
    announce_all(moment(outcomes), changed);
    return steps();
  }
  std::string steps() {
    std::string line;
    std::int64_t const begin = now;
    for (int i = 0; i < 100; ++i) {
      std::int64_t const due = traffic->timers(0).next(EventKind::announcement);
      if (due == never)
        return line;
      now = due;
      Outcomes outcomes(*tables);
      go_on_with_round(moment(outcomes));
      sent.insert(sent.end(), outcomes.deliveries.begin(), outcomes.deliveries.end());
      line += (line.empty() ? "" : ", ") + std::to_string((now - begin) / 1000) + ": " + outcomes.line;
    }
    return line + " ...";
  }

  // By the last byte of the source.
  std::string sources() {
    std::string line;
    for (Outcomes::Delivered const &delivered : sent)
      line += (line.empty() ? "" : " ") + std::to_string(delivered.bytes[11]) + "@" + delivered.place;
    sent.clear();
    return line;
  }

  std::vector<Outcomes::Delivered> sent;
};

constexpr char untagged_of_1[] =
    "ffffffffffff 020000000101 80350001080006040003 020000000101 00000000 020000000101 00000000"
    "000000000000000000000000000000000000";
constexpr char tagged_of_10a[] =
    "ffffffffffff 02000000010a 8100000a 80350001080006040003 02000000010a 00000000 02000000010a 00000000"
    "000000000000000000000000000000000000";

TEST_F(Announcements, N_1_N_2_frames_to_the_byte) {
  EXPECT_EQ("0: n0 n0 n0", round());
  EXPECT_EQ(hex(untagged_of_1), sent[0].bytes);
  EXPECT_EQ(60u, sent[0].bytes.size());
  EXPECT_EQ(DeliveryKind::made, sent[0].kind);
  EXPECT_EQ("1@n0 2@n0 3@n0", sources());
  EXPECT_EQ(3u, counters(11).out.broadcast);
  EXPECT_EQ(180u, counters(11).out.broadcast_bytes);
  EXPECT_EQ(3u, counters(11).out.exceptions);

  port(1).client->effective = 0x02000000010a;
  access(1, 10);
  restart();
  round();
  EXPECT_EQ(hex(tagged_of_10a), sent[0].bytes);
  EXPECT_EQ(64u, sent[0].bytes.size());
}

TEST_F(Announcements, N_1_V_11_the_vlan_of_untagged_frames_and_the_form_of_the_uplink) {
  auto const tag_of_1 = [&] {
    sent.clear();
    restart();
    std::string const line = round();
    Packet const bytes = sent.empty() ? Packet{} : sent[0].bytes;
    return bytes.size() == 64 ? "tag " + std::to_string(bytes[14] << 8 | bytes[15]) : line;
  };
  port(2).client.reset();
  port(3).client.reset();
  trunk(1, 20, {{1, 4094}});
  EXPECT_EQ("tag 20", tag_of_1());
  trunk(1, 4095, {{10, 20}});
  EXPECT_EQ("0: n0", tag_of_1()) << "no untagged frames: VLAN 0";
  private_port(1, 101);
  vswitch().private_vlans = {{100, 100, PrivateVlanType::primary}, {100, 101, PrivateVlanType::isolated}};
  EXPECT_EQ("tag 101", tag_of_1()) << "its own, not the primary one";
  access(1, 10);
  port(1).vlan.kind = VlanPolicy::Kind::access;
  trunk(11, 10);
  EXPECT_EQ("0: n0", tag_of_1()) << "native at the uplink";
  trunk(11, 0, {{20, 30}});
  EXPECT_EQ("0: out:n0:vlan-egress", tag_of_1());
  EXPECT_EQ(1u, counters(11).out.dropped);
  port(11).vlan = {};
  port(11).vlan.vlan = 10;
  EXPECT_EQ("0: n0", tag_of_1()) << "an access uplink";
}

TEST_F(Announcements, N_1_when_links_of_the_team_change) {
  EXPECT_EQ("0: n0 n0 n0", round(1));
  team().flags = 0;
  restart();
  EXPECT_EQ("", round()) << "nobody asked for it";
  team().flags = constant::TEAM_FRP_FLAG_NOTIFY_SWITCH;
  team().active = {1};
  restart();
  EXPECT_EQ("", round(0)) << "not of the team";
  EXPECT_EQ("0: n1 n1 n1", round(1));
  EXPECT_EQ(3u, switch_counters().announcements);
}

TEST_F(Announcements, N_2_without_an_uplink_it_is_counted_but_not_sent) {
  configuration.nics[0].link_up = configuration.nics[1].link_up = false;
  EXPECT_EQ("0: ", round());
  EXPECT_EQ(3u, switch_counters().announcements);
  team().flags |= constant::TEAM_FRP_FLAG_BLOCK_OUTPUT;
  restart();
  EXPECT_EQ("0: ", round());
}

TEST_F(Announcements, N_3_ports_of_an_ip_hash_or_behind_a_lag_send_none) {
  vswitch().teams.push_back(team());
  vswitch().teams[1].load_balance = constant::TEAM_FRP_TYPE_LB_IP;
  port(2).team = 1;
  port(3).client->assigned = port(3).client->effective = 0;
  round();
  EXPECT_EQ("1@n0", sources());
  EXPECT_EQ(1u, switch_counters().announcements);
  port(2).tied = UplinkPosition{1};  // has no policy
  restart();
  round();
  EXPECT_EQ("1@n0 2@n1", sources());
  vswitch().lags.push_back({LagHash::l2, {{0, true}}});
  restart();
  round();
  EXPECT_EQ("2@n1", sources());
  EXPECT_EQ(1u, switch_counters().announcements);
}

TEST_F(Announcements, N_4_so_many_in_each_interval) {
  configuration.options.announcements_at_once = 2;
  EXPECT_EQ("0: n0 n0, 100: n0", round());
  EXPECT_EQ("1@n0 2@n0 3@n0", sources());
  EXPECT_EQ(3u, switch_counters().announcements);
  EXPECT_EQ(200u, switch_counters().announcing_time);
  EXPECT_EQ(200u, switch_counters().longest_announcing);
  configuration.options.announcements_at_once = 1;
  restart();
  EXPECT_EQ("0: n0, 100: n0, 200: n0", round());
  round();
  EXPECT_EQ(600u, switch_counters().announcing_time);
  EXPECT_EQ(300u, switch_counters().longest_announcing);
}

TEST_F(Announcements, N_4_a_round_has_an_end) {
  configuration.options.announcements_at_once = 1;
  configuration.options.announcement_duration = 1;
  for (std::uint32_t number = 20; number < 29; ++number)
    add_client(number);
  round();
  EXPECT_EQ("1@n0 2@n0 3@n0 20@n0 21@n0 22@n0 23@n0 24@n0 25@n0 26@n0", sources());
  EXPECT_EQ(10u, switch_counters().announcements);
  EXPECT_EQ(1000u, switch_counters().announcing_time);
}

TEST_F(Announcements, N_4_a_new_round_replaces_the_old_one) {
  configuration.options.announcements_at_once = 1;
  restart();
  Outcomes outcomes(*tables);
  announce_all(moment(outcomes), 0);
  go_on_with_round(moment(outcomes));
  EXPECT_EQ("n0", outcomes.line);
  now += 50000;
  EXPECT_EQ("0: n0, 100: n0, 200: n0", round());
  EXPECT_EQ("1@n0 2@n0 3@n0", sources());
  EXPECT_EQ(6u, switch_counters().announcements) << "counted when it began";
}

TEST_F(Announcements, N_6_memberships_are_reported_behind_the_announcement) {
  configuration.options.reports_to_uplink = true;
  vswitch().snoops_ipv4 = vswitch().snoops_ipv6 = true;
  access(1, 10);
  port(2).client.reset();
  restart();
  traffic->memberships(0).set({parsed_ip("ff0e::1"), index(1)}, {});
  traffic->memberships(0).set({parsed_ip("239.1.1.1"), index(1)}, {});
  traffic->memberships(0).set({parsed_ip("232.5.5.5"), index(3)}, {});
  EXPECT_EQ("0: n0 n0 n0 n0 n0", round());
  EXPECT_EQ(hex("01005e010101 020000000101 8100000a 0800 46c00020 00004000 0102f415 00000000 ef010101 94040000"
                "1600f9fc ef010101 0000000000000000000000000000"),
            sent[1].bytes);
  EXPECT_EQ(64u, sent[1].bytes.size());
  EXPECT_EQ(hex("333300000001 020000000101 8100000a 86dd 60000000 00200001 00000000000000000000000000000000"
                "ff0e0000000000000000000000000001 3a00050200000100 83007e8d00000000 ff0e0000000000000000000000000001"),
            sent[2].bytes);
  EXPECT_EQ("1@n0 1@n0 1@n0 3@n0 3@n0", sources());
  EXPECT_EQ(2u, switch_counters().announcements);
  vswitch().snoops_ipv4 = false;
  restart();
  traffic->memberships(0).set({parsed_ip("239.1.1.1"), index(1)}, {});
  EXPECT_EQ("0: n0 n0", round());
}

// ---- the wait for a link ------------------------------------------------------------------------------------------

TEST_F(Announcements, N_1_T_5_the_end_of_a_wait_announces_whom_it_moves) {
  vswitch().teams.push_back(team());
  vswitch().teams[1].active = {1, 0};
  port(3).team = 1;  // stays at n1
  configuration.nics[0].link_back = now;
  restart();
  traffic->timers(0).set({EventKind::up_delay_end, 11, now + 100000});
  now += 100000 - 1;
  EXPECT_EQ("2 3 n1", send(1, packet(everybody, address_of(1)))) << "still waited for";
  now += 1;
  Outcomes outcomes(*tables);
  end_up_delays(moment(outcomes));
  EXPECT_EQ(never, traffic->timers(0).next(EventKind::up_delay_end));
  EXPECT_EQ("0: n0 n0", steps());
  EXPECT_EQ("1@n0 2@n0", sources());
  EXPECT_EQ(2u, switch_counters().announcements);
}

TEST_F(Announcements, N_1_nobody_moves_back_by_a_policy_that_rolls) {
  team().flags |= constant::TEAM_FRP_FLAG_ROLLING;
  configuration.nics[0].link_back = now;
  configuration.nics[0].recovery = 1;
  restart();
  traffic->timers(0).set({EventKind::up_delay_end, 11, now + 100000});
  now += 100000;
  Outcomes outcomes(*tables);
  end_up_delays(moment(outcomes));
  EXPECT_EQ("", steps());
  EXPECT_EQ(0u, switch_counters().announcements);
}

TEST(Rounds, N_4_in_the_detail_of_a_timer) {
  Round const round{1700000000123456, {1, 70000, 3}};
  EXPECT_EQ(hex("00060a2417fb1040 00000001 00011170 00000003").size(), packed(round).size());
  Round const read = unpacked_round(packed(round));
  EXPECT_EQ(round.begin, read.begin);
  EXPECT_EQ(round.ports, read.ports);
  EXPECT_TRUE(unpacked_round({}).ports.empty());
}

}  // namespace announcements_test
