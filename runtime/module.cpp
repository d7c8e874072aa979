// Module initialisation, in the order that scripts and other wrapper modules rely on.
#include "runtime/module.hpp"

#include "runtime/engine.hpp"

#include <cstring>

extern "C" __attribute__((visibility("default"))) PyObject *PyInit__libvswitch();

namespace vswitchpy {

PyObject *new_instance_method(PyObject * /*module*/, PyObject *function) {
  return PyInstanceMethod_New(function);
}

namespace {

// A name is plain ASCII: nothing to decode.
PyObject *name_object(const char *name) {
  const std::size_t size = std::strlen(name);
  PyObject *object = PyUnicode_New(static_cast<Py_ssize_t>(size), 127);
  if (object) {
    std::memcpy(PyUnicode_1BYTE_DATA(object), name, size);
  }
  return object;
}

// An item that cannot be made is left out; the next one is installed regardless. Names are not interned: that is half
// of what 1,000 of them cost, and code that uses a name brings its own.
void install(PyObject *dictionary, const char *name, PyObject *value) {
  PyObject *key = value ? name_object(name) : nullptr;
  if (!key || PyDict_SetItem(dictionary, key, value) < 0) {
    PyErr_Clear();
  }
  Py_XDECREF(key);
  Py_XDECREF(value);
}

// The link object is made and installed as `cvar` just before its first variable is linked.
void link(PyObject *dictionary, PyObject **variable_link, const char *name) {
  if (!*variable_link) {
    *variable_link = new_variable_link();
    install(dictionary, "cvar", Py_XNewRef(*variable_link));
  }
  if (*variable_link) {
    link_variable(*variable_link, name);
  }
}

void install_constants_and_variables(PyObject *dictionary) {
  const char *text = constant_texts;
  const long long *integer = constant_integers;
  PyObject *variable_link = nullptr;
  const auto next_text = [&text] {
    const char *current = text;
    text += std::strlen(text) + 1;
    return current;
  };
  while (*text) {
    const auto kind = static_cast<ItemKind>(*text++);
    const char *name = next_text();
    switch (kind) {
      case ItemKind::integer: install(dictionary, name, PyLong_FromLongLong(*integer++)); break;
      case ItemKind::text: install(dictionary, name, text_to_python(next_text())); break;
      case ItemKind::variable: link(dictionary, &variable_link, name); break;
    }
  }
  Py_XDECREF(variable_link);
}

ModuleDefinition definition = [] {
  PyModuleDef module = {};
  module.m_base = PyModuleDef_HEAD_INIT;
  module.m_name = "_libvswitch";
  // No state for each module: a further import in the process gets the same functions from the interpreter's copy.
  module.m_size = -1;
  module.m_methods = module_methods;
  return ModuleDefinition{module, &module_engine};
}();

}  // namespace
}  // namespace vswitchpy

PyObject *PyInit__libvswitch() {
  using namespace vswitchpy;
  if (!version_fits("_libvswitch")) {
    return nullptr;
  }
  // 1. Method documentation that names pointer constants would be rewritten here; no method has any.
  // 2. The module with its functions, and its dictionary.
  PyObject *module = PyModule_Create2(&definition.interpreter, PYTHON_API_VERSION);
  if (!module) {
    return nullptr;
  }
  PyObject *dictionary = PyModule_GetDict(module);
  // 3. The type descriptors.
  register_types(module_types);
  // 4. Pointer and binary constants: there are none.
  // 5. The named constants, and 6. between them the variables at the places where they are declared.
  install_constants_and_variables(dictionary);
  return module;
}
