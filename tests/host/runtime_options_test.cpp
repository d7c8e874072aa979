// Runtime options: defaults, ranges, the buffer, what an unlucky buffer may hold.
#include <vector>

#include "host_test.hpp"

namespace runtime_options_test {

// A buffer in exactly sized memory, so that the sanitizer sees a read too far.
class Buffer {
 public:
  Buffer &number(qel_uint16 type, qel_uint32 value) {
    return entry(type, std::string(reinterpret_cast<char const *>(&value), sizeof value));
  }

  Buffer &entry(qel_uint16 type, std::string const &data) {
    return entry(type, data, static_cast<qel_uint16>(4 + data.size()));
  }

  Buffer &entry(qel_uint16 type, std::string const &data, qel_uint16 length) {
    append(type);
    append(length);
    bytes_ += data;
    return *this;
  }

  int set() const { return set(static_cast<qel_uint32>(4 + bytes_.size())); }

  int set(qel_uint32 total) const {
    std::vector<char> memory(4 + bytes_.size());
    std::memcpy(memory.data(), &total, sizeof total);
    std::memcpy(memory.data() + 4, bytes_.data(), bytes_.size());
    return VSQEL_SetRuntimeOptions(reinterpret_cast<VSRuntimeOptions *>(memory.data()));
  }

 private:
  void append(qel_uint16 number) { bytes_.append(reinterpret_cast<char const *>(&number), sizeof number); }

  std::string bytes_;
};

struct Option {
  int type;
  std::string value;
  bool operator==(Option const &) const = default;
};

void PrintTo(Option const &option, std::ostream *out) {
  *out << option.type << " = " << option.value;
}

std::vector<Option> get(std::vector<qel_uint16> const &types) {
  Returned<VSRuntimeOptions> options;
  EXPECT_STATUS(QEL_OK, VSQEL_GetRuntimeOptions(types.data(), static_cast<qel_uint16>(types.size()), &options));
  std::string_view rest(reinterpret_cast<char const *>(options.record), options->totalLength);
  rest.remove_prefix(4);
  std::vector<Option> list;
  while (!rest.empty()) {
    qel_uint16 header[2];
    std::memcpy(header, rest.data(), sizeof header);
    std::string_view const data = rest.substr(4, header[1] - 4u);
    qel_uint32 number = 0;
    if (header[0] < 16) {
      EXPECT_EQ(sizeof number, data.size());
      std::memcpy(&number, data.data(), sizeof number);
      list.push_back({header[0], std::to_string(number)});
    } else {
      EXPECT_EQ('\0', data.back());
      list.push_back({header[0], std::string(data.substr(0, data.size() - 1))});
    }
    rest.remove_prefix(header[1]);
  }
  return list;
}

std::string value_of(int type) {
  return get({static_cast<qel_uint16>(type)}).at(0).value;
}

using Options = std::vector<Option>;

class RuntimeOptions : public HostTest {};

TEST_F(RuntimeOptions, are_set_for_all_processes_until_the_next_boot) {
  ASSERT_EQ(0, in_child([] {
              return Buffer()
                  .number(VS_RT_OPT_IGMP_VERSION, 2)
                  .entry(VS_RT_OPT_IGMP_ROUTER_IP, std::string("192.0.2.1\0", 10))
                  .entry(VS_RT_OPT_MLD_ROUTER_IP, "2001:db8::1")  // without a terminator
                  .number(VS_RT_OPT_IGMP_QUERY_INTERVAL, 1)
                  .number(VS_RT_OPT_IGMP_QUERY_INTERVAL, 60)
                  .set();
            }));
  EXPECT_EQ((Options{{17, "2001:db8::1"}, {0, "60"}, {3, "2"}, {16, "192.0.2.1"}, {0, "60"}, {4, "2"}}),
            get({17, 0, 3, 16, 0, 4}));
  ASSERT_STATUS(QEL_OK, boot());
  EXPECT_EQ((Options{{17, "::"}, {0, "125"}}), get({17, 0}));
}

TEST_F(RuntimeOptions, ranges) {
  struct Range {
    qel_uint16 type;
    qel_uint32 lowest;
    qel_uint32 highest;
  };
  for (Range const &range : {Range{0, 1, 65535},
                             {1, 1, 64},
                             {2, 1, 16},
                             {3, 1, 3},
                             {4, 1, 2},
                             {5, 1, 64},
                             {6, 1, 65535},
                             {7, 1, 3600},
                             {8, 0, 1},
                             {9, 0, 1},
                             {10, 0, 1},
                             {11, 0, 300000},
                             {12, 0, 1},
                             {13, 0, 1},
                             {14, 0, 1},
                             {15, 0, 1}}) {
    SCOPED_TRACE(range.type);
    EXPECT_STATUS(QEL_OK, Buffer().number(range.type, range.highest).set());
    EXPECT_STATUS(QEL_BAD_PARAM, Buffer().number(range.type, range.highest + 1).set());
    EXPECT_EQ(std::to_string(range.highest), value_of(range.type));
    EXPECT_STATUS(QEL_OK, Buffer().number(range.type, range.lowest).set());
    EXPECT_STATUS(QEL_BAD_PARAM, Buffer().number(range.type, range.lowest - 1).set());
  }
}

TEST_F(RuntimeOptions, addresses_must_be_of_their_kind) {
  for (char const *address : {"", "192.0.2", "192.0.2.256", "2001:db8::1", "host"})
    EXPECT_STATUS(QEL_INVALID_ADDRESS, Buffer().entry(VS_RT_OPT_IGMP_ROUTER_IP, std::string(address) + '\0').set());
  EXPECT_STATUS(QEL_INVALID_ADDRESS, Buffer().entry(VS_RT_OPT_MLD_ROUTER_IP, "192.0.2.1").set());
  EXPECT_EQ("0.0.0.0", value_of(VS_RT_OPT_IGMP_ROUTER_IP));
}

TEST_F(RuntimeOptions, a_bad_buffer_sets_nothing) {
  auto const start = [] { return Buffer().number(VS_RT_OPT_IGMP_VERSION, 1); };
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_SetRuntimeOptions(nullptr));
  EXPECT_STATUS(QEL_BAD_PARAM, start().number(18, 1).set());
  EXPECT_STATUS(QEL_BAD_PARAM, start().number(65535, 1).set());
  EXPECT_STATUS(QEL_BAD_PARAM, start().entry(0, "12345").set());
  EXPECT_STATUS(QEL_BAD_PARAM, start().entry(0, "123").set());
  EXPECT_STATUS(QEL_BAD_PARAM, start().entry(0, "1234", 3).set());
  EXPECT_STATUS(QEL_BAD_PARAM, start().entry(0, "1234", 0).set());
  EXPECT_STATUS(QEL_BAD_PARAM, start().entry(0, "1234", 9).set());
  EXPECT_STATUS(QEL_BAD_PARAM, start().entry(16, "").set());
  EXPECT_STATUS(QEL_BAD_PARAM, start().entry(16, std::string(129, '1')).set());
  EXPECT_STATUS(QEL_BAD_PARAM, start().set(11));
  EXPECT_STATUS(QEL_BAD_PARAM, start().set(6));
  EXPECT_STATUS(QEL_BAD_PARAM, Buffer().set(3));
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, Buffer().set(4097));  // from the header alone
  EXPECT_EQ("3", value_of(VS_RT_OPT_IGMP_VERSION));
  EXPECT_STATUS(QEL_OK, Buffer().set());
}

