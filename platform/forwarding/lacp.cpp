// LACP: its frames, and what a LAG does that negotiates.
#include "platform/forwarding/lacp.hpp"

#include <algorithm>

namespace forwarding {

namespace {

using namespace lacp_state;

constexpr MacAddress slow_protocols_address = 0x0180c2000002;
constexpr std::int64_t a_second = 1000000;
constexpr std::int64_t short_interval = a_second;
constexpr std::int64_t long_interval = 30 * a_second;
constexpr std::int64_t short_wait = 3 * a_second;
constexpr std::int64_t long_wait = 90 * a_second;
constexpr std::int64_t synchronization_wait = 2 * a_second;
constexpr unsigned most_in_a_second = 3;

constexpr std::int64_t second_of(std::int64_t time) {
  return time / a_second - (time % a_second < 0);
}

// ---- frames -------------------------------------------------------------------------------------------------------

constexpr std::uint8_t lacp_subtype = 1;
constexpr std::uint8_t lacp_version = 1;

// The parts behind the Ethernet header, subtype and version: each a type, a length, and what it says.
struct Part {
  std::uint8_t type;
  std::uint8_t size;
};
constexpr std::size_t parts_at = ethernet_size + 2;
constexpr Part actor_part{1, 20};
constexpr Part partner_part{2, 20};
constexpr Part collector_part{3, 16};
constexpr std::size_t partner_at = parts_at + actor_part.size;
constexpr std::size_t collector_at = partner_at + partner_part.size;

class Writer {
 public:
  explicit Writer(LacpFrame &frame) : next_(frame.data()) {}

  void put(std::uint64_t number, unsigned size) {
    while (size-- > 0)
      *next_++ = static_cast<std::uint8_t>(number >> (8 * size));
  }
  void put_part(Part const &part) {
    put(part.type, 1);
    put(part.size, 1);
  }
  void put_end(Part const &part, LacpEnd const &end) {
    put_part(part);
    put(end.system_priority, 2);
    put(end.system, mac_size);
    put(end.key, 2);
    put(end.port_priority, 2);
    put(end.port, 2);
    put(end.state, 1);
    put(0, 3);
  }

