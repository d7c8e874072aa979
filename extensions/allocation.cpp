// Allocates the variable-length records that scripts hand to the host, and fetches the switch list in one call.
#include "extensions/allocation.hpp"

#include "constants/constants.hpp"
#include "interface/switch_queries.h"

#include <malloc.h>

#include <cstdio>
#include <cstdlib>

namespace {

// The size of a request in the 32-bit arithmetic of the platform. A size that does not fit is remembered: a
// block of what is left of it would be smaller than its count says.
class RequestSize {
 public:
  explicit RequestSize(std::size_t fixed) : bytes_(static_cast<int>(fixed)) {}

  RequestSize &add(int count, std::size_t entry_size) {
    int entries = 0;
    fits_ = fits_ && !__builtin_mul_overflow(count, static_cast<int>(entry_size), &entries) &&
            !__builtin_add_overflow(bytes_, entries, &bytes_);
    return *this;
  }

  // Null also when negative counts leave less than the `least` bytes.
  template <class Record>
  Record *allocate(std::size_t least = sizeof(Record)) const {
    if (!fits_ || bytes_ < static_cast<int>(least)) {
      return nullptr;
    }
    return static_cast<Record *>(std::calloc(1, static_cast<std::size_t>(bytes_)));
  }

 private:
  int bytes_;
  bool fits_ = true;
};

template <class Record>
Record *allocate_counted(int count, std::size_t entry_size) {
  return RequestSize(sizeof(Record)).add(count, entry_size).allocate<Record>();
}

// Without a line end: scripts that read the platform's output look for exactly these texts.
void report(const char *text) {
  std::fputs(text, stdout);
}

}  // namespace

DVMirrorSessionTable *alloc_dvmirror_session_table(int session_count, int entity_count) {
  auto *table = RequestSize(sizeof(DVMirrorSessionTable))
                    .add(session_count, sizeof(DVMirrorSession))
                    .add(entity_count, sizeof(DVMirrorEntity))
                    .allocate<DVMirrorSessionTable>();
  if (table) {
    table->magicNum = static_cast<qel_uint32>(constant::VS_DVMIRROR_MAGIC_NUM);
    table->numSessions = static_cast<qel_uint32>(session_count);
    table->numEntities = static_cast<qel_uint32>(entity_count);
  }
  return table;
}

void free_dvmirror_session_table(DVMirrorSessionTable *table) {
  std::free(table);
}

LSTeamTable *alloc_ls_team_table(int policy_count) {
  auto *table = allocate_counted<LSTeamTable>(policy_count, sizeof(LSTeamPolicy));
  if (table) {
    table->numLSTeam = static_cast<qel_uint32>(policy_count);
  }
  return table;
}

void free_ls_team_table(LSTeamTable *table) {
  std::free(table);
}

RTMIOCtlQuery *alloc_rtm_query(int switch_count) {
  auto *query = allocate_counted<RTMIOCtlQuery>(switch_count, sizeof(RTM_Portset));
  if (!query) {
    report("Calloc failed for RTMIOCtlQuery");
    return nullptr;
  }
  query->numPortsets = static_cast<qel_uint32>(switch_count);
  return query;
}

void free_rtm_query(RTMIOCtlQuery *query) {
  std::free(query);
}

RTMModIOCtlQuery *alloc_rtm_mod_query(int module_count) {
  // A negative count takes from the fixed part, down to nothing.
  auto *query =
      RequestSize(sizeof(RTMModIOCtlQuery)).add(module_count, sizeof(RTM_ModInfo)).allocate<RTMModIOCtlQuery>(0);
  if (!query) {
    report("Calloc failed for RTMModIOCtlQuery");
    return nullptr;
  }
  if (malloc_usable_size(query) >= sizeof query->numMod) {
    query->numMod = static_cast<qel_uint32>(module_count);
  }
  return query;
}

void free_rtm_mod_query(RTMModIOCtlQuery *query) {
  std::free(query);
}

HNQQuery *alloc_hnq_query(int value_size) {
  auto *query = static_cast<HNQQuery *>(std::calloc(1, sizeof(HNQQuery)));
  if (!query) {
    report("Calloc failed for HNQQuery");
    return nullptr;
  }
  query->propLen = value_size;
  if (value_size >= 0) {
    query->propValue = static_cast<char *>(std::calloc(1, static_cast<std::size_t>(value_size)));
  }
  if (value_size > 0 && !query->propValue) {
    report("Calloc failed for property value");
    std::free(query);
    return nullptr;
  }
  return query;
}

void free_hnq_query(HNQQuery *query) {
  if (query) {
    std::free(query->propValue);
    std::free(query);
  }
}

VSInfo *alloc_vs_info() {
  auto *info = static_cast<VSInfo *>(std::malloc(sizeof(VSInfo)));
  if (!info) {
    report("malloc failed for VSInfo");
  }
  return info;
}

void free_vs_info(VSInfo *info) {
  std::free(info);
}

VSList *VSQEL_GetSwitchesPy(VSListType list_type) {
  VSList *list = nullptr;
  const int status = VSQEL_GetSwitches(list_type, &list);
  if (status != 0) {
    std::printf("failed: %x\n", static_cast<unsigned>(status));
    return nullptr;
  }
  return list;
}

void free_switches(VSList *list) {
  std::free(list);
}
