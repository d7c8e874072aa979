// Properties with a property type: which value is written, fallbacks, the view of a SmartNIC, data of uplinks.
#include "host_test.hpp"

namespace state_properties_test {

constexpr char key[] = "org.example.key";
constexpr auto config = static_cast<qel_uint32>(CONFIG_PROP_TYPE);
constexpr auto until_boot = static_cast<qel_uint32>(CONFIG_PROP_TYPE | VOLATILE_PROP_TYPE);
constexpr auto no_sync = static_cast<qel_uint32>(CONFIG_PROP_TYPE) | static_cast<qel_uint32>(NO_SYNC_PROP_TYPE);

// The value that a get returned, or the name of its status.
template <typename Get>
std::string read(Get &&get) {
  void *data = const_cast<char *>(key);
  int length = -1;
  int const status = get(&data, &length);
  if (status != QEL_OK) {
    EXPECT_EQ(nullptr, data);
    EXPECT_EQ(0, length);
    return status_text(status);
  }
  std::string const value(static_cast<char const *>(data), static_cast<std::size_t>(length));
  EXPECT_EQ(0, static_cast<char const *>(data)[length]);
  DVSQEL_DataFree(data);
  return value;
}

std::string port_data(char const *dvport_id, char const *name = key) {
  return read([&](void **d, int *l) { return DVSQEL_PortDataGet("workload", dvport_id, name, d, l); });
}
std::string host_prop(char const *name = key) {
  return read([&](void **d, int *l) { return DVSQEL_HostPropGet("workload", name, d, l); });
}
std::string global_prop(char const *name = key) {
  return read([&](void **d, int *l) { return DVSQEL_GlobalPropGet("workload", name, d, l); });
}
std::string uplink_data(char const *uplink, qel_uint32 kind) {
  return read([&](void **d, int *l) { return DVSQEL_UplinkDataGet("workload", uplink, kind, d, l); });
}
std::string nic_port_data(char const *name = key) {
  return read([&](void **d, int *l) { return DVSQEL_SmartNICPortDataGet("workload", "100", name, d, l); });
}
std::string nic_host_prop(char const *name = key) {
  return read([&](void **d, int *l) { return DVSQEL_SmartNICHostPropGet("workload", name, d, l); });
}
std::string nic_global_prop(char const *name = key) {
  return read([&](void **d, int *l) { return DVSQEL_SmartNICGlobalPropGet("workload", name, d, l); });
}

int set_port(char const *dvport_id, std::string value, qel_uint32 type = config, char const *name = key) {
  return DVSQEL_PortDataSet("workload", dvport_id, name, value.data(), static_cast<int>(value.size()), type);
}
int set_host(std::string value, qel_uint32 type = config, char const *name = key) {
  return DVSQEL_HostPropSet("workload", name, value.data(), static_cast<int>(value.size()), type);
}
int set_global(std::string value, qel_uint32 type = config, char const *name = key) {
  return DVSQEL_GlobalPropSet("workload", name, value.data(), static_cast<int>(value.size()), type);
}
int set_uplink(char const *uplink, qel_uint32 kind, std::string value, qel_uint32 type = config) {
  return DVSQEL_UplinkDataSet("workload", uplink, kind, value.data(), static_cast<int>(value.size()), type);
}

class StateProperties : public HostTest {};

TEST_F(StateProperties, of_all_scopes_are_seen_by_other_processes_and_raw_calls) {
  std::string const value("\0v\xff", 3);
  ASSERT_STATUS(QEL_OK, set_port("100", value));
  ASSERT_STATUS(QEL_OK, set_host("host"));
  ASSERT_STATUS(QEL_OK, set_global(""));
  EXPECT_EQ(
      0, in_child([&] { return port_data("100") == value && host_prop() == "host" && global_prop().empty() ? 0 : 1; }));
  char buffer[8];
  HNQQuery query{sizeof buffer, buffer};
  ASSERT_STATUS(QEL_OK, VSDVS_GetPortProp("workload", "100", key, &query, "", 1));
  EXPECT_EQ(value, std::string(buffer, static_cast<std::size_t>(query.propLen)));
  EXPECT_EQ("QEL_NOT_FOUND", port_data("101"));
  ASSERT_STATUS(QEL_OK, DVSQEL_PortDataClear("workload", "100", key));
  EXPECT_EQ("QEL_NOT_FOUND", port_data("100"));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_PortDataClear("workload", "100", key));
  ASSERT_STATUS(QEL_OK, DVSQEL_GlobalPropClear("workload", key));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_GlobalPropClear("workload", key));
  ASSERT_STATUS(QEL_OK, DVSQEL_HostPropClear("workload", key));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_HostPropClear("workload", key));
}

