// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/pipeline/Pipeline.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <string>

#include "client/embedded/query/pipeline/Facet.h"
#include "client/embedded/query/pipeline/Group.h"
#include "client/embedded/query/pipeline/GroupThenSort.h"
#include "client/embedded/query/pipeline/PipelineRun.h"
#include "client/embedded/query/pipeline/SortStage.h"
#include "client/embedded/query/pipeline/Unwind.h"
#include "client/embedded/query/pipeline/simpleStages.h"
#include "client/embedded/query/values/errors.h"

namespace database_client::embedded {

using bson::Element;
using bson::View;

namespace {

/// Stages that a server knows and this store does not.
constexpr std::array<std::string_view, 30> unsupportedStages = {"$bucketAuto",
                                                                "$changeStream",
                                                                "$changeStreamSplitLargeEvent",
                                                                "$collStats",
                                                                "$currentOp",
                                                                "$densify",
                                                                "$documents",
                                                                "$fill",
                                                                "$geoNear",
                                                                "$graphLookup",
                                                                "$indexStats",
                                                                "$listLocalSessions",
                                                                "$listSampledQueries",
                                                                "$listSearchIndexes",
                                                                "$listSessions",
                                                                "$lookup",
                                                                "$merge",
                                                                "$out",
                                                                "$planCacheStats",
                                                                "$queryStats",
                                                                "$querySettings",
                                                                "$rankFusion",
                                                                "$redact",
                                                                "$sample",
                                                                "$search",
                                                                "$searchMeta",
                                                                "$setWindowFields",
                                                                "$shardedDataDistribution",
                                                                "$unionWith",
                                                                "$vectorSearch"};

/// How many documents a $sort has to keep: as many as a $limit behind it lets through, after what a $skip between them
/// drops.
std::optional<std::size_t> keptBySort(const std::vector<Pipeline::Description>& stages, std::size_t after) {
  std::uint64_t skipped = 0;
  for (; after < stages.size(); ++after) {
    const Pipeline::Description& stage = stages[after];
    if (stage.name == "$limit") return skipped + static_cast<std::uint64_t>(parseLimit(stage.operand));
    if (stage.name != "$skip") return std::nullopt;
    skipped += static_cast<std::uint64_t>(parseSkip(stage.operand));
    if (skipped > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  }
  return std::nullopt;
}

std::vector<Pipeline::Description> describe(View stages) {
  std::vector<Pipeline::Description> descriptions;
  for (const Element& stage : stages) {
    if (descriptions.size() == Pipeline::maximumStages)
      refuseQuery(code::tooManyStages, "a pipeline of more than 1000 stages");
    if (!stage.value.isDocument()) {
      refuseQuery(code::typeMismatch, std::string("a stage is a document, not ") + kindOf(stage.value), stage.key);
    }
    if (stage.value.asDocument().count() != 1) {
      refuseQuery(code::stageWithoutOneField, "a stage has exactly one field", stage.key);
    }
    const auto field = stage.value.asDocument().begin();
    descriptions.push_back({field->key, field->value});
  }
  return descriptions;
}

std::vector<StagePtr> parseStages(const std::vector<Pipeline::Description>& stages);

StagePtr parseStage(const std::vector<Pipeline::Description>& stages, std::size_t at) {
  const auto& [name, operand] = stages[at];
  if (StagePtr simple = parseSimpleStage(name, operand)) return simple;
  if (name == "$group") return parseGroup(operand);
  if (name == "$sort") return parseSort(operand, keptBySort(stages, at + 1));
  if (name == "$unwind") return parseUnwind(operand);
  if (name == "$sortByCount") return parseSortByCount(operand);
  if (name == "$bucket") return parseBucket(operand);
  if (name == "$facet") return parseFacet(operand, [](View inside) { return parseStages(describe(inside)); });
  const bool known = std::find(unsupportedStages.begin(), unsupportedStages.end(), name) != unsupportedStages.end();
  if (known) refuseUnsupported(name, "stage");
  refuseQuery(code::unknownStage, "unknown stage " + quoted(name), name);
}

/// Errors are told under the stage's number and name.
std::vector<StagePtr> parseStages(const std::vector<Pipeline::Description>& stages) {
  std::vector<StagePtr> parsed;
  for (std::size_t at = 0; at < stages.size(); ++at) {
    parsed.push_back(parseUnder(std::to_string(at), [&stages, at] {
      try {
        return parseStage(stages, at);
      } catch (const Error& error) {
        const std::string_view name = stages[at].name;
        if (error.where() == name) throw;
        throw under(name, error);
      }
    }));
  }
  return parsed;
}

class ReceiverRun : public StageRun {
 public:
  explicit ReceiverRun(const Pipeline::Receiver& receiver) : receiver_(receiver) {}
  bool take(View document) override {
    wanted_ = wanted_ && receiver_(document);
    return wanted_;
  }
  void end() override {}

 private:
  const Pipeline::Receiver& receiver_;
  bool wanted_ = true;
};

}  // namespace

Pipeline::Pipeline(View stages, std::size_t memoryLimit)
    : specification_(stages.data, stages.data + stages.size),
      descriptions_(describe({specification_.data(), specification_.size()})),
      stages_(parseStages(descriptions_)),
      memoryLimit_(memoryLimit) {}
Pipeline::Pipeline(Pipeline&& other) noexcept = default;
Pipeline& Pipeline::operator=(Pipeline&& other) noexcept = default;
Pipeline::~Pipeline() = default;

const Matcher* Pipeline::matchAt(std::size_t stage) const {
  return stage < stages_.size() ? stages_[stage]->matcher() : nullptr;
}

void Pipeline::run(const Source& source, const Receiver& receiver, std::size_t first, std::size_t end) const {
  ReceiverRun sink(receiver);
  PipelineRun run(stages_, first, std::min(end, stages_.size()), sink, {memoryLimit_});
  source([&run](View document) { return run.take(document); });
  run.end();
}

}  // namespace database_client::embedded
