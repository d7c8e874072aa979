// What this process may use as a file of its own: told from links, devices and the files of other users.
#include "platform/core/safe_files.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace host {

namespace {

constexpr std::size_t longest_description = std::size_t{64} << 20;

class OpenFile {
 public:
  // O_NONBLOCK: opening a pipe would wait for its other end.
  explicit OpenFile(std::string const &path) : number_(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {}
  OpenFile(OpenFile const &) = delete;
  OpenFile &operator=(OpenFile const &) = delete;
  ~OpenFile() {
    if (number_ >= 0)
      close(number_);
  }
  int number() const { return number_; }

 private:
  int number_;
};

[[noreturn]] void cannot_read(std::string const &reason) {
  throw std::runtime_error("cannot read it: " + reason);
}

}  // namespace

std::optional<struct stat> entry_at(std::string const &path) {
  struct stat entry {};
  if (lstat(path.c_str(), &entry) != 0)
    return std::nullopt;
  return entry;
}

char const *objection_to(struct stat const &entry) {
  if (S_ISLNK(entry.st_mode))
    return "it is a symbolic link";
  if (!S_ISREG(entry.st_mode))
    return S_ISDIR(entry.st_mode) ? "it is a folder" : "it is not a regular file";
  uid_t const user = geteuid();
  if (entry.st_uid != user && entry.st_uid != 0 && user != 0)
    return "it belongs to another user";
  // Written under one name, it would change under the other.
  if (entry.st_nlink > 1)
    return "it has a second name (a hard link)";
  return nullptr;
}

std::string read_description_file(std::string const &path) {
  OpenFile const file(path);
  struct stat entry {};
  if (file.number() < 0 || fstat(file.number(), &entry) != 0)
    cannot_read(std::strerror(errno));
  if (!S_ISREG(entry.st_mode))
    cannot_read("it is not a regular file");
  std::string text;
  char block[65536];
  for (;;) {
    ssize_t const count = read(file.number(), block, sizeof block);
    if (count < 0 && errno == EINTR)
      continue;
    if (count < 0)
      cannot_read(std::strerror(errno));
    if (count == 0)
      return text;
    // By what is read, not by the size: the file may grow meanwhile.
    if (text.size() + static_cast<std::size_t>(count) > longest_description)
      cannot_read("it is larger than " + std::to_string(longest_description) + " bytes");
    text.append(block, static_cast<std::size_t>(count));
  }
}

}  // namespace host
