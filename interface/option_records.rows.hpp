// Binding rows: runtime option buffers and the save-and-restore (RTM) requests.
// The types are part of the error messages, spelled exactly as they stand.
// clang-format off
#pragma once

#include "extensions/containers.hpp"
#include "extensions/runtime_options.hpp"
#include "interface/option_records.h"
#include "runtime/row_macros.hpp"

namespace vswitchpy {

inline constexpr auto option_records = records(
    RECORD(VSRuntimeOptionHeader,
        "One runtime option inside a VSRuntimeOptions buffer: type, length and value in host byte order. "
        "Entries stand back to back and are not aligned.",
        FIELD(0, type, qel_uint16,
            "Which option this is, one of VS_RT_OPT_*: the index of its name in runtimeOptionNames; up to 15 the "
            "value is an integer, from 16 on a text."),
        FIELD(2, length, qel_uint16,
            "Length of the entry in bytes including these four header bytes: 8 for an integer, the text length plus "
            "5 for a text."),
        FIELD(4, data, qel_uint8 [0],
            "Value behind the header: an unsigned 32-bit integer or a terminated text, read with get_option_value; "
            "view into the record, valid while it lives."),
        METHOD(get_option_name, runtime_options::name,
            "Name of the option, as runtimeOptionNames has it for type; None for a type without a name.",
            OR_NONE),
        METHOD(get_option_value, runtime_options::value,
            "Value of the option: an unsigned integer for types up to 15, else the bytes of its text up to the "
            "terminator.")),

    RECORD(VSRuntimeOptions,
        "A runtime options buffer: its length, then option entries. "
        "new_VSRuntimeOptions(n) allocates n bytes without clearing them and stores n in totalLength.",
        YIELDS(VSRuntimeOptionHeader),
        COUNTED(1, 0, totalLength),
        FIELD(0, totalLength, qel_uint32,
            "Length of the buffer in bytes including this field, at most VS_CHARDEV_MAX_RUNTIME_OPTIONS_LENGTH "
            "(4096) for the library; set_options_length(n) stores n + 4."),
        METHOD(get_first_option, runtime_options::first,
            "View of the entry directly behind totalLength, whether or not the buffer holds one: scripts look at "
            "totalLength first. "
            "Valid while the buffer lives."),
        METHOD(get_next_option, runtime_options::next,
            "View of the entry behind hdr, its length bytes further on; None when that is not before totalLength. "
            "An entry of length 0 gives itself.",
            IN_PRESENT(hdr, VSRuntimeOptionHeader *), OR_NONE),
        METHOD(set_options_length, runtime_options::set_length,
            "Sets totalLength to n + 4, for n bytes of entries.",
            IN(n, int)),
        METHOD(add_int_option, runtime_options::add_integer,
            "Writes an entry of 8 bytes at hdr and returns the view of the position behind it; None, and nothing "
            "written, when that is not before totalLength. "
            "The entry takes the low 16 bits of type; name is only checked to be text. "
            "The buffer is not enlarged: totalLength must not exceed its capacity.",
            IN_PRESENT(hdr, VSRuntimeOptionHeader *), IN(name, char *), IN(type, int), IN(value, int), OR_NONE),
        METHOD(add_str_option, runtime_options::add_text,
            "Writes an entry with a copy of a text of at most 127 bytes at hdr, text length + 5 bytes in all, and "
            "returns the view of the position behind it; None, and nothing written, when that is not before "
            "totalLength, when the text is longer, or when it is None. "
            "The entry takes the low 16 bits of type; name is only checked to be text.",
            IN_PRESENT(hdr, VSRuntimeOptionHeader *), IN(name, char *), IN(type, int), IN(value, char *), OR_NONE)),

    RECORD(RTM_Portset,
        "One switch (port set) in a save-and-restore request, with two mode words of the enhanced datapath (136 "
        "bytes).",
        FIELD(0, psName, char [128],
            "Name of the switch, at most 127 bytes of text (QEL_PORTSET_NAME_MAX with its terminator)."),
        FIELD(128, orvSwitchMode, qel_uint32,
            "Mode of the switch in the enhanced datapath, RTM_IOCCMD_ORV_ACTIVATE or RTM_IOCCMD_ORV_DEACTIVATE in "
            "the step ORV_OP; the steps that bring back answer with what is kept."),
        FIELD(132, orvPsMode, qel_uint32,
            "Mode of the port set in the enhanced datapath, kept with orvSwitchMode and answered like it.")),

    RECORD(RTMIOCtlQuery,
        "Save-and-restore request over switches for VSQEL_RTMOp; packed. "
        "alloc_rtm_query(n) allocates 136 * n + 9 bytes and stores n in numPortsets.",
        COUNTED_AS(RtmSwitches),
        FIELD(0, numPortsets, qel_uint32,
            "Number of RTM_Portset entries that follow; bounds the index of __getitem__ and __setitem__."),
        FIELD(4, isQBRV, qel_Bool,
            "Whether the request is about switches of the versions VS_QBR_*, which go together; reads as one "
            "character, NUL for false."),
        FIELD(5, maxAllowedOutage, qel_uint32,
            "Longest interruption of traffic that the caller accepts, in milliseconds, 0 for any; RESTORE_COMPLETE "
            "answers with the longest that there was."),
        FIELD(9, rtmPs, RTM_Portset [0],
            "First of the numPortsets entries of 136 bytes each, reached with __getitem__ and __setitem__; view into "
            "the record, valid while it lives."),
        METHOD(__getitem__, RtmSwitches::get,
            "View of entry index, valid while the table lives; changes through it change the table. "
            "An index that is negative or not below numPortsets prints \"Invalid array index.\" and gives None.",
            INDEX(index), OR_NONE),
        METHOD(__setitem__, RtmSwitches::set,
            "Copies a whole RTM_Portset into entry index; None for the entry raises ValueError. "
            "An index that is negative or not below numPortsets prints \"Invalid array index.\" and gives None.",
            INDEX(index), IN(entry, RTM_Portset const *))),

    RECORD(RTM_ModInfo, "One module entry of a save-and-restore request; packed (5 bytes).",
        FIELD(0, isFromMod, qel_Bool,
            "Whether the module is the one that is replaced; reads as one character, NUL for false."),
        FIELD(1, ModID, qel_ModuleID, "Identifier of the module, a signed 32-bit number at the unaligned offset 1.")),

    RECORD(RTMModIOCtlQuery,
        "Save-and-restore request over modules of one switch for VSQEL_RTMModOp. "
        "alloc_rtm_mod_query(n) allocates 5 * n + 132 bytes and stores n in numMod.",
        COUNTED_AS(RtmModules),
        FIELD(0, numMod, qel_uint32,
            "Number of RTM_ModInfo entries that follow; bounds the index of __getitem__ and __setitem__."),
        FIELD(4, psName, char [128],
            "Name of the switch, at most 127 bytes of text (QEL_PORTSET_NAME_MAX with its terminator)."),
        FIELD(132, rtmModId, RTM_ModInfo [0],
            "First of the numMod entries of 5 bytes each, reached with __getitem__ and __setitem__; view into the "
            "record, valid while it lives."),
        METHOD(__getitem__, RtmModules::get,
            "View of entry index, valid while the table lives; changes through it change the table. "
            "An index that is negative or not below numMod prints \"Invalid array index.\" and gives None.",
            INDEX(index), OR_NONE),
        METHOD(__setitem__, RtmModules::set,
            "Copies a whole RTM_ModInfo into entry index; None for the entry raises ValueError. "
            "An index that is negative or not below numMod prints \"Invalid array index.\" and gives None.",
            INDEX(index), IN(entry, RTM_ModInfo const *))),

    RECORD(RTMPortIOCtlQuery,
        "Save-and-restore request for one port: the world that owns it, its identifier and its kind; packed (9 bytes).",
        FIELD(0, worldID, qel_WorldID,
            "Identifier of the world that owns the port, a signed 32-bit number; no call of this interface reads or "
            "writes the record."),
        FIELD(4, portID, qel_SwitchPortID, "Numeric identifier of the port that the request is about."),
        FIELD(8, isAssociatedPort, qel_Bool,
            "Whether the port is an associated port; reads as one character, NUL for false; no call of this "
            "interface reads or writes the record.")),

    RECORD(RTMIOCtlData,
        "Raw input and output buffers of a control request to the save-and-restore device (RTMDEV_PATH), laid out as "
        "VSIOCtlData.",
        FIELD(0, dataInLen, qel_uint32, "Length of the input buffer in bytes."),
        FIELD(4, dataOutLen, qel_uint32, "Length of the output buffer in bytes."),
        FIELD(8, dataInPtr, qel_uint64,
            "Address of the input buffer as a 64-bit integer; the record does not own the buffer."),
        FIELD(16, dataOutPtr, qel_uint64,
            "Address of the output buffer as a 64-bit integer; the record does not own the buffer.")));

}  // namespace vswitchpy

#include "runtime/row_macros_end.hpp"
