// Handles of the state: finding, walking, what they tell, and that stale and foreign ones tell nothing.
#include <vector>

#include "host_test.hpp"
#include "platform/core/snapshot.hpp"

namespace state_handles_test {

// What a walk saw. A callback has no state of its own: it gets this as its context.
struct Seen {
  std::vector<std::string> names;
  std::vector<void *> handles;
  std::size_t most = SIZE_MAX;
};

int note(Seen *seen, char const *name, void *handle) {
  seen->names.emplace_back(name ? name : "(null)");
  seen->handles.push_back(handle);
  return seen->names.size() >= seen->most;
}

int note_switch(DVSwitchHandle vswitch, void *context) {
  return note(static_cast<Seen *>(context), DVS_SwitchName(vswitch), vswitch);
}
int note_port(DVSPortHandle port, void *context) {
  return note(static_cast<Seen *>(context), DVS_PortId(port), port);
}
int note_property(DVSDataItem item, void *context) {
  return note(static_cast<Seen *>(context), DVSData_Name(item), item);
}

std::string value_of(DVSDataItem item) {
  void *value = nullptr;
  unsigned int const length = DVSData_Data(item, &value);
  return {static_cast<char const *>(value), length};
}

using Names = std::vector<std::string>;

class StateHandles : public HostTest {
 protected:
  static void set_global(char const *name, std::string const &value, bool persistent = true) {
    ASSERT_STATUS(QEL_OK,
                  VSDVS_SetGlobProp("management", name, value.data(), static_cast<int>(value.size()), "", persistent));
  }
};

TEST_F(StateHandles, of_a_switch_tell_about_it) {
  DVSwitchHandle const handle = DVSState_SwitchFindByAlias("workload");
  ASSERT_NE(nullptr, handle);
  EXPECT_EQ(handle, DVSState_SwitchFindByAlias("workload"));
  EXPECT_NE(handle, DVSState_SwitchFindByAlias("management"));
  char const *name = DVS_SwitchName(handle);
  EXPECT_STREQ("workload", name);
  EXPECT_STREQ("776f726b-6c6f-6164-0000-000000000002", DVS_SwitchId(handle));
  EXPECT_STREQ(PS_CLASS_NAME, DVS_ClassName(handle));
  EXPECT_EQ(static_cast<unsigned>(DVS_VERSION_70), DVS_Version(handle));
  EXPECT_EQ(512, DVS_GetMaxPorts(handle));
  EXPECT_EQ(0, in_child([] { return DVSQEL_SwitchSetMaxPorts("workload", 600) == QEL_OK ? 0 : 1; }));
  EXPECT_EQ(600, DVS_GetMaxPorts(handle)) << "what another process changes shows";
  EXPECT_STREQ("workload", name) << "texts stay";
  EXPECT_EQ(nullptr, DVSState_SwitchFindByAlias("none"));
  EXPECT_EQ(nullptr, DVSState_SwitchFindByAlias(nullptr));
  EXPECT_EQ(nullptr, DVSState_SwitchFindByAlias(std::string(81, 'a').c_str()));
}

TEST_F(StateHandles, of_a_port_tell_about_it) {
  DVSPortHandle const handle = DVSState_PortFind("workload", "100");
  ASSERT_NE(nullptr, handle);
  EXPECT_EQ(handle, DVSState_PortFind("workload", "100"));
  EXPECT_STREQ("100", DVS_PortId(handle));
  EXPECT_EQ(nullptr, DVS_PortAlias(handle));
  ASSERT_STATUS(QEL_OK, VSDVS_SetPortProp("workload", "100", QEL_HNQPROP_PORT_ALIAS, "web", 3, "", 1));
  EXPECT_STREQ("web", DVS_PortAlias(handle));
  ASSERT_STATUS(QEL_OK, VSDVS_ClearPortProp("workload", "100", QEL_HNQPROP_PORT_ALIAS, "", 1));
  EXPECT_EQ(nullptr, DVS_PortAlias(handle));
  EXPECT_EQ(nullptr, DVSState_PortFind("workload", "none"));
  EXPECT_EQ(nullptr, DVSState_PortFind("none", "100"));
  EXPECT_EQ(nullptr, DVSState_PortFind("workload", nullptr));
}

TEST_F(StateHandles, that_are_foreign_tell_nothing) {
  DVSwitchHandle const vswitch = DVSState_SwitchFindByAlias("workload");
  DVSPortHandle const port = DVSState_PortFind("workload", "100");
  DVSDataItem item = nullptr;
  ASSERT_STATUS(QEL_OK, DVSState_GlobalPropLookup("workload", VSPROP_MTU, &item));
  DVSDataHandle list = nullptr;
  ASSERT_STATUS(QEL_OK, DVSData_Alloc(&list, nullptr, nullptr));
  int number = 0;
  for (void *handle :
       {static_cast<void *>(nullptr), static_cast<void *>(&number), reinterpret_cast<void *>(1), port, item, list}) {
    EXPECT_EQ(nullptr, DVS_SwitchName(handle));
    EXPECT_EQ(nullptr, DVS_SwitchId(handle));
    EXPECT_EQ(nullptr, DVS_ClassName(handle));
    EXPECT_EQ(0u, DVS_Version(handle));
    EXPECT_EQ(0, DVS_GetMaxPorts(handle));
    Seen seen;
    DVSState_PortForEach(handle, note_port, &seen);
    DVSState_HostPropForEach(handle, note_property, &seen);
    DVSState_GlobalPropForEach(handle, note_property, &seen);
    EXPECT_EQ(Names{}, seen.names);
  }
  for (void *handle : {static_cast<void *>(nullptr), static_cast<void *>(&number), vswitch, item, list}) {
    EXPECT_EQ(nullptr, DVS_PortId(handle));
    EXPECT_EQ(nullptr, DVS_PortAlias(handle));
    Seen seen;
    DVSState_PortDataForEach(handle, note_property, &seen);
    EXPECT_EQ(Names{}, seen.names);
  }
  for (void *handle : {static_cast<void *>(nullptr), static_cast<void *>(&number), vswitch, port, list}) {
    void *value = &number;
    EXPECT_EQ(0u, DVSData_Data(handle, &value));
    EXPECT_EQ(nullptr, value);
    EXPECT_EQ(nullptr, DVSData_Name(handle));
    EXPECT_EQ(0u, DVSData_PropType(handle));
    EXPECT_EQ(0, DVSData_IsSamePropType(handle, CONFIG_PROP_TYPE));
  }
  DVSData_Free(list);
}

TEST_F(StateHandles, are_stale_when_what_they_are_for_is_gone) {
  ASSERT_STATUS(QEL_OK, create_switch("edge"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("edge", "1", 0));
  DVSwitchHandle const vswitch = DVSState_SwitchFindByAlias("edge");
  DVSPortHandle const port = DVSState_PortFind("edge", "1");
  ASSERT_STATUS(QEL_OK, VSDVS_RemoveDVPort("edge", "1"));
  ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("edge", "1", 0));
  EXPECT_EQ(nullptr, DVS_PortId(port)) << "another port has the identifier now";
  EXPECT_STREQ("edge", DVS_SwitchName(vswitch));
  ASSERT_STATUS(QEL_OK, VSDVS_DestroyVSwitch("edge"));
  ASSERT_STATUS(QEL_OK, create_switch("edge"));
  EXPECT_EQ(nullptr, DVS_SwitchName(vswitch));
  EXPECT_EQ(0, DVS_GetMaxPorts(vswitch));
}

TEST_F(StateHandles, are_stale_after_a_cleanup_and_after_a_new_state) {
  DVSwitchHandle const before = DVSState_SwitchFindByAlias("workload");
  DVSDataItem item = nullptr;
  ASSERT_STATUS(QEL_OK, DVSState_GlobalPropLookup("workload", VSPROP_MTU, &item));
  ASSERT_STATUS(QEL_OK, DVSQEL_StateCleanup());
  EXPECT_EQ(nullptr, DVS_SwitchName(before));
  EXPECT_EQ(nullptr, DVSData_Name(item));
  DVSwitchHandle const after = DVSState_SwitchFindByAlias("workload");
  EXPECT_NE(before, after) << "a handle is never used twice";
  EXPECT_STREQ("workload", DVS_SwitchName(after));
  void *image = nullptr;
  int length = 0;
  ASSERT_STATUS(QEL_OK, DVSQEL_StateGet(&image, &length));
  ASSERT_STATUS(QEL_OK, DVSQEL_StateInit(image, length));
  DVSQEL_DataFree(image);
  EXPECT_EQ(nullptr, DVS_SwitchName(after));
}

TEST_F(StateHandles, of_properties_hold_the_value_of_their_lookup) {
  ASSERT_STATUS(QEL_OK, VSDVS_SetGlobProp("workload", "key", "one", 3, "", 1));
  DVSDataItem item = nullptr;
  ASSERT_STATUS(QEL_OK, DVSState_GlobalPropLookup("workload", "key", &item));
  EXPECT_STREQ("key", DVSData_Name(item));
  EXPECT_EQ("one", value_of(item));
  EXPECT_EQ(0u, DVSData_Data(item, nullptr));
  EXPECT_EQ(static_cast<unsigned>(CONFIG_PROP_TYPE), DVSData_PropType(item));
  auto const runtime = static_cast<qel_uint32>(RUNTIME_PROP_TYPE) | static_cast<qel_uint32>(NO_SYNC_PROP_TYPE);
  EXPECT_EQ(0, in_child([&] {
              return DVSQEL_GlobalPropSet("workload", "key", const_cast<char *>("two"), 3, runtime) == QEL_OK ? 0 : 1;
            }));
  EXPECT_EQ("one", value_of(item)) << "until it is looked up again";
  DVSDataItem again = nullptr;
  ASSERT_STATUS(QEL_OK, DVSState_GlobalPropLookup("workload", "key", &again));
  EXPECT_EQ(item, again);
  EXPECT_EQ("two", value_of(item));
  EXPECT_EQ(runtime, DVSData_PropType(item));
  EXPECT_EQ(1, DVSData_IsSamePropType(item, runtime));
  EXPECT_EQ(1, DVSData_IsSamePropType(item, RUNTIME_PROP_TYPE));
  EXPECT_EQ(0, DVSData_IsSamePropType(item, RUNTIME_PROP_TYPE | CONFIG_PROP_TYPE));
  EXPECT_EQ(0, DVSData_IsSamePropType(item, 0));

  EXPECT_STATUS(QEL_NOT_FOUND, DVSState_HostPropLookup("workload", "key", &again)) << "no fallback here";
  EXPECT_EQ(nullptr, again);
  ASSERT_STATUS(QEL_OK, DVSState_HostPropLookup("workload", VSPROP_MTU, &again));
  EXPECT_EQ(std::string("\x28\x23\0\0", 4), value_of(again));
  EXPECT_STATUS(QEL_NOT_FOUND, DVSState_GlobalPropLookup("none", "key", &again));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSState_GlobalPropLookup("workload", nullptr, &again));
  EXPECT_STATUS(QEL_BAD_PARAM, DVSState_GlobalPropLookup("workload", "key", nullptr));
}

