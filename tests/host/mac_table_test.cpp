// MAC tables and MAC learning: clients, entries by hand, learned entries, limits, aging, static entries.
#include <vector>

#include "host_test.hpp"
#include "platform/core/call.hpp"
#include "platform/core/clock.hpp"
#include "platform/core/mac_learning.hpp"

namespace mac_table_test {

// A host whose clock stands, with a learning port that lets at most three addresses in and one that drops at one.
constexpr char description[] = R"({
  "format": 1, "stopped_clock": 1000000000,
  "physical_nics": [{"name": "n", "mac": "02:00:00:00:00:01"}],
  "switches": [{
    "alias": "s", "switch_id": "i",
    "uplinks": [{"name": "u", "nic": "n", "learned": [{"mac": "02:00:00:00:00:c1", "vlan": 7}]}],
    "ports": [
      {"dvport_id": "p", "mac_learning": {"limit": 3},
       "client": {"name": "c", "type": "vnic", "mac": "02:00:00:00:00:a1"},
       "learned": [{"mac": "02:00:00:00:00:b2", "vlan": 5, "age": 10}, {"mac": "02:00:00:00:00:b1", "aging": false}]},
      {"dvport_id": "q", "mac_learning": {"flooding": false, "limit": 1, "at_limit": "drop"},
       "counters": {"not_learned_allowed": 4, "not_learned_dropped": 5, "macs_moved": 18446744073709}},
      {"dvport_id": "r", "client": {"name": "d", "type": "tcpip", "mac": "02:00:00:00:00:a0", "router": true}}
    ],
    "counters": {"team_allowed_at_port_limit": 9}
  }]
})";

struct Entry {
  std::string mac;
  int type;
  qel_SwitchPortID port;
  unsigned vid;
  unsigned vni;
  bool operator==(Entry const &) const = default;
};

void PrintTo(Entry const &entry, std::ostream *out) {
  *out << entry.mac << " type " << entry.type << " port " << entry.port << " vlan " << entry.vid << " vni "
       << entry.vni;
}

std::string mac_text(unsigned char const *mac) {
  char text[18];
  std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
  return text + 12;  // the tests' addresses differ in the last two bytes
}

VSMACEntry entry_at(VSMACTable const *table, std::size_t index) {
  VSMACEntry entry;
  std::memcpy(&entry, reinterpret_cast<char const *>(table + 1) + index * sizeof entry, sizeof entry);
  return entry;
}

std::vector<Entry> entries_of(VSMACTable const *table) {
  std::vector<Entry> entries;
  for (std::size_t i = 0; i < table->numEntries; ++i) {
    VSMACEntry const entry = entry_at(table, i);
    entries.push_back({mac_text(entry.macAddress), entry.macAddrType, entry.portID, entry.vid, entry.vni});
  }
  return entries;
}

VSMACAddrType address_type(int type) {
  return static_cast<VSMACAddrType>(type);
}

std::vector<Entry> table_of(char const *switch_name, int type = VS_MAC_ADDR_TYPE_ALL) {
  Returned<VSMACTable> table;
  EXPECT_STATUS(QEL_OK, VSQEL_GetMACTable(switch_name, address_type(type), &table));
  return entries_of(table.record);
}

VSMACEntry entry_for(unsigned char last, qel_VlanID vid = 0, qel_uint32 vni = 0, int type = 0) {
  VSMACEntry entry{};
  entry.macAddress[0] = 2;
  entry.macAddress[5] = last;
  entry.vid = vid;
  entry.vni = vni;
  entry.macAddrType = address_type(type);
  return entry;
}

int set(char const *port, VSMACEntry const &entry) {
  return VSQEL_SetPortMACTable("s", port, &entry);
}

int clear(char const *port, VSMACEntry const &entry) {
  return VSQEL_ClearPortMACTable("s", port, &entry);
}

Learning learn(char const *dvport_id, unsigned char last, std::int64_t vid = 0) {
  Learning result{};
  EXPECT_STATUS(QEL_OK, update([&](Database &database) {
                  RowId const vswitch = switch_by_alias(database, "s");
                  result = learn_address(database, vswitch, port_by_id(database, vswitch, dvport_id),
                                         {{{2, 0, 0, 0, 0, last}, vid, 0}});
                }));
  return result;
}

