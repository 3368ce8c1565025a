// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "database_client/AtRoot.h"

namespace database_client {
namespace {

ObjectProperties nested() {
  return ObjectProperties::fromJson(R"({"a": {"b": [{"c": 1}]}})");
}

TEST(AtRoot, StandsAtTheRootAndThenWhereTheDocumentStood) {
  ObjectProperties document = nested();
  document.beginGroup("a");
  document.beginArray("b");
  document.beginGroup("0");
  {
    const AtRoot root(document);
    EXPECT_TRUE(document.contains("a"));
    document.setValueString("before everything else", "a text that moves the rest");
  }
  EXPECT_EQ(document.valueAsInt32("c", 0), 1);
  document.setValueInt32("c", 2);
  document.endGroup();
  document.endArray();
  EXPECT_TRUE(document.contains("b"));
  EXPECT_EQ(document.toJson(), R"({"a": {"b": [{"c": 2}]}, "before everything else": "a text that moves the rest"})");
}

TEST(AtRoot, OfADocumentAtItsRootChangesNothing) {
  ObjectProperties document = nested();
  {
    const AtRoot root(document);
    document.setValueInt32("d", 1);
  }
  EXPECT_TRUE(document.contains("d"));
  ObjectProperties empty;
  { const AtRoot root(empty); }
  EXPECT_EQ(empty.toJson(), "{}");
}

TEST(AtRoot, LeavesLevelsThatWereOpenedMeanwhile) {
  ObjectProperties document = nested();
  document.beginGroup("a");
  {
    const AtRoot root(document);
    document.beginGroup("a");
    document.beginArray("b");
  }
  EXPECT_TRUE(document.contains("b"));
}

TEST(AtRoot, ALevelThatIsGoneReadsAsEmptyAndIsMadeAnewByTheFirstWrite) {
  for (const char* const json : {"{}", R"({"a": 5})", R"({"a": {"b": {}}})"}) {
    ObjectProperties document = nested();
    document.beginGroup("a");
    document.beginArray("b");
    {
      const AtRoot root(document);
      document = ObjectProperties::fromJson(json);
    }
    EXPECT_EQ(document.size(), 0) << json;
    EXPECT_EQ(document.toJson(), json) << "reading makes nothing";
    document.setValueInt32("0", 7);
    EXPECT_EQ(document.toJson(), R"({"a": {"b": [7]}})") << json;
  }
}

TEST(AtRoot, ADocumentThatWasEmptiedIsMadeAnewByTheFirstWrite) {
  ObjectProperties document = nested();
  document.beginGroup("a");
  {
    const AtRoot root(document);
    document = ObjectProperties();
  }
  EXPECT_EQ(document.size(), 0);
  document.setValueInt32("b", 7);
  EXPECT_EQ(document.toJson(), R"({"a": {"b": 7}})");
}

}  // namespace
}  // namespace database_client
