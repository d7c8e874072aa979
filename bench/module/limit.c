/* The limit that a record class is measured against: two types written by hand, with native getters and setters. */
#define PY_SSIZE_T_CLEAN
#include <Python.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>

#include "interface/status_records.h"

/* A pointer and not the record itself: a record class has to serve records that belong to a library, too. */
typedef struct Record {
  PyObject_HEAD void *data;
  int owned;
} Record;

/* Objects that were dropped, for the next ones: both types have one size. */
static Record *unused[256];
static size_t unused_count;

static PyObject *new_record(PyTypeObject *type, size_t size) {
  Record *self;
  if (unused_count)
    self = (Record *)PyObject_Init((PyObject *)unused[--unused_count], type);
  else
    self = (Record *)type->tp_alloc(type, 0);
  if (!self)
    return NULL;
  self->data = calloc(1, size);
  self->owned = 1;
  if (!self->data) {
    Py_DECREF(self);
    return PyErr_NoMemory();
  }
  return (PyObject *)self;
}

static void drop(PyObject *object) {
  Record *self = (Record *)object;
  if (self->owned)
    free(self->data);
  if (unused_count < sizeof unused / sizeof unused[0])
    unused[unused_count++] = self;
  else
    Py_TYPE(object)->tp_free(object);
}

static int takes_nothing(PyObject *arguments, PyObject *keywords) {
  if (PyTuple_GET_SIZE(arguments) == 0 && !keywords)
    return 1;
  PyErr_SetString(PyExc_TypeError, "takes no arguments");
  return 0;
}

static PyObject *info_new(PyTypeObject *type, PyObject *arguments, PyObject *keywords) {
  return takes_nothing(arguments, keywords) ? new_record(type, sizeof(VSInfo)) : NULL;
}

static PyObject *name_new(PyTypeObject *type, PyObject *arguments, PyObject *keywords) {
  return takes_nothing(arguments, keywords) ? new_record(type, sizeof(qel_Name)) : NULL;
}

static PyObject *get_mtu(PyObject *self, void *closure) {
  (void)closure;
  return PyLong_FromUnsignedLong(((VSInfo *)((Record *)self)->data)->mtu);
}

static int set_mtu(PyObject *self, PyObject *value, void *closure) {
  (void)closure;
  if (!value || !PyLong_Check(value)) {
    PyErr_SetString(PyExc_TypeError, "mtu is an int");
    return -1;
  }
  unsigned long number = PyLong_AsUnsignedLong(value);
  if (number == (unsigned long)-1 && PyErr_Occurred())
    return -1;
  if (number > 0xffffffffu) {
    PyErr_SetString(PyExc_OverflowError, "mtu has 32 bits");
    return -1;
  }
  ((VSInfo *)((Record *)self)->data)->mtu = (qel_uint32)number;
  return 0;
}

static PyObject *get_string(PyObject *self, void *closure) {
  (void)closure;
  char const *text = ((qel_Name *)((Record *)self)->data)->string;
  return PyUnicode_DecodeUTF8(text, (Py_ssize_t)strnlen(text, sizeof(qel_Name)), "surrogateescape");
}

static int set_string(PyObject *self, PyObject *value, void *closure) {
  (void)closure;
  Py_ssize_t size = 0;
  char const *text = value ? PyUnicode_AsUTF8AndSize(value, &size) : NULL;
  if (!text || size > (Py_ssize_t)sizeof(qel_Name)) {
    if (!PyErr_Occurred())
      PyErr_SetString(PyExc_TypeError, "string is a str of at most 32 bytes");
    return -1;
  }
  char *target = ((qel_Name *)((Record *)self)->data)->string;
  memcpy(target, text, (size_t)size);
  memset(target + size, 0, sizeof(qel_Name) - (size_t)size);
  return 0;
}

static PyGetSetDef info_members[] = {{"mtu", get_mtu, set_mtu, NULL, NULL}, {NULL, NULL, NULL, NULL, NULL}};
static PyGetSetDef name_members[] = {{"string", get_string, set_string, NULL, NULL}, {NULL, NULL, NULL, NULL, NULL}};

static PyTypeObject info_type = {
    PyVarObject_HEAD_INIT(NULL, 0).tp_name = "limit.VSInfo",
    .tp_basicsize = sizeof(Record),
    .tp_flags = Py_TPFLAGS_DEFAULT,
    .tp_new = info_new,
    .tp_dealloc = drop,
    .tp_getset = info_members,
};
static PyTypeObject name_type = {
    PyVarObject_HEAD_INIT(NULL, 0).tp_name = "limit.qel_Name",
    .tp_basicsize = sizeof(Record),
    .tp_flags = Py_TPFLAGS_DEFAULT,
    .tp_new = name_new,
    .tp_dealloc = drop,
    .tp_getset = name_members,
};

static struct PyModuleDef definition = {PyModuleDef_HEAD_INIT, "limit", NULL, -1, NULL, NULL, NULL, NULL, NULL};

PyMODINIT_FUNC PyInit_limit(void) {
  PyObject *module = PyModule_Create(&definition);
  if (!module || PyModule_AddType(module, &info_type) < 0 || PyModule_AddType(module, &name_type) < 0)
    return NULL;
  return module;
}
