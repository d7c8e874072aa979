// Frames through simulated hosts: the operations of their C interface in any order, with settings that change in
// between, other hosts of the same state, captures and files of anybody's.
#include <deque>

#include "fuzz/simulated.hpp"
#include "fuzz/simulated_settings.hpp"
#include "platform/core/clock.hpp"

using namespace fuzz;
using namespace std::string_literals;

namespace {

using forwarding::Source;

constexpr std::size_t most_operations = 64;
constexpr std::size_t most_kept = 8;
constexpr std::int64_t a_second = 1000000;

class Run {
 public:
  explicit Run(std::string_view input) : in_(input), settings_(in_) {}

  void go() {
    if (!begin())
      return;
    vssim_host *used = at_.get();
    MUST(vssim_use, used);
    find_endpoints();
    for (std::size_t i = 0; i < most_operations && !in_.is_empty(); ++i) {
      operate();
      // Another host may go on in its place.
      if (used != at_.get()) {
        MUST(vssim_use, at_.get());
        MUST(vssim_unuse, used);
        used = at_.get();
        left_.reset();
        find_endpoints();
      }
    }
    ledger_.close(at_.get(), ends_);
    close_captures();
    ask();
    be_copied();
    MUST(vssim_unuse, used);
  }

 private:
  // ---- parts of operations ------------------------------------------------------------------------------------------

  vssim_endpoint end() {
    std::uint8_t const which = in_.byte();
    constexpr std::uint8_t any_number = 250;
    return which >= any_number || ends_.empty() ? which - any_number / 2U : ends_[which % ends_.size()];
  }

  Packet frame() {
    switch (in_.byte() % 8) {
      case 0: {
        std::string const bytes = any_text(in_);
        return {bytes.begin(), bytes.end()};
      }
      case 1: return any_group_message(in_);
      // What has come out goes in once more: beacons, LACPDUs, queries and copies among it.
      case 2:
      case 3:
        if (!kept_.empty())
          return kept_[in_.byte() % kept_.size()];
        [[fallthrough]];
      default: return any_packet(in_);
    }
  }

