// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

#include "database_provider/export.h"

namespace database_provider::selection {

/// A filter that cannot be read: why, and at which byte of its text.
class DATABASE_PROVIDER_EXPORT FilterError : public std::runtime_error {
 public:
  FilterError(const std::string& reason, std::size_t position) : std::runtime_error(reason), position_(position) {}

  std::size_t position() const noexcept { return position_; }
  /// The reason, the text, and a mark under the column.
  std::string show(std::string_view text) const;

 private:
  std::size_t position_;
};

struct Token {
  enum class Kind { word, quoted, symbol, end };
  Kind kind = Kind::end;
  std::string text{};         ///< without quotes and escapes
  std::size_t position = 0;   ///< of its first byte
  std::string_view source{};  ///< as it was typed

  bool isWord(std::string_view word) const { return kind == Kind::word && text == word; }
  bool isSymbol(std::string_view symbol) const { return kind == Kind::symbol && text == symbol; }
};

/// Cuts a filter into words, quoted texts and symbols, one at a time. The text must outlive the lexer and its tokens.
class Lexer {
 public:
  explicit Lexer(std::string_view text) : text_(text) {}

  /// The next token where a name or an operator may stand.
  Token next();
  /// The next token where a value stands: a word that begins like a number or a date may hold ":" and "+" as well.
  Token nextValue();
  /// Whether the next byte is `c`, without blanks in between.
  bool touches(char c) const { return position_ < text_.size() && text_[position_] == c; }

 private:
  void skipBlanks();
  Token word(bool isValue);
  Token quoted();
  Token symbol();
  Token token(Token::Kind kind, std::string text, std::size_t start) const;

  std::string_view text_;
  std::size_t position_ = 0;
};

/// Whether a text may stand without quotes.
bool standsBare(std::string_view text);

}  // namespace database_provider::selection
