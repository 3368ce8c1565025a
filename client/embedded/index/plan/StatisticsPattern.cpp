// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/StatisticsPattern.h"

#include <string_view>
#include <vector>

#include "client/embedded/index/plan/recogniseItemPipelines.h"

namespace database_client::embedded::index {

namespace {

using bson::Type;
using bson::Value;
using bson::View;

using Stage = Pipeline::Description;
using Stages = std::vector<Stage>;

View documentOf(const Stage& stage, std::string_view name) {
  return stage.name == name && stage.operand.isDocument() ? stage.operand.asDocument() : bson::emptyDocument();
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
std::string unwoundPath(const Stage& stage) {
  if (stage.name != "$unwind" || stage.operand.type != Type::string) return {};
  const std::string_view text = stage.operand.asString();
  return text.size() > 1 && text[0] == '$' && text[1] != '$' ? std::string(text.substr(1)) : std::string();
}

bool keepsOnly(const Stage& stage, const std::string& path) {
  const View fields = documentOf(stage, "$project");
  return fields.count() == 2 && isFlag(fields.find(path), true) && isFlag(fields.find("_id"), false);
}

bool takesNameAnd(const Stage& stage, const std::string& path, const std::string& field) {
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

bool recogniseNames(const Pipeline& pipeline, StatisticsPattern& found) {
  const Stages& stages = pipeline.stages();
  if (stages.size() < found.first + 4) return false;
  const View group = documentOf(stages[found.first + 3], "$group");
  found.countKey = countKeyOf(group);
  if (found.countKey.empty() || !isNameAndType(group.find("_id"))) return false;
  return takesNameAnd(stages[found.first + 2], found.path, "type");
}

bool recogniseValues(const Pipeline& pipeline, StatisticsPattern& found) {
  const Stages& stages = pipeline.stages();
  if (stages.size() < found.first + 5) return false;
  const View match = documentOf(stages[found.first + 3], "$match");
  const View group = documentOf(stages[found.first + 4], "$group");
  found.countKey = countKeyOf(group);
  if (found.countKey.empty() || !isText(group.find("_id"), "$value")) return false;
  found.nameFilter = pipeline.matchAt(found.first + 3);
  return match.count() == 1 && match.begin()->key == "name" &&
         takesNameAnd(stages[found.first + 2], found.path, "value");
}

}  // namespace

StatisticsPattern recogniseStatistics(const Pipeline& pipeline) {
  StatisticsPattern found;
  const Stages& stages = pipeline.stages();
  found.filter = filterOf(pipeline);
  found.first = pipeline.matchAt(0) == nullptr ? 0 : 1;
  if (stages.size() < found.first + 4) return found;
  found.path = unwoundPath(stages[found.first + 1]);
  if (found.path.empty() || !keepsOnly(stages[found.first], found.path)) return found;
  if (recogniseNames(pipeline, found)) {
    found.kind = StatisticsPattern::Kind::namesAndTypes;
    found.answered = found.first + 4;
  } else if (recogniseValues(pipeline, found)) {
    found.kind = StatisticsPattern::Kind::values;
    found.answered = found.first + 5;
  }
  return found;
}

}  // namespace database_client::embedded::index
