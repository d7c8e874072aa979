// Reads the frames of capture files, pcap and pcapng, whatever stands in these.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sim {

// A capture file that is read from its beginning to its end. Everything throws a Failure that names the file and the
// byte where it does not go on.
class PacketFile {
 public:
  // More than any Ethernet has, and what capturing programs keep of a packet at most.
  static constexpr std::uint32_t longest_packet = 262144;

  // A regular file. Never waits.
  explicit PacketFile(std::string path);
  PacketFile(PacketFile const &) = delete;
  PacketFile &operator=(PacketFile const &) = delete;
  ~PacketFile();

  // Appends the bytes of the next packet. False: there is none.
  bool next(std::string &bytes);

  // When the last packet was captured, in microseconds since the epoch. None where the file does not say.
  std::optional<std::int64_t> time() const { return time_; }

  // Starts again.
  void rewind();

  [[noreturn]] void refuse(std::string const &reason) const;

 private:
  struct Interface {
    std::uint32_t snaplen = 0;    // 0: no limit
    std::uint8_t resolution = 6;  // as if_tsresol has it
    std::int64_t offset = 0;      // seconds
  };

  void read_head();
  bool next_record(std::string &bytes);
  bool next_block(std::string &bytes);
  void read_byte_order();
  void read_section(std::uint32_t length);
  void read_interface(std::uint32_t length);
  void read_enhanced_packet(std::uint32_t length, std::string &bytes);
  void read_simple_packet(std::uint32_t length, std::string &bytes);
  void need(std::uint32_t length, std::uint32_t least) const;
  void append_packet(std::uint32_t captured, std::uint32_t room, std::string &bytes);

  bool at_end();
  void read(void *target, std::size_t count);
  void skip(std::uint64_t count);
  std::uint16_t number_16(unsigned char const *bytes) const;
  std::uint32_t number_32(unsigned char const *bytes) const;
  std::uint64_t number_64(unsigned char const *bytes) const;
  std::uint32_t read_32();

  std::string const path_;
  int file_ = -1;
  std::uint64_t item_ = 0;      // where the block or record begins that is being read
  std::uint64_t position_ = 0;  // of what is read next
  std::uint64_t size_ = 0;
  std::vector<unsigned char> buffer_;
  std::size_t buffered_ = 0;
  std::size_t used_ = 0;

  bool is_pcapng_ = false;
  bool is_big_endian_ = false;
  bool is_nanoseconds_ = false;
  std::vector<Interface> interfaces_;
  std::optional<std::int64_t> time_;
};

}  // namespace sim
