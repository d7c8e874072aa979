// Constructor, destructor and class registration of every record.
#include "runtime/bridge.hpp"
#include "runtime/entries.hpp"
#include "runtime/record_object.hpp"

#include <malloc.h>

#include <cstdlib>
#include <cstring>

namespace vswitchpy {
namespace {

// Constructors return the bare proxy, also once a class is registered: the class stores it in `this`.
PyObject *owning_proxy(void *memory, const RecordEntry &record) {
  if (!memory) {
    // A failed allocation is a null pointer like any other.
    Py_RETURN_NONE;
  }
  PyObject *proxy = new_bare_proxy(memory, descriptor(record.self), Ownership::owned);
  if (!proxy) {
    std::free(memory);
  }
  return proxy;
}

void store_count(void *block, const Counted &count, int entries) {
  // A block smaller than its count field is made as asked, and the count is left out.
  if (block && malloc_usable_size(block) >= count.count_offset + sizeof entries) {
    std::memcpy(static_cast<char *>(block) + count.count_offset, &entries, sizeof entries);
  }
}

}  // namespace

PyObject *construct(const RecordEntry &record, Arguments arguments) {
  const int expected = record.counted ? 1 : 0;
  if (arguments.count != expected) [[unlikely]] {
    return argument_count_error(arguments, expected, text_at(record.constructor_name));
  }
  std::uint64_t count = 0;
  Deferred deferred;
  if (record.counted) {
    const Outcome outcome = scalar_from(arguments.items[0], Scalar::signed_32, &count, &deferred);
    if (outcome != Outcome::ok) [[unlikely]] {
      return argument_error(outcome, text_at(record.constructor_name), 1, "int");
    }
  }
  OuterCall outer;
  enter_call(outer);
  if (!VSWITCHPY_BRIDGE_ARMED()) {
    leave_call(outer);
    return raise_aborted_call();
  }
  void *memory = nullptr;
  if (record.counted) {
    // `count` is sign-extended: a negative one asks for a block that no allocator has, and gives None.
    memory = std::malloc(record.count.bytes_per_entry * count + record.count.fixed_bytes);
    store_count(memory, record.count, static_cast<int>(count));
  } else {
    memory = std::calloc(1, record.size);
  }
  leave_call(outer);
  PyObject *result = owning_proxy(memory, record);
  deferred.raise();
  return result;
}

PyObject *destruct(const RecordEntry &entry, Arguments arguments) {
  if (arguments.count != 1) [[unlikely]] {
    return argument_count_error(arguments, 1, text_at(entry.destructor_name));
  }
  void *memory = nullptr;
  if (!pointer_from(arguments.items[0], descriptor(entry.self), Disown::yes, &memory)) [[unlikely]] {
    return argument_error(Outcome::type_error, text_at(entry.destructor_name), 1, text_at(entry.self_type));
  }
  RecordObject *record = is_record(arguments.items[0]) ? as_record(arguments.items[0]) : nullptr;
  if (record && record->owner) {
    return PyErr_Format(PyExc_ValueError, "in method '%s', a view cannot be freed without the record it lies in",
                        text_at(entry.destructor_name));
  }
  OuterCall outer;
  enter_call(outer);
  if (!VSWITCHPY_BRIDGE_ARMED()) {
    leave_call(outer);
    return raise_aborted_call();
  }
  std::free(memory);
  leave_call(outer);
  if (record) {
    mark_released(record);
  }
  Py_RETURN_NONE;
}

PyObject *register_shadow_class(const RecordEntry &record, Arguments arguments) {
  if (arguments.count != 1) [[unlikely]] {
    return argument_count_error(arguments, 1, "swigregister");
  }
  if (!register_class(descriptor(record.self), arguments.items[0])) {
    return nullptr;
  }
  Py_RETURN_NONE;
}

}  // namespace vswitchpy
