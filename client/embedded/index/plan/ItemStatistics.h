// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "client/bson/View.h"
#include "client/embedded/index/items/ItemIndex.h"

namespace database_client::embedded {

/// Reads a document by its record number for as long as the call; the view is valid until the next call. Its `data` is
/// null when there is no such document.
using DocumentReader = std::function<bson::View(std::int64_t rid)>;

/// Takes the bytes of one group; false asks for no more.
using GroupReceiver = std::function<bool(std::vector<bson::Byte>&&)>;

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
/// each also with {$match: …} before it, as far as the index answers that. Stages that follow are the caller's.
///
/// The number of stages that were answered, their groups having been given to `receive` as documents; 0, and nothing
/// given, when the pipeline begins differently or the index cannot tell. Only documents of an unusual shape are read.
std::size_t answerFromIndex(ItemIndex& index, bson::View stages, std::uint64_t documents, const DocumentReader& read,
                            const GroupReceiver& receive);

}  // namespace database_client::embedded
