// An object of a JSON document, read member by member; every mistake is reported with its place.
#pragma once

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/document.hpp"
#include "platform/core/mac_address.hpp"

namespace host {

// The text says where in the description, and what is wrong there.
class DescriptionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

inline std::optional<MacAddress> mac_from_text(std::string const &text) {
  MacAddress mac;
  int length = 0;
  int const found = std::sscanf(text.c_str(), "%2hhx:%2hhx:%2hhx:%2hhx:%2hhx:%2hhx%n", &mac[0], &mac[1], &mac[2],
                                &mac[3], &mac[4], &mac[5], &length);
  if (found != static_cast<int>(mac.size()) || static_cast<std::size_t>(length) != text.size())
    return std::nullopt;
  return mac;
}

[[noreturn]] inline void wrong(std::string const &where, std::string const &what) {
  throw DescriptionError(where.empty() ? what : where + ": " + what);
}

// An object of the description. It remembers which members were asked for: finish() refuses the others.
class JsonObject {
 public:
  JsonObject(Document const &document, std::string where)
      : members_(document.as<Document::Members>()), where_(std::move(where)) {
    if (!members_)
      wrong(where_, "must be an object");
  }

  std::string const &where() const { return where_; }
  std::string place(char const *member) const { return where_.empty() ? member : where_ + "." + member; }

  Document const *find(char const *member) {
    asked_.insert(member);
    auto const found = members_->find(member);
    return found == members_->end() ? nullptr : &found->second;
  }

  Document const &require(char const *member) {
    Document const *value = find(member);
    if (!value)
      wrong(place(member), "is missing");
    return *value;
  }

  // `room` counts the terminator that the text gets in a record.
  std::string text(char const *member, std::size_t room, char const *fallback = nullptr) {
    Document const *value = fallback ? find(member) : &require(member);
    if (!value)
      return fallback;
    auto const *const text = value->as<std::string>();
    if (!text)
      wrong(place(member), "must be a text");
    if (text->size() >= room)
      wrong(place(member), "is longer than " + std::to_string(room - 1) + " bytes");
    if (text->find('\0') != std::string::npos)
      wrong(place(member), "contains a zero character");
    return *text;
  }

  std::string name(char const *member, std::size_t room) {
    std::string text = this->text(member, room);
    if (text.empty())
      wrong(place(member), "is empty");
    return text;
  }

  std::uint32_t number(char const *member, std::uint32_t fallback) {
    Document const *value = find(member);
    if (!value)
      return fallback;
    auto const *const number = value->as<std::uint64_t>();
    if (!number || *number > UINT32_MAX)
      wrong(place(member), "must be a number from 0 to 4294967295");
    return static_cast<std::uint32_t>(*number);
  }

  std::uint64_t large_number(char const *member, std::uint64_t fallback, std::uint64_t highest = INT64_MAX) {
    Document const *value = find(member);
    if (!value)
      return fallback;
    auto const *const number = value->as<std::uint64_t>();
    if (!number || *number > highest)
      wrong(place(member), "must be a number from 0 to " + std::to_string(highest));
    return *number;
  }

  // A number that has a limit.
  std::uint32_t number_up_to(char const *member, std::uint32_t fallback, std::uint32_t highest) {
    return number_from(member, fallback, 0, highest);
  }

  std::uint32_t number_from(char const *member, std::uint32_t fallback, std::uint32_t lowest, std::uint32_t highest) {
    Document const *value = find(member);
    auto const *const number = value ? value->as<std::uint64_t>() : nullptr;
    if (value && (!number || *number < lowest || *number > highest))
      wrong(place(member), "must be a number from " + std::to_string(lowest) + " to " + std::to_string(highest));
    return value ? static_cast<std::uint32_t>(*number) : fallback;
  }

  bool truth(char const *member, bool fallback) {
    Document const *value = find(member);
    if (!value)
      return fallback;
    bool const *const truth = value->as<bool>();
    if (!truth)
      wrong(place(member), "must be true or false");
    return *truth;
  }

  // A number that may have a fraction.
  double fraction(char const *member, double fallback) {
    Document const *value = find(member);
    if (!value)
      return fallback;
    if (auto const *const whole = value->as<std::uint64_t>())
      return static_cast<double>(*whole);
    auto const *const other = value->as<Document::OtherNumber>();
    if (!other)
      wrong(place(member), "must be a number");
    return other->value;
  }

  // One of several words.
  std::string word(char const *member, char const *fallback, std::initializer_list<std::string_view> words) {
    std::string word = text(member, SIZE_MAX, fallback);
    if (std::find(words.begin(), words.end(), word) == words.end()) {
      std::string all;
      for (std::string_view const other : words)
        all.append(all.empty()                   ? ""
                   : other == *(words.end() - 1) ? " or "
                                                 : ", ")
            .append('"' + std::string(other) + '"');
      wrong(place(member), "must be " + all);
    }
    return word;
  }

