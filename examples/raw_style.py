"""Sets up a switch as scripts did before there was a comfortable layer: only functions of the native module.

Every status is looked at by hand, every field has a function that reads and one that writes it, and what the library
hands out is given back. `import _libvswitch as vs` would do as well.
"""

import sys

import libvswitch as vs

SWITCH = "backup"
UPLINK = "nic3"
PORTS = {"tape-1": 301, "tape-2": 302}


def done(what: str, status: int) -> bool:
    """Whether a call did its work, now or at an earlier run; says so."""
    if status not in (vs.QEL_OK, vs.QEL_EXISTS):
        print(f"cannot {what}: {vs.QEL_ReturnStatusToString(status)}", file=sys.stderr)
        return False
    print(f"{what}: {'done' if status == vs.QEL_OK else 'was done before'}")
    return True


def set_up() -> bool:
    status = vs.VSDVS_CreateVSwitch(SWITCH, "5f-2b-backup", "", 16, 1, 1500, vs.DVS_VERSION_70, 0)
    if not done(f"create the switch {SWITCH}", status):
        return False
    if not done(f"add the uplink {UPLINK}", vs.VSDVS_AddSwitchUplinkPort(SWITCH, UPLINK)):
        return False
    if not done("set the MTU", vs.VSDVS_SetMTU(SWITCH, 9000)):
        return False

    policy = vs.new_VSTeamPolicy()
    if policy is None:
        print("cannot set the teaming policy: no memory", file=sys.stderr)
        return False
    vs.VSTeamPolicy_loadBalance_set(policy, vs.TEAM_FRP_TYPE_FO_EXPLICIT)
    vs.VSTeamPolicy_linkCriteria_set(policy, vs.TEAM_FRP_CRIT_LINK_STATE)
    vs.VSTeamPolicy_numActive_set(policy, 1)
    vs.VSTeamPolicy___setitem__(policy, 0, UPLINK)
    status = vs.VSDVS_SetTeamingPolicy(SWITCH, policy)
    vs.delete_VSTeamPolicy(policy)
    if not done("set the teaming policy", status):
        return False

    return all(done(f"add the port {port}", vs.VSDVS_AddDVPort(SWITCH, port, number)) for port, number in PORTS.items())


def show() -> bool:
    status, info = vs.VSQEL_GetSwitchInfo(SWITCH)
    if status != vs.QEL_OK:
        print(f"cannot read the switch: {vs.QEL_ReturnStatusToString(status)}", file=sys.stderr)
        return False
    print(f"{SWITCH}: MTU {vs.VSInfo_mtu_get(info)}, {vs.VSInfo_activePorts_get(info)} active ports")
    vs.VSQEL_FreeMemory(info)

    status, names, port_ids = vs.VSDVS_GetSwitchUplinkPorts(SWITCH)
    if status != vs.QEL_OK:
        print(f"cannot list the uplinks: {vs.QEL_ReturnStatusToString(status)}", file=sys.stderr)
        return False
    for index in range(vs.VSUplinkPorts_nUplinkPorts_get(names)):
        name = vs.VSUplinkPorts___getitem__(names, index)
        print(f"  uplink {name} on port {vs.VSUplinkPortIds___getitem__(port_ids, index)}")
    vs.VSDVS_FreeMemory(names)
    vs.VSDVS_FreeMemory(port_ids)
    return True


if __name__ == "__main__":
    sys.exit(0 if set_up() and show() else 1)
