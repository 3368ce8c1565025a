// SPDX-License-Identifier: Apache-2.0
#include "values/Text.h"

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdint>
#include <cwchar>
#include <cwctype>
#include <optional>

namespace database_provider::values {

namespace {

constexpr std::string_view ellipsis = "\u2026";
constexpr std::string_view replacement = "\uFFFD";

struct Decoded {
  char32_t character;
  std::size_t length;
};

constexpr std::size_t sequenceLength(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead < 0xE0) return 2;
  if (lead >= 0xE0 && lead < 0xF0) return 3;
  return lead >= 0xF0 && lead < 0xF5 ? 4 : 0;
}

constexpr bool isScalar(char32_t c, std::size_t length) {
  constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
  return c >= smallest[length] && c <= 0x10FFFF && !(c >= 0xD800 && c < 0xE000);
}

/// The character that a text begins with; nothing when that is not UTF-8.
std::optional<Decoded> decodeFirst(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text.front());
  const std::size_t length = sequenceLength(lead);
  if (length == 0 || length > text.size()) return std::nullopt;
  if (length == 1) return Decoded{lead, 1};
  char32_t result = lead & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (!isContinuation(text[i])) return std::nullopt;
    result = (result << 6U) | (byte & 0x3FU);
  }
  if (!isScalar(result, length)) return std::nullopt;
  return Decoded{result, length};
}

bool isControl(char32_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029 || (c >= 0x202A && c <= 0x202E) ||
         (c >= 0x2066 && c <= 0x2069);
}

bool isLayout(char32_t c) {
  return c == '\t' || c == '\n' || c == '\r';
}

std::string inHex(char32_t number, int digits) {
  std::string result;
  while (digits-- > 0) result += "0123456789ABCDEF"[(number >> (4U * static_cast<unsigned>(digits))) & 15U];
  return result;
}

std::size_t columns(char32_t c) {
  const int width = wcwidth(static_cast<wchar_t>(c));
  return width < 0 ? 1 : static_cast<std::size_t>(width);
}

/// Letter case as Unicode has it, whatever the locale of the process; never freed, since it is needed to the end. Where
/// the system lacks that locale, only ASCII has letters.
locale_t unicode() {
  static const locale_t result = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  return result;
}

char32_t inSmallLetters(char32_t c) {
  if (c >= U'A' && c <= U'Z') return c + (U'a' - U'A');
  if (c < 0x80 || unicode() == nullptr) return c;
  return static_cast<char32_t>(::towlower_l(static_cast<wint_t>(c), unicode()));
}

/// The blanks of the C library, and those that do not break a line, which it leaves out.
bool isBlank(char32_t c) {
  if (c < 0x80) return c == U' ' || (c >= U'\t' && c <= U'\r');
  if (c == 0xA0 || c == 0x2007 || c == 0x202F) return true;
  return unicode() != nullptr && ::iswspace_l(static_cast<wint_t>(c), unicode()) != 0;
}

void append(std::string& text, char32_t c) {
  const auto continuation = [](char32_t bits) { return static_cast<char>(0x80U | (bits & 0x3FU)); };
  if (c < 0x80) {
    text += static_cast<char>(c);
  } else if (c < 0x800) {
    text += {static_cast<char>(0xC0U | (c >> 6U)), continuation(c)};
  } else if (c < 0x10000) {
    text += {static_cast<char>(0xE0U | (c >> 12U)), continuation(c >> 6U), continuation(c)};
  } else {
    text += {static_cast<char>(0xF0U | (c >> 18U)), continuation(c >> 12U), continuation(c >> 6U), continuation(c)};
  }
}

bool isEscapable(char c) {
  return c == ',' || c == ':' || c == '\\';
}

bool beginsEscape(std::string_view text, std::size_t position) {
  return text[position] == '\\' && position + 1 < text.size() && isEscapable(text[position + 1]);
}

}  // namespace

bool isUtf8(std::string_view text) {
  while (!text.empty()) {
    const auto first = decodeFirst(text);
    if (!first) return false;
    text.remove_prefix(first->length);
  }
  return true;
}

