// What the target of simulated hosts needs: a host to begin with, calls whose failures are looked at, results, and what
// must hold of them and of the counters.
#pragma once

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <tuple>
#include <utility>

#include "fuzz/use.hpp"
#include "platform/sim/vswitch_sim.h"
#include "tests/forwarding/any_input.hpp"

namespace fuzz {

using forwarding::Packet;

// ---- calls -------------------------------------------------------------------------------------------------------

// Failures say why; none is of the machine.
inline bool succeeds(int status, char const *call) {
  if (status == VSSIM_OK)
    return true;
  if (status < VSSIM_OK || status > VSSIM_FAILED)
    finding(std::string(call) + " gives " + std::to_string(status) + ": " + vssim_error());
  if (*vssim_error() == '\0')
    finding(std::string(call) + " does not say why it fails");
  return false;
}

#define SUCCEEDS(call, ...) fuzz::succeeds(call(__VA_ARGS__), #call)

// For a call that can only succeed.
#define MUST(call, ...)                                             \
  do {                                                              \
    if (!SUCCEEDS(call, __VA_ARGS__))                               \
      fuzz::finding(std::string(#call " fails: ") + vssim_error()); \
  } while (false)

struct CloseSimulated {
  void operator()(vssim_host *simulated) const { vssim_close(simulated); }
};
using OwnedSimulated = std::unique_ptr<vssim_host, CloseSimulated>;

struct FreeResult {
  void operator()(vssim_result *result) const { vssim_result_free(result); }
};
using OwnedResult = std::unique_ptr<vssim_result, FreeResult>;

inline OwnedSimulated fork_of(vssim_host *simulated) {
  vssim_host *copy = nullptr;
  MUST(vssim_fork, simulated, &copy);
  return OwnedSimulated(copy);
}

// What a call of these hands out is JSON, or nothing.
inline std::optional<nlohmann::json> asked(int status, char *text, char const *call) {
  std::unique_ptr<char, void (*)(void *)> const owned(text, vssim_free);
  if (!succeeds(status, call)) {
    if (text)
      finding(std::string(call) + " fails and hands something out");
    return std::nullopt;
  }
  try {
    return nlohmann::json::parse(text);
  } catch (nlohmann::json::exception const &error) {
    finding(std::string(call) + " hands out no JSON: " + error.what());
  }
}

#define ASKED(call, ...)                          \
  [&] {                                           \
    char *text = nullptr;                         \
    int const outcome = call(__VA_ARGS__, &text); \
    return fuzz::asked(outcome, text, #call);     \
  }()

// ---- hosts to begin with -----------------------------------------------------------------------------------------

// A LAG that negotiates with a partner, three kinds of VLAN policies, groups, mirrors, addresses by hand; a switch with
// a fixed LAG, beacons and an uplink without a NIC; a NIC without an uplink.
inline constexpr char simulated_description[] = R"({
  "format": 1, "stopped_clock": 1700000000123456, "mac_learning": {"aging_time": 60, "limit": 40},
  "runtime_options": {"IGMPQueryInterval": 20, "SendIGMPReportToUplink": 1, "TeamPolicyUpDelay": 1500},
  "stacks": {"default": {"vlan": 7, "dscp": 10}, "mirror": {"ttl": 9}},
  "physical_nics": [
    {"name": "nic0", "mac": "02:00:00:00:00:01", "partner": {"fast": true}},
    {"name": "nic1", "mac": "02:00:00:00:00:02", "partner": {"fast": true, "port": 2}},
    {"name": "nic2", "mac": "02:00:00:00:00:03", "link": "down"},
    {"name": "nic3", "mac": "02:00:00:00:00:04", "segment": "x"},
    {"name": "nic4", "mac": "02:00:00:00:00:05", "errors": 3},
    {"name": "nic5", "mac": "02:00:00:00:00:06"}],
  "switches": [
    {"alias": "a", "switch_id": "a-id", "mtu": 1600, "uplinks": [{"name": "nic0"}, {"name": "nic1"}, {"name": "nic2"}],
     "lags": [{"name": "lag", "mode": "active", "fast": true, "members": [{"uplink": "nic0"}, {"uplink": "nic1"}]}],
     "ports": [
      {"dvport_id": "1", "client": {"name": "1", "type": "vnic", "mac": "02:00:00:00:01:01"},
       "mac_learning": {"limit": 3, "at_limit": "drop"}},
      {"dvport_id": "2", "client": {"name": "2", "type": "vnic", "mac": "02:00:00:00:01:02", "promiscuous": true},
       "multicast_groups": [{"address": "239.0.0.1", "sources": ["192.0.2.1"]}, {"address": "ff0e::1"}]},
      {"dvport_id": "3", "client": {"name": "3", "type": "vnic", "mac": "02:00:00:00:01:03"}},
      {"dvport_id": "4", "client": {"name": "4", "type": "tcpip", "mac": "02:00:00:00:01:04", "router": true}},
      {"dvport_id": "5", "client": {"name": "5", "type": "vnic", "mac": "02:00:00:00:01:05",
       "effective_mac": "02:00:00:00:01:07", "multicast_macs": ["01:00:5e:00:01:16"]},
       "user_macs": [{"mac": "02:00:00:00:01:06", "vlan": 10}]},
      {"dvport_id": "6"}],
     "mirror_sessions": [{"session_id": "s", "port": "6", "destinations": ["3"], "sources_in": ["1"],
      "sources_out": ["2"]}]},
    {"alias": "b", "switch_id": "b-id", "uplinks": [{"name": "nic3"}, {"name": "nic4"}, {"name": "bare", "nic": null}],
     "lags": [{"name": "fixed", "hash": "l3+4", "members": [{"uplink": "bare"}, {"uplink": "nic4", "lacp": "down"}]}],
     "ports": [
      {"dvport_id": "1", "client": {"name": "1", "type": "vnic", "mac": "02:00:00:00:01:11"}, "mac_learning": {}},
      {"dvport_id": "2", "client": {"name": "2", "type": "vnic", "mac": "02:00:00:00:01:12"}}]}]})";

inline constexpr char const *simulated_switches[] = {"a", "b"};
inline constexpr char const *simulated_ports[] = {"1", "2", "3", "4", "5", "6", "new"};
inline constexpr char const *simulated_nics[] = {"nic0", "nic1", "nic2", "nic3", "nic4", "nic5"};
inline constexpr char const *simulated_uplinks[] = {"nic0", "nic1", "nic2", "nic3", "nic4", "bare"};

// The same with settings that a description says in bytes only.
inline vssim_host *simulated_home() {
  static OwnedSimulated const home = [] {
    unsetenv("VSWITCH_HOST_INIT");
    setenv("VSWITCH_HOST", ":memory:", 1);
    vssim_host *made = nullptr;
    MUST(vssim_open, nullptr, simulated_description, &made);
    MUST(vssim_use, made);
    qel_HNQPortVIDRange ranges[] = {{1, 10}, {100, 102}};
    VSPvlanMapEntry const private_vlans[] = {{100, 100, VSPORT_PVLAN_TYPE_PROMISC, {}},
                                             {100, 101, VSPORT_PVLAN_TYPE_ISOLATED, {}},
                                             {100, 102, VSPORT_PVLAN_TYPE_COMMUNITY, {}}};
    VSTeamPolicy policy{};
    policy.loadBalance = TEAM_FRP_TYPE_LB_IP;
    policy.linkCriteria = TEAM_FRP_CRIT_LINK_STATE | TEAM_FRP_CRIT_BEACON_STATE;
    policy.flags = TEAM_FRP_FLAG_NOTIFY_SWITCH;
    policy.numActive = 2;
    std::strcpy(policy.uplinkPortName[0], "nic3");
    std::strcpy(policy.uplinkPortName[1], "nic4");
    EXPECT_OK(VSDVS_SetPrivateVLANMap, "a", private_vlans, 3);
    EXPECT_OK(VSDVS_SetPortVLANPolicy, "a", "3", 1, 3, 1, 0, ranges, 2);
    EXPECT_OK(VSDVS_SetPortVLANPolicy, "a", "4", 101, 0, 0, 1, nullptr, 0);
    EXPECT_OK(VSDVS_SetPortNestedVLANTagging, "a", "3", 1);
    EXPECT_OK(VSDVS_SetMcastFilterMode, "a", static_cast<VSMcastFilterMode>(VS_MCAST_FILTER_MODE_SNOOPING));
    EXPECT_OK(VSDVS_SetTeamingPolicy, "b", &policy);
    MUST(vssim_unuse, made);
    return OwnedSimulated(made);
  }();
  return home.get();
}

// ---- parts of inputs -----------------------------------------------------------------------------------------------

template <typename Element, std::size_t count>
Element const &one_of(forwarding::Source &source, Element const (&elements)[count]) {
  return elements[source.byte() % count];
}

inline std::string any_text(forwarding::Source &source) {
  std::string text;
  for (std::uint32_t length = source.below(2048); length > 0 && !source.is_empty(); --length)
    text += static_cast<char>(source.byte());
  return text;
}

// Files of one input, in a folder of the process.
class Files {
 public:
  static Files &get() {
    static Files files;
    return files;
  }
  std::string path(std::string const &name) const { return (folder_ / name).string(); }
  std::string written(std::string const &name, std::string_view content) const {
    std::ofstream(path(name), std::ios::binary) << content;
    return path(name);
  }
  void remove_all() const {
    std::vector<std::filesystem::path> paths;
    for (auto const &entry : std::filesystem::directory_iterator(folder_))
      paths.push_back(entry.path());
    for (std::filesystem::path const &path : paths)
      std::filesystem::remove(path);
  }

 private:
  Files() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vswitch-fuzz-XXXXXX").string();
    if (!mkdtemp(pattern.data()))
      finding("no folder for files");
    folder_ = pattern;
  }
  Files(Files const &) = delete;
  Files &operator=(Files const &) = delete;
  ~Files() { std::filesystem::remove_all(folder_); }

  std::filesystem::path folder_;
};

// ---- results -----------------------------------------------------------------------------------------------------

// Of one delivery or drop, with the name of its endpoint, since other hosts have other numbers.
using Told = std::tuple<std::string, std::uint32_t, std::string>;

inline std::string endpoint_label(vssim_host *simulated, vssim_endpoint endpoint) {
  char const *alias = nullptr;
  char const *name = nullptr;
  MUST(vssim_endpoint_name, simulated, endpoint, &alias, &name);
  return alias ? std::string(alias) + "/" + name : name;
}

struct Lists {
  explicit Lists(vssim_result const *result) {
    std::uint64_t count = 0;
    auto const *const first_delivery = vssim_deliveries(result, &count);
    deliveries = {first_delivery, count};
    auto const *const first_drop = vssim_drops(result, &count);
    drops = {first_drop, count};
  }
  std::span<vssim_delivery const> deliveries;
  std::span<vssim_drop const> drops;
};

inline Packet bytes_of(vssim_delivery const &delivery) {
  auto const *const first = static_cast<std::uint8_t const *>(delivery.bytes);
  return {first, first + delivery.length};
}

// What a result tells, in no order. `own`: of what was sent in only, not of events.
inline void tell(vssim_host *simulated, vssim_result const *result, bool own, std::multiset<Told> &told) {
  constexpr std::uint32_t dropped = 256;
  Lists const lists(result);
  for (vssim_delivery const &delivery : lists.deliveries) {
    Packet const bytes = bytes_of(delivery);
    if (!own || delivery.index >= 0)
      told.emplace(endpoint_label(simulated, delivery.endpoint), delivery.kind,
                   std::string(bytes.begin(), bytes.end()));
  }
  for (vssim_drop const &drop : lists.drops) {
    if (!own || drop.index >= 0)
      told.emplace(endpoint_label(simulated, drop.place), dropped + drop.stage, vssim_reason_name(drop.reason));
  }
}

struct Sent {
  vssim_endpoint endpoint = 0;
  std::optional<Packet> bytes;  // none: nobody knows
};

// Whether the frame entered, so that it is counted.
inline bool has_entered(vssim_drop const &drop) {
  constexpr unsigned last_at_gate = 8;  // "runt"
  return drop.reason > last_at_gate;
}

// P-2 to P-4, V-12 for one frame.
class FrameCheck {
 public:
  explicit FrameCheck(Sent const &sent) : sent_(sent) {}