TEST_F(StateProperties, follow_the_rules_of_their_names) {
  EXPECT_EQ(std::string("\x28\x23\0\0", 4), global_prop(VSPROP_MTU));
  EXPECT_EQ(std::string("\x28\x23\0\0", 4), host_prop(VSPROP_MTU));
  EXPECT_STATUS(QEL_BAD_PARAM, set_global("12345", config, VSPROP_MTU));
  EXPECT_STATUS(QEL_BAD_PARAM, set_port("100", "1234", config, VSPROP_MTU));
  ASSERT_STATUS(QEL_OK, set_global(std::string("\x40\x06\0\0", 4), config, VSPROP_MTU));
  EXPECT_EQ(1600u, mtu_of("workload"));
  ASSERT_STATUS(QEL_OK, DVSQEL_GlobalPropClear("workload", VSPROP_MTU));
  EXPECT_EQ(1500u, mtu_of("workload"));
  EXPECT_STATUS(QEL_READ_ONLY, set_global("x", config, QEL_HNQPROP_SWITCH_ALIAS));
  EXPECT_EQ("workload", global_prop(QEL_HNQPROP_SWITCH_ALIAS));
  EXPECT_EQ(std::string(4, '\0'), port_data("103", QEL_HNQPROP_PORT_CONNECTID)) << "the default";
}

TEST_F(StateProperties, arguments_are_checked) {
  void *data = this;
  int length = 1;
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_GlobalPropGet("workload", VSPROP_MTU, nullptr, &length));
  EXPECT_EQ(0, length);
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_GlobalPropGet("workload", VSPROP_MTU, &data, nullptr));
  EXPECT_EQ(nullptr, data);
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_GlobalPropGet(nullptr, VSPROP_MTU, &data, &length));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_GlobalPropGet("workload", nullptr, &data, &length));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_GlobalPropGet("none", VSPROP_MTU, &data, &length));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_PortDataGet("workload", "none", key, &data, &length));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_PortDataGet("workload", nullptr, key, &data, &length));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_GlobalPropSet("workload", key, nullptr, 1, config));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_GlobalPropSet("workload", key, this, -1, config));
  EXPECT_STATUS(QEL_OK, DVSQEL_GlobalPropSet("workload", key, nullptr, 0, config));
  EXPECT_STATUS(QEL_BAD_PARAM, set_global("x", 1));
  EXPECT_STATUS(QEL_BAD_PARAM, set_global("x", 0x40000000));
  EXPECT_STATUS(QEL_INVALID_NAME, set_global("x", config, ""));
  EXPECT_STATUS(QEL_NAME_TOO_LONG, set_global("x", config, std::string(256, 'n').c_str()));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, set_global(std::string(1048577, 'v')));
  EXPECT_STATUS(QEL_OK, set_global("x", 0));
}

