// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace database_client::bson {

/// Eight characters at once, to be looked at together.
using Word = std::uint64_t;
constexpr Word lowBits = 0x0101010101010101U;
constexpr Word highBits = 0x80 * lowBits;

inline Word loadWord(const char* at) {
  Word word = 0;
  std::memcpy(&word, at, sizeof word);
  return word;
}

/// The place in a word of the lowest bit that is set, as a number of characters.
inline std::size_t firstMarked(Word marks) {
  return static_cast<std::size_t>(__builtin_ctzll(marks)) / 8;
}

inline bool isAscii(std::string_view text) {
  const char* at = text.data();
  const std::size_t size = text.size();
  if (size < sizeof(Word)) {
    unsigned char seen = 0;
    for (const char c : text) seen = static_cast<unsigned char>(seen | static_cast<unsigned char>(c));
    return seen < 0x80;
  }
  const char* const last = at + size - sizeof(Word);
  Word seen = loadWord(last);
  for (; at < last; at += sizeof(Word)) seen |= loadWord(at);
  return (seen & highBits) == 0;
}

/// Whether the text is ASCII without a NUL, as nearly every key is.
inline bool isPlain(std::string_view text) {
  const char* at = text.data();
  const std::size_t size = text.size();
  if (size < sizeof(Word)) {
    bool result = true;
    for (const char c : text) result &= static_cast<signed char>(c) > 0;
    return result;
  }
  // Of bytes below 0x80, taking one away from each sets a high bit just where there is a zero.
  const auto marks = [](Word word) { return word | (word - lowBits); };
  const char* const last = at + size - sizeof(Word);
  Word seen = marks(loadWord(last));
  for (; at < last; at += sizeof(Word)) seen |= marks(loadWord(at));
  return (seen & highBits) == 0;
}

/// The offset of the first character that is not well-formed UTF-8, or the size when all are.
std::size_t wellFormedSize(std::string_view text);

/// Whether the text is well-formed UTF-8 (no surrogates, nothing overlong).
inline bool isUtf8(std::string_view text) {
  return isAscii(text) || wellFormedSize(text) == text.size();
}

/// The beginning of a text, cut between characters behind `longest` bytes with an ellipsis where it goes on.
std::string excerpt(std::string_view text, std::size_t longest);

/// The text with control characters and what is not UTF-8 as \xNN, for messages.
std::string printable(std::string_view text);

}  // namespace database_client::bson
