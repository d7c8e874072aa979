// The record classes themselves, built from the module's tables: static types, and the members of each.
#include "companion/classes.hpp"

#include "companion/contents.hpp"
#include "companion/documentation.hpp"
#include "companion/facts.hpp"
#include "companion/functions.hpp"
#include "companion/instances.hpp"
#include "companion/members.hpp"

#include <cstring>

namespace vswitchpy {
namespace {

RecordClass *classes = nullptr;

// `__doc__` of a class, read when it is asked for.
PyObject *class_doc(PyObject * /*self*/, PyObject * /*instance*/, PyObject *type) {
  const RecordClass *kind = class_behind(reinterpret_cast<PyTypeObject *>(type));
  return kind ? PyUnicode_FromString(record_doc(static_cast<std::size_t>(kind - classes))) : Py_NewRef(Py_None);
}

constinit PyTypeObject class_doc_type = [] {
  PyTypeObject type = type_of_the_layer("libvswitch.documentation", sizeof(PyObject));
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
  PyTypeObject type = type_of_the_layer("libvswitch.python_method", sizeof(PythonMethod));
  type.tp_descr_get = python_method_get;
  return type;
}();

// Methods that no row describes, or that check what the module's function takes as it is.
constexpr struct {
  const char *record;
  const char *name;
  const char *module;
} python_methods[] = {
    {"DVMirrorEntity", "set_entity", "libvswitch._addresses"},
    {"DVMirrorSessionTable", "entities", "libvswitch._iteration"},
};

struct SpecialMethod {
  const char *name;
  MethodIndex RecordClass::*index;
};
constexpr SpecialMethod special_methods[] = {
    {"__getitem__", &RecordClass::get_item},
    {"__setitem__", &RecordClass::set_item},
    {"__next__", &RecordClass::next},
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

int always_true(PyObject * /*self*/) {
  return 1;
}

// Whether arrays of the record are counted by others.
bool lies_in_counted_arrays(const RecordClass &kind) {
  for (std::size_t i = 0; i < engine->record_count; ++i) {
    const RecordContents *contents = contents_of(i);
    if (contents && contents->elements == Elements::of_array &&
        engine->types[engine->fields[contents->array].pointee] == kind.descriptor) {
      return true;
    }
  }
  return false;
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
  if (has_index(kind)) {
    kind.mapping.mp_subscript = record_get_item;
  }
  if (kind.set_item != no_method) {
    kind.mapping.mp_ass_subscript = record_set_item;
  }
  if (has_length(kind)) {
    kind.mapping.mp_length = record_length;
  }
  if (kind.in_array) {
    // A view of an array is there also where the array is empty, and any other has no length to ask for.
    kind.number.nb_bool = always_true;
    kind.type.tp_as_number = &kind.number;
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
  PyObject *done = engine->call(registration, {&type, 1}, NameEnd::slot);
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

// Whether a class may have these bases: of the record classes only one, since its instances have one record's memory,
// and the one that it had before, since there may be instances.
bool one_record_among(PyTypeObject *type, PyObject *bases, const RecordClass **record) {
  for (Py_ssize_t i = 0; i < PySequence_Fast_GET_SIZE(bases); ++i) {
    PyObject *base = PySequence_Fast_GET_ITEM(bases, i);
    if (!PyType_Check(base) || base == reinterpret_cast<PyObject *>(type)) {
      continue;
    }
    const RecordClass *kind = class_behind(reinterpret_cast<PyTypeObject *>(base));
    if (kind && *record && kind != *record) {
      PyErr_Format(PyExc_TypeError, "class '%s' cannot stand for two records, '%s' and '%s'", type->tp_name,
                   (*record)->type.tp_name, kind->type.tp_name);
      return false;
    }
    *record = kind ? kind : *record;
  }
  return true;
}

// mro() of a class, which the interpreter asks for whenever a class is made or its bases change.
PyObject *class_mro(PyObject *self, PyObject * /*unused*/) {
  PyObject *order = PyObject_CallMethod(reinterpret_cast<PyObject *>(&PyType_Type), "mro", "O", self);
  auto *type = reinterpret_cast<PyTypeObject *>(self);
  const RecordClass *record = nullptr;
  const bool one = order && (!type->tp_mro || one_record_among(type, type->tp_mro, &record)) &&
                   one_record_among(type, order, &record);
  if (!one) {
    Py_CLEAR(order);
  }
  return order;
}

PyMethodDef class_methods[] = {
    {"mro", class_mro, METH_NOARGS,
     "mro($self, /)\n--\n\nThe class and its bases; of the records among them only one."},
    {nullptr, nullptr, 0, nullptr},
};

constinit PyTypeObject class_type = [] {
  PyTypeObject type = {};
  type.ob_base = {PyObject_HEAD_INIT(nullptr) 0};
  type.tp_name = "libvswitch.RecordClass";
  type.tp_doc = "The class of the record classes.";
  type.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE | Py_TPFLAGS_TYPE_SUBCLASS;
  type.tp_getattro = class_getattro;
  type.tp_new = class_new;
  type.tp_methods = class_methods;
  return type;
}();

// Everything of a class but its members. Returns the position behind the record's functions, or 0 with the error set.
std::size_t make_class(RecordClass &kind, const RecordEntry &entry, std::size_t method) {
  kind.entry = &entry;
  kind.descriptor = engine->types[entry.self];
  kind.get_item = kind.set_item = kind.representation = kind.next = no_method;
  kind.contents = contents_of(static_cast<std::size_t>(&entry - engine->records));
  kind.in_array = lies_in_counted_arrays(kind);
  kind.first = static_cast<MethodIndex>(method);
  while (engine->methods[method].kind != MethodKind::constructor) {
    ++method;
  }
  kind.constructor = static_cast<MethodIndex>(method++);
  kind.destructor = static_cast<MethodIndex>(method++);
  PyTypeObject &type = kind.type;
  // A plain type until it is ready: nobody has to be asked for its order of bases.
  type.ob_base = {PyObject_HEAD_INIT(&PyType_Type) 0};
  type.tp_name = qualified_name(record_name(kind));
  type.tp_base = &base_type;
  type.tp_basicsize = sizeof(RecordObject);
  type.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE;
  type.tp_vectorcall = record_vectorcall;
  set_slots(kind);
  kind.element = element_reader(kind);
  if (!type.tp_name) {
    PyErr_NoMemory();
    return 0;
  }
  // Registration asks the class for its destructor, and for nothing else.
  kind.complete = true;
  // The built-in function itself: wrapper modules read its flags.
  const bool ready = PyType_Ready(&type) == 0;
  Py_SET_TYPE(&type, &class_type);
  PyObject *destroy = ready ? native_function(kind.destructor) : nullptr;
  const bool made =
      destroy && PyDict_SetItemString(type.tp_dict, "__swig_destroy__", destroy) == 0 && register_class(kind, method);
  Py_XDECREF(destroy);
  kind.complete = false;
  return made ? method + 1 : 0;
}

}  // namespace

// The module has a copy of this.
RecordClasses record_classes = {};

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

bool make_record_classes() {
  if (engine->record_classes->base) {
    return true;
  }
  // Types are never taken down, as the module is not.
  classes = static_cast<RecordClass *>(PyMem_Calloc(engine->record_count, sizeof(RecordClass)));
  if (!classes) {
    PyErr_NoMemory();
    return false;
  }
  record_classes = {&base_type, make_instance};
  class_type.tp_base = &PyType_Type;
  if (PyType_Ready(&class_type) < 0 || PyType_Ready(&base_type) < 0 || PyType_Ready(&class_doc_type) < 0 ||
      PyType_Ready(&python_method_type) < 0 || !ready_iterator_type()) {
    return false;
  }
  std::size_t method = 0;
  for (std::size_t i = 0; i < engine->record_count; ++i) {
    method = make_class(classes[i], engine->records[i], method);
    if (!method) {
      return false;
    }
  }
  *engine->record_classes = record_classes;
  return true;
}

bool add_record_classes(PyObject *dictionary) {
  if (PyDict_SetItemString(dictionary, "Record", reinterpret_cast<PyObject *>(&base_type)) < 0) {
    return false;
  }
  for (std::size_t i = 0; i < engine->record_count; ++i) {
    if (PyDict_SetItemString(dictionary, record_name(classes[i]), reinterpret_cast<PyObject *>(&classes[i].type)) < 0) {
      return false;
    }
  }
  return true;
}

}  // namespace vswitchpy
