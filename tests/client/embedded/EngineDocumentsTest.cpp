// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "client/embedded/sqlite/Connection.h"
#include "tests/client/embedded/support/EngineFixture.h"

namespace database_client {
namespace {

class EmbeddedDocuments : public ::testing::Test {
 protected:
  /// The ids found, with a space behind each.
  std::string ids(const std::string& query, int limit = 0, int skip = 0) {
    std::string found;
    const auto condition = ObjectProperties::fromJson(query);
    client.engine->find(client.where(), {condition, {}, limit, skip}, [&found](ObjectProperties&& document) {
      found += std::to_string(document.valueAsInt32("_id", -1)) + " ";
      return true;
    });
    return found;
  }
  void insertNumbers(int count) {
    for (int i = 1; i <= count; ++i) client.insert("{\"_id\": " + std::to_string(i) + R"(, "n": 0})");
  }

  Client client{":memory:"};
};

TEST_F(EmbeddedDocuments, ComeBackInTheOrderInWhichTheyWentIn) {
  for (const char* id : {"3", "1", "2"}) client.insert(std::string("{\"_id\": ") + id + "}");
  EXPECT_EQ(ids("{}"), "3 1 2 ");
}

TEST_F(EmbeddedDocuments, KeepTheirPlaceWhenTheyAreChanged) {
  insertNumbers(3);
  client.update(R"({"_id": 1})", R"({"text": "much longer than it was before"})", UpdateKind::replaceFirst);
  client.update(R"({"_id": 2})", R"({"n": 5})", UpdateKind::setInAll);
  EXPECT_EQ(ids("{}"), "1 2 3 ");
}

TEST_F(EmbeddedDocuments, AreKeptWithEveryKindOfValue) {
  const std::string document =
      R"({ "_id" : 1, "d" : 1.5, "s" : "ü", "o" : { "a" : [ 1, { "$numberLong" : "5" } ] }, "b" : true, "n" : null })";
  ObjectProperties whole = ObjectProperties::fromJson(document);
  client.engine->insert(client.where(), whole);
  std::vector<std::uint8_t> found;
  client.engine->find(client.where(), {{}, {}, 0, 0}, [&found](ObjectProperties&& stored) {
    found = stored.toBson();
    return true;
  });
  EXPECT_EQ(found, whole.toBson());
}

TEST_F(EmbeddedDocuments, ArePagedWithoutGaps) {
  insertNumbers(7);
  EXPECT_EQ(ids("{}", 3, 0) + "| " + ids("{}", 3, 3) + "| " + ids("{}", 3, 6) + "| " + ids("{}", 3, 9),
            "1 2 3 | 4 5 6 | 7 | ");
  EXPECT_EQ(ids(R"({"_id": {"$gt": 2}})", 2, 1), "4 5 ");
}

TEST_F(EmbeddedDocuments, AreNotPagedByNegativeNumbers) {
  EXPECT_EQ(client.find("{}", "{}", -1, 0), "query 51024");
  EXPECT_EQ(client.find("{}", "{}", 0, -1), "query 51024");
}

TEST_F(EmbeddedDocuments, AreFoundByIdWithoutReadingOthers) {
  insertNumbers(5);
  EXPECT_EQ(client.explain(R"({"_id": 3})"), R"({"index": "_id", "examined": 1, "returned": 1})");
  EXPECT_EQ(client.explain(R"({"_id": {"$in": [9, 4, 2, 4]}})"), R"({"index": "_id", "examined": 2, "returned": 2})");
  EXPECT_EQ(client.explain(R"({"$and": [{"n": 1}, {"_id": {"$eq": 3}}]})"),
            R"({"index": "_id", "examined": 1, "returned": 0})");
  EXPECT_EQ(client.explain(R"({"n": 1})"), R"({"index": "", "examined": 5, "returned": 0})");
}

TEST_F(EmbeddedDocuments, AReferenceAsAnIdIsLookedUp) {
  const std::string byId = R"({"_id": {"$ref": "c", "$id": 1}})";
  client.insert(byId);
  client.insert(R"({"_id": {"$ref": "c", "$id": 2}})");
  EXPECT_EQ(client.find(byId), R"({"_id": {"$ref": "c", "$id": 1}})");
  EXPECT_EQ(client.explain(byId), R"({"index": "_id", "examined": 1, "returned": 1})");
  EXPECT_EQ(client.explain(R"({"n": null, "_id": {"$ref": "c", "$id": 1}})"),
            R"({"index": "_id", "examined": 1, "returned": 1})");
  EXPECT_EQ(client.explain(R"({"_id": {"$in": [{"$ref": "c", "$id": 1}, {"$ref": "c", "$id": 2}]}})"),
            R"({"index": "_id", "examined": 2, "returned": 2})");
}

TEST_F(EmbeddedDocuments, AReferenceIsPutIntoWhatAnUpsertMakes) {
  const std::string selector = R"({"_id": {"$ref": "c", "$id": 1}, "n": {"$ref": "c", "$id": 2}})";
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(client.update(selector, R"({"z": 9})", UpdateKind::setInAll, true), "ok");
    EXPECT_EQ(client.all(), R"({"_id": {"$ref": "c", "$id": 1}, "n": {"$ref": "c", "$id": 2}, "z": 9})");
  }
  EXPECT_EQ(client.update(R"({"_id": {"$ref": "c", "$id": 3}})", R"({"z": 7})", UpdateKind::replaceFirst, true), "ok");
  EXPECT_EQ(client.find(R"({"z": 7})"), R"({"_id": {"$ref": "c", "$id": 3}, "z": 7})");
}

TEST_F(EmbeddedDocuments, WithSeveralIdsComeInTheOfInsertionOrder) {
  insertNumbers(5);
  EXPECT_EQ(ids(R"({"_id": {"$in": [4, 2, 4, 9]}})"), "2 4 ");
}

TEST_F(EmbeddedDocuments, AreFoundByAnIdOfAnotherNumberKind) {
  insertNumbers(2);
  EXPECT_EQ(ids(R"({"_id": 2.0})") + ids(R"({"_id": {"$numberLong": "1"}})"), "2 1 ");
}

TEST_F(EmbeddedDocuments, AreNotFoundByAPatternAsId) {
  client.insert(R"({"_id": "abc"})");
  EXPECT_EQ(client.count(R"({"_id": {"$regularExpression": {"pattern": "b", "options": ""}}})"), "1");
  EXPECT_EQ(client.count(R"({"_id": {"$in": [{"$regularExpression": {"pattern": "x", "options": ""}}]}})"), "0");
}

TEST_F(EmbeddedDocuments, WithAnIdThatIsTakenAreRefusedWithTheTextOfAServer) {
  client.insert(R"({"_id": {"$oid": "0123456789abcdef01234567"}})");
  try {
    client.engine->insert(client.where(),
                          ObjectProperties::fromJson(R"({"_id": {"$oid": "0123456789abcdef01234567"}})"));
    FAIL() << "the id is taken";
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), Error::Kind::duplicateKey);
    EXPECT_EQ(error.code(), 11000);
    EXPECT_EQ(std::string(error.what()),
              "E11000 duplicate key error collection: test.things index: _id_ dup key: { _id: "
              "ObjectId('0123456789abcdef01234567') }");
  }
}

