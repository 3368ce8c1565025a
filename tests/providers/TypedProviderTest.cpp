// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "providers/database_experiment.h"
#include "providers/database_scenario.h"
#include "records/ExperimentDatabaseRecord.h"
#include "records/ScenarioDatabaseRecord.h"
#include "sources/database_source_info.h"
#include "sources/dataserver_source_info.h"
#include "tests/support/RecordingClient.h"
#include "tests/support/records.h"

namespace database_provider {
namespace {

using database_client::RecordingClient;

using Records = std::map<std::string, DatabaseRecordInterface*>;

void destroy(Records& records) {
  for (const auto& [id, record] : records) delete record;
}

/// "x(a=1) y()": ids and categories
std::string text(const Records& records) {
  std::list<std::string> items;
  for (const auto& [id, record] : records) items.push_back(id + "(" + categories(*record) + ")");
  return joined(items);
}

struct Experiments {
  using Database = ExperimentDatabase;
  using Record = ExperimentDatabaseRecord;
  static constexpr const char* where = "experiment records";
  static constexpr const char* configuration = "experiment configuration";
};
struct Scenarios {
  using Database = ScenarioDatabase;
  using Record = ScenarioDatabaseRecord;
  static constexpr const char* where = "base collection.scenarios";
  static constexpr const char* configuration = "base configuration";
};

template <class Kind>
class TypedDatabase : public ::testing::Test {
 protected:
  TypedDatabase() { database.setDatabaseClient(&client); }

  /// As applications see it.
  const DatabaseProviderInterface& provider() const { return database; }

