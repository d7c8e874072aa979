// The commands for what is plugged in: carriers of NICs, clients of ports.
#include <cstdio>
#include <memory>
#include <optional>

#include "platform/core/constants.hpp"
#include "platform/core/ports.hpp"
#include "platform/core/text.hpp"
#include "platform/core/uplink_choice.hpp"
#include "platform/tool/session.hpp"

namespace tool {

namespace {

using namespace host;

struct PortOptions {
  std::string vswitch;
  std::string port;
  std::string client;
  std::string mac;
  std::string type = "vnic";
};

std::optional<MacAddress> mac_option(std::string const &text) {
  if (text.empty())
    return std::nullopt;
  MacAddress mac;
  int length = 0;
  int const found = std::sscanf(text.c_str(), "%2hhx:%2hhx:%2hhx:%2hhx:%2hhx:%2hhx%n", &mac[0], &mac[1], &mac[2],
                                &mac[3], &mac[4], &mac[5], &length);
  if (found != 6 || static_cast<std::size_t>(length) != text.size())
    throw Refused(text + ": is not a MAC address such as 02:00:00:00:00:01");
  return mac;
}

Port port_option(Database &database, PortOptions const &options) {
  try {
    return port_by_id(database, switch_by_any_name(database, options.vswitch), options.port);
  } catch (Refusal const &refusal) {
    if (refusal.status() != QEL_NOT_FOUND)
      throw;
    throw Refused("there is no port " + options.port + " on a switch " + options.vswitch);
  }
}

void connect(PortOptions const &options) {
  text_argument(options.client.c_str(), QEL_PORT_CLIENT_NAME_MAX);
  std::optional<MacAddress> const mac = mac_option(options.mac);
  std::int64_t const type = options.type == "vnic" ? VS_PORT_CLIENT_VNIC : VS_PORT_CLIENT_TCPIP;
  change_host([&](Database &database) {
    Port const port = port_option(database, options);
    if (port.client_type != VS_PORT_CLIENT_UNKNOWN)
      throw Refused("the port " + options.port + " has a client");
    connect_client(database, port.row, type, options.client, mac);
  });
}

void disconnect(PortOptions const &options) {
  change_host([&](Database &database) {
    Port const port = port_option(database, options);
    if (port.client_type == VS_PORT_CLIENT_UNKNOWN)
      throw Refused("the port " + options.port + " has no client");
    if (port.client_type == VS_PORT_CLIENT_UPLINK)
      throw Refused("the client of the port " + options.port + " is an uplink");
    disconnect_client(database, port.row);
  });
}

CLI::App *port_command(CLI::App &app, std::string const &name, std::string const &help, PortOptions &options) {
  CLI::App *command = app.add_subcommand(name, help);
  command->add_option("switch", options.vswitch, "The switch, by any of its names")->required();
  command->add_option("port", options.port, "The port's identifier")->required();
  return command;
}

}  // namespace

void add_port_commands(CLI::App &app, Session &session) {
  auto nic = std::make_shared<std::string>();
  auto state = std::make_shared<std::string>();
  CLI::App *link = app.add_subcommand("link", "Plugs the cable of a physical NIC in or pulls it: its carrier");
  link->add_option("nic", *nic, "The NIC's name")->required();
  link->add_option("state", *state, "up or down")->required()->check(CLI::IsMember({"up", "down"}));
  link->callback([nic, state, &session] {
    change_host([&](Database &database) {
      try {
        change_carrier(database, *nic, *state == "up");
      } catch (Refusal const &) {
        throw Refused("there is no NIC " + *nic);
      }
    });
    session.answer("", Json::object());
  });

  auto wanted = std::make_shared<PortOptions>();
  CLI::App *connecting = port_command(app, "connect", "Connects a client to a port that has none", *wanted);
  connecting->add_option("client", wanted->client, "The client's name")->required();
  connecting->add_option("--mac", wanted->mac, "The client's MAC address");
  connecting->add_option("--type", wanted->type, "vnic (the default) or tcpip")
      ->check(CLI::IsMember({"vnic", "tcpip"}));
  connecting->callback([wanted, &session] {
    connect(*wanted);
    session.answer("", Json::object());
  });

  auto leaving = std::make_shared<PortOptions>();
  port_command(app, "disconnect", "Disconnects the client of a port", *leaving)->callback([leaving, &session] {
    disconnect(*leaving);
    session.answer("", Json::object());
  });
}

}  // namespace tool