TEST_F(EmbeddedDocuments, WithEqualIdsOfDifferentKindsAreDuplicates) {
  EXPECT_EQ(client.insert(R"({"_id": 1})"), "ok");
  EXPECT_EQ(client.insert(R"({"_id": 1.0})"), "duplicateKey 11000");
  EXPECT_EQ(client.insert(R"({"_id": {"$numberLong": "1"}})"), "duplicateKey 11000");
  EXPECT_EQ(client.insert(R"({"_id": 0.0})"), "ok");
  EXPECT_EQ(client.insert(R"({"_id": -0.0})"), "duplicateKey 11000");
  EXPECT_EQ(client.insert(R"({"_id": "1"})"), "ok");
}

TEST_F(EmbeddedDocuments, WithAnIdThatCannotBeOneAreRefused) {
  EXPECT_EQ(client.insert(R"({"_id": [1]})"), "document 2");
  EXPECT_EQ(client.insert(R"({"_id": {"$regularExpression": {"pattern": "b", "options": ""}}})"), "document 2");
  EXPECT_EQ(client.insert(R"({"_id": {"$undefined": true}})"), "document 2");
  EXPECT_EQ(client.insert(R"({"a": 1})"), "document 2");
  EXPECT_EQ(client.insert(R"({"_id": null})"), "ok");
}

