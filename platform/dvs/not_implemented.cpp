// The functions of libdvs.so that the host does not have yet, each with its outputs at null or zero.
#include "platform/core/constants.hpp"
#include "platform/dvs/exports.hpp"

using namespace host;

namespace {

template <typename... Outputs>
int not_implemented(Outputs *...outputs) {
  (preset(outputs), ...);
  return QEL_NOT_IMPLEMENTED;
}

}  // namespace

int DVSLoadConfig() {
  return not_implemented();
}
int DVSQEL_StateInit(void *, int) {
  return not_implemented();
}
int DVSQEL_StateGet(void **image, int *length) {
  return not_implemented(image, length);
}
int DVSQEL_PersistentStateGet(void **image, int *length) {
  return not_implemented(image, length);
}
int DVSQEL_StateSanitize() {
  return not_implemented();
}
int DVSQEL_StateCleanup() {
  return not_implemented();
}
int DVSState_ConfigReset() {
  return not_implemented();
}
int DVSState_ConfigDeserialize(void *, int) {
  return not_implemented();
}
int DVSQEL_SwitchAdd(char const *, char const *, qel_uint32, HNQVersion) {
  return not_implemented();
}
int DVSQEL_SwitchRemove(char const *) {
  return not_implemented();
}
int DVSQEL_SwitchAssociate(char const *) {
  return not_implemented();
}
int DVSQEL_SwitchDissociate(char const *) {
  return not_implemented();
}
int DVSQEL_SwitchSetVersion(char const *, HNQVersion) {
  return not_implemented();
}
int DVSQEL_SwitchSetMaxPorts(char const *, qel_uint32) {
  return not_implemented();
}
int DVSQEL_SwitchPortList(char const *, DVPortList **ports, DVSPortType) {
  return not_implemented(ports);
}
int DVSQEL_PortAdd(char const *, char const *, void *, int) {
  return not_implemented();
}
int DVSQEL_PortRemove(char const *, char const *) {
  return not_implemented();
}
int DVSQEL_PortGetByExternalId(char const *, char const *, OpaqueDVPortData **port) {
  return not_implemented(port);
}
int DVSQEL_PortStateGet(char const *, char const *, void **state, int *length) {
  return not_implemented(state, length);
}
int DVSQEL_PersistentPortStateGet(char const *, char const *, HNQVersion, void **state, int *length) {
  return not_implemented(state, length);
}
int DVSQEL_PortDataGet(char const *, char const *, char const *, void **data, int *length) {
  return not_implemented(data, length);
}
int DVSQEL_SmartNICPortDataGet(char const *, char const *, char const *, void **data, int *length) {
  return not_implemented(data, length);
}
int DVSQEL_PortDataSet(char const *, char const *, char const *, void *, int, qel_uint32) {
  return not_implemented();
}
int DVSQEL_PortDataClear(char const *, char const *, char const *) {
  return not_implemented();
}
int DVSQEL_HostPropGet(char const *, char const *, void **data, int *length) {
  return not_implemented(data, length);
}
int DVSQEL_SmartNICHostPropGet(char const *, char const *, void **data, int *length) {
  return not_implemented(data, length);
}
int DVSQEL_HostPropSet(char const *, char const *, void *, int, qel_uint32) {
  return not_implemented();
}
int DVSQEL_HostPropClear(char const *, char const *) {
  return not_implemented();
}
int DVSQEL_GlobalPropGet(char const *, char const *, void **data, int *length) {
  return not_implemented(data, length);
}
int DVSQEL_SmartNICGlobalPropGet(char const *, char const *, void **data, int *length) {
  return not_implemented(data, length);
}
int DVSQEL_GlobalPropSet(char const *, char const *, void *, int, qel_uint32) {
  return not_implemented();
}
int DVSQEL_GlobalPropClear(char const *, char const *) {
  return not_implemented();
}
int DVSQEL_UplinkDataGet(char const *, char const *, qel_uint32, void **data, int *length) {
  return not_implemented(data, length);
}
int DVSQEL_UplinkDataSet(char const *, char const *, qel_uint32, void *, int, qel_uint32) {
  return not_implemented();
}
int DVSQEL_CmdExec(char const *, char const *, void *, int, void **output, int *output_length) {
  return not_implemented(output, output_length);
}
int DVSQEL_VendorGlobalPropList(char const *, DVSDataHandle *list, qel_uint32) {
  return not_implemented(list);
}
int DVSQEL_VendorHostPropList(char const *, DVSDataHandle *list, qel_uint32) {
  return not_implemented(list);
}
int DVSQEL_ExtraConfigPropList(char const *, DVSDataHandle *list, qel_uint32) {
  return not_implemented(list);
}
int DVSQEL_VendorPortPropList(char const *, char const *, DVSDataHandle *list, qel_uint32) {
  return not_implemented(list);
}
int DVSQEL_ExtraConfigPortPropList(char const *, char const *, DVSDataHandle *list, qel_uint32) {
  return not_implemented(list);
}
void DVSState_SwitchForEach(DVSwitchCallback, void *) {}
void DVSState_PortForEach(DVSwitchHandle, DVSPortCallback, void *) {}
void DVSState_HostPropForEach(DVSwitchHandle, DVSPortDataCallback, void *) {}
void DVSState_GlobalPropForEach(DVSwitchHandle, DVSPortDataCallback, void *) {}
void DVSState_PortDataForEach(DVSPortHandle, DVSPortDataCallback, void *) {}
DVSwitchHandle DVSState_SwitchFindByAlias(char const *) {
  return nullptr;
}
DVSPortHandle DVSState_PortFind(char const *, char const *) {
  return nullptr;
}
int DVSState_GlobalPropLookup(char const *, char const *, DVSDataItem *item) {
  return not_implemented(item);
}
int DVSState_HostPropLookup(char const *, char const *, DVSDataItem *item) {
  return not_implemented(item);
}
char const *DVS_SwitchName(DVSwitchHandle) {
  return nullptr;
}
char const *DVS_SwitchId(DVSwitchHandle) {
  return nullptr;
}
char const *DVS_ClassName(DVSwitchHandle) {
  return nullptr;
}
unsigned int DVS_Version(DVSwitchHandle) {
  return 0;
}
int DVS_GetMaxPorts(DVSwitchHandle) {
  return 0;
}
char const *DVS_PortAlias(DVSPortHandle) {
  return nullptr;
}
char const *DVS_PortId(DVSPortHandle) {
  return nullptr;
}
int DVSData_Alloc(DVSDataHandle *data, DVSData_MemAlloc, DVSData_MemFree) {
  return not_implemented(data);
}
void DVSData_Free(DVSDataHandle) {}
int DVSData_Update(DVSDataHandle, char const *, void *, qel_uint32, qel_uint32) {
  return not_implemented();
}
int DVSData_Serialize(DVSDataHandle, void **image, qel_uint32 *length, HNQVersion) {
  return not_implemented(image, length);
}
unsigned int DVSData_Data(DVSDataItem, void **value) {
  preset(value);
  return 0;
}
char const *DVSData_Name(DVSDataItem) {
  return nullptr;
}
unsigned int DVSData_PropType(DVSDataItem) {
  return 0;
}
qel_Bool DVSData_IsSamePropType(DVSDataItem, qel_uint32) {
  return 0;
}
int DVSAliasToSwitchIdAllTypes(char const *, char *switch_id) {
  return not_implemented(switch_id);
}
