// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "client/bson/View.h"
#include "client/embedded/query/values/compare.h"

namespace database_client::embedded {

/// A copy of a value. A missing value stays missing.
class OwnedValue {
 public:
  OwnedValue() = default;
  explicit OwnedValue(const bson::Value& value) : type_(value.type), missing_(isMissing(value)), size_(value.size) {
    // A byte more, so that a value without bytes has an address too.
    bytes_.reserve(size_ + 1);
    if (!missing_) bytes_.assign(value.data, value.data + value.size);
    bytes_.push_back(0);
  }

  /// Valid until this value is changed or destroyed; moving keeps it valid.
  bson::Value value() const { return missing_ ? bson::Value{} : bson::Value{type_, bytes_.data(), size_}; }

 private:
  bson::Type type_ = bson::Type::undefined;
  bool missing_ = true;
  std::size_t size_ = 0;
  std::vector<bson::Byte> bytes_;
};

}  // namespace database_client::embedded
