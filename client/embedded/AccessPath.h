// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "client/bson/View.h"
#include "client/embedded/query/match/Matcher.h"
#include "client/embedded/storage/Collection.h"
#include "client/embedded/storage/IdScan.h"

namespace database_client::embedded {

/// The query of one call, parsed at most once for all who read it: the choice of an access path, the recheck of
/// candidates, an upsert.
///
/// {_id: value} is known by its bytes, and parsed only where an upsert asks for its tree: most calls look one document
/// up, and one that the key led to needs no comparing. The bytes must outlive this.
class Filter {
 public:
  /// `parsed` is what the query was parsed to, where somebody did; it outlives this.
  explicit Filter(bson::View query, const Matcher* parsed = nullptr);

  /// Whether the query is {_id: value}, which a look-up answers without comparing anything more.
  bool namesOneId() const { return namesOneId_; }
  /// The value of {_id: value}.
  bson::Value id() const { return query_.begin()->value; }
  /// Throws what `Matcher` throws, at the first call.
  const Matcher& matcher() const;

 private:
  bson::View query_;
  bool namesOneId_;
  mutable std::unique_ptr<const Matcher> own_{};
  mutable const Matcher* matcher_;
};

/// The way to the documents that may match a query: by the key of "_id", by the item index, or by a scan. It gives them
/// in insertion order, whichever it is, so that pages fit together; unless the order of "_id" is asked for, which the
/// look-up table of ids gives.
///
/// A candidate is a record number. Its document is read only when somebody asks for it, and it either surely matches or
/// is to be compared with the query (`recheck`); a path may give candidates that do not match, and never leaves one out
/// that does.
///
/// The paths are tried in the order of what they cost at most. A value of "_id" names one record, whatever else the
/// query asks, so nothing is estimated then. The item index decides by estimates whether it is worth it (`plan`). What
/// is left is scanned. Several indexes are never combined: with "_id" known there is nothing left to narrow down.
///
/// Damage: where the read is to go on, a damaged index is not asked and what cannot be read is passed over, so that all
/// that can be read is found.
class AccessPath {
 public:
  AccessPath() = default;
  AccessPath(const AccessPath&) = delete;
  AccessPath& operator=(const AccessPath&) = delete;
  virtual ~AccessPath() = default;

  /// Moves to the next candidate; false at the end.
  virtual bool next() = 0;
  virtual RecordNumber rid() const = 0;
  /// Whether the candidate is to be compared with the query; else it matches.
  virtual bool recheck() const = 0;
  /// The candidate's document; valid until `next`.
  virtual bson::View body() = 0;
  /// The key of the candidate's "_id", for when its document cannot be read; empty where it is not known.
  virtual std::string idKey() = 0;
  /// The same for whoever wants nothing but the "_id", as far as it can be had without the document; empty where it
  /// cannot. Valid until `next`.
  virtual std::string_view coveredId() { return {}; }
  /// For people; empty for a scan.
  const std::string& index() const { return index_; }

 protected:
  std::string index_{};
};

/// What is known of a read besides its query.
struct PathHints {
  bool documentsAreRead = true;    ///< false when only their number counts
  bool passesOverDamage = false;   ///< what cannot be read ends nothing
  std::uint64_t matches = 0;       ///< read at most, 0: all
  RecordNumber after = 0;          ///< only records above this number
  std::optional<IdOrder> order{};  ///< of a query that everything matches, where nothing is passed over
};

/// Chooses between "_id", the index over the items, and a scan. The path keeps nothing of `filter`.
std::unique_ptr<AccessPath> chooseAccessPath(Collection& collection, const Filter& filter, const PathHints& hints);

}  // namespace database_client::embedded
