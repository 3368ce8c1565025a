// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/recogniseItemPipelines.h"

#include <array>
#include <cmath>
#include <string_view>

#include "client/embedded/index/plan/PipelineTemplate.h"
#include "client/embedded/query/values/numbers.h"

namespace database_client::embedded::index {

namespace {

using bson::Type;
using bson::Value;
using bson::View;
using Figure = GroupedFiguresPattern::Figure;
using Key = SortedRecordsPattern::Key;
using Kind = GroupedFiguresPattern::Kind;

/// The forms of expressions. What a placeholder stands for may be of another form again.
struct Templates {
  PipelineTemplate item{
      R"({"$let": {"vars": {"item": {"$arrayElemAt": [{"$filter": {
           "input": {"$cond": [{"$isArray": ["?path"]}, "?path", []]}, "as": "item",
           "cond": {"$eq": ["$$item.name", {"$literal": "?name"}]}}}, 0]}}, "in": "$$item.value"}})"};
  PipelineTemplate number{
      R"({"$let": {"vars": {"value": "?item"}, "in": {"$cond": [
           {"$and": [{"$isNumber": "$$value"}, {"$gte": ["$$value", {"$numberDouble": "-Infinity"}]}]},
           "$$value", null]}}})"};
  PipelineTemplate time{
      R"({"$let": {"vars": {"value": "?item"}, "in": {"$cond": [
           {"$eq": [{"$type": "$$value"}, "date"]}, {"$toLong": "$$value"}, null]}}})"};
  PipelineTemplate value{R"({"$ifNull": ["?item", null]})"};
  PipelineTemplate bin{
      R"({"$let": {"vars": {"x": "?x"}, "in": {"$cond": [{"$eq": ["$$x", null]}, null,
           {"$min": [{"$floor": {"$divide": [{"$subtract": ["$$x", "?low"]}, "?width"]}}, "?last"]}]}}})"};
  PipelineTemplate timeOfId{R"({"$cond": [{"$eq": [{"$type": "$_id"}, "objectId"]}, {"$toDate": "$_id"}, null]})"};

  PipelineTemplate rootIsRecord{R"({"newRoot": "$record"})"};
  PipelineTemplate missing{R"({"$lte": ["?field", null]})"};

  struct Accumulator {
    Figure figure;
    PipelineTemplate form;
  };
  std::array<Accumulator, 6> accumulators{
      {{Figure::records, PipelineTemplate(R"({"$sum": 1})")},
       {Figure::count, PipelineTemplate(R"({"$sum": {"$cond": [{"$eq": ["?field", null]}, 0, 1]}})")},
       {Figure::minimum, PipelineTemplate(R"({"$min": "?field"})")},
       {Figure::mean, PipelineTemplate(R"({"$avg": "?field"})")},
       {Figure::deviation, PipelineTemplate(R"({"$stdDevSamp": "?field"})")},
       {Figure::maximum, PipelineTemplate(R"({"$max": "?field"})")}}};
};

const Templates& templates() {
  static const Templates all;
  return all;
}

bool isText(const Value& value, const std::string& text) {
  return value.data != nullptr && value.type == Type::string && value.asString() == text;
}

/// {_id: 0} or {_id: false}.
bool leavesIdOut(const bson::Element& field) {
  if (field.key != "_id") return false;
  return field.value.type == Type::boolean ? !field.value.asBool() : exactInteger(field.value) == 0;
}

std::optional<ItemReference> itemOf(const Value& expression) {
  Bindings found;
  if (!templates().item.fits(expression, found)) return std::nullopt;
  const Value path = found["path"];
  const Value name = found["name"];
  if (path.type != Type::string || name.type != Type::string) return std::nullopt;
  const std::string_view text = path.asString();
  if (text.size() < 2 || text[0] != '$' || text[1] == '$') return std::nullopt;
  return ItemReference{std::string(text.substr(1)), std::string(name.asString())};
}

/// NUMBER, TIME or, with `value`, KEY.
std::optional<std::pair<Kind, ItemReference>> measureOf(const Value& expression) {
  const std::array<std::pair<Kind, const PipelineTemplate*>, 3> forms = {
      {{Kind::number, &templates().number}, {Kind::time, &templates().time}, {Kind::value, &templates().value}}};
  for (const auto& [kind, form] : forms) {
    Bindings found;
    if (!form->fits(expression, found)) continue;
    const std::optional<ItemReference> item = itemOf(found["item"]);
    if (!item) return std::nullopt;
    return std::pair(kind, *item);
  }
  return std::nullopt;
}

