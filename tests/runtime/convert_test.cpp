// Conversions that no script reaches by itself: the kinds of error, size_t, bounded lengths.
#include "runtime/convert.hpp"

#include <gtest/gtest.h>

#include "tests/runtime/interpreter.hpp"

namespace vswitchpy {
namespace {

class Conversion : public testing::Test {
 protected:
  Conversion() { start_interpreter(); }
};

TEST_F(Conversion, EachErrorKindHasItsExceptionClass) {
  const std::pair<int, PyObject *> classes[] = {
      {-1, PyExc_TypeError},     {-2, PyExc_IOError},           {-3, PyExc_RuntimeError},    {-4, PyExc_IndexError},
      {-5, PyExc_TypeError},     {-6, PyExc_ZeroDivisionError}, {-7, PyExc_OverflowError},   {-8, PyExc_SyntaxError},
      {-9, PyExc_ValueError},    {-10, PyExc_SystemError},      {-11, PyExc_AttributeError}, {-12, PyExc_MemoryError},
      {-13, PyExc_RuntimeError}, {-99, PyExc_RuntimeError},
  };
  for (const auto &[kind, expected] : classes) {
    EXPECT_EQ(exception_class(static_cast<Outcome>(kind)), expected) << kind;
  }
}

Outcome convert_text_number(const char *digits, Scalar scalar, std::uint64_t *value) {
  PyObject *number = PyLong_FromString(digits, nullptr, 10);
  Deferred deferred;
  const Outcome outcome = scalar_from(number, scalar, value, &deferred);
  deferred.raise();
  Py_DECREF(number);
  return outcome;
}

TEST_F(Conversion, SizesRefuseNegativeNumbersByRangeAndLargeOnesByType) {
  std::uint64_t value = 0;
  EXPECT_EQ(convert_text_number("18446744073709551615", Scalar::size, &value), Outcome::ok);
  EXPECT_EQ(value, UINT64_MAX);
  EXPECT_EQ(convert_text_number("-1", Scalar::size, &value), Outcome::overflow);
  EXPECT_EQ(convert_text_number("-9223372036854775808", Scalar::size, &value), Outcome::overflow);
  EXPECT_EQ(convert_text_number("-9223372036854775809", Scalar::size, &value), Outcome::type_error);
  EXPECT_EQ(convert_text_number("18446744073709551616", Scalar::size, &value), Outcome::type_error);
  EXPECT_FALSE(PyErr_Occurred());
}

TEST_F(Conversion, IntegersOfTheLibraryRefuseNegativeNumbersByType) {
  std::uint64_t value = 0;
  EXPECT_EQ(convert_text_number("-1", Scalar::unsigned_64, &value), Outcome::type_error);
  EXPECT_EQ(convert_text_number("18446744073709551616", Scalar::unsigned_64, &value), Outcome::type_error);
}

TEST_F(Conversion, AnIntBeyond64BitsIsReadAsMinusOneAndComplainedAboutLater) {
  std::uint64_t value = 0;
  EXPECT_EQ(convert_text_number("18446744073709551616", Scalar::signed_32, &value), Outcome::ok);
  EXPECT_EQ(static_cast<std::int64_t>(value), -1);
  EXPECT_EQ(take_error(), "OverflowError: Python int too large to convert to C long");
}

TEST_F(Conversion, BoundedLengthStopsAtTheTerminatorOrTheBound) {
  EXPECT_EQ(SWIG_strnlen("abc", 10), 3u);
  EXPECT_EQ(SWIG_strnlen("abc", 2), 2u);
  EXPECT_EQ(SWIG_strnlen("abc", 0), 0u);
  const char full[] = {'a', 'b', 'c', 'd'};
  EXPECT_EQ(SWIG_strnlen(full, sizeof full), 4u);
}

TEST_F(Conversion, TheTextOfAFieldEndsWhereItsFirstZeroIs) {
  for (const char filling : {'\x01', 'a', '\x7f', '\x80', '\x81', '\xff'}) {
    for (std::size_t capacity = 0; capacity < 40; ++capacity) {
      for (std::size_t end = 0; end <= capacity; ++end) {
        // What follows the first zero is no part of the text, further zeros and bytes of any value included.
        std::string field(capacity, filling);
        for (std::size_t i = end; i < capacity; i += 3) {
          field[i] = '\0';
        }
        EXPECT_EQ(field_text_size(field.data(), capacity), end) << capacity;
      }
    }
  }
}

}  // namespace
}  // namespace vswitchpy
