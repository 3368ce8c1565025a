// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/bson/View.h"
#include "client/embedded/query/values/compare.h"

namespace database_client::embedded {

/// The position in an array that a part of a path names: plain decimal without leading zeros, else nothing.
std::optional<std::size_t> arrayIndex(std::string_view part);

/// A dotted path, split once.
class Path {
 public:
  struct Part {
    std::string name;
    std::optional<std::size_t> index;
  };

  explicit Path(std::string_view dotted);

  std::size_t size() const { return parts_.size(); }
  const Part& operator[](std::size_t at) const { return parts_[at]; }
  /// The parts from `from` on, with dots between them.
  std::string text(std::size_t from = 0) const;

  /// Calls `test` with each value that conditions on this path see, until it returns true. A value that is absent where
  /// a document could hold it is seen as missing. An array at the end of the path is seen as each element and then
  /// whole; with `wholeArrays` only whole.
  ///
  /// On the way an array stands for its elements that are documents, and for the element at the index that the next
  /// part names. What an index reaches at the end of the path is seen whole.
  template <class Test>
  bool any(bson::View document, bool wholeArrays, const Test& test) const {
    return anyInDocument(document, 0, wholeArrays, test);
  }

 private:
  template <class Test>
  bool anyInDocument(bson::View document, std::size_t at, bool wholeArrays, const Test& test) const {
    const bson::Value value = document.find(parts_[at].name);
    if (at + 1 == parts_.size()) return anyAtEnd(value, wholeArrays, test);
    if (isMissing(value)) return test(value);
    if (value.isDocument()) return anyInDocument(value.asDocument(), at + 1, wholeArrays, test);
    if (value.isArray()) return anyInArray(value.asDocument(), at + 1, wholeArrays, test);
    return test(bson::Value{});
  }

  template <class Test>
  bool anyInArray(bson::View array, std::size_t at, bool wholeArrays, const Test& test) const {
    std::size_t position = 0;
    for (const bson::Element& element : array) {
      const bson::Value& value = element.value;
      if (value.isDocument() && anyInDocument(value.asDocument(), at, wholeArrays, test)) return true;
      if (parts_[at].index == position++ && anyAtIndex(value, at, wholeArrays, test)) return true;
    }
    return false;
  }

  template <class Test>
  bool anyAtIndex(const bson::Value& value, std::size_t at, bool wholeArrays, const Test& test) const {
    if (at + 1 == parts_.size()) return test(value);
    if (value.isDocument()) return anyInDocument(value.asDocument(), at + 1, wholeArrays, test);
    if (value.isArray()) return anyInArray(value.asDocument(), at + 1, wholeArrays, test);
    return false;
  }

  template <class Test>
  static bool anyAtEnd(const bson::Value& value, bool wholeArrays, const Test& test) {
    if (!isMissing(value) && value.isArray() && !wholeArrays) {
      for (const bson::Element& element : value.asDocument()) {
        if (test(element.value)) return true;
      }
    }
    return test(value);
  }

  std::vector<Part> parts_;
};

/// A path as aggregation and projection take it. Throws Error{query} with a server's code for an empty part and for a
/// part that begins with `$`.
Path fieldPath(std::string_view dotted);

}  // namespace database_client::embedded
