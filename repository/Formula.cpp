// SPDX-License-Identifier: Apache-2.0
#include "repository/Formula.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "selection/Lexer.h"
#include "values/Number.h"
#include "values/Text.h"

namespace database_provider::repository {

namespace {

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

/// The length of the number that a text begins with; 0 where it begins with none.
std::size_t numberLength(std::string_view text) {
  const auto digitsFrom = [text](std::size_t at) {
    while (at < text.size() && isDigit(text[at])) ++at;
    return at;
  };
  std::size_t end = digitsFrom(0);
  bool hasDigits = end > 0;
  if (end < text.size() && text[end] == '.') {
    const std::size_t behindPoint = digitsFrom(end + 1);
    hasDigits = hasDigits || behindPoint > end + 1;
    end = behindPoint;
  }
  if (!hasDigits) return 0;
  if (end < text.size() && (text[end] == 'e' || text[end] == 'E')) {
    const bool hasSign = end + 1 < text.size() && (text[end + 1] == '-' || text[end + 1] == '+');
    const std::size_t digits = end + (hasSign ? 2 : 1);
    if (digitsFrom(digits) > digits) end = digitsFrom(digits);
  }
  return end;
}

}  // namespace

class FormulaParser {
 public:
  FormulaParser(Formula& formula, const std::string& text, const Formula::IsName& isName)
      : formula_(formula), text_(text), isName_(isName) {}

  void parse() {
    sum();
    if (position_ < text_.size()) fail("expected +, -, *, /, or the end");
  }

 private:
  using Kind = Formula::Step::Kind;

  [[noreturn]] void fail(const std::string& reason) const { fail(reason, position_); }
  [[noreturn]] void fail(const std::string& reason, std::size_t position) const {
    const std::string_view rest = std::string_view(text_).substr(position);
    throw FormulaError(reason + ", found " + (rest.empty() ? "the end" : values::inQuotes(rest.substr(0, 1))), text_,
                       position);
  }

  void skipBlanks() { position_ = std::min(text_.find_first_not_of(" \t\r\n", position_), text_.size()); }

  bool take(char symbol) {
    skipBlanks();
    if (position_ == text_.size() || text_[position_] != symbol) return false;
    ++position_;
    return true;
  }

  void add(Kind kind) { formula_.steps_.push_back({kind}); }

  void sum() {
    product();
    for (;;) {
      const Kind kind = take('+') ? Kind::add : take('-') ? Kind::subtract : Kind::number;
      if (kind == Kind::number) return;
      product();
      add(kind);
    }
  }

  void product() {
    factor();
    for (;;) {
      const Kind kind = take('*') ? Kind::multiply : take('/') ? Kind::divide : Kind::number;
      if (kind == Kind::number) return;
      factor();
      add(kind);
    }
  }

  void factor() {
    skipBlanks();
    if (++depth_ > maximalFormulaDepth)
      fail("expected no more than " + std::to_string(maximalFormulaDepth) + " levels of parentheses and signs");
    if (take('-')) {
      factor();
      add(Kind::negate);
    } else if (take('(')) {
      sum();
      if (!take(')')) fail("expected \")\"");
    } else {
      operand();
    }
    --depth_;
  }

  void operand() {
    const std::size_t start = position_;
    if (start < text_.size() && (text_[start] == '"' || text_[start] == '\'')) return addName(quoted(), start);
    const std::string_view rest = std::string_view(text_).substr(start);
    const auto* const end = std::find_if_not(rest.begin(), rest.end(), [](char c) {
      return selection::standsBare({&c, 1});
    });
    const std::string_view word = rest.substr(0, static_cast<std::size_t>(end - rest.begin()));
    // What goes on behind a number makes it a name, "2nd", but for a minus.
    const std::size_t length = numberLength(rest);
    if (length > 0 && (length >= word.size() || word[length] == '-')) return addNumber(rest.substr(0, length));
    if (word.empty()) fail("expected a number, a name, - or (");
    addName(nameIn(word), start);
  }

  void addNumber(std::string_view digits) {
    const std::optional<double> number = values::parseReal(digits);
    if (!number) fail("expected a number that a double can hold");
    formula_.steps_.push_back({Kind::number, *number});
    position_ += digits.size();
  }

  /// The bare name that a word begins with.
  std::string nameIn(std::string_view word) {
    std::string name(word);
    while (name.find('-') != std::string::npos && !isName_(name)) name.erase(name.rfind('-'));
    position_ += name.size();
    return name;
  }

  std::string quoted() {
    const std::size_t start = position_;
    const char quote = text_[position_++];
    std::string name;
    while (position_ < text_.size() && text_[position_] != quote) {
      if (text_[position_] == '\\' && position_ + 1 < text_.size()) ++position_;
      name += text_[position_++];
    }
    if (position_ == text_.size()) fail("expected an end of this quote", start);
    ++position_;
    return name;
  }

  void addName(const std::string& name, std::size_t start) {
    if (name.empty() || !values::isUtf8(name)) fail("expected a name", start);
    std::vector<std::string>& names = formula_.names_;
    const auto known = std::find(names.begin(), names.end(), name);
    const auto place = static_cast<std::size_t>(known - names.begin());
    if (known == names.end()) names.push_back(name);
    formula_.steps_.push_back({Kind::name, 0, place});
  }

  Formula& formula_;
  const std::string& text_;
  const Formula::IsName& isName_;
  std::size_t position_ = 0;
  int depth_ = 0;
};

Formula::Formula(const std::string& text, const IsName& isName) {
  FormulaParser(*this, text, isName).parse();
}

std::optional<double> Formula::result(const std::function<std::optional<double>(const std::string&)>& numberOf) const {
  using Kind = Step::Kind;
  std::vector<double> numbers;
  for (const std::string& name : names_) {
    const std::optional<double> number = numberOf(name);
    if (!number) return std::nullopt;
    numbers.push_back(*number);
  }
  std::vector<double> stack;
  for (const Step& step : steps_) {
    if (step.kind == Kind::number || step.kind == Kind::name) {
      stack.push_back(step.kind == Kind::number ? step.number : numbers[step.name]);
      continue;
    }
    const double last = stack.back();
    if (step.kind == Kind::negate) {
      stack.back() = -last;
      continue;
    }
    stack.pop_back();
    double& first = stack.back();
    if (step.kind == Kind::add) first += last;
    if (step.kind == Kind::subtract) first -= last;
    if (step.kind == Kind::multiply) first *= last;
    if (step.kind == Kind::divide) first /= last;
  }
  return stack.back();
}

}  // namespace database_provider::repository
