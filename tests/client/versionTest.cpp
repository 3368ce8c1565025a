// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "database_client/version.h"

namespace database_client {

TEST(ClientVersion, OfTheLibraryIsThatOfTheHeaders) {
  EXPECT_STREQ(database_client::version(), DATABASE_CLIENT_VERSION);
}

TEST(ClientVersion, IsMadeOfItsThreeNumbers) {
  EXPECT_EQ(std::to_string(DATABASE_CLIENT_VERSION_MAJOR) + "." + std::to_string(DATABASE_CLIENT_VERSION_MINOR) + "." +
                std::to_string(DATABASE_CLIENT_VERSION_PATCH),
            DATABASE_CLIENT_VERSION);
}

}  // namespace database_client
