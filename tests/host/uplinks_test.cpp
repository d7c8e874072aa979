// Uplink ports, the physical NICs behind them, and their links.
#include <vector>

#include "images.hpp"

namespace uplinks_test {

struct UplinkPort {
  std::string name;
  std::string dvport_id;
  bool operator==(UplinkPort const &) const = default;
};

void PrintTo(UplinkPort const &uplink, std::ostream *out) {
  *out << uplink.name << " at " << uplink.dvport_id;
}

// A counted record with its slots in exactly sized memory, so that the sanitizer sees a read too far.
template <std::size_t slot_size>
std::vector<char> counted_slots(std::vector<std::string> const &texts) {
  std::vector<char> bytes(4 + texts.size() * slot_size);
  auto const count = static_cast<qel_uint32>(texts.size());
  std::memcpy(bytes.data(), &count, sizeof count);
  for (std::size_t i = 0; i < texts.size(); ++i) {
    std::memcpy(&bytes[4 + i * slot_size], texts[i].data(), std::min(texts[i].size(), slot_size));
  }
  return bytes;
}

int set_uplinks(char const *alias, std::vector<std::string> const &names, std::vector<std::string> const &ids) {
  std::vector<char> const name_bytes = counted_slots<81>(names);
  std::vector<char> const id_bytes = counted_slots<48>(ids);
  return VSDVS_SetSwitchUplinkPorts(alias, reinterpret_cast<VSUplinkPorts const *>(name_bytes.data()),
                                    reinterpret_cast<VSUplinkPortIds const *>(id_bytes.data()));
}

int set_uplinks(char const *alias, std::vector<std::string> const &names) {
  std::vector<char> const name_bytes = counted_slots<81>(names);
  return VSDVS_SetSwitchUplinkPorts(alias, reinterpret_cast<VSUplinkPorts const *>(name_bytes.data()), nullptr);
}

std::vector<UplinkPort> uplink_ports(char const *alias) {
  Returned<VSUplinkPorts> names;
  Returned<VSUplinkPortIds> ids;
  EXPECT_STATUS(QEL_OK, VSDVS_GetSwitchUplinkPorts(alias, &names, &ids));
  std::vector<UplinkPort> list;
  EXPECT_EQ(names->nUplinkPorts, ids->nUplinkPorts);
  for (std::size_t i = 0; i < names->nUplinkPorts; ++i) {
    list.push_back({reinterpret_cast<char const *>(names.record + 1) + 81 * i,
                    reinterpret_cast<char const *>(ids.record + 1) + 48 * i});
  }
  return list;
}

std::vector<std::string> nics(char const *switch_name) {
  Returned<VSUplinks> uplinks;
  EXPECT_STATUS(QEL_OK, VSQEL_GetUplinks(switch_name, &uplinks));
  EXPECT_EQ(uplinks->totalEntries, uplinks->numEntries);
  std::vector<std::string> names;
  auto const *entries = reinterpret_cast<VSUplinks_entries const *>(uplinks.record + 1);
  for (qel_uint32 i = 0; i < uplinks->numEntries; ++i)
    names.push_back(entries[i].name.string);
  return names;
}

int link_state(char const *switch_name, char const *uplink) {
  qel_LinkState state = static_cast<qel_LinkState>(-7);
  EXPECT_STATUS(QEL_OK, VSQEL_GetUplinkLinkState(switch_name, uplink, &state));
  return state;
}

int set_link(char const *switch_name, char const *uplink, int state) {
  return VSQEL_SetUplinkAdminLinkState(switch_name, uplink, static_cast<qel_LinkState>(state));
}

using Texts = std::vector<std::string>;
using Uplinks = std::vector<UplinkPort>;

class UplinkPorts : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    ASSERT_STATUS(QEL_OK, create_switch("edge", 40));
  }
};

TEST_F(UplinkPorts, are_added_at_the_end_and_removed_by_name) {
  EXPECT_EQ(Uplinks{}, uplink_ports("edge"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("edge", "b"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("edge", "a"));
  EXPECT_EQ((Uplinks{{"b", "uplink-1"}, {"a", "uplink-2"}}), uplink_ports("edge"));
  EXPECT_STATUS(QEL_EXISTS, VSDVS_AddSwitchUplinkPort("edge", "a"));
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveSwitchUplinkPort("edge", "b"));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_RemoveSwitchUplinkPort("edge", "b"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("edge", "c"));
  EXPECT_EQ((Uplinks{{"a", "uplink-2"}, {"c", "uplink-1"}}), uplink_ports("edge"));
  EXPECT_EQ(1, DVPortExist("edge", "uplink-1"));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearSwitchUplinkPorts("edge"));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearSwitchUplinkPorts("edge"));
  EXPECT_EQ(Uplinks{}, uplink_ports("edge"));
  EXPECT_EQ(0, DVPortExist("edge", "uplink-1"));
}

