// The scripted partners at the other ends of NICs' links, which answer LACP.
#include "platform/core/lacp_partner.hpp"

#include "platform/core/clock.hpp"

namespace host {

LacpPartner read_partner(JsonObject &object) {
  constexpr std::uint32_t most = 65535;  // the fields of an LACPDU have two bytes
  LacpPartner partner;
  if (object.find("system"))
    partner.system = object.mac("system");
  partner.system_priority = object.number_up_to("system_priority", partner.system_priority, most);
  partner.key = object.number_up_to("key", partner.key, most);
  partner.port = object.number_up_to("port", partner.port, most);
  partner.port_priority = object.number_up_to("port_priority", partner.port_priority, most);
  partner.active = object.truth("active", partner.active);
  partner.fast = object.truth("fast", partner.fast);
  partner.aggregatable = object.truth("aggregatable", partner.aggregatable);
  partner.on = object.truth("on", partner.on);
  object.finish();
  return partner;
}

std::optional<LacpPartner> load_partner(Database &database, RowId nic) {
  Rows row = database.rows(
      "SELECT system, system_priority, \"key\", port, port_priority, active, fast, aggregatable, is_on FROM "
      "lacp_partner"
      " WHERE nic = ?",
      nic);
  if (!row.next())
    return std::nullopt;
  auto const number = [&](int column) { return static_cast<std::uint32_t>(row.integer(column)); };
  return LacpPartner{.system = mac_from(row.bytes(0)),
                     .system_priority = number(1),
                     .key = number(2),
                     .port = number(3),
                     .port_priority = number(4),
                     .active = row.integer(5) != 0,
                     .fast = row.integer(6) != 0,
                     .aggregatable = row.integer(7) != 0,
                     .on = row.integer(8) != 0};
}

void set_partner(Database &database, RowId nic, std::optional<LacpPartner> const &partner) {
  database.execute("DELETE FROM lacp_partner WHERE nic = ?", nic);
  if (!partner)
    return;
  // An active one speaks at once.
  database.execute(
      "INSERT INTO lacp_partner (nic, system, system_priority, \"key\", port, port_priority, active, fast, "
      "aggregatable,"
      " is_on, send_at) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
      nic, Blob{mac_bytes(partner->system)}, partner->system_priority, partner->key, partner->port,
      partner->port_priority, partner->active, partner->fast, partner->aggregatable, partner->on,
      partner->active ? std::optional(clock_now(database)) : std::nullopt);
}

void forget_partners(Database &database) {
  database.execute("DELETE FROM lacp_partner");
}

}  // namespace host
