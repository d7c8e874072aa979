// The module `_native`: hosts, captures and results of the simulated host's library, as Python sees them. Whatever may
// wait or take long lets other threads of Python run.
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

#include <pybind11/stl.h>

#include "python/vswitch/simulated/native.hpp"

namespace simulated {

void raise(int status) {
  std::string const text = vssim_error();
  PyObject *error = classes.simulation_error;
  switch (status) {
    case VSSIM_BAD_ARGUMENT:
    case VSSIM_NOT_FOUND: error = PyExc_ValueError; break;
    case VSSIM_NO_MEMORY: PyErr_NoMemory(); throw py::error_already_set();
    case VSSIM_BUSY: error = classes.busy_error; break;
    case VSSIM_READ_ONLY: error = classes.read_only_error; break;
    case VSSIM_NO_SPACE: error = classes.no_space_error; break;
    default: break;
  }
  PyErr_SetObject(error, to_python(text).ptr());
  throw py::error_already_set();
}

namespace {

char const *text_or_null(std::optional<std::string> const &text) {
  return text ? text->c_str() : nullptr;
}

// JSON that the library has made, and releases.
py::bytes take_json(char *json) {
  py::bytes made(json);
  vssim_free(json);
  return made;
}

// A path as bytes; a zero byte would cut it.
std::string path_text(py::bytes const &path) {
  std::string text = path;
  if (text.find('\0') != std::string::npos)
    throw py::value_error("embedded null byte");
  return text;
}

class Capture {
 public:
  // The capture ends with the host.
  Capture(vssim_capture *capture, HostPointer host) : capture_(capture), host_(std::move(host)) {}
  Capture(Capture const &) = delete;
  Capture &operator=(Capture const &) = delete;
  ~Capture() { vssim_capture_close(capture_); }

  std::uint64_t frames() const { return capture_ ? vssim_capture_frames(capture_) : frames_; }

  void close() {
    if (!capture_)
      return;
    frames_ = vssim_capture_frames(capture_);
    vssim_capture *const capture = std::exchange(capture_, nullptr);
    int const status = unlocked([&] { return vssim_capture_close(capture); });
    host_.reset();
    check(status);
  }

 private:
  vssim_capture *capture_;
  HostPointer host_;
  std::uint64_t frames_ = 0;
};

class Host;
// The hosts of this process that are not closed.
std::unordered_map<vssim_host *, std::weak_ptr<Host>> hosts;

class Host {
 public:
  explicit Host(vssim_host *host) : open_(std::make_shared<OpenHost>(host)) { new_endpoints(); }
  Host(Host const &) = delete;
  Host &operator=(Host const &) = delete;
  ~Host() { forget(); }

  static std::shared_ptr<Host> open(py::bytes const &path, std::optional<py::bytes> const &boot) {
    std::string const path_of_file = path_text(path);
    std::optional<std::string> description;
    if (boot) {
      description = *boot;
      if (description->find('\0') != std::string::npos)
        throw py::value_error("a boot description cannot have a zero byte");
    }
    vssim_host *host = nullptr;
    check(unlocked([&] { return vssim_open(path_of_file.c_str(), text_or_null(description), &host); }));
    return adopt(host);
  }

  static std::shared_ptr<Host> current() {
    vssim_host *host = nullptr;
    check(unlocked([&] { return vssim_current(&host); }));
    auto const known = hosts.find(host);
    if (std::shared_ptr<Host> found = known == hosts.end() ? nullptr : known->second.lock()) {
      vssim_close(host);  // it was opened once more for us
      return found;
    }
    return adopt(host);
  }

  bool is_open() const { return open_ && !closed_; }

  py::str path() const {
    HostPointer const host = opened();
    char const *const path = vssim_path(host->get());
    if (!path)
      raise(VSSIM_FAILED);
    return py::reinterpret_steal<py::str>(PyUnicode_DecodeFSDefault(path));
  }

  std::shared_ptr<Host> fork() const {
    vssim_host *copy = nullptr;
    call([&](vssim_host *host) { return vssim_fork(host, &copy); });
    return adopt(copy);
  }

