// Property values as records and back, and the rules that values of several properties share.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/core/property_store.hpp"
#include "platform/core/text.hpp"

namespace host {

// Numbers in properties are little-endian.
inline std::string property_bytes(std::uint32_t number) {
  std::string bytes(sizeof number, '\0');
  std::memcpy(bytes.data(), &number, sizeof number);
  return bytes;
}

inline std::uint32_t property_number(std::string_view bytes) {
  std::uint32_t number = 0;
  std::memcpy(&number, bytes.data(), std::min(sizeof number, bytes.size()));
  return number;
}

// The bytes of a record, as its property holds them.
template <typename Record>
std::string record_value(Record const &record) {
  return {reinterpret_cast<char const *>(&record), sizeof record};
}

// The record at `offset` of a value that is known to be long enough. A value may lie at any address.
template <typename Record>
Record record_at(std::string_view value, std::size_t offset) {
  Record record;
  std::memcpy(&record, value.data() + offset, sizeof record);
  return record;
}

template <typename Record>
Record record_from_value(std::string_view value) {
  refuse_if(value.size() != sizeof(Record), QEL_BAD_PARAM);
  return record_at<Record>(value, 0);
}

template <typename Record>
void append_record(std::string &value, Record const &record) {
  value.append(reinterpret_cast<char const *>(&record), sizeof record);
}

inline bool is_multicast(unsigned char const (&mac)[6]) {
  return (mac[0] & 1) != 0;
}

// A uint32 from `lowest` to `highest`.
template <std::uint32_t lowest, std::uint32_t highest>
std::string admit_number_in(Database &, PropertyPlace const &, std::string_view value) {
  refuse_if(value.size() != sizeof(std::uint32_t), QEL_BAD_PARAM);
  std::uint32_t const number = property_number(value);
  refuse_if(number < lowest || number > highest, QEL_BAD_PARAM);
  return std::string(value);
}

template <std::uint32_t number>
std::string number_value(Database &, PropertyPlace const &) {
  return property_bytes(number);
}

// One byte, of which 0 means off and any other one on.
inline std::string admit_byte(Database &, PropertyPlace const &, std::string_view value) {
  refuse_if(value.size() != 1, QEL_BAD_PARAM);
  return std::string(value);
}

template <char byte>
std::string byte_value(Database &, PropertyPlace const &) {
  return std::string(1, byte);
}

inline bool is_on(std::string_view byte) {
  return byte != std::string_view("\0", 1);
}

inline std::string no_bytes(Database &, PropertyPlace const &) {
  return {};
}

// A name of fewer than `room` bytes. C programs write the terminator along, or a whole field: zeros at the end are
// not part of the name.
inline std::string name_in_value(std::string_view value, std::size_t room) {
  std::string_view const name = value.substr(0, value.find('\0'));
  refuse_if(value.find_first_not_of('\0', name.size()) != std::string_view::npos, QEL_BAD_PARAM);
  refuse_if(name.empty(), QEL_INVALID_NAME);
  refuse_if(name.size() >= room, QEL_NAME_TOO_LONG);
  return std::string(name);
}

template <std::size_t room>
std::string admit_name(Database &, PropertyPlace const &, std::string_view value) {
  return name_in_value(value, room);
}

// A text field of a record that a script filled. A full one lacks its terminator.
template <std::size_t size>
std::string name_in_field(char const (&field)[size]) {
  std::string_view const text = field_text(field);
  refuse_if(text.size() == size, QEL_NAME_TOO_LONG);
  refuse_if(text.empty(), QEL_INVALID_NAME);
  return std::string(text);
}

}  // namespace host
