// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/bson/ByteBuilder.h"
#include "client/bson/View.h"

/// The objects of extended JSON that stand for one value, such as {"$oid": "…"}.
namespace database_client::json {

using Output = ByteBuilder<std::vector<bson::Byte>>;

enum class Kind { string, number, boolean, null, object, array };
const char* nameOf(Kind kind);

/// One entry of such an object, or of an object in it. A number's text is the number.
struct Item {
  int depth = 0;
  Kind kind = Kind::null;
  std::string_view key{};
  std::string_view text{};
};

/// The entries in the order of the text, those of an inner object behind its own.
class Items {
 public:
  void clear() { count_ = 0; }
  /// Counts on when full: then the object fits no form anyway.
  void add(const Item& item) {
    if (count_ < items_.size()) items_[count_] = item;
    ++count_;
  }
  std::size_t count() const { return count_; }
  const Item& operator[](std::size_t i) const { return items_[i]; }

  bool isSingle(Kind kind) const { return count_ == 1 && items_[0].kind == kind; }
  /// Null when there is none of this kind with this key at this depth.
  const Item* find(int depth, Kind kind, std::string_view key) const;

 private:
  std::array<Item, 4> items_{};
  std::size_t count_ = 0;
};

/// How the objects with one first key are read.
struct TypeWrapper {
  std::string_view key;
  bson::Type type;
  const char* expected;
  /// Appends the value; false when the entries do not fit.
  bool (*convert)(const Items& items, Output& out);
};

/// Null for a key that begins no such object.
const TypeWrapper* findForm(std::string_view firstKey);

/// An int32 where it fits, else an int64, else a double; nothing when that cannot hold it.
std::optional<bson::Type> appendPlainNumber(std::string_view text, Output& out);

void appendText(std::string_view text, Output& out);

}  // namespace database_client::json
