"""Logs of calls: what tests ask them, what stands in files, and calls that are made again."""

import contextlib
import io
import json
import os
import pathlib
import re
import runpy
from typing import Any

import pytest
from workspace import SOURCE

import libvswitch
import vswitch
from vswitch import Status, _calls
from vswitch.simulated import SimulatedHost
from vswitch.testing import ADDRESS, Aborted, CallLog, CallRecord, LabHost, RecordBytes, record, replay
from vswitch.testing.calls import _WRITES

pytestmark = pytest.mark.pure_python
raises: Any = pytest.raises

GOLDEN = pathlib.Path(__file__).with_name("golden")
EXAMPLES = ["inventory", "set_up", "mirror", "macs", "properties"]


# ---- what was called -------------------------------------------------------------------------------------------------


def test_what_a_test_has_called(vswitch_host: LabHost, vswitch_call_log: CallLog) -> None:
    assert len(vswitch_call_log) == 0, "what makes the host ready does not count"
    workload = vswitch_host.switches["workload"]
    assert workload.mtu == 9000
    vswitch_call_log.expect_no_writes()
    workload.mtu = 1500
    with raises(vswitch.BadParameter):
        workload.mtu = 9001
    first, second = vswitch_call_log.calls("VSDVS_SetMTU")
    assert first == CallRecord("VSDVS_SetMTU", {"alias": "workload", "mtu": 1500}, Status.OK, None, first.seconds)
    assert second.status is Status.BAD_PARAM and 0 <= first.seconds < 60
    assert workload.uplinks["uplink-a"].link == vswitch.LinkState.UP
    assert vswitch_call_log.calls("VSQEL_GetUplinkLinkState")[0].result == vswitch.LinkState.UP
    vswitch_call_log.expect("VSDVS_SetMTU", "VSDVS_SetMTU")
    with raises(AssertionError) as caught:
        vswitch_call_log.expect("VSDVS_SetMTU", "VSDVS_AddDVPort")
    assert str(caught.value) == (
        "these calls were expected:\n  VSDVS_SetMTU\n  VSDVS_AddDVPort\nthese were made:\n"
        "  VSDVS_SetMTU(alias='workload', mtu=1500): ok\n  VSDVS_SetMTU(alias='workload', mtu=9001): bad-param"
    )
    with raises(AssertionError, match=r"these calls were made:\n  VSDVS_SetMTU\(alias='workload', mtu=1500\)"):
        vswitch_call_log.expect_no_writes()
    assert list(vswitch_call_log)[0] is vswitch_call_log[0] and len(vswitch_call_log.calls()) == len(vswitch_call_log)
    vswitch_call_log.clear()
    vswitch_call_log.expect()


def test_records_addresses_and_aborts(vswitch_host: LabHost, vswitch_call_log: CallLog) -> None:
    port = vswitch_host.switches["workload"].ports["100"]
    learning = vswitch.MacLearning(learning=True, limit=7)
    port.mac_learning = learning
    written = vswitch_call_log.calls("VSDVS_SetPortMACLearning")[0].arguments["policy"]
    assert written == RecordBytes("VSPMACLearning", learning.to_bytes())
    assert port.mac_learning == learning
    filled = vswitch_call_log.calls("VSDVS_GetPortMACLearning")[-1]
    assert filled.arguments["policy"] == written and filled.result is None
    assert list(vswitch_host.switches) == ["management", "workload"]
    walk = vswitch_call_log.calls("DVSState_SwitchForEach")[-1]
    assert set(walk.arguments.values()) <= {ADDRESS, None} and walk.status is None
    given_back = vswitch_call_log.calls("VSQEL_FreeMemory") + vswitch_call_log.calls("VSDVS_FreeMemory")
    assert given_back and all(list(one.arguments.values()) == [ADDRESS] for one in given_back)
    with vswitch_host.fault("abort", "VSDVS_SetMTU", exception="OSError", message="gone"):
        with raises(OSError):
            vswitch_host.switches["workload"].mtu = 1500
    assert vswitch_call_log.calls("VSDVS_SetMTU")[0].result == Aborted("OSError", "gone")
    assert vswitch_call_log.calls("VSDVS_SetMTU")[0].status is None


