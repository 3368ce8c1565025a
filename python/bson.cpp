// SPDX-License-Identifier: Apache-2.0
#include "bson.h"

#include <array>
#include <cstring>
#include <type_traits>
#include <vector>

#include "values.h"

namespace database_provider::python {

using database_client::ObjectProperties;

namespace {

constexpr int levels = 100;
constexpr std::size_t idSize = 12;
constexpr unsigned base = 16;

enum Kind : std::uint8_t {
  real = 0x01,
  text = 0x02,
  document = 0x03,
  array = 0x04,
  binary = 0x05,
  undefined = 0x06,
  id = 0x07,
  boolean = 0x08,
  time = 0x09,
  null = 0x0A,
  regularExpression = 0x0B,
  dbPointer = 0x0C,
  code = 0x0D,
  symbol = 0x0E,
  codeWithScope = 0x0F,
  int32 = 0x10,
  timestamp = 0x11,
  int64 = 0x12,
  decimal128 = 0x13,
  maxKey = 0x7F,
  minKey = 0xFF,
};

template <class Number>
Number numberAt(const char* bytes) {
  Number result;
  std::memcpy(&result, bytes, sizeof result);
  return result;
}

std::string idToText(const char* bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string result;
  for (std::size_t i = 0; i < idSize; ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    result += digits[byte / base];
    result += digits[byte % base];
  }
  return result;
}

/// Reads a document that was checked already.
class Reader {
 public:
  explicit Reader(const char* bytes) : at_(bytes) {}

  nb::object readDocument() {
    nb::dict result;
    readLevel([&](std::string_view key, nb::object value) { result[textToPython(key)] = std::move(value); });
    return std::move(result);
  }

 private:
  template <class Add>
  void readLevel(const Add& add) {
    at_ += sizeof(std::int32_t);
    while (*at_ != 0) {
      const auto kind = static_cast<Kind>(*at_++);
      const std::string_view key(at_);
      at_ += key.size() + 1;
      add(key, readValue(kind));
    }
    ++at_;
  }

  nb::object readValue(Kind kind) {
    switch (kind) {
      case Kind::real:
        return nb::float_(take<double>());
      case Kind::text:
        return textToPython(takeText());
      case Kind::document:
        return readDocument();
      case Kind::array: {
        nb::list result;
        readLevel([&](std::string_view /*key*/, const nb::object& value) { result.append(value); });
        return std::move(result);
      }
      case Kind::binary:
        if (at_[sizeof(std::int32_t)] != 0) return foreign(kind);
        return readBytes();
      case Kind::id: {
        const char* const bytes = at_;
        at_ += idSize;
        return nb::cast(ObjectId(idToText(bytes)));
      }
      case Kind::boolean:
        return nb::bool_(*at_++ != 0);
      case Kind::time:
        return timeToPython(take<std::int64_t>());
      case Kind::null:
        return nb::none();
      case Kind::int32:
        return nb::int_(take<std::int32_t>());
      case Kind::int64:
        return nb::int_(take<std::int64_t>());
      default:
        return foreign(kind);
    }
  }

  template <class Number>
  Number take() {
    const auto result = numberAt<Number>(at_);
    at_ += sizeof result;
    return result;
  }

  std::string_view takeText() {
    const auto size = static_cast<std::size_t>(take<std::int32_t>());
    const std::string_view result(at_, size - 1);
    at_ += size;
    return result;
  }

  nb::object readBytes() {
    const auto size = static_cast<std::size_t>(take<std::int32_t>());
    ++at_;
    nb::bytes result(at_, size);
    at_ += size;
    return std::move(result);
  }

