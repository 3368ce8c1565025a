// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "client/embedded/index/items/ItemIndex.h"
#include "client/embedded/index/plan/RecordSet.h"
#include "client/embedded/query/match/Query.h"

/// Planning a query over the item index: what of it the index can answer, and whether that is cheaper than a scan.
///
/// The query, a tree of conditions, becomes a tree of index conditions (`buildIndexConditions`): one on items is a set
/// of ranges of terms, beside which conjunctions and disjunctions stand. Each range has a cardinality, estimated from
/// the counts in the heads of segments without reading a posting list. The estimate of the whole decides between the
/// index and the scan (`cost.h`: reading one record by its number costs more than reading the next in order, so an
/// index condition that selects most records is worth nothing). Only then are posting lists read, into sets of record
/// numbers; of a conjunction the most selective part first, the others only as long as they cost less than rechecking
/// what is left.
///
/// Invariants: the two sets hold all records that match, and no record is in both. What is `sure` matches, without a
/// look at the document; what is `maybe` the matcher has to look at, since the index knows only a hash of a long text,
/// nothing of a document that is not indexable, or nothing of some condition. A condition that is not understood here
/// is left to the matcher, so that the planner can be wrong about costs and never about results.
///
/// Sets of record numbers, and not iterators over posting lists that are merged on the fly, which would begin to answer
/// sooner: posting lists lie in as many segments as there are, with deletions among them, and a set gives the records
/// in insertion order, however it was put together, at a bit for a record. There are no histograms: the counts in block
/// heads are kept anyway, are exact for single values, and never stale.
namespace database_client::embedded {

/// How a query is answered: by the record numbers in it, or, without an index, by reading all documents.
///
/// It holds all it needs, so the collection may be changed while its candidates are read. They come in ascending order.
struct Plan {
  struct Candidate {
    RecordNumber rid;
    bool recheck;  ///< the document may match; else it does
  };

  bool usesIndex = false;
  /// For people: "items(recordInfo.category)", or "items(a) and items(b)".
  std::string description;
  /// The cardinality of the result, about; an upper bound where it is not known.
  std::uint64_t estimate = 0;
  RecordSet sure;
  RecordSet maybe;

  /// The first candidate whose record number is above `after`.
  std::optional<Candidate> next(RecordNumber after) const;
  /// Whether no candidate has to be rechecked.
  bool exact() const { return maybe.empty(); }
};

/// What the planner knows besides the query.
struct PlannerHints {
  std::uint64_t documents = 0;   ///< in the collection, about: its cardinality
  std::uint64_t wanted = 0;      ///< matches that are read at most (limit + skip), 0: all
  bool documentsAreRead = true;  ///< false when only the number of matches is asked for
};

Plan plan(ItemIndex& index, const Query& query, const PlannerHints& hints);

}  // namespace database_client::embedded
