// The hosts of this process: which one is in use, their connections, and what a fork does to them.
#include "platform/core/host.hpp"

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <new>
#include <vector>

namespace host {

namespace {

// A fraction of what reading the exact time takes.
std::int64_t coarse_now() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return std::int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

// Three look-ups in the file system would double what a short call takes.
constexpr std::int64_t between_looks = 5000000;

struct Hosts {
  std::mutex mutex;
  std::vector<Host *> all;
  std::vector<std::shared_ptr<Host>> in_use;
};

// Never destroyed: a script's last calls may come while the process ends.
Hosts &hosts() {
  static auto *const instance = new Hosts;
  return *instance;
}

std::shared_ptr<Host> const &environment_host() {
  static auto *const instance = new std::shared_ptr<Host>(std::make_shared<Host>());
  return *instance;
}

// Closes the state file at the end of the process, so that SQLite tidies up its log.
struct AtExit {
  ~AtExit() {
    HostLock const lock(environment_host());
    environment_host()->close();
  }
};

thread_local Host *locked_host = nullptr;

[[noreturn]] void report_change(std::string const &path) {
  throw Fault(ExceptionClass::os_error, QEL_READ_ERROR,
              path + ": was removed or replaced while this process had the state file open");
}

}  // namespace

// SQLite keeps its file locks in memory that a fork copies, but the locks themselves stay with the parent: a child that
// opened the file again would believe it held them. So no connection to a file crosses a fork.
struct Forks {
  // All hosts at once: a thread that is at work on one may be about to make another one, which waits for this.
  static void before() {
    gate().lock();
    is_near = true;
    while (!lock_all())
      sched_yield();
    for (Host *host : hosts().all) {
      if (!host->is_memory())
        host->database_.reset();
    }
  }

  static void after() {
    for (Host *host : hosts().all)
      host->mutex_.unlock();
    hosts().mutex.unlock();
    is_near = false;
    gate().unlock();
  }

  // Keeps a thread that is at work on no host from beginning while a fork waits for the others.
  static void wait() {
    if (is_near)
      std::lock_guard const lock(gate());
  }

  // Never destroyed: calls may come while the process ends.
  static std::mutex &gate() {
    static auto *const instance = new std::mutex;
    return *instance;
  }

  // Once in a process, and after that of the register of records: a fork locks the calls before it.
  static void watch() {
    static int const registered = pthread_atfork(before, after, after);
    if (registered != 0)
      throw std::bad_alloc();
  }

 private:
  static bool lock_all() {
    hosts().mutex.lock();
    std::vector<Host *> const &all = hosts().all;
    for (std::size_t i = 0; i < all.size(); ++i) {
      if (all[i]->mutex_.try_lock())
        continue;
      while (i > 0)
        all[--i]->mutex_.unlock();
      hosts().mutex.unlock();
      return false;
    }
    return true;
  }

  static inline std::atomic<bool> is_near = false;
};

Host::Host() : follows_environment_(true) {
  std::lock_guard const lock(hosts().mutex);
  hosts().all.push_back(this);
}

Host::Host(std::string path, std::optional<std::string> description)
    : follows_environment_(false), path_(std::move(path)), description_(std::move(description)) {
  std::lock_guard const lock(hosts().mutex);
  hosts().all.push_back(this);
}

Host::~Host() {
  // A fork waits for this, too: it would copy SQLite's own locks as they are held here.
  std::lock_guard const lock(hosts().mutex);
  std::erase(hosts().all, this);
  close();
}

bool Host::is_inherited() const {
  return database_ && opener_ != getpid() && !is_memory();
}

void Host::close() {
  // Closing what belongs to another process would disturb it.
  if (is_inherited())
    static_cast<void>(database_.release());
  database_.reset();
}

void Host::forget_path() {
  close();
  if (follows_environment_)
    path_.reset();
}

// Ends the use of a state file that is not where it was, or whose log is not: whoever opens the file from now on sees
// another state. This call says so; the next one opens what is there then.
void Host::look_after_places() {
  std::int64_t const now = coarse_now();
  if (now - looked_ < between_looks)
    return;
  looked_ = now;
  Places const places = places_at(*path_);
  if (places.state != places_.state) {
    database_->empty_log();
    remove_old_log(*path_, places_);
    database_.reset();
    report_change(*path_);
  }
  if (places_.log.is_empty() && places_.index.is_empty()) {
    places_ = places;
  } else if (places.log != places_.log || places.index != places_.index) {
    // The last process that closes the file copies the log into it, as it has it open still.
    close_alone(*path_, database_);
    report_change(*path_ + (places.log != places_.log ? "-wal" : "-shm"));
  }
}

// Whoever may write the file by now may have done so.
bool Host::is_current() const {
  if (frozen_)
    return frozen_ == frozen_mark(*path_);
  return !database_->is_read_only() || !may_write_state_file(*path_);
}

Database &Host::open() {
  if (database_) {
    if (is_inherited()) {
      throw Fault(ExceptionClass::runtime_error, QEL_INVALID_STATE,
                  *path_ + ": this process is a copy that was not made by fork()");
    }
    if (!is_memory() && !frozen_)
      look_after_places();
    if (is_current())
      return *database_;
    database_.reset();
  }
  Forks::watch();
  if (!path_)
    path_ = state_file_path();
  frozen_ = is_memory() ? std::nullopt : frozen_mark(*path_);
  database_ = open_state(*path_, frozen_.has_value(), description_ ? &*description_ : nullptr);
  opener_ = getpid();
  if (!is_memory())
    places_ = places_at(*path_);
  looked_ = coarse_now();
  return *database_;
}

std::string const &Host::path() {
  if (!path_)
    path_ = state_file_path();
  return *path_;
}

std::shared_ptr<Host> Host::copy() {
  auto copied = std::make_shared<Host>(std::string(memory_host));
  copied->database_ = copy_state(open());
  copied->opener_ = getpid();
  return copied;
}

HostLock::HostLock() : HostLock(host_in_use()) {}

HostLock::HostLock(std::shared_ptr<Host> host) : host_(std::move(host)), outer_(locked_host) {
  if (!outer_)
    Forks::wait();
  host_->mutex_.lock();
  locked_host = host_.get();
}

HostLock::~HostLock() {
  locked_host = outer_;
  host_->mutex_.unlock();
}

Host &HostLock::locked() {
  return *locked_host;
}

void use_host(std::shared_ptr<Host> host) {
  std::lock_guard const lock(hosts().mutex);
  hosts().in_use.push_back(std::move(host));
}

bool leave_host(Host const &host) {
  std::shared_ptr<Host> left;  // goes when nothing is locked any more
  std::lock_guard const lock(hosts().mutex);
  std::vector<std::shared_ptr<Host>> &uses = hosts().in_use;
  auto const last = std::find_if(uses.rbegin(), uses.rend(), [&](auto const &use) { return use.get() == &host; });
  if (last == uses.rend())
    return false;
  left = std::move(*last);
  uses.erase(std::next(last).base());
  return true;
}

std::shared_ptr<Host> host_in_use() {
  std::shared_ptr<Host> const &outermost = environment_host();
  static AtExit const at_exit;
  std::lock_guard const lock(hosts().mutex);
  return hosts().in_use.empty() ? outermost : hosts().in_use.back();
}

Database &open_host() {
  return HostLock::locked().open();
}

void close_host() {
  HostLock const lock(environment_host());
  environment_host()->forget_path();
  end_trace();
}

}  // namespace host
