// Reads the calls and their statuses out of the documentation's tables.
#include "platform/tool/supported_calls.hpp"

#include "platform/core/status_names.hpp"

#include <dlfcn.h>

#include <algorithm>
#include <map>
#include <set>

namespace tool {

namespace {

constexpr std::string_view name_characters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";

// Whether one of the three libraries has such a function; the C library's have other names.
bool is_call(std::string const &name) {
  bool const may_be = name.starts_with("VS") || name.starts_with("DV") || name.starts_with("QEL_");
  return may_be && dlsym(RTLD_DEFAULT, name.c_str()) != nullptr;
}

// The names that stand in backquotes, each as far as its characters go.
std::vector<std::string> quoted_names(std::string_view text) {
  std::vector<std::string> names;
  for (std::size_t start = text.find('`'); start != std::string_view::npos;) {
    std::size_t const end = text.find('`', start + 1);
    std::string_view const quoted = text.substr(start + 1, end == std::string_view::npos ? end : end - start - 1);
    std::string_view const name = quoted.substr(0, quoted.find_first_not_of(name_characters));
    if (!name.empty())
      names.emplace_back(name);
    start = end == std::string_view::npos ? end : text.find('`', end + 1);
  }
  return names;
}

// The cells between the bars of a table's row.
std::vector<std::string_view> cells_of(std::string_view line) {
  std::vector<std::string_view> cells;
  for (std::size_t start = 1; start < line.size();) {
    std::size_t const end = std::min(line.find('|', start), line.size());
    cells.push_back(line.substr(start, end - start));
    start = end + 1;
  }
  return cells;
}

using Statuses = std::map<std::string, std::set<std::string>>;

// The statuses that a cell names, itself or with "as" another call or "as above".
std::set<std::string> statuses_of(std::string_view cell, std::set<std::string> const &above, Statuses const &known) {
  std::set<std::string> statuses;
  if (cell.find("as above") != std::string_view::npos)
    statuses = above;
  for (std::string const &name : quoted_names(cell)) {
    auto const other = known.find(name);
    if (other != known.end()) {
      statuses.insert(other->second.begin(), other->second.end());
    } else if (host::status_by_name(name)) {
      statuses.insert(name);
    }
  }
  return statuses;
}

}  // namespace

std::vector<SupportedCall> supported_calls(std::string_view documentation) {
  Statuses known;
  std::set<std::string> above;
  while (!documentation.empty()) {
    std::size_t const end = std::min(documentation.find('\n'), documentation.size());
    std::string_view const line = documentation.substr(0, end);
    documentation.remove_prefix(std::min(end + 1, documentation.size()));
    std::vector<std::string_view> const cells =
        line.starts_with("| `") ? cells_of(line) : std::vector<std::string_view>();
    if (cells.size() < 2)
      continue;
    std::vector<std::string> names = quoted_names(cells[0]);
    std::erase_if(names, [](std::string const &name) { return !is_call(name); });
    if (names.empty())
      continue;
    above = statuses_of(cells.back(), above, known);
    for (std::string const &name : names)
      known[name] = above;
  }
  std::vector<SupportedCall> calls;
  for (auto const &[name, statuses] : known)
    calls.push_back({name, {statuses.begin(), statuses.end()}});
  return calls;
}

}  // namespace tool
