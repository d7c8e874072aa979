// Prints the whole interface as JSON: records, calls and constants with their documentation. Stubs and the
// manual are made from it. Built with VSWITCHPY_KEEP_DOCS, which keeps the texts that the module leaves out.
#include <iostream>
#include <nlohmann/json.hpp>
#include <variant>

#include "interface/glossary.hpp"
#include "interface/interface.hpp"

namespace vswitchpy {
namespace {

using Json = nlohmann::ordered_json;

const char *name_of(FieldKind kind) {
  switch (kind) {
    case FieldKind::scalar: return "scalar";
    case FieldKind::bits: return "bits";
    case FieldKind::character_array: return "characters";
    case FieldKind::array: return "array";
    case FieldKind::mac_text: return "mac";
    case FieldKind::embedded_record: return "record";
    case FieldKind::pointer: return "pointer";
    case FieldKind::any_pointer: return "any pointer";
    case FieldKind::owned_text: return "owned text";
  }
  return "";
}

const char *name_of(Typemap typemap) {
  switch (typemap) {
    case Typemap::self: return "self";
    case Typemap::text: return "text";
    case Typemap::fixed_text: return "fixed text";
    case Typemap::scalar: return "scalar";
    case Typemap::pointer: return "pointer";
    case Typemap::disowned_pointer: return "disowned pointer";
    case Typemap::record_value: return "record value";
    case Typemap::any_pointer: return "any pointer";
    case Typemap::raw_bytes: return "raw bytes";
    case Typemap::raw_bytes_or_text: return "raw bytes or text";
    case Typemap::six_bytes: return "six bytes";
    case Typemap::record_output: return "record output";
    case Typemap::integer_output: return "integer output";
    case Typemap::boolean_output: return "boolean output";
    case Typemap::text_output: return "text output";
  }
  return "";
}

const char *name_of(Scalar scalar) {
  switch (scalar) {
    case Scalar::unsigned_8: return "unsigned 8";
    case Scalar::unsigned_16: return "unsigned 16";
    case Scalar::unsigned_32: return "unsigned 32";
    case Scalar::unsigned_64: return "unsigned 64";
    case Scalar::size: return "size";
    case Scalar::signed_32: return "signed 32";
    case Scalar::signed_32_in_byte: return "signed 32 in byte";
    case Scalar::character: return "character";
  }
  return "";
}

const char *name_of(Result result) {
  switch (result) {
    case Result::none: return "none";
    case Result::scalar: return "scalar";
    case Result::text: return "text";
    case Result::slot_text: return "object";
    case Result::borrowed_pointer: return "borrowed pointer";
    case Result::owned_pointer: return "owned pointer";
    case Result::object: return "object";
  }
  return "";
}

// Without the prefix of the registry's keys.
std::string_view target(std::string_view mangled) {
  return mangled.substr(std::min(mangled.size(), std::string_view("_p_").size()));
}

Json describe(const FieldRow &row) {
  Json json = {{"name", row.name},           {"type", row.type},       {"kind", name_of(row.place.kind)},
               {"offset", row.place.offset}, {"size", row.place.size}, {"read_only", row.read_only},
               {"doc", row.doc.text()}};
  if (row.place.kind == FieldKind::scalar || row.place.kind == FieldKind::bits) {
    json["scalar"] = name_of(row.place.scalar);
  }
  if (row.place.kind == FieldKind::bits) {
    json["first_bit"] = row.place.first_bit;
    json["bit_count"] = row.place.bit_count;
  }
  if (!row.pointee.empty()) {
    json["target"] = target(row.pointee);
  }
  if (!row.also.empty()) {
    json["also"] = {row.also, row.also_value};
  }
  return json;
}

std::string_view meaning(const ArgumentRow &row) {
  if (!row.doc.text().empty() || is_output(row.typemap)) {
    return row.doc.text();
  }
  const auto *term = std::find_if(std::begin(glossary), std::end(glossary),
                                  [&](const Term &known) { return known.argument == row.name; });
  return term == std::end(glossary) ? std::string_view() : term->meaning;
}

Json describe(const ArgumentRow &row) {
  Json json = {
      {"name", row.name}, {"type", row.type}, {"typemap", name_of(row.typemap)}, {"output", is_output(row.typemap)}};
  if (row.typemap == Typemap::scalar) {
    json["scalar"] = name_of(row.scalar);
  }
  if (row.capacity) {
    json["capacity"] = row.capacity;
  }
  if (!row.pointee.empty()) {
    json["target"] = target(row.pointee);
  }
  if (!meaning(row).empty()) {
    json["doc"] = meaning(row);
  }
  if (!row.taken_back_by.empty()) {
    json["taken_back_by"] = row.taken_back_by;
  }
  if (!row.length_of.empty()) {
    json["length_of"] = row.length_of;
  }
  if (row.is_index) {
    json["index"] = !row.below.empty() ? Json(row.below) : row.within ? Json(row.within) : Json(true);
  }
  return json;
}

Json describe(const CallRow &row) {
  Json json = {{"name", row.name},           {"result", name_of(row.result)}, {"overload", row.overload},
               {"arguments", Json::array()}, {"doc", row.doc.text()},         {"remarks", row.remarks.text()}};
  if (row.result == Result::scalar) {
    json["scalar"] = name_of(row.result_scalar);
  }
  if (!row.result_pointee.empty()) {
    json["target"] = target(row.result_pointee);
  }
  if (!row.result_annotation.empty()) {
    json["annotation"] = row.result_annotation;
  }
  if (!row.taken_back_by.empty()) {
    json["taken_back_by"] = row.taken_back_by;
  }
  if (row.takes_back) {
    json["takes_back"] = true;
  }
  if (row.result_may_be_none) {
    json["or_none"] = true;
  }
  for (std::size_t i = 0; i < row.argument_count; ++i) {
    json["arguments"].push_back(describe(row.arguments[i]));
  }
  return json;
}

// The names of the fields at these offsets: numbers, so that a view of the same place is not taken for one.
Json describe(const Contents &contents, const FieldRow *fields, std::size_t field_count) {
  const auto number_at = [&](std::uint32_t offset) {
    return std::find_if(fields, fields + field_count,
                        [&](const FieldRow &field) {
                          return field.place.offset == offset && field.place.kind == FieldKind::scalar;
                        })
        ->name;
  };
  Json json = {{"counts", {number_at(contents.count_offset)}}};
  if (contents.further_count_offset) {
    json["counts"].push_back(number_at(contents.further_count_offset));
  }
  if (contents.room) {
    json["room"] = contents.room;
  }
  if (!contents.elements.empty()) {
    json["elements"] = contents.elements;
  }
  return json;
}

Json describe_records() {
  Json list = Json::array();
  std::size_t field = 0;
  std::size_t method = 0;
  for (const FlatRecord &record : Interface::records.records) {
    Json json = {{"name", record.name},      {"size", record.size},     {"counted", record.counted},
                 {"doc", record.doc.text()}, {"fields", Json::array()}, {"methods", Json::array()}};
    if (record.contents.counted) {
      json["contents"] = describe(record.contents, &Interface::records.fields[field], record.field_count);
    }
    if (!record.yields.empty()) {
      json["yields"] = record.yields;
    }
    for (std::size_t i = 0; i < record.field_count; ++i) {
      json["fields"].push_back(describe(Interface::records.fields[field++]));
    }
    for (std::size_t i = 0; i < record.method_count; ++i) {
      json["methods"].push_back(describe(Interface::records.methods[method++]));
    }
    list.push_back(std::move(json));
  }
  return list;
}

Json describe_calls() {
  Json list = Json::array();
  for (const CallRow &row : Interface::calls) {
    list.push_back(describe(row));
  }
  return list;
}

// One line of the constants: a family where it has a documentation, else a constant of the family above.
struct ConstantRow {
  const char *name;
  const char *doc;
  std::variant<std::monostate, std::int64_t, const char *> value;
};

const ConstantRow constant_rows[] = {
#define FAMILY(name, doc) {#name, doc, {}},
#define INTEGER(name, value) {#name, nullptr, std::int64_t{value}},
#define TEXT(name, value) {#name, nullptr, value},
#define VARIABLE(name)
#include "constants/all.def"
#undef VARIABLE
#undef TEXT
#undef INTEGER
#undef FAMILY
};

Json describe_constants() {
  Json list = Json::array();
  for (const ConstantRow &row : constant_rows) {
    if (row.doc) {
      list.push_back({{"family", row.name}, {"doc", row.doc}, {"items", Json::array()}});
    } else if (const auto *number = std::get_if<std::int64_t>(&row.value)) {
      list.back()["items"].push_back({row.name, *number});
    } else {
      list.back()["items"].push_back({row.name, std::get<const char *>(row.value)});
    }
  }
  return list;
}

}  // namespace
}  // namespace vswitchpy

int main() {
  using namespace vswitchpy;
  const Json interface = {
      {"records", describe_records()}, {"calls", describe_calls()}, {"constants", describe_constants()}};
  std::cout << interface.dump(1) << '\n';
}
