// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "client/bson/View.h"
#include "client/embedded/index/items/ItemIndex.h"
#include "client/embedded/index/plan/RecordSet.h"
#include "client/embedded/query/match/Matcher.h"

namespace database_client::embedded {

/// The documents of an index, for as long as a call.
struct DocumentSource {
  RecordNumber last = 0;  ///< no record has a greater number
  /// The document of a record, valid until the next call. Its `data` is null when there is no such document.
  std::function<bson::View(RecordNumber record)> read{};
  /// How many documents there are, in time that grows with them.
  std::function<std::uint64_t()> count{};
};

/// The records that meet a condition, for whoever asks the index about them and reads no document: the index says which
/// they are, and of those it is not sure of the documents are read. nullopt when the index does not know the condition,
/// or is sure of so few that reading all documents is cheaper.
std::optional<RecordSet> selectRecords(ItemIndex& index, const Matcher& condition, const DocumentSource& documents);

}  // namespace database_client::embedded
