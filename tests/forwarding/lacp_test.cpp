// LACP as a pure machine: frames byte for byte, when members are heard, selected, up, and when they send.
#include "platform/forwarding/lacp.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tests/forwarding/bytes.hpp"

namespace lacp_test {

using namespace forwarding;

constexpr std::int64_t ms = 1000;
constexpr std::int64_t second = 1000 * ms;

constexpr MacAddress own_system = 0x027673000001;
constexpr MacAddress nic0 = 0x020000000001;
constexpr MacAddress peer_system = 0x020000ffff01;

// Of an active, fast member: receive machine expired, nothing known of the other end.
constexpr char first_frame[] =
    "0180c2000002 020000000001 88090101"
    "0114 800002767300000100018000000187000000"
    "0214 000000000000000000000000000002000000"
    "0310 0000000000000000000000000000"
    "0000"
    "00000000000000000000000000000000000000000000000000"
    "00000000000000000000000000000000000000000000000000";

LacpEnd peer(std::uint8_t state, std::uint16_t key = 7) {
  return {peer_system, 100, key, 128, 5, state};
}

// A LAG whose members have their links; what they send is kept, with when it was.
class Lag {
 public:
  explicit Lag(std::size_t count = 1) {
    group.settings.is_fast = true;
    group.settings.system = own_system;
    for (std::uint32_t number = 1; number <= count; ++number)
      group.links.push_back({number, nic0 + number - 1, 10000, true, true, true, std::nullopt});
    members.resize(count);
  }
  void start() {
    for (std::size_t i = 0; i < members.size(); ++i)
      at(now).link_up(i);
    send();
  }
  // With a scripted partner at the other end of the first member, up to a time.
  void run_with(LacpScript const &script, std::int64_t until) {
    group.links[0].script = script;
    start();
    run(until);
  }
  Lacp at(std::int64_t time, bool is_tick = false) { return {group, members, {time, is_tick, INT64_MIN}}; }

  // Up to a time all that is due happens, in its order.
  void run(std::int64_t until) {
    for (;;) {
      std::int64_t next = never;
      for (std::size_t i = 0; i < members.size(); ++i) {
        next = std::min({next, members[i].receive_until, members[i].wait_until(),
                         next_lacp_frame(group.settings, group.links[i], members[i], now)});
      }
      if (next > until)
        break;
      bool const is_tick = next > now && next % second == 0;
      now = next;
      for (std::size_t i = 0; i < members.size(); ++i)
        at(now).expire(i);
      for (std::size_t i = 0; i < members.size(); ++i)
        at(now).end_wait(i);
      send(is_tick);
    }
    now = until;
  }
  void send(bool is_tick = false) {
    for (std::size_t i = 0; i < members.size(); ++i) {
      Lacp lacp = at(now, is_tick);
      while (lacp.is_due(i)) {
        if (lacp.send(i)) {
          frames.push_back(members[i].frame);
          char text[64];
          std::snprintf(text, sizeof text, "%s%zu@%lld.%03lld:%02x/%02x", log.empty() ? "" : " ", i,
                        static_cast<long long>(now / second), static_cast<long long>(now % second / ms),
                        unsigned{members[i].frame[32]}, unsigned{members[i].frame[52]});
          log += text;
        }
      }
    }
  }
  // The peer's frame comes in: what it says of itself, and of this end as it was sent last.
  void hear(std::size_t member, LacpEnd const &end, bool knows_us = true) {
    LacpEnd const us = knows_us && !frames.empty() ? members[member].framed.actor : LacpEnd{};
    LacpFrame const frame = lacp_frame(0x020000aaaa01, {end, us});
    at(now).receive(member, frame);
    send();
  }
  std::string sent() {
    std::string all = std::move(log);
    log.clear();
    return all;
  }