TEST_F(UplinkPorts, refused_names) {
  EXPECT_STATUS(QEL_INVALID_NAME, VSDVS_AddSwitchUplinkPort("edge", ""));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_AddSwitchUplinkPort("edge", nullptr));
  EXPECT_STATUS(QEL_NAME_TOO_LONG, VSDVS_AddSwitchUplinkPort("edge", std::string(81, 'u').c_str()));
  EXPECT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("edge", std::string(80, 'u').c_str()));
  EXPECT_STATUS(QEL_NOT_FOUND, VSDVS_AddSwitchUplinkPort("none", "u"));
  EXPECT_STATUS(QEL_BUSY, VSDVS_AddSwitchUplinkPort("edge", "nic0"));
}

TEST_F(UplinkPorts, a_switch_has_at_most_32) {
  Texts names;
  for (int i = 0; i < 32; ++i)
    names.push_back("u" + std::to_string(i));
  ASSERT_STATUS(QEL_OK, set_uplinks("edge", names));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, VSDVS_AddSwitchUplinkPort("edge", "u32"));
  // Refused from the count alone: there are no slots behind it.
  qel_uint32 const count = 33;
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED,
                VSDVS_SetSwitchUplinkPorts("edge", reinterpret_cast<VSUplinkPorts const *>(&count), nullptr));
  EXPECT_EQ(32u, uplink_ports("edge").size());
}

TEST_F(UplinkPorts, setting_replaces_the_list) {
  ASSERT_STATUS(QEL_OK, set_uplinks("edge", {"a", "b"}, {"x", ""}));
  EXPECT_EQ((Uplinks{{"a", "x"}, {"b", "uplink-1"}}), uplink_ports("edge"));
  qel_SwitchPortID const port_of_b = port_number("edge", "uplink-1");
  ASSERT_STATUS(QEL_OK, set_uplinks("edge", {"c", "b"}));
  EXPECT_EQ((Uplinks{{"c", "uplink-2"}, {"b", "uplink-1"}}), uplink_ports("edge"));
  EXPECT_EQ(port_of_b, port_number("edge", "uplink-1"));  // what stays keeps its port
  EXPECT_EQ(0, DVPortExist("edge", "x"));
}

TEST_F(UplinkPorts, identifiers_can_be_exchanged) {
  ASSERT_STATUS(QEL_OK, set_uplinks("workload", {"uplink-a", "uplink-b"}, {"x", "y"}));
  ASSERT_STATUS(QEL_OK, set_uplinks("workload", {"uplink-a", "uplink-b"}, {"y", "x"}));
  EXPECT_EQ((Uplinks{{"uplink-a", "y"}, {"uplink-b", "x"}}), uplink_ports("workload"));
  EXPECT_EQ((Texts{"nic1", "nic2"}), nics("workload"));  // each keeps its NIC
}

TEST_F(UplinkPorts, a_free_port_is_taken_and_given_back) {
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("edge", "p", 7));
  qel_SwitchPortID const number = port_number("edge", "p");
  ASSERT_STATUS(QEL_OK, set_uplinks("edge", {"a"}, {"p"}));
  EXPECT_EQ(number, port_number("edge", "p"));
  EXPECT_STATUS(QEL_BUSY, VSDVS_RemoveDVPort("edge", "p"));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearSwitchUplinkPorts("edge"));
  EXPECT_EQ(number, port_number("edge", "p"));
  EXPECT_STATUS(QEL_OK, VSDVS_RemoveDVPort("edge", "p"));
}

