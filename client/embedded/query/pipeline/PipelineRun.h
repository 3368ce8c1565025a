// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "client/embedded/query/pipeline/Stage.h"

namespace database_client::embedded {

/// The stages of one run from number `first` to before `end`, each passing on to the next, the last to `sink`, which
/// outlives the run.
class PipelineRun {
 public:
  PipelineRun(const std::vector<StagePtr>& stages, std::size_t first, std::size_t end, StageRun& sink,
              const RunLimits& limits)
      : head_(&sink) {
    for (std::size_t at = end; at > first; --at) {
      runs_.push_back(stages[at - 1]->start(*head_, limits));
      head_ = runs_.back().get();
    }
  }

  bool take(bson::View document) { return head_->take(document); }
  void end() { head_->end(); }

 private:
  StageRun* head_;
  std::vector<std::unique_ptr<StageRun>> runs_;
};

}  // namespace database_client::embedded
