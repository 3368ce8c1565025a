// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "database_provider/answers.h"
#include "values/Cell.h"

namespace database_provider::importing {

/// What a column means that has the name of something that the store has.
struct StoreColumn {
  enum class Kind { id, category, description, ambiguous };

  Kind kind;
  std::string name;
  std::vector<PropertyType> types{};  ///< of the description's values, the most frequent first
};

/// Every name in use, as a heading of exported CSV spells it: bare, and behind "category:" or "description:".
class DATABASE_PROVIDER_EXPORT StoreColumns {
 public:
  StoreColumns() = default;
  explicit StoreColumns(const std::vector<NameInUse>& names);

  /// Null for a column that the store does not know.
  const StoreColumn* find(std::string_view column) const;
  /// "id" is the id of a record from here on, rather than a key of the user block.
  void takeId();

 private:
  std::map<std::string, StoreColumn, std::less<>> columns_{};
};

/// What was made of a cell, as records have it.
DATABASE_PROVIDER_EXPORT Value toValue(const values::Converted& converted);

/// The text as a description of one of the types: of that one whose values are written so, else of the first that takes
/// it. Throws `values::ConversionError`.
values::Converted convertToOneOf(const values::Cell& cell, const std::vector<PropertyType>& types,
                                 const values::CellForms& forms);

}  // namespace database_provider::importing
