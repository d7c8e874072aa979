// The state file: where it is, that it lasts, and what happens when it cannot be used.
#include <sqlite3.h>
#include <sys/stat.h>

#include "host_test.hpp"

namespace state_file_test {

void run_sql(std::filesystem::path const &path, char const *sql) {
  sqlite3 *connection = nullptr;
  ASSERT_EQ(SQLITE_OK, sqlite3_open(path.c_str(), &connection));
  char *message = nullptr;
  EXPECT_EQ(SQLITE_OK, sqlite3_exec(connection, sql, nullptr, nullptr, &message)) << (message ? message : "");
  sqlite3_free(message);
  sqlite3_close(connection);
}

// The page at which a table begins.
std::int64_t first_page(std::filesystem::path const &path, char const *table) {
  Database database(path.string(), Database::Mode::file);
  Rows row = database.rows("SELECT rootpage FROM sqlite_schema WHERE name = ?", std::string_view(table));
  return row.next() ? row.integer(0) : 0;
}

int mode_of(std::filesystem::path const &path) {
  struct stat information {};
  EXPECT_EQ(0, stat(path.c_str(), &information));
  return static_cast<int>(information.st_mode & 07777);
}

class StateFile : public HostTest {
 protected:
  // Reading and writing calls both end with this status and a message about the file; the file stays as it is.
  void expect_unusable(std::filesystem::path const &path, int status, std::string const &reason) {
    close_host();
    std::string const before = read_file(path);
    testing::internal::CaptureStderr();
    VSInfo info;
    EXPECT_STATUS(status, VSQEL_GetVSInfo("management", &info));
    EXPECT_STATUS(status, VSDVS_SetMTU("management", 4000));
    EXPECT_STATUS(status, create_switch("edge"));
    std::string const message = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, message.find(path.string())) << message;
    EXPECT_NE(std::string::npos, message.find(reason)) << message;
    close_host();
    EXPECT_TRUE(before == read_file(path));  // not to be printed
  }

  void make_host() {
    ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("management", 3000));
    close_host();
  }
};

TEST_F(StateFile, lasts) {
  ASSERT_STATUS(QEL_OK, create_switch("edge"));
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("edge", 4321));
  close_host();
  EXPECT_EQ(4321u, mtu_of("edge"));
  EXPECT_STATUS(QEL_EXISTS, create_switch("edge"));
}

TEST_F(StateFile, is_made_with_its_folders_for_the_owner_only) {
  std::filesystem::path const path = folder / "a" / "b" / "host.db";
  use_host(path.string());
  EXPECT_EQ(1500u, mtu_of("management"));
  EXPECT_EQ(0600, mode_of(path));
  EXPECT_EQ(0700, mode_of(folder / "a" / "b"));
  EXPECT_EQ(0700, mode_of(folder / "a"));
}

TEST_F(StateFile, stands_alone_after_the_last_process) {
  make_host();
  EXPECT_FALSE(std::filesystem::exists(state_file().string() + "-wal"));
  EXPECT_FALSE(std::filesystem::exists(state_file().string() + "-shm"));
}

TEST_F(StateFile, default_places) {
  unsetenv("VSWITCH_HOST");
  setenv("XDG_STATE_HOME", (folder / "state").c_str(), 1);
  EXPECT_EQ(1500u, mtu_of("management"));
  close_host();
  EXPECT_TRUE(std::filesystem::exists(folder / "state" / "vswitchpy" / "host.db"));

  // An empty variable counts as none; in a child, because HOME matters to others.
  EXPECT_EQ(0, in_child([&] {
              setenv("VSWITCH_HOST", "", 1);
              unsetenv("XDG_STATE_HOME");
              setenv("HOME", folder.c_str(), 1);
              bool const works = mtu_of("management") == 1500;
              return works && std::filesystem::exists(folder / ".local/state/vswitchpy/host.db") ? 0 : 1;
            }));
  unsetenv("XDG_STATE_HOME");
}

TEST_F(StateFile, a_relative_path_means_the_folder_of_the_first_call) {
  EXPECT_EQ(0, in_child([&] {
              close_host();
              if (chdir(folder.c_str()) != 0)
                return 1;
              setenv("VSWITCH_HOST", "relative.db", 1);
              if (VSDVS_SetMTU("management", 2000) != QEL_OK)
                return 2;
              if (chdir("/") != 0)
                return 3;
              // The fork makes the child open the file again.
              return in_child([] { return mtu_of("management") == 2000 ? 0 : 4; });
            }));
  EXPECT_TRUE(std::filesystem::exists(folder / "relative.db"));
}

TEST_F(StateFile, a_memory_host_is_private_and_leaves_nothing) {
  use_host(":memory:");
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("management", 4000));
  EXPECT_EQ(4000u, mtu_of("management"));
  close_host();
  EXPECT_EQ(1500u, mtu_of("management"));
  EXPECT_TRUE(std::filesystem::is_empty(folder));
  EXPECT_FALSE(std::filesystem::exists(":memory:"));
}

TEST_F(StateFile, an_empty_file_is_a_fresh_host) {
  write_file(state_file(), "");
  EXPECT_EQ(1500u, mtu_of("management"));
}

TEST_F(StateFile, that_is_something_else) {
  write_file(state_file(), std::string(5000, 'x'));
  expect_unusable(state_file(), QEL_METADATA_READ_ERROR, "damaged");
}