TEST_F(RuntimeOptions, refused_questions) {
  Returned<VSRuntimeOptions> options;
  qel_uint16 const unknown[] = {0, 18};
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetRuntimeOptions(unknown, 2, &options));
  EXPECT_EQ(nullptr, options.record);
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetRuntimeOptions(nullptr, 1, &options));
  EXPECT_STATUS(QEL_BAD_PARAM, VSQEL_GetRuntimeOptions(unknown, 1, nullptr));
  std::vector<qel_uint16> many(511);
  ASSERT_STATUS(QEL_OK, VSQEL_GetRuntimeOptions(many.data(), 511, &options));
  EXPECT_EQ(4092u, options->totalLength);
  many.push_back(0);
  EXPECT_STATUS(QEL_LIMIT_EXCEEDED, VSQEL_GetRuntimeOptions(many.data(), 512, &options));
  ASSERT_STATUS(QEL_OK, VSQEL_GetRuntimeOptions(nullptr, 0, &options));
  EXPECT_EQ(4u, options->totalLength);
}

TEST_F(RuntimeOptions, types_may_stand_at_any_address) {
  char const memory[] = {0, 3, 0};
  Returned<VSRuntimeOptions> options;
  ASSERT_STATUS(QEL_OK, VSQEL_GetRuntimeOptions(reinterpret_cast<qel_uint16 const *>(memory + 1), 1, &options));
  EXPECT_EQ(12u, options->totalLength);
}

}  // namespace runtime_options_test