TEST_F(EmbeddedDocuments, InsertedTogetherGoInButForThoseThatAreRefused) {
  insertNumbers(1);
  std::vector<ObjectProperties> documents;
  for (const char* id : {"2", "1", "3", "2"}) {
    documents.push_back(ObjectProperties::fromJson(std::string("{\"_id\": ") + id + "}"));
  }
  std::string failures;
  for (const BulkFailure& failure : client.engine->insertMany(client.where(), documents)) {
    failures += std::to_string(failure.index) + ":" + std::to_string(failure.error.code()) + " ";
  }
  EXPECT_EQ(failures, "1:11000 3:11000 ");
  EXPECT_EQ(ids("{}"), "1 2 3 ");
}

TEST_F(EmbeddedDocuments, InsertedAsAnEmptyListMakeNoCollection) {
  EXPECT_TRUE(client.engine->insertMany(client.where(), {}).empty());
  EXPECT_TRUE(client.engine->collectionNames("test").empty());
}

TEST_F(EmbeddedDocuments, AreReplacedOneAtATime) {
  insertNumbers(2);
  EXPECT_EQ(client.update(R"({"n": 0})", R"({"m": 1})", UpdateKind::replaceFirst), "ok");
  EXPECT_EQ(client.all(), R"({"_id": 1, "m": 1}{"_id": 2, "n": 0})");
}

TEST_F(EmbeddedDocuments, AreSetAllTogetherAndOnlyOnce) {
  insertNumbers(3);
  EXPECT_EQ(client.update(R"({"_id": {"$gt": 1}})", R"({"n": 7})", UpdateKind::setInAll), "ok");
  EXPECT_EQ(client.all(), R"({"_id": 1, "n": 0}{"_id": 2, "n": 7}{"_id": 3, "n": 7})");
}

TEST_F(EmbeddedDocuments, GetGroupsAppended) {
  client.insert(R"({"_id": 1, "list": [{"a": 1}]})");
  EXPECT_EQ(client.update("{}", R"({"list": {"a": 2}})", UpdateKind::appendToArrayInAll), "ok");
  EXPECT_EQ(client.all(), R"({"_id": 1, "list": [{"a": 1}, {"a": 2}]})");
}

TEST_F(EmbeddedDocuments, StayAsTheyWereWhenOneOfManyCannotBeChanged) {
  client.insert(R"({"_id": 1, "a": []})");
  client.insert(R"({"_id": 2, "a": 5})");
  EXPECT_EQ(client.update("{}", R"({"a": 1})", UpdateKind::appendToArrayInAll), "query 2");
  EXPECT_EQ(client.all(), R"({"_id": 1, "a": []}{"_id": 2, "a": 5})");
}

TEST_F(EmbeddedDocuments, AreMadeByAnUpdateOnlyWhereItSaysSo) {
  EXPECT_EQ(client.update(R"({"_id": 1})", R"({"a": 1})", UpdateKind::replaceFirst, false), "ok");
  EXPECT_EQ(client.all(), "");
  EXPECT_EQ(client.update(R"({"_id": 1})", R"({"a": 1})", UpdateKind::replaceFirst, true), "ok");
  EXPECT_EQ(client.update(R"({"_id": 2, "b": 5})", R"({"a": 1})", UpdateKind::setInAll, true), "ok");
  EXPECT_EQ(client.all(), R"({"_id": 1, "a": 1}{"_id": 2, "b": 5, "a": 1})");
}

TEST_F(EmbeddedDocuments, MadeByAnUpdateGetANewIdWhereNoneIsGiven) {
  EXPECT_EQ(client.update(R"({"b": 5})", R"({"a": 1})", UpdateKind::setInAll, true), "ok");
  EXPECT_EQ(client.count(R"({"_id": {"$type": "objectId"}, "a": 1, "b": 5})"), "1");
}

