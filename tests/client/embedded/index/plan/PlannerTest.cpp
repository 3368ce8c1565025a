// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdlib>

#include "client/embedded/index/plan/Planner.h"
#include "client/embedded/query/match/Matcher.h"
#include "database_client/Error.h"
#include "tests/client/embedded/index/IndexedDocuments.h"

namespace database_client::embedded {
namespace {

class PlannerTest : public IndexedDocuments {
 protected:
  /// The candidates, those to be rechecked with a question mark; "scan" without an index.
  std::string candidates(const std::string& json) {
    const Plan plan = embedded::plan(*index_, parseQuery(viewOf(fromJson(json))), {documents_.size(), 0, false});
    if (!plan.usesIndex) return "scan";
    std::string text;
    for (auto next = plan.next(0); next; next = plan.next(next->rid)) {
      text += (text.empty() ? "" : " ") + std::to_string(next->rid) + (next->recheck ? "?" : "");
    }
    return text;
  }

  std::string scanned(bson::View query) const {
    const Matcher matcher(query);
    std::string text;
    for (const auto& [record, body] : documents_) {
      if (matcher.matches(viewOf(body))) text += " " + std::to_string(record);
    }
    return text;
  }

  /// What the plan and the recheck give together.
  std::string planned(bson::View query, bool& usesIndex) {
    const Matcher matcher(query);
    const Plan plan = embedded::plan(*index_, matcher.query(), {documents_.size(), 0, false});
    usesIndex = plan.usesIndex;
    std::string text;
    for (auto next = plan.next(0); next; next = plan.next(next->rid)) {
      if (!next->recheck || matcher.matches(viewOf(documents_.at(next->rid)))) text += " " + std::to_string(next->rid);
    }
    return text;
  }
};

std::string itemMatch(const std::string& name, const std::string& condition) {
  return R"({"r.d": {"$elemMatch": {"name": ")" + name + R"(", "value": )" + condition + "}}}";
}

class PlannedItems : public PlannerTest {
 protected:
  PlannedItems() {
    put(1, R"({"r": {"d": [{"name": "n", "value": 1, "type": 6}, {"name": "m", "value": "red"}]}})");
    put(2, R"({"r": {"d": [{"name": "n", "value": 2.5}, {"name": "m", "value": "blue"}]}})");
    put(3, R"({"r": {"d": [{"name": "n", "value": {"$numberLong": "2"}}, {"name": "k", "value": true}]}})");
    put(4, R"({"r": {"d": [{"name": "n", "value": "2"}, {"name": "n", "value": null}]}})");
    put(5, R"({"r": {"d": [{"name": "n"}, {"name": "N", "value": 7}]}})");
    put(6, R"({"r": {"d": [{"name": "n", "value": [1, 2]}]}})");
    put(7, R"({"r": {"d": {"name": "n", "value": 2}}})");
    put(8, R"({"x": 1})");
  }
};

TEST_F(PlannedItems, EqualityComparesNumbersOfAllKinds) {
  EXPECT_EQ(candidates(itemMatch("n", "1")), "1 6? 7?");
  EXPECT_EQ(candidates(itemMatch("n", "2.0")), "3 6? 7?");
  EXPECT_EQ(candidates(itemMatch("m", "\"red\"")), "1 7?");
  EXPECT_EQ(candidates(itemMatch("k", "true")), "3 7?");
  EXPECT_EQ(candidates(itemMatch("absent", "true")), "7?");
}

TEST_F(PlannedItems, RangesKeepToTheKindOfTheirOperand) {
  EXPECT_EQ(candidates(itemMatch("n", R"({"$gt": 1})")), "2 3 6? 7?");
  EXPECT_EQ(candidates(itemMatch("n", R"({"$gte": 1, "$lt": 2.5})")), "1 3 6? 7?");
  EXPECT_EQ(candidates(itemMatch("n", R"({"$gte": "1"})")), "4 6? 7?");
  EXPECT_EQ(candidates(itemMatch("m", R"({"$lte": "blue"})")), "2 7?");
}

TEST_F(PlannedItems, AReferenceIsAValue) {
  const std::string reference = R"({"$ref": "c", "$id": 1})";
  put(10, R"({"r": {"d": [{"name": "n", "value": )" + reference + "}]}}");
  EXPECT_EQ(candidates(itemMatch("n", R"({"$eq": )" + reference + "}")), "6? 7? 10?");
  EXPECT_EQ(candidates(itemMatch("n", reference)), "6? 7? 10?");
  EXPECT_EQ(candidates(R"({"r.d.value": )" + reference + "}"), "6? 7? 10?");
  EXPECT_EQ(candidates(R"({"r.d": {"$elemMatch": {"name": )" + reference + R"(, "value": true}}})"), "3? 6? 7? 10?");
}

TEST_F(PlannedItems, SetsAndNegationsApplyToOneItem) {
  EXPECT_EQ(candidates(itemMatch("n", R"({"$in": [1, "2"]})")), "1 4 6? 7?");
  EXPECT_EQ(candidates(itemMatch("m", R"({"$ne": "red"})")), "2 7?");
  EXPECT_EQ(candidates(itemMatch("n", R"({"$not": {"$gt": 1}})")), "1 4 5 6? 7?");
  EXPECT_EQ(candidates(itemMatch("m", R"({"$nin": ["red", "blue"]})")), "7?");
  EXPECT_EQ(candidates(itemMatch("n", R"({"$exists": false})")), "5 7?");
}

TEST_F(PlannedItems, NullMatchesAValueThatIsNotThere) {
  EXPECT_EQ(candidates(itemMatch("n", "null")), "4 5 6? 7?");
}

TEST_F(PlannedItems, PatternsAreTriedOnEachValueOnce) {
  EXPECT_EQ(candidates(itemMatch("m", R"({"$regex": "^B", "$options": "i"})")), "2 7?");
}

TEST_F(PlannedItems, NamesCanBeAskedForInFourWays) {
  EXPECT_EQ(candidates(R"({"r.d.name": "k"})"), "3 7?");
  EXPECT_EQ(candidates(R"({"r.d.name": {"$regex": "\\An\\z", "$options": "i"}})"), "1 2 3 4 5 6 7?");
  EXPECT_EQ(candidates(R"({"r.d": {"$elemMatch": {"name": "m"}}})"), "1 2 7?");
  EXPECT_EQ(candidates(R"({"r.d.name": {"$in": ["k", "m"]}})"), "1 2 3 7?");
}

TEST_F(PlannedItems, ValuesCanBeAskedForWithoutAName) {
  EXPECT_EQ(candidates(R"({"r.d.value": 7})"), "5 6? 7?");
  EXPECT_EQ(candidates(R"({"r.d.value": {"$gte": 2, "$lt": 3}})"), "2 3 6? 7?");
  EXPECT_EQ(candidates(R"({"r.d.value": {"$gt": "a", "$gte": 2}})"), "2 6? 7?") << "different items may meet them";
  EXPECT_EQ(candidates(R"({"r.d.value": null})"), "scan");
}

TEST_F(PlannedItems, ConditionsAreIntersectedAndUnited) {
  const std::string red = itemMatch("m", "\"red\"");
  const std::string small = itemMatch("n", R"({"$lt": 2})");
  const std::string yes = itemMatch("k", "true");
  EXPECT_EQ(candidates(R"({"$and": [)" + red + "," + small + "]}"), "1 7?");
  EXPECT_EQ(candidates(R"({"$or": [)" + red + "," + yes + "]}"), "1 3 7?");
  EXPECT_EQ(candidates(R"({"$and": [)" + red + R"(, {"other": 1}]})"), "1? 7?");
  EXPECT_EQ(candidates(R"({"$or": [)" + red + R"(, {"other": 1}]})"), "scan");
  EXPECT_EQ(candidates(R"({"$nor": [)" + red + "]}"), "scan");
}

TEST_F(PlannedItems, AllIsAnIntersection) {
  const auto all = [](const std::string& name, const std::string& other) {
    const auto match = [](const std::string& item) { return R"({"$elemMatch": {"name": )" + item + "}}"; };
    return R"({"r.d": {"$all": [)" + match(name) + ", " + match(other) + "]}}";
  };
  EXPECT_EQ(candidates(all(R"("n", "value": {"$lt": 2})", R"("m", "value": "red")")), "1 7?");
  EXPECT_EQ(candidates(all(R"("n")", R"("k")")), "3 7?");
  EXPECT_EQ(candidates(R"({"r.d.name": {"$all": ["n", "k"]}})"), "3 7?");
  EXPECT_EQ(candidates(R"({"r.d.value": {"$all": ["red", 1]}})"), "1 6? 7?");
  EXPECT_EQ(candidates(R"({"r.d.value": {"$all": [1, [2]]}})"), "1? 6? 7?");
  EXPECT_EQ(candidates(R"({"r.d.name": {"$all": []}})"), "scan");
}

TEST_F(PlannerTest, ConditionsOnTheOnlyItemOfANameAreOne) {
  const auto items = [](const std::string& values) {
    std::string text;
    for (const char value : values) {
      text += std::string(text.empty() ? "" : ",") + R"({"name": "n", "type": 6, "value": )" + value + "}";
    }
    return R"({"a": [)" + text + "]}";
  };
  const std::string from2 = R"({"a": {"$elemMatch": {"name": "n", "value": {"$gte": 2}}}})";
  const std::string to3 = R"({"a": {"$elemMatch": {"name": "n", "value": {"$lte": 3}}}})";
  const Bytes both = fromJson(R"({"$and": [)" + from2 + "," + to3 + "]}");
  const Matcher matcher(viewOf(both));
  const auto estimate = [&] { return plan(*index_, matcher.query(), {documents_.size(), 0, false}).estimate; };
  for (int i = 1; i <= 9; ++i) put(i, items(std::to_string(i)));
  EXPECT_EQ(estimate(), 2U);
  EXPECT_EQ(candidates(toJson(viewOf(both))), "2 3");

  put(10, items("19"));
  EXPECT_GT(estimate(), 2U);
  EXPECT_EQ(candidates(toJson(viewOf(both))), "2 3 10") << "two items of one document meet one condition each";

  put(10, items("9"));
  EXPECT_EQ(estimate(), 2U);
  put(11, R"({"a": [{"name": "n", "type": 8, "value": 2.5}]})");
  EXPECT_EQ(candidates(toJson(viewOf(both))), "2 3 11");
  put(11, R"({"a": [{"name": "n", "type": 8, "value": 1.5}, {"name": "n", "type": 6, "value": 7}]})");
  EXPECT_EQ(candidates(toJson(viewOf(both))), "2 3 11");
}

TEST_F(PlannedItems, APathWithoutItemsMatchesNothing) {
  EXPECT_EQ(candidates(R"({"r.q": {"$elemMatch": {"name": "n", "value": 1}}})"), "");
  EXPECT_EQ(candidates(R"({"x.name": "n"})"), "");
}

TEST_F(PlannedItems, PositionsInArraysAreLeftToTheScan) {
  EXPECT_EQ(candidates(R"({"r.d.0.name": "n"})"), "scan");
}

TEST_F(PlannedItems, WhatTheIndexDoesNotKnowIsRechecked) {
  EXPECT_EQ(candidates(R"({"r.d": {"$elemMatch": {"name": "m", "value": "red", "type": 4}}})"), "1? 7?");
  EXPECT_EQ(candidates(itemMatch("m", R"({"$type": "string"})")), "1? 2? 7?");
}

TEST_F(PlannedItems, LongTextsAreFoundByTheirBeginning) {
  const std::string text(200, 'x');
  put(10, R"({"r": {"d": [{"name": "long", "value": ")" + text + R"("}]}})");
  EXPECT_EQ(candidates(itemMatch("long", "\"" + text + "\"")), "7? 10?");
  EXPECT_EQ(candidates(itemMatch("long", R"({"$gt": "w"})")), "7? 10");
  EXPECT_EQ(candidates(itemMatch("long", R"({"$lt": "w"})")), "7?");
  EXPECT_EQ(candidates(itemMatch("long", R"({"$lt": ")" + text + "\"}")), "7? 10?");
}

TEST_F(PlannerTest, NumbersBeyondTheDoublesAreToldApart) {
  put(1, R"({"a": [{"name": "n", "value": {"$numberLong": "9007199254740992"}}]})");
  put(2, R"({"a": [{"name": "n", "value": {"$numberLong": "9007199254740993"}}]})");
  put(3, R"({"a": [{"name": "n", "value": {"$numberDouble": "9007199254740992"}}]})");
  put(4, R"({"a": [{"name": "n", "value": {"$numberLong": "9223372036854775807"}}]})");
  put(5, R"({"a": [{"name": "n", "value": {"$numberDouble": "-0.0"}}]})");
  put(6, R"({"a": [{"name": "n", "value": 0}]})");
  const auto query = [](const std::string& condition) {
    return R"({"a": {"$elemMatch": {"name": "n", "value": )" + condition + "}}}";
  };
  EXPECT_EQ(candidates(query(R"({"$numberLong": "9007199254740993"})")), "2");
  EXPECT_EQ(candidates(query(R"({"$numberDouble": "9007199254740992"})")), "1 3");
  EXPECT_EQ(candidates(query(R"({"$gt": {"$numberDouble": "9007199254740992"}})")), "2 4");
  EXPECT_EQ(candidates(query(R"({"$lt": {"$numberDouble": "9223372036854775808"}, "$gt": 1})")), "1 2 3 4");
  EXPECT_EQ(candidates(query("0.0")), "5 6");
}

TEST_F(PlannerTest, AnUnselectiveConditionIsScannedWhenDocumentsAreRead) {
  for (int i = 1; i <= 1000; ++i) {
    put(i, R"({"a": [{"name": "all", "value": 1}, {"name": "few", "value": )" + std::to_string(i % 100) + "}]}");
  }
  const Query all = parseQuery(viewOf(fromJson(R"({"a": {"$elemMatch": {"name": "all", "value": 1}}})")));
  const Query few = parseQuery(viewOf(fromJson(R"({"a": {"$elemMatch": {"name": "few", "value": 1}}})")));
  EXPECT_FALSE(plan(*index_, all, {1000, 0, true}).usesIndex);
  EXPECT_FALSE(plan(*index_, all, {1000, 10, true}).usesIndex);
  EXPECT_TRUE(plan(*index_, all, {1000, 0, false}).usesIndex);
  EXPECT_TRUE(plan(*index_, few, {1000, 0, true}).usesIndex);
  EXPECT_EQ(plan(*index_, few, {1000, 0, true}).estimate, 10U);
  EXPECT_EQ(plan(*index_, few, {1000, 0, true}).description, "items(a)");
}

/// Random queries of conditions that the index knows and of others.
class RandomQueries {
 public:
  explicit RandomQueries(RandomDocuments& random) : random_(random) {}

