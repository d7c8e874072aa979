// A host for the tests: one switch whose ports are known by number, and what became of each frame as one line.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "constants/constants.hpp"
#include "platform/forwarding/pipeline.hpp"
#include "tests/forwarding/bytes.hpp"

namespace forwarding {

// The address of the client of a port, and one that is nobody's.
constexpr MacAddress address_of(std::uint32_t port) {
  return 0x020000000100 + port;
}
constexpr MacAddress outside(std::uint32_t number) {
  return 0x020000ff0000 + number;
}

constexpr MacAddress everybody = broadcast_address;
constexpr MacAddress a_group = 0x01005e000116;

inline void put(Packet &packet, std::uint64_t number, unsigned bytes) {
  while (bytes-- > 0)
    packet.push_back(static_cast<std::uint8_t>(number >> (8 * bytes)));
}

// 60 bytes: addresses, a type that nobody knows, and a payload that counts up.
inline Packet packet(MacAddress destination, MacAddress source, std::uint16_t type = 0x88b5) {
  Packet bytes;
  put(bytes, destination, 6);
  put(bytes, source, 6);
  put(bytes, type, 2);
  while (bytes.size() < 60)
    bytes.push_back(static_cast<std::uint8_t>(bytes.size()));
  return bytes;
}

// With a further tag in front.
inline Packet tagged(Packet bytes, unsigned tag, std::uint16_t type = ethertype_vlan) {
  Packet in_front;
  put(in_front, type, 2);
  put(in_front, tag, 2);
  bytes.insert(bytes.begin() + 12, in_front.begin(), in_front.end());
  return bytes;
}

// What became of a frame. Places are the numbers of ports, or n0, n1, ... for NICs.
struct Outcomes : Sink {
  struct Delivered {
    std::string place;
    DeliveryKind kind;
    Form form;
    Packet bytes;
  };
  Tables const &tables;
  std::vector<Delivered> deliveries;
  std::string line;  // deliveries, those of promiscuous ports with a star, copies with a plus, and drops
  std::vector<std::string> steps;
  bool explains = false;
  int consumed = 0;

  explicit Outcomes(Tables const &of_tables) : tables(of_tables) {}

  std::string name(Place place) const {
    return place.kind == Place::Kind::nic ? "n" + std::to_string(place.index)
                                          : std::to_string(tables.ports[place.index].number);
  }
  void add(std::string const &word) { line += (line.empty() ? "" : " ") + word; }

  void deliver(Delivery const &delivery) override {
    std::string const place = name(delivery.place);
    deliveries.push_back({place, delivery.kind, delivery.form, {delivery.bytes.begin(), delivery.bytes.end()}});
    constexpr char const *kinds[] = {"", "*", "+", ""};
    add(place + kinds[static_cast<std::size_t>(delivery.kind)]);
  }
  void drop(Drop const &drop) override {
    add((drop.stage == Stage::in ? "in:" : "out:") + name(drop.place) + ":" +
        reason_name(static_cast<unsigned>(drop.reason)));
  }
  void consume() override {
    ++consumed;
    add("consumed");
  }
  bool wants_steps() const override { return explains; }
  void step(Step const &step) override {
    constexpr char const *outcomes[] = {"", " drop", " deliver", " consume"};
    steps.push_back(std::string(rule_id(step.rule)) + " " + name(step.place) +
                    outcomes[static_cast<std::size_t>(step.outcome)] + " | " + step.text);
  }

  Packet bytes_at(std::string const &place) const {
    for (Delivered const &delivered : deliveries) {
      if (delivered.place == place)
        return delivered.bytes;
    }
    return {};
  }
};

inline constexpr std::int64_t second = 1000000;

// A switch with ports 1 to 3 (clients), and uplink ports 11 and 12 with NICs n0 and n1, of which the policy chooses the
// first. Tests change the configuration, then send; a further change takes effect with `restart`.
class World : public testing::Test {
 protected:
  World() {
    configuration.switches.emplace_back();
    for (std::uint32_t number : {1, 2, 3})
      add_client(number);
    add_uplink(11);
    add_uplink(12);
    team().load_balance = constant::TEAM_FRP_TYPE_FO_EXPLICIT;
    team().criteria = constant::TEAM_FRP_CRIT_LINK_STATE;
    team().wanted.emplace();
  }

  SwitchConfiguration &vswitch() { return configuration.switches[0]; }
  Team &team() { return vswitch().teams[0]; }

