"""A test kit for scripts that administer a host: hosts for tests, failing calls, logs of calls, record and replay.

pytest finds it by itself where this package is installed: the fixture `vswitch_host` is a fresh simulated host for each
test, `vswitch_call_log` what the test called.

    def test_the_switch_is_made(vswitch_host):
        set_up(vswitch_host)
        assert vswitch_host.switches["lab"].mtu == 9000
        report = every_fault(set_up, host=vswitch_host)
        assert report.ok, report
"""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

if TYPE_CHECKING:
    from vswitch.testing.calls import ADDRESS as ADDRESS
    from vswitch.testing.calls import Aborted as Aborted
    from vswitch.testing.calls import CallLog as CallLog
    from vswitch.testing.calls import CallRecord as CallRecord
    from vswitch.testing.calls import RecordBytes as RecordBytes
    from vswitch.testing.faults import FaultReport as FaultReport
    from vswitch.testing.faults import FaultRun as FaultRun
    from vswitch.testing.faults import every_fault as every_fault
    from vswitch.testing.host import LabHost as LabHost
    from vswitch.testing.host import MetFault as MetFault
    from vswitch.testing.replay import Difference as Difference
    from vswitch.testing.replay import ReplayReport as ReplayReport
    from vswitch.testing.replay import record as record
    from vswitch.testing.replay import replay as replay

# The public names of each module, which is imported when one of them is first used: pytest loads the plugin in every
# run, also in those that have no host.
_PLACES = {
    "calls": "ADDRESS Aborted CallLog CallRecord RecordBytes",
    "faults": "FaultReport FaultRun every_fault",
    "host": "LabHost MetFault",
    "replay": "Difference ReplayReport record replay",
}
_MODULE_OF = {name: module for module, names in _PLACES.items() for name in names.split()}
__all__ = sorted(_MODULE_OF)


def __getattr__(name: str) -> Any:
    if name not in _MODULE_OF:
        raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
    from importlib import import_module

    # All names of the module: the import has made `replay`, say, a name of the submodule.
    module = import_module(f"{__name__}.{_MODULE_OF[name]}")
    for one in _PLACES[_MODULE_OF[name]].split():
        globals()[one] = getattr(module, one)
    return globals()[name]


def __dir__() -> list[str]:
    return list(__all__)
