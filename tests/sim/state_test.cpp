// What operations leave in the state: seen by other processes and the libraries, kept by snapshots and by save and
// restore, within limits.
#include <cstring>

#include "constants/constants.hpp"
#include "interface/distributed_switch_configuration.h"
#include "interface/switch_queries.h"
#include "sim_test.hpp"

namespace state_test {

using State = SimTest;

// The steps of an upgrade with save and restore, one after the other.
constexpr std::int64_t upgrade[] = {constant::RTM_IOCCMD_REG_SAVE,     constant::RTM_IOCCMD_SAVE,
                                    constant::RTM_IOCCMD_BLOCKPORTS,   constant::RTM_IOCCMD_PS_UPGRADE,
                                    constant::RTM_IOCCMD_PORT_UPGRADE, constant::RTM_IOCCMD_REG_RESTORE,
                                    constant::RTM_IOCCMD_RESTORE};

void take_step(std::int64_t step) {
  std::vector<char> request(sizeof(RTMIOCtlQuery) + sizeof(RTM_Portset));
  RTMIOCtlQuery header{};
  header.numPortsets = 1;
  std::memcpy(request.data(), &header, sizeof header);
  std::memcpy(&request[sizeof header], "portset-1", 9);
  ASSERT_EQ(0, VSQEL_RTMOp(reinterpret_cast<RTMIOCtlQuery *>(request.data()), static_cast<RTMIOCtlMode>(step)));
}

TEST_F(State, CORE_2_CORE_3_D_2_what_is_counted_and_learned_is_seen_by_others) {
  OwnedHost const one = file_host();
  OwnedHost const other = file_host();
  ASSERT_OK(vssim_use(one.get()));
  VSPMACLearning policy{};
  policy.learning = 1;
  policy.macLimit = 100;
  ASSERT_EQ(0, VSDVS_SetPortMACLearning("sw", "a", &policy));
  ASSERT_OK(vssim_unuse(one.get()));
  vssim_endpoint const a = port(one, "sw", "a");
  vssim_endpoint const seen_a = port(other, "sw", "a");
  std::string const sent = frame(mac_b, "020000000777");
  for (int i = 0; i < 3; ++i) {
    send(one, a, sent);
    send(other, seen_a, sent);
    EXPECT_EQ(2 * i + 2, asked<vssim_endpoint>(vssim_counters, one, a)["pktsInUnicast"]);
  }
  EXPECT_EQ((Lines{"02:00:00:00:07:77 a 0"}), learned(one));
  EXPECT_EQ((Lines{"02:00:00:00:07:77 a 0"}), learned(other));
  VSPMACLearningStats stats{};
  ASSERT_OK(vssim_use(other.get()));
  ASSERT_EQ(0, VSQEL_GetPortMACLearningStats("sw", "a", &stats));
  ASSERT_OK(vssim_unuse(other.get()));
  EXPECT_EQ(1u, stats.numMACsLearned);
}

TEST_F(State, CORE_7_a_change_of_the_configuration_holds_for_the_next_frame_whoever_makes_it) {
  OwnedHost const one = file_host();
  OwnedHost const other = file_host();
  vssim_endpoint const a = port(one, "sw", "a");
  for (unsigned const mtu : {1280u, 1500u, 1280u}) {
    ASSERT_OK(vssim_use(other.get()));
    ASSERT_EQ(0, VSDVS_SetMTU("sw", mtu));
    ASSERT_OK(vssim_unuse(other.get()));
    std::string sent = frame(mac_b, mac_a);
    sent.resize(1514);
    EXPECT_EQ(mtu == 1500 ? Lines{"0 frame sw/b 1514"} : Lines{"0 drop sw/a in too-long"}, send(one, a, sent).lines());
    EXPECT_EQ(mtu == 1500 ? 1u : 0u, send(one, a, sent).total(1));
  }
}

TEST_F(State, CORE_7_an_explanation_follows_the_configuration_without_taking_note_of_it) {
  OwnedHost const one = file_host();
  OwnedHost const other = file_host();
  vssim_endpoint const a = port(one, "sw", "a");
  std::string sent = frame(mac_b, mac_a);
  sent.resize(1514);
  for (unsigned const mtu : {1500u, 1280u, 1500u}) {
    ASSERT_OK(vssim_use(other.get()));
    ASSERT_EQ(0, VSDVS_SetMTU("sw", mtu));
    ASSERT_OK(vssim_unuse(other.get()));
    EXPECT_EQ(mtu == 1500 ? 1u : 0u, explain(one, a, sent).total(1));
  }
}

TEST_F(State, CORE_5_X_4_the_blocks_of_a_port_are_one) {
  vssim_endpoint const a = port(host, "sw", "a");
  vssim_endpoint const b = port(host, "sw", "b");
  for (char const *const property : {"com.taliko.common.port.block", "com.taliko.port.forward.not.ready.block"}) {
    char byte = 1;
    ASSERT_OK(vssim_use(host.get()));
    ASSERT_EQ(0, VSDVS_SetPortProp("sw", "a", property, &byte, 1, "", 1));
    EXPECT_EQ((Lines{"0 drop sw/a in port-blocked"}), send(host, a, frame(mac_b, mac_a)).lines()) << property;
    EXPECT_EQ((Lines{"0 drop sw/a out port-blocked"}), send(host, b, frame(mac_a, mac_b)).lines()) << property;
    byte = 0;
    ASSERT_EQ(0, VSDVS_SetPortProp("sw", "a", property, &byte, 1, "", 1));
    ASSERT_OK(vssim_unuse(host.get()));
    EXPECT_EQ((Lines{"0 frame sw/b 60"}), send(host, a, frame(mac_b, mac_a)).lines());
  }
}

TEST_F(State, CORE_4_the_uplink_of_the_hint_carries_the_frames) {
  char const boot[] = R"({"format": 1, "physical_nics": [{"name": "n0", "mac": "02:00:00:00:00:01"},
      {"name": "n1", "mac": "02:00:00:00:00:02"}, {"name": "n2", "mac": "02:00:00:00:00:03"}],
      "switches": [{"alias": "sw", "switch_id": "id", "uplinks": [{"name": "n0"}, {"name": "n1"}, {"name": "n2"}],
      "ports": [{"dvport_id": "a", "client": {"name": "a", "type": "vnic"}},
                {"dvport_id": "b", "client": {"name": "b", "type": "vnic"}},
                {"dvport_id": "c", "client": {"name": "c", "type": "vnic"}}]}]})";
  OwnedHost const other = open_host_at(nullptr, boot);
  for (char const *const name : {"a", "b", "c"}) {
    qel_SwitchPortID number = 0;
    qel_Name hint{};
    ASSERT_OK(vssim_use(other.get()));
    ASSERT_EQ(0, VSDVS_DvPortIDToPortID("sw", name, &number));
    ASSERT_EQ(0, VSQEL_PortGetTeamUplinkHint(number, &hint));
    ASSERT_OK(vssim_unuse(other.get()));
    EXPECT_EQ((Lines{std::string("0 frame ") + hint.string + " 60"}),
              send(other, port(other, "sw", name), frame("020000000999", "020000000888")).lines());
  }
}

