// SPDX-License-Identifier: Apache-2.0
#include <bson/bson.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string>
#include <utility>

#include "client/bson/ByteBuilder.h"
#include "client/bson/utf8.h"
#include "client/json/json.h"
#include "client/json/regexOptions.h"

namespace database_client::json {

namespace {

using bson::Byte;
using bson::highBits;
using bson::load;
using bson::lowBits;
using bson::Type;
using bson::Value;
using bson::View;
using bson::Word;

constexpr char hexDigits[] = "0123456789abcdef";

/// The lowest bit that is set marks the first byte that JSON escapes: a control character, a quote or a backslash.
Word specials(Word word) {
  const Word quote = word ^ (lowBits * '"');
  const Word backslash = word ^ (lowBits * '\\');
  return (((word - lowBits * 0x20) & ~word) | ((quote - lowBits) & ~quote) | ((backslash - lowBits) & ~backslash)) &
         highBits;
}

bool isSpecial(Byte byte) {
  return byte < 0x20 || byte == '"' || byte == '\\';
}

/// The text as it grows.
class Text : public ByteBuilder<std::string> {
 public:
  using ByteBuilder::ByteBuilder;

  void put(std::string_view piece) { append(piece.data(), piece.size()); }
  void put(char c) { append(&c, 1); }
  template <class Integer>
  void number(Integer value) {
    char* const at = room(24);
    advance(static_cast<std::size_t>(std::to_chars(at, at + 24, value).ptr - at));
  }
};

void putHex(Text& out, const Byte* bytes, std::size_t size) {
  char* at = out.room(2 * size);
  for (std::size_t i = 0; i < size; ++i) {
    *at++ = hexDigits[bytes[i] >> 4];
    *at++ = hexDigits[bytes[i] & 15];
  }
  out.advance(2 * size);
}

void putBase64(Text& out, const Byte* bytes, std::size_t size) {
  constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  char* at = out.room((size + 2) / 3 * 4);
  for (std::size_t i = 0; i < size; i += 3) {
    const std::size_t left = size - i;
    const unsigned bits = unsigned{bytes[i]} << 16 | (left > 1 ? unsigned{bytes[i + 1]} << 8 : 0U) |
                          (left > 2 ? unsigned{bytes[i + 2]} : 0U);
    *at++ = digits[bits >> 18];
    *at++ = digits[bits >> 12 & 63];
    *at++ = left > 1 ? digits[bits >> 6 & 63] : '=';
    *at++ = left > 2 ? digits[bits & 63] : '=';
  }
  out.advance((size + 2) / 3 * 4);
}

/// The shortest text that reads back as the same double, and never as an integer. Not for NaN and infinities.
void putFinite(Text& out, double value) {
  constexpr double fixedBelow = 1e16;
  constexpr double fixedFrom = 1e-5;
  const double size = std::fabs(value);
  if (size < fixedBelow && std::trunc(value) == value) {
    if (std::signbit(value)) out.put('-');
    out.number(static_cast<std::int64_t>(size));
    out.put(".0");
    return;
  }
  const bool fixed = size >= fixedFrom && size < fixedBelow;
  constexpr std::size_t longest = 32;
  char* const at = out.room(longest);
  char* const end =
      std::to_chars(at, at + longest, value, fixed ? std::chars_format::fixed : std::chars_format::scientific).ptr;
  if (!fixed) *std::find(at, end, 'e') = 'E';
  out.advance(static_cast<std::size_t>(end - at));
}

void putDigits(Text& out, unsigned value, std::size_t width) {
  char* const at = out.room(width);
  for (std::size_t i = width; i-- > 0; value /= 10) at[i] = static_cast<char>('0' + value % 10);
  out.advance(width);
}

constexpr std::int64_t millisecondsOfDay = 86400000;
constexpr std::int64_t year10000 = 253402300800000;

/// The date of a day counted from 1970-01-01, in the proleptic Gregorian calendar with years that begin in March.
void putDay(Text& out, unsigned day) {
  const unsigned shifted = day + 719468;
  const unsigned era = shifted / 146097;
  const unsigned dayOfEra = shifted % 146097;
  const unsigned yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const unsigned march = (5 * dayOfYear + 2) / 153;
  const unsigned month = march < 10 ? march + 3 : march - 9;
  putDigits(out, era * 400 + yearOfEra + (month <= 2 ? 1 : 0), 4);
  out.put('-');
  putDigits(out, month, 2);
  out.put('-');
  putDigits(out, dayOfYear - (153 * march + 2) / 5 + 1, 2);
}

/// From 1970 to 9999.
void putTime(Text& out, std::int64_t milliseconds) {
  putDay(out, static_cast<unsigned>(milliseconds / millisecondsOfDay));
  const auto rest = static_cast<unsigned>(milliseconds % millisecondsOfDay);
  out.put('T');
  putDigits(out, rest / 3600000, 2);
  out.put(':');
  putDigits(out, rest / 60000 % 60, 2);
  out.put(':');
  putDigits(out, rest / 1000 % 60, 2);
  if (rest % 1000 != 0) {
    out.put('.');
    putDigits(out, rest % 1000, 3);
  }
  out.put('Z');
}

void putEscape(Text& out, Byte byte) {
  constexpr char letters[] = "btn\0fr";
  out.put('\\');
  if (byte == '"' || byte == '\\') {
    out.put(static_cast<char>(byte));
  } else if (byte >= '\b' && byte <= '\r' && byte != '\v') {
    out.put(letters[byte - '\b']);
  } else {
    out.put("u00");
    putHex(out, &byte, 1);
  }
}

/// Bits beyond 34 digits stand for 0 with the same sign and exponent; libbson would print them.
bson_decimal128_t loadDecimal(const Byte* data) {
  constexpr std::uint64_t coefficientBits = 0x1FFFFFFFFFFFFU;
  constexpr auto largest = std::make_pair(std::uint64_t{0x1ED09BEAD87C0}, std::uint64_t{0x378D8E63FFFFFFFF});
  bson_decimal128_t decimal;
  decimal.low = load<std::uint64_t>(data);
  decimal.high = load<std::uint64_t>(data + 8);
  const bool hasPlainCoefficient = (decimal.high >> 61 & 3) != 3;
  if (hasPlainCoefficient && std::make_pair(decimal.high & coefficientBits, std::uint64_t{decimal.low}) > largest) {
    decimal.high &= ~coefficientBits;
    decimal.low = 0;
  }
  return decimal;
}

class DocumentWriter {
 public:
  DocumentWriter(View document, JsonMode mode)
      : out_(2 * document.size + 64), documentEnd_(document.data + document.size), mode_(mode) {
    enter(document, "}");
  }

