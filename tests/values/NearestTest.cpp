// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "values/Nearest.h"

namespace database_provider::values {
namespace {

const std::vector<std::string> names{"site", "variety", "yield", "import", "import-sumo"};

}  // namespace

TEST(Nearest, ASlipForEveryThreeLettersIsForgiven) {
  EXPECT_EQ(nearest("sit", names), "site");
  EXPECT_EQ(nearest("stie", names), "site") << "two letters exchanged";
  EXPECT_EQ(nearest("Yeild", names), "yield");
  EXPECT_EQ(nearest("varity", names), "variety");
  EXPECT_EQ(nearest("impotr", names), "import");
}

TEST(Nearest, TheBeginningOfANameIsNear) {
  EXPECT_EQ(nearest("va", names), "variety");
  EXPECT_EQ(nearest("import-", names), "import");
  EXPECT_EQ(nearest("import-s", names), "import");
  EXPECT_EQ(nearest("import-su", names), "import-sumo");
}

TEST(Nearest, WhatIsFarFromEveryNameHasNone) {
  EXPECT_EQ(nearest("frobnicate", names), "");
  EXPECT_EQ(nearest("x", names), "");
  EXPECT_EQ(nearest("", names), "");
  EXPECT_EQ(nearest(std::string(1'000'000, 'x'), names), "");
}

TEST(Nearest, ASuggestionStandsInAMessage) {
  EXPECT_EQ(suggestion("sit", names), " (did you mean \"site\"?)");
  EXPECT_EQ(suggestion("frobnicate", names), "");
}

}  // namespace database_provider::values
