// The records that this process's callers have been handed and have not released: who asked for them, how large.
#include "platform/core/handed_out.hpp"

#include <pthread.h>

#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <unordered_map>

namespace host {

namespace {

struct Record {
  char const *function;
  std::size_t size;
  bool inherited;
};

// The key is the complement of the address: leak checkers must not take the register for a use of the record.
using Key = std::uintptr_t;

Key key_of(void const *record) {
  return ~reinterpret_cast<std::uintptr_t>(record);
}

struct Register {
  std::mutex mutex;
  std::unordered_map<Key, Record> records;
  std::size_t bytes = 0;
  std::size_t wrong_releases = 0;
};

// Never destroyed: records are released until the very end of the process.
Register &the_register() {
  static auto *const instance = new Register;
  return *instance;
}

thread_local char const *running_function = nullptr;
thread_local std::size_t running_bytes = 0;

void before_fork() {
  the_register().mutex.lock();
}

void in_parent() {
  the_register().mutex.unlock();
}

// The child has a copy of each record and may release it, but it did not ask for it.
void in_child() {
  for (auto &[key, record] : the_register().records)
    record.inherited = true;
  the_register().mutex.unlock();
}

// When the library is loaded, so before the handlers of the calls: a fork locks in the reverse order, first
// the calls and then the register, as calls do.
int const registered = pthread_atfork(before_fork, in_parent, in_child);

}  // namespace

void hand_out(void const *record, std::size_t size) {
  Register &all = the_register();
  {
    std::lock_guard const lock(all.mutex);
    Record &entry = all.records[key_of(record)];
    all.bytes += size - entry.size;
    entry = {running_function ? running_function : "", size, false};
  }
  running_bytes += size;
}

std::optional<std::size_t> take_from_register(void const *record) {
  Register &all = the_register();
  std::lock_guard const lock(all.mutex);
  auto const found = all.records.find(key_of(record));
  if (found == all.records.end()) {
    ++all.wrong_releases;
    return std::nullopt;
  }
  std::size_t const size = found->second.size;
  all.bytes -= size;
  all.records.erase(found);
  return size;
}

void take_back(void *record) {
  running_bytes -= take_from_register(record).value_or(0);
  std::free(record);
}

MemoryCounts memory_counts() {
  Register &all = the_register();
  std::lock_guard const lock(all.mutex);
  return {all.records.size(), all.bytes, all.wrong_releases};
}

void begin_handing_out(char const *function) {
  running_function = function;
  running_bytes = 0;
}

std::size_t bytes_handed_out() {
  return running_bytes;
}

void for_each_unreleased(void (*visit)(char const *function, std::size_t bytes)) {
  Register &all = the_register();
  std::lock_guard const lock(all.mutex);
  for (auto const &[key, record] : all.records) {
    if (!record.inherited)
      visit(record.function, record.size);
  }
}

}  // namespace host