std::optional<GroupedFiguresPattern::By> byOf(const Value& expression) {
  Bindings found;
  if (!templates().bin.fits(expression, found)) {
    const auto measure = measureOf(expression);
    if (!measure || measure->first != Kind::value) return std::nullopt;
    return GroupedFiguresPattern::By{measure->first, measure->second, std::nullopt};
  }
  const auto measure = measureOf(found["x"]);
  const Value low = found["low"];
  const Value width = found["width"];
  const Value last = found["last"];
  if (!measure || measure->first == Kind::value) return std::nullopt;
  if (low.type != Type::real || width.type != Type::real || last.type != Type::int32) return std::nullopt;
  const bool isFinite = std::isfinite(low.asDouble()) && std::isfinite(width.asDouble());
  if (!isFinite || width.asDouble() == 0) return std::nullopt;
  const GroupedFiguresPattern::Bins bins{low.asDouble(), width.asDouble(), last.asInt32()};
  return GroupedFiguresPattern::By{measure->first, measure->second, bins};
}

std::optional<Key> sortKeyOf(const Value& expression) {
  if (isText(expression, "$_id")) return Key{Key::Kind::id};
  Bindings none;
  if (templates().timeOfId.fits(expression, none)) return Key{Key::Kind::timeOfId};
  const std::optional<ItemReference> item = itemOf(expression);
  if (!item) return std::nullopt;
  return Key{Key::Kind::item, *item};
}

/// Goes through the stages of a pipeline, taking those that are expected.
class Stages {
 public:
  explicit Stages(const Pipeline& pipeline) : stages_(pipeline.stages()) {}
  /// The operand of the next stage, if that has the name; else a missing value, and the stage stays the next.
  Value take(std::string_view name) {
    if (taken_ == stages_.size() || stages_[taken_].name != name) return {};
    return stages_[taken_++].operand;
  }
  View takeDocument(std::string_view name) {
    const Value operand = take(name);
    return operand.data != nullptr && operand.isDocument() ? operand.asDocument() : bson::emptyDocument();
  }
  /// A number of documents; 0 where there is no such stage, nullopt for what is no such number.
  std::optional<std::uint64_t> takeNumber(std::string_view name) {
    const Value operand = take(name);
    if (operand.data == nullptr) return 0;
    const std::optional<std::int64_t> number = exactInteger(operand);
    if (!number || *number < 0 || *number > most) return std::nullopt;
    return static_cast<std::uint64_t>(*number);
  }
  std::size_t taken() const { return taken_; }

 private:
  static constexpr std::int64_t most = 1'000'000'000;
  const std::vector<Pipeline::Description>& stages_;
  std::size_t taken_ = 0;
};

bool takeSortKeys(View project, SortedRecordsPattern& pattern) {
  std::size_t at = 0;
  for (const bson::Element& field : project) {
    const std::size_t place = at++;
    if (place == 0 && !leavesIdOut(field)) return false;
    if (place == 1 && (field.key != "record" || !isText(field.value, "$$ROOT"))) return false;
    if (place < 2) continue;
    const std::optional<Key> key = sortKeyOf(field.value);
    if (!key || field.key != numbered("value", place - 2)) return false;
    pattern.keys.push_back(*key);
  }
  return !pattern.keys.empty();
}

bool isMissingOfEach(View addFields, std::size_t keys) {
  std::size_t at = 0;
  for (const bson::Element& field : addFields) {
    Bindings found;
    if (field.key != numbered("missing", at) || !templates().missing.fits(field.value, found)) return false;
    if (!isText(found["field"], "$" + numbered("value", at++))) return false;
  }
  return at == keys;
}

bool takeDirections(View sort, SortedRecordsPattern& pattern) {
  std::size_t at = 0;
  for (const bson::Element& field : sort) {
    const std::size_t number = at / 2;
    const bool isMissing = at++ % 2 == 0;
    if (number == pattern.keys.size() || field.key != numbered(isMissing ? "missing" : "value", number)) return false;
    const std::int64_t direction = exactInteger(field.value).value_or(0);
    if (direction != 1 && (isMissing || direction != -1)) return false;
    if (!isMissing) pattern.keys[number].isDescending = direction == -1;
  }
  return at == 2 * pattern.keys.size();
}

