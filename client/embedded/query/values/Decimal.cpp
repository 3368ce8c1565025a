// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/values/Decimal.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>

namespace database_client::embedded {
namespace {

constexpr int maximumDigits = 34;
constexpr int minimumExponent = -6176;
constexpr int maximumExponent = 6111;

Uint128 powerOfTen(int exponent) {
  static const auto powers = [] {
    std::array<Uint128, 39> table{};
    table[0] = 1;
    for (std::size_t i = 1; i < table.size(); ++i) table[i] = table[i - 1] * 10;
    return table;
  }();
  return powers[static_cast<std::size_t>(exponent)];
}

int digitCount(Uint128 number) {
  int digits = 0;
  while (digits < 39 && number >= powerOfTen(digits)) ++digits;
  return digits;
}

/// Drops `count` digits, rounding to nearest and halves to even.
Uint128 dropDigits(Uint128 number, int count) {
  if (count > 38) return 0;
  const Uint128 unit = powerOfTen(count);
  const Uint128 rest = number % unit;
  const Uint128 quotient = number / unit;
  const bool up = rest > unit / 2 || (rest == unit / 2 && quotient % 2 != 0);
  return up && count > 0 ? quotient + 1 : quotient;
}

Decimal rounded(bool negative, Uint128 coefficient, int exponent) {
  const int excess = std::max({0, digitCount(coefficient) - maximumDigits, minimumExponent - exponent});
  coefficient = dropDigits(coefficient, excess);
  exponent += excess;
  if (coefficient == powerOfTen(maximumDigits)) {
    coefficient /= 10;
    ++exponent;
  }
  const bool overflow = exponent > maximumExponent && coefficient != 0;
  return {overflow ? Decimal::Kind::infinite : Decimal::Kind::finite, negative, coefficient,
          std::min(exponent, maximumExponent)};
}

Decimal notANumber() {
  return {Decimal::Kind::notANumber, false, 0, 0};
}

/// Moves trailing zeros in, as far as 34 digits and `exponent` allow.
void scaleTowards(Decimal& number, int exponent) {
  const int room = maximumDigits - digitCount(number.coefficient);
  const int shift = number.coefficient == 0 ? number.exponent - exponent : std::min(room, number.exponent - exponent);
  if (shift <= 0) return;
  if (number.coefficient != 0) number.coefficient *= powerOfTen(shift);
  number.exponent -= shift;
}

/// The sum of two magnitudes with their signs, on one exponent.
Decimal addAligned(bool leftNegative, Uint128 left, bool rightNegative, Uint128 right, int exponent) {
  if (leftNegative == rightNegative) return rounded(leftNegative, left + right, exponent);
  if (left == right) return rounded(false, 0, exponent);
  return left > right ? rounded(leftNegative, left - right, exponent) : rounded(rightNegative, right - left, exponent);
}

/// `large` has 34 digits and the greater exponent. Three digits beyond them are kept, and a fourth that tells whether
/// anything came after: enough to round correctly, also after a cancellation.
Decimal addShifted(const Decimal& large, const Decimal& small) {
  const int distance = large.exponent - small.exponent;
  const Uint128 widened = small.coefficient * powerOfTen(3);
  const Uint128 kept = distance > 38 ? 0 : widened / powerOfTen(distance);
  const bool more = distance > 38 ? small.coefficient != 0 : widened % powerOfTen(distance) != 0;
  return addAligned(large.negative, large.coefficient * powerOfTen(4), small.negative, kept * 10 + (more ? 1 : 0),
                    large.exponent - 4);
}

int compareMagnitudes(const Decimal& left, const Decimal& right) {
  const int leftDigits = digitCount(left.coefficient);
  const int rightDigits = digitCount(right.coefficient);
  if (left.coefficient == 0 || right.coefficient == 0) return (left.coefficient != 0) - (right.coefficient != 0);
  const int height = leftDigits + left.exponent - (rightDigits + right.exponent);
  if (height != 0) return height;
  const Uint128 a = left.coefficient * powerOfTen(maximumDigits - leftDigits);
  const Uint128 b = right.coefficient * powerOfTen(maximumDigits - rightDigits);
  return (a > b) - (a < b);
}

/// -2 NaN, -1 and 1 infinite, 0 finite.
int rank(const Decimal& number) {
  if (number.kind == Decimal::Kind::finite) return 0;
  if (number.kind == Decimal::Kind::notANumber) return -2;
  return number.negative ? -1 : 1;
}

}  // namespace

Decimal Decimal::load(const bson::Byte* at) {
  const auto low = bson::load<std::uint64_t>(at);
  const auto high = bson::load<std::uint64_t>(at + 8);
  Decimal number;
  number.negative = (high >> 63) != 0;
  const std::uint64_t combination = (high >> 58) & 0x1F;
  if (combination == 0x1F) return notANumber();
  if (combination == 0x1E) {
    number.kind = Kind::infinite;
    return number;
  }
  const bool longForm = (combination >> 3) == 3;
  const std::uint64_t biased = (longForm ? high >> 47 : high >> 49) & 0x3FFF;
  number.exponent = static_cast<int>(biased) + minimumExponent;
  if (!longForm) number.coefficient = (Uint128{high & 0x1FFFFFFFFFFFFU} << 64) | low;
  if (number.coefficient >= powerOfTen(maximumDigits)) number.coefficient = 0;
  return number;
}

void Decimal::store(bson::Byte* at) const {
  std::uint64_t high = 0;
  std::uint64_t low = 0;
  if (kind == Kind::notANumber) {
    high = std::uint64_t{0x7C} << 56;
  } else if (kind == Kind::infinite) {
    high = std::uint64_t{0x78} << 56;
  } else {
    const auto biased = static_cast<std::uint64_t>(exponent - minimumExponent);
    high = biased << 49 | static_cast<std::uint64_t>(coefficient >> 64);
    low = static_cast<std::uint64_t>(coefficient);
  }
  if (negative) high |= std::uint64_t{1} << 63;
  bson::store(at, low);
  bson::store(at + 8, high);
}

Decimal Decimal::fromInteger(Int128 number) {
  const bool negative = number < 0;
  return rounded(negative, negative ? 0 - static_cast<Uint128>(number) : static_cast<Uint128>(number), 0);
}

Decimal Decimal::fromDouble(double number) {
  if (std::isnan(number)) return notANumber();
  if (std::isinf(number)) return {Kind::infinite, std::signbit(number), 0, 0};
  if (number == 0) return {Kind::finite, std::signbit(number), 0, 0};
  std::array<char, 64> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), std::fabs(number),
                                 std::chars_format::scientific, maximumDigits - 1);
  const char* at = text.data();
  Decimal result{Kind::finite, std::signbit(number), 0, 0};
  for (; *at != 'e'; ++at) {
    if (*at != '.') result.coefficient = result.coefficient * 10 + static_cast<unsigned>(*at - '0');
  }
  ++at;
  if (*at == '+') ++at;
  std::from_chars(at, end.ptr, result.exponent);
  result.exponent -= maximumDigits - 1;
  while (result.coefficient % 10 == 0) {
    result.coefficient /= 10;
    ++result.exponent;
  }
  return result;
}

