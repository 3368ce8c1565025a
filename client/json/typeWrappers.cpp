// SPDX-License-Identifier: Apache-2.0
#include "client/json/typeWrappers.h"

#include <algorithm>

#include "client/bson/base64.h"
#include "client/bson/hex.h"
#include "client/bson/iso8601.h"
#include "client/bson/utf8.h"
#include "client/json/parse.h"
#include "client/json/regexOptions.h"

namespace database_client::json {

namespace {

using bson::Byte;
using bson::Type;

template <class Number>
bool appendNumber(const std::optional<Number>& number, BsonBuilder& out) {
  if (number) out.append(&*number, sizeof *number);
  return number.has_value();
}

template <class Bytes>
bool appendBytes(const std::optional<Bytes>& bytes, BsonBuilder& out) {
  if (bytes) out.append(bytes->data(), bytes->size());
  return bytes.has_value();
}

bool appendId(std::string_view digits, BsonBuilder& out) {
  if (!bson::parseHex(digits, out.room(bson::objectIdSize), bson::objectIdSize)) return false;
  out.advance(bson::objectIdSize);
  return true;
}

bool objectId(const WrapperFields& fields, BsonBuilder& out) {
  return fields.isSingle(JsonType::string) && appendId(fields[0].text, out);
}

bool text(const WrapperFields& fields, BsonBuilder& out) {
  if (!fields.isSingle(JsonType::string)) return false;
  appendText(fields[0].text, out);
  return true;
}

bool int32(const WrapperFields& fields, BsonBuilder& out) {
  return fields.isSingle(JsonType::string) && appendNumber(parseInt32(fields[0].text), out);
}

bool int64(const WrapperFields& fields, BsonBuilder& out) {
  return fields.isSingle(JsonType::string) && appendNumber(parseInt64(fields[0].text), out);
}

bool real(const WrapperFields& fields, BsonBuilder& out) {
  return fields.isSingle(JsonType::string) && appendNumber(parseDouble(fields[0].text), out);
}

bool decimal(const WrapperFields& fields, BsonBuilder& out) {
  return fields.isSingle(JsonType::string) && appendBytes(parseDecimal(fields[0].text), out);
}

/// The old subtype repeats the length inside.
void appendBinary(Byte subtype, const void* bytes, std::size_t size, BsonBuilder& out) {
  const auto length = static_cast<std::int32_t>(size);
  const bool isOld = subtype == bson::oldBinarySubtype;
  const std::int32_t outer = isOld ? length + 4 : length;
  out.append(&outer, sizeof outer);
  out.append(subtype);
  if (isOld) out.append(&length, sizeof length);
  out.append(bytes, size);
}

bool binary(const WrapperFields& fields, BsonBuilder& out) {
  const WrapperField* const base64 = fields.find(1, JsonType::string, "base64");
  const WrapperField* const digits = fields.find(1, JsonType::string, "subType");
  if (fields.count() != 3 || base64 == nullptr || digits == nullptr) return false;
  Byte subtype = 0;
  if (!bson::parseHex(digits->text.size() == 1 ? "0" + std::string(digits->text) : digits->text, &subtype, 1))
    return false;
  const auto bytes = bson::fromBase64(base64->text);
  if (!bytes) return false;
  appendBinary(subtype, bytes->data(), bytes->size(), out);
  return true;
}

bool uuid(const WrapperFields& fields, BsonBuilder& out) {
  constexpr Byte uuidSubtype = 4;
  if (!fields.isSingle(JsonType::string)) return false;
  const auto bytes = parseUuid(fields[0].text);
  if (bytes) appendBinary(uuidSubtype, bytes->data(), bytes->size(), out);
  return bytes.has_value();
}

bool timestamp(const WrapperFields& fields, BsonBuilder& out) {
  const WrapperField* const seconds = fields.find(1, JsonType::number, "t");
  const WrapperField* const increment = fields.find(1, JsonType::number, "i");
  if (fields.count() != 3 || seconds == nullptr || increment == nullptr) return false;
  return appendNumber(parseUint32(increment->text), out) && appendNumber(parseUint32(seconds->text), out);
}

bool regex(const WrapperFields& fields, BsonBuilder& out) {
  const WrapperField* const pattern = fields.find(1, JsonType::string, "pattern");
  const WrapperField* const options = fields.find(1, JsonType::string, "options");
  if (fields.count() != 3 || pattern == nullptr || options == nullptr) return false;
  const auto hasNul = [](std::string_view text) { return text.find('\0') != std::string_view::npos; };
  if (hasNul(pattern->text) || hasNul(options->text)) return false;
  const std::string sorted = sortedOptions(options->text);
  out.append(pattern->text);
  out.append(Byte{0});
  out.append(sorted.c_str(), sorted.size() + 1);
  return true;
}

bool dbPointer(const WrapperFields& fields, BsonBuilder& out) {
  const WrapperField* const name = fields.find(1, JsonType::string, "$ref");
  const WrapperField* const holder = fields.find(1, JsonType::object, "$id");
  const WrapperField* const id = fields.find(2, JsonType::string, "$oid");
  if (fields.count() != 4 || name == nullptr || holder == nullptr || id == nullptr) return false;
  appendText(name->text, out);
  return appendId(id->text, out);
}

bool date(const WrapperFields& fields, BsonBuilder& out) {
  if (fields.isSingle(JsonType::string)) return appendNumber(bson::parseIso8601(fields[0].text), out);
  const WrapperField* const milliseconds = fields.find(1, JsonType::string, "$numberLong");
  return fields.count() == 2 && milliseconds != nullptr && appendNumber(parseInt64(milliseconds->text), out);
}

bool minOrMaxKey(const WrapperFields& fields, BsonBuilder&) {
  return fields.isSingle(JsonType::number) && fields[0].text == "1";
}

bool undefined(const WrapperFields& fields, BsonBuilder&) {
  return fields.isSingle(JsonType::boolean) && fields[0].text == "true";
}

constexpr TypeWrapper typeWrappers[] = {
    {"$oid", Type::objectId, "a string of 24 hexadecimal digits", objectId},
    {"$date", Type::date, R"(an ISO 8601 date and time or {"$numberLong": milliseconds as a string})", date},
    {"$numberInt", Type::int32, "a string with a 32-bit integer", int32},
    {"$numberLong", Type::int64, "a string with a 64-bit integer", int64},
    {"$numberDouble", Type::real, R"(a string with a double, "Infinity", "-Infinity" or "NaN")", real},
    {"$numberDecimal", Type::decimal128, "a string with a number of at most 34 digits that decimal128 holds", decimal},
    {"$binary", Type::binary, R"(an object of "base64" and "subType", a string of two hexadecimal digits)", binary},
    {"$uuid", Type::binary, "a string of 32 hexadecimal digits with hyphens, 8-4-4-4-12", uuid},
    {"$code", Type::code, R"(a string, and at most "$scope" with an object behind it)", text},
    {"$timestamp", Type::timestamp, R"(an object of "t" and "i", unsigned 32-bit integers)", timestamp},
    {"$regularExpression", Type::regex, R"(an object of "pattern" and "options", strings without NUL)", regex},
    {"$dbPointer", Type::dbPointer, R"(an object of "$ref", a string, and "$id" with an object id)", dbPointer},
    {"$symbol", Type::symbol, "a string", text},
    {"$minKey", Type::minKey, "the number 1", minOrMaxKey},
    {"$maxKey", Type::maxKey, "the number 1", minOrMaxKey},
    {"$undefined", Type::undefined, "true", undefined},
};

}  // namespace

const char* nameOf(JsonType kind) {
  constexpr const char* names[] = {"a string", "a number", "a boolean", "null", "an object", "an array"};
  return names[static_cast<int>(kind)];
}

const WrapperField* WrapperFields::find(int depth, JsonType kind, std::string_view key) const {
  const auto* const end = fields_.data() + std::min(count_, fields_.size());
  const auto* const field = std::find_if(
      fields_.data(), end, [&](const WrapperField& f) { return f.depth == depth && f.kind == kind && f.key == key; });
  return field == end ? nullptr : field;
}

const TypeWrapper* findTypeWrapper(std::string_view firstKey) {
  const auto* const wrapper = std::find_if(std::begin(typeWrappers), std::end(typeWrappers),
                                           [firstKey](const TypeWrapper& w) { return w.key == firstKey; });
  return wrapper == std::end(typeWrappers) ? nullptr : wrapper;
}

void appendText(std::string_view text, BsonBuilder& out) {
  const auto length = static_cast<std::int32_t>(text.size() + 1);
  out.append(&length, sizeof length);
  out.append(text);
  out.append(Byte{0});
}

std::optional<Type> appendPlainNumber(std::string_view text, BsonBuilder& out) {
  if (const auto integer = parseInt64(text)) {
    if (const auto small = static_cast<std::int32_t>(*integer); small == *integer) {
      out.append(&small, sizeof small);
      return Type::int32;
    }
    out.append(&*integer, sizeof *integer);
    return Type::int64;
  }
  const auto value = parseDouble(text);
  if (!value) return std::nullopt;
  out.append(&*value, sizeof *value);
  return Type::real;
}

}  // namespace database_client::json
