// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "client/embedded/query/match/Matcher.h"
#include "client/embedded/query/pipeline/Pipeline.h"

/// Two families of pipelines over items, taken apart. Each says what it means to a server; that the index can answer
/// them is nobody's business who writes one. ITEM(P, N) is the value of the first item of the name N in the array P,
/// NUMBER and TIME are that value where it is of the kind, else null, BIN is the number of the bin in which it falls.
/// The templates stand at the head of recogniseItemPipelines.cpp.
///
/// Recognised is the exact form and nothing else: whatever deviates runs as any pipeline does, so that a mistake here
/// costs time and never a result.
namespace database_client::embedded::index {

/// The items of one name in an array.
struct ItemReference {
  std::string path;
  std::string name;

  friend bool operator==(const ItemReference& a, const ItemReference& b) {
    return a.path == b.path && a.name == b.name;
  }
};

/// The beginning of a pipeline that puts records in an order and takes the first of them:
///
///     {$match: …}?, {$project: {_id: 0, record: "$$ROOT", value0: KEY, …}}, {$addFields: {missing0: …, …}},
///     {$sort: {missing0: 1, value0: ±1, …}}, {$skip: …}?, {$limit: …}, {$replaceRoot: {newRoot: "$record"}}
struct SortedRecordsPattern {
  struct Key {
    enum class Kind { item, id, timeOfId };
    Kind kind = Kind::item;
    ItemReference item{};
    bool isDescending = false;
  };

  const Matcher* filter = nullptr;  ///< as `filterOf` tells it
  std::vector<Key> keys{};
  std::uint64_t skip = 0;
  std::uint64_t limit = 0;
  std::size_t answered = 0;  ///< how many stages this is
};

/// The beginning of a pipeline that adds up numbers of records in groups:
///
///     {$match: …}?, {$project: {_id: 0, by0: KEY or BIN, …, value0: NUMBER or TIME, …}},
///     {$group: {_id: {by0: "$by0", …} or null, count: {$sum: 1}, mean0: {$avg: "$value0"}, …}}
struct GroupedFiguresPattern {
  enum class Kind { number, time, value };
  struct Bins {
    double low = 0;
    double width = 1;
    std::int32_t last = 0;  ///< its number is that of all greater ones
  };
  struct By {
    Kind kind = Kind::value;
    ItemReference item{};
    std::optional<Bins> bins{};
  };
  struct Measure {
    Kind kind = Kind::number;
    ItemReference item{};
  };
  enum class Figure { records, count, minimum, mean, deviation, maximum };
  struct Output {
    std::string key;
    Figure figure;
    std::size_t measure;  ///< of no meaning for `records`
  };

  const Matcher* filter = nullptr;  ///< as `filterOf` tells it
  std::vector<By> by{};
  std::vector<Measure> measures{};
  std::vector<Output> outputs{};
  std::size_t answered = 0;
};

/// The name of one of several fields in a pipeline: "value0".
inline std::string numbered(const char* name, std::size_t number) {
  return name + std::to_string(number);
}

/// The query of a first $match; null where there is none, or all records meet it.
const Matcher* filterOf(const Pipeline& pipeline);

std::optional<SortedRecordsPattern> recogniseSortedRecords(const Pipeline& pipeline);
std::optional<GroupedFiguresPattern> recogniseGroupedFigures(const Pipeline& pipeline);

}  // namespace database_client::embedded::index
