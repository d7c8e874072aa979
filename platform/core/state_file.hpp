// Where a host's state is: finds, checks and opens state files.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/core/database.hpp"
#include "platform/core/export.hpp"

namespace host {

// In place of a path: a host that has no file.
inline constexpr char memory_host[] = ":memory:";

// Where the environment says that the state file is: a full path, or ":memory:".
HOST_API std::string state_file_path();

// Whether there is a host where the environment says, so that opening would not make one. Writes nothing, but takes
// back what a process left that was killed while it booted the host.
HOST_API bool host_exists();

// Opens a state file, checks it, and boots the host where there is none yet: from the text of a boot description, or
// without one (null) as the environment says. `is_frozen`: see frozen_mark().
std::unique_ptr<Database> open_state(std::string const &path, bool is_frozen, std::string const *description);

// A state in memory like this one, which has no transaction.
std::unique_ptr<Database> copy_state(Database &database);

// Throws a fault where a state file, or a file that SQLite keeps beside it, is not what this process may write to.
void check_state_file(std::string const &path);

bool may_write_state_file(std::string const &path);

// What shows that a file has changed.
struct FileMark {
  ino_t inode;
  off_t size;
  std::int64_t seconds;
  std::int64_t nanoseconds;
  bool operator==(FileMark const &) const = default;
};

// Of a state file that this process can only read and that no process has open; none for any other. SQLite has to make
// a log beside a file even to read it, unless it knows that the file does not change.
std::optional<FileMark> frozen_mark(std::string const &path);

// Which file is at a path.
struct Place {
  dev_t device = 0;
  ino_t inode = 0;
  bool operator==(Place const &) const = default;
  bool is_empty() const { return inode == 0; }
};

// The state file and what SQLite keeps beside it while it is open.
struct Places {
  Place state;
  Place log;
  Place index;
};

Places places_at(std::string const &path);

// What stands at the path now has nothing to do with the log that the former file has left there.
void remove_old_log(std::string const &path, Places const &old);

// Closes a state file whose log was removed, when no other process does: of two at once, each would take the other for
// the last one, which copies what is in the log into the file.
void close_alone(std::string const &path, std::unique_ptr<Database> &database);

}  // namespace host
