// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "client/bson/View.h"
#include "client/embedded/storage/Collection.h"

namespace database_client::embedded {

/// The documents that may match a query, in insertion order: what a plan comes to.
class AccessPath {
 public:
  AccessPath() = default;
  AccessPath(const AccessPath&) = delete;
  AccessPath& operator=(const AccessPath&) = delete;
  virtual ~AccessPath() = default;

  /// Moves to the next candidate; false at the end.
  virtual bool next() = 0;
  virtual std::int64_t rid() const = 0;
  /// Whether the candidate is to be compared with the query; else it matches.
  virtual bool recheck() const = 0;
  /// The candidate's document; valid until `next`.
  virtual bson::View body() = 0;
  /// The key of the candidate's "_id", for when its document cannot be read; empty where it is not known.
  virtual std::string idKey() = 0;
  /// For people; empty for a scan.
  const std::string& index() const { return index_; }

 protected:
  std::string index_{};
};

/// What the planner is told besides the query.
struct PathHints {
  bool everything = false;       ///< every document matches
  bool usesIndex = true;         ///< the index over the items may be asked
  bool documentsAreRead = true;  ///< false when only their number counts
  bool goesOn = false;           ///< what cannot be read ends nothing
  std::uint64_t matches = 0;     ///< read at most, 0: all
};

/// Whether the query is {_id: value}, which a look-up answers without comparing anything more.
bool namesOneId(bson::View query);

/// Chooses between "_id", the index over the items, and a scan.
std::unique_ptr<AccessPath> chooseAccessPath(Collection& collection, bson::View query, const PathHints& wanted);

}  // namespace database_client::embedded