  nb::object foreign(Kind kind) {
    const std::size_t size = sizeOf(kind);
    const std::string value(at_, size);
    at_ += size;
    std::string bytes(sizeof(std::int32_t), '\0');
    bytes += static_cast<char>(kind);
    bytes += "v";
    bytes += '\0';
    bytes += value;
    bytes += '\0';
    const auto whole = static_cast<std::int32_t>(bytes.size());
    std::memcpy(bytes.data(), &whole, sizeof whole);
    return nb::cast(ForeignValue{std::move(bytes)});
  }

  std::size_t sizeOf(Kind kind) const {
    const auto prefixed = [this] { return static_cast<std::size_t>(numberAt<std::int32_t>(at_)); };
    constexpr std::size_t prefix = sizeof(std::int32_t);
    switch (kind) {
      case Kind::binary:
        return prefix + 1 + prefixed();
      case Kind::regularExpression: {
        const std::size_t pattern = std::strlen(at_) + 1;
        return pattern + std::strlen(at_ + pattern) + 1;
      }
      case Kind::dbPointer:
        return prefix + prefixed() + idSize;
      case Kind::code:
      case Kind::symbol:
        return prefix + prefixed();
      case Kind::codeWithScope:
        return prefixed();
      case Kind::timestamp:
        return sizeof(std::uint64_t);
      case Kind::decimal128:
        return 2 * sizeof(std::uint64_t);
      default:
        return 0;
    }
  }

  const char* at_;
};

/// Writes documents front to back. What it writes is checked as a whole when it is done.
class Writer {
 public:
  explicit Writer(std::string where) : where_(std::move(where)) {}

  void writeDocument(nb::handle mapping) {
    const std::size_t start = begin();
    // A copy of the items: conversions call Python, which may change the dict.
    const auto items = nb::steal<nb::list>(PyDict_Items(mapping.ptr()));
    for (const nb::handle item : items) {
      const nb::object key = item[0];
      const nb::object value = item[1];
      if (!PyUnicode_Check(key.ptr()))
        refuse(place(), "has a key of the type " + typeNameOf(key) + "; keys are texts (str)");
      const std::string name = textFromPython(key, "a key of " + place());
      if (name.find('\0') != std::string::npos) refuse(place(), "has a key that holds a NUL character");
      writeElement(name, value);
    }
    end(start);
  }

  std::string take() { return std::move(out_); }

 private:
  std::string place() const {
    std::string result = where_;
    for (const std::string& name : path_) result += "." + name;
    return result;
  }

  std::size_t begin() {
    const std::size_t start = out_.size();
    out_.append(sizeof(std::int32_t), '\0');
    return start;
  }

  void end(std::size_t start) {
    constexpr std::size_t most = 16U << 20U;
    out_ += '\0';
    const std::size_t size = out_.size() - start;
    if (size > most) refuse(where_, "takes more than 16 MiB");
    const auto number = static_cast<std::int32_t>(size);
    std::memcpy(&out_[start], &number, sizeof number);
  }

  void writeElement(const std::string& name, nb::handle value) {
    const std::size_t kindAt = out_.size();
    out_ += '\0';
    out_ += name;
    out_ += '\0';
    path_.push_back(name);
    out_[kindAt] = static_cast<char>(writeValue(value));
    path_.pop_back();
  }

  template <class Number>
  Kind writeNumber(Kind kind, Number number) {
    std::array<char, sizeof number> bytes{};
    std::memcpy(bytes.data(), &number, sizeof number);
    out_.append(bytes.data(), bytes.size());
    return kind;
  }

  Kind writeArray(nb::handle sequence) {
    if (path_.size() > levels) refuse(where_, "has more than 100 levels");
    const std::size_t start = begin();
    // By place rather than by iterator: a list that holds itself ends with the levels, one that is changed meanwhile
    // here.
    const nb::object items = nb::steal(PySequence_List(sequence.ptr()));
    if (!items.is_valid()) throw nb::python_error();
    std::size_t index = 0;
    for (const nb::handle item : nb::borrow<nb::list>(items)) writeElement(std::to_string(index++), item);
    end(start);
    return Kind::array;
  }

