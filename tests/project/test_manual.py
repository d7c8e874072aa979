"""The manual: what its guides and examples show is what happens, and it builds without a warning."""

import doctest
import html
import json
import os
import pathlib
import re
import subprocess
import sys

import pytest
from workspace import BUILD, SEARCH, SOURCE

GUIDES = SOURCE / "docs" / "manual"
PAGES = sorted(str(path.relative_to(GUIDES)) for path in GUIDES.rglob("*.rst"))
# The reference of the comfortable layer, which is made of docstrings, a page of links, and one with a playbook, which
# is run with the tests of the collection.
WITHOUT_SESSIONS = ["comfort.rst", "guides/tasks.rst", "objects/fleet.rst"]
EXAMPLES = re.split(r"^(\w+)\n", (GUIDES / "call_examples.txt").read_text(encoding="utf-8"), flags=re.M)[1:]


# ---- in a process of its own: the blocks of one page, in order -----------------------------------------------


def shell(command: str) -> None:
    """Runs what stands behind a prompt and prints what a terminal shows."""
    process = subprocess.run(
        command, shell=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=60, check=False
    )
    print(process.stdout, end="")


def blocks(text: str, kind: str) -> list[re.Match[str]]:
    """The code blocks of a kind: options and contents."""
    return list(re.finditer(rf"^\.\. code-block:: {kind}\n((?:   :.*\n)*)((?:\n|   .*\n)+)", text, re.M))


def as_python(text: str) -> str:
    """A page with its terminal sessions as calls of `shell`, so that one reader sees everything in its order."""

    def session(block: re.Match[str]) -> str:
        lines = block[2].strip("\n").split("\n")
        shown = [f"   >>> shell({line[5:]!r})" if line.startswith("   $ ") else line for line in lines]
        shown = [line or "   <BLANKLINE>" for line in shown]
        return "\n" + "\n".join(shown) + "\n\n"

    result = text
    for block in reversed(blocks(text, "console")):
        result = result[: block.start()] + session(block) + result[block.end() :]
    return result


def run_text(text: str, name: str) -> int:
    test = doctest.DocTestParser().get_doctest(text, {"shell": shell}, name, name, 0)
    assert test.examples, f"{name} shows nothing"
    return doctest.DocTestRunner(verbose=False, optionflags=doctest.ELLIPSIS).run(test).failed


def run_page(name: str) -> int:
    text = (GUIDES / name).read_text(encoding="utf-8")
    for kind in ("python", "json", "yaml"):
        for block in blocks(text, kind):
            caption = re.search(r":caption: (.*)", block[1])
            if caption:
                contents = "\n".join(line[3:] for line in block[2].strip("\n").split("\n"))
                pathlib.Path(caption[1]).write_text(contents + "\n", encoding="utf-8")
    return run_text(as_python(text), name)


def run_example(name: str) -> int:
    text = dict(zip(EXAMPLES[::2], EXAMPLES[1::2], strict=True))[name]
    return run_text(f">>> import libvswitch as vs\n>>> from libvswitch import allocated, check\n{text}", name)


# ---- tests ---------------------------------------------------------------------------------------------------


def run_in_new_process(
    function: str, name: str, folder: pathlib.Path, **variables: str
) -> subprocess.CompletedProcess[str]:
    """Runs one of the functions above on a fresh host in an empty folder."""
    programs = folder / "programs"
    programs.mkdir()
    (programs / "python3").symlink_to(sys.executable)
    work = folder / "work"
    work.mkdir()
    environment = dict(
        os.environ,
        PATH=os.pathsep.join([str(programs), str(BUILD / "host" / "bin"), str(BUILD / "bin"), os.environ["PATH"]]),
        PYTHONPATH=os.pathsep.join([*SEARCH, str(SOURCE / "tests" / "project")]),
        PYTHONDONTWRITEBYTECODE="1",
        VSWITCH_HOST="host.db",
    )
    for variable in ("VSWITCH_HOST_INIT", "VSWITCH_HOST_TRACE", "VSWITCH_HOST_SYNC"):
        environment.pop(variable, None)
    environment |= variables
    script = f"import sys, test_manual; sys.exit(test_manual.{function}({name!r}))"
    command = [sys.executable, "-c", script]
    return subprocess.run(
        command, cwd=work, env=environment, capture_output=True, text=True, timeout=180, check=False
    )


