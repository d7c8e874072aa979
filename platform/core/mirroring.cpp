// Mirror sessions: the tables that scripts write, and the sessions of a switch that follow from them.
#include "platform/core/mirroring.hpp"

#include <algorithm>
#include <map>
#include <set>

#include "platform/core/port_policies.hpp"
#include "platform/core/property_values.hpp"

namespace host {

namespace {

constexpr std::uint32_t magic = static_cast<std::uint32_t>(VS_DVMIRROR_MAGIC_NUM);

// What a table may hold: no constant of the interface limits it, so that the host must.
constexpr std::uint32_t most_sessions = 64;
constexpr std::uint32_t most_entities = 4096;
constexpr std::uint32_t most_rules = 1024;
constexpr std::uint32_t most_prefixes = 4096;

constexpr int last_vlan = 4094;
constexpr int last_erspan_id = 1023;  // 10 bits
constexpr int most_cos = 7;
constexpr int coarsest_granularity = 3;  // 2 bits
constexpr int last_protocol = 255;
constexpr int ipv4_bits = 32;
constexpr int ipv6_bits = 128;

constexpr std::uint32_t known_flags = VS_DVMIRROR_FLAG_DST_NO_OUTPUT | VS_DVMIRROR_FLAG_DST_NO_INPUT |
                                      VS_DVMIRROR_FLAG_DST_ORIG_VLAN | VS_DVMIRROR_FLAG_DST_ENCAP |
                                      VS_DVMIRROR_FLAG_LEGACY | VS_DVMIRROR_FLAG_DISABLED |
                                      VS_DVMIRROR_FLAG_SRC_UPLINK_MIRROR;
constexpr int known_wildcards = VS_DVMIRROR_WILDCARD_VMM | VS_DVMIRROR_WILDCARD_PNIC | VS_DVMIRROR_WILDCARD_COS |
                                VS_DVMIRROR_WILDCARD_TCPIP | VS_DVMIRROR_WILDCARD_TEST;

// The lists of a table, one behind the other.
struct Layout {
  std::size_t sessions = sizeof(DVMirrorSessionTable);
  std::size_t entities;
  std::size_t rules;
  std::size_t prefixes;
  std::size_t size;

  explicit Layout(DVMirrorSessionTable const &header)
      : entities(sessions + header.numSessions * sizeof(DVMirrorSession)),
        rules(entities + header.numEntities * sizeof(DVMirrorEntity)),
        prefixes(rules + header.numFilterRules * sizeof(DVMirrorFilterRule)),
        size(prefixes + header.numFilterIPs * sizeof(DVMirrorIpPrefix)) {}
};

void refuse_header(DVMirrorSessionTable const &header) {
  refuse_if(header.magicNum != magic, QEL_BAD_PARAM);
  refuse_if(header.version < VS_DVMIRROR_VERSION_V1 || header.version > VS_DVMIRROR_VERSION_V4, QEL_NOT_SUPPORTED);
  refuse_if(header.numSessions > most_sessions || header.numEntities > most_entities ||
                header.numFilterRules > most_rules || header.numFilterIPs > most_prefixes,
            QEL_LIMIT_EXCEEDED);
}

// The runs that sessions or rules have in a list: each inside it, and no element in two.
class Runs {
 public:
  explicit Runs(std::uint64_t length) : taken_(length) {}

  void take(std::uint64_t start, std::uint64_t count) {
    refuse_if(start > taken_.size() || count > taken_.size() - start, QEL_BAD_PARAM);
    for (std::uint64_t i = start; i < start + count; ++i) {
      refuse_if(taken_[i], QEL_BAD_PARAM);
      taken_[i] = true;
    }
  }

