// The serial form in which state leaves and enters the host: a header with a checksum, then a document in CBOR.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/core/document.hpp"
#include "platform/core/properties.hpp"

namespace host {

std::string seal_image(Document const &document);

// Refuses with QEL_INVALID_METADATA, QEL_VERSION_MISMATCH_MAJOR or QEL_CHECKSUM_MISMATCH.
Document open_image(std::string_view image);

// What a document holds. Each refuses with QEL_INVALID_METADATA when it is not there, or not of the kind or size asked.
Document::List const &list_member(Document const &object, char const *name);
std::string text_member(Document const &object, char const *name, std::size_t room);
std::string name_member(Document const &object, char const *name, std::size_t room);
std::uint32_t number_member(Document const &object, char const *name);
bool truth_member(Document const &object, char const *name);
std::string bytes_member(Document const &object, char const *name);

}  // namespace host
