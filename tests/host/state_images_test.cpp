// Images of the state and of ports: round trips, damage, what an image brings in, the upkeep of the state.
#include <vector>

#include "images.hpp"

namespace state_images_test {

constexpr auto no_version = static_cast<HNQVersion>(0);

std::string persistent_state() {
  void *image = nullptr;
  int length = 0;
  int const status = DVSQEL_PersistentStateGet(&image, &length);
  return take(status, image, length);
}

std::string port_state(char const *alias, char const *dvport_id) {
  void *image = nullptr;
  int length = 0;
  int const status = DVSQEL_PortStateGet(alias, dvport_id, &image, &length);
  return take(status, image, length);
}

std::string persistent_port_state(char const *alias, char const *dvport_id, int version) {
  void *image = nullptr;
  int length = 0;
  int const status = DVSQEL_PersistentPortStateGet(alias, dvport_id, static_cast<HNQVersion>(version), &image, &length);
  return take(status, image, length);
}

int add_port(char const *alias, char const *dvport_id, std::string image) {
  return DVSQEL_PortAdd(alias, dvport_id, image.data(), static_cast<int>(image.size()));
}

int set_global(char const *alias, char const *name, std::string const &value, bool persistent = true) {
  return VSDVS_SetGlobProp(alias, name, value.data(), static_cast<int>(value.size()), "", persistent);
}

std::string global(char const *alias, char const *name, bool persistent = false) {
  char value[64];
  HNQQuery query{sizeof value, value};
  int const status = VSDVS_GetGlobProp(alias, name, &query, "", persistent);
  return status == QEL_OK ? std::string(value, static_cast<std::size_t>(query.propLen)) : status_text(status);
}

std::string port_value(char const *alias, char const *dvport_id, char const *name) {
  char value[64];
  HNQQuery query{sizeof value, value};
  int const status = VSDVS_GetPortProp(alias, dvport_id, name, &query, "", 0);
  return status == QEL_OK ? std::string(value, static_cast<std::size_t>(query.propLen)) : status_text(status);
}

int set_port(char const *alias, char const *dvport_id, char const *name, std::string value, int type) {
  return DVSQEL_PortDataSet(alias, dvport_id, name, value.data(), static_cast<int>(value.size()),
                            static_cast<qel_uint32>(type));
}

VSTeamPolicy teaming_of(char const *alias) {
  VSTeamPolicy policy{};
  EXPECT_STATUS(QEL_OK, VSDVS_GetTeamingPolicy(alias, &policy));
  return policy;
}

class StateImages : public HostTest {
 protected:
  void use_other_host(std::string const &description) {
    write_file(folder / "other.json", description);
    setenv("VSWITCH_HOST_INIT", (folder / "other.json").c_str(), 1);
    use_host(folder / "other.db");
  }
};

TEST_F(StateImages, bring_the_state_back) {
  ASSERT_STATUS(QEL_OK, set_global("workload", "key", "persistent"));
  ASSERT_STATUS(QEL_OK, set_global("workload", "key", "volatile", false));
  VSTeamPolicy policy = teaming_of("workload");
  std::strcpy(policy.uplinkPortName[0], "uplink-b");
  policy.numActive = 1;
  ASSERT_STATUS(QEL_OK, VSDVS_SetTeamingPolicy("workload", &policy));
  ASSERT_STATUS(QEL_OK, VSDVS_AddOpaqueDVPort("workload", "opaque", "external"));
  std::string const before = state();
  qel_SwitchPortID const number = port_number("workload", "100");

  ASSERT_STATUS(QEL_OK, set_global("workload", "key", "other"));
  ASSERT_STATUS(QEL_OK, set_global("workload", "further", "other"));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearTeamingPolicy("workload"));
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveSwitchUplinkPort("workload", "uplink-b"));
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveDVPort("workload", "opaque"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("workload", "new", 0));
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("management", 1300));
  ASSERT_STATUS(QEL_OK, create_switch("edge"));

  EXPECT_EQ(0, in_child([&] { return init(before) == QEL_OK ? 0 : 1; }));
  EXPECT_EQ("volatile", global("workload", "key"));
  EXPECT_EQ("persistent", global("workload", "key", true));
  EXPECT_EQ("QEL_NOT_FOUND", global("workload", "further"));
  EXPECT_STREQ("uplink-b", teaming_of("workload").uplinkPortName[0]);
  EXPECT_EQ(1u, teaming_of("workload").numActive);
  qel_LinkState link{};
  ASSERT_STATUS(QEL_OK, VSQEL_GetUplinkLinkState("workload", "nic2", &link));
  EXPECT_EQ(QEL_LINK_STATE_UP, link) << "the uplink port has its NIC again";
  EXPECT_EQ(1500u, mtu_of("management"));
  EXPECT_EQ(number, port_number("workload", "100")) << "what stays keeps its number";
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_PortFind("workload", "new"));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_PortFind("edge", "1"));
  Returned<OpaqueDVPortData> port;
  ASSERT_STATUS(QEL_OK, DVSQEL_PortGetByExternalId("workload", "external", &port));
  EXPECT_STREQ("opaque", port->dvPortId);
  EXPECT_TRUE(before == state());
}

