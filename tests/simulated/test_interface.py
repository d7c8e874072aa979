"""The Python interface of simulated hosts: endpoints, results, errors, use, time; each rule by its id.
Long because these are: a few tests for every one."""

import collections.abc
import enum
import inspect
import json
import os
import pathlib
import subprocess
import sys
from collections.abc import Callable
from typing import Any

import pytest
from hosts import description, each, frame, host, mac
from workspace import BUILD, Script

import vswitch.simulated
from vswitch.simulated import (
    BusyError,
    Capture,
    Client,
    Delivery,
    Drop,
    Explanation,
    Group,
    Kind,
    LacpPartner,
    MacEntry,
    NoSpaceError,
    ReadOnlyError,
    Reason,
    Result,
    SimulatedHost,
    SimulationError,
    Step,
)

A, B, C = ("sw", "a"), ("sw", "b"), ("sw", "c")
TOOL = BUILD / "host" / "bin" / "vswitch-host"


def tool(state: pathlib.Path, *command: str) -> str:
    process = subprocess.run([TOOL, "--host", state, *command], capture_output=True, text=True, check=False)
    assert process.returncode == 0, process.stderr
    return process.stdout


def test_the_example() -> None:
    from vswitch.simulated import Reason, SimulatedHost
    boot = {"format": 1, "stopped_clock": 0, "physical_nics": [{"name": "nic0", "mac": "02:00:00:00:00:01"}],
            "switches": [{"alias": "sw", "switch_id": "id",
            "uplinks": [{"name": "nic0"}], "ports": [{"dvport_id": "a",
                                                      "client": {"name": "a", "type": "vnic",
                                                                 "mac": "02:00:00:00:01:0a"}}]}]}
    with SimulatedHost(boot=boot) as host:
        frame = bytes.fromhex("ffffffffffff 02000000010a 0800") + bytes(46)
        assert host.send(("sw", "a"), frame).to("nic0") == [frame]
        assert host.send("nic0", frame).drops[0].reason is Reason.REFLECTED       # T-4


# ---- the closed set of names -----------------------------------------------------------------------------------------

FIELDS = {
    "Delivery": "endpoint frame kind index",
    "Drop": "place reason stage index",
    "Step": "rule place text outcome",
    "Fault": "number kind call status exception message milliseconds skip times probability seed met",
    "Client": "name type assigned_mac mac promiscuous link groups multicast_macs",
    "Group": "address sources mode version",
    "LacpPartner": "system system_priority key port port_priority active fast aggregatable on",
    "LacpState": "receive selected up actor_state partner_state partner_system partner_key sent received bad changes",
    "MacEntry": "mac vlan type port elapsed moves team",
}
METHODS = {
    "__init__": "(self, path: 'str | os.PathLike[str]' = ':memory:', boot: 'Mapping[str, object] | str |"
    " os.PathLike[str] | None' = None) -> 'None'",
    "current": "() -> 'SimulatedHost'",
    "use": "(self) -> 'None'",
    "__enter__": "(self) -> 'Self'",
    "__exit__": "(self, *exc: 'object') -> 'None'",
    "close": "(self) -> 'None'",
    "fork": "(self) -> 'SimulatedHost'",
    "reset": "(self) -> 'None'",
    "boot": "(self) -> 'None'",
    "snapshot": "(self, path: 'str | os.PathLike[str]', *, force: 'bool' = False) -> 'None'",
    "stop_clock": "(self, at: 'float | None' = None) -> 'None'",
    "run_clock": "(self) -> 'None'",
    "advance": "(self, seconds: 'float') -> 'Result'",
    "endpoints": "(self) -> 'list[Endpoint]'",
    "send": "(self, endpoint: 'Endpoint', frame: 'Buffer') -> 'Result'",
    "send_many": "(self, frames: 'Iterable[tuple[Endpoint, Buffer]]', *, count_only: 'bool' = False) -> 'Result'",
    "explain": "(self, endpoint: 'Endpoint', frame: 'Buffer') -> 'Explanation'",
    "capture": "(self, endpoint: 'Endpoint', path: 'str | os.PathLike[str]', direction:"
    " \"Literal['in', 'out', 'both']\" = 'both', snaplen: 'int' = 262144) -> 'Capture'",
    "replay": "(self, endpoint: 'Endpoint', path: 'str | os.PathLike[str]', *, timing: 'bool' = False) -> 'Result'",
    "connect": "(self, port: 'tuple[str, str]', name: 'str', mac: 'str | None' = None, type:"
    " \"Literal['vnic', 'tcpip']\" = 'vnic') -> 'None'",
    "disconnect": "(self, port: 'tuple[str, str]') -> 'None'",
    "client": "(self, port: 'tuple[str, str]') -> 'Client'",
    "set_client": "(self, port: 'tuple[str, str]', *, mac: 'str | None' = Ellipsis, promiscuous: 'bool' = Ellipsis,"
    " link: 'bool' = Ellipsis, groups: 'Iterable[Group | str]' = Ellipsis, multicast_macs: 'Iterable[str]' ="
    " Ellipsis) -> 'None'",
    "link": "(self, nic: 'str', up: 'bool') -> 'None'",
    "set_nic": "(self, nic: 'str', *, errors: 'int' = Ellipsis, segment: 'str' = Ellipsis) -> 'None'",
    "set_partner": "(self, nic: 'str', partner: 'LacpPartner | None') -> 'None'",
    "lacp": "(self, nic: 'str') -> 'LacpState'",
    "counters": "(self, endpoint: 'Endpoint') -> 'dict[str, int]'",
    "mac_table": "(self, alias: 'str') -> 'list[MacEntry]'",
    "fault": "(self, kind: 'str', call: 'str | None' = None, *, status: 'str | None' = None, exception: 'str | None' ="
    " None, message: 'str | None' = None, milliseconds: 'int' = 0, skip: 'int' = 0, times: 'int | None' = None,"
    " probability: 'float' = 1.0, seed: 'int' = 0) -> 'int'",
    "faults": "(self) -> 'list[Fault]'",
    "clear_fault": "(self, number: 'int | None' = None) -> 'None'",
}
ATTRIBUTES = {"path", "now", "now_us", "trace"}
REASONS = """nic-unbound no-portset forwarding-disabled zombie-port no-client link-down port-blocked runt malformed
too-long reserved-address bad-source forged-source lacp-down mirror-destination vlan-reserved vlan-tagged
vlan-not-allowed vlan-untagged nested-tag private-vlan mac-limit unknown-unicast same-port uplink-to-uplink not-a-member
multicast-filtered no-receiver reverse-path no-uplink team-blocked mac-changed reflected no-nic vlan-egress""".split()


