// SPDX-License-Identifier: Apache-2.0
#include <bson/bson.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string>
#include <utility>

#include "client/bson/ByteBuilder.h"
#include "client/bson/base64.h"
#include "client/bson/hex.h"
#include "client/bson/iso8601.h"
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

using Text = ByteBuilder<std::string>;

template <class Integer>
void putInteger(Text& out, Integer value) {
  constexpr std::size_t longest = 24;
  char* const at = out.room(longest);
  out.advance(static_cast<std::size_t>(std::to_chars(at, at + longest, value).ptr - at));
}

void putHex(Text& out, const Byte* bytes, std::size_t size) {
  bson::writeHex(bytes, size, out.room(2 * size));
  out.advance(2 * size);
}

/// The shortest text that reads back as the same double, and never as an integer.
void putReal(Text& out, double value) {
  if (std::isnan(value)) return out.append("NaN");
  if (std::isinf(value)) return out.append(value < 0 ? "-Infinity" : "Infinity");
  constexpr double fixedBelow = 1e16;
  constexpr double fixedFrom = 1e-5;
  const double size = std::fabs(value);
  if (size < fixedBelow && std::trunc(value) == value) {
    if (std::signbit(value)) out.append('-');
    putInteger(out, static_cast<std::int64_t>(size));
    out.append(".0");
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

constexpr std::int64_t year10000 = 253402300800000;

void putEscape(Text& out, Byte byte) {
  constexpr char letters[] = "btn\0fr";
  out.append('\\');
  if (byte == '"' || byte == '\\') {
    out.append(static_cast<char>(byte));
  } else if (byte >= '\b' && byte <= '\r' && byte != '\v') {
    out.append(letters[byte - '\b']);
  } else {
    out.append("u00");
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
      out_.append(level.closing);
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
    out_.append(isArray ? '[' : '{');
    at_ = level.data + 4;
    first_ = true;
  }

  void element(bool ofArray) {
    const auto type = static_cast<Type>(*at_++);
    if (!first_) out_.append(", ");
    first_ = false;
    if (ofArray) {
      at_ += bson::cString(at_).size() + 1;
    } else {
      key();
    }
    value({type, at_, bson::valueSize(type, at_)});
  }

  void key() {
    out_.append('"');
    while (*(at_ = plainRun(at_, documentEnd_, documentEnd_)) != 0) putEscape(out_, *at_++);
    ++at_;
    out_.append(R"(": )");
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
    while (at < limit && !isSpecial(*at)) out_.append(static_cast<char>(*at++));
    return at;
  }

  void quoted(std::string_view text) { quoted(text, documentEnd_); }

  void quoted(std::string_view text, const Byte* readableEnd) {
    const auto* at = reinterpret_cast<const Byte*>(text.data());
    const Byte* const end = at + text.size();
    out_.append('"');
    while ((at = plainRun(at, end, readableEnd)) != end) putEscape(out_, *at++);
    out_.append('"');
  }

  void value(const Value& value) {
    at_ += value.size;
    switch (value.type) {
      case Type::document:
        return enter(value.asDocument(), "}");
      case Type::array:
        return enter(value.asDocument(), "]");
      case Type::codeWithScope:
        out_.append(R"({"$code": )");
        quoted(Value{Type::code, value.data + 4, 0}.asString());
        out_.append(R"(, "$scope": )");
        return enter(value.scope(), "}}");
      case Type::string:
        return quoted(value.asString());
      case Type::boolean:
        return out_.append(value.asBool() ? "true" : "false");
      case Type::null:
        return out_.append("null");
      case Type::int32:
      case Type::int64:
      case Type::real:
      case Type::decimal128:
        return number(value);
      default:
        return typeWrapper(value);
    }
  }

  void number(const Value& value) {
    const bool plain = mode_ == JsonMode::relaxed;
    switch (value.type) {
      case Type::int32:
        if (plain) return putInteger(out_, value.asInt32());
        out_.append(R"({"$numberInt": ")");
        putInteger(out_, value.asInt32());
        break;
      case Type::int64:
        if (plain) return putInteger(out_, value.asInt64());
        out_.append(R"({"$numberLong": ")");
        putInteger(out_, value.asInt64());
        break;
      case Type::real:
        if (plain && std::isfinite(value.asDouble())) return putReal(out_, value.asDouble());
        out_.append(R"({"$numberDouble": ")");
        putReal(out_, value.asDouble());
        break;
      default: {
        const bson_decimal128_t decimal = loadDecimal(value.data);
        char text[BSON_DECIMAL128_STRING];
        bson_decimal128_to_string(&decimal, text);
        out_.append(R"({"$numberDecimal": ")");
        out_.append(std::string_view(text));
      }
    }
    out_.append(R"("})");
  }

  /// The kinds that stand as an object of their own in both modes.
  void typeWrapper(const Value& value) {
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
        return out_.append(R"({"$minKey": 1})");
      case Type::maxKey:
        return out_.append(R"({"$maxKey": 1})");
      default:
        return out_.append(R"({"$undefined": true})");
    }
  }

  void text(std::string_view name, std::string_view content) {
    out_.append(R"({")");
    out_.append(name);
    out_.append(R"(": )");
    quoted(content);
    out_.append('}');
  }

  void objectId(const Byte* id) {
    out_.append(R"({"$oid": ")");
    putHex(out_, id, bson::objectIdSize);
    out_.append(R"("})");
  }

  void date(std::int64_t milliseconds) {
    if (mode_ == JsonMode::relaxed && milliseconds >= 0 && milliseconds < year10000) {
      out_.append(R"({"$date": ")");
      out_.setEnd(bson::writeIso8601(milliseconds, out_.room(bson::longestIso8601)));
      return out_.append(R"("})");
    }
    out_.append(R"({"$date": {"$numberLong": ")");
    putInteger(out_, milliseconds);
    out_.append(R"("}})");
  }

  /// The old subtype repeats the length inside; that is left out.
  void binary(const Value& value) {
    const Byte subtype = value.binarySubtype();
    const std::size_t inner = subtype == bson::oldBinarySubtype ? 4 : 0;
    out_.append(R"({"$binary": {"base64": ")");
    const std::size_t size = value.binarySize() - inner;
    bson::writeBase64(value.binaryData() + inner, size, out_.room(bson::base64Size(size)));
    out_.advance(bson::base64Size(size));
    out_.append(R"(", "subType": ")");
    putHex(out_, &subtype, 1);
    out_.append(R"("}})");
  }

  void regex(const Value& value) {
    const std::string options = sortedOptions(value.regexOptions());
    out_.append(R"({"$regularExpression": {"pattern": )");
    quoted(value.regexPattern());
    out_.append(R"(, "options": )");
    quoted(options, reinterpret_cast<const Byte*>(options.data()) + options.size());
    out_.append("}}");
  }

  void timestamp(std::uint64_t value) {
    out_.append(R"({"$timestamp": {"t": )");
    putInteger(out_, value >> 32);
    out_.append(R"(, "i": )");
    putInteger(out_, value & 0xFFFFFFFFU);
    out_.append("}}");
  }

  void dbPointer(const Value& value) {
    out_.append(R"({"$dbPointer": {"$ref": )");
    quoted(value.asString());
    out_.append(R"(, "$id": )");
    objectId(value.data + value.size - bson::objectIdSize);
    out_.append("}}");
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
