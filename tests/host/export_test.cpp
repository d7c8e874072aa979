// What the tool exports: a boot description from which a host boots that is configured like the exported one.
#include <array>
#include <vector>

#include "host_test.hpp"
#include "platform/core/clock.hpp"
#include "platform/core/ports.hpp"
#include "property_test.hpp"

namespace export_test {

constexpr char start[] = R"({
  "format": 1, "stopped_clock": 1000000000000000,
  "physical_nics": [
    {"name": "n0", "mac": "02:00:00:00:00:00", "speed": 40000, "duplex": "half", "numa_node": 1, "driver": "d"},
    {"name": "n1", "mac": "02:00:00:00:00:01", "link": "down"},
    {"name": "n2", "mac": "02:00:00:00:00:02", "smartnic": true},
    {"name": "b", "mac": "02:00:00:00:00:03"}
  ],
  "switches": [{
    "alias": "s", "switch_id": "i", "max_ports": 40, "flags": 5, "version": 7,
    "uplinks": [{"name": "a", "nic": "n0"}, {"name": "b", "nic": "n1"}, {"name": "n2", "nic": null}],
    "ports": [
      {"dvport_id": "p", "connect_id": 4, "client": {"name": "x", "type": "vnic", "mac": "02:00:00:00:00:a2",
         "numa_node": 1, "router": true, "promiscuous": true},
       "multicast_groups": [
         {"address": "239.1.2.3", "sources": ["192.0.2.1", "192.0.2.2"], "mode": "exclude", "updated": 17, "vni": 9},
         {"address": "239.1.2.4", "sources": [], "mode": "include", "version": 2}, {"address": "ff05::1"}]},
      {"dvport_id": "q", "client": {"name": "y", "type": "tcpip"}},
      {"dvport_id": "taken"}
    ],
    "lags": [{"name": "front", "members": [{"uplink": "b"}, {"uplink": "a", "lacp": "down"}]}, {"name": "empty"}],
    "mirror_sessions": [{"session_id": "tap", "name": "Tap", "port": "q", "destinations": ["q"], "sources_in": ["p"]}]
  }]
})";

VSMACEntry mac_entry(unsigned char last, unsigned vlan, unsigned vni) {
  VSMACEntry entry{};
  unsigned char const bytes[] = {2, 9, 0, 0, 0, last};
  std::memcpy(entry.macAddress, bytes, sizeof bytes);
  entry.vid = static_cast<qel_VlanID>(vlan);
  entry.vni = vni;
  return entry;
}

// Two lists of uplink ports, in the form of the property.
std::string uplink_list(std::vector<std::array<char const *, 2>> const &uplinks) {
  std::string names = bytes_of(static_cast<qel_uint32>(uplinks.size()));
  std::string ids = names;
  for (auto const &[name, id] : uplinks) {
    names += std::string(name).append(81 - std::strlen(name), '\0');
    ids += std::string(id).append(48 - std::strlen(id), '\0');
  }
  return names + ids;
}

std::string typed_image() {
  void *image = nullptr;
  int length = 0;
  EXPECT_STATUS(QEL_OK, DVSQEL_StateGet(&image, &length));
  std::string const bytes(static_cast<char const *>(image), static_cast<std::size_t>(length));
  VSQEL_FreeMemory(image);
  return bytes;
}

class Export : public HostTest {
 protected:
  std::string exported() {
    close_host();
    FILE *tool = popen(HOST_TOOL " export", "r");
    if (!tool)
      return "popen failed";
    std::string text;
    std::array<char, 4096> room;
    for (std::size_t count; (count = fread(room.data(), 1, room.size(), tool)) > 0;)
      text.append(room.data(), count);
    EXPECT_EQ(0, pclose(tool));
    return text;
  }

  void boot_export(std::string const &text) {
    write_file(folder / "export.json", text);
    setenv("VSWITCH_HOST_INIT", (folder / "export.json").c_str(), 1);
    use_host((folder / "second.db").string());
  }

  static void advance_clock(std::int64_t microseconds) {
    HostLock lock;
    Database &database = open_host();
    Transaction transaction(database, true);
    stop_clock(database, clock_now(database) + microseconds);
    transaction.commit();
  }