 private:
  std::uint8_t *next_;
};

std::uint64_t number_at(Bytes frame, std::size_t at, std::size_t size) {
  std::uint64_t number = 0;
  for (std::uint8_t const byte : frame.subspan(at, size))
    number = number << 8 | byte;
  return number;
}

LacpEnd read_end(Bytes frame, std::size_t at) {
  auto const word = [&](std::size_t offset) { return static_cast<std::uint16_t>(number_at(frame, at + offset, 2)); };
  return {.system = number_at(frame, at + 4, mac_size),
          .system_priority = word(2),
          .key = word(10),
          .port_priority = word(12),
          .port = word(14),
          .state = frame[at + 16]};
}

// ---- ends ---------------------------------------------------------------------------------------------------------

// What an end has to know rightly of the other one's state.
constexpr std::uint8_t known_state = activity | short_timeout | aggregation | synchronization;

bool is_right(LacpEnd const &view, LacpEnd const &end) {
  return view.is_same_port(end) && ((view.state ^ end.state) & known_state) == 0;
}

constexpr std::int64_t interval(bool is_short) {
  return is_short ? short_interval : long_interval;
}

constexpr std::int64_t next_time(std::int64_t after, std::int64_t period) {
  return (second_of(after) / (period / a_second) + 1) * period;
}

}  // namespace

LacpFrame lacp_frame(MacAddress source, LacpPdu const &pdu) {
  LacpFrame frame{};
  Writer writer(frame);
  writer.put(slow_protocols_address, mac_size);
  writer.put(source, mac_size);
  writer.put(ethertype_slow_protocols, 2);
  writer.put(lacp_subtype, 1);
  writer.put(lacp_version, 1);
  writer.put_end(actor_part, pdu.actor);
  writer.put_end(partner_part, pdu.partner);
  writer.put_part(collector_part);
  return frame;
}

std::optional<LacpPdu> read_lacp_frame(Bytes frame) {
  auto const has_size = [&](std::size_t at, Part const &part) { return frame[at + 1] == part.size; };
  if (frame.size() < lacp_frame_size || frame[ethernet_size] != lacp_subtype || !has_size(parts_at, actor_part) ||
      !has_size(partner_at, partner_part) || !has_size(collector_at, collector_part))
    return std::nullopt;
  return LacpPdu{read_end(frame, parts_at), read_end(frame, partner_at)};
}

// ---- sending ------------------------------------------------------------------------------------------------------

bool LacpSending::may_send(std::int64_t now) const {
  return second_of(sent_at) != second_of(now) || in_second < most_in_a_second;
}

void LacpSending::send(std::int64_t now) {
  in_second = second_of(sent_at) == second_of(now) ? in_second + 1 : 1;
  sent_at = now;
  at = never;
}

void LacpSending::want(std::int64_t now) {
  at = std::min(at, may_send(now) ? now : (second_of(now) + 1) * a_second);
}

std::int64_t LacpMember::wait_until() const {
  return is_selected && !is_synchronized ? selected_since + synchronization_wait : never;
}

namespace {

// A passive end is silent while the other one is not active.
bool speaks(LacpSettings const &settings, LacpLink const &link, LacpMember const &member) {
  return link.passes && (settings.is_active || member.partner.has(activity));
}

bool script_speaks(LacpLink const &link, LacpMember const &member) {
  return link.passes && link.script && link.script->is_on &&
         (link.script->is_active || member.script.heard.has(activity));
}

}  // namespace

std::int64_t next_lacp_frame(LacpSettings const &settings, LacpLink const &link, LacpMember const &member,
                             std::int64_t after) {
  std::int64_t next = never;
  if (speaks(settings, link, member))
    next = std::min(member.sending.at, next_time(after, interval(member.partner.has(short_timeout))));
  if (script_speaks(link, member)) {
    LacpMember::Script const &script = member.script;
    next = std::min({next, script.sending.at, next_time(after, interval(script.heard.has(short_timeout)))});
  }
  return next;
}

bool Lacp::speaks(std::size_t member) const {
  return forwarding::speaks(group_.settings, group_.links[member], members_[member]);
}

bool Lacp::script_speaks(std::size_t member) const {
  return forwarding::script_speaks(group_.links[member], members_[member]);
}

// One that is due both ways goes once.
bool Lacp::is_actor_due(std::size_t member) const {
  LacpMember const &at = members_[member];
  bool const is_regular = moment_.is_tick && at.sending.sent_at != moment_.now &&
                          moment_.now % interval(at.partner.has(short_timeout)) == 0;
  return (is_regular || at.sending.at <= moment_.now) && speaks(member);
}

bool Lacp::is_script_due(std::size_t member) const {
  LacpMember::Script const &script = members_[member].script;
  bool const is_regular = moment_.is_tick && script.sending.sent_at != moment_.now &&
                          moment_.now % interval(script.heard.has(short_timeout)) == 0;
  return (is_regular || script.sending.at <= moment_.now) && script_speaks(member);
}

bool Lacp::is_due(std::size_t member) const {
  return is_actor_due(member) || is_script_due(member);
}

void Lacp::leave_due(std::size_t member) {
  if (!is_due(member))
    return;
  LacpMember &at = members_[member];
  if (is_actor_due(member))
    at.sending.at = std::min(at.sending.at, moment_.now);
  if (is_script_due(member))
    at.script.sending.at = std::min(at.script.sending.at, moment_.now);
  note(member);
}

bool Lacp::send(std::size_t member) {
  bool const is_sent = is_actor_due(member) && send_frame(member);
  if (is_script_due(member))
    script_sends(member);
  return is_sent;
}

bool Lacp::send_frame(std::size_t member) {
  LacpMember &at = members_[member];
  note(member);
  if (is_unseen() && !script_speaks(member)) {
    at.sending.at = moment_.gap_until + 1;
    return false;
  }
  if (!at.sending.may_send(moment_.now)) {
    at.sending.at = never;
    at.sending.want(moment_.now);
    return false;
  }
  LacpPdu const pdu{actor(member), at.partner};
  at.sending.send(moment_.now);
  if (!is_unseen()) {
    ++at.sent;
    if (pdu != at.framed) {
      at.framed = pdu;
      at.frame = lacp_frame(group_.links[member].mac, pdu);
    }
  }
  script_hears(member, pdu);
  return !is_unseen();
}

// ---- the scripted partner -----------------------------------------------------------------------------------------

LacpEnd Lacp::scripted_end(std::size_t member) const {
  LacpScript const &script = *group_.links[member].script;
  LacpMember::Script const &at = members_[member].script;
  std::uint8_t state = 0;
  state |= script.is_active ? activity : 0;
  state |= script.is_fast ? short_timeout : 0;
  state |= script.is_aggregatable ? aggregation : 0;
  state |= script.is_aggregatable && at.is_named ? synchronization : 0;
  if (at.heard.has(synchronization))
    state |= collecting | distributing;
  return {script.system, script.system_priority, script.key, script.port_priority, script.port, state};
}

void Lacp::script_hears(std::size_t member, LacpPdu const &pdu) {
  LacpLink const &link = group_.links[member];
  if (!link.script || !link.script->is_on)
    return;
  LacpMember::Script &script = members_[member].script;
  LacpEnd const former = scripted_end(member);
  script.has_heard = true;
  script.heard = pdu.actor;
  script.is_named = pdu.partner.is_same_port(former);
  if (!is_right(pdu.partner, former) || scripted_end(member).state != former.state)
    script.sending.want(moment_.now);
}

void Lacp::script_sends(std::size_t member) {
  LacpMember::Script &script = members_[member].script;
  note(member);
  if (!script.sending.may_send(moment_.now)) {
    script.sending.at = never;
    script.sending.want(moment_.now);
    return;
  }
  script.sending.send(moment_.now);
  take(member, {scripted_end(member), script.heard});
}

// ---- hearing ------------------------------------------------------------------------------------------------------

LacpEnd Lacp::actor(std::size_t member) const {
  LacpSettings const &settings = group_.settings;
  constexpr std::uint16_t port_priority = 32768;
  return {settings.system,
          settings.system_priority,
          settings.key,
          port_priority,
          static_cast<std::uint16_t>(group_.links[member].port_number),
          members_[member].actor_state};
}

void Lacp::forget_partner(std::size_t member, std::uint8_t state) {
  members_[member].has_partner = false;
  members_[member].partner = {};
  members_[member].partner.state = state;
}

void Lacp::link_up(std::size_t member) {
  LacpMember &at = members_[member];
  note(member);
  at.receive = LacpReceive::expired;
  at.receive_until = moment_.now + short_wait;
  forget_partner(member, short_timeout);
  LacpSending const former = at.script.sending;
  at.script = {};
  at.script.sending = {never, former.sent_at, former.in_second};
  if (group_.links[member].script && group_.links[member].script->is_active)
    at.script.sending.want(moment_.now);
  decide();
}

void Lacp::link_down(std::size_t member) {
  LacpMember &at = members_[member];
  note(member);
  at.receive = LacpReceive::disabled;
  at.receive_until = never;
  at.sending.at = never;
  at.script.sending.at = never;
  forget_partner(member, 0);
  decide();
}

void Lacp::receive(std::size_t member, Bytes frame) {
  note(member);
  if (std::optional<LacpPdu> const pdu = read_lacp_frame(frame))
    take(member, *pdu);
  else
    ++members_[member].bad;
}

void Lacp::take(std::size_t member, LacpPdu const &pdu) {
  LacpMember &at = members_[member];
  bool const is_known = is_right(pdu.partner, actor(member));
  bool const is_news = at.receive != LacpReceive::current || !(at.partner == pdu.actor);
  note(member);
  at.received += !is_unseen();
  at.receive = LacpReceive::current;
  at.receive_until = heard_until(member);
  at.has_partner = true;
  at.partner = pdu.actor;
  // What changes nothing decides nothing.
  if (is_news)
    decide();
  if (!is_known && speaks(member))
    at.sending.want(moment_.now);
}

// How long what is heard now is good. A scripted partner goes on while nobody looks.
std::int64_t Lacp::heard_until(std::size_t member) const {
  std::int64_t const wait = group_.settings.is_fast ? short_wait : long_wait;
  std::int64_t last = moment_.now;
  if (is_unseen() && script_speaks(member)) {
    std::int64_t const period = interval(members_[member].script.heard.has(short_timeout));
    last = std::max(last, next_time(moment_.gap_until, period) - period);
  }
  return last + wait;
}

void Lacp::expire(std::size_t member) {
  LacpMember &at = members_[member];
  if (at.receive_until > moment_.now)
    return;
  note(member);
  if (at.receive == LacpReceive::current && is_unseen() && script_speaks(member)) {
    at.receive_until = heard_until(member);
    return;
  }
  if (at.receive == LacpReceive::current) {
    at.receive = LacpReceive::expired;
    at.receive_until = moment_.now + short_wait;
    at.partner.state = static_cast<std::uint8_t>((at.partner.state & ~synchronization) | short_timeout);
  } else {
    at.receive = LacpReceive::defaulted;
    at.receive_until = never;
    forget_partner(member, 0);
  }
  decide();
}

void Lacp::end_wait(std::size_t member) {
  LacpMember &at = members_[member];
  if (at.wait_until() > moment_.now)
    return;
  note(member);
  at.is_synchronized = true;
  decide();
}

// ---- deciding -----------------------------------------------------------------------------------------------------

// L-5 and L-7.
void Lacp::select() {
  LacpSettings const &settings = group_.settings;
  auto const is_candidate = [&](std::size_t i) {
    LacpMember const &at = members_[i];
    return at.receive == LacpReceive::current && at.partner.has(aggregation) && group_.links[i].is_full_duplex &&
           at.partner.system != settings.system;
  };
  std::size_t first = 0;
  while (first < members_.size() && !is_candidate(first))
    ++first;
  auto const is_like_first = [&](std::size_t i) {
    LacpEnd const &one = members_[i].partner;
    LacpEnd const &other = members_[first].partner;
    return group_.links[i].speed == group_.links[first].speed && one.system_priority == other.system_priority &&
           one.system == other.system && one.key == other.key;
  };
  std::vector<std::size_t> wanted;
  for (std::size_t i = first; i < members_.size(); ++i) {
    if (is_candidate(i) && is_like_first(i))
      wanted.push_back(i);
  }
  if (wanted.size() > settings.max_active) {
    std::sort(wanted.begin(), wanted.end(), [&](std::size_t left, std::size_t right) {
      return group_.links[left].port_number < group_.links[right].port_number;
    });
    wanted.resize(settings.max_active);
  }
  for (std::size_t i = 0; i < members_.size(); ++i) {
    LacpMember &at = members_[i];
    bool const is_selected = std::find(wanted.begin(), wanted.end(), i) != wanted.end();
    if (is_selected == at.is_selected)
      continue;
    note(i);
    at.is_selected = is_selected;
    at.selected_since = moment_.now;
    at.is_synchronized = false;
  }
}

std::uint8_t Lacp::state_of(std::size_t member) const {
  LacpMember const &at = members_[member];
  std::uint8_t state = aggregation;
  state |= group_.settings.is_active ? activity : 0;
  state |= group_.settings.is_fast ? short_timeout : 0;
  state |= at.is_synchronized ? synchronization : 0;
  if (at.is_synchronized && at.partner.has(synchronization))
    state |= collecting | distributing;
  state |= at.receive == LacpReceive::defaulted ? defaulted : 0;
  state |= at.receive == LacpReceive::expired ? expired : 0;
  return state;
}

// Who is selected, what the members say of themselves, and who is up (L-6, L-9).
void Lacp::decide() {
  select();
  std::size_t fallback = members_.size();
  bool const has_current = std::any_of(members_.begin(), members_.end(),
                                       [](LacpMember const &member) { return member.receive == LacpReceive::current; });
  if (group_.settings.has_fallback && !has_current) {
    fallback = 0;
    while (fallback < members_.size() && !group_.links[fallback].is_up)
      ++fallback;
  }
  for (std::size_t i = 0; i < members_.size(); ++i) {
    LacpMember &at = members_[i];
    std::uint8_t const state = state_of(i);
    if (state != at.actor_state) {
      note(i);
      at.actor_state = state;
      if (speaks(i))
        at.sending.want(moment_.now);
    }
    bool const is_up = i == fallback || (state & distributing) != 0;
    if (is_up != at.is_up) {
      note(i);
      changed_up_ |= std::uint32_t{1} << i;
      at.is_up = is_up;
      ++at.changes;
    }
  }
}

}  // namespace forwarding
