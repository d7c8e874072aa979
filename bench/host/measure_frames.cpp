// Measures frames through simulated hosts, by the C interface: batches and single frames on a file and in memory,
// explanations, copies of hosts, many ports, changes of the configuration beside traffic, a million addresses in the
// state.
//
// Usage: measure_frames RESULT.json [SECONDS]  (SECONDS for each figure, default 1)
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "interface/distributed_switch_configuration.h"
#include "platform/sim/vswitch_sim.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr int runs = 5;
constexpr std::size_t frame_size = 64;
constexpr std::uint32_t batch = 512;
constexpr std::uint32_t addresses = 1000;
constexpr std::uint64_t first_learned = 0x020001000000;

// Of the processor's time, so that other work of the machine does not count. Nothing here waits for a disk: the state
// file is synchronised at checkpoints only.
double now() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

void check(int status) {
  if (status == VSSIM_OK)
    return;
  std::fprintf(stderr, "measure_frames: %s\n", vssim_error());
  std::exit(1);
}

double median_of(std::vector<double> figures) {
  std::sort(figures.begin(), figures.end());
  return figures[figures.size() / 2];
}

// How many of its units an action does in a second: the median of some runs.
double rate(double seconds, std::function<double()> const &action) {
  std::vector<double> figures;
  action();
  for (int run = 0; run < runs; ++run) {
    double units = 0;
    double const began = now();
    do
      units += action();
    while (now() - began < seconds / runs);
    figures.push_back(units / (now() - began));
  }
  return median_of(figures);
}

std::string mac_text(std::uint64_t mac) {
  char text[18];
  std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", static_cast<unsigned>(mac >> 40 & 0xff),
                static_cast<unsigned>(mac >> 32 & 0xff), static_cast<unsigned>(mac >> 24 & 0xff),
                static_cast<unsigned>(mac >> 16 & 0xff), static_cast<unsigned>(mac >> 8 & 0xff),
                static_cast<unsigned>(mac & 0xff));
  return text;
}

// A switch with an uplink and ports that learn.
std::string description(std::uint32_t ports, std::uint32_t limit = 4096) {
  Json json{{"format", 1},
            {"mac_learning", {{"limit", 1048576}}},
            {"physical_nics", {{{"name", "nic0"}, {"mac", "02:00:00:00:00:01"}}}},
            {"switches", {{{"alias", "sw"}, {"switch_id", "id"}, {"uplinks", {{{"name", "nic0"}}}}}}}};
  Json list = Json::array();
  for (std::uint32_t i = 0; i < ports; ++i) {
    list.push_back({{"dvport_id", "p" + std::to_string(i)},
                    {"client", {{"name", "c"}, {"type", "vnic"}, {"mac", mac_text(0x020000000100 + i)}}},
                    {"mac_learning", {{"limit", limit}, {"flooding", false}}}});
  }
  json["switches"][0]["max_ports"] = 8192;
  json["switches"][0]["ports"] = std::move(list);
  return json.dump();
}

class Host {
 public:
  explicit Host(char const *path, std::uint32_t ports, std::uint32_t limit = 4096) : ports_(ports) {
    check(vssim_open(path, description(ports, limit).c_str(), &host_));
    for (std::uint32_t i = 0; i < ports; ++i) {
      endpoints_.emplace_back();
      check(vssim_port(host_, "sw", ("p" + std::to_string(i)).c_str(), &endpoints_.back()));
    }
  }
  Host(Host const &) = delete;
  Host &operator=(Host const &) = delete;
  ~Host() { vssim_close(host_); }

  operator vssim_host *() const { return host_; }

  // From a learned address to another one; 0xffffffffffff for the destination: to all.
  vssim_frame frame(std::uint64_t destination, std::uint64_t source, std::uint32_t port) {
    std::vector<unsigned char> &bytes = frames_.emplace_back(frame_size);
    for (std::size_t i = 0; i < 6; ++i) {
      bytes[i] = static_cast<unsigned char>(destination >> (40 - 8 * i));
      bytes[6 + i] = static_cast<unsigned char>(source >> (40 - 8 * i));
    }
    bytes[12] = 0x88;
    bytes[13] = 0xb5;
    return {endpoints_[port % ports_], frame_size, bytes.data()};
  }

  // Each of the addresses sends to another one, which has been learned; they are behind some of the ports.
  std::vector<vssim_frame> unicast(std::uint32_t ports = 64) {
    std::vector<vssim_frame> frames;
    for (std::uint32_t i = 0; i < addresses; ++i)
      frames.push_back(frame(first_learned + (i * 7 + 3) % addresses, first_learned + i, i % ports));
    check(vssim_send(host_, frames.data(), addresses, 0, nullptr));
    frames.resize(batch);
    return frames;
  }

  // The frames that are sent, by the units that a result counts.
  double send(std::vector<vssim_frame> const &frames, int what) {
    vssim_result *result = nullptr;
    check(vssim_send(host_, frames.data(), static_cast<std::uint32_t>(frames.size()), 0, &result));
    auto const units = static_cast<double>(vssim_total(result, what));
    vssim_result_free(result);
    return units;
  }

 private:
  vssim_host *host_ = nullptr;
  std::uint32_t ports_;
  std::vector<vssim_endpoint> endpoints_;
  std::vector<std::vector<unsigned char>> frames_;
};

std::filesystem::path folder;

std::string new_file() {
  static int number = 0;
  return (folder / ("host" + std::to_string(++number) + ".db")).string();
}

