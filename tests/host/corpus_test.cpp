// Every input of the fuzz corpus, through the reader that it is for: statuses are documented ones, a refusal changes
// nothing, and what a success leaves can be read.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "fuzz/reader.hpp"
#include "host_test.hpp"

class Corpus : public testing::TestWithParam<fuzz::Reader> {};

TEST_P(Corpus, is_read) {
  std::vector<std::filesystem::path> inputs;
  for (auto const &entry : std::filesystem::directory_iterator(std::filesystem::path(CORPUS) / GetParam().name))
    inputs.push_back(entry.path());
  std::sort(inputs.begin(), inputs.end());
  EXPECT_FALSE(inputs.empty());
  for (std::filesystem::path const &input : inputs) {
    try {
      GetParam().read(read_file(input));
    } catch (std::logic_error const &found) {
      ADD_FAILURE() << input << ": " << found.what();
    }
  }
  host::close_host();
}

INSTANTIATE_TEST_SUITE_P(Readers, Corpus, testing::ValuesIn(fuzz::readers()),
                         [](auto const &reader) { return std::string(reader.param.name); });
