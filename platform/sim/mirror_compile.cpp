// Makes the mirror sessions of the tables of forwarding from the state of a host.
#include "platform/sim/mirror_compile.hpp"

#include <algorithm>
#include <optional>
#include <string_view>

#include "platform/core/constants.hpp"
#include "platform/core/mirroring.hpp"
#include "platform/core/property_values.hpp"
#include "platform/core/stacks.hpp"

namespace sim {

namespace {

using namespace constant;

forwarding::MacAddress number_of(host::MacAddress const &mac) {
  forwarding::MacAddress number = 0;
  for (unsigned char const byte : mac)
    number = number << 8 | byte;
  return number;
}

forwarding::Bytes bytes_of(std::string const &text) {
  return {reinterpret_cast<std::uint8_t const *>(text.data()), text.size()};
}

template <typename Contents>
forwarding::IpAddress address_of(qel_Bool is_ipv6, Contents const &contents) {
  auto const bytes = [](auto const &field) {
    return forwarding::Bytes(reinterpret_cast<std::uint8_t const *>(&field), sizeof field);
  };
  return forwarding::IpAddress(is_ipv6 ? bytes(contents.ipv6) : bytes(contents.ipv4));
}

// By value: it lies in a record without padding, at any address.
forwarding::TransportPorts range_of(DVMirrorPortRanage range) {
  return {range.begin, range.end};
}

forwarding::MirrorRule rule_of(host::MirrorRule const &rule) {
  DVMirrorFilterRule const &record = rule.record;
  forwarding::MirrorRule made;
  made.mirrors = record.action == static_cast<DVMirrorFilterAction>(ACTION_MIRROR);
  for (std::size_t i = 0; i < rule.prefixes.size(); ++i) {
    DVMirrorIpPrefix const &prefix = rule.prefixes[i];
    auto &prefixes = i < record.numSrcIPs ? made.sources : made.destinations;
    prefixes.push_back({address_of(prefix.isIPv6, prefix), prefix.prefix_length});
  }
  if (record.has_protocol)
    made.protocol = static_cast<std::uint8_t>(record.protocol);
  if (record.has_srcports)
    made.source_ports = range_of(record.srcPorts);
  if (record.has_dstports)
    made.destination_ports = range_of(record.dstPorts);
  return made;
}

forwarding::UplinkFilter filter_of(DVMirrorFilterType type) {
  using Filter = forwarding::UplinkFilter;
  switch (static_cast<int>(type)) {
    case MIRROR_UPLINK_FILTER_NORMAL: return Filter::normal;
    case MIRROR_UPLINK_FILTER_STT: return Filter::stt;
    case MIRROR_UPLINK_FILTER_VXLAN: return Filter::vxlan;
    case MIRROR_UPLINK_FILTER_GENEVE: return Filter::geneve;
    case MIRROR_UPLINK_FILTER_ALL_ENCAP: return Filter::all_encapsulated;
    default: return Filter::none;
  }
}

// The sessions of a switch, whose ports they name in several ways.
class SessionCompiler {
 public:
  SessionCompiler(std::vector<host::PortRow> const &ports, std::vector<host::Uplink> const &uplinks)
      : ports_(ports), uplinks_(uplinks) {}

  forwarding::MirrorSession compile(host::MirrorSession const &session) const {
    DVMirrorSession const &record = session.record;
    auto const has = [&](int flag) { return (record.flags & static_cast<unsigned>(flag)) != 0; };
    forwarding::MirrorSession made;
    made.name = host::name_in_field(record.sid);
    made.is_remote_source = record.type == static_cast<DVMirrorSessionType>(VS_DVMIRROR_SESSIONTYPE_RMIRROR_SRC);
    made.is_remote_destination = record.type == static_cast<DVMirrorSessionType>(VS_DVMIRROR_SESSIONTYPE_RMIRROR_DST);
    for (std::size_t i = 0; i < session.entities.size(); ++i) {
      if (i < record.numDstEntities)
        add_destination(session.entities[i], made);
      else
        add_source(session.entities[i], i - record.numDstEntities < record.numSrcInEntities ? made.in : made.out);
    }
    for (auto const &[sources, wildcards] :
         {std::pair(&made.in, record.wildIn), std::pair(&made.out, record.wildOut)}) {
      sources->all_vnics = wildcards & VS_DVMIRROR_WILDCARD_VMM;
      sources->all_tcpips = wildcards & VS_DVMIRROR_WILDCARD_TCPIP;
      sources->all_uplinks = (wildcards & VS_DVMIRROR_WILDCARD_PNIC) || has(VS_DVMIRROR_FLAG_SRC_UPLINK_MIRROR);
    }
    made.shuts_output = has(VS_DVMIRROR_FLAG_DST_NO_OUTPUT);
    made.shuts_input = has(VS_DVMIRROR_FLAG_DST_NO_INPUT);
    made.uplink_filter = filter_of(record.uplinkFilter);
    for (host::MirrorRule const &rule : session.rules)
      made.rules.push_back(rule_of(rule));
    made.sampling_rate = record.samplingRate;
    made.keeps_vlan = has(VS_DVMIRROR_FLAG_DST_ORIG_VLAN);
    made.snap_length = record.snapLen == static_cast<qel_uint32>(VS_DVMIRROR_SNAPLEN_COMPLETE) ? 0 : record.snapLen;
    made.outer_vlan = has(VS_DVMIRROR_FLAG_DST_ENCAP) ? record.encapVlan : std::uint16_t{0};
    using Encapsulation = forwarding::Encapsulation;
    made.encapsulation =
        record.encapType == static_cast<DVMirrorEncapType>(DVMIRROR_ENCAP_ERSPAN2)   ? Encapsulation::erspan_2
        : record.encapType == static_cast<DVMirrorEncapType>(DVMIRROR_ENCAP_ERSPAN3) ? Encapsulation::erspan_3
                                                                                     : Encapsulation::gre;
    made.stack = record.stack ? 1 : 0;
    made.gre_key = record.greKey;
    made.erspan_id = record.erspanID;
    made.erspan_class = record.erspanCOS;
    made.erspan_granularity = record.erspanGra;
    return made;
  }

