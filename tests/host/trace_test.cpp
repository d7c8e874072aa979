// The trace: a line for each call, and what was never released.
#include "platform/core/trace.hpp"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>
#include <vector>

#include "declared_functions.hpp"
#include "host_test.hpp"
#include "platform/core/faults.hpp"

namespace trace_test {

using Json = nlohmann::json;

class Trace : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    close_host();
    setenv("VSWITCH_HOST_TRACE", trace_file().c_str(), 1);
  }

  void TearDown() override {
    unsetenv("VSWITCH_HOST_TRACE");
    HostTest::TearDown();
  }

  std::filesystem::path trace_file() const { return folder / "trace"; }

  std::vector<Json> lines() const {
    std::vector<Json> result;
    std::istringstream text(read_file(trace_file()));
    for (std::string line; std::getline(text, line);)
      result.push_back(Json::parse(line));
    return result;
  }

  // Of this process.
  std::ptrdiff_t open_descriptors() const {
    std::filesystem::directory_iterator const all("/proc/self/fd");
    return std::count_if(begin(all), end(all), [&](auto const &one) {
      std::error_code gone;
      return read_symlink(one.path(), gone) == trace_file();
    });
  }

  Json last_line() const {
    std::vector<Json> const all = lines();
    return all.empty() ? Json() : all.back();
  }
};

TEST_F(Trace, a_call_is_one_line) {
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("management", 2000));
  ASSERT_EQ(1u, lines().size());
  Json const line = last_line();
  EXPECT_EQ("VSDVS_SetMTU", line["call"]);
  EXPECT_EQ((Json{{"alias", "management"}, {"mtu", 2000}}), line["arguments"]);
  EXPECT_EQ("QEL_OK", line["status"]);
  EXPECT_EQ(0, line["number"]);
  EXPECT_EQ(getpid(), line["pid"]);
  EXPECT_EQ(0, line["bytes"]);
  EXPECT_GE(line["microseconds"].get<int>(), 0);
}

TEST_F(Trace, a_refusal_has_its_status) {
  ASSERT_STATUS(QEL_NOT_FOUND, VSDVS_SetMTU("none", 2000));
  EXPECT_EQ("QEL_NOT_FOUND", last_line()["status"]);
  EXPECT_EQ(static_cast<int>(QEL_NOT_FOUND), last_line()["number"]);
}

TEST_F(Trace, arguments_keep_their_names_and_order) {
  ASSERT_STATUS(QEL_OK, create_switch("edge", 5));
  Json const arguments = last_line()["arguments"];
  EXPECT_EQ("edge", arguments["alias"]);
  EXPECT_EQ("id of edge", arguments["switch_id"]);
  EXPECT_EQ(5, arguments["max_ports"]);
  EXPECT_EQ(1, arguments["persistent"]);
  std::string const text = read_file(trace_file());
  EXPECT_LT(text.find("\"alias\""), text.find("\"switch_id\""));
}

TEST_F(Trace, null_and_outputs_are_no_texts) {
  EXPECT_STATUS(QEL_BAD_PARAM, DVSAliasToSwitchId(nullptr, nullptr));
  EXPECT_EQ(nullptr, last_line()["arguments"]["alias"]);
  char id[64];
  ASSERT_STATUS(QEL_OK, DVSAliasToSwitchId("management", id));
  EXPECT_EQ(0u, last_line()["arguments"]["switch_id"].get<std::string>().find("0x"));
}

TEST_F(Trace, texts_that_are_not_utf_8_or_very_long_are_still_json) {
  std::string const text = "\xff\"\n" + std::string(5000, 'x');
  EXPECT_STATUS(QEL_NAME_TOO_LONG, VSDVS_SetMTU(text.c_str(), 1500));
  ASSERT_EQ(1u, lines().size());
  EXPECT_LT(last_line()["arguments"]["alias"].get<std::string>().size(), 300u);
}

TEST_F(Trace, records_are_paired_with_their_release) {
  VSInfo *info = nullptr;
  ASSERT_STATUS(QEL_OK, VSQEL_GetSwitchInfo("management", &info));
  EXPECT_EQ(sizeof(VSInfo), last_line()["bytes"].get<std::size_t>());
  VSQEL_FreeMemory(info);
  EXPECT_EQ("VSQEL_FreeMemory", last_line()["call"]);
  EXPECT_EQ(true, last_line()["released"]);
  EXPECT_EQ(sizeof(VSInfo), last_line()["bytes"].get<std::size_t>());
  VSDVS_FreeMemory(info);
  EXPECT_EQ("VSDVS_FreeMemory", last_line()["call"]);
  EXPECT_EQ(false, last_line()["released"]);
}

