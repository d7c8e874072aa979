"""Writes host libraries whose functions only return: status 0, and outputs that cost nothing to make.

Usage: make_stand_ins.py HEADER... > stand_ins.c

A MAC table has as many entries as the switch's name says, 4,096 if the name is no number.
"""

import re
import sys

PROTOTYPE = re.compile(r"^(?P<result>[\w ]+?[ *]+)(?P<name>\w+)\((?P<parameters>[^)]*)\);$", re.M)
INTEGER_OUTPUT = re.compile(r"(?:qel_\w+|int|\w+Mode|\w+Type) \*(?P<name>\w+)")
RECORD_OUTPUT = re.compile(r"(?P<record>\w+) \*\*(?P<name>\w+)")

MAC_TABLE = r"""
enum { most_entries = 65536 };
static struct { VSMACTable head; VSMACEntry entries[most_entries]; } mac_table;

static VSMACTable *table_for(char const *switch_name) {
  unsigned long count = strtoul(switch_name ? switch_name : "", NULL, 10);
  if (count == 0 || count > most_entries) count = 4096;
  if (mac_table.head.numEntries != count) {
    mac_table.head.numEntries = mac_table.head.totalEntries = (qel_uint32)count;
    for (unsigned long i = 0; i < count; ++i) {
      VSMACEntry *entry = &mac_table.entries[i];
      entry->macAddress[0] = 2;
      entry->macAddress[4] = (unsigned char)(i >> 8);
      entry->macAddress[5] = (unsigned char)i;
      entry->portID = 0x2000000u + (qel_uint32)i;
      entry->vid = (qel_VlanID)(i % 4095);
      entry->vni = 70000u + (qel_uint32)i;
    }
  }
  return &mac_table.head;
}
"""


def statement(parameter: str) -> str:
    record = RECORD_OUTPUT.fullmatch(parameter)
    if record:
        name = record["name"]
        if record["record"] == "VSMACTable":
            return f"  *{name} = table_for(switch_name);"
        if record["record"] == "void":
            return f"  *{name} = shared;"
        return f"  *{name} = ({record['record']} *)shared;"
    integer = INTEGER_OUTPUT.fullmatch(parameter)
    # Records in which calls are answered in place are no outputs; the scalar types are those of one number.
    if integer and parameter.split(" ")[0] not in ("qel_Name", "qel_HNQPortVIDRange"):
        return f"  *{integer['name']} = 1;"
    return ""


def define(match: re.Match[str]) -> str:
    parameters = [] if match["parameters"] == "void" else re.split(r",\s+", match["parameters"])
    lines = [f"{match['result']}{match['name']}({match['parameters']}) {{"]
    lines += filter(None, map(statement, parameters))
    result = match["result"].strip()
    if result == "char const *":
        lines.append('  return "text";')
    elif result != "void":
        lines.append("  return 0;")
    return "\n".join([*lines, "}"])


def main(headers: list[str]) -> None:
    print("#include <stdlib.h>\n#include <string.h>")
    for header in headers:
        print(f'#include "interface/{header.rsplit("/", 1)[-1]}"')
    print("\nstatic char shared[65536];", MAC_TABLE, "void Panic(char const *format, ...) { (void)format; }", sep="\n")
    for header in headers:
        with open(header, encoding="utf-8") as source:
            for match in PROTOTYPE.finditer(source.read()):
                print(f"\n{define(match)}")


if __name__ == "__main__":
    main(sys.argv[1:])
