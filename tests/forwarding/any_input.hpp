// Any bytes as a host and the frames that it gets, and what must hold of each frame and of all counters in the end.
#pragma once

#include <algorithm>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "constants/constants.hpp"
#include "platform/forwarding/checksum.hpp"
#include "platform/forwarding/pipeline.hpp"
#include "tests/forwarding/bytes.hpp"

namespace forwarding {

// Bytes that are taken one after the other; zeros when none are left.
class Source {
 public:
  explicit Source(std::string_view bytes) : left_(bytes) {}

  bool is_empty() const { return left_.empty(); }
  std::uint8_t byte() {
    if (left_.empty())
      return 0;
    auto const first = static_cast<std::uint8_t>(left_.front());
    left_.remove_prefix(1);
    return first;
  }
  std::uint32_t below(std::uint32_t end) {
    std::uint32_t const high = byte();  // compilers choose which of two operands comes first
    return (high << 8 | byte()) % end;
  }
  bool one_in(std::uint32_t count) { return byte() % count == 0; }

 private:
  std::string_view left_;
};

// Something does not hold.
[[noreturn]] inline void broken(std::string const &what) {
  throw std::logic_error(what);
}

inline void expect(bool holds, char const *what) {
  if (!holds)
    broken(what);
}

class AnyHost {
 public:
  explicit AnyHost(Source &source) : source_(source) {}

  Configuration make() {
    Options &options = made_.options;
    options.reverse_path_check = !source_.one_in(4);
    options.reverse_path_check_promiscuous = source_.one_in(2);
    options.fast_path = !source_.one_in(8);
    options.numa_aware = source_.one_in(4);
    made_.nics.resize(1 + source_.below(4));
    for (NicConfiguration &nic : made_.nics) {
      nic.link_up = !source_.one_in(8);
      nic.error_percent = source_.byte() % 101;
      if (source_.one_in(4))
        nic.link_back = source_.below(300000);
    }
    made_.switches.emplace_back();
    add_switch();
    add_mirrors();
    return std::move(made_);
  }

  static std::uint16_t vlan(Source &source) {
    constexpr std::uint16_t some[] = {0, 0, 1, 10, 100, 101, 102, 4094, 4095};
    return some[source.byte() % std::size(some)];
  }
  static MacAddress address(Source &source) { return 0x020000000100 + source.byte() % 24; }

 private:
  SwitchConfiguration &vswitch() { return made_.switches[0]; }

  void add_switch() {
    vswitch().is_connected = !source_.one_in(32);
    vswitch().is_disabled = source_.one_in(32);
    vswitch().aging_time = source_.byte() % 4;
    vswitch().learned_limit = source_.one_in(4) ? 3 : 65536;
    vswitch().learns_static = source_.one_in(4);
    vswitch().allows_static = !source_.one_in(8);
    vswitch().snoops_ipv4 = source_.one_in(2);
    vswitch().snoops_ipv6 = source_.one_in(2);
    if (source_.one_in(2)) {
      vswitch().private_vlans = {{100, 100, PrivateVlanType::primary},
                                 {100, 101, PrivateVlanType::isolated},
                                 {100, 102, PrivateVlanType::community}};
    }
    std::uint32_t const uplinks = source_.below(static_cast<std::uint32_t>(made_.nics.size()) + 2);
    std::uint32_t const clients = 1 + source_.below(7);
    for (std::uint32_t number = 1; number <= uplinks + clients; ++number)
      add_port(number * 3, number <= uplinks);
    for (std::uint32_t team = 0; team < 3; ++team)
      add_team();
    for (PortConfiguration &port : vswitch().ports) {
      port.team = source_.byte() % 3;
      if (uplinks && !is_uplink(port) && source_.one_in(8))
        port.tied = static_cast<UplinkPosition>(source_.below(uplinks));
    }
    if (uplinks && source_.one_in(2)) {
      LagConfiguration lag;
      lag.hash = static_cast<LagHash>(source_.byte() % 4);
      for (UplinkPosition uplink = 0; uplink < uplinks; ++uplink) {
        if (source_.one_in(2))
          lag.members.push_back({uplink, !source_.one_in(4)});
      }
      vswitch().lags.push_back(lag);
    }
  }

