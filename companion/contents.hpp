// What a record holds: length, subscripts and iteration, within its count.
#pragma once

#include "companion/classes.hpp"

namespace vswitchpy {

// Whether a class has a length, an index of elements, an index to assign to, or only views of arrays that have them.
bool has_length(const RecordClass &kind);
bool has_index(const RecordClass &kind);

// Known once the class knows its functions.
ElementReader element_reader(const RecordClass &kind);
Py_ssize_t record_length(PyObject *self);
PyObject *record_get_item(PyObject *self, PyObject *index);
int record_set_item(PyObject *self, PyObject *index, PyObject *value);
PyObject *record_iter(PyObject *self);

// An index as the module's function is to get it: what is negative counts from the end of what the record holds.
// `place` is that of `index` among the inputs of a function. The index itself, another in its place, or null with
// IndexError set; a new reference. What is no number, or has no known bound, passes.
PyObject *bounded_index(MethodIndex method, PyObject *self, PyObject *index);

bool ready_iterator_type();

}  // namespace vswitchpy
