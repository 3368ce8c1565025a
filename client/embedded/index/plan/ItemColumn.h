// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/bson/View.h"
#include "client/embedded/index/items/ItemPaths.h"
#include "client/embedded/index/plan/RecordSet.h"
#include "client/embedded/index/plan/TermScan.h"
#include "client/embedded/index/plan/recogniseItemPipelines.h"
#include "client/embedded/index/segments/termKey.h"
#include "client/embedded/query/values/Path.h"

namespace database_client::embedded::index {

/// The values of one item as a column: of each record the value of the first item of the name, or none.
///
/// The terms of the name are the column, sorted by value: each says which records have the value. They say all there is
/// to know of a record, unless it is *odd*: its value is one of those that the index does not hold (a long text, an
/// array, a decimal), it has two items of the name, or something under the path that is no array of plain items.
/// Whoever walks over the terms leaves odd records out, and reads their documents.
class ItemColumn {
 public:
  /// `scan` must outlive this.
  ItemColumn(const ItemPaths& paths, const TermScan& scan, const ItemReference& item);
  ItemColumn(const ItemColumn&) = delete;
  ItemColumn& operator=(const ItemColumn&) = delete;
  ItemColumn(ItemColumn&&) = default;
  ItemColumn& operator=(ItemColumn&&) = delete;
  ~ItemColumn() = default;

  /// False where the path is one whose items the index does not have; then nothing else may be asked but `valueIn`.
  bool isIndexed() const { return state_ != ItemPaths::State::unknown; }

  /// The terms of values of the classes from `first` to `last`.
  KeyRange valuesOf(ValueClass first, ValueClass last) const;
  /// Where the class and the payload of a value begin in a key of such a term.
  std::size_t valueAt() const { return values_.size(); }

  /// Costs the number of odd records, unless a record may have two items of the name: then that of all terms.
  RecordSet oddRecords() const;
  /// The records that have an item of the name, odd ones apart.
  RecordSet recordsWithItem() const;
  /// The records whose item has no value, or null; likewise.
  RecordSet recordsWithNull() const;
  /// How many records have an item of the name; nullopt when that takes more than looking at counts.
  std::optional<std::uint64_t> countWithItem() const;
  /// About how many records `valuesOf` gives, at once.
  std::uint64_t estimate() const;

  /// The value in a document, as an aggregation finds it; missing when there is none.
  bson::Value valueIn(bson::View document) const;

 private:
  bool isNamed(const bson::Value& element) const;

  const TermScan& scan_;
  Path path_;
  bson::Value nameValue_;
  std::vector<bson::Byte> nameBytes_;
  PathId id_ = 0;
  ItemPaths::State state_;
  std::string names_;   ///< what the keys of the name begin with
  std::string values_;  ///< what those of its values begin with
};

}  // namespace database_client::embedded::index
