// Calls on the state as a whole: images of it, its stored configuration, its upkeep.
#include "platform/core/call.hpp"
#include "platform/core/state_image.hpp"
#include "platform/dvs/exports.hpp"
#include "platform/dvs/handles.hpp"
#include "platform/dvs/values.hpp"

using namespace host;

namespace {

int get_state(void **image, int *length, Extent extent, char const *function = __builtin_FUNCTION()) {
  preset(image);
  preset(length);
  return query(
      [&](Database &database) {
        refuse_if(!image || !length, QEL_BAD_PARAM);
        return_bytes(state_image(database, extent), image, length);
      },
      function);
}

}  // namespace

int DVSLoadConfig() {
  return update([](Database &database) { load_stored_configuration(database); });
}

int DVSQEL_StateInit(void *image, int length) {
  NOTE_ARGUMENTS(image, length);
  return update([&](Database &database) {
    replace_state(database, bytes_argument(image, length));
    forget_state_handles();
  });
}

int DVSQEL_StateGet(void **image, int *length) {
  NOTE_ARGUMENTS(image, length);
  return get_state(image, length, Extent::all);
}

int DVSQEL_PersistentStateGet(void **image, int *length) {
  NOTE_ARGUMENTS(image, length);
  return get_state(image, length, Extent::persistent);
}

int DVSQEL_StateSanitize() {
  return update([](Database &database) { sanitize_state(database); });
}

int DVSQEL_StateCleanup() {
  return query([](Database &) { forget_state_handles(); });
}

int DVSState_ConfigReset() {
  return update([](Database &database) { reset_configuration(database); });
}

int DVSState_ConfigDeserialize(void *image, int length) {
  NOTE_ARGUMENTS(image, length);
  return update([&](Database &database) { merge_configuration(database, bytes_argument(image, length)); });
}
