// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "client/bson/View.h"

namespace database_client::bson {

/// The length of the Base64 text of so many bytes, with padding.
constexpr std::size_t base64Size(std::size_t size) {
  return (size + 2) / 3 * 4;
}

/// Writes the text to where there is room for it.
void writeBase64(const Byte* bytes, std::size_t size, char* at);

std::string toBase64(std::string_view bytes);

/// Nothing for what is not Base64: padding is required, and bits that belong to no byte are zero.
std::optional<std::string> fromBase64(std::string_view text);

}  // namespace database_client::bson
