// Images of the state and of ports: any bytes, and any document with a header that is right.
#include "fuzz/reader.hpp"
#include "fuzz/use.hpp"
#include "tests/host/sealed_image.hpp"

using namespace fuzz;

namespace {

// What looks after a state copes with any that an image can make.
int init(std::vector<char> &image) {
  int const status = DVSQEL_StateInit(image.data(), size_of(image));
  if (status != QEL_OK)
    return status;
  expect_sound_state();
  ask_everything();
  expect_sound_when_sane();
  EXPECT_DOCUMENTED(DVSLoadConfig);
  ask_everything();
  expect_sound_when_sane();
  EXPECT_DOCUMENTED(DVSState_ConfigReset);
  EXPECT_OK(DVSQEL_StateCleanup);
  return status;
}

int then_use(int status) {
  if (status == QEL_OK)
    ask_everything();
  return status;
}

}  // namespace

READER(state_image) {
  unsigned const kind = take_byte(input);
  std::string const image = (kind & 1) != 0 ? std::string(input) : image_around(std::string(input));
  std::vector<char> bytes = memory(image, image.size());
  switch (kind / 2 % 3) {
    case 0: make_call("DVSQEL_StateInit", [&] { return init(bytes); }); break;
    case 1:
      make_call("DVSState_ConfigDeserialize",
                [&] { return then_use(DVSState_ConfigDeserialize(bytes.data(), size_of(bytes))); });
      break;
    default:
      make_call("DVSQEL_PortAdd",
                [&] { return then_use(DVSQEL_PortAdd(switch_alias, "new", bytes.data(), size_of(bytes))); });
  }
}
