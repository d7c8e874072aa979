// LACP: its frames, and what a LAG does that negotiates: who is heard, who is selected, who is up, when to send. Pure:
// times come in, frames go out.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/forwarding/frame.hpp"
#include "platform/forwarding/timers.hpp"

namespace forwarding {

// ---- frames -------------------------------------------------------------------------------------------------------

namespace lacp_state {
inline constexpr std::uint8_t activity = 0x01;
inline constexpr std::uint8_t short_timeout = 0x02;
inline constexpr std::uint8_t aggregation = 0x04;
inline constexpr std::uint8_t synchronization = 0x08;
inline constexpr std::uint8_t collecting = 0x10;
inline constexpr std::uint8_t distributing = 0x20;
inline constexpr std::uint8_t defaulted = 0x40;
inline constexpr std::uint8_t expired = 0x80;
}  // namespace lacp_state

// One end of a link, as an LACPDU describes it. All zeros for one that is not known.
struct LacpEnd {
  MacAddress system = 0;
  std::uint16_t system_priority = 0;
  std::uint16_t key = 0;
  std::uint16_t port_priority = 0;
  std::uint16_t port = 0;
  std::uint8_t state = 0;

  bool has(std::uint8_t bits) const { return (state & bits) == bits; }
  bool is_same_port(LacpEnd const &other) const {
    return system == other.system && system_priority == other.system_priority && key == other.key &&
           port_priority == other.port_priority && port == other.port;
  }
  bool operator==(LacpEnd const &) const = default;
};

// What the sender says of itself, and of the other end as it knows it.
struct LacpPdu {
  LacpEnd actor;
  LacpEnd partner;

  bool operator==(LacpPdu const &) const = default;
};

inline constexpr std::size_t lacp_frame_size = 124;
using LacpFrame = std::array<std::uint8_t, lacp_frame_size>;

LacpFrame lacp_frame(MacAddress source, LacpPdu const &pdu);

// Of a frame to the address of slow protocols; none if it is no good LACPDU.
std::optional<LacpPdu> read_lacp_frame(Bytes frame);

// ---- what is configured -------------------------------------------------------------------------------------------

struct LacpSettings {
  bool is_active = true;  // it sends unasked
  bool is_fast = false;   // it wants to hear of the other end each second
  MacAddress system = 0;
  std::uint16_t system_priority = 32768;
  std::uint16_t key = 1;
  std::uint32_t max_active = 32;
  bool has_fallback = false;
};

// The scripted partner at the other end of a NIC's link.
struct LacpScript {
  MacAddress system = 0;
  std::uint16_t system_priority = 32768;
  std::uint16_t key = 1;
  std::uint16_t port = 1;
  std::uint16_t port_priority = 32768;
  bool is_active = true;
  bool is_fast = false;
  bool is_aggregatable = true;
  bool is_on = true;
};

// A member, as far as it matters here.
struct LacpLink {
  std::uint32_t port_number = 0;
  MacAddress mac = 0;  // of the NIC
  std::uint32_t speed = 0;
  bool is_full_duplex = true;
  bool is_up = false;
  bool passes = false;  // frames come and go: the link is up, and nothing blocks the port
  std::optional<LacpScript> script;
};

// A LAG that negotiates: its members in their order.
struct LacpGroup {
  LacpSettings settings;
  std::vector<LacpLink> links;
};

// ---- what runs ----------------------------------------------------------------------------------------------------

// Times are in microseconds since the epoch.
enum class LacpReceive : std::uint8_t { disabled, expired, current, defaulted };

// When an end sends (L-3): not more than three LACPDUs in a second.
struct LacpSending {
  std::int64_t at = never;       // one that is due once
  std::int64_t sent_at = never;  // the last one
  std::uint8_t in_second = 0;    // how many the second of the last one has seen

  bool may_send(std::int64_t now) const;
  void send(std::int64_t now);
  // One is due now, or as soon as the limit lets it.
  void want(std::int64_t now);
};

struct LacpMember {
  LacpReceive receive = LacpReceive::disabled;
  std::int64_t receive_until = never;
  bool is_selected = false;
  bool is_synchronized = false;
  bool is_up = false;
  bool has_partner = false;
  std::uint8_t actor_state = 0;
  std::int64_t selected_since = 0;
  LacpEnd partner;
  LacpSending sending;
  std::uint64_t sent = 0;
  std::uint64_t received = 0;
  std::uint64_t bad = 0;
  std::uint64_t changes = 0;  // of is_up

  // The scripted partner: what it has last heard of this end, and whether it was named rightly there.
  struct Script {
    bool has_heard = false;
    bool is_named = false;
    LacpEnd heard;
    LacpSending sending;
  } script;

  // The frame that was sent last, and what it says.
  LacpPdu framed;
  LacpFrame frame{};

  // When synchronization comes; never while it need not be waited for.
  std::int64_t wait_until() const;
};

// When something happens to a LAG.
struct LacpMoment {
  std::int64_t now = 0;
  // Whether what is due at regular times is due now.
  bool is_tick = false;
  // Until then nobody was there to see frames: the exchange with scripted partners is taken to have gone on, and other
  // frames wait (K-6).
  std::int64_t gap_until = INT64_MIN;
};

// When either end of a member's link sends next: at a regular time after another one, or what is due once.
std::int64_t next_lacp_frame(LacpSettings const &settings, LacpLink const &link, LacpMember const &member,
                             std::int64_t after);

// What happens to a LAG at a moment. Members are named by their places in it.
class Lacp {
 public:
  Lacp(LacpGroup const &group, std::span<LacpMember> members, LacpMoment const &moment)
      : group_(group), members_(members), moment_(moment) {}

  // The link has come up or gone down.
  void link_up(std::size_t member);
  void link_down(std::size_t member);
  // What is configured may have changed.
  void settle() { decide(); }

  // A frame for slow protocols came in.
  void receive(std::size_t member, Bytes frame);
  // What was heard last has expired, or the wait for synchronization is over: if that is due.
  void expire(std::size_t member);
  void end_wait(std::size_t member);

  // Whether either end of the member's link has something to send, and to send it. True: the member's frame goes out.
  bool is_due(std::size_t member) const;
  bool send(std::size_t member);
  // What is due at regular times now is due once.
  void leave_due(std::size_t member);

  // Which members have changed, and whose being up has: bits by place.
  std::uint32_t changed() const { return changed_; }
  std::uint32_t changed_up() const { return changed_up_; }

 private:
  bool is_unseen() const { return moment_.now <= moment_.gap_until; }
  bool speaks(std::size_t member) const;
  bool script_speaks(std::size_t member) const;
  bool is_actor_due(std::size_t member) const;
  bool is_script_due(std::size_t member) const;
  LacpEnd actor(std::size_t member) const;
  LacpEnd scripted_end(std::size_t member) const;
  std::uint8_t state_of(std::size_t member) const;
  std::int64_t heard_until(std::size_t member) const;
  void forget_partner(std::size_t member, std::uint8_t state);
  void take(std::size_t member, LacpPdu const &pdu);
  void decide();
  void select();
  bool send_frame(std::size_t member);
  void script_hears(std::size_t member, LacpPdu const &pdu);
  void script_sends(std::size_t member);
  void note(std::size_t member) { changed_ |= std::uint32_t{1} << member; }

  LacpGroup const &group_;
  std::span<LacpMember> members_;
  LacpMoment moment_;
  std::uint32_t changed_ = 0;
  std::uint32_t changed_up_ = 0;
};

}  // namespace forwarding
