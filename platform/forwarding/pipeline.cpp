// The way of a frame through a switch, from the gate of the port where it comes in to its deliveries.
// In one piece, longer than most: it reads like the table of the steps, in their order.
#include "platform/forwarding/pipeline.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <utility>

#include "constants/constants.hpp"
#include "platform/forwarding/learning.hpp"
#include "platform/forwarding/mirror.hpp"
#include "platform/forwarding/receivers.hpp"
#include "platform/forwarding/team_events.hpp"
#include "platform/forwarding/vlan.hpp"

namespace forwarding {

namespace {

using namespace constant;

constexpr MacAddress slow_protocols = 0x0180c2000002;

constexpr std::size_t forms = 3;

class Forwarding {
 public:
  Forwarding(Tables const &tables, Traffic &traffic, std::int64_t now, Frame const &frame, Sink &sink)
      : tables_(tables),
        traffic_(traffic),
        now_(now),
        frame_(frame),
        sink_(sink),
        explains_(sink.wants_steps()),
        passage_{tables, traffic} {}

  void run();

 private:
  // The steps, in their order.
  Verdict gate();
  Verdict frame();
  Verdict sender();
  Verdict vlan();
  Verdict mirror();
  Verdict control();
  Verdict reverse_path();
  Verdict learn();
  Verdict look_up_destination();
  Verdict receivers();
  Verdict team();
  void out();

  struct Step {
    char const *name;
    Verdict (Forwarding::*run)();
  };
  // 12 is `out`.
  static constexpr auto steps = std::to_array<Step>({
      {"1 gate", &Forwarding::gate},
      {"2 frame", &Forwarding::frame},
      {"3 sender", &Forwarding::sender},
      {"4 VLAN", &Forwarding::vlan},
      {"5 mirror", &Forwarding::mirror},
      {"6 control", &Forwarding::control},
      {"7 reverse path", &Forwarding::reverse_path},
      {"8 learn", &Forwarding::learn},
      {"9 look up", &Forwarding::look_up_destination},
      {"10 receivers", &Forwarding::receivers},
      {"11 team", &Forwarding::team},
  });

  // The verdict of the last that is taken. The compiler knows which functions they are.
  template <std::size_t... Number>
  Verdict take_steps(std::index_sequence<Number...>) {
    Verdict verdict{};
    static_cast<void>((goes_on(steps[Number], verdict = (this->*steps[Number].run)()) && ...));
    return verdict;
  }
  bool goes_on(Step const &step, Verdict const &verdict) {
    // Where there is no session, nothing was asked.
    if (explains_ && verdict.passes() && (step.run != &Forwarding::mirror || passage_.vswitch->has_mirrors()))
      explain_step(step, verdict.rule);
    return verdict.passes();
  }

  void age_multicast();
  bool look_at_message();
  void consumed(Rule rule);
  Verdict known_at(PortIndex index);
  Verdict receive_addressed();
  std::optional<Refusal> refuses(PortIndex index, Way way);
  void flood(std::vector<PortIndex> const &ports);
  void add_promiscuous();
  void send_to_team();
  PortIndex sending_port();
  UplinkSet choose_uplinks(PortIndex index) const;
  void send_by(UplinkPosition uplink);
  bool sends_everywhere(Port const &sender) const;
  Verdict nobody_received() const;
  Bytes bytes_in(Form form);
  void deliver(Receiver const &receiver);

  // What a port that is not asked further says of itself.
  void add(PortIndex port, DeliveryKind kind, Reason drop) { traffic_.receivers.push_back({port, kind, drop}); }
  bool is_group_frame() const { return target_.kind == Target::Kind::group; }

  void drop_in(Verdict const &verdict);
  void drop_out(Receiver const &receiver, Rule rule);
  void explain(Rule rule, Place place, std::string text, Outcome outcome = Outcome::go_on) const {
    sink_.step({rule, place, std::move(text), outcome});
  }
  void explain_step(Step const &step, Rule rule) const;
  void explain_refusal(PortIndex port, Refusal const &refused) const;

