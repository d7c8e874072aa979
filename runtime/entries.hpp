// What the module carries of each row: compact entries that the engines work from.
#pragma once

#include "runtime/kinds.hpp"

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
  FieldPlace place;
  TypeIndex self = no_type;
  TypeIndex pointee = no_type;
  std::uint16_t element_size = 0;  // of arrays, which are copied element by element
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

// Fields of a record at a given address. Writing converts and checks `value` also where `record` is null, and
// stores nothing then; returns None. Both return null with the error set.
PyObject *read_field(const FieldEntry &field, void *record);
PyObject *write_field(const FieldEntry &field, void *record, PyObject *value);

// Their accessor functions.
PyObject *get_field(const FieldEntry &field, Arguments arguments);
PyObject *set_field(const FieldEntry &field, Arguments arguments);

// The three functions that every record has.
PyObject *construct(const RecordEntry &record, Arguments arguments);
PyObject *destruct(const RecordEntry &entry, Arguments arguments);
PyObject *register_shadow_class(const RecordEntry &record, Arguments arguments);

// Library calls, helpers and methods.
using CallFunction = PyObject *(const CallEntry &call, Arguments arguments, NameEnd name_end);
CallFunction call_bridged;
// Likewise with the interpreter lock released while the library works; kept where that is not possible.
CallFunction call_unlocked;
// `forms` are the two overloads of one function, in the order in which they are tried.
PyObject *call_overloaded(const CallEntry *forms, Arguments arguments, CallFunction call);

// ---- functions of the module ---------------------------------------------------------------------------

enum class MethodKind : std::uint8_t { setter, getter, call, overloaded_call, constructor, destructor, registration };

struct MethodEntry {
  TextOffset name = 0;
  std::uint16_t index = 0;  // of the field, call or record
  MethodKind kind{};
};

}  // namespace vswitchpy
