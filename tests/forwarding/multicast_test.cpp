// Multicast: what clients join and leave, who receives what, and what the switch asks.
#include "platform/forwarding/multicast.hpp"

#include "platform/forwarding/queries.hpp"
#include "tests/forwarding/group_packets.hpp"

namespace multicast_test {

using namespace forwarding;

// Both versions are snooped; ports 1 to 3 are clients, n0 is the team's uplink.
class Snooping : public World {
 protected:
  Snooping() {
    vswitch().snoops_ipv4 = vswitch().snoops_ipv6 = true;
    vswitch().own_mac = 0x027673000001;
  }

  std::string join(std::uint32_t number, std::string const &group) {
    return send(number, group.find(':') == std::string::npos ? igmp(address_of(number), old_igmp(0x16, group), group)
                                                             : mld(address_of(number), old_mld(131, group), group));
  }
  std::string report(std::uint32_t number, ReportRecord const &record) {
    return send(number, record.group.find(':') == std::string::npos ? igmp(address_of(number), records(0x22, {record}))
                                                                    : mld(address_of(number), records(143, {record})));
  }
  // Who receives a datagram that comes from the wire.
  std::string to(std::string const &group, std::string const &source) {
    Packet const payload = hex("1388 1388 0008 0000");
    if (group.find(':') == std::string::npos)
      return receive(0, ipv4_frame(outside(1), source, group, 17, payload, 64));
    Packet frame = mld(outside(1), old_mld(131, "ff0e::99"), group, source, 64);
    return receive(0, frame);
  }
  std::string to(std::string const &group) {
    return to(group, group.find(':') == std::string::npos ? "198.51.100.7" : "2001:db8::7");
  }
  // "239.1.1.1@1 include[..]" as filter number, sources, version.
  std::string joined() {
    std::string text;
    for (auto const &[key, membership] : traffic->memberships(0).all()) {
      char address[INET6_ADDRSTRLEN];
      inet_ntop(key.group.is_ipv4() ? AF_INET : AF_INET6, key.group.bytes().data(), address, sizeof address);
      text += (text.empty() ? "" : " ") + std::string(address) + "@" + std::to_string(tables->ports[key.port].number) +
              "/" + "nie"[static_cast<int>(membership.filter)] + std::to_string(membership.sources.size()) + "v" +
              std::to_string(membership.version);
    }
    return text;
  }
};

TEST_F(Snooping, IG_4_IG_7_joins_and_leaves_of_each_version) {
  EXPECT_EQ("in:n0:multicast-filtered", to("239.1.1.1"));
  EXPECT_EQ("n0", join(1, "239.1.1.1")) << "the report goes to the team";
  EXPECT_EQ("1", to("239.1.1.1"));
  EXPECT_EQ("in:n0:multicast-filtered", to("239.129.1.1")) << "the same hardware address, another group";
  send(2, igmp(address_of(2), old_igmp(0x12, "239.1.1.1"), "239.1.1.1"));
  EXPECT_EQ("239.1.1.1@1/n0v2 239.1.1.1@2/n0v1", joined());
  EXPECT_EQ("1 2", to("239.1.1.1"));
  EXPECT_EQ("n0", send(1, igmp(address_of(1), old_igmp(0x17, "239.1.1.1"), "224.0.0.2")));
  EXPECT_EQ("2", to("239.1.1.1"));
  report(3, {4, "239.1.1.1"});
  EXPECT_EQ("2 3", to("239.1.1.1"));
  report(3, {3, "239.1.1.1"});
  EXPECT_EQ("2", to("239.1.1.1"));

  EXPECT_EQ("n0", join(1, "ff0e::1"));
  EXPECT_EQ("1", to("ff0e::1"));
  report(2, {4, "ff0e::1"});
  EXPECT_EQ("1 2", to("ff0e::1"));
  send(1, mld(address_of(1), old_mld(132, "ff0e::1"), "ff02::2"));
  EXPECT_EQ("2", to("ff0e::1"));
  EXPECT_EQ("2 3 n0", send(1, packet(everybody, address_of(1)))) << "broadcast is not multicast";
}

TEST_F(Snooping, IG_8_the_records_one_after_the_other) {
  restart();
  report(1, {5, "232.1.1.1", {"192.0.2.1"}});  // allow, of a group that it was not in
  EXPECT_EQ("232.1.1.1@1/i1v3", joined());
  EXPECT_EQ("1", to("232.1.1.1", "192.0.2.1"));
  EXPECT_EQ("in:n0:multicast-filtered", to("232.1.1.1", "192.0.2.2"));
  report(1, {5, "232.1.1.1", {"192.0.2.2", "192.0.2.1"}});
  EXPECT_EQ("232.1.1.1@1/i2v3", joined());
  report(1, {6, "232.1.1.1", {"192.0.2.1"}});  // block
  EXPECT_EQ("232.1.1.1@1/i1v3", joined());
  EXPECT_EQ("1", to("232.1.1.1", "192.0.2.2"));
  report(1, {6, "232.1.1.1", {"192.0.2.2"}});
  EXPECT_EQ("", joined()) << "none left: gone";
  report(1, {6, "232.1.1.1", {"192.0.2.2"}});
  EXPECT_EQ("", joined()) << "there is nothing to block in";

  report(1, {2, "232.1.1.1", {"192.0.2.1", "192.0.2.2"}});  // exclude
  EXPECT_EQ("232.1.1.1@1/e2v3", joined());
  EXPECT_EQ("in:n0:multicast-filtered", to("232.1.1.1", "192.0.2.1"));
  EXPECT_EQ("1", to("232.1.1.1", "192.0.2.3"));
  report(1, {5, "232.1.1.1", {"192.0.2.1"}});
  EXPECT_EQ("1", to("232.1.1.1", "192.0.2.1"));
  report(1, {6, "232.1.1.1", {"192.0.2.3"}});
  EXPECT_EQ("232.1.1.1@1/e2v3", joined());
  report(1, {1, "232.1.1.1", {"192.0.2.9"}});  // include anew
  EXPECT_EQ("232.1.1.1@1/i1v3", joined());
  join(1, "232.1.1.1");
  EXPECT_EQ("232.1.1.1@1/n0v2", joined()) << "the last report decides";
  report(1, {6, "232.1.1.1", {"192.0.2.3"}});
  EXPECT_EQ("232.1.1.1@1/e1v3", joined()) << "without a filter nothing was excluded";
  report(1, {9, "0.0.0.0"});
  EXPECT_EQ("232.1.1.1@1/e1v3", joined()) << "unknown types are skipped";
}

TEST_F(Snooping, IG_8_too_many_sources_are_no_filter) {
  configuration.options.most_igmp_sources = 2;
  configuration.options.most_mld_sources = 1;
  report(1, {1, "232.1.1.1", {"192.0.2.1", "192.0.2.2"}});
  report(2, {1, "232.1.1.1", {"192.0.2.1", "192.0.2.2", "192.0.2.3"}});
  report(2, {1, "ff3e::1", {"2001:db8::1", "2001:db8::2"}});
  EXPECT_EQ("232.1.1.1@1/i2v3 232.1.1.1@2/n0v3 ff3e::1@2/n0v2", joined());
  EXPECT_EQ("2", to("232.1.1.1", "203.0.113.1"));
}

TEST_F(Snooping, IG_6_memberships_by_report_age) {
  join(1, "239.1.1.1");
  now += 100 * second;
  join(2, "239.1.1.1");
  traffic->memberships(0).set({parsed_ip("239.1.1.1"), index(3)}, {});  // joined without a report
  now += 160 * second - 1;
  EXPECT_EQ("1 2 3", to("239.1.1.1")) << "2 * 125 + 10 seconds";
  now += 1;
  EXPECT_EQ("2 3", to("239.1.1.1"));
  join(2, "239.1.1.1");
  now += 260 * second - 1;
  EXPECT_EQ("2 3", to("239.1.1.1"));
  now += 1;
  EXPECT_EQ("3", to("239.1.1.1"));
  send(3, igmp(address_of(3), old_igmp(0x17, "239.1.1.1"), "224.0.0.2"));
  report(3, {1, "239.1.1.1", {"192.0.2.1"}});
  now += 10000 * second;
  EXPECT_EQ("3", to("239.1.1.1")) << "no report changes what was joined without one";
}

TEST_F(Snooping, IG_6_the_options_say_how_long) {
  configuration.options.queries = 3;
  configuration.options.query_interval = 20;
  join(1, "239.1.1.1");
  now += 70 * second - 1;
  EXPECT_EQ("1", to("239.1.1.1"));
  now += 1;
  EXPECT_EQ("in:n0:multicast-filtered", to("239.1.1.1"));
}

TEST_F(Snooping, IG_1_router_ports_are_known_by_queries) {
  Packet const query = old_igmp(0x11, "0.0.0.0");
  EXPECT_EQ("2 3 n0", send(1, igmp(address_of(1), query, "224.0.0.1", "0.0.0.0"))) << "by its destination";
  EXPECT_EQ("in:n0:multicast-filtered", to("239.1.1.1")) << "a proxy's query says nothing";
  send(1, igmp(address_of(1), query, "224.0.0.1", "192.0.2.1"));
  EXPECT_EQ("1", to("239.1.1.1"));
  EXPECT_EQ("1", to("ff0e::1")) << "a router routes both";
  EXPECT_EQ("1 n0", join(2, "239.9.9.9")) << "reports reach it";
  EXPECT_EQ("n0", join(1, "239.9.9.9")) << "but not itself";
  now += 255 * second - 1;
  EXPECT_EQ("1", to("239.1.1.1"));
  now += 1;
  EXPECT_EQ("in:n0:multicast-filtered", to("239.1.1.1"));
  receive(0, igmp(outside(1), query, "224.0.0.1", "192.0.2.1"));
  EXPECT_EQ("n0", join(2, "239.9.9.9")) << "an uplink needs no such state";
  port(3).client->is_router = true;
  restart();
  EXPECT_EQ("3", to("239.1.1.1"));
  send(1, mld(address_of(1), old_mld(130, "::"), "ff02::1", "::"));
  EXPECT_EQ("3", to("ff0e::1"));
  send(1, mld(address_of(1), old_mld(130, "::"), "ff02::1", "fe80::1"));
  EXPECT_EQ("1 3", to("ff0e::1"));
}

TEST_F(Snooping, IG_2_reports_go_to_the_team_and_to_routers_only) {
  port(3).client->is_promiscuous = true;
  EXPECT_EQ("3* n0", join(1, "239.1.1.1"));
  EXPECT_EQ("3* n0", join(2, "239.1.1.1")) << "not to members: they would keep silent";
  team().active.clear();
  restart();
  EXPECT_EQ("in:1:no-uplink 3*", join(1, "239.1.1.1"));
  vswitch().uplinks.clear();
  for (std::uint32_t number : {11, 12})
    port(number).vlan = {};
  restart();
  EXPECT_EQ("in:1:multicast-filtered 3*", join(1, "239.1.1.1"));
  Outcomes const explained = from_port(1, igmp(address_of(1), old_igmp(0x16, "239.1.1.1"), "239.1.1.1"), true);
  EXPECT_EQ(1, std::count_if(explained.steps.begin(), explained.steps.end(), [](std::string const &step) {
              return step.starts_with("IG-2 1 drop | multicast-filtered: ");
            }));
}

TEST_F(Snooping, IG_3_IG_5_what_is_flooded) {
  EXPECT_EQ("1 2 3", to("224.0.0.251"));
  EXPECT_EQ("in:n0:multicast-filtered", to("224.0.1.1"));
  EXPECT_EQ("1 2 3", to("ff02::fb"));
  EXPECT_EQ("in:n0:multicast-filtered", to("ff05::fb"));
  EXPECT_EQ("1 2 3", receive(0, packet(a_group, outside(1)))) << "no IP";
  EXPECT_EQ("1 2 3", receive(0, packet(0x333300000099, outside(1))));
  Packet other_family = ipv4_frame(outside(1), "192.0.2.1", "239.1.1.1", 17, hex("1388 1388 0008 0000"));
  std::copy_n(hex("3333 efef efef").begin(), 6, other_family.begin());
  EXPECT_EQ("1 2 3", receive(0, other_family));
  Packet cut = ipv4_frame(outside(1), "192.0.2.1", "239.1.1.1", 17, hex("1388 1388 0008 0000"));
  cut.resize(14 + 23);  // the header has 24 bytes
  EXPECT_EQ("1 2 3", receive(0, cut));
  vswitch().snoops_ipv6 = false;
  restart();
  EXPECT_EQ("1 2 3", to("ff0e::1"));
  EXPECT_EQ("in:n0:multicast-filtered", to("239.1.1.1"));
  EXPECT_EQ("2 3 n0", join(1, "ff0e::1")) << "a report that nobody looks at";
  EXPECT_EQ("", joined());
}

TEST_F(Snooping, IG_4_S_9_members_of_the_vlan_only_and_all_multicast) {
  access(1, 10);
  join(1, "239.1.1.1");
  join(2, "239.1.1.1");
  EXPECT_EQ("2", to("239.1.1.1"));
  EXPECT_EQ("2 n0", send(3, ipv4_frame(address_of(3), "192.0.2.3", "239.1.1.1", 17, hex("1388 1388 0008 0000"), 9)));
  port(3).filter.all_multicast = true;
  port(2).filter.by_bucket = true;  // without snooping only
  port(2).filter.addresses = {parsed_ip("239.7.7.7").group_mac()};
  port(2).multicast = {parsed_ip("239.7.7.7").group_mac()};
  restart();
  EXPECT_EQ("3", to("239.7.7.7"));
}

TEST_F(Snooping, IG_20_without_snooping_what_was_reported_counts_by_hardware_address) {
  join(1, "239.1.1.1");
  Membership const reported = *traffic->memberships(0).find({parsed_ip("239.1.1.1"), index(1)});
  vswitch().snoops_ipv4 = vswitch().snoops_ipv6 = false;
  restart();
  EXPECT_EQ("in:n0:multicast-filtered", to("239.1.1.1"));
  traffic->memberships(0).set({parsed_ip("239.1.1.1"), index(1)}, reported);
  EXPECT_EQ("1", to("239.1.1.1"));
  EXPECT_EQ("1", to("239.129.1.1"));
  now = reported.expiry;
  EXPECT_EQ("in:n0:multicast-filtered", to("239.1.1.1"));
  EXPECT_EQ("n0", join(2, "239.2.2.2")) << "multicast like any other";
  EXPECT_EQ("", joined());
  EXPECT_EQ(0u, counters(2).in.exceptions);
}

TEST_F(Snooping, IG_9_what_is_not_valid_changes_nothing) {
  Packet const good = igmp(address_of(1), records(0x22, {{4, "239.1.1.1"}}));
  auto const is_data = [&](Packet const &bytes) {
    restart();
    std::string const line = send(1, bytes);
    EXPECT_EQ("", joined());
    EXPECT_EQ(0u, counters(1).in.exceptions);
    return line;
  };
  auto const changed = [](Packet bytes, std::size_t at, std::uint8_t by) {
    bytes[at] = static_cast<std::uint8_t>(bytes[at] ^ by);
    return bytes;
  };
  std::string const everywhere = "2 3 n0";  // 224.0.0.22
  EXPECT_EQ(everywhere, is_data(changed(good, 14 + 10, 1))) << "checksum of the header";
  EXPECT_EQ(everywhere, is_data(changed(good, 14 + 24 + 2, 1))) << "checksum of the message";
  EXPECT_EQ(everywhere, is_data(igmp(address_of(1), records(0x22, {{4, "239.1.1.1"}}), "224.0.0.22", "192.0.2.1", 2)));
  EXPECT_EQ(everywhere, is_data(ipv4_frame(address_of(1), "192.0.2.1", "224.0.0.22", 3, hex("1600 eefc ef01 0101"))));
  EXPECT_EQ(everywhere, is_data(igmp(address_of(1), records(0x22, {{4, "192.0.2.1"}})))) << "no group";
  EXPECT_EQ(everywhere, is_data(igmp(address_of(1), old_igmp(0x16, "192.0.2.1"), "224.0.0.22")));
  EXPECT_EQ(everywhere, is_data(igmp(address_of(1), hex("2200 0000 0000 0002 04000000 ef010101")))) << "two records";
  EXPECT_EQ(everywhere, is_data(igmp(address_of(1), hex("2200 0000 0000 0001 04000001 ef010101")))) << "a source";
  EXPECT_EQ(everywhere, is_data(igmp(address_of(1), hex("1600 0000")))) << "four bytes";
  EXPECT_EQ(everywhere, is_data(igmp(address_of(1), hex("1800 0000 ef010101")))) << "another type";
  Packet const mld_report = mld(address_of(1), records(143, {{4, "ff0e::1"}}));
  EXPECT_EQ(everywhere, is_data(changed(mld_report, 14 + 40 + 8 + 2, 1)));
  EXPECT_EQ(everywhere, is_data(mld(address_of(1), records(143, {{4, "ff0e::1"}}), "ff02::16", "fe80::1", 2)));
  EXPECT_EQ(everywhere, is_data(mld(address_of(1), records(143, {{4, "2001:db8::1"}}))));
  EXPECT_EQ(everywhere, is_data(mld(address_of(1), hex("83000000 00000000"))));
  Packet cut = mld_report;
  cut.pop_back();
  EXPECT_EQ(everywhere, is_data(cut));

  restart();
  EXPECT_EQ("n0", send(1, good));
  EXPECT_EQ("239.1.1.1@1/e0v3", joined());
  EXPECT_EQ(1u, counters(1).in.exceptions);
  receive(0, igmp(outside(1), old_igmp(0x16, "239.2.2.2"), "239.2.2.2"));
  EXPECT_EQ("239.1.1.1@1/e0v3", joined()) << "reports from uplinks are data";
  EXPECT_EQ(0u, counters(11).in.exceptions);
  receive(0, igmp(outside(1), old_igmp(0x11, "0.0.0.0"), "224.0.0.1"));
  EXPECT_EQ(1u, counters(11).in.exceptions);
}

TEST_F(Snooping, IG_11_a_limited_number_of_memberships) {
  restart();
  for (unsigned i = 0; i < 16384; ++i) {
    Packet address = hex("ef000000");
    address[2] = static_cast<std::uint8_t>(i >> 8);
    address[3] = static_cast<std::uint8_t>(i);
    traffic->memberships(0).set({IpAddress(address), index(1)}, {});
  }
  EXPECT_EQ("n0", join(2, "239.1.0.1")) << "forwarded all the same";
  EXPECT_EQ(16384u, traffic->memberships(0).size());
  traffic->memberships(0).remove({parsed_ip("239.0.0.7"), index(1)});
  join(2, "239.1.0.1");
  join(2, "239.1.0.2");
  EXPECT_EQ("2", to("239.1.0.1"));
  EXPECT_EQ("in:n0:multicast-filtered", to("239.1.0.2"));
  report(2, {6, "239.1.0.1", {"198.51.100.7"}});
  EXPECT_EQ("in:n0:multicast-filtered", to("239.1.0.1")) << "one that is there is changed";
}

// ---- queries ------------------------------------------------------------------------------------------------------

class Queries : public Snooping {
 protected:
  Outcomes ask() {
    if (!tables)
      restart();
    Outcomes outcomes(*tables);
    ask_clients({*tables, *traffic, outcomes, 0, now});
    return outcomes;
  }
};

constexpr char igmp_v3[] =
    "01005e000001 027673000001 0800 46c00024 00004000 01020413 00000000 e0000001 94040000 1164ec1e00000000 027d0000"
    "00000000000000000000";
constexpr char igmp_v2[] =
    "01005e000001 027673000001 0800 46c00020 00004000 01020417 00000000 e0000001 94040000 1164ee9b00000000"
    "0000000000000000000000000000";
constexpr char igmp_v1[] =
    "01005e000001 027673000001 0800 46c00020 00004000 01020417 00000000 e0000001 94040000 1100eeff00000000"
    "0000000000000000000000000000";
constexpr char mld_v2[] =
    "333300000001 027673000001 86dd 60000000 00240001 fe80000000000000007673fffe000001"
    "ff020000000000000000000000000001 3a00050200000100 8200e41f27100000 00000000000000000000000000000000 027d0000";
constexpr char mld_v1[] =
    "333300000001 027673000001 86dd 60000000 00200001 fe80000000000000007673fffe000001"
    "ff020000000000000000000000000001 3a00050200000100 8200e6a027100000 00000000000000000000000000000000";

TEST_F(Queries, IG_12_to_the_byte) {
  Outcomes const asked = ask();
  EXPECT_EQ("1 1 2 2 3 3", asked.line);
  EXPECT_EQ(hex(igmp_v3), asked.deliveries[0].bytes);
  EXPECT_EQ(hex(mld_v2), asked.deliveries[1].bytes);
  EXPECT_EQ(DeliveryKind::made, asked.deliveries[0].kind);
  EXPECT_EQ(60u, hex(igmp_v3).size());
  EXPECT_EQ(90u, hex(mld_v2).size());
  EXPECT_EQ(2u, counters(1).out.multicast);
  EXPECT_EQ(150u, counters(1).out.multicast_bytes);
  EXPECT_EQ(2u, counters(1).out.exceptions);
  configuration.options.igmp_version = 2;
  configuration.options.mld_version = 1;
  restart();
  EXPECT_EQ(hex(igmp_v2), ask().deliveries[0].bytes);
  EXPECT_EQ(hex(mld_v1), ask().deliveries[1].bytes);
  configuration.options.igmp_version = 1;
  restart();
  EXPECT_EQ(hex(igmp_v1), ask().deliveries[0].bytes);
}

TEST_F(Queries, IG_12_what_the_options_say) {
  configuration.options.igmp_router = parsed_ip("192.0.2.1");
  configuration.options.mld_router = parsed_ip("fe80::1:1");
  configuration.options.queries = 8;
  configuration.options.query_interval = 1000;
  Packet const query = ask().deliveries[0].bytes;
  EXPECT_EQ(hex("c0000201"), Packet(query.begin() + 26, query.begin() + 30));
  EXPECT_EQ(hex("00 af"), Packet(query.begin() + 46, query.begin() + 48)) << "31 << 5 is 992";
  Packet const mld_query = ask().deliveries[1].bytes;
  EXPECT_EQ(packed(parsed_ip("fe80::1:1")), Packet(mld_query.begin() + 22, mld_query.begin() + 38));
  struct Code {
    std::uint32_t interval;
    std::uint8_t code;
  };
  for (Code const expected :
       {Code{1, 1}, {127, 127}, {128, 0x80}, {135, 0x80}, {136, 0x81}, {31744, 0xff}, {65535, 0xff}}) {
    configuration.options.query_interval = expected.interval;
    restart();
    EXPECT_EQ(expected.code, ask().deliveries[0].bytes[47]) << expected.interval;
  }
}

TEST_F(Queries, IG_12_X_5_ports_that_can_receive) {
  port(1).is_blocked = true;
  port(2).client->link_up = false;
  trunk(3, 10, {{20, 30}});
  EXPECT_EQ("3 3", ask().line) << "untagged, whatever the VLAN is";
  EXPECT_EQ(hex(igmp_v3), ask().deliveries[0].bytes);
  vswitch().snoops_ipv4 = false;
  restart();
  EXPECT_EQ(hex(mld_v2), ask().deliveries[0].bytes);
  EXPECT_EQ("3", ask().line);
}

TEST_F(Queries, IG_12_how_often) {
  restart();
  EXPECT_EQ(125 * second, query_period(*tables, 0));
  vswitch().is_connected = false;
  restart();
  EXPECT_EQ(0, query_period(*tables, 0));
  vswitch().is_connected = true;
  vswitch().snoops_ipv4 = vswitch().snoops_ipv6 = false;
  restart();
  EXPECT_EQ(0, query_period(*tables, 0));
}

}  // namespace multicast_test
