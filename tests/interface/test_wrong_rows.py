"""Rows that are wrong, or for which the engine has no room, do not compile; the compiler names what is wrong."""

import pathlib
import re
import subprocess
import sysconfig

import pytest
from workspace import BUILD, SOURCE

START = """
#include "runtime/row_macros.hpp"
struct Small { unsigned char bytes[4]; unsigned short number; unsigned char flags : 3, rest : 5; };
struct Long { unsigned int count; char name[2000]; unsigned long long after; };
int reads(char const *alias, char *name, char *other);
int takes(char (&)[70000]);
int copies(char *text);
int has_nine(int, int, int, int, int, int, int, int, int);
int changes(char const *alias, unsigned int mtu);
namespace vswitchpy {
constexpr Doc doc = "What it means.";
"""
END = """
}
#include "runtime/row_macros_end.hpp"
"""
SMALL = "records(RECORD(Small, doc, {}))"
NUMBER = SMALL.format("FIELD(4, number, unsigned short, doc)")
BITS = SMALL.format("FIELD_BITS({}, flags, unsigned char, doc)")
READS = "calls(CALL(reads, doc, IN(alias, char const *), OUT_TEXT(name, {}), OUT_TEXT(other, {})))"
NINE = "calls(CALL(has_nine, doc, " + ", ".join(f"IN(a{number}, int)" for number in range(9)) + "))"

RIGHT = [
    NUMBER,
    BITS.format("6, 0, 3"),
    SMALL.format("FIELD_MAC(0, bytes, unsigned char [4], doc)").replace("FIELD_MAC", "FIELD"),
    "records(RECORD(Long, doc, FIELD(4, name, char [2000], doc)))",
    READS.format(127, 127),
    "calls(CALL(changes, doc, IN(alias, char const *), IN(mtu, unsigned int)))",
]
WRONG = [
    (NUMBER.replace("4,", "5,"), "row_with_wrong_offset"),
    (NUMBER.replace("unsigned short", "unsigned int"), "the row's type is not the member's"),
    (NUMBER.replace("short, doc", 'short, ""'), "Doc::Doc(const char (&)[N]) [with long unsigned int N = 1]"),
    (SMALL.format("FIELD_MAC(0, bytes, unsigned char [4], doc)"), "mac_text_that_is_not_six_bytes"),
    (BITS.format("6, 0, 0"), "bits_beyond_their_type"),
    (BITS.format("6, 0, 9"), "bits_beyond_their_type"),
    (BITS.format("6, 6, 3"), "bits_beyond_their_type"),
    (BITS.format("6, 8, 3"), "bits_beyond_their_type"),
    (BITS.format("8, 0, 3"), "field_beyond_its_record"),
    (READS.format(128, 127), "text_outputs_need_more_room"),
    (READS.format(300, 1), "text_outputs_need_more_room"),
    ("calls(CALL(copies, doc, IN(text, char [70000])))", "a fixed text of that length has no entry"),
    (NINE, "most_arguments"),
    ("calls(CALL(changes, doc, IN(alias, char const *)))", "one argument row for each native parameter"),
    ("calls(CALL(changes, doc, IN(alias, char const *), IN(mtu, int)))",
     "an argument row's type is not the native parameter's"),
]


def compiler() -> str:
    cache = (BUILD / "CMakeCache.txt").read_text(encoding="utf-8")
    (found,) = re.findall(r"^CMAKE_CXX_COMPILER:\w+=(.*)$", cache, re.M)
    return str(found)


def compiled(all_rows: list[str]) -> subprocess.CompletedProcess[str]:
    """In one go, each at the line of its position in a file of its own name."""
    lines = "".join(
        f"\n#line 1 \"row-{number}\"\ninline constexpr auto rows{number} = {rows};"
        for number, rows in enumerate(all_rows)
    )
    options: list[str | pathlib.Path] = ["-std=gnu++20", "-fsyntax-only", "-w", "-I", SOURCE]
    options += ["-I", sysconfig.get_path("include")]
    return subprocess.run(
        [compiler(), *options, "-xc++", "-"], input=START + lines + END, capture_output=True, text=True, check=False
    )


def test_rows_that_are_right_compile() -> None:
    done = compiled(RIGHT)
    assert done.returncode == 0, done.stderr


@pytest.fixture(scope="module")
def complaints() -> tuple[str, dict[int, str]]:
    done = compiled([rows for rows, _ in WRONG])
    assert done.returncode != 0
    # What the compiler says of a row: from the first line that names it up to that of another.
    said: dict[int, str] = {}
    for block in re.split(r"\n(?=\S)", done.stderr):
        for number in {int(number) for number in re.findall(r"row-(\d+)", block)}:
            said[number] = said.get(number, "") + block
    return done.stderr, said


@pytest.mark.parametrize(
    ("number", "complaint"), [(n, complaint) for n, (_, complaint) in enumerate(WRONG)],
    ids=[f"{n}-{complaint.replace(' ', '-')}" for n, (_, complaint) in enumerate(WRONG)],
)
def test_rows_that_are_wrong_do_not_compile(
    number: int, complaint: str, complaints: tuple[str, dict[int, str]]
) -> None:
    everything, said = complaints
    assert number in said, everything
    assert complaint in everything
