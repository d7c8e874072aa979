// Carriers that no function of this interface makes: byte blocks, and proxies without a descriptor.
#include "runtime/proxy.hpp"

#include <gtest/gtest.h>

#include <vector>

#include "tests/runtime/interpreter.hpp"

namespace vswitchpy {
namespace {

swig_type_info plain_type = {"_p_Plain", "struct Plain *|Ordinary *|Plain *", nullptr, nullptr, nullptr, 0};
swig_type_info unnamed_type = {"_p_Unnamed", nullptr, nullptr, nullptr, nullptr, 0};

class Carrier : public testing::Test {
 protected:
  Carrier() { start_interpreter(); }
};

std::string repr_of(PyObject *object) {
  PyObject *text = PyObject_Repr(object);
  std::string result = PyUnicode_AsUTF8(text);
  Py_DECREF(text);
  return result;
}

TEST_F(Carrier, PackedBytesPrintAsHexadecimalAndType) {
  PyObject *packed = new_packed("\x00\x1a\xff", 3, &plain_type);
  EXPECT_EQ(repr_of(packed), "<Swig Packed at _001aff_p_Plain>");
  EXPECT_EQ(text_of(packed), "_001aff_p_Plain");
  EXPECT_STREQ(Py_TYPE(packed)->tp_name, "SwigPyPacked");
  Py_DECREF(packed);
}

TEST_F(Carrier, PackedBytesHaveTheirOwnSize) {
  // The second most likely lies where the first was.
  Py_DECREF(new_packed("abc", 3, &plain_type));
  PyObject *packed = new_packed("xyz", 2, &plain_type);
  EXPECT_EQ(text_of(packed), "_7879_p_Plain");
  Py_DECREF(packed);
}

TEST_F(Carrier, LongPackedBytesPrintTheirTypeAlone) {
  const std::vector<char> bytes(512, 'x');
  PyObject *longest = new_packed(bytes.data(), 511, &plain_type);
  EXPECT_EQ(repr_of(longest).size(), std::string("<Swig Packed at _p_Plain>").size() + 1 + 2 * 511);
  PyObject *too_long = new_packed(bytes.data(), 512, &plain_type);
  EXPECT_EQ(repr_of(too_long), "<Swig Packed _p_Plain>");
  EXPECT_EQ(text_of(too_long), "_p_Plain");
  Py_DECREF(longest);
  Py_DECREF(too_long);
}

TEST_F(Carrier, APackedBlockIsACopy) {
  char byte = 'a';
  PyObject *packed = new_packed(&byte, 1, &plain_type);
  byte = 'b';
  EXPECT_EQ(repr_of(packed), "<Swig Packed at _61_p_Plain>");
  Py_DECREF(packed);
}

TEST_F(Carrier, AProxyPrintsTheLastSpellingTheMangledNameOrUnknown) {
  int target = 0;
  const std::pair<swig_type_info *, std::string> cases[] = {
      {&plain_type, "Plain *"}, {&unnamed_type, "_p_Unnamed"}, {nullptr, "unknown"}};
  for (const auto &[type, name] : cases) {
    PyObject *proxy = new_proxy(&target, type, Ownership::borrowed);
    EXPECT_EQ(repr_of(proxy).rfind("<Swig Object of type '" + name + "' at 0x", 0), 0u) << repr_of(proxy);
    Py_DECREF(proxy);
  }
}

TEST_F(Carrier, NullBecomesNone) {
  PyObject *none = new_proxy(nullptr, &plain_type, Ownership::owned);
  EXPECT_EQ(none, Py_None);
  Py_DECREF(none);
}

}  // namespace
}  // namespace vswitchpy
