// The rules of the data plane and its reasons to drop a frame, by name.
#include "platform/forwarding/rules.hpp"

#include <iterator>

namespace forwarding {

namespace {

struct RuleRow {
  char const *id;
  char const *text;
};

constexpr RuleRow rules[] = {
#define RULE(name, id, text) {id, text},
#include "platform/forwarding/rules.def"
#include "platform/forwarding/rules_of_host.def"
#include "platform/forwarding/rules_of_interfaces.def"
#undef RULE
};

struct ReasonRow {
  char const *name;
  Rule rule;
};

constexpr ReasonRow reasons[] = {
#define REASON(name, text, rule) {text, Rule::rule},
#include "platform/forwarding/reasons.def"
#undef REASON
};

}  // namespace

char const *rule_id(Rule rule) {
  return rules[static_cast<std::size_t>(rule)].id;
}

char const *rule_text(Rule rule) {
  return rules[static_cast<std::size_t>(rule)].text;
}

std::optional<Rule> find_rule(std::string_view id) {
  for (std::size_t i = 0; i < std::size(rules); ++i) {
    if (rules[i].id == id)
      return static_cast<Rule>(i);
  }
  return std::nullopt;
}

char const *reason_name(unsigned number) {
  return number >= 1 && number <= std::size(reasons) ? reasons[number - 1].name : nullptr;
}

Rule rule_of(Reason reason) {
  return reasons[static_cast<std::size_t>(reason) - 1].rule;
}

}  // namespace forwarding
