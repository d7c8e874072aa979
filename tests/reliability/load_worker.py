"""A process that reads and writes the host through the module for some time, and notes what was acknowledged. Part of
test_load.py and test_surroundings.py.

Usage: load_worker.py WORKER SECONDS LOG. It opens the host, says "ready" and begins at a line on its standard input.
Then it works until the time is over, or until its standard input ends, and says, once each, when it has made some
calls ("working"), when one met a trouble ("troubled"), and when a write succeeded after that ("recovered"). The log,
in JSON: `slots` (the last acknowledged value of each of its own properties), `port` (whether its own port is there),
`flips` (for each of the ports that all workers share: how often it was made, less how often it was removed), `reads`
and `writes` (how long each took, in microseconds), `surprises` (calls that ended as they should not have), and
`troubles` (how many calls each refusal met that only broken surroundings explain; those calls are not acknowledged)."""

import collections
import json
import random
import select
import sys
import time
from collections.abc import Collection
from typing import Any

import _libvswitch as m

ALIAS = "load"
SLOTS = 32
SHARED_PORTS = 16
VALUE_SIZE = 200
# What any call may return by the documentation.
GENERAL = {m.QEL_BUSY, m.QEL_NO_SPACE_ON_DEVICE, m.QEL_READ_ONLY}
# Calls that make a process one that is at work.
WARM = 500


class Worker:
    def __init__(self, number: int) -> None:
        self.number = number
        self.chance = random.Random(number)
        self.query = m.alloc_hnq_query(VALUE_SIZE)
        self.written = 0
        self.said: set[str] = set()
        self.log: dict[str, Any] = {
            "slots": {}, "port": False, "flips": [0] * SHARED_PORTS, "reads": [], "writes": [], "surprises": [],
            "troubles": collections.Counter(),
        }

    def call(self, kind: str, name: str, *arguments: object, admitted: Collection[int] = ()) -> int | None:
        """The status; None for a call that the surroundings kept from being made."""
        began = time.monotonic_ns()
        try:
            result = getattr(m, name)(*arguments)
        except OSError as error:
            self.trouble(str(error))
            return None
        self.log[kind].append((time.monotonic_ns() - began) // 1000)
        status: int = result[0] if isinstance(result, list) else result
        if status in GENERAL:
            self.trouble(m.QEL_ReturnStatusToString(status))
            return None
        if kind == "writes" and status == m.QEL_OK and self.log["troubles"]:
            self.say("recovered")
        if status != m.QEL_OK and status not in admitted:
            self.log["surprises"].append(f"{name}{arguments}: {m.QEL_ReturnStatusToString(status)}")
        return status

    def trouble(self, text: str) -> None:
        self.log["troubles"][text] += 1
        self.say("troubled")

    def say(self, word: str) -> None:
        if word not in self.said:
            self.said.add(word)
            print(word, flush=True)

    # ---- writes ----------------------------------------------------------------------------------------

    def write_slot(self) -> None:
        self.written += 1
        name = f"worker-{self.number}-{self.written % SLOTS}"
        # Long enough that half of one would show.
        value = f"{self.written} ".ljust(VALUE_SIZE, str(self.written % 10))
        if self.call("writes", "VSDVS_SetGlobProp", ALIAS, name, value, len(value), None, 1) == m.QEL_OK:
            self.log["slots"][name] = value

    def flip_own_port(self) -> None:
        port = f"worker-{self.number}"
        there = self.log["port"]
        status = (
            self.call("writes", "VSDVS_RemoveDVPort", ALIAS, port)
            if there
            else self.call("writes", "VSDVS_AddDVPort", ALIAS, port, self.number)
        )
        if status == m.QEL_OK:
            self.log["port"] = not there

    def flip_shared_port(self) -> None:
        shared = self.chance.randrange(SHARED_PORTS)
        port = f"shared-{shared}"
        if self.chance.random() < 0.5:
            if self.call("writes", "VSDVS_AddDVPort", ALIAS, port, 0, admitted={m.QEL_EXISTS}) == m.QEL_OK:
                self.log["flips"][shared] += 1
        elif self.call("writes", "VSDVS_RemoveDVPort", ALIAS, port, admitted={m.QEL_NOT_FOUND}) == m.QEL_OK:
            self.log["flips"][shared] -= 1

    # ---- reads -----------------------------------------------------------------------------------------

    def read_slot(self) -> None:
        if not self.log["slots"]:
            return
        name = self.chance.choice(list(self.log["slots"]))
        m.HNQQuery_propLen_set(self.query, VALUE_SIZE)
        status = self.call("reads", "VSDVS_GetGlobProp", ALIAS, name, self.query, None, 1)
        value = self.log["slots"][name].encode()
        if status == m.QEL_OK and m.HNQQuery_get_val_in_bytes(self.query) != value:
            self.log["surprises"].append(f"{name} is {m.HNQQuery_get_val_in_bytes(self.query)!r}, not {value!r}")

    def read_own_port(self) -> None:
        wanted = m.QEL_OK if self.log["port"] else m.QEL_NOT_FOUND
        status = self.call("reads", "DVSQEL_PortFind", ALIAS, f"worker-{self.number}", admitted={m.QEL_NOT_FOUND})
        if status not in (wanted, None):
            self.log["surprises"].append(f"own port: {m.QEL_ReturnStatusToString(status)}")

    def read_switch(self) -> None:
        self.call("reads", "VSQEL_GetSwitchInfo", ALIAS)

    def step(self) -> None:
        work = self.chance.choices(
            (self.read_slot, self.read_own_port, self.read_switch, self.write_slot, self.flip_own_port,
             self.flip_shared_port),
            (20, 10, 10, 30, 5, 25),
        )[0]
        work()


def is_over(deadline: float) -> bool:
    return time.monotonic() > deadline or bool(select.select([sys.stdin], [], [], 0)[0])


def main(number: int, seconds: float, log_path: str) -> None:
    worker = Worker(number)
    worker.read_switch()
    print("ready", flush=True)
    sys.stdin.readline()
    deadline = time.monotonic() + seconds
    steps = 0
    while not is_over(deadline):
        for _ in range(50):
            worker.step()
        steps += 50
        if steps >= WARM:
            worker.say("working")
    with open(log_path, "w", encoding="utf-8") as log:
        json.dump(worker.log, log)


if __name__ == "__main__":
    main(int(sys.argv[1]), float(sys.argv[2]), sys.argv[3])
