// What the tests of frames through simulated hosts share: hosts that close themselves, frames, results that can be
// read.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "interface/distributed_switch_configuration.h"
#include "platform/core/host.hpp"
#include "platform/sim/vswitch_sim.h"

using Json = nlohmann::json;

// Statuses are compared by name, so that a failure can be read; the text of the failure comes with it.
inline std::string status_name(int status) {
  char const *const names[] = {"OK",   "BAD_ARGUMENT", "NOT_FOUND", "FAILED",
                               "BUSY", "READ_ONLY",    "NO_SPACE",  "NO_MEMORY"};
  return status >= 0 && status <= VSSIM_NO_MEMORY ? names[status] : "no status";
}

inline std::string outcome(int status) {
  return status == VSSIM_OK ? "OK" : status_name(status) + ": " + vssim_error();
}

#define ASSERT_OK(call) ASSERT_EQ("OK", outcome(call))
#define EXPECT_OK(call) EXPECT_EQ("OK", outcome(call))
#define EXPECT_FAILS(status, text, call) EXPECT_EQ(std::string(#status) + ": " + (text), outcome(call))

struct CloseHost {
  void operator()(vssim_host *host) const { vssim_close(host); }
};
using OwnedHost = std::unique_ptr<vssim_host, CloseHost>;

inline OwnedHost open_host_at(char const *path, char const *boot = nullptr) {
  vssim_host *host = nullptr;
  EXPECT_OK(vssim_open(path, boot, &host));
  return OwnedHost(host);
}

inline OwnedHost fork_of(OwnedHost const &host) {
  vssim_host *copy = nullptr;
  EXPECT_OK(vssim_fork(host.get(), &copy));
  return OwnedHost(copy);
}

inline vssim_endpoint port(OwnedHost const &host, char const *alias, char const *dvport_id) {
  vssim_endpoint endpoint = 0;
  EXPECT_OK(vssim_port(host.get(), alias, dvport_id, &endpoint));
  return endpoint;
}

inline vssim_endpoint nic(OwnedHost const &host, char const *name) {
  vssim_endpoint endpoint = 0;
  EXPECT_OK(vssim_nic(host.get(), name, &endpoint));
  return endpoint;
}

// "sw/a" or "nic0".
inline std::string label(OwnedHost const &host, vssim_endpoint endpoint) {
  char const *alias = nullptr;
  char const *name = nullptr;
  if (vssim_endpoint_name(host.get(), endpoint, &alias, &name) != VSSIM_OK)
    return "no endpoint";
  return alias ? std::string(alias) + "/" + name : name;
}

// Bytes from hexadecimal digits, between which there may be spaces and colons.
inline std::string bytes(std::string_view digits) {
  std::string result;
  std::string pair;
  for (char const digit : digits) {
    if (digit == ' ' || digit == ':')
      continue;
    pair += digit;
    if (pair.size() == 2) {
      result += static_cast<char>(std::stoi(pair, nullptr, 16));
      pair.clear();
    }
  }
  return result;
}

// A frame of 60 bytes.
inline std::string frame(std::string_view destination, std::string_view source, std::string_view type = "0800") {
  std::string made = bytes(destination) + bytes(source) + bytes(type);
  made.resize(60);
  return made;
}

struct FreeResult {
  void operator()(vssim_result *result) const { vssim_result_free(result); }
};

// What came of an operation, as lines: "0 frame nic0 60", "0 drop sw/a in port-blocked".
class Result {
 public:
  Result(OwnedHost const &host, vssim_result *result) : host_(host), result_(result) {}

  std::vector<std::string> lines() const {
    std::vector<std::string> lines;
    char const *const kinds[] = {"frame", "promiscuous", "mirror", "made"};
    std::uint64_t count = 0;
    vssim_delivery const *const deliveries = vssim_deliveries(result_.get(), &count);
    for (std::uint64_t i = 0; i < count; ++i) {
      vssim_delivery const &delivery = deliveries[i];
      lines.push_back(std::to_string(delivery.index) + " " + kinds[delivery.kind] + " " +
                      label(host_, delivery.endpoint) + " " + std::to_string(delivery.length));
    }
    vssim_drop const *const drops = vssim_drops(result_.get(), &count);
    for (std::uint64_t i = 0; i < count; ++i) {
      vssim_drop const &drop = drops[i];
      lines.push_back(std::to_string(drop.index) + " drop " + label(host_, drop.place) +
                      (drop.stage == VSSIM_STAGE_IN ? " in " : " out ") + vssim_reason_name(drop.reason));
    }
    return lines;
  }

  std::vector<std::string> steps() const {
    std::vector<std::string> lines;
    std::uint64_t count = 0;
    vssim_step const *const steps = vssim_steps(result_.get(), &count);
    for (std::uint64_t i = 0; i < count; ++i)
      lines.push_back(std::string(steps[i].rule) + " " + label(host_, steps[i].place) + ": " + steps[i].text);
    return lines;
  }

