// Steps through mirror session tables and LAG tables, and reads and writes mirror entities as text.
#include "extensions/mirror_and_lag.hpp"

#include "constants/constants.hpp"
#include "extensions/addresses.hpp"
#include "extensions/names.hpp"

#include <arpa/inet.h>

#include <cstdio>

namespace vswitchpy {
namespace mirror {
namespace {

constexpr std::int64_t value_offset = offsetof(DVMirrorEntity, dvPortId);
constexpr std::int64_t is_ipv6_offset = offsetof(DVMirrorEntity, ip) + offsetof(DVMirrorIP, isIPv6);
constexpr std::int64_t address_offset = offsetof(DVMirrorEntity, ip) + offsetof(DVMirrorIP, ipv4);
constexpr std::size_t dvport_id_width = sizeof(DVMirrorEntity::dvPortId);
constexpr std::size_t uplink_width = sizeof(DVMirrorEntity::uplink);

int type_of(const DVMirrorEntity *entity) {
  return load<int>(entity, offsetof(DVMirrorEntity, type));
}

void format_ip(const DVMirrorEntity *entity, char *text, std::size_t room) {
  const int family = load<qel_Bool>(entity, is_ipv6_offset) ? AF_INET6 : AF_INET;
  inet_ntop(family, byte_at(entity, address_offset), text, static_cast<socklen_t>(room));
}

template <class Address>
bool store_ip(DVMirrorEntity *entity, const char *text, int family, qel_Bool is_ipv6) {
  Address address;
  if (inet_pton(family, text, &address) != 1) {
    return false;
  }
  store(entity, address_offset, address);
  store(entity, is_ipv6_offset, is_ipv6);
  return true;
}

// The low bytes of a decimal number; what is no number counts as 0, as strtol has it.
template <class Integer>
void store_decimal(DVMirrorEntity *entity, const char *text) {
  store(entity, value_offset, static_cast<Integer>(std::strtol(text, nullptr, 10)));
}

void store_mac(DVMirrorEntity *entity, const char *text) {
  // Straight into the record: bytes that do not scan keep their value.
  std::uint8_t *mac = byte_at(entity, value_offset);
  const int scanned =
      std::sscanf(text, "%2hhx:%2hhx:%2hhx:%2hhx:%2hhx:%2hhx", mac, mac + 1, mac + 2, mac + 3, mac + 4, mac + 5);
  static_cast<void>(scanned);
}

}  // namespace

DVMirrorSession *first_session(DVMirrorSessionTable *self) {
  return record_at<DVMirrorSession>(self, offsetof(DVMirrorSessionTable, sessions));
}

DVMirrorEntity *session_entity(DVMirrorSessionTable *self, int index) {
  const auto sessions = load<qel_uint32>(self, offsetof(DVMirrorSessionTable, numSessions));
  const std::size_t pool = offsetof(DVMirrorSessionTable, sessions) + sizeof(DVMirrorSession) * sessions;
  return record_at<DVMirrorEntity>(self, element_offset(pool, sizeof(DVMirrorEntity), index));
}

DVMirrorEntity *next_entity(DVMirrorEntity *self) {
  return record_at<DVMirrorEntity>(self, sizeof(DVMirrorEntity));
}

TextObject entity_text(DVMirrorEntity *self) {
  char text[sizeof(DVMirrorEntity)] = {};
  switch (type_of(self)) {
    case constant::MIRROR_ENTTYPE_DVPORT: std::memcpy(text, byte_at(self, value_offset), dvport_id_width); break;
    case constant::MIRROR_ENTTYPE_UPLINK: std::memcpy(text, byte_at(self, value_offset), uplink_width); break;
    case constant::MIRROR_ENTTYPE_VLAN:
      std::snprintf(text, sizeof text, "%d", load<qel_uint16>(self, value_offset));
      break;
    case constant::MIRROR_ENTTYPE_IP: format_ip(self, text, sizeof text); break;
    case constant::MIRROR_ENTTYPE_PORT:
      // Signed, though the identifier is not: scripts compare the text with what the platform prints.
      std::snprintf(text, sizeof text, "%d", load<int>(self, value_offset));
      break;
    case constant::MIRROR_ENTTYPE_MAC: return mac_text(byte_at(self, value_offset));
    default: break;
  }
  return {text_to_python(text)};
}

void set_entity_text(DVMirrorEntity *self, char const *text) {
  if (!text) {
    return;
  }
  switch (type_of(self)) {
    case constant::MIRROR_ENTTYPE_DVPORT: write_slot(byte_at(self, value_offset), text, dvport_id_width); break;
    case constant::MIRROR_ENTTYPE_UPLINK:
      // Unlike the identifier, a name of the full width loses its last byte to the terminator.
      write_slot(byte_at(self, value_offset), text, uplink_width);
      store(self, value_offset + static_cast<std::int64_t>(uplink_width) - 1, char{0});
      break;
    case constant::MIRROR_ENTTYPE_VLAN: store_decimal<qel_uint16>(self, text); break;
    case constant::MIRROR_ENTTYPE_IP:
      if (!store_ip<in_addr>(self, text, AF_INET, 0)) {
        store_ip<in6_addr>(self, text, AF_INET6, 1);
      }
      break;
    case constant::MIRROR_ENTTYPE_PORT: store_decimal<qel_uint32>(self, text); break;
    case constant::MIRROR_ENTTYPE_MAC: store_mac(self, text); break;
    default: break;
  }
}

void encap_type() {}
void assertion() {}

}  // namespace mirror

namespace lag {

VSLAGStatus *first(VSLAGTable *self) {
  return record_at<VSLAGStatus>(self, sizeof(VSLAGTable));
}

VSLAGStatus *next(VSLAGStatus *self) {
  const auto uplinks = load<qel_uint32>(self, offsetof(VSLAGStatus, numUplinks));
  return record_at<VSLAGStatus>(self, static_cast<std::int64_t>(sizeof(VSLAGStatus) + sizeof(qel_Name) * uplinks));
}

TextObject name(VSLAGStatus *self) {
  return slot_text(byte_at(self, offsetof(VSLAGStatus, name)), sizeof(VSLAGStatus::name));
}

}  // namespace lag
}  // namespace vswitchpy
