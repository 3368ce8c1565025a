// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string_view>

#include "database_provider/DatabaseFilter.h"
#include "filter/database_filter_d.h"

namespace database_provider {
namespace {

using database_client::JsonMode;

std::string query(const DatabaseFilter& filter) {
  return filter.toObjectProeprties().toJson();
}

/// The query of a filter with the conditions that `fill` adds.
std::string queryOf(const std::function<void(DatabaseFilter&)>& fill) {
  DatabaseFilter filter;
  filter.filter_init();
  fill(filter);
  filter.filter_finish();
  return query(filter);
}

/// What the client's filter makes of conditions, for comparison.
std::string clientQueryOf(const std::function<void(ObjectFilter&)>& fill) {
  ObjectFilter filter;
  filter.start_and();
  fill(filter);
  filter.finish_and();
  return filter.toObjectProeprties().toJson();
}

/// An item of a group whose name and value are tested together, as the client's filter has it.
std::string itemQuery(const std::string& group, const std::function<void(ObjectFilter&)>& addValue) {
  return clientQueryOf([&](ObjectFilter& filter) {
    ObjectFilter item;
    item.beginGroup("recordInfo." + group);
    item.beginGroup("$elemMatch");
    item.setFilterString(OperationType::equal, "name", "x", "");
    addValue(item);
    item.endGroup();
    item.endGroup();
    filter.include(item);
  });
}

constexpr OperationType existing = OperationType::exists;
constexpr OperationType notExisting = OperationType::notExists;

TEST(DatabaseFilter, IsEmptyWhenNew) {
  EXPECT_EQ(query(DatabaseFilter()), "{}");
  EXPECT_EQ(queryOf([](DatabaseFilter&) {}), "{}");
}

TEST(DatabaseFilter, MatchesNameAndValueInOneItem) {
  EXPECT_EQ(queryOf([](DatabaseFilter& filter) { filter.setCategory(OperationType::equal, "Color", "red", ""); }),
            R"({"recordInfo.category": {"$elemMatch": {"name": "Color", "value": "red"}}})");
  EXPECT_EQ(queryOf([](DatabaseFilter& filter) { filter.setDescriptionAsInt(OperationType::greater, "count", 5); }),
            R"({"recordInfo.description": {"$elemMatch": {"name": "count", "value": {"$gt": 5}}}})");
}

TEST(DatabaseFilter, ExistingLooksAtTheNameAloneWhateverItsCase) {
  const std::string expected = clientQueryOf([](ObjectFilter& filter) {
    filter.setFilterString(OperationType::equal, "recordInfo.category.name", "Color", "i");
  });
  EXPECT_EQ(queryOf([](DatabaseFilter& filter) { filter.setCategory(existing, "Color", "red", ""); }), expected);
  EXPECT_EQ(queryOf([](DatabaseFilter& filter) { filter.setCategory(existing, "Color", "", "x"); }), expected)
      << "value and options play no part";
}

TEST(DatabaseFilter, NotExistingDiffersInTheOperationOnly) {
  EXPECT_EQ(queryOf([](DatabaseFilter& filter) { filter.setCategory(notExisting, "Color", "red", ""); }),
            clientQueryOf([](ObjectFilter& filter) {
              filter.setFilterString(OperationType::notEqual, "recordInfo.category.name", "Color", "i");
            }));
}

TEST(DatabaseFilter, ExistingAndNotExistingIgnoreTheValueOfEveryKind) {
  const auto named = [](OperationType operation) {
    return clientQueryOf(
        [&](ObjectFilter& filter) { filter.setFilterString(operation, "recordInfo.description.name", "x", "i"); });
  };
  for (const auto& [type, operation] :
       {std::pair(existing, OperationType::equal), std::pair(notExisting, OperationType::notEqual)}) {
    const OperationType asked = type;
    const std::string expected = named(operation);
    EXPECT_EQ(queryOf([&](auto& filter) { filter.setDescriptionAsString(asked, "x", "v", "x"); }), expected);
    EXPECT_EQ(queryOf([&](auto& filter) { filter.setDescriptionAsInt(asked, "x", 5); }), expected);
    EXPECT_EQ(queryOf([&](auto& filter) { filter.setDescriptionAsDouble(asked, "x", 1.5); }), expected);
    EXPECT_EQ(queryOf([&](auto& filter) { filter.setDescriptionAsLongLong(asked, "x", 5); }), expected);
    EXPECT_EQ(queryOf([&](auto& filter) { filter.setDescriptionAsBool(asked, "x", true); }), expected);
    EXPECT_EQ(queryOf([&](auto& filter) { filter.setDescriptionAsTime(asked, "x", 5); }), expected);
  }
}

TEST(DatabaseFilter, PassesEveryOtherOperationOnForEveryKind) {
  for (const int code : {0, 1, 2, 3, 4, 5, 8, 9}) {
    const auto type = static_cast<OperationType>(code);
    EXPECT_EQ(queryOf([&](auto& filter) { filter.setCategory(type, "x", "v", "i"); }),
              itemQuery("category", [&](ObjectFilter& item) { item.setFilterString(type, "value", "v", "i"); }));
    EXPECT_EQ(queryOf([&](auto& filter) { filter.setDescriptionAsString(type, "x", "v", "i"); }),
              itemQuery("description", [&](ObjectFilter& item) { item.setFilterString(type, "value", "v", "i"); }));
  }
  for (const int code : {0, 1, 2, 3, 4, 5}) {
    const auto type = static_cast<OperationType>(code);
    EXPECT_EQ(queryOf([&](auto& filter) { filter.setDescriptionAsInt(type, "x", 5); }),
              itemQuery("description", [&](ObjectFilter& item) { item.setFilterInt(type, "value", 5); }));
    EXPECT_EQ(queryOf([&](auto& filter) { filter.setDescriptionAsDouble(type, "x", 1.5); }),
              itemQuery("description", [&](ObjectFilter& item) { item.setFilterDouble(type, "value", 1.5); }));
    EXPECT_EQ(queryOf([&](auto& filter) { filter.setDescriptionAsLongLong(type, "x", 5000000000); }),
              itemQuery("description", [&](ObjectFilter& item) { item.setFilterLongLong(type, "value", 5000000000); }));
    EXPECT_EQ(queryOf([&](auto& filter) { filter.setDescriptionAsBool(type, "x", true); }),
              itemQuery("description", [&](ObjectFilter& item) { item.setFilterBool(type, "value", true); }));
    EXPECT_EQ(queryOf([&](auto& filter) { filter.setDescriptionAsTime(type, "x", 1000); }),
              itemQuery("description", [&](ObjectFilter& item) { item.setFilterTime(type, "value", 1000); }));
  }
}

TEST(DatabaseFilter, KeepsTheKindsOfNumbersApart) {
  DatabaseFilter filter;
  filter.setDescriptionAsInt(OperationType::equal, "x", 5);
  EXPECT_NE(filter.toObjectProeprties().toJson(JsonMode::canonical).find(R"({"$numberInt": "5"})"), std::string::npos);
  filter.clear();
  filter.setDescriptionAsLongLong(OperationType::equal, "x", 5);
  EXPECT_NE(filter.toObjectProeprties().toJson(JsonMode::canonical).find(R"({"$numberLong": "5"})"), std::string::npos);
  filter.clear();
  filter.setDescriptionAsTime(OperationType::equal, "x", 5);
  EXPECT_NE(filter.toObjectProeprties().toJson(JsonMode::canonical).find(R"({"$date": )"), std::string::npos);
}

TEST(DatabaseFilter, TestsTheNameOfAnItemExactlyWhateverTheOptionsOfTheValue) {
  const std::string text = queryOf([](auto& filter) { filter.setCategory(OperationType::equal, "a.*", "red", "i"); });
  EXPECT_NE(text.find(R"("name": "a.*")"), std::string::npos) << text;
}

TEST(DatabaseFilter, MatchesAnIdAsAnId) {
  const std::string id = "0123456789abcdef01234567";
  EXPECT_EQ(queryOf([&](auto& filter) { filter.setId(OperationType::equal, id); }),
            R"({"_id": {"$oid": "0123456789abcdef01234567"}})");
  EXPECT_EQ(queryOf([&](auto& filter) { filter.setId(OperationType::equal, "foreign"); }), R"({"_id": "foreign"})");
}

TEST(DatabaseFilter, AnIdKnowsNoTestOfTheNameAlone) {
  const std::string id = "0123456789abcdef01234567";
  EXPECT_EQ(queryOf([&](auto& filter) { filter.setId(existing, id); }),
            clientQueryOf([&](ObjectFilter& filter) { filter.setFilterId(existing, "_id", id); }));
}

/// Writes down what the facade asks of its implementation.
class Spy : public DatabaseFilterPrivate {
 public:
  using DatabaseFilterPrivate::operator=;
  explicit Spy(std::string& log) : log_(&log) {}

