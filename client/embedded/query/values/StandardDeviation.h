// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <cstdint>
#include <optional>

#include "client/bson/View.h"
#include "client/embedded/query/values/numbers.h"

namespace database_client::embedded {

/// The standard deviation of numbers of any kind, as doubles, by Welford's update: the sum of squares and the square of
/// the sum are nearly equal where numbers are large and lie close together, and their difference loses all digits.
class StandardDeviation {
 public:
  enum class Of { population, sample };

  /// Passes over what is no number.
  void add(const bson::Value& value) {
    if (value.data == nullptr || !value.isNumber()) return;
    const double number = doubleOf(value);
    const double distance = number - mean_;
    mean_ += distance / static_cast<double>(++count_);
    squares_ += distance * (number - mean_);
  }

  /// Nothing for no number, and for one that is a sample.
  std::optional<double> result(Of of) const {
    const std::uint64_t divisor = of == Of::sample && count_ > 0 ? count_ - 1 : count_;
    if (divisor == 0) return std::nullopt;
    return std::sqrt(squares_ / static_cast<double>(divisor));
  }

 private:
  std::uint64_t count_ = 0;
  double mean_ = 0;
  double squares_ = 0;  ///< the sum of the squared distances from the mean
};

}  // namespace database_client::embedded
