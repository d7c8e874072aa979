// Measures the data plane by itself: frames in a second with few and many ports, copies of floods, and a table of a
// million learned addresses. Prints a table and writes the figures as JSON.
//
// Usage: measure_forwarding RESULT.json [SECONDS]  (SECONDS for each figure, default 1)
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <nlohmann/json.hpp>
#include <vector>

#include "constants/constants.hpp"
#include "platform/forwarding/pipeline.hpp"

using namespace forwarding;

namespace {

using Packet = std::vector<std::uint8_t>;

constexpr int runs = 5;
constexpr std::size_t packet_size = 64;
constexpr std::int64_t second = 1000000;
constexpr std::int64_t start = 1700000000 * second;

// Of the processor's time, so that other work of the machine does not count.
double now() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double seconds_since(double began) {
  return now() - began;
}

constexpr MacAddress client_address(std::uint32_t port) {
  return 0x020000000000 + port;
}

constexpr MacAddress learned_address(std::uint32_t number) {
  return 0x020001000000 + number;
}

// A switch whose ports learn, up to a limit each, with an uplink behind the last one.
Configuration host_of(std::uint32_t ports, std::uint32_t limit) {
  Configuration configuration;
  configuration.nics.resize(1);
  SwitchConfiguration &vswitch = configuration.switches.emplace_back();
  vswitch.learned_limit = 1048576;
  Team &team = vswitch.teams[0];
  team.load_balance = constant::TEAM_FRP_TYPE_LB_SRCID;
  team.criteria = constant::TEAM_FRP_CRIT_LINK_STATE;
  team.active = {0};
  for (std::uint32_t number = 1; number <= ports + 1; ++number) {
    PortConfiguration &port = vswitch.ports.emplace_back();
    port.number = number;
    if (number > ports) {
      port.vlan = every_vlan();
      vswitch.uplinks.push_back({number, 0, std::nullopt});
      break;
    }
    Client &client = port.client.emplace();
    client.assigned = client.effective = client_address(number);
    port.learning = LearningPolicy{true, false, limit, false};
  }
  return configuration;
}

Packet packet(MacAddress destination, MacAddress source) {
  Packet bytes(packet_size);
  for (std::size_t i = 0; i < mac_size; ++i) {
    bytes[i] = static_cast<std::uint8_t>(destination >> (40 - 8 * i));
    bytes[mac_size + i] = static_cast<std::uint8_t>(source >> (40 - 8 * i));
  }
  bytes[12] = 0x88;
  bytes[13] = 0xb5;
  return bytes;
}

// Counts what comes out, and keeps the bytes as a result would.
struct Keeper : Sink {
  std::vector<std::uint8_t> room = std::vector<std::uint8_t>(1 << 20);
  std::size_t used = 0;
  std::uint64_t deliveries = 0;
  std::uint64_t drops = 0;

  void deliver(Delivery const &delivery) override {
    if (used + delivery.bytes.size() > room.size())
      used = 0;
    std::copy(delivery.bytes.begin(), delivery.bytes.end(), room.begin() + static_cast<std::ptrdiff_t>(used));
    used += delivery.bytes.size();
    ++deliveries;
  }
  void drop(Drop const & /*drop*/) override { ++drops; }
  void consume() override {}
};

template <typename Measure>
double median(Measure const &measure) {
  std::vector<double> figures;
  for (int i = 0; i < runs; ++i)
    figures.push_back(measure());
  std::sort(figures.begin(), figures.end());
  return figures[runs / 2];
}

struct Running {
  Tables tables;
  Traffic traffic{tables};
  Keeper keeper;