TEST_F(StateImages, carry_the_switches_to_another_host) {
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortProp("workload", "uplink-1", "key", "of an uplink", 12, "", 1));
  std::string const image = state();
  use_other_host(R"({"format": 1, "physical_nics": [{"name": "nic1", "mac": "02:00:00:00:00:01"}]})");
  ASSERT_STATUS(QEL_OK, init(image));
  EXPECT_EQ(9000u, mtu_of("workload"));
  EXPECT_EQ("of an uplink", port_value("workload", "uplink-1", "key"));
  qel_LinkState link{};
  ASSERT_STATUS(QEL_OK, VSQEL_GetUplinkLinkState("workload", "uplink-a", &link));
  EXPECT_EQ(QEL_LINK_STATE_UP, link);
  ASSERT_STATUS(QEL_OK, VSQEL_GetUplinkLinkState("workload", "uplink-b", &link));
  EXPECT_EQ(QEL_LINK_STATE_DOWN, link) << "its NIC is not on this host";
  // Clients stay where they are: the ports come as this host's copies.
  Returned<DVPortList> list;
  ASSERT_STATUS(QEL_OK, DVSQEL_SwitchPortList("workload", &list, static_cast<DVSPortType>(DVSPORT_TYPE_LOCALCACHE)));
  ASSERT_EQ(4, list->nports);
  EXPECT_EQ(11u, list->dvPort[0].connectId);
}

TEST_F(StateImages, that_are_no_good_change_nothing) {
  std::string const good = state();
  ASSERT_STATUS(QEL_OK, VSDVS_SetMTU("management", 1300));
  std::string const before = state();
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_StateInit(nullptr, 5));
  EXPECT_STATUS(QEL_INVALID_METADATA, DVSQEL_StateInit(nullptr, 0));
  std::string copy = good;
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_StateInit(copy.data(), -1));
  EXPECT_STATUS(QEL_INVALID_METADATA, init("not an image of the state at all"));
  for (std::size_t length = 0; length < good.size(); ++length)
    EXPECT_STATUS(QEL_INVALID_METADATA, init(good.substr(0, length))) << length;
  EXPECT_STATUS(QEL_INVALID_METADATA, init(good + '\0'));
  for (std::size_t place = 0; place < good.size(); ++place) {
    std::string damaged = good;
    damaged[place] = static_cast<char>(damaged[place] ^ 0x10);
    if (place < 16)
      EXPECT_NE(QEL_OK, init(damaged)) << place;  // signature, format or length
    else
      EXPECT_STATUS(QEL_CHECKSUM_MISMATCH, init(damaged)) << place;
  }
  std::string newer = good;
  newer[8] = 2;
  EXPECT_STATUS(QEL_VERSION_MISMATCH_MAJOR, init(newer));
  EXPECT_STATUS(QEL_INVALID_METADATA, init(port_state("workload", "100"))) << "an image of something else";
  EXPECT_STATUS(QEL_INVALID_METADATA, deserialize(port_state("workload", "100")));
  EXPECT_STATUS(QEL_INVALID_METADATA, add_port("workload", "new", good));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_PortFind("workload", "new"));
  EXPECT_TRUE(before == state());
}

