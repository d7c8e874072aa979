"""The command line where it meets a terminal, a closed pipe, a poor locale, a signal, a file that it may not write."""

import json
import pathlib
import select
import signal
import socket
import subprocess
import sys
from typing import Any

import pytest
import terminal
import workspace
from test_sessions import environment  # noqa: F401 - a fixture

pytestmark = [pytest.mark.pure_python, pytest.mark.same_process]


def run(
    environment: dict[str, str], *arguments: str, env: dict[str, str] | None = None
) -> subprocess.CompletedProcess[bytes]:
    return subprocess.run(
        ["vswitch", *arguments], env={**environment, **(env or {})}, capture_output=True, timeout=60, check=False,
        stdin=subprocess.DEVNULL,
    )  # fmt: skip


def on_terminal(
    environment: dict[str, str], *arguments: str, columns: int = 100, answer: bytes = b"", **more: str
) -> tuple[str, int]:
    """What a person sees who runs the command, and its exit code."""
    variables = {**environment, "TERM": "xterm", "COLUMNS": str(columns), **more}
    return terminal.on_terminal(["vswitch", *arguments], variables, answer=answer)


@pytest.fixture(autouse=True)
def path(environment: dict[str, str], monkeypatch: pytest.MonkeyPatch) -> None:  # noqa: F811
    monkeypatch.setenv("PATH", environment["PATH"])


def test_a_table_on_a_terminal(environment: dict[str, str]) -> None:  # noqa: F811
    seen, code = on_terminal(environment, "nic", "list")
    assert code == 0 and "\x1b[1;36mNIC" in seen
    plain, _ = on_terminal(environment, "nic", "list", TERM="dumb")
    assert [line.rstrip() for line in plain.splitlines()] == [
        "NIC   SWITCH      UPLINK    LINK  SPEED  DUPLEX",
        "nic0  management  nic0      up    10000  full",
        "nic1  workload    uplink-a  up    10000  full",
        "nic2  workload    uplink-b  up    25000  full",
    ]


def test_no_color(environment: dict[str, str]) -> None:  # noqa: F811
    document = f"{environment['HOME']}/lab.yaml"
    colored, _ = on_terminal(environment, "plan", document)
    plain, _ = on_terminal(environment, "plan", document, NO_COLOR="1")
    assert "\x1b[32m" in colored
    assert "\x1b[3" not in plain and "  + mtu: 9000" in plain


def test_twenty_columns(environment: dict[str, str]) -> None:  # noqa: F811
    """The terminal wraps the lines; cells stay whole."""
    seen, code = on_terminal(environment, "switch", "list", columns=20)
    assert code == 0
    assert seen == run(environment, "switch", "list").stdout.decode()


def test_apply_asks_on_a_terminal(environment: dict[str, str]) -> None:  # noqa: F811
    document = f"{environment['HOME']}/lab.yaml"
    seen, code = on_terminal(environment, "apply", document, answer=b"n\n")
    assert code == 1 and "apply this? [y/N]:" in seen
    assert run(environment, "drift", document).returncode == 3
    seen, code = on_terminal(environment, "apply", document, answer=b"y\n")
    assert code == 0 and "applied 7 operations in" in seen
    assert run(environment, "drift", document).returncode == 0
    seen, code = on_terminal(environment, "apply", document, "--yes")
    assert code == 0 and "[y/N]" not in seen and "nothing to do" in seen


def test_a_closed_pipe(environment: dict[str, str]) -> None:  # noqa: F811
    done = subprocess.run(
        "vswitch constants | head -n 1; vswitch schema | true", shell=True, env=environment, capture_output=True,
        text=True, timeout=60, check=False,
    )  # fmt: skip
    assert done.stdout == "NAME" + done.stdout[4:] and done.stdout.count("\n") == 1
    assert done.stderr == ""


def test_a_poor_locale(environment: dict[str, str]) -> None:  # noqa: F811
    poor = {"LANG": "C", "LC_ALL": "C"}
    assert run(environment, "port", "add", "workload", "büro", env=poor).returncode == 0
    done = run(environment, "port", "list", "workload", "--json", env=poor)
    assert "büro" in [port["port"] for port in json.loads(done.stdout.decode())]


