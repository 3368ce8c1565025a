// SPDX-License-Identifier: Apache-2.0
#include "selection/Parser.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "selection/Pattern.h"
#include "values/Number.h"
#include "values/Text.h"
#include "values/Time.h"

namespace database_provider::selection {

namespace {

using database_client::OperationType;
using values::inQuotes;
using values::parseInteger;
using values::parseNonFinite;
using values::parseReal;
using values::parseRelativeTime;
using values::parseTime;
using values::Time;
using Kind = Expression::Kind;

constexpr std::array<std::string_view, 5> keywords = {"and", "or", "not", "has", "in"};

bool isKeyword(const Token& token) {
  return token.kind == Token::Kind::word && std::find(keywords.begin(), keywords.end(), token.text) != keywords.end();
}

std::string described(const Token& token) {
  return token.kind == Token::Kind::end ? "the end" : inQuotes(token.source);
}

struct Operator {
  std::string_view symbol;
  OperationType operation;
  const char* options;

  bool isPattern() const { return operation == OperationType::matches || operation == OperationType::notMatches; }
};

constexpr std::array<Operator, 10> operators = {{{"=", OperationType::equal, ""},
                                                 {"!=", OperationType::notEqual, ""},
                                                 {"<", OperationType::less, ""},
                                                 {"<=", OperationType::lessOrEqual, ""},
                                                 {">", OperationType::greater, ""},
                                                 {">=", OperationType::greaterOrEqual, ""},
                                                 {"~", OperationType::matches, ""},
                                                 {"~i", OperationType::matches, "i"},
                                                 {"!~", OperationType::notMatches, ""},
                                                 {"!~i", OperationType::notMatches, "i"}}};

constexpr std::string_view dateForm = "0000-00-00";

/// Four digits, two and two: whoever writes that means a date.
bool looksLikeDate(std::string_view text) {
  if (text.size() < dateForm.size()) return false;
  return std::equal(dateForm.begin(), dateForm.end(), text.begin(),
                    [](char expected, char c) { return expected == '0' ? c >= '0' && c <= '9' : c == expected; });
}

/// Of a text that is a time: whether it is a date alone.
bool isDate(std::string_view text) {
  return looksLikeDate(text) && text.size() == dateForm.size();
}

std::optional<Time> timeOf(const std::string& text, Time now) {
  if (const auto time = parseTime(text)) return Time{*time};
  return parseRelativeTime(text, now);
}

std::optional<Value> typedValue(const std::string& text, Time now) {
  if (text == "true" || text == "false") return Value{text, text == "true"};
  if (const auto integer = parseInteger(text)) return Value{text, *integer};
  if (const auto real = parseReal(text)) return Value{text, *real};
  if (const auto real = parseNonFinite(text)) return Value{text, *real};
  if (const auto time = timeOf(text, now)) return Value{text, *time};
  return std::nullopt;
}

class Parser {
 public:
  Parser(std::string_view text, Time now) : lexer_(text), now_(now) { advance(); }

  Expression parse() {
    if (token_.kind == Token::Kind::end) return {};
    Expression result = disjunction();
    if (token_.kind != Token::Kind::end) fail("expected and, or, or the end");
    return result;
  }

 private:
  /// One level of parentheses or "not", for a scope.
  class Deeper {
   public:
    explicit Deeper(Parser& parser) : parser_(parser) {
      if (++parser_.depth_ > maximalFilterDepth)
        parser_.lexer_.fail("more than " + std::to_string(maximalFilterDepth) + " levels of parentheses and not",
                            parser_.token_.position);
    }
    ~Deeper() { --parser_.depth_; }
    Deeper(const Deeper&) = delete;
    Deeper& operator=(const Deeper&) = delete;

   private:
    Parser& parser_;
  };

  void advance() {
    endOfLast_ = token_.position + token_.source.size();
    token_ = lexer_.next();
  }

  [[noreturn]] void fail(const std::string& expected) const {
    std::string reason = expected + ", found " + described(token_);
    if (token_.isWord("AND") || token_.isWord("OR") || token_.isWord("NOT"))
      reason += " (written in small letters)";
    else if (isKeyword(token_))
      reason += " (a text of that kind stands in quotes)";
    lexer_.fail(reason, token_.position);
  }

  void expect(std::string_view symbol) {
    if (!token_.isSymbol(symbol)) fail("expected " + inQuotes(symbol));
    advance();
  }

  Expression chain(Kind kind, const char* word, Expression (Parser::*operand)()) {
    Expression first = (this->*operand)();
    if (!token_.isWord(word)) return first;
    Expression result;
    result.kind = kind;
    result.operands.push_back(std::move(first));
    while (token_.isWord(word)) {
      advance();
      result.operands.push_back((this->*operand)());
    }
    return result;
  }

  Expression disjunction() { return chain(Kind::any, "or", &Parser::conjunction); }
  Expression conjunction() { return chain(Kind::all, "and", &Parser::negation); }

  Expression negation() {
    const std::size_t begin = token_.position;
    Expression result;
    if (token_.isWord("not")) {
      const Deeper deeper(*this);
      advance();
      result.kind = Kind::negation;
      result.operands.push_back(negation());
    } else {
      result = primary();
    }
    result.begin = begin;
    result.end = endOfLast_;
    return result;
  }

  Expression primary() {
    if (token_.isSymbol("(")) return inParentheses();
    if (++conditions_ > maximalConditions)
      lexer_.fail("more than " + std::to_string(maximalConditions) + " conditions", token_.position);
    if (token_.isWord("has")) return existence();
    if (isAtCreated()) return creation();
    Expression result;
    result.name = name();
    return condition(std::move(result));
  }

