// Multicast: user addresses as views of their properties, and what ports receive.
#include <arpa/inet.h>

#include "property_test.hpp"

namespace multicast_test {

VSMACEntries sample_entries() {
  VSMACEntries entries;
  std::memset(&entries, 0x01, sizeof entries);
  for (unsigned char i = 0; i < 25; ++i)
    entries.macEntry[i][5] = i;
  return entries;
}

std::vector<std::string> filters(char const *dvport_id, int mode, std::size_t size) {
  qel_SwitchPortID port = 0;
  EXPECT_STATUS(QEL_OK, VSDVS_DvPortIDToPortID("s", dvport_id, &port));
  Returned<VSMcastFilters> filters;
  EXPECT_STATUS(QEL_OK, VSQEL_GetMcastFilters("s", port, static_cast<VSMcastFilterMode>(mode), &filters));
  EXPECT_EQ(filters->totalEntries, filters->numEntries);
  auto const *bytes = reinterpret_cast<char const *>(filters.record + 1);
  std::vector<std::string> list;
  for (qel_uint32 i = 0; i < filters->numEntries; ++i)
    list.emplace_back(bytes + i * size, size);
  return list;
}

std::string ip(char const *text) {
  char bytes[16];
  int const family = std::strchr(text, ':') ? AF_INET6 : AF_INET;
  EXPECT_EQ(1, inet_pton(family, text, bytes));
  return {bytes, family == AF_INET ? 4u : 16u};
}

constexpr char description[] = R"({"format": 1, "stopped_clock": 1700000000000000,
  "switches": [{"alias": "s", "switch_id": "id", "ports": [
    {"dvport_id": "p", "client": {"name": "c", "type": "vnic", "mac": "02:00:00:00:02:00"},
     "multicast_groups": [
       {"address": "239.129.2.3", "sources": ["192.0.2.2", "192.0.2.1"], "mode": "exclude", "vni": 7},
       {"address": "224.1.2.3", "version": 2},
       {"address": "ff02::1:ff00:17", "sources": ["fe80::1"]}]},
    {"dvport_id": "q"}]}]})";

using Names = std::vector<std::string>;

class Multicast : public HostTest {
 protected:
  static int filter_mode(int mode) { return VSDVS_SetMcastFilterMode("s", static_cast<VSMcastFilterMode>(mode)); }

  static int stats(qel_SwitchPortID port, int mode, std::string const &group, VSMcastFilterStats **result) {
    return VSQEL_GetMcastFilterStats("s", port, static_cast<VSMcastFilterMode>(mode), group.data(), result);
  }
};

TEST_F(Multicast, refused_user_addresses) {
  VSMACEntries entries = sample_entries();
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, VSDVS_SetMcastUserLegacyEntries("workload", 26, &entries));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetMcastUserLegacyEntries("workload", -1, &entries));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetMcastUserLegacyEntries("workload", 1, nullptr));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_SetMcastUserLegacyEntries("none", 1, &entries));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_SetPortMcastUserLegacyEntries("workload", "none", 1, &entries));
  entries.macEntry[1][5] = 0;
  EXPECT_STATUS(QEL_EXISTS, VSDVS_SetMcastUserLegacyEntries("workload", 2, &entries));
  entries.macEntry[1][0] = 0x02;
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetPortMcastUserLegacyEntries("workload", "100", 2, &entries));
  EXPECT_STATUS(QEL_OK, VSDVS_SetPortMcastUserLegacyEntries("workload", "100", 0, nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, set_raw_property("workload", nullptr, VSPROP_USER_MCAST_ADDRESSES, ""));
  EXPECT_STATUS(QEL_BAD_PARAM, set_raw_property("workload", nullptr, VSPROP_USER_MCAST_ADDRESSES, "\1x"));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, set_raw_property("workload", nullptr, VSPROP_USER_MCAST_ADDRESSES, "\x1a"));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetMcastUserLegacyEntries("workload", nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetPortMcastUserLegacyEntries("workload", "100", nullptr));
}

