// The switches of the host: making, removing, finding them.
#include "platform/core/switches.hpp"

#include "platform/core/properties.hpp"
#include "platform/core/property_values.hpp"

namespace host {

namespace {

constexpr std::int64_t most_switches = 128;
constexpr std::uint32_t default_ports = 128;

#define SWITCH_COLUMNS "id, alias, switch_id, portset, class_name, max_ports, version, flags, persistent"

Switch read_switch(Rows const &row) {
  return {row.integer(0), row.text(1),    row.text(2),    row.text(3),        row.text(4),
          row.integer(5), row.integer(6), row.integer(7), row.integer(8) != 0};
}

RowId only_row(Rows rows) {
  refuse_if(!rows.next(), QEL_NOT_FOUND);
  return rows.integer(0);
}

}  // namespace

void refuse_unknown_version(std::uint32_t version) {
  bool const known = (version >= DVS_VERSION_60 && version <= DVS_VERSION_70) ||
                     (version >= VS_QBR_HNQ_VERSION_10 && version <= VS_QBRT_ON_DVS70_VERSION);
  refuse_if(!known, QEL_NOT_SUPPORTED);
}

RowId create_switch(Database &database, NewSwitch const &wanted) {
  std::string_view const class_name = wanted.class_name.empty() ? PS_CLASS_NAME : wanted.class_name;
  refuse_if(class_name != PS_CLASS_NAME, QEL_MODULE_NOT_FOUND);
  refuse_if(wanted.max_ports > most_ports, QEL_LIMIT_EXCEEDED);
  std::uint32_t const version = wanted.version ? wanted.version : DVS_VERSION_70;
  refuse_unknown_version(version);
  {
    Rows taken =
        database.rows("SELECT 1 FROM vswitch WHERE alias = ? OR switch_id = ?", wanted.alias, wanted.switch_id);
    refuse_if(taken.next(), QEL_EXISTS);
  }
  {
    Rows count = database.rows("SELECT count(*) FROM vswitch");
    refuse_if(count.next() && count.integer(0) >= most_switches, QEL_LIMIT_EXCEEDED);
  }
  // The port-set name needs the row's number, which is only known afterwards.
  database.execute(
      "INSERT INTO vswitch (alias, switch_id, portset, class_name, max_ports, version, flags, persistent)"
      " VALUES (?1, ?2, '', ?3, ?4, ?5, ?6, ?7)",
      wanted.alias, wanted.switch_id, class_name, wanted.max_ports ? wanted.max_ports : default_ports, version,
      wanted.flags, wanted.persistent);
  RowId const vswitch = database.last_row_id();
  set_portset(database, vswitch, true);
  if (wanted.mtu != 0)
    set_switch_property(database, vswitch, VSPROP_MTU, property_bytes(wanted.mtu));
  return vswitch;
}

void remove_switch(Database &database, RowId vswitch) {
  database.execute("DELETE FROM vswitch WHERE id = ?", vswitch);
}

void remove_volatile_switches(Database &database) {
  database.execute("DELETE FROM vswitch WHERE NOT persistent");
}

void change_switch(Database &database, RowId vswitch, SwitchSettings const &settings) {
  refuse_if(database.rows("SELECT 1 FROM vswitch WHERE alias = ? AND id <> ?", settings.alias, vswitch).next(),
            QEL_EXISTS);
  database.execute("UPDATE vswitch SET alias = ?, max_ports = ?, version = ?, flags = ?, persistent = ? WHERE id = ?",
                   settings.alias, settings.max_ports, settings.version, settings.flags, settings.persistent, vswitch);
}

void set_switch_version(Database &database, RowId vswitch, std::int64_t version) {
  database.execute("UPDATE vswitch SET version = ? WHERE id = ?", version, vswitch);
}

void set_room_for_ports(Database &database, RowId vswitch, std::int64_t max_ports) {
  database.execute("UPDATE vswitch SET max_ports = ? WHERE id = ?", max_ports, vswitch);
}

void set_aside_alias(Database &database, RowId vswitch) {
  database.execute("UPDATE vswitch SET alias = char(1) || id WHERE id = ?", vswitch);
}

void set_portset(Database &database, RowId vswitch, bool has_one) {
  database.execute("UPDATE vswitch SET portset = iif(?, 'portset-' || id, NULL) WHERE id = ?", has_one, vswitch);
}

bool has_switch(Database &database, RowId vswitch) {
  return database.rows("SELECT 1 FROM vswitch WHERE id = ?", vswitch).next();
}

std::optional<RowId> find_switch_by_id(Database &database, std::string_view switch_id) {
  Rows row = database.rows("SELECT id FROM vswitch WHERE switch_id = ?", switch_id);
  if (!row.next())
    return std::nullopt;
  return row.integer(0);
}

RowId switch_by_alias(Database &database, std::string_view alias) {
  return only_row(database.rows("SELECT id FROM vswitch WHERE alias = ?", alias));
}

RowId switch_by_id(Database &database, std::string_view switch_id) {
  return only_row(database.rows("SELECT id FROM vswitch WHERE switch_id = ?", switch_id));
}

RowId switch_by_portset(Database &database, std::string_view portset) {
  return only_row(database.rows("SELECT id FROM vswitch WHERE portset = ?", portset));
}

RowId switch_by_any_name(Database &database, std::string_view name) {
  return only_row(
      database.rows("SELECT id FROM (SELECT id, 1 AS rank FROM vswitch WHERE alias = ?1 AND portset IS NOT NULL"
                    " UNION ALL SELECT id, 2 FROM vswitch WHERE portset = ?1"
                    " UNION ALL SELECT id, 3 FROM vswitch WHERE switch_id = ?1 AND portset IS NOT NULL)"
                    " ORDER BY rank LIMIT 1",
                    name));
}

Switch load_switch(Database &database, RowId vswitch) {
  Rows row = database.rows("SELECT " SWITCH_COLUMNS " FROM vswitch WHERE id = ?", vswitch);
  refuse_if(!row.next(), QEL_NOT_FOUND);
  return read_switch(row);
}

std::vector<Switch> load_switches(Database &database) {
  std::vector<Switch> switches;
  Rows rows = database.rows("SELECT " SWITCH_COLUMNS " FROM vswitch ORDER BY id");
  while (rows.next())
    switches.push_back(read_switch(rows));
  return switches;
}

}  // namespace host
