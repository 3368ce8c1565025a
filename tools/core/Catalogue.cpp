// SPDX-License-Identifier: Apache-2.0
#include "tools/core/Catalogue.h"

#include <algorithm>
#include <set>

#include "tools/core/valueText.h"
#include "tools/values/Nearest.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::inQuotes;
using values::lowered;
using values::Time;

using selection::Expression;
using selection::Value;
using Kind = Expression::Kind;

// Of the form in which the library asks for descriptions, which a store in a file answers without reading a record.
ObjectProperties countOfNames(const std::string& path) {
  return ObjectProperties::fromJson(
      R"({"pipeline": [{"$project": {")" + path + R"(": true, "_id": false}}, {"$unwind": "$)" + path +
      R"("}, {"$project": {"name": "$)" + path + R"(.name", "type": "$)" + path +
      R"(.type", "_id": false}}, {"$group": {"_id": {"name": "$name", "type": "$type"},)" +
      R"( "count": {"$sum": 1}}}]})");
}

bool isAnyThere(RecordKind kind, DataBaseClient& client, const std::string& key, const std::string& name) {
  const RecordPlace& place = placeOf(kind);
  ObjectProperties query;
  query.setValueString(key, name);
  ObjectProperties projection;
  projection.setValueBool("_id", true);
  bool result = false;
  client.findEach(place.database, place.collection, query, projection, 1, 0, [&](ObjectProperties&) {
    result = true;
    return false;
  });
  return result;
}

/// A key of the user block, which no filter sees.
bool isUserKey(RecordKind kind, DataBaseClient& client, const std::string& name) {
  if (name.empty() || name.find('.') != std::string::npos || name.front() == '$') return false;
  const RecordPlace& place = placeOf(kind);
  ObjectProperties query;
  {
    const database_client::GroupScope condition(query, name);
    query.setValueBool("$exists", true);
  }
  bool result = false;
  client.findEach(place.database, place.collection, query, ObjectProperties(), 1, 0, [&](ObjectProperties&) {
    result = true;
    return false;
  });
  return result;
}

bool isObjectId(const std::string& text) {
  return text.size() == 24 && text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

const char* nameOf(Field field) {
  switch (field) {
    case Field::category:
      return "category ";
    case Field::description:
      return "description ";
    default:
      return "category or description ";
  }
}

bool isNumber(PropertyType type) {
  return type == PropertyType::int32 || type == PropertyType::int64 || type == PropertyType::real;
}

PropertyType typeOf(const Value& value) {
  struct {
    PropertyType operator()(const std::string&) const { return PropertyType::string; }
    PropertyType operator()(bool) const { return PropertyType::boolean; }
    PropertyType operator()(std::int64_t) const { return PropertyType::int64; }
    PropertyType operator()(double) const { return PropertyType::real; }
    PropertyType operator()(Time) const { return PropertyType::time; }
  } visitor;
  return std::visit(visitor, value.typed);
}

const char* kindOf(const Value& value) {
  switch (typeOf(value)) {
    case PropertyType::string:
      return "a text";
    case PropertyType::boolean:
      return "a boolean";
    case PropertyType::time:
      return "a time";
    default:
      return "a number";
  }
}

/// Whether values of these kinds are ever compared; numbers of all kinds are.
bool areComparable(PropertyType stored, PropertyType typed) {
  return stored == typed || (isNumber(stored) && isNumber(typed));
}

/// Looks at the conditions of a filter, one after the other.
class FilterReview {
 public:
  FilterReview(RecordKind kind, DataBaseClient& client)
      : kind_(kind), client_(client), catalogue_(Catalogue::of(kind, client)) {}

  void visit(const Expression& expression, bool isNegated) {
    const bool isNegation = expression.kind == Kind::negation;
    for (const Expression& operand : expression.operands) visit(operand, isNegated != isNegation);
    if (expression.kind != Kind::comparison && expression.kind != Kind::oneOf && expression.kind != Kind::has) return;
    if (expression.name.field == Field::id) return reviewId(expression, isNegated);
    if (!isKnown(expression))
      tell(unknown(expression.name));
    else if (!isNegated && expression.kind != Kind::has)
      reviewValues(expression);
  }

  std::vector<std::string> take() { return std::move(sentences_); }

 private:
  /// "has" takes a name in either case.
  bool isKnown(const Expression& condition) const {
    const std::vector<std::string> names = catalogue_.names(condition.name.field);
    const std::string& text = condition.name.text;
    return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
      return name == text || (condition.kind == Kind::has && lowered(name) == lowered(text));
    });
  }

  std::string unknown(const Name& name) {
    if (isUserKey(kind_, client_, name.text))
      return inQuotes(name.text) + " is a key of the user block, which filters do not see";
    return unknownName(name, catalogue_);
  }

  void reviewId(const Expression& condition, bool isNegated) {
    if (isNegated || condition.operation != database_client::OperationType::equal) return;
    for (const Value& value : condition.values) {
      if (!isObjectId(value.text)) tell(inQuotes(value.text) + " is no id as the library makes them, 24 hex digits");
    }
  }

  /// A category takes any value, as the text that was typed.
  void reviewValues(const Expression& condition) {
    const Name& name = condition.name;
    const bool isCategory = name.field != Field::description && catalogue_.hasCategory(name.text);
    if (isCategory || condition.operation == database_client::OperationType::notEqual ||
        condition.operation == database_client::OperationType::notMatches)
      return;
    std::set<std::string> kinds;
    for (const auto& description : catalogue_.descriptions) {
      if (description.name != name.text) continue;
      for (const Value& value : condition.values) {
        if (areComparable(description.type, typeOf(value))) return;
      }
      kinds.insert(typeName(description.type));
    }
    std::string list;
    for (const std::string& kind : kinds) list += (list.empty() ? "" : " or ") + kind;
    const Value& value = condition.values.front();
    tell(inQuotes(name.text) + " is " + list + " in every record that has it, and " + inQuotes(value.text) + " is " +
         kindOf(value) + ", which is never equal, less or more");
  }

  void tell(const std::string& sentence) {
    if (std::find(sentences_.begin(), sentences_.end(), sentence) == sentences_.end()) sentences_.push_back(sentence);
  }

  RecordKind kind_;
  DataBaseClient& client_;
  Catalogue catalogue_;
  std::vector<std::string> sentences_{};
};

}  // namespace