TEST_F(StateProperties, of_a_volatile_type_go_with_the_boot) {
  ASSERT_STATUS(QEL_OK, set_global("persistent"));
  ASSERT_STATUS(QEL_OK, set_global("volatile", until_boot));
  EXPECT_EQ("volatile", global_prop());
  ASSERT_STATUS(QEL_OK, set_global("runtime", RUNTIME_PROP_TYPE, "runtime"));
  ASSERT_STATUS(QEL_OK, host::boot());
  EXPECT_EQ("persistent", global_prop());
  EXPECT_EQ("runtime", global_prop("runtime")) << "only the volatile bit decides";
}

TEST_F(StateProperties, keep_their_owner) {
  ASSERT_STATUS(QEL_OK, VSDVS_SetGlobProp("workload", key, "v", 1, "vendor", 1));
  ASSERT_STATUS(QEL_OK, set_global("other"));
  char buffer[8];
  HNQQuery query{sizeof buffer, buffer};
  EXPECT_STATUS(QEL_OK, VSDVS_GetGlobProp("workload", key, &query, "vendor", 1));
  EXPECT_STATUS(QEL_OK, DVSQEL_GlobalPropClear("workload", key));
}

TEST_F(StateProperties, of_the_host_fall_back_to_the_global_one) {
  EXPECT_EQ("QEL_NOT_FOUND", host_prop());
  ASSERT_STATUS(QEL_OK, set_global("global"));
  EXPECT_EQ("global", host_prop());
  ASSERT_STATUS(QEL_OK, set_host("host"));
  EXPECT_EQ("host", host_prop());
  EXPECT_EQ("global", global_prop());
  ASSERT_STATUS(QEL_OK, DVSQEL_HostPropClear("workload", key));
  EXPECT_EQ("global", host_prop());
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_HostPropClear("workload", key)) << "a clear does not fall back";
}

TEST_F(StateProperties, are_seen_by_a_smartnic_when_they_are_synchronised) {
  ASSERT_STATUS(QEL_OK, set_global("global"));
  ASSERT_STATUS(QEL_OK, set_port("100", "port"));
  EXPECT_EQ("QEL_NOT_SUPPORTED", nic_global_prop()) << "no uplink port of the switch has such a NIC";
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("workload", "nic5"));
  EXPECT_EQ("global", nic_global_prop());
  EXPECT_EQ("global", nic_host_prop());
  EXPECT_EQ("port", nic_port_data());
  EXPECT_EQ("workload", nic_global_prop(QEL_HNQPROP_SWITCH_ALIAS));
  ASSERT_STATUS(QEL_OK, set_host("host", no_sync));
  EXPECT_EQ("host", host_prop());
  EXPECT_EQ("global", nic_host_prop());
  ASSERT_STATUS(QEL_OK, set_port("100", "secret", no_sync | until_boot));
  EXPECT_EQ("secret", port_data("100"));
  EXPECT_EQ("port", nic_port_data());
  ASSERT_STATUS(QEL_OK, set_port("100", "secret", no_sync));
  EXPECT_EQ("QEL_NOT_FOUND", nic_port_data());
  ASSERT_STATUS(QEL_OK, set_global(std::string("\x40\x06\0\0", 4), no_sync, VSPROP_MTU));
  EXPECT_EQ(std::string("\xdc\x05\0\0", 4), nic_global_prop(VSPROP_MTU)) << "the default";
  EXPECT_EQ("QEL_BAD_PARAM", nic_port_data(VSPROP_MTU));
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveSwitchUplinkPort("workload", "nic5"));
  EXPECT_EQ("QEL_NOT_SUPPORTED", nic_port_data());
}

