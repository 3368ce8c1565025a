// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/storage/idOfKey.h"

#include <array>
#include <limits>
#include <stdexcept>
#include <string>

#include "client/bson/Writer.h"
#include "client/bson/validate.h"
#include "client/embedded/query/values/compare.h"
#include "database_client/Error.h"

namespace database_client::embedded {

using bson::Byte;
using bson::Type;
using bson::Writer;

namespace {

/// Reads what `appendCanonicalKey` writes, and throws std::out_of_range for anything else.
class KeyReader {
 public:
  explicit KeyReader(std::string_view key) : rest_(key) {}

  void read(std::string_view name, Writer& writer) {
    const int kind = take(1).front();
    if (kind == bson::sortClassOf(Type::int32)) return readNumber(name, writer);
    if (kind == bson::sortClassOf(Type::string)) return writer.appendString(name, takeSized());
    if (kind == bson::sortClassOf(Type::document)) return readLevel(name, writer, true);
    if (kind == bson::sortClassOf(Type::array)) return readLevel(name, writer, false);
    for (const Type type :
         {Type::objectId, Type::boolean, Type::date, Type::timestamp, Type::null, Type::minKey, Type::maxKey}) {
      if (kind == bson::sortClassOf(type)) return append(name, type, take(bson::extentOf(type).size), writer);
    }
    for (const Type type : {Type::binary, Type::regex, Type::dbPointer}) {
      if (kind == bson::sortClassOf(type)) return append(name, type, takeSized(), writer);
    }
    throw std::out_of_range("kind");
  }

 private:
  std::string_view take(std::size_t size) {
    if (size > rest_.size()) throw std::out_of_range("size");
    const std::string_view taken = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return taken;
  }
  template <class Number>
  Number takeNumber() {
    return bson::load<Number>(reinterpret_cast<const Byte*>(take(sizeof(Number)).data()));
  }
  std::string_view takeSized() { return take(takeNumber<std::uint32_t>()); }

  static void append(std::string_view name, Type type, std::string_view bytes, Writer& writer) {
    writer.append(name, {type, reinterpret_cast<const Byte*>(bytes.data()), bytes.size()});
  }

  void readNumber(std::string_view name, Writer& writer) {
    switch (take(1).front()) {
      case 'i': {
        const auto number = takeNumber<std::int64_t>();
        // Keys do not tell an int32 from an int64 or a double of the same value; the shortest is the likeliest.
        const bool isShort = number == static_cast<std::int32_t>(number);
        return isShort ? writer.appendInt32(name, static_cast<std::int32_t>(number)) : writer.appendInt64(name, number);
      }
      case 'd':
        return writer.appendDouble(name, takeNumber<double>());
      case 'n':
        return writer.appendDouble(name, std::numeric_limits<double>::quiet_NaN());
      default:
        throw std::out_of_range("number");
    }
  }

  void readLevel(std::string_view name, Writer& writer, bool isNamed) {
    if (++level_ > bson::maximumDepth) throw std::out_of_range("depth");
    isNamed ? writer.beginDocument(name) : writer.beginArray(name);
    for (std::size_t i = 0; take(1).front() != '\0'; ++i) {
      const std::string_view key = isNamed ? take(rest_.find('\0')) : std::string_view();
      if (isNamed) take(1);
      read(isNamed ? key : std::string_view(bson::IndexKey(i)), writer);
    }
    writer.end();
    --level_;
  }

  std::string_view rest_;
  int level_ = 0;
};

}  // namespace

std::vector<Byte> idOfKey(std::string_view key) {
  try {
    Writer writer;
    KeyReader(key).read("_id", writer);
    std::vector<Byte> document = writer.take();
    // Damage may have left something that reads as a key, and is none.
    const bson::View view = bson::validate(document.data(), document.size());
    if (canonicalKey(view.find("_id")) == key) return document;
  } catch (const std::out_of_range&) {
  } catch (const Error&) {
  }
  return Writer().take();
}

bool isKeyOfObjectId(std::string_view key) {
  static const std::array<Byte, bson::objectIdSize> zeros{};
  static const std::string example = canonicalKey({Type::objectId, zeros.data(), zeros.size()});
  return key.size() == example.size() && key.front() == example.front();
}

}  // namespace database_client::embedded
