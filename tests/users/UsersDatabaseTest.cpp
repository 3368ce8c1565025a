// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <functional>

#include "tests/support/RecordingClient.h"
#include "tests/support/records.h"
#include "users/UsersDatabase.h"

namespace database_provider {
namespace {

using database_client::RecordingClient;
using Role = UsersDatabaseInterface::Role;

/// "read@experiment readWrite@base"
std::string text(const std::list<Role>& roles) {
  std::list<std::string> items;
  for (const Role& role : roles)
    items.push_back(databaseRoleTypeToString(role.role) + "@" + databaseTypeToString(role.db));
  return joined(items);
}

std::string message(const std::function<void()>& call) {
  try {
    call();
  } catch (const std::runtime_error& failure) {
    return failure.what();
  }
  return "did not throw";
}

const char* const additionalRoles = R"({"0": {"role": "changeOwnPasswordCustomDataRole", "db": "databaseManager"}, )"
                                    R"("1": {"role": "readWrite", "db": "databaseManager"}})";

class Users : public ::testing::Test {
 protected:
  Users() : Users(std::make_unique<RecordingClient>()) {}

  const Role readExperiments{DatabaseRoleType::read, DatabaseType::experiment};

 private:
  explicit Users(std::unique_ptr<RecordingClient> owned) : client(*owned), users(std::move(owned)) {}

