// The native global variables of the interface.
#include "extensions/runtime_options.hpp"
#include "interface/base_types.h"
#include "runtime/module.hpp"
#include "runtime/proxy.hpp"

#include <iterator>

extern "C" {
// Exported, so that libraries of the platform can read it: this module runs outside the kernel.
extern __attribute__((visibility("default"))) const qel_ModuleID qel_ModuleCurrentID;
const qel_ModuleID qel_ModuleCurrentID = 0;
}

namespace vswitchpy {
namespace {

PyObject *read_module_id() {
  return PyLong_FromLong(qel_ModuleCurrentID);
}

void refuse_module_id() {
  PyErr_SetString(PyExc_AttributeError, "Variable qel_ModuleCurrentID is read-only.");
}

PyObject *read_option_names() {
  return new_proxy(const_cast<char const **>(runtimeOptionNames), find_descriptor("_p_p_char"), Ownership::borrowed);
}

void refuse_option_names() {
  PyErr_SetString(PyExc_AttributeError, "in variable 'read-only runtimeOptionNames' of type 'char const *[]'");
}

}  // namespace

const LinkedVariable linked_variables[] = {
    {"qel_ModuleCurrentID", read_module_id, refuse_module_id},
    {"runtimeOptionNames", read_option_names, refuse_option_names},
};
const int linked_variable_count = std::size(linked_variables);

}  // namespace vswitchpy