TEST_F(StateHandles, walks_visit_everything_in_order) {
  ASSERT_STATUS(QEL_OK, DVSQEL_SwitchAdd("edge", "edge", 0, static_cast<HNQVersion>(0)));
  Seen switches;
  DVSState_SwitchForEach(note_switch, &switches);
  EXPECT_EQ((Names{"management", "workload", "edge"}), switches.names);
  EXPECT_EQ(DVSState_SwitchFindByAlias("workload"), switches.handles[1]);
  Seen ports;
  DVSState_PortForEach(switches.handles[1], note_port, &ports);
  EXPECT_EQ((Names{"uplink-1", "uplink-2", "100", "101", "102", "103"}), ports.names);
  Seen properties;
  DVSState_PortDataForEach(ports.handles[2], note_property, &properties);
  EXPECT_EQ((Names{QEL_HNQPROP_PORT_CONNECTID}), properties.names);
  EXPECT_EQ(nullptr, DVSData_Name(properties.handles[0])) << "the items of a walk go with it";

  set_global("b", "one");
  set_global("b", "two", false);
  set_global("a", "");
  Seen global;
  DVSState_GlobalPropForEach(switches.handles[0], note_property, &global);
  EXPECT_EQ((Names{"a", "b"}), global.names) << "each property once";
  Seen host;
  DVSState_HostPropForEach(switches.handles[0], note_property, &host);
  EXPECT_EQ((Names{QEL_HNQPROP_HOST_UPLINKPORTS}), host.names);
}

