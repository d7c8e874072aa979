// Records that calls hand out, and what becomes of them.
#include "platform/core/handed_out.hpp"

#include "host_test.hpp"

namespace handed_out_test {

VSInfo *new_info() {
  VSInfo *info = nullptr;
  EXPECT_STATUS(QEL_OK, VSQEL_GetSwitchInfo("management", &info));
  return info;
}

class HandedOut : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    before = memory_counts();
  }

  MemoryCounts since() const {
    MemoryCounts const now = memory_counts();
    return {now.records - before.records, now.bytes - before.bytes, now.wrong_releases - before.wrong_releases};
  }

  MemoryCounts before{};
};

TEST_F(HandedOut, records_are_counted_until_they_are_released) {
  VSInfo *info = new_info();
  EXPECT_EQ(1u, since().records);
  EXPECT_EQ(sizeof(VSInfo), since().bytes);
  VSQEL_FreeMemory(info);
  EXPECT_EQ(0u, since().records);
  EXPECT_EQ(0u, since().bytes);
  EXPECT_EQ(0u, since().wrong_releases);
}

TEST_F(HandedOut, the_size_is_that_of_the_whole_list) {
  VSList *list = nullptr;
  ASSERT_STATUS(QEL_OK, VSQEL_GetSwitches(static_cast<VSListType>(VS_LIST_PS), &list));
  EXPECT_EQ(sizeof(VSList) + 2 * 128, since().bytes);
  VSDVS_FreeMemory(list);
  EXPECT_EQ(0u, since().bytes);
}

TEST_F(HandedOut, all_three_calls_release) {
  VSQEL_FreeMemory(new_info());
  VSDVS_FreeMemory(new_info());
  DVSQEL_DataFree(new_info());
  EXPECT_EQ(0u, since().records);
  EXPECT_EQ(0u, since().wrong_releases);
}

TEST_F(HandedOut, a_second_release_is_counted_and_harmless) {
  VSInfo *info = new_info();
  VSQEL_FreeMemory(info);
  VSQEL_FreeMemory(info);
  DVSQEL_DataFree(info);
  EXPECT_EQ(2u, since().wrong_releases);
}

TEST_F(HandedOut, what_was_never_handed_out_is_left_alone) {
  int number = 5;
  VSQEL_FreeMemory(&number);
  auto *own = static_cast<char *>(std::malloc(16));
  VSDVS_FreeMemory(own);
  own[15] = 'x';
  std::free(own);
  EXPECT_EQ(2u, since().wrong_releases);
  EXPECT_EQ(0u, since().records);
}

TEST_F(HandedOut, null_is_no_wrong_release) {
  VSQEL_FreeMemory(nullptr);
  EXPECT_EQ(0u, since().wrong_releases);
}

TEST_F(HandedOut, an_address_that_comes_back_stands_for_the_new_record) {
  void *record = std::calloc(1, 64);
  hand_out(record, 10);
  // The script released it with the system's free, and the allocator gave the address to another call.
  hand_out(record, 4);
  EXPECT_EQ(1u, since().records);
  EXPECT_EQ(4u, since().bytes);
  VSQEL_FreeMemory(record);
  EXPECT_EQ(0u, since().records);
  EXPECT_EQ(0u, since().bytes);
  EXPECT_EQ(0u, since().wrong_releases);
}

TEST_F(HandedOut, a_child_may_release_what_its_parent_was_handed) {
  VSInfo *info = new_info();
  EXPECT_EQ(0, in_child([&] {
              std::size_t const wrong = memory_counts().wrong_releases;
              VSQEL_FreeMemory(info);
              return memory_counts().wrong_releases == wrong ? 0 : 1;
            }));
  EXPECT_EQ(1u, since().records);
  VSQEL_FreeMemory(info);
}

TEST_F(HandedOut, a_call_that_fails_hands_out_nothing) {
  VSInfo *info = nullptr;
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetSwitchInfo("none", &info));
  EXPECT_EQ(0u, since().records);
}

}  // namespace handed_out_test
