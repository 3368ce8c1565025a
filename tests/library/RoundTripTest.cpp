// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "database_client/codes.h"
#include "tests/library/LoadedLibrary.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/records.h"

// Everything an application can do, through the factories and the interfaces alone, on the embedded store.

namespace database_provider {
namespace {

using Records = std::map<std::string, std::unique_ptr<DatabaseRecordInterface>>;

std::string hostIn(const database_test::TemporaryFolder& folder) {
  return "file:" + folder / "store.db";
}

std::string text(const std::list<DatabaseProviderInterface::Description>& descriptions) {
  std::list<std::string> items;
  for (const auto& [name, type, count] : descriptions) {
    items.push_back(name + ":" + std::to_string(static_cast<int>(type)) + "=" + std::to_string(count));
  }
  items.sort();
  return joined(items);
}

class RoundTrip : public ::testing::TestWithParam<bool> {
 protected:
  RoundTrip() {
    for (DatabaseProviderInterface* provider :
         {static_cast<DatabaseProviderInterface*>(experiments.get()), scenarios.get()}) {
      EXPECT_TRUE(provider->connect("", host, 0, "", ""));
    }
  }

  std::string write(const std::string& json) {
    const auto record = library.experiment();
    record->setD(newDocument(json).release());
    std::string id;
    EXPECT_TRUE(experiments->writeRecord(record.get(), id));
    return id;
  }
  std::string writeCategory(const std::string& name, const std::string& value) {
    return write(R"({"recordInfo": {"category": [{"name": ")" + name + R"(", "value": ")" + value + R"("}]}})");
  }
  std::list<std::string> ids(const DatabaseFilter& filter, int limit = 0, int skip = 0) const {
    std::list<std::string> found;
    experiments->read(filter, found, limit, skip);
    return found;
  }
  static Records read(const DatabaseProviderInterface& provider, const DatabaseFilter& filter) {
    std::map<std::string, DatabaseRecordInterface*> found;
    provider.read(filter, found, 0, 0);
    Records records;
    for (const auto& [id, record] : found) records[id].reset(record);
    return records;
  }
  std::string readContent(const std::string& id) const {
    const auto record = library.experiment();
    experiments->readRecord(record.get(), id);
    return content(*record);
  }
  std::string statistics(const std::string& category) const {
    std::map<std::string, int> counts;
    experiments->categoriesStatistics(category, counts);
    std::list<std::string> items;
    for (const auto& [value, count] : counts) items.push_back(value + "=" + std::to_string(count));
    return joined(items);
  }