TEST_F(StateHandles, walks_end_when_the_callback_says_so) {
  Seen seen;
  seen.most = 1;
  DVSState_SwitchForEach(note_switch, &seen);
  EXPECT_EQ((Names{"management"}), seen.names);
  DVSState_SwitchForEach(nullptr, &seen);
  DVSState_PortForEach(seen.handles[0], nullptr, &seen);
  DVSState_GlobalPropForEach(seen.handles[0], nullptr, &seen);
  EXPECT_EQ(1u, seen.names.size());
}

TEST_F(StateHandles, callbacks_may_change_the_host) {
  // Each visited port takes the one after it away.
  auto const remove_next = [](DVSPortHandle port, void *context) {
    std::string const id = DVS_PortId(port);
    note(static_cast<Seen *>(context), id.c_str(), port);
    if (id == "1") {
      EXPECT_STATUS(QEL_OK, VSDVS_RemoveDVPort("edge", "2"));
    }
    return 0;
  };
  ASSERT_STATUS(QEL_OK, create_switch("edge"));
  for (char const *id : {"1", "2", "3"})
    ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("edge", id, 0));
  Seen seen;
  DVSState_PortForEach(DVSState_SwitchFindByAlias("edge"), remove_next, &seen);
  EXPECT_EQ((Names{"1", "3"}), seen.names);

  auto const clean_up = [](DVSwitchHandle vswitch, void *context) {
    note(static_cast<Seen *>(context), DVS_SwitchName(vswitch), vswitch);
    EXPECT_STATUS(QEL_OK, DVSQEL_StateCleanup());
    return 0;
  };
  Seen once;
  DVSState_SwitchForEach(clean_up, &once);
  EXPECT_EQ((Names{"management"}), once.names) << "the handles of the walk are stale";
}

