// Values and images on their way in and out of the calls of libdvs.so.
#pragma once

#include <cstring>
#include <string_view>

#include "platform/core/failure.hpp"
#include "platform/core/memory.hpp"

namespace host {

inline std::string_view bytes_argument(void const *data, int length) {
  refuse_if(length < 0 || (!data && length > 0), QEL_BAD_PARAM);
  return {static_cast<char const *>(data), static_cast<std::size_t>(length)};
}

// Both outputs together, in memory that the caller releases. An empty value has an address, too.
template <typename Length>
void return_bytes(std::string_view bytes, void **data, Length *length) {
  auto memory = allocate_record<char>(bytes.size());
  std::memcpy(memory.get(), bytes.data(), bytes.size());
  *data = memory.release();
  *length = static_cast<Length>(bytes.size());
}

}  // namespace host
