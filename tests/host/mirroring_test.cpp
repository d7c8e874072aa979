// Mirror sessions: the tables of ports and switches, and the sessions that run.
#include <set>

#include "property_test.hpp"

namespace mirroring_test {

void set_text(DVMirrorEntity &entity, int type, char const *text) {
  entity = {};
  entity.type = static_cast<DVMirrorEntityType>(type);
  std::strcpy(entity.dvPortId, text);
}

DVMirrorEntity port_entity(char const *dvport_id) {
  DVMirrorEntity entity;
  set_text(entity, MIRROR_ENTTYPE_DVPORT, dvport_id);
  return entity;
}

DVMirrorEntity uplink_entity(char const *uplink) {
  DVMirrorEntity entity;
  set_text(entity, MIRROR_ENTTYPE_UPLINK, uplink);
  return entity;
}

DVMirrorEntity entity_of(int type) {
  DVMirrorEntity entity{};
  entity.type = static_cast<DVMirrorEntityType>(type);
  return entity;
}

// A table as a script builds it, in parts that a test can change.
struct Table {
  DVMirrorSessionTable header{};
  std::vector<DVMirrorSession> sessions;
  std::vector<DVMirrorEntity> entities;
  std::vector<DVMirrorFilterRule> rules;
  std::vector<DVMirrorIpPrefix> prefixes;

  Table() {
    header.magicNum = 0xfacebeef;
    header.version = static_cast<DVMirrorVersion>(VS_DVMIRROR_VERSION_V4);
  }

  // A session with one destination and one ingress source.
  DVMirrorSession &add(char const *sid, int type = VS_DVMIRROR_SESSIONTYPE_DVPORT) {
    DVMirrorSession session{};
    std::strcpy(session.sid, sid);
    std::strcpy(session.dname, (std::string("name of ") + sid).c_str());
    session.type = static_cast<DVMirrorSessionType>(type);
    session.startIdx = static_cast<qel_uint32>(entities.size());
    session.startRuleIdx = static_cast<qel_uint16>(rules.size());
    session.numDstEntities = 1;
    session.numSrcInEntities = 1;
    session.pad2[54] = 'p';
    entities.push_back(port_entity("101"));
    entities.push_back(port_entity("100"));
    sessions.push_back(session);
    return sessions.back();
  }

  // A rule of the last session, with one source and one destination prefix.
  void add_rule() {
    DVMirrorFilterRule rule{};
    rule.startIPIdx = static_cast<qel_uint16>(prefixes.size());
    rule.numSrcIPs = 1;
    rule.numDstIPs = 1;
    rule.has_protocol = 1;
    rule.protocol = 17;
    rule.has_dstports = 1;
    rule.dstPorts = {53, 53};
    rule.action = static_cast<DVMirrorFilterAction>(ACTION_MIRROR);
    DVMirrorIpPrefix prefix{};
    prefix.prefix_length = static_cast<qel_uint8>(prefixes.size() + 8);
    prefixes.push_back(prefix);
    prefix.isIPv6 = 1;
    prefix.prefix_length = 128;
    prefixes.push_back(prefix);
    rules.push_back(rule);
    sessions.back().numFilterRules = static_cast<qel_uint16>(sessions.back().numFilterRules + 1);
  }

