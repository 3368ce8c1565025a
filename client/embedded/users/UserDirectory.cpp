// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/users/UserDirectory.h"

#include "client/bson/Writer.h"
#include "client/bson/base64.h"
#include "client/selfServiceRole.h"

namespace database_client::embedded {

using bson::Element;
using bson::Type;
using bson::Value;
using bson::View;
using bson::viewOf;
using bson::Writer;

namespace {

constexpr const char* mechanism = "SCRAM-SHA-256";
constexpr const char* administratorName = "admin";
constexpr std::size_t uuidSize = 16;
constexpr bson::Byte uuidSubtype = 4;

std::string idOf(const std::string& database, const std::string& name) {
  return database + "." + name;
}

std::string textOf(const Value& value) {
  return value.data != nullptr && value.type == Type::string ? std::string(value.asString()) : std::string();
}

std::string uuidOf(const Value& value) {
  const bool isUuid = value.data != nullptr && value.type == Type::binary && value.binarySize() == uuidSize;
  return isUuid ? std::string(reinterpret_cast<const char*>(value.binaryData()), uuidSize) : std::string();
}

/// A random one, of version 4.
std::string newUuid() {
  std::string uuid = randomBytes(uuidSize);
  uuid[6] = static_cast<char>((uuid[6] & 0x0F) | 0x40);
  uuid[8] = static_cast<char>((uuid[8] & 0x3F) | 0x80);
  return uuid;
}

View groupOf(const Value& value) {
  const bool isLevel = value.data != nullptr && value.isLevel();
  return isLevel ? value.asDocument() : bson::emptyDocument();
}

std::optional<Credentials> readCredentials(View user) {
  const View kept = groupOf(groupOf(user.find("credentials")).find(mechanism));
  const Value count = kept.find("iterationCount");
  if (count.data == nullptr || count.type != Type::int32) return std::nullopt;
  const auto bytesOf = [&kept](std::string_view key) {
    return bson::fromBase64(textOf(kept.find(key))).value_or(std::string());
  };
  return Credentials{count.asInt32(), bytesOf("salt"), bytesOf("storedKey"), bytesOf("serverKey")};
}

void writeCredentials(Writer& writer, const Credentials& credentials) {
  writer.beginDocument("credentials");
  writer.beginDocument(mechanism);
  writer.appendInt32("iterationCount", credentials.iterations);
  writer.appendString("salt", bson::toBase64(credentials.salt));
  writer.appendString("storedKey", bson::toBase64(credentials.storedKey));
  writer.appendString("serverKey", bson::toBase64(credentials.serverKey));
  writer.end();
  writer.end();
}

User read(View document) {
  User user;
  user.database = textOf(document.find("db"));
  user.name = textOf(document.find("user"));
  user.id = uuidOf(document.find("userId"));
  user.credentials = readCredentials(document);
  const View customData = groupOf(document.find("customData"));
  user.customData.assign(customData.data, customData.data + customData.size);
  for (const Element& element : groupOf(document.find("roles"))) {
    const View grant = groupOf(element.value);
    user.grants.push_back({textOf(grant.find("role")), textOf(grant.find("db"))});
  }
  return user;
}

std::vector<bson::Byte> write(const User& user) {
  Writer writer;
  writer.appendString("_id", idOf(user.database, user.name));
  if (!user.id.empty()) writer.appendBinary("userId", uuidSubtype, user.id.data(), user.id.size());
  writer.appendString("user", user.name);
  writer.appendString("db", user.database);
  if (user.credentials) writeCredentials(writer, *user.credentials);
  writer.appendDocument("customData", user.customData.empty() ? bson::emptyDocument() : viewOf(user.customData));
  writer.beginArray("roles");
  for (std::size_t i = 0; i < user.grants.size(); ++i) {
    writer.beginDocument(bson::IndexKey(i));
    writer.appendString("role", user.grants[i].role);
    writer.appendString("db", user.grants[i].database);
    writer.end();
  }
  writer.end();
  return writer.take();
}

/// The id as a value of its own.
class IdValue {
 public:
  explicit IdValue(const std::string& id) {
    Writer writer;
    writer.appendString("_id", id);
    bytes_ = writer.take();
  }
  Value value() const { return viewOf(bytes_).find("_id"); }

 private:
  std::vector<bson::Byte> bytes_;
};

std::vector<bson::Byte> ownDataRoleDocument() {
  Writer writer;
  writer.appendString("_id", idOf(ownDataDatabase, selfServiceRole));
  writer.appendString("role", selfServiceRole);
  writer.appendString("db", ownDataDatabase);
  appendOwnDataPrivileges(writer);
  return writer.take();
}

}  // namespace

User UserDirectory::administrator() {
  User user;
  user.database = "admin";
  user.name = administratorName;
  user.grants = {{"root", "admin"}};
  return user;
}

std::optional<User> UserDirectory::find(const std::string& database, const std::string& name) {
  Collection* kept = store_.find("admin", "system.users");
  if (kept == nullptr) return std::nullopt;
  const auto rid = kept->ridOf(IdValue(idOf(database, name)).value());
  if (!rid) return std::nullopt;
  RowReader reader(*kept);
  User user = read(reader.require(*rid));
  // "a.b" may be the user "b" of "a", and the name of a database that has a dot, which none has.
  if (user.database != database || user.name != name) return std::nullopt;
  return user;
}

void UserDirectory::insert(User user) {
  user.id = newUuid();
  users().insert(viewOf(write(user)));
}

void UserDirectory::replace(const User& user) {
  const auto rid = users().ridOf(IdValue(idOf(user.database, user.name)).value());
  if (!rid) return;
  users().replace(*rid, bson::emptyDocument(), viewOf(write(user)));
}

bool UserDirectory::remove(const std::string& database, const std::string& name) {
  const auto rid = users().ridOf(IdValue(idOf(database, name)).value());
  if (!rid) return false;
  users().remove(*rid, bson::emptyDocument());
  return true;
}

bool UserDirectory::hasOwnDataRole() {
  Collection* roles = store_.find("admin", "system.roles");
  return roles != nullptr && roles->ridOf(IdValue(idOf(ownDataDatabase, selfServiceRole)).value());
}

void UserDirectory::makeOwnDataRole() {
  store_.obtain("admin", "system.roles").insert(viewOf(ownDataRoleDocument()));
}

}  // namespace database_client::embedded
