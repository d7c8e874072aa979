// How rows are spelled. Only row files include this, and each ends with row_macros_end.hpp: nothing else sees the
// names. No include guard, for each row file needs them anew.
#include "runtime/rows.hpp"

// Each record is written RECORD(name, "what it is", fields and methods ...). Within it the record's type is
// known as `Self`, so that a row names only the member. The leading number of a field is its offset, stated
// so that a slip in the native declaration does not compile.
#define RECORD(name, doc, ...)                                               \
  [] {                                                                       \
    using Self = ::name;                                                     \
    [[maybe_unused]] constexpr const char *self_type = "struct " #name " *"; \
    return ::vswitchpy::record<Self>(#name, true, doc, __VA_ARGS__);         \
  }()
// A record declared by typedef alone: messages name it without "struct".
#define RECORD_UNTAGGED(name, doc, ...)                               \
  [] {                                                                \
    using Self = ::name;                                              \
    [[maybe_unused]] constexpr const char *self_type = #name " *";    \
    return ::vswitchpy::record<Self>(#name, false, doc, __VA_ARGS__); \
  }()
#define FIELD(at, member, type, doc) \
  ::vswitchpy::field<type, decltype(Self::member)>(#member, #type, at, offsetof(Self, member), doc)
#define FIELD_READ_ONLY(at, member, type, doc) ::vswitchpy::read_only(FIELD(at, member, type, doc))
#define FIELD_MAC(at, member, type, doc) ::vswitchpy::read_as_mac(FIELD(at, member, type, doc))
#define FIELD_BITS(byte, first_bit, bit_count, member, type, doc) \
  ::vswitchpy::bit_field<type>(#member, #type, byte, first_bit, bit_count, doc)
// The companion layer accepts a constant that the field's type cannot hold: its low bits are stored.
#define ALSO(name, field) ::vswitchpy::also_accepting(#name, ::constant::name, field)
// The constructor takes a count n, allocates bytes_per_entry * n + fixed bytes and stores n in `member`.
#define COUNTED(bytes_per_entry, fixed, member)    \
  ::vswitchpy::Counted {                           \
    bytes_per_entry, fixed, offsetof(Self, member) \
  }
// How many elements a record holds is said in a field, or is the sum of two fields with room for `room`. The elements
// are those of an array, of a method that takes an index, or of __getitem__. COUNTED_AS takes the count from a pattern
// of containers.hpp.
#define COUNTED_BY(member, ...)                                                                    \
  ::vswitchpy::Contents {                                                                          \
    .counted = true, .count_offset = offsetof(Self, member) __VA_OPT__(, .elements = #__VA_ARGS__) \
  }
#define COUNTED_BY_BOTH(member, further, most)                                                                \
  ::vswitchpy::Contents {                                                                                     \
    .counted = true, .count_offset = offsetof(Self, member), .further_count_offset = offsetof(Self, further), \
    .room = most                                                                                              \
  }
#define COUNTED_AS(pattern)                                             \
  ::vswitchpy::Contents {                                               \
    .counted = true, .count_offset = ::vswitchpy::pattern::count_offset \
  }
// What walking a record gives that has neither.
#define YIELDS(record)  \
  ::vswitchpy::Yields { \
#record             \
  }
#define METHOD(name, function, ...) ::vswitchpy::method<&function, Self>(#name, self_type, __VA_ARGS__)

// Each call is written CALL(function, "what it does", arguments and notes ...), the arguments in native order. An
// argument may end with what it means; those of the glossary mean the same everywhere.
#define CALL(function, ...) ::vswitchpy::call<&::function>(#function, __VA_ARGS__)
// Likewise for a function of this module that is not exported under the script's name.
#define HELPER(name, function, ...) ::vswitchpy::call<&function>(#name, __VA_ARGS__)
// The proxy of the result owns it.
#define OWNED_RESULT(row) ::vswitchpy::owned_result(row)
#define OVERLOAD(function, ...) ::vswitchpy::overload<&::function>(#function, __VA_ARGS__)
#define IN(name, type, ...) ::vswitchpy::input<type>(#name, #type __VA_OPT__(, ) __VA_ARGS__)
// A pointer that must not be null.
#define IN_PRESENT(name, type, ...) \
  ::vswitchpy::value_input<std::remove_pointer_t<type>>(#name, #type __VA_OPT__(, ) __VA_ARGS__)
#define IN_DISOWNED(name, record, ...) \
  ::vswitchpy::disowned_input<record>(#name, #record " *" __VA_OPT__(, ) __VA_ARGS__)
#define IN_VALUE(name, record, ...) ::vswitchpy::value_input<record>(#name, #record __VA_OPT__(, ) __VA_ARGS__)
#define RAW(name, ...) \
  ::vswitchpy::untyped_input<void const *>(#name, ::vswitchpy::Typemap::raw_bytes __VA_OPT__(, ) __VA_ARGS__)
#define RAW_OR_TEXT(name, ...) \
  ::vswitchpy::untyped_input<void const *>(#name, ::vswitchpy::Typemap::raw_bytes_or_text __VA_OPT__(, ) __VA_ARGS__)
#define SIX_BYTES(name, ...) \
  ::vswitchpy::untyped_input<unsigned char const *>(#name, ::vswitchpy::Typemap::six_bytes __VA_OPT__(, ) __VA_ARGS__)
#define OUT(name, type, ...) \
  ::vswitchpy::output<type, std::remove_pointer_t<type>>(#name, #type __VA_OPT__(, ) __VA_ARGS__)
#define OUT_AS(name, type, wrapped, ...) ::vswitchpy::output<type, wrapped>(#name, #type __VA_OPT__(, ) __VA_ARGS__)
#define OUT_TEXT(name, capacity, ...) ::vswitchpy::text_output(#name, capacity __VA_OPT__(, ) __VA_ARGS__)
// An index: below what the record counts, below another field of it, or below a number. The module tests what the
// function tests; the companion layer refuses every other.
#define INDEX(name) ::vswitchpy::index_argument(#name, {}, 0)
#define INDEX_BELOW(member, name) ::vswitchpy::index_argument(#name, #member, 0)
#define INDEX_WITHIN(number, name) ::vswitchpy::index_argument(#name, {}, number)
// The argument says how many bytes another one has, or how many elements.
#define LENGTH_OF(data, argument) ::vswitchpy::length_of(#data, argument)
// The library stores something there that `function` releases.
#define GIVEN_BACK_BY(function, argument) ::vswitchpy::given_back_by(#function, argument)
// Who frees what: the result, or every record among the outputs, is released with `function`.
#define HANDS_OUT(function) \
  ::vswitchpy::HandsOut {   \
#function               \
  }
// The function releases what its argument points at.
#define TAKES_BACK \
  ::vswitchpy::TakesBack {}
// There may be no result.
#define OR_NONE \
  ::vswitchpy::OrNone {}
// What comes of the call: outputs, statuses, and what else there is to know.
#define REMARKS(doc)     \
  ::vswitchpy::Remarks { \
    doc                  \
  }

#define TYPE(pointee, display)                     \
  ::vswitchpy::TypeRow {                           \
    ::vswitchpy::mangled_pointer<pointee>, display \
  }
