#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "client/bson/View.h"

namespace database_client::filter {

/// A query as it was built, in one run of bytes: conditions as BSON elements, and marks where groups open and close. It
/// is only ever appended to, so that building a filter costs its bytes; `toQuery` makes sense of it.
class Steps {
 public:
  enum class Kind : bson::Byte { all = 0x80, any = 0x81, field = 0x82, close = 0x83 };

  /// A condition as it stands in a query: `key: value`.
  void add(std::string_view key, const bson::Value& value);
  /// `key: {operation: value}`.
  void addComparison(std::string_view key, std::string_view operation, const bson::Value& value);
  /// Another query as one condition.
  void addAll(const Steps& other);

  void open(Kind grouping);
  void openField(std::string_view key);
  /// Closes the innermost and-group or or-group, with the fields opened in it.
  void closeGrouping();
  /// Closes the innermost field, with the groups opened in it.
  void closeField();

  bool isEmpty() const { return conditions_ == 0; }
  const std::vector<bson::Byte>& bytes() const { return bytes_; }
  /// How many groups are still open at the end.
  std::size_t openCount() const { return open_.size(); }

 private:
  void mark(Kind kind);
  void closeThrough(bool (*isTarget)(Kind));
  void head(bson::Type type, std::string_view key);
  void raw(const void* bytes, std::size_t size);

  std::vector<bson::Byte> bytes_;
  std::vector<Kind> open_;
  std::size_t conditions_ = 0;
};

}  // namespace database_client::filter