std::set<std::string> namesInUse(RecordKind kind, DataBaseClient& client, Field field) {
  const RecordPlace& place = placeOf(kind);
  const char* path = field == Field::category ? layout::path::category : layout::path::description;
  std::set<std::string> result;
  client.aggregateEach(place.database, place.collection, countOfNames(path), [&](ObjectProperties& group) {
    const auto id = database_client::EnteredScope::group(group, "_id");
    if (id && group.type("name") == PropertyType::string) result.insert(group.valueAsString("name", ""));
    return true;
  });
  return result;
}

Catalogue Catalogue::of(RecordKind kind, DataBaseClient& client) {
  Catalogue result;
  const std::set<std::string> categories = namesInUse(kind, client, Field::category);
  result.categories.assign(categories.begin(), categories.end());
  std::list<DatabaseProviderInterface::Description> descriptions;
  providerOf(kind, client)->enumDescriptionsNames(descriptions);
  result.descriptions.assign(descriptions.begin(), descriptions.end());
  return result;
}

bool Catalogue::hasCategory(const std::string& name) const {
  return std::find(categories.begin(), categories.end(), name) != categories.end();
}

std::vector<std::string> Catalogue::names(Field field) const {
  std::vector<std::string> result;
  if (field != Field::description) result = categories;
  if (field == Field::category) return result;
  for (const auto& description : descriptions) result.push_back(description.name);
  return result;
}

bool isNameInUse(RecordKind kind, DataBaseClient& client, const Name& name) {
  return (name.field != Field::description && isAnyThere(kind, client, layout::path::categoryName, name.text)) ||
         (name.field != Field::category && isAnyThere(kind, client, layout::path::descriptionName, name.text));
}

std::string unknownName(const Name& name, const Catalogue& catalogue) {
  return std::string("no record has a ") + nameOf(name.field) + inQuotes(name.text) +
         suggestion(name.text, catalogue.names(name.field));
}

std::vector<std::string> whyUnmatched(const Expression& filter, RecordKind kind, DataBaseClient& client) {
  FilterReview review(kind, client);
  review.visit(filter, false);
  return review.take();
}

}  // namespace database_provider::recordctl
