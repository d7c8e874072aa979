// One connection to a state file: opening, waiting for other processes, errors.
#include "platform/core/database.hpp"

#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

namespace host {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds longest_wait{10};
// Other processes' transactions take microseconds, so it pays to give up the processor a few times before
// sleeping; SQLite's own handler would sleep for milliseconds.
constexpr int yields_before_sleeping = 20;
constexpr useconds_t sleep_microseconds = 100;

int wait_for_lock(void *, int attempt) {
  thread_local Clock::time_point deadline;
  if (attempt == 0)
    deadline = Clock::now() + longest_wait;
  if (attempt < yields_before_sleeping) {
    sched_yield();
    return 1;
  }
  if (Clock::now() >= deadline)
    return 0;
  usleep(sleep_microseconds);
  return 1;
}

// The name by which SQLite opens a file that does not change.
std::string frozen_uri(std::string_view path) {
  std::string uri = "file:";
  for (char const character : path) {
    if (character == '%' || character == '?' || character == '#') {
      char escaped[4];
      std::snprintf(escaped, sizeof escaped, "%%%02X", static_cast<unsigned>(character));
      uri += escaped;
    } else {
      uri += character;
    }
  }
  return uri + "?immutable=1";
}

// SQLite's own count of the memory that it uses takes a mutex at each allocation, and nobody asks for it. It can be
// turned off until somebody in the process has used SQLite; after that it stays on, and costs what it does.
void count_no_memory() {
  static int const code = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
  static_cast<void>(code);
}

int open_sqlite(std::string const &name, Database::Mode mode, sqlite3 **connection) {
  count_no_memory();
  // NOMUTEX: calls into the host are serialised already.
  constexpr int flags = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
  constexpr int writing = flags | SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
  switch (mode) {
    case Database::Mode::frozen:
      return sqlite3_open_v2(frozen_uri(name).c_str(), connection, flags | SQLITE_OPEN_READONLY | SQLITE_OPEN_URI,
                             nullptr);
    case Database::Mode::memory: return sqlite3_open_v2(":memory:", connection, writing, nullptr);
    default: return sqlite3_open_v2(name.c_str(), connection, writing, nullptr);
  }
}

// The content may be somebody else's work: it must neither run anything nor make SQLite write elsewhere.
int distrust_content(sqlite3 *connection) {
  sqlite3_db_config(connection, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(connection, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(connection, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
  sqlite3_db_config(connection, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0, nullptr);
  sqlite3_db_config(connection, SQLITE_DBCONFIG_ENABLE_FTS3_TOKENIZER, 0, nullptr);
  sqlite3_limit(connection, SQLITE_LIMIT_ATTACHED, 0);
  // Large sorts would go to files in a folder that others may write to.
  return sqlite3_exec(connection, "PRAGMA cell_size_check = ON; PRAGMA temp_store = MEMORY;", nullptr, nullptr,
                      nullptr);
}

// The system's reason for an error of reading or writing; 0 for none. SQLite keeps it with the file that it met, and
// not with the connection, where it fails at the end of a transaction.
int system_error_of(sqlite3 *connection, int code) {
  if (code == SQLITE_IOERR_SHORT_READ)  // the system had nothing to say
    return 0;
  int error = 0;
  if ((code & 0xff) == SQLITE_IOERR) {
    sqlite3_file *log = nullptr;
    sqlite3_file_control(connection, "main", SQLITE_FCNTL_JOURNAL_POINTER, &log);
    if (log && log->pMethods)
      log->pMethods->xFileControl(log, SQLITE_FCNTL_LAST_ERRNO, &error);
    if (error == 0)
      sqlite3_file_control(connection, "main", SQLITE_FCNTL_LAST_ERRNO, &error);
  }
  return error == 0 ? sqlite3_system_errno(connection) : error;
}

// Some of SQLite's errors say what is wrong only with the system's reason.
std::string reason_of(sqlite3 *connection, int code) {
  std::string reason = sqlite3_errmsg(connection);
  int const system_error = system_error_of(connection, code);
  bool const is_system = (code & 0xff) == SQLITE_CANTOPEN || (code & 0xff) == SQLITE_IOERR;
  return is_system && system_error != 0 ? reason + " (" + std::strerror(system_error) + ")" : reason;
}

// SQLite knows one way only to run out of space: ENOSPC at a write.
bool is_out_of_space(sqlite3 *connection, int code) {
  int const system_error = system_error_of(connection, code);
  return system_error == ENOSPC || system_error == EDQUOT || system_error == EFBIG;
}

}  // namespace

Database::Database(std::string name, Mode mode) : name_(std::move(name)) {
  int code = open_sqlite(name_, mode, &connection_);
  if (code == SQLITE_OK)
    code = distrust_content(connection_);
  if (code != SQLITE_OK) {
    std::string const reason = connection_ ? reason_of(connection_, code) : sqlite3_errstr(code);
    sqlite3_close(connection_);
    if ((code & 0xff) == SQLITE_NOMEM)
      throw std::bad_alloc();
    throw Fault(ExceptionClass::os_error, QEL_READ_ERROR, name_ + ": cannot open the state file: " + reason);
  }
  sqlite3_busy_handler(connection_, wait_for_lock, nullptr);
}

Database::~Database() {
  kept_.clear();
  sqlite3_close(connection_);
}

void Database::fail(int code) {
  std::string const reason = reason_of(connection_, code);
  switch (code & 0xff) {
    case SQLITE_NOMEM: throw std::bad_alloc();
    case SQLITE_BUSY:
    case SQLITE_LOCKED: refuse(QEL_BUSY);
    case SQLITE_FULL: refuse(QEL_NO_SPACE_ON_DEVICE);
    case SQLITE_READONLY: refuse(QEL_READ_ONLY);
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      damage_ = name_ + ": the state file is damaged: " + reason;
      // What is damaged is not written to, at the end of the process neither.
      sqlite3_db_config(connection_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
      throw_damage();
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_AUTH:
      throw Fault(ExceptionClass::os_error, QEL_READ_ERROR, name_ + ": cannot open the state file: " + reason);
    case SQLITE_IOERR:
      if (code == SQLITE_IOERR_NOMEM)
        throw std::bad_alloc();
      refuse_if(is_out_of_space(connection_, code), QEL_NO_SPACE_ON_DEVICE);
      throw Fault(ExceptionClass::os_error, QEL_READ_ERROR, name_ + ": cannot read or write the state file: " + reason);
    default: throw Fault(ExceptionClass::runtime_error, QEL_FAILURE, name_ + ": " + reason);
  }
}

void Database::throw_damage() const {
  throw Fault(ExceptionClass::os_error, QEL_METADATA_READ_ERROR, damage_);
}

OwnedStatement Database::prepare(char const *sql) {
  sqlite3_stmt *statement = nullptr;
  int const code = sqlite3_prepare_v3(connection_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
  if (code != SQLITE_OK)
    fail(code);
  return OwnedStatement(statement);
}

Database::Kept &Database::keep(char const *sql) {
  Kept &kept = kept_[sql];
  if (!kept.statement)
    kept.statement = prepare(sql);
  return kept;
}

void Database::copy_to(Database &target) {
  sqlite3_backup *backup = sqlite3_backup_init(target.connection_, "main", connection_, "main");
  if (!backup)
    target.fail(sqlite3_errcode(target.connection_));
  // All pages in one step, so that nobody sees half of it; the busy handler of the target has waited by then.
  int const code = sqlite3_backup_step(backup, -1);
  int const finished = sqlite3_backup_finish(backup);
  if (code != SQLITE_DONE)
    target.fail(finished == SQLITE_OK ? code : finished);
}

void Database::empty_log() {
  if (!is_damaged())
    sqlite3_wal_checkpoint_v2(connection_, "main", SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
}

std::uint32_t Database::data_version() {
  std::uint32_t version = 0;
  sqlite3_file_control(connection_, nullptr, SQLITE_FCNTL_DATA_VERSION, &version);
  return version;
}

void Database::execute_script(char const *sql) {
  int const code = sqlite3_exec(connection_, sql, nullptr, nullptr, nullptr);
  if (code != SQLITE_OK)
    fail(code);
}

Rows::Rows(Database &database, sqlite3_stmt *statement, bool *busy, OwnedStatement owned)
    : database_(database), owned_(std::move(owned)), statement_(statement), busy_(busy) {
  if (busy_)
    *busy_ = true;
}

Rows::~Rows() {
  sqlite3_reset(statement_);
  if (busy_)
    *busy_ = false;
}

bool Rows::next() {
  int const code = sqlite3_step(statement_);
  if (code != SQLITE_ROW && code != SQLITE_DONE)
    database_.fail(code);
  if (database_.after_step_)
    std::exchange(database_.after_step_, nullptr)(database_);
  return code == SQLITE_ROW;
}

std::string_view Rows::bytes(int column) const {
  auto const *data = static_cast<char const *>(sqlite3_column_blob(statement_, column));
  auto const size = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
  return data ? std::string_view(data, size) : std::string_view();
}

void Database::roll_back() {
  try {
    execute("ROLLBACK");
  } catch (...) {
    // Mostly SQLite has rolled back by itself, which is what was wanted.
    left_open_ = sqlite3_get_autocommit(connection_) == 0;
  }
}

void Database::end_reading() {
  try {
    execute("COMMIT");
  } catch (...) {
    roll_back();
  }
}

void Database::finish_rolling_back() {
  if (left_open_)
    execute("ROLLBACK");
  left_open_ = false;
}

Transaction::Transaction(Database &database, bool writing) : database_(database), writing_(writing) {
  if (database.is_damaged())
    database.throw_damage();
  // SQLite would find out with the first change only.
  refuse_if(writing && database.is_read_only(), QEL_READ_ONLY);
  database.finish_rolling_back();
  database.execute(writing ? "BEGIN IMMEDIATE" : "BEGIN");
}

Transaction::~Transaction() {
  if (open_)
    database_.roll_back();
}

void Transaction::commit() {
  // The end of one that only reads cannot fail: it has given its answer away.
  if (writing_)
    database_.execute("COMMIT");
  else
    database_.end_reading();
  open_ = false;
}

}  // namespace host
