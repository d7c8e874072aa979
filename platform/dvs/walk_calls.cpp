// Handles of the state: finding switches, ports and properties, walking over them, and what a handle tells.
#include "platform/core/call.hpp"
#include "platform/core/host.hpp"
#include "platform/core/switch_state.hpp"
#include "platform/core/text.hpp"
#include "platform/dvs/exports.hpp"
#include "platform/dvs/handles.hpp"

using namespace host;

namespace {

// A query that gives or takes handles.
template <typename Body>
Status query_handles(Body &&body, char const *function = __builtin_FUNCTION()) {
  return query(
      [&](Database &database) {
        forget_handles_of_former_state(database);
        body(database);
      },
      function);
}

// Whether what a handle is for is still there; elements that went during a walk are passed over.
bool is_switch_there(Database &database, void *handle) {
  return has_switch(database, switch_of(handle));
}

bool is_port_there(Database &database, void *handle) {
  return !dvport_id_of(database, port_of(handle).port).empty();
}

bool is_there(Database &, void *) {
  return true;
}

using IsThere = bool (*)(Database &, void *);

Outcome next_element(WalkNumber walk, IsThere is_element_there, void *&element) {
  Outcome const outcome = query_part([&](Database &database) {
    forget_handles_of_former_state(database);
    do {
      element = next_of_walk(walk);
    } while (element && !is_element_there(database, element));
  });
  if (outcome.status != QEL_OK)
    element = nullptr;
  return outcome;
}

// `begin` gives the walk in a transaction; the calls are made outside of it.
template <typename Callback, typename Begin>
void for_each(Callback callback, void *context, IsThere is_element_there, Begin &&begin,
              char const *function = __builtin_FUNCTION()) {
  if (!callback)
    return;
  WalkNumber walk = 0;
  if (query_handles([&](Database &database) { walk = begin(database); }, function) != QEL_OK)
    return;
  void *element = nullptr;
  Outcome outcome;
  do {
    outcome = next_element(walk, is_element_there, element);
  } while (element && callback(element, context) == 0);
  {
    HostLock const lock;
    end_walk(walk);
  }
  end_call(outcome);
}

// A stale handle is refused as one that never was.
Switch switch_at(Database &database, DVSwitchHandle handle) {
  return load_switch(database, switch_of(handle));
}

PortKey port_at(Database &database, DVSPortHandle handle) {
  PortKey const port = port_of(handle);
  refuse_if(!is_port_there(database, handle), QEL_INVALID_HANDLE);
  return port;
}

void for_each_property(DVSwitchHandle vswitch, Scope scope, DVSPortDataCallback callback, void *context,
                       char const *function = __builtin_FUNCTION()) {
  auto const begin = [&](Database &database) {
    return begin_item_walk(stored_properties(database, {switch_at(database, vswitch).row, scope}, Values::in_effect));
  };
  for_each(callback, context, is_there, begin, function);
}

int look_up(char const *alias, Scope scope, char const *name, DVSDataItem *item,
            char const *function = __builtin_FUNCTION()) {
  preset(item);
  return query_handles(
      [&](Database &database) {
        refuse_if(!item, QEL_BAD_PARAM);
        std::string_view const key = text_argument(name, property_name_room);
        PropertyPlace const place{switch_by_alias(database, alias_argument(alias)), scope};
        *item = item_handle(place, lookup_property(database, place, key));
      },
      function);
}

char const *switch_text(DVSwitchHandle handle, std::string Switch::*text, char const *function = __builtin_FUNCTION()) {
  char const *result = nullptr;
  query_handles([&](Database &database) { result = text_of_handle(handle, switch_at(database, handle).*text); },
                function);
  return result;
}

}  // namespace

void DVSState_SwitchForEach(DVSwitchCallback callback, void *context) {
  NOTE_ARGUMENTS(callback, context);
  for_each(callback, context, is_switch_there, [](Database &database) {
    std::vector<void *> handles;
    for (Switch const &vswitch : load_switches(database))
      handles.push_back(switch_handle(vswitch.row));
    return begin_walk(std::move(handles));
  });
}

void DVSState_PortForEach(DVSwitchHandle vswitch, DVSPortCallback callback, void *context) {
  NOTE_ARGUMENTS(vswitch, callback, context);
  for_each(callback, context, is_port_there, [&](Database &database) {
    RowId const row = switch_at(database, vswitch).row;
    std::vector<void *> handles;
    for (PortRow const &port : load_ports(database, row))
      handles.push_back(port_handle({row, port.row}));
    return begin_walk(std::move(handles));
  });
}

void DVSState_HostPropForEach(DVSwitchHandle vswitch, DVSPortDataCallback callback, void *context) {
  NOTE_ARGUMENTS(vswitch, callback, context);
  for_each_property(vswitch, Scope::host, callback, context);
}

void DVSState_GlobalPropForEach(DVSwitchHandle vswitch, DVSPortDataCallback callback, void *context) {
  NOTE_ARGUMENTS(vswitch, callback, context);
  for_each_property(vswitch, Scope::global, callback, context);
}

