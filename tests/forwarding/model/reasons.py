"""The drop reasons in their order, with the stages at which they may stand."""

REASONS: dict[str, tuple[int, tuple[str, ...]]] = {
    "nic-unbound": (1, ("in",)),
    "no-portset": (2, ("in",)),
    "forwarding-disabled": (3, ("in",)),
    "zombie-port": (4, ("in", "out")),
    "no-client": (5, ("in", "out")),
    "link-down": (6, ("in", "out")),
    "port-blocked": (7, ("in", "out")),
    "runt": (8, ("in",)),
    "malformed": (9, ("in",)),
    "too-long": (10, ("in",)),
    "reserved-address": (11, ("in",)),
    "bad-source": (12, ("in",)),
    "forged-source": (13, ("in",)),
    "lacp-down": (14, ("in",)),
    "mirror-destination": (15, ("in", "out")),
    "vlan-reserved": (16, ("in",)),
    "vlan-tagged": (17, ("in",)),
    "vlan-not-allowed": (18, ("in",)),
    "vlan-untagged": (19, ("in",)),
    "nested-tag": (20, ("in", "out")),
    "private-vlan": (21, ("in",)),
    "mac-limit": (22, ("in",)),
    "unknown-unicast": (23, ("in",)),
    "same-port": (24, ("in",)),
    "uplink-to-uplink": (25, ("in",)),
    "not-a-member": (26, ("in",)),
    "multicast-filtered": (27, ("in",)),
    "no-receiver": (28, ("in",)),
    "reverse-path": (29, ("in",)),
    "no-uplink": (30, ("in",)),
    "team-blocked": (31, ("in",)),
    "mac-changed": (32, ("out",)),
    "reflected": (33, ("in",)),
    "no-nic": (34, ("out",)),
    "vlan-egress": (35, ("out",)),
}
# Of several reasons why nobody received a flood, the first that applies (P-5).
NOBODY = ("team-blocked", "no-uplink", "reverse-path", "multicast-filtered")


class Refused(Exception):
    """A rule refuses a frame: the reason and the rule's id."""

    def __init__(self, reason: str, rule: str) -> None:
        super().__init__(reason)
        self.reason = reason
        self.rule = rule
