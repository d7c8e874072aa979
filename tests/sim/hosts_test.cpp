// Hosts: opened, used, copied, booted, saved; threads; what each call refuses.
#include <atomic>
#include <thread>

#include "interface/distributed_switch_configuration.h"
#include "interface/distributed_switch_state.h"
#include "sim_test.hpp"

namespace hosts_test {

qel_uint32 mtu_in_use(char const *alias) {
  qel_uint32 mtu = 0;
  VSDVS_GetMTU(alias, &mtu);
  return mtu;
}

std::string content(std::filesystem::path const &path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

using Hosts = SimTest;

TEST_F(Hosts, CORE_1_API_2_uses_nest_and_the_libraries_follow) {
  OwnedHost const other = fork_of(host);
  ASSERT_OK(vssim_use(host.get()));
  ASSERT_EQ(0, VSDVS_SetMTU("sw", 2000));
  ASSERT_OK(vssim_use(other.get()));
  EXPECT_EQ(1500u, mtu_in_use("sw"));
  vssim_host *current = nullptr;
  ASSERT_OK(vssim_current(&current));
  EXPECT_EQ(other.get(), current);
  vssim_close(current);
  ASSERT_OK(vssim_unuse(other.get()));
  EXPECT_EQ(2000u, mtu_in_use("sw"));
  ASSERT_OK(vssim_unuse(host.get()));
  EXPECT_EQ(0u, mtu_in_use("sw"));  // the environment's host has no such switch
  EXPECT_FAILS(FAILED, "the host is not in use", vssim_unuse(host.get()));
}

TEST_F(Hosts, API_2_a_host_that_is_closed_in_use_goes_when_it_is_left) {
  OwnedHost copy = fork_of(host);
  ASSERT_OK(vssim_use(copy.get()));
  vssim_host *const closed = copy.get();
  copy.reset();
  EXPECT_EQ(1500u, mtu_in_use("sw"));
  vssim_host *current = nullptr;
  ASSERT_OK(vssim_current(&current));
  EXPECT_EQ(closed, current);
  ASSERT_OK(vssim_unuse(current));
  vssim_close(current);
  EXPECT_EQ(0u, mtu_in_use("sw"));
}

TEST_F(Hosts, API_2_the_host_of_the_environment_is_current_where_none_is_in_use) {
  vssim_host *current = nullptr;
  ASSERT_OK(vssim_current(&current));
  EXPECT_EQ((folder / "environment.db").string(), vssim_path(current));
  EXPECT_STREQ(":memory:", vssim_path(host.get()));
  vssim_close(current);
}

TEST_F(Hosts, API_3_faults_meet_the_libraries_and_not_this_interface) {
  std::int64_t number = 0;
  ASSERT_OK(vssim_fault(host.get(), R"({"kind": "fail", "status": "QEL_BUSY"})", &number));
  EXPECT_EQ(1u, send(host, port(host, "sw", "a"), frame(mac_b, mac_a)).total(1));
  ASSERT_OK(vssim_use(host.get()));
  EXPECT_NE(0, VSDVS_SetMTU("sw", 2000));
  ASSERT_OK(vssim_unuse(host.get()));
  EXPECT_EQ(1, asked(vssim_faults, host)[0]["met"]);
  EXPECT_FAILS(NOT_FOUND, "no fault 9", vssim_clear_fault(host.get(), 9));
  ASSERT_OK(vssim_clear_fault(host.get(), 0));
  EXPECT_EQ(Json::array(), asked(vssim_faults, host));
}

TEST_F(Hosts, API_3_faults_say_all_that_makes_them) {
  std::int64_t number = 0;
  ASSERT_OK(vssim_fault(host.get(),
                        R"({"kind": "abort", "call": "VSDVS_SetMTU", "exception": "OSError", "message": "gone",
                            "skip": 2, "times": 3, "probability": 0.25, "seed": 7, "status": null, "milliseconds": 0})",
                        &number));
  Json const rule = asked(vssim_faults, host)[0];
  EXPECT_EQ(
      Json::parse(R"({"number": 1, "kind": "abort", "call": "VSDVS_SetMTU", "status": null, "exception": "OSError",
                            "message": "gone", "milliseconds": 0, "skip": 2, "times": 3, "probability": 0.25, "seed": 7,
                            "met": 0})"),
      rule);
  auto const refused = [&](char const *json) { return outcome(vssim_fault(host.get(), json, &number)); };
  EXPECT_EQ("BAD_ARGUMENT: nonsense: is not one of fail, fail-after, abort and delay",
            refused(R"({"kind": "nonsense"})"));
  EXPECT_EQ("BAD_ARGUMENT: VSDVS_No: the host has no such function",
            refused(R"({"kind": "fail", "call": "VSDVS_No"})"));
  EXPECT_EQ("BAD_ARGUMENT: probability: must be a number from 0.000001 to 1",
            refused(R"({"kind": "fail", "probability": 1.5})"));
  EXPECT_EQ("BAD_ARGUMENT: nonsense: is not a member of this object", refused(R"({"kind": "fail", "nonsense": 1})"));
}

