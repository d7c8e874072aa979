// What goes into forwarding and what comes out: a frame at an endpoint; deliveries, drops, and steps that explain them.
#pragma once

#include <cstdint>
#include <string>

#include "platform/forwarding/frame.hpp"
#include "platform/forwarding/rules.hpp"

namespace forwarding {

// Where a frame is sent in, delivered or dropped: the client side of a port, or the wire side of a NIC. The port of an
// uplink is a place of drops where it has no NIC.
struct Place {
  enum class Kind : std::uint8_t { port, nic };

  Kind kind = Kind::port;
  std::uint32_t index = 0;  // in the ports or the NICs of the tables

  static constexpr Place port(std::uint32_t index) { return {Kind::port, index}; }
  static constexpr Place nic(std::uint32_t index) { return {Kind::nic, index}; }
  bool operator==(Place const &) const = default;
};

struct Frame {
  Place from;
  Bytes bytes;
};

enum class DeliveryKind : std::uint8_t { frame, promiscuous, mirror, made };

// The outer tag that a delivered frame has. Deliveries of one frame in the same form have the same bytes, copies apart.
enum class Form : std::uint8_t { untagged, priority_tagged, tagged };

struct Delivery {
  Place place;
  DeliveryKind kind;
  Form form;
  Bytes bytes;  // good during the call
};

enum class Stage : std::uint8_t { in, out };

struct Drop {
  Place place;
  Reason reason;
  Stage stage;
};

enum class Outcome : std::uint8_t { go_on, drop, deliver, consume };

struct Step {
  Rule rule;
  Place place;
  std::string text;
  Outcome outcome;
};

// Who takes what comes out, in the order of the results of a frame: deliveries by port number, then copies of mirror
// sessions by session and destination; the drop on the way in, then those on the way out by port number.
class Sink {
 public:
  Sink() = default;
  Sink(Sink const &) = default;
  Sink &operator=(Sink const &) = default;
  virtual ~Sink() = default;

  virtual void deliver(Delivery const &delivery) = 0;
  virtual void drop(Drop const &drop) = 0;
  virtual void consume() = 0;

  // Steps cost time: they are made only for who asks for them.
  virtual bool wants_steps() const { return false; }
  virtual void step(Step const & /*step*/) {}
};

}  // namespace forwarding
