// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "client/DamageError.h"
#include "client/bson/View.h"
#include "client/embedded/storage/Collection.h"
#include "client/embedded/storage/IdScan.h"
#include "client/embedded/storage/Store.h"
#include "database_client/DataBaseClient.h"

namespace database_client::embedded {

class AccessPath;
class Filter;

/// Which of the matches are wanted.
struct Page {
  std::uint64_t skip = 0;
  std::uint64_t limit = 0;  ///< 0: all
};

/// What the documents are wanted for.
struct CursorUse {
  bool documentsAreRead = true;  ///< false for whoever only counts, which makes another plan the best
  bool bodiesAreWanted = true;   ///< false where a match that needs no look at the document is taken as it is
  /// Told of each document that is passed over since it cannot be read; null: a read fails there.
  const UnreadableHandler* unreadable = nullptr;
  RecordNumber after = 0;  ///< only records above this number
  /// Where nothing but the "_id" is asked for, a match that needs no look at the document is {_id: value}, of the kinds
  /// of ids that their keys tell whole: object ids. Not together with `unreadable`.
  bool isIdEnough = false;
  /// Instead of insertion order; only for a query that everything matches, and where nothing is passed over.
  std::optional<IdOrder> order{};
};

/// The documents of a collection that match a query, in insertion order unless another is asked for: it chooses an
/// access path, reads candidates and rechecks them.
///
/// Used inside a `Store::Reading` or `Store::Writing`. Nothing but the current document is held in memory until the
/// cursor is materialized; from then on it is independent of the store.
class Cursor : public ResultBuffer {
 public:
  /// Throws what `Matcher` throws. Of a null collection nothing matches. `filter` outlives the cursor.
  Cursor(Collection* collection, const Filter& filter, Page page = {}, const CursorUse& use = {});
  Cursor(const Cursor&) = delete;
  Cursor& operator=(const Cursor&) = delete;
  ~Cursor() override;

  /// Moves to the next match; false at the end.
  bool next();
  /// Of the current match; not after `materialize`.
  RecordNumber rid() const;
  /// The current document; valid until `next` or `materialize`. Reads it, where the plan did not have to.
  bson::View body();
  /// Whether the current document is {_id: value}, made without reading the one that is stored.
  bool isCovered() const { return isCovered_; }

  /// For people: the index that is used, empty for none.
  const std::string& indexName() const;
  /// The documents read so far.
  long long examined() const { return examined_; }

  void materialize() override;

 private:
  bool nextMatch();
  bool isMatch();
  bool isPassedOver(const DamageError& error);
  bool nextAhead();
  void read();
  bool cover();

  Collection* collection_;
  const Filter& filter_;
  Page page_;
  CursorUse use_;
  std::unique_ptr<AccessPath> candidates_{};
  std::uint64_t handed_ = 0;
  long long examined_ = 0;
  bool isRead_ = false;
  bool isCovered_ = false;
  bson::View body_{};
  std::vector<bson::Byte> redacted_{};
  /// {_id: object id}: a length, a type, "_id", the id, the end.
  std::array<bson::Byte, 4 + 1 + 4 + bson::objectIdSize + 1> covered_{22, 0, 0, 0, 7, '_', 'i', 'd'};

  bool materialized_ = false;
  std::list<std::vector<bson::Byte>> ahead_{};
  std::vector<bson::Byte> current_{};
  std::exception_ptr failure_{};
};

}  // namespace database_client::embedded
