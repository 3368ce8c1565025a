// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "client/bson/View.h"

namespace database_client::embedded {

// An alias declaration cannot carry the mark of an extension, which keeps -Wpedantic quiet.
__extension__ typedef unsigned __int128 Uint128;  // NOLINT(modernize-use-using)
__extension__ typedef __int128 Int128;            // NOLINT(modernize-use-using)

/// A decimal number of up to 34 digits: the value of a decimal128, which BSON stores in binary integer form.
///
/// Results are rounded to 34 digits, halves to the even neighbour. Two numbers of equal value may differ in exponent
/// (1.0 and 1.00).
struct Decimal {
  enum class Kind { finite, infinite, notANumber };

  Kind kind = Kind::finite;
  bool negative = false;
  Uint128 coefficient = 0;
  int exponent = 0;

  /// `at` points to the 16 bytes of a decimal128. A coefficient of more than 34 digits stands for 0.
  static Decimal load(const bson::Byte* at);
  void store(bson::Byte* at) const;

  /// Rounded to 34 digits where it has more.
  static Decimal fromInteger(Int128 number);
  /// The number rounded to 34 digits.
  static Decimal fromDouble(double number);

  bool isZero() const { return kind == Kind::finite && coefficient == 0; }
  /// The nearest double; infinite or 0 beyond its range.
  double toDouble() const;
  /// The integer part, if an int64 holds it.
  std::optional<std::int64_t> truncated() const;
  bool isIntegral() const;

  Decimal plus(const Decimal& other) const;
  Decimal dividedBy(std::uint64_t divisor) const;
};

/// By value; NaN equals itself and lies below all numbers.
int compare(const Decimal& left, const Decimal& right);

}  // namespace database_client::embedded
