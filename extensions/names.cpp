// Names in slots of fixed width, as records hold them.
#include "extensions/names.hpp"

namespace vswitchpy {

TextObject slot_text(const void *slot, std::size_t width) {
  const auto *text = static_cast<const char *>(slot);
  return {text_to_python(text, SWIG_strnlen(text, width))};
}

TextObject no_text() {
  return {Py_NewRef(Py_None)};
}

void write_slot(void *slot, const char *text, std::size_t width) {
  // As strncpy, but the text may lie in the slot itself.
  const std::size_t length = text ? SWIG_strnlen(text, width) : 0;
  if (length > 0) {
    std::memmove(slot, text, length);
  }
  std::memset(byte_at(slot, static_cast<std::int64_t>(length)), 0, width - length);
}

}  // namespace vswitchpy
