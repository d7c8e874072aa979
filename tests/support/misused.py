"""The companion layer without its types, for tests that use it wrongly on purpose."""

from typing import Any

import libvswitch

vs: Any = libvswitch
