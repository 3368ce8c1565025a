// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace database_client::embedded {

/// A role granted on a database.
struct Grant {
  std::string role;
  std::string database;

  bool operator==(const Grant& other) const { return role == other.role && database == other.database; }
};

/// What an operation needs the right to.
enum class Action {
  read,
  write,
  list,                 ///< the names of collections
  listUsers,            ///< reading the users
  administerUsers,      ///< making, changing and removing the users of a database, granting its roles
  replaceRoles,         ///< of a user, which takes away roles of whatever database; asked for "admin"
  changeOwnPassword,    ///< of a user of the database
  changeOwnCustomData,  ///< likewise
  administerStore,      ///< care for the file
};

/// Whether a server has this role without its being made; none does on a database that cannot be.
bool isBuiltIn(const Grant& grant);

/// What a set of grants amounts to.
class Rights {
 public:
  Rights() = default;
  explicit Rights(std::vector<Grant> grants) : grants_(std::move(grants)) {}

  bool allow(Action action, std::string_view database) const;
  /// Whether there is a database for which they allow it.
  bool allowSomewhere(Action action) const;
  const std::vector<Grant>& grants() const { return grants_; }

 private:
  std::vector<Grant> grants_{};
};

}  // namespace database_client::embedded