TEST_F(EmbeddedDocuments, CannotGetAnotherId) {
  insertNumbers(2);
  EXPECT_EQ(client.update(R"({"_id": 1})", R"({"_id": 3})", UpdateKind::replaceFirst), "query 66");
  EXPECT_EQ(client.update(R"({"_id": 1})", R"({"_id": 3})", UpdateKind::setInAll), "query 66");
  EXPECT_EQ(ids("{}"), "1 2 ");
}

TEST_F(EmbeddedDocuments, MadeByAnUpdateUnderATakenIdAreRefused) {
  insertNumbers(1);
  EXPECT_EQ(client.update(R"({"_id": 1, "n": 9})", R"({"a": 1})", UpdateKind::replaceFirst, true),
            "duplicateKey 11000");
  EXPECT_EQ(client.all(), R"({"_id": 1, "n": 0})");
}

TEST_F(EmbeddedDocuments, AreRemovedWhereTheyMatch) {
  insertNumbers(4);
  EXPECT_EQ(client.remove(R"({"_id": {"$in": [1, 3]}})"), "ok");
  EXPECT_EQ(ids("{}"), "2 4 ");
  EXPECT_EQ(client.remove("{}"), "ok");
  EXPECT_EQ(ids("{}"), "");
}

TEST_F(EmbeddedDocuments, AreRemovedWithoutErrorWhereNoneMatchesOrThereIsNoCollection) {
  EXPECT_EQ(client.remove(R"({"_id": 1})"), "ok");
  insertNumbers(1);
  EXPECT_EQ(client.remove(R"({"_id": 2})"), "ok");
  EXPECT_EQ(ids("{}"), "1 ");
}

TEST_F(EmbeddedDocuments, AreLookedForWithAQueryThatIsCheckedEvenWithoutACollection) {
  EXPECT_EQ(client.find(R"({"a": {"$foo": 1}})"), "query 2");
  EXPECT_EQ(client.count(R"({"a": {"$foo": 1}})"), "query 2");
  EXPECT_EQ(client.remove(R"({"a": {"$foo": 1}})"), "query 2");
  EXPECT_EQ(client.find(R"({"$where": "1"})").substr(0, 11), "unsupported");
}

TEST_F(EmbeddedDocuments, AreCounted) {
  EXPECT_EQ(client.count("{}"), "0");
  insertNumbers(4);
  EXPECT_EQ(client.count("{}") + client.count(R"({"_id": {"$gt": 1}})") + client.count(R"({"_id": 2})"), "431");
}

TEST_F(EmbeddedDocuments, AreProjected) {
  client.insert(R"({"_id": 1, "a": 2, "b": 3})");
  EXPECT_EQ(client.find("{}", R"({"a": true})"), R"({"_id": 1, "a": 2})");
  EXPECT_EQ(client.find("{}", R"({"a": false})"), R"({"_id": 1, "b": 3})");
  EXPECT_EQ(client.find("{}", R"({"a": true, "b": false})"), "query 31254");
}

TEST_F(EmbeddedDocuments, LieInCollectionsThatDoNotMix) {
  insertNumbers(1);
  client.collection = "others";
  client.insert(R"({"_id": 2})");
  EXPECT_EQ(ids("{}"), "2 ");
  client.database = "elsewhere";
  client.collection = "things";
  EXPECT_EQ(ids("{}"), "");
}

TEST_F(EmbeddedDocuments, LieUnderNamesThatMeanNothingToTheFile) {
  client.database = "x'; DROP TABLE collections; --";
  client.collection = "sqlite_schema\" \xc3\xbc";
  EXPECT_EQ(client.insert(R"({"_id": 1})"), "ok");
  EXPECT_EQ(ids("{}"), "1 ");
  EXPECT_EQ(client.engine->collectionNames(client.database), std::list<std::string>{client.collection});
}

