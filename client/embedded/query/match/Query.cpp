// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/match/Query.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <utility>

#include "client/embedded/query/values/compare.h"
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

Condition passing(ValueTest test) {
  return {Condition::Kind::test, std::move(test), {}};
}
Condition negation(Condition condition) {
  Condition result{Condition::Kind::negation, {}, {}};
  result.parts.push_back(std::move(condition));
  return result;
}

void refuseUndefined(const Element& element) {
  if (element.value.type != Type::undefined) return;
  refuseQuery(code::badValue, "nothing compares with undefined, under " + quoted(element.key), element.key);
}

std::unique_ptr<const Pattern> patternOf(const Value& regex) {
  return std::make_unique<Pattern>(regex.regexPattern(), regex.regexOptions());
}

Condition parseEqual(const Element& element) {
  refuseUndefined(element);
  return passing(CompareTest{Comparison::equal, OwnedValue(element.value)});
}

Condition parseNotEqual(const Element& element) {
  if (element.value.type == Type::regex) refuseOperand(element, "a value to compare with");
  return negation(parseEqual(element));
}

template <Comparison comparison>
Condition parseOrder(const Element& element) {
  refuseUndefined(element);
  if (element.value.type == Type::regex) refuseOperand(element, "a value to compare with");
  return passing(CompareTest{comparison, OwnedValue(element.value)});
}

Condition parseIn(const Element& element) {
  if (!element.value.isArray()) refuseOperand(element, "an array");
  InTest test;
  for (const Element& item : element.value.asDocument()) {
    refuseUndefined(item);
    if (isOperatorDocument(item.value)) {
      refuseQuery(code::badValue, "cannot nest $ under " + std::string(element.key), element.key);
    }
    if (item.value.type == Type::regex) {
      test.patterns.push_back(patternOf(item.value));
    } else {
      test.acceptsNull = test.acceptsNull || item.value.type == Type::null;
      test.values.emplace_back(item.value);
    }
  }
  std::stable_sort(test.values.begin(), test.values.end(), [](const OwnedValue& left, const OwnedValue& right) {
    return compare(left.value(), right.value()) < 0;
  });
  return passing(std::move(test));
}

Condition parseNotIn(const Element& element) {
  return negation(parseIn(element));
}

Condition parseExists(const Element& element) {
  Condition exists = passing(ExistsTest());
  return isTrue(element.value) ? std::move(exists) : negation(std::move(exists));
}

void addTypes(std::bitset<256>& types, const Value& operand) {
  const auto add = [&types](Type type) { types.set(static_cast<std::size_t>(type)); };
  if (operand.type == Type::string) {
    const std::string_view name = operand.asString();
    if (name == "number") {
      for (const Type type : {Type::real, Type::int32, Type::int64, Type::decimal128}) add(type);
      return;
    }
    for (const bson::TypeTraits& traits : bson::allTypes) {
      if (traits.alias == name) return add(traits.type);
    }
    refuseQuery(code::badValue, "$type has the unknown type name " + quoted(name), "$type");
  }
  if (!operand.isNumber()) {
    refuseQuery(code::typeMismatch,
                std::string("$type takes a number, a name or an array of them, not ") + kindOf(operand), "$type");
  }
  const auto number = exactInteger(operand);
  for (const bson::TypeTraits& traits : bson::allTypes) {
    // A server numbers minKey -1.
    if (number && static_cast<std::int8_t>(traits.type) == *number) return add(traits.type);
  }
  refuseQuery(code::badValue, "$type has an unknown number", "$type");
}

Condition parseType(const Element& element) {
  std::bitset<256> types;
  if (element.value.isArray()) {
    if (element.value.asDocument().empty()) refuseQuery(code::failedToParse, "$type has an empty array", element.key);
    for (const Element& item : element.value.asDocument()) addTypes(types, item.value);
  } else {
    addTypes(types, element.value);
  }
  return passing(TypeTest{types});
}

