// Whole states of the host: saved to a file, brought back from one, made anew from a description.
#include "platform/core/snapshot.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/core/boot.hpp"
#include "platform/core/booted.hpp"
#include "platform/core/host_row.hpp"
#include "platform/core/migration.hpp"
#include "platform/core/safe_files.hpp"
#include "platform/core/schema.hpp"
#include "platform/core/state_file.hpp"

namespace host {

namespace {

[[noreturn]] void cannot_write(std::string const &path, std::string const &reason) {
  throw Fault(ExceptionClass::os_error, QEL_WRITE_ERROR, path + ": cannot write the snapshot: " + reason);
}

[[noreturn]] void cannot_read(std::string const &path, std::string const &reason) {
  throw Fault(ExceptionClass::os_error, QEL_READ_ERROR, path + ": cannot read the snapshot: " + reason);
}

void check_target(Database const &database, std::string const &path) {
  std::optional<struct stat> const target = entry_at(path);
  if (!target)
    return;
  if (char const *objection = objection_to(*target))
    cannot_write(path, objection);
  // Processes that have the state file open would go on with what has no name any more.
  std::optional<struct stat> const own = entry_at(database.name());
  if (own && own->st_dev == target->st_dev && own->st_ino == target->st_ino)
    cannot_write(path, "it is the state file itself");
}

// Only a file that others may have open is opened as a state file is; all others are read without a trace beside them.
Database::Mode reading_mode(std::string const &path) {
  // Links are followed, as for any file that is only read.
  struct stat file {};
  if (stat(path.c_str(), &file) != 0)
    cannot_read(path, std::strerror(errno));
  if (!S_ISREG(file.st_mode))
    cannot_read(path, "it is not a regular file");
  if (access(path.c_str(), R_OK) != 0)
    cannot_read(path, std::strerror(errno));
  if (!entry_at(path + "-wal") && !entry_at(path + "-journal"))
    return Database::Mode::frozen;
  check_state_file(path);
  return Database::Mode::file;
}

// A file beside the wanted one, which takes its name when it is complete.
class NewFile {
 public:
  explicit NewFile(std::string wanted) : wanted_(std::move(wanted)), path_(wanted_ + ".XXXXXX") {
    int const file = mkstemp(path_.data());  // readable for its owner only
    if (file < 0)
      cannot_write(wanted_, std::strerror(errno));
    static_cast<void>(fchmod(file, S_IRUSR | S_IWUSR));  // whatever the umask
    close(file);
  }
  NewFile(NewFile const &) = delete;
  NewFile &operator=(NewFile const &) = delete;
  ~NewFile() {
    if (!complete_)
      unlink(path_.c_str());
  }

  std::string const &path() const { return path_; }

  void complete() {
    if (std::rename(path_.c_str(), wanted_.c_str()) != 0)
      cannot_write(wanted_, std::strerror(errno));
    complete_ = true;
  }

 private:
  std::string wanted_;
  std::string path_;
  bool complete_ = false;
};

}  // namespace

void save_snapshot(Database &database, std::string const &path) {
  check_target(database, path);
  NewFile file(path);
  {
    Database copy(file.path(), Database::Mode::file);
    copy.execute_script("PRAGMA journal_mode = MEMORY");
    database.copy_to(copy);
    // One file, without a log beside it.
    copy.execute_script("PRAGMA journal_mode = DELETE");
  }
  file.complete();
}

void restore_snapshot(Database &database, std::string const &path) {
  Database snapshot(path, reading_mode(path));
  Identity identity{};
  {
    Transaction transaction(snapshot, false);
    identity = identify(snapshot);
    if (identity == Identity::fresh)
      throw Fault(ExceptionClass::os_error, QEL_METADATA_READ_ERROR, path + ": is not a state file of the host");
    transaction.commit();
  }
  // On the way it becomes a state of its own: of what it holds, some may have been removed here and made anew since.
  Database renewed(":memory:", Database::Mode::memory);
  snapshot.copy_to(renewed);
  Transaction transaction(renewed, true);
  if (identity == Identity::former)
    migrate(renewed);
  renew_state_id(renewed);
  transaction.commit();
  renewed.copy_to(database);
}

void reset_host(Database &database, std::string const &description) {
  if (copy_booted(database, description))
    return;
  Database fresh(":memory:", Database::Mode::memory);
  fresh.execute_script("PRAGMA foreign_keys = ON");
  Transaction transaction(fresh, true);
  create_schema(fresh);
  boot_from_text(fresh, description);
  transaction.commit();
  keep_booted(fresh, description);
  fresh.copy_to(database);
}

}  // namespace host
