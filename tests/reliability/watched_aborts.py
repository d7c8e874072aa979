"""Calls that are aborted, callbacks, and walks through what the host hands out, for test_valgrind.py.

Usage: watched_aborts.py stand-ins    on the recording stand-ins, every third call aborted
       watched_aborts.py host         on a simulated host with a rule that aborts calls
"""

import os
import sys
from collections.abc import Callable
from typing import Any

ROUNDS = 5


def on_the_stand_ins() -> None:
    """Each function of the module and of the layer; then walks within walks."""
    import libvswitch as vs
    import _libvswitch as m
    from recording import rec
    from storm import NAMES, Aborted, Script, calls_in_progress, gate, settle

    aborted = []
    for module in (m, vs):
        script = Script(module, 3, 600)
        script.reset()
        for position, (entry, arguments) in enumerate(script.calls):
            if position % 100 == 0:
                rec.recorder_reset()
            if position % 3 == 0:
                gate.gate_abort(Aborted, 0, 0)
            try:
                settle(NAMES[entry], script.functions[entry](*arguments))
            except Aborted:
                aborted.append(entry)
            except (ValueError, NotImplementedError):
                pass
    assert len(aborted) == 400 and not gate.gate_pending()

    walk = NAMES.index("DVSState_SwitchForEach")
    ended = []

    def visit(handle: object) -> None:
        depth = calls_in_progress()
        gate.gate_walk(walk, 0, 2, 1, Aborted)
        if depth < 8:
            go(depth)
        gate.gate_walk(walk, 0, 2, 1, Aborted)

    def go(depth: int) -> None:
        with vs.callback(visit) as visitor:
            try:
                vs.DVSState_SwitchForEach(visitor, None)
            except Aborted:
                ended.append(depth)

    gate.gate_walk(walk, 0, 2, 1, Aborted)
    go(0)
    assert ended == [7, 6, 5, 4, 3, 2, 1, 0]


def on_the_host() -> None:
    """What an administration script does, with some calls of every kind aborted each time."""
    import libvswitch as vs

    aborted, done = [], []

    def attempt(function: Callable[..., Any], *arguments: object) -> Any:
        try:
            result = function(*arguments)
        except RuntimeError:
            aborted.append(function.__name__)
            return None
        done.append(function.__name__)
        return result

    def navigate(function: Callable[..., Any], *arguments: object) -> None:
        """Through everything that a call hands out, which is released then."""
        try:
            with vs.allocated(function, *arguments) as outputs:
                done.append(function.__name__)
                for item in outputs if isinstance(outputs, tuple) else (outputs,):
                    repr(item)
                    fields = [kind for kind in vars(type(item)) if not kind.startswith("_")]
                    [getattr(item, field) for field in fields]
                    try:
                        [repr(entry) for entry in item]
                    except TypeError:
                        pass
        except RuntimeError:
            aborted.append(function.__name__)
        except vs.VSwitchError:
            pass

    def visit(switch: Any) -> None:
        attempt(vs.DVS_SwitchName, switch)
        attempt(vs.VSDVS_SetMTU, "lab", 1500)
        navigate(vs.VSQEL_GetSwitchInfo, "lab")
        attempt(walk_ports, switch)

    def walk_ports(switch: Any) -> None:
        with vs.callback(lambda port: navigate(vs.VSQEL_GetSwitchInfo, "management")) as visitor:
            vs.DVSState_PortForEach(switch, visitor, None)

    def walk() -> None:
        with vs.callback(visit) as visitor:
            vs.DVSState_SwitchForEach(visitor, None)

    def image() -> None:
        image, length = vs.cell("void **"), vs.cell("int *")
        if vs.DVSQEL_StateGet(image, length) == vs.QEL_OK:
            assert image.value
            vs.pointed_bytes(image.value, length.value)
            vs.DVSQEL_DataFree(image.value)

    for _ in range(ROUNDS):
        attempt(vs.VSDVS_CreateVSwitch, "lab", "lab-id", "", 16, 0, 9000, vs.DVS_VERSION_70, 0)
        attempt(vs.VSDVS_AddSwitchUplinkPort, "lab", "nic5")
        for number in range(4):
            attempt(vs.VSDVS_AddDVPort, "lab", f"port-{number}", 7)
            attempt(vs.VSDVS_SetPortProp, "lab", f"port-{number}", "probe", b"port", 4, "", 1)
        attempt(vs.VSDVS_AddOpaqueDVPort, "lab", "opaque", "external")
        attempt(vs.VSDVS_SetGlobProp, "lab", "probe", b"value", 5, "", 1)
        for name in ("lab", "management", "workload"):
            navigate(vs.VSQEL_GetSwitchInfo, name)
            navigate(vs.VSDVS_GetSwitchUplinkPorts, name)
            navigate(vs.VSDVS_GetDVMirrorSessions, name, None)
        attempt(walk)
        attempt(image)
        attempt(vs.VSDVS_RemoveDVPort, "lab", "port-1")
        attempt(vs.VSDVS_DestroyVSwitch, "lab")
    assert len(set(aborted)) > 10 and len(set(done)) > 10, (aborted, done)


def main(where: str) -> None:
    os.dup2(os.open(os.devnull, os.O_WRONLY), 1)
    {"stand-ins": on_the_stand_ins, "host": on_the_host}[where]()


main(sys.argv[1])