  RecordingClient client;
  typename Kind::Database database;
};
using Kinds = ::testing::Types<Experiments, Scenarios>;
struct KindNames {
  template <class Kind>
  static std::string GetName(int /*index*/) {
    return std::is_same_v<Kind, Experiments> ? "Experiments" : "Scenarios";
  }
};
TYPED_TEST_SUITE(TypedDatabase, Kinds, KindNames);

TYPED_TEST(TypedDatabase, NamesItsDatabaseAndCollectionInEveryCall) {
  const DatabaseProviderInterface& provider = this->provider();
  typename TypeParam::Record record;
  DatabaseRecordInterface* const plain = &record;
  std::string id;
  std::list<std::string> ids;
  std::list<DatabaseProviderInterface::Description> names;
  std::map<std::string, int> statistics;
  Records records;
  const std::string where = TypeParam::where;
  const auto call = [&](auto&& operation) {
    operation();
    std::string calls = this->client.calls();
    return calls.substr(0, calls.find(" {"));
  };
  EXPECT_EQ(call([&] { provider.writeRecord(plain, id); }), "insert " + where);
  EXPECT_EQ(call([&] { provider.updateRecord(plain, id); }), "update " + where);
  EXPECT_EQ(call([&] { provider.readRecord(plain, id); }), "find " + where);
  EXPECT_EQ(call([&] { provider.read(DatabaseFilter(), ids, 0, 0); }), "find " + where);
  EXPECT_EQ(call([&] { provider.read(DatabaseFilter(), records, 0, 0); }), "find " + where);
  EXPECT_EQ(call([&] { provider.remove(DatabaseFilter()); }), "remove " + where);
  EXPECT_EQ(call([&] { provider.enumDescriptionsNames(names); }), "aggregate " + where);
  EXPECT_EQ(call([&] { provider.categoriesStatistics("x", statistics); }), "aggregate " + where);
  EXPECT_EQ(call([&] { provider.setCategoriesNames({}); }), std::string("update ") + TypeParam::configuration);
  EXPECT_EQ(call([&] { provider.enumCategoriesNames(ids); }), std::string("find ") + TypeParam::configuration);
}

TYPED_TEST(TypedDatabase, HandsTheConnectionThrough) {
  this->client.setResult(false);
  EXPECT_FALSE(this->provider().connect("auth", "host", 1, "user", "secret"));
  EXPECT_FALSE(this->provider().isConnected());
  EXPECT_FALSE(this->provider().disconnect());
  EXPECT_EQ(this->provider().createId(), "0123456789abcdef01234567");
  EXPECT_EQ(this->client.calls(), "connect 'auth' 'host' 1 'user' 'secret'\nisConnected\ndisconnect\ncreateId\n");
}

TYPED_TEST(TypedDatabase, ThrowsOnANullRecordBeforeAnyCall) {
  std::string id;
  DatabaseRecordInterface* const none = nullptr;
  EXPECT_THROW(this->provider().writeRecord(none, id), std::invalid_argument);
  EXPECT_THROW(this->provider().updateRecord(none, id), std::invalid_argument);
  EXPECT_THROW(this->provider().readRecord(none, id), std::invalid_argument);
  EXPECT_EQ(this->client.calls(), "");
}

TYPED_TEST(TypedDatabase, ReadsRecordsOfItsKindWithoutTheirIds) {
  this->client.answer({R"({"_id": "y", "recordInfo": {"category": [{"name": "a", "value": "1"}]}})",
                       R"({"_id": {"$oid": "0123456789abcdef01234567"}, "plot": 3})"});
  Records records;
  this->provider().read(DatabaseFilter(), records, 7, 3);
  EXPECT_EQ(this->client.calls(), std::string("find ") + TypeParam::where + " {} {} 7 3\n");
  EXPECT_EQ(text(records), "0123456789abcdef01234567() y(a=1)");
  EXPECT_EQ(records.begin()->second->getD()->toJson(), R"({"plot": 3})");
  for (const auto& [id, record] : records) EXPECT_NE(dynamic_cast<typename TypeParam::Record*>(record), nullptr);
  destroy(records);
}

TYPED_TEST(TypedDatabase, KeepsTheRecordThatTheMapHasUnderAnId) {
  this->client.answer({R"({"_id": "x", "plot": 2})", R"({"_id": "y"})", R"({"_id": "y", "plot": 5})"});
  Records records{{"x", new typename TypeParam::Record}, {"z", new typename TypeParam::Record}};
  const DatabaseRecordInterface* const before = records.at("x");
  this->provider().read(DatabaseFilter(), records, 0, 0);
  EXPECT_EQ(text(records), "x() y() z()");
  EXPECT_EQ(records.at("x"), before);
  EXPECT_EQ(records.at("y")->getD()->toJson(), "{}");
  destroy(records);
}

TYPED_TEST(TypedDatabase, ADocumentWithoutAnIdStandsUnderTheEmptyOne) {
  this->client.answer({R"({"plot": 2})", R"({"plot": 3})"});
  Records records;
  this->provider().read(DatabaseFilter(), records, 0, 0);
  EXPECT_EQ(text(records), "()");
  EXPECT_EQ(records.at("")->getD()->toJson(), R"({"plot": 2})");
  destroy(records);
}

TYPED_TEST(TypedDatabase, LeavesTheMapWhenNothingMatches) {
  Records records{{"x", nullptr}};
  this->provider().read(DatabaseFilter(), records, 0, 0);
  EXPECT_EQ(records.size(), 1U);
}

TYPED_TEST(TypedDatabase, LeavesTheMapWhenTheStoreFailsHalfWay) {
  this->client.answer({R"({"_id": "x"})", R"({"_id": "y"})"});
  this->client.failOn(1);
  Records records;
  EXPECT_THROW(this->provider().read(DatabaseFilter(), records, 0, 0), database_client::Error);
  EXPECT_TRUE(records.empty());
}

TEST(ExperimentDatabase, TakesExperimentRecordsAsRecords) {
  RecordingClient client;
  ExperimentDatabase database;
  database.setDatabaseClient(&client);
  const ExperimentDatabaseInterface& experiments = database;
  ExperimentDatabaseRecord record;
  ExperimentDatabaseRecordInterface* const typed = &record;
  std::string id;
  EXPECT_TRUE(experiments.writeRecord(typed, id));
  EXPECT_EQ(id, "0123456789abcdef01234567");
  experiments.updateRecord(typed, "x");
  client.answer({R"({"plot": 3})"});
  experiments.readRecord(typed, "x");
  EXPECT_EQ(client.calls(),
            "insert experiment records {}\nupdate experiment records {\"_id\": \"x\"} {\"_id\": \"x\"} 1 1\n"
            "find experiment records {\"_id\": \"x\"} {\"_id\": false} 1 0\n");
  EXPECT_EQ(record.getD()->toJson(), R"({"plot": 3})");

  ExperimentDatabaseRecordInterface* const none = nullptr;
  EXPECT_THROW(experiments.writeRecord(none, id), std::invalid_argument);
  EXPECT_THROW(experiments.updateRecord(none, id), std::invalid_argument);
  EXPECT_THROW(experiments.readRecord(none, id), std::invalid_argument);
  EXPECT_EQ(client.calls(), "");
}

TEST(ExperimentDatabase, WritesTheSourceOfAnExperiment) {
  RecordingClient client;
  ExperimentDatabase database;
  database.setDatabaseClient(&client);
  ExperimentDatabaseRecord record;
  record.setDataServerSourceInfo(std::make_unique<DataServerSourceInfo>().release());
  std::string id;
  database.writeRecord(static_cast<DatabaseRecordInterface*>(&record), id);
  EXPECT_NE(client.calls().find(R"("dataSource": {"version": 1)"), std::string::npos);
}

class ExperimentSources : public ::testing::Test {
 public:
  ExperimentSources() { experiments.setDatabaseClient(&client); }
  ~ExperimentSources() override {
    for (const auto& [id, source] : databases) delete source;
    for (const auto& [id, source] : servers) delete source;
  }
  ExperimentSources(const ExperimentSources&) = delete;
  ExperimentSources& operator=(const ExperimentSources&) = delete;

