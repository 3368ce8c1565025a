// SPDX-License-Identifier: Apache-2.0
#include "importing/StoreColumns.h"

#include <algorithm>
#include <utility>

#include "repository/valueText.h"

namespace database_provider::importing {

namespace {

using Kind = StoreColumn::Kind;
using values::Cell;
using values::Converted;

}  // namespace

Value toValue(const Converted& converted) {
  struct ToValue {
    Value operator()(const std::string& text) const { return text; }
    Value operator()(bool boolean) const { return boolean; }
    Value operator()(int integer) const { return std::int32_t{integer}; }
    Value operator()(std::int64_t integer) const { return integer; }
    Value operator()(double real) const { return real; }
    Value operator()(values::Time time) const { return Time{time.milliseconds}; }
  };
  return std::visit(ToValue(), converted);
}

StoreColumns::StoreColumns(const std::vector<NameInUse>& names) {
  std::vector<NameInUse> byCount = names;
  std::stable_sort(byCount.begin(), byCount.end(),
                   [](const NameInUse& left, const NameInUse& right) { return left.count > right.count; });
  std::map<std::pair<Kind, std::string>, std::vector<PropertyType>> inUse;
  for (const NameInUse& name : byCount) {
    const bool isCategory = name.kind == NameInUse::Kind::category;
    inUse[{isCategory ? Kind::category : Kind::description, name.name}].push_back(name.type);
  }
  for (const auto& [name, types] : inUse) {
    const auto [entry, isNew] = columns_.try_emplace(name.second, StoreColumn{name.first, name.second, types});
    if (!isNew) entry->second.kind = Kind::ambiguous;
  }
  // A bare name comes before what another one is with a prefix.
  for (const auto& [name, types] : inUse) {
    const char* prefix = name.first == Kind::category ? "category:" : "description:";
    columns_.try_emplace(prefix + name.second, StoreColumn{name.first, name.second, types});
  }
  columns_.erase("id");  // which exported CSV means as the id alone
}

void StoreColumns::takeId() {
  columns_.insert_or_assign("id", StoreColumn{Kind::id, "id"});
}

const StoreColumn* StoreColumns::find(std::string_view column) const {
  const auto found = columns_.find(column);
  return found == columns_.end() ? nullptr : &found->second;
}

Converted convertToOneOf(const Cell& cell, const std::vector<PropertyType>& types, const values::CellForms& forms) {
  if (types.size() == 1) return values::convert(cell, types.front(), forms);
  const auto* text = std::get_if<std::string>(&cell.value);
  std::optional<Converted> first;
  for (const PropertyType type : types) {
    try {
      Converted value = values::convert(cell, type, forms);
      if (text == nullptr || repository::valueText(toValue(value)) == *text) return value;
      if (!first) first = std::move(value);
    } catch (const values::ConversionError&) {
      continue;  // another type may take it
    }
  }
  return first ? *first : values::convert(cell, types.front(), forms);
}

}  // namespace database_provider::importing
