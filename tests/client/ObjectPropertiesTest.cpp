// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "database_client/Error.h"
#include "database_client/ObjectProperties.h"

namespace database_client {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string pathRefused(const std::function<void()>& call) {
  try {
    call();
  } catch (const Error& error) {
    return std::string(toString(error.kind())) + " at " + error.where();
  }
  return "accepted";
}

TEST(ObjectProperties, ArrayOfStagesKeepsTheOrderOfItsIndices) {
  ObjectProperties document;
  document.beginArray("pipeline");
  document.beginGroup("0");
  document.setValueBool("$match", true);
  document.endGroup();
  document.beginGroup("1");
  document.setValueInt32("$limit", 3);
  document.endGroup();
  document.endArray();
  EXPECT_EQ(document.type("pipeline"), PropertyType::array);
  ASSERT_TRUE(document.enterArray("pipeline"));
  EXPECT_THAT(document.childKeys(), ElementsAre("0", "1"));
  EXPECT_THAT(document.childGroups(), ElementsAre("0", "1"));
}

TEST(ObjectProperties, KeyWithDotsIsOneKey) {
  ObjectProperties document;
  document.setValueBool("recordInfo.category", true);
  EXPECT_THAT(document.childKeys(), ElementsAre("recordInfo.category"));
  EXPECT_FALSE(document.contains("recordInfo"));
}

TEST(ObjectProperties, AbsentKeyReadsAsTheDefault) {
  const ObjectProperties document;
  EXPECT_EQ(document.valueAsInt32("a", 7), 7);
  EXPECT_EQ(document.valueAsString("a", "x"), "x");
  EXPECT_EQ(document.valueAsId("a", "y"), "y");
  EXPECT_EQ(document.valueAsTime("a", -1), -1);
  EXPECT_EQ(document.valueAsBool("a", true), true);
  EXPECT_EQ(document.type("a"), PropertyType::undefined);
  EXPECT_TRUE(document.isEmpty());
}

TEST(ObjectProperties, EmptyLevelHasNoKeysAndGroupsAreOnlyNestedDocuments) {
  ObjectProperties document;
  EXPECT_THAT(document.childKeys(), IsEmpty());
  document.setValueInt32("number", 1);
  document.beginGroup("group");
  document.endGroup();
  document.beginArray("array");
  document.endArray();
  EXPECT_THAT(document.childGroups(), ElementsAre("group"));
  EXPECT_THAT(document.childKeys(), ElementsAre("number", "group", "array"));
}

TEST(ObjectProperties, OverwritingKeepsThePlaceOfTheKey) {
  ObjectProperties document;
  document.setValueInt32("a", 1);
  document.setValueInt32("b", 2);
  document.setValueString("a", "a longer value than before");
  EXPECT_THAT(document.childKeys(), ElementsAre("a", "b"));
  EXPECT_EQ(document.valueAsString("a", ""), "a longer value than before");
  EXPECT_EQ(document.valueAsInt32("b", 0), 2);
  document.setValueBool("a", true);
  EXPECT_THAT(document.childKeys(), ElementsAre("a", "b"));
  EXPECT_EQ(document.type("a"), PropertyType::boolean);
}

TEST(ObjectProperties, EveryKindComesBackAsItWasSet) {
  ObjectProperties document;
  document.setValueString("string", std::string("nul \0 inside", 12));
  document.setValueBool("bool", false);
  document.setValueInt32("int", std::numeric_limits<int>::min());
  document.setValueInt64("long", std::numeric_limits<std::int64_t>::max());
  document.setValueDouble("double", -0.0);
  document.setValueTime("time", -1);
  document.setValueId("id", "0123456789ABCDEFabcdef01");
  document.setValueNull("null");
  EXPECT_EQ(document.valueAsString("string", "").size(), 12U);
  EXPECT_EQ(document.valueAsBool("bool", true), false);
  EXPECT_EQ(document.valueAsInt32("int", 0), std::numeric_limits<int>::min());
  EXPECT_EQ(document.valueAsInt64("long", 0), std::numeric_limits<std::int64_t>::max());
  EXPECT_TRUE(std::signbit(document.valueAsDouble("double", 1)));
  EXPECT_EQ(document.valueAsTime("time", 0), -1);
  EXPECT_EQ(document.valueAsId("id", ""), "0123456789abcdefabcdef01");
  EXPECT_EQ(document.type("id"), PropertyType::id);
  EXPECT_EQ(document.type("null"), PropertyType::null);
}

TEST(ObjectProperties, TextThatIsNoObjectIdIsKeptAsAString) {
  ObjectProperties document;
  document.setValueId("_id", "db.user");
  EXPECT_EQ(document.type("_id"), PropertyType::string);
  EXPECT_EQ(document.valueAsId("_id", ""), "db.user");
}

TEST(ObjectProperties, NumbersAreReadAcrossKindsWhereNothingIsLost) {
  ObjectProperties document;
  document.setValueInt64("five", 5);
  document.setValueDouble("two", 2.0);
  document.setValueDouble("half", 0.5);
  document.setValueInt64("big", (std::int64_t{1} << 53) + 1);
  document.setValueInt64("most", std::numeric_limits<std::int64_t>::max());
  document.setValueDouble("huge", 9223372036854775808.0);
  document.setValueDouble("nan", std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(document.valueAsInt32("five", 0), 5);
  EXPECT_EQ(document.valueAsDouble("five", 0), 5.0);
  EXPECT_EQ(document.valueAsInt32("two", 0), 2);
  EXPECT_EQ(document.valueAsInt64("two", 0), 2);
  EXPECT_EQ(document.valueAsInt32("half", -1), -1);
  EXPECT_EQ(document.valueAsInt32("big", -1), -1);
  EXPECT_EQ(document.valueAsDouble("big", -1), -1);
  EXPECT_EQ(document.valueAsDouble("most", -1), -1);
  EXPECT_EQ(document.valueAsInt64("huge", -1), -1);
  EXPECT_EQ(document.valueAsInt64("nan", -1), -1);
  EXPECT_EQ(document.valueAsTime("five", -1), -1);
  EXPECT_EQ(document.valueAsBool("five", true), true);
}

TEST(ObjectProperties, ValueOfAnotherKindReadsAsAnEmptyLevelUntilTheFirstWrite) {
  ObjectProperties document;
  document.setValueInt32("a", 5);
  document.setValueInt32("z", 1);
  document.beginGroup("a");
  EXPECT_EQ(document.size(), 0);
  EXPECT_THAT(document.childKeys(), IsEmpty());
  document.endGroup();
  EXPECT_EQ(document.type("a"), PropertyType::int32);
  document.beginGroup("a");
  document.setValueString("b", "now a group");
  document.endGroup();
  EXPECT_EQ(document.type("a"), PropertyType::group);
  EXPECT_THAT(document.childKeys(), ElementsAre("a", "z"));
}

TEST(ObjectProperties, EnteringWhatIsAbsentOrOfAnotherKindChangesNothing) {
  ObjectProperties document;
  document.setValueInt32("a", 5);
  const auto before = document.toBson();
  EXPECT_FALSE(document.enterGroup("a"));
  EXPECT_FALSE(document.enterGroup("b"));
  EXPECT_FALSE(document.enterArray("b"));
  EXPECT_FALSE(document.enterAt(0));
  EXPECT_FALSE(Entered::group(document, "b"));
  EXPECT_EQ(document.toBson(), before);
  EXPECT_EQ(document.valueAsInt32("a", 0), 5);
}

TEST(ObjectProperties, CopyIsIndependentAndStandsAtTheRoot) {
  ObjectProperties document;
  document.beginGroup("g");
  document.setValueInt32("a", 1);
  ObjectProperties copy(document);
  EXPECT_THAT(copy.childKeys(), ElementsAre("g"));
  document.setValueInt32("a", 2);
  {
    const Group inside(copy, "g");
    EXPECT_EQ(copy.valueAsInt32("a", 0), 1);
    copy.setValueInt32("b", 3);
  }
  EXPECT_FALSE(document.contains("b"));
  EXPECT_EQ(document.valueAsInt32("a", 0), 2);
  copy = copy;  // NOLINT: assigning to itself is the point
  EXPECT_THAT(copy.childGroups(), ElementsAre("g"));
}

TEST(ObjectProperties, MovedFromDocumentIsEmptyAndUsable) {
  ObjectProperties document;
  document.setValueInt32("a", 1);
  const ObjectProperties other(std::move(document));
  EXPECT_TRUE(other.contains("a"));
  EXPECT_TRUE(document.isEmpty());  // NOLINT(bugprone-use-after-move): what is left is defined
  document.setValueInt32("b", 1);
  EXPECT_THAT(document.childKeys(), ElementsAre("b"));
}

TEST(ObjectProperties, RemovingASlashEmptiesTheWholeDocumentAndRemoveKeyOnlyThatKey) {
  ObjectProperties document;
  document.setValueInt32("/", 1);
  document.setValueInt32("a", 1);
  document.removeKey("/");
  EXPECT_THAT(document.childKeys(), ElementsAre("a"));
  document.beginGroup("g");
  document.remove("/");
  document.setValueInt32("b", 1);
  document.endGroup();
  EXPECT_THAT(document.childKeys(), ElementsAre("g"));
}

TEST(ObjectProperties, RemovingAnAbsentKeyDoesNothing) {
  ObjectProperties document;
  document.setValueInt32("a", 1);
  document.remove("b");
  EXPECT_THAT(document.childKeys(), ElementsAre("a"));
}

TEST(ObjectProperties, IncludePlacesACopyUnderTheKeyAndAtTheRootForASlash) {
  ObjectProperties part;
  part.setValueInt32("x", 1);
  ObjectProperties document;
  document.setValueString("x", "old");
  document.include("part", part);
  part.setValueInt32("x", 2);
  document.beginGroup("deep");
  document.include("/", part);
  document.setValueBool("still here", true);
  document.endGroup();
  EXPECT_THAT(document.childKeys(), ElementsAre("x", "part", "deep"));
  EXPECT_EQ(document.valueAsInt32("x", 0), 2);
  ASSERT_TRUE(document.enterGroup("part"));
  EXPECT_EQ(document.valueAsInt32("x", 0), 1);
}

TEST(ObjectProperties, DocumentCanBeIncludedInItself) {
  ObjectProperties document;
  document.setValueInt32("a", 1);
  document.include("copy", document);
  EXPECT_THAT(document.childKeys(), ElementsAre("a", "copy"));
  ASSERT_TRUE(document.enterGroup("copy"));
  EXPECT_THAT(document.childKeys(), ElementsAre("a"));
}

TEST(ObjectProperties, ExcludeTakesTheSubtreeOutAndReplacesTheOutput) {
  ObjectProperties document;
  document.setValueInt32("a", 1);
  {
    const Group group(document, "g");
    document.setValueInt32("inner", 2);
  }
  ObjectProperties out;
  out.setValueInt32("old", 0);
  document.exclude("g", out);
  EXPECT_THAT(document.childKeys(), ElementsAre("a"));
  EXPECT_THAT(out.childKeys(), ElementsAre("inner"));
  document.exclude("absent", out);
  EXPECT_THAT(out.childKeys(), ElementsAre("inner"));
  document.exclude("a", out);
  EXPECT_THAT(out.childKeys(), ElementsAre("a"));
  EXPECT_TRUE(document.isEmpty());
}

TEST(ObjectProperties, RepeatedKeysFromAStoreAreKeptAndTheFirstIsRead) {
  const std::vector<std::uint8_t> bytes = {33, 0,    0,   0, 0x10, 'a', 0, 1, 0,    0,   0, 0x10, 'b', 0, 2, 0, 0,
                                           0,  0x10, 'a', 0, 3,    0,   0, 0, 0x10, 'c', 0, 4,    0,   0, 0, 0};
  ObjectProperties document = ObjectProperties::fromBson(bytes.data(), bytes.size());
  EXPECT_EQ(document.valueAsInt32("a", 0), 1);
  EXPECT_EQ(document.valueAsInt32("b", 0), 2);
  EXPECT_EQ(document.valueAsInt32("a", 0), 1);
  EXPECT_EQ(document.valueAsInt32("c", 0), 4);
  EXPECT_EQ(document.toBson(), bytes);
  document.remove("a");
  EXPECT_THAT(document.childKeys(), ElementsAre("b", "c"));
}

TEST(ObjectProperties, PositionsReachEveryEntry) {
  ObjectProperties document;
  document.setValueBool("flag", true);
  {
    const Array array(document, "list");
    const Group item(document, "0");
    document.setValueInt32("x", 9);
  }
  document.setValueInt32("n", 1);
  EXPECT_EQ(document.size(), 3);
  EXPECT_EQ(document.nameAt(2), "n");
  EXPECT_EQ(document.typeAt(1), PropertyType::array);
  EXPECT_TRUE(document.boolAt(0, false));
  EXPECT_FALSE(document.boolAt(2, false));
  EXPECT_EQ(document.nameAt(3), "");
  EXPECT_EQ(document.nameAt(-1), "");
  EXPECT_EQ(document.typeAt(3), PropertyType::undefined);
  ASSERT_TRUE(document.enterAt(1));
  ASSERT_TRUE(document.enterAt(0));
  EXPECT_EQ(document.valueAsInt32("x", 0), 9);
  document.endGroup();
  document.endArray();
  EXPECT_FALSE(document.enterAt(0));
}

TEST(ObjectProperties, FindsTheLastItemWithAText) {
  const ObjectProperties document = ObjectProperties::fromJson(
      R"({"items": [{"name": "a"}, {"type": 1, "name": "b"}, {"name": 1}, ["a"], "a", {"name": "a"}, {"name": ""}, {}]})");
  EXPECT_EQ(document.lastWith("name", "a"), -1);
  ASSERT_TRUE(document.enterArray("items"));
  EXPECT_EQ(document.lastWith("name", "a"), 5);
  EXPECT_EQ(document.lastWith("name", "b"), 1);
  EXPECT_EQ(document.lastWith("name", ""), 6);
  EXPECT_EQ(document.lastWith("name", "c"), -1);
  EXPECT_EQ(document.lastWith("other", "a"), -1);
  EXPECT_EQ(document.lastWith(std::string("name\0", 5), "a"), -1);
  EXPECT_EQ(document.lastWith("0", "a"), 3);
  ASSERT_TRUE(document.enterAt(document.lastWith("name", "b")));
  EXPECT_EQ(document.valueAsInt32("type", 0), 1);
}

TEST(ObjectProperties, FindsItemsUnderKeysOfAnyLength) {
  ObjectProperties document;
  for (const std::string& key :
       {std::string(), std::string("1"), std::string("12"), std::string("123"), std::string("1234567890")}) {
    const Group item(document, key);
    document.setValueString("name", "item " + key);
  }
  EXPECT_EQ(document.lastWith("name", "item "), 0);
  EXPECT_EQ(document.lastWith("name", "item 1"), 1);
  EXPECT_EQ(document.lastWith("name", "item 12"), 2);
  EXPECT_EQ(document.lastWith("name", "item 123"), 3);
  EXPECT_EQ(document.lastWith("name", "item 1234567890"), 4);
}

TEST(ObjectProperties, SurplusCloseDoesNothing) {
  ObjectProperties document;
  document.endGroup();
  document.endArray();
  document.setValueInt32("a", 1);
  EXPECT_THAT(document.childKeys(), ElementsAre("a"));
}

TEST(ObjectProperties, CopyValueTakesAnyKind) {
  ObjectProperties source;
  source.setValueNull("nothing");
  {
    const Array array(source, "list");
    source.setValueInt32("0", 1);
  }
  ObjectProperties document;
  EXPECT_TRUE(document.copyValue("a", source, "nothing"));
  EXPECT_TRUE(document.copyValue("b", source, "list"));
  EXPECT_FALSE(document.copyValue("c", source, "absent"));
  EXPECT_EQ(document.type("a"), PropertyType::null);
  EXPECT_EQ(document.type("b"), PropertyType::array);
  EXPECT_TRUE(document.copyValue("c", document, "b"));
  EXPECT_EQ(document.type("c"), PropertyType::array);
}

TEST(ObjectProperties, RefusalsNameThePathAndChangeNothing) {
  ObjectProperties document;
  document.beginGroup("group");
  document.beginArray("list");
  const auto before = document.toBson();
  EXPECT_EQ(pathRefused([&] { document.setValueString("text", "\xff"); }), "document at group.list.text");
  EXPECT_EQ(pathRefused([&] { document.setValueInt32(std::string("a\0b", 3), 1); }), "document at group.list.a");
  EXPECT_EQ(pathRefused([&] { document.setValueInt32("\xc0\x80", 1); }), "document at group.list.");
  EXPECT_EQ(pathRefused([&] { document.setValueString("big", std::string(16 * 1024 * 1024, 'x')); }),
            "document at group.list.big");
  EXPECT_EQ(document.toBson(), before);
  EXPECT_FALSE(document.contains(std::string("a\0b", 3)));
}

TEST(ObjectProperties, AHundredLevelsAreTheLimit) {
  ObjectProperties document;
  for (int i = 0; i < 100; ++i) document.beginGroup("g");
  document.setValueInt32("bottom", 1);
  EXPECT_THROW(document.beginGroup("g"), Error);
  ObjectProperties inner;
  EXPECT_THROW(document.include("g", inner), Error);
  const auto bytes = document.toBson();
  EXPECT_EQ(ObjectProperties::fromBson(bytes.data(), bytes.size()).toBson(), bytes);
  ObjectProperties outer;
  EXPECT_THROW(outer.include("g", document), Error);
  EXPECT_TRUE(outer.isEmpty());
}

TEST(ObjectProperties, GrowsToSixteenMebibytesAndNotBeyond) {
  ObjectProperties document;
  const std::size_t overhead = 5 + 1 + 2 + 4 + 1;
  document.setValueString("a", std::string(16 * 1024 * 1024 - overhead, 'x'));
  EXPECT_EQ(document.toBson().size(), 16U * 1024 * 1024);
  EXPECT_THROW(document.setValueBool("b", true), Error);
  EXPECT_THAT(document.childKeys(), ElementsAre("a"));
}

}  // namespace
}  // namespace database_client
