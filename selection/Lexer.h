// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace database_provider::selection {

struct Token {
  enum class Kind { word, quoted, symbol, end };
  Kind kind = Kind::end;
  std::string text{};         ///< without quotes and escapes
  std::size_t position = 0;   ///< of its first byte
  std::string_view source{};  ///< as it was typed

  bool isWord(std::string_view word) const { return kind == Kind::word && text == word; }
  bool isSymbol(std::string_view symbol) const { return kind == Kind::symbol && text == symbol; }
};

/// Cuts a filter into words, quoted texts and symbols, one at a time; what is none of these is a `SelectionError`. The
/// text must outlive the lexer and its tokens.
class Lexer {
 public:
  explicit Lexer(std::string_view text) : text_(text) {}

  /// The next token where a name or an operator may stand.
  Token next();
  /// The next token where a value stands: a word that begins like a number or a date may hold ":" and "+" as well.
  Token nextValue();
  /// Throws `SelectionError` with this reason, for a place in the text.
  [[noreturn]] void fail(const std::string& reason, std::size_t position) const;
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
