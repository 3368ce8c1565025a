// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>

#include "client/bson/Writer.h"
#include "tests/client/embedded/support/documents.h"

namespace database_client::embedded {

/// Makes documents of few names and values, so that they collide, and of every odd shape.
class RandomDocuments {
 public:
  explicit RandomDocuments(std::uint32_t seed) : random_(seed) {}

  std::uint32_t below(std::uint32_t bound) {
    return std::uniform_int_distribution<std::uint32_t>(0, bound - 1)(random_);
  }
  bool oneIn(std::uint32_t times) { return below(times) == 0; }
  std::string name() { return std::string(1, static_cast<char>((oneIn(8) ? 'A' : 'a') + below(4))); }

  /// From now on the items of an array have different names.
  void keepNamesApart() { apart_ = true; }

  /// `odd` is how seldom something unusual is; 0: never.
  Bytes document(std::uint32_t odd) {
    odd_ = odd;
    bson::Writer writer;
    writer.appendInt32("_id", static_cast<std::int32_t>(below(1000)));
    writer.beginDocument("info");
    if (!oneIn(6)) section(writer, "tags");
    if (!oneIn(3)) section(writer, "marks");
    if (isOdd()) section(writer, "tags");
    writer.end();
    if (isOdd()) section(writer, "info");
    return writer.take();
  }

  void value(bson::Writer& writer, std::string_view key) {
    switch (below(odd_ == 0 ? 9 : 15)) {
      case 0:
        return writer.appendInt32(key, static_cast<std::int32_t>(below(5)) - 2);
      case 1:
        return writer.appendInt64(key, static_cast<std::int64_t>(below(5)) - 2);
      case 2:
        return writer.appendDouble(key, below(5) / 2.0 - 1);
      case 3:
        return writer.appendString(key, std::string(below(3), static_cast<char>('p' + below(3))));
      case 4:
        return writer.appendBool(key, oneIn(2));
      case 5:
        return writer.appendDate(key, static_cast<std::int64_t>(below(3)) - 1);
      case 6:
        return writer.appendNull(key);
      case 7:
        return writer.appendString(key, std::string(60 + below(3), 'x') + std::string(below(90), 'y'));
      case 8:
        return writer.appendObjectId(key,
                                     reinterpret_cast<const bson::Byte*>(oneIn(2) ? "abcdefghijkl" : "abcdefghijkm"));
      case 9:
        return hugeNumber(writer, key);
      case 10:
        return array(writer, key);
      case 11:
        return writer.appendRegex(key, "p", "");
      case 12:
        return writer.appendBinary(key, 0, "ab", 2);
      case 13: {
        writer.beginDocument(key);
        writer.appendString("name", name());
        return writer.end();
      }
      default: {
        static const bson::Byte decimal[16] = {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x40, 0x30};
        return writer.append(key, {bson::Type::decimal128, decimal, sizeof decimal});
      }
    }
  }

 private:
  bool isOdd() { return odd_ != 0 && oneIn(odd_); }

  void hugeNumber(bson::Writer& writer, std::string_view key) {
    const std::int64_t limit = std::int64_t{1} << 53;
    switch (below(6)) {
      case 0:
        return writer.appendInt64(key, limit + below(3) - 1);
      case 1:
        return writer.appendDouble(key, static_cast<double>(limit));
      case 2:
        return writer.appendDouble(key, oneIn(2) ? -0.0 : 0.0);
      case 3:
        return writer.appendDouble(key, oneIn(2) ? std::nan("") : -std::nan(""));
      case 4:
        return writer.appendInt64(key, oneIn(2) ? INT64_MAX : INT64_MIN + below(2));
      default:
        return writer.appendDouble(key, oneIn(2) ? 9223372036854775808.0 : -HUGE_VAL);
    }
  }

  void array(bson::Writer& writer, std::string_view key) {
    writer.beginArray(key);
    for (std::uint32_t i = 0; i < below(3); ++i) {
      if (oneIn(2)) {
        writer.appendInt32(bson::IndexKey(i), static_cast<std::int32_t>(below(3)));
      } else {
        writer.beginDocument(bson::IndexKey(i));
        item(writer);
        writer.end();
      }
    }
    writer.end();
  }

  void item(bson::Writer& writer) {
    if (isOdd()) {
      value(writer, "name");
    } else if (!isOdd()) {
      writer.appendString("name", apart_ ? std::string(1, static_cast<char>('a' + next_++ % 4)) : name());
    }
    if (!isOdd()) value(writer, "value");
    if (isOdd()) value(writer, "value");
    if (isOdd()) writer.appendString("name", std::string(below(2) * 256, 'n'));
    if (isOdd()) {
      value(writer, "type");
    } else if (!oneIn(3)) {
      writer.appendInt32("type", static_cast<std::int32_t>(below(3)));
    }
  }

  void section(bson::Writer& writer, std::string_view key) {
    if (isOdd()) return value(writer, key);
    writer.beginArray(key);
    const std::uint32_t items = below(5);
    for (std::uint32_t i = 0; i < items; ++i) {
      if (isOdd()) {
        value(writer, bson::IndexKey(i));
      } else {
        writer.beginDocument(bson::IndexKey(i));
        item(writer);
        writer.end();
      }
    }
    writer.end();
  }

  std::mt19937 random_;
  std::uint32_t odd_ = 0;
  bool apart_ = false;
  std::uint32_t next_ = 0;
};

}  // namespace database_client::embedded
