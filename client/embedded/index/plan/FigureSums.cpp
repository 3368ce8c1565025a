// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/FigureSums.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace database_client::embedded::index {

void FigureSums::add(const EncodedNumber& number, RecordNumber record) {
  if (count_ == 0 || number.isBelow(minimum_.number) || (number.equals(minimum_.number) && record < minimum_.record)) {
    minimum_ = {number, record};
  }
  if (count_ == 0 || maximum_.number.isBelow(number) || (number.equals(maximum_.number) && record < maximum_.record)) {
    maximum_ = {number, record};
  }
  ++count_;
  double value = 0;
  if (number.isInteger()) {
    const std::int64_t integer = number.asInteger();
    sum_.add({bson::Type::int64, reinterpret_cast<const bson::Byte*>(&integer), sizeof integer});
    value = static_cast<double>(integer);
  } else {
    value = number.asDouble();
    sum_.add({bson::Type::real, reinterpret_cast<const bson::Byte*>(&value), sizeof value});
  }
  if (!std::isfinite(value)) {
    anyInfinite_ = true;
    return;
  }
  if (count_ == 1) batch_.shift = value;
  const long double distance = value - batch_.shift;
  batch_.sum += distance;
  batch_.squares += distance * distance;
  if (++batch_.count == batchSize) addToMean();
}

void FigureSums::addToMean() {
  if (batch_.count == 0) return;
  const auto added = static_cast<long double>(batch_.count);
  const auto before = static_cast<long double>(inMean_);
  const long double meanOfBatch = batch_.shift + batch_.sum / added;
  const long double apart = meanOfBatch - mean_;
  squares_ += batch_.squares - batch_.sum * batch_.sum / added + apart * apart * before * added / (before + added);
  mean_ += apart * added / (before + added);
  inMean_ += static_cast<std::uint64_t>(batch_.count);
  batch_ = {mean_, 0, 0, 0};
}

void FigureSums::writeMean(std::string_view key, bson::Writer& out) const {
  std::array<bson::Byte, 16> room{};
  out.append(key, sum_.average(room.data()));
}

std::optional<double> FigureSums::deviation() const {
  if (anyInfinite_) return std::numeric_limits<double>::quiet_NaN();
  FigureSums whole = *this;
  whole.addToMean();
  const long double variance = whole.squares_ / static_cast<long double>(count_ - 1);
  if (!(variance <= std::numeric_limits<double>::max())) return std::nullopt;
  return static_cast<double>(std::sqrt(std::max(variance, 0.0L)));
}

}  // namespace database_client::embedded::index
