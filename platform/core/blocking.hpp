// Ports that let no frames through: by their properties, or while their switch is in save and restore.
#pragma once

#include <optional>
#include <vector>

#include "platform/core/ports.hpp"

namespace host {

// By QEL_HNQPROP_PORT_BLOCK, by QEL_HNQPORT_FORWARD_NOT_READY_BLOCK, or in save and restore. The one rule: it holds for
// both directions. Refuses with QEL_NOT_FOUND.
HOST_API bool is_blocked(Database &database, RowId port);

// Those that are blocked in save and restore.
HOST_API std::vector<RowId> ports_blocked_in_rtm(Database &database);

// Blocked for a world, or (none) with the whole switch.
void block_for_world(Database &database, RowId port, std::int64_t world);
std::optional<std::int64_t> blocking_world(Database &database, RowId port);
void unblock(Database &database, RowId port);
void block_all_ports(Database &database, RowId vswitch);
// Also those that a world has blocked.
void unblock_all_ports(Database &database, RowId vswitch);
void forget_blocked_ports(Database &database);

}  // namespace host
