/* Counts allocations and makes chosen ones fail. Preloaded, so that every allocation of the process comes by; the same
   file is the Python module that steers it. */
#define _GNU_SOURCE
#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include <errno.h>
#include <link.h>
#include <malloc.h>
#include <stdatomic.h>
#include <stdbool.h>
#include <stdint.h>
#include <string.h>

extern void *__libc_malloc(size_t size);
extern void *__libc_calloc(size_t count, size_t size);
extern void *__libc_realloc(void *block, size_t size);
extern void *__libc_memalign(size_t alignment, size_t size);
extern void __libc_free(void *block);

#define INTERPOSED __attribute__((visibility("default")))

static atomic_long blocks_in_use;
static atomic_long bytes_in_use;

/* While armed, requests that come from the watched code are counted; those numbered first to last fail. */
static bool armed;
static long first, last;
static long requests, failures;

enum { most_ranges = 16 };
static struct { uintptr_t begin, end; } watched[most_ranges];
static int watched_count; /* 0: all code is */

static bool is_watched(const void *caller) {
  const uintptr_t address = (uintptr_t)caller;
  for (int i = 0; i < watched_count; ++i) {
    if (address >= watched[i].begin && address < watched[i].end) {
      return true;
    }
  }
  return watched_count == 0;
}

static bool fails(const void *caller) {
  if (!armed || !is_watched(caller)) {
    return false;
  }
  ++requests;
  if (requests < first || requests > last) {
    return false;
  }
  ++failures;
  errno = ENOMEM;
  return true;
}

static void *counted(void *block) {
  if (block) {
    ++blocks_in_use;
    bytes_in_use += (long)malloc_usable_size(block);
  }
  return block;
}

static void uncounted(void *block) {
  if (block) {
    --blocks_in_use;
    bytes_in_use -= (long)malloc_usable_size(block);
  }
}

INTERPOSED void *malloc(size_t size) {
  return fails(__builtin_return_address(0)) ? NULL : counted(__libc_malloc(size));
}

INTERPOSED void *calloc(size_t count, size_t size) {
  return fails(__builtin_return_address(0)) ? NULL : counted(__libc_calloc(count, size));
}

INTERPOSED void *realloc(void *block, size_t size) {
  if (fails(__builtin_return_address(0))) {
    return NULL;
  }
  const size_t before = block ? malloc_usable_size(block) : 0;
  void *moved = __libc_realloc(block, size);
  if (moved || size == 0) {
    bytes_in_use += (long)(moved ? malloc_usable_size(moved) : 0) - (long)before;
    blocks_in_use += (moved != NULL) - (block != NULL);
  }
  return moved;
}

INTERPOSED void *memalign(size_t alignment, size_t size) {
  return fails(__builtin_return_address(0)) ? NULL : counted(__libc_memalign(alignment, size));
}

INTERPOSED void *aligned_alloc(size_t alignment, size_t size) {
  return fails(__builtin_return_address(0)) ? NULL : counted(__libc_memalign(alignment, size));
}

INTERPOSED int posix_memalign(void **block, size_t alignment, size_t size) {
  void *made = fails(__builtin_return_address(0)) ? NULL : counted(__libc_memalign(alignment, size));
  if (!made) {
    return ENOMEM;
  }
  *block = made;
  return 0;
}

INTERPOSED void free(void *block) {
  const int error = errno;
  uncounted(block);
  __libc_free(block);
  errno = error;
}

/* ---- the module ------------------------------------------------------------------------------------------- */

static int watch_library(struct dl_phdr_info *library, size_t size, void *name) {
  (void)size;
  const char *slash = strrchr(library->dlpi_name, '/');
  const char *base = slash ? slash + 1 : library->dlpi_name;
  if (strncmp(base, name, strlen(name)) != 0) {
    return 0;
  }
  for (int i = 0; i < library->dlpi_phnum && watched_count < most_ranges; ++i) {
    const ElfW(Phdr) *segment = &library->dlpi_phdr[i];
    if (segment->p_type == PT_LOAD && (segment->p_flags & PF_X)) {
      watched[watched_count].begin = library->dlpi_addr + segment->p_vaddr;
      watched[watched_count].end = watched[watched_count].begin + segment->p_memsz;
      ++watched_count;
    }
  }
  return 0;
}

/* watch(*names): from now on only requests from loaded libraries whose file names begin so; without names, all. Returns
   how many code segments that are. */
static PyObject *watch(PyObject *module, PyObject *names) {
  (void)module;
  watched_count = 0;
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(names); ++i) {
    const char *name = PyUnicode_AsUTF8(PyTuple_GET_ITEM(names, i));
    if (!name) {
      return NULL;
    }
    dl_iterate_phdr(watch_library, (void *)name);
  }
  return PyLong_FromLong(watched_count);
}

/* attempt(function, first, last): calls function() with the requests numbered so failing. Returns what it returned or
   None, the exception or None, how many requests there were, and how many failed. */
static PyObject *attempt(PyObject *module, PyObject *arguments) {
  (void)module;
  PyObject *function = NULL;
  if (!PyArg_ParseTuple(arguments, "Oll", &function, &first, &last)) {
    return NULL;
  }
  requests = failures = 0;
  armed = true;
  PyObject *result = PyObject_CallNoArgs(function);
  armed = false;
  PyObject *type = NULL, *value = NULL, *traceback = NULL;
  if (!result) {
    PyErr_Fetch(&type, &value, &traceback);
    PyErr_NormalizeException(&type, &value, &traceback);
    if (!value) {
      value = Py_NewRef(Py_Ellipsis); /* null without an error, which no function may return */
    }
  }
  Py_XDECREF(type);
  Py_XDECREF(traceback);
  return Py_BuildValue("(NNll)", result ? result : Py_NewRef(Py_None), value ? value : Py_NewRef(Py_None), requests,
                       failures);
}

enum { most_marks = 64 };
static struct { long blocks, bytes; } marks[most_marks];

/* mark(i): notes how much the process has not freed. No object is made for it. */
static PyObject *mark(PyObject *module, PyObject *index) {
  (void)module;
  const long i = PyLong_AsLong(index);
  if (i < 0 || i >= most_marks) {
    return PyErr_Occurred() ? NULL : PyErr_Format(PyExc_IndexError, "mark %ld", i);
  }
  marks[i].blocks = blocks_in_use;
  marks[i].bytes = bytes_in_use;
  Py_RETURN_NONE;
}

/* grown(i): blocks and bytes from mark i to mark i + 1. */
static PyObject *grown(PyObject *module, PyObject *index) {
  (void)module;
  const long i = PyLong_AsLong(index);
  if (i < 0 || i + 1 >= most_marks) {
    return PyErr_Occurred() ? NULL : PyErr_Format(PyExc_IndexError, "mark %ld", i);
  }
  return Py_BuildValue("(ll)", marks[i + 1].blocks - marks[i].blocks, marks[i + 1].bytes - marks[i].bytes);
}

static PyMethodDef methods[] = {
    {"attempt", attempt, METH_VARARGS, NULL}, {"grown", grown, METH_O, NULL}, {"mark", mark, METH_O, NULL},
    {"watch", watch, METH_VARARGS, NULL},     {NULL, NULL, 0, NULL},
};

static PyModuleDef definition = {PyModuleDef_HEAD_INIT, "failing_memory", NULL, -1, methods, NULL, NULL, NULL, NULL};

PyMODINIT_FUNC PyInit_failing_memory(void) {
  return PyModule_Create(&definition);
}