  std::string value() const {
    DVMirrorSessionTable head = header;
    head.numSessions = static_cast<qel_uint32>(sessions.size());
    head.numEntities = static_cast<qel_uint32>(entities.size());
    head.numFilterRules = static_cast<qel_uint16>(rules.size());
    head.numFilterIPs = static_cast<qel_uint16>(prefixes.size());
    std::string bytes = bytes_of(head);
    auto const append = [&](auto const &list) {
      for (auto const &element : list)
        bytes += bytes_of(element);
    };
    append(sessions);
    append(entities);
    append(rules);
    append(prefixes);
    return bytes;
  }
};

DVMirrorSessionTable *argument(std::string &bytes) {
  return reinterpret_cast<DVMirrorSessionTable *>(bytes.data());
}

int set_sessions(char const *dvport_id, std::string bytes) {
  return VSDVS_SetDVMirrorSessions("workload", dvport_id, argument(bytes));
}

int append_sessions(char const *dvport_id, std::string bytes) {
  return VSDVS_AppendDVMirrorSessions("workload", dvport_id, argument(bytes));
}

std::string sessions_of(char const *dvport_id) {
  Returned<DVMirrorSessionTable> table;
  EXPECT_STATUS(QEL_OK, VSDVS_GetDVMirrorSessions("workload", dvport_id, &table));
  std::size_t const size = sizeof *table.record + table->numSessions * sizeof(DVMirrorSession) +
                           table->numEntities * sizeof(DVMirrorEntity) +
                           table->numFilterRules * sizeof(DVMirrorFilterRule) +
                           table->numFilterIPs * sizeof(DVMirrorIpPrefix);
  return {reinterpret_cast<char const *>(table.record), size};
}

std::vector<std::string> running_sessions(char const *switch_name = "workload") {
  Returned<VSDVMirrorSessionIDs> ids;
  EXPECT_STATUS(QEL_OK, VSQEL_GetDVMirrorSessionIDs(switch_name, &ids));
  EXPECT_EQ(ids->totalEntries, ids->numEntries);
  std::vector<std::string> list;
  auto const *slots = reinterpret_cast<char const *>(ids.record + 1);
  for (qel_uint32 i = 0; i < ids->numEntries; ++i)
    list.emplace_back(slots + 32 * i);
  return list;
}

std::vector<qel_SwitchPortID> promiscuous_ports(char const *switch_name = "workload") {
  Returned<VSPromiscSessionActiveDsts> ports;
  EXPECT_STATUS(QEL_OK, VSQEL_GetPromiscSessionActiveDsts(switch_name, &ports));
  EXPECT_EQ(ports->totalEntries, ports->numEntries);
  auto const *first = reinterpret_cast<qel_SwitchPortID const *>(ports.record + 1);
  return {first, first + ports->numEntries};
}

using Names = std::vector<std::string>;

class Mirroring : public HostTest {};

TEST_F(Mirroring, tables_come_back_byte_for_byte) {
  std::string const empty = Table().value();
  EXPECT_EQ(empty, sessions_of("100"));
  Table table;
  table.header.version = static_cast<DVMirrorVersion>(VS_DVMIRROR_VERSION_V2);
  table.add("one");
  table.add_rule();
  table.add_rule();
  table.add("two");
  table.add_rule();
  table.entities.push_back(port_entity("of no session"));
  EXPECT_OK_ELSEWHERE(set_sessions("100", table.value()));
  EXPECT_EQ(table.value(), sessions_of("100"));
  EXPECT_EQ(table.value(), raw_property("workload", "100", VSPROP_PORT_MIRROR_SESSIONS));
  EXPECT_EQ(empty, sessions_of("101"));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearDVMirrorSessions("workload", "100"));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearDVMirrorSessions("workload", "100"));
  EXPECT_EQ(empty, sessions_of("100"));
}

TEST_F(Mirroring, no_port_means_the_sessions_of_the_switch) {
  Table table;
  table.add("switch");
  EXPECT_OK_ELSEWHERE(set_sessions(nullptr, table.value()));
  EXPECT_EQ(table.value(), sessions_of(""));
  EXPECT_EQ(table.value(), raw_property("workload", nullptr, VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS));
  EXPECT_EQ(Names{"switch"}, running_sessions());
  EXPECT_STATUS(QEL_OK, VSDVS_RemoveDVMirrorSession("workload", "", "switch"));
  EXPECT_EQ(Names{}, running_sessions());
}

