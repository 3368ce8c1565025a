// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/client/embedded/support/EngineFixture.h"

namespace database_client {
namespace {

constexpr const char* ownData = R"({"role": "changeOwnPasswordCustomDataRole", "db": "databaseManager"})";

class EmbeddedUsers : public ::testing::Test {
 protected:
  static std::string create(Client& client, const std::string& user, const std::string& password = "secret",
                            const std::string& roles = "{}", const std::string& customData = "{}",
                            const std::string& database = "databaseManager") {
    return Client::outcome([&] {
      client.engine->createUser(database, user, password, ObjectProperties::fromJson(roles),
                                ObjectProperties::fromJson(customData));
    });
  }
  static std::string modify(Client& client, const std::string& user, const std::string& roles,
                            const std::string& customData = "{}", const std::string& database = "databaseManager") {
    return Client::outcome([&] {
      client.engine->modifyUser(database, user, ObjectProperties::fromJson(roles),
                                ObjectProperties::fromJson(customData));
    });
  }
  static std::string changePassword(Client& client, const std::string& user, const std::string& password,
                                    const std::string& database = "databaseManager") {
    return Client::outcome([&] { client.engine->changePassword(database, user, password); });
  }
  static std::string drop(Client& client, const std::string& user, const std::string& database = "databaseManager") {
    return Client::outcome([&] { client.engine->dropUser(database, user); });
  }
  static std::string setUp(Client& client, const std::string& password = "", bool dryRun = false) {
    DeploymentPlan plan;
    plan.administratorPassword = password;
    plan.dryRun = dryRun;
    std::string steps;
    for (const DeploymentStep& step : client.engine->setUpDeployment(plan)) {
      const char* names[] = {"done", "there", "planned"};
      steps += step.what + ": " + names[static_cast<int>(step.state)] + "; ";
    }
    return steps;
  }
  static std::string users(Client& client, const std::string& query = "{}", const std::string& projection = "{}") {
    client.database = "admin";
    client.collection = "system.users";
    std::string found = client.find(query, projection);
    client.database = "test";
    client.collection = "things";
    return found;
  }
  std::string connect(const std::string& user, const std::string& password,
                      const std::string& database = "databaseManager") {
    return Client::outcome([&] { Client(path, database, user, password); });
  }

