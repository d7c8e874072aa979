// The handles that the library has handed out. A handle is a number that is never used twice, so that one that is
// stale or not the library's is found out instead of being followed. All functions need the lock of a call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "interface/base_types.h"
#include "platform/core/typed_properties.hpp"

namespace host {

struct PortKey {
  RowId vswitch;
  RowId port;
};

// The same switch or port always has the same handle.
DVSwitchHandle switch_handle(RowId vswitch);
DVSPortHandle port_handle(PortKey port);

// Each refuses with QEL_INVALID_HANDLE.
RowId switch_of(DVSwitchHandle handle);
PortKey port_of(DVSPortHandle handle);
StoredProperty const &property_of(DVSDataItem handle);

// A text that stays where it is as long as the handle is valid.
char const *text_of_handle(void *handle, std::string_view text);

// The handle of a looked-up property; another lookup of it gives the same handle the new value.
DVSDataItem item_handle(PropertyPlace const &place, StoredProperty property);

// Forgets every handle into the state, so that all of them are stale. Property lists are not part of the state.
void forget_state_handles();

// Does so where the whole state was replaced since the last time, in whatever process. For the beginning of each call
// that gives or takes a handle.
void forget_handles_of_former_state(Database &database);

// A property list: values in memory of its maker's choice.
struct ListedValue {
  void *memory;
  std::size_t length;
  std::uint32_t type;
};

struct PropertyList {
  DVSData_MemAlloc allocate;
  DVSData_MemFree release;
  std::map<std::string, ListedValue, std::less<>> values;
};

DVSDataHandle list_handle(DVSData_MemAlloc allocate, DVSData_MemFree release);
// Refuses with QEL_INVALID_HANDLE.
PropertyList &list_of(DVSDataHandle handle);
// The caller becomes the owner. Null for a handle of no list.
PropertyList *take_list(DVSDataHandle handle);

// A walk over handles: it is kept here and not in the frame that makes the calls, because the function that it calls
// may leave by a jump.
using WalkNumber = std::uint64_t;
WalkNumber begin_walk(std::vector<void *> elements);
// Items are made for a walk and go with it.
WalkNumber begin_item_walk(std::vector<StoredProperty> properties);
// Null when there are no more, or the walk was ended.
void *next_of_walk(WalkNumber walk);
void end_walk(WalkNumber walk);

}  // namespace host
