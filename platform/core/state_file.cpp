// Finds, checks and opens the state file, and keeps one connection per process across forks.
#include "platform/core/state_file.hpp"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>

#include "platform/core/boot.hpp"
#include "platform/core/schema.hpp"
#include "platform/core/trace.hpp"

namespace host {

namespace {

constexpr char memory_host[] = ":memory:";

std::mutex call_mutex;

// What shows that a file has changed.
struct FileMark {
  ino_t inode;
  off_t size;
  std::int64_t seconds;
  std::int64_t nanoseconds;
  bool operator==(FileMark const &) const = default;
};

struct Connection {
  std::optional<std::string> path;
  std::unique_ptr<Database> database;
  pid_t opener = 0;
  std::optional<FileMark> frozen;

  bool is_memory() const { return path && *path == memory_host; }
  bool is_inherited() const { return database && opener != getpid() && !is_memory(); }

  ~Connection() {
    // Closing what belongs to another process would disturb it.
    if (is_inherited())
      static_cast<void>(database.release());
  }
};

// Its destructor closes the state file at the end of the process, so that SQLite tidies up its log.
Connection connection;

// SQLite keeps its file locks in memory that a fork copies, but the locks themselves stay with the parent: a
// child that opened the file again would believe it held them. So no connection crosses a fork.
void before_fork() {
  call_mutex.lock();
  if (!connection.is_memory())
    connection.database.reset();
}

void after_fork() {
  call_mutex.unlock();
}

std::string environment(char const *name) {
  char const *value = std::getenv(name);
  return value ? value : "";
}

[[noreturn]] void cannot_make(std::string const &path, int error) {
  throw Fault(ExceptionClass::os_error, QEL_WRITE_ERROR,
              path + ": cannot make the state file: " + std::strerror(error));
}

void make_folders(std::filesystem::path const &folder, std::string const &path) {
  if (folder.empty() || std::filesystem::exists(folder))
    return;
  make_folders(folder.parent_path(), path);
  if (mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST)
    cannot_make(path, errno);
}

// SQLite would make the file readable for everyone. A file that exists is left alone: opening and closing
// it here would drop locks that another connection of this process holds on it.
void make_file(std::string const &path) {
  if (access(path.c_str(), F_OK) == 0)
    return;
  make_folders(std::filesystem::path(path).parent_path(), path);
  int const file = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (file < 0) {
    if (errno != EEXIST)
      cannot_make(path, errno);
    return;
  }
  close(file);
}

bool may_write(std::string const &path) {
  return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0;
}

// A state file that this process can only read and that no process has open. SQLite has to make a log beside it even
// to read it, unless it knows that the file does not change. None for any other file.
std::optional<FileMark> frozen_mark(std::string const &path) {
  struct stat file {};
  if (stat(path.c_str(), &file) != 0 || !S_ISREG(file.st_mode))
    return std::nullopt;
  if (may_write(path) && may_write(std::filesystem::path(path).parent_path()))
    return std::nullopt;
  if (access((path + "-wal").c_str(), F_OK) == 0 || access((path + "-journal").c_str(), F_OK) == 0)
    return std::nullopt;
  return FileMark{file.st_ino, file.st_size, file.st_mtim.tv_sec, file.st_mtim.tv_nsec};
}

// Switching to the write-ahead log needs the file for itself, and SQLite does not wait for that.
void use_write_ahead_log(Database &database) {
  auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  for (;;) {
    try {
      Rows mode = database.rows("PRAGMA journal_mode = WAL");
      if (mode.next() && mode.text(0) == "wal")
        return;
    } catch (Refusal const &refusal) {
      if (refusal.status() != QEL_BUSY)
        throw;
    }
    refuse_if(std::chrono::steady_clock::now() > deadline, QEL_BUSY);
    usleep(500);
  }
}

// In one transaction: another process that boots the host must not show half-way.
Identity identify_at_once(Database &database) {
  Transaction transaction(database, false);
  Identity const identity = identify(database);
  transaction.commit();
  return identity;
}

void prepare_connection(Database &database, bool in_file) {
  bool const fresh = identify_at_once(database) == Identity::fresh;
  if (in_file && !database.is_read_only())
    use_write_ahead_log(database);
  // NORMAL is safe against the end of any process; FULL waits for the disk with each change.
  database.execute_script(environment("VSWITCH_HOST_SYNC") == "power" ? "PRAGMA synchronous = FULL;"
                                                                      : "PRAGMA synchronous = NORMAL;");
  // A checkpoint copies each page once that the log has, so a longer log (16 MiB) spares large tables, whose changes
  // are spread over many pages, most of the copying.
  database.execute_script(
      "PRAGMA wal_autocheckpoint = 4000;"
      "PRAGMA foreign_keys = ON;"
      "PRAGMA cell_size_check = ON;");
  if (!fresh)
    return;
  Transaction transaction(database, true);
  // Another process may have booted the host meanwhile.
  if (identify(database) == Identity::fresh) {
    create_schema(database);
    boot_fresh_host(database, environment("VSWITCH_HOST_INIT"));
  }
  transaction.commit();
}

std::unique_ptr<Database> open_connection(std::string const &path, bool is_frozen) {
  bool const in_file = path != memory_host;
  if (in_file)
    make_file(path);
  Database::Mode const mode = is_frozen ? Database::Mode::frozen
                              : in_file ? Database::Mode::file
                                        : Database::Mode::memory;
  auto database = std::make_unique<Database>(path, mode);
  prepare_connection(*database, in_file);
  return database;
}

}  // namespace

HostLock::HostLock() {
  call_mutex.lock();
}

HostLock::~HostLock() {
  call_mutex.unlock();
}

std::string state_file_path() {
  std::string path = environment("VSWITCH_HOST");
  if (path == memory_host)
    return path;
  if (path.empty()) {
    std::string folder = environment("XDG_STATE_HOME");
    if (folder.empty())
      folder = environment("HOME") + "/.local/state";
    path = folder + "/vswitchpy/host.db";
  }
  // A later change of the working folder must not lead to another host.
  return std::filesystem::absolute(path).string();
}

Database &open_host() {
  if (connection.database) {
    if (connection.is_inherited()) {
      throw Fault(ExceptionClass::runtime_error, QEL_INVALID_STATE,
                  *connection.path + ": this process is a copy that was not made by fork()");
    }
    // Whoever may write the file may have done so.
    if (!connection.frozen || connection.frozen == frozen_mark(*connection.path))
      return *connection.database;
    connection.database.reset();
  }
  static int const registered = pthread_atfork(before_fork, after_fork, after_fork);
  if (registered != 0)
    throw std::bad_alloc();
  if (!connection.path)
    connection.path = state_file_path();
  connection.frozen = connection.is_memory() ? std::nullopt : frozen_mark(*connection.path);
  connection.database = open_connection(*connection.path, connection.frozen.has_value());
  connection.opener = getpid();
  return *connection.database;
}

void close_host() {
  HostLock lock;
  connection.database.reset();
  connection.path.reset();
  end_trace();
}

}  // namespace host
