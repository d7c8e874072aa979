// The scripted partners at the other ends of NICs' links, which answer LACP. The one owner of their table.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

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
bool has_partners(Database &database);

// When an end sends; times in microseconds of the host's clock.
struct LacpSendingRow {
  std::optional<std::int64_t> sent_at;
  std::int64_t sent_in_second = 0;
  std::optional<std::int64_t> send_at;
};

LacpSendingRow read_sending(Rows const &row, int first);

// What a scripted partner has heard: its end, as 15 bytes of an LACPDU.
struct LacpPartnerState {
  std::optional<std::string> heard;
  bool is_named = false;
  LacpSendingRow sending;
};
HOST_API LacpPartnerState load_partner_state(Database &database, RowId nic);
HOST_API void store_partner_state(Database &database, RowId nic, LacpPartnerState const &state);

}  // namespace host
