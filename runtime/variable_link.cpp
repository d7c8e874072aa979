// The link object `cvar`: native global variables as attributes.
#include "runtime/variable_link.hpp"

#include <cstdlib>
#include <cstring>

namespace vswitchpy {
namespace {

struct Entry {
  char *name;
  PyObject *(*read)();
  void (*refuse)();
  Entry *next;
};

struct LinkObject {
  PyObject_HEAD Entry *first;
};

LinkObject *as_link(PyObject *object) {
  return reinterpret_cast<LinkObject *>(object);
}

const Entry *find_entry(PyObject *self, const char *name) {
  for (const Entry *entry = as_link(self)->first; entry; entry = entry->next) {
    if (std::strcmp(entry->name, name) == 0) {
      return entry;
    }
  }
  return nullptr;
}

void unknown_variable(const char *name) {
  if (!PyErr_Occurred()) {
    PyErr_Format(PyExc_AttributeError, "Unknown C global variable '%s'", name);
  }
}

PyObject *link_getattr(PyObject *self, char *name) {
  if (const Entry *entry = find_entry(self, name)) {
    return entry->read();
  }
  unknown_variable(name);
  return nullptr;
}

int link_setattr(PyObject *self, char *name, PyObject * /*value*/) {
  if (const Entry *entry = find_entry(self, name)) {
    entry->refuse();
  } else {
    unknown_variable(name);
  }
  return -1;
}

PyObject *link_repr(PyObject * /*self*/) {
  return PyUnicode_FromString("<Swig global variables>");
}

void link_dealloc(PyObject *self) {
  Entry *entry = as_link(self)->first;
  while (entry) {
    Entry *next = entry->next;
    std::free(entry->name);
    std::free(entry);
    entry = next;
  }
  PyObject_Free(self);
}

constinit PyTypeObject link_type = [] {
  PyTypeObject type = {};
  type.ob_base = {PyObject_HEAD_INIT(nullptr) 0};
  type.tp_name = "swigvarlink";
  type.tp_basicsize = sizeof(LinkObject);
  type.tp_dealloc = link_dealloc;
  type.tp_getattr = link_getattr;
  type.tp_setattr = link_setattr;
  type.tp_repr = link_repr;
  type.tp_str = link_repr;
  type.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION;
  type.tp_doc = "Swig var link object";
  return type;
}();

}  // namespace

PyObject *new_variable_link() {
  if (PyType_Ready(&link_type) < 0) {
    return nullptr;
  }
  auto *link = PyObject_New(LinkObject, &link_type);
  if (link) {
    link->first = nullptr;
  }
  return reinterpret_cast<PyObject *>(link);
}

bool link_variable(PyObject *link, const LinkedVariable &variable) {
  auto *entry = static_cast<Entry *>(std::malloc(sizeof(Entry)));
  char *name = entry ? strdup(variable.name) : nullptr;
  if (!name) {
    std::free(entry);
    PyErr_NoMemory();
    return false;
  }
  *entry = {name, variable.read, variable.refuse, as_link(link)->first};
  as_link(link)->first = entry;
  return true;
}

}  // namespace vswitchpy