Condition parseSize(const Element& element) {
  const auto size = element.value.isNumber() ? exactInteger(element.value) : std::nullopt;
  if (!size || *size < 0) refuseOperand(element, "an integer that is not negative");
  return passing(SizeTest{static_cast<std::size_t>(*size)});
}

std::int64_t moduloOperand(const Element& mod, const Value& operand) {
  const auto number = truncated(operand);
  if (!number) refuseQuery(code::badValue, "$mod takes two numbers, a divisor and a remainder", mod.key);
  return *number;
}

Condition parseModulo(const Element& element) {
  if (!element.value.isArray()) refuseOperand(element, "an array of a divisor and a remainder");
  const View operands = element.value.asDocument();
  if (operands.count() != 2) {
    refuseQuery(code::badValue, "$mod takes exactly two numbers, not " + std::to_string(operands.count()), element.key);
  }
  auto at = operands.begin();
  const std::int64_t divisor = moduloOperand(element, at->value);
  const std::int64_t remainder = moduloOperand(element, (++at)->value);
  if (divisor == 0) refuseQuery(code::badValue, "the divisor of $mod is 0", element.key);
  return passing(ModuloTest{divisor, remainder});
}

Condition parseOperators(View operators);

Condition parseNot(const Element& element) {
  if (element.value.type == Type::regex) return negation(passing(PatternTest{patternOf(element.value)}));
  if (!element.value.isDocument()) refuseOperand(element, "a document of operators or a regular expression");
  if (element.value.asDocument().empty()) refuseOperand(element, "at least one operator");
  return negation(parseOperators(element.value.asDocument()));
}

Condition parseElemMatch(const Element& element) {
  if (!element.value.isDocument()) refuseOperand(element, "a document");
  const View operand = element.value.asDocument();
  // Operators speak about the elements themselves; anything else, also $and, $or and $nor, is a query on each element.
  const std::string_view first = operand.empty() ? std::string_view() : operand.begin()->key;
  if (isOperatorDocument(element.value) && first != "$and" && first != "$or" && first != "$nor") {
    return passing(ElementValueTest{std::make_unique<Condition>(parseOperators(operand))});
  }
  return passing(ElementQueryTest{std::make_unique<Query>(parseQuery(operand))});
}

bool isElemMatch(const Value& value) {
  return isOperatorDocument(value) && value.asDocument().begin()->key == "$elemMatch";
}

Condition parseAll(const Element& element) {
  if (!element.value.isArray()) refuseOperand(element, "an array");
  const View items = element.value.asDocument();
  Condition all{Condition::Kind::containsAll, {}, {}};
  for (const Element& item : items) {
    const bool elemMatch = isElemMatch(item.value);
    if (elemMatch != isElemMatch(items.begin()->value)) {
      refuseQuery(code::badValue, "$all holds either $elemMatch conditions or values", "$all");
    }
    if (elemMatch) {
      all.parts.push_back(parseOperators(item.value.asDocument()));
    } else if (isOperatorDocument(item.value)) {
      refuseQuery(code::badValue, "$all holds no other operators", "$all");
    } else if (item.value.type == Type::regex) {
      all.parts.push_back(passing(PatternTest{patternOf(item.value)}));
    } else {
      all.parts.push_back(parseEqual(item));
    }
  }
  return all;
}

/// $regex and $options, which belong together in whichever order they stand.
class RegexParts {
 public:
  void add(const Element& element) { element.key == "$regex" ? addRegex(element) : addOptions(element); }

  bool any() const { return hasPattern_ || hasOptions_; }

