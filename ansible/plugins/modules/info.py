#!/usr/bin/python
# Copyright: vswitchpy developers
# MIT License (see https://opensource.org/licenses/MIT)
"""Reads a host."""

from __future__ import absolute_import, division, print_function
from __future__ import annotations

__metaclass__ = type

DOCUMENTATION = r"""
module: info
short_description: Read the virtual switches of a host
version_added: "1.0.0"
description:
  - Returns what is configured as a desired-state document, with what runs and what was counted. Changes nothing.
options:
  observed:
    description:
      - Also return what runs; links, clients, numbers of ports. M(vswitchpy.vswitch.state) ignores that part.
    type: bool
    default: true
  switches:
    description:
      - The aliases of the switches to read. Without it all of them, and the settings of the host.
    type: list
    elements: str
  statistics:
    description:
      - Also return the counters of each port.
    type: bool
    default: false
attributes:
  diff_mode:
    description: There is no difference to return.
    support: none
extends_documentation_fragment:
  - vswitchpy.vswitch.host
"""

EXAMPLES = r"""
- name: Read the host
  vswitchpy.vswitch.info:
  register: found

- name: Show the ports whose link is down
  ansible.builtin.debug:
    msg: "{{ found.vswitch.switches.workload.ports | dict2items
      | selectattr('value.observed.link', 'equalto', 'down') | map(attribute='key') }}"
"""

RETURN = r"""
vswitch:
  description:
    - The host as a document. With I(statistics) it has a member of that name, with counters by switch and port.
  returned: success
  type: dict
  sample: {"format": 1, "switches": {"lab": {"mtu": 9000, "ports": {"web-1": {"vlan": 10}}}}}
error:
  description: What went wrong, as plain data.
  returned: failure
  type: dict
"""

from typing import Any

from ansible_collections.vswitchpy.vswitch.plugins.module_utils.host import made, run

ARGUMENTS = dict(
    observed=dict(type="bool", default=True),
    switches=dict(type="list", elements="str"),
    statistics=dict(type="bool", default=False),
)
RULES: dict[str, Any] = dict()


def work(module: Any, vswitch: Any) -> dict[str, Any]:
    """Reads."""
    host, only = vswitch.Host(), module.params["switches"]
    found = host.export(observed=module.params["observed"], only=only)
    if module.params["statistics"]:
        found["statistics"] = dict((alias, counters(host.switches[alias])) for alias in found["switches"])
    return dict(changed=False, vswitch=found)


def counters(switch: Any) -> dict[str, Any]:
    """The counters of the ports of a switch, and of those of its uplinks. A switch that does not run has none."""
    if not switch.connected:
        return {}
    ports = list(switch.ports.values()) + [uplink.port for uplink in switch.uplinks.values()]
    return dict((port.id, port.statistics.to_dict()) for port in ports)


def main() -> None:
    """The module."""
    run(made(ARGUMENTS, **RULES), work)


if __name__ == "__main__":
    main()
