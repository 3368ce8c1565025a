// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/match/MatchParser.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "client/embedded/query/match/Condition.h"
#include "client/embedded/query/values/errors.h"
#include "client/embedded/query/values/numbers.h"

namespace database_client::embedded {

using bson::Element;
using bson::Type;
using bson::Value;
using bson::View;

namespace {

[[noreturn]] void refuseOperand(const Element& element, const char* expected) {
  refuseQuery(code::badValue, std::string(element.key) + " takes " + expected + ", not " + kindOf(element.value),
              element.key);
}

/// Operators that a server knows and this store does not.
void refuseKnown(std::string_view name) {
  static constexpr std::array<std::string_view, 27> known = {
      "$expr",       "$where",         "$text",         "$jsonSchema",   "$near",        "$nearSphere",  "$geoWithin",
      "$within",     "$geoIntersects", "$geoNear",      "$geometry",     "$maxDistance", "$minDistance", "$uniqueDocs",
      "$bitsAllSet", "$bitsAnySet",    "$bitsAllClear", "$bitsAnyClear", "$sampleRate",  "$alwaysTrue",  "$alwaysFalse",
      "$function",   "$accumulator",   "$out",          "$merge",        "$rand",        "$meta"};
  if (std::find(known.begin(), known.end(), name) != known.end()) refuseUnsupported(name, "query operator");
}

ConditionPtr anyValue(std::unique_ptr<const ValueTest> test) {
  return std::make_unique<ValueCondition>(std::move(test), false);
}
ConditionPtr wholeValue(std::unique_ptr<const ValueTest> test) {
  return std::make_unique<ValueCondition>(std::move(test), true);
}
ConditionPtr negation(ConditionPtr condition) {
  return std::make_unique<NotCondition>(std::move(condition));
}
ConditionPtr conjunction(Conditions conditions) {
  if (conditions.size() == 1) return std::move(conditions.front());
  return std::make_unique<AllConditions>(std::move(conditions));
}

void refuseUndefined(const Element& element) {
  if (element.value.type != Type::undefined) return;
  refuseQuery(code::badValue, "nothing compares with undefined, under " + quoted(element.key), element.key);
}

std::unique_ptr<const PatternTest> patternOf(const Value& regex) {
  return std::make_unique<PatternTest>(regex.regexPattern(), regex.regexOptions());
}

ConditionPtr parseEqual(const Element& element) {
  refuseUndefined(element);
  return anyValue(std::make_unique<EqualTest>(element.value));
}

ConditionPtr parseNotEqual(const Element& element) {
  if (element.value.type == Type::regex) refuseOperand(element, "a value to compare with");
  return negation(parseEqual(element));
}

ConditionPtr parseRelation(Relation relation, const Element& element) {
  refuseUndefined(element);
  if (element.value.type == Type::regex) refuseOperand(element, "a value to compare with");
  return anyValue(std::make_unique<RelationTest>(relation, element.value));
}

ConditionPtr parseLess(const Element& element) {
  return parseRelation(Relation::less, element);
}
ConditionPtr parseLessOrEqual(const Element& element) {
  return parseRelation(Relation::lessOrEqual, element);
}
ConditionPtr parseGreater(const Element& element) {
  return parseRelation(Relation::greater, element);
}
ConditionPtr parseGreaterOrEqual(const Element& element) {
  return parseRelation(Relation::greaterOrEqual, element);
}

ConditionPtr parseIn(const Element& element) {
  if (!element.value.isArray()) refuseOperand(element, "an array");
  std::vector<OwnedValue> values;
  std::vector<std::unique_ptr<const PatternTest>> patterns;
  for (const Element& item : element.value.asDocument()) {
    refuseUndefined(item);
    if (isOperatorDocument(item.value)) {
      refuseQuery(code::badValue, "cannot nest $ under " + std::string(element.key), element.key);
    }
    if (item.value.type == Type::regex) {
      patterns.push_back(patternOf(item.value));
    } else {
      values.emplace_back(item.value);
    }
  }
  return anyValue(std::make_unique<InTest>(std::move(values), std::move(patterns)));
}

ConditionPtr parseNotIn(const Element& element) {
  return negation(parseIn(element));
}

ConditionPtr parseExists(const Element& element) {
  ConditionPtr exists = anyValue(std::make_unique<ExistsTest>());
  return isTrue(element.value) ? std::move(exists) : negation(std::move(exists));
}

struct TypeAlias {
  std::string_view name;
  Type type;
};
constexpr std::array<TypeAlias, 21> typeAliases = {
    {{"double", Type::real},        {"string", Type::string},       {"object", Type::document},
     {"array", Type::array},        {"binData", Type::binary},      {"undefined", Type::undefined},
     {"objectId", Type::objectId},  {"bool", Type::boolean},        {"date", Type::date},
     {"null", Type::null},          {"regex", Type::regex},         {"dbPointer", Type::dbPointer},
     {"javascript", Type::code},    {"symbol", Type::symbol},       {"javascriptWithScope", Type::codeWithScope},
     {"int", Type::int32},          {"timestamp", Type::timestamp}, {"long", Type::int64},
     {"decimal", Type::decimal128}, {"minKey", Type::minKey},       {"maxKey", Type::maxKey}}};

void addType(TypeSet& types, Type type) {
  types.set(static_cast<std::size_t>(type));
}

bool addTypeNamed(TypeSet& types, std::string_view name) {
  if (name == "number") {
    for (const Type type : {Type::real, Type::int32, Type::int64, Type::decimal128}) addType(types, type);
    return true;
  }
  const auto* const found = std::find_if(typeAliases.begin(), typeAliases.end(),
                                         [name](const TypeAlias& alias) { return alias.name == name; });
  if (found == typeAliases.end()) return false;
  addType(types, found->type);
  return true;
}

bool addTypeNumbered(TypeSet& types, std::int64_t number) {
  const auto* const found = std::find_if(typeAliases.begin(), typeAliases.end(), [number](const TypeAlias& alias) {
    return static_cast<std::int8_t>(alias.type) == number;
  });
  if (found == typeAliases.end()) return false;
  addType(types, found->type);
  return true;
}

void addTypeOf(TypeSet& types, const Value& operand) {
  if (operand.type == Type::string) {
    if (addTypeNamed(types, operand.asString())) return;
    refuseQuery(code::badValue, "$type has the unknown type name " + quoted(operand.asString()), "$type");
  }
  if (!operand.isNumber()) {
    refuseQuery(code::typeMismatch,
                std::string("$type takes a number, a name or an array of them, not ") + kindOf(operand), "$type");
  }
  const auto number = exactInteger(operand);
  if (!number || !addTypeNumbered(types, *number)) refuseQuery(code::badValue, "$type has an unknown number", "$type");
}

ConditionPtr parseType(const Element& element) {
  TypeSet types;
  if (element.value.isArray()) {
    if (element.value.asDocument().empty()) refuseQuery(code::failedToParse, "$type has an empty array", element.key);
    for (const Element& item : element.value.asDocument()) addTypeOf(types, item.value);
  } else {
    addTypeOf(types, element.value);
  }
  return anyValue(std::make_unique<TypeTest>(types));
}

ConditionPtr parseSize(const Element& element) {
  const auto size = element.value.isNumber() ? exactInteger(element.value) : std::nullopt;
  if (!size || *size < 0) refuseOperand(element, "an integer that is not negative");
  return wholeValue(std::make_unique<SizeTest>(*size));
}

std::int64_t moduloOperand(const Element& mod, const Value& operand) {
  const auto number = truncated(operand);
  if (!number) refuseQuery(code::badValue, "$mod takes two numbers, a divisor and a remainder", mod.key);
  return *number;
}

ConditionPtr parseModulo(const Element& element) {
  if (!element.value.isArray()) refuseOperand(element, "an array of a divisor and a remainder");
  const View operands = element.value.asDocument();
  if (operands.count() != 2) {
    refuseQuery(code::badValue, "$mod takes exactly two numbers, not " + std::to_string(operands.count()), element.key);
  }
  auto at = operands.begin();
  const std::int64_t divisor = moduloOperand(element, at->value);
  const std::int64_t remainder = moduloOperand(element, (++at)->value);
  if (divisor == 0) refuseQuery(code::badValue, "the divisor of $mod is 0", element.key);
  return anyValue(std::make_unique<ModuloTest>(divisor, remainder));
}

ConditionPtr parseOperators(View operators);

ConditionPtr parseNot(const Element& element) {
  if (element.value.type == Type::regex) return negation(anyValue(patternOf(element.value)));
  if (!element.value.isDocument()) refuseOperand(element, "a document of operators or a regular expression");
  if (element.value.asDocument().empty()) refuseOperand(element, "at least one operator");
  return negation(parseOperators(element.value.asDocument()));
}

/// Operators speak about the elements themselves; anything else, also $and, $or and $nor, is a query on each element.
bool isElementQuery(const Value& operand) {
  if (!isOperatorDocument(operand)) return true;
  const std::string_view first = operand.asDocument().begin()->key;
  return first == "$and" || first == "$or" || first == "$nor";
}

ConditionPtr parseElemMatch(const Element& element) {
  if (!element.value.isDocument()) refuseOperand(element, "a document");
  const View operand = element.value.asDocument();
  if (isElementQuery(element.value)) return wholeValue(std::make_unique<ElementDocumentTest>(parseQuery(operand)));
  return wholeValue(std::make_unique<ElementValueTest>(parseOperators(operand)));
}

bool isElemMatch(const Value& value) {
  return value.isDocument() && !value.asDocument().empty() && value.asDocument().begin()->key == "$elemMatch";
}

ConditionPtr parseAllItem(const Element& item, bool elemMatches) {
  if (isElemMatch(item.value) != elemMatches) {
    refuseQuery(code::badValue, "$all holds either $elemMatch conditions or values", "$all");
  }
  if (elemMatches) return parseOperators(item.value.asDocument());
  if (isOperatorDocument(item.value)) refuseQuery(code::badValue, "$all holds no other operators", "$all");
  return item.value.type == Type::regex ? anyValue(patternOf(item.value)) : parseEqual(item);
}

ConditionPtr parseAll(const Element& element) {
  if (!element.value.isArray()) refuseOperand(element, "an array");
  const View items = element.value.asDocument();
  if (items.empty()) return std::make_unique<MatchNone>();
  const bool elemMatches = isElemMatch(items.begin()->value);
  Conditions conditions;
  for (const Element& item : items) conditions.push_back(parseAllItem(item, elemMatches));
  return conjunction(std::move(conditions));
}

/// $regex and $options, which belong together in whichever order they stand.
class RegexParts {
 public:
  void add(const Element& element) { element.key == "$regex" ? addRegex(element) : addOptions(element); }

