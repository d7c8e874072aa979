"""Scripts that are taken through the failure of each of their calls: what is found, and which call is named."""

import json
import pathlib
import textwrap
from typing import Any

import pytest

import libvswitch
import vswitch
from vswitch import Status
from vswitch.simulated import SimulatedHost
from vswitch.testing import LabHost, every_fault

pytestmark = pytest.mark.pure_python
raises: Any = pytest.raises

BOTH = ("fail", "fail-after")


def careful(host: vswitch.Host) -> None:
    host.plan("format: 1\nswitches: {lab: {mtu: 9000, uplinks: [nic4], ports: {a: {vlan: 10}, b: {}}}}").apply()


def broken_of(script: Any, host: LabHost, **options: Any) -> list[tuple[str, str, str | None]]:
    report = every_fault(script, host=host, **options)
    assert not report.ok
    return [(run.call, run.kind, run.broken) for run in report.broken]


# ---- what is found ---------------------------------------------------------------------------------------------------


def test_a_script_that_does_all_or_nothing_passes(vswitch_host: LabHost) -> None:
    report = every_fault(careful, host=vswitch_host, kinds=BOTH, statuses=(Status.BUSY, Status.NO_MEMORY))
    assert report.ok and report.broken == (), str(report)
    assert str(report) == f"{len(report.runs)} of {len(report.runs)} failing calls handled"
    met = {run.call for run in report.runs}
    assert {"VSDVS_CreateVSwitch", "VSDVS_AddDVPort", "VSDVS_SetPortVLANPolicy", "DVSQEL_StateGet"} <= met
    assert {(run.kind, run.status) for run in report.runs} == {
        (kind, status) for kind in BOTH for status in (Status.BUSY, Status.NO_MEMORY)
    }
    assert vswitch_host.diff() == "", "the host itself is left alone"


def test_an_ignored_status(vswitch_host: LabHost) -> None:
    def script(host: vswitch.Host) -> None:
        host.switches["workload"].ports["100"].vlan = 10
        libvswitch.VSDVS_SetMTU("workload", 1500)

    assert broken_of(script, vswitch_host) == [("VSDVS_SetMTU", "fail", "the failure was swallowed")]
    run = every_fault(script, host=vswitch_host).broken[0]
    assert run.error is None and run.status is Status.BUSY
    assert run.diff == "switches/workload:\n  ~ mtu: 1500 -> 9000\n"
    assert str(run) == f"call {run.number}, VSDVS_SetMTU (fail busy): the failure was swallowed"


def test_a_change_that_is_left_half_done(vswitch_host: LabHost) -> None:
    def script(host: vswitch.Host) -> None:
        host.switches["workload"].mtu = 1500
        host.switches["workload"].ports["100"].vlan = 10

    found = broken_of(script, vswitch_host)
    assert found and {broken for *_, broken in found} == {"left half done"}
    assert "VSDVS_SetPortVLANPolicy" in {call for call, *_ in found}
    run = every_fault(script, host=vswitch_host).broken[-1]
    assert isinstance(run.error, vswitch.Busy)
    assert run.diff == "switches/workload:\n  ~ mtu: 9000 -> 1500\n"


def test_a_retry_that_doubles(vswitch_host: LabHost) -> None:
    def script(host: vswitch.Host) -> None:
        for name in ("first", "second"):
            try:
                host.switches["workload"].ports.create(name)
                return
            except vswitch.Busy:
                pass
        raise RuntimeError("twice")

    found = broken_of(script, vswitch_host, kinds=("fail-after",), calls=["VSDVS_AddDVPort"])
    assert found == [("VSDVS_AddDVPort", "fail-after", "the failure was swallowed")]


def test_volatile_values_are_looked_at_too(vswitch_host: LabHost) -> None:
    def script(host: vswitch.Host) -> None:
        host.switches["workload"].properties.set("org.example.x", "1", volatile=True)
        host.switches["workload"].properties.set("org.example.y", "2", volatile=True)

    report = every_fault(script, host=vswitch_host, calls=["VSDVS_SetGlobProp"])
    assert [run.number for run in report.runs] == [1, 2] and [run.number for run in report.broken] == [2]
    assert report.broken[0].diff == 'switches/workload/properties:\n  + org.example.x (volatile): "1"\n'


# ---- how it is run ---------------------------------------------------------------------------------------------------


def test_each_call_has_its_turn(vswitch_host: LabHost, tmp_path: pathlib.Path) -> None:
    report = every_fault(careful, host=vswitch_host)
    vswitch_host.simulated.trace = str(tmp_path / "trace")
    careful(vswitch_host)
    vswitch_host.simulated.trace = None
    calls = [json.loads(line)["call"] for line in (tmp_path / "trace").read_text().splitlines()]
    assert [run.call for run in report.runs] == calls
    assert [run.number for run in report.runs] == list(range(1, len(calls) + 1))


