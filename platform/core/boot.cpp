// Booting the host: a fresh one from its description, a known one back to its persistent state.
#include "platform/core/boot.hpp"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "platform/core/boot_description.hpp"
#include "platform/core/call.hpp"
#include "platform/core/known_properties.hpp"
#include "platform/core/status_names.hpp"
#include "platform/core/uplinks.hpp"

namespace host {

namespace {

std::string read_file(std::string const &path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  if (!file || !(text << file.rdbuf()))
    throw DescriptionError("cannot read it: " + std::string(std::strerror(errno)));
  return text.str();
}

// What the rules of the calls refuse, the description cannot ask for either.
template <typename Step>
void step(std::string const &where, Step &&run) {
  try {
    run();
  } catch (Refusal const &refusal) {
    throw DescriptionError(where + ": the host refuses it with " + status_name(refusal.status()));
  }
}

void make_switch(Database &database, DescribedSwitch const &wanted) {
  RowId vswitch = 0;
  step(wanted.where, [&] {
    vswitch = create_switch(database, {wanted.alias, wanted.switch_id, wanted.class_name, wanted.max_ports,
                                       wanted.persistent, wanted.mtu, wanted.version, wanted.flags});
  });
  for (DescribedUplink const &uplink : wanted.uplinks) {
    step(uplink.where, [&] {
      add_uplink_port(database, vswitch, {uplink.name, uplink.dvport_id});
      if (!uplink.nic.empty())
        bind_nic(database, vswitch, uplink.name, uplink.nic);
    });
  }
  for (DescribedPort const &port : wanted.ports) {
    step(port.where, [&] {
      RowId const row = add_port(database, vswitch, port.dvport_id);
      set_property(database, {vswitch, Scope::port, row}, QEL_HNQPROP_PORT_CONNECTID,
                   {.value = property_bytes(port.connect_id)});
      if (port.client) {
        connect_client(database, row, port.client->type, port.client->name, port.client->mac);
      }
    });
  }
}

}  // namespace

void boot_fresh_host(Database &database, std::string const &description_path) {
  bool const built_in = description_path.empty();
  try {
    std::string const text = built_in ? std::string(default_description()) : read_file(description_path);
    BootDescription const description = parse_description(text);
    for (DescribedNic const &nic : description.nics) {
      step(nic.where, [&] { add_physical_nic(database, nic.nic); });
    }
    for (DescribedSwitch const &wanted : description.switches)
      make_switch(database, wanted);
  } catch (DescriptionError const &error) {
    throw Fault(ExceptionClass::runtime_error, QEL_INVALID_METADATA,
                "boot description " + (built_in ? "of the host" : description_path) + ": " + error.what());
  }
}

Status boot() {
  return update([](Database &database) {
    // Switches go first: a NIC that they free may belong to an uplink port that comes back.
    database.execute("DELETE FROM vswitch WHERE NOT persistent");
    forget_volatile_properties(database);
    set_all_nics_up(database);
    database.execute("UPDATE host SET boot_count = boot_count + 1");
  });
}

std::int64_t boot_count(Database &database) {
  Rows row = database.rows("SELECT boot_count FROM host");
  return row.next() ? row.integer(0) : 0;
}

}  // namespace host