void set_time(std::int64_t seconds) {
  EXPECT_STATUS(QEL_OK, update([&](Database &database) { stop_clock(database, seconds * microseconds_per_second); }));
}

VSPMACLearningStats stats_of(char const *dvport_id) {
  VSPMACLearningStats stats{};
  EXPECT_STATUS(QEL_OK, VSQEL_GetPortMACLearningStats("s", dvport_id, &stats));
  return stats;
}

VSMACLearningSwitchInfo info() {
  VSMACLearningSwitchInfo result{};
  EXPECT_STATUS(QEL_OK, VSQEL_GetSwitchMACLearningInfo("s", &result));
  return result;
}

// A field of a packed record cannot be passed by reference.
std::uint64_t value(qel_uint64 number) {
  return number;
}

// A value of the property that lists the uplink ports: one.
std::string uplink_list(std::string const &name, std::string const &dvport_id) {
  std::string const count("\1\0\0\0", 4);
  return count + name + std::string(81 - name.size(), '\0') + count + dvport_id +
         std::string(48 - dvport_id.size(), '\0');
}

using Entries = std::vector<Entry>;

class MacTable : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    boot_from(description);
    p = port_number("s", "p");
    q = port_number("s", "q");
    r = port_number("s", "r");
    u = port_number("s", "uplink-1");
  }

  qel_SwitchPortID p, q, r, u;
};

TEST_F(MacTable, holds_clients_and_learned_addresses_in_order) {
  EXPECT_EQ((Entries{{"00:a0", 0, r, 0, 0}, {"00:a1", 0, p, 0, 0}, {"00:b1", 2, p, 0, 0}, {"00:b2", 2, p, 5, 0}}),
            table_of("i"));
  EXPECT_EQ((Entries{{"00:b1", 2, p, 0, 0}, {"00:b2", 2, p, 5, 0}}), table_of("s", VS_MAC_ADDR_TYPE_LEARNED));
  Returned<VSMACTable> port_table;
  ASSERT_STATUS(QEL_OK, VSQEL_GetPortMACTable("s", "p", address_type(VS_MAC_ADDR_TYPE_STATIC), &port_table));
  EXPECT_EQ((Entries{{"00:a1", 0, p, 0, 0}}), entries_of(port_table.record));
  EXPECT_EQ(3u, port_table->totalEntries);  // of all types
  Returned<VSMACTable> team;
  ASSERT_STATUS(QEL_OK, VSQEL_GetTeamMACTable("s", address_type(VS_MAC_ADDR_TYPE_ALL), &team));
  EXPECT_EQ((Entries{{"00:c1", 2, u, 7, 0}}), entries_of(team.record));
}

TEST_F(MacTable, entries_tell_their_age) {
  Returned<VSMACTable> table;
  ASSERT_STATUS(QEL_OK, VSQEL_GetMACTable("s", address_type(VS_MAC_ADDR_TYPE_LEARNED), &table));
  EXPECT_EQ(0, entry_at(table.record, 0).aging);
  EXPECT_EQ(1, entry_at(table.record, 1).aging);
  EXPECT_EQ(10u, value(entry_at(table.record, 1).elapsed));
}

TEST_F(MacTable, silent_addresses_are_forgotten) {
  set_time(1000 + 589);
  EXPECT_EQ(2u, table_of("s", VS_MAC_ADDR_TYPE_LEARNED).size());
  set_time(1000 + 590);  // the aging time of 600 seconds, ten of which had passed before
  EXPECT_EQ((Entries{{"00:b1", 2, p, 0, 0}}), table_of("s", VS_MAC_ADDR_TYPE_LEARNED));
  EXPECT_EQ(1u, value(stats_of("p").numMACsLearned));
  VSMACEntry aged = entry_for(0xb2, 5, 0, VS_MAC_ADDR_TYPE_LEARNED);
  EXPECT_STATUS(QEL_NOT_FOUND, clear("p", aged));
  VSMACLearningGlobalProps never{0, 65536, 0, 1};
  ASSERT_STATUS(QEL_OK, VSQEL_SetGlobalMACLearningProps(&never));
  EXPECT_EQ(2u, table_of("s", VS_MAC_ADDR_TYPE_LEARNED).size());
}

