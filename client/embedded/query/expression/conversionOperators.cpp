// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/expression/conversionOperators.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "client/ObjectId.h"
#include "client/embedded/query/expression/FunctionCall.h"
#include "client/embedded/query/expression/options.h"
#include "client/embedded/query/values/errors.h"
#include "client/embedded/query/values/numbers.h"

namespace database_client::embedded {

using bson::Type;
using bson::Value;
using bson::View;

namespace {

[[noreturn]] void refuseConversion(const Value& value, const char* target, const char* reason = "") {
  refuseQuery(code::conversionFailure, std::string(kindOf(value)) + " cannot be converted to " + target + reason);
}

template <class Number>
std::optional<Number> parsedNumber(std::string_view text) {
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  Number number = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
  if (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size()) return std::nullopt;
  return number;
}

Value toBoolean(const Value& value, Scratch& /*scratch*/) {
  const bool known = value.isNumber() || value.type == Type::boolean || value.type == Type::string ||
                     value.type == Type::objectId || value.type == Type::date;
  if (!known) refuseConversion(value, "a boolean");
  return booleanValue(isTrue(value));
}

std::int64_t integerFrom(const Value& value, const char* target) {
  if (value.type == Type::boolean) return value.asBool() ? 1 : 0;
  std::optional<std::int64_t> integer;
  if (value.isNumber()) {
    integer = truncated(value);
  } else if (value.type == Type::string) {
    integer = parsedNumber<std::int64_t>(value.asString());
  } else {
    refuseConversion(value, target);
  }
  if (!integer) refuseConversion(value, target, ", which would not hold it");
  return *integer;
}

Value toInt32(const Value& value, Scratch& scratch) {
  const std::int64_t integer = integerFrom(value, "an int32");
  const bool fits =
      integer >= std::numeric_limits<std::int32_t>::min() && integer <= std::numeric_limits<std::int32_t>::max();
  if (!fits) refuseConversion(value, "an int32", ", which would not hold it");
  return scratch.keepInt32(static_cast<std::int32_t>(integer));
}

Value toInt64(const Value& value, Scratch& scratch) {
  return scratch.keepInt64(value.type == Type::date ? value.asInt64() : integerFrom(value, "an int64"));
}

Value toDouble(const Value& value, Scratch& scratch) {
  if (value.isNumber()) return scratch.keepDouble(doubleOf(value));
  if (value.type == Type::boolean) return scratch.keepDouble(value.asBool() ? 1 : 0);
  if (value.type == Type::date) return scratch.keepDouble(static_cast<double>(value.asInt64()));
  if (value.type != Type::string) refuseConversion(value, "a double");
  const auto number = parsedNumber<double>(value.asString());
  if (!number) refuseConversion(value, "a double", ", which would not hold it");
  return scratch.keepDouble(*number);
}

/// The shortest text that reads as the same number.
std::string numberText(double number) {
  if (std::isnan(number)) return "NaN";
  if (std::isinf(number)) return number < 0 ? "-Infinity" : "Infinity";
  std::array<char, 32> text{};
  return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

Value toText(const Value& value, Scratch& scratch) {
  switch (value.type) {
    case Type::string:
      return value;
    case Type::boolean:
      return scratch.keepText(value.asBool() ? "true" : "false");
    case Type::int32:
    case Type::int64:
      return scratch.keepText(std::to_string(integerOf(value)));
    case Type::real:
      return scratch.keepText(numberText(value.asDouble()));
    case Type::objectId:
      return scratch.keepText(ObjectId::text(value.data));
    case Type::date:
    case Type::decimal128:
      refuseUnsupported(std::string("$toString of ") + kindOf(value), "expression");
    default:
      refuseConversion(value, "a string");
  }
}

/// The seconds stand in front, the highest byte first.
std::int64_t secondsOf(const Value& objectId) {
  std::int64_t seconds = 0;
  for (int i = 0; i < 4; ++i) seconds = seconds * 256 + objectId.data[i];
  return seconds;
}

Value toDate(const Value& value, Scratch& scratch) {
  constexpr std::int64_t millisecondsInSecond = 1000;
  switch (value.type) {
    case Type::date:
      return value;
    case Type::objectId:
      return scratch.keepDate(secondsOf(value) * millisecondsInSecond);
    case Type::timestamp:
      return scratch.keepDate(static_cast<std::int64_t>(static_cast<std::uint64_t>(value.asInt64()) >> 32U) *
                              millisecondsInSecond);
    case Type::int64:
    case Type::real:
    case Type::decimal128: {
      const auto milliseconds = truncated(value);
      if (!milliseconds) refuseConversion(value, "a date", ", which would not hold it");
      return scratch.keepDate(*milliseconds);
    }
    case Type::string:
      refuseUnsupported("$toDate of a string", "expression");
    default:
      refuseConversion(value, "a date");
  }
}

Value toObjectId(const Value& value, Scratch& scratch) {
  if (value.type == Type::objectId) return value;
  ObjectId id;
  if (value.type != Type::string || !ObjectId::parse(value.asString(), id)) refuseConversion(value, "an object id");
  bson::Byte* const room = scratch.room();
  std::copy(id.bytes.begin(), id.bytes.end(), room);
  return {Type::objectId, room, id.bytes.size()};
}

using Conversion = Value (*)(const Value& value, Scratch& scratch);

/// Null for a type to which nothing is converted.
Conversion conversionTo(Type type) {
  switch (type) {
    case Type::real:
      return toDouble;
    case Type::string:
      return toText;
    case Type::objectId:
      return toObjectId;
    case Type::boolean:
      return toBoolean;
    case Type::date:
      return toDate;
    case Type::int32:
      return toInt32;
    case Type::int64:
      return toInt64;
    case Type::decimal128:
      refuseUnsupported("$toDecimal", "expression");
    default:
      return nullptr;
  }
}

/// Of {input, to, onError, onNull}.
class Convert : public Expression {
 public:
  struct Operands {
    ExpressionPtr input;
    ExpressionPtr to;
    ExpressionPtr onError;  ///< these two may be absent
    ExpressionPtr onNull;
  };
  explicit Convert(Operands operands) : operands_(std::move(operands)) {}

  Value evaluate(View root, Scratch& scratch) const override {
    const Value input = operands_.input->evaluate(root, scratch);
    const Value to = operands_.to->evaluate(root, scratch);
    const Conversion convert = isNullish(to) ? nullptr : conversionNamed(to);
    if (isNullish(input)) return operands_.onNull == nullptr ? nullValue() : operands_.onNull->evaluate(root, scratch);
    if (isNullish(to)) return nullValue();
    try {
      if (convert == nullptr) refuseConversion(input, "this type");
      return convert(input, scratch);
    } catch (const Error& error) {
      if (operands_.onError == nullptr || error.code() != code::conversionFailure) throw;
    }
    return operands_.onError->evaluate(root, scratch);
  }

  bool isConstant() const override {
    const auto isAbsentOrConstant = [](const ExpressionPtr& operand) {
      return operand == nullptr || operand->isConstant();
    };
    return operands_.input->isConstant() && operands_.to->isConstant() && isAbsentOrConstant(operands_.onError) &&
           isAbsentOrConstant(operands_.onNull);
  }

 private:
  static Conversion conversionNamed(const Value& to) {
    const bool isName = to.type == Type::string;
    const auto number = to.isNumber() ? exactInteger(to) : std::nullopt;
    for (const bson::TypeTraits& traits : bson::allTypes) {
      const bool isMeant = isName ? traits.alias == to.asString() : static_cast<std::int8_t>(traits.type) == number;
      if (isMeant) return conversionTo(traits.type);
    }
    if (isName) refuseQuery(code::badValue, "$convert does not know the type " + quoted(to.asString()), "to");
    refuseQuery(code::failedToParse, "$convert takes the name or the number of a type", "to");
  }

  Operands operands_;
};

ExpressionPtr parseConvert(const Value& operand, VariableScope& scope) {
  Value input;
  Value to;
  Value onError;
  Value onNull;
  readOptions("$convert", operand, {code::failedToParse, code::failedToParse},
              {{"input", input, code::failedToParse},
               {"to", to, code::failedToParse},
               {"onError", onError, 0},
               {"onNull", onNull, 0}});
  const auto parsed = [&scope](const Value& value) {
    return isMissing(value) ? nullptr : parseExpression(value, scope);
  };
  return std::make_unique<Convert>(Convert::Operands{parsed(input), parsed(to), parsed(onError), parsed(onNull)});
}

template <Value (*convert)(const Value&, Scratch&)>
Value converted(const Arguments& arguments) {
  return isNullish(arguments[0]) ? nullValue() : convert(arguments[0], arguments.scratch);
}

constexpr std::array<FunctionOperator, 9> functions = {{
    {"$toBool", 1, 1, converted<toBoolean>},
    {"$toDate", 1, 1, converted<toDate>},
    {"$toDouble", 1, 1, converted<toDouble>},
    {"$toInt", 1, 1, converted<toInt32>},
    {"$toLong", 1, 1, converted<toInt64>},
    {"$toObjectId", 1, 1, converted<toObjectId>},
    {"$toString", 1, 1, converted<toText>},
    {"$type", 1, 1,
     [](const Arguments& arguments) {
       const Value& value = arguments[0];
       return arguments.scratch.keepText(isMissing(value) ? "missing" : bson::traitsOf(value.type).alias);
     }},
    {"$isNumber", 1, 1,
     [](const Arguments& arguments) { return booleanValue(!isMissing(arguments[0]) && arguments[0].isNumber()); }},
}};

}  // namespace

ExpressionPtr parseConversionOperator(std::string_view name, const Value& operand, VariableScope& scope) {
  if (name == "$convert") return parseConvert(operand, scope);
  return parseFunctionOf(functions, name, operand, scope);
}

}  // namespace database_client::embedded
