// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "client/bson/View.h"
#include "client/bson/Writer.h"
#include "client/embedded/index/segments/recordNumber.h"
#include "client/embedded/index/segments/termKey.h"
#include "client/embedded/query/values/NumberSum.h"

namespace database_client::embedded::index {

/// What numbers come to: how many, the smallest, the mean, the deviation, the greatest.
///
/// Squares are added up about the mean so far, a few dozen numbers at a time, in extended precision. So the deviation
/// of numbers that are large and close to each other loses nothing, as it would in a sum of squares; Welford's update,
/// which serves as well, divides for each number.
class FigureSums {
 public:
  /// `record` tells which of equal numbers of different kinds comes first. No NaN.
  void add(const EncodedNumber& number, RecordNumber record);

  std::uint64_t count() const { return count_; }
  /// As `$avg` gives it.
  void writeMean(std::string_view key, bson::Writer& out) const;
  /// Of the sample; NaN where a number is infinite, nullopt where the squares are beyond what a double holds. Of two
  /// numbers or more.
  std::optional<double> deviation() const;
  /// Of one number or more; of equal ones that of the first record, as it stands there.
  const EncodedNumber& minimum() const { return minimum_.number; }
  const EncodedNumber& maximum() const { return maximum_.number; }

 private:
  struct Extreme {
    EncodedNumber number{};
    RecordNumber record = 0;
  };
  /// Numbers about `shift` that are not yet part of the mean.
  struct Batch {
    long double shift = 0;
    long double sum = 0;
    long double squares = 0;
    int count = 0;
  };
  static constexpr int batchSize = 64;

  void addToMean();

  std::uint64_t count_ = 0;
  NumberSum sum_;
  Extreme minimum_;
  Extreme maximum_;
  Batch batch_;
  long double mean_ = 0;
  long double squares_ = 0;  ///< of the distances from `mean_`
  std::uint64_t inMean_ = 0;
  bool anyInfinite_ = false;
};

}  // namespace database_client::embedded::index
