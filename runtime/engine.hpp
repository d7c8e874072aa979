// What the module offers to the companion layer's extension, which finds it behind the module's definition: the
// module exports no further symbol and has no further name.
#pragma once

#include "runtime/entries.hpp"
#include "runtime/record_object.hpp"

namespace vswitchpy {

struct Engine {
  const FieldEntry *fields;
  const RecordEntry *records;
  const CallEntry *calls;
  const MethodEntry *methods;      // of the functions that rows describe, record by record, then the calls
  const PyMethodDef *definitions;  // theirs in the method table, in the same order
  std::size_t record_count;
  std::size_t method_count;
  const char *texts;
  RecordClasses *record_classes;
  bool *error_left;              // see Deferred
  swig_type_info *const *types;  // registered descriptors, by their index
  PyTypeObject *proxy_type;
  swig_type_info *(*find_descriptor)(const char *mangled_name);
  PyObject *(*read_field)(const FieldEntry &field, void *record);
  PyObject *(*write_field)(const FieldEntry &field, void *record, PyObject *value);
  PyObject *(*call)(std::size_t method, Arguments arguments, NameEnd name_end);
  PyObject *(*call_without_lock)(std::size_t method, Arguments arguments, NameEnd name_end);
  PyObject *(*new_bare_proxy)(void *pointer, swig_type_info *type, Ownership ownership);
  PyObject *(*new_proxy)(void *pointer, swig_type_info *type, Ownership ownership);
  bool (*pointer_from)(PyObject *object, swig_type_info *type, Disown disown, void **pointer);
  PyObject *(*call_back)(PyObject *function, PyObject *const *items, std::size_t count);
  // See bridge.hpp.
  const std::uint64_t *bridge_use;
  void (*wait_for_bridge)();
  void (*free_later)(void *memory);
  void (*hold_bridge_for_fork)();
  void (*give_bridge_up_in_parent)();
  void (*give_bridge_up_in_child)();
};

// The definition that the interpreter knows, and the engine behind it.
struct ModuleDefinition {
  PyModuleDef interpreter;
  const Engine *engine;
};

}  // namespace vswitchpy
