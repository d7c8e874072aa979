// The lists of rules and reasons: complete, and each rule that is followed has a test with its id in the name.
#include "platform/forwarding/rules.hpp"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "rule_ids.hpp"

namespace rules_test {

using namespace forwarding;

// All that there is to follow.
constexpr char all_rules[] =
    "CORE-1 CORE-2 CORE-3 CORE-4 CORE-5 CORE-6 CORE-7 API-1 API-2 API-3 API-4 API-5 API-6 API-7 API-8 API-9 API-10 "
    "API-11 API-12 P-0 P-1 P-2 P-3 P-4 P-5 P-6 P-7 X-1 X-2 X-3 X-4 X-5 X-6 V-1 V-2 V-3 V-4 V-5 V-6 V-8 V-10 V-11 V-12 "
    "V-13 V-14 V-15 V-16 PV-1 PV-2 PV-3 PV-4 MAC-1 MAC-2 MAC-3 MAC-4 MAC-5 MAC-6 MAC-7 MAC-8 MAC-9 MAC-10 MAC-11 "
    "MAC-12 MAC-20 S-1 S-2 S-3 S-4 S-5 S-9 S-10 IG-1 IG-2 IG-3 IG-4 IG-5 IG-6 IG-7 IG-8 IG-9 IG-11 IG-12 IG-20 T-1 T-2 "
    "T-3 T-4 T-5 T-7 T-8 T-9 T-12 T-13 T-14 T-15 T-16 T-17 T-20 T-21 BC-1 BC-2 BC-3 BC-4 N-1 N-2 N-3 N-4 N-5 N-6 L-1 "
    "L-2 L-3 L-4 L-5 L-6 L-7 L-9 L-10 L-12 M-1 M-2 M-3 M-4 M-5 M-6 M-8 M-9 M-10 M-11 M-12 E-0 E-1 E-3 E-4 E-5 C-1 C-2 "
    "C-3 C-4 C-5 C-6 C-7 K-1 K-2 K-3 K-4 K-5 K-6 K-7 K-8 D-1 D-2 D-3 D-4 D-5 D-6";

constexpr char const *followed[] = {
#define RULE(name, id, text) id,
#include "platform/forwarding/rules.def"
#undef RULE
};

// By the hosts around it; tests/sim compares these with its tests.
constexpr char const *followed_by_hosts[] = {
#define RULE(name, id, text) id,
#include "platform/forwarding/rules_of_host.def"
#undef RULE
};

// By the interfaces in front of them; tests/simulated compares these with its tests.
constexpr char const *followed_by_interfaces[] = {
#define RULE(name, id, text) id,
#include "platform/forwarding/rules_of_interfaces.def"
#undef RULE
};

std::set<std::string> words(char const *text) {
  std::istringstream stream(text);
  std::set<std::string> found;
  for (std::string word; stream >> word;)
    found.insert(word);
  return found;
}

TEST(Rules, the_lists_have_each_rule_once) {
  std::multiset<std::string> listed(std::begin(followed), std::end(followed));
  listed.insert(std::begin(followed_by_hosts), std::end(followed_by_hosts));
  listed.insert(std::begin(followed_by_interfaces), std::end(followed_by_interfaces));
  std::set<std::string> const all = words(all_rules);
  EXPECT_EQ(std::multiset<std::string>(all.begin(), all.end()), listed);
}

TEST(Rules, tests_bear_the_ids_of_all_rules_that_are_followed_and_of_no_others) {
  EXPECT_EQ(std::set<std::string>(std::begin(followed), std::end(followed)), tested());
}

TEST(Rules, have_a_text_and_are_found_by_their_id) {
  for (std::string const &id : words(all_rules)) {
    std::optional<Rule> const rule = find_rule(id);
    ASSERT_TRUE(rule) << id;
    EXPECT_EQ(id, rule_id(*rule));
    EXPECT_STRNE("", rule_text(*rule));
    EXPECT_EQ(std::string::npos, std::string(rule_text(*rule)).find('\n'));
  }
  EXPECT_EQ(std::nullopt, find_rule("V-99"));
}

TEST(Rules, reasons_and_their_numbers) {
  constexpr char names[] =
      "nic-unbound no-portset forwarding-disabled zombie-port no-client link-down port-blocked runt malformed too-long "
      "reserved-address bad-source forged-source lacp-down mirror-destination vlan-reserved vlan-tagged "
      "vlan-not-allowed vlan-untagged nested-tag private-vlan mac-limit unknown-unicast same-port uplink-to-uplink "
      "not-a-member multicast-filtered no-receiver reverse-path no-uplink team-blocked mac-changed reflected no-nic "
      "vlan-egress";
  std::istringstream stream(names);
  unsigned number = 0;
  for (std::string name; stream >> name;)
    EXPECT_EQ(name, reason_name(++number));
  EXPECT_EQ(35u, number);
  EXPECT_EQ(nullptr, reason_name(0));
  EXPECT_EQ(nullptr, reason_name(36));
  EXPECT_EQ(17u, static_cast<unsigned>(Reason::vlan_tagged));
}

}  // namespace rules_test