@pytest.mark.parametrize("page", [page for page in PAGES if page not in WITHOUT_SESSIONS])
def test_a_page_shows_what_happens(page: str, tmp_path: pathlib.Path) -> None:
    process = run_in_new_process("run_page", page, tmp_path)
    assert process.returncode == 0, process.stdout + process.stderr


@pytest.mark.parametrize("name", EXAMPLES[::2])
def test_the_example_of_a_call_shows_what_happens(name: str, tmp_path: pathlib.Path) -> None:
    trace = tmp_path / "trace"
    process = run_in_new_process("run_example", name, tmp_path, VSWITCH_HOST_TRACE=str(trace))
    assert process.returncode == 0, process.stdout + process.stderr
    # No example teaches to forget a release. Of VSQEL_GetSwitchesPy's lists the host does not see the end.
    forgotten = re.findall(r'"never_released":"(\w+)"', trace.read_text() if trace.exists() else "")
    assert [call for call in forgotten if call != "VSQEL_GetSwitches" or name == call] == []


def test_a_wrong_line_would_be_seen(tmp_path: pathlib.Path) -> None:
    """That the two tests above can fail: Python and terminal blocks are both compared."""
    wrong = as_python(".. code-block:: console\n\n   $ echo one\n   two\n\n>>> 1 + 1\n3\n")
    script = f"import sys, test_manual; sys.exit(test_manual.run_text({wrong!r}, 'wrong'))"
    environment = dict(os.environ, PYTHONPATH=os.pathsep.join([*SEARCH, str(SOURCE / "tests" / "project")]))
    command = [sys.executable, "-c", script]
    process = subprocess.run(command, env=environment, capture_output=True, text=True, check=False)
    assert process.returncode == 2, process.stdout + process.stderr


@pytest.mark.parametrize("page", PAGES)
def test_every_python_block_of_a_page_is_run(page: str) -> None:
    """A block is a session, or a file that a session uses."""
    text = (GUIDES / page).read_text(encoding="utf-8")
    sessions = as_python(text)
    for block in blocks(text, "python"):
        caption = re.search(r":caption: (.*)", block[1])
        assert ">>> " in block[2] or (caption and re.search(rf"shell\(.*{re.escape(caption[1])}", sessions)), block[0]
    assert not re.search(r"^\.\. code-block:: (?!python|json|yaml|console|text)", text, re.M)


@pytest.fixture(scope="module")
def manual(tmp_path_factory: pytest.TempPathFactory) -> pathlib.Path:
    if "VSWITCHPY_PRELOAD" in os.environ:
        pytest.skip("the manual is the same text whatever the build; Sphinx under sanitizers takes minutes")
    build = tmp_path_factory.mktemp("manual")
    for needed in ("interface.json", "host", "python"):
        (build / needed).symlink_to(BUILD / needed)
    command = (sys.executable, SOURCE / "tools" / "make_manual.py", build)
    process = subprocess.run(command, capture_output=True, text=True, timeout=300, check=False)
    assert (process.returncode, process.stdout, process.stderr) == (0, "", "")
    return build / "manual"


def shown(page: pathlib.Path) -> str:
    return html.unescape(re.sub(r"<[^>]+>", "", page.read_text(encoding="utf-8")))


def test_the_manual_builds_and_tells_every_name(manual: pathlib.Path) -> None:
    text = "\n".join(shown(page) for page in manual.rglob("*.html") if page.name != "genindex.html")
    words = set(re.findall(r"\w+", text))
    listing = subprocess.run(
        [sys.executable, "-c", "import libvswitch; print(*dir(libvswitch))"],
        env=dict(os.environ, PYTHONPATH=os.pathsep.join(SEARCH), VSWITCH_HOST=":memory:"),
        capture_output=True,
        text=True,
        check=True,
    )
    names = [name for name in listing.stdout.split() if not name.startswith("_")]
    assert len(names) > 2400
    assert [name for name in names if name not in words] == []