  // Half of the hosts mirror.
  void add_mirrors() {
    options().mirror_statistics = !source_.one_in(8);
    vswitch().own_mac = 0x027673000001;
    for (Stack &stack : made_.stacks) {
      stack.gateway = 0x027673ffffff;
      stack.ipv4 = ip({192, 0, 2, 1});
      stack.ipv6 = ip(Packet(ipv6_address_size, 0x20));
      stack.vlan = vlan(source_) % 4095;
      stack.dscp = source_.byte() % 64;
    }
    if (source_.one_in(4))
      vswitch().mtu = 100 + source_.byte();
    for (std::uint32_t count = source_.one_in(2) ? 1 + source_.byte() % 3U : 0; count > 0; --count)
      add_mirror();
  }

  Options &options() { return made_.options; }
  std::uint32_t any_port() {
    return vswitch().ports[source_.below(static_cast<std::uint32_t>(vswitch().ports.size()))].number;
  }

  IpAddress any_address() {
    Packet bytes(source_.one_in(2) ? ipv4_address_size : ipv6_address_size, source_.byte());
    bytes[0] = source_.one_in(2) ? 192 : source_.byte();
    return ip(bytes);
  }

  void add_mirror() {
    MirrorSession &session = vswitch().mirror_sessions.emplace_back();
    session.name = std::to_string(vswitch().mirror_sessions.size());
    session.is_remote_source = source_.one_in(8);
    session.is_remote_destination = source_.one_in(8);
    for (MirrorSources *const sources : {&session.in, &session.out}) {
      for (std::uint32_t count = source_.byte() % 3; count > 0; --count)
        sources->ports.push_back(any_port());
      if (source_.one_in(3))
        sources->vlans.push_back(vlan(source_));
      sources->all_vnics = source_.one_in(4);
      sources->all_uplinks = source_.one_in(4);
    }
    for (std::uint32_t count = source_.byte() % 4; count > 0; --count) {
      using Kind = MirrorDestination::Kind;
      std::uint32_t const number = any_port();
      auto const found = std::find_if(vswitch().ports.begin(), vswitch().ports.end(),
                                      [&](PortConfiguration const &port) { return port.number == number; });
      MirrorDestination destination{is_uplink(*found) ? Kind::uplink : Kind::port, number};
      if (source_.one_in(2))
        destination = {Kind::address, 0, any_address()};
      session.destinations.push_back(destination);
    }
    session.shuts_output = source_.one_in(4);
    session.shuts_input = source_.one_in(4);
    session.uplink_filter = static_cast<UplinkFilter>(source_.byte() % 6);
    for (std::uint32_t count = source_.one_in(2) ? source_.byte() % 3 : 0; count > 0; --count) {
      MirrorRule &rule = session.rules.emplace_back();
      rule.mirrors = source_.one_in(2);
      if (source_.one_in(4))
        rule.sources.push_back({any_address(), static_cast<std::uint8_t>(source_.byte() % 33)});
      if (source_.one_in(4))
        rule.destinations.push_back({any_address(), static_cast<std::uint8_t>(source_.byte() % 33)});
      if (source_.one_in(4))
        rule.protocol = source_.byte();
      if (source_.one_in(4))
        rule.source_ports = TransportPorts{source_.byte(), static_cast<std::uint16_t>(source_.below(65536))};
      if (source_.one_in(4))
        rule.destination_ports = TransportPorts{0, static_cast<std::uint16_t>(source_.below(65536))};
    }
    session.sampling_rate = source_.byte() % 4;
    session.keeps_vlan = source_.one_in(2);
    session.snap_length = source_.one_in(2) ? 0 : source_.byte();
    session.outer_vlan = static_cast<std::uint16_t>(source_.one_in(2) ? 0 : vlan(source_) % 4095);
    session.encapsulation = static_cast<Encapsulation>(source_.byte() % 3);
    session.stack = source_.byte() % 2;
    session.gre_key = source_.byte() % 3;
    session.erspan_id = static_cast<std::uint16_t>(source_.below(1024));
    session.erspan_class = source_.byte() % 8;
    session.erspan_granularity = source_.byte() % 4;
  }

