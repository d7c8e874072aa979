"""Threads: eight of them on eight switches lose nothing, and do not see each other."""

import asyncio
import os
import subprocess
import threading
import time
from typing import Any

import pytest
from workspace import BUILD, run_script

import vswitch as v

pytestmark = pytest.mark.pure_python
raises: Any = pytest.raises

# A minute where everything is run in full.
SECONDS = 60 if os.environ.get("VSWITCHPY_FULL") else 2


def work(number: Any, until: Any, faults: Any) -> Any:
    """Makes, changes, reads and removes ports of one switch, and checks each time that everything is there."""
    try:
        switch = v.Host().switches.create(f"lab-{number}")
        count = 0
        while time.monotonic() < until:
            count += 1
            port = switch.ports.create(f"port-{count}", connect_id=count)
            port.vlan = v.VlanPolicy(count % 4095, count % 8)
            switch.mtu = 1280 + count % 1000
            port.properties["org.example.owner"] = f"thread {number}"
            assert switch.mtu == 1280 + count % 1000
            assert port.vlan == v.VlanPolicy(count % 4095, count % 8)
            assert (port.connect_id, str(port.properties["org.example.owner"])) == (count, f"thread {number}")
            with raises(v.NotFound) as refused:
                switch.ports[f"prot-{count}"]
            assert f"'port-{count}'" in refused.value.hint
            if count > 5:
                switch.ports.remove(f"port-{count - 5}")
            assert list(switch.ports) == [f"port-{one}" for one in range(max(1, count - 4), count + 1)]
        assert count > 3
    except BaseException as error:  # noqa: BLE001 - told to the test
        faults.append(error)


def test_eight_threads_on_eight_switches() -> None:
    faults: list[BaseException] = []
    until = time.monotonic() + SECONDS
    threads = [threading.Thread(target=work, args=(number, until, faults)) for number in range(8)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join(SECONDS + 60)
    assert faults == []
    assert list(v.Host().switches)[2:] != [] and len(v.Host().switches) == 10


def test_methods_in_asyncio() -> None:
    async def both() -> Any:
        return await asyncio.gather(
            asyncio.to_thread(v.Switch("workload").ports.create, "a"),
            asyncio.to_thread(lambda: v.Switch("management").mtu),
        )

    assert asyncio.run(both()) == [v.Port(v.Switch("workload"), "a"), 1500]


@pytest.mark.same_process
def test_other_threads_run_while_one_waits_in_a_call(tmp_path: Any) -> None:
    host = tmp_path / "host.db"
    tool = BUILD / "host" / "bin" / "vswitch-host"
    subprocess.run([tool, "--host", host, "init"], check=True, capture_output=True)
    rule = ["delay", "--call", "VSDVS_GetMTU", "--milliseconds", "1500"]
    subprocess.run([tool, "--host", host, "fault", "add", *rule], check=True, capture_output=True)
    outcome = run_script(
        """
        import threading
        import vswitch
        began, found = threading.Event(), []

        def wait():
            began.set()
            found.append(vswitch.Switch("workload").mtu)

        vswitch.Host().portsets  # the module is imported, the host is open
        vswitch.Switch
        thread = threading.Thread(target=wait)
        thread.start()
        began.wait()
        for number in range(100000):
            pass
        assert found == [], "the loop had to wait for the call"
        thread.join()
        assert found == [9000]
        """,
        VSWITCH_HOST=str(host),
    )
    assert outcome.code == 0, outcome
