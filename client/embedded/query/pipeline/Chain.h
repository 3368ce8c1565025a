// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <vector>

#include "client/embedded/query/pipeline/Stage.h"

namespace database_client::embedded {

/// The flows of one run, each passing on to the next, the last to `sink`, which outlives the chain.
class Chain {
 public:
  Chain(const std::vector<StagePtr>& stages, std::size_t first, Flow& sink, const RunLimits& limits) : head_(&sink) {
    for (std::size_t at = stages.size(); at > first; --at) {
      flows_.push_back(stages[at - 1]->start(*head_, limits));
      head_ = flows_.back().get();
    }
  }

  bool take(bson::View document) { return head_->take(document); }
  void end() { head_->end(); }

 private:
  Flow* head_;
  std::vector<std::unique_ptr<Flow>> flows_;
};

}  // namespace database_client::embedded
