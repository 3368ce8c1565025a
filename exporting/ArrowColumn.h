// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "database_provider/arrow.h"
#include "database_provider/types.h"

namespace database_provider::exporting {

/// The values of one column, one behind the other, in the buffers that Arrow has for them.
class ArrowColumn {
 public:
  explicit ArrowColumn(PropertyType type) : type_(type) {}

  void addNull();
  void add(std::string_view text);
  void add(bool boolean);
  void add(std::int32_t integer);
  /// Also a time, in milliseconds since the epoch.
  void add(std::int64_t integer);
  void add(double real);

  PropertyType type() const { return type_; }
  std::int64_t length() const { return length_; }
  /// The bytes of its texts.
  std::size_t textSize() const { return text_.size(); }

  /// Hands the buffers over; `array` owns them until it is released.
  void moveTo(ArrowArray& array);

 private:
  void addValidity(bool isValid);

  PropertyType type_;
  std::int64_t length_ = 0;
  std::int64_t nulls_ = 0;
  std::vector<std::uint8_t> validity_{};
  std::vector<std::int32_t> offsets_{0};
  std::vector<char> text_{};
  std::vector<std::uint8_t> booleans_{};
  std::vector<std::int32_t> integers_{};
  std::vector<std::int64_t> longs_{};
  std::vector<double> reals_{};
};

/// The schema of a column, which owns what it says.
void fillSchema(ArrowSchema& schema, const char* format, const std::string& name);
/// The format of a column's values.
const char* arrowFormat(PropertyType type);

/// A structure of these columns, which have one length.
void fillStructure(ArrowSchema& schema, const std::vector<std::pair<std::string, PropertyType>>& fields);
void fillStructure(ArrowArray& array, std::vector<ArrowColumn> columns);

}  // namespace database_provider::exporting