TEST_F(StateHandles, of_a_parent_are_good_in_a_child) {
  DVSwitchHandle const handle = DVSState_SwitchFindByAlias("workload");
  EXPECT_EQ(0, in_child([&] { return std::strcmp("workload", DVS_SwitchName(handle)) == 0 ? 0 : 1; }));
}

// The host of another process does it.
void elsewhere(void (*change)(Database &, std::string const &), std::string const &argument) {
  ASSERT_EQ(0, in_child([&] {
              HostLock lock;
              change(open_host(), argument);
              return 0;
            }));
}

// Numbers of switches and ports come from the state, and are the same ones again in another state.
TEST_F(StateHandles, are_stale_when_the_state_was_replaced) {
  std::string const snapshot = (folder / "saved.db").string();
  elsewhere(save_snapshot, snapshot);
  auto const replace_by_snapshot = [&] { elsewhere(restore_snapshot, snapshot); };
  auto const replace_by_reset = [&] { elsewhere(reset_host, std::string(default_description())); };
  auto const replace_here = [&] {
    HostLock lock;
    restore_snapshot(open_host(), snapshot);
  };
  auto const another_host = [&] {
    use_host(state_file());
    std::filesystem::remove(state_file());
  };
  for (std::function<void()> const &replace :
       std::vector<std::function<void()>>{replace_by_snapshot, replace_by_reset, replace_here, another_host}) {
    ASSERT_STATUS(QEL_OK, create_switch("first"));
    ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("first", "1", 0));
    DVSwitchHandle const vswitch = DVSState_SwitchFindByAlias("first");
    DVSPortHandle const port = DVSState_PortFind("first", "1");
    DVSwitchHandle const stays = DVSState_SwitchFindByAlias("workload");
    DVSDataItem item = nullptr;
    ASSERT_STATUS(QEL_OK, DVSState_GlobalPropLookup("workload", VSPROP_MTU, &item));
    qel_SwitchPortID const number = port_number("first", "1");

    replace();
    ASSERT_STATUS(QEL_OK, create_switch("second"));
    ASSERT_STATUS(QEL_OK, VSDVS_AddDVPort("second", "2", 0));
    ASSERT_EQ(number, port_number("second", "2")) << "the number is that of another port now";
    EXPECT_EQ(nullptr, DVS_SwitchName(vswitch));
    EXPECT_EQ(nullptr, DVS_PortId(port));
    EXPECT_EQ(nullptr, DVS_SwitchName(stays));
    EXPECT_EQ(nullptr, DVSData_Name(item));
    EXPECT_NE(vswitch, DVSState_SwitchFindByAlias("second"));
    EXPECT_NE(port, DVSState_PortFind("second", "2"));
    EXPECT_STREQ("2", DVS_PortId(DVSState_PortFind("second", "2")));
    ASSERT_STATUS(QEL_OK, VSDVS_DestroyVSwitch("second"));
    replace();
  }
}

TEST_F(StateHandles, a_walk_ends_when_the_state_is_replaced) {
  struct Visits {
    std::string snapshot;
    Seen seen;
  };
  Visits visits{(folder / "saved.db").string(), {}};
  elsewhere(save_snapshot, visits.snapshot);
  auto const restore = [](DVSwitchHandle vswitch, void *context) {
    auto *const own = static_cast<Visits *>(context);
    note(&own->seen, DVS_SwitchName(vswitch), vswitch);
    elsewhere(restore_snapshot, own->snapshot);
    return 0;
  };
  DVSState_SwitchForEach(restore, &visits);
  EXPECT_EQ((Names{"management"}), visits.seen.names);
  EXPECT_EQ(nullptr, DVS_SwitchName(visits.seen.handles[0]));
}

TEST_F(StateHandles, are_good_after_another_boot) {
  DVSwitchHandle const vswitch = DVSState_SwitchFindByAlias("workload");
  ASSERT_STATUS(QEL_OK, host::boot());
  EXPECT_STREQ("workload", DVS_SwitchName(vswitch));
  use_host(state_file());
  EXPECT_STREQ("workload", DVS_SwitchName(vswitch)) << "it is the same state";
}

}  // namespace state_handles_test
