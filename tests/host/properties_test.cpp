// The property store: scopes, the two values, owners, buffers.
#include <optional>
#include <vector>

#include "host_test.hpp"

namespace properties_test {

constexpr char key[] = "org.example.key";

struct Read {
  int status;
  std::string value;
};

// Gets into a buffer of exactly `room` bytes.
template <typename Get>
Read read(Get &&get, std::size_t room = 64) {
  std::vector<char> buffer(room);
  HNQQuery query{static_cast<int>(room), buffer.data()};
  int const status = get(&query);
  if (status != QEL_OK)
    return {status, ""};
  return {status, std::string(buffer.data(), static_cast<std::size_t>(query.propLen))};
}

Read get_global(char const *name, bool persistent = false, char const *vendor = "", char const *alias = "workload") {
  return read([&](HNQQuery *query) { return VSDVS_GetGlobProp(alias, name, query, vendor, persistent ? 1 : 0); });
}

int set_global(char const *name, std::string const &value, bool persistent = true, char const *vendor = "") {
  return VSDVS_SetGlobProp("workload", name, value.data(), static_cast<int>(value.size()), vendor, persistent ? 1 : 0);
}

int clear_global(char const *name, bool persistent = true, char const *vendor = "") {
  return VSDVS_ClearGlobProp("workload", name, vendor, persistent ? 1 : 0);
}

#define EXPECT_VALUE(expected, expression)          \
  do {                                              \
    Read const result = (expression);               \
    EXPECT_STATUS(QEL_OK, result.status);           \
    EXPECT_EQ(std::string(expected), result.value); \
  } while (false)

class Properties : public HostTest {};

TEST_F(Properties, hold_any_bytes) {
  std::string const value("\0a\xff\0", 4);
  EXPECT_STATUS(QEL_NOT_FOUND, get_global(key).status);
  ASSERT_STATUS(QEL_OK, set_global(key, value));
  EXPECT_VALUE(value, get_global(key));
  ASSERT_STATUS(QEL_OK, set_global(key, ""));
  EXPECT_VALUE("", get_global(key));
  ASSERT_STATUS(QEL_OK, clear_global(key));
  EXPECT_STATUS(QEL_NOT_FOUND, get_global(key).status);
  EXPECT_STATUS(QEL_NOT_FOUND, clear_global(key));
}

TEST_F(Properties, scopes_switches_and_ports_are_apart) {
  ASSERT_STATUS(QEL_OK, VSDVS_SetGlobProp("workload", key, "global", 6, "", 1));
  ASSERT_STATUS(QEL_OK, VSDVS_SetHostProp("workload", key, "host", 4, "", 1));
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortProp("workload", "100", key, "port", 4, "", 1));
  EXPECT_VALUE("global", get_global(key));
  EXPECT_VALUE("host", read([](HNQQuery *q) { return VSDVS_GetHostProp("workload", key, q, "", 0); }));
  EXPECT_VALUE("port", read([](HNQQuery *q) { return VSDVS_GetPortProp("workload", "100", key, q, "", 0); }));
  EXPECT_STATUS(QEL_NOT_FOUND,
                read([](HNQQuery *q) { return VSDVS_GetPortProp("workload", "101", key, q, "", 0); }).status);
  EXPECT_STATUS(QEL_NOT_FOUND, get_global(key, false, "", "management").status);
  ASSERT_STATUS(QEL_OK, VSDVS_ClearHostProp("workload", key, "", 1));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_ClearHostProp("workload", key, "", 1));
  EXPECT_VALUE("global", get_global(key));
  ASSERT_STATUS(QEL_OK, VSDVS_SetRuntimeHostProp("workload", key, "run", 3, "", 0));
  EXPECT_VALUE("run", read([](HNQQuery *q) { return VSDVS_GetHostProp("workload", key, q, "", 0); }));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearPortProp("workload", "100", key, "", 1));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_ClearPortProp("workload", "100", key, "", 1));
}

