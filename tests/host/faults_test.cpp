// Faults on demand: rules that make calls fail, abort or answer late.
#include "platform/core/faults.hpp"

#include <algorithm>
#include <chrono>

#include "host_test.hpp"

namespace faults_test {

std::int64_t add_rule(FaultRule const &rule) {
  HostLock lock;
  Database &database = open_host();
  Transaction transaction(database, true);
  std::int64_t const number = add_fault(database, rule);
  transaction.commit();
  return number;
}

FaultRule only_rule() {
  HostLock lock;
  std::vector<FaultRule> const rules = load_faults(open_host());
  EXPECT_EQ(1u, rules.size());
  return rules.empty() ? FaultRule() : rules.front();
}

FaultRule failing(std::string call, Status status = QEL_BUSY) {
  FaultRule rule;
  rule.call = std::move(call);
  rule.status = status;
  return rule;
}

int set_mtu(qel_uint32 mtu = 2000) {
  return VSDVS_SetMTU("management", mtu);
}

int get_mtu() {
  qel_uint32 mtu;
  return VSDVS_GetMTU("management", &mtu);
}

class Faults : public HostTest {
 protected:
  // Which of so many calls a rule with this seed meets: a letter for each.
  static std::string met_with_seed(std::uint64_t seed) {
    FaultRule rule = failing("VSDVS_SetMTU");
    rule.in_million = 500000;
    rule.generator = seed;
    std::int64_t const number = add_rule(rule);
    std::string met;
    for (int i = 0; i < 64; ++i)
      met += set_mtu() == QEL_OK ? '.' : 'x';
    HostLock lock;
    clear_fault(open_host(), number);
    return met;
  }
};

TEST_F(Faults, fail_does_nothing_and_reports_the_status) {
  add_rule(failing("VSDVS_SetMTU", QEL_NO_RESOURCES));
  EXPECT_STATUS(QEL_NO_RESOURCES, set_mtu());
  EXPECT_EQ(1500u, mtu_of("management"));
  EXPECT_EQ(1, only_rule().met);
}

TEST_F(Faults, fail_after_does_the_work) {
  FaultRule rule = failing("VSDVS_SetMTU");
  rule.kind = FaultKind::fail_after;
  add_rule(rule);
  EXPECT_STATUS(QEL_BUSY, set_mtu(2000));
  EXPECT_EQ(2000u, mtu_of("management"));
  EXPECT_EQ(0, in_child([] { return mtu_of("management") == 2000 ? 0 : 1; })) << "it is committed";
}

TEST_F(Faults, fail_after_keeps_a_refusal_of_the_call_itself) {
  FaultRule rule = failing("VSDVS_SetMTU");
  rule.kind = FaultKind::fail_after;
  add_rule(rule);
  EXPECT_STATUS(QEL_BAD_PARAM, set_mtu(64));
}

TEST_F(Faults, outputs_of_a_call_that_reads_stay_empty) {
  for (FaultKind const kind : {FaultKind::fail, FaultKind::fail_after}) {
    FaultRule rule = failing("VSQEL_GetSwitchInfo");
    rule.kind = kind;
    rule.times = 1;
    add_rule(rule);
    Returned<VSInfo> info;
    EXPECT_STATUS(QEL_BUSY, VSQEL_GetSwitchInfo("management", &info));
    EXPECT_EQ(nullptr, info.record);
  }
}

TEST_F(Faults, other_calls_are_not_met) {
  add_rule(failing("VSDVS_SetMTU"));
  EXPECT_STATUS(QEL_OK, get_mtu());
  EXPECT_STATUS(QEL_OK, create_switch("edge"));
}

TEST_F(Faults, a_rule_without_a_name_meets_every_call) {
  add_rule(failing(""));
  EXPECT_STATUS(QEL_BUSY, set_mtu());
  EXPECT_STATUS(QEL_BUSY, get_mtu());
  EXPECT_STATUS(QEL_BUSY, DVSQEL_PortFind("management", "1"));
  EXPECT_STATUS(QEL_OK, boot()) << "what is no call is not met";
}

TEST_F(Faults, wrong_arguments_do_not_hide_a_call_from_its_rule) {
  add_rule(failing(""));
  EXPECT_STATUS(QEL_BUSY, VSDVS_SetMTU(nullptr, 0));
  EXPECT_STATUS(QEL_BUSY, VSDVS_GetMTU(nullptr, nullptr));
}

TEST_F(Faults, the_first_calls_may_pass) {
  FaultRule rule = failing("");
  rule.skip = 2;
  rule.times = 1;
  add_rule(rule);
  EXPECT_STATUS(QEL_OK, set_mtu());
  EXPECT_STATUS(QEL_OK, get_mtu());
  EXPECT_STATUS(QEL_BUSY, get_mtu());
  EXPECT_STATUS(QEL_OK, get_mtu());
  EXPECT_EQ(1, only_rule().met);
}

TEST_F(Faults, a_refused_call_counts) {
  FaultRule rule = failing("VSDVS_SetMTU");
  rule.skip = 1;
  add_rule(rule);
  EXPECT_STATUS(QEL_BAD_PARAM, set_mtu(64));
  EXPECT_STATUS(QEL_BUSY, set_mtu());
}

TEST_F(Faults, chance_follows_the_seed) {
  std::string const first = met_with_seed(7);
  EXPECT_EQ(first, met_with_seed(7));
  EXPECT_NE(first, met_with_seed(8));
  auto const met = std::count(first.begin(), first.end(), 'x');
  EXPECT_GT(met, 16);
  EXPECT_LT(met, 48);
}

TEST_F(Faults, chance_goes_on_in_another_process) {
  std::string const all = met_with_seed(7);
  FaultRule rule = failing("VSDVS_SetMTU");
  rule.in_million = 500000;
  rule.generator = 7;
  add_rule(rule);
  for (std::size_t i = 0; i < 16; ++i) {
    EXPECT_EQ(all[i] == 'x' ? 1 : 0, in_child([] { return set_mtu() == QEL_OK ? 0 : 1; })) << i;
  }
}

TEST_F(Faults, of_another_process_meet_the_next_call) {
  ASSERT_STATUS(QEL_OK, get_mtu());
  ASSERT_EQ(0, in_child([] { return add_rule(failing("VSDVS_GetMTU")) > 0 ? 0 : 1; }));
  EXPECT_STATUS(QEL_BUSY, get_mtu());
  ASSERT_EQ(0, in_child([] {
              HostLock lock;
              clear_all_faults(open_host());
              return 0;
            }));
  EXPECT_STATUS(QEL_OK, get_mtu());
}

TEST_F(Faults, a_write_of_its_own_does_not_hide_a_rule) {
  ASSERT_STATUS(QEL_OK, set_mtu());
  ASSERT_EQ(0, in_child([] { return add_rule(failing("")) > 0 ? 0 : 1; }));
  EXPECT_STATUS(QEL_BUSY, set_mtu());
}

TEST_F(Faults, a_delay_answers_late_and_works) {
  FaultRule rule;
  rule.kind = FaultKind::delay;
  rule.milliseconds = 50;
  rule.times = 1;
  add_rule(rule);
  auto const start = std::chrono::steady_clock::now();
  EXPECT_STATUS(QEL_OK, set_mtu(2000));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
  EXPECT_EQ(2000u, mtu_of("management"));
}

TEST_F(Faults, an_abort_without_a_module_reports_its_status) {
  FaultRule rule = failing("VSDVS_SetMTU", QEL_NO_MEMORY);
  rule.kind = FaultKind::abort;
  rule.message = "the platform is gone";
  add_rule(rule);
  testing::internal::CaptureStderr();
  EXPECT_STATUS(QEL_NO_MEMORY, set_mtu());
  EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("the platform is gone"));
}

