// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/records.h>

#include <string>
#include <utility>
#include <vector>

#include "tools/core/Records.h"

/// What questions are answered with, as the JSON objects that commands print and that `serve` gives to the page.
namespace database_provider::recordctl {

ObjectProperties countJson(long long count);
ObjectProperties toJson(const Facet& facet);
/// `by` are the categories that the groups are of.
ObjectProperties toJson(const Figures& figures, const std::vector<std::string>& by, bool withMedian);
ObjectProperties toJson(const CoverageCell& cell);
ObjectProperties toJson(const ScenarioCoverage& scenario);
ObjectProperties toJson(const ComparisonRow& row);
ObjectProperties toJson(const Histogram& histogram);
ObjectProperties toJson(const ChangeResult& result, bool canSkip);

/// A name as `names` tells it: a category that is configured, or a description in use.
struct ListedName {
  std::string name;
  const char* kind;
  std::string type;
  long long count;
};
ObjectProperties toJson(const ListedName& name);

std::vector<ListedName> listedNames(RecordKind kind, DataBaseClient& client);

/// Names with commas between them, and a backslash before a comma in one. Throws `UsageError` for an empty one.
std::vector<std::string> namesIn(const std::string& text);

/// Every description that has numbers.
std::vector<std::string> numericNames(const Records& records);

/// The id itself, or the one of which it is the beginning. Throws `UsageError` where several begin so.
std::string wholeId(const Records& records, const std::string& beginning);

/// Where an experiment's data lies, as names and values; empty without a source.
std::vector<std::vector<std::pair<std::string, std::string>>> sourcesOf(const DatabaseRecordInterface& record);

/// Between how many records `compare` looks for differences at most.
constexpr std::size_t mostCompared = 8;

}  // namespace database_provider::recordctl
