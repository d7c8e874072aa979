// The record classes: native types built from the module's tables when the companion layer is imported.
#include "companion/record_class.hpp"

#include <cstdlib>
#include <cstring>

namespace vswitchpy {
namespace {

RecordClass *classes = nullptr;
extern PyTypeObject base_type;

// Instances of all record classes have one size, so that one list of unused ones serves them all.
constexpr std::size_t most_unused = 256;
RecordObject *unused[most_unused];
std::size_t unused_count = 0;

PyObject *make_instance(PyTypeObject *type, void *pointer, swig_type_info *descriptor, Ownership ownership) {
  RecordObject *record = nullptr;
  if (unused_count) {
    record = unused[--unused_count];
    PyObject_Init(reinterpret_cast<PyObject *>(record), type);
  } else {
    record = PyObject_New(RecordObject, type);
    if (!record) {
      return nullptr;
    }
  }
  record->pointer = pointer;
  record->type = descriptor;
  record->proxy = nullptr;
  record->owner = nullptr;
  record->weak_references = nullptr;
  record->source = 0;
  record->owned = ownership == Ownership::owned;
  record->released = false;
  return reinterpret_cast<PyObject *>(record);
}

void give_back(RecordObject *record) {
  if (record->owned) {
    // As the record's destructor function does.
    std::free(record->pointer);
  }
}

void record_dealloc(PyObject *self) {
  RecordObject *record = as_record(self);
  if (record->weak_references) {
    PyObject_ClearWeakRefs(self);
  }
  give_back(record);
  Py_XDECREF(record->proxy);
  Py_XDECREF(record->owner);
  PyTypeObject *type = Py_TYPE(self);
  if (type->tp_base == &base_type && unused_count < most_unused) {
    unused[unused_count++] = record;
    return;
  }
  type->tp_free(self);
}

// ---- construction ----------------------------------------------------------------------------------------

// Views may lie in memory that a record owns, so that it is never exchanged for another.
bool refuse_second_memory(const RecordObject *record) {
  if (record->pointer && (record->owned || record->proxy) && !record->released) {
    PyErr_SetString(PyExc_ValueError, "the record has its memory already");
    return true;
  }
  return false;
}

// What `this` is set to: the proxy owns the memory from then on.
bool adopt_proxy(RecordObject *record, PyObject *proxy) {
  if (refuse_second_memory(record)) {
    return false;
  }
  void *pointer = nullptr;
  swig_type_info *own_type = class_of(reinterpret_cast<PyObject *>(record))->descriptor;
  if (!engine->pointer_from(proxy, own_type, Disown::no, &pointer)) {
    pointer = nullptr;
  }
  Py_INCREF(proxy);
  record->pointer = pointer;
  record->type = own_type;
  record->owned = false;
  record->released = false;
  Py_CLEAR(record->owner);
  Py_XSETREF(record->proxy, proxy);
  return true;
}

PyObject *record_new(PyTypeObject *type, PyObject * /*arguments*/, PyObject * /*keywords*/) {
  PyTypeObject *kind = type;
  while (kind && kind->tp_base != &base_type) {
    kind = kind->tp_base;
  }
  if (!kind) {
    return PyErr_Format(PyExc_TypeError, "cannot create '%s' instances", type->tp_name);
  }
  PyObject *self = type->tp_alloc(type, 0);
  if (self) {
    as_record(self)->type = class_of(self)->descriptor;
  }
  return self;
}

bool refuse_keywords(const RecordClass &kind) {
  PyErr_Format(PyExc_TypeError, "%s() takes no keyword arguments", kind.type.tp_name);
  return false;
}

// The memory of a new record: as the constructor function makes it, and with its errors.
bool construct_into(RecordObject *record, const RecordClass &kind, Arguments arguments) {
  if (refuse_second_memory(record)) {
    return false;
  }
  if (arguments.count == 0 && !kind.entry->counted) {
    void *memory = std::calloc(1, kind.entry->size);
    if (!memory) {
      PyErr_NoMemory();
      return false;
    }
    record->pointer = memory;
    record->owned = true;
    record->released = false;
    Py_CLEAR(record->proxy);
    Py_CLEAR(record->owner);
    return true;
  }
  PyObject *proxy = call_function(kind.constructor, arguments);
  if (proxy == Py_None) {
    Py_DECREF(proxy);
    PyErr_NoMemory();
    return false;
  }
  const bool done = proxy && adopt_proxy(record, proxy);
  Py_XDECREF(proxy);
  return done;
}

int record_init(PyObject *self, PyObject *arguments, PyObject *keywords) {
  const RecordClass &kind = *class_of(self);
  if (keywords && PyDict_GET_SIZE(keywords) && !refuse_keywords(kind)) {
    return -1;
  }
  return construct_into(as_record(self), kind, arguments_in(arguments)) ? 0 : -1;
}

PyObject *record_vectorcall(PyObject *type, PyObject *const *items, std::size_t flagged_count, PyObject *keywords) {
  const auto &kind = *reinterpret_cast<RecordClass *>(type);
  if (keywords && PyTuple_GET_SIZE(keywords) && !refuse_keywords(kind)) {
    return nullptr;
  }
  PyObject *self = make_instance(reinterpret_cast<PyTypeObject *>(type), nullptr, kind.descriptor, Ownership::borrowed);
  if (self && !construct_into(as_record(self), kind, {items, PyVectorcall_NARGS(flagged_count)})) {
    Py_CLEAR(self);
  }
  return self;
}

// ---- what every record has ---------------------------------------------------------------------------------

PyObject *record_get_this(PyObject *self, void * /*closure*/) {
  RecordObject *record = as_record(self);
  if (!record->proxy) {
    void *pointer = live_pointer(record);
    if (!pointer) {
      PyErr_SetString(PyExc_AttributeError, "this");
      return nullptr;
    }
    const auto ownership = record->owned ? Ownership::owned : Ownership::borrowed;
    record->proxy = engine->new_bare_proxy(pointer, record->type, ownership);
    if (!record->proxy) {
      return nullptr;
    }
    record->owned = false;
  }
  return Py_NewRef(record->proxy);
}

int record_set_this(PyObject *self, PyObject *proxy, void * /*closure*/) {
  if (!proxy) {
    PyErr_SetString(PyExc_AttributeError, "cannot delete this");
    return -1;
  }
  return adopt_proxy(as_record(self), proxy) ? 0 : -1;
}

PyObject *record_get_thisown(PyObject *self, void * /*closure*/) {
  const RecordObject *record = as_record(self);
  return record->proxy ? PyObject_CallMethod(record->proxy, "own", nullptr) : PyBool_FromLong(record->owned);
}

int record_set_thisown(PyObject *self, PyObject *value, void * /*closure*/) {
  RecordObject *record = as_record(self);
  const int owned = value ? PyObject_IsTrue(value) : -1;
  if (owned < 0) {
    if (!value) {
      PyErr_SetString(PyExc_AttributeError, "cannot delete thisown");
    }
    return -1;
  }
  if (record->proxy) {
    PyObject *before = PyObject_CallMethod(record->proxy, "own", "i", owned);
    Py_XDECREF(before);
    return before ? 0 : -1;
  }
  if (!live_pointer(record) || (owned && record->owner)) {
    PyErr_SetString(PyExc_ValueError, record->owner ? "a view cannot own the memory of the record it lies in"
                                                    : "the record has no memory to own");
    return -1;
  }
  record->owned = owned;
  return 0;
}

PyObject *record_richcompare(PyObject *left, PyObject *right, int operation) {
  if ((operation != Py_EQ && operation != Py_NE) || !is_record(left) || !is_record(right)) {
    Py_RETURN_NOTIMPLEMENTED;
  }
  const bool equal = live_pointer(as_record(left)) == live_pointer(as_record(right));
  return PyBool_FromLong(equal == (operation == Py_EQ));
}

// Memory of a record that a script is done with; what is not its own stays.
PyObject *record_release(PyObject *self, PyObject * /*unused*/) {
  RecordObject *record = as_record(self);
  if (record->owner) {
    Py_RETURN_NONE;
  }
  if (record->proxy) {
    PyObject *before = PyObject_CallMethod(record->proxy, "own", "i", 0);
    if (!before) {
      return nullptr;
    }
    record->owned = before == Py_True;
    Py_DECREF(before);
  }
  if (!is_released(record)) {
    give_back(record);
  }
  record->owned = false;
  record->released = true;
  Py_RETURN_NONE;
}

// How many bytes the record has by its declaration; none that a count field says.
Py_ssize_t fixed_size(const RecordClass &kind) {
  if (kind.entry->counted) {
    PyErr_Format(PyExc_TypeError, "%s has no fixed size", kind.type.tp_name);
    return -1;
  }
  return static_cast<Py_ssize_t>(kind.entry->size);
}

PyObject *record_bytes(PyObject *self, PyObject * /*unused*/) {
  const Py_ssize_t size = fixed_size(*class_of(self));
  void *pointer = live_pointer(as_record(self));
  if (size >= 0 && !pointer) {
    PyErr_SetString(PyExc_ValueError, "the record has no memory");
    return nullptr;
  }
  return size < 0 ? nullptr : PyBytes_FromStringAndSize(static_cast<const char *>(pointer), size);
}

PyObject *record_from_bytes(PyObject *type, PyObject *data) {
  PyObject *self = PyObject_CallNoArgs(type);
  const Py_ssize_t size = self ? fixed_size(*class_of(self)) : -1;
  Py_buffer view;
  if (size < 0 || PyObject_GetBuffer(data, &view, PyBUF_SIMPLE) < 0) {
    Py_XDECREF(self);
    return nullptr;
  }
  if (view.len == size) {
    std::memcpy(as_record(self)->pointer, view.buf, static_cast<std::size_t>(size));
  } else {
    PyErr_Format(PyExc_ValueError, "%s has %zd bytes, not %zd", class_of(self)->type.tp_name, size, view.len);
    Py_CLEAR(self);
  }
  PyBuffer_Release(&view);
  return self;
}

PyObject *record_enter(PyObject *self, PyObject * /*unused*/) {
  return Py_NewRef(self);
}

PyObject *call_python_part(const char *module, const char *name, PyObject *self) {
  PyObject *function = python_part(module, name);
  PyObject *result = function ? PyObject_CallOneArg(function, self) : nullptr;
  Py_XDECREF(function);
  return result;
}

// What a library call has handed out goes back to the library.
PyObject *record_exit(PyObject *self, PyObject * /*details*/) {
  return as_record(self)->source ? call_python_part("libvswitch._ownership", "release", self)
                                 : record_release(self, nullptr);
}

PyObject *record_repr(PyObject *self) {
  const RecordClass &kind = *class_of(self);
  return kind.representation == no_method || !live_pointer(as_record(self))
             ? call_python_part("libvswitch._text", "describe", self)
             : call_method(kind.representation, {&self, 1});
}

PyObject *record_iter(PyObject *self) {
  return call_python_part("libvswitch._iteration", "iterate", self);
}

// ---- indexing ------------------------------------------------------------------------------------------------

PyObject *record_next(PyObject *self) {
  return call_method(class_of(self)->next, {&self, 1});
}

Py_ssize_t record_length(PyObject *self) {
  PyObject *length = call_method(class_of(self)->length, {&self, 1});
  const Py_ssize_t value = length ? PyLong_AsSsize_t(length) : -1;
  Py_XDECREF(length);
  return value;
}

PyObject *record_get_item(PyObject *self, PyObject *index) {
  PyObject *items[] = {self, index};
  return call_method(class_of(self)->get_item, {items, 2});
}

int record_set_item(PyObject *self, PyObject *index, PyObject *value) {
  if (!value) {
    PyErr_Format(PyExc_TypeError, "'%s' object doesn't support item deletion", Py_TYPE(self)->tp_name);
    return -1;
  }
  PyObject *items[] = {self, index, value};
  PyObject *result = call_method(class_of(self)->set_item, {items, 3});
  Py_XDECREF(result);
  return result ? 0 : -1;
}

PyGetSetDef base_attributes[] = {
    {"this", record_get_this, record_set_this, "The native pointer: a proxy object.", nullptr},
    {"thisown", record_get_thisown, record_set_thisown, "Whether the native memory is freed with this object.",
     nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

PyMethodDef base_methods[] = {
    {"__bytes__", record_bytes, METH_NOARGS,
     "__bytes__($self, /)\n--\n\nThe record's bytes as they lie in memory. TypeError for a record without a fixed "
     "size."},
    {"from_bytes", record_from_bytes, METH_O | METH_CLASS,
     "from_bytes($type, data, /)\n--\n\nA new record with these bytes. ValueError unless they are as many as it has."},
    {"release", record_release, METH_NOARGS,
     "release($self, /)\n--\n\nFrees the memory now if the record owns it. The record and its views are unusable\n"
     "afterwards: using one raises an exception. Releasing twice does nothing."},
    {"__enter__", record_enter, METH_NOARGS, "__enter__($self, /)\n--\n\nThe record, which is released at the end."},
    {"__exit__", record_exit, METH_VARARGS, "__exit__($self, /, *details)\n--\n\nReleases the record."},
    {nullptr, nullptr, 0, nullptr},
};

constinit PyTypeObject base_type = [] {
  PyTypeObject type = {};
  type.ob_base = {PyObject_HEAD_INIT(nullptr) 0};
  type.tp_name = "libvswitch.Record";
  type.tp_doc = "Base of all record classes. Two records are equal when they stand for the same native memory.";
  type.tp_basicsize = sizeof(RecordObject);
  type.tp_weaklistoffset = offsetof(RecordObject, weak_references);
  // Only the record classes derive from it, so that each of their instances has a record's description.
  type.tp_flags = Py_TPFLAGS_DEFAULT;
  type.tp_new = record_new;
  type.tp_init = record_init;
  type.tp_dealloc = record_dealloc;
  type.tp_repr = record_repr;
  type.tp_iter = record_iter;
  type.tp_hash = PyObject_HashNotImplemented;
  type.tp_richcompare = record_richcompare;
  type.tp_getattro = PyObject_GenericGetAttr;
  type.tp_setattro = PyObject_GenericSetAttr;
  type.tp_methods = base_methods;
  type.tp_getset = base_attributes;
  return type;
}();

// ---- building a class ----------------------------------------------------------------------------------------

// `__doc__` of a class, read when it is asked for.
PyObject *class_doc(PyObject * /*self*/, PyObject * /*instance*/, PyObject *type) {
  while (type && reinterpret_cast<PyTypeObject *>(type)->tp_base != &base_type) {
    type = reinterpret_cast<PyObject *>(reinterpret_cast<PyTypeObject *>(type)->tp_base);
  }
  if (!type) {
    Py_RETURN_NONE;
  }
  return PyUnicode_FromString(record_doc(static_cast<std::size_t>(reinterpret_cast<RecordClass *>(type) - classes)));
}

constinit PyTypeObject class_doc_type = [] {
  PyTypeObject type = {};
  type.ob_base = {PyObject_HEAD_INIT(nullptr) 0};
  type.tp_name = "libvswitch.documentation";
  type.tp_basicsize = sizeof(PyObject);
  type.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION;
  type.tp_descr_get = class_doc;
  return type;
}();

// A method that the layer's Python part defines.
struct PythonMethod {
  PyObject_HEAD const char *module;
  const char *name;
};

PyObject *python_method_get(PyObject *self, PyObject *object, PyObject * /*type*/) {
  const auto &method = *reinterpret_cast<PythonMethod *>(self);
  PyObject *function = python_part(method.module, method.name);
  if (!function || !object || object == Py_None) {
    return function;
  }
  PyObject *bound = PyMethod_New(function, object);
  Py_DECREF(function);
  return bound;
}

constinit PyTypeObject python_method_type = [] {
  PyTypeObject type = {};
  type.ob_base = {PyObject_HEAD_INIT(nullptr) 0};
  type.tp_name = "libvswitch.python_method";
  type.tp_basicsize = sizeof(PythonMethod);
  type.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION;
  type.tp_descr_get = python_method_get;
  return type;
}();

// Methods that no row describes.
constexpr struct {
  const char *record;
  const char *name;
  const char *module;
} python_methods[] = {
    {"DVMirrorSessionTable", "entities", "libvswitch._iteration"},
};

struct SpecialMethod {
  const char *name;
  MethodIndex RecordClass::*index;
};
constexpr SpecialMethod special_methods[] = {
    {"__getitem__", &RecordClass::get_item},    {"__setitem__", &RecordClass::set_item},
    {"__len__", &RecordClass::length},          {"__next__", &RecordClass::next},
    {"__repr__", &RecordClass::representation},
};

bool add_member(PyTypeObject &type, const char *name, std::size_t size, PyObject *member) {
  PyObject *key = member ? PyUnicode_FromStringAndSize(name, static_cast<Py_ssize_t>(size)) : nullptr;
  const bool added = key && PyDict_SetItem(type.tp_dict, key, member) == 0;
  Py_XDECREF(key);
  Py_XDECREF(member);
  return added;
}

// Puts what rows describe of a record into its class; returns the position behind the record's functions, or 0
// with the error set.
std::size_t add_members(RecordClass &kind, std::size_t method, std::size_t prefix) {
  for (const char *name = nullptr;; ++method) {
    const MethodEntry &entry = engine->methods[method];
    const auto index = static_cast<MethodIndex>(method);
    name = engine_text(entry.name) + prefix;
    switch (entry.kind) {
      case MethodKind::setter: break;  // its getter follows
      case MethodKind::getter: {
        const FieldEntry &field = engine->fields[entry.index];
        const auto setter = field.setter_name ? static_cast<MethodIndex>(method - 1) : no_method;
        if (!add_member(kind.type, name, std::strlen(name) - std::strlen("_get"),
                        new_field(&kind, &field, index, setter))) {
          return 0;
        }
        break;
      }
      case MethodKind::constructor: kind.constructor = index; break;
      case MethodKind::destructor: kind.destructor = index; break;
      case MethodKind::registration: return method + 1;
      default:
        for (const SpecialMethod &special : special_methods) {
          if (std::strcmp(name, special.name) == 0) {
            kind.*special.index = index;
          }
        }
        if (!add_member(kind.type, name, std::strlen(name), new_method(&kind, index))) {
          return 0;
        }
    }
  }
}

bool add_python_methods(RecordClass &kind) {
  for (const auto &row : python_methods) {
    if (std::strcmp(row.record, record_name(kind)) != 0) {
      continue;
    }
    auto *method = PyObject_New(PythonMethod, &python_method_type);
    if (method) {
      method->module = row.module;
      method->name = row.name;
    }
    if (!add_member(kind.type, row.name, std::strlen(row.name), reinterpret_cast<PyObject *>(method))) {
      return false;
    }
  }
  return true;
}

void set_slots(RecordClass &kind) {
  PyTypeObject &type = kind.type;
  if (kind.get_item != no_method) {
    kind.mapping.mp_subscript = record_get_item;
  }
  if (kind.set_item != no_method) {
    kind.mapping.mp_ass_subscript = record_set_item;
  }
  if (kind.length != no_method) {
    kind.mapping.mp_length = record_length;
  }
  type.tp_as_mapping = &kind.mapping;
  if (kind.next != no_method) {
    type.tp_iternext = record_next;
  }
}

// Name in memory of its own: static types keep a pointer to it.
const char *qualified_name(const char *name) {
  constexpr char module[] = "libvswitch.";
  auto *text = static_cast<char *>(PyMem_Malloc(sizeof module + std::strlen(name)));
  if (text) {
    std::strcpy(text, module);
    std::strcat(text, name);
  }
  return text;
}

bool register_class(RecordClass &kind, std::size_t registration) {
  auto *type = reinterpret_cast<PyObject *>(&kind.type);
  PyObject *done = engine->call(registration, {&type, 1});
  Py_XDECREF(done);
  return done != nullptr;
}

// Returns the position behind the record's functions, or 0 with the error set.
std::size_t make_class(RecordClass &kind, const RecordEntry &entry, std::size_t method, PyObject *documentation,
                       PyObject *dictionary) {
  kind.entry = &entry;
  const char *name = record_name(kind);
  kind.descriptor = engine->descriptor(entry.self);
  kind.get_item = kind.set_item = kind.length = kind.representation = kind.next = no_method;
  PyTypeObject &type = kind.type;
  type.ob_base = {PyObject_HEAD_INIT(nullptr) 0};
  type.tp_name = qualified_name(name);
  type.tp_base = &base_type;
  type.tp_basicsize = sizeof(RecordObject);
  type.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE;
  type.tp_vectorcall = record_vectorcall;
  type.tp_dict = PyDict_New();
  if (!type.tp_name || !type.tp_dict) {
    PyErr_NoMemory();
    return 0;
  }
  const std::size_t end = add_members(kind, method, std::strlen(name) + 1);
  if (!end || !add_python_methods(kind) ||
      !add_member(type, "__doc__", std::strlen("__doc__"), Py_NewRef(documentation))) {
    return 0;
  }
  // The built-in function itself: wrapper modules read its flags.
  PyObject *destroy = native_function(kind.destructor);
  if (!add_member(type, "__swig_destroy__", std::strlen("__swig_destroy__"), destroy)) {
    return 0;
  }
  set_slots(kind);
  if (PyType_Ready(&type) < 0 || PyDict_SetItemString(dictionary, name, reinterpret_cast<PyObject *>(&type)) < 0 ||
      !register_class(kind, end - 1)) {
    return 0;
  }
  return end;
}

}  // namespace

const Engine *engine = nullptr;

// The module has a copy of this.
RecordClasses record_classes = {};

RecordClass *class_of(PyObject *record) {
  PyTypeObject *type = Py_TYPE(record);
  while (type->tp_base != &base_type) {
    type = type->tp_base;
  }
  return reinterpret_cast<RecordClass *>(type);
}

const char *record_name(const RecordClass &kind) {
  return engine_text(kind.entry->constructor_name) + std::strlen("new_");
}

bool make_record_classes(PyObject *dictionary) {
  // Types are never taken down, as the module is not.
  classes = static_cast<RecordClass *>(PyMem_Calloc(engine->record_count, sizeof(RecordClass)));
  if (!classes) {
    PyErr_NoMemory();
    return false;
  }
  if (PyType_Ready(&base_type) < 0 || PyType_Ready(&class_doc_type) < 0 || PyType_Ready(&python_method_type) < 0 ||
      PyDict_SetItemString(dictionary, "Record", reinterpret_cast<PyObject *>(&base_type)) < 0) {
    return false;
  }
  PyObject *documentation = PyObject_New(PyObject, &class_doc_type);
  std::size_t method = 0;
  bool made = documentation != nullptr;
  for (std::size_t i = 0; made && i < engine->record_count; ++i) {
    method = make_class(classes[i], engine->records[i], method, documentation, dictionary);
    made = method != 0;
  }
  Py_XDECREF(documentation);
  if (made) {
    record_classes = *engine->record_classes = {&base_type, make_instance};
  }
  return made;
}

PyObject *keep_owner(PyObject *view, PyObject *record) {
  if (view && is_record(view) && is_record(record) && view != record && !as_record(view)->owned) {
    RecordObject *whole = as_record(record)->owner ? as_record(record)->owner : as_record(record);
    Py_INCREF(whole);
    Py_XSETREF(as_record(view)->owner, whole);
  }
  return view;
}

}  // namespace vswitchpy
