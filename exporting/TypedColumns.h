// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "database_provider/records.h"

namespace database_provider::exporting {

/// A column whose values are all of one kind.
struct TypedColumn {
  enum class Source { id, created, category, description };

  Source source;
  std::string name;   ///< of the category or description
  PropertyType type;  ///< of its values
  std::string heading{};
};

/// The columns that are asked for: "id", "created", names, "category:NAME", "description:NAME", with a backslash before
/// a colon or backslash in a name; for none the id, created, and all names in use, categories first. A description with
/// values of several kinds gives a column for each: the most frequent one under its name, the others under "NAME:TYPE".
/// A bare name that is both a category and a description gives both, told apart by their prefixes. Throws Error{query}
/// for a text that is none of these.
std::vector<TypedColumn> typedColumns(const std::vector<std::string>& wanted, const std::vector<NameInUse>& inUse);

}  // namespace database_provider::exporting
