// The handles that the library has handed out.
#include "platform/dvs/handles.hpp"

#include <atomic>
#include <memory>
#include <optional>
#include <set>
#include <tuple>
#include <unordered_map>

#include "platform/core/host.hpp"
#include "platform/core/host_row.hpp"

namespace host {

namespace {

using HandleNumber = std::uintptr_t;
using ItemKey = std::tuple<RowId, Scope, RowId, std::string>;

struct StateHandle {
  std::optional<PortKey> port;  // of a switch: port 0
  bool is_switch = false;
  std::optional<StoredProperty> property;
  std::set<std::string, std::less<>> texts;  // their nodes stay where they are
};

struct Walk {
  std::vector<void *> elements;
  std::size_t next = 0;
  bool owns_items = false;
};

struct HandleTable {
  // The state that the handles are into.
  std::string state_id;
  std::unordered_map<HandleNumber, StateHandle> state;
  std::unordered_map<RowId, HandleNumber> switches;
  std::unordered_map<RowId, HandleNumber> ports;
  std::map<ItemKey, HandleNumber> items;
  std::unordered_map<HandleNumber, std::unique_ptr<PropertyList>> lists;
  std::unordered_map<WalkNumber, Walk> walks;
};

// Never used twice, whatever host gives them: those of one host are stale for another. Odd, so that no address of a
// record is taken for one.
std::atomic<HandleNumber> last_number = 0x5157001;
std::atomic<WalkNumber> last_walk = 0;

// That of the host whose call this is.
HandleTable &table() {
  std::shared_ptr<void> &handles = HostLock::locked().handles;
  if (!handles)
    handles = std::make_shared<HandleTable>();
  return *static_cast<HandleTable *>(handles.get());
}

HandleNumber next_number() {
  return last_number += 2;
}

void *as_handle(HandleNumber number) {
  return reinterpret_cast<void *>(number);
}

HandleNumber as_number(void *handle) {
  return reinterpret_cast<HandleNumber>(handle);
}

// The handle that has the number. Where it has none yet it gets one, once all that needs memory is done.
void *handle_for(HandleNumber &number, StateHandle handle) {
  if (number == 0) {
    HandleNumber const made = next_number();
    table().state.emplace(made, std::move(handle));
    number = made;
  }
  return as_handle(number);
}

StateHandle &state_handle(void *handle) {
  auto const found = table().state.find(as_number(handle));
  refuse_if(found == table().state.end(), QEL_INVALID_HANDLE);
  return found->second;
}

}  // namespace

DVSwitchHandle switch_handle(RowId vswitch) {
  return handle_for(table().switches[vswitch], {PortKey{vswitch, 0}, true, {}, {}});
}

DVSPortHandle port_handle(PortKey port) {
  return handle_for(table().ports[port.port], {port, false, {}, {}});
}

RowId switch_of(DVSwitchHandle handle) {
  StateHandle const &found = state_handle(handle);
  refuse_if(!found.is_switch, QEL_INVALID_HANDLE);
  return found.port->vswitch;
}

PortKey port_of(DVSPortHandle handle) {
  StateHandle const &found = state_handle(handle);
  refuse_if(!found.port || found.is_switch, QEL_INVALID_HANDLE);
  return *found.port;
}

StoredProperty const &property_of(DVSDataItem handle) {
  StateHandle const &found = state_handle(handle);
  refuse_if(!found.property, QEL_INVALID_HANDLE);
  return *found.property;
}

char const *text_of_handle(void *handle, std::string_view text) {
  return state_handle(handle).texts.emplace(text).first->c_str();
}

DVSDataItem item_handle(PropertyPlace const &place, StoredProperty property) {
  HandleNumber &number = table().items[{place.vswitch, place.scope, place.port, property.name}];
  void *const handle = handle_for(number, {});
  std::optional<StoredProperty> &kept = state_handle(handle).property;
  // A value that is still the same stays where it is.
  if (kept && kept->value == property.value) {
    kept->type = property.type;
  } else {
    kept = std::move(property);
  }
  return handle;
}

void forget_state_handles() {
  table().state.clear();
  table().switches.clear();
  table().ports.clear();
  table().items.clear();
  table().walks.clear();
}

void forget_handles_of_former_state(Database &database) {
  std::string present = state_id(database);
  if (table().state_id == present)
    return;
  forget_state_handles();
  table().state_id = std::move(present);
}

DVSDataHandle list_handle(DVSData_MemAlloc allocate, DVSData_MemFree release) {
  HandleNumber const number = next_number();
  table().lists.emplace(number, std::make_unique<PropertyList>(PropertyList{allocate, release, {}}));
  return as_handle(number);
}

PropertyList &list_of(DVSDataHandle handle) {
  auto const found = table().lists.find(as_number(handle));
  refuse_if(found == table().lists.end(), QEL_INVALID_HANDLE);
  return *found->second;
}

PropertyList *take_list(DVSDataHandle handle) {
  auto const found = table().lists.find(as_number(handle));
  if (found == table().lists.end())
    return nullptr;
  PropertyList *const list = found->second.release();
  table().lists.erase(found);
  return list;
}

WalkNumber begin_walk(std::vector<void *> elements) {
  WalkNumber const walk = ++last_walk;
  table().walks[walk].elements = std::move(elements);
  return walk;
}

WalkNumber begin_item_walk(std::vector<StoredProperty> properties) {
  WalkNumber const walk = begin_walk({});
  Walk &begun = table().walks[walk];
  begun.owns_items = true;
  try {
    for (StoredProperty &property : properties) {
      HandleNumber const number = next_number();
      begun.elements.push_back(as_handle(number));
      table().state[number].property = std::move(property);
    }
  } catch (...) {
    end_walk(walk);
    throw;
  }
  return walk;
}

void *next_of_walk(WalkNumber walk) {
  auto const found = table().walks.find(walk);
  if (found == table().walks.end() || found->second.next == found->second.elements.size())
    return nullptr;
  return found->second.elements[found->second.next++];
}

void end_walk(WalkNumber walk) {
  auto const found = table().walks.find(walk);
  if (found == table().walks.end())
    return;
  if (found->second.owns_items) {
    for (void *item : found->second.elements)
      table().state.erase(as_number(item));
  }
  table().walks.erase(found);
}

}  // namespace host