TEST_F(Multicast, a_port_receives_by_hardware_address) {
  boot_from(description);
  std::string const joined_first("\x01\x00\x5e\x01\x02\x03", 6);  // both IPv4 groups have this address
  std::string const joined_second("\x33\x33\xff\x00\x00\x17", 6);
  EXPECT_EQ((Names{joined_first, joined_second}), filters("p", VS_MCAST_FILTER_MODE_LEGACY, 6));
  EXPECT_EQ(Names{}, filters("q", VS_MCAST_FILTER_MODE_LEGACY, 6));

  VSMACEntries entries = sample_entries();
  ASSERT_STATUS(QEL_OK, VSDVS_SetMcastUserLegacyEntries("s", 2, &entries));
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortMcastUserLegacyEntries("s", "p", 1, &entries));
  VSExtraEthFilter filter{};
  filter.numMulticastAddrs = 1;
  std::memcpy(filter.multicastAddrs[0], joined_second.data(), 6);
  ASSERT_STATUS(QEL_OK, VSDVS_SetExtraEthFilter("s", "p", &filter));
  std::string const one = bytes_of(entries).substr(0, 6);
  std::string const two = bytes_of(entries).substr(6, 6);
  EXPECT_EQ((Names{one, two, joined_second, joined_first}), filters("p", VS_MCAST_FILTER_MODE_LEGACY, 6));
  EXPECT_EQ((Names{one, two}), filters("q", VS_MCAST_FILTER_MODE_LEGACY, 6));
  ASSERT_STATUS(QEL_OK, set_raw_property("s", "p", VSPROP_PORT_USER_MCAST_ADDRESSES_OVERRIDE, "\1"));
  EXPECT_EQ((Names{one, joined_second, joined_first}), filters("p", VS_MCAST_FILTER_MODE_LEGACY, 6));
}

TEST_F(Multicast, the_mode_of_the_switch_decides_what_a_port_receives_by) {
  boot_from(description);
  Names const ipv4{ip("224.1.2.3"), ip("239.129.2.3")};
  Names const ipv6{ip("ff02::1:ff00:17")};
  EXPECT_EQ(Names{}, filters("p", VS_MCAST_FILTER_MODE_IGMP, 4));
  ASSERT_EQ(0, in_child([] { return filter_mode(VS_MCAST_FILTER_MODE_SNOOPING); }));
  EXPECT_EQ(ipv4, filters("p", VS_MCAST_FILTER_MODE_IGMP, 4));
  EXPECT_EQ(ipv6, filters("p", VS_MCAST_FILTER_MODE_MLD, 16));
  EXPECT_EQ(Names{}, filters("p", VS_MCAST_FILTER_MODE_LEGACY, 6));
  EXPECT_EQ(Names{}, filters("q", VS_MCAST_FILTER_MODE_IGMP, 4));
  ASSERT_STATUS(QEL_OK, filter_mode(VS_MCAST_FILTER_MODE_MLD));
  EXPECT_EQ(Names{}, filters("p", VS_MCAST_FILTER_MODE_IGMP, 4));
  EXPECT_EQ(ipv6, filters("p", VS_MCAST_FILTER_MODE_MLD, 16));
}

