// Calls on multicast: the addresses that users set, and what ports receive.
#include "platform/core/multicast.hpp"

#include <algorithm>

#include "platform/vswitch/property_views.hpp"

using namespace host;

namespace {

// By number, but on the switch that the call names.
NumberedPort port_on_switch(Database &database, char const *switch_name, qel_SwitchPortID port_id) {
  RowId const vswitch = switch_by_any_name(database, switch_name_argument(switch_name));
  NumberedPort const port = port_by_number(database, port_id);
  refuse_if(port.vswitch != vswitch, QEL_NOT_FOUND);
  return port;
}

// Copies the addresses behind a record's fixed part.
template <typename Record>
OwnedRecord<Record> record_with_addresses(std::vector<std::string> const &addresses) {
  std::size_t const size = addresses.empty() ? 0 : addresses.front().size();
  auto record = allocate_record<Record>(addresses.size() * size);
  char *target = elements_behind<char>(record.get());
  for (std::string const &address : addresses) {
    target = std::copy_n(address.data(), size, target);
  }
  record->numEntries = static_cast<qel_uint32>(addresses.size());
  record->totalEntries = record->numEntries;
  return record;
}

}  // namespace

int VSDVS_SetMcastUserLegacyEntries(char const *alias, int count, VSMACEntries *entries) {
  NOTE_ARGUMENTS(alias, count, entries);
  return update([&](Database &database) {
    PropertyPlace const place = switch_argument(database, alias);
    write_property(database, place, VSPROP_USER_MCAST_ADDRESSES, user_addresses_value(count, entries));
  });
}

int VSDVS_GetMcastUserLegacyEntries(char const *alias, VSUserMcastLegacyKeys **keys) {
  NOTE_ARGUMENTS(alias, keys);
  preset(keys);
  return query([&](Database &database) {
    refuse_if(!keys, QEL_BAD_PARAM);
    *keys = returned_value<VSUserMcastLegacyKeys>(
        get_property(database, switch_argument(database, alias), VSPROP_USER_MCAST_ADDRESSES));
  });
}

int VSDVS_ClearMcastUserLegacyEntries(char const *alias) {
  NOTE_ARGUMENTS(alias);
  return clear_value(OfSwitch{alias}, VSPROP_USER_MCAST_ADDRESSES);
}

int VSDVS_SetPortMcastUserLegacyEntries(char const *alias, char const *dvport_id, int count, VSMACEntries *entries) {
  NOTE_ARGUMENTS(alias, dvport_id, count, entries);
  return update([&](Database &database) {
    PropertyPlace const place = port_argument(database, alias, dvport_id);
    write_property(database, place, VSPROP_PORT_USER_MCAST_ADDRESSES, user_addresses_value(count, entries));
  });
}

int VSDVS_GetPortMcastUserLegacyEntries(char const *alias, char const *dvport_id, VSUserMcastLegacyKeys **keys) {
  NOTE_ARGUMENTS(alias, dvport_id, keys);
  preset(keys);
  return query([&](Database &database) {
    refuse_if(!keys, QEL_BAD_PARAM);
    *keys = returned_value<VSUserMcastLegacyKeys>(
        get_property(database, port_argument(database, alias, dvport_id), VSPROP_PORT_USER_MCAST_ADDRESSES));
  });
}

int VSDVS_ClearPortMcastUserLegacyEntries(char const *alias, char const *dvport_id) {
  NOTE_ARGUMENTS(alias, dvport_id);
  return clear_value(OfPort{alias, dvport_id}, VSPROP_PORT_USER_MCAST_ADDRESSES);
}

int VSQEL_GetMcastFilters(char const *switch_name, qel_SwitchPortID port_id, VSMcastFilterMode mode,
                          VSMcastFilters **filters) {
  NOTE_ARGUMENTS(switch_name, port_id, mode, filters);
  preset(filters);
  return query([&](Database &database) {
    refuse_if(!filters, QEL_BAD_PARAM);
    NumberedPort const port = port_on_switch(database, switch_name, port_id);
    *filters = record_with_addresses<VSMcastFilters>(multicast_filters(database, port, mode)).release();
  });
}

// `group` may lie at any address: it is the buffer of a bytes object.
int VSQEL_GetMcastFilterStats(char const *switch_name, qel_SwitchPortID port_id, VSMcastFilterMode mode,
                              void const *group, VSMcastFilterStats **stats) {
  NOTE_ARGUMENTS(switch_name, port_id, mode, group, stats);
  preset(stats);
  return query([&](Database &database) {
    refuse_if(!stats || !group, QEL_BAD_PARAM);
    NumberedPort const port = port_on_switch(database, switch_name, port_id);
    std::string_view const address(static_cast<char const *>(group), group_address_size(mode));
    JoinedGroup const joined = joined_group(database, port, mode, address);
    auto record = record_with_addresses<VSMcastFilterStats>(joined.group.sources);
    record->version = joined.group.version;
    record->srcIPFilterMode = joined.group.source_mode;
    record->updateTime = static_cast<qel_uint64>(joined.updated);
    record->vni = joined.group.vni;
    *stats = record.release();
  });
}
