// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "client/bson/View.h"
#include "client/embedded/query/values/Decimal.h"

namespace database_client::embedded {

/// -1, 0 or 1, as one number is below, equal to or above the other. NaN counts as equal.
template <class Number>
int order(Number left, Number right) {
  return (left > right) - (left < right);
}

inline bool isInteger(const bson::Value& value) {
  return value.type == bson::Type::int32 || value.type == bson::Type::int64;
}
/// The value of an int32 or int64.
inline std::int64_t integerOf(const bson::Value& value) {
  return value.type == bson::Type::int32 ? value.asInt32() : value.asInt64();
}
/// The double nearest to any number.
double doubleOf(const bson::Value& number);
/// Any number, rounded to 34 digits.
Decimal decimalOf(const bson::Value& number);

/// The integer part of any number, if an int64 holds it; nothing for what is no number.
std::optional<std::int64_t> truncated(const bson::Value& value);
/// A number of any kind that is exactly an int64.
std::optional<std::int64_t> exactInteger(const bson::Value& value);
std::optional<std::int64_t> exactInteger(double number);
/// What a server takes for true in a projection or under $exists: everything but false, 0, null and undefined.
bool isTrue(const bson::Value& value);

int compareNumbers(const bson::Value& left, const bson::Value& right);

}  // namespace database_client::embedded
