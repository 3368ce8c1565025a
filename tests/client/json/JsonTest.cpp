// SPDX-License-Identifier: Apache-2.0
#include <bson/bson.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "client/bson/Writer.h"
#include "client/bson/validate.h"
#include "client/json/json.h"
#include "database_client/Error.h"

namespace database_client::json {
namespace {

using bson::Byte;
using bson::Writer;

std::string written(Writer writer, JsonMode mode = JsonMode::relaxed) {
  const std::vector<Byte> bytes = writer.take();
  return write(bson::validate(bytes.data(), bytes.size()), mode);
}

/// What relaxed text means, in canonical form, or the path and the message of the error.
std::string meaning(const std::string& text) {
  try {
    const std::vector<Byte> bytes = read(text);
    return write(bson::validate(bytes.data(), bytes.size()), JsonMode::canonical);
  } catch (const Error& error) {
    return error.kind() == Error::Kind::document ? error.where() + "|" + error.what() : "another kind of error";
  }
}

/// An object id, texts, numbers, a date, levels: a bit of everything.
const std::string sample =
    R"({"_id": {"$oid": "0123456789abcdef01234567"}, "text": "a\"b\u00e9 long enough", "list": [1, 2.5, true, null, )"
    R"({"$date": {"$numberLong": "-1"}}, {"deep": [[], {}]}], "code": {"$code": "f", "$scope": {"x": 1}}, )"
    R"("bytes": {"$binary": {"base64": "AAEC", "subType": "00"}}, "decimal": {"$numberDecimal": "1.50"}, )"
    R"("regex": {"$regularExpression": {"pattern": "^a", "options": "i"}}, "big": 12345678901})";

TEST(JsonWrite, PutsOneBlankBehindColonAndComma) {
  Writer writer;
  writer.appendInt32("a", 1);
  writer.beginArray("b");
  writer.appendInt32("0", 1);
  writer.appendInt32("1", 2);
  writer.end();
  writer.beginDocument("c");
  EXPECT_EQ(written(std::move(writer)), R"({"a": 1, "b": [1, 2], "c": {}})");
}

TEST(JsonWrite, ShowsADoubleAsADouble) {
  Writer writer;
  writer.appendDouble("a", 1);
  writer.appendDouble("b", 1.2345678921232e18);
  writer.appendDouble("c", -0.0);
  writer.appendDouble("d", 1e16);
  writer.appendDouble("e", 0.1);
  writer.appendDouble("f", 123456.75);
  EXPECT_EQ(written(std::move(writer)),
            R"({"a": 1.0, "b": 1.2345678921232E+18, "c": -0.0, "d": 1E+16, "e": 0.1, "f": 123456.75})");
}

TEST(JsonWrite, KeepsKindsInCanonicalForm) {
  Writer writer;
  writer.appendInt32("a", 1);
  writer.appendInt64("b", 1);
  writer.appendDouble("c", 1);
  writer.appendDate("d", 0);
  EXPECT_EQ(written(writer, JsonMode::canonical),
            R"({"a": {"$numberInt": "1"}, "b": {"$numberLong": "1"}, "c": {"$numberDouble": "1.0"}, )"
            R"("d": {"$date": {"$numberLong": "0"}}})");
  EXPECT_EQ(written(writer), R"({"a": 1, "b": 1, "c": 1.0, "d": {"$date": "1970-01-01T00:00:00Z"}})");
}

TEST(JsonWrite, EscapesOnlyWhatJsonDemands) {
  Writer writer;
  writer.appendString("k\"ey\t", std::string("\0\x1F/\x7F\xE2\x82\xAC\\\"\n", 10));
  EXPECT_EQ(written(std::move(writer)), "{\"k\\\"ey\\t\": \"\\u0000\\u001f/\x7F\xE2\x82\xAC\\\\\\\"\\n\"}");
}

TEST(JsonWrite, AnArrayShowsItsElementsWhateverTheirKeys) {
  Writer writer;
  writer.beginArray("a");
  writer.appendInt32("", 1);
  writer.appendInt32("x", 2);
  EXPECT_EQ(written(std::move(writer)), R"({"a": [1, 2]})");
}

TEST(JsonRead, ChoosesTheNumberThatHoldsAPlainInteger) {
  EXPECT_EQ(meaning(R"({"a": 2147483647, "b": 2147483648, "c": -2147483649, "d": 9223372036854775808, "e": -0})"),
            R"({"a": {"$numberInt": "2147483647"}, "b": {"$numberLong": "2147483648"}, )"
            R"("c": {"$numberLong": "-2147483649"}, "d": {"$numberDouble": "9.223372036854776E+18"}, )"
            R"("e": {"$numberInt": "0"}})");
}

TEST(JsonRead, APlainNumberWithPointOrExponentIsADouble) {
  EXPECT_EQ(meaning(R"({"a": 1.0, "b": 1e2, "c": -1E-2})"),
            R"({"a": {"$numberDouble": "1.0"}, "b": {"$numberDouble": "100.0"}, "c": {"$numberDouble": "-0.01"}})");
}

TEST(JsonRead, KeepsRepeatedKeys) {
  EXPECT_EQ(meaning(R"({"a": true, "a": {"b": null, "b": null}})"), R"({"a": true, "a": {"b": null, "b": null}})");
}

TEST(JsonRead, ReadsWhatItWrites) {
  const std::string canonical = meaning(sample);
  EXPECT_EQ(canonical.substr(0, 8), R"({"_id": )");
  EXPECT_EQ(meaning(canonical), canonical);
}

TEST(JsonRead, AnyPrefixIsRefused) {
  for (std::size_t size = 0; size < sample.size(); ++size) {
    ASSERT_NE(meaning(sample.substr(0, size)).find("|malformed JSON"), std::string::npos) << size;
  }
}

TEST(JsonRead, AnyFlippedBitGivesAnErrorOrAnotherDocument) {
  int refused = 0;
  for (std::size_t bit = 0; bit < sample.size() * 8; ++bit) {
    // Exactly as large as the text, so that a sanitizer sees any read behind it.
    const auto flipped = std::make_unique<char[]>(sample.size());
    std::copy(sample.begin(), sample.end(), flipped.get());
    flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
    try {
      const std::vector<Byte> bytes = read({flipped.get(), sample.size()});
      bson::validate(bytes.data(), bytes.size());
    } catch (const Error& error) {
      ASSERT_EQ(error.kind(), Error::Kind::document);
      ++refused;
    }
  }
  EXPECT_GT(refused, 1000);
}

TEST(JsonRead, AnyFlippedBitOfADocumentIsRefusedOrWritten) {
  const std::vector<Byte> bytes = read(sample);
  int sum = 0;
  for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
    const auto flipped = std::make_unique<Byte[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), flipped.get());
    flipped[bit / 8] = static_cast<Byte>(flipped[bit / 8] ^ (1 << bit % 8));
    try {
      const bson::View view = bson::validate(flipped.get(), bytes.size());
      ASSERT_EQ(write(view, JsonMode::relaxed).front(), '{');
      ASSERT_EQ(write(view, JsonMode::canonical).back(), '}');
      ++sum;
    } catch (const Error& error) {
      ASSERT_EQ(error.kind(), Error::Kind::document);
    }
  }
  EXPECT_GT(sum, 500);
}

