// vswitch-host: looks after a simulated host from the command line.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>

#include "platform/core/failure.hpp"
#include "platform/core/status_names.hpp"
#include "platform/tool/session.hpp"

namespace {

constexpr int refused = 1;
constexpr int wrong_usage = 2;

int refuse_with(std::string const &reason) {
  std::cerr << "vswitch-host: " << reason << "\n";
  return refused;
}

std::string status_text(host::Status status) {
  char const *name = host::status_name(status);
  return name ? name : "status " + std::to_string(status);
}

int run(int count, char **arguments) {
  CLI::App app("Looks after a simulated host of virtual switches.", "vswitch-host");
  app.require_subcommand(1);
  app.fallthrough();
  app.footer("Exit codes: 0 done, 1 refused (the reason is on standard error), 2 wrong usage.");
  tool::Session session;
  std::string state_file;
  app.add_option("--host", state_file, "The state file; without it, that of the environment (VSWITCH_HOST)")
      ->type_name("FILE")
      ->each([](std::string const &path) { setenv("VSWITCH_HOST", path.c_str(), 1); });
  app.add_flag("--json", session.json, "Answer in JSON");
  tool::add_host_commands(app, session);
  tool::add_port_commands(app, session);
  tool::add_fault_commands(app, session);
  try {
    app.parse(count, arguments);
  } catch (CLI::ParseError const &error) {
    return app.exit(error) == 0 ? 0 : wrong_usage;
  } catch (host::Refusal const &refusal) {
    return refuse_with("the host refuses it with " + status_text(refusal.status()));
  } catch (host::Fault const &fault) {
    return refuse_with(fault.message());
  } catch (std::exception const &error) {
    return refuse_with(error.what());
  }
  return 0;
}

}  // namespace

int main(int count, char **arguments) {
  try {
    return run(count, arguments);
  } catch (...) {
    std::fputs("vswitch-host: there is no memory left\n", stderr);
    return refused;
  }
}