TEST_F(Hosts, API_4_threads_share_a_host) {
  vssim_endpoint const a = port(host, "sw", "a");
  std::string const sent = frame(mac_b, mac_a);
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      vssim_frame const one = frame_at(a, sent);
      for (int k = 0; k < 25; ++k)
        failures += vssim_send(host.get(), &one, 1, VSSIM_COUNT_ONLY, nullptr) != VSSIM_OK;
    });
  }
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_EQ(0, failures);
  EXPECT_EQ(100, asked<vssim_endpoint>(vssim_counters, host, a)["pktsInUnicast"]);
}

TEST_F(Hosts, API_4_after_a_fork_a_host_in_memory_is_the_childs_own_copy_and_a_file_is_shared) {
  OwnedHost const shared = file_host();
  vssim_endpoint const own = port(host, "sw", "a");
  vssim_endpoint const common = port(shared, "sw", "a");
  std::string const sent = frame(mac_b, mac_a);
  send(host, own, sent);
  send(shared, common, sent);
  pid_t const child = fork();
  if (child == 0) {
    vssim_frame const frames[] = {frame_at(own, sent), frame_at(common, sent)};
    bool const sent_both = vssim_send(host.get(), &frames[0], 1, 0, nullptr) == VSSIM_OK &&
                           vssim_send(shared.get(), &frames[1], 1, 0, nullptr) == VSSIM_OK;
    _exit(sent_both ? 0 : 1);
  }
  int state = 0;
  ASSERT_EQ(child, waitpid(child, &state, 0));
  EXPECT_EQ(0, state);
  EXPECT_EQ(1, asked<vssim_endpoint>(vssim_counters, host, own)["pktsInUnicast"]);
  EXPECT_EQ(2, asked<vssim_endpoint>(vssim_counters, shared, common)["pktsInUnicast"]);
}

TEST_F(Hosts, D_5_a_fork_is_a_private_copy_of_everything) {
  vssim_endpoint const a = port(host, "sw", "a");
  send(host, a, frame(mac_b, mac_a));
  std::int64_t number = 0;
  ASSERT_OK(vssim_fault(host.get(), R"({"kind": "delay", "milliseconds": 1})", &number));
  ASSERT_OK(vssim_set_client(host.get(), a, R"({"link": false})"));
  OwnedHost const copy = fork_of(host);
  vssim_endpoint const copied = port(copy, "sw", "a");
  EXPECT_STREQ(":memory:", vssim_path(copy.get()));
  EXPECT_EQ(1, asked<vssim_endpoint>(vssim_counters, copy, copied)["pktsInUnicast"]);
  EXPECT_EQ(1u, asked(vssim_faults, copy).size());
  EXPECT_EQ(false, asked<vssim_endpoint>(vssim_client, copy, copied)["link"]);
  std::int64_t now = 0;
  int stopped = 0;
  ASSERT_OK(vssim_now(copy.get(), &now, &stopped));
  EXPECT_EQ(1000000, now);
  EXPECT_EQ(1, stopped);
  // Neither sees the other.
  ASSERT_OK(vssim_set_client(copy.get(), copied, R"({"link": true})"));
  EXPECT_EQ((Lines{"0 drop sw/a in link-down"}), send(host, a, frame(mac_b, mac_a)).lines());
  EXPECT_EQ((Lines{"0 frame sw/b 60"}), send(copy, copied, frame(mac_b, mac_a)).lines());
  EXPECT_EQ(2, asked<vssim_endpoint>(vssim_counters, copy, copied)["pktsInUnicast"]);
}

TEST_F(Hosts, D_5_a_fork_of_a_file_is_in_memory) {
  OwnedHost const file = file_host();
  send(file, port(file, "sw", "a"), frame(mac_b, mac_a));
  OwnedHost const copy = fork_of(file);
  send(copy, port(copy, "sw", "a"), frame(mac_b, mac_a));
  EXPECT_EQ(1, asked<vssim_endpoint>(vssim_counters, file, port(file, "sw", "a"))["pktsInUnicast"]);
}

TEST_F(Hosts, D_5_a_snapshot_is_a_state_file) {
  vssim_endpoint const a = port(host, "sw", "a");
  send(host, a, frame(mac_b, mac_a));
  std::string const path = (folder / "snapshot.db").string();
  ASSERT_OK(vssim_snapshot(host.get(), path.c_str(), 0));
  EXPECT_FAILS(FAILED, path + ": is there already; --force replaces it", vssim_snapshot(host.get(), path.c_str(), 0));
  ASSERT_OK(vssim_snapshot(host.get(), path.c_str(), 1));
  OwnedHost const restored = open_host_at(path.c_str());
  EXPECT_EQ(1, asked<vssim_endpoint>(vssim_counters, restored, port(restored, "sw", "a"))["pktsInUnicast"]);
}

