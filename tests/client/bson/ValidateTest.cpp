// SPDX-License-Identifier: Apache-2.0
#include <bson/bson.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "client/bson/Writer.h"
#include "client/bson/validate.h"
#include "database_client/Error.h"

namespace database_client::bson {
namespace {

constexpr auto foreignFlags = static_cast<bson_validate_flags_t>(BSON_VALIDATE_UTF8 | BSON_VALIDATE_UTF8_ALLOW_NULL);

/// "valid", or the path and the message of the error. The bytes lie in a block of exactly their size, so that a
/// sanitizer sees any read behind them.
std::string outcome(const std::vector<Byte>& bytes) {
  const auto copy = std::make_unique<Byte[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), copy.get());
  try {
    const View view = validate(copy.get(), bytes.size());
    return view.data == copy.get() && view.size == bytes.size() ? "valid" : "another view";
  } catch (const Error& error) {
    return error.kind() == Error::Kind::document ? error.where() + "|" + error.what() : "another kind of error";
  }
}

std::vector<Byte> withLength(std::vector<Byte> elements) {
  elements.insert(elements.begin(), 4, 0);
  elements.push_back(0);
  store(elements.data(), static_cast<std::int32_t>(elements.size()));
  return elements;
}

/// A document of one element.
std::vector<Byte> element(Type type, const std::string& key, const std::vector<Byte>& value) {
  std::vector<Byte> bytes{static_cast<Byte>(type)};
  bytes.insert(bytes.end(), key.begin(), key.end());
  bytes.push_back(0);
  bytes.insert(bytes.end(), value.begin(), value.end());
  return withLength(bytes);
}

std::vector<Byte> text(std::int32_t length, const std::string& content) {
  std::vector<Byte> bytes(4);
  store(bytes.data(), length);
  bytes.insert(bytes.end(), content.begin(), content.end());
  return bytes;
}

std::vector<Byte> nested(int levels, Type type) {
  Writer writer;
  for (int i = 0; i < levels; ++i) type == Type::array ? writer.beginArray("a") : writer.beginDocument("a");
  writer.appendInt32("n", 1);
  return writer.take();
}

/// One value of every type, at the root and two levels below.
std::vector<Byte> everyType() {
  const std::vector<Byte> scope = element(Type::null, "n", {});
  std::vector<Byte> code(4);
  const std::vector<Byte> source = text(3, std::string("fg\0", 3));
  code.insert(code.end(), source.begin(), source.end());
  code.insert(code.end(), scope.begin(), scope.end());
  store(code.data(), static_cast<std::int32_t>(code.size()));
  std::vector<Byte> pointer = text(4, std::string("a.b\0", 4));
  pointer.resize(pointer.size() + objectIdSize, 7);
  const std::vector<Byte> word = text(3, std::string("\xC3\xA9\0", 3));
  const std::vector<Byte> eight(8, 1);
  const std::vector<Byte> sixteen(16, 1);
  const std::vector<Byte> twelve(12, 1);
  const std::vector<Byte> oldBinary{6, 0, 0, 0, 2, 2, 0, 0, 0, 8, 9};
  const auto add = [&](Writer& writer) {
    const auto put = [&writer](const char* key, Type type, const std::vector<Byte>& value) {
      writer.append(key, {type, value.data(), value.size()});
    };
    put("real", Type::real, eight);
    put("string", Type::string, word);
    put("binary", Type::binary, oldBinary);
    put("undefined", Type::undefined, {});
    put("id", Type::objectId, twelve);
    writer.appendBool("boolean", true);
    put("date", Type::date, eight);
    put("null", Type::null, {});
    writer.appendRegex("regex", "^a+\xC3\xA9", "im");
    put("pointer", Type::dbPointer, pointer);
    put("code", Type::code, word);
    put("symbol", Type::symbol, word);
    put("scoped", Type::codeWithScope, code);
    writer.appendInt32("int32", 1);
    put("timestamp", Type::timestamp, eight);
    put("\xE2\x82\xAC key longer than a word", Type::int64, eight);
    put("decimal", Type::decimal128, sixteen);
    put("min", Type::minKey, {});
    put("max", Type::maxKey, {});
  };
  Writer writer;
  add(writer);
  writer.beginDocument("document");
  writer.beginArray("array");
  add(writer);
  return writer.take();
}

void walk(View view) {
  for (const Element& entry : view) {
    if (entry.value.isDocument() || entry.value.isArray()) walk(entry.value.asDocument());
    if (entry.value.type == Type::codeWithScope) walk(entry.value.scope());
  }
}

TEST(Validate, AcceptsAnEmptyDocument) {
  EXPECT_EQ(outcome(withLength({})), "valid");
}

TEST(Validate, AcceptsEveryType) {
  EXPECT_EQ(outcome(everyType()), "valid");
}

TEST(Validate, RefusesEveryPrefix) {
  const std::vector<Byte> bytes = everyType();
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    const std::vector<Byte> prefix(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
    ASSERT_NE(outcome(prefix), "valid") << size;
  }
}

TEST(Validate, APrefixThatClaimsItsOwnSizeGivesAnErrorOrADocumentThatCanBeWalked) {
  const std::vector<Byte> bytes = everyType();
  int refused = 0;
  for (std::size_t size = 6; size < bytes.size(); ++size) {
    std::vector<Byte> prefix(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
    store(prefix.data(), static_cast<std::int32_t>(size));
    prefix.back() = 0;
    if (outcome(prefix) == "valid") {
      walk(validate(prefix.data(), prefix.size()));
    } else {
      ++refused;
    }
  }
  EXPECT_GT(refused, 300);
}

TEST(Validate, AnyFlippedBitGivesAnErrorOrADocumentThatCanBeWalked) {
  const std::vector<Byte> bytes = everyType();
  int refused = 0;
  for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
    std::vector<Byte> flipped = bytes;
    flipped[bit / 8] = static_cast<Byte>(flipped[bit / 8] ^ (1 << bit % 8));
    if (outcome(flipped) == "valid") {
      walk(validate(flipped.data(), flipped.size()));
    } else {
      ++refused;
    }
  }
  EXPECT_GT(refused, 1000);
}

TEST(Validate, AcceptsNoFlippedBitThatLibbsonRefuses) {
  const std::vector<Byte> bytes = everyType();
  int same = 0;
  for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
    std::vector<Byte> flipped = bytes;
    flipped[bit / 8] = static_cast<Byte>(flipped[bit / 8] ^ (1 << bit % 8));
    bson_t document;
    const bool isRefused = !bson_init_static(&document, flipped.data(), flipped.size()) ||
                           !bson_validate(&document, foreignFlags, nullptr);
    const bool isValid = outcome(flipped) == "valid";
    ASSERT_FALSE(isValid && isRefused) << "bit " << bit;
    same += isValid != isRefused ? 1 : 0;
  }
  EXPECT_GT(same, 3000);
}

