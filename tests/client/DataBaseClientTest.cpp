// SPDX-License-Identifier: Apache-2.0

// What a client says before any store is involved.
#include <gtest/gtest.h>

#include <functional>

#include "database_client/DataBaseClient.h"

namespace database_client {
namespace {

std::string outcome(const std::function<void()>& call) {
  try {
    call();
  } catch (const Error& error) {
    return std::string(toString(error.kind())) + " " + error.where();
  }
  return "done";
}

TEST(UnconnectedClient, EveryOperationThrowsThatItIsNotConnected) {
  DataBaseClient client;
  const ObjectProperties none;
  std::string id;
  std::list<ObjectProperties*> documents;
  std::vector<std::string> ids;
  const std::function<void()> calls[] = {
      [&] { client.insert("d", "c", &none, id); },
      [&] { client.update("d", "c", none, none, 1, 1); },
      [&] { client.find("d", "c", none, none, documents, 0, 0); },
      [&] { client.aggregate("d", "c", none, documents); },
      [&] { client.remove("d", "c", none); },
      [&] { client.updateCounted("d", "c", none, none, 1, 1); },
      [&] { client.removeCounted("d", "c", none); },
      [&] { client.findEach("d", "c", none, {}, [](ObjectProperties&) { return true; }); },
      [&] { client.keepsInsertionOrder(); },
      [&] { client.createUser("d", "u", "p", none, none); },
      [&] { client.modifyUser("d", "u", none, none); },
      [&] { client.changePassword("d", "u", "p"); },
      [&] { client.dropUser("d", "u"); },
      [&] { client.insertMany("d", "c", {&none}, ids); },
      [&] { client.count("d", "c", none); },
      [&] { client.explain("d", "c", none); },
      [&] { client.databaseNames(); },
      [&] { client.collectionNames("d"); },
      [&] { client.setUpDeployment({}); },
      [&] { client.beginTransaction(); },
      [&] { client.check(); },
      [&] { client.compact(); },
      [&] { client.backup("x"); },
  };
  for (const auto& call : calls) EXPECT_EQ(outcome(call), "connection ");
  EXPECT_TRUE(documents.empty());
  EXPECT_FALSE(client.isConnected());
  EXPECT_TRUE(client.disconnect());
}

TEST(UnconnectedClient, MakesIdsThatDiffer) {
  DataBaseClient client;
  const std::string id = client.createId();
  EXPECT_EQ(id.size(), 24U);
  EXPECT_EQ(id.find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_NE(id, client.createId());
}

TEST(Connect, NamedUserWithoutAPasswordIsRefusedAndTheReasonKept) {
  DataBaseClient client;
  EXPECT_FALSE(client.connect("admin", "file::memory:", 0, "someone", ""));
  EXPECT_NE(client.failure().find("someone"), std::string::npos);
  std::list<ObjectProperties*> documents;
  EXPECT_EQ(outcome([&] { client.find("d", "c", {}, {}, documents, 0, 0); }), "authentication password");
}

TEST(Connect, WhateverRefusedItTheOperationsSayThatThereIsNoConnection) {
  DataBaseClient client;
  EXPECT_FALSE(client.connect("admin", "file:/dev/null", 0, "", ""));
  std::list<ObjectProperties*> documents;
  EXPECT_EQ(outcome([&] { client.find("d", "c", {}, {}, documents, 0, 0); }), "connection /dev/null");
}

TEST(Connect, ArgumentsThatAreNoTextThrowAtOnce) {
  DataBaseClient client;
  const std::string withNul("a\0b", 3);
  EXPECT_EQ(outcome([&] { client.connect("admin", withNul, 1, "", ""); }), "query host");
  EXPECT_EQ(outcome([&] { client.connect("admin", "file::memory:", 1, "\xff", "x"); }), "query user");
  EXPECT_EQ(outcome([&] { client.connect("admin", "file::memory:", 1, "u", withNul); }), "query password");
}

class OpenClient : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(client.connect("admin", "file::memory:", 0, "", "")) << client.failure(); }

