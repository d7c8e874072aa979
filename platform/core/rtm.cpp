// Save and restore (RTM): switches keep their running state over an upgrade of their modules.
#include "platform/core/rtm.hpp"

#include <algorithm>
#include <optional>
#include <set>
#include <string>

#include "platform/core/clock.hpp"
#include "platform/core/host_settings.hpp"
#include "platform/core/properties.hpp"
#include "platform/core/traffic.hpp"

namespace host {

namespace {

constexpr std::int64_t microseconds_per_millisecond = 1000;

struct SwitchState {
  std::int64_t step;
  bool dual_load;
  std::int64_t switch_mode;
  std::int64_t portset_mode;
  std::int64_t most_outage;  // milliseconds; 0 for no limit
  std::optional<std::int64_t> blocked_at;
};

std::optional<SwitchState> load_state(Database &database, RowId vswitch) {
  Rows row = database.rows(
      "SELECT step, dual_load, switch_mode, portset_mode, most_outage, blocked_at FROM rtm_switch WHERE vswitch = ?",
      vswitch);
  if (!row.next())
    return std::nullopt;
  SwitchState state{row.integer(0), row.integer(1) != 0, row.integer(2), row.integer(3), row.integer(4), std::nullopt};
  if (!row.is_null(5))
    state.blocked_at = row.integer(5);
  return state;
}

// A step and the one before it. Registering for saving comes first, and completing may come at any time.
struct StepRule {
  std::int64_t step;
  std::int64_t after;
};

constexpr StepRule step_rules[] = {
    {RTM_IOCCMD_SAVE, RTM_IOCCMD_REG_SAVE},
    {RTM_IOCCMD_PREDUALLOAD, RTM_IOCCMD_REG_SAVE_DUALLOAD},
    {RTM_IOCCMD_SAVE, RTM_IOCCMD_PREDUALLOAD},
    {RTM_IOCCMD_SAVE, RTM_IOCCMD_SAVE},
    {RTM_IOCCMD_BLOCKPORTS, RTM_IOCCMD_SAVE},
    {RTM_IOCCMD_PS_UPGRADE, RTM_IOCCMD_BLOCKPORTS},
    {RTM_IOCCMD_PORT_UPGRADE, RTM_IOCCMD_PS_UPGRADE},
    {RTM_IOCCMD_REG_RESTORE, RTM_IOCCMD_PORT_UPGRADE},
    {RTM_IOCCMD_REG_RESTORE_DUALLOAD, RTM_IOCCMD_PORT_UPGRADE},
    {RTM_IOCCMD_RESTORE, RTM_IOCCMD_REG_RESTORE},
    {RTM_IOCCMD_RESTORE, RTM_IOCCMD_REG_RESTORE_DUALLOAD},
    {RTM_IOCCMD_RESTORE_COMPLETE, RTM_IOCCMD_RESTORE},
};

void refuse_step(std::int64_t step, SwitchState const &state) {
  bool const is_next = std::any_of(std::begin(step_rules), std::end(step_rules),
                                   [&](StepRule const &rule) { return rule.step == step && rule.after == state.step; });
  refuse_if(!is_next, QEL_INVALID_STATE);
  bool const registers = step == RTM_IOCCMD_REG_RESTORE || step == RTM_IOCCMD_REG_RESTORE_DUALLOAD;
  refuse_if(registers && state.dual_load != (step == RTM_IOCCMD_REG_RESTORE_DUALLOAD), QEL_INVALID_STATE);
}

void forget_saved(Database &database, RowId vswitch) {
  forget_saved_values(database, vswitch);
  forget_saved_traffic(database, vswitch);
}

// What an upgrade loses.
void save(Database &database, RowId vswitch) {
  forget_saved_values(database, vswitch);
  save_volatile_values(database, vswitch);
  save_traffic(database, vswitch);
}

void lose_running_state(Database &database, RowId vswitch) {
  forget_volatile_properties(database, vswitch);
  lose_traffic(database, vswitch);
}

// Ports that have gone since then lose what they had; what was set or learned since then stays.
void restore(Database &database, RowId vswitch) {
  for (auto const &[place, property] : saved_values(database, vswitch)) {
    set_property(
        database, place, property.name,
        {.value = property.value, .owner = property.owner, .lifetime = Lifetime::until_boot, .type = property.type});
  }
  restore_traffic(database, vswitch);
}

std::int64_t outage(SwitchState const &state, std::int64_t now) {
  return state.blocked_at ? std::max<std::int64_t>(now - *state.blocked_at, 0) / microseconds_per_millisecond : 0;
}

void refuse_long_outage(SwitchState const &state, std::int64_t now) {
  refuse_if(state.most_outage != 0 && outage(state, now) > state.most_outage, QEL_TIMEOUT);
}

void register_for_saving(Database &database, RtmRequest const &request, bool dual_load, std::uint32_t most_outage) {
  refuse_if(load_state(database, request.vswitch).has_value(), QEL_EALREADY);
  database.execute(
      "INSERT INTO rtm_switch (vswitch, step, dual_load, switch_mode, portset_mode, most_outage)"
      " VALUES (?, ?, ?, ?, ?, ?)",
      request.vswitch, dual_load ? RTM_IOCCMD_REG_SAVE_DUALLOAD : RTM_IOCCMD_REG_SAVE, dual_load, request.switch_mode,
      request.portset_mode, most_outage);
}

SwitchState registered_state(Database &database, RowId vswitch) {
  std::optional<SwitchState> const state = load_state(database, vswitch);
  refuse_if(!state, QEL_INVALID_STATE);
  return *state;
}

// Modules that are to be restored must have been.
void refuse_unrestored_modules(Database &database, RowId vswitch) {
  Rows waiting = database.rows("SELECT 1 FROM rtm_module WHERE vswitch = ? AND step IN (?, ?)", vswitch,
                               RTM_IOCCMD_REG_RESTORE, RTM_IOCCMD_REG_RESTORE_DUALLOAD);
  refuse_if(waiting.next(), QEL_BUSY);
}

void complete(Database &database, RowId vswitch) {
  refuse_unrestored_modules(database, vswitch);
  unblock_all_ports(database, vswitch);
  forget_saved(database, vswitch);
  database.execute("DELETE FROM rtm_module WHERE vswitch = ?", vswitch);
  database.execute("DELETE FROM rtm_switch WHERE vswitch = ?", vswitch);
}

// The enhanced datapath of a switch: switched over, or only looked at.
void answer_modes(RtmRequest &request, SwitchState const &state) {
  request.switch_mode = static_cast<std::uint32_t>(state.switch_mode);
  request.portset_mode = static_cast<std::uint32_t>(state.portset_mode);
}

void change_mode(Database &database, RtmRequest &request) {
  SwitchState const state = registered_state(database, request.vswitch);
  refuse_if(request.switch_mode > RTM_IOCCMD_ORV_ACTIVATE, QEL_BAD_PARAM);
  database.execute("UPDATE rtm_switch SET switch_mode = ?, portset_mode = ? WHERE vswitch = ?", request.switch_mode,
                   request.portset_mode, request.vswitch);
  answer_modes(request, state);
}

void run_step(Database &database, std::int64_t mode, RtmRequest &request, RtmAnswer &answer) {
  RowId const vswitch = request.vswitch;
  SwitchState const state = registered_state(database, vswitch);
  refuse_step(mode, state);
  std::int64_t const now = clock_now(database);
  switch (mode) {
    case RTM_IOCCMD_SAVE: save(database, vswitch); break;
    case RTM_IOCCMD_BLOCKPORTS:
      block_all_ports(database, vswitch);
      database.execute("UPDATE rtm_switch SET blocked_at = ? WHERE vswitch = ?", now, vswitch);
      break;
    case RTM_IOCCMD_PS_UPGRADE:
      refuse_long_outage(state, now);
      lose_running_state(database, vswitch);
      break;
    case RTM_IOCCMD_PORT_UPGRADE: refuse_long_outage(state, now); break;
    case RTM_IOCCMD_RESTORE:
      restore(database, vswitch);
      answer_modes(request, state);
      break;
    case RTM_IOCCMD_RESTORE_COMPLETE:
      refuse_unrestored_modules(database, vswitch);
      unblock_all_ports(database, vswitch);
      answer.longest_outage = std::max(
          answer.longest_outage, static_cast<std::uint32_t>(std::min<std::int64_t>(outage(state, now), UINT32_MAX)));
      break;
    default: break;
  }
  database.execute("UPDATE rtm_switch SET step = ? WHERE vswitch = ?", mode, vswitch);
}

std::optional<std::int64_t> module_step(Database &database, RowId vswitch, std::int64_t module) {
  Rows row = database.rows("SELECT step FROM rtm_module WHERE vswitch = ? AND module = ?", vswitch, module);
  if (!row.next())
    return std::nullopt;
  return row.integer(0);
}

// What a module must have done before, when its switch has come to where it takes part.
bool module_may(std::int64_t mode, std::int64_t last) {
  switch (mode) {
    case RTM_IOCCMD_SAVE: return last == RTM_IOCCMD_REG_SAVE || last == RTM_IOCCMD_REG_SAVE_DUALLOAD;
    case RTM_IOCCMD_REG_RESTORE:
    case RTM_IOCCMD_REG_RESTORE_DUALLOAD: return last == RTM_IOCCMD_SAVE;
    case RTM_IOCCMD_RESTORE: return last == RTM_IOCCMD_REG_RESTORE || last == RTM_IOCCMD_REG_RESTORE_DUALLOAD;
    default: return false;
  }
}

void refuse_early_restore(std::int64_t mode, SwitchState const &state) {
  bool const restores = mode == RTM_IOCCMD_RESTORE;
  refuse_if(restores && state.step != RTM_IOCCMD_RESTORE, QEL_INVALID_STATE);
}

}  // namespace

RtmAnswer run_rtm_step(Database &database, std::int64_t mode, std::vector<RtmRequest> switches,
                       std::uint32_t most_outage) {
  refuse_if(mode < RTM_IOCCMD_REG_SAVE || mode > RTM_IOCCMD_CSWITCH_OP, QEL_BAD_PARAM);
  std::set<RowId> distinct;
  for (RtmRequest const &request : switches)
    refuse_if(!distinct.insert(request.vswitch).second, QEL_EXISTS);
  RtmAnswer answer{std::move(switches), 0};
  if (mode == RTM_IOCCMD_GLOBALCONFIG_SAVERESTORE) {
    save_or_restore_settings(database);
    return answer;
  }
  refuse_if(answer.switches.empty(), QEL_BAD_PARAM);
  for (RtmRequest &request : answer.switches) {
    switch (mode) {
      case RTM_IOCCMD_REG_SAVE:
      case RTM_IOCCMD_REG_SAVE_DUALLOAD:
        register_for_saving(database, request, mode == RTM_IOCCMD_REG_SAVE_DUALLOAD, most_outage);
        break;
      case RTM_IOCCMD_COMPLETE:
        registered_state(database, request.vswitch);
        complete(database, request.vswitch);
        break;
      case RTM_IOCCMD_ORV_OP: change_mode(database, request); break;
      case RTM_IOCCMD_CSWITCH_OP: answer_modes(request, registered_state(database, request.vswitch)); break;
      default: run_step(database, mode, request, answer);
    }
  }
  return answer;
}

void run_rtm_module_step(Database &database, std::int64_t mode, RowId vswitch, std::vector<RtmModule> const &modules) {
  refuse_if(mode < RTM_IOCCMD_REG_SAVE || mode > RTM_IOCCMD_CSWITCH_OP, QEL_BAD_PARAM);
  refuse_if(modules.empty(), QEL_BAD_PARAM);
  SwitchState const state = registered_state(database, vswitch);
  refuse_early_restore(mode, state);
  std::set<std::int64_t> distinct;
  for (RtmModule const &module : modules) {
    refuse_if(module.module < 0, QEL_INVALID_MODULE);
    refuse_if(!distinct.insert(module.module).second, QEL_EXISTS);
    std::optional<std::int64_t> const last = module_step(database, vswitch, module.module);
    if (mode == RTM_IOCCMD_REG_SAVE || mode == RTM_IOCCMD_REG_SAVE_DUALLOAD) {
      refuse_if(last.has_value(), QEL_EALREADY);
      refuse_if(state.dual_load != (mode == RTM_IOCCMD_REG_SAVE_DUALLOAD), QEL_INVALID_STATE);
      database.execute("INSERT INTO rtm_module (vswitch, module, step, is_from) VALUES (?, ?, ?, ?)", vswitch,
                       module.module, mode, module.is_from);
      continue;
    }
    refuse_if(!last, QEL_NOT_FOUND);
    if (mode == RTM_IOCCMD_COMPLETE) {
      database.execute("DELETE FROM rtm_module WHERE vswitch = ? AND module = ?", vswitch, module.module);
      continue;
    }
    refuse_if(!module_may(mode, *last), QEL_INVALID_STATE);
    database.execute("UPDATE rtm_module SET step = ?, is_from = ? WHERE vswitch = ? AND module = ?", mode,
                     module.is_from, vswitch, module.module);
  }
}

void block_port(Database &database, std::uint32_t port_number, std::int64_t world) {
  RowId const vswitch = port_by_number(database, port_number).vswitch;
  refuse_if(world < 0, QEL_INVALID_WORLD);
  registered_state(database, vswitch);
  std::optional<std::int64_t> const other = blocking_world(database, port_number);
  refuse_if(other && *other != world, QEL_BUSY);
  block_for_world(database, port_number, world);
}

void unblock_port(Database &database, std::uint32_t port_number, std::int64_t world) {
  port_by_number(database, port_number);
  refuse_if(world < 0, QEL_INVALID_WORLD);
  std::optional<std::int64_t> const other = blocking_world(database, port_number);
  refuse_if(other && *other != world, QEL_NO_PERMISSION);
  unblock(database, port_number);
}

void forget_rtm(Database &database) {
  database.execute("DELETE FROM rtm_switch");
  database.execute("DELETE FROM rtm_module");
  forget_blocked_ports(database);
  forget_saved_values(database, all_switches);
  forget_all_saved_traffic(database);
  forget_saved_settings(database);
}

}  // namespace host
