// Teaming policies of switches, ports and logical switches.
#include "fuzz/reader.hpp"

using namespace fuzz;

namespace {

void read_back() {
  LSTeamTable *table = nullptr;
  expect_documented("VSQEL_GetLSTeamingPolicyTable",
                    VSQEL_GetLSTeamingPolicyTable(const_cast<char *>(switch_alias), &table));
  VSQEL_FreeMemory(table);
  qel_SwitchPortID number = 0;
  expect_documented("VSDVS_DvPortIDToPortID", VSDVS_DvPortIDToPortID(switch_alias, dvport_id, &number));
  qel_Name uplink{};
  expect_documented("VSQEL_PortGetTeamUplinkHint", VSQEL_PortGetTeamUplinkHint(number, &uplink));
}

int then_read_back(int status) {
  if (status == QEL_OK)
    read_back();
  return status;
}

}  // namespace

READER(teaming) {
  switch (take_byte(input) % 6) {
    case 0: {
      auto policy = record<VSTeamPolicy>(input);
      make_call("VSDVS_SetTeamingPolicy",
                [&] { return then_read_back(VSDVS_SetTeamingPolicy(switch_alias, &policy)); });
      break;
    }
    case 1: {
      auto policy = record<VSTeamPolicy>(input);
      make_call("VSDVS_SetPortTeamingPolicy",
                [&] { return then_read_back(VSDVS_SetPortTeamingPolicy(switch_alias, dvport_id, &policy)); });
      break;
    }
    case 2: {
      auto const header = record<LSTeamTable>(input);
      std::vector<char> block = memory(input, counted(header.numLSTeam, 128, sizeof(qel_uint32), sizeof(LSTeamPolicy)));
      make_call("VSDVS_SetLSTeamingPolicy", [&] {
        return then_read_back(VSDVS_SetLSTeamingPolicy(switch_alias, reinterpret_cast<LSTeamTable *>(block.data())));
      });
      break;
    }
    case 3: {
      std::string const name(input);
      make_call("VSDVS_SetPortTeamingOverride",
                [&] { return then_read_back(VSDVS_SetPortTeamingOverride(switch_alias, dvport_id, name.c_str())); });
      break;
    }
    case 4: {
      std::vector<char> const value = memory(input, input.size());
      make_call("VSDVS_SetGlobProp", [&] {
        return then_read_back(
            VSDVS_SetGlobProp(switch_alias, VSPROP_LS_TEAMING_POLICY, value.data(), size_of(value), "", 0));
      });
      break;
    }
    default: {
      std::vector<char> const value = memory(input, input.size());
      make_call("VSDVS_SetGlobProp", [&] {
        return then_read_back(
            VSDVS_SetGlobProp(switch_alias, VSPROP_SWITCH_TEAMING, value.data(), size_of(value), "", 0));
      });
    }
  }
}
