// Calls without memory: whichever allocation fails, the status says so, the state stays, and nothing is left allocated.
#include <cstdlib>
#include <new>
#include <vector>

#include "host_test.hpp"
#include "platform/core/handed_out.hpp"

namespace {

// What the libraries allocate with `new` comes by here. While `failing`, those numbered `first` to `last` fail.
bool failing = false;
long requests = 0;
long first = 0;
long last = 0;
long in_use = 0;

constexpr long without_end = 1L << 40;

}  // namespace

void *operator new(std::size_t size) {
  if (failing && ++requests >= first && requests <= last)
    throw std::bad_alloc();
  void *const memory = std::malloc(size);
  if (!memory)
    throw std::bad_alloc();
  ++in_use;
  return memory;
}

void *operator new(std::size_t size, std::nothrow_t const &) noexcept {
  try {
    return operator new(size);
  } catch (std::bad_alloc const &) {
    return nullptr;
  }
}

void operator delete(void *memory) noexcept {
  in_use -= memory ? 1 : 0;
  std::free(memory);
}

void operator delete(void *memory, std::size_t) noexcept {
  operator delete(memory);
}

namespace {

std::string image_of_state() {
  void *image = nullptr;
  int length = 0;
  EXPECT_STATUS(QEL_OK, DVSQEL_StateGet(&image, &length));
  std::string bytes(static_cast<char const *>(image), static_cast<std::size_t>(length));
  DVSQEL_DataFree(image);
  return bytes;
}

// Allocations that fail, from here to end().
class Failure {
 public:
  Failure(long number, long span) {
    testing::internal::CaptureStderr();
    first = number;
    last = number + span - 1;
    requests = 0;
    failing = true;
  }

  // Whether a call was aborted, as a program without the module sees it.
  bool end() const {
    failing = false;
    return testing::internal::GetCapturedStderr() == "vswitch host: the host has no memory left\n";
  }

  bool was_reached() const { return requests >= first; }
};

class NoMemory : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    for (char const *name : {"one", "two", "three"}) {
      ASSERT_STATUS(QEL_OK, VSDVS_SetPortProp("workload", "100", name, "a value of its own", 18, "vendor", 1));
      ASSERT_STATUS(QEL_OK, VSDVS_SetGlobProp("workload", name, "a value of its own", 18, "vendor", 1));
    }
  }

  // Makes the call with one allocation failing, the next, and so on until none is left to fail; then with memory gone
  // from each on. `call` gives its status and clears up what it has got.
  template <typename Call>
  void expect_no_trace(Call &&call) {
    ASSERT_STATUS(QEL_OK, call());
    std::string const state = image_of_state();
    for (long const span : {1L, without_end}) {
      long number = 1;
      while (fails(number, span, call, state))
        ++number;
      EXPECT_LT(1, number);
    }
  }

 private:
  // Whether there was an allocation of that number.
  template <typename Call>
  bool fails(long number, long span, Call &&call, std::string const &state) {
    // What is allocated by the first time is kept: prepared statements.
    bool const was_reached = attempt(number, span, call, state);
    // So is what a second that has passed meanwhile asks for; what is lost is lost each time.
    long before = 0;
    for (int repetition = 0; repetition < 3 && before != in_use; ++repetition) {
      before = in_use;
      attempt(number, span, call, state);
    }
    EXPECT_EQ(before, in_use) << number;
    return was_reached && !HasFailure();
  }

  template <typename Call>
  bool attempt(long number, long span, Call &&call, std::string const &state) {
    std::size_t const records = memory_counts().records;
    Failure const failure(number, span);
    int const status = call();
    // A call without a status tells only as an abort does.
    bool const was_told = failure.end() || status != QEL_OK;
    bool const was_reached = failure.was_reached();
    EXPECT_EQ(was_reached, was_told) << number;
    if (status != QEL_OK) {
      EXPECT_STATUS(QEL_NO_MEMORY, status) << number;
    }
    EXPECT_EQ(records, memory_counts().records) << number;
    EXPECT_EQ(state, image_of_state()) << number;
    EXPECT_STATUS(QEL_OK, call()) << number;
    return was_reached;
  }
};

TEST_F(NoMemory, of_two_records_neither_is_handed_out) {
  expect_no_trace([] {
    VSUplinkPorts *names = nullptr;
    VSUplinkPortIds *ids = nullptr;
    int const status = VSDVS_GetSwitchUplinkPorts("workload", &names, &ids);
    EXPECT_EQ(status == QEL_OK, names != nullptr);
    EXPECT_EQ(status == QEL_OK, ids != nullptr);
    VSQEL_FreeMemory(names);
    VSQEL_FreeMemory(ids);
    return status;
  });
}

