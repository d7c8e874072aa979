// What a host has, as JSON: all of it to be shown, or the description that boots it.
#pragma once

#include <nlohmann/json.hpp>

#include "platform/core/database.hpp"
#include "platform/core/faults.hpp"

namespace tool {

using Json = nlohmann::ordered_json;

// Both need a transaction.
Json inventory(host::Database &database);
Json boot_description(host::Database &database);

Json fault_json(host::FaultRule const &rule);

}  // namespace tool
