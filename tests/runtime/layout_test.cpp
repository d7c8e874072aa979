// Bit-fields: where the rows say they lie must be where the compiler puts them.
#include <gtest/gtest.h>

#include <cstring>

#include "interface/mirror_records.rows.hpp"
#include "interface/packet_headers.rows.hpp"
#include "interface/policy_records.rows.hpp"
#include "runtime/tables.hpp"

namespace vswitchpy {
namespace {

constexpr auto rows = flatten_records<packet_headers, mirror_records, policy_records>();

struct BitField {
  std::string_view record;
  std::string_view name;
  std::vector<unsigned char> bytes;  // of a zeroed record whose field is then set to all ones
};

#define BITS(type, member)                                               \
  BitField {                                                             \
#type, #member, [] {                                                   \
      type record;                                                         \
      std::memset(&record, 0, sizeof record);                              \
      --record.member;                                                     \
      std::vector<unsigned char> bytes(sizeof record);                     \
      std::memcpy(bytes.data(), &record, sizeof record);                   \
      return bytes;                                                        \
    }() \
  }

// clang-format off
const BitField bit_fields[] = {
    BITS(qel_VLANHdr, vlanIDHigh),
    BITS(qel_VLANHdr, dropEligible),
    BITS(qel_VLANHdr, priority),
    BITS(qel_IPv4Hdr, headerLength),
    BITS(qel_IPv4Hdr, version),
    BITS(qel_IPv4Hdr, tos),
    BITS(qel_IPv4Hdr, precedence),
    BITS(qel_IPv4Hdr, ecn),
    BITS(qel_IPv4Hdr, dscp),
    BITS(qel_IPv4Hdr, fragmentOffsetHigh),
    BITS(qel_IPv4Hdr, moreFragments),
    BITS(qel_IPv4Hdr, dontFragment),
    BITS(qel_IPv4Hdr, zero),
    BITS(qel_IPv6Hdr, trafficClassHigh),
    BITS(qel_IPv6Hdr, version),
    BITS(qel_IPv6Hdr, flowLabelHigh),
    BITS(qel_IPv6Hdr, trafficClassLow),
    BITS(qel_IGMPv3QueryHdr, qrv),
    BITS(qel_IGMPv3QueryHdr, sFlag),
    BITS(qel_IGMPv3QueryHdr, reserved),
    BITS(qel_MLDv2QueryHdr, qrv),
    BITS(qel_MLDv2QueryHdr, sFlag),
    BITS(qel_MLDv2QueryHdr, reserved2),
    BITS(qel_TCPHdr, reserved),
    BITS(qel_TCPHdr, dataOffset),
    BITS(qel_TCPHdr, fin),
    BITS(qel_TCPHdr, syn),
    BITS(qel_TCPHdr, rst),
    BITS(qel_TCPHdr, psh),
    BITS(qel_TCPHdr, ack),
    BITS(qel_TCPHdr, urg),
    BITS(qel_TCPHdr, ece),
    BITS(qel_TCPHdr, cwr),
    BITS(qel_FenceHdr, version),
    BITS(qel_FenceHdr, frag),
    BITS(qel_FenceHdr, fragmentID),
    BITS(qel_FenceHdr, fenceID),
    BITS(qel_VXLANHdr, flags1),
    BITS(qel_VXLANHdr, locallyReplicate),
    BITS(qel_VXLANHdr, flags1b),
    BITS(qel_VXLANHdr, instanceID),
    BITS(qel_VXLANHdr, flags2),
    BITS(qel_VXLANHdr, reserved1),
    BITS(qel_VXLANHdr, vxlanID),
    BITS(qel_GREHdr, reserved1),
    BITS(qel_GREHdr, strictSourceRoute),
    BITS(qel_GREHdr, sequencePresent),
    BITS(qel_GREHdr, keyPresent),
    BITS(qel_GREHdr, routingPresent),
    BITS(qel_GREHdr, checksumPresent),
    BITS(qel_GREHdr, version),
    BITS(qel_GREHdr, reserved2),
    BITS(qel_GREHdr, ackPresent),
    BITS(qel_GeneveHdr, optionsLength),
    BITS(qel_GeneveHdr, version),
    BITS(qel_GeneveHdr, reserved1),
    BITS(qel_GeneveHdr, criticalOptions),
    BITS(qel_GeneveHdr, oamFrame),
    BITS(qel_GeneveHdr, virtualNetworkId),
    BITS(qel_GeneveHdr, reserved2),
    BITS(qel_GeneveOptionHdr, optLength),
    BITS(qel_GeneveOptionHdr, reserved),
    BITS(qel_PIMHdr, type),
    BITS(qel_PIMHdr, version),
    BITS(DVMirrorFilterRule, has_protocol),
    BITS(DVMirrorFilterRule, has_srcports),
    BITS(DVMirrorFilterRule, has_dstports),
    BITS(DVMirrorFilterRule, reserved),
    BITS(VSPropMACLearning, agingTime),
    BITS(VSPropMACLearning, reserved),
};
// clang-format on

struct Place {
  const FieldRow *row = nullptr;
  std::size_t record_size = 0;
};

Place find_row(const BitField &field) {
  std::size_t next = 0;
  for (const FlatRecord &record : rows.records) {
    for (std::size_t i = 0; i < record.field_count; ++i, ++next) {
      if (record.name == field.record && rows.fields[next].name == field.name) {
        return {&rows.fields[next], record.size};
      }
    }
  }
  return {};
}

TEST(BitFieldLayout, RowsAgreeWithTheCompiler) {
  for (const BitField &field : bit_fields) {
    const Place place = find_row(field);
    ASSERT_NE(place.row, nullptr) << field.record << "." << field.name;
    ASSERT_EQ(place.row->place.kind, FieldKind::bits) << field.record << "." << field.name;
    std::vector<unsigned char> expected(place.record_size);
    for (unsigned bit = place.row->place.first_bit;
         bit < unsigned{place.row->place.first_bit} + place.row->place.bit_count; ++bit) {
      expected[place.row->place.offset + bit / 8] |= static_cast<unsigned char>(1u << bit % 8);
    }
    EXPECT_EQ(field.bytes, expected) << field.record << "." << field.name;
  }
}

TEST(BitFieldLayout, EveryBitFieldRowIsChecked) {
  const auto count = std::count_if(rows.fields.begin(), rows.fields.end(),
                                   [](const FieldRow &row) { return row.place.kind == FieldKind::bits; });
  EXPECT_EQ(static_cast<std::size_t>(count), std::size(bit_fields));
  EXPECT_EQ(count, 70);
}

}  // namespace
}  // namespace vswitchpy
