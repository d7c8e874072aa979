"""Where each call of the library is used in this package, or why it is not."""

from __future__ import annotations

import sys
from types import ModuleType

__all__ = ["coverage"]

# A place, and the calls that it makes.
_PLACES = {
    "Host.switches": "DVSState_SwitchForEach DVS_SwitchName",
    "Host.switches[alias], Switch.exists": "DVSState_SwitchFindByAlias",
    "Host.switches.create": "VSDVS_CreateVSwitch DVSQEL_SwitchAdd",
    "Host.switches.remove": "VSDVS_DestroyVSwitch DVSQEL_SwitchRemove",
    "Host.switches.by_portset": "VSDVS_GetAliasFromPortset",
    "Host.portsets": "VSQEL_GetSwitches",
    "Host.mac_learning": "VSQEL_GetGlobalMACLearningProps VSQEL_SetGlobalMACLearningProps",
    "Host.runtime_options": "VSQEL_GetRuntimeOptions VSQEL_SetRuntimeOptions",
    "Host.image": "DVSQEL_StateGet DVSQEL_PersistentStateGet",
    "Host.restore": "DVSQEL_StateInit DVSState_ConfigDeserialize",
    "Host.reset": "DVSState_ConfigReset",
    "Host.reload": "DVSLoadConfig",
    "Host.sanitize": "DVSQEL_StateSanitize",
    "Host.release_handles": "DVSQEL_StateCleanup",
    "Switch.id, Host.switches.by_id": "DVS_SwitchId",
    "Switch.class_name": "DVS_ClassName",
    "Switch.version": "DVS_Version DVSQEL_SwitchSetVersion",
    "Switch.max_ports": "DVS_GetMaxPorts DVSQEL_SwitchSetMaxPorts",
    "Switch.portset, Switch.connected": "DVSAliasToPortsetName",
    "Switch.connect": "DVSQEL_SwitchAssociate",
    "Switch.disconnect": "DVSQEL_SwitchDissociate",
    "Switch.info": "VSQEL_GetSwitchInfo",
    "Switch.refresh_numa": "VSQEL_RefreshDevNUMAInfo",
    "Switch.command": "DVSQEL_CmdExec",
    "Switch.mtu": "VSDVS_GetMTU VSDVS_SetMTU",
    "Switch.teaming": "VSDVS_GetTeamingPolicy VSDVS_SetTeamingPolicy VSDVS_ClearTeamingPolicy",
    "Switch.mac_learning": "VSDVS_GetMACLearning VSDVS_SetMACLearning VSDVS_ClearMACLearning",
    "Switch.static_mac_allow": "VSDVS_GetStaticMACAllow VSDVS_SetStaticMACAllow VSDVS_ClearStaticMACAllow",
    "Switch.learn_static": "VSDVS_GetLearnStatic VSDVS_SetLearnStatic VSDVS_ClearLearnStatic",
    "Switch.private_vlans": "VSDVS_GetPrivateVLANMap VSDVS_SetPrivateVLANMap",
    "Switch.multicast_mode": "VSDVS_GetMcastFilterMode VSDVS_SetMcastFilterMode",
    "Switch.multicast": (
        "VSDVS_GetMcastUserLegacyEntries VSDVS_SetMcastUserLegacyEntries VSDVS_ClearMcastUserLegacyEntries"
    ),
    "Switch.rcf_type": "VSDVS_GetRCFType VSDVS_SetRCFType",
    "Switch.teaming_policies": (
        "VSDVS_GetLSTeamingPolicyTable VSDVS_SetLSTeamingPolicy VSDVS_ClearLSTeamingPolicy"
    ),
    "Switch.teaming_policies.in_force": "VSQEL_GetLSTeamingPolicyTable",
    "Switch.mac_summary": "VSQEL_GetSwitchMACLearningInfo",
    "Switch.mac_policies": "VSQEL_GetMACLearningAllPorts",
    "Switch.mac_statistics": "VSQEL_GetSwitchMACLearningStats",
    "Switch.security_in_force": "VSQEL_GetL2Security",
    "Switch.static_entries": "VSQEL_GetStaticLectx",
    "Switch.announcements": "VSQEL_GetRARPStats",
    "Switch.service_port": "VSQEL_GetServicePortTeamingStats",
    "Switch.running_multicast_mode": "VSQEL_GetMcastFilterMode",
    "Switch.running_mirrors": "VSQEL_GetDVMirrorSessionIDs",
    "Switch.promiscuous_ports": "VSQEL_GetPromiscSessionActiveDsts",
    "Switch.lags": "VSQEL_GetLAGTable",
    "Switch.ports": "DVSState_PortForEach DVS_PortId",
    "Switch.ports[id]": "DVSQEL_PortFind",
    "Switch.ports.create": "VSDVS_AddDVPort VSDVS_AddOpaqueDVPort DVSQEL_PortAdd",
    "Switch.ports.remove": "VSDVS_RemoveDVPort DVSQEL_PortRemove",
    "Switch.ports.by_type": "DVSQEL_SwitchPortList",
    "Switch.ports.by_external_id": "DVSQEL_PortGetByExternalId",
    "Port.exists": "DVPortExist",
    "Port.number": "VSDVS_DvPortIDToPortID",
    "Port.uplink_hint": "VSQEL_PortGetTeamUplinkHint",
    "Port.teaming_policy_in_force": "VSQEL_GetPortLSTeamingPolicyName",
    "Port.mac_statistics": "VSQEL_GetPortMACLearningStats",
    "Port.static_entries": "VSQEL_GetPortStaticLectx",
    "Port.multicast_filters": "VSQEL_GetMcastFilters",
    "Port.multicast_group": "VSQEL_GetMcastFilterStats",
    "Port.image, Port.external_id": "DVSQEL_PortStateGet DVSQEL_PersistentPortStateGet",
    "Port.block, Port.unblock": "VSQEL_RTMPortOp",
    "Port.vlan": "VSDVS_GetPortVLANPolicy VSDVS_SetPortVLANPolicy VSDVS_ClearPortVLANPolicy",
    "Port.nested_vlan_tagging": "VSDVS_GetPortNestedVLANTagging VSDVS_SetPortNestedVLANTagging",
    "Port.tx_uplink_always": "VSDVS_GetTxUplinkAlways VSDVS_SetTxUplinkAlways",
    "Port.teaming": "VSDVS_GetPortTeamingPolicy VSDVS_SetPortTeamingPolicy VSDVS_ClearPortTeamingPolicy",
    "Port.teaming_override": (
        "VSDVS_GetPortTeamingOverride VSDVS_SetPortTeamingOverride VSDVS_ClearPortTeamingOverride"
    ),
    "Port.teaming_policy": (
        "VSDVS_GetPortLSTeamingPolicyName VSDVS_SetPortLSTeamingPolicy VSDVS_ClearPortLSTeamingPolicy"
    ),
    "Port.mac_learning": "VSDVS_GetPortMACLearning VSDVS_SetPortMACLearning",
    "Port.security": "VSDVS_GetPortSecurity VSDVS_SetPortSecurity",
    "Port.filter": "VSDVS_GetExtraEthFilter VSDVS_SetExtraEthFilter VSDVS_ClearExtraEthFilter",
    "Port.sink": "VSDVS_IsSinkPortEnabled VSDVS_ConfigureSinkPort",
    "Port.multicast": (
        "VSDVS_GetPortMcastUserLegacyEntries VSDVS_SetPortMcastUserLegacyEntries"
        " VSDVS_ClearPortMcastUserLegacyEntries"
    ),
    "Switch.uplinks": "VSDVS_GetSwitchUplinkPorts",
    "Switch.uplinks.create": "VSDVS_AddSwitchUplinkPort",
    "Switch.uplinks.remove": "VSDVS_RemoveSwitchUplinkPort",
    "Switch.uplinks.set": "VSDVS_SetSwitchUplinkPorts",
    "Switch.uplinks.clear": "VSDVS_ClearSwitchUplinkPorts",
    "Uplink.nic, Host.nics": "VSQEL_GetUplinks",
    "Uplink.link": "VSQEL_GetUplinkLinkState",
    "Uplink.lacp_link": "VSQEL_GetUplinkLACPLinkState",
    "Uplink.set_admin": "VSQEL_SetUplinkAdminLinkState",
    "Uplink.data": "DVSQEL_UplinkDataGet DVSQEL_UplinkDataSet",
    "Nic.port": "VSQEL_GetUplinkDVPortID",
    "Mirrors": "VSDVS_GetDVMirrorSessions",
    "Mirrors.create, Mirrors[id] = session": "VSDVS_AppendDVMirrorSessions VSDVS_SetDVMirrorSessions",
    "Mirrors.remove": "VSDVS_RemoveDVMirrorSession",
    "Mirrors.clear": "VSDVS_ClearDVMirrorSessions",
    "Mirrors.statistics": "VSQEL_GetDVMirrorSessionStats",
    "Switch.mac_table": "VSQEL_GetMACTable",
    "Switch.uplink_mac_table": "VSQEL_GetTeamMACTable",
    "Port.mac_table": "VSQEL_GetPortMACTable",
    "Port.mac_table.add": "VSQEL_SetPortMACTable",
    "Port.mac_table.remove": "VSQEL_ClearPortMACTable",
    "Properties, of a switch": (
        "VSDVS_GetGlobProp VSDVS_SetGlobProp VSDVS_ClearGlobProp DVSQEL_GlobalPropSet DVSState_GlobalPropForEach"
        " DVSState_GlobalPropLookup"
    ),
    "Properties, of a switch on this host": (
        "VSDVS_GetHostProp VSDVS_SetHostProp VSDVS_SetRuntimeHostProp VSDVS_ClearHostProp DVSQEL_HostPropSet"
        " DVSState_HostPropForEach DVSState_HostPropLookup"
    ),
    "Properties, of a port": (
        "VSDVS_GetPortProp VSDVS_SetPortProp VSDVS_ClearPortProp DVSQEL_PortDataSet DVSState_PortFind"
        " DVSState_PortDataForEach"
    ),
    "Properties, bulk reading": "DVSData_Data DVSData_Name DVSData_PropType",
    "Properties.smartnic": "DVSQEL_SmartNICGlobalPropGet DVSQEL_SmartNICHostPropGet DVSQEL_SmartNICPortDataGet",
    "Properties.vendor": "DVSQEL_VendorGlobalPropList DVSQEL_VendorHostPropList DVSQEL_VendorPortPropList",
    "Properties.extra": "DVSQEL_ExtraConfigPropList DVSQEL_ExtraConfigPortPropList",
    "PropertyList": "DVSData_Alloc DVSData_Free",
    "PropertyList.add": "DVSData_Update",
    "PropertyList.to_image": "DVSData_Serialize",
    "SaveRestore": "VSQEL_RTMOp",
    "SaveRestore.modules": "VSQEL_RTMModOp",
    "every result": "VSQEL_FreeMemory VSDVS_FreeMemory DVSQEL_DataFree",
    "Error": "QEL_ReturnStatusToString",
}