  Bytes query() {
    bson::Writer writer;
    conditions(writer, 2);
    return writer.take();
  }

 private:
  std::string path() { return random_.oneIn(3) ? "info.marks" : random_.oneIn(12) ? "info.tags.value" : "info.tags"; }

  void conditions(bson::Writer& writer, int depth) {
    if (depth > 0 && random_.oneIn(4)) {
      writer.beginArray(random_.oneIn(2) ? "$or" : "$and");
      for (std::uint32_t i = 0; i < random_.below(3) + 1; ++i) {
        writer.beginDocument(bson::IndexKey(i));
        conditions(writer, depth - 1);
        writer.end();
      }
      writer.end();
    }
    if (random_.oneIn(3)) dotted(writer);
    if (random_.oneIn(8)) writer.appendInt32("_id", static_cast<std::int32_t>(random_.below(1000)));
    if (!random_.oneIn(3)) elementMatch(writer);
  }

  void dotted(bson::Writer& writer) {
    if (random_.oneIn(2)) return nameCondition(writer, path() + ".name");
    if (!random_.oneIn(4)) return condition(writer, path() + ".value");
    writer.beginDocument(path() + ".value");
    values(writer, "$all");
    writer.end();
  }

  void nameCondition(bson::Writer& writer, const std::string& key) {
    if (random_.oneIn(2)) return writer.appendString(key, random_.name());
    writer.beginDocument(key);
    if (random_.oneIn(3)) {
      writer.appendString(random_.oneIn(2) ? "$gte" : "$ne", random_.name());
    } else {
      writer.appendString("$regex", "\\A" + random_.name() + "\\z");
      writer.appendString("$options", random_.oneIn(2) ? "i" : "");
    }
    writer.end();
  }

