// SPDX-License-Identifier: Apache-2.0
#include "client/bson/base64.h"

namespace database_client::bson {

namespace {

int digitOf(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  return c == '+' ? 62 : c == '/' ? 63 : -1;
}

}  // namespace

void writeBase64(const Byte* bytes, std::size_t size, char* at) {
  constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (std::size_t i = 0; i < size; i += 3) {
    const std::size_t left = size - i;
    const unsigned bits = unsigned{bytes[i]} << 16 | (left > 1 ? unsigned{bytes[i + 1]} << 8 : 0U) |
                          (left > 2 ? unsigned{bytes[i + 2]} : 0U);
    *at++ = digits[bits >> 18];
    *at++ = digits[bits >> 12 & 63];
    *at++ = left > 1 ? digits[bits >> 6 & 63] : '=';
    *at++ = left > 2 ? digits[bits & 63] : '=';
  }
}

std::string toBase64(std::string_view bytes) {
  std::string text(base64Size(bytes.size()), '\0');
  writeBase64(reinterpret_cast<const Byte*>(bytes.data()), bytes.size(), text.data());
  return text;
}

std::optional<std::string> fromBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  while (!text.empty() && text.back() == '=' && text.size() % 4 != 2) text.remove_suffix(1);
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3 + 2);
  unsigned bits = 0;
  int count = 0;
  for (const char c : text) {
    const int digit = digitOf(c);
    if (digit < 0) return std::nullopt;
    bits = bits << 6 | static_cast<unsigned>(digit);
    if ((count += 6) >= 8) bytes.push_back(static_cast<char>(bits >> (count -= 8) & 0xFF));
  }
  if ((bits & ((1U << count) - 1)) != 0) return std::nullopt;
  return bytes;
}

}  // namespace database_client::bson