TEST_F(Hosts, D_5_a_reset_begins_anew) {
  vssim_endpoint const a = port(host, "sw", "a");
  send(host, a, frame(mac_b, mac_a));
  ASSERT_OK(vssim_reset(host.get()));
  vssim_frame const stale = frame_at(a, "");
  EXPECT_FAILS(NOT_FOUND, "no port 'a' on switch 'sw'", vssim_send(host.get(), &stale, 1, 0, nullptr));
  EXPECT_EQ(0, asked<vssim_endpoint>(vssim_counters, host, port(host, "sw", "a"))["pktsInUnicast"]);
}

TEST_F(Hosts, K_7_X_2_a_boot_forgets_what_runs) {
  vssim_endpoint const a = port(host, "sw", "a");
  ASSERT_OK(
      vssim_set_client(host.get(), a,
                       R"({"mac": "02:00:00:00:09:09", "promiscuous": true, "link": false, "groups": ["239.1.1.1"],
                                 "multicast_macs": ["01:00:5e:01:01:02"]})"));
  send(host, port(host, "sw", "b"), frame(mac_c, mac_b));
  ASSERT_OK(vssim_boot(host.get()));
  EXPECT_EQ(
      Json::parse(R"({"name": "a", "type": "vnic", "assigned_mac": "02:00:00:00:01:0a", "mac": "02:00:00:00:01:0a",
                            "promiscuous": true, "link": true, "groups": [], "multicast_macs": []})"),
      asked<vssim_endpoint>(vssim_client, host, a));
  EXPECT_EQ(0, asked<vssim_endpoint>(vssim_counters, host, port(host, "sw", "b"))["pktsInUnicast"]);
}

TEST_F(Hosts, API_5_API_12_a_refused_operation_says_why_and_changes_nothing) {
  vssim_endpoint endpoint = 7;
  EXPECT_FAILS(NOT_FOUND, "no switch 'x'", vssim_port(host.get(), "x", "a", &endpoint));
  EXPECT_EQ(0u, endpoint);
  EXPECT_FAILS(NOT_FOUND, "no port 'y' on switch 'sw'", vssim_port(host.get(), "sw", "y", &endpoint));
  EXPECT_FAILS(NOT_FOUND, "no NIC 'z'", vssim_nic(host.get(), "z", &endpoint));
  EXPECT_FAILS(BAD_ARGUMENT, "no name", vssim_nic(host.get(), nullptr, &endpoint));
  EXPECT_FAILS(BAD_ARGUMENT, "no host", vssim_nic(nullptr, "nic0", &endpoint));

  vssim_endpoint const a = port(host, "sw", "a");
  vssim_endpoint const free_port = port(host, "sw", "free");
  EXPECT_FAILS(FAILED, "the port free has no client", vssim_set_client(host.get(), free_port, "{}"));
  EXPECT_FAILS(FAILED, "the port free has no client", vssim_disconnect(host.get(), free_port));
  EXPECT_FAILS(FAILED, "the port a has a client", vssim_connect(host.get(), a, R"({"name": "x"})"));
  EXPECT_FAILS(FAILED, "the NIC nic0 is in no LAG", ([&] {
                 char *json = nullptr;
                 return vssim_lacp(host.get(), nic(host, "nic0"), &json);
               })());
  vssim_frame const frames[] = {frame_at(a, "x"), {99, 0, nullptr}};
  EXPECT_FAILS(BAD_ARGUMENT, "99 is no endpoint of this host", vssim_send(host.get(), frames, 2, 0, nullptr));
  EXPECT_EQ(0, asked<vssim_endpoint>(vssim_counters, host, a)["pktsInDropped"]);
  EXPECT_FAILS(BAD_ARGUMENT, "an unknown flag", vssim_send(host.get(), frames, 1, 8, nullptr));
  vssim_host *none = host.get();
  EXPECT_FAILS(FAILED, "physical_nics: must be a list",
               vssim_open(nullptr, R"({"format": 1, "physical_nics": 5})", &none));
  EXPECT_EQ(nullptr, none);
}