  PortConfiguration &port(std::uint32_t number) {
    auto const found = std::find_if(vswitch().ports.begin(), vswitch().ports.end(),
                                    [&](PortConfiguration const &one) { return one.number == number; });
    return *found;
  }
  PortConfiguration &add_port(std::uint32_t number) {
    vswitch().ports.emplace_back().number = number;
    return vswitch().ports.back();
  }
  PortConfiguration &add_client(std::uint32_t number) {
    PortConfiguration &added = add_port(number);
    added.client.emplace();
    added.client->assigned = added.client->effective = address_of(number);
    return added;
  }
  // With a NIC of the next number, and in the switch's policy.
  void add_uplink(std::uint32_t number) {
    add_port(number).vlan = every_vlan();
    team().active.push_back(static_cast<UplinkPosition>(vswitch().uplinks.size()));
    vswitch().uplinks.push_back({number, static_cast<std::uint32_t>(configuration.nics.size()), std::nullopt});
    configuration.nics.emplace_back();
  }
  void access(std::uint32_t number, std::uint16_t vlan) { port(number).vlan.vlan = vlan; }
  void trunk(std::uint32_t number, std::uint16_t native, std::vector<VlanRange> ranges = {}) {
    VlanPolicy &policy = port(number).vlan;
    policy.kind = VlanPolicy::Kind::trunk;
    policy.vlan = native;
    policy.ranges = std::move(ranges);
  }
  void private_port(std::uint32_t number, std::uint16_t vlan) {
    port(number).vlan.kind = VlanPolicy::Kind::private_vlan;
    port(number).vlan.vlan = vlan;
  }
  LearningPolicy &learning(std::uint32_t number) {
    if (!port(number).learning)
      port(number).learning.emplace();
    return *port(number).learning;
  }
  // Ports learn, and so the uplinks do.
  void learn_everywhere() {
    for (PortConfiguration &one : vswitch().ports) {
      if (one.client)
        learning(one.number).learns = true;
    }
  }

  void restart() {
    traffic.reset();
    tables = std::make_unique<Tables const>(configuration);
    traffic = std::make_unique<Traffic>(*tables);
  }
  PortIndex index(std::uint32_t number) { return *tables->find_port(number); }

  Outcomes send_from(Place place, Packet const &bytes, bool explains = false) {
    Outcomes outcomes(*tables);
    outcomes.explains = explains;
    forward(*tables, *traffic, now, {place, bytes}, outcomes);
    last = outcomes.deliveries;
    return outcomes;
  }
  Outcomes from_port(std::uint32_t number, Packet const &bytes, bool explains = false) {
    if (!tables)
      restart();
    return send_from(Place::port(index(number)), bytes, explains);
  }
  Outcomes from_nic(std::uint32_t nic, Packet const &bytes, bool explains = false) {
    if (!tables)
      restart();
    return send_from(Place::nic(nic), bytes, explains);
  }
  std::string send(std::uint32_t number, Packet const &bytes) { return from_port(number, bytes).line; }
  std::string receive(std::uint32_t nic, Packet const &bytes) { return from_nic(nic, bytes).line; }

  // What the last frame looked like at a place.
  Packet at(std::string const &place) const {
    for (Outcomes::Delivered const &delivered : last) {
      if (delivered.place == place)
        return delivered.bytes;
    }
    return {};
  }

  // The copies of the last frame at a place.
  std::vector<Packet> copies_at(std::string const &place) const {
    std::vector<Packet> copies;
    for (Outcomes::Delivered const &delivered : last) {
      if (delivered.place == place && delivered.kind == DeliveryKind::mirror)
        copies.push_back(delivered.bytes);
    }
    return copies;
  }

  // Copies, copies that failed, frames mirrored, discarded and failed of a session.
  std::string mirrored(MirrorIndex session = 0) {
    MirrorTraffic const &counted = traffic->mirror(session);
    std::string line;
    for (std::uint64_t number :
         {counted.copies, counted.copies_failed, counted.mirrored, counted.discarded, counted.failed})
      line += (line.empty() ? "" : " ") + std::to_string(number);
    return line;
  }

  PortCounters const &counters(std::uint32_t number) { return traffic->counters(index(number)); }
  SwitchCounters const &switch_counters() { return traffic->switch_counters(0); }

  // The learned addresses: address, VLAN, port, moves.
  std::string learned() {
    std::string line;
    for (LearnedAddress const &address : traffic->table(0).addresses()) {
      char text[64];
      std::snprintf(text, sizeof text, "%s%06llx/%u@%u", line.empty() ? "" : " ",
                    static_cast<unsigned long long>(address.mac & 0xffffff), unsigned{address.vlan},
                    tables->ports[address.port].number);
      line += text;
      if (address.moves)
        line += "+" + std::to_string(address.moves);
    }
    return line;
  }

  Configuration configuration;
  std::unique_ptr<Tables const> tables;
  std::unique_ptr<Traffic> traffic;
  std::int64_t now = 1000 * second;
  std::vector<Outcomes::Delivered> last;
};

}  // namespace forwarding
