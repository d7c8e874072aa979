// Clients as they run, NICs, partners: what is set is seen, forwarded by, and refused where it cannot be.
#include "constants/constants.hpp"
#include "interface/distributed_switch_configuration.h"
#include "interface/switch_queries.h"
#include "sim_test.hpp"

namespace clients_test {

using Clients = SimTest;

TEST_F(Clients, API_5_a_client_is_connected_and_disconnected) {
  vssim_endpoint const port_of_d = port(host, "sw", "free");
  ASSERT_OK(vssim_connect(host.get(), port_of_d, R"({"name": "d", "mac": "02:00:00:00:01:0d", "type": "tcpip"})"));
  EXPECT_EQ(Json::parse(R"({"name": "d", "type": "tcpip", "assigned_mac": "02:00:00:00:01:0d",
                            "mac": "02:00:00:00:01:0d", "promiscuous": false, "link": true, "groups": [],
                            "multicast_macs": []})"),
            asked<vssim_endpoint>(vssim_client, host, port_of_d));
  EXPECT_EQ((Lines{"0 frame sw/free 60"}), send(host, port(host, "sw", "a"), frame("02000000010d", mac_a)).lines());
  ASSERT_OK(vssim_disconnect(host.get(), port_of_d));
  EXPECT_EQ((Lines{"0 drop sw/free in no-client"}), send(host, port_of_d, frame(mac_a, mac_b)).lines());
}

TEST_F(Clients, X_2_what_is_absent_stays) {
  vssim_endpoint const a = port(host, "sw", "a");
  ASSERT_OK(
      vssim_set_client(host.get(), a, R"({"mac": "02:00:00:00:09:09", "multicast_macs": ["01:00:5e:01:01:02"]})"));
  ASSERT_OK(vssim_set_client(host.get(), a, R"({"groups": ["239.1.1.1", {"address": "ff3e::1", "mode": "exclude",
                                                "sources": ["2001:db8::9", "2001:db8::1"], "version": null}]})"));
  EXPECT_EQ(
      Json::parse(R"({"name": "a", "type": "vnic", "assigned_mac": "02:00:00:00:01:0a", "mac": "02:00:00:00:09:09",
                            "promiscuous": false, "link": true, "multicast_macs": ["01:00:5e:01:01:02"], "groups": [
                            {"address": "239.1.1.1", "sources": [], "mode": "include", "version": 3},
                            {"address": "ff3e::1", "sources": ["2001:db8::1", "2001:db8::9"], "mode": "exclude",
                             "version": 2}]})"),
      asked<vssim_endpoint>(vssim_client, host, a));
  ASSERT_OK(vssim_set_client(host.get(), a, R"({"mac": null, "groups": []})"));
  Json const client = asked<vssim_endpoint>(vssim_client, host, a);
  EXPECT_EQ(mac_a, client["mac"]);
  EXPECT_EQ(Json::array(), client["groups"]);
}

TEST_F(Clients, X_2_what_cannot_be_is_refused_with_its_place) {
  vssim_endpoint const a = port(host, "sw", "a");
  auto const refused = [&](std::string const &json) { return outcome(vssim_set_client(host.get(), a, json.c_str())); };
  EXPECT_EQ("BAD_ARGUMENT: mac: must not be zero or a multicast address", refused(R"({"mac": "01:00:00:00:00:01"})"));
  EXPECT_EQ("BAD_ARGUMENT: mac: must not be zero or a multicast address", refused(R"({"mac": "00:00:00:00:00:00"})"));
  EXPECT_EQ("BAD_ARGUMENT: groups[1]: stands there twice", refused(R"({"groups": ["239.1.1.1", "239.1.1.1"]})"));
  EXPECT_EQ("BAD_ARGUMENT: groups[0].address: must be the address of a multicast group",
            refused(R"({"groups": ["192.0.2.1"]})"));
  std::string sources;
  for (int i = 0; i < 65; ++i)
    sources += (i ? ", \"192.0.2." : "\"192.0.2.") + std::to_string(i) + '"';
  EXPECT_EQ("BAD_ARGUMENT: groups[0].sources: holds more than 64 addresses",
            refused(R"({"groups": [{"address": "239.1.1.1", "sources": [)" + sources + "]}]}"));
  EXPECT_EQ("BAD_ARGUMENT: multicast_macs: must hold multicast addresses",
            refused(R"({"multicast_macs": ["02:00:00:00:00:01"]})"));
  EXPECT_EQ("BAD_ARGUMENT: nonsense: is not a member of this object", refused(R"({"nonsense": 1})"));
  EXPECT_EQ("BAD_ARGUMENT: must be an object", refused("[]"));
}

