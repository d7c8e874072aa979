// What the fuzz targets share: a host in memory that is the same for every input, and what must hold after each call.
// A reader is a function over any bytes; a program gives it inputs (main.cpp, tests/host/corpus_test.cpp).
#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "interface/distributed_switch_configuration.h"
#include "interface/distributed_switch_state.h"
#include "interface/switch_queries.h"
#include "platform/core/constants.hpp"
#include "platform/core/host.hpp"
#include "platform/tool/supported_calls.hpp"

namespace fuzz {

using namespace host;

struct Reader {
  char const *name;
  void (*read)(std::string_view input);
};

inline std::vector<Reader> &readers() {
  static std::vector<Reader> all;
  return all;
}

struct Registration {
  explicit Registration(Reader reader) { readers().push_back(reader); }
};

#define READER(name)                                                     \
  static void name(std::string_view input);                              \
  static fuzz::Registration const registration_of_##name({#name, name}); \
  static void name(std::string_view input)

[[noreturn]] inline void finding(std::string const &text) {
  throw std::logic_error(text);
}

inline std::string status_name(int status) {
  char const *const name = QEL_ReturnStatusToString(static_cast<QEL_ReturnStatus>(status));
  return name ? name : std::to_string(status);
}

// The documented statuses of a call.
inline std::set<std::string> const &documented(std::string const &call) {
  static auto const all = [] {
    std::map<std::string, std::set<std::string>> statuses;
    for (tool::SupportedCall const &supported : tool::supported_calls(tool::host_documentation())) {
      std::set<std::string> &own = statuses[supported.name];
      own.insert(supported.statuses.begin(), supported.statuses.end());
      own.insert({"QEL_OK", "QEL_BAD_PARAM", "QEL_NAME_TOO_LONG", "QEL_INVALID_NAME", "QEL_NOT_FOUND"});
    }
    // A change of any property is refused with the status of its typed call.
    std::set<std::string> any;
    for (auto const &[name, own] : statuses)
      any.insert(own.begin(), own.end());
    any.insert({"QEL_INVALID_METADATA", "QEL_CHECKSUM_MISMATCH"});
    for (char const *of_values :
         {"DVSQEL_StateInit", "DVSState_ConfigDeserialize", "DVSQEL_PortAdd", "VSDVS_SetGlobProp", "VSDVS_SetPortProp",
          "VSDVS_ClearGlobProp", "VSDVS_ClearPortProp"})
      statuses[of_values] = any;
    return statuses;
  }();
  return all.at(call);
}

inline std::string state() {
  void *image = nullptr;
  int length = 0;
  if (DVSQEL_StateGet(&image, &length) != QEL_OK)
    finding("no image of the state can be taken");
  std::string bytes(static_cast<char const *>(image), static_cast<std::size_t>(length));
  DVSQEL_DataFree(image);
  return bytes;
}

inline constexpr char switch_alias[] = "workload";
inline constexpr char dvport_id[] = "100";

// The state that each input finds.
class Home {
 public:
  static Home &get() {
    static Home home;
    return home;
  }

  // What a refused call must leave.
  std::string const &image() const { return is_changed_ ? changed_image_ : image_; }

  // For inputs that need another start: until return_to().
  template <typename Change>
  void change(Change &&change) {
    change();
    changed_image_ = state();
    is_changed_ = true;
  }
  bool is_changed() const { return is_changed_; }

  void return_to() {
    host::HostLock lock;
    saved_.copy_to(host::open_host());
    is_changed_ = false;
  }

  static std::uint32_t version() {
    get();  // before it is there, the host is that of the environment
    host::HostLock lock;
    return host::open_host().data_version();
  }

 private:
  Home() : saved_(":memory:", host::Database::Mode::memory) {
    host::close_host();
    setenv("VSWITCH_HOST", ":memory:", 1);
    unsetenv("VSWITCH_HOST_INIT");
    prepare();
    image_ = state();
    host::HostLock lock;
    host::open_host().copy_to(saved_);
  }

  // What the built-in description does not have, and readers treat in ways of their own.
  static void prepare();

