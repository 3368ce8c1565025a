// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "client/bson/base64.h"
#include "client/embedded/users/Credentials.h"

namespace database_client::embedded {
namespace {

// The exchange of RFC 7677, section 3: user "user", password "pencil", 4096 iterations. The keys follow from its
// client proof and server signature.
TEST(Scram, DerivesTheKeysOfThePublishedExchange) {
  const Credentials published{4096, bson::fromBase64("W22ZaJ0SNY7soEsUEjb6gQ==").value(),
                              bson::fromBase64("WG5d8oPm3OtcPnkdi4Uo7BkeZkBFzpcXkuLmtbsT4qY=").value(),
                              bson::fromBase64("wfPLwcE6nTWhTAmQ7tl2KeoiWGPlZqQxSrmfPwDl2dU=").value()};
  EXPECT_TRUE(published.belongTo("pencil"));
  EXPECT_FALSE(published.belongTo("pencil "));
  EXPECT_FALSE(published.belongTo(""));
}

TEST(Scram, SaltsEachTimeAnewWithEnoughRounds) {
  const Credentials first = Credentials::of("same");
  const Credentials second = Credentials::of("same");
  EXPECT_NE(first.salt, second.salt);
  EXPECT_NE(first.storedKey, second.storedKey);
  EXPECT_GE(first.iterations, 15000);
  EXPECT_EQ(first.salt.size(), 28U);
  EXPECT_EQ(first.storedKey.size(), 32U);
  EXPECT_EQ(first.serverKey.size(), 32U);
  EXPECT_TRUE(first.belongTo("same") && second.belongTo("same"));
}

TEST(Scram, GivesNobodyCredentialsThatNoPasswordHas) {
  EXPECT_EQ(Credentials::ofNobody().iterations, Credentials::of("x").iterations);
  EXPECT_FALSE(Credentials::ofNobody().belongTo("x"));
}

}  // namespace
}  // namespace database_client::embedded