TEST_F(UplinkPorts, refused_lists_change_nothing) {
  ASSERT_STATUS(QEL_OK, set_uplinks("edge", {"a", "b"}, {"x", "y"}));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetSwitchUplinkPorts("edge", nullptr, nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, set_uplinks("edge", {"a"}, {"x", "y"}));
  EXPECT_STATUS(QEL_INVALID_NAME, set_uplinks("edge", {"a", ""}));
  EXPECT_STATUS(QEL_NAME_TOO_LONG, set_uplinks("edge", {std::string(81, 'a')}));
  EXPECT_STATUS(QEL_NAME_TOO_LONG, set_uplinks("edge", {"c"}, {std::string(48, 'i')}));
  EXPECT_STATUS(QEL_EXISTS, set_uplinks("edge", {"c", "c"}));
  EXPECT_STATUS(QEL_EXISTS, set_uplinks("edge", {"c", "d"}, {"i", "i"}));
  EXPECT_STATUS(QEL_EXISTS, set_uplinks("edge", {"c", "a"}, {"x", ""}));  // a keeps x
  EXPECT_STATUS(QEL_BUSY, set_uplinks("edge", {"nic1"}));
  EXPECT_STATUS(QEL_BUSY, set_uplinks("workload", {"c"}, {"100"}));
  EXPECT_EQ((Uplinks{{"a", "x"}, {"b", "y"}}), uplink_ports("edge"));
  Returned<VSUplinkPorts> names;
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_GetSwitchUplinkPorts("edge", &names, nullptr));
  EXPECT_EQ(nullptr, names.record);
}

TEST_F(UplinkPorts, count_toward_the_ports_of_the_switch) {
  ASSERT_STATUS(QEL_OK, create_switch("small", 2));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, set_uplinks("small", {"a", "b", "c"}));
  ASSERT_STATUS(QEL_OK, set_uplinks("small", {"a", "b"}));
  EXPECT_STATUS(QEL_OK, set_uplinks("small", {"c", "d"}));  // what goes makes room
}

TEST_F(UplinkPorts, the_list_is_a_property) {
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("edge", "a"));
  std::vector<char> value(4 + 81 + 4 + 48);
  HNQQuery query{static_cast<int>(value.size()), value.data()};
  ASSERT_STATUS(QEL_OK, VSDVS_GetHostProp("edge", QEL_HNQPROP_HOST_UPLINKPORTS, &query, "", 0));
  ASSERT_EQ(static_cast<int>(value.size()), query.propLen);
  EXPECT_EQ(1, value[0]);
  EXPECT_STREQ("a", &value[4]);
  EXPECT_STREQ("uplink-1", &value[4 + 81 + 4]);
  value[4] = 'z';
  int const length = static_cast<int>(value.size());
  ASSERT_STATUS(QEL_OK, VSDVS_SetHostProp("edge", QEL_HNQPROP_HOST_UPLINKPORTS, value.data(), length, "", 1));
  EXPECT_EQ((Uplinks{{"z", "uplink-1"}}), uplink_ports("edge"));
  EXPECT_STATUS(QEL_BAD_PARAM,
                VSDVS_SetHostProp("edge", QEL_HNQPROP_HOST_UPLINKPORTS, value.data(), length - 1, "", 1));
  EXPECT_STATUS(QEL_BAD_PARAM, VSDVS_SetHostProp("edge", QEL_HNQPROP_HOST_UPLINKPORTS, value.data(), 3, "", 1));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearHostProp("edge", QEL_HNQPROP_HOST_UPLINKPORTS, "", 1));
  EXPECT_EQ(Uplinks{}, uplink_ports("edge"));
}

TEST_F(UplinkPorts, of_the_teaming_policy_stay) {
  ASSERT_STATUS(QEL_OK, set_uplinks("edge", {"a", "b", "c"}));
  VSTeamPolicy policy{};
  policy.numActive = 1;
  policy.numStandby = 1;
  std::strcpy(policy.uplinkPortName[0], "a");
  std::strcpy(policy.uplinkPortName[1], "b");
  ASSERT_STATUS(QEL_OK, VSDVS_SetTeamingPolicy("edge", &policy));
  EXPECT_STATUS(QEL_BUSY, VSDVS_RemoveSwitchUplinkPort("edge", "b"));
  EXPECT_STATUS(QEL_BUSY, VSDVS_ClearSwitchUplinkPorts("edge"));
  EXPECT_STATUS(QEL_BUSY, set_uplinks("edge", {"a", "d"}));
  EXPECT_EQ(3u, uplink_ports("edge").size());
  EXPECT_STATUS(QEL_OK, VSDVS_RemoveSwitchUplinkPort("edge", "c"));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearTeamingPolicy("edge"));
  EXPECT_STATUS(QEL_OK, VSDVS_ClearSwitchUplinkPorts("edge"));
}

