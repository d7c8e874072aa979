// Which uplinks are fit, and which of them carries a frame.
#include "platform/forwarding/teaming.hpp"

#include <gtest/gtest.h>

#include "constants/constants.hpp"
#include "tests/forwarding/bytes.hpp"

namespace teaming_test {

using namespace forwarding;
using namespace constant;

// 02:00:00:00:01:0a to 02:00:00:00:00:05, IPv4 192.0.2.1 to 198.51.100.7, UDP 1000 to 2000.
Packet udp_packet() {
  return hex(
      "020000000005 02000000010a 0800"
      "45000024 00000000 40110000 c0000201 c6336407"
      "03e8 07d0 0010 0000 0000000000000000");
}

// The same packet over IPv6, with the given headers between it and UDP.
Packet ipv6_packet(Packet const &headers, char const *next_header) {
  return hex("020000000005 02000000010a 86dd 60000000 0010") + hex(next_header) +
         hex("40 20010db8000000000000000000000001 20010db8000000000000000000000f00") + headers +
         hex("03e8 07d0 0010 0000");
}

std::uint32_t share_of(LagHash hash, Packet const &packet) {
  return lag_share(hash, read_header(packet), 10);
}

// Four uplinks with NICs and links of 10000 Mbit/s.
std::vector<Member> four_uplinks() {
  Member member;
  member.has_nic = member.link_up = member.is_full_duplex = true;
  member.speed = 10000;
  return std::vector<Member>(4, member);
}

Team team_of(int load_balance, std::vector<UplinkPosition> active, std::vector<UplinkPosition> standby = {}) {
  Team team;
  team.load_balance = static_cast<std::uint32_t>(load_balance);
  team.criteria = TEAM_FRP_CRIT_LINK_STATE;
  team.wanted.emplace();
  team.active = std::move(active);
  team.standby = std::move(standby);
  return team;
}

std::vector<int> list(Fit const &fit) {
  std::vector<int> uplinks;
  for (std::size_t i = 0; i < fit.count; ++i)
    uplinks.push_back(fit.uplinks[i]);
  return uplinks;
}

using List = std::vector<int>;

class Teaming : public testing::Test {
 protected:
  std::vector<Member> members = four_uplinks();

  List fit(Team const &team) const { return list(fit_uplinks(team, members, std::nullopt)); }

