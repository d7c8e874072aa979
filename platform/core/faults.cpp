// Faults on demand: rules in the state file that make calls fail, abort or answer late.
#include "platform/core/faults.hpp"

#include <algorithm>

#include "platform/core/status_names.hpp"

namespace host {

namespace {

#define FAULT_COLUMNS \
  "id, call, kind, status, exception_class, message, milliseconds, skip, times, in_million, generator, met"

FaultRule read_fault(Rows const &row) {
  FaultRule rule;
  rule.number = row.integer(0);
  rule.call = row.text(1);
  rule.kind = static_cast<FaultKind>(row.integer(2));
  rule.status = static_cast<Status>(row.integer(3));
  rule.exception_class = static_cast<ExceptionClass>(row.integer(4));
  rule.message = row.text(5);
  rule.milliseconds = static_cast<std::uint32_t>(row.integer(6));
  rule.skip = static_cast<std::uint32_t>(row.integer(7));
  if (!row.is_null(8))
    rule.times = static_cast<std::uint32_t>(row.integer(8));
  rule.in_million = static_cast<std::uint32_t>(row.integer(9));
  rule.generator = static_cast<std::uint64_t>(row.integer(10));
  rule.met = row.integer(11);
  return rule;
}

// SplitMix64: one addition and a mix of its result, so that the state is a single number.
std::uint64_t next_random(std::uint64_t &state) {
  state += 0x9e3779b97f4a7c15;
  std::uint64_t mixed = state;
  mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9;
  mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111eb;
  return mixed ^ (mixed >> 31);
}

// Whether the rule meets this call; counts the call.
bool meets(FaultRule &rule) {
  if (rule.skip > 0) {
    --rule.skip;
    return false;
  }
  if (rule.times == 0)
    return false;
  if (rule.in_million < always_in_million && next_random(rule.generator) % always_in_million >= rule.in_million)
    return false;
  if (rule.times)
    --*rule.times;
  ++rule.met;
  return true;
}

void store_progress(Database &database, FaultRule const &rule) {
  database.execute("UPDATE fault SET skip = ?, generator = ?, met = ? WHERE id = ?", rule.skip,
                   static_cast<std::int64_t>(rule.generator), rule.met, rule.number);
  if (rule.times)
    database.execute("UPDATE fault SET times = ? WHERE id = ?", *rule.times, rule.number);
}

}  // namespace

std::int64_t add_fault(Database &database, FaultRule const &rule) {
  bool const fails = rule.kind == FaultKind::fail || rule.kind == FaultKind::fail_after;
  refuse_if(fails && (rule.status == QEL_OK || !status_name(rule.status)), QEL_BAD_PARAM);
  refuse_if(rule.kind == FaultKind::delay && rule.milliseconds == 0, QEL_BAD_PARAM);
  refuse_if(rule.milliseconds > longest_delay, QEL_BAD_PARAM);
  refuse_if(rule.in_million == 0 || rule.in_million > always_in_million, QEL_BAD_PARAM);
  refuse_if(rule.times == 0, QEL_BAD_PARAM);
  database.execute(
      "INSERT INTO fault (call, kind, status, exception_class, message, milliseconds, skip, in_million, generator)"
      " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)",
      rule.call, static_cast<int>(rule.kind), rule.status, static_cast<int>(rule.exception_class), rule.message,
      rule.milliseconds, rule.skip, rule.in_million, static_cast<std::int64_t>(rule.generator));
  std::int64_t const number = database.last_row_id();
  if (rule.times)
    database.execute("UPDATE fault SET times = ? WHERE id = ?", *rule.times, number);
  return number;
}

std::vector<FaultRule> load_faults(Database &database) {
  std::vector<FaultRule> rules;
  Rows rows = database.rows("SELECT " FAULT_COLUMNS " FROM fault ORDER BY id");
  while (rows.next())
    rules.push_back(read_fault(rows));
  return rules;
}

void clear_fault(Database &database, std::int64_t number) {
  refuse_if(database.execute("DELETE FROM fault WHERE id = ?", number) == 0, QEL_NOT_FOUND);
}

void clear_all_faults(Database &database) {
  database.execute("DELETE FROM fault");
}

bool has_faults(Database &database) {
  std::uint32_t const version = database.data_version();
  if (database.version_without_faults == version)
    return false;
  Rows rules = database.rows("SELECT 1 FROM fault");
  if (rules.next())
    return true;
  database.version_without_faults = version;
  return false;
}

void keep_knowing_faults(Database &database) {
  database.version_without_faults = database.data_version();
}

Injection next_injection(Database &database, std::string_view call) {
  Injection injection;
  for (FaultRule &rule : load_faults(database)) {
    if (!rule.call.empty() && rule.call != call)
      continue;
    bool const met = meets(rule);
    store_progress(database, rule);
    if (!met)
      continue;
    if (rule.kind != FaultKind::delay) {
      injection.rule = std::move(rule);
      break;
    }
    injection.milliseconds = std::min(injection.milliseconds + rule.milliseconds, longest_delay);
  }
  return injection;
}

}  // namespace host
