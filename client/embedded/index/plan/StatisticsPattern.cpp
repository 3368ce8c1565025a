// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/StatisticsPattern.h"

#include <algorithm>

namespace database_client::embedded::index {

namespace {

using bson::Type;
using bson::Value;
using bson::View;

Value operandOf(const bson::Element& stage, std::string_view name) {
  if (!stage.value.isDocument()) return {};
  const View document = stage.value.asDocument();
  if (document.empty() || document.begin()->key != name || document.count() != 1) return {};
  return document.begin()->value;
}

View documentOf(const bson::Element& stage, std::string_view name) {
  const Value operand = operandOf(stage, name);
  return operand.data != nullptr && operand.isDocument() ? operand.asDocument() : bson::emptyDocument();
}

bool isText(const Value& value, const std::string& text) {
  return value.data != nullptr && value.type == Type::string && value.asString() == text;
}

bool isFlag(const Value& value, bool flag) {
  if (value.data == nullptr) return false;
  if (value.type == Type::boolean) return value.asBool() == flag;
  return value.type == Type::int32 && value.asInt32() == (flag ? 1 : 0);
}

/// The path of {$unwind: "$path"}; empty for anything else.
std::string unwoundPath(const bson::Element& stage) {
  const Value operand = operandOf(stage, "$unwind");
  if (operand.data == nullptr || operand.type != Type::string) return {};
  const std::string_view text = operand.asString();
  return text.size() > 1 && text[0] == '$' && text[1] != '$' ? std::string(text.substr(1)) : std::string();
}

bool keepsOnly(const bson::Element& stage, const std::string& path) {
  const View fields = documentOf(stage, "$project");
  return fields.count() == 2 && isFlag(fields.find(path), true) && isFlag(fields.find("_id"), false);
}

bool takesNameAnd(const bson::Element& stage, const std::string& path, const std::string& field) {
  const View fields = documentOf(stage, "$project");
  return fields.count() == 3 && isText(fields.find("name"), "$" + path + ".name") &&
         isText(fields.find(field), "$" + path + "." + field) && isFlag(fields.find("_id"), false);
}

bool isNameAndType(const Value& id) {
  if (id.data == nullptr || !id.isDocument() || id.asDocument().count() != 2) return false;
  const bson::Element first = *id.asDocument().begin();
  return first.key == "name" && isText(first.value, "$name") && isText(id.asDocument().find("type"), "$type");
}

/// The key of {$sum: 1} beside "_id"; empty for anything else.
std::string countKeyOf(View group) {
  if (group.count() != 2 || group.begin()->key != "_id") return {};
  const bson::Element count = *++group.begin();
  if (!count.value.isDocument() || count.value.asDocument().count() != 1) return {};
  const bson::Element sum = *count.value.asDocument().begin();
  const bool one = sum.value.type == Type::int32 && sum.value.asInt32() == 1;
  const bool plainKey = count.key.find_first_of(".$") == std::string_view::npos;
  return sum.key == "$sum" && one && plainKey ? std::string(count.key) : std::string();
}

bool recogniseNames(StatisticsPattern& found, std::size_t first) {
  if (found.stages.size() < first + 4) return false;
  const View group = documentOf(found.stages[first + 3], "$group");
  found.countKey = countKeyOf(group);
  if (found.countKey.empty() || !isNameAndType(group.find("_id"))) return false;
  return takesNameAnd(found.stages[first + 2], found.path, "type");
}

bool recogniseValues(StatisticsPattern& found, std::size_t first) {
  if (found.stages.size() < first + 5) return false;
  const View match = documentOf(found.stages[first + 3], "$match");
  const View group = documentOf(found.stages[first + 4], "$group");
  found.countKey = countKeyOf(group);
  if (found.countKey.empty() || !isText(group.find("_id"), "$value")) return false;
  found.nameFilter = match;
  return match.count() == 1 && match.begin()->key == "name" &&
         takesNameAnd(found.stages[first + 2], found.path, "value");
}

}  // namespace

StatisticsPattern recogniseStatistics(View stages) {
  StatisticsPattern found;
  for (const bson::Element& stage : stages) found.stages.push_back(stage);
  if (found.stages.empty()) return found;
  const Value filter = operandOf(found.stages[0], "$match");
  found.hasFilter = filter.data != nullptr && filter.isDocument();
  if (found.hasFilter) found.filter = filter.asDocument();
  const std::size_t first = found.hasFilter ? 1 : 0;
  if (found.stages.size() < first + 4) return found;
  found.path = unwoundPath(found.stages[first + 1]);
  if (found.path.empty() || !keepsOnly(found.stages[first], found.path)) return found;
  if (recogniseNames(found, first)) {
    found.kind = StatisticsPattern::Kind::namesAndTypes;
    found.answered = first + 4;
  } else if (recogniseValues(found, first)) {
    found.kind = StatisticsPattern::Kind::values;
    found.answered = first + 5;
  }
  return found;
}

}  // namespace database_client::embedded::index