TEST_F(Mirroring, appended_and_removed_sessions_keep_their_entities_and_rules) {
  Table first;
  first.header.version = static_cast<DVMirrorVersion>(VS_DVMIRROR_VERSION_V1);
  first.add("one");
  first.add_rule();
  ASSERT_STATUS(QEL_OK, append_sessions("100", first.value()));
  EXPECT_EQ(first.value(), sessions_of("100"));
  Table second;
  second.header.version = static_cast<DVMirrorVersion>(VS_DVMIRROR_VERSION_V3);
  second.add("two");
  second.add_rule();
  second.add_rule();
  EXPECT_OK_ELSEWHERE(append_sessions("100", second.value()));

  Table both = first;
  both.header.version = second.header.version;
  both.sessions.push_back(second.sessions[0]);
  both.sessions[1].startIdx = 2;
  both.sessions[1].startRuleIdx = 1;
  both.entities.insert(both.entities.end(), second.entities.begin(), second.entities.end());
  for (DVMirrorFilterRule rule : second.rules) {
    rule.startIPIdx = static_cast<qel_uint16>(rule.startIPIdx + 2);
    both.rules.push_back(rule);
  }
  both.prefixes.insert(both.prefixes.end(), second.prefixes.begin(), second.prefixes.end());
  EXPECT_EQ(both.value(), sessions_of("100"));

  EXPECT_STATUS(QEL_EXISTS, append_sessions("100", first.value()));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_RemoveDVMirrorSession("workload", "100", "three"));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_RemoveDVMirrorSession("workload", "101", "one"));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_RemoveDVMirrorSession("workload", "100", ""));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_RemoveDVMirrorSession("workload", "100", nullptr));
  EXPECT_STATUS(QEL_NAME_TOO_LONG, VSDVS_RemoveDVMirrorSession("workload", "100", std::string(32, 's').c_str()));
  EXPECT_EQ(both.value(), sessions_of("100"));
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveDVMirrorSession("workload", "100", "one"));
  EXPECT_EQ(second.value(), sessions_of("100"));
  EXPECT_EQ(Names{"two"}, running_sessions());
}

TEST_F(Mirroring, refused_headers) {
  struct Case {
    char const *what;
    int status;
    void (*change)(DVMirrorSessionTable &);
  };
  Case const cases[] = {
      {"magic", QEL_BAD_PARAM, [](DVMirrorSessionTable &t) { t.magicNum = 0; }},
      {"no version", QEL_NOT_SUPPORTED, [](DVMirrorSessionTable &t) { t.version = static_cast<DVMirrorVersion>(0); }},
      {"later version", QEL_NOT_SUPPORTED,
       [](DVMirrorSessionTable &t) { t.version = static_cast<DVMirrorVersion>(VS_DVMIRROR_VERSION_UNSUPPORTED); }},
      {"sessions", QEL_LIMIT_EXCEEDED, [](DVMirrorSessionTable &t) { t.numSessions = 65; }},
      {"entities", QEL_LIMIT_EXCEEDED, [](DVMirrorSessionTable &t) { t.numEntities = 0xffffffff; }},
      {"rules", QEL_LIMIT_EXCEEDED, [](DVMirrorSessionTable &t) { t.numFilterRules = 1025; }},
      {"prefixes", QEL_LIMIT_EXCEEDED, [](DVMirrorSessionTable &t) { t.numFilterIPs = 4097; }},
  };
  for (Case const &c : cases) {
    SCOPED_TRACE(c.what);
    // Nothing lies behind the header: it must not be read.
    DVMirrorSessionTable header = Table().header;
    c.change(header);
    EXPECT_STATUS(c.status, VSDVS_SetDVMirrorSessions("workload", "100", &header));
    EXPECT_STATUS(c.status, VSDVS_AppendDVMirrorSessions("workload", "100", &header));
    EXPECT_STATUS(c.status, set_raw_property("workload", "100", VSPROP_PORT_MIRROR_SESSIONS, bytes_of(header)));
  }
  EXPECT_STATUS(QEL_BAD_PARAM, set_raw_property("workload", "100", VSPROP_PORT_MIRROR_SESSIONS, "short"));
  Table table;
  table.add("one");
  EXPECT_STATUS(QEL_BAD_PARAM, set_raw_property("workload", "100", VSPROP_PORT_MIRROR_SESSIONS, table.value() + "x"));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetDVMirrorSessions("workload", "100", nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_AppendDVMirrorSessions("workload", "100", nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetDVMirrorSessions("workload", "100", nullptr));
  EXPECT_STATUS(QEL_NOT_FOUND, set_sessions("none", table.value()));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_ClearDVMirrorSessions("none", "100"));
}

