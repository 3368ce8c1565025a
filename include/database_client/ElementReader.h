// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "database_client/export.h"
#include "database_client/types.h"

namespace database_client {

class ObjectProperties;

/// Reads the entries of one level of a document where they lie, front to back: nothing is copied or allocated.
///
///     for (Reader item(list); item.next();) { … item.key() … item.asString() … }
///
/// A reader, its copies and the texts they give out are valid until the document is changed or destroyed. Entering and
/// leaving levels of the document changes nothing. Each step takes constant time.
class DATABASE_CLIENT_EXPORT ElementReader {
 public:
  /// Stands before the first entry of the document's current level.
  explicit ElementReader(const ObjectProperties& document);

  /// Moves to the next entry; false when there is none. Until the first call there is no entry at hand.
  bool next();

  // The entry at hand.

  std::string_view key() const { return key_; }
  PropertyType type() const;
  /// The text; empty for any other kind.
  std::string_view asString() const;
  /// The number, which no conversion has touched; `defaultValue` for any other kind.
  std::int32_t asInt32(std::int32_t defaultValue) const;
  std::int64_t asInt64(std::int64_t defaultValue) const;
  double asDouble(double defaultValue) const;
  bool asBool(bool defaultValue) const;
  /// In milliseconds since the epoch, UTC.
  long long asTime(long long defaultValue) const;
  /// Stands before the first entry of the group or array; for any other kind before the end of an empty level.
  ElementReader children() const;

 private:
  explicit ElementReader(const std::uint8_t* firstEntry) : next_(firstEntry) {}

  const std::uint8_t* next_;
  std::uint8_t kind_ = 0;
  std::string_view key_{};
  const std::uint8_t* value_ = nullptr;
};

/// Its former name.
using Reader = ElementReader;

}  // namespace database_client
