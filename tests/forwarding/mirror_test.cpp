// Mirror sessions: which frames they select, what their copies look like, where these go, and what is counted.
#include "tests/forwarding/world.hpp"

namespace mirror_test {

using namespace forwarding;
using namespace constant;

// Copies go to port 3, which is in a VLAN of its own and so gets nothing else.
class Mirrored : public World {
 protected:
  Mirrored() {
    access(3, 99);
    vswitch().mirror_sessions.reserve(8);
  }

  static MirrorDestination to_port(std::uint32_t number) { return {MirrorDestination::Kind::port, number}; }
  static MirrorDestination to_uplink(std::uint32_t number) { return {MirrorDestination::Kind::uplink, number}; }

  MirrorSession &add_session() {
    MirrorSession &session = vswitch().mirror_sessions.emplace_back();
    session.name = "session " + std::to_string(vswitch().mirror_sessions.size());
    session.destinations = {to_port(3)};
    return session;
  }
  // Of what port 1 sends.
  MirrorSession &session_of_1() {
    MirrorSession &session = add_session();
    session.in.ports = {1};
    return session;
  }
  MirrorSession &first() { return vswitch().mirror_sessions[0]; }
  std::string broadcast(std::uint32_t from = 1) { return send(from, packet(everybody, address_of(from))); }
  std::string from_wire() { return receive(0, packet(everybody, outside(1))); }
};

// ---- sources
// ----------------------------------------------------------------------------------------------------------

TEST_F(Mirrored, P_1_M_2_ports_in_and_out) {
  session_of_1();
  EXPECT_EQ("2 n0 3+", broadcast(1));
  EXPECT_EQ("1 n0", broadcast(2));
  first().in.ports = {};
  first().out.ports = {1};
  restart();
  EXPECT_EQ("2 n0", broadcast(1));
  EXPECT_EQ("1 n0 3+", broadcast(2));
  EXPECT_EQ("1 2 3+", from_wire());
}

TEST_F(Mirrored, P_1_what_is_dropped_later_is_mirrored_and_what_is_dropped_before_is_not) {
  session_of_1();
  EXPECT_EQ("in:1:reserved-address 3+", send(1, packet(0x0180c200000e, address_of(1))));
  EXPECT_EQ(1u, copies_at("3").size());
  EXPECT_EQ("in:1:bad-source", send(1, packet(everybody, 0)));
  EXPECT_EQ("in:1:vlan-tagged", send(1, tagged(packet(everybody, address_of(1)), 5)));
  EXPECT_EQ("1 0 1 0 0", mirrored());
}

TEST_F(Mirrored, M_1_uplinks_by_port_and_all_of_them) {
  MirrorSession &session = add_session();
  session.in.ports = {11};
  EXPECT_EQ("1 2 3+", from_wire());
  EXPECT_EQ("2 n0", broadcast(1));
  session.in.ports = {};
  session.in.all_uplinks = session.out.all_uplinks = true;
  restart();
  EXPECT_EQ("1 2 3+", from_wire());
  EXPECT_EQ("2 n0 3+", broadcast(1));
}

TEST_F(Mirrored, M_1_wildcards_of_clients) {
  port(2).client->is_tcpip = true;
  MirrorSession &session = add_session();
  session.in.all_vnics = true;
  EXPECT_EQ("2 n0 3+", broadcast(1));
  EXPECT_EQ("1 n0", broadcast(2));
  EXPECT_EQ("1 2", from_wire());
  session.in.all_vnics = false;
  session.in.all_tcpips = true;
  restart();
  EXPECT_EQ("2 n0", broadcast(1));
  EXPECT_EQ("1 n0 3+", broadcast(2));
}

TEST_F(Mirrored, M_1_vlans_wherever_the_frame_is) {
  access(1, 10);
  access(2, 10);
  MirrorSession &session = add_session();
  session.in.vlans = {10};
  EXPECT_EQ("2 n0 3+", broadcast(1));
  EXPECT_EQ("1 2 3+", receive(0, tagged(packet(everybody, outside(1)), 10)));
  EXPECT_EQ("in:n0:no-receiver", receive(0, tagged(packet(everybody, outside(1)), 11)));
  session.in.vlans = {};
  session.out.vlans = {10};
  restart();
  EXPECT_EQ("2 n0 3+", broadcast(1));
  EXPECT_EQ("1", receive(0, tagged(packet(address_of(1), outside(1)), 10)).substr(0, 1));
  EXPECT_EQ(1u, copies_at("3").size());
}

TEST_F(Mirrored, M_1_at_most_once_and_ingress_before_egress) {
  MirrorSession &session = session_of_1();
  session.out.ports = {2, 11};
  EXPECT_EQ("2 n0 3+", broadcast(1));
  EXPECT_EQ("1 0 1 0 0", mirrored());
  // What ERSPAN says of the direction shows where it was selected.
  session.destinations = {{MirrorDestination::Kind::address, 0, ip({198, 51, 100, 9})}};
  session.encapsulation = Encapsulation::erspan_3;
  auto const selected = [&] {
    Packet const copy = copies_at("n0").at(0);
    return std::to_string(copy.at(53) >> 3 & 1);
  };
  restart();
  broadcast(1);
  EXPECT_EQ("0", selected());
  session.in.ports = {};
  restart();
  broadcast(1);
  EXPECT_EQ("1", selected());
}

TEST_F(Mirrored, M_1_what_was_filtered_at_the_ingress_is_not_tried_again) {
  MirrorSession &session = add_session();
  session.in.ports = {11};
  session.out.ports = {2};
  session.uplink_filter = UplinkFilter::vxlan;
  EXPECT_EQ("1 2", from_wire());
  EXPECT_EQ("0 0 0 1 0", mirrored());
  EXPECT_EQ("2 n0 3+", broadcast(1)) << "at a client port the filter does not hold";
}

TEST_F(Mirrored, M_1_egress_by_port_number) {
  MirrorSession &session = add_session();
  session.out.ports = {11, 2};
  session.destinations = {{MirrorDestination::Kind::address, 0, ip({198, 51, 100, 9})}};
  session.encapsulation = Encapsulation::erspan_2;
  broadcast(1);
  EXPECT_EQ(2, copies_at("n0").at(0).at(49)) << "port 2 goes before port 11";
}

TEST_F(Mirrored, M_2_promiscuous_copies_are_deliveries_too) {
  port(2).client->is_promiscuous = true;
  MirrorSession &session = add_session();
  session.out.ports = {2};
  EXPECT_EQ("2* n0 3+", send(1, packet(outside(1), address_of(1))));
}

TEST_F(Mirrored, M_4_copies_are_never_mirrored) {
  session_of_1();
  MirrorSession &other = add_session();
  other.out.ports = {3};
  other.destinations = {to_port(2)};
  EXPECT_EQ("2 n0 3+", broadcast(1));
  EXPECT_EQ("0 0 0 0 0", mirrored(1));
  // Two that point at each other.
  other.in.ports = {2, 3};
  other.out.ports = {2, 3};
  first().in.ports = {1, 2, 3};
  first().out.ports = {2, 3};
  restart();
  EXPECT_EQ("2 n0 3+ 2+", broadcast(1));
}

// ---- destinations that are shut
// ---------------------------------------------------------------------------------------

TEST_F(Mirrored, M_3_a_destination_gets_nothing_but_copies) {
  access(3, 0);
  session_of_1();
  EXPECT_EQ("2 3 n0 3+", broadcast(1)) << "without the flag normal traffic goes on";
  first().shuts_output = true;
  restart();
  EXPECT_EQ("2 n0 3+", broadcast(1));
  EXPECT_EQ("1 2 n0", send(3, packet(everybody, address_of(3)))) << "it may still send";
  port(3).client->is_promiscuous = true;
  restart();
  EXPECT_EQ("2 3+", send(1, packet(address_of(2), address_of(1)))) << "no promiscuous copy either";
}

TEST_F(Mirrored, M_3_known_unicast_to_such_a_destination_is_dropped_there) {
  access(3, 0);
  session_of_1().shuts_output = true;
  EXPECT_EQ("out:3:mirror-destination 3+", send(1, packet(address_of(3), address_of(1))));
  EXPECT_EQ(1u, counters(3).out.dropped);
  port(3).is_blocked = true;
  restart();
  EXPECT_EQ("out:3:mirror-destination", send(1, packet(address_of(3), address_of(1)))) << "before X-5";
}

TEST_F(Mirrored, M_3_a_destination_sends_nothing) {
  access(3, 0);
  session_of_1().shuts_input = true;
  EXPECT_EQ("in:3:mirror-destination", send(3, packet(everybody, address_of(3))));
  EXPECT_EQ("in:3:mirror-destination", send(3, packet(everybody, outside(1)))) << "before S-2";
  EXPECT_EQ("1 2 3", receive(0, packet(everybody, outside(1))));
  first().destinations = {to_uplink(11)};
  restart();
  EXPECT_EQ("1 2 3", receive(0, packet(everybody, outside(1)))) << "of uplinks neither flag says anything";
}

// ---- filters and sampling
// ---------------------------------------------------------------------------------------------

// A frame of an IP packet: protocol, and ports where it has them.
Packet ipv4(std::uint8_t protocol, std::uint16_t source, std::uint16_t destination, std::uint16_t fragment = 0) {
  Packet bytes;
  put(bytes, everybody, 6);
  put(bytes, address_of(1), 6);
  bytes = bytes + hex("0800 4500002c 0000") +
          Packet{static_cast<std::uint8_t>(fragment >> 8), static_cast<std::uint8_t>(fragment)} + Packet{64, protocol} +
          hex("0000 c0000201 c6336407");
  put(bytes, source, 2);
  put(bytes, destination, 2);
  bytes.resize(60);
  return bytes;
}

// 2001:db8::1 to 2001:db8::f00; `chain`: the headers behind the first.
Packet ipv6(std::uint8_t next, Packet const &chain) {
  Packet bytes;
  put(bytes, everybody, 6);
  put(bytes, address_of(1), 6);
  return bytes + hex("86dd 60000000 0000") + Packet{next, 64} +
         hex("20010db8000000000000000000000001 20010db8000000000000000000000f00") + chain;
}

TEST_F(Mirrored, M_8_the_filter_of_uplinks) {
  constexpr std::uint8_t tcp = 6;
  constexpr std::uint8_t udp = 17;
  struct Case {
    UplinkFilter filter;
    std::string which;  // of the frames below
  };
  std::vector<Packet> const frames{ipv4(udp, 1, 53),
                                   ipv4(tcp, 1, 7471),
                                   ipv4(udp, 1, 4789),
                                   ipv4(udp, 1, 8472),
                                   ipv4(udp, 1, 6081),
                                   ipv4(udp, 1, 7471),
                                   ipv4(tcp, 1, 4789),
                                   ipv4(udp, 4789, 1),
                                   ipv4(udp, 1, 6081, 0x2000),
                                   ipv4(udp, 1, 6081, 0x2001),
                                   packet(everybody, address_of(1))};
  Case const cases[] = {
      {UplinkFilter::none, "0123456789a"}, {UplinkFilter::normal, "05679a"}, {UplinkFilter::stt, "1"},
      {UplinkFilter::vxlan, "23"},         {UplinkFilter::geneve, "48"},     {UplinkFilter::all_encapsulated, "12348"}};
  MirrorSession &session = add_session();
  session.out.all_uplinks = true;
  for (Case const &one : cases) {
    session.uplink_filter = one.filter;
    restart();
    std::string which;
    for (std::size_t i = 0; i < frames.size(); ++i) {
      send(1, frames[i]);
      if (!copies_at("3").empty())
        which += "0123456789a"[i];
    }
    EXPECT_EQ(one.which, which) << static_cast<int>(one.filter);
    EXPECT_EQ(frames.size() - which.size(), traffic->mirror(0).discarded);
  }
}

TEST_F(Mirrored, M_9_the_first_rule_that_matches_decides) {
  constexpr std::uint8_t tcp = 6;
  constexpr std::uint8_t udp = 17;
  IpPrefix const here{ip({192, 0, 2, 0}), 24};
  IpPrefix const elsewhere{ip({192, 0, 3, 0}), 24};
  IpPrefix const odd{ip({192, 0, 2, 128}), 25};
  IpPrefix const any{ip({0, 0, 0, 0}), 0};
  IpPrefix const there{ip({198, 51, 100, 7}), 32};
  struct Case {
    std::vector<MirrorRule> rules;
    Packet frame;
    bool is_mirrored;
  };
  Packet const plain = ipv4(udp, 1000, 53);
  Packet const arp = packet(everybody, address_of(1), 0x0806);
  std::uint8_t const wanted = udp;
  Case const cases[] = {
      {{}, plain, true},
      {{{.mirrors = true, .sources = {here}}}, plain, true},
      {{{.mirrors = true, .sources = {elsewhere}}}, plain, false},
      {{{.mirrors = true, .sources = {odd}}}, plain, false},
      {{{.mirrors = true, .sources = {elsewhere, odd, any}}}, plain, true},
      {{{.mirrors = true, .destinations = {there}}}, plain, true},
      {{{.mirrors = true, .destinations = {here}}}, plain, false},
      {{{.mirrors = false, .sources = {here}}}, plain, false},
      {{{.mirrors = false, .sources = {elsewhere}}}, plain, true},
      {{{.mirrors = false, .protocol = wanted}, {.mirrors = true}}, plain, false},
      {{{.mirrors = false, .protocol = wanted}, {.mirrors = true}}, ipv4(tcp, 1, 2), true},
      {{{.mirrors = false, .protocol = wanted}, {.mirrors = true, .sources = {elsewhere}}}, ipv4(tcp, 1, 2), false},
      {{{.mirrors = true, .destination_ports = TransportPorts{50, 53}}}, plain, true},
      {{{.mirrors = true, .destination_ports = TransportPorts{54, 60}}}, plain, false},
      {{{.mirrors = true, .source_ports = TransportPorts{1000, 1000}}}, plain, true},
      {{{.mirrors = true, .source_ports = TransportPorts{0, 999}}}, plain, false},
      {{{.mirrors = true, .source_ports = TransportPorts{0, 65535}}}, ipv4(1, 8, 0), false},
      {{{.mirrors = true, .source_ports = TransportPorts{0, 65535}}}, ipv4(udp, 1, 2, 0x2000), true},
      {{{.mirrors = true, .source_ports = TransportPorts{0, 65535}}}, ipv4(udp, 1, 2, 0x0001), false},
      {{{.mirrors = true}}, arp, true},
      {{{.mirrors = false}}, arp, false},
      {{{.mirrors = false, .sources = {any}}}, arp, true},
      {{{.mirrors = true, .protocol = wanted}}, arp, false},
  };
  MirrorSession &session = session_of_1();
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    session.rules = cases[i].rules;
    restart();
    send(1, cases[i].frame);
    EXPECT_EQ(cases[i].is_mirrored, !copies_at("3").empty()) << i;
    EXPECT_EQ(cases[i].is_mirrored ? "1 0 1 0 0" : "0 0 0 1 0", mirrored()) << i;
  }
}

