// Save and restore (RTM): switches keep their running state over an upgrade of their modules.
#include "platform/core/rtm.hpp"

#include <algorithm>
#include <optional>
#include <set>
#include <string>

#include "platform/core/clock.hpp"
#include "platform/core/counters.hpp"
#include "platform/core/mac_table.hpp"
#include "platform/core/properties.hpp"

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
  database.execute("DELETE FROM rtm_saved_property WHERE vswitch = ?", vswitch);
  database.execute("DELETE FROM rtm_saved_mac_entry WHERE vswitch = ?", vswitch);
  database.execute("DELETE FROM rtm_saved_counter WHERE vswitch = ?", vswitch);
}

// What an upgrade loses.
void save(Database &database, RowId vswitch) {
  forget_saved(database, vswitch);
  database.execute(
      "INSERT INTO rtm_saved_property (vswitch, scope, port, name, owner, type, value)"
      " SELECT vswitch, scope, port, name, owner, type, value FROM property WHERE vswitch = ? AND lifetime = 1",
      vswitch);
  database.execute(
      "INSERT INTO rtm_saved_mac_entry (vswitch, mac, vid, vni, type, port, aging, seen, moves)"
      " SELECT vswitch, mac, vid, vni, type, port, aging, seen, moves FROM mac_entry WHERE vswitch = ?",
      vswitch);
  database.execute(
      "INSERT INTO rtm_saved_counter (vswitch, port, name, value)"
      " SELECT vswitch, port, name, value FROM counter WHERE vswitch = ?",
      vswitch);
}

void lose_running_state(Database &database, RowId vswitch) {
  forget_volatile_properties(database, vswitch);
  forget_mac_entries(database, vswitch);
  database.execute("DELETE FROM counter WHERE vswitch = ?", vswitch);
}

// Ports that have gone since then lose what they had; what was set or learned since then stays.
void restore(Database &database, RowId vswitch) {
  struct Saved {
    PropertyPlace place;
    std::string name;
    std::string owner;
    std::int64_t type;
    std::string value;
  };
  std::vector<Saved> properties;
  {
    Rows rows = database.rows(
        "SELECT scope, port, name, owner, type, value FROM rtm_saved_property WHERE vswitch = ?1"
        " AND (port = 0 OR EXISTS (SELECT 1 FROM port WHERE id = rtm_saved_property.port))",
        vswitch);
    while (rows.next()) {
      properties.push_back({{vswitch, static_cast<Scope>(rows.integer(0)), rows.integer(1)},
                            rows.text(2),
                            rows.text(3),
                            rows.integer(4),
                            rows.text(5)});
    }
  }
  for (Saved const &property : properties) {
    set_property(
        database, property.place, property.name,
        {.value = property.value, .owner = property.owner, .lifetime = Lifetime::until_boot, .type = property.type});
  }
  database.execute(
      "INSERT OR IGNORE INTO mac_entry (vswitch, mac, vid, vni, type, port, aging, seen, moves)"
      " SELECT vswitch, mac, vid, vni, type, port, aging, seen, moves FROM rtm_saved_mac_entry AS saved"
      " WHERE vswitch = ? AND EXISTS (SELECT 1 FROM port WHERE id = saved.port)",
      vswitch);
  struct SavedCounter {
    RowId port;
    std::string name;
    std::uint64_t value;
  };
  std::vector<SavedCounter> counters;
  {
    Rows rows = database.rows(
        "SELECT port, name, value FROM rtm_saved_counter AS saved WHERE vswitch = ?"
        " AND (port = 0 OR EXISTS (SELECT 1 FROM port WHERE id = saved.port))",
        vswitch);
    while (rows.next())
      counters.push_back({rows.integer(0), rows.text(1), static_cast<std::uint64_t>(rows.integer(2))});
  }
  // They go on from where they were.
  for (SavedCounter const &saved : counters)
    add_to_counter(database, vswitch, saved.port, saved.name, saved.value);
}

