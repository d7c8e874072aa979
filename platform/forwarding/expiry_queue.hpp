// Things that expire, in the order in which they do.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "platform/forwarding/timers.hpp"

namespace forwarding {

template <typename Key>
class ExpiryQueue {
 public:
  // In place of the time that it had.
  void set(Key const &key, std::int64_t expiry) {
    clear(key);
    in_order_.emplace(expiry, key);
    expiries_.emplace(key, expiry);
  }
  void clear(Key const &key) {
    auto const found = expiries_.find(key);
    if (found == expiries_.end())
      return;
    in_order_.erase({found->second, key});
    expiries_.erase(found);
  }

  std::map<Key, std::int64_t> const &all() const { return expiries_; }
  std::int64_t next() const { return in_order_.empty() ? never : in_order_.begin()->first; }
  // What has expired at a time: it is gone here.
  std::vector<Key> take_until(std::int64_t time) {
    std::vector<Key> expired;
    while (next() <= time) {
      expired.push_back(in_order_.begin()->second);
      clear(expired.back());
    }
    return expired;
  }

 private:
  std::map<Key, std::int64_t> expiries_;
  std::set<std::pair<std::int64_t, Key>> in_order_;
};

}  // namespace forwarding
