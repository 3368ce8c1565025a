// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "database_provider/PropertiesToRecordProjection.h"

namespace database_provider {
namespace {

std::string converted(const std::string& switches, const std::string& projection = "{}") {
  ObjectProperties target = ObjectProperties::fromJson(projection);
  EXPECT_TRUE(PropertiesToRecordProjection::convert(ObjectProperties::fromJson(switches), target));
  return target.toJson();
}

TEST(PropertiesToRecordProjection, TakesTheSwitchesAndPassesOverTheRest) {
  EXPECT_EQ(converted(R"({"title": true, "size": false, "count": 5})"),
            R"({"record.title": true, "record.size": false})");
}

TEST(PropertiesToRecordProjection, LeavesTheProjectionWhenThereAreNoSwitches) {
  EXPECT_EQ(converted("{}", R"({"a": 1})"), R"({"a": 1})");
}

TEST(PropertiesToRecordProjection, KeepsWhatTheProjectionHeld) {
  EXPECT_EQ(converted(R"({"a": true, "b": false})", R"({"x": 1, "record.a": false})"),
            R"({"x": 1, "record.a": true, "record.b": false})");
}

TEST(PropertiesToRecordProjection, LooksAtTheCurrentLevelOnly) {
  EXPECT_EQ(converted(R"({"inner": {"a": true}, "list": [true], "b": true})"), R"({"record.b": true})");
  ObjectProperties switches = ObjectProperties::fromJson(R"({"inner": {"a": true}, "b": true})");
  ObjectProperties projection;
  const database_client::Group inner(switches, "inner");
  PropertiesToRecordProjection::convert(switches, projection);
  EXPECT_EQ(projection.toJson(), R"({"record.a": true})");
}

TEST(PropertiesToRecordProjection, AKeyFormedTwiceHasTheLaterValue) {
  // A document as a store may send it, with a repeated key.
  const unsigned char repeated[] = {13, 0, 0, 0, 8, 'a', 0, 1, 8, 'a', 0, 0, 0};
  ObjectProperties projection;
  PropertiesToRecordProjection::convert(ObjectProperties::fromBson(repeated, sizeof repeated), projection);
  EXPECT_EQ(projection.toJson(), R"({"record.a": false})");
}

}  // namespace
}  // namespace database_provider