  bool is_uplink(PortConfiguration const &port) {
    return std::any_of(vswitch().uplinks.begin(), vswitch().uplinks.end(),
                       [&](UplinkConfiguration const &uplink) { return uplink.port_number == port.number; });
  }

  void add_port(std::uint32_t number, bool is_uplink) {
    PortConfiguration &port = vswitch().ports.emplace_back();
    port.number = number;
    port.is_blocked = source_.one_in(16);
    if (is_uplink)
      port.vlan = every_vlan();
    if (!is_uplink || source_.one_in(3)) {
      port.vlan.kind = static_cast<VlanPolicy::Kind>(source_.byte() % 3);
      port.vlan.vlan = vlan(source_) % 4095;
      port.vlan.allows_nested = source_.one_in(2);
      if (port.vlan.kind == VlanPolicy::Kind::trunk && source_.one_in(2))
        port.vlan.ranges = {{static_cast<std::uint16_t>(source_.byte() % 2), 10}, {100, 101}};
      if (source_.one_in(4))
        port.vlan.priority = source_.byte() % 8;
      port.vlan.retains_priority = source_.one_in(2);
    }
    if (source_.one_in(2))
      port.learning = LearningPolicy{source_.one_in(2), source_.one_in(2), source_.byte() % 4U, source_.one_in(2)};
    if (is_uplink) {
      UplinkConfiguration &uplink = vswitch().uplinks.emplace_back();
      uplink.port_number = number;
      if (vswitch().uplinks.size() <= made_.nics.size())
        uplink.nic = static_cast<std::uint32_t>(vswitch().uplinks.size() - 1);
      return;
    }
    port.is_zombie = source_.one_in(32);
    if (!source_.one_in(16)) {
      Client &client = port.client.emplace();
      client.assigned = client.effective = 0x020000000100 + number;
      if (source_.one_in(8))
        client.effective = address(source_);
      client.link_up = !source_.one_in(16);
      client.is_promiscuous = source_.one_in(4);
      client.is_router = source_.one_in(4);
    }
    port.disallow_promiscuous = source_.one_in(4);
    port.disallow_mac_change = source_.one_in(4);
    port.disallow_forged_source = source_.one_in(4);
    port.filter.all_multicast = source_.one_in(8);
    port.filter.by_bucket = source_.one_in(8);
    port.filter.is_sink = source_.one_in(8);
    port.filter.addresses = {0x01005e000116};
    port.multicast.push_back(0x01005e000100 | source_.byte() % 32U);
    port.sends_to_uplink_too = source_.one_in(4);
    if (source_.one_in(8))
      vswitch().manual.push_back({address(source_), vlan(source_), number});
  }

  void add_team() {
    if (team_count_++ > 0)
      vswitch().teams.emplace_back();
    Team &team = vswitch().teams.back();
    team.load_balance = source_.byte() % 6;
    team.criteria =
        source_.one_in(2) ? static_cast<std::uint32_t>(constant::TEAM_FRP_CRIT_LINK_STATE) : source_.below(1024);
    if (source_.one_in(2))
      team.flags = source_.one_in(2) ? source_.below(128) : source_.below(16) << 16;
    if (source_.one_in(2))
      team.wanted = WantedLink{10000, true, source_.byte()};
    for (UplinkPosition uplink = 0; uplink < vswitch().uplinks.size(); ++uplink)
      (source_.one_in(4) ? team.standby : team.active).push_back(uplink);
  }

