// The endpoints that a host has given numbers to: which ports and NICs they are, and where those are in the tables.
#include "platform/sim/endpoints.hpp"

#include "platform/sim/entry.hpp"

namespace sim {

using forwarding::Place;

vssim_endpoint Endpoints::number_of_port(host::RowId row, std::string_view alias, std::string_view dvport_id) {
  return number(Kind::port, row, alias, dvport_id);
}

vssim_endpoint Endpoints::number_of_nic(host::RowId row, std::string_view name) {
  return number(Kind::nic, row, {}, name);
}

vssim_endpoint Endpoints::number(Kind kind, host::RowId row, std::string_view alias, std::string_view name) {
  auto const found = numbers_.find({kind, row});
  if (found != numbers_.end()) {
    Name &former = known_[found->second].name;
    // Switches may exchange their aliases.
    if (kind == Kind::port && alias != former.alias)
      former.alias = keep(alias);
    return found->second;
  }
  auto const number = static_cast<vssim_endpoint>(known_.size());
  known_.push_back({kind, row, true, {kind == Kind::port ? keep(alias) : nullptr, keep(name)}});
  places_.emplace_back();
  numbers_.emplace(std::pair(kind, row), number);
  find_place(number);
  return number;
}

vssim_endpoint Endpoints::number_new_place(Place place) {
  if (place.kind == Place::Kind::nic) {
    CompiledNic const &nic = compiled_->nics[place.index];
    return number_of_nic(nic.row, nic.name);
  }
  CompiledPort const &port = compiled_->ports[place.index];
  return number_of_port(compiled_->tables.ports[place.index].number, compiled_->switches[port.vswitch].alias,
                        port.dvport_id);
}

void Endpoints::find_place(vssim_endpoint number) {
  Known const &known = known_[number];
  Placed &placed = places_[number];
  placed = {};
  if (!compiled_ || !known.is_of_this_state)
    return;
  if (known.kind == Kind::nic) {
    auto const nic = nics_.find(known.row);
    if (nic == nics_.end())
      return;
    placed = {Place::nic(nic->second), State::sends};
    at_nic_[nic->second] = number;
    return;
  }
  auto const port = compiled_->tables.find_port(static_cast<std::uint32_t>(known.row));
  if (!port)
    return;
  placed = {Place::port(*port), compiled_->tables.ports[*port].is_uplink() ? State::is_uplink : State::sends};
  at_port_[*port] = number;
}

void Endpoints::set_tables(Compiled const &compiled) {
  compiled_ = &compiled;
  nics_.clear();
  for (std::uint32_t i = 0; i < compiled.nics.size(); ++i)
    nics_.emplace(compiled.nics[i].row, i);
  at_port_.assign(compiled.ports.size(), 0);
  at_nic_.assign(compiled.nics.size(), 0);
  for (vssim_endpoint number = 1; number < known_.size(); ++number) {
    find_place(number);
    if (places_[number].state != State::gone && known_[number].kind == Kind::port)
      number_new_place(places_[number].place);  // it may be called otherwise now
  }
}

void Endpoints::forget_all() {
  for (Known &known : known_)
    known.is_of_this_state = false;
  numbers_.clear();
  for (Placed &placed : places_)
    placed = {};
  compiled_ = nullptr;
}

Endpoints::Known const &Endpoints::known(vssim_endpoint number) const {
  if (number == 0 || number >= known_.size())
    fail(VSSIM_BAD_ARGUMENT, std::to_string(number) + " is no endpoint of this host");
  return known_[number];
}

Endpoints::Row Endpoints::row(vssim_endpoint number) const {
  Known const &found = known(number);
  if (!found.is_of_this_state)
    fail_gone(number);
  return {found.kind, found.row};
}

Endpoints::Name Endpoints::name(vssim_endpoint number) const {
  return known(number).name;
}

std::string Endpoints::label(vssim_endpoint number) const {
  Name const called = name(number);
  return called.alias ? std::string(called.alias) + "/" + called.name : called.name;
}

void Endpoints::fail_gone(vssim_endpoint number) const {
  Name const called = name(number);
  if (called.alias)
    fail(VSSIM_NOT_FOUND, std::string("no port '") + called.name + "' on switch '" + called.alias + "'");
  fail(VSSIM_NOT_FOUND, std::string("no NIC '") + called.name + "'");
}

void Endpoints::refuse_to_send(vssim_endpoint number) const {
  Name const called = name(number);
  if (places_[number].state == State::gone)
    fail_gone(number);
  fail(VSSIM_BAD_ARGUMENT,
       std::string("port '") + called.name + "' on switch '" + called.alias + "' is an uplink port: send to its NIC");
}

}  // namespace sim