def test_the_records_have_these_members() -> None:
    assert {name: " ".join(getattr(vswitch.simulated, name)._fields) for name in FIELDS} == FIELDS
    assert {name: getattr(vswitch.simulated, name).__module__ for name in vswitch.simulated.__all__
            if isinstance(getattr(vswitch.simulated, name), type)} == {
        name: "vswitch.simulated" for name in vswitch.simulated.__all__ if name not in ("Endpoint", "Buffer")}


def test_the_defaults_of_records() -> None:
    assert Group("239.1.1.1") == ("239.1.1.1", (), "include", None)
    assert LacpPartner() == ("02:00:00:ff:ff:01", 32768, 1, 1, 32768, True, False, True, True)


def test_a_host_has_these_methods() -> None:
    public = {name for name in vars(SimulatedHost) if not name.startswith("_")} | {"__init__", "__enter__", "__exit__"}
    assert public == METHODS.keys() | ATTRIBUTES
    assert {name: str(inspect.signature(getattr(SimulatedHost, name))) for name in METHODS} == METHODS
    for name in public - {"__init__", "__enter__", "__exit__"}:
        assert inspect.getdoc(getattr(SimulatedHost, name)), name


def test_reasons_and_kinds_are_a_closed_set() -> None:
    assert [reason.value for reason in Reason] == REASONS
    assert [reason.name for reason in Reason] == [name.upper().replace("-", "_") for name in REASONS]
    assert [vswitch.simulated._native.reason_name(number + 1) for number in range(len(REASONS))] == REASONS
    assert [vswitch.simulated._native.reason_name(number) for number in (0, len(REASONS) + 1, 65536)] == [None] * 3
    assert [(kind.name, kind.value) for kind in Kind] == [
        ("FRAME", "frame"), ("PROMISCUOUS", "promiscuous"), ("MIRROR", "mirror"), ("MADE", "made")]
    assert issubclass(Reason, enum.Enum) and issubclass(Kind, enum.Enum)


def test_errors_are_of_one_family() -> None:
    assert SimulationError.__bases__ == (Exception,)
    assert {error.__bases__ for error in (BusyError, ReadOnlyError, NoSpaceError)} == {(SimulationError,)}


# ---- API-1 -----------------------------------------------------------------------------------------------------------


def test_API_1_endpoints_are_ports_with_a_client_and_then_nics() -> None:
    it = host({"b": {}, "empty": {}, "a": {}}, nics=2)
    it.disconnect(("sw", "empty"))
    assert it.endpoints() == [("sw", "b"), ("sw", "a"), "nic0", "nic1"]


def test_API_1_frames_go_from_the_client_and_from_the_wire() -> None:
    it = host(2)
    out = it.send(A, frame(mac(10)))
    # The uplink's port was made first: its number is the lowest.
    assert [(d.endpoint, d.kind, d.index) for d in out.deliveries] == [("nic0", Kind.FRAME, 0), (B, Kind.FRAME, 0)]
    into = it.send("nic0", frame("02:00:00:00:09:01"))
    assert [d.endpoint for d in into.deliveries] == [A, B]


def test_API_1_the_port_of_an_uplink_is_no_endpoint(tmp_path: pathlib.Path) -> None:
    it = host(1)
    port = ("sw", "uplink-1")
    text = "is an uplink port: send to its NIC"
    for operation in each(lambda: it.send(port, frame(mac(10))), lambda: it.explain(port, b""),
                          lambda: it.send_many([(port, b"")]), lambda: it.capture(port, tmp_path / "x")):
        with pytest.raises(ValueError, match=text):
            operation()
    assert not (tmp_path / "x").exists()


def test_API_1_an_uplink_port_without_nic_is_a_place_of_drops() -> None:
    boot = description(1, nics=1)
    boot["switches"][0]["uplinks"] = [{"name": "u", "nic": None}]
    boot["switches"][0]["global_properties"] = []
    it = SimulatedHost(boot=boot)
    result = it.send(A, frame(mac(10), "02:00:00:00:09:09"))
    assert not result
    # Whether teaming has such an uplink is its business; a place of a drop is an endpoint or the uplink's port.
    assert {drop.place for drop in result.drops} <= {A, ("sw", "uplink-1")}


# ---- API-2 -----------------------------------------------------------------------------------------------------------

USE = """
import sys
sys.path.append({tests!r})
from hosts import description
import libvswitch as vs
import vswitch
from vswitch.simulated import SimulatedHost

def aliases():
    aliases = [switch.alias for switch in vswitch.Host().switches.values()]
    assert aliases == list(vs.VSQEL_GetSwitchesPy(vs.VS_LIST_DVS_ALIAS))
    return sorted(vswitch.Host().switches)

outside = aliases()
assert outside == ["management", "workload"]
one, two = SimulatedHost(boot=description(alias="one")), SimulatedHost(boot=description(alias="two"))
with one as entered:
    assert entered is one and SimulatedHost.current() is one
    assert aliases() == ["one"]
    vs.check(vs.VSDVS_SetMTU("one", 9000))
    with two:
        assert aliases() == ["two"] and SimulatedHost.current() is two
        with one:
            assert aliases() == ["one"]
            assert vswitch.Host().switches["one"].mtu == 9000
        assert aliases() == ["two"]
    assert aliases() == ["one"]
assert aliases() == outside
one.use()
two.use()
assert aliases() == ["two"]
two.close()
assert aliases() == ["one"]
one.close()
assert aliases() == outside

# A handle belongs to the host that gave it.
three = SimulatedHost(boot=description(alias="three"))
with three:
    handle = vs.DVSState_SwitchFindByAlias("three")
    assert vs.DVS_SwitchName(handle) == "three"
assert vs.DVS_SwitchName(handle) is None
with three:
    assert vs.DVS_SwitchName(handle) == "three"

# A host that is closed while it is in use goes when it is left.
with three:
    three.close()
    assert aliases() == ["three"]
assert aliases() == outside

# That of the environment is the current one where none is in use.
current = SimulatedHost.current()
assert current.endpoints()[0][0] in outside
current.close()
assert aliases() == outside
print("done")
"""