TEST_F(Hosts, API_1_the_port_of_an_uplink_is_no_endpoint_to_send_from) {
  char const boot[] = R"({"format": 1, "switches": [{"alias": "sw", "switch_id": "id",
                          "uplinks": [{"name": "up", "dvport_id": "u"}]}]})";
  OwnedHost const other = open_host_at(nullptr, boot);
  vssim_endpoint const uplink = port(other, "sw", "u");
  vssim_frame const sent = frame_at(uplink, "");
  EXPECT_FAILS(BAD_ARGUMENT, "port 'u' on switch 'sw' is an uplink port: send to its NIC",
               vssim_send(other.get(), &sent, 1, 0, nullptr));
  EXPECT_FAILS(FAILED, "the client of the port u is an uplink", vssim_set_client(other.get(), uplink, "{}"));
}

TEST_F(Hosts, API_12_an_endpoint_that_is_gone_is_not_found_and_keeps_its_name) {
  vssim_endpoint const gone = port(host, "sw", "free");
  ASSERT_OK(vssim_use(host.get()));
  ASSERT_EQ(0, VSDVS_RemoveDVPort("sw", "free"));
  ASSERT_OK(vssim_unuse(host.get()));
  vssim_frame const sent = frame_at(gone, "");
  EXPECT_FAILS(NOT_FOUND, "no port 'free' on switch 'sw'", vssim_send(host.get(), &sent, 1, 0, nullptr));
  EXPECT_EQ("sw/free", label(host, gone));
}

TEST_F(Hosts, CORE_7_D_4_a_file_that_is_read_only_is_read) {
  std::filesystem::path const path = folder / "host.db";
  file_host();  // closed at once, so that there is no log
  std::filesystem::permissions(path, std::filesystem::perms::owner_read);
  if (access(path.c_str(), W_OK) == 0 && geteuid() == 0) {
    // The superuser may write anything: another user looks.
    std::filesystem::permissions(folder, std::filesystem::perms::owner_all | std::filesystem::perms::others_read |
                                             std::filesystem::perms::others_exec);
    std::filesystem::permissions(path, static_cast<std::filesystem::perms>(0444));
  }
  std::string const before = content(path);
  pid_t const child = fork();
  if (child == 0) {
    constexpr uid_t nobody = 65534;
    if (geteuid() == 0 && (setgid(nobody) != 0 || setuid(nobody) != 0))
      _exit(9);
    vssim_host *reader = nullptr;
    vssim_endpoint a = 0;
    vssim_result *result = nullptr;
    std::string const sent = frame(mac_b, mac_a);
    if (vssim_open(path.c_str(), nullptr, &reader) != VSSIM_OK || vssim_port(reader, "sw", "a", &a) != VSSIM_OK)
      _exit(1);
    vssim_frame const one = frame_at(a, sent);
    if (vssim_explain(reader, &one, &result) != VSSIM_OK || vssim_total(result, 1) != 1)
      _exit(2);
    vssim_result_free(result);
    if (vssim_send(reader, &one, 1, 0, nullptr) != VSSIM_READ_ONLY)
      _exit(3);
    bool const says = std::string("the host refuses it with QEL_READ_ONLY") == vssim_error();
    _exit(says ? 0 : 4);
  }
  int state = 0;
  ASSERT_EQ(child, waitpid(child, &state, 0));
  ASSERT_TRUE(WIFEXITED(state));
  EXPECT_EQ(0, WEXITSTATUS(state));
  EXPECT_EQ(before, content(path));
}

TEST_F(Hosts, a_trace_has_the_calls_on_its_host) {
  std::string const path = (folder / "trace").string();
  OwnedHost const other = fork_of(host);
  ASSERT_OK(vssim_trace(host.get(), path.c_str()));
  for (OwnedHost const *used : {static_cast<OwnedHost const *>(&host), &other}) {
    ASSERT_OK(vssim_use(used->get()));
    mtu_in_use(used == &host ? "sw" : "other");
    ASSERT_OK(vssim_unuse(used->get()));
  }
  ASSERT_OK(vssim_trace(host.get(), nullptr));
  ASSERT_OK(vssim_use(host.get()));
  mtu_in_use("late");
  ASSERT_OK(vssim_unuse(host.get()));
  std::istringstream lines(content(path));
  std::string line;
  ASSERT_TRUE(std::getline(lines, line));
  EXPECT_EQ("VSDVS_GetMTU", Json::parse(line)["call"]);
  EXPECT_EQ("sw", Json::parse(line)["arguments"]["alias"]);
  EXPECT_FALSE(std::getline(lines, line)) << line;
  EXPECT_FAILS(FAILED, (folder / "no/trace").string() + ": cannot open the trace: No such file or directory",
               vssim_trace(host.get(), (folder / "no/trace").c_str()));
}

TEST_F(Hosts, endpoints_are_clients_by_number_and_nics_by_name) {
  EXPECT_EQ(Json::parse(R"([["sw", "a"], ["sw", "b"], ["sw", "c"], "nic0", "nic1"])"), asked(vssim_endpoints, host));
}

}  // namespace hosts_test
