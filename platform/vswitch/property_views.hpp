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

// The bodies of whole calls. Each takes the exported function's name from where it is called.

// The calls of a property that is a single byte.
inline int set_switch_byte(char const *alias, std::string_view name, qel_Bool byte,
                           char const *function = __builtin_FUNCTION()) {
  return update(
      [&](Database &database) {
        write_property(database, switch_argument(database, alias), name, {&byte, 1});
      },
      function);
}

inline int get_switch_byte(char const *alias, std::string_view name, qel_Bool *byte,
                           char const *function = __builtin_FUNCTION()) {
  preset(byte);
  return query(
      [&](Database &database) {
        refuse_if(!byte, QEL_BAD_PARAM);
        *byte = get_property(database, switch_argument(database, alias), name).front();
      },
      function);
}

inline int set_port_byte(char const *alias, char const *dvport_id, std::string_view name, qel_Bool byte,
                         char const *function = __builtin_FUNCTION()) {
  return update(
      [&](Database &database) {
        write_property(database, port_argument(database, alias, dvport_id), name, {&byte, 1});
      },
      function);
}

inline int get_port_byte(char const *alias, char const *dvport_id, std::string_view name, qel_Bool *byte,
                         char const *function = __builtin_FUNCTION()) {
  preset(byte);
  return query(
      [&](Database &database) {
        refuse_if(!byte, QEL_BAD_PARAM);
        *byte = get_property(database, port_argument(database, alias, dvport_id), name).front();
      },
      function);
}

inline int clear_switch_value(char const *alias, std::string_view name, char const *function = __builtin_FUNCTION()) {
  return update([&](Database &database) { clear_property(database, switch_argument(database, alias), name); },
                function);
}

inline int clear_port_value(char const *alias, char const *dvport_id, std::string_view name,
                            char const *function = __builtin_FUNCTION()) {
  return update([&](Database &database) { clear_property(database, port_argument(database, alias, dvport_id), name); },
                function);
}

// A fixed text of the interface: where the caller has room for the longest name of its kind.
inline int get_port_text(char const *alias, char const *dvport_id, std::string_view name, char *text,
                         char const *function = __builtin_FUNCTION()) {
  preset(text);
  return query(
      [&](Database &database) {
        refuse_if(!text, QEL_BAD_PARAM);
        store_text(text, get_property(database, port_argument(database, alias, dvport_id), name));
      },
      function);
}

}  // namespace host
