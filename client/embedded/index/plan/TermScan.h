// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "client/embedded/index/items/ItemIndex.h"
#include "client/embedded/index/plan/RecordSet.h"
#include "client/embedded/index/segments/MergedTerms.h"
#include "client/embedded/index/segments/Segment.h"
#include "client/embedded/index/segments/termKey.h"

namespace database_client::embedded::index {

/// Reads terms of all segments of an index. It holds the segments, but their blocks can be read only until the next
/// change of the index.
class TermScan {
 public:
  explicit TermScan(ItemIndex& index);

  /// Throws Error{cancelled} when nobody wants the result any more; for whoever does much with each of many terms.
  void checkWanted() const { blocks_.checkWanted(); }

  /// Gives each part of each term from `low` to below `high`, in no particular order: good for adding up.
  template <class Receive>
  void eachPart(std::string_view low, std::string_view high, Receive receive) const {
    for (const auto& segment : segments_) {
      TermIterator terms(*segment, blocks_);
      for (terms.seek(low); terms.valid() && terms.key() < high; terms.next()) receive(terms);
    }
  }

  using Parts = std::vector<TermIterator*>;

  /// Gives the parts of each term from `low` to below `high` together, in the order of the keys. A receiver that
  /// returns false gets no more.
  template <class Receive>
  void eachGroup(std::string_view low, std::string_view high, Receive receive) const {
    for (MergedTerms terms = merged(low); terms.valid() && terms.key() < high; terms.next()) {
      if constexpr (std::is_void_v<std::invoke_result_t<Receive&, std::string_view, const Parts&>>) {
        receive(terms.key(), terms.group());
      } else if (!receive(terms.key(), terms.group())) {
        return;
      }
    }
  }

  /// Gives the records that have each term from `low` to below `high`: `receive(key, eachRun)`, where
  /// `eachRun(function)` gives the runs of record numbers. A term may come in several calls, of disjoint records.
  template <class Receive>
  void eachTerm(std::string_view low, std::string_view high, Receive receive) const {
    if (!hasTombstones_) {
      return eachPart(low, high, [&](const TermIterator& part) {
        receive(part.key(), [&](auto&& take) { part.forEachAdded(take); });
      });
    }
    eachGroup(low, high, [&](std::string_view key, const Parts& parts) {
      receive(key, [&](auto&& take) { eachSummed(parts, take); });
    });
  }

  /// Gives the runs of the records that have a term, all of whose parts these are.
  template <class Take>
  static void eachSummed(const Parts& parts, Take take) {
    if (isPlain(parts)) {
      for (const TermIterator* part : parts) part->forEachAdded(take);
      return;
    }
    PostingSum().each(parts, take, [](Run) {});
  }
  /// Whether no part deletes anything, so that each record is in one of them.
  static bool isPlain(const Parts& parts) {
    return std::all_of(parts.begin(), parts.end(),
                       [](const TermIterator* part) { return part->term().counts.deleted == 0; });
  }

  /// Where to begin reading for the last terms below `high`: a key not below `low` from which on there is about a block
  /// in each segment, and no more. It begins a block, unless it is `low`.
  std::string_view lastBlock(std::string_view low, std::string_view high) const;

  /// Adds the records that have any term from `low` to below `high`.
  void collect(std::string_view low, std::string_view high, RecordSet& records) const;
  /// About how many records have a term from `low` to below `high`, counted once for each term.
  std::uint64_t estimate(std::string_view low, std::string_view high) const;

 private:
  MergedTerms merged(std::string_view low) const;
  static std::uint64_t estimateIn(const Segment& segment, BlockCache& blocks, std::string_view low,
                                  std::string_view high);

  ItemIndex::Segments segments_;
  BlockCache& blocks_;
  bool hasTombstones_ = false;
};

/// The bounds of all terms of a kind and, where one is given, a name.
struct KeyRange {
  std::string low;
  std::string high;
};
KeyRange allOf(PathId path, TermKind kind);
KeyRange allNamed(PathId path, TermKind kind, std::string_view name);

/// How many records have an item of the name, those that are not indexable apart, by the counts of terms alone; nullopt
/// where these do not tell whether a record has two such items.
std::optional<std::uint64_t> countUnique(const TermScan& scan, PathId path, std::string_view name);

/// Whether no record has two items of the name, those that are not indexable apart. The counts mostly tell, as the
/// items of a name are mostly of one type, which makes one term of them; else the records of the name are collected.
bool isUnique(const TermScan& scan, PathId path, std::string_view name);

/// The names under a path, in no particular order. A name stays as long as the segments that had it are not merged.
std::vector<std::string> namesUnder(const TermScan& scan, PathId path);

}  // namespace database_client::embedded::index