  Source &source_;
  Configuration made_;
  int team_count_ = 0;
};

inline Packet any_packet(Source &source) {
  constexpr MacAddress groups[] = {broadcast_address, 0x01005e000001, 0x01005e000116, 0x0180c2000002, 0x333300000001};
  Packet bytes;
  auto const put = [&](std::uint64_t number, unsigned count) {
    while (count-- > 0)
      bytes.push_back(static_cast<std::uint8_t>(number >> (8 * count)));
  };
  put(source.one_in(3) ? groups[source.byte() % std::size(groups)] : AnyHost::address(source), 6);
  put(source.one_in(32) ? 0 : AnyHost::address(source), 6);
  constexpr std::uint16_t tags[] = {0x8100, 0x8100, 0x88a8, 0x9100};
  for (std::uint32_t count = source.byte() % 4; count > 1; --count) {
    put(tags[source.byte() % std::size(tags)], 2);
    std::uint32_t const priority = source.byte() & 0xf;
    put(priority << 12 | AnyHost::vlan(source), 2);
  }
  constexpr std::uint16_t types[] = {0x0800, 0x86dd, 0x0806, 0x8809, 0x8922, 0x88cc};
  std::uint16_t const type = types[source.byte() % std::size(types)];
  put(type, 2);
  // A header of IP mostly, with what tells tunnels behind it, or with a chain of headers.
  if (type == 0x0800 && !source.one_in(4)) {
    put(0x45000030, 4);
    put(source.one_in(4) ? source.below(65536) : 0, 4);
    put(0x40, 1);
    put(source.one_in(2) ? 17 : source.byte() % 20, 1);
    put(0, 2);
    put(0xc0000200 + source.byte(), 4);
    put(0xc6336400 + source.byte(), 4);
  } else if (type == 0x86dd && !source.one_in(4)) {
    put(0x60000000, 4);
    put(0, 2);
    constexpr std::uint8_t next[] = {0, 43, 44, 60, 17, 6, 58, 59};
    put(next[source.byte() % std::size(next)], 1);
    put(64, 1);
    for (int i = 0; i < 32; ++i)
      put(i % 16 == 0 ? 0x20 : i % 16 == 15 ? source.byte() : 0, 1);
    for (std::uint32_t count = source.byte() % 4; count > 0; --count) {
      put(next[source.byte() % std::size(next)], 1);
      put(source.byte() % 3, 1);
      put(source.byte() % 16, 2);
      put(0, 4);
    }
  }
  if (source.one_in(2)) {
    constexpr std::uint16_t tunnels[] = {4789, 8472, 6081, 7471, 53};
    put(source.byte(), 2);
    put(tunnels[source.byte() % std::size(tunnels)], 2);
  }
  for (std::uint32_t count = source.byte() % 80; count > 0; --count)
    bytes.push_back(source.byte());
  if (source.one_in(16))
    bytes.resize(source.below(1600));
  // Cut within its addresses, its tag or its first header.
  if (source.one_in(16))
    bytes.resize(std::min<std::size_t>(bytes.size(), 10 + source.byte() % 16U));
  return bytes;
}

// A message of IGMP or MLD, mostly with right checksums, of some clients to some groups.
inline Packet any_group_message(Source &source) {
  bool const is_ipv4 = source.one_in(2);
  auto const group = [&] {
    Packet address(is_ipv4 ? ipv4_address_size : ipv6_address_size);
    address[0] = source.one_in(16) ? source.byte() : is_ipv4 ? 239 : 0xff;
    address[1] = 0x0e;
    address.back() = source.byte() % 3;
    return address;
  };
  constexpr std::uint8_t igmp_types[] = {0x11, 0x12, 0x16, 0x17, 0x22, 0x22};
  constexpr std::uint8_t mld_types[] = {130, 131, 132, 143, 143, 143};
  std::size_t const type = source.byte() % std::size(igmp_types);
  Packet message{is_ipv4 ? igmp_types[type] : mld_types[type], 0, 0, 0};
  if (message[0] == 0x22 || message[0] == 143) {
    std::uint8_t const count = source.byte() % 3;
    message = message + Packet{0, 0, 0, count};
    for (std::uint8_t record = 0; record < count; ++record) {
      std::uint8_t const sources = source.byte() % 4;
      message = message + Packet{static_cast<std::uint8_t>(source.byte() % 8), 0, 0, sources} + group();
      for (std::uint8_t i = 0; i < sources; ++i)
        message = message + group();
    }
  } else {
    message = message + Packet(is_ipv4 ? 0 : 4) + (source.one_in(4) ? zeros(group().size()) : group());
  }
  if (source.one_in(16))
    message.resize(source.below(static_cast<std::uint32_t>(message.size())) + 4);
  Packet const from = group();
  Packet const to = group();
  std::uint32_t const before = is_ipv4 ? 0 : pseudo_header_sum(from, to, message.size(), 58);
  std::uint16_t sum = internet_checksum(message, before);
  message[2] = static_cast<std::uint8_t>(sum >> 8);
  message[3] = static_cast<std::uint8_t>(sum);
  Packet header = hex("45000000 00000000 0102 0000");
  if (is_ipv4) {
    header[3] = static_cast<std::uint8_t>(20 + message.size());
    header = header + from + to;
    sum = internet_checksum(header);
    header[10] = static_cast<std::uint8_t>(sum >> 8);
    header[11] = static_cast<std::uint8_t>(sum);
  } else {
    header = hex("60000000 0000 00 01") + from + to + hex("3a00050200000100");
    header[5] = static_cast<std::uint8_t>(8 + message.size());
  }
  Packet frame = hex("333300000001 020000000100") + (is_ipv4 ? hex("0800") : hex("86dd")) + header + message;
  frame[11] = static_cast<std::uint8_t>(source.byte() % 24);
  if (source.one_in(16))
    frame.resize(frame.size() - source.below(static_cast<std::uint32_t>(frame.size())));
  return frame;
}

// Takes results, and checks them against each other.
struct Checker : Sink {
  struct Told {
    Place place;
    bool is_delivery;
    DeliveryKind kind = DeliveryKind::frame;
    Packet bytes{};
    Reason reason = Reason::none;
    Stage stage = Stage::in;
    bool operator==(Told const &) const = default;
  };
  bool explains = false;
  std::vector<Told> told{};
  int consumed = 0;
  std::size_t steps = 0;