def test_which_calls_write_is_what_the_host_says() -> None:
    """Of each function of the simulated host that is there to be read: whether it is an update of its state."""
    known: dict[str, bool] = {}
    for path in [*SOURCE.glob("platform/vswitch/*_calls.cpp"), *SOURCE.glob("platform/dvs/*_calls.cpp")]:
        bodies = dict(re.findall(r"^[\w: *<>]*?\b(\w+)\([^;{}]*\) \{\n(.*?)^\}", path.read_text(), re.M | re.S))
        for name, body in bodies.items():
            if not re.match(r"VS|DVS", name):
                continue
            helpers = [bodies[word] for word in re.findall(r"\b(\w+)\(", body) if word in bodies and word != name]
            text = "\n".join([body, *helpers])
            if re.search(r"\b(update|query)\(", text):
                known[name] = re.search(r"\bupdate\(", text) is not None
    assert len(known) > 150
    # A command is the host's own, and nobody knows what it does.
    assert {name for name, writes in known.items() if writes != bool(_WRITES.search(name))} <= {"DVSQEL_CmdExec"}
    found = {name for name in vswitch.coverage() if _WRITES.search(name)}
    assert found >= {name for name, writes in known.items() if writes}


# ---- files -----------------------------------------------------------------------------------------------------------


def test_a_file_has_everything(tmp_path: pathlib.Path) -> None:
    log = CallLog(
        [
            CallRecord("A", {"text": "x", "data": b"\0\xff", "none": None, "flag": True}, Status.OK, (1, "two"), 0.5),
            CallRecord("B", {"record": RecordBytes("VSInfo", b"abc"), "handle": ADDRESS}, 12345678, ADDRESS, 0.25),
            CallRecord("C", {"text": "\udcff ü"}, None, Aborted("OSError", "gone"), 0.0),
        ]
    )
    path = tmp_path / "log"
    log.save(path)
    assert list(CallLog.load(path)) == list(log)
    lines = [json.loads(line) for line in path.read_text().splitlines()]
    assert lines[0] == {
        "call": "A",
        "arguments": {"text": "x", "data": {"base64": "AP8="}, "none": None, "flag": True},
        "status": "ok",
        "result": [1, "two"],
        "seconds": 0.5,
    }
    assert lines[1]["arguments"] == {"record": {"record": "VSInfo", "base64": "YWJj"}, "handle": {"address": None}}
    assert (lines[1]["status"], lines[1]["result"]) == (12345678, {"address": None})
    unknown = '{"call": "A", "arguments": {}, "status": "x", "result": 0, "seconds": 0}'
    for wrong in ("{", "[]", '{"call": "A"}', unknown):
        path.write_text("\n" + wrong)
        with raises(ValueError, match=f"{re.escape(str(path))}, line 2: "):
            CallLog.load(path)


# ---- again -----------------------------------------------------------------------------------------------------------


def change(host: vswitch.Host) -> None:
    """A use of most kinds of arguments and results."""
    lab = host.switches.create("lab", mtu=9000)
    lab.uplinks.set(["nic4", ("nic5", "up-5")])
    lab.teaming = vswitch.TeamingPolicy(active=["nic4"], standby=["nic5"])
    lab.private_vlans = [vswitch.PrivateVlan(100, 100, vswitch.PrivateVlanType.PROMISC)]
    lab.teaming_policies.create(vswitch.NamedTeaming("gold", active=["nic4"]))
    port = lab.ports.create("a", connect_id=7)
    port.vlan = vswitch.VlanPolicy.trunk_of((10, 19), 30)
    port.mac_learning = vswitch.MacLearning(learning=True)
    port.multicast = ["01:00:5e:00:00:01"]
    port.properties["org.example.x"] = b"\0\1"
    port.mac_table.add("02:00:00:00:00:01", vlan=10)
    port.mirrors.create(vswitch.MirrorSession("tap", destinations=["port:a"], rules=[vswitch.MirrorRule(protocol=6)]))
    host.runtime_options["IGMPVersion"] = 2
    with contextlib.suppress(vswitch.AlreadyExists):
        lab.ports.create("a")
    assert port.vlan.trunk == ((10, 19), (30, 30)) and list(port.mirrors) == ["tap"] and lab.info.mtu == 9000
    host.restore(host.image(), merge=True)