TEST_F(EmbeddedDocuments, AreListedByDatabaseAndCollection) {
  EXPECT_EQ(client.engine->databaseNames(), std::list<std::string>{"admin"});
  insertNumbers(1);
  client.collection = "another";
  insertNumbers(1);
  EXPECT_EQ(client.engine->databaseNames(), (std::list<std::string>{"admin", "test"}));
  EXPECT_EQ(client.engine->collectionNames("test"), (std::list<std::string>{"another", "things"}));
  EXPECT_TRUE(client.engine->collectionNames("none").empty());
}

TEST_F(EmbeddedDocuments, OfAnEmptiedCollectionLeaveItsName) {
  insertNumbers(1);
  client.remove("{}");
  EXPECT_EQ(client.engine->collectionNames("test"), std::list<std::string>{"things"});
}

TEST_F(EmbeddedDocuments, StopComingWhenTheReceiverHasEnough) {
  insertNumbers(5);
  int received = 0;
  client.engine->find(client.where(), {{}, {}, 0, 0}, [&received](ObjectProperties&&) { return ++received < 2; });
  EXPECT_EQ(received, 2);
}

TEST_F(EmbeddedDocuments, ThatStayAsTheyAreAreNotWritten) {
  insertNumbers(3);
  client.engine->beginTransaction();
  const auto change = [this](const char* selector, const char* document, UpdateKind kind) {
    const UpdateResult result = client.engine->update(client.where(), ObjectProperties::fromJson(selector),
                                                      ObjectProperties::fromJson(document), kind, true);
    return std::to_string(result.matched) + std::to_string(result.modified) + std::to_string(result.inserted);
  };
  EXPECT_EQ(change("{}", R"({"n": 0})", UpdateKind::setInAll), "300");
  EXPECT_EQ(change(R"({"_id": 2})", R"({"n": 0})", UpdateKind::replaceFirst), "100");
  EXPECT_EQ(change(R"({"_id": 2})", R"({"n": 1})", UpdateKind::setInAll), "110");
  EXPECT_EQ(change("{}", R"({"n": 1})", UpdateKind::setInAll), "320");
  EXPECT_EQ(change(R"({"_id": 4})", R"({"n": 1})", UpdateKind::setInAll), "001");
  client.engine->commitTransaction();
  EXPECT_EQ(client.count(R"({"n": 1})"), "4");
}

// Order and pages. The documents have the ids 1, 2, …, and lie in this order.

TEST_F(EmbeddedDocuments, OfEqualKeysStayInInsertionOrder) {
  for (const char* document : {R"({"_id": 3, "n": 1})", R"({"_id": 1, "n": 0})", R"({"_id": 2, "n": 1})"}) {
    client.insert(document);
  }
  EXPECT_EQ(client.ids("{}", R"({"n": 1})"), "1 3 2 ");
  EXPECT_EQ(client.ids("{}", R"({"n": -1})"), "3 2 1 ");
  EXPECT_EQ(client.ids("{}", R"({"n": -1})", "", 1), "3 ");
}

TEST_F(EmbeddedDocuments, BeyondWhatASortMayHoldAreRefusedUnlessALimitLeavesFew) {
  const std::string text(6'000'000, 'x');
  for (int id = 1; id <= 18; ++id) {
    client.insert("{\"_id\": " + std::to_string(id) + ", \"n\": " + std::to_string(-id) + ", \"t\": \"" + text + "\"}");
  }
  EXPECT_EQ(client.ids("{}", R"({"n": 1})"), "query 292");
  EXPECT_EQ(client.ids("{}", R"({"n": 1})", "", 2), "18 17 ");
  EXPECT_EQ(client.ids("{}", R"({"_id": -1})", R"({"_id": 16})").substr(0, 9), "15 14 13 ");
}