TEST(Validate, AcceptsAHundredLevelsBelowTheRootAndNoMore) {
  EXPECT_EQ(outcome(nested(maximumDepth, Type::document)), "valid");
  EXPECT_EQ(outcome(nested(maximumDepth, Type::array)), "valid");
  const std::string refused = outcome(nested(maximumDepth + 1, Type::document));
  EXPECT_NE(refused.find("more than 100 levels"), std::string::npos) << refused;
  EXPECT_EQ(refused.substr(0, 6), "a.a.a.");
}

TEST(Validate, AScopeCountsAsALevel) {
  std::vector<Byte> code(4);
  const std::vector<Byte> source = text(1, std::string(1, '\0'));
  code.insert(code.end(), source.begin(), source.end());
  code.insert(code.end(), {5, 0, 0, 0, 0});
  store(code.data(), static_cast<std::int32_t>(code.size()));
  const auto scopeBelow = [&code](int levels) {
    Writer writer;
    for (int i = 0; i < levels; ++i) writer.beginDocument("a");
    writer.append("f", {Type::codeWithScope, code.data(), code.size()});
    return writer.take();
  };
  EXPECT_EQ(outcome(scopeBelow(maximumDepth - 1)), "valid");
  EXPECT_NE(outcome(scopeBelow(maximumDepth)), "valid");
}

TEST(Validate, AcceptsSixteenMebibytesAndNoMore) {
  const auto ofSize = [](std::size_t size) {
    Writer writer;
    writer.appendString("a", std::string(size - 13, 'x'));
    return writer.take();
  };
  EXPECT_EQ(outcome(ofSize(maximumSize)), "valid");
  EXPECT_EQ(outcome(ofSize(maximumSize + 1)), "|malformed document: 16777217 bytes, at most 16777216");
}

TEST(Validate, KeysOfAnArrayNeedNotBeItsIndices) {
  Writer writer;
  writer.beginArray("a");
  writer.appendInt32("", 1);
  writer.appendInt32("x", 1);
  writer.appendInt32("x", 1);
  EXPECT_EQ(outcome(writer.take()), "valid");
}

TEST(Validate, SaysHowTheWholeIsMalformed) {
  EXPECT_EQ(outcome({}), "|malformed document: 0 bytes, at least 5 expected");
  EXPECT_EQ(outcome({5, 0, 0, 0}), "|malformed document: 4 bytes, at least 5 expected");
  EXPECT_EQ(outcome({6, 0, 0, 0, 0}), "|malformed document: its length says 6, given are 5 bytes");
  EXPECT_EQ(outcome({0xFB, 0xFF, 0xFF, 0xFF, 0}), "|malformed document: its length says -5, given are 5 bytes");
  EXPECT_EQ(outcome({5, 0, 0, 0, 1}), "|malformed document: it does not end with a terminator (NUL)");
}

