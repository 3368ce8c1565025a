// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Wire.h"

#include <cstring>
#include <stdexcept>

namespace database_test {

namespace {

// A sequence of documents becomes the array that it stands for.
void appendSequence(bson_t* command, const Bytes& body, std::size_t at, std::size_t end) {
  const std::string name(reinterpret_cast<const char*>(body.data() + at));
  at += name.size() + 1;
  const Bson array(bson_new());
  for (int i = 0; at < end; ++i) {
    const bson_t document = documentAt(body, at);
    bson_append_document(array.get(), std::to_string(i).c_str(), -1, &document);
    at += document.len;
  }
  bson_append_array(command, name.c_str(), -1, array.get());
}

}  // namespace

Bson fromJson(const std::string& json) {
  bson_error_t error{};
  Bson document(bson_new_from_json(reinterpret_cast<const std::uint8_t*>(json.data()),
                                   static_cast<ssize_t>(json.size()), &error));
  if (document.get() == nullptr) throw std::invalid_argument("script: " + std::string(error.message) + " in " + json);
  return document;
}

std::string toJson(const bson_t* document) {
  char* text = bson_as_canonical_extended_json(document, nullptr);
  std::string json = text;
  bson_free(text);
  return json;
}

Bytes bytesOf(const bson_t* document) {
  const std::uint8_t* data = bson_get_data(document);
  return {data, data + document->len};
}

std::int32_t int32At(const Bytes& bytes, std::size_t at) {
  std::int32_t number = 0;
  std::memcpy(&number, bytes.data() + at, sizeof number);
  return number;
}

void append(Bytes& bytes, const void* more, std::size_t size) {
  const auto* from = static_cast<const std::uint8_t*>(more);
  bytes.insert(bytes.end(), from, from + size);
}

bson_t documentAt(const Bytes& bytes, std::size_t at) {
  bson_t document;
  if (!bson_init_static(&document, bytes.data() + at, static_cast<std::size_t>(int32At(bytes, at)))) {
    throw std::runtime_error("the client sent a broken document");
  }
  return document;
}

bool readMessage(Stream& stream, Message& message) {
  Header& header = message.header;
  if (!stream.read(&header, sizeof header)) return false;
  if (header.length < static_cast<std::int32_t>(sizeof header) || header.length > longestMessage) return false;
  message.body.resize(static_cast<std::size_t>(header.length) - sizeof header);
  return stream.read(message.body.data(), message.body.size());
}

Bson commandOfMessage(const Bytes& body) {
  Bson command(bson_new());
  std::size_t at = 4;
  while (at + 5 < body.size()) {
    const std::uint8_t kind = body[at++];
    const auto size = static_cast<std::size_t>(int32At(body, at));
    if (kind == 0) {
      const bson_t document = documentAt(body, at);
      bson_concat(command.get(), &document);
    } else {
      appendSequence(command.get(), body, at + 4, at + size);
    }
    at += size;
  }
  return command;
}

Bson commandOfQuery(const Bytes& body) {
  const std::size_t name = std::strlen(reinterpret_cast<const char*>(body.data() + 4)) + 1;
  const bson_t document = documentAt(body, 4 + name + 8);
  return Bson(bson_copy(&document));
}

Bytes replyWith(const Bytes& document, std::int32_t responseTo, bool legacy) {
  Bytes body;
  if (legacy) {
    append(body, std::int32_t{8});
    append(body, std::int64_t{0});
    append(body, std::int32_t{0});
    append(body, std::int32_t{1});
  } else {
    append(body, std::uint32_t{0});
    body.push_back(0);
  }
  append(body, document.data(), document.size());
  const Header header{static_cast<std::int32_t>(sizeof(Header) + body.size()), 1, responseTo,
                      legacy ? opReply : opMessage};
  Bytes whole;
  append(whole, header);
  append(whole, body.data(), body.size());
  return whole;
}

}  // namespace database_test
