// Calls on the runtime options.
#include "platform/core/runtime_options.hpp"

#include <cstring>

#include "platform/core/call.hpp"
#include "platform/core/memory.hpp"
#include "platform/vswitch/exports.hpp"

using namespace host;

namespace {

constexpr std::size_t number_size = sizeof(qel_uint32);
constexpr std::size_t header_size = sizeof(VSRuntimeOptionHeader);

template <typename Number>
void append(std::string &bytes, Number number) {
  bytes.append(reinterpret_cast<char const *>(&number), sizeof number);
}

void append_entry(std::string &bytes, RuntimeOption const &option) {
  std::string data = option.text + '\0';
  if (!is_text_option(option.type)) {
    data.clear();
    append(data, option.number);
  }
  append(bytes, option.type);
  append(bytes, static_cast<qel_uint16>(header_size + data.size()));
  bytes += data;
}

// One entry at the start of `bytes`, which may stand at any address.
RuntimeOption read_entry(std::string_view bytes, std::size_t &length) {
  refuse_if(bytes.size() < header_size, QEL_BAD_PARAM);
  VSRuntimeOptionHeader header;
  std::memcpy(static_cast<void *>(&header), bytes.data(), sizeof header);
  length = header.length;
  refuse_if(length < header_size || length > bytes.size(), QEL_BAD_PARAM);
  std::string_view const data = bytes.substr(header_size, length - header_size);
  RuntimeOption option{header.type, 0, {}};
  if (is_text_option(header.type)) {
    refuse_if(data.empty() || data.size() > VS_CHARDEV_MAX_RUNTIME_STRING_OPTION_LENGTH, QEL_BAD_PARAM);
    option.text = data.substr(0, data.find('\0'));
  } else {
    refuse_if(data.size() != number_size, QEL_BAD_PARAM);
    std::memcpy(&option.number, data.data(), number_size);
  }
  return option;
}

}  // namespace

int VSQEL_GetRuntimeOptions(qel_uint16 const *types, qel_uint16 count, VSRuntimeOptions **options) {
  NOTE_ARGUMENTS(types, count, options);
  preset(options);
  return query([&](Database &database) {
    refuse_if(!options || (!types && count != 0), QEL_BAD_PARAM);
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i) {
      qel_uint16 type = 0;
      std::memcpy(&type, reinterpret_cast<char const *>(types) + i * sizeof type, sizeof type);
      append_entry(bytes, runtime_option(database, type));
      refuse_if(sizeof(VSRuntimeOptions) + bytes.size() > VS_CHARDEV_MAX_RUNTIME_OPTIONS_LENGTH, QEL_LIMIT_EXCEEDED);
    }
    auto buffer = allocate_record<VSRuntimeOptions>(bytes.size());
    buffer->totalLength = static_cast<qel_uint32>(sizeof(VSRuntimeOptions) + bytes.size());
    std::memcpy(buffer.get() + 1, bytes.data(), bytes.size());
    *options = buffer.release();
  });
}

int VSQEL_SetRuntimeOptions(VSRuntimeOptions *options) {
  NOTE_ARGUMENTS(options);
  return update([&](Database &database) {
    refuse_if(!options, QEL_BAD_PARAM);
    qel_uint32 total = 0;
    std::memcpy(&total, options, sizeof total);
    refuse_if(total < sizeof total, QEL_BAD_PARAM);
    refuse_if(total > VS_CHARDEV_MAX_RUNTIME_OPTIONS_LENGTH, QEL_LIMIT_EXCEEDED);
    std::string_view rest(reinterpret_cast<char const *>(options) + sizeof total, total - sizeof total);
    std::vector<RuntimeOption> list;
    while (!rest.empty()) {
      std::size_t length = 0;
      list.push_back(read_entry(rest, length));
      rest.remove_prefix(length);
    }
    set_runtime_options(database, list);
  });
}