TEST_F(Mirroring, refused_sessions) {
  struct Case {
    char const *what;
    int status;
    void (*change)(Table &);
  };
  Case const cases[] = {
      {"entities behind the pool", QEL_BAD_PARAM, [](Table &t) { t.sessions[1].startIdx = 3; }},
      {"a start behind the pool", QEL_BAD_PARAM, [](Table &t) { t.sessions[1].startIdx = 0xffffffff; }},
      {"counts that wrap", QEL_BAD_PARAM, [](Table &t) { t.sessions[1].numSrcOutEntities = 0xfffffffe; }},
      {"shared entities", QEL_BAD_PARAM, [](Table &t) { t.sessions[1].startIdx = 1; }},
      {"rules behind the list", QEL_BAD_PARAM, [](Table &t) { t.sessions[1].numFilterRules = 2; }},
      {"shared rules", QEL_BAD_PARAM, [](Table &t) { t.sessions[0].numFilterRules = 1; }},
      {"prefixes behind the list", QEL_BAD_PARAM, [](Table &t) { t.rules[0].numDstIPs = 2; }},
      {"unknown type", QEL_BAD_PARAM, [](Table &t) { t.sessions[0].type = static_cast<DVMirrorSessionType>(6); }},
      {"unknown flag", QEL_BAD_PARAM, [](Table &t) { t.sessions[0].flags = 128; }},
      {"unknown wildcard", QEL_BAD_PARAM, [](Table &t) { t.sessions[0].wildOut = 32; }},
      {"VLAN", QEL_BAD_PARAM, [](Table &t) { t.sessions[0].encapVlan = 4095; }},
      {"uplink filter", QEL_BAD_PARAM,
       [](Table &t) { t.sessions[0].uplinkFilter = static_cast<DVMirrorFilterType>(6); }},
      {"encapsulation", QEL_BAD_PARAM, [](Table &t) { t.sessions[0].encapType = static_cast<DVMirrorEncapType>(3); }},
      {"ERSPAN session", QEL_BAD_PARAM, [](Table &t) { t.sessions[0].erspanID = 1024; }},
      {"ERSPAN class", QEL_BAD_PARAM, [](Table &t) { t.sessions[0].erspanCOS = 8; }},
      {"ERSPAN granularity", QEL_BAD_PARAM, [](Table &t) { t.sessions[0].erspanGra = 4; }},
      {"no identifier", QEL_INVALID_NAME, [](Table &t) { t.sessions[0].sid[0] = '\0'; }},
      {"a full identifier", QEL_NAME_TOO_LONG, [](Table &t) { std::memset(t.sessions[0].sid, 's', 32); }},
      {"a full name", QEL_NAME_TOO_LONG, [](Table &t) { std::memset(t.sessions[0].dname, 'n', 81); }},
      {"an identifier twice", QEL_EXISTS, [](Table &t) { std::strcpy(t.sessions[1].sid, "one"); }},
      {"the identifier of the promiscuous session", QEL_EXISTS,
       [](Table &t) { std::strcpy(t.sessions[1].sid, VS_DVMIRROR_DEFAULT_LEGACY_SESSION_SID); }},
      {"unknown kind of entity", QEL_BAD_PARAM, [](Table &t) { t.entities[3] = entity_of(6); }},
      {"negative kind of entity", QEL_BAD_PARAM, [](Table &t) { t.entities[3] = entity_of(-1); }},
      {"an address as source", QEL_BAD_PARAM, [](Table &t) { t.entities[3] = entity_of(MIRROR_ENTTYPE_IP); }},
      {"an address as destination", QEL_BAD_PARAM, [](Table &t) { t.entities[2] = entity_of(MIRROR_ENTTYPE_IP); }},
      {"an uplink as destination", QEL_BAD_PARAM, [](Table &t) { t.entities[2] = uplink_entity("uplink-a"); }},
      {"a port without a name", QEL_INVALID_NAME, [](Table &t) { t.entities[3] = port_entity(""); }},
      {"a full port", QEL_NAME_TOO_LONG, [](Table &t) { std::memset(t.entities[3].dvPortId, 'p', 48); }},
      {"an uplink without a name", QEL_INVALID_NAME, [](Table &t) { t.entities[3] = uplink_entity(""); }},
      {"no port number", QEL_BAD_PARAM, [](Table &t) { t.entities[3] = entity_of(MIRROR_ENTTYPE_PORT); }},
      {"source VLAN", QEL_BAD_PARAM,
       [](Table &t) {
         t.entities[3] = entity_of(MIRROR_ENTTYPE_VLAN);
         t.entities[3].vlan = 4095;
       }},
      {"action", QEL_BAD_PARAM, [](Table &t) { t.rules[0].action = static_cast<DVMirrorFilterAction>(2); }},
      {"protocol", QEL_BAD_PARAM, [](Table &t) { t.rules[0].protocol = 256; }},
      {"port range", QEL_BAD_PARAM,
       [](Table &t) {
         t.rules[0].dstPorts = {2, 1};
       }},
      {"IPv4 prefix", QEL_BAD_PARAM, [](Table &t) { t.prefixes[0].prefix_length = 33; }},
      {"IPv6 prefix", QEL_BAD_PARAM, [](Table &t) { t.prefixes[1].prefix_length = 129; }},
  };
  Table good;
  good.add("one");
  good.add("two");
  good.add_rule();
  ASSERT_STATUS(QEL_OK, set_sessions("100", good.value()));
  for (Case const &c : cases) {
    SCOPED_TRACE(c.what);
    Table table = good;
    c.change(table);
    EXPECT_STATUS(c.status, set_sessions("100", table.value()));
    EXPECT_STATUS(c.status, set_raw_property("workload", "100", VSPROP_PORT_MIRROR_SESSIONS, table.value()));
  }
  EXPECT_EQ(good.value(), sessions_of("100"));
}

