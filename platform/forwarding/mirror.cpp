// Mirror sessions and the frame that is on its way: which select it, which copies they make of it, and for whom.
#include "platform/forwarding/mirror.hpp"

#include <algorithm>
#include <string>

#include "constants/constants.hpp"
#include "platform/forwarding/encapsulation.hpp"

namespace forwarding {

namespace {

// ---- which frames -------------------------------------------------------------------------------------------------

bool has_bits(Bytes address, IpPrefix const &prefix) {
  constexpr unsigned byte_bits = 8;
  Bytes const wanted = prefix.address.bytes();
  if (address.size() != wanted.size())
    return false;
  std::size_t const whole = prefix.length / byte_bits;
  unsigned const rest = prefix.length % byte_bits;
  if (!std::equal(address.begin(), address.begin() + static_cast<std::ptrdiff_t>(whole), wanted.begin()))
    return false;
  return rest == 0 || (address[whole] ^ wanted[whole]) >> (byte_bits - rest) == 0;
}

bool is_in(std::vector<IpPrefix> const &prefixes, Bytes address) {
  return prefixes.empty() || std::any_of(prefixes.begin(), prefixes.end(),
                                         [&](IpPrefix const &prefix) { return has_bits(address, prefix); });
}

bool is_in(std::optional<TransportPorts> const &range, std::uint32_t port) {
  return !range || (range->first <= port && port <= range->last);
}

bool matches(MirrorRule const &rule, std::optional<IpPacket> const &ip) {
  bool const wants_ports = rule.source_ports || rule.destination_ports;
  if (!ip)
    return rule.sources.empty() && rule.destinations.empty() && !rule.protocol && !wants_ports;
  if (!is_in(rule.sources, ip->source) || !is_in(rule.destinations, ip->destination))
    return false;
  if (rule.protocol && rule.protocol != ip->protocol)
    return false;
  return !wants_ports || (ip->ports && is_in(rule.source_ports, *ip->ports >> 16) &&
                          is_in(rule.destination_ports, ip->destination_port()));
}

// M-9.
bool is_admitted(std::vector<MirrorRule> const &rules, std::optional<IpPacket> const &ip) {
  for (MirrorRule const &rule : rules) {
    if (matches(rule, ip))
      return rule.mirrors;
  }
  return std::none_of(rules.begin(), rules.end(), [](MirrorRule const &rule) { return rule.mirrors; });
}

// M-8.
bool is_admitted(UplinkFilter filter, std::optional<IpPacket> const &ip) {
  constexpr std::uint16_t stt = 7471;
  constexpr std::uint16_t vxlan = 4789;
  constexpr std::uint16_t vxlan_of_old = 8472;
  constexpr std::uint16_t geneve = 6081;
  UplinkFilter kind = UplinkFilter::normal;
  if (ip && ip->ports) {
    std::uint16_t const port = ip->destination_port();
    if (ip->protocol == protocol_tcp)
      kind = port == stt ? UplinkFilter::stt : kind;
    else if (port == vxlan || port == vxlan_of_old)
      kind = UplinkFilter::vxlan;
    else if (port == geneve)
      kind = UplinkFilter::geneve;
  }
  if (filter == UplinkFilter::all_encapsulated)
    return kind != UplinkFilter::normal;
  return filter == UplinkFilter::none || filter == kind;
}

bool is_source(Mirror const &mirror, Passage const &passage, PortIndex port, Direction direction) {
  MirrorSession const &session = *mirror.session;
  if (session.is_remote_source && is_reserved(passage.header.destination))
    return false;
  Mirror::Sources const &sources = direction == Direction::in ? mirror.in : mirror.out;
  if (sources.ports[port - passage.vswitch->first_port])
    return true;
  bool const is_where_vlans_count = !session.is_remote_destination || passage.tables.ports[port].is_uplink();
  return is_where_vlans_count && sources.vlans[passage.in_vlan.vlan];
}

// ---- their copies -------------------------------------------------------------------------------------------------

// The copies that one session makes of the frame.
class Copying {
 public:
  Copying(Passage const &passage, MirrorIndex index, MirrorSelection const &selection, std::int64_t now, Sink &sink)
      : passage_(passage),
        index_(index),
        mirror_(passage.tables.mirrors[index]),
        session_(*mirror_.session),
        selection_(selection),
        now_(now),
        sink_(sink),
        explains_(sink.wants_steps()) {}

