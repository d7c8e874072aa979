// Gives the one reader of this program its inputs.
#include <cstdint>
#include <cstdio>

#include "fuzz/reader.hpp"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
  try {
    fuzz::readers().at(0).read({reinterpret_cast<char const *>(data), size});
  } catch (std::logic_error const &found) {
    std::fprintf(stderr, "%s\n", found.what());
    std::abort();
  }
  return 0;
}