bool looksLikePath(std::string_view text) {
  constexpr std::array<std::string_view, 3> endings = {".db", ".sqlite", ".sqlite3"};
  return text.find('/') != std::string_view::npos || std::any_of(endings.begin(), endings.end(), [&](auto ending) {
           return text.size() > ending.size() && text.substr(text.size() - ending.size()) == ending;
         });
}

std::string inQuotes(std::string_view text) {
  return '"' + excerpt(text) + '"';
}

std::string excerpt(std::string_view text, std::size_t longest) {
  if (text.size() <= longest) return printable(text);
  std::size_t end = longest;
  while (end > 0 && isContinuation(text[end])) --end;
  return printable(text.substr(0, end)).append(ellipsis);
}

std::string printable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const auto first = decodeFirst(text);
    if (!first) {
      result += replacement;
    } else if (isLayout(first->character)) {
      result += ' ';
    } else if (isControl(first->character)) {
      result += first->character < 0x100 ? "\\x" + inHex(first->character, 2) : "\\u" + inHex(first->character, 4);
    } else {
      result += text.substr(0, first->length);
    }
    text.remove_prefix(first ? first->length : 1);
  }
  return result;
}

std::string printableLines(std::string_view text) {
  std::string result;
  for (;;) {
    const std::size_t end = text.find('\n');
    result += printable(text.substr(0, end));
    if (end == std::string_view::npos) return result;
    result += '\n';
    text.remove_prefix(end + 1);
  }
}

std::string printableJson(const std::string& json) {
  const auto isPlain = [](char c) { return c >= 0x20 && c < 0x7F; };
  if (std::all_of(json.begin(), json.end(), isPlain)) return json;
  std::string result;
  std::string_view rest = json;
  while (!rest.empty()) {
    const auto first = decodeFirst(rest);
    const std::size_t length = first ? first->length : 1;
    if (first && first->character >= 0x7F && isControl(first->character))
      result += "\\u" + inHex(first->character, 4);
    else
      result += rest.substr(0, length);
    rest.remove_prefix(length);
  }
  return result;
}

std::string marked(std::string_view text, std::size_t position) {
  constexpr std::size_t longest = 100;  // bytes on either side of the place
  position = std::min(position, text.size());
  std::size_t begin = position > longest ? position - longest : 0;
  while (begin < position && isContinuation(text[begin])) ++begin;
  const std::string before = (begin > 0 ? "\u2026" : "") + printable(text.substr(begin, position - begin));
  return "  " + before + excerpt(text.substr(position), longest) + "\n  " + std::string(displayWidth(before), ' ') +
         "^";
}

std::string_view trimmed(std::string_view text) {
  constexpr const char* blanks = " \t\r\n";
  const std::size_t begin = text.find_first_not_of(blanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return text;
}

std::string withoutCaseAndBlanks(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const auto first = decodeFirst(text);
    if (!first)
      result += text.front();  // what is not UTF-8 stands for itself
    else if (!isBlank(first->character))
      append(result, inSmallLetters(first->character));
    text.remove_prefix(first ? first->length : 1);
  }
  return result;
}

std::size_t displayWidth(std::string_view text) {
  std::size_t result = 0;
  while (!text.empty()) {
    const auto first = decodeFirst(text);
    result += first ? columns(first->character) : 1;
    text.remove_prefix(first ? first->length : 1);
  }
  return result;
}

std::string shortened(const std::string& text, std::size_t width) {
  if (displayWidth(text) <= width) return text;
  if (width == 0) return "";
  std::string_view rest = text;
  std::size_t used = 0;
  while (!rest.empty()) {
    const auto first = decodeFirst(rest);
    const std::size_t next = first ? columns(first->character) : 1;
    if (used + next > width - 1) break;
    used += next;
    rest.remove_prefix(first ? first->length : 1);
  }
  return text.substr(0, text.size() - rest.size()).append(ellipsis);
}

std::vector<std::string> splitEscaped(std::string_view text, char separator) {
  std::vector<std::string> result(1);
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (beginsEscape(text, i)) {
      result.back() += text[i++];
      result.back() += text[i];
    } else if (text[i] == separator) {
      result.emplace_back();
    } else {
      result.back() += text[i];
    }
  }
  return result;
}

std::string unescaped(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (beginsEscape(text, i)) ++i;
    result += text[i];
  }
  return result;
}

}  // namespace database_provider::values
