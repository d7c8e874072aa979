// The tables of the state file, and telling a state file from anything else.
#include "platform/core/schema.hpp"

#include <charconv>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/format_2.hpp"
#include "platform/core/format_3.hpp"

namespace host {

namespace {

constexpr std::int64_t application_id = 0x76737768;
constexpr std::int64_t former_version = 2;
constexpr std::int64_t format_version = 3;

std::int64_t integer(Database &database, char const *sql) {
  Rows rows = database.rows(sql);
  return rows.next() ? rows.integer(0) : 0;
}

[[noreturn]] void not_a_state_file(Database const &database, std::string const &reason) {
  throw Fault(ExceptionClass::os_error, QEL_METADATA_READ_ERROR, database.name() + ": " + reason);
}

// Everything in the file that has a definition: tables, indexes, triggers, views.
std::vector<std::string> definitions(Database &database) {
  std::vector<std::string> all;
  Rows rows = database.rows("SELECT type, name, tbl_name, sql FROM sqlite_schema ORDER BY type, name");
  while (rows.next())
    all.push_back(rows.text(0) + ' ' + rows.text(1) + ' ' + rows.text(2) + ' ' + rows.text(3));
  return all;
}

// Those that a host of a format has.
std::vector<std::string> definitions_of(char const *tables) {
  Database fresh(":memory:", Database::Mode::memory);
  fresh.execute_script(tables);
  return definitions(fresh);
}

std::vector<std::string> const &expected_definitions() {
  static std::vector<std::string> const expected = definitions_of(format_3_tables);
  return expected;
}

// The check puts into its text why it could not read a page: without memory that says nothing about the file.
bool ran_out_of_memory(std::string_view result) {
  constexpr std::string_view mark = "error code=";
  std::size_t const at = result.rfind(mark);
  int code = 0;
  if (at != std::string_view::npos)
    std::from_chars(result.data() + at + mark.size(), result.data() + result.size(), code);
  return code == SQLITE_NOMEM || code == SQLITE_IOERR_NOMEM;
}

}  // namespace

Identity identify(Database &database) {
  std::int64_t const owner = integer(database, "PRAGMA application_id");
  if (owner == 0 && integer(database, "SELECT count(*) FROM sqlite_schema") == 0)
    return Identity::fresh;
  if (owner != application_id)
    not_a_state_file(database, "is not a state file of the host");
  std::int64_t const version = integer(database, "PRAGMA user_version");
  if (version != format_version && version != former_version)
    refuse_format(database);
  bool const is_former = version == former_version;
  // Before anything is read from the tables: a trigger or a computed column of somebody else's would run with it.
  if (definitions(database) != (is_former ? definitions_of(format_2_tables) : expected_definitions()))
    not_a_state_file(database, "the state file is damaged: its tables are not those of a host");
  Rows check = database.rows("PRAGMA quick_check(1)");
  std::string const result = check.next() ? check.text(0) : "the check gave no result";
  if (ran_out_of_memory(result))
    throw std::bad_alloc();
  if (result != "ok")
    not_a_state_file(database, "the state file is damaged: " + result);
  return is_former ? Identity::former : Identity::host;
}

void refuse_format(Database &database) {
  throw Fault(ExceptionClass::runtime_error, QEL_VERSION_MISMATCH_MAJOR,
              database.name() + ": the state file has format " +
                  std::to_string(integer(database, "PRAGMA user_version")) + ", this host has format " +
                  std::to_string(format_version));
}

void create_schema(Database &database) {
  database.execute_script(format_3_tables);
}

}  // namespace host
