// Binding rows: calls on the state and property store of the distributed switches (libdvs.so).
// The types are part of the error messages, spelled exactly as they stand.
// Long because it is data: as many rows as there are such calls.
// clang-format off
#pragma once

#include "interface/distributed_switch_state.h"
#include "runtime/row_macros.hpp"

namespace vswitchpy {

inline constexpr auto distributed_switch_state = calls(
    CALL(DVSLoadConfig,
        "Loads the stored configuration of the distributed switches into the state that the other DVS calls work on. "
        "Gives the status. "
        "Volatile values and switches that are not persistent are gone then; while such a switch has clients that "
        "are not uplinks, it is QEL_BUSY."),
    CALL(DVSQEL_StateInit,
        "Sets up the state of the distributed switches from a serialised image, as DVSQEL_StateGet and "
        "DVSQEL_PersistentStateGet give it.",
        IN(image, void *, "any proxy of the image, passed unchecked"),
        LENGTH_OF(image, IN(length, int, "its length in bytes, as given")),
        REMARKS(
            "None with a length is QEL_BAD_PARAM, an image of a newer format QEL_VERSION_MISMATCH_MAJOR, a damaged "
            "one QEL_CHECKSUM_MISMATCH; nothing has changed then.")),
    CALL(DVSQEL_StateGet,
        "Serialises the whole state of the distributed switches, volatile values included.",
        GIVEN_BACK_BY(DVSQEL_DataFree, IN(image, void **,
            "storage of the caller for the address of the image; release the image with DVSQEL_DataFree")),
        IN(length, int *, "storage of the caller for the length of the image in bytes"),
        REMARKS(
            "Nothing but the status is returned. "
            "The image is the text vswstate, then format, length and CRC-32 of what follows as little-endian "
            "32-bit numbers, then a document in CBOR.")),
    CALL(DVSQEL_PersistentStateGet,
        "Serialises the part of the state of the distributed switches that survives a boot: persistent switches and "
        "persistent values.",
        GIVEN_BACK_BY(DVSQEL_DataFree, IN(image, void **,
            "storage of the caller for the address of the image; release the image with DVSQEL_DataFree")),
        IN(length, int *, "storage of the caller for the length of the image in bytes"),
        REMARKS(
            "Nothing but the status is returned. "
            "The image is the text vswstate, then format, length and CRC-32 of what follows as little-endian "
            "32-bit numbers, then a document in CBOR.")),
    CALL(DVSQEL_StateSanitize,
        "Repairs the state of the distributed switches: removes what belongs to nothing any more, such as values of "
        "ports that are gone. "
        "Gives the status. "
        "Values that their rules no longer admit go, too."),
    CALL(DVSQEL_StateCleanup,
        "Ends this process's use of the state: releases what the library holds for it and makes all handles into it "
        "stale, so that they tell nothing any more. "
        "The state itself stays. "
        "Gives the status."),
    CALL(DVSQEL_DataFree,
        "Releases a value, image or list that a DVS call stored through a pointer.",
        IN(data, void *,
            "any proxy, whatever its type, or None, which is ignored; it must hold the address of the value, not "
            "that of the storage"),
        TAKES_BACK,
        REMARKS(
            "Gives None. "
            "The proxy still holds the released address and must not be used or released again.")),
    CALL(DVSState_ConfigReset,
        "Empties the configuration of the distributed switches, as before loading another with "
        "DVSState_ConfigDeserialize. "
        "Gives the status. "
        "A switch with clients that are not uplinks stays, with the ports of these clients and nothing else."),
    CALL(DVSState_ConfigDeserialize,
        "Loads the configuration of the distributed switches from a serialised image.",
        IN(image, void *, "any proxy of the image, passed unchecked"),
        LENGTH_OF(image, IN(length, int, "its length in bytes, as given")),
        REMARKS(
            "Switches of the image take over what it says; switches that it does not have stay as they are. "
            "A damaged image is QEL_CHECKSUM_MISMATCH, and nothing has changed then.")),
    CALL(DVSQEL_SwitchAdd,
        "Adds a distributed switch to the state, without a port set until DVSQEL_SwitchAssociate; "
        "VSDVS_CreateVSwitch does both.",
        IN(alias, char const *, "at most 80 bytes"),
        IN(switch_id, char const *, "at most 63 bytes"),
        IN(max_ports, qel_uint32, "greatest number of ports"),
        IN(version, HNQVersion, "DVS_VERSION_* or a VS_QBR* version"),
        REMARKS(
            "max_ports is 1 to 8192, 0 for 128; version is DVS_VERSION_60 to DVS_VERSION_70 or one of VS_QBR_*, 0 "
            "for DVS_VERSION_70.")),
    CALL(DVSQEL_SwitchRemove,
        "Removes a distributed switch from the state, with its ports and properties.",
        IN(alias, char const *),
        REMARKS("A switch with a port set is QEL_BUSY; ports, uplink ports and properties of another go with it.")),
    CALL(DVSQEL_SwitchAssociate,
        "Connects a distributed switch of the state with a port set on this host, so that it forwards traffic here.",
        IN(alias, char const *),
        REMARKS("A switch that is connected already is QEL_EXISTS.")),
    CALL(DVSQEL_SwitchDissociate,
        "Takes the port set on this host from a distributed switch; its state stays.",
        IN(alias, char const *),
        REMARKS(
            "A switch without a port set is QEL_IS_DISCONNECTED, one with a client that is not an uplink QEL_BUSY. "
            "Ports, uplink ports and properties stay.")),
    CALL(DVSQEL_SwitchSetVersion,
        "Sets the version of a distributed switch, which says what features its state may use.",
        IN(alias, char const *),
        IN(version, HNQVersion, "DVS_VERSION_* or a VS_QBR* version"),
        REMARKS("It can only grow: a lower one is QEL_VERSION_MISMATCH_MAJOR.")),
    CALL(DVSQEL_SwitchSetMaxPorts,
        "Sets how many ports a distributed switch may have.",
        IN(alias, char const *),
        IN(max_ports, qel_uint32, "unsigned 32 bits"),
        REMARKS("It is 1 to 8192, and not below the ports that there are (QEL_BUSY).")),
    CALL(DVSQEL_SwitchPortList,
        "Lists the ports of one kind on a distributed switch.",
        IN(alias, char const *),
        GIVEN_BACK_BY(DVSQEL_DataFree, IN(ports, DVPortList **,
            "storage of the caller for a DVPortList pointer; the list with nports entries stored there is "
            "released with DVSQEL_DataFree")),
        IN(type, DVSPortType, "kind of port wanted, one of DVSPORT_TYPE_*"),
        REMARKS(
            "Nothing but the status is returned. "
            "DVSPORT_TYPE_ACTIVE: ports with a client; DVSPORT_TYPE_SHADOW: without one; DVSPORT_TYPE_LOCALCACHE: "
            "without one, made from an image; DVSPORT_TYPE_ZOMBIE: removed from the state while their client was "
            "connected.")),
    CALL(DVSQEL_PortAdd,
        "Adds a port to a distributed switch in the state, together with the serialised state that it starts with.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(data, void *, "any proxy of an image as DVSQEL_PortStateGet gives it, passed unchecked"),
        LENGTH_OF(data, IN(length, int, "its length in bytes, as given")),
        REMARKS("data may be None where length is 0: a port without properties.")),
    CALL(DVSQEL_PortRemove,
        "Removes a port from a distributed switch in the state, together with its data.",
        IN(alias, char const *), IN(dvport_id, char const *),
        REMARKS(
            "A port with a client becomes a zombie, which goes at the next boot; a port whose client is an uplink "
            "is QEL_BUSY.")),
    CALL(DVSQEL_PortFind,
        "Tells by its status whether a switch has a distributed port; nothing else is returned.",
        IN(alias, char const *), IN(dvport_id, char const *),
        REMARKS(
            "QEL_OK: it has. "
            "QEL_NOT_FOUND: no such switch or port. "
            "DVPortExist tells the same without a status.")),
    CALL(DVSQEL_PortGetByExternalId,
        "Finds the port that another party manages by the identifier it has there (VSDVS_AddOpaqueDVPort).",
        IN(alias, char const *),
        IN(external_id, char const *, "identifier at the other party, at most 127 bytes"),
        GIVEN_BACK_BY(DVSQEL_DataFree, IN(port, OpaqueDVPortData **,
            "storage of the caller for an OpaqueDVPortData pointer; the record stored there is released with "
            "DVSQEL_DataFree")),
        REMARKS("Nothing but the status is returned.")),
    CALL(DVSQEL_PortStateGet,
        "Serialises the whole state of one port, volatile values included.",
        IN(alias, char const *), IN(dvport_id, char const *),
        GIVEN_BACK_BY(DVSQEL_DataFree, IN(state, void **,
            "storage of the caller for the address of the image; release the image with DVSQEL_DataFree")),
        IN(length, int *, "storage of the caller for the length of the image in bytes"),
        REMARKS(
            "Nothing but the status is returned. "
            "The image is the text vswstate, then format, length and CRC-32 of what follows as little-endian "
            "32-bit numbers, then a document in CBOR.")),
    CALL(DVSQEL_PersistentPortStateGet,
        "Serialises the part of the state of one port that survives a boot.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(version, HNQVersion, "format to write, DVS_VERSION_* or a VS_QBR* version"),
        GIVEN_BACK_BY(DVSQEL_DataFree, IN(state, void **,
            "storage of the caller for the address of the image; release the image with DVSQEL_DataFree")),
        IN(length, int *, "storage of the caller for the length of the image in bytes"),
        REMARKS(
            "Nothing but the status is returned. "
            "version is the earliest version of a switch that may take the image, 0 for that of the switch. "
            "The image is the text vswstate, then format, length and CRC-32 of what follows as little-endian "
            "32-bit numbers, then a document in CBOR.")),
    CALL(DVSQEL_PortDataGet,
        "Reads the value in effect of a port property.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(name, char const *, "key, such as QEL_HNQPROP_PORT_CONNECTID"),
        GIVEN_BACK_BY(DVSQEL_DataFree, IN(data, void **,
            "storage of the caller for the address of the value; release the value with DVSQEL_DataFree")),
        IN(length, int *, "storage of the caller for the length of the value in bytes"),
        REMARKS(
            "Nothing but the status is returned; VSDVS_GetPortProp copies the value into a record that scripts can "
            "read.")),
    CALL(DVSQEL_SmartNICPortDataGet,
        "Reads the value of a port property as the part of the switch sees it that runs on a SmartNIC (a NIC that "
        "switches by itself).",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(name, char const *, "key"),
        GIVEN_BACK_BY(DVSQEL_DataFree, IN(data, void **,
            "storage of the caller for the address of the value; release the value with DVSQEL_DataFree")),
        IN(length, int *, "storage of the caller for the length of the value in bytes"),
        REMARKS(
            "Nothing but the status is returned. "
            "QEL_NOT_SUPPORTED where no uplink port of the switch is backed by a SmartNIC; values with "
            "NO_SYNC_PROP_TYPE are not seen.")),
    CALL(DVSQEL_PortDataSet,
        "Writes a property of a port.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(name, char const *, "key, 1 to 255 bytes"),
        IN(data, void *, "any proxy, passed unchecked"),
        LENGTH_OF(data, IN(length, int, "bytes to store, at most as many as data has: _libvswitch reads past it")),
        IN(property_type, qel_uint32,
            "CONFIG_PROP_TYPE and other *_PROP_TYPE bits, a negative constant with & 0xFFFFFFFF"),
        REMARKS(
            "VOLATILE_PROP_TYPE writes the value that the next boot ends, and not the persistent one; "
            "NO_SYNC_PROP_TYPE keeps it from SmartNICs, NO_REPLICATE_PROP_TYPE out of the images of ports; the "
            "other bits select it in lists.")),
    CALL(DVSQEL_PortDataClear,
        "Removes the value of a port property, so that its default holds or it is gone.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(name, char const *, "key"),
        REMARKS("Without a value it is QEL_NOT_FOUND, unless the property has a default.")),
    CALL(DVSQEL_HostPropGet,
        "Reads the value in effect of a property that a switch has on this host.",
        IN(alias, char const *),
        IN(name, char const *, "key, such as QEL_HNQPROP_HOST_UPLINKPORTS"),
        GIVEN_BACK_BY(DVSQEL_DataFree, IN(data, void **,
            "storage of the caller for the address of the value; release the value with DVSQEL_DataFree")),
        IN(length, int *, "storage of the caller for the length of the value in bytes"),
        REMARKS(
            "Nothing but the status is returned; VSDVS_GetHostProp copies the value into a record that scripts can "
            "read.")),
    CALL(DVSQEL_SmartNICHostPropGet,
        "Reads the value of a property that a switch has on this host, as the part of the switch sees it that runs "
        "on a SmartNIC (a NIC that switches by itself).",
        IN(alias, char const *),
        IN(name, char const *, "key"),
        GIVEN_BACK_BY(DVSQEL_DataFree, IN(data, void **,
            "storage of the caller for the address of the value; release the value with DVSQEL_DataFree")),
        IN(length, int *, "storage of the caller for the length of the value in bytes"),
        REMARKS(
            "Nothing but the status is returned. "
            "QEL_NOT_SUPPORTED where no uplink port of the switch is backed by a SmartNIC; values with "
            "NO_SYNC_PROP_TYPE are not seen.")),
    CALL(DVSQEL_HostPropSet,
        "Writes a property that a switch has on this host.",
        IN(alias, char const *),
        IN(name, char const *, "key, 1 to 255 bytes"),
        IN(data, void *, "any proxy, passed unchecked"),
        LENGTH_OF(data, IN(length, int, "bytes to store, at most as many as data has: _libvswitch reads past it")),
        IN(property_type, qel_uint32,
            "CONFIG_PROP_TYPE and other *_PROP_TYPE bits, a negative constant with & 0xFFFFFFFF"),
        REMARKS(
            "VOLATILE_PROP_TYPE writes the value that the next boot ends, and not the persistent one; "
            "NO_SYNC_PROP_TYPE keeps it from SmartNICs, NO_REPLICATE_PROP_TYPE out of the images of ports; the "
            "other bits select it in lists.")),
    CALL(DVSQEL_HostPropClear,
        "Removes the value of a property that a switch has on this host, so that its default holds or it is gone.",
        IN(alias, char const *),
        IN(name, char const *, "key"),
        REMARKS("Without a value it is QEL_NOT_FOUND, unless the property has a default.")),
    CALL(DVSQEL_GlobalPropGet,
        "Reads the value in effect of a property that a switch has on all its hosts.",
        IN(alias, char const *),
        IN(name, char const *, "key, such as VSPROP_MTU"),
        GIVEN_BACK_BY(DVSQEL_DataFree, IN(data, void **,
            "storage of the caller for the address of the value; release the value with DVSQEL_DataFree")),
        IN(length, int *, "storage of the caller for the length of the value in bytes"),
        REMARKS(
            "Nothing but the status is returned; VSDVS_GetGlobProp copies the value into a record that scripts can "
            "read.")),
    CALL(DVSQEL_SmartNICGlobalPropGet,
        "Reads the value of a property that a switch has on all its hosts, as the part of the switch sees it that "
        "runs on a SmartNIC (a NIC that switches by itself).",
        IN(alias, char const *),
        IN(name, char const *, "key"),
        GIVEN_BACK_BY(DVSQEL_DataFree, IN(data, void **,
            "storage of the caller for the address of the value; release the value with DVSQEL_DataFree")),
        IN(length, int *, "storage of the caller for the length of the value in bytes"),
        REMARKS(
            "Nothing but the status is returned. "
            "QEL_NOT_SUPPORTED where no uplink port of the switch is backed by a SmartNIC; values with "
            "NO_SYNC_PROP_TYPE are not seen.")),
    CALL(DVSQEL_GlobalPropSet,
        "Writes a property that a switch has on all its hosts.",
        IN(alias, char const *),
        IN(name, char const *, "key, 1 to 255 bytes"),
        IN(data, void *, "any proxy, passed unchecked"),
        LENGTH_OF(data, IN(length, int, "bytes to store, at most as many as data has: _libvswitch reads past it")),
        IN(property_type, qel_uint32,
            "CONFIG_PROP_TYPE and other *_PROP_TYPE bits, a negative constant with & 0xFFFFFFFF"),
        REMARKS(
            "VOLATILE_PROP_TYPE writes the value that the next boot ends, and not the persistent one; "
            "NO_SYNC_PROP_TYPE keeps it from SmartNICs, NO_REPLICATE_PROP_TYPE out of the images of ports; the "
            "other bits select it in lists.")),
    CALL(DVSQEL_GlobalPropClear,
        "Removes the value of a property that a switch has on all its hosts, so that its default holds or it is gone.",
        IN(alias, char const *),
        IN(name, char const *, "key"),
        REMARKS("Without a value it is QEL_NOT_FOUND, unless the property has a default.")),
    CALL(DVSQEL_UplinkDataGet,
        "Reads data that the state keeps for one uplink of a switch.",
        IN(alias, char const *),
        IN(uplink, char const *, "name of the uplink"),
        IN(kind, qel_uint32, "number of the data wanted, unsigned"),
        GIVEN_BACK_BY(DVSQEL_DataFree, IN(data, void **,
            "storage of the caller for the address of the value; release the value with DVSQEL_DataFree")),
        IN(length, int *, "storage of the caller for the length of the value in bytes"),
        REMARKS(
            "Nothing but the status is returned. "
            "The kind is any number: the host keeps a value under it and gives it no meaning.")),
    CALL(DVSQEL_UplinkDataSet,
        "Writes data that the state keeps for one uplink of a switch.",
        IN(alias, char const *),
        IN(uplink, char const *, "name of the uplink"),
        IN(kind, qel_uint32, "number of the data, unsigned"),
        IN(data, void *, "any proxy, passed unchecked"),
        LENGTH_OF(data, IN(length, int, "bytes to store, at most as many as data has: _libvswitch reads past it")),
        IN(property_type, qel_uint32,
            "CONFIG_PROP_TYPE and other *_PROP_TYPE bits, a negative constant with & 0xFFFFFFFF"),
        REMARKS("The kind is any number: the host keeps the value under it and gives it no meaning.")),
    CALL(DVSQEL_CmdExec,
        "Has the component behind a switch execute a command.",
        IN(alias, char const *),
        IN(command, char const *, "name of the command"),
        IN(input, void *, "any proxy of its input or None, passed unchecked"),
        LENGTH_OF(input, IN(input_length, int, "length in bytes, as given")),
        GIVEN_BACK_BY(DVSQEL_DataFree, IN(output, void **,
            "storage of the caller for the address of the answer; release the answer with DVSQEL_DataFree")),
        IN(output_length, int *, "storage of the caller for the length of the answer in bytes"),
        REMARKS(
            "Nothing but the status is returned. "
            "The commands are help, switch, ports, uplinks, properties, and port-properties with a port's "
            "identifier as input.")),
    CALL(DVSQEL_VendorGlobalPropList,
        "Collects the properties with an owner (the vendor that wrote them) that a switch has on all its hosts.",
        IN(alias, char const *),
        GIVEN_BACK_BY(DVSData_Free, IN(list, DVSDataHandle *,
            "storage of the caller for a DVSDataHandle, the list that the library makes; release it with "
            "DVSData_Free")),
        IN(property_type, qel_uint32,
            "*_PROP_TYPE bits of the properties wanted, a negative constant with & 0xFFFFFFFF"),
        REMARKS("Listed are the values in effect of the properties that have an owner and one of these types.")),
    CALL(DVSQEL_VendorHostPropList,
        "Collects the properties with an owner (the vendor that wrote them) that a switch has on this host.",
        IN(alias, char const *),
        GIVEN_BACK_BY(DVSData_Free, IN(list, DVSDataHandle *,
            "storage of the caller for a DVSDataHandle, the list that the library makes; release it with "
            "DVSData_Free")),
        IN(property_type, qel_uint32,
            "*_PROP_TYPE bits of the properties wanted, a negative constant with & 0xFFFFFFFF"),
        REMARKS("Listed are the values in effect of the properties that have an owner and one of these types.")),
    CALL(DVSQEL_ExtraConfigPropList,
        "Collects the extra configuration of a switch: properties that management stores under free names and no "
        "typed call sets.",
        IN(alias, char const *),
        GIVEN_BACK_BY(DVSData_Free, IN(list, DVSDataHandle *,
            "storage of the caller for a DVSDataHandle, the list that the library makes; release it with "
            "DVSData_Free")),
        IN(property_type, qel_uint32,
            "*_PROP_TYPE bits of the properties wanted, a negative constant with & 0xFFFFFFFF"),
        REMARKS(
            "Nothing but the status is returned. "
            "Listed are the values in effect of the properties that have no owner and whose names have no rules. "
            "A property of the switch on this host goes before the global one of its name.")),
    CALL(DVSQEL_VendorPortPropList,
        "Collects the properties of a port that have an owner (the vendor that wrote them).",
        IN(alias, char const *), IN(dvport_id, char const *),
        GIVEN_BACK_BY(DVSData_Free, IN(list, DVSDataHandle *,
            "storage of the caller for a DVSDataHandle, the list that the library makes; release it with "
            "DVSData_Free")),
        IN(property_type, qel_uint32,
            "*_PROP_TYPE bits of the properties wanted, a negative constant with & 0xFFFFFFFF"),
        REMARKS("Listed are the values in effect of the properties that have an owner and one of these types.")),
    CALL(DVSQEL_ExtraConfigPortPropList,
        "Collects the extra configuration of a port: properties that management stores under free names and no typed "
        "call sets.",
        IN(alias, char const *), IN(dvport_id, char const *),
        GIVEN_BACK_BY(DVSData_Free, IN(list, DVSDataHandle *,
            "storage of the caller for a DVSDataHandle, the list that the library makes; release it with "
            "DVSData_Free")),
        IN(property_type, qel_uint32,
            "*_PROP_TYPE bits of the properties wanted, a negative constant with & 0xFFFFFFFF"),
        REMARKS(
            "Nothing but the status is returned. "
            "Listed are the values in effect of the properties that have no owner and whose names have no rules.")),
    CALL(DVSState_SwitchForEach,
        "Calls a function for each distributed switch in the state.",
        IN(callback, DVSwitchCallback,
            "DVSwitchCallback, a native function pointer proxy or None; a Python function raises TypeError"),
        IN(context, void *, "any proxy or None, handed to each call beside the handle of the switch"),
        REMARKS(
            "Gives None. "
            "Switches come in the order of creation; a result of the callback other than 0 ends the walk.")),
    CALL(DVSState_PortForEach,
        "Calls a function for each port of a distributed switch.",
        IN(vswitch, DVSwitchHandle),
        IN(callback, DVSPortCallback,
            "DVSPortCallback, a native function pointer proxy or None; a Python function raises TypeError"),
        IN(context, void *, "any proxy or None, handed to each call beside the handle of the port"),
        REMARKS(
            "Gives None. "
            "Ports come by their numbers; a result of the callback other than 0 ends the walk.")),
    CALL(DVSState_HostPropForEach,
        "Calls a function for each property that a switch has on this host.",
        IN(vswitch, DVSwitchHandle),
        IN(callback, DVSPortDataCallback,
            "DVSPortDataCallback, a native function pointer proxy or None; a Python function raises TypeError"),
        IN(context, void *, "any proxy or None, handed to each call beside the item"),
        REMARKS(
            "Gives None. "
            "Properties that were written come by name, with the value in effect; a result of the callback other "
            "than 0 ends the walk.")),
    CALL(DVSState_GlobalPropForEach,
        "Calls a function for each property that a switch has on all its hosts.",
        IN(vswitch, DVSwitchHandle),
        IN(callback, DVSPortDataCallback,
            "DVSPortDataCallback, a native function pointer proxy or None; a Python function raises TypeError"),
        IN(context, void *, "any proxy or None, handed to each call beside the item"),
        REMARKS(
            "Gives None. "
            "Properties that were written come by name, with the value in effect; a result of the callback other "
            "than 0 ends the walk.")),
    CALL(DVSState_PortDataForEach,
        "Calls a function for each property of a port.",
        IN(port, DVSPortHandle, "handle of DVSState_PortFind"),
        IN(callback, DVSPortDataCallback,
            "DVSPortDataCallback, a native function pointer proxy or None; a Python function raises TypeError"),
        IN(context, void *, "any proxy or None, handed to each call beside the item"),
        REMARKS(
            "Gives None. "
            "Properties that were written come by name, with the value in effect; a result of the callback other "
            "than 0 ends the walk.")),
    CALL(DVSState_SwitchFindByAlias,
        "Finds a distributed switch in the state.",
        IN(alias, char const *), OR_NONE,
        REMARKS(
            "Gives its handle for DVS_SwitchName and the like, or None when there is none; the handle belongs to "
            "the library and is never released by scripts. "
            "It is good until the switch is gone, or DVSQEL_StateInit, DVSQEL_StateCleanup or a restore of the "
            "whole state ends all handles.")),
    CALL(DVSState_PortFind,
        "Finds a port of a distributed switch in the state.",
        IN(alias, char const *), IN(dvport_id, char const *), OR_NONE,
        REMARKS(
            "Gives its handle for DVS_PortId and the like, or None when there is none; the handle belongs to the "
            "library and is never released by scripts. "
            "It is good until the port is gone, or DVSQEL_StateInit, DVSQEL_StateCleanup or a restore of the whole "
            "state ends all handles.")),
    CALL(DVSState_GlobalPropLookup,
        "Finds a property that a switch has on all its hosts.",
        IN(alias, char const *),
        IN(name, char const *, "key"),
        IN(item, DVSDataItem *,
            "storage of the caller for a DVSDataItem, which the library keeps; DVSData_Data, DVSData_Name and "
            "DVSData_PropType read it"),
        REMARKS(
            "Nothing but the status is returned. "
            "The item is good as long as the handles into the state; another lookup of the property brings it up "
            "to date.")),
    CALL(DVSState_HostPropLookup,
        "Finds a property that a switch has on this host.",
        IN(alias, char const *),
        IN(name, char const *, "key"),
        IN(item, DVSDataItem *,
            "storage of the caller for a DVSDataItem, which the library keeps; DVSData_Data, DVSData_Name and "
            "DVSData_PropType read it"),
        REMARKS(
            "Nothing but the status is returned. "
            "The item is good as long as the handles into the state; another lookup of the property brings it up "
            "to date.")),
    CALL(DVS_SwitchName,
        "Gives the name of a distributed switch, its alias, or None when the library has none.",
        IN(vswitch, DVSwitchHandle), OR_NONE,
        REMARKS("None, or a handle that is stale, gives None.")),
    CALL(DVS_SwitchId,
        "Gives the identifier of a distributed switch, the same on all hosts that it spans, or None when the library "
        "has none.",
        IN(vswitch, DVSwitchHandle), OR_NONE,
        REMARKS("None, or a handle that is stale, gives None.")),
    CALL(DVS_ClassName,
        "Gives the name of the port-set class that implements a distributed switch, such as PS_CLASS_NAME, or None "
        "when the library has none.",
        IN(vswitch, DVSwitchHandle), OR_NONE,
        REMARKS("None, or a handle that is stale, gives None.")),
    CALL(DVS_Version,
        "Gives the version of a distributed switch as an unsigned number, DVS_VERSION_* or a VS_QBR* version; there "
        "is no status.",
        IN(vswitch, DVSwitchHandle),
        REMARKS("None, or a handle that is stale, gives 0.")),
    CALL(DVS_GetMaxPorts,
        "Gives the greatest number of ports that a distributed switch may have, a signed number; there is no status.",
        IN(vswitch, DVSwitchHandle),
        REMARKS("None, or a handle that is stale, gives 0.")),
    CALL(DVS_PortAlias,
        "Gives the alias of a port, the name that people gave it (property QEL_HNQPROP_PORT_ALIAS), or None when it "
        "has none.",
        IN(port, DVSPortHandle, "handle of DVSState_PortFind"),
        OR_NONE,
        REMARKS("None, or a handle that is stale, gives None.")),
    CALL(DVS_PortId,
        "Gives the identifier text of a port, the dvport_id of other calls, or None when the library has none.",
        IN(port, DVSPortHandle, "handle of DVSState_PortFind"),
        OR_NONE,
        REMARKS("None, or a handle that is stale, gives None.")),
    CALL(DVSData_Alloc,
        "Makes an empty property list, to be filled with DVSData_Update and released with DVSData_Free.",
        GIVEN_BACK_BY(DVSData_Free, IN(data, DVSDataHandle *, "storage of the caller for the DVSDataHandle")),
        IN(allocate, DVSData_MemAlloc,
            "native function pointer proxy (DVSData_MemAlloc) for the memory of the list, or None; a Python "
            "function raises TypeError"),
        IN(release, DVSData_MemFree, "likewise (DVSData_MemFree)"),
        REMARKS("None for both: the system's malloc and free; for one of them only it is QEL_BAD_PARAM.")),
    CALL(DVSData_Free,
        "Releases a property list with all its items; items looked up in it must not be used any more.",
        IN(data, DVSDataHandle, "handle that DVSData_Alloc or a call such as DVSQEL_VendorHostPropList stored"),
        REMARKS("Gives None.")),
    CALL(DVSData_Update,
        "Adds a property to a list, or replaces the one of the same name.",
        IN(data, DVSDataHandle, "handle of the list"),
        IN(name, char const *, "key"),
        IN(value, void *, "any proxy of the bytes to copy, passed unchecked"),
        LENGTH_OF(value, IN(length, qel_uint32, "their number, unsigned, as given")),
        IN(property_type, qel_uint32,
            "CONFIG_PROP_TYPE and other *_PROP_TYPE bits, a negative constant with & 0xFFFFFFFF"),
        REMARKS("Nothing but the status is returned.")),
    CALL(DVSData_Serialize,
        "Serialises a property list.",
        IN(data, DVSDataHandle, "handle of the list"),
        GIVEN_BACK_BY(DVSQEL_DataFree, IN(image, void **,
            "storage of the caller for the address of the image; release the image with DVSQEL_DataFree")),
        IN(length, qel_uint32 *, "storage of the caller for the length of the image in bytes"),
        IN(version, HNQVersion, "format to write, DVS_VERSION_* or a VS_QBR* version"),
        REMARKS(
            "Nothing but the status is returned. "
            "version is the earliest version of a switch that may take the image, 0 for DVS_VERSION_70. "
            "The image is the text vswstate, then format, length and CRC-32 of what follows as little-endian "
            "32-bit numbers, then a document in CBOR.")),
    CALL(DVSData_Data,
        "Gives the length in bytes of the value of a property, an unsigned number; there is no status.",
        IN(item, DVSDataItem, "a DVSDataItem that a lookup stored"),
        IN(value, void **,
            "storage of the caller for the address of the value, which stays the library's and is not released"),
        REMARKS("It is the library's, and good until a later lookup of the property finds another value.")),
    CALL(DVSData_Name,
        "Gives the name (key) of a property, such as VSPROP_MTU, or None when the library has none.",
        IN(item, DVSDataItem, "a DVSDataItem that a lookup stored"),
        OR_NONE,
        REMARKS("None, or an item that is stale, gives None.")),
    CALL(DVSData_PropType,
        "Gives the property type of a property, *_PROP_TYPE bits as an unsigned number: NO_SYNC_PROP_TYPE, a "
        "negative constant, must be compared with & 0xFFFFFFFF.",
        IN(item, DVSDataItem, "a DVSDataItem that a lookup stored"),
        REMARKS("None, or an item that is stale, gives 0.")),
    CALL(DVSData_IsSamePropType,
        "Tells whether a property has a given property type.",
        IN(item, DVSDataItem, "a DVSDataItem that a lookup stored"),
        IN(property_type, qel_uint32, "*_PROP_TYPE bits to compare with, a negative constant with & 0xFFFFFFFF"),
        REMARKS(
            "Gives a text of one character, chr(0) for no and another for yes; both are true in a condition, so "
            "compare with chr(0). "
            "It is yes where the property's type has all these bits, and there is one.")),
    CALL(DVPortExist,
        "Tells whether a switch has a distributed port, as DVSQEL_PortFind does by its status.",
        IN(alias, char const *), IN(dvport_id, char const *),
        REMARKS(
            "Gives chr(1) if the port exists, else, for whatever reason, chr(0); both are true in a condition, so "
            "compare with chr(0).")),
    CALL(DVSPortsetNameToAlias,
        "Looks up the alias of a switch by its port-set name, but gives only the status: the library writes the "
        "alias into a temporary array, which is not returned.",
        IN(portset, char const *, "port-set name, at most 127 bytes"),
        IN(alias, char [128], "any text of at most 127 bytes (else TypeError) or None; its content does not matter"),
        REMARKS(
            "QEL_NOT_FOUND: no such port set. "
            "VSDVS_GetAliasFromPortset returns the alias.")),
    CALL(DVSAliasToSwitchId,
        "Looks up the identifier of a switch by its alias, but gives only the status: the library writes the "
        "identifier into a temporary array, which is not returned.",
        IN(alias, char const *),
        IN(switch_id, char [64], "any text of at most 63 bytes (else TypeError) or None; its content does not matter"),
        REMARKS(
            "QEL_NOT_FOUND: no switch with this alias. "
            "VSQEL_GetSwitchInfo returns the identifier in hnqID.")),
    CALL(DVSAliasToSwitchIdAllTypes,
        "Looks up the identifier of a switch of any type by its alias, not only of a distributed one, but gives only "
        "the status: the library writes the identifier into a temporary array, which is not returned.",
        IN(alias, char const *),
        IN(switch_id, char [64], "any text of at most 63 bytes (else TypeError) or None; its content does not matter"),
        REMARKS("Distributed switches are the only type that the simulated host has.")),
    CALL(DVSAliasToPortsetName,
        "Looks up the port-set name of a switch, the name that the host gave it (portset-1 and so on).",
        IN(alias, char const *), OUT_TEXT(portset, 128),
        REMARKS(
            "Gives [status, portset]: the name, at most 127 bytes, empty unless the status is QEL_OK. "
            "QEL_NOT_FOUND: no switch with this alias. "
            "QEL_IS_DISCONNECTED: the switch has no port set. "
            "Arguments that fit neither form raise NotImplementedError.")),
    OVERLOAD(DVSAliasToPortsetName,
        "With a second argument only the status: the library writes the port-set name into a temporary array, which "
        "is not returned.",
        IN(alias, char const *),
        IN(portset, char [128], "any text of at most 127 bytes or None; its content does not matter"),
        REMARKS(
            "QEL_NOT_FOUND: no switch with this alias. "
            "Arguments that fit neither form raise NotImplementedError.")),
    CALL(QEL_ReturnStatusToString,
        "Gives the name of a status, such as QEL_NOT_FOUND, or None for a number that is no status.",
        IN(status, QEL_ReturnStatus, "what a library call returned, signed 32 bits"),
        OR_NONE,
        REMARKS("Needs no state file, so that it works when other calls fail.")));

}  // namespace vswitchpy

#include "runtime/row_macros_end.hpp"
