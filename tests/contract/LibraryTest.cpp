// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <list>
#include <map>
#include <memory>
#include <string>

#include "database_provider/database_provider.h"
#include "tests/contract/Contract.h"

namespace database_test {

using namespace database_provider;  // the tests of the library read like a program that uses it
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

namespace {

/// The record library, made by its factories, on every engine.
class LibraryContract : public StoreContract {
 protected:
  void SetUp() override {
    StoreContract::SetUp();
    if (!IsSkipped()) experiments->setDatabaseClient(&client);
  }

  static std::unique_ptr<ExperimentDatabaseRecordInterface> newRecord() {
    return std::unique_ptr<ExperimentDatabaseRecordInterface>(createExperimentDatabaseRecord());
  }
  std::string written(const std::map<std::string, std::string>& categories) {
    const auto record = newRecord();
    for (const auto& [name, value] : categories) record->setCategory(name, value);
    std::string id;
    EXPECT_TRUE(experiments->writeRecord(record.get(), id));
    return id;
  }
  std::unique_ptr<ExperimentDatabaseRecordInterface> read(const std::string& id) {
    auto record = newRecord();
    experiments->readRecord(record.get(), id);
    return record;
  }
  std::list<std::string> ids(const DatabaseFilter& filter, int limit = 0, int skip = 0) {
    std::list<std::string> found;
    experiments->read(filter, found, limit, skip);
    return found;
  }
  static std::unique_ptr<DatabaseFilter> siteIs(const std::string& value) {
    std::unique_ptr<DatabaseFilter> filter(createFilter());
    filter->filter_init();
    filter->setCategory(OperationType::equal, "Site", value, "");
    filter->filter_finish();
    return filter;
  }

