"""What a host is configured as: plain, immutable records, named as the rules name things."""

from dataclasses import dataclass, field
from typing import Any, Literal

from .document import Address, Mac, mac, mac_text, read

Criterion = Literal[
    "link_speed", "link_speed_gte", "link_duplex", "lacp_port_down", "beacon_state", "link_err", "link_state",
    "port_blocked", "drv_present",
]
TeamFlag = Literal[
    "all_available", "reverse", "best_effort", "rolling", "shotgun", "notify_switch", "block_output", "lacp_client",
    "lst",
]
Balance = Literal["none", "ip", "srcmac", "srcid", "explicit", "lbt"]
FilterFlag = Literal["unicast", "multicast", "allmulti", "broadcast", "promisc", "use_ladrf", "sink"]
NO_MAC = Mac(bytes(6))
GATEWAY_MAC = mac("02:76:73:ff:ff:ff")


@dataclass(frozen=True)
class Options:
    """Runtime options, by their names."""

    IGMPQueryInterval: int = 125
    IGMPV3MaxSrcIPNum: int = 10
    MLDV2MaxSrcIPNum: int = 10
    IGMPQueries: int = 2
    ReversePathFwdCheck: int = 1
    ReversePathFwdCheckPromisc: int = 0
    AllowFastPath: int = 1
    AllowMirrorStats: int = 1
    TeamingNUMAAware: int = 0
    TeamingIgnoreShotgun: int = 0
    TeamPolicyUpDelay: int = 100


@dataclass(frozen=True)
class Nic:
    """A physical NIC. `up_since`: when its link came back, in microseconds; null: up since the boot. `returned`: place
    in the order in which links came back (0: this one was never down)."""

    name: str
    mac: Mac
    speed: int = 10000
    duplex: Literal["full", "half"] = "full"
    carrier: bool = True
    admin_up: bool = True
    numa_node: int | None = 0
    errors: int = 0
    up_since: int | None = None
    returned: int = 0

    @property
    def link(self) -> bool:
        return self.carrier and self.admin_up


@dataclass(frozen=True)
class Group:
    """A multicast group that a client has joined by its run-time state (X-2). No sources: no source filter."""

    address: Address
    sources: tuple[Address, ...] = ()
    mode: Literal["include", "exclude"] = "include"


@dataclass(frozen=True)
class Client:
    """The client of a port. `mac`: the assigned address (null: none); `effective_mac`: the run-time one."""

    name: str = "client"
    type: Literal["vnic", "tcpip"] = "vnic"
    mac: Mac | None = None
    effective_mac: Mac | None = None
    promiscuous: bool = False
    link: bool = True
    router: bool = False
    numa_node: int = 0
    groups: tuple[Group, ...] = ()
    multicast_macs: tuple[Mac, ...] = ()

    def __post_init__(self) -> None:
        if self.effective_mac is None:
            object.__setattr__(self, "effective_mac", self.mac)


@dataclass(frozen=True)
class VlanPolicy:
    mode: Literal["access", "trunk", "private"] = "access"
    vlan: int = 0
    ranges: tuple[tuple[int, int], ...] = ()
    set_priority: bool = False


@dataclass(frozen=True)
class MacManagement:
    """VSPROP_PORT_MAC_MANAGEMENT."""

    change_allowed: bool = True
    learning: bool = False
    flooding: bool = False
    limit: int = 4096
    at_limit: Literal["allow", "drop"] = "allow"


@dataclass(frozen=True)
class ExtraFilter:
    flags: tuple[FilterFlag, ...] = ()
    addresses: tuple[Mac, ...] = ()


@dataclass(frozen=True)
class Security:
    disallow_promisc: bool = False
    disallow_mac_change: bool = False
    disallow_forged_src: bool = False


@dataclass(frozen=True)
class TeamPolicy:
    """A teaming policy, a switch's, a port's or (by `name`) a logical switch's, which has no parameters."""

    balance: Balance = "srcid"
    criteria: tuple[Criterion, ...] = ("link_state",)
    flags: tuple[TeamFlag, ...] = ()
    active: tuple[str, ...] = ()
    standby: tuple[str, ...] = ()
    speed: int = 0
    full_duplex: bool = False
    percent_error: int = 0
    name: str | None = None


