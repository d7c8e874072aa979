// Mirror sessions: the tables that scripts write, and the sessions of a switch that follow from them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "interface/mirror_records.h"
#include "platform/core/properties.hpp"
#include "platform/core/traffic.hpp"

namespace host {

struct MirrorRule {
  DVMirrorFilterRule record;
  std::vector<DVMirrorIpPrefix> prefixes;  // the sources, then the destinations
};

struct MirrorSession {
  DVMirrorSession record;
  std::vector<DVMirrorEntity> entities;  // the destinations, the ingress sources, the egress sources
  std::vector<MirrorRule> rules;
};

struct MirrorTable {
  DVMirrorVersion version;
  std::vector<MirrorSession> sessions;
};

// The length in bytes of a table that a caller passes, from its header. Refuses a header that cannot be trusted.
HOST_API std::size_t mirror_table_size(DVMirrorSessionTable const *table);

// Refuses what no table can be: counts that do not fit the length, runs outside the lists, and so on.
HOST_API MirrorTable parse_mirror_table(std::string_view value);

// The bytes of a table; what belongs to no session is not in it.
HOST_API std::string mirror_table_value(MirrorTable const &table);

// The rules of VSPROP_PORT_MIRROR_SESSIONS and VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS.
std::string admit_mirror_sessions(Database &database, PropertyPlace const &place, std::string_view value);
std::string no_mirror_sessions(Database &database, PropertyPlace const &place);
void apply_mirror_sessions(Database &database, PropertyPlace const &place, std::string_view value);

// The sessions that are not disabled: those of the switch, then those of its ports by number, each in the order of
// their tables; then the promiscuous session, while there is a promiscuous port.
HOST_API std::vector<std::string> running_mirror_sessions(Database &database, RowId vswitch);

// The same sessions but the promiscuous one, as their tables have them.
HOST_API std::vector<MirrorSession> enabled_mirror_sessions(Database &database, RowId vswitch);

// Any session of the switch, disabled or not. Refuses with QEL_NOT_FOUND.
HOST_API SessionStatistics mirror_session(Database &database, RowId vswitch, std::string_view sid);

// Refuses with QEL_NOT_FOUND.
HOST_API void set_mirror_statistics(Database &database, RowId vswitch, std::string_view sid,
                                    MirrorStatistics const &statistics);

}  // namespace host
