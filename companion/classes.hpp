// The record classes: one for each record of the module, made when the companion layer is imported.
#pragma once

#include "companion/extension.hpp"

namespace vswitchpy {

struct RecordContents;

struct MethodFacts;

// The function that a subscript stands for, where all it does is to say where an element lies; without a call, if there
// is none.
struct ElementReader {
  const CallEntry *call;
  const MethodFacts *facts;
  swig_type_info *type;  // of the element; null: it is a text
};

struct RecordClass {
  PyTypeObject type;  // first: a type is found back from its address
  PyMappingMethods mapping;
  PyNumberMethods number;
  const RecordEntry *entry;
  swig_type_info *descriptor;
  MethodIndex constructor;
  MethodIndex destructor;
  MethodIndex get_item;
  MethodIndex set_item;
  MethodIndex representation;
  MethodIndex next;
  MethodIndex first;               // of the record's functions
  const RecordContents *contents;  // what the record counts, or null
  ElementReader element;           // what `get_item` does
  bool in_array;                   // whether a view of it may be one of an array whose elements another record counts
  bool complete;                   // whether its members are there: they are made when the class is first used
};

// Makes all classes and registers each with the module; when they are there already, does nothing. False with the
// error set.
bool make_record_classes();

// Adds them to the dictionary of the companion layer. False with the error set.
bool add_record_classes(PyObject *dictionary);

// Makes the members of a class. False with the error set.
bool complete_class(RecordClass &kind);

inline bool is_record_class(const PyTypeObject *type) {
  return type->tp_base == record_classes.base;
}

// The record class that a type is or derives from; null for any other type and for the base of all.
inline RecordClass *class_behind(PyTypeObject *type) {
  while (type && !is_record_class(type)) {
    type = type->tp_base;
  }
  return reinterpret_cast<RecordClass *>(type);
}

// That of a record.
inline RecordClass *class_of(PyObject *record) {
  return class_behind(Py_TYPE(record));
}

const char *record_name(const RecordClass &kind);

// How many bytes a record has by its declaration; -1 with the error set where a count field says.
inline Py_ssize_t fixed_size(const RecordClass &kind) {
  if (kind.entry->counted) {
    PyErr_Format(PyExc_TypeError, "%s has no fixed size", kind.type.tp_name);
    return -1;
  }
  return static_cast<Py_ssize_t>(kind.entry->size);
}

}  // namespace vswitchpy
