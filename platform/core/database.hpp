// One connection to a state file: statements that stay prepared, transactions, SQLite's errors as ours.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "platform/core/export.hpp"
#include "platform/core/failure.hpp"

namespace host {

// The number of a row; switches, ports and NICs are known inside the host by it.
using RowId = std::int64_t;

// A value of bytes, as opposed to text.
struct Blob {
  std::string_view bytes;
};

struct FinalizeStatement {
  void operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }
};
using OwnedStatement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

class Database;

// The rows of a running statement. Texts and bytes of a row stay valid until the next row.
class HOST_API Rows {
 public:
  Rows(Database &database, sqlite3_stmt *statement, bool *busy, OwnedStatement owned);
  Rows(Rows const &) = delete;
  Rows &operator=(Rows const &) = delete;
  ~Rows();

  bool next();
  std::int64_t integer(int column) const { return sqlite3_column_int64(statement_, column); }
  bool is_null(int column) const { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }
  std::optional<std::int64_t> integer_or_none(int column) const {
    return is_null(column) ? std::nullopt : std::optional(integer(column));
  }
  std::string_view bytes(int column) const;
  std::string text(int column) const { return std::string(bytes(column)); }

 private:
  Database &database_;
  OwnedStatement owned_;  // only where the kept statement was already running
  sqlite3_stmt *statement_;
  bool *busy_;
};

class HOST_API Database {
 public:
  // `frozen`: a file that nobody writes while it is open. It is read without locks and without a log beside it.
  enum class Mode { memory, file, frozen };

  // `name` is what messages call the database.
  Database(std::string name, Mode mode);
  Database(Database const &) = delete;
  Database &operator=(Database const &) = delete;
  ~Database();

  std::string const &name() const { return name_; }

  // Undoes a transaction, or notes that it still has to be: SQLite needs memory for that.
  void roll_back();
  void finish_rolling_back();
  // Ends a transaction that has changed nothing.
  void end_reading();
  bool is_read_only() const { return sqlite3_db_readonly(connection_, "main") == 1; }

  // Runs one statement. `sql` must be a literal: the prepared statement is kept under its address.
  template <typename... Values>
  Rows rows(char const *sql, Values const &...values) {
    Kept &kept = keep(sql);
    OwnedStatement owned;
    sqlite3_stmt *statement = kept.statement.get();
    if (kept.busy) {
      owned = prepare(sql);
      statement = owned.get();
    }
    int index = 0;
    (bind(statement, ++index, values), ...);
    return Rows(*this, statement, owned ? nullptr : &kept.busy, std::move(owned));
  }

  // Runs one statement that has no result; returns how many rows it changed.
  template <typename... Values>
  int execute(char const *sql, Values const &...values) {
    Rows running = rows(sql, values...);
    running.next();
    return sqlite3_changes(connection_);
  }

  // Runs statements that are not worth keeping.
  void execute_script(char const *sql);

  // Copies the log into the file as far as other processes let it. For a file that is not where it was.
  void empty_log();

  // Another number after every change of the content, whoever made it. Up to date once a transaction has read
  // something.
  std::uint32_t data_version();

  // Calls the function when the next statement has made its first step, unless it is withdrawn before.
  void after_next_step(void (*function)(Database &)) { after_step_ = function; }
  // Whether it was still to come.
  bool withdraw_after_next_step() { return std::exchange(after_step_, nullptr) != nullptr; }

  // For faults.cpp: the content that is known to have no rules.
  std::optional<std::uint32_t> version_without_faults;
  // For host_row.cpp: the content that is known to be out of date for whoever took it up.
  std::optional<std::uint32_t> version_known_dirty;
  // For libvswitchsim.so: the content that it has in memory.
  std::optional<std::uint32_t> version_in_memory;

  std::int64_t last_row_id() const { return sqlite3_last_insert_rowid(connection_); }

  // Puts the whole content in the place of another database's. Neither may have a transaction.
  void copy_to(Database &target);

  // Throws what an SQLite result code means: a refusal for what a status can say, else a fault.
  [[noreturn]] void fail(int code);

  // Once damage was met nothing is written any more: every later use throws the same fault.
  bool is_damaged() const { return !damage_.empty(); }
  [[noreturn]] void throw_damage() const;

 private:
  struct Kept {
    OwnedStatement statement;
    bool busy = false;
  };

  Kept &keep(char const *sql);
  OwnedStatement prepare(char const *sql);
  void check_bound(int code) {
    if (code != SQLITE_OK)
      fail(code);
  }

  // The bound texts live until the statement is reset, which is before the caller's arguments end.
  void bind(sqlite3_stmt *statement, int index, std::int64_t value) {
    check_bound(sqlite3_bind_int64(statement, index, value));
  }
  void bind(sqlite3_stmt *statement, int index, std::string_view text) {
    check_bound(
        sqlite3_bind_text64(statement, index, text.data() ? text.data() : "", text.size(), SQLITE_STATIC, SQLITE_UTF8));
  }
  void bind(sqlite3_stmt *statement, int index, Blob blob) {
    check_bound(sqlite3_bind_blob64(statement, index, blob.bytes.data() ? blob.bytes.data() : "", blob.bytes.size(),
                                    SQLITE_STATIC));
  }
  void bind(sqlite3_stmt *statement, int index, std::optional<std::int64_t> const &value) {
    if (value)
      bind(statement, index, *value);
    else
      bind(statement, index, nullptr);
  }
  void bind(sqlite3_stmt *statement, int index, std::nullptr_t) { check_bound(sqlite3_bind_null(statement, index)); }

  std::string name_;
  sqlite3 *connection_ = nullptr;
  bool left_open_ = false;  // a transaction that could not be undone
  std::unordered_map<char const *, Kept> kept_;
  std::string damage_;
  void (*after_step_)(Database &) = nullptr;

  friend class Rows;
};

// A transaction; rolled back unless committed. A writing one takes the write lock at once, so that it can
// never fail half-way for want of it.
class HOST_API Transaction {
 public:
  Transaction(Database &database, bool writing);
  Transaction(Transaction const &) = delete;
  Transaction &operator=(Transaction const &) = delete;
  ~Transaction();
  void commit();

 private:
  Database &database_;
  bool writing_;
  bool open_ = true;
};

}  // namespace host
