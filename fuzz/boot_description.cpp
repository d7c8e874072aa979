// Boot descriptions. A host that has booted from one exports a description from which another one boots.
#include "platform/core/boot_description.hpp"

#include "fuzz/reader.hpp"
#include "fuzz/use.hpp"

using namespace fuzz;

namespace {

std::string exported() {
  return exported_description().dump(-1, ' ', false, tool::Json::error_handler_t::replace);
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
  ask_everything();
  std::string const description = exported();
  try {
    boot_from(description);
  } catch (host::DescriptionError const &error) {
    finding(std::string("the host's own description is refused: ") + error.what());
  }
  bool const clock_stands = exported_description().contains("stopped_clock");
  if (clock_stands && exported() != description)
    finding("the host that boots from a description has another");
  boot_again();
  home.return_to();
}
