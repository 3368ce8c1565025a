// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <set>
#include <utility>

#include "database_provider/records.h"
#include "repository/Node.h"
#include "repository/kinds.h"
#include "selection/Parser.h"
#include "values/Nearest.h"
#include "values/Text.h"

namespace database_provider {

using repository::object;
using selection::Expression;
using selection::Field;
using selection::Name;
using values::inQuotes;
using values::lowered;

namespace {

using Kind = Expression::Kind;
using Reason = Remark::Reason;

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

PropertyType typeOf(const selection::Value& value) {
  struct {
    PropertyType operator()(const std::string&) const { return PropertyType::string; }
    PropertyType operator()(bool) const { return PropertyType::boolean; }
    PropertyType operator()(std::int64_t) const { return PropertyType::int64; }
    PropertyType operator()(double) const { return PropertyType::real; }
    PropertyType operator()(values::Time) const { return PropertyType::time; }
  } visitor;
  return std::visit(visitor, value.typed);
}

const char* kindOf(const selection::Value& value) {
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

/// Whether values of these types are ever compared; numbers of all types are.
bool areComparable(PropertyType stored, PropertyType typed) {
  return stored == typed || (isNumber(stored) && isNumber(typed));
}

/// Whether a path of this name can be looked for in the user record. What a path makes of empty or numbered parts is
/// left alone.
bool canBeUserKey(const std::string& name) {
  return !name.empty() && name != "_id" && name.find('$') == std::string::npos &&
         name.find('\0') == std::string::npos && name.front() != '.' && name.back() != '.' &&
         name.find("..") == std::string::npos &&
         name.compare(0, std::string(layout::key::recordInfo).size(), layout::key::recordInfo) != 0;
}

}  // namespace

/// Looks at what was asked of the records of one kind. The names that they have are read once.
class Records::Review {
 public:
  explicit Review(const Records& records) : records_(records), names_(records.names()) {}

  /// A condition that is negated holds for records that lack the name or have other values, so that only the name of it
  /// can be wrong.
  void visit(const Expression& expression, bool isNegated) {
    const bool isNegation = expression.kind == Kind::negation;
    for (const Expression& operand : expression.operands) visit(operand, isNegated != isNegation);
    if (expression.kind != Kind::comparison && expression.kind != Kind::oneOf && expression.kind != Kind::has) return;
    if (expression.name.field == Field::id) return reviewId(expression, isNegated);
    if (!isKnown(expression)) {
      Remark remark = unknown(expression.name);
      if (remark.reason == Reason::userBlock)
        remark.text = inQuotes(remark.name) + " is a key of the user block, which filters do not see";
      add(std::move(remark));
    } else if (!isNegated && expression.kind != Kind::has) {
      reviewValues(expression);
    }
  }

  /// Why no record has the name.
  Remark unknown(const Name& name) const {
    Remark result;
    result.name = name.text;
    result.position = name.position;
    result.text = std::string("no record has a ") + nameOf(name.field) + inQuotes(name.text);
    const Field other = name.field == Field::category ? Field::description : Field::category;
    if (name.field != Field::any && isName(other, name.text)) {
      result.reason = Reason::otherItem;
      result.text += std::string(" (it is a ") + (other == Field::category ? "category)" : "description)");
    } else if (isUserKey(name.text)) {
      result.reason = Reason::userBlock;
      result.text += " (it is a key of the user block)";
    } else if (isOfOtherKind(name)) {
      result.reason = Reason::otherKind;
      result.text += records_.kind() == RecordKind::experiment ? " (but scenarios have)" : " (but experiments have)";
    } else {
      std::vector<std::string> candidates;
      for (const NameInUse& candidate : names_) {
        if (isOf(name.field, candidate)) candidates.push_back(candidate.name);
      }
      result.nearest = values::nearest(name.text, candidates);
      result.text += values::suggestion(name.text, candidates);
    }
    return result;
  }

  std::vector<Remark> take() { return std::move(remarks_); }

 private:
  static bool isOf(Field field, const NameInUse& name) {
    return field == Field::any || (field == Field::category) == (name.kind == NameInUse::Kind::category);
  }

  bool isName(Field field, const std::string& text) const {
    return std::any_of(names_.begin(), names_.end(),
                       [&](const NameInUse& name) { return isOf(field, name) && name.name == text; });
  }