TEST_F(Properties, go_with_their_port) {
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortProp("workload", "103", key, "x", 1, "", 1));
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveDVPort("workload", "103"));
  auto const get = [](HNQQuery *q) { return VSDVS_GetPortProp("workload", "103", key, q, "", 0); };
  EXPECT_STATUS(QEL_NOT_FOUND, read(get).status);
  {
    HostLock lock;
    Transaction transaction(open_host(), false);
    EXPECT_FALSE(open_host().rows("SELECT 1 FROM property WHERE name = ?", std::string_view(key)).next());
  }
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("workload", "103", 0));
  EXPECT_STATUS(QEL_NOT_FOUND, read(get).status);
}

TEST_F(Properties, a_volatile_value_hides_the_persistent_one) {
  ASSERT_STATUS(QEL_OK, set_global(key, "kept", true));
  ASSERT_STATUS(QEL_OK, set_global(key, "passing", false));
  EXPECT_VALUE("passing", get_global(key));
  EXPECT_VALUE("kept", get_global(key, true));
  ASSERT_STATUS(QEL_OK, clear_global(key, false));
  EXPECT_VALUE("kept", get_global(key));
  EXPECT_STATUS(QEL_NOT_FOUND, clear_global(key, false));
  ASSERT_STATUS(QEL_OK, set_global(key, "passing", false));
  ASSERT_STATUS(QEL_OK, set_global(key, "new", true));  // in effect at once
  EXPECT_VALUE("new", get_global(key));
  ASSERT_STATUS(QEL_OK, set_global(key, "passing", false));
  ASSERT_STATUS(QEL_OK, clear_global(key, true));  // both
  EXPECT_STATUS(QEL_NOT_FOUND, get_global(key).status);
}

TEST_F(Properties, a_volatile_value_alone_is_not_persistent) {
  ASSERT_STATUS(QEL_OK, set_global(key, "passing", false));
  EXPECT_VALUE("passing", get_global(key));
  EXPECT_STATUS(QEL_NOT_FOUND, get_global(key, true).status);
}

TEST_F(Properties, owners) {
  ASSERT_STATUS(QEL_OK, set_global(key, "1"));
  EXPECT_STATUS(QEL_NOT_FOUND, get_global(key, false, "maker").status);
  EXPECT_STATUS(QEL_NO_PERMISSION, clear_global(key, true, "maker"));
  ASSERT_STATUS(QEL_OK, set_global(key, "2", true, "maker"));
  EXPECT_VALUE("2", get_global(key, false, "maker"));
  EXPECT_VALUE("2", get_global(key));
  EXPECT_STATUS(QEL_NOT_FOUND, get_global(key, false, "other").status);
  EXPECT_STATUS(QEL_NO_PERMISSION, set_global(key, "3", true, "other"));
  EXPECT_STATUS(QEL_NO_PERMISSION, set_global(key, "3", false, "other"));
  EXPECT_STATUS(QEL_NO_PERMISSION, clear_global(key, true, "other"));
  ASSERT_STATUS(QEL_OK, set_global(key, "4"));
  EXPECT_VALUE("4", get_global(key, false, "maker"));  // a write without owner leaves the owner
  ASSERT_STATUS(QEL_OK, clear_global(key, true, "maker"));
  ASSERT_STATUS(QEL_OK, set_global(key, "5", true, "other"));
  EXPECT_VALUE("5", get_global(key, false, "other"));
}

TEST_F(Properties, an_owner_owns_both_values) {
  ASSERT_STATUS(QEL_OK, set_global(key, "kept", true));
  ASSERT_STATUS(QEL_OK, set_global(key, "passing", false, "maker"));
  EXPECT_VALUE("kept", get_global(key, true, "maker"));
  ASSERT_STATUS(QEL_OK, clear_global(key, false));
  EXPECT_VALUE("kept", get_global(key, false, "maker"));
}

