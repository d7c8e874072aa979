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

// The record class that a type is or derives from; null for the base of all.
RecordClass *class_behind(PyTypeObject *type) {
  while (type && type->tp_base != &base_type) {
    type = type->tp_base;
  }
  return reinterpret_cast<RecordClass *>(type);
}

PyObject *make_instance(PyTypeObject *type, void *pointer, swig_type_info *descriptor, Ownership ownership) {
  auto &kind = *reinterpret_cast<RecordClass *>(type);
  if (!kind.complete && !complete_class(kind)) [[unlikely]] {
    return nullptr;
  }
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
  record->state = 0;
  record->owned = ownership == Ownership::owned;
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
bool refuse_second_memory(RecordObject *record) {
  if (refuse_released(reinterpret_cast<PyObject *>(record))) {
    return true;
  }
  if (record->pointer && (record->owned || record->proxy)) {
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
  record->state = pointer && Py_TYPE(proxy) == engine->proxy_type ? follows_proxy : 0;
  record->owned = false;
  Py_CLEAR(record->owner);
  Py_XSETREF(record->proxy, proxy);
  return true;
}

PyObject *record_new(PyTypeObject *type, PyObject * /*arguments*/, PyObject * /*keywords*/) {
  RecordClass *kind = class_behind(type);
  if (!kind) {
    return PyErr_Format(PyExc_TypeError, "cannot create '%s' instances", type->tp_name);
  }
  if (!kind->complete && !complete_class(*kind)) {
    return nullptr;
  }
  PyObject *self = type->tp_alloc(type, 0);
  if (self) {
    as_record(self)->type = kind->descriptor;
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
    record->state = 0;
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
    record->state |= follows_proxy;
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
  if ((owned && (record->owner || is_released(record))) || (!record->proxy && !live_pointer(record))) {
    PyErr_SetString(PyExc_ValueError, record->owner ? "a view cannot own the memory of the record it lies in"
                                                    : "the record has no memory to own");
    return -1;
  }
  if (record->proxy) {
    PyObject *before = PyObject_CallMethod(record->proxy, "own", "i", owned);
    Py_XDECREF(before);
    return before ? 0 : -1;
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

PyObject *call_python_part(const char *module, const char *name, PyObject *self) {
  PyObject *function = python_part(module, name);
  PyObject *result = function ? PyObject_CallOneArg(function, self) : nullptr;
  Py_XDECREF(function);
  return result;
}

// Frees what is the record's own.
PyObject *free_own_memory(RecordObject *record) {
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
  mark_released(record);
  Py_RETURN_NONE;
}

// Whether the record has memory that somebody else has to take back.
bool is_handed_out(PyObject *self) {
  PyObject *owned = record_get_thisown(self, nullptr);
  const bool own = owned == Py_True;
  Py_XDECREF(owned);
  PyErr_Clear();
  return !own && live_pointer(as_record(self)) && !as_record(self)->owner;
}

// A script is done with a record: what it owns is freed, what a call has handed out goes back. A view stays.
PyObject *record_release(PyObject *self, PyObject * /*unused*/) {
  RecordObject *record = as_record(self);
  if (record->owner) {
    Py_RETURN_NONE;
  }
  return record->source && is_handed_out(self) ? call_python_part("libvswitch._ownership", "give_back", self)
                                               : free_own_memory(record);
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
  if (!as_record(self)->source && is_handed_out(self)) {
    return PyErr_Format(PyExc_ValueError, "this %s does not know who takes its memory back", Py_TYPE(self)->tp_name);
  }
  return Py_NewRef(self);
}

PyObject *record_exit(PyObject *self, PyObject * /*details*/) {
  return record_release(self, nullptr);
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

PyObject *record_reduce(PyObject *self, PyObject * /*protocol*/) {
  return PyErr_Format(PyExc_TypeError, "cannot copy or pickle '%s' object: bytes() and from_bytes() carry its contents",
                      Py_TYPE(self)->tp_name);
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
     "release($self, /)\n--\n\nFrees the memory now if the record owns it, and gives it back if a call has handed it\n"
     "out. The record and its views are unusable afterwards: using one raises an exception. Releasing twice does\n"
     "nothing."},
    {"__reduce_ex__", record_reduce, METH_O,
     "__reduce_ex__($self, protocol, /)\n--\n\nTypeError: native memory is neither copied nor pickled."},
    {"__enter__", record_enter, METH_NOARGS,
     "__enter__($self, /)\n--\n\nThe record, which is released at the end. ValueError for memory of unknown origin."},
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
  const RecordClass *kind = class_behind(reinterpret_cast<PyTypeObject *>(type));
  return kind ? PyUnicode_FromString(record_doc(static_cast<std::size_t>(kind - classes))) : Py_NewRef(Py_None);
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

// Puts what rows describe of a record into its class.
bool add_members(RecordClass &kind) {
  const std::size_t prefix = std::strlen(record_name(kind)) + 1;
  for (MethodIndex index = kind.first; index < kind.constructor; ++index) {
    const MethodEntry &entry = engine->methods[index];
    if (entry.kind == MethodKind::setter) {
      continue;  // its getter follows
    }
    const char *name = engine_text(entry.name) + prefix;
    std::size_t size = std::strlen(name);
    PyObject *member = nullptr;
    if (entry.kind == MethodKind::getter) {
      const FieldEntry &field = engine->fields[entry.index];
      const auto setter = field.setter_name ? static_cast<MethodIndex>(index - 1) : no_method;
      member = new_field(&kind, &field, index, setter);
      size -= std::strlen("_get");
    } else {
      member = new_method(&kind, index);
    }
    if (!add_member(kind.type, name, size, member)) {
      return false;
    }
  }
  return true;
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

// The methods behind the interpreter's own operations.
void set_slots(RecordClass &kind) {
  const std::size_t prefix = std::strlen(record_name(kind)) + 1;
  for (MethodIndex index = kind.first; index < kind.constructor; ++index) {
    const MethodEntry &entry = engine->methods[index];
    for (const SpecialMethod &special : special_methods) {
      if (entry.kind == MethodKind::call && std::strcmp(engine_text(entry.name) + prefix, special.name) == 0) {
        kind.*special.index = index;
      }
    }
  }
  if (kind.get_item != no_method) {
    kind.mapping.mp_subscript = record_get_item;
  }
  if (kind.set_item != no_method) {
    kind.mapping.mp_ass_subscript = record_set_item;
  }
  if (kind.length != no_method) {
    kind.mapping.mp_length = record_length;
  }
  kind.type.tp_as_mapping = &kind.mapping;
  if (kind.next != no_method) {
    kind.type.tp_iternext = record_next;
  }
}

// Name in memory of its own: static types keep a pointer to it.
const char *qualified_name(const char *name) {
  constexpr char module[] = "libvswitch.";
  const std::size_t size = sizeof module + std::strlen(name);
  auto *text = static_cast<char *>(PyMem_Malloc(size));
  if (text) {
    PyOS_snprintf(text, size, "%s%s", module, name);
  }
  return text;
}

bool register_class(RecordClass &kind, std::size_t registration) {
  auto *type = reinterpret_cast<PyObject *>(&kind.type);
  PyObject *done = engine->call(registration, {&type, 1});
  Py_XDECREF(done);
  return done != nullptr;
}

// ---- the class of the classes: makes the members of one when it is first looked at ---------------------------------

PyObject *class_getattro(PyObject *self, PyObject *name) {
  RecordClass *kind = class_behind(reinterpret_cast<PyTypeObject *>(self));
  return kind && !kind->complete && !complete_class(*kind) ? nullptr : PyType_Type.tp_getattro(self, name);
}

// A class that a script derives may ask its base for members without an instance.
PyObject *class_new(PyTypeObject *type, PyObject *arguments, PyObject *keywords) {
  PyObject *bases = PyTuple_GET_SIZE(arguments) == 3 ? PyTuple_GET_ITEM(arguments, 1) : nullptr;
  for (Py_ssize_t i = 0; bases && PyTuple_Check(bases) && i < PyTuple_GET_SIZE(bases); ++i) {
    PyObject *base = PyTuple_GET_ITEM(bases, i);
    RecordClass *kind = PyType_Check(base) ? class_behind(reinterpret_cast<PyTypeObject *>(base)) : nullptr;
    if (kind && !kind->complete && !complete_class(*kind)) {
      return nullptr;
    }
  }
  return PyType_Type.tp_new(type, arguments, keywords);
}

constinit PyTypeObject class_type = [] {
  PyTypeObject type = {};
  type.ob_base = {PyObject_HEAD_INIT(nullptr) 0};
  type.tp_name = "libvswitch.RecordClass";
  type.tp_doc = "The class of the record classes.";
  type.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE | Py_TPFLAGS_TYPE_SUBCLASS;
  type.tp_getattro = class_getattro;
  type.tp_new = class_new;
  return type;
}();

// Everything of a class but its members. Returns the position behind the record's functions, or 0 with the error set.
std::size_t make_class(RecordClass &kind, const RecordEntry &entry, std::size_t method, PyObject *dictionary) {
  kind.entry = &entry;
  kind.descriptor = engine->types[entry.self];
  kind.get_item = kind.set_item = kind.length = kind.representation = kind.next = no_method;
  kind.first = static_cast<MethodIndex>(method);
  while (engine->methods[method].kind != MethodKind::constructor) {
    ++method;
  }
  kind.constructor = static_cast<MethodIndex>(method++);
  kind.destructor = static_cast<MethodIndex>(method++);
  const char *name = record_name(kind);
  PyTypeObject &type = kind.type;
  type.ob_base = {PyObject_HEAD_INIT(&class_type) 0};
  type.tp_name = qualified_name(name);
  type.tp_base = &base_type;
  type.tp_basicsize = sizeof(RecordObject);
  type.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE;
  type.tp_vectorcall = record_vectorcall;
  set_slots(kind);
  if (!type.tp_name) {
    PyErr_NoMemory();
    return 0;
  }
  // Registration asks the class for its destructor, and for nothing else.
  kind.complete = true;
  // The built-in function itself: wrapper modules read its flags.
  PyObject *destroy = PyType_Ready(&type) == 0 ? native_function(kind.destructor) : nullptr;
  const bool made = destroy && PyDict_SetItemString(type.tp_dict, "__swig_destroy__", destroy) == 0 &&
                    PyDict_SetItemString(dictionary, name, reinterpret_cast<PyObject *>(&type)) == 0 &&
                    register_class(kind, method);
  Py_XDECREF(destroy);
  kind.complete = false;
  return made ? method + 1 : 0;
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

bool complete_class(RecordClass &kind) {
  PyObject *documentation = PyObject_New(PyObject, &class_doc_type);
  const bool added = documentation && PyDict_SetItemString(kind.type.tp_dict, "__doc__", documentation) == 0 &&
                     add_members(kind) && add_python_methods(kind);
  Py_XDECREF(documentation);
  PyType_Modified(&kind.type);
  kind.complete = added;
  return added;
}

bool make_record_classes(PyObject *dictionary) {
  // Types are never taken down, as the module is not.
  classes = static_cast<RecordClass *>(PyMem_Calloc(engine->record_count, sizeof(RecordClass)));
  if (!classes) {
    PyErr_NoMemory();
    return false;
  }
  class_type.tp_base = &PyType_Type;
  if (PyType_Ready(&class_type) < 0 || PyType_Ready(&base_type) < 0 || PyType_Ready(&class_doc_type) < 0 ||
      PyType_Ready(&python_method_type) < 0 ||
      PyDict_SetItemString(dictionary, "Record", reinterpret_cast<PyObject *>(&base_type)) < 0) {
    return false;
  }
  std::size_t method = 0;
  for (std::size_t i = 0; i < engine->record_count; ++i) {
    method = make_class(classes[i], engine->records[i], method, dictionary);
    if (!method) {
      return false;
    }
  }
  record_classes = *engine->record_classes = {&base_type, make_instance};
  return true;
}

PyObject *keep_owner(PyObject *view, PyObject *record) {
  if (view && is_record(view) && is_record(record) && view != record && !as_record(view)->owned) {
    lie_in(as_record(view), as_record(record));
  }
  return view;
}

}  // namespace vswitchpy
