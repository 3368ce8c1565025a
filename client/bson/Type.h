// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "database_client/types.h"

/// The types of BSON. What is known of each stands in one row of one table, from which the reader, `validate`, the
/// order of values, "$type" and the messages take it, so that no two of them can differ over what a type is.
namespace database_client::bson {

using Byte = std::uint8_t;

enum class Type : Byte {
  real = 0x01,
  string = 0x02,
  document = 0x03,
  array = 0x04,
  binary = 0x05,
  undefined = 0x06,
  objectId = 0x07,
  boolean = 0x08,
  date = 0x09,
  null = 0x0A,
  regex = 0x0B,
  dbPointer = 0x0C,
  code = 0x0D,
  symbol = 0x0E,
  codeWithScope = 0x0F,
  int32 = 0x10,
  timestamp = 0x11,
  int64 = 0x12,
  decimal128 = 0x13,
  maxKey = 0x7F,
  minKey = 0xFF,
};

constexpr std::size_t objectIdSize = 12;

/// The form of a value's bytes.
enum class Encoding : Byte {
  none,   ///< of a type byte that BSON does not have
  fixed,  ///< as many bytes as every value of the type
  regex,  ///< two texts, each up to a NUL, without a length
  // Those that begin with a length, an int32.
  text,    ///< the length of the text and its NUL, the text, a NUL
  level,   ///< the length of the whole, entries, a NUL
  binary,  ///< the length of the data, a subtype, the data
  dbPointer,
  codeWithScope,
};

/// What a value's size follows from.
struct Extent {
  Encoding encoding = Encoding::none;
  Byte size = 0;  ///< of a fixed value; else of what the length at the beginning does not count

  constexpr bool hasLength() const { return encoding > Encoding::regex; }
};

/// What is known of a type.
struct TypeTraits {
  Type type;
  Extent extent;
  /// The place in the order between types, equal for types that compare with each other by value. The numbers are part
  /// of the keys that the embedded store keeps: append, never renumber.
  std::int8_t sortClass;
  PropertyType propertyType;
  std::string_view alias;  ///< the name that "$type" takes
  const char* name;        ///< in messages about malformed bytes
  const char* phrase;      ///< in messages about a value of another type than expected
};

/// One row for each type.
inline constexpr auto allTypes = [] {
  using T = Type;
  using E = Encoding;
  using P = PropertyType;
  return std::array<TypeTraits, 21>{{
      {T::real, {E::fixed, 8}, 10, P::real, "double", "double", "a double"},
      {T::string, {E::text, 4}, 15, P::string, "string", "string", "a string"},
      {T::document, {E::level, 0}, 20, P::group, "object", "document", "a document"},
      {T::array, {E::level, 0}, 25, P::array, "array", "array", "an array"},
      {T::binary, {E::binary, 4 + 1}, 30, P::binary, "binData", "binary", "binary data"},
      {T::undefined, {E::fixed, 0}, 3, P::undefinedValue, "undefined", "undefined", "undefined"},
      {T::objectId, {E::fixed, objectIdSize}, 35, P::id, "objectId", "object id", "an object id"},
      {T::boolean, {E::fixed, 1}, 40, P::boolean, "bool", "boolean", "a boolean"},
      {T::date, {E::fixed, 8}, 45, P::time, "date", "date", "a date"},
      {T::null, {E::fixed, 0}, 5, P::null, "null", "null", "null"},
      {T::regex, {E::regex, 0}, 50, P::regularExpression, "regex", "regular expression", "a regular expression"},
      {T::dbPointer, {E::dbPointer, 4 + objectIdSize}, 55, P::dbPointer, "dbPointer", "DBPointer", "a DBPointer"},
      {T::code, {E::text, 4}, 60, P::code, "javascript", "code", "code"},
      {T::symbol, {E::text, 4}, 15, P::symbol, "symbol", "symbol", "a symbol"},
      {T::codeWithScope, {E::codeWithScope, 0}, 65, P::codeWithScope, "javascriptWithScope", "code with scope", "code"},
      {T::int32, {E::fixed, 4}, 10, P::int32, "int", "int32", "an int32"},
      {T::timestamp, {E::fixed, 8}, 47, P::timestamp, "timestamp", "timestamp", "a timestamp"},
      {T::int64, {E::fixed, 8}, 10, P::int64, "long", "int64", "an int64"},
      {T::decimal128, {E::fixed, 16}, 10, P::decimal128, "decimal", "decimal128", "a decimal128"},
      {T::maxKey, {E::fixed, 0}, 127, P::maxKey, "maxKey", "maxKey", "maxKey"},
      {T::minKey, {E::fixed, 0}, 1, P::minKey, "minKey", "minKey", "minKey"},
  }};
}();

/// What is said of a type byte that BSON does not have.
inline constexpr TypeTraits noType{Type{}, {}, 127, PropertyType::undefined, {}, "value", "a value"};

/// One column of the table by type byte, for what is asked for every value that is read: one load, and no branch.
template <class Column>
constexpr std::array<Column, 256> byTypeByte(Column TypeTraits::*column) {
  std::array<Column, 256> result{};
  for (Column& entry : result) entry = noType.*column;
  for (const TypeTraits& traits : allTypes) result[static_cast<Byte>(traits.type)] = traits.*column;
  return result;
}
inline constexpr auto extents = byTypeByte(&TypeTraits::extent);
inline constexpr auto sortClasses = byTypeByte(&TypeTraits::sortClass);
inline constexpr auto propertyTypes = byTypeByte(&TypeTraits::propertyType);

constexpr Extent extentOf(Type type) {
  return extents[static_cast<Byte>(type)];
}

constexpr int sortClassOf(Type type) {
  return sortClasses[static_cast<Byte>(type)];
}

constexpr PropertyType propertyTypeOf(Type type) {
  return propertyTypes[static_cast<Byte>(type)];
}

constexpr bool isLevel(Type type) {
  return type == Type::document || type == Type::array;
}

/// The whole row, searched for: for messages and parsing. That of `noType` for a type byte that BSON does not have.
constexpr const TypeTraits& traitsOf(Type type) {
  for (const TypeTraits& traits : allTypes) {
    if (traits.type == type) return traits;
  }
  return noType;
}

}  // namespace database_client::bson
