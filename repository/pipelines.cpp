// SPDX-License-Identifier: Apache-2.0
#include "repository/pipelines.h"

#include <limits>

#include "records/layout.h"
#include "repository/Node.h"

namespace database_provider::repository {

namespace {

/// The value of the first item of a name; missing where there is none.
Node itemValue(const std::string& path, const std::string& name) {
  const std::string items = "$" + path;
  const Node isNamed = object({{"$eq", array({"$$item.name", object({{"$literal", name}})})}});
  // What is no array, in a record that others wrote, has no items.
  const Node itemsOrNone = object({{"$cond", array({object({{"$isArray", array({items})}}), items, array({})})}});
  const Node named = object({{"$filter", object({{"input", itemsOrNone}, {"as", "item"}, {"cond", isNamed}})}});
  const Node first = object({{"$arrayElemAt", array({named, 0})}});
  return object({{"$let", object({{"vars", object({{"item", first}})}, {"in", "$$item.value"}})}});
}

/// The number of a description, or null. NaN lies below all numbers and counts as none.
Node number(const std::string& name, NumberKind kind) {
  const double lowest = -std::numeric_limits<double>::infinity();
  const Node asNumber =
      object({{"$cond", array({object({{"$and", array({object({{"$isNumber", "$$value"}}),
                                                       object({{"$gte", array({"$$value", lowest})}})})}}),
                               "$$value", nullptr})}});
  const Node asTime = object({{"$cond", array({object({{"$eq", array({object({{"$type", "$$value"}}), "date"})}}),
                                               object({{"$toLong", "$$value"}}), nullptr})}});
  const Node value = itemValue(layout::path::description, name);
  return object({{"$let", object({{"vars", object({{"value", value}})},
                                  {"in", kind == NumberKind::number ? asNumber : asTime}})}});
}

Node binOf(const Bins& bins) {
  const Node bin = object(
      {{"$floor", object({{"$divide", array({object({{"$subtract", array({"$$x", bins.low})}}), bins.width})}})}});
  const Node inRange = object({{"$min", array({bin, bins.last})}});
  const Node binOrNull = object({{"$cond", array({object({{"$eq", array({"$$x", nullptr})}}), nullptr, inRange})}});
  return object(
      {{"$let", object({{"vars", object({{"x", number(bins.description, bins.kind)}})}, {"in", binOrNull}})}});
}

/// When a record was made, as its id says; null for an id that says nothing.
Node creation() {
  return object({{"$cond", array({object({{"$eq", array({object({{"$type", "$_id"}}), "objectId"})}}),
                                  object({{"$toDate", "$_id"}}), nullptr})}});
}

Node sortValue(const SortKey& key) {
  switch (key.field) {
    case SortKey::Field::id:
      return "$_id";
    case SortKey::Field::created:
      return creation();
    case SortKey::Field::category:
      return itemValue(layout::path::category, key.name);
    default:
      return itemValue(layout::path::description, key.name);
  }
}

class Pipeline {
 public:
  explicit Pipeline(const Selection& selection) {
    if (!selection.selectsAll()) add("$match", selection.query());
  }

  void add(const char* stage, Node body) { stages_.elements.emplace_back(object({{stage, std::move(body)}})); }
  ObjectProperties take() const { return toDocument(object({{"pipeline", stages_}})); }