  bool any() const { return hasPattern_ || hasOptions_; }

  ConditionPtr condition() const {
    if (!hasPattern_) refuseQuery(code::badValue, "$options needs a $regex", "$options");
    return anyValue(std::make_unique<PatternTest>(pattern_, options_));
  }

 private:
  void addRegex(const Element& element) {
    hasPattern_ = true;
    if (element.value.type == Type::regex) {
      pattern_ = element.value.regexPattern();
      if (element.value.regexOptions().empty()) return;
      if (hasOptions_) refuseBoth(code::optionsBeforeRegexWithFlags);
      options_ = element.value.regexOptions();
    } else if (element.value.type == Type::string) {
      pattern_ = element.value.asString();
      if (pattern_.find('\0') != std::string_view::npos) {
        refuseQuery(code::badValue, "a regular expression holds a NUL", element.key);
      }
    } else {
      refuseOperand(element, "a string or a regular expression");
    }
  }

  void addOptions(const Element& element) {
    if (element.value.type != Type::string) refuseOperand(element, "a string");
    if (!options_.empty()) refuseBoth(code::optionsAfterRegexWithFlags);
    hasOptions_ = true;
    options_ = element.value.asString();
  }

  [[noreturn]] static void refuseBoth(int code) {
    refuseQuery(code, "options are set both in $regex and in $options", "$options");
  }

