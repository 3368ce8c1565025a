// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tests/client/server/ServerTest.h"

// The commands that users and a deployment's set-up come to, and what is asked for where a server keeps its users.

namespace database_client {
namespace {

using database_test::answer;
using database_test::batch;
using database_test::refusal;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class Users : public ServerTest {
 protected:
  void SetUp() override { ASSERT_EQ(connect(), "true"); }

  /// "name", or "name(roles)", of the users found.
  std::string users(const std::string& query = "{}", int limit = 0, int skip = 0) {
    return outcome([&] {
      std::list<ObjectProperties*> documents;
      client.find("admin", "system.users", document(query), ObjectProperties(), documents, limit, skip);
      std::string text;
      for (const ObjectProperties* one : documents) {
        const std::unique_ptr<const ObjectProperties> owned(one);
        text += (text.empty() ? "" : " ") + owned->valueAsString("user", "?");
        if (owned->contains("credentials")) text += "!";
      }
      return text;
    });
  }
  std::string setUp(const DeploymentPlan& plan) {
    return outcome([&] {
      std::string text;
      for (const DeploymentStep& step : client.setUpDeployment(plan)) {
        const char* states[] = {"done", "there", "planned"};
        text += (text.empty() ? "" : "; ") + step.what + ": " + states[static_cast<int>(step.state)];
      }
      return text;
    });
  }
  static DeploymentPlan wholePlan() {
    DeploymentPlan plan;
    plan.administratorPassword = "secret";
    plan.indexes.push_back({"experiment", "records", {"a.name", "a.value"}});
    return plan;
  }

  /// Logs in, so that setting up needs no login of its own.
  void connectAsSomebody() {
    ASSERT_EQ(connect("mongodb://anna@" + server.host() + "/?authMechanism=MONGODB-X509"), "true");
  }

  const ObjectProperties roles = document(R"({"0": {"role": "read", "db": "experiment"}})");
};

TEST_F(Users, CreationSendsRolesAsAnArrayAndTheCustomData) {
  client.createUser("databaseManager", "anna", "pw", roles, document(R"({"mail": "a@b"})"));
  EXPECT_THAT(
      sent("createUser"),
      StartsWith(R"({ "createUser" : "anna", "pwd" : "pw", "roles" : [ { "role" : "read", "db" : "experiment" } ])"
                 R"(, "customData" : { "mail" : "a@b" })"));
  EXPECT_EQ(server.received("createUser").back().database, "databaseManager");
}

TEST_F(Users, CreationWithoutRolesSendsAnEmptyArray) {
  client.createUser("d", "anna", "pw", ObjectProperties(), ObjectProperties());
  EXPECT_THAT(sent("createUser"), HasSubstr(R"("roles" : [  ], "customData" : {  })"));
}

TEST_F(Users, ChangeReplacesRolesAndCustomDataAndLeavesThePassword) {
  client.modifyUser("d", "anna", roles, document(R"({"x": 1})"));
  EXPECT_THAT(sent("updateUser"), HasSubstr(R"("customData" : { "x" : { "$numberInt" : "1" } })"));
  EXPECT_THAT(sent("updateUser"), Not(HasSubstr("pwd")));
}

class OwnData : public Users {
 protected:
  std::string modify(const std::string& grants) {
    return outcome([&] {
      client.modifyUser("databaseManager", "anna", document(grants), document(R"({"x": 1})"));
      return "ok";
    });
  }
  const database_test::Step refused = refusal(13, "not authorized to revoke any role in the system");
};

TEST_F(OwnData, MayBeChangedWhereRolesThatStayMayNotBeNamed) {
  server.script("updateUser", {refused, answer(R"({"ok": 1})")});
  server.script("usersInfo", {answer(R"({"ok": 1, "users": [{"user": "anna", "db": "databaseManager", "roles":
      [{"role": "readWrite", "db": "base"}, {"role": "read", "db": "experiment"}]}]})")});
  EXPECT_EQ(modify(R"({"0": {"role": "read", "db": "experiment"}, "1": {"role": "readWrite", "db": "base"},
      "2": {"role": "read", "db": "experiment"}})"),
            "ok");
  EXPECT_THAT(sent("usersInfo"), StartsWith(R"({ "usersInfo" : { "user" : "anna", "db" : "databaseManager" })"));
  EXPECT_THAT(sent("updateUser"),
              StartsWith(R"({ "updateUser" : "anna", "customData" : { "x" : { "$numberInt" : "1" } }, )"));
  EXPECT_THAT(sent("updateUser"), Not(HasSubstr("roles")));
}

