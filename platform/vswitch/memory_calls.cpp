// Releasing the memory that calls have returned.
#include "platform/core/memory.hpp"
#include "platform/vswitch/exports.hpp"

void VSQEL_FreeMemory(void *memory) {
  host::release_memory(memory);
}

void VSDVS_FreeMemory(void *memory) {
  host::release_memory(memory);
}
