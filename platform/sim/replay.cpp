// Replays the frames of capture files, pcap and pcapng, whatever stands in these.
#include "platform/sim/replay.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>

#include "platform/sim/entry.hpp"
#include "platform/sim/host.hpp"

namespace sim {

namespace {

__extension__ using Wide = __int128;

// Numbers of the pcap and pcapng formats, as a big-endian file has them.
constexpr std::uint32_t pcap_microseconds = 0xa1b2c3d4;
constexpr std::uint32_t pcap_nanoseconds = 0xa1b23c4d;
constexpr std::uint32_t byte_order_magic = 0x1a2b3c4d;
constexpr std::uint32_t linktype_ethernet = 1;
constexpr std::uint16_t opt_endofopt = 0;
constexpr std::uint16_t if_tsresol = 9;
constexpr std::uint16_t if_tsoffset = 14;
constexpr std::uint32_t most_interfaces = 65536;
enum BlockType : std::uint32_t {
  section_header = 0x0a0d0d0a,
  interface_description = 1,
  packet = 2,  // obsolete
  simple_packet = 3,
  enhanced_packet = 6,
};

constexpr std::int64_t microseconds_per_second = 1000000;

constexpr char cut_off[] = "the file ends within what begins here";

std::uint32_t swapped(std::uint32_t number) {
  return __builtin_bswap32(number);
}

std::int64_t within_64_bits(Wide number) {
  constexpr auto least = std::numeric_limits<std::int64_t>::min();
  constexpr auto most = std::numeric_limits<std::int64_t>::max();
  return static_cast<std::int64_t>(std::clamp<Wide>(number, least, most));
}

// A time stamp in microseconds, rounded down. A resolution is a power of 10, or of 2 with the highest bit set.
std::int64_t to_microseconds(std::uint64_t stamp, std::uint8_t resolution, std::int64_t offset) {
  unsigned const power = resolution & 0x7fU;
  Wide time = stamp;
  if (resolution & 0x80U) {
    time = time * microseconds_per_second >> power;
  } else {
    for (unsigned i = power; i < 6; ++i)
      time *= 10;
    for (unsigned i = 6; i < power && time != 0; ++i)
      time /= 10;
  }
  return within_64_bits(time + static_cast<Wide>(offset) * microseconds_per_second);
}

}  // namespace

// ---- bytes
// -----------------------------------------------------------------------------------------------------------

PacketFile::PacketFile(std::string path) : path_(std::move(path)), buffer_(std::size_t{1} << 16) {
  struct stat entry {};
  // O_NONBLOCK: opening a pipe would wait for its other end.
  file_ = open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (file_ < 0 || fstat(file_, &entry) != 0) {
    int const error = errno;
    if (file_ >= 0)
      close(file_);
    fail(VSSIM_FAILED, path_ + ": cannot read it: " + std::strerror(error));
  }
  if (!S_ISREG(entry.st_mode)) {
    close(file_);
    fail(VSSIM_FAILED, path_ + ": cannot read it: it is not a regular file");
  }
  size_ = static_cast<std::uint64_t>(entry.st_size);
  try {
    read_head();
  } catch (...) {
    close(file_);
    throw;
  }
}

PacketFile::~PacketFile() {
  close(file_);
}

void PacketFile::refuse(std::string const &reason) const {
  fail(VSSIM_FAILED, path_ + ": byte " + std::to_string(item_) + ": " + reason);
}

void PacketFile::rewind() {
  position_ = 0;
  buffered_ = used_ = 0;
  interfaces_.clear();
  time_.reset();
  read_head();
}

bool PacketFile::at_end() {
  item_ = position_;
  return position_ >= size_;
}

void PacketFile::read(void *target, std::size_t count) {
  auto *place = static_cast<unsigned char *>(target);
  while (count != 0) {
    if (used_ == buffered_) {
      ssize_t const got = pread(file_, buffer_.data(), buffer_.size(), static_cast<off_t>(position_));
      if (got < 0 && errno == EINTR)
        continue;
      if (got < 0)
        fail(VSSIM_FAILED, path_ + ": cannot read it: " + std::strerror(errno));
      if (got == 0)
        refuse(cut_off);
      buffered_ = static_cast<std::size_t>(got);
      used_ = 0;
    }
    std::size_t const part = std::min(count, buffered_ - used_);
    std::memcpy(place, buffer_.data() + used_, part);
    used_ += part;
    position_ += part;
    place += part;
    count -= part;
  }
}

void PacketFile::skip(std::uint64_t count) {
  if (count > size_ - std::min(size_, position_))
    refuse(cut_off);
  std::uint64_t const part = std::min<std::uint64_t>(count, buffered_ - used_);
  used_ += static_cast<std::size_t>(part);
  if (part < count)
    buffered_ = used_ = 0;
  position_ += count;
}

std::uint16_t PacketFile::number_16(unsigned char const *bytes) const {
  auto const at = [&](std::size_t i) { return static_cast<std::uint16_t>(bytes[i]); };
  return static_cast<std::uint16_t>(is_big_endian_ ? at(0) << 8 | at(1) : at(1) << 8 | at(0));
}

std::uint32_t PacketFile::number_32(unsigned char const *bytes) const {
  auto const half = [&](std::size_t i) { return static_cast<std::uint32_t>(number_16(bytes + i)); };
  return is_big_endian_ ? half(0) << 16 | half(2) : half(2) << 16 | half(0);
}

std::uint64_t PacketFile::number_64(unsigned char const *bytes) const {
  auto const half = [&](std::size_t i) { return static_cast<std::uint64_t>(number_32(bytes + i)); };
  return is_big_endian_ ? half(0) << 32 | half(4) : half(4) << 32 | half(0);
}

std::uint32_t PacketFile::read_32() {
  unsigned char bytes[4];
  read(bytes, sizeof bytes);
  return number_32(bytes);
}

// ---- pcap
// ------------------------------------------------------------------------------------------------------------

void PacketFile::read_head() {
  item_ = 0;
  is_big_endian_ = true;
  is_pcapng_ = false;
  if (size_ < 4)
    refuse("this is no capture file (pcap or pcapng)");
  std::uint32_t const magic = read_32();
  if (magic == section_header) {
    is_pcapng_ = true;
    position_ = 0;
    buffered_ = used_ = 0;
    return;
  }
  is_big_endian_ = magic == pcap_microseconds || magic == pcap_nanoseconds;
  std::uint32_t const kind = is_big_endian_ ? magic : swapped(magic);
  if (kind != pcap_microseconds && kind != pcap_nanoseconds)
    refuse("this is no capture file (pcap or pcapng)");
  is_nanoseconds_ = kind == pcap_nanoseconds;
  unsigned char head[20];
  read(head, sizeof head);
  if (number_16(head) != 2 || number_16(head + 2) != 4) {
    refuse("pcap of version 2.4 expected, not " + std::to_string(number_16(head)) + "." +
           std::to_string(number_16(head + 2)));
  }
  if (std::uint32_t const linktype = number_32(head + 16); linktype != linktype_ethernet)
    refuse("Ethernet (link type 1) expected, not link type " + std::to_string(linktype));
}

bool PacketFile::next(std::string &bytes) {
  return is_pcapng_ ? next_block(bytes) : next_record(bytes);
}

bool PacketFile::next_record(std::string &bytes) {
  if (at_end())
    return false;
  std::uint32_t const seconds = read_32();
  std::uint32_t const fraction = read_32();
  std::uint32_t const captured = read_32();
  skip(4);  // the packet's own length
  time_ = seconds * microseconds_per_second + (is_nanoseconds_ ? fraction / 1000 : fraction);
  append_packet(captured, captured, bytes);
  return true;
}

void PacketFile::append_packet(std::uint32_t captured, std::uint32_t room, std::string &bytes) {
  if (captured > longest_packet)
    refuse("a packet of " + std::to_string(captured) + " bytes, more than " + std::to_string(longest_packet));
  if (captured > room)
    refuse("a packet of " + std::to_string(captured) + " bytes in a block that has " + std::to_string(room) +
           " for it");
  std::size_t const start = bytes.size();
  bytes.resize(start + captured);
  read(bytes.data() + start, captured);
  skip(room - captured);
}

// ---- pcapng
// ----------------------------------------------------------------------------------------------------------

// What is neither a packet nor needed to understand one is passed over, as the format asks.
bool PacketFile::next_block(std::string &bytes) {
  while (!at_end()) {
    unsigned char head[8];
    read(head, sizeof head);
    std::uint32_t const type = number_32(head);  // that of a section reads the same in both orders
    std::uint32_t fixed = 12;
    if (type == section_header) {
      read_byte_order();
      fixed = 16;
    }
    std::uint32_t const length = number_32(head + 4);
    if (length < fixed || length % 4 != 0)
      refuse("a block of " + std::to_string(length) + " bytes");
    std::uint32_t const body = length - fixed;
    std::uint64_t const end = position_ + body;
    if (end + 4 > size_)
      refuse(cut_off);
    bool has_packet = false;
    switch (type) {
      case section_header: read_section(body); break;
      case interface_description: read_interface(body); break;
      case enhanced_packet:
        read_enhanced_packet(body, bytes);
        has_packet = true;
        break;
      case simple_packet:
        read_simple_packet(body, bytes);
        has_packet = true;
        break;
      case packet: refuse("a Packet Block, which is obsolete: an Enhanced or Simple Packet Block expected");
      default: break;
    }
    skip(end - position_);
    if (read_32() != length)
      refuse("a block that does not end with its length");
    if (has_packet)
      return true;
  }
  return false;
}

void PacketFile::need(std::uint32_t length, std::uint32_t least) const {
  if (length < least)
    refuse("a block that is too short for what it is");
}

void PacketFile::read_byte_order() {
  unsigned char magic[4];
  read(magic, sizeof magic);
  is_big_endian_ = true;
  if (number_32(magic) == byte_order_magic)
    return;
  is_big_endian_ = false;
  if (number_32(magic) != byte_order_magic)
    refuse("a section in an unknown order of bytes");
}

void PacketFile::read_section(std::uint32_t length) {
  need(length, 12);
  unsigned char version[4];
  read(version, sizeof version);
  if (number_16(version) != 1)
    refuse("pcapng of version 1 expected, not " + std::to_string(number_16(version)));
  interfaces_.clear();
}

void PacketFile::read_interface(std::uint32_t length) {
  need(length, 8);
  unsigned char head[8];
  read(head, sizeof head);
  if (std::uint32_t const linktype = number_16(head); linktype != linktype_ethernet)
    refuse("Ethernet (link type 1) expected, not link type " + std::to_string(linktype));
  Interface interface { .snaplen = number_32(head + 4) };
  for (std::uint32_t left = length - 8; left >= 4;) {
    unsigned char option[4];
    read(option, sizeof option);
    std::uint16_t const code = number_16(option);
    std::uint32_t const size = number_16(option + 2);
    std::uint32_t const padded = (size + 3) / 4 * 4;
    if (code == opt_endofopt)
      break;
    if (padded > left - 4)
      refuse("an option that is longer than its block");
    left -= 4 + padded;
    unsigned char value[8] = {};
    if ((code == if_tsresol && size != 1) || (code == if_tsoffset && size != 8))
      refuse("an option of " + std::to_string(size) + " bytes for the resolution or offset of times");
    std::uint32_t const wanted = code == if_tsresol || code == if_tsoffset ? size : 0;
    read(value, wanted);
    skip(padded - wanted);
    if (code == if_tsresol)
      interface.resolution = value[0];
    if (code == if_tsoffset)
      interface.offset = static_cast<std::int64_t>(number_64(value));
  }
  if (interfaces_.size() == most_interfaces)
    refuse("more than " + std::to_string(most_interfaces) + " interfaces");
  interfaces_.push_back(interface);
}

void PacketFile::read_enhanced_packet(std::uint32_t length, std::string &bytes) {
  need(length, 20);
  std::uint32_t const interface = read_32();
  if (interface >= interfaces_.size())
    refuse("a packet of interface " + std::to_string(interface) + ", which is not described");
  std::uint64_t const high = read_32();
  std::uint64_t const stamp = high << 32 | read_32();
  std::uint32_t const captured = read_32();
  skip(4);  // the packet's own length
  time_ = to_microseconds(stamp, interfaces_[interface].resolution, interfaces_[interface].offset);
  append_packet(captured, length - 20, bytes);
}

void PacketFile::read_simple_packet(std::uint32_t length, std::string &bytes) {
  need(length, 4);
  if (interfaces_.empty())
    refuse("a packet of interface 0, which is not described");
  std::uint32_t const whole = read_32();
  std::uint32_t const snaplen = interfaces_.front().snaplen;
  time_.reset();
  append_packet(snaplen == 0 ? whole : std::min(whole, snaplen), length - 4, bytes);
}

// ---- replaying
// -------------------------------------------------------------------------------------------------------

namespace {

constexpr std::size_t batch = 512;                          // frames of a transaction
constexpr std::int64_t longest_advance = 3200000000000000;  // microseconds

// How far the clock goes forward from packet to packet: by the difference of their times, never back.
class Timing {
 public:
  std::int64_t step_to(std::optional<std::int64_t> time) {
    std::optional<std::int64_t> const before = last_;
    if (time)
      last_ = time;
    if (!time || !before || *time <= *before)
      return 0;
    return within_64_bits(static_cast<Wide>(*time) - *before);
  }