TEST_F(MacTable, entries_by_hand_are_shared_and_removed) {
  ASSERT_EQ(0, in_child([] { return set("q", entry_for(0xd1, 4094, 0xffffff)); }));
  EXPECT_EQ((Entries{{"00:d1", 1, q, 4094, 0xffffff}}), table_of("s", VS_MAC_ADDR_TYPE_USER));
  EXPECT_STATUS(QEL_EXISTS, set("q", entry_for(0xd1, 4094, 0xffffff)));
  EXPECT_STATUS(QEL_EXISTS, set("p", entry_for(0xd1, 4094, 0xffffff)));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, set("q", entry_for(0xd2)));  // one address is all that the port may have
  EXPECT_STATUS(QEL_NOT_FOUND, clear("p", entry_for(0xd1, 4094, 0xffffff)));
  EXPECT_STATUS(QEL_NOT_FOUND, clear("q", entry_for(0xd1, 4093, 0xffffff)));
  EXPECT_STATUS(QEL_NOT_FOUND, clear("q", entry_for(0xd1, 4094, 0xffffff, VS_MAC_ADDR_TYPE_LEARNED)));
  ASSERT_STATUS(QEL_OK, clear("q", entry_for(0xd1, 4094, 0xffffff)));
  EXPECT_EQ(Entries{}, table_of("s", VS_MAC_ADDR_TYPE_USER));
  ASSERT_STATUS(QEL_OK, set("q", entry_for(0xd1, 0, 0, VS_MAC_ADDR_TYPE_USER)));
  ASSERT_STATUS(QEL_OK, clear("q", entry_for(0xd1, 0, 0, VS_MAC_ADDR_TYPE_ALL)));
}

TEST_F(MacTable, an_entry_by_hand_takes_the_place_of_a_learned_one) {
  ASSERT_STATUS(QEL_OK, set("q", entry_for(0xb2, 5)));
  EXPECT_EQ((Entries{{"00:b1", 2, p, 0, 0}}), table_of("s", VS_MAC_ADDR_TYPE_LEARNED));
  EXPECT_EQ(Learning::ignored, learn("p", 0xb2, 5));
}

TEST_F(MacTable, refused_entries) {
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_SetPortMACTable("s", "p", nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_ClearPortMACTable("s", "p", nullptr));
  EXPECT_STATUS(QEL_NOT_FOUND, set("none", entry_for(1)));
  EXPECT_STATUS(QEL_BAD_VLANID, set("p", entry_for(1, 4095)));
  EXPECT_STATUS(QEL_BAD_PARAM, set("p", entry_for(1, 0, 0x1000000)));
  EXPECT_STATUS(QEL_BAD_PARAM, set("p", entry_for(1, 0, 0, VS_MAC_ADDR_TYPE_LEARNED)));
  EXPECT_STATUS(QEL_BAD_PARAM, clear("p", entry_for(1, 0, 0, 4)));
  VSMACEntry zero{};
  EXPECT_STATUS(QEL_INVALID_ADDRESS, set("p", zero));
  VSMACEntry multicast = entry_for(1);
  multicast.macAddress[0] = 1;
  EXPECT_STATUS(QEL_INVALID_ADDRESS, set("p", multicast));
  EXPECT_EQ(Entries{}, table_of("s", VS_MAC_ADDR_TYPE_USER));
  Returned<VSMACTable> table;
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetMACTable("s", address_type(4), &table));
  EXPECT_EQ(nullptr, table.record);
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetTeamMACTable("s", address_type(255), &table));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetPortMACTable("s", "p", address_type(4), &table));
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetMACTable("none", address_type(0), &table));
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetPortMACTable("s", "none", address_type(0), &table));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetMACTable(nullptr, address_type(0), &table));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetMACTable("s", address_type(0), nullptr));
  EXPECT_STATUS(QEL_NAME_TOO_LONG, VSQEL_GetPortMACTable("s", std::string(48, 'x').c_str(), address_type(0), &table));
}

