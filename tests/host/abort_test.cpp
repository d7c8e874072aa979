// Calls that the host aborts: they come back through the module's jump buffer. Built twice: with the module's
// variables in the program, and in a library that is loaded after the host's.
#include <dlfcn.h>

#include <csetjmp>

#include "host_test.hpp"
#include "platform/core/faults.hpp"

namespace {

// The variables of the stand-in for the module, wherever it is.
struct Module {
  jmp_buf *buffer;
  void **type;
  char const **message;
};

Module const &module() {
  static Module const found = [] {
#ifdef MODULE_STAND_IN
    void *library = dlopen(MODULE_STAND_IN, RTLD_NOW | RTLD_GLOBAL);
#else
    void *library = RTLD_DEFAULT;
#endif
    return Module{static_cast<jmp_buf *>(dlsym(library, "exception_buffer")),
                  static_cast<void **>(dlsym(library, "exceptionType")),
                  static_cast<char const **>(dlsym(library, "exceptionMsg"))};
  }();
  return found;
}

struct Call {
  bool aborted;
  int status;
};

// No object with a destructor lives here: the jump comes through.
Call bridged(int (*call)()) {
  if (setjmp(*module().buffer) != 0)
    return {true, 0};
  return {false, call()};
}

int set_mtu() {
  return VSDVS_SetMTU("management", 1500);
}
int unknown_switch() {
  return VSDVS_SetMTU("none", 1500);
}
int port_exists() {
  return DVPortExist("management", "1");
}

char const *type() {
  return static_cast<char const *>(*module().type);
}

}  // namespace

class Aborts : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    ASSERT_NE(nullptr, module().buffer);
    ASSERT_NE(nullptr, module().type);
    ASSERT_NE(nullptr, module().message);
    *module().type = nullptr;
    *module().message = nullptr;
    std::memset(*module().buffer, 0, sizeof(jmp_buf));
  }
};

TEST_F(Aborts, a_status_is_no_abort) {
  Call const call = bridged(unknown_switch);
  EXPECT_FALSE(call.aborted);
  EXPECT_STATUS(QEL_NOT_FOUND, call.status);
  EXPECT_EQ(nullptr, *module().type);
}

TEST_F(Aborts, a_damaged_file_raises_os_error) {
  write_file(state_file(), std::string(5000, 'x'));
  EXPECT_TRUE(bridged(set_mtu).aborted);
  EXPECT_STREQ("OSError", type());
  EXPECT_EQ(0u, std::string(*module().message).find(state_file().string() + ": "));
  EXPECT_NE(nullptr, std::strstr(*module().message, "damaged"));
}

TEST_F(Aborts, a_bad_description_raises_runtime_error) {
  boot_from("{}");
  EXPECT_TRUE(bridged(set_mtu).aborted);
  EXPECT_STREQ("RuntimeError", type());
  EXPECT_NE(nullptr, std::strstr(*module().message, "init.json: format: is missing"));
}

TEST_F(Aborts, a_fault_on_demand_raises_what_its_rule_says) {
  for (auto const &[exception_class, name] :
       {std::pair{ExceptionClass::value_error, "ValueError"}, std::pair{ExceptionClass::memory_error, "MemoryError"}}) {
    {
      HostLock lock;
      FaultRule rule;
      rule.kind = FaultKind::abort;
      rule.call = "VSDVS_SetMTU";
      rule.times = 1;
      rule.exception_class = exception_class;
      rule.message = "gone";
      add_fault(open_host(), rule);
    }
    EXPECT_TRUE(bridged(set_mtu).aborted);
    EXPECT_STREQ(name, type());
    EXPECT_STREQ("gone", *module().message);
    EXPECT_FALSE(bridged(set_mtu).aborted);
  }
}

TEST_F(Aborts, calls_of_both_libraries_abort) {
  write_file(state_file(), std::string(5000, 'x'));
  EXPECT_TRUE(bridged(port_exists).aborted);
}

TEST_F(Aborts, the_next_call_works) {
  boot_from("{}");
  EXPECT_TRUE(bridged(set_mtu).aborted);
  unsetenv("VSWITCH_HOST_INIT");
  Call const call = bridged(set_mtu);
  EXPECT_FALSE(call.aborted);
  EXPECT_STATUS(QEL_OK, call.status);
}

TEST_F(Aborts, the_message_stays_after_further_calls) {
  boot_from("{}");
  EXPECT_TRUE(bridged(set_mtu).aborted);
  std::string const message = *module().message;
  unsetenv("VSWITCH_HOST_INIT");
  EXPECT_FALSE(bridged(set_mtu).aborted);
  EXPECT_EQ(message, *module().message);
}

TEST_F(Aborts, a_buffer_that_was_never_armed_is_not_used) {
  write_file(state_file(), std::string(5000, 'x'));
  testing::internal::CaptureStderr();
  EXPECT_STATUS(QEL_METADATA_READ_ERROR, set_mtu());
  EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("damaged"));
  EXPECT_EQ(nullptr, *module().type);
}
