// Values of properties that tests write, as the bytes that the store has.
#pragma once

#include "property_test.hpp"

inline std::string number(qel_uint32 value) {
  return bytes_of(value);
}

// As an argument of a call that takes the record. The bytes must outlive the call.
template <typename Record>
Record *record_in(std::string &bytes) {
  return reinterpret_cast<Record *>(bytes.data());
}

inline std::string teaming_value(std::vector<char const *> const &active, int load_balance = TEAM_FRP_TYPE_FO_EXPLICIT,
                                 qel_uint32 flags = 0) {
  VSTeamPolicy policy{};
  policy.loadBalance = static_cast<qel_uint32>(load_balance);
  policy.linkCriteria = TEAM_FRP_CRIT_LINK_STATE;
  policy.flags = flags;
  for (char const *name : active)
    std::strcpy(policy.uplinkPortName[policy.numActive++], name);
  return bytes_of(policy);
}

// A table with one policy of a logical switch.
inline std::string ls_teaming_value(char const *name, char const *uplink) {
  LSTeamPolicy policy{};
  std::strcpy(policy.name, name);
  policy.loadBalance = TEAM_FRP_TYPE_LB_SRCMAC;
  policy.numActive = 1;
  std::strcpy(policy.uplinkPortName[0], uplink);
  return number(1) + bytes_of(policy);
}

inline std::string vlan_value(int flags, int vlan, std::vector<qel_HNQPortVIDRange> const &ranges = {}) {
  std::string value = bytes_of(VSPortVlanPolicy{
      static_cast<qel_uint16>(flags), static_cast<qel_uint16>(vlan), 0, static_cast<qel_uint16>(ranges.size()), {}});
  for (qel_HNQPortVIDRange const &range : ranges)
    value += bytes_of(range);
  return value;
}

// A private VLAN map: the primary VLAN, and one isolated secondary one.
inline std::string private_vlan_value(int primary, int isolated) {
  auto const vlan = [](int number) { return static_cast<qel_uint16>(number); };
  return bytes_of(VSPvlanMapEntry{vlan(primary), vlan(primary), VSPORT_PVLAN_TYPE_PROMISC, {}}) +
         bytes_of(VSPvlanMapEntry{vlan(primary), vlan(isolated), VSPORT_PVLAN_TYPE_ISOLATED, {}});
}

inline std::string mac_learning_value(qel_uint32 aging_time, qel_uint32 limit) {
  VSPropMACLearning learning{};
  learning.agingTime = aging_time & 0xffffff;
  learning.macLimit = limit;
  return bytes_of(learning);
}

inline VSPMACLearning port_learning(char learning, char flooding, qel_uint32 limit, int at_limit) {
  return {learning, flooding, limit, static_cast<VSPortMACLearningLimitPolicy>(at_limit)};
}

inline std::string eth_filter_value(qel_uint32 flags, unsigned char last = 0) {
  VSExtraEthFilter filter{};
  filter.flags = flags;
  filter.numMulticastAddrs = 1;
  filter.multicastAddrs[0][0] = 1;
  filter.multicastAddrs[0][5] = last;
  return bytes_of(filter);
}

// Multicast addresses set by the user, which differ in their last byte.
inline std::string user_addresses_value(std::vector<int> const &last_bytes) {
  std::string value(1, static_cast<char>(last_bytes.size()));
  for (int last : last_bytes)
    value += std::string("\1\0\0\0\0", 5) + static_cast<char>(last);
  return value;
}

// A mirror session table: each session copies what port 100 receives to port 101.
inline std::string mirror_value(std::vector<char const *> const &sessions) {
  DVMirrorSessionTable header{};
  header.magicNum = 0xfacebeef;
  header.version = static_cast<DVMirrorVersion>(VS_DVMIRROR_VERSION_V4);
  header.numSessions = static_cast<qel_uint32>(sessions.size());
  header.numEntities = 2 * header.numSessions;
  std::string value = bytes_of(header);
  std::string entities;
  for (char const *name : sessions) {
    DVMirrorSession session{};
    std::strcpy(session.sid, name);
    session.type = static_cast<DVMirrorSessionType>(VS_DVMIRROR_SESSIONTYPE_DVPORT);
    session.startIdx = static_cast<qel_uint32>(entities.size() / sizeof(DVMirrorEntity));
    session.numDstEntities = 1;
    session.numSrcInEntities = 1;
    value += bytes_of(session);
    for (char const *port : {"101", "100"}) {
      DVMirrorEntity entity{};
      entity.type = static_cast<DVMirrorEntityType>(MIRROR_ENTTYPE_DVPORT);
      std::strcpy(entity.dvPortId, port);
      entities += bytes_of(entity);
    }
  }
  return value + entities;
}

// A buffer with one numeric runtime option.
inline std::string option_value(int type, qel_uint32 value) {
  return number(12) + bytes_of(static_cast<qel_uint16>(type)) + bytes_of(qel_uint16{8}) + number(value);
}

inline VSMACEntry mac_entry(unsigned char last, int vlan = 0) {
  VSMACEntry entry{};
  entry.macAddress[0] = 2;
  entry.macAddress[5] = last;
  entry.vid = static_cast<qel_VlanID>(vlan);
  return entry;
}

// The names of uplink ports, and identifiers of their ports.
inline std::string uplink_names(std::vector<char const *> const &names) {
  std::string value = number(static_cast<qel_uint32>(names.size()));
  for (char const *name : names)
    value += std::string(name).append(81 - std::strlen(name), '\0');
  return value;
}

inline std::string uplink_port_ids(std::vector<char const *> const &ids) {
  std::string value = number(static_cast<qel_uint32>(ids.size()));
  for (char const *id : ids)
    value += std::string(id).append(48 - std::strlen(id), '\0');
  return value;
}
