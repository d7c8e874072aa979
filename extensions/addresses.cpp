// Hardware and IP addresses between the bytes that records hold and the text that scripts read.
#include "extensions/addresses.hpp"

#include <arpa/inet.h>

#include <cstdio>

namespace vswitchpy {
namespace {

template <int family, std::size_t room>
TextObject ip_text(const void *address) {
  char text[room];
  return {text_to_python(inet_ntop(family, address, text, sizeof text))};
}

void write_mac(void *record, std::int64_t offset, const unsigned char *mac) {
  std::memmove(byte_at(record, offset), mac, mac_size);
}

}  // namespace

TextObject mac_text(const unsigned char *mac) {
  char text[32];
  std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
  return {text_to_python(text)};
}

TextObject ipv4_text(const unsigned char *address) {
  return ip_text<AF_INET, INET_ADDRSTRLEN>(address);
}

TextObject ipv6_text(const unsigned char *address) {
  return ip_text<AF_INET6, INET6_ADDRSTRLEN>(address);
}

void set_entry_mac(VSMACEntry *self, unsigned char const *mac) {
  write_mac(self, offsetof(VSMACEntry, macAddress), mac);
}

void set_static_entry_mac(VSStaticLEEntry *self, unsigned char const *mac) {
  write_mac(self, offsetof(VSStaticLEEntry, macAddress), mac);
}

void set_row_mac(VSMACEntries *self, int index, unsigned char const *mac) {
  write_mac(self, element_offset(0, mac_size, index), mac);
}

}  // namespace vswitchpy
