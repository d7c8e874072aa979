// Binding rows: the helper functions of the module's own, in the order of the method table.
// The types are part of the error messages, spelled exactly as they stand.
// clang-format off
#pragma once

#include "extensions/allocation.hpp"
#include "extensions/containers.hpp"
#include "extensions/mirror_and_lag.hpp"
#include "extensions/runtime_options.hpp"
#include "runtime/row_macros.hpp"

namespace vswitchpy {

using VidRangeArray = ElementArray<qel_HNQPortVIDRange>;
using PvlanMapEntryArray = ElementArray<VSPvlanMapEntry>;

inline constexpr auto helper_calls = calls(
    CALL(alloc_dvmirror_session_table,
        "A zero-filled mirror session table with room for the sessions and, behind them, the entities; magicNum, "
        "numSessions and numEntities are set. "
        "The proxy does not own it: release it with free_dvmirror_session_table. "
        "None when there is no memory or the size does not fit 32 bits.",
        IN(numSessions, int), IN(numEntities, int), HANDS_OUT(free_dvmirror_session_table), OR_NONE),
    CALL(free_dvmirror_session_table,
        "Releases a table of alloc_dvmirror_session_table; proxies of it and views into it must not be used any more.",
        IN(table, DVMirrorSessionTable *), TAKES_BACK),
    CALL(alloc_ls_team_table,
        "A zero-filled table with room for n teaming policies; numLSTeam is set. "
        "The proxy does not own it: release it with free_ls_team_table. "
        "None when there is no memory or the size does not fit 32 bits.",
        IN(n, int), HANDS_OUT(free_ls_team_table), OR_NONE),
    CALL(free_ls_team_table,
        "Releases a table of alloc_ls_team_table; proxies of it and views into it must not be used any more.",
        IN(table, LSTeamTable *), TAKES_BACK),
    CALL(alloc_rtm_query,
        "A zero-filled save-and-restore request with room for n switches; numPortsets is set. "
        "The proxy does not own it: release it with free_rtm_query. "
        "Without memory it prints \"Calloc failed for RTMIOCtlQuery\" and gives None.",
        IN(n, int), HANDS_OUT(free_rtm_query), OR_NONE),
    CALL(free_rtm_query,
        "Releases a request of alloc_rtm_query; proxies of it and views into it must not be used any more.",
        IN(query, RTMIOCtlQuery *), TAKES_BACK),
    CALL(alloc_rtm_mod_query,
        "A zero-filled save-and-restore request with room for n modules; numMod is set. "
        "The proxy does not own it: release it with free_rtm_mod_query. "
        "Without memory it prints \"Calloc failed for RTMModIOCtlQuery\" and gives None.",
        IN(n, int), HANDS_OUT(free_rtm_mod_query), OR_NONE),
    CALL(free_rtm_mod_query,
        "Releases a request of alloc_rtm_mod_query; proxies of it and views into it must not be used any more.",
        IN(query, RTMModIOCtlQuery *), TAKES_BACK),
    CALL(alloc_hnq_query,
        "A property buffer with a zero-filled value of size bytes; propLen is set. "
        "The proxy does not own it: release it with free_hnq_query. "
        "A negative size is kept in propLen, without a value buffer. "
        "Without memory it prints \"Calloc failed for HNQQuery\" or \"Calloc failed for property value\" and gives "
        "None.",
        IN(size, int), HANDS_OUT(free_hnq_query), OR_NONE),
    CALL(free_hnq_query,
        "Releases a property buffer of alloc_hnq_query and its value; proxies of it must not be used any more.",
        IN(query, HNQQuery *), TAKES_BACK),
    CALL(alloc_vs_info,
        "A VSInfo to be filled by VSQEL_GetVSInfo; its contents are undefined until then. "
        "The proxy does not own it: release it with free_vs_info. "
        "Without memory it prints \"malloc failed for VSInfo\" and gives None.",
        HANDS_OUT(free_vs_info), OR_NONE),
    CALL(free_vs_info,
        "Releases a VSInfo of alloc_vs_info; proxies of it must not be used any more.",
        IN(info, VSInfo *), TAKES_BACK),
    CALL(get_runtime_option_type_from_name,
        "The type of the runtime option with exactly this name, as in runtimeOptionNames; -1 for any other text and "
        "for None.",
        IN(name, char *)),
    OWNED_RESULT(CALL(VSQEL_GetSwitchesPy,
        "The list of switches of a kind, one of VS_LIST_*. "
        "The proxy owns the list. "
        "When the host reports a failure, prints \"failed: \", the status in hexadecimal and a line end, and gives "
        "None.",
        IN(listType, VSListType), OR_NONE)),
    CALL(free_switches,
        "Releases a list of VSQEL_GetSwitchesPy at once and takes it out of the ownership of its proxy.",
        IN_DISOWNED(list, VSList), TAKES_BACK),
    HELPER(new_vidrangeArray, VidRangeArray::create,
        "An array of n VLAN ID ranges, uninitialised. "
        "Neither the proxy nor anything else knows its length or owns it: release it with delete_vidrangeArray. "
        "None when there is no memory.",
        IN(n, size_t), HANDS_OUT(delete_vidrangeArray), OR_NONE),
    HELPER(delete_vidrangeArray, VidRangeArray::release,
        "Releases an array of new_vidrangeArray.",
        IN(array, qel_HNQPortVIDRange *), TAKES_BACK),
    HELPER(vidrangeArray_getitem, VidRangeArray::get,
        "Copy of range index; the proxy owns the copy. "
        "No index is refused: scripts keep it below the length of the array.",
        IN_PRESENT(array, qel_HNQPortVIDRange *), IN(index, size_t)),
    HELPER(vidrangeArray_setitem, VidRangeArray::set,
        "Copies a range into element index; None for the range raises ValueError. "
        "No index is refused: scripts keep it below the length of the array.",
        IN_PRESENT(array, qel_HNQPortVIDRange *), IN(index, size_t), IN_VALUE(value, qel_HNQPortVIDRange)),
    HELPER(new_pvlanmapentryArray, PvlanMapEntryArray::create,
        "An array of n private VLAN map entries, uninitialised. "
        "Neither the proxy nor anything else knows its length or owns it: release it with delete_pvlanmapentryArray. "
        "None when there is no memory.",
        IN(n, size_t), HANDS_OUT(delete_pvlanmapentryArray), OR_NONE),
    HELPER(delete_pvlanmapentryArray, PvlanMapEntryArray::release,
        "Releases an array of new_pvlanmapentryArray.",
        IN(array, VSPvlanMapEntry *), TAKES_BACK),
    HELPER(pvlanmapentryArray_getitem, PvlanMapEntryArray::get,
        "Copy of entry index; the proxy owns the copy. "
        "No index is refused: scripts keep it below the length of the array.",
        IN_PRESENT(array, VSPvlanMapEntry *), IN(index, size_t)),
    HELPER(pvlanmapentryArray_setitem, PvlanMapEntryArray::set,
        "Copies an entry into element index; None for the entry raises ValueError. "
        "No index is refused: scripts keep it below the length of the array.",
        IN_PRESENT(array, VSPvlanMapEntry *), IN(index, size_t), IN_VALUE(value, VSPvlanMapEntry)),
    HELPER(MIRROR_ENCAP_TYPE, mirror::encap_type, "A name of the interface without an effect; gives None."),
    HELPER(MIRROR_ASSERT, mirror::assertion, "A name of the interface without an effect; gives None."));

}  // namespace vswitchpy

#include "runtime/row_macros_end.hpp"
