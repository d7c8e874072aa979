// Teaming policies of switches, ports and logical switches.
#include "fuzz/reader.hpp"
#include "fuzz/use.hpp"

using namespace fuzz;

namespace {

void read_back() {
  // A port may choose any policy of the table, and none that is not there.
  HandedOut<LSTeamTable> table;
  EXPECT_OK(VSDVS_GetLSTeamingPolicyTable, switch_alias, table);
  if (table.get()->numLSTeam != 0) {
    EXPECT_OK(VSDVS_SetPortLSTeamingPolicy, switch_alias, dvport_id, table.elements<LSTeamPolicy>()->name);
  }
  EXPECT_DOCUMENTED(VSDVS_SetPortLSTeamingPolicy, switch_alias, "101", "another");
  ask_about_teaming(switch_alias, dvport_id);
  // An uplink that a policy needs stays until the policies go.
  EXPECT_DOCUMENTED(VSDVS_RemoveSwitchUplinkPort, switch_alias, "uplink-a");
  expect_sound_state();
  EXPECT_OK(VSDVS_ClearPortLSTeamingPolicy, switch_alias, dvport_id);
  EXPECT_OK(VSDVS_ClearLSTeamingPolicy, switch_alias);
  EXPECT_OK(VSDVS_ClearPortTeamingPolicy, switch_alias, dvport_id);
  EXPECT_OK(VSDVS_ClearPortTeamingOverride, switch_alias, dvport_id);
  EXPECT_OK(VSDVS_ClearTeamingPolicy, switch_alias);
  EXPECT_OK(VSDVS_SetTxUplinkAlways, switch_alias, dvport_id, 1);
  EXPECT_OK(VSDVS_ClearSwitchUplinkPorts, switch_alias);
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
