// Releasing the memory that calls have returned.
#include "platform/core/memory.hpp"
#include "platform/dvs/exports.hpp"

void DVSQEL_DataFree(void *data) {
  host::release_memory(data);
}
