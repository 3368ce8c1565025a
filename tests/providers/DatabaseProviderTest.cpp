// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <type_traits>

#include "providers/database_provider.h"
#include "records/DatabaseRecord.h"
#include "tests/support/RecordingClient.h"
#include "tests/support/records.h"

namespace database_provider {
namespace {

using database_client::RecordingClient;

constexpr const char* someId = "0123456789abcdef01234567";

class Provider : public ::testing::Test {
 protected:
  Provider() {
    provider.databaseName = "db";
    provider.collectionName = "things";
    provider.setDatabaseClient(&client);
  }

  RecordingClient client;
  DatabaseProvider provider;
  DatabaseRecord record;
};

TEST_F(Provider, HandsTheConnectionThrough) {
  for (const bool result : {true, false}) {
    client.setResult(result);
    EXPECT_EQ(provider.connect("auth", "host", 27017, "user", "secret"), result);
    EXPECT_EQ(provider.isConnected(), result);
    EXPECT_EQ(provider.disconnect(), result);
    EXPECT_EQ(client.calls(), "connect 'auth' 'host' 27017 'user' 'secret'\nisConnected\ndisconnect\n");
  }
}

TEST_F(Provider, InsertsTheRecordsOwnDocument) {
  record.setCategory("a", "b");
  std::string id = "old";
  EXPECT_TRUE(provider.writeRecord(&record, id));
  EXPECT_EQ(id, someId);
  EXPECT_EQ(client.calls(),
            "insert db things {\"recordInfo\": {\"category\": [{\"name\": \"a\", \"value\": \"b\"}]}}\n");
  client.setResult(false);
  EXPECT_FALSE(provider.writeRecord(&record, id));
}

TEST_F(Provider, SendsTheDocumentItselfAndNoCopy) {
  class Watching : public RecordingClient {
   public:
    bool insert(const std::string& /*database*/, const std::string& /*collection*/, const ObjectProperties* document,
                std::string& /*id*/) override {
      seen = document;
      return true;
    }
    const ObjectProperties* seen = nullptr;
  } watching;
  provider.setDatabaseClient(&watching);
  std::string id;
  provider.writeRecord(&record, id);
  EXPECT_EQ(watching.seen, record.getD());
}

TEST_F(Provider, ReplacesTheRecordOfAnIdAndLeavesTheRecordsDocument) {
  record.setD(newDocument(R"({"a": 1})").release());
  provider.updateRecord(&record, someId);
  EXPECT_EQ(client.calls(),
            "update db things {\"_id\": {\"$oid\": \"0123456789abcdef01234567\"}} "
            "{\"a\": 1, \"_id\": {\"$oid\": \"0123456789abcdef01234567\"}} 1 1\n");
  EXPECT_EQ(record.getD()->toJson(), R"({"a": 1})");
}

TEST_F(Provider, ReplacesUnderTheGivenIdWhateverTheDocumentSays) {
  record.setD(newDocument(R"({"_id": "other", "a": 1})").release());
  provider.updateRecord(&record, someId);
  EXPECT_EQ(client.calls(),
            "update db things {\"_id\": {\"$oid\": \"0123456789abcdef01234567\"}} "
            "{\"_id\": {\"$oid\": \"0123456789abcdef01234567\"}, \"a\": 1} 1 1\n");
  EXPECT_EQ(record.getD()->toJson(), R"({"_id": "other", "a": 1})");
}

TEST_F(Provider, ReadsOneRecordByItsId) {
  client.answer({R"({"a": 1, "recordInfo": {}})"});
  provider.readRecord(&record, someId);
  EXPECT_EQ(client.calls(),
            "find db things {\"_id\": {\"$oid\": \"0123456789abcdef01234567\"}} {\"_id\": false} 1 0\n");
  EXPECT_EQ(record.getD()->toJson(), R"({"a": 1, "recordInfo": {}})");
}

TEST_F(Provider, DropsAnIdThatTheStoreSentAllTheSame) {
  client.answer({R"({"_id": "x", "a": 1})"});
  provider.readRecord(&record, someId);
  EXPECT_EQ(record.getD()->toJson(), R"({"a": 1})");
}

TEST_F(Provider, LeavesTheRecordWhenTheIdIsUnknown) {
  record.setD(newDocument(R"({"a": 1})").release());
  const ObjectProperties* before = record.getD();
  provider.readRecord(&record, someId);
  EXPECT_EQ(record.getD(), before);
  EXPECT_EQ(record.getD()->toJson(), R"({"a": 1})");
}

TEST_F(Provider, ThrowsOnANullRecordBeforeAnyCall) {
  const auto message = [&](auto&& call) -> std::string {
    try {
      call();
    } catch (const std::invalid_argument& failure) {
      return failure.what();
    }
    return "did not throw";
  };
  std::string id = "unchanged";
  EXPECT_EQ(message([&] { provider.writeRecord(nullptr, id); }), "Null pointer to database record.");
  EXPECT_EQ(message([&] { provider.updateRecord(nullptr, id); }), "Null pointer to database record.");
  EXPECT_EQ(message([&] { provider.readRecord(nullptr, id); }), "Null pointer to database record.");
  EXPECT_EQ(id, "unchanged");
  EXPECT_EQ(client.calls(), "");
}

TEST_F(Provider, ListsIdsInTheStoresOrderInPlaceOfWhatTheListHeld) {
  client.answer(
      {R"({"_id": {"$oid": "ffffffffffffffffffffffff"}})", R"({"_id": "foreign"})", "{}", R"({"_id": "foreign"})"});
  std::list<std::string> ids{"old"};
  provider.enumIds(ObjectProperties::fromJson(R"({"a": 1})"), ids, 7, 3);
  EXPECT_EQ(client.calls(), "find db things {\"a\": 1} {\"_id\": true} 7 3\n");
  EXPECT_EQ(ids, (std::list<std::string>{"ffffffffffffffffffffffff", "foreign", "", "foreign"}));
}

TEST_F(Provider, ListsNothingWhenNothingMatches) {
  std::list<std::string> ids{"old"};
  provider.enumIds(ObjectProperties(), ids, 0, 0);
  EXPECT_TRUE(ids.empty());
}

TEST_F(Provider, ReadsTheIdsThatAFilterSelects) {
  client.answer({R"({"_id": "x"})"});
  DatabaseFilter filter;
  filter.setCategory(OperationType::equal, "a", "b", "");
  std::list<std::string> ids{"old"};
  provider.read(filter, ids, 5, 2);
  EXPECT_EQ(client.calls(),
            "find db things {\"recordInfo.category\": {\"$elemMatch\": {\"name\": \"a\", \"value\": "
            "\"b\"}}} {\"_id\": true} 5 2\n");
  EXPECT_EQ(joined(ids), "x");
}

TEST_F(Provider, ReadsThroughItsOwnEnumIds) {
  class Derived : public DatabaseProvider {
   public:
    void enumIds(const ObjectProperties& query, std::list<std::string>& ids, const int& limit,
                 const int& skip) const override {
      ids.push_back(query.toJson() + std::to_string(limit) + std::to_string(skip));
    }
  } derived;
  std::list<std::string> ids;
  derived.read(DatabaseFilter(), ids, 4, 2);
  EXPECT_EQ(joined(ids), "{}42");
}

TEST_F(Provider, ReadsNoRecordsOfItsOwn) {
  std::map<std::string, DatabaseRecordInterface*> records{{"x", &record}};
  provider.read(DatabaseFilter(), records, 0, 0);
  EXPECT_EQ(records.size(), 1U);
  EXPECT_EQ(records.at("x"), &record);
  EXPECT_EQ(client.calls(), "");
}

TEST_F(Provider, RemovesWhatAFilterSelects) {
  DatabaseFilter filter;
  filter.setId(OperationType::equal, someId);
  provider.remove(filter);
  EXPECT_EQ(client.calls(), "remove db things {\"_id\": {\"$oid\": \"0123456789abcdef01234567\"}}\n");
}

TEST_F(Provider, TakesNewIdsFromTheClient) {
  EXPECT_EQ(provider.createId(), someId);
  EXPECT_EQ(client.calls(), "createId\n");
}

TEST_F(Provider, LowersAsciiLettersOnly) {
  EXPECT_EQ(provider.toLower("ABC-xyz_09 \xC3\x84!Z"), "abc-xyz_09 \xC3\x84!z");
  EXPECT_EQ(provider.toLower(""), "");
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  const std::string lowered = provider.toLower(all);
  ASSERT_EQ(lowered.size(), all.size());
  for (std::size_t i = 0; i < all.size(); ++i) {
    EXPECT_EQ(lowered[i], all[i] >= 'A' && all[i] <= 'Z' ? static_cast<char>(all[i] + 32) : all[i]) << i;
  }
}

TEST_F(Provider, NamesNothingBeforeItIsTold) {
  const DatabaseProvider unnamed;
  EXPECT_EQ(unnamed.databaseName + unnamed.collectionName, "");
  EXPECT_FALSE(unnamed.isConnected());
}

// Ownership of the client

TEST(ProviderOwnership, DisconnectsAndDestroysItsOwnClient) {
  const auto log = std::make_shared<std::string>();
  { const DatabaseProvider provider(std::make_unique<RecordingClient>(log)); }
  EXPECT_EQ(*log, "disconnect\ndestroyed\n");
}

TEST(ProviderOwnership, DestroysItsOwnClientWithoutDisconnectingWhenGivenAnother) {
  const auto log = std::make_shared<std::string>();
  RecordingClient borrowed;
  {
    DatabaseProvider provider(std::make_unique<RecordingClient>(log));
    provider.setDatabaseClient(&borrowed);
    EXPECT_EQ(*log, "destroyed\n");
  }
  EXPECT_EQ(*log, "destroyed\n");
  EXPECT_EQ(borrowed.calls(), "") << "left connected and alive";
}

TEST(ProviderOwnership, LetsNoFailureOutOfTheDestructor) {
  EXPECT_TRUE(std::is_nothrow_destructible_v<DatabaseProvider>);
}

TEST(ProviderOwnership, LeavesEveryClientThatItWasGiven) {
  RecordingClient first;
  RecordingClient second;
  {
    DatabaseProvider provider;
    provider.setDatabaseClient(&first);
    provider.setDatabaseClient(&second);
    provider.createId();
    provider.setDatabaseClient(nullptr);
  }
  EXPECT_EQ(first.calls(), "");
  EXPECT_EQ(second.calls(), "createId\n");
}

// A client that fails

TEST_F(Provider, PassesEveryFailureOfTheClientOn) {
  std::string id;
  std::list<std::string> ids;
  std::list<DatabaseProviderInterface::Description> names;
  std::map<std::string, int> statistics;
  const DatabaseFilter filter;
  int call = 0;
  const auto fails = [&](auto&& operation) {
    client.failOn(++call);
    EXPECT_THROW(operation(), database_client::Error) << call;
  };
  fails([&] { provider.connect("a", "h", 1, "u", "p"); });
  fails([&] { provider.isConnected(); });
  fails([&] { provider.disconnect(); });
  fails([&] { provider.writeRecord(&record, id); });
  fails([&] { provider.updateRecord(&record, id); });
  fails([&] { provider.readRecord(&record, id); });
  fails([&] { provider.read(filter, ids, 0, 0); });
  fails([&] { provider.remove(filter); });
  fails([&] { provider.enumDescriptionsNames(names); });
  fails([&] { provider.setCategoriesNames({}); });
  fails([&] { provider.enumCategoriesNames(ids); });
  fails([&] { provider.categoriesStatistics("x", statistics); });
  fails([&] { provider.createId(); });
}

// Under the address sanitizer these also show that what the client had handed over is freed.

TEST_F(Provider, KeepsTheRecordWhenReadingItFailsHalfWay) {
  record.setD(newDocument(R"({"a": 1})").release());
  client.answer({R"({"b": 2})"});
  client.failOn(1);
  EXPECT_THROW(provider.readRecord(&record, someId), database_client::Error);
  EXPECT_EQ(record.getD()->toJson(), R"({"a": 1})");
}

TEST_F(Provider, LeavesTheListOfIdsEmptyWhenListingFailsHalfWay) {
  client.answer({R"({"_id": "x"})", R"({"_id": "y"})"});
  client.failOn(1);
  std::list<std::string> ids{"old"};
  EXPECT_THROW(provider.enumIds(ObjectProperties(), ids, 0, 0), database_client::Error);
  EXPECT_TRUE(ids.empty());
}

}  // namespace
}  // namespace database_provider
