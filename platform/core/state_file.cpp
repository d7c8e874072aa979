// Finds, checks and opens state files.
#include "platform/core/state_file.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>

#include "platform/core/boot.hpp"
#include "platform/core/booted.hpp"
#include "platform/core/migration.hpp"
#include "platform/core/safe_files.hpp"
#include "platform/core/schema.hpp"

namespace host {

namespace {

Place place_at(std::string const &path) {
  std::optional<struct stat> const entry = entry_at(path);
  return entry ? Place{entry->st_dev, entry->st_ino} : Place{};
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
  // What a state file that was removed has left is not this one's. SQLite would remove the log, but not its index,
  // which processes of the former file still share.
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

void boot_unless_booted(Database &database, std::string const *description) {
  Transaction transaction(database, true);
  // Another process may have booted the host meanwhile.
  if (identify(database) == Identity::fresh) {
    create_schema(database);
    if (description)
      boot_from_text(database, *description);
    else
      boot_fresh_host(database, environment("VSWITCH_HOST_INIT"));
  }
  transaction.commit();
}

// The first process that opens a file of the former format to write makes it one of this format.
void migrate_unless_migrated(Database &database) {
  if (database.is_read_only())
    refuse_format(database);
  Transaction transaction(database, true);
  // Another process may have done so meanwhile.
  if (identify(database) == Identity::former)
    migrate(database);
  transaction.commit();
}

// A checkpoint copies each page once that the log has, so a longer log (16 MiB) spares large tables, whose changes are
// spread over many pages, most of the copying.
constexpr char connection_settings[] =
    "PRAGMA wal_autocheckpoint = 4000;"
    "PRAGMA foreign_keys = ON;"
    "PRAGMA cell_size_check = ON;";

void prepare_connection(Database &database, bool in_file, std::string const *description) {
  Identity const identity = identify_at_once(database);
  // Before foreign keys are enforced: tables are exchanged.
  if (identity == Identity::former)
    migrate_unless_migrated(database);
  // NORMAL is safe against the end of any process; FULL waits for the disk with each change.
  database.execute_script(environment("VSWITCH_HOST_SYNC") == "power" ? "PRAGMA synchronous = FULL;"
                                                                      : "PRAGMA synchronous = NORMAL;");
  database.execute_script(connection_settings);
  if (identity == Identity::fresh)
    boot_unless_booted(database, description);
  // Not earlier: the switch writes to the file, and a boot that is refused leaves it empty.
  if (in_file && !database.is_read_only())
    use_write_ahead_log(database);
}

}  // namespace

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

Places places_at(std::string const &path) {
  return {place_at(path), place_at(path + "-wal"), place_at(path + "-shm")};
}

void remove_old_log(std::string const &path, Places const &old) {
  FolderLock const lock(std::filesystem::path(path).parent_path());
  if (!old.log.is_empty() && place_at(path + "-wal") == old.log)
    unlink((path + "-wal").c_str());
  if (!old.index.is_empty() && place_at(path + "-shm") == old.index)
    unlink((path + "-shm").c_str());
}

void close_alone(std::string const &path, std::unique_ptr<Database> &database) {
  FolderLock const lock(std::filesystem::path(path).parent_path());
  database.reset();
}

bool may_write_state_file(std::string const &path) {
  return may_write(path) && may_write(std::filesystem::path(path).parent_path());
}

std::optional<FileMark> frozen_mark(std::string const &path) {
  struct stat file {};
  if (stat(path.c_str(), &file) != 0 || !S_ISREG(file.st_mode))
    return std::nullopt;
  if (may_write_state_file(path))
    return std::nullopt;
  if (access((path + "-wal").c_str(), F_OK) == 0 || access((path + "-journal").c_str(), F_OK) == 0)
    return std::nullopt;
  return FileMark{file.st_ino, file.st_size, file.st_mtim.tv_sec, file.st_mtim.tv_nsec};
}

std::unique_ptr<Database> open_state(std::string const &path, bool is_frozen, std::string const *description) {
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
  bool const may_be_kept = !in_file && description;
  if (may_be_kept && copy_booted(*database, *description)) {
    database->execute_script(connection_settings);
    return database;
  }
  prepare_connection(*database, in_file, description);
  if (may_be_kept)
    keep_booted(*database, *description);
  // What somebody else has put there since is found out here at the latest.
  if (in_file)
    check_state_file(path);
  return database;
}

std::unique_ptr<Database> copy_state(Database &database) {
  auto copy = std::make_unique<Database>(memory_host, Database::Mode::memory);
  database.copy_to(*copy);
  copy->execute_script(connection_settings);
  return copy;
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

}  // namespace host
