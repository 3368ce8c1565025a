// SPDX-License-Identifier: Apache-2.0
#include "client/bson/utf8.h"

#include "client/bson/hex.h"

namespace database_client::bson {

namespace {

unsigned char byteAt(std::string_view text, std::size_t i) {
  return static_cast<unsigned char>(text[i]);
}

bool isContinuation(unsigned char byte) {
  return (byte & 0xC0) == 0x80;
}

/// Whether the second byte rules the character out: overlong, a surrogate or beyond U+10FFFF.
bool isForbiddenPair(unsigned char first, unsigned char second) {
  return (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) || (first == 0xF0 && second < 0x90) ||
         (first == 0xF4 && second > 0x8F);
}

/// The length of the character that begins the text with a byte above 0x7F, 0 when it is malformed.
std::size_t characterSize(std::string_view text) {
  const unsigned char first = byteAt(text, 0);
  if (first < 0xC2 || first > 0xF4) return 0;
  const std::size_t size = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  if (text.size() < size || isForbiddenPair(first, byteAt(text, 1))) return 0;
  for (std::size_t i = 1; i < size; ++i) {
    if (!isContinuation(byteAt(text, i))) return 0;
  }
  return size;
}

void escape(std::string& out, unsigned char byte) {
  char digits[2];
  writeHex(&byte, 1, digits, upperHexDigits);
  out.append("\\x").append(digits, 2);
}

}  // namespace

std::size_t wellFormedSize(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    if (text.size() - i >= sizeof(Word) && (loadWord(text.data() + i) & highBits) == 0) {
      i += sizeof(Word);
    } else if (byteAt(text, i) < 0x80) {
      ++i;
    } else {
      const std::size_t size = characterSize(text.substr(i));
      if (size == 0) break;
      i += size;
    }
  }
  return i;
}

std::string excerpt(std::string_view text, std::size_t longest) {
  if (text.size() <= longest) return std::string(text);
  std::size_t end = longest;
  while (end > 0 && isContinuation(byteAt(text, end))) --end;
  return std::string(text.substr(0, end)).append("\u2026");
}

std::string printable(std::string_view text) {
  std::string out;
  while (true) {
    const std::size_t good = wellFormedSize(text);
    for (const char c : text.substr(0, good)) {
      const auto byte = static_cast<unsigned char>(c);
      byte < 0x20 || byte == 0x7F ? escape(out, byte) : out.push_back(c);
    }
    if (good == text.size()) return out;
    escape(out, byteAt(text, good));
    text.remove_prefix(good + 1);
  }
}

}  // namespace database_client::bson
