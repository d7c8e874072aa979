// Captures: pcapng files of what passes an endpoint, the same bytes for the same frames at the same times.
#include "platform/sim/capture.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include "platform/forwarding/rules.hpp"

namespace sim {

namespace {

// Numbers of the pcapng format (its Internet-Draft calls them so).
constexpr std::uint32_t section_header_block = 0x0a0d0d0a;
constexpr std::uint32_t byte_order_magic = 0x1a2b3c4d;
constexpr std::uint32_t interface_description_block = 1;
constexpr std::uint32_t enhanced_packet_block = 6;
constexpr std::uint16_t linktype_ethernet = 1;
constexpr std::uint16_t opt_endofopt = 0;
constexpr std::uint16_t opt_comment = 1;
constexpr std::uint16_t if_name = 2;
constexpr std::uint16_t if_tsresol = 9;
constexpr std::uint16_t epb_flags = 2;
constexpr char microseconds = 6;  // 10^-6 s

template <typename Number>
void append(std::string &blocks, Number number) {
  for (std::size_t i = 0; i < sizeof number; ++i)
    blocks += static_cast<char>(static_cast<std::uint64_t>(number) >> (8 * i) & 0xff);
}

void pad(std::string &blocks) {
  blocks.append((4 - blocks.size() % 4) % 4, '\0');
}

void append_option(std::string &blocks, std::uint16_t code, std::string_view value) {
  append(blocks, code);
  append(blocks, static_cast<std::uint16_t>(value.size()));
  blocks += value;
  pad(blocks);
}

// Appends a block: its body, which is padded, between its length twice.
template <typename Body>
void append_block(std::string &blocks, std::uint32_t type, Body const &body) {
  std::size_t const start = blocks.size();
  append(blocks, type);
  append(blocks, std::uint32_t{0});
  body();
  auto const length = static_cast<std::uint32_t>(blocks.size() - start + sizeof(std::uint32_t));
  append(blocks, length);
  std::copy(blocks.end() - sizeof length, blocks.end(), blocks.begin() + static_cast<std::ptrdiff_t>(start) + 4);
}

}  // namespace

std::string capture_head(std::string_view interface_name, std::uint32_t snaplen) {
  std::string blocks;
  append_block(blocks, section_header_block, [&] {
    append(blocks, byte_order_magic);
    append(blocks, std::uint16_t{1});  // version 1.0
    append(blocks, std::uint16_t{0});
    append(blocks, std::int64_t{-1});  // of unknown length
  });
  append_block(blocks, interface_description_block, [&] {
    append(blocks, linktype_ethernet);
    append(blocks, std::uint16_t{0});
    append(blocks, snaplen);
    append_option(blocks, if_name, interface_name);
    append_option(blocks, if_tsresol, {&microseconds, 1});
    append_option(blocks, opt_endofopt, "");
  });
  return blocks;
}

void append_packet(std::string &blocks, PassedFrame const &frame, std::uint32_t snaplen) {
  auto const length = static_cast<std::uint32_t>(frame.bytes.size());
  std::uint32_t const captured = snaplen == 0 ? length : std::min(length, snaplen);
  auto const time = static_cast<std::uint64_t>(frame.time);
  append_block(blocks, enhanced_packet_block, [&] {
    append(blocks, std::uint32_t{0});  // the only interface
    append(blocks, static_cast<std::uint32_t>(time >> 32));
    append(blocks, static_cast<std::uint32_t>(time));
    append(blocks, captured);
    append(blocks, length);
    blocks.append(reinterpret_cast<char const *>(frame.bytes.data()), captured);
    pad(blocks);
    if (frame.reason != 0)
      append_option(blocks, opt_comment, std::string("drop: ") + forwarding::reason_name(frame.reason));
    std::string flags;
    append(flags, static_cast<std::uint32_t>(frame.direction));
    append_option(blocks, epb_flags, flags);
    append_option(blocks, opt_endofopt, "");
  });
}

namespace {

[[noreturn]] void fail_on_file(std::string const &path, int error) {
  if (error == EEXIST)
    fail(VSSIM_FAILED, path + ": is there already");
  bool const is_full = error == ENOSPC || error == EDQUOT || error == EFBIG;
  fail(is_full ? VSSIM_NO_SPACE : VSSIM_FAILED, path + ": cannot write it: " + std::strerror(error));
}

}  // namespace

}  // namespace sim

vssim_capture::vssim_capture(vssim_host &host, vssim_endpoint endpoint, std::string path, unsigned directions,
                             std::uint32_t snaplen)
    : host_(host), path_(std::move(path)), snaplen_(snaplen), opener_(getpid()) {
  std::string const head = sim::capture_head(host.endpoint_label(endpoint), snaplen);
  file_ = open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (file_ < 0)
    sim::fail_on_file(path_, errno);
  try {
    fchmod(file_, S_IRUSR | S_IWUSR);  // whatever the umask
    write(head);
    if (failure_ != 0)
      sim::fail_on_file(path_, failure_);
    host.add_tap(endpoint, directions, *this);
  } catch (...) {
    unlink(path_.c_str());
    close(file_);
    throw;
  }
}

vssim_capture::~vssim_capture() {
  host_.remove_tap(*this);
  close(file_);
}

// What was not written whole is taken back, and nothing is written after it: a file without gaps that readers accept.
void vssim_capture::write(std::string_view blocks) {
  std::size_t written = 0;
  while (written < blocks.size()) {
    ssize_t const count = ::write(file_, blocks.data() + written, blocks.size() - written);
    if (count < 0 && errno == EINTR)
      continue;
    if (count <= 0) {
      failure_ = count < 0 ? errno : EIO;
      if (ftruncate(file_, size_) != 0)
        failure_ = errno;
      return;
    }
    written += static_cast<std::size_t>(count);
  }
  size_ += static_cast<off_t>(blocks.size());
}

void vssim_capture::show(std::span<sim::PassedFrame const> frames) noexcept {
  if (failure_ != 0 || getpid() != opener_)
    return;
  try {
    std::string blocks;
    for (sim::PassedFrame const &frame : frames)
      sim::append_packet(blocks, frame, snaplen_);
    write(blocks);
    if (failure_ == 0)
      frames_ += frames.size();
  } catch (std::exception const &) {
    failure_ = ENOMEM;
  }
}

void vssim_capture::end() {
  host_.remove_tap(*this);
  if (failure_ != 0)
    sim::fail_on_file(path_, failure_);
}

// ---- the C interface
// --------------------------------------------------------------------------------------------------

int vssim_capture_open(vssim_host *host, vssim_endpoint endpoint, char const *path, int directions, uint32_t snaplen,
                       vssim_capture **capture) {
  if (capture)
    *capture = nullptr;
  return sim::entry([&] {
    sim::require(host, "host is null");
    sim::require(path, "path is null");
    sim::require(capture, "capture is null");
    sim::require(directions >= 1 && directions <= 3, "directions is none of 1 (in), 2 (out), 3 (both)");
    *capture = new vssim_capture(*host, endpoint, path, static_cast<unsigned>(directions), snaplen);
  });
}

int vssim_capture_close(vssim_capture *capture) {
  std::unique_ptr<vssim_capture> const owned(capture);
  return sim::entry([&] {
    if (owned)
      owned->end();
  });
}

uint64_t vssim_capture_frames(vssim_capture const *capture) {
  return capture ? capture->frames() : 0;
}