  bool hasPattern_ = false;
  bool hasOptions_ = false;
  std::string_view pattern_;
  std::string_view options_;
};

struct OperatorParser {
  std::string_view name;
  ConditionPtr (*parse)(const Element&);
};
constexpr std::array<OperatorParser, 15> operatorParsers = {{{"$eq", parseEqual},
                                                             {"$ne", parseNotEqual},
                                                             {"$gt", parseGreater},
                                                             {"$gte", parseGreaterOrEqual},
                                                             {"$lt", parseLess},
                                                             {"$lte", parseLessOrEqual},
                                                             {"$in", parseIn},
                                                             {"$nin", parseNotIn},
                                                             {"$exists", parseExists},
                                                             {"$type", parseType},
                                                             {"$not", parseNot},
                                                             {"$elemMatch", parseElemMatch},
                                                             {"$all", parseAll},
                                                             {"$size", parseSize},
                                                             {"$mod", parseModulo}}};

ConditionPtr parseOperator(const Element& element) {
  const auto* const found =
      std::find_if(operatorParsers.begin(), operatorParsers.end(),
                   [&element](const OperatorParser& parser) { return parser.name == element.key; });
  if (found != operatorParsers.end()) return found->parse(element);
  refuseKnown(element.key);
  refuseQuery(code::badValue, "unknown operator: " + std::string(element.key), element.key);
}

ConditionPtr parseOperators(View operators) {
  Conditions conditions;
  RegexParts regex;
  for (const Element& element : operators) {
    if (element.key == "$regex" || element.key == "$options") {
      regex.add(element);
    } else {
      conditions.push_back(parseOperator(element));
    }
  }
  if (regex.any()) conditions.push_back(regex.condition());
  return conjunction(std::move(conditions));
}

ConditionPtr parseField(const Element& element) {
  if (element.value.type == Type::regex) return anyValue(patternOf(element.value));
  if (isOperatorDocument(element.value)) return parseOperators(element.value.asDocument());
  return parseEqual(element);
}

std::unique_ptr<const MatchNode> parseAlternative(const std::string& name, const Value& query) {
  if (!query.isDocument()) refuseQuery(code::badValue, name + " takes documents, not " + kindOf(query));
  return parseQuery(query.asDocument());
}

MatchNodes parseAlternatives(const Element& element) {
  if (!element.value.isArray()) refuseOperand(element, "a non-empty array of documents");
  const std::string name(element.key);
  if (element.value.asDocument().empty()) {
    refuseQuery(code::badValue, name + " takes at least one document, not an empty array", element.key);
  }
  MatchNodes nodes;
  for (const Element& item : element.value.asDocument()) {
    nodes.push_back(parseUnder(name + '.' + std::string(item.key), [&] { return parseAlternative(name, item.value); }));
  }
  return nodes;
}

/// Nothing for $comment.
std::unique_ptr<const MatchNode> parseTopOperator(const Element& element) {
  if (element.key == "$comment") return nullptr;
  if (element.key == "$and") return std::make_unique<AllNodes>(parseAlternatives(element));
  if (element.key == "$or") return std::make_unique<AnyNode>(parseAlternatives(element), false);
  if (element.key == "$nor") return std::make_unique<AnyNode>(parseAlternatives(element), true);
  refuseKnown(element.key);
  refuseQuery(code::badValue, "unknown top level operator: " + std::string(element.key), element.key);
}

std::unique_ptr<const MatchNode> parseTop(const Element& element) {
  if (!element.key.empty() && element.key.front() == '$') return parseTopOperator(element);
  return std::make_unique<FieldNode>(Path(element.key),
                                     parseUnder(element.key, [&element] { return parseField(element); }));
}

}  // namespace

bool isOperatorDocument(const Value& value) {
  if (!value.isDocument() || value.asDocument().empty()) return false;
  const std::string_view first = value.asDocument().begin()->key;
  if (first.empty() || first.front() != '$') return false;
  return isMissing(value.asDocument().find("$ref")) || isMissing(value.asDocument().find("$id"));
}

std::unique_ptr<const MatchNode> parseQuery(View query) {
  MatchNodes nodes;
  for (const Element& element : query) {
    if (auto node = parseTop(element)) nodes.push_back(std::move(node));
  }
  if (nodes.size() != 1) return std::make_unique<AllNodes>(std::move(nodes));
  auto only = std::move(nodes.front());
  return only;
}

}  // namespace database_client::embedded
