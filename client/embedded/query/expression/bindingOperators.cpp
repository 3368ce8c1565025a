// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/expression/bindingOperators.h"

#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "client/bson/Writer.h"
#include "client/embedded/query/expression/FunctionCall.h"
#include "client/embedded/query/expression/options.h"
#include "client/embedded/query/values/errors.h"
#include "client/embedded/query/values/numbers.h"

namespace database_client::embedded {

using bson::Element;
using bson::IndexKey;
using bson::Type;
using bson::Value;
using bson::View;
using bson::Writer;

namespace {

class Let : public Expression {
 public:
  struct Binding {
    ExpressionPtr value;
    std::size_t variable;
  };
  Let(std::vector<Binding> bindings, ExpressionPtr in) : bindings_(std::move(bindings)), in_(std::move(in)) {}

  Value evaluate(View root, Scratch& scratch) const override {
    for (const Binding& binding : bindings_) scratch.bind(binding.variable, binding.value->evaluate(root, scratch));
    return in_->evaluate(root, scratch);
  }

 private:
  std::vector<Binding> bindings_;
  ExpressionPtr in_;
};

Value arrayInput(const Expression& input, View root, Scratch& scratch, const char* name, int code) {
  const Value value = input.evaluate(root, scratch);
  if (!isNullish(value) && !value.isArray()) {
    refuseQuery(code, std::string("the input of ") + name + " is " + kindOf(value) + ", no array", name);
  }
  return value;
}

class Map : public Expression {
 public:
  Map(ExpressionPtr input, std::size_t variable, ExpressionPtr in)
      : input_(std::move(input)), variable_(variable), in_(std::move(in)) {}

  Value evaluate(View root, Scratch& scratch) const override {
    const Value input = arrayInput(*input_, root, scratch, "$map", code::mapInputNotAnArray);
    if (isNullish(input)) return nullValue();
    Writer out;
    std::size_t count = 0;
    for (const Element& element : input.asDocument()) {
      const Scratch::Mark mark = scratch.mark();
      scratch.bind(variable_, element.value);
      const Value value = in_->evaluate(root, scratch);
      out.append(IndexKey(count++), isMissing(value) ? nullValue() : value);
      scratch.release(mark);
      Scratch::checkSize(out.size());
    }
    return scratch.keep(Type::array, out.take());
  }

 private:
  ExpressionPtr input_;
  std::size_t variable_;
  ExpressionPtr in_;
};

class Filter : public Expression {
 public:
  Filter(ExpressionPtr input, std::size_t variable, ExpressionPtr condition, ExpressionPtr limit)
      : input_(std::move(input)), variable_(variable), condition_(std::move(condition)), limit_(std::move(limit)) {}

  Value evaluate(View root, Scratch& scratch) const override {
    const Value input = arrayInput(*input_, root, scratch, "$filter", code::filterInputNotAnArray);
    if (isNullish(input)) return nullValue();
    const std::size_t limit = limit_ == nullptr ? std::numeric_limits<std::size_t>::max() : limitIn(root, scratch);
    Writer out;
    std::size_t count = 0;
    for (const Element& element : input.asDocument()) {
      if (count == limit) break;
      const Scratch::Mark mark = scratch.mark();
      scratch.bind(variable_, element.value);
      if (isTrue(condition_->evaluate(root, scratch))) out.append(IndexKey(count++), element.value);
      scratch.release(mark);
    }
    return scratch.keep(Type::array, out.take());
  }

 private:
  std::size_t limitIn(View root, Scratch& scratch) const {
    const Value limit = limit_->evaluate(root, scratch);
    if (isNullish(limit)) return std::numeric_limits<std::size_t>::max();
    const auto number = limit.isNumber() ? exactInteger(limit) : std::nullopt;
    if (!number || *number > std::numeric_limits<std::int32_t>::max() ||
        *number < std::numeric_limits<std::int32_t>::min()) {
      refuseQuery(code::filterLimitNotAnInteger, "the limit of $filter has to be an int32", "limit");
    }
    if (*number <= 0) refuseQuery(code::filterLimitNotPositive, "the limit of $filter has to be positive", "limit");
    return static_cast<std::size_t>(*number);
  }

  ExpressionPtr input_;
  std::size_t variable_;
  ExpressionPtr condition_;
  ExpressionPtr limit_;
};

ExpressionPtr parseLet(const Value& operand, VariableScope& scope) {
  Value variables;
  Value in;
  readOptions("$let", operand, {code::letNotADocument, code::letUnknownOption},
              {{"vars", variables, code::letWithoutVariables}, {"in", in, code::letWithoutExpression}});
  if (!variables.isDocument()) {
    refuseQuery(code::letVariablesNotADocument,
                std::string("$let takes a document of variables, not ") + kindOf(variables), "vars");
  }
  // No value sees the variables of the same $let, so they are opened when all values have been parsed.
  std::vector<Let::Binding> bindings;
  for (const Element& element : variables.asDocument()) bindings.push_back({parseExpression(element.value, scope), 0});
  auto binding = bindings.begin();
  for (const Element& element : variables.asDocument()) (binding++)->variable = scope.open(element.key);
  ExpressionPtr expression = parseExpression(in, scope);
  scope.close(bindings.size());
  return std::make_unique<Let>(std::move(bindings), std::move(expression));
}

/// The name that "as" gives to the element; "this" without.
std::string_view elementName(const Value& as) {
  if (isMissing(as)) return "this";
  return as.type == Type::string ? as.asString() : std::string_view();
}

ExpressionPtr parseMap(const Value& operand, VariableScope& scope) {
  Value input;
  Value as;
  Value in;
  readOptions("$map", operand, {code::mapNotADocument, code::mapUnknownOption},
              {{"input", input, code::mapWithoutInput}, {"as", as, 0}, {"in", in, code::mapWithoutExpression}});
  ExpressionPtr array = parseExpression(input, scope);
  const std::size_t variable = scope.open(elementName(as));
  ExpressionPtr expression = parseExpression(in, scope);
  scope.close();
  return std::make_unique<Map>(std::move(array), variable, std::move(expression));
}

ExpressionPtr parseFilter(const Value& operand, VariableScope& scope) {
  Value input;
  Value as;
  Value condition;
  Value limit;
  readOptions("$filter", operand, {code::filterNotADocument, code::filterUnknownOption},
              {{"input", input, code::filterWithoutInput},
               {"as", as, 0},
               {"cond", condition, code::filterWithoutCondition},
               {"limit", limit, 0}});
  ExpressionPtr array = parseExpression(input, scope);
  ExpressionPtr most = isMissing(limit) ? nullptr : parseExpression(limit, scope);
  const std::size_t variable = scope.open(elementName(as));
  ExpressionPtr test = parseExpression(condition, scope);
  scope.close();
  return std::make_unique<Filter>(std::move(array), variable, std::move(test), std::move(most));
}

}  // namespace

ExpressionPtr parseBindingOperator(std::string_view name, const Value& operand, VariableScope& scope) {
  if (name == "$let") return parseLet(operand, scope);
  if (name == "$map") return parseMap(operand, scope);
  if (name == "$filter") return parseFilter(operand, scope);
  return nullptr;
}

}  // namespace database_client::embedded
