// SPDX-License-Identifier: Apache-2.0
#include "client/bson/hex.h"

namespace database_client::bson {

namespace {

/// -1 for what is no digit.
int valueOf(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  const char lower = static_cast<char>(digit | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

}  // namespace

bool parseHex(std::string_view text, Byte* bytes, std::size_t size) {
  if (text.size() != 2 * size) return false;
  int seen = 0;
  for (std::size_t i = 0; i < size; ++i) {
    const int high = valueOf(text[2 * i]);
    const int low = valueOf(text[2 * i + 1]);
    seen |= high | low;
    bytes[i] = static_cast<Byte>((high & 15) << 4 | (low & 15));
  }
  return seen >= 0;
}

}  // namespace database_client::bson