def test_a_state_file_that_cannot_be_written(environment: dict[str, str], tmp_path: pathlib.Path) -> None:  # noqa: F811
    run(environment, "show")
    if subprocess.run(["setpriv", "--reuid=65534", "true"], check=False, capture_output=True).returncode:
        pytest.skip("another user is needed, and this one may not change to it")
    for folder in [tmp_path, *tmp_path.parents][:3]:
        folder.chmod(0o755)
    (tmp_path / "host.db").chmod(0o644)
    command = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "vswitch"]
    shown = subprocess.run([*command, "get", "switches/workload/mtu"], env=environment, capture_output=True, text=True,
                           check=False, timeout=60)  # fmt: skip
    if "belongs to another user" in shown.stderr:
        assert (shown.returncode, shown.stderr.count("\n")) == (1, 1)
        return
    assert shown.stdout == "9000\n"


def test_an_interrupted_watch(environment: dict[str, str]) -> None:  # noqa: F811
    watch = subprocess.Popen(["vswitch", "watch", "switches/workload/mtu", "--interval", "0.05"], env=environment,
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)  # fmt: skip
    for mtu in ("1500", "2000", "3000", "4000", "5000", "6000", "7000"):  # until it has begun to look
        run(environment, "set", "switches/workload/mtu", mtu)
        if select.select([watch.stdout], [], [], 0.3)[0]:
            break
    assert watch.stdout and watch.stderr
    line = watch.stdout.readline()
    assert " switches/workload/mtu: " in line and " -> " in line, line
    watch.send_signal(signal.SIGINT)
    assert watch.wait(timeout=30) == 0
    assert watch.stderr.read() == ""


def imported_by(words: list[str], environment: dict[str, str]) -> set[str]:
    """The modules that a command imports."""
    source = "import sys\nfrom vswitch.cli import main\nmain(sys.argv[1:])\nprint(*sys.modules, file=sys.stderr)"
    done = subprocess.run(
        [sys.executable, "-c", source, *words], env=environment, capture_output=True, text=True, timeout=60, check=True
    )
    return set(done.stderr.split())


def test_what_starts_the_command_is_little(environment: dict[str, str]) -> None:  # noqa: F811
    version = imported_by(["--version"], environment)
    assert {name for name in version if name.startswith("vswitch")} == {"vswitch", "vswitch.cli"}
    costly = {"click", "rich", "yaml", "cbor2", "dataclasses", "inspect", "json", "hashlib", "datetime", "ipaddress"}
    assert not version & {*costly, "libvswitch"}


VLAN = {"enums.policies", "handles.port", "handles.port_settings", "values.base", "values.vlan"}


@pytest.mark.parametrize(
    ("path", "others"),
    [
        ("switches/workload/mtu", set()),
        ("switches/workload/id", set()),
        ("switches/workload/ports/100/vlan", VLAN),
        ("switches/workload/multicast_mode", {"enums.multicast"}),
    ],
)
def test_reading_a_value_imports_what_it_needs(
    environment: dict[str, str], path: str, others: Any
) -> None:  # noqa: F811
    found = imported_by(["get", path], environment)
    part = """_arguments _calls _walk cli cli.output cli.running cli.value desired desired.names enums enums._member
    errors handles handles.collection handles.host handles.setting handles.switch handles.switch_settings
    handles.switches paths values values.codecs values.kinds"""
    ours = {name.removeprefix("vswitch.") for name in found if name.startswith("vswitch.")}
    assert ours - set(part.split()) == others
    assert not found & {"click", "rich", "yaml", "cbor2", "json", "hashlib", "datetime"}
    if "values.base" not in others:
        assert not found & {"dataclasses", "inspect", "ipaddress"}


def test_other_verbs_import_the_grammar_and_no_tables(environment: dict[str, str]) -> None:  # noqa: F811
    found = imported_by(["--json", "get", "switches/workload/mtu"], environment)
    assert "click" in found and not found & {"rich", "yaml", "cbor2"}


def complete(environment: dict[str, str], *words: str) -> list[str]:
    """What the shell would offer for the last of the words."""
    variables = {"_VSWITCH_COMPLETE": "bash_complete", "COMP_WORDS": " ".join(["vswitch", *words]),
                 "COMP_CWORD": str(len(words))}  # fmt: skip
    answer = run(environment, env=variables).stdout.decode()
    return [line.partition(",")[2] for line in answer.splitlines()]


