/* Scalar types, enumerations and handles of the native interface, as the host libraries declare them. */
#ifndef VSWITCHPY_INTERFACE_BASE_TYPES_H
#define VSWITCHPY_INTERFACE_BASE_TYPES_H

#include <stddef.h>

#ifdef __cplusplus
#define QEL_ASSERT(condition, text) static_assert(condition, text)
#else
#define QEL_ASSERT(condition, text) _Static_assert(condition, text)
#endif

/* The size of a record's fixed part is part of the binary interface with the host libraries. */
#define QEL_SIZE(record, size) QEL_ASSERT(sizeof(record) == (size), #record " has the wrong size")

typedef unsigned char qel_uint8;
typedef unsigned short qel_uint16;
typedef unsigned int qel_uint32;
typedef int qel_int32;
/* Not size_t's type, so that C++ can tell the two apart: they convert by different rules. */
typedef unsigned long long qel_uint64;

/* One byte that scripts see as a character: 0 is false. */
typedef char qel_Bool;

typedef qel_uint16 qel_VlanID;
typedef qel_uint32 qel_SwitchPortID;
typedef qel_uint32 qel_IPv4Address; /* network byte order */
typedef qel_uint32 qel_ByteCountSmall;
typedef qel_uint64 qel_ByteCount;
typedef qel_uint32 qel_revnum;
typedef qel_uint32 qel_LinkSpeed; /* Mbit/s */
typedef int qel_ModuleID;
typedef int qel_WorldID;
typedef qel_uint32 qel_PortsetResPoolShares;
typedef int qel_PortsetResPoolLimit;
typedef int qel_PortsetResPoolReservation;
typedef qel_uint8 qel_PortsetResPoolPriorityTag;
typedef int qel_PortsetResPoolQueueDepth;

/*
 * Enumerations are as wide as int and hold any int; the values are the integer constants
 * of the same family (constants/), so that each number is written once.
 */
#define QEL_ENUMERATION(name) typedef enum name { name##_lowest = -2147483647 - 1, name##_highest = 2147483647 } name

QEL_ENUMERATION(QEL_ReturnStatus);
QEL_ENUMERATION(qel_MgmtCallbackLocation);
QEL_ENUMERATION(qel_MgmtParmType);
QEL_ENUMERATION(qel_IntrTriggerType);
QEL_ENUMERATION(qel_IntrPolarityType);
QEL_ENUMERATION(qel_AttrType);
QEL_ENUMERATION(qel_LinkState);
QEL_ENUMERATION(qel_LinkDuplex);
QEL_ENUMERATION(DVSPortType);
QEL_ENUMERATION(HNQVersion);
QEL_ENUMERATION(DVMirrorEntityType);
QEL_ENUMERATION(DVMirrorFilterAction);
QEL_ENUMERATION(DVMirrorSessionType);
QEL_ENUMERATION(DVMirrorFilterType);
QEL_ENUMERATION(DVMirrorEncapType);
QEL_ENUMERATION(DVMirrorVersion);
QEL_ENUMERATION(ForwardingMode);
QEL_ENUMERATION(VSPortMACLearningLimitPolicy);
QEL_ENUMERATION(VS_PortClientType);
QEL_ENUMERATION(VSVlanTPFlags);
QEL_ENUMERATION(VSListType);
QEL_ENUMERATION(VSMcastFilterMode);
QEL_ENUMERATION(RTMIOCtlMode);
QEL_ENUMERATION(qbr_RCFInsnType);

/* The one enumeration that is a byte wide: scripts pass an int, its low byte reaches the host. */
typedef enum __attribute__((packed)) VSMACAddrType {
  VSMACAddrType_lowest = 0,
  VSMACAddrType_highest = 255
} VSMACAddrType;
QEL_SIZE(VSMACAddrType, 1);

/* Opaque to scripts; only the host that made one can read it. */
typedef void *DVSwitchHandle;
typedef void *DVSPortHandle;
typedef void *DVSDataHandle;
typedef void *DVSDataItem;

/* Called once for each element; a non-zero result ends the walk. `context` is the caller's own. */
typedef int (*DVSwitchCallback)(DVSwitchHandle vswitch, void *context);
typedef int (*DVSPortCallback)(DVSPortHandle port, void *context);
typedef int (*DVSPortDataCallback)(DVSDataItem item, void *context);

typedef void *(*DVSData_MemAlloc)(size_t size);
typedef void (*DVSData_MemFree)(void *memory);

#endif
