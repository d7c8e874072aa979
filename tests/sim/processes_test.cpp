// Several processes on one host, processes that are killed, disks that are full: what was acknowledged is there, whole.
#include <signal.h>
#include <sqlite3.h>
#include <sys/resource.h>

#include <chrono>
#include <random>
#include <thread>

#include "sim_test.hpp"

namespace processes_test {

bool in_full() {
  char const *const full = std::getenv("VSWITCHPY_FULL");
  return full && *full;
}

// A port with so many frames of a batch: they come from a and go to b.
constexpr std::uint32_t batch = 16;

std::vector<vssim_frame> batch_of(vssim_endpoint from, std::string const &sent) {
  return std::vector<vssim_frame>(batch, frame_at(from, sent));
}

// Runs in a child: sends batches until it is killed, and acknowledges each with a byte.
[[noreturn]] void send_for_ever(std::string const &path, int acknowledge) {
  vssim_host *host = nullptr;
  vssim_endpoint a = 0;
  if (vssim_open(path.c_str(), nullptr, &host) != VSSIM_OK || vssim_port(host, "sw", "a", &a) != VSSIM_OK)
    _exit(1);
  std::string const sent = frame(mac_b, mac_a);
  std::vector<vssim_frame> const frames = batch_of(a, sent);
  char const done = 'x';
  while (vssim_send(host, frames.data(), batch, VSSIM_COUNT_ONLY, nullptr) == VSSIM_OK &&
         write(acknowledge, &done, 1) == 1) {
  }
  _exit(2);
}

// All that there is, until the writers have gone.
std::uint64_t count_bytes(int from) {
  std::uint64_t count = 0;
  char buffer[4096];
  for (ssize_t got = read(from, buffer, sizeof buffer); got > 0; got = read(from, buffer, sizeof buffer))
    count += static_cast<std::uint64_t>(got);
  return count;
}

std::uint64_t counter(OwnedHost const &host, char const *dvport_id, char const *name) {
  return asked<vssim_endpoint>(vssim_counters, host, port(host, "sw", dvport_id))[name].get<std::uint64_t>();
}

using Processes = SimTest;

TEST_F(Processes, D_3_a_killed_writer_loses_no_acknowledged_batch_and_counts_no_half_one) {
  constexpr unsigned seed = 20260101;
  std::mt19937 random(seed);
  std::string const path = (folder / "host.db").string();
  file_host();
  std::uint64_t acknowledged = 0;
  std::uint64_t before = 0;
  int const rounds = in_full() ? 200 : 12;
  for (int round = 0; round < rounds; ++round) {
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    pid_t const child = fork();
    if (child == 0) {
      close(ends[0]);
      send_for_ever(path, ends[1]);
    }
    close(ends[1]);
    // After so many acknowledgements, and somewhere in the batch that follows.
    char done = 0;
    std::uint64_t seen = 0;
    for (std::uint_fast32_t wanted = 1 + random() % 20; wanted > 0; --wanted)
      seen += read(ends[0], &done, 1) == 1;
    for (std::uint_fast32_t spin = random() % 100000; spin > 0; --spin)
      asm volatile("");
    ASSERT_EQ(0, kill(child, SIGKILL));
    int state = 0;
    ASSERT_EQ(child, waitpid(child, &state, 0));
    ASSERT_TRUE(WIFSIGNALED(state));
    acknowledged += seen + count_bytes(ends[0]);
    close(ends[0]);
    OwnedHost const survivor = file_host();
    std::uint64_t const counted = counter(survivor, "a", "pktsInUnicast");
    EXPECT_EQ(0u, counted % batch) << "seed " << seed << ", round " << round;
    EXPECT_GE(counted, acknowledged * batch) << "seed " << seed << ", round " << round;
    // A writer that was killed between its commit and its acknowledgement has counted one batch more.
    EXPECT_LE(counted - before, (seen + 21) * batch * 1000);
    EXPECT_EQ(counted, counter(survivor, "b", "pktsOutUnicast")) << "seed " << seed << ", round " << round;
    acknowledged = counted / batch;
    before = counted;
  }
}

TEST_F(Processes, D_4_four_processes_send_to_one_host) {
  std::string const path = (folder / "host.db").string();
  file_host();
  int const batches = in_full() ? 500 : 40;
  std::vector<pid_t> children;
  for (int i = 0; i < 4; ++i) {
    pid_t const child = fork();
    if (child == 0) {
      vssim_host *own = nullptr;
      vssim_endpoint from = 0;
      char const *const names[] = {"a", "b", "c"};
      if (vssim_open(path.c_str(), nullptr, &own) != VSSIM_OK || vssim_port(own, "sw", names[i % 3], &from) != VSSIM_OK)
        _exit(1);
      std::string const sent = frame(broadcast, "02000000010a");
      std::vector<vssim_frame> const frames = batch_of(from, sent);
      for (int k = 0; k < batches; ++k) {
        vssim_result *result = nullptr;
        if (vssim_send(own, frames.data(), batch, 0, &result) != VSSIM_OK || vssim_total(result, 1) != 3 * batch)
          _exit(2);
        vssim_result_free(result);
      }
      _exit(0);
    }
    children.push_back(child);
  }
  for (pid_t const child : children) {
    int state = 0;
    ASSERT_EQ(child, waitpid(child, &state, 0));
    EXPECT_EQ(0, WIFEXITED(state) ? WEXITSTATUS(state) : -1);
  }
  OwnedHost const after = file_host();
  auto const sent = static_cast<std::uint64_t>(4 * batches) * batch;
  EXPECT_EQ(sent, counter(after, "a", "pktsInBroadcast") + counter(after, "b", "pktsInBroadcast") +
                      counter(after, "c", "pktsInBroadcast"));
  EXPECT_EQ(2 * sent, counter(after, "a", "pktsOutBroadcast") + counter(after, "b", "pktsOutBroadcast") +
                          counter(after, "c", "pktsOutBroadcast"));
}

TEST_F(Processes, D_3_API_5_a_full_disk_refuses_an_operation_that_then_has_not_happened) {
  std::string const path = (folder / "host.db").string();
  file_host();
  pid_t const child = fork();
  if (child == 0) {
    // As a full disk does: files cannot grow beyond what is there.
    signal(SIGXFSZ, SIG_IGN);
    vssim_host *own = nullptr;
    vssim_endpoint a = 0;
    if (vssim_open(path.c_str(), nullptr, &own) != VSSIM_OK || vssim_port(own, "sw", "a", &a) != VSSIM_OK)
      _exit(1);
    std::string const sent = frame(mac_b, mac_a);
    std::vector<vssim_frame> const frames = batch_of(a, sent);
    if (vssim_send(own, frames.data(), batch, 0, nullptr) != VSSIM_OK)
      _exit(2);
    rlimit const room{4096, RLIM_INFINITY};
    rlimit former{};
    if (getrlimit(RLIMIT_FSIZE, &former) != 0 || setrlimit(RLIMIT_FSIZE, &room) != 0)
      _exit(3);
    vssim_result *result = nullptr;
    for (int i = 0; i < 3; ++i) {
      if (vssim_send(own, frames.data(), batch, 0, &result) != VSSIM_NO_SPACE || result)
        _exit(4);
    }
    if (std::string(vssim_error()) != "the host refuses it with QEL_NO_SPACE_ON_DEVICE")
      _exit(5);
    if (setrlimit(RLIMIT_FSIZE, &former) != 0 || vssim_send(own, frames.data(), batch, 0, nullptr) != VSSIM_OK)
      _exit(6);
    _exit(0);
  }
  int state = 0;
  ASSERT_EQ(child, waitpid(child, &state, 0));
  EXPECT_EQ(0, WIFEXITED(state) ? WEXITSTATUS(state) : -1);
  OwnedHost const after = file_host();
  EXPECT_EQ(2 * batch, counter(after, "a", "pktsInUnicast"));
  EXPECT_EQ(2 * batch, counter(after, "b", "pktsOutUnicast"));
}

TEST_F(Processes, D_4_who_waits_too_long_is_told) {
  if (!in_full())
    GTEST_SKIP() << "it waits for 10 seconds: VSWITCHPY_FULL runs it";
  OwnedHost const one = file_host();
  int ends[2];
  ASSERT_EQ(0, pipe(ends));
  pid_t const child = fork();
  if (child == 0) {
    sqlite3 *connection = nullptr;
    bool const locked = sqlite3_open((folder / "host.db").c_str(), &connection) == SQLITE_OK &&
                        sqlite3_exec(connection, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) == SQLITE_OK;
    if (!locked || write(ends[1], "x", 1) != 1)
      _exit(1);
    pause();
    _exit(0);
  }
  char ready = 0;
  ASSERT_EQ(1, read(ends[0], &ready, 1));
  std::string const sent = frame(mac_b, mac_a);
  vssim_frame const one_frame = frame_at(port(one, "sw", "a"), sent);
  EXPECT_FAILS(BUSY, "the host refuses it with QEL_BUSY", vssim_send(one.get(), &one_frame, 1, 0, nullptr));
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  close(ends[0]);
  close(ends[1]);
  EXPECT_EQ(1u, send(one, {one_frame}).total(1));
}

}  // namespace processes_test
