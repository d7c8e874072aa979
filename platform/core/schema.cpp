// The tables of the state file, and telling a state file from anything else.
#include "platform/core/schema.hpp"

namespace host {

namespace {

constexpr std::int64_t application_id = 0x76737768;
constexpr std::int64_t format_version = 1;

// AUTOINCREMENT where a number is never used twice: port-set names and port numbers come from it.
constexpr char tables[] = R"sql(
  PRAGMA application_id = 0x76737768;
  PRAGMA user_version = 1;

  CREATE TABLE host (
    boot_count INTEGER NOT NULL
  );

  CREATE TABLE physical_nic (
    id INTEGER PRIMARY KEY,
    name TEXT NOT NULL UNIQUE,
    mac BLOB NOT NULL,
    driver TEXT NOT NULL,
    speed INTEGER NOT NULL,
    duplex INTEGER NOT NULL,
    carrier INTEGER NOT NULL,
    admin_up INTEGER NOT NULL DEFAULT 1,
    numa_node INTEGER NOT NULL
  );

  CREATE TABLE vswitch (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    alias TEXT NOT NULL UNIQUE,
    switch_id TEXT NOT NULL UNIQUE,
    portset TEXT NOT NULL UNIQUE,
    class_name TEXT NOT NULL,
    max_ports INTEGER NOT NULL,
    version INTEGER NOT NULL,
    flags INTEGER NOT NULL,
    persistent INTEGER NOT NULL
  );

  -- client_type is a VS_PORT_CLIENT_* value; 0 for a port without a client.
  CREATE TABLE port (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    dvport_id TEXT NOT NULL,
    client_type INTEGER NOT NULL DEFAULT 0,
    client_name TEXT NOT NULL DEFAULT '',
    client_mac BLOB,
    UNIQUE (vswitch, dvport_id)
  );

  CREATE TABLE uplink_port (
    port INTEGER PRIMARY KEY REFERENCES port ON DELETE CASCADE,
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    position INTEGER NOT NULL,
    name TEXT NOT NULL,
    nic INTEGER UNIQUE REFERENCES physical_nic,
    made_port INTEGER NOT NULL,
    UNIQUE (vswitch, name)
  );

  -- port is 0 for the properties of a switch; lifetime is 0 for the persistent and 1 for the volatile value.
  CREATE TABLE property (
    vswitch INTEGER NOT NULL REFERENCES vswitch ON DELETE CASCADE,
    scope INTEGER NOT NULL,
    port INTEGER NOT NULL,
    name TEXT NOT NULL,
    lifetime INTEGER NOT NULL,
    owner TEXT NOT NULL,
    type INTEGER NOT NULL,
    value BLOB NOT NULL,
    PRIMARY KEY (vswitch, scope, port, name, lifetime)
  ) WITHOUT ROWID;

  INSERT INTO host (boot_count) VALUES (1);
)sql";

std::int64_t integer(Database &database, char const *sql) {
  Rows rows = database.rows(sql);
  return rows.next() ? rows.integer(0) : 0;
}

[[noreturn]] void not_a_state_file(Database const &database, std::string const &reason) {
  throw Fault(ExceptionClass::os_error, QEL_METADATA_READ_ERROR, database.name() + ": " + reason);
}

}  // namespace

Identity identify(Database &database) {
  std::int64_t const owner = integer(database, "PRAGMA application_id");
  if (owner == 0 && integer(database, "SELECT count(*) FROM sqlite_schema") == 0)
    return Identity::fresh;
  if (owner != application_id)
    not_a_state_file(database, "is not a state file of the host");
  std::int64_t const version = integer(database, "PRAGMA user_version");
  if (version > format_version) {
    throw Fault(ExceptionClass::runtime_error, QEL_VERSION_MISMATCH_MAJOR,
                database.name() + ": the state file has format " + std::to_string(version) +
                    ", this host reads formats up to " + std::to_string(format_version));
  }
  Rows check = database.rows("PRAGMA quick_check(1)");
  std::string const result = check.next() ? check.text(0) : "the check gave no result";
  if (result != "ok")
    not_a_state_file(database, "the state file is damaged: " + result);
  return Identity::host;
}

void create_schema(Database &database) {
  database.execute_script(tables);
}

}  // namespace host
