// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "client/bson/View.h"
#include "client/bson/Writer.h"

/// The keys of terms. Their bytes compare as follows: by path, then non-indexable documents, names, values; names by
/// their bytes; values by class, then in their order.
///
///     key       = path kind…              path = 2 bytes, big-endian
///     other     = 00                      documents that have something else than plain items under the path
///     name      = 01 name type            items with this name and "type"
///     value     = 02 name value           items with this name and value
///     name      = 01 | 02 text 00         without a name | with one; a NUL of the text is 00 FF
///     type      = 00 | 01 int32           without a type | with one; 4 bytes, big-endian, the sign flipped
///     value     = class payload           see ValueClass
///
/// Keys compare as bytes and nothing else, so that blocks, heaps and look-ups need to know no types, and a range of
/// values is a range of keys. Numbers of all kinds share one order, as queries compare them; that 1, 1.0 and int64 1
/// are told apart behind it serves statistics, which give values back as they were. What has no order that queries use,
/// or would make keys long, is *looked up*: its key leads to the records that may match, and the document decides.
namespace database_client::embedded::index {

using PathId = std::uint16_t;

enum class TermKind : std::uint8_t { nonIndexable = 0, name = 1, value = 2 };

/// What the payload of a value is. The numbers stand in the file: never renumber.
enum class ValueClass : std::uint8_t {
  missing = 1,
  null = 2,
  number = 3,      ///< 8 bytes that order the next double not above it, then tag (a kind) | 80+high low (int64 rest)
  string = 4,      ///< the text, at most `longestText` bytes
  longString = 5,  ///< the first `textPrefix` bytes and a hash of 8
  boolean = 6,     ///< 1 byte
  date = 7,        ///< 8 bytes, big-endian, the sign flipped
  objectId = 8,    ///< 12 bytes
  opaque = 9,      ///< nothing: a value that has to be looked up in the document
};
constexpr std::uint8_t lastValueClass = 9;

constexpr std::size_t longestName = 255;
constexpr std::size_t longestText = 127;
constexpr std::size_t textPrefix = 64;

/// Kinds of a number with the same place in the order. The numbers stand in the file: never renumber.
enum class NumberTag : std::uint8_t { int32 = 1, int64 = 2, real = 3, negativeZero = 4, negativeNan = 5, end = 6 };

void putBigEndian(std::string& out, std::uint64_t number, int bytes);
std::uint64_t bigEndian(std::string_view bytes);

/// The class and payload of a value (a null `data` when missing), replacing what `payload` held.
ValueClass encodeValue(const bson::Value& value, std::string& payload);
/// Whether items with such a value have to be looked up in the document to know it.
inline bool isLookedUp(ValueClass kind) {
  return kind == ValueClass::opaque || kind == ValueClass::longString;
}
/// A number as a payload has it. `ordered` and then `rest` order numbers as queries do; NaN has 0.
struct EncodedNumber {
  std::uint64_t ordered = 0;  ///< the greatest double that is not above the number
  std::uint32_t rest = 0;     ///< how far an int64 is above that; less than 1024, the distance of doubles below 2^63
  NumberTag tag = NumberTag::real;

  bool isNan() const { return ordered == 0; }
  bool isBelow(const EncodedNumber& other) const {
    return ordered != other.ordered ? ordered < other.ordered : rest < other.rest;
  }
  bool equals(const EncodedNumber& other) const { return ordered == other.ordered && rest == other.rest; }
  /// The nearest double.
  double asDouble() const;
  /// Of the tags `int32` and `int64`.
  std::int64_t asInteger() const;
  bool isInteger() const { return tag == NumberTag::int32 || tag == NumberTag::int64; }
  void append(bson::Writer& out, std::string_view key) const;
};
/// nullopt for what no payload can give back: no number, a decimal128, a NaN of an unusual form.
std::optional<EncodedNumber> encodedNumber(const bson::Value& value);
/// That of an int64.
EncodedNumber encodedInteger(std::int64_t value);
/// The number in a payload of its class.
EncodedNumber numberIn(std::string_view payload);
/// The milliseconds in a payload of a date.
std::int64_t dateIn(std::string_view payload);

/// Appends what was encoded, if it is not missing and not looked up.
void appendDecoded(bson::Writer& out, std::string_view key, ValueClass kind, std::string_view payload);

/// The part of a number's payload that is the same for all kinds of numbers equal to it, and the first bytes after it
/// that are greater than any of them.
struct NumberBounds {
  std::string before;
  std::string after;
};
/// nullopt for a decimal128.
std::optional<NumberBounds> boundsOfNumber(const bson::Value& value);

/// Builds keys in one buffer.
class KeyBuilder {
 public:
  KeyBuilder& start(PathId path, TermKind kind);
  KeyBuilder& noName() { return byte(1); }
  KeyBuilder& name(std::string_view text);
  KeyBuilder& noType() { return byte(0); }
  KeyBuilder& type(std::int32_t number);
  KeyBuilder& value(ValueClass kind, std::string_view payload);
  KeyBuilder& raw(std::string_view bytes);
  KeyBuilder& copy(const KeyBuilder& other) {
    key_ = other.key_;
    return *this;
  }
  const std::string& key() const { return key_; }

 private:
  KeyBuilder& byte(std::uint8_t value);
  std::string key_;
};

/// A key taken apart.
struct ParsedKey {
  PathId path = 0;
  TermKind kind = TermKind::nonIndexable;
  bool named = false;
  std::string name;
  bool typed = false;
  std::int32_t type = 0;
  ValueClass valueClass = ValueClass::missing;
  std::string_view payload;
  std::size_t valueAt = 0;  ///< where class and payload, or the type, begin in the key
};
/// The payload points into `key`. Throws Error{storage} for what is no key.
ParsedKey parseKey(std::string_view key);

/// The smallest bytes that are greater than all that begin with `prefix`; none, if that is only FF.
std::string afterPrefix(std::string prefix);

}  // namespace database_client::embedded::index