 private:
  std::vector<bool> taken_;
};

enum class Role { destination, source };

constexpr unsigned kind(int type) {
  return 1u << type;
}

constexpr unsigned ports = kind(MIRROR_ENTTYPE_DVPORT) | kind(MIRROR_ENTTYPE_PORT) | kind(MIRROR_ENTTYPE_MAC);

// The kinds of entity that a type of session takes.
unsigned kinds(int session_type, Role role) {
  if (role == Role::source) {
    return session_type == VS_DVMIRROR_SESSIONTYPE_RMIRROR_DST
               ? kind(MIRROR_ENTTYPE_VLAN)
               : ports | kind(MIRROR_ENTTYPE_UPLINK) | kind(MIRROR_ENTTYPE_VLAN);
  }
  switch (session_type) {
    case VS_DVMIRROR_SESSIONTYPE_DVPORT:
    case VS_DVMIRROR_SESSIONTYPE_RMIRROR_DST:
    case VS_DVMIRROR_SESSIONTYPE_LOGICAL_DVPORT: return ports;
    case VS_DVMIRROR_SESSIONTYPE_RMIRROR_SRC: return kind(MIRROR_ENTTYPE_UPLINK);
    case VS_DVMIRROR_SESSIONTYPE_ERMIRROR_SRC: return kind(MIRROR_ENTTYPE_IP);
    default: return ports | kind(MIRROR_ENTTYPE_UPLINK) | kind(MIRROR_ENTTYPE_IP);
  }
}

void refuse_entity(DVMirrorEntity const &entity, unsigned admitted) {
  refuse_if(entity.type < MIRROR_ENTTYPE_DVPORT || entity.type > MIRROR_ENTTYPE_MAC, QEL_BAD_PARAM);
  refuse_if((admitted & kind(entity.type)) == 0, QEL_BAD_PARAM);
  switch (static_cast<int>(entity.type)) {
    case MIRROR_ENTTYPE_DVPORT: name_in_field(entity.dvPortId); break;
    case MIRROR_ENTTYPE_UPLINK: name_in_field(entity.uplink.string); break;
    case MIRROR_ENTTYPE_VLAN: refuse_if(entity.vlan > last_vlan, QEL_BAD_PARAM); break;
    case MIRROR_ENTTYPE_PORT: refuse_if(entity.portId == QEL_VSWITCH_INVALID_PORT_ID, QEL_BAD_PARAM); break;
    default: break;
  }
}

void refuse_rule(MirrorRule const &rule) {
  DVMirrorFilterRule const &record = rule.record;
  refuse_if(record.has_protocol && record.protocol > last_protocol, QEL_BAD_PARAM);
  refuse_if(record.has_srcports && record.srcPorts.begin > record.srcPorts.end, QEL_BAD_PARAM);
  refuse_if(record.has_dstports && record.dstPorts.begin > record.dstPorts.end, QEL_BAD_PARAM);
  refuse_if(record.action != ACTION_DONT_MIRROR && record.action != ACTION_MIRROR, QEL_BAD_PARAM);
  for (DVMirrorIpPrefix const &prefix : rule.prefixes)
    refuse_if(prefix.prefix_length > (prefix.isIPv6 ? ipv6_bits : ipv4_bits), QEL_BAD_PARAM);
}

std::string sid_of(MirrorSession const &session) {
  return name_in_field(session.record.sid);
}

// All of a session but its identifier's being its own.
void refuse_session(MirrorSession const &session) {
  DVMirrorSession const &record = session.record;
  refuse_if(field_text(record.dname).size() == sizeof record.dname, QEL_NAME_TOO_LONG);
  refuse_if(record.type < VS_DVMIRROR_SESSIONTYPE_MIXDST || record.type > VS_DVMIRROR_SESSIONTYPE_LOGICAL_DVPORT,
            QEL_BAD_PARAM);
  refuse_if((record.flags & ~known_flags) != 0, QEL_BAD_PARAM);
  refuse_if(((record.wildIn | record.wildOut) & ~known_wildcards) != 0, QEL_BAD_PARAM);
  refuse_if(record.encapVlan > last_vlan, QEL_BAD_PARAM);
  refuse_if(record.uplinkFilter < MIRROR_UPLINK_FILTER_NONE || record.uplinkFilter >= MIRROR_UPLINK_FILTER_TYPE_MAX,
            QEL_BAD_PARAM);
  refuse_if(record.encapType < DVMIRROR_ENCAP_GRE || record.encapType >= DVMIRROR_ENCAP_TYPE_MAX, QEL_BAD_PARAM);
  refuse_if(record.erspanID > last_erspan_id || record.erspanCOS > most_cos || record.erspanGra > coarsest_granularity,
            QEL_BAD_PARAM);
  for (std::size_t i = 0; i < session.entities.size(); ++i) {
    Role const role = i < record.numDstEntities ? Role::destination : Role::source;
    refuse_entity(session.entities[i], kinds(record.type, role));
  }
  for (MirrorRule const &rule : session.rules)
    refuse_rule(rule);
}

bool is_enabled(MirrorSession const &session) {
  return (session.record.flags & VS_DVMIRROR_FLAG_DISABLED) == 0;
}

}  // namespace

std::size_t mirror_table_size(DVMirrorSessionTable const *table) {
  DVMirrorSessionTable header;
  std::memcpy(&header, table, sizeof header);
  refuse_header(header);
  return Layout(header).size;
}

MirrorTable parse_mirror_table(std::string_view value) {
  refuse_if(value.size() < sizeof(DVMirrorSessionTable), QEL_BAD_PARAM);
  auto const header = record_at<DVMirrorSessionTable>(value, 0);
  refuse_header(header);
  Layout const layout(header);
  refuse_if(value.size() != layout.size, QEL_BAD_PARAM);

  Runs entity_runs(header.numEntities);
  Runs rule_runs(header.numFilterRules);
  Runs prefix_runs(header.numFilterIPs);
  MirrorTable table{header.version, {}};
  for (std::size_t s = 0; s < header.numSessions; ++s) {
    MirrorSession session{record_at<DVMirrorSession>(value, layout.sessions + s * sizeof(DVMirrorSession)), {}, {}};
    // Summed in 64 bits, where three counts of 32 cannot wrap.
    std::uint64_t const entities = std::uint64_t{session.record.numDstEntities} + session.record.numSrcInEntities +
                                   session.record.numSrcOutEntities;
    entity_runs.take(session.record.startIdx, entities);
    for (std::size_t i = session.record.startIdx; session.entities.size() < entities; ++i)
      session.entities.push_back(record_at<DVMirrorEntity>(value, layout.entities + i * sizeof(DVMirrorEntity)));

    rule_runs.take(session.record.startRuleIdx, session.record.numFilterRules);
    for (std::size_t i = session.record.startRuleIdx; session.rules.size() < session.record.numFilterRules; ++i) {
      MirrorRule rule{record_at<DVMirrorFilterRule>(value, layout.rules + i * sizeof(DVMirrorFilterRule)), {}};
      std::size_t const prefixes = std::size_t{rule.record.numSrcIPs} + rule.record.numDstIPs;
      prefix_runs.take(rule.record.startIPIdx, prefixes);
      for (std::size_t p = rule.record.startIPIdx; rule.prefixes.size() < prefixes; ++p)
        rule.prefixes.push_back(record_at<DVMirrorIpPrefix>(value, layout.prefixes + p * sizeof(DVMirrorIpPrefix)));
      session.rules.push_back(std::move(rule));
    }
    table.sessions.push_back(std::move(session));
  }
  return table;
}

std::string mirror_table_value(MirrorTable const &table) {
  DVMirrorSessionTable header{};
  header.magicNum = magic;
  header.version = table.version;
  std::string sessions;
  std::string entities;
  std::string rules;
  std::string prefixes;
  std::size_t entity_count = 0;
  std::size_t rule_count = 0;
  std::size_t prefix_count = 0;
  for (MirrorSession const &session : table.sessions) {
    // Beyond these limits the indexes below would not fit their fields.
    refuse_if(entity_count + session.entities.size() > most_entities, QEL_LIMIT_EXCEEDED);
    refuse_if(rule_count + session.rules.size() > most_rules, QEL_LIMIT_EXCEEDED);
    DVMirrorSession record = session.record;
    record.startIdx = static_cast<qel_uint32>(entity_count);
    record.startRuleIdx = static_cast<qel_uint16>(rule_count);
    append_record(sessions, record);
    for (DVMirrorEntity const &entity : session.entities)
      append_record(entities, entity);
    for (MirrorRule const &rule : session.rules) {
      refuse_if(prefix_count + rule.prefixes.size() > most_prefixes, QEL_LIMIT_EXCEEDED);
      DVMirrorFilterRule rule_record = rule.record;
      rule_record.startIPIdx = static_cast<qel_uint16>(prefix_count);
      append_record(rules, rule_record);
      for (DVMirrorIpPrefix const &prefix : rule.prefixes)
        append_record(prefixes, prefix);
      prefix_count += rule.prefixes.size();
    }
    entity_count += session.entities.size();
    rule_count += session.rules.size();
  }
  header.numSessions = static_cast<qel_uint32>(table.sessions.size());
  header.numEntities = static_cast<qel_uint32>(entity_count);
  header.numFilterRules = static_cast<qel_uint16>(rule_count);
  header.numFilterIPs = static_cast<qel_uint16>(prefix_count);
  return record_value(header) + sessions + entities + rules + prefixes;
}

std::string admit_mirror_sessions(Database &database, PropertyPlace const &place, std::string_view value) {
  std::set<std::string> sids;
  for (MirrorSession const &session : parse_mirror_table(value).sessions) {
    std::string const sid = sid_of(session);
    refuse_session(session);
    // Queries name a session of a switch by its identifier alone.
    refuse_if(sid == VS_DVMIRROR_DEFAULT_LEGACY_SESSION_SID || !sids.insert(sid).second, QEL_EXISTS);
    refuse_if(has_session_elsewhere(database, place.vswitch, place.port, sid), QEL_EXISTS);
  }
  return std::string(value);
}

std::string no_mirror_sessions(Database &, PropertyPlace const &) {
  return mirror_table_value({static_cast<DVMirrorVersion>(VS_DVMIRROR_VERSION_V4), {}});
}

void apply_mirror_sessions(Database &database, PropertyPlace const &place, std::string_view value) {
  std::vector<SessionRow> rows;
  for (MirrorSession const &session : parse_mirror_table(value).sessions)
    rows.push_back({sid_of(session), std::string(field_text(session.record.dname)), is_enabled(session)});
  set_session_rows(database, place.vswitch, place.port, rows);
}

std::vector<std::string> running_mirror_sessions(Database &database, RowId vswitch) {
  std::vector<std::string> sids;
  for (EnabledSession &session : enabled_sessions(database, vswitch))
    sids.push_back(std::move(session.sid));
  if (!promiscuous_ports(database, vswitch).empty())
    sids.emplace_back(VS_DVMIRROR_DEFAULT_LEGACY_SESSION_SID);
  return sids;
}

std::vector<MirrorSession> enabled_mirror_sessions(Database &database, RowId vswitch) {
  std::vector<MirrorSession> sessions;
  std::map<RowId, MirrorTable> tables;
  for (EnabledSession const &enabled : enabled_sessions(database, vswitch)) {
    bool const is_of_port = enabled.port != 0;
    PropertyPlace const place{vswitch, is_of_port ? Scope::port : Scope::global, enabled.port};
    char const *const name = is_of_port ? VSPROP_PORT_MIRROR_SESSIONS : VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS;
    auto table = tables.find(enabled.port);
    if (table == tables.end())
      table = tables.emplace(enabled.port, parse_mirror_table(get_property(database, place, name))).first;
    for (MirrorSession const &session : table->second.sessions) {
      if (sid_of(session) == enabled.sid)
        sessions.push_back(session);
    }
  }
  return sessions;
}

SessionStatistics mirror_session(Database &database, RowId vswitch, std::string_view sid) {
  if (sid == VS_DVMIRROR_DEFAULT_LEGACY_SESSION_SID) {
    refuse_if(promiscuous_ports(database, vswitch).empty(), QEL_NOT_FOUND);
    SwitchCounters const counters = load_switch_counters(database, vswitch);
    return {VS_DVMIRROR_DEFAULT_LEGACY_SESSION_DNAME,
            {.copies = counters.promiscuous_copies, .mirrored = counters.promiscuous_frames}};
  }
  std::optional<SessionStatistics> found = session_statistics(database, vswitch, sid);
  refuse_if(!found, QEL_NOT_FOUND);
  return *std::move(found);
}

void set_mirror_statistics(Database &database, RowId vswitch, std::string_view sid,
                           MirrorStatistics const &statistics) {
  refuse_if(!store_session_statistics(database, vswitch, sid, statistics), QEL_NOT_FOUND);
}

}  // namespace host
