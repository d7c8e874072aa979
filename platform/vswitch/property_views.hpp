// What the typed calls share: each is a view of one property of a switch or a port.
#pragma once

#include <optional>

#include "platform/core/call.hpp"
#include "platform/core/memory.hpp"
#include "platform/core/ports.hpp"
#include "platform/core/property_values.hpp"
#include "platform/vswitch/exports.hpp"

namespace host {

inline PropertyPlace switch_argument(Database &database, char const *alias, Scope scope = Scope::global) {
  return {switch_by_alias(database, alias_argument(alias)), scope};
}

inline PropertyPlace port_argument(Database &database, char const *alias, char const *dvport_id) {
  RowId const vswitch = switch_by_alias(database, alias_argument(alias));
  return {vswitch, Scope::port, port_by_id(database, vswitch, dvport_id_argument(dvport_id)).row};
}

inline void write_property(Database &database, PropertyPlace const &place, std::string_view name,
                           std::string_view value) {
  set_property(database, place, name, {.value = value});
}

// A record of fixed size that the caller passes.
template <typename Record>
void write_record(Database &database, PropertyPlace const &place, std::string_view name, Record const *record) {
  write_property(database, place, name, record_value(*record));
}

template <typename Record>
void read_record(Database &database, PropertyPlace const &place, std::string_view name, Record *record) {
  std::string const value = get_property(database, place, name);
  *record = record_from_value<Record>(value);
}

// A value of any length, as memory for the caller.
template <typename Record>
Record *returned_value(std::string_view value) {
  auto memory = allocate_record<char>(value.size());
  std::memcpy(memory.get(), value.data(), value.size());
  return reinterpret_cast<Record *>(memory.release());
}

// What has the property that a call is a view of, as the call's arguments name it.
struct OfSwitch {
  char const *alias;
  PropertyPlace place(Database &database) const { return switch_argument(database, alias); }
};
struct OfPort {
  char const *alias;
  char const *dvport_id;
  PropertyPlace place(Database &database) const { return port_argument(database, alias, dvport_id); }
};

// The bodies of whole calls. Each takes the exported function's name from where it is called.

template <typename Owner>
int clear_value(Owner const &owner, std::string_view name, char const *function = __builtin_FUNCTION()) {
  return update([&](Database &database) { clear_property(database, owner.place(database), name); }, function);
}

// Of a property that is a single byte.
template <typename Owner>
int set_byte(Owner const &owner, std::string_view name, qel_Bool byte, char const *function = __builtin_FUNCTION()) {
  return update(
      [&](Database &database) {
        write_property(database, owner.place(database), name, {&byte, 1});
      },
      function);
}

template <typename Owner>
int get_byte(Owner const &owner, std::string_view name, qel_Bool *byte, char const *function = __builtin_FUNCTION()) {
  preset(byte);
  return query(
      [&](Database &database) {
        refuse_if(!byte, QEL_BAD_PARAM);
        *byte = get_property(database, owner.place(database), name).front();
      },
      function);
}

// Of one that is a name: of no more than some bytes, and read to where the caller has room for the longest.
template <typename Owner>
int set_name(Owner const &owner, std::string_view name, char const *value, std::size_t room,
             char const *function = __builtin_FUNCTION()) {
  return update(
      [&](Database &database) {
        std::string_view const checked = new_name_argument(value, room);
        write_property(database, owner.place(database), name, checked);
      },
      function);
}

template <typename Owner>
int get_name(Owner const &owner, std::string_view name, char *value, char const *function = __builtin_FUNCTION()) {
  preset(value);
  return query(
      [&](Database &database) {
        refuse_if(!value, QEL_BAD_PARAM);
        store_text(value, get_property(database, owner.place(database), name));
      },
      function);
}

}  // namespace host
