// Mirror session tables: as records that say themselves how long they are, and as raw values of their properties.
#include "fuzz/reader.hpp"

using namespace fuzz;

READER(mirror_table) {
  unsigned const kind = take_byte(input);
  char const *const port = (kind & 1) != 0 ? dvport_id : nullptr;
  if ((kind & 2) != 0) {
    std::vector<char> const value = memory(input, input.size());
    if (port) {
      make_call("VSDVS_SetPortProp", [&] {
        return VSDVS_SetPortProp(switch_alias, port, VSPROP_PORT_MIRROR_SESSIONS, value.data(), size_of(value), "",
                                 (kind & 4) != 0);
      });
    } else {
      make_call("VSDVS_SetGlobProp", [&] {
        return VSDVS_SetGlobProp(switch_alias, VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS, value.data(), size_of(value), "",
                                 (kind & 4) != 0);
      });
    }
    return;
  }
  auto const header = record<DVMirrorSessionTable>(input);
  bool const is_too_large = header.numSessions > 64 || header.numEntities > 4096 || header.numFilterRules > 1024 ||
                            header.numFilterIPs > 4096;
  std::size_t const lists = header.numSessions * sizeof(DVMirrorSession) + header.numEntities * sizeof(DVMirrorEntity) +
                            header.numFilterRules * sizeof(DVMirrorFilterRule) +
                            header.numFilterIPs * sizeof(DVMirrorIpPrefix);
  std::vector<char> block = memory(input, sizeof header + (is_too_large ? 0 : lists));
  auto *const table = reinterpret_cast<DVMirrorSessionTable *>(block.data());
  bool const appends = (kind & 4) != 0;
  make_call(appends ? "VSDVS_AppendDVMirrorSessions" : "VSDVS_SetDVMirrorSessions", [&] {
    int const status = appends ? VSDVS_AppendDVMirrorSessions(switch_alias, port, table)
                               : VSDVS_SetDVMirrorSessions(switch_alias, port, table);
    if (status == QEL_OK) {
      expect_documented("VSDVS_AppendDVMirrorSessions", VSDVS_AppendDVMirrorSessions(switch_alias, "101", table));
      VSDVMirrorSessionIDs *ids = nullptr;
      expect_documented("VSQEL_GetDVMirrorSessionIDs", VSQEL_GetDVMirrorSessionIDs(switch_alias, &ids));
      VSQEL_FreeMemory(ids);
    }
    return status;
  });
}