  LoadedLibrary library;
  database_test::TemporaryFolder folder;
  std::string host = GetParam() ? hostIn(folder) : "file::memory:";
  std::unique_ptr<ExperimentDatabaseInterface> experiments = library.experiments();
  std::unique_ptr<DatabaseProviderInterface> scenarios = library.scenarios();
};

INSTANTIATE_TEST_SUITE_P(Embedded, RoundTrip, ::testing::Bool(),
                         [](const auto& parameter) { return parameter.param ? "File" : "Memory"; });

TEST_P(RoundTrip, ARecordComesBackWithAllItHolds) {
  const auto record = library.experiment();
  std::string fileId;
  record->setCategory("Color", "red");
  record->addDescriptionString("title", "Barley");
  record->addDescriptionBool("done", true);
  record->addDescriptionInt("count", 7);
  record->addDescriptionDouble("yield", 1.5);
  record->addDescriptionLongLong("id", 5000000000);
  record->addDescriptionTime("begin", 1000);
  record->addFileInfo(ObjectType::xmlObject, "h", "/a.xml", fileId);
  record->setUserRecrod(ObjectProperties::fromJson(R"({"plot": {"row": 3}})"));
  auto source = library.dataServerSource();
  source->setHost("server");
  source->setVolume(5000000000);
  record->setDataServerSourceInfo(source.release());
  const std::string before = content(*record);

  std::string id;
  ASSERT_TRUE(experiments->writeRecord(record.get(), id));
  EXPECT_EQ(id.size(), 24U);
  const auto again = library.experiment();
  experiments->readRecord(again.get(), id);
  EXPECT_EQ(content(*again), before);
  EXPECT_EQ(again->getD()->toJson(), record->getD()->toJson());
  ASSERT_NE(again->getDataServerSourceInfo(), nullptr);
  EXPECT_EQ(again->getDataServerSourceInfo()->volume(), 5000000000);
}

TEST_P(RoundTrip, ARecordIsUpdatedAndRemoved) {
  const std::string id = write(R"({"plot": 1, "recordInfo": {}})");
  const auto record = library.experiment();
  experiments->readRecord(record.get(), id);
  record->setCategory("Color", "red");
  record->removeUserRecord();
  experiments->updateRecord(record.get(), id);
  EXPECT_EQ(readContent(id), "categories Color=red; descriptions ; files; user {}");

  const auto filter = library.filter();
  filter->setId(OperationType::equal, id);
  experiments->remove(*filter);
  EXPECT_EQ(readContent(id), "categories ; descriptions ; files; user {}");
  EXPECT_TRUE(ids(*library.filter()).empty());
}

TEST_P(RoundTrip, AnUnknownIdLeavesTheRecordWhenReadAndIsInsertedWhenUpdated) {
  const std::string id = experiments->createId();
  const auto record = library.experiment();
  record->setCategory("Color", "red");
  experiments->readRecord(record.get(), id);
  EXPECT_EQ(categories(*record), "Color=red");
  experiments->updateRecord(record.get(), id);
  EXPECT_EQ(joined(ids(*library.filter())), id);
}

TEST_P(RoundTrip, RecordsAreReadByFilterInPages) {
  const std::string first = writeCategory("Color", "red");
  const std::string second = writeCategory("Color", "blue");
  const std::string third = writeCategory("Color", "red");
  const std::string fourth = writeCategory("Color", "red");
  const auto red = library.filter();
  red->filter_init();
  red->setCategory(OperationType::equal, "Color", "red", "");
  red->filter_finish();
  EXPECT_EQ(ids(*red), (std::list<std::string>{first, third, fourth}));
  EXPECT_EQ(ids(*red, 2, 0), (std::list<std::string>{first, third}));
  EXPECT_EQ(ids(*red, 2, 2), (std::list<std::string>{fourth}));
  EXPECT_EQ(ids(*red, 0, 1), (std::list<std::string>{third, fourth}));
  EXPECT_EQ(ids(*library.filter()), (std::list<std::string>{first, second, third, fourth}));

  const Records records = read(*experiments, *red);
  ASSERT_EQ(records.size(), 3U);
  EXPECT_EQ(categories(*records.at(third)), "Color=red");
  EXPECT_FALSE(records.at(third)->getD()->contains("_id"));

  experiments->remove(*red);
  EXPECT_EQ(joined(ids(*library.filter())), second);
}

TEST_P(RoundTrip, ScenariosAreKeptApartFromExperiments) {
  const auto scenario = library.scenario();
  scenario->addDescriptionInt("steps", 5);
  std::string id;
  ASSERT_TRUE(scenarios->writeRecord(scenario.get(), id));
  EXPECT_TRUE(ids(*library.filter()).empty());
  const Records records = read(*scenarios, *library.filter());
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(content(*records.at(id)), "categories ; descriptions steps=int32:5; files; user {}");
  EXPECT_EQ(records.at(id)->supportedObjectTypes().size(), 3U);
}

TEST_P(RoundTrip, TheCatalogueOfCategoryNamesKeepsItsOrder) {
  std::list<std::string> names{"old"};
  experiments->enumCategoriesNames(names);
  EXPECT_TRUE(names.empty());
  experiments->setCategoriesNames({"Shape", "Color", "a.b"});
  experiments->enumCategoriesNames(names);
  EXPECT_EQ(joined(names), "Shape Color a.b");
  experiments->setCategoriesNames({"Size"});
  experiments->enumCategoriesNames(names);
  EXPECT_EQ(joined(names), "Size");
  experiments->setCategoriesNames({});
  experiments->enumCategoriesNames(names);
  EXPECT_EQ(joined(names), "");
  scenarios->enumCategoriesNames(names);
  EXPECT_EQ(joined(names), "");
}

TEST_P(RoundTrip, DescriptionNamesInUseAreListedWithTypesAndCounts) {
  for (int i = 0; i < 3; ++i) {
    const auto record = library.experiment();
    if (i == 0) record->addDescriptionString("x", "text");
    if (i > 0) record->addDescriptionInt("x", i);
    record->addDescriptionTime("begin", i);
    std::string id;
    experiments->writeRecord(record.get(), id);
  }
  std::list<DatabaseProviderInterface::Description> descriptions{{"old", PropertyType::string, 1}};
  experiments->enumDescriptionsNames(descriptions);
  EXPECT_EQ(descriptions.front().name, "old");
  EXPECT_EQ(text(descriptions), "begin:9=3 old:4=1 x:4=1 x:6=2");
}

TEST_P(RoundTrip, ValuesOfACategoryAreCounted) {
  writeCategory("Color", "red");
  writeCategory("Color", "red");
  writeCategory("Color", "blue");
  EXPECT_EQ(statistics("color"), "blue=1 red=2") << "whatever the case of the name";
  EXPECT_EQ(statistics("Shape"), "");
}

TEST_P(RoundTrip, TheStartOfACategorysNameCountsNothing) {
  writeCategory("Color", "red");
  EXPECT_EQ(statistics("Col"), "");
}

TEST_P(RoundTrip, ADotInTheNameOfACountedCategoryStandsForAnyLetter) {
  writeCategory("Color", "red");
  EXPECT_EQ(statistics("C.lor"), "red=1");
}

TEST_P(RoundTrip, ACategoryHeldTwiceIsCountedTwice) {
  write(R"({"recordInfo": {"category": [{"name": "Color", "value": "red"}, {"name": "Color", "value": "red"}]}})");
  EXPECT_EQ(statistics("Color"), "red=2");
}

TEST_P(RoundTrip, AnEmptyValueOfACategoryIsCountedUnderTheEmptyKey) {
  write(R"({"recordInfo": {"category": [{"name": "Color", "value": ""}]}})");
  EXPECT_EQ(statistics("Color"), "=1");
}

TEST_P(RoundTrip, SourcesAreListedByHost) {
  const auto record = library.experiment();
  auto database = library.databaseSource();
  database->setHost("h");
  database->setSourceId("s");
  record->setDatabaseSourceInfo(database.release());
  std::string first;
  experiments->writeRecord(record.get(), first);
  auto server = library.dataServerSource();
  server->setHost("h");
  server->setSection("part");
  record->setDataServerSourceInfo(server.release());
  std::string second;
  experiments->writeRecord(record.get(), second);

  std::map<std::string, DatabaseSourceInfoInterface*> databases;
  std::map<std::string, DataServerSourceInfoInterface*> servers;
  experiments->enumDatabaseSources("h", databases);
  experiments->enumDataserveSources("h", servers);
  experiments->enumDatabaseSources("elsewhere", databases);
  ASSERT_EQ(databases.size(), 1U);
  ASSERT_EQ(servers.size(), 1U);
  EXPECT_EQ(databases.at(first)->sourceId(), "s");
  EXPECT_EQ(servers.at(second)->section(), "part");
  delete databases.at(first);
  delete servers.at(second);
}

class StoreFile : public ::testing::Test {
 protected:
  LoadedLibrary library;
  database_test::TemporaryFolder folder;
};

TEST_F(StoreFile, IsReadByTheNextProgram) {
  std::string id;
  {
    const auto experiments = library.experiments();
    ASSERT_TRUE(experiments->connect("", hostIn(folder), 0, "", ""));
    const auto record = library.experiment();
    record->setCategory("Color", "red");
    experiments->writeRecord(record.get(), id);
  }
  const auto experiments = library.experiments();
  ASSERT_TRUE(experiments->connect("", hostIn(folder), 0, "", ""));
  const auto record = library.experiment();
  experiments->readRecord(record.get(), id);
  EXPECT_EQ(categories(*record), "Color=red");
}

TEST_F(StoreFile, IsSharedByTwoProviders) {
  const auto writer = library.experiments();
  const auto reader = library.experiments();
  ASSERT_TRUE(writer->connect("", hostIn(folder), 0, "", ""));
  ASSERT_TRUE(reader->connect("", hostIn(folder), 0, "", ""));
  const auto record = library.experiment();
  std::string id;
  writer->writeRecord(record.get(), id);
  std::list<std::string> ids;
  reader->read(*library.filter(), ids, 0, 0);
  EXPECT_EQ(joined(ids), id);
}

/// How often this program has the store file open.
std::ptrdiff_t openFiles(const database_test::TemporaryFolder& folder) {
  const auto inside = [&](const std::filesystem::directory_entry& descriptor) {
    std::error_code gone;
    return "file:" + std::filesystem::read_symlink(descriptor.path(), gone).string() == hostIn(folder);
  };
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return std::count_if(begin(descriptors), end(descriptors), inside);
}

TEST_F(StoreFile, IsClosedWithItsProvider) {
  std::unique_ptr<DatabaseProviderInterface> experiments = library.experiments();
  ASSERT_TRUE(experiments->connect("", hostIn(folder), 0, "", ""));
  EXPECT_GT(openFiles(folder), 0);
  experiments.reset();
  EXPECT_EQ(openFiles(folder), 0);
}

class StoredUsers : public StoreFile {
 protected:
  StoredUsers() { users->connectAsAdmin(hostIn(folder), 0, ""); }
  std::string roles(const std::string& name, ObjectProperties& customData) const {
    std::list<UsersDatabaseInterface::Role> granted;
    users->getUserInfo(name, granted, customData);
    std::list<std::string> items;
    for (const auto& [role, db] : granted) {
      items.push_back(std::to_string(static_cast<int>(role)) + "@" + std::to_string(static_cast<int>(db)));
    }
    return joined(items);
  }
  std::string settings(const std::string& user, const std::string& tag) const {
    ObjectProperties data = ObjectProperties::fromJson(R"({"none": true})");
    users->getUserData(user, tag, data);
    return data.toJson();
  }

