"""A second implementation of the frame pipeline, written from the rules alone: readable, slow, in plain Python.

It shares nothing with the host's own data plane and is compared with it on random hosts and frames. Ids of rules stand
as comments where they are implemented. Not in it: what the clock does by itself (queries, beacons, LACP, announcements,
load balance by load); what these have led to is part of the configuration here (`Lag.up`, `Switch.beacons_failed`,
`Port.moved_to`).

    model = Model.from_json(document)
    result = model.send(("sw", "7"), frame, now)       # deliveries, drops, consumed, steps
    model.counters(("sw", "7"), now); model.mac_table("sw", now)

The document
------------
A JSON object with the fields of `configuration.Host`; every object in it has the fields of its class there, under the
same names, and what is left out has the default that stands there. Unknown members are refused (`DocumentError`).

    options           runtime options by name                                         {"ReversePathFwdCheck": 0}
    nics              name, mac, speed (Mbit/s), duplex, carrier, admin_up, numa_node (null: unknown to teaming),
                      errors (percent), up_since (microseconds; null: up since the boot), returned (order in which links
                      came back, 0: never down; for the flag `rolling`)
    stacks            default, mirror: mac (null: the switch's), gateway_mac, ipv4, ipv6, vlan, ttl, dscp
    switches          alias, switch_id, portset (number in the port set's name; null: none), proxy_state,
                      forwarding_disabled, mtu, multicast_mode ("legacy", "igmp", "mld", "snooping"), user_multicast,
                      mac_settings (in force: aging_time, limit, learn_static, static_allowed), private_vlans (primary,
                      secondary, type: "promiscuous", "isolated", "community"), team (null: the default),
                      logical_teams (with name), lags, beacons_undecided, beacons_failed (names of uplink ports),
                      mirror_sessions, ports
    ports of a switch all, uplinks too: number, dvport_id, uplink (its name; null: no uplink port), nic (null: none),
                      client (null: none; an uplink port has none here), zombie, vlan (null: no property), priority,
                      retain_priority, nested_tag (null: no property), security (disallow_promisc, disallow_mac_change,
                      disallow_forged_src), mac_management (null: no property; change_allowed, learning, flooding,
                      limit, at_limit), extra_filter (flags, addresses), user_multicast, user_multicast_override,
                      tx_uplink, block, not_ready_block, rtm_block, team (null: none of its own), logical_team (name),
                      tied_to (name of an uplink port), moved_to (uplink port to which load moved the port), user_macs
                      (mac, vlan, vni, since), learned (mac, vlan, aging, seen, moves)
    vlan of a port    mode ("access", "trunk", "private"), vlan, ranges ([[first, last], ...]), set_priority
    client            name, type, mac (assigned), effective_mac (null: the assigned one), promiscuous, link, router,
                      numa_node, groups (address, sources, mode; no sources: no source filter), multicast_macs
    team policy       balance ("none", "ip", "srcmac", "srcid", "explicit", "lbt"), criteria and flags (names of the
                      constants TEAM_FRP_CRIT_*, TEAM_FRP_FLAG_* in small letters), active, standby, speed,
                      full_duplex, percent_error, name (of a logical switch's)
    lag               name, members (names of uplink ports in order), up (those that LACP has up, whatever their link),
                      hash
    mirror session    in the order of VSQEL_GetDVMirrorSessionIDs: session_id, type, enabled, destinations, sources_in,
                      sources_out (kind "dvport", "port", "mac", "uplink", "vlan", "ip" and value as text), wild_in,
                      wild_out, no_output, no_input, original_vlan, encapsulate, all_uplinks, snap_length (0: whole),
                      encap_vlan, sampling_rate, uplink_filter, rules (mirror, sources, destinations as "192.0.2.0/24",
                      protocol, source_ports, destination_ports), stack, encapsulation ("gre", "erspan2", "erspan3"),
                      gre_key, erspan_id, erspan_cos, erspan_gra

MAC addresses are "02:00:00:00:01:0a", times microseconds since the epoch unless said otherwise. A property that is not
written is null or has its default; which value is in effect (persistent, volatile) is decided before.
"""

from .configuration import Host, to_json
from .document import DocumentError
from .reasons import REASONS
from .simulated import Model, send
from .state import Delivery, Drop, MacEntry, Place, Result, Step

__all__ = ["REASONS", "Delivery", "DocumentError", "Drop", "Host", "MacEntry", "Model", "Place", "Result", "Step",
           "send", "to_json"]
