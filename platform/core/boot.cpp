// Booting the host: a fresh one from its description, a known one back to its persistent state.
#include "platform/core/boot.hpp"

#include <algorithm>
#include <map>
#include <tuple>

#include "platform/core/boot_description.hpp"
#include "platform/core/clock.hpp"
#include "platform/core/host_row.hpp"
#include "platform/core/host_settings.hpp"
#include "platform/core/mac_table.hpp"
#include "platform/core/property_values.hpp"
#include "platform/core/rtm.hpp"
#include "platform/core/safe_files.hpp"
#include "platform/core/status_names.hpp"
#include "platform/core/switch_state.hpp"
#include "platform/core/team_rows.hpp"
#include "platform/core/text.hpp"
#include "platform/core/traffic.hpp"
#include "platform/core/uplink_list.hpp"
#include "platform/core/uplinks.hpp"

namespace host {

namespace {

std::string read_file(std::string const &path) {
  try {
    return read_description_file(path);
  } catch (std::runtime_error const &error) {
    throw DescriptionError(error.what());
  }
}

// What the rules of the calls refuse, the description cannot ask for either.
template <typename Step>
void step(std::string const &where, Step &&run) {
  try {
    run();
  } catch (Refusal const &refusal) {
    throw DescriptionError(where + ": the host refuses it with " + status_name(refusal.status()));
  }
}

// What is described goes before what learning has counted.
template <typename Counters, typename Names>
Counters described(Counters const &wanted, Counters counters, Names const &names) {
  for (NamedCounter<Counters> const &counter : names) {
    if (wanted.*counter.value != 0)
      counters.*counter.value = wanted.*counter.value;
  }
  return counters;
}

void learn(Database &database, RowId vswitch, Port const &port, std::vector<DescribedAddress> const &addresses) {
  for (DescribedAddress const &seen : addresses) {
    step(seen.where, [&] {
      Learning const result = learn_address(database, vswitch, port, seen.address);
      refuse_if(result == Learning::ignored, QEL_IS_DISABLED);
      refuse_if(result == Learning::allowed_unlearned || result == Learning::dropped, QEL_LIMIT_EXCEEDED);
    });
  }
}

// One more session of ports in the table that it belongs to.
void add_mirror_session(Database &database, RowId vswitch, DescribedMirrorSession const &wanted) {
  MirrorSession session{};
  DVMirrorSession &record = session.record;
  fill_text(record.sid, wanted.session_id);
  fill_text(record.dname, wanted.name);
  record.type = static_cast<DVMirrorSessionType>(VS_DVMIRROR_SESSIONTYPE_DVPORT);
  record.snapLen = static_cast<qel_uint32>(VS_DVMIRROR_SNAPLEN_COMPLETE);
  record.flags = static_cast<qel_uint32>(wanted.enabled ? 0 : VS_DVMIRROR_FLAG_DISABLED);
  auto const add = [&](std::vector<std::string> const &ports) {
    for (std::string const &dvport_id : ports) {
      DVMirrorEntity entity{};
      fill_text(entity.dvPortId, port_by_id(database, vswitch, dvport_id).dvport_id);
      session.entities.push_back(entity);
    }
    return static_cast<qel_uint32>(ports.size());
  };
  record.numDstEntities = add(wanted.destinations);
  record.numSrcInEntities = add(wanted.sources_in);
  record.numSrcOutEntities = add(wanted.sources_out);

  bool const is_of_port = !wanted.port.empty();
  PropertyPlace place{vswitch, is_of_port ? Scope::port : Scope::global};
  if (is_of_port)
    place.port = port_by_id(database, vswitch, wanted.port).row;
  char const *const name = is_of_port ? VSPROP_PORT_MIRROR_SESSIONS : VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS;
  MirrorTable table = parse_mirror_table(get_property(database, place, name));
  table.sessions.push_back(std::move(session));
  set_property(database, place, name, {.value = mirror_table_value(table)});
  set_mirror_statistics(database, vswitch, wanted.session_id, wanted.counters);
}

// A switch with its uplink ports and ports. NICs come later: no uplink port may take one that another is to have.
RowId make_switch(Database &database, DescribedSwitch const &wanted) {
  RowId vswitch = 0;
  step(wanted.where, [&] {
    vswitch = create_switch(database, {wanted.alias, wanted.switch_id, wanted.class_name, wanted.max_ports,
                                       wanted.persistent, wanted.mtu, wanted.version, wanted.flags});
  });
  for (DescribedUplink const &uplink : wanted.uplinks) {
    step(uplink.where, [&] {
      if (!uplink.made_port)
        add_port(database, vswitch, uplink.dvport_id);
      add_uplink_port(database, vswitch, {uplink.name, uplink.dvport_id});
    });
  }
  for (DescribedPort const &port : wanted.ports) {
    step(port.where, [&] {
      RowId const row = add_port(database, vswitch, port.dvport_id);
      if (port.connect_id) {
        set_property(database, {vswitch, Scope::port, row}, QEL_HNQPROP_PORT_CONNECTID,
                     {.value = property_bytes(*port.connect_id)});
      }
      if (port.client) {
        connect_client(database, row, port.client->type, port.client->name, port.client->mac);
        describe_client(database, row, port.client->numa_node, port.client->router);
        set_promiscuous_client(database, row, port.client->promiscuous);
        set_client_mac(database, row, port.client->own_mac);
        set_client_link(database, row, port.client->link_up);
        set_client_multicast_macs(database, row, port.client->multicast_macs);
      }
    });
  }
  return vswitch;
}

struct DescribedState {
  std::string const &where;
  DescribedPortState const &state;
  Port port;
};

// Of all ports of a switch, those of uplinks included.
std::vector<DescribedState> port_states(Database &database, RowId vswitch, DescribedSwitch const &wanted) {
  std::vector<DescribedState> states;
  for (DescribedPort const &port : wanted.ports)
    states.push_back({port.where, port.state, port_by_id(database, vswitch, port.dvport_id)});
  for (DescribedUplink const &uplink : wanted.uplinks) {
    step(uplink.where, [&] {
      RowId const port = find_uplink(database, vswitch, uplink.name).port;
      states.push_back({uplink.where, uplink.state, {port, dvport_id_of(database, port), VS_PORT_CLIENT_UPLINK}});
    });
  }
  return states;
}

// The properties of a place, with where they are described.
struct DescribedProperties {
  std::vector<PlacedProperty> properties;
  std::map<std::tuple<Scope, RowId, std::string>, std::string> places;

