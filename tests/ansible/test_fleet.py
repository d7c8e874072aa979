"""Many hosts by Ansible: simulated ones in one inventory, over local connections and over real ones.

`VSWITCHPY_FULL=1` takes all fifty hosts, otherwise a few of them that a seed has drawn."""

import json
import os
import pathlib
import random
import re
import signal
import socket
import subprocess
import time
from collections.abc import Iterator
from typing import Any

import pytest
import yaml
from collection import Ansible, needs
from workspace import BUILD, SOURCE

import vswitch
from vswitch.simulated import SimulatedHost

pytestmark = pytest.mark.pure_python

ALL = 50
HOSTS = list(range(ALL)) if os.environ.get("VSWITCHPY_FULL") else sorted(random.Random(21).sample(range(ALL), 3))
# The example's, and something of the host itself.
DOCUMENT = re.findall(r'"""\n(.*?)"""', (SOURCE / "examples/vswitch/set_up.py").read_text(), re.S)[0]
DOCUMENT += "  workload: {mtu: 1500}\nmac_learning: {aging_time: 300}\n"
# Three times in one run: what would be done, what is done, what is left to do.
THREE_TIMES = """
- name: Bring all hosts to one document
  hosts: all
  gather_facts: false
  tasks:
    - name: predict
      vswitchpy.vswitch.state: &state
        document: "{{ lookup('ansible.builtin.file', document) | from_yaml }}"
        host_file: "{{ host_file }}"
      check_mode: true
      diff: true
    - name: first
      vswitchpy.vswitch.state: *state
      diff: true
    - name: second
      vswitchpy.vswitch.state: *state
"""
ONCE = """
- name: Bring all hosts to one document
  hosts: all
  gather_facts: false
  tasks:
    - name: once
      vswitchpy.vswitch.state:
        document: "{{ lookup('ansible.builtin.file', document) | from_yaml }}"
        host_file: "{{ host_file }}"
"""


class Fleet:
    """An inventory of simulated hosts, each with a state file."""

    def __init__(self, ansible: Ansible, folder: pathlib.Path) -> None:
        self.ansible, self.folder = ansible, folder
        self.names = [f"host-{number:02}" for number in HOSTS]
        (folder / "document.yaml").write_text(DOCUMENT)
        hosts = {name: {"host_file": str(self.file(name))} for name in self.names}
        self.write_inventory(hosts, {"ansible_connection": "local"})
        ansible.results()

    def file(self, name: str) -> pathlib.Path:
        return self.folder / f"{name}.db"

    def write_inventory(self, hosts: Any, variables: Any) -> None:
        variables = {"ansible_python_interpreter": "/usr/bin/python3", **variables}
        (self.folder / "inventory.yml").write_text(yaml.safe_dump({"all": {"hosts": hosts, "vars": variables}}))

    def command(self, playbook: str) -> list[str]:
        """Of a playbook that stands in the collection, or of the text of one."""
        if "\n" in playbook:
            (self.folder / "playbook.yml").write_text(playbook)
            playbook = str(self.folder / "playbook.yml")
        options = ["-i", str(self.folder / "inventory.yml"), "-f", "3"]
        options += ["-e", f"document={self.folder / 'document.yaml'}"]
        return ["/usr/bin/ansible-playbook", *options, playbook]

    def play(self, playbook: str, *more: str, code: int = 0) -> dict[str, dict[str, Any]]:
        """Results by task and host."""
        applies = str(self.folder / "applies")
        said = self.ansible.run(*self.command(playbook), *more, code=code, VSWITCH_APPLY_DIR=applies)
        found: dict[str, dict[str, Any]] = {}
        for one in self.ansible.results():
            found.setdefault(one["task"], {})[one["host"]] = {"outcome": one["outcome"], **one["result"]}
        assert found, said
        return found

    def tool(self, name: str, *words: str) -> None:
        program = BUILD / "host" / "bin" / "vswitch-host"
        subprocess.run([program, "--host", self.file(name), *words], check=True, stdout=subprocess.DEVNULL)

    def lacking(self) -> dict[str, str]:
        """The hosts that are not as the document says, each with the name of the plan that it lacks, by the package
        itself."""
        plans = {}
        for name in self.names:
            with SimulatedHost(self.file(name)) as host:
                plans[name] = vswitch.Host().plan(self.folder / "document.yaml")
            host.close()
        return {name: plan.id for name, plan in plans.items() if plan}


