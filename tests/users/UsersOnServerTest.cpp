// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <algorithm>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "database_provider/database_provider.h"
#include "tests/support/ScriptedServer.h"

// The custom data of users on its way to a server and back, which the servers at hand lose. The answers have the shape
// of those that a MongoDB server gives.

namespace database_provider {
namespace {

using database_client::ObjectProperties;
using database_test::answer;
using database_test::batch;
using database_test::bsonOf;
using database_test::refusal;
using Bytes = std::vector<std::uint8_t>;
using Role = UsersDatabaseInterface::Role;

/// A value of every kind that a person may keep, an empty group and an empty key among them.
const char* const data = R"({"phone": "+49 89 \u00e4", "big": {"$numberLong": "9007199254740993"}, "small": 7,
    "half": {"$numberDouble": "0.5"}, "none": null, "on": true, "when": {"$date": {"$numberLong": "-1"}},
    "picture": {"$binary": {"base64": "AAEC", "subType": "00"}}, "list": [1, [2, {"a": "b"}], {}], "": {"deep": {}}})";

class UsersOnServer : public ::testing::Test {
 protected:
  UsersOnServer() { users->connectAsAdmin("127.0.0.1", server.port(), ""); }

  /// Whether the last command of this name held the group, byte by byte.
  bool sent(const std::string& command, const std::string& group, const std::string& json) const {
    const Bytes wire = server.received(command).back().wire;
    Bytes element{3};
    element.insert(element.end(), group.begin(), group.end());
    element.push_back(0);
    const Bytes document = bsonOf(json);
    element.insert(element.end(), document.begin(), document.end());
    return std::search(wire.begin(), wire.end(), element.begin(), element.end()) != wire.end();
  }
  static ObjectProperties document(const std::string& json) {
    const Bytes bytes = bsonOf(json);
    return ObjectProperties::fromBson(bytes.data(), bytes.size());
  }
  Bytes customDataOf(const std::string& user) {
    std::list<Role> roles;
    ObjectProperties custom;
    users->getUserInfo(user, roles, custom);
    return custom.toBson();
  }
  static std::string user(const std::string& name, const std::string& customData) {
    return R"({"_id": "databaseManager.)" + name + R"(", "userId": {"$binary": {"base64":
        "AAECAwQFBgcICQoLDA0ODw==", "subType": "04"}}, "user": ")" +
           name + R"(", "db": "databaseManager", "credentials": {"SCRAM-SHA-256": {"iterationCount": 15000}},
        "customData": )" +
           customData + R"(, "roles": [{"role": "read", "db": "experiment"}, {"role": "changeOwnPasswordCustomDataRole",
        "db": "databaseManager"}], "mechanisms": ["SCRAM-SHA-1", "SCRAM-SHA-256"]})";
  }

  database_test::ScriptedServer server{};
  std::unique_ptr<UsersDatabaseInterface> users{createUsersDatabase()};
};

TEST_F(UsersOnServer, AreCreatedWithTheirCustomDataAsItIs) {
  users->addUser("anna", "pw", {}, document(data));
  EXPECT_TRUE(sent("createUser", "customData", data)) << server.received("createUser").back().json;
}

TEST_F(UsersOnServer, AreChangedWithTheirCustomDataAsItIs) {
  users->updateUser("anna", {}, document(data));
  EXPECT_TRUE(sent("updateUser", "customData", data)) << server.received("updateUser").back().json;
}

TEST_F(UsersOnServer, LoseTheirCustomDataToAnEmptyGroup) {
  users->updateUser("anna", {}, ObjectProperties());
  EXPECT_TRUE(sent("updateUser", "customData", "{}")) << server.received("updateUser").back().json;
}

TEST_F(UsersOnServer, ChangeTheirOwnCustomDataWithoutTheRightToRoles) {
  server.script("updateUser", {refusal(13, "not authorized to revoke any role in the system"), answer(R"({"ok": 1})")});
  server.script("usersInfo", {answer(R"({"ok": 1, "users": [{"user": "anna", "db": "databaseManager", "roles": [
      {"role": "readWrite", "db": "databaseManager"}, {"role": "read", "db": "experiment"},
      {"role": "changeOwnPasswordCustomDataRole", "db": "databaseManager"}]}]})")});
  users->updateUser("anna", {{DatabaseRoleType::read, DatabaseType::experiment}}, document(data));
  EXPECT_TRUE(sent("updateUser", "customData", data));
  EXPECT_THAT(server.received("updateUser").back().json, ::testing::Not(::testing::HasSubstr("roles")));
}

TEST_F(UsersOnServer, ComeBackWithTheirCustomDataFromTheCollection) {
  server.script("find", {batch(user("anna", data))});
  EXPECT_EQ(customDataOf("anna"), bsonOf(data));
}

TEST_F(UsersOnServer, ComeBackWithTheirCustomDataFromTheCommand) {
  server.script("find", {refusal(13, "not authorized on admin to execute command")});
  server.script("usersInfo", {answer(R"({"ok": 1, "users": [)" + user("anna", data) + "]}")});
  EXPECT_EQ(customDataOf("anna"), bsonOf(data));
}

TEST_F(UsersOnServer, ComeBackWithTheRolesThatTheyWereGiven) {
  server.script("usersInfo", {answer(R"({"ok": 1, "users": [)" + user("anna", "{}") + "]}")});
  std::list<Role> roles;
  ObjectProperties custom;
  users->getUserInfo("anna", roles, custom);
  ASSERT_EQ(roles.size(), 1U);
  EXPECT_EQ(roles.front().role, DatabaseRoleType::read);
  EXPECT_EQ(roles.front().db, DatabaseType::experiment);
}

TEST_F(UsersOnServer, AreListedWithoutTheAdministratorAndThoseOfOtherDatabases) {
  server.script("usersInfo", {answer(R"({"ok": 1, "users": [{"user": "admin", "db": "admin"}, )" + user("anna", data) +
                                     R"(, {"user": "backup", "db": "admin"}, )" + user("ben", "{}") + "]}")});
  EXPECT_THAT(users->enumUsers(), ::testing::ElementsAre("anna", "ben"));
}

}  // namespace
}  // namespace database_provider
