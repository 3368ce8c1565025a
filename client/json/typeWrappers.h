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

/// The type wrappers of extended JSON: objects that stand for one value, such as {"$oid": "…"}.
namespace database_client::json {

using BsonBuilder = ByteBuilder<std::vector<bson::Byte>>;

enum class JsonType { string, number, boolean, null, object, array };
const char* nameOf(JsonType kind);

/// One field of such an object, or of an object in it. A number's text is the number.
struct WrapperField {
  int depth = 0;
  JsonType kind = JsonType::null;
  std::string_view key{};
  std::string_view text{};
};

/// The fields in the order of the text, those of an inner object behind its own.
class WrapperFields {
 public:
  void clear() { count_ = 0; }
  /// Counts on when full: no wrapper has so many fields, and whoever converts them looks at their number.
  void add(const WrapperField& field) {
    if (count_ < fields_.size()) fields_[count_] = field;
    ++count_;
  }
  std::size_t count() const { return count_; }
  const WrapperField& operator[](std::size_t i) const { return fields_[i]; }

  bool isSingle(JsonType kind) const { return count_ == 1 && fields_[0].kind == kind; }
  /// Null when there is none of this kind with this key at this depth.
  const WrapperField* find(int depth, JsonType kind, std::string_view key) const;

 private:
  std::array<WrapperField, 4> fields_{};
  std::size_t count_ = 0;
};

/// How the objects with one first key are read.
struct TypeWrapper {
  std::string_view key;
  bson::Type type;
  const char* expected;
  /// Appends the value; false when the fields do not fit.
  bool (*convert)(const WrapperFields& fields, BsonBuilder& out);
};

/// Null for a key that begins no such object.
const TypeWrapper* findTypeWrapper(std::string_view firstKey);

/// An int32 where it fits, else an int64, else a double; nothing when that cannot hold it.
std::optional<bson::Type> appendPlainNumber(std::string_view text, BsonBuilder& out);

void appendText(std::string_view text, BsonBuilder& out);

}  // namespace database_client::json
