/* Runtime option buffers and the save-and-restore (RTM) requests. */
#ifndef VSWITCHPY_INTERFACE_OPTION_RECORDS_H
#define VSWITCHPY_INTERFACE_OPTION_RECORDS_H

#include "interface/base_types.h"

typedef struct VSRuntimeOptionHeader {
  qel_uint16 type;
  qel_uint16 length;
  qel_uint8 data[0];
} VSRuntimeOptionHeader;
QEL_SIZE(VSRuntimeOptionHeader, 4);

typedef struct VSRuntimeOptions {
  qel_uint32 totalLength;
} VSRuntimeOptions;
QEL_SIZE(VSRuntimeOptions, 4);

typedef struct RTM_Portset {
  char psName[128];
  qel_uint32 orvSwitchMode;
  qel_uint32 orvPsMode;
} RTM_Portset;
QEL_SIZE(RTM_Portset, 136);

#pragma pack(push, 1)
typedef struct RTMIOCtlQuery {
  qel_uint32 numPortsets;
  qel_Bool isQBRV;
  qel_uint32 maxAllowedOutage;
  RTM_Portset rtmPs[0];
} RTMIOCtlQuery;
#pragma pack(pop)
QEL_SIZE(RTMIOCtlQuery, 9);

#pragma pack(push, 1)
typedef struct RTM_ModInfo {
  qel_Bool isFromMod;
  qel_ModuleID ModID;
} RTM_ModInfo;
#pragma pack(pop)
QEL_SIZE(RTM_ModInfo, 5);

typedef struct RTMModIOCtlQuery {
  qel_uint32 numMod;
  char psName[128];
  RTM_ModInfo rtmModId[0];
} RTMModIOCtlQuery;
QEL_SIZE(RTMModIOCtlQuery, 132);

#pragma pack(push, 1)
typedef struct RTMPortIOCtlQuery {
  qel_WorldID worldID;
  qel_SwitchPortID portID;
  qel_Bool isAssociatedPort;
} RTMPortIOCtlQuery;
#pragma pack(pop)
QEL_SIZE(RTMPortIOCtlQuery, 9);

typedef struct RTMIOCtlData {
  qel_uint32 dataInLen;
  qel_uint32 dataOutLen;
  qel_uint64 dataInPtr;
  qel_uint64 dataOutPtr;
} RTMIOCtlData;
QEL_SIZE(RTMIOCtlData, 24);

#endif
