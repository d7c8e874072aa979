// What all commands share: the options before them, work on the host, and how they answer.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "platform/core/database.hpp"

namespace tool {

using Json = nlohmann::ordered_json;

// The command cannot be done; the text says why.
class Refused : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Session {
  bool json = false;

  // A line for people, or the JSON in its place.
  void answer(std::string const &text, Json const &data) const;
};

// Work on the host's state in one transaction. Without a host the command is refused: only `init` makes one.
void read_host(std::function<void(host::Database &)> const &work);
void change_host(std::function<void(host::Database &)> const &work);

// The same without a transaction.
void use_host(std::function<void(host::Database &)> const &work);

std::string read_text_file(std::string const &path);

void add_host_commands(CLI::App &app, Session &session);
void add_fault_commands(CLI::App &app, Session &session);
void add_port_commands(CLI::App &app, Session &session);

}  // namespace tool