TEST_F(OwnData, IsNotChangedWhereTheRolesWouldChange) {
  server.script("updateUser", {refused});
  server.script("usersInfo", {answer(R"({"ok": 1, "users": [{"user": "anna", "db": "databaseManager", "roles":
      [{"role": "readWrite", "db": "base"}]}]})")});
  EXPECT_EQ(modify(R"({"0": {"role": "root", "db": "admin"}})"), "authorization 13");
  EXPECT_EQ(timesSent("updateUser"), 1U);
}

TEST_F(OwnData, IsNotChangedWhereTheRolesAreNotTold) {
  server.script("updateUser", {refused});
  server.script("usersInfo", {refusal(13, "not authorized")});
  EXPECT_EQ(modify(R"({"0": {"role": "read", "db": "base"}})"), "authorization 13");
  EXPECT_EQ(timesSent("updateUser"), 1U);
}

TEST_F(Users, PasswordIsChangedAlone) {
  client.changePassword("d", "anna", "other");
  EXPECT_THAT(sent("updateUser"), StartsWith(R"({ "updateUser" : "anna", "pwd" : "other", )"));
  EXPECT_THAT(sent("updateUser"), Not(HasSubstr("roles")));
}

TEST_F(Users, RemovalSendsTheName) {
  client.dropUser("d", "anna");
  EXPECT_THAT(sent("dropUser"), StartsWith(R"({ "dropUser" : "anna")"));
}

TEST_F(Users, RefusalsKeepTheServersCode) {
  server.script("createUser", {refusal(51003, "User already exists"), refusal(31, "No role named x")});
  server.script("updateUser", {refusal(11, "Could not find user")});
  const auto create = [&] {
    client.createUser("d", "anna", "pw", roles, ObjectProperties());
    return "ok";
  };
  EXPECT_EQ(outcome(create), "server 51003");
  EXPECT_EQ(outcome(create), "server 31");
  EXPECT_EQ(outcome([&] {
              client.modifyUser("d", "anna", roles, ObjectProperties());
              return "ok";
            }),
            "server 11");
}

TEST_F(Users, NameOrPasswordThatIsNoTextIsNotSent) {
  const std::string withNul("a\0b", 3);
  const auto create = [&](const std::string& user, const std::string& password) {
    return outcome([&] {
      client.createUser("d", user, password, roles, ObjectProperties());
      return "ok";
    });
  };
  const auto change = [&](const std::string& password) {
    return outcome([&] {
      client.changePassword("d", "anna", password);
      return "ok";
    });
  };
  for (const std::string& odd : {std::string("a\xFF"), withNul}) {
    EXPECT_EQ(create(odd, "pw"), "query");
    EXPECT_EQ(create("anna", odd), "query");
    EXPECT_EQ(change(odd), "query");
  }
  EXPECT_EQ(timesSent("createUser") + timesSent("updateUser"), 0U);
}

TEST_F(Users, PasswordOfCharactersThatDoNotCountIsNotSent) {
  const std::string invisible = "\u00AD\u2060";
  DeploymentPlan plan;
  plan.administratorPassword = invisible;
  EXPECT_EQ(outcome([&] {
              client.createUser("d", "anna", invisible, roles, ObjectProperties());
              return "ok";
            }),
            "server 50687");
  EXPECT_EQ(outcome([&] {
              client.changePassword("d", "anna", invisible);
              return "ok";
            }),
            "server 50687");
  EXPECT_EQ(setUp(plan), "server 50687");
  EXPECT_EQ(timesSent("createUser") + timesSent("updateUser"), 0U);
  EXPECT_EQ(connect("127.0.0.1", server.port(), "anna", invisible), "false");
  EXPECT_THAT(client.failure(), HasSubstr("empty password"));
  EXPECT_EQ(connect("mongodb://anna:%C2%AD@" + server.host() + "/"), "false");
  EXPECT_THAT(client.failure(), HasSubstr("without a password"));
}