def test_API_2_use_makes_the_libraries_answer_for_a_host(script: Script) -> None:
    assert script(USE.replace("{tests!r}", repr(os.path.dirname(__file__)))) == "done\n"


def test_API_2_what_one_layer_sets_frames_meet(script: Script) -> None:
    """A policy that is set by the objects holds for the next frame; counters that frames change are those of the
    calls."""
    source = f"""
    import sys
    sys.path.append({os.path.dirname(__file__)!r})
    from hosts import description, frame, mac
    import libvswitch as vs
    import vswitch
    from vswitch.simulated import Reason, SimulatedHost
    with SimulatedHost(boot=description(2)) as host:
        port = vswitch.Host().switches["sw"].ports["a"]
        assert host.send(("sw", "a"), frame(mac(99)))
        port.vlan = 10
        assert host.send(("sw", "a"), frame(mac(10))).to("nic0")[0][12:16].hex() == "8100000a"
        counters = host.counters(("sw", "a"))
        assert counters["pktsInBroadcast"] == 2 and counters["bytesInBroadcast"] == 120
        print(port.statistics.packets_in)
    """
    assert script(source) == "2\n"


# ---- API-3 -----------------------------------------------------------------------------------------------------------


def test_API_3_faults_meet_the_libraries_and_not_this_interface(script: Script) -> None:
    source = f"""
    import sys
    sys.path.append({os.path.dirname(__file__)!r})
    from hosts import description, frame, mac
    import libvswitch as vs
    from vswitch.simulated import SimulatedHost
    with SimulatedHost(boot=description(2)) as host:
        number = host.fault("fail", "VSDVS_SetMTU", status="QEL_BUSY", times=1)
        every = host.fault("fail", status="QEL_TIMEOUT", skip=1)
        assert (number, every) == (1, 2)
        assert vs.VSDVS_SetMTU("sw", 9000) == vs.QEL_BUSY
        assert vs.VSDVS_SetMTU("sw", 9000) == vs.QEL_OK
        assert vs.VSDVS_SetMTU("sw", 9000) == vs.QEL_TIMEOUT
        assert host.send(("sw", "a"), frame(mac(10)))
        host.counters("nic0"); host.mac_table("sw"); host.client(("sw", "a")); host.boot()
        one, two = host.faults()
        assert (one.number, one.kind, one.call, one.status, one.skip, one.met) == (
            1, "fail", "VSDVS_SetMTU", "QEL_BUSY", 0, 1), one
        assert (two.call, two.exception, two.message, two.milliseconds, two.probability, two.seed) == (
            None, None, "", 0, 1.0, 0), two
        host.clear_fault(1)
        assert [fault.number for fault in host.faults()] == [2]
        host.clear_fault()
        assert host.faults() == [] and vs.VSDVS_SetMTU("sw", 9000) == vs.QEL_OK
        try:
            host.clear_fault(7)
        except ValueError as error:
            print(error)
    """
    assert "7" in script(source)


def test_API_3_a_wrong_rule_is_refused() -> None:
    it: Any = host()
    for wrong in ({"kind": "explode"}, {"kind": "fail", "status": "QEL_NO_SUCH"}, {"kind": "fail", "call": "no_such"},
                  {"kind": "delay", "milliseconds": 60001}, {"kind": "fail", "status": "QEL_BUSY", "probability": 1.5},
                  {"kind": "fail", "status": "QEL_BUSY", "skip": -1}):
        with pytest.raises((ValueError, SimulationError)):
            it.fault(**wrong)
    assert it.faults() == []
    with pytest.raises(TypeError):
        it.fault(1)
    with pytest.raises(TypeError):
        it.fault("fail", status=5)


# ---- API-5, API-12 ---------------------------------------------------------------------------------------------------


@pytest.mark.parametrize(("endpoint", "text"), [
    (("no", "a"), "no switch 'no'"), (("sw", "no"), "no port 'no' on switch 'sw'"), ("no", "no NIC 'no'"),
    ("", "no NIC ''"), (("", ""), "no switch ''"), ("nic0\0x", "no NIC 'nic0\0x'"),
    (("sw\0", "a"), "no switch 'sw\0'"), (("sw", "a\0"), "no port 'a\0' on switch 'sw'"),
    ("\udcff", "no NIC '\udcff'"), ("\ud800", None),
])
def test_API_12_what_is_no_endpoint_of_the_host(endpoint: Any, text: str, tmp_path: pathlib.Path) -> None:
    it = host()
    before = it.now_us
    for operation in each(
        lambda: it.send(endpoint, b""),
        lambda: it.explain(endpoint, b""),
        lambda: it.counters(endpoint),
        lambda: it.send_many([(A, frame(mac(10))), (endpoint, b"")]),
        lambda: it.capture(endpoint, tmp_path / "x"),
        lambda: it.replay(endpoint, tmp_path / "y"),
    ):
        with pytest.raises(ValueError) as error:
            operation()
        assert text is None or str(error.value) == text
    assert it.counters(A)["pktsInBroadcast"] == 0 and it.now_us == before


@pytest.mark.parametrize("endpoint", [None, 5, b"nic0", ["sw", "a"], ("sw", 1), (1, "a"), ("sw", None), {"a": 1}])
def test_API_5_another_type_of_endpoint(endpoint: Any) -> None:
    it = host()
    for operation in each(lambda: it.send(endpoint, b""), lambda: it.explain(endpoint, b""),
                          lambda: it.counters(endpoint), lambda: it.send_many([(endpoint, b"")])):
        with pytest.raises(TypeError):
            operation()


