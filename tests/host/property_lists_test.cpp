// Property lists: those that scripts build, with their own memory or not, and those of switches and ports.
#include <cstdlib>

#include "host_test.hpp"

namespace property_lists_test {

constexpr auto no_version = static_cast<HNQVersion>(0);
constexpr auto config = static_cast<qel_uint32>(CONFIG_PROP_TYPE);
constexpr auto no_sync = static_cast<qel_uint32>(CONFIG_PROP_TYPE) | static_cast<qel_uint32>(NO_SYNC_PROP_TYPE);
constexpr auto everything = static_cast<qel_uint32>(ALL_PROP_TYPE);

int blocks = 0;
bool has_memory = true;

void *count_allocation(std::size_t size) {
  // The host is not in a call while it asks: it may be called.
  EXPECT_EQ(1, DVPortExist("workload", "100"));
  if (!has_memory)
    return nullptr;
  ++blocks;
  return std::malloc(size);
}

void count_release(void *memory) {
  EXPECT_EQ(1, DVPortExist("workload", "100"));
  --blocks;
  std::free(memory);
}

int update(DVSDataHandle list, char const *name, std::string value, qel_uint32 type = config) {
  return DVSData_Update(list, name, value.data(), static_cast<qel_uint32>(value.size()), type);
}

std::string serialise(DVSDataHandle list, HNQVersion version = no_version) {
  void *image = nullptr;
  qel_uint32 length = 0;
  int const status = DVSData_Serialize(list, &image, &length, version);
  if (status != QEL_OK)
    return status_text(status);
  std::string const bytes(static_cast<char const *>(image), length);
  DVSQEL_DataFree(image);
  return bytes;
}

// The value that a port gets which starts with the image.
std::string value_in(std::string image, char const *name) {
  EXPECT_STATUS(QEL_OK, DVSQEL_PortAdd("management", "started", image.data(), static_cast<int>(image.size())));
  char value[64];
  HNQQuery query{sizeof value, value};
  int const status = VSDVS_GetPortProp("management", "started", name, &query, "", 0);
  EXPECT_STATUS(QEL_OK, VSDVS_RemoveDVPort("management", "started"));
  return status == QEL_OK ? std::string(value, static_cast<std::size_t>(query.propLen)) : status_text(status);
}

// The same as a list of the library, for comparison of their images.
std::string list_image(std::initializer_list<std::pair<char const *, char const *>> values, qel_uint32 type = config) {
  DVSDataHandle list = nullptr;
  EXPECT_STATUS(QEL_OK, DVSData_Alloc(&list, nullptr, nullptr));
  for (auto const &[name, value] : values)
    EXPECT_STATUS(QEL_OK, update(list, name, value, type));
  std::string const image = serialise(list);
  DVSData_Free(list);
  return image;
}

template <typename Collect>
std::string image_of(Collect &&collect) {
  DVSDataHandle list = nullptr;
  int const status = collect(&list);
  if (status != QEL_OK) {
    EXPECT_EQ(nullptr, list);
    return status_text(status);
  }
  std::string const image = serialise(list);
  DVSData_Free(list);
  EXPECT_EQ("QEL_INVALID_HANDLE", serialise(list));
  return image;
}

int set_global(char const *name, std::string value, char const *vendor = "") {
  return VSDVS_SetGlobProp("workload", name, value.data(), static_cast<int>(value.size()), vendor, 1);
}

class PropertyLists : public HostTest {};

TEST_F(PropertyLists, hold_one_value_of_each_name) {
  DVSDataHandle list = nullptr;
  ASSERT_STATUS(QEL_OK, DVSData_Alloc(&list, nullptr, nullptr));
  ASSERT_STATUS(QEL_OK, update(list, "key", "one"));
  ASSERT_STATUS(QEL_OK, update(list, "key", std::string("t\0o", 3)));
  ASSERT_STATUS(QEL_OK, update(list, "empty", ""));
  ASSERT_STATUS(QEL_OK, DVSData_Update(list, "null", nullptr, 0, 0));
  std::string const image = serialise(list);
  EXPECT_EQ(std::string("t\0o", 3), value_in(image, "key"));
  EXPECT_EQ("", value_in(image, "empty"));
  EXPECT_EQ("", value_in(image, "null"));
  EXPECT_EQ("QEL_NOT_FOUND", value_in(image, "other"));
  ASSERT_STATUS(QEL_OK, DVSQEL_StateCleanup());
  EXPECT_EQ(image, serialise(list)) << "a list is not part of the state";
  DVSData_Free(list);
  EXPECT_STATUS(QEL_INVALID_HANDLE, update(list, "key", "one"));
  DVSData_Free(list);
}

TEST_F(PropertyLists, use_the_memory_of_their_maker) {
  blocks = 0;
  DVSDataHandle list = nullptr;
  ASSERT_STATUS(QEL_OK, DVSData_Alloc(&list, count_allocation, count_release));
  ASSERT_STATUS(QEL_OK, update(list, "a", "one"));
  ASSERT_STATUS(QEL_OK, update(list, "b", "two"));
  EXPECT_EQ(2, blocks);
  ASSERT_STATUS(QEL_OK, update(list, "b", "three"));
  EXPECT_EQ(2, blocks);
  has_memory = false;
  EXPECT_STATUS(QEL_NO_MEMORY, update(list, "b", "four"));
  has_memory = true;
  EXPECT_EQ(list_image({{"a", "one"}, {"b", "three"}}), serialise(list));
  DVSData_Free(list);
  EXPECT_EQ(0, blocks);
}

TEST_F(PropertyLists, arguments_are_checked) {
  DVSDataHandle list = this;
  EXPECT_STATUS(QEL_BAD_PARAM, DVSData_Alloc(nullptr, nullptr, nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSData_Alloc(&list, count_allocation, nullptr));
  EXPECT_EQ(nullptr, list);
  EXPECT_STATUS(QEL_BAD_PARAM, DVSData_Alloc(&list, nullptr, count_release));
  DVSData_Free(nullptr);
  DVSData_Free(this);
  EXPECT_STATUS(QEL_INVALID_HANDLE, update(nullptr, "key", "v"));
  EXPECT_STATUS(QEL_INVALID_HANDLE, update(this, "key", "v"));
  EXPECT_STATUS(QEL_INVALID_HANDLE, update(DVSState_SwitchFindByAlias("workload"), "key", "v"));
  ASSERT_STATUS(QEL_OK, DVSData_Alloc(&list, nullptr, nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, update(list, nullptr, "v"));
  EXPECT_STATUS(QEL_INVALID_NAME, update(list, "", "v"));
  EXPECT_STATUS(QEL_NAME_TOO_LONG, update(list, std::string(256, 'n').c_str(), "v"));
  EXPECT_STATUS(QEL_BAD_PARAM, update(list, "key", "v", 1));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSData_Update(list, "key", nullptr, 1, config));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, DVSData_Update(list, "key", this, 1048577, config));
  void *image = this;
  qel_uint32 length = 1;
  EXPECT_STATUS(QEL_NOT_SUPPORTED, DVSData_Serialize(list, &image, &length, static_cast<HNQVersion>(3)));
  EXPECT_EQ(nullptr, image);
  EXPECT_EQ(0u, length);
  EXPECT_STATUS(QEL_BAD_PARAM, DVSData_Serialize(list, nullptr, &length, no_version));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSData_Serialize(list, &image, nullptr, no_version));
  DVSData_Free(list);
}

