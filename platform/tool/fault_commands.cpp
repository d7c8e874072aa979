// The commands for faults on demand.
#include <memory>
#include <optional>

#include "platform/core/fault_words.hpp"
#include "platform/tool/inventory.hpp"
#include "platform/tool/session.hpp"

namespace tool {

namespace {

using namespace host;

std::string fault_line(Json const &rule) {
  std::string line = rule["number"].dump() + ": " + rule["kind"].get<std::string>() + " " +
                     (rule["call"].is_null() ? "every call" : rule["call"].get<std::string>());
  for (char const *member : {"status", "exception", "message", "milliseconds", "skip", "times", "probability", "met"}) {
    if (rule.contains(member) && !rule[member].is_null())
      line += std::string(", ") + member + " " + rule[member].dump();
  }
  return line + "\n";
}

void add_fault_command(CLI::App &parent, Session &session) {
  auto options = std::make_shared<DescribedFault>();
  CLI::App *command = parent.add_subcommand("add", "Adds a rule: which calls it meets, and what happens to them");
  command
      ->add_option("kind", options->kind,
                   "fail: do nothing and report a status; fail-after: do the work and report it nevertheless; abort: "
                   "raise an exception; delay: answer late")
      ->required()
      ->check(CLI::IsMember({"fail", "fail-after", "abort", "delay"}));
  command->add_option("--call", options->call, "The function; without it, every call")->type_name("NAME");
  command->add_option("--status", options->status, "The status that is reported")->type_name("NAME");
  command->add_option("--exception", options->exception, "What an abort raises")
      ->check(CLI::IsMember({"OSError", "RuntimeError", "MemoryError", "ValueError"}));
  command->add_option("--message", options->message, "The text of the exception");
  command->add_option("--milliseconds", options->milliseconds, "The length of a delay")
      ->check(CLI::Range(1u, longest_delay));
  command->add_option("--skip", options->skip, "Let so many matching calls pass first");
  command->add_option("--times", options->times, "Meet so many calls; without it, all")
      ->check(CLI::Range(1u, UINT32_MAX));
  command->add_option("--probability", options->probability, "Meet this share of the calls")
      ->check(CLI::Range(0.000001, 1.0));
  command->add_option("--seed", options->seed, "Where the random numbers start: the same seed meets the same calls");
  command->callback([options, &session] {
    FaultRule const rule = fault_rule(*options);
    std::int64_t number = 0;
    change_host([&](Database &database) { number = add_fault(database, rule); });
    session.answer("fault " + std::to_string(number) + " added\n", {{"number", number}});
  });
}

}  // namespace

void add_fault_commands(CLI::App &app, Session &session) {
  CLI::App *fault = app.add_subcommand("fault", "Faults on demand: make calls fail, abort or answer late");
  fault->require_subcommand(1);
  add_fault_command(*fault, session);

  fault->add_subcommand("list", "Lists the rules")->callback([&session] {
    Json rules = Json::array();
    read_host([&](Database &database) {
      for (FaultRule const &rule : load_faults(database))
        rules.push_back(fault_json(rule));
    });
    std::string text;
    for (Json const &rule : rules)
      text += fault_line(rule);
    session.answer(text, rules);
  });

  auto number = std::make_shared<std::optional<std::int64_t>>();
  CLI::App *clear = fault->add_subcommand("clear", "Removes a rule, or all of them");
  clear->add_option("number", *number, "The rule's number; without it, all");
  clear->callback([number, &session] {
    change_host([&](Database &database) {
      if (*number) {
        clear_fault(database, **number);
      } else {
        clear_all_faults(database);
      }
    });
    session.answer("", Json::object());
  });
}

}  // namespace tool
