// Mangled names of native types, derived from the C++ types at compile time.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>
#include <type_traits>

namespace vswitchpy {

// A text put together at compile time; long enough for any name of the interface.
struct ShortText {
  std::array<char, 80> characters{};
  std::size_t size = 0;

  constexpr ShortText(std::string_view text) {  // NOLINT(google-explicit-constructor): so that "a" + part reads
    for (const char character : text) {
      characters[size++] = character;
    }
  }
  constexpr ShortText(const char *text) : ShortText(std::string_view(text)) {}  // NOLINT(google-explicit-constructor)

  friend constexpr ShortText operator+(ShortText left, const ShortText &right) {
    for (std::size_t i = 0; i < right.size; ++i) {
      left.characters[left.size++] = right.characters[i];
    }
    return left;
  }
};

// The name as declared; an unnamed struct goes by its typedef.
template <class T>
consteval std::string_view declared_name() {
  constexpr std::string_view function = __PRETTY_FUNCTION__;
  constexpr std::size_t begin = function.find("T = ") + 4;
  constexpr std::size_t end = function.find_first_of(";]", begin);
  return function.substr(begin, end - begin);
}

template <class T>
struct MangledPart {
  static consteval ShortText text() { return declared_name<T>(); }
};

#define VSWITCHPY_MANGLED(type, name)                  \
  template <>                                          \
  struct MangledPart<type> {                           \
    static consteval ShortText text() { return name; } \
  }

VSWITCHPY_MANGLED(void, "void");
VSWITCHPY_MANGLED(char, "char");
VSWITCHPY_MANGLED(signed char, "signed_char");
VSWITCHPY_MANGLED(unsigned char, "unsigned_char");
VSWITCHPY_MANGLED(short, "short");
VSWITCHPY_MANGLED(unsigned short, "unsigned_short");
VSWITCHPY_MANGLED(int, "int");
VSWITCHPY_MANGLED(unsigned int, "unsigned_int");
VSWITCHPY_MANGLED(long, "long");
VSWITCHPY_MANGLED(long long, "long_long");
VSWITCHPY_MANGLED(unsigned long long, "unsigned_long_long");

template <class T>
struct MangledPart<T const> : MangledPart<T> {};

template <class T>
struct MangledPart<T *> {
  static consteval ShortText text() { return ShortText("p_") + MangledPart<T>::text(); }
};

consteval ShortText decimal(std::size_t number) {
  const char digit[] = {static_cast<char>('0' + number % 10), 0};
  return number < 10 ? ShortText(digit) : decimal(number / 10) + ShortText(digit);
}

template <class T, std::size_t N>
struct MangledPart<T[N]> {
  static consteval ShortText text() { return ShortText("a_") + decimal(N) + "__" + MangledPart<T>::text(); }
};

template <class Result, class... Arguments>
struct MangledPart<Result(Arguments...)> {
  static consteval ShortText text() {
    ShortText text = "f_";
    ((text = text + MangledPart<Arguments>::text() + "_"), ...);
    return text + "_" + MangledPart<Result>::text();
  }
};

VSWITCHPY_MANGLED(std::size_t, "size_t");

#undef VSWITCHPY_MANGLED

// The registry key of a pointer to T, such as "_p_VSList", "_p_p_VSList", "_p_a_81__char".
template <class T>
inline constexpr ShortText mangled_pointer_text = ShortText("_p_") + MangledPart<T>::text();

template <class T>
inline constexpr std::string_view mangled_pointer{mangled_pointer_text<T>.characters.data(),
                                                  mangled_pointer_text<T>.size};

}  // namespace vswitchpy