  int choice(Team const &team, TeamPort const &port, Packet const *packet = nullptr) const {
    Header header;
    if (packet)
      header = read_header(*packet);
    std::optional<UplinkPosition> const chosen = choose(team, members, port, packet ? &header : nullptr);
    return chosen ? *chosen : -1;
  }
};

constexpr TeamPort port7{7, 0x02000000010b, std::nullopt, std::nullopt};

TEST_F(Teaming, T_1_by_port_number) {
  EXPECT_EQ(1, choice(team_of(TEAM_FRP_TYPE_LB_SRCID, {0, 1, 2}), port7));
  EXPECT_EQ(3, choice(team_of(TEAM_FRP_TYPE_LB_SRCID, {0, 1, 2, 3}), port7));
  EXPECT_EQ(1, choice(team_of(TEAM_FRP_TYPE_LB_LBT, {0, 1, 2}), port7));
}

TEST_F(Teaming, T_1_by_source_address) {
  Packet const packet = udp_packet();
  Team const team = team_of(TEAM_FRP_TYPE_LB_SRCMAC, {0, 1, 2});
  EXPECT_EQ(1, choice(team, port7, &packet)) << "0x0a mod 3: the frame's address";
  EXPECT_EQ(2, choice(team, port7)) << "0x0b mod 3: the client's";
  EXPECT_EQ(0, choice(team, {7, 0, std::nullopt, std::nullopt})) << "a client without an address";
}

TEST_F(Teaming, T_1_by_port_number_where_an_ip_hash_has_no_frame) {
  EXPECT_EQ(1, choice(team_of(TEAM_FRP_TYPE_LB_IP, {0, 1, 2}), port7));
}

TEST_F(Teaming, T_1_by_explicit_order) {
  members[2].link_up = false;
  EXPECT_EQ(1, choice(team_of(TEAM_FRP_TYPE_FO_EXPLICIT, {2, 1, 0}), port7));
}

TEST_F(Teaming, T_1_none_uses_the_first_active_uplink_or_nothing) {
  EXPECT_EQ(1, choice(team_of(TEAM_FRP_TYPE_NONE, {1, 0}, {2}), port7));
  members[1].link_up = false;
  EXPECT_EQ(-1, choice(team_of(TEAM_FRP_TYPE_NONE, {1, 0}, {2}), port7));
}

TEST_F(Teaming, T_1_a_tied_port_has_that_uplink) {
  TeamPort tied = port7;
  tied.tied = 3;
  EXPECT_EQ(3, choice(team_of(TEAM_FRP_TYPE_FO_EXPLICIT, {0}), tied));
  members[3].link_up = false;
  EXPECT_EQ(-1, choice(team_of(TEAM_FRP_TYPE_FO_EXPLICIT, {0}), tied));
}

TEST_F(Teaming, T_1_standby_uplinks_stand_behind_active_ones) {
  members[0].link_up = false;
  EXPECT_EQ((List{1, 2}), fit(team_of(TEAM_FRP_TYPE_LB_SRCID, {0, 1}, {2, 3})));
  EXPECT_EQ((List{2}), fit(team_of(TEAM_FRP_TYPE_LB_SRCID, {}, {2, 3}))) << "a policy of standby uplinks only uses one";
}

TEST_F(Teaming, T_1_reverse_reads_each_list_from_its_end) {
  Team team = team_of(TEAM_FRP_TYPE_LB_SRCID, {0, 1}, {2, 3});
  team.flags = TEAM_FRP_FLAG_REVERSE;
  members[1].link_up = false;
  EXPECT_EQ((List{0, 3}), fit(team));
}

TEST_F(Teaming, T_1_uplinks_near_the_client_go_before) {
  members[1].numa_node = 1;
  members[2].numa_node = 1;
  Team const team = team_of(TEAM_FRP_TYPE_LB_SRCID, {0, 1, 2});
  EXPECT_EQ((List{1, 2}), list(fit_uplinks(team, members, 1)));
  EXPECT_EQ((List{0, 1, 2}), list(fit_uplinks(team, members, 5)));
}

TEST_F(Teaming, T_1_no_failure_is_seen_that_no_criterion_looks_for) {
  members[0] = {};
  Team team = team_of(TEAM_FRP_TYPE_FO_EXPLICIT, {0, 1});
  team.criteria = 0;
  EXPECT_EQ((List{0, 1}), fit(team));
  team.criteria = TEAM_FRP_CRIT_DRV_PRESENT;
  EXPECT_EQ((List{1}), fit(team));
  members[1].is_blocked = true;
  team.criteria = TEAM_FRP_CRIT_PORT_BLOCKED;
  EXPECT_EQ((List{0}), fit(team));
}

TEST_F(Teaming, T_1_speed_and_duplex) {
  members[0] = {};
  members[1].speed = 1000;
  members[2].is_full_duplex = false;
  Team team = team_of(TEAM_FRP_TYPE_FO_EXPLICIT, {0, 1, 2, 3});
  team.wanted = WantedLink{0, true, 0};
  team.criteria = TEAM_FRP_CRIT_LINK_SPEED_GTE;
  EXPECT_EQ((List{1, 2, 3}), fit(team)) << "an uplink without a NIC has no speed";
  team.wanted->speed = 1000;
  team.criteria = TEAM_FRP_CRIT_LINK_SPEED;
  EXPECT_EQ((List{1}), fit(team));
  team.criteria = TEAM_FRP_CRIT_LINK_DUPLEX;
  EXPECT_EQ((List{1, 3}), fit(team));
  team.wanted->speed = 40000;
  team.criteria = TEAM_FRP_CRIT_LINK_SPEED_GTE;
  EXPECT_EQ((List{}), fit(team));
  team.flags = TEAM_FRP_FLAG_BEST_EFFORT;
  EXPECT_EQ((List{0, 1, 2, 3}), fit(team));
}

TEST_F(Teaming, T_2_ip_addresses) {
  Packet const ipv4 = udp_packet();
  EXPECT_EQ(0x06336606u, ip_words(read_header(ipv4)));
  // i is 85 = 0x55: mod 4 is 1, mod 3 is 1, mod 2 is 1; of two uplinks less obvious numbers tell no more.
  EXPECT_EQ(1, choice(team_of(TEAM_FRP_TYPE_LB_IP, {0, 1, 2, 3}), port7, &ipv4));
  EXPECT_EQ(3, choice(team_of(TEAM_FRP_TYPE_LB_IP, {0, 1, 2, 3}), port7)) << "7 without a frame";
  Packet const ipv6 = ipv6_packet({}, "11");
  EXPECT_EQ(14 % 4, choice(team_of(TEAM_FRP_TYPE_LB_IP, {0, 1, 2, 3}), port7, &ipv6));
  EXPECT_EQ(14 % 3, choice(team_of(TEAM_FRP_TYPE_LB_IP, {0, 1, 2}), port7, &ipv6));
}

TEST_F(Teaming, T_2_behind_the_outer_tag) {
  Packet const tagged = hex("020000000005 02000000010a 8100 000a 0800 45000014 00000000 40110000 c0000201 c6336407");
  EXPECT_EQ(0x06336606u, ip_words(read_header(tagged)));
}

TEST_F(Teaming, T_2_what_is_no_valid_ip_header_goes_by_addresses) {
  Packet const arp = hex("020000000005 02000000010a 0806") + zeros(28);
  EXPECT_EQ(std::nullopt, ip_words(read_header(arp)));
  EXPECT_EQ((0x0a ^ 0x05) % 4, choice(team_of(TEAM_FRP_TYPE_LB_IP, {0, 1, 2, 3}), port7, &arp));
  Packet packet = udp_packet();
  packet[14] = 0x44;
  EXPECT_EQ(std::nullopt, ip_words(read_header(packet))) << "a header of 16 bytes";
  packet[14] = 0x65;
  EXPECT_EQ(std::nullopt, ip_words(read_header(packet))) << "version 6 in an IPv4 frame";
  packet[14] = 0x4f;
  EXPECT_EQ(std::nullopt, ip_words(read_header(packet))) << "a header of 60 bytes, of which 36 are there";
  packet[14] = 0x45;
  packet.resize(14 + 20);
  EXPECT_EQ(0x06336606u, ip_words(read_header(packet)));
  packet.resize(14 + 19);
  EXPECT_EQ(std::nullopt, ip_words(read_header(packet)));
  Packet ipv6 = ipv6_packet({}, "11");
  ipv6.resize(14 + 39);
  EXPECT_EQ(std::nullopt, ip_words(read_header(ipv6)));
}

TEST_F(Teaming, T_3_hashes) {
  EXPECT_EQ(2063u, share_of(LagHash::l2, udp_packet()));
  EXPECT_EQ(104160082u, share_of(LagHash::l2_l3, udp_packet()));
  EXPECT_EQ(49242036u, share_of(LagHash::l3_l4, udp_packet()));
  EXPECT_EQ(131328u, share_of(LagHash::vlan_source_mac, udp_packet()));
}

TEST_F(Teaming, T_3_hashes_of_what_is_not_ip_are_that_of_layer_2) {
  Packet const arp = hex("020000000005 02000000010a 0806") + zeros(28);
  EXPECT_EQ(0x0fu ^ 0x0806u, share_of(LagHash::l2_l3, arp));
  EXPECT_EQ(0x0fu ^ 0x0806u, share_of(LagHash::l3_l4, arp));
}

TEST_F(Teaming, T_3_ports_of_unfragmented_tcp_and_udp_only) {
  constexpr std::uint32_t ports = 0x03e807d0;
  Packet packet = udp_packet();
  EXPECT_EQ(ports, transport_ports(read_header(packet)));
  packet[23] = 6;
  EXPECT_EQ(ports, transport_ports(read_header(packet)));
  packet[23] = 132;
  EXPECT_EQ(0u, transport_ports(read_header(packet)));
  packet[23] = 17;
  packet[20] = 0x40;
  EXPECT_EQ(ports, transport_ports(read_header(packet))) << "must not be fragmented";
  packet[20] = 0x20;
  EXPECT_EQ(0u, transport_ports(read_header(packet))) << "the first fragment";
  packet[20] = 0;
  packet[21] = 1;
  EXPECT_EQ(0u, transport_ports(read_header(packet))) << "a later fragment";
  packet[21] = 0;
  packet.resize(14 + 20 + 3);
  EXPECT_EQ(0u, transport_ports(read_header(packet))) << "cut short";
}

TEST_F(Teaming, T_3_extension_headers_are_passed) {
  constexpr std::uint32_t ports = 0x03e807d0;
  EXPECT_EQ(ports, transport_ports(read_header(ipv6_packet({}, "11"))));
  // Hop-by-hop of 8 bytes, routing of 16, destination of 8.
  Packet const chain = hex("2b00000000000000 3c01000000000000 0000000000000000 1100000000000000");
  EXPECT_EQ(ports, transport_ports(read_header(ipv6_packet(chain, "00"))));
  EXPECT_EQ(0u, transport_ports(read_header(ipv6_packet(hex("1100000000000000"), "2c")))) << "a fragment header";
  EXPECT_EQ(0u, transport_ports(read_header(ipv6_packet(hex("11ff000000000000"), "00")))) << "longer than the frame";
}

TEST_F(Teaming, T_5_an_uplink_that_came_back_waits_and_rolling_keeps_what_took_over) {
  members[0].is_waiting = true;
  Team team = team_of(TEAM_FRP_TYPE_FO_EXPLICIT, {0, 1});
  EXPECT_EQ((List{1}), fit(team));
  members[0].is_waiting = false;
  members[0].recovery = 1;
  EXPECT_EQ((List{0, 1}), fit(team));
  team.flags = TEAM_FRP_FLAG_ROLLING;
  EXPECT_EQ((List{1, 0}), fit(team));
}

TEST_F(Teaming, T_12_fit_standby_uplinks_follow_where_all_are_available) {
  Team team = team_of(TEAM_FRP_TYPE_LB_SRCID, {0, 1}, {3, 2});
  EXPECT_EQ((List{0, 1}), fit(team));
  team.flags = TEAM_FRP_FLAG_ALL_AVAILABLE;
  EXPECT_EQ((List{0, 1, 3, 2}), fit(team));
  members[3].link_up = false;
  EXPECT_EQ((List{0, 1, 2}), fit(team));
}

TEST_F(Teaming, T_15_a_client_of_lacp_looks_at_it) {
  members[0].is_lacp_down = true;
  Team team = team_of(TEAM_FRP_TYPE_FO_EXPLICIT, {0, 1});
  EXPECT_EQ((List{0, 1}), fit(team));
  team.flags = TEAM_FRP_FLAG_LACP_CLIENT;
  EXPECT_EQ((List{1}), fit(team));
  members[1].link_up = false;
  EXPECT_EQ(List{}, fit(team)) << "and at what it looks at anyway";
  members[1].link_up = true;
  team.flags = 0;
  team.criteria |= TEAM_FRP_CRIT_LACP_PORT_DOWN;
  EXPECT_EQ((List{1}), fit(team));
}

TEST_F(Teaming, T_17_errors_are_a_failure_from_the_percentage_on) {
  Team team = team_of(TEAM_FRP_TYPE_FO_EXPLICIT, {0, 1});
  team.criteria = TEAM_FRP_CRIT_LINK_ERR;
  team.wanted->error_percent = 5;
  members[0].error_percent = 5;
  members[1].error_percent = 4;
  EXPECT_EQ((List{1}), fit(team));
  team.wanted->error_percent = 0;
  EXPECT_EQ((List{0, 1}), fit(team));
  team.wanted.reset();
  members[0].error_percent = 100;
  team.criteria |= TEAM_FRP_CRIT_LINK_SPEED | TEAM_FRP_CRIT_LINK_DUPLEX;
  EXPECT_EQ((List{0, 1}), fit(team)) << "a policy of a logical switch has no parameters";
}

}  // namespace teaming_test
