// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/pipeline/SortOrder.h"

#include <optional>
#include <utility>

#include "client/bson/Writer.h"
#include "client/embedded/query/values/compare.h"
#include "client/embedded/query/values/errors.h"
#include "client/embedded/query/values/numbers.h"

namespace database_client::embedded {

using bson::Element;
using bson::Type;
using bson::Value;
using bson::View;

namespace {

constexpr bson::Byte noBytes[1] = {};

/// Stands for an empty array: below null.
Value emptyArrayKey() {
  return {Type::undefined, noBytes, 0};
}
Value nullKey() {
  return {Type::null, noBytes, 0};
}

bool isDescending(const Element& element) {
  if (element.value.isDocument()) {
    if (!isMissing(element.value.asDocument().find("$meta"))) refuseUnsupported("$meta", "sort key");
  }
  if (!element.value.isNumber()) {
    refuseQuery(code::sortDirectionNotANumber,
                "$sort takes 1 or -1 under " + quoted(element.key) + ", not " + kindOf(element.value), element.key);
  }
  const std::int64_t direction = exactInteger(element.value).value_or(0);
  if (direction != 1 && direction != -1) {
    refuseQuery(code::sortDirectionNotOne, "$sort takes 1 or -1 under " + quoted(element.key), element.key);
  }
  return direction == -1;
}

}  // namespace

/// Finds the first of the keys that a document has: where paths lead through an array, each element gives one.
class SortOrder::Generator {
 public:
  explicit Generator(const SortOrder& order) : order_(order) {}

  std::vector<Value> first(View document) {
    const std::size_t size = order_.parts_.size();
    generate(document, State{std::vector<std::size_t>(size, 0), std::vector<Value>(size)});
    return std::move(*best_);
  }

 private:
  /// For each part of the order its value, or, while that is missing, how far its path has been followed.
  struct State {
    std::vector<std::size_t> at;
    std::vector<Value> values;
  };

  void generate(View document, State state) {
    Value array;
    std::vector<std::size_t> through;
    for (std::size_t i = 0; i < state.values.size(); ++i) {
      if (!isMissing(state.values[i])) continue;
      const Value value = follow(document, i, state.at[i]);
      if (!value.isArray()) {
        state.values[i] = value;
        continue;
      }
      if (!isMissing(array) && array.data != value.data) {
        refuseQuery(code::badValue, "cannot sort by two different arrays, " + quoted(order_.parts_[i].path.text()));
      }
      array = value;
      through.push_back(i);
    }
    isMissing(array) ? offer(std::move(state.values)) : expand(array.asDocument(), through, state);
  }

  /// The value at the end of a path, or the array at which it has to be taken apart; `at` is then behind the array.
  Value follow(View document, std::size_t part, std::size_t& at) const {
    const Path& path = order_.parts_[part].path;
    Value value = document.find(path[at++].name);
    while (!isMissing(value) && at < path.size()) {
      if (value.isArray()) {
        const Value element = path[at].index ? value.asDocument().find(path[at].name) : Value{};
        if (isMissing(element)) return value;
        value = element;
      } else if (value.isDocument()) {
        value = value.asDocument().find(path[at].name);
      } else {
        return nullKey();
      }
      ++at;
    }
    return isMissing(value) ? nullKey() : value;
  }

  void expand(View array, const std::vector<std::size_t>& through, const State& state) {
    if (array.empty()) return generateElement(emptyArrayKey(), through, state);
    for (const Element& element : array) generateElement(element.value, through, state);
  }

  void generateElement(const Value& element, const std::vector<std::size_t>& through, State state) {
    for (const std::size_t i : through) {
      if (state.at[i] == order_.parts_[i].path.size()) {
        state.values[i] = element;
      } else if (!element.isDocument()) {
        state.values[i] = nullKey();
      }
    }
    generate(element.isDocument() ? element.asDocument() : bson::emptyDocument(), std::move(state));
  }

  void offer(std::vector<Value>&& values) {
    if (!best_ || order_.compareValues(values, *best_) < 0) best_ = std::move(values);
  }

  const SortOrder& order_;
  std::optional<std::vector<Value>> best_;
};

SortOrder::SortOrder(const Value& specification) {
  if (!specification.isDocument()) {
    refuseQuery(code::sortNotADocument, std::string("$sort takes a document, not ") + kindOf(specification), "$sort");
  }
  for (const Element& element : specification.asDocument()) {
    parts_.push_back({fieldPath(element.key), isDescending(element)});
  }
  if (parts_.empty()) refuseQuery(code::sortWithoutKey, "$sort has no key", "$sort");
}

SortOrder::Key SortOrder::key(View document) const {
  bson::Writer out;
  for (const Value& value : Generator(*this).first(document)) out.append("", value);
  Key key;
  key.bytes_ = out.take();
  return key;
}

int SortOrder::compare(const Key& left, const Key& right) const {
  auto a = View{left.bytes_.data(), left.bytes_.size()}.begin();
  auto b = View{right.bytes_.data(), right.bytes_.size()}.begin();
  for (const Part& part : parts_) {
    const int result = embedded::compare((*a).value, (*b).value);
    if (result != 0) return part.descending ? -result : result;
    ++a;
    ++b;
  }
  return 0;
}

int SortOrder::compareValues(const std::vector<Value>& left, const std::vector<Value>& right) const {
  for (std::size_t i = 0; i < parts_.size(); ++i) {
    const int result = embedded::compare(left[i], right[i]);
    if (result != 0) return parts_[i].descending ? -result : result;
  }
  return 0;
}

}  // namespace database_client::embedded
