// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "client/bson/View.h"
#include "client/filterbuilder/ByteRun.h"

namespace database_client::filter {

/// A query as it was built, in one run of bytes: conditions as BSON elements, and marks where groups open and close. It
/// is only ever appended to, so that building a filter costs its bytes; `toQuery` makes sense of it.
class Steps {
 public:
  enum class Kind : bson::Byte { all = 0x80, any = 0x81, field = 0x82, close = 0x83 };

  /// A condition as it stands in a query: `key: value`.
  void add(std::string_view key, const bson::Value& value);
  /// The same but for the value, of this size: where the caller writes it.
  bson::Byte* add(std::string_view key, bson::Type type, std::size_t size);
  /// `key: {operation: value}`, in the same way.
  bson::Byte* addComparison(std::string_view key, std::string_view operation, bson::Type type, std::size_t size);
  /// Another query as one condition.
  void addAll(const Steps& other);

  void open(Kind grouping);
  void openField(std::string_view key);
  /// Closes the innermost and-group or or-group, with the fields opened in it.
  void closeGrouping() { closeThrough(false); }
  /// Closes the innermost field, with the groups opened in it.
  void closeField() { closeThrough(true); }

  bool isEmpty() const { return conditions_ == 0; }
  const bson::Byte* begin() const { return bytes_.data(); }
  const bson::Byte* end() const { return bytes_.data() + bytes_.size(); }

 private:
  void mark(Kind kind) { bytes_.append(static_cast<bson::Byte>(kind)); }
  void close(std::size_t groups);
  void closeThrough(bool field);

  ByteRun<352> bytes_;
  ByteRun<16> open_;
  std::size_t conditions_ = 0;
};

}  // namespace database_client::filter
