// What the tests of typed calls share: the raw property behind a call, and writing in another process.
#pragma once

#include <vector>

#include "host_test.hpp"

// The property in effect: of a port, or of the switch where `dvport_id` is null.
inline std::string raw_property(char const *alias, char const *dvport_id, char const *name) {
  std::vector<char> room(1048576);
  HNQQuery query{static_cast<int>(room.size()), room.data()};
  int const status = dvport_id ? VSDVS_GetPortProp(alias, dvport_id, name, &query, nullptr, 0)
                               : VSDVS_GetGlobProp(alias, name, &query, nullptr, 0);
  EXPECT_STATUS(QEL_OK, status);
  return status == QEL_OK ? std::string(room.data(), static_cast<std::size_t>(query.propLen)) : "none";
}

inline int set_raw_property(char const *alias, char const *dvport_id, char const *name, std::string const &value) {
  int const length = static_cast<int>(value.size());
  return dvport_id ? VSDVS_SetPortProp(alias, dvport_id, name, value.data(), length, nullptr, 1)
                   : VSDVS_SetGlobProp(alias, name, value.data(), length, nullptr, 1);
}

template <typename Record>
std::string bytes_of(Record const &record) {
  return {reinterpret_cast<char const *>(&record), sizeof record};
}

// Makes a call in another process.
#define EXPECT_OK_ELSEWHERE(call) EXPECT_EQ(0, in_child([&] { return (call) == QEL_OK ? 0 : 1; }))