  void copy(const DatabaseFilterPrivate& other) override {
    *log_ += "copy ";
    DatabaseFilterPrivate::copy(other);
  }
  void clear() override { *log_ += "clear "; }
  void filter_init() override { *log_ += "filter_init "; }
  void filter_finish() override { *log_ += "filter_finish "; }
  void start_or() override { *log_ += "start_or "; }
  void finish_or() override { *log_ += "finish_or "; }
  void start_and() override { *log_ += "start_and "; }
  void finish_and() override { *log_ += "finish_and "; }
  std::string createGroupKey(const std::string& group) override { return "other." + group; }

 private:
  std::string* log_;
};

class SpiedFilter : public DatabaseFilter {
 public:
  using DatabaseFilter::operator=;
  explicit SpiedFilter(std::string& log) : DatabaseFilter(std::make_unique<Spy>(log)) {}
};

TEST(DatabaseFilter, ClosesEveryKindOfGroupInOneWay) {
  std::string log;
  SpiedFilter filter(log);
  filter.filter_init();
  filter.start_or();
  filter.finish_or();
  filter.start_and();
  filter.finish_and();
  filter.filter_finish();
  filter.clear();
  EXPECT_EQ(log, "filter_init start_or filter_finish start_and filter_finish filter_finish clear ");
}

TEST(DatabaseFilter, FinishOrAndFinishAndHaveTheSameEffect) {
  const auto grouped = [](void (DatabaseFilter::*finish)()) {
    return queryOf([&](DatabaseFilter& filter) {
      filter.start_or();
      filter.setCategory(OperationType::equal, "a", "1", "");
      filter.setCategory(OperationType::equal, "b", "2", "");
      (filter.*finish)();
      filter.setCategory(OperationType::equal, "c", "3", "");
    });
  };
  EXPECT_EQ(grouped(&DatabaseFilter::finish_or), grouped(&DatabaseFilter::finish_and));
  EXPECT_NE(grouped(&DatabaseFilter::finish_or).find("$or"), std::string::npos);
}

/// Writes down the conditions that the facade asks its implementation for.
class ConditionSpy : public DatabaseFilterPrivate {
 public:
  using DatabaseFilterPrivate::operator=;
  explicit ConditionSpy(std::string& log) : log_(&log) {}

