// Field accessors: one getter and one setter rule for each kind of field.
#include "runtime/entries.hpp"

#include <cstdlib>
#include <cstring>

namespace vswitchpy {
namespace {

// The bytes of a field that may lie anywhere.
std::uint8_t *field_address(void *record, const FieldEntry &field) {
  return static_cast<std::uint8_t *>(record) + field.offset;
}

// A getter's record; null with the error set. Reading through a null record is refused, not attempted.
void *record_to_read(const FieldEntry &field, PyObject *arguments) {
  if (PyTuple_GET_SIZE(arguments) != 1) [[unlikely]] {
    argument_count_error(arguments, 1, text_at(field.getter_name));
    return nullptr;
  }
  void *record = nullptr;
  if (!pointer_from(PyTuple_GET_ITEM(arguments, 0), descriptor(field.self), Disown::no, &record)) [[unlikely]] {
    argument_error(Outcome::type_error, text_at(field.getter_name), 1, text_at(field.self_type));
    return nullptr;
  }
  if (!record) [[unlikely]] {
    null_reference_error(text_at(field.getter_name), 1, text_at(field.self_type));
  }
  return record;
}

// A setter's record and value. A null record is accepted, and nothing is stored then.
bool record_to_write(const FieldEntry &field, PyObject *arguments, void **record, PyObject **value) {
  if (PyTuple_GET_SIZE(arguments) != 2) [[unlikely]] {
    argument_count_error(arguments, 2, text_at(field.setter_name));
    return false;
  }
  if (!pointer_from(PyTuple_GET_ITEM(arguments, 0), descriptor(field.self), Disown::no, record)) [[unlikely]] {
    argument_error(Outcome::type_error, text_at(field.setter_name), 1, text_at(field.self_type));
    return false;
  }
  *value = PyTuple_GET_ITEM(arguments, 1);
  return true;
}

PyObject *value_error(const FieldEntry &field, Outcome outcome) {
  return argument_error(outcome, text_at(field.setter_name), 2, text_at(field.type));
}

PyObject *none() {
  return Py_NewRef(Py_None);
}

// A pointer value of a setter; false with the error set. A null `type` accepts every pointer.
bool pointer_value(const FieldEntry &field, PyObject *value, swig_type_info *type, Disown disown, void **pointer) {
  if (!pointer_from(value, type, disown, pointer)) [[unlikely]] {
    value_error(field, Outcome::type_error);
    return false;
  }
  return true;
}

std::uint64_t bit_mask(const FieldEntry &field) {
  return ((std::uint64_t{1} << field.bit_count) - 1) << field.first_bit;
}

std::uint64_t load_bytes(const std::uint8_t *bytes, std::size_t size) {
  std::uint64_t value = 0;
  std::memcpy(&value, bytes, size);
  return value;
}

}  // namespace

template <Scalar S>
PyObject *get_scalar(const FieldEntry &field, PyObject *arguments) {
  void *record = record_to_read(field, arguments);
  return record ? scalar_to_python(field_address(record, field), S) : nullptr;
}

template <Scalar S>
PyObject *set_scalar(const FieldEntry &field, PyObject *arguments) {
  void *record = nullptr;
  PyObject *object = nullptr;
  if (!record_to_write(field, arguments, &record, &object)) {
    return nullptr;
  }
  std::uint64_t value = 0;
  Deferred deferred;
  const Outcome outcome = scalar_from(object, S, &value, &deferred);
  if (outcome != Outcome::ok) [[unlikely]] {
    return value_error(field, outcome);
  }
  if (record) {
    store_scalar(field_address(record, field), S, value);
  }
  deferred.raise();
  return none();
}

#define INSTANTIATE(scalar)                                                      \
  template PyObject *get_scalar<Scalar::scalar>(const FieldEntry &, PyObject *); \
  template PyObject *set_scalar<Scalar::scalar>(const FieldEntry &, PyObject *)
INSTANTIATE(unsigned_8);
INSTANTIATE(unsigned_16);
INSTANTIATE(unsigned_32);
INSTANTIATE(unsigned_64);
INSTANTIATE(signed_32);
INSTANTIATE(signed_32_in_byte);
INSTANTIATE(character);
#undef INSTANTIATE

PyObject *get_bits(const FieldEntry &field, PyObject *arguments) {
  void *record = record_to_read(field, arguments);
  if (!record) {
    return nullptr;
  }
  const std::uint64_t bytes = load_bytes(field_address(record, field), field.size);
  return PyLong_FromUnsignedLong((bytes & bit_mask(field)) >> field.first_bit);
}

PyObject *set_bits(const FieldEntry &field, PyObject *arguments) {
  void *record = nullptr;
  PyObject *object = nullptr;
  if (!record_to_write(field, arguments, &record, &object)) {
    return nullptr;
  }
  std::uint64_t value = 0;
  Deferred deferred;
  // The range checked is the declared type's; bits beyond the field are dropped in silence, as the
  // platform's own setters do.
  const Outcome outcome = scalar_from(object, field.scalar, &value, &deferred);
  if (outcome != Outcome::ok) [[unlikely]] {
    return value_error(field, outcome);
  }
  if (record) {
    std::uint8_t *address = field_address(record, field);
    const std::uint64_t mask = bit_mask(field);
    const std::uint64_t merged = (load_bytes(address, field.size) & ~mask) | ((value << field.first_bit) & mask);
    std::memcpy(address, &merged, field.size);
  }
  return none();
}

PyObject *get_character_array(const FieldEntry &field, PyObject *arguments) {
  void *record = record_to_read(field, arguments);
  if (!record) {
    return nullptr;
  }
  const auto *text = reinterpret_cast<const char *>(field_address(record, field));
  return text_to_python(text, SWIG_strnlen(text, field.size));
}

PyObject *set_character_array(const FieldEntry &field, PyObject *arguments) {
  constexpr std::size_t longest = 2048;
  void *record = nullptr;
  PyObject *object = nullptr;
  if (!record_to_write(field, arguments, &record, &object)) {
    return nullptr;
  }
  // Converted aside first: a text that does not fit must leave the field as it is.
  char room[longest];
  const Outcome outcome = fixed_text_from(object, room, field.size);
  if (outcome != Outcome::ok) [[unlikely]] {
    return value_error(field, outcome);
  }
  if (record) {
    std::memcpy(field_address(record, field), room, field.size);
  }
  return none();
}

PyObject *get_mac_text(const FieldEntry &field, PyObject *arguments) {
  constexpr char digits[] = "0123456789abcdef";
  void *record = record_to_read(field, arguments);
  if (!record) {
    return nullptr;
  }
  const std::uint8_t *bytes = field_address(record, field);
  PyObject *text = PyUnicode_New(17, 127);
  if (!text) {
    return nullptr;
  }
  Py_UCS1 *out = PyUnicode_1BYTE_DATA(text);
  for (std::size_t i = 0; i < 6; ++i) {
    out[3 * i] = static_cast<Py_UCS1>(digits[bytes[i] >> 4]);
    out[3 * i + 1] = static_cast<Py_UCS1>(digits[bytes[i] & 15]);
    out[3 * i + 2] = i < 5 ? ':' : 0;
  }
  return text;
}

PyObject *get_view(const FieldEntry &field, PyObject *arguments) {
  void *record = record_to_read(field, arguments);
  return record ? new_proxy(field_address(record, field), descriptor(field.pointee), Ownership::borrowed) : nullptr;
}

namespace {

PyObject *null_array(const FieldEntry &field) {
  return null_variable_error(text_at(field.name), text_at(field.type));
}

PyObject *null_record(const FieldEntry &field) {
  return value_error(field, Outcome::type_error);
}

// Copies as many bytes as the field has from where the value points.
PyObject *copy_into_field(const FieldEntry &field, PyObject *arguments, PyObject *(*null_error)(const FieldEntry &)) {
  void *record = nullptr;
  PyObject *object = nullptr;
  void *source = nullptr;
  if (!record_to_write(field, arguments, &record, &object) ||
      !pointer_value(field, object, descriptor(field.pointee), Disown::no, &source)) {
    return nullptr;
  }
  if (!source) {
    return null_error(field);
  }
  if (record) {
    // The source may be this very field.
    std::memmove(field_address(record, field), source, field.size);
  }
  return none();
}

}  // namespace

PyObject *set_array(const FieldEntry &field, PyObject *arguments) {
  return copy_into_field(field, arguments, null_array);
}

PyObject *set_embedded_record(const FieldEntry &field, PyObject *arguments) {
  return copy_into_field(field, arguments, null_record);
}

PyObject *get_pointer(const FieldEntry &field, PyObject *arguments) {
  void *record = record_to_read(field, arguments);
  if (!record) {
    return nullptr;
  }
  void *pointer = nullptr;
  std::memcpy(&pointer, field_address(record, field), sizeof pointer);
  return new_proxy(pointer, descriptor(field.pointee), Ownership::borrowed);
}

namespace {

// The record owns the target from then on: the proxy gives it up.
PyObject *store_pointer(const FieldEntry &field, PyObject *arguments, swig_type_info *type) {
  void *record = nullptr;
  PyObject *object = nullptr;
  void *pointer = nullptr;
  if (!record_to_write(field, arguments, &record, &object) ||
      !pointer_value(field, object, type, Disown::yes, &pointer)) {
    return nullptr;
  }
  if (record) {
    std::memcpy(field_address(record, field), &pointer, sizeof pointer);
  }
  return none();
}

}  // namespace

PyObject *set_pointer(const FieldEntry &field, PyObject *arguments) {
  return store_pointer(field, arguments, descriptor(field.pointee));
}

PyObject *set_any_pointer(const FieldEntry &field, PyObject *arguments) {
  return store_pointer(field, arguments, nullptr);
}

PyObject *get_owned_text(const FieldEntry &field, PyObject *arguments) {
  void *record = record_to_read(field, arguments);
  if (!record) {
    return nullptr;
  }
  const char *text = nullptr;
  std::memcpy(&text, field_address(record, field), sizeof text);
  return text_to_python(text);
}

PyObject *set_owned_text(const FieldEntry &field, PyObject *arguments) {
  void *record = nullptr;
  PyObject *object = nullptr;
  if (!record_to_write(field, arguments, &record, &object)) {
    return nullptr;
  }
  const char *text = nullptr;
  std::size_t size = 0;
  const Outcome outcome = text_from(object, &text, &size);
  if (outcome != Outcome::ok) [[unlikely]] {
    return value_error(field, outcome);
  }
  if (!record) {
    return none();
  }
  // The system allocator, not a pool: scripts and libraries release the value with free.
  char *copy = nullptr;
  if (text) {
    copy = static_cast<char *>(std::malloc(size));
    if (!copy) {
      return PyErr_NoMemory();
    }
    std::memcpy(copy, text, size);
  }
  char *old = nullptr;
  std::memcpy(&old, field_address(record, field), sizeof old);
  std::free(old);
  std::memcpy(field_address(record, field), &copy, sizeof copy);
  return none();
}

}  // namespace vswitchpy
