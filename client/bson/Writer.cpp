#include "client/bson/Writer.h"

#include <charconv>
#include <utility>

namespace database_client::bson {

namespace {
constexpr std::size_t usualSize = 256;
constexpr std::size_t usualDepth = 8;
}  // namespace

void Writer::raw(const void* bytes, std::size_t size) {
  const auto* first = static_cast<const Byte*>(bytes);
  bytes_.insert(bytes_.end(), first, first + size);
}

void Writer::head(Type type, std::string_view key) {
  bytes_.push_back(static_cast<Byte>(type));
  raw(key.data(), key.size());
  bytes_.push_back(0);
}

void Writer::append(std::string_view key, const Value& value) {
  head(value.type, key);
  raw(value.data, value.size);
}

void Writer::appendDouble(std::string_view key, double value) {
  head(Type::real, key);
  number(value);
}

void Writer::appendString(std::string_view key, std::string_view value) {
  head(Type::string, key);
  number(static_cast<std::int32_t>(value.size() + 1));
  raw(value.data(), value.size());
  bytes_.push_back(0);
}

void Writer::appendBool(std::string_view key, bool value) {
  head(Type::boolean, key);
  bytes_.push_back(value ? 1 : 0);
}

void Writer::appendInt32(std::string_view key, std::int32_t value) {
  head(Type::int32, key);
  number(value);
}

void Writer::appendInt64(std::string_view key, std::int64_t value) {
  head(Type::int64, key);
  number(value);
}

void Writer::appendDate(std::string_view key, std::int64_t milliseconds) {
  head(Type::date, key);
  number(milliseconds);
}

void Writer::appendNull(std::string_view key) {
  head(Type::null, key);
}

void Writer::appendObjectId(std::string_view key, const Byte* twelveBytes) {
  head(Type::objectId, key);
  raw(twelveBytes, objectIdSize);
}

void Writer::appendRegex(std::string_view key, std::string_view pattern, std::string_view options) {
  head(Type::regex, key);
  raw(pattern.data(), pattern.size());
  bytes_.push_back(0);
  raw(options.data(), options.size());
  bytes_.push_back(0);
}

void Writer::appendBinary(std::string_view key, Byte subtype, const void* bytes, std::size_t size) {
  head(Type::binary, key);
  number(static_cast<std::int32_t>(size));
  bytes_.push_back(subtype);
  raw(bytes, size);
}

void Writer::open() {
  if (bytes_.empty()) {
    bytes_.reserve(usualSize);
    open_.reserve(usualDepth);
  }
  open_.push_back(bytes_.size());
  number(std::int32_t{0});
}

void Writer::beginDocument(std::string_view key) {
  head(Type::document, key);
  open();
}

void Writer::beginArray(std::string_view key) {
  head(Type::array, key);
  open();
}

void Writer::end() {
  bytes_.push_back(0);
  const std::size_t start = open_.back();
  open_.pop_back();
  store(bytes_.data() + start, static_cast<std::int32_t>(bytes_.size() - start));
}

std::vector<Byte> Writer::take() {
  while (!open_.empty()) end();
  return std::move(bytes_);
}

// The number fills as much of the text as is ever read.
// cppcheck-suppress uninitMemberVar
IndexKey::IndexKey(std::size_t index)
    : length_(static_cast<std::size_t>(std::to_chars(text_, text_ + sizeof text_, index).ptr - text_)) {}

}  // namespace database_client::bson
