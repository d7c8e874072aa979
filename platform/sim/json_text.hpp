// Writes JSON from left to right. Values that hold others are never made: taking those of the JSON library apart needs
// memory.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

class JsonText {
 public:
  JsonText &begin_object() { return open('{'); }
  JsonText &end_object() { return close('}'); }
  JsonText &begin_list() { return open('['); }
  JsonText &end_list() { return close(']'); }

  // What follows is the value of this member.
  JsonText &member(std::string_view name);

  JsonText &text(std::string_view value);
  JsonText &truth(bool value) { return plain(value ? "true" : "false"); }
  JsonText &null() { return plain("null"); }
  JsonText &number(std::int64_t value) { return plain(std::to_string(value)); }
  JsonText &unsigned_number(std::uint64_t value) { return plain(std::to_string(value)); }
  JsonText &fraction(double value);
  JsonText &text_or_null(std::optional<std::string> const &value) { return value ? text(*value) : null(); }

  std::string const &str() const { return written_; }

 private:
  JsonText &plain(std::string_view value);
  JsonText &open(char bracket);
  JsonText &close(char bracket);
  void separate();

  std::string written_;
  bool needs_comma_ = false;
};

}  // namespace sim
