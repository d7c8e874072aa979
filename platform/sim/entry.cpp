// What every function of the C interface runs in: how failures become statuses, and their texts.
#include "platform/sim/entry.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "platform/core/constants.hpp"
#include "platform/core/failure.hpp"
#include "platform/core/status_names.hpp"

namespace sim {

namespace {

using namespace constant;

// Of the thread's last failure. There is room for it whatever memory is left; a longer text is cut.
thread_local char last_error[4096];

int failed(vssim_status status, char const *text) noexcept {
  std::snprintf(last_error, sizeof last_error, "%s", text);
  return status;
}

vssim_status status_of(host::Status status) {
  switch (status) {
    case QEL_BUSY: return VSSIM_BUSY;
    case QEL_READ_ONLY: return VSSIM_READ_ONLY;
    case QEL_NO_SPACE_ON_DEVICE: return VSSIM_NO_SPACE;
    case QEL_NO_MEMORY: return VSSIM_NO_MEMORY;
    default: return VSSIM_FAILED;
  }
}

// As vswitch-host says it.
int refused(host::Status status) noexcept {
  char text[96];
  if (char const *const name = host::status_name(status))
    std::snprintf(text, sizeof text, "the host refuses it with %s", name);
  else
    std::snprintf(text, sizeof text, "the host refuses it with status %d", status);
  return failed(status_of(status), text);
}

}  // namespace

int status_of_failure() noexcept {
  try {
    throw;
  } catch (Failure const &failure) {
    return failed(failure.status(), failure.what());
  } catch (host::Refusal const &refusal) {
    return refused(refusal.status());
  } catch (host::Fault const &fault) {
    return failed(status_of(fault.status()), fault.message().c_str());
  } catch (std::bad_alloc const &) {
    return failed(VSSIM_NO_MEMORY, "out of memory");
  } catch (std::length_error const &) {
    return failed(VSSIM_NO_MEMORY, "out of memory");
  } catch (std::exception const &error) {
    return failed(VSSIM_FAILED, error.what());
  }
}

char *handed_out_text(std::string_view text) {
  auto *const copy = static_cast<char *>(std::malloc(text.size() + 1));
  if (!copy)
    throw std::bad_alloc();
  std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

}  // namespace sim

char const *vssim_error(void) {
  return sim::last_error;
}

void vssim_free(void *memory) {
  std::free(memory);
}