  void deliver(Delivery const &delivery) override {
    told.push_back({delivery.place, true, delivery.kind, {delivery.bytes.begin(), delivery.bytes.end()}});
  }
  void drop(Drop const &drop) override {
    told.push_back({drop.place, false, DeliveryKind::frame, {}, drop.reason, drop.stage});
  }
  void consume() override { ++consumed; }
  bool wants_steps() const override { return explains; }
  void step(Step const & /*step*/) override { ++steps; }
};

// A frame without the tag 8100 in front.
inline Packet without_tag(Packet bytes) {
  if (bytes.size() >= 16 && bytes[12] == 0x81 && bytes[13] == 0)
    bytes.erase(bytes.begin() + 12, bytes.begin() + std::min<std::ptrdiff_t>(16, std::ssize(bytes)));
  return bytes;
}

// Whether a copy that is not encapsulated is made of the frame: it begins as that does, tags apart.
inline bool is_copy_of(Packet const &copy, Packet const &frame) {
  for (Packet const &bytes : {copy, without_tag(copy), without_tag(without_tag(copy))}) {
    for (Packet const &original : {frame, without_tag(frame)}) {
      if (bytes.size() >= ethernet_size && bytes.size() <= original.size() &&
          std::equal(bytes.begin(), bytes.end(), original.begin()))
        return true;
    }
  }
  // Cut within a tag that the copy has.
  return copy.size() >= ethernet_size && std::equal(copy.begin(), copy.begin() + 2 * mac_size, frame.begin());
}

// Of two bytes.
inline std::size_t number_at(Packet const &bytes, std::size_t at) {
  return std::size_t{bytes[at]} << 8 | bytes[at + 1];
}

// Whether it is one behind headers that were put in front of it.
inline bool is_encapsulated(Packet const &copy, Packet const &frame) {
  Packet const outer = without_tag(copy);
  std::size_t const ip_at = ethernet_size;
  if (outer.size() < ip_at + 20 || outer[0] != 0x02 || outer[1] != 0x76 || outer[5] != 0xff)
    return false;
  bool const is_ipv6 = outer[12] == 0x86;
  std::size_t const gre_at = ip_at + (is_ipv6 ? 40 : 20);
  if (outer[ip_at + (is_ipv6 ? 6 : 9)] != 47 || outer.size() < gre_at + 4)
    return false;
  std::size_t const length = is_ipv6 ? 40 + number_at(outer, ip_at + 4) : number_at(outer, ip_at + 2);
  expect(ip_at + length == outer.size(), "E-0: the packet is as long as it says");
  bool const has_key = (outer[gre_at] & 0x20) != 0;
  std::size_t const type = number_at(outer, gre_at + 2);
  std::size_t const inner_at = gre_at + 4 + (type == 0x6558 ? (has_key ? 4 : 0) : type == 0x88be ? 12 : 16);
  return inner_at <= outer.size() &&
         is_copy_of({outer.begin() + static_cast<std::ptrdiff_t>(inner_at), outer.end()}, frame);
}

// M-4, M-10, API-7: copies come last, and none is of a copy.
inline void check_copies(Tables const &tables, Packet const &frame, Checker const &checker) {
  std::size_t copies = 0;
  for (Checker::Told const &told : checker.told) {
    if (!told.is_delivery)
      continue;
    bool const is_copy = told.kind == DeliveryKind::mirror;
    expect(is_copy || copies == 0, "API-7: copies come behind the frames");
    copies += is_copy;
    if (is_copy)
      expect(is_copy_of(told.bytes, frame) || is_encapsulated(told.bytes, frame), "M-10: a copy is of the frame");
  }
  std::size_t most = 0;
  for (Mirror const &mirror : tables.mirrors)
    most += mirror.destinations.size();
  expect(copies <= most, "M-4: copies are never mirrored");
}

inline PortIndex port_at(Tables const &tables, Place place) {
  return place.kind == Place::Kind::nic ? tables.port_of_nic[place.index] : place.index;
}

// P-2 to P-4, V-12, API-7.
inline void check_frame(Tables const &tables, Frame const &frame, Checker const &checker) {
  Packet const original(frame.bytes.begin(), frame.bytes.end());
  check_copies(tables, original, checker);
  bool const is_told = std::any_of(checker.told.begin(), checker.told.end(), [](Checker::Told const &told) {
    return !told.is_delivery || told.kind != DeliveryKind::mirror;
  });
  expect((checker.consumed != 0) != is_told && checker.consumed <= 1, "P-3: a frame is delivered, dropped or consumed");
  std::vector<Place> places{frame.from};
  bool is_dropped_in = false;
  std::uint32_t last_delivery = 0;
  std::uint32_t last_drop = 0;
  for (Checker::Told const &told : checker.told) {
    if (told.is_delivery && told.kind == DeliveryKind::mirror)
      continue;
    if (!told.is_delivery && told.stage == Stage::in) {
      expect(!is_dropped_in && told.place == frame.from, "P-2: one drop on the way in, at the place of the frame");
      is_dropped_in = true;
      continue;
    }
    expect(std::find(places.begin(), places.end(), told.place) == places.end(), "P-4: a place takes a frame once");
    places.push_back(told.place);
    std::uint32_t const number = tables.ports[port_at(tables, told.place)].number;
    std::uint32_t &latest = told.is_delivery ? last_delivery : last_drop;
    expect(number > latest, "API-7: by port number");
    latest = number;
    if (!told.is_delivery)
      continue;
    expect(told.bytes == original || without_tag(told.bytes) == original || told.bytes == without_tag(original) ||
               without_tag(told.bytes) == without_tag(original),
           "V-12: only the tag changes");
  }
  for (Checker::Told const &told : checker.told) {
    if (is_dropped_in && (told.is_delivery ? told.kind == DeliveryKind::frame : told.stage == Stage::out))
      broken("P-2: a drop on the way in ends the frame");
  }
}

struct Expected {
  std::uint64_t out = 0;
  std::uint64_t out_bytes = 0;
  std::uint64_t out_dropped = 0;
  std::uint64_t in_dropped = 0;
};

// Sends the frames of an input to the host that it begins with, and notes for what reasons they were dropped. Throws
// std::logic_error where something does not hold.
inline void forward_any(std::string_view input, std::set<Reason> &seen) {
  Source source(input);
  Tables const tables(AnyHost(source).make());
  Traffic traffic(tables);
  std::map<PortIndex, Expected> expected;
  std::uint64_t copies = 0;
  std::int64_t now = 0;
  while (!source.is_empty()) {
    now += source.one_in(4) ? source.below(65536) * 50 : 0;
    bool const is_from_nic = source.one_in(2);
    Place from = Place::nic(source.below(static_cast<std::uint32_t>(tables.port_of_nic.size())));
    if (!is_from_nic) {
      from = Place::port(source.below(static_cast<std::uint32_t>(tables.ports.size())));
      if (tables.ports[from.index].is_uplink())
        continue;
    }
    Packet const bytes = source.one_in(4) ? any_group_message(source) : any_packet(source);
    Frame const frame{from, bytes};

    Traffic copy = traffic;
    Checker explained;
    explained.explains = true;
    forward(tables, copy, now, frame, explained);
    Checker checker;
    forward(tables, traffic, now, frame, checker);
    check_frame(tables, frame, checker);
    expect(checker.told == explained.told && checker.consumed == explained.consumed && explained.steps > 0,
           "API-8: an explanation tells what happens");
    for (Checker::Told const &told : checker.told) {
      seen.insert(told.reason);
      PortIndex const port = port_at(tables, told.place);
      if (port == nowhere)
        continue;
      Expected &here = expected[port];
      here.out += told.is_delivery;
      copies += told.is_delivery && told.kind == DeliveryKind::mirror;
      here.out_bytes += told.bytes.size();
      here.out_dropped += !told.is_delivery && told.stage == Stage::out;
      here.in_dropped += !told.is_delivery && told.stage == Stage::in;
    }
  }
  for (auto const &[key, membership] : traffic.memberships(0).all()) {
    expect(key.group.is_group() && membership.is_reported() && !tables.ports[key.port].is_uplink(),
           "IG-8: clients join groups by their reports");
    expect(std::is_sorted(membership.sources.begin(), membership.sources.end()), "sources stand in order");
  }
  for (MirrorIndex index = 0; index < tables.mirrors.size(); ++index) {
    MirrorTraffic const &counted = traffic.mirror(index);
    copies -= tables.options.mirror_statistics ? counted.copies : 0;
    std::uint64_t const all = counted.copies + counted.copies_failed;
    expect(counted.mirrored <= counted.copies && counted.mirrored + counted.failed <= all,
           "M-12: a frame has copies or failed ones");
  }
  expect(copies == 0 || !tables.options.mirror_statistics, "M-12: copies are counted");
  std::vector<std::uint32_t> learned(tables.ports.size());
  for (LearnedAddress const &address : traffic.table(0).addresses())
    ++learned[address.port];
  for (PortIndex port = 0; port < tables.ports.size(); ++port) {
    PortCounters const &counters = traffic.counters(port);
    DirectionCounters const &out = counters.out;
    Expected const &here = expected[port];
    expect(out.unicast + out.multicast + out.broadcast == here.out, "C-5: a delivery is counted where it arrives");
    expect(out.unicast_bytes + out.multicast_bytes + out.broadcast_bytes == here.out_bytes, "C-3: bytes");
    expect(out.dropped == here.out_dropped, "drops on the way out are counted");
    expect(counters.in.dropped + counters.not_learned_dropped == here.in_dropped, "drops on the way in are counted");
    expect(learned[port] == traffic.table(0).count_at(port), "MAC-9: addresses are counted by port");
  }
}

}  // namespace forwarding
