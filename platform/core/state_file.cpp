// Finds, checks and opens the state file, and keeps one connection per process across forks.
#include "platform/core/state_file.hpp"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>

#include "platform/core/boot.hpp"
#include "platform/core/safe_files.hpp"
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

// Which file is at a path.
struct Place {
  dev_t device = 0;
  ino_t inode = 0;
  bool operator==(Place const &) const = default;
  bool is_empty() const { return inode == 0; }
};

Place place_at(std::string const &path) {
  std::optional<struct stat> const entry = entry_at(path);
  return entry ? Place{entry->st_dev, entry->st_ino} : Place{};
}

// The state file and what SQLite keeps beside it while it is open.
struct Places {
  Place state;
  Place log;
  Place index;
};

Places places_at(std::string const &path) {
  return {place_at(path), place_at(path + "-wal"), place_at(path + "-shm")};
}

using CoarseTime = std::int64_t;  // nanoseconds

// A fraction of what reading the exact time takes.
CoarseTime coarse_now() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return std::int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

// Three look-ups in the file system would double what a short call takes.
constexpr CoarseTime between_looks = 5000000;

struct Connection {
  std::optional<std::string> path;
  Places places;
  CoarseTime looked = 0;
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
  if (mkdir(folder.c_str(), S_IRWXU) != 0) {
    if (errno != EEXIST)
      cannot_make(path, errno);
    return;
  }
  static_cast<void>(chmod(folder.c_str(), S_IRWXU));  // whatever the umask
}

// Keeps other processes of the host from putting files into a folder or taking them away meanwhile. Where somebody else
// keeps it for long (anyone can who sees the folder), it does without.
class FolderLock {
 public:
  explicit FolderLock(std::filesystem::path const &folder)
      : folder_(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    for (int attempt = 0; folder_ >= 0 && flock(folder_, LOCK_EX | LOCK_NB) != 0 && attempt < 1000; ++attempt)
      usleep(1000);
  }
  FolderLock(FolderLock const &) = delete;
  FolderLock &operator=(FolderLock const &) = delete;
  ~FolderLock() {
    if (folder_ >= 0)
      close(folder_);
  }

 private:
  int folder_;
};

// SQLite would make the file readable for everyone. A file that exists is left alone: opening and closing
// it here would drop locks that another connection of this process holds on it.
void make_file(std::string const &path) {
  if (entry_at(path))
    return;
  std::filesystem::path const folder = std::filesystem::path(path).parent_path();
  make_folders(folder, path);
  FolderLock const lock(folder);
  if (entry_at(path))
    return;
  // What a state file that was removed has left is not this one's.
  for (char const *suffix : {"-wal", "-shm", "-journal"})
    unlink((path + suffix).c_str());
  int const file = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (file < 0) {
    if (errno != EEXIST)
      cannot_make(path, errno);
    return;
  }
  static_cast<void>(fchmod(file, S_IRUSR | S_IWUSR));  // whatever the umask
  close(file);
}

[[noreturn]] void cannot_open(std::string const &path, std::string const &reason) {
  throw Fault(ExceptionClass::os_error, QEL_READ_ERROR, path + ": cannot open the state file: " + reason);
}