  Condition condition() const {
    if (!hasPattern_) refuseQuery(code::badValue, "$options needs a $regex", "$options");
    return passing(PatternTest{std::make_unique<Pattern>(pattern_, options_)});
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
  Condition (*parse)(const Element&);
};
constexpr std::array<OperatorParser, 15> operatorParsers = {{{"$eq", parseEqual},
                                                             {"$ne", parseNotEqual},
                                                             {"$gt", parseOrder<Comparison::greater>},
                                                             {"$gte", parseOrder<Comparison::greaterOrEqual>},
                                                             {"$lt", parseOrder<Comparison::less>},
                                                             {"$lte", parseOrder<Comparison::lessOrEqual>},
                                                             {"$in", parseIn},
                                                             {"$nin", parseNotIn},
                                                             {"$exists", parseExists},
                                                             {"$type", parseType},
                                                             {"$not", parseNot},
                                                             {"$elemMatch", parseElemMatch},
                                                             {"$all", parseAll},
                                                             {"$size", parseSize},
                                                             {"$mod", parseModulo}}};

Condition parseOperator(const Element& element) {
  const auto* const found =
      std::find_if(operatorParsers.begin(), operatorParsers.end(),
                   [&element](const OperatorParser& parser) { return parser.name == element.key; });
  if (found != operatorParsers.end()) return found->parse(element);
  refuseKnown(element.key);
  refuseQuery(code::badValue, "unknown operator: " + std::string(element.key), element.key);
}

Condition parseOperators(View operators) {
  Condition all{Condition::Kind::conjunction, {}, {}};
  RegexParts regex;
  for (const Element& element : operators) {
    if (element.key == "$regex" || element.key == "$options") {
      regex.add(element);
    } else {
      all.parts.push_back(parseOperator(element));
    }
  }
  if (regex.any()) all.parts.push_back(regex.condition());
  if (all.parts.size() > 1) return all;
  Condition only = std::move(all.parts.front());
  return only;
}

Condition parseField(const Element& element) {
  if (element.value.type == Type::regex) return passing(PatternTest{patternOf(element.value)});
  if (isOperatorDocument(element.value)) return parseOperators(element.value.asDocument());
  return parseEqual(element);
}

Query parseCombination(Query::Kind kind, const Element& element) {
  if (!element.value.isArray()) refuseOperand(element, "a non-empty array of documents");
  const std::string name(element.key);
  if (element.value.asDocument().empty()) {
    refuseQuery(code::badValue, name + " takes at least one document, not an empty array", element.key);
  }
  Query query;
  query.kind = kind;
  for (const Element& item : element.value.asDocument()) {
    query.parts.push_back(parseUnder(name + '.' + std::string(item.key), [&name, &item] {
      if (!item.value.isDocument()) {
        refuseQuery(code::badValue, name + " takes documents, not " + kindOf(item.value));
      }
      return parseQuery(item.value.asDocument());
    }));
  }
  return query;
}

Query parseTopOperator(const Element& element) {
  if (element.key == "$and") return parseCombination(Query::Kind::all, element);
  if (element.key == "$or") return parseCombination(Query::Kind::any, element);
  if (element.key == "$nor") return parseCombination(Query::Kind::none, element);
  refuseKnown(element.key);
  refuseQuery(code::badValue, "unknown top level operator: " + std::string(element.key), element.key);
}

}  // namespace

bool isOperatorDocument(const Value& value) {
  if (!value.isDocument() || value.asDocument().empty()) return false;
  const std::string_view first = value.asDocument().begin()->key;
  if (first.empty() || first.front() != '$') return false;
  return isMissing(value.asDocument().find("$ref")) || isMissing(value.asDocument().find("$id"));
}

Query parseQuery(View query) {
  Query all;
  for (const Element& element : query) {
    if (element.key == "$comment") continue;
    if (!element.key.empty() && element.key.front() == '$') {
      all.parts.push_back(parseTopOperator(element));
    } else {
      Query field;
      field.kind = Query::Kind::field;
      field.path = Path(element.key);
      field.condition = parseUnder(element.key, [&element] { return parseField(element); });
      all.parts.push_back(std::move(field));
    }
  }
  if (all.parts.size() != 1) return all;
  Query only = std::move(all.parts.front());
  return only;
}

}  // namespace database_client::embedded
