// The handle of a host, and arguments in JSON, as the functions of the interface take them.
#pragma once

#include <string_view>

#include "platform/core/json_object.hpp"
#include "platform/sim/entry.hpp"
#include "platform/sim/simulation.hpp"

namespace sim {

inline Simulation &simulation(vssim_host *host) {
  require(host, "no host");
  return static_cast<Simulation &>(*host);
}

// Where something is handed out: null until it is whole.
template <typename Result>
void clear(Result *out) {
  require(out, "no place for the result");
  *out = {};
}

// Reads an argument; what it cannot be is VSSIM_BAD_ARGUMENT, with its place.
template <typename Read>
void read_argument(char const *json, Read &&read) {
  constexpr std::size_t deepest = 8;
  require(json, "no description");
  try {
    read(host::read_json(json, deepest));
  } catch (host::DescriptionError const &error) {
    fail(VSSIM_BAD_ARGUMENT, error.what());
  } catch (host::DocumentError const &error) {
    fail(VSSIM_BAD_ARGUMENT, error.what());
  }
}

// Of an argument that is an object: members that nobody reads are refused.
template <typename Read>
void read_object(char const *json, Read &&read) {
  read_argument(json, [&](host::Document const &document) {
    host::JsonObject object(document, "");
    read(object);
    object.finish();
  });
}

}  // namespace sim
