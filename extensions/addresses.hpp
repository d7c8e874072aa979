// Hardware and IP addresses between the bytes that records hold and the text that scripts read.
#pragma once

#include "extensions/memory.hpp"
#include "interface/policy_records.h"
#include "interface/status_records.h"

namespace vswitchpy {

inline constexpr std::size_t mac_size = 6;

TextObject mac_text(const unsigned char *mac);       // "00:1a:2b:3c:4d:5e": lower case, two digits a byte
TextObject ipv4_text(const unsigned char *address);  // in network order
TextObject ipv6_text(const unsigned char *address);

// Address `index` of those that start `first` bytes into a record, as text. Nothing tests the index: scripts
// keep it below the record's numEntries.
template <class Record, std::size_t first, std::size_t size, TextObject (*as_text)(const unsigned char *)>
struct Addresses {
  static TextObject get(Record *self, int index) { return as_text(byte_at(self, element_offset(first, size, index))); }
};

using FilterMacs = Addresses<VSMcastFilters, offsetof(VSMcastFilters, macEntries), mac_size, mac_text>;
using FilterIpv4s = Addresses<VSMcastFilters, offsetof(VSMcastFilters, ipv4Entries), 4, ipv4_text>;
using FilterIpv6s = Addresses<VSMcastFilters, offsetof(VSMcastFilters, ipv6Entries), 16, ipv6_text>;
using SourceIpv4s = Addresses<VSMcastFilterStats, offsetof(VSMcastFilterStats, ipv4Entries), 4, ipv4_text>;
using SourceIpv6s = Addresses<VSMcastFilterStats, offsetof(VSMcastFilterStats, ipv6Entries), 16, ipv6_text>;
using LegacyMulticastMacs =
    Addresses<VSUserMcastLegacyKeys, offsetof(VSUserMcastLegacyKeys, multicastAddrs), mac_size, mac_text>;

// Takes the first six bytes of `mac`.
void set_entry_mac(VSMACEntry *self, unsigned char const *mac);
void set_static_entry_mac(VSStaticLEEntry *self, unsigned char const *mac);
// Row `index` of the packed rows, without a bound.
void set_row_mac(VSMACEntries *self, int index, unsigned char const *mac);

}  // namespace vswitchpy
