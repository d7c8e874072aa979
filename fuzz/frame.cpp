// Hosts and the frames that they get: the data plane, which has no state.
#include "fuzz/reader.hpp"
#include "tests/forwarding/any_input.hpp"

READER(frame) {
  std::set<forwarding::Reason> seen;
  forwarding::forward_any(input, seen);
}
