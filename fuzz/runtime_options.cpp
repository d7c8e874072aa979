// Buffers of runtime options.
#include "fuzz/reader.hpp"
#include "fuzz/use.hpp"

using namespace fuzz;

namespace {

std::string exported_options() {
  return exported_description()["runtime_options"].dump();
}

}  // namespace

READER(runtime_options) {
  Home::get();
  static std::string const defaults = exported_options();
  auto const header = record<VSRuntimeOptions>(input);
  bool const is_read = header.totalLength >= sizeof header && header.totalLength <= 4096;
  std::vector<char> block = memory(input, is_read ? header.totalLength : sizeof header);
  make_call("VSQEL_SetRuntimeOptions", [&] {
    int const status = VSQEL_SetRuntimeOptions(reinterpret_cast<VSRuntimeOptions *>(block.data()));
    if (status == QEL_OK) {
      std::vector<qel_uint16> types;
      for (qel_uint16 type = 0; type < VS_NUM_RT_OPT; ++type)
        types.push_back(type);
      VSRuntimeOptions *options = nullptr;
      if (VSQEL_GetRuntimeOptions(types.data(), static_cast<qel_uint16>(types.size()), &options) != QEL_OK ||
          VSQEL_SetRuntimeOptions(options) != QEL_OK)
        finding("the options cannot be read and set again");
      VSQEL_FreeMemory(options);
      std::string const described = exported_options();
      boot_from(exported_description().dump());
      if (exported_options() != described)
        finding("the description of the options gives others");
      boot_again();
      if (exported_options() != defaults)
        finding("options survive a boot");
      ask_about_teaming(switch_alias, dvport_id);
      ask_about_uplinks(switch_alias);
    }
    return status;
  });
}