TEST_F(Mirrored, M_9_behind_the_headers_of_ipv6) {
  IpPrefix const prefix{ip(hex("20010db8") + zeros(12)), 32};
  MirrorSession &session = session_of_1();
  session.rules = {{.mirrors = true,
                    .sources = {prefix},
                    .protocol = std::uint8_t{17},
                    .destination_ports = TransportPorts{53, 53}}};
  Packet const udp = hex("03e8 0035 0008 0000");
  auto const is_mirrored = [&](std::uint8_t next, Packet const &chain) {
    send(1, ipv6(next, chain));
    return !copies_at("3").empty();
  };
  EXPECT_TRUE(is_mirrored(17, udp));
  EXPECT_TRUE(is_mirrored(0, hex("1100 0000 0000 0000") + udp)) << "hop-by-hop";
  EXPECT_TRUE(is_mirrored(43, hex("1101 0000 0000 0000") + zeros(8) + udp)) << "routing, of 16 bytes";
  EXPECT_TRUE(is_mirrored(60, hex("2b00 0000 0000 0000") + hex("1100 0000 0000 0000") + udp)) << "several";
  EXPECT_TRUE(is_mirrored(44, hex("1100 0001 0000 0001") + udp)) << "the first fragment";
  EXPECT_FALSE(is_mirrored(44, hex("1100 0008 0000 0001") + udp)) << "another fragment";
  EXPECT_FALSE(is_mirrored(0, hex("11"))) << "cut within the headers";
  EXPECT_FALSE(is_mirrored(0, hex("1105 0000 0000 0000") + udp)) << "a header that is longer than the packet";
  EXPECT_FALSE(is_mirrored(17, hex("03e8"))) << "cut before the ports";
  EXPECT_FALSE(is_mirrored(51, udp)) << "no header that is passed";
  session.rules[0].destination_ports.reset();
  restart();
  EXPECT_TRUE(is_mirrored(44, hex("1100 0008 0000 0001") + udp)) << "the protocol of a fragment is known";
  EXPECT_FALSE(is_mirrored(0, hex("1105 0000 0000 0000") + udp));
  session.rules[0].sources[0].address.room[3] = 0xb9;
  restart();
  EXPECT_FALSE(is_mirrored(17, udp));
  session.rules = {{.mirrors = true, .sources = {{ip(hex("20010db8")), 32}}}};
  restart();
  EXPECT_FALSE(is_mirrored(17, udp)) << "an IPv4 prefix has no IPv6 address";
}

