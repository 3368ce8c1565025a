// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace database_test {

/// What a server is known to answer in another way and is therefore not asked; see docs/differences.md.
struct Grammar {
  bool hasNumericParts = true;        ///< "a.0" in paths
  bool hasElementFields = true;       ///< `$elemMatch` over fields of elements
  bool hasEmptyKeys = true;           ///< empty arrays as keys of groups
  bool hasExactMod = true;            ///< `$mod` of long integers, and `$all` of null
  bool hasPathsThroughArrays = true;  ///< in what stages compute, leave out and sort by
  bool hasOddValues = true;           ///< arrays, null, and numbers that are no ordinary ones
  bool hasPatterns = true;            ///< "$regex", which looks at texts alone
  bool hasNewFields = true;           ///< `$addFields`, which replaces what is there
  bool hasNestedSeeds = true;         ///< keys that an insert takes from an "$and"
  bool hasOperators = true;           ///< in expressions
  bool hasOddOperands = true;         ///< of operators: odd values, missing ones, sums of many
};

/// Random documents, filters, updates and pipelines as JSON with single quotes. Few names and values, so that they
/// collide; the same seed gives the same run.
class Generator {
 public:
  Generator(std::uint64_t seed, Grammar grammar) : dice_(seed), grammar_(grammar) {}

  std::string document(int id);
  std::string filter() { return filter(2); }
  std::string projection();
  /// A filter with equalities, which an insert takes over when nothing matches.
  std::string selector();
  /// The keys of a `$set`.
  std::string change();
  /// The one key of an append.
  std::string addition();
  std::string pipeline();
  /// A pipeline that computes. Operators get operands that they take, so that it does not fail.
  std::string computation();
  /// One of 0 .. count - 1.
  int below(int count);

 private:
  using Choices = std::vector<std::string>;

  bool chance(int percent) { return below(100) < percent; }
  const std::string& oneOf(const Choices& choices);
  std::string name();
  std::string path();
  std::string scalar();
  std::string value(int depth);
  std::string object(int depth);
  std::string array(int depth);
  std::string filter(int depth);
  std::string condition(int depth);
  std::string operand();
  std::string comparison();
  std::string scalarList();
  std::string expressionPath();
  std::string expression(int depth);
  std::string number(int depth);
  std::string truth(int depth);
  std::string list(int depth);
  std::string variable(const std::string& name);
  std::string present(const std::string& expression);
  std::string operands(const std::string& first, const std::string& second);
  std::string group();
  std::string stage();

  std::mt19937_64 dice_;
  Grammar grammar_;
};

}  // namespace database_test