  /// "has" takes a name in either case.
  bool isKnown(const Expression& condition) const {
    const Name& asked = condition.name;
    if (isName(asked.field, asked.text)) return true;
    return condition.kind == Kind::has && std::any_of(names_.begin(), names_.end(), [&](const NameInUse& name) {
             return isOf(asked.field, name) && lowered(name.name) == lowered(asked.text);
           });
  }

  bool isUserKey(const std::string& name) const {
    if (!canBeUserKey(name)) return false;
    const layout::Place& place = repository::placeOf(records_.kind());
    const ObjectProperties query = repository::toDocument(object({{name, object({{"$exists", true}})}}));
    const ObjectProperties idAlone = repository::toDocument(object({{"_id", true}}));
    bool result = false;
    records_.store().findEach(place.database, place.collection, query, idAlone, 1, 0, [&](ObjectProperties& /*found*/) {
      result = true;
      return false;
    });
    return result;
  }

  /// Whoever may not read records of the other kind is told nothing of them.
  bool isOfOtherKind(const Name& name) const {
    const bool isExperiment = records_.kind() == RecordKind::experiment;
    const Records others(records_.store(), isExperiment ? RecordKind::scenario : RecordKind::experiment);
    try {
      return (name.field != Field::description && others.isInUse(layout::path::categoryName, name.text)) ||
             (name.field != Field::category && others.isInUse(layout::path::descriptionName, name.text));
    } catch (const database_client::Error& error) {
      if (error.kind() != database_client::Error::Kind::authorization) throw;
      return false;
    }
  }

  void reviewId(const Expression& condition, bool isNegated) {
    if (isNegated || condition.operation != OperationType::equal) return;
    for (const selection::Value& value : condition.values) {
      if (value.text.size() == 24 && timeOfId(value.text)) continue;
      add({Reason::noId, value.text, value.position, "",
           inQuotes(value.text) + " is no id as the library makes them, 24 hex digits"});
    }
  }

  /// A category takes any value, as the text that was typed.
  void reviewValues(const Expression& condition) {
    const Name& name = condition.name;
    const bool isCategory = name.field != Field::description && isName(Field::category, name.text);
    if (isCategory || condition.operation == OperationType::notEqual ||
        condition.operation == OperationType::notMatches)
      return;
    std::set<std::string> types;
    for (const NameInUse& description : names_) {
      if (description.kind != NameInUse::Kind::description || description.name != name.text) continue;
      for (const selection::Value& value : condition.values) {
        if (areComparable(description.type, typeOf(value))) return;
      }
      types.insert(typeName(description.type));
    }
    std::string list;
    for (const std::string& type : types) list += (list.empty() ? "" : " or ") + type;
    const selection::Value& value = condition.values.front();
    add({Reason::wrongType, name.text, value.position, "",
         inQuotes(name.text) + " is " + list + " in every record that has it, and " + inQuotes(value.text) + " is " +
             kindOf(value) + ", which is never equal, less or more"});
  }

  void add(Remark remark) {
    const bool isTold =
        std::any_of(remarks_.begin(), remarks_.end(), [&](const Remark& told) { return told.text == remark.text; });
    if (!isTold) remarks_.push_back(std::move(remark));
  }

  const Records& records_;
  std::vector<NameInUse> names_;
  std::vector<Remark> remarks_{};
};

std::vector<Remark> Records::remarks(const std::string& filter) const {
  const Expression asked = selection::parseFilter(filter);
  if (asked.kind == Kind::all && asked.operands.empty()) return {};
  Review review(*this);
  review.visit(asked, false);
  return review.take();
}

std::optional<Remark> Records::remarkOn(const std::string& name, std::optional<NameInUse::Kind> kind) const {
  const bool mayBeCategory = kind != NameInUse::Kind::description;
  const bool mayBeDescription = kind != NameInUse::Kind::category;
  if ((mayBeCategory && isInUse(layout::path::categoryName, name)) ||
      (mayBeDescription && isInUse(layout::path::descriptionName, name)))
    return std::nullopt;
  const Field field = !mayBeDescription ? Field::category : !mayBeCategory ? Field::description : Field::any;
  return Review(*this).unknown({field, name});
}

}  // namespace database_provider