TEST_F(Mirroring, destinations_by_type_of_session) {
  Table table;
  table.add("remote", VS_DVMIRROR_SESSIONTYPE_RMIRROR_SRC);
  EXPECT_STATUS(QEL_BAD_PARAM, set_sessions("100", table.value()));
  table.entities[0] = uplink_entity("uplink-a");
  EXPECT_STATUS(QEL_OK, set_sessions("100", table.value()));
  table.sessions[0].type = static_cast<DVMirrorSessionType>(VS_DVMIRROR_SESSIONTYPE_ERMIRROR_SRC);
  EXPECT_STATUS(QEL_BAD_PARAM, set_sessions("100", table.value()));
  table.entities[0] = entity_of(MIRROR_ENTTYPE_IP);
  EXPECT_STATUS(QEL_OK, set_sessions("100", table.value()));
  table.sessions[0].type = static_cast<DVMirrorSessionType>(VS_DVMIRROR_SESSIONTYPE_MIXDST);
  EXPECT_STATUS(QEL_OK, set_sessions("100", table.value()));
  table.sessions[0].type = static_cast<DVMirrorSessionType>(VS_DVMIRROR_SESSIONTYPE_RMIRROR_DST);
  table.entities[0] = port_entity("101");
  EXPECT_STATUS(QEL_BAD_PARAM, set_sessions("100", table.value()));
  table.entities[1] = entity_of(MIRROR_ENTTYPE_VLAN);
  table.entities[1].vlan = 7;
  EXPECT_STATUS(QEL_OK, set_sessions("100", table.value()));
}

TEST_F(Mirroring, a_session_is_one_of_its_switch) {
  Table table;
  table.add("one");
  ASSERT_STATUS(QEL_OK, set_sessions("100", table.value()));
  EXPECT_STATUS(QEL_EXISTS, set_sessions("101", table.value()));
  EXPECT_STATUS(QEL_EXISTS, set_sessions(nullptr, table.value()));
  EXPECT_STATUS(QEL_OK, set_sessions("100", table.value()));
  std::string bytes = table.value();
  EXPECT_STATUS(QEL_OK, VSDVS_SetDVMirrorSessions("management", "1", argument(bytes)));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearDVMirrorSessions("workload", "100"));
  EXPECT_STATUS(QEL_OK, set_sessions("103", table.value()));
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveDVPort("workload", "103"));
  EXPECT_EQ(Names{}, running_sessions());
  EXPECT_STATUS(QEL_OK, set_sessions("101", table.value()));
}

