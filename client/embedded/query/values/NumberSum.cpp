// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/values/NumberSum.h"

#include <cmath>
#include <limits>

#include "client/embedded/query/values/numbers.h"

namespace database_client::embedded {

using bson::Byte;
using bson::Type;
using bson::Value;

namespace {

/// The rounded sum; `error` becomes what rounding took away.
double addExactly(double left, double right, double& error) {
  const double sum = left + right;
  const double part = sum - left;
  error = (left - (sum - part)) + (right - part);
  return sum;
}

template <class Number>
Value stored(Byte* room, Type type, Number number) {
  bson::store(room, number);
  return {type, room, sizeof number};
}

Value stored(Byte* room, const Decimal& number) {
  number.store(room);
  return {Type::decimal128, room, 16};
}

template <class Number>
bool holds(Int128 number) {
  return number >= std::numeric_limits<Number>::min() && number <= std::numeric_limits<Number>::max();
}

}  // namespace

void NumberSum::add(const Value& value) {
  if (value.data == nullptr || !value.isNumber()) return;
  ++count_;
  if (isInteger(value)) {
    anyInteger_ = true;
    anyInt64_ = anyInt64_ || value.type == Type::int64;
    integers_ += integerOf(value);
  } else if (value.type == Type::real) {
    anyDouble_ = true;
    addDouble(value.asDouble());
  } else {
    const Decimal number = Decimal::load(value.data);
    decimals_ = anyDecimal_ ? decimals_.plus(number) : number;
    anyDecimal_ = true;
  }
}

void NumberSum::addDouble(double number) {
  double error = 0;
  doubles_ = addExactly(doubles_, number, error);
  // Of an infinite or undefined sum nothing is lost that could be compensated.
  compensation_ = std::isfinite(doubles_) ? compensation_ + error : 0;
}

double NumberSum::asDouble() const {
  if (!anyDouble_) return static_cast<double>(integers_);
  const auto high = static_cast<double>(integers_);
  const auto low = static_cast<double>(integers_ - static_cast<Int128>(high));
  double error = 0;
  const double sum = addExactly(doubles_, high, error);
  return std::isfinite(sum) ? sum + (error + low + compensation_) : sum;
}

Decimal NumberSum::asDecimal() const {
  Decimal sum = decimals_;
  if (anyInteger_) sum = sum.plus(Decimal::fromInteger(integers_));
  if (!anyDouble_) return sum;
  sum = sum.plus(Decimal::fromDouble(doubles_));
  return compensation_ == 0 ? sum : sum.plus(Decimal::fromDouble(compensation_));
}

Value NumberSum::total(Byte* room) const {
  if (anyDecimal_) return stored(room, asDecimal());
  if (anyDouble_ || !holds<std::int64_t>(integers_)) return stored(room, Type::real, asDouble());
  if (anyInt64_ || !holds<std::int32_t>(integers_)) {
    return stored(room, Type::int64, static_cast<std::int64_t>(integers_));
  }
  return stored(room, Type::int32, static_cast<std::int32_t>(integers_));
}

Value NumberSum::average(Byte* room) const {
  if (count_ == 0) return {Type::null, room, 0};
  if (anyDecimal_) return stored(room, asDecimal().dividedBy(count_));
  return stored(room, Type::real, asDouble() / static_cast<double>(count_));
}

}  // namespace database_client::embedded