  void add(PropertyPlace const &place, std::vector<DescribedProperty> const &described) {
    for (DescribedProperty const &wanted : described) {
      properties.push_back({place, wanted.property});
      std::uint32_t &type = properties.back().property.type;
      step(wanted.where, [&] { type = property_type_for_write(type); });
      places.emplace(std::tuple(place.scope, place.port, wanted.property.name), wanted.where);
    }
  }

  void set(Database &database) {
    std::optional<RefusedProperty> const refused = set_properties(database, std::move(properties));
    if (!refused)
      return;
    PlacedProperty const &property = refused->property;
    step(places[{property.place.scope, property.place.port, property.property.name}], [&] { refuse(refused->status); });
  }
};

// The list of uplink ports goes first: their ports come and go with it.
void set_described_properties(Database &database, RowId vswitch, DescribedSwitch const &wanted) {
  auto const is_list = [](DescribedProperty const &property) {
    return property.property.name == QEL_HNQPROP_HOST_UPLINKPORTS;
  };
  std::vector<DescribedProperty> lists;
  std::vector<DescribedProperty> others;
  std::partition_copy(wanted.host_properties.begin(), wanted.host_properties.end(), std::back_inserter(lists),
                      std::back_inserter(others), is_list);
  DescribedProperties first;
  first.add({vswitch, Scope::host}, lists);
  first.set(database);

  DescribedProperties then;
  then.add({vswitch, Scope::global}, wanted.global_properties);
  then.add({vswitch, Scope::host}, others);
  for (DescribedState const &port : port_states(database, vswitch, wanted)) {
    step(port.where, [&] { set_external_id(database, vswitch, port.port.row, port.state.external_id); });
    if (port.state.is_local_cache)
      set_port_kind(database, port.port.row, DVSPORT_TYPE_LOCALCACHE);
    // No limit and no setting that comes with the properties applies to them.
    for (DescribedAddress const &address : port.state.by_hand) {
      step(address.where,
           [&] { add_mac_entry(database, vswitch, port.port, address.address.key, address.address.age); });
    }
    then.add({vswitch, Scope::port, port.port.row}, port.state.properties);
  }
  then.set(database);
}

// Uplink ports that name their NIC go before those that take the one of their own name.
void bind_nics(Database &database, BootDescription const &description, std::vector<RowId> const &switches) {
  auto const exists = [&](std::string const &name) {
    return std::any_of(description.nics.begin(), description.nics.end(),
                       [&](DescribedNic const &described) { return described.nic.name == name; });
  };
  for (NicChoice const choice : {NicChoice::named, NicChoice::by_name}) {
    for (std::size_t i = 0; i < switches.size(); ++i) {
      for (DescribedUplink const &uplink : description.switches[i].uplinks) {
        if (uplink.nic_choice == choice && (choice == NicChoice::named || exists(uplink.name))) {
          step(uplink.where, [&] {
            bind_nic(database, switches[i], uplink.name, choice == NicChoice::named ? uplink.nic : uplink.name);
          });
        }
      }
    }
  }
}

// What the switch has learned and counted so far: it needs the ports, their policies and the uplinks.
void describe_running_state(Database &database, RowId vswitch, DescribedSwitch const &wanted) {
  for (DescribedLag const &lag : wanted.lags) {
    step(lag.where, [&] { add_lag(database, vswitch, lag.name, lag.settings, lag.members); });
  }
  for (DescribedPort const &port : wanted.ports) {
    if (port.mac_learning) {
      step(port.where, [&] {
        set_port_learning_policy(database, vswitch, port_by_id(database, vswitch, port.dvport_id).row,
                                 *port.mac_learning);
      });
    }
  }
  for (DescribedState const &port : port_states(database, vswitch, wanted)) {
    learn(database, vswitch, port.port, port.state.learned);
    if (port.state.counters) {
      PortCounters const now = load_port_counters(database, port.port.row);
      store_port_counters(database, vswitch, port.port.row, described(*port.state.counters, now, port_counters));
    }
  }
  if (wanted.counters) {
    SwitchCounters const now = load_switch_counters(database, vswitch);
    store_switch_counters(database, vswitch, described(*wanted.counters, now, switch_counters));
  }
  for (DescribedPort const &port : wanted.ports) {
    for (DescribedGroup const &joined : port.groups) {
      step(joined.where, [&] {
        refuse_if(!port.client, QEL_BAD_PARAM);
        std::int64_t const updated = joined.updated ? static_cast<std::int64_t>(*joined.updated) : clock_now(database);
        join_multicast_group(database, vswitch, port_by_id(database, vswitch, port.dvport_id).row,
                             {joined.group, updated});
      });
    }
  }
  for (DescribedMirrorSession const &session : wanted.mirror_sessions)
    step(session.where, [&] { add_mirror_session(database, vswitch, session); });
  if (!wanted.portset)
    step(wanted.where, [&] { take_portset(database, vswitch); });
}

void describe_partners(Database &database, BootDescription const &description) {
  for (DescribedNic const &described : description.nics) {
    std::optional<RowId> const nic = nic_by_name(database, described.nic.name);
    if (nic && described.partner)
      set_partner(database, *nic, described.partner);
  }
}

// Those of a boot description are back after a boot, whatever took their place.
void restore_partners(Database &database) {
  forget_partners(database);
  std::string const text = host_description(database);
  if (text.find("\"partner\"") != std::string::npos)
    describe_partners(database, parse_description(text));
}

}  // namespace

void boot_from_text(Database &database, std::string const &text) {
  BootDescription const description = parse_description(text);
  if (description.stopped_clock)
    stop_clock(database, static_cast<std::int64_t>(*description.stopped_clock));
  std::vector<RowId> switches;
  for (DescribedSwitch const &wanted : description.switches)
    switches.push_back(make_switch(database, wanted));
  for (std::size_t i = 0; i < switches.size(); ++i)
    set_described_properties(database, switches[i], description.switches[i]);
  if (description.mac_learning)
    step("mac_learning", [&] { set_global_learning_settings(database, *description.mac_learning); });
  step("runtime_options", [&] { set_runtime_options(database, description.runtime_options); });
  for (DescribedNic const &nic : description.nics) {
    step(nic.where, [&] { add_physical_nic(database, nic.nic); });
  }
  describe_partners(database, description);
  for (Stack const &stack : description.stacks)
    add_stack(database, stack);
  bind_nics(database, description, switches);
  for (std::size_t i = 0; i < switches.size(); ++i)
    describe_running_state(database, switches[i], description.switches[i]);
  refresh_all_numa_nodes(database);
  keep_description(database, text);
  set_events_until(database, clock_now(database));
}

void boot_fresh_host(Database &database, std::string const &description_path) {
  bool const built_in = description_path.empty();
  try {
    boot_from_text(database, built_in ? std::string(default_description()) : read_file(description_path));
  } catch (DescriptionError const &error) {
    throw Fault(ExceptionClass::runtime_error, QEL_INVALID_METADATA,
                "boot description " + (built_in ? "of the host" : description_path) + ": " + error.what());
  }
}

void boot_again(Database &database) {
  // Switches go first: a NIC that they free may belong to an uplink port that comes back.
  remove_volatile_switches(database);
  drop_zombie_ports(database);
  forget_volatile_properties(database);
  forget_volatile_settings(database);
  forget_rtm(database);
  forget_traffic(database);
  forget_teams(database);
  restart_clients(database);
  set_all_nics_up(database);
  restore_partners(database);
  refresh_all_numa_nodes(database);
  count_boot(database);
  set_events_until(database, clock_now(database));
}

}  // namespace host
