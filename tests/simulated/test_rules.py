"""The rules of the interfaces: each has a test here that bears its id."""

import pathlib
import re

from workspace import SOURCE


def test_tests_bear_the_ids_of_the_rules_of_the_interfaces() -> None:
    listed = (SOURCE / "platform" / "forwarding" / "rules_of_interfaces.def").read_text()
    ids = re.findall(r'^RULE\(\w+, "([\w-]+)"', listed, re.MULTILINE)
    assert len(ids) == 3
    tests = [name for file in pathlib.Path(__file__).parent.glob("test_*.py")
             for name in re.findall(r"^def (test_\w+)", file.read_text(), re.MULTILINE)]
    for rule in ids:
        assert [name for name in tests if f"_{rule.replace('-', '_')}_" in name], rule