  void use() {
    call(vssim_use);
    ++uses_;
  }

  // Also of a host that was closed while it was in use.
  void unuse() {
    if (uses_ == 0)
      return;
    HostPointer const host = open_;
    check(unlocked([&] { return vssim_unuse(host->get()); }));
    --uses_;
    if (closed_ && uses_ == 0)
      open_.reset();
  }

  void close() {
    if (closed_)
      return;
    forget();
    closed_ = true;
    endpoints_.reset();
    if (uses_ == 0)
      let_go();
  }

  void reset() {
    call(vssim_reset);
    new_endpoints();
  }

  void boot() { call(vssim_boot); }

  void snapshot(py::bytes const &path, bool force) const {
    std::string const target = path_text(path);
    call([&](vssim_host *host) { return vssim_snapshot(host, target.c_str(), force ? 1 : 0); });
  }

  std::int64_t now() const {
    std::int64_t microseconds = 0;
    call([&](vssim_host *host) { return vssim_now(host, &microseconds, nullptr); });
    return microseconds;
  }

  void stop_clock(std::int64_t at) const {
    call([&](vssim_host *host) { return vssim_stop_clock(host, at); });
  }

  void run_clock() const { call(vssim_run_clock); }

  ResultPointer advance(std::int64_t microseconds) const {
    return operate([&](vssim_host *host, vssim_result **result) { return vssim_advance(host, microseconds, result); });
  }

  py::bytes endpoints() const { return answer(vssim_endpoints); }

  ResultPointer send(py::handle endpoint, py::handle frame) const {
    return with_frames([&](Frames &frames) { frames.add(endpoint, frame); },
                       [](vssim_host *host, Frames const &frames, vssim_result **result) {
                         return vssim_send(host, frames.data(), frames.count(), 0, result);
                       });
  }

  ResultPointer send_many(py::handle frames, bool count_only) const {
    py::tuple const pairs = frame_pairs(frames);
    std::uint32_t const flags = count_only ? VSSIM_COUNT_ONLY : 0;
    return with_frames([&](Frames &batch) { batch.add_all(pairs); },
                       [&](vssim_host *host, Frames const &batch, vssim_result **result) {
                         return vssim_send(host, batch.data(), batch.count(), flags, result);
                       });
  }

  ResultPointer explain(py::handle endpoint, py::handle frame) const {
    return with_frames([&](Frames &frames) { frames.add(endpoint, frame); },
                       [](vssim_host *host, Frames const &frames, vssim_result **result) {
                         return vssim_explain(host, frames.data(), result);
                       });
  }

  ResultPointer replay(py::handle endpoint, py::bytes const &path, bool timing) const {
    std::string const source = path_text(path);
    vssim_result *result = nullptr;
    at(endpoint, [&](vssim_host *host, vssim_endpoint number) {
      return vssim_replay(host, number, source.c_str(), timing ? 1 : 0, &result);
    });
    return std::make_shared<Result>(result, endpoints_);
  }

  std::shared_ptr<Capture> capture(py::handle endpoint, py::bytes const &path, int directions,
                                   std::uint32_t snaplen) const {
    std::string const target = path_text(path);
    vssim_capture *capture = nullptr;
    at(endpoint, [&](vssim_host *host, vssim_endpoint number) {
      return vssim_capture_open(host, number, target.c_str(), directions, snaplen, &capture);
    });
    return std::make_shared<Capture>(capture, open_);
  }

  // Something about an endpoint that is said in JSON.
  template <int (*Function)(vssim_host *, vssim_endpoint, char const *)>
  void tell(py::handle endpoint, py::bytes const &json) const {
    std::string const text = json;
    at(endpoint, [&](vssim_host *host, vssim_endpoint number) { return Function(host, number, text.c_str()); });
  }