void DVSState_PortDataForEach(DVSPortHandle port, DVSPortDataCallback callback, void *context) {
  NOTE_ARGUMENTS(port, callback, context);
  for_each(callback, context, is_there, [&](Database &database) {
    PortKey const key = port_at(database, port);
    return begin_item_walk(stored_properties(database, {key.vswitch, Scope::port, key.port}, Values::in_effect));
  });
}

DVSwitchHandle DVSState_SwitchFindByAlias(char const *alias) {
  NOTE_ARGUMENTS(alias);
  DVSwitchHandle handle = nullptr;
  query_handles([&](Database &database) { handle = switch_handle(switch_by_alias(database, alias_argument(alias))); });
  return handle;
}

DVSPortHandle DVSState_PortFind(char const *alias, char const *dvport_id) {
  NOTE_ARGUMENTS(alias, dvport_id);
  DVSPortHandle handle = nullptr;
  query_handles([&](Database &database) {
    RowId const vswitch = switch_by_alias(database, alias_argument(alias));
    handle = port_handle({vswitch, port_by_id(database, vswitch, dvport_id_argument(dvport_id)).row});
  });
  return handle;
}

int DVSState_GlobalPropLookup(char const *alias, char const *name, DVSDataItem *item) {
  NOTE_ARGUMENTS(alias, name, item);
  return look_up(alias, Scope::global, name, item);
}

int DVSState_HostPropLookup(char const *alias, char const *name, DVSDataItem *item) {
  NOTE_ARGUMENTS(alias, name, item);
  return look_up(alias, Scope::host, name, item);
}

char const *DVS_SwitchName(DVSwitchHandle vswitch) {
  NOTE_ARGUMENTS(vswitch);
  return switch_text(vswitch, &Switch::alias);
}

char const *DVS_SwitchId(DVSwitchHandle vswitch) {
  NOTE_ARGUMENTS(vswitch);
  return switch_text(vswitch, &Switch::switch_id);
}

char const *DVS_ClassName(DVSwitchHandle vswitch) {
  NOTE_ARGUMENTS(vswitch);
  return switch_text(vswitch, &Switch::class_name);
}

unsigned int DVS_Version(DVSwitchHandle vswitch) {
  NOTE_ARGUMENTS(vswitch);
  unsigned int version = 0;
  query_handles([&](Database &database) { version = static_cast<unsigned int>(switch_at(database, vswitch).version); });
  return version;
}

int DVS_GetMaxPorts(DVSwitchHandle vswitch) {
  NOTE_ARGUMENTS(vswitch);
  int most = 0;
  query_handles([&](Database &database) { most = static_cast<int>(switch_at(database, vswitch).max_ports); });
  return most;
}

// The property may hold any bytes: its text ends at the first zero, and at the greatest length of an alias.
char const *DVS_PortAlias(DVSPortHandle port) {
  NOTE_ARGUMENTS(port);
  char const *result = nullptr;
  query_handles([&](Database &database) {
    PortKey const key = port_at(database, port);
    std::string alias = get_property(database, {key.vswitch, Scope::port, key.port}, QEL_HNQPROP_PORT_ALIAS);
    alias.resize(strnlen(alias.data(), std::min<std::size_t>(alias.size(), QEL_HNQ_PORT_ALIAS_MAX_LEN - 1)));
    refuse_if(alias.empty(), QEL_NOT_FOUND);
    result = text_of_handle(port, alias);
  });
  return result;
}

char const *DVS_PortId(DVSPortHandle port) {
  NOTE_ARGUMENTS(port);
  char const *result = nullptr;
  query_handles([&](Database &database) {
    PortKey const key = port_at(database, port);
    result = text_of_handle(port, dvport_id_of(database, key.port));
  });
  return result;
}

unsigned int DVSData_Data(DVSDataItem item, void **value) {
  NOTE_ARGUMENTS(item, value);
  preset(value);
  unsigned int length = 0;
  query_handles([&](Database &) {
    refuse_if(!value, QEL_BAD_PARAM);
    std::string const &bytes = property_of(item).value;
    // The place is the caller's, the bytes stay the library's.
    *value = const_cast<char *>(bytes.data());
    length = static_cast<unsigned int>(bytes.size());
  });
  return length;
}

char const *DVSData_Name(DVSDataItem item) {
  NOTE_ARGUMENTS(item);
  char const *name = nullptr;
  query_handles([&](Database &) { name = property_of(item).name.c_str(); });
  return name;
}

unsigned int DVSData_PropType(DVSDataItem item) {
  NOTE_ARGUMENTS(item);
  unsigned int type = 0;
  query_handles([&](Database &) { type = property_of(item).type; });
  return type;
}

qel_Bool DVSData_IsSamePropType(DVSDataItem item, qel_uint32 property_type) {
  NOTE_ARGUMENTS(item, property_type);
  unsigned int type = 0;
  query_handles([&](Database &) { type = property_of(item).type; });
  return property_type != 0 && (type & property_type) == property_type ? 1 : 0;
}