TEST_F(EmbeddedDocuments, OnEveryAccessPathBeginBehindTheOneThatIsNamed) {
  for (int i = 1; i <= 9; ++i) {
    client.insert("{\"_id\": " + std::to_string(i) + R"(, "n": 0, "items": [{"name": "parity", "value": )" +
                  std::to_string(i % 2) + "}]}");
  }
  const std::string odd = R"({"items": {"$elemMatch": {"name": "parity", "value": 1}}})";
  ASSERT_EQ(client.explain(odd), R"x({"index": "items(items)", "examined": 5, "returned": 5})x");
  EXPECT_EQ(client.ids(odd, "", R"({"_id": 3})"), "5 7 9 ");
  EXPECT_EQ(client.ids(odd, "", R"({"_id": 4})", 1, 1), "7 ");
  EXPECT_EQ(client.ids("{}", "", R"({"_id": 6})"), "7 8 9 ");
  EXPECT_EQ(client.ids(R"({"n": 0})", "", R"({"_id": 7.0})"), "8 9 ");
  EXPECT_EQ(client.ids(R"({"_id": {"$in": [8, 2, 5]}})", "", R"({"_id": 2})"), "5 8 ");
  EXPECT_EQ(client.ids(R"({"_id": 5})", "", R"({"_id": 5})"), "");
  EXPECT_EQ(client.ids(R"({"_id": 5})", "", R"({"_id": 4})"), "5 ");
  EXPECT_EQ(client.ids(R"({"_id": {"$eq": 5}})", "", R"({"_id": 6})"), "");
  EXPECT_EQ(client.ids("{}", "", R"({"_id": 9})"), "");
  EXPECT_EQ(client.ids(odd, R"({"_id": -1})", R"({"_id": 6})"), "5 3 1 ");
}

TEST_F(EmbeddedDocuments, BehindOneThatIsGoneAreFoundByTheNeighboursOfItsObjectId) {
  const auto id = [](int number) {
    return R"({"_id": {"$oid": "00000000000000000000000)" + std::to_string(number) + "\"}}";
  };
  const auto behind = [&](int number) {
    std::string found = client.ids("{}", "", id(number));
    for (int one = 0; one < 10; ++one) {
      const std::string text = R"({"$oid": "00000000000000000000000)" + std::to_string(one) + "\"}";
      for (std::size_t at = found.find(text); at != std::string::npos; at = found.find(text)) {
        found.replace(at, text.size(), std::to_string(one));
      }
    }
    return found;
  };
  EXPECT_EQ(behind(5), "");
  for (const int number : {2, 4, 3, 6, 8}) client.insert(id(number));
  EXPECT_EQ(behind(4), "3 6 8 ");
  EXPECT_EQ(behind(7), "8 ");
  EXPECT_EQ(behind(1), "2 4 3 6 8 ");
  EXPECT_EQ(behind(9), "");
  // Between 4 and 6 there is 3, so that nothing tells where 5 stood.
  EXPECT_EQ(behind(5), "query 0");
  client.remove(id(3));
  EXPECT_EQ(behind(5), "6 8 ");
  EXPECT_EQ(behind(3), "4 6 8 ");
  client.insert(R"({"_id": "text"})");
  EXPECT_EQ(behind(9), "query 0");
  EXPECT_EQ(client.ids("{}", "", R"({"_id": "other"})"), "query 0");
  EXPECT_EQ(client.ids("{}", "", R"({"_id": 7})"), "query 0");
}

/// Documents of which nothing but the "_id" is asked for.
class EmbeddedIds : public ::testing::Test {
 protected:
  static std::string documentOf(const std::string& id) {
    return "{\"_id\": " + id + R"(, "items": [{"name": "colour", "value": "red"}], "text": "mark"})";
  }
  static std::string objectId(int number) {
    return R"({"$oid": "00000000000000000000000)" + std::to_string(number) + "\"}";
  }
  static std::string idAlone(int number) { return "{\"_id\": " + objectId(number) + "}"; }
  void damage(int rid) const {
    embedded::sqlite::Connection::openFile(path, 0).execute(
        "UPDATE documents_2 SET body = replace(body, CAST('mark' AS BLOB), CAST('MARK' AS BLOB)) WHERE rid = " +
        std::to_string(rid));
  }

  const std::string red = R"({"items": {"$elemMatch": {"name": "colour", "value": "red"}}})";
  TemporaryFolder folder{};
  std::string path = folder / "store";
};

