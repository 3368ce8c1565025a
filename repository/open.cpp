// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <filesystem>
#include <system_error>

#include "database_provider/records.h"
#include "values/Text.h"

namespace database_provider {

using database_client::Error;

namespace {

constexpr int usualPort = 27017;
constexpr int largestPort = 65535;

struct Host {
  std::string name;
  int port = usualPort;
};

bool isWhole(const std::string& address) {
  return address.rfind("file:", 0) == 0 || address.find("://") != std::string::npos;
}

int portOf(const std::string& text) {
  const bool isNumber = !text.empty() && text.size() < 6 && text.find_first_not_of("0123456789") == std::string::npos;
  const int port = isNumber ? std::stoi(text) : 0;
  // The text stays untold: it may be the beginning of a password.
  if (port < 1 || port > largestPort)
    throw Error(Error::Kind::query, "what stands behind the colon is no port, which is a number from 1 to 65535",
                {"address"});
  return port;
}

/// "host", "host:port", "[address]" or "[address]:port"; an address of version 6 needs no brackets without a port.
Host hostOf(const std::string& address) {
  const std::size_t end = address.find(']');
  if (address.front() == '[' && end != std::string::npos) {
    const std::string name = address.substr(1, end - 1);
    if (end + 1 == address.size()) return {name};
    if (address[end + 1] != ':') throw Error(Error::Kind::query, "expected a port behind \"]\"", {"address"});
    return {name, portOf(address.substr(end + 2))};
  }
  if (std::count(address.begin(), address.end(), ':') != 1) return {address};
  const std::size_t colon = address.find(':');
  return {address.substr(0, colon), portOf(address.substr(colon + 1))};
}

/// A name that is meant for a file would be looked up as that of a host.
void refuseFileWithoutScheme(const std::string& address) {
  std::error_code ignored;
  const bool isFile = std::filesystem::is_regular_file(address, ignored);
  if (isFile || values::looksLikePath(address))
    throw Error(Error::Kind::query,
                values::inQuotes(address) + (isFile ? " is" : " looks like") +
                    " a file; a store in a file is given as file:" + values::printable(address),
                {"address"});
}

std::string withoutCreation(const std::string& file) {
  return file + (file.find('?') == std::string::npos ? "?" : "&") + "create=false";
}

std::string authDatabaseOf(const OpenOptions& options) {
  if (!options.authDatabase.empty() || options.user == "admin")
    return options.authDatabase.empty() ? options.user : options.authDatabase;
  return databaseTypeToString(DatabaseType::databaseManager);
}

}  // namespace

std::unique_ptr<DataBaseClient> open(const std::string& address, const OpenOptions& options) {
  if (address.empty()) throw Error(Error::Kind::query, "the address of the store is empty", {"address"});
  if (!isWhole(address)) refuseFileWithoutScheme(address);
  Host host = isWhole(address) ? Host{address} : hostOf(address);
  const bool isFile = address.rfind("file:", 0) == 0;
  if (isFile && !options.create) host.name = withoutCreation(host.name);
  auto client = std::make_unique<DataBaseClient>();
  if (options.wanted) client->setCancellation(options.wanted);
  // What is not connected tells why in an error of the right kind.
  if (!client->connect(authDatabaseOf(options), host.name, host.port, options.user, options.password))
    client->describe();
  return client;
}

}  // namespace database_provider
