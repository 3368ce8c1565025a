// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "client/bson/View.h"
#include "client/embedded/index/items/ItemIndex.h"
#include "client/embedded/index/plan/ItemColumn.h"
#include "client/embedded/index/plan/RecordSet.h"
#include "client/embedded/index/plan/TermScan.h"
#include "client/embedded/index/plan/recogniseItemPipelines.h"
#include "client/embedded/index/plan/selectRecords.h"
#include "client/embedded/query/pipeline/SortOrder.h"

namespace database_client::embedded {

/// Finds the first records in the order of items, without reading the others.
///
/// The terms of an item lie in the order of their values. So the values of the first key are gone through from the end
/// that comes first (`ValueWalk`), each with its records, until there are enough; records of one value are put in order
/// by the next key in the same way, and those of no further key by their numbers, which is the order in which a stable
/// sort leaves them. Records without a value come last, in either direction.
///
/// Few records, a narrow filter or a value that few have, are put in order by reading them, since going through values
/// that nobody has asked for would cost more. Odd records (see `ItemColumn`) are read, too, and merged in.
///
/// Not chosen: a walk over the terms from their end. Entries are compressed front to back and postings are read front
/// to back; half a block more is read instead.
class RecordSorter {
 public:
  /// What is given must outlive this.
  RecordSorter(ItemIndex& index, const index::SortedRecordsPattern& pattern, const DocumentSource& documents);

  /// The documents, in order; nullopt when the index cannot tell, or not at a lower price.
  std::optional<std::vector<std::vector<bson::Byte>>> run();

 private:
  using Kind = index::SortedRecordsPattern::Key::Kind;

  struct Level {
    Kind kind;
    bool isDescending;
    std::optional<index::ItemColumn> column{};  ///< none for a key that is no item
    RecordSet odd{};
  };
  struct ReadRecord {
    SortOrder::Key key;
    RecordNumber record;
  };

  bool prepare();
  bool haveArraysInSeveralKeys();
  bool order(std::size_t level, const RecordSet* among);
  bool orderByTerms(std::size_t level, const RecordSet* among);
  bool orderGroup(std::size_t level, const RecordSet& group);
  bool orderByReading(std::size_t level, const RecordSet& records);
  bool takeAscending(const RecordSet& records);
  bool takeWithoutValue(std::size_t level, const RecordSet* among, const RecordSet& equal);
  bool isFull() const { return found_.size() >= wanted_; }
  std::uint64_t missing() const { return wanted_ - found_.size(); }

  SortOrder orderFrom(std::size_t first, std::size_t last) const;
  SortOrder::Key keyIn(bson::View document, std::size_t first, std::size_t last, const SortOrder& order) const;
  SortOrder::Key keyOfTerm(std::size_t level, std::string_view key, const SortOrder& order) const;
  std::vector<ReadRecord> readInOrder(const RecordSet& records, std::size_t first, std::size_t last,
                                      const SortOrder& order) const;

  ItemIndex& index_;
  const index::SortedRecordsPattern& pattern_;
  const DocumentSource& documents_;
  const ItemPaths& paths_;
  index::TermScan scan_;
  std::vector<Level> levels_;
  std::optional<RecordSet> selected_;
  std::uint64_t wanted_;
  std::vector<RecordNumber> found_;
  bool mayBeGone_ = false;  ///< what is being ordered has numbers of which nobody knows whether there is a record
  std::uint64_t gone_ = 0;
};

}  // namespace database_client::embedded