 protected:
  RecordingClient& client;
  UsersDatabase users;
};

TEST_F(Users, ConnectAsTheAdministratorWithAPassword) {
  users.connectAsAdmin("host", 27017, "secret");
  EXPECT_EQ(client.calls(), "connect 'admin' 'host' 27017 'admin' 'secret'\n");
}

TEST_F(Users, ConnectAsNobodyWhenTheAdministratorHasNoPassword) {
  users.connectAsAdmin("host", 27017, "");
  EXPECT_EQ(client.calls(), "connect 'admin' 'host' 27017 '' ''\n");
}

TEST_F(Users, ConnectAsAUserAgainstTheManagersDatabase) {
  users.connectAsUser("host", 27017, "anna", "secret");
  users.disconnect();
  EXPECT_EQ(client.calls(), "connect 'databaseManager' 'host' 27017 'anna' 'secret'\ndisconnect\n");
}

TEST_F(Users, AreCreatedWithTheTwoRolesThatEveryoneGets) {
  users.addUser("anna", "secret", {}, ObjectProperties::fromJson(R"({"a": 1})"));
  EXPECT_EQ(client.calls(),
            std::string("createUser databaseManager 'anna' 'secret' ") + additionalRoles + " {\"a\": 1}\n");
}

TEST_F(Users, AreCreatedWithTheirOwnRolesFirst) {
  users.addUser("anna", "secret", {readExperiments}, {});
  EXPECT_EQ(client.calls(), R"(createUser databaseManager 'anna' 'secret' {"0": {"role": "read", "db": "experiment"}, )"
                            R"("1": {"role": "changeOwnPasswordCustomDataRole", "db": "databaseManager"}, )"
                            R"("2": {"role": "readWrite", "db": "databaseManager"}} {})"
                            "\n");
}

TEST_F(Users, MayHaveARoleTwice) {
  users.updateUser("anna", {{DatabaseRoleType::readWrite, DatabaseType::databaseManager}}, {});
  EXPECT_EQ(client.calls(),
            R"(modifyUser databaseManager 'anna' {"0": {"role": "readWrite", "db": "databaseManager"}, )"
            R"("1": {"role": "changeOwnPasswordCustomDataRole", "db": "databaseManager"}, )"
            R"("2": {"role": "readWrite", "db": "databaseManager"}} {})"
            "\n");
}

TEST_F(Users, OfAnUndefinedDatabaseOrRoleAreRefusedBeforeAnyCall) {
  const Role noDatabase{DatabaseRoleType::undefinedRole, DatabaseType::undefinedDatabase};
  const Role noRole{DatabaseRoleType::undefinedRole, DatabaseType::base};
  EXPECT_EQ(message([&] { users.addUser("a", "b", {noDatabase}, {}); }), "Undefined databaseType")
      << "the database is looked at first";
  EXPECT_EQ(message([&] { users.addUser("a", "b", {readExperiments, noRole}, {}); }), "Undefined role");
  EXPECT_EQ(message([&] { users.updateUser("a", {noDatabase}, {}); }), "Undefined databaseType");
  EXPECT_EQ(client.calls(), "");
}

TEST_F(Users, AreRemovedAndGivenPasswords) {
  users.removeUser("anna");
  users.changeUserPassword("anna", "new");
  users.changeAdminPassword("newer");
  EXPECT_EQ(client.calls(),
            "dropUser databaseManager 'anna'\nchangePassword databaseManager 'anna' 'new'\n"
            "changePassword admin 'admin' 'newer'\n");
}

TEST_F(Users, TakeARefusedConnectionWithoutAWord) {
  client.setResult(false);
  EXPECT_NO_THROW(users.connectAsAdmin("host", 1, "wrong"));
  EXPECT_NO_THROW(users.connectAsUser("host", 1, "anna", "wrong"));
  EXPECT_NO_THROW(users.disconnect());
}

TEST_F(Users, WithoutANameAreListedWithAnEmptyOne) {
  client.answer({R"({"db": "databaseManager"})", R"({"user": 5, "db": "databaseManager"})"});
  EXPECT_EQ(users.enumUsers(), (std::list<std::string>{"", ""}));
}

TEST_F(Users, AreListedWithoutTheAdministratorAndThoseOfOtherDatabases) {
  client.answer({R"({"user": "zoe", "db": "databaseManager"})", R"({"user": "admin", "db": "databaseManager"})",
                 R"({"user": "admin", "db": "admin"})", R"({"user": "other", "db": "elsewhere"})",
                 R"({"user": "none"})", R"({"user": "anna", "db": "databaseManager"})"});
  EXPECT_EQ(joined(users.enumUsers()), "zoe anna") << "in the store's order";
  EXPECT_EQ(client.calls(), "find admin system.users {} {} 0 0\n");
}

class UserInfo : public Users {
 protected:
  /// "roles; custom data", with what was there before
  std::string info() {
    std::list<Role> roles{{DatabaseRoleType::readWrite, DatabaseType::base}};
    ObjectProperties customData = ObjectProperties::fromJson(R"({"old": 1})");
    users.getUserInfo("anna", roles, customData);
    return text(roles) + "; " + customData.toJson();
  }
};

TEST_F(UserInfo, GivesTheRolesAndTheCustomData) {
  client.answer({R"({"user": "anna", "db": "databaseManager", "roles": [{"role": "read", "db": "experiment"}], )"
                 R"("customData": {"a": 1}})"});
  EXPECT_EQ(info(), R"(readWrite@base read@experiment; {"a": 1})");
  EXPECT_EQ(client.calls(), "find admin system.users {\"user\": \"anna\"} {} 1 0\n");
}

TEST_F(UserInfo, LeavesOutTheRolesThatEveryoneGets) {
  client.answer({R"({"user": "anna", "db": "databaseManager", "roles": [{"role": "read", "db": "experiment"}, )"
                 R"({"role": "changeOwnPasswordCustomDataRole", "db": "databaseManager"}, )"
                 R"({"role": "readWrite", "db": "databaseManager"}], "customData": {}})"});
  EXPECT_EQ(info(), "readWrite@base read@experiment; {}");
}

TEST_F(UserInfo, LeavesBothAsTheyWereForAnUnknownName) {
  EXPECT_EQ(info(), R"(readWrite@base; {"old": 1})");
}

TEST_F(UserInfo, IgnoresTheAdministratorAndUsersOfOtherDatabases) {
  client.answer({R"({"user": "admin", "db": "databaseManager", "customData": {"a": 1}})"});
  EXPECT_EQ(info(), R"(readWrite@base; {"old": 1})");
  client.answer({R"({"user": "anna", "db": "elsewhere", "customData": {"a": 1}})"});
  EXPECT_EQ(info(), R"(readWrite@base; {"old": 1})");
}

TEST_F(UserInfo, OfAUserWithoutADatabaseIsTheCustomDataAlone) {
  client.answer({R"({"user": "anna", "roles": [{"role": "read", "db": "base"}], "customData": {"a": 1}})"});
  EXPECT_EQ(info(), R"(readWrite@base; {"a": 1})");
}

TEST_F(UserInfo, LeavesTheCustomDataWhenTheUserHasNone) {
  client.answer({R"({"user": "anna", "db": "databaseManager"})"});
  EXPECT_EQ(info(), R"(readWrite@base; {"old": 1})");
}

TEST_F(UserInfo, LeavesBothAsTheyWereWhenTheStoreFailsHalfWay) {
  client.answer({R"({"user": "anna", "db": "databaseManager", "customData": {"a": 1}})"});
  client.failOn(1);
  std::list<Role> roles;
  ObjectProperties customData;
  EXPECT_THROW(users.getUserInfo("anna", roles, customData), database_client::Error);
  EXPECT_EQ(text(roles) + customData.toJson(), "{}");
}

TEST(Roles, OfEveryoneAreAppended) {
  std::list<Role> roles{{DatabaseRoleType::read, DatabaseType::base}};
  UsersDatabase::addAdditionalRoles(roles);
  EXPECT_EQ(text(roles), "read@base changeOwnPasswordCustomDataRole@databaseManager readWrite@databaseManager");
}

TEST(Roles, WriteNothingWhenThereAreNone) {
  ObjectProperties document;
  UsersDatabase::rolesToObjectProperties({}, document);
  EXPECT_TRUE(document.isEmpty());
}

TEST(Roles, BeforeOneThatIsRefusedStayWritten) {
  ObjectProperties document;
  const std::list<Role> roles{{DatabaseRoleType::read, DatabaseType::base},
                              {DatabaseRoleType::undefinedRole, DatabaseType::base}};
  EXPECT_EQ(message([&] { UsersDatabase::rolesToObjectProperties(roles, document); }), "Undefined role");
  EXPECT_EQ(document.toJson(), R"({"0": {"role": "read", "db": "base"}})");
}

TEST(Roles, AreWrittenIntoTheGroupsThatAreThere) {
  ObjectProperties document = ObjectProperties::fromJson(R"({"0": {"since": 5}})");
  UsersDatabase::rolesToObjectProperties({{DatabaseRoleType::read, DatabaseType::base}}, document);
  EXPECT_EQ(document.toJson(), R"({"0": {"since": 5, "role": "read", "db": "base"}})");
}

TEST(Roles, ReadUnknownNamesAsTheFirstOfEach) {
  const ObjectProperties document = ObjectProperties::fromJson(
      R"({"roles": [{"role": "dbAdmin", "db": "base"}, {"role": "readWrite", "db": "elsewhere"}, {}, "text", )"
      R"({"role": "read", "db": "databaseManager"}, {"role": "read", "db": "undefinedDatabase"}]})");
  std::list<Role> roles;
  UsersDatabase::rolesFromObjectProperties(&document, roles);
  EXPECT_EQ(text(roles), "read@base readWrite@base read@base");
}

TEST(Roles, StayAsTheyWereWhenTheDocumentHasNone) {
  std::list<Role> roles{{DatabaseRoleType::read, DatabaseType::base}};
  const ObjectProperties document;
  UsersDatabase::rolesFromObjectProperties(&document, roles);
  EXPECT_EQ(text(roles), "read@base");
}

class UserSettings : public Users {
 protected:
  std::string settings() {
    ObjectProperties data = ObjectProperties::fromJson(R"({"old": 1})");
    users.getUserData("anna", "layout", data);
    return data.toJson();
  }
};

TEST_F(UserSettings, AreStoredUnderUserAndTagInPlaceOfTheOldOnes) {
  users.addUserData("anna", "layout", ObjectProperties::fromJson(R"({"a": 1})"));
  EXPECT_EQ(client.calls(), R"(update databaseManager customization {"user": "anna", "tag": "layout"} )"
                            R"({"user": "anna", "tag": "layout", "data": {"a": 1}} 1 1)"
                            "\n");
}

TEST_F(UserSettings, AreReadByUserAndTag) {
  client.answer({R"({"_id": "x", "user": "anna", "tag": "layout", "data": {"a": 1}})"});
  EXPECT_EQ(settings(), R"({"a": 1})");
  EXPECT_EQ(client.calls(), R"(find databaseManager customization {"user": "anna", "tag": "layout"} {} 1 0)"
                            "\n");
}

TEST_F(UserSettings, LeaveTheOutputForAnUnknownTag) {
  EXPECT_EQ(settings(), R"({"old": 1})");
  client.answer({R"({"user": "anna", "tag": "layout"})"});
  EXPECT_EQ(settings(), R"({"old": 1})");
}

TEST_F(UserSettings, OfAnEmptyUserAndTagGoToTheStoreLikeAnyOther) {
  users.addUserData("", "", {});
  users.removeUserData("", "");
  users.removeAllUserData("");
  EXPECT_EQ(client.calls(),
            R"(update databaseManager customization {"user": "", "tag": ""} {"user": "", "tag": "", "data": {}} 1 1)"
            "\nremove databaseManager customization {\"user\": \"\", \"tag\": \"\"}\n"
            "remove databaseManager customization {\"user\": \"\"}\n");
}

TEST_F(UserSettings, AreRemovedByTagOrAltogether) {
  users.removeUserData("anna", "layout");
  users.removeAllUserData("anna");
  EXPECT_EQ(client.calls(),
            "remove databaseManager customization {\"user\": \"anna\", \"tag\": \"layout\"}\n"
            "remove databaseManager customization {\"user\": \"anna\"}\n");
}

TEST_F(Users, PassEveryFailureOfTheClientOn) {
  std::list<Role> roles;
  ObjectProperties data;
  int call = 0;
  const auto fails = [&](auto&& operation) {
    client.failOn(++call);
    EXPECT_THROW(operation(), database_client::Error) << call;
  };
  fails([&] { users.connectAsAdmin("h", 1, ""); });
  fails([&] { users.connectAsUser("h", 1, "u", "p"); });
  fails([&] { users.disconnect(); });
  fails([&] { users.addUser("u", "p", {}, data); });
  fails([&] { users.updateUser("u", {}, data); });
  fails([&] { users.removeUser("u"); });
  fails([&] { users.changeUserPassword("u", "p"); });
  fails([&] { users.changeAdminPassword("p"); });
  client.answer({R"({"user": "u"})"});
  fails([&] { users.enumUsers(); });
  client.answer({R"({"user": "u"})"});
  fails([&] { users.getUserInfo("u", roles, data); });
  fails([&] { users.addUserData("u", "t", data); });
  client.answer({R"({"data": {"a": 1}})"});
  fails([&] { users.getUserData("u", "t", data); });
  fails([&] { users.removeUserData("u", "t"); });
  fails([&] { users.removeAllUserData("u"); });
  EXPECT_TRUE(data.isEmpty());
}

TEST(UsersOwnership, DestroysItsClientWithoutDisconnecting) {
  const auto log = std::make_shared<std::string>();
  { const UsersDatabase users(std::make_unique<RecordingClient>(log)); }
  EXPECT_EQ(*log, "destroyed\n");
}

}  // namespace
}  // namespace database_provider
