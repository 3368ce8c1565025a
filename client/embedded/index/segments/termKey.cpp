// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/segments/termKey.h"

#include <xxhash.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "client/embedded/index/segments/bytes.h"

namespace database_client::embedded::index {

namespace {

constexpr std::uint64_t signBit = std::uint64_t{1} << 63;
constexpr std::uint64_t plainNan = 0x7FF8000000000000;
constexpr std::uint64_t minusNan = plainNan | signBit;
constexpr double twoTo63 = 9223372036854775808.0;

/// Orders doubles as unsigned numbers; NaN comes first, as it does for queries. The bits of a
/// negative number are greater the farther it is below zero, hence all are flipped; of others only the sign is, so that
/// they come behind.
std::uint64_t orderedBits(double number) {
  if (std::isnan(number)) return 0;
  const auto bits = bson::load<std::uint64_t>(reinterpret_cast<const bson::Byte*>(&number));
  return (bits & signBit) != 0 ? ~bits : bits | signBit;
}

double fromOrderedBits(std::uint64_t ordered) {
  if (ordered == 0) return std::numeric_limits<double>::quiet_NaN();
  const std::uint64_t bits = (ordered & signBit) != 0 ? ordered & ~signBit : ~ordered;
  return bson::load<double>(reinterpret_cast<const bson::Byte*>(&bits));
}

/// The greatest double that is not above the number. Beyond 2^53 not every integer has one of its own, and the
/// conversion may round up; it may even reach 2^63, which cannot be converted back.
double notAbove(std::int64_t number) {
  const auto near = static_cast<double>(number);
  const bool above = near >= twoTo63 || static_cast<std::int64_t>(near) > number;
  return above ? std::nextafter(near, -std::numeric_limits<double>::infinity()) : near;
}

std::optional<EncodedNumber> ofDouble(double value) {
  const auto bits = bson::load<std::uint64_t>(reinterpret_cast<const bson::Byte*>(&value));
  if (std::isnan(value)) {
    // A payload has room for these two; the bits of others would be lost, and statistics give
    // values back as they were.
    if (bits != plainNan && bits != minusNan) return std::nullopt;
    return EncodedNumber{0, 0, bits == plainNan ? NumberTag::real : NumberTag::negativeNan};
  }
  if (bits == signBit) return EncodedNumber{orderedBits(0.0), 0, NumberTag::negativeZero};
  return EncodedNumber{orderedBits(value), 0, NumberTag::real};
}

/// 80 and above, so that it comes behind every `NumberTag`: an int64 between two doubles is above the lower one.
void putRest(std::string& out, std::uint32_t rest) {
  out.push_back(static_cast<char>(0x80 | rest >> 8));
  out.push_back(static_cast<char>(rest));
}

ValueClass encodeNumber(const bson::Value& value, std::string& payload) {
  const std::optional<EncodedNumber> number = encodedNumber(value);
  if (!number) return ValueClass::opaque;
  putBigEndian(payload, number->ordered, 8);
  if (number->rest != 0) {
    putRest(payload, number->rest);
  } else {
    payload.push_back(static_cast<char>(number->tag));
  }
  return ValueClass::number;
}

ValueClass encodeText(std::string_view text, std::string& payload) {
  if (text.size() <= longestText) {
    payload.assign(text);
    return ValueClass::string;
  }
  // The front keeps ranges and patterns with a fixed beginning useful; the hash keeps texts apart that begin alike.
  // Equal hashes do no harm, since the document is looked at again.
  payload.assign(text.substr(0, textPrefix));
  putBigEndian(payload, XXH3_64bits(text.data(), text.size()), 8);
  return ValueClass::longString;
}

void require(std::string_view payload, std::size_t size) {
  if (payload.size() != size) damaged("the size of a value");
}

const bson::Byte* bytesOf(std::string_view payload) {
  return reinterpret_cast<const bson::Byte*>(payload.data());
}

/// Reads an escaped text and its end. A single 00 is the end, unless FF follows: a value's class, a type's flag and the
/// end of the key, one of which follows a name, are never FF.
std::string readName(ByteReader& reader) {
  std::string name;
  while (true) {
    const char next = reader.bytes(1)[0];
    if (next == '\0') {
      if (reader.atEnd() || *reader.position() != '\xFF') return name;
      reader.byte();
    }
    name.push_back(next);
  }
}

}  // namespace

void putBigEndian(std::string& out, std::uint64_t number, int bytes) {
  // At once, and not byte by byte: the key of every item passes here.
  const std::uint64_t reversed = __builtin_bswap64(number);
  char all[sizeof reversed];
  std::memcpy(all, &reversed, sizeof reversed);
  out.append(all + sizeof all - bytes, static_cast<std::size_t>(bytes));
}

std::uint64_t bigEndian(std::string_view bytes) {
  std::uint64_t number = 0;
  for (const char byte : bytes) number = number << 8 | static_cast<unsigned char>(byte);
  return number;
}

double EncodedNumber::asDouble() const {
  if (isInteger()) return static_cast<double>(asInteger());
  return tag == NumberTag::negativeZero ? -0.0 : fromOrderedBits(ordered);
}

std::int64_t EncodedNumber::asInteger() const {
  return static_cast<std::int64_t>(fromOrderedBits(ordered)) + rest;
}

void EncodedNumber::append(bson::Writer& out, std::string_view key) const {
  switch (tag) {
    case NumberTag::int32:
      return out.appendInt32(key, static_cast<std::int32_t>(asInteger()));
    case NumberTag::int64:
      return out.appendInt64(key, asInteger());
    case NumberTag::negativeZero:
      return out.appendDouble(key, -0.0);
    case NumberTag::negativeNan:  // the NaN of the lowest place in the order, which has no sign
      return out.appendDouble(key, -fromOrderedBits(ordered));
    case NumberTag::real:
    case NumberTag::end:
      return out.appendDouble(key, fromOrderedBits(ordered));
  }
  damaged("the kind of a number");
}

EncodedNumber encodedInteger(std::int64_t value) {
  const double below = notAbove(value);
  const auto rest = static_cast<std::uint32_t>(value - static_cast<std::int64_t>(below));
  return {orderedBits(below), rest, NumberTag::int64};
}

std::optional<EncodedNumber> encodedNumber(const bson::Value& value) {
  switch (value.type) {
    case bson::Type::int32:
      return EncodedNumber{orderedBits(value.asInt32()), 0, NumberTag::int32};
    case bson::Type::int64:
      return encodedInteger(value.asInt64());
    case bson::Type::real:
      return ofDouble(value.asDouble());
    default:
      return std::nullopt;
  }
}

EncodedNumber numberIn(std::string_view payload) {
  if (payload.size() < 9) damaged("a number");
  const std::uint64_t ordered = __builtin_bswap64(bson::load<std::uint64_t>(bytesOf(payload)));
  const std::string_view tail = payload.substr(8);
  if (tail.size() == 2) return {ordered, static_cast<std::uint32_t>(bigEndian(tail) & 0x7FFF), NumberTag::int64};
  return {ordered, 0, static_cast<NumberTag>(tail[0])};
}

std::int64_t dateIn(std::string_view payload) {
  require(payload, 8);
  return static_cast<std::int64_t>(bigEndian(payload) ^ signBit);
}

ValueClass encodeValue(const bson::Value& value, std::string& payload) {
  payload.clear();
  if (value.data == nullptr) return ValueClass::missing;
  switch (value.type) {
    case bson::Type::int32:
    case bson::Type::int64:
    case bson::Type::real:
      return encodeNumber(value, payload);
    case bson::Type::string:
      return encodeText(value.asString(), payload);
    case bson::Type::boolean:
      payload.push_back(value.asBool() ? '\1' : '\0');
      return ValueClass::boolean;
    case bson::Type::date:
      putBigEndian(payload, static_cast<std::uint64_t>(value.asInt64()) ^ signBit, 8);
      return ValueClass::date;
    case bson::Type::objectId:
      payload.assign(reinterpret_cast<const char*>(value.data), bson::objectIdSize);
      return ValueClass::objectId;
    case bson::Type::null:
      return ValueClass::null;
    default:
      return ValueClass::opaque;
  }
}

void appendDecoded(bson::Writer& out, std::string_view key, ValueClass kind, std::string_view payload) {
  switch (kind) {
    case ValueClass::null:
      return out.appendNull(key);
    case ValueClass::number:
      return numberIn(payload).append(out, key);
    case ValueClass::string:
      return out.appendString(key, payload);
    case ValueClass::boolean:
      require(payload, 1);
      return out.appendBool(key, payload[0] != '\0');
    case ValueClass::date:
      return out.appendDate(key, dateIn(payload));
    case ValueClass::objectId:
      require(payload, bson::objectIdSize);
      return out.appendObjectId(key, reinterpret_cast<const bson::Byte*>(payload.data()));
    case ValueClass::missing:
    case ValueClass::longString:
    case ValueClass::opaque:
      return;
  }
  damaged("the class of a value");
}

std::optional<NumberBounds> boundsOfNumber(const bson::Value& value) {
  std::optional<EncodedNumber> number = encodedNumber(value);
  if (!number && value.type == bson::Type::real) number = EncodedNumber{};  // a NaN of another form equals every NaN
  if (!number) return std::nullopt;
  NumberBounds bounds;
  putBigEndian(bounds.before, number->ordered, 8);
  bounds.after = bounds.before;
  if (number->rest != 0) {
    // No other kind of number equals it: the payload stands alone.
    putRest(bounds.before, number->rest);
    bounds.after = bounds.before;
    bounds.after.push_back('\0');
  } else {
    bounds.before.push_back(static_cast<char>(NumberTag::int32));
    bounds.after.push_back(static_cast<char>(NumberTag::end));
  }
  return bounds;
}

KeyBuilder& KeyBuilder::byte(std::uint8_t value) {
  key_.push_back(static_cast<char>(value));
  return *this;
}

KeyBuilder& KeyBuilder::start(PathId path, TermKind kind) {
  key_.clear();
  putBigEndian(key_, path, 2);
  return byte(static_cast<std::uint8_t>(kind));
}

KeyBuilder& KeyBuilder::name(std::string_view text) {
  byte(2);
  // 00 ends the name, so that a name comes before those that it begins; a NUL inside is followed by FF to come behind.
  for (const char letter : text) {
    key_.push_back(letter);
    if (letter == '\0') key_.push_back('\xFF');
  }
  return byte(0);
}

KeyBuilder& KeyBuilder::type(std::int32_t number) {
  byte(1);
  putBigEndian(key_, static_cast<std::uint32_t>(number) ^ 0x80000000U, 4);
  return *this;
}

KeyBuilder& KeyBuilder::value(ValueClass kind, std::string_view payload) {
  byte(static_cast<std::uint8_t>(kind));
  return raw(payload);
}

KeyBuilder& KeyBuilder::raw(std::string_view bytes) {
  key_.append(bytes);
  return *this;
}

ParsedKey parseKey(std::string_view key) {
  ByteReader reader(key);
  ParsedKey parsed;
  parsed.path = static_cast<PathId>(bigEndian(reader.bytes(2)));
  const std::uint8_t kind = reader.byte();
  if (kind > static_cast<std::uint8_t>(TermKind::value)) damaged("the kind of a term");
  parsed.kind = static_cast<TermKind>(kind);
  if (parsed.kind == TermKind::nonIndexable) return parsed;
  parsed.named = reader.byte() == 2;
  if (parsed.named) parsed.name = readName(reader);
  parsed.valueAt = key.size() - reader.left();
  if (parsed.kind == TermKind::name) {
    parsed.typed = reader.byte() == 1;
    if (parsed.typed) parsed.type = static_cast<std::int32_t>(bigEndian(reader.bytes(4)) ^ 0x80000000U);
    return parsed;
  }
  const std::uint8_t valueClass = reader.byte();
  if (valueClass == 0 || valueClass > lastValueClass) damaged("the class of a value");
  parsed.valueClass = static_cast<ValueClass>(valueClass);
  parsed.payload = reader.bytes(reader.left());
  return parsed;
}

std::string afterPrefix(std::string prefix) {
  // An FF has no next byte; what follows all that begin with it follows the shorter prefix.
  while (!prefix.empty() && prefix.back() == '\xFF') prefix.pop_back();
  if (!prefix.empty()) prefix.back() = static_cast<char>(prefix.back() + 1);
  return prefix;
}

}  // namespace database_client::embedded::index
