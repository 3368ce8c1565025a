// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/expression/arithmeticOperators.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "client/embedded/query/expression/FunctionCall.h"
#include "client/embedded/query/values/NumberSum.h"
#include "client/embedded/query/values/errors.h"
#include "client/embedded/query/values/numbers.h"

namespace database_client::embedded {

using bson::Type;
using bson::Value;

namespace {

/// Operators that compute with doubles or integers alone.
void refuseDecimal(const Arguments& arguments, const Value& value) {
  if (value.type == Type::decimal128) refuseUnsupported(std::string(arguments.name) + " of a decimal128", "expression");
}

/// Throws for what is not null and no number.
void checkNumbers(const Arguments& arguments, int code) {
  for (const Value& value : arguments) {
    if (!value.isNumber()) refuseOperand(arguments, code, "numbers", value);
    refuseDecimal(arguments, value);
  }
}

/// The narrowest kind that holds the integer, from that of the operands on.
Value keepInteger(const Arguments& arguments, bool isNarrow, Int128 number) {
  if (isNarrow && number >= std::numeric_limits<std::int32_t>::min() &&
      number <= std::numeric_limits<std::int32_t>::max()) {
    return arguments.scratch.keepInt32(static_cast<std::int32_t>(number));
  }
  const bool fits =
      number >= std::numeric_limits<std::int64_t>::min() && number <= std::numeric_limits<std::int64_t>::max();
  if (fits) return arguments.scratch.keepInt64(static_cast<std::int64_t>(number));
  return arguments.scratch.keepDouble(static_cast<double>(number));
}

Value shiftedDate(const Arguments& arguments, const Value& date, const Value& offset, bool backwards) {
  const auto refuseOverflow = [&arguments] {
    refuseQuery(code::overflow, std::string(arguments.name) + " gives a date out of range", arguments.name);
  };
  const auto milliseconds = isInteger(offset) ? integerOf(offset) : exactInteger(std::round(doubleOf(offset)));
  if (!milliseconds) refuseOverflow();
  std::int64_t shifted = 0;
  const bool overflows = backwards ? __builtin_sub_overflow(date.asInt64(), *milliseconds, &shifted)
                                   : __builtin_add_overflow(date.asInt64(), *milliseconds, &shifted);
  if (overflows) refuseOverflow();
  return arguments.scratch.keepDate(shifted);
}

Value add(const Arguments& arguments) {
  NumberSum sum;
  Value date;
  for (const Value& value : arguments) {
    if (isNullish(value)) return nullValue();
    if (value.type == Type::date) {
      if (!isMissing(date)) refuseQuery(code::addOfSeveralDates, "$add takes one date only", arguments.name);
      date = value;
    } else if (value.isNumber()) {
      sum.add(value);
    } else {
      refuseOperand(arguments, code::typeMismatch, "numbers and a date", value);
    }
  }
  const Value total = sum.total(arguments.scratch.room());
  return isMissing(date) ? total : shiftedDate(arguments, date, total, false);
}

Value decimalDifference(const Arguments& arguments) {
  Decimal negated = decimalOf(arguments[1]);
  negated.negative = !negated.negative;
  bson::Byte* const room = arguments.scratch.room();
  decimalOf(arguments[0]).plus(negated).store(room);
  return {Type::decimal128, room, bson::extentOf(Type::decimal128).size};
}

Value subtract(const Arguments& arguments) {
  if (arguments.anyNullish()) return nullValue();
  const Value& left = arguments[0];
  const Value& right = arguments[1];
  if (left.type == Type::date && right.isNumber()) return shiftedDate(arguments, left, right, true);
  if (left.type == Type::date && right.type == Type::date) {
    return keepInteger(arguments, false, Int128{left.asInt64()} - right.asInt64());
  }
  if (!left.isNumber() || !right.isNumber()) {
    refuseQuery(code::typeMismatch, std::string("$subtract cannot take ") + kindOf(right) + " from " + kindOf(left),
                arguments.name);
  }
  if (left.type == Type::decimal128 || right.type == Type::decimal128) return decimalDifference(arguments);
  if (!isInteger(left) || !isInteger(right)) return arguments.scratch.keepDouble(doubleOf(left) - doubleOf(right));
  const bool isNarrow = left.type == Type::int32 && right.type == Type::int32;
  return keepInteger(arguments, isNarrow, Int128{integerOf(left)} - integerOf(right));
}

Value multiply(const Arguments& arguments) {
  bool isNarrow = true;
  bool isIntegral = true;
  std::int64_t integers = 1;
  double product = 1;
  for (const Value& value : arguments) {
    if (isNullish(value)) return nullValue();
    if (!value.isNumber()) refuseOperand(arguments, code::typeMismatch, "numbers", value);
    refuseDecimal(arguments, value);
    product *= doubleOf(value);
    isNarrow = isNarrow && value.type == Type::int32;
    isIntegral = isIntegral && isInteger(value) && !__builtin_mul_overflow(integers, integerOf(value), &integers);
  }
  return isIntegral ? keepInteger(arguments, isNarrow, integers) : arguments.scratch.keepDouble(product);
}

Value divide(const Arguments& arguments) {
  if (arguments.anyNullish()) return nullValue();
  checkNumbers(arguments, code::typeMismatch);
  const double divisor = doubleOf(arguments[1]);
  if (divisor == 0) refuseQuery(code::badValue, "$divide cannot divide by zero", arguments.name);
  return arguments.scratch.keepDouble(doubleOf(arguments[0]) / divisor);
}

Value modulo(const Arguments& arguments) {
  if (arguments.anyNullish()) return nullValue();
  checkNumbers(arguments, code::modOfNoNumber);
  const Value& left = arguments[0];
  const Value& right = arguments[1];
  if (doubleOf(right) == 0) refuseQuery(code::modByZero, "$mod cannot divide by zero", arguments.name);
  if (!isInteger(left) || !isInteger(right))
    return arguments.scratch.keepDouble(std::fmod(doubleOf(left), doubleOf(right)));
  const bool isNarrow = left.type == Type::int32 && right.type == Type::int32;
  // The least int64 by -1 would overflow.
  const std::int64_t rest = integerOf(right) == -1 ? 0 : integerOf(left) % integerOf(right);
  return keepInteger(arguments, isNarrow, rest);
}

Value absolute(const Arguments& arguments) {
  if (arguments.anyNullish()) return nullValue();
  checkNumbers(arguments, code::notANumber);
  const Value& number = arguments[0];
  if (!isInteger(number)) return arguments.scratch.keepDouble(std::fabs(number.asDouble()));
  const std::int64_t integer = integerOf(number);
  if (integer == std::numeric_limits<std::int64_t>::min()) {
    refuseQuery(code::absOverflow, "$abs of the least int64", arguments.name);
  }
  return keepInteger(arguments, number.type == Type::int32, integer < 0 ? -integer : integer);
}

template <double (*toWhole)(double)>
Value whole(const Arguments& arguments) {
  if (arguments.anyNullish()) return nullValue();
  checkNumbers(arguments, code::notANumber);
  return isInteger(arguments[0]) ? arguments[0] : arguments.scratch.keepDouble(toWhole(arguments[0].asDouble()));
}

double down(double number) {
  return std::floor(number);
}
double up(double number) {
  return std::ceil(number);
}

enum class Rounding { halfToEven, towardsZero };

/// To a multiple of `unit`, which is positive; the rest of a division is exact.
template <class Number>
Number toMultiple(Number number, Number unit, Number rest, bool quotientIsOdd, Rounding rounding) {
  const Number down = number - rest;
  if (rounding == Rounding::towardsZero) return down;
  const Number magnitude = rest < 0 ? -rest : rest;
  const bool away = magnitude > unit - magnitude || (magnitude == unit - magnitude && quotientIsOdd);
  if (!away) return down;
  return rest < 0 ? down - unit : down + unit;
}

Value roundedInteger(const Arguments& arguments, const Value& number, std::int64_t places, Rounding rounding) {
  constexpr std::int64_t digits = std::numeric_limits<std::int64_t>::digits10 + 1;
  if (places >= 0) return number;
  Int128 unit = 1;
  for (std::int64_t i = 0; i > places && i > -digits - 1; --i) unit *= 10;
  const Int128 integer = integerOf(number);
  const auto rounded = toMultiple<Int128>(integer, unit, integer % unit, integer / unit % 2 != 0, rounding);
  const bool fits =
      rounded >= std::numeric_limits<std::int64_t>::min() && rounded <= std::numeric_limits<std::int64_t>::max();
  if (!fits)
    refuseQuery(code::roundOverflow, std::string(arguments.name) + " gives more than an int64", arguments.name);
  return keepInteger(arguments, number.type == Type::int32, rounded);
}

/// In decimal digits, as the number would be printed: 2.5 times 10 is exact, 0.15 times 10 is not.
double roundedDouble(double number, std::int64_t places, Rounding rounding) {
  if (!std::isfinite(number)) return number;
  if (places == 0) return rounding == Rounding::towardsZero ? std::trunc(number) : std::nearbyint(number);
  if (places < 0) {
    const double unit = std::pow(10.0, static_cast<double>(-places));
    return toMultiple(number, unit, std::fmod(number, unit), std::fmod(std::trunc(number / unit), 2.0) != 0, rounding);
  }
  constexpr std::size_t room = 512;  // more than 309 digits, a point and 100 places
  constexpr int allPlaces = 110;
  std::array<char, room> text{};
  // Digits are cut off a longer text, since printing rounds.
  const int printed = rounding == Rounding::towardsZero ? allPlaces : static_cast<int>(places);
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed, printed).ptr;
  const char* const last = end - (printed - static_cast<int>(places));
  double result = 0;
  std::from_chars(text.data(), last, result);
  return result;
}

template <Rounding rounding>
Value rounded(const Arguments& arguments) {
  constexpr std::int64_t fewest = -20;
  constexpr std::int64_t most = 100;
  if (arguments.anyNullish()) return nullValue();
  const Value& number = arguments[0];
  if (!number.isNumber())
    refuseOperand(arguments, arguments.count == 1 ? code::notANumber : code::roundOfNoNumber, "a number", number);
  refuseDecimal(arguments, number);
  const auto places = arguments.count == 1 ? std::int64_t{0} : exactInteger(arguments[1]);
  if (!places) {
    refuseQuery(code::roundPlacesNotAnInteger, std::string(arguments.name) + " takes a whole number of places",
                arguments.name);
  }
  if (*places < fewest || *places > most) {
    refuseQuery(code::roundPlacesOutOfRange, std::string(arguments.name) + " takes -20 to 100 places", arguments.name);
  }
  if (isInteger(number)) return roundedInteger(arguments, number, *places, rounding);
  return arguments.scratch.keepDouble(roundedDouble(number.asDouble(), *places, rounding));
}

constexpr std::array<FunctionOperator, 10> functions = {{
    {"$add", 0, anyNumber, add},
    {"$subtract", 2, 2, subtract},
    {"$multiply", 0, anyNumber, multiply},
    {"$divide", 2, 2, divide},
    {"$mod", 2, 2, modulo},
    {"$abs", 1, 1, absolute},
    {"$floor", 1, 1, whole<down>},
    {"$ceil", 1, 1, whole<up>},
    {"$round", 1, 2, rounded<Rounding::halfToEven>},
    {"$trunc", 1, 2, rounded<Rounding::towardsZero>},
}};

}  // namespace

ExpressionPtr parseArithmeticOperator(std::string_view name, const Value& operand, VariableScope& scope) {
  return parseFunctionOf(functions, name, operand, scope);
}

}  // namespace database_client::embedded