@pytest.mark.parametrize("endpoint", [(), ("sw",), ("sw", "a", "b")])
def test_API_5_a_tuple_that_is_no_endpoint(endpoint: Any) -> None:
    with pytest.raises(ValueError, match="endpoint"):
        host().send(endpoint, b"")


def test_API_5_frames_are_bytes_or_give_them() -> None:
    class Packet:
        def __bytes__(self) -> bytes:
            return frame(mac(10))

    class Broken:
        def __bytes__(self) -> bytes:
            raise RuntimeError("no bytes")

    it: Any = host()
    wanted = it.fork().send(A, frame(mac(10)))
    for one in (bytearray(frame(mac(10))), memoryview(frame(mac(10))), Packet(),
                memoryview(bytearray(frame(mac(10)) * 2))[:60]):
        assert it.fork().send(A, one) == wanted
        assert it.fork().send_many([(A, one)]) == wanted
    every_second = bytearray(b"".join(bytes((byte, 0)) for byte in frame(mac(10))))
    assert it.fork().send(A, memoryview(every_second)[::2]) == wanted
    for wrong in ("text", 60, None, [1, 2], 3.5):
        with pytest.raises(TypeError, match="frame"):
            it.send(A, wrong)
        with pytest.raises(TypeError, match=r"frames\[1\]"):
            it.send_many([(A, b""), (A, wrong)])
    with pytest.raises(RuntimeError, match="no bytes"):
        it.send(A, Broken())
    assert it.counters(A)["pktsInDropped"] == 0


