// Settings of simulated hosts, made of any bytes: what the calls of the libraries are given. Statuses are documented
// ones.
#pragma once

#include "fuzz/simulated.hpp"

namespace fuzz {

// Settings whose values are raw bytes; teams and mirrors are put together below.
inline constexpr char const *settings_of_switches[] = {VSPROP_MTU,
                                                       VSPROP_MULTICAST_FILTER,
                                                       VSPROP_LS_TEAMING_POLICY,
                                                       VSPROP_PVLAN_MAP,
                                                       VSPROP_SWITCH_MAC_LEARNING,
                                                       VSPROP_SWITCH_MAC_LEARN_STATIC,
                                                       VSPROP_SWITCH_STATIC_MAC_ALLOW,
                                                       VSPROP_USER_MCAST_ADDRESSES,
                                                       VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS,
                                                       VSPROP_SWITCH_FORWARDING_DISABLED,
                                                       QEL_HNQPROP_HOST_PROXY_STATE};
inline constexpr char const *settings_of_ports[] = {VSPROP_PORT_VLAN,
                                                    VSPROP_PORT_PRIORITY,
                                                    VSPROP_PORT_PRIORITY_RETAIN,
                                                    VSPROP_PORT_VLAN_NESTEDTAG,
                                                    VSPROP_PORT_SECURITY,
                                                    VSPROP_PORT_EXTRA_ETH_FRP,
                                                    VSPROP_PORT_MAC_MANAGEMENT,
                                                    VSPROP_PORT_USER_MCAST_ADDRESSES,
                                                    VSPROP_PORT_USER_MCAST_ADDRESSES_OVERRIDE,
                                                    VSPROP_PORT_LS_TEAMING_POLICY,
                                                    VSPROP_PORT_TEAMING_OVERRIDE,
                                                    VSPROP_PORT_TX_UPLINK,
                                                    VSPROP_PORT_MIRROR_SESSIONS,
                                                    QEL_HNQPROP_PORT_BLOCK,
                                                    QEL_HNQPORT_FORWARD_NOT_READY_BLOCK};

class AnySetting {
 public:
  explicit AnySetting(forwarding::Source &source) : in_(source) {}

  void set_value() {
    char const *const alias = one_of(in_, simulated_switches);
    if (in_.one_in(3)) {
      char const *const name = one_of(in_, settings_of_switches);
      std::string const value = any_text(in_);
      if (value.empty())
        EXPECT_DOCUMENTED(VSDVS_ClearGlobProp, alias, name, "", 1);
      else
        EXPECT_DOCUMENTED(VSDVS_SetGlobProp, alias, name, value.data(), static_cast<int>(value.size()), "", 1);
      return;
    }
    char const *const dvport = one_of(in_, simulated_ports);
    char const *const name = one_of(in_, settings_of_ports);
    std::string const value = any_text(in_);
    if (value.empty())
      EXPECT_DOCUMENTED(VSDVS_ClearPortProp, alias, dvport, name, "", 1);
    else
      EXPECT_DOCUMENTED(VSDVS_SetPortProp, alias, dvport, name, value.data(), static_cast<int>(value.size()), "", 1);
  }

  void set_vlan() {
    char const *const alias = one_of(in_, simulated_switches);
    std::uint8_t const flags = in_.byte();
    char const *const dvport = (flags & 0x80) != 0 ? "nic0" : one_of(in_, simulated_ports);
    std::uint16_t const vlan = forwarding::AnyHost::vlan(in_);
    qel_HNQPortVIDRange ranges[] = {{in_.byte(), 10}, {100, forwarding::AnyHost::vlan(in_)}};
    EXPECT_DOCUMENTED(VSDVS_SetPortVLANPolicy, alias, dvport, vlan, flags % 8, as_bool(flags & 0x10),
                      as_bool(flags & 0x20), ranges, static_cast<qel_uint16>((flags & 0x40) != 0 ? 2 : 0));
  }

  void set_team() {
    char const *const alias = one_of(in_, simulated_switches);
    VSTeamPolicy policy{};
    policy.loadBalance = in_.byte() % 6;
    policy.linkCriteria = in_.below(1024);
    policy.percentError = in_.byte() % 101;
    policy.fullDuplex = in_.byte() & 1U;
    policy.speed = static_cast<qel_uint16>(in_.below(65536));
    policy.flags = in_.one_in(2) ? in_.byte() % 128U : std::uint32_t{in_.byte() % 16U} << 16;
    std::vector<char const *> standby;
    std::uint32_t count = 0;
    auto const put = [&](char const *name) { std::strcpy(policy.uplinkPortName[count++], name); };
    for (char const *const uplink : simulated_uplinks) {
      std::uint8_t const kind = in_.byte() % 4;
      if (kind == 0)
        put(uplink);
      else if (kind == 1)
        standby.push_back(uplink);
    }
    policy.numActive = count;
    policy.numStandby = static_cast<qel_uint32>(standby.size());
    std::for_each(standby.begin(), standby.end(), put);
    if (in_.one_in(2))
      EXPECT_DOCUMENTED(VSDVS_SetTeamingPolicy, alias, &policy);
    else
      EXPECT_DOCUMENTED(VSDVS_SetPortTeamingPolicy, alias, one_of(in_, simulated_ports), &policy);
  }