  // What typed calls say of what an image of the state does not hold. Port numbers are not compared.
  static std::string answers() {
    std::string text;
    VSMACLearningGlobalProps learning{};
    EXPECT_STATUS(QEL_OK, VSQEL_GetGlobalMACLearningProps(&learning));
    text += bytes_of(learning);
    std::vector<qel_uint16> types;
    for (qel_uint16 type = 0; type < VS_NUM_RT_OPT; ++type)
      types.push_back(type);
    Returned<VSRuntimeOptions> options;
    EXPECT_STATUS(QEL_OK, VSQEL_GetRuntimeOptions(types.data(), VS_NUM_RT_OPT, &options));
    text.append(reinterpret_cast<char const *>(options.record), options->totalLength);
    for (char const *dvport_id : {"p", "q", "opaque", "up-a"}) {
      Returned<VSMACTable> table;
      EXPECT_STATUS(QEL_OK,
                    VSQEL_GetPortMACTable("s", dvport_id, static_cast<VSMACAddrType>(VS_MAC_ADDR_TYPE_ALL), &table));
      text += std::string(dvport_id) + std::to_string(table->numEntries);
      for (qel_uint32 i = 0; i < table->numEntries; ++i) {
        VSMACEntry entry;
        std::memcpy(&entry, reinterpret_cast<char const *>(table.record + 1) + i * sizeof entry, sizeof entry);
        entry.portID = 0;
        text += bytes_of(entry);
      }
    }
    for (char const *uplink : {"a", "b", "n2"}) {
      qel_LinkState state{};
      EXPECT_STATUS(QEL_OK, VSQEL_GetUplinkLinkState("s", uplink, &state));
      text += uplink + std::to_string(state);
      if (VSQEL_GetUplinkLACPLinkState("s", uplink, &state) == QEL_OK)
        text += " " + std::to_string(state);
    }
    for (char const *group : {"\xef\1\2\3", "\xef\1\2\4"}) {
      Returned<VSMcastFilterStats> stats;
      EXPECT_STATUS(
          QEL_OK, VSQEL_GetMcastFilterStats("s", port_number("s", "p"),
                                            static_cast<VSMcastFilterMode>(VS_MCAST_FILTER_MODE_IGMP), group, &stats));
      text += bytes_of(*stats.record);
    }
    return text;
  }
};