TEST_F(StateProperties, of_uplinks_are_kept_at_their_ports) {
  EXPECT_EQ("QEL_NOT_FOUND", uplink_data("uplink-a", 7));
  ASSERT_STATUS(QEL_OK, set_uplink("uplink-a", 7, "seven"));
  ASSERT_STATUS(QEL_OK, set_uplink("nic2", 4294967295u, "last"));
  EXPECT_EQ("seven", uplink_data("nic1", 7));
  EXPECT_EQ("last", uplink_data("uplink-b", 4294967295u));
  EXPECT_EQ("QEL_NOT_FOUND", uplink_data("uplink-b", 7));
  EXPECT_EQ("seven", port_data("uplink-1", "uplink.data.7"));
  EXPECT_EQ("QEL_NOT_FOUND", uplink_data("nic0", 7)) << "an uplink of another switch";
  EXPECT_STATUS(QEL_NOT_FOUND, set_uplink("none", 7, "x"));
  EXPECT_STATUS(QEL_BAD_PARAM, set_uplink(nullptr, 7, "x"));
  EXPECT_STATUS(QEL_BAD_PARAM, set_uplink("uplink-a", 7, "x", 1));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_UplinkDataSet("workload", "uplink-a", 7, nullptr, 1, config));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_UplinkDataGet("workload", "uplink-a", 7, nullptr, nullptr));
  ASSERT_STATUS(QEL_OK, set_uplink("uplink-a", 8, "volatile", until_boot));
  ASSERT_STATUS(QEL_OK, host::boot());
  EXPECT_EQ("seven", uplink_data("uplink-a", 7));
  EXPECT_EQ("QEL_NOT_FOUND", uplink_data("uplink-a", 8));
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveSwitchUplinkPort("workload", "uplink-a"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("workload", "uplink-a"));
  EXPECT_EQ("QEL_NOT_FOUND", uplink_data("uplink-a", 7));
}

TEST_F(StateProperties, commands_tell_about_a_switch) {
  auto const run = [](char const *command, std::string input = {}) {
    return read([&](void **d, int *l) {
      return DVSQEL_CmdExec("workload", command, input.empty() ? nullptr : input.data(), static_cast<int>(input.size()),
                            d, l);
    });
  };
  EXPECT_EQ("help\nswitch\nports\nuplinks\nproperties\nport-properties\n", run("help"));
  EXPECT_EQ(
      "alias: workload\nidentifier: 776f726b-6c6f-6164-0000-000000000002\nport set: portset-2\nclass: cswitch\n"
      "version: 7\nmtu: 9000\nports: 6\nactive ports: 5\nports at most: 512\n",
      run("switch"));
  EXPECT_EQ("uplink-a\tnic1\tup\nuplink-b\tnic2\tup\n", run("uplinks"));
  ASSERT_STATUS(QEL_OK, DVSQEL_PortRemove("workload", "100"));
  EXPECT_NE(std::string::npos,
            run("ports").find("100\t" + std::to_string(port_number("workload", "100")) + "\tzombie\n"));
  ASSERT_STATUS(QEL_OK, set_host("host"));
  EXPECT_NE(std::string::npos, run("properties").find(std::string(key) + "\t4\n"));
  EXPECT_EQ(std::string(QEL_HNQPROP_PORT_CONNECTID) + "\t4\n", run("port-properties", "101"));
  EXPECT_EQ(run("port-properties", "101"), run("port-properties", std::string("101\0", 4)));
  EXPECT_EQ("QEL_NOT_FOUND", run("port-properties", "none"));
  EXPECT_EQ("QEL_BAD_PARAM", run("port-properties"));
  EXPECT_EQ("QEL_BAD_PARAM", run("help", "me"));
  EXPECT_EQ("QEL_NOT_SUPPORTED", run("none"));
  EXPECT_EQ("QEL_NOT_SUPPORTED", run(""));
  EXPECT_EQ("QEL_NAME_TOO_LONG", run(std::string(64, 'c').c_str()));
  void *output = this;
  int length = 1;
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_CmdExec("workload", nullptr, nullptr, 0, &output, &length));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_CmdExec("workload", "help", nullptr, 3, &output, &length));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_CmdExec("workload", "help", nullptr, 0, nullptr, &length));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_CmdExec("workload", "help", nullptr, 0, &output, nullptr));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_CmdExec("none", "help", nullptr, 0, &output, &length));
}

}  // namespace state_properties_test
