// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/expression/Expression.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "client/bson/Writer.h"
#include "client/embedded/query/expression/VariableScope.h"
#include "client/embedded/query/expression/accumulatingOperators.h"
#include "client/embedded/query/expression/arithmeticOperators.h"
#include "client/embedded/query/expression/arrayOperators.h"
#include "client/embedded/query/expression/bindingOperators.h"
#include "client/embedded/query/expression/comparisonOperators.h"
#include "client/embedded/query/expression/conditionalOperators.h"
#include "client/embedded/query/expression/conversionOperators.h"
#include "client/embedded/query/expression/joiningOperators.h"
#include "client/embedded/query/values/OwnedValue.h"
#include "client/embedded/query/values/Path.h"
#include "client/embedded/query/values/errors.h"

namespace database_client::embedded {

using bson::Element;
using bson::IndexKey;
using bson::Type;
using bson::Value;
using bson::View;
using bson::Writer;

namespace {

class Constant : public Expression {
 public:
  explicit Constant(const Value& value) : value_(value) {}
  Value evaluate(View /*root*/, Scratch& /*scratch*/) const override { return value_.value(); }
  bool isConstant() const override { return true; }

 private:
  OwnedValue value_;
};

class WholeDocument : public Expression {
 public:
  Value evaluate(View root, Scratch& /*scratch*/) const override { return {Type::document, root.data, root.size}; }
};

class Variable : public Expression {
 public:
  explicit Variable(std::size_t variable) : variable_(variable) {}
  Value evaluate(View /*root*/, Scratch& scratch) const override { return scratch.variable(variable_); }

 private:
  std::size_t variable_;
};

/// Through an array a path gives the array of what it gives for each element that is a document.
class FieldPath : public Expression {
 public:
  explicit FieldPath(Path path) : path_(std::move(path)) {}
  Value evaluate(View root, Scratch& scratch) const override { return inDocument(root, 0, scratch); }

 protected:
  Value inValue(const Value& value, std::size_t at, Scratch& scratch) const {
    if (value.isDocument()) return inDocument(value.asDocument(), at, scratch);
    return value.isArray() ? inArray(value.asDocument(), at, scratch) : Value{};
  }

 private:
  Value inDocument(View document, std::size_t at, Scratch& scratch) const {
    const Value value = document.find(path_[at].name);
    if (isMissing(value) || at + 1 == path_.size()) return value;
    return inValue(value, at + 1, scratch);
  }

  Value inArray(View array, std::size_t at, Scratch& scratch) const {
    Writer out;
    std::size_t count = 0;
    for (const Element& element : array) {
      if (!element.value.isDocument()) continue;
      const Value value = inDocument(element.value.asDocument(), at, scratch);
      if (!isMissing(value)) out.append(IndexKey(count++), value);
    }
    return scratch.keep(Type::array, out.take());
  }

  Path path_;
};

class VariablePath : public FieldPath {
 public:
  VariablePath(std::size_t variable, Path path) : FieldPath(std::move(path)), variable_(variable) {}
  Value evaluate(View /*root*/, Scratch& scratch) const override {
    return inValue(scratch.variable(variable_), 0, scratch);
  }

 private:
  std::size_t variable_;
};

/// A document or an array of expressions.
class Composite : public Expression {
 public:
  struct Part {
    std::string key;
    ExpressionPtr expression;
  };
  Composite(Type type, std::vector<Part> parts) : type_(type), parts_(std::move(parts)) {}

  Value evaluate(View root, Scratch& scratch) const override {
    Writer out;
    for (const Part& part : parts_) {
      const Value value = part.expression->evaluate(root, scratch);
      if (!isMissing(value)) {
        out.append(part.key, value);
      } else if (type_ == Type::array) {
        out.appendNull(part.key);
      }
      Scratch::checkSize(out.size());
    }
    return scratch.keep(type_, out.take());
  }

  bool isConstant() const override {
    return std::all_of(parts_.begin(), parts_.end(), [](const Part& part) { return part.expression->isConstant(); });
  }

