// Endpoints and frames on their way into the library.
#include <string>

#include "python/vswitch/simulated/native.hpp"

namespace simulated {

namespace {

constexpr std::size_t most_frames = 65536;
constexpr std::size_t most_bytes = std::size_t{64} << 20;

[[noreturn]] void type_error(Where where, std::string const &expected, py::handle given) {
  throw py::type_error(where.text() + expected + " expected, not " + Py_TYPE(given.ptr())->tp_name);
}

bool is_text_pair(PyObject *value) {
  return PyTuple_GET_SIZE(value) == 2 && PyUnicode_Check(PyTuple_GET_ITEM(value, 0)) &&
         PyUnicode_Check(PyTuple_GET_ITEM(value, 1));
}

void check_form(py::handle endpoint, Where where) {
  PyObject *const value = endpoint.ptr();
  if (PyUnicode_Check(value) || (PyTuple_Check(value) && is_text_pair(value)))
    return;
  if (PyTuple_Check(value) && PyTuple_GET_SIZE(value) != 2) {
    throw py::value_error(where.text() + "an endpoint is (switch alias, dvport id), not a tuple of " +
                          std::to_string(PyTuple_GET_SIZE(value)));
  }
  if (PyTuple_Check(value)) {
    bool const second = PyUnicode_Check(PyTuple_GET_ITEM(value, 0));
    type_error(where, second ? "str as dvport id" : "str as switch alias", PyTuple_GET_ITEM(value, second ? 1 : 0));
  }
  type_error(where, "(switch alias, dvport id) or the name of a NIC", endpoint);
}

// What gives its bytes by __bytes__; of instances that is asked of the class.
bool has_bytes_method(PyObject *value) {
  return PyObject_HasAttrString(reinterpret_cast<PyObject *>(Py_TYPE(value)), "__bytes__") != 0;
}

}  // namespace

void raise_value_error(std::string_view text) {
  PyErr_SetObject(PyExc_ValueError, to_python(text).ptr());
  throw py::error_already_set();
}

py::str to_python(std::string_view text) {
  PyObject *const made = PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogateescape");
  if (!made)
    throw py::error_already_set();
  return py::reinterpret_steal<py::str>(made);
}

std::string to_native(py::handle text) {
  auto const encoded =
      py::reinterpret_steal<py::bytes>(PyUnicode_AsEncodedString(text.ptr(), "utf-8", "surrogateescape"));
  if (!encoded)
    throw py::error_already_set();
  return encoded;
}

// The name of something may hold a zero byte, or half of a character, which no endpoint has.
vssim_endpoint Endpoints::ask(py::handle endpoint) {
  bool const is_port = PyTuple_Check(endpoint.ptr());
  py::handle const first = is_port ? PyTuple_GET_ITEM(endpoint.ptr(), 0) : endpoint.ptr();
  std::string const name = to_native(first);
  std::string const port = is_port ? to_native(PyTuple_GET_ITEM(endpoint.ptr(), 1)) : "";
  if (name.find('\0') != std::string::npos)
    raise_value_error((is_port ? "no switch '" : "no NIC '") + name + "'");
  if (port.find('\0') != std::string::npos)
    raise_value_error("no port '" + port + "' on switch '" + name + "'");
  vssim_endpoint number = 0;
  check(unlocked([&] {
    return is_port ? vssim_port(host_->get(), name.c_str(), port.c_str(), &number)
                   : vssim_nic(host_->get(), name.c_str(), &number);
  }));
  return number;
}

vssim_endpoint Endpoints::number_of(py::handle endpoint, Where where) {
  check_form(endpoint, where);
  if (PyObject *const known = PyDict_GetItemWithError(numbers_.ptr(), endpoint.ptr()))
    return static_cast<vssim_endpoint>(PyLong_AsUnsignedLong(known));
  if (PyErr_Occurred())
    throw py::error_already_set();
  vssim_endpoint const number = ask(endpoint);
  if (numbers_.size() >= near)
    numbers_.clear();
  numbers_[endpoint] = number;
  return number;
}

void Endpoints::learn_new(vssim_endpoint number) {
  if (number >= near && far_names_.contains(number))
    return;
  char const *alias = nullptr;
  char const *name = nullptr;
  check(unlocked([&] { return vssim_endpoint_name(host_->get(), number, &alias, &name); }));
  py::object made = to_python(name);
  if (alias)
    made = py::make_tuple(to_python(alias), made);
  if (number >= near) {
    far_names_.emplace(number, std::move(made));
    return;
  }
  if (number >= names_.size())
    names_.resize(number + 1);
  names_[number] = std::move(made);
}

void Frames::add(py::handle endpoint, py::handle frame, Where where) {
  PyObject *bytes = frame.ptr();
  if (!PyBytes_Check(bytes)) {
    if (PyObject_CheckBuffer(bytes))
      bytes = PyBytes_FromObject(bytes);
    else if (has_bytes_method(bytes))
      bytes = PyObject_Bytes(bytes);
    else
      type_error(where, "a frame as bytes, or what has __bytes__,", frame);
    if (!bytes)
      throw py::error_already_set();
    made_.push_back(py::reinterpret_steal<py::object>(bytes));
  }
  auto const length = static_cast<std::size_t>(PyBytes_GET_SIZE(bytes));
  if (length > most_bytes - bytes_)
    throw py::value_error("more than 64 MiB of frames at once");
  bytes_ += length;
  frames_.push_back(
      {endpoints_->number_of(endpoint, where), static_cast<std::uint32_t>(length), PyBytes_AS_STRING(bytes)});
}

void Frames::add_all(py::tuple const &pairs) {
  frames_.reserve(pairs.size());
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    Where const where{i, true};
    PyObject *const pair = PyTuple_GET_ITEM(pairs.ptr(), static_cast<Py_ssize_t>(i));
    if (!PyTuple_Check(pair) || PyTuple_GET_SIZE(pair) != 2)
      type_error(where, "(endpoint, frame)", pair);
    add(PyTuple_GET_ITEM(pair, 0), PyTuple_GET_ITEM(pair, 1), where);
  }
}

py::tuple frame_pairs(py::handle frames) {
  std::string const too_many = "more than " + std::to_string(most_frames) + " frames at once";
  if (PyList_Check(frames.ptr()) || PyTuple_Check(frames.ptr())) {
    auto pairs = py::reinterpret_steal<py::tuple>(PySequence_Tuple(frames.ptr()));
    if (!pairs)
      throw py::error_already_set();
    if (pairs.size() > most_frames)
      throw py::value_error(too_many);
    return pairs;
  }
  py::list pairs;
  for (py::handle const pair : py::iter(frames)) {
    if (pairs.size() == most_frames)
      throw py::value_error(too_many);
    pairs.append(pair);
  }
  return pairs;
}

}  // namespace simulated
