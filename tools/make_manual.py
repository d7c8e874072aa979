"""Builds the manual: the guides of docs/manual, docs/host.md, and a reference made from the interface as JSON.

Usage: make_manual.py BUILD

Needs BUILD/interface.json, BUILD/host and BUILD/python; writes BUILD/manual-source and BUILD/manual.
"""

import json
import os
import pathlib
import re
import subprocess
import sys
import textwrap
from collections.abc import Iterable, Iterator
from typing import Any

from constant_meanings import meanings
from interface_text import Interface
from manual_objects import calls_page

SOURCE = pathlib.Path(__file__).resolve().parents[1]
GUIDES = SOURCE / "docs" / "manual"
HOST = SOURCE / "docs" / "host.md"

# The pages of the reference: the file that declares what is on them, and their titles.
RECORD_PAGES = {
    "packet_headers": "Packet headers",
    "kernel_records": "Kernel records",
    "mirror_records": "Ports and mirroring",
    "policy_records": "Policies",
    "status_records": "Queries and status",
    "option_records": "Runtime options, save and restore",
}
CONSTANT_PAGES = {
    "status_codes": "Status codes",
    "kernel": "Kernel",
    "packets": "Packets",
    "ports_and_links": "Ports and links",
    "property_store": "Property store",
    "switch_device": "Switch device",
    "property_keys": "Property keys",
    "distributed_ports": "Distributed ports",
    "mirroring": "Mirroring",
    "policies": "Policies",
    "options_and_rtm": "Runtime options, save and restore",
}
HELPERS = "Helpers"
STATUS_PREFIX = 0x0BAD0000


# ---- reStructuredText --------------------------------------------------------------------------------------


class Markup:
    """Texts as reStructuredText, with links for the names that the manual describes."""

    WORD = re.compile(r"\b[A-Za-z_]\w*(?:\.\w+)?")

    def __init__(self, roles: dict[str, str]) -> None:
        self.roles = roles

    @staticmethod
    def fitted(markup: str, before: str, after: str) -> str:
        """Inline markup, kept apart from neighbours that would make it plain text."""
        start = "" if not before or before.isspace() or before in "'\"([{<-/:" else r"\ "
        end = "" if not after or after.isspace() or after in "'\")]}>-/:.,;!?" else r"\ "
        return start + markup + end

    @staticmethod
    def escaped(text: str) -> str:
        return re.sub(r"([\\*`|_])", r"\\\1", text)

    def link(self, name: str, shown: str) -> str:
        return f":py:{self.roles[name]}:`{shown} <libvswitch.{name}>`"

    def plain(self, text: str) -> str:
        """A text without markup. Names that the manual describes become links."""
        parts = []
        end = 0
        for word in self.WORD.finditer(text):
            name = word[0]
            if name not in self.roles:
                name = name.split(".")[0]
            follows = text[word.start() + len(name) :][:1]
            # A wildcard (QEL_LINK_STATE_*) is no name.
            if name not in self.roles or follows == "*" or ("_" not in name and name.islower()):
                continue
            before = text[: word.start()][-1:]
            parts += [self.escaped(text[end : word.start()]), self.fitted(self.link(name, name), before, follows)]
            end = word.start() + len(name)
        return "".join(parts) + self.escaped(text[end:])


def heading(text: str, underline: str) -> str:
    return f"{text}\n{underline * len(text)}\n"


def indented(text: str, by: int = 3) -> str:
    return "\n".join(" " * by + line if line else "" for line in text.split("\n"))


def list_table(rows: Iterable[Any]) -> str:
    lines = [".. list-table::", "   :align: left", "   :widths: 30 70", ""]
    for row in rows:
        lines += [f"   {'*' if index == 0 else ' '} - {cell}".rstrip() for index, cell in enumerate(row)]
    return "\n".join(lines) + "\n"


def raised(markdown: str, by: int) -> str:
    """With its headings so many levels up."""
    return re.sub(r"^#{%d}(?=#+ )" % by, "", markdown, flags=re.M)


def in_markdown(text: str) -> str:
    """reStructuredText as a part of a page in Markdown."""
    return f"`````{{eval-rst}}\n{text}\n`````\n"


# ---- the reference -----------------------------------------------------------------------------------------


def call_examples() -> dict[str, str]:
    """Examples by the name of the function that they show, from the file that the tests run."""
    parts = re.split(r"^(\w+)\n", (GUIDES / "call_examples.txt").read_text(encoding="utf-8"), flags=re.M)[1:]
    return dict(zip(parts[::2], parts[1::2], strict=True))