  std::unique_ptr<UsersDatabaseInterface> users = library.users();
};

TEST_F(StoredUsers, AreCreatedListedChangedAndRemoved) {
  users->addUser("anna", "secret", {{DatabaseRoleType::read, DatabaseType::experiment}},
                 ObjectProperties::fromJson(R"({"office": 5})"));
  users->addUser("zoe", "secret", {}, {});
  std::list<std::string> names = users->enumUsers();
  names.sort();
  EXPECT_EQ(joined(names), "anna zoe");
  ObjectProperties customData;
  EXPECT_EQ(roles("anna", customData), "0@1");
  EXPECT_EQ(customData.toJson(), R"({"office": 5})");

  users->updateUser("anna", {{DatabaseRoleType::readWrite, DatabaseType::base}}, {});
  EXPECT_EQ(roles("anna", customData), "1@0");
  users->removeUser("zoe");
  EXPECT_EQ(joined(users->enumUsers()), "anna");
}

TEST_F(StoredUsers, KeepSettingsUnderTags) {
  users->addUserData("anna", "layout", ObjectProperties::fromJson(R"({"a": 1})"));
  users->addUserData("anna", "layout", ObjectProperties::fromJson(R"({"b": 2})"));
  users->addUserData("anna", "colors", ObjectProperties::fromJson(R"({"c": 3})"));
  users->addUserData("zoe", "layout", ObjectProperties::fromJson(R"({"d": 4})"));
  EXPECT_EQ(settings("anna", "layout"), R"({"b": 2})");
  EXPECT_EQ(settings("anna", "unknown"), R"({"none": true})");
  users->removeUserData("anna", "layout");
  EXPECT_EQ(settings("anna", "layout"), R"({"none": true})");
  users->removeAllUserData("anna");
  EXPECT_EQ(settings("anna", "colors"), R"({"none": true})");
  EXPECT_EQ(settings("zoe", "layout"), R"({"d": 4})");
}

TEST_F(StoredUsers, KeepOneBlockUnderATagThatIsStoredTwice) {
  users->addUserData("anna", "layout", ObjectProperties::fromJson(R"({"a": 1})"));
  users->addUserData("anna", "layout", ObjectProperties::fromJson(R"({"b": 2})"));
  database_client::DataBaseClient client;
  ASSERT_TRUE(client.connect("", hostIn(folder), 0, "", ""));
  EXPECT_EQ(client.count("databaseManager", "customization", {}), 1);
  EXPECT_EQ(settings("anna", "layout"), R"({"b": 2})");
}

TEST_F(StoredUsers, LoseAllTheirSettingsAndNobodyElses) {
  for (const char* user : {"anna", "zoe"}) {
    for (const char* tag : {"layout", "", "colors"}) users->addUserData(user, tag, ObjectProperties());
  }
  users->removeAllUserData("anna");
  for (const char* tag : {"layout", "", "colors"}) {
    EXPECT_EQ(settings("anna", tag), R"({"none": true})") << tag;
    EXPECT_EQ(settings("zoe", tag), "{}") << tag;
  }
}

TEST_F(StoredUsers, LeaveTheOutputForATagThatIsUnknown) {
  users->addUserData("anna", "layout", ObjectProperties());
  EXPECT_EQ(settings("anna", "Layout"), R"({"none": true})");
  EXPECT_EQ(settings("Anna", "layout"), R"({"none": true})");
}

TEST_F(StoredUsers, CannotBeAddedTwiceOrChangedWhenUnknown) {
  namespace code = database_client::code;
  const auto codeOf = [](const auto& call) {
    try {
      call();
      return 0;
    } catch (const database_client::Error& error) {
      return error.code();
    }
  };
  users->addUser("anna", "secret", {}, {});
  EXPECT_EQ(codeOf([&] { users->addUser("anna", "other", {}, {}); }), code::userExists);
  EXPECT_EQ(codeOf([&] { users->updateUser("zoe", {}, {}); }), code::userNotFound);
  EXPECT_EQ(codeOf([&] { users->changeUserPassword("zoe", "new"); }), code::userNotFound);
  EXPECT_EQ(codeOf([&] { users->removeUser("zoe"); }), code::userNotFound);
  EXPECT_EQ(joined(users->enumUsers()), "anna");
}

TEST_F(StoredUsers, DoAsTheirRolesAllowOnceTheAdministratorHasAPassword) {
  users->addUser("anna", "secret", {{DatabaseRoleType::read, DatabaseType::experiment}}, {});
  users->changeAdminPassword("geheim");
  users->disconnect();

  const auto experiments = library.experiments();
  EXPECT_FALSE(experiments->connect("databaseManager", hostIn(folder), 0, "anna", "wrong"));
  ASSERT_TRUE(experiments->connect("databaseManager", hostIn(folder), 0, "anna", "secret"));
  std::list<std::string> ids;
  EXPECT_NO_THROW(experiments->read(*library.filter(), ids, 0, 0));
  const auto record = library.experiment();
  std::string id;
  EXPECT_THROW(experiments->writeRecord(record.get(), id), database_client::Error);

  users->connectAsUser(hostIn(folder), 0, "anna", "secret");
  EXPECT_NO_THROW(users->addUserData("anna", "layout", {}));
  EXPECT_NO_THROW(users->changeUserPassword("anna", "new"));
  users->connectAsUser(hostIn(folder), 0, "anna", "secret");
  EXPECT_THROW(users->enumUsers(), database_client::Error);
  users->connectAsAdmin(hostIn(folder), 0, "geheim");
  EXPECT_EQ(joined(users->enumUsers()), "anna");
}

}  // namespace
}  // namespace database_provider
