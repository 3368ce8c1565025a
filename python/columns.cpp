// SPDX-License-Identifier: Apache-2.0
#include "columns.h"

#include <database_provider/arrow.h>
#include <nanobind/ndarray.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "values.h"

namespace database_provider::python {

using database_client::Error;

namespace {

constexpr std::int64_t bitsOfByte = 8;

template <class Node>
struct Release {
  void operator()(Node* node) const {
    if (node->release != nullptr) node->release(node);
    delete node;
  }
};
using StreamPtr = std::unique_ptr<ArrowArrayStream, Release<ArrowArrayStream>>;
using SchemaPtr = std::unique_ptr<ArrowSchema, Release<ArrowSchema>>;
using ArrayPtr = std::unique_ptr<ArrowArray, Release<ArrowArray>>;

/// A consumer moves the structure out of the capsule, which then is left with one that is released.
template <class Node>
nb::capsule capsuleOf(std::unique_ptr<Node, Release<Node>> node, const char* name) {
  return {node.release(), name, [](void* memory) noexcept { Release<Node>()(static_cast<Node*>(memory)); }};
}

StreamPtr openStream(Connection& connection, RecordKind kind, const Selection& selection,
                     const std::vector<std::string>& columns, const FindOptions& options) {
  StreamPtr stream(new ArrowArrayStream());
  connection.run(
      [&](DataBaseClient& client) { Records(client, kind).exportArrow(selection, columns, stream.get(), options); });
  return stream;
}

// A stream for others, around that of the library: it keeps the connection, and asks it for each batch.

struct SharedStream {
  ConnectionPtr connection;
  StreamPtr inner;
  std::string error{};
};

SharedStream& sharedOf(ArrowArrayStream* stream) {
  return *static_cast<SharedStream*>(stream->private_data);
}

template <class Step>
int asked(ArrowArrayStream* stream, const Step& step) noexcept {
  SharedStream& shared = sharedOf(stream);
  try {
    const Connection::Use use(*shared.connection);
    const int failure = step(*shared.inner);
    if (failure != 0) {
      const char* const reason = shared.inner->get_last_error(shared.inner.get());
      shared.error = reason == nullptr ? "the table cannot be read" : reason;
    }
    return failure;
  } catch (const std::exception& error) {
    shared.error = error.what();
    return EIO;
  }
}

int getSchema(ArrowArrayStream* stream, ArrowSchema* schema) {
  return asked(stream, [schema](ArrowArrayStream& inner) { return inner.get_schema(&inner, schema); });
}

int getNext(ArrowArrayStream* stream, ArrowArray* array) {
  return asked(stream, [array](ArrowArrayStream& inner) { return inner.get_next(&inner, array); });
}

const char* getLastError(ArrowArrayStream* stream) {
  const std::string& error = sharedOf(stream).error;
  return error.empty() ? nullptr : error.c_str();
}

void releaseStream(ArrowArrayStream* stream) {
  const auto* shared = &sharedOf(stream);
  stream->release = nullptr;
  stream->private_data = nullptr;
  delete shared;
}

// Columns for pandas, of all batches.

bool bitAt(const void* bits, std::int64_t place) {
  const unsigned byte = static_cast<const std::uint8_t*>(bits)[place / bitsOfByte];
  return ((byte >> static_cast<unsigned>(place % bitsOfByte)) & 1U) != 0;
}

/// An array of numpy, which owns its values.
template <class Number>
class Values {
 public:
  explicit Values(std::size_t size) : values_(new Number[size]), size_(size) {}
  Number* data() { return values_.get(); }
  nb::object take() {
    Number* const values = values_.release();
    const nb::capsule owner(values, [](void* memory) noexcept { delete[] static_cast<Number*>(memory); });
    return nb::cast(nb::ndarray<nb::numpy, Number, nb::ndim<1>>(values, {size_}, owner));
  }

 private:
  std::unique_ptr<Number[]> values_;
  std::size_t size_;
};

/// One column of a table that was read whole.
class ColumnReader {
 public:
  ColumnReader(const std::vector<ArrayPtr>& batches, std::size_t column) {
    for (const ArrayPtr& batch : batches) {
      ArrowArray* part = batch->children[column];
      parts_.push_back(part);
      size_ += static_cast<std::size_t>(part->length);
      isMissing_ = isMissing_ || part->null_count != 0;
    }
  }

  nb::tuple read(const ArrowSchema& field, bool areTextsArrow) const {
    const std::string_view format = field.format;
    const nb::object name = textToPython(field.name);
    if (format == "b") return nb::make_tuple(name, "bool", readBooleans(), mask());
    if (format == "i")
      return nb::make_tuple(
          name, "int",
          isMissing_ ? readNumbers<std::int32_t, std::int64_t>(0) : readNumbers<std::int32_t, std::int32_t>(0), mask());
    if (format == "l") return nb::make_tuple(name, "long", readNumbers<std::int64_t, std::int64_t>(0), mask());
    if (format == "g") {
      constexpr double missing = std::numeric_limits<double>::quiet_NaN();
      return nb::make_tuple(name, "double", readNumbers<double, double>(missing), nb::none());
    }
    if (format == "u") return nb::make_tuple(name, "string", areTextsArrow ? moveTexts() : readTexts(), nb::none());
    constexpr std::int64_t missing = std::numeric_limits<std::int64_t>::min();
    return nb::make_tuple(name, "time", readNumbers<std::int64_t, std::int64_t>(missing), nb::none());
  }

