// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/embedded/index/segments/termKey.h"

namespace database_client::embedded {

/// The paths of a collection's documents that matter to the item index, each with a number.
///
/// A path is tracked once some document has an item (a document with "name" or "value") there. If no document had
/// anything but documents there before, and none will have unnoticed, the path is clean: then the index also
/// tells of documents that have something else there, which aggregations have to know. What a path is never changes
/// while there are documents, since removing a document has to find what adding it did.
///
/// The number of paths is limited, since documents may have keys without number (values as keys) and all paths are kept
/// in memory and written when one is added. Beyond the limit a new path is not tracked, and not known to be absent
/// either.
class ItemPaths {
 public:
  using Id = index::PathId;
  enum class State { absent, tracked, unknown };

  static constexpr Id root = 0;
  static constexpr std::size_t softLimit = 1024;  ///< for paths without documents below
  static constexpr std::size_t hardLimit = 4096;

  ItemPaths();
  /// Reads what `bytes` wrote. Throws Error{storage} for anything else.
  explicit ItemPaths(std::string_view bytes);
  std::string bytes() const;

  /// The path of `key` under `parent`, made if there is room; a path that is only noted has less of it.
  std::optional<Id> child(Id parent, std::string_view key, bool onlyNoted);
  /// Notes that a document has something else than items there; true if the path is tracked and clean.
  bool markNonItem(Id id);
  /// Makes the path tracked.
  void track(Id id);
  bool isTracked(Id id) const { return nodes_[id].flags & tracked; }
  bool isClean(Id id) const { return nodes_[id].flags & clean; }

  /// What is known of a path with dots; without a value, and absent or unknown, when it is not tracked.
  State state(std::string_view dotted, Id& id) const;
  /// Whether surely no document ever had anything but null, an empty array or nothing at all there.
  bool neverUsed(std::string_view dotted) const;
  std::string dotted(Id id) const;
  /// The tracked paths alone, for an index without documents: all are clean.
  ItemPaths trackedOnly() const;
  bool allTrackedAreClean() const;
  std::size_t size() const { return nodes_.size(); }

  bool changed() const { return changed_; }
  void setUnchanged() { changed_ = false; }

 private:
  enum Flag : std::uint8_t { tracked = 1, clean = 2, other = 4 };
  struct Node {
    Id parent = 0;
    std::uint8_t flags = 0;
    std::string key{};
    Id next = 0;  // the node that was asked for after this one under the same parent: the likely next
  };

  std::optional<Id> find(Id parent, std::string_view key) const;
  std::optional<Id> follow(std::string_view dotted) const;
  std::size_t slotOf(Id parent, std::string_view key) const;
  Id append(Id parent, std::string_view key);
  void rehash();

  std::vector<Node> nodes_;
  std::vector<Id> table_;      // open addressing; 0: free
  std::vector<Id> lastChild_;  // of each node, the child that was asked for last
  bool overflowed_ = false;    // some path that was seen has no node
  bool changed_ = false;
};

/// Whether a key, as a part of a path in a query, could mean a position in an array.
bool isArrayPosition(std::string_view key);

}  // namespace database_client::embedded