TEST_F(MacTable, static_addresses_can_be_forbidden) {
  ASSERT_STATUS(QEL_OK, set("q", entry_for(0xd1)));
  ASSERT_STATUS(QEL_OK, VSDVS_SetGlobProp("s", VSPROP_SWITCH_STATIC_MAC_ALLOW, "\0", 1, "", 1));
  EXPECT_STATUS(QEL_NO_PERMISSION, set("p", entry_for(0xd2)));
  EXPECT_EQ((Entries{{"00:b1", 2, p, 0, 0}, {"00:b2", 2, p, 5, 0}}), table_of("s"));
  Returned<VSStaticLeCtxEntries> none;
  ASSERT_STATUS(QEL_OK, VSQEL_GetStaticLectx("s", &none));
  EXPECT_EQ(0u, none->numEntries);
  ASSERT_STATUS(QEL_OK, VSDVS_ClearGlobProp("s", VSPROP_SWITCH_STATIC_MAC_ALLOW, "", 1));
  EXPECT_EQ(5u, table_of("s").size());
  VSMACLearningGlobalProps forbidden{600, 65536, 0, 0};
  ASSERT_STATUS(QEL_OK, VSQEL_SetGlobalMACLearningProps(&forbidden));
  EXPECT_STATUS(QEL_NO_PERMISSION, set("p", entry_for(0xd2)));
  ASSERT_STATUS(QEL_OK, VSDVS_SetGlobProp("s", VSPROP_SWITCH_STATIC_MAC_ALLOW, "\1", 1, "", 1));
  EXPECT_STATUS(QEL_OK, set("p", entry_for(0xd2)));
}

TEST_F(MacTable, a_boot_forgets_what_was_learned_and_set_by_hand) {
  ASSERT_STATUS(QEL_OK, set("q", entry_for(0xd1)));
  ASSERT_STATUS(QEL_OK, boot());
  EXPECT_EQ((Entries{{"00:a0", 0, r, 0, 0}, {"00:a1", 0, p, 0, 0}}), table_of("s"));
  EXPECT_EQ(0u, value(stats_of("q").noLearningDroppedPkts));
}

TEST_F(MacTable, learning_moves_refreshes_and_keeps_to_the_limits) {
  EXPECT_EQ(Learning::ignored, learn("r", 0xe1));  // does not learn
  EXPECT_EQ(Learning::ignored, learn("q", 0xa1));  // a client's address
  EXPECT_EQ(Learning::refreshed, learn("p", 0xb2, 5));
  EXPECT_EQ(Learning::moved, learn("q", 0xb2, 5));
  EXPECT_EQ(2u, table_of("s", VS_MAC_ADDR_TYPE_LEARNED).size());
  Returned<VSMACTable> table;
  ASSERT_STATUS(QEL_OK, VSQEL_GetPortMACTable("s", "q", address_type(VS_MAC_ADDR_TYPE_LEARNED), &table));
  ASSERT_EQ(1u, table->numEntries);
  EXPECT_EQ(1u, value(entry_at(table.record, 0).macMove));
  EXPECT_EQ(0u, value(entry_at(table.record, 0).elapsed));
  EXPECT_EQ(Learning::dropped, learn("q", 0xe1));
  EXPECT_EQ(6u, value(stats_of("q").noLearningDroppedPkts));
  EXPECT_EQ(18446744073710u, value(stats_of("q").numMACsMoved));
  EXPECT_EQ(Learning::learned, learn("p", 0xe1));
  EXPECT_EQ(Learning::learned, learn("p", 0xe2));
  EXPECT_EQ(Learning::allowed_unlearned, learn("p", 0xe3));
  EXPECT_EQ(1u, value(stats_of("p").noLearningAllowedPkts));
  EXPECT_EQ(3u, value(stats_of("p").numMACsLearned));
  EXPECT_EQ(2u, info().noOfPortsMACLimitHit);
  ASSERT_STATUS(QEL_OK, VSDVS_SetGlobProp("s", VSPROP_SWITCH_MAC_LEARN_STATIC, "\1", 1, "", 1));
  ASSERT_STATUS(QEL_OK, clear("q", entry_for(0xb2, 5, 0, VS_MAC_ADDR_TYPE_LEARNED)));
  EXPECT_EQ(Learning::learned, learn("q", 0xa1));
}

