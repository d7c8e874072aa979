// The functions of the host libraries, read from the headers that declare them.
#pragma once

#include <set>
#include <sstream>
#include <string>

#include "host_test.hpp"

// The functions that a header declares: the names before the first parenthesis of a line that begins a declaration.
inline std::set<std::string> declared_functions(std::initializer_list<char const *> headers) {
  std::set<std::string> names;
  for (char const *header : headers) {
    std::istringstream lines(read_file(std::string(INTERFACE_FOLDER) + "/" + header));
    for (std::string line; std::getline(lines, line);) {
      std::size_t const parenthesis = line.find('(');
      if (parenthesis == std::string::npos || line.find_first_of(" #/*}") == 0 || line.find("typedef") == 0)
        continue;
      std::size_t const start = line.find_last_of(" *", parenthesis) + 1;
      names.insert(line.substr(start, parenthesis - start));
    }
  }
  return names;
}
