// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <snappy-c.h>
#include <zlib.h>
#include <zstd.h>

#include <cstring>
#include <string>
#include <vector>

#include "client/server/Message.h"
#include "tests/support/ScriptedServer.h"

namespace database_client::server {
namespace {

using bson::Byte;
using database_test::bsonOf;
using ::testing::HasSubstr;

using Bytes = std::vector<Byte>;

constexpr std::int32_t opReply = 1;
constexpr std::int32_t opQuery = 2004;
constexpr std::int32_t opCompressed = 2012;
constexpr std::int32_t opMessage = 2013;
constexpr std::int32_t asked = 7;

template <class Number>
void append(Bytes& bytes, Number number) {
  const auto* from = reinterpret_cast<const Byte*>(&number);
  bytes.insert(bytes.end(), from, from + sizeof number);
}

void append(Bytes& bytes, const Bytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

Bytes message(std::int32_t opCode, const Bytes& body, std::int32_t responseTo = asked) {
  Bytes bytes;
  append(bytes, MessageHeader{static_cast<std::int32_t>(sizeof(MessageHeader) + body.size()), 1, responseTo, opCode});
  append(bytes, body);
  return bytes;
}

/// The body of an OP_MSG around a document.
Bytes around(const Bytes& document, std::uint32_t flags = 0, Byte kind = 0) {
  Bytes body;
  append(body, flags);
  body.push_back(kind);
  append(body, document);
  return body;
}

/// The body of an OP_REPLY around a document.
Bytes replyOf(const Bytes& document, std::int32_t number = 1) {
  Bytes body;
  append(body, std::int32_t{8});
  append(body, std::int64_t{0});
  append(body, std::int32_t{0});
  append(body, number);
  append(body, document);
  return body;
}

const Bytes& done() {
  static const Bytes document = bsonOf(R"({"ok": 1})");
  return document;
}

/// "sound", or what is wrong.
std::string judgement(const Bytes& bytes, Bytes* plain = nullptr) {
  Bytes unpacked;
  try {
    checkAnswer({bytes.data(), bytes.size()}, Request{0, asked, Purpose::command}, unpacked);
  } catch (const DamagedAnswer& damage) {
    return damage.what();
  }
  if (plain != nullptr) *plain = unpacked;
  return "sound";
}

TEST(Message, OfEitherKindIsSound) {
  EXPECT_EQ(judgement(message(opMessage, around(done()))), "sound");
  EXPECT_EQ(judgement(message(opReply, replyOf(done()))), "sound");
}

TEST(Message, AnswersTheRequestThatWentOut) {
  EXPECT_THAT(judgement(message(opMessage, around(done()), asked + 1)), HasSubstr("request 8 instead of 7"));
}

TEST(Message, OfNoAnswerIsRefused) {
  for (const std::int32_t opCode : {0, 2, 1000, opQuery, 2005, 2010, 2011}) {
    EXPECT_THAT(judgement(message(opCode, around(done()))), HasSubstr("operation")) << opCode;
  }
}

TEST(Message, LengthIsWithinBounds) {
  const auto lengthOf = [](std::int32_t length) {
    try {
      return std::to_string(lengthOfAnswer(reinterpret_cast<const Byte*>(&length)));
    } catch (const DamagedAnswer&) {
      return std::string("refused");
    }
  };
  for (const std::int32_t length : {-1, 0, 15, 16, 20, 24, 48'000'001, 0x7FFFFFFF}) {
    EXPECT_EQ(lengthOf(length), "refused") << length;
  }
  EXPECT_EQ(lengthOf(25), "25");
  EXPECT_EQ(lengthOf(48'000'000), "48000000");
}

TEST(Message, WithFlagsThatWereNotAskedForIsRefused) {
  for (const std::uint32_t flag : {1U, 2U, 4U, 0x8000U}) {
    EXPECT_THAT(judgement(message(opMessage, around(done(), flag))), HasSubstr("flags")) << flag;
  }
  EXPECT_EQ(judgement(message(opMessage, around(done(), 0x10000))), "sound");  // may be passed over
}

TEST(Message, HoldsOneDocumentAndNothingElse) {
  EXPECT_THAT(judgement(message(opMessage, around(done(), 0, 1))), HasSubstr("section of kind 1"));
  EXPECT_THAT(judgement(message(opMessage, around({}))), HasSubstr("without a document"));
  Bytes two = around(done());
  two.push_back(0);
  append(two, done());
  EXPECT_THAT(judgement(message(opMessage, two)), HasSubstr("behind the document"));
  EXPECT_THAT(judgement(message(opReply, replyOf(done(), 2))), HasSubstr("1 documents in a reply that says 2"));
  EXPECT_THAT(judgement(message(opReply, replyOf({}, 0))), HasSubstr("0 documents"));
}

TEST(Message, DocumentIsLookedAtToItsEnd) {
  for (const Bytes& cut :
       {Bytes{5, 0, 0, 0}, Bytes{6, 0, 0, 0, 0}, Bytes{5, 0, 0, 0, 1}, Bytes{0xFF, 0xFF, 0xFF, 0xFF, 0}}) {
    EXPECT_NE(judgement(message(opMessage, around(cut))), "sound");
    EXPECT_NE(judgement(message(opReply, replyOf(cut))), "sound");
  }
  Bytes text = bsonOf(R"({"ok": 1, "a": "MARK"})");
  text[text.size() - 3] = 0xFF;
  EXPECT_THAT(judgement(message(opMessage, around(text))), HasSubstr("not UTF-8"));
}

TEST(Message, TextAboutAnErrorMayBeCutWithinACharacter) {
  Bytes text = bsonOf(R"({"ok": 0, "code": 2, "errmsg": "MARK"})");
  text[text.size() - 3] = 0xC3;
  EXPECT_EQ(judgement(message(opMessage, around(text))), "sound");
  Bytes result = bsonOf(R"({"ok": 1, "cursor": {"firstBatch": [{"errmsg": "MARK"}]}})");
  result[result.size() - 7] = 0xC3;
  EXPECT_THAT(judgement(message(opMessage, around(result))), HasSubstr("not UTF-8"));
}

Bytes compressed(Byte compressor, const Bytes& content, std::int32_t size, std::int32_t opCode = opMessage) {
  Bytes body;
  append(body, opCode);
  append(body, size);
  body.push_back(compressor);
  append(body, content);
  return message(opCompressed, body);
}

Bytes packed(Byte compressor, const Bytes& body) {
  Bytes content(1000);
  std::size_t size = content.size();
  if (compressor == 0) return body;
  if (compressor == 1) {
    snappy_compress(reinterpret_cast<const char*>(body.data()), body.size(), reinterpret_cast<char*>(content.data()),
                    &size);
  } else if (compressor == 2) {
    compress(content.data(), &size, body.data(), body.size());
  } else {
    size = ZSTD_compress(content.data(), content.size(), body.data(), body.size(), 1);
  }
  content.resize(size);
  return content;
}

TEST(Message, CompressedOneIsUncompressedAndLookedAt) {
  const Bytes body = around(done());
  const auto size = static_cast<std::int32_t>(body.size());
  for (const Byte compressor : {Byte{0}, Byte{1}, Byte{2}, Byte{3}}) {
    Bytes plain;
    EXPECT_EQ(judgement(compressed(compressor, packed(compressor, body), size), &plain), "sound") << int{compressor};
    Bytes expected = message(opMessage, body);
    EXPECT_EQ(plain, expected) << int{compressor};
    for (const std::int32_t wrong : {size - 1, size + 1, 0, -1, 48'000'000, 0x7FFFFFFF}) {
      EXPECT_THAT(judgement(compressed(compressor, packed(compressor, body), wrong)), HasSubstr("uncompressed"))
          << int{compressor} << " " << wrong;
    }
    Bytes cut = packed(compressor, body);
    cut.pop_back();
    EXPECT_THAT(judgement(compressed(compressor, cut, size)), HasSubstr("uncompressed")) << int{compressor};
    EXPECT_NE(judgement(compressed(compressor, packed(compressor, around(done(), 1)), size)), "sound");
  }
  EXPECT_THAT(judgement(compressed(4, body, size)), HasSubstr("uncompressed"));
  EXPECT_THAT(judgement(compressed(0, body, size, opCompressed)), HasSubstr("operation 2012"));
}

/// The purpose of a request, as a number, and its own number.
std::string request(std::int32_t opCode, const Bytes& body) {
  Bytes bytes = message(opCode, body);
  bytes.resize(std::min(bytes.size(), requestStart));
  const Request found = requestOf(bytes.data(), bytes.size());
  return std::to_string(static_cast<int>(found.purpose)) + " " + std::to_string(found.id);
}

TEST(Message, PurposeOfARequestIsItsCommand) {
  EXPECT_EQ(request(opMessage, around(bsonOf(R"({"find": "c"})"))), "0 1");
  EXPECT_EQ(request(opMessage, around(bsonOf(R"({"hello": 1})"))), "1 1");
  EXPECT_EQ(request(opMessage, around(bsonOf(R"({"saslStart": 1})"))), "2 1");
  EXPECT_EQ(request(opMessage, around(bsonOf(R"({"saslContinue": 1})"))), "2 1");
  Bytes query(4);
  const std::string collection("admin.$cmd", 11);
  query.insert(query.end(), collection.begin(), collection.end());
  query.resize(query.size() + 8);
  append(query, bsonOf(R"({"isMaster": 1})"));
  EXPECT_EQ(request(opQuery, query), "1 1");
  EXPECT_EQ(request(opMessage, {}), "0 1");
  EXPECT_EQ(request(opQuery, Bytes(200, 'x')), "0 1");
}

}  // namespace
}  // namespace database_client::server
