// Measures the simulated host: reads alone and beside a writer, durable writes of several processes, and how each
// changes with the size of the host. Prints a table with ratios and writes the figures as JSON.
//
// Usage: measure_host RESULT.json [SECONDS]  (SECONDS for each figure, default 1)
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "interface/distributed_switch_configuration.h"
#include "interface/distributed_switch_state.h"
#include "interface/switch_queries.h"
#include "platform/core/constants.hpp"
#include "platform/core/host.hpp"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int writers = 4;
constexpr int ports_of_a_switch_at_most = 8192;

double seconds_each = 1;

void require(int status, char const *what) {
  if (status == host::QEL_OK)
    return;
  std::fprintf(stderr, "%s: %s\n", what, QEL_ReturnStatusToString(static_cast<QEL_ReturnStatus>(status)));
  std::exit(1);
}

// A fresh host in a folder of its own, gone at the end.
class Scratch {
 public:
  Scratch() {
    std::string pattern = (std::filesystem::temp_directory_path() / "measure-host-XXXXXX").string();
    if (!mkdtemp(pattern.data()))
      std::exit(1);
    folder_ = pattern;
    host::close_host();
    setenv("VSWITCH_HOST", (folder_ / "host.db").c_str(), 1);
  }
  Scratch(Scratch const &) = delete;
  Scratch &operator=(Scratch const &) = delete;
  ~Scratch() {
    host::close_host();
    std::filesystem::remove_all(folder_);
  }

 private:
  std::filesystem::path folder_;
};

// What processes share: when they may begin, and what they have done.
struct Board {
  std::atomic<bool> begin;
  std::atomic<bool> end;
  std::atomic<int> ready;
  std::atomic<long> done[writers];
};

using Work = std::function<void(int process, long round)>;

long rounds_in(double seconds, Work const &work, int process, Board *board) {
  auto const deadline = Clock::now() + std::chrono::duration<double>(seconds);
  long rounds = 0;
  while (Clock::now() < deadline && !(board && board->end)) {
    work(process, rounds);
    ++rounds;
  }
  return rounds;
}

// How many rounds one process does in a second.
double rate_alone(Work const &work) {
  work(0, 0);
  auto const began = Clock::now();
  long const rounds = rounds_in(seconds_each, work, 0, nullptr);
  return static_cast<double>(rounds) / std::chrono::duration<double>(Clock::now() - began).count();
}

// Runs the work in so many processes, and something in this one meanwhile.
double rate_of_processes(int processes, Work const &work, std::function<void(Board &)> const &meanwhile) {
  void *memory = mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED)
    std::exit(1);
  auto *board = new (memory) Board();
  std::vector<pid_t> children;
  for (int process = 0; process < processes; ++process) {
    pid_t const child = fork();
    if (child == 0) {
      work(process, 0);
      ++board->ready;
      while (!board->begin)
        sched_yield();
      board->done[process] = rounds_in(seconds_each * 10, work, process, board);
      host::close_host();
      _exit(0);
    }
    children.push_back(child);
  }
  while (board->ready < processes)
    sched_yield();
  auto const began = Clock::now();
  board->begin = true;
  meanwhile(*board);
  board->end = true;
  double const seconds = std::chrono::duration<double>(Clock::now() - began).count();
  for (pid_t child : children) {
    int state = 0;
    waitpid(child, &state, 0);
    if (state != 0)
      std::exit(1);
  }
  long total = 0;
  for (int process = 0; process < processes; ++process)
    total += board->done[process];
  munmap(memory, sizeof(Board));
  return static_cast<double>(total) / seconds;
}

void wait_out(Board &) {
  usleep(static_cast<useconds_t>(seconds_each * 1e6));
}

// ---- the hosts that are measured -----------------------------------------------------------------------

void add_switches(int count) {
  for (int i = 2; i < count; ++i) {
    std::string const name = "switch-" + std::to_string(i);
    require(VSDVS_CreateVSwitch(name.c_str(), (name + "-id").c_str(), "", 0, 1, 0, 0, 0), "VSDVS_CreateVSwitch");
  }
}

void add_ports(int count) {
  require(VSDVS_CreateVSwitch("measured", "measured-id", "", ports_of_a_switch_at_most, 1, 0, 0, 0),
          "VSDVS_CreateVSwitch");
  for (int i = 0; i < count; ++i)
    require(VSDVS_AddDVPort("measured", std::to_string(i).c_str(), 0), "VSDVS_AddDVPort");
}

// ---- the calls -----------------------------------------------------------------------------------------

