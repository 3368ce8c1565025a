// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "database_provider/records.h"

/// The aggregations by which a store answers questions about its records. Every server from 4.4 on takes them; a store
/// in a file knows their forms and answers them from its index (client/embedded/index/plan/), so they are changed on
/// both sides or not at all.
///
/// A record's categories and descriptions are items of an array. What a form needs of them it computes into plain
/// fields first ("by0", "value0"), rather than unwinding the array: a record then stays one document, so that records
/// which lack a name are counted too, and nothing is counted twice where a record has two names that were asked for.
/// The user's own keys cannot collide with those fields, since the record stands beside them under one key of its own.
namespace database_provider::repository {

/// Records in the order of the keys, none of which is `any`. Ties are in the store's order, which a server does not
/// keep in a sort: there `tiesById` makes one order of them.
ObjectProperties sortedRecords(const Selection& selection, const std::vector<SortKey>& keys, bool tiesById, int limit,
                               int skip, const ObjectProperties& projection);

/// The name of one of several fields in a pipeline, and in its answer: "value0".
inline std::string numbered(const char* name, std::size_t number) {
  return name + std::to_string(number);
}

/// What a number is taken from.
enum class NumberKind { number, time };

/// Sorts the values of a description into bins.
struct Bins {
  std::string description;
  NumberKind kind = NumberKind::number;
  double low = 0;
  double width = 1;
  int last = 0;  ///< the number of the last bin
};

/// Groups of records and the figures of each: "_id" with "by0", "by1" …, "count", and for each number "count0", "min0",
/// "mean0", "std0" and "max0".
struct GroupedFigures {
  struct Number {
    std::string description;
    NumberKind kind = NumberKind::number;
  };

  std::vector<std::string> categories{};  ///< by which records are grouped
  std::optional<Bins> bins{};             ///< by which they are grouped besides
  std::vector<Number> numbers{};

  ObjectProperties pipeline(const Selection& selection) const;
  /// Of all that alone "min0" and "max0", which an index has at hand.
  ObjectProperties extremesPipeline(const Selection& selection) const;
  /// The fields "by0" … and "value0" … of each record, before they are grouped.
  ObjectProperties valuesPipeline(const Selection& selection) const;
};

/// {"_id": value, "count"} of a category, whose name is taken in either letter case.
ObjectProperties facets(const std::string& category, const Selection& selection);

/// {"_id": {"name", "type"}, "count"} of the items at a path of the layout.
ObjectProperties namesInUse(const char* path, const Selection& selection);

/// {"oldest", "newest"}: the ids of the oldest and the newest record, as far as ids say when records were made.
ObjectProperties ages();

}  // namespace database_provider::repository