def declared_in(folder: str, suffix: str, pattern: str) -> dict[str, str]:
    """Name and file of what the files of a folder declare."""
    found = {}
    for path in sorted((SOURCE / folder).glob(f"*{suffix}")):
        for name in re.findall(pattern, path.read_text(encoding="utf-8")):
            found[name] = path.name.removesuffix(suffix)
    return found


class Reference:
    def __init__(self, build: pathlib.Path) -> None:
        self.interface = Interface(json.loads((build / "interface.json").read_text(encoding="utf-8")))
        tool = build / "host" / "bin" / "vswitch-host"
        answer = subprocess.run([tool, "calls", "--json"], capture_output=True, text=True, check=True).stdout
        statuses = next(family for family in self.interface.constants if family["family"] == "status")
        known = {name for name, _ in statuses["items"]}
        listed = {call["name"]: call["statuses"] for call in json.loads(answer)}
        self.statuses = {name: [status for status in statuses if status in known] for name, statuses in listed.items()}
        self.examples = call_examples()
        self.functions: dict[str, list[Any]] = {}
        for name, arguments, result, _, row in self.interface.library_functions():
            self.functions.setdefault(name, []).append((arguments, result, row))
        roles = {name: "func" for name in self.functions} | {"Panic": "func", "VSwitchError": "exc", "check": "func"}
        for record in self.interface.records:
            roles[record["name"]] = "class"
            roles |= {f"{record['name']}.{field['name']}": "attr" for field in record["fields"]}
            roles |= {f"{record['name']}.{method['name']}": "meth" for method in record["methods"]}
        for family in self.interface.constants:
            roles |= {name: "data" for name, _ in family["items"]}
        self.markup = Markup(roles)

    def text(self, text: str) -> str:
        """Of the interface. Where it names the host's page, it links it."""
        parts = re.split(r"docs/host\.md", text)
        return ":doc:`/host`".join(self.markup.plain(part) for part in parts)

    # ---- calls -----------------------------------------------------------------------------------------

    def memory_text(self, result: str, row: dict[str, Any]) -> str:
        """Whose memory the results are."""
        typemaps = {argument["typemap"] for argument in row["arguments"]}
        release = row.get("taken_back_by")
        stored = [argument["taken_back_by"] for argument in row["arguments"] if "taken_back_by" in argument]
        if release and row["result"] == "scalar":
            return (
                "What is handed out stays the library's: it goes back, once, by :py:func:`allocated`, a ``with`` block "
                f"or {self.markup.link(release, release)}."
            )
        if release:
            other = self.markup.link(release, release)
            return f"Belongs to the script: released, once, by :py:func:`allocated` or {other}."
        if stored:
            other = self.markup.link(stored[0], stored[0])
            return f"What is stored stays the library's: it goes back, once, by :py:func:`allocated` or {other}."
        if row["result"] == "owned pointer":
            return "The instance owns its memory and frees it."
        if result.startswith("SwigPyObject"):
            return "A handle; there is nothing to release."
        if "disowned pointer" in typemaps:
            return "Takes the record over: its instance owns nothing afterwards."
        return ""

    def statuses_text(self, name: str, row: dict[str, Any]) -> str:
        # What DVS_... functions give is a thing's own number.
        if name not in self.statuses or row.get("scalar") != "signed 32" or name.startswith("DVS_"):
            return ""
        own = ", ".join(self.markup.link(status, status) for status in self.statuses[name])
        return f"{own + '; and ' if own else ''}:ref:`those of every call <every-call>`."

    def function(self, name: str) -> str:
        forms = self.functions[name]
        signatures = []
        for arguments, result, _ in forms:
            names = [f"{argument}: {kind}" for argument, kind in arguments]
            signatures.append(f"{name}({', '.join([*names, '/']) if names else ''}) -> {result}")
        lines = [f".. py:function:: {signatures[0]}"]
        lines += [f"                 {signature}" for signature in signatures[1:]]
        lines.append("")
        for _, _, row in forms:
            lines += [indented(self.text(self.interface.meaning(row))), ""]
        _, result, row = forms[0]
        errors = self.interface.error_text(row).removeprefix("Raises ")
        fields = [
            ("Exceptions", self.markup.plain(errors)),
            ("Statuses", self.statuses_text(name, row)),
            ("Memory", self.memory_text(result, row)),
        ]
        lines += [f"   :{label}: {text}" for label, text in fields if text]
        if name in self.examples:
            lines += ["", "   .. rubric:: Example", "", indented(textwrap.dedent(self.examples[name]).strip())]
        return "\n".join(lines) + "\n"

    def call_pages(self) -> Iterator[tuple[str, str, str]]:
        """The sections of the host's page that tell of calls, each with an entry for each of them; and the helpers."""
        before, calls = HOST.read_text(encoding="utf-8").split("\n## Calls\n")
        sections = re.split(r"\n(?=### )", calls.split("\n## ")[0])[1:]
        memory = "### Memory\n\n" + before.split("\n## Memory\n\n")[1]
        helpers = f"### {HELPERS}\n\nWhat the module itself offers, without the host.\n"
        left = dict.fromkeys(self.functions)
        for section in [memory, *sections, helpers]:
            title = section.split("\n")[0].removeprefix("### ")
            if title == HELPERS:
                names = list(left)
            else:
                firsts = [line.split(" | ")[0] for line in section.split("\n") if line.startswith("| `")]
                names = [name for first in firsts for name in re.findall(r"`(\w+)\(", first) if name in left]
            for name in names:
                del left[name]
            entries = "\n".join(self.function(name) for name in names)
            if title == HELPERS:
                entries += (
                    "\n.. py:function:: Panic(format: str | None, /, *ignored: object) -> None\n\n"
                    "   Writes a text to the host's log. Further arguments are not read.\n"
                )
            module = ".. py:currentmodule:: libvswitch"
            page = f"{raised(section, by=2)}\n## Reference\n\n" + in_markdown(f"{module}\n\n{entries}")
            yield f"{page_name(title)}.md", page, f"{heading(title, '-')}\n{self.overview(names)}"

    def overview(self, names: Iterable[str]) -> str:
        """The functions with the first sentence of each."""
        rows = []
        for name in names:
            sentence = re.split(r"(?<=[.:;]) ", self.functions[name][0][2]["doc"])[0]
            rows.append((self.markup.link(name, name), self.markup.plain(sentence.rstrip(".:;") + ".")))
        return list_table(rows)

    def host_page(self) -> str:
        """The rest of the host's page."""
        text = HOST.read_text(encoding="utf-8").split("\n## How a call is made\n")[0]
        before, after = text.split("\n## Calls\n")
        title = "\n## Statuses and aborts\n"
        before = before.replace(title, f"{title}\n(every-call)=\n\nThese statuses can come from every call.\n")
        before = before.split("\n## Memory\n")[0]
        behind = "\n## " + after.split("\n## ", 1)[1]
        return f"{before}\n{behind}"

    # ---- records ---------------------------------------------------------------------------------------

    def field(self, record: str, field: dict[str, Any]) -> str:
        read, written = self.interface.read_type(field), self.interface.written_type(field)
        bits = ""
        if field["kind"] == "bits":
            bits = f", bits {field['first_bit']} to {field['first_bit'] + field['bit_count'] - 1}"
        raw = f"``{record}_{field['name']}_get``"
        if not field["read_only"]:
            raw += f", ``{record}_{field['name']}_set``"
        assigned = "" if read == written or field["read_only"] else f" Assigned: {self.markup.escaped(written)}."
        return (
            f".. py:attribute:: {field['name']}\n   :type: {read}\n\n"
            f"   {self.text(self.interface.field_text(field))}\n\n"
            f"   ``{field['type']}`` at byte {field['offset']}{bits}.{assigned} Raw: {raw}.\n"
        )

    def method(self, record: str, arguments: Any, result: str, row: dict[str, Any]) -> str:
        names = [f"{argument}: {kind}" for argument, kind in arguments[1:]]
        full = f"{record}_{row['name']}"
        return (
            f".. py:method:: {row['name']}({', '.join([*names, '/']) if names else ''}) -> {result}\n\n"
            f"   {self.text(self.interface.meaning(row))} {self.markup.plain(self.interface.error_text(row))}\n\n"
            f"   Raw: ``{full}``.\n"
        )

    def record(self, record: dict[str, Any]) -> str:
        name = record["name"]
        count = "count: int, /" if record["counted"] else ""
        raw = ", ".join(f"``{made}``" for made in (f"new_{name}", f"delete_{name}", f"{name}_swigregister"))
        parts = [f".. py:class:: {name}({count})\n", indented(self.text(record["doc"])) + "\n", f"   Raw: {raw}.\n"]
        parts += [indented(self.field(name, field)) for field in record["fields"]]
        for _, arguments, result, _, row in self.interface.record_functions(record):
            if row is not None:
                parts.append(indented(self.method(name, arguments, result, row)))
        return "\n".join(parts)

    def record_pages(self) -> Iterator[tuple[str, str, str]]:
        home = declared_in("interface", ".rows.hpp", r"\bRECORD(?:_UNTAGGED)?\((\w+)")
        for page, title in RECORD_PAGES.items():
            entries = [self.record(record) for record in self.interface.records if home[record["name"]] == page]
            names = [record["name"] for record in self.interface.records if home[record["name"]] == page]
            rows = [
                (
                    self.markup.link(record["name"], record["name"]),
                    self.text(record["doc"].split(". ")[0].rstrip(".") + "."),
                )
                for record in self.interface.records
                if record["name"] in names
            ]
            text = f"{heading(title, '=')}\n.. py:currentmodule:: libvswitch\n\n" + "\n".join(entries)
            yield f"{page}.rst", text, f"{heading(title, '-')}\n{list_table(rows)}"

    # ---- constants -------------------------------------------------------------------------------------

    def constant(self, name: str, value: Any) -> str:
        shown = repr(value)
        if isinstance(value, int) and value & ~0xFFFF == STATUS_PREFIX:
            shown = f"{value} (0x{value:08x})"
        entry = f".. py:data:: {name}\n   :value: {shown}\n"
        if name not in self.meanings:
            return entry
        kind, member, meaning = self.meanings[name]
        return f"{entry}\n   {self.markup.escaped(meaning)} (``vswitch.{kind}.{member}``)\n"

    def constant_pages(self) -> Iterator[tuple[str, str, str]]:
        self.meanings = meanings()
        home = declared_in("constants", ".def", r"(?:INTEGER|TEXT)\((\w+)")
        for page, title in CONSTANT_PAGES.items():
            entries = [heading(title, "="), ".. py:currentmodule:: libvswitch\n"]
            for family in self.interface.constants:
                if home[family["items"][0][0]] == page:
                    entries.append(heading(self.markup.escaped(family["family"]), "-"))
                    entries.append(self.text(family["doc"]) + "\n")
                    entries += [self.constant(name, value) for name, value in family["items"]]
            rows = [(f":doc:`{self.markup.escaped(family['family'])} <{page}>`", self.text(family["doc"]))
                    for family in self.interface.constants if home[family["items"][0][0]] == page]
            yield f"{page}.rst", "\n".join(entries), f"{heading(title, '-')}\n{list_table(rows)}"

    def pages(self) -> Iterator[tuple[str, str]]:
        """Path and text of every page that is made."""
        groups = [
            ("calls", "Calls", "The 198 calls of the interface and the helpers of the module, by what they are about.",
             self.call_pages()),
            ("records", "Records", "What calls take and give, by what it is about.", self.record_pages()),
            ("constants", "Constants", "The families of constants, by what they are about, and what each is for.",
             self.constant_pages()),
        ]
        for folder, title, sentence, group in groups:
            names = []
            overviews = []
            for name, text, overview in group:
                names.append(pathlib.Path(name).stem)
                overviews.append(overview)
                yield f"{folder}/{name}", text
            entries = "\n".join(f"   {name}" for name in names)
            contents = f".. toctree::\n   :hidden:\n\n{entries}\n"
            module = ".. py:currentmodule:: libvswitch"
            yield f"{folder}/index.rst", "\n".join(
                [heading(title, "="), sentence, "", contents, module, "", *overviews]
            )
        yield "host.md", self.host_page()


