// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>

#include "client/bson/base64.h"

namespace database_client::bson {
namespace {

// The vectors of RFC 4648, section 10, and bytes beyond ASCII.
TEST(Base64, WritesAndReadsBytesOfEveryLength) {
  const std::pair<std::string, std::string> published[] = {
      {"", ""},
      {"f", "Zg=="},
      {"fo", "Zm8="},
      {"foo", "Zm9v"},
      {"foob", "Zm9vYg=="},
      {"fooba", "Zm9vYmE="},
      {"foobar", "Zm9vYmFy"},
      {std::string("\0\xff\0", 3), "AP8A"},
      {"\xfb\xff\xbf", "+/+/"},
  };
  for (const auto& [bytes, text] : published) {
    EXPECT_EQ(toBase64(bytes), text);
    EXPECT_EQ(fromBase64(text), bytes) << text;
  }
}

TEST(Base64, RefusesWhatNoBytesHave) {
  for (const char* text : {"Z", "Zg", "Zg=", "Zm9", "=", "====", "Zg==Zg==", "Z===", "Zm9v\n", " Zm9", "Zm-_",
                           "Zh==", "Zm9=", "not base64!"}) {
    EXPECT_EQ(fromBase64(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace database_client::bson
