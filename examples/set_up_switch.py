"""Sets up a distributed switch: uplinks, MTU, teaming order, ports with their VLANs; then lists what the host has.

Running it again finds the switch there and brings it to the same state.
"""

import sys
from collections.abc import Iterator
from contextlib import contextmanager

import libvswitch as vs
from libvswitch import VSwitchError, allocated, check

SWITCH = "production"
UPLINKS = ["nic4", "nic5"]
# Identifier of each port: its connection and its VLAN.
PORTS = {"web-1": (101, 10), "web-2": (102, 10), "database": (201, 20)}


@contextmanager
def step(what: str) -> Iterator[None]:
    """Ends the script with a line that says what could not be done and why."""
    try:
        yield
    except (VSwitchError, OSError, RuntimeError) as error:
        raise SystemExit(f"{what}: {error}") from error


def ensure(status: int) -> str:
    """Accepts a thing that is there already."""
    if status == vs.QEL_EXISTS:
        return "already there"
    check(status)
    return "created"


def set_up() -> None:
    with step(f"cannot create the switch {SWITCH}"):
        created = ensure(vs.VSDVS_CreateVSwitch(SWITCH, "5f-2a-production", "", 64, 1, 1500, vs.DVS_VERSION_70, 0))
        print(f"switch {SWITCH}: {created}")
    for uplink in UPLINKS:
        with step(f"cannot add the uplink {uplink}"):
            print(f"  uplink {uplink}: {ensure(vs.VSDVS_AddSwitchUplinkPort(SWITCH, uplink))}")
    with step("cannot set the MTU"):
        check(vs.VSDVS_SetMTU(SWITCH, 9000))

    policy = vs.VSTeamPolicy()
    policy.loadBalance = vs.TEAM_FRP_TYPE_FO_EXPLICIT
    policy.linkCriteria = vs.TEAM_FRP_CRIT_LINK_STATE
    policy.flags = vs.TEAM_FRP_FLAG_NOTIFY_SWITCH
    policy.numActive, policy.numStandby = 1, 1
    policy[0], policy[1] = UPLINKS
    with step("cannot set the teaming policy"):
        check(vs.VSDVS_SetTeamingPolicy(SWITCH, policy))

    for port, (connection, vlan) in PORTS.items():
        with step(f"cannot set up the port {port}"):
            print(f"  port {port}: {ensure(vs.VSDVS_AddDVPort(SWITCH, port, connection))}")
            check(vs.VSDVS_SetPortVLANPolicy(SWITCH, port, vlan, vs.QEL_VLAN_PRIORITY_INVALID, 0, 0, None, 0))


def show(alias: str) -> None:
    with allocated(vs.VSQEL_GetSwitchInfo, alias) as info:
        print(f"{alias}: MTU {info.mtu}, {info.activePorts} active of at most {info.maxPorts} ports")
    with allocated(vs.VSDVS_GetSwitchUplinkPorts, alias) as (names, port_ids):
        for name, port_id in zip(names, port_ids):
            state = check(vs.VSQEL_GetUplinkLinkState(alias, name))
            print(f"  uplink {name} on port {port_id}: link {'up' if state == vs.QEL_LINK_STATE_UP else 'down'}")
    policy = vs.VSTeamPolicy()
    check(vs.VSDVS_GetTeamingPolicy(alias, policy))
    order = list(policy)
    print(f"  teaming: active {order[: policy.numActive]}, standby {order[policy.numActive :]}")


def show_port(port: str) -> None:
    number = check(vs.VSDVS_DvPortIDToPortID(SWITCH, port))
    with allocated(vs.VSDVS_GetPortVLANPolicy, SWITCH, port) as (policy, _):
        print(f"  port {port} has the number {number} and VLAN {policy.vlanID}")


def main() -> int:
    set_up()
    print()
    with step("cannot list the switches"):
        for alias in vs.VSQEL_GetSwitchesPy(vs.VS_LIST_DVS_ALIAS) or ():
            if alias is not None:
                show(alias)
        for port in PORTS:
            show_port(port)
    print()
    try:
        check(vs.VSDVS_SetMTU(SWITCH, 64))
    except VSwitchError as error:
        print(f"an MTU of 64 is refused: {error.name} (0x{error.status:08x})")
        return 0
    return 1


if __name__ == "__main__":
    sys.exit(main())
