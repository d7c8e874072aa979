"""Writes stand-ins for every function of the given headers: each records its arguments and does as told.

Usage: make_recording_host.py HEADER... > recording_host.c
"""

import re
import sys

PROTOTYPE = re.compile(r"^(?P<result>[\w ]+?[ *]+)(?P<name>\w+)\((?P<parameters>[^)]*)\);$", re.M)
UNSIGNED = {"qel_uint32", "qel_uint16", "qel_SwitchPortID"}
HANDLES = {"DVSwitchHandle", "DVSPortHandle", "DVSDataHandle", "DVSDataItem"}
CALLBACKS = {"DVSwitchCallback", "DVSPortCallback", "DVSPortDataCallback", "DVSData_MemAlloc", "DVSData_MemFree"}


def recorder_for(native_type: str, name: str, position: int) -> str:
    if native_type in ("char const *", "char *", "void const *"):
        return f"  record_text({position}, (char *){name});"
    if native_type.endswith("*") or native_type in HANDLES | CALLBACKS:
        return f"  record_pointer({position}, (void *){name});"
    if native_type in UNSIGNED:
        return f"  record_unsigned({position}, {name});"
    # What is left is an enumeration or a signed integer; the one-byte enumeration is unsigned.
    if native_type == "VSMACAddrType":
        return f"  record_unsigned({position}, (unsigned char){name});"
    return f"  record_signed({position}, (long long){name});"


def define(match: re.Match[str]) -> str:
    lines = [f"{match['result']}{match['name']}({match['parameters']}) {{", f'  record_call("{match["name"]}");']
    parameters = [] if match["parameters"] == "void" else re.split(r",\s+", match["parameters"])
    for position, parameter in enumerate(parameters, 1):
        (native_type, name), = re.findall(r"^(.*?[ *])(\w+)$", parameter)
        lines.append(recorder_for(native_type.strip(), name, position))
    result = match["result"].strip()
    if result == "void":
        lines.append("  recorded_result();")
    elif result.endswith("*") or result in HANDLES:
        lines.append(f"  return ({result})recorded_result();")
    else:
        lines.append(f"  return ({result})recorded_result();")
    return "\n".join(lines + ["}"])


def main(headers: list[str]) -> None:
    print('#include "tests/support/recorder.h"')
    for header in headers:
        print(f'#include "interface/{header.rsplit("/", 1)[-1]}"')
    for header in headers:
        with open(header, encoding="utf-8") as source:
            for match in PROTOTYPE.finditer(source.read()):
                print(f"\n{define(match)}")


main(sys.argv[1:])
