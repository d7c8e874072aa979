// Hosts that have just booted, kept so that the next one of the same description need not do all of it again.
#include "platform/core/booted.hpp"

#include <algorithm>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/core/clock.hpp"
#include "platform/core/host_row.hpp"
#include "platform/core/traffic.hpp"

namespace host {

namespace {

constexpr std::size_t most_kept = 4;
constexpr std::size_t longest_description = std::size_t{1} << 20;

struct Booted {
  std::string description;
  std::unique_ptr<Database> image;
};

struct AllBooted {
  std::mutex mutex;
  std::vector<Booted> hosts;  // the latest one last
};

// Never destroyed, as hosts are not.
AllBooted &all_booted() {
  static auto *const instance = new AllBooted;
  return *instance;
}

}  // namespace

bool copy_booted(Database &target, std::string const &description) {
  AllBooted &all = all_booted();
  std::lock_guard const lock(all.mutex);
  auto const found = std::find_if(all.hosts.begin(), all.hosts.end(),
                                  [&](Booted const &booted) { return booted.description == description; });
  if (found == all.hosts.end())
    return false;
  // It is a state of its own, and begins now. That is said in the image, so that the target changes in one step, and
  // need not have its tables read.
  Database &image = *found->image;
  Transaction transaction(image, true);
  renew_state_id(image);
  set_events_until(image, clock_now(image));
  transaction.commit();
  image.copy_to(target);
  return true;
}

void keep_booted(Database &booted, std::string const &description) {
  if (description.size() > longest_description)
    return;
  {
    Transaction transaction(booted, false);
    bool const has_times = !clock_is_stopped(booted) && has_timed_traffic(booted);
    transaction.commit();
    if (has_times)
      return;
  }
  auto image = std::make_unique<Database>(":memory:", Database::Mode::memory);
  booted.copy_to(*image);
  AllBooted &all = all_booted();
  std::lock_guard const lock(all.mutex);
  if (all.hosts.size() == most_kept)
    all.hosts.erase(all.hosts.begin());
  all.hosts.push_back({description, std::move(image)});
}

}  // namespace host
