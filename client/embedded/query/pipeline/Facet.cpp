// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/pipeline/Facet.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "client/bson/Writer.h"
#include "client/embedded/query/pipeline/PipelineRun.h"
#include "client/embedded/query/values/Path.h"
#include "client/embedded/query/values/errors.h"

namespace database_client::embedded {

using bson::Byte;
using bson::Element;
using bson::IndexKey;
using bson::Value;
using bson::View;
using bson::Writer;

namespace {

struct SubPipeline {
  std::string name;
  std::vector<StagePtr> stages;
};

/// The documents that come out of one sub-pipeline, as an array.
class Collector : public StageRun {
 public:
  explicit Collector(std::size_t& total) : total_(total) {}
  bool take(View document) override {
    total_ += document.size;
    if (total_ > bson::maximumSize) {
      refuseDocument(code::bsonObjectTooLarge, "the results of $facet exceed 16777216 bytes", "$facet");
    }
    results_.appendDocument(IndexKey(count_++), document);
    return true;
  }
  void end() override {}
  std::vector<Byte> results() { return results_.take(); }

 private:
  std::size_t& total_;
  Writer results_;
  std::size_t count_ = 0;
};

/// Each document goes to all branches that still want one. What they put out is held until the end, since it makes one
/// document, which comes out also where none went in; that bounds it better than the memory of a stage would.
class FacetRun : public StageRun {
 public:
  FacetRun(const std::vector<SubPipeline>& pipelines, StageRun& next, const RunLimits& limits) : next_(next) {
    for (const SubPipeline& sub : pipelines) branches_.push_back(std::make_unique<Branch>(sub, total_, limits));
  }

  bool take(View document) override {
    bool wanted = false;
    for (const auto& branch : branches_) wanted = branch->take(document) || wanted;
    return wanted;
  }

  void end() override {
    Writer out;
    for (const auto& branch : branches_) branch->write(out);
    const std::vector<Byte> bytes = out.take();
    checkLimits({bytes.data(), bytes.size()});
    next_.take({bytes.data(), bytes.size()});
    next_.end();
  }

 private:
  class Branch {
   public:
    Branch(const SubPipeline& sub, std::size_t& total, const RunLimits& limits)
        : name_(sub.name), collector_(total), run_(sub.stages, 0, sub.stages.size(), collector_, limits) {}

    bool take(View document) {
      wanted_ = wanted_ && run_.take(document);
      return wanted_;
    }

    void write(Writer& out) {
      run_.end();
      const std::vector<Byte> results = collector_.results();
      out.appendArray(name_, {results.data(), results.size()});
    }

   private:
    const std::string& name_;
    Collector collector_;
    PipelineRun run_;
    bool wanted_ = true;
  };

  StageRun& next_;
  std::size_t total_ = 0;
  std::vector<std::unique_ptr<Branch>> branches_;
};

class FacetStage : public Stage {
 public:
  explicit FacetStage(std::vector<SubPipeline> pipelines) : pipelines_(std::move(pipelines)) {}
  std::unique_ptr<StageRun> start(StageRun& next, const RunLimits& limits) const override {
    return std::make_unique<FacetRun>(pipelines_, next, limits);
  }

 private:
  std::vector<SubPipeline> pipelines_;
};

/// Before they are parsed, so that a server's code is told also for those that the store does not have.
void checkStagesInside(View stages) {
  static constexpr std::array<std::string_view, 6> refused = {"$facet",   "$out",        "$merge",
                                                              "$geoNear", "$indexStats", "$collStats"};
  for (const Element& stage : stages) {
    if (!stage.value.isDocument() || stage.value.asDocument().empty()) continue;
    const std::string_view name = stage.value.asDocument().begin()->key;
    if (std::find(refused.begin(), refused.end(), name) != refused.end()) {
      refuseQuery(code::facetStageInside, std::string(name) + " cannot stand inside $facet", name);
    }
  }
}

}  // namespace

StagePtr parseFacet(const Value& operand, const StagesParser& parseStages) {
  if (!operand.isDocument() || operand.asDocument().empty()) {
    refuseQuery(code::facetNotADocument, "$facet takes a document of pipelines", "$facet");
  }
  std::vector<SubPipeline> pipelines;
  for (const Element& element : operand.asDocument()) {
    if (fieldPath(element.key).size() != 1) {
      refuseQuery(code::fieldNameWithDot, "the field " + quoted(element.key) + " of $facet has a dot", element.key);
    }
    if (!element.value.isArray()) {
      refuseQuery(code::facetFieldNotAnArray,
                  "the field " + quoted(element.key) + " of $facet takes an array of stages", element.key);
    }
    checkStagesInside(element.value.asDocument());
    pipelines.push_back(
        {std::string(element.key), parseUnder(element.key, [&] { return parseStages(element.value.asDocument()); })});
  }
  return std::make_unique<FacetStage>(std::move(pipelines));
}

}  // namespace database_client::embedded
