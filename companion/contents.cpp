// What a record holds: length, subscripts and iteration, within its count. Counts are read whenever they are needed,
// and trusted as the library trusts them.
#include "companion/contents.hpp"

#include "companion/facts.hpp"
#include "companion/functions.hpp"
#include "companion/instances.hpp"

#include <cstdlib>
#include <cstring>

namespace vswitchpy {
namespace {

// Where elements are counted and lie: a record, or the one whose array a view shows.
struct Holder {
  const RecordContents *contents;
  const char *memory;
};

const FieldPlace &place_of(FieldIndex field) {
  return engine->fields[field].place;
}

// The holder behind a record; without contents where it counts nothing. Null memory: released, or there was none.
Holder holder_of(PyObject *self) {
  const RecordObject *record = as_record(self);
  const auto *memory = static_cast<const char *>(live_pointer(record));
  if (record->run) {
    const RecordContents &contents = contents_of_run(record->run);
    return {&contents, memory ? memory - place_of(contents.array).offset : nullptr};
  }
  const RecordClass &kind = *class_of(self);
  return {record->type == kind.descriptor ? kind.contents : nullptr, memory};
}

Py_ssize_t number_at(const char *memory, FieldIndex field) {
  const FieldPlace &place = place_of(field);
  const char *address = memory + place.offset;
  switch (place.scalar) {
    case Scalar::unsigned_8: return load<std::uint8_t>(address);
    case Scalar::unsigned_16: return load<std::uint16_t>(address);
    case Scalar::unsigned_32: return load<std::uint32_t>(address);
    // A count below zero is no count.
    default: return load<std::int32_t>(address) < 0 ? 0 : load<std::int32_t>(address);
  }
}

// How many elements there are; -1 with the error set.
Py_ssize_t count_in(const Holder &holder) {
  Py_ssize_t count = number_at(holder.memory, holder.contents->count);
  if (holder.contents->further_count != no_field) {
    count += number_at(holder.memory, holder.contents->further_count);
  }
  if (holder.contents->room && count > static_cast<Py_ssize_t>(holder.contents->room)) {
    PyErr_Format(PyExc_ValueError, "a teaming policy of %zd uplinks, where %u have room", count,
                 static_cast<unsigned>(holder.contents->room));
    return -1;
  }
  return count;
}

// Of an array. The view of a record keeps the holder's memory alive.
PyObject *element_at(PyObject *self, const Holder &holder, Py_ssize_t index) {
  const RecordContents &contents = *holder.contents;
  const FieldEntry &array = engine->fields[contents.array];
  const char *start = holder.memory + array.place.offset;
  if (!contents.stride) {
    return number_to_python(start + index * static_cast<Py_ssize_t>(scalar_width(contents.scalar)), contents.scalar);
  }
  const char *address = start + index * static_cast<Py_ssize_t>(contents.stride);
  swig_type_info *type = engine->types[array.pointee];
  if (!contents.copied) {
    return view_of(type, const_cast<char *>(address), self);
  }
  void *copy = std::malloc(contents.stride);
  if (!copy) {
    return PyErr_NoMemory();
  }
  std::memcpy(copy, address, contents.stride);
  PyObject *element = engine->new_proxy(copy, type, Ownership::owned);
  if (!element) {
    std::free(copy);
  }
  return element;
}

PyObject *refuse_index(PyObject *self, Py_ssize_t index, Py_ssize_t bound) {
  return PyErr_Format(PyExc_IndexError, "index %zd of a '%s' that has %zd", index, Py_TYPE(self)->tp_name, bound);
}

// An index within a bound, from the end if it is negative; -1 with the error set. `count` is where the end is.
Py_ssize_t within(PyObject *self, Py_ssize_t index, Py_ssize_t bound, Py_ssize_t count) {
  const Py_ssize_t position = index < 0 ? index + count : index;
  if (position < 0 || position >= bound) {
    refuse_index(self, index, bound);
    return -1;
  }
  return position;
}

// As a number of the interpreter's own kind; what is beyond it is beyond every bound. False with the error set.
bool index_number(PyObject *index, Py_ssize_t *number) {
  *number = PyNumber_AsSsize_t(index, nullptr);
  return *number != -1 || !PyErr_Occurred();
}

// The bound of a function's index in a record, and where its end is; false with the error set. -1: there is none known.
bool find_bound(const MethodFacts &facts, PyObject *self, Py_ssize_t *bound, Py_ssize_t *count) {
  *bound = *count = -1;
  if (facts.bound == Bound::number) {
    *bound = *count = static_cast<Py_ssize_t>(facts.limit);
    return true;
  }
  const Holder holder = holder_of(self);
  if (!holder.memory) {
    return true;
  }
  if (facts.bound == Bound::field) {
    *bound = *count = number_at(holder.memory, static_cast<FieldIndex>(facts.limit));
  } else if (holder.contents) {
    *count = count_in(holder);
    *bound = holder.contents->room ? static_cast<Py_ssize_t>(holder.contents->room) : *count;
    return *count >= 0;
  }
  return true;
}

// What a subscript gives for an index within its bound, read where it lies. The function behind it reads memory and
// calls no library: no abort has to be caught. False where the function itself has to judge.
bool read_directly(const RecordClass &kind, PyObject *self, PyObject *index, PyObject **element) {
  const ElementReader &reader = kind.element;
  const RecordObject *record = as_record(self);
  std::uint64_t number = 0;
  void *const memory = live_pointer(record);
  if (!reader.call || record->run || record->type != kind.descriptor || !memory || !short_number(index, &number)) {
    return false;
  }
  Py_ssize_t bound = -1;
  Py_ssize_t count = -1;
  if (!find_bound(*reader.facts, self, &bound, &count)) {
    *element = nullptr;
    return true;
  }
  if (bound < 0 || number >= static_cast<std::uint64_t>(bound) || number > static_cast<std::uint64_t>(INT_MAX)) {
    return false;
  }
  Slot slots[2];
  slots[0].set(memory);
  slots[1].set(static_cast<int>(number));
  Slot result[2];
  reader.call->invoke(slots, result);
  if (!result[0].get<void *>()) {
    *element = Py_NewRef(Py_None);
  } else if (reader.type) {
    *element = view_of(reader.type, result[0].get<void *>(), self);
  } else {
    const char *text = result[0].get<const char *>();
    *element = decoded_text(text, field_text_size(text, result[1].get<std::size_t>()));
  }
  return true;
}

// ---- iteration -----------------------------------------------------------------------------------------------

struct IteratorObject {
  PyObject_HEAD PyObject *record;  // null when the walk is over
  Py_ssize_t next;
};

IteratorObject *as_iterator(PyObject *object) {
  return reinterpret_cast<IteratorObject *>(object);
}

void iterator_dealloc(PyObject *self) {
  Py_XDECREF(as_iterator(self)->record);
  PyObject_Free(self);
}

PyObject *iterator_next(PyObject *self) {
  IteratorObject *walk = as_iterator(self);
  if (!walk->record || refuse_released(walk->record)) {
    return nullptr;
  }
  const Holder holder = holder_of(walk->record);
  if (!holder.memory || !holder.contents) {
    Py_CLEAR(walk->record);
    return nullptr;
  }
  const Py_ssize_t count = count_in(holder);
  if (walk->next >= count) {
    if (count >= 0) {
      Py_CLEAR(walk->record);
    }
    return nullptr;
  }
  if (holder.contents->elements == Elements::of_array) {
    return element_at(walk->record, holder, walk->next++);
  }
  PyObject *index = PyLong_FromSsize_t(walk->next++);
  PyObject *items[] = {walk->record, index};
  PyObject *element = index ? call_method(holder.contents->method, {items, 2}) : nullptr;
  Py_XDECREF(index);
  return element;
}

PyTypeObject iterator_type = [] {
  PyTypeObject type = type_of_the_layer("libvswitch.record_iterator", sizeof(IteratorObject));
  type.tp_dealloc = iterator_dealloc;
  type.tp_iter = PyObject_SelfIter;
  type.tp_iternext = iterator_next;
  return type;
}();

}  // namespace

bool ready_iterator_type() {
  return PyType_Ready(&iterator_type) == 0;
}

bool has_length(const RecordClass &kind) {
  return kind.contents || kind.in_array;
}

bool has_index(const RecordClass &kind) {
  return kind.get_item != no_method || kind.in_array || (kind.contents && kind.contents->elements != Elements::unknown);
}

PyObject *record_iter(PyObject *self) {
  if (refuse_released(self)) {
    return nullptr;
  }
  const Holder holder = holder_of(self);
  if (!holder.contents || holder.contents->elements == Elements::unknown) {
    PyObject *walk = python_part("libvswitch._iteration", "iterate");
    PyObject *result = walk ? PyObject_CallOneArg(walk, self) : nullptr;
    Py_XDECREF(walk);
    return result;
  }
  auto *walk = PyObject_New(IteratorObject, &iterator_type);
  if (walk) {
    walk->record = Py_NewRef(self);
    walk->next = 0;
  }
  return reinterpret_cast<PyObject *>(walk);
}

Py_ssize_t record_length(PyObject *self) {
  if (refuse_released(self)) {
    return -1;
  }
  const Holder holder = holder_of(self);
  if (!holder.contents) {
    PyErr_Format(PyExc_TypeError, "object of type '%s' has no len(): it does not know how many elements follow",
                 Py_TYPE(self)->tp_name);
    return -1;
  }
  if (!holder.memory) {
    PyErr_SetString(PyExc_ValueError, "the record has no memory");
    return -1;
  }
  return count_in(holder);
}

ElementReader element_reader(const RecordClass &kind) {
  const bool in_array = kind.contents && kind.contents->elements == Elements::of_array;
  const MethodIndex method = kind.contents ? kind.contents->method : kind.get_item;
  const MethodFacts *facts = in_array || method == no_method ? nullptr : facts_of(method);
  if (!facts) {
    return {};
  }
  const CallEntry &call = engine->calls[engine->methods[method].index];
  switch (call.result) {
    case Result::slot_text: return {&call, facts, nullptr};
    case Result::borrowed_pointer: return {&call, facts, engine->types[call.result_pointee]};
    default: return {};
  }
}

PyObject *record_get_item(PyObject *self, PyObject *index) {
  const RecordClass &kind = *class_of(self);
  PyObject *element = nullptr;
  if (read_directly(kind, self, index, &element)) [[likely]] {
    return element;
  }
  if (refuse_released(self)) {
    return nullptr;
  }
  const MethodIndex method = kind.get_item;
  const Holder holder = holder_of(self);
  const bool by_method = !holder.contents || holder.contents->elements != Elements::of_array;
  if (by_method || !holder.memory || !PyIndex_Check(index)) {
    const MethodIndex reader = holder.contents && by_method ? holder.contents->method : method;
    if (reader == no_method) {
      return PyErr_Format(PyExc_TypeError,
                          holder.contents ? "'%s' indices must be integers" : "'%s' stands alone: it has no index",
                          Py_TYPE(self)->tp_name);
    }
    PyObject *items[] = {self, index};
    return call_method(reader, {items, 2});
  }
  Py_ssize_t number = 0;
  const Py_ssize_t count = index_number(index, &number) ? count_in(holder) : -1;
  const Py_ssize_t position = count < 0 ? -1 : within(self, number, count, count);
  return position < 0 ? nullptr : element_at(self, holder, position);
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

PyObject *bounded_index(MethodIndex method, PyObject *self, PyObject *index) {
  Py_ssize_t bound = -1;
  Py_ssize_t count = -1;
  Py_ssize_t number = 0;
  if (!PyLong_Check(index) || !is_record(self)) {
    return Py_NewRef(index);
  }
  if (!find_bound(*facts_of(method), self, &bound, &count) || !index_number(index, &number)) {
    return nullptr;
  }
  if (bound < 0 || (number >= 0 && number < bound)) {
    return Py_NewRef(index);
  }
  const Py_ssize_t position = within(self, number, bound, count);
  return position < 0 ? nullptr : PyLong_FromSsize_t(position);
}

}  // namespace vswitchpy