TEST_F(Mirrored, M_5_one_of_so_many_that_passed_the_filters) {
  MirrorSession &session = session_of_1();
  session.sampling_rate = 3;
  session.rules = {{.mirrors = false, .protocol = std::uint8_t{6}}};
  std::string seen;
  for (int i = 0; i < 7; ++i) {
    send(1, ipv4(6, 1, 2));
    send(1, ipv4(17, 1, 2));
    seen += copies_at("3").empty() ? "." : "x";
  }
  EXPECT_EQ("x..x..x", seen) << "frames that a filter leaves out do not count";
  EXPECT_EQ("3 0 3 11 0", mirrored());
  EXPECT_EQ(7u, traffic->mirror(0).seen);
}

TEST_F(Mirrored, M_6_a_remote_source_mirrors_no_reserved_addresses) {
  MirrorSession &session = session_of_1();
  session.is_remote_source = true;
  session.destinations = {to_uplink(12)};
  session.outer_vlan = 30;
  send(1, packet(0x0180c200000f, address_of(1)));
  EXPECT_TRUE(last.empty());
  EXPECT_EQ("0 0 0 0 0", mirrored());
  send(1, packet(0x0180c2000010, address_of(1)));
  EXPECT_EQ(tagged(packet(0x0180c2000010, address_of(1)), 30), copies_at("n1").at(0));
}

