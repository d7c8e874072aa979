// The module's functions as the companion layer offers them: documented, and called without an argument tuple.
#include "companion/functions.hpp"

#include "companion/contents.hpp"
#include "companion/documentation.hpp"
#include "companion/facts.hpp"
#include "companion/instances.hpp"
#include "companion/members.hpp"
#include "runtime/bridge.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace vswitchpy {
namespace {

// Enough for the module; checked when the layer is imported.
constexpr std::size_t most_methods = 1792;
PyMethodDef definitions[most_methods];

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
[[gnu::noinline]] void remember_release(PyObject *argument) {
  void *ignored = nullptr;
  engine->pointer_from(argument, nullptr, Disown::yes, &ignored);
  if (is_record(argument)) {
    mark_released(as_record(argument));
  } else if (Py_TYPE(argument) == engine->proxy_type) {
    reinterpret_cast<SwigPyObject *>(argument)->ptr = nullptr;
  }
}

}  // namespace

bool prepare_functions() {
  if (engine->method_count > most_methods || !documentation_fits() || !facts_fit()) {
    PyErr_SetString(PyExc_ImportError, "the native module is not the one that this companion layer was built for");
    return false;
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

// Whether the interpreter lock is held while the library works.
enum class Lock : bool { released, held };

// This and what is marked like it makes one function of a call: a fifth of a short call went into handing arguments on.
[[gnu::always_inline]] inline PyObject *checked_call(MethodIndex method, Arguments arguments, Lock lock) {
  PyObject *result = lock == Lock::held ? engine->call(method, arguments, NameEnd::slot)
                                        : engine->call_without_lock(method, arguments, NameEnd::slot);
  return result && *engine->error_left ? checked_result(method, result) : result;
}

// ---- data and its length ---------------------------------------------------------------------------------------

constexpr Py_ssize_t unknown = -1;
constexpr Py_ssize_t refused = -2;  // with the error set

PyObject *refuse_type(MethodIndex method, std::uint8_t place, const char *type) {
  return PyErr_Format(PyExc_TypeError, "in method '%s', argument %d of type '%s'", method_name(method), int{place},
                      type);
}

// The size of the bytes or the text that is data. The library would be called with a null pointer for anything else.
Py_ssize_t size_of_bytes(MethodIndex method, const MethodFacts &facts, PyObject *data) {
  if (PyBytes_Check(data)) {
    return PyBytes_GET_SIZE(data);
  }
  Py_ssize_t size = 0;
  if (facts.data_kind == Data::bytes_or_text && PyUnicode_Check(data)) {
    if (PyUnicode_AsUTF8AndSize(data, &size)) {
      return size;
    }
    if (PyErr_ExceptionMatches(PyExc_MemoryError)) {
      return refused;
    }
    PyErr_Clear();
  }
  refuse_type(method, facts.data, facts.data_kind == Data::bytes ? "bytes" : "bytes or str");
  return refused;
}

// How much a cell or buffer holds; unknown for a record or proxy.
Py_ssize_t size_of_storage(const MethodFacts &facts, PyObject *data) {
  if (data == Py_None || is_record(data) || Py_TYPE(data) == engine->proxy_type) {
    return unknown;
  }
  Py_ssize_t size = unknown;
  PyObject *storage = PyObject_GetAttrString(data, "_storage");
  Py_buffer view;
  if (storage && PyObject_GetBuffer(storage, &view, PyBUF_SIMPLE) == 0) {
    size = facts.data_kind == Data::elements && view.itemsize ? view.len / view.itemsize : view.len;
    PyBuffer_Release(&view);
  }
  Py_XDECREF(storage);
  PyErr_Clear();
  return size;
}

// False with the error set for data that is none, or that is shorter than its length says.
bool data_fits(MethodIndex method, const MethodFacts &facts, Arguments arguments) {
  PyObject *data = arguments.items[facts.data - 1];
  const Py_ssize_t size = facts.data_kind == Data::bytes || facts.data_kind == Data::bytes_or_text
                              ? size_of_bytes(method, facts, data)
                              : size_of_storage(facts, data);
  PyObject *length = facts.length ? arguments.items[facts.length - 1] : nullptr;
  if (size < 0 || !length || !PyLong_Check(length)) {
    return size != refused;
  }
  int overflow = 0;
  const long long stated = PyLong_AsLongLongAndOverflow(length, &overflow);
  if (overflow || stated <= size) {
    return true;
  }
  PyErr_Format(PyExc_ValueError, "in method '%s', argument %d: a length of %lld, where argument %d has %zd",
               method_name(method), int{facts.length}, stated, int{facts.data}, size);
  return false;
}

// False with the error set for an object of which six bytes cannot be read. What has no bytes is the module's to
// refuse.
bool has_six_bytes(MethodIndex method, std::uint8_t place, PyObject *object) {
  Py_buffer view;
  if (PyObject_GetBuffer(object, &view, PyBUF_SIMPLE) < 0) {
    PyErr_Clear();
    return true;
  }
  const Py_ssize_t size = view.len;
  PyBuffer_Release(&view);
  if (size < 6) {
    PyErr_Format(PyExc_ValueError, "in method '%s', argument %d: six bytes are needed, not %zd", method_name(method),
                 int{place}, size);
  }
  return size >= 6;
}

// ---- functions of which something is known ---------------------------------------------------------------------

[[gnu::always_inline]] inline void remember_sources(PyObject *result, MethodIndex method) {
  if (!PyList_CheckExact(result)) {
    remember_source(result, method);
    return;
  }
  for (Py_ssize_t i = 1; i < PyList_GET_SIZE(result); ++i) {
    remember_source(PyList_GET_ITEM(result, i), method);
  }
}

// False with the error set for arguments that the module would take, but should not. Apart from the call, which most
// functions come to without it.
[[gnu::noinline]] bool may_be_called(MethodIndex method, const MethodFacts &facts, Arguments arguments) {
  return !(facts.data && !data_fits(method, facts, arguments)) &&
         !(facts.six_bytes && !has_six_bytes(method, facts.six_bytes, arguments.items[facts.six_bytes - 1])) &&
         !(facts.role == Role::takes_back && !may_be_given_back(arguments.items[0], method));
}

[[gnu::always_inline]] inline PyObject *call_by_facts(MethodIndex method, const MethodFacts &facts, Arguments arguments,
                                                      Lock lock) {
  if (facts.role == Role::takes_back) {
    if (is_claimed(*engine->bridge_use)) [[unlikely]] {
      // Now rather than in the call: what is looked at here is to hold until it is over.
      engine->wait_for_bridge();
    }
    lock = Lock::held;  // it works without others in between
  }
  if ((facts.data || facts.six_bytes || facts.role == Role::takes_back) && !may_be_called(method, facts, arguments)) {
    return nullptr;
  }
  PyObject *result = checked_call(method, arguments, lock);
  if (result && facts.role == Role::hands_out) {
    remember_sources(result, method);
  } else if (result && facts.role == Role::takes_back) {
    remember_release(arguments.items[0]);
  }
  return result;
}

// With the index that the module's function is to get.
[[gnu::noinline]] PyObject *call_with_index(MethodIndex method, const MethodFacts &facts, Arguments arguments,
                                            Lock lock) {
  PyObject *items[most_arguments];
  PyObject *index = bounded_index(method, arguments.items[0], arguments.items[facts.index - 1]);
  if (!index) {
    return nullptr;
  }
  std::copy_n(arguments.items, arguments.count, items);
  items[facts.index - 1] = index;
  PyObject *result = call_by_facts(method, facts, {items, arguments.count}, lock);
  Py_DECREF(index);
  return result;
}

[[gnu::always_inline]] inline PyObject *call(MethodIndex method, Arguments arguments, Lock lock) {
  const MethodFacts *facts = facts_of(method);
  // A wrong number of arguments is the module's to refuse.
  if (!facts || facts->inputs != arguments.count) {
    return checked_call(method, arguments, lock);
  }
  return facts->index ? call_with_index(method, *facts, arguments, lock)
                      : call_by_facts(method, *facts, arguments, lock);
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
  return call(method, arguments, Lock::held);
}

PyObject *call_without_lock(MethodIndex method, Arguments arguments) {
  // What reads a field has no call.
  return engine->methods[method].kind == MethodKind::getter ? call_function(method, arguments)
                                                            : call(method, arguments, Lock::released);
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