  std::unique_ptr<ExperimentDatabaseInterface> experiments{createExperimentDatabase()};
};

}  // namespace

TEST_P(LibraryContract, ARecordComesBackWithAllItHolds) {
  const auto record = newRecord();
  record->setCategory("Site", "Waseca");
  record->addDescriptionString("note", "first");
  record->addDescriptionBool("done", true);
  record->addDescriptionInt("year", 1931);
  setDescription(*record, "yield", 27.5);
  setDescription(*record, "big", 9007199254740993LL);
  record->addDescriptionTime("when", -1);
  std::string fileId;
  record->addFileInfo(ObjectType::mediaObject, "host", "/data/a.avi", fileId);
  record->setUserRecrod(document("{'mine':{'deep':[1,null,{'x':true}]}}"));
  std::string id;
  ASSERT_TRUE(experiments->writeRecord(record.get(), id));

  const auto found = read(id);
  EXPECT_EQ(found->categoryValue("Site", ""), "Waseca");
  EXPECT_EQ(found->descriptionAsString("note", ""), "first");
  EXPECT_TRUE(found->descriptionAsBool("done", false));
  EXPECT_EQ(found->descriptionAsInt("year", 0), 1931);
  EXPECT_EQ(found->descriptionAsDouble("yield", 0), 27.5);
  EXPECT_EQ(found->descriptionAsLongLong("big", 0), 9007199254740993LL);
  EXPECT_EQ(found->descriptionAsTime("when", 0), -1);
  ObjectType type{};
  std::string host;
  std::string path;
  found->getFileInfo(fileId, type, host, path);
  EXPECT_EQ(host + path, "host/data/a.avi");
  ObjectProperties user = found->getUserRecord();
  user.remove("_id");
  EXPECT_EQ(text(user), "{'mine':{'deep':[1,null,{'x':true}]}}");
}

TEST_P(LibraryContract, AFoundRecordNamesWhatItHolds) {
  const auto record = newRecord();
  record->setCategory("Site", "Waseca");
  record->addDescriptionInt("year", 1931);
  record->addDescriptionString("note", "x");
  std::string fileId;
  record->addFileInfo(ObjectType::mediaObject, "host", "/data/a.avi", fileId);
  std::string id;
  experiments->writeRecord(record.get(), id);

  const auto found = read(id);
  std::list<std::string> categories;
  std::list<std::string> descriptions;
  std::list<std::string> files;
  found->enumCategoriesNames(categories);
  found->enumDescriptionsNames(descriptions);
  found->enumFilesIds(ObjectType::mediaObject, files);
  EXPECT_THAT(categories, ElementsAre("Site"));
  EXPECT_THAT(descriptions, UnorderedElementsAre("year", "note"));
  EXPECT_THAT(files, ElementsAre(fileId));
  PropertyType type{};
  found->descriptionType("year", type);
  EXPECT_EQ(type, PropertyType::int32);
}

TEST_P(LibraryContract, WhatIsRemovedFromARecordIsGoneFromTheStore) {
  const auto record = newRecord();
  record->setCategory("Site", "Waseca");
  record->setCategory("Color", "red");
  record->addDescriptionInt("year", 1931);
  record->addDescriptionString("note", "x");
  record->setUserRecrod(document("{'mine':1}"));
  std::string id;
  experiments->writeRecord(record.get(), id);

  const auto changed = read(id);
  changed->removeCategory("Color");
  changed->removeDescription("note");
  changed->removeUserRecord();
  experiments->updateRecord(changed.get(), id);

  const auto found = read(id);
  EXPECT_EQ(found->categoryValue("Site", "gone") + " " + found->categoryValue("Color", "gone"), "Waseca gone");
  EXPECT_EQ(found->descriptionAsInt("year", 0), 1931);
  EXPECT_EQ(found->descriptionAsString("note", "gone"), "gone");
  EXPECT_FALSE(found->getUserRecord().contains("mine"));
}

TEST_P(LibraryContract, AnUnknownIdLeavesTheRecordAsItWas) {
  const auto record = newRecord();
  record->setCategory("Site", "Morris");
  experiments->readRecord(record.get(), "5f5f5f5f5f5f5f5f5f5f5f5f");
  EXPECT_EQ(record->categoryValue("Site", ""), "Morris");
}

TEST_P(LibraryContract, AnUpdateReplacesTheStoredRecord) {
  const std::string id = written({{"Site", "Waseca"}});
  const auto record = read(id);
  record->setCategory("Site", "Morris");
  experiments->updateRecord(record.get(), id);
  EXPECT_EQ(read(id)->categoryValue("Site", ""), "Morris");
  EXPECT_EQ(ids(*siteIs("Waseca")).size(), 0U);
}

TEST_P(LibraryContract, AnUpdateOfAnUnknownIdInserts) {
  const auto record = newRecord();
  record->setCategory("Site", "Morris");
  const std::string id = experiments->createId();
  experiments->updateRecord(record.get(), id);
  EXPECT_THAT(ids(*siteIs("Morris")), ElementsAre(id));
}

TEST_P(LibraryContract, AFilterSelectsIds) {
  const std::string first = written({{"Site", "Waseca"}});
  written({{"Site", "Morris"}});
  const std::string third = written({{"Site", "Waseca"}});
  EXPECT_THAT(ids(*siteIs("Waseca")), UnorderedElementsAre(first, third));
  EXPECT_THAT(ids(*siteIs("Waseca"), 1, 0).size(), 1U);
  EXPECT_THAT(ids(*siteIs("Waseca"), 0, 1).size(), 1U);
  EXPECT_THAT(ids(*siteIs("nowhere")), IsEmpty());
}

TEST_P(LibraryContract, AFilterSelectsRecords) {
  const std::string id = written({{"Site", "Waseca"}});
  written({{"Site", "Morris"}});
  std::map<std::string, DatabaseRecordInterface*> records;
  experiments->read(*siteIs("Waseca"), records, 0, 0);
  ASSERT_EQ(records.size(), 1U);
  const std::unique_ptr<DatabaseRecordInterface> found(records.begin()->second);
  EXPECT_EQ(records.begin()->first, id);
  EXPECT_EQ(found->categoryValue("Site", ""), "Waseca");
}

TEST_P(LibraryContract, AFilterRemovesWhatItSelects) {
  written({{"Site", "Waseca"}});
  const std::string left = written({{"Site", "Morris"}});
  experiments->remove(*siteIs("Waseca"));
  const std::unique_ptr<DatabaseFilter> all(createFilter());
  EXPECT_THAT(ids(*all), ElementsAre(left));
}

TEST_P(LibraryContract, CategoryValuesAreCounted) {
  written({{"Site", "Waseca"}, {"Color", "red"}});
  written({{"Site", "Waseca"}});
  written({{"Site", "Morris"}});
  std::map<std::string, int> statistics;
  experiments->categoriesStatistics("Site", statistics);
  EXPECT_THAT(statistics, UnorderedElementsAre(Pair("Waseca", 2), Pair("Morris", 1)));
}

TEST_P(LibraryContract, TheNameOfACountedCategoryIsAPatternForTheWholeNameWhateverItsCase) {
  written({{"Site", "Waseca"}});
  const auto valuesOf = [&](const std::string& name) {
    std::map<std::string, int> statistics;
    experiments->categoriesStatistics(name, statistics);
    return statistics.size();
  };
  EXPECT_EQ(valuesOf("sITE"), 1U);
  EXPECT_EQ(valuesOf("S.te"), 1U);
  EXPECT_EQ(valuesOf("Sit"), 0U);
}

TEST_P(LibraryContract, ACategoryHeldTwiceIsCountedTwiceAndAnEmptyValueUnderTheEmptyKey) {
  const auto record = newRecord();
  record->setD(
      std::make_unique<ObjectProperties>(
          document("{'recordInfo':{'category':[{'name':'Site','value':'Waseca'},{'name':'Site','value':'Waseca'},"
                   "{'name':'Site','value':''}]}}"))
          .release());
  std::string id;
  experiments->writeRecord(record.get(), id);
  std::map<std::string, int> statistics;
  experiments->categoriesStatistics("Site", statistics);
  EXPECT_THAT(statistics, UnorderedElementsAre(Pair("Waseca", 2), Pair("", 1)));
}

TEST_P(LibraryContract, SourcesAreListedByHostAndKind) {
  const auto record = newRecord();
  std::unique_ptr<DatabaseSourceInfoInterface> database(createDatabaseSourceInfo());
  database->setHost("h");
  database->setPort(5000000000);
  record->setDatabaseSourceInfo(database.release());
  std::string first;
  experiments->writeRecord(record.get(), first);
  std::unique_ptr<DataServerSourceInfoInterface> server(createDataServerSourceInfo());
  server->setHost("h");
  server->setSection("part");
  record->setDataServerSourceInfo(server.release());
  std::string second;
  experiments->writeRecord(record.get(), second);

  std::map<std::string, DatabaseSourceInfoInterface*> databases;
  std::map<std::string, DataServerSourceInfoInterface*> servers;
  experiments->enumDatabaseSources("h", databases);
  experiments->enumDatabaseSources("elsewhere", databases);
  experiments->enumDataserveSources("h", servers);
  EXPECT_THAT(databases, ElementsAre(Pair(first, ::testing::Pointee(::testing::Property(
                                                     &DatabaseSourceInfoInterface::port, 5000000000)))));
  EXPECT_THAT(servers, ElementsAre(Pair(second, ::testing::Pointee(::testing::Property(
                                                    &DataServerSourceInfoInterface::section, "part")))));
  for (const auto& [id, source] : databases) delete source;
  for (const auto& [id, source] : servers) delete source;
}

TEST_P(LibraryContract, DescriptionNamesInUseAreListedByKind) {
  const auto record = newRecord();
  record->addDescriptionInt("year", 1931);
  record->addDescriptionString("note", "x");
  std::string id;
  experiments->writeRecord(record.get(), id);
  experiments->writeRecord(record.get(), id);
  std::list<DatabaseProviderInterface::Description> descriptions;
  experiments->enumDescriptionsNames(descriptions);
  std::map<std::string, int> counts;
  for (const auto& one : descriptions) counts[one.name + "/" + std::to_string(static_cast<int>(one.type))] = one.count;
  EXPECT_THAT(counts, UnorderedElementsAre(Pair("year/6", 2), Pair("note/4", 2)));
}

TEST_P(LibraryContract, TheCatalogueOfCategoriesKeepsItsOrder) {
  experiments->setCategoriesNames({"Site", "Color", "Age"});
  experiments->setCategoriesNames({"Color", "Site"});
  std::list<std::string> names{"before"};
  experiments->enumCategoriesNames(names);
  EXPECT_THAT(names, ElementsAre("Color", "Site"));
}

TEST_P(LibraryContract, ScenariosAreApartFromExperiments) {
  const std::unique_ptr<DatabaseProviderInterface> scenarios(createScenarioDatabase());
  scenarios->setDatabaseClient(&client);
  const std::unique_ptr<DatabaseRecordInterface> scenario(createScenarioDatabaseRecord());
  scenario->setCategory("Site", "Waseca");
  std::string id;
  scenarios->writeRecord(scenario.get(), id);
  EXPECT_THAT(ids(*siteIs("Waseca")), IsEmpty());
  std::list<std::string> found;
  scenarios->read(*siteIs("Waseca"), found, 0, 0);
  EXPECT_THAT(found, ElementsAre(id));
}

TEST_P(LibraryContract, AProviderConnectsByItself) {
  const std::string id = written({{"Site", "Waseca"}});
  const std::unique_ptr<ExperimentDatabaseInterface> own(createExperimentDatabase());
  ASSERT_TRUE(own->connect(address().authDatabase, address().host, address().port, address().user, address().password));
  const auto record = newRecord();
  own->readRecord(record.get(), id);
  EXPECT_EQ(record->categoryValue("Site", ""), "Waseca");
  EXPECT_TRUE(own->disconnect());
  EXPECT_FALSE(own->isConnected());
}

namespace {

/// The people and their settings, on engines that have users.
class UsersLibraryContract : public StoreContract {
 protected:
  void SetUp() override {
    StoreContract::SetUp();
    if (IsSkipped()) return;
    if (!hasUsers(engine())) GTEST_SKIP() << engine() << " has no command for users";
    users->connectAsAdmin(address().host, address().port, address().password);
  }