  void set_mirror() {
    constexpr std::uint32_t entities = 5;
    std::vector<char> block(sizeof(DVMirrorSessionTable) + sizeof(DVMirrorSession) + entities * sizeof(DVMirrorEntity) +
                            sizeof(DVMirrorFilterRule) + sizeof(DVMirrorIpPrefix));
    char *place = block.data();
    auto const put = [&](auto const &part) {
      std::memcpy(place, &part, sizeof part);
      place += sizeof part;
    };
    char const *const alias = one_of(in_, simulated_switches);
    bool const has_rule = in_.one_in(2);
    DVMirrorSessionTable header{};
    header.magicNum = static_cast<qel_uint32>(VS_DVMIRROR_MAGIC_NUM);
    header.version = static_cast<DVMirrorVersion>(VS_DVMIRROR_VERSION_V4);
    header.numSessions = 1;
    header.numEntities = entities;
    header.numFilterRules = header.numFilterIPs = has_rule;
    put(header);
    DVMirrorSession session{};
    session.sid[0] = static_cast<char>('s' + in_.byte() % 2);
    session.type = static_cast<DVMirrorSessionType>(in_.byte() % 6);
    session.snapLen = in_.one_in(2) ? 0 : in_.byte();
    session.flags = in_.byte() & 0x7fU;
    session.encapVlan = static_cast<qel_uint16>(forwarding::AnyHost::vlan(in_) % 4095);
    session.wildIn = in_.byte() % 32;
    session.wildOut = in_.byte() % 32;
    session.samplingRate = in_.byte() % 4;
    session.greKey = in_.byte();
    session.uplinkFilter = static_cast<DVMirrorFilterType>(in_.byte() % 6);
    session.stack = as_bool(in_.byte() & 1);
    session.encapType = static_cast<DVMirrorEncapType>(in_.byte() % 3);
    session.erspanID = static_cast<qel_uint16>(in_.below(1024));
    session.erspanCOS = in_.byte() % 8;
    session.erspanGra = in_.byte() % 4;
    session.numFilterRules = has_rule;
    session.numDstEntities = in_.byte() % 4;
    session.numSrcInEntities = in_.byte() % (entities + 1 - session.numDstEntities);
    session.numSrcOutEntities = entities - session.numDstEntities - session.numSrcInEntities;
    put(session);
    for (std::uint32_t i = 0; i < entities; ++i)
      put(entity());
    if (has_rule) {
      DVMirrorFilterRule rule{};
      (in_.one_in(2) ? rule.numSrcIPs : rule.numDstIPs) = 1;
      rule.protocol = in_.byte();
      rule.has_protocol = in_.byte() & 1U;
      rule.has_srcports = in_.byte() & 1U;
      rule.srcPorts = {in_.byte(), static_cast<qel_uint16>(in_.below(65536))};
      rule.action = static_cast<DVMirrorFilterAction>(in_.byte() % 2);
      put(rule);
      DVMirrorIpPrefix prefix{};
      prefix.isIPv6 = as_bool(in_.byte() & 1);
      prefix.prefix_length = in_.byte() % 33;
      std::memset(&prefix.ipv6, in_.byte(), sizeof prefix.ipv6);
      put(prefix);
    }
    auto *const table = reinterpret_cast<DVMirrorSessionTable *>(block.data());
    EXPECT_DOCUMENTED(VSDVS_SetDVMirrorSessions, alias, in_.one_in(2) ? nullptr : one_of(in_, simulated_ports), table);
  }

  void set_options() {
    struct Option {
      VSRuntimeOptions options;
      qel_uint16 type;
      qel_uint16 length;
      qel_uint32 value;
    } block{
        {sizeof(Option)}, static_cast<qel_uint16>(in_.byte() % 20), 8, in_.one_in(2) ? in_.byte() : in_.below(65536)};
    EXPECT_DOCUMENTED(VSQEL_SetRuntimeOptions, reinterpret_cast<VSRuntimeOptions *>(&block));
  }

 private:
  DVMirrorEntity entity() {
    DVMirrorEntity made{};
    std::uint8_t const type = in_.byte() % 7;
    made.type = static_cast<DVMirrorEntityType>(type);
    switch (type) {
      case MIRROR_ENTTYPE_UPLINK: std::strcpy(made.uplink.string, one_of(in_, simulated_uplinks)); break;
      case MIRROR_ENTTYPE_VLAN: made.vlan = forwarding::AnyHost::vlan(in_); break;
      case MIRROR_ENTTYPE_IP:
        made.ip.isIPv6 = as_bool(in_.byte() & 1);
        std::memset(&made.ip.ipv6, in_.byte(), sizeof made.ip.ipv6);
        break;
      case MIRROR_ENTTYPE_PORT: made.portId = in_.byte() % 16; break;
      case MIRROR_ENTTYPE_MAC:
        made.mac[0] = 2;
        made.mac[4] = 1;
        made.mac[5] = in_.byte();
        break;
      default: std::strcpy(made.dvPortId, one_of(in_, simulated_ports));
    }
    return made;
  }

  forwarding::Source &in_;
};

}  // namespace fuzz
