// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "database_provider/descriptions.h"
#include "records/ExperimentDatabaseRecord.h"
#include "tests/support/records.h"

namespace database_provider {
namespace {

/// What a record holds after it was written and read again.
std::string stored(const DatabaseRecordInterface& record) {
  ExperimentDatabaseRecord again;
  again.setD(std::make_unique<ObjectProperties>(*record.getD()).release());
  return descriptions(again);
}

TEST(SetDescription, OfEachKindIsWrittenWhenItIsTheOnlyEdit) {
  using std::chrono::milliseconds;
  using std::chrono::system_clock;
  const auto only = [](const auto& value) {
    ExperimentDatabaseRecord record;
    EXPECT_TRUE(setDescription(record, "x", value));
    return stored(record);
  };
  EXPECT_EQ(only("text"), "x=string:text");
  EXPECT_EQ(only(std::string("text")), "x=string:text");
  EXPECT_EQ(only(true), "x=bool:true");
  EXPECT_EQ(only(5), "x=int32:5");
  EXPECT_EQ(only(1.5), "x=double:1.500000");
  EXPECT_EQ(only(1.5F), "x=double:1.500000");
  EXPECT_EQ(only(5000000000LL), "x=int64:5000000000");
  EXPECT_EQ(only(std::int64_t{5}), "x=int64:5");
  EXPECT_EQ(only(milliseconds(1000)), "x=time:1000");
  EXPECT_EQ(only(std::chrono::seconds(2)), "x=time:2000");
  EXPECT_EQ(only(system_clock::time_point(milliseconds(1500))), "x=time:1500");
}

TEST(SetDescription, ReplacesADoubleThatWasLoaded) {
  ExperimentDatabaseRecord record;
  record.setD(newDocument(R"({"recordInfo": {"description": [{"name": "x", "value": 1.5, "type": 8}]}})").release());
  EXPECT_TRUE(setDescription(record, "x", 2.5));
  EXPECT_EQ(stored(record), "x=double:2.500000");
}

TEST(SetDescription, RefusesAnEmptyNameAndMarksNothing) {
  ExperimentDatabaseRecord record;
  EXPECT_FALSE(setDescription(record, "", "text"));
  EXPECT_FALSE(setDescription(record, "", true));
  EXPECT_FALSE(setDescription(record, "", 5));
  EXPECT_FALSE(setDescription(record, "", 1.5));
  EXPECT_FALSE(setDescription(record, "", 5LL));
  EXPECT_FALSE(setDescription(record, "", std::chrono::milliseconds(1)));
  EXPECT_EQ(record.getD()->toJson(), "{}");
}

TEST(SetDescription, OfAnEmptyTextRemovesAndSaysThatNothingIsStored) {
  ExperimentDatabaseRecord record;
  setDescription(record, "x", "text");
  EXPECT_FALSE(setDescription(record, "x", ""));
  EXPECT_EQ(stored(record), "");
}

TEST(SetDescription, TakesAPointerAndThrowsOnNull) {
  ExperimentDatabaseRecord record;
  EXPECT_TRUE(setDescription(&record, "x", 1.5));
  EXPECT_TRUE(setDescription(&record, "y", "text"));
  EXPECT_EQ(stored(record), "x=double:1.500000 y=string:text");

  ExperimentDatabaseRecord* const none = nullptr;
  try {
    setDescription(none, "x", 1.5);
    FAIL() << "did not throw";
  } catch (const std::invalid_argument& failure) {
    EXPECT_STREQ(failure.what(), "Null pointer to database record.");
  }
}

TEST(SetDescription, ATimeBeforeTheEpochRoundsDown) {
  ExperimentDatabaseRecord record;
  setDescription(record, "x", std::chrono::system_clock::time_point(std::chrono::microseconds(-1500)));
  EXPECT_EQ(stored(record), "x=time:-2");
}

}  // namespace
}  // namespace database_provider