TEST_F(Faults, of_several_rules_the_first_decides_and_delays_add_up) {
  add_rule(failing("VSDVS_SetMTU", QEL_BUSY));
  add_rule(failing("", QEL_TIMEOUT));
  EXPECT_STATUS(QEL_BUSY, set_mtu());
  EXPECT_STATUS(QEL_TIMEOUT, get_mtu());
}

TEST_F(Faults, a_boot_leaves_the_rules) {
  add_rule(failing("VSDVS_SetMTU"));
  ASSERT_STATUS(QEL_OK, boot());
  EXPECT_STATUS(QEL_BUSY, set_mtu());
}

TEST_F(Faults, rules_that_say_nothing_are_refused) {
  FaultRule success = failing("", QEL_OK);
  FaultRule no_delay;
  no_delay.kind = FaultKind::delay;
  FaultRule long_delay = no_delay;
  long_delay.milliseconds = longest_delay + 1;
  FaultRule never = failing("");
  never.in_million = 0;
  FaultRule no_times = failing("");
  no_times.times = 0;
  for (FaultRule const &rule : {success, failing("", 12345), no_delay, long_delay, never, no_times}) {
    try {
      add_rule(rule);
      ADD_FAILURE() << "was added";
    } catch (Refusal const &refusal) {
      EXPECT_STATUS(QEL_BAD_PARAM, refusal.status());
    }
  }
}

}  // namespace faults_test
