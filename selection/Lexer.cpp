// SPDX-License-Identifier: Apache-2.0
#include "selection/Lexer.h"

#include <algorithm>
#include <array>

#include "database_provider/Selection.h"
#include "values/Text.h"

namespace database_provider::selection {

namespace {

using values::inQuotes;
using values::isUtf8;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

/// Every byte of a letter beyond ASCII counts as one.
bool isWordByte(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || isDigit(c) || static_cast<unsigned char>(c) >= 0x80 ||
         c == '_' || c == '-' || c == '.' || c == '$';
}

bool beginsLikeNumber(std::string_view text) {
  if (!text.empty() && text.front() == '-') text.remove_prefix(1);
  if (!text.empty() && text.front() == '.') text.remove_prefix(1);
  return !text.empty() && isDigit(text.front());
}

// Longer symbols stand before those that they begin with.
constexpr std::array<std::string_view, 14> symbols = {"!~i", "!=", "<=", ">=", "!~", "~i", "=",
                                                      "<",   ">",  "~",  "(",  ")",  ",",  ":"};

/// "~i" is a symbol of its own only where no word goes on: `site~ice` looks for "ice".
bool isCut(std::string_view symbol, std::string_view text) {
  return symbol.back() == 'i' && text.size() > symbol.size() && isWordByte(text[symbol.size()]);
}

}  // namespace

void Lexer::fail(const std::string& reason, std::size_t position) const {
  throw SelectionError(reason, std::string(text_), position);
}

bool standsBare(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), isWordByte);
}

void Lexer::skipBlanks() {
  while (position_ < text_.size() && isBlank(text_[position_])) ++position_;
}

Token Lexer::token(Token::Kind kind, std::string text, std::size_t start) const {
  if (!isUtf8(text)) fail("this is not UTF-8", start);
  return {kind, std::move(text), start, text_.substr(start, position_ - start)};
}

Token Lexer::word(bool isValue) {
  const std::size_t start = position_;
  const bool isNumber = isValue && beginsLikeNumber(text_.substr(start));
  const auto belongs = [isNumber](char c) { return isWordByte(c) || (isNumber && (c == ':' || c == '+')); };
  while (position_ < text_.size() && belongs(text_[position_])) ++position_;
  return token(Token::Kind::word, std::string(text_.substr(start, position_ - start)), start);
}

Token Lexer::quoted() {
  const std::size_t start = position_;
  const char quote = text_[position_++];
  std::string content;
  while (position_ < text_.size() && text_[position_] != quote) {
    if (text_[position_] == '\\' && position_ + 1 < text_.size()) ++position_;
    content += text_[position_++];
  }
  if (position_ == text_.size()) fail("this quote is not closed", start);
  ++position_;
  return token(Token::Kind::quoted, std::move(content), start);
}

Token Lexer::symbol() {
  const std::size_t start = position_;
  const std::string_view rest = text_.substr(start);
  for (const std::string_view symbol : symbols) {
    if (rest.substr(0, symbol.size()) != symbol || isCut(symbol, rest)) continue;
    position_ += symbol.size();
    return token(Token::Kind::symbol, std::string(symbol), start);
  }
  fail("unexpected " + inQuotes(rest.substr(0, 1)) + "; a text that holds it stands in quotes", start);
}

Token Lexer::next() {
  skipBlanks();
  if (position_ == text_.size()) return token(Token::Kind::end, "", position_);
  const char c = text_[position_];
  if (c == '"' || c == '\'') return quoted();
  return isWordByte(c) ? word(false) : symbol();
}

Token Lexer::nextValue() {
  skipBlanks();
  const bool isWord = position_ < text_.size() && isWordByte(text_[position_]);
  return isWord ? word(true) : next();
}

}  // namespace database_provider::selection
