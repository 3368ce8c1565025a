// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "tests/client/embedded/support/EngineFixture.h"

// Queries of thousands of conditions or values: what they find, and that their time does not grow with the square,
// which would take longer than a test may.

namespace database_client {
namespace {

constexpr int documents = 2'000;

/// Joins what `part` gives for 0 to count - 1.
std::string listOf(int count, const std::function<std::string(int)>& part) {
  std::string result;
  for (int i = 0; i < count; ++i) result += (i == 0 ? "[" : ", ") + part(i);
  return result + "]";
}

std::string text(int i) {
  return "\"v" + std::to_string(i) + "\"";
}

/// Documents of two items: a text and a number, each of its own.
class LargeQueries : public ::testing::Test {
 protected:
  LargeQueries() {
    std::vector<ObjectProperties> made;
    made.reserve(documents);
    for (int i = 0; i < documents; ++i) {
      made.push_back(ObjectProperties::fromJson("{\"_id\": " + std::to_string(i) +
                                                R"(, "items": [{"name": "t", "value": )" + text(i) +
                                                R"(}, {"name": "n", "value": )" + std::to_string(i) + "}]}"));
    }
    client_.engine->insertMany(client_.where(), made);
  }

  /// Every twentieth of so many documents, and values that none has.
  static int sparse(int i) { return 20 * i; }

  Client client_{":memory:"};
};

TEST_F(LargeQueries, TwentyThousandValuesOfAnIn) {
  const std::string texts = listOf(20'000, [](int i) { return text(sparse(i)); });
  const std::string numbers = listOf(20'000, [](int i) { return std::to_string(sparse(i)) + ".0"; });
  const auto in = [](const std::string& name, const std::string& values) {
    return R"({"items": {"$elemMatch": {"name": ")" + name + R"(", "value": {"$in": )" + values + "}}}}";
  };
  EXPECT_EQ(client_.count(in("t", texts)), "100");
  EXPECT_EQ(client_.count(in("n", numbers)), "100");
  EXPECT_EQ(client_.count(R"({"items.value": {"$in": )" + texts + "}}"), "100");
  EXPECT_EQ(client_.count(R"({"_id": {"$in": )" + numbers + "}}"), "100");
  EXPECT_EQ(client_.count(R"({"other": {"$in": )" + texts + "}}"), "0");
  EXPECT_EQ(client_.count(in("t", texts).replace(in("t", texts).find("$in"), 3, "$nin")),
            std::to_string(documents - 100));
}

TEST_F(LargeQueries, TenThousandAlternatives) {
  const std::string alternatives = listOf(
      10'000, [](int i) { return R"({"items": {"$elemMatch": {"name": "t", "value": )" + text(sparse(i)) + "}}}"; });
  EXPECT_EQ(client_.count("{\"$or\": " + alternatives + "}"), "100");
}

TEST_F(LargeQueries, ManyConditionsOnTheItemsOfOneName) {
  const std::string exceptions = listOf(5'000, [](int i) {
    return R"({"items": {"$elemMatch": {"name": "n", "value": {"$ne": )" + std::to_string(sparse(i)) + "}}}}";
  });
  EXPECT_EQ(client_.count("{\"$and\": " + exceptions + "}"), std::to_string(documents - 100));
}

TEST_F(LargeQueries, ConditionsOnManyNames) {
  const std::string names = listOf(10'000, [](int i) {
    return R"({"items": {"$elemMatch": {"name": "x)" + std::to_string(i) + R"(", "value": 1}}})";
  });
  EXPECT_EQ(client_.count("{\"$and\": " + names + "}"), "0");
}

}  // namespace
}  // namespace database_client
