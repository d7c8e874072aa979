// What operations gave: deliveries with their bytes, drops, steps, totals.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "platform/forwarding/frame.hpp"
#include "platform/sim/vswitch_sim.h"

struct vssim_result {
 public:
  // So many deliveries and drops are kept at most (K-8).
  static constexpr std::size_t most_kept = 4194304;

  std::vector<vssim_delivery> deliveries;
  std::vector<vssim_drop> drops;
  std::vector<vssim_step> steps;
  std::uint64_t frames = 0;
  std::uint64_t delivered = 0;
  std::uint64_t dropped = 0;
  std::uint64_t consumed = 0;
  std::uint64_t not_kept = 0;

  // Makes room for as many deliveries, of so many bytes together; there may be more.
  void expect(std::size_t count, std::size_t bytes);
  // A copy of bytes that lives as long as the result.
  void const *keep_bytes(forwarding::Bytes bytes);
  // The same of a text.
  char const *keep_text(std::string text);

 private:
  struct Block {
    std::unique_ptr<std::uint8_t[]> bytes;
    std::size_t size = 0;
    std::size_t used = 0;
  };
  std::vector<Block> blocks_;
  std::deque<std::string> texts_;
};