  Kind writeBytes(const char* bytes, std::size_t size) {
    constexpr std::size_t most = 16U << 20U;
    if (size > most) refuse(place(), "takes more than 16 MiB");
    writeNumber(Kind::binary, static_cast<std::int32_t>(size));
    out_ += '\0';
    out_.append(bytes, size);
    return Kind::binary;
  }

  Kind writeText(nb::handle value) {
    const std::string content = textFromPython(value, place());
    writeNumber(Kind::text, static_cast<std::int32_t>(content.size() + 1));
    out_ += content;
    out_ += '\0';
    return Kind::text;
  }

  Kind writeInteger(std::int64_t integer) {
    const auto narrow = static_cast<std::int32_t>(integer);
    return narrow == integer ? writeNumber(Kind::int32, narrow) : writeNumber(Kind::int64, integer);
  }

  Kind writeId(const std::string& digits) {
    for (std::size_t i = 0; i < idSize; ++i)
      out_ += static_cast<char>(std::stoi(digits.substr(2 * i, 2), nullptr, base));
    return Kind::id;
  }

  Kind writeForeign(const std::string& whole) {
    constexpr std::size_t before = sizeof(std::int32_t) + 1 + 2;
    out_ += whole.substr(before, whole.size() - before - 1);
    return static_cast<Kind>(whole[sizeof(std::int32_t)]);
  }

  Kind writeValue(nb::handle value) {
    PyObject* const object = value.ptr();
    if (value.is_none()) return Kind::null;
    if (PyUnicode_Check(object)) return writeText(value);
    if (PyBool_Check(object)) {
      out_ += object == Py_True ? '\1' : '\0';
      return Kind::boolean;
    }
    if (PyLong_Check(object)) return writeInteger(*integerFromPython(value, place()));
    if (PyFloat_Check(object)) return writeNumber(Kind::real, PyFloat_AsDouble(object));
    if (PyDict_Check(object)) {
      if (path_.size() > levels) refuse(where_, "has more than 100 levels");
      writeDocument(value);
      return Kind::document;
    }
    if (PyList_Check(object) || PyTuple_Check(object)) return writeArray(value);
    if (PyBytes_Check(object)) {
      const auto bytes = nb::borrow<nb::bytes>(value);
      return writeBytes(bytes.c_str(), bytes.size());
    }
    if (PyByteArray_Check(object))
      return writeBytes(PyByteArray_AsString(object), static_cast<std::size_t>(PyByteArray_Size(object)));
    if (nb::isinstance<ObjectId>(value)) return writeId(nb::cast<const ObjectId&>(value).text);
    if (nb::isinstance<ForeignValue>(value)) return writeForeign(nb::cast<const ForeignValue&>(value).document);
    if (const std::optional<std::int64_t> moment = timeFromPython(value, place()))
      return writeNumber(Kind::time, *moment);
    return writeOther(value);
  }

  /// What can be seen as one of the above: scalars and arrays of numpy, mappings that are no dict.
  Kind writeOther(nb::handle value) {
    const nb::object plain = withoutNumpy(value);
    if (!plain.is(value)) return writeValue(plain);
    if (nb::hasattr(value, "tolist") && nb::hasattr(value, "dtype")) return writeValue(value.attr("tolist")());
    if (nb::hasattr(value, "keys") && nb::hasattr(value, "items")) {
      if (path_.size() > levels) refuse(where_, "has more than 100 levels");
      writeDocument(dictOf(value));
      return Kind::document;
    }
    refuse(place(), "is of the type " + typeNameOf(value) +
                        "; dict, list, str, int, float, bool, None, datetime, bytes or ObjectId is expected");
  }