  std::unique_ptr<UsersDatabaseInterface> users{createUsersDatabase()};
};

}  // namespace

TEST_P(UsersLibraryContract, PeopleAreAddedListedAndRemoved) {
  users->addUser("anna", "secret", {{DatabaseRoleType::read, DatabaseType::experiment}}, ObjectProperties{});
  users->addUser("bert", "secret", {}, ObjectProperties{});
  EXPECT_THAT(users->enumUsers(), UnorderedElementsAre("anna", "bert"));
  users->removeUser("anna");
  EXPECT_THAT(users->enumUsers(), ElementsAre("bert"));
}

TEST_P(UsersLibraryContract, RolesComeBackWithoutThoseOfEveryone) {
  users->addUser("anna", "secret", {{DatabaseRoleType::readWrite, DatabaseType::base}}, ObjectProperties{});
  std::list<UsersDatabaseInterface::Role> roles;
  ObjectProperties data;
  users->getUserInfo("anna", roles, data);
  ASSERT_EQ(roles.size(), 1U);
  EXPECT_EQ(roles.front().role, DatabaseRoleType::readWrite);
  EXPECT_EQ(roles.front().db, DatabaseType::base);
}

TEST_P(UsersLibraryContract, AnUpdateReplacesTheRoles) {
  users->addUser("anna", "secret", {{DatabaseRoleType::readWrite, DatabaseType::base}}, ObjectProperties{});
  users->updateUser("anna", {{DatabaseRoleType::read, DatabaseType::experiment}}, ObjectProperties{});
  std::list<UsersDatabaseInterface::Role> roles;
  ObjectProperties data;
  users->getUserInfo("anna", roles, data);
  ASSERT_EQ(roles.size(), 1U);
  EXPECT_EQ(roles.front().role, DatabaseRoleType::read);
  EXPECT_EQ(roles.front().db, DatabaseType::experiment);
}

TEST_P(UsersLibraryContract, APersonSeesItselfAndChangesItsOwnData) {
  const std::list<UsersDatabaseInterface::Role> given{{DatabaseRoleType::read, DatabaseType::experiment}};
  users->addUser("anna", "secret", given, document("{'color':'red'}"));
  const std::unique_ptr<UsersDatabaseInterface> own(createUsersDatabase());
  own->connectAsUser(address().host, address().port, "anna", "secret");
  own->updateUser("anna", given, document("{'color':'blue'}"));
  std::list<UsersDatabaseInterface::Role> roles;
  ObjectProperties data;
  own->getUserInfo("anna", roles, data);
  EXPECT_EQ(roles.size(), 1U);
  EXPECT_EQ(text(data), "{'color':'blue'}");
}

TEST_P(UsersLibraryContract, APersonConnectsAndKeepsSettings) {
  users->addUser("anna", "secret", {}, ObjectProperties{});
  const std::unique_ptr<UsersDatabaseInterface> own(createUsersDatabase());
  own->connectAsUser(address().host, address().port, "anna", "secret");
  own->addUserData("anna", "window", document("{'width':7}"));
  own->disconnect();
  ObjectProperties data;
  users->getUserData("anna", "window", data);
  EXPECT_EQ(data.valueAsInt32("width", 0), 7);
}

TEST_P(UsersLibraryContract, AChangedPasswordHolds) {
  users->addUser("anna", "secret", {}, ObjectProperties{});
  users->changeUserPassword("anna", "new");
  DataBaseClient other;
  EXPECT_TRUE(other.connect("databaseManager", address().host, address().port, "anna", "new"));
  EXPECT_FALSE(other.connect("databaseManager", address().host, address().port, "anna", "secret"));
}

TEST_P(UsersLibraryContract, SettingsAreKeptByUserAndTag) {
  users->addUserData("anna", "window", document("{'width':7}"));
  users->addUserData("anna", "window", document("{'width':9}"));
  users->addUserData("anna", "colors", document("{'dark':true}"));
  users->addUserData("bert", "window", document("{'width':1}"));
  ObjectProperties data;
  users->getUserData("anna", "window", data);
  EXPECT_EQ(data.valueAsInt32("width", 0), 9);

  users->removeUserData("anna", "window");
  ObjectProperties untouched = document("{'old':1}");
  users->getUserData("anna", "window", untouched);
  EXPECT_EQ(text(untouched), "{'old':1}");

  users->removeAllUserData("anna");
  users->getUserData("anna", "colors", untouched);
  EXPECT_EQ(text(untouched), "{'old':1}");
  users->getUserData("bert", "window", data);
  EXPECT_EQ(data.valueAsInt32("width", 0), 1);
}

INSTANTIATE_TEST_SUITE_P(Engines, LibraryContract, ::testing::ValuesIn(engineNames()), engineName);
INSTANTIATE_TEST_SUITE_P(Engines, UsersLibraryContract, ::testing::ValuesIn(engineNames()), engineName);

}  // namespace database_test
