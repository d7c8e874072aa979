// Instances of the record classes.
#pragma once

#include "companion/classes.hpp"

namespace vswitchpy {

// `Record`, the base of the record classes.
extern PyTypeObject base_type;

// See RecordClasses::make.
PyObject *make_instance(PyTypeObject *type, void *pointer, swig_type_info *descriptor, Ownership ownership);

// tp_vectorcall of the record classes, and tp_iternext of those with such a method.
PyObject *record_vectorcall(PyObject *type, PyObject *const *items, std::size_t flagged_count, PyObject *keywords);
PyObject *record_next(PyObject *self);

// Whether an object is a record whose memory was given back; the error is set then.
bool refuse_released(PyObject *object);

// The view keeps alive the record that has the memory.
inline void lie_in(RecordObject *view, RecordObject *record) {
  RecordObject *owner = record->owner ? record->owner : record;
  Py_INCREF(owner);
  Py_XSETREF(view->owner, owner);
  view->state |= lies_in_owner;
}

// Makes `view`, if it is a view, keep alive the record in which it lies. Passes the view through.
PyObject *keep_owner(PyObject *view, PyObject *record);

// A view of a record that lies in the memory of another, made here as long as the layer's own class is the registered
// one.
PyObject *view_of(swig_type_info *type, void *address, PyObject *record);

}  // namespace vswitchpy
