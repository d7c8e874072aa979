// The named constants as the module carries them, in declaration order.
#include "runtime/module.hpp"

namespace vswitchpy {
namespace {

#define FAMILY(name, doc)
#define INTEGER(name, value) "i" #name "\0"
#define TEXT(name, value) "s" #name "\0" value "\0"
#define VARIABLE(name) "v" #name "\0"
constexpr char texts[] =
#include "constants/all.def"
    ;
#undef INTEGER
#undef TEXT
#undef VARIABLE

#define INTEGER(name, value) value,
#define TEXT(name, value)
#define VARIABLE(name)
constexpr long long integers[] = {
#include "constants/all.def"
};
#undef INTEGER
#undef TEXT
#undef VARIABLE
#undef FAMILY

}  // namespace

const char *const constant_texts = texts;
const long long *const constant_integers = integers;

}  // namespace vswitchpy