TEST_F(UplinkPorts, with_the_name_of_a_nic_are_backed_by_it) {
  EXPECT_EQ(Texts{}, nics("edge"));
  ASSERT_STATUS(QEL_OK, set_uplinks("edge", {"a", "nic3"}));
  EXPECT_EQ(Texts{"nic3"}, nics("edge"));
  Returned<VSUplinks> uplinks;
  ASSERT_STATUS(QEL_OK, VSQEL_GetUplinks("edge", &uplinks));
  EXPECT_EQ(port_number("edge", "uplink-2"), reinterpret_cast<VSUplinks_entries *>(uplinks.record + 1)->portID);
  EXPECT_EQ((Texts{"nic1", "nic2"}), nics("portset-2"));
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetUplinks("none", &uplinks));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetUplinks("edge", nullptr));
}

TEST_F(UplinkPorts, a_nic_is_free_again_when_its_uplink_port_goes) {
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveSwitchUplinkPort("management", "nic0"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("edge", "nic0"));
  EXPECT_EQ(Texts{"nic0"}, nics("edge"));
  // Replacing the uplink port that a NIC backs by one of the NIC's name.
  ASSERT_STATUS(QEL_OK, set_uplinks("workload", {"nic1", "uplink-b"}));
  EXPECT_EQ((Texts{"nic1", "nic2"}), nics("workload"));
  EXPECT_STATUS(QEL_BUSY, set_uplinks("workload", {"nic1", "uplink-b", "nic2"}));
}

TEST_F(UplinkPorts, link_states) {
  EXPECT_EQ(QEL_LINK_STATE_UP, link_state("workload", "uplink-a"));
  EXPECT_EQ(QEL_LINK_STATE_UP, link_state("workload", "nic1"));
  ASSERT_STATUS(QEL_OK, set_uplinks("edge", {"a", "nic3"}));
  EXPECT_EQ(QEL_LINK_STATE_DOWN, link_state("edge", "a"));     // no NIC
  EXPECT_EQ(QEL_LINK_STATE_DOWN, link_state("edge", "nic3"));  // no carrier
  ASSERT_STATUS(QEL_OK, set_link("workload", "nic1", QEL_LINK_STATE_DOWN));
  EXPECT_EQ(QEL_LINK_STATE_DOWN, link_state("workload", "uplink-a"));
  EXPECT_EQ(QEL_LINK_STATE_UP, link_state("workload", "uplink-b"));
  ASSERT_STATUS(QEL_OK, set_link("workload", "uplink-a", QEL_LINK_STATE_UP));
  EXPECT_EQ(QEL_LINK_STATE_UP, link_state("portset-2", "nic1"));
}

TEST_F(UplinkPorts, refused_link_states) {
  ASSERT_STATUS(QEL_OK, set_uplinks("edge", {"a"}));
  EXPECT_STATUS(QEL_NO_SUCH_DEVICE, set_link("edge", "a", QEL_LINK_STATE_DOWN));
  EXPECT_STATUS(QEL_NOT_FOUND, set_link("edge", "nic1", QEL_LINK_STATE_DOWN));
  EXPECT_STATUS(QEL_NOT_FOUND, set_link("none", "nic1", QEL_LINK_STATE_DOWN));
  EXPECT_STATUS(QEL_BAD_PARAM, set_link("workload", "nic1", 2));
  EXPECT_STATUS(QEL_BAD_PARAM, set_link("workload", "nic1", -1));
  EXPECT_STATUS(QEL_BAD_PARAM, set_link("workload", nullptr, QEL_LINK_STATE_DOWN));
  EXPECT_EQ(QEL_LINK_STATE_UP, link_state("workload", "nic1"));
  qel_LinkState state = static_cast<qel_LinkState>(5);
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetUplinkLinkState("edge", "none", &state));
  EXPECT_EQ(0, state);
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetUplinkLinkState("edge", "a", nullptr));
}

// A switch of the image keeps its ports, whatever its uplink ports were in the meantime.
TEST_F(UplinkPorts, of_an_image_come_to_the_ports_that_they_had) {
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("edge", "p", 5));
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("edge", "u"));
  std::string const image = state();
  qel_SwitchPortID const plain = port_number("edge", "p");
  qel_SwitchPortID const of_uplink = port_number("edge", "uplink-1");

  ASSERT_STATUS(QEL_OK, set_uplinks("edge", {"u", "v"}, {"p", "uplink-1"}));
  ASSERT_STATUS(QEL_OK, init(image));
  EXPECT_EQ((Uplinks{{"u", "uplink-1"}}), uplink_ports("edge"));
  EXPECT_EQ(plain, port_number("edge", "p"));
  EXPECT_TRUE(image == state());

  ASSERT_STATUS(QEL_OK, VSDVS_RemoveSwitchUplinkPort("edge", "u"));
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveDVPort("edge", "p"));
  ASSERT_STATUS(QEL_OK, set_uplinks("edge", {"v", "u"}, {"uplink-1", "p"}));
  qel_SwitchPortID const made_plain = port_number("edge", "p");
  qel_SwitchPortID const made_of_uplink = port_number("edge", "uplink-1");
  EXPECT_NE(of_uplink, made_of_uplink);
  ASSERT_STATUS(QEL_OK, init(image)) << "p was made for an uplink, and is a plain port in the image";
  EXPECT_EQ((Uplinks{{"u", "uplink-1"}}), uplink_ports("edge"));
  EXPECT_EQ(made_plain, port_number("edge", "p"));
  EXPECT_EQ(made_of_uplink, port_number("edge", "uplink-1"));
  EXPECT_TRUE(image == state());
}

