// Which port moves to another uplink because of the load, and by what that is remembered.
#include "platform/forwarding/load_balance.hpp"

#include <gtest/gtest.h>

#include <vector>

#include "constants/constants.hpp"

namespace load_balance_test {

using namespace forwarding;

// As much as an uplink of 1000 Mbit/s carries in the interval, in percent.
constexpr std::uint64_t percent(std::uint64_t number) {
  return number * (1000000000ULL / 8 * 30) / 100;
}

// "PORT>UPLINK", or nothing.
std::string moved(std::vector<LoadedUplink> const &uplinks, std::vector<LoadingPort> const &ports) {
  std::optional<LoadMove> const move = balance_load(uplinks, ports);
  return move ? std::to_string(ports[move->port].number) + ">" + std::to_string(move->uplink) : "";
}

TEST(LoadBalance, T_7_above_three_quarters_the_greatest_that_helps_moves) {
  std::vector<LoadingPort> const ports{{3, percent(30), 0}, {4, percent(40), 0}, {5, percent(5), 1}};
  EXPECT_EQ("", moved({{0, percent(75), 1000}, {1, percent(5), 1000}}, ports));
  EXPECT_EQ("4>1", moved({{0, percent(75) + 1, 1000}, {1, percent(5), 1000}}, ports));
}

TEST(LoadBalance, T_7_of_ports_that_send_as_much_the_lowest_number) {
  std::vector<LoadingPort> const ports{{9, percent(40), 0}, {7, percent(40), 0}};
  EXPECT_EQ("7>1", moved({{0, percent(80), 1000}, {1, 0, 1000}}, ports));
}

TEST(LoadBalance, T_7_one_whose_move_would_make_the_other_as_loaded_stays) {
  // 80 of 90 there would be more than 90 here.
  std::vector<LoadingPort> const ports{{3, percent(80), 0}, {4, percent(10), 0}};
  EXPECT_EQ("4>1", moved({{0, percent(90), 1000}, {1, percent(15), 1000}}, ports));
  EXPECT_EQ("", moved({{0, percent(90), 1000}, {1, percent(85), 1000}}, ports));
  EXPECT_EQ("", moved({{0, percent(90), 1000}, {1, percent(80), 1000}}, ports));
  EXPECT_EQ("4>1", moved({{0, percent(90), 1000}, {1, percent(80) - 1, 1000}}, ports));
}

TEST(LoadBalance, T_7_loads_are_parts_of_the_speed) {
  std::vector<LoadingPort> const ports{{3, percent(8), 1}, {4, percent(50), 0}};
  EXPECT_EQ("3>0", moved({{0, percent(50), 1000}, {1, percent(8), 100}}, ports));
}

TEST(LoadBalance, T_7_ties_of_uplinks_go_by_their_order) {
  std::vector<LoadingPort> const ports{{3, percent(40), 0}, {4, percent(40), 1}};
  std::vector<LoadedUplink> const uplinks{{1, percent(80), 1000}, {0, percent(80), 1000}, {3, 0, 1000}, {2, 0, 1000}};
  EXPECT_EQ("4>3", moved(uplinks, ports));
  EXPECT_EQ("", moved({{0, percent(80), 1000}}, ports));
  EXPECT_EQ("", moved({}, ports));
}

TEST(LoadBalance, T_7_a_move_is_by_a_policy_and_what_is_fit_by_it) {
  Team team;
  team.load_balance = constant::TEAM_FRP_TYPE_LB_LBT;
  team.criteria = constant::TEAM_FRP_CRIT_LINK_STATE;
  team.wanted.emplace();
  team.active = {0, 1, 2};
  std::vector<Member> members(3);
  for (Member &member : members)
    member.has_nic = member.link_up = true;
  auto const basis = [&] { return basis_of_moves(team, fit_uplinks(team, members, std::nullopt), members); };
  std::string const first = basis();
  EXPECT_EQ(first, basis());
  members[2].link_up = false;
  EXPECT_NE(first, basis());
  members[2].link_up = true;
  EXPECT_EQ(first, basis());
  members[2].recovery = 1;
  EXPECT_NE(first, basis());
  members[2].recovery = 0;
  team.flags = constant::TEAM_FRP_FLAG_NOTIFY_SWITCH;
  EXPECT_NE(first, basis());
}

TEST(LoadBalance, T_7_a_port_stays_where_it_was_moved_while_that_is_fit) {
  Team team;
  team.load_balance = constant::TEAM_FRP_TYPE_LB_LBT;
  team.active = {0, 1};
  std::vector<Member> const members(2);
  Fit const fit = fit_uplinks(team, members, std::nullopt);
  TeamPort port{4, 0, std::nullopt, std::nullopt};
  EXPECT_EQ(0, *pick(fit, team, port, nullptr));
  port.moved = 1;
  EXPECT_EQ(1, *pick(fit, team, port, nullptr));
  port.moved = 7;
  EXPECT_EQ(0, *pick(fit, team, port, nullptr));
  team.load_balance = constant::TEAM_FRP_TYPE_LB_SRCID;
  port.moved = 1;
  EXPECT_EQ(0, *pick(fit, team, port, nullptr));
}

}  // namespace load_balance_test
