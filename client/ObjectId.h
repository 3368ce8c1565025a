// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "client/bson/View.h"

namespace database_client {

/// The store's 12-byte id.
struct ObjectId {
  std::array<bson::Byte, bson::objectIdSize> bytes{};

  /// A new id: seconds since the epoch, a random number of this process, a counter.
  static ObjectId make();
  /// Takes 24 hex digits in either case; false for any other text.
  static bool parse(std::string_view text, ObjectId& id);
  /// 24 lower-case hex digits.
  static std::string text(const bson::Byte* bytes);
  std::string text() const { return text(bytes.data()); }
};

}  // namespace database_client
