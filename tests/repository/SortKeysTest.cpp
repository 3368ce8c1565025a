// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "database_provider/records.h"

namespace database_provider {

namespace {

/// "description:yield- category:site+ created+"
std::string keys(const std::string& text) {
  std::string result;
  for (const SortKey& key : sortBy(text)) {
    const char* const field = key.field == SortKey::Field::category      ? "category:"
                              : key.field == SortKey::Field::description ? "description:"
                              : key.field == SortKey::Field::id          ? "id"
                              : key.field == SortKey::Field::created     ? "created"
                                                                         : "";
    result += (result.empty() ? "" : " ") + (field + key.name) + (key.isDescending ? "-" : "+");
  }
  return result;
}

/// At which byte a text is wrong.
int position(const std::string& text) {
  try {
    sortBy(text);
    return -1;
  } catch (const SelectionError& error) {
    return static_cast<int>(error.position());
  }
}

TEST(SortByTest, ReadsNamesWithTheirDirections) {
  EXPECT_EQ(keys("yield"), "yield+");
  EXPECT_EQ(keys("yield:desc,site:asc,year"), "yield- site+ year+");
  EXPECT_EQ(keys("category:site,description:yield:desc"), "category:site+ description:yield-");
  EXPECT_EQ(keys("created:desc,id"), "created- id+");
  EXPECT_EQ(keys("category:id,description:created"), "category:id+ description:created+");
}

TEST(SortByTest, TakesABackslashBeforeWhatSeparates) {
  EXPECT_EQ(keys(R"(a\,b,c\:desc)"), "a,b+ c:desc+");
  EXPECT_EQ(keys(R"(a\\:desc)"), "a\\-");
  EXPECT_EQ(keys(R"(a\b:desc)"), "a\\b-");
}

TEST(SortByTest, RefusesWhatIsNoName) {
  EXPECT_EQ(position(""), 0);
  EXPECT_EQ(position("a,,b"), 2);
  EXPECT_EQ(position("a:down"), 2);
  EXPECT_EQ(position("a,b:desc:asc"), 4);
  EXPECT_EQ(position("category::desc"), 9);
}

}  // namespace

}  // namespace database_provider
