#include "tools/core/Session.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>

#include "tools/core/Interrupt.h"
#include "tools/core/Network.h"
#include "tools/core/Terminal.h"
#include "tools/core/Text.h"
#include "tools/values/Number.h"

namespace database_provider::recordctl {

namespace {

constexpr int largestPort = 65535;
constexpr const char* administrator = "admin";

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
  if (beginsWith(text, "file:")) return {access == Access::create ? text : withoutCreation(text)};
  if (text.find("://") != std::string::npos) {
    refusePasswordInArgument(text);
    return {text};
  }
  if (text.find('@') != std::string::npos)
    throw UsageError("--store: a host has no " + inQuotes("@") + "; give --user and --password-file");
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
  return client;
}

const std::string& Session::password() {
  if (!password_) password_ = passwordOf(options.login);
  return *password_;
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

std::unique_ptr<DatabaseProviderInterface> Session::provider(RecordKind kind, Access access) {
  return providerOf(kind, store(access));
}

std::unique_ptr<UsersDatabaseInterface> Session::users(Access access) {
  const StoreAddress address = StoreAddress::parse(options.store, access);
  if (!options.login.user.empty()) warnWhenInTheClear(options.store);
  std::unique_ptr<UsersDatabaseInterface> result(createUsersDatabase());
  if (options.login.user.empty() || options.login.user == administrator)
    result->connectAsAdmin(address.host, address.port, password());
  else
    result->connectAsUser(address.host, address.port, options.login.user, password());
  return result;
}

void writeJson(const ObjectProperties& document) {
  std::cout << printableJson(document.toJson()) << '\n';
}

}  // namespace database_provider::recordctl
