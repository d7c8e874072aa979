// Where a frame goes inside its switch: the look-up of its destination, and which ports may receive it.
#pragma once

#include <optional>

#include "platform/forwarding/multicast.hpp"
#include "platform/forwarding/traffic.hpp"
#include "platform/forwarding/vlan.hpp"

namespace forwarding {

// A frame that has entered a switch.
struct Passage {
  Tables const &tables;
  Traffic &traffic;
  Switch const *vswitch = nullptr;
  std::uint32_t vswitch_index = 0;
  Port const *ingress = nullptr;
  PortIndex from = nowhere;
  Header header{};
  InVlan in_vlan{};
  GroupDecision groups{};  // of a group frame

  bool is_from_uplink() const { return ingress->is_uplink(); }
  // As a key of the filtering database.
  std::uint64_t key_of(MacAddress mac) const { return address_key(mac, vswitch->database(in_vlan.vlan)); }
};

// What its destination makes of a frame.
struct Target {
  enum class Kind : std::uint8_t { group, unknown, port, uplink };

  Kind kind = Kind::group;
  PortIndex port = nowhere;  // of a known address

  bool is_known() const { return kind == Kind::port || kind == Kind::uplink; }
};

// The port of an address in the frame's VLAN that was set by hand or is a client's (MAC-20); nowhere for none.
PortIndex find_static(Passage const &passage, MacAddress address);

// The port of the frame's destination by all three tables; nowhere for none.
PortIndex look_up(Passage const &passage);

// Whether an address is not learned because it is known otherwise (MAC-2).
bool is_static(Passage const &passage, MacAddress address);

// How a port would come to receive a frame.
enum class Way : std::uint8_t { addressed, flooded, promiscuous };

struct Refusal {
  Rule rule;
  Reason reason;
};

// Why a port does not receive the frame: the first rule that refuses. A frame for a port of which the table knows that
// its destination is there has passed its VLAN. `overridden` is set where only the port's being a service port lets
// the frame in (T-21).
std::optional<Refusal> refusal(Passage const &passage, Target const &target, Port const &port, Way way,
                               bool &overridden);

// The uplink that carries what does not depend on a frame of a client port (T-1); none if none does.
std::optional<UplinkPosition> uplink_without_frame(Tables const &tables, Traffic const &traffic, Port const &port);

// The uplinks from which a client port expects what is not sent to it alone (RX, T-20), and those from which it
// expects the rest.
UplinkSet expected_uplinks(Passage const &passage, Port const &port);
UplinkSet possible_uplinks(Passage const &passage, Port const &port);

// Why a port can receive nothing at present; none if it can.
Reason cannot_receive(Tables const &tables, Traffic const &traffic, Port const &port);

// Why an uplink can send nothing at present; none if it can.
Reason cannot_send(Port const &uplink);

// Why an uplink that was chosen cannot send a frame of the VLAN (T-9); none if it can.
Reason refused_at_uplink(Tables const &tables, Port const &uplink, std::uint16_t vlan);

// The one of the members of a LAG that are up that carries a frame: a LAG is one link to the policy, and spreads the
// frames itself (T-3).
std::optional<UplinkPosition> choose_member(Lag const &lag, UplinkSet members_up, Header const &frame,
                                            std::uint16_t vlan);

// Whether the client has a link: its own, which link state tracking may take down (X-3, T-16).
bool has_link(Tables const &tables, Traffic const &traffic, Port const &port);

}  // namespace forwarding