# A reason, and the calls that are not used for it.
_NOT_USED = {
    "it fills a copy of the caller's text, which Python does not get back; Switch.id asks DVS_SwitchId": (
        "DVSAliasToSwitchId DVSAliasToSwitchIdAllTypes VSQEL_DVSAliasToSwitchId"
    ),
    "it fills a copy of the caller's text, which Python does not get back; VSDVS_GetAliasFromPortset says it": (
        "DVSPortsetNameToAlias"
    ),
    "as VSQEL_GetSwitchInfo": "VSQEL_GetVSInfo",
    "through Host.switches.by_id": "VSDVS_DvPortIDToPortIDFromDVSID VSDVS_GetTeamingPolicyFromDVSID",
    "the calls with an owner do more": (
        "DVSQEL_PortDataGet DVSQEL_HostPropGet DVSQEL_GlobalPropGet DVSQEL_PortDataClear DVSQEL_HostPropClear"
        " DVSQEL_GlobalPropClear"
    ),
    "follows from DVSData_PropType": "DVSData_IsSamePropType",
    "the setting Port.alias": "DVS_PortAlias",
}


def coverage() -> dict[str, str]:
    """For each of the library's calls where this package uses it, such as "Switch.mtu", or "not used: " and the
    reason."""
    places = {call: place for place, calls in _PLACES.items() for call in calls.split()}
    reasons = {call: f"not used: {reason}" for reason, calls in _NOT_USED.items() for call in calls.split()}
    return dict(sorted({**places, **reasons}.items()))


class _Callable(ModuleType):
    """Importing this module makes it an attribute of the package, where the function of its name is wanted."""

    def __call__(self) -> dict[str, str]:
        return coverage()


sys.modules[__name__].__class__ = _Callable
