// What the tests share that show, function by function, that its answer follows state: calls and what they return.
#pragma once

#include <nlohmann/json.hpp>
#include <tuple>
#include <utility>

#include "follows_values.hpp"
#include "platform/core/handed_out.hpp"
#include "platform/core/memory.hpp"

// Has a test for each function, which has the function's name: it makes the call, something else changes the state (a
// call in another process, the tool, a boot), and the function, or what it wrote, is seen to follow.
class Follows : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    setenv("VSWITCH_HOST_TRACE", trace_file().c_str(), 1);
    // Boots the host, which the tool wants to be there. The handles of this process are into that of another test.
    ASSERT_STATUS(QEL_OK, DVSQEL_StateCleanup());
  }

  // A test that does not bring the function after which it is named to success shows nothing.
  void TearDown() override {
    close_host();
    unsetenv("VSWITCH_HOST_TRACE");
    std::string const function = testing::UnitTest::GetInstance()->current_test_info()->name();
    EXPECT_TRUE(function == "QEL_ReturnStatusToString" || has_succeeded(function)) << function;
    HostTest::TearDown();
  }

  std::filesystem::path trace_file() const { return folder / "trace"; }

  // Runs the tool on this test's host.
  static void tool(std::string const &arguments) {
    EXPECT_EQ(0, std::system((std::string(HOST_TOOL) + " " + arguments + " > /dev/null").c_str())) << arguments;
  }

 private:
  bool has_succeeded(std::string const &function) const {
    std::istringstream text(read_file(trace_file()));
    for (std::string line; std::getline(text, line);) {
      nlohmann::json const call = nlohmann::json::parse(line);
      if (call.value("call", "") == function && (call.value("status", "") == "QEL_OK" || call.value("released", false)))
        return true;
    }
    return false;
  }
};

// Calls with arguments of other kinds than the function's own, as numbers for enumerations.
template <typename... P, typename... A>
int call(int (*function)(P...), A... arguments) {
  return function(static_cast<P>(arguments)...);
}

struct ReleaseRecord {
  void operator()(void *record) const { VSQEL_FreeMemory(record); }
};

namespace detail {

template <typename... P, std::size_t... I, typename... A>
auto answer(int (*function)(P...), std::index_sequence<I...>, A... arguments) {
  using Parameters = std::tuple<P...>;
  std::remove_pointer_t<std::tuple_element_t<sizeof...(I), Parameters>> value;
  std::memset(&value, 0x5a, sizeof value);
  int const status = function(static_cast<std::tuple_element_t<I, Parameters>>(arguments)..., &value);
  EXPECT_STATUS(QEL_OK, status);
  if constexpr (std::is_pointer_v<decltype(value)>)
    return std::unique_ptr<std::remove_pointer_t<decltype(value)>, ReleaseRecord>(status == QEL_OK ? value : nullptr);
  else
    return value;
}

}  // namespace detail

// What a function stores where its last argument points: a value, or a new record.
template <typename... P, typename... A>
auto answer(int (*function)(P...), A... arguments) {
  static_assert(sizeof...(P) == sizeof...(A) + 1);
  return detail::answer(function, std::index_sequence_for<A...>(), arguments...);
}

// The same for a text, for which there is enough room.
template <typename... P, typename... A>
std::string text_answer(int (*function)(P...), A... arguments) {
  char text[256] = "before";
  EXPECT_STATUS(QEL_OK, function(arguments..., text));
  return text;
}

// The same for a function that stores new memory and its length.
template <typename... P, typename... A>
std::string bytes_answer(int (*function)(P...), A... arguments) {
  void *data = nullptr;
  int length = 0;
  int const status = function(arguments..., &data, &length);
  if (status != QEL_OK)
    return status_text(status);
  std::string const bytes(static_cast<char const *>(data), static_cast<std::size_t>(length));
  DVSQEL_DataFree(data);
  return bytes;
}

// A property of a switch on this host, or one of its two values at any scope.
template <typename... P, typename... A>
std::string property(int (*get)(P...), bool persistent, A... place) {
  char value[4096];
  HNQQuery query{sizeof value, value};
  int const status = get(place..., &query, nullptr, persistent ? 1 : 0);
  return status == QEL_OK ? std::string(value, static_cast<std::size_t>(query.propLen)) : status_text(status);
}

// The elements behind a record that counts them in `numEntries`.
template <typename Element, typename Owned>
std::vector<Element> entries(Owned const &owned) {
  std::vector<Element> list(owned ? static_cast<std::size_t>(owned->numEntries) : 0);
  if (!list.empty())
    std::memcpy(static_cast<void *>(list.data()), owned.get() + 1, list.size() * sizeof(Element));
  return list;
}
