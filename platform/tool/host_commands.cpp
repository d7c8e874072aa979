// The commands for the host as a whole: making, showing, booting and saving it, its clock, its calls.
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <sstream>

#include "platform/core/boot.hpp"
#include "platform/core/clock.hpp"
#include "platform/core/host.hpp"
#include "platform/core/host_row.hpp"
#include "platform/core/snapshot.hpp"
#include "platform/sim/vswitch_sim.h"
#include "platform/tool/description.hpp"
#include "platform/tool/inventory.hpp"
#include "platform/tool/session.hpp"
#include "platform/tool/supported_calls.hpp"

namespace tool {

namespace {

using namespace host;

// As a line of text has it: without quotes.
std::string plain(Json const &value) {
  return value.is_string() ? value.get<std::string>() : value.is_null() ? "-" : value.dump();
}

std::string clock_line(Json const &clock) {
  return "clock: " + std::string(clock["running"].get<bool>() ? "running" : "stopped") + " at " +
         plain(clock["microseconds"]) + " microseconds\n";
}

std::string client_text(Json const &client) {
  if (client.is_null() || client.is_string())
    return plain(client);
  return plain(client["name"]) + " (" + plain(client["type"]) + (client.contains("mac") ? ", " : "") +
         (client.contains("mac") ? plain(client["mac"]) : "") + ")";
}

void show_switch(std::ostream &text, Json const &vswitch) {
  text << "switch " << plain(vswitch["alias"]) << ": identifier " << plain(vswitch["switch_id"]) << ", port set "
       << plain(vswitch["portset"]) << ", MTU " << vswitch["mtu"] << ", " << vswitch["active_ports"]
       << " active of at most " << vswitch["max_ports"] << " ports\n";
  for (Json const &uplink : vswitch["uplinks"]) {
    text << "  uplink " << plain(uplink["name"]) << ": NIC " << plain(uplink["nic"]) << ", link "
         << plain(uplink["link"]) << "\n";
  }
  for (Json const &port : vswitch["ports"]) {
    text << "  port " << plain(port["dvport_id"]) << ": number " << port["port_id"] << ", " << plain(port["type"])
         << ", client " << client_text(port["client"]) << "\n";
  }
}

std::string inventory_text(Json const &host) {
  std::ostringstream text;
  text << "state file: " << plain(host["state_file"]) << "\nboots: " << host["boots"] << "\n"
       << clock_line(host["clock"]);
  for (Json const &nic : host["physical_nics"]) {
    text << "NIC " << plain(nic["name"]) << ": " << plain(nic["mac"]) << ", " << nic["speed"] << " Mbit/s, carrier "
         << plain(nic["link"]) << ", set " << plain(nic["admin"]) << ", uplink " << plain(nic["uplink"])
         << " of switch " << plain(nic["switch"]) << "\n";
  }
  for (Json const &vswitch : host["switches"])
    show_switch(text, vswitch);
  text << "faults: " << host["faults"].size() << "\n";
  return text.str();
}

void make_host(std::string const &description_file, bool force) {
  if (!description_file.empty())
    setenv("VSWITCH_HOST_INIT", std::filesystem::absolute(description_file).c_str(), 1);
  if (host_exists() && state_file_path() != ":memory:") {
    if (!force)
      throw Refused(state_file_path() + ": there is a host already; --force replaces its state");
    char const *init = std::getenv("VSWITCH_HOST_INIT");
    std::string const description = init && *init ? read_text_file(init) : std::string(default_description());
    use_host([&](Database &database) { reset_host(database, description); });
    return;
  }
  HostLock lock;
  open_host();
}

// What is due until then happens.
void advance_clock(double seconds) {
  auto const close = [](vssim_host *host) { vssim_close(host); };
  vssim_host *host = nullptr;
  int status = vssim_current(&host);
  std::unique_ptr<vssim_host, decltype(close)> const owned(host, close);
  if (status == VSSIM_OK)
    status = vssim_advance(host, std::llround(seconds * static_cast<double>(microseconds_per_second)), nullptr);
  if (status != VSSIM_OK)
    throw Refused(vssim_error());
}

void add_clock_commands(CLI::App &app, Session &session) {
  CLI::App *clock = app.add_subcommand("clock", "The host's clock, by which everything on the host ages");
  clock->require_subcommand(1);
  auto answer = [&session](Database &database) {
    Json const json{{"running", !clock_is_stopped(database)}, {"microseconds", clock_now(database)}};
    session.answer(clock_line(json), json);
  };
  clock->add_subcommand("show", "Shows it")->callback([answer] { read_host(answer); });
  clock->add_subcommand("stop", "Stops it where it is")->callback([answer] {
    change_host([&](Database &database) {
      stop_clock(database, clock_now(database));
      answer(database);
    });
  });
  clock->add_subcommand("run", "Lets it follow the time of day again")->callback([answer] {
    change_host([&](Database &database) {
      run_clock(database);
      answer(database);
    });
  });
  auto seconds = std::make_shared<double>();
  CLI::App *advance = clock->add_subcommand("advance", "Puts the stopped clock forward");
  advance->add_option("seconds", *seconds, "By how much")->required()->check(CLI::Range(0.0, 3.2e9));
  advance->callback([answer, seconds] {
    use_host([](Database &) {});  // there is one
    advance_clock(*seconds);
    read_host(answer);
  });
}

void add_snapshot_commands(CLI::App &app, Session &session) {
  auto target = std::make_shared<std::string>();
  auto force = std::make_shared<bool>();
  CLI::App *snapshot = app.add_subcommand("snapshot", "Saves the whole state to a file");
  snapshot->add_option("file", *target, "The file to write")->required();
  snapshot->add_flag("--force", *force, "Replace a file that is there");
  snapshot->callback([target, force, &session] {
    if (!*force && std::filesystem::exists(*target))
      throw Refused(*target + ": is there already; --force replaces it");
    use_host([&](Database &database) { save_snapshot(database, *target); });
    session.answer("", {{"file", *target}});
  });

  auto source = std::make_shared<std::string>();
  CLI::App *restore = app.add_subcommand("restore", "Brings back the state that a snapshot saved");
  restore->add_option("file", *source, "The snapshot")->required();
  restore->callback([source, &session] {
    use_host([&](Database &database) { restore_snapshot(database, *source); });
    session.answer("", {{"file", *source}});
  });
}

void add_calls_command(CLI::App &app, Session &session) {
  app.add_subcommand("calls", "Lists the calls that the host supports, with their statuses")->callback([&session] {
    Json calls = Json::array();
    std::string text;
    for (SupportedCall const &call : supported_calls(host_documentation())) {
      calls.push_back({{"name", call.name}, {"statuses", call.statuses}});
      text += call.name;
      for (std::string const &status : call.statuses)
        text += " " + status;
      text += "\n";
    }
    session.answer(text, calls);
  });
}

}  // namespace

void add_host_commands(CLI::App &app, Session &session) {
  auto file = std::make_shared<std::string>();
  auto force = std::make_shared<bool>();
  CLI::App *init = app.add_subcommand("init", "Boots a fresh host");
  init->add_option("file", *file, "Its boot description; without it, that of the environment or the built-in one");
  init->add_flag("--force", *force, "Replace the state of a host that is there");
  init->callback([file, force, &session] {
    make_host(*file, *force);
    session.answer("", {{"state_file", state_file_path()}});
  });

  app.add_subcommand("show", "Shows NICs, switches, ports, uplinks, the clock and faults")->callback([&session] {
    read_host([&](Database &database) {
      Json const host = inventory(database);
      session.answer(inventory_text(host), host);
    });
  });

  app.add_subcommand("export", "Prints a boot description of the present state")->callback([&session] {
    read_host([&](Database &database) {
      Json const description = boot_description(database);
      session.answer(description.dump(2, ' ', false, Json::error_handler_t::replace) + "\n", description);
    });
  });

  app.add_subcommand("reset", "Boots the host anew from the description that it first booted from")
      ->callback([&session] {
        std::string description;
        read_host([&](Database &database) { description = host_description(database); });
        use_host([&](Database &database) { reset_host(database, description); });
        session.answer("", Json::object());
      });

  app.add_subcommand("boot", "Boots the host again: its volatile state is lost")->callback([&session] {
    std::int64_t boots = 0;
    change_host([&](Database &database) {
      boot_again(database);
      boots = boot_count(database);
    });
    session.answer("", {{"boots", boots}});
  });

  add_snapshot_commands(app, session);
  add_clock_commands(app, session);
  add_calls_command(app, session);
}

}  // namespace tool