def test_API_5_what_is_no_pair() -> None:
    it: Any = host()
    for wrong in (A, "nic0", 5, None, [A, b""], (A,), (A, b"", b"")):
        with pytest.raises(TypeError, match=r"frames\[0\]"):
            it.send_many([wrong])
    with pytest.raises(TypeError):
        it.send_many(5)
    with pytest.raises(ZeroDivisionError):
        it.send_many((A, b"") for _ in range(3) if 1 // 0)


group: Any = Group


@pytest.mark.parametrize("call", [
    lambda it: it.advance(-1), lambda it: it.advance(3.3e9), lambda it: it.advance(float("nan")),
    lambda it: it.advance(float("inf")), lambda it: it.stop_clock(-1), lambda it: it.stop_clock(float("nan")),
    lambda it: it.capture(A, "x", "sideways"), lambda it: it.capture(A, "x", snaplen=-1),
    lambda it: it.capture(A, "x", snaplen=2**32), lambda it: it.connect(("sw", "a"), "x", type="vm"),
    lambda it: it.set_client(A, mac="02:00:00:00:01"), lambda it: it.set_client(A, mac="01:00:00:00:00:01"),
    lambda it: it.set_client(A, mac="00:00:00:00:00:00"), lambda it: it.set_client(A, groups=["10.0.0.1"]),
    lambda it: it.set_client(A, groups=["239.1.1.1", "239.1.1.1"]), lambda it: it.set_client(A, groups=["nobody"]),
    lambda it: it.set_client(A, groups=[Group("239.1.1.1", tuple(f"192.0.2.{n}" for n in range(1, 66)))]),
    lambda it: it.set_client(A, groups=[group("239.1.1.1", ("192.0.2.1",), "sometimes")]),
    lambda it: it.set_client(A, multicast_macs=["02:00:00:00:00:01x"]),
    lambda it: it.set_nic("nic0", errors=101), lambda it: it.set_nic("nic0", errors=-1),
    lambda it: it.set_nic("nic0", segment="x" * 32), lambda it: it.mac_table("no"), lambda it: it.link("no", True),
    lambda it: it.set_nic("no", errors=1), lambda it: it.lacp("no"), lambda it: it.client(("sw", "no")),
    lambda it: it.clear_fault(0), lambda it: it.clear_fault(-1), lambda it: it.fault("fail", probability=float("nan")),
])
def test_API_5_what_cannot_be(
    call: Callable[[Any], object], tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.chdir(tmp_path)
    it = host()
    with pytest.raises(ValueError):
        call(it)
    assert list(tmp_path.iterdir()) == []


@pytest.mark.parametrize("call", [
    lambda it: it.advance("1"), lambda it: it.stop_clock("1"), lambda it: it.capture(A, 5.5),
    lambda it: it.capture(A, "x", snaplen="1"), lambda it: it.connect("nic0", "x"), lambda it: it.connect(A, 5),
    lambda it: it.connect(A, "x", 5), lambda it: it.set_client(A, mac=5), lambda it: it.set_client(A, promiscuous=1),
    lambda it: it.set_client(A, link="up"), lambda it: it.set_client(A, groups="239.1.1.1"),
    lambda it: it.set_client(A, groups=[5]), lambda it: it.set_client(A, multicast_macs="01:00:5e:00:00:01"),
    lambda it: it.set_client(A, groups=5), lambda it: it.link(A, True), lambda it: it.link("nic0", 1),
    lambda it: it.set_nic("nic0", errors="1"), lambda it: it.set_nic("nic0", segment=1), lambda it: it.lacp(A),
    lambda it: it.set_partner("nic0", {"key": 1}), lambda it: it.mac_table(5), lambda it: it.client("nic0"),
    lambda it: it.clear_fault("1"), lambda it: type(it)(5), lambda it: type(it)(boot=5),
    lambda it: type(it)(boot={"format": {1}}), lambda it: it.snapshot(5), lambda it: it.replay(A, 5.5),
])
def test_API_5_another_type(
    call: Callable[[Any], object], tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.chdir(tmp_path)
    it = host()
    with pytest.raises(TypeError):
        call(it)
    assert list(tmp_path.iterdir()) == []


def test_API_12_what_a_port_and_a_nic_are_not_in_a_state_for() -> None:
    boot = description(2, nics=2)
    boot["switches"][0]["uplinks"] = [{"name": "nic0"}]
    it = SimulatedHost(boot=boot)
    it.disconnect(B)
    uplink = ("sw", "uplink-1")
    for call in each(lambda: it.set_client(B, link=False), lambda: it.disconnect(B), lambda: it.client(B),
                     lambda: it.connect(A, "again"), lambda: it.connect(uplink, "x"), lambda: it.disconnect(uplink),
                     lambda: it.set_client(uplink, link=False), lambda: it.lacp("nic0"), lambda: it.counters("nic1")):
        with pytest.raises(SimulationError) as error:
            call()
        assert type(error.value) is SimulationError and str(error.value)
    assert it.endpoints() == [A, "nic0", "nic1"]


def test_API_5_a_running_clock_is_a_simulation_error() -> None:
    boot = description()
    del boot["stopped_clock"]
    it = SimulatedHost(boot=boot)
    for seconds in (0, 1.5):
        with pytest.raises(SimulationError) as error:
            it.advance(seconds)
        assert str(error.value) == "the clock is running; stop it first"


def test_API_5_a_state_file_that_is_none(tmp_path: pathlib.Path) -> None:
    state = tmp_path / "host.db"
    state.write_bytes(b"no state file " * 100)
    with pytest.raises(SimulationError, match=str(state)):
        SimulatedHost(state)
    process = subprocess.run([TOOL, "--host", state, "show"], capture_output=True, text=True, check=False)
    with pytest.raises(SimulationError) as error:
        SimulatedHost(str(state))
    assert str(error.value) in process.stderr


def test_API_5_a_closed_host() -> None:
    it = host()
    result = it.send(A, frame(mac(10)))
    it.close()
    it.close()
    for call in each(lambda: it.send(A, b""), lambda: it.now, lambda: it.path, lambda: it.endpoints(), lambda: it.use(),
                     lambda: it.fork()):
        with pytest.raises(SimulationError, match="closed"):
            call()
    assert result.to(B) == [frame(mac(10))] and repr(it) == "<SimulatedHost, closed>"


# ---- API-6, API-7 ----------------------------------------------------------------------------------------------------


def test_API_6_a_batch_has_a_limit() -> None:
    it = host(2)
    one = (A, frame(mac(10), mac(11)))
    assert it.send_many([one] * 65536, count_only=True).frames == 65536
    text = "more than 65536 frames at once"
    with pytest.raises(ValueError, match=text):
        it.send_many([one] * 65537)
    endless = iter(lambda: one, None)
    with pytest.raises(ValueError, match=text):
        it.send_many(endless)
    big = bytes(1 << 20)
    assert it.send_many([(A, big)] * 64).frames == 64
    with pytest.raises(ValueError, match="64 MiB"):
        it.send_many([(A, big)] * 64 + [(A, b"x")])
    assert it.counters(A)["pktsInUnicast"] == 65536 + 64


def test_API_6_a_batch_is_all_or_nothing() -> None:
    it = host(2)
    with pytest.raises(ValueError):
        it.send_many([(A, frame(mac(10))), (("sw", "no"), b"")])
    assert it.counters(A)["pktsInBroadcast"] == 0
    assert not it.send_many([]) and it.send_many(iter(())).frames == 0


def test_API_6_count_only_has_the_totals() -> None:
    it = host(3)
    frames = [(A, frame(mac(10))), (A, b"")] * 3
    whole, counted = it.fork().send_many(frames), it.send_many(frames, count_only=True)
    assert (whole.frames, len(whole.deliveries), len(whole.drops)) == (6, 9, 3)
    assert (counted.frames, counted.consumed, len(counted.deliveries), len(counted.drops)) == (6, 0, 0, 0)
    assert bool(counted)


def test_API_7_the_order_of_a_result() -> None:
    ports: dict[str, dict[str, Any]] = {name: {} for name in "abcd"}
    ports["c"]["client"] = {"name": "c", "type": "vnic", "mac": mac(12), "promiscuous": True}
    it = host(ports)
    it.send(B, frame(mac(11)))
    result = it.send_many([(A, frame(mac(10))), (A, frame(mac(10), mac(11))), (A, b"short")])
    # The uplink's port was made first: its number is the lowest.
    assert [(d.index, d.endpoint, d.kind) for d in result.deliveries] == [
        (0, "nic0", Kind.FRAME), (0, B, Kind.FRAME), (0, C, Kind.FRAME), (0, ("sw", "d"), Kind.FRAME),
        (1, B, Kind.FRAME), (1, C, Kind.PROMISCUOUS)]
    assert list(result.drops) == [Drop(A, Reason.RUNT, "in", 2)]


# ---- results ---------------------------------------------------------------------------------------------------------


def test_a_result_is_a_value() -> None:
    it = host(3)
    result = it.send_many([(A, frame(mac(10)))] * 2 + [(A, b"")])
    assert (result.frames, result.consumed, result.not_kept, bool(result)) == (3, 0, 0, True)
    assert not it.send(A, b"") and type(result) is Result
    for name in ("frames", "deliveries", "drops", "_native", "anything"):
        with pytest.raises(AttributeError):
            setattr(result, name, 1)
    assert result.to(B) == [frame(mac(10))] * 2 and result.to("nic9") == [] and result.to(("sw", "no")) == []
    assert repr(result) == "<Result: 3 frames, 6 deliveries, 1 drops, 0 consumed>"
    with pytest.raises(TypeError):
        Result()


def test_the_only_delivery() -> None:
    it = host(2)
    it.send(B, frame(mac(11)))
    only = it.send(A, frame(mac(10), mac(11))).only()
    assert only == Delivery(B, frame(mac(10), mac(11)), Kind.FRAME, 0)
    with pytest.raises(SimulationError, match="2 deliveries"):
        it.send(A, frame(mac(10))).only()
    with pytest.raises(SimulationError, match="0 deliveries.*sw/a: runt"):
        it.send(A, b"").only()


def test_sequences_behave_like_lists() -> None:
    it = host(3)
    deliveries: Any = it.send_many([(A, frame(mac(10)))] * 2).deliveries
    as_list = list(deliveries)
    assert len(deliveries) == len(as_list) == 6 and all(type(one) is Delivery for one in as_list)
    assert deliveries == as_list and deliveries == tuple(as_list) and deliveries != as_list[:5] and deliveries != 5
    assert deliveries[-1] == as_list[-1] and deliveries[1:4] == as_list[1:4] and deliveries[::-2] == as_list[::-2]
    assert deliveries[1:][::2][1] == as_list[3] and list(reversed(deliveries)) == as_list[::-1]
    assert as_list[2] in deliveries and 5 not in deliveries and deliveries.index(as_list[3]) == 3
    assert deliveries.count(as_list[0]) == 1 and repr(deliveries) == repr(as_list)
    assert issubclass(type(deliveries), collections.abc.Sequence)
    with pytest.raises(IndexError):
        deliveries[6]
    with pytest.raises(IndexError):
        deliveries[-7]
    with pytest.raises(ValueError):
        deliveries.index(as_list[0], 1)
    with pytest.raises(TypeError):
        deliveries["0"]
    with pytest.raises(TypeError):
        hash(deliveries)
    with pytest.raises(TypeError):
        type(deliveries)()
    first, *_ = deliveries
    assert first is not None and first.frame == frame(mac(10))


def test_results_outlive_their_host() -> None:
    def make() -> Any:
        it = host(2)
        return it.send(A, frame(mac(10))).deliveries, it.explain(A, b"")

    deliveries, explanation = make()
    assert [one.endpoint for one in deliveries] == ["nic0", B] and "runt" in str(explanation)


# ---- API-8 -----------------------------------------------------------------------------------------------------------


def test_API_8_an_explanation_changes_nothing(tmp_path: pathlib.Path) -> None:
    it = host(2)
    with it.capture(A, tmp_path / "a.pcapng") as capture:
        before = it.counters(A), it.mac_table("sw"), it.counters("nic0")
        explanation = it.explain(A, frame(mac(10)))
        assert capture.frames == 0
    assert (it.counters(A), it.mac_table("sw"), it.counters("nic0")) == before
    assert type(explanation) is Explanation and isinstance(explanation, Result)
    result = it.send(A, frame(mac(10)))
    assert list(explanation.deliveries) == list(result.deliveries) and explanation.drops == result.drops


def test_API_8_steps_say_which_rule_decided() -> None:
    it = host(2)
    explanation = it.explain(A, frame(mac(10)))
    assert {step.outcome for step in explanation.steps} <= {"next", "drop", "deliver", "consume"}
    delivered = [step for step in explanation.steps if step.outcome == "deliver"]
    assert [step.place for step in delivered] == ["nic0", B] and {step.rule for step in delivered} == {"C-5"}
    assert all(type(step) is Step for step in explanation.steps)
    lines = str(explanation).split("\n")
    assert len(lines) == len(explanation.steps)
    for line, step in zip(lines, explanation.steps, strict=True):
        place = step.place if isinstance(step.place, str) else "/".join(step.place or ())
        assert line == (f"{step.rule} {place}: {step.text}" if place else f"{step.rule}: {step.text}")
    refused = it.explain(A, frame("01:00:00:00:00:01"))
    last = refused.steps[-1]
    assert (last.outcome, last.rule, last.place) == ("drop", "P-7", A) and last.text.startswith("bad-source")
    assert list(refused.drops) == [Drop(A, Reason.BAD_SOURCE, "in", 0)] and not refused


# ---- API-9 -----------------------------------------------------------------------------------------------------------


def test_API_9_a_description_is_a_mapping_or_a_file(tmp_path: pathlib.Path) -> None:
    file = tmp_path / "boot.json"
    file.write_text(json.dumps(description(2)))
    boots: list[Any] = [description(2), str(file), file]
    for boot in boots:
        assert SimulatedHost(boot=boot).endpoints() == [A, B, "nic0"]


def test_API_9_a_file_that_is_a_host_ignores_it(tmp_path: pathlib.Path) -> None:
    state = tmp_path / "host.db"
    first = SimulatedHost(state, boot=description(1))
    assert first.path == str(state)
    first.close()
    assert SimulatedHost(state, boot=description(3)).endpoints() == [A, "nic0"]


def test_API_9_without_a_description_it_is_the_built_in_one(script: Script) -> None:
    source = """
    import os
    os.environ["VSWITCH_HOST_INIT"] = "/nonexistent"
    from vswitch.simulated import SimulatedHost
    host = SimulatedHost()
    assert host.path == ":memory:"
    assert ("workload", "100") in host.endpoints(), host.endpoints()
    """
    script(source)


def test_API_9_a_file_host_boots_as_the_environment_says(script: Script, tmp_path: pathlib.Path) -> None:
    (tmp_path / "boot.json").write_text(json.dumps(description(2)))
    source = f"""
    from vswitch.simulated import SimulatedHost
    print(SimulatedHost({str(tmp_path / "host.db")!r}).endpoints())
    """
    assert script(source, VSWITCH_HOST_INIT=str(tmp_path / "boot.json")) == f"{[A, B, 'nic0']}\n"


def test_API_9_a_wrong_description_says_where(tmp_path: pathlib.Path) -> None:
    wrong = description(1)
    wrong["switches"][0]["ports"][0]["client"]["type"] = "vm"
    (tmp_path / "boot.json").write_text(json.dumps(wrong))
    state = tmp_path / "host.db"
    boots: list[Any] = [wrong, tmp_path / "boot.json"]
    for boot in boots:
        with pytest.raises((SimulationError, ValueError), match=r"switches\[0\].ports\[0\].client.type"):
            SimulatedHost(state, boot=boot)
    (tmp_path / "boot.json").write_text("{")
    with pytest.raises((SimulationError, ValueError)):
        SimulatedHost(boot=tmp_path / "boot.json")
    for name in ("no such file", "."):
        with pytest.raises(SimulationError, match="cannot read it"):
            SimulatedHost(boot=tmp_path / name)


def test_API_9_a_pipe_is_not_waited_for(tmp_path: pathlib.Path) -> None:
    os.mkfifo(tmp_path / "pipe")
    with pytest.raises(SimulationError, match="it is not a regular file"):
        SimulatedHost(boot=tmp_path / "pipe")


# ---- clients and NICs ------------------------------------------------------------------------------------------------


def test_X_2_a_client_as_it_runs() -> None:
    it = host(2)
    assert it.client(A) == Client("a", "vnic", mac(10), mac(10), False, True, (), ())
    it.set_client(A, mac=mac(99), promiscuous=True, groups=["239.1.1.1", Group("ff0e::1", ("2001:db8::1",), "exclude")],
                  multicast_macs=["01:00:5e:01:01:07"])
    changed = it.client(A)
    assert (changed.assigned_mac, changed.mac, changed.promiscuous, changed.link) == (mac(10), mac(99), True, True)
    assert [(group.address, group.sources, group.mode) for group in changed.groups] == [
        ("239.1.1.1", (), changed.groups[0].mode), ("ff0e::1", ("2001:db8::1",), "exclude")]
    assert all(type(group) is Group for group in changed.groups)
    assert changed.multicast_macs == ("01:00:5e:01:01:07",)
    it.set_client(A, link=False)
    assert it.client(A) == changed._replace(link=False)
    it.set_client(A)
    it.set_client(A, mac=None, link=True, groups=[], multicast_macs=(), promiscuous=False)
    assert it.client(A) == Client("a", "vnic", mac(10), mac(10), False, True, (), ())


def test_X_2_connecting_starts_anew() -> None:
    it = host(2)
    it.set_client(A, mac=mac(99), promiscuous=True, link=False, groups=["239.1.1.1"])
    it.disconnect(A)
    assert it.endpoints() == [B, "nic0"]
    assert [drop.reason for drop in it.send(A, frame(mac(10))).drops] == [Reason.NO_CLIENT]
    it.connect(A, "new", mac(50), "tcpip")
    assert it.client(A) == Client("new", "tcpip", mac(50), mac(50), False, True, (), ())
    it.disconnect(A)
    it.connect(A, "bare")
    assert it.client(A) == Client("bare", "vnic", None, None, False, True, (), ())


def test_a_carrier_takes_the_way_out() -> None:
    it = host(1)
    assert it.send(A, frame(mac(10))).to("nic0")
    it.link("nic0", False)
    assert not it.send(A, frame(mac(10)))
    it.link("nic0", True)
    it.advance(1)
    assert it.send(A, frame(mac(10))).to("nic0")


def test_learned_addresses_are_in_the_table() -> None:
    ports = {"a": {"mac_learning": {}}, "b": {}}
    it = host(ports)
    it.send(A, frame("02:00:00:00:07:07"))
    it.send("nic0", frame("02:00:00:00:08:08"))
    it.advance(5)
    table = {entry.mac: entry for entry in it.mac_table("sw")}
    assert table["02:00:00:00:07:07"] == MacEntry("02:00:00:00:07:07", 0, "learned", "a", 5, 0, False)
    assert table["02:00:00:00:08:08"] == MacEntry("02:00:00:00:08:08", 0, "learned", "uplink-1", 5, 0, True)
    assert table[mac(10)] == MacEntry(mac(10), 0, "static", "a", 0, 0, False)


# ---- time ------------------------------------------------------------------------------------------------------------


def test_time_is_the_host_s() -> None:
    it = host()
    assert (it.now, it.now_us) == (1_700_000_000.0, 1_700_000_000_000_000)
    assert it.advance(0.0000014).frames == 0 and it.now_us == 1_700_000_000_000_001
    it.advance(2)
    it.advance(0.25)
    assert it.now_us == 1_700_000_002_250_001 and it.now == 1_700_000_002.250001
    it.stop_clock(12.5)
    assert it.now_us == 12_500_000
    it.run_clock()
    assert it.now > 1_700_000_000
    it.stop_clock()
    stands = it.now_us
    assert it.now_us == stands
    it.advance(3_200_000_000)
    for name in ("now", "now_us", "path"):
        with pytest.raises(AttributeError):
            setattr(it, name, 1)


# ---- D-2, D-4, D-5 ---------------------------------------------------------------------------------------------------


def test_D_2_what_traffic_leaves_is_in_the_state_file(tmp_path: pathlib.Path) -> None:
    state = tmp_path / "host.db"
    it = SimulatedHost(state, boot=description({"a": {"mac_learning": {}}, "b": {}}))
    it.send(A, frame("02:00:00:00:07:07"))
    other = SimulatedHost(state)
    assert other.counters(A)["pktsInBroadcast"] == 1 and other.mac_table("sw") == it.mac_table("sw")
    other.send(A, frame(mac(10)))
    assert it.counters(A)["pktsInBroadcast"] == 2
    it.snapshot(tmp_path / "copy.db")
    with pytest.raises(SimulationError, match="is there already"):
        it.snapshot(tmp_path / "copy.db")
    it.snapshot(str(tmp_path / "copy.db"), force=True)
    assert SimulatedHost(tmp_path / "copy.db").counters(A) == it.counters(A)


@pytest.mark.skipif(os.geteuid() == 0, reason="the superuser may write any file")
def test_D_4_a_file_that_cannot_be_written(tmp_path: pathlib.Path) -> None:
    _read_only(tmp_path)


def _read_only(folder: pathlib.Path) -> None:
    state = folder / "host.db"
    SimulatedHost(state, boot=description(2)).close()
    os.chmod(state, 0o400)
    os.chmod(folder, 0o500)
    it = SimulatedHost(state)
    assert it.explain(A, frame(mac(10))) and it.counters(A)["pktsInBroadcast"] == 0
    for call in each(lambda: it.send(A, frame(mac(10))), lambda: it.boot(), lambda: it.set_client(A, link=False)):
        with pytest.raises(ReadOnlyError):
            call()


def test_D_5_a_fork_is_a_copy_that_neither_sees(tmp_path: pathlib.Path) -> None:
    it = SimulatedHost(tmp_path / "host.db", boot=description({"a": {"mac_learning": {}}, "b": {}}))
    it.send(A, frame("02:00:00:00:07:07"))
    it.set_client(A, promiscuous=True)
    it.fault("fail", status="QEL_BUSY")
    it.advance(3)
    copy = it.fork()
    assert copy.path == ":memory:" and copy.now_us == it.now_us
    assert (copy.counters(A), copy.mac_table("sw"), copy.faults(), copy.client(A)) == (
        it.counters(A), it.mac_table("sw"), it.faults(), it.client(A))
    copy.send(A, frame(mac(10)))
    copy.clear_fault()
    copy.advance(1)
    assert it.counters(A)["pktsInBroadcast"] == 1 and len(it.faults()) == 1 and it.now_us == copy.now_us - 1_000_000
    it.disconnect(B)
    assert B in copy.endpoints()


def test_D_5_captures_uses_and_trace_do_not_go_along(tmp_path: pathlib.Path) -> None:
    it = host(2)
    it.trace = str(tmp_path / "trace")
    assert it.trace == str(tmp_path / "trace")
    with it, it.capture(A, tmp_path / "a.pcapng") as capture:
        copy = it.fork()
        assert SimulatedHost.current() is it and copy.trace is None
        copy.send(A, frame(mac(10)))
        assert capture.frames == 0
    it.trace = None
    assert it.trace is None


def test_D_5_with_both_layers(script: Script) -> None:
    source = f"""
    import sys
    sys.path.append({os.path.dirname(__file__)!r})
    from hosts import description, frame, mac
    import libvswitch as vs
    import vswitch
    from vswitch.simulated import SimulatedHost
    with SimulatedHost(boot=description(2)) as host:
        with host.fork() as copy:
            assert SimulatedHost.current() is copy
            vswitch.Host().switches["sw"].mtu = 9000
            vs.check(vs.VSDVS_SetMTU("sw", 9000))
            assert copy.send(("sw", "a"), frame(mac(10), payload=bytes(2000)))
        assert vswitch.Host().switches["sw"].mtu == 1500
        assert host.send(("sw", "a"), frame(mac(10), payload=bytes(2000))).drops[0].reason.value == "too-long"
    """
    script(source)


def test_reset_goes_back_to_the_description() -> None:
    it = host(2)
    it.disconnect(A)
    it.send(B, frame(mac(11)))
    it.reset()
    assert it.endpoints() == [A, B, "nic0"] and it.counters(B)["pktsInBroadcast"] == 0
    assert it.send(A, frame(mac(10))).to(B)


def test_a_port_that_comes_again_is_found_again(script: Script, tmp_path: pathlib.Path) -> None:
    """Also where another object connected it."""
    state = str(tmp_path / "host.db")
    source = f"""
    import sys
    sys.path.append({os.path.dirname(__file__)!r})
    from hosts import description, frame, mac
    import vswitch
    from vswitch.simulated import SimulatedHost
    a, b = ("sw", "a"), ("sw", "b")
    with SimulatedHost({state!r}, boot=description(2)) as host:
        other = SimulatedHost({state!r})
        ports = vswitch.Host().switches["sw"].ports
        assert host.send(b, frame(mac(11))).to(a)
        other.disconnect(b)
        ports.remove("b")
        ports.create("b")
        other.connect(b, "new", mac(60))
        assert host.send(b, frame(mac(60))).to(a)
        assert host.send(a, frame(mac(10), mac(60))).only().endpoint == b
        other.disconnect(b)
        ports.remove("b")
        try:
            host.send(b, frame(mac(11)))
        except ValueError as error:
            assert str(error) == "no port 'b' on switch 'sw'"
        else:
            raise AssertionError
    """
    script(source)


# ---- what is imported ------------------------------------------------------------------------------------------------


def test_the_package_needs_nothing_of_the_others(tmp_path: pathlib.Path) -> None:
    """It works where `vswitch` has nothing else, and importing `vswitch` leaves it alone."""
    folder = tmp_path / "python" / "vswitch"
    folder.mkdir(parents=True)
    (folder / "simulated").symlink_to(BUILD / "python" / "vswitch" / "simulated")
    source = ("import sys, vswitch.simulated as s; s.SimulatedHost()\n"
              "print(sorted(n for n in sys.modules if 'vswitch' in n))")
    for plain in (False, True):
        if plain:
            (folder / "__init__.py").touch()
        process = subprocess.run([sys.executable, "-c", source], capture_output=True, text=True, check=False,
                                 env=dict(os.environ, PYTHONPATH=str(tmp_path / "python")))
        assert process.stdout == (
            "['vswitch', 'vswitch.simulated', 'vswitch.simulated._arguments', 'vswitch.simulated._native',"
            " 'vswitch.simulated._results', 'vswitch.simulated._values']\n"), process


def test_importing_the_objects_does_not_import_it(script: Script) -> None:
    script("""
    import sys, vswitch
    vswitch.Host().switches
    assert not [name for name in sys.modules if name.startswith("vswitch.simulated")]
    """)


def test_other_libraries_in_front_are_told() -> None:
    """As on a host of the platform, whose libraries were there first."""
    source = "import _libvswitch\ntry: import vswitch.simulated\nexcept ImportError as error: print(error)"
    process = subprocess.run([sys.executable, "-c", source], capture_output=True, text=True, check=False,
                             env=dict(os.environ, PYTHONPATH=str(BUILD / "python"),
                                      LD_LIBRARY_PATH=str(BUILD / "tests" / "support" / "recording")))
    assert process.stdout.startswith("vswitch.simulated needs the simulated host's own libraries"), process


def test_a_capture_is_closed_once(tmp_path: pathlib.Path) -> None:
    it = host(1)
    capture = it.capture(A, tmp_path / "a.pcapng", "in")
    assert isinstance(capture, Capture) and capture.path == str(tmp_path / "a.pcapng")
    it.send(A, frame(mac(10)))
    capture.close()
    capture.close()
    it.send(A, frame(mac(10)))
    assert capture.frames == 1
