// The native part of the companion layer: makes the record classes, and finds the other names when they are used.
#include "companion/extension.hpp"

#include "companion/facts.hpp"
#include "companion/functions.hpp"
#include "companion/instances.hpp"
#include "companion/members.hpp"

#include <cstring>

extern "C" __attribute__((visibility("default"))) PyObject *PyInit__records();

namespace vswitchpy {
namespace {

PyObject *native_module = nullptr;  // `_libvswitch`
PyObject *layer = nullptr;          // `libvswitch`
PyObject *layer_name = nullptr;
PyInterpreterState *owner = nullptr;  // the interpreter whose objects these are

// A module that the interpreter has made from its copy of the dictionary does not know its definition; the functions
// know the module that does.
PyModuleDef *definition_of(PyObject *module) {
  PyModuleDef *definition = PyModule_GetDef(module);
  if (definition || PyErr_Occurred()) {
    return definition;
  }
  PyObject *function = PyDict_GetItemString(PyModule_GetDict(module), "SWIG_PyInstanceMethod_New");
  PyObject *maker = function && PyCFunction_Check(function) ? PyCFunction_GET_SELF(function) : nullptr;
  return maker && PyModule_Check(maker) ? PyModule_GetDef(maker) : nullptr;
}

bool find_engine(PyObject *module) {
  auto *definition = reinterpret_cast<ModuleDefinition *>(definition_of(module));
  if (!definition || std::strcmp(definition->interpreter.m_name, "_libvswitch") != 0) {
    PyErr_SetString(PyExc_ImportError, "the companion layer belongs to the module _libvswitch");
    return false;
  }
  engine = definition->engine;
  return true;
}

// install(module): fills the dictionary of the companion layer with its classes. A module that is reloaded, or imported
// again after it was forgotten, gets those that are there.
PyObject *install(PyObject * /*self*/, PyObject *module) {
  if (owner && owner != PyInterpreterState_Get()) {
    PyErr_SetString(PyExc_ImportError, "the companion layer belongs to the interpreter that imported it first");
    return nullptr;
  }
  owner = PyInterpreterState_Get();
  Py_XSETREF(layer, Py_NewRef(module));
  if (!native_module) {
    native_module = PyImport_ImportModule("_libvswitch");
  }
  if (!layer_name) {
    layer_name = PyUnicode_InternFromString("libvswitch");
  }
  // What fails can be tried again: with memory, for instance.
  if (!native_module || !layer_name || (!engine && !find_engine(native_module)) || !prepare_functions() ||
      !make_record_classes() || !add_record_classes(PyModule_GetDict(layer))) {
    return nullptr;
  }
  Py_RETURN_NONE;
}

// The two functions that no row describes.
PyMethodDef other_functions[] = {
    {"SWIG_PyInstanceMethod_New", nullptr, METH_O,
     "SWIG_PyInstanceMethod_New($module, function, /)\n--\n\nAn instance method object around a function."},
    {"Panic", nullptr, METH_VARARGS,
     "Panic($module, format, /, *ignored)\n--\n\nWrites a text to the host's log. Further arguments are not read. "
     "Raises TypeError for what is no text."},
};

// The function with its documentation; what is no such function is passed through. New reference.
PyObject *documented(PyObject *value) {
  if (PyCFunction_Check(value)) {
    const PyMethodDef *definition = reinterpret_cast<PyCFunctionObject *>(value)->m_ml;
    for (PyMethodDef &function : other_functions) {
      if (std::strcmp(function.ml_name, definition->ml_name) == 0) {
        function.ml_meth = definition->ml_meth;
        return PyCFunction_NewEx(&function, layer, layer_name);
      }
    }
  }
  return Py_NewRef(value);
}

// What a name of the native module is in the companion layer, or null; no error is set if there is no such name.
PyObject *native_value(PyObject *name) {
  PyObject *value = PyDict_GetItemWithError(PyModule_GetDict(native_module), name);
  if (!value) {
    return nullptr;
  }
  const MethodIndex method = index_of_function(value);
  return method == no_method ? documented(value) : new_function(method, layer, layer_name);
}

// find(name): the value of a name of the native module, kept in the companion layer from then on. Raises KeyError
// for one that is not there.
PyObject *find(PyObject * /*self*/, PyObject *name) {
  PyObject *value = native_value(name);
  if (!value) {
    if (!PyErr_Occurred()) {
      PyErr_SetObject(PyExc_KeyError, name);
    }
    return nullptr;
  }
  if (PyDict_SetItem(PyModule_GetDict(layer), name, value) < 0) {
    Py_CLEAR(value);
  }
  return value;
}

// pointer(address, type_name): what the native module returns for a pointer of a type of its registry: a record, a bare
// proxy, or None for 0.
PyObject *pointer(PyObject * /*self*/, PyObject *arguments) {
  PyObject *address = nullptr;
  const char *type_name = nullptr;
  if (!PyArg_ParseTuple(arguments, "Os", &address, &type_name)) {
    return nullptr;
  }
  void *target = PyLong_AsVoidPtr(address);
  if (PyErr_Occurred()) {
    return nullptr;
  }
  swig_type_info *type = engine->find_descriptor(type_name);
  return type ? engine->new_proxy(target, type, Ownership::borrowed)
              : PyErr_Format(PyExc_TypeError, "the native module knows no type '%s'", type_name);
}

// Where a record or proxy points; false with the error set.
bool target_of(PyObject *object, void **target) {
  if (engine->pointer_from(object, nullptr, Disown::no, target)) {
    return true;
  }
  PyErr_Format(PyExc_TypeError, "a record or a pointer is needed, not '%s'", Py_TYPE(object)->tp_name);
  return false;
}

// address(pointer): where a record, a proxy or None points, as a number.
PyObject *address(PyObject * /*self*/, PyObject *object) {
  void *target = nullptr;
  return target_of(object, &target) ? PyLong_FromVoidPtr(target) : nullptr;
}

// read(pointer, size): a copy of the bytes there. The caller knows that there are as many.
PyObject *read(PyObject * /*self*/, PyObject *arguments) {
  PyObject *object = nullptr;
  Py_ssize_t size = 0;
  void *target = nullptr;
  if (!PyArg_ParseTuple(arguments, "On", &object, &size) || !target_of(object, &target)) {
    return nullptr;
  }
  if (!target || size < 0) {
    PyErr_SetString(PyExc_ValueError, target ? "a negative number of bytes" : "a null pointer has no bytes");
    return nullptr;
  }
  return PyBytes_FromStringAndSize(static_cast<const char *>(target), size);
}

// rows(first, count, names): see rows_of.
PyObject *rows(PyObject * /*self*/, PyObject *arguments) {
  PyObject *first = nullptr;
  Py_ssize_t count = 0;
  PyObject *names = nullptr;
  return PyArg_ParseTuple(arguments, "OnO!", &first, &count, &PyTuple_Type, &names) ? rows_of(first, count, names)
                                                                                    : nullptr;
}

// released(record): whether its memory was given back.
PyObject *released(PyObject * /*self*/, PyObject *record) {
  return PyBool_FromLong(is_record(record) && is_released(as_record(record)));
}

// storage(function): where among its arguments a function has the library store what then has to be taken back, and the
// function that does; None for any other.
PyObject *storage(PyObject * /*self*/, PyObject *function) {
  const MethodIndex method = index_of_function(function);
  const MethodFacts *facts = method == no_method ? nullptr : facts_of(method);
  if (!facts || !facts->storage) {
    Py_RETURN_NONE;
  }
  PyObject *taker = python_name(method_name(facts->storage_taken_back_by));
  return taker ? Py_BuildValue("iN", facts->storage - 1, taker) : nullptr;
}

PyObject *call_function_back(PyObject *function, PyObject *const *items, Py_ssize_t count) {
  return engine->call_back(function, items, static_cast<std::size_t>(count));
}

PyMethodDef called_back_definition = {"called_back",
                                      reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(call_function_back)),
                                      METH_FASTCALL, nullptr};

// called_back(function): the same function, for a library to call in the middle of a call.
PyObject *called_back(PyObject * /*self*/, PyObject *function) {
  return PyCFunction_New(&called_back_definition, function);
}

// unlocked(function, *arguments): see libvswitch._unlocked.
PyObject *unlocked(PyObject * /*self*/, PyObject *const *items, Py_ssize_t count) {
  if (count == 0) {
    PyErr_SetString(PyExc_TypeError, "unlocked() needs a function of libvswitch");
    return nullptr;
  }
  const MethodIndex method = index_of_function(items[0]);
  return method == no_method
             ? PyErr_Format(PyExc_TypeError, "unlocked() needs a function of libvswitch, not %R", items[0])
             : call_without_lock(method, {items + 1, count - 1});
}

PyObject *fork_begins(PyObject * /*self*/, PyObject * /*unused*/) {
  engine->hold_bridge_for_fork();
  Py_RETURN_NONE;
}

PyObject *forked_in_parent(PyObject * /*self*/, PyObject * /*unused*/) {
  engine->give_bridge_up_in_parent();
  Py_RETURN_NONE;
}

PyObject *forked_in_child(PyObject * /*self*/, PyObject * /*unused*/) {
  engine->give_bridge_up_in_child();
  Py_RETURN_NONE;
}

constexpr char unlocked_doc[] =
    "unlocked($module, function, /, *arguments)\n--\n\n"
    "One call of a function of the library with the interpreter lock released, so that other threads of the script "
    "run\n"
    "while the library works. Arguments, result and exceptions are those of the function itself. Calls of the library\n"
    "are made one at a time: others wait for this one, without the interpreter lock. TypeError for what is no "
    "function\n"
    "of libvswitch.";

PyMethodDef functions[] = {
    {"install", install, METH_O, nullptr},
    {"find", find, METH_O, nullptr},
    {"pointer", pointer, METH_VARARGS, nullptr},
    {"address", address, METH_O, nullptr},
    {"read", read, METH_VARARGS, nullptr},
    {"rows", rows, METH_VARARGS, nullptr},
    {"released", released, METH_O, nullptr},
    {"storage", storage, METH_O, nullptr},
    {"called_back", called_back, METH_O, nullptr},
    {"unlocked", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(unlocked)), METH_FASTCALL, unlocked_doc},
    {"fork_begins", fork_begins, METH_NOARGS, nullptr},
    {"forked_in_parent", forked_in_parent, METH_NOARGS, nullptr},
    {"forked_in_child", forked_in_child, METH_NOARGS, nullptr},
    {nullptr, nullptr, 0, nullptr},
};

