// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "client/embedded/storage/Collection.h"

namespace database_client::embedded {

/// The records that can still be named, once the scan has come to a page that cannot be read.
struct SalvageRemainder {
  std::vector<RecordNumber> rids{};
  std::unordered_map<RecordNumber, std::string> idKeys{};  ///< of all that the index of ids names
  std::size_t at = 0;
};

/// Passes over all documents of a collection in insertion order, as `RowScan` does, and beyond damage: what the tree of
/// the table does not give in one go is looked for from its other end and through the index of ids.
class SalvageScan {
 public:
  /// `after`: only records above this number.
  explicit SalvageScan(Collection& collection, RecordNumber after = 0)
      : collection_(collection),
        reader_(collection),
        after_(after),
        rows_(std::in_place, collection, after),
        rid_(after) {}

  /// Moves to the next record, whether or not it can be read. One more stands at the end where there may be documents
  /// that nothing leads to any more.
  bool next();
  /// 0 where it is not known.
  RecordNumber rid() const { return rid_; }
  /// Throws `DamageError` where it cannot be read. Valid until `next`.
  bson::View body();
  /// The key of its "_id"; empty where it is not known.
  std::string idKey();

 private:
  bool nextBeyondDamage();
  bool nextOfRemainder();
  bool end();
  SalvageRemainder remainder();

  Collection& collection_;
  RowReader reader_;
  RecordNumber after_;
  std::optional<RowScan> rows_;
  std::optional<SalvageRemainder> remainder_{};
  RecordNumber rid_;
  std::optional<RecordNumber> firstDamage_{};  ///< the record that was given before it
  std::vector<RecordNumber> givenSince_{};
  bool isComplete_ = true;  ///< whether each document can still be named
  bool isAhead_ = false;    ///< whether the scan is to begin behind the current record
};

}  // namespace database_client::embedded
