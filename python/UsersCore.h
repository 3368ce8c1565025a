// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/users.h>
#include <nanobind/nanobind.h>

#include <string>

#include "Connection.h"

namespace database_provider::python {

/// The users of a store. Each call opens a connection of its own and closes it: the administration of users is rare,
/// and so leaves nothing open.
class UsersCore {
 public:
  explicit UsersCore(ConnectionPtr connection) : connection_(std::move(connection)) {}

  /// Tuples of a name and a dict from "experiments" and "scenarios" to "read" or "readWrite".
  nb::list list();
  void add(const std::string& name, const std::string& password, nb::handle roles, nb::handle data);
  void update(const std::string& name, nb::handle roles, nb::handle data);
  void remove(const std::string& name);
  void changePassword(const std::string& name, const std::string& password);
  void changeAdminPassword(const std::string& password);
  nb::tuple info(const std::string& name);

 private:
  template <class Step>
  auto run(const Step& step);

  ConnectionPtr connection_;
};

}  // namespace database_provider::python