  host::Database saved_;
  std::string image_;
  std::string changed_image_;
  bool is_changed_ = false;
};

inline void expect_sound_state() {
  std::string const image = state();
  std::string copy = image;
  int const status = DVSQEL_StateInit(copy.data(), static_cast<int>(copy.size()));
  if (status != QEL_OK)
    finding("the state refuses its own image: " + status_name(status));
  if (state() != image)
    finding("the state is another one after its own image was read");
}

inline void expect_documented(char const *call, int status) {
  if (!documented(call).count(status_name(status)))
    finding(std::string(call) + " gives " + status_name(status));
}

// Makes one call on the home state, and brings that back. The status is a documented one; a refused call has changed
// nothing; one that succeeded has left a state that can be read.
template <typename Call>
void make_call(char const *name, Call &&call) {
  Home &home = Home::get();
  std::uint32_t const before = Home::version();
  int const status = call();
  expect_documented(name, status);
  if (status == QEL_OK) {
    expect_sound_state();
  } else if (Home::version() != before && state() != home.image()) {
    finding(std::string(name) + " refuses with " + status_name(status) + " and has changed the state");
  }
  if (Home::version() != before || home.is_changed())
    home.return_to();
}

// ---- taking inputs apart -------------------------------------------------------------------------------

inline unsigned take_byte(std::string_view &input) {
  unsigned const byte = input.empty() ? 0 : static_cast<unsigned char>(input.front());
  input.remove_prefix(input.empty() ? 0 : 1);
  return byte;
}

inline int take_signed_byte(std::string_view &input) {
  int const byte = static_cast<int>(take_byte(input));
  return byte < 128 ? byte : byte - 256;
}

inline qel_Bool as_bool(unsigned bits) {
  return bits != 0 ? 1 : 0;
}

// Memory of exactly that size, so that a read beyond it is found. What the input lacks is zero.
inline std::vector<char> memory(std::string_view input, std::size_t size) {
  std::vector<char> bytes(size);
  std::copy_n(input.begin(), std::min(size, input.size()), bytes.begin());
  return bytes;
}

template <typename Record>
Record record(std::string_view input) {
  Record result{};
  std::copy_n(input.begin(), std::min(sizeof result, input.size()), reinterpret_cast<char *>(&result));
  return result;
}

inline int size_of(std::vector<char> const &bytes) {
  return static_cast<int>(bytes.size());
}

// As many elements as a record counts; where that is too many, nothing behind the count may be read.
inline std::size_t counted(std::uint64_t count, std::uint64_t most, std::size_t header, std::size_t element) {
  return header + (count <= most ? static_cast<std::size_t>(count) * element : 0);
}

inline void Home::prepare() {
  VSExtraEthFilter promiscuous{};
  promiscuous.flags = QEL_ETH_FILTER_PROMISC;
  VSPvlanMapEntry const private_vlans[] = {{10, 10, VSPORT_PVLAN_TYPE_PROMISC, {}},
                                           {10, 11, VSPORT_PVLAN_TYPE_ISOLATED, {}}};
  for (int const status : {
           VSDVS_SetExtraEthFilter(switch_alias, "102", &promiscuous),
           VSDVS_SetPrivateVLANMap(switch_alias, private_vlans, 2),
           VSDVS_SetGlobProp(switch_alias, "volatile", "1", 1, "", 0),
           VSDVS_SetPortProp(switch_alias, "101", "volatile", "2", 1, "owner", 0),
           // Switches without clients, which may go: one that a boot keeps, and one that it does not.
           VSDVS_CreateVSwitch("spare", "spare-id", nullptr, 8, 1, 1500, 0, 0),
           VSDVS_AddSwitchUplinkPort("spare", "nic4"),
           VSDVS_AddOpaqueDVPort("spare", "1", "external"),
           DVSQEL_SwitchAdd("passing", "passing-id", 8, static_cast<HNQVersion>(DVS_VERSION_70)),
           // A client is connected to it, so that it stays as a zombie.
           DVSQEL_PortRemove("management", "1"),
       }) {
    if (status != QEL_OK)
      finding("the home state cannot be made: " + status_name(status));
  }
}

}  // namespace fuzz