double Decimal::toDouble() const {
  if (kind == Kind::notANumber) return std::numeric_limits<double>::quiet_NaN();
  double result = std::numeric_limits<double>::infinity();
  if (kind == Kind::finite) {
    std::string text;
    for (Uint128 rest = coefficient; rest != 0; rest /= 10)
      text.insert(text.begin(), static_cast<char>('0' + static_cast<int>(rest % 10)));
    text = (text.empty() ? "0" : text) + "e" + std::to_string(exponent);
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), result);
    if (parsed.ec == std::errc::result_out_of_range && exponent < 0) result = 0;
  }
  return negative ? -result : result;
}

std::optional<std::int64_t> Decimal::truncated() const {
  if (kind != Kind::finite) return std::nullopt;
  if (coefficient == 0 || digitCount(coefficient) + exponent <= 0) return 0;
  if (digitCount(coefficient) + exponent > 19) return std::nullopt;
  const Uint128 magnitude = exponent < 0 ? coefficient / powerOfTen(-exponent) : coefficient * powerOfTen(exponent);
  const Uint128 limit = Uint128{1} << 63;
  if (magnitude > limit || (magnitude == limit && !negative)) return std::nullopt;
  const auto bits = static_cast<std::uint64_t>(magnitude);
  return static_cast<std::int64_t>(negative ? 0 - bits : bits);
}

bool Decimal::isIntegral() const {
  if (kind != Kind::finite) return false;
  if (coefficient == 0 || exponent >= 0) return true;
  return exponent > -maximumDigits && coefficient % powerOfTen(-exponent) == 0;
}

Decimal Decimal::plus(const Decimal& other) const {
  if (kind == Kind::notANumber || other.kind == Kind::notANumber) return notANumber();
  if (kind == Kind::infinite || other.kind == Kind::infinite) {
    if (kind == other.kind && negative != other.negative) return notANumber();
    return kind == Kind::infinite ? *this : other;
  }
  Decimal large = exponent >= other.exponent ? *this : other;
  const Decimal& small = exponent >= other.exponent ? other : *this;
  scaleTowards(large, small.exponent);
  if (large.exponent > small.exponent) return addShifted(large, small);
  return addAligned(large.negative, large.coefficient, small.negative, small.coefficient, small.exponent);
}

Decimal Decimal::dividedBy(std::uint64_t divisor) const {
  if (kind != Kind::finite) return *this;
  Uint128 quotient = coefficient / divisor;
  Uint128 rest = coefficient % divisor;
  int scale = exponent;
  while (rest != 0 && digitCount(quotient) < maximumDigits && scale > minimumExponent) {
    quotient = quotient * 10 + rest * 10 / divisor;
    rest = rest * 10 % divisor;
    --scale;
  }
  const Uint128 twice = rest * 2;
  if (twice > divisor || (twice == divisor && quotient % 2 != 0)) ++quotient;
  return rounded(negative, quotient, scale);
}

int compare(const Decimal& left, const Decimal& right) {
  const int ranks = rank(left) - rank(right);
  if (ranks != 0 || left.kind != Decimal::Kind::finite) return ranks;
  if (left.isZero() && right.isZero()) return 0;
  const bool leftBelow = left.negative && !left.isZero();
  const bool rightBelow = right.negative && !right.isZero();
  if (leftBelow != rightBelow) return leftBelow ? -1 : 1;
  const int magnitudes = compareMagnitudes(left, right);
  return leftBelow ? -magnitudes : magnitudes;
}

}  // namespace database_client::embedded