 private:
  // Of the ports, the first that is meant.
  template <typename IsMeant>
  std::optional<std::uint32_t> find_port(IsMeant &&is_meant) const {
    auto const found = std::find_if(ports_.begin(), ports_.end(), is_meant);
    return found == ports_.end() ? std::nullopt : std::optional(static_cast<std::uint32_t>(found->row));
  }

  std::optional<std::uint32_t> port_of(DVMirrorEntity const &entity) const {
    switch (static_cast<int>(entity.type)) {
      case MIRROR_ENTTYPE_DVPORT: {
        std::string const name = host::name_in_field(entity.dvPortId);
        return find_port([&](host::PortRow const &port) { return port.dvport_id == name; });
      }
      case MIRROR_ENTTYPE_PORT: return find_port([&](host::PortRow const &port) { return port.row == entity.portId; });
      case MIRROR_ENTTYPE_MAC: {
        host::MacAddress mac{};
        std::copy(std::begin(entity.mac), std::end(entity.mac), mac.begin());
        return find_port([&](host::PortRow const &port) {
          return port.is_client_port() && mac != host::MacAddress{} && port.client.effective_mac() == mac;
        });
      }
      case MIRROR_ENTTYPE_UPLINK: return uplink_of(host::name_in_field(entity.uplink.string));
      default: return std::nullopt;
    }
  }

  // By the name of the uplink port, else by that of its NIC.
  std::optional<std::uint32_t> uplink_of(std::string const &name) const {
    for (std::string host::Uplink::*const kind : {&host::Uplink::name, &host::Uplink::nic_name}) {
      for (host::Uplink const &uplink : uplinks_) {
        if (uplink.*kind == name)
          return static_cast<std::uint32_t>(uplink.port);
      }
    }
    return std::nullopt;
  }

  void add_source(DVMirrorEntity const &entity, forwarding::MirrorSources &sources) const {
    if (static_cast<int>(entity.type) == MIRROR_ENTTYPE_VLAN)
      sources.vlans.push_back(entity.vlan);
    else if (auto const port = port_of(entity))
      sources.ports.push_back(*port);
  }

  void add_destination(DVMirrorEntity const &entity, forwarding::MirrorSession &session) const {
    using Kind = forwarding::MirrorDestination::Kind;
    if (static_cast<int>(entity.type) == MIRROR_ENTTYPE_IP)
      session.destinations.push_back({Kind::address, 0, address_of(entity.ip.isIPv6, entity.ip)});
    else if (auto const port = port_of(entity))
      session.destinations.push_back(
          {static_cast<int>(entity.type) == MIRROR_ENTTYPE_UPLINK ? Kind::uplink : Kind::port, *port});
  }

  std::vector<host::PortRow> const &ports_;
  std::vector<host::Uplink> const &uplinks_;
};

}  // namespace

std::vector<forwarding::MirrorSession> mirror_sessions(host::Database &database, host::RowId vswitch,
                                                       std::vector<host::PortRow> const &ports,
                                                       std::vector<host::Uplink> const &uplinks) {
  SessionCompiler const compiler(ports, uplinks);
  std::vector<forwarding::MirrorSession> sessions;
  for (host::MirrorSession const &session : host::enabled_mirror_sessions(database, vswitch)) {
    if (session.record.numDstEntities > 0)
      sessions.push_back(compiler.compile(session));
  }
  return sessions;
}

std::array<forwarding::Stack, 2> mirror_stacks(host::Database &database) {
  std::array<host::Stack, 2> stacks{};
  for (host::Stack const &stack : host::load_stacks(database))
    stacks[stack.name == "mirror" ? 1 : 0] = stack;
  std::array<forwarding::Stack, 2> made{};
  for (std::size_t i = 0; i < made.size(); ++i) {
    host::Stack const &stack = stacks[i];
    if (stack.mac)
      made[i].mac = number_of(*stack.mac);
    made[i].gateway = number_of(stack.gateway_mac);
    made[i].ipv4 = forwarding::IpAddress(bytes_of(stack.ipv4));
    made[i].ipv6 = forwarding::IpAddress(bytes_of(stack.ipv6));
    made[i].vlan = static_cast<std::uint16_t>(stack.vlan);
    made[i].ttl = static_cast<std::uint8_t>(stack.ttl);
    made[i].dscp = static_cast<std::uint8_t>(stack.dscp);
  }
  return made;
}

}  // namespace sim
