// SPDX-License-Identifier: Apache-2.0
#include <list>
#include <string>

#include "importing/ToolRows.h"

// {"machine_info": {…}, "commit_info": {…}, "benchmarks": [{"name": …, "params": {…}, "extra_info": {…}, "stats":
// {"mean": …, …}}, …], "datetime": …}, as --benchmark-json writes it.

namespace database_provider::importing {

namespace {

using database_client::EnteredScope;
using database_client::GroupScope;

/// Takes a value out of a member of the document.
void lift(ObjectProperties& row, const char* key, const ObjectProperties& common, const char* group,
          const char* member) {
  const EnteredScope entered = EnteredScope::group(common, group);
  if (entered && common.contains(member)) row.copyValue(key, common, member);
}

class PytestBenchmarkRows : public JsonDocumentRows {
 public:
  explicit PytestBenchmarkRows(const std::string& path) : JsonDocumentRows(path, "benchmarks") {}

  std::vector<std::string> keysKept() const override { return {"machine_info", "options"}; }

 protected:
  void arrange(ObjectProperties& row, const ObjectProperties& common) const override {
    const ObjectProperties whole = row;
    std::list<std::string> figures;
    {
      const EnteredScope stats = EnteredScope::group(whole, "stats");
      if (stats) figures = whole.childKeys();
      for (const std::string& figure : figures) row.copyValue(figure, whole, figure);
    }
    if (!figures.empty()) row.removeKey("stats");
    row.copyValue("datetime", common, "datetime");
    lift(row, "host", common, "machine_info", "node");
    lift(row, "commit", common, "commit_info", "id");
    lift(row, "branch", common, "commit_info", "branch");
    lift(row, "dirty", common, "commit_info", "dirty");
    row.copyValue("machine_info", common, "machine_info");
    const GroupScope machine(row, "machine_info");
    row.removeKey("node");
  }
};

}  // namespace

std::unique_ptr<RowReader> openPytestBenchmark(const std::string& path) {
  return std::make_unique<PytestBenchmarkRows>(path);
}

ImportPlan pytestBenchmarkPlan() {
  ImportPlan plan;
  plan.categories = {"group", "name", "fullname", "host", "commit", "branch"};
  plan.descriptions = {{"datetime", PropertyType::time},    {"min", PropertyType::real},
                       {"max", PropertyType::real},         {"mean", PropertyType::real},
                       {"stddev", PropertyType::real},      {"median", PropertyType::real},
                       {"ops", PropertyType::real},         {"rounds", PropertyType::int64},
                       {"iterations", PropertyType::int64}, {"dirty", PropertyType::boolean}};
  return plan;
}

}  // namespace database_provider::importing