TEST_F(StateImages, with_any_document_are_read_or_refused) {
  std::string const before = state();
  EXPECT_TRUE(before == image_around(before.substr(20)));
  std::string const documents[] = {
      "",
      "\xa0",                                               // an empty map
      "\xa1",                                               // a map that lacks its member
      "\x80",                                               // a list
      "\xff",                                               // no document
      std::string(1000000, '\x81'),                         // a million lists in each other
      std::string("\x9b\x7f", 2) + std::string(7, '\xff'),  // a list that says it is very long
      std::string("\xa1gcontent\x01", 10),                  // content that is no text
      "\xa1gcontentestate",                                 // no switches
      "\xa2gcontentestatehswitches\x01",                    // switches that are no list
      "\xa2gcontentestatehswitches\x81\x01",                // a switch that is no map
      before.substr(20) + "\xa0",                           // more than a document
  };
  for (std::string const &document : documents) {
    std::string const image = image_around(document);
    EXPECT_STATUS(QEL_INVALID_METADATA, init(image));
    EXPECT_STATUS(QEL_INVALID_METADATA, deserialize(image));
    EXPECT_STATUS(QEL_INVALID_METADATA, add_port("workload", "new", image));
  }
  // Single bytes of the document changed: whatever that means, it is refused or it leads to a sound state.
  std::string const document = before.substr(20);
  for (std::size_t place = 0; place < document.size(); place += 7) {
    std::string changed = document;
    changed[place] = static_cast<char>(changed[place] ^ 0x01);
    if (init(image_around(changed)) == QEL_OK) {
      EXPECT_STATUS(QEL_OK, init(state())) << place;
      ASSERT_STATUS(QEL_OK, init(before)) << place;
    }
  }
}

TEST_F(StateImages, take_no_client_away) {
  std::string const before = state();
  use_other_host(R"({"format": 1})");
  std::string const empty = state();
  use_host(state_file());
  EXPECT_STATUS(QEL_BUSY, init(empty));
  EXPECT_TRUE(before == state());
  ASSERT_STATUS(QEL_OK, deserialize(empty));
  EXPECT_TRUE(before == state());
}

TEST_F(StateImages, may_exchange_aliases) {
  ASSERT_STATUS(QEL_OK, VSDVS_CreateVSwitch("one", "id-1", "", 0, 1, 0, 0, 0));
  ASSERT_STATUS(QEL_OK, VSDVS_CreateVSwitch("two", "id-2", "", 0, 1, 0, 0, 0));
  std::string const before = state();
  ASSERT_STATUS(QEL_OK, VSDVS_DestroyVSwitch("one"));
  ASSERT_STATUS(QEL_OK, VSDVS_DestroyVSwitch("two"));
  ASSERT_STATUS(QEL_OK, VSDVS_CreateVSwitch("two", "id-1", "", 0, 1, 0, 0, 0));
  ASSERT_STATUS(QEL_OK, VSDVS_CreateVSwitch("one", "id-2", "", 0, 1, 0, 0, 0));
  ASSERT_STATUS(QEL_OK, init(before));
  char id[64];
  ASSERT_STATUS(QEL_OK, DVSAliasToSwitchId("one", id));
  EXPECT_STREQ("id-1", id);
  ASSERT_STATUS(QEL_OK, VSDVS_DestroyVSwitch("one"));
  ASSERT_STATUS(QEL_OK, VSDVS_CreateVSwitch("one", "id-3", "", 0, 1, 0, 0, 0));
  EXPECT_STATUS(QEL_EXISTS, deserialize(before)) << "the alias belongs to another switch";
}

TEST_F(StateImages, of_the_persistent_state_leave_out_the_rest) {
  ASSERT_STATUS(QEL_OK, VSDVS_CreateVSwitch("passing", "passing", "", 0, 0, 0, 0, 0));
  ASSERT_STATUS(QEL_OK, set_global("workload", "key", "persistent"));
  std::string const expected = persistent_state();
  ASSERT_STATUS(QEL_OK, set_global("workload", "key", "volatile", false));
  EXPECT_TRUE(expected == persistent_state());
  EXPECT_FALSE(expected == state());
  ASSERT_STATUS(QEL_OK, init(expected));
  EXPECT_EQ("persistent", global("workload", "key"));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_SwitchRemove("passing"));
}

TEST_F(StateImages, as_configuration_bring_in_what_is_persistent) {
  ASSERT_STATUS(QEL_OK, create_switch("edge"));
  ASSERT_STATUS(QEL_OK, set_global("edge", "key", "persistent"));
  ASSERT_STATUS(QEL_OK, set_global("edge", "key", "volatile", false));
  std::string const image = state();
  ASSERT_STATUS(QEL_OK, VSDVS_DestroyVSwitch("edge"));
  ASSERT_STATUS(QEL_OK, create_switch("other"));
  ASSERT_STATUS(QEL_OK, deserialize(image));
  EXPECT_EQ("persistent", global("edge", "key"));
  EXPECT_EQ(1500u, mtu_of("other")) << "what is not in the image stays";
}

