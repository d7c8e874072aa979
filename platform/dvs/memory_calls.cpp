// Releasing the memory that calls have returned.
#include <cstdlib>

#include "platform/dvs/exports.hpp"

void DVSQEL_DataFree(void *data) {
  std::free(data);
}
