// Calls on MAC learning, the MAC tables and the static entries made from them.
#include <cstring>

#include "platform/core/call.hpp"
#include "platform/core/mac_table.hpp"
#include "platform/core/memory.hpp"
#include "platform/core/port_policies.hpp"
#include "platform/core/text.hpp"
#include "platform/vswitch/exports.hpp"

using namespace host;

namespace {

constexpr qel_VlanID most_vid = 4095;

RowId switch_argument(Database &database, char const *switch_name) {
  return switch_by_any_name(database, switch_name_argument(switch_name));
}

Port port_argument(Database &database, RowId vswitch, char const *dvport_id) {
  return port_by_id(database, vswitch, dvport_id_argument(dvport_id));
}

void refuse_address_type(VSMACAddrType type) {
  refuse_if(type > VS_MAC_ADDR_TYPE_ALL, QEL_BAD_PARAM);
}

VSMACTable *mac_table_record(std::vector<MacEntry> const &entries, VSMACAddrType type) {
  auto table = allocate_record<VSMACTable>(entries.size() * sizeof(VSMACEntry));
  table->totalEntries = static_cast<qel_uint32>(entries.size());
  for (MacEntry const &entry : entries) {
    if (type != VS_MAC_ADDR_TYPE_ALL && entry.type != type)
      continue;
    VSMACEntry record{};
    std::memcpy(record.macAddress, entry.key.mac.data(), sizeof record.macAddress);
    record.macAddrType = static_cast<VSMACAddrType>(entry.type);
    record.portID = static_cast<qel_SwitchPortID>(entry.port);
    record.aging = static_cast<qel_Bool>(entry.aging);
    record.vid = static_cast<qel_VlanID>(entry.key.vid);
    record.vni = static_cast<qel_uint32>(entry.key.vni);
    record.elapsed = static_cast<qel_uint32>(entry.elapsed);
    record.macMove = static_cast<qel_uint32>(entry.moves);
    std::memcpy(elements_behind<unsigned char>(table.get()) + table->numEntries++ * sizeof record, &record,
                sizeof record);
  }
  return table.release();
}

MacKey key_argument(VSMACEntry const *entry) {
  refuse_if(!entry, QEL_BAD_PARAM);
  MacKey key{{}, entry->vid, entry->vni};
  std::memcpy(key.mac.data(), entry->macAddress, key.mac.size());
  constexpr unsigned char multicast = 1;
  refuse_if((key.mac[0] & multicast) != 0 || key.mac == MacAddress{}, QEL_INVALID_ADDRESS);
  refuse_if(key.vid >= most_vid, QEL_BAD_VLANID);
  refuse_if(key.vni > QEL_VIRTUAL_NETWORK_ID_MAX, QEL_BAD_PARAM);
  return key;
}

void add_up(VSPMACLearningStats &sum, VSPMACLearningStats const &stats) {
  sum.numMACsLearned += stats.numMACsLearned;
  sum.noLearningAllowedPkts += stats.noLearningAllowedPkts;
  sum.noLearningDroppedPkts += stats.noLearningDroppedPkts;
  sum.numMACsMoved += stats.numMACsMoved;
}

// A list with one entry for each port of the switch that is no uplink, in the order of their numbers. The call's name
// is that of the function that this is called from.
template <typename Entry, typename List, typename Fill>
int list_ports(char const *switch_name, List **all, Fill &&fill, char const *function = __builtin_FUNCTION()) {
  preset(all);
  return query(
      [&](Database &database) {
        refuse_if(!all, QEL_BAD_PARAM);
        RowId const vswitch = switch_argument(database, switch_name);
        std::vector<PortRow> const ports = load_ports(database, vswitch);
        auto list = allocate_record<List>(ports.size() * sizeof(Entry));
        for (PortRow const &port : ports) {
          if (port.client.is_uplink())
            continue;
          Entry entry{};
          entry.portID = static_cast<qel_SwitchPortID>(port.row);
          fill(entry, database, vswitch, port.row);
          std::memcpy(elements_behind<unsigned char>(list.get()) + list->numEntries++ * sizeof entry, &entry,
                      sizeof entry);
        }
        list->totalEntries = list->numEntries;
        *all = list.release();
      },
      function);
}

// The entries of the ports of a switch, or of its uplinks. The call's name as above.
int mac_table(char const *switch_name, VSMACAddrType address_type, VSMACTable **table, TableSide side,
              char const *function = __builtin_FUNCTION()) {
  preset(table);
  return query(
      [&](Database &database) {
        refuse_if(!table, QEL_BAD_PARAM);
        RowId const vswitch = switch_argument(database, switch_name);
        refuse_address_type(address_type);
        *table = mac_table_record(load_mac_table(database, vswitch, side), address_type);
      },
      function);
}

VSStaticLeCtxEntries *static_entries_record(std::vector<StaticEntry> const &entries) {
  auto list = allocate_record<VSStaticLeCtxEntries>(entries.size() * sizeof(VSStaticLEEntry));
  for (StaticEntry const &entry : entries) {
    VSStaticLEEntry record{};
    std::memcpy(record.vlanBitmap.bits, entry.vlans.data(), sizeof record.vlanBitmap.bits);
    record.isTrunkVNI = static_cast<qel_Bool>(entry.is_trunk);
    record.isVdrMac = static_cast<qel_Bool>(entry.is_router);
    record.vni = static_cast<qel_uint32>(entry.vni);
    std::memcpy(record.macAddress, entry.mac.data(), sizeof record.macAddress);
    record.macAddrType = static_cast<VSMACAddrType>(entry.type);
    record.portID = static_cast<qel_SwitchPortID>(entry.port);
    std::memcpy(elements_behind<unsigned char>(list.get()) + list->numEntries++ * sizeof record, &record,
                sizeof record);
  }
  list->totalEntries = list->numEntries;
  return list.release();
}

}  // namespace

