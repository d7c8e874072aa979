// Frames from an endpoint through a host to others: results, their order, and what the calls of the libraries show.
#include "sim_test.hpp"

namespace frames_test {

using Frames = SimTest;

TEST_F(Frames, API_1_a_frame_goes_from_a_port_to_the_others_and_the_uplink) {
  std::string const sent = frame(broadcast, mac_a);
  Result const result = send(host, port(host, "sw", "a"), sent);
  EXPECT_EQ((Lines{"0 frame nic0 60", "0 frame sw/b 60", "0 frame sw/c 60"}), result.lines());
  EXPECT_EQ(sent, result.delivered(0));
  EXPECT_EQ(1u, result.total(0));
  EXPECT_EQ(3u, result.total(1));
  EXPECT_EQ(0u, result.total(2));
}

TEST_F(Frames, API_1_a_frame_comes_in_from_a_wire) {
  Result const result = send(host, nic(host, "nic0"), frame(mac_b, "020000000999"));
  EXPECT_EQ((Lines{"0 frame sw/b 60"}), result.lines());
}

TEST_F(Frames, API_1_a_nic_behind_no_uplink_drops_what_comes_in) {
  Result const result = send(host, nic(host, "nic1"), frame(mac_b, "020000000999"));
  EXPECT_EQ((Lines{"0 drop nic1 in nic-unbound"}), result.lines());
}

TEST_F(Frames, API_7_results_come_by_index) {
  std::string const to_b = frame(mac_b, mac_a);
  std::string const runt = "short";
  std::string const to_a = frame(mac_a, mac_b);
  vssim_endpoint const a = port(host, "sw", "a");
  vssim_endpoint const b = port(host, "sw", "b");
  Result const result = send(host, {frame_at(b, to_a), frame_at(a, runt), frame_at(a, to_b)});
  EXPECT_EQ((Lines{"0 frame sw/a 60", "2 frame sw/b 60", "1 drop sw/a in runt"}), result.lines());
}

TEST_F(Frames, API_8_an_explanation_changes_nothing) {
  vssim_endpoint const a = port(host, "sw", "a");
  std::string const sent = frame(mac_b, mac_a);
  Result const explained = explain(host, a, sent);
  EXPECT_EQ((Lines{"0 frame sw/b 60"}), explained.lines());
  ASSERT_FALSE(explained.steps().empty());
  EXPECT_EQ(0u, explained.steps()[0].find("P-6 sw/a: "));
  EXPECT_EQ(0u, explained.steps().back().find("C-5 sw/b: "));
  EXPECT_EQ(0, asked<vssim_endpoint>(vssim_counters, host, a)["pktsInUnicast"]);
  send(host, a, sent);
  EXPECT_EQ(1, asked<vssim_endpoint>(vssim_counters, host, a)["pktsInUnicast"]);
}

}  // namespace frames_test
