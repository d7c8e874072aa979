// The list of rules that hosts follow: each has a test with its id in the name.
#include <algorithm>
#include <iterator>

#include "sim_test.hpp"
#include "tests/forwarding/rule_ids.hpp"

namespace rules_test {

constexpr char const *followed[] = {
#define RULE(name, id, text) id,
#include "platform/forwarding/rules_of_host.def"
#undef RULE
};

// Those of the data plane have their own tests; some are seen here, too.
constexpr char const *followed_by_the_data_plane[] = {
#define RULE(name, id, text) id,
#include "platform/forwarding/rules.def"
#undef RULE
};

// All counters of a port stand in one row, which is read by one statement: there is nothing to see.
constexpr char exempt[] = "C-7";

TEST(Rules, tests_bear_the_ids_of_all_rules_that_hosts_follow) {
  std::set<std::string> const names = tested();
  for (std::string const id : followed)
    EXPECT_TRUE(id == exempt || names.count(id)) << id;
}

TEST(Rules, tests_bear_no_ids_of_rules_that_nobody_follows) {
  std::set<std::string> known(std::begin(followed), std::end(followed));
  known.insert(std::begin(followed_by_the_data_plane), std::end(followed_by_the_data_plane));
  std::set<std::string> const names = tested();
  EXPECT_TRUE(std::includes(known.begin(), known.end(), names.begin(), names.end()));
}

TEST(Rules, have_texts_by_their_ids) {
  EXPECT_STREQ("a trunk takes tagged frames of the VLANs that it has", vssim_rule_text("V-3"));
  EXPECT_STREQ("endpoints", vssim_rule_text("API-1"));
  EXPECT_EQ(nullptr, vssim_rule_text("V-99"));
  EXPECT_STREQ("vlan-tagged", vssim_reason_name(17));
  EXPECT_EQ(nullptr, vssim_reason_name(36));
}

}  // namespace rules_test
