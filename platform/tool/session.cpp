// What all commands share: the options before them, work on the host, and how they answer.
#include "platform/tool/session.hpp"

#include <iostream>

#include "platform/core/host.hpp"
#include "platform/core/host_row.hpp"
#include "platform/core/safe_files.hpp"

namespace tool {

void Session::answer(std::string const &text, Json const &data) const {
  if (json) {
    std::cout << data.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
  } else {
    std::cout << text;
  }
}

void use_host(std::function<void(host::Database &)> const &work) {
  if (!host::host_exists())
    throw Refused(host::state_file_path() + ": there is no host; `vswitch-host init` makes one");
  host::HostLock lock;
  work(host::open_host());
}

namespace {

void in_transaction(bool writing, std::function<void(host::Database &)> const &work) {
  use_host([&](host::Database &database) {
    host::Transaction transaction(database, writing);
    work(database);
    if (writing)
      host::note_new_configuration(database);
    transaction.commit();
  });
}

}  // namespace

void read_host(std::function<void(host::Database &)> const &work) {
  in_transaction(false, work);
}

void change_host(std::function<void(host::Database &)> const &work) {
  in_transaction(true, work);
}

std::string read_text_file(std::string const &path) {
  try {
    return host::read_description_file(path);
  } catch (std::runtime_error const &error) {
    throw Refused(path + ": " + error.what());
  }
}

}  // namespace tool