TEST_F(Export, of_everything_boots_the_same_host) {
  boot_from(start);
  // Uplink ports: one takes a port that is there, and the volatile list has another order.
  ASSERT_STATUS(QEL_OK, VSDVS_SetHostProp("s", QEL_HNQPROP_HOST_UPLINKPORTS,
                                          uplink_list({{"a", "up-a"}, {"b", ""}, {"n2", ""}, {"t", "taken"}}).data(),
                                          8 + 4 * 129, nullptr, 1));
  ASSERT_STATUS(QEL_OK, VSDVS_SetHostProp("s", QEL_HNQPROP_HOST_UPLINKPORTS,
                                          uplink_list({{"t", ""}, {"n2", ""}, {"b", ""}, {"a", ""}}).data(),
                                          8 + 4 * 129, nullptr, 0));
  // Ports.
  ASSERT_STATUS(QEL_OK, VSDVS_AddOpaqueDVPort("s", "opaque", "external"));
  void *image = nullptr;
  qel_uint32 length = 0;
  DVSDataHandle list = nullptr;
  ASSERT_STATUS(QEL_OK, DVSData_Alloc(&list, nullptr, nullptr));
  ASSERT_STATUS(QEL_OK, DVSData_Serialize(list, &image, &length, static_cast<HNQVersion>(0)));
  ASSERT_STATUS(QEL_OK, DVSQEL_PortAdd("s", "cached", image, static_cast<int>(length)));
  VSQEL_FreeMemory(image);
  DVSData_Free(list);
  // Properties: both values, owners, types, no bytes, all bytes.
  char data[] = "data";
  std::string every_byte;
  for (int byte = 0; byte < 256; ++byte)
    every_byte += static_cast<char>(byte);
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("s", 4000));
  ASSERT_STATUS(QEL_OK, VSDVS_SetGlobProp("s", VSPROP_MTU, "\xdc\x05\0\0", 4, "", 0));
  ASSERT_STATUS(QEL_OK, VSDVS_SetGlobProp("s", "free", every_byte.data(), 256, "vendor", 1));
  ASSERT_STATUS(QEL_OK, VSDVS_SetGlobProp("s", "free", "now", 3, "vendor", 0));
  ASSERT_STATUS(QEL_OK, VSDVS_SetRuntimeHostProp("s", "empty", nullptr, 0, "", 1));
  ASSERT_STATUS(QEL_OK, DVSQEL_PortDataSet("s", "p", "not.replicated", data, 1,
                                           static_cast<qel_uint32>(NO_REPLICATE_PROP_TYPE | POLICY_PROP_TYPE)));
  ASSERT_STATUS(QEL_OK, DVSQEL_UplinkDataSet("s", "a", 7, data, 4, 0));
  // Rules that need each other.
  VSTeamPolicy policy{};
  policy.numActive = 1;
  policy.numStandby = 2;
  for (int i = 0; i < 3; ++i)
    std::strcpy(policy.uplinkPortName[i], (std::array{"t", "a", "b"})[static_cast<std::size_t>(i)]);
  ASSERT_STATUS(QEL_OK, VSDVS_SetTeamingPolicy("s", &policy));
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortTeamingPolicy("s", "p", &policy));
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortTeamingOverride("s", "q", "n2"));
  LSTeamPolicy logical{};
  std::strcpy(logical.name, "gold");
  ASSERT_STATUS(QEL_OK, set_raw_property("s", nullptr, VSPROP_LS_TEAMING_POLICY, bytes_of(1u) + bytes_of(logical)));
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortLSTeamingPolicy("s", "opaque", "gold"));
  VSPvlanMapEntry map[2] = {};
  map[0] = {100, 100, VSPORT_PVLAN_TYPE_PROMISC, {}};
  map[1] = {100, 101, VSPORT_PVLAN_TYPE_ISOLATED, {}};
  ASSERT_STATUS(QEL_OK, VSDVS_SetPrivateVLANMap("s", map, 2));
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortVLANPolicy("s", "opaque", 101, 255, 0, 1, nullptr, 0));
  qel_HNQPortVIDRange ranges[] = {{1, 10}, {20, 20}};
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortVLANPolicy("s", "p", 4095, 3, 1, 0, ranges, 2));
  ASSERT_STATUS(QEL_OK, VSDVS_ConfigureSinkPort("s", "q", 1));
  ASSERT_STATUS(QEL_OK, VSDVS_SetMcastFilterMode("s", static_cast<VSMcastFilterMode>(VS_MCAST_FILTER_MODE_SNOOPING)));
  // Entries by hand, beyond what the limits and the settings allow now.
  for (unsigned char last = 0; last < 3; ++last) {
    VSMACEntry const entry = mac_entry(last, last * 10u, last * 1000u);
    ASSERT_STATUS(QEL_OK, VSQEL_SetPortMACTable("s", last == 2 ? "up-a" : "q", &entry));
    advance_clock(1500000);
  }
  VSPMACLearning few{};
  few.learning = 1;
  few.macLimit = 1;
  few.macLimitPolicy = static_cast<VSPortMACLearningLimitPolicy>(VSPORT_MAC_LEARNING_LIMIT_POLICY_DROP);
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortMACLearning("s", "q", &few));
  VSMACLearningGlobalProps learning{77, 88, 1, 0};
  ASSERT_STATUS(QEL_OK, VSQEL_SetGlobalMACLearningProps(&learning));
  ASSERT_STATUS(QEL_OK, VSDVS_SetStaticMACAllow("s", 1));
  // Options, and switches of other kinds.
  struct {
    qel_uint32 total = 26;
    qel_uint16 type = VS_RT_OPT_TEAM_POLICY_UP_DELAY;
    qel_uint16 length = 8;
    qel_uint32 value = 1234;
    qel_uint16 second_type = VS_RT_OPT_IGMP_ROUTER_IP;
    qel_uint16 second_length = 14;
    char address[10] = "192.0.2.9";
  } options;
  ASSERT_STATUS(QEL_OK, VSQEL_SetRuntimeOptions(reinterpret_cast<VSRuntimeOptions *>(&options)));
  ASSERT_STATUS(QEL_OK, DVSQEL_SwitchAdd("without", "without-id", 9, static_cast<HNQVersion>(DVS_VERSION_60)));
  ASSERT_STATUS(QEL_OK, VSDVS_CreateVSwitch("passing", "passing-id", "", 3, 0, 0, 0, 0));

  std::string const first_answers = answers();
  std::string const first_image = typed_image();
  std::string const first = exported();
  boot_export(first);
  EXPECT_TRUE(first_answers == answers());  // not to be printed
  EXPECT_TRUE(first_image == typed_image());
  EXPECT_EQ(first, exported());
  // Of the persistent values, too.
  ASSERT_STATUS(QEL_OK, boot());
  std::string const booted = typed_image();
  use_host(state_file().string());
  ASSERT_STATUS(QEL_OK, boot());
  EXPECT_TRUE(booted == typed_image());
  EXPECT_EQ(4000u, mtu_of("s"));
}