TEST_F(Mirroring, sessions_that_run) {
  EXPECT_EQ(Names{}, running_sessions());
  Table table;
  table.add("b");
  table.add("off").flags = VS_DVMIRROR_FLAG_DISABLED;
  table.add("a");
  ASSERT_STATUS(QEL_OK, set_sessions("101", table.value()));
  Table other;
  other.add("switch");
  ASSERT_STATUS(QEL_OK, set_sessions(nullptr, other.value()));
  EXPECT_EQ((Names{"switch", "b", "a"}), running_sessions("portset-2"));
  EXPECT_EQ(Names{"management-tap"}, running_sessions("management"));
  VSDVMirrorSessionStats stats;
  std::memset(&stats, 0x5a, sizeof stats);
  EXPECT_OK_ELSEWHERE(VSQEL_GetDVMirrorSessionStats("workload", "off", &stats));
  ASSERT_STATUS(QEL_OK, VSQEL_GetDVMirrorSessionStats("workload", "off", &stats));
  EXPECT_STREQ("name of off", stats.name);
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetDVMirrorSessionStats("management", "off", &stats));
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetDVMirrorSessionStats("workload", "", &stats));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetDVMirrorSessionStats("workload", "off", nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetDVMirrorSessionStats("workload", nullptr, &stats));
  EXPECT_STREQ("name of off", stats.name);

  // A volatile table is in effect until the next boot.
  other.add("more");
  std::string const bytes = other.value();
  ASSERT_STATUS(QEL_OK, VSDVS_SetGlobProp("workload", VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS, bytes.data(),
                                          static_cast<int>(bytes.size()), "", 0));
  EXPECT_EQ((Names{"switch", "more", "b", "a"}), running_sessions());
  ASSERT_STATUS(QEL_OK, boot());
  EXPECT_EQ((Names{"switch", "b", "a"}), running_sessions());
  Returned<VSDVMirrorSessionIDs> none;
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetDVMirrorSessionIDs("none", &none));
  EXPECT_EQ(nullptr, none.record);
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetDVMirrorSessionIDs("workload", nullptr));
}

TEST_F(Mirroring, counters_start_from_the_description_and_stay_with_their_session) {
  boot_from(R"({"format": 1, "switches": [{"alias": "s", "switch_id": "id",
    "ports": [{"dvport_id": "p"}, {"dvport_id": "q"}],
    "mirror_sessions": [
      {"session_id": "one", "name": "first", "port": "p", "destinations": ["q"], "sources_in": ["p"],
       "counters": {"copies": 11, "copies_failed": 12, "mirrored": 13, "discarded": 14, "failed": 15}},
      {"session_id": "two", "port": "p", "enabled": false, "sources_out": ["p", "q"]},
      {"session_id": "switch"}]}]})");
  VSDVMirrorSessionStats stats{};
  ASSERT_STATUS(QEL_OK, VSQEL_GetDVMirrorSessionStats("s", "one", &stats));
  EXPECT_STREQ("first", stats.name);
  EXPECT_EQ(11u, qel_uint64{stats.mirrorPktCnt});
  EXPECT_EQ(12u, qel_uint64{stats.mirrorPktFailCnt});
  EXPECT_EQ(13u, qel_uint64{stats.mirroredPkts});
  EXPECT_EQ(14u, qel_uint64{stats.discardedPkts});
  EXPECT_EQ(15u, qel_uint64{stats.failedPkts});
  EXPECT_EQ((Names{"switch", "one"}), running_sessions("s"));
  Returned<DVMirrorSessionTable> table;
  ASSERT_STATUS(QEL_OK, VSDVS_GetDVMirrorSessions("s", "p", &table));
  ASSERT_EQ(2u, table->numSessions);
  ASSERT_EQ(4u, table->numEntities);
  auto const *sessions = reinterpret_cast<DVMirrorSession const *>(table.record + 1);
  auto const *entities = reinterpret_cast<DVMirrorEntity const *>(sessions + 2);
  EXPECT_STREQ("q", entities[0].dvPortId);
  EXPECT_STREQ("p", entities[1].dvPortId);
  EXPECT_STREQ("q", entities[3].dvPortId);
  // The same table again: the same session.
  ASSERT_STATUS(QEL_OK, VSDVS_SetDVMirrorSessions("s", "p", table.record));
  ASSERT_STATUS(QEL_OK, VSQEL_GetDVMirrorSessionStats("s", "one", &stats));
  EXPECT_EQ(11u, qel_uint64{stats.mirrorPktCnt});
  ASSERT_STATUS(QEL_OK, VSDVS_ClearDVMirrorSessions("s", "p"));
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetDVMirrorSessionStats("s", "one", &stats));
  ASSERT_STATUS(QEL_OK, VSDVS_SetDVMirrorSessions("s", "p", table.record));
  ASSERT_STATUS(QEL_OK, VSQEL_GetDVMirrorSessionStats("s", "one", &stats));
  EXPECT_EQ(0u, qel_uint64{stats.mirrorPktCnt});
}

