"""Administer a host's virtual switches with objects: switches, ports, uplinks, their settings as values, errors that
help.

    import vswitch

    for switch in vswitch.Host().switches.values():
        print(switch.alias, switch.mtu, list(switch.ports))

`Host()` is the host of this machine; from it everything else is reached. Handles (`Switch`, `Port`, ...) are names and
ask the host at each use; values (`VlanPolicy`, `TeamingPolicy`, ...) are plain immutable data; whatever fails raises an
`Error`.
"""

from __future__ import annotations

TYPE_CHECKING = False  # that of typing, which costs more to import than all of this
if TYPE_CHECKING:
    from vswitch.coverage import *
    from vswitch.desired.apply import ApplyResult as ApplyResult
    from vswitch.desired.apply import Confirmation as Confirmation
    from vswitch.desired.plan import Operation as Operation
    from vswitch.desired.plan import Plan as Plan
    from vswitch.desired.published import schema as schema
    from vswitch.desired.rehearse import Connectivity as Connectivity
    from vswitch.desired.rehearse import Rehearsal as Rehearsal
    from vswitch.enums import *
    from vswitch.errors import *
    from vswitch.handles.collection import *
    from vswitch.handles.host import *
    from vswitch.handles.image import *
    from vswitch.handles.mac_table import *
    from vswitch.handles.mirrors import *
    from vswitch.handles.nic import *
    from vswitch.handles.options import *
    from vswitch.handles.port import *
    from vswitch.handles.properties import *
    from vswitch.handles.save_restore import *
    from vswitch.handles.lags import *
    from vswitch.handles.switch import *
    from vswitch.handles.switches import *
    from vswitch.handles.teaming_policies import *
    from vswitch.handles.uplink import *
    from vswitch.topology import Edge as Edge
    from vswitch.topology import Node as Node
    from vswitch.topology import Topology as Topology
    from vswitch.values.link import *
    from vswitch.values.mac import *
    from vswitch.values.mirror import *
    from vswitch.values.multicast import *
    from vswitch.values.properties import *
    from vswitch.values.security import *
    from vswitch.values.statistics import *
    from vswitch.values.teaming import *
    from vswitch.values.vlan import *
    from vswitch.watch import Change as Change
    from vswitch.watch import ChangeSet as ChangeSet
    from vswitch.watch import Watch as Watch

__version__ = "1.0.0"

# The public names of each module, which is imported when one of them is first used.
_PLACES = {
    "coverage": "coverage",
    "enums": (
        "Constant EthernetFilterFlag LinkDuplex LinkState LoadBalance MacLimitPolicy MacType MirrorAction"
        " MirrorEncapsulation MirrorEndType MirrorFlag MirrorType MirrorUplinkFilter MirrorWildcard MulticastMode"
        " Origin PortFlag PortType PrivateVlanType PropertyKey PropertyKind RcfType RuntimeOption SaveRestoreMode"
        " Scope SecurityFlag SourceFilterMode Status SwitchStatus SwitchVersion TeamCriterion TeamFlag VlanFlag"
        " constants"
    ),
    "desired.apply": "ApplyResult Confirmation",
    "desired.plan": "Operation Plan",
    "desired.published": "schema",
    "desired.rehearse": "Connectivity Rehearsal",
    "errors": (
        "AlreadyExists ApplyError BadImage BadParameter Busy DocumentError Error Failed LimitExceeded NoMemory NoSpace"
        " NotFound NotSupported NotVerified PermissionDenied PlanChanged ReadOnly TimedOut WrongState"
    ),
    "handles.collection": "Collection",
    "handles.host": "Host",
    "handles.image": "StateImage",
    "handles.mac_table": "MacTable PortMacTable",
    "handles.mirrors": "Mirrors",
    "handles.nic": "Nic Nics",
    "handles.options": "RuntimeOptions",
    "handles.port": "Port Ports",
    "handles.properties": "Properties PropertyList",
    "handles.save_restore": "ModuleSteps SaveRestore",
    "handles.lags": "Lags",
    "handles.switch": "Switch",
    "handles.switches": "Switches",
    "handles.teaming_policies": "TeamingPolicies",
    "handles.uplink": "Uplink UplinkData Uplinks",
    "topology": "Edge Node Topology",
    "values.link": "Lag LagMember LinkStatus PortStatus",
    "values.mac": "HostMacLearning MacEntry MacLearning MacStatistics MacSummary StaticEntry SwitchMacLearning",
    "values.mirror": "MirrorEnd MirrorRule MirrorSession",
    "values.multicast": "MulticastGroup",
    "values.properties": "PropertyValue ResourcePool",
    "values.security": "EthernetFilter SecurityPolicy",
    "values.statistics": "Announcements MirrorStatistics ServicePort Statistics SwitchInfo",
    "values.teaming": "NamedTeaming TeamingPolicy",
    "values.vlan": "PrivateVlan VlanPolicy",
    "watch": "Change ChangeSet Watch",
}
_PLACE_OF = {name: module for module, names in _PLACES.items() for name in names.split()}


def __getattr__(name: str) -> object:
    """Any public name, when it is first used."""
    if name == "__all__":
        return __dir__()
    try:
        place = _PLACE_OF[name]
    except KeyError:
        raise AttributeError(f"module {__name__!r} has no attribute {name!r}") from None
    from importlib import import_module

    value = globals()[name] = getattr(import_module(f"{__name__}.{place}"), name)
    return value


def __dir__() -> list[str]:
    return sorted({*_PLACE_OF, "__version__"})