TEST_F(UplinkPorts, of_an_image_find_room_on_a_full_switch) {
  ASSERT_STATUS(QEL_OK, create_switch("full", 1));
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("full", "u"));
  std::string const image = state();
  ASSERT_STATUS(QEL_OK, VSDVS_ClearSwitchUplinkPorts("full"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("full", "p", 0));
  ASSERT_STATUS(QEL_OK, set_uplinks("full", {"u"}, {"p"}));
  ASSERT_STATUS(QEL_OK, init(image));
  EXPECT_EQ((Uplinks{{"u", "uplink-1"}}), uplink_ports("full"));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, VSDVS_AddDVPort("full", "p", 0));
}

// Whether a port goes with its uplink port is part of the image.
TEST_F(UplinkPorts, of_an_image_have_their_own_ports_or_others) {
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("edge", "plain", 0));
  ASSERT_STATUS(QEL_OK, set_uplinks("edge", {"u", "v"}, {"made", "plain"}));
  std::string const image = state();
  ASSERT_STATUS(QEL_OK, VSDVS_ClearSwitchUplinkPorts("edge"));
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveDVPort("edge", "plain"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("edge", "made", 0));
  ASSERT_STATUS(QEL_OK, set_uplinks("edge", {"u", "v"}, {"made", "plain"}));
  EXPECT_FALSE(image == state());
  ASSERT_STATUS(QEL_OK, init(image));
  EXPECT_TRUE(image == state());
  ASSERT_STATUS(QEL_OK, VSDVS_ClearSwitchUplinkPorts("edge"));
  EXPECT_EQ(0, DVPortExist("edge", "made"));
  EXPECT_EQ(1, DVPortExist("edge", "plain"));
}

TEST_F(UplinkPorts, of_an_image_get_their_nics_from_each_other) {
  ASSERT_STATUS(QEL_OK, create_switch("core"));
  for (auto const &[from, to] : {std::pair{"edge", "core"}, std::pair{"core", "edge"}}) {
    ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort(from, "nic4"));
    std::string const image = state();
    ASSERT_STATUS(QEL_OK, VSDVS_ClearSwitchUplinkPorts(from));
    ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort(to, "nic4"));
    ASSERT_STATUS(QEL_OK, init(image));
    EXPECT_EQ((Texts{"nic4"}), nics(from));
    EXPECT_EQ((Texts{}), nics(to));
    EXPECT_TRUE(image == state());
    ASSERT_STATUS(QEL_OK, VSDVS_ClearSwitchUplinkPorts(from));
  }
}

TEST_F(UplinkPorts, of_a_configuration_leave_nics_to_switches_that_it_does_not_have) {
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("edge", "nic4"));
  std::string const image = state();
  ASSERT_STATUS(QEL_OK, VSDVS_ClearSwitchUplinkPorts("edge"));
  ASSERT_STATUS(QEL_OK, create_switch("core"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("core", "nic4"));
  ASSERT_STATUS(QEL_OK, deserialize(image));
  EXPECT_EQ((Uplinks{{"nic4", "uplink-1"}}), uplink_ports("edge"));
  EXPECT_EQ((Texts{}), nics("edge"));
  EXPECT_EQ((Texts{"nic4"}), nics("core"));
  // As long as the state says so the uplink port has none, though its name is that of a NIC.
  std::string const without = state();
  ASSERT_STATUS(QEL_OK, VSDVS_ClearSwitchUplinkPorts("core"));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearSwitchUplinkPorts("edge"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddSwitchUplinkPort("edge", "nic4"));
  ASSERT_STATUS(QEL_OK, init(without));
  EXPECT_EQ((Texts{}), nics("edge"));
  EXPECT_TRUE(without == state());
}

}  // namespace uplinks_test
