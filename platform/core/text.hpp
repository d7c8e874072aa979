// Texts that cross the C interface: checking arguments, filling fixed fields.
#pragma once

#include <algorithm>
#include <cstring>
#include <string_view>

#include "platform/core/failure.hpp"

namespace host {

// A text argument of at most `room` bytes with its terminator.
inline std::string_view text_argument(char const *text, std::size_t room) {
  refuse_if(!text, QEL_BAD_PARAM);
  std::size_t const length = strnlen(text, room);
  refuse_if(length == room, QEL_NAME_TOO_LONG);
  return {text, length};
}

// A text argument that names something new.
inline std::string_view new_name_argument(char const *text, std::size_t room) {
  std::string_view const name = text_argument(text, room);
  refuse_if(name.empty(), QEL_INVALID_NAME);
  return name;
}

// A text argument that may be left out: null is the empty text.
inline std::string_view optional_text_argument(char const *text, std::size_t room) {
  return text ? text_argument(text, room) : std::string_view();
}

inline std::string_view alias_argument(char const *text) {
  return text_argument(text, QEL_HNQ_NAME_MAX_LEN);
}
inline std::string_view switch_id_argument(char const *text) {
  return text_argument(text, QEL_HNQ_ID_MAX_LEN);
}
inline std::string_view portset_argument(char const *text) {
  return text_argument(text, QEL_PORTSET_NAME_MAX);
}
inline std::string_view dvport_id_argument(char const *text) {
  return text_argument(text, QEL_HNQ_PORT_ID_MAX_LEN);
}
inline std::string_view uplink_argument(char const *text) {
  return text_argument(text, QEL_HNQ_NAME_MAX_LEN);
}

// Any of a switch's three names: the longest of them decides.
inline std::string_view switch_name_argument(char const *text) {
  return text_argument(text, QEL_PORTSET_NAME_MAX);
}

// Fills a fixed field; the bytes behind the text become zero, and the last one always is.
template <typename Byte, std::size_t size>
void fill_text(Byte (&field)[size], std::string_view text) {
  static_assert(sizeof(Byte) == 1);
  std::memset(field, 0, size);
  std::memcpy(field, text.data(), std::min(text.size(), size - 1));
}

// Writes a text and its terminator to where the caller has room for the longest name of its kind.
inline void store_text(char *target, std::string_view text) {
  std::memcpy(target, text.data(), text.size());
  target[text.size()] = '\0';
}

// The text in a fixed field, without its terminator. A field that is full has none.
template <std::size_t size>
std::string_view field_text(char const (&field)[size]) {
  return {field, strnlen(field, size)};
}

}  // namespace host
