// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <sstream>
#include <string>

#include "database_provider/DatabaseFilter.h"
#include "filter/database_filter_d.h"

// The client's filter, in place of the library's own in this program: it writes down what it is asked for, each call
// with the number of the filter, in the order of their making.

namespace database_client {

namespace {

std::ostringstream written;  // NOLINT(cert-err58-cpp): a test without it is none
int made = 0;

template <class Value>
void note(int filter, const char* name, OperationType operation, const std::string& key, const Value& value) {
  written << filter << '.' << name << '(' << static_cast<int>(operation) << ',' << key << ',' << value << ") ";
}

}  // namespace

struct ObjectFilter::Query {
  int number = ++made;
};

ObjectFilter::ObjectFilter() : query_(std::make_unique<Query>()) {
  written << "new" << query_->number << ' ';
}
ObjectFilter::ObjectFilter(const ObjectFilter& other) : query_(std::make_unique<Query>()) {
  written << "new" << query_->number << '(' << other.query_->number << ") ";
}
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment, cert-oop54-cpp): it assigns nothing
ObjectFilter& ObjectFilter::operator=(const ObjectFilter& other) {
  written << query_->number << '=' << other.query_->number << ' ';
  return *this;
}
ObjectFilter::~ObjectFilter() {
  written << "delete" << query_->number << ' ';
}
void ObjectFilter::setFilterString(OperationType operation, const std::string& key, const std::string& value,
                                   const std::string& options) {
  note(query_->number, "String", operation, key, value + "," + options);
}
void ObjectFilter::setFilterBool(OperationType operation, const std::string& key, bool value) {
  note(query_->number, "Bool", operation, key, value);
}
void ObjectFilter::setFilterInt(OperationType operation, const std::string& key, int value) {
  note(query_->number, "Int", operation, key, value);
}
void ObjectFilter::setFilterLongLong(OperationType operation, const std::string& key, long long value) {
  note(query_->number, "LongLong", operation, key, value);
}
void ObjectFilter::setFilterDouble(OperationType operation, const std::string& key, double value) {
  note(query_->number, "Double", operation, key, value);
}
void ObjectFilter::setFilterTime(OperationType operation, const std::string& key, long long value) {
  note(query_->number, "Time", operation, key, value);
}
void ObjectFilter::setFilterId(OperationType operation, const std::string& key, const std::string& id) {
  note(query_->number, "Id", operation, key, id);
}
void ObjectFilter::start_and() {
  written << query_->number << ".start_and ";
}
void ObjectFilter::finish_and() {
  written << query_->number << ".finish_and ";
}
void ObjectFilter::start_or() {
  written << query_->number << ".start_or ";
}
void ObjectFilter::finish_or() {
  written << query_->number << ".finish_or ";
}
void ObjectFilter::beginGroup(const std::string& key) {
  written << query_->number << ".beginGroup(" << key << ") ";
}
void ObjectFilter::endGroup() {
  written << query_->number << ".endGroup ";
}
void ObjectFilter::include(const ObjectFilter& other) {
  written << query_->number << ".include(" << other.query_->number << ") ";
}
void ObjectFilter::exclude(const std::string& key, ObjectFilter& out) {
  written << query_->number << ".exclude(" << key << ',' << out.query_->number << ") ";
}
void ObjectFilter::fromObjectProperties(const ObjectProperties& query) {
  written << query_->number << ".from(" << query.toJson() << ") ";
}
ObjectProperties ObjectFilter::toObjectProeprties() const {
  written << query_->number << ".to ";
  return {};
}
bool ObjectFilter::isEmpty() const {
  written << query_->number << ".isEmpty ";
  return true;
}

}  // namespace database_client

namespace database_provider {
namespace {

class FilterCalls : public ::testing::Test {
 protected:
  /// What `call` makes of the filter number 1.
  static std::string calls(const std::function<void()>& call) {
    database_client::written.str({});
    call();
    return database_client::written.str();
  }

