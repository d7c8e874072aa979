// Runtime options: the packed buffer of type-length-value entries, and the names of the options.
#pragma once

#include "constants/constants.hpp"
#include "extensions/memory.hpp"
#include "interface/option_records.h"

namespace vswitchpy {

// By option type.
extern const char *const runtimeOptionNames[constant::VS_NUM_RT_OPT];

namespace runtime_options {

VSRuntimeOptionHeader *first(VSRuntimeOptions *self);
// Null behind the last entry.
VSRuntimeOptionHeader *next(VSRuntimeOptions *self, VSRuntimeOptionHeader *entry);
void set_length(VSRuntimeOptions *self, int entries_length);

// Writes an entry and returns the position for the one after it; null, and nothing written, when it does not
// fit. The name is there for the reader of the script: the type alone says which option it is.
VSRuntimeOptionHeader *add_integer(VSRuntimeOptions *self, VSRuntimeOptionHeader *entry, char *name, int type,
                                   int value);
VSRuntimeOptionHeader *add_text(VSRuntimeOptions *self, VSRuntimeOptionHeader *entry, char *name, int type,
                                char *value);

// Null for a type without a name.
char const *name(VSRuntimeOptionHeader *self);
IntegerOrBytesObject value(VSRuntimeOptionHeader *self);

}  // namespace runtime_options
}  // namespace vswitchpy

// The type of a named option, -1 for any other text. Exported for other native code in the process.
extern "C" __attribute__((visibility("default"))) int get_runtime_option_type_from_name(char *name);
