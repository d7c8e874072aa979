// Requests of save and restore, several in a row: each may follow only some others.
#include "fuzz/reader.hpp"
#include "fuzz/use.hpp"

using namespace fuzz;

namespace {

// The length is the script's; what it counts is there.
int run(std::string_view input, RTMIOCtlMode mode, bool of_modules) {
  if (of_modules) {
    auto const header = record<RTMModIOCtlQuery>(input);
    std::vector<char> block = memory(input, counted(header.numMod, 128, sizeof header, sizeof(RTM_ModInfo)));
    return VSQEL_RTMModOp(reinterpret_cast<RTMModIOCtlQuery *>(block.data()), mode);
  }
  auto const header = record<RTMIOCtlQuery>(input);
  std::vector<char> block = memory(input, counted(header.numPortsets, 128, sizeof header, sizeof(RTM_Portset)));
  return VSQEL_RTMOp(reinterpret_cast<RTMIOCtlQuery *>(block.data()), mode);
}

}  // namespace

READER(save_restore) {
  int last = QEL_OK;
  std::uint32_t const before = Home::version();
  Home &home = Home::get();
  for (int step = 0; step < 16 && !input.empty(); ++step) {
    unsigned const kind = take_byte(input);
    std::size_t const words = take_byte(input);
    std::size_t const length = std::min(words * 4, input.size());
    if ((kind & 0x40) != 0) {
      std::string_view of_port = input.substr(0, length);
      auto const world = static_cast<qel_WorldID>(take_signed_byte(of_port));
      EXPECT_DOCUMENTED(VSQEL_RTMPortOp, world, take_byte(of_port), as_bool(kind & 1));
      input.remove_prefix(length);
      continue;
    }
    auto const mode = static_cast<RTMIOCtlMode>(kind & 0x1f);
    last = run(input.substr(0, length), mode, (kind & 0x80) != 0);
    expect_documented((kind & 0x80) != 0 ? "VSQEL_RTMModOp" : "VSQEL_RTMOp", last);
    input.remove_prefix(length);
  }
  if (Home::version() != before) {
    expect_sound_state();
    boot_again();
    home.return_to();
  }
}
