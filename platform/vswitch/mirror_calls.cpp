// Calls on mirror sessions: those configured on ports and switches, and those that run.
#include "platform/core/mirroring.hpp"

#include "platform/core/port_policies.hpp"
#include "platform/vswitch/property_views.hpp"

using namespace host;

namespace {

// The table of a port, or of the switch itself where no port is named.
struct TableOwner {
  PropertyPlace place;
  std::string_view property;
};

TableOwner table_owner(Database &database, char const *alias, char const *dvport_id) {
  if (!dvport_id || *dvport_id == '\0')
    return {switch_argument(database, alias), VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS};
  return {port_argument(database, alias, dvport_id), VSPROP_PORT_MIRROR_SESSIONS};
}

std::string_view table_bytes(DVMirrorSessionTable const *table) {
  refuse_if(!table, QEL_BAD_PARAM);
  return {reinterpret_cast<char const *>(table), mirror_table_size(table)};
}

MirrorTable configured_table(Database &database, TableOwner const &owner) {
  return parse_mirror_table(get_property(database, owner.place, owner.property));
}

}  // namespace

int VSDVS_SetDVMirrorSessions(char const *alias, char const *dvport_id, DVMirrorSessionTable *table) {
  NOTE_ARGUMENTS(alias, dvport_id, table);
  return update([&](Database &database) {
    TableOwner const owner = table_owner(database, alias, dvport_id);
    write_property(database, owner.place, owner.property, table_bytes(table));
  });
}

int VSDVS_AppendDVMirrorSessions(char const *alias, char const *dvport_id, DVMirrorSessionTable *table) {
  NOTE_ARGUMENTS(alias, dvport_id, table);
  return update([&](Database &database) {
    TableOwner const owner = table_owner(database, alias, dvport_id);
    MirrorTable const added = parse_mirror_table(table_bytes(table));
    MirrorTable all = configured_table(database, owner);
    if (all.sessions.empty() || all.version < added.version)
      all.version = added.version;
    all.sessions.insert(all.sessions.end(), added.sessions.begin(), added.sessions.end());
    write_property(database, owner.place, owner.property, mirror_table_value(all));
  });
}

int VSDVS_GetDVMirrorSessions(char const *alias, char const *dvport_id, DVMirrorSessionTable **table) {
  NOTE_ARGUMENTS(alias, dvport_id, table);
  preset(table);
  return query([&](Database &database) {
    refuse_if(!table, QEL_BAD_PARAM);
    TableOwner const owner = table_owner(database, alias, dvport_id);
    *table = returned_value<DVMirrorSessionTable>(get_property(database, owner.place, owner.property));
  });
}

int VSDVS_RemoveDVMirrorSession(char const *alias, char const *dvport_id, char const *session_id) {
  NOTE_ARGUMENTS(alias, dvport_id, session_id);
  return update([&](Database &database) {
    std::string_view const sid = text_argument(session_id, sizeof(DVMirrorSession::sid));
    TableOwner const owner = table_owner(database, alias, dvport_id);
    MirrorTable table = configured_table(database, owner);
    std::size_t const removed = std::erase_if(
        table.sessions, [&](MirrorSession const &session) { return field_text(session.record.sid) == sid; });
    refuse_if(removed == 0, QEL_NOT_FOUND);
    write_property(database, owner.place, owner.property, mirror_table_value(table));
  });
}

int VSDVS_ClearDVMirrorSessions(char const *alias, char const *dvport_id) {
  NOTE_ARGUMENTS(alias, dvport_id);
  return update([&](Database &database) {
    TableOwner const owner = table_owner(database, alias, dvport_id);
    clear_property(database, owner.place, owner.property);
  });
}

int VSQEL_GetDVMirrorSessionIDs(char const *switch_name, VSDVMirrorSessionIDs **session_ids) {
  NOTE_ARGUMENTS(switch_name, session_ids);
  using Slot = char[32];
  preset(session_ids);
  return query([&](Database &database) {
    refuse_if(!session_ids, QEL_BAD_PARAM);
    RowId const vswitch = switch_by_any_name(database, switch_name_argument(switch_name));
    std::vector<std::string> const sids = running_mirror_sessions(database, vswitch);
    auto result = allocate_record<VSDVMirrorSessionIDs>(sids.size() * sizeof(Slot));
    for (std::string const &sid : sids)
      fill_text(elements_behind<Slot>(result.get())[result->numEntries++], sid);
    result->totalEntries = result->numEntries;
    *session_ids = result.release();
  });
}

int VSQEL_GetDVMirrorSessionStats(char const *switch_name, char const *session_id, VSDVMirrorSessionStats *stats) {
  NOTE_ARGUMENTS(switch_name, session_id, stats);
  return query([&](Database &database) {
    refuse_if(!stats, QEL_BAD_PARAM);
    std::string_view const sid = text_argument(session_id, sizeof(DVMirrorSession::sid));
    RowId const vswitch = switch_by_any_name(database, switch_name_argument(switch_name));
    SessionStatistics const session = mirror_session(database, vswitch, sid);
    VSDVMirrorSessionStats result{};
    result.mirrorPktCnt = session.statistics.copies;
    result.mirrorPktFailCnt = session.statistics.copies_failed;
    result.mirroredPkts = session.statistics.mirrored;
    result.discardedPkts = session.statistics.discarded;
    result.failedPkts = session.statistics.failed;
    fill_text(result.name, session.name);
    *stats = result;
  });
}

int VSQEL_GetPromiscSessionActiveDsts(char const *switch_name, VSPromiscSessionActiveDsts **destinations) {
  NOTE_ARGUMENTS(switch_name, destinations);
  preset(destinations);
  return query([&](Database &database) {
    refuse_if(!destinations, QEL_BAD_PARAM);
    RowId const vswitch = switch_by_any_name(database, switch_name_argument(switch_name));
    std::vector<RowId> const ports = promiscuous_ports(database, vswitch);
    auto result = allocate_record<VSPromiscSessionActiveDsts>(ports.size() * sizeof(qel_SwitchPortID));
    for (RowId const port : ports)
      elements_behind<qel_SwitchPortID>(result.get())[result->numEntries++] = static_cast<qel_SwitchPortID>(port);
    result->totalEntries = result->numEntries;
    *destinations = result.release();
  });
}
