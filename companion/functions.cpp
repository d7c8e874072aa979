// The module's functions as the companion layer offers them: documented, and called without an argument tuple.
#include "companion/record_class.hpp"

#include <array>
#include <cstring>
#include <utility>

namespace vswitchpy {
namespace {

// Enough for the module; checked when the layer is imported.
constexpr std::size_t most_methods = 1792;
PyMethodDef definitions[most_methods];
bool releasing[most_methods];  // functions that take back what the library or a helper has handed out

template <std::size_t I>
PyObject *function(PyObject * /*module*/, PyObject *const *items, Py_ssize_t count) {
  return call_function(I, {items, count});
}

using Function = PyObject *(PyObject *, PyObject *const *, Py_ssize_t);

constexpr auto functions = []<std::size_t... I>(std::index_sequence<I...>) {
  return std::array<Function *, sizeof...(I)>{function<I>...};
}
(std::make_index_sequence<most_methods>());

// Records in a result list remember the call that handed them out: it tells which library takes them back.
void remember_source(PyObject *list, MethodIndex method) {
  for (Py_ssize_t i = 1; i < PyList_GET_SIZE(list); ++i) {
    PyObject *item = PyList_GET_ITEM(list, i);
    if (is_record(item)) {
      as_record(item)->source = static_cast<std::uint16_t>(method + 1);
    }
  }
}

void remember_release(PyObject *argument) {
  if (is_record(argument)) {
    as_record(argument)->released = true;
  }
}

bool takes_back(const char *name) {
  return std::strncmp(name, "free_", std::strlen("free_")) == 0 || std::strstr(name, "_FreeMemory") ||
         std::strcmp(name, "DVSQEL_DataFree") == 0;
}

}  // namespace

bool prepare_functions() {
  if (engine->method_count > most_methods || !documentation_fits()) {
    PyErr_SetString(PyExc_ImportError, "the native module is not the one that this companion layer was built for");
    return false;
  }
  for (std::size_t i = 0; i < engine->method_count; ++i) {
    releasing[i] = engine->methods[i].kind == MethodKind::call && takes_back(engine_text(engine->methods[i].name));
  }
  return true;
}

PyObject *checked_result(MethodIndex method, PyObject *result) {
  *engine->error_left = false;
  char where[160];
  PyOS_snprintf(where, sizeof where, "<built-in function %s>", engine_text(engine->methods[method].name));
  return _Py_CheckFunctionResult(PyThreadState_Get(), nullptr, result, where);
}

PyObject *call_function(MethodIndex method, Arguments arguments) {
  PyObject *result = engine->call(method, arguments);
  if (!result) {
    return nullptr;
  }
  if (*engine->error_left) [[unlikely]] {
    return checked_result(method, result);
  }
  if (PyList_CheckExact(result)) {
    remember_source(result, method);
  } else if (releasing[method]) {
    remember_release(arguments.items[0]);
  }
  return result;
}

PyObject *call_method(MethodIndex method, Arguments arguments) {
  PyObject *result = call_function(method, arguments);
  return arguments.count ? keep_owner(result, arguments.items[0]) : result;
}

PyObject *new_function(MethodIndex method, PyObject *module, PyObject *module_name) {
  PyMethodDef &definition = definitions[method];
  if (!definition.ml_name) {
    definition = {engine->definitions[method].ml_name,
                  reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(functions[method])), METH_FASTCALL,
                  method_doc(method)};
  }
  return PyCFunction_NewEx(&definition, module, module_name);
}

}  // namespace vswitchpy
