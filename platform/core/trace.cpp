// The trace: one line of JSON for each call, in the file that VSWITCH_HOST_TRACE names.
#include "platform/core/trace.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "platform/core/handed_out.hpp"
#include "platform/core/safe_files.hpp"
#include "platform/core/status_names.hpp"

namespace host {

std::atomic<TraceState> trace_state{TraceState::unknown};

namespace {

// Only of values that hold no others: the destructors of those need memory, and end the process without it.
using Json = nlohmann::json;

constexpr std::size_t most_arguments = 16;
constexpr std::size_t longest_text = 256;

struct Note {
  char const *function;
  char const *names;
  std::size_t count;
  NotedArgument arguments[most_arguments];
};

thread_local Note latest_note;

std::mutex start_mutex;
std::atomic<int> trace_file{-1};

// A JSON object, written from left to right.
class Object {
 public:
  void add(std::string_view member, Json const &value) { add_text(member, text_of(value)); }
  void add(std::string_view member, Object const &value) { add_text(member, value.text()); }

  std::string text() const { return text_ + "}"; }

 private:
  // Bytes of scripts need not be UTF-8.
  static std::string text_of(Json const &value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

  void add_text(std::string_view member, std::string const &value) {
    if (text_.size() > 1)
      text_ += ",";
    text_ += text_of(std::string(member)) + ":" + value;
  }

  std::string text_ = "{";
};

void write_line(Object const &line, int further_file = -1) {
  std::string const text = line.text() + "\n";
  for (int const file : {trace_file.load(), further_file}) {
    // One write, so that the lines of several processes never mix. Where it fails, the call matters more.
    if (file >= 0)
      static_cast<void>(!write(file, text.data(), text.size()));
  }
}

// A trace that cannot be written must not change what a call does.
template <typename Body>
void without_failing(Body &&body) {
  try {
    body();
  } catch (std::exception const &) {
  }
}

std::string address_text(void const *address) {
  char text[32];
  std::snprintf(text, sizeof text, "%p", address);
  return text;
}

Json argument_value(NotedArgument const &argument) {
  switch (argument.kind) {
    case NotedArgument::Kind::signed_number: return argument.signed_number;
    case NotedArgument::Kind::unsigned_number: return argument.unsigned_number;
    default: break;
  }
  if (!argument.address)
    return nullptr;
  if (argument.kind == NotedArgument::Kind::address)
    return address_text(argument.address);
  auto const *text = static_cast<char const *>(argument.address);
  std::size_t const length = strnlen(text, longest_text + 1);
  std::string shown(text, std::min(length, longest_text));
  if (length > longest_text)
    shown += "...";
  return shown;
}

// The next of the names in "alias, mtu".
std::string_view next_name(std::string_view &names) {
  std::size_t const end = std::min(names.find(", "), names.size());
  std::string_view const name = names.substr(0, end);
  names.remove_prefix(std::min(end + 2, names.size()));
  return name;
}

// None where the note is another call's: not every function has arguments to note.
Object noted_arguments(char const *function) {
  Object arguments;
  if (!latest_note.function || std::strcmp(latest_note.function, function) != 0)
    return arguments;
  std::string_view names = latest_note.names;
  for (std::size_t i = 0; i < latest_note.count; ++i)
    arguments.add(next_name(names), argument_value(latest_note.arguments[i]));
  latest_note.function = nullptr;
  return arguments;
}

Object new_line() {
  Object line;
  line.add("pid", getpid());
  return line;
}

void trace_unreleased(char const *function, std::size_t bytes) {
  without_failing([&] {
    Object line = new_line();
    line.add("never_released", function);
    line.add("bytes", bytes);
    write_line(line);
  });
}

// A descriptor, or -1 and the reason. O_NONBLOCK: opening a pipe would wait for its reader.
int open_trace(char const *path, char const **reason) {
  int const file = open(path, O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (file < 0) {
    *reason = std::strerror(errno);
    return -1;
  }
  // What was opened, not what is there now.
  struct stat entry {};
  if (fstat(file, &entry) != 0) {
    *reason = std::strerror(errno);
  } else if (S_ISREG(entry.st_mode) && entry.st_uid != geteuid()) {
    // Not even the superuser writes into the files of others here.
    *reason = "it belongs to another user";
  } else {
    *reason = objection_to(entry);
  }
  if (!*reason) {
    if (entry.st_mode != (S_IFREG | S_IRUSR | S_IWUSR) && entry.st_size == 0)
      static_cast<void>(fchmod(file, S_IRUSR | S_IWUSR));  // whatever the umask
    return file;
  }
  close(file);
  return -1;
}

struct ReportAtExit {
  ~ReportAtExit() {
    if (trace_state == TraceState::on)
      for_each_unreleased(trace_unreleased);
    // What still runs at exit finds no trace any more.
    trace_state = TraceState::off;
  }
};

ReportAtExit report_at_exit;

}  // namespace

std::atomic<int> TraceFile::open_files{0};

TraceFile::TraceFile(std::string const &path) {
  char const *reason = nullptr;
  descriptor_ = open_trace(path.c_str(), &reason);
  if (reason)
    throw Fault(ExceptionClass::os_error, QEL_WRITE_ERROR, path + ": cannot open the trace: " + reason);
  ++open_files;
}

TraceFile::~TraceFile() {
  --open_files;
  close(descriptor_);
}

void start_trace() {
  std::lock_guard const lock(start_mutex);
  if (trace_state != TraceState::unknown)
    return;
  char const *path = std::getenv("VSWITCH_HOST_TRACE");
  if (path && *path) {
    char const *reason = nullptr;
    trace_file = open_trace(path, &reason);
    if (reason)
      std::fprintf(stderr, "vswitch host: %s: cannot open the trace: %s\n", path, reason);
  }
  trace_state = trace_file < 0 ? TraceState::off : TraceState::on;
}

void end_trace() {
  std::lock_guard const lock(start_mutex);
  trace_state = TraceState::unknown;
  int const file = trace_file.exchange(-1);
  if (file >= 0)
    close(file);
}

void note_argument_list(char const *function, char const *names, NotedArgument const *arguments, std::size_t count) {
  latest_note.function = function;
  latest_note.names = names;
  latest_note.count = std::min(count, most_arguments);
  std::copy_n(arguments, latest_note.count, latest_note.arguments);
}

void trace_call(TracedCall const &call) {
  without_failing([&] {
    Object line = new_line();
    line.add("call", call.function);
    line.add("arguments", noted_arguments(call.function));
    char const *name = status_name(call.status);
    line.add("status", name ? Json(name) : Json(nullptr));
    line.add("number", call.status);
    if (call.exception) {
      line.add("exception", call.exception);
      line.add("message", call.message);
    }
    line.add("microseconds", call.microseconds);
    line.add("bytes", call.bytes);
    write_line(line, call.file ? call.file->descriptor() : -1);
  });
}

void trace_release(char const *function, void const *record, bool known, std::size_t bytes) {
  if (trace_state != TraceState::on)
    return;
  without_failing([&] {
    Object line = new_line();
    line.add("call", function);
    Object arguments;
    arguments.add("memory", address_text(record));
    line.add("arguments", arguments);
    line.add("released", known);
    line.add("bytes", bytes);
    write_line(line);
  });
}

}  // namespace host