 protected:
  /// "x=host:port"
  std::string databaseSources() const {
    std::list<std::string> items;
    for (const auto& [id, source] : databases) {
      items.push_back(id + "=" + source->host() + ":" + std::to_string(source->port()));
    }
    return joined(items);
  }

  RecordingClient client;
  ExperimentDatabase experiments;
  std::map<std::string, DatabaseSourceInfoInterface*> databases;
  std::map<std::string, DataServerSourceInfoInterface*> servers;
};

std::string stored(const std::string& id, const std::string& source) {
  return R"({"_id": ")" + id + R"(", "recordInfo": {"additionalData": {"dataSource": )" + source + "}}}";
}

TEST_F(ExperimentSources, OfTheDatabaseKindAreAskedForByHostAndType) {
  client.answer({stored("y", R"({"version": 1, "host": "h", "port": 5, "type": 1})"),
                 stored("x", R"({"version": 1, "host": "h", "port": 6, "type": 1})")});
  experiments.enumDatabaseSources("h", databases);
  EXPECT_EQ(client.calls(), R"(find experiment records {"recordInfo.additionalData.dataSource.host": "h", )"
                            R"("recordInfo.additionalData.dataSource.type": 1} )"
                            R"({"_id": true, "recordInfo.additionalData.dataSource": true} 0 0)"
                            "\n");
  EXPECT_EQ(databaseSources(), "x=h:6 y=h:5");
}

TEST_F(ExperimentSources, OfTheDataServerKindAreAskedForByHostAndType) {
  client.answer({stored("x", R"({"version": 1, "host": "h", "section": "s", "volume": 5, "type": 2})")});
  experiments.enumDataserveSources("h", servers);
  EXPECT_EQ(client.calls(), R"(find experiment records {"recordInfo.additionalData.dataSource.host": "h", )"
                            R"("recordInfo.additionalData.dataSource.type": 2} )"
                            R"({"_id": true, "recordInfo.additionalData.dataSource": true} 0 0)"
                            "\n");
  ASSERT_EQ(servers.size(), 1U);
  EXPECT_EQ(servers.at("x")->host() + servers.at("x")->section(), "hs");
}

TEST_F(ExperimentSources, AreAskedForByA32BitTypeAndIncludedByBooleans) {
  client.setMode(database_client::JsonMode::canonical);
  experiments.enumDatabaseSources("h", databases);
  EXPECT_EQ(client.calls(), R"(find experiment records {"recordInfo.additionalData.dataSource.host": "h", )"
                            R"("recordInfo.additionalData.dataSource.type": {"$numberInt": "1"}} )"
                            R"({"_id": true, "recordInfo.additionalData.dataSource": true} 0 0)"
                            "\n");
}

TEST_F(ExperimentSources, OfAnEmptyHostAreRefusedBeforeAnyCall) {
  const auto message = [](auto&& call) -> std::string {
    try {
      call();
    } catch (const std::invalid_argument& failure) {
      return failure.what();
    }
    return "did not throw";
  };
  EXPECT_EQ(message([&] { experiments.enumDatabaseSources("", databases); }), "database host is empty");
  EXPECT_EQ(message([&] { experiments.enumDataserveSources("", servers); }), "database host is empty");
  EXPECT_EQ(client.calls(), "");
}

TEST_F(ExperimentSources, OfAnotherVersionOrWithoutTheGroupHaveDefaultContents) {
  client.answer({stored("x", R"({"version": 2, "host": "h", "port": 5, "type": 1})"), R"({"_id": "y"})"});
  experiments.enumDatabaseSources("h", databases);
  EXPECT_EQ(databaseSources(), "x=:27017 y=:27017");
}

TEST_F(ExperimentSources, KeepTheEntryThatTheMapHasUnderAnId) {
  databases["x"] = new DatabaseSourceInfo;
  const DatabaseSourceInfoInterface* const before = databases["x"];
  client.answer({stored("x", R"({"version": 1, "host": "h", "port": 5, "type": 1})"), R"({"recordInfo": {}})",
                 R"({"recordInfo": {}})"});
  experiments.enumDatabaseSources("h", databases);
  EXPECT_EQ(databaseSources(), "=:27017 x=:27017");
  EXPECT_EQ(databases["x"], before);
}

TEST_F(ExperimentSources, LeaveTheMapWhenTheStoreFailsHalfWay) {
  client.answer({stored("x", "{}")});
  client.answer({stored("x", "{}")});
  client.failOn(1);
  EXPECT_THROW(experiments.enumDatabaseSources("h", databases), database_client::Error);
  client.failOn(2);
  EXPECT_THROW(experiments.enumDataserveSources("h", servers), database_client::Error);
  EXPECT_TRUE(databases.empty());
  EXPECT_TRUE(servers.empty());
}

}  // namespace
}  // namespace database_provider
