// The functions that libvswitch.so exports, and nothing else.
#pragma once

#pragma GCC visibility push(default)
#include "interface/distributed_switch_configuration.h"
#include "interface/switch_queries.h"
#pragma GCC visibility pop

namespace host {

// Outputs hold null or zero when a call fails.
template <typename Value>
void preset(Value *output) {
  if (output)
    *output = Value{};
}

}  // namespace host