  void run();

 private:
  bool takes_part(Mirror::Destination const &destination) const {
    return destination.kind != MirrorDestination::Kind::port || destination.port != passage_.from;
  }
  bool is_left_out();
  bool leave_out(Rule rule);
  void make_copy();
  bool hand_over(Mirror::Destination const &destination);
  bool hand_over_to_address(std::uint32_t address);
  bool fail(Rule rule, Place place, char const *why) const;
  void deliver(PortIndex port, Bytes bytes) const;
  MirrorTraffic &counted() const { return passage_.traffic.count_mirror(index_); }
  void count(std::uint64_t MirrorTraffic::*counter) const {
    if (passage_.tables.options.mirror_statistics)
      ++(counted().*counter);
  }
  void explain(Rule rule, Place place, std::string const &text, Outcome outcome = Outcome::go_on) const {
    sink_.step({rule, place, "mirror session " + session_.name + ": " + text, outcome});
  }
  Place where_selected() const { return passage_.tables.place_of(selection_.port); }

  Passage const &passage_;
  MirrorIndex index_;
  Mirror const &mirror_;
  MirrorSession const &session_;
  MirrorSelection const &selection_;
  std::int64_t now_;
  Sink &sink_;
  bool explains_;
  Bytes copy_{};
  bool is_cut_ = false;
};

void Copying::run() {
  auto const &all = mirror_.destinations;
  // It counts in nothing, and not for sampling either (M-11).
  if (std::none_of(all.begin(), all.end(), [&](Mirror::Destination const &one) { return takes_part(one); }))
    return;
  if (is_left_out())
    return count(&MirrorTraffic::discarded);
  make_copy();
  bool is_mirrored = false;
  for (Mirror::Destination const &destination : all) {
    if (!takes_part(destination))
      continue;
    bool const is_handed_over = hand_over(destination);
    count(is_handed_over ? &MirrorTraffic::copies : &MirrorTraffic::copies_failed);
    is_mirrored |= is_handed_over;
  }
  count(is_mirrored ? &MirrorTraffic::mirrored : &MirrorTraffic::failed);
}

bool Copying::is_left_out() {
  bool const is_at_uplink = passage_.tables.ports[selection_.port].is_uplink();
  bool const has_filter = is_at_uplink && session_.uplink_filter != UplinkFilter::none;
  if (has_filter || !session_.rules.empty()) {
    std::optional<IpPacket> const ip = read_ip(passage_.header);
    if (has_filter && !is_admitted(session_.uplink_filter, ip))
      return leave_out(Rule::M_8);
    if (!is_admitted(session_.rules, ip))
      return leave_out(Rule::M_9);
  }
  std::uint64_t const number = counted().seen++;
  return session_.sampling_rate > 1 && number % session_.sampling_rate != 0 && leave_out(Rule::M_5);
}

bool Copying::leave_out(Rule rule) {
  if (explains_)
    explain(rule, where_selected(), std::string("left out: ") + rule_text(rule));
  return true;
}

// M-10.
void Copying::make_copy() {
  std::vector<std::uint8_t> &room = passage_.traffic.copy_room;
  std::uint16_t const vlan = passage_.in_vlan.vlan;
  bool const is_tagged = session_.keeps_vlan && vlan != 0;
  copy_ = with_tag(passage_.header, is_tagged ? std::optional(passage_.in_vlan.tag(vlan)) : std::nullopt, room);
  if (session_.snap_length) {
    std::size_t const kept = std::max<std::size_t>(session_.snap_length, ethernet_size);
    is_cut_ = kept < copy_.size();
    copy_ = copy_.first(std::min(kept, copy_.size()));
  }
  if (session_.outer_vlan == 0)
    return;
  if (copy_.data() == room.data())
    room.resize(copy_.size());
  else
    room.assign(copy_.begin(), copy_.end());
  put_tag(room, session_.outer_vlan);
  copy_ = room;
}

bool Copying::hand_over(Mirror::Destination const &destination) {
  if (destination.kind == MirrorDestination::Kind::address)
    return hand_over_to_address(destination.address);
  Port const &port = passage_.tables.ports[destination.port];
  Reason const reason = port.is_uplink() ? cannot_send(port) : cannot_receive(passage_.tables, passage_.traffic, port);
  if (reason != Reason::none)
    return fail(Rule::M_11, passage_.tables.place_of(destination.port), reason_name(static_cast<unsigned>(reason)));
  deliver(destination.port, copy_);
  return true;
}

// E-0, E-5.
bool Copying::hand_over_to_address(std::uint32_t address) {
  Tables const &tables = passage_.tables;
  Switch const &vswitch = *passage_.vswitch;
  Stack const &stack = tables.stacks[session_.stack];
  SelectedFrame const selected{passage_.in_vlan.vlan,
                               tables.ports[selection_.port].number,
                               selection_.is_out,
                               is_cut_,
                               now_,
                               passage_.traffic.mirror(index_).sent[address]};
  Bytes const outer = encapsulate(session_, stack, vswitch.own_mac, mirror_.addresses[address], selected, copy_,
                                  passage_.traffic.outer_room);
  if (payload_length(outer) > vswitch.mtu)
    return fail(Rule::X_1, where_selected(), "too-long");
  Team const &team = *tables.teams[vswitch.team].team;
  if (team.has(constant::TEAM_FRP_FLAG_BLOCK_OUTPUT))
    return fail(Rule::T_13, where_selected(), "team-blocked");
  Header const header = read_header(outer);
  std::optional<UplinkPosition> uplink = pick(passage_.traffic.fit(vswitch.team).fit, team, TeamPort{}, &header);
  if (uplink) {
    std::uint32_t const lag = tables.ports[vswitch.uplinks[*uplink]].lag;
    if (lag != nowhere)
      uplink = choose_member(vswitch.lags[lag], passage_.traffic.team(passage_.vswitch_index).lags[lag].up, header,
                             stack.vlan);
  }
  if (!uplink)
    return fail(Rule::T_8, where_selected(), "no-uplink");
  PortIndex const index = vswitch.uplinks[*uplink];
  Port const &port = tables.ports[index];
  if (explains_)
    explain(port.lag == nowhere ? Rule::T_1 : Rule::T_3, tables.place_of(index),
            "team: chosen by port number " + std::to_string(port.number));
  Reason const reason = refused_at_uplink(tables, port, stack.vlan);
  if (reason != Reason::none)
    return fail(Rule::T_9, tables.place_of(index), reason_name(static_cast<unsigned>(reason)));
  ++counted().sent[address];
  deliver(index, outer);
  return true;
}

bool Copying::fail(Rule rule, Place place, char const *why) const {
  if (explains_)
    explain(rule, place, std::string("the copy fails: ") + why);
  return false;
}

void Copying::deliver(PortIndex port, Bytes bytes) const {
  Place const place = passage_.tables.place_of(port);
  DirectionCounters &counters = passage_.traffic.count(port).out;
  counters.count(read_header(bytes), bytes.size());
  counters.exceptions += !passage_.tables.options.fast_path;
  if (explains_) {
    explain(Rule::M_10, place, std::string("a copy") + (is_cut_ ? ", cut" : ""));
    explain(Rule::C_5, place, "delivered: " + std::to_string(bytes.size()) + " bytes", Outcome::deliver);
  }
  sink_.deliver({place, DeliveryKind::mirror, Form::untagged, bytes});
}

}  // namespace

void begin_mirroring(Passage const &passage) {
  passage.traffic.selections.assign(passage.vswitch->end_mirror - passage.vswitch->first_mirror, {});
}

void select_at(Passage const &passage, PortIndex port, Direction direction) {
  std::vector<MirrorSelection> &selections = passage.traffic.selections;
  for (std::size_t i = 0; i < selections.size(); ++i) {
    Mirror const &mirror = passage.tables.mirrors[passage.vswitch->first_mirror + i];
    if (selections[i].port == nowhere && is_source(mirror, passage, port, direction))
      selections[i] = {port, direction == Direction::out};
  }
}

void deliver_copies(Passage const &passage, std::int64_t now, Sink &sink) {
  std::vector<MirrorSelection> const &selections = passage.traffic.selections;
  for (MirrorIndex i = 0; i < selections.size(); ++i) {
    if (selections[i].port != nowhere)
      Copying(passage, passage.vswitch->first_mirror + i, selections[i], now, sink).run();
  }
}

}  // namespace forwarding
