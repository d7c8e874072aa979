// A simulated host as this process has it: its connection, the lock of its calls, what it has given out. Several can
// live in one process; the calls of the three libraries go to the one in use.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/core/database.hpp"
#include "platform/core/export.hpp"
#include "platform/core/state_file.hpp"
#include "platform/core/trace.hpp"

namespace host {

class HOST_API Host {
 public:
  // The host that the environment names, which is looked up when it is first opened.
  Host();
  // `path` is a full path or ":memory:". Where there is no host yet it boots from the text of a boot description, or
  // without one as the environment says.
  explicit Host(std::string path, std::optional<std::string> description = std::nullopt);
  Host(Host const &) = delete;
  Host &operator=(Host const &) = delete;
  ~Host();

  // The connection, opened and the host booted if need be. Needs the lock.
  Database &open();

  // Ends the use of the state file: the next call opens it anew. Needs the lock.
  void close();

  // Goes on with the host that the environment names then. Needs the lock.
  void forget_path();

  // The state file, or ":memory:". Needs the lock.
  std::string const &path();
  // Another host, in memory, with the state of this one. Needs the lock.
  std::shared_ptr<Host> copy();
  bool is_memory() const { return path_ && *path_ == memory_host; }

  // What libdvs.so has handed out into this host, and what libvswitchsim.so has around it; only they know the types.
  std::shared_ptr<void> handles;
  std::shared_ptr<void> frames;
  // Calls on this host are traced there. Needs the lock.
  std::shared_ptr<TraceFile> trace;

 private:
  friend class HostLock;
  friend struct Forks;

  bool is_inherited() const;
  bool is_current() const;
  void look_after_places();

  std::mutex mutex_;
  bool const follows_environment_;
  std::optional<std::string> path_;
  std::optional<std::string> description_;
  std::unique_ptr<Database> database_;
  pid_t opener_ = 0;
  Places places_;
  std::int64_t looked_ = 0;  // nanoseconds of a coarse clock
  std::optional<FileMark> frozen_;
};

// Calls into a host are serialised within a process. A fork waits for the running calls to end.
class HOST_API HostLock {
 public:
  HostLock();  // of the host in use
  explicit HostLock(std::shared_ptr<Host> host);
  HostLock(HostLock const &) = delete;
  HostLock &operator=(HostLock const &) = delete;
  ~HostLock();

  // The host that this thread has locked last.
  static Host &locked();

 private:
  std::shared_ptr<Host> host_;
  Host *outer_;
};

// Makes a host the one in use. Uses nest: leaving one puts the one before it back, and at the bottom is the
// environment's. A host stays as long as it is in use. False where the host is not in use.
HOST_API void use_host(std::shared_ptr<Host> host);
HOST_API bool leave_host(Host const &host);
HOST_API std::shared_ptr<Host> host_in_use();

// The connection of the host that this thread has locked.
HOST_API Database &open_host();

// Ends this process's use of the environment's host: the next call reads the environment again and opens anew.
HOST_API void close_host();

}  // namespace host
