// The serial form in which state leaves and enters the host: a header with a checksum, then a document in CBOR.
#include "platform/core/image.hpp"

#include <array>
#include <cstring>

namespace host {

namespace {

constexpr std::string_view signature = "vswstate";
constexpr std::uint32_t format_version = 1;
constexpr std::size_t number_size = sizeof(std::uint32_t);
constexpr std::size_t format_offset = signature.size();
constexpr std::size_t length_offset = format_offset + number_size;
constexpr std::size_t checksum_offset = length_offset + number_size;
constexpr std::size_t header_size = checksum_offset + number_size;

// Deeper than any document of the host. The reader works recursively: an image must not choose how deep.
constexpr std::size_t deepest_nesting = 16;

// The CRC-32 of IEEE 802.3.
constexpr std::array<std::uint32_t, 256> crc_table = [] {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
    std::uint32_t remainder = byte;
    for (int bit = 0; bit < 8; ++bit)
      remainder = (remainder >> 1) ^ ((remainder & 1) ? 0xedb88320u : 0u);
    table[byte] = remainder;
  }
  return table;
}();

std::uint32_t add_to_crc(std::uint32_t crc, std::string_view bytes) {
  for (char byte : bytes)
    crc = (crc >> 8) ^ crc_table[(crc ^ static_cast<unsigned char>(byte)) & 0xff];
  return crc;
}

// Of all that the image holds except the signature and the checksum itself.
std::uint32_t checksum(std::string_view image) {
  std::uint32_t crc = add_to_crc(0xffffffffu, image.substr(format_offset, checksum_offset - format_offset));
  return add_to_crc(crc, image.substr(header_size)) ^ 0xffffffffu;
}

std::uint32_t number_at(std::string_view image, std::size_t offset) {
  std::uint32_t number = 0;
  std::memcpy(&number, image.data() + offset, sizeof number);
  return number;
}

void put_number(std::string &image, std::size_t offset, std::uint32_t number) {
  std::memcpy(image.data() + offset, &number, sizeof number);
}

}  // namespace

std::string seal_image(Document const &document) {
  std::string image(header_size, '\0');
  append_cbor(image, document);
  std::memcpy(image.data(), signature.data(), signature.size());
  std::size_t const body_size = image.size() - header_size;
  // The calls give the length of an image as an int.
  refuse_if(image.size() > INT32_MAX, QEL_LIMIT_EXCEEDED);
  put_number(image, format_offset, format_version);
  put_number(image, length_offset, static_cast<std::uint32_t>(body_size));
  put_number(image, checksum_offset, checksum(image));
  return image;
}

Document open_image(std::string_view image) {
  refuse_if(image.size() < header_size || image.substr(0, signature.size()) != signature, QEL_INVALID_METADATA);
  refuse_if(number_at(image, format_offset) > format_version, QEL_VERSION_MISMATCH_MAJOR);
  refuse_if(number_at(image, length_offset) != image.size() - header_size, QEL_INVALID_METADATA);
  refuse_if(number_at(image, checksum_offset) != checksum(image), QEL_CHECKSUM_MISMATCH);
  refuse_if(number_at(image, format_offset) == 0, QEL_INVALID_METADATA);
  try {
    return read_cbor(image.substr(header_size), deepest_nesting);
  } catch (DocumentError const &) {
    refuse(QEL_INVALID_METADATA);
  }
}

namespace {

template <typename Kind>
Kind const &value_of(Document const &document) {
  Kind const *const value = document.as<Kind>();
  refuse_if(!value, QEL_INVALID_METADATA);
  return *value;
}

Document const &member(Document const &object, char const *name) {
  auto const &members = value_of<Document::Members>(object);
  auto const found = members.find(name);
  refuse_if(found == members.end(), QEL_INVALID_METADATA);
  return found->second;
}

}  // namespace

Document::List const &list_member(Document const &object, char const *name) {
  return value_of<Document::List>(member(object, name));
}

std::string text_member(Document const &object, char const *name, std::size_t room) {
  auto const &text = value_of<std::string>(member(object, name));
  refuse_if(text.size() >= room || text.find('\0') != std::string::npos, QEL_INVALID_METADATA);
  return text;
}

std::string name_member(Document const &object, char const *name, std::size_t room) {
  std::string text = text_member(object, name, room);
  refuse_if(text.empty(), QEL_INVALID_METADATA);
  return text;
}

std::uint32_t number_member(Document const &object, char const *name) {
  auto const number = value_of<std::uint64_t>(member(object, name));
  refuse_if(number > UINT32_MAX, QEL_INVALID_METADATA);
  return static_cast<std::uint32_t>(number);
}

bool truth_member(Document const &object, char const *name) {
  return value_of<bool>(member(object, name));
}

std::string bytes_member(Document const &object, char const *name) {
  return value_of<Document::Bytes>(member(object, name)).bytes;
}

}  // namespace host
