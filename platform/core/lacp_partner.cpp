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

bool has_partners(Database &database) {
  return database.rows("SELECT 1 FROM lacp_partner").next();
}

LacpSendingRow read_sending(Rows const &row, int first) {
  return {row.integer_or_none(first), row.integer(first + 1), row.integer_or_none(first + 2)};
}

LacpPartnerState load_partner_state(Database &database, RowId nic) {
  Rows row =
      database.rows("SELECT heard, is_named, sent_at, sent_in_second, send_at FROM lacp_partner WHERE nic = ?", nic);
  LacpPartnerState state;
  if (!row.next())
    return state;
  if (!row.is_null(0))
    state.heard = row.text(0);
  state.is_named = row.integer(1) != 0;
  state.sending = read_sending(row, 2);
  return state;
}

void store_partner_state(Database &database, RowId nic, LacpPartnerState const &state) {
  database.execute(
      "UPDATE lacp_partner SET heard = NULL, is_named = ?, sent_at = ?, sent_in_second = ?, send_at = ? WHERE nic = ?",
      state.is_named, state.sending.sent_at, state.sending.sent_in_second, state.sending.send_at, nic);
  if (state.heard)
    database.execute("UPDATE lacp_partner SET heard = ? WHERE nic = ?", Blob{*state.heard}, nic);
}

}  // namespace host
