# Copyright: vswitchpy developers
# MIT License (see https://opensource.org/licenses/MIT)
"""What the documentation of all modules has in common."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type


class ModuleDocFragment(object):
    """The options and attributes of every module."""

    DOCUMENTATION = r"""
options:
  host_file:
    description:
      - State file of a simulated host, which takes the place of the managed host.
      - Sets C(VSWITCH_HOST) for the module.
    type: path
requirements:
  - The Python package C(vswitch), importable by the interpreter that Ansible uses on the managed host.
author:
  - vswitchpy developers (@vswitchpy)
attributes:
  check_mode:
    description: Can run in check mode and return what would change without changing it.
    support: full
"""
