// The calls that translate names, and the names of the statuses.
#include <cstdint>

#include "host_test.hpp"

namespace names_test {

class Names : public HostTest {};

TEST_F(Names, failures_leave_an_empty_text) {
  char text[128] = "before";
  EXPECT_STATUS(QEL_NOT_FOUND, DVSAliasToPortsetName("portset-1", text));
  EXPECT_STREQ("", text);
  std::strcpy(text, "before");
  EXPECT_STATUS(QEL_NOT_FOUND, DVSPortsetNameToAlias("management", text));
  EXPECT_STREQ("", text);
  std::strcpy(text, "before");
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_GetAliasFromPortset("none", text));
  EXPECT_STREQ("", text);
  EXPECT_STATUS(QEL_BAD_PARAM, DVSAliasToSwitchId(nullptr, text));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSAliasToSwitchId("management", nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSAliasToPortsetName("management", nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSPortsetNameToAlias("portset-1", nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetAliasFromPortset("portset-1", nullptr));
  EXPECT_STATUS(QEL_NAME_TOO_LONG, DVSAliasToSwitchId(std::string(81, 'a').c_str(), text));
}

TEST_F(Names, an_identifier_goes_only_where_the_text_leaves_room) {
  ASSERT_STATUS(QEL_OK, VSDVS_CreateVSwitch("edge", "12345", "", 0, 1, 0, 0, 0));
  // On the heap, so that the sanitizer sees every byte that is written too far.
  auto const room = std::unique_ptr<char[]>(new char[6]);
  std::memcpy(room.get(), "-----", 6);
  EXPECT_STATUS(QEL_OK, VSQEL_DVSAliasToSwitchId("edge", room.get()));
  EXPECT_STREQ("12345", room.get());
  auto const small = std::unique_ptr<char[]>(new char[5]);
  std::memcpy(small.get(), "----", 5);
  EXPECT_STATUS(QEL_BUF_TOO_SMALL, VSQEL_DVSAliasToSwitchId("edge", small.get()));
  EXPECT_STREQ("----", small.get());
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_DVSAliasToSwitchId("none", room.get()));
  EXPECT_STREQ("12345", room.get());
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_DVSAliasToSwitchId("edge", nullptr));
}

TEST_F(Names, every_status_has_its_name) {
  struct Row {
    char const *name;
    int value;
  };
  constexpr Row rows[] = {
#define FAMILY(name, documentation)
#define TEXT(name, text)
#define INTEGER(name, value) {#name, value},
#include "constants/status_codes.def"
#undef INTEGER
#undef TEXT
#undef FAMILY
  };
  int named = 0;
  for (Row const &row : rows) {
    EXPECT_STREQ(row.name, QEL_ReturnStatusToString(static_cast<QEL_ReturnStatus>(row.value)));
    ++named;
  }
  EXPECT_STREQ("QEL_GENERIC_LINUX_ERROR", QEL_ReturnStatusToString(static_cast<QEL_ReturnStatus>(0x2bad0000)));
  EXPECT_EQ(351, named + 1);

  int found = 0;
  for (int code = 0x0bad0000; code < 0x0bad1000; ++code) {
    found += QEL_ReturnStatusToString(static_cast<QEL_ReturnStatus>(code)) != nullptr;
  }
  EXPECT_EQ(named - 1, found);  // QEL_OK lies outside the range
  for (int code : {1, -1, 0x0bad0000, 0x0bad00e9, 0x2bad0001, INT32_MIN}) {
    EXPECT_EQ(nullptr, QEL_ReturnStatusToString(static_cast<QEL_ReturnStatus>(code))) << code;
  }
}

}  // namespace names_test
