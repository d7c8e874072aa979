// Calls on save and restore (RTM).
#include "platform/core/rtm.hpp"

#include <algorithm>
#include <array>
#include <cstring>

#include "platform/core/call.hpp"
#include "platform/core/text.hpp"
#include "platform/vswitch/exports.hpp"

using namespace host;

namespace {

// As many as a host has switches; a request for modules has no more entries either.
constexpr qel_uint32 most_entries = 128;

RowId switch_in_field(Database &database, char const (&portset)[QEL_PORTSET_NAME_MAX]) {
  std::string_view const name = field_text(portset);
  refuse_if(name.size() == sizeof portset, QEL_NAME_TOO_LONG);
  return switch_by_portset(database, name);
}

// A request is about one kind of switch.
void refuse_other_kind(Database &database, RowId vswitch, bool is_qbr) {
  std::int64_t const version = load_switch(database, vswitch).version;
  refuse_if((version >= VS_QBR_HNQ_VERSION_10) != is_qbr, QEL_VERSION_MISMATCH_MAJOR);
}

// The entries behind a request may stand at any address.
template <typename Entry>
Entry entry_at(void const *entries, std::size_t index) {
  Entry entry;
  std::memcpy(&entry, static_cast<char const *>(entries) + index * sizeof entry, sizeof entry);
  return entry;
}

// What a request is answered with. Nothing of it has a destructor: an abort jumps over the exported function.
struct RtmAnswers {
  RTMIOCtlQuery header;
  std::uint32_t longest_outage;
  std::size_t count;
  std::array<RtmRequest, most_entries> switches;
};

// The caller's record is filled only when the step is committed.
void fill_answers(RTMIOCtlQuery *query, RTMIOCtlMode mode, RtmAnswers &answers) {
  if (mode == static_cast<RTMIOCtlMode>(RTM_IOCCMD_RESTORE_COMPLETE))
    answers.header.maxAllowedOutage = answers.longest_outage;
  std::memcpy(query, &answers.header, sizeof answers.header);
  char *const entries = reinterpret_cast<char *>(query) + sizeof answers.header;
  for (std::size_t i = 0; i < answers.count; ++i) {
    auto entry = entry_at<RTM_Portset>(entries, i);
    entry.orvSwitchMode = answers.switches[i].switch_mode;
    entry.orvPsMode = answers.switches[i].portset_mode;
    std::memcpy(entries + i * sizeof entry, &entry, sizeof entry);
  }
}

}  // namespace

int VSQEL_RTMOp(RTMIOCtlQuery *query, RTMIOCtlMode mode) {
  NOTE_ARGUMENTS(query, mode);
  RtmAnswers answers;
  Status const status = update([&](Database &database) {
    refuse_if(!query, QEL_BAD_PARAM);
    RTMIOCtlQuery &header = answers.header;
    std::memcpy(static_cast<void *>(&header), query, sizeof header);
    refuse_if(header.numPortsets > most_entries, QEL_LIMIT_EXCEEDED);
    std::vector<RtmRequest> requests;
    for (std::size_t i = 0; i < header.numPortsets; ++i) {
      auto const entry = entry_at<RTM_Portset>(reinterpret_cast<char const *>(query) + sizeof header, i);
      RowId const vswitch = switch_in_field(database, entry.psName);
      refuse_other_kind(database, vswitch, header.isQBRV != 0);
      requests.push_back({vswitch, entry.orvSwitchMode, entry.orvPsMode});
    }
    RtmAnswer const answer = run_rtm_step(database, mode, std::move(requests), header.maxAllowedOutage);
    answers.longest_outage = answer.longest_outage;
    answers.count = answer.switches.size();
    std::copy(answer.switches.begin(), answer.switches.end(), answers.switches.begin());
  });
  if (status == QEL_OK)
    fill_answers(query, mode, answers);
  return status;
}

int VSQEL_RTMModOp(RTMModIOCtlQuery *query, RTMIOCtlMode mode) {
  NOTE_ARGUMENTS(query, mode);
  return update([&](Database &database) {
    refuse_if(!query, QEL_BAD_PARAM);
    RTMModIOCtlQuery header;
    std::memcpy(static_cast<void *>(&header), query, sizeof header);
    refuse_if(header.numMod > most_entries, QEL_LIMIT_EXCEEDED);
    RowId const vswitch = switch_in_field(database, header.psName);
    std::vector<RtmModule> modules;
    for (std::size_t i = 0; i < header.numMod; ++i) {
      auto const entry = entry_at<RTM_ModInfo>(reinterpret_cast<char const *>(query) + sizeof header, i);
      modules.push_back({entry.ModID, entry.isFromMod != 0});
    }
    run_rtm_module_step(database, mode, vswitch, modules);
  });
}

int VSQEL_RTMPortOp(qel_WorldID world_id, qel_SwitchPortID port_id, qel_Bool block) {
  NOTE_ARGUMENTS(world_id, port_id, block);
  return update([&](Database &database) {
    if (block != 0) {
      block_port(database, port_id, world_id);
    } else {
      unblock_port(database, port_id, world_id);
    }
  });
}
