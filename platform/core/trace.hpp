// The trace: one line of JSON for each call, in the file that VSWITCH_HOST_TRACE names.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

#include "platform/core/export.hpp"
#include "platform/core/failure.hpp"

namespace host {

enum class TraceState : unsigned char { unknown, off, on };

extern HOST_API std::atomic<TraceState> trace_state;

// A file that takes the calls on one host, beside that of the environment.
class HOST_API TraceFile {
 public:
  // Throws a fault where it cannot be opened.
  explicit TraceFile(std::string const &path);
  TraceFile(TraceFile const &) = delete;
  TraceFile &operator=(TraceFile const &) = delete;
  ~TraceFile();

  int descriptor() const { return descriptor_; }

  // How many there are in this process.
  static std::atomic<int> open_files;

 private:
  int descriptor_;
};

inline bool may_trace() {
  return trace_state.load(std::memory_order_relaxed) != TraceState::off ||
         TraceFile::open_files.load(std::memory_order_relaxed) != 0;
}

// The arguments of a call, kept as they are until the call has ended. Nothing here has a destructor: an abort jumps
// over the exported function.
struct NotedArgument {
  enum class Kind { text, address, signed_number, unsigned_number };
  Kind kind;
  union {
    void const *address;
    std::int64_t signed_number;
    std::uint64_t unsigned_number;
  };
};

template <typename Value>
NotedArgument noted(Value value) {
  using Kind = NotedArgument::Kind;
  NotedArgument result{};
  if constexpr (std::is_pointer_v<Value>) {
    // Only what the call cannot write is a text: an output may not hold one yet.
    result.kind = std::is_same_v<Value, char const *> ? Kind::text : Kind::address;
    result.address = reinterpret_cast<void const *>(value);
  } else if constexpr (std::is_enum_v<Value>) {
    return noted(static_cast<std::underlying_type_t<Value>>(value));
  } else if constexpr (std::is_signed_v<Value>) {
    result.kind = Kind::signed_number;
    // A byte is shown as the number that it holds.
    result.signed_number = static_cast<std::int64_t>(value);  // NOLINT(bugprone-signed-char-misuse)
  } else {
    result.kind = Kind::unsigned_number;
    result.unsigned_number = value;
  }
  return result;
}

HOST_API void note_argument_list(char const *function, char const *names, NotedArgument const *arguments,
                                 std::size_t count);

template <typename... Values>
void note_arguments(char const *function, char const *names, Values... values) {
  NotedArgument const arguments[] = {noted(values)...};
  note_argument_list(function, names, arguments, sizeof...(values));
}

// The first statement of an exported function that has arguments.
#define NOTE_ARGUMENTS(...)                                        \
  do {                                                             \
    if (::host::may_trace())                                       \
      ::host::note_arguments(__func__, #__VA_ARGS__, __VA_ARGS__); \
  } while (false)

// Reads the environment, once.
void start_trace();
// The next call reads the environment again.
void end_trace();

struct TracedCall {
  char const *function;
  Status status;
  char const *exception;  // null unless the call was aborted
  char const *message;
  std::int64_t microseconds;
  std::size_t bytes;
  TraceFile const *file;  // that of the host, or null
};

void trace_call(TracedCall const &call);
void trace_release(char const *function, void const *record, bool known, std::size_t bytes);

}  // namespace host