  // A refused call has changed nothing.
  bool changes(int status, std::uint32_t before, char const *call) {
    if (succeeds(status, call))
      return true;
    if (version() != before)
      finding(std::string(call) + " fails and has changed the state: " + vssim_error());
    return false;
  }
#define CHANGES(call, ...) \
  [&](std::uint32_t unchanged) { return changes(call(__VA_ARGS__), unchanged, #call); }(version())

  static std::uint32_t version() {
    host::HostLock lock;
    return host::open_host().data_version();
  }

  bool clock_stands() const {
    std::int64_t now = 0;
    int stopped = 0;
    MUST(vssim_now, at_.get(), &now, &stopped);
    return stopped != 0;
  }

  // What is not in results is counted by nobody here.
  void settle() {
    ledger_.close(at_.get(), ends_);
  }

  // ---- hosts --------------------------------------------------------------------------------------------------------

  bool begin() {
    vssim_host *made = nullptr;
    std::uint8_t const how = in_.byte();
    is_copied_ = (how & 0x40) != 0;
    switch (how % 8) {
      case 0: {
        std::string const description = any_text(in_);
        static_cast<void>(SUCCEEDS(vssim_open, nullptr, description.c_str(), &made));
        is_described_ = true;
        break;
      }
      case 1: {
        std::string const path = Files::get().path("state.db");
        MUST(vssim_snapshot, simulated_home(), path.c_str(), 0);
        MUST(vssim_open, path.c_str(), nullptr, &made);
        break;
      }
      default: made = fork_of(simulated_home()).release();
    }
    at_.reset(made);
    return made != nullptr;
  }

  // What the host says that it has, and what it may have.
  void find_endpoints() {
    ends_.clear();
    auto const add = [&](vssim_endpoint endpoint) {
      if (std::find(ends_.begin(), ends_.end(), endpoint) == ends_.end())
        ends_.push_back(endpoint);
    };
    vssim_endpoint endpoint = 0;
    nlohmann::json const names = ASKED(vssim_endpoints, at_.get()).value();
    for (nlohmann::json const &name : names) {
      if (name.is_string()) {
        MUST(vssim_nic, at_.get(), name.get<std::string>().c_str(), &endpoint);
      } else {
        MUST(vssim_port, at_.get(), name.at(0).get<std::string>().c_str(), name.at(1).get<std::string>().c_str(),
             &endpoint);
      }
      add(endpoint);
    }
    for (char const *const alias : simulated_switches) {
      for (char const *const dvport : simulated_ports) {
        if (SUCCEEDS(vssim_port, at_.get(), alias, dvport, &endpoint))
          add(endpoint);
        else if (endpoint != 0)
          finding("no such port, but a number for it");
      }
    }
  }

  // ---- frames -------------------------------------------------------------------------------------------------------

  void keep_frames(vssim_result const *result) {
    for (vssim_delivery const &delivery : Lists(result).deliveries) {
      if (delivery.kind != VSSIM_FRAME || kept_.empty())
        kept_.push_back(bytes_of(delivery));
      if (kept_.size() > most_kept)
        kept_.pop_front();
    }
  }

  // One that fails tells of no frame, and has sent none: its endpoint is none to send to.
  OwnedResult sent(int status, vssim_result *result, std::uint32_t before, char const *call) {
    OwnedResult owned(result);
    if (changes(status, before, call))
      return owned;
    if (status == VSSIM_FAILED || owned)
      finding(std::string(call) + " fails: " + vssim_error());
    return nullptr;
  }
#define SENT(call, ...)                                 \
  [&](std::uint32_t unchanged) {                        \
    vssim_result *handed_out = nullptr;                 \
    int const outcome = call(__VA_ARGS__, &handed_out); \
    return sent(outcome, handed_out, unchanged, #call); \
  }(version())

  void send() {
    std::uint8_t const flags = in_.byte();
    std::vector<Sent> sending(1 + flags % 4U);
    std::vector<vssim_frame> frames;
    for (Sent &one : sending) {
      one = {end(), frame()};
      frames.push_back({one.endpoint, static_cast<std::uint32_t>(one.bytes->size()), one.bytes->data()});
    }
    bool const count_only = (flags & 0x18) == 0x18;
    OwnedSimulated const twin = (flags & 0x20) != 0 && clock_stands() ? fork_of(at_.get()) : nullptr;
    OwnedResult const explained = (flags & 0x40) != 0 && clock_stands() ? explain(frames[0]) : nullptr;
    ledger_.open(at_.get(), ends_);
    OwnedResult const result = SENT(vssim_send, at_.get(), frames.data(), static_cast<std::uint32_t>(frames.size()),
                                    count_only ? std::uint32_t{VSSIM_COUNT_ONLY} : 0);
    if (!result)
      return;
    if (count_only) {
      ledger_.forget();
      if (vssim_total(result.get(), 0) != frames.size() || !Lists(result.get()).deliveries.empty())
        finding("VSSIM_COUNT_ONLY keeps something");
      return;
    }
    check_result(sending, result.get());
    ledger_.add(sending, result.get());
    if (explained && frames.size() == 1)
      compare_explanation(explained.get(), result.get());
    if (twin)
      compare_twin(*twin, sending, result.get());
    keep_frames(result.get());
  }

  OwnedResult explain(vssim_frame const &frame) {
    std::uint32_t const before = version();
    OwnedResult result = SENT(vssim_explain, at_.get(), &frame);
    if (version() != before)
      finding("an explanation changes the state");
    return result;
  }

  void compare_explanation(vssim_result const *explained, vssim_result const *result) const {
    std::multiset<Told> expected;
    std::multiset<Told> told;
    tell(at_.get(), result, true, expected);
    tell(at_.get(), explained, true, told);
    std::uint64_t count = 0;
    vssim_step const *const steps = vssim_steps(explained, &count);
    for (std::uint64_t i = 0; i < count; ++i) {
      if (!vssim_rule_text(steps[i].rule) || steps[i].outcome > 3)
        finding("a step of no rule");
    }
    if (told != expected || count == 0 || vssim_total(explained, 3) != vssim_total(result, 3))
      finding("API-8: an explanation tells what happens");
  }

  // The same frames one by one at a host of the same state. What they make due is made to happen at both.
  void compare_twin(vssim_host &twin, std::vector<Sent> const &sending, vssim_result const *result) {
    std::multiset<Told> expected;
    std::multiset<Told> told;
    tell(at_.get(), result, false, expected);
    OwnedResult const rest = SENT(vssim_send, at_.get(), nullptr, 0, 0);
    ledger_.add({}, rest.get());
    tell(at_.get(), rest.get(), false, expected);
    for (std::size_t i = 0; i <= sending.size(); ++i) {
      vssim_frame one{};
      if (i < sending.size())
        one = {number_at(twin, sending[i].endpoint), static_cast<std::uint32_t>(sending[i].bytes->size()),
               sending[i].bytes->data()};
      vssim_result *single = nullptr;
      MUST(vssim_send, &twin, &one, i < sending.size(), 0, &single);
      OwnedResult const owned(single);
      tell(&twin, single, false, told);
    }
    if (told != expected)
      finding("a batch is not what its frames are, one by one, at a fork");
    if (exported(&twin) != exported(at_.get()))
      finding("a fork that got the same is another host now");
  }

  // The number at another host of an endpoint of this one.
  vssim_endpoint number_at(vssim_host &other, vssim_endpoint endpoint) const {
    char const *alias = nullptr;
    char const *name = nullptr;
    MUST(vssim_endpoint_name, at_.get(), endpoint, &alias, &name);
    vssim_endpoint number = 0;
    if (alias)
      MUST(vssim_port, &other, alias, name, &number);
    else
      MUST(vssim_nic, &other, name, &number);
    return number;
  }

  static std::string exported(vssim_host *simulated) {
    MUST(vssim_use, simulated);
    std::string description = exported_description().dump(-1, ' ', false, tool::Json::error_handler_t::replace);
    MUST(vssim_unuse, simulated);
    return description;
  }

  void advance() {
    constexpr std::int64_t too_far[] = {-1, 3'200'000'000'000'001, INT64_MAX};
    std::int64_t const step = in_.one_in(16) ? one_of(in_, too_far) : in_.below(65536) * std::int64_t{1000};
    std::int64_t now = 0;
    MUST(vssim_now, at_.get(), &now, nullptr);
    bool const may_fail = !clock_stands() || step < 0 || step > 3'200'000'000'000'000 || now > host::latest_time - step;
    ledger_.open(at_.get(), ends_);
    std::uint32_t const before = version();
    vssim_result *result = nullptr;
    int const status = vssim_advance(at_.get(), step, &result);
    OwnedResult const owned(result);
    if (changes(status, before, "vssim_advance") == may_fail)
      finding("a clock that stands is advanced, by 0 to 3.2e9 seconds");
    if (!owned)
      return;
    check_result({}, result);
    ledger_.add({}, result);
    keep_frames(result);
  }

  void set_clock() {
    settle();
    std::int64_t now = 0;
    MUST(vssim_now, at_.get(), &now, nullptr);
    switch (in_.byte() % 4) {
      case 0: MUST(vssim_run_clock, at_.get()); break;
      case 1: MUST(vssim_stop_clock, at_.get(), -1); break;
      case 2: MUST(vssim_stop_clock, at_.get(), std::max<std::int64_t>(0, now - in_.below(65536) * a_second)); break;
      default:
        MUST(vssim_stop_clock, at_.get(),
             std::min(now, host::latest_time - a_second * 100) + in_.below(100) * a_second);
    }
  }

  // ---- files --------------------------------------------------------------------------------------------------------

  // Of anybody's bytes, or, where times move the clock, of frames that follow one another soon.
  void replay() {
    bool const with_timing = in_.one_in(2);
    vssim_endpoint const endpoint = end();
    std::string const path = Files::get().written("replayed", with_timing ? packet_file() : any_text(in_));
    ledger_.forget();
    std::uint32_t const before = version();
    vssim_result *result = nullptr;
    int const status = vssim_replay(at_.get(), endpoint, path.c_str(), with_timing, &result);
    OwnedResult const owned(result);
    if (!changes(status, before, "vssim_replay"))
      return;
    std::vector<Sent> const replayed(vssim_total(result, 0), {endpoint, std::nullopt});
    check_result(replayed, result, !with_timing);
    keep_frames(result);
  }

  std::string packet_file() {
    std::string file = "\xd4\xc3\xb2\xa1\2\0\4\0\0\0\0\0\0\0\0\0\0\0\4\0\1\0\0\0"s;
    auto const put = [&](std::uint32_t number) { file.append(reinterpret_cast<char const *>(&number), sizeof number); };
    std::uint32_t seconds = 0;
    for (std::uint32_t count = 1 + in_.byte() % 4U; count > 0; --count) {
      Packet const bytes = frame();
      put(seconds += in_.byte() % 40U);
      put(in_.below(65536));
      put(static_cast<std::uint32_t>(bytes.size()));
      put(0);
      file.append(bytes.begin(), bytes.end());
    }
    return file;
  }

  struct Capture {
    std::string path;
    vssim_capture *capture;
  };

  // A capture is a file that can be replayed, with as many frames.
  void close_capture(Capture const &capture) const {
    std::uint64_t const frames = vssim_capture_frames(capture.capture);
    MUST(vssim_capture_close, capture.capture);
    OwnedSimulated const other = fork_of(simulated_home());
    vssim_endpoint nic = 0;
    MUST(vssim_nic, other.get(), "nic5", &nic);
    vssim_result *result = nullptr;
    MUST(vssim_replay, other.get(), nic, capture.path.c_str(), 0, &result);
    OwnedResult const owned(result);
    if (vssim_total(result, 0) != frames)
      finding("API-11: a capture has another number of frames than it says");
  }
  void close_captures() {
    for (Capture const &capture : std::exchange(captures_, {}))
      close_capture(capture);
  }

  void capture() {
    if (in_.one_in(3) && !captures_.empty()) {
      close_capture(captures_.back());
      captures_.pop_back();
      return;
    }
    vssim_endpoint const endpoint = end();
    std::string const path = Files::get().path("capture-" + std::to_string(captures_made_++));
    int const directions = in_.byte() % 5;
    vssim_capture *made = nullptr;
    if (SUCCEEDS(vssim_capture_open, at_.get(), endpoint, path.c_str(), directions, in_.byte(), &made))
      captures_.push_back({path, made});
    else if (made || std::filesystem::exists(path))
      finding("a capture that is refused leaves a file");
  }

  void trace() {
    std::string const path = Files::get().path("trace");
    MUST(vssim_trace, at_.get(), in_.one_in(2) ? path.c_str() : nullptr);
  }

  // ---- arguments in JSON --------------------------------------------------------------------------------------------

  void tell_in_json() {
    settle();
    std::uint8_t const kind = in_.byte() % 5;
    vssim_endpoint const endpoint = end();
    std::string const json = any_text(in_);
    switch (kind) {
      case 0:
        if (CHANGES(vssim_connect, at_.get(), endpoint, json.c_str()) && !ASKED(vssim_client, at_.get(), endpoint))
          finding("a client that was connected is not there");
        break;
      case 1:
        if (CHANGES(vssim_set_client, at_.get(), endpoint, json.c_str()))
          set_client_again(endpoint);
        break;
      case 2: static_cast<void>(CHANGES(vssim_set_nic, at_.get(), endpoint, json.c_str())); break;
      case 3:
        static_cast<void>(CHANGES(vssim_set_partner, at_.get(), endpoint, in_.one_in(4) ? nullptr : json.c_str()));
        break;
      default: make_fault(json);
    }
  }

  // What is told of a client can be set, and changes nothing then.
  void set_client_again(vssim_endpoint endpoint) {
    nlohmann::json const client = ASKED(vssim_client, at_.get(), endpoint).value();
    nlohmann::json change;
    for (char const *const member : {"mac", "promiscuous", "link", "multicast_macs"})
      change[member] = client.at(member);
    // What is assigned may be any address.
    if (client.at("mac") == client.at("assigned_mac"))
      change["mac"] = nullptr;
    // A description may have groups that no call takes.
    if (!is_described_)
      change["groups"] = client.at("groups");
    MUST(vssim_set_client, at_.get(), endpoint, change.dump().c_str());
    if (ASKED(vssim_client, at_.get(), endpoint) != client)
      finding("a client that is set as it is becomes another one");
  }

  // It goes before it is met.
  void make_fault(std::string const &json) {
    std::int64_t number = 0;
    if (!CHANGES(vssim_fault, at_.get(), json.c_str(), &number))
      return;
    nlohmann::json const faults = ASKED(vssim_faults, at_.get()).value();
    if (faults.size() != 1 || faults[0].at("number") != number)
      finding("a fault that was made is not there");
    MUST(vssim_clear_fault, at_.get(), in_.one_in(2) ? number : 0);
    if (SUCCEEDS(vssim_clear_fault, at_.get(), number))
      finding("a fault that is gone can be cleared");
  }

  // ---- settings -----------------------------------------------------------------------------------------------------

  // Ports and uplinks that come and go, links, blocks, addresses by hand.
  void change_something() {
    char const *const alias = one_of(in_, simulated_switches);
    char const *const dvport = one_of(in_, simulated_ports);
    char const *const uplink = one_of(in_, simulated_uplinks);
    switch (in_.byte() % 10) {
      case 0: EXPECT_DOCUMENTED(VSDVS_AddDVPort, alias, "new", 0); break;
      case 1: EXPECT_DOCUMENTED(VSDVS_RemoveDVPort, alias, dvport); break;
      case 2: EXPECT_DOCUMENTED(VSDVS_AddSwitchUplinkPort, alias, uplink); break;
      case 3: EXPECT_DOCUMENTED(VSDVS_RemoveSwitchUplinkPort, alias, uplink); break;
      case 4: {
        auto const state = static_cast<qel_LinkState>(in_.one_in(2) ? QEL_LINK_STATE_DOWN : QEL_LINK_STATE_UP);
        EXPECT_DOCUMENTED(VSQEL_SetUplinkAdminLinkState, alias, uplink, state);
        break;
      }
      case 5: {
        std::uint8_t const number = in_.byte();
        EXPECT_DOCUMENTED(VSQEL_RTMPortOp, in_.byte() % 4, number % 16, as_bool(number & 16U));
        break;
      }
      case 6:
      case 7: {
        VSMACEntry entry{{2, 0, 0, 0, 1, in_.byte()}, {}, 0, 0, forwarding::AnyHost::vlan(in_), 0, 0, 0};
        entry.macAddrType = static_cast<VSMACAddrType>(VS_MAC_ADDR_TYPE_USER);
        if (in_.one_in(2))
          EXPECT_DOCUMENTED(VSQEL_SetPortMACTable, alias, dvport, &entry);
        else
          EXPECT_DOCUMENTED(VSQEL_ClearPortMACTable, alias, dvport, in_.one_in(2) ? nullptr : &entry);
        break;
      }
      case 8:
        if (CHANGES(vssim_disconnect, at_.get(), end()))
          find_endpoints();
        break;
      default: EXPECT_DOCUMENTED(DVSQEL_PortRemove, alias, dvport);
    }
    find_endpoints();
  }

  // ---- whole states -------------------------------------------------------------------------------------------------

  void begin_anew() {
    close_captures();
    switch (in_.byte() % 5) {
      case 0: MUST(vssim_boot, at_.get()); break;
      case 1: MUST(vssim_reset, at_.get()); break;
      case 2: image_ = state(); break;
      case 3:
        if (!image_.empty())
          EXPECT_DOCUMENTED(DVSQEL_StateInit, image_.data(), static_cast<int>(image_.size()));
        break;
      default: left_ = std::move(at_); at_ = fork_of(left_.get());
    }
    find_endpoints();
  }

  // Whatever has been set, the host sends, and answers.
  void ask() {
    MUST(vssim_send, at_.get(), nullptr, 0, 0, nullptr);
    for (vssim_endpoint const endpoint : ends_) {
      static_cast<void>(ASKED(vssim_counters, at_.get(), endpoint));
      static_cast<void>(ASKED(vssim_client, at_.get(), endpoint));
      static_cast<void>(ASKED(vssim_lacp, at_.get(), endpoint));
    }
    for (char const *const alias : simulated_switches)
      static_cast<void>(ASKED(vssim_mac_table, at_.get(), alias));
  }

  // Copies in memory and in a file are the same host.
  void be_copied() {
    if (!is_copied_ || !clock_stands())
      return;
    std::string const own = exported(at_.get());
    if (exported(fork_of(at_.get()).get()) != own)
      finding("D-5: a fork is another host");
    std::string const path = Files::get().path("snapshot.db");
    MUST(vssim_snapshot, at_.get(), path.c_str(), 1);
    vssim_host *made = nullptr;
    MUST(vssim_open, path.c_str(), nullptr, &made);
    OwnedSimulated const snapshot(made);
    if (exported(made) != own)
      finding("D-5: a snapshot is another host");
    MUST(vssim_send, made, nullptr, 0, 0, nullptr);
  }

  void operate() {
    std::uint8_t const kind = in_.byte() % 20;
    if (kind > 4)
      settle();
    switch (kind) {
      case 0:
      case 1:
      case 2: send(); break;
      case 3:
      case 4: advance(); break;
      case 5: set_clock(); break;
      case 6:
      case 7: replay(); break;
      case 8: capture(); break;
      case 9:
      case 10: tell_in_json(); break;
      case 11:
      case 12: settings_.set_value(); break;
      case 13: settings_.set_vlan(); break;
      case 14: settings_.set_team(); break;
      case 15: settings_.set_mirror(); break;
      case 16: settings_.set_options(); break;
      case 17: change_something(); break;
      case 18: begin_anew(); break;
      default: trace();
    }
  }

  Source in_;
  AnySetting settings_;
  OwnedSimulated left_;
  OwnedSimulated at_;
  bool is_described_ = false;
  bool is_copied_ = false;
  std::vector<vssim_endpoint> ends_;
  Ledger ledger_;
  std::deque<Packet> kept_;
  std::vector<Capture> captures_;
  int captures_made_ = 0;
  std::string image_;
};

}  // namespace

READER(simulation) {
  Run(input).go();
  Files::get().remove_all();
}
