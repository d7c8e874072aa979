// The one call that no row describes: it takes any number of arguments, and is made outside the bridge.
#include "interface/panic.hpp"

#include "runtime/bridge.hpp"
#include "runtime/convert.hpp"

extern "C" {
// The host's log. `format` is the script's own text.
void Panic(const char *format, ...);
}

namespace vswitchpy {

PyObject *panic(PyObject * /*module*/, PyObject *tuple) {
  const Arguments arguments = arguments_in(tuple);
  if (arguments.count == 0) {
    return argument_count_error(arguments, 1, "Panic");
  }
  PyObject *object = arguments.items[0];
  const char *text = nullptr;
  std::size_t size = 0;
  const Outcome outcome = text_from(object, &text, &size);
  if (outcome != Outcome::ok) {
    return argument_error(outcome, "Panic", 1, "char const *");
  }
  char *copy = text ? copy_text(text, size) : nullptr;
  if (text && !copy) {
    return argument_error(Outcome::memory_error, "Panic", 1, "char const *");
  }
  if (is_claimed(bridge_use)) [[unlikely]] {
    // Not in the middle of another thread's call.
    wait_for_bridge();
  }
  Panic(copy, static_cast<void *>(nullptr));
  release_text(copy, size);
  Py_RETURN_NONE;
}

}  // namespace vswitchpy