TEST_F(Clients, S_1_the_effective_address_is_that_of_the_table_unless_it_may_not_change) {
  vssim_endpoint const a = port(host, "sw", "a");
  ASSERT_OK(vssim_set_client(host.get(), a, R"({"mac": "02:00:00:00:09:09"})"));
  vssim_endpoint const b = port(host, "sw", "b");
  EXPECT_EQ((Lines{"0 frame sw/a 60"}), send(host, b, frame("020000000909", mac_b)).lines());
  auto const address_of_a = [&] {
    for (Json const &entry : asked<char const *>(vssim_mac_table, host, "sw")) {
      if (entry["port"] == "a")
        return entry["mac"].get<std::string>();
    }
    return std::string();
  };
  EXPECT_EQ("02:00:00:00:09:09", address_of_a());
  ASSERT_OK(vssim_use(host.get()));
  VSPropSecurity security{static_cast<qel_uint32>(constant::VSPORT_SECURITY_DISALLOW_MAC_CHANGE)};
  ASSERT_EQ(0, VSDVS_SetPortSecurity("sw", "a", &security));
  ASSERT_OK(vssim_unuse(host.get()));
  EXPECT_EQ(mac_a, address_of_a());
  EXPECT_EQ((Lines{"0 drop sw/a out mac-changed"}), send(host, b, frame(mac_a, mac_b)).lines());
}

TEST_F(Clients, MAC_8_X_3_a_link_that_goes_down_takes_along_what_was_learned) {
  learn_at("a");
  vssim_endpoint const a = port(host, "sw", "a");
  send(host, a, frame(mac_b, "020000000777"));
  send(host, nic(host, "nic0"), frame(mac_b, "020000000888"));
  auto const learned = [&] {
    Lines macs;
    for (Json const &entry : asked<char const *>(vssim_mac_table, host, "sw")) {
      if (entry["type"] == "learned")
        macs.push_back(entry["mac"].get<std::string>() + (entry["team"].get<bool>() ? " team" : ""));
    }
    return macs;
  };
  EXPECT_EQ((Lines{"02:00:00:00:07:77", "02:00:00:00:08:88 team"}), learned());
  ASSERT_OK(vssim_set_nic(host.get(), nic(host, "nic0"), R"({"link": false})"));
  EXPECT_EQ((Lines{"02:00:00:00:07:77"}), learned());
  ASSERT_OK(vssim_set_client(host.get(), a, R"({"link": false})"));
  EXPECT_EQ(Lines{}, learned());
}

TEST_F(Clients, MAC_8_a_client_that_goes_takes_along_what_was_learned) {
  learn_at("a");
  vssim_endpoint const a = port(host, "sw", "a");
  send(host, a, frame(mac_b, "020000000777"));
  send(host, nic(host, "nic0"), frame(mac_b, "020000000888"));
  ASSERT_EQ((Lines{"02:00:00:00:07:77 a 0", "02:00:00:00:08:88 uplink-1 0"}), learned(host));
  ASSERT_OK(vssim_disconnect(host.get(), a));
  EXPECT_EQ((Lines{"02:00:00:00:08:88 uplink-1 0"}), learned(host));
}

TEST_F(Clients, IG_20_X_2_wanted_multicast_addresses_are_received) {
  ASSERT_OK(vssim_set_client(host.get(), port(host, "sw", "b"), R"({"multicast_macs": ["01:00:5e:01:01:02"]})"));
  EXPECT_EQ((Lines{"0 frame nic0 60", "0 frame sw/b 60"}),
            send(host, port(host, "sw", "a"), frame("01005e010102", mac_a)).lines());
}

