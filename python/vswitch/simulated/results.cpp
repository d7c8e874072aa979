// Results on their way to Python: deliveries, drops and steps are made when they are read.
#include <new>
#include <string>

#include "python/vswitch/simulated/native.hpp"

namespace simulated {

Classes classes;

namespace {

// An instance of a NamedTuple, whose class would need a Python function for that. Takes the references over; one of
// them null: an error is raised.
template <std::size_t Count>
PyObject *make_named_tuple(PyTypeObject *type, PyObject *const (&&members)[Count]) {
  PyObject *made = nullptr;
  bool complete = true;
  for (PyObject *member : members)
    complete = complete && member;
  if (complete)
    made = type->tp_alloc(type, static_cast<Py_ssize_t>(Count));
  for (std::size_t i = 0; i < Count; ++i) {
    if (made)
      PyTuple_SET_ITEM(made, static_cast<Py_ssize_t>(i), members[i]);
    else
      Py_XDECREF(members[i]);
  }
  return made;
}

// A new reference.
PyObject *numbered(std::vector<PyObject *> const &objects, std::size_t number) {
  if (number >= objects.size()) {
    PyErr_Format(classes.simulation_error, "the host's library is newer than this package: number %zu is unknown",
                 number);
    return nullptr;
  }
  return Py_NewRef(objects[number]);
}

PyObject *text(char const *utf8) {
  return PyUnicode_DecodeUTF8(utf8, static_cast<Py_ssize_t>(std::char_traits<char>::length(utf8)), "surrogateescape");
}

bool equal(PyObject *a, PyObject *b) {
  int const answer = PyObject_RichCompareBool(a, b, Py_EQ);
  if (answer < 0)
    throw py::error_already_set();
  return answer != 0;
}

// ---- the sequence
// ----------------------------------------------------------------------------------------------------

// `count` items of a result, from `first` on, `step` apart.
struct Sequence {
  PyObject ob_base;
  ResultPointer result;
  Items items;
  Py_ssize_t first;
  Py_ssize_t step;
  Py_ssize_t count;
};

PyTypeObject *sequence_class = nullptr;

Sequence *as_sequence(PyObject *object) {
  return reinterpret_cast<Sequence *>(object);
}

PyObject *new_sequence(ResultPointer const &result, Items items, Py_ssize_t first, Py_ssize_t step, Py_ssize_t count) {
  PyObject *const object = sequence_class->tp_alloc(sequence_class, 0);
  if (!object)
    return nullptr;
  Sequence *const sequence = as_sequence(object);
  new (&sequence->result) ResultPointer(result);
  sequence->items = items;
  sequence->first = first;
  sequence->step = step;
  sequence->count = count;
  return object;
}

void deallocate(PyObject *object) {
  PyTypeObject *const type = Py_TYPE(object);
  as_sequence(object)->result.~ResultPointer();
  type->tp_free(object);
  Py_DECREF(type);
}

Py_ssize_t length(PyObject *object) {
  return as_sequence(object)->count;
}

PyObject *item(PyObject *object, Py_ssize_t index) {
  Sequence const *const sequence = as_sequence(object);
  if (index < 0 || index >= sequence->count) {
    PyErr_SetString(PyExc_IndexError, "index out of range");
    return nullptr;
  }
  auto const position = static_cast<std::size_t>(sequence->first + index * sequence->step);
  switch (sequence->items) {
    case Items::deliveries: return sequence->result->delivery(position);
    case Items::drops: return sequence->result->drop(position);
    case Items::steps: return sequence->result->step(position);
  }
  return nullptr;
}

PyObject *subscript(PyObject *object, PyObject *key) {
  Sequence const *const sequence = as_sequence(object);
  if (PySlice_Check(key)) {
    Py_ssize_t start = 0;
    Py_ssize_t stop = 0;
    Py_ssize_t step = 0;
    if (PySlice_Unpack(key, &start, &stop, &step) < 0)
      return nullptr;
    Py_ssize_t const count = PySlice_AdjustIndices(sequence->count, &start, &stop, step);
    return new_sequence(sequence->result, sequence->items, sequence->first + start * sequence->step,
                        step * sequence->step, count);
  }
  Py_ssize_t index = PyNumber_AsSsize_t(key, PyExc_IndexError);
  if (index == -1 && PyErr_Occurred())
    return nullptr;
  return item(object, index < 0 ? index + sequence->count : index);
}

// Equal to lists, tuples and sequences of its kind with equal items.
PyObject *compare(PyObject *object, PyObject *other, int operation) {
  bool const comparable = Py_IS_TYPE(other, sequence_class) || PyList_Check(other) || PyTuple_Check(other);
  if (!comparable || (operation != Py_EQ && operation != Py_NE))
    Py_RETURN_NOTIMPLEMENTED;
  Py_ssize_t const count = length(object);
  Py_ssize_t const others = PySequence_Size(other);
  if (others < 0)
    return nullptr;
  bool same = count == others;
  for (Py_ssize_t i = 0; same && i < count; ++i) {
    PyObject *const mine = item(object, i);
    PyObject *const theirs = mine ? PySequence_GetItem(other, i) : nullptr;
    int const answer = theirs ? PyObject_RichCompareBool(mine, theirs, Py_EQ) : -1;
    Py_XDECREF(mine);
    Py_XDECREF(theirs);
    if (answer < 0)
      return nullptr;
    same = answer != 0;
  }
  return PyBool_FromLong(same == (operation == Py_EQ));
}

// That of a list; of a long one its beginning, and how many more there are.
PyObject *represent(PyObject *object) {
  constexpr Py_ssize_t shown = 100;
  PyObject *const beginning = PySequence_GetSlice(object, 0, shown);
  PyObject *const list = beginning ? PySequence_List(beginning) : nullptr;
  Py_ssize_t const more = length(object) - shown;
  PyObject *const made = !list      ? nullptr
                         : more > 0 ? PyUnicode_FromFormat("<%R and %zd more>", list, more)
                                    : PyObject_Repr(list);
  Py_XDECREF(beginning);
  Py_XDECREF(list);
  return made;
}

PyObject *index_of(PyObject *object, PyObject *arguments) {
  PyObject *value = nullptr;
  Py_ssize_t start = 0;
  Py_ssize_t stop = PY_SSIZE_T_MAX;
  if (!PyArg_ParseTuple(arguments, "O|nn:index", &value, &start, &stop))
    return nullptr;
  PySlice_AdjustIndices(length(object), &start, &stop, 1);
  for (Py_ssize_t i = start; i < stop; ++i) {
    PyObject *const mine = item(object, i);
    int const answer = mine ? PyObject_RichCompareBool(mine, value, Py_EQ) : -1;
    Py_XDECREF(mine);
    if (answer < 0)
      return nullptr;
    if (answer != 0)
      return PyLong_FromSsize_t(i);
  }
  PyErr_SetString(PyExc_ValueError, "not in the sequence");
  return nullptr;
}

PyObject *count_of(PyObject *object, PyObject *value) {
  Py_ssize_t const found = PySequence_Count(object, value);
  return found < 0 ? nullptr : PyLong_FromSsize_t(found);
}

PyMethodDef sequence_methods[] = {
    {"index", index_of, METH_VARARGS,
     "index($self, value, start=0, stop=sys.maxsize, /)\n--\n\n"
     "The position of the first item that is equal. ValueError: none is."},
    {"count", count_of, METH_O, "count($self, value, /)\n--\n\nHow many items are equal."},
    {nullptr, nullptr, 0, nullptr},
};

char const sequence_doc[] = "Deliveries, drops or steps of a result, made when they are read.";

PyType_Slot sequence_slots[] = {
    {Py_tp_doc, const_cast<char *>(sequence_doc)},
    {Py_tp_dealloc, reinterpret_cast<void *>(deallocate)},
    {Py_tp_repr, reinterpret_cast<void *>(represent)},
    {Py_tp_richcompare, reinterpret_cast<void *>(compare)},
    {Py_tp_iter, reinterpret_cast<void *>(PySeqIter_New)},
    {Py_tp_methods, sequence_methods},
    {Py_sq_length, reinterpret_cast<void *>(length)},
    {Py_sq_item, reinterpret_cast<void *>(item)},
    {Py_mp_length, reinterpret_cast<void *>(length)},
    {Py_mp_subscript, reinterpret_cast<void *>(subscript)},
    {0, nullptr},
};

PyType_Spec sequence_spec = {
    .name = "vswitch.simulated._native.Items",
    .basicsize = sizeof(Sequence),
    .itemsize = 0,
    .flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_SEQUENCE | Py_TPFLAGS_DISALLOW_INSTANTIATION,
    .slots = sequence_slots,
};

}  // namespace

void add_sequence_class(py::module_ &module) {
  PyObject *const made = PyType_FromSpec(&sequence_spec);
  if (!made)
    throw py::error_already_set();
  sequence_class = reinterpret_cast<PyTypeObject *>(made);
  module.attr("Items") = py::reinterpret_borrow<py::object>(made);  // the module keeps it for ever
}

py::object make_sequence(ResultPointer const &result, Items items) {
  std::uint64_t const count = items == Items::deliveries ? result->delivery_count()
                              : items == Items::drops    ? result->drop_count()
                                                         : result->step_count();
  PyObject *const made = new_sequence(result, items, 0, 1, static_cast<Py_ssize_t>(count));
  if (!made)
    throw py::error_already_set();
  return py::reinterpret_steal<py::object>(made);
}

void take_classes(py::dict const &given) {
  auto const kept = [&](char const *name) { return py::object(given[name]).release().ptr(); };
  auto const list = [&](char const *name) {
    std::vector<PyObject *> objects;
    for (py::handle const object : given[name])
      objects.push_back(object.inc_ref().ptr());
    return objects;
  };
  classes = {
      .delivery = reinterpret_cast<PyTypeObject *>(kept("delivery")),
      .drop = reinterpret_cast<PyTypeObject *>(kept("drop")),
      .step = reinterpret_cast<PyTypeObject *>(kept("step")),
      .simulation_error = kept("simulation_error"),
      .busy_error = kept("busy_error"),
      .read_only_error = kept("read_only_error"),
      .no_space_error = kept("no_space_error"),
      .kinds = list("kinds"),
      .reasons = list("reasons"),
      .stages = list("stages"),
      .outcomes = list("outcomes"),
  };
}

// ---- results
// ---------------------------------------------------------------------------------------------------------

Result::Result(vssim_result *result, EndpointsPointer endpoints) : result_(result), endpoints_(std::move(endpoints)) {
  deliveries_ = vssim_deliveries(result_, &delivery_count_);
  drops_ = vssim_drops(result_, &drop_count_);
  steps_ = vssim_steps(result_, &step_count_);
  // Now: later the host may have been closed.
  try {
    for (std::uint64_t i = 0; i < delivery_count_; ++i)
      endpoints_->learn(deliveries_[i].endpoint);
    for (std::uint64_t i = 0; i < drop_count_; ++i)
      endpoints_->learn(drops_[i].place);
    for (std::uint64_t i = 0; i < step_count_; ++i) {
      if (steps_[i].place != 0)
        endpoints_->learn(steps_[i].place);
    }
  } catch (...) {
    vssim_result_free(result_);
    throw;
  }
}

PyObject *Result::delivery(std::size_t position) const {
  vssim_delivery const &delivery = deliveries_[position];
  return make_named_tuple(classes.delivery,
                          {Py_NewRef(endpoints_->name(delivery.endpoint)),
                           PyBytes_FromStringAndSize(static_cast<char const *>(delivery.bytes), delivery.length),
                           numbered(classes.kinds, delivery.kind), PyLong_FromLong(delivery.index)});
}

PyObject *Result::drop(std::size_t position) const {
  vssim_drop const &drop = drops_[position];
  return make_named_tuple(
      classes.drop, {Py_NewRef(endpoints_->name(drop.place)), numbered(classes.reasons, drop.reason - std::size_t{1}),
                     numbered(classes.stages, drop.stage), PyLong_FromLong(drop.index)});
}

PyObject *Result::step(std::size_t position) const {
  vssim_step const &step = steps_[position];
  return make_named_tuple(classes.step,
                          {text(step.rule), Py_NewRef(step.place != 0 ? endpoints_->name(step.place) : Py_None),
                           text(step.text), numbered(classes.outcomes, step.outcome)});
}

py::list Result::to(py::handle endpoint) const {
  py::list found;
  vssim_endpoint last = 0;  // what is none
  bool last_is_it = false;
  for (std::uint64_t i = 0; i < delivery_count_; ++i) {
    vssim_delivery const &delivery = deliveries_[i];
    if (delivery.endpoint != last) {
      last = delivery.endpoint;
      last_is_it = equal(endpoints_->name(last), endpoint.ptr());
    }
    if (last_is_it)
      found.append(py::bytes(static_cast<char const *>(delivery.bytes), delivery.length));
  }
  return found;
}

bool Result::equals(Result const &other) const {
  for (int what = 0; what < 5; ++what) {
    if (total(what) != other.total(what))
      return false;
  }
  if (delivery_count_ != other.delivery_count_ || drop_count_ != other.drop_count_ || step_count_ != other.step_count_)
    return false;
  auto const same = [&](PyObject *mine, PyObject *theirs) {
    auto const a = py::reinterpret_steal<py::object>(mine);
    auto const b = py::reinterpret_steal<py::object>(theirs);
    if (!a || !b)
      throw py::error_already_set();
    return equal(a.ptr(), b.ptr());
  };
  for (std::uint64_t i = 0; i < delivery_count_; ++i) {
    if (!same(delivery(i), other.delivery(i)))
      return false;
  }
  for (std::uint64_t i = 0; i < drop_count_; ++i) {
    if (!same(drop(i), other.drop(i)))
      return false;
  }
  for (std::uint64_t i = 0; i < step_count_; ++i) {
    if (!same(step(i), other.step(i)))
      return false;
  }
  return true;
}

}  // namespace simulated
