// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "database_client/ObjectFilter.h"
#include "tests/contract/Contract.h"
#include "tests/contract/FilterRows.h"

namespace database_test {

using database_client::ObjectFilter;
using database_client::ObjectProperties;
using database_client::OperationType;

namespace {

/// Filters over the same eight records, on every engine.
class FilterContract : public StoreContract {
 protected:
  void SetUp() override {
    StoreContract::SetUp();
    if (!IsSkipped()) insertRecords();
  }

  void insertRecords() {
    std::vector<ObjectProperties> records;
    std::vector<const ObjectProperties*> pointers;
    for (const char* record : filterRecords()) records.push_back(document(record));
    for (const ObjectProperties& record : records) pointers.push_back(&record);
    std::vector<std::string> ids;
    ASSERT_TRUE(client.insertMany("experiment", "contract", pointers, ids).empty());
  }

  std::string selected(const ObjectProperties& query) {
    std::string ids = found(query);
    ids.erase(std::remove(ids.begin(), ids.end(), '\''), ids.end());
    return ids;
  }
};

class FilterRowContract : public FilterContract {};

ObjectFilter twoConditions() {
  ObjectFilter filter;
  filter.setFilterInt(OperationType::equal, "a", 1);
  filter.setFilterString(OperationType::equal, "s", "abc", "");
  return filter;
}

}  // namespace

TEST_P(FilterRowContract, SelectsItsRecords) {
  const FilterRow& row = rowNamed(filterRows(), rowName());
  for (const ObjectProperties& query : row.queries()) EXPECT_EQ(selected(query), row.expected) << text(query);
}

TEST_P(FilterContract, ExcludedConditionsMoveToTheOtherFilter) {
  ObjectFilter filter = twoConditions();
  ObjectFilter taken;
  filter.exclude("s", taken);
  EXPECT_EQ(selected(filter.toObjectProeprties()), "1 5");
  EXPECT_EQ(selected(taken.toObjectProeprties()), "1");
}

TEST_P(FilterContract, ExcludingAnAbsentKeyTakesNothing) {
  ObjectFilter filter = twoConditions();
  ObjectFilter taken;
  filter.exclude("g", taken);
  EXPECT_EQ(selected(filter.toObjectProeprties()), "1");
  EXPECT_TRUE(taken.isEmpty());
}

TEST_P(FilterContract, AnEmptyFilterRemovesEverythingOnlyWhereItIsMeant) {
  EXPECT_EQ(counted("{}"), "8");
  client.remove("experiment", "contract", ObjectFilter().toObjectProeprties());
  EXPECT_EQ(counted("{}"), "0");
}

INSTANTIATE_TEST_SUITE_P(Engines, FilterContract, ::testing::ValuesIn(engineNames()), engineName);
INSTANTIATE_TEST_SUITE_P(Engines, FilterRowContract, ::testing::ValuesIn(rowsOfEngines(filterRows())), engineName);

}  // namespace database_test
