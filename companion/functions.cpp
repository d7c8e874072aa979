// The module's functions as the companion layer offers them: documented, and called without an argument tuple.
#include "companion/functions.hpp"

#include "companion/documentation.hpp"
#include "companion/instances.hpp"
#include "companion/members.hpp"

#include <array>
#include <cstring>
#include <utility>

namespace vswitchpy {
namespace {

// Enough for the module; checked when the layer is imported.
constexpr std::size_t most_methods = 1792;
PyMethodDef definitions[most_methods];

// What a function does with records that are not the script's.
enum class Role : std::uint8_t { other, hands_out, takes_back };
Role roles[most_methods];

template <std::size_t I>
PyObject *function(PyObject * /*module*/, PyObject *const *items, Py_ssize_t count) {
  return call_function(I, {items, count});
}

using Function = PyObject *(PyObject *, PyObject *const *, Py_ssize_t);

constexpr auto functions = []<std::size_t... I>(std::index_sequence<I...>) {
  return std::array<Function *, sizeof...(I)>{function<I>...};
}
(std::make_index_sequence<most_methods>());

// A record that was handed out remembers by what: that tells what takes it back.
void remember_source(PyObject *item, MethodIndex method) {
  if (is_record(item)) {
    as_record(item)->source = static_cast<std::uint16_t>(method + 1);
  }
}

// A view has no memory of its own to give back. False with the error set.
bool may_be_given_back(PyObject *argument, MethodIndex method) {
  if (is_record(argument) && as_record(argument)->owner) {
    PyErr_Format(PyExc_ValueError, "in method '%s', a view cannot be freed without the record it lies in",
                 method_name(method));
    return false;
  }
  return true;
}

// Neither the record nor its proxy is to free the memory, or to be used, again.
void remember_release(PyObject *argument) {
  void *ignored = nullptr;
  engine->pointer_from(argument, nullptr, Disown::yes, &ignored);
  if (is_record(argument)) {
    mark_released(as_record(argument));
  } else if (Py_TYPE(argument) == engine->proxy_type) {
    reinterpret_cast<SwigPyObject *>(argument)->ptr = nullptr;
  }
}

bool starts_with(const char *name, const char *start) {
  return std::strncmp(name, start, std::strlen(start)) == 0;
}

Role role_of(const MethodEntry &entry) {
  const char *name = engine_text(entry.name);
  if (entry.kind == MethodKind::destructor) {
    return Role::takes_back;
  }
  if (entry.kind != MethodKind::call) {
    return Role::other;
  }
  if (starts_with(name, "alloc_") || starts_with(name, "new_")) {
    return Role::hands_out;
  }
  return starts_with(name, "free_") || starts_with(name, "delete_") || std::strstr(name, "_FreeMemory") ||
                 std::strcmp(name, "DVSQEL_DataFree") == 0
             ? Role::takes_back
             : Role::other;
}

}  // namespace

bool prepare_functions() {
  if (engine->method_count > most_methods || !documentation_fits()) {
    PyErr_SetString(PyExc_ImportError, "the native module is not the one that this companion layer was built for");
    return false;
  }
  for (std::size_t i = 0; i < engine->method_count; ++i) {
    roles[i] = role_of(engine->methods[i]);
  }
  return true;
}

PyObject *checked_result(MethodIndex method, PyObject *result) {
  *engine->error_left = false;
  char where[160];
  PyOS_snprintf(where, sizeof where, "<built-in function %s>", method_name(method));
  return _Py_CheckFunctionResult(PyThreadState_Get(), nullptr, result, where);
}

namespace {

// The memory of a record or of one of the module's own proxies, if it is of exactly this type; else null.
void *quick_pointer(PyObject *object, const swig_type_info *type) {
  if (Py_TYPE(object) == engine->proxy_type) {
    const auto *proxy = reinterpret_cast<SwigPyObject *>(object);
    return proxy->ty == type ? proxy->ptr : nullptr;
  }
  if (is_record_class(Py_TYPE(object))) {
    return as_record(object)->type == type ? live_pointer(as_record(object)) : nullptr;
  }
  return nullptr;
}

// What the layer does when a function of the module is over.
PyObject *finished(MethodIndex method, Arguments arguments, PyObject *result) {
  if (!result) {
    return nullptr;
  }
  if (*engine->error_left) [[unlikely]] {
    return checked_result(method, result);
  }
  if (PyList_CheckExact(result)) {
    for (Py_ssize_t i = 1; i < PyList_GET_SIZE(result); ++i) {
      remember_source(PyList_GET_ITEM(result, i), method);
    }
  } else if (roles[method] == Role::hands_out) {
    remember_source(result, method);
  } else if (roles[method] == Role::takes_back) {
    remember_release(arguments.items[0]);
  }
  return result;
}

}  // namespace

PyObject *call_function(MethodIndex method, Arguments arguments) {
  const MethodEntry &entry = engine->methods[method];
  if (entry.kind == MethodKind::getter && arguments.count == 1) {
    const FieldEntry &field = engine->fields[entry.index];
    if (void *record = quick_pointer(arguments.items[0], engine->types[field.self])) {
      return read_directly(field.place, field, record);
    }
  }
  if (roles[method] == Role::takes_back) {
    if (*engine->bridge_claims) [[unlikely]] {
      // Now rather than in the call: what is looked at here is to hold until it is over.
      engine->wait_for_bridge();
    }
    if (arguments.count == 1 && !may_be_given_back(arguments.items[0], method)) {
      return nullptr;
    }
  }
  return finished(method, arguments, engine->call(method, arguments, NameEnd::slot));
}

PyObject *call_without_lock(MethodIndex method, Arguments arguments) {
  // What takes memory back works without others in between, and what reads a field has no call.
  return engine->methods[method].kind == MethodKind::getter || roles[method] == Role::takes_back
             ? call_function(method, arguments)
             : finished(method, arguments, engine->call_without_lock(method, arguments, NameEnd::slot));
}

PyObject *call_method(MethodIndex method, Arguments arguments) {
  if (arguments.count && refuse_released(arguments.items[0])) {
    return nullptr;
  }
  PyObject *result = call_function(method, arguments);
  return arguments.count ? keep_owner(result, arguments.items[0]) : result;
}

MethodIndex index_of_function(PyObject *function) {
  if (!PyCFunction_Check(function)) {
    return no_method;
  }
  const PyMethodDef *definition = reinterpret_cast<PyCFunctionObject *>(function)->m_ml;
  const PyMethodDef *const tables[] = {engine->definitions, definitions};
  for (const PyMethodDef *table : tables) {
    const auto position = reinterpret_cast<std::intptr_t>(definition) - reinterpret_cast<std::intptr_t>(table);
    if (position >= 0 && position < static_cast<std::intptr_t>(engine->method_count * sizeof *table)) {
      return static_cast<MethodIndex>(position / static_cast<std::intptr_t>(sizeof *table));
    }
  }
  return no_method;
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
