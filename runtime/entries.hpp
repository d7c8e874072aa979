// What the module carries of each row: compact entries that the engines work from.
#pragma once

#include "runtime/rows.hpp"

namespace vswitchpy {

// Texts are offsets into one pool, so that entries hold no pointers and need no relocation.
using TextOffset = std::uint32_t;
extern const char *const text_pool;
inline const char *text_at(TextOffset offset) {
  return text_pool + offset;
}

struct FieldEntry {
  TextOffset setter_name = 0;
  TextOffset getter_name = 0;
  TextOffset name = 0;       // of arrays, whose null error names the field
  TextOffset type = 0;       // as messages spell it
  TextOffset self_type = 0;  // of the record pointer, likewise
  std::uint32_t offset = 0;
  std::uint32_t size = 0;
  TypeIndex self = no_type;
  TypeIndex pointee = no_type;
  FieldKind kind{};
  Scalar scalar{};
  std::uint8_t first_bit = 0;
  std::uint8_t bit_count = 0;
};

struct RecordEntry {
  TextOffset constructor_name = 0;
  TextOffset destructor_name = 0;
  TextOffset self_type = 0;
  TypeIndex self = no_type;
  bool counted = false;
  std::uint32_t size = 0;
  Counted count{};
};

struct ArgumentEntry {
  TextOffset type = 0;
  TypeIndex pointee = no_type;
  std::uint16_t capacity = 0;
  Typemap typemap{};
  Scalar scalar{};
};

struct CallEntry {
  Invoke invoke = nullptr;
  TextOffset name = 0;
  std::uint16_t first_argument = 0;  // in `argument_entries`
  TypeIndex result_pointee = no_type;
  std::uint8_t argument_count = 0;
  std::uint8_t input_count = 0;
  Result result{};
  Scalar result_scalar{};
};

extern const ArgumentEntry *const argument_entries;

// ---- engines: one function for each rule ---------------------------------------------------------------

// Accessors. `arguments` is the tuple that the interpreter passes.
template <Scalar S>
PyObject *get_scalar(const FieldEntry &field, PyObject *arguments);
PyObject *get_bits(const FieldEntry &field, PyObject *arguments);
PyObject *get_character_array(const FieldEntry &field, PyObject *arguments);
PyObject *get_mac_text(const FieldEntry &field, PyObject *arguments);
PyObject *get_view(const FieldEntry &field, PyObject *arguments);  // arrays and embedded records
PyObject *get_pointer(const FieldEntry &field, PyObject *arguments);
PyObject *get_owned_text(const FieldEntry &field, PyObject *arguments);

template <Scalar S>
PyObject *set_scalar(const FieldEntry &field, PyObject *arguments);
PyObject *set_bits(const FieldEntry &field, PyObject *arguments);
PyObject *set_character_array(const FieldEntry &field, PyObject *arguments);
PyObject *set_array(const FieldEntry &field, PyObject *arguments);  // MAC text fields too
PyObject *set_embedded_record(const FieldEntry &field, PyObject *arguments);
PyObject *set_pointer(const FieldEntry &field, PyObject *arguments);
PyObject *set_any_pointer(const FieldEntry &field, PyObject *arguments);
PyObject *set_owned_text(const FieldEntry &field, PyObject *arguments);

// The three functions that every record has.
PyObject *construct(const RecordEntry &record, PyObject *arguments);
PyObject *construct_counted(const RecordEntry &record, PyObject *arguments);
PyObject *destruct(const RecordEntry &record, PyObject *arguments);
PyObject *register_shadow_class(const RecordEntry &record, PyObject *arguments);

// Library calls, helpers and methods.
PyObject *call_bridged(const CallEntry &call, PyObject *arguments);
// `forms` are the overloads of one function, in the order in which they are tried.
PyObject *call_overloaded(const CallEntry *forms, std::size_t count, PyObject *arguments);

}  // namespace vswitchpy