  std::string insertInto(const std::string& database, const std::string& collection) {
    std::string id;
    const ObjectProperties none;
    return outcome([&] { client.insert(database, collection, &none, id); });
  }
  std::string update(const std::string& document, int flags, int operation) {
    return outcome(
        [&] { client.update("d", "c", ObjectProperties(), ObjectProperties::fromJson(document), flags, operation); });
  }
  std::string findInOrder(const std::string& sort, const std::string& after = "") {
    FindOptions options;
    options.sort = ObjectProperties::fromJson(sort);
    options.after = after;
    return outcome([&] { client.findEach("d", "c", {}, options, [](ObjectProperties&) { return true; }); });
  }
  std::string insert(const std::string& json) {
    const auto document = ObjectProperties::fromJson(json);
    std::string id;
    return outcome([&] { client.insert("d", "c", &document, id); });
  }
  std::string aggregate(const std::string& json) {
    std::list<ObjectProperties*> documents;
    return outcome([&] { client.aggregate("d", "c", ObjectProperties::fromJson(json), documents); });
  }

  DataBaseClient client;
};

TEST_F(OpenClient, NamesThatNoStoreAcceptsAreRefusedByArgument) {
  for (const std::string name : {"", "a.b", "a b", "a/b", "a\\b", "a\"b", "a$b"}) {
    EXPECT_EQ(insertInto(name, "c"), "query database") << name;
  }
  EXPECT_EQ(insertInto(std::string(64, 'a'), "c"), "query database");
  EXPECT_EQ(insertInto(std::string("a\0", 2), "c"), "query database");
  EXPECT_EQ(insertInto("\xff", "c"), "query database");
  for (const std::string name : {"", "a$b", ".a", "a."}) EXPECT_EQ(insertInto("d", name), "query collection") << name;
  EXPECT_EQ(insertInto("d", std::string(254, 'c')), "query collection");
  EXPECT_EQ(insertInto("d", std::string("a\0", 2)), "query collection");
  EXPECT_EQ(insertInto("d", "collection.with dots and blanks"), "done");
}

TEST_F(OpenClient, UpdateTakesOnlyTheFlagsAndOperationsItKnows) {
  EXPECT_EQ(update("{}", 2, 1), "query flags");
  EXPECT_EQ(update("{}", -1, 1), "query flags");
  EXPECT_EQ(update("{}", 1, 2), "query operation");
  EXPECT_EQ(update(R"({"$set": {"a": 1}})", 1, 1), "document $set");
}

TEST_F(OpenClient, ALimitOfOneFindsOneOfMany) {
  for (const char* document : {R"({"a": 1})", R"({"a": 1})", R"({"a": 1})"}) EXPECT_EQ(insert(document), "done");
  std::list<ObjectProperties*> documents;
  client.find("d", "c", ObjectProperties::fromJson(R"({"a": 1})"), {}, documents, 1, 0);
  EXPECT_EQ(documents.size(), 1U);
  for (const ObjectProperties* document : documents) delete document;
}

TEST_F(OpenClient, NegativePagesAreRefused) {
  std::list<ObjectProperties*> documents;
  EXPECT_EQ(outcome([&] { client.find("d", "c", {}, {}, documents, -1, 0); }), "query limit");
  EXPECT_EQ(outcome([&] { client.find("d", "c", {}, {}, documents, 0, -1); }), "query skip");
}

TEST_F(OpenClient, SortsTakeOneOrMinusOneUnderPaths) {
  for (const char* sort : {"{}", R"({"a": 1})", R"({"a.b": -1, "c": 1.0})", R"({"a": {"$numberLong": "-1"}})"}) {
    EXPECT_EQ(findInOrder(sort), "done") << sort;
  }
  for (const char* direction : {"2", "0", "-2147483648", "1.5", "true", "\"1\"", "null", R"({"$meta": "textScore"})",
                                R"({"$numberLong": "4294967297"})", R"({"$numberDouble": "NaN"})"}) {
    EXPECT_EQ(findInOrder(std::string(R"({"b": 1, "a": )") + direction + "}"), "query a") << direction;
  }
  for (const char* path : {"a.", ".a", "a..b", "$a", "a.$b"}) {
    EXPECT_EQ(findInOrder(std::string("{\"") + path + "\": 1}"), std::string("query ") + path);
  }
  EXPECT_EQ(findInOrder(R"({"": 1})"), "query ");
}

TEST_F(OpenClient, PagesBehindARecordTakeTheOrderOfIds) {
  EXPECT_EQ(insert(R"({"_id": "x"})"), "done");
  for (const char* sort : {"{}", R"({"_id": 1})", R"({"_id": -1})"}) EXPECT_EQ(findInOrder(sort, "x"), "done") << sort;
  EXPECT_EQ(findInOrder(R"({"a": 1})", "x"), "query after");
  EXPECT_EQ(findInOrder(R"({"a": 2})", "x"), "query a");
  EXPECT_EQ(findInOrder(R"({"_id": 1, "a": 1})", "x"), "query after");
  EXPECT_EQ(findInOrder("{}", "\xff"), "query after");
  EXPECT_EQ(findInOrder("{}", "y"), "query after");
  EXPECT_EQ(findInOrder(R"({"_id": 1})", "y"), "done");
}

TEST_F(OpenClient, IdsThatAStoreCannotKeepAreRefused) {
  EXPECT_EQ(insert(R"({"_id": [1]})"), "document _id");
  EXPECT_EQ(insert(R"({"_id": {"$regularExpression": {"pattern": "a", "options": ""}}})"), "document _id");
  EXPECT_EQ(insert(R"({"_id": 1, "a": 1, "_id": 2})"), "document _id");
  EXPECT_EQ(insert(R"({"a": 1, "_id": 7})"), "done");
}

TEST_F(OpenClient, PipelineStandsInItsArray) {
  EXPECT_EQ(aggregate("{}"), "query pipeline");
  EXPECT_EQ(aggregate(R"({"pipeline": 1})"), "query pipeline");
  EXPECT_EQ(aggregate(R"({"pipeline": [], "other": 1})"), "query other");
  EXPECT_EQ(aggregate(R"({"pipeline": []})"), "done");
}

TEST_F(OpenClient, RolesAreGroupsOfRoleAndDatabase) {
  const auto create = [&](const std::string& roles) {
    return outcome([&] { client.createUser("d", "u", "p", ObjectProperties::fromJson(roles), {}); });
  };
  EXPECT_EQ(create(R"({"0": 1})"), "query roles.0");
  EXPECT_EQ(create(R"({"0": {"role": "read"}})"), "query roles.0.db");
  EXPECT_EQ(outcome([&] { client.createUser("d", "", "p", {}, {}); }), "query user");
}

TEST_F(OpenClient, BulkInsertReportsWhatDidNotGoIn) {
  const auto first = ObjectProperties::fromJson(R"({"_id": "a"})");
  const auto bad = ObjectProperties::fromJson(R"({"_id": [1]})");
  const auto last = ObjectProperties::fromJson(R"({"_id": "b"})");
  std::vector<std::string> ids{"before"};
  const auto failures = client.insertMany("d", "c", {&first, &bad, nullptr, &first, &last}, ids);
  std::string failed;
  for (const BulkFailure& failure : failures) {
    failed += std::to_string(failure.index) + ":" + toString(failure.error.kind()) + " ";
  }
  EXPECT_EQ(failed, "1:document 2:query 3:duplicateKey ");
  EXPECT_EQ(ids, (std::vector<std::string>{"before", "a", "", "", "", "b"}));
  EXPECT_EQ(client.count("d", "c", {}), 2);
}

TEST_F(OpenClient, TransactionThatIsNotCommittedIsUndone) {
  {
    const Transaction transaction(client);
    EXPECT_EQ(insert("{}"), "done");
  }
  EXPECT_EQ(client.count("d", "c", {}), 0);
  Transaction transaction(client);
  EXPECT_EQ(insert("{}"), "done");
  transaction.commit();
  transaction.commit();
  EXPECT_EQ(client.count("d", "c", {}), 1);
}

}  // namespace
}  // namespace database_client
