// Takes back the memory that calls have handed to scripts.
#include "platform/core/memory.hpp"

#include "platform/core/trace.hpp"

namespace host {

void release_memory(void *record, char const *function) {
  if (!record)
    return;
  std::optional<std::size_t> const size = take_from_register(record);
  trace_release(function, record, size.has_value(), size.value_or(0));
  if (size)
    std::free(record);
}

}  // namespace host