// Whether another process has it open: SQLite then holds a lock on these bytes.
bool is_open_elsewhere(std::string const &path) {
  constexpr off_t sqlite_shared_first = 0x40000002;
  constexpr off_t sqlite_shared_size = 510;
  int const file = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  if (file < 0)
    return false;
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = sqlite_shared_first;
  lock.l_len = sqlite_shared_size;
  bool const is_locked = fcntl(file, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
  close(file);
  return is_locked;
}

// Where the log was removed under processes that use it, they go on with one that nobody else finds. A second one
// beside theirs would be the end of the state, so this waits until they have ended. Whoever just opens or closes the
// file is in that state, too, for a moment.
void await_log(std::string const &path) {
  auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  for (;;) {
    bool const is_whole = entry_at(path + "-wal") && entry_at(path + "-shm");
    if (is_whole || !is_open_elsewhere(path))
      return;
    if (std::chrono::steady_clock::now() > deadline)
      cannot_open(path, "its log (-wal, -shm) was removed under processes that still have it open");
    usleep(2000);
  }
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

void boot_unless_booted(Database &database) {
  Transaction transaction(database, true);
  // Another process may have booted the host meanwhile.
  if (identify(database) == Identity::fresh) {
    create_schema(database);
    boot_fresh_host(database, environment("VSWITCH_HOST_INIT"));
  }
  transaction.commit();
}

void prepare_connection(Database &database, bool in_file) {
  bool const fresh = identify_at_once(database) == Identity::fresh;
  // NORMAL is safe against the end of any process; FULL waits for the disk with each change.
  database.execute_script(environment("VSWITCH_HOST_SYNC") == "power" ? "PRAGMA synchronous = FULL;"
                                                                      : "PRAGMA synchronous = NORMAL;");
  // A checkpoint copies each page once that the log has, so a longer log (16 MiB) spares large tables, whose changes
  // are spread over many pages, most of the copying.
  database.execute_script(
      "PRAGMA wal_autocheckpoint = 4000;"
      "PRAGMA foreign_keys = ON;"
      "PRAGMA cell_size_check = ON;");
  if (fresh)
    boot_unless_booted(database);
  // Not earlier: the switch writes to the file, and a boot that is refused leaves it empty.
  if (in_file && !database.is_read_only())
    use_write_ahead_log(database);
}

std::unique_ptr<Database> open_connection(std::string const &path, bool is_frozen) {
  bool const in_file = path != memory_host;
  if (in_file) {
    make_file(path);
    check_state_file(path);
    if (!is_frozen)
      await_log(path);
  }
  Database::Mode const mode = is_frozen ? Database::Mode::frozen
                              : in_file ? Database::Mode::file
                                        : Database::Mode::memory;
  auto database = std::make_unique<Database>(path, mode);
  prepare_connection(*database, in_file);
  // What somebody else has put there since is found out here at the latest.
  if (in_file)
    check_state_file(path);
  return database;
}

// What stands at the path now has nothing to do with the log that the former file has left there.
void remove_old_log(std::string const &path, Places const &old) {
  FolderLock const lock(std::filesystem::path(path).parent_path());
  if (!old.log.is_empty() && place_at(path + "-wal") == old.log)
    unlink((path + "-wal").c_str());
  if (!old.index.is_empty() && place_at(path + "-shm") == old.index)
    unlink((path + "-shm").c_str());
}

[[noreturn]] void report_change(std::string const &path) {
  throw Fault(ExceptionClass::os_error, QEL_READ_ERROR,
              path + ": was removed or replaced while this process had the state file open");
}

// Ends the use of a state file that is not where it was, or whose log is not: whoever opens the file from now on sees
// another state. This call says so; the next one opens what is there then.
void look_after_places() {
  CoarseTime const now = coarse_now();
  if (now - connection.looked < between_looks)
    return;
  connection.looked = now;
  std::string const &path = *connection.path;
  Places const places = places_at(path);
  Places &known = connection.places;
  if (places.state != known.state) {
    connection.database->empty_log();
    remove_old_log(path, known);
    connection.database.reset();
    report_change(path);
  }
  if (known.log.is_empty() && known.index.is_empty()) {
    known = places;
  } else if (places.log != known.log || places.index != known.index) {
    // The last process that closes the file copies the log into it, as it has it open still.
    connection.database.reset();
    report_change(path + (places.log != known.log ? "-wal" : "-shm"));
  }
}

// Of a connection that can only read: whether a new one could write.
bool may_write_by_now() {
  return connection.database->is_read_only() && may_write(*connection.path) &&
         may_write(std::filesystem::path(*connection.path).parent_path());
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

bool host_exists() {
  std::string const path = state_file_path();
  if (path == memory_host)
    return true;
  std::error_code error;
  std::uintmax_t const size = std::filesystem::file_size(path, error);
  if (error || size == 0)
    return false;
  // Only the first transaction has a journal of this kind. Where it was cut short, looking into the file undoes it.
  if (!entry_at(path + "-journal"))
    return true;
  check_state_file(path);
  Database database(path, Database::Mode::file);
  return identify_at_once(database) != Identity::fresh;
}

Database &open_host() {
  if (connection.database) {
    if (connection.is_inherited()) {
      throw Fault(ExceptionClass::runtime_error, QEL_INVALID_STATE,
                  *connection.path + ": this process is a copy that was not made by fork()");
    }
    if (!connection.is_memory() && !connection.frozen)
      look_after_places();
    // Whoever may write the file may have done so.
    bool const is_current = connection.frozen ? connection.frozen == frozen_mark(*connection.path)
                                              : !connection.database->is_read_only() || !may_write_by_now();
    if (is_current)
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
  if (!connection.is_memory())
    connection.places = places_at(*connection.path);
  connection.looked = coarse_now();
  return *connection.database;
}

void check_state_file(std::string const &path) {
  std::optional<struct stat> const state = entry_at(path);
  if (!state)
    return;
  if (char const *objection = objection_to(*state))
    cannot_open(path, objection);
  for (char const *suffix : {"-wal", "-shm", "-journal"}) {
    std::optional<struct stat> const beside = entry_at(path + suffix);
    if (!beside)
      continue;
    if (char const *objection = objection_to(*beside))
      cannot_open(path + suffix, objection);
    // The superuser may have any state file, but not one with a log that its owner did not write.
    if (beside->st_uid != state->st_uid && beside->st_uid != geteuid() && beside->st_uid != 0)
      cannot_open(path + suffix, "it belongs to another user than the state file");
  }
}

void close_host() {
  HostLock lock;
  connection.database.reset();
  connection.path.reset();
  end_trace();
}

}  // namespace host
