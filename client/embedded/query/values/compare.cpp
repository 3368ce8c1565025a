// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/values/compare.h"

#include <cmath>
#include <cstring>

#include "client/embedded/query/values/numbers.h"

namespace database_client::embedded {
namespace {

using bson::Byte;
using bson::Encoding;
using bson::Type;
using bson::Value;
using bson::View;

int sign(int number) {
  return order(number, 0);
}

int compareBytes(const Byte* left, const Byte* right, std::size_t size) {
  return size == 0 ? 0 : sign(std::memcmp(left, right, size));
}

int compareArrays(View left, View right) {
  auto a = left.begin();
  auto b = right.begin();
  for (; a != left.end() && b != right.end(); ++a, ++b) {
    if (const int result = compare(a->value, b->value)) return result;
  }
  return (a != left.end()) - (b != right.end());
}

int compareBinary(const Value& left, const Value& right) {
  if (left.binarySize() != right.binarySize()) return order(left.binarySize(), right.binarySize());
  if (left.binarySubtype() != right.binarySubtype()) return order(left.binarySubtype(), right.binarySubtype());
  return compareBytes(left.binaryData(), right.binaryData(), left.binarySize());
}

int compareRegex(const Value& left, const Value& right) {
  const int patterns = left.regexPattern().compare(right.regexPattern());
  return sign(patterns != 0 ? patterns : left.regexOptions().compare(right.regexOptions()));
}

std::string_view codeOf(const Value& codeWithScope) {
  return Value{Type::code, codeWithScope.data + 4, 0}.asString();
}

int compareCodeWithScope(const Value& left, const Value& right) {
  const int codes = codeOf(left).compare(codeOf(right));
  return codes != 0 ? sign(codes) : compare(left.scope(), right.scope());
}

int compareFixed(const Value& left, const Value& right) {
  if (left.isNumber()) return compareNumbers(left, right);
  if (left.type == Type::date) return order(left.asInt64(), right.asInt64());
  if (left.type == Type::timestamp) {
    return order(static_cast<std::uint64_t>(left.asInt64()), static_cast<std::uint64_t>(right.asInt64()));
  }
  // The rest are ids and booleans, whose bytes are in their order, and what has no bytes and so is equal.
  return compareBytes(left.data, right.data, bson::extentOf(left.type).size);
}

/// Two values of one class, which have one encoding.
int compareWithinClass(const Value& left, const Value& right) {
  switch (bson::extentOf(left.type).encoding) {
    case Encoding::none:
      break;
    case Encoding::fixed:
      return compareFixed(left, right);
    case Encoding::regex:
      return compareRegex(left, right);
    case Encoding::text:
      return sign(left.asString().compare(right.asString()));
    case Encoding::level:
      return left.isArray() ? compareArrays(left.asDocument(), right.asDocument())
                            : compare(left.asDocument(), right.asDocument());
    case Encoding::binary:
      return compareBinary(left, right);
    case Encoding::dbPointer:
      return left.size != right.size ? order(left.size, right.size) : compareBytes(left.data, right.data, left.size);
    case Encoding::codeWithScope:
      return compareCodeWithScope(left, right);
  }
  return 0;
}

void appendRaw(std::string& key, const void* bytes, std::size_t size) {
  key.append(static_cast<const char*>(bytes), size);
}

template <class Number>
void appendTagged(std::string& key, char tag, Number number) {
  key += tag;
  appendRaw(key, &number, sizeof number);
}

void appendSized(std::string& key, std::string_view bytes) {
  const auto size = static_cast<std::uint32_t>(bytes.size());
  appendRaw(key, &size, sizeof size);
  key.append(bytes);
}

/// Integers that an int64 holds, then what a double holds, then the rest: each number has exactly one form, so that
/// equal numbers of different kinds meet.
void appendDouble(std::string& key, double number) {
  if (std::isnan(number)) {
    key += 'n';
  } else if (const auto integer = exactInteger(number)) {
    appendTagged(key, 'i', *integer);
  } else {
    appendTagged(key, 'd', number);
  }
}

void appendDecimal(std::string& key, const Decimal& number) {
  const double nearest = number.toDouble();
  if (number.isIntegral() && number.truncated()) {
    appendTagged(key, 'i', *number.truncated());
  } else if (number.kind != Decimal::Kind::finite || compare(Decimal::fromDouble(nearest), number) == 0) {
    appendDouble(key, nearest);
  } else {
    Decimal shortest = number;
    for (; shortest.coefficient % 10 == 0; shortest.coefficient /= 10) ++shortest.exponent;
    appendTagged(key, 'm', shortest.coefficient);
    appendTagged(key, shortest.negative ? '-' : '+', shortest.exponent);
  }
}

void appendNumber(std::string& key, const Value& value) {
  if (isInteger(value)) {
    appendTagged(key, 'i', integerOf(value));
  } else if (value.type == Type::real) {
    appendDouble(key, value.asDouble());
  } else {
    appendDecimal(key, Decimal::load(value.data));
  }
}

void appendLevel(std::string& key, View level, bool named) {
  for (const bson::Element& element : level) {
    key += '\1';
    if (named) key.append(element.key).push_back('\0');
    appendCanonicalKey(key, element.value);
  }
  key += '\0';
}

}  // namespace

int compare(const Value& left, const Value& right) {
  const int classes = typeClass(left) - typeClass(right);
  if (classes != 0) return sign(classes);
  return isMissing(left) || isMissing(right) ? 0 : compareWithinClass(left, right);
}

int compare(View left, View right) {
  auto a = left.begin();
  auto b = right.begin();
  for (; a != left.end() && b != right.end(); ++a, ++b) {
    if (const int classes = typeClass(a->value) - typeClass(b->value)) return sign(classes);
    if (const int names = a->key.compare(b->key)) return sign(names);
    if (const int values = compare(a->value, b->value)) return values;
  }
  return (a != left.end()) - (b != right.end());
}

void appendCanonicalKey(std::string& key, const Value& value) {
  key += static_cast<char>(typeClass(value));
  if (isMissing(value)) return;
  const bson::Extent extent = bson::extentOf(value.type);
  switch (extent.encoding) {
    case Encoding::none:
      return;
    case Encoding::fixed:
      return value.isNumber() ? appendNumber(key, value) : appendRaw(key, value.data, extent.size);
    case Encoding::text:
      return appendSized(key, value.asString());
    case Encoding::level:
      return appendLevel(key, value.asDocument(), value.isDocument());
    case Encoding::codeWithScope:
      appendSized(key, codeOf(value));
      return appendLevel(key, value.scope(), true);
    case Encoding::regex:
    case Encoding::binary:
    case Encoding::dbPointer:
      return appendSized(key, {reinterpret_cast<const char*>(value.data), value.size});
  }
}

std::string canonicalKey(const Value& value) {
  std::string key;
  appendCanonicalKey(key, value);
  return key;
}

}  // namespace database_client::embedded
