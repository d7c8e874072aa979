// Addresses as texts.
#pragma once

#include <arpa/inet.h>

#include <cstdio>
#include <string>

#include "platform/core/mac_address.hpp"

namespace sim {

// "02:00:00:00:00:01"
inline std::string mac_text(host::MacAddress const &mac) {
  char text[18];
  std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
  return text;
}

// Of 4 or 16 bytes in network order.
inline std::string ip_text(std::string const &bytes) {
  char text[INET6_ADDRSTRLEN] = "";
  inet_ntop(bytes.size() == sizeof(in_addr) ? AF_INET : AF_INET6, bytes.data(), text, sizeof text);
  return text;
}

}  // namespace sim
