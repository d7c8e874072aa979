// Property lists: those that scripts build, and those that the library makes of a switch's or a port's properties.
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "platform/core/call.hpp"
#include "platform/core/host.hpp"
#include "platform/core/ports.hpp"
#include "platform/core/state_image.hpp"
#include "platform/core/text.hpp"
#include "platform/dvs/exports.hpp"
#include "platform/dvs/handles.hpp"
#include "platform/dvs/values.hpp"

using namespace host;

namespace {

constexpr qel_uint32 largest_value = 1048576;
constexpr std::size_t most_values = 65536;

void release_list(PropertyList *list) {
  for (auto const &[name, value] : list->values)
    list->release(value.memory);
  delete list;
}

// Without the state, and without an abort: the caller still has memory to release.
Status put_value(DVSDataHandle data, char const *name, ListedValue const &value, void *&unused) {
  HostLock const lock;
  try {
    unused = std::exchange(list_of(data).values[name], value).memory;
    return QEL_OK;
  } catch (Refusal const &refusal) {
    return refusal.status();
  } catch (std::bad_alloc const &) {
    return QEL_NO_MEMORY;
  }
}

// Lists of the library itself use the system's allocator, which needs no call outside of the transaction.
DVSDataHandle make_list(std::vector<StoredProperty> const &properties) {
  DVSDataHandle handle = list_handle(std::malloc, std::free);
  PropertyList &list = list_of(handle);
  try {
    for (StoredProperty const &property : properties) {
      ListedValue &listed = list.values[property.name];
      // Not a record: it is never the caller's to release.
      listed.memory = std::malloc(property.value.size() + 1);
      if (!listed.memory)
        throw std::bad_alloc();
      std::memcpy(listed.memory, property.value.data(), property.value.size());
      listed.length = property.value.size();
      listed.type = property.type;
    }
  } catch (...) {
    release_list(take_list(handle));
    throw;
  }
  return handle;
}

template <typename Collect>
int collect(DVSDataHandle *list, qel_uint32 property_type, Collect &&properties,
            char const *function = __builtin_FUNCTION()) {
  preset(list);
  return query(
      [&](Database &database) {
        refuse_if(!list, QEL_BAD_PARAM);
        *list = make_list(properties(database, property_types_wanted(property_type)));
      },
      function);
}

PropertyPlace port_place(Database &database, char const *alias, char const *dvport_id) {
  RowId const vswitch = switch_by_alias(database, alias_argument(alias));
  return {vswitch, Scope::port, port_by_id(database, vswitch, dvport_id_argument(dvport_id)).row};
}

}  // namespace

int DVSQEL_VendorGlobalPropList(char const *alias, DVSDataHandle *list, qel_uint32 property_type) {
  NOTE_ARGUMENTS(alias, list, property_type);
  return collect(list, property_type, [&](Database &database, std::uint32_t wanted) {
    return vendor_properties(database, {switch_by_alias(database, alias_argument(alias)), Scope::global}, wanted);
  });
}

int DVSQEL_VendorHostPropList(char const *alias, DVSDataHandle *list, qel_uint32 property_type) {
  NOTE_ARGUMENTS(alias, list, property_type);
  return collect(list, property_type, [&](Database &database, std::uint32_t wanted) {
    return vendor_properties(database, {switch_by_alias(database, alias_argument(alias)), Scope::host}, wanted);
  });
}

int DVSQEL_ExtraConfigPropList(char const *alias, DVSDataHandle *list, qel_uint32 property_type) {
  NOTE_ARGUMENTS(alias, list, property_type);
  return collect(list, property_type, [&](Database &database, std::uint32_t wanted) {
    return extra_switch_properties(database, switch_by_alias(database, alias_argument(alias)), wanted);
  });
}

int DVSQEL_VendorPortPropList(char const *alias, char const *dvport_id, DVSDataHandle *list, qel_uint32 property_type) {
  NOTE_ARGUMENTS(alias, dvport_id, list, property_type);
  return collect(list, property_type, [&](Database &database, std::uint32_t wanted) {
    return vendor_properties(database, port_place(database, alias, dvport_id), wanted);
  });
}

int DVSQEL_ExtraConfigPortPropList(char const *alias, char const *dvport_id, DVSDataHandle *list,
                                   qel_uint32 property_type) {
  NOTE_ARGUMENTS(alias, dvport_id, list, property_type);
  return collect(list, property_type, [&](Database &database, std::uint32_t wanted) {
    return extra_properties(database, port_place(database, alias, dvport_id), wanted);
  });
}

int DVSData_Alloc(DVSDataHandle *data, DVSData_MemAlloc allocate, DVSData_MemFree release) {
  NOTE_ARGUMENTS(data, allocate, release);
  preset(data);
  return query([&](Database &) {
    // Memory of the one must not get to the other's counterpart.
    refuse_if(!data || !allocate != !release, QEL_BAD_PARAM);
    *data = list_handle(allocate ? allocate : std::malloc, release ? release : std::free);
  });
}

void DVSData_Free(DVSDataHandle data) {
  NOTE_ARGUMENTS(data);
  PropertyList *list = nullptr;
  query([&](Database &) { list = take_list(data); });
  if (list)
    release_list(list);
}

int DVSData_Update(DVSDataHandle data, char const *name, void *value, qel_uint32 length, qel_uint32 property_type) {
  NOTE_ARGUMENTS(data, name, value, length, property_type);
  DVSData_MemAlloc allocate = std::malloc;
  DVSData_MemFree release = std::free;
  std::uint32_t type = 0;
  int status = query([&](Database &) {
    refuse_if(!name || (!value && length > 0), QEL_BAD_PARAM);
    PropertyList const &list = list_of(data);
    new_name_argument(name, property_name_room);
    refuse_if(length > largest_value, QEL_LIMIT_EXCEEDED);
    type = property_type_for_write(property_type);
    refuse_if(list.values.size() >= most_values && !list.values.count(name), QEL_LIMIT_EXCEEDED);
    allocate = list.allocate;
    release = list.release;
  });
  if (status != QEL_OK)
    return status;
  // The caller's functions are called outside of the transaction. An empty value has memory, too.
  void *memory = allocate(length ? length : 1);
  if (!memory)
    return QEL_NO_MEMORY;
  if (length)
    std::memcpy(memory, value, length);
  void *unused = memory;  // the new value where it cannot be put in, else the one that it replaces
  status = put_value(data, name, {memory, length, type}, unused);
  if (unused)
    release(unused);
  return status;
}

int DVSData_Serialize(DVSDataHandle data, void **image, qel_uint32 *length, HNQVersion version) {
  NOTE_ARGUMENTS(data, image, length, version);
  preset(image);
  preset(length);
  return query([&](Database &) {
    refuse_if(!image || !length, QEL_BAD_PARAM);
    PropertyList const &list = list_of(data);
    std::vector<StoredProperty> properties;
    for (auto const &[name, value] : list.values) {
      properties.push_back({.name = name,
                            .owner = {},
                            .type = value.type,
                            .is_volatile = (value.type & VOLATILE_PROP_TYPE) != 0,
                            .value = std::string(static_cast<char const *>(value.memory), value.length)});
    }
    return_bytes(property_list_image(properties, static_cast<std::uint32_t>(version)), image, length);
  });
}
