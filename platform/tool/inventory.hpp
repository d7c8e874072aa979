// What a host has, as JSON.
#pragma once

#include <nlohmann/json.hpp>

#include "platform/core/database.hpp"
#include "platform/core/faults.hpp"

namespace tool {

using Json = nlohmann::ordered_json;

// Needs a transaction.
Json inventory(host::Database &database);

Json fault_json(host::FaultRule const &rule);

}  // namespace tool
