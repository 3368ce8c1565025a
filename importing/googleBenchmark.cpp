// SPDX-License-Identifier: Apache-2.0
#include "importing/ToolRows.h"

// {"context": {"date": …, "host_name": …, …}, "benchmarks": [{"name": …, "real_time": …, "time_unit": …, …}, …]}, as
// --benchmark_format=json and --benchmark_out write it. Counters stand among the other keys of a benchmark.

namespace database_provider::importing {

namespace {

using database_client::EnteredScope;
using database_client::GroupScope;

class GoogleBenchmarkRows : public JsonDocumentRows {
 public:
  explicit GoogleBenchmarkRows(const std::string& path) : JsonDocumentRows(path, "benchmarks") {}

  std::vector<std::string> keysKept() const override {
    return {"context", "family_index", "per_family_instance_index"};
  }

 protected:
  void arrange(ObjectProperties& row, const ObjectProperties& common) const override {
    row.copyValue("context", common, "context");
    const EnteredScope context = EnteredScope::group(common, "context");
    if (!context) return;
    row.copyValue("host", common, "host_name");
    row.copyValue("executable", common, "executable");
    row.copyValue("date", common, "date");
    const GroupScope own(row, "context");
    for (const char* key : {"host_name", "executable", "date"}) row.removeKey(key);
  }
};

}  // namespace

std::unique_ptr<RowReader> openGoogleBenchmark(const std::string& path) {
  return std::make_unique<GoogleBenchmarkRows>(path);
}

ImportPlan googleBenchmarkPlan() {
  ImportPlan plan;
  plan.categories = {"name", "run_type", "aggregate_name", "time_unit", "host", "executable"};
  plan.descriptions = {{"real_time", PropertyType::real},    {"cpu_time", PropertyType::real},
                       {"iterations", PropertyType::int64},  {"threads", PropertyType::int32},
                       {"repetitions", PropertyType::int32}, {"repetition_index", PropertyType::int32},
                       {"date", PropertyType::time}};
  return plan;
}

}  // namespace database_provider::importing