TEST_F(Clients, T_17_nics_have_errors_and_segments) {
  vssim_endpoint const nic0 = nic(host, "nic0");
  auto const refused = [&](char const *json) { return outcome(vssim_set_nic(host.get(), nic0, json)); };
  EXPECT_EQ("BAD_ARGUMENT: errors: must be a number from 0 to 100", refused(R"({"errors": 101})"));
  EXPECT_EQ("BAD_ARGUMENT: segment: is longer than 31 bytes",
            refused(R"({"segment": "12345678901234567890123456789012"})"));
  EXPECT_EQ("BAD_ARGUMENT: link: must be true or false", refused(R"({"link": "up"})"));
  ASSERT_OK(vssim_use(host.get()));
  VSTeamPolicy policy{};
  ASSERT_EQ(0, VSDVS_GetTeamingPolicy("sw", &policy));
  constexpr qel_uint32 link_error = 64;
  policy.linkCriteria = link_error;
  policy.percentError = 40;
  ASSERT_EQ(0, VSDVS_SetTeamingPolicy("sw", &policy));
  ASSERT_OK(vssim_unuse(host.get()));
  vssim_endpoint const a = port(host, "sw", "a");
  std::string const sent = frame("020000000999", mac_a);
  ASSERT_OK(vssim_set_nic(host.get(), nic0, R"({"errors": 39, "segment": "lab"})"));
  EXPECT_EQ((Lines{"0 frame nic0 60"}), send(host, a, sent).lines());
  ASSERT_OK(vssim_set_nic(host.get(), nic0, R"({"errors": 40})"));
  EXPECT_EQ((Lines{"0 drop sw/a in no-uplink"}), send(host, a, sent).lines());
}

TEST_F(Clients, X_6_what_concerns_no_frame_changes_nothing) {
  ASSERT_OK(vssim_use(host.get()));
  qel_uint32 const number = 9;
  char const byte = 1;
  ASSERT_EQ(0, VSDVS_SetPortProp("sw", "a", "com.taliko.common.port.connectid", &number, 4, "", 1));
  ASSERT_EQ(0, VSDVS_SetPortProp("sw", "a", "com.taliko.common.port.ptAllowed", &byte, 1, "", 1));
  ASSERT_EQ(0, VSDVS_SetGlobProp("sw", "com.taliko.vswitch.LLSPAN.rxDispatcher", &byte, 1, "", 1));
  ASSERT_OK(vssim_unuse(host.get()));
  EXPECT_EQ((Lines{"0 frame sw/b 60"}), send(host, port(host, "sw", "a"), frame(mac_b, mac_a)).lines());
}

TEST_F(Clients, partners_and_members_of_a_lag_are_kept) {
  char const boot[] = R"({"format": 1, "physical_nics": [{"name": "n0", "mac": "02:00:00:00:00:01"},
      {"name": "n1", "mac": "02:00:00:00:00:02", "partner": {"key": 7}}],
      "switches": [{"alias": "sw", "switch_id": "id", "uplinks": [{"name": "n0"}, {"name": "n1"}], "lags": [
      {"name": "l", "members": [{"uplink": "n0"}]},
      {"name": "m", "mode": "active", "members": [{"uplink": "n1"}]}]}]})";
  OwnedHost const other = open_host_at(nullptr, boot);
  EXPECT_EQ(true, asked<vssim_endpoint>(vssim_lacp, other, nic(other, "n0"))["up"]);
  Json const negotiated = asked<vssim_endpoint>(vssim_lacp, other, nic(other, "n1"));
  EXPECT_EQ(false, negotiated["up"]);
  EXPECT_EQ("expired", negotiated["receive"]);
  EXPECT_OK(vssim_set_partner(other.get(), nic(other, "n0"), R"({"system": "02:00:00:00:00:99", "fast": true})"));
  EXPECT_OK(vssim_set_partner(other.get(), nic(other, "n0"), nullptr));
  EXPECT_FAILS(BAD_ARGUMENT, "key: must be a number from 0 to 65535",
               vssim_set_partner(other.get(), nic(other, "n0"), R"({"key": 65536})"));
}

}  // namespace clients_test
