// Calls on the ports of the state: adding, removing and finding them, their images.
#include "platform/core/call.hpp"
#include "platform/core/memory.hpp"
#include "platform/core/state_image.hpp"
#include "platform/core/switch_state.hpp"
#include "platform/core/text.hpp"
#include "platform/dvs/exports.hpp"
#include "platform/dvs/values.hpp"

using namespace host;

namespace {

int get_port_state(char const *alias, char const *dvport_id, Extent extent, HNQVersion version, void **state,
                   int *length, char const *function = __builtin_FUNCTION()) {
  preset(state);
  preset(length);
  return query(
      [&](Database &database) {
        refuse_if(!state || !length, QEL_BAD_PARAM);
        RowId const vswitch = switch_by_alias(database, alias_argument(alias));
        RowId const port = port_by_id(database, vswitch, dvport_id_argument(dvport_id)).row;
        return_bytes(port_image(database, vswitch, port, extent, static_cast<std::uint32_t>(version)), state, length);
      },
      function);
}

}  // namespace

int DVSQEL_PortAdd(char const *alias, char const *dvport_id, void *data, int length) {
  NOTE_ARGUMENTS(alias, dvport_id, data, length);
  return update([&](Database &database) {
    std::string_view const image = bytes_argument(data, length);
    RowId const vswitch = switch_by_alias(database, alias_argument(alias));
    RowId const port = add_or_revive_port(database, vswitch, new_name_argument(dvport_id, QEL_HNQ_PORT_ID_MAX_LEN));
    if (!image.empty())
      start_port_from_image(database, vswitch, port, image);
  });
}

int DVSQEL_PortStateGet(char const *alias, char const *dvport_id, void **state, int *length) {
  NOTE_ARGUMENTS(alias, dvport_id, state, length);
  return get_port_state(alias, dvport_id, Extent::all, static_cast<HNQVersion>(0), state, length);
}

int DVSQEL_PersistentPortStateGet(char const *alias, char const *dvport_id, HNQVersion version, void **state,
                                  int *length) {
  NOTE_ARGUMENTS(alias, dvport_id, version, state, length);
  return get_port_state(alias, dvport_id, Extent::persistent, version, state, length);
}

int DVSQEL_PortRemove(char const *alias, char const *dvport_id) {
  NOTE_ARGUMENTS(alias, dvport_id);
  return update([&](Database &database) {
    RowId const vswitch = switch_by_alias(database, alias_argument(alias));
    remove_port_state(database, vswitch, dvport_id_argument(dvport_id));
  });
}

int DVSQEL_PortGetByExternalId(char const *alias, char const *external_id, OpaqueDVPortData **port) {
  NOTE_ARGUMENTS(alias, external_id, port);
  preset(port);
  return query([&](Database &database) {
    refuse_if(!port, QEL_BAD_PARAM);
    std::string_view const wanted = text_argument(external_id, sizeof(OpaqueDVPortData::externalId));
    RowId const vswitch = switch_by_alias(database, alias_argument(alias));
    Port const found = port_by_external_id(database, vswitch, wanted);
    auto record = allocate_record<OpaqueDVPortData>();
    fill_text(record->dvPortId, found.dvport_id);
    fill_text(record->externalId, wanted);
    *port = record.release();
  });
}