bool takeColumns(View project, GroupedFiguresPattern& pattern) {
  bool isFirst = true;
  for (const bson::Element& field : project) {
    if (std::exchange(isFirst, false)) {
      if (!leavesIdOut(field)) return false;
    } else if (field.key == numbered("by", pattern.by.size()) && pattern.measures.empty()) {
      const std::optional<GroupedFiguresPattern::By> by = byOf(field.value);
      if (!by) return false;
      pattern.by.push_back(*by);
    } else if (field.key == numbered("value", pattern.measures.size())) {
      const auto measure = measureOf(field.value);
      if (!measure || measure->first == Kind::value) return false;
      pattern.measures.push_back({measure->first, measure->second});
    } else {
      return false;
    }
  }
  return !pattern.by.empty() || !pattern.measures.empty();
}

bool isGroupedByAll(const Value& id, std::size_t by) {
  if (by == 0) return id.type == Type::null;
  if (!id.isDocument()) return false;
  std::size_t at = 0;
  for (const bson::Element& field : id.asDocument()) {
    if (field.key != numbered("by", at) || !isText(field.value, "$" + numbered("by", at))) return false;
    ++at;
  }
  return at == by;
}

std::optional<GroupedFiguresPattern::Output> outputOf(const bson::Element& field, std::size_t measures) {
  for (const auto& [figure, form] : templates().accumulators) {
    Bindings found;
    if (!form.fits(field.value, found)) continue;
    if (figure == Figure::records) return GroupedFiguresPattern::Output{std::string(field.key), figure, 0};
    for (std::size_t i = 0; i < measures; ++i) {
      if (isText(found["field"], "$" + numbered("value", i))) return {{std::string(field.key), figure, i}};
    }
    return std::nullopt;
  }
  return std::nullopt;
}

bool takeOutputs(View group, GroupedFiguresPattern& pattern) {
  bool isFirst = true;
  for (const bson::Element& field : group) {
    if (std::exchange(isFirst, false)) {
      if (field.key != "_id" || !isGroupedByAll(field.value, pattern.by.size())) return false;
      continue;
    }
    const auto output = outputOf(field, pattern.measures.size());
    if (!output) return false;
    pattern.outputs.push_back(*output);
  }
  return !isFirst;
}

}  // namespace

const Matcher* filterOf(const Pipeline& pipeline) {
  const Matcher* const match = pipeline.matchAt(0);
  return match == nullptr || match->matchesEverything() ? nullptr : match;
}

std::optional<SortedRecordsPattern> recogniseSortedRecords(const Pipeline& pipeline) {
  SortedRecordsPattern found;
  found.filter = filterOf(pipeline);
  Stages rest(pipeline);
  rest.take("$match");
  if (!takeSortKeys(rest.takeDocument("$project"), found)) return std::nullopt;
  if (!isMissingOfEach(rest.takeDocument("$addFields"), found.keys.size())) return std::nullopt;
  if (!takeDirections(rest.takeDocument("$sort"), found)) return std::nullopt;
  const std::optional<std::uint64_t> skip = rest.takeNumber("$skip");
  const std::optional<std::uint64_t> limit = rest.takeNumber("$limit");
  if (!skip || !limit || *limit == 0) return std::nullopt;
  Bindings none;
  if (!templates().rootIsRecord.fits(rest.take("$replaceRoot"), none)) return std::nullopt;
  found.skip = *skip;
  found.limit = *limit;
  found.answered = rest.taken();
  return found;
}

std::optional<GroupedFiguresPattern> recogniseGroupedFigures(const Pipeline& pipeline) {
  GroupedFiguresPattern found;
  found.filter = filterOf(pipeline);
  Stages rest(pipeline);
  rest.take("$match");
  if (!takeColumns(rest.takeDocument("$project"), found)) return std::nullopt;
  if (!takeOutputs(rest.takeDocument("$group"), found)) return std::nullopt;
  found.answered = rest.taken();
  return found;
}

}  // namespace database_client::embedded::index