  std::uint64_t total(int what) const { return vssim_total(result_.get(), what); }
  vssim_result const *get() const { return result_.get(); }

  std::string delivered(std::size_t number) const {
    std::uint64_t count = 0;
    vssim_delivery const *const deliveries = vssim_deliveries(result_.get(), &count);
    EXPECT_LT(number, count);
    return {static_cast<char const *>(deliveries[number].bytes), deliveries[number].length};
  }

 private:
  OwnedHost const &host_;
  std::unique_ptr<vssim_result, FreeResult> result_;
};

inline vssim_frame frame_at(vssim_endpoint endpoint, std::string const &content) {
  return {endpoint, static_cast<std::uint32_t>(content.size()), content.data()};
}

inline Result send(OwnedHost const &host, std::vector<vssim_frame> const &frames, std::uint32_t flags = 0) {
  vssim_result *result = nullptr;
  EXPECT_OK(vssim_send(host.get(), frames.data(), static_cast<std::uint32_t>(frames.size()), flags, &result));
  return {host, result};
}

inline Result send(OwnedHost const &host, vssim_endpoint endpoint, std::string const &content) {
  return send(host, {frame_at(endpoint, content)});
}

inline Result explain(OwnedHost const &host, vssim_endpoint endpoint, std::string const &content) {
  vssim_result *result = nullptr;
  vssim_frame const sent = frame_at(endpoint, content);
  EXPECT_OK(vssim_explain(host.get(), &sent, &result));
  return {host, result};
}

using Lines = std::vector<std::string>;

inline Json taken(char *text) {
  Json json = text ? Json::parse(text) : Json();
  vssim_free(text);
  return json;
}

// The JSON that a function of these kinds hands out.
inline Json asked(int (*function)(vssim_host *, char **), OwnedHost const &host) {
  char *text = nullptr;
  EXPECT_OK(function(host.get(), &text));
  return taken(text);
}

template <typename Argument>
Json asked(int (*function)(vssim_host *, Argument, char **), OwnedHost const &host,
           std::type_identity_t<Argument> argument) {
  char *text = nullptr;
  EXPECT_OK(function(host.get(), argument, &text));
  return taken(text);
}

// A switch with three clients, a and b and c, and one uplink.
inline constexpr char small_host[] = R"({
  "format": 1, "stopped_clock": 1000000,
  "physical_nics": [{"name": "nic0", "mac": "02:00:00:00:00:01"}, {"name": "nic1", "mac": "02:00:00:00:00:02"}],
  "switches": [{"alias": "sw", "switch_id": "id", "uplinks": [{"name": "nic0"}], "ports": [
    {"dvport_id": "a", "client": {"name": "a", "type": "vnic", "mac": "02:00:00:00:01:0a"}},
    {"dvport_id": "b", "client": {"name": "b", "type": "vnic", "mac": "02:00:00:00:01:0b"}},
    {"dvport_id": "c", "client": {"name": "c", "type": "tcpip", "mac": "02:00:00:00:01:0c"}},
    {"dvport_id": "free"}]}]})";

inline constexpr char broadcast[] = "ffffffffffff";
inline constexpr char mac_a[] = "02:00:00:00:01:0a";
inline constexpr char mac_b[] = "02:00:00:00:01:0b";
inline constexpr char mac_c[] = "02:00:00:00:01:0c";

// Each test has a folder of its own for state files; `host` is the small host, in memory.
class SimTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "vswitch-sim-XXXXXX").string();
    ASSERT_NE(nullptr, mkdtemp(pattern.data()));
    folder = pattern;
    unsetenv("VSWITCH_HOST_INIT");
    setenv("VSWITCH_HOST", (folder / "environment.db").c_str(), 1);
    host = open_host_at(nullptr, small_host);
  }
  void TearDown() override {
    host.reset();
    ::host::close_host();
    std::filesystem::remove_all(folder);
  }

  OwnedHost file_host(char const *boot = small_host) const { return open_host_at((folder / "host.db").c_str(), boot); }

  // The port learns from now on.
  void learn_at(char const *dvport_id) const {
    ASSERT_OK(vssim_use(host.get()));
    VSPMACLearning policy{};
    policy.learning = policy.flooding = 1;
    policy.macLimit = 4096;
    EXPECT_EQ(0, VSDVS_SetPortMACLearning("sw", dvport_id, &policy));
    ASSERT_OK(vssim_unuse(host.get()));
  }

  // What is learned in the switch's tables: "02:00:00:00:07:77 a", and how long ago it was seen.
  static Lines learned(OwnedHost const &of) {
    Lines lines;
    for (Json const &entry : asked<char const *>(vssim_mac_table, of, "sw")) {
      if (entry["type"] == "learned")
        lines.push_back(entry["mac"].get<std::string>() + " " + entry["port"].get<std::string>() + " " +
                        std::to_string(entry["elapsed"].get<int>()));
    }
    return lines;
  }

  std::filesystem::path folder;
  OwnedHost host;
};
