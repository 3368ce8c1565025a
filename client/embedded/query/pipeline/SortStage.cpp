// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/pipeline/SortStage.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "client/embedded/query/pipeline/SortOrder.h"

namespace database_client::embedded {

using bson::Value;
using bson::View;

namespace {

/// What an entry costs besides its bytes, about.
constexpr std::size_t entryOverhead = 100;

struct Entry {
  SortOrder::Key key;
  std::size_t place;
  std::vector<bson::Byte> document;

  std::size_t memory() const { return key.size() + document.size() + entryOverhead; }
};

/// With a bound on what is kept, the entries form a heap whose top is the first to be dropped.
class SortRun : public StageRun {
 public:
  SortRun(const SortOrder& order, std::optional<std::size_t> kept, StageRun& next, const RunLimits& limits)
      : order_(order), kept_(kept), next_(next), limits_(limits) {}

  bool take(View document) override {
    Entry entry{order_.key(document), place_++, {}};
    // The document is copied only where it stays: of a long scan for a short page most do not.
    const bool full = kept_ && entries_.size() == *kept_;
    if (full && !comesBefore(entry, entries_.front())) return true;
    if (full) drop();
    entry.document.assign(document.data, document.data + document.size);
    add(std::move(entry));
    return true;
  }

  void end() override {
    std::sort(entries_.begin(), entries_.end(),
              [this](const Entry& left, const Entry& right) { return comesBefore(left, right); });
    for (const Entry& entry : entries_) {
      if (!next_.take({entry.document.data(), entry.document.size()})) break;
    }
    next_.end();
  }

 private:
  bool comesBefore(const Entry& left, const Entry& right) const {
    const int result = order_.compare(left.key, right.key);
    return result != 0 ? result < 0 : left.place < right.place;  // Neither the heap nor std::sort is stable.
  }

  auto heapOrder() const {
    return [this](const Entry& left, const Entry& right) { return comesBefore(left, right); };
  }

  void drop() {
    std::pop_heap(entries_.begin(), entries_.end(), heapOrder());
    memory_ -= entries_.back().memory();
    entries_.pop_back();
  }

  void add(Entry&& entry) {
    memory_ += entry.memory();
    if (memory_ > limits_.memory) refuseMemory("$sort", limits_);
    entries_.push_back(std::move(entry));
    if (kept_) std::push_heap(entries_.begin(), entries_.end(), heapOrder());
  }

  const SortOrder& order_;
  std::optional<std::size_t> kept_;
  StageRun& next_;
  RunLimits limits_;
  std::vector<Entry> entries_;
  std::size_t place_ = 0;
  std::size_t memory_ = 0;
};

class SortStage : public Stage {
 public:
  SortStage(const Value& operand, std::optional<std::size_t> kept) : order_(operand), kept_(kept) {}
  std::unique_ptr<StageRun> start(StageRun& next, const RunLimits& limits) const override {
    return std::make_unique<SortRun>(order_, kept_, next, limits);
  }

 private:
  SortOrder order_;
  std::optional<std::size_t> kept_;
};

}  // namespace

StagePtr parseSort(const Value& operand, std::optional<std::size_t> kept) {
  return std::make_unique<SortStage>(operand, kept);
}

}  // namespace database_client::embedded
