// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "database_provider/import.h"

/// What tools write of their results.
///
/// Each format is one file with two functions: a reader, whose rows are plain objects with the keys that the tool's
/// users know, and the plan for those keys that every such file has. The rest (parameters, counters, metrics) is
/// inferred. So everything that holds for plain rows holds for these, too: other columns may be named, a key may be
/// given.
namespace database_provider::importing {

struct ToolFormat {
  RowFormat format;
  std::unique_ptr<RowReader> (*open)(const std::string& path);
  ImportPlan (*plan)();
};

/// The keys of a tool's rows that stay in the user block, whatever they hold: what describes a machine, what was
/// printed.
DATABASE_PROVIDER_EXPORT std::vector<std::string> keysKept(const RowReader& rows);

/// Null for a format of no tool.
const ToolFormat* findToolFormat(RowFormat format);

}  // namespace database_provider::importing
