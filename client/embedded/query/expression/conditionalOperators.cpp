// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/expression/conditionalOperators.h"

#include <string>
#include <utility>

#include "client/embedded/query/expression/FunctionCall.h"
#include "client/embedded/query/expression/options.h"
#include "client/embedded/query/values/errors.h"
#include "client/embedded/query/values/numbers.h"

namespace database_client::embedded {

using bson::Element;
using bson::Value;
using bson::View;

namespace {

/// $and ends at the first operand that is false, $or at the first that is true.
class Connective : public Expression {
 public:
  Connective(bool endsAt, std::vector<ExpressionPtr> operands) : endsAt_(endsAt), operands_(std::move(operands)) {}

  Value evaluate(View root, Scratch& scratch) const override {
    const bool ended = std::any_of(operands_.begin(), operands_.end(), [&](const ExpressionPtr& operand) {
      return isTrue(operand->evaluate(root, scratch)) == endsAt_;
    });
    return booleanValue(ended == endsAt_);
  }

  bool isConstant() const override { return areConstant(operands_); }

 private:
  bool endsAt_;
  std::vector<ExpressionPtr> operands_;
};

class IfNull : public Expression {
 public:
  explicit IfNull(std::vector<ExpressionPtr> operands) : operands_(std::move(operands)) {}

  Value evaluate(View root, Scratch& scratch) const override {
    Value value;
    for (const ExpressionPtr& operand : operands_) {
      value = operand->evaluate(root, scratch);
      if (!isNullish(value)) break;
    }
    return value;
  }

  bool isConstant() const override { return areConstant(operands_); }

 private:
  std::vector<ExpressionPtr> operands_;
};

/// $cond has one branch, and `otherwise` is there.
class Switch : public Expression {
 public:
  struct Branch {
    ExpressionPtr condition;
    ExpressionPtr then;
  };
  Switch(std::vector<Branch> branches, ExpressionPtr otherwise)
      : branches_(std::move(branches)), otherwise_(std::move(otherwise)) {}

  Value evaluate(View root, Scratch& scratch) const override {
    for (const Branch& branch : branches_) {
      if (isTrue(branch.condition->evaluate(root, scratch))) return branch.then->evaluate(root, scratch);
    }
    if (otherwise_ == nullptr) {
      refuseQuery(code::switchWithoutMatch, "no case of $switch is true, and it has no default", "$switch");
    }
    return otherwise_->evaluate(root, scratch);
  }

  bool isConstant() const override {
    const auto isConstantBranch = [](const Branch& branch) {
      return branch.condition->isConstant() && branch.then->isConstant();
    };
    return std::all_of(branches_.begin(), branches_.end(), isConstantBranch) &&
           (otherwise_ == nullptr || otherwise_->isConstant());
  }

 private:
  std::vector<Branch> branches_;
  ExpressionPtr otherwise_;
};

ExpressionPtr makeCondition(ExpressionPtr condition, ExpressionPtr then, ExpressionPtr otherwise) {
  std::vector<Switch::Branch> branches;
  branches.push_back({std::move(condition), std::move(then)});
  return std::make_unique<Switch>(std::move(branches), std::move(otherwise));
}

ExpressionPtr parseCondition(const Value& operand, VariableScope& scope) {
  if (operand.isDocument()) {
    Value condition;
    Value then;
    Value otherwise;
    readOptions("$cond", operand, {code::condUnknownOption, code::condUnknownOption},
                {{"if", condition, code::condWithoutIf},
                 {"then", then, code::condWithoutThen},
                 {"else", otherwise, code::condWithoutElse}});
    return makeCondition(parseExpression(condition, scope), parseExpression(then, scope),
                         parseExpression(otherwise, scope));
  }
  std::vector<ExpressionPtr> operands = parseOperands(operand, scope);
  checkOperandCount("$cond", operands.size(), 3, 3);
  return makeCondition(std::move(operands[0]), std::move(operands[1]), std::move(operands[2]));
}

ExpressionPtr parseSwitch(const Value& operand, VariableScope& scope) {
  Value listed;
  Value otherwise;
  readOptions("$switch", operand, {code::switchNotADocument, code::switchUnknownOption},
              {{"branches", listed, code::switchWithoutBranches}, {"default", otherwise, 0}});
  if (!listed.isArray()) {
    refuseQuery(code::switchBranchesNotAnArray,
                std::string("$switch takes an array of branches, not ") + kindOf(listed), "branches");
  }
  std::vector<Switch::Branch> branches;
  for (const Element& element : listed.asDocument()) {
    Value condition;
    Value then;
    readOptions("a branch of $switch", element.value, {code::switchBranchNotADocument, code::switchBranchUnknownOption},
                {{"case", condition, code::switchBranchWithoutCase}, {"then", then, code::switchBranchWithoutThen}});
    branches.push_back({parseExpression(condition, scope), parseExpression(then, scope)});
  }
  if (branches.empty()) refuseQuery(code::switchWithoutBranches, "$switch needs at least one branch", "branches");
  return std::make_unique<Switch>(std::move(branches),
                                  isMissing(otherwise) ? nullptr : parseExpression(otherwise, scope));
}

ExpressionPtr parseIfNull(const Value& operand, VariableScope& scope) {
  std::vector<ExpressionPtr> operands = parseOperands(operand, scope);
  if (operands.size() < 2) {
    refuseQuery(code::ifNullOperandCount, "$ifNull takes at least 2 operands, not " + std::to_string(operands.size()),
                "$ifNull");
  }
  return std::make_unique<IfNull>(std::move(operands));
}

constexpr std::array<FunctionOperator, 1> functions = {
    {{"$not", 1, 1, [](const Arguments& arguments) { return booleanValue(!isTrue(arguments[0])); }}}};

}  // namespace

ExpressionPtr parseConditionalOperator(std::string_view name, const Value& operand, VariableScope& scope) {
  if (name == "$and" || name == "$or") {
    return std::make_unique<Connective>(name == "$or", parseOperands(operand, scope));
  }
  if (name == "$cond") return parseCondition(operand, scope);
  if (name == "$ifNull") return parseIfNull(operand, scope);
  if (name == "$switch") return parseSwitch(operand, scope);
  return parseFunctionOf(functions, name, operand, scope);
}

}  // namespace database_client::embedded
