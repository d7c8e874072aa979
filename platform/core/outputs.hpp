// What calls leave in their outputs when they fail.
#pragma once

namespace host {

// Outputs hold null or zero when a call fails.
template <typename Value>
void preset(Value *output) {
  if (output)
    *output = Value{};
}

}  // namespace host