  TemporaryFolder folder{};
  std::string path = folder / "store";
  Client client{path};
};

TEST_F(EmbeddedUsers, AreAnAdministratorWithoutAPasswordInANewStore) {
  EXPECT_EQ(users(client), R"({"_id": "admin.admin", "user": "admin", "db": "admin", "customData": {}, )"
                           R"("roles": [{"role": "root", "db": "admin"}]})");
}

TEST_F(EmbeddedUsers, AreKeptAsAServerKeepsThem) {
  EXPECT_EQ(create(client, "ann", "secret", R"({"0": {"role": "read", "db": "experiment"}})", R"({"team": 5})"), "ok");
  EXPECT_EQ(users(client, R"({"user": "ann"})"),
            R"({"_id": "databaseManager.ann", "user": "ann", "db": "databaseManager", "customData": {"team": 5}, )"
            R"("roles": [{"role": "read", "db": "experiment"}]})");
}

TEST_F(EmbeddedUsers, KeepEmptyCustomDataAsAnEmptyGroup) {
  create(client, "ann");
  EXPECT_EQ(users(client, R"({"user": "ann"})", R"({"customData": true})"),
            R"({"_id": "databaseManager.ann", "customData": {}})");
}

TEST_F(EmbeddedUsers, CountAGrantOnceThatIsGivenTwice) {
  create(client, "ann", "secret",
         R"({"0": {"role": "read", "db": "a"}, "1": {"role": "read", "db": "b"}, "2": {"role": "read", "db": "a"}})");
  EXPECT_EQ(users(client, R"({"user": "ann"})", R"({"_id": false, "roles": true})"),
            R"({"roles": [{"role": "read", "db": "a"}, {"role": "read", "db": "b"}]})");
}

TEST_F(EmbeddedUsers, GiveTheirCredentialsToNobody) {
  create(client, "ann");
  client.database = "admin";
  client.collection = "system.users";
  for (const std::string& answer : {client.all(), client.find("{}", R"({"credentials": true})"),
                                    client.find(R"({"credentials.SCRAM-SHA-256.iterationCount": {"$gt": 0}})"),
                                    client.find(R"({"_id": "databaseManager.ann"})")}) {
    EXPECT_EQ(answer.find("SCRAM"), std::string::npos) << answer;
    EXPECT_EQ(answer.find("Key"), std::string::npos) << answer;
  }
  EXPECT_EQ(client.count(R"({"credentials": {"$exists": true}})"), "0");
}

TEST_F(EmbeddedUsers, GiveTheirCredentialsToNoStageOfAnAggregation) {
  create(client, "ann");
  client.database = "admin";
  client.collection = "system.users";
  EXPECT_EQ(client.aggregate(R"([{"$match": {"credentials": {"$exists": true}}}])"), "");
  EXPECT_EQ(client.aggregate(R"([{"$group": {"_id": "$credentials.SCRAM-SHA-256.storedKey"}}])"), R"({"_id": null})");
  EXPECT_EQ(client.aggregate(R"([{"$match": {"user": "ann"}}, {"$project": {"whole": "$$ROOT"}}])"),
            R"({"_id": "databaseManager.ann", "whole": {"_id": "databaseManager.ann", "user": "ann", )"
            R"("db": "databaseManager", "customData": {}, "roles": []}})");
}

TEST_F(EmbeddedUsers, AreNotWrittenLikeDocuments) {
  client.database = "admin";
  for (const char* name : {"system.users", "system.roles"}) {
    client.collection = name;
    EXPECT_EQ(client.insert(R"({"_id": "x"})"), "authorization 13");
    EXPECT_EQ(client.update("{}", R"({"a": 1})", UpdateKind::setInAll, true), "authorization 13");
    EXPECT_EQ(client.remove("{}"), "authorization 13");
  }
  EXPECT_NE(users(client), "");
}

TEST_F(EmbeddedUsers, AreRefusedUnderANameThatIsTaken) {
  create(client, "ann");
  EXPECT_EQ(create(client, "ann"), "server 51003");
  EXPECT_EQ(create(client, "ann", "secret", "{}", "{}", "elsewhere"), "ok");
}

TEST_F(EmbeddedUsers, AreRefusedWithoutAPassword) {
  EXPECT_EQ(create(client, "ann", ""), "server 50687");
  create(client, "ann");
  EXPECT_EQ(changePassword(client, "ann", ""), "server 50687");
  EXPECT_EQ(changePassword(client, "admin", "", "admin"), "server 50687");
  EXPECT_EQ(create(client, "bob", "\u00AD\u2060"), "server 50687");
  EXPECT_EQ(connect("ann", "secret"), "ok");
}

TEST_F(EmbeddedUsers, ThatAreNotThereCannotBeChanged) {
  EXPECT_EQ(modify(client, "bob", "{}"), "server 11");
  EXPECT_EQ(changePassword(client, "bob", "x"), "server 11");
  EXPECT_EQ(drop(client, "bob"), "server 11");
}

TEST_F(EmbeddedUsers, GetOnlyRolesThatTheStoreKnows) {
  EXPECT_EQ(create(client, "ann", "x", R"({"0": {"role": "baker", "db": "a"}})"), "server 31");
  EXPECT_EQ(create(client, "ann", "x", R"({"0": {"role": "root", "db": "a"}})"), "server 31");
  for (const char* roles : {R"({"0": {"role": "read", "db": ""}})", R"({"0": {"role": "read", "db": "a.b"}})",
                            R"({"0": {"role": "", "db": "a"}})"}) {
    EXPECT_EQ(create(client, "ann", "x", roles), "server 31") << roles;
  }
  EXPECT_EQ(create(client, "ann", "x", R"({"0": {"role": "root", "db": "admin"}})"), "ok");
  EXPECT_EQ(modify(client, "ann", R"({"0": {"role": "baker", "db": "a"}})"), "server 31");
}

TEST_F(EmbeddedUsers, GetTheRoleForTheirOwnDataWithoutSettingUp) {
  const std::string roles = std::string(R"({"0": )") + ownData + "}";
  EXPECT_EQ(create(client, "ann", "x", roles), "ok");
  EXPECT_EQ(create(client, "bob"), "ok");
  EXPECT_EQ(modify(client, "bob", roles), "ok");
  EXPECT_EQ(setUp(client), "role changeOwnPasswordCustomDataRole on databaseManager: there; ");
}

TEST_F(EmbeddedUsers, GetTheRoleForTheirOwnDataFromSettingUpToo) {
  EXPECT_EQ(setUp(client), "role changeOwnPasswordCustomDataRole on databaseManager: done; ");
  EXPECT_EQ(create(client, "ann", "x", std::string(R"({"0": )") + ownData + "}"), "ok");
}

TEST_F(EmbeddedUsers, HaveTheirStoreSetUpRepeatedly) {
  EXPECT_EQ(setUp(client, "top", true),
            "role changeOwnPasswordCustomDataRole on databaseManager: planned; administrator admin: planned; ");
  EXPECT_EQ(setUp(client, "top"),
            "role changeOwnPasswordCustomDataRole on databaseManager: done; administrator admin: done; ");
  Client administrator(path, "admin", "admin", "top");
  EXPECT_EQ(setUp(administrator, "other"),
            "role changeOwnPasswordCustomDataRole on databaseManager: there; administrator admin: there; ");
  EXPECT_EQ(connect("admin", "top", "admin"), "ok");
}

TEST_F(EmbeddedUsers, GetNewRolesAndCustomDataInThePlaceOfTheOld) {
  create(client, "ann", "x", R"({"0": {"role": "read", "db": "a"}})", R"({"a": 1})");
  EXPECT_EQ(modify(client, "ann", R"({"0": {"role": "readWrite", "db": "b"}})", R"({"b": 2})"), "ok");
  EXPECT_EQ(users(client, R"({"user": "ann"})", R"({"_id": false, "roles": true, "customData": true})"),
            R"({"customData": {"b": 2}, "roles": [{"role": "readWrite", "db": "b"}]})");
  EXPECT_EQ(connect("ann", "x"), "ok");
}

TEST_F(EmbeddedUsers, AreRemoved) {
  create(client, "ann");
  EXPECT_EQ(drop(client, "ann"), "ok");
  EXPECT_EQ(users(client, R"({"user": "ann"})"), "");
  EXPECT_EQ(connect("ann", "secret"), "authentication 18");
}

TEST_F(EmbeddedUsers, CannotLoseTheirAdministrator) {
  EXPECT_EQ(drop(client, "admin", "admin"), "server 20");
  EXPECT_EQ(modify(client, "admin", "{}", "{}", "admin"), "server 20");
}

TEST_F(EmbeddedUsers, AreLookedForInTheirDatabase) {
  create(client, "ann");
  EXPECT_EQ(connect("ann", "secret"), "ok");
  EXPECT_EQ(connect("ann", "secret", "admin"), "authentication 18");
  EXPECT_EQ(connect("ann", "secret", "test"), "authentication 18");
}

TEST_F(EmbeddedUsers, WithADotAreNotThoseOfADatabaseWithADot) {
  create(client, "ann.lee");
  EXPECT_EQ(connect("ann.lee", "secret"), "ok");
  EXPECT_EQ(connect("lee", "secret", "databaseManager.ann"), "authentication 18");
}

TEST_F(EmbeddedUsers, AreLookedForInAdminWhenNoDatabaseIsGiven) {
  setUp(client, "top");
  EXPECT_EQ(connect("admin", "top", ""), "ok");
  EXPECT_EQ(connect("admin", "other", ""), "authentication 18");
}

TEST_F(EmbeddedUsers, AreRefusedWithOneTextWhateverIsWrong) {
  create(client, "ann");
  const auto text = [this](const std::string& user, const std::string& password) {
    try {
      const Client known(path, "databaseManager", user, password);
      return std::string("connected");
    } catch (const Error& error) {
      return std::string(error.what());
    }
  };
  EXPECT_EQ(text("ann", "canary"),
            "user \"ann\" of \"databaseManager\" cannot be authenticated: no such user, or another password");
  EXPECT_EQ(text("bob", "canary"),
            "user \"bob\" of \"databaseManager\" cannot be authenticated: no such user, or another password");
}

TEST_F(EmbeddedUsers, CannotBeTheAdministratorWithoutAPassword) {
  EXPECT_EQ(connect("admin", "x", "admin"), "authentication 18");
  EXPECT_EQ(connect("admin", "", "admin"), "authentication 18");
}

TEST_F(EmbeddedUsers, HavePasswordsWithAnyCharacters) {
  const std::string kilobyte(1024, 'p');
  for (const std::string& password :
       {std::string("@:/?#[]% +'\"\\$"), std::string("p\xc3\xa4ssw\xc3\xb6rt \xe2\x82\xac"),
        std::string("\xf0\x9f\x94\x91"), kilobyte}) {
    ASSERT_EQ(create(client, "u" + password, password), "ok") << password;
    EXPECT_EQ(connect("u" + password, password), "ok") << password;
    EXPECT_EQ(connect("u" + password, password + "x"), "authentication 18") << password;
  }
}

TEST_F(EmbeddedUsers, MayWriteAPasswordInEitherOfItsUnicodeForms) {
  create(client, "ann", "p\xc3\xa4ss");
  EXPECT_EQ(connect("ann", "pa\xcc\x88ss"), "ok");
}

TEST_F(EmbeddedUsers, HaveNoPasswordsWithControlCharacters) {
  EXPECT_EQ(create(client, "ann", "a\x01z"), "query 2");
  EXPECT_EQ(connect("ann", "a\x01z"), "authentication 18");
}

TEST_F(EmbeddedUsers, LeaveNoPasswordInTheFiles) {
  setUp(client, "canary-administrator");
  Client administrator(path, "admin", "admin", "canary-administrator");
  create(administrator, "ann", "canary-one");
  changePassword(administrator, "ann", "canary-two");
  EXPECT_EQ(connect("ann", "canary-three"), "authentication 18");
  for (const char* side : {"", "-wal", "-shm"}) {
    ASSERT_TRUE(isThere(path + side));
    EXPECT_EQ(contentOf(path + side).find("canary"), std::string::npos) << side;
  }
}

TEST_F(EmbeddedUsers, AreControlledFromTheAdministratorsPasswordOn) {
  EXPECT_EQ(client.insert(R"({"_id": 1})"), "ok");
  EXPECT_EQ(changePassword(client, "admin", "top", "admin"), "ok");
  EXPECT_EQ(client.insert(R"({"_id": 2})"), "authorization 13");
  EXPECT_EQ(client.find("{}"), "authorization 13");
  EXPECT_EQ(connect("admin", "other", "admin"), "authentication 18");
  Client administrator(path, "admin", "admin", "top");
  EXPECT_EQ(administrator.insert(R"({"_id": 3})"), "ok");
  EXPECT_EQ(administrator.count("{}"), "2");
}

TEST_F(EmbeddedUsers, OfOtherClientsAreControlledToo) {
  Client other(path);
  EXPECT_EQ(other.count("{}"), "0");
  changePassword(client, "admin", "top", "admin");
  EXPECT_EQ(other.count("{}"), "authorization 13");
}

TEST_F(EmbeddedUsers, LoseARightWhileTheyAreConnected) {
  setUp(client, "top");
  Client administrator(path, "admin", "admin", "top");
  create(administrator, "ann", "x", R"({"0": {"role": "read", "db": "test"}})");
  Client ann(path, "databaseManager", "ann", "x");
  EXPECT_EQ(ann.count("{}"), "0");
  modify(administrator, "ann", "{}");
  EXPECT_EQ(ann.count("{}"), "authorization 13");
  drop(administrator, "ann");
  EXPECT_EQ(ann.count("{}"), "authorization 13");
}

TEST_F(EmbeddedUsers, AreNobodyOnceTheyAreRemovedWhileTheyAreConnected) {
  setUp(client, "top");
  Client administrator(path, "admin", "admin", "top");
  create(administrator, "ann");
  Client ann(path, "databaseManager", "ann", "secret");
  EXPECT_NE(users(ann, R"({"user": "ann"})"), "authorization 13");
  drop(administrator, "ann");
  EXPECT_EQ(users(ann, R"({"user": "ann"})"), "authorization 13");
  EXPECT_EQ(Client::outcome([&] { ann.engine->databaseNames(); }), "authorization 13");
  EXPECT_EQ(changePassword(ann, "ann", "new"), "authorization 13");
}

TEST_F(EmbeddedUsers, AreNotThoseOfTheSameNameWhoComeLater) {
  setUp(client, "top");
  Client administrator(path, "admin", "admin", "top");
  create(administrator, "ann");
  Client ann(path, "databaseManager", "ann", "secret");
  drop(administrator, "ann");
  create(administrator, "ann", "other", R"({"0": {"role": "root", "db": "admin"}})");
  EXPECT_EQ(ann.count("{}"), "authorization 13");
  EXPECT_EQ(users(ann, R"({"user": "ann"})"), "authorization 13");
  Client later(path, "databaseManager", "ann", "other");
  EXPECT_EQ(later.count("{}"), "0");
}

TEST_F(EmbeddedUsers, SeeThemselvesWhenTheyAskForThemselvesAndNothingElse) {
  setUp(client, "top");
  Client administrator(path, "admin", "admin", "top");
  create(administrator, "ann");
  Client ann(path, "databaseManager", "ann", "secret");
  EXPECT_NE(users(ann, R"({"user": "ann"})"), "authorization 13");
  for (const char* query : {"{}", R"({"user": "admin"})", R"({"user": {"$ne": "bob"}})", R"({"user": null})",
                            R"({"_id": "databaseManager.ann"})", R"({"user": "ann", "db": "databaseManager"})"}) {
    EXPECT_EQ(users(ann, query), "authorization 13") << query;
  }
  ObjectProperties nested = ObjectProperties::fromJson(R"({"a": {"user": "ann"}})");
  const Group inside(nested, "a");
  const ObjectProperties none;
  EXPECT_EQ(
      Client::outcome([&] {
        ann.engine->find({"admin", "system.users"}, {nested, none, 0, 0}, [](ObjectProperties&&) { return true; });
      }),
      "authorization 13");
}

TEST_F(EmbeddedUsers, StayConnectedWhenTheirPasswordIsChanged) {
  setUp(client, "top");
  Client administrator(path, "admin", "admin", "top");
  create(administrator, "ann", "secret", R"({"0": {"role": "read", "db": "test"}})");
  Client ann(path, "databaseManager", "ann", "secret");
  changePassword(administrator, "ann", "new");
  EXPECT_EQ(ann.count("{}"), "0");
  EXPECT_EQ(connect("ann", "secret") + ", " + connect("ann", "new"), "authentication 18, ok");
}

TEST_F(EmbeddedUsers, AreNotReachedByAggregations) {
  setUp(client, "top");
  Client administrator(path, "admin", "admin", "top");
  create(administrator, "ann", "secret",
         R"({"0": {"role": "readWrite", "db": "admin"}, "1": {"role": "readWrite", "db": "test"}})");
  Client ann(path, "databaseManager", "ann", "secret");
  for (const char* stage :
       {R"({"$lookup": {"from": "system.users", "localField": "a", "foreignField": "b", "as": "c"}})",
        R"({"$unionWith": "system.users"})", R"({"$out": {"db": "admin", "coll": "system.users"}})",
        R"({"$merge": {"into": {"db": "admin", "coll": "system.users"}}})"}) {
    EXPECT_EQ(ann.aggregate("[" + std::string(stage) + "]"), "unsupported 0") << stage;
  }
  for (const char* name : {"system.users", "system.roles"}) {
    ann.database = "admin";
    ann.collection = name;
    EXPECT_EQ(ann.aggregate("[]"), "authorization 13") << name;
    EXPECT_EQ(ann.find("{}"), "authorization 13") << name;
    EXPECT_EQ(ann.count("{}"), "authorization 13") << name;
  }
}

TEST_F(EmbeddedUsers, KeepControlWhenAChangeIsRolledBack) {
  setUp(client, "top");
  Client administrator(path, "admin", "admin", "top");
  administrator.engine->beginTransaction();
  EXPECT_EQ(create(administrator, "ann", "x", R"({"0": {"role": "readWrite", "db": "test"}})"), "ok");
  administrator.engine->rollbackTransaction();
  EXPECT_EQ(connect("ann", "x"), "authentication 18");
  EXPECT_EQ(administrator.insert(R"({"_id": 1})"), "ok");
}

TEST_F(EmbeddedUsers, SeeTheDatabasesThatTheyMayRead) {
  client.insert(R"({"_id": 1})");
  client.database = "other";
  client.insert(R"({"_id": 1})");
  setUp(client, "top");
  Client administrator(path, "admin", "admin", "top");
  create(administrator, "ann", "x", R"({"0": {"role": "read", "db": "other"}})");
  Client ann(path, "databaseManager", "ann", "x");
  EXPECT_EQ(ann.engine->databaseNames(), std::list<std::string>{"other"});
  EXPECT_EQ(administrator.engine->databaseNames(), (std::list<std::string>{"admin", "other", "test"}));
  EXPECT_EQ(Client::outcome([this] { client.engine->databaseNames(); }), "authorization 13");
}

/// Which role may do what, in a store whose access is controlled.
class EmbeddedRights : public EmbeddedUsers {
 protected:
  /// One store is made, and each test uses a copy.
  static void SetUpTestSuite() {
    prepared = new TemporaryFolder;
    Client open(*prepared / "store");
    open.insert(R"({"_id": 1})");
    setUp(open, "top");
    Client administrator(*prepared / "store", "admin", "admin", "top");
    create(administrator, "other", "x");
    create(administrator, "reader", "x", R"({"0": {"role": "read", "db": "test"}})");
    create(administrator, "writer", "x", R"({"0": {"role": "readWrite", "db": "test"}})");
    create(administrator, "foreign", "x", R"({"0": {"role": "readWrite", "db": "elsewhere"}})");
    create(administrator, "own", "x", std::string(R"({"0": )") + ownData + "}");
    create(administrator, "keeper", "x", R"({"0": {"role": "userAdmin", "db": "databaseManager"}})");
    create(administrator, "everywhere", "x", R"({"0": {"role": "readAnyDatabase", "db": "admin"}})");
    create(administrator, "roleless", "x");
  }
  static void TearDownTestSuite() { delete prepared; }

