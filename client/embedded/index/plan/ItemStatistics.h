// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "client/bson/View.h"
#include "client/embedded/index/items/ItemIndex.h"
#include "client/embedded/index/plan/selectRecords.h"
#include "client/embedded/query/pipeline/Pipeline.h"

namespace database_client::embedded {

/// Takes the bytes of one group; false asks for no more.
using GroupReceiver = std::function<bool(std::vector<bson::Byte>&&)>;

/// The groups of an aggregation, in the order in which they were first seen. About 40 bytes for each, and twice those
/// of its value.
class GroupCounts {
 public:
  /// Adds to the group of `id`, a document {"_id": …}. False when the group has been seen with another form of an equal
  /// id: which of them a server would give depends on the order of the documents.
  bool add(const std::vector<bson::Byte>& id, std::int64_t count);
  /// Gives each group that has some as a document {"_id": …, `countKey`: …}.
  void give(const std::string& countKey, const GroupReceiver& receive) const;

 private:
  struct Group {
    std::size_t at;  ///< in `bytes_`: the canonical key, then the id
    std::uint32_t keySize;
    std::uint32_t idSize;
    std::int64_t count;
  };

  std::string_view keyOf(const Group& group) const;
  std::string_view idOf(const Group& group) const;
  std::size_t placeOf(const std::string& key) const;
  void rehash();

  std::string bytes_{};
  std::vector<Group> groups_{};
  std::vector<std::uint32_t> table_{};  ///< number of a group + 1; 0: free
};

/// Items counted by the index.
struct ItemCounts {
  std::size_t stages = 0;  ///< how many of the first stages were answered
  std::string countKey{};
  GroupCounts groups{};
};

/// Answers two kinds of aggregation from the counters of the index: the number of items for each name and type,
///
///     {$project: {P: true, _id: false}}, {$unwind: "$P"}, {$project: {name: "$P.name", type: "$P.type", _id: false}},
///     {$group: {_id: {name: "$name", type: "$type"}, count: {$sum: 1}}}
///
/// and the number of items for each value, of items whose name meets a condition,
///
///     {$project: {P: true, _id: false}}, {$unwind: "$P"}, {$project: {name: "$P.name", value: "$P.value", _id:
///     false}},
///     {$match: {name: {$regex: …, $options: …}}}, {$group: {_id: "$value", count: {$sum: 1}}}
///
/// each also with {$match: …} before it, as far as the index answers that and it does not select so few records that
/// reading them is cheaper. Stages that follow are the caller's.
///
/// No stage is answered when the pipeline begins differently or the index cannot tell. Only documents of an unusual
/// shape are read.
ItemCounts countItems(ItemIndex& index, const Pipeline& pipeline, const DocumentSource& documents);

}  // namespace database_client::embedded
