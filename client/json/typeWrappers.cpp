// SPDX-License-Identifier: Apache-2.0
#include "client/json/typeWrappers.h"

#include <algorithm>

#include "client/bson/utf8.h"
#include "client/json/parse.h"
#include "client/json/regexOptions.h"

namespace database_client::json {

namespace {

using bson::Byte;
using bson::Type;

template <class Number>
bool appendNumber(const std::optional<Number>& number, Output& out) {
  if (number) out.append(&*number, sizeof *number);
  return number.has_value();
}

template <class Bytes>
bool appendBytes(const std::optional<Bytes>& bytes, Output& out) {
  if (bytes) out.append(bytes->data(), bytes->size());
  return bytes.has_value();
}

bool appendId(std::string_view digits, Output& out) {
  if (!parseHex(digits, out.room(bson::objectIdSize), bson::objectIdSize)) return false;
  out.advance(bson::objectIdSize);
  return true;
}

bool objectId(const Items& items, Output& out) {
  return items.isSingle(Kind::string) && appendId(items[0].text, out);
}

bool text(const Items& items, Output& out) {
  if (!items.isSingle(Kind::string)) return false;
  appendText(items[0].text, out);
  return true;
}

bool int32(const Items& items, Output& out) {
  return items.isSingle(Kind::string) && appendNumber(parseInt32(items[0].text), out);
}

bool int64(const Items& items, Output& out) {
  return items.isSingle(Kind::string) && appendNumber(parseInt64(items[0].text), out);
}

bool real(const Items& items, Output& out) {
  return items.isSingle(Kind::string) && appendNumber(parseDouble(items[0].text), out);
}

bool decimal(const Items& items, Output& out) {
  return items.isSingle(Kind::string) && appendBytes(parseDecimal(items[0].text), out);
}

/// The old subtype repeats the length inside.
void appendBinary(Byte subtype, const Byte* bytes, std::size_t size, Output& out) {
  const auto length = static_cast<std::int32_t>(size);
  const bool isOld = subtype == bson::oldBinarySubtype;
  const std::int32_t outer = isOld ? length + 4 : length;
  out.append(&outer, sizeof outer);
  out.append(&subtype, 1);
  if (isOld) out.append(&length, sizeof length);
  out.append(bytes, size);
}

bool binary(const Items& items, Output& out) {
  const Item* const base64 = items.find(1, Kind::string, "base64");
  const Item* const digits = items.find(1, Kind::string, "subType");
  if (items.count() != 3 || base64 == nullptr || digits == nullptr) return false;
  Byte subtype = 0;
  if (!parseHex(digits->text.size() == 1 ? "0" + std::string(digits->text) : digits->text, &subtype, 1)) return false;
  const auto bytes = parseBase64(base64->text);
  if (!bytes) return false;
  appendBinary(subtype, bytes->data(), bytes->size(), out);
  return true;
}

bool uuid(const Items& items, Output& out) {
  constexpr Byte uuidSubtype = 4;
  if (!items.isSingle(Kind::string)) return false;
  const auto bytes = parseUuid(items[0].text);
  if (bytes) appendBinary(uuidSubtype, bytes->data(), bytes->size(), out);
  return bytes.has_value();
}

bool timestamp(const Items& items, Output& out) {
  const Item* const seconds = items.find(1, Kind::number, "t");
  const Item* const increment = items.find(1, Kind::number, "i");
  if (items.count() != 3 || seconds == nullptr || increment == nullptr) return false;
  return appendNumber(parseUint32(increment->text), out) && appendNumber(parseUint32(seconds->text), out);
}

bool regex(const Items& items, Output& out) {
  const Item* const pattern = items.find(1, Kind::string, "pattern");
  const Item* const options = items.find(1, Kind::string, "options");
  if (items.count() != 3 || pattern == nullptr || options == nullptr) return false;
  const auto hasNul = [](std::string_view text) { return text.find('\0') != std::string_view::npos; };
  if (hasNul(pattern->text) || hasNul(options->text)) return false;
  const std::string sorted = sortedOptions(options->text);
  out.append(pattern->text.data(), pattern->text.size());
  out.append("", 1);
  out.append(sorted.c_str(), sorted.size() + 1);
  return true;
}

bool dbPointer(const Items& items, Output& out) {
  const Item* const name = items.find(1, Kind::string, "$ref");
  const Item* const holder = items.find(1, Kind::object, "$id");
  const Item* const id = items.find(2, Kind::string, "$oid");
  if (items.count() != 4 || name == nullptr || holder == nullptr || id == nullptr) return false;
  appendText(name->text, out);
  return appendId(id->text, out);
}

bool date(const Items& items, Output& out) {
  if (items.isSingle(Kind::string)) return appendNumber(parseTime(items[0].text), out);
  const Item* const milliseconds = items.find(1, Kind::string, "$numberLong");
  return items.count() == 2 && milliseconds != nullptr && appendNumber(parseInt64(milliseconds->text), out);
}

bool mark(const Items& items, Output&) {
  return items.isSingle(Kind::number) && items[0].text == "1";
}

bool undefined(const Items& items, Output&) {
  return items.isSingle(Kind::boolean) && items[0].text == "true";
}

constexpr TypeWrapper forms[] = {
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
    {"$minKey", Type::minKey, "the number 1", mark},
    {"$maxKey", Type::maxKey, "the number 1", mark},
    {"$undefined", Type::undefined, "true", undefined},
};

}  // namespace

const char* nameOf(Kind kind) {
  constexpr const char* names[] = {"a string", "a number", "a boolean", "null", "an object", "an array"};
  return names[static_cast<int>(kind)];
}

const Item* Items::find(int depth, Kind kind, std::string_view key) const {
  const auto* const end = items_.data() + std::min(count_, items_.size());
  const auto* const item = std::find_if(
      items_.data(), end, [&](const Item& i) { return i.depth == depth && i.kind == kind && i.key == key; });
  return item == end ? nullptr : item;
}

const TypeWrapper* findForm(std::string_view firstKey) {
  const auto* const form =
      std::find_if(std::begin(forms), std::end(forms), [firstKey](const TypeWrapper& f) { return f.key == firstKey; });
  return form == std::end(forms) ? nullptr : form;
}

void appendText(std::string_view text, Output& out) {
  const auto length = static_cast<std::int32_t>(text.size() + 1);
  out.append(&length, sizeof length);
  out.append(text.data(), text.size());
  out.append("", 1);
}

std::optional<Type> appendPlainNumber(std::string_view text, Output& out) {
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