int VSQEL_GetGlobalMACLearningProps(VSMACLearningGlobalProps *props) {
  NOTE_ARGUMENTS(props);
  return query([&](Database &database) {
    refuse_if(!props, QEL_BAD_PARAM);
    *props = global_learning_settings(database);
  });
}

int VSQEL_SetGlobalMACLearningProps(VSMACLearningGlobalProps *props) {
  NOTE_ARGUMENTS(props);
  return update([&](Database &database) {
    refuse_if(!props, QEL_BAD_PARAM);
    set_global_learning_settings(database, *props);
    forget_all_aged(database);
  });
}

int VSQEL_GetSwitchMACLearningInfo(char const *switch_name, VSMACLearningSwitchInfo *info) {
  NOTE_ARGUMENTS(switch_name, info);
  return query([&](Database &database) {
    refuse_if(!info, QEL_BAD_PARAM);
    RowId const vswitch = switch_argument(database, switch_name);
    VSMACLearningSwitchInfo result{};
    LearningSettings const settings = learning_settings(database, vswitch);
    result.agingTime = settings.aging_time;
    result.macLimit = settings.mac_limit;
    result.teamMACLearning = team_learning_policy(database, vswitch);
    result.teamAllowedPktsWithPortLimit = load_switch_counters(database, vswitch).team_allowed_at_port_limit;
    for (PortRow const &port : load_ports(database, vswitch)) {
      if (port.client.is_uplink()) {
        add_up(result.teamMACLearningStats, port_learning_stats(database, vswitch, port.row));
        continue;
      }
      VSPMACLearning const policy = port_learning_policy(database, vswitch, port.row);
      bool const is_sink = is_sink_port(database, {vswitch, Scope::port, port.row});
      result.numLearningPorts += policy.learning != 0;
      result.numMACsLearned += static_cast<qel_uint32>(count_learned(database, vswitch, port.row));
      result.noOfPortsMACLimitHit += policy.learning && has_mac_entries(database, vswitch, port.row, policy.macLimit);
      result.numSinkPorts += is_sink;
      result.numSinkAndFloodingPorts += is_sink || policy.flooding;
    }
    result.teamNumMACsLearned = result.teamMACLearningStats.numMACsLearned;
    *info = result;
  });
}

int VSQEL_GetMACLearningAllPorts(char const *switch_name, VSMACLearningEntries **entries) {
  NOTE_ARGUMENTS(switch_name, entries);
  return list_ports<VSPMACLearningInfo>(switch_name, entries,
                                        [](VSPMACLearningInfo &entry, Database &database, RowId vswitch, RowId port) {
                                          entry.portMACLearning = port_learning_policy(database, vswitch, port);
                                        });
}