TEST_F(MacTable, an_uplink_has_a_limit_where_it_has_a_policy) {
  ASSERT_STATUS(QEL_OK, set("uplink-1", entry_for(1)));
  VSPMACLearning policy{};
  policy.macLimit = 2;
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortMACLearning("s", "uplink-1", &policy));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, set("uplink-1", entry_for(2))) << "one by hand, and one learned";
  policy.macLimit = 3;
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortMACLearning("s", "uplink-1", &policy));
  EXPECT_STATUS(QEL_OK, set("uplink-1", entry_for(2)));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, set("uplink-1", entry_for(3)));
}

TEST_F(MacTable, addresses_that_are_not_allowed_can_be_removed) {
  ASSERT_STATUS(QEL_OK, set("r", entry_for(1)));
  ASSERT_STATUS(QEL_OK, VSDVS_SetStaticMACAllow("s", 0));
  EXPECT_STATUS(QEL_OK, clear("r", entry_for(1)));
  EXPECT_STATUS(QEL_NOT_FOUND, clear("r", entry_for(1)));
}

TEST_F(MacTable, a_longer_aging_time_brings_no_address_back) {
  auto const set_aging = [](unsigned seconds) {
    VSPropMACLearning properties{};
    properties.agingTime = seconds & 0xffffff;
    properties.macLimit = 10;
    EXPECT_STATUS(QEL_OK, VSDVS_SetMACLearning("s", &properties));
    return stats_of("p").numMACsLearned;
  };
  EXPECT_EQ(2u, set_aging(11));
  EXPECT_EQ(1u, set_aging(10)) << "one was seen 10 seconds ago, the other does not age";
  EXPECT_EQ(1u, set_aging(11));
}

TEST_F(MacTable, the_limit_of_the_switch_holds_too) {
  VSMACLearningGlobalProps two{600, 2, 0, 1};
  ASSERT_STATUS(QEL_OK, VSQEL_SetGlobalMACLearningProps(&two));
  EXPECT_EQ(Learning::dropped, learn("q", 0xe1));
  EXPECT_EQ(Learning::moved, learn("q", 0xb1));  // not new to the switch
  VSPropMACLearning own{};
  own.agingTime = 5;
  own.macLimit = 3;
  ASSERT_STATUS(QEL_OK, VSDVS_SetGlobProp("s", VSPROP_SWITCH_MAC_LEARNING, &own, sizeof own, "", 1));
  EXPECT_EQ(5u, value(info().agingTime));
  EXPECT_EQ(3u, value(info().macLimit));
  EXPECT_EQ((Entries{{"00:b1", 2, q, 0, 0}}), table_of("s", VS_MAC_ADDR_TYPE_LEARNED));  // the other one has aged
}

TEST_F(MacTable, global_settings) {
  VSMACLearningGlobalProps props{};
  ASSERT_STATUS(QEL_OK, VSQEL_GetGlobalMACLearningProps(&props));
  EXPECT_EQ(600u, value(props.agingTime));
  EXPECT_EQ(65536u, value(props.macLimit));
  EXPECT_EQ(0, props.learnStatic);
  EXPECT_EQ(1, props.staticMACAllow);
  VSMACLearningGlobalProps changed{VS_MAC_LEARNING_AGING_TIME_MAX, 100, 48, 0};
  ASSERT_EQ(0, in_child([&] { return VSQEL_SetGlobalMACLearningProps(&changed); }));
  ASSERT_STATUS(QEL_OK, VSQEL_GetGlobalMACLearningProps(&props));
  EXPECT_EQ(1000000u, value(props.agingTime));
  EXPECT_EQ(100u, value(props.macLimit));
  EXPECT_EQ(1, props.learnStatic);
  EXPECT_EQ(0, props.staticMACAllow);
  EXPECT_EQ(1000000u, value(info().agingTime));
  changed.agingTime = VS_MAC_LEARNING_AGING_TIME_MAX + 1;
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_SetGlobalMACLearningProps(&changed));
  changed = {1, 1048577, 0, 0};
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, VSQEL_SetGlobalMACLearningProps(&changed));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_SetGlobalMACLearningProps(nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetGlobalMACLearningProps(nullptr));
  ASSERT_STATUS(QEL_OK, boot());
  ASSERT_STATUS(QEL_OK, VSQEL_GetGlobalMACLearningProps(&props));
  EXPECT_EQ(100u, value(props.macLimit));
}

