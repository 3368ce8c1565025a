// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "database_provider/version.h"

namespace database_provider {

TEST(LibraryVersion, OfTheLibraryIsThatOfTheHeaders) {
  EXPECT_STREQ(database_provider::version(), DATABASE_PROVIDER_VERSION);
}

TEST(LibraryVersion, IsMadeOfItsThreeNumbers) {
  EXPECT_EQ(std::to_string(DATABASE_PROVIDER_VERSION_MAJOR) + "." + std::to_string(DATABASE_PROVIDER_VERSION_MINOR) +
                "." + std::to_string(DATABASE_PROVIDER_VERSION_PATCH),
            DATABASE_PROVIDER_VERSION);
}

}  // namespace database_provider
