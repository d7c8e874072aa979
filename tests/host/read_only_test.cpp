// State files that can only be read: on a file system that is mounted so, or with permissions that allow no more.
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <functional>
#include <map>

#include "host_test.hpp"
#include "platform/core/faults.hpp"

namespace read_only_test {

constexpr int no_namespaces = 77;  // how a child says that the kernel refuses what the test needs
constexpr uid_t somebody = 12345;

bool write_text(char const *path, std::string const &text) {
  int const file = open(path, O_WRONLY | O_CLOEXEC);
  if (file < 0)
    return false;
  bool const done = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  close(file);
  return done;
}

// Mounts of this process are seen by nobody else from here on. Needs no privilege where user namespaces are allowed.
bool enter_mount_namespace() {
  uid_t const user = geteuid();
  gid_t const group = getegid();
  if (unshare(CLONE_NEWNS) != 0) {
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
      return false;
    static_cast<void>(write_text("/proc/self/setgroups", "deny"));
    if (!write_text("/proc/self/uid_map", "0 " + std::to_string(user) + " 1") ||
        !write_text("/proc/self/gid_map", "0 " + std::to_string(group) + " 1"))
      return false;
  }
  return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

bool remount_read_only(std::filesystem::path const &mounted) {
  return mount(nullptr, mounted.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
}

// Everything in a folder.
std::map<std::string, std::string> files_in(std::filesystem::path const &folder) {
  std::map<std::string, std::string> files;
  for (auto const &entry : std::filesystem::directory_iterator(folder))
    files[entry.path().filename()] = read_file(entry.path());
  return files;
}

// Runs the body in a child, whose failed expectations fail this process's test.
int in_judging_child(std::function<int()> const &body) {
  return in_child([&] {
    int const result = body();
    return testing::Test::HasFailure() ? 1 : result;
  });
}

class ReadOnly : public HostTest {
 protected:
  // A folder on a file system of its own, read-only for as long as `body` runs, with what `prepare` puts into the host
  // there.
  void on_read_only_mount(std::function<void()> const &prepare, std::function<void()> const &body) {
    std::filesystem::path const mounted = folder / "mounted";
    std::filesystem::create_directory(mounted);
    int const result = in_judging_child([&] {
      close_host();
      if (!enter_mount_namespace() || mount("none", mounted.c_str(), "tmpfs", 0, nullptr) != 0)
        return no_namespaces;
      use_host((mounted / "host.db").string());
      prepare();
      auto const before = files_in(mounted);
      if (!remount_read_only(mounted))
        return no_namespaces;
      body();
      close_host();
      EXPECT_TRUE(before == files_in(mounted));  // not to be printed
      return 0;
    });
    if (result == no_namespaces)
      GTEST_SKIP() << "the kernel does not let this process mount file systems, in no namespace of its own either";
    EXPECT_EQ(0, result);
  }

  // A host that was closed cleanly.
  static void make_host() {
    ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("management", 3000));
    close_host();
  }

  static void expect_readable(qel_uint32 mtu = 3000) {
    EXPECT_EQ(mtu, mtu_of("management"));
    VSInfo info;
    EXPECT_STATUS(QEL_OK, VSQEL_GetVSInfo("workload", &info));
    EXPECT_EQ(512u, info.maxPorts);
    EXPECT_STATUS(QEL_OK, DVSQEL_PortFind("workload", "100"));
    Returned<VSMACTable> table;
    EXPECT_STATUS(QEL_OK, VSQEL_GetMACTable("workload", static_cast<VSMACAddrType>(VS_MAC_ADDR_TYPE_ALL), &table));
    EXPECT_EQ(5u, table->numEntries);
    EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetVSInfo("none", &info));
  }

  // One call of each kind that writes. Every one says the same, and nothing has changed.
  static void expect_unwritable() {
    VSMACEntry entry{};
    entry.macAddress[0] = 2;
    VSMACLearningGlobalProps learning{600, 100, 0, 1};
    VSTeamPolicy policy{};
    struct {
      qel_uint32 total = 12;
      qel_uint16 type = VS_RT_OPT_MLD_VERSION;
      qel_uint16 length = 8;
      qel_uint32 value = 1;
    } options;
    EXPECT_STATUS(QEL_READ_ONLY, VSDVS_SetMTU("management", 4000));
    EXPECT_STATUS(QEL_READ_ONLY, create_switch("edge"));
    EXPECT_STATUS(QEL_READ_ONLY, VSDVS_DestroyVSwitch("management"));
    EXPECT_STATUS(QEL_READ_ONLY, VSDVS_AddDVPort("management", "new", 1));
    EXPECT_STATUS(QEL_READ_ONLY, VSDVS_RemoveDVPort("workload", "103"));
    EXPECT_STATUS(QEL_READ_ONLY, VSDVS_AddSwitchUplinkPort("management", "nic3"));
    EXPECT_STATUS(QEL_READ_ONLY,
                  VSQEL_SetUplinkAdminLinkState("workload", "nic1", static_cast<qel_LinkState>(QEL_LINK_STATE_DOWN)));
    EXPECT_STATUS(QEL_READ_ONLY, VSDVS_SetGlobProp("management", "mine", "x", 1, nullptr, 1));
    EXPECT_STATUS(QEL_READ_ONLY, VSDVS_SetHostProp("management", "mine", "x", 1, nullptr, 0));
    EXPECT_STATUS(QEL_READ_ONLY, VSDVS_SetPortProp("workload", "100", "mine", "x", 1, nullptr, 1));
    EXPECT_STATUS(QEL_READ_ONLY, VSDVS_ClearGlobProp("management", VSPROP_MTU, nullptr, 1));
    EXPECT_STATUS(QEL_READ_ONLY, VSDVS_SetTeamingPolicy("management", &policy));
    EXPECT_STATUS(QEL_READ_ONLY, VSQEL_SetPortMACTable("workload", "100", &entry));
    EXPECT_STATUS(QEL_READ_ONLY, VSQEL_SetGlobalMACLearningProps(&learning));
    EXPECT_STATUS(QEL_READ_ONLY, VSQEL_SetRuntimeOptions(reinterpret_cast<VSRuntimeOptions *>(&options)));
    EXPECT_STATUS(QEL_READ_ONLY, DVSQEL_SwitchAdd("edge", "edge-id", 8, static_cast<HNQVersion>(DVS_VERSION_70)));
    EXPECT_STATUS(QEL_READ_ONLY, DVSState_ConfigReset());
    EXPECT_STATUS(QEL_READ_ONLY, boot());
    // The first refusal ends nothing for good.
    expect_readable();
    char value;
    HNQQuery query{1, &value};
    EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_GetGlobProp("management", "mine", &query, nullptr, 0));
  }
};

