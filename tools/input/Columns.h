// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/import.h>

#include <string>
#include <vector>

namespace database_provider::recordctl {

/// The most columns that may be named.
constexpr std::size_t maximalColumns = 10'000;

/// Reads what was given behind `--category` ("A,B"), `--description` ("A:TYPE,B:TYPE") and `--file`
/// ("KIND:HOST:COLUMN") into a plan. Throws `UsageError`, also for more than `maximalColumns` of them.
ImportPlan parseColumns(const std::vector<std::string>& categories, const std::vector<std::string>& descriptions,
                        const std::vector<std::string>& files);

/// "A,B" as names, none of them empty or blank, none twice. `option` stands in the message of the `UsageError`.
std::vector<std::string> parseNames(const std::vector<std::string>& texts, const std::string& option);

/// The kind of file of a name as `--file` takes it. Throws `UsageError`.
ObjectType parseObjectType(const std::string& name);

/// The name of a kind of file as `--file` takes it.
std::string objectTypeName(ObjectType type);

}  // namespace database_provider::recordctl
