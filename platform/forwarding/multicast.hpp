// Multicast: the IGMP and MLD that clients send, the memberships that follow from it, and the filter that these make.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/forwarding/ip_address.hpp"
#include "platform/forwarding/moment.hpp"

namespace forwarding {

// What a report says of a group: records of IGMPv3 and MLDv2 with their numbers, and what older versions say.
struct GroupRecord {
  enum class Kind : std::uint8_t {
    join,  // without a source filter
    is_include,
    is_exclude,
    to_include,
    to_exclude,
    allow,
    block,
    leave,
  };
  Kind kind;
  IpAddress group;
  std::vector<IpAddress> sources{};  // in order
};

struct GroupMessage {
  IpAddress source;
  bool is_query = false;
  std::uint32_t version = 0;           // of a report
  std::vector<GroupRecord> records{};  // of a report: leaves, too
};

// The message in a frame; none in one that is something else or not valid (IG-9).
std::optional<GroupMessage> read_group_message(Header const &header);

// What becomes of a message that a client port or an uplink has sent at a time: a router is known by its query, a
// report changes memberships (IG-1, IG-6 to IG-8, IG-11).
void snoop(Tables const &tables, Traffic &traffic, PortIndex from, GroupMessage const &message, std::int64_t now);

// Which client ports take a frame to a group.
enum class GroupFilter : std::uint8_t {
  none,     // all of them
  list,     // those whose list has its address (IG-20)
  members,  // those that have joined, and router ports (IG-4)
  routers,  // router ports only: it is a report (IG-2)
};

// `message`: what the switch looked at. The rule is that by which frames are filtered, or are not.
struct GroupDecision {
  GroupFilter filter = GroupFilter::none;
  Rule rule = Rule::S_9;
};
// Leaves the ports that take it by a membership in traffic.group_members, in order.
GroupDecision filter_for(Tables const &tables, Traffic &traffic, std::uint32_t vswitch, Header const &header,
                         GroupMessage const *message);

// Whether the filter keeps a group frame from a client port.
bool filters_out(Tables const &tables, Traffic const &traffic, Port const &port, GroupDecision const &decision,
                 MacAddress group);

}  // namespace forwarding