TEST_F(StateImages, of_a_port_start_another_port) {
  ASSERT_STATUS(QEL_OK, set_port("workload", "100", "key", "kept", CONFIG_PROP_TYPE));
  ASSERT_STATUS(QEL_OK, set_port("workload", "100", "passing", "volatile", CONFIG_PROP_TYPE | VOLATILE_PROP_TYPE));
  ASSERT_STATUS(QEL_OK, set_port("workload", "100", "local", "here", CONFIG_PROP_TYPE | NO_REPLICATE_PROP_TYPE));
  ASSERT_STATUS(QEL_OK, add_port("management", "copy", port_state("workload", "100")));
  EXPECT_EQ("kept", port_value("management", "copy", "key"));
  EXPECT_EQ("volatile", port_value("management", "copy", "passing"));
  EXPECT_EQ("QEL_NOT_FOUND", port_value("management", "copy", "local"));
  EXPECT_EQ(std::string("\x0b\0\0\0", 4), port_value("management", "copy", QEL_HNQPROP_PORT_CONNECTID));
  EXPECT_EQ("here", port_value("workload", "100", "local"));
  ASSERT_STATUS(QEL_OK, add_port("management", "copy-2", persistent_port_state("workload", "100", 0)));
  EXPECT_EQ("kept", port_value("management", "copy-2", "key"));
  EXPECT_EQ("QEL_NOT_FOUND", port_value("management", "copy-2", "passing"));
  ASSERT_STATUS(QEL_OK, host::boot());
  EXPECT_EQ("QEL_NOT_FOUND", port_value("management", "copy", "passing"));
}

TEST_F(StateImages, of_a_port_respect_versions_names_and_limits) {
  ASSERT_STATUS(QEL_OK, DVSQEL_SwitchAdd("old", "old", 2, static_cast<HNQVersion>(DVS_VERSION_65)));
  EXPECT_STATUS(QEL_VERSION_MISMATCH_MAJOR, add_port("old", "1", port_state("workload", "100")));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_PortFind("old", "1"));
  ASSERT_STATUS(QEL_OK, add_port("old", "1", persistent_port_state("workload", "100", DVS_VERSION_65)));
  EXPECT_STATUS(QEL_EXISTS, add_port("old", "1", ""));
  ASSERT_STATUS(QEL_OK, DVSQEL_PortAdd("old", "2", nullptr, 0));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, DVSQEL_PortAdd("old", "3", nullptr, 0));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_PortAdd("workload", "3", nullptr, 1));
  EXPECT_STATUS(QEL_INVALID_NAME, DVSQEL_PortAdd("workload", "", nullptr, 0));
  void *image = this;
  int length = 1;
  EXPECT_STATUS(QEL_NOT_SUPPORTED,
                DVSQEL_PersistentPortStateGet("old", "1", static_cast<HNQVersion>(3), &image, &length));
  EXPECT_EQ(nullptr, image);
  EXPECT_EQ(0, length);
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_PortStateGet("old", "none", &image, &length));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_PortStateGet("old", "1", nullptr, &length));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_PersistentPortStateGet("old", "1", no_version, &image, nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_StateGet(nullptr, &length));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSQEL_PersistentStateGet(&image, nullptr));
}

TEST_F(StateImages, of_a_port_do_not_share_an_external_identifier) {
  ASSERT_STATUS(QEL_OK, VSDVS_AddOpaqueDVPort("workload", "opaque", "external"));
  std::string const image = port_state("workload", "opaque");
  EXPECT_STATUS(QEL_EXISTS, add_port("workload", "copy", image));
  ASSERT_STATUS(QEL_OK, add_port("management", "copy", image));
  Returned<OpaqueDVPortData> port;
  EXPECT_STATUS(QEL_OK, DVSQEL_PortGetByExternalId("management", "external", &port));
}

TEST_F(StateImages, bring_external_identifiers_back_that_other_ports_have_by_now) {
  for (auto const &[port, identifier] : {std::pair("first", "a"), std::pair("second", "b")})
    ASSERT_STATUS(QEL_OK, VSDVS_AddOpaqueDVPort("workload", port, identifier));
  std::string const before = state();
  for (char const *port : {"first", "second"})
    ASSERT_STATUS(QEL_OK, VSDVS_RemoveDVPort("workload", port));
  for (auto const &[port, identifier] : {std::pair("first", "b"), std::pair("second", "a")})
    ASSERT_STATUS(QEL_OK, VSDVS_AddOpaqueDVPort("workload", port, identifier));
  ASSERT_STATUS(QEL_OK, init(before));
  Returned<OpaqueDVPortData> port;
  ASSERT_STATUS(QEL_OK, DVSQEL_PortGetByExternalId("workload", "a", &port));
  EXPECT_STREQ("first", port->dvPortId);
}