TEST_F(Users, CommandsForUsersAreNotRepeated) {
  server.script("createUser", {database_test::failing(database_test::Step::Fate::close)});
  EXPECT_EQ(outcome([&] {
              client.createUser("d", "anna", "pw", roles, ObjectProperties());
              return "ok";
            }),
            "connection retryable outcomeUnknown");
  EXPECT_EQ(timesSent("createUser"), 1U);
}

TEST_F(Users, CredentialsAreLeftOut) {
  server.script("find", {batch(R"({"user": "anna", "credentials": {"SCRAM-SHA-256": {}}}, {"user": "ben"})")});
  EXPECT_EQ(users(), "anna ben");
  EXPECT_EQ(timesSent("usersInfo"), 0U);
}

TEST_F(Users, ServerThatKeepsThemElsewhereIsAskedByCommand) {
  server.script("usersInfo", {answer(R"({"ok": 1, "users": [{"user": "anna", "credentials": {}}, {"user": "ben"}]})")});
  EXPECT_EQ(users(), "anna ben");
  EXPECT_THAT(sent("usersInfo"), StartsWith(R"({ "usersInfo" : { "forAllDBs" : true })"));
}

TEST_F(Users, OneNameIsAskedForByCommand) {
  server.script("usersInfo", {answer(R"({"ok": 1, "users": [{"user": "anna"}]})")});
  EXPECT_EQ(users(R"({"user": "anna"})"), "anna");
  EXPECT_THAT(sent("usersInfo"), HasSubstr(R"("filter" : { "user" : "anna" })"));
}

TEST_F(Users, PagesAreCutFromTheCommandsAnswer) {
  server.always("usersInfo", answer(R"({"ok": 1, "users": [{"user": "a"}, {"user": "b"}, {"user": "c"}]})"));
  EXPECT_EQ(users("{}", 1, 0), "a");
  EXPECT_EQ(users("{}", 0, 1), "b c");
  EXPECT_EQ(users("{}", 1, 2), "c");
  EXPECT_EQ(users("{}", 5, 3), "");
}

TEST_F(Users, ServerThatForbidsTheCollectionIsAskedByCommand) {
  server.script("find", {refusal(13, "not authorized on admin")});
  server.script("usersInfo", {answer(R"({"ok": 1, "users": [{"user": "anna"}]})")});
  EXPECT_EQ(users(), "anna");
}

TEST_F(Users, WhoeverMayAskNeitherWayIsRefused) {
  server.script("find", {refusal(13, "not authorized on admin")});
  server.script("usersInfo", {refusal(13, "not authorized on admin")});
  EXPECT_EQ(users(), "authorization 13");
}

TEST_F(Users, OrdinaryUserMayAskForItself) {
  connectAsSomebody();
  server.script("find", {refusal(13, "not authorized on admin")});
  server.script("usersInfo",
                {refusal(13, "not authorized on admin"), answer(R"({"ok": 1, "users": [{"user": "anna"}]})")});
  EXPECT_EQ(users(R"({"user": "anna"})"), "anna");
  EXPECT_THAT(sent("usersInfo"), StartsWith(R"({ "usersInfo" : { "user" : "anna", "db" : "$external" })"));
}

TEST_F(Users, OrdinaryUserMayNotAskForOthers) {
  connectAsSomebody();
  server.script("find", {refusal(13, "not authorized on admin")});
  server.script("usersInfo", {refusal(13, "not authorized on admin")});
  EXPECT_EQ(users(R"({"user": "ben"})"), "authorization 13");
}

TEST_F(Users, SetUpBringsWhatIsMissing) {
  connectAsSomebody();
  EXPECT_EQ(setUp(wholePlan()),
            "administrator admin: done; role changeOwnPasswordCustomDataRole on databaseManager: done; "
            "index on experiment.records (a.name, a.value): done");
  EXPECT_THAT(
      sent("createUser"),
      HasSubstr(R"("createUser" : "admin", "pwd" : "secret", "roles" : [ { "role" : "root", "db" : "admin" } ])"));
}

