// The facts that the rows state, as tables that are made when the layer is built.
#include "companion/facts.hpp"

#include <iterator>

namespace vswitchpy {

#include "facts.inc"

const RecordContents *contents_of(std::size_t record) {
  return contents_of_record[record] ? &contents[contents_of_record[record]] : nullptr;
}

std::uint16_t run_in(FieldIndex array) {
  for (std::size_t i = 1; i < std::size(contents); ++i) {
    if (contents[i].array == array) {
      return static_cast<std::uint16_t>(i);
    }
  }
  return 0;
}

const RecordContents &contents_of_run(std::uint16_t run) {
  return contents[run];
}

const AlsoAccepted *also_accepted_by(FieldIndex field) {
  for (const AlsoAccepted &row : also_accepted) {
    if (row.field == field) {
      return &row;
    }
  }
  return nullptr;
}

bool facts_fit() {
  return engine->method_count == std::size(facts_of_method) && engine->record_count == std::size(contents_of_record);
}

}  // namespace vswitchpy
