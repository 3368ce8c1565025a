// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace database_client {

/// The kind of a value in a document. The numbers are stored in records ("type" of a description): append, never
/// renumber.
enum class PropertyType : int {
  undefined = 0,  ///< no such key
  group = 1,      ///< a nested document
  array = 2,
  id = 3,  ///< the store's object id
  string = 4,
  boolean = 5,
  int32 = 6,
  int64 = 7,
  real = 8,  ///< a 64-bit floating point number
  time = 9,  ///< milliseconds since the epoch, UTC
  // Kinds that have no accessor; a document keeps and returns them unchanged.
  null = 10,
  binary = 11,
  regularExpression = 12,
  code = 13,
  codeWithScope = 14,
  timestamp = 15,
  decimal128 = 16,
  minKey = 17,
  maxKey = 18,
  symbol = 19,
  dbPointer = 20,
  undefinedValue = 21,  ///< the deprecated value "undefined", not an absent key
};

/// How a condition of a filter compares.
enum class OperationType : int {
  equal = 0,
  notEqual = 1,
  less = 2,
  lessOrEqual = 3,
  greater = 4,
  greaterOrEqual = 5,
  exists = 6,
  notExists = 7,
  matches = 8,     ///< a regular expression (PCRE)
  notMatches = 9,  ///< the field does not match the regular expression, or is absent
};

/// The two forms of MongoDB extended JSON.
enum class JsonMode {
  relaxed,    ///< easy to read; int32, int64 and double all show as plain numbers
  canonical,  ///< keeps the kind of every value
};

}  // namespace database_client
