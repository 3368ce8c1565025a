// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <list>
#include <memory>
#include <string>

#include "tests/contract/Contract.h"

namespace database_test {

using database_client::DataBaseClient;
using database_client::ObjectProperties;

namespace {

/// Users of the client, on engines that have any.
class UsersContract : public StoreContract {
 protected:
  void SetUp() override {
    StoreContract::SetUp();
    if (!IsSkipped() && !hasUsers(engine())) GTEST_SKIP() << engine() << " has no command for users";
  }

  std::string created(const std::string& user, const std::string& password, const std::string& roles = "{}",
                      const std::string& customData = "{}") {
    return outcome(
        [&] { client.createUser("databaseManager", user, password, document(roles), document(customData)); });
  }
  std::string modified(const std::string& user, const std::string& roles, const std::string& customData = "{}") {
    return outcome([&] { client.modifyUser("databaseManager", user, document(roles), document(customData)); });
  }
  std::string dropped(const std::string& user) {
    return outcome([&] { client.dropUser("databaseManager", user); });
  }
  /// Whether this user and password open a connection.
  bool opens(const std::string& user, const std::string& password) {
    DataBaseClient other;
    return other.connect("databaseManager", address().host, address().port, user, password);
  }
  /// What the store keeps of a user.
  std::unique_ptr<ObjectProperties> kept(const std::string& user) {
    ObjectProperties query;
    query.setValueString("user", user);
    std::list<ObjectProperties*> list;
    client.find("admin", "system.users", query, ObjectProperties{}, list, 0, 0);
    std::unique_ptr<ObjectProperties> first;
    for (ObjectProperties* one : list) first.reset(one);
    return first;
  }
};

const char* const readExperiment = "{'0':{'role':'read','db':'experiment'}}";

}  // namespace

TEST_P(UsersContract, AUserOpensAConnectionWithThePassword) {
  EXPECT_EQ(created("anna", "secret", readExperiment), "ok");
  EXPECT_TRUE(opens("anna", "secret"));
  EXPECT_FALSE(opens("anna", "wrong"));
  EXPECT_FALSE(opens("nobody", "secret"));
}

TEST_P(UsersContract, ANamedUserWithAnEmptyPasswordIsRefused) {
  EXPECT_EQ(created("anna", "secret"), "ok");
  EXPECT_FALSE(opens("anna", ""));
}

TEST_P(UsersContract, NamesAndPasswordsMayHoldAnyText) {
  const std::string name = "ä@:/?#[]%+ b";
  const std::string password = "pä@:/?#[]%+ $" + std::string(1000, 'x');
  EXPECT_EQ(created(name, password), "ok");
  EXPECT_TRUE(opens(name, password));
}

TEST_P(UsersContract, NamesMayHoldWhatSeparatesThePartsOfALogin) {
  for (const char* name : {"a,b", "a=b", "=2C", ",="}) {
    EXPECT_EQ(created(name, "secret"), "ok") << name;
    EXPECT_TRUE(opens(name, "secret")) << name;
  }
}

TEST_P(UsersContract, AUserOfNoDatabaseIsLookedForInAdmin) {
  client.createUser("admin", "anna", "secret", {}, {});
  EXPECT_EQ(created("zoe", "secret"), "ok");
  DataBaseClient other;
  EXPECT_TRUE(other.connect("", address().host, address().port, "anna", "secret")) << other.failure();
  EXPECT_FALSE(other.connect("", address().host, address().port, "anna", "wrong"));
  EXPECT_FALSE(other.connect("", address().host, address().port, "zoe", "secret"));
  client.dropUser("admin", "anna");
}

TEST_P(UsersContract, AnEmptyPasswordIsToldByItsCode) {
  EXPECT_EQ(created("anna", ""), "error 50687");
  EXPECT_EQ(created("anna", "secret"), "ok");
  EXPECT_EQ(outcome([&] { client.changePassword("databaseManager", "anna", ""); }), "error 50687");
}

TEST_P(UsersContract, APasswordOfCharactersThatDoNotCountIsEmpty) {
  const std::string softHyphen = "\u00AD";
  const std::string invisible = softHyphen + "\u2060\uFEFF";
  for (const std::string& password : {softHyphen, invisible}) {
    EXPECT_EQ(created("anna", password), "error 50687");
    EXPECT_FALSE(opens("anna", password));
  }
  EXPECT_EQ(created("anna", "secret"), "ok");
  EXPECT_EQ(outcome([&] { client.changePassword("databaseManager", "anna", invisible); }), "error 50687");
  EXPECT_TRUE(opens("anna", "secret"));
}

TEST_P(UsersContract, AUserIsCreatedOnce) {
  EXPECT_EQ(created("anna", "secret"), "ok");
  EXPECT_EQ(created("anna", "other"), "error 51003");
  EXPECT_TRUE(opens("anna", "secret"));
}

TEST_P(UsersContract, AnUnknownRoleIsRefused) {
  EXPECT_EQ(created("anna", "secret", "{'0':{'role':'nope','db':'experiment'}}"), "error 31");
  EXPECT_EQ(kept("anna"), nullptr);
}

TEST_P(UsersContract, AnEmptyPasswordIsRefused) {
  EXPECT_NE(created("anna", ""), "ok");
  EXPECT_EQ(kept("anna"), nullptr);
}

TEST_P(UsersContract, TheRolesOfAUserAreKept) {
  EXPECT_EQ(created("anna", "secret", readExperiment), "ok");
  const std::unique_ptr<ObjectProperties> user = kept("anna");
  ASSERT_NE(user, nullptr);
  ObjectProperties roles;
  roles.copyValue("roles", *user, "roles");
  EXPECT_EQ(text(roles), "{'roles':[{'role':'read','db':'experiment'}]}");
}

TEST_P(UsersContract, TheCustomDataOfAUserIsKept) {
  EXPECT_EQ(created("anna", "secret", readExperiment, "{'phone':'123','deep':{'x':1}}"), "ok");
  const std::unique_ptr<ObjectProperties> user = kept("anna");
  ASSERT_NE(user, nullptr);
  ObjectProperties data;
  data.copyValue("customData", *user, "customData");
  EXPECT_EQ(text(data), "{'customData':{'phone':'123','deep':{'x':1}}}");
}

TEST_P(UsersContract, ReadingUsersGivesNoCredentials) {
  EXPECT_EQ(created("anna", "secret"), "ok");
  const std::unique_ptr<ObjectProperties> user = kept("anna");
  ASSERT_NE(user, nullptr);
  EXPECT_FALSE(user->contains("credentials"));
  EXPECT_EQ(user->toJson().find("storedKey"), std::string::npos);
}

TEST_P(UsersContract, ModifyingAUserReplacesTheRoles) {
  EXPECT_EQ(created("anna", "secret", readExperiment), "ok");
  EXPECT_EQ(modified("anna", "{'0':{'role':'readWrite','db':'base'}}"), "ok");
  ObjectProperties roles;
  roles.copyValue("roles", *kept("anna"), "roles");
  EXPECT_EQ(text(roles), "{'roles':[{'role':'readWrite','db':'base'}]}");
  EXPECT_TRUE(opens("anna", "secret"));
}

TEST_P(UsersContract, AnUnknownUserCannotBeChangedOrDropped) {
  EXPECT_EQ(modified("nobody", readExperiment), "error 11");
  EXPECT_EQ(outcome([&] { client.changePassword("databaseManager", "nobody", "x"); }), "error 11");
  EXPECT_EQ(dropped("nobody"), "error 11");
}

TEST_P(UsersContract, AChangedPasswordReplacesTheOldOne) {
  EXPECT_EQ(created("anna", "secret"), "ok");
  EXPECT_EQ(outcome([&] { client.changePassword("databaseManager", "anna", "new"); }), "ok");
  EXPECT_TRUE(opens("anna", "new"));
  EXPECT_FALSE(opens("anna", "secret"));
}

TEST_P(UsersContract, ADroppedUserIsGone) {
  EXPECT_EQ(created("anna", "secret"), "ok");
  EXPECT_EQ(dropped("anna"), "ok");
  EXPECT_FALSE(opens("anna", "secret"));
  EXPECT_EQ(kept("anna"), nullptr);
}

TEST_P(UsersContract, SettingUpADeploymentMayBeRepeated) {
  for (const auto& step : client.setUpDeployment({})) {
    EXPECT_EQ(step.state, database_client::DeploymentStep::State::alreadyThere) << step.what;
  }
}

TEST_P(UsersContract, AnIndexOfASetUpIsMadeOnceAndUsed) {
  database_client::DeploymentPlan plan;
  plan.indexes.push_back({"experiment", "contract", {"source.host", "source.type"}});
  client.setUpDeployment(plan);
  for (const auto& step : client.setUpDeployment(plan)) {
    EXPECT_EQ(step.state, database_client::DeploymentStep::State::alreadyThere) << step.what;
  }
  if (engine().rfind("embedded", 0) == 0) return;  // it has an index of its own, over the items of arrays
  given({"{'_id':1,'source':{'host':'a','type':1}}", "{'_id':2,'source':{'host':'b','type':1}}"});
  const ObjectProperties told =
      client.explain("experiment", "contract", document("{'source.host':'a','source.type':1}"));
  EXPECT_EQ(told.valueAsString("index", ""), "source.host_1_source.type_1");
  EXPECT_EQ(told.valueAsInt64("examined", -1), 1);
}

TEST_P(UsersContract, TheRoleOfEveryUserIsThereAfterSettingUp) {
  EXPECT_EQ(created("anna", "secret", "{'0':{'role':'changeOwnPasswordCustomDataRole','db':'databaseManager'}}"), "ok");
}

INSTANTIATE_TEST_SUITE_P(Engines, UsersContract, ::testing::ValuesIn(engineNames()), engineName);

}  // namespace database_test
