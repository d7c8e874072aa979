// The rules of the data plane and its reasons to drop a frame, by name.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace forwarding {

enum class Rule : std::uint8_t {
#define RULE(name, id, text) name,
#include "platform/forwarding/rules.def"
#include "platform/forwarding/rules_of_host.def"
#include "platform/forwarding/rules_of_interfaces.def"
#undef RULE
};

enum class Reason : std::uint16_t {
  none,
#define REASON(name, text, rule) name,
#include "platform/forwarding/reasons.def"
#undef REASON
};

// "V-3", and what it says in one line.
char const *rule_id(Rule rule);
char const *rule_text(Rule rule);

// By its id; none for a text that is no rule's.
std::optional<Rule> find_rule(std::string_view id);

// "vlan-tagged"; null for a number that is no reason's.
char const *reason_name(unsigned number);

// The rule that such a drop names where no other has decided.
Rule rule_of(Reason reason);

// What a step says: it goes on, or the frame ends there for a reason, or it is consumed.
struct Verdict {
  Rule rule;
  Reason reason = Reason::none;
  bool is_consumed = false;

  bool passes() const { return reason == Reason::none && !is_consumed; }
};

constexpr Verdict pass(Rule rule) {
  return {rule};
}

inline Verdict refuse(Reason reason) {
  return {rule_of(reason), reason};
}

constexpr Verdict consume(Rule rule) {
  return {rule, Reason::none, true};
}

}  // namespace forwarding