def test_every_name_that_a_page_refers_to_is_there(manual: pathlib.Path) -> None:
    """A role that leads nowhere is no warning; it is shown without a link."""
    shown_without = []
    for page in manual.rglob("*.html"):
        text = page.read_text(encoding="utf-8")
        found = re.findall(
            r'(<a [^>]*>)?<code class="xref py py-(?:func|class|meth|attr|data|exc|mod)[^"]*">.*?</code>', text
        )
        shown_without += [page.name for link in found if not link]
    assert shown_without == []


def test_pictures_are_drawn_from_their_sources(manual: pathlib.Path) -> None:
    sources = list((GUIDES / "pictures").glob("*.dot"))
    assert len(sources) >= 5
    pages = "\n".join(page.read_text(encoding="utf-8") for page in manual.rglob("*.html"))
    drawn = set(re.findall(r'<object data="([^"]+)" type="image/svg\+xml"', pages))
    assert len(drawn) == len(sources)
    for picture in drawn:
        assert (manual / picture.removeprefix("../")).read_text(encoding="utf-8").count("<g ") > 5


def test_indexes_say_what_is_behind_each_title(manual: pathlib.Path) -> None:
    calls = " ".join(shown(manual / "calls" / "index.html").split())
    assert "VSDVS_SetMTU Sets the largest payload of a frame (MTU) that a switch passes" in calls
    families = " ".join(shown(manual / "constants" / "index.html").split())
    interface = json.loads((BUILD / "interface.json").read_text(encoding="utf-8"))
    assert [
        family["family"] for family in interface["constants"] if family["doc"].strip(". ")[:40] not in families
    ] == []
    records = " ".join(shown(manual / "records" / "index.html").split())
    assert "VSInfo" in records and "qel_EthHdr Ethernet header (IEEE 802.3)" in records


def test_the_reference_tells_what_a_call_does(manual: pathlib.Path) -> None:
    text = " ".join(shown(manual / "calls" / "switches.html").split())
    entry = text[text.index("VSDVS_SetMTU(alias: str | None, mtu: int, /) → int") :].split("VSDVS_GetMTU(alias:")[0]
    assert "mtu: 1280 to 9000 bytes" in entry
    assert "OverflowError for a number out of range" in entry
    assert "Statuses: QEL_BAD_PARAM; and those of every call." in entry
    assert "Example" in entry


def test_the_reference_claims_no_status_where_there_is_none(manual: pathlib.Path) -> None:
    text = " ".join(shown(manual / "calls" / "handles-into-the-state.html").split())
    entry = text[text.index("DVS_GetMaxPorts(vswitch:") :].split("DVSState_PortFind(")[0].split("#")[1]
    assert "Statuses" not in entry
    assert "Statuses: QEL_NOT_FOUND" in text[text.index("DVSState_GlobalPropLookup(alias:") :]


def test_the_reference_tells_whose_memory_it_is(manual: pathlib.Path) -> None:
    switches = " ".join(shown(manual / "calls" / "switches.html").split())
    entry = switches[switches.index("VSQEL_GetSwitchInfo(switch_name:") :].split("VSQEL_GetVSInfo(switch_name:")[0]
    assert "goes back, once, by allocated(), a with block or VSQEL_FreeMemory." in entry
    helpers = " ".join(shown(manual / "calls" / "helpers.html").split())
    entry = helpers[helpers.index("alloc_hnq_query(size:") :].split("free_hnq_query(query:")[0]
    assert "Belongs to the script: released, once, by allocated() or free_hnq_query." in entry


def test_the_reference_tells_what_a_field_is(manual: pathlib.Path) -> None:
    text = " ".join(shown(manual / "records" / "status_records.html").split())
    entry = text[text.index("class VSInfo") :].split("maxValidVlan")[0]
    assert "mtu: int" in entry
    assert "An int from 0 to 4294967295; OverflowError outside" in entry
    assert "VSInfo_mtu_get, VSInfo_mtu_set" in entry


def test_no_page_has_markup_that_was_not_understood(manual: pathlib.Path) -> None:
    """Names in role syntax or double backticks that came through as text."""
    wrong = []
    for page in manual.rglob("*.html"):
        prose = re.sub(r"<(pre|script|code)\b.*?</\1>", "", page.read_text(encoding="utf-8"), flags=re.S)
        if re.search(r":py:\w+:|``|`\w+ &lt;", prose):
            wrong.append(page.name)
    assert wrong == []
