// SPDX-License-Identifier: Apache-2.0
#include "repository/FoundRecords.h"

#include <algorithm>

namespace database_provider {

namespace {

constexpr int firstBatch = 64;
constexpr int largestBatch = 1024;

}  // namespace

FoundRecords::State::State(const Records& records, const Selection& selection, const FindOptions& options)
    : kind_(records.kind()),
      pages_(records, selection, options),
      batchSize_(options.sort.empty() ? firstBatch : largestBatch) {}

bool FoundRecords::State::advance() {
  if (at_ == batch_.size() && !isLast_) fetch();
  if (at_ == batch_.size()) {
    current.reset();
    return false;
  }
  Record& record = batch_[at_++];
  std::string id = record.id();
  current = FoundRecord{std::move(id), std::move(record)};
  if (at_ == batch_.size() && !isLast_) fetch();
  return true;
}

void FoundRecords::State::fetch() {
  batch_.clear();
  at_ = 0;
  isLast_ = !pages_.next(batchSize_, [this](ObjectProperties& document) {
    batch_.emplace_back(kind_, std::move(document));
    return true;
  });
  batchSize_ = std::min(2 * batchSize_, largestBatch);
}

FoundRecord& FoundRecords::iterator::operator*() const {
  return *state_->current;
}

FoundRecords::iterator& FoundRecords::iterator::operator++() {
  if (!state_->advance()) state_ = nullptr;
  return *this;
}

FoundRecords::FoundRecords(std::unique_ptr<State> state) : state_(std::move(state)) {}
FoundRecords::FoundRecords(FoundRecords&&) noexcept = default;
FoundRecords& FoundRecords::operator=(FoundRecords&&) noexcept = default;
FoundRecords::~FoundRecords() = default;

FoundRecords::iterator FoundRecords::begin() {
  iterator result;
  if (state_->current || state_->advance()) result.state_ = state_.get();
  return result;
}

}  // namespace database_provider