  Expression inParentheses() {
    const Deeper deeper(*this);
    advance();
    Expression result = disjunction();
    expect(")");
    return result;
  }

  Expression existence() {
    advance();
    if (isAtCreated()) lexer_.fail("created is the time in a record's id; a name stands in quotes", token_.position);
    const Token at = token_;
    Expression result;
    result.kind = Kind::has;
    result.name = name();
    if (result.name.field == Field::id) lexer_.fail("every record has an id; a name stands in quotes", at.position);
    return result;
  }

  /// `created:NAME` is left to the names, which say what may stand before a colon.
  bool isAtCreated() const { return token_.isWord("created") && !lexer_.touches(':'); }

  Expression creation() {
    advance();
    if (token_.isWord("in"))
      lexer_.fail("created is compared with one time: created=A or created=B; a name stands in quotes",
                  token_.position);
    const Operator& found = comparison();
    if (found.isPattern()) lexer_.fail("a time is compared with another, not with a pattern", token_.position);
    Expression result;
    result.kind = Kind::created;
    result.operation = found.operation;
    token_ = lexer_.nextValue();
    result.moment = moment();
    advance();
    return result;
  }

  Moment moment() const {
    constexpr long long secondsOfDay = 86'400;
    const bool isWord = token_.kind == Token::Kind::word;
    const auto time = isWord ? timeOf(token_.text, now_) : std::nullopt;
    if (!time) fail("expected a date, a time or a time ago such as now-30d");
    const long long count = time->milliseconds;
    const long long second = count / 1000 - (count % 1000 < 0 ? 1 : 0);
    return {second, second + (isDate(token_.text) ? secondsOfDay : 1)};
  }

  Name name() {
    const std::size_t position = token_.position;
    Name result = unplacedName();
    result.position = position;
    return result;
  }

  Name unplacedName() {
    const Token token = token_;
    if (token.kind == Token::Kind::quoted) return plainName(token);
    if (token.kind != Token::Kind::word || isKeyword(token)) fail("expected a name");
    if (lexer_.touches(':')) return nameWithPrefix();
    if (token.text != "id") return plainName(token);
    advance();
    return {Field::id, ""};
  }

  Name plainName(const Token& token) {
    if (token.text.empty()) fail("expected a name");
    advance();
    return {Field::any, token.text};
  }

  Name nameWithPrefix() {
    Name result;
    if (token_.isWord("category"))
      result.field = Field::category;
    else if (token_.isWord("description"))
      result.field = Field::description;
    else
      fail("before a colon stands category or description");
    advance();
    advance();
    if ((token_.kind != Token::Kind::word && token_.kind != Token::Kind::quoted) || token_.text.empty())
      fail("expected a name");
    result.text = token_.text;
    advance();
    return result;
  }

  Expression condition(Expression result) {
    if (token_.isWord("in")) return membership(std::move(result));
    const Operator& found = comparison();
    if (found.isPattern() && result.name.field == Field::id)
      lexer_.fail("an id is compared whole, not with a pattern", token_.position);
    result.kind = Kind::comparison;
    result.operation = found.operation;
    result.options = found.options;
    token_ = lexer_.nextValue();
    addValue(result, found.isPattern() ? pattern() : value());
    advance();
    return result;
  }

  /// The operator at hand, which stays there.
  const Operator& comparison() const {
    const auto found = std::find_if(operators.begin(), operators.end(),
                                    [this](const Operator& candidate) { return token_.isSymbol(candidate.symbol); });
    if (found == operators.end()) fail("expected a comparison");
    return *found;
  }

  Expression membership(Expression result) {
    result.kind = Kind::oneOf;
    advance();
    if (!token_.isSymbol("(")) fail("expected " + inQuotes("("));
    do {
      token_ = lexer_.nextValue();
      if (result.values.size() == maximalListValues)
        lexer_.fail("more than " + std::to_string(maximalListValues) + " values in a list", token_.position);
      addValue(result, value());
      advance();
    } while (token_.isSymbol(","));
    expect(")");
    return result;
  }

  void addValue(Expression& condition, Value value) const {
    value.position = token_.position;
    condition.values.push_back(std::move(value));
  }

  std::string text() const {
    if (token_.kind == Token::Kind::quoted) return token_.text;
    if (token_.kind != Token::Kind::word || isKeyword(token_)) fail("expected a value");
    return token_.text;
  }

  Value pattern() const {
    const std::string content = text();
    if (const auto reason = whyNoPattern(content)) lexer_.fail("this is no pattern: " + *reason, token_.position);
    return {content, content};
  }

  Value value() const {
    std::string content = text();
    if (token_.kind == Token::Kind::quoted) return {content, content};
    if (auto typed = typedValue(content, now_)) return *typed;
    if (looksLikeDate(content)) fail("expected a date or time such as 2020-01-31T10:00:00Z");
    if (!standsBare(content)) fail("expected a value (a text with such characters stands in quotes)");
    return {content, content};
  }

  Lexer lexer_;
  Token token_;
  Time now_;
  std::size_t endOfLast_ = 0;  ///< of the token before the one at hand
  int depth_ = 0;
  std::size_t conditions_ = 0;
};

}  // namespace

Expression parseFilter(std::string_view text, Time now) {
  return Parser(text, now).parse();
}

}  // namespace database_provider::selection
