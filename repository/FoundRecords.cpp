// SPDX-License-Identifier: Apache-2.0
#include "repository/FoundRecords.h"

#include <algorithm>

namespace database_provider {

bool FoundRecords::State::advance() {
  if (at == batch.size() && !isLast) fetch();
  if (at == batch.size()) {
    current.reset();
    return false;
  }
  Record& record = batch[at++];
  std::string id = record.id();
  current = FoundRecord{std::move(id), std::move(record)};
  // The next batch begins behind this record, which the caller may be about to remove.
  if (at == batch.size() && !isLast) fetch();
  return true;
}

void FoundRecords::State::fetch() {
  constexpr std::size_t largestBatch = 1024;
  FindOptions options = next;
  const auto size = static_cast<int>(batchSize);
  options.limit = isLimited ? std::min(next.limit, size) : size;
  batch.clear();
  at = 0;
  records.forEach(selection, options, [this](Record&& record) {
    batch.push_back(std::move(record));
    return true;
  });
  const auto count = static_cast<int>(batch.size());
  if (isLimited) next.limit -= count;
  isLast = count < options.limit || (isLimited && next.limit == 0);
  batchSize = std::min(2 * batchSize, largestBatch);
  // An id of another kind than those of the library cannot be gone on from.
  const bool canGoOnFromId = next.sort.empty() && count > 0 && !batch.back().id().empty();
  if (canGoOnFromId) {
    next.after = batch.back().id();
    next.skip = 0;
  } else {
    next.skip += count;
  }
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