TEST_F(EmbeddedIds, AreGivenWithoutReadingTheDocumentsThatAnIndexFinds) {
  {
    Client client(path);
    for (int i = 1; i <= 3; ++i) client.insert(documentOf(objectId(i)));
    // So many that the index is worth it, and these in it.
    for (int i = 0; i < 20; ++i) client.insert("{\"_id\": " + std::to_string(i) + "}");
    client.engine->compact();
  }
  damage(2);
  Client client(path);
  ASSERT_EQ(client.count(red), "3");
  const std::string all = idAlone(1) + idAlone(2) + idAlone(3);
  for (const char* projection : {R"({"_id": true})", R"({"_id": 1})", R"({"_id": 1.5})"}) {
    EXPECT_EQ(client.find(red, projection), all) << projection;
  }
  EXPECT_EQ(client.find(red, R"({"_id": true})", 1, 1), idAlone(2));
  EXPECT_EQ(client.find(red, R"({"_id": true, "text": true})"), "storage 0");
  EXPECT_EQ(client.find(red, R"({"_id": false})"), "storage 0");
  // Here the document has to be looked at.
  const std::string redAndMore = R"({"items": {"$elemMatch": {"name": "colour", "value": "red"}}, "other": null})";
  EXPECT_EQ(client.find(redAndMore, R"({"_id": true})"), "storage 0");
  // Whoever wants to know of damage is told.
  int unreadable = 0;
  client.engine->setUnreadableHandler([&](const ObjectProperties&, const Error&) { return ++unreadable > 0; });
  EXPECT_EQ(client.find(red, R"({"_id": true})"), idAlone(1) + idAlone(3));
  EXPECT_EQ(unreadable, 1);
}

TEST_F(EmbeddedIds, InTheirOrderAreGivenWithoutReadingTheDocuments) {
  {
    Client client(path);
    for (const int i : {2, 1, 3}) client.insert(documentOf(objectId(i)));
  }
  damage(2);
  Client client(path);
  const auto projection = ObjectProperties::fromJson(R"({"_id": true})");
  const auto sort = ObjectProperties::fromJson(R"({"_id": -1})");
  const ObjectProperties everything;
  FindRequest request{everything, projection, 0, 0};
  request.sort = &sort;
  std::string found;
  client.engine->find(client.where(), request, [&found](ObjectProperties&& document) {
    found += document.toJson();
    return true;
  });
  EXPECT_EQ(found, idAlone(3) + idAlone(2) + idAlone(1));
}

TEST_F(EmbeddedIds, OfEveryKindComeBackAsTheyWereStored) {
  Client client(path);
  std::string all;
  for (const char* id : {"\"text\"", R"({"$symbol": "symbol"})", "1.0", "7", R"({"$numberLong": "8"})",
                         R"({"$numberDecimal": "2.50"})", R"({"$oid": "0123456789abcdef01234567"})", "null", "true"}) {
    ASSERT_EQ(client.insert(documentOf(id)), "ok") << id;
    all += ObjectProperties::fromJson(std::string("{\"_id\": ") + id + "}").toJson(JsonMode::canonical);
  }
  std::string found;
  const auto condition = ObjectProperties::fromJson(red);
  const auto projection = ObjectProperties::fromJson(R"({"_id": true})");
  client.engine->find(client.where(), {condition, projection, 0, 0}, [&found](ObjectProperties&& document) {
    found += document.toJson(JsonMode::canonical);
    return true;
  });
  EXPECT_EQ(found, all);
}

TEST_F(EmbeddedIds, AreThoseOfTheBeginningAlsoWhenTheReceiverWrites) {
  Client client(path);
  for (int i = 1; i <= 3; ++i) client.insert(documentOf(objectId(i)));
  std::string found;
  const auto condition = ObjectProperties::fromJson(red);
  const auto projection = ObjectProperties::fromJson(R"({"_id": true})");
  client.engine->find(client.where(), {condition, projection, 0, 0}, [&](ObjectProperties&& document) {
    found += document.toJson();
    client.remove("{}");
    return true;
  });
  EXPECT_EQ(found, idAlone(1) + idAlone(2) + idAlone(3));
  EXPECT_EQ(client.all(), "");
}

