// Type descriptors: registration in the process-wide runtime record, lookup, and class data.
#include "runtime/type_registry.hpp"

#include <cstdlib>
#include <cstring>

namespace vswitchpy {
namespace {

constexpr const char *runtime_module_name = "swig_runtime_data4";
constexpr const char *capsule_attribute = "type_pointer_capsule";
constexpr const char *capsule_name = "swig_runtime_data4.type_pointer_capsule";

swig_module_info own_module;
PyObject *interned_this = nullptr;
bool released_a_class = false;

const swig_type_info *find_in_module(const swig_module_info &module, const char *mangled_name) {
  std::size_t low = 0;
  std::size_t high = module.size;
  while (low < high) {
    const std::size_t middle = low + (high - low) / 2;
    const swig_type_info *candidate = module.types[middle];
    // A module that is still registering has null entries behind the ones it has resolved.
    const int order = candidate && candidate->name ? std::strcmp(mangled_name, candidate->name) : -1;
    if (order == 0) {
      return candidate;
    }
    if (order < 0) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  return nullptr;
}

// Looks through the ring from `start` up to, not including, `end`.
swig_type_info *find_in_ring(swig_module_info *start, const swig_module_info *end, const char *mangled_name) {
  swig_module_info *module = start;
  do {
    if (const auto *found = find_in_module(*module, mangled_name)) {
      return const_cast<swig_type_info *>(found);
    }
    module = module->next;
  } while (module != end);
  return nullptr;
}

bool has_cast_to(const swig_type_info *type, const swig_type_info *source) {
  for (const swig_cast_info *cast = type->cast; cast; cast = cast->next) {
    if (cast->type == source || std::strcmp(cast->type->name, source->name) == 0) {
      return true;
    }
  }
  return false;
}

void add_cast(swig_type_info *type, swig_cast_info *cast) {
  if (type->cast) {
    type->cast->prev = cast;
    cast->next = type->cast;
  }
  type->cast = cast;
}

void release_class_data(swig_type_info *type) {
  auto *data = static_cast<SwigPyClientData *>(type->clientdata);
  type->clientdata = nullptr;
  if (data) {
    released_a_class = true;
    Py_XDECREF(data->klass);
    Py_XDECREF(data->newraw);
    Py_XDECREF(data->newargs);
    Py_XDECREF(data->destroy);
    std::free(data);
  }
}

// Runs when the capsule goes. Generated modules do not count their references to the capsule exactly,
// so that it can be destroyed while the interpreter is in full use: then nothing is released.
void capsule_destroyed(PyObject * /*capsule*/) {
  if (!_Py_IsFinalizing()) {
    return;
  }
  for (std::size_t i = 0; i < own_module.size; ++i) {
    if (own_module.types[i]->owndata) {
      release_class_data(own_module.types[i]);
    }
  }
  Py_CLEAR(interned_this);
}

void publish(swig_module_info *module) {
  PyObject *capsule = PyCapsule_New(module, capsule_name, capsule_destroyed);
  PyObject *runtime_module = PyImport_AddModule(runtime_module_name);
  if (!capsule || !runtime_module || PyModule_AddObjectRef(runtime_module, capsule_attribute, capsule) < 0) {
    // Without the shared record the module still works by itself.
    PyErr_Clear();
  }
  Py_XDECREF(capsule);
}

// Fills this module's record; false if that was done before in this process.
bool fill_own_module(const TypeTable &table) {
  if (own_module.next) {
    return false;
  }
  own_module = {table.types, table.size, &own_module, table.type_list, table.cast_list, nullptr};
  registered_types = table.types;
  return true;
}

// Joins the ring found, or publishes a new one; false if this module is in the ring already.
bool join_ring() {
  // Looked for among the loaded modules first: no file provides the record, and searching the path for one would be a
  // good part of the import.
  PyObject *name = PyUnicode_FromString(runtime_module_name);
  PyObject *loaded = name ? PyImport_GetModule(name) : nullptr;
  auto *found = loaded ? static_cast<swig_module_info *>(PyCapsule_Import(capsule_name, 0)) : nullptr;
  Py_XDECREF(name);
  Py_XDECREF(loaded);
  if (!found) {
    PyErr_Clear();
    publish(&own_module);
    return true;
  }
  swig_module_info *module = found;
  do {
    if (module == &own_module) {
      return false;
    }
    module = module->next;
  } while (module != found);
  own_module.next = found->next;
  found->next = &own_module;
  return true;
}

swig_type_info *resolve(swig_type_info *declared) {
  if (own_module.next == &own_module) {
    return declared;
  }
  swig_type_info *other = find_in_ring(own_module.next, &own_module, declared->name);
  if (!other) {
    return declared;
  }
  if (declared->clientdata && !other->clientdata) {
    other->clientdata = declared->clientdata;
  }
  return other;
}

}  // namespace

swig_type_info **registered_types = nullptr;

void register_types(const TypeTable &table) {
  const bool first = fill_own_module(table);
  if (!join_ring() || !first) {
    return;
  }
  for (std::size_t i = 0; i < table.size; ++i) {
    swig_type_info *declared = table.type_list[i];
    swig_type_info *type = resolve(declared);
    for (swig_cast_info *cast = table.cast_list[i]; cast->type; ++cast) {
      swig_type_info *source = resolve(cast->type);
      if (type == declared) {
        cast->type = source;
        add_cast(type, cast);
      } else if (!has_cast_to(type, source)) {
        add_cast(type, cast);
      }
    }
    table.types[i] = type;
  }
  table.types[table.size] = nullptr;
}

swig_type_info *find_descriptor(const char *mangled_name) {
  return own_module.next ? find_in_ring(&own_module, &own_module, mangled_name) : nullptr;
}

const char *pretty_name(const swig_type_info *type) {
  if (!type) {
    return "unknown";
  }
  if (!type->str) {
    return type->name ? type->name : "unknown";
  }
  const char *last_bar = std::strrchr(type->str, '|');
  return last_bar ? last_bar + 1 : type->str;
}

bool cast_pointer(const swig_type_info *from, const swig_type_info *to, void **pointer) {
  if (from == to) {
    return true;
  }
  if (!from) {
    return false;
  }
  for (const swig_cast_info *cast = to->cast; cast; cast = cast->next) {
    if (cast->type == from || std::strcmp(cast->type->name, from->name) == 0) {
      if (cast->converter) {
        int new_memory = 0;
        *pointer = cast->converter(*pointer, &new_memory);
      }
      return true;
    }
  }
  return false;
}

namespace {

void set_class_data(swig_type_info *type, SwigPyClientData *data) {
  // An earlier class's data stays allocated: descriptors that its casts led to may share it.
  type->clientdata = data;
  for (const swig_cast_info *cast = type->cast; cast; cast = cast->next) {
    if (!cast->converter && !cast->type->clientdata) {
      set_class_data(cast->type, data);
    }
  }
}

SwigPyClientData *new_class_data(PyObject *shadow_class) {
  auto *data = static_cast<SwigPyClientData *>(std::calloc(1, sizeof(SwigPyClientData)));
  if (!data) {
    PyErr_NoMemory();
    return nullptr;
  }
  if (!PyType_Check(shadow_class)) {
    data->newraw = PyObject_GetAttrString(shadow_class, "__new__");
    PyErr_Clear();
  }
  data->newargs = data->newraw ? PyTuple_Pack(1, shadow_class) : Py_NewRef(shadow_class);
  if (!data->newargs) {
    Py_XDECREF(data->newraw);
    std::free(data);
    return nullptr;
  }
  data->klass = Py_NewRef(shadow_class);
  data->destroy = PyObject_GetAttrString(shadow_class, "__swig_destroy__");
  PyErr_Clear();
  // Only a built-in function says how it takes its argument; anything else is called with a tuple.
  data->delargs =
      data->destroy && !(PyCFunction_Check(data->destroy) && (PyCFunction_GET_FLAGS(data->destroy) & METH_O));
  return data;
}

}  // namespace

bool register_class(swig_type_info *type, PyObject *shadow_class) {
  SwigPyClientData *data = new_class_data(shadow_class);
  if (!data) {
    return false;
  }
  set_class_data(type, data);
  type->owndata = 1;
  return true;
}

bool classes_released() {
  return released_a_class;
}

PyObject *this_name() {
  if (!interned_this) {
    interned_this = PyUnicode_InternFromString("this");
  }
  return interned_this;
}

}  // namespace vswitchpy
