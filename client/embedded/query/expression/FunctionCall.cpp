// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/expression/FunctionCall.h"

#include <string>
#include <utility>

#include "client/embedded/query/values/errors.h"

namespace database_client::embedded {

using bson::Element;
using bson::Value;
using bson::View;

namespace {

class FunctionCall : public Expression {
 public:
  FunctionCall(const FunctionOperator& function, std::vector<ExpressionPtr> operands)
      : function_(function), operands_(std::move(operands)) {}

  Value evaluate(View root, Scratch& scratch) const override {
    // Nearly all calls have one or two operands: a vector would cost more than what they do.
    std::array<Value, 3> few;
    std::vector<Value> many;
    Value* values = few.data();
    if (operands_.size() > few.size()) {
      many.resize(operands_.size());
      values = many.data();
    }
    for (std::size_t at = 0; at < operands_.size(); ++at) values[at] = operands_[at]->evaluate(root, scratch);
    return function_.function({function_.name, values, operands_.size(), scratch});
  }

  bool isConstant() const override { return areConstant(operands_); }

 private:
  const FunctionOperator& function_;
  std::vector<ExpressionPtr> operands_;
};

}  // namespace

ExpressionPtr parseFunctionCall(const FunctionOperator& function, const Value& operand, VariableScope& scope) {
  std::vector<ExpressionPtr> operands = parseOperands(operand, scope);
  checkOperandCount(function.name, operands.size(), function.minimum, function.maximum);
  return std::make_unique<FunctionCall>(function, std::move(operands));
}

std::vector<ExpressionPtr> parseOperands(const Value& operand, VariableScope& scope) {
  std::vector<ExpressionPtr> operands;
  if (!operand.isArray()) {
    operands.push_back(parseExpression(operand, scope));
    return operands;
  }
  for (const Element& element : operand.asDocument()) operands.push_back(parseExpression(element.value, scope));
  return operands;
}

void checkOperandCount(std::string_view name, std::size_t count, std::size_t minimum, std::size_t maximum) {
  if (count >= minimum && count <= maximum) return;
  const std::string given = ", not " + std::to_string(count);
  if (minimum == maximum) {
    refuseQuery(code::operandCount,
                std::string(name) + " takes exactly " + std::to_string(minimum) + " operands" + given, name);
  }
  refuseQuery(
      code::operandCountOutOfRange,
      std::string(name) + " takes " + std::to_string(minimum) + " to " + std::to_string(maximum) + " operands" + given,
      name);
}

bool areConstant(const std::vector<ExpressionPtr>& operands) {
  return std::all_of(operands.begin(), operands.end(),
                     [](const ExpressionPtr& operand) { return operand->isConstant(); });
}

void refuseOperand(const Arguments& arguments, int code, const char* taken, const Value& value) {
  const std::string name(arguments.name);
  refuseQuery(code, name + " takes " + taken + ", not " + (isMissing(value) ? "missing" : kindOf(value)), name);
}

}  // namespace database_client::embedded
