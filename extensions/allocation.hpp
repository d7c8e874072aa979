// Allocates the variable-length records that scripts hand to the host, and fetches the switch list in one call.
#pragma once

#include "interface/mirror_records.h"
#include "interface/option_records.h"
#include "interface/policy_records.h"
#include "interface/status_records.h"

// Exported, so that other native code in the process can use them. What they return comes from the system
// allocator and belongs to the caller. Releasing null does nothing.
extern "C" {
#pragma GCC visibility push(default)

// Zero-filled, with the counts set; null when the size does not fit 32 bits or memory is gone.
DVMirrorSessionTable *alloc_dvmirror_session_table(int session_count, int entity_count);
void free_dvmirror_session_table(DVMirrorSessionTable *table);
LSTeamTable *alloc_ls_team_table(int policy_count);
void free_ls_team_table(LSTeamTable *table);

// Likewise; these also say on standard output that there was no memory.
RTMIOCtlQuery *alloc_rtm_query(int switch_count);
void free_rtm_query(RTMIOCtlQuery *query);
RTMModIOCtlQuery *alloc_rtm_mod_query(int module_count);
void free_rtm_mod_query(RTMModIOCtlQuery *query);
HNQQuery *alloc_hnq_query(int value_size);  // a negative size is kept, without a value buffer
void free_hnq_query(HNQQuery *query);       // the value buffer too
VSInfo *alloc_vs_info();                    // not zero-filled
void free_vs_info(VSInfo *info);

// The host's list of switches; null after a failure, whose status goes to standard output.
VSList *VSQEL_GetSwitchesPy(VSListType list_type);
void free_switches(VSList *list);

#pragma GCC visibility pop
}