int VSQEL_GetSwitchMACLearningStats(char const *switch_name, VSMACLearningStats **stats) {
  NOTE_ARGUMENTS(switch_name, stats);
  return list_ports<VSPMACLearningStatsPortInfo>(
      switch_name, stats, [](VSPMACLearningStatsPortInfo &entry, Database &database, RowId vswitch, RowId port) {
        entry.portStats = port_learning_stats(database, vswitch, port);
      });
}

int VSQEL_GetPortMACLearningStats(char const *switch_name, char const *dvport_id, VSPMACLearningStats *stats) {
  NOTE_ARGUMENTS(switch_name, dvport_id, stats);
  return query([&](Database &database) {
    refuse_if(!stats, QEL_BAD_PARAM);
    RowId const vswitch = switch_argument(database, switch_name);
    *stats = port_learning_stats(database, vswitch, port_argument(database, vswitch, dvport_id).row);
  });
}

int VSQEL_GetMACTable(char const *switch_name, VSMACAddrType address_type, VSMACTable **table) {
  NOTE_ARGUMENTS(switch_name, address_type, table);
  return mac_table(switch_name, address_type, table, TableSide::ports);
}

int VSQEL_GetTeamMACTable(char const *switch_name, VSMACAddrType address_type, VSMACTable **table) {
  NOTE_ARGUMENTS(switch_name, address_type, table);
  return mac_table(switch_name, address_type, table, TableSide::team);
}

int VSQEL_GetPortMACTable(char const *switch_name, char const *dvport_id, VSMACAddrType address_type,
                          VSMACTable **table) {
  NOTE_ARGUMENTS(switch_name, dvport_id, address_type, table);
  preset(table);
  return query([&](Database &database) {
    refuse_if(!table, QEL_BAD_PARAM);
    RowId const vswitch = switch_argument(database, switch_name);
    Port const port = port_argument(database, vswitch, dvport_id);
    refuse_address_type(address_type);
    *table = mac_table_record(load_port_mac_table(database, vswitch, port.row), address_type);
  });
}

int VSQEL_SetPortMACTable(char const *switch_name, char const *dvport_id, VSMACEntry const *entry) {
  NOTE_ARGUMENTS(switch_name, dvport_id, entry);
  return update([&](Database &database) {
    MacKey const key = key_argument(entry);
    refuse_if(entry->macAddrType != VS_MAC_ADDR_TYPE_STATIC && entry->macAddrType != VS_MAC_ADDR_TYPE_USER,
              QEL_BAD_PARAM);
    RowId const vswitch = switch_argument(database, switch_name);
    add_mac_entry(database, vswitch, port_argument(database, vswitch, dvport_id), key);
  });
}

int VSQEL_ClearPortMACTable(char const *switch_name, char const *dvport_id, VSMACEntry const *entry) {
  NOTE_ARGUMENTS(switch_name, dvport_id, entry);
  return update([&](Database &database) {
    MacKey const key = key_argument(entry);
    refuse_address_type(entry->macAddrType);
    // A new record says static, and what can be removed under that name was set by hand.
    std::int64_t const type =
        entry->macAddrType == VS_MAC_ADDR_TYPE_STATIC ? VS_MAC_ADDR_TYPE_USER : entry->macAddrType;
    RowId const vswitch = switch_argument(database, switch_name);
    remove_mac_entry(database, vswitch, port_argument(database, vswitch, dvport_id).row, key, type);
  });
}

int VSQEL_GetStaticLectx(char const *switch_name, VSStaticLeCtxEntries **entries) {
  NOTE_ARGUMENTS(switch_name, entries);
  preset(entries);
  return query([&](Database &database) {
    refuse_if(!entries, QEL_BAD_PARAM);
    *entries = static_entries_record(load_static_entries(database, switch_argument(database, switch_name), no_port));
  });
}

int VSQEL_GetPortStaticLectx(char const *switch_name, char const *dvport_id, VSStaticLeCtxEntries **entries) {
  NOTE_ARGUMENTS(switch_name, dvport_id, entries);
  preset(entries);
  return query([&](Database &database) {
    refuse_if(!entries, QEL_BAD_PARAM);
    RowId const vswitch = switch_argument(database, switch_name);
    Port const port = port_argument(database, vswitch, dvport_id);
    *entries = static_entries_record(load_static_entries(database, vswitch, port.row));
  });
}