TEST_F(StateImages, a_zombie_comes_back_as_the_port_it_was) {
  std::string const image = port_state("workload", "100");
  qel_SwitchPortID const number = port_number("workload", "100");
  ASSERT_STATUS(QEL_OK, DVSQEL_PortRemove("workload", "100"));
  ASSERT_STATUS(QEL_OK, add_port("workload", "100", image));
  EXPECT_EQ(number, port_number("workload", "100"));
  Returned<DVPortList> list;
  ASSERT_STATUS(QEL_OK, DVSQEL_SwitchPortList("workload", &list, static_cast<DVSPortType>(DVSPORT_TYPE_ZOMBIE)));
  EXPECT_EQ(0, list->nports);
}

TEST_F(StateImages, loading_the_stored_configuration_drops_what_is_volatile) {
  ASSERT_STATUS(QEL_OK, create_switch("edge"));
  ASSERT_STATUS(QEL_OK, VSDVS_CreateVSwitch("passing", "passing", "", 0, 0, 0, 0, 0));
  ASSERT_STATUS(QEL_OK, set_global("edge", VSPROP_MTU, std::string("\x40\x06\0\0", 4), false));
  EXPECT_EQ(1600u, mtu_of("edge"));
  ASSERT_STATUS(QEL_OK, DVSLoadConfig());
  EXPECT_EQ(1500u, mtu_of("edge"));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_DestroyVSwitch("passing"));
}

TEST_F(StateImages, a_reset_leaves_what_clients_use) {
  std::string const before = state();
  ASSERT_STATUS(QEL_OK, create_switch("edge"));
  ASSERT_STATUS(QEL_OK, DVSState_ConfigReset());
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_DestroyVSwitch("edge"));
  EXPECT_EQ(1500u, mtu_of("workload"));
  EXPECT_STATUS(QEL_OK, DVSQEL_PortFind("workload", "100"));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_PortFind("workload", "103"));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSQEL_PortFind("workload", "uplink-1"));
  ASSERT_STATUS(QEL_OK, DVSState_ConfigDeserialize(const_cast<char *>(before.data()), static_cast<int>(before.size())));
  EXPECT_EQ(9000u, mtu_of("workload"));
  EXPECT_STATUS(QEL_OK, DVSQEL_PortFind("workload", "103"));
}

TEST_F(StateImages, the_state_is_repaired) {
  // A volatile list of uplink ports, and a teaming policy that needs it, which the boot does not ask.
  char names_block[4 + 81] = "\1";
  std::strcpy(names_block + 4, "later");
  char ids_block[4 + 48] = "\1";
  std::string const list = std::string(names_block, sizeof names_block) + std::string(ids_block, sizeof ids_block);
  ASSERT_STATUS(QEL_OK, create_switch("edge"));
  ASSERT_STATUS(QEL_OK, VSDVS_SetHostProp("edge", QEL_HNQPROP_HOST_UPLINKPORTS, list.data(),
                                          static_cast<int>(list.size()), "", 0));
  VSTeamPolicy policy = teaming_of("edge");
  ASSERT_STATUS(QEL_OK, VSDVS_SetTeamingPolicy("edge", &policy));
  ASSERT_STATUS(QEL_OK, set_global("edge", "key", "stays"));
  ASSERT_STATUS(QEL_OK, host::boot());
  EXPECT_EQ(1u, teaming_of("edge").numActive);
  {
    HostLock lock;
    Transaction transaction(open_host(), true);
    open_host().execute("INSERT INTO property VALUES (1, 2, 9999, 'left over', 0, '', 16, x'00')");
    transaction.commit();
  }
  ASSERT_STATUS(QEL_OK, DVSQEL_StateSanitize());
  EXPECT_EQ(0u, teaming_of("edge").numActive);
  EXPECT_EQ("stays", global("edge", "key"));
  HostLock lock;
  Transaction transaction(open_host(), false);
  EXPECT_FALSE(open_host().rows("SELECT 1 FROM property WHERE port = 9999").next());
}

}  // namespace state_images_test