TEST_F(State, CORE_6_all_numbers_of_endpoints_are_of_one_host) {
  // Ports and NICs of several switches, removed and made again.
  ASSERT_OK(vssim_use(host.get()));
  ASSERT_EQ(0, VSDVS_CreateVSwitch("other", "other id", "", 0, 1, 0, 0, 0));
  ASSERT_EQ(0, VSDVS_AddDVPort("other", "a", 0));
  vssim_endpoint const first = port(host, "other", "a");
  EXPECT_EQ(first, port(host, "other", "a"));
  EXPECT_NE(first, port(host, "sw", "a"));
  ASSERT_EQ(0, VSDVS_RemoveDVPort("other", "a"));
  ASSERT_EQ(0, VSDVS_AddDVPort("other", "a", 0));
  EXPECT_NE(first, port(host, "other", "a"));
  ASSERT_OK(vssim_unuse(host.get()));
  EXPECT_EQ((Lines{"0 drop other/a in no-client"}), send(host, port(host, "other", "a"), frame(mac_a, mac_b)).lines());
}

TEST_F(State, D_2_a_snapshot_has_counters_and_addresses) {
  learn_at("a");
  send(host, port(host, "sw", "a"), frame(mac_b, "020000000777"));
  std::string const path = (folder / "snapshot.db").string();
  ASSERT_OK(vssim_snapshot(host.get(), path.c_str(), 0));
  OwnedHost const restored = open_host_at(path.c_str());
  EXPECT_EQ((Lines{"02:00:00:00:07:77 a 0"}), learned(restored));
  vssim_endpoint const a = port(restored, "sw", "a");
  EXPECT_EQ(asked<vssim_endpoint>(vssim_counters, host, port(host, "sw", "a")),
            asked<vssim_endpoint>(vssim_counters, restored, a));
  send(restored, a, frame(mac_b, "020000000777"));
  EXPECT_EQ(2, asked<vssim_endpoint>(vssim_counters, restored, a)["pktsInUnicast"]);
}