TEST_F(Mirroring, a_session_may_change_its_name) {
  Table table;
  table.add("one");
  ASSERT_STATUS(QEL_OK, set_sessions("101", table.value()));
  VSDVMirrorSessionStats stats{};
  ASSERT_STATUS(QEL_OK, VSQEL_GetDVMirrorSessionStats("workload", "one", &stats));
  EXPECT_STREQ("name of one", stats.name);
  std::strcpy(table.sessions[0].dname, "another");
  ASSERT_STATUS(QEL_OK, set_sessions("101", table.value()));
  ASSERT_STATUS(QEL_OK, VSQEL_GetDVMirrorSessionStats("workload", "one", &stats));
  EXPECT_STREQ("another", stats.name);
  EXPECT_EQ(Names{"one"}, running_sessions());
}

TEST_F(Mirroring, promiscuous_ports_are_the_destinations_of_a_session) {
  boot_from(R"({"format": 1, "switches": [{"alias": "workload", "switch_id": "id", "ports": [
    {"dvport_id": "100", "client": {"name": "a", "type": "vnic", "mac": "02:00:00:00:02:00", "promiscuous": true}},
    {"dvport_id": "101", "client": {"name": "b", "type": "vnic", "mac": "02:00:00:00:02:01"}},
    {"dvport_id": "102"}]}]})");
  qel_SwitchPortID const first = port_number("workload", "100");
  qel_SwitchPortID const second = port_number("workload", "101");
  using Ports = std::vector<qel_SwitchPortID>;
  EXPECT_EQ(Ports{first}, promiscuous_ports());
  EXPECT_EQ(Names{"legacy_promiscuous"}, running_sessions());
  VSDVMirrorSessionStats stats;
  ASSERT_STATUS(QEL_OK, VSQEL_GetDVMirrorSessionStats("workload", "legacy_promiscuous", &stats));
  EXPECT_STREQ("legacy_promiscuous", stats.name);

  // A filter can ask for the same, on a port that has a client.
  VSExtraEthFilter filter{};
  filter.flags = QEL_ETH_FILTER_PROMISC;
  ASSERT_STATUS(QEL_OK, VSDVS_SetExtraEthFilter("workload", "101", &filter));
  ASSERT_STATUS(QEL_OK, VSDVS_SetExtraEthFilter("workload", "102", &filter));
  EXPECT_EQ((Ports{first, second}), promiscuous_ports());
  VSPropSecurity const security{VSPORT_SECURITY_DISALLOW_PROMISC};
  EXPECT_OK_ELSEWHERE(VSDVS_SetPortSecurity("workload", "100", &security));
  EXPECT_EQ(Ports{second}, promiscuous_ports());
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortSecurity("workload", "101", &security));
  EXPECT_EQ(Ports{}, promiscuous_ports());
  EXPECT_EQ(Names{}, running_sessions());
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetDVMirrorSessionStats("workload", "legacy_promiscuous", &stats));
  Returned<VSPromiscSessionActiveDsts> none;
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetPromiscSessionActiveDsts("none", &none));
  EXPECT_EQ(nullptr, none.record);
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetPromiscSessionActiveDsts("workload", nullptr));
}

TEST_F(Mirroring, sessions_come_and_go_with_images_and_zombies) {
  Table table;
  table.add("one");
  ASSERT_STATUS(QEL_OK, set_sessions("100", table.value()));
  Returned<void> image;
  int length = 0;
  ASSERT_STATUS(QEL_OK, DVSQEL_StateGet(&image, &length));
  Table other;
  other.add("two");
  ASSERT_STATUS(QEL_OK, set_sessions("101", other.value()));
  ASSERT_STATUS(QEL_OK, DVSQEL_StateInit(image.record, length));
  EXPECT_EQ(Names{"one"}, running_sessions());
  // Port 100 has a client: removing it makes it a zombie, which has no properties.
  ASSERT_STATUS(QEL_OK, DVSQEL_PortRemove("workload", "100"));
  EXPECT_EQ(Names{}, running_sessions());
  EXPECT_STATUS(QEL_OK, set_sessions("101", table.value()));
}

}  // namespace mirroring_test
