// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace database_provider::values {

/// The text in quotes, for messages: as `excerpt` shows it.
std::string inQuotes(std::string_view text);

bool isUtf8(std::string_view text);

/// Whether a byte of UTF-8 is not the first of its character.
constexpr bool isContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// The text on one line, with nothing in it that steers a terminal: a blank for a tab or a line's end, any other
/// control character escaped (\x1B, \u202E), a replacement character for what is not UTF-8.
std::string printable(std::string_view text);

/// As `printable`, line by line.
std::string printableLines(std::string_view text);

/// The JSON with what steers a terminal as JSON escapes it.
std::string printableJson(const std::string& json);

/// The beginning of a text that may be of any length, for messages: printable, and cut behind `longest` bytes with an
/// ellipsis.
std::string excerpt(std::string_view text, std::size_t longest = 150);

/// Two lines that show where a text went wrong: what stands around the place, and a mark under it, each behind two
/// blanks.
std::string marked(std::string_view text, std::size_t position);

/// The text without blanks, tabs and line ends around it.
std::string_view trimmed(std::string_view text);

/// The text with its letters of ASCII in lower case.
std::string lowered(std::string text);

/// Whether a text that could name a host is rather the path of a file: it has a slash, or ends like a store's file.
bool looksLikePath(std::string_view text);

/// The text in small letters, of every script that has them, and without its blanks: two texts of which this is the
/// same differ by letter case or blanks alone.
std::string withoutCaseAndBlanks(std::string_view text);

/// The columns that a printable text takes on a terminal.
std::size_t displayWidth(std::string_view text);

/// The text cut to `width` columns, ending in an ellipsis when something is missing; never empty for a width above 0.
std::string shortened(const std::string& text, std::size_t width);

/// Splits at `separator`. A backslash takes the special meaning from a separator, a comma, a colon and a backslash
/// behind it; elsewhere it is an ordinary character. Escapes stay as they are in the pieces.
std::vector<std::string> splitEscaped(std::string_view text, char separator);

/// The text without the backslashes that `splitEscaped` obeys.
std::string unescaped(std::string_view text);

}  // namespace database_provider::values
