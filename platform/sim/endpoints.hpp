// The endpoints that a host has given numbers to: which ports and NICs they are, and where those are in the tables.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/forwarding/sink.hpp"
#include "platform/sim/compile.hpp"
#include "platform/sim/vswitch_sim.h"

namespace sim {

class Endpoints {
 public:
  enum class Kind : std::uint8_t { port, nic };

  struct Name {
    char const *alias;  // null for a NIC
    char const *name;
  };

  // The same number for the same row; a new one where it has none yet.
  vssim_endpoint number_of_port(host::RowId row, std::string_view alias, std::string_view dvport_id);
  vssim_endpoint number_of_nic(host::RowId row, std::string_view name);
  // Of a place in the tables.
  vssim_endpoint number_at(forwarding::Place place) {
    std::vector<vssim_endpoint> const &numbers = place.kind == forwarding::Place::Kind::nic ? at_nic_ : at_port_;
    vssim_endpoint const number = numbers[place.index];
    return number ? number : number_new_place(place);
  }

  // Where frames are sent in. Fails for a number that was never given, for what has gone, and for ports of uplinks.
  forwarding::Place sending_place(vssim_endpoint number) const {
    if (number < places_.size() && places_[number].state == State::sends)
      return places_[number].place;
    refuse_to_send(number);
  }

  struct Row {
    Kind kind;
    host::RowId row;
  };
  // Fails for a number that was never given, and for one of a former state.
  Row row(vssim_endpoint number) const;
  // Fails for a number that was never given.
  Name name(vssim_endpoint number) const;
  // "alias/dvport id", or the name of the NIC.
  std::string label(vssim_endpoint number) const;
  [[noreturn]] void fail_gone(vssim_endpoint number) const;

  // These are the tables from now on. They have to stay while they are.
  void set_tables(Compiled const &compiled);
  // The state is another one: nothing that had a number is there any more.
  void forget_all();

 private:
  enum class State : std::uint8_t { gone, sends, is_uplink };

  struct Known {
    Kind kind;
    host::RowId row;
    bool is_of_this_state;
    Name name;
  };
  struct Placed {
    forwarding::Place place;
    State state = State::gone;
  };

  vssim_endpoint number(Kind kind, host::RowId row, std::string_view alias, std::string_view name);
  vssim_endpoint number_new_place(forwarding::Place place);
  void find_place(vssim_endpoint number);
  char const *keep(std::string_view text) { return texts_.emplace_back(text).c_str(); }
  Known const &known(vssim_endpoint number) const;
  [[noreturn]] void refuse_to_send(vssim_endpoint number) const;

  Compiled const *compiled_ = nullptr;
  std::vector<Known> known_{1};  // none has the number 0
  std::vector<Placed> places_{1};
  std::map<std::pair<Kind, host::RowId>, vssim_endpoint> numbers_;
  std::map<host::RowId, std::uint32_t> nics_;
  std::vector<vssim_endpoint> at_port_;
  std::vector<vssim_endpoint> at_nic_;
  std::deque<std::string> texts_;  // as long as the host
};

}  // namespace sim
