// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "client/embedded/index/items/ItemIndex.h"
#include "client/embedded/index/plan/selectRecords.h"
#include "client/embedded/query/pipeline/Pipeline.h"

namespace database_client::embedded {

/// What the index tells by itself of a pipeline.
struct IndexAnswer {
  std::size_t stages = 0;  ///< how many of the first stages were answered; 0: none
  /// Gives what they come to. It holds all it needs.
  Pipeline::Source documents{};
};

/// Answers the first stages of a pipeline that counts items (ItemStatistics.h), takes the first records in the order of
/// items, or adds up numbers of items in groups (recogniseItemPipelines.h). The stages that follow are the caller's.
///
/// The result is that of the stages run over all documents in the order of their records, except that groups come in
/// any order. Read are the documents that are given, those whose form says more than the index knows, and those of a
/// narrow filter. Nothing is answered when the pipeline begins differently, when the index cannot tell, and when
/// reading the documents is likely to be faster.
IndexAnswer answerFromIndex(ItemIndex& index, const Pipeline& pipeline, const DocumentSource& documents);

}  // namespace database_client::embedded
