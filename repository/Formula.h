// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "database_provider/changes.h"

namespace database_provider::repository {

/// How deep parentheses and signs may nest, so that no text overflows the stack.
constexpr int maximalFormulaDepth = 100;

/// A formula over the numbers of a record: `yield * 1.1 - "per head" / 2`.
///
///     sum     = product { ("+" | "-") product }
///     product = factor { ("*" | "/") factor }
///     factor  = "-" factor | "(" sum ")" | number | name
///
/// A name stands bare as in filters, or in double or single quotes with backslash escapes. As in filters a bare name
/// may hold a minus, so that `after-before` could be one name or two: it is the longest one that `isName` knows, and
/// the first part where it knows none.
///
/// The parser, by recursive descent, writes the formula down in postfix order, and not as a tree: a stack of numbers
/// computes it then, without recursion however many terms there are.
class Formula {
 public:
  using IsName = std::function<bool(const std::string&)>;

  /// Throws `FormulaError`.
  Formula(const std::string& text, const IsName& isName);

  /// The names in it, each once.
  const std::vector<std::string>& names() const { return names_; }
  /// What it gives of the numbers of the names; nothing where one is missing.
  std::optional<double> result(const std::function<std::optional<double>(const std::string&)>& numberOf) const;

 private:
  friend class FormulaParser;

  struct Step {
    enum class Kind { number, name, negate, add, subtract, multiply, divide };
    Kind kind;
    double number = 0;
    std::size_t name = 0;  ///< its place among the names
  };

  std::vector<std::string> names_{};
  std::vector<Step> steps_{};
};

}  // namespace database_provider::repository