TEST(JsonRead, TakesAViewThatNoNulFollows) {
  const std::string text = R"({"a": 1}{"b": 2})";
  const std::vector<Byte> bytes = read(std::string_view(text).substr(0, 8));
  EXPECT_EQ(write(bson::viewOf(bytes), JsonMode::relaxed), R"({"a": 1})");
}

TEST(JsonRead, AHundredLevelsAreReadAndWritten) {
  std::string text;
  for (int i = 0; i < bson::maximumDepth; ++i) text += R"({"a": )";
  text += "{}" + std::string(bson::maximumDepth, '}');
  EXPECT_EQ(meaning(text), text);
  const std::string refused = meaning(R"({"a": )" + text + '}');
  EXPECT_NE(refused.find("more than 100 levels"), std::string::npos) << refused;
}

TEST(JsonRead, ScopesNestLikeDocuments) {
  const auto nested = [](int levels) {
    std::string text;
    for (int i = 0; i < levels; ++i) text += R"({"a": {"$code": "", "$scope": )";
    text += "{}";
    for (int i = 0; i < levels; ++i) text += "}}";
    return text;
  };
  EXPECT_EQ(meaning(nested(bson::maximumDepth)), nested(bson::maximumDepth));
  EXPECT_NE(meaning(nested(bson::maximumDepth + 1)).find("more than 100 levels"), std::string::npos);
}

TEST(JsonRead, ADeepTextIsRefusedWithoutDeepRecursion) {
  const std::string objects = [] {
    std::string text;
    for (int i = 0; i < 1000000; ++i) text += R"({"a":)";
    return text;
  }();
  EXPECT_NE(meaning(objects).find("more than 100 levels"), std::string::npos);
  EXPECT_NE(meaning(R"({"a":)" + std::string(1000000, '[')).find("more than 100 levels"), std::string::npos);
  EXPECT_NE(meaning(R"({"a":{"$oid":)" + std::string(1000000, '[')).find("deeper objects"), std::string::npos);
}

TEST(JsonRead, SixteenMebibytesAreReadAndNoMore) {
  const auto ofSize = [](std::size_t size) { return R"({"a": ")" + std::string(size - 13, 'x') + R"("})"; };
  EXPECT_EQ(read(ofSize(bson::maximumSize)).size(), bson::maximumSize);
  EXPECT_EQ(meaning(ofSize(bson::maximumSize + 1)), "|malformed JSON: the document has more than 16777216 bytes");
}

TEST(JsonRead, RefusesATextThatNoDocumentTakes) {
  EXPECT_EQ(meaning(std::string(16 * bson::maximumSize + 1, ' ')),
            "|malformed JSON: 268435457 bytes, at most 268435456");
}

TEST(JsonRead, RefusesANumberThatADoubleCannotHold) {
  EXPECT_EQ(meaning(R"({"a": [1E-400]})"),
            "a.0|malformed JSON under \"a.0\": a number 1E-400 is out of the range of a double");
}

TEST(JsonWrite, LibbsonReadsTheSameBytes) {
  const std::vector<Byte> bytes = read(sample);
  const std::string text = write(bson::viewOf(bytes), JsonMode::canonical);
  bson_t document;
  bson_error_t error;
  ASSERT_TRUE(bson_init_from_json(&document, text.c_str(), -1, &error)) << error.message;
  const Byte* const data = bson_get_data(&document);
  EXPECT_EQ(std::vector<Byte>(data, data + document.len), bytes);
  bson_destroy(&document);
}

TEST(JsonRead, RefusesTextThatIsNotUtf8) {
  EXPECT_EQ(meaning("{\"a\": {\"b\": \"\xE9\"}}"), "a.b|malformed JSON under \"a.b\": the text is not UTF-8");
  EXPECT_EQ(meaning("{\"a\": {\"\xE9\": 1}}"), "a.\\xE9|malformed JSON under \"a.\\xE9\": the key is not UTF-8");
  EXPECT_EQ(meaning("{\"a\": {\"$symbol\": \"\xE9\"}}"), "a|malformed JSON under \"a\": the text is not UTF-8");
}

}  // namespace
}  // namespace database_client::json
