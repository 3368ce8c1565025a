// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/expression/joiningOperators.h"

#include <string>
#include <unordered_map>
#include <utility>

#include "client/bson/Writer.h"
#include "client/embedded/query/expression/FunctionCall.h"
#include "client/embedded/query/values/errors.h"

namespace database_client::embedded {

using bson::Byte;
using bson::Element;
using bson::IndexKey;
using bson::Type;
using bson::Value;
using bson::View;
using bson::Writer;

namespace {

Value joinedText(const Arguments& arguments) {
  std::string text;
  for (const Value& value : arguments) {
    if (isNullish(value)) return nullValue();
    if (value.type != Type::string) refuseOperand(arguments, code::concatOfNoString, "strings", value);
    text += value.asString();
    Scratch::checkSize(text.size());
  }
  return arguments.scratch.keepText(text);
}

Value joinedArray(const Arguments& arguments) {
  Writer out;
  std::size_t count = 0;
  for (const Value& value : arguments) {
    if (isNullish(value)) return nullValue();
    if (!value.isArray()) refuseOperand(arguments, code::concatArraysOfNoArray, "arrays", value);
    for (const Element& element : value.asDocument()) out.append(IndexKey(count++), element.value);
    Scratch::checkSize(out.size());
  }
  return arguments.scratch.keep(Type::array, out.take());
}

Value mergedDocuments(const Arguments& arguments) {
  std::vector<Byte> merged = Writer().take();
  // A single array stands for its elements.
  const bool inArray = arguments.count == 1 && !isMissing(arguments[0]) && arguments[0].isArray();
  const auto merge = [&](const Value& value) {
    if (isNullish(value)) return;
    if (!value.isDocument()) refuseOperand(arguments, code::mergeObjectsOfNoDocument, "documents", value);
    merged = mergedDocument({merged.data(), merged.size()}, value.asDocument());
    Scratch::checkSize(merged.size());
  };
  if (inArray) {
    for (const Element& element : arguments[0].asDocument()) merge(element.value);
  } else {
    for (const Value& value : arguments) merge(value);
  }
  return arguments.scratch.keep(Type::document, std::move(merged));
}

constexpr std::array<FunctionOperator, 3> functions = {{
    {"$concat", 0, anyNumber, joinedText},
    {"$concatArrays", 0, anyNumber, joinedArray},
    {"$mergeObjects", 0, anyNumber, mergedDocuments},
}};

}  // namespace

std::vector<Byte> mergedDocument(View left, View right) {
  std::vector<Element> fields(left.begin(), left.end());
  std::unordered_map<std::string_view, std::size_t> places;
  for (std::size_t at = 0; at < fields.size(); ++at) places.emplace(fields[at].key, at);
  for (const Element& element : right) {
    const auto [place, isNew] = places.emplace(element.key, fields.size());
    isNew ? fields.push_back(element) : void(fields[place->second] = element);
  }
  Writer out;
  for (const Element& field : fields) out.append(field.key, field.value);
  return out.take();
}

ExpressionPtr parseJoiningOperator(std::string_view name, const Value& operand, VariableScope& scope) {
  return parseFunctionOf(functions, name, operand, scope);
}

}  // namespace database_client::embedded