void read_mtu(int, long) {
  qel_uint32 mtu = 0;
  require(VSDVS_GetMTU("workload", &mtu), "VSDVS_GetMTU");
}

void write_property(int process, long round) {
  std::string const name = "process-" + std::to_string(process) + "-" + std::to_string(round % 16);
  std::string const value = "value " + std::to_string(round);
  require(VSDVS_SetGlobProp("workload", name.c_str(), value.data(), static_cast<int>(value.size()), nullptr, 1),
          "VSDVS_SetGlobProp");
}

Work read_port_of(int ports) {
  return [ports](int, long round) {
    qel_SwitchPortID number = 0;
    require(VSDVS_DvPortIDToPortID("measured", std::to_string(round % ports).c_str(), &number),
            "VSDVS_DvPortIDToPortID");
  };
}

Work write_port_of(int ports) {
  return [ports](int, long round) {
    std::string const value = "value " + std::to_string(round);
    require(VSDVS_SetPortProp("measured", std::to_string(round % ports).c_str(), "measured", value.data(),
                              static_cast<int>(value.size()), nullptr, 1),
            "VSDVS_SetPortProp");
  };
}

VSMACEntry mac_entry(long number) {
  VSMACEntry entry{};
  unsigned char const bytes[6] = {2,
                                  1,
                                  static_cast<unsigned char>(number >> 24),
                                  static_cast<unsigned char>(number >> 16),
                                  static_cast<unsigned char>(number >> 8),
                                  static_cast<unsigned char>(number)};
  std::memcpy(entry.macAddress, bytes, sizeof bytes);
  return entry;
}

void set_and_clear_mac(int, long round) {
  VSMACEntry const entry = mac_entry(1'000'000 + round);
  require(VSQEL_SetPortMACTable("measured", "0", &entry), "VSQEL_SetPortMACTable");
  require(VSQEL_ClearPortMACTable("measured", "0", &entry), "VSQEL_ClearPortMACTable");
}

// ---- the report ----------------------------------------------------------------------------------------

nlohmann::ordered_json figures = nlohmann::ordered_json::array();

void report(std::string const &what, double rate, double reference, char const *unit = "/s") {
  double const ratio = rate / reference;
  std::printf("%-58s %12.0f %-3s %8.2f\n", what.c_str(), rate, unit, ratio);
  std::fflush(stdout);
  figures.push_back({{"figure", what}, {"rate", rate}, {"unit", unit}, {"ratio", ratio}});
}

void measure_processes() {
  Scratch scratch;
  double const alone = rate_alone(read_mtu);
  report("reads, one process", alone, alone);
  double beside = 0;
  rate_of_processes(1, write_property, [&](Board &) { beside = rate_alone(read_mtu); });
  report("reads, one process beside a writer", beside, alone);
  double const one = rate_of_processes(1, write_property, wait_out);
  report("writes, one process", one, one);
  report("writes, " + std::to_string(writers) + " processes together",
         rate_of_processes(writers, write_property, wait_out), one);
  // The connection is opened anew, and the processes inherit the setting.
  host::close_host();
  setenv("VSWITCH_HOST_SYNC", "power", 1);
  report("writes that survive a power failure, one process", rate_of_processes(1, write_property, wait_out), one);
  host::close_host();
  unsetenv("VSWITCH_HOST_SYNC");
}

void measure_switches() {
  double reads = 0;
  double writes = 0;
  for (int count : {2, 16, 128}) {
    Scratch scratch;
    add_switches(count);
    double const reading = rate_alone(read_mtu);
    double const writing = rate_alone(write_property);
    reads = reads > 0 ? reads : reading;
    writes = writes > 0 ? writes : writing;
    report("reads with " + std::to_string(count) + " switches", reading, reads);
    report("writes with " + std::to_string(count) + " switches", writing, writes);
  }
}

void measure_ports() {
  double reads = 0;
  double writes = 0;
  for (int count : {8, 256, 4096}) {
    Scratch scratch;
    add_ports(count);
    double const reading = rate_alone(read_port_of(count));
    double const writing = rate_alone(write_port_of(count));
    reads = reads > 0 ? reads : reading;
    writes = writes > 0 ? writes : writing;
    report("reads of a port's number with " + std::to_string(count) + " ports", reading, reads);
    report("writes of a port's property with " + std::to_string(count) + " ports", writing, writes);
  }
}

