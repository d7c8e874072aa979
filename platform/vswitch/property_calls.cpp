// The raw property calls: any property of a switch or a port, by name.
#include "platform/core/properties.hpp"

#include <cstring>

#include "platform/core/call.hpp"
#include "platform/core/ports.hpp"
#include "platform/core/text.hpp"
#include "platform/vswitch/exports.hpp"

using namespace host;

namespace {

constexpr std::size_t property_name_room = 256;
constexpr std::size_t owner_room = 128;

// What names a property in all of these calls. `dvport_id` is used for a port's property only.
struct PropertyArguments {
  char const *alias;
  Scope scope;
  char const *dvport_id;
  char const *name;
  char const *vendor;
  qel_Bool persistent;
};

PropertyPlace place_argument(Database &database, PropertyArguments const &arguments) {
  PropertyPlace place{switch_by_alias(database, alias_argument(arguments.alias)), arguments.scope};
  if (arguments.scope == Scope::port) {
    place.port = port_by_id(database, place.vswitch, dvport_id_argument(arguments.dvport_id)).row;
  }
  return place;
}

std::string_view owner_argument(PropertyArguments const &arguments) {
  return optional_text_argument(arguments.vendor, owner_room);
}

Lifetime lifetime_argument(PropertyArguments const &arguments) {
  return arguments.persistent ? Lifetime::persistent : Lifetime::until_boot;
}

int get(PropertyArguments const &arguments, HNQQuery *query_record, char const *function = __builtin_FUNCTION()) {
  return query(
      [&](Database &database) {
        std::string_view const name = text_argument(arguments.name, property_name_room);
        refuse_if(!query_record || query_record->propLen < 0, QEL_BAD_PARAM);
        refuse_if(!query_record->propValue && query_record->propLen > 0, QEL_BAD_PARAM);
        std::string const value = get_property(database, place_argument(database, arguments), name,
                                               lifetime_argument(arguments), owner_argument(arguments));
        refuse_if(value.size() > static_cast<std::size_t>(query_record->propLen), QEL_BUF_TOO_SMALL);
        if (query_record->propValue)
          std::memcpy(query_record->propValue, value.data(), value.size());
        query_record->propLen = static_cast<int>(value.size());
      },
      function);
}

int set(PropertyArguments const &arguments, void const *data, int length, std::int64_t type,
        char const *function = __builtin_FUNCTION()) {
  return update(
      [&](Database &database) {
        std::string_view const name = new_name_argument(arguments.name, property_name_room);
        refuse_if(length < 0 || (!data && length > 0), QEL_BAD_PARAM);
        set_property(database, place_argument(database, arguments), name,
                     {.value = {static_cast<char const *>(data), static_cast<std::size_t>(length)},
                      .owner = owner_argument(arguments),
                      .lifetime = lifetime_argument(arguments),
                      .type = type});
      },
      function);
}

int clear(PropertyArguments const &arguments, char const *function = __builtin_FUNCTION()) {
  return update(
      [&](Database &database) {
        std::string_view const name = text_argument(arguments.name, property_name_room);
        clear_property(database, place_argument(database, arguments), name, lifetime_argument(arguments),
                       owner_argument(arguments));
      },
      function);
}

}  // namespace

int VSDVS_GetGlobProp(char const *alias, char const *name, HNQQuery *query, char const *vendor, qel_Bool persistent) {
  NOTE_ARGUMENTS(alias, name, query, vendor, persistent);
  return get({alias, Scope::global, nullptr, name, vendor, persistent}, query);
}

int VSDVS_SetGlobProp(char const *alias, char const *name, void const *data, int length, char const *vendor,
                      qel_Bool persistent) {
  NOTE_ARGUMENTS(alias, name, data, length, vendor, persistent);
  return set({alias, Scope::global, nullptr, name, vendor, persistent}, data, length, CONFIG_PROP_TYPE);
}

int VSDVS_ClearGlobProp(char const *alias, char const *name, char const *vendor, qel_Bool persistent) {
  NOTE_ARGUMENTS(alias, name, vendor, persistent);
  return clear({alias, Scope::global, nullptr, name, vendor, persistent});
}

int VSDVS_GetHostProp(char const *alias, char const *name, HNQQuery *query, char const *vendor, qel_Bool persistent) {
  NOTE_ARGUMENTS(alias, name, query, vendor, persistent);
  return get({alias, Scope::host, nullptr, name, vendor, persistent}, query);
}

int VSDVS_SetHostProp(char const *alias, char const *name, void const *data, int length, char const *vendor,
                      qel_Bool persistent) {
  NOTE_ARGUMENTS(alias, name, data, length, vendor, persistent);
  return set({alias, Scope::host, nullptr, name, vendor, persistent}, data, length, CONFIG_PROP_TYPE);
}

int VSDVS_SetRuntimeHostProp(char const *alias, char const *name, void const *data, int length, char const *vendor,
                             qel_Bool persistent) {
  NOTE_ARGUMENTS(alias, name, data, length, vendor, persistent);
  return set({alias, Scope::host, nullptr, name, vendor, persistent}, data, length, RUNTIME_PROP_TYPE);
}

int VSDVS_ClearHostProp(char const *alias, char const *name, char const *vendor, qel_Bool persistent) {
  NOTE_ARGUMENTS(alias, name, vendor, persistent);
  return clear({alias, Scope::host, nullptr, name, vendor, persistent});
}

int VSDVS_GetPortProp(char const *alias, char const *dvport_id, char const *name, HNQQuery *query, char const *vendor,
                      qel_Bool persistent) {
  NOTE_ARGUMENTS(alias, dvport_id, name, query, vendor, persistent);
  return get({alias, Scope::port, dvport_id, name, vendor, persistent}, query);
}

int VSDVS_SetPortProp(char const *alias, char const *dvport_id, char const *name, void const *data, int length,
                      char const *vendor, qel_Bool persistent) {
  NOTE_ARGUMENTS(alias, dvport_id, name, data, length, vendor, persistent);
  return set({alias, Scope::port, dvport_id, name, vendor, persistent}, data, length, CONFIG_PROP_TYPE);
}

int VSDVS_ClearPortProp(char const *alias, char const *dvport_id, char const *name, char const *vendor,
                        qel_Bool persistent) {
  NOTE_ARGUMENTS(alias, dvport_id, name, vendor, persistent);
  return clear({alias, Scope::port, dvport_id, name, vendor, persistent});
}