TEST_F(Mirrored, M_6_MAC_2_a_remote_destination_takes_vlans_at_uplinks_and_learns_nothing_there) {
  learn_everywhere();
  for (std::uint32_t number : {1, 2})
    trunk(number, 0);
  MirrorSession &session = add_session();
  session.is_remote_destination = true;
  session.in.vlans = {30};
  session.destinations = {to_port(3)};
  EXPECT_EQ("1 2 3+", receive(0, tagged(packet(everybody, outside(1)), 30)));
  EXPECT_EQ(packet(everybody, outside(1)), copies_at("3").at(0));
  EXPECT_EQ("2 n0", send(1, tagged(packet(everybody, outside(2)), 30))) << "not at client ports";
  EXPECT_EQ("", learned());
  EXPECT_EQ("1 2", receive(0, tagged(packet(everybody, outside(1)), 31)));
  EXPECT_EQ("ff0001/31@11", learned());
  session.in.vlans = {};
  session.out.vlans = {30};
  restart();
  EXPECT_EQ("2 n0 3+", send(1, tagged(packet(everybody, outside(2)), 30)));
  EXPECT_EQ("1 2", receive(0, tagged(packet(everybody, outside(1)), 30)));
  EXPECT_EQ("", learned());
}

// ---- copies
// -----------------------------------------------------------------------------------------------------------

