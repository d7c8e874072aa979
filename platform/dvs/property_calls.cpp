// Calls on properties with their property types: of ports, of switches on this host and globally, of uplinks.
#include "platform/core/call.hpp"
#include "platform/core/ports.hpp"
#include "platform/core/text.hpp"
#include "platform/core/typed_properties.hpp"
#include "platform/core/uplinks.hpp"
#include "platform/dvs/exports.hpp"
#include "platform/dvs/values.hpp"

using namespace host;

namespace {

enum class View { host, smartnic };

// `dvport_id` is used for a port's property only.
struct PropertyArguments {
  char const *alias;
  Scope scope;
  char const *dvport_id;
  char const *name;
};

PropertyPlace place_argument(Database &database, PropertyArguments const &arguments) {
  PropertyPlace place{switch_by_alias(database, alias_argument(arguments.alias)), arguments.scope};
  if (arguments.scope == Scope::port)
    place.port = port_by_id(database, place.vswitch, dvport_id_argument(arguments.dvport_id)).row;
  return place;
}

std::string value_in_view(Database &database, PropertyPlace const &place, std::string_view name, View view) {
  if (view == View::smartnic)
    return smartnic_value(database, place, name);
  if (place.scope == Scope::host)
    return host_value(database, place.vswitch, name);
  return get_property(database, place, name);
}

int get(PropertyArguments const &arguments, View view, void **data, int *length,
        char const *function = __builtin_FUNCTION()) {
  preset(data);
  preset(length);
  return query(
      [&](Database &database) {
        refuse_if(!data || !length, QEL_BAD_PARAM);
        std::string_view const name = text_argument(arguments.name, property_name_room);
        return_bytes(value_in_view(database, place_argument(database, arguments), name, view), data, length);
      },
      function);
}

int set(PropertyArguments const &arguments, void const *data, int length, qel_uint32 property_type,
        char const *function = __builtin_FUNCTION()) {
  return update(
      [&](Database &database) {
        std::string_view const name = new_name_argument(arguments.name, property_name_room);
        std::string_view const value = bytes_argument(data, length);
        set_typed_property(database, place_argument(database, arguments), name, value, property_type);
      },
      function);
}

int clear(PropertyArguments const &arguments, char const *function = __builtin_FUNCTION()) {
  return update(
      [&](Database &database) {
        std::string_view const name = text_argument(arguments.name, property_name_room);
        clear_property(database, place_argument(database, arguments), name);
      },
      function);
}

// The data of an uplink is kept at the port of its uplink port.
PropertyPlace uplink_place(Database &database, char const *alias, char const *uplink) {
  RowId const vswitch = switch_by_alias(database, alias_argument(alias));
  return {vswitch, Scope::port, find_uplink(database, vswitch, uplink_argument(uplink)).port};
}

}  // namespace

int DVSQEL_PortDataGet(char const *alias, char const *dvport_id, char const *name, void **data, int *length) {
  NOTE_ARGUMENTS(alias, dvport_id, name, data, length);
  return get({alias, Scope::port, dvport_id, name}, View::host, data, length);
}

int DVSQEL_SmartNICPortDataGet(char const *alias, char const *dvport_id, char const *name, void **data, int *length) {
  NOTE_ARGUMENTS(alias, dvport_id, name, data, length);
  return get({alias, Scope::port, dvport_id, name}, View::smartnic, data, length);
}

int DVSQEL_PortDataSet(char const *alias, char const *dvport_id, char const *name, void *data, int length,
                       qel_uint32 property_type) {
  NOTE_ARGUMENTS(alias, dvport_id, name, data, length, property_type);
  return set({alias, Scope::port, dvport_id, name}, data, length, property_type);
}

int DVSQEL_PortDataClear(char const *alias, char const *dvport_id, char const *name) {
  NOTE_ARGUMENTS(alias, dvport_id, name);
  return clear({alias, Scope::port, dvport_id, name});
}

int DVSQEL_HostPropGet(char const *alias, char const *name, void **data, int *length) {
  NOTE_ARGUMENTS(alias, name, data, length);
  return get({alias, Scope::host, nullptr, name}, View::host, data, length);
}

int DVSQEL_SmartNICHostPropGet(char const *alias, char const *name, void **data, int *length) {
  NOTE_ARGUMENTS(alias, name, data, length);
  return get({alias, Scope::host, nullptr, name}, View::smartnic, data, length);
}

int DVSQEL_HostPropSet(char const *alias, char const *name, void *data, int length, qel_uint32 property_type) {
  NOTE_ARGUMENTS(alias, name, data, length, property_type);
  return set({alias, Scope::host, nullptr, name}, data, length, property_type);
}

int DVSQEL_HostPropClear(char const *alias, char const *name) {
  NOTE_ARGUMENTS(alias, name);
  return clear({alias, Scope::host, nullptr, name});
}

int DVSQEL_GlobalPropGet(char const *alias, char const *name, void **data, int *length) {
  NOTE_ARGUMENTS(alias, name, data, length);
  return get({alias, Scope::global, nullptr, name}, View::host, data, length);
}

int DVSQEL_SmartNICGlobalPropGet(char const *alias, char const *name, void **data, int *length) {
  NOTE_ARGUMENTS(alias, name, data, length);
  return get({alias, Scope::global, nullptr, name}, View::smartnic, data, length);
}

int DVSQEL_GlobalPropSet(char const *alias, char const *name, void *data, int length, qel_uint32 property_type) {
  NOTE_ARGUMENTS(alias, name, data, length, property_type);
  return set({alias, Scope::global, nullptr, name}, data, length, property_type);
}

int DVSQEL_GlobalPropClear(char const *alias, char const *name) {
  NOTE_ARGUMENTS(alias, name);
  return clear({alias, Scope::global, nullptr, name});
}

int DVSQEL_UplinkDataGet(char const *alias, char const *uplink, qel_uint32 kind, void **data, int *length) {
  NOTE_ARGUMENTS(alias, uplink, kind, data, length);
  preset(data);
  preset(length);
  return query([&](Database &database) {
    refuse_if(!data || !length, QEL_BAD_PARAM);
    PropertyPlace const place = uplink_place(database, alias, uplink);
    return_bytes(get_property(database, place, uplink_data_name(kind)), data, length);
  });
}

int DVSQEL_UplinkDataSet(char const *alias, char const *uplink, qel_uint32 kind, void *data, int length,
                         qel_uint32 property_type) {
  NOTE_ARGUMENTS(alias, uplink, kind, data, length, property_type);
  return update([&](Database &database) {
    std::string_view const value = bytes_argument(data, length);
    PropertyPlace const place = uplink_place(database, alias, uplink);
    set_typed_property(database, place, uplink_data_name(kind), value, property_type);
  });
}
