"""Sets up a distributed switch: uplinks, MTU, teaming order, ports; then lists what the host has.

Running it again finds the switch there and brings it to the same state.
"""

import sys

import libvswitch as vs
from libvswitch import VSwitchError, check

SWITCH = "production"
UPLINKS = ["nic4", "nic5"]
PORTS = {"web-1": 101, "web-2": 102, "database": 201}


def ensure(status: int) -> str:
    """Accepts a thing that is there already."""
    if status == vs.QEL_EXISTS:
        return "already there"
    check(status)
    return "created"


def set_up() -> None:
    created = ensure(vs.VSDVS_CreateVSwitch(SWITCH, "5f-2a-production", "", 64, 1, 1500, vs.DVS_VERSION_70, 0))
    print(f"switch {SWITCH}: {created}")
    for uplink in UPLINKS:
        print(f"  uplink {uplink}: {ensure(vs.VSDVS_AddSwitchUplinkPort(SWITCH, uplink))}")
    check(vs.VSDVS_SetMTU(SWITCH, 9000))

    policy = vs.VSTeamPolicy()
    policy.loadBalance = vs.TEAM_FRP_TYPE_FO_EXPLICIT
    policy.linkCriteria = vs.TEAM_FRP_CRIT_LINK_STATE
    policy.flags = vs.TEAM_FRP_FLAG_NOTIFY_SWITCH
    policy.numActive, policy.numStandby = 1, 1
    policy[0], policy[1] = UPLINKS
    check(vs.VSDVS_SetTeamingPolicy(SWITCH, policy))

    for port, connection in PORTS.items():
        print(f"  port {port}: {ensure(vs.VSDVS_AddDVPort(SWITCH, port, connection))}")


def show(alias: str) -> None:
    info = check(vs.VSQEL_GetSwitchInfo(alias))
    print(f"{alias}: MTU {info.mtu}, {info.activePorts} active of at most {info.maxPorts} ports")
    names, port_ids = check(vs.VSDVS_GetSwitchUplinkPorts(alias))
    for name, port_id in zip(names, port_ids):
        state = check(vs.VSQEL_GetUplinkLinkState(alias, name))
        print(f"  uplink {name} on port {port_id}: link {'up' if state == vs.QEL_LINK_STATE_UP else 'down'}")
    policy = vs.VSTeamPolicy()
    check(vs.VSDVS_GetTeamingPolicy(alias, policy))
    order = [policy[index] for index in range(policy.numActive + policy.numStandby)]
    print(f"  teaming: active {order[: policy.numActive]}, standby {order[policy.numActive :]}")
    for record in (info, names, port_ids):
        vs.VSQEL_FreeMemory(record)


def main() -> int:
    set_up()
    print()
    switches = vs.VSQEL_GetSwitchesPy(vs.VS_LIST_DVS_ALIAS)
    for index in range(switches.count):
        show(switches[index])
    for port in PORTS:
        print(f"  port {port} has the number {check(vs.VSDVS_DvPortIDToPortID(SWITCH, port))}")
    print()
    try:
        check(vs.VSDVS_SetMTU(SWITCH, 64))
    except VSwitchError as error:
        print(f"an MTU of 64 is refused: {error.name} (0x{error.status:08x})")
        return 0
    return 1


if __name__ == "__main__":
    sys.exit(main())