  void setCategory(OperationType type, const std::string& name, const std::string& value,
                   const std::string& options) override {
    note("category", type, name, value + "," + options);
  }
  void setDescriptionAsString(OperationType type, const std::string& name, const std::string& value,
                              const std::string& options) override {
    note("string", type, name, value + "," + options);
  }
  void setDescriptionAsInt(OperationType type, const std::string& name, const int& value) override {
    note("int", type, name, std::to_string(value));
  }
  void setDescriptionAsDouble(OperationType type, const std::string& name, const double& value) override {
    note("double", type, name, std::to_string(static_cast<int>(value)));
  }
  void setDescriptionAsLongLong(OperationType type, const std::string& name, const long long& value) override {
    note("longlong", type, name, std::to_string(value));
  }
  void setDescriptionAsBool(OperationType type, const std::string& name, const bool& value) override {
    note("bool", type, name, value ? "true" : "false");
  }
  void setDescriptionAsTime(OperationType type, const std::string& name, const long long& value) override {
    note("time", type, name, std::to_string(value));
  }
  void setId(OperationType type, const std::string& id) override { note("id", type, id, ""); }
  void include(const DatabaseFilterPrivate& other) override {
    *log_ += "include(" + other.toObjectProeprties().toJson() + ") ";
  }
  void exclude(const std::string& key, DatabaseFilterPrivate& target) override {
    *log_ += "exclude(" + key + "," + target.toObjectProeprties().toJson() + ") ";
  }
  ObjectProperties toObjectProeprties() const override { return ObjectProperties::fromJson(R"({"own": true})"); }
  void fromObjectProperties(const ObjectProperties& given) override { *log_ += "from(" + given.toJson() + ") "; }

