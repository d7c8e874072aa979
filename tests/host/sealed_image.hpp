// Makes an image around any document.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

inline void put_number(std::string &image, std::size_t place, std::uint32_t number) {
  std::memcpy(image.data() + place, &number, sizeof number);
}

// An image that is sound as such, whatever its document is: a CRC-32 bit by bit, after the documented layout.
inline std::string image_around(std::string const &document, std::uint32_t format = 1) {
  std::string image = "vswstate" + std::string(12, '\0') + document;
  put_number(image, 8, format);
  put_number(image, 12, static_cast<std::uint32_t>(document.size()));
  std::uint32_t crc = 0xffffffffu;
  auto const add = [&](char byte) {
    crc ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit)
      crc = (crc >> 1) ^ ((crc & 1) ? 0xedb88320u : 0u);
  };
  for (char byte : image.substr(8, 8))
    add(byte);
  for (char byte : document)
    add(byte);
  put_number(image, 16, crc ^ 0xffffffffu);
  return image;
}
