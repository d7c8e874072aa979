// The call engine: converts arguments, runs the native function inside the bridge, converts the results.
#include "runtime/bridge.hpp"
#include "runtime/entries.hpp"

#include <cstdlib>
#include <cstring>

namespace vswitchpy {
namespace {

// Everything that one call holds. Trivial on purpose: an abort leaves it without running a destructor.
struct Frame {
  Slot slots[most_arguments];
  Slot result[2];  // the second one for the width of a name's slot
  struct Text {
    char *copy;
    std::size_t size;
  } texts[most_arguments];  // private copies, in argument order
  std::size_t text_count = 0;
  struct Output {
    std::uint64_t value;  // record pointer, integer or boolean
    char *text;           // of a text output
  } outputs[most_arguments];
  std::size_t output_count = 0;
  Deferred deferred;
  OuterCall outer;
};

[[gnu::always_inline]] inline void release_texts(const Frame &frame) {
  for (std::size_t i = 0; i < frame.text_count; ++i) {
    release_text(frame.texts[i].copy, frame.texts[i].size);
  }
}

// A private block for a text that lives until the call is over, and for ever if it is aborted. Null without memory.
char *keep_text(Frame &frame, char *copy, std::size_t size) {
  if (copy) {
    frame.texts[frame.text_count++] = {copy, size};
  }
  return copy;
}

Outcome convert_text(Frame &frame, PyObject *object, Slot &slot) {
  const char *text = nullptr;
  std::size_t size = 0;
  const Outcome outcome = text_from(object, &text, &size);
  if (outcome != Outcome::ok) {
    return outcome;
  }
  if (text && PyUnicode_Check(object)) {
    text = keep_text(frame, copy_text(text, size), size);
    if (!text) {
      return Outcome::memory_error;
    }
  }
  slot.set(text);
  return Outcome::ok;
}

Outcome convert_fixed_text(Frame &frame, PyObject *object, std::size_t capacity, Slot &slot) {
  const Outcome outcome = fixed_text_from(object, nullptr, capacity);
  if (outcome != Outcome::ok) {
    return outcome;
  }
  char *copy = keep_text(frame, new_copy(capacity), capacity);
  slot.set(copy);
  return copy ? fixed_text_from(object, copy, capacity) : Outcome::memory_error;
}

Outcome convert_scalar(Frame &frame, PyObject *object, Scalar scalar, Slot &slot) {
  std::uint64_t value = 0;
  const Outcome outcome = scalar_from(object, scalar, &value, &frame.deferred);
  slot.set(value);
  return outcome;
}

Outcome convert_pointer(PyObject *object, TypeIndex pointee, Disown disown, Slot &slot) {
  void *pointer = nullptr;
  const bool found = pointer_from(object, descriptor(pointee), disown, &pointer);
  slot.set(pointer);
  return found ? Outcome::ok : Outcome::generic_failure;
}

void raise_not_bytes(PyObject *object) {
  PyBytes_AsString(object);
}
void raise_not_utf8(PyObject *object) {
  PyUnicode_AsUTF8(object);
}

// The object's own buffer, without a copy and without a check: scripts pass data of any kind here and rely
// on the library being called, with a null pointer if there is no buffer.
Outcome convert_raw(Frame &frame, PyObject *object, Typemap typemap, Slot &slot) {
  const char *data = nullptr;
  if (PyBytes_Check(object)) {
    data = PyBytes_AS_STRING(object);
  } else if (typemap == Typemap::raw_bytes_or_text && PyUnicode_Check(object)) {
    data = PyUnicode_AsUTF8(object);
    if (!data) {
      const bool no_memory = PyErr_ExceptionMatches(PyExc_MemoryError);
      PyErr_Clear();
      if (no_memory) {
        return Outcome::memory_error;
      }
      frame.deferred.set(object, raise_not_utf8);
    }
  } else {
    frame.deferred.set(object, raise_not_bytes);
  }
  slot.set(data);
  return Outcome::ok;
}

Outcome convert_six_bytes(PyObject *object, Slot &slot) {
  Py_buffer view;
  if (PyObject_GetBuffer(object, &view, PyBUF_SIMPLE) < 0) {
    PyErr_Clear();
    return Outcome::type_error;
  }
  // The address outlives the view: the argument tuple holds the object, and nothing runs that could
  // resize it.
  slot.set(static_cast<unsigned char *>(view.buf));
  PyBuffer_Release(&view);
  return Outcome::ok;
}

[[gnu::noinline]] Outcome convert_rarer_input(Frame &frame, const ArgumentEntry &argument, PyObject *object,
                                              Slot &slot) {
  switch (argument.typemap) {
    case Typemap::fixed_text: return convert_fixed_text(frame, object, argument.capacity, slot);
    case Typemap::disowned_pointer: return convert_pointer(object, argument.pointee, Disown::yes, slot);
    case Typemap::any_pointer: return convert_pointer(object, no_type, Disown::no, slot);
    case Typemap::raw_bytes:
    case Typemap::raw_bytes_or_text: return convert_raw(frame, object, argument.typemap, slot);
    case Typemap::six_bytes: return convert_six_bytes(object, slot);
    default: return convert_pointer(object, argument.pointee, Disown::no, slot);
  }
}

// Two kinds make up most arguments.
[[gnu::always_inline]] inline Outcome convert_input(Frame &frame, const ArgumentEntry &argument, PyObject *object,
                                                    Slot &slot) {
  switch (argument.typemap) {
    case Typemap::text: return convert_text(frame, object, slot);
    case Typemap::scalar: return convert_scalar(frame, object, argument.scalar, slot);
    default: return convert_rarer_input(frame, argument, object, slot);
  }
}

bool must_not_be_null(Typemap typemap) {
  return typemap == Typemap::self || typemap == Typemap::record_value;
}

// The room that an output is passed by address. `text_room` is storage of the calling frame, of which texts take
// theirs.
void prepare_output(Frame &frame, const ArgumentEntry &argument, char *&text_room, Slot &slot) {
  Frame::Output &output = frame.outputs[frame.output_count++];
  output.value = 0;
  if (argument.typemap == Typemap::text_output) {
    output.text = text_room;
    output.text[0] = 0;
    slot.set(output.text);
    text_room += argument.capacity + 1;
  } else {
    slot.set(&output.value);
  }
}

// Converts all arguments in native order; false with the error set and the copies released.
bool convert_arguments(Frame &frame, const CallEntry &call, Arguments arguments, char *text_room) {
  Py_ssize_t next = 0;
  for (std::size_t i = 0; i < call.argument_count; ++i) {
    const ArgumentEntry &argument = argument_entries[call.first_argument + i];
    if (is_output(argument.typemap)) {
      prepare_output(frame, argument, text_room, frame.slots[i]);
      continue;
    }
    const Outcome outcome = convert_input(frame, argument, arguments.items[next++], frame.slots[i]);
    const int position = static_cast<int>(i) + 1;
    if (outcome != Outcome::ok) [[unlikely]] {
      argument_error(outcome, text_at(call.name), position, text_at(argument.type));
      release_texts(frame);
      return false;
    }
    if (must_not_be_null(argument.typemap) && !frame.slots[i].get<void *>()) [[unlikely]] {
      null_reference_error(text_at(call.name), position, text_at(argument.type));
      release_texts(frame);
      return false;
    }
  }
  return true;
}

// A name that fills its slot has no terminator there.
PyObject *name_to_python(const char *text, std::size_t width, NameEnd name_end) {
  return text && name_end == NameEnd::slot ? text_to_python(text, SWIG_strnlen(text, width)) : text_to_python(text);
}

PyObject *result_to_python(const CallEntry &call, const Slot (&results)[2], NameEnd name_end) {
  const Slot &result = results[0];
  switch (call.result) {
    case Result::none: return Py_NewRef(Py_None);
    case Result::scalar: return scalar_to_python(result.address(), call.result_scalar);
    case Result::text: return text_to_python(result.get<const char *>());
    case Result::slot_text: return name_to_python(result.get<const char *>(), results[1].get<std::size_t>(), name_end);
    case Result::borrowed_pointer:
      return new_proxy(result.get<void *>(), descriptor(call.result_pointee), Ownership::borrowed);
    case Result::owned_pointer: {
      PyObject *proxy = new_proxy(result.get<void *>(), descriptor(call.result_pointee), Ownership::owned);
      if (!proxy) {
        std::free(result.get<void *>());
      }
      return proxy;
    }
    case Result::object: return result.get<PyObject *>();
  }
  return nullptr;
}

PyObject *output_to_python(const ArgumentEntry &argument, Frame::Output &output) {
  switch (argument.typemap) {
    case Typemap::record_output:
      return new_proxy(reinterpret_cast<void *>(output.value), descriptor(argument.pointee), Ownership::borrowed);
    case Typemap::integer_output: return PyLong_FromLong(static_cast<std::int32_t>(output.value));
    case Typemap::boolean_output: return PyLong_FromLong(static_cast<signed char>(output.value));
    default: output.text[argument.capacity] = 0; return text_to_python(output.text);
  }
}

// The status and the outputs in native order.
PyObject *result_list(Frame &frame, const CallEntry &call, PyObject *status) {
  PyObject *list = status ? PyList_New(static_cast<Py_ssize_t>(frame.output_count) + 1) : nullptr;
  if (!list) {
    Py_XDECREF(status);
    return nullptr;
  }
  PyList_SET_ITEM(list, 0, status);
  std::size_t next = 0;
  for (std::size_t i = 0; i < call.argument_count; ++i) {
    const ArgumentEntry &argument = argument_entries[call.first_argument + i];
    if (!is_output(argument.typemap)) {
      continue;
    }
    PyObject *value = output_to_python(argument, frame.outputs[next]);
    if (!value) {
      Py_DECREF(list);
      return nullptr;
    }
    PyList_SET_ITEM(list, static_cast<Py_ssize_t>(++next), value);
  }
  return list;
}

// A library may jump with the interpreter lock or without it.
void take_interpreter_lock(PyThreadState *thread) {
  if (_PyThreadState_UncheckedGet() != thread) {
    PyEval_RestoreThread(thread);
  }
}

// `unlocked`: this thread, which holds the bridge, if the interpreter lock is to be given up; else null. One function
// for both, so that it is compiled in one piece.
PyObject *run(const CallEntry &call, Arguments arguments, NameEnd name_end, PyThreadState *unlocked) {
  if (arguments.count != call.input_count) [[unlikely]] {
    return argument_count_error(arguments, call.input_count, text_at(call.name));
  }
  if (is_claimed(bridge_use)) [[unlikely]] {
    // Before addresses are taken, too: other threads may do as they like with what has them meanwhile.
    wait_for_bridge();
  }
  Frame frame;
  char text_room[text_output_room];
  if (!convert_arguments(frame, call, arguments, text_room)) {
    return nullptr;
  }
  enter_call(frame.outer);
  if (!VSWITCHPY_BRIDGE_ARMED()) {
    if (unlocked) {
      take_interpreter_lock(unlocked);
    }
    leave_call(frame.outer);
    // The text copies stay: the library may have kept their addresses.
    return raise_aborted_call();
  }
  if (unlocked) [[unlikely]] {
    PyEval_SaveThread();
    call.invoke(frame.slots, frame.result);
    PyEval_RestoreThread(unlocked);
  } else {
    call.invoke(frame.slots, frame.result);
  }
  leave_call(frame.outer);
  PyObject *result = result_to_python(call, frame.result, name_end);
  if (frame.output_count) {
    result = result_list(frame, call, result);
  }
  release_texts(frame);
  if (result) {
    frame.deferred.raise();
  }
  return result;
}

}  // namespace

PyObject *call_bridged(const CallEntry &call, Arguments arguments, NameEnd name_end) {
  return run(call, arguments, name_end, nullptr);
}

PyObject *call_unlocked(const CallEntry &call, Arguments arguments, NameEnd name_end) {
  // What makes Python objects needs the lock.
  if (call.result == Result::object || !hold_bridge()) {
    return call_bridged(call, arguments, name_end);
  }
  PyObject *result = run(call, arguments, name_end, PyThreadState_Get());
  give_bridge_up();
  return result;
}

namespace {

// Whether every argument would convert, or memory is gone. Tried aside: nothing is kept.
Outcome form_fits(const CallEntry &form, Arguments arguments) {
  if (arguments.count != form.input_count) {
    return Outcome::type_error;
  }
  Frame frame;
  Outcome outcome = Outcome::ok;
  Py_ssize_t next = 0;
  for (std::size_t i = 0; outcome == Outcome::ok && i < form.argument_count; ++i) {
    const ArgumentEntry &argument = argument_entries[form.first_argument + i];
    if (!is_output(argument.typemap)) {
      outcome = convert_input(frame, argument, arguments.items[next++], frame.slots[i]);
    }
  }
  release_texts(frame);
  return outcome;
}

PyObject *no_form_error(const CallEntry *forms, std::size_t count) {
  PyObject *text = PyUnicode_FromFormat(
      "Wrong number or type of arguments for overloaded function '%s'.\n  Possible C/C++ prototypes are:\n",
      text_at(forms[0].name));
  for (std::size_t form = 0; text && form < count; ++form) {
    PyUnicode_AppendAndDel(&text, PyUnicode_FromFormat("    %s(", text_at(forms[form].name)));
    for (std::size_t i = 0; text && i < forms[form].argument_count; ++i) {
      const ArgumentEntry &argument = argument_entries[forms[form].first_argument + i];
      PyUnicode_AppendAndDel(&text, PyUnicode_FromFormat(i ? ",%s" : "%s", text_at(argument.type)));
    }
    PyUnicode_AppendAndDel(&text, PyUnicode_FromString(")\n"));
  }
  if (text) {
    PyErr_SetObject(PyExc_NotImplementedError, text);
    Py_DECREF(text);
  }
  return nullptr;
}

}  // namespace

PyObject *call_overloaded(const CallEntry *forms, Arguments arguments, CallFunction call) {
  constexpr std::size_t count = 2;
  for (std::size_t form = 0; form < count; ++form) {
    const Outcome outcome = form_fits(forms[form], arguments);
    if (outcome == Outcome::ok) {
      return call(forms[form], arguments, NameEnd::terminator);
    }
    if (outcome == Outcome::memory_error) {
      return PyErr_NoMemory();
    }
  }
  return no_form_error(forms, count);
}

}  // namespace vswitchpy
