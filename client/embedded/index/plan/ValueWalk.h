// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "client/embedded/index/plan/ItemColumn.h"
#include "client/embedded/index/plan/RecordSet.h"
#include "client/embedded/index/plan/TermScan.h"

namespace database_client::embedded::index {

/// Goes through the values of a column in the order in which a server sorts them, from either end: numbers, texts,
/// object ids, booleans, dates; numbers that are equal come as one value, of whatever kinds they are. Null and values
/// that the index does not hold are not among them.
///
/// It reads ahead a little: upwards some values, more each time; downwards about a block of each segment, since
/// entries are read front to back, and what was read is then gone through from its end. So few values cost the same
/// however many there are.
class ValueWalk {
 public:
  ValueWalk(const TermScan& scan, const ItemColumn& column, bool isDescending);
  /// Of values of one kind alone.
  ValueWalk(const TermScan& scan, const ItemColumn& column, ValueClass kind, bool isDescending);

  /// Moves to the next value; false at the end.
  bool next();
  /// A key of the current value.
  std::string_view key() const { return keyOf(current()); }
  /// The terms of the current value.
  KeyRange terms() const;
  /// Adds the records of the current value that are in `among` (null: any) and not in `except`: the first ones, at
  /// least `most` where there are so many.
  void collect(const RecordSet* among, const RecordSet& except, std::uint64_t most, RecordSet& records) const;

 private:
  /// A value, with its records where they are few and came with the term.
  struct Entry {
    std::size_t keyAt;
    std::size_t keySize;
    std::size_t firstRecord;
    std::size_t records;
    bool isComplete;
  };

  const Entry& current() const { return entries_[isDescending_ ? entries_.size() - at_ : at_ - 1]; }
  std::string_view keyOf(const Entry& entry) const {
    return std::string_view(keys_).substr(entry.keyAt, entry.keySize);
  }
  /// The part of a key that is the same for all keys of equal values, and no other.
  std::string_view valueOf(std::string_view key) const;
  /// The part of a key that all values have that may be told from it by their kind alone.
  std::string_view coarse(std::string_view key) const;
  bool readAhead();
  bool readUpwards();
  void readRange(std::string_view low, std::string_view high, std::size_t most);

  const TermScan& scan_;
  std::size_t valueAt_;
  bool isDescending_;
  std::vector<KeyRange> ranges_;  ///< what is left, the next one last
  std::size_t ahead_;

  std::string keys_;
  std::vector<RecordNumber> records_;
  std::vector<Entry> entries_;  ///< ascending
  std::size_t at_ = 0;
};

}  // namespace database_client::embedded::index
