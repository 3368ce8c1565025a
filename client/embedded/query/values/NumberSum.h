// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "client/bson/View.h"
#include "client/embedded/query/values/Decimal.h"

namespace database_client::embedded {

/// A sum of numbers of any kind. Integers are added exactly, doubles with compensation for what rounding loses.
class NumberSum {
 public:
  /// Passes over what is no number.
  void add(const bson::Value& value);

  /// An int32 where all were and the sum is one; an int64 where the sum of integers is one; else a double, or a
  /// decimal128 if any was.
  /// The 16 bytes of `room` take the number.
  bson::Value total(bson::Byte* room) const;
  /// A double, or a decimal128 if any was; null without a number.
  bson::Value average(bson::Byte* room) const;

 private:
  void addDouble(double number);
  double asDouble() const;
  Decimal asDecimal() const;

  std::uint64_t count_ = 0;
  bool anyInt64_ = false;
  bool anyInteger_ = false;
  bool anyDouble_ = false;
  bool anyDecimal_ = false;
  Int128 integers_ = 0;
  double doubles_ = 0;       ///< with `compensation_` the sum of the doubles
  double compensation_ = 0;  ///< what `doubles_` lost to rounding
  Decimal decimals_;
};

}  // namespace database_client::embedded
