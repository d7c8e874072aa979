// Buffers of runtime options.
#include "fuzz/reader.hpp"

using namespace fuzz;

READER(runtime_options) {
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
    }
    return status;
  });
}
