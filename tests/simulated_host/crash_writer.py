"""A process that writes to the host until it is killed, and notes each write that was acknowledged in a log of its
own. It first looks for what the killed process before it had noted. Part of test_crashes.py.

Usage: crash_writer.py WRITER LOG [check]. A line of the log: the number of the write (0: opening the host), when the
call began, and how long it took (nanoseconds). With "check" it only looks."""

import ctypes
import itertools
import os
import sys
import time
from collections.abc import Callable

from host_calls import Host
from ready_arguments import HNQQuery

ALIAS = b"crash"
# The writes go around these, so that the state stays small however long it goes on.
SLOTS = 64
VALUE_SIZE = 200


def property_name(writer: int, number: int) -> bytes:
    return b"writer-%d-%d" % (writer, number % SLOTS)


def value_of(number: int) -> bytes:
    """Long enough that half of one would show."""
    return (b"%d " % number).ljust(VALUE_SIZE, b"%d" % (number % 10))


# One write in 64 makes a port or removes it again: changes of several rows.
def is_about_the_port(number: int) -> bool:
    return number % SLOTS == 0


def makes_the_port(number: int) -> bool:
    return number // SLOTS % 2 == 1


def write(host: Host, writer: int, number: int) -> int:
    if is_about_the_port(number):
        change = host.VSDVS_AddDVPort if makes_the_port(number) else host.VSDVS_RemoveDVPort
        arguments = (number,) if makes_the_port(number) else ()
        return int(change(ALIAS, b"writer-%d" % writer, *arguments))
    value = ctypes.create_string_buffer(value_of(number), VALUE_SIZE)
    return int(host.VSDVS_SetGlobProp(ALIAS, property_name(writer, number), value, VALUE_SIZE, None, 1))


def last_acknowledged(log_path: str) -> int:
    with open(log_path, encoding="ascii") as log:
        return max((int(line.split()[0]) for line in log), default=0)


def stored_value(host: Host, writer: int, number: int) -> bytes | None:
    room = ctypes.create_string_buffer(VALUE_SIZE)
    query = HNQQuery(VALUE_SIZE, ctypes.addressof(room))
    status = host.VSDVS_GetGlobProp(ALIAS, property_name(writer, number), ctypes.addressof(query), None, 1)
    return room.raw[: query.propLen] if host.status(status) == "QEL_OK" else None


def check(host: Host, writer: int, acknowledged: int) -> None:
    """Every slot holds its last acknowledged write. One more may be there: the one that was not acknowledged any
    more."""
    pending = acknowledged + 1
    for number in range(max(1, pending - SLOTS), pending):
        if is_about_the_port(number):
            continue
        admitted = [value_of(number)]
        if number % SLOTS == pending % SLOTS:
            admitted.append(value_of(pending))
        if stored_value(host, writer, number) not in admitted:
            sys.exit(f"write {number} of writer {writer} is lost: {stored_value(host, writer, number)!r}")
    made = acknowledged // SLOTS % 2 == 1
    exists = host.DVPortExist(ALIAS, b"writer-%d" % writer) == 1
    if exists != made and not is_about_the_port(pending):
        sys.exit(f"the port of writer {writer} after {acknowledged} writes: {exists}")


def main(writer: int, log_path: str, mode: str = "write") -> None:
    log = os.open(log_path, os.O_WRONLY | os.O_APPEND | os.O_CREAT)

    def timed(number: int, call: Callable[..., int]) -> str:
        began = time.monotonic_ns()
        status = host.status(call())
        took = time.monotonic_ns() - began
        os.write(log, b"%d %d %d\n" % (number, began, took))
        return status

    host = Host()
    acknowledged = last_acknowledged(log_path)
    mtu = ctypes.c_uint32()
    if timed(0, lambda: int(host.VSDVS_GetMTU(ALIAS, ctypes.addressof(mtu)))) != "QEL_OK":
        sys.exit("the host does not open")
    check(host, writer, acknowledged)
    if mode == "check":
        return
    first = acknowledged + 1
    for number in itertools.count(first):
        status = timed(number, lambda n=number: write(host, writer, n))
        # The first may have been made by the process before, which was killed before it could note so.
        made_before = number == first and is_about_the_port(number) and status in ("QEL_EXISTS", "QEL_NOT_FOUND")
        if status != "QEL_OK" and not made_before:
            sys.exit(f"write {number} of writer {writer}: {status}")


if __name__ == "__main__":
    main(int(sys.argv[1]), *sys.argv[2:])