  /// How many filters were made before.
  int before = database_client::made = 0;
  DatabaseFilter filter;
};

TEST_F(FilterCalls, OfTheFacadesGroupsCloseEachWithFinishAnd) {
  EXPECT_EQ(calls([&] {
              filter.filter_init();
              filter.start_or();
              filter.finish_or();
              filter.start_and();
              filter.finish_and();
              filter.filter_finish();
            }),
            "1.start_and 1.start_or 1.finish_and 1.start_and 1.finish_and 1.finish_and ");
}

TEST_F(FilterCalls, OfAConditionOnAnItemBuildItApartAndIncludeIt) {
  for (const int code : {0, 1, 2, 3, 4, 5, 8, 9, 42, -1}) {
    database_client::made = 1;
    EXPECT_EQ(calls([&] { filter.setCategory(static_cast<OperationType>(code), "n", "v", "x"); }),
              "new2 2.beginGroup(recordInfo.category) 2.beginGroup($elemMatch) 2.String(0,name,n,) 2.String(" +
                  std::to_string(code) + ",value,v,x) 2.endGroup 2.endGroup 1.include(2) delete2 ");
  }
}

TEST_F(FilterCalls, OfADescriptionDifferInTheKindOfItsValue) {
  const auto expected = [](const std::string& value) {
    return "new2 2.beginGroup(recordInfo.description) 2.beginGroup($elemMatch) 2.String(0,name,n,) 2." + value +
           " 2.endGroup 2.endGroup 1.include(2) delete2 ";
  };
  const auto described = [&](const std::function<void(OperationType)>& describe) {
    database_client::made = 1;
    return calls([&] { describe(OperationType::less); });
  };
  EXPECT_EQ(described([&](auto type) { filter.setDescriptionAsString(type, "n", "v", "i"); }),
            expected("String(2,value,v,i)"));
  EXPECT_EQ(described([&](auto type) { filter.setDescriptionAsInt(type, "n", -7); }), expected("Int(2,value,-7)"));
  EXPECT_EQ(described([&](auto type) { filter.setDescriptionAsDouble(type, "n", 1.5); }),
            expected("Double(2,value,1.5)"));
  EXPECT_EQ(described([&](auto type) { filter.setDescriptionAsLongLong(type, "n", 5000000000); }),
            expected("LongLong(2,value,5000000000)"));
  EXPECT_EQ(described([&](auto type) { filter.setDescriptionAsBool(type, "n", true); }), expected("Bool(2,value,1)"));
  EXPECT_EQ(described([&](auto type) { filter.setDescriptionAsTime(type, "n", -1); }), expected("Time(2,value,-1)"));
}

TEST_F(FilterCalls, OfATestOfTheNameAloneAreOneCondition) {
  EXPECT_EQ(calls([&] { filter.setCategory(OperationType::exists, "n", "v", "x"); }),
            "1.String(0,recordInfo.category.name,n,i) ");
  EXPECT_EQ(calls([&] { filter.setCategory(OperationType::notExists, "n", "v", "x"); }),
            "1.String(1,recordInfo.category.name,n,i) ");
  EXPECT_EQ(calls([&] { filter.setDescriptionAsInt(OperationType::exists, "n", 5); }),
            "1.String(0,recordInfo.description.name,n,i) ");
  EXPECT_EQ(calls([&] { filter.setDescriptionAsBool(OperationType::notExists, "n", true); }),
            "1.String(1,recordInfo.description.name,n,i) ");
}

TEST_F(FilterCalls, OfAnIdPassEveryOperationOn) {
  EXPECT_EQ(calls([&] { filter.setId(OperationType::exists, "one"); }), "1.Id(6,_id,one) ");
  EXPECT_EQ(calls([&] { filter.setId(OperationType::notExists, ""); }), "1.Id(7,_id,) ");
}

TEST_F(FilterCalls, OfClearAndCopiesAreThoseOfValues) {
  EXPECT_EQ(calls([&] { filter.clear(); }), "new2 1=2 delete2 ");
  EXPECT_EQ(calls([&] { const DatabaseFilter copy(filter); }), "new3(1) delete3 ");
  EXPECT_EQ(calls([&] {
              DatabaseFilter assigned;
              assigned = filter;
            }),
            "new4 4=1 delete4 ");
  EXPECT_EQ(calls([&] {
              DatabaseFilter& same = filter;
              same = static_cast<const DatabaseFilter&>(filter);
            }),
            "");
}

TEST_F(FilterCalls, OfExcludeGoThroughAFilterOfItsOwn) {
  DatabaseFilter target;
  EXPECT_EQ(calls([&] { filter.exclude("key", target); }), "new3 1.exclude(key,3) 2=3 delete3 ");
  EXPECT_EQ(calls([&] { filter.include(target); }), "1.include(2) ");
}

TEST_F(FilterCalls, OfTheQueryDocumentAreOneEach) {
  EXPECT_EQ(calls([&] { filter.toObjectProeprties(); }), "1.to ");
  EXPECT_EQ(calls([&] { filter.fromObjectProperties(ObjectProperties::fromJson(R"({"a": 1})")); }),
            R"(1.from({"a": 1}) )");
}

TEST_F(FilterCalls, OfTheImplementationAreThoseOfTheSameName) {
  DatabaseFilterPrivate implementation;
  EXPECT_EQ(calls([&] {
              implementation.start_or();
              implementation.finish_or();
              implementation.start_and();
              implementation.finish_and();
              implementation.isEmpty();
              implementation.d();
            }),
            "2.start_or 2.finish_or 2.start_and 2.finish_and 2.isEmpty new3(2) delete3 ");
}

}  // namespace
}  // namespace database_provider
