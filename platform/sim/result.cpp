// What operations gave: where the bytes of deliveries are kept.
#include "platform/sim/result.hpp"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::size_t least_block = 1024;
constexpr std::size_t most_block = std::size_t{1} << 20;

}  // namespace

void vssim_result::expect(std::size_t count, std::size_t bytes) {
  deliveries.reserve(count);
  bytes = std::min(bytes, most_block);
  if (blocks_.empty() && bytes > 0)
    blocks_.push_back({std::make_unique_for_overwrite<std::uint8_t[]>(bytes), bytes, 0});
}

void const *vssim_result::keep_bytes(forwarding::Bytes bytes) {
  if (blocks_.empty() || blocks_.back().size - blocks_.back().used < bytes.size()) {
    std::size_t const wanted =
        blocks_.empty() ? least_block : std::clamp(blocks_.back().size * 2, least_block, most_block);
    std::size_t const size = std::max(wanted, bytes.size());
    blocks_.push_back({std::make_unique_for_overwrite<std::uint8_t[]>(size), size, 0});
  }
  Block &block = blocks_.back();
  std::uint8_t *const place = block.bytes.get() + block.used;
  if (!bytes.empty())
    std::memcpy(place, bytes.data(), bytes.size());
  block.used += bytes.size();
  return place;
}

char const *vssim_result::keep_text(std::string text) {
  return texts_.emplace_back(std::move(text)).c_str();
}