  std::string where_;
  std::vector<std::string> path_{};
  std::string out_{};
};

}  // namespace

ObjectId::ObjectId(std::string hexadecimal) : text(std::move(hexadecimal)) {
  for (char& digit : text) {
    if (digit >= 'A' && digit <= 'F') digit = static_cast<char>(digit - 'A' + 'a');
  }
  if (text.size() != 2 * idSize || text.find_first_not_of("0123456789abcdef") != std::string::npos)
    throw nb::value_error("an object id is a text of 24 hex digits");
}

ObjectProperties ForeignValue::properties() const {
  return ObjectProperties::fromBson(document.data(), document.size());
}

std::string ForeignValue::kind() const {
  switch (properties().type("v")) {
    using database_client::PropertyType;
    case PropertyType::group:
      return "document";
    case PropertyType::array:
      return "array";
    case PropertyType::id:
      return "objectId";
    case PropertyType::string:
      return "string";
    case PropertyType::boolean:
      return "bool";
    case PropertyType::int32:
      return "int";
    case PropertyType::int64:
      return "long";
    case PropertyType::real:
      return "double";
    case PropertyType::time:
      return "time";
    case PropertyType::null:
      return "null";
    case PropertyType::binary:
      return "binary";
    case PropertyType::regularExpression:
      return "regularExpression";
    case PropertyType::code:
      return "code";
    case PropertyType::codeWithScope:
      return "codeWithScope";
    case PropertyType::timestamp:
      return "timestamp";
    case PropertyType::decimal128:
      return "decimal128";
    case PropertyType::minKey:
      return "minKey";
    case PropertyType::maxKey:
      return "maxKey";
    case PropertyType::symbol:
      return "symbol";
    case PropertyType::dbPointer:
      return "dbPointer";
    default:
      return "undefined";
  }
}

std::string ForeignValue::json() const {
  // Of {"v":VALUE}, with blanks or without.
  const std::string whole = properties().toJson(database_client::JsonMode::canonical);
  const std::size_t first = whole.find_first_not_of(' ', whole.find(':') + 1);
  const std::size_t last = whole.find_last_not_of(' ', whole.rfind('}') - 1);
  return whole.substr(first, last - first + 1);
}

ForeignValue ForeignValue::fromJson(const std::string& json) {
  const std::vector<std::uint8_t> bytes = ObjectProperties::fromJson("{\"v\":" + json + "}").toBson();
  ForeignValue result{std::string(bytes.begin(), bytes.end())};
  if (result.properties().size() != 1) throw nb::value_error("one value of extended JSON is expected");
  return result;
}

nb::object documentToPython(const ObjectProperties& document) {
  const std::vector<std::uint8_t> bytes = document.toBson();
  return Reader(reinterpret_cast<const char*>(bytes.data())).readDocument();
}

ObjectProperties documentFromPython(nb::handle mapping, const std::string& where) {
  const bool isMapping = PyDict_Check(mapping.ptr()) || (nb::hasattr(mapping, "keys") && nb::hasattr(mapping, "items"));
  if (!isMapping) refuse(where, "is of the type " + typeNameOf(mapping) + "; a dict is expected");
  Writer writer(where);
  writer.writeDocument(PyDict_Check(mapping.ptr()) ? nb::borrow(mapping) : dictOf(mapping));
  const std::string bytes = writer.take();
  return ObjectProperties::fromBson(bytes.data(), bytes.size());
}

nb::object timeAsValue(std::int64_t milliseconds) {
  ObjectProperties document;
  document.setValueTime("v", milliseconds);
  const std::vector<std::uint8_t> bytes = document.toBson();
  return nb::cast(ForeignValue{std::string(bytes.begin(), bytes.end())});
}

std::optional<std::int64_t> timeOfValue(nb::handle object) {
  if (!nb::isinstance<ForeignValue>(object)) return std::nullopt;
  const ObjectProperties document = nb::cast<const ForeignValue&>(object).properties();
  if (document.type("v") != database_client::PropertyType::time) return std::nullopt;
  return document.valueAsTime("v", 0);
}

}  // namespace database_provider::python