  LacpGroup group;
  std::vector<LacpMember> members;
  std::int64_t now = 1000 * second;
  std::vector<LacpFrame> frames;
  std::string log;  // member@seconds:actor state/partner state
};

std::string words(LacpMember const &member) {
  constexpr char const *names[] = {"disabled", "expired", "current", "defaulted"};
  return std::string(names[static_cast<std::size_t>(member.receive)]) + (member.is_selected ? " selected" : "") +
         (member.is_up ? " up" : "");
}

Packet bytes_of(LacpFrame const &frame) {
  return {frame.begin(), frame.end()};
}

TEST(LacpFrames, L_1_L_2_the_first_one_byte_for_byte) {
  Lag lag;
  lag.start();
  ASSERT_EQ(1u, lag.frames.size());
  EXPECT_EQ(hex(first_frame), bytes_of(lag.frames[0]));
  EXPECT_EQ(124u, hex(first_frame).size());
}

TEST(LacpFrames, L_1_are_read_as_they_are_written) {
  LacpPdu const pdu{{peer_system, 1, 2, 3, 4, 0x3f}, {own_system, 32768, 9, 128, 65535, 0xc5}};
  EXPECT_EQ(pdu, read_lacp_frame(lacp_frame(nic0, pdu)));
}

TEST(LacpFrames, L_1_versions_and_types_are_not_looked_at_but_subtype_and_lengths_are) {
  Packet const good = hex(first_frame);
  auto const with = [&](std::size_t at, std::uint8_t value) {
    Packet changed = good;
    changed[at] = value;
    return read_lacp_frame(changed).has_value();
  };
  for (std::size_t const at : {15u, 16u, 36u, 56u, 72u, 73u})
    EXPECT_TRUE(with(at, 0x55)) << at;
  for (std::size_t const at : {14u, 17u, 37u, 57u})
    EXPECT_FALSE(with(at, 0x55)) << at;
  EXPECT_FALSE(with(14, 2));  // a marker
  Packet shorter = good;
  shorter.pop_back();
  EXPECT_FALSE(read_lacp_frame(shorter));
  Packet longer = good;
  longer.push_back(1);
  EXPECT_TRUE(read_lacp_frame(longer));
}

TEST(Lacp, L_10_bad_frames_are_counted_apart) {
  Lag lag;
  lag.start();
  Packet marker = hex(first_frame);
  marker[14] = 2;
  lag.at(lag.now).receive(0, marker);
  EXPECT_EQ(1u, lag.members[0].bad);
  EXPECT_EQ(0u, lag.members[0].received);
  EXPECT_EQ("expired", words(lag.members[0]));
  lag.hear(0, peer(0x07));
  EXPECT_EQ(1u, lag.members[0].received);
}

TEST(Lacp, L_4_from_expired_to_defaulted_and_L_3_how_often_it_sends_there) {
  Lag lag;
  lag.now = 1000 * second + 500 * ms;
  lag.start();
  EXPECT_EQ("0@1000.500:87/02", lag.sent());
  lag.run(1003 * second + 499 * ms);
  EXPECT_EQ("expired", words(lag.members[0]));
  EXPECT_EQ("0@1001.000:87/02 0@1002.000:87/02 0@1003.000:87/02", lag.sent());
  lag.run(1003 * second + 500 * ms);
  EXPECT_EQ("defaulted", words(lag.members[0]));
  EXPECT_EQ("0@1003.500:47/00", lag.sent());
  lag.run(1080 * second);
  EXPECT_EQ("0@1020.000:47/00 0@1050.000:47/00 0@1080.000:47/00", lag.sent());
  EXPECT_FALSE(lag.members[0].has_partner);
}

TEST(Lacp, L_4_what_was_heard_is_good_for_three_or_ninety_seconds) {
  for (bool const is_fast : {true, false}) {
    Lag lag;
    lag.group.settings.is_fast = is_fast;
    lag.start();
    lag.hear(0, peer(0x3d));
    std::int64_t const good_for = (is_fast ? 3 : 90) * second;
    std::int64_t const heard = lag.now;
    lag.run(heard + good_for - 1);
    EXPECT_EQ("current selected up", words(lag.members[0]));
    lag.run(heard + good_for);
    // Of the other end it is still known who it is; it is asked to be heard of soon.
    EXPECT_EQ("expired", words(lag.members[0]));
    EXPECT_EQ(0x37, lag.members[0].partner.state);
    EXPECT_EQ(peer_system, lag.members[0].partner.system);
    lag.run(heard + good_for + 3 * second - 1);
    EXPECT_EQ("expired", words(lag.members[0]));
    lag.run(heard + good_for + 3 * second);
    EXPECT_EQ("defaulted", words(lag.members[0]));
    EXPECT_EQ(LacpEnd{}, lag.members[0].partner);
  }
}

TEST(Lacp, L_6_synchronization_comes_two_seconds_after_selection) {
  Lag lag;
  lag.start();
  static_cast<void>(lag.sent());
  lag.now += 100 * ms;
  lag.hear(0, peer(0x05));  // not in sync yet, and slow
  EXPECT_EQ("0@1000.100:07/05", lag.sent());
  lag.run(1002 * second + 99 * ms);
  EXPECT_EQ("current selected", words(lag.members[0]));
  EXPECT_EQ("", lag.sent());
  lag.hear(0, peer(0x05));
  lag.run(1002 * second + 100 * ms);
  EXPECT_EQ("0@1002.100:0f/05", lag.sent());
  EXPECT_FALSE(lag.members[0].is_up);
  lag.now += 200 * ms;
  lag.hear(0, peer(0x0d));
  EXPECT_EQ("0@1002.300:3f/0d", lag.sent());
  EXPECT_EQ("current selected up", words(lag.members[0]));
}

TEST(Lacp, L_6_all_three_at_once_where_the_partner_is_in_sync_already) {
  Lag lag;
  lag.start();
  lag.hear(0, peer(0x0d));
  static_cast<void>(lag.sent());
  lag.run(1002 * second);
  EXPECT_EQ("0@1002.000:3f/0d", lag.sent());
  EXPECT_EQ(1u, lag.members[0].changes);
  // Down at once when the other end is not in sync any more, and up at once when it is again.
  lag.now += 100 * ms;
  lag.hear(0, peer(0x05));
  EXPECT_EQ("0@1002.100:0f/05", lag.sent());
  EXPECT_EQ("current selected", words(lag.members[0]));
  lag.now += 100 * ms;
  lag.hear(0, peer(0x0d));
  EXPECT_EQ("0@1002.200:3f/0d", lag.sent());
  EXPECT_EQ(3u, lag.members[0].changes);
  // What ends selection ends all.
  lag.run(1003 * second);
  lag.hear(0, peer(0x09));
  EXPECT_EQ("0@1003.000:07/09", lag.sent());
  EXPECT_EQ("current", words(lag.members[0]));
}

TEST(Lacp, L_6_a_link_that_goes_down_takes_all_with_it) {
  Lag lag;
  lag.start();
  lag.hear(0, peer(0x3d));
  lag.run(1002 * second);
  ASSERT_TRUE(lag.members[0].is_up);
  static_cast<void>(lag.sent());
  lag.group.links[0].is_up = lag.group.links[0].passes = false;
  lag.at(lag.now).link_down(0);
  EXPECT_EQ("disabled", words(lag.members[0]));
  EXPECT_EQ(0x07, lag.members[0].actor_state);
  EXPECT_EQ(LacpEnd{}, lag.members[0].partner);
  lag.run(1100 * second);
  EXPECT_EQ("", lag.sent());
  lag.group.links[0].is_up = lag.group.links[0].passes = true;
  lag.at(lag.now).link_up(0);
  lag.send();
  EXPECT_EQ("0@1100.000:87/02", lag.sent());
}

TEST(Lacp, L_3_at_most_three_in_a_second) {
  Lag lag;
  lag.now = 1000 * second + 100 * ms;
  lag.start();
  static_cast<void>(lag.sent());
  for (int i = 0; i < 5; ++i) {
    lag.now += 10 * ms;
    lag.hear(0, peer(i % 2 ? 0x05 : 0x45), false);
  }
  EXPECT_EQ("0@1000.110:07/45 0@1000.120:07/05", lag.sent());
  // The others become one.
  lag.run(1001 * second);
  EXPECT_EQ("0@1001.000:07/45", lag.sent());
  lag.run(1001 * second + 999 * ms);
  EXPECT_EQ("", lag.sent());
}

TEST(Lacp, L_3_one_that_is_due_both_ways_goes_once) {
  Lag lag;
  lag.start();
  lag.hear(0, peer(0x0f));  // it wants to hear each second
  static_cast<void>(lag.sent());
  lag.run(1002 * second);
  EXPECT_EQ("0@1001.000:07/0f 0@1002.000:3f/0f", lag.sent());
}

TEST(Lacp, L_3_answers_where_the_other_end_sees_it_wrongly) {
  Lag lag;
  lag.start();
  lag.hear(0, peer(0x05));
  static_cast<void>(lag.sent());
  lag.now += 100 * ms;
  lag.hear(0, peer(0x05));
  EXPECT_EQ("", lag.sent());
  lag.hear(0, peer(0x05), false);
  EXPECT_EQ("0@1000.100:07/05", lag.sent());
}

TEST(Lacp, L_3_a_passive_one_is_silent_while_the_partner_is_not_active) {
  Lag lag;
  lag.group.settings.is_active = false;
  lag.start();
  lag.run(1010 * second);
  EXPECT_EQ("", lag.sent());
  lag.hear(0, peer(0x04), false);
  EXPECT_EQ("", lag.sent());
  EXPECT_EQ("current selected", words(lag.members[0]));
  lag.now += 100 * ms;
  lag.hear(0, peer(0x05), false);
  EXPECT_EQ("0@1010.100:06/05", lag.sent());
}

TEST(Lacp, L_5_members_are_like_the_first_that_can_be) {
  Lag lag(5);
  lag.group.links[1].is_full_duplex = false;
  lag.group.links[3].speed = 1000;
  lag.start();
  lag.hear(0, peer(0x09));     // does not aggregate
  lag.hear(1, peer(0x0d));     // half duplex
  lag.hear(2, peer(0x0d, 8));  // the first that can be
  lag.hear(3, peer(0x0d, 8));  // at another speed
  lag.hear(4, peer(0x0d, 8));
  std::string selected;
  for (LacpMember const &member : lag.members)
    selected += member.is_selected ? '1' : '0';
  EXPECT_EQ("00101", selected);
  // Each part of what is known of the other end counts.
  for (LacpEnd const &other : {LacpEnd{peer_system + 1, 100, 8, 1, 1, 0x0d}, LacpEnd{peer_system, 101, 8, 1, 1, 0x0d},
                               LacpEnd{peer_system, 100, 9, 1, 1, 0x0d}}) {
    lag.hear(4, other);
    EXPECT_FALSE(lag.members[4].is_selected);
  }
  lag.hear(4, {peer_system, 100, 8, 9, 9, 0x0d});
  EXPECT_TRUE(lag.members[4].is_selected);
  // Who hears itself is at no other switch.
  lag.hear(2, {own_system, 100, 8, 1, 1, 0x0d});
  EXPECT_FALSE(lag.members[2].is_selected);
  EXPECT_TRUE(lag.members[3].is_selected);
  EXPECT_FALSE(lag.members[4].is_selected);
}

TEST(Lacp, L_7_the_lowest_port_numbers_win) {
  Lag lag(3);
  lag.group.settings.max_active = 2;
  lag.group.links[0].port_number = 30;
  lag.start();
  for (std::size_t i = 0; i < 3; ++i)
    lag.hear(i, peer(0x3d));
  lag.run(1002 * second);
  EXPECT_EQ("current", words(lag.members[0]));
  EXPECT_EQ("current selected up", words(lag.members[1]));
  EXPECT_EQ("current selected up", words(lag.members[2]));
  // One that fails makes room, for which there is the same wait.
  lag.group.links[2].is_up = lag.group.links[2].passes = false;
  lag.at(lag.now).link_down(2);
  lag.hear(0, peer(0x3d));
  lag.hear(1, peer(0x3d));
  lag.run(1004 * second - 1);
  EXPECT_EQ("current selected", words(lag.members[0]));
  lag.run(1004 * second);
  EXPECT_EQ("current selected up", words(lag.members[0]));
}

TEST(Lacp, L_9_the_first_with_link_where_nobody_is_heard) {
  Lag lag(3);
  lag.group.settings.has_fallback = true;
  lag.group.links[0].is_up = lag.group.links[0].passes = false;
  lag.at(lag.now).link_up(1);
  lag.at(lag.now).link_up(2);
  EXPECT_EQ("expired up", words(lag.members[1]));
  EXPECT_EQ("expired", words(lag.members[2]));
  EXPECT_EQ(0x87, lag.members[1].actor_state);
  lag.hear(2, peer(0x3d));
  EXPECT_EQ("expired", words(lag.members[1]));
  lag.run(1003 * second);
  EXPECT_EQ("defaulted up", words(lag.members[1]));
  EXPECT_EQ("expired", words(lag.members[2]));
}

// ---- the scripted partner -------------------------------------------------------------------------------------------

TEST(LacpScript, L_12_both_ends_are_up_after_two_seconds) {
  Lag lag;
  lag.group.links[0].script = LacpScript{.system = peer_system, .key = 7};
  lag.start();
  // The partner does not know that it is known before the second one.
  EXPECT_EQ("0@1000.000:87/02 0@1000.000:07/05", lag.sent());
  EXPECT_EQ("current selected", words(lag.members[0]));
  EXPECT_EQ(0x0d, lag.members[0].partner.state);
  lag.run(1002 * second - 1);
  EXPECT_EQ("current selected", words(lag.members[0]));
  EXPECT_EQ("", lag.sent());
  lag.run(1002 * second);
  EXPECT_EQ("0@1002.000:3f/0d", lag.sent());
  EXPECT_EQ("current selected up", words(lag.members[0]));
  EXPECT_EQ(0x3d, lag.members[0].partner.state);
  // It is asked for one in each second, and asks for one in thirty.
  lag.run(1100 * second);
  EXPECT_EQ("current selected up", words(lag.members[0]));
  EXPECT_EQ("0@1020.000:3f/3d 0@1050.000:3f/3d 0@1080.000:3f/3d", lag.sent());
  EXPECT_EQ(1u, lag.members[0].changes);
  EXPECT_EQ(2u + 100u, lag.members[0].received);
}

TEST(LacpScript, L_12_fast_ones_hear_each_other_each_second) {
  Lag lag;
  lag.run_with({.system = peer_system, .is_fast = true}, 1010 * second);
  EXPECT_EQ(2u + 10u, lag.members[0].sent);
  EXPECT_EQ("current selected up", words(lag.members[0]));
}

TEST(LacpScript, L_12_one_that_is_off_or_does_not_aggregate_brings_nothing_up) {
  Lag lag;
  lag.run_with({.system = peer_system, .is_on = false}, 1010 * second);
  EXPECT_EQ("defaulted", words(lag.members[0]));
  EXPECT_EQ(0u, lag.members[0].received);

  Lag other;
  other.run_with({.system = peer_system, .is_aggregatable = false}, 1010 * second);
  EXPECT_EQ("current", words(other.members[0]));
  EXPECT_EQ(0x01, other.members[0].partner.state);
}

TEST(LacpScript, L_12_L_3_two_passive_ends_are_silent_and_one_active_is_enough) {
  Lag lag;
  lag.group.settings.is_active = false;
  lag.run_with({.system = peer_system, .is_active = false}, 1100 * second);
  EXPECT_EQ("", lag.sent());
  EXPECT_EQ("defaulted", words(lag.members[0]));

  Lag active_partner;
  active_partner.group.settings.is_active = false;
  active_partner.run_with({.system = peer_system}, 1002 * second);
  EXPECT_EQ("current selected up", words(active_partner.members[0]));

  Lag active;
  active.run_with({.system = peer_system, .is_active = false}, 1002 * second);
  EXPECT_EQ("current selected up", words(active.members[0]));
  EXPECT_EQ(0x3c, active.members[0].partner.state);
}

TEST(LacpScript, L_12_goes_on_while_nobody_looks_and_its_frames_do_not_count) {
  Lag lag;
  lag.run_with({.system = peer_system, .is_fast = true}, 1002 * second);
  std::uint64_t const received = lag.members[0].received;
  std::int64_t const gap_until = 5000 * second + 1;
  Lacp then{lag.group, lag.members, {lag.members[0].receive_until, false, gap_until}};
  then.expire(0);
  EXPECT_EQ("current selected up", words(lag.members[0]));
  EXPECT_EQ(5003 * second, lag.members[0].receive_until);
  EXPECT_EQ(received, lag.members[0].received);
}

TEST(LacpScript, L_12_what_nobody_sees_waits_for_somebody_to_hear_it) {
  Lag lag;
  lag.start();
  static_cast<void>(lag.sent());
  std::int64_t const gap_until = 2000 * second;
  Lacp expired{lag.group, lag.members, {1003 * second, false, gap_until}};
  expired.expire(0);
  EXPECT_TRUE(expired.is_due(0));
  EXPECT_FALSE(expired.send(0));
  EXPECT_EQ(gap_until + 1, next_lacp_frame(lag.group.settings, lag.group.links[0], lag.members[0], gap_until));
}

}  // namespace lacp_test