TEST_F(Export, leaves_out_what_its_rules_do_not_admit) {
  boot_from(R"({"format": 1, "switches": [{"alias": "s", "switch_id": "i", "ports": [{"dvport_id": "p"}]}]})");
  LSTeamPolicy logical{};
  std::strcpy(logical.name, "gold");
  ASSERT_STATUS(QEL_OK, set_raw_property("s", nullptr, VSPROP_LS_TEAMING_POLICY, bytes_of(1u) + bytes_of(logical)));
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortLSTeamingPolicy("s", "p", "gold"));
  std::string const with = exported();
  EXPECT_NE(std::string::npos, with.find(VSPROP_PORT_LS_TEAMING_POLICY));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearLSTeamingPolicy("s"));
  std::string const without = exported();
  EXPECT_EQ(std::string::npos, without.find(VSPROP_PORT_LS_TEAMING_POLICY));
  boot_export(without);
  EXPECT_EQ(1, DVPortExist("s", "p"));
  EXPECT_EQ(without, exported());
}

TEST_F(Export, descriptions_of_properties_are_checked) {
  auto const refusal = [this](std::string const &members) {
    boot_from(R"({"format": 1, "switches": [{"alias": "s", "switch_id": "i", )" + members + "}]}");
    testing::internal::CaptureStderr();
    EXPECT_STATUS(QEL_INVALID_METADATA, VSDVS_SetMTU("s", 1500));
    return testing::internal::GetCapturedStderr();
  };
  auto const expect = [&](std::string const &members, std::string const &message) {
    std::string const actual = refusal(members);
    EXPECT_NE(std::string::npos, actual.find(message)) << actual << "for " << members;
  };
  for (char const *value : {"0", "0g", "g0", "-1", "00 1", "0x10"}) {
    expect(R"("global_properties": [{"name": "n", "value": ")" + std::string(value) + R"("}])",
           "switches[0].global_properties[0].value: must be bytes of two hexadecimal digits each");
  }
  expect(R"("host_properties": [{"value": ""}])", "switches[0].host_properties[0].name: is missing");
  expect(R"("global_properties": [{"name": "free", "value": ""}, {"name": ")" + std::string(VSPROP_MTU) +
             R"(", "value": "00000000"}])",
         "switches[0].global_properties[1]: the host refuses it with QEL_BAD_PARAM");
  expect(R"("ports": [{"dvport_id": "p", "properties": [{"name": ")" + std::string(VSPROP_PORT_LS_TEAMING_POLICY) +
             R"(", "value": "67"}]}])",
         "switches[0].ports[0].properties[0]: the host refuses it with QEL_NOT_FOUND");
  expect(R"("ports": [{"dvport_id": "p", "user_macs": [{"mac": "02:00:00:00:00:01"}, {"mac": "02:00:00:00:00:01"}]}])",
         "switches[0].ports[0].user_macs[1]: the host refuses it with QEL_EXISTS");
  expect(R"("uplinks": [{"name": "u", "made_port": false, "dvport_id": "p"}], "ports": [{"dvport_id": "p"}])",
         "switches[0].ports[0]: the host refuses it with QEL_EXISTS");
  expect(R"("ports": [{"dvport_id": "p", "client": {"name": "c", "type": "vnic"}}], "portset": false)",
         "switches[0]: the host refuses it with QEL_BUSY");
}

}  // namespace export_test
