// Captures: pcapng files of what passes an endpoint, the same bytes for the same frames at the same times.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/sim/entry.hpp"
#include "platform/sim/host.hpp"

namespace sim {

// The blocks of a pcapng file with one interface, an Ethernet, whose times are microseconds. All numbers are
// little-endian.
std::string capture_head(std::string_view interface_name, std::uint32_t snaplen);
void append_packet(std::string &blocks, PassedFrame const &frame, std::uint32_t snaplen);

}  // namespace sim

// A capture that is under way.
struct vssim_capture final : sim::Tap {
 public:
  // Makes the file, which must not be there.
  vssim_capture(vssim_host &host, vssim_endpoint endpoint, std::string path, unsigned directions,
                std::uint32_t snaplen);
  ~vssim_capture() override;

  void show(std::span<sim::PassedFrame const> frames) noexcept override;

  // Ends it, and throws what kept it from being complete.
  void end();

  std::uint64_t frames() const { return frames_; }

 private:
  void write(std::string_view blocks);

  vssim_host &host_;
  std::string const path_;
  std::uint32_t const snaplen_;
  pid_t const opener_;  // a fork's child has the file open, too, and leaves it alone
  int file_ = -1;
  off_t size_ = 0;
  std::atomic<std::uint64_t> frames_ = 0;
  int failure_ = 0;  // an errno
};
