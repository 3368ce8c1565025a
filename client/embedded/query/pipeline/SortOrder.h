// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "client/bson/View.h"
#include "client/embedded/query/values/Path.h"

namespace database_client::embedded {

/// The order that a `$sort` asks for. It keeps no reference to the bytes it was made of.
///
/// An array counts as its smallest element in ascending order, as its largest in descending order; an empty array comes
/// before null, and a missing value is null. The constructor throws Error{query}: 15973 no document, 15974 and 15975
/// for a direction other than 1 and -1, 15976 for no key.
class SortOrder {
 public:
  /// What a document is sorted by: the canonical values of its keys, owned. Its place among equals is up to the caller.
  class Key {
   public:
    std::size_t size() const { return bytes_.size(); }

   private:
    friend class SortOrder;
    std::vector<bson::Byte> bytes_;
  };

  explicit SortOrder(const bson::Value& specification);

  /// Throws Error{query}, code 2, when two of the paths lead through different arrays.
  Key key(bson::View document) const;
  int compare(const Key& left, const Key& right) const;

 private:
  struct Part {
    Path path;
    bool descending;
  };
  class Generator;

  int compareValues(const std::vector<bson::Value>& left, const std::vector<bson::Value>& right) const;

  std::vector<Part> parts_;
};

}  // namespace database_client::embedded
