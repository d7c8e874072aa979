"""The closed list of fields (tests/data/fields.tsv), and what kinds of them there are."""

import csv
import re

import pytest
import workspace

with open(workspace.SOURCE / "tests" / "data" / "fields.tsv", encoding="utf-8") as source:
    FIELDS = list(csv.DictReader(source, delimiter="\t"))
# Records whose size follows from a count in them: the bytes of one that counts nothing.
COUNTED = {"VSUplinks": 8, "VSUplinkPorts": 4, "VSUplinkPortIds": 4, "VSRuntimeOptions": 4}
UNSIGNED = {
    **dict.fromkeys(["qel_uint8", "qel_PortsetResPoolPriorityTag"], 8),
    **dict.fromkeys(["qel_uint16", "qel_VlanID"], 16),
    **dict.fromkeys(["qel_uint32", "qel_SwitchPortID", "qel_IPv4Address", "qel_ByteCountSmall", "qel_revnum"], 32),
    **dict.fromkeys(["qel_LinkSpeed", "qel_PortsetResPoolShares"], 32),
    **dict.fromkeys(["qel_uint64", "qel_ByteCount"], 64),
}


def kind_of(row: dict[str, str]) -> str:
    kind = row["type"]
    if row["access"] == "read-only":
        return "read-only"
    if row["width"].startswith("bits"):
        return "bits"
    if kind.startswith("char *"):
        return "owned text"
    for mark, name in (("MAC text", "mac"), ("embedded", "embedded"), ("pointer", "pointer")):
        if mark in kind:
            return name
    if re.fullmatch(r"char \[[^]]*\]", kind):
        return "text"
    if "[" in kind:
        return "array"
    return {"qel_Bool": "bool", "VSMACAddrType": "byte"}.get(kind, "unsigned" if kind in UNSIGNED else "signed")


def of_kind(*kinds: str) -> pytest.MarkDecorator:
    """For a test of each field of some kinds: its argument is `row`."""
    rows = [row for row in FIELDS if kind_of(row) in kinds]
    assert rows
    return pytest.mark.parametrize("row", rows, ids=[f"{row['record']}.{row['field']}" for row in rows])