TEST_F(Mirrored, M_10_what_a_copy_looks_like) {
  trunk(1, 0);
  MirrorSession &session = session_of_1();
  Packet const bare = packet(everybody, address_of(1));
  Packet const sent = tagged(bare, 5 << 13 | 1 << 12 | 10);
  auto const copy = [&] {
    restart();
    send(1, sent);
    return copies_at("3").at(0);
  };
  auto const cut = [](Packet bytes, std::size_t length) {
    bytes.resize(length);
    return bytes;
  };
  EXPECT_EQ(bare, copy());
  session.snap_length = 20;
  EXPECT_EQ(cut(bare, 20), copy());
  session.snap_length = 3;
  EXPECT_EQ(cut(bare, 14), copy()) << "never less than its addresses and type";
  session.snap_length = 60;
  EXPECT_EQ(bare, copy());
  session.keeps_vlan = true;
  EXPECT_EQ(cut(sent, 60), copy()) << "cut with its tag";
  session.snap_length = 0;
  EXPECT_EQ(sent, copy()) << "VLAN, PCP and DEI";
  session.outer_vlan = 30;
  EXPECT_EQ(tagged(sent, 30), copy()) << "two tags";
  session.snap_length = 20;
  EXPECT_EQ(tagged(cut(sent, 20), 30), copy()) << "the outer one is put on what is left";
  session.keeps_vlan = false;
  EXPECT_EQ(tagged(cut(bare, 20), 30), copy());
  session.snap_length = 0;
  EXPECT_EQ(tagged(bare, 30), copy());
}

