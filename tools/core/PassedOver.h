// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/database_provider.h>

#include <cstddef>
#include <functional>
#include <set>
#include <string>

namespace database_provider::recordctl {

/// Tells on standard error of the documents that were passed over since they cannot be read: each once, the first of
/// them in full, the others by their number at the end.
class PassedOver {
 public:
  /// `prepare` runs before each line.
  explicit PassedOver(std::function<void()> prepare = {}) : prepare_(std::move(prepare)) {}

  void add(const ObjectProperties& id, const database_client::Error& error);
  std::size_t count() const { return count_; }
  /// Tells how many were not told in full.
  void finish();

 private:
  static constexpr std::size_t mostTold = 20;
  static constexpr std::size_t mostKnown = 100'000;  ///< that are not told twice

  std::function<void()> prepare_;
  std::set<std::string> known_{};
  std::size_t count_ = 0;
};

}  // namespace database_provider::recordctl