  // One of two words.
  bool choice(char const *member, char const *yes, char const *no) {
    std::string const word = text(member, SIZE_MAX, yes);
    if (word != yes && word != no) {
      wrong(place(member), "must be \"" + std::string(yes) + "\" or \"" + no + "\"");
    }
    return word == yes;
  }

  MacAddress mac(char const *member) {
    std::optional<MacAddress> const mac = mac_from_text(name(member, mac_text_room));
    if (!mac)
      wrong(place(member), "must be a MAC address such as \"02:00:00:00:00:01\"");
    return *mac;
  }

  // A list of addresses, none if it is left out.
  std::vector<MacAddress> macs(char const *member) {
    std::vector<MacAddress> macs;
    for (std::string const &text : names(member, mac_text_room)) {
      std::optional<MacAddress> const mac = mac_from_text(text);
      if (!mac)
        wrong(place(member), "must hold MAC addresses such as \"02:00:00:00:00:01\"");
      macs.push_back(*mac);
    }
    return macs;
  }

  // Addresses of groups only.
  std::vector<MacAddress> group_macs(char const *member) {
    std::vector<MacAddress> macs = this->macs(member);
    if (!std::all_of(macs.begin(), macs.end(), [](MacAddress const &mac) { return (mac[0] & 1) != 0; }))
      wrong(place(member), "must hold multicast addresses");
    return macs;
  }

  // The address of a single station.
  MacAddress station_mac(char const *member) {
    MacAddress const mac = this->mac(member);
    if ((mac[0] & 1) != 0 || mac == MacAddress{})
      wrong(place(member), "must not be zero or a multicast address");
    return mac;
  }

  // Bytes, each as two hexadecimal digits.
  std::string hexadecimal(char const *member) {
    std::string const digits = text(member, SIZE_MAX);
    std::string bytes;
    for (std::size_t at = 0; at < digits.size(); at += 2) {
      unsigned char byte = 0;
      auto const [end, error] = std::from_chars(&digits[at], digits.data() + std::min(at + 2, digits.size()), byte, 16);
      if (error != std::errc() || end - &digits[at] != 2)
        wrong(place(member), "must be bytes of two hexadecimal digits each");
      bytes += static_cast<char>(byte);
    }
    return bytes;
  }

  // The bytes of an IPv4 or IPv6 address, in network order.
  std::string ip_address(char const *member) {
    std::string const text = name(member, INET6_ADDRSTRLEN);
    unsigned char bytes[sizeof(in6_addr)];
    if (inet_pton(AF_INET, text.c_str(), bytes) == 1)
      return {reinterpret_cast<char const *>(bytes), sizeof(in_addr)};
    if (inet_pton(AF_INET6, text.c_str(), bytes) == 1)
      return {reinterpret_cast<char const *>(bytes), sizeof(in6_addr)};
    wrong(place(member), "must be an IPv4 or IPv6 address");
  }

  // One of a family.
  std::string ip_address_of(char const *member, std::size_t size, std::string const &family) {
    std::string address = ip_address(member);
    if (address.size() != size)
      wrong(place(member), "must be an " + family + " address");
    return address;
  }

  // A list of addresses of one family.
  std::vector<std::string> ip_addresses(char const *member, std::size_t size) {
    std::vector<std::string> addresses;
    for (std::string const &text : names(member, INET6_ADDRSTRLEN)) {
      std::string address(size, '\0');
      if (inet_pton(size == sizeof(in_addr) ? AF_INET : AF_INET6, text.c_str(), address.data()) != 1)
        wrong(place(member), "must hold addresses of the same family");
      addresses.push_back(std::move(address));
    }
    return addresses;
  }

  // A list of names, none if it is left out.
  std::vector<std::string> names(char const *member, std::size_t room) {
    std::vector<std::string> names;
    Document const *value = find(member);
    if (!value)
      return names;
    auto const *const list = value->as<Document::List>();
    bool const usable = list && std::all_of(list->begin(), list->end(), [&](Document const &element) {
                          auto const *const text = element.as<std::string>();
                          if (!text || text->empty() || text->size() >= room || text->find('\0') != std::string::npos)
                            return false;
                          names.push_back(*text);
                          return true;
                        });
    if (!usable)
      wrong(place(member), "must be a list of texts of 1 to " + std::to_string(room - 1) + " bytes");
    return names;
  }

  // Calls read(object) for each element of a list.
  template <typename Read>
  void list(char const *member, Read &&read) {
    Document const *list = find(member);
    if (!list)
      return;
    auto const *const values = list->as<Document::List>();
    if (!values)
      wrong(place(member), "must be a list");
    std::size_t index = 0;
    for (Document const &value : *values) {
      JsonObject element(value, place(member) + "[" + std::to_string(index++) + "]");
      read(element);
      element.finish();
    }
  }

  void finish() const {
    for (auto const &[member, value] : *members_) {
      if (!asked_.count(member))
        wrong(where_.empty() ? member : where_ + "." + member, "is not a member of this object");
    }
  }

 private:
  Document::Members const *members_;
  std::string where_;
  std::set<std::string> asked_;

  static constexpr std::size_t mac_text_room = 18;
};

}  // namespace host
