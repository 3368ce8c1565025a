// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "client/bson/View.h"
#include "client/embedded/index/items/ItemIndex.h"
#include "client/embedded/index/plan/RecordSet.h"

namespace database_client::embedded {

/// How a query is answered: by the record numbers in it, or, without an index, by reading all documents.
///
/// It holds all it needs, so the collection may be changed while its candidates are read. They come in ascending order.
struct Plan {
  struct Candidate {
    std::int64_t rid;
    bool recheck;  ///< the document may match; else it does
  };

  bool usesIndex = false;
  /// For people: "items(recordInfo.category)", or "items(a) and items(b)".
  std::string description;
  /// About how many documents match, an upper bound where it is not known.
  std::uint64_t estimate = 0;
  RecordSet sure;
  RecordSet maybe;

  /// The first candidate whose record number is above `after`.
  std::optional<Candidate> next(std::int64_t after) const;
  /// Whether no candidate has to be rechecked.
  bool exact() const { return maybe.empty(); }
};

/// What the planner knows of a request besides the query.
struct PlannerHints {
  std::uint64_t documents = 0;   ///< in the collection, about
  std::uint64_t wanted = 0;      ///< matches that are read at most (limit + skip), 0: all
  bool documentsAreRead = true;  ///< false when only the number of matches is asked for
};

/// Plans `query`, which a Matcher has accepted.
Plan plan(ItemIndex& index, bson::View query, const PlannerHints& request);

}  // namespace database_client::embedded
