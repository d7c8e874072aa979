// Runtime options: the packed buffer of type-length-value entries, and the names of the options.
#include "extensions/runtime_options.hpp"

#include <iterator>

namespace vswitchpy {

// clang-format off
const char *const runtimeOptionNames[] = {
    "IGMPQueryInterval",   "IGMPV3MaxSrcIPNum",          "IGMPQueries",          "IGMPVersion",
    "MLDVersion",          "MLDV2MaxSrcIPNum",           "MaxRARPsPerInterval",  "RARPAdvertisementDuration",
    "ReversePathFwdCheck", "ReversePathFwdCheckPromisc", "AllowFastPath",        "TeamPolicyUpDelay",
    "AllowMirrorStats",    "TeamingNUMAAware",           "SendIGMPReportToUplink", "TeamingIgnoreShotgun",
    "IGMPRouterIP",        "MLDRouterIP",
};
// clang-format on

namespace runtime_options {
namespace {

constexpr std::size_t header_size = sizeof(VSRuntimeOptionHeader);
constexpr std::size_t integer_entry_size = header_size + sizeof(qel_uint32);
constexpr std::size_t longest_text = 127;
// Which kind of value an entry holds follows from its type alone.
constexpr unsigned last_integer_type = constant::VS_RT_OPT_TEAMING_IGNORE_SHOTGUN;

unsigned type_of(const VSRuntimeOptionHeader *entry) {
  return load<qel_uint16>(entry, offsetof(VSRuntimeOptionHeader, type));
}

bool lies_before_end(const VSRuntimeOptions *buffer, const void *position) {
  const auto end = reinterpret_cast<std::uintptr_t>(buffer) + load<qel_uint32>(buffer, 0);
  return reinterpret_cast<std::uintptr_t>(position) < end;
}

void write_entry(VSRuntimeOptionHeader *entry, int type, std::size_t length, const void *data) {
  store(entry, offsetof(VSRuntimeOptionHeader, type), static_cast<qel_uint16>(type));
  store(entry, offsetof(VSRuntimeOptionHeader, length), static_cast<qel_uint16>(length));
  std::memcpy(byte_at(entry, header_size), data, length - header_size);
}

}  // namespace

VSRuntimeOptionHeader *first(VSRuntimeOptions *self) {
  return record_at<VSRuntimeOptionHeader>(self, sizeof(VSRuntimeOptions));
}

VSRuntimeOptionHeader *next(VSRuntimeOptions *self, VSRuntimeOptionHeader *entry) {
  const auto length = load<qel_uint16>(entry, offsetof(VSRuntimeOptionHeader, length));
  auto *following = record_at<VSRuntimeOptionHeader>(entry, length);
  return lies_before_end(self, following) ? following : nullptr;
}

void set_length(VSRuntimeOptions *self, int entries_length) {
  store(self, offsetof(VSRuntimeOptions, totalLength), static_cast<qel_uint32>(entries_length) + 4);
}

// The platform counts an entry that ends exactly at the end of the buffer as one that does not fit: buffers are
// sized with a byte to spare.
VSRuntimeOptionHeader *add_integer(VSRuntimeOptions *self, VSRuntimeOptionHeader *entry, char *, int type, int value) {
  auto *following = record_at<VSRuntimeOptionHeader>(entry, integer_entry_size);
  if (!lies_before_end(self, following)) {
    return nullptr;
  }
  write_entry(entry, type, integer_entry_size, &value);
  return following;
}

VSRuntimeOptionHeader *add_text(VSRuntimeOptions *self, VSRuntimeOptionHeader *entry, char *, int type, char *value) {
  const std::size_t length = value ? std::strlen(value) : longest_text + 1;
  if (length > longest_text) {
    return nullptr;
  }
  const std::size_t entry_size = header_size + length + 1;
  auto *following = record_at<VSRuntimeOptionHeader>(entry, static_cast<std::int64_t>(entry_size));
  if (!lies_before_end(self, following)) {
    return nullptr;
  }
  write_entry(entry, type, entry_size, value);
  return following;
}

char const *name(VSRuntimeOptionHeader *self) {
  const unsigned type = type_of(self);
  return type < std::size(runtimeOptionNames) ? runtimeOptionNames[type] : nullptr;
}

IntegerOrBytesObject value(VSRuntimeOptionHeader *self) {
  if (type_of(self) > last_integer_type) {
    return {PyBytes_FromString(record_at<const char>(self, header_size))};
  }
  return {PyLong_FromUnsignedLong(load<qel_uint32>(self, header_size))};
}

}  // namespace runtime_options
}  // namespace vswitchpy

int get_runtime_option_type_from_name(char *name) {
  int type = 0;
  for (const char *candidate : vswitchpy::runtimeOptionNames) {
    if (name && std::strcmp(name, candidate) == 0) {
      return type;
    }
    ++type;
  }
  return -1;
}
