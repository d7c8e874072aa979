// Mirror session tables: as records that say themselves how long they are, and as raw values of their properties.
#include "fuzz/reader.hpp"
#include "fuzz/use.hpp"

using namespace fuzz;

namespace {

// Sessions are seen, go on after a boot, and go away one by one.
int then_use(int status, char const *port) {
  if (status != QEL_OK)
    return status;
  ask_about_mirroring(switch_alias, port);
  boot_again();
  ask_about_mirroring(switch_alias, port);
  HandedOut<DVMirrorSessionTable> table;
  EXPECT_OK(VSDVS_GetDVMirrorSessions, switch_alias, port, table);
  if (table.get()->numSessions != 0) {
    EXPECT_OK(VSDVS_RemoveDVMirrorSession, switch_alias, port, table.elements<DVMirrorSession>()->sid);
  }
  EXPECT_OK(VSDVS_ClearDVMirrorSessions, switch_alias, "101");
  return status;
}

}  // namespace

READER(mirror_table) {
  unsigned const kind = take_byte(input);
  char const *const port = (kind & 1) != 0 ? dvport_id : nullptr;
  if ((kind & 2) != 0) {
    std::vector<char> const value = memory(input, input.size());
    if (port) {
      make_call("VSDVS_SetPortProp", [&] {
        return then_use(VSDVS_SetPortProp(switch_alias, port, VSPROP_PORT_MIRROR_SESSIONS, value.data(), size_of(value),
                                          "", as_bool(kind & 4)),
                        port);
      });
    } else {
      make_call("VSDVS_SetGlobProp", [&] {
        return then_use(VSDVS_SetGlobProp(switch_alias, VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS, value.data(),
                                          size_of(value), "", as_bool(kind & 4)),
                        port);
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
      EXPECT_DOCUMENTED(VSDVS_AppendDVMirrorSessions, switch_alias, "101", table);
    }
    return then_use(status, port);
  });
}
