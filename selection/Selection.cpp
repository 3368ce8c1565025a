// SPDX-License-Identifier: Apache-2.0
#include "database_provider/Selection.h"

#include "database_client/AtRoot.h"
#include "selection/Parser.h"
#include "selection/Query.h"
#include "values/Text.h"

namespace database_provider {

namespace {

/// Adds what a query asks for to the operands of an "$and". A query that is itself one gives its operands, so that
/// however many selections are joined, the document grows no deeper.
void addOperands(ObjectProperties& operands, const ObjectProperties& query) {
  const database_client::AtRoot atRoot(query);  // wherever who was given it has left it
  if (query.size() == 1 && query.nameAt(0) == "$and" && query.typeAt(0) == PropertyType::array) {
    const auto entered = database_client::EnteredScope::array(query, "$and");
    const int count = query.size();
    for (int i = 0, next = operands.size(); i < count; ++i, ++next)
      operands.copyValue(std::to_string(next), query, std::to_string(i));
  } else {
    operands.include(std::to_string(operands.size()), query);
  }
}

}  // namespace

Selection::Selection(const DatabaseFilter& filter) : query_(filter.toObjectProeprties()) {}

Selection Selection::ofQuery(const ObjectProperties& query) {
  Selection result;
  result.query_ = query;
  return result;
}

Selection Selection::ofIds(const std::vector<std::string>& ids) {
  ObjectProperties query;
  query.beginGroup("_id");
  query.beginArray("$in");
  for (std::size_t i = 0; i < ids.size(); ++i) query.setValueId(std::to_string(i), ids[i]);
  query.endArray();
  query.endGroup();
  return ofQuery(query);
}

DatabaseFilter Selection::filter() const {
  DatabaseFilter result;
  result.fromObjectProperties(query_);
  return result;
}

bool Selection::selectsAll() const {
  return query_.isEmpty();
}

Selection Selection::operator&&(const Selection& other) const {
  if (selectsAll()) return other;
  if (other.selectsAll()) return *this;
  ObjectProperties query;
  query.beginArray("$and");
  addOperands(query, query_);
  addOperands(query, other.query_);
  query.endArray();
  return ofQuery(query);
}

Selection where(const std::string& text) {
  // By way of a filter, which leaves out an "$and" around conditions that can stand side by side.
  DatabaseFilter filter;
  filter.fromObjectProperties(selection::queryOf(selection::parseFilter(text)));
  return filter;
}

SelectionError::SelectionError(const std::string& reason, const std::string& text, std::size_t position)
    : std::invalid_argument("in the filter: " + reason + "\n" + values::marked(text, position)),
      reason_(reason),
      text_(text),
      position_(position) {}

SelectionError::~SelectionError() = default;
SelectionError::SelectionError(const SelectionError&) = default;
SelectionError& SelectionError::operator=(const SelectionError&) = default;

const std::string& SelectionError::reason() const noexcept {
  return reason_;
}

const std::string& SelectionError::text() const noexcept {
  return text_;
}

std::size_t SelectionError::position() const noexcept {
  return position_;
}

}  // namespace database_provider
