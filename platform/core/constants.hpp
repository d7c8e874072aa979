// The named constants that the host works with, by their plain names.
#pragma once

#include "constants/constants.hpp"

namespace host {

using namespace constant;

}  // namespace host
