// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "client/bson/View.h"

namespace database_client::embedded {

class Matcher;

/// One stage at work in one run: takes documents and passes results on to the next.
class StageRun {
 public:
  StageRun() = default;
  StageRun(const StageRun&) = delete;
  StageRun& operator=(const StageRun&) = delete;
  virtual ~StageRun() = default;

  /// Takes a document, valid only during the call; false when nothing that may still come makes a difference.
  virtual bool take(bson::View document) = 0;
  /// There are no more documents.
  virtual void end() = 0;
};

/// What a stage has to know of the run.
struct RunLimits {
  std::size_t memory;  ///< bytes that a stage may hold
};

/// A stage as parsed, of which any number of runs can be started.
class Stage {
 public:
  Stage() = default;
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;
  virtual ~Stage() = default;

  /// `next` and this stage outlive the run.
  virtual std::unique_ptr<StageRun> start(StageRun& next, const RunLimits& limits) const = 0;
  /// The query of a $match; null for any other stage.
  virtual const Matcher* matcher() const { return nullptr; }
};
using StagePtr = std::unique_ptr<const Stage>;

/// Throws Error{query} for a stage that would have to hold more than it may.
[[noreturn]] void refuseMemory(std::string_view stage, const RunLimits& limits);

}  // namespace database_client::embedded
