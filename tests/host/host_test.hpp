// What the tests of the host share: a host of their own, statuses by name, child processes.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>

#include "interface/distributed_switch_configuration.h"
#include "interface/distributed_switch_state.h"
#include "interface/switch_queries.h"
#include "platform/core/boot.hpp"
#include "platform/core/constants.hpp"
#include "platform/core/host.hpp"

using namespace host;

// Statuses are compared by name, so that a failure can be read.
inline std::string status_text(int status) {
  char const *name = QEL_ReturnStatusToString(static_cast<QEL_ReturnStatus>(status));
  return name ? name : "no status: " + std::to_string(status);
}

#define EXPECT_STATUS(expected, call) EXPECT_EQ(status_text(expected), status_text(call))
#define ASSERT_STATUS(expected, call) ASSERT_EQ(status_text(expected), status_text(call))

// Memory that a call returned. Before the call the pointer is no pointer, so that a call that leaves it alone shows.
template <typename Record>
struct Returned {
  Record *record = nullptr;
  Returned() = default;
  Returned(Returned const &) = delete;
  Returned &operator=(Returned const &) = delete;
  ~Returned() { release(); }
  Record **operator&() {
    release();
    record = untouched();
    return &record;
  }
  Record *operator->() const { return record; }

 private:
  static Record *untouched() { return reinterpret_cast<Record *>(0x10); }
  void release() {
    EXPECT_NE(untouched(), record);
    if (record != untouched())
      VSQEL_FreeMemory(record);
  }
};

inline std::string read_file(std::filesystem::path const &path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

inline void write_file(std::filesystem::path const &path, std::string const &content) {
  std::ofstream(path, std::ios::binary) << content;
}

// Runs the body in a child process; the result is the body's, or -1 when the child did not end by itself.
inline int in_child(std::function<int()> const &body) {
  pid_t const child = fork();
  if (child == 0)
    _exit(body());
  int state = 0;
  waitpid(child, &state, 0);
  return WIFEXITED(state) ? WEXITSTATUS(state) : -1;
}

// Each test has a fresh host in a folder of its own.
class HostTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "vswitch-host-XXXXXX").string();
    ASSERT_NE(nullptr, mkdtemp(pattern.data()));
    folder = pattern;
    unsetenv("VSWITCH_HOST_INIT");
    use_host(state_file());
  }

  void TearDown() override {
    close_host();
    std::filesystem::remove_all(folder);
  }

  std::filesystem::path state_file() const { return folder / "host.db"; }

  void use_host(std::string const &path) {
    close_host();
    setenv("VSWITCH_HOST", path.c_str(), 1);
  }

  // A fresh host from a description of its own.
  void boot_from(std::string const &description) {
    write_file(folder / "init.json", description);
    setenv("VSWITCH_HOST_INIT", (folder / "init.json").c_str(), 1);
    close_host();
    std::filesystem::remove(state_file());
  }

  static int create_switch(char const *alias, qel_uint32 max_ports = 0) {
    return VSDVS_CreateVSwitch(alias, (std::string("id of ") + alias).c_str(), "", max_ports, 1, 0, 0, 0);
  }

  static qel_uint32 mtu_of(char const *alias) {
    qel_uint32 mtu = 0;
    EXPECT_STATUS(QEL_OK, VSDVS_GetMTU(alias, &mtu));
    return mtu;
  }

  static qel_SwitchPortID port_number(char const *alias, char const *dvport_id) {
    qel_SwitchPortID number = 0;
    EXPECT_STATUS(QEL_OK, VSDVS_DvPortIDToPortID(alias, dvport_id, &number));
    return number;
  }

  std::filesystem::path folder;
};
