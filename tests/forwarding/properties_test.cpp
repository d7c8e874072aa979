// What holds of every frame on every host: random ones, the same at each run.
#include <gtest/gtest.h>

#include <random>

#include "tests/forwarding/any_input.hpp"

namespace properties_test {

std::string random_input(unsigned seed) {
  constexpr std::size_t host_and_frames = 4096;
  std::mt19937 random(seed);
  std::string input(host_and_frames, '\0');
  for (char &byte : input)
    byte = static_cast<char>(random());
  return input;
}

TEST(Properties, P_2_P_3_P_4_V_12_M_4_M_12_API_7_API_8_C_3_C_5_of_any_frame_on_any_host) {
  constexpr unsigned inputs = 600;
  std::set<forwarding::Reason> seen;
  for (unsigned seed = 0; seed < inputs; ++seed) {
    try {
      forwarding::forward_any(random_input(seed), seen);
    } catch (std::logic_error const &found) {
      ADD_FAILURE() << "seed " << seed << ": " << found.what();
    }
  }
  // They come everywhere: `none` is that of deliveries.
  for (unsigned number = 0; number == 0 || forwarding::reason_name(number); ++number)
    EXPECT_TRUE(seen.contains(static_cast<forwarding::Reason>(number))) << number;
}

}  // namespace properties_test
