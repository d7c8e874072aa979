// The members of record classes: fields as attributes, and methods.
#pragma once

#include "companion/classes.hpp"

namespace vswitchpy {

extern PyTypeObject field_type;
bool ready_member_types();

// A field as an attribute, and a method of a record; new references.
PyObject *new_field(RecordClass *owner, const FieldEntry *field, MethodIndex getter, MethodIndex setter);
PyObject *new_method(RecordClass *owner, MethodIndex method);

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

// Fields of `count` records that lie side by side from `first` on: a list with a tuple for each, in the order of
// `names`, a tuple of str. No record is made for any of them.
PyObject *rows_of(PyObject *first, Py_ssize_t count, PyObject *names);

}  // namespace vswitchpy