TEST_F(Trace, an_abort_has_its_exception) {
  write_file(state_file(), std::string(5000, 'x'));
  testing::internal::CaptureStderr();
  EXPECT_STATUS(QEL_METADATA_READ_ERROR, VSDVS_SetMTU("management", 1500));
  testing::internal::GetCapturedStderr();
  EXPECT_EQ("OSError", last_line()["exception"]);
  EXPECT_NE(std::string::npos, last_line()["message"].get<std::string>().find("damaged"));
}

TEST_F(Trace, what_was_never_released_is_listed_at_the_end) {
  EXPECT_EQ(0, in_child([] {
              VSInfo *kept = nullptr;
              VSInfo *released = nullptr;
              int const status = VSQEL_GetSwitchInfo("management", &kept) | VSQEL_GetSwitchInfo("workload", &released);
              VSQEL_FreeMemory(released);
              exit(status == QEL_OK ? 0 : 1);
              return 2;
            }));
  std::vector<Json> unreleased;
  for (Json const &line : lines()) {
    if (line.contains("never_released"))
      unreleased.push_back(line);
  }
  ASSERT_EQ(1u, unreleased.size());
  EXPECT_EQ("VSQEL_GetSwitchInfo", unreleased[0]["never_released"]);
  EXPECT_EQ(sizeof(VSInfo), unreleased[0]["bytes"].get<std::size_t>());
}

TEST_F(Trace, the_file_is_private_and_is_appended_to) {
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("management", 1500));
  close_host();
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("management", 1500));
  EXPECT_EQ(2u, lines().size());
  struct stat state;
  ASSERT_EQ(0, stat(trace_file().c_str(), &state));
  EXPECT_EQ(0600u, state.st_mode & 0777u);
}

TEST_F(Trace, the_file_is_closed_with_the_host) {
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("management", 1500));
  EXPECT_EQ(1, open_descriptors());
  close_host();
  EXPECT_EQ(0, open_descriptors());
}

TEST_F(Trace, a_symbolic_link_is_not_followed) {
  std::filesystem::create_symlink(folder / "elsewhere", trace_file());
  testing::internal::CaptureStderr();
  EXPECT_STATUS(QEL_OK, VSDVS_SetMTU("management", 1500));
  EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("cannot open the trace"));
  EXPECT_FALSE(std::filesystem::exists(folder / "elsewhere"));
}

TEST_F(Trace, without_the_variable_there_is_none) {
  unsetenv("VSWITCH_HOST_TRACE");
  EXPECT_STATUS(QEL_OK, VSDVS_SetMTU("management", 1500));
  EXPECT_FALSE(std::filesystem::exists(trace_file()));
}

// Every function, with nothing in its arguments, under a rule that lets none of them do anything: each must call
// itself by its own name, which is what rules for it look for.
TEST_F(Trace, every_call_has_its_own_name) {
  {
    HostLock lock;
    FaultRule rule;
    add_fault(open_host(), rule);
  }
  // These need no state: the first ones never, the others without a function to call.
  std::set<std::string> const silent{
      "VSQEL_FreeMemory",         "VSDVS_FreeMemory",           "DVSQEL_DataFree",
      "QEL_ReturnStatusToString", "DVSState_SwitchForEach",     "DVSState_PortForEach",
      "DVSState_HostPropForEach", "DVSState_GlobalPropForEach", "DVSState_PortDataForEach"};
  for (std::string const &name :
       declared_functions({"switch_queries.h", "distributed_switch_configuration.h", "distributed_switch_state.h"})) {
    auto *function = reinterpret_cast<long (*)(long, long, long, long, long, long, long, long, long, long)>(
        dlsym(RTLD_DEFAULT, name.c_str()));
    ASSERT_NE(nullptr, function) << name;
    std::size_t const before = lines().size();
    function(0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    std::vector<Json> const after = lines();
    if (silent.count(name)) {
      EXPECT_EQ(before, after.size()) << name;
    } else if (after.size() != before + 1) {
      ADD_FAILURE() << name << " wrote " << after.size() - before << " lines";
    } else {
      EXPECT_EQ(name, after.back()["call"]);
    }
  }
}

}  // namespace trace_test
