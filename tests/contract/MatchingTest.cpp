// SPDX-License-Identifier: Apache-2.0
#include <string>

#include "tests/contract/Contract.h"
#include "tests/support/matchingCases.h"

namespace database_test {

namespace {

class MatchingContract : public StoreContract {};

}  // namespace

TEST_P(MatchingContract, SelectsItsDocuments) {
  for (const auto& [documents, rows] : rowNamed(matchingCases(), rowName()).parts) {
    removed("{}");
    for (std::size_t i = 0; i < documents.size(); ++i) ASSERT_EQ(inserted(numbered(documents[i], i + 1)), "ok");
    for (const MatchingCase::Row& row : rows) EXPECT_EQ(found(row.query), row.expected) << row.query;
  }
}

TEST_P(StoreContract, OperatorsThatRunCodeOrWriteAreRefused) {
  if (engine().rfind("embedded", 0) != 0) GTEST_SKIP() << "a server may run code";
  given({"{'_id':1}"});
  EXPECT_EQ(found("{'$where':'true'}"), "unsupported");
  EXPECT_EQ(aggregated("[{'$out':'other'}]"), "unsupported");
  EXPECT_EQ(aggregated("[{'$merge':'other'}]"), "unsupported");
}

TEST_P(StoreContract, OptionsInTwoPlacesAreRefused) {
  given({"{'_id':1,'a':'x'}"});
  const std::string answer =
      found("{'a':{'$regex':{'$regularExpression':{'pattern':'x','options':'i'}},'$options':'m'}}");
  EXPECT_TRUE(answer == "error 51074" || answer == "error 51075") << answer;
}

INSTANTIATE_TEST_SUITE_P(Engines, MatchingContract, ::testing::ValuesIn(rowsOfEngines(matchingCases())), engineName);

}  // namespace database_test