def test_a_log_that_is_replayed_makes_the_same_host(tmp_path: pathlib.Path) -> None:
    path = tmp_path / "log"
    with SimulatedHost() as one:
        with record(path) as log:
            change(vswitch.Host())
        wanted = vswitch.Host().export()
    assert len(log) > 25 and list(CallLog.load(path)) == list(log)
    sources: list[Any] = [path, str(path), log]
    for source in sources:
        with SimulatedHost():
            report = replay(source)
            assert report.ok and report.differences == (), str(report)
            assert report.made + report.skipped == len(log) and report.made > 20
            assert vswitch.Host().export() == wanted
            assert str(report) == f"{report.made} calls made, {report.skipped} skipped, no difference"
    one.close()


def test_the_first_difference_is_reported(vswitch_host: LabHost, tmp_path: pathlib.Path) -> None:
    path = tmp_path / "log"
    with record(path):
        vswitch_host.switches["workload"].info
        vswitch_host.switches["workload"].ports["100"].vlan
        vswitch_host.switches["workload"].ports["100"].mac_learning
        vswitch_host.switches["workload"].ports.create("new")
        tuple(vswitch_host.switches["workload"].mirrors)
    other = SimulatedHost()
    with other:
        workload = vswitch.Host().switches["workload"]
        workload.mtu = 1500
        workload.ports["100"].vlan = vswitch.VlanPolicy.trunk_of(10)
        workload.ports["100"].mac_learning = vswitch.MacLearning(learning=True)
        workload.ports.create("new")
        workload.mirrors.create(vswitch.MirrorSession("tap", destinations=["port:100"]))
    report = replay(path, other)
    assert SimulatedHost.current() is vswitch_host.simulated
    found = {one.call: one for one in report.differences}
    first = report.differences[0]
    assert first is found["VSQEL_GetSwitchInfo"]
    mtus = [libvswitch.VSInfo.from_bytes(side.data).mtu for side in (first.expected, first.got)]
    assert mtus == [9000, 1500] and CallLog.load(path)[first.index].call == first.call
    assert (found["VSDVS_AddDVPort"].expected, found["VSDVS_AddDVPort"].got) == (Status.OK, Status.EXISTS)
    assert {"VSDVS_GetPortVLANPolicy", "VSDVS_GetPortMACLearning", "VSDVS_GetDVMirrorSessions"} <= set(found)
    said = rf"\d+ calls made, \d+ skipped, {len(report.differences)} differ; "
    said += rf"the first is call {first.index}, {first.call}: .+"
    assert re.fullmatch(said, str(report))
    assert replay(path, vswitch_host).differences[0].call == "VSDVS_AddDVPort"
    other.close()


def test_replaying_gives_back_what_is_handed_out(vswitch_host: LabHost, tmp_path: pathlib.Path) -> None:
    with record(tmp_path / "log"):
        vswitch_host.export(observed=True)
        vswitch_host.topology()
    handed_out: list[Any] = []
    given_back: list[Any] = []

    def see(name: str, arguments: Any, status: Any, result: Any, seconds: float) -> None:
        outputs = result if isinstance(result, list) else []
        handed_out.extend(one for one in outputs if isinstance(one, libvswitch.Record))
        given_back.extend(arguments if name.endswith(("FreeMemory", "DataFree")) else ())

    with _calls.observed(see):
        report = replay(tmp_path / "log")
    assert report.made and report.ok, str(report)
    assert len(handed_out) > 5 and list(map(id, handed_out)) == list(map(id, given_back))


def test_the_module_of_the_name_can_be_called_too(vswitch_host: LabHost) -> None:
    import vswitch.testing.replay as module

    assert module(CallLog()).ok  # type: ignore[operator]
    assert libvswitch.QEL_OK == 0


@pytest.mark.parametrize("name", EXAMPLES)
def test_the_calls_of_the_examples(name: str, tmp_path: pathlib.Path, monkeypatch: Any) -> None:
    """`VSWITCHPY_UPDATE=1` writes them anew: read the difference before it is committed."""
    monkeypatch.chdir(tmp_path)
    with SimulatedHost() as host, contextlib.redirect_stdout(io.StringIO()):
        host.stop_clock()
        with record(tmp_path / "log") as log:
            runpy.run_path(str(SOURCE / "examples" / "vswitch" / f"{name}.py"))
    host.close()
    found = "".join(json.dumps({**one.to_dict(), "seconds": 0}) + "\n" for one in log)
    golden = GOLDEN / f"{name}.jsonl"
    if os.environ.get("VSWITCHPY_UPDATE"):
        golden.write_text(found)
    assert found == golden.read_text()
    with SimulatedHost() as again:
        again.stop_clock()
        assert replay(golden).ok or name == "macs"  # of a MAC table, ages
