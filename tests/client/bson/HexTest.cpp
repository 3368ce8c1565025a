// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "client/bson/hex.h"

namespace database_client::bson {
namespace {

TEST(Hex, WritesAndReadsEveryByte) {
  for (int i = 0; i < 256; ++i) {
    const auto byte = static_cast<Byte>(i);
    for (const char* digits : {lowerHexDigits, upperHexDigits}) {
      std::string text(2, '?');
      writeHex(&byte, 1, text.data(), digits);
      Byte read = 0;
      EXPECT_TRUE(parseHex(text, &read, 1)) << text;
      EXPECT_EQ(read, byte) << text;
    }
  }
  const std::array<Byte, 3> bytes{0x01, 0xAB, 0xFF};
  std::string text(6, '?');
  writeHex(bytes.data(), bytes.size(), text.data());
  EXPECT_EQ(text, "01abff");
}

TEST(Hex, RefusesWhatNoBytesHave) {
  std::array<Byte, 2> bytes{};
  for (const char* text : {"", "0", "00", "000", "00000", "000g", "g000", "00 0", "0x00", "00-1",
                           "0\xC3\xA9"
                           "0"}) {
    EXPECT_FALSE(parseHex(text, bytes.data(), bytes.size())) << text;
  }
  EXPECT_TRUE(parseHex("", bytes.data(), 0));
}

}  // namespace
}  // namespace database_client::bson
