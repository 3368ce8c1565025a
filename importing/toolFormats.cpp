// SPDX-License-Identifier: Apache-2.0
#include "importing/toolFormats.h"

#include <algorithm>
#include <vector>

#include "importing/ToolRows.h"

namespace database_provider::importing {

const ToolFormat* findToolFormat(RowFormat format) {
  static const std::vector<ToolFormat> formats = {
      {RowFormat::junit, openJunit, junitPlan},
      {RowFormat::googleBenchmark, openGoogleBenchmark, googleBenchmarkPlan},
      {RowFormat::pytestBenchmark, openPytestBenchmark, pytestBenchmarkPlan},
      {RowFormat::mlflow, openMlflow, mlflowPlan},
  };
  const auto found =
      std::find_if(formats.begin(), formats.end(), [format](const ToolFormat& tool) { return tool.format == format; });
  return found == formats.end() ? nullptr : &*found;
}

std::vector<std::string> keysKept(const RowReader& rows) {
  const auto* ofTool = dynamic_cast<const ToolRows*>(&rows);
  return ofTool == nullptr ? std::vector<std::string>() : ofTool->keysKept();
}

}  // namespace database_provider::importing

namespace database_provider {

ImportPlan planFor(RowFormat format) {
  const importing::ToolFormat* tool = importing::findToolFormat(format);
  return tool == nullptr ? ImportPlan() : tool->plan();
}

}  // namespace database_provider
