// The functions that libdvs.so exports, and nothing else; and what presets their outputs.
#pragma once

#pragma GCC visibility push(default)
#include "interface/distributed_switch_state.h"
#pragma GCC visibility pop

#include "platform/core/outputs.hpp"
