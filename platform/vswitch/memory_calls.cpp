// Releasing the memory that calls have returned.
#include <cstdlib>

#include "platform/vswitch/exports.hpp"

void VSQEL_FreeMemory(void *memory) {
  std::free(memory);
}

void VSDVS_FreeMemory(void *memory) {
  std::free(memory);
}
