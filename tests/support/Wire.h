// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bson/bson.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/Socket.h"

// The wire protocol: a message is {int32 length, int32 id, int32 responseTo, int32 opCode} and a body. OP_MSG (2013) is
// {uint32 flags} and sections: a byte 0 and one document, or a byte 1 and {int32 size, cstring name, documents}.
// OP_COMPRESSED (2012) is {int32 opCode, int32 size, byte compressor (2 for zlib), bytes} around the body of another.
// OP_QUERY (2004), still used to say hello, is {int32 flags, cstring namespace, int32 skip, int32 count, document}; it
// is answered by OP_REPLY (1), {int32 flags, int64 cursor, int32 from, int32 count, document}.

namespace database_test {

constexpr std::int32_t opReply = 1;
constexpr std::int32_t opQuery = 2004;
constexpr std::int32_t opCompressed = 2012;
constexpr std::int32_t opMessage = 2013;
constexpr std::uint32_t moreToCome = 2;
constexpr std::int32_t longestMessage = 48 * 1024 * 1024;

using Bytes = std::vector<std::uint8_t>;

struct Header {
  std::int32_t length;
  std::int32_t id;
  std::int32_t responseTo;
  std::int32_t opCode;
};

struct Message {
  Header header{};
  Bytes body{};
};

/// Owns a document of libbson, whose alignment a smart pointer's argument would lose.
class Bson {
 public:
  explicit Bson(bson_t* document) : document_(document) {}
  Bson(Bson&& other) noexcept : document_(std::exchange(other.document_, nullptr)) {}
  Bson(const Bson&) = delete;
  Bson& operator=(const Bson&) = delete;
  Bson& operator=(Bson&&) = delete;
  ~Bson() {
    if (document_ != nullptr) bson_destroy(document_);
  }

  bson_t* get() const { return document_; }

 private:
  bson_t* document_;
};

/// The document of extended JSON; throws `std::invalid_argument` for what is none.
Bson fromJson(const std::string& json);
std::string toJson(const bson_t* document);
Bytes bytesOf(const bson_t* document);

std::int32_t int32At(const Bytes& bytes, std::size_t at);
void append(Bytes& bytes, const void* more, std::size_t size);
template <class Number>
void append(Bytes& bytes, Number number) {
  append(bytes, &number, sizeof number);
}
/// The document that starts there, valid as long as the bytes; throws `std::runtime_error` for a broken one.
bson_t documentAt(const Bytes& bytes, std::size_t at);

/// Reads one message; false when the peer is gone, or sends what cannot be a message.
bool readMessage(Stream& stream, Message& message);
/// The command of the body of an OP_MSG, document sequences put back in their place.
Bson commandOfMessage(const Bytes& body);
/// The command of the body of an OP_QUERY.
Bson commandOfQuery(const Bytes& body);
/// The message that answers a request with this document: an OP_REPLY to an OP_QUERY, which is `legacy`, else an
/// OP_MSG.
Bytes replyWith(const Bytes& document, std::int32_t responseTo, bool legacy);

}  // namespace database_test