TEST_F(State, C_6_save_and_restore_keeps_counters_and_addresses) {
  learn_at("a");
  ASSERT_OK(vssim_set_client(host.get(), port(host, "sw", "c"), R"({"promiscuous": true})"));
  vssim_endpoint const a = port(host, "sw", "a");
  send(host, a, frame(mac_b, "020000000777"));
  Json const before = asked<vssim_endpoint>(vssim_counters, host, a);
  ASSERT_OK(vssim_use(host.get()));
  for (std::int64_t const step : upgrade) {
    take_step(step);
    if (step == constant::RTM_IOCCMD_BLOCKPORTS) {
      EXPECT_EQ((Lines{"0 drop sw/a in port-blocked"}), send(host, a, frame(mac_b, mac_a)).lines());
    }
  }
  VSDVMirrorSessionStats stats{};
  EXPECT_EQ(0, VSQEL_GetDVMirrorSessionStats("sw", "legacy_promiscuous", &stats));
  ASSERT_OK(vssim_unuse(host.get()));
  EXPECT_EQ(1u, stats.mirrorPktCnt);
  Json after = asked<vssim_endpoint>(vssim_counters, host, a);
  EXPECT_EQ(before["pktsInUnicast"], after["pktsInUnicast"]);
  EXPECT_EQ((Lines{"02:00:00:00:07:77 a 0"}), learned(host));
}

TEST_F(State, C_6_D_2_save_and_restore_keeps_what_lacp_negotiated) {
  char const boot[] = R"({"format": 1, "stopped_clock": 500000, "physical_nics": [
      {"name": "n0", "mac": "02:00:00:00:00:01", "partner": {"fast": true}}],
      "switches": [{"alias": "sw", "switch_id": "id", "uplinks": [{"name": "n0"}],
      "lags": [{"name": "l", "mode": "active", "fast": true, "members": [{"uplink": "n0"}]}]}]})";
  OwnedHost const lag = open_host_at(nullptr, boot);
  EXPECT_OK(vssim_advance(lag.get(), 5000000, nullptr));
  Json const before = asked<vssim_endpoint>(vssim_lacp, lag, nic(lag, "n0"));
  EXPECT_EQ(true, before["up"]);
  ASSERT_OK(vssim_use(lag.get()));
  for (std::int64_t const step : upgrade)
    take_step(step);
  take_step(constant::RTM_IOCCMD_RESTORE_COMPLETE);
  qel_LinkState state{};
  EXPECT_EQ(0, VSQEL_GetUplinkLACPLinkState("sw", "n0", &state));
  ASSERT_OK(vssim_unuse(lag.get()));
  EXPECT_EQ(static_cast<qel_LinkState>(constant::QEL_LINK_STATE_UP), state);
  EXPECT_EQ(before, asked<vssim_endpoint>(vssim_lacp, lag, nic(lag, "n0")));
  EXPECT_OK(vssim_advance(lag.get(), 10000000, nullptr));
  EXPECT_EQ(1, (asked<vssim_endpoint>(vssim_lacp, lag, nic(lag, "n0"))["changes"]));
}

