// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

/// What things cost, in nanoseconds, roughly and on one machine; only their proportions matter.
namespace database_client::embedded::index::cost {

/// Collecting the records of terms into a set.
constexpr double collecting(std::uint64_t records) {
  return 12.0 * static_cast<double>(records);
}
/// Reading single documents by their record numbers, and checking them.
constexpr double reading(std::uint64_t documents) {
  return 1500.0 * static_cast<double>(documents);
}
/// Reading documents one after the other, and checking them.
constexpr double scanning(double documents) {
  return 900.0 * documents;
}

}  // namespace database_client::embedded::index::cost