TEST_F(Mirrored, M_10_the_vlan_that_the_port_gave_and_the_network_without_tags) {
  MirrorSession &session = session_of_1();
  session.keeps_vlan = true;
  Packet const bare = packet(everybody, address_of(1));
  broadcast(1);
  EXPECT_EQ(bare, copies_at("3").at(0)) << "VLAN 0 has no tag";
  send(1, tagged(bare, 5 << 13));
  EXPECT_EQ(bare, copies_at("3").at(0)) << "nor has a priority there";
  access(1, 10);
  port(1).vlan.priority = std::uint8_t{6};
  restart();
  broadcast(1);
  EXPECT_EQ(tagged(bare, 6 << 13 | 10), copies_at("3").at(0));
}

TEST_F(Mirrored, M_10_a_tag_that_is_payload_stays) {
  access(1, 10);
  port(1).vlan.allows_nested = true;
  MirrorSession &session = session_of_1();
  Packet const sent = tagged(packet(everybody, address_of(1)), 20);
  send(1, sent);
  EXPECT_EQ(sent, copies_at("3").at(0));
  session.keeps_vlan = true;
  restart();
  send(1, sent);
  EXPECT_EQ(tagged(sent, 10), copies_at("3").at(0));
}

TEST_F(Mirrored, M_10_the_same_on_the_way_out_and_at_uplinks) {
  trunk(2, 0);
  access(1, 10);
  Packet const bare = packet(everybody, address_of(1));
  MirrorSession &session = add_session();
  session.out.ports = {2};
  broadcast(1);
  EXPECT_EQ(tagged(bare, 10), at("2"));
  EXPECT_EQ(bare, copies_at("3").at(0)) << "not as it left there";
  session.out.ports = {11};
  session.keeps_vlan = true;
  restart();
  broadcast(1);
  EXPECT_EQ(tagged(bare, 10), copies_at("3").at(0));
}

// ---- destinations and counters
// ----------------------------------------------------------------------------------------

TEST_F(Mirrored, M_11_ports_but_the_ingress_and_uplinks_with_the_ingress) {
  MirrorSession &session = session_of_1();
  session.destinations = {to_port(1), to_port(2), to_uplink(11), to_port(3)};
  EXPECT_EQ("2 n0 2+ n0+ 3+", broadcast(1));
  EXPECT_EQ("3 0 1 0 0", mirrored());
  session.in.ports = {11};
  session.destinations = {to_uplink(11)};
  restart();
  EXPECT_EQ("1 2 n0+", from_wire());
}

TEST_F(Mirrored, M_11_a_frame_without_destinations_counts_in_nothing) {
  MirrorSession &session = session_of_1();
  session.in.ports = {1, 2};
  session.sampling_rate = 2;
  session.destinations = {to_port(1)};
  broadcast(1);
  EXPECT_EQ("0 0 0 0 0", mirrored());
  EXPECT_EQ(0u, traffic->mirror(0).seen);
  EXPECT_EQ("1 n0 1+", broadcast(2));
  session.destinations = {};
  restart();
  broadcast(2);
  EXPECT_EQ("0 0 0 0 0", mirrored());
}

