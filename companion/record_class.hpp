// The record classes: native types built from the module's tables when the companion layer is imported.
#pragma once

#include "runtime/engine.hpp"

namespace vswitchpy {

extern const Engine *engine;

inline const char *engine_text(TextOffset offset) {
  return engine->texts + offset;
}

// Positions in the module's method table; `none` where a record has no such method.
using MethodIndex = std::uint16_t;
inline constexpr MethodIndex no_method = 0xffff;

struct RecordClass {
  PyTypeObject type;  // first: a type is found back from its address
  PyMappingMethods mapping;
  const RecordEntry *entry;
  swig_type_info *descriptor;
  MethodIndex constructor;
  MethodIndex destructor;
  MethodIndex get_item;
  MethodIndex set_item;
  MethodIndex length;
  MethodIndex representation;
  MethodIndex next;
  MethodIndex first;  // of the record's functions
  bool complete;      // whether its members are there: they are made when the class is first used
};

// Makes all classes, registers each with the module and adds it to the dictionary of the companion layer. False with
// the error set.
bool make_record_classes(PyObject *dictionary);

inline bool is_record_class(const PyTypeObject *type) {
  return type->tp_base == record_classes.base;
}

// Reads a field, the frequent kinds without a call into the module. `place` is the field's, or a copy of it.
inline PyObject *read_directly(const FieldPlace &place, const FieldEntry &field, void *record) {
  const char *address = static_cast<char *>(record) + place.offset;
  if (place.kind == FieldKind::scalar && place.scalar != Scalar::character) {
    return number_to_python(address, place.scalar);
  }
  if (place.kind == FieldKind::character_array) {
    return decoded_text(address, field_text_size(address, place.size));
  }
  return engine->read_field(field, record);
}

// How many bytes a record has by its declaration; -1 with the error set where a count field says.
inline Py_ssize_t fixed_size(const RecordClass &kind) {
  if (kind.entry->counted) {
    PyErr_Format(PyExc_TypeError, "%s has no fixed size", kind.type.tp_name);
    return -1;
  }
  return static_cast<Py_ssize_t>(kind.entry->size);
}

// Makes the members of a class. False with the error set.
bool complete_class(RecordClass &kind);

// The class of a record instance, also of one whose class a script derived.
RecordClass *class_of(PyObject *record);

const char *record_name(const RecordClass &kind);

// The documentation of a record, field or function by its position in the tables. That of a function begins with
// its signature: "name(alias, mtu, /)\n--\n\n".
const char *record_doc(std::size_t index);
const char *field_doc(std::size_t index);
const char *method_doc(MethodIndex method);
bool documentation_fits();

// Sets up what the functions below need. False with the error set.
bool prepare_functions();

// Calls a function of the module as the interpreter would: a result with an error pending becomes the
// interpreter's SystemError (checked_result). Notes what is handed out and what is taken back.
PyObject *call_function(MethodIndex method, Arguments arguments);
PyObject *checked_result(MethodIndex method, PyObject *result);

// Whether an object is a record whose memory was given back; the error is set then.
bool refuse_released(PyObject *object);

// As call_function for a function of a record: a view in the result keeps the record alive.
PyObject *call_method(MethodIndex method, Arguments arguments);

// The view keeps alive the record that has the memory.
inline void lie_in(RecordObject *view, RecordObject *record) {
  RecordObject *owner = record->owner ? record->owner : record;
  Py_INCREF(owner);
  Py_XSETREF(view->owner, owner);
  view->state |= lies_in_owner;
}

// Makes `view`, if it is a view, keep alive the record in which it lies. Passes the view through.
PyObject *keep_owner(PyObject *view, PyObject *record);

extern PyTypeObject field_type;

// A field as an attribute, and a method of a record; new references.
PyObject *new_field(RecordClass *owner, const FieldEntry *field, MethodIndex getter, MethodIndex setter);
PyObject *new_method(RecordClass *owner, MethodIndex method);
bool ready_member_types();

// Fields of `count` records that lie side by side from `first` on: a list with a tuple for each, in the order of
// `names`, a tuple of str. No record is made for any of them.
PyObject *rows_of(PyObject *first, Py_ssize_t count, PyObject *names);

// A function of the module with its documentation, for the companion layer's dictionary.
PyObject *new_function(MethodIndex method, PyObject *module, PyObject *module_name);

// The native module's own function. New reference.
PyObject *native_function(MethodIndex method);

// A function of the companion layer's Python part, imported when first needed. New reference.
PyObject *python_part(const char *module, const char *name);

// A name of the companion layer. New reference.
PyObject *python_name(const char *name);

}  // namespace vswitchpy
