// What scripts do with a state that an input has made: they ask it everything, and boot it.
#pragma once

#include "fuzz/reader.hpp"
#include "interface/mirror_records.h"
#include "platform/core/boot.hpp"
#include "platform/core/memory.hpp"
#include "platform/core/snapshot.hpp"
#include "platform/tool/description.hpp"

namespace fuzz {

// What a call hands out, until the end of the block.
template <typename Record>
class HandedOut {
 public:
  HandedOut() = default;
  HandedOut(HandedOut const &) = delete;
  HandedOut &operator=(HandedOut const &) = delete;
  ~HandedOut() { VSQEL_FreeMemory(record_); }

  operator Record **() { return &record_; }
  Record *get() const { return record_; }
  template <typename Element>
  Element const *elements() const {
    return host::elements_behind<Element>(record_);
  }

 private:
  Record *record_ = nullptr;
};

#define EXPECT_DOCUMENTED(call, ...) fuzz::expect_documented(#call, call(__VA_ARGS__))

// For a call that can only succeed.
#define EXPECT_OK(call, ...)                                              \
  do {                                                                    \
    int const outcome = call(__VA_ARGS__);                                \
    if (outcome != QEL_OK)                                                \
      fuzz::finding(std::string(#call " gives ") + status_name(outcome)); \
  } while (false)

inline qel_SwitchPortID number_of_port(char const *alias, char const *dvport) {
  qel_SwitchPortID number = 0;
  EXPECT_DOCUMENTED(VSDVS_DvPortIDToPortID, alias, dvport, &number);
  return number;
}

inline void ask_about_teaming(char const *alias, char const *dvport) {
  VSTeamPolicy policy{};
  EXPECT_DOCUMENTED(VSDVS_GetTeamingPolicy, alias, &policy);
  char switch_id[QEL_HNQ_ID_MAX_LEN];
  EXPECT_OK(DVSAliasToSwitchIdAllTypes, alias, switch_id);
  EXPECT_DOCUMENTED(VSDVS_GetTeamingPolicyFromDVSID, switch_id, &policy);
  EXPECT_DOCUMENTED(VSDVS_GetPortTeamingPolicy, alias, dvport, &policy);
  char tied_to[QEL_HNQ_NAME_MAX_LEN];
  EXPECT_DOCUMENTED(VSDVS_GetPortTeamingOverride, alias, dvport, tied_to);
  HandedOut<LSTeamTable> configured;
  EXPECT_DOCUMENTED(VSDVS_GetLSTeamingPolicyTable, alias, configured);
  HandedOut<LSTeamTable> running;
  EXPECT_DOCUMENTED(VSQEL_GetLSTeamingPolicyTable, const_cast<char *>(alias), running);
  qel_Bool is_always{};
  EXPECT_DOCUMENTED(VSDVS_GetTxUplinkAlways, alias, dvport, &is_always);
  char name[sizeof(LSTeamPolicy::name)];
  EXPECT_DOCUMENTED(VSDVS_GetPortLSTeamingPolicyName, alias, dvport, name);
  qel_SwitchPortID const number = number_of_port(alias, dvport);
  EXPECT_DOCUMENTED(VSQEL_GetPortLSTeamingPolicyName, number, name);
  qel_Name uplink{};
  EXPECT_DOCUMENTED(VSQEL_PortGetTeamUplinkHint, number, &uplink);
  VSServicePortTeamingStats statistics{};
  EXPECT_DOCUMENTED(VSQEL_GetServicePortTeamingStats, alias, &statistics);
}

inline void ask_about_uplinks(char const *alias) {
  HandedOut<VSUplinkPorts> names;
  HandedOut<VSUplinkPortIds> ids;
  EXPECT_DOCUMENTED(VSDVS_GetSwitchUplinkPorts, alias, names, ids);
  HandedOut<VSUplinks> uplinks;
  EXPECT_DOCUMENTED(VSQEL_GetUplinks, alias, uplinks);
  HandedOut<VSLAGTable> lags;
  EXPECT_DOCUMENTED(VSQEL_GetLAGTable, alias, lags);
  VSRARPStats announcements{};
  EXPECT_DOCUMENTED(VSQEL_GetRARPStats, alias, &announcements);
  qel_uint32 const count = uplinks.get() ? uplinks.get()->numEntries : 0;
  for (qel_uint32 i = 0; i < count; ++i) {
    std::string const name = uplinks.elements<VSUplinks_entries>()[i].name.string;
    qel_LinkState state{};
    EXPECT_DOCUMENTED(VSQEL_GetUplinkLinkState, alias, name.c_str(), &state);
    EXPECT_DOCUMENTED(VSQEL_GetUplinkLACPLinkState, alias, name.c_str(), &state);
    char dvport[QEL_HNQ_PORT_ID_MAX_LEN];
    EXPECT_DOCUMENTED(VSQEL_GetUplinkDVPortID, name.c_str(), dvport);
  }
}

inline void ask_about_policies(char const *alias, char const *dvport) {
  VSPropMACLearning learning{};
  EXPECT_DOCUMENTED(VSDVS_GetMACLearning, alias, &learning);
  VSPMACLearning port_learning{};
  EXPECT_DOCUMENTED(VSDVS_GetPortMACLearning, alias, dvport, &port_learning);
  qel_Bool truth{};
  EXPECT_DOCUMENTED(VSDVS_GetStaticMACAllow, alias, &truth);
  EXPECT_DOCUMENTED(VSDVS_GetLearnStatic, alias, &truth);
  EXPECT_DOCUMENTED(VSDVS_IsSinkPortEnabled, alias, dvport, &truth);
  EXPECT_DOCUMENTED(VSDVS_GetPortNestedVLANTagging, alias, dvport, &truth);
  VSPropSecurity security{};
  EXPECT_DOCUMENTED(VSDVS_GetPortSecurity, alias, dvport, &security);
  HandedOut<VSL2Security> of_ports;
  EXPECT_DOCUMENTED(VSQEL_GetL2Security, alias, of_ports);
  VSExtraEthFilter filter{};
  EXPECT_DOCUMENTED(VSDVS_GetExtraEthFilter, alias, dvport, &filter);
  HandedOut<VSPortVlanPolicy> vlan;
  int length = 0;
  EXPECT_DOCUMENTED(VSDVS_GetPortVLANPolicy, alias, dvport, vlan, &length);
  HandedOut<VSPvlanMapEntry> map;
  EXPECT_DOCUMENTED(VSDVS_GetPrivateVLANMap, alias, map, &length);
  HandedOut<VSInfo> info;
  EXPECT_DOCUMENTED(VSQEL_GetSwitchInfo, alias, info);
}

inline void ask_about_addresses(char const *alias, char const *dvport) {
  HandedOut<VSUserMcastLegacyKeys> of_switch;
  EXPECT_DOCUMENTED(VSDVS_GetMcastUserLegacyEntries, alias, of_switch);
  HandedOut<VSUserMcastLegacyKeys> of_port;
  EXPECT_DOCUMENTED(VSDVS_GetPortMcastUserLegacyEntries, alias, dvport, of_port);
  qel_SwitchPortID const number = number_of_port(alias, dvport);
  for (int mode = VS_MCAST_FILTER_MODE_LEGACY; mode <= VS_MCAST_FILTER_MODE_MLD; ++mode) {
    HandedOut<VSMcastFilters> filters;
    EXPECT_DOCUMENTED(VSQEL_GetMcastFilters, alias, number, static_cast<VSMcastFilterMode>(mode), filters);
  }
  VSMACLearningSwitchInfo info{};
  EXPECT_DOCUMENTED(VSQEL_GetSwitchMACLearningInfo, alias, &info);
  HandedOut<VSMACLearningEntries> learned;
  EXPECT_DOCUMENTED(VSQEL_GetMACLearningAllPorts, alias, learned);
  HandedOut<VSMACLearningStats> statistics;
  EXPECT_DOCUMENTED(VSQEL_GetSwitchMACLearningStats, alias, statistics);
  VSPMACLearningStats port_statistics{};
  EXPECT_DOCUMENTED(VSQEL_GetPortMACLearningStats, alias, dvport, &port_statistics);
  for (int type = VS_MAC_ADDR_TYPE_STATIC; type <= VS_MAC_ADDR_TYPE_ALL; ++type) {
    HandedOut<VSMACTable> table;
    EXPECT_DOCUMENTED(VSQEL_GetMACTable, alias, static_cast<VSMACAddrType>(type), table);
  }
  HandedOut<VSStaticLeCtxEntries> leaf_contexts;
  EXPECT_DOCUMENTED(VSQEL_GetStaticLectx, alias, leaf_contexts);
}

inline void ask_about_mirroring(char const *alias, char const *dvport) {
  HandedOut<DVMirrorSessionTable> table;
  EXPECT_DOCUMENTED(VSDVS_GetDVMirrorSessions, alias, dvport, table);
  HandedOut<VSPromiscSessionActiveDsts> destinations;
  EXPECT_DOCUMENTED(VSQEL_GetPromiscSessionActiveDsts, alias, destinations);
  HandedOut<VSDVMirrorSessionIDs> ids;
  EXPECT_DOCUMENTED(VSQEL_GetDVMirrorSessionIDs, alias, ids);
  qel_uint32 const count = ids.get() ? ids.get()->numEntries : 0;
  for (qel_uint32 i = 0; i < count; ++i) {
    VSDVMirrorSessionStats statistics{};
    EXPECT_OK(VSQEL_GetDVMirrorSessionStats, alias, ids.elements<char[sizeof(DVMirrorSession::sid)]>()[i], &statistics);
  }
}

inline void ask_about_images(char const *alias, char const *dvport) {
  HandedOut<void> image;
  int length = 0;
  EXPECT_DOCUMENTED(DVSQEL_PortStateGet, alias, dvport, image, &length);
  HandedOut<void> persistent;
  EXPECT_DOCUMENTED(DVSQEL_PersistentStateGet, persistent, &length);
}

// All that can be asked about the first ports of a state, and about the first of each of its switches.
inline void ask_everything() {
  std::vector<std::pair<std::string, std::string>> ports;
  {
    host::HostLock lock;
    host::Transaction transaction(host::open_host(), false);
    host::Rows rows = host::open_host().rows(
        "SELECT alias, dvport_id FROM vswitch LEFT JOIN port ON port.vswitch = vswitch.id"
        " WHERE ifnull(port.id, 0) IN (SELECT id FROM port AS first WHERE first.vswitch = vswitch.id LIMIT 3)"
        " OR port.id IS NULL LIMIT 6");
    while (rows.next())
      ports.emplace_back(rows.text(0), rows.text(1));
  }
  for (auto const &[alias, dvport] : ports) {
    ask_about_teaming(alias.c_str(), dvport.c_str());
    ask_about_uplinks(alias.c_str());
    ask_about_policies(alias.c_str(), dvport.c_str());
    ask_about_addresses(alias.c_str(), dvport.c_str());
    ask_about_mirroring(alias.c_str(), dvport.c_str());
    ask_about_images(alias.c_str(), dvport.c_str());
  }
}

// Throws a DescriptionError.
inline void boot_from(std::string const &description) {
  host::HostLock lock;
  host::reset_host(host::open_host(), description);
}

inline tool::Json exported_description() {
  host::HostLock lock;
  host::Transaction transaction(host::open_host(), false);
  return tool::boot_description(host::open_host());
}

// A boot asks no rules: a value may have lost what it needs, and then an image with it is refused.
inline void expect_sound_when_sane() {
  EXPECT_OK(DVSQEL_StateSanitize);
  expect_sound_state();
}

inline void boot_again() {
  if (host::boot() != QEL_OK)
    finding("the host does not boot");
  expect_sound_when_sane();
}

}  // namespace fuzz