 private:
  std::optional<std::int64_t> last_;
};

// Looks at the whole file, so that nothing is sent of one that is refused, and counts its packets.
std::int32_t count_packets(PacketFile &file, bool with_timing) {
  std::int32_t count = 0;
  std::int64_t advanced = 0;
  Timing timing;
  std::string bytes;
  for (; file.next(bytes); bytes.clear()) {
    if (count == std::numeric_limits<std::int32_t>::max())
      file.refuse("more than " + std::to_string(count) + " packets");
    ++count;
    std::int64_t const step = timing.step_to(file.time());
    if (with_timing && step > longest_advance - advanced)
      file.refuse("a time more than 3200000000 seconds after the first packet's");
    advanced += with_timing ? step : 0;
  }
  return count;
}

void send_packets(vssim_host &host, vssim_endpoint endpoint, PacketFile &file, bool with_timing, std::int32_t count,
                  vssim_result &result) {
  std::size_t const most = with_timing ? 1 : batch;
  Timing timing;
  std::int32_t sent = 0;
  std::string bytes;
  std::vector<std::size_t> ends;
  std::vector<vssim_frame> frames;
  try {
    // A file without packets is a transaction as well: what is due happens.
    do {
      bytes.clear();
      ends.clear();
      frames.clear();
      std::int64_t step = 0;
      while (ends.size() < most && file.next(bytes)) {
        ends.push_back(bytes.size());
        step = timing.step_to(file.time());
      }
      std::size_t start = 0;
      for (std::size_t const end : ends) {
        frames.push_back({endpoint, static_cast<std::uint32_t>(end - start), bytes.data() + start});
        start = end;
      }
      SendOptions options;
      options.first_index = sent;
      if (with_timing && step > 0)
        options.advance_by = step;
      host.send(frames, options, result);
      sent += static_cast<std::int32_t>(frames.size());
    } while (sent < count && !frames.empty());
  } catch (...) {
    if (sent == 0)
      throw;
    int const status = status_of_failure();
    fail(static_cast<vssim_status>(status),
         "after " + std::to_string(sent) + " of " + std::to_string(count) + " frames that were sent: " + vssim_error());
  }
}

}  // namespace

}  // namespace sim

int vssim_replay(vssim_host *host, vssim_endpoint endpoint, char const *path, int timing, vssim_result **result) {
  if (result)
    *result = nullptr;
  return sim::entry([&] {
    sim::require(host, "host is null");
    sim::require(path, "path is null");
    host->endpoint_label(endpoint);  // is one to send to
    sim::PacketFile file(path);
    bool const with_timing = timing != 0 && host->time().is_stopped;
    std::int32_t const count = sim::count_packets(file, with_timing);
    file.rewind();
    auto made = std::make_unique<vssim_result>();
    sim::send_packets(*host, endpoint, file, with_timing, count, *made);
    if (result)
      *result = made.release();
  });
}
