// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

#include "client/bson/Type.h"

/// Hexadecimal digits, two for each byte: the texts of ids, escapes and subtypes.
namespace database_client::bson {

inline constexpr char lowerHexDigits[] = "0123456789abcdef";
inline constexpr char upperHexDigits[] = "0123456789ABCDEF";

/// Writes the digits to where there is room for `2 * size` of them.
inline void writeHex(const Byte* bytes, std::size_t size, char* at, const char* digits = lowerHexDigits) {
  for (std::size_t i = 0; i < size; ++i) {
    *at++ = digits[bytes[i] >> 4];
    *at++ = digits[bytes[i] & 15];
  }
}

/// Reads exactly `size` bytes from digits in either case. On false the bytes are unspecified.
bool parseHex(std::string_view text, Byte* bytes, std::size_t size);

}  // namespace database_client::bson
