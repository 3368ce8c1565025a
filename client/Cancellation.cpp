// SPDX-License-Identifier: Apache-2.0
#include "client/Cancellation.h"

#include <utility>

#include "database_client/Error.h"

namespace database_client {

void Cancellation::set(std::function<bool()> isWanted) {
  isWanted_ = std::move(isWanted);
  askedAt_ = {};
  wasWanted_ = true;
}

/// The coarse clock moves every few milliseconds. After a refusal it is asked each time, so that no part of the
/// operation goes on.
bool Cancellation::isDue() noexcept {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  if (wasWanted_ && now.tv_sec == askedAt_.tv_sec && now.tv_nsec == askedAt_.tv_nsec) return false;
  askedAt_ = now;
  return true;
}

bool Cancellation::ask() noexcept {
  try {
    wasWanted_ = isWanted_();
  } catch (...) {
    wasWanted_ = false;
  }
  return wasWanted_;
}

void Cancellation::refuse() {
  throw Error(Error::Kind::cancelled, "cancelled by the caller");
}

}  // namespace database_client