void measure_sending(Json &figures, double seconds) {
  Host file(new_file().c_str(), 64);
  std::vector<vssim_frame> const unicast = file.unicast();
  figures["batch_unicast_frames_per_second"] = rate(seconds, [&] { return file.send(unicast, 0); });
  std::vector<vssim_frame> const flood(batch, file.frame(0xffffffffffff, first_learned, 0));
  figures["batch_flood_copies_per_second"] = rate(seconds, [&] { return file.send(flood, 1); });
  figures["single_frames_per_second_file"] = rate(seconds, [&] { return file.send({unicast[0]}, 0); });
  Host memory(nullptr, 64);
  std::vector<vssim_frame> const in_memory = memory.unicast();
  figures["batch_unicast_frames_per_second_memory"] = rate(seconds, [&] { return memory.send(in_memory, 0); });
  figures["single_frames_per_second_memory"] = rate(seconds, [&] { return memory.send({in_memory[0]}, 0); });
  figures["explanations_microseconds"] = 1e6 / rate(seconds, [&] {
                                           vssim_result *result = nullptr;
                                           check(vssim_explain(file, &unicast[0], &result));
                                           vssim_result_free(result);
                                           return 1;
                                         });
  Host many(new_file().c_str(), 8191);  // and the port of the uplink
  std::vector<vssim_frame> const of_many = many.unicast();
  figures["batch_unicast_frames_per_second_8192_ports"] = rate(seconds, [&] { return many.send(of_many, 0); });
  // Each frame comes from another port: a batch writes as many rows.
  std::vector<vssim_frame> const everywhere = many.unicast(8191);
  figures["batch_unicast_frames_per_second_from_512_ports"] = rate(seconds, [&] { return many.send(everywhere, 0); });
}

void measure_hosts(Json &figures, double seconds) {
  std::string const text = description(100);
  Host host(nullptr, 100);
  auto const milliseconds = [&](std::function<void()> const &action) {
    return 1e3 / rate(seconds, [&] {
             action();
             return 1;
           });
  };
  figures["fork_milliseconds_100_ports"] = milliseconds([&] {
    vssim_host *copy = nullptr;
    check(vssim_fork(host, &copy));
    vssim_close(copy);
  });
  figures["fresh_host_milliseconds_100_ports"] = milliseconds([&] {
    vssim_host *fresh = nullptr;
    check(vssim_open(nullptr, text.c_str(), &fresh));
    vssim_close(fresh);
  });
  figures["reset_milliseconds_100_ports"] = milliseconds([&] { check(vssim_reset(host)); });
}

// A write of the configuration by itself, and with a batch of frames before each.
void measure_configuration(Json &figures) {
  Host host(new_file().c_str(), 64);
  std::vector<vssim_frame> const frames = host.unicast();
  check(vssim_use(host));
  unsigned mtu = 1500;
  auto const write = [&] {
    if (VSDVS_SetMTU("sw", mtu = mtu == 1500 ? 1501 : 1500) != 0)
      std::exit(1);
  };
  // One by one in both cases: a clock is read, and other code has run before. What runs is a frame of another host,
  // too.
  Host other(nullptr, 64);
  std::vector<vssim_frame> const of_other = other.unicast();
  auto const writes_after = [&](std::function<void()> const &traffic) {
    std::vector<double> rates;
    for (int run = 0; run < runs * 200; ++run) {
      traffic();
      double const began = now();
      write();
      rates.push_back(1 / (now() - began));
    }
    return median_of(rates);
  };
  figures["configuration_writes_per_second"] = writes_after([&] { other.send({of_other[0]}, 0); });
  figures["configuration_writes_per_second_beside_traffic"] = writes_after([&] { host.send({frames[0]}, 0); });
  double const began = now();
  host.send(frames, 0);
  figures["first_batch_after_a_write_milliseconds"] = (now() - began) * 1e3;
  check(vssim_unuse(host));
}

void measure_addresses(Json &figures) {
  constexpr std::uint32_t count = 1048576;
  constexpr std::uint32_t ports = 256;
  constexpr std::uint32_t at_once = 65536;
  Host host(new_file().c_str(), ports, count / ports);
  check(vssim_stop_clock(host, 0));
  double learning = 0;
  for (std::uint32_t first = 0; first < count; first += at_once) {
    std::vector<vssim_frame> frames;
    for (std::uint32_t i = first; i < first + at_once; ++i)
      frames.push_back(host.frame(0x020000000100, first_learned + i, i));
    double const began = now();
    check(vssim_send(host, frames.data(), at_once, VSSIM_COUNT_ONLY, nullptr));
    learning += now() - began;
  }
  double const began = now();
  check(vssim_advance(host, 600000000, nullptr));
  figures["million_addresses_with_the_store"] = {{"learn_seconds", learning}, {"age_seconds", now() - began}};
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): what fails ends the measurement.
int main(int argc, char **argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: measure_frames RESULT.json [SECONDS]\n");
    return 2;
  }
  double const seconds = argc > 2 ? std::atof(argv[2]) : 1;
  std::string pattern = (std::filesystem::temp_directory_path() / "measure-frames-XXXXXX").string();
  if (!mkdtemp(pattern.data()))
    return 1;
  folder = pattern;
  Json figures;
  measure_sending(figures, seconds);
  measure_hosts(figures, seconds);
  measure_configuration(figures);
  measure_addresses(figures);
  std::ofstream(argv[1]) << figures.dump(2) << "\n";
  std::printf("%s\n", figures.dump(2).c_str());
  std::filesystem::remove_all(folder);
}