def page_name(title: str) -> str:
    return re.sub(r"\W+", "-", title.lower()).strip("-")


# ---- the build ---------------------------------------------------------------------------------------------


def write_sources(build: pathlib.Path, folder: pathlib.Path) -> None:
    """Guides and reference into one folder. Files that stay as they were are not touched, so that Sphinx reads only
    what has changed."""
    texts = dict(Reference(build).pages())
    texts["objects/calls.rst"] = calls_page()
    for path in GUIDES.rglob("*"):
        if path.suffix in (".rst", ".py", ".dot", ".css"):
            texts[str(path.relative_to(GUIDES))] = path.read_text(encoding="utf-8")
    for old in [path for path in folder.rglob("*") if path.is_file() and str(path.relative_to(folder)) not in texts]:
        old.unlink()
    for name, text in texts.items():
        path = folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        if not path.exists() or path.read_text(encoding="utf-8") != text:
            path.write_text(text, encoding="utf-8")


def main(build: pathlib.Path) -> int:
    source = build / "manual-source"
    write_sources(build, source)
    sphinx = [sys.executable, "-m", "sphinx", "-W", "--keep-going", "-q", "-j", "auto", "-b", "html"]
    # The comfortable layer is documented from its docstrings, and so imported.
    environment = dict(os.environ, PYTHONPATH=str(build / "python"), VSWITCH_HOST=":memory:")
    command: list[str | pathlib.Path] = [*sphinx, "-d", build / "manual-doctrees", source, build / "manual"]
    return subprocess.run(command, env=environment, check=False).returncode


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1]).resolve()))
