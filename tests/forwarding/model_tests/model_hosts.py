"""Small hosts for the model's tests: one switch `sw`, its ports named by letters, uplinks on NICs."""

from typing import Any

from model import Model, Result

NOW = 1_700_000_011_000_000


def mac(number: int) -> str:
    return f"02:00:00:00:01:{number:02x}"


def access(vlan: int) -> dict[str, Any]:
    return {"mode": "access", "vlan": vlan}


def trunk(*ranges: list[int], native: int = 0) -> dict[str, Any]:
    return {"mode": "trunk", "vlan": native, "ranges": list(ranges)}


def private(vlan: int) -> dict[str, Any]:
    return {"mode": "private", "vlan": vlan}


class Host:
    """Ports are numbered in the order in which they are given, uplinks first; the client of port 5 has mac(5)."""

    def __init__(self, uplinks: int = 1, options: dict[str, Any] | None = None, stacks: dict[str, Any] | None = None,
                 **switch: Any) -> None:
        self.nics: list[dict[str, Any]] = [
            {"name": f"nic{n}", "mac": f"02:00:00:00:00:{n + 1:02x}"} for n in range(uplinks)]
        self.ports: list[dict[str, Any]] = []
        for n in range(uplinks):
            self.ports.append({"number": n + 1, "dvport_id": f"uplink-{n}", "uplink": f"nic{n}", "nic": f"nic{n}"})
        self.document: dict[str, Any] = {
            "nics": self.nics, "options": options or {}, "stacks": stacks or {},
            "switches": [{"alias": "sw", "switch_id": "id", "ports": self.ports, **switch}]}
        self.switch = self.document["switches"][0]
        self.made: Model | None = None

    def port(self, name: str, client: dict[str, Any] | None | bool = True, **settings: Any) -> int:
        """Adds a port with a client and gives its number."""
        number = len(self.ports) + 1
        if client is not None:
            settings["client"] = {"name": name, "mac": mac(number), **(client if isinstance(client, dict) else {})}
        self.ports.append({"number": number, "dvport_id": name, **settings})
        return number

    @property
    def model(self) -> Model:
        if self.made is None:
            self.made = Model.from_json(self.document)
        return self.made

    def send(self, place: str, frame: Any, now: int = NOW) -> Result:
        """Into a port by its identifier, or a NIC."""
        return self.model.send(place if place.startswith("nic") else ("sw", place), bytes(frame), now)

    def counters(self, place: str) -> dict[str, int]:
        """Those that are not 0."""
        shown = self.model.counters(place if place.startswith("nic") else ("sw", place), NOW)
        return {name: number for name, number in shown.items() if number}


def places(result: Result) -> list[str]:
    """Where the frame went, ports by their identifiers; `b!` is a promiscuous copy, `b*` a mirror copy."""
    mark = {"frame": "", "promiscuous": "!", "mirror": "*"}
    return [(d.endpoint if isinstance(d.endpoint, str) else d.endpoint[1]) + mark[d.kind] for d in result.deliveries]


def drops(result: Result) -> list[tuple[str, str, str]]:
    """Place, reason, stage."""
    return [(d.place if isinstance(d.place, str) else d.place[1], d.reason, d.stage) for d in result.drops]


def reasons(result: Result) -> list[str]:
    return [drop.reason for drop in result.drops]