/// The same on every way in which a client holds a file.
class EmbeddedReceiver : public ::testing::TestWithParam<const char*> {
 protected:
  std::string path() {
    const std::string parameter = GetParam();
    return parameter == ":memory:" ? parameter : folder / "store" + parameter;
  }

  TemporaryFolder folder{};
  Client client{path()};
};

INSTANTIATE_TEST_SUITE_P(Stores, EmbeddedReceiver, ::testing::Values(":memory:", "", "?exclusive=true"));

TEST_P(EmbeddedReceiver, MayWriteWhileItReceives) {
  for (const char* id : {"1", "2", "3", "4"}) client.insert(std::string("{\"_id\": ") + id + "}");
  std::string received;
  client.engine->find(client.where(), {{}, {}, 0, 0}, [&](ObjectProperties&& document) {
    const int id = document.valueAsInt32("_id", 0);
    received += std::to_string(id) + " ";
    client.insert("{\"_id\": " + std::to_string(id + 10) + "}");
    client.remove("{\"_id\": " + std::to_string(id + 1) + "}");
    return true;
  });
  EXPECT_EQ(received, "1 2 3 4 ");
  EXPECT_EQ(client.all(), R"({"_id": 1}{"_id": 11}{"_id": 12}{"_id": 13}{"_id": 14})");
}

TEST_P(EmbeddedReceiver, MayWriteWhileItReceivesInAnOrder) {
  for (const char* sort : {R"({"_id": -1})", R"({"n": -1})"}) {
    client.remove("{}");
    for (const char* id : {"1", "2", "3"}) client.insert(std::string("{\"_id\": ") + id + ", \"n\": " + id + "}");
    const auto order = ObjectProperties::fromJson(sort);
    const ObjectProperties nothing;
    FindRequest request{nothing, nothing, 0, 0};
    request.sort = &order;
    std::string received;
    client.engine->find(client.where(), request, [&](ObjectProperties&& document) {
      const int id = document.valueAsInt32("_id", 0);
      received += std::to_string(id) + " ";
      client.insert("{\"_id\": " + std::to_string(id - 10) + "}");
      client.remove("{\"_id\": " + std::to_string(id - 1) + "}");
      return true;
    });
    EXPECT_EQ(received, "3 2 1 ") << sort;
    EXPECT_EQ(client.count("{}"), "4") << sort;
  }
}

TEST_P(EmbeddedReceiver, MayReadWhileItReceives) {
  for (const char* id : {"1", "2"}) client.insert(std::string("{\"_id\": ") + id + "}");
  std::string received;
  client.engine->find(client.where(), {{}, {}, 0, 0}, [&](ObjectProperties&&) {
    received += client.count("{}") + client.all();
    return true;
  });
  EXPECT_EQ(received, R"(2{"_id": 1}{"_id": 2}2{"_id": 1}{"_id": 2})");
}

TEST_P(EmbeddedReceiver, MayOpenAndCloseATransactionWhileItReceives) {
  for (const char* id : {"1", "2"}) client.insert(std::string("{\"_id\": ") + id + "}");
  std::string received;
  client.engine->find(client.where(), {{}, {}, 0, 0}, [&](ObjectProperties&& document) {
    client.engine->beginTransaction();
    client.insert("{\"_id\": " + std::to_string(document.valueAsInt32("_id", 0) + 10) + "}");
    received += client.count("{}") + " ";
    client.engine->commitTransaction();
    return true;
  });
  EXPECT_EQ(received + client.count("{}"), "3 4 4");
}

TEST_P(EmbeddedReceiver, MayThrowAndLeaveTheClientUsable) {
  client.insert(R"({"_id": 1})");
  EXPECT_THROW(client.engine->find(client.where(), {{}, {}, 0, 0},
                                   [](ObjectProperties&&) -> bool { throw std::runtime_error("enough"); }),
               std::runtime_error);
  EXPECT_EQ(client.insert(R"({"_id": 2})"), "ok");
  EXPECT_EQ(client.count("{}"), "2");
}

}  // namespace
}  // namespace database_client