// Adding ports one after the other, as a management program does: each of the last so many.
void measure_added_ports() {
  constexpr int measured = 64;
  double few = 0;
  Scratch scratch;
  add_ports(0);
  int count = 0;
  for (int before : {64, 1024, 4000}) {
    for (; count < before; ++count)
      require(VSDVS_AddDVPort("measured", std::to_string(count).c_str(), 0), "VSDVS_AddDVPort");
    // The best of a few rounds: removing the ports again leaves the switch as it was.
    double best = 0;
    for (int round = 0; round < 9; ++round) {
      auto const began = Clock::now();
      for (int i = 0; i < measured; ++i)
        require(VSDVS_AddDVPort("measured", ("more-" + std::to_string(i)).c_str(), 0), "VSDVS_AddDVPort");
      best = std::max(best, measured / std::chrono::duration<double>(Clock::now() - began).count());
      for (int i = 0; i < measured; ++i)
        require(VSDVS_RemoveDVPort("measured", ("more-" + std::to_string(i)).c_str()), "VSDVS_RemoveDVPort");
    }
    few = few > 0 ? few : best;
    report("ports added to " + std::to_string(before), best, few);
  }
}

// A fresh host whose description has learned addresses, at one port.
void measure_boots() {
  double few = 0;
  for (int count : {500, 1000, 2000, 4000}) {
    Scratch scratch;
    nlohmann::json learned = nlohmann::json::array();
    for (int i = 0; i < count; ++i) {
      char mac[18];
      std::snprintf(mac, sizeof mac, "02:01:00:00:%02x:%02x", static_cast<unsigned>(i >> 8 & 0xff),
                    static_cast<unsigned>(i & 0xff));
      learned.push_back({{"mac", mac}});
    }
    nlohmann::json const port{{"dvport_id", "p"}, {"mac_learning", nlohmann::json::object()}, {"learned", learned}};
    nlohmann::json const vswitch{{"alias", "workload"}, {"switch_id", "i"}, {"ports", nlohmann::json::array({port})}};
    std::string const description =
        nlohmann::json{{"format", 1}, {"switches", nlohmann::json::array({vswitch})}}.dump();
    double best = 0;
    for (int round = 0; round < 5; ++round) {
      auto const host = std::make_shared<host::Host>(host::memory_host, description);
      host::use_host(host);
      auto const began = Clock::now();
      read_mtu(0, 0);
      best = std::max(best, count / std::chrono::duration<double>(Clock::now() - began).count());
      host::leave_host(*host);
    }
    few = few > 0 ? few : best;
    report("addresses learned in a boot of " + std::to_string(count), best, few);
  }
}

// How many entries a table of a switch gets, whatever its limits.
void measure_mac_tables() {
  double changes = 0;
  for (int wanted : {64, 2048, 65536}) {
    Scratch scratch;
    constexpr int ports = 64;
    add_ports(ports);
    require(VSDVS_SetStaticMACAllow("measured", 1), "VSDVS_SetStaticMACAllow");
    int entries = 0;
    auto const began = Clock::now();
    for (; entries < wanted; ++entries) {
      VSMACEntry const entry = mac_entry(entries);
      // The first port keeps room for the entries that come and go.
      int const status = VSQEL_SetPortMACTable("measured", std::to_string(1 + entries % (ports - 1)).c_str(), &entry);
      if (status == host::QEL_LIMIT_EXCEEDED)
        break;
      require(status, "VSQEL_SetPortMACTable");
    }
    double const filling = static_cast<double>(entries) / std::chrono::duration<double>(Clock::now() - began).count();
    double const rate = rate_alone(set_and_clear_mac);
    changes = changes > 0 ? changes : rate;
    std::string const with = " with " + std::to_string(entries) + " MAC entries";
    report("entries set and cleared" + with, rate, changes);
    report("entries set while filling" + with, filling, changes);
    double const listed = rate_alone([](int, long) {
      VSMACTable *table = nullptr;
      require(VSQEL_GetMACTable("measured", static_cast<VSMACAddrType>(0), &table), "VSQEL_GetMACTable");
      VSQEL_FreeMemory(table);
    });
    report("entries listed" + with, listed * entries, listed * entries);
  }
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): what fails ends the measurement.
int main(int count, char **arguments) {
  if (count < 2) {
    std::fprintf(stderr, "usage: measure_host RESULT.json [SECONDS]\n");
    return 2;
  }
  if (count > 2)
    seconds_each = std::atof(arguments[2]);
  unsetenv("VSWITCH_HOST_INIT");
  std::printf("%-58s %12s %-3s %8s\n", "", "rate", "", "ratio");
  measure_processes();
  measure_switches();
  measure_ports();
  measure_added_ports();
  measure_boots();
  measure_mac_tables();
  std::ofstream(arguments[1]) << nlohmann::ordered_json{{"seconds_each", seconds_each}, {"figures", figures}}.dump(2)
                              << "\n";
}