TEST_F(MacTable, learning_of_switch_and_ports) {
  VSMACLearningSwitchInfo const state = info();
  EXPECT_EQ(600u, value(state.agingTime));
  EXPECT_EQ(2u, state.numLearningPorts);
  EXPECT_EQ(2u, value(state.numMACsLearned));
  EXPECT_EQ(1u, state.teamNumMACsLearned);
  EXPECT_EQ(1, state.teamMACLearning.learning);
  EXPECT_EQ(16384u, value(state.teamMACLearning.macLimit));
  EXPECT_EQ(1u, value(state.teamMACLearningStats.numMACsLearned));
  EXPECT_EQ(9u, value(state.teamAllowedPktsWithPortLimit));
  EXPECT_EQ(0u, state.noOfPortsMACLimitHit);
  EXPECT_EQ(1u, state.numSinkAndFloodingPorts);

  Returned<VSMACLearningEntries> policies;
  ASSERT_STATUS(QEL_OK, VSQEL_GetMACLearningAllPorts("s", &policies));
  ASSERT_EQ(3u, policies->numEntries);
  EXPECT_EQ(3u, policies->totalEntries);
  VSPMACLearningInfo list[3];
  std::memcpy(list, policies.record + 1, sizeof list);
  EXPECT_EQ(std::uint64_t{q}, value(list[1].portID));
  EXPECT_EQ(1u, value(list[1].portMACLearning.macLimit));
  EXPECT_EQ(std::uint64_t{VSPORT_MAC_LEARNING_LIMIT_POLICY_DROP}, value(list[1].portMACLearning.macLimitPolicy));
  EXPECT_EQ(0, list[2].portMACLearning.learning);
  EXPECT_EQ(4096u, value(list[2].portMACLearning.macLimit));

  Returned<VSMACLearningStats> stats;
  ASSERT_STATUS(QEL_OK, VSQEL_GetSwitchMACLearningStats("s", &stats));
  ASSERT_EQ(3u, stats->numEntries);
  VSPMACLearningStatsPortInfo counters[3];
  std::memcpy(counters, stats.record + 1, sizeof counters);
  EXPECT_EQ(std::uint64_t{p}, value(counters[0].portID));
  EXPECT_EQ(2u, value(counters[0].portStats.numMACsLearned));
  EXPECT_EQ(4u, value(counters[1].portStats.noLearningAllowedPkts));
  EXPECT_EQ(5u, value(counters[1].portStats.noLearningDroppedPkts));

  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetSwitchMACLearningInfo("s", nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetMACLearningAllPorts("s", nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetSwitchMACLearningStats("s", nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetPortMACLearningStats("s", "p", nullptr));
  VSPMACLearningStats port_stats{};
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetPortMACLearningStats("s", "none", &port_stats));
}

TEST_F(MacTable, without_a_learning_port_the_team_does_not_learn) {
  ASSERT_STATUS(QEL_OK, VSDVS_ClearPortProp("s", "p", VSPROP_PORT_MAC_MANAGEMENT, "", 1));
  EXPECT_EQ(1, info().teamMACLearning.learning);
  ASSERT_STATUS(QEL_OK, VSDVS_ClearPortProp("s", "q", VSPROP_PORT_MAC_MANAGEMENT, "", 1));
  EXPECT_EQ(0, info().teamMACLearning.learning);
  EXPECT_EQ(0u, info().numLearningPorts);
  EXPECT_EQ(Learning::ignored, learn("uplink-1", 0xe1));
}

TEST_F(MacTable, static_entries_gather_the_vlans_of_an_address) {
  ASSERT_STATUS(QEL_OK, set("p", entry_for(0xd1, 64, 9)));
  ASSERT_STATUS(QEL_OK, clear("p", entry_for(0xb1, 0, 0, VS_MAC_ADDR_TYPE_LEARNED)));
  ASSERT_STATUS(QEL_OK, set("p", entry_for(0xd1, 65, 9)));
  Returned<VSStaticLeCtxEntries> entries;
  ASSERT_STATUS(QEL_OK, VSQEL_GetStaticLectx("s", &entries));
  ASSERT_EQ(3u, entries->numEntries);
  EXPECT_EQ(3u, entries->totalEntries);
  VSStaticLEEntry list[3];
  std::memcpy(list, entries.record + 1, sizeof list);
  EXPECT_EQ("00:a0", mac_text(list[0].macAddress));
  EXPECT_EQ(1, list[0].isVdrMac);
  EXPECT_EQ(1u, value(list[0].vlanBitmap.bits[0]));
  EXPECT_EQ(0, list[1].isVdrMac);
  EXPECT_EQ("00:d1", mac_text(list[2].macAddress));
  EXPECT_EQ(3u, value(list[2].vlanBitmap.bits[1]));
  EXPECT_EQ(0u, value(list[2].vlanBitmap.bits[0]));
  EXPECT_EQ(9u, value(list[2].vni));
  EXPECT_EQ(VS_MAC_ADDR_TYPE_USER, list[2].macAddrType);
  EXPECT_EQ(std::uint64_t{p}, value(list[2].portID));
  EXPECT_EQ(0, list[2].isTrunkVNI);

  // A port whose client tags its frames: its address is static in all VLANs of the trunk.
  constexpr qel_uint16 trunk[] = {VSPORT_VLAN_GUEST_TAGGING, 0, 0, 1, 63, 64};
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortProp("s", "p", VSPROP_PORT_VLAN, trunk, sizeof trunk, "", 1));
  Returned<VSStaticLeCtxEntries> port_entries;
  ASSERT_STATUS(QEL_OK, VSQEL_GetPortStaticLectx("s", "p", &port_entries));
  ASSERT_EQ(2u, port_entries->numEntries);
  std::memcpy(list, port_entries.record + 1, 2 * sizeof list[0]);
  EXPECT_EQ(std::uint64_t{1} << 63, value(list[0].vlanBitmap.bits[0]));
  EXPECT_EQ(1u, value(list[0].vlanBitmap.bits[1]));
  EXPECT_EQ(1, list[1].isTrunkVNI);
  EXPECT_STATUS(QEL_NOT_FOUND, VSQEL_GetPortStaticLectx("s", "none", &port_entries));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetPortStaticLectx("s", "p", nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetStaticLectx("s", nullptr));
}

TEST_F(MacTable, a_client_has_the_vlan_of_its_port) {
  constexpr qel_uint16 access[] = {0, 30, 0, 0};
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortProp("s", "r", VSPROP_PORT_VLAN, access, sizeof access, "", 1));
  EXPECT_EQ((Entries{{"00:a0", 0, r, 30, 0}, {"00:a1", 0, p, 0, 0}}), table_of("s", VS_MAC_ADDR_TYPE_STATIC));
}

TEST_F(MacTable, what_was_learned_goes_with_the_client) {
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("s", "spare", 0));
  ASSERT_STATUS(QEL_OK, VSDVS_SetHostProp("s", QEL_HNQPROP_HOST_UPLINKPORTS, uplink_list("u", "spare").data(),
                                          static_cast<int>(uplink_list("u", "spare").size()), "", 1));
  EXPECT_EQ(Learning::learned, learn("spare", 0xc2));
  EXPECT_EQ(1u, value(stats_of("spare").numMACsLearned));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearSwitchUplinkPorts("s"));
  EXPECT_EQ(0u, value(stats_of("spare").numMACsLearned));
}

}  // namespace mac_table_test
