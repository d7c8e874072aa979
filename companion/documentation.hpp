// The documentation of records, fields and functions, by their positions in the module's tables.
#pragma once

#include "companion/extension.hpp"

namespace vswitchpy {

const char *record_doc(std::size_t index);
const char *field_doc(std::size_t index);
// Begins with the function's signature: "name(alias, mtu, /)\n--\n\n".
const char *method_doc(MethodIndex method);

// Whether it is that of this module.
bool documentation_fits();

}  // namespace vswitchpy