def test_completion(environment: dict[str, str]) -> None:  # noqa: F811
    for shell in ("bash", "zsh", "fish"):
        script = run(environment, "completion", shell).stdout.decode()
        assert "_VSWITCH_COMPLETE" in script and "vswitch" in script
    subprocess.run(["bash", "-n"], input=run(environment, "completion", "bash").stdout, check=True)
    assert complete(environment, "po") == ["port"]
    assert complete(environment, "port", "") == ["list", "show", "add", "remove"]
    assert complete(environment, "port", "list", "") == ["management", "workload"]
    assert complete(environment, "port", "show", "workload", "10") == ["100", "101", "102", "103"]
    assert complete(environment, "uplink", "remove", "workload", "") == ["uplink-a", "uplink-b"]
    assert complete(environment, "port", "list", "nowhere", "--t") == ["--type"]
    assert complete(environment, "get", "switches/workload/ports/103/") == [
        f"switches/workload/ports/103/{name}"
        for name in (
            "mac_learning", "mac_learning/learning", "mac_learning/flooding", "mac_learning/limit",
            "mac_learning/at_limit", "mac_changes", "observed", "observed/number", "observed/type", "observed/client",
            "observed/link",
        )
    ]  # fmt: skip


def test_the_man_page_has_every_verb_and_option(environment: dict[str, str]) -> None:  # noqa: F811
    import click
    from vswitch.cli.grammar import VERBS, Verbs, root

    page = (workspace.SOURCE / "packaging" / "vswitch.1").read_text().replace("\\-", "-")
    for font in ("\\fB", "\\fI", "\\fR"):
        page = page.replace(font, "")

    def walk(command: click.Command | None, words: list[str]) -> None:
        assert command
        context = click.Context(command)
        if isinstance(command, Verbs):
            for name in command.list_commands(context):
                walk(command.get_command(context, name), [*words, name])
            return
        assert " ".join(words) in page, words
        for parameter in command.params:
            if isinstance(parameter, click.Option):
                assert parameter.opts[0] in page, (words, parameter.opts)

    walk(root, [])
    assert "switch" in VERBS


def test_the_exporter_over_http(environment: dict[str, str]) -> None:  # noqa: F811
    from urllib.request import urlopen

    prometheus = pytest.importorskip("prometheus_client.parser", reason="python3-prometheus-client is not installed")
    with socket.create_server(("127.0.0.1", 0)) as free:
        port = free.getsockname()[1]
    command = ["vswitch", "exporter", "--port", str(port)]
    process = subprocess.Popen(command, env=environment, stderr=subprocess.PIPE, text=True)
    try:
        assert process.stderr
        address = process.stderr.readline().split()[-1]
        with urlopen(address, timeout=30) as answer:
            text = answer.read().decode()
    finally:
        process.send_signal(signal.SIGINT)
        assert process.wait(timeout=30) == 0
    samples = {}
    for family in prometheus.text_string_to_metric_families(text):
        for sample in family.samples:
            samples[sample.name, tuple(sorted(sample.labels.items()))] = sample.value
    assert samples["vswitch_up", ()] == 1
    assert samples["vswitch_switch_mtu_bytes", (("switch", "workload"),)] == 9000
    assert samples["vswitch_switch_active_ports", (("switch", "management"),)] == 2
    uplink = (("nic", "nic2"), ("switch", "workload"), ("uplink", "uplink-b"))
    assert samples["vswitch_uplink_speed_mbps", uplink] == 25000
    assert samples["vswitch_mirror_copies_total", (("session", "management-tap"), ("switch", "management"))] == 240
    assert samples["vswitch_mac_learned", (("port", "103"), ("switch", "workload"))] == 2
    assert samples["vswitch_lag_up", (("lag", "lag-1"), ("switch", "workload"))] == 1
    assert samples[
        "vswitch_port_dropped_packets_total", (("direction", "in"), ("port", "103"), ("switch", "workload"))] == 3
    assert samples["vswitch_announcement_packets_total", (("switch", "workload"),)] == 6


def test_a_failing_host_is_a_scrape_that_says_so(
    environment: dict[str, str], tmp_path: pathlib.Path
) -> None:  # noqa: F811
    pytest.importorskip("prometheus_client", reason="python3-prometheus-client is not installed")
    (tmp_path / "host.db").write_bytes(b"no state file")
    script = """
from prometheus_client import CollectorRegistry, generate_latest
import vswitch
from vswitch.exporter import Collector
registry = CollectorRegistry()
registry.register(Collector(vswitch.Host()))
print(generate_latest(registry).decode())
"""
    done = subprocess.run([sys.executable, "-c", script], env=environment, capture_output=True, text=True, timeout=60,
                          check=False)  # fmt: skip
    assert "vswitch_up 0.0" in done.stdout.splitlines(), done.stderr
    assert "vswitch_switch_info" not in done.stdout
