// Values as JSON and CBOR have them. They need no memory to be taken apart, which those of the JSON library do: their
// destructors end the process without it.
#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platform/core/export.hpp"

namespace host {

class Document {
 public:
  using List = std::vector<Document>;
  using Members = std::map<std::string, Document, std::less<>>;
  struct Bytes {
    std::string bytes;
  };
  // Below zero, or with a fraction: nothing in the state of a host has such a number.
  struct OtherNumber {
    double value;
  };
  struct NewMember;

  Document() = default;  // null
  Document(std::string text) : value_(std::move(text)) {}
  Document(char const *text) : value_(std::string(text)) {}
  Document(Bytes bytes) : value_(std::move(bytes)) {}
  Document(List list) : value_(std::move(list)) {}
  Document(OtherNumber number) : value_(number) {}
  Document(std::initializer_list<NewMember> members);
  template <std::same_as<bool> Truth>
  Document(Truth truth) : value_(truth) {}
  template <std::integral Number>
  requires(!std::same_as<Number, bool>) Document(Number number) : value_(static_cast<std::uint64_t>(number)) {}

  // The value as one of `bool`, `std::uint64_t`, `std::string`, Bytes, List and Members; null if it is another.
  template <typename Kind>
  Kind const *as() const {
    return std::get_if<Kind>(&value_);
  }
  template <typename Kind>
  Kind *as() {
    return std::get_if<Kind>(&value_);
  }
  bool is_null() const { return as<std::monostate>() != nullptr; }

  // Calls the function for the kind of the value; null is std::monostate.
  template <typename Functions>
  void visit(Functions &&functions) const {
    std::visit(std::forward<Functions>(functions), value_);
  }

 private:
  std::variant<std::monostate, bool, std::uint64_t, OtherNumber, std::string, Bytes, List, Members> value_;
};

struct Document::NewMember {
  char const *name;
  mutable Document value;  // an initializer_list is constant, and the value moves on
};

inline Document::Document(std::initializer_list<NewMember> members) : value_(Members()) {
  for (NewMember const &member : members)
    as<Members>()->emplace(member.name, std::move(member.value));
}

class DocumentError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Throws a DocumentError with the reason: no document, lists and objects more than `deepest` deep in each other, or two
// members of one name in an object.
HOST_API Document read_json(std::string_view text, std::size_t deepest);
Document read_cbor(std::string_view bytes, std::size_t deepest);

// Members in the order of their names.
void append_cbor(std::string &bytes, Document const &document);

}  // namespace host