@dataclass(frozen=True)
class HandSet:
    """An address that was set by hand. `since`: when, in microseconds."""

    mac: Mac
    vlan: int = 0
    vni: int = 0
    since: int = 0


@dataclass(frozen=True)
class LearnedBefore:
    """An address that is learned when the model begins. `seen`: seconds since the epoch."""

    mac: Mac
    vlan: int = 0
    aging: bool = True
    seen: int = 0
    moves: int = 0


@dataclass(frozen=True)
class Port:
    """A distributed port. With `uplink` (the name of the uplink port) it is one of an uplink, on `nic`."""

    number: int
    dvport_id: str
    uplink: str | None = None
    nic: str | None = None
    client: Client | None = None
    zombie: bool = False
    vlan: VlanPolicy | None = None
    priority: int = 0
    retain_priority: bool = False
    nested_tag: bool | None = None
    security: Security = Security()
    mac_management: MacManagement | None = None
    extra_filter: ExtraFilter = ExtraFilter()
    user_multicast: tuple[Mac, ...] = ()
    user_multicast_override: bool = False
    tx_uplink: bool = False
    block: bool = False
    not_ready_block: bool = False
    rtm_block: bool = False
    team: TeamPolicy | None = None
    logical_team: str | None = None
    tied_to: str | None = None
    moved_to: str | None = None
    user_macs: tuple[HandSet, ...] = ()
    learned: tuple[LearnedBefore, ...] = ()

    @property
    def is_uplink(self) -> bool:
        return self.uplink is not None

    @property
    def is_client_port(self) -> bool:
        return self.client is not None and not self.is_uplink


@dataclass(frozen=True)
class PrivateVlan:
    primary: int
    secondary: int
    type: Literal["promiscuous", "isolated", "community"]


@dataclass(frozen=True)
class Lag:
    """`up` are the members (names of uplink ports) that LACP has up, be it by the description or by its own work."""

    name: str
    members: tuple[str, ...] = ()
    up: tuple[str, ...] = ()
    hash: Literal["l2", "l2+3", "l3+4", "vlan+srcmac"] = "l2+3"


@dataclass(frozen=True)
class MacSettings:
    """What is in force on the switch: VSPROP_SWITCH_* or the settings of all switches."""

    aging_time: int = 600
    limit: int = 65536
    learn_static: bool = False
    static_allowed: bool = True


@dataclass(frozen=True)
class Entity:
    """A source or destination of a mirror session: `value` is an identifier, name, number or address as text."""

    kind: Literal["dvport", "port", "mac", "uplink", "vlan", "ip"]
    value: str


@dataclass(frozen=True)
class FilterRule:
    mirror: bool
    sources: tuple[str, ...] = ()
    destinations: tuple[str, ...] = ()
    protocol: int | None = None
    source_ports: tuple[int, int] | None = None
    destination_ports: tuple[int, int] | None = None


@dataclass(frozen=True)
class MirrorSession:
    session_id: str
    type: Literal["mixdst", "dvport", "rmirror_src", "rmirror_dst", "ermirror_src", "logical_dvport"] = "dvport"
    enabled: bool = True
    destinations: tuple[Entity, ...] = ()
    sources_in: tuple[Entity, ...] = ()
    sources_out: tuple[Entity, ...] = ()
    wild_in: tuple[Literal["vmm", "pnic", "cos", "tcpip", "test"], ...] = ()
    wild_out: tuple[Literal["vmm", "pnic", "cos", "tcpip", "test"], ...] = ()
    no_output: bool = False
    no_input: bool = False
    original_vlan: bool = False
    encapsulate: bool = False
    all_uplinks: bool = False
    snap_length: int = 0
    encap_vlan: int = 0
    sampling_rate: int = 0
    uplink_filter: Literal["none", "normal", "stt", "vxlan", "geneve", "all_encap", "type_max"] = "none"
    rules: tuple[FilterRule, ...] = ()
    stack: int = 0
    encapsulation: Literal["gre", "erspan2", "erspan3"] = "gre"
    gre_key: int = 0
    erspan_id: int = 0
    erspan_cos: int = 0
    erspan_gra: int = 0

    @property
    def runs(self) -> bool:
        return self.enabled and bool(self.destinations)