TEST_F(Multicast, refused_filter_queries) {
  boot_from(description);
  qel_SwitchPortID const port = port_number("s", "p");
  ASSERT_STATUS(QEL_OK, create_switch("other"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("other", "p", 0));
  auto const query = [](char const *switch_name, qel_SwitchPortID number, int mode, VSMcastFilters **result) {
    return VSQEL_GetMcastFilters(switch_name, number, static_cast<VSMcastFilterMode>(mode), result);
  };
  Returned<VSMcastFilters> none;
  EXPECT_STATUS(QEL_BAD_PARAM, query("s", port, VS_MCAST_FILTER_MODE_SNOOPING, &none));
  EXPECT_EQ(nullptr, none.record);
  EXPECT_STATUS(QEL_BAD_PARAM, query("s", port, -1, &none));
  EXPECT_STATUS(QEL_BAD_PARAM, query("s", port, 4, &none));
  EXPECT_STATUS(QEL_NOT_FOUND, query("s", 0, 0, &none));
  EXPECT_STATUS(QEL_NOT_FOUND, query("s", port_number("other", "p"), 0, &none));
  EXPECT_STATUS(QEL_NOT_FOUND, query("none", port, 0, &none));
  EXPECT_STATUS(QEL_BAD_PARAM, query(nullptr, port, 0, &none));
  EXPECT_STATUS(QEL_BAD_PARAM, query("s", port, 0, nullptr));
}

TEST_F(Multicast, the_state_of_a_group) {
  boot_from(description);
  qel_SwitchPortID const port = port_number("s", "p");
  Returned<VSMcastFilterStats> result;
  EXPECT_STATUS(QEL_NOT_FOUND, stats(port, VS_MCAST_FILTER_MODE_IGMP, ip("239.129.2.3"), &result));
  ASSERT_STATUS(QEL_OK, filter_mode(VS_MCAST_FILTER_MODE_SNOOPING));
  // Raw data lies at any address.
  std::string const group = "x" + ip("239.129.2.3");
  ASSERT_STATUS(QEL_OK, VSQEL_GetMcastFilterStats("s", port, static_cast<VSMcastFilterMode>(VS_MCAST_FILTER_MODE_IGMP),
                                                  group.data() + 1, &result));
  EXPECT_EQ(3u, qel_uint32{result->version});
  EXPECT_EQ(static_cast<qel_uint32>(VS_MCAST_SRC_IP_FILTER_MODE_EXCLUDE), qel_uint32{result->srcIPFilterMode});
  EXPECT_EQ(1700000000000000u, qel_uint64{result->updateTime});
  EXPECT_EQ(7u, qel_uint32{result->vni});
  EXPECT_EQ(2u, qel_uint32{result->totalEntries});
  ASSERT_EQ(2u, qel_uint32{result->numEntries});
  EXPECT_EQ(ip("192.0.2.1") + ip("192.0.2.2"), std::string(reinterpret_cast<char const *>(result.record + 1), 8));
  ASSERT_STATUS(QEL_OK, stats(port, VS_MCAST_FILTER_MODE_IGMP, ip("224.1.2.3"), &result));
  EXPECT_EQ(2u, qel_uint32{result->version});
  EXPECT_EQ(0u, qel_uint32{result->srcIPFilterMode});
  EXPECT_EQ(0u, qel_uint32{result->numEntries});
  ASSERT_STATUS(QEL_OK, stats(port, VS_MCAST_FILTER_MODE_MLD, ip("ff02::1:ff00:17"), &result));
  EXPECT_EQ(2u, qel_uint32{result->version});
  EXPECT_EQ(ip("fe80::1"), std::string(reinterpret_cast<char const *>(result.record + 1), 16));

  EXPECT_STATUS(QEL_NOT_FOUND, stats(port, VS_MCAST_FILTER_MODE_IGMP, ip("239.0.0.1"), &result));
  EXPECT_EQ(nullptr, result.record);
  EXPECT_STATUS(QEL_NOT_FOUND, stats(port_number("s", "q"), VS_MCAST_FILTER_MODE_IGMP, ip("224.1.2.3"), &result));
  EXPECT_STATUS(QEL_BAD_PARAM, stats(port, VS_MCAST_FILTER_MODE_LEGACY, ip("224.1.2.3"), &result));
  EXPECT_STATUS(QEL_BAD_PARAM,
                VSQEL_GetMcastFilterStats("s", port, static_cast<VSMcastFilterMode>(2), nullptr, &result));
  EXPECT_STATUS(QEL_BAD_PARAM, stats(port, VS_MCAST_FILTER_MODE_IGMP, ip("224.1.2.3"), nullptr));
  EXPECT_STATUS(QEL_NOT_FOUND, stats(0, VS_MCAST_FILTER_MODE_IGMP, ip("224.1.2.3"), &result));
}

}  // namespace multicast_test