  explicit Running(Configuration configuration) : tables(std::move(configuration)) {}
  void send(std::uint32_t port, Packet const &bytes, std::int64_t at) {
    forward(tables, traffic, at, {Place::port(port - 1), bytes}, keeper);
  }
};

// Each of 1000 learned addresses sends to another one.
double unicast_rate(std::uint32_t ports, double seconds) {
  constexpr std::uint32_t addresses = 1000;
  Running running(host_of(ports, 4096));
  std::vector<Packet> packets;
  for (std::uint32_t i = 0; i < addresses; ++i) {
    packets.push_back(packet(learned_address((i * 7 + 3) % addresses), learned_address(i)));
    running.send(i % ports + 1, packets.back(), start);
  }
  return median([&] {
    std::uint64_t frames = 0;
    double const began = now();
    while (seconds_since(began) < seconds / runs) {
      for (std::uint32_t i = 0; i < addresses; ++i)
        running.send(i % ports + 1, packets[i], start + static_cast<std::int64_t>(frames));
      frames += addresses;
    }
    return static_cast<double>(frames) / seconds_since(began);
  });
}

double flood_rate(std::uint32_t ports, double seconds) {
  Running running(host_of(ports, 4096));
  Packet const bytes = packet(broadcast_address, client_address(1));
  return median([&] {
    std::uint64_t const before = running.keeper.deliveries;
    double const began = now();
    while (seconds_since(began) < seconds / runs)
      running.send(1, bytes, start);
    return static_cast<double>(running.keeper.deliveries - before) / seconds_since(began);
  });
}

// A million addresses behind 256 ports: learned, looked up (nanoseconds each), and aged.
nlohmann::json large_table() {
  constexpr std::uint32_t ports = 256;
  constexpr std::uint32_t addresses = 1048576;
  constexpr std::uint32_t stride = 7919;
  std::vector<double> learning;
  std::vector<double> look_up;
  std::vector<double> aging;
  std::vector<double> copying;
  for (int run = 0; run < runs; ++run) {
    Running running(host_of(ports, addresses / ports));
    Packet bytes = packet(client_address(1), 0);
    double began = now();
    for (std::uint32_t i = 0; i < addresses; ++i) {
      for (std::size_t k = 0; k < mac_size; ++k)
        bytes[mac_size + k] = static_cast<std::uint8_t>(learned_address(i) >> (40 - 8 * k));
      running.send(i % ports + 1, bytes, start + i);
    }
    learning.push_back(seconds_since(began));
    MacTable const &table = running.traffic.table(0);
    if (table.size() != addresses)
      std::abort();
    began = now();
    std::uint64_t sum = 0;
    for (std::uint32_t i = 0; i < addresses; ++i)
      sum += table.find(address_key(learned_address(i * stride % addresses), 0));
    look_up.push_back(seconds_since(began) / addresses * 1e9);
    if (sum == 0)
      std::abort();
    began = now();
    Traffic copy = running.traffic;
    copying.push_back(seconds_since(began));
    began = now();
    copy.age(running.tables, 0, start + 10000 * second);
    aging.push_back(seconds_since(began));
    if (copy.table(0).size() != 0)
      std::abort();
  }
  auto const middle = [](std::vector<double> &figures) {
    std::sort(figures.begin(), figures.end());
    return figures[figures.size() / 2];
  };
  return {{"learn_seconds", middle(learning)},
          {"look_up_nanoseconds", middle(look_up)},
          {"copy_seconds", middle(copying)},
          {"age_seconds", middle(aging)}};
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): what fails ends the measurement.
int main(int argc, char **argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: measure_forwarding RESULT.json [SECONDS]\n");
    return 2;
  }
  double const seconds = argc > 2 ? std::atof(argv[2]) : 1;
  nlohmann::json figures;
  figures["unicast_frames_per_second_64_ports"] = unicast_rate(64, seconds);
  figures["unicast_frames_per_second_8192_ports"] = unicast_rate(8192, seconds);
  figures["flood_copies_per_second_64_ports"] = flood_rate(64, seconds);
  figures["flood_copies_per_second_8192_ports"] = flood_rate(8192, seconds);
  figures["million_addresses"] = large_table();
  std::ofstream(argv[1]) << figures.dump(2) << "\n";
  std::printf("%s\n", figures.dump(2).c_str());
}