  std::string run() {
    while (true) {
      const Level& level = levels_[depth_ - 1];
      if (at_ != level.end) {
        element(level.isArray);
        continue;
      }
      ++at_;
      out_.put(level.closing);
      first_ = false;
      if (--depth_ == 0) return out_.take();
    }
  }

 private:
  struct Level {
    const Byte* end;
    const char* closing;
    bool isArray;
  };

  void enter(View level, const char* closing) {
    const bool isArray = *closing == ']';
    levels_[depth_++] = {level.data + level.size - 1, closing, isArray};
    out_.put(isArray ? '[' : '{');
    at_ = level.data + 4;
    first_ = true;
  }

  void element(bool ofArray) {
    const auto type = static_cast<Type>(*at_++);
    if (!first_) out_.put(", ");
    first_ = false;
    if (ofArray) {
      at_ += bson::cString(at_).size() + 1;
    } else {
      key();
    }
    value({type, at_, bson::valueSize(type, at_)});
  }

  void key() {
    out_.put('"');
    while (*(at_ = plainRun(at_, documentEnd_, documentEnd_)) != 0) putEscape(out_, *at_++);
    ++at_;
    out_.put(R"(": )");
  }

  /// Copies what needs no escape, up to `limit`, and returns where it ends. Reads whole words before `readableEnd`.
  const Byte* plainRun(const Byte* at, const Byte* limit, const Byte* readableEnd) {
    while (readableEnd - at >= static_cast<std::ptrdiff_t>(sizeof(Word)) && at < limit) {
      const auto word = load<Word>(at);
      std::memcpy(out_.room(sizeof word), &word, sizeof word);
      const Word marks = specials(word);
      const std::size_t plain = marks == 0 ? sizeof word : bson::firstMarked(marks);
      const std::size_t kept = std::min(plain, static_cast<std::size_t>(limit - at));
      out_.advance(kept);
      at += kept;
      if (kept < sizeof word) return at;
    }
    while (at < limit && !isSpecial(*at)) out_.put(static_cast<char>(*at++));
    return at;
  }

  void quoted(std::string_view text) { quoted(text, documentEnd_); }

  void quoted(std::string_view text, const Byte* readableEnd) {
    const auto* at = reinterpret_cast<const Byte*>(text.data());
    const Byte* const end = at + text.size();
    out_.put('"');
    while ((at = plainRun(at, end, readableEnd)) != end) putEscape(out_, *at++);
    out_.put('"');
  }

  void value(const Value& value) {
    at_ += value.size;
    switch (value.type) {
      case Type::document:
        return enter(value.asDocument(), "}");
      case Type::array:
        return enter(value.asDocument(), "]");
      case Type::codeWithScope:
        out_.put(R"({"$code": )");
        quoted(Value{Type::code, value.data + 4, 0}.asString());
        out_.put(R"(, "$scope": )");
        return enter(value.scope(), "}}");
      case Type::string:
        return quoted(value.asString());
      case Type::boolean:
        return out_.put(value.asBool() ? "true" : "false");
      case Type::null:
        return out_.put("null");
      case Type::int32:
      case Type::int64:
      case Type::real:
      case Type::decimal128:
        return number(value);
      default:
        return wrapped(value);
    }
  }

