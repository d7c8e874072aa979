// Instances of the record classes: where their memory is, who frees it, and what every record can do.
#include "companion/instances.hpp"

#include "companion/contents.hpp"
#include "companion/facts.hpp"
#include "companion/functions.hpp"
#include "runtime/bridge.hpp"

#include <cstdlib>
#include <cstring>

namespace vswitchpy {
namespace {

// Instances of all record classes have one size, so that one list of unused ones serves them all.
constexpr std::size_t most_unused = 256;
RecordObject *unused[most_unused];
std::size_t unused_count = 0;

}  // namespace

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
  record->state = descriptor == kind.descriptor ? 0 : of_other_type;
  record->run = 0;
  record->owned = ownership == Ownership::owned;
  return reinterpret_cast<PyObject *>(record);
}

namespace {

// Frees what is the instance's own.
void free_own(const RecordObject *record) {
  if (record->owned) {
    // As the record's destructor function does.
    is_claimed(*engine->bridge_use) ? engine->free_later(record->pointer) : std::free(record->pointer);
  }
}

void record_dealloc(PyObject *self) {
  RecordObject *record = as_record(self);
  if (record->weak_references) {
    PyObject_ClearWeakRefs(self);
  }
  free_own(record);
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
  record->run = 0;
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

// The module passes such a number on as -1 and complains when the call is over.
bool refuse_count_beyond_64_bits(const RecordClass &kind, Arguments arguments) {
  if (arguments.count != 1 || !PyLong_Check(arguments.items[0])) {
    return false;
  }
  int overflow = 0;
  PyLong_AsLongLongAndOverflow(arguments.items[0], &overflow);
  if (overflow) {
    PyErr_Format(PyExc_OverflowError, "in method '%s', argument 1 of type 'int'", method_name(kind.constructor));
  }
  return overflow != 0;
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
    record->type = kind.descriptor;
    record->owned = true;
    record->state = 0;
    record->run = 0;
    Py_CLEAR(record->proxy);
    Py_CLEAR(record->owner);
    return true;
  }
  if (refuse_count_beyond_64_bits(kind, arguments)) {
    return false;
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

}  // namespace

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

namespace {

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
    free_own(record);
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

// Gives a record back to the library or helper that has handed it out.
PyObject *hand_back(PyObject *self) {
  return call_function(facts_of(static_cast<MethodIndex>(as_record(self)->source - 1))->taken_back_by, {&self, 1});
}

// A script is done with a record: what it owns is freed, what a call has handed out goes back. A view stays.
PyObject *record_release(PyObject *self, PyObject * /*unused*/) {
  RecordObject *record = as_record(self);
  if (record->owner) {
    Py_RETURN_NONE;
  }
  return record->source && is_handed_out(self) ? hand_back(self) : free_own_memory(record);
}

// How many bytes the memory of a record has; -1 with the error set where a count field says, or where a script has
// given the record another class.
Py_ssize_t size_of(PyObject *self) {
  const RecordClass &kind = *class_of(self);
  if (as_record(self)->type != kind.descriptor) {
    PyErr_Format(PyExc_TypeError, "this is not the memory of a '%s'", kind.type.tp_name);
    return -1;
  }
  return fixed_size(kind);
}

bool refuse_missing(PyObject *self) {
  if (refuse_released(self)) {
    return true;
  }
  if (!live_pointer(as_record(self))) {
    PyErr_SetString(PyExc_ValueError, "the record has no memory");
    return true;
  }
  return false;
}

PyObject *record_bytes(PyObject *self, PyObject * /*unused*/) {
  const Py_ssize_t size = size_of(self);
  if (size < 0 || refuse_missing(self)) {
    return nullptr;
  }
  return PyBytes_FromStringAndSize(static_cast<const char *>(live_pointer(as_record(self))), size);
}

// Two records of one kind, byte by byte.
PyObject *record_same_contents(PyObject *self, PyObject *other) {
  if (!is_record(other) || as_record(other)->type != as_record(self)->type) {
    return PyErr_Format(PyExc_TypeError, "'%s' cannot have the contents of a '%s'", Py_TYPE(other)->tp_name,
                        Py_TYPE(self)->tp_name);
  }
  const Py_ssize_t size = size_of(self);
  if (size < 0 || refuse_missing(self) || refuse_missing(other)) {
    return nullptr;
  }
  return PyBool_FromLong(
      std::memcmp(live_pointer(as_record(self)), live_pointer(as_record(other)), static_cast<std::size_t>(size)) == 0);
}

// A new instance as the script's class makes it, which may be anything.
PyObject *instance_for_bytes(PyObject *type, Py_ssize_t size) {
  PyObject *self = PyObject_CallNoArgs(type);
  if (!self) {
    return nullptr;
  }
  if (!is_record(self)) {
    PyErr_Format(PyExc_TypeError, "'%s' made no record but '%s'", reinterpret_cast<PyTypeObject *>(type)->tp_name,
                 Py_TYPE(self)->tp_name);
  } else if (size_of(self) == size && !refuse_missing(self)) {
    return self;
  } else if (!PyErr_Occurred()) {
    PyErr_Format(PyExc_TypeError, "'%s' made another record, '%s'", reinterpret_cast<PyTypeObject *>(type)->tp_name,
                 Py_TYPE(self)->tp_name);
  }
  Py_DECREF(self);
  return nullptr;
}

PyObject *record_from_bytes(PyObject *type, PyObject *data) {
  const RecordClass *kind = class_behind(reinterpret_cast<PyTypeObject *>(type));
  if (!kind) {
    return PyErr_Format(PyExc_TypeError, "cannot create '%s' instances",
                        reinterpret_cast<PyTypeObject *>(type)->tp_name);
  }
  const Py_ssize_t size = fixed_size(*kind);
  Py_buffer view;
  if (size < 0 || PyObject_GetBuffer(data, &view, PyBUF_SIMPLE) < 0) {
    return nullptr;
  }
  PyObject *self = nullptr;
  if (view.len != size) {
    PyErr_Format(PyExc_ValueError, "%s has %zd bytes, not %zd", kind->type.tp_name, size, view.len);
  } else if ((self = instance_for_bytes(type, size))) {
    std::memcpy(live_pointer(as_record(self)), view.buf, static_cast<std::size_t>(size));
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

}  // namespace

PyObject *record_next(PyObject *self) {
  return call_method(class_of(self)->next, {&self, 1});
}

namespace {

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
    {"same_contents", record_same_contents, METH_O,
     "same_contents($self, other, /)\n--\n\nWhether another record of the same kind has the same bytes, padding "
     "included; == tells whether both stand for\n"
     "the same memory. TypeError for a record of another kind, and for one without a fixed size."},
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

}  // namespace

constinit PyTypeObject base_type = [] {
  PyTypeObject type = {};
  type.ob_base = {PyObject_HEAD_INIT(nullptr) 0};
  type.tp_name = "libvswitch.Record";
  type.tp_doc =
      "Base of all record classes. Two records are equal when they stand for the same native memory; same_contents()\n"
      "compares their bytes.";
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

bool refuse_released(PyObject *object) {
  if (!is_record(object) || !is_released(as_record(object))) {
    return false;
  }
  PyErr_Format(PyExc_ValueError, "the memory of this %s was released", Py_TYPE(object)->tp_name);
  return true;
}

PyObject *view_of(swig_type_info *type, void *address, PyObject *record) {
  const auto *data = static_cast<SwigPyClientData *>(type->clientdata);
  auto *kind = data && !data->pytype ? reinterpret_cast<PyTypeObject *>(data->klass) : nullptr;
  if (!kind || !PyType_Check(data->klass) || !is_record_class(kind)) {
    return keep_owner(engine->new_proxy(address, type, Ownership::borrowed), record);
  }
  PyObject *view = record_classes.make(kind, address, type, Ownership::borrowed);
  if (view) {
    lie_in(as_record(view), as_record(record));
  }
  return view;
}

PyObject *keep_owner(PyObject *view, PyObject *record) {
  if (view && is_record(view) && is_record(record) && view != record && !as_record(view)->owned) {
    lie_in(as_record(view), as_record(record));
  }
  return view;
}

}  // namespace vswitchpy
