// The members of record classes: fields as attributes, and methods.
#include "companion/members.hpp"

#include "companion/documentation.hpp"
#include "companion/facts.hpp"
#include "companion/functions.hpp"
#include "companion/instances.hpp"

#include <cstring>

namespace vswitchpy {
namespace {

struct FieldObject {
  PyObject_HEAD RecordClass *owner;
  const FieldEntry *field;
  FieldPlace place;  // a copy, so that no entry has to be looked at for the frequent kinds
  MethodIndex getter;
  MethodIndex setter;
  std::uint16_t run;  // of an array whose elements the record counts: see run_in
  const AlsoAccepted *also;
};

struct MethodObject {
  PyObject_HEAD vectorcallfunc call;
  RecordClass *owner;
  MethodIndex method;
};

const FieldObject &as_field(PyObject *object) {
  return *reinterpret_cast<FieldObject *>(object);
}

const MethodObject &as_method(PyObject *object) {
  return *reinterpret_cast<MethodObject *>(object);
}

// What counts is whose memory it is, not which class a script has given the instance.
[[gnu::noinline]] void *pointer_by_type(PyObject *object, const swig_type_info *type) {
  return is_record(object) && as_record(object)->type == type ? live_pointer(as_record(object)) : nullptr;
}

// The memory to work on directly; null where the accessor function has to judge. Whose memory it is needs no looking up
// for an instance of the class itself, to which no script can give another class.
[[gnu::always_inline]] inline void *direct_pointer(PyObject *object, const RecordClass *kind) {
  if (Py_TYPE(object) == &kind->type && !as_record(object)->state) [[likely]] {
    return as_record(object)->pointer;
  }
  return pointer_by_type(object, kind->descriptor);
}

PyObject *member_name(MethodIndex method, const RecordClass &owner, std::size_t suffix) {
  const char *name = method_name(method) + std::strlen(record_name(owner)) + 1;
  return PyUnicode_FromStringAndSize(name, static_cast<Py_ssize_t>(std::strlen(name) - suffix));
}

PyObject *field_name(PyObject *self, void * /*closure*/) {
  return member_name(as_field(self).getter, *as_field(self).owner, std::strlen("_get"));
}

PyObject *field_get(PyObject *self, PyObject *object, PyObject * /*type*/) {
  if (!object) {
    return Py_NewRef(self);
  }
  const FieldObject &attribute = as_field(self);
  if (void *record = direct_pointer(object, attribute.owner)) [[likely]] {
    if (attribute.place.kind == FieldKind::embedded_record) {
      return view_of(engine->types[attribute.field->pointee], static_cast<char *>(record) + attribute.place.offset,
                     object);
    }
    PyObject *value = read_directly(attribute.place, *attribute.field, record);
    if (attribute.place.kind < FieldKind::array) {
      return value;
    }
    if (attribute.run && value && is_record(value)) {
      as_record(value)->run = attribute.run;
    }
    return keep_owner(value, object);
  }
  return refuse_released(object) ? nullptr : call_function(attribute.getter, {&object, 1});
}

bool is_number(PyObject *value, long number) {
  int overflow = 0;
  return PyLong_AsLongAndOverflow(value, &overflow) == number && !overflow;
}

int field_set(PyObject *self, PyObject *object, PyObject *value) {
  const FieldObject &attribute = as_field(self);
  if (!value || attribute.setter == no_method) {
    PyObject *name = field_name(self, nullptr);
    if (name) {
      PyErr_Format(PyExc_AttributeError, "the field '%U' of '%s' records cannot be %s", name,
                   attribute.owner->type.tp_name, value ? "assigned" : "deleted");
      Py_DECREF(name);
    }
    return -1;
  }
  void *record = direct_pointer(object, attribute.owner);
  std::uint64_t number = 0;
  if (record && attribute.place.kind == FieldKind::scalar && short_number(value, &number) &&
      number <= highest(attribute.place.scalar)) {
    store_scalar(static_cast<char *>(record) + attribute.place.offset, attribute.place.scalar, number);
    return 0;
  }
  if (refuse_released(object)) {
    return -1;
  }
  if (record && attribute.also && PyLong_Check(value) && is_number(value, attribute.also->value)) {
    store_scalar(static_cast<char *>(record) + attribute.place.offset, attribute.place.scalar,
                 static_cast<std::uint64_t>(attribute.also->value));
    return 0;
  }
  PyObject *done = nullptr;
  if (record) [[likely]] {
    done = engine->write_field(*attribute.field, record, value);
    if (done && *engine->error_left) [[unlikely]] {
      done = checked_result(attribute.setter, done);
    }
  } else {
    PyObject *items[] = {object, value};
    done = call_function(attribute.setter, {items, 2});
  }
  Py_XDECREF(done);
  return done ? 0 : -1;
}

PyObject *field_doc_text(PyObject *self, void * /*closure*/) {
  return PyUnicode_FromString(field_doc(static_cast<std::size_t>(as_field(self).field - engine->fields)));
}

PyObject *field_owner(PyObject *self, void * /*closure*/) {
  return Py_NewRef(reinterpret_cast<PyObject *>(&as_field(self).owner->type));
}

PyObject *accessor(MethodIndex method) {
  return method == no_method ? Py_NewRef(Py_None) : python_name(method_name(method));
}

PyObject *field_getter(PyObject *self, void * /*closure*/) {
  return accessor(as_field(self).getter);
}

PyObject *field_setter(PyObject *self, void * /*closure*/) {
  return accessor(as_field(self).setter);
}

PyObject *field_repr(PyObject *self) {
  PyObject *name = field_name(self, nullptr);
  PyObject *text =
      name ? PyUnicode_FromFormat("<field '%U' of '%s' records>", name, as_field(self).owner->type.tp_name) : nullptr;
  Py_XDECREF(name);
  return text;
}

PyObject *field_kind(PyObject *self, void * /*closure*/) {
  switch (as_field(self).place.kind) {
    case FieldKind::scalar: return PyUnicode_FromString("scalar");
    case FieldKind::bits: return PyUnicode_FromString("bits");
    case FieldKind::character_array: return PyUnicode_FromString("text");
    case FieldKind::mac_text: return PyUnicode_FromString("mac");
    case FieldKind::embedded_record: return PyUnicode_FromString("record");
    case FieldKind::array: return PyUnicode_FromString("array");
    default: return PyUnicode_FromString("pointer");
  }
}

PyObject *field_size(PyObject *self, void * /*closure*/) {
  return PyLong_FromUnsignedLong(as_field(self).place.size);
}

PyGetSetDef field_attributes[] = {
    {"__name__", field_name, nullptr, nullptr, nullptr},
    {"__doc__", field_doc_text, nullptr, nullptr, nullptr},
    {"__objclass__", field_owner, nullptr, nullptr, nullptr},
    {"size", field_size, nullptr, "Bytes that the field takes in the record.", nullptr},
    {"kind", field_kind, nullptr, "scalar, bits, text, mac, record, array or pointer.", nullptr},
    {"fget", field_getter, nullptr, "The accessor function that reads the field.", nullptr},
    {"fset", field_setter, nullptr, "The accessor function that writes it, or None.", nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

}  // namespace

constinit PyTypeObject field_type = [] {
  PyTypeObject type = type_of_the_layer("libvswitch.field", sizeof(FieldObject));
  type.tp_descr_get = field_get;
  type.tp_descr_set = field_set;
  type.tp_repr = field_repr;
  type.tp_getset = field_attributes;
  return type;
}();

namespace {

// ---- methods -------------------------------------------------------------------------------------------------

PyObject *method_call(PyObject *self, PyObject *const *items, std::size_t flagged_count, PyObject *keywords) {
  const MethodObject &method = as_method(self);
  if (keywords && PyTuple_GET_SIZE(keywords)) {
    PyErr_Format(PyExc_TypeError, "%s() takes no keyword arguments", method_name(method.method));
    return nullptr;
  }
  return call_method(method.method, {items, PyVectorcall_NARGS(flagged_count)});
}

PyObject *method_bind(PyObject *self, PyObject *object, PyObject * /*type*/) {
  return object && object != Py_None ? PyMethod_New(self, object) : Py_NewRef(self);
}

PyObject *method_name(PyObject *self, void * /*closure*/) {
  return member_name(as_method(self).method, *as_method(self).owner, 0);
}

PyObject *method_qualified_name(PyObject *self, void * /*closure*/) {
  PyObject *name = method_name(self, nullptr);
  PyObject *text = name ? PyUnicode_FromFormat("%s.%U", record_name(*as_method(self).owner), name) : nullptr;
  Py_XDECREF(name);
  return text;
}

constexpr char signature_end[] = "\n--\n\n";

PyObject *method_doc_text(PyObject *self, void * /*closure*/) {
  const char *text = method_doc(as_method(self).method);
  const char *end = std::strstr(text, signature_end);
  return PyUnicode_FromString(end ? end + std::strlen(signature_end) : text);
}

PyObject *method_signature(PyObject *self, void * /*closure*/) {
  const char *text = method_doc(as_method(self).method);
  const char *start = std::strchr(text, '(');
  const char *end = std::strstr(text, signature_end);
  return start && end && start < end ? PyUnicode_FromStringAndSize(start, end - start) : Py_NewRef(Py_None);
}

PyObject *method_owner(PyObject *self, void * /*closure*/) {
  return Py_NewRef(reinterpret_cast<PyObject *>(&as_method(self).owner->type));
}

PyObject *method_repr(PyObject *self) {
  PyObject *name = method_name(self, nullptr);
  PyObject *text =
      name ? PyUnicode_FromFormat("<method '%U' of '%s' records>", name, as_method(self).owner->type.tp_name) : nullptr;
  Py_XDECREF(name);
  return text;
}

PyGetSetDef method_attributes[] = {
    {"__name__", method_name, nullptr, nullptr, nullptr},
    {"__qualname__", method_qualified_name, nullptr, nullptr, nullptr},
    {"__doc__", method_doc_text, nullptr, nullptr, nullptr},
    {"__text_signature__", method_signature, nullptr, nullptr, nullptr},
    {"__objclass__", method_owner, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

constinit PyTypeObject method_type = [] {
  PyTypeObject type = type_of_the_layer("libvswitch.method", sizeof(MethodObject));
  type.tp_vectorcall_offset = offsetof(MethodObject, call);
  type.tp_call = PyVectorcall_Call;
  type.tp_flags |= Py_TPFLAGS_HAVE_VECTORCALL | Py_TPFLAGS_METHOD_DESCRIPTOR;
  type.tp_descr_get = method_bind;
  type.tp_repr = method_repr;
  type.tp_getset = method_attributes;
  return type;
}();

}  // namespace

bool ready_member_types() {
  return PyType_Ready(&field_type) == 0 && PyType_Ready(&method_type) == 0;
}

namespace {

// A tuple of the fields of a kind of record that a tuple of names names: those with a value of their own, a number or a
// text.
PyObject *find_values(const RecordClass &kind, PyObject *names) {
  PyObject *fields = PyTuple_New(PyTuple_GET_SIZE(names));
  for (Py_ssize_t i = 0; fields && i < PyTuple_GET_SIZE(names); ++i) {
    PyObject *name = PyTuple_GET_ITEM(names, i);
    PyObject *member = PyDict_GetItemWithError(kind.type.tp_dict, name);
    if (member && Py_TYPE(member) == &field_type && as_field(member).place.kind < FieldKind::array) {
      PyTuple_SET_ITEM(fields, i, Py_NewRef(member));
      continue;
    }
    if (!PyErr_Occurred()) {
      PyErr_Format(PyExc_ValueError, "%s has no number or text %R", kind.type.tp_name, name);
    }
    Py_CLEAR(fields);
  }
  return fields;
}

PyObject *row_of(PyObject *fields, PyObject *first, Py_ssize_t offset) {
  const Py_ssize_t width = PyTuple_GET_SIZE(fields);
  PyObject *row = PyTuple_New(width);
  // After the tuple: making one may run a finalizer, and that may release the record. Numbers and texts run nothing.
  if (!row || refuse_released(first)) {
    Py_XDECREF(row);
    return nullptr;
  }
  auto *record = static_cast<char *>(live_pointer(as_record(first))) + offset;
  for (Py_ssize_t i = 0; row && i < width; ++i) {
    const FieldObject &field = as_field(PyTuple_GET_ITEM(fields, i));
    PyObject *value = read_directly(field.place, *field.field, record);
    if (!value) {
      Py_CLEAR(row);
      break;
    }
    PyTuple_SET_ITEM(row, i, value);
  }
  return row;
}

}  // namespace

PyObject *rows_of(PyObject *first, Py_ssize_t count, PyObject *names) {
  if (!is_record(first)) {
    return PyErr_Format(PyExc_TypeError, "a record is needed, not '%s'", Py_TYPE(first)->tp_name);
  }
  RecordClass &kind = *class_of(first);
  const Py_ssize_t size = refuse_released(first) ? -1 : fixed_size(kind);
  if (size < 0 || (!kind.complete && !complete_class(kind))) {
    return nullptr;
  }
  const bool has_memory = live_pointer(as_record(first));
  if (!has_memory || count < 0 || PyTuple_GET_SIZE(names) == 0) {
    PyErr_SetString(PyExc_ValueError, !has_memory ? "the record has no memory"
                                      : count < 0 ? "a negative number of rows"
                                                  : "no field is named");
    return nullptr;
  }
  PyObject *fields = find_values(kind, names);
  PyObject *rows = fields ? PyList_New(count) : nullptr;
  for (Py_ssize_t i = 0; rows && i < count; ++i) {
    PyObject *row = row_of(fields, first, i * size);
    if (!row) {
      Py_CLEAR(rows);
      break;
    }
    PyList_SET_ITEM(rows, i, row);
  }
  Py_XDECREF(fields);
  return rows;
}

PyObject *new_field(RecordClass *owner, const FieldEntry *field, MethodIndex getter, MethodIndex setter) {
  auto *attribute = PyObject_New(FieldObject, &field_type);
  if (attribute) {
    attribute->owner = owner;
    attribute->field = field;
    attribute->place = field->place;
    attribute->getter = getter;
    attribute->setter = setter;
    attribute->also = also_accepted_by(static_cast<FieldIndex>(field - engine->fields));
    attribute->run =
        field->place.kind == FieldKind::array ? run_in(static_cast<FieldIndex>(field - engine->fields)) : 0;
  }
  return reinterpret_cast<PyObject *>(attribute);
}

PyObject *new_method(RecordClass *owner, MethodIndex method) {
  auto *object = PyObject_New(MethodObject, &method_type);
  if (object) {
    object->call = method_call;
    object->owner = owner;
    object->method = method;
  }
  return reinterpret_cast<PyObject *>(object);
}

}  // namespace vswitchpy