@pytest.fixture
def fleet(ansible: Ansible, tmp_path: pathlib.Path) -> Fleet:
    return Fleet(ansible, tmp_path)


def test_all_change_once_but_one_that_fails_and_is_as_before(fleet: Fleet) -> None:
    bad = fleet.names[1]
    good = [name for name in fleet.names if name != bad]
    fleet.tool(bad, "init")
    fault = ["--call", "VSDVS_SetPortVLANPolicy", "--status", "QEL_NO_MEMORY", "--times", "1"]
    fleet.tool(bad, "fault", "add", "fail", *fault)
    found = fleet.play(THREE_TIMES, code=2)
    assert all(one["outcome"] == "ok" and one["changed"] for one in found["predict"].values())
    assert set(found["predict"]) == set(fleet.names) == set(found["first"])
    for name in good:
        for member in ("plan", "diff_text", "diff"):  # as it changes nothing, all of it is still to be done then
            assert found["first"][name][member] == found["predict"][name][member], (name, member)
        assert found["first"][name]["changed"] and found["first"][name]["result"]["verified"]
    failed = found["first"][bad]
    assert failed["outcome"] == "failed" and failed["rolled_back"] is True and failed["not_undone"] == []
    assert failed["error"]["call"] == "VSDVS_SetPortVLANPolicy" and "QEL_NO_MEMORY" in failed["msg"]
    assert set(found["second"]) == set(good) and not any(one["changed"] for one in found["second"].values())
    assert fleet.lacking() == {bad: found["predict"][bad]["plan"]["id"]}, "it is as before"


def test_what_was_killed_is_finished_by_the_next_run(fleet: Fleet) -> None:
    slow = fleet.names[-1]
    fleet.tool(slow, "init")
    # It gets stuck in the middle of its apply.
    fleet.tool(slow, "fault", "add", "delay", "--call", "VSDVS_SetPortVLANPolicy", "--milliseconds", "60000")
    environment = {**fleet.ansible.environment, "VSWITCH_APPLY_DIR": str(fleet.folder / "applies")}
    nothing: Any = dict.fromkeys(("stdin", "stdout", "stderr"), subprocess.DEVNULL)
    with subprocess.Popen(fleet.command(ONCE), env=environment, cwd=fleet.folder, **nothing) as process:
        journal = wait_for(process, lambda: stuck(fleet.folder / "applies", fleet.file(slow)))
        kill_all(process.pid)
    assert '"type": "doing"' in journal and journal.count('"type": "done"') >= 2
    assert slow in fleet.lacking()
    fleet.tool(slow, "fault", "clear")
    fleet.ansible.results()
    found = fleet.play(ONCE)["once"]
    assert {one["outcome"] for one in found.values()} == {"ok"} and set(found) == set(fleet.names)
    assert found[slow]["changed"] and "was interrupted" in found[slow]["warnings"][0]
    done = [one["path"] for one in found[slow]["plan"]["operations"]]
    assert "switches/production/ports/database" in done and "switches/production" not in done
    assert fleet.lacking() == {}


def stuck(applies: pathlib.Path, file: pathlib.Path) -> str:
    """The journal of a host's apply once it is at a port's VLAN."""
    for path in applies.glob("*.journal"):
        text = path.read_text()
        lines = [json.loads(line) for line in text.split("\n")[:-1]]
        if lines and lines[0]["environment"]["VSWITCH_HOST"] == str(file):
            paths = {one["number"]: one["path"] for one in lines[0]["plan"]["operations"]}
            if lines[-1]["type"] == "doing" and paths[lines[-1]["number"]].endswith("/vlan"):
                return text
    return ""


def wait_for(process: Any, look: Any) -> Any:
    """What `look` finds, while a process goes on."""
    while process.poll() is None:
        if found := look():
            return found
        time.sleep(0.02)
    raise AssertionError(f"it ended with {process.returncode}")


def kill_all(pid: int) -> None:
    """Kills a process that was started here, and all that it has started."""
    os.kill(pid, signal.SIGSTOP)  # so that it starts no others meanwhile
    children = "".join(path.read_text() for path in pathlib.Path(f"/proc/{pid}/task").glob("*/children"))
    for child in children.split():
        kill_all(int(child))
    os.kill(pid, signal.SIGKILL)