def _number(port: Port) -> int:
    return port.number


@dataclass(frozen=True)
class Switch:
    alias: str
    switch_id: str
    portset: int | None = 1
    proxy_state: int = 0
    forwarding_disabled: bool = False
    mtu: int = 1500
    multicast_mode: Literal["legacy", "igmp", "mld", "snooping"] = "legacy"
    user_multicast: tuple[Mac, ...] = ()
    mac_settings: MacSettings = MacSettings()
    private_vlans: tuple[PrivateVlan, ...] = ()
    team: TeamPolicy | None = None
    logical_teams: tuple[TeamPolicy, ...] = ()
    lags: tuple[Lag, ...] = ()
    beacons_undecided: bool = False
    beacons_failed: tuple[str, ...] = ()
    mirror_sessions: tuple[MirrorSession, ...] = ()
    ports: tuple[Port, ...] = ()

    def __post_init__(self) -> None:
        object.__setattr__(self, "ports", tuple(sorted(self.ports, key=_number)))

    @property
    def uplinks(self) -> tuple[Port, ...]:
        return tuple(port for port in self.ports if port.is_uplink)

    @property
    def client_ports(self) -> tuple[Port, ...]:
        """By number; a port without client is none, a zombie is one."""
        return tuple(port for port in self.ports if port.is_client_port)

    @property
    def own_mac(self) -> Mac:
        """SW: 02-76-73 and the number of the port set's name."""
        return Mac(b"\x02\x76\x73" + (self.portset or 0).to_bytes(3, "big"))

    def port(self, number: int) -> Port:
        return next(port for port in self.ports if port.number == number)

    def uplink(self, name: str) -> Port | None:
        return next((port for port in self.uplinks if port.uplink == name), None)

    @property
    def policy(self) -> TeamPolicy:
        """The teaming policy in effect: by default all uplinks active in their order."""
        if self.team is not None:
            return self.team
        names = tuple(port.uplink for port in self.uplinks if port.uplink is not None)
        return TeamPolicy(flags=("notify_switch",), active=names)


@dataclass(frozen=True)
class Stack:
    """What encapsulated copies are sent with. `mac` null: that of the switch."""

    mac: Mac | None = None
    gateway_mac: Mac = GATEWAY_MAC
    ipv4: str = "192.0.2.1"
    ipv6: str = "2001:db8::1"
    vlan: int = 0
    ttl: int = 64
    dscp: int = 0


@dataclass(frozen=True)
class Stacks:
    default: Stack = Stack()
    mirror: Stack = Stack()


@dataclass(frozen=True)
class Host:
    options: Options = Options()
    nics: tuple[Nic, ...] = ()
    switches: tuple[Switch, ...] = ()
    stacks: Stacks = field(default_factory=Stacks)

    @classmethod
    def from_json(cls, document: object) -> "Host":
        """Reads the form that the package's docstring describes. Raises DocumentError, which names the place."""
        return read(cls, document)

    def nic(self, name: str | None) -> Nic | None:
        return next((nic for nic in self.nics if nic.name == name), None)

    def switch(self, alias: str) -> Switch:
        for switch in self.switches:
            if switch.alias == alias:
                return switch
        raise ValueError(f"no switch {alias!r}")


def to_json(value: Any) -> Any:
    """The document of a configuration, all members written."""
    if hasattr(value, "__dataclass_fields__"):
        return {name: to_json(getattr(value, name)) for name in value.__dataclass_fields__}
    if isinstance(value, bytes):
        return mac_text(value)
    if isinstance(value, tuple):
        return [to_json(item) for item in value]
    return value if value is None or isinstance(value, (bool, int, str)) else str(value)