void block_switch(Database &database, RowId vswitch) {
  database.execute("INSERT OR IGNORE INTO rtm_blocked_port (port, world) SELECT id, NULL FROM port WHERE vswitch = ?",
                   vswitch);
}

// Also the ports that a world has blocked: the switch passes traffic again.
void unblock_switch(Database &database, RowId vswitch) {
  database.execute("DELETE FROM rtm_blocked_port WHERE port IN (SELECT id FROM port WHERE vswitch = ?)", vswitch);
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
  unblock_switch(database, vswitch);
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
      block_switch(database, vswitch);
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
      unblock_switch(database, vswitch);
      answer.longest_outage = std::max(
          answer.longest_outage, static_cast<std::uint32_t>(std::min<std::int64_t>(outage(state, now), UINT32_MAX)));
      break;
    default: break;
  }
  database.execute("UPDATE rtm_switch SET step = ? WHERE vswitch = ?", mode, vswitch);
}

bool has_saved_settings(Database &database) {
  Rows row = database.rows("SELECT 1 FROM rtm_saved_setting LIMIT 1");
  return row.next();
}

// The first time it saves what is set for the host as a whole; the second time it brings that back.
void save_or_restore_settings(Database &database) {
  if (!has_saved_settings(database)) {
    database.execute("INSERT INTO rtm_saved_setting SELECT name, value, volatile FROM host_setting");
    // A mark, so that having no settings can be saved too.
    database.execute("INSERT INTO rtm_saved_setting (name, value, volatile) VALUES ('', x'', 1)");
    return;
  }
  database.execute("DELETE FROM host_setting");
  database.execute("INSERT INTO host_setting SELECT name, value, volatile FROM rtm_saved_setting WHERE name <> ''");
  database.execute("DELETE FROM rtm_saved_setting");
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

std::optional<std::int64_t> blocking_world(Database &database, RowId port) {
  Rows row = database.rows("SELECT world FROM rtm_blocked_port WHERE port = ?", port);
  if (!row.next() || row.is_null(0))
    return std::nullopt;
  return row.integer(0);
}

RowId switch_of_port(Database &database, std::uint32_t port_number) {
  Rows row = database.rows("SELECT vswitch FROM port WHERE id = ?", port_number);
  refuse_if(!row.next(), QEL_NOT_FOUND);
  return row.integer(0);
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
  RowId const vswitch = switch_of_port(database, port_number);
  refuse_if(world < 0, QEL_INVALID_WORLD);
  registered_state(database, vswitch);
  std::optional<std::int64_t> const other = blocking_world(database, port_number);
  refuse_if(other && *other != world, QEL_BUSY);
  database.execute(
      "INSERT INTO rtm_blocked_port (port, world) VALUES (?, ?) ON CONFLICT DO UPDATE SET world = excluded.world",
      port_number, world);
}

void unblock_port(Database &database, std::uint32_t port_number, std::int64_t world) {
  switch_of_port(database, port_number);
  refuse_if(world < 0, QEL_INVALID_WORLD);
  std::optional<std::int64_t> const other = blocking_world(database, port_number);
  refuse_if(other && *other != world, QEL_NO_PERMISSION);
  database.execute("DELETE FROM rtm_blocked_port WHERE port = ?", port_number);
}

bool is_blocked(Database &database, RowId port) {
  Rows row = database.rows("SELECT 1 FROM rtm_blocked_port WHERE port = ?", port);
  return row.next();
}

void forget_rtm(Database &database) {
  database.execute("DELETE FROM rtm_switch");
  database.execute("DELETE FROM rtm_module");
  database.execute("DELETE FROM rtm_blocked_port");
  database.execute("DELETE FROM rtm_saved_property");
  database.execute("DELETE FROM rtm_saved_mac_entry");
  database.execute("DELETE FROM rtm_saved_counter");
  database.execute("DELETE FROM rtm_saved_setting");
}

}  // namespace host