TEST_F(PropertyLists, carry_their_version_and_types) {
  DVSDataHandle list = nullptr;
  ASSERT_STATUS(QEL_OK, DVSData_Alloc(&list, nullptr, nullptr));
  ASSERT_STATUS(QEL_OK, update(list, "key", "v", config | VOLATILE_PROP_TYPE));
  ASSERT_STATUS(QEL_OK, DVSQEL_SwitchAdd("old", "old", 0, static_cast<HNQVersion>(DVS_VERSION_65)));
  std::string image = serialise(list, static_cast<HNQVersion>(DVS_VERSION_66));
  EXPECT_STATUS(QEL_VERSION_MISMATCH_MAJOR, DVSQEL_PortAdd("old", "1", image.data(), static_cast<int>(image.size())));
  image = serialise(list, static_cast<HNQVersion>(DVS_VERSION_65));
  ASSERT_STATUS(QEL_OK, DVSQEL_PortAdd("old", "1", image.data(), static_cast<int>(image.size())));
  HNQQuery query{0, nullptr};
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_GetPortProp("old", "1", "key", &query, "", 1)) << "a volatile value";
  EXPECT_STATUS(QEL_BUF_TOO_SMALL, VSDVS_GetPortProp("old", "1", "key", &query, "", 0));
  DVSData_Free(list);
}

