// The link object `cvar`: native global variables as attributes.
#include "runtime/variable_link.hpp"

#include <cstring>

namespace vswitchpy {
namespace {

// Which of the interface's variables are linked: a bit for each.
struct LinkObject {
  PyObject_HEAD unsigned linked;
};

LinkObject *as_link(PyObject *object) {
  return reinterpret_cast<LinkObject *>(object);
}

// The position of a variable among all, or -1.
int position_of(const char *name) {
  for (int i = 0; i < linked_variable_count; ++i) {
    if (std::strcmp(linked_variables[i].name, name) == 0) {
      return i;
    }
  }
  return -1;
}

const LinkedVariable *find_variable(PyObject *self, const char *name) {
  const int position = position_of(name);
  return position >= 0 && as_link(self)->linked >> position & 1 ? &linked_variables[position] : nullptr;
}

void unknown_variable(const char *name) {
  if (!PyErr_Occurred()) {
    PyErr_Format(PyExc_AttributeError, "Unknown C global variable '%s'", name);
  }
}

PyObject *link_getattr(PyObject *self, char *name) {
  if (const LinkedVariable *variable = find_variable(self, name)) {
    return variable->read();
  }
  unknown_variable(name);
  return nullptr;
}

int link_setattr(PyObject *self, char *name, PyObject * /*value*/) {
  if (const LinkedVariable *variable = find_variable(self, name)) {
    variable->refuse();
  } else {
    unknown_variable(name);
  }
  return -1;
}

PyObject *link_repr(PyObject * /*self*/) {
  return PyUnicode_FromString("<Swig global variables>");
}

void link_dealloc(PyObject *self) {
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
    link->linked = 0;
  }
  return reinterpret_cast<PyObject *>(link);
}

void link_variable(PyObject *link, const char *name) {
  const int position = position_of(name);
  if (position >= 0) {
    as_link(link)->linked |= 1u << position;
  }
}

}  // namespace vswitchpy