  void condition(bson::Writer& writer, const std::string& key) {
    if (random_.oneIn(3)) return random_.value(writer, key);
    writer.beginDocument(key);
    static const char* const operators[] = {"$gt", "$gte", "$lt", "$lte", "$eq", "$ne"};
    for (std::uint32_t i = 0; i < random_.below(2) + 1; ++i) random_.value(writer, operators[random_.below(6)]);
    if (random_.oneIn(6)) values(writer, random_.oneIn(2) ? "$in" : "$nin");
    if (random_.oneIn(8)) writer.appendBool("$exists", random_.oneIn(2));
    if (random_.oneIn(8)) writer.appendString("$regex", "p");
    if (random_.oneIn(10)) values(writer, "$all");
    if (random_.oneIn(8)) {
      writer.beginDocument("$not");
      for (std::uint32_t i = 0; i < random_.below(2) + 1; ++i) random_.value(writer, operators[random_.below(6)]);
      if (random_.oneIn(4)) writer.appendString("$regex", "p");
      writer.end();
    }
    writer.end();
  }

  void values(bson::Writer& writer, const char* key) {
    writer.beginArray(key);
    for (std::uint32_t i = 0; i < random_.below(4); ++i) random_.value(writer, bson::IndexKey(i));
    writer.end();
  }

