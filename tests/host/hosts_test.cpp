// Several hosts in one process: which one calls go to, what handles are good for, what a fork does to them.
#include "host_test.hpp"

namespace hosts_test {

constexpr char one_switch[] = R"({"format": 1, "switches": [{"alias": "only", "switch_id": "i", "mtu": 3000}]})";

bool has_switch(char const *alias) {
  qel_uint32 mtu = 0;
  return VSDVS_GetMTU(alias, &mtu) == QEL_OK;
}

class Hosts : public HostTest {
 protected:
  // Leaves it at the end of a block.
  class Use {
   public:
    explicit Use(std::shared_ptr<Host> const &host) : host_(host) { host::use_host(host); }
    Use(Use const &) = delete;
    Use &operator=(Use const &) = delete;
    ~Use() { EXPECT_TRUE(leave_host(*host_)); }

   private:
    std::shared_ptr<Host> host_;
  };

  std::shared_ptr<Host> memory_ = std::make_shared<Host>(memory_host, one_switch);
};

TEST_F(Hosts, calls_go_to_the_one_in_use_and_uses_nest) {
  auto const other = std::make_shared<Host>((folder / "other.db").string());
  EXPECT_TRUE(has_switch("management"));
  {
    Use const outer(memory_);
    EXPECT_EQ(3000u, mtu_of("only"));
    EXPECT_FALSE(has_switch("management"));
    {
      Use const inner(other);
      EXPECT_TRUE(has_switch("management"));
      ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("management", 2500));
    }
    EXPECT_FALSE(has_switch("management"));
    EXPECT_EQ(3000u, mtu_of("only"));
  }
  EXPECT_EQ(1500u, mtu_of("management"));
  EXPECT_FALSE(leave_host(*other));
  Use const again(other);
  EXPECT_EQ(2500u, mtu_of("management"));
}

TEST_F(Hosts, one_that_is_in_use_stays_until_it_is_left) {
  host::use_host(memory_);
  Host const &host = *memory_;
  std::weak_ptr<Host> const watched = memory_;
  memory_.reset();
  EXPECT_EQ(3000u, mtu_of("only"));
  EXPECT_TRUE(leave_host(host));
  EXPECT_TRUE(watched.expired());
  EXPECT_TRUE(has_switch("management"));
}

TEST_F(Hosts, handles_of_one_are_stale_for_another) {
  DVSwitchHandle const here = DVSState_SwitchFindByAlias("management");
  ASSERT_NE(nullptr, here);
  {
    Use const use(memory_);
    EXPECT_EQ(nullptr, DVS_SwitchName(here));
    DVSwitchHandle const there = DVSState_SwitchFindByAlias("only");
    EXPECT_NE(here, there);
    EXPECT_STREQ("only", DVS_SwitchName(there));
  }
  EXPECT_STREQ("management", DVS_SwitchName(here));
}

TEST_F(Hosts, a_child_has_its_own_copy_of_a_memory_host_and_the_same_file) {
  auto const file = std::make_shared<Host>((folder / "other.db").string());
  {
    Use const use(file);
    ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("management", 2000));
  }
  Use const use(memory_);
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("only", 4000));
  ASSERT_EQ(0, in_child([&] {
              if (mtu_of("only") != 4000 || VSDVS_SetMTU("only", 5000) != QEL_OK)
                return 1;
              Use const inner(file);
              return mtu_of("management") == 2000 ? VSDVS_SetMTU("management", 2600) : 2;
            }));
  EXPECT_EQ(4000u, mtu_of("only"));
  Use const inner(file);
  EXPECT_EQ(2600u, mtu_of("management"));
}

TEST_F(Hosts, a_walk_ends_where_another_host_is_in_use) {
  struct Context {
    std::shared_ptr<Host> host;
    int calls = 0;
  } context{memory_};
  DVSState_SwitchForEach(
      [](DVSwitchHandle, void *pointer) {
        auto &seen = *static_cast<Context *>(pointer);
        ++seen.calls;
        host::use_host(seen.host);
        return 0;
      },
      &context);
  EXPECT_EQ(1, context.calls);
  EXPECT_TRUE(leave_host(*memory_));
}

}  // namespace hosts_test
