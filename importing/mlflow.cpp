// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <tuple>
#include <vector>

#include "importing/ToolRows.h"
#include "values/Number.h"
#include "values/Text.h"

#ifdef DATABASE_PROVIDER_YAML
#include <yaml-cpp/yaml.h>
#endif

// The folder of MLflow's file store: EXPERIMENT/meta.yaml, EXPERIMENT/RUN/meta.yaml, and for each run a file for each
// of its params, tags and metrics, named after it (a slash in a name is a folder). A metric's file has a line for each
// value: when it was logged, the value, and the step. A run's metric is that of its last step, as MLflow shows it.

namespace database_provider::importing {

namespace {

namespace fs = std::filesystem;
using database_client::GroupScope;

#ifdef DATABASE_PROVIDER_YAML

using Meta = std::map<std::string, std::string>;

Meta metaOf(const fs::path& folder) {
  Meta result;
  try {
    for (const auto& entry : YAML::LoadFile((folder / "meta.yaml").string())) {
      if (entry.second.IsScalar()) result[entry.first.as<std::string>()] = entry.second.as<std::string>();
    }
  } catch (const YAML::Exception& error) {
    throw ImportError((folder / "meta.yaml").string() + ": " + error.what());
  }
  return result;
}

/// The folders below one that have a meta.yaml, in the order of their names.
std::vector<fs::path> foldersOf(const fs::path& folder) {
  std::vector<fs::path> result;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(folder, error)) {
    if (fs::is_regular_file(entry.path() / "meta.yaml", error)) result.push_back(entry.path());
  }
  if (!fs::is_directory(folder, error))
    throw ImportError(folder.string() + ": expected a folder of MLflow's file store");
  std::sort(result.begin(), result.end());
  return result;
}

std::string statusName(const std::string& number) {
  static const std::map<std::string, std::string> names = {
      {"1", "RUNNING"}, {"2", "SCHEDULED"}, {"3", "FINISHED"}, {"4", "FAILED"}, {"5", "KILLED"}};
  const auto found = names.find(number);
  return found == names.end() ? number : found->second;
}

std::string contentOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream text;
  text << stream.rdbuf();
  if (!stream) throw ImportError(file.string() + ": cannot be read");
  return text.str();
}

/// The value of the last step; of two of one step the later one.
std::optional<double> lastOf(const fs::path& file) {
  using Place = std::tuple<std::int64_t, std::int64_t>;
  std::optional<double> result;
  Place last;
  std::ifstream lines(file);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string time;
    std::string value;
    std::string step = "0";
    words >> time >> value >> step;
    if (value.empty()) continue;
    auto number = values::parseReal(value);
    if (!number) number = values::parseNonFinite(value);
    const auto when = values::parseInteger(time);
    const auto stepNumber = values::parseInteger(step);
    if (!number || !when || !stepNumber)
      throw ImportError(file.string() + ": expected a time, a value and a step, found " + values::inQuotes(line));
    const Place place{*stepNumber, *when};
    if (result && place < last) continue;
    result = number;
    last = place;
  }
  return result;
}

/// The files below a folder, by the names that they stand for.
std::map<std::string, fs::path> filesOf(const fs::path& folder) {
  std::map<std::string, fs::path> result;
  std::error_code error;
  for (fs::recursive_directory_iterator file(folder, error), end; file != end; file.increment(error)) {
    if (file->is_regular_file(error)) result[file->path().lexically_relative(folder).generic_string()] = file->path();
  }
  return result;
}

class MlflowRows : public ToolRows {
 public:
  explicit MlflowRows(const std::string& path) : ToolRows(path, false, true), experiments_(foldersOf(path)) {
    if (experiments_.empty())
      throw ImportError(path + ": there is no experiment of MLflow's file store in this folder");
  }

  std::vector<std::string> keysKept() const override { return {"artifact_uri"}; }

 protected:
  bool fill(Row& row) override {
    for (;;) {
      while (run_ == runs_.size()) {
        if (experiment_ == experiments_.size()) return false;
        const fs::path& folder = experiments_[experiment_++];
        name_ = metaOf(folder)["name"];
        runs_ = foldersOf(folder);
        run_ = 0;
      }
      const fs::path& folder = runs_[run_++];
      try {
        Meta meta = metaOf(folder);
        // A model that was logged has a folder of its own beside the runs.
        if ((meta["run_id"].empty() && meta["run_uuid"].empty()) || meta["lifecycle_stage"] == "deleted") continue;
        describe(row.parsed, folder, meta);
      } catch (const ImportError& error) {
        row.problem = error.what();
      }
      return true;
    }
  }
  void restart() override {
    experiment_ = 0;
    run_ = 0;
    runs_.clear();
  }

 private:
  void describe(ObjectProperties& row, const fs::path& folder, Meta& meta) const {
    const auto set = [&](const char* key, const std::string& value) {
      if (!value.empty()) row.setValueString(key, value);
    };
    const auto setTime = [&](const char* key, const std::string& text) {
      const auto time = values::parseInteger(text);
      if (time && *time != 0) row.setValueTime(key, *time);
    };
    set("experiment", name_);
    set("run", meta["run_name"]);
    set("run_id", meta["run_id"].empty() ? meta["run_uuid"] : meta["run_id"]);
    set("status", statusName(meta["status"]));
    set("user", meta["user_id"]);
    setTime("start_time", meta["start_time"]);
    setTime("end_time", meta["end_time"]);
    set("artifact_uri", meta["artifact_uri"]);
    for (const char* kind : {"params", "tags"}) {
      const auto files = filesOf(folder / kind);
      if (files.empty()) continue;
      const GroupScope group(row, kind);
      for (const auto& [name, file] : files) row.setValueString(name, contentOf(file));
    }
    const auto metrics = filesOf(folder / "metrics");
    if (metrics.empty()) return;
    const GroupScope group(row, "metrics");
    for (const auto& [name, file] : metrics) {
      if (const auto value = lastOf(file)) row.setValueDouble(name, *value);
    }
  }

  std::vector<fs::path> experiments_;
  std::size_t experiment_ = 0;
  std::string name_{};  ///< of the experiment at hand
  std::vector<fs::path> runs_{};
  std::size_t run_ = 0;
};

#endif

}  // namespace

std::unique_ptr<RowReader> openMlflow(const std::string& path) {
#ifdef DATABASE_PROVIDER_YAML
  return std::make_unique<MlflowRows>(path);
#else
  throw ImportError(path + ": this program was built without yaml-cpp, which the files of MLflow need");
#endif
}

ImportPlan mlflowPlan() {
  ImportPlan plan;
  plan.categories = {"experiment", "run", "status", "user"};
  plan.descriptions = {
      {"run_id", PropertyType::string}, {"start_time", PropertyType::time}, {"end_time", PropertyType::time}};
  return plan;
}

}  // namespace database_provider::importing
