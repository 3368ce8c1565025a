// SPDX-License-Identifier: Apache-2.0
#include "client/server/Message.h"

#include <string>
#include <string_view>

#include "client/bson/validate.h"
#include "client/server/AnswerForm.h"
#include "client/server/Compression.h"
#include "database_client/Error.h"

namespace database_client::server {

namespace {

using bson::Byte;

constexpr std::int32_t opReply = 1;
constexpr std::int32_t opQuery = 2004;
constexpr std::int32_t opCompressed = 2012;
constexpr std::int32_t opMessage = 2013;

constexpr std::size_t headerSize = sizeof(MessageHeader);
constexpr std::size_t smallestDocument = 5;
constexpr std::size_t flagsSize = 4;
/// The flags of an OP_MSG that have to be understood; the others may be passed over.
constexpr std::uint32_t requiredFlags = 0xFFFF;
/// Flags, number of a cursor, place of the first document, number of documents.
constexpr std::size_t replyFieldsSize = 4 + 8 + 4 + 4;
/// Code of the operation, size, number of the compressor.
constexpr std::size_t compressionFieldsSize = 4 + 4 + 1;
constexpr std::size_t smallestAnswer = headerSize + compressionFieldsSize;
/// What servers and the driver take for the largest message.
constexpr std::size_t largestAnswer = 48'000'000;

std::string quoted(std::int64_t number) {
  return std::to_string(number);
}

/// A text within the first bytes of a message; empty when its end is not among them.
std::string_view textAt(const Byte* start, std::size_t size, std::size_t at) {
  if (at >= size) return {};
  const std::string_view rest(reinterpret_cast<const char*>(start + at), size - at);
  const std::size_t end = rest.find('\0');
  return end == std::string_view::npos ? std::string_view() : rest.substr(0, end);
}

Purpose purposeOf(std::string_view command) {
  if (command == "hello" || command == "isMaster" || command == "ismaster") return Purpose::greeting;
  return command == "saslStart" || command == "saslContinue" ? Purpose::login : Purpose::command;
}

/// Where the command's document starts in a request.
std::size_t documentOf(const Byte* start, std::size_t size, std::int32_t opCode) {
  if (opCode == opMessage) return headerSize + flagsSize + 1;
  const std::size_t collection = headerSize + flagsSize;
  return collection + textAt(start, size, collection).size() + 1 + 4 + 4;
}

bson::View documentAt(const Byte* at, std::size_t left) {
  if (left < smallestDocument) throw DamagedAnswer("it ends where a document is expected");
  const auto length = bson::load<std::int32_t>(at);
  if (length < 0 || static_cast<std::size_t>(length) > left) {
    throw DamagedAnswer("a document of " + quoted(length) + " bytes where " + std::to_string(left) + " are left");
  }
  try {
    return bson::validateAnswer(at, static_cast<std::size_t>(length));
  } catch (const Error& error) {
    throw DamagedAnswer(error.what());
  }
}

void checkMessage(Message body, Purpose purpose) {
  const std::size_t before = flagsSize + 1;
  if (body.size < before + smallestDocument) throw DamagedAnswer("a message without a document");
  const auto flags = bson::load<std::uint32_t>(body.data);
  if ((flags & requiredFlags) != 0) throw DamagedAnswer("flags that were not asked for: " + std::to_string(flags));
  const Byte kind = body.data[flagsSize];
  if (kind != 0) throw DamagedAnswer("a section of kind " + std::to_string(kind) + " where 0 is expected");
  const bson::View document = documentAt(body.data + before, body.size - before);
  if (before + document.size != body.size) {
    throw DamagedAnswer(std::to_string(body.size - before - document.size) + " bytes behind the document");
  }
  checkForm(document, purpose);
}

void checkReply(Message body, Purpose purpose) {
  if (body.size < replyFieldsSize) throw DamagedAnswer("a reply that is too short");
  const auto number = bson::load<std::int32_t>(body.data + replyFieldsSize - 4);
  std::size_t at = replyFieldsSize;
  std::int32_t found = 0;
  for (; at < body.size; ++found) {
    const bson::View document = documentAt(body.data + at, body.size - at);
    checkForm(document, purpose);
    at += document.size;
  }
  if (found != number || found == 0) {
    throw DamagedAnswer(quoted(found) + " documents in a reply that says " + quoted(number));
  }
}

MessageHeader headerOf(const Byte* start) {
  return bson::load<MessageHeader>(start);
}

void checkResponse(const MessageHeader& header, const Request& request) {
  if (header.responseTo == request.id) return;
  throw DamagedAnswer("it answers request " + quoted(header.responseTo) + " instead of " + quoted(request.id));
}

/// The message that was compressed.
std::vector<Byte> uncompressed(Message message) {
  const Byte* fields = message.data + headerSize;
  const auto opCode = bson::load<std::int32_t>(fields);
  const auto size = bson::load<std::int32_t>(fields + 4);
  if (size < 0 || static_cast<std::size_t>(size) > largestAnswer - headerSize) {
    throw DamagedAnswer("it is said to have " + quoted(size) + " bytes uncompressed");
  }
  MessageHeader header = headerOf(message.data);
  header.opCode = opCode;
  header.length = static_cast<std::int32_t>(headerSize) + size;
  std::vector<Byte> plain(static_cast<std::size_t>(header.length));
  bson::store(plain.data(), header);
  const Byte* content = fields + compressionFieldsSize;
  const auto compressor = static_cast<Compressor>(fields[compressionFieldsSize - 1]);
  if (!uncompress(compressor, {content, static_cast<std::size_t>(message.data + message.size - content)},
                  {plain.data() + headerSize, static_cast<std::size_t>(size)})) {
    throw DamagedAnswer("it cannot be uncompressed");
  }
  return plain;
}

}  // namespace

Request requestOf(const Byte* start, std::size_t size) {
  const MessageHeader header = headerOf(start);
  Request request{header.length, header.id, Purpose::command};
  if (header.opCode != opMessage && header.opCode != opQuery) return request;
  // The length of the document and the type of its first value stand before the name.
  constexpr std::size_t beforeName = 4 + 1;
  request.purpose = purposeOf(textAt(start, size, documentOf(start, size, header.opCode) + beforeName));
  return request;
}

std::size_t lengthOfAnswer(const Byte* header) {
  const auto length = bson::load<std::int32_t>(header);
  if (length < static_cast<std::int32_t>(smallestAnswer) || length > static_cast<std::int32_t>(largestAnswer)) {
    throw DamagedAnswer("a length of " + quoted(length) + " bytes, expected " + std::to_string(smallestAnswer) +
                        " to " + std::to_string(largestAnswer));
  }
  return static_cast<std::size_t>(length);
}

bool isCompressed(const MessageHeader& header) {
  return header.opCode == opCompressed;
}

void checkAnswer(Message message, const Request& request, std::vector<Byte>& plain) {
  checkResponse(headerOf(message.data), request);
  if (isCompressed(headerOf(message.data))) {
    plain = uncompressed(message);
    message = {plain.data(), plain.size()};
  }
  checkAnswer(headerOf(message.data), {message.data + headerSize, message.size - headerSize}, request);
}

void checkAnswer(const MessageHeader& header, Message body, const Request& request) {
  checkResponse(header, request);
  if (header.opCode == opMessage) {
    checkMessage(body, request.purpose);
  } else if (header.opCode == opReply) {
    checkReply(body, request.purpose);
  } else {
    throw DamagedAnswer("no answer has the operation " + quoted(header.opCode));
  }
}

}  // namespace database_client::server
