// Several processes on one host: sharing, first boot, forks.
#include <sched.h>
#include <sys/syscall.h>

#include <algorithm>
#include <csignal>
#include <vector>

#include "host_test.hpp"

namespace processes_test {

// Runs the body in several processes at once; they start together.
std::vector<int> in_children(int count, std::function<int(int)> const &body) {
  int gate[2];
  EXPECT_EQ(0, pipe(gate));
  std::vector<pid_t> children;
  for (int number = 0; number < count; ++number) {
    pid_t const child = fork();
    if (child == 0) {
      close(gate[1]);
      char byte;
      if (read(gate[0], &byte, 1) != 0)
        _exit(99);  // ends when the parent opens the gate
      _exit(body(number));
    }
    children.push_back(child);
  }
  close(gate[0]);
  close(gate[1]);
  std::vector<int> results;
  for (pid_t child : children) {
    int state = 0;
    waitpid(child, &state, 0);
    results.push_back(WIFEXITED(state) ? WEXITSTATUS(state) : -1);
  }
  return results;
}

// A process that the C library knows nothing of.
int in_raw_copy(std::function<int()> const &body) {
  auto const child = static_cast<pid_t>(syscall(SYS_clone, SIGCHLD, nullptr, nullptr, nullptr, 0));
  if (child == 0)
    _exit(body());
  int state = 0;
  waitpid(child, &state, 0);
  return WIFEXITED(state) ? WEXITSTATUS(state) : -1;
}

class Processes : public HostTest {};

TEST_F(Processes, see_each_other) {
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("management", 2000));
  EXPECT_EQ(0, in_child([] {
              if (mtu_of("management") != 2000)
                return 1;
              return VSDVS_SetMTU("management", 2001) == QEL_OK ? 0 : 2;
            }));
  EXPECT_EQ(2001u, mtu_of("management"));
  EXPECT_EQ(0, in_child([] { return VSDVS_AddDVPort("workload", "from-child", 0) == QEL_OK ? 0 : 1; }));
  EXPECT_EQ(1, DVPortExist("workload", "from-child"));
}

TEST_F(Processes, boot_a_host_once) {
  constexpr int count = 8;
  std::vector<int> const results = in_children(count, [](int number) {
    std::string const port = "p" + std::to_string(number);
    return VSDVS_AddDVPort("management", port.c_str(), 0) == QEL_OK ? 0 : 1;
  });
  EXPECT_EQ(std::vector<int>(count, 0), results);
  for (int number = 0; number < count; ++number) {
    EXPECT_EQ(1, DVPortExist("management", ("p" + std::to_string(number)).c_str()));
  }
  Returned<VSList> list;
  ASSERT_STATUS(QEL_OK, VSQEL_GetSwitches(static_cast<VSListType>(VS_LIST_PS), &list));
  EXPECT_EQ(2, list->count);
}

TEST_F(Processes, lose_no_write) {
  constexpr int count = 4;
  constexpr int ports = 50;
  ASSERT_STATUS(QEL_OK, create_switch("edge", count * ports));
  std::vector<int> const results = in_children(count, [](int number) {
    for (int i = 0; i < ports; ++i) {
      std::string const port = std::to_string(number) + "-" + std::to_string(i);
      if (VSDVS_AddDVPort("edge", port.c_str(), 0) != QEL_OK)
        return 1;
    }
    return 0;
  });
  EXPECT_EQ(std::vector<int>(count, 0), results);
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, VSDVS_AddDVPort("edge", "one-more", 0));
}

TEST_F(Processes, only_one_of_many_makes_a_switch) {
  std::vector<int> const results = in_children(6, [](int number) {
    std::string const id = "id-" + std::to_string(number);
    int const status = VSDVS_CreateVSwitch("edge", id.c_str(), "", 0, 1, 0, 0, 0);
    return status == QEL_OK ? 0 : status == QEL_EXISTS ? 1 : 2;
  });
  EXPECT_EQ(1, std::count(results.begin(), results.end(), 0));
  EXPECT_EQ(5, std::count(results.begin(), results.end(), 1));
}

TEST_F(Processes, a_write_outlives_a_process_that_is_killed) {
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("management", 2000));
  EXPECT_EQ(-1, in_child([] {
    if (VSDVS_SetMTU("management", 2002) == QEL_OK)
      raise(SIGKILL);
    return 1;
  }));
  EXPECT_EQ(2002u, mtu_of("management"));
  close_host();
  EXPECT_EQ(2002u, mtu_of("management"));
}

// A child that used its parent's connection, or believed in its parent's locks, would lose its writes here: the
// parent ends its use of the file while the child goes on.
TEST_F(Processes, a_forked_child_has_its_own_connection) {
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("management", 2000));
  int to_child[2];
  int to_parent[2];
  ASSERT_EQ(0, pipe(to_child));
  ASSERT_EQ(0, pipe(to_parent));
  char byte = 0;
  pid_t const child = fork();
  if (child == 0) {
    if (VSDVS_SetMTU("management", 2003) != QEL_OK)
      _exit(1);
    if (write(to_parent[1], &byte, 1) != 1 || read(to_child[0], &byte, 1) != 1)
      _exit(2);
    if (VSDVS_SetMTU("workload", 2004) != QEL_OK)
      _exit(3);
    _exit(mtu_of("management") == 2005 ? 0 : 4);
  }
  ASSERT_EQ(1, read(to_parent[0], &byte, 1));
  EXPECT_EQ(2003u, mtu_of("management"));
  close_host();
  EXPECT_TRUE(std::filesystem::exists(state_file().string() + "-wal")) << "the child still has the file open";
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("management", 2005));
  close_host();
  ASSERT_EQ(1, write(to_child[1], &byte, 1));
  int state = 0;
  waitpid(child, &state, 0);
  EXPECT_EQ(0, WEXITSTATUS(state));
  EXPECT_EQ(2004u, mtu_of("workload"));
  for (int end : {to_child[0], to_child[1], to_parent[0], to_parent[1]})
    close(end);
}

TEST_F(Processes, a_forked_child_of_a_memory_host_has_a_copy) {
  use_host(":memory:");
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("management", 2000));
  EXPECT_EQ(0, in_child([] {
              if (mtu_of("management") != 2000)
                return 1;
              return VSDVS_SetMTU("management", 2001) == QEL_OK && mtu_of("management") == 2001 ? 0 : 2;
            }));
  EXPECT_EQ(2000u, mtu_of("management"));
}

TEST_F(Processes, a_copy_that_was_not_forked_is_refused) {
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("management", 2000));
  EXPECT_EQ(0, in_raw_copy([] {
              close(STDERR_FILENO);
              return VSDVS_SetMTU("management", 2001) == QEL_INVALID_STATE ? 0 : 1;
            }));
  EXPECT_EQ(2000u, mtu_of("management"));
}

}  // namespace processes_test
