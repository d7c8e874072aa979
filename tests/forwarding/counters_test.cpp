// Counters, the order of results, and explanations.
#include "tests/forwarding/world.hpp"

namespace counters_test {

using namespace forwarding;

class Counters : public World {
 protected:
  // Everything that a direction of a port has counted, as one line.
  static std::string line(DirectionCounters const &counters) {
    std::string text;
    auto const add = [&](char const *name, std::uint64_t packets, std::uint64_t bytes) {
      if (packets || bytes)
        text +=
            std::string(text.empty() ? "" : " ") + name + ":" + std::to_string(packets) + "/" + std::to_string(bytes);
    };
    add("u", counters.unicast, counters.unicast_bytes);
    add("m", counters.multicast, counters.multicast_bytes);
    add("b", counters.broadcast, counters.broadcast_bytes);
    if (counters.dropped)
      text += " d:" + std::to_string(counters.dropped);
    if (counters.exceptions)
      text += " e:" + std::to_string(counters.exceptions);
    return text;
  }
  std::string in(std::uint32_t number) { return line(counters(number).in); }
  std::string out(std::uint32_t number) { return line(counters(number).out); }
};

TEST_F(Counters, C_1_broadcast_is_not_multicast) {
  send(1, packet(everybody, address_of(1)));
  send(1, packet(a_group, address_of(1)));
  send(1, packet(address_of(2), address_of(1)));
  EXPECT_EQ("u:1/60 m:1/60 b:1/60", in(1));
  EXPECT_EQ("u:1/60 b:1/60", out(2));
  EXPECT_EQ("m:1/60 b:1/60", out(11));
}

TEST_F(Counters, C_2_what_has_entered_is_counted_whatever_becomes_of_it) {
  send(1, zeros(13));
  EXPECT_EQ(" d:1", in(1)) << "a runt is no packet";
  send(1, packet(everybody, everybody));
  EXPECT_EQ("b:1/60 d:2", in(1));
  Packet cut = tagged(packet(everybody, address_of(1)), 5);
  cut.resize(15);
  send(1, cut);
  EXPECT_EQ("b:2/75 d:3", in(1));
  port(1).is_blocked = true;
  restart();
  send(1, packet(everybody, address_of(1)));
  EXPECT_EQ(" d:1", in(1)) << "it has not entered";
  receive(0, packet(0x0180c2000002, outside(1), 0x8809));
  EXPECT_EQ("m:1/60 e:1", in(11)) << "consumed: an exception";
}

TEST_F(Counters, C_2_exceptions_without_the_fast_path) {
  configuration.options.fast_path = false;
  send(1, packet(everybody, address_of(1)));
  send(1, zeros(13));
  EXPECT_EQ("b:1/60 d:1 e:1", in(1));
  EXPECT_EQ("b:1/60 e:1", out(2));
  receive(0, packet(0x0180c2000002, outside(1), 0x8809));
  EXPECT_EQ("m:1/60 e:1", in(11)) << "once a frame";
}

TEST_F(Counters, C_3_bytes_with_the_tags_of_that_port) {
  access(1, 10);
  access(2, 10);
  trunk(3, 0);
  send(1, packet(everybody, address_of(1)));
  EXPECT_EQ("b:1/60", in(1));
  EXPECT_EQ("b:1/60", out(2));
  EXPECT_EQ("b:1/64", out(3));
  EXPECT_EQ("b:1/64", out(11));
  send(3, tagged(packet(everybody, address_of(3)), 10));
  EXPECT_EQ("b:1/64", in(3));
  EXPECT_EQ("b:1/60", out(1));
}

TEST_F(Counters, C_4_counters_wrap) {
  restart();
  traffic->count(index(1)).in.unicast = UINT64_MAX;
  traffic->count(index(1)).in.unicast_bytes = UINT64_MAX - 9;
  send(1, packet(address_of(2), address_of(1)));
  EXPECT_EQ(0u, counters(1).in.unicast);
  EXPECT_EQ(50u, counters(1).in.unicast_bytes);
}

TEST_F(Counters, C_5_deliveries_of_every_kind_at_the_destination) {
  port(3).client->is_promiscuous = true;
  send(1, packet(address_of(2), address_of(1)));
  EXPECT_EQ("u:1/60", out(2));
  EXPECT_EQ("u:1/60", out(3));
  EXPECT_EQ("", out(1));
}

TEST_F(Counters, C_5_drops_on_the_way_out) {
  port(2).is_blocked = true;
  send(1, packet(address_of(2), address_of(1)));
  EXPECT_EQ(" d:1", out(2));
  EXPECT_EQ("u:1/60", in(1)) << "no drop on the way in";
}

// The ports that were counted in, and the unicast packets that had come in there before.
std::map<PortIndex, std::uint64_t> changed(Traffic &traffic) {
  std::map<PortIndex, std::uint64_t> ports;
  for (ChangedPort const &port : traffic.take_changed_ports())
    ports[port.port] = port.before.in.unicast;
  return ports;
}

TEST_F(Counters, C_2_what_was_counted_in_is_told) {
  send(1, packet(address_of(2), address_of(1)));
  send(1, packet(address_of(2), address_of(1)));
  EXPECT_EQ((std::map<PortIndex, std::uint64_t>{{index(1), 0}, {index(2), 0}}), changed(*traffic));
  EXPECT_TRUE(traffic->take_changed_ports().empty());
  send(1, packet(address_of(2), address_of(1)));
  EXPECT_EQ((std::map<PortIndex, std::uint64_t>{{index(1), 2}, {index(2), 0}}), changed(*traffic));
  EXPECT_TRUE(traffic->take_changed_switches().empty());
  port(3).client->is_promiscuous = true;
  restart();
  send(1, packet(address_of(2), address_of(1)));
  EXPECT_EQ((std::map<PortIndex, std::uint64_t>{{index(1), 0}, {index(2), 0}, {index(3), 0}}), changed(*traffic));
  EXPECT_EQ((std::vector<std::uint32_t>{0}), traffic->take_changed_switches());
}

TEST_F(Counters, API_7_by_port_number) {
  configuration = {};
  configuration.switches.emplace_back();
  team().load_balance = constant::TEAM_FRP_TYPE_FO_EXPLICIT;
  add_client(9);
  add_uplink(5);
  add_client(2);
  add_client(7);
  add_client(6).client->is_promiscuous = true;
  EXPECT_EQ("2 n0 6 7", send(9, packet(everybody, address_of(9))));
  EXPECT_EQ("2 n0 6*", (port(9).sends_to_uplink_too = true, restart(), send(9, packet(address_of(2), address_of(9)))));
  port(7).is_blocked = true;
  configuration.nics[0].link_up = false;
  restart();
  EXPECT_EQ("out:n0:link-down 6* out:7:port-blocked", send(9, packet(address_of(7), address_of(9))));
}

TEST_F(Counters, API_7_deliveries_of_a_form_have_the_same_bytes) {
  access(1, 10);
  trunk(2, 0);
  trunk(3, 0);
  Outcomes const outcomes = from_port(1, packet(everybody, address_of(1)));
  for (Outcomes::Delivered const &delivered : outcomes.deliveries) {
    EXPECT_EQ(Form::tagged, delivered.form);
    EXPECT_EQ(tagged(packet(everybody, address_of(1)), 10), delivered.bytes);
  }
}

using Steps = std::vector<std::string>;

// The part of each step before its text.
Steps heads(Outcomes const &outcomes) {
  Steps heads;
  for (std::string const &step : outcomes.steps)
    heads.push_back(step.substr(0, step.find(" |")));
  return heads;
}

TEST_F(Counters, API_8_the_steps_of_a_delivered_frame) {
  trunk(1, 0);
  learning(1).learns = true;
  Outcomes const outcomes = from_port(1, tagged(packet(outside(1), outside(2)), 10), true);
  EXPECT_EQ("n0", outcomes.line);
  EXPECT_EQ((Steps{"P-6 1", "P-7 1", "S-2 1", "V-3 1", "MAC-10 1", "T-4 1", "MAC-1 1", "MAC-5 1", "MAC-5 1", "T-1 n0",
                   "T-3 1", "C-5 n0 deliver"}),
            heads(outcomes));
  EXPECT_EQ("V-3 1 | 4 VLAN: a trunk takes tagged frames of the VLANs that it has (VLAN 10)", outcomes.steps[3]);
  EXPECT_EQ("C-5 n0 deliver | delivered: 64 bytes", outcomes.steps.back());
}

TEST_F(Counters, API_8_a_drop_begins_with_its_reason) {
  Outcomes const in = from_port(1, tagged(packet(everybody, address_of(1)), 10), true);
  EXPECT_EQ("V-2 1 drop | vlan-tagged: an access port takes untagged frames, into its VLAN", in.steps.back());
  EXPECT_EQ(4u, in.steps.size());
  port(2).is_blocked = true;
  restart();
  Outcomes const out = from_port(1, packet(address_of(2), address_of(1)), true);
  EXPECT_EQ("X-4 2 drop | port-blocked: nothing passes a port that is blocked", out.steps.back());
  trunk(1, 0);
  port(1).vlan.allows_nested = true;
  restart();
  Outcomes const nested = from_port(1, tagged(tagged(packet(everybody, address_of(1)), 1), 0), true);
  EXPECT_TRUE(nested.steps.back().starts_with("V-15 1 drop | nested-tag: "));
}

TEST_F(Counters, API_8_receivers_that_were_refused) {
  access(2, 10);
  Outcomes const outcomes = from_port(1, packet(a_group, address_of(1)), true);
  Steps const all = heads(outcomes);
  EXPECT_NE(all.end(), std::find(all.begin(), all.end(), "V-5 2"));
  EXPECT_NE(all.end(), std::find(all.begin(), all.end(), "IG-20 3"));
}

TEST_F(Counters, API_8_the_port_that_was_addressed_and_refused) {
  port(2).is_blocked = true;
  Steps const all = heads(from_port(1, packet(address_of(2), address_of(1)), true));
  auto const refused = std::find(all.begin(), all.end(), "X-5 2");
  ASSERT_NE(all.end(), refused);
  EXPECT_NE(all.end(), std::find(refused, all.end(), "X-4 2 drop"));
}

TEST_F(Counters, API_8_consumed) {
  Outcomes const outcomes = from_nic(0, packet(0x0180c2000002, outside(1), 0x8809), true);
  EXPECT_EQ("L-1 n0 consume", heads(outcomes).back());
}

TEST_F(Counters, API_8_steps_change_nothing) {
  Outcomes const silent = from_port(1, packet(everybody, address_of(1)));
  EXPECT_EQ(silent.line, from_port(1, packet(everybody, address_of(1)), true).line);
  EXPECT_TRUE(silent.steps.empty());
}

}  // namespace counters_test
