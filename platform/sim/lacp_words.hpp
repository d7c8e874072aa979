// The states of LACP's receive machine in words, as the state and the C interface have them.
#pragma once

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/forwarding/lacp.hpp"

namespace sim {

inline constexpr std::array<char const *, 4> receive_words{"disabled", "expired", "current", "defaulted"};

inline char const *receive_word(forwarding::LacpReceive receive) {
  return receive_words[static_cast<std::size_t>(receive)];
}

// `disabled` for what is none.
inline forwarding::LacpReceive receive_of(std::string_view word) {
  auto const found = std::find(receive_words.begin(), receive_words.end(), word);
  bool const is_known = found != receive_words.end();
  return is_known ? static_cast<forwarding::LacpReceive>(found - receive_words.begin())
                  : forwarding::LacpReceive::disabled;
}

}  // namespace sim
