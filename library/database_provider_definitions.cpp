// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "database_provider/types.h"

namespace database_provider {

namespace {

template <std::size_t count>
using Table = std::array<std::string_view, count>;

// In the order of the enumerations.
constexpr Table<4> DatabaseNames{"base", "experiment", "databaseManager", "undefinedDatabase"};
constexpr Table<3> DatabaseRoleString{"read", "readWrite", "changeOwnPasswordCustomDataRole"};

template <std::size_t count>
std::string entry(const Table<count>& table, int index) {
  const auto position = static_cast<std::size_t>(index);  // a negative one lies far outside
  return position < count ? std::string(table[position]) : std::string();
}

/// The first entry stands in for a name that is in no table.
template <std::size_t count>
int indexOf(const Table<count>& table, const std::string& name) {
  const auto found = std::find(table.begin(), table.end(), name);
  return found == table.end() ? 0 : static_cast<int>(found - table.begin());
}

}  // namespace

std::string databaseTypeToString(DatabaseType type) {
  return entry(DatabaseNames, static_cast<int>(type));
}

DatabaseType databaseNameToDatabaseType(const std::string& name) {
  return static_cast<DatabaseType>(indexOf(DatabaseNames, name));
}

std::string databaseRoleTypeToString(DatabaseRoleType type) {
  return entry(DatabaseRoleString, static_cast<int>(type));
}

DatabaseRoleType databaseRoleNameToDatabaseRoleType(const std::string& name) {
  return static_cast<DatabaseRoleType>(indexOf(DatabaseRoleString, name));
}

}  // namespace database_provider