TEST(Validate, NamesThePathOfTheKey) {
  Writer writer;
  writer.beginDocument("recordInfo");
  writer.beginArray("description");
  writer.appendInt32("0", 0);
  writer.beginDocument("3");
  const std::vector<Byte> bad{2};
  writer.append("value", {Type::boolean, bad.data(), 1});
  EXPECT_EQ(outcome(writer.take()),
            "recordInfo.description.3.value|malformed document, boolean under \"recordInfo.description.3.value\": the "
            "byte is 2, expected 0 or 1");
}

TEST(Validate, ThePathLeadsThroughAScope) {
  const std::vector<Byte> scope = element(Type::boolean, "b", {7});
  std::vector<Byte> code(4);
  const std::vector<Byte> source = text(1, std::string(1, '\0'));
  code.insert(code.end(), source.begin(), source.end());
  code.insert(code.end(), scope.begin(), scope.end());
  store(code.data(), static_cast<std::int32_t>(code.size()));
  EXPECT_EQ(outcome(element(Type::codeWithScope, "f", code)),
            "f.$scope.b|malformed document, boolean under \"f.$scope.b\": the byte is 7, expected 0 or 1");
}

TEST(Validate, RefusesATypeThatBsonDoesNotHave) {
  EXPECT_EQ(outcome(element(static_cast<Type>(0x14), "k", {})),
            "k|malformed document, value under \"k\": no BSON type has the number 20");
}

TEST(Validate, RefusesAKeyWithoutItsEnd) {
  EXPECT_EQ(outcome(withLength({0x0A, 'k'})),
            "k|malformed document, null under \"k\": the key is not ended by a NUL within its level");
}

TEST(Validate, RefusesAKeyThatIsNotUtf8AndStillNamesItAsText) {
  EXPECT_EQ(outcome(element(Type::null, "a\xE9z", {})),
            "a\\xE9z|malformed document, null under \"a\\xE9z\": the key is not UTF-8");
}

TEST(Validate, RefusesAValueThatIsCutOff) {
  EXPECT_EQ(outcome(element(Type::int64, "k", {1, 2, 3})),
            "k|malformed document, int64 under \"k\": 8 bytes expected, 3 left in its level");
}

TEST(Validate, RefusesTextsOfAWrongLength) {
  EXPECT_EQ(outcome(element(Type::string, "k", text(0, ""))),
            "k|malformed document, string under \"k\": a length is 0, expected 1 at least, with 0 bytes left");
  EXPECT_EQ(outcome(element(Type::string, "k", text(-1, "ab"))),
            "k|malformed document, string under \"k\": a length is -1, expected 1 to 2");
  EXPECT_EQ(outcome(element(Type::code, "k", text(4, std::string("ab\0", 3)))),
            "k|malformed document, code under \"k\": a length is 4, expected 1 to 3");
  EXPECT_EQ(outcome(element(Type::symbol, "k", text(2, "ab"))),
            "k|malformed document, symbol under \"k\": the text of 1 bytes is not followed by a NUL");
}

TEST(Validate, RefusesTextsThatAreNotUtf8) {
  for (const Type type : {Type::string, Type::code, Type::symbol}) {
    EXPECT_NE(outcome(element(type, "k", text(2, std::string("\xE9\0", 2)))).find("the text is not UTF-8"),
              std::string::npos);
  }
  std::vector<Byte> pointer = text(2, std::string("\xE9\0", 2));
  pointer.resize(pointer.size() + objectIdSize);
  EXPECT_NE(outcome(element(Type::dbPointer, "k", pointer)).find("the text is not UTF-8"), std::string::npos);
}

TEST(Validate, RefusesPartsOfARegularExpression) {
  EXPECT_EQ(outcome(element(Type::regex, "k", {0xE9, 0, 0})),
            "k|malformed document, regular expression under \"k\": the pattern is not UTF-8");
  EXPECT_EQ(outcome(element(Type::regex, "k", {'a', 0, 0xE9, 0})),
            "k|malformed document, regular expression under \"k\": the option text is not UTF-8");
  EXPECT_EQ(outcome(element(Type::regex, "k", {'a'})),
            "k|malformed document, regular expression under \"k\": the pattern is not ended by a NUL within its level");
  EXPECT_EQ(outcome(element(Type::regex, "k", {'a', 0})),
            "k|malformed document, regular expression under \"k\": the option text is missing");
}

TEST(Validate, RefusesTheInnerLengthOfTheOldBinary) {
  EXPECT_EQ(outcome(element(Type::binary, "k", {5, 0, 0, 0, 2, 2, 0, 0, 0, 9})),
            "k|malformed document, binary under \"k\": a length is 2, expected 1");
  EXPECT_EQ(outcome(element(Type::binary, "k", {1, 0, 0, 0, 2, 9})),
            "k|malformed document, binary under \"k\": a length is 1, expected 4 at least, with 1 bytes left");
}

}  // namespace
}  // namespace database_client::bson
