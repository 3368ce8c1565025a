// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "client/bson/View.h"

/// An aggregation as a chain of stages through which documents flow.
///
/// A `Stage` is what was parsed, a `StageRun` is one stage at work: it takes a document and pushes results on to the
/// next. `PipelineRun` starts the stages from the last to the first, so that each knows where its results go. A
/// document is valid only during the call that passes it, which is why a stage that keeps something copies it. `take`
/// returns false when nothing that may still come makes a difference, and this travels back to the source: a $limit
/// ends the scan. `end` travels forth once, and is when $group, $sort, $count and $facet put out what they hold.
///
/// Pushed and not pulled, as iterators of a query plan often are, since $facet has one input and many outputs, which
/// pull would make it hold, and since the cursor, the index's counters and sub-pipelines are all sources of the same
/// kind. Nothing is planned in here: who can answer the first stages otherwise asks for `stages()` and runs the rest.
namespace database_client::embedded {

class Matcher;
class Stage;

/// An aggregation, parsed once. Its stages are `$match $project $unwind $group $sort $limit $skip $count $addFields
/// $set $unset $sortByCount $bucket $replaceRoot $replaceWith $facet`; what they compute is an `Expression`. It keeps
/// no reference to the bytes it was made of.
///
/// Documents flow one at a time. $group and $sort hold what they need, at most `memoryLimit` bytes each, else
/// Error{query} with code 292; a $sort before a $limit keeps only the documents that can still come out. $group puts
/// out its groups in the order in which they were first seen, and $sort keeps the order of equal documents.
///
/// The constructor throws Error{unsupported} naming a stage, accumulator or expression that a server knows and this
/// store does not, Error{query} with a server's code for what a server refuses.
class Pipeline {
 public:
  /// Takes one document, valid only during the call; false asks for no more.
  using Receiver = std::function<bool(bson::View)>;
  /// Gives every document to the receiver until it returns false.
  using Source = std::function<void(const Receiver&)>;

  /// One stage as it was written. The views live as long as the pipeline.
  struct Description {
    std::string_view name;  ///< "$match"
    bson::Value operand;
  };

  static constexpr std::size_t defaultMemoryLimit = 100 * 1000 * 1000;
  static constexpr std::size_t maximumStages = 1000;

  /// `stages` holds the stages in order under any keys, such as "0", "1", …
  explicit Pipeline(bson::View stages, std::size_t memoryLimit = defaultMemoryLimit);
  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;
  Pipeline(Pipeline&& other) noexcept;
  Pipeline& operator=(Pipeline&& other) noexcept;
  ~Pipeline();

  /// The stages, for whoever plans which of the first ones are answered in another way.
  const std::vector<Description>& stages() const { return descriptions_; }
  /// The query of a stage, where that is a $match; else null. For them, too, so that nobody parses a query again. It
  /// lives as long as the pipeline.
  const Matcher* matchAt(std::size_t stage) const;

  /// Runs the stages from number `first` to before `end` over the documents of `source`. When it throws, documents may
  /// already have been received.
  void run(const Source& source, const Receiver& receiver, std::size_t first = 0,
           std::size_t end = maximumStages) const;

 private:
  std::vector<bson::Byte> specification_;
  std::vector<Description> descriptions_;
  std::vector<std::unique_ptr<const Stage>> stages_;
  std::size_t memoryLimit_;
};

}  // namespace database_client::embedded
