// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

/// What things cost, in nanoseconds, roughly and on one machine; only their proportions matter.
namespace database_client::embedded::index::cost {

/// Collecting the records of terms into a set.
constexpr double collecting(std::uint64_t records) {
  return 12.0 * static_cast<double>(records);
}
/// Visiting the terms of values one after the other.
constexpr double visiting(double terms) {
  return 60.0 * terms;
}
/// Reading single documents by their record numbers, and checking them.
constexpr double reading(std::uint64_t documents) {
  return 1500.0 * static_cast<double>(documents);
}
/// Reading single documents and passing them through the stages of an aggregation.
constexpr double aggregating(std::uint64_t documents) {
  return 6000.0 * static_cast<double>(documents);
}
/// Passing over the records of terms, to see which of them are in a set.
constexpr double passing(std::uint64_t records) {
  return 5.0 * static_cast<double>(records);
}
/// Reading documents one after the other, and checking them.
constexpr double scanning(double documents) {
  return 900.0 * documents;
}

}  // namespace database_client::embedded::index::cost