TEST_F(State, D_1_two_forks_fed_alike_answer_alike) {
  learn_at("a");
  OwnedHost const one = fork_of(host);
  OwnedHost const other = fork_of(host);
  for (int i = 0; i < 20; ++i) {
    char const *const ports[] = {"a", "b", "c"};
    char source[13];
    std::snprintf(source, sizeof source, "0200000001%02x", i % 16);
    std::string const sent = frame(i % 5 ? mac_b : broadcast, source);
    EXPECT_EQ(send(one, port(one, "sw", ports[i % 3]), sent).lines(),
              send(other, port(other, "sw", ports[i % 3]), sent).lines());
  }
  EXPECT_EQ(asked<char const *>(vssim_mac_table, one, "sw"), asked<char const *>(vssim_mac_table, other, "sw"));
}

TEST_F(State, API_6_D_6_a_batch_has_a_limit) {
  vssim_endpoint const a = port(host, "sw", "a");
  std::string const sent = frame(mac_b, mac_a);
  std::vector<vssim_frame> frames(65536, frame_at(a, sent));
  Result const result = send(host, frames, VSSIM_COUNT_ONLY);
  EXPECT_EQ(65536u, result.total(1));
  EXPECT_EQ(Lines{}, result.lines());
  frames.push_back(frames.front());
  EXPECT_FAILS(BAD_ARGUMENT, "more than 65536 frames in one call",
               vssim_send(host.get(), frames.data(), static_cast<std::uint32_t>(frames.size()), 0, nullptr));
  std::string const large(std::size_t{1} << 20, 'x');
  frames.assign(64, frame_at(a, large));
  EXPECT_EQ(64u, send(host, frames).total(2));  // too long, each of them
  frames.push_back(frame_at(a, "x"));
  EXPECT_FAILS(BAD_ARGUMENT, "more than 64 MiB of frames in one call",
               vssim_send(host.get(), frames.data(), static_cast<std::uint32_t>(frames.size()), 0, nullptr));
  EXPECT_EQ(65536 + 64, asked<vssim_endpoint>(vssim_counters, host, a)["pktsInUnicast"].get<int>() +
                            asked<vssim_endpoint>(vssim_counters, host, a)["pktsInBroadcast"].get<int>() +
                            asked<vssim_endpoint>(vssim_counters, host, a)["pktsInMulticast"].get<int>());
}

TEST_F(State, K_8_a_result_keeps_so_many_deliveries_and_counts_all) {
  Json boot = Json::parse(small_host);
  for (int i = 0; i < 70; ++i)
    boot["switches"][0]["ports"].push_back(
        {{"dvport_id", "p" + std::to_string(i)}, {"client", {{"name", "p"}, {"type", "vnic"}}}});
  OwnedHost const wide = open_host_at(nullptr, boot.dump().c_str());
  std::string const sent = frame(broadcast, mac_a).substr(0, 14);
  std::vector<vssim_frame> const frames(65536, frame_at(port(wide, "sw", "a"), sent));
  Result const result = send(wide, frames);
  EXPECT_EQ(73u * 65536, result.total(1));
  std::uint64_t kept = 0;
  vssim_deliveries(result.get(), &kept);
  EXPECT_EQ(4194304u, kept);
  EXPECT_EQ(73u * 65536 - 4194304, result.total(4));
}

TEST_F(State, S_4_promiscuous_copies_count_in_their_session) {
  ASSERT_OK(vssim_set_client(host.get(), port(host, "sw", "c"), R"({"promiscuous": true})"));
  EXPECT_EQ((Lines{"0 frame sw/b 60", "0 promiscuous sw/c 60"}),
            send(host, port(host, "sw", "a"), frame(mac_b, mac_a)).lines());
  VSDVMirrorSessionStats stats{};
  ASSERT_OK(vssim_use(host.get()));
  EXPECT_EQ(0, VSQEL_GetDVMirrorSessionStats("sw", "legacy_promiscuous", &stats));
  ASSERT_OK(vssim_unuse(host.get()));
  EXPECT_EQ(1u, stats.mirrorPktCnt);
  EXPECT_EQ(1u, stats.mirroredPkts);
}

}  // namespace state_test
