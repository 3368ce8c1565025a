// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <fstream>
#include <sstream>
#include <string>

#include "tests/contract/Contract.h"

namespace database_test {

TEST(KnownWrongAnswers, AreThoseOfTheDocumentation) {
  std::ifstream file(DATABASE_TEST_DOCS "/servers.md");
  std::stringstream content;
  content << file.rdbuf();
  const std::string documentation = content.str();
  std::string table;
  for (const WrongAnswer& answer : knownWrongAnswers()) {
    table += "| " + answer.engine + " | " + answer.test + " | " + answer.reason + " |\n";
  }
  EXPECT_EQ(documentation.substr(documentation.rfind("|---|\n") + 6), table);
}

}  // namespace database_test
