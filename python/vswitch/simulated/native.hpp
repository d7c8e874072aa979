// What the sources of the module share: errors, the host behind a Python object, its endpoints, frames and results.
#pragma once

#include <pybind11/pybind11.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/sim/vswitch_sim.h"

namespace simulated {

namespace py = pybind11;

// What the module makes of answers, the package's classes among it: `take_classes` gets them when the package is
// imported. They stay for the life of the process.
struct Classes {
  PyTypeObject *delivery = nullptr;
  PyTypeObject *drop = nullptr;
  PyTypeObject *step = nullptr;
  PyObject *simulation_error = nullptr;
  PyObject *busy_error = nullptr;
  PyObject *read_only_error = nullptr;
  PyObject *no_space_error = nullptr;
  std::vector<PyObject *> kinds;     // by vssim_kind
  std::vector<PyObject *> reasons;   // by their numbers less 1
  std::vector<PyObject *> stages;    // texts
  std::vector<PyObject *> outcomes;  // texts
};
extern Classes classes;

// By the names of the members above.
void take_classes(py::dict const &given);

// Raises what a status means, with the text of this thread's last failure.
[[noreturn]] void raise(int status);

// Of a text that may hold zero bytes, which the exceptions of C++ do not carry.
[[noreturn]] void raise_value_error(std::string_view text);

inline void check(int status) {
  if (status != VSSIM_OK)
    raise(status);
}

// Makes a call of the library while other threads of Python run.
template <typename Call>
int unlocked(Call const &call) {
  py::gil_scoped_release const release;
  return call();
}

// A text of the library, and one of Python for it, in which bytes that are not UTF-8 stand as surrogates.
py::str to_python(std::string_view text);
std::string to_native(py::handle text);

// A host, for as long as somebody works on it.
class OpenHost {
 public:
  explicit OpenHost(vssim_host *host) : host_(host) {}
  OpenHost(OpenHost const &) = delete;
  OpenHost &operator=(OpenHost const &) = delete;
  ~OpenHost() { vssim_close(host_); }

  vssim_host *get() const { return host_; }

 private:
  vssim_host *host_;
};
using HostPointer = std::shared_ptr<OpenHost>;

// Which of the frames something is said about: its position, or the only one.
struct Where {
  std::size_t position = 0;
  bool is_one_of_many = false;

  std::string text() const { return is_one_of_many ? "frames[" + std::to_string(position) + "]: " : ""; }
};

// What the endpoints of a host are called.
class Endpoints {
 public:
  explicit Endpoints(HostPointer host) : host_(std::move(host)) {}

  // The number of an endpoint as Python writes it, ("alias", "dvport id") or "nic".
  vssim_endpoint number_of(py::handle endpoint, Where where = {});

  // An endpoint that has gone and come again can have a new number.
  void forget_numbers() { numbers_.clear(); }

  // Takes care that `name` knows an endpoint.
  void learn(vssim_endpoint number) {
    if (number >= names_.size() || !names_[number])
      learn_new(number);
  }

  // A borrowed reference, of what `learn` was called for.
  PyObject *name(vssim_endpoint number) const {
    return number < names_.size() ? names_[number].ptr() : far_names_.at(number).ptr();
  }

 private:
  static constexpr vssim_endpoint near = 1U << 20;

  vssim_endpoint ask(py::handle endpoint);
  void learn_new(vssim_endpoint number);

  HostPointer host_;
  py::dict numbers_;
  std::vector<py::object> names_;  // of endpoints below `near`
  std::unordered_map<vssim_endpoint, py::object> far_names_;
};
using EndpointsPointer = std::shared_ptr<Endpoints>;

// What came of an operation.
class Result {
 public:
  // Takes the result over.
  Result(vssim_result *result, EndpointsPointer endpoints);
  Result(Result const &) = delete;
  Result &operator=(Result const &) = delete;
  ~Result() { vssim_result_free(result_); }

  py::list to(py::handle endpoint) const;
  std::uint64_t total(int what) const { return vssim_total(result_, what); }
  bool equals(Result const &other) const;

  // New references, null with an error raised.
  PyObject *delivery(std::size_t position) const;
  PyObject *drop(std::size_t position) const;
  PyObject *step(std::size_t position) const;

  std::uint64_t delivery_count() const { return delivery_count_; }
  std::uint64_t drop_count() const { return drop_count_; }
  std::uint64_t step_count() const { return step_count_; }

 private:
  vssim_result *result_;
  EndpointsPointer endpoints_;
  vssim_delivery const *deliveries_ = nullptr;
  vssim_drop const *drops_ = nullptr;
  vssim_step const *steps_ = nullptr;
  std::uint64_t delivery_count_ = 0;
  std::uint64_t drop_count_ = 0;
  std::uint64_t step_count_ = 0;
};
using ResultPointer = std::shared_ptr<Result>;

enum class Items { deliveries, drops, steps };

// A sequence that makes its items when they are read.
py::object make_sequence(ResultPointer const &result, Items items);

// Its class, `Items` in the module.
void add_sequence_class(py::module_ &module);

// Frames for the library. The bytes are those of objects of type bytes, which nobody changes meanwhile.
class Frames {
 public:
  explicit Frames(EndpointsPointer endpoints) : endpoints_(std::move(endpoints)) {}

  // Keeps what it needs of the two alive, if these are: of a frame that is not bytes it makes bytes.
  void add(py::handle endpoint, py::handle frame, Where where = {});

  // All pairs of a tuple.
  void add_all(py::tuple const &pairs);

  vssim_frame const *data() const { return frames_.data(); }
  std::uint32_t count() const { return static_cast<std::uint32_t>(frames_.size()); }

 private:
  EndpointsPointer endpoints_;
  std::vector<vssim_frame> frames_;
  std::vector<py::object> made_;
  std::size_t bytes_ = 0;
};

// The items of an iterable, no more than an operation takes.
py::tuple frame_pairs(py::handle frames);

}  // namespace simulated
