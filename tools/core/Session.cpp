// SPDX-License-Identifier: Apache-2.0
#include "tools/core/Session.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>
#include <string_view>

#include "tools/core/Network.h"
#include "tools/terminal/Interrupt.h"
#include "tools/terminal/Terminal.h"
#include "users/UsersDatabase.h"
#include "values/Number.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::inQuotes;
using values::looksLikePath;
using values::parseInteger;
using values::printable;
using values::printableJson;

constexpr int largestPort = 65535;
constexpr const char* administrator = "admin";
constexpr const char* fileScheme = "file:";

bool beginsWith(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

int parsePort(const std::string& text) {
  const auto port = parseInteger(text);
  // The text stays untold: it may be the beginning of a password.
  if (!port || *port < 1 || *port > largestPort)
    throw UsageError("--store: what stands behind the colon is no port, which is a number from 1 to 65535");
  return static_cast<int>(*port);
}

std::string withoutCreation(const std::string& file) {
  return file + (file.find('?') == std::string::npos ? "?" : "&") + "create=false";
}

/// The administrator is kept in a database of its own.
std::string authDatabaseOf(const std::string& user) {
  return user == administrator ? administrator : databaseTypeToString(DatabaseType::databaseManager);
}

void requireStore(const std::string& store) {
  if (store.empty()) throw UsageError("no store is given; use --store ADDRESS or set RECORDCTL_STORE");
}

/// A name that is meant for a file would be looked up as that of a host.
void refuseFileWithoutScheme(const std::string& text) {
  std::error_code ignored;
  const bool isFile = std::filesystem::is_regular_file(text, ignored);
  if (isFile || looksLikePath(text))
    throw UsageError("--store: " + inQuotes(text) + (isFile ? " is" : " looks like") +
                     " a file; a store in a file is given as file:" + printable(text));
}

/// Everybody on the machine can read arguments.
void refusePasswordInArgument(const std::string& address) {
  const char* fromEnvironment = std::getenv("RECORDCTL_STORE");
  if (fromEnvironment != nullptr && address == fromEnvironment) return;
  const std::size_t start = address.find("://") + 3;
  const std::size_t at = address.find('@', start);
  if (at == std::string::npos || address.find(':', start) > at) return;
  throw UsageError("a password does not belong into the arguments; give --user and --password-file");
}

}  // namespace

StoreAddress StoreAddress::parse(const std::string& text, Access access) {
  requireStore(text);
  if (beginsWith(text, fileScheme)) return {access == Access::create ? text : withoutCreation(text)};
  if (text.find("://") != std::string::npos) {
    refusePasswordInArgument(text);
    return {text};
  }
  if (text.find('@') != std::string::npos)
    throw UsageError("--store: a host has no " + inQuotes("@") + "; give --user and --password-file");
  refuseFileWithoutScheme(text);
  const std::size_t colon = text.rfind(':');
  if (text.front() == '[') {
    const std::size_t end = text.find(']');
    if (end == std::string::npos) throw UsageError("--store: expected " + inQuotes("]") + " in " + inQuotes(text));
    const std::string host = text.substr(1, end - 1);
    if (end + 1 == text.size()) return {host};
    if (colon != end + 1) throw UsageError("--store: expected a port behind " + inQuotes(text.substr(0, end + 1)));
    return {host, parsePort(text.substr(colon + 1))};
  }
  if (std::count(text.begin(), text.end(), ':') != 1) return {text};
  return {text.substr(0, colon), parsePort(text.substr(colon + 1))};
}

std::string readPasswordFile(const std::string& path) {
  std::ifstream file(path);
  std::string password;
  if (!file || !std::getline(file, password)) throw UsageError(path + ": no password can be read");
  if (!password.empty() && password.back() == '\r') password.pop_back();
  return password;
}

std::string passwordOf(const Login& login) {
  if (login.user.empty() && !login.passwordFile.empty())
    throw UsageError(login.passwordFile + ": whose password is this? Give the user, too");
  if (login.user.empty()) return "";
  if (!login.passwordFile.empty()) return readPasswordFile(login.passwordFile);
  if (const char* password = std::getenv("RECORDCTL_PASSWORD")) return password;
  if (!standardInputIsTerminal())
    throw UsageError("the password of " + inQuotes(login.user) +
                     " is missing; use --password-file or RECORDCTL_PASSWORD");
  return askPassword("Password of " + login.user + ": ");
}

std::unique_ptr<DataBaseClient> connectTo(const std::string& store, const std::string& user,
                                          const std::string& password, Access access) {
  const StoreAddress address = StoreAddress::parse(store, access);
  if (!user.empty()) warnWhenInTheClear(store);
  auto client = std::make_unique<DataBaseClient>();
  client->setCancellation([] { return !wasInterrupted(); });
  if (!client->connect(authDatabaseOf(user), address.host, address.port, user, password))
    throw StoreError(client->failure());
  if (!user.empty() && client->accessControl() == database_client::AccessControl::off) tellUncontrolled(store);
  return client;
}

std::string howUncontrolled(const std::string& store) {
  const std::string how =
      "access to this store is not controlled: whoever opens it may do everything, whatever the "
      "roles of its users say, until ";
  return how + (beginsWith(store, fileScheme) ? "its administrator has a password (init --admin-password-file FILE)"
                                              : "the server is started with access control");
}

void tellUncontrolled(const std::string& store) {
  static std::set<std::string> told;
  if (told.insert(store).second) std::cerr << "recordctl: " << howUncontrolled(store) << '\n';
}

std::string filePathOf(const std::string& store) {
  if (!beginsWith(store, fileScheme)) return "";
  const std::string path = store.substr(std::string_view(fileScheme).size());
  return path == ":memory:" ? "" : path.substr(0, path.find('?'));
}

bool hasTransactions(DataBaseClient& client) {
  try {
    const database_client::Transaction probe(client);
    return true;
  } catch (const database_client::Error& error) {
    if (error.kind() != database_client::Error::Kind::unsupported) throw;
    return false;
  }
}

std::unique_ptr<UsersDatabaseInterface> usersThrough(std::unique_ptr<DataBaseClient> client) {
  return std::make_unique<UsersDatabase>(std::move(client));
}

const std::string& Session::password() {
  if (!password_) password_ = passwordOf(options.login);
  return *password_;
}

bool Session::isNewFile() const {
  const std::string path = filePathOf(StoreAddress::parse(options.store, Access::create).host);
  std::error_code ignored;
  return !path.empty() && !std::filesystem::exists(path, ignored);
}

DataBaseClient& Session::store(Access access) {
  if (client_) return *client_;
  client_ = connect(options.store, access);
  client_->setUnreadableHandler([this](const ObjectProperties& id, const database_client::Error& error) {
    passedOver_.add(id, error);
    noteFailure();
    return true;
  });
  return *client_;
}

std::unique_ptr<DataBaseClient> Session::connect(const std::string& store, Access access) {
  return connectTo(store, options.login.user, password(), access);
}

OpenOptions Session::login() {
  OpenOptions result;
  result.user = options.login.user;
  result.password = password();
  result.wanted = [] { return !wasInterrupted(); };
  return result;
}

std::unique_ptr<DatabaseProviderInterface> Session::provider(RecordKind kind, Access access) {
  return providerOf(kind, store(access));
}

std::unique_ptr<UsersDatabaseInterface> Session::users(Access access) {
  return usersThrough(connect(options.store, access));
}

void writeJson(const ObjectProperties& document) {
  std::cout << printableJson(document.toJson()) << '\n';
}

}  // namespace database_provider::recordctl
