// Boot descriptions. A host that has booted from one exports a description from which another one boots.
#include "platform/core/boot_description.hpp"

#include "fuzz/reader.hpp"
#include "platform/core/snapshot.hpp"
#include "platform/tool/description.hpp"

using namespace fuzz;

namespace {

std::string exported() {
  host::HostLock lock;
  host::Transaction transaction(host::open_host(), false);
  return tool::boot_description(host::open_host()).dump(-1, ' ', false, tool::Json::error_handler_t::replace);
}

void boot_from(std::string const &text) {
  host::HostLock lock;
  host::reset_host(host::open_host(), text);
}

}  // namespace

READER(boot_description) {
  Home &home = Home::get();
  std::uint32_t const before = Home::version();
  try {
    boot_from(std::string(input));
  } catch (host::DescriptionError const &) {
    if (Home::version() != before && state() != home.image())
      finding("a description that was refused has changed the state");
    return;
  }
  expect_sound_state();
  std::string const description = exported();
  try {
    boot_from(description);
  } catch (host::DescriptionError const &error) {
    finding(std::string("the host's own description is refused: ") + error.what());
  }
  home.return_to();
}