template <typename Length, typename Call>
int with_image(Call &&call) {
  void *image = nullptr;
  Length length = 0;
  int const status = call(&image, &length);
  EXPECT_EQ(status == QEL_OK, image != nullptr);
  EXPECT_EQ(status == QEL_OK, length != 0);
  DVSQEL_DataFree(image);
  return status;
}

TEST_F(NoMemory, there_are_no_images_of_the_state) {
  expect_no_trace([] { return with_image<int>(DVSQEL_StateGet); });
  expect_no_trace([] { return with_image<int>(DVSQEL_PersistentStateGet); });
}

TEST_F(NoMemory, there_are_no_images_of_ports) {
  expect_no_trace(
      [] { return with_image<int>([](auto... out) { return DVSQEL_PortStateGet("workload", "100", out...); }); });
  expect_no_trace([] {
    return with_image<int>(
        [](auto... out) { return DVSQEL_PersistentPortStateGet("workload", "100", HNQVersion{}, out...); });
  });
}

TEST_F(NoMemory, no_image_is_read) {
  std::string image = image_of_state();
  expect_no_trace([&] { return DVSQEL_StateInit(image.data(), static_cast<int>(image.size())); });
}

TEST_F(NoMemory, there_are_no_lists) {
  expect_no_trace([] {
    DVSDataHandle list = nullptr;
    int const status = DVSQEL_VendorPortPropList("workload", "100", &list, 0);
    EXPECT_EQ(status == QEL_OK, list != nullptr);
    if (list)
      DVSData_Free(list);
    return status;
  });
}

TEST_F(NoMemory, lists_stay_as_they_are) {
  DVSDataHandle list = nullptr;
  ASSERT_STATUS(QEL_OK, DVSData_Alloc(&list, nullptr, nullptr));
  char value[] = "a value";
  ASSERT_STATUS(QEL_OK, DVSData_Update(list, "a name that is longer than others", value, 7, 0));
  expect_no_trace([&] {
    return with_image<qel_uint32>([&](auto... out) { return DVSData_Serialize(list, out..., HNQVersion{}); });
  });
  DVSData_Free(list);
  // A new value needs memory for its name.
  expect_no_trace([&] {
    DVSDataHandle fresh = nullptr;
    int status = DVSData_Alloc(&fresh, nullptr, nullptr);
    if (status == QEL_OK)
      status = DVSData_Update(fresh, "a name that is longer than others", value, 7, 0);
    if (fresh)
      DVSData_Free(fresh);
    return status;
  });
}

int count(void *, void *counted) {
  ++*static_cast<int *>(counted);
  return 0;
}

TEST_F(NoMemory, walks_end) {
  DVSwitchHandle workload = DVSState_SwitchFindByAlias("workload");
  int elements = 0;
  DVSState_PortForEach(workload, count, &elements);
  expect_no_trace([&] {
    int counted = 0;
    DVSState_PortForEach(workload, count, &counted);
    return counted == elements ? QEL_OK : QEL_NO_MEMORY;
  });
  elements = 0;
  DVSState_GlobalPropForEach(workload, count, &elements);
  expect_no_trace([&] {
    int counted = 0;
    DVSState_GlobalPropForEach(workload, count, &counted);
    return counted == elements ? QEL_OK : QEL_NO_MEMORY;
  });
}

// What could not be made is made later.
TEST_F(NoMemory, handles_are_good_or_none) {
  DVSwitchHandle handle = nullptr;
  for (long number = 1; !handle; ++number) {
    DVSQEL_StateCleanup();
    Failure const failure(number, without_end);
    handle = DVSState_SwitchFindByAlias("workload");
    failure.end();
    DVSwitchHandle again = DVSState_SwitchFindByAlias("workload");
    EXPECT_TRUE(!handle || handle == again) << number;
    EXPECT_STREQ("workload", DVS_SwitchName(again)) << number;
  }
}

TEST_F(NoMemory, a_host_boots_later) {
  bool was_reached = true;
  for (long number = 1; was_reached && !HasFailure(); number += 1 + number / 10) {
    use_host(":memory:");
    Failure const failure(number, without_end);
    int const status = VSDVS_SetMTU("management", 1400);
    failure.end();
    was_reached = failure.was_reached();
    EXPECT_STATUS(was_reached ? QEL_NO_MEMORY : QEL_OK, status) << number;
    EXPECT_STATUS(QEL_OK, VSDVS_SetMTU("management", 1600)) << number;
    EXPECT_EQ(1600u, mtu_of("management")) << number;
  }
}

}  // namespace