def test_a_script_in_a_file(vswitch_host: LabHost, tmp_path: pathlib.Path) -> None:
    script = tmp_path / "script.py"
    script.write_text(textwrap.dedent("""
        import sys
        import helper, vswitch
        assert __name__ == "__main__" and sys.argv == [__file__]
        try:
            vswitch.Host().switches["workload"].mtu = helper.MTU
        except vswitch.Error as error:
            sys.exit(str(error))
        sys.exit(0)
        """))  # fmt: skip
    (tmp_path / "helper.py").write_text("MTU = 1500\n")
    report = every_fault(script, host=vswitch_host)
    assert report.ok and {run.call for run in report.runs} >= {"VSDVS_SetMTU"}, str(report)
    assert all(isinstance(run.error, SystemExit) for run in report.runs)
    script.write_text(script.read_text().replace("sys.exit(str(error))", "sys.exit(0)"))
    assert {run.broken for run in every_fault(str(script), host=vswitch_host).broken} == {"the failure was swallowed"}


def test_aborts(vswitch_host: LabHost) -> None:
    report = every_fault(careful, host=vswitch_host, kinds=("abort",), calls=["VSDVS_AddDVPort", "VSDVS_CreateVSwitch"])
    assert [(run.call, run.number, run.status) for run in report.runs] == [
        ("VSDVS_AddDVPort", 1, None),
        ("VSDVS_AddDVPort", 2, None),
        ("VSDVS_CreateVSwitch", 1, None),
    ]
    assert report.ok, str(report)
    assert isinstance(report.runs[0].error, vswitch.ApplyError)
    assert str(report.runs[0]) == "call 1, VSDVS_AddDVPort (abort): handled"


def test_a_limit_that_comes_first_is_told(vswitch_host: LabHost) -> None:
    report = every_fault(careful, host=vswitch_host, limit=3)
    assert len(report.runs) == 3 and not report.complete and not report.ok
    assert str(report) == "3 of 3 failing calls handled; the limit came before the end of the script"
    few = every_fault(lambda host: host.portsets, host=vswitch_host, limit=1)
    assert len(few.runs) == 1 and few.ok


def test_an_invariant_of_one_s_own(vswitch_host: LabHost) -> None:
    asked = []

    def ask(host: Any, before: Any, after: Any, error: Any) -> str | None:
        assert host is vswitch_host and "org" not in before["volatile"]
        asked.append((before["switches"]["workload"]["mtu"], after["switches"]["workload"].get("mtu"), type(error)))
        return "wrong" if len(asked) == 2 else None

    def script(host: vswitch.Host) -> None:
        host.switches["workload"].mtu = 1500
        host.switches["workload"].mtu = 1600

    report = every_fault(script, host=vswitch_host, calls=["VSDVS_SetMTU"], invariant=ask)
    assert asked == [(9000, 9000, vswitch.Busy), (9000, 1500, vswitch.Busy)]
    assert [run.broken for run in report.runs] == [None, "wrong"]
    assert str(report).splitlines() == ["1 of 2 failing calls handled", "  call 2, VSDVS_SetMTU (fail busy): wrong"]


def test_a_script_that_fails_by_itself_says_so(vswitch_host: LabHost) -> None:
    with raises(vswitch.NotFound) as caught:
        every_fault(lambda host: host.switches["none"], host=vswitch_host)
    assert caught.value.__notes__ == ["the script fails although no call does"]
    wrong: list[Any] = [({"kinds": "fail"}, TypeError), ({"kinds": ["delay"]}, ValueError), ({"calls": "x"}, TypeError)]
    for options, kind in wrong:
        with raises(kind):
            every_fault(careful, host=vswitch_host, **options)
    with raises(TypeError, match="a callable or a path"):
        every_fault(5, host=vswitch_host)  # type: ignore[arg-type]
    assert vswitch_host.diff() == ""


def test_a_script_may_go_back_to_a_snapshot(vswitch_host: LabHost) -> None:
    def script(host: LabHost) -> None:
        before = host.snapshot()
        try:
            host.switches["workload"].mtu = 1500
            host.switches["workload"].ports["100"].vlan = 10
        except vswitch.Error:
            host.restore_snapshot(before)
            raise

    report = every_fault(script, host=vswitch_host)
    # Before there is a snapshot nothing is called, and going back to it undoes the one change that there may be.
    assert report.ok and [run.call for run in report.runs if "Set" in run.call] == [
        "VSDVS_SetMTU",
        "VSDVS_SetPortVLANPolicy",
    ]
    assert vswitch_host.diff() == "" and vswitch_host.simulated is SimulatedHost.current()
