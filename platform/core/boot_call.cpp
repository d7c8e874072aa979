// Booting the host in use as a call does it.
#include "platform/core/boot.hpp"
#include "platform/core/call.hpp"

namespace host {

Status boot() {
  return update([](Database &database) { boot_again(database); }, not_an_exported_call);
}

}  // namespace host
