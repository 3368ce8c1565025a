// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <iostream>
#include <string>
#include <vector>

#include "tests/support/Engines.h"

namespace {

/// The engines whose tests the filter leaves in: those that it names, all when it names nothing.
std::vector<std::string> chosenEngines(const std::string& filter) {
  if (filter == "*") return database_test::engineNames();
  std::vector<std::string> chosen;
  for (const std::string& name : database_test::engineNames()) {
    const std::string inPattern = "/" + name;
    const std::size_t end = filter.find(inPattern) + inPattern.size();
    const bool isThere = filter.find(inPattern) != std::string::npos;
    if (isThere && (end == filter.size() || filter[end] == ':' || filter[end] == '_')) chosen.push_back(name);
  }
  return chosen;
}

}  // namespace

int main(int count, char** arguments) {
  testing::InitGoogleTest(&count, arguments);
  if (!testing::GTEST_FLAG(list_tests))
    std::cout << database_test::engineReport(chosenEngines(testing::GTEST_FLAG(filter)));
  const int result = RUN_ALL_TESTS();
  database_test::leaveDeploymentEmpty();
  return result;
}