TEST_F(Properties, a_small_buffer_stays_as_it_was) {
  ASSERT_STATUS(QEL_OK, set_global(key, "12345"));
  std::vector<char> buffer(4, '-');
  HNQQuery query{4, buffer.data()};
  EXPECT_STATUS(QEL_BUF_TOO_SMALL, VSDVS_GetGlobProp("workload", key, &query, "", 0));
  EXPECT_EQ(4, query.propLen);
  EXPECT_EQ("----", std::string(buffer.begin(), buffer.end()));
  EXPECT_VALUE("12345", read([](HNQQuery *q) { return VSDVS_GetGlobProp("workload", key, q, "", 0); }, 5));
  HNQQuery empty{0, nullptr};
  EXPECT_STATUS(QEL_BUF_TOO_SMALL, VSDVS_GetGlobProp("workload", key, &empty, "", 0));
  ASSERT_STATUS(QEL_OK, set_global(key, ""));
  EXPECT_STATUS(QEL_OK, VSDVS_GetGlobProp("workload", key, &empty, "", 0));
  HNQQuery negative{-1, buffer.data()};
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetGlobProp("workload", key, &negative, "", 0));
  HNQQuery without_buffer{4, nullptr};
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetGlobProp("workload", key, &without_buffer, "", 0));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetGlobProp("workload", key, nullptr, "", 0));
}

TEST_F(Properties, refused_arguments) {
  std::string const name_256(256, 'n');
  std::string const vendor_128(128, 'v');
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetGlobProp(nullptr, key, "x", 1, "", 1));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetGlobProp("workload", nullptr, "x", 1, "", 1));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetGlobProp("workload", key, nullptr, 1, "", 1));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetGlobProp("workload", key, "x", -1, "", 1));
  EXPECT_STATUS(QEL_INVALID_NAME, set_global("", "x"));
  EXPECT_STATUS(QEL_NAME_TOO_LONG, set_global(name_256.c_str(), "x"));
  EXPECT_STATUS(QEL_OK, set_global(name_256.c_str() + 1, "x"));
  EXPECT_STATUS(QEL_NAME_TOO_LONG, set_global(key, "x", true, vendor_128.c_str()));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_SetGlobProp("none", key, "x", 1, "", 1));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_SetPortProp("workload", "none", key, "x", 1, "", 1));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetPortProp("workload", nullptr, key, "x", 1, "", 1));
  EXPECT_STATUS(QEL_OK, VSDVS_SetGlobProp("workload", key, nullptr, 0, nullptr, 1));
}

TEST_F(Properties, largest_value) {
  std::string const largest(1048576, 'x');
  ASSERT_STATUS(QEL_OK, set_global(key, largest));
  EXPECT_VALUE(largest, read([](HNQQuery *q) { return VSDVS_GetGlobProp("workload", key, q, "", 0); }, largest.size()));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, set_global(key, largest + "x"));
}

TEST_F(Properties, known_names_keep_to_their_place) {
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetPortProp("workload", "100", VSPROP_MTU, "\xdc\x05\0\0", 4, "", 1));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetHostProp("workload", QEL_HNQPROP_PORT_CONNECTID, "\0\0\0\0", 4, "", 1));
  // A switch's property is one property, whichever of its two scopes it is reached from.
  ASSERT_STATUS(QEL_OK, VSDVS_SetHostProp("workload", VSPROP_MTU, "\xdc\x05\0\0", 4, "", 1));
  EXPECT_EQ(1500u, mtu_of("workload"));
  EXPECT_VALUE(std::string("\xdc\x05\0\0", 4), get_global(VSPROP_MTU));
}

TEST_F(Properties, defaults_are_not_stored) {
  EXPECT_VALUE(std::string("\xdc\x05\0\0", 4), get_global(VSPROP_MTU, true, "", "management"));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearGlobProp("management", VSPROP_MTU, "", 1));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearGlobProp("management", VSPROP_MTU, "", 0));
  EXPECT_STATUS(QEL_NOT_FOUND, get_global(VSPROP_MTU, false, "maker", "management").status);
}

}  // namespace properties_test
