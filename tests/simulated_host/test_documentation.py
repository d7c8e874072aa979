"""docs/host.md against the libraries: it lists every function that they export, with its arguments, and no other; and
every function that it lists does something."""

import re
import subprocess

import workspace
from host_calls import LIBRARIES, Host, isolated, prototypes
from ready_arguments import ReadyArguments

MANUAL = workspace.SOURCE / "docs" / "host.md"
CALL = re.compile(r"`(?P<name>\w+)\((?P<arguments>[^)`]*)\)`")
# These need more than a table's row to describe, and stand in the text.
IN_THE_TEXT = {"Panic", "VSQEL_FreeMemory", "VSDVS_FreeMemory", "DVSQEL_DataFree"}


def exported() -> set[str]:
    names = set()
    for library in LIBRARIES:
        listing = subprocess.run(
            ["nm", "-D", "--defined-only", "--format=posix", str(workspace.BUILD / "host" / library)],
            capture_output=True,
            text=True,
            check=True,
        ).stdout
        names |= {line.split()[0].split("@")[0] for line in listing.splitlines() if line.split()[1] == "T"}
    # The C++ of the shared core is no part of the interface.
    return {name for name in names if not name.startswith("_")}


def documented() -> dict[str, list[list[str]]]:
    """The functions in the first columns of the tables of calls: for each the argument lists that stand there."""
    found: dict[str, list[list[str]]] = {}
    calls = MANUAL.read_text(encoding="utf-8").split("\n## Calls\n")[1]
    for line in calls.splitlines():
        if not line.startswith("| "):
            continue
        for match in CALL.finditer(line.split(" | ")[0]):
            found.setdefault(match["name"], []).append([a.strip() for a in match["arguments"].split(",") if a.strip()])
    return found


def test_the_libraries_export_what_the_headers_declare() -> None:
    assert exported() - {"Panic"} == set(prototypes())


def test_every_function_is_documented() -> None:
    text = MANUAL.read_text(encoding="utf-8")
    missing = exported() - set(documented()) - IN_THE_TEXT
    assert " ".join(sorted(missing)) == ""
    assert [name for name in sorted(IN_THE_TEXT) if f"`{name}" not in text] == []


def test_no_other_function_is_documented() -> None:
    assert sorted(set(documented()) - exported()) == []


def test_no_function_is_documented_twice() -> None:
    assert [name for name, lists in documented().items() if len(lists) > 1] == []


def test_the_arguments_are_those_of_the_headers() -> None:
    wrong = []
    for name, lists in documented().items():
        if name not in prototypes():
            continue
        declared = [parameter.name for parameter in prototypes()[name].parameters]
        for arguments in lists:
            # "...": as the function before it in the row.
            fits = (
                declared[: len(arguments) - 1] == arguments[:-1] if arguments[-1:] == ["..."] else declared == arguments
            )
            if not fits:
                wrong.append(f"{name}({', '.join(arguments)}) is declared with ({', '.join(declared)})")
    assert wrong == []


def unanswered() -> str:
    """The functions that say they are not there, whatever they are called with."""
    names = []
    host = Host()
    ready = ReadyArguments(host)
    for name, prototype in prototypes().items():
        nulls = [None if parameter.is_pointer else 0 for parameter in prototype.parameters]
        for arguments in (ready.of(prototype), nulls) if prototype.has_status else ():
            ended_by, status = isolated(
                lambda: host.status(getattr(host, name)(*arguments))
            )  # noqa: B023 - it is over when this is
            if ended_by is not None or status == "QEL_NOT_IMPLEMENTED":
                names.append(name)
                break
    return " ".join(names)


def test_every_function_is_implemented() -> None:
    ended_by, names = isolated(unanswered)
    assert ended_by is None
    assert names == ""
    assert "QEL_NOT_IMPLEMENTED" not in MANUAL.read_text(encoding="utf-8")
