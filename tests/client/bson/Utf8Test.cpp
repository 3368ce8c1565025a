// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "client/bson/utf8.h"

namespace database_client::bson {
namespace {

TEST(IsUtf8, AcceptsEveryCharacterAtItsBounds) {
  for (const char* text :
       {"", "a", "abc", "abcd", "abcdefg", "abcdefgh", "abcdefghijklmnopq", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80",
        "\xED\x9F\xBF", "\xEE\x80\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_TRUE(isUtf8(text)) << text;
  }
  EXPECT_TRUE(isUtf8(std::string_view("\0a\0", 3)));
}

TEST(IsUtf8, RefusesWhatIsMalformed) {
  for (const char* text : {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xC2", "\xC2g", "\xE0\x9F\xBF", "\xE2\x82",
                           "\xE2(\xA1", "\xED\xA0\x80", "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF", "\xF0\x9F\x98",
                           "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "\xFE"}) {
    EXPECT_FALSE(isUtf8(text)) << testing::PrintToString(text);
  }
}

TEST(IsUtf8, FindsABadByteAtEveryPlaceOfEveryLength) {
  for (std::size_t size = 1; size < 40; ++size) {
    for (std::size_t place = 0; place < size; ++place) {
      std::string text(size, 'a');
      text[place] = '\x80';
      ASSERT_FALSE(isUtf8(text)) << size << " " << place;
    }
  }
}

TEST(WellFormedSize, EndsBeforeTheFirstBadCharacter) {
  EXPECT_EQ(wellFormedSize("plain"), 5U);
  EXPECT_EQ(wellFormedSize("\xC3\xA9 twelve more\xE2\x82"), 14U);
}

TEST(Printable, ShowsControlCharactersAndWhatIsNotUtf8AsDigits) {
  EXPECT_EQ(printable("a\xE9\xC3\xA9\n\x7F\xFF"), "a\\xE9\xC3\xA9\\x0A\\x7F\\xFF");
  EXPECT_EQ(printable(""), "");
}

}  // namespace
}  // namespace database_client::bson
