// Calls on what the uplinks of a running switch do: link aggregation, teaming, announcements.
#include <cstring>

#include "platform/core/call.hpp"
#include "platform/core/lags.hpp"
#include "platform/core/memory.hpp"
#include "platform/core/text.hpp"
#include "platform/core/traffic.hpp"
#include "platform/core/uplink_choice.hpp"
#include "platform/vswitch/exports.hpp"

using namespace host;

namespace {

RowId switch_argument(Database &database, char const *switch_name) {
  return switch_by_any_name(database, switch_name_argument(switch_name));
}

// By its NIC, as scripts know uplinks from VSQEL_GetUplinks; by the uplink port where there is no NIC.
qel_Name uplink_name(Uplink const &uplink) {
  qel_Name name;
  fill_text(name.string, uplink.nic ? uplink.nic_name : uplink.name);
  return name;
}

template <typename Record>
void append_record(std::string &bytes, Record const &record) {
  bytes.append(reinterpret_cast<char const *>(&record), sizeof record);
}

void append_lag(std::string &bytes, Lag const &lag) {
  VSLAGStatus status{};
  status.id = static_cast<qel_uint32>(lag.number);
  fill_text(status.name, lag.name);
  std::string names;
  bool up = false;
  for (LagMember const &member : lag.members) {
    if (member.uplink.link_up)
      status.uplinkLinkupBitmap |= qel_uint64{1} << status.numUplinks;
    ++status.numUplinks;
    up = up || member.is_up();
    append_record(names, uplink_name(member.uplink));
  }
  status.state = static_cast<qel_LinkState>(up ? QEL_LINK_STATE_UP : QEL_LINK_STATE_DOWN);
  append_record(bytes, status);
  bytes += names;
}

}  // namespace

int VSQEL_GetLAGTable(char const *switch_name, VSLAGTable **table) {
  NOTE_ARGUMENTS(switch_name, table);
  preset(table);
  return query([&](Database &database) {
    refuse_if(!table, QEL_BAD_PARAM);
    std::vector<Lag> const lags = load_lags(database, switch_argument(database, switch_name));
    std::string bytes;
    for (Lag const &lag : lags)
      append_lag(bytes, lag);
    auto result = allocate_record<VSLAGTable>(bytes.size());
    result->numLAGs = static_cast<qel_uint32>(lags.size());
    std::memcpy(result.get() + 1, bytes.data(), bytes.size());
    *table = result.release();
  });
}

int VSQEL_GetUplinkLACPLinkState(char const *switch_name, char const *uplink, qel_LinkState *state) {
  NOTE_ARGUMENTS(switch_name, uplink, state);
  preset(state);
  return query([&](Database &database) {
    refuse_if(!state, QEL_BAD_PARAM);
    RowId const vswitch = switch_argument(database, switch_name);
    Uplink const target = find_uplink(database, vswitch, uplink_argument(uplink));
    std::optional<bool> const up = lacp_state(database, vswitch, target);
    refuse_if(!up, QEL_NOT_SUPPORTED);
    *state = static_cast<qel_LinkState>(*up ? QEL_LINK_STATE_UP : QEL_LINK_STATE_DOWN);
  });
}

int VSQEL_GetUplinkDVPortID(char const *uplink, char *dvport_id) {
  NOTE_ARGUMENTS(uplink, dvport_id);
  preset(dvport_id);
  return query([&](Database &database) {
    refuse_if(!dvport_id, QEL_BAD_PARAM);
    store_text(dvport_id, dvport_of_uplink(database, uplink_argument(uplink)));
  });
}

int VSQEL_PortGetTeamUplinkHint(qel_SwitchPortID port_id, qel_Name *uplink) {
  NOTE_ARGUMENTS(port_id, uplink);
  return query([&](Database &database) {
    refuse_if(!uplink, QEL_BAD_PARAM);
    *uplink = uplink_name(choose_uplink(database, port_id));
  });
}

int VSQEL_RefreshDevNUMAInfo(char const *switch_name) {
  NOTE_ARGUMENTS(switch_name);
  return update([&](Database &database) { refresh_numa_nodes(database, switch_argument(database, switch_name)); });
}

int VSQEL_GetServicePortTeamingStats(char const *switch_name, VSServicePortTeamingStats *stats) {
  NOTE_ARGUMENTS(switch_name, stats);
  return query([&](Database &database) {
    refuse_if(!stats, QEL_BAD_PARAM);
    RowId const vswitch = switch_argument(database, switch_name);
    SwitchCounters const counters = load_switch_counters(database, vswitch);
    VSServicePortTeamingStats const result{.txFromSrvPort = counters.service_port_tx,
                                           .txUsingSrvPortFRP = counters.service_port_tx_own_policy,
                                           .txUsingPktSrcPortFRP = counters.service_port_tx_source_policy,
                                           .txErrors = counters.service_port_tx_errors,
                                           .rxToSrvPort = counters.service_port_rx,
                                           .rxRpfOverride = counters.service_port_rx_override};
    *stats = result;
  });
}

int VSQEL_GetRARPStats(char const *switch_name, VSRARPStats *stats) {
  NOTE_ARGUMENTS(switch_name, stats);
  return query([&](Database &database) {
    refuse_if(!stats, QEL_BAD_PARAM);
    RowId const vswitch = switch_argument(database, switch_name);
    SwitchCounters const counters = load_switch_counters(database, vswitch);
    VSRARPStats const result{.rarpPktsSent = static_cast<qel_uint32>(counters.rarp_packets),
                             .maxRARPTime = static_cast<qel_uint32>(counters.rarp_longest),
                             .rarpTime = counters.rarp_time};
    *stats = result;
  });
}
