// The calls of the host as its documentation lists them, with the statuses that they return.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tool {

struct SupportedCall {
  std::string name;
  std::vector<std::string> statuses;  // besides QEL_OK and those that any call can return
};

std::string_view host_documentation();

// The rows of the documentation's tables of calls, by name.
std::vector<SupportedCall> supported_calls(std::string_view documentation);

}  // namespace tool