TEST_F(Users, SetUpGivesTheRoleItsTwoRights) {
  setUp({});
  EXPECT_THAT(sent("createRole"),
              HasSubstr(R"("createRole" : "changeOwnPasswordCustomDataRole", "privileges" : [ { "resource" : { )"
                        R"("db" : "databaseManager", "collection" : "" }, "actions" : [ "changeOwnCustomData", )"
                        R"("changeOwnPassword" ] } ], "roles" : [  ])"));
  EXPECT_EQ(server.received("createRole").back().database, "databaseManager");
}

TEST_F(Users, SetUpMakesIndexes) {
  DeploymentPlan plan;
  plan.indexes.push_back({"experiment", "records", {"a.name", "a.value"}, true});
  setUp(plan);
  EXPECT_THAT(
      sent("createIndexes"),
      StartsWith(R"({ "createIndexes" : "records", "indexes" : [ { "key" : { "a.name" : { "$numberInt" : "1" }, )"
                 R"("a.value" : { "$numberInt" : "1" } }, "name" : "a.name_1_a.value_1", "unique" : true } ])"));
}

TEST_F(Users, SetUpLeavesAloneWhatIsThere) {
  server.script("usersInfo", {answer(R"({"ok": 1, "users": [{"user": "admin"}]})")});
  server.script("rolesInfo", {answer(R"({"ok": 1, "roles": [{"role": "changeOwnPasswordCustomDataRole"}]})")});
  server.script("listIndexes",
                {batch(R"({"key": {"_id": 1}}, {"key": {"a.name": 1.0, "a.value": 1}, "name": "mine"})")});
  EXPECT_EQ(setUp(wholePlan()),
            "administrator admin: there; role changeOwnPasswordCustomDataRole on databaseManager: there; "
            "index on experiment.records (a.name, a.value): there");
  EXPECT_EQ(timesSent("createUser") + timesSent("createRole") + timesSent("createIndexes"), 0U);
}

TEST_F(Users, IndexOnOtherKeysIsAnotherIndex) {
  server.script("listIndexes", {batch(R"({"key": {"a.value": 1, "a.name": 1}}, {"key": {"a.name": -1, "a.value": 1}},
      {"key": {"a.name": "text", "a.value": 1}}, {"key": {"a.name": 1}})")});
  connectAsSomebody();
  setUp(wholePlan());
  EXPECT_EQ(timesSent("createIndexes"), 1U);
}

TEST_F(Users, SetUpOfAnUnprotectedServerGoesOnAsTheNewAdministrator) {
  EXPECT_EQ(setUp(wholePlan()), "authentication");  // the scripted server knows no login
  EXPECT_EQ(timesSent("createUser"), 1U);
  EXPECT_EQ(timesSent("createRole"), 0U);
}

TEST_F(Users, SetUpThatIsOnlyPlannedChangesNothing) {
  DeploymentPlan plan = wholePlan();
  plan.dryRun = true;
  EXPECT_EQ(setUp(plan),
            "administrator admin: planned; role changeOwnPasswordCustomDataRole on databaseManager: planned; "
            "index on experiment.records (a.name, a.value): planned");
  EXPECT_EQ(timesSent("createUser") + timesSent("createRole") + timesSent("createIndexes"), 0U);
}

TEST_F(Users, SetUpWithoutAPasswordLeavesTheAdministratorAlone) {
  EXPECT_EQ(setUp({}), "role changeOwnPasswordCustomDataRole on databaseManager: done");
  EXPECT_EQ(timesSent("usersInfo") + timesSent("createUser"), 0U);
}

TEST_F(Users, RoleThatSomebodyElseMadeMeanwhileIsThere) {
  server.script("createRole", {refusal(51002, "Role already exists")});
  EXPECT_EQ(setUp({}), "role changeOwnPasswordCustomDataRole on databaseManager: there");
}

TEST_F(Users, CollectionThatIsNotThereYetHasNoIndexes) {
  server.script("listIndexes", {refusal(26, "ns does not exist")});
  DeploymentPlan plan = wholePlan();
  plan.administratorPassword.clear();
  EXPECT_THAT(setUp(plan), HasSubstr("(a.name, a.value): done"));
}

}  // namespace
}  // namespace database_client
