// The ids of rules that stand in the names of tests.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <set>
#include <sstream>
#include <string>
#include <vector>

// The ids that the name of a test begins with: T_3_T_4_hashes has T-3 and T-4.
inline std::set<std::string> ids_in(std::string const &name) {
  std::istringstream stream(name);
  std::vector<std::string> parts;
  for (std::string part; std::getline(stream, part, '_');)
    parts.push_back(part);
  std::set<std::string> ids;
  auto const is_made_of = [](std::string const &part, int (*kind)(int)) {
    return !part.empty() && std::all_of(part.begin(), part.end(), [&](unsigned char c) { return kind(c) != 0; });
  };
  for (std::size_t i = 0; i + 1 < parts.size(); i += 2) {
    if (!is_made_of(parts[i], std::isupper) || !is_made_of(parts[i + 1], std::isdigit))
      break;
    ids.insert(parts[i] + "-" + parts[i + 1]);
  }
  return ids;
}

// Of all tests of the program.
inline std::set<std::string> tested() {
  std::set<std::string> ids;
  testing::UnitTest const &all = *testing::UnitTest::GetInstance();
  for (int i = 0; i < all.total_test_suite_count(); ++i) {
    testing::TestSuite const &suite = *all.GetTestSuite(i);
    for (int k = 0; k < suite.total_test_count(); ++k)
      ids.merge(ids_in(suite.GetTestInfo(k)->name()));
  }
  return ids;
}