# ---- real connections ------------------------------------------------------------------------------------------------


@pytest.fixture
def servers(tmp_path: pathlib.Path, ansible: Ansible) -> Iterator[list[int]]:
    """The ports of two SSH servers of this user on the loopback interface."""
    needs("sshd", "openssh-server")
    keygen = ["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f"]
    for name in ("server", "client"):
        subprocess.run([*keygen, tmp_path / name], check=True)
    if os.getuid() == 0:
        pathlib.Path("/run/sshd").mkdir(mode=0o755, exist_ok=True)
    environment = {"PYTHONPATH": str(BUILD / "python"), "VSWITCH_APPLY_DIR": str(tmp_path / "applies")}
    processes = []
    ports = []
    for number in range(2):
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            ports.append(free.getsockname()[1])
        said = " ".join(f'{name}="{value}"' for name, value in (environment | {"SERVER": str(number)}).items())
        (tmp_path / f"sshd-{number}").write_text(
            f"ListenAddress 127.0.0.1:{ports[-1]}\nHostKey {tmp_path}/server\n"
            f"AuthorizedKeysFile {tmp_path}/client.pub\nPidFile none\nStrictModes no\nUsePAM no\n"
            f"PasswordAuthentication no\nPermitRootLogin yes\nSetEnv {said}\n"
        )
        processes.append(
            subprocess.Popen(
                ["/usr/sbin/sshd", "-D", "-e", "-f", tmp_path / f"sshd-{number}"],
                env=ansible.environment,
                stdin=subprocess.DEVNULL,
                stderr=subprocess.PIPE,
                text=True,
            )
        )
    try:
        for process in processes:
            line = process.stderr.readline()  # type: ignore[union-attr]
            assert line.startswith("Server listening on 127.0.0.1"), line
        yield ports
    finally:
        for process in processes:
            process.kill()
            process.communicate()


def test_a_rack_over_ssh(fleet: Fleet, servers: list[int], tmp_path: pathlib.Path) -> None:
    """By the playbook of the collection: each host is confirmed over a connection of its own."""
    hosts = {
        name: {"host_file": str(fleet.file(name)), "ansible_port": port}
        for name, port in zip(("first", "second"), servers, strict=True)
    }
    fleet.names = list(hosts)
    options = f"-F none -i {tmp_path}/client -o ControlMaster=no -o UserKnownHostsFile=/dev/null -o LogLevel=ERROR"
    fleet.write_inventory(
        hosts,
        {
            "ansible_connection": "ssh",
            "ansible_host": "127.0.0.1",
            "ansible_ssh_args": options,
            "ansible_remote_tmp": str(tmp_path / "remote"),
        },
    )
    state, confirm = "Bring the host to the document", "Keep the changes, now that the host is still reached"
    found = fleet.play("vswitchpy.vswitch.rack", "-e", "patience=600")
    assert {name: one["changed"] for name, one in found[state].items()} == {"first": True, "second": True}
    for name in hosts:
        confirmed = [one["path"] for one in found[confirm][name]["result"]["operations"]]
        assert confirmed == [one["path"] for one in found[state][name]["plan"]["operations"]]
    assert fleet.lacking() == {}
    # The first host of a rack that refuses ends it, and the others are left alone.
    (fleet.folder / "document.yaml").write_text(DOCUMENT.replace("mtu: 1500", "mtu: 2000"))
    fleet.tool("first", "fault", "add", "fail", "--call", "VSDVS_SetMTU", "--status", "QEL_BUSY")
    found = fleet.play("vswitchpy.vswitch.rack", "-e", "batch=1", code=2)
    assert {name: one["outcome"] for name, one in found[state].items()} == {"first": "failed"}
    assert found[state]["first"]["rolled_back"] and set(fleet.lacking()) == {"first", "second"}


def test_the_manual_shows_the_playbook_of_the_collection() -> None:
    playbook = (SOURCE / "ansible" / "playbooks" / "rack.yml").read_text()
    shown = (SOURCE / "docs" / "manual" / "objects" / "fleet.rst").read_text()
    tasks = playbook.split("---\n")[1].split("\n- name: ")[1]
    assert "\n".join(f"   {line}" if line else "" for line in ("- name: " + tasks).rstrip().split("\n")) in shown