  Tables const &tables_;
  Traffic &traffic_;
  std::int64_t now_;
  Frame frame_;
  Sink &sink_;
  bool explains_;
  Passage passage_;
  std::optional<GroupMessage> message_;
  std::optional<std::uint32_t> beacon_sender_;  // the port whose beacon the frame is
  Target target_;
  bool to_team_ = false;
  bool has_learned_ = false;  // from here on promiscuous ports get a copy
  // What has refused a port or the team: who receives nothing says so (P-5).
  bool is_filtered_ = false;
  bool is_unexpected_ = false;
  bool has_no_uplink_ = false;
  bool is_team_blocked_ = false;
  bool is_everywhere_ = false;
  std::array<Bytes, forms> formed_{};
};

void Forwarding::run() {
  traffic_.receivers.clear();
  traffic_.selections.clear();
  traffic_.refresh_team(tables_, now_);
  Verdict const last = take_steps(std::make_index_sequence<steps.size()>());
  if (last.is_consumed) {
    if (tables_.options.fast_path)
      ++traffic_.count(passage_.from).in.exceptions;
    if (explains_)
      explain(last.rule, frame_.from, std::string("consumed: ") + rule_text(last.rule), Outcome::consume);
    sink_.consume();
    consumed(last.rule);
    return;
  }
  if (!last.passes())
    drop_in(last);
  if (has_learned_)
    out();
  if (!traffic_.selections.empty())
    deliver_copies(passage_, now_, sink_);
}

// ---- 1 gate: what has not passed it has not entered ---------------------------------------------------------------

Verdict Forwarding::gate() {
  passage_.from = frame_.from.kind == Place::Kind::nic ? tables_.port_of_nic[frame_.from.index] : frame_.from.index;
  if (passage_.from == nowhere)
    return refuse(Reason::nic_unbound);
  Port const &port = tables_.ports[passage_.from];
  passage_.ingress = &port;
  passage_.vswitch_index = port.vswitch;
  passage_.vswitch = &tables_.switches[port.vswitch];
  if (!passage_.vswitch->is_connected)
    return refuse(Reason::no_portset);
  if (passage_.vswitch->is_disabled)
    return refuse(Reason::forwarding_disabled);
  if (port.is_zombie)
    return refuse(Reason::zombie_port);
  if (port.kind == PortKind::unused)
    return refuse(Reason::no_client);
  if (!has_link(tables_, traffic_, port))
    return refuse(Reason::link_down);
  return port.is_blocked ? refuse(Reason::port_blocked) : pass(Rule::P_6);
}

// ---- 2 frame ------------------------------------------------------------------------------------------------------

Verdict Forwarding::frame() {
  if (frame_.bytes.size() < ethernet_size)
    return refuse(Reason::runt);
  Header &header = passage_.header;
  header = read_header(frame_.bytes);
  DirectionCounters &in = traffic_.count(passage_.from).in;
  in.count(header, frame_.bytes.size());
  in.exceptions += !tables_.options.fast_path;
  if (header.is_malformed)
    return refuse(Reason::malformed);
  if (payload_length(frame_.bytes) > passage_.vswitch->mtu)
    return refuse(Reason::too_long);
  return is_group(header.source) || header.source == 0 ? refuse(Reason::bad_source) : pass(Rule::P_7);
}

// ---- 3 sender -----------------------------------------------------------------------------------------------------

Verdict Forwarding::sender() {
  Header const &header = passage_.header;
  Port const &port = *passage_.ingress;
  if (!passage_.is_from_uplink()) {
    if (port.sends_nothing)
      return refuse(Reason::mirror_destination);
    bool const is_forged = port.disallow_forged_source && header.source != port.effective;
    return is_forged ? refuse(Reason::forged_source) : pass(Rule::S_2);
  }
  if (header.destination == slow_protocols && !header.has_tag && header.inner_type == ethertype_slow_protocols)
    return consume(Rule::L_1);
  beacon_sender_ = beacon_sender(header, passage_.vswitch->identifier);
  if (beacon_sender_)
    return consume(Rule::BC_1);
  if (port.lag == nowhere)
    return pass(Rule::L_1);
  bool const is_up = traffic_.lag_up(port) & only(port.position);
  return is_up ? pass(Rule::L_6) : refuse(Reason::lacp_down);
}

// What is consumed is for the team itself.
void Forwarding::consumed(Rule rule) {
  Moment const moment{tables_, traffic_, sink_, passage_.vswitch_index, now_};
  if (rule == Rule::L_1)
    receive_lacp(moment, passage_.from, frame_.bytes);
  else if (beacon_sender_)
    receive_beacon(moment, passage_.from, *beacon_sender_);
}

// ---- 4 VLAN -------------------------------------------------------------------------------------------------------

Verdict Forwarding::vlan() {
  return classify(tables_, *passage_.ingress, passage_.header, passage_.in_vlan);
}

// ---- 5 mirror -----------------------------------------------------------------------------------------------------

Verdict Forwarding::mirror() {
  if (passage_.vswitch->has_mirrors()) {
    begin_mirroring(passage_);
    select_at(passage_, passage_.from, Direction::in);
  }
  return pass(Rule::P_1);
}

// ---- 6 control ----------------------------------------------------------------------------------------------------

Verdict Forwarding::control() {
  if (is_reserved(passage_.header.destination))
    return refuse(Reason::reserved_address);
  age_multicast();
  return look_at_message() ? pass(Rule::IG_9) : pass(Rule::MAC_10);
}

// What has aged is gone, in whichever mode.
void Forwarding::age_multicast() {
  traffic_.memberships(passage_.vswitch_index).expire(now_);
  traffic_.router_ports(passage_.vswitch_index).expire(now_);
}

// IGMP and MLD, where the switch snoops: reports from uplinks are data.
bool Forwarding::look_at_message() {
  Switch const &vswitch = *passage_.vswitch;
  Header const &header = passage_.header;
  bool const is_snooped = (vswitch.snoops_ipv4 && header.inner_type == ethertype_ipv4) ||
                          (vswitch.snoops_ipv6 && header.inner_type == ethertype_ipv6);
  if (!is_snooped)
    return false;
  message_ = read_group_message(header);
  if (message_ && passage_.is_from_uplink() && !message_->is_query)
    message_.reset();
  if (!message_)
    return false;
  if (tables_.options.fast_path)
    ++traffic_.count(passage_.from).in.exceptions;
  snoop(tables_, traffic_, passage_.from, *message_, now_);
  return true;
}

// ---- 7 reverse path -----------------------------------------------------------------------------------------------

Verdict Forwarding::reverse_path() {
  if (!passage_.is_from_uplink() || !tables_.options.reverse_path_check)
    return pass(Rule::T_4);
  traffic_.age(tables_, passage_.vswitch_index, now_);
  MacAddress const source = passage_.header.source;
  PortIndex const known = find_static(passage_, source);
  if (known != nowhere && tables_.ports[known].kind == PortKind::client)
    return refuse(Reason::reflected);
  MacTable const &table = traffic_.table(passage_.vswitch_index);
  MacTable::Place const place = table.find(passage_.key_of(source));
  if (place == nowhere)
    return pass(Rule::T_4);
  Port const &port = tables_.ports[table.port(place)];
  bool const is_reflected =
      port.kind == PortKind::client && !(expected_uplinks(passage_, port) & only(passage_.ingress->position));
  return is_reflected ? refuse(Reason::reflected) : pass(Rule::T_4);
}

// ---- 8 learn ------------------------------------------------------------------------------------------------------

Verdict Forwarding::learn() {
  Verdict const verdict = learn_source(passage_, now_);
  has_learned_ = verdict.passes();
  return verdict;
}

// ---- 9 look up ----------------------------------------------------------------------------------------------------

Verdict Forwarding::look_up_destination() {
  bool const is_from_client = !passage_.is_from_uplink();
  if (is_group(passage_.header.destination)) {
    to_team_ = is_from_client;
    passage_.groups =
        filter_for(tables_, traffic_, passage_.vswitch_index, passage_.header, message_ ? &*message_ : nullptr);
    return pass(passage_.groups.rule);
  }
  PortIndex const found = look_up(passage_);
  if (found != nowhere)
    return known_at(found);
  target_.kind = Target::Kind::unknown;
  to_team_ = is_from_client;
  return pass(Rule::MAC_5);
}

Verdict Forwarding::known_at(PortIndex index) {
  target_.port = index;
  Port const &port = tables_.ports[index];
  target_.kind = port.is_uplink() ? Target::Kind::uplink : Target::Kind::port;
  if (index == passage_.from)
    return refuse(Reason::same_port);
  if (port.is_uplink()) {
    if (passage_.is_from_uplink())
      return refuse(Reason::uplink_to_uplink);
    to_team_ = true;
    return pass(Rule::MAC_11);
  }
  if (tables_.is_member(port, passage_.in_vlan.vlan))
    return pass(Rule::MAC_20);
  return refuse(port.vlan_kind == VlanPolicy::Kind::private_vlan ? Reason::private_vlan : Reason::not_a_member);
}

// ---- 10 receivers -------------------------------------------------------------------------------------------------

Verdict Forwarding::receivers() {
  switch (target_.kind) {
    case Target::Kind::group: flood(passage_.vswitch->clients); return pass(Rule::V_5);
    case Target::Kind::unknown: flood(passage_.vswitch->flooded); return pass(Rule::MAC_5);
    case Target::Kind::port: return receive_addressed();
    case Target::Kind::uplink: break;
  }
  return pass(Rule::MAC_11);
}

// The one port that has the destination: it receives the frame, or drops it.
Verdict Forwarding::receive_addressed() {
  std::optional<Refusal> const refused = refuses(target_.port, Way::addressed);
  if (refused && refused->reason == Reason::reverse_path)
    return refuse(Reason::reverse_path);
  if (refused && explains_)
    explain_refusal(target_.port, *refused);
  add(target_.port, DeliveryKind::frame, refused ? refused->reason : Reason::none);
  to_team_ = passage_.ingress->sends_to_uplink_too && !passage_.is_from_uplink();
  return pass(to_team_ ? Rule::S_10 : Rule::MAC_20);
}

std::optional<Refusal> Forwarding::refuses(PortIndex index, Way way) {
  bool overridden = false;
  std::optional<Refusal> const refused = refusal(passage_, target_, tables_.ports[index], way, overridden);
  if (overridden)
    ++traffic_.count_switch(passage_.vswitch_index).reverse_path_overridden;
  return refused;
}

// Those of the ports that may receive it.
void Forwarding::flood(std::vector<PortIndex> const &ports) {
  for (PortIndex index : ports) {
    if (index == passage_.from)
      continue;
    std::optional<Refusal> const refused = refuses(index, Way::flooded);
    if (!refused) {
      add(index, DeliveryKind::frame, Reason::none);
      continue;
    }
    is_filtered_ |= refused->reason == Reason::multicast_filtered;
    is_unexpected_ |= refused->reason == Reason::reverse_path;
    if (explains_)
      explain_refusal(index, *refused);
  }
}

// ---- 11 team ------------------------------------------------------------------------------------------------------

Verdict Forwarding::team() {
  if (to_team_ && !passage_.vswitch->uplinks.empty())
    send_to_team();
  return traffic_.receivers.empty() ? nobody_received() : pass(Rule::T_3);
}

void Forwarding::send_to_team() {
  PortIndex const index = sending_port();
  Port const &sender = tables_.ports[index];
  // A tied port has no policy that could block it (T-13).
  is_team_blocked_ = !sender.tied && tables_.teams[sender.team].team->has(TEAM_FRP_FLAG_BLOCK_OUTPUT);
  is_everywhere_ = sends_everywhere(sender);
  UplinkSet const uplinks = is_team_blocked_ ? 0 : choose_uplinks(index);
  for (UplinkSet left = uplinks; left; left &= left - 1)
    send_by(static_cast<UplinkPosition>(std::countr_zero(left)));
  if (uplinks)
    return;
  has_no_uplink_ = true;
  if (passage_.ingress->is_router)
    ++traffic_.count_switch(passage_.vswitch_index).service_errors;
  if (explains_) {
    Rule const rule = is_team_blocked_ ? Rule::T_13 : Rule::T_8;
    explain(rule, frame_.from, std::string("team: ") + rule_text(rule));
  }
}

// The port whose policy decides: the sender's own, but a service port uses that of another client for which it sends.
PortIndex Forwarding::sending_port() {
  if (!passage_.ingress->is_router)
    return passage_.from;
  SwitchCounters &counters = traffic_.count_switch(passage_.vswitch_index);
  ++counters.sent_by_service_ports;
  AddressIndex::Pairs const clients = passage_.vswitch->effective.find(passage_.header.source);
  if (clients.empty() || clients.front().second == passage_.from) {
    ++counters.sent_by_own_policy;
    return passage_.from;
  }
  ++counters.sent_by_source_policy;
  return clients.front().second;
}

// One uplink, but while nobody knows where the others can be reached all that are fit (T-14).
UplinkSet Forwarding::choose_uplinks(PortIndex index) const {
  Port const &sender = tables_.ports[index];
  std::vector<PortIndex> const &uplinks = passage_.vswitch->uplinks;
  if (sender.tied)
    return tables_.ports[uplinks[*sender.tied]].link_up ? only(*sender.tied) : 0;
  Team const &team = *tables_.teams[sender.team].team;
  Fit const &fit = traffic_.fit(sender.team).fit;
  std::vector<RunningLag> const &lags = traffic_.team(passage_.vswitch_index).lags;
  if (is_everywhere_) {
    UplinkSet all = fit.set;
    for (std::size_t lag = 0; lag < lags.size(); ++lag) {
      for (UplinkPosition const member : passage_.vswitch->lags[lag].members)
        all &= lags[lag].up & only(member) ? ~UplinkSet{0} : ~only(member);
    }
    return all;
  }
  std::optional<UplinkPosition> uplink = pick(fit, team, traffic_.team_port(tables_, index), &passage_.header);
  std::uint32_t const lag = uplink ? tables_.ports[uplinks[*uplink]].lag : nowhere;
  if (lag != nowhere)
    uplink = choose_member(passage_.vswitch->lags[lag], lags[lag].up, passage_.header, passage_.in_vlan.vlan);
  return uplink ? only(*uplink) : 0;
}

// Shotgun: while beacons are undecided.
bool Forwarding::sends_everywhere(Port const &sender) const {
  return !sender.tied && tables_.teams[sender.team].team->has(TEAM_FRP_FLAG_SHOTGUN) &&
         !tables_.options.ignores_shotgun && traffic_.beacons(tables_, passage_.vswitch_index).is_undecided;
}

// What the uplink cannot send is dropped there (T-9).
void Forwarding::send_by(UplinkPosition uplink) {
  PortIndex const index = passage_.vswitch->uplinks[uplink];
  Port const &port = tables_.ports[index];
  if (explains_)
    explain(is_everywhere_        ? Rule::T_14
            : port.lag == nowhere ? Rule::T_1
                                  : Rule::T_3,
            tables_.place_of(index), "team: chosen by port number " + std::to_string(port.number));
  Reason drop = refused_at_uplink(tables_, port, passage_.in_vlan.vlan);
  if (drop == Reason::none && refuses_nested(port, passage_.header)) {
    if (!target_.is_known()) {
      if (explains_)
        explain_refusal(index, {Rule::V_13, Reason::nested_tag});
      return;
    }
    drop = Reason::nested_tag;
  }
  add(index, DeliveryKind::frame, drop);
}

// P-5.
Verdict Forwarding::nobody_received() const {
  if (is_team_blocked_)
    return refuse(Reason::team_blocked);
  if (has_no_uplink_)
    return refuse(Reason::no_uplink);
  if (is_unexpected_)
    return refuse(Reason::reverse_path);
  if (is_filtered_)
    return {passage_.groups.rule, Reason::multicast_filtered};
  return refuse(is_group_frame() ? Reason::no_receiver : Reason::unknown_unicast);
}

// ---- 12 out -------------------------------------------------------------------------------------------------------

void Forwarding::out() {
  add_promiscuous();
  std::vector<Receiver> &all = traffic_.receivers;
  auto const by_port = [](Receiver const &left, Receiver const &right) { return left.port < right.port; };
  if (!std::is_sorted(all.begin(), all.end(), by_port))
    std::sort(all.begin(), all.end(), by_port);
  for (Receiver const &receiver : all) {
    if (receiver.drop == Reason::none)
      deliver(receiver);
    else
      drop_out(receiver, rule_of(receiver.drop));
  }
}

// A copy for each promiscuous port that does not get the frame anyway (S-4).
void Forwarding::add_promiscuous() {
  std::vector<Receiver> &all = traffic_.receivers;
  std::size_t const addressed = all.size();
  for (PortIndex index : passage_.vswitch->promiscuous) {
    auto const end = all.begin() + static_cast<std::ptrdiff_t>(addressed);
    bool const has_it = index == passage_.from || std::find_if(all.begin(), end, [&](Receiver const &receiver) {
                                                    return receiver.port == index;
                                                  }) != end;
    if (!has_it && !refuses(index, Way::promiscuous))
      add(index, DeliveryKind::promiscuous, Reason::none);
  }
  if (all.size() > addressed && tables_.options.mirror_statistics) {
    SwitchCounters &counters = traffic_.count_switch(passage_.vswitch_index);
    counters.promiscuous_copies += all.size() - addressed;
    ++counters.promiscuous_frames;
  }
}

void Forwarding::deliver(Receiver const &receiver) {
  Port const &port = tables_.ports[receiver.port];
  Form const form = form_at(port, passage_.header, passage_.in_vlan);
  Bytes const bytes = bytes_in(form);
  DirectionCounters &counters = traffic_.count(receiver.port).out;
  counters.count(passage_.header, bytes.size());
  counters.exceptions += !tables_.options.fast_path;
  if (port.is_router && passage_.is_from_uplink())
    ++traffic_.count_switch(passage_.vswitch_index).received_by_service_ports;
  if (passage_.vswitch->balances_load && port.is_uplink())
    traffic_.change_load(passage_.from).bytes += bytes.size();
  Place const place = tables_.place_of(receiver.port);
  if (explains_)
    explain(Rule::C_5, place, "delivered: " + std::to_string(bytes.size()) + " bytes", Outcome::deliver);
  sink_.deliver({place, receiver.kind, form, bytes});
  if (!traffic_.selections.empty())
    select_at(passage_, receiver.port, Direction::out);
}

// The frame as it leaves in a form: made once, and the very bytes that came in where nothing changes.
Bytes Forwarding::bytes_in(Form form) {
  Bytes &bytes = formed_[static_cast<std::size_t>(form)];
  if (!bytes.empty())
    return bytes;
  Header const &header = passage_.header;
  bool const is_tagged = form != Form::untagged;
  std::uint16_t const tag = passage_.in_vlan.tag(form == Form::tagged ? passage_.in_vlan.vlan : 0);
  return bytes = with_tag(header, is_tagged ? std::optional(tag) : std::nullopt,
                          traffic_.form_room[static_cast<std::size_t>(form)]);
}

// ---- drops and explanations ---------------------------------------------------------------------------------------

void Forwarding::drop_in(Verdict const &verdict) {
  // One that was not let in for its address is counted by learning.
  if (passage_.from != nowhere && verdict.reason != Reason::mac_limit)
    ++traffic_.count(passage_.from).in.dropped;
  if (explains_) {
    explain(verdict.rule, frame_.from,
            std::string(reason_name(static_cast<unsigned>(verdict.reason))) + ": " + rule_text(verdict.rule),
            Outcome::drop);
  }
  sink_.drop({frame_.from, verdict.reason, Stage::in});
}

void Forwarding::drop_out(Receiver const &receiver, Rule rule) {
  ++traffic_.count(receiver.port).out.dropped;
  Place const place = tables_.place_of(receiver.port);
  if (explains_) {
    explain(rule, place, std::string(reason_name(static_cast<unsigned>(receiver.drop))) + ": " + rule_text(rule),
            Outcome::drop);
  }
  sink_.drop({place, receiver.drop, Stage::out});
}

void Forwarding::explain_step(Step const &step, Rule rule) const {
  std::string text = std::string(step.name) + ": " + rule_text(rule);
  if (step.run == &Forwarding::vlan)
    text += " (VLAN " + std::to_string(passage_.in_vlan.vlan) + ")";
  if (step.run == &Forwarding::look_up_destination && target_.is_known())
    text += " (port " + std::to_string(tables_.ports[target_.port].number) + ")";
  explain(rule, frame_.from, std::move(text));
}

void Forwarding::explain_refusal(PortIndex port, Refusal const &refused) const {
  explain(refused.rule, tables_.place_of(port), std::string("receives nothing: ") + rule_text(refused.rule));
}

}  // namespace

void forward(Tables const &tables, Traffic &traffic, std::int64_t now, Frame frame, Sink &sink) {
  Forwarding(tables, traffic, now, frame, sink).run();
}

}  // namespace forwarding