TEST_F(ReadOnly, mount_of_a_file_that_was_closed) {
  on_read_only_mount(make_host, [] {
    expect_readable();
    expect_unwritable();
  });
}

TEST_F(ReadOnly, mount_of_a_file_whose_writer_died) {
  // The log stays, with a change that is only there.
  auto const die = [this] {
    make_host();
    close_host();
    ASSERT_EQ(0, in_child([this] {
                int const status = VSDVS_SetMTU("management", 3456);
                // As a process leaves it that never gets to close the file.
                for (char const *suffix : {"", "-wal", "-shm"}) {
                  std::filesystem::path const path = (folder / "mounted" / "host.db").string() + suffix;
                  std::filesystem::copy_file(path, path.string() + ".copy");
                }
                close_host();
                for (char const *suffix : {"", "-wal", "-shm"}) {
                  std::filesystem::path const path = (folder / "mounted" / "host.db").string() + suffix;
                  std::filesystem::rename(path.string() + ".copy", path);
                }
                return status;
              }));
  };
  on_read_only_mount(die, [] {
    expect_readable(3456);
    EXPECT_STATUS(QEL_READ_ONLY, VSDVS_SetMTU("management", 4000));
    expect_readable(3456);
  });
}

TEST_F(ReadOnly, mount_without_a_host) {
  on_read_only_mount([] {},
                     [] {
                       testing::internal::CaptureStderr();
                       EXPECT_STATUS(QEL_WRITE_ERROR, VSDVS_SetMTU("management", 3000));
                       EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("cannot make"));
                     });
}

TEST_F(ReadOnly, faults_are_not_in_effect) {
  auto const prepare = [] {
    make_host();
    {
      HostLock lock;
      Database &database = open_host();
      Transaction transaction(database, true);
      FaultRule rule;
      rule.status = QEL_TIMEOUT;
      add_fault(database, rule);
      transaction.commit();
    }
    close_host();
  };
  on_read_only_mount(prepare, [] {
    expect_readable();
    EXPECT_STATUS(QEL_READ_ONLY, VSDVS_SetMTU("management", 4000));
  });
}