 private:
  template <class Visit>
  static void eachValidity(const ArrowArray& part, const Visit& visit) {
    const void* const validity = part.buffers[0];
    for (std::int64_t i = 0; i < part.length; ++i) visit(i, validity == nullptr || bitAt(validity, i));
  }

  template <class Stored, class Number>
  nb::object readNumbers(Number missing) const {
    Values<Number> values(size_);
    Number* at = values.data();
    for (const ArrowArray* part : parts_) {
      const auto* const stored = static_cast<const Stored*>(part->buffers[1]);
      if (part->null_count == 0) {
        std::copy(stored, stored + part->length, at);
      } else {
        eachValidity(*part, [&](std::int64_t i, bool isValid) { at[i] = isValid ? Number{stored[i]} : missing; });
      }
      at += part->length;
    }
    return values.take();
  }

  nb::object readBooleans() const {
    Values<bool> values(size_);
    bool* at = values.data();
    for (const ArrowArray* part : parts_) {
      for (std::int64_t i = 0; i < part->length; ++i) *at++ = bitAt(part->buffers[1], i);
    }
    return values.take();
  }

  nb::object mask() const {
    if (!isMissing_) return nb::none();
    Values<bool> values(size_);
    bool* at = values.data();
    for (const ArrowArray* part : parts_)
      eachValidity(*part, [&at](std::int64_t /*i*/, bool isValid) { *at++ = !isValid; });
    return values.take();
  }

  /// Categories have few values, so that one object stands for all that are equal, as far as there are not too many.
  nb::object readTexts() const {
    constexpr std::size_t mostKept = 4096;
    std::unordered_map<std::string_view, nb::object> kept;
    nb::object list = nb::steal(PyList_New(static_cast<Py_ssize_t>(size_)));
    if (!list.is_valid()) throw nb::python_error();
    Py_ssize_t place = 0;
    for (const ArrowArray* part : parts_) {
      const auto* const offsets = static_cast<const std::int32_t*>(part->buffers[1]);
      const auto* const bytes = static_cast<const char*>(part->buffers[2]);
      eachValidity(*part, [&](std::int64_t i, bool isValid) {
        nb::object text = nb::none();
        if (isValid) {
          const std::string_view view(bytes + offsets[i], static_cast<std::size_t>(offsets[i + 1] - offsets[i]));
          const auto known = kept.find(view);
          text = known != kept.end() ? known->second : textToPython(view);
          if (known == kept.end() && kept.size() < mostKept) kept.emplace(view, text);
        }
        PyList_SetItem(list.ptr(), place++, text.release().ptr());
      });
    }
    return list;
  }

  /// Hands the column over as it is, whoever reads it.
  nb::object moveTexts() const {
    nb::list result;
    for (ArrowArray* part : parts_) {
      SchemaPtr schema(new ArrowSchema{});
      schema->format = "u";
      schema->name = "";
      schema->flags = ARROW_FLAG_NULLABLE;
      schema->release = [](ArrowSchema* node) { node->release = nullptr; };
      ArrayPtr array(new ArrowArray(*part));
      part->release = nullptr;
      result.append(
          nb::make_tuple(capsuleOf(std::move(schema), "arrow_schema"), capsuleOf(std::move(array), "arrow_array")));
    }
    return std::move(result);
  }

  std::vector<ArrowArray*> parts_{};
  std::size_t size_ = 0;
  bool isMissing_ = false;
};

[[noreturn]] void throwFailure(ArrowArrayStream& stream, int code) {
  const char* const reason = stream.get_last_error(&stream);
  const auto kind = code == ECANCELED ? Error::Kind::cancelled : Error::Kind::storage;
  throw Error(kind, reason == nullptr ? "the table cannot be read" : reason);
}

}  // namespace

nb::object streamCapsule(const ConnectionPtr& connection, RecordKind kind, const Selection& selection,
                         const std::vector<std::string>& columns, const FindOptions& options) {
  auto shared = std::make_unique<SharedStream>();
  shared->connection = connection;
  shared->inner = openStream(*connection, kind, selection, columns, options);
  StreamPtr stream(new ArrowArrayStream());
  stream->get_schema = getSchema;
  stream->get_next = getNext;
  stream->get_last_error = getLastError;
  stream->release = releaseStream;
  stream->private_data = shared.release();
  return capsuleOf(std::move(stream), "arrow_array_stream");
}

nb::list readColumns(const ConnectionPtr& connection, RecordKind kind, const Selection& selection,
                     const std::vector<std::string>& columns, const FindOptions& options, bool areTextsArrow) {
  const StreamPtr stream = openStream(*connection, kind, selection, columns, options);
  const SchemaPtr schema(new ArrowSchema());
  std::vector<ArrayPtr> batches;
  connection->run([&](DataBaseClient& /*client*/) {
    if (const int code = stream->get_schema(stream.get(), schema.get())) throwFailure(*stream, code);
    for (;;) {
      ArrayPtr batch(new ArrowArray());
      if (const int code = stream->get_next(stream.get(), batch.get())) throwFailure(*stream, code);
      if (batch->release == nullptr) break;
      batches.push_back(std::move(batch));
    }
  });
  nb::list result;
  for (std::int64_t i = 0; i < schema->n_children; ++i)
    result.append(ColumnReader(batches, static_cast<std::size_t>(i)).read(*schema->children[i], areTextsArrow));
  return result;
}

}  // namespace database_provider::python
