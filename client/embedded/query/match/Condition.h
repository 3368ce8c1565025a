// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bitset>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "client/bson/View.h"
#include "client/embedded/query/match/Pattern.h"
#include "client/embedded/query/values/OwnedValue.h"
#include "client/embedded/query/values/Path.h"

/// The parts a parsed query is made of: nodes ask a document, conditions ask what a path leads to, tests ask one value.
namespace database_client::embedded {

class MatchNode {
 public:
  MatchNode() = default;
  MatchNode(const MatchNode&) = delete;
  MatchNode& operator=(const MatchNode&) = delete;
  virtual ~MatchNode() = default;
  virtual bool matches(bson::View document) const = 0;
};
using MatchNodes = std::vector<std::unique_ptr<const MatchNode>>;

class ValueTest {
 public:
  ValueTest() = default;
  ValueTest(const ValueTest&) = delete;
  ValueTest& operator=(const ValueTest&) = delete;
  virtual ~ValueTest() = default;
  virtual bool accepts(const bson::Value& value) const = 0;
};

/// What a condition is about: the values that a path leads to in a document, or a single value (in $elemMatch).
class MatchTarget {
 public:
  MatchTarget(const Path& path, bson::View document) : path_(&path), document_(document) {}
  explicit MatchTarget(const bson::Value& value) : value_(value) {}

  bool anyAccepted(const ValueTest& test, bool wholeArrays) const {
    if (path_ == nullptr) return test.accepts(value_);
    return path_->any(document_, wholeArrays, [&test](const bson::Value& value) { return test.accepts(value); });
  }

 private:
  const Path* path_ = nullptr;
  bson::View document_;
  bson::Value value_;
};

class Condition {
 public:
  Condition() = default;
  Condition(const Condition&) = delete;
  Condition& operator=(const Condition&) = delete;
  virtual ~Condition() = default;
  virtual bool holds(const MatchTarget& subject) const = 0;
};
using ConditionPtr = std::unique_ptr<const Condition>;
using Conditions = std::vector<ConditionPtr>;

class ValueCondition : public Condition {
 public:
  ValueCondition(std::unique_ptr<const ValueTest> test, bool wholeArrays)
      : test_(std::move(test)), wholeArrays_(wholeArrays) {}
  bool holds(const MatchTarget& subject) const override { return subject.anyAccepted(*test_, wholeArrays_); }

 private:
  std::unique_ptr<const ValueTest> test_;
  bool wholeArrays_;
};

class AllConditions : public Condition {
 public:
  explicit AllConditions(Conditions conditions) : conditions_(std::move(conditions)) {}
  bool holds(const MatchTarget& subject) const override;

 private:
  Conditions conditions_;
};

class NotCondition : public Condition {
 public:
  explicit NotCondition(ConditionPtr condition) : condition_(std::move(condition)) {}
  bool holds(const MatchTarget& subject) const override { return !condition_->holds(subject); }

 private:
  ConditionPtr condition_;
};

class MatchNone : public Condition {
 public:
  bool holds(const MatchTarget& /*subject*/) const override { return false; }
};

class FieldNode : public MatchNode {
 public:
  FieldNode(Path path, ConditionPtr condition) : path_(std::move(path)), condition_(std::move(condition)) {}
  bool matches(bson::View document) const override { return condition_->holds(MatchTarget(path_, document)); }

 private:
  Path path_;
  ConditionPtr condition_;
};

class AllNodes : public MatchNode {
 public:
  explicit AllNodes(MatchNodes nodes) : nodes_(std::move(nodes)) {}
  bool matches(bson::View document) const override;
  bool empty() const { return nodes_.empty(); }

 private:
  MatchNodes nodes_;
};

/// $or; negated it is $nor.
class AnyNode : public MatchNode {
 public:
  AnyNode(MatchNodes nodes, bool negated) : nodes_(std::move(nodes)), negated_(negated) {}
  bool matches(bson::View document) const override;

 private:
  MatchNodes nodes_;
  bool negated_;
};

class EqualTest : public ValueTest {
 public:
  explicit EqualTest(const bson::Value& operand) : operand_(operand) {}
  bool accepts(const bson::Value& value) const override;

 private:
  OwnedValue operand_;
};

enum class Relation { less, lessOrEqual, greater, greaterOrEqual };

class RelationTest : public ValueTest {
 public:
  RelationTest(Relation relation, const bson::Value& operand);
  bool accepts(const bson::Value& value) const override;

 private:
  bool acceptsOtherClass(const bson::Value& value) const;

  Relation relation_;
  OwnedValue operand_;
  bool operandIsNaN_;
};

class PatternTest : public ValueTest {
 public:
  PatternTest(std::string_view pattern, std::string_view options) : pattern_(pattern, options) {}
  bool accepts(const bson::Value& value) const override;

 private:
  Pattern pattern_;
};

class InTest : public ValueTest {
 public:
  /// `values` in any order.
  InTest(std::vector<OwnedValue> values, std::vector<std::unique_ptr<const PatternTest>> patterns);
  bool accepts(const bson::Value& value) const override;

 private:
  bool holdsNull_;
  std::vector<OwnedValue> values_;
  std::vector<std::unique_ptr<const PatternTest>> patterns_;
};

class ExistsTest : public ValueTest {
 public:
  bool accepts(const bson::Value& value) const override { return !isMissing(value); }
};

using TypeSet = std::bitset<256>;

class TypeTest : public ValueTest {
 public:
  explicit TypeTest(const TypeSet& types) : types_(types) {}
  bool accepts(const bson::Value& value) const override {
    return !isMissing(value) && types_[static_cast<std::size_t>(value.type)];
  }

 private:
  TypeSet types_;
};

class SizeTest : public ValueTest {
 public:
  explicit SizeTest(std::int64_t size) : size_(static_cast<std::size_t>(size)) {}
  bool accepts(const bson::Value& value) const override {
    return !isMissing(value) && value.isArray() && value.asDocument().count() == size_;
  }

 private:
  std::size_t size_;
};

class ModuloTest : public ValueTest {
 public:
  ModuloTest(std::int64_t divisor, std::int64_t remainder) : divisor_(divisor), remainder_(remainder) {}
  bool accepts(const bson::Value& value) const override;

 private:
  std::int64_t divisor_;
  std::int64_t remainder_;
};

/// $elemMatch with a query: some element that is a document (or an array, with its indices as keys) matches it.
class ElementDocumentTest : public ValueTest {
 public:
  explicit ElementDocumentTest(std::unique_ptr<const MatchNode> query) : query_(std::move(query)) {}
  bool accepts(const bson::Value& value) const override;

 private:
  std::unique_ptr<const MatchNode> query_;
};

/// $elemMatch with operators: some element meets all of them.
class ElementValueTest : public ValueTest {
 public:
  explicit ElementValueTest(ConditionPtr condition) : condition_(std::move(condition)) {}
  bool accepts(const bson::Value& value) const override;

 private:
  ConditionPtr condition_;
};

/// Throws Error as `Matcher` says.
std::unique_ptr<const MatchNode> parseQuery(bson::View query);

}  // namespace database_client::embedded
