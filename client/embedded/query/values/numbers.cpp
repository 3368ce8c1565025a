// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/values/numbers.h"

#include <cmath>

namespace database_client::embedded {
namespace {

using bson::Type;
using bson::Value;

constexpr double twoTo63 = 9223372036854775808.0;

int compareDoubles(double left, double right) {
  if (std::isnan(left) || std::isnan(right))
    return static_cast<int>(std::isnan(right)) - static_cast<int>(std::isnan(left));
  return order(left, right);
}

/// Exact: no int64 is rounded to a double on the way.
int compareWithDouble(std::int64_t left, double right) {
  if (std::isnan(right) || right < -twoTo63) return 1;
  if (right >= twoTo63) return -1;
  const double whole = std::trunc(right);
  const int integers = order(left, static_cast<std::int64_t>(whole));
  return integers != 0 ? integers : order(whole, right);
}

}  // namespace

double doubleOf(const Value& number) {
  if (number.type == Type::real) return number.asDouble();
  return isInteger(number) ? static_cast<double>(integerOf(number)) : Decimal::load(number.data).toDouble();
}

Decimal decimalOf(const Value& number) {
  if (number.type == Type::decimal128) return Decimal::load(number.data);
  return number.type == Type::real ? Decimal::fromDouble(number.asDouble()) : Decimal::fromInteger(integerOf(number));
}

std::optional<std::int64_t> truncated(const Value& value) {
  if (isInteger(value)) return integerOf(value);
  if (value.type == Type::decimal128) return Decimal::load(value.data).truncated();
  return value.type == Type::real ? exactInteger(std::trunc(value.asDouble())) : std::nullopt;
}

std::optional<std::int64_t> exactInteger(double number) {
  if (!(number >= -twoTo63 && number < twoTo63) || std::trunc(number) != number) return std::nullopt;
  return static_cast<std::int64_t>(number);
}

std::optional<std::int64_t> exactInteger(const Value& value) {
  if (value.type == Type::real) return exactInteger(value.asDouble());
  if (value.type == Type::decimal128 && !Decimal::load(value.data).isIntegral()) return std::nullopt;
  return truncated(value);
}

bool isTrue(const Value& value) {
  switch (value.type) {
    case Type::boolean:
      return value.asBool();
    case Type::int32:
    case Type::int64:
      return integerOf(value) != 0;
    case Type::real:
      return value.asDouble() != 0;
    case Type::decimal128:
      return !Decimal::load(value.data).isZero();
    default:
      return value.type != Type::null && value.type != Type::undefined;
  }
}

int compareNumbers(const Value& left, const Value& right) {
  if (left.type == Type::decimal128 || right.type == Type::decimal128) {
    return compare(decimalOf(left), decimalOf(right));
  }
  if (isInteger(left)) {
    return isInteger(right) ? order(integerOf(left), integerOf(right))
                            : compareWithDouble(integerOf(left), right.asDouble());
  }
  return isInteger(right) ? -compareWithDouble(integerOf(right), left.asDouble())
                          : compareDoubles(left.asDouble(), right.asDouble());
}

}  // namespace database_client::embedded
