// What this process may use as a file of its own: told from links, devices and the files of other users.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <optional>
#include <string>

#include "platform/core/export.hpp"

namespace host {

// What is at a path itself: a symbolic link is not followed. None where there is nothing.
HOST_API std::optional<struct stat> entry_at(std::string const &path);

// Why it is not written to as a file of this process's user: "it is a symbolic link"; null if nothing speaks against
// it. What belongs to the superuser counts as one's own, and to the superuser everything does.
HOST_API char const *objection_to(struct stat const &entry);

// The content of a regular file, up to a size that no boot description needs. Never waits: a pipe is refused. Throws a
// std::runtime_error with the reason.
HOST_API std::string read_description_file(std::string const &path);

}  // namespace host
