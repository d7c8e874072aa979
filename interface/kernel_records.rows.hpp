// Binding rows: general kernel records: names, strings, links, management, resource pools, socket addresses.
// The types are part of the error messages, spelled exactly as they stand.
// clang-format off
#pragma once

#include "extensions/containers.hpp"
#include "interface/kernel_records.h"
#include "runtime/row_macros.hpp"

namespace vswitchpy {

inline constexpr auto kernel_records = records(
    RECORD_UNTAGGED(qel_String,
        "A counted text: a pointer to a buffer, the buffer's size and the length of the text in it. "
        "The record does not own the buffer.",
        FIELD(0, bufferSize, qel_ByteCountSmall, "Size of the buffer in bytes, whether or not the text fills it."),
        FIELD(4, stringLength, qel_ByteCountSmall,
            "Length of the text in bytes, at most bufferSize; no call of this interface reads or writes the record."),
        FIELD(8, buffer, qel_uint8 *,
            "First byte of the text; the record never frees it, and a proxy that owned the buffer gives up "
            "ownership when set here.")),

    RECORD(qel_ListLinks, "Links of a doubly linked list; each points to the qel_ListLinks record of a neighbor.",
        FIELD(0, prevPtr, struct qel_ListLinks *,
            "Links of the element before this one, None for a null pointer; the record never frees it, and an owning "
            "proxy gives up ownership when set here."),
        FIELD(8, nextPtr, struct qel_ListLinks *,
            "Links of the element after this one, None for a null pointer; the record never frees it, and an owning "
            "proxy gives up ownership when set here.")),

    RECORD(qel_Name,
        "A fixed 32-byte name; the names of modules, uplinks, management callbacks and attributes are held in it.",
        FIELD(0, string, char [32],
            "Text of the name, at most 31 bytes when set; a name that fills all 32 bytes without a terminator reads "
            "back whole."),
        HELPER(__repr__, name_text, "Text of the name; None for a null record.", IN(self, struct qel_Name *), OR_NONE)),

    RECORD(qel_MgmtCallbackInfo,
        "One callback of a management interface: where it runs, its address, its parameters and its identifier (64 "
        "bytes).",
        FIELD(0, location, qel_MgmtCallbackLocation,
            "Where the callback runs, QEL_MGMT_CALLBACK_KERNEL or QEL_MGMT_CALLBACK_USER."),
        FIELD(8, callback, void *,
            "Address of the native function; the record never frees it, and a proxy that owned the memory gives up "
            "ownership when set here."),
        FIELD(16, synchronous, qel_Bool,
            "Whether the caller waits until the callback has returned; reads as one character, NUL for false."),
        FIELD(17, numParms, qel_uint8,
            "Number of parameters of the callback, 0 to QEL_MGMT_MAX_CALLBACK_PARMS (4); the first that many "
            "elements of parmSizes and parmTypes count."),
        FIELD(20, parmSizes, qel_uint32 [4],
            "Size in bytes of each of up to QEL_MGMT_MAX_CALLBACK_PARMS (4) parameters; view into the record, valid "
            "while it lives."),
        FIELD(36, parmTypes, qel_MgmtParmType [4],
            "Direction and form of each of up to four parameters, QEL_MGMT_PARMTYPE_*; view into the record, valid "
            "while it lives."),
        FIELD(56, callbackId, qel_uint64,
            "Number by which a management call selects this callback, 64 bits; no call of this interface reads or "
            "writes the record.")),

    RECORD(qel_MgmtApiSignature,
        "Description of a management interface: its version, name, vendor and callbacks (80 bytes).",
        FIELD(0, version, qel_revnum,
            "Revision number of the management interface, an unsigned 32-bit word; no call of this interface reads "
            "or writes the record."),
        FIELD(4, name, qel_Name *,
            "Name by which the management interface is found, an embedded qel_Name; view into the record, valid "
            "while it lives."),
        FIELD(36, vendor, qel_Name *,
            "Name of the maker of the management interface, an embedded qel_Name; view into the record, valid while "
            "it lives."),
        FIELD(68, numCallbacks, int, "Number of qel_MgmtCallbackInfo records that callbacks points to."),
        FIELD(72, callbacks, qel_MgmtCallbackInfo *,
            "First of numCallbacks consecutive records; the record never frees them, and a proxy that owned them "
            "gives up ownership when set here.")),

    RECORD(qel_MgmtVectorParm,
        "A parameter of variable length in a management call, for the QEL_MGMT_PARMTYPE_VECTOR_* parameter types.",
        FIELD(0, length, qel_ByteCount, "Length of the data in bytes, 64 bits."),
        FIELD(8, dataPtr, void *,
            "First byte of the data; the record never frees it, and a proxy that owned the data gives up ownership "
            "when set here.")),

    RECORD(qel_MgmtInstances,
        "The instances of a management interface: a one-byte count, then room for 32 identifiers and 32 names (1288 "
        "bytes).",
        FIELD(0, numInstances, qel_uint8,
            "Number of instances in use, 0 to QEL_MGMT_MAX_INSTANCES (32); instanceIds and instanceNames hold one "
            "element for each."),
        FIELD(8, instanceIds, qel_uint64 [32],
            "64-bit identifier of each instance, 32 elements; view into the record, valid while it lives."),
        FIELD(264, instanceNames, qel_Name [32],
            "Name of each instance, 32 qel_Name records in the order of instanceIds; view into the record, valid "
            "while it lives.")),

    RECORD(qel_IntrInfo, "How a device signals an interrupt: trigger and polarity of the line.",
        FIELD(0, trigger, qel_IntrTriggerType,
            "Whether the level or an edge of the signal raises the interrupt, QEL_INTR_TRIGGER_LEVEL or "
            "QEL_INTR_TRIGGER_EDGE."),
        FIELD(4, polarity, qel_IntrPolarityType,
            "Signal state that is active, QEL_INTR_POLARITY_LOW or QEL_INTR_POLARITY_HIGH.")),

    RECORD(qel_Attribute,
        "A named attribute: its name, its value as text and the type that the text stands for (100 bytes).",
        FIELD(0, name, qel_Name *,
            "Key of the attribute, an embedded qel_Name; view into the record, valid while it lives."),
        FIELD(32, value, char [64],
            "Value as text, at most 63 bytes (QEL_ATTR_STRING_MAX with its terminator), to be read as attrType says."),
        FIELD(96, attrType, qel_AttrType, "What the value text stands for, one of QEL_ATTR_TYPE_*.")),

    RECORD_UNTAGGED(qel_LinkStatus, "State, speed and duplex mode of a physical link.",
        FIELD(0, state, qel_LinkState, "Whether the link is established, QEL_LINK_STATE_UP or QEL_LINK_STATE_DOWN."),
        FIELD(4, speed, qel_LinkSpeed,
            "Data rate of the link in Mbit/s, as in QEL_LINK_SPEED_*; QEL_LINK_SPEED_AUTO (0) stands for a "
            "negotiated speed."),
        FIELD(8, duplex, qel_LinkDuplex,
            "Duplex mode of the link, QEL_LINK_DUPLEX_HALF, QEL_LINK_DUPLEX_FULL or QEL_LINK_DUPLEX_AUTO for a "
            "negotiated mode.")),

    RECORD(qel_PortsetResPoolCfg,
        "Configuration of a switch resource pool, the share of one traffic class in the bandwidth of a switch (20 "
        "bytes).",
        FIELD(0, shares, qel_PortsetResPoolShares,
            "Weight of the pool against the other pools when the bandwidth does not suffice for all, up to "
            "QEL_PORTSET_RESPOOL_MAX_SHARES (100)."),
        FIELD(4, limit, qel_PortsetResPoolLimit,
            "Largest bandwidth that the pool may use, QEL_PORTSET_RESPOOL_LIMIT_INFINITE (-1) for no limit (the "
            "default); in the unit of reservation, which is free: the value is kept, and no traffic is shaped by "
            "it."),
        FIELD(8, reservation, qel_PortsetResPoolReservation,
            "Bandwidth that is guaranteed to the pool, in the unit of limit; signed, at most that; 0 by default."),
        FIELD(12, pTag, qel_PortsetResPoolPriorityTag,
            "Priority tag of the pool's packets (IEEE 802.1Q priority, QEL_VLAN_PRIORITY_*); "
            "QEL_PORTSET_RESPOOL_DEFAULT_PRIORITY_TAG is 0."),
        FIELD(16, queueDepth, qel_PortsetResPoolQueueDepth,
            "Length of the pool's transmit queue, QEL_PORTSET_RESPOOL_DEFAULT_QUEUE_DEPTH (-1) for the default; "
            "kept, and no queue is made by it.")),

    RECORD(qel_PortsetResPoolStats, "Packet and byte counters of a switch resource pool, each a 64-bit count.",
        FIELD(0, pktsIn, qel_uint64, "Packets that entered the pool."),
        FIELD(8, bytesIn, qel_uint64, "Bytes in the packets that pktsIn counts."),
        FIELD(16, pktsOut, qel_uint64, "Packets that left the pool for transmission."),
        FIELD(24, bytesOut, qel_uint64, "Bytes in the packets that pktsOut counts."),
        FIELD(32, pktsDropped, qel_uint64, "Packets that the pool dropped instead of sending them on."),
        FIELD(40, bytesDropped, qel_uint64, "Bytes in the packets that pktsDropped counts.")),

    RECORD(qel_HNQPortStatus, "Status of a distributed switch port; packed (100 bytes, displayStr at offset 20).",
        FIELD(0, flags, qel_uint64, "State of the port, QEL_HNQPORT_STATUS_* flags in a 64-bit word."),
        FIELD(8, noPassthruReason, qel_uint64,
            "Why traffic cannot pass between client and hardware without the switch, a 64-bit word that no exported "
            "constants name; 0 on the simulated host."),
        FIELD(16, portID, qel_uint32, "Numeric identifier of the switch port that serves the distributed port."),
        FIELD(20, displayStr, char [80], "Text about the status for people to read, at most 79 bytes.")),

    RECORD(qel_HNQPortStatistics,
        "Packet and byte counters of a distributed switch port, each a 64-bit count. In is from the port's client "
        "into the switch, out the other way.",
        FIELD(0, pktsInUnicast, qel_uint64, "Incoming packets addressed to a single station."),
        FIELD(8, bytesInUnicast, qel_uint64, "Bytes in the packets that pktsInUnicast counts."),
        FIELD(16, pktsInMulticast, qel_uint64, "Incoming packets addressed to a multicast group."),
        FIELD(24, bytesInMulticast, qel_uint64, "Bytes in the packets that pktsInMulticast counts."),
        FIELD(32, pktsInBroadcast, qel_uint64, "Incoming packets addressed to the broadcast address."),
        FIELD(40, bytesInBroadcast, qel_uint64, "Bytes in the packets that pktsInBroadcast counts."),
        FIELD(48, pktsOutUnicast, qel_uint64, "Outgoing packets addressed to a single station."),
        FIELD(56, bytesOutUnicast, qel_uint64, "Bytes in the packets that pktsOutUnicast counts."),
        FIELD(64, pktsOutMulticast, qel_uint64, "Outgoing packets addressed to a multicast group."),
        FIELD(72, bytesOutMulticast, qel_uint64, "Bytes in the packets that pktsOutMulticast counts."),
        FIELD(80, pktsOutBroadcast, qel_uint64, "Outgoing packets addressed to the broadcast address."),
        FIELD(88, bytesOutBroadcast, qel_uint64, "Bytes in the packets that pktsOutBroadcast counts."),
        FIELD(96, pktsInDropped, qel_uint64, "Incoming packets that were dropped."),
        FIELD(104, pktsOutDropped, qel_uint64, "Outgoing packets that were dropped."),
        FIELD(112, pktsInException, qel_uint64,
            "Incoming packets that were handled outside the fast path."),
        FIELD(120, pktsOutException, qel_uint64,
            "Outgoing packets that were handled outside the fast path.")),

    RECORD(qel_HNQPortVIDRange,
        "A range of VLAN IDs, both ends included; VSPortVlanPolicy and the arrays of new_vidrangeArray hold these.",
        FIELD(0, minVID, qel_uint16, "Lowest VLAN ID of the range, 0 to 4095 (IEEE 802.1Q)."),
        FIELD(2, maxVID, qel_uint16, "Highest VLAN ID of the range, 0 to 4095 and not below minVID.")),

    RECORD(qel_HNQPortVlanInfo,
        "VLAN settings of a distributed switch port: its VLAN ID and the trunk ranges that follow directly.",
        COUNTED_BY(numRanges, vidRanges),
        FIELD(0, vlanID, qel_uint16, "VLAN ID of the port's untagged traffic, 0 to 4095 (IEEE 802.1Q)."),
        FIELD(2, numRanges, qel_uint16, "Number of trunk ranges that follow the record's fixed part."),
        FIELD(4, vidRanges, qel_HNQPortVIDRange [0],
            "First of the numRanges trunk ranges of four bytes each; view into the record, valid while it lives.")),

    RECORD(qel_SocketAddress,
        "Socket address of any address family: length, family and 254 bytes of address data (256 bytes).",
        FIELD(0, sa_len, qel_uint8, "Length in bytes of the address that the record holds, counted from its start."),
        FIELD(1, sa_family, qel_uint8,
            "Address family that tells how to read sa_data, QEL_SOCKET_AF_INET (2) or QEL_SOCKET_AF_INET6 (28)."),
        FIELD(2, sa_data, qel_uint8 [254],
            "254 bytes of address data, laid out as in qel_SocketIPAddress or qel_SocketIPv6Address from offset 2 "
            "on; view into the record, valid while it lives.")),

    RECORD(qel_SocketIPAddressAddr, "An IPv4 address (4 bytes).",
        FIELD(0, s_addr, qel_uint32, "Address as a 32-bit word in network byte order; the accessors do not swap.")),

    RECORD(qel_SocketIPAddress, "IPv4 socket address: length, family, port, address and padding (16 bytes).",
        FIELD(0, sin_len, qel_uint8, "Length of this record in bytes, 16 for a complete address."),
        FIELD(1, sin_family, qel_uint8, "Address family, QEL_SOCKET_AF_INET (2)."),
        FIELD(2, sin_port, qel_uint16, "Transport port number in network byte order; the accessors do not swap."),
        FIELD(4, sin_addr, qel_SocketIPAddressAddr *,
            "Address of the socket, an embedded qel_SocketIPAddressAddr in network byte order; view into the record, "
            "valid while it lives."),
        FIELD(8, sin_zero, qel_uint8 [8],
            "Eight bytes of padding that are kept zero; view into the record, valid while it lives.")),

    RECORD(qel_SocketIPv6AddressAddr,
        "An IPv6 address (16 bytes), read and written through the nested union __u6_addr.",
        FIELD_READ_ONLY(0, __u6_addr, qel_SocketIPv6AddressAddr___u6_addr,
            "Nested union with the byte, half-word and word views of the address; view into the record, valid while "
            "it lives.")),

    RECORD_UNTAGGED(qel_SocketIPv6AddressAddr___u6_addr,
        "The three overlaid views of an IPv6 address: 16 bytes, 8 half-words or 4 words, all in network byte order.",
        FIELD(0, __u6_addr8, qel_uint8 [16],
            "The address as 16 bytes, most significant first; view into the record, valid while it lives."),
        FIELD(0, __u6_addr16, qel_uint16 [8],
            "The address as 8 half-words in network byte order, not swapped; view into the record, valid while it "
            "lives."),
        FIELD(0, __u6_addr32, qel_uint32 [4],
            "The address as 4 words in network byte order, not swapped; view into the record, valid while it lives.")),

    RECORD(qel_SocketIPv6Address,
        "IPv6 socket address: length, family, port, flow information, address and scope (28 bytes).",
        FIELD(0, sin6_len, qel_uint8, "Length of this record in bytes, 28 for a complete address."),
        FIELD(1, sin6_family, qel_uint8, "Address family, QEL_SOCKET_AF_INET6 (28)."),
        FIELD(2, sin6_port, qel_uint16, "Transport port number in network byte order; the accessors do not swap."),
        FIELD(4, sin6_flowinfo, qel_uint32,
            "Traffic class and flow label of the traffic (RFC 3493), in network byte order."),
        FIELD(8, sin6_addr, qel_SocketIPv6AddressAddr *,
            "Address of the socket, an embedded qel_SocketIPv6AddressAddr in network byte order; view into the "
            "record, valid while it lives."),
        FIELD(24, sin6_scopeid, qel_uint32,
            "Number of the interface or zone in which a link-local address is valid (RFC 4007); 0 when the address "
            "needs none.")));

}  // namespace vswitchpy

#include "runtime/row_macros_end.hpp"
