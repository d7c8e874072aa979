// Images of the state: taken and read.
#pragma once

#include "host_test.hpp"
#include "sealed_image.hpp"

inline std::string take(int status, void *image, int length) {
  EXPECT_STATUS(QEL_OK, status);
  std::string const bytes(static_cast<char const *>(image), static_cast<std::size_t>(length));
  DVSQEL_DataFree(image);
  return bytes;
}

inline std::string state() {
  void *image = nullptr;
  int length = 0;
  int const status = DVSQEL_StateGet(&image, &length);
  return take(status, image, length);
}

// Each gets the bytes without their const: the calls do not write them.
inline int init(std::string image) {
  return DVSQEL_StateInit(image.data(), static_cast<int>(image.size()));
}
inline int deserialize(std::string image) {
  return DVSState_ConfigDeserialize(image.data(), static_cast<int>(image.size()));
}
