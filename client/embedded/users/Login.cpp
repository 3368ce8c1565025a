// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/users/Login.h"

#include "client/embedded/users/UserDirectory.h"
#include "database_client/Error.h"
#include "database_client/codes.h"

namespace database_client::embedded {

void Login::authenticate(const std::string& database, const std::string& user, const std::string& password) {
  const auto known = UserDirectory(store_).find(database, user);
  const bool hasCredentials = known && known->credentials;
  const Credentials credentials = hasCredentials ? *known->credentials : Credentials::ofNobody();
  if (!credentials.belongTo(password) || !known) {
    throw Error(
        Error::Kind::authentication,
        "user \"" + user + "\" of \"" + database + "\" cannot be authenticated: no such user, or another password",
        {database + "." + user, code::authenticationFailed});
  }
  isProved_ = true;
  database_ = database;
  user_ = user;
  id_ = known->id;
}

bool Login::isUser(const std::string& database, const std::string& user) const {
  return isProved_ && database_ == database && user_ == user;
}

void Login::refresh() {
  if (version_ == store_.version()) return;
  UserDirectory directory(store_);
  const auto administrator = directory.find("admin", "admin");
  isControlled_ = administrator && administrator->credentials;
  const auto self = isProved_ ? directory.find(database_, user_) : std::nullopt;
  // One of the same name who came later is somebody else.
  isThere_ = self && self->id == id_;
  rights_ = Rights(isThere_ ? self->grants : std::vector<Grant>());
  version_ = store_.version();
}

bool Login::may(Action action, const std::string& database) {
  refresh();
  return !isControlled_ || rights_.allow(action, database);
}

bool Login::isControlled() {
  refresh();
  return isControlled_;
}

void Login::require(Action action, const std::string& database, const std::string& operation,
                    const std::string& target) {
  if (!may(action, database)) refuse(operation, target.empty() ? database : target);
}

void Login::requireSomeChange(const std::string& operation) {
  refresh();
  const bool mayChange = rights_.allowSomewhere(Action::write) || rights_.allowSomewhere(Action::administerUsers);
  if (isControlled_ && !mayChange) refuse(operation, "this store");
}

void Login::requireUser(const std::string& operation) {
  refresh();
  if (isControlled_ && !isThere_) refuse(operation, "this store");
}

void Login::refuse(const std::string& operation, const std::string& target) const {
  const std::string who = isProved_ ? "user \"" + user_ + "\" of \"" + database_ + "\"" : "a client without a user";
  throw Error(Error::Kind::authorization, who + " has no right to " + operation + " on " + target,
              {target, code::unauthorized});
}

}  // namespace database_client::embedded
