// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "client/bson/View.h"

/// The order of values that a MongoDB server uses for conditions, sorting and grouping.
///
/// Between types: MinKey < undefined < null < numbers < string, symbol < object < array < binary < ObjectId < bool <
/// date < timestamp < regex < dbPointer < code < code with scope < MaxKey. Numbers compare by value across their kinds,
/// exactly; NaN equals itself and lies below all numbers; -0.0 equals 0. A value that is not there has null `data`
/// (what `View::find` returns) and is ordered as null.
namespace database_client::embedded {

inline bool isMissing(const bson::Value& value) {
  return value.data == nullptr;
}
/// null, undefined, or not there.
inline bool isNullish(const bson::Value& value) {
  return isMissing(value) || value.type == bson::Type::null || value.type == bson::Type::undefined;
}

/// The place of a value's type in the order between types (`bson::TypeTraits`).
inline int typeClass(const bson::Value& value) {
  return bson::sortClassOf(isMissing(value) ? bson::Type::null : value.type);
}

/// Less than, equal to or greater than 0, as `left` comes before, with or after `right`.
int compare(const bson::Value& left, const bson::Value& right);
int compare(bson::View left, bson::View right);

inline bool equal(const bson::Value& left, const bson::Value& right) {
  return compare(left, right) == 0;
}

/// Bytes that are equal for two values exactly when `compare` says that the values are; their order means nothing.
/// The store keeps these bytes for "_id": the form must not change.
std::string canonicalKey(const bson::Value& value);
/// Appends the key of a value to `key`. No key is the beginning of another, so keys in a row stay distinct.
void appendCanonicalKey(std::string& key, const bson::Value& value);

}  // namespace database_client::embedded
