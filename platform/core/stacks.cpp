// What encapsulated copies of frames are sent with: the host's two stacks.
#include "platform/core/stacks.hpp"

namespace host {

std::vector<Stack> load_stacks(Database &database) {
  std::vector<Stack> stacks;
  Rows rows = database.rows("SELECT name, mac, gateway_mac, ipv4, ipv6, vlan, ttl, dscp FROM stack ORDER BY name");
  while (rows.next()) {
    Stack stack;
    stack.name = rows.text(0);
    if (!rows.is_null(1))
      stack.mac = mac_from(rows.bytes(1));
    stack.gateway_mac = mac_from(rows.bytes(2));
    stack.ipv4 = rows.text(3);
    stack.ipv6 = rows.text(4);
    stack.vlan = static_cast<std::uint32_t>(rows.integer(5));
    stack.ttl = static_cast<std::uint32_t>(rows.integer(6));
    stack.dscp = static_cast<std::uint32_t>(rows.integer(7));
    stacks.push_back(std::move(stack));
  }
  return stacks;
}

void add_stack(Database &database, Stack const &stack) {
  database.execute("INSERT INTO stack (name, gateway_mac, ipv4, ipv6, vlan, ttl, dscp) VALUES (?, ?, ?, ?, ?, ?, ?)",
                   stack.name, Blob{mac_bytes(stack.gateway_mac)}, Blob{stack.ipv4}, Blob{stack.ipv6}, stack.vlan,
                   stack.ttl, stack.dscp);
  if (stack.mac)
    database.execute("UPDATE stack SET mac = ? WHERE name = ?", Blob{mac_bytes(*stack.mac)}, stack.name);
}

}  // namespace host
