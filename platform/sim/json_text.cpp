// Writes JSON from left to right.
#include "platform/sim/json_text.hpp"

#include <nlohmann/json.hpp>

namespace sim {

namespace {

// Names are bytes of scripts, and need not be UTF-8.
std::string quoted(std::string_view text) {
  return nlohmann::json(std::string(text)).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace

void JsonText::separate() {
  if (needs_comma_)
    written_ += ", ";
  needs_comma_ = true;
}

JsonText &JsonText::open(char bracket) {
  separate();
  written_ += bracket;
  needs_comma_ = false;
  return *this;
}

JsonText &JsonText::close(char bracket) {
  written_ += bracket;
  needs_comma_ = true;
  return *this;
}

JsonText &JsonText::member(std::string_view name) {
  separate();
  written_ += quoted(name) + ": ";
  needs_comma_ = false;
  return *this;
}

JsonText &JsonText::text(std::string_view value) {
  return plain(quoted(value));
}

JsonText &JsonText::fraction(double value) {
  return plain(nlohmann::json(value).dump());
}

JsonText &JsonText::plain(std::string_view value) {
  separate();
  written_ += value;
  return *this;
}

}  // namespace sim