  // Something about an endpoint that is answered in JSON.
  template <int (*Function)(vssim_host *, vssim_endpoint, char **)>
  py::bytes ask(py::handle endpoint) const {
    char *json = nullptr;
    at(endpoint, [&](vssim_host *host, vssim_endpoint number) { return Function(host, number, &json); });
    return take_json(json);
  }

  void disconnect(py::handle endpoint) const { at(endpoint, vssim_disconnect); }

  py::bytes mac_table(py::str const &alias) const {
    std::string const name = to_native(alias);
    if (name.find('\0') != std::string::npos)
      raise_value_error("no switch '" + name + "'");
    return answer([&](vssim_host *host, char **json) { return vssim_mac_table(host, name.c_str(), json); });
  }

  std::int64_t fault(py::bytes const &json) const {
    std::string const text = json;
    std::int64_t number = 0;
    call([&](vssim_host *host) { return vssim_fault(host, text.c_str(), &number); });
    return number;
  }

  py::bytes faults() const { return answer(vssim_faults); }

  void clear_fault(std::int64_t number) const {
    call([&](vssim_host *host) { return vssim_clear_fault(host, number); });
  }

  void trace(std::optional<py::bytes> const &path) const {
    std::optional<std::string> const target = path ? std::optional(path_text(*path)) : std::nullopt;
    call([&](vssim_host *host) { return vssim_trace(host, text_or_null(target)); });
  }

 private:
  static std::shared_ptr<Host> adopt(vssim_host *host) {
    auto made = std::make_shared<Host>(host);
    hosts[host] = made;
    return made;
  }

  void new_endpoints() { endpoints_ = std::make_shared<Endpoints>(open_); }

  // Before the library may give its address to another host.
  void forget() {
    if (!open_)
      return;
    auto const known = hosts.find(open_->get());
    if (known != hosts.end() && (known->second.expired() || known->second.lock().get() == this))
      hosts.erase(known);
  }

  void let_go() {
    HostPointer last = std::move(open_);
    py::gil_scoped_release const release;
    last.reset();
  }

  HostPointer opened() const {
    if (is_open())
      return open_;
    PyErr_SetString(classes.simulation_error, "the host is closed");
    throw py::error_already_set();
  }

  template <typename Call>
  void call(Call const &function) const {
    HostPointer const host = opened();
    check(unlocked([&] { return function(host->get()); }));
  }

  template <typename Call>
  py::bytes answer(Call const &function) const {
    char *json = nullptr;
    call([&](vssim_host *host) { return function(host, &json); });
    return take_json(json);
  }

  template <typename Call>
  ResultPointer operate(Call const &function) const {
    EndpointsPointer const endpoints = endpoints_;
    vssim_result *result = nullptr;
    call([&](vssim_host *host) { return function(host, &result); });
    return std::make_shared<Result>(result, endpoints);
  }

  // Makes a call about an endpoint. One that has gone and come again since it was last used has a new number.
  template <typename Call>
  void at(py::handle endpoint, Call const &function) const {
    HostPointer const host = opened();
    EndpointsPointer const endpoints = endpoints_;
    vssim_endpoint const number = endpoints->number_of(endpoint);
    int status = unlocked([&] { return function(host->get(), number); });
    if (status == VSSIM_NOT_FOUND) {
      endpoints->forget_numbers();
      vssim_endpoint const again = endpoints->number_of(endpoint);
      status = unlocked([&] { return function(host->get(), again); });
    }
    check(status);
  }

  // The same with frames.
  template <typename Fill, typename Call>
  ResultPointer with_frames(Fill const &fill, Call const &function) const {
    HostPointer const host = opened();
    EndpointsPointer const endpoints = endpoints_;
    vssim_result *result = nullptr;
    int status = VSSIM_OK;
    for (bool again : {false, true}) {
      if (again && status != VSSIM_NOT_FOUND)
        break;
      if (again)
        endpoints->forget_numbers();
      Frames frames(endpoints);
      fill(frames);
      status = unlocked([&] { return function(host->get(), frames, &result); });
    }
    check(status);
    return std::make_shared<Result>(result, endpoints);
  }