TEST_F(PropertyLists, of_vendors_have_what_has_an_owner) {
  ASSERT_STATUS(QEL_OK, set_global("own", "1", "vendor"));
  ASSERT_STATUS(QEL_OK, set_global("free", "2"));
  ASSERT_STATUS(QEL_OK, VSDVS_SetHostProp("workload", "host", "3", 1, "vendor", 0));
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortProp("workload", "100", "port", "4", 1, "vendor", 1));
  auto const global = [](DVSDataHandle *l) { return DVSQEL_VendorGlobalPropList("workload", l, config); };
  EXPECT_EQ(list_image({{"own", "1"}}), image_of(global));
  auto const host = [](DVSDataHandle *l) { return DVSQEL_VendorHostPropList("workload", l, 0); };
  EXPECT_EQ(list_image({{"host", "3"}}), image_of(host));
  auto const port = [](DVSDataHandle *l) { return DVSQEL_VendorPortPropList("workload", "100", l, everything); };
  EXPECT_EQ(list_image({{"port", "4"}}), image_of(port));
  auto const runtime = [](DVSDataHandle *l) { return DVSQEL_VendorGlobalPropList("workload", l, RUNTIME_PROP_TYPE); };
  EXPECT_EQ(list_image({}), image_of(runtime));
}

TEST_F(PropertyLists, of_extra_configuration_have_free_names) {
  ASSERT_STATUS(QEL_OK, set_global("own", "1", "vendor"));
  ASSERT_STATUS(QEL_OK, set_global("global", "2"));
  ASSERT_STATUS(QEL_OK, set_global("both", "3"));
  ASSERT_STATUS(QEL_OK, VSDVS_SetHostProp("workload", "both", "4", 1, "", 1));
  ASSERT_STATUS(QEL_OK, VSDVS_SetHostProp("workload", "host", "5", 1, "", 1));
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortProp("workload", "101", "port", "6", 1, "", 1));
  auto const list = [](DVSDataHandle *l) { return DVSQEL_ExtraConfigPropList("workload", l, config); };
  EXPECT_EQ(list_image({{"both", "4"}, {"global", "2"}, {"host", "5"}}), image_of(list));
  auto const port = [](DVSDataHandle *l) { return DVSQEL_ExtraConfigPortPropList("workload", "101", l, config); };
  EXPECT_EQ(list_image({{"port", "6"}}), image_of(port)) << "not the connection identifier, which has rules";
}

TEST_F(PropertyLists, leave_out_what_is_not_synchronised) {
  char value[] = "v";
  ASSERT_STATUS(QEL_OK, DVSQEL_GlobalPropSet("workload", "secret", value, 1, no_sync));
  auto const list = [](qel_uint32 wanted) {
    return image_of([&](DVSDataHandle *l) { return DVSQEL_ExtraConfigPropList("workload", l, wanted); });
  };
  EXPECT_EQ(list_image({}), list(config));
  EXPECT_EQ(list_image({}), list(0));
  EXPECT_EQ(list_image({}), list(ALL_PUBLIC_PROP_TYPE));
  EXPECT_EQ(list_image({{"secret", "v"}}, no_sync), list(everything));
  EXPECT_EQ("QEL_BAD_PARAM", list(1));
  // Of a value that is written again the later type holds.
  ASSERT_STATUS(QEL_OK, DVSQEL_GlobalPropSet("workload", "secret", value, 1, config));
  EXPECT_EQ(list_image({{"secret", "v"}}), list(config));
}

TEST_F(PropertyLists, of_what_is_not_there_are_refused) {
  DVSDataHandle list = nullptr;
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_VendorGlobalPropList("none", &list, config));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_VendorHostPropList("none", &list, config));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_ExtraConfigPropList("none", &list, config));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_VendorPortPropList("workload", "none", &list, config));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_ExtraConfigPortPropList("workload", "none", &list, config));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_ExtraConfigPortPropList("workload", nullptr, &list, config));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_VendorGlobalPropList("workload", nullptr, config));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_VendorGlobalPropList(nullptr, &list, config));
}

}  // namespace property_lists_test
