// SPDX-License-Identifier: Apache-2.0
#include "client/server/Description.h"

#include <string>
#include <utility>

#include "client/DocumentAccess.h"
#include "database_client/codes.h"

namespace database_client::server {

namespace {

OwnedBson commandOf(const char* name, bool nameOnly) {
  bson::Writer command;
  command.appendInt32(name, 1);
  if (nameOnly) command.appendBool("nameOnly", true);
  return OwnedBson(std::move(command));
}

OwnedBson collectionStatistics(const std::string& collection) {
  bson::Writer command;
  command.appendString("collStats", collection);
  return OwnedBson(std::move(command));
}

std::optional<long long> numberAt(bson::View answer, std::string_view key) {
  const bson::Value value = answer.find(key);
  if (value.data == nullptr) return std::nullopt;
  if (value.type == bson::Type::int32) return value.asInt32();
  if (value.type == bson::Type::int64) return value.asInt64();
  if (value.type == bson::Type::real) return static_cast<long long>(value.asDouble());
  return std::nullopt;
}

/// The list of databases takes a right, so that it is refused to whoever is nobody where access is controlled.
AccessControl triedBy(OperationRunner& nobody) {
  const OwnedBson command = commandOf("listDatabases", true);
  try {
    nobody.command({"look whether access is controlled"}, "admin", command.get(), [](bson::View) {});
    return AccessControl::off;
  } catch (const Error& error) {
    const bool isRefused = error.kind() == Error::Kind::authorization || error.kind() == Error::Kind::authentication;
    return isRefused ? AccessControl::on : AccessControl::unknown;
  }
}

}  // namespace

AccessControl accessControlOf(OperationRunner& runner) {
  // Who logs in by a certificate has no name in the address, and is somebody all the same.
  if (mongoc_uri_get_auth_mechanism(runner.address().uri.get()) != nullptr) return AccessControl::unknown;
  if (runner.address().login().empty()) return triedBy(runner);
  try {
    OperationRunner nobody(withoutUser(runner.address()));
    return triedBy(nobody);
  } catch (const Error&) {
    return AccessControl::unknown;
  }
}

StoreDescription describe(OperationRunner& runner) {
  StoreDescription result;
  const OwnedBson command = commandOf("buildInfo", false);
  result.format = "server";
  runner.command({"look-up of the server's version"}, "admin", command.get(), [&](bson::View answer) {
    const bson::Value version = answer.find("version");
    if (version.data != nullptr && version.type == bson::Type::string)
      result.format += " " + std::string(version.asString());
  });
  return result;
}

CollectionSize sizeOf(OperationRunner& runner, const Namespace& where) {
  CollectionSize result;
  const OwnedBson command = collectionStatistics(where.collection);
  try {
    runner.command({"measurement of " + where.database + "." + where.collection}, where.database, command.get(),
                   [&](bson::View answer) {
                     result.documents = numberAt(answer, "count").value_or(0);
                     result.documentBytes = numberAt(answer, "storageSize");
                     result.indexBytes = numberAt(answer, "totalIndexSize");
                   });
  } catch (const Error& error) {
    if (error.code() == code::namespaceNotFound) return {0, 0, 0};
    if (error.code() != code::commandNotFound && error.kind() != Error::Kind::unsupported) throw;
  }
  return result;
}

}  // namespace database_client::server
