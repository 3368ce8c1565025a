// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "client/bson/View.h"
#include "client/embedded/sqlite/Statement.h"
#include "client/embedded/storage/Collection.h"

namespace database_client::embedded {

/// Records by "_id".
struct IdOrder {
  bool isDescending = false;
  bson::Value after{};  ///< the "_id" behind which they begin, any record's or none; missing for all
};

/// Passes over the records of a collection in the order of "_id", reading no document but those asked for.
///
/// The look-up table of ids is in the order of the bytes of their keys (`canonicalKey`). That is the order of values
/// between kinds, and within object ids, which most ids are. Of another kind, all ids are gathered and sorted when the
/// first of it comes: keys lead with a length, or with the bytes of a number, the last one first.
class IdScan {
 public:
  IdScan(Collection& collection, const IdOrder& order);
  bool next();
  RecordNumber rid() const { return current_.rid; }
  const std::string& key() const { return current_.key; }
  /// Error{storage} where damage led to a document of another "_id". Valid until `next`.
  bson::View body();

 private:
  struct Entry {
    RecordNumber rid = 0;
    std::string key{};
    std::vector<bson::Byte> id{};  ///< {_id: value}; of those that are gathered
  };

  bool step();
  void gather();
  std::vector<bson::Byte> idOf(const Entry& entry);
  static bson::Value valueOf(const Entry& entry) { return bson::View{entry.id.data(), entry.id.size()}.find("_id"); }

  Collection& collection_;
  IdOrder order_;
  std::string bound_;  ///< the key at which the scan begins
  sqlite::Statement statement_;
  RowReader reader_;
  std::optional<Entry> ahead_{};   ///< stepped to, and not given yet
  std::vector<Entry> gathered_{};  ///< of one kind, the next one last
  bool isAtEnd_ = false;
  Entry current_{};
};

}  // namespace database_client::embedded
