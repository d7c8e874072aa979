// Where the host's state is: finds, checks and opens the state file; one connection per process.
#pragma once

#include <string>

#include "platform/core/database.hpp"
#include "platform/core/export.hpp"

namespace host {

// Calls into the host are serialised within a process. A fork waits for the running call to end.
class HOST_API HostLock {
 public:
  HostLock();
  HostLock(HostLock const &) = delete;
  HostLock &operator=(HostLock const &) = delete;
  ~HostLock();
};

// Where the environment says that the state file is: a full path, or ":memory:".
HOST_API std::string state_file_path();

// Whether there is a host, so that opening would not make one. Writes nothing, but takes back what a process left that
// was killed while it booted the host.
HOST_API bool host_exists();

// This process's connection, opened and the host booted if need be. Needs the lock.
HOST_API Database &open_host();

// Throws a fault where a state file, or a file that SQLite keeps beside it, is not what this process may write to.
void check_state_file(std::string const &path);

// Ends this process's use of the host: the next call reads the environment again and opens anew.
HOST_API void close_host();

}  // namespace host
