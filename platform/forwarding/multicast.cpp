// Multicast: the IGMP and MLD that clients send, the memberships that follow from it, and the filter that these make.
#include "platform/forwarding/multicast.hpp"

#include <algorithm>
#include <iterator>

#include "platform/forwarding/checksum.hpp"

namespace forwarding {

namespace {

constexpr std::uint8_t protocol_igmp = 2;
constexpr std::uint8_t protocol_icmpv6 = 58;
constexpr std::uint8_t header_hop_by_hop = 0;

constexpr std::uint8_t igmp_query_type = 0x11;
constexpr std::uint8_t igmp_v1_report = 0x12;
constexpr std::uint8_t igmp_v2_report = 0x16;
constexpr std::uint8_t igmp_leave = 0x17;
constexpr std::uint8_t igmp_v3_report = 0x22;
constexpr std::uint8_t mld_query_type = 130;
constexpr std::uint8_t mld_report = 131;
constexpr std::uint8_t mld_done = 132;
constexpr std::uint8_t mld_v2_report = 143;

constexpr std::int64_t router_lifetime = 255 * microseconds_per_second;
constexpr std::int64_t slack = 10;  // seconds that a membership outlives the last query
constexpr std::size_t most_memberships = 16384;

// What every client takes, and no list has: all hosts.
constexpr MacAddress all_ipv4_hosts = 0x01005e000001;
constexpr MacAddress all_ipv6_nodes = 0x333300000001;

std::uint16_t read16(Bytes bytes, std::size_t at) {
  return static_cast<std::uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

IpAddress address_at(Bytes bytes, std::size_t at, std::size_t size) {
  return IpAddress(bytes.subspan(at, size));
}

// ---- messages -----------------------------------------------------------------------------------------------------

// The records of a report; none if one is cut short or names no group. Types that nobody knows are passed over.
std::optional<std::vector<GroupRecord>> read_records(Bytes bytes, std::size_t count, std::size_t address_size) {
  constexpr std::size_t head = 4;
  std::vector<GroupRecord> records;
  while (count-- > 0) {
    if (bytes.size() < head + address_size)
      return std::nullopt;
    std::size_t const sources = read16(bytes, 2);
    std::size_t const auxiliary = std::size_t{bytes[1]} * 4;
    std::size_t const size = head + address_size + sources * address_size + auxiliary;
    if (bytes.size() < size)
      return std::nullopt;
    auto const kind = static_cast<GroupRecord::Kind>(bytes[0]);
    if (kind >= GroupRecord::Kind::is_include && kind <= GroupRecord::Kind::block) {
      GroupRecord record{kind, address_at(bytes, head, address_size)};
      if (!record.group.is_group())
        return std::nullopt;
      for (std::size_t i = 0; i < sources; ++i)
        record.sources.push_back(address_at(bytes, head + address_size * (i + 1), address_size));
      std::sort(record.sources.begin(), record.sources.end());
      record.sources.erase(std::unique(record.sources.begin(), record.sources.end()), record.sources.end());
      records.push_back(std::move(record));
    }
    bytes = bytes.subspan(size);
  }
  return records;
}

// `head`: of the message up to its records.
std::optional<GroupMessage> read_new_report(GroupMessage message, Bytes bytes, std::size_t address_size,
                                            std::uint32_t version) {
  constexpr std::size_t count_at = 6;
  constexpr std::size_t records_at = 8;
  auto records = read_records(bytes.subspan(records_at), read16(bytes, count_at), address_size);
  if (!records)
    return std::nullopt;
  message.version = version;
  message.records = *std::move(records);
  return message;
}

// A query, or a report or leave of an older version.
std::optional<GroupMessage> read_single(GroupMessage message, IpAddress const &group, bool is_query, bool is_leave,
                                        std::uint32_t version) {
  if (!group.is_group() && !(is_query && group.is_zero()))
    return std::nullopt;
  message.is_query = is_query;
  message.version = version;
  if (!is_query)
    message.records.push_back({is_leave ? GroupRecord::Kind::leave : GroupRecord::Kind::join, group});
  return message;
}

std::optional<GroupMessage> read_igmp(IpHeader const &ip) {
  constexpr std::size_t least = 8;
  constexpr std::uint16_t more_fragments_and_offset = 0x3fff;
  Bytes const packet = ip.packet;
  std::size_t const total = read16(packet, 2);
  if (packet[9] != protocol_igmp || packet[8] != 1 || (read16(packet, 6) & more_fragments_and_offset) != 0 ||
      total < ip.size + least || total > packet.size() || internet_checksum(packet.first(ip.size)) != 0)
    return std::nullopt;
  Bytes const bytes = packet.subspan(ip.size, total - ip.size);
  if (internet_checksum(bytes) != 0)
    return std::nullopt;
  GroupMessage const message{IpAddress(ip.source())};
  IpAddress const group = address_at(bytes, 4, ipv4_address_size);
  switch (bytes[0]) {
    case igmp_query_type: return read_single(message, group, true, false, 0);
    case igmp_v1_report: return read_single(message, group, false, false, 1);
    case igmp_v2_report: return read_single(message, group, false, false, 2);
    case igmp_leave: return read_single(message, group, false, true, 2);
    case igmp_v3_report: return read_new_report(message, bytes, ipv4_address_size, 3);
    default: return std::nullopt;
  }
}

// ICMPv6 behind at most a hop-by-hop header.
std::optional<GroupMessage> read_mld(IpHeader const &ip) {
  constexpr std::size_t least = 24;
  constexpr std::size_t least_of_new_report = 8;
  std::size_t const total = ip.size + read16(ip.packet, 4);
  if (total > ip.packet.size() || ip.packet[7] != 1)
    return std::nullopt;
  Bytes bytes = ip.packet.subspan(ip.size, total - ip.size);
  std::uint8_t protocol = ip.packet[6];
  if (protocol == header_hop_by_hop) {
    std::size_t const size = bytes.size() < 8 ? SIZE_MAX : (std::size_t{bytes[1]} + 1) * 8;
    if (bytes.size() < size)
      return std::nullopt;
    protocol = bytes[0];
    bytes = bytes.subspan(size);
  }
  bool const is_new_report = !bytes.empty() && bytes[0] == mld_v2_report;
  if (protocol != protocol_icmpv6 || bytes.size() < (is_new_report ? least_of_new_report : least))
    return std::nullopt;
  std::uint32_t const before = pseudo_header_sum(ip.source(), ip.destination(), bytes.size(), protocol_icmpv6);
  if (internet_checksum(bytes, before) != 0)
    return std::nullopt;
  GroupMessage const message{IpAddress(ip.source())};
  if (is_new_report)
    return read_new_report(message, bytes, ipv6_address_size, 2);
  IpAddress const group = address_at(bytes, 8, ipv6_address_size);
  switch (bytes[0]) {
    case mld_query_type: return read_single(message, group, true, false, 0);
    case mld_report: return read_single(message, group, false, false, 1);
    case mld_done: return read_single(message, group, false, true, 1);
    default: return std::nullopt;
  }
}

// ---- memberships --------------------------------------------------------------------------------------------------

using Addresses = std::vector<IpAddress>;

Addresses with(Addresses const &some, Addresses const &others) {
  Addresses all;
  std::set_union(some.begin(), some.end(), others.begin(), others.end(), std::back_inserter(all));
  return all;
}

Addresses without(Addresses const &some, Addresses const &others) {
  Addresses rest;
  std::set_difference(some.begin(), some.end(), others.begin(), others.end(), std::back_inserter(rest));
  return rest;
}

// Filter and sources of a membership after a record (IG-8). `former` null: there was none. To include nothing is to be
// out of the group.
Membership after_record(Membership const *former, GroupRecord const &record) {
  using Kind = GroupRecord::Kind;
  switch (record.kind) {
    case Kind::join: return {SourceFilter::none};
    case Kind::leave: return {SourceFilter::include};
    case Kind::is_include:
    case Kind::to_include: return {SourceFilter::include, record.sources};
    case Kind::is_exclude:
    case Kind::to_exclude: return {SourceFilter::exclude, record.sources};
    case Kind::allow:
    case Kind::block: break;
  }
  bool const allows = record.kind == Kind::allow;
  if (!former)
    return {SourceFilter::include, allows ? record.sources : Addresses{}};
  if (former->filter == SourceFilter::include)
    return {SourceFilter::include,
            allows ? with(former->sources, record.sources) : without(former->sources, record.sources)};
  // Without a filter nothing is excluded so far.
  if (allows)
    return {former->filter, without(former->sources, record.sources)};
  return {SourceFilter::exclude, with(former->sources, record.sources)};
}

void report(Tables const &tables, Memberships &memberships, PortIndex port, std::uint32_t version,
            GroupRecord const &record, std::int64_t now) {
  Options const &options = tables.options;
  MembershipKey const key{record.group, port};
  Membership const *const former = memberships.find(key);
  if (former && !former->is_reported())
    return;
  Membership membership = after_record(former, record);
  if (membership.filter == SourceFilter::include && membership.sources.empty()) {
    memberships.remove(key);
    return;
  }
  if (!former && memberships.size() >= most_memberships)
    return;
  if (membership.sources.size() > (record.group.is_ipv4() ? options.most_igmp_sources : options.most_mld_sources))
    membership = {SourceFilter::none};
  membership.version = version;
  membership.updated = now;
  std::int64_t const lifetime = std::int64_t{options.queries} * options.query_interval + slack;
  membership.expiry = now + lifetime * microseconds_per_second;
  memberships.set(key, std::move(membership));
}

bool is_local(IpAddress const &group) {
  if (group.is_ipv4())
    return group.room[0] == 224 && group.room[1] == 0 && group.room[2] == 0;
  return group.room[0] == 0xff && group.room[1] == 0x02;
}

// Whether the destination is one that groups of an IP version are mapped to.
bool is_mac_of(MacAddress destination, bool is_ipv4) {
  return is_ipv4 ? destination >> 24 == 0x01005e : destination >> 32 == 0x3333;
}

}  // namespace

std::optional<GroupMessage> read_group_message(Header const &header) {
  std::optional<IpHeader> const ip = read_ip_header(header);
  if (!ip)
    return std::nullopt;
  return ip->is_ipv4 ? read_igmp(*ip) : read_mld(*ip);
}

void snoop(Tables const &tables, Traffic &traffic, PortIndex from, GroupMessage const &message, std::int64_t now) {
  Port const &port = tables.ports[from];
  if (port.is_uplink())
    return;
  constexpr std::uint8_t ipv4 = 4;
  constexpr std::uint8_t ipv6 = 6;
  if (!message.is_query) {
    for (GroupRecord const &record : message.records)
      report(tables, traffic.memberships(port.vswitch), from, message.version, record, now);
  } else if (!message.source.is_zero()) {
    traffic.router_ports(port.vswitch).set({from, message.source.is_ipv4() ? ipv4 : ipv6}, now + router_lifetime);
  }
}

GroupDecision filter_for(Tables const &tables, Traffic &traffic, std::uint32_t vswitch, Header const &header,
                         GroupMessage const *message) {
  Switch const &at = tables.switches[vswitch];
  Memberships const &memberships = traffic.memberships(vswitch);
  if (message && !message->is_query)
    return {GroupFilter::routers, Rule::IG_2};
  if (!header.is_multicast())
    return {};
  if (!at.snoops_ipv4 && !at.snoops_ipv6) {
    memberships.find_reporters(header.destination, traffic.group_members);
    return {GroupFilter::list, Rule::IG_20};
  }
  std::optional<IpHeader> const ip = read_ip_header(header);
  if (!ip || !is_mac_of(header.destination, ip->is_ipv4))
    return {GroupFilter::none, Rule::IG_3};
  if (!(ip->is_ipv4 ? at.snoops_ipv4 : at.snoops_ipv6))
    return {GroupFilter::none, Rule::IG_5};
  IpAddress const group(ip->destination());
  if (is_local(group))
    return {GroupFilter::none, Rule::IG_3};
  memberships.find_receivers(group, IpAddress(ip->source()), traffic.group_members);
  return {GroupFilter::members, Rule::IG_4};
}

bool filters_out(Tables const &tables, Traffic const &traffic, Port const &port, GroupDecision const &decision,
                 MacAddress group) {
  if (decision.filter == GroupFilter::none || port.all_multicast)
    return false;
  auto const index = static_cast<PortIndex>(&port - tables.ports.data());
  bool const is_member = decision.filter != GroupFilter::routers &&
                         std::binary_search(traffic.group_members.begin(), traffic.group_members.end(), index);
  if (decision.filter == GroupFilter::list) {
    return !is_member && group != all_ipv4_hosts && group != all_ipv6_nodes && !tables.lists_multicast(port, group) &&
           !(port.buckets && (port.buckets >> address_bucket(group) & 1));
  }
  return !is_member && !port.is_router && !traffic.router_ports(port.vswitch).has(index);
}

}  // namespace forwarding