  void delivered(vssim_delivery const &delivery) {
    if (delivery.kind > VSSIM_MADE || delivery.kind < group_)
      finding("API-7: frames come before copies, and these before what is made");
    group_ = delivery.kind <= VSSIM_PROMISCUOUS ? 0 : delivery.kind;
    if (delivery.kind > VSSIM_PROMISCUOUS)
      return;
    is_told_ = true;
    is_delivered_ |= delivery.kind == VSSIM_FRAME;
    take(delivery.endpoint);
    if (!sent_.bytes)
      return;
    Packet const bytes = bytes_of(delivery);
    Packet const plain = forwarding::without_tag(*sent_.bytes);
    if (bytes != *sent_.bytes && bytes != plain && forwarding::without_tag(bytes) != *sent_.bytes &&
        forwarding::without_tag(bytes) != plain)
      finding("V-12: only the tag changes");
  }
  void dropped(vssim_drop const &drop) {
    is_told_ = true;
    if (!vssim_reason_name(drop.reason) || drop.stage > VSSIM_STAGE_OUT)
      finding("a drop without a reason");
    if (drop.stage == VSSIM_STAGE_OUT) {
      is_delivered_ = true;
      take(drop.place);
    } else if (std::exchange(is_dropped_in_, true) || drop.place != sent_.endpoint) {
      finding("P-2: one drop on the way in, at the endpoint of the frame");
    }
  }
  // Whether it was consumed.
  bool finish() const {
    if (is_dropped_in_ && is_delivered_)
      finding("P-2: a drop on the way in ends the frame");
    return !is_told_;
  }