TEST_F(ReadOnly, one_mount_beside_a_writer_on_another) {
  std::filesystem::path const written = folder / "written";
  std::filesystem::path const seen = folder / "seen";
  std::filesystem::create_directory(written);
  std::filesystem::create_directory(seen);
  int const result = in_judging_child([&] {
    use_host((written / "host.db").string());
    make_host();
    if (!enter_mount_namespace() || mount(written.c_str(), seen.c_str(), nullptr, MS_BIND, nullptr) != 0 ||
        mount(nullptr, seen.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) != 0)
      return no_namespaces;
    auto const write_mtu = [&](qel_uint32 mtu) {
      ASSERT_EQ(0, in_child([&] {
                  use_host((written / "host.db").string());
                  int const status = VSDVS_SetMTU("management", mtu);
                  close_host();
                  return status;
                }));
    };
    use_host((seen / "host.db").string());
    expect_readable();
    // A fork would end this process's use of the file, so the writers are asked for from a child that reads.
    int ask[2];
    int answer[2];
    if (pipe(ask) != 0 || pipe(answer) != 0)
      return 2;
    pid_t const reader = fork();
    if (reader == 0) {
      char byte;
      expect_readable(3000);
      for (qel_uint32 const mtu : {4000, 5000, 6000}) {
        if (write(ask[1], "", 1) != 1 || read(answer[0], &byte, 1) != 1)
          _exit(3);
        EXPECT_EQ(mtu, mtu_of("management"));
        EXPECT_STATUS(QEL_READ_ONLY, VSDVS_SetMTU("management", 7000));
      }
      close_host();
      _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    char byte;
    for (qel_uint32 const mtu : {4000, 5000, 6000}) {
      if (read(ask[0], &byte, 1) != 1)
        return 4;
      write_mtu(mtu);
      if (write(answer[1], "", 1) != 1)
        return 5;
    }
    int state = 0;
    waitpid(reader, &state, 0);
    return WIFEXITED(state) ? WEXITSTATUS(state) : 6;
  });
  if (result == no_namespaces)
    GTEST_SKIP() << "the kernel does not let this process mount file systems, in no namespace of its own either";
  EXPECT_EQ(0, result);
}

// Permissions do not stop the superuser, so these tests go on as another user.
class ReadOnlyForAnother : public ReadOnly {
 protected:
  void as_another(mode_t file_mode, mode_t folder_mode, std::function<void()> const &body) {
    if (geteuid() != 0)
      GTEST_SKIP() << "only the superuser can become another user";
    make_host();
    std::filesystem::path const inner = folder / "inner";
    std::filesystem::create_directory(inner);
    std::filesystem::rename(state_file(), inner / "host.db");
    ASSERT_EQ(0, chmod((inner / "host.db").c_str(), file_mode));
    ASSERT_EQ(0, chmod(inner.c_str(), folder_mode));
    ASSERT_EQ(0, chmod(folder.c_str(), 0755));
    auto const before = files_in(inner);
    EXPECT_EQ(0, in_judging_child([&] {
                if (seteuid(somebody) != 0)
                  return 2;
                use_host((inner / "host.db").string());
                body();
                close_host();
                return seteuid(0);
              }));
    EXPECT_TRUE(before == files_in(inner));  // not to be printed
  }
};

TEST_F(ReadOnlyForAnother, a_file_in_a_folder_that_can_be_written) {
  as_another(0444, 0777, [] {
    expect_readable();
    expect_unwritable();
  });
}

TEST_F(ReadOnlyForAnother, a_file_in_a_folder_that_cannot_be_written) {
  as_another(0444, 0755, [] {
    expect_readable();
    expect_unwritable();
  });
}

TEST_F(ReadOnlyForAnother, a_folder_that_cannot_be_written) {
  as_another(0666, 0755, [] {
    expect_readable();
    expect_unwritable();
  });
}

TEST_F(ReadOnlyForAnother, a_file_that_cannot_be_read) {
  as_another(0600, 0755, [] {
    testing::internal::CaptureStderr();
    qel_uint32 mtu = 0;
    EXPECT_STATUS(QEL_READ_ERROR, VSDVS_GetMTU("management", &mtu));
    EXPECT_STATUS(QEL_READ_ERROR, VSDVS_SetMTU("management", 4000));
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("cannot open"));
  });
}

}  // namespace read_only_test