  void elementMatch(bson::Writer& writer) {
    writer.beginDocument(path());
    if (random_.oneIn(4)) {
      allElementMatches(writer);
    } else {
      elementConditions(writer);
    }
    writer.end();
  }

  void allElementMatches(bson::Writer& writer) {
    writer.beginArray("$all");
    for (std::uint32_t i = 0; i < random_.below(3) + 1; ++i) {
      writer.beginDocument(bson::IndexKey(i));
      elementConditions(writer);
      writer.end();
    }
    writer.end();
  }

  void elementConditions(bson::Writer& writer) {
    writer.beginDocument("$elemMatch");
    if (!random_.oneIn(5)) nameCondition(writer, "name");
    if (!random_.oneIn(5)) condition(writer, "value");
    if (random_.oneIn(5)) writer.appendInt32("type", static_cast<std::int32_t>(random_.below(3)));
    writer.end();
  }

  RandomDocuments& random_;
};

/// A range that most records are in is what is left without the others, which the test tells by nothing but the result.
class WideRanges : public PlannerTest {
 protected:
  static constexpr int records = 100;

  WideRanges() {
    for (int i = 1; i <= records; ++i) put(i, item(std::to_string(i % 10)));
  }
  static std::string item(const std::string& value) {
    return R"({"r": {"d": [{"name": "n", "value": )" + value + R"(}, {"name": "m", "value": "red"}]}})";
  }
  void expectAsScanned(const std::string& condition) {
    const Bytes query = fromJson(itemMatch("n", condition));
    bool usesIndex = false;
    const std::string found = planned(viewOf(query), usesIndex);
    EXPECT_TRUE(usesIndex) << condition;
    EXPECT_EQ(found, scanned(viewOf(query))) << condition;
  }
  void expectAllAsScanned() {
    for (const char* condition : {R"({"$lt": 8})", R"({"$gte": 2})", R"({"$gt": 0, "$lt": 9})", R"({"$ne": 3})",
                                  R"({"$exists": true})", R"({"$in": [1, 2, 3, 4, 5, 6, 7, 8]})"}) {
      expectAsScanned(condition);
    }
  }
};

TEST_F(WideRanges, HaveTheRecordsOfTheRange) {
  expectAllAsScanned();
}

TEST_F(WideRanges, LeaveOutWhatIsOfOtherKinds) {
  put(3, item("\"5\""));
  put(4, item("null"));
  put(5, item(R"({"$numberDouble": "NaN"})"));
  put(6, item("[1, 20]"));
  put(7, item('"' + std::string(2000, 'x') + '"'));
  put(8, item(R"({"$numberDecimal": "5"})"));
  put(9, R"({"r": {"d": [{"name": "n"}]}})");
  put(11, R"({"r": {"d": {"name": "n", "value": 5}}})");
  put(12, R"({"r": {"d": [{"name": "n", "value": 20}, 7]}})");
  expectAllAsScanned();
}

TEST_F(WideRanges, KnowOfRecordsWithTwoItemsOfAName) {
  put(3, R"({"r": {"d": [{"name": "n", "value": 5}, {"name": "n", "value": 20}]}})");
  put(4, R"({"r": {"d": [{"name": "n", "value": 20, "type": 1}, {"name": "n", "value": 5, "type": 2}]}})");
  expectAllAsScanned();
}

TEST_F(WideRanges, FollowChanges) {
  for (int i = 1; i <= records; i += 3) put(i, item(std::to_string(i % 7)));
  for (int i = 2; i <= records; i += 6) remove(i);
  expectAllAsScanned();
}

class RandomPlansTest : public PlannerTest, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(RandomPlansTest, PlanAndRecheckAgreeWithAScan) {
  const char* given = std::getenv("DATABASE_TEST_SEED");
  const std::uint32_t seed = given != nullptr ? static_cast<std::uint32_t>(std::atoi(given)) : GetParam();
  RandomDocuments random(seed);
  RandomQueries queries(random);
  const std::uint32_t odd = random.oneIn(2) ? 0 : 4 + random.below(60);
  if (random.oneIn(2)) random.keepNamesApart();
  int planned = 0;
  for (int round = 0; round < 12; ++round) {
    for (int i = 0; i < 25; ++i) {
      const auto record = RecordNumber{random.below(120)} + 1;
      if (documents_.count(record) != 0 && random.oneIn(4)) {
        remove(record);
      } else {
        put(record, random.document(odd));
      }
    }
    index_->flush();
    for (int i = 0; i < 20; ++i) {
      const Bytes query = queries.query();
      bool usesIndex = false;
      std::string expected;
      try {
        expected = scanned(viewOf(query));
      } catch (const Error&) {
        continue;  // The matcher refuses it, so it is never planned.
      }
      const std::string found = this->planned(viewOf(query), usesIndex);
      if (!usesIndex) continue;
      ++planned;
      ASSERT_EQ(found, expected) << "DATABASE_TEST_SEED=" << seed << " " << toJson(viewOf(query));
    }
  }
  EXPECT_GT(planned, 20);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomPlansTest, testing::Range(1U, 61U));

}  // namespace
}  // namespace database_client::embedded
