// Commands that the component behind a switch executes; their answers are texts for people and scripts to read.
#include <string>

#include "platform/core/call.hpp"
#include "platform/core/property_values.hpp"
#include "platform/core/switch_state.hpp"
#include "platform/core/text.hpp"
#include "platform/core/typed_properties.hpp"
#include "platform/core/uplinks.hpp"
#include "platform/dvs/exports.hpp"
#include "platform/dvs/values.hpp"

using namespace host;

namespace {

constexpr std::size_t command_room = 64;

struct Command {
  std::string_view name;
  bool takes_input;
  std::string (*run)(Database &, RowId vswitch, std::string_view input);
};

std::string line(std::string_view name, std::string_view value) {
  return std::string(name).append(": ").append(value).append("\n");
}

std::string_view port_type_name(int type) {
  switch (type) {
    case DVSPORT_TYPE_ACTIVE: return "active";
    case DVSPORT_TYPE_SHADOW: return "shadow";
    case DVSPORT_TYPE_ZOMBIE: return "zombie";
    default: return "local cache";
  }
}

std::string port_line(PortRow const &port) {
  return port.dvport_id + "\t" + std::to_string(port.row) + "\t" + std::string(port_type_name(port.type())) + "\n";
}

std::string tell_switch(Database &database, RowId row, std::string_view) {
  Switch const vswitch = load_switch(database, row);
  std::uint32_t const mtu = property_number(get_switch_property(database, row, VSPROP_MTU));
  return line("alias", vswitch.alias) + line("identifier", vswitch.switch_id) + line("port set", vswitch.portset) +
         line("class", vswitch.class_name) + line("version", std::to_string(vswitch.version)) +
         line("mtu", std::to_string(mtu)) + line("ports", std::to_string(count_ports(database, row))) +
         line("active ports", std::to_string(count_active_ports(database, row))) +
         line("ports at most", std::to_string(vswitch.max_ports));
}

std::string tell_ports(Database &database, RowId vswitch, std::string_view) {
  std::string text;
  for (PortRow const &port : load_ports(database, vswitch))
    text += port_line(port);
  return text;
}

std::string tell_uplinks(Database &database, RowId vswitch, std::string_view) {
  std::string text;
  for (Uplink const &uplink : load_uplinks(database, vswitch))
    text += uplink.name + "\t" + uplink.nic_name + "\t" + (uplink.link_up ? "up" : "down") + "\n";
  return text;
}

std::string tell_property_names(Database &database, PropertyPlace const &place) {
  std::string text;
  for (StoredProperty const &property : stored_properties(database, place, Values::in_effect))
    text += property.name + "\t" + std::to_string(property.value.size()) + "\n";
  return text;
}

std::string tell_properties(Database &database, RowId vswitch, std::string_view) {
  return tell_property_names(database, {vswitch, Scope::global}) +
         tell_property_names(database, {vswitch, Scope::host});
}

std::string tell_port_properties(Database &database, RowId vswitch, std::string_view input) {
  // The input may or may not bring its terminator.
  std::string_view const dvport_id = input.substr(0, input.find('\0'));
  return tell_property_names(database, {vswitch, Scope::port, port_by_id(database, vswitch, dvport_id).row});
}

std::string tell_commands(Database &, RowId, std::string_view);

constexpr bool no_input = false;
constexpr bool with_input = true;

constexpr Command commands[] = {
    {"help", no_input, tell_commands},         {"switch", no_input, tell_switch},
    {"ports", no_input, tell_ports},           {"uplinks", no_input, tell_uplinks},
    {"properties", no_input, tell_properties}, {"port-properties", with_input, tell_port_properties},
};

std::string tell_commands(Database &, RowId, std::string_view) {
  std::string text;
  for (Command const &command : commands)
    text.append(command.name).append("\n");
  return text;
}

Command const &command_by_name(std::string_view name) {
  for (Command const &command : commands) {
    if (command.name == name)
      return command;
  }
  refuse(QEL_NOT_SUPPORTED);
}

}  // namespace

int DVSQEL_CmdExec(char const *alias, char const *command, void *input, int input_length, void **output,
                   int *output_length) {
  NOTE_ARGUMENTS(alias, command, input, input_length, output, output_length);
  preset(output);
  preset(output_length);
  return query([&](Database &database) {
    refuse_if(!output || !output_length, QEL_BAD_PARAM);
    std::string_view const name = text_argument(command, command_room);
    std::string_view const bytes = bytes_argument(input, input_length);
    RowId const vswitch = switch_by_alias(database, alias_argument(alias));
    Command const &found = command_by_name(name);
    refuse_if(found.takes_input == bytes.empty(), QEL_BAD_PARAM);
    return_bytes(found.run(database, vswitch, bytes), output, output_length);
  });
}