 private:
  Type type_;
  std::vector<Part> parts_;
};

Path parsePath(std::string_view path, std::string_view whole) {
  if (path.empty()) refuseQuery(code::fieldPathOfDollarAlone, "\"$\" alone is no field path", whole);
  return fieldPath(path);
}

/// "$a" means "$$CURRENT.a", and a $let may bind CURRENT.
ExpressionPtr parseFieldPath(std::string_view path, std::string_view whole, const VariableScope& scope) {
  if (const auto current = scope.find("CURRENT")) {
    return std::make_unique<VariablePath>(*current, parsePath(path, whole));
  }
  return std::make_unique<FieldPath>(parsePath(path, whole));
}

ExpressionPtr parseSystemVariable(std::string_view name, std::string_view text) {
  if (name == "ROOT" || name == "CURRENT") return std::make_unique<WholeDocument>();
  if (name == "REMOVE") return std::make_unique<Constant>(Value{});
  const bool known = name == "NOW" || name == "CLUSTER_TIME" || name == "DESCEND" || name == "PRUNE" ||
                     name == "KEEP" || name == "USER_ROLES" || name == "SEARCH_META";
  if (known) refuseUnsupported("$$" + std::string(name), "variable");
  refuseQuery(code::unknownVariable, "unknown variable " + quoted(text), text);
}

ExpressionPtr parseVariable(std::string_view text, const VariableScope& scope) {
  const std::string_view whole = text.substr(2);
  const std::string_view name = whole.substr(0, whole.find('.'));
  const bool hasPath = name.size() < whole.size();
  const std::string_view path = hasPath ? whole.substr(name.size() + 1) : std::string_view();
  if (const auto variable = scope.find(name)) {
    if (hasPath) return std::make_unique<VariablePath>(*variable, parsePath(path, text));
    return std::make_unique<Variable>(*variable);
  }
  ExpressionPtr system = parseSystemVariable(name, text);
  if (!hasPath) return system;
  if (system->isConstant()) {
    parsePath(path, text);
    return system;
  }
  return std::make_unique<FieldPath>(parsePath(path, text));
}

ExpressionPtr parseText(const Value& value, const VariableScope& scope) {
  const std::string_view text = value.asString();
  if (text.substr(0, 2) == "$$") return parseVariable(text, scope);
  if (text.substr(0, 1) == "$") return parseFieldPath(text.substr(1), text, scope);
  return std::make_unique<Constant>(value);
}

ExpressionPtr folded(ExpressionPtr expression) {
  if (!expression->isConstant()) return expression;
  Scratch scratch;
  return std::make_unique<Constant>(expression->evaluate(bson::emptyDocument(), scratch));
}

/// Each gives null for an operator that is not of its family.
using FamilyParser = ExpressionPtr (*)(std::string_view name, const Value& operand, VariableScope& scope);
constexpr std::array<FamilyParser, 8> families = {
    parseComparisonOperator, parseConditionalOperator, parseArithmeticOperator, parseArrayOperator,
    parseBindingOperator,    parseConversionOperator,  parseJoiningOperator,    parseAccumulatingOperator};

ExpressionPtr parseOperator(View document, VariableScope& scope) {
  const Element element = *document.begin();
  if (document.count() != 1) {
    refuseQuery(code::expressionWithSeveralOperators,
                "an expression has exactly one operator, here after " + quoted(element.key), element.key);
  }
  if (element.key == "$literal") return std::make_unique<Constant>(element.value);
  for (const FamilyParser parse : families) {
    if (ExpressionPtr expression = parse(element.key, element.value, scope)) return folded(std::move(expression));
  }
  refuseUnsupported(element.key, "expression");
}

void checkName(std::string_view key) {
  if (key.empty()) refuseQuery(code::fieldNameEmpty, "a field of an expression has an empty name");
  if (key.front() == '$')
    refuseQuery(code::fieldNameWithDollar, "the field " + quoted(key) + " of an expression has a $", key);
  if (key.find('.') != std::string_view::npos) {
    refuseQuery(code::fieldNameWithDot, "the field " + quoted(key) + " of an expression has a dot", key);
  }
}

ExpressionPtr parseComposite(const Value& value, VariableScope& scope) {
  std::vector<Composite::Part> parts;
  for (const Element& element : value.asDocument()) {
    if (value.isDocument()) checkName(element.key);
    parts.push_back({std::string(element.key), parseExpression(element.value, scope)});
  }
  return folded(std::make_unique<Composite>(value.type, std::move(parts)));
}

}  // namespace

bool isOperatorExpression(const Value& value) {
  return value.isDocument() && !value.asDocument().empty() && value.asDocument().begin()->key.substr(0, 1) == "$";
}

ExpressionPtr parseExpression(const Value& value) {
  VariableScope scope;
  return parseExpression(value, scope);
}

ExpressionPtr parseExpression(const Value& value, VariableScope& scope) {
  if (value.type == Type::string) return parseText(value, scope);
  if (isOperatorExpression(value)) return parseOperator(value.asDocument(), scope);
  if (value.isDocument() || value.isArray()) return parseComposite(value, scope);
  return std::make_unique<Constant>(value);
}

}  // namespace database_client::embedded
