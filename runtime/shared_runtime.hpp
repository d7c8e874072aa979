// The in-memory structures that wrapper modules of runtime data version 4 share in one process.
#pragma once

#include "runtime/python.hpp"

#include <cstddef>

// Names and layouts are those of the modules that SWIG generates: proxies, descriptors and class
// data made by one module are read by the code of another, so each is pinned byte for byte.

struct swig_type_info;

using swig_converter_func = void *(*)(void *, int *);

struct swig_cast_info {
  swig_type_info *type;
  swig_converter_func converter;
  swig_cast_info *next;
  swig_cast_info *prev;
};

struct swig_type_info {
  const char *name;  // mangled name, the key of the registry
  const char *str;   // display string: spellings joined by "|", the last one is shown
  void *dcast;
  swig_cast_info *cast;
  void *clientdata;  // SwigPyClientData once a class is registered
  int owndata;
};

struct swig_module_info {
  swig_type_info **types;  // size entries and a terminating null
  std::size_t size;
  swig_module_info *next;  // ring over all modules in the process
  swig_type_info **type_initial;
  swig_cast_info **cast_initial;
  void *clientdata;
};

struct SwigPyObject {
  PyObject_HEAD void *ptr;
  swig_type_info *ty;
  int own;
  PyObject *next;
};

struct SwigPyPacked {
  PyObject_HEAD void *pack;
  swig_type_info *ty;
  std::size_t size;
};

// What registering a shadow class attaches to a descriptor. Allocated with malloc: the module that
// publishes the shared record frees it at interpreter shutdown, whichever module that is.
struct SwigPyClientData {
  PyObject *klass;
  PyObject *newraw;
  PyObject *newargs;
  PyObject *destroy;
  int delargs;
  int implicitconv;
  PyTypeObject *pytype;
};

static_assert(sizeof(swig_cast_info) == 32);
static_assert(sizeof(swig_type_info) == 48 && offsetof(swig_type_info, clientdata) == 32);
static_assert(sizeof(swig_module_info) == 48);
static_assert(sizeof(SwigPyObject) == 48 && offsetof(SwigPyObject, own) == 32);
static_assert(sizeof(SwigPyClientData) == 48);
