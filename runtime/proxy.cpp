// Proxy objects: Python objects that carry a native pointer, its descriptor and an ownership flag.
#include "runtime/record_object.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>

// As those in python.hpp.
#pragma weak _PyObject_LookupAttr

namespace vswitchpy {
namespace {

// A chain of proxies and the `this` of a `this` are followed so far and no further: a script can close
// either into a ring.
constexpr int search_limit = 64;

// Each wrapper module has a proxy type of its own, known by its name; instances of a class that a module
// built as a native type are proxies by their base. A script's class of that name can be subclassed,
// which a proxy type cannot.
bool is_foreign_proxy_type(const PyTypeObject *type) {
  for (; type; type = type->tp_base) {
    if (std::strcmp(type->tp_name, "SwigPyObject") == 0) {
      return !(type->tp_flags & Py_TPFLAGS_BASETYPE) &&
             type->tp_basicsize >= static_cast<Py_ssize_t>(sizeof(SwigPyObject));
    }
  }
  return false;
}

bool is_proxy(PyObject *object) {
  return Py_TYPE(object) == &proxy_type || is_foreign_proxy_type(Py_TYPE(object));
}

SwigPyObject *as_proxy(PyObject *object) {
  return reinterpret_cast<SwigPyObject *>(object);
}
PyObject *as_object(SwigPyObject *proxy) {
  return reinterpret_cast<PyObject *>(proxy);
}

bool ready(PyTypeObject *type) {
  return (type->tp_flags & Py_TPFLAGS_READY) || PyType_Ready(type) == 0;
}

PyObject *call_destructor(const SwigPyClientData &data, SwigPyObject *proxy) {
  if (!data.delargs) {
    return PyCFunction_GET_FUNCTION(data.destroy)(PyCFunction_GET_SELF(data.destroy), as_object(proxy));
  }
  PyObject *temporary = new_bare_proxy(proxy->ptr, proxy->ty, Ownership::borrowed);
  if (!temporary) {
    return nullptr;
  }
  PyObject *result = PyObject_CallOneArg(data.destroy, temporary);
  Py_DECREF(temporary);
  return result;
}

void destroy_pointee(SwigPyObject *proxy) {
  const auto *data = proxy->ty ? static_cast<SwigPyClientData *>(proxy->ty->clientdata) : nullptr;
  if (!data || !data->destroy) {
    if (classes_released()) {
      return;
    }
    std::printf("swig/python detected a memory leak of type '%s', no destructor found.\n", pretty_name(proxy->ty));
    return;
  }
  PyObject *type = nullptr;
  PyObject *value = nullptr;
  PyObject *traceback = nullptr;
  PyErr_Fetch(&type, &value, &traceback);
  PyObject *result = call_destructor(*data, proxy);
  // An error of the destructor stays pending, with an earlier one as its context.
  _PyErr_ChainExceptions(type, value, traceback);
  Py_XDECREF(result);
}

void proxy_dealloc(PyObject *self) {
  SwigPyObject *proxy = as_proxy(self);
  if (proxy->own) {
    // A destructor that takes its argument alone is given this proxy, and may even keep it.
    Py_SET_REFCNT(self, 1);
    destroy_pointee(proxy);
    proxy->own = 0;
    Py_SET_REFCNT(self, Py_REFCNT(self) - 1);
    if (Py_REFCNT(self) > 0) {
      return;
    }
  }
  Py_XDECREF(proxy->next);
  PyObject_Free(self);
}

PyObject *proxy_disown(PyObject *self, PyObject * /*unused*/) {
  as_proxy(self)->own = 0;
  Py_RETURN_NONE;
}

PyObject *proxy_acquire(PyObject *self, PyObject * /*unused*/) {
  as_proxy(self)->own = 1;
  Py_RETURN_NONE;
}

PyObject *proxy_own(PyObject *self, PyObject *args) {
  PyObject *flag = nullptr;
  if (!PyArg_UnpackTuple(args, "own", 0, 1, &flag)) {
    return nullptr;
  }
  const int truth = flag ? PyObject_IsTrue(flag) : 0;
  if (truth < 0) {
    return nullptr;
  }
  PyObject *before = PyBool_FromLong(as_proxy(self)->own);
  if (flag) {
    as_proxy(self)->own = truth;
  }
  return before;
}

PyObject *proxy_append(PyObject *self, PyObject *other) {
  if (!is_proxy(other)) {
    PyErr_SetString(PyExc_TypeError, "Attempt to append a non SwigPyObject");
    return nullptr;
  }
  Py_INCREF(other);
  Py_XSETREF(as_proxy(self)->next, other);
  Py_RETURN_NONE;
}

PyObject *proxy_next(PyObject *self, PyObject * /*unused*/) {
  PyObject *next = as_proxy(self)->next;
  return Py_NewRef(next ? next : Py_None);
}

PyObject *proxy_repr(PyObject *self) {
  PyObject *text = PyUnicode_FromString("");
  PyObject *link = self;
  for (int depth = 0; text && link && is_proxy(link) && depth < search_limit; ++depth) {
    PyObject *one = PyUnicode_FromFormat("<Swig Object of type '%s' at %p>", pretty_name(as_proxy(link)->ty), link);
    if (!one) {
      Py_CLEAR(text);
    } else {
      PyUnicode_AppendAndDel(&text, one);
    }
    link = as_proxy(link)->next;
  }
  return text;
}

PyObject *proxy_repr_method(PyObject *self, PyObject * /*unused*/) {
  return proxy_repr(self);
}

PyObject *proxy_int(PyObject *self) {
  return PyLong_FromVoidPtr(as_proxy(self)->ptr);
}

PyObject *proxy_richcompare(PyObject *left, PyObject *right, int operation) {
  if ((operation != Py_EQ && operation != Py_NE) || !is_proxy(left) || !is_proxy(right)) {
    Py_RETURN_NOTIMPLEMENTED;
  }
  const bool equal = as_proxy(left)->ptr == as_proxy(right)->ptr;
  return PyBool_FromLong(equal == (operation == Py_EQ));
}

constexpr PyTypeObject carrier_type(const char *name, Py_ssize_t size, destructor dealloc, reprfunc repr) {
  PyTypeObject type = {};
  type.ob_base = {PyObject_HEAD_INIT(nullptr) 0};
  type.tp_name = name;
  type.tp_basicsize = size;
  type.tp_dealloc = dealloc;
  type.tp_repr = repr;
  type.tp_getattro = PyObject_GenericGetAttr;
  type.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION;
  type.tp_doc = "Swig object carries a C/C++ instance pointer";
  return type;
}

PyMethodDef proxy_methods[] = {
    {"disown", proxy_disown, METH_NOARGS, "releases ownership of the pointer"},
    {"acquire", proxy_acquire, METH_NOARGS, "acquires ownership of the pointer"},
    {"own", proxy_own, METH_VARARGS, "returns/sets ownership of the pointer"},
    {"append", proxy_append, METH_O, "appends another 'this' object"},
    {"next", proxy_next, METH_NOARGS, "returns the next 'this' object"},
    {"__repr__", proxy_repr_method, METH_NOARGS, "returns object representation"},
    {nullptr, nullptr, 0, nullptr},
};

PyNumberMethods proxy_as_number = [] {
  PyNumberMethods methods = {};
  methods.nb_int = proxy_int;
  return methods;
}();

}  // namespace

PyTypeObject proxy_type = [] {
  PyTypeObject type = carrier_type("SwigPyObject", sizeof(SwigPyObject), proxy_dealloc, proxy_repr);
  type.tp_as_number = &proxy_as_number;
  type.tp_richcompare = proxy_richcompare;
  type.tp_methods = proxy_methods;
  return type;
}();

namespace {

SwigPyPacked *as_packed(PyObject *object) {
  return reinterpret_cast<SwigPyPacked *>(object);
}

void packed_dealloc(PyObject *self) {
  std::free(as_packed(self)->pack);
  PyObject_Free(self);
}

constexpr std::size_t packed_text_limit = 511;

// "_" and two hexadecimal digits a byte, lowest address first; null without an error if that is longer
// than the bytes that are printed.
PyObject *packed_hexadecimal(const SwigPyPacked &packed) {
  if (packed.size > packed_text_limit) {
    return nullptr;
  }
  PyObject *bytes =
      PyBytes_FromStringAndSize(static_cast<const char *>(packed.pack), static_cast<Py_ssize_t>(packed.size));
  PyObject *digits = bytes ? PyObject_CallMethod(bytes, "hex", nullptr) : nullptr;
  Py_XDECREF(bytes);
  PyObject *text = digits ? PyUnicode_FromFormat("_%U", digits) : nullptr;
  Py_XDECREF(digits);
  return text;
}

PyObject *packed_repr(PyObject *self) {
  const SwigPyPacked &packed = *as_packed(self);
  PyObject *digits = packed_hexadecimal(packed);
  if (!digits) {
    return PyErr_Occurred() ? nullptr : PyUnicode_FromFormat("<Swig Packed %s>", packed.ty->name);
  }
  PyObject *text = PyUnicode_FromFormat("<Swig Packed at %U%s>", digits, packed.ty->name);
  Py_DECREF(digits);
  return text;
}

PyObject *packed_str(PyObject *self) {
  const SwigPyPacked &packed = *as_packed(self);
  PyObject *digits = packed_hexadecimal(packed);
  if (!digits) {
    return PyErr_Occurred() ? nullptr : PyUnicode_FromString(packed.ty->name);
  }
  PyObject *text = PyUnicode_FromFormat("%U%s", digits, packed.ty->name);
  Py_DECREF(digits);
  return text;
}

constinit PyTypeObject packed_type = [] {
  PyTypeObject type = carrier_type("SwigPyPacked", sizeof(SwigPyPacked), packed_dealloc, packed_repr);
  type.tp_str = packed_str;
  return type;
}();

PyObject *new_shadow_instance(const SwigPyClientData &data, PyObject *proxy) {
  PyObject *instance = nullptr;
  if (data.newraw) {
    instance = PyObject_Call(data.newraw, data.newargs, nullptr);
  } else if (PyObject *no_arguments = PyTuple_New(0)) {
    auto *type = reinterpret_cast<PyTypeObject *>(data.newargs);
    instance = type->tp_new ? type->tp_new(type, no_arguments, nullptr)
                            : PyErr_Format(PyExc_TypeError, "cannot create '%s' instances", type->tp_name);
    Py_DECREF(no_arguments);
  }
  PyObject *name = this_name();
  if (instance && (!name || PyObject_SetAttr(instance, name, proxy) < 0)) {
    Py_CLEAR(instance);
  }
  return instance;
}

// A proxy of a class that its own module built as a native type: that type's instance is the proxy.
PyObject *new_native_instance(PyTypeObject *type, void *pointer, swig_type_info *descriptor, Ownership ownership) {
  PyObject *instance = type->tp_alloc(type, 0);
  if (instance) {
    as_proxy(instance)->ptr = pointer;
    as_proxy(instance)->ty = descriptor;
    as_proxy(instance)->own = static_cast<int>(ownership);
  }
  return instance;
}

// A record without a proxy of its own stands for one.
bool pointer_from_record(RecordObject *record, swig_type_info *type, Disown disown, void **pointer) {
  void *candidate = live_pointer(record);
  if (!candidate || (type && !cast_pointer(record->type, type, &candidate))) {
    return false;
  }
  if (disown == Disown::yes) {
    record->owned = false;
  }
  *pointer = candidate;
  return true;
}

// The proxy in `object` or in its `this`, a new reference; null without an error if there is none.
SwigPyObject *find_proxy(PyObject *object) {
  Py_INCREF(object);
  for (int depth = 0; !is_proxy(object); ++depth) {
    PyObject *name = this_name();
    PyObject *inner = nullptr;
    if (name && depth < search_limit) {
      // Makes no AttributeError to be thrown away: objects without the attribute are what argument errors are about.
      _PyObject_LookupAttr(object, name, &inner);
    }
    Py_DECREF(object);
    if (!inner) {
      PyErr_Clear();
      return nullptr;
    }
    object = inner;
  }
  return as_proxy(object);
}

bool pointer_from_chain(SwigPyObject *proxy, swig_type_info *type, Disown disown, void **pointer) {
  for (int depth = 0; proxy && depth < search_limit; ++depth) {
    void *candidate = proxy->ptr;
    if (!type || cast_pointer(proxy->ty, type, &candidate)) {
      if (disown == Disown::yes) {
        proxy->own = 0;
      }
      *pointer = candidate;
      return true;
    }
    proxy = as_proxy(proxy->next);
  }
  return false;
}

}  // namespace

RecordClasses record_classes = {};

PyObject *new_bare_proxy(void *pointer, swig_type_info *type, Ownership ownership) {
  if (!ready(&proxy_type)) {
    return nullptr;
  }
  auto *proxy = PyObject_New(SwigPyObject, &proxy_type);
  if (proxy) {
    proxy->ptr = pointer;
    proxy->ty = type;
    proxy->own = static_cast<int>(ownership);
    proxy->next = nullptr;
  }
  return as_object(proxy);
}

PyObject *new_proxy(void *pointer, swig_type_info *type, Ownership ownership) {
  if (!pointer) {
    Py_RETURN_NONE;
  }
  const auto *data = type ? static_cast<SwigPyClientData *>(type->clientdata) : nullptr;
  if (data && data->pytype) {
    return new_native_instance(data->pytype, pointer, type, ownership);
  }
  if (data && record_classes.base && PyType_Check(data->klass)) {
    auto *shadow = reinterpret_cast<PyTypeObject *>(data->klass);
    if (shadow->tp_base == record_classes.base) {
      return record_classes.make(shadow, pointer, type, ownership);
    }
  }
  PyObject *proxy = new_bare_proxy(pointer, type, ownership);
  if (!proxy || !data) {
    return proxy;
  }
  PyObject *instance = new_shadow_instance(*data, proxy);
  if (!instance) {
    // As where there is no proxy: what was not handed over stays the caller's.
    as_proxy(proxy)->own = 0;
  }
  Py_DECREF(proxy);
  return instance;
}

PyObject *new_packed(const void *bytes, std::size_t size, swig_type_info *type) {
  void *copy = ready(&packed_type) ? std::malloc(size) : nullptr;
  auto *packed = copy ? PyObject_New(SwigPyPacked, &packed_type) : nullptr;
  if (!packed) {
    std::free(copy);
    return PyErr_Occurred() ? nullptr : PyErr_NoMemory();
  }
  std::memcpy(copy, bytes, size);
  packed->pack = copy;
  packed->ty = type;
  packed->size = size;
  return reinterpret_cast<PyObject *>(packed);
}

bool any_pointer_from(PyObject *object, swig_type_info *type, Disown disown, void **pointer) {
  if (object == Py_None) {
    *pointer = nullptr;
    return true;
  }
  if (is_record(object) && (!as_record(object)->proxy || is_released(as_record(object)))) {
    return pointer_from_record(as_record(object), type, disown, pointer);
  }
  SwigPyObject *proxy = find_proxy(object);
  const bool found = proxy && pointer_from_chain(proxy, type, disown, pointer);
  Py_XDECREF(proxy);
  return found;
}

}  // namespace vswitchpy