TEST_F(Mirrored, M_11_M_12_what_is_there_and_gets_nothing_fails) {
  add_port(4);
  add_client(5).is_zombie = true;
  add_client(6).client->link_up = false;
  add_client(7).is_blocked = true;
  for (std::uint32_t number : {4, 5, 6, 7})
    access(number, 99);
  add_port(13).vlan = every_vlan();
  vswitch().uplinks.push_back({13, std::nullopt, std::nullopt});
  configuration.nics[1].link_up = false;
  MirrorSession &session = session_of_1();
  session.destinations = {to_port(4), to_port(5), to_port(6), to_port(7), to_uplink(13), to_uplink(12)};
  EXPECT_EQ("2 n0", broadcast(1));
  EXPECT_EQ("0 6 0 0 1", mirrored());
  session.destinations.insert(session.destinations.begin(), to_port(3));
  restart();
  EXPECT_EQ("2 n0 3+", broadcast(1));
  EXPECT_EQ("1 6 1 0 0", mirrored()) << "one copy is enough to be mirrored";
  EXPECT_EQ(0u, counters(7).out.dropped) << "no drop";
}

TEST_F(Mirrored, M_12_without_statistics_counters_stand_still_and_sampling_goes_on) {
  configuration.options.mirror_statistics = false;
  session_of_1().sampling_rate = 2;
  EXPECT_EQ("2 n0 3+", broadcast(1));
  EXPECT_EQ("2 n0", broadcast(1));
  EXPECT_EQ("2 n0 3+", broadcast(1));
  EXPECT_EQ("0 0 0 0 0", mirrored());
}

TEST_F(Mirrored, C_5_copies_count_where_they_arrive) {
  session_of_1().snap_length = 20;
  broadcast(1);
  EXPECT_EQ(1u, counters(3).out.broadcast);
  EXPECT_EQ(20u, counters(3).out.broadcast_bytes);
  EXPECT_EQ(0u, counters(1).out.broadcast);
  send(1, packet(address_of(2), address_of(1)));
  EXPECT_EQ(1u, counters(3).out.unicast);
  EXPECT_EQ(0u, counters(3).out.exceptions);
  configuration.options.fast_path = false;
  restart();
  broadcast(1);
  EXPECT_EQ(1u, counters(3).out.exceptions);
}

TEST_F(Mirrored, API_7_copies_come_behind_the_frames_by_session_and_destination) {
  session_of_1().destinations = {to_port(3), to_port(2)};
  add_session().out.ports = {2};
  session_of_1().destinations = {to_uplink(12)};
  EXPECT_EQ("2 n0 3+ 2+ 3+ n1+", broadcast(1));
}

TEST_F(Mirrored, API_8_each_copy_is_explained) {
  session_of_1();
  MirrorSession &failing = session_of_1();
  failing.destinations = {to_port(2)};
  failing.sampling_rate = 2;
  session_of_1().rules = {{.mirrors = true, .protocol = std::uint8_t{6}}};
  port(2).is_blocked = true;
  std::vector<std::string> const steps = from_port(1, packet(everybody, address_of(1)), true).steps;
  ASSERT_LE(6u, steps.size());
  EXPECT_EQ("P-1 1 | 5 mirror: sessions with the port or the VLAN as a source mirror the frame", steps[4]);
  std::vector<std::string> const of_copies(steps.end() - 5, steps.end());
  EXPECT_EQ("C-5 n0 deliver | delivered: 60 bytes", of_copies[0]);
  EXPECT_EQ("M-10 3 | mirror session session 1: a copy", of_copies[1]);
  EXPECT_EQ("C-5 3 deliver | mirror session session 1: delivered: 60 bytes", of_copies[2]);
  EXPECT_EQ("M-11 2 | mirror session session 2: the copy fails: port-blocked", of_copies[3]);
  EXPECT_EQ("M-9 1 | mirror session session 3: left out: the first filter rule that matches decides", of_copies[4]);
  EXPECT_EQ("M-5 1 | mirror session session 2: left out: one of so many frames is mirrored",
            from_port(1, packet(everybody, address_of(1)), true).steps.end()[-2]);
}

TEST_F(Mirrored, API_8_a_switch_without_sessions_has_no_such_step) {
  for (std::string const &step : from_port(1, packet(everybody, address_of(1)), true).steps)
    EXPECT_FALSE(step.starts_with("P-1")) << step;
}

}  // namespace mirror_test
