// Fields: one rule for reading and one for writing each kind, and the accessor functions over them.
#include "runtime/bridge.hpp"
#include "runtime/entries.hpp"

#include <cstdlib>
#include <cstring>

namespace vswitchpy {
namespace {

// The bytes of a field that may lie anywhere.
std::uint8_t *field_address(void *record, const FieldEntry &field) {
  return static_cast<std::uint8_t *>(record) + field.place.offset;
}

std::uint64_t bit_mask(const FieldEntry &field) {
  return ((std::uint64_t{1} << field.place.bit_count) - 1) << field.place.first_bit;
}

std::uint64_t load_bytes(const std::uint8_t *bytes, std::size_t size) {
  std::uint64_t value = 0;
  std::memcpy(&value, bytes, size);
  return value;
}

// ---- reading -------------------------------------------------------------------------------------------

PyObject *read_bits(const FieldEntry &field, const std::uint8_t *address) {
  return PyLong_FromUnsignedLong((load_bytes(address, field.place.size) & bit_mask(field)) >> field.place.first_bit);
}

PyObject *read_text(const char *text, std::size_t capacity) {
  return decoded_text(text, field_text_size(text, capacity));
}

PyObject *read_mac_text(const std::uint8_t *bytes) {
  constexpr char digits[] = "0123456789abcdef";
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

// ---- writing -------------------------------------------------------------------------------------------

PyObject *none() {
  return Py_NewRef(Py_None);
}

PyObject *value_error(const FieldEntry &field, Outcome outcome) {
  return argument_error(outcome, text_at(field.setter_name), 2, text_at(field.type));
}

// A pointer value; false with the error set. A null `type` accepts every pointer.
bool pointer_value(const FieldEntry &field, PyObject *value, swig_type_info *type, Disown disown, void **pointer) {
  if (!pointer_from(value, type, disown, pointer)) [[unlikely]] {
    value_error(field, Outcome::type_error);
    return false;
  }
  return true;
}

PyObject *write_scalar(const FieldEntry &field, void *record, PyObject *object) {
  std::uint64_t value = 0;
  Deferred deferred;
  const Outcome outcome = scalar_from(object, field.place.scalar, &value, &deferred);
  if (outcome != Outcome::ok) [[unlikely]] {
    return value_error(field, outcome);
  }
  if (record) {
    store_scalar(field_address(record, field), field.place.scalar, value);
  }
  deferred.raise();
  return none();
}

PyObject *write_bits(const FieldEntry &field, void *record, PyObject *object) {
  std::uint64_t value = 0;
  Deferred deferred;
  // The range checked is the declared type's; bits beyond the field are dropped in silence, as the
  // platform's own setters do.
  const Outcome outcome = scalar_from(object, field.place.scalar, &value, &deferred);
  if (outcome != Outcome::ok) [[unlikely]] {
    return value_error(field, outcome);
  }
  if (record) {
    std::uint8_t *address = field_address(record, field);
    const std::uint64_t mask = bit_mask(field);
    const std::uint64_t merged =
        (load_bytes(address, field.place.size) & ~mask) | ((value << field.place.first_bit) & mask);
    std::memcpy(address, &merged, field.place.size);
  }
  return none();
}

PyObject *write_character_array(const FieldEntry &field, void *record, PyObject *object) {
  char *destination = record ? reinterpret_cast<char *>(field_address(record, field)) : nullptr;
  const Outcome outcome = fixed_text_from(object, destination, field.place.size);
  return outcome == Outcome::ok ? none() : value_error(field, outcome);
}

// An array is copied element by element, ascending. Where it begins within the source, that is not what a copy as a
// whole leaves.
void copy_elements(std::uint8_t *array, const std::uint8_t *source, const FieldEntry &field) {
  const bool begins_within = array > source && array < source + field.place.size;
  if (!begins_within || field.place.kind == FieldKind::embedded_record) [[likely]] {
    std::memmove(array, source, field.place.size);
    return;
  }
  for (std::size_t at = 0; at < field.place.size; at += field.element_size) {
    std::memmove(array + at, source + at, field.element_size);
  }
}

// Copies as many bytes as the field has from where the value points.
PyObject *write_copy(const FieldEntry &field, void *record, PyObject *object) {
  void *source = nullptr;
  if (!pointer_value(field, object, descriptor(field.pointee), Disown::no, &source)) {
    return nullptr;
  }
  if (!source) {
    return field.place.kind == FieldKind::embedded_record
               ? value_error(field, Outcome::type_error)
               : null_variable_error(text_at(field.name), text_at(field.type));
  }
  if (record) {
    copy_elements(field_address(record, field), static_cast<const std::uint8_t *>(source), field);
  }
  return none();
}

// The record owns the target from then on: the proxy gives it up.
PyObject *write_pointer(const FieldEntry &field, void *record, PyObject *object) {
  swig_type_info *type = field.place.kind == FieldKind::any_pointer ? nullptr : descriptor(field.pointee);
  void *pointer = nullptr;
  if (!pointer_value(field, object, type, Disown::yes, &pointer)) {
    return nullptr;
  }
  if (record) {
    std::memcpy(field_address(record, field), &pointer, sizeof pointer);
  }
  return none();
}

PyObject *write_owned_text(const FieldEntry &field, void *record, PyObject *object) {
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
  free_memory(load<void *>(field_address(record, field)));
  std::memcpy(field_address(record, field), &copy, sizeof copy);
  return none();
}

}  // namespace

PyObject *read_field(const FieldEntry &field, void *record) {
  std::uint8_t *address = field_address(record, field);
  switch (field.place.kind) {
    case FieldKind::scalar: return scalar_to_python(address, field.place.scalar);
    case FieldKind::bits: return read_bits(field, address);
    case FieldKind::character_array: return read_text(reinterpret_cast<const char *>(address), field.place.size);
    case FieldKind::mac_text: return read_mac_text(address);
    case FieldKind::array:
    case FieldKind::embedded_record: return new_proxy(address, descriptor(field.pointee), Ownership::borrowed);
    case FieldKind::pointer:
    case FieldKind::any_pointer:
      return new_proxy(load<void *>(address), descriptor(field.pointee), Ownership::borrowed);
    case FieldKind::owned_text: return text_to_python(static_cast<const char *>(load<void *>(address)));
  }
  return nullptr;
}

PyObject *write_field(const FieldEntry &field, void *record, PyObject *value) {
  switch (field.place.kind) {
    case FieldKind::scalar: return write_scalar(field, record, value);
    case FieldKind::bits: return write_bits(field, record, value);
    case FieldKind::character_array: return write_character_array(field, record, value);
    case FieldKind::array:
    case FieldKind::mac_text:
    case FieldKind::embedded_record: return write_copy(field, record, value);
    case FieldKind::pointer:
    case FieldKind::any_pointer: return write_pointer(field, record, value);
    case FieldKind::owned_text: return write_owned_text(field, record, value);
  }
  return nullptr;
}

PyObject *get_field(const FieldEntry &field, Arguments arguments) {
  if (arguments.count != 1) [[unlikely]] {
    return argument_count_error(arguments, 1, text_at(field.getter_name));
  }
  void *record = nullptr;
  if (!pointer_from(arguments.items[0], descriptor(field.self), Disown::no, &record)) [[unlikely]] {
    return argument_error(Outcome::type_error, text_at(field.getter_name), 1, text_at(field.self_type));
  }
  // Reading through a null record is refused, not attempted.
  if (!record) [[unlikely]] {
    return null_reference_error(text_at(field.getter_name), 1, text_at(field.self_type));
  }
  return read_field(field, record);
}

PyObject *set_field(const FieldEntry &field, Arguments arguments) {
  if (arguments.count != 2) [[unlikely]] {
    return argument_count_error(arguments, 2, text_at(field.setter_name));
  }
  void *record = nullptr;
  if (!pointer_from(arguments.items[0], descriptor(field.self), Disown::no, &record)) [[unlikely]] {
    return argument_error(Outcome::type_error, text_at(field.setter_name), 1, text_at(field.self_type));
  }
  return write_field(field, record, arguments.items[1]);
}

}  // namespace vswitchpy
