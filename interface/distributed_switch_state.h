/* Calls on the state and property store of the distributed switches (libdvs.so). */
#ifndef VSWITCHPY_INTERFACE_DISTRIBUTED_SWITCH_STATE_H
#define VSWITCHPY_INTERFACE_DISTRIBUTED_SWITCH_STATE_H

#include "interface/base_types.h"
#include "interface/mirror_records.h"

#ifdef __cplusplus
extern "C" {
#endif

int DVSLoadConfig(void);
int DVSQEL_StateInit(void *image, int length);
int DVSQEL_StateGet(void **image, int *length);
int DVSQEL_PersistentStateGet(void **image, int *length);
int DVSQEL_StateSanitize(void);
int DVSQEL_StateCleanup(void);
void DVSQEL_DataFree(void *data);
int DVSState_ConfigReset(void);
int DVSState_ConfigDeserialize(void *image, int length);
int DVSQEL_SwitchAdd(char const *alias, char const *switch_id, qel_uint32 max_ports, HNQVersion version);
int DVSQEL_SwitchRemove(char const *alias);
int DVSQEL_SwitchAssociate(char const *alias);
int DVSQEL_SwitchDissociate(char const *alias);
int DVSQEL_SwitchSetVersion(char const *alias, HNQVersion version);
int DVSQEL_SwitchSetMaxPorts(char const *alias, qel_uint32 max_ports);
int DVSQEL_SwitchPortList(char const *alias, DVPortList **ports, DVSPortType type);
int DVSQEL_PortAdd(char const *alias, char const *dvport_id, void *data, int length);
int DVSQEL_PortRemove(char const *alias, char const *dvport_id);
int DVSQEL_PortFind(char const *alias, char const *dvport_id);
int DVSQEL_PortGetByExternalId(char const *alias, char const *external_id, OpaqueDVPortData **port);
int DVSQEL_PortStateGet(char const *alias, char const *dvport_id, void **state, int *length);
int DVSQEL_PersistentPortStateGet(char const *alias, char const *dvport_id, HNQVersion version, void **state,
                                  int *length);
int DVSQEL_PortDataGet(char const *alias, char const *dvport_id, char const *name, void **data, int *length);
int DVSQEL_SmartNICPortDataGet(char const *alias, char const *dvport_id, char const *name, void **data, int *length);
int DVSQEL_PortDataSet(char const *alias, char const *dvport_id, char const *name, void *data, int length,
                       qel_uint32 property_type);
int DVSQEL_PortDataClear(char const *alias, char const *dvport_id, char const *name);
int DVSQEL_HostPropGet(char const *alias, char const *name, void **data, int *length);
int DVSQEL_SmartNICHostPropGet(char const *alias, char const *name, void **data, int *length);
int DVSQEL_HostPropSet(char const *alias, char const *name, void *data, int length, qel_uint32 property_type);
int DVSQEL_HostPropClear(char const *alias, char const *name);
int DVSQEL_GlobalPropGet(char const *alias, char const *name, void **data, int *length);
int DVSQEL_SmartNICGlobalPropGet(char const *alias, char const *name, void **data, int *length);
int DVSQEL_GlobalPropSet(char const *alias, char const *name, void *data, int length, qel_uint32 property_type);
int DVSQEL_GlobalPropClear(char const *alias, char const *name);
int DVSQEL_UplinkDataGet(char const *alias, char const *uplink, qel_uint32 kind, void **data, int *length);
int DVSQEL_UplinkDataSet(char const *alias, char const *uplink, qel_uint32 kind, void *data, int length,
                         qel_uint32 property_type);
int DVSQEL_CmdExec(char const *alias, char const *command, void *input, int input_length, void **output,
                   int *output_length);
int DVSQEL_VendorGlobalPropList(char const *alias, DVSDataHandle *list, qel_uint32 property_type);
int DVSQEL_VendorHostPropList(char const *alias, DVSDataHandle *list, qel_uint32 property_type);
int DVSQEL_ExtraConfigPropList(char const *alias, DVSDataHandle *list, qel_uint32 property_type);
int DVSQEL_VendorPortPropList(char const *alias, char const *dvport_id, DVSDataHandle *list, qel_uint32 property_type);
int DVSQEL_ExtraConfigPortPropList(char const *alias, char const *dvport_id, DVSDataHandle *list,
                                   qel_uint32 property_type);
void DVSState_SwitchForEach(DVSwitchCallback callback, void *context);
void DVSState_PortForEach(DVSwitchHandle vswitch, DVSPortCallback callback, void *context);
void DVSState_HostPropForEach(DVSwitchHandle vswitch, DVSPortDataCallback callback, void *context);
void DVSState_GlobalPropForEach(DVSwitchHandle vswitch, DVSPortDataCallback callback, void *context);
void DVSState_PortDataForEach(DVSPortHandle port, DVSPortDataCallback callback, void *context);
DVSwitchHandle DVSState_SwitchFindByAlias(char const *alias);
DVSPortHandle DVSState_PortFind(char const *alias, char const *dvport_id);
int DVSState_GlobalPropLookup(char const *alias, char const *name, DVSDataItem *item);
int DVSState_HostPropLookup(char const *alias, char const *name, DVSDataItem *item);
char const *DVS_SwitchName(DVSwitchHandle vswitch);
char const *DVS_SwitchId(DVSwitchHandle vswitch);
char const *DVS_ClassName(DVSwitchHandle vswitch);
unsigned int DVS_Version(DVSwitchHandle vswitch);
int DVS_GetMaxPorts(DVSwitchHandle vswitch);
char const *DVS_PortAlias(DVSPortHandle port);
char const *DVS_PortId(DVSPortHandle port);
int DVSData_Alloc(DVSDataHandle *data, DVSData_MemAlloc allocate, DVSData_MemFree release);
void DVSData_Free(DVSDataHandle data);
int DVSData_Update(DVSDataHandle data, char const *name, void *value, qel_uint32 length, qel_uint32 property_type);
int DVSData_Serialize(DVSDataHandle data, void **image, qel_uint32 *length, HNQVersion version);
unsigned int DVSData_Data(DVSDataItem item, void **value);
char const *DVSData_Name(DVSDataItem item);
unsigned int DVSData_PropType(DVSDataItem item);
qel_Bool DVSData_IsSamePropType(DVSDataItem item, qel_uint32 property_type);
qel_Bool DVPortExist(char const *alias, char const *dvport_id);
int DVSPortsetNameToAlias(char const *portset, char *alias);
int DVSAliasToSwitchId(char const *alias, char *switch_id);
int DVSAliasToSwitchIdAllTypes(char const *alias, char *switch_id);
int DVSAliasToPortsetName(char const *alias, char *portset);
char const *QEL_ReturnStatusToString(QEL_ReturnStatus status);

#ifdef __cplusplus
}
#endif

#endif