  void number(const Value& value) {
    const bool plain = mode_ == JsonMode::relaxed;
    switch (value.type) {
      case Type::int32:
        if (plain) return out_.number(value.asInt32());
        out_.put(R"({"$numberInt": ")");
        out_.number(value.asInt32());
        break;
      case Type::int64:
        if (plain) return out_.number(value.asInt64());
        out_.put(R"({"$numberLong": ")");
        out_.number(value.asInt64());
        break;
      case Type::real:
        if (plain && std::isfinite(value.asDouble())) return putFinite(out_, value.asDouble());
        out_.put(R"({"$numberDouble": ")");
        putReal(value.asDouble());
        break;
      default:
        out_.put(R"({"$numberDecimal": ")");
        putDecimal(value.data);
    }
    out_.put(R"("})");
  }

  void putReal(double value) {
    if (std::isnan(value)) return out_.put("NaN");
    if (std::isinf(value)) return out_.put(value < 0 ? "-Infinity" : "Infinity");
    putFinite(out_, value);
  }

  void putDecimal(const Byte* data) {
    const bson_decimal128_t decimal = loadDecimal(data);
    char text[BSON_DECIMAL128_STRING];
    bson_decimal128_to_string(&decimal, text);
    out_.put(std::string_view(text));
  }

  /// The kinds that stand as an object of their own in both forms.
  void wrapped(const Value& value) {
    switch (value.type) {
      case Type::objectId:
        return objectId(value.data);
      case Type::date:
        return date(value.asInt64());
      case Type::binary:
        return binary(value);
      case Type::regex:
        return regex(value);
      case Type::timestamp:
        return timestamp(static_cast<std::uint64_t>(value.asInt64()));
      case Type::dbPointer:
        return dbPointer(value);
      case Type::code:
        return text("$code", value.asString());
      case Type::symbol:
        return text("$symbol", value.asString());
      case Type::minKey:
        return out_.put(R"({"$minKey": 1})");
      case Type::maxKey:
        return out_.put(R"({"$maxKey": 1})");
      default:
        return out_.put(R"({"$undefined": true})");
    }
  }

  void text(std::string_view name, std::string_view content) {
    out_.put(R"({")");
    out_.put(name);
    out_.put(R"(": )");
    quoted(content);
    out_.put('}');
  }

  void objectId(const Byte* id) {
    out_.put(R"({"$oid": ")");
    putHex(out_, id, bson::objectIdSize);
    out_.put(R"("})");
  }

  void date(std::int64_t milliseconds) {
    if (mode_ == JsonMode::relaxed && milliseconds >= 0 && milliseconds < year10000) {
      out_.put(R"({"$date": ")");
      putTime(out_, milliseconds);
      return out_.put(R"("})");
    }
    out_.put(R"({"$date": {"$numberLong": ")");
    out_.number(milliseconds);
    out_.put(R"("}})");
  }

  /// The old subtype repeats the length inside; that is left out.
  void binary(const Value& value) {
    const Byte subtype = value.binarySubtype();
    const std::size_t inner = subtype == bson::oldBinarySubtype ? 4 : 0;
    out_.put(R"({"$binary": {"base64": ")");
    putBase64(out_, value.binaryData() + inner, value.binarySize() - inner);
    out_.put(R"(", "subType": ")");
    putHex(out_, &subtype, 1);
    out_.put(R"("}})");
  }

  void regex(const Value& value) {
    const std::string options = sortedOptions(value.regexOptions());
    out_.put(R"({"$regularExpression": {"pattern": )");
    quoted(value.regexPattern());
    out_.put(R"(, "options": )");
    quoted(options, reinterpret_cast<const Byte*>(options.data()) + options.size());
    out_.put("}}");
  }

  void timestamp(std::uint64_t value) {
    out_.put(R"({"$timestamp": {"t": )");
    out_.number(value >> 32);
    out_.put(R"(, "i": )");
    out_.number(value & 0xFFFFFFFFU);
    out_.put("}}");
  }

  void dbPointer(const Value& value) {
    out_.put(R"({"$dbPointer": {"$ref": )");
    quoted(value.asString());
    out_.put(R"(, "$id": )");
    objectId(value.data + value.size - bson::objectIdSize);
    out_.put("}}");
  }

  Text out_;
  const Byte* documentEnd_;
  JsonMode mode_;
  const Byte* at_ = nullptr;
  bool first_ = true;
  int depth_ = 0;
  Level levels_[bson::maximumDepth + 1];
};

}  // namespace

std::string write(View document, JsonMode mode) {
  return DocumentWriter(document, mode).run();
}

}  // namespace database_client::json
