// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string_view>
#include <vector>

#include "client/bson/Type.h"  // IWYU pragma: export

/// Reading BSON in place. Everything here trusts its bytes: they were written by `Writer` or passed `validate`.
namespace database_client::bson {

constexpr std::size_t maximumSize = 16 * 1024 * 1024;
constexpr int maximumDepth = 100;
/// Binary data of this subtype begin with their length once more.
constexpr Byte oldBinarySubtype = 2;

/// Numbers lie in the bytes in little-endian order, at any alignment. The machine is little-endian too (checked at
/// build).
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "BSON is read in place on little-endian machines only");
template <class Number>
Number load(const Byte* at) {
  Number number;
  std::memcpy(&number, at, sizeof number);
  return number;
}
template <class Number>
void store(Byte* at, Number number) {
  std::memcpy(at, &number, sizeof number);
}

/// The number of bytes of a regular expression, which has no length field.
std::size_t regexSize(const Byte* value);

/// The number of bytes of a value; 0 for a type byte that BSON does not have.
inline std::size_t valueSize(Type type, const Byte* value) {
  if (type == Type::regex) return regexSize(value);
  const Extent extent = extentOf(type);
  return extent.size + (extent.hasLength() ? static_cast<std::size_t>(load<std::int32_t>(value)) : 0);
}

inline std::string_view cString(const Byte* at) {
  return std::string_view(reinterpret_cast<const char*>(at));
}

/// As `cString`, faster for the index of an item, which has a digit or two.
inline std::string_view shortCString(const Byte* at) {
  if (at[0] != 0 && at[1] == 0) return {reinterpret_cast<const char*>(at), 1};
  if (at[0] != 0 && at[2] == 0) return {reinterpret_cast<const char*>(at), 2};
  return cString(at);
}

struct View;

/// One value where it lies. The accessors do not check the type.
struct Value {
  Type type = Type::undefined;
  const Byte* data = nullptr;
  std::size_t size = 0;

  double asDouble() const { return load<double>(data); }
  bool asBool() const { return *data != 0; }
  std::int32_t asInt32() const { return load<std::int32_t>(data); }
  /// int64, date and timestamp.
  std::int64_t asInt64() const { return load<std::int64_t>(data); }
  /// string, code and symbol.
  std::string_view asString() const {
    return {reinterpret_cast<const char*>(data + 4), static_cast<std::size_t>(load<std::int32_t>(data)) - 1};
  }
  /// document and array.
  View asDocument() const;
  std::string_view regexPattern() const { return cString(data); }
  std::string_view regexOptions() const { return cString(data + regexPattern().size() + 1); }
  std::size_t binarySize() const { return static_cast<std::size_t>(load<std::int32_t>(data)); }
  Byte binarySubtype() const { return data[4]; }
  const Byte* binaryData() const { return data + 5; }
  View scope() const;

  bool isDocument() const { return type == Type::document; }
  bool isArray() const { return type == Type::array; }
  /// A document or an array.
  bool isLevel() const { return bson::isLevel(type); }
  bool isNumber() const {
    return type == Type::int32 || type == Type::int64 || type == Type::real || type == Type::decimal128;
  }
};

/// One entry of a level: type byte, key, value.
struct Element {
  const Byte* start = nullptr;
  std::string_view key{};
  Value value{};

  std::size_t size() const { return static_cast<std::size_t>(value.data + value.size - start); }
};

/// Reads the element that starts at `at`, which is not a terminator.
inline Element elementAt(const Byte* at) {
  const auto type = static_cast<Type>(*at);
  const std::string_view key = cString(at + 1);
  const Byte* value = at + 1 + key.size() + 1;
  return {at, key, {type, value, valueSize(type, value)}};
}

/// A document or an array where it lies.
struct View {
  const Byte* data = nullptr;
  std::size_t size = 0;

  class Iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = Element;
    using difference_type = std::ptrdiff_t;
    using pointer = const Element*;
    using reference = const Element&;

    explicit Iterator(const Byte* at) : at_(at) { read(); }
    const Element& operator*() const { return element_; }
    const Element* operator->() const { return &element_; }
    Iterator& operator++() {
      at_ = element_.value.data + element_.value.size;
      read();
      return *this;
    }
    bool operator==(const Iterator& other) const { return at_ == other.at_; }
    bool operator!=(const Iterator& other) const { return at_ != other.at_; }

   private:
    void read() {
      if (*at_ != 0) element_ = elementAt(at_);
    }
    const Byte* at_;
    Element element_{};
  };

  Iterator begin() const { return Iterator(data + 4); }
  Iterator end() const { return Iterator(data + size - 1); }
  bool empty() const { return size <= 5; }
  std::size_t count() const;
  /// The first element with this key; a null `data` when there is none.
  Value find(std::string_view key) const;
};

inline View Value::asDocument() const {
  return {data, size};
}

inline View viewAt(const Byte* at) {
  return {at, static_cast<std::size_t>(load<std::int32_t>(at))};
}

/// The document that these bytes are; valid as long as they stay where they are.
inline View viewOf(const std::vector<Byte>& bytes) {
  return {bytes.data(), bytes.size()};
}

/// An empty document.
View emptyDocument();

/// How many levels the deepest value lies below the root: 0 for a document without groups and arrays.
std::size_t depth(View document);

}  // namespace database_client::bson