  HostPointer open_;
  EndpointsPointer endpoints_;
  int uses_ = 0;
  bool closed_ = false;
};

}  // namespace

}  // namespace simulated

PYBIND11_MODULE(_native, module) {
  using namespace simulated;

  module.doc() =
      "The library of simulated hosts: endpoints and frames are as in the package, all else is bytes of JSON.";
  module.def("take_classes", &take_classes, py::arg("classes"), "The package's classes, before anything else is done.");
  module.def(
      "reason_name",
      [](unsigned reason) -> std::optional<std::string> {
        char const *const name = vssim_reason_name(reason);
        return name ? std::optional<std::string>(name) : std::nullopt;
      },
      py::arg("reason"), "The name of a reason by its number; None: there is none.");
  add_sequence_class(module);

  py::class_<Result, ResultPointer>(module, "Result", "What came of an operation.", py::is_final())
      .def_property_readonly("deliveries",
                             [](ResultPointer const &result) { return make_sequence(result, Items::deliveries); })
      .def_property_readonly("drops", [](ResultPointer const &result) { return make_sequence(result, Items::drops); })
      .def_property_readonly("steps", [](ResultPointer const &result) { return make_sequence(result, Items::steps); })
      .def("total", &Result::total, py::arg("what"))
      .def("to", &Result::to, py::arg("endpoint"))
      .def("equals", &Result::equals, py::arg("other"));

  py::class_<Capture, std::shared_ptr<Capture>>(module, "Capture", "A capture that is under way.", py::is_final())
      .def_property_readonly("frames", &Capture::frames)
      .def("close", &Capture::close);

  py::class_<Host, std::shared_ptr<Host>>(module, "Host", "A host.", py::is_final())
      .def(py::init(&Host::open), py::arg("path"), py::arg("boot").none(true))
      .def_static("current", &Host::current)
      .def_property_readonly("is_open", &Host::is_open)
      .def_property_readonly("path", &Host::path)
      .def("fork", &Host::fork)
      .def("use", &Host::use)
      .def("unuse", &Host::unuse)
      .def("close", &Host::close)
      .def("reset", &Host::reset)
      .def("boot", &Host::boot)
      .def("snapshot", &Host::snapshot, py::arg("path"), py::arg("force"))
      .def("now", &Host::now)
      .def("stop_clock", &Host::stop_clock, py::arg("at"))
      .def("run_clock", &Host::run_clock)
      .def("advance", &Host::advance, py::arg("microseconds"))
      .def("endpoints", &Host::endpoints)
      .def("send", &Host::send, py::arg("endpoint"), py::arg("frame"))
      .def("send_many", &Host::send_many, py::arg("frames"), py::arg("count_only"))
      .def("explain", &Host::explain, py::arg("endpoint"), py::arg("frame"))
      .def("replay", &Host::replay, py::arg("endpoint"), py::arg("path"), py::arg("timing"))
      .def("capture", &Host::capture, py::arg("endpoint"), py::arg("path"), py::arg("directions"), py::arg("snaplen"))
      .def("connect", &Host::tell<vssim_connect>, py::arg("port"), py::arg("client"))
      .def("disconnect", &Host::disconnect, py::arg("port"))
      .def("set_client", &Host::tell<vssim_set_client>, py::arg("port"), py::arg("changes"))
      .def("client", &Host::ask<vssim_client>, py::arg("port"))
      .def("set_nic", &Host::tell<vssim_set_nic>, py::arg("nic"), py::arg("changes"))
      .def("set_partner", &Host::tell<vssim_set_partner>, py::arg("nic"), py::arg("partner"))
      .def("lacp", &Host::ask<vssim_lacp>, py::arg("nic"))
      .def("counters", &Host::ask<vssim_counters>, py::arg("endpoint"))
      .def("mac_table", &Host::mac_table, py::arg("alias"))
      .def("fault", &Host::fault, py::arg("rule"))
      .def("faults", &Host::faults)
      .def("clear_fault", &Host::clear_fault, py::arg("number"))
      .def("trace", &Host::trace, py::arg("path").none(true));
}
