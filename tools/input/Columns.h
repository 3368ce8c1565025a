// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/database_provider.h>

#include <string>
#include <vector>

#include "tools/values/Cell.h"

namespace database_provider::recordctl {

/// The most columns that may be named.
constexpr std::size_t maximalColumns = 10'000;

/// Which columns of a file become what of a record; the others go to the user block.
struct Columns {
  struct Description {
    std::string name;
    ColumnType type;
  };
  struct File {
    ObjectType kind;
    std::string host;
    std::string name;
  };

  std::vector<std::string> categories{};
  std::vector<Description> descriptions{};
  std::vector<File> files{};
  TimeUnit timeUnit = TimeUnit::undecided;

  bool isEmpty() const { return categories.empty() && descriptions.empty() && files.empty(); }
  /// Every column that is named, each once.
  std::vector<std::string> names() const;
};

/// Reads what was given behind `--category` ("A,B"), `--description` ("A:TYPE,B:TYPE") and `--file`
/// ("KIND:HOST:COLUMN"). Throws `UsageError`, also for more than `maximalColumns` of them.
Columns parseColumns(const std::vector<std::string>& categories, const std::vector<std::string>& descriptions,
                     const std::vector<std::string>& files);

/// "A,B" as names, none of them empty or blank, none twice. `option` stands in the message of the `UsageError`.
std::vector<std::string> parseNames(const std::vector<std::string>& texts, const std::string& option);

/// The name of a kind of file as `--file` takes it.
std::string objectTypeName(ObjectType type);

}  // namespace database_provider::recordctl