PyModuleDef definition = [] {
  PyModuleDef module = {};
  module.m_base = PyModuleDef_HEAD_INIT;
  module.m_name = "libvswitch._records";
  module.m_size = -1;
  module.m_methods = functions;
  return module;
}();

}  // namespace

const Engine *engine = nullptr;

PyObject *python_part(const char *module, const char *name) {
  PyObject *part = PyImport_ImportModule(module);
  PyObject *function = part ? PyObject_GetAttrString(part, name) : nullptr;
  Py_XDECREF(part);
  return function;
}

PyObject *native_function(MethodIndex method) {
  const char *name = method_name(method);
  PyObject *key = PyUnicode_FromString(name);
  PyObject *function = key ? PyDict_GetItemWithError(PyModule_GetDict(native_module), key) : nullptr;
  Py_XDECREF(key);
  if (!function && !PyErr_Occurred()) {
    PyErr_Format(PyExc_ImportError, "the native module has no function '%s'", name);
  }
  return Py_XNewRef(function);
}

PyObject *python_name(const char *name) {
  return PyObject_GetAttrString(layer, name);
}

}  // namespace vswitchpy

PyObject *PyInit__records() {
  using namespace vswitchpy;
  PyObject *module =
      version_fits("libvswitch._records") && ready_member_types() ? PyModule_Create(&definition) : nullptr;
  if (module && PyModule_AddObjectRef(module, "field", reinterpret_cast<PyObject *>(&field_type)) < 0) {
    Py_CLEAR(module);
  }
  return module;
}