  EmbeddedRights() {
    path = folder / "controlled";
    writeFile(path, contentOf(*prepared / "store"));
  }
  /// A mark for each operation: + where it is allowed, - where it is refused with 13.
  std::string row(const std::string& name) {
    Client who = name.empty()      ? Client(path)
                 : name == "admin" ? Client(path, "admin", "admin", "top")
                                   : Client(path, "databaseManager", name, "x");
    std::string marks;
    const auto mark = [&marks](const std::string& outcome) {
      marks += outcome == "authorization 13"                                 ? "-"
               : outcome.find(' ') == std::string::npos || outcome[0] == '{' ? "+"
                                                                             : "?";
    };
    Engine& engine = *who.engine;
    mark(who.find("{}"));
    mark(who.count("{}"));
    mark(Client::outcome([&] { engine.explain(who.where(), {}); }));
    mark(Client::outcome([&] { engine.collectionNames("test"); }));
    marks += " ";
    mark(who.insert(R"({"_id": ")" + name + R"("})"));
    mark(who.update(R"({"_id": ")" + name + R"("})", R"({"a": 1})", UpdateKind::setInAll));
    mark(who.remove(R"({"_id": ")" + name + R"("})"));
    marks += " ";
    mark(users(who, R"({"user": "other"})"));
    mark(create(who, "made by " + name));
    mark(modify(who, "other", "{}"));
    mark(changePassword(who, "other", "x"));
    mark(create(who, "raised by " + name, "x", R"({"0": {"role": "root", "db": "admin"}})"));
    marks += " ";
    mark(changePassword(who, name.empty() ? "own" : name, "x", name == "admin" ? "admin" : "databaseManager"));
    marks += " ";
    mark(Client::outcome([&] { engine.setUpDeployment({}); }));
    mark(Client::outcome([&] { engine.check(); }));
    mark(Client::outcome([&] { engine.backup(folder / "copy of " + name); }));
    mark(Client::outcome([&] { engine.compact(); }));
    return marks;
  }

