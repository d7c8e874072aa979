// The scripted partners at the other ends of NICs' links, which answer LACP. The one owner of their table.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/core/database.hpp"
#include "platform/core/export.hpp"
#include "platform/core/json_object.hpp"
#include "platform/core/mac_address.hpp"

namespace host {

struct LacpPartner {
  MacAddress system{0x02, 0x00, 0x00, 0xff, 0xff, 0x01};
  std::uint32_t system_priority = 32768;
  std::uint32_t key = 1;
  std::uint32_t port = 1;
  std::uint32_t port_priority = 32768;
  bool active = true;
  bool fast = false;
  bool aggregatable = true;
  bool on = true;
};

// By the names of the members, all of which may be left out. Throws a DescriptionError.
HOST_API LacpPartner read_partner(JsonObject &object);

HOST_API std::optional<LacpPartner> load_partner(Database &database, RowId nic);
// None: there is no partner any more.
HOST_API void set_partner(Database &database, RowId nic, std::optional<LacpPartner> const &partner);
void forget_partners(Database &database);

}  // namespace host
