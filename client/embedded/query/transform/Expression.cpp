// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/transform/Expression.h"

#include <algorithm>
#include <string>
#include <utility>

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

/// Through an array a path gives the array of what it gives for each element that is a document.
class FieldPath : public Expression {
 public:
  explicit FieldPath(Path path) : path_(std::move(path)) {}
  Value evaluate(View root, Scratch& scratch) const override { return inDocument(root, 0, scratch); }

 private:
  Value inDocument(View document, std::size_t at, Scratch& scratch) const {
    const Value value = document.find(path_[at].name);
    if (isMissing(value) || at + 1 == path_.size()) return value;
    if (value.isDocument()) return inDocument(value.asDocument(), at + 1, scratch);
    return value.isArray() ? inArray(value.asDocument(), at + 1, scratch) : Value{};
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

ExpressionPtr parsePath(std::string_view path, std::string_view whole) {
  if (path.empty()) refuseQuery(code::fieldPathOfDollarAlone, "\"$\" alone is no field path", whole);
  return std::make_unique<FieldPath>(fieldPath(path));
}

ExpressionPtr parseVariable(std::string_view text) {
  const std::string_view variable = text.substr(2);
  const std::string_view name = variable.substr(0, variable.find('.'));
  if (name != "ROOT" && name != "CURRENT") {
    const bool known = name == "NOW" || name == "REMOVE" || name == "CLUSTER_TIME" || name == "DESCEND" ||
                       name == "PRUNE" || name == "KEEP" || name == "USER_ROLES" || name == "SEARCH_META";
    if (known) refuseUnsupported("$$" + std::string(name), "variable");
    refuseQuery(code::unknownVariable, "unknown variable " + quoted(text), text);
  }
  if (name.size() == variable.size()) return std::make_unique<WholeDocument>();
  return parsePath(variable.substr(name.size() + 1), text);
}

ExpressionPtr parseText(const Value& value) {
  const std::string_view text = value.asString();
  if (text.substr(0, 2) == "$$") return parseVariable(text);
  if (text.substr(0, 1) == "$") return parsePath(text.substr(1), text);
  return std::make_unique<Constant>(value);
}

ExpressionPtr folded(ExpressionPtr expression) {
  if (!expression->isConstant()) return expression;
  Scratch scratch;
  return std::make_unique<Constant>(expression->evaluate(bson::emptyDocument(), scratch));
}

ExpressionPtr parseOperator(View document) {
  const Element element = *document.begin();
  if (document.count() != 1) {
    refuseQuery(code::expressionWithSeveralOperators,
                "an expression has exactly one operator, here after " + quoted(element.key), element.key);
  }
  if (element.key != "$literal") refuseUnsupported(element.key, "expression");
  return std::make_unique<Constant>(element.value);
}

void checkName(std::string_view key) {
  if (key.empty()) refuseQuery(code::fieldNameEmpty, "a field of an expression has an empty name");
  if (key.front() == '$')
    refuseQuery(code::fieldNameWithDollar, "the field " + quoted(key) + " of an expression has a $", key);
  if (key.find('.') != std::string_view::npos) {
    refuseQuery(code::fieldNameWithDot, "the field " + quoted(key) + " of an expression has a dot", key);
  }
}

ExpressionPtr parseComposite(const Value& value) {
  std::vector<Composite::Part> parts;
  for (const Element& element : value.asDocument()) {
    if (value.isDocument()) checkName(element.key);
    parts.push_back({std::string(element.key), parseExpression(element.value)});
  }
  return folded(std::make_unique<Composite>(value.type, std::move(parts)));
}

}  // namespace

bool isOperatorExpression(const Value& value) {
  return value.isDocument() && !value.asDocument().empty() && value.asDocument().begin()->key.substr(0, 1) == "$";
}

ExpressionPtr parseExpression(const Value& value) {
  if (value.type == Type::string) return parseText(value);
  if (isOperatorExpression(value)) return parseOperator(value.asDocument());
  if (value.isDocument() || value.isArray()) return parseComposite(value);
  return std::make_unique<Constant>(value);
}

}  // namespace database_client::embedded
