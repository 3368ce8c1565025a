// SPDX-License-Identifier: Apache-2.0
#include "client/bson/Writer.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <utility>

namespace database_client::bson {

namespace {
constexpr std::size_t usualSize = 256;
}  // namespace

Writer::Writer() : bytes_(usualSize) {
  bytes_.advance(sizeof(std::int32_t));
}

/// Appends the type and the key of an element and makes room for its value, which the caller fills in.
Byte* Writer::element(Type type, std::string_view key, std::size_t size) {
  const std::size_t wholeSize = 1 + key.size() + 1 + size;
  Byte* at = bytes_.room(wholeSize);
  bytes_.advance(wholeSize);
  *at++ = static_cast<Byte>(type);
  at = std::copy(key.begin(), key.end(), at);
  *at++ = 0;
  return at;
}

void Writer::append(std::string_view key, const Value& value) {
  Byte* at = element(value.type, key, value.size);
  if (value.size != 0) std::memcpy(at, value.data, value.size);
}

void Writer::appendDouble(std::string_view key, double value) {
  store(element(Type::real, key, sizeof value), value);
}

void Writer::appendString(std::string_view key, std::string_view value) {
  Byte* at = element(Type::string, key, 4 + value.size() + 1);
  store(at, static_cast<std::int32_t>(value.size() + 1));
  *std::copy(value.begin(), value.end(), at + 4) = 0;
}

void Writer::appendBool(std::string_view key, bool value) {
  *element(Type::boolean, key, 1) = value ? 1 : 0;
}

void Writer::appendInt32(std::string_view key, std::int32_t value) {
  store(element(Type::int32, key, sizeof value), value);
}

void Writer::appendInt64(std::string_view key, std::int64_t value) {
  store(element(Type::int64, key, sizeof value), value);
}

void Writer::appendDate(std::string_view key, std::int64_t milliseconds) {
  store(element(Type::date, key, sizeof milliseconds), milliseconds);
}

void Writer::appendNull(std::string_view key) {
  element(Type::null, key, 0);
}

void Writer::appendObjectId(std::string_view key, const Byte* twelveBytes) {
  std::memcpy(element(Type::objectId, key, objectIdSize), twelveBytes, objectIdSize);
}

void Writer::appendRegex(std::string_view key, std::string_view pattern, std::string_view options) {
  Byte* at = element(Type::regex, key, pattern.size() + 1 + options.size() + 1);
  at = std::copy(pattern.begin(), pattern.end(), at);
  *at++ = 0;
  *std::copy(options.begin(), options.end(), at) = 0;
}

void Writer::appendBinary(std::string_view key, Byte subtype, const void* bytes, std::size_t size) {
  Byte* at = element(Type::binary, key, 4 + 1 + size);
  store(at, static_cast<std::int32_t>(size));
  at[4] = subtype;
  if (size != 0) std::memcpy(at + 5, bytes, size);
}

void Writer::open() {
  open_.push_back(bytes_.size());
  bytes_.room(sizeof(std::int32_t));
  bytes_.advance(sizeof(std::int32_t));
}

void Writer::beginDocument(std::string_view key) {
  element(Type::document, key, 0);
  open();
}

void Writer::beginArray(std::string_view key) {
  element(Type::array, key, 0);
  open();
}

void Writer::end() {
  close(open_.back());
  open_.pop_back();
}

void Writer::close(std::size_t start) {
  bytes_.append(Byte{0});
  store(bytes_.at(start), static_cast<std::int32_t>(bytes_.size() - start));
}

std::vector<Byte> Writer::take() {
  while (!open_.empty()) end();
  close(0);
  return bytes_.take();
}

// The number fills as much of the text as is ever read.
// cppcheck-suppress uninitMemberVar
IndexKey::IndexKey(std::size_t index)
    : length_(static_cast<std::size_t>(std::to_chars(text_, text_ + sizeof text_, index).ptr - text_)) {}

}  // namespace database_client::bson
