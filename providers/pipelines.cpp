// SPDX-License-Identifier: Apache-2.0
#include "providers/pipelines.h"

#include <utility>

#include "records/layout.h"

namespace database_provider {

using database_client::ArrayScope;
using database_client::GroupScope;

namespace {

/// The stages of an aggregation over the items of the array at a path.
class Pipeline {
 public:
  explicit Pipeline(std::string path) : path_(std::move(path)) {}

  /// One document {"name", field} for each item.
  void unwind(const std::string& field) {
    stage("$project", [&](ObjectProperties& project) {
      project.setValueBool(path_, true);
      project.setValueBool("_id", false);
    });
    append([&](ObjectProperties& stage) { stage.setValueString("$unwind", "$" + path_); });
    stage("$project", [&](ObjectProperties& project) {
      project.setValueString("name", "$" + path_ + ".name");
      project.setValueString(field, "$" + path_ + "." + field);
      project.setValueBool("_id", false);
    });
  }

  template <class Fill>
  void stage(const std::string& operation, Fill fill) {
    append([&](ObjectProperties& stage) {
      const GroupScope body(stage, operation);
      fill(stage);
    });
  }

  ObjectProperties take() && { return std::move(document_); }

 private:
  template <class Fill>
  void append(Fill fill) {
    const ArrayScope stages(document_, "pipeline");
    const GroupScope stage(document_, std::to_string(count_++));
    fill(document_);
  }

  std::string path_;
  ObjectProperties document_;
  int count_ = 0;
};

void countGroups(ObjectProperties& group) {
  const GroupScope count(group, "count");
  group.setValueInt32("$sum", 1);
}

}  // namespace

ObjectProperties descriptionsNamesPipeline() {
  Pipeline pipeline(layout::path::description);
  pipeline.unwind("type");
  pipeline.stage("$group", [](ObjectProperties& group) {
    {
      const GroupScope id(group, "_id");
      group.setValueString("name", "$name");
      group.setValueString("type", "$type");
    }
    countGroups(group);
  });
  return std::move(pipeline).take();
}

ObjectProperties categoriesStatisticsPipeline(const std::string& name) {
  Pipeline pipeline(layout::path::category);
  pipeline.unwind("value");
  pipeline.stage("$match", [&](ObjectProperties& match) {
    const GroupScope condition(match, "name");
    // Not escaped, on purpose: callers may pass a pattern.
    match.setValueString("$regex", "^" + name + "$");
    match.setValueString("$options", "i");
  });
  pipeline.stage("$group", [](ObjectProperties& group) {
    group.setValueString("_id", "$value");
    countGroups(group);
  });
  return std::move(pipeline).take();
}

}  // namespace database_provider
