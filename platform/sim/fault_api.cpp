// The C interface: faults on demand, the trace.
#include "platform/core/fault_words.hpp"
#include "platform/core/status_names.hpp"
#include "platform/core/trace.hpp"
#include "platform/sim/arguments.hpp"
#include "platform/sim/json_text.hpp"

namespace {

using host::Database;
using host::FaultKind;
using host::FaultRule;
using host::JsonObject;
using sim::entry;
using sim::fail;
using sim::simulation;

// A member that is left out or null has its default.
bool is_given(JsonObject &object, char const *member) {
  host::Document const *const value = object.find(member);
  return value && !value->is_null();
}

host::DescribedFault read_fault(JsonObject &object) {
  host::DescribedFault fault;
  fault.kind = object.name("kind", SIZE_MAX);
  for (auto const &[member, text] : {std::pair("call", &fault.call), std::pair("status", &fault.status),
                                     std::pair("exception", &fault.exception), std::pair("message", &fault.message)}) {
    if (is_given(object, member))
      *text = object.text(member, SIZE_MAX);
  }
  if (is_given(object, "milliseconds"))
    fault.milliseconds = object.number_up_to("milliseconds", 0, host::longest_delay);
  if (is_given(object, "skip"))
    fault.skip = object.number("skip", 0);
  if (is_given(object, "times"))
    fault.times = object.number_from("times", 1, 1, UINT32_MAX);
  if (is_given(object, "seed"))
    fault.seed = object.large_number("seed", 0);
  if (is_given(object, "probability"))
    fault.probability = object.fraction("probability", 1);
  constexpr double least = 0.000001;
  if (!(fault.probability >= least && fault.probability <= 1))
    host::wrong(object.place("probability"), "must be a number from 0.000001 to 1");
  return fault;
}

// What a rule does not have is null, as for who makes one.
void add_rule(sim::JsonText &json, FaultRule const &rule) {
  bool const has_status = rule.kind == FaultKind::fail || rule.kind == FaultKind::fail_after;
  bool const aborts = rule.kind == FaultKind::abort;
  json.begin_object().member("number").number(rule.number);
  json.member("kind").text(host::fault_kind_word(rule.kind));
  json.member("call").text_or_null(rule.call.empty() ? std::nullopt : std::optional(rule.call));
  char const *const status = host::status_name(rule.status);
  json.member("status").text_or_null(has_status && status ? std::optional<std::string>(status) : std::nullopt);
  json.member("exception")
      .text_or_null(aborts ? std::optional(host::exception_word(rule.exception_class)) : std::nullopt);
  json.member("message").text(aborts ? rule.message : "");
  json.member("milliseconds").number(rule.milliseconds).member("skip").number(rule.skip).member("times");
  if (rule.times)
    json.number(*rule.times);
  else
    json.null();
  json.member("probability").fraction(static_cast<double>(rule.in_million) / host::always_in_million);
  json.member("seed").unsigned_number(rule.generator).member("met").number(rule.met).end_object();
}

}  // namespace

int vssim_fault(vssim_host *host, char const *json, int64_t *number) {
  return entry([&] {
    sim::clear(number);
    FaultRule rule;
    sim::read_object(json, [&](JsonObject &object) {
      try {
        rule = host::fault_rule(read_fault(object));
      } catch (host::FaultDescriptionError const &error) {
        fail(VSSIM_BAD_ARGUMENT, error.what());
      }
    });
    simulation(host).change(
        [&](Database &database, sim::Endpoints const &) { *number = host::add_fault(database, rule); });
  });
}

int vssim_clear_fault(vssim_host *host, int64_t number) {
  return entry([&] {
    simulation(host).change([&](Database &database, sim::Endpoints const &) {
      if (number == 0) {
        host::clear_all_faults(database);
        return;
      }
      std::vector<FaultRule> const rules = host::load_faults(database);
      if (std::none_of(rules.begin(), rules.end(), [&](FaultRule const &rule) { return rule.number == number; }))
        fail(VSSIM_NOT_FOUND, "no fault " + std::to_string(number));
      host::clear_fault(database, number);
    });
  });
}

int vssim_faults(vssim_host *host, char **json) {
  return entry([&] {
    sim::clear(json);
    simulation(host).read([&](Database &database, sim::Endpoints const &) {
      sim::JsonText text;
      text.begin_list();
      for (FaultRule const &rule : host::load_faults(database))
        add_rule(text, rule);
      text.end_list();
      *json = sim::handed_out_text(text.str());
    });
  });
}

int vssim_trace(vssim_host *host, char const *path) {
  return entry([&] {
    sim::require(!path || *path, "an empty path");
    simulation(host).trace(path ? std::make_shared<host::TraceFile>(path) : nullptr);
  });
}