 private:
  Node::Array stages_{};
};

Node::Object computedFields(const GroupedFigures& figures) {
  Node::Object result = object({{"_id", 0}});
  std::size_t by = 0;
  for (const std::string& category : figures.categories) {
    const Node orNull = object({{"$ifNull", array({itemValue(layout::path::category, category), nullptr})}});
    result.fields.emplace_back(numbered("by", by++), orNull);
  }
  if (figures.bins) result.fields.emplace_back(numbered("by", by++), binOf(*figures.bins));
  for (std::size_t i = 0; i < figures.numbers.size(); ++i)
    result.fields.emplace_back(numbered("value", i), number(figures.numbers[i].description, figures.numbers[i].kind));
  return result;
}

Node::Object figuresOf(std::size_t keys, std::size_t numbers) {
  Node::Object id;
  for (std::size_t i = 0; i < keys; ++i) id.fields.emplace_back(numbered("by", i), numbered("$by", i));
  Node::Object result;
  result.fields.emplace_back("_id", keys == 0 ? Node(nullptr) : Node(id));
  result.fields.emplace_back("count", object({{"$sum", 1}}));
  for (std::size_t i = 0; i < numbers; ++i) {
    const std::string value = numbered("$value", i);
    const Node isThere = object({{"$cond", array({object({{"$eq", array({value, nullptr})}}), 0, 1})}});
    result.fields.emplace_back(numbered("count", i), object({{"$sum", isThere}}));
    result.fields.emplace_back(numbered("min", i), object({{"$min", value}}));
    result.fields.emplace_back(numbered("mean", i), object({{"$avg", value}}));
    result.fields.emplace_back(numbered("std", i), object({{"$stdDevSamp", value}}));
    result.fields.emplace_back(numbered("max", i), object({{"$max", value}}));
  }
  return result;
}

/// One document {"name", `field`} for each item at a path.
void addItems(Pipeline& pipeline, const std::string& path, const std::string& field) {
  pipeline.add("$project", object({{path, true}, {"_id", false}}));
  pipeline.add("$unwind", "$" + path);
  pipeline.add("$project", object({{"name", "$" + path + ".name"}, {field, "$" + path + "." + field}, {"_id", false}}));
}

}  // namespace

ObjectProperties sortedRecords(const Selection& selection, const std::vector<SortKey>& keys, bool tiesById, int limit,
                               int skip, const ObjectProperties& projection) {
  Node::Object values = object({{"_id", 0}, {"record", "$$ROOT"}});
  Node::Object missing;
  Node::Object order;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const std::string value = numbered("value", i);
    values.fields.emplace_back(value, sortValue(keys[i]));
    missing.fields.emplace_back(numbered("missing", i), object({{"$lte", array({"$" + value, nullptr})}}));
    order.fields.emplace_back(numbered("missing", i), 1);
    order.fields.emplace_back(value, keys[i].isDescending ? -1 : 1);
  }
  if (tiesById) order.fields.emplace_back("record._id", 1);

  Pipeline pipeline(selection);
  pipeline.add("$project", values);
  pipeline.add("$addFields", missing);
  pipeline.add("$sort", order);
  if (skip > 0) pipeline.add("$skip", skip);
  if (limit > 0) pipeline.add("$limit", limit);
  pipeline.add("$replaceRoot", object({{"newRoot", "$record"}}));
  if (!projection.isEmpty()) pipeline.add("$project", projection);
  return pipeline.take();
}

ObjectProperties GroupedFigures::pipeline(const Selection& selection) const {
  Pipeline pipeline(selection);
  pipeline.add("$project", computedFields(*this));
  pipeline.add("$group", figuresOf(categories.size() + (bins ? 1 : 0), numbers.size()));
  return pipeline.take();
}

ObjectProperties GroupedFigures::extremesPipeline(const Selection& selection) const {
  Pipeline pipeline(selection);
  pipeline.add("$project", computedFields(*this));
  Node::Object extremes = object({{"_id", nullptr}});
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    extremes.fields.emplace_back(numbered("min", i), object({{"$min", numbered("$value", i)}}));
    extremes.fields.emplace_back(numbered("max", i), object({{"$max", numbered("$value", i)}}));
  }
  pipeline.add("$group", extremes);
  return pipeline.take();
}

ObjectProperties GroupedFigures::valuesPipeline(const Selection& selection) const {
  Pipeline pipeline(selection);
  pipeline.add("$project", computedFields(*this));
  return pipeline.take();
}

ObjectProperties facets(const std::string& category, const Selection& selection) {
  ObjectFilter name;
  name.setFilterString(OperationType::equal, "name", category, "i");
  Pipeline pipeline(selection);
  addItems(pipeline, layout::path::category, "value");
  pipeline.add("$match", name.toObjectProeprties());
  pipeline.add("$group", object({{"_id", "$value"}, {"count", object({{"$sum", 1}})}}));
  return pipeline.take();
}

ObjectProperties namesInUse(const char* path, const Selection& selection) {
  Pipeline pipeline(selection);
  addItems(pipeline, path, "type");
  pipeline.add("$group",
               object({{"_id", object({{"name", "$name"}, {"type", "$type"}})}, {"count", object({{"$sum", 1}})}}));
  return pipeline.take();
}

ObjectProperties ages() {
  Pipeline pipeline{Selection()};
  pipeline.add("$match", object({{"_id", object({{"$type", "objectId"}})}}));
  pipeline.add(
      "$group",
      object({{"_id", nullptr}, {"oldest", object({{"$min", "$_id"}})}, {"newest", object({{"$max", "$_id"}})}}));
  return pipeline.take();
}

}  // namespace database_provider::repository