  static TemporaryFolder* prepared;
};

TemporaryFolder* EmbeddedRights::prepared = nullptr;

// The columns: find, count, explain, list | insert, update, remove | users: list, create, modify, password, raise |
// own password | set up, check, backup, compact.
TEST_F(EmbeddedRights, OfNobody) {
  EXPECT_EQ(row(""), "---- --- ----- - ----");
}
TEST_F(EmbeddedRights, OfARolelessUser) {
  EXPECT_EQ(row("roleless"), "---- --- ----- - ----");
}
TEST_F(EmbeddedRights, OfAReader) {
  EXPECT_EQ(row("reader"), "++++ --- ----- - ----");
}
TEST_F(EmbeddedRights, OfAWriter) {
  EXPECT_EQ(row("writer"), "++++ +++ ----- - ----");
}
TEST_F(EmbeddedRights, OfAWriterElsewhere) {
  EXPECT_EQ(row("foreign"), "---- --- ----- - ----");
}
TEST_F(EmbeddedRights, OfAReaderOfEverything) {
  EXPECT_EQ(row("everywhere"), "++++ --- ----- - ----");
}
TEST_F(EmbeddedRights, OfAUserWithItsOwnData) {
  EXPECT_EQ(row("own"), "---- --- ----- + ----");
}
TEST_F(EmbeddedRights, OfAKeeperOfUsers) {
  EXPECT_EQ(row("keeper"), "---- --- -+++- + +---");
}
TEST_F(EmbeddedRights, OfTheAdministrator) {
  EXPECT_EQ(row("admin"), "++++ +++ +++++ + ++++");
}

TEST_F(EmbeddedRights, OverOwnCustomDataLeaveTheRolesAsTheyAre) {
  Client own(path, "databaseManager", "own", "x");
  const std::string roles = std::string(R"({"0": )") + ownData + "}";
  EXPECT_EQ(modify(own, "own", roles, R"({"a": 1})"), "ok");
  EXPECT_EQ(modify(own, "own", "{}", R"({"a": 1})"), "authorization 13");
  EXPECT_EQ(modify(own, "own", R"({"0": {"role": "root", "db": "admin"}})"), "authorization 13");
  EXPECT_EQ(modify(own, "other", "{}", R"({"a": 1})"), "authorization 13");
  EXPECT_EQ(changePassword(own, "other", "y"), "authorization 13");
  EXPECT_EQ(changePassword(own, "own", "y"), "ok");
  EXPECT_EQ(connect("own", "y") + " " + connect("own", "x"), "ok authentication 18");
}

TEST_F(EmbeddedRights, AreToldWithTheUserTheOperationAndItsTarget) {
  Client reader(path, "databaseManager", "reader", "x");
  try {
    reader.engine->insert(reader.where(), ObjectProperties::fromJson(R"({"_id": 5})"));
    FAIL() << "a reader may not write";
  } catch (const Error& error) {
    EXPECT_EQ(std::string(error.what()),
              "user \"reader\" of \"databaseManager\" has no right to insert on test.things");
    EXPECT_EQ(error.where(), "test.things");
  }
}

TEST_F(EmbeddedUsers, WithoutARightToChangeAnythingBeginNoTransaction) {
  create(client, "reader", "secret", R"({"0": {"role": "read", "db": "test"}})");
  create(client, "own", "secret", std::string("{\"0\": ") + ownData + "}");
  create(client, "writer", "secret", R"({"0": {"role": "readWrite", "db": "test"}})");
  create(client, "clerk", "secret", R"({"0": {"role": "userAdmin", "db": "databaseManager"}})");
  setUp(client, "top");
  const auto begin = [](Client& who) { return Client::outcome([&who] { who.engine->beginTransaction(); }); };
  Client reader(path + "?timeout=0", "databaseManager", "reader", "secret");
  Client nobody(path + "?timeout=0");
  Client own(path + "?timeout=0", "databaseManager", "own", "secret");
  EXPECT_EQ(begin(reader) + begin(own) + begin(nobody), "authorization 13authorization 13authorization 13");
  for (const char* user : {"writer", "clerk"}) {
    Client other(path, "databaseManager", user, "secret");
    EXPECT_EQ(begin(other), "ok") << user;
    EXPECT_EQ(begin(reader), "authorization 13");
    other.engine->rollbackTransaction();
  }
  Client administrator(path, "admin", "admin", "top");
  EXPECT_EQ(begin(administrator), "ok");
}

}  // namespace
}  // namespace database_client
