// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "client/bson/ByteBuilder.h"
#include "client/bson/View.h"

namespace database_client::bson {

/// Appends one document front to back. The caller gives keys without NUL and text that is UTF-8.
class Writer {
 public:
  Writer();

  void append(std::string_view key, const Value& value);
  void appendDouble(std::string_view key, double value);
  void appendString(std::string_view key, std::string_view value);
  void appendBool(std::string_view key, bool value);
  void appendInt32(std::string_view key, std::int32_t value);
  void appendInt64(std::string_view key, std::int64_t value);
  void appendDate(std::string_view key, std::int64_t milliseconds);
  void appendNull(std::string_view key);
  void appendObjectId(std::string_view key, const Byte* twelveBytes);
  void appendRegex(std::string_view key, std::string_view pattern, std::string_view options);
  void appendBinary(std::string_view key, Byte subtype, const void* bytes, std::size_t size);
  void appendDocument(std::string_view key, View document) {
    append(key, {Type::document, document.data, document.size});
  }
  void appendArray(std::string_view key, View array) { append(key, {Type::array, array.data, array.size}); }

  void beginDocument(std::string_view key);
  void beginArray(std::string_view key);
  /// Closes the innermost open document or array.
  void end();

  std::size_t size() const { return bytes_.size(); }
  /// Closes everything that is open and gives the bytes away; the writer is then spent.
  std::vector<Byte> take();

 private:
  void open();
  void close(std::size_t start);
  Byte* element(Type type, std::string_view key, std::size_t size);

  ByteBuilder<std::vector<Byte>> bytes_;
  std::vector<std::size_t> open_;  ///< the beginnings of what is open inside the document
};

/// The key of an array element.
class IndexKey {
 public:
  explicit IndexKey(std::size_t index);
  operator std::string_view() const { return {text_, length_}; }  // NOLINT(google-explicit-constructor): it is one

 private:
  char text_[20];
  std::size_t length_;
};

}  // namespace database_client::bson
