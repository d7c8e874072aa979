// The C interface: results, and what rules and reasons say.
#include "platform/forwarding/rules.hpp"
#include "platform/sim/result.hpp"

namespace {

template <typename Item>
Item const *items(std::vector<Item> const *list, std::uint64_t *count) {
  if (count)
    *count = list ? list->size() : 0;
  return list ? list->data() : nullptr;
}

}  // namespace

vssim_delivery const *vssim_deliveries(vssim_result const *result, uint64_t *count) {
  return items(result ? &result->deliveries : nullptr, count);
}

vssim_drop const *vssim_drops(vssim_result const *result, uint64_t *count) {
  return items(result ? &result->drops : nullptr, count);
}

vssim_step const *vssim_steps(vssim_result const *result, uint64_t *count) {
  return items(result ? &result->steps : nullptr, count);
}

uint64_t vssim_total(vssim_result const *result, int what) {
  if (!result)
    return 0;
  switch (what) {
    case 0: return result->frames;
    case 1: return result->delivered;
    case 2: return result->dropped;
    case 3: return result->consumed;
    case 4: return result->not_kept;
    default: return 0;
  }
}

void vssim_result_free(vssim_result *result) {
  delete result;
}

char const *vssim_reason_name(unsigned reason) {
  return forwarding::reason_name(reason);
}

char const *vssim_rule_text(char const *rule) {
  if (!rule)
    return nullptr;
  auto const found = forwarding::find_rule(rule);
  return found ? forwarding::rule_text(*found) : nullptr;
}
