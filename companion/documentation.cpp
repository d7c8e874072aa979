// The documentation of records, fields and functions, composed from the rows when the layer is built.
#include "companion/documentation.hpp"

#include <iterator>

namespace vswitchpy {
namespace {

// Terminated texts back to back, and where each begins: those of the records, of the fields and of the functions, in
// the order of the module's tables.
#include "documentation.inc"

}  // namespace

const char *record_doc(std::size_t index) {
  return documentation_texts + record_texts[index];
}

const char *field_doc(std::size_t index) {
  return documentation_texts + field_texts[index];
}

const char *method_doc(MethodIndex method) {
  return documentation_texts + method_texts[method];
}

bool documentation_fits() {
  return engine->record_count == std::size(record_texts) && engine->method_count == std::size(method_texts);
}

}  // namespace vswitchpy