 private:
  void note(const std::string& kind, OperationType type, const std::string& name, const std::string& value) {
    *log_ += kind + "(" + std::to_string(static_cast<int>(type)) + "," + name + "," + value + ") ";
  }

  std::string* log_;
};

class ConditionSpiedFilter : public DatabaseFilter {
 public:
  using DatabaseFilter::operator=;
  explicit ConditionSpiedFilter(std::string& log) : DatabaseFilter(std::make_unique<ConditionSpy>(log)) {}
};

TEST(DatabaseFilter, HandsEveryConditionToItsImplementation) {
  std::string log;
  ConditionSpiedFilter filter(log);
  filter.setCategory(OperationType::equal, "n", "v", "i");
  filter.setDescriptionAsString(OperationType::notEqual, "n", "v", "");
  filter.setDescriptionAsInt(OperationType::less, "n", 1);
  filter.setDescriptionAsDouble(OperationType::lessOrEqual, "n", 2);
  filter.setDescriptionAsLongLong(OperationType::greater, "n", 5000000000);
  filter.setDescriptionAsBool(OperationType::greaterOrEqual, "n", true);
  filter.setDescriptionAsTime(existing, "n", -1);
  filter.setId(notExisting, "one");
  EXPECT_EQ(log,
            "category(0,n,v,i) string(1,n,v,) int(2,n,1) double(3,n,2) longlong(4,n,5000000000) bool(5,n,true) "
            "time(6,n,-1) id(7,one,) ");
}

TEST(DatabaseFilter, HandsWholeFiltersToItsImplementation) {
  std::string log;
  ConditionSpiedFilter filter(log);
  DatabaseFilter other;
  other.setId(OperationType::equal, "one");
  filter.include(other);
  filter.exclude("key", other);
  filter.fromObjectProperties(ObjectProperties::fromJson(R"({"a": 1})"));
  EXPECT_EQ(log, R"(include({"_id": "one"}) exclude(key,{}) from({"a": 1}) )") << "into a filter that is empty";
  EXPECT_EQ(query(filter), R"({"own": true})");
}

TEST(DatabaseFilter, ExcludeWritesItsTargetThroughCopy) {
  std::string log;
  SpiedFilter target(log);
  DatabaseFilter filter;
  filter.setId(OperationType::equal, "one");
  filter.exclude("_id", target);
  EXPECT_EQ(log, "copy ");
  EXPECT_EQ(query(target), R"({"_id": "one"})");
}

TEST(DatabaseFilter, ExcludedIntoItselfKeepsWhatIsExcluded) {
  DatabaseFilter filter;
  filter.setId(OperationType::equal, "one");
  filter.setCategory(OperationType::equal, "Color", "red", "");
  DatabaseFilter& same = filter;
  filter.exclude("_id", same);
  EXPECT_EQ(query(filter), R"({"_id": "one"})");
}

TEST(DatabaseFilter, CopiesOfADerivedImplementationAddressRecords) {
  std::string log;
  const SpiedFilter filter(log);
  DatabaseFilter copy(filter);
  copy.setCategory(OperationType::equal, "Color", "red", "");
  EXPECT_EQ(query(copy), R"({"recordInfo.category": {"$elemMatch": {"name": "Color", "value": "red"}}})");
  EXPECT_EQ(log, "");
}

TEST(DatabaseFilter, DerivedImplementationsAddressAnotherLayout) {
  std::string log;
  SpiedFilter filter(log);
  filter.setCategory(OperationType::equal, "Color", "red", "");
  EXPECT_EQ(query(filter), R"({"other.category": {"$elemMatch": {"name": "Color", "value": "red"}}})");
}

TEST(DatabaseFilter, ExcludeOverwritesItsTarget) {
  DatabaseFilter filter;
  filter.setId(OperationType::equal, "one");
  filter.setCategory(OperationType::equal, "Color", "red", "");
  DatabaseFilter target;
  target.setCategory(OperationType::equal, "Shape", "round", "");
  filter.exclude("_id", target);
  EXPECT_EQ(query(target), R"({"_id": "one"})");
  EXPECT_EQ(query(filter), R"({"recordInfo.category": {"$elemMatch": {"name": "Color", "value": "red"}}})");
  filter.exclude("nothing", target);
  EXPECT_EQ(query(target), "{}");
}

TEST(DatabaseFilter, IncludesAnotherAsOneCondition) {
  DatabaseFilter alternatives;
  alternatives.start_or();
  alternatives.setId(OperationType::equal, "one");
  alternatives.setId(OperationType::equal, "two");
  alternatives.finish_or();
  EXPECT_EQ(queryOf([&](DatabaseFilter& filter) {
              filter.setCategory(OperationType::equal, "a", "1", "");
              filter.include(alternatives);
            }),
            clientQueryOf([&](ObjectFilter& filter) {
              ObjectFilter category;
              category.fromObjectProperties(ObjectProperties::fromJson(
                  R"({"recordInfo.category": {"$elemMatch": {"name": "a", "value": "1"}}})"));
              filter.include(category);
              filter.start_or();
              filter.setFilterId(OperationType::equal, "_id", "one");
              filter.setFilterId(OperationType::equal, "_id", "two");
              filter.finish_or();
            }));
}

TEST(DatabaseFilter, CopiesAreIndependent) {
  DatabaseFilter filter;
  filter.setId(OperationType::equal, "one");
  DatabaseFilter copied(filter);
  DatabaseFilter assigned;
  assigned.setId(OperationType::equal, "gone");
  assigned = filter;
  filter.clear();
  EXPECT_EQ(query(filter), "{}");
  EXPECT_EQ(query(copied), R"({"_id": "one"})");
  EXPECT_EQ(query(assigned), R"({"_id": "one"})");
  copied.clear();
  EXPECT_EQ(query(assigned), R"({"_id": "one"})");
}

TEST(DatabaseFilter, AssignedToItselfIsUnchanged) {
  std::string log;
  SpiedFilter filter(log);
  filter.setId(OperationType::equal, "one");
  DatabaseFilter& same = filter;
  same = static_cast<const DatabaseFilter&>(filter);
  EXPECT_EQ(log, "") << "nothing was copied";
  EXPECT_EQ(query(filter), R"({"_id": "one"})");
}

TEST(DatabaseFilter, IsStoredAndRestoredAsADocument) {
  DatabaseFilter filter;
  filter.filter_init();
  filter.setCategory(OperationType::equal, "a", "1", "");
  filter.start_or();
  filter.setDescriptionAsDouble(OperationType::less, "b", 1.5);
  filter.setId(OperationType::notEqual, "one");
  filter.finish_or();
  filter.filter_finish();
  DatabaseFilter again;
  again.setId(OperationType::equal, "gone");
  again.fromObjectProperties(filter.toObjectProeprties());
  EXPECT_EQ(query(again), query(filter));
}

TEST(DatabaseFilter, RestoredIsTheSameDocumentWhateverItsGroups) {
  // Each letter is an operation: o and a open a group, the digits are conditions, ) closes a group.
  for (const std::string_view operations :
       {"1a1)", "o1a12))", "a1o1a1o12))))", "1o)o1)", "oa12))1", "o1o2o1)))a1a1a2", "1)1)"}) {
    DatabaseFilter filter;
    for (const char operation : operations) {
      if (operation == 'o') filter.start_or();
      if (operation == 'a') filter.start_and();
      if (operation == ')') filter.finish_or();
      if (operation == '1') filter.setCategory(OperationType::equal, "a(b", "1", "");
      if (operation == '2') filter.setId(OperationType::notEqual, "2");
    }
    DatabaseFilter again;
    again.fromObjectProperties(filter.toObjectProeprties());
    EXPECT_EQ(query(again), query(filter)) << operations;
  }
}

TEST(DatabaseFilter, CanBeReadManyTimes) {
  DatabaseFilter filter;
  filter.filter_init();
  filter.setId(OperationType::equal, "one");
  EXPECT_EQ(query(filter), query(filter));
  filter.setCategory(OperationType::equal, "a", "1", "");
  EXPECT_NE(query(filter).find("recordInfo.category"), std::string::npos) << "still open after it was read";
}

TEST(DatabaseFilter, KeepsWhatItHadWhenAConditionIsRefused) {
  DatabaseFilter filter;
  filter.setId(OperationType::equal, "one");
  EXPECT_THROW(filter.setCategory(OperationType::equal, "a", "1", "no option"), database_client::Error);
  EXPECT_THROW(filter.setCategory(existing, std::string("a\0b", 3), "1", ""), database_client::Error);
  EXPECT_THROW(filter.setDescriptionAsInt(static_cast<OperationType>(10), "a", 1), database_client::Error);
  EXPECT_EQ(query(filter), R"({"_id": "one"})");
}

TEST(DatabaseFilterPrivate, BuildsTheKeysOfTheRecordLayout) {
  DatabaseFilterPrivate filter;
  EXPECT_EQ(filter.createGroupKey("category"), "recordInfo.category");
  EXPECT_EQ(filter.createKey("category", "name"), "recordInfo.category.name");
}

TEST(DatabaseFilterPrivate, BuildsTheNameKeyFirstForEveryOperation) {
  class Keys : public DatabaseFilterPrivate {
   public:
    using DatabaseFilterPrivate::operator=;
    std::string createKey(const std::string& group, const std::string& field) override {
      log += "key(" + group + "," + field + ") ";
      return DatabaseFilterPrivate::createKey(group, field);
    }
    std::string createGroupKey(const std::string& group) override {
      log += "group(" + group + ") ";
      return DatabaseFilterPrivate::createGroupKey(group);
    }
    std::string log;
  } filter;
  filter.setCategory(existing, "a", "", "");
  EXPECT_EQ(filter.log, "key(category,name) group(category) ");
  filter.log.clear();
  filter.setDescriptionAsInt(OperationType::equal, "a", 1);
  EXPECT_EQ(filter.log, "key(description,name) group(description) group(description) ");
}

TEST(DatabaseFilterPrivate, OffersItsOwnFinishOr) {
  DatabaseFilterPrivate filter;
  filter.filter_init();
  filter.start_or();
  filter.setId(OperationType::equal, "one");
  filter.setId(OperationType::equal, "two");
  filter.finish_or();
  filter.start_and();
  filter.setId(OperationType::notEqual, "three");
  filter.finish_and();
  filter.filter_finish();
  EXPECT_EQ(filter.toObjectProeprties().toJson(), clientQueryOf([](ObjectFilter& expected) {
              expected.start_or();
              expected.setFilterId(OperationType::equal, "_id", "one");
              expected.setFilterId(OperationType::equal, "_id", "two");
              expected.finish_or();
              expected.setFilterId(OperationType::notEqual, "_id", "three");
            }));
}

TEST(DatabaseFilterPrivate, TellsWhetherItIsEmptyAndGivesACopyOfItsFilter) {
  DatabaseFilterPrivate filter;
  EXPECT_TRUE(filter.isEmpty());
  filter.setId(OperationType::equal, "one");
  EXPECT_FALSE(filter.isEmpty());
  ObjectFilter copy = filter.d();
  copy.setFilterBool(OperationType::equal, "more", true);
  EXPECT_EQ(filter.toObjectProeprties().toJson(), R"({"_id": "one"})");
  filter.clear();
  EXPECT_TRUE(filter.isEmpty());
}

TEST(DatabaseFilterPrivate, AssignsThroughCopy) {
  std::string log;
  Spy target(log);
  DatabaseFilterPrivate source;
  source.setId(OperationType::equal, "one");
  static_cast<DatabaseFilterPrivate&>(target) = source;
  EXPECT_EQ(log, "copy ");
  EXPECT_EQ(target.toObjectProeprties().toJson(), R"({"_id": "one"})");
}

}  // namespace
}  // namespace database_provider