TEST_F(StateFile, of_another_program) {
  run_sql(state_file(), "CREATE TABLE notes (text); INSERT INTO notes VALUES ('mine')");
  expect_unusable(state_file(), QEL_METADATA_READ_ERROR, "is not a state file");
}

TEST_F(StateFile, of_a_newer_format) {
  make_host();
  run_sql(state_file(), "PRAGMA user_version = 4");
  expect_unusable(state_file(), QEL_VERSION_MISMATCH_MAJOR, "the state file has format 4, this host has format 3\n");
}

TEST_F(StateFile, of_an_older_format) {
  make_host();
  run_sql(state_file(), "PRAGMA user_version = 1");
  expect_unusable(state_file(), QEL_VERSION_MISMATCH_MAJOR, "the state file has format 1, this host has format 3\n");
}

TEST_F(StateFile, with_a_broken_page) {
  make_host();
  std::string content = read_file(state_file());
  ASSERT_GT(content.size(), 4 * 4096u);
  // Every page but the first in turn.
  for (std::size_t page = 1; page < content.size() / 4096; ++page) {
    SCOPED_TRACE("page " + std::to_string(page));
    std::string broken = content;
    broken.replace(page * 4096, 4096, 4096, '\xee');
    write_file(state_file(), broken);
    expect_unusable(state_file(), QEL_METADATA_READ_ERROR, "damaged");
  }
  write_file(state_file(), content);
  EXPECT_EQ(3000u, mtu_of("management"));
}

TEST_F(StateFile, cut_off) {
  make_host();
  std::string const content = read_file(state_file());
  for (std::size_t size : {content.size() - 4096, content.size() / 2, std::size_t{4096}, std::size_t{1000}}) {
    SCOPED_TRACE(size);
    write_file(state_file(), content.substr(0, size));
    expect_unusable(state_file(), QEL_METADATA_READ_ERROR, "damaged");
  }
}

TEST_F(StateFile, that_cannot_grow_refuses_what_does_not_fit) {
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("management", 3000));
  {
    // No lower than what the file has already.
    HostLock lock;
    Rows limit = open_host().rows("PRAGMA max_page_count = 1");
    ASSERT_TRUE(limit.next());
  }
  std::string const large(500000, 'x');
  EXPECT_STATUS(QEL_NO_SPACE_ON_DEVICE,
                VSDVS_SetGlobProp("management", "large", large.data(), static_cast<int>(large.size()), nullptr, 1));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_ClearGlobProp("management", "large", nullptr, 1));
  // What needs no more room goes on.
  EXPECT_STATUS(QEL_OK, VSDVS_SetMTU("management", 4000));
}

// Another process changes the state, so that this one must read it again, and then breaks the table of the
// ports. It is forked first, because a fork ends this process's use of the file.
TEST_F(StateFile, damage_that_shows_later_ends_all_calls) {
  int gate[2];
  ASSERT_EQ(0, pipe(gate));
  pid_t const child = fork();
  if (child == 0) {
    char byte;
    if (read(gate[0], &byte, 1) != 1 || VSDVS_SetMTU("management", 3500) != QEL_OK)
      _exit(1);
    close_host();
    run_sql(state_file(), "PRAGMA wal_checkpoint(TRUNCATE)");
    std::int64_t const page = first_page(state_file(), "port");
    std::fstream file(state_file(), std::ios::binary | std::ios::in | std::ios::out);
    file.seekp((page - 1) * 4096);
    file << std::string(4096, '\xee') << std::flush;
    _exit(page > 1 && file && !testing::Test::HasFailure() ? 0 : 2);
  }
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("management", 3000));
  ASSERT_EQ(1, write(gate[1], "", 1));
  int state = 0;
  waitpid(child, &state, 0);
  ASSERT_EQ(0, WEXITSTATUS(state));
  close(gate[0]);
  close(gate[1]);

  // What does not need the broken table still works, until it is met.
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("management", 3600));
  testing::internal::CaptureStderr();
  EXPECT_STATUS(QEL_METADATA_READ_ERROR, DVSQEL_PortFind("management", "1"));
  EXPECT_STATUS(QEL_METADATA_READ_ERROR, VSDVS_SetMTU("management", 3700));
  qel_uint32 mtu = 0;
  EXPECT_STATUS(QEL_METADATA_READ_ERROR, VSDVS_GetMTU("management", &mtu));
  testing::internal::GetCapturedStderr();
}

TEST_F(StateFile, that_cannot_be_opened) {
  std::filesystem::create_directory(folder / "folder");
  use_host((folder / "folder").string());
  testing::internal::CaptureStderr();
  EXPECT_STATUS(QEL_READ_ERROR, create_switch("edge"));
  EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("cannot open"));
}

TEST_F(StateFile, that_cannot_be_made) {
  write_file(folder / "file", "");
  use_host((folder / "file" / "host.db").string());
  testing::internal::CaptureStderr();
  EXPECT_STATUS(QEL_WRITE_ERROR, create_switch("edge"));
  EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("cannot make"));
}

TEST_F(StateFile, a_host_works_again_once_its_file_can_be_made) {
  write_file(folder / "file", "");
  use_host((folder / "file" / "host.db").string());
  testing::internal::CaptureStderr();
  EXPECT_STATUS(QEL_WRITE_ERROR, create_switch("edge"));
  testing::internal::GetCapturedStderr();
  std::filesystem::remove(folder / "file");
  EXPECT_STATUS(QEL_OK, create_switch("edge"));
}

}  // namespace state_file_test
