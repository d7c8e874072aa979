// What the rows say of functions and records beside the module's own tables: who frees what, what an index or a length
// is measured by, and what a record holds. Only the layer carries it.
#pragma once

#include "companion/extension.hpp"

namespace vswitchpy {

// What a function does with memory that is not the script's.
enum class Role : std::uint8_t { other, hands_out, takes_back };

// What an index must stay below.
enum class Bound : std::uint8_t { none, contents, field, number };

// What a function takes as data, and so what a length counts.
enum class Data : std::uint8_t { memory, elements, bytes, bytes_or_text };

// Places are those of inputs, from 1 on; 0 where there is none.
struct MethodFacts {
  std::uint8_t inputs = 0;  // how many there are
  Role role = Role::other;
  MethodIndex taken_back_by = no_method;  // of what the function hands out
  std::uint8_t storage = 0;               // where the library stores what then has to be taken back
  MethodIndex storage_taken_back_by = no_method;
  std::uint8_t data = 0;
  Data data_kind{};
  std::uint8_t length = 0;     // of the data
  std::uint8_t six_bytes = 0;  // of which six are read
  std::uint8_t index = 0;
  Bound bound = Bound::none;
  std::uint32_t limit = 0;  // a number, or the position of a field
};

// The first of these says nothing; the others are found by the positions of the methods.
extern const MethodFacts method_facts[];
extern const std::uint8_t facts_of_method[];

// Null for a function of which nothing is known, like most. Each call asks.
inline const MethodFacts *facts_of(MethodIndex method) {
  return facts_of_method[method] ? &method_facts[facts_of_method[method]] : nullptr;
}

// Positions among the fields of all records.
using FieldIndex = std::uint16_t;
inline constexpr FieldIndex no_field = 0xffff;

enum class Elements : std::uint8_t { unknown, of_method, of_array };

// What a record holds that counts it.
struct RecordContents {
  std::uint32_t room = 0;    // of the elements, where it is fixed
  std::uint32_t stride = 0;  // of records; 0: they are numbers
  FieldIndex count = no_field;
  FieldIndex further_count = no_field;  // added to the count
  MethodIndex method = no_method;       // gives an element by its index
  FieldIndex array = no_field;          // in which they lie side by side
  Elements elements = Elements::unknown;
  bool copied = false;  // an index gives copies of the records, as the module's function does
  Scalar scalar{};
};

// Null for a record that counts nothing. Records by their position in the module's table.
const RecordContents *contents_of(std::size_t record);

// Those whose elements lie in an array, null for any other: 1 + their position, for the views of it, and back.
std::uint16_t run_in(FieldIndex array);
const RecordContents &contents_of_run(std::uint16_t run);

// A number that a field's type cannot hold and that may be assigned all the same, since a constant stands for it.
struct AlsoAccepted {
  FieldIndex field;
  long value;
};
// Null for most fields.
const AlsoAccepted *also_accepted_by(FieldIndex field);

bool facts_fit();

}  // namespace vswitchpy
