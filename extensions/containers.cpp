// Indexed access to counted and unbounded arrays: what the patterns share, and the records with rules of their own.
#include "extensions/containers.hpp"

#include "constants/constants.hpp"

#include <cstdio>

namespace vswitchpy {

// Without a line end: scripts that read the platform's output look for exactly this text.
void report_invalid_index() {
  std::fputs("Invalid array index.", stdout);
}

SlotText switch_name(VSList *self, int index) {
  constexpr std::size_t switch_width = 128;
  constexpr std::size_t alias_width = 81;
  // Signed, so that a negative index reads before the first name, and reported with a line end and without a
  // full stop: scripts of the platform rely on this method being the exception.
  if (index >= load<qel_int32>(self, SwitchNames::count_offset)) {
    std::puts("Invalid array index");
    return {};
  }
  const bool switches = load<int>(self, offsetof(VSList, listType)) == constant::VS_LIST_PS;
  const std::size_t width = switches ? switch_width : alias_width;
  return slot_at(self, element_offset(offsetof(VSList, switches), width, index), width);
}

qel_SwitchPortID active_destination(VSPromiscSessionActiveDsts *self, int index) {
  if (!ActiveDestinations::holds(self, index)) {
    report_invalid_index();
    return 0;
  }
  return load<qel_SwitchPortID>(
      self, element_offset(offsetof(VSPromiscSessionActiveDsts, entries), sizeof(qel_SwitchPortID), index));
}

void set_active_destination(VSPromiscSessionActiveDsts *self, int index, qel_SwitchPortID port) {
  if (!ActiveDestinations::holds(self, index)) {
    report_invalid_index();
    return;
  }
  store(self, element_offset(offsetof(VSPromiscSessionActiveDsts, entries), sizeof port, index), port);
}

Owned<VSPMACLearningStats> port_mac_learning_stats(VSPMACLearningStatsPortInfo *self) {
  return owned_copy<VSPMACLearningStats>(byte_at(self, offsetof(VSPMACLearningStatsPortInfo, portStats)));
}

Owned<VSPropSecurity> port_security(VSPropSecurityPortInfo *self) {
  return owned_copy<VSPropSecurity>(byte_at(self, offsetof(VSPropSecurityPortInfo, l2SecPortInfo)));
}

Owned<VSPMACLearning> port_mac_learning(VSPMACLearningInfo *self) {
  return owned_copy<VSPMACLearning>(byte_at(self, offsetof(VSPMACLearningInfo, portMACLearning)));
}

qel_uint64 vlan_bitmap_word(VSStaticLEEntry *self, int index) {
  return load<qel_uint64>(self, element_offset(offsetof(VSStaticLEEntry, vlanBitmap), sizeof(qel_uint64), index));
}

BytesObject property_value_bytes(HNQQuery *self) {
  const auto length = load<int>(self, offsetof(HNQQuery, propLen));
  const auto *text = load<const char *>(self, offsetof(HNQQuery, propValue));
  return {PyBytes_FromStringAndSize(text ? text : "", text && length > 0 ? length : 0)};
}

TextObject name_text(qel_Name *self) {
  return self ? slot_text(self, sizeof(qel_Name)) : no_text();
}

}  // namespace vswitchpy
