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
constexpr int deepest_nesting = 16;

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

// Reads a document only to see that it is one, and how deep it goes.
class NestingCheck : public nlohmann::json_sax<Document> {
 public:
  bool null() override { return true; }
  bool boolean(bool) override { return true; }
  bool number_integer(number_integer_t) override { return true; }
  bool number_unsigned(number_unsigned_t) override { return true; }
  bool number_float(number_float_t, string_t const &) override { return true; }
  bool string(string_t &) override { return true; }
  bool binary(binary_t &) override { return true; }
  bool start_object(std::size_t) override { return ++depth_ <= deepest_nesting; }
  bool key(string_t &) override { return true; }
  bool end_object() override { return --depth_ >= 0; }
  bool start_array(std::size_t) override { return ++depth_ <= deepest_nesting; }
  bool end_array() override { return --depth_ >= 0; }
  bool parse_error(std::size_t, std::string const &, nlohmann::detail::exception const &) override { return false; }

 private:
  int depth_ = 0;
};

Document parse_document(std::string_view body) {
  try {
    NestingCheck check;
    refuse_if(!Document::sax_parse(body.begin(), body.end(), &check, Document::input_format_t::cbor),
              QEL_INVALID_METADATA);
    return Document::from_cbor(body.begin(), body.end());
  } catch (Document::exception const &) {
    refuse(QEL_INVALID_METADATA);
  }
}

}  // namespace

std::string seal_image(Document const &document) {
  std::string image(header_size, '\0');
  Document::to_cbor(document, nlohmann::detail::output_adapter<char>(image));
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
  return parse_document(image.substr(header_size));
}

Document const &member(Document const &object, char const *name) {
  refuse_if(!object.is_object(), QEL_INVALID_METADATA);
  auto const found = object.find(name);
  refuse_if(found == object.end(), QEL_INVALID_METADATA);
  return *found;
}

Document const &list_member(Document const &object, char const *name) {
  Document const &list = member(object, name);
  refuse_if(!list.is_array(), QEL_INVALID_METADATA);
  return list;
}

std::string text_member(Document const &object, char const *name, std::size_t room) {
  Document const &value = member(object, name);
  refuse_if(!value.is_string(), QEL_INVALID_METADATA);
  auto text = value.get<std::string>();
  refuse_if(text.size() >= room || text.find('\0') != std::string::npos, QEL_INVALID_METADATA);
  return text;
}

std::string name_member(Document const &object, char const *name, std::size_t room) {
  std::string text = text_member(object, name, room);
  refuse_if(text.empty(), QEL_INVALID_METADATA);
  return text;
}

std::uint32_t number_member(Document const &object, char const *name) {
  Document const &value = member(object, name);
  refuse_if(!value.is_number_unsigned() || value.get<std::uint64_t>() > UINT32_MAX, QEL_INVALID_METADATA);
  return value.get<std::uint32_t>();
}

bool truth_member(Document const &object, char const *name) {
  Document const &value = member(object, name);
  refuse_if(!value.is_boolean(), QEL_INVALID_METADATA);
  return value.get<bool>();
}

std::string bytes_member(Document const &object, char const *name) {
  Document const &value = member(object, name);
  refuse_if(!value.is_binary(), QEL_INVALID_METADATA);
  Document::binary_t const &bytes = value.get_binary();
  return {bytes.begin(), bytes.end()};
}

}  // namespace host