 private:
  void take(vssim_endpoint endpoint) {
    if (endpoint == sent_.endpoint || !takers_.insert(endpoint).second)
      finding("P-4: nothing comes back, and nobody gets two");
  }

  Sent const &sent_;
  std::set<vssim_endpoint> takers_;
  std::uint32_t group_ = 0;
  bool is_told_ = false;
  bool is_delivered_ = false;
  bool is_dropped_in_ = false;
};

// A result that kept everything tells of each frame what became of it, and its totals are those of its lists. In order,
// unless several transactions made it.
inline void check_result(std::vector<Sent> const &sent, vssim_result const *result, bool is_ordered = true) {
  Lists const lists(result);
  if (vssim_total(result, 0) != sent.size() || vssim_total(result, 1) != lists.deliveries.size() ||
      vssim_total(result, 2) != lists.drops.size() || vssim_total(result, 4) != 0)
    finding("the totals are not those of the lists");
  std::vector<FrameCheck> checks(sent.begin(), sent.end());
  std::int32_t last = -1;
  auto const at = [&](std::int32_t index) {
    if (index < -1 || index >= static_cast<std::int32_t>(sent.size()) || (is_ordered && index < last))
      finding("API-7: events, then by index of the frame");
    last = index;
    return index < 0 ? nullptr : &checks[static_cast<std::size_t>(index)];
  };
  for (vssim_delivery const &delivery : lists.deliveries) {
    if (FrameCheck *const check = at(delivery.index))
      check->delivered(delivery);
    else if (delivery.kind != VSSIM_MADE)
      finding("what happens by itself makes frames only");
  }
  last = -1;
  for (vssim_drop const &drop : lists.drops) {
    if (FrameCheck *const check = at(drop.index))
      check->dropped(drop);
    else
      finding("what happens by itself drops nothing");
  }
  auto const consumed =
      std::count_if(checks.begin(), checks.end(), [](FrameCheck const &check) { return check.finish(); });
  if (vssim_total(result, 3) != static_cast<std::uint64_t>(consumed))
    finding("P-3: a frame is delivered, dropped or consumed");
}

// ---- counters ----------------------------------------------------------------------------------------------------

struct Counted {
  std::uint64_t in = 0, in_bytes = 0, in_dropped = 0, out = 0, out_bytes = 0, out_dropped = 0;
  bool operator==(Counted const &) const = default;
};

// None of a NIC that is behind no uplink.
inline std::optional<Counted> counters_at(vssim_host *simulated, vssim_endpoint endpoint) {
  std::optional<nlohmann::json> const json = ASKED(vssim_counters, simulated, endpoint);
  if (!json)
    return std::nullopt;
  auto const sum = [&](std::string const &of) {
    std::uint64_t all = 0;
    for (char const *const kind : {"Unicast", "Multicast", "Broadcast"})
      all += json->at(of + kind).get<std::uint64_t>();
    return all;
  };
  return Counted{sum("pktsIn"),  sum("bytesIn"),  json->at("pktsInDropped").get<std::uint64_t>(),
                 sum("pktsOut"), sum("bytesOut"), json->at("pktsOutDropped").get<std::uint64_t>()};
}

// Counts what results show, and compares it with what the host counts.
class Ledger {
 public:
  // What comes next is counted from here on, unless it was already.
  void open(vssim_host *simulated, std::vector<vssim_endpoint> const &endpoints) {
    if (is_open_)
      return;
    is_open_ = true;
    expected_.clear();
    for (vssim_endpoint const endpoint : endpoints) {
      if (std::optional<Counted> const counted = counters_at(simulated, endpoint))
        expected_.emplace(endpoint, *counted);
    }
  }
  void add(std::vector<Sent> const &sent, vssim_result const *result) {
    Lists const lists(result);
    std::set<std::int32_t> kept_out;
    for (vssim_drop const &drop : lists.drops) {
      Counted &at = expected_[drop.place];
      ++(drop.stage == VSSIM_STAGE_IN ? at.in_dropped : at.out_dropped);
      if (drop.stage == VSSIM_STAGE_IN && !has_entered(drop))
        kept_out.insert(drop.index);
    }
    for (vssim_delivery const &delivery : lists.deliveries) {
      ++expected_[delivery.endpoint].out;
      expected_[delivery.endpoint].out_bytes += delivery.length;
    }
    for (std::size_t i = 0; i < sent.size(); ++i) {
      if (kept_out.count(static_cast<std::int32_t>(i)))
        continue;
      ++expected_[sent[i].endpoint].in;
      expected_[sent[i].endpoint].in_bytes += sent[i].bytes->size();
    }
  }
  // The counters are what the results have shown.
  void close(vssim_host *simulated, std::vector<vssim_endpoint> const &endpoints) {
    if (!std::exchange(is_open_, false))
      return;
    for (vssim_endpoint const endpoint : endpoints) {
      std::optional<Counted> const counted = counters_at(simulated, endpoint);
      if (counted && *counted != expected_[endpoint])
        finding("C-2 to C-5: the counters of " + endpoint_label(simulated, endpoint) + " are not what results showed");
    }
  }
  void forget() { is_open_ = false; }

 private:
  bool is_open_ = false;
  std::map<vssim_endpoint, Counted> expected_;
};

}  // namespace fuzz
